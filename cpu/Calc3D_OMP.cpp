// CCalc3D_OMP: the CPU engine. The wave-field operations (memory, schemes,
// source injection, recording) are not part of this build yet: each says so
// once and answers with a failure, so that no shot is computed by pretence.

#include "cpu/Calc3D_OMP.h"

#include "base/Output.h"

// Reports an operation that this build lacks, once per operation and process
// (the time loop would repeat it every step otherwise).
static void ReportMissing(bool& bReported, const char* pszOperation)
{
    if (bReported)
        return;
    bReported = true;
    u_Error("Error! %s is not available in this build of the CPU engine.\n", pszOperation);
}

#define OMP_MISSING(name)                 \
    do                                    \
    {                                     \
        static bool s_bReported = false;  \
        ReportMissing(s_bReported, name); \
    } while (0)

CCalc3D_OMP::CCalc3D_OMP(COndexApp& app)
    : CCalc3D(app),
      m_pUx(nullptr), m_pUy(nullptr), m_pUz(nullptr),
      m_pTxx(nullptr), m_pTyy(nullptr), m_pTzz(nullptr),
      m_pTxy(nullptr), m_pTxz(nullptr), m_pTyz(nullptr),
      m_pViscoG(nullptr)
{
    for (int i = 0; i < 2; i++)
        m_pTimeMax[i] = m_pTimeArr[i] = nullptr;
    for (int i = 0; i < 4; i++)
        m_pSeis[i] = nullptr;
}

CCalc3D_OMP::~CCalc3D_OMP()
{
    FreeMemory(true, true, true, true, true);
}

static void FreeGrid(float*& p)
{
    delete[] p;
    p = nullptr;
}

// Releases whatever of the named groups exists; safe to repeat.
int CCalc3D_OMP::FreeMemory(bool bModel, bool bWave, bool bSeis, bool bTime, bool bPlane)
{
    if (bModel)
    {
        float** ppModel[] = {&m_pVp, &m_pVs, &m_pRho, &m_pQ,
                             &m_pAnisEps, &m_pAnisDelta, &m_pAnisGamma, &m_pAnisAlpha, &m_pAnisPhi,
                             &m_pC11, &m_pC12, &m_pC13, &m_pC22, &m_pC23, &m_pC33, &m_pC44, &m_pC55, &m_pC66,
                             &m_pC14, &m_pC15, &m_pC16, &m_pC24, &m_pC25, &m_pC26, &m_pC34, &m_pC35, &m_pC36,
                             &m_pC45, &m_pC46, &m_pC56, &m_pViscoM};
        for (float** pp : ppModel)
            FreeGrid(*pp);
    }
    if (bWave)
    {
        float** ppWave[] = {&m_pUx, &m_pUy, &m_pUz, &m_pTxx, &m_pTyy, &m_pTzz, &m_pTxy, &m_pTxz, &m_pTyz,
                            &m_pViscoG,
                            &m_pPmlBXMLo, &m_pPmlBXPHi, &m_pPmlAXMLo, &m_pPmlAXPHi,
                            &m_pPmlBXPLo, &m_pPmlBXMHi, &m_pPmlAXPLo, &m_pPmlAXMHi,
                            &m_pPmlBYMLo, &m_pPmlBYPHi, &m_pPmlAYMLo, &m_pPmlAYPHi,
                            &m_pPmlBYPLo, &m_pPmlBYMHi, &m_pPmlAYPLo, &m_pPmlAYMHi,
                            &m_pPmlBZMLo, &m_pPmlBZPHi, &m_pPmlAZMLo, &m_pPmlAZPHi,
                            &m_pPmlBZPLo, &m_pPmlBZMHi, &m_pPmlAZPLo, &m_pPmlAZMHi};
        for (float** pp : ppWave)
            FreeGrid(*pp);
    }
    if (bSeis)
        for (float*& p : m_pSeis)
            FreeGrid(p);
    if (bTime)
    {
        for (float*& p : m_pTimeMax)
            FreeGrid(p);
        for (float*& p : m_pTimeArr)
            FreeGrid(p);
    }
    if (bPlane)
        FreeGrid(m_pPlane);
    return 0;
}

int CCalc3D_OMP::AllocateMemory(bool, bool)
{
    OMP_MISSING("Grid memory (AllocateMemory)");
    return 1;
}

int CCalc3D_OMP::AllocateMemorySeismogram()
{
    OMP_MISSING("Seismogram memory (AllocateMemorySeismogram)");
    return 1;
}

int CCalc3D_OMP::LoadModel()
{
    OMP_MISSING("Model upload (LoadModel)");
    return -1;
}

int CCalc3D_OMP::ApplySignal(int)
{
    OMP_MISSING("Source injection (ApplySignal)");
    return -1;
}

int CCalc3D_OMP::PropagateAcoWaveU(int, int, int, int, int, int)
{
    OMP_MISSING("The acoustic scheme (PropagateAcoWaveU)");
    return -1;
}

int CCalc3D_OMP::PropagateAcoWaveTau(int, int, int, int, int, int)
{
    OMP_MISSING("The acoustic scheme (PropagateAcoWaveTau)");
    return -1;
}

int CCalc3D_OMP::PropagateElaWaveU(int, int, int, int, int, int)
{
    OMP_MISSING("The elastic scheme (PropagateElaWaveU)");
    return -1;
}

int CCalc3D_OMP::PropagateElaWaveTau(int, int, int, int, int, int)
{
    OMP_MISSING("The elastic scheme (PropagateElaWaveTau)");
    return -1;
}

int CCalc3D_OMP::PropagateOrtWaveTau(int, int, int, int, int, int)
{
    OMP_MISSING("The orthorhombic scheme (PropagateOrtWaveTau)");
    return -1;
}

int CCalc3D_OMP::PropagateAniWaveTau(int, int, int, int, int, int)
{
    OMP_MISSING("The general anisotropic scheme (PropagateAniWaveTau)");
    return -1;
}

int CCalc3D_OMP::PropagateTimeField()
{
    OMP_MISSING("The time field (PropagateTimeField)");
    return -1;
}

int CCalc3D_OMP::RecordSeismogram()
{
    OMP_MISSING("Seismogram recording (RecordSeismogram)");
    return -1;
}

float* CCalc3D_OMP::GrabShotgather(char)
{
    OMP_MISSING("Shot gather output (GrabShotgather)");
    return nullptr;
}

float* CCalc3D_OMP::Grab2DSnapshot(char, char)
{
    OMP_MISSING("2D snapshot output (Grab2DSnapshot)");
    return nullptr;
}

float* CCalc3D_OMP::Grab3DSnapshot(CCubeN&, C3DSizeN&, char)
{
    OMP_MISSING("3D snapshot output (Grab3DSnapshot)");
    return nullptr;
}

float* CCalc3D_OMP::GrabTimeField(int)
{
    OMP_MISSING("Time field output (GrabTimeField)");
    return nullptr;
}

int CCalc3D_OMP::GetCalcPlane(int, int, int, float** ppPlane, bool)
{
    OMP_MISSING("Plane exchange (GetCalcPlane)");
    if (ppPlane)
        *ppPlane = nullptr;
    return -1;
}

int CCalc3D_OMP::SetCalcPlane(int, int, int, float*)
{
    OMP_MISSING("Plane exchange (SetCalcPlane)");
    return -1;
}

int CCalc3D_OMP::FreeCalcPlane(float**)
{
    OMP_MISSING("Plane exchange (FreeCalcPlane)");
    return -1;
}
