// CCalc3D: construction, recovery test, the shot's entry into the time loop
// and the names of result files.

#include "engine3d/Calc3D.h"

#include <cmath>
#include <cstdio>
#include <unistd.h>

#include "base/Output.h"
#include "run/OndexApp.h"

static const double NOT_SET = -9999.25;

CCalc3D::CCalc3D(COndexApp& app)
    : m_nTraces(0),
      m_dMargin(0.0),
      m_nSeisLen(0),
      m_nViscoL(0),
      m_bApparentVelocity(false),
      m_Signal(&app),
      m_nSourceType(0),
      m_bSuppressSV(true),
      m_nSurfType(0),
      m_tStart(0.0),
      m_tCur(0.0),
      m_tEnd(0.0),
      m_nSeisPos(0),
      m_dx(0.0),
      m_dt(0.0),
      m_nTimeField(0),
      m_dTimeDx(0.0), m_dTimeDy(0.0), m_dTimeDz(0.0),
      m_nTimeNx(0), m_nTimeNy(0), m_nTimeNz(0),
      m_bTimeMerge(true),
      m_nZ0(0), m_nZ1(0),
      m_nZAll(0),
      m_nx(0), m_ny(0), m_nz(0),
      m_nTaper(38),
      m_nPML(21),
      m_nHalo(2),
      m_nSnapEvery(0),
      m_tSnap0(0.0),
      m_dSnapDt(0.1),
      m_tSnapNext(0.0),
      m_dSnapYOffset(0.0),
      m_dSnapDx(0.0), m_dSnapDy(0.0), m_dSnapDz(0.0),
      m_nShot(0),
      m_pVp(nullptr), m_pVs(nullptr), m_pRho(nullptr), m_pQ(nullptr),
      m_pAnisEps(nullptr), m_pAnisDelta(nullptr), m_pAnisGamma(nullptr),
      m_pAnisAlpha(nullptr), m_pAnisPhi(nullptr),
      m_pC11(nullptr), m_pC12(nullptr), m_pC13(nullptr), m_pC22(nullptr), m_pC23(nullptr),
      m_pC33(nullptr), m_pC44(nullptr), m_pC55(nullptr), m_pC66(nullptr),
      m_pC14(nullptr), m_pC15(nullptr), m_pC16(nullptr), m_pC24(nullptr), m_pC25(nullptr),
      m_pC26(nullptr), m_pC34(nullptr), m_pC35(nullptr), m_pC36(nullptr), m_pC45(nullptr),
      m_pC46(nullptr), m_pC56(nullptr),
      m_pViscoM(nullptr),
      m_fSWave(1.0f),
      m_fSWaveNext(1.0f),
      m_bPML(true),
      m_nPmlCellsX(0), m_nPmlCellsY(0), m_nPmlCellsZ(0),
      m_pPmlBXMLo(nullptr), m_pPmlBXPHi(nullptr), m_pPmlAXMLo(nullptr), m_pPmlAXPHi(nullptr),
      m_pPmlBXPLo(nullptr), m_pPmlBXMHi(nullptr), m_pPmlAXPLo(nullptr), m_pPmlAXMHi(nullptr),
      m_pPmlBYMLo(nullptr), m_pPmlBYPHi(nullptr), m_pPmlAYMLo(nullptr), m_pPmlAYPHi(nullptr),
      m_pPmlBYPLo(nullptr), m_pPmlBYMHi(nullptr), m_pPmlAYPLo(nullptr), m_pPmlAYMHi(nullptr),
      m_pPmlBZMLo(nullptr), m_pPmlBZPHi(nullptr), m_pPmlAZMLo(nullptr), m_pPmlAZPHi(nullptr),
      m_pPmlBZPLo(nullptr), m_pPmlBZMHi(nullptr), m_pPmlAZPLo(nullptr), m_pPmlAZMHi(nullptr),
      m_pPlane(nullptr),
      m_pApp(&app),
      m_b3DSnapshots(false),
      m_t3DSnapLast(0.0),
      m_n3DSnapNz(0),
      m_nBoxY0(0), m_nBoxX0(0), m_nBoxY1(0), m_nBoxX1(0),
      m_nBoxHold(0)
{
    m_cubeModel = CCubeR();
    m_cubeSim = CCubeR();
    m_cubeSurvey = CCubeR();
    m_cubeGrid = CCubeR();
    m_ptShot.x = m_ptShot.y = m_ptShot.z = NOT_SET;
    for (float& k : m_fK)
        k = 0.0f;
    for (char& c : m_szSnapComponents)
        c = 0;
    for (float& t : m_fTaper)
        t = 0.0f;
    m_Signal.m_dFreq = 20.0;
}

