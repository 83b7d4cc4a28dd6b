// CCalc3D_OMP: the CPU engine. Object life here; memory, schemes and
// source/recording live in the Calc3D_OMP_*.cpp files. The anisotropic
// schemes are not part of this build: each says so once and
// answers with a failure, so that no shot is computed by pretence.

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
      m_pViscoG(nullptr),
      m_pBigSeis(nullptr), m_pBigShot(nullptr)
{
    for (int i = 0; i < 2; i++)
        m_pTimeMax[i] = m_pTimeArr[i] = nullptr;
    for (int i = 0; i < 4; i++)
        m_pSeis[i] = nullptr;
    for (int n = 0; n < PSI_NAMED; n++)
        *PsiArray(n, nullptr) = nullptr;
    for (float*& p : m_pPsiAni)
        p = nullptr;
}

CCalc3D_OMP::~CCalc3D_OMP()
{
    FreeMemory(true, true, true, true, true);
    if (m_pBigSeis)
    {
        fclose(m_pBigSeis);
        m_pBigSeis = nullptr;
    }
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
