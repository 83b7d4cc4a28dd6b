// CCalc3D::ReadTask3D: the engine's keys of the job file.

#include "engine3d/Calc3D.h"

#include <cstdlib>
#include <cstring>

#include "base/Output.h"
#include "run/OndexApp.h"
#include "run/TaskFile.h"

// Blank-separated lists of [3DSnapshot]; negative entries are dropped. A word
// that is not wholly a number is skipped too: read as 0 it would select every shot.
static void ParseList(const char* psz, std::vector<int>* pInts, std::vector<double>* pDoubles)
{
    char szBuf[256];
    strncpy(szBuf, psz, sizeof(szBuf) - 1);
    szBuf[sizeof(szBuf) - 1] = 0;
    char* pSave = nullptr;
    for (char* pTok = strtok_r(szBuf, " \t", &pSave); pTok; pTok = strtok_r(nullptr, " \t", &pSave))
    {
        char* pEnd = nullptr;
        if (pInts)
        {
            long n = strtol(pTok, &pEnd, 10);
            if (pEnd != pTok && *pEnd == 0 && n >= 0 && n <= 0x7fffffff)
                pInts->push_back((int)n);
        }
        else
        {
            double d = strtod(pTok, &pEnd);
            if (pEnd != pTok && *pEnd == 0 && d >= 0.0)
                pDoubles->push_back(d);
        }
    }
}

int CCalc3D::ReadTask3D(const char* /*pszFile*/, std::vector<CString>& lines)
{
    const int nType = m_pApp->m_Type;

    // User computation cube; -9999.25 in any value means no cube.
    m_cubeModel = CCubeR();
    get_parameter_double(lines, "[modeling]", "X0", &m_cubeModel.x0);
    get_parameter_double(lines, "[modeling]", "X1", &m_cubeModel.x1);
    get_parameter_double(lines, "[modeling]", "Y0", &m_cubeModel.y0);
    get_parameter_double(lines, "[modeling]", "Y1", &m_cubeModel.y1);
    get_parameter_double(lines, "[modeling]", "Z0", &m_cubeModel.z0);
    get_parameter_double(lines, "[modeling]", "Z1", &m_cubeModel.z1);
    if (!m_cubeModel.IsEmpty())
        m_cubeSim = m_cubeModel;

    get_parameter_double(lines, "[modeling]", "Margin", &m_dMargin);

    get_parameter_int(lines, "[modeling]", "SurfType", &m_nSurfType);
    if (m_nSurfType != 0 && m_nSurfType != 1)
    {
        u_Error("Error! Incorrect surface type specified (%d).\n", m_nSurfType);
        return 1;
    }

    // Viscoelasticity needs a Q model and an elastic method.
    m_nViscoL = 0;
    if (nType >= 102 && !m_pApp->m_strModelQ.IsEmpty())
    {
        get_parameter_int(lines, "[ViscoElastic]", "L", &m_nViscoL);
        if (m_nViscoL < 1 || m_nViscoL > 10)
            m_nViscoL = 0;
        if (m_nViscoL > 0)
            get_parameter_bool(lines, "[ViscoElastic]", "UseApparentVelocity", &m_bApparentVelocity);
    }

    get_parameter_bool(lines, "[modeling]", "PML", &m_bPML);
    m_nPML = 21;
    if (m_bPML)
    {
        m_nTaper = 26;
        if (nType == 104)
        {
            m_nTaper = 23;
            m_nPML = 19;
        }
    }
    else
        m_nTaper = 38;
    // The general anisotropic stencil reaches one cell further.
    m_nHalo = nType == 104 ? 3 : 2;

    get_parameter_double(lines, "[Mesh]", "dx", &m_dx);
    get_parameter_double(lines, "[Mesh]", "dt", &m_dt);

    get_parameter_int(lines, "[Source]", "Type", &m_nSourceType);
    for (float& k : m_fK)
        k = 0.0f;
    if (m_nSourceType == 8)
    {
        char szAxis[256] = "XZ";
        get_parameter_string(lines, "[Source]", "DoubleCoupleAxis", szAxis, (int)sizeof(szAxis));
        // Only the first two characters count.
        if (!strncmp(szAxis, "XY", 2) || !strncmp(szAxis, "YX", 2) || !strncmp(szAxis, "xy", 2) ||
            !strncmp(szAxis, "yx", 2))
            m_fK[3] = 1.0f;
        else if (!strncmp(szAxis, "XZ", 2) || !strncmp(szAxis, "ZX", 2) || !strncmp(szAxis, "xz", 2) ||
                 !strncmp(szAxis, "zx", 2))
            m_fK[4] = 1.0f;
        else if (!strncmp(szAxis, "YZ", 2) || !strncmp(szAxis, "ZY", 2) || !strncmp(szAxis, "yz", 2) ||
                 !strncmp(szAxis, "zy", 2))
            m_fK[5] = 1.0f;
    }
    else if (m_nSourceType == 9)
    {
        static const char* const szKeys[6] = {"K11", "K22", "K33", "K12", "K13", "K23"};
        for (int i = 0; i < 6; i++)
            get_parameter_float(lines, "[Source]", szKeys[i], &m_fK[i]);
    }

    if (nType >= 102)
        get_parameter_bool(lines, "[Source]", "SuppressSV", &m_bSuppressSV);

    int r = m_Signal.LoadParamsFromIniFile(lines);
    if (r != 0)
        return r;

    get_parameter_int(lines, "[Snapshot]", "Every", &m_nSnapEvery);
    get_parameter_double(lines, "[Snapshot]", "t0", &m_tSnap0);
    get_parameter_double(lines, "[Snapshot]", "dt", &m_dSnapDt);
    get_parameter_double(lines, "[Snapshot]", "Y Offset", &m_dSnapYOffset);

    get_parameter_double(lines, "[3DSnapshot]", "dx", &m_dSnapDx);
    get_parameter_double(lines, "[3DSnapshot]", "dy", &m_dSnapDy);
    get_parameter_double(lines, "[3DSnapshot]", "dz", &m_dSnapDz);
    get_parameter_string(lines, "[3DSnapshot]", "Components", m_szSnapComponents, 12);
    m_vSnapShots.clear();
    m_vSnapTimes.clear();
    char szList[256] = "";
    if (get_parameter_string(lines, "[3DSnapshot]", "Shots", szList, (int)sizeof(szList)) == 0)
        ParseList(szList, &m_vSnapShots, nullptr);
    szList[0] = 0;
    if (get_parameter_string(lines, "[3DSnapshot]", "Times", szList, (int)sizeof(szList)) == 0)
        ParseList(szList, nullptr, &m_vSnapTimes);

    int nTime = 0;
    get_parameter_int(lines, "[Time]", "Type", &nTime);
    m_nTimeField = nTime & 3;
    int nMerge = m_bTimeMerge ? 1 : 0;
    get_parameter_int(lines, "[Time]", "Merge", &nMerge);
    m_bTimeMerge = nMerge != 0;
    if (m_nTimeField != 0)
    {
        m_dTimeDx = m_dx;
        get_parameter_double(lines, "[Time]", "dx", &m_dTimeDx);
        m_dTimeDy = m_dTimeDx;
        get_parameter_double(lines, "[Time]", "dy", &m_dTimeDy);
        m_dTimeDz = m_dTimeDx;
        get_parameter_double(lines, "[Time]", "dz", &m_dTimeDz);
    }
    return 0;
}