// The grids belong to the subclasses' FreeMemory; what the base owns by
// value (signal, vectors) releases itself.
CCalc3D::~CCalc3D()
{
}

bool CCalc3D::IsCalcNeeded(int nShot)
{
    if (!m_pApp->m_bRecovery)
        return true;
    m_nShot = nShot;
    static const char szComp[4] = {'X', 'Y', 'Z', 'C'};
    for (char c : szComp)
    {
        CString strName = GetFileName(0, c, false, false, 0.0);
        if (access(strName, R_OK) != 0)
            return true;
    }
    u_Print("Shot Point #%d is already calculated - skipped.\n", nShot);
    return false;
}

int CCalc3D::Calculate()
{
    if (LoadModel() != 0)
    {
        u_Error("Error! Unable to initialize and/or load model to device memory.\n");
        return -5;
    }
    // A snapshot file of an earlier run of this shot would be appended to.
    CString strSnap = GetFileName(1, ' ', false, false, 0.0);
    remove(strSnap);

    m_tCur = m_tStart;
    m_tSnapNext = m_tSnap0;
    m_pApp->PrintModelingMethod();

    if (m_pApp->m_nGroupSize < 2)
        return CalculateShared();
    return CalculateDistributed();
}

int CCalc3D::PropagateStep(int nType, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    if (nType < 101 || nType > 104)
    {
        // The job reader admits no other code; refuse rather than idle.
        u_Error("Error! Unknown modeling method (%d) in the time loop.\n", nType);
        return -200;
    }
    // The velocity half first: the operands of | are not ordered.
    const int r = nType == 101 ? PropagateAcoWaveU(iz0, iy0, ix0, iz1, iy1, ix1)
                               : PropagateElaWaveU(iz0, iy0, ix0, iz1, iy1, ix1);
    switch (nType)
    {
    case 101: return r | PropagateAcoWaveTau(iz0, iy0, ix0, iz1, iy1, ix1);
    case 102: return r | PropagateElaWaveTau(iz0, iy0, ix0, iz1, iy1, ix1);
    case 103: return r | PropagateOrtWaveTau(iz0, iy0, ix0, iz1, iy1, ix1);
    default: return r | PropagateAniWaveTau(iz0, iy0, ix0, iz1, iy1, ix1);
    }
}

int CCalc3D::PropagatePair(int nType, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    const int r = PropagateStep(nType, iz0, iy0, ix0, iz1, iy1, ix1);
    m_fSWave = m_fSWaveNext;
    return r != 0 ? r : PropagateStep(nType, iz0, iy0, ix0, iz1, iy1, ix1);
}

float CCalc3D::SWaveRamp(double tCur, double dFreq)
{
    const double T = 1.0 / dFreq;
    const double u = (tCur - T) / 3.0;
    if (!(u > 0.0))
        return 0.0f;   // also a frequency of 0 (T infinite)
    if (u >= T)
        return 1.0f;
    float s = (float)sin(dFreq * 1.5707963267948966 * u);
    return s * s;
}

CString ResultFileStem(const COndexApp& app)
{
    CString strBase = app.m_strModelPW;
    if (strBase.IsEmpty())
        strBase = "Model";
    // Both separators count: job files are written on either kind of system.
    const int nSlash = strBase.ReverseFind('/');
    const int nBack = strBase.ReverseFind('\\');
    const int nCut = nSlash > nBack ? nSlash : nBack;
    if (nCut >= 0)
        strBase = strBase.Mid(nCut + 1);
    CString strName = app.m_strOutputDir.IsEmpty() ? strBase : app.m_strOutputDir + strBase;
    const int nDot = strName.ReverseFind('.');
    if (nDot > 0)
        strName = strName.Left(nDot);
    return strName;
}

void ComponentSuffix(char cComponent, char* szComp)
{
    szComp[0] = szComp[1] = 0;
    switch (cComponent)
    {
    case 'X': szComp[0] = 'x'; break;
    case 'Y': szComp[0] = 'y'; break;
    case 'Z': szComp[0] = 'z'; break;
    case 'C': szComp[0] = 'c'; break;
    case ' ': break;
    default: szComp[0] = cComponent; break;
    }
}

CString CCalc3D::GetFileName(int nType, char cComponent, bool bTemplate, bool bMerged, double rValue)
{
    const CString strName = ResultFileStem(*m_pApp);

    const char* pszKind;
    switch (nType)
    {
    case 0: pszKind = "Gath"; break;
    case 1: pszKind = "Snap"; break;
    case 2: pszKind = "Time"; break;
    case 3: pszKind = "3DSnap"; break;
    default: pszKind = "Unknown"; break;
    }

    const char* pszMethod;
    int nType3 = m_pApp->m_Type;
    if (nType3 == 100)
        pszMethod = "I";
    else if (nType3 == 101)
        pszMethod = "A";
    else if (nType3 == 102)
        pszMethod = "E";
    else if (nType3 >= 103)
        pszMethod = "N";
    else
        pszMethod = "U";   // no such method code is ever read from a job file

    char cDir;
    switch (m_nSourceType)
    {
    case 1: cDir = 'X'; break;
    case 2: cDir = 'Y'; break;
    case 3: cDir = 'Z'; break;
    default: cDir = 'U'; break;
    }

    char szComp[2];
    ComponentSuffix(cComponent, szComp);

    CString strNote;
    bool bNote = false;
    if (nType == 2)
    {
        if (rValue == 0.0)
        {
            strNote = "(MaxEnergy)";
            bNote = true;
        }
        else if (rValue == 1.0)
        {
            strNote = "(MaxDiv)";
            bNote = true;
        }
    }
    else if (nType == 3)
        strNote.Format("(t=%g)", rValue);

    const char* pszExt = nType == 1 ? ".vmg" : ".sgy";

    CString strResult;
    if (bMerged)
        strResult.Format("%s+%s3D%sP%c%s%s%s", (const char*)strName, pszKind, pszMethod, cDir, szComp,
                         (const char*)strNote, pszExt);
    else if (bTemplate)
    {
        // The template is a printf format for the shot number: a '%' of the
        // directory or model name must stand for itself.
        CString strEscaped;
        for (int i = 0; i < strName.GetLength(); ++i)
        {
            if (strName[i] == '%')
                strEscaped += '%';
            strEscaped += strName[i];
        }
        strResult.Format("%s+%s3D%sP%c%s%s-%%d%s", (const char*)strEscaped, pszKind, pszMethod, cDir, szComp,
                         (const char*)strNote, pszExt);
    }
    else if (nType == 2 && !m_bTimeMerge)
    {
        CString strPos;
        if (bNote)
            strPos.Format("_%d_%d_%d", (int)floor(m_ptShot.x), (int)floor(m_ptShot.y), (int)floor(m_ptShot.z));
        strResult.Format("%s+%s3D%sP%c%s%s%s%s", (const char*)strName, pszKind, pszMethod, cDir, szComp,
                         (const char*)strNote, (const char*)strPos, pszExt);
    }
    else
        strResult.Format("%s+%s3D%sP%c%s%s-%d%s", (const char*)strName, pszKind, pszMethod, cDir, szComp,
                         (const char*)strNote, m_nShot, pszExt);
    return strResult;
}
