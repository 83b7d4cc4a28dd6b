// The CPU engine's edges to the outside: memory report and grids per
// method, source injection signs per source type, seismogram recording in
// both modes, snapshots, the time field and the depth exchange planes.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "OmpTestGrid.h"
#include "common/TestUtil.h"
#include "engine3d/common.h"

namespace
{

const double kMB = 1048576.0;

// ---------------------------------------------------------------- memory

struct MemCase
{
    const char* pszName;
    int nMethod;
    bool bQ;
    int L;
    int W;            // 0: no PML
    int nRec, nSteps;
    bool bBig;
    int nTimeBits;
    double dGrids;    // model + particle + visco grids, in grid units
};

void PrintTo(const MemCase& c, std::ostream* os)
{
    *os << c.pszName;
}

class MemoryEstimate : public ::testing::TestWithParam<MemCase>
{
};

TEST_P(MemoryEstimate, RequiredMemoryFollowsTheCount)
{
    const MemCase& c = GetParam();
    OmpTestGrid g(20, 10, 8, c.nMethod, c.W);
    CCalc3D_OMP& e = g.E();
    if (c.bQ)
        g.app->m_strModelQ = "q.sgy";
    e.m_nViscoL = c.L;
    e.m_vRcvCells.assign(c.nRec, 0);
    e.m_nSeisLen = c.nSteps;
    g.app->m_bBigSeismogram = c.bBig;
    e.m_nTimeField = c.nTimeBits;
    e.m_nTimeNx = 5;
    e.m_nTimeNy = 4;
    e.m_nTimeNz = 3;
    ASSERT_EQ(0, e.AllocateMemory(true, true));

    const double G = 1600.0 * 4 / kMB;
    double expected = c.dGrids * G;
    expected += (c.bBig ? c.nRec : (double)c.nRec * c.nSteps) * 16 / kMB;
    if (c.W)
        expected += (8.0 * 10 * c.W + 8.0 * 20 * c.W + 10.0 * 20 * c.W) * (c.nMethod >= 102 ? 20 : 12) * 4 / kMB;
    const int nBits = (c.nTimeBits & 1) + ((c.nTimeBits >> 1) & 1);
    expected += nBits * 2.0 * 60 * 4 / kMB;
    EXPECT_NEAR(expected, g.app->m_fMemNeeded, 1e-12);
    EXPECT_EQ(64 * 1024.0, g.app->m_fMemAvailable);
    EXPECT_EQ(nullptr, e.m_pVp);   // an estimate allocates nothing
}

INSTANTIATE_TEST_SUITE_P(
    Methods, MemoryEstimate,
    ::testing::Values(MemCase{"Acoustic", 101, false, 0, 0, 0, 0, false, 0, 6},
                      MemCase{"AcousticQ", 101, true, 0, 0, 0, 0, false, 0, 7},
                      MemCase{"AcousticPmlSeis", 101, false, 0, 3, 7, 100, false, 0, 6},
                      MemCase{"AcousticBigSeis", 101, false, 0, 0, 7, 100, true, 0, 6},
                      MemCase{"AcousticTimeBoth", 101, false, 0, 0, 0, 0, false, 3, 6},
                      MemCase{"AcousticTimeDiv", 101, false, 0, 0, 0, 0, false, 2, 6},
                      MemCase{"Elastic", 102, false, 0, 0, 0, 0, false, 0, 12},
                      // Q grid counted, then one taken off for L > 0; 3L + 6L visco grids.
                      MemCase{"ViscoQ", 102, true, 2, 0, 0, 0, false, 0, 3 + 9 + 18},
                      MemCase{"ElasticPml", 102, false, 0, 3, 0, 0, false, 0, 12},
                      MemCase{"Orthorhombic", 103, false, 0, 0, 0, 0, false, 0, 10 + 9},
                      MemCase{"General", 104, false, 0, 0, 0, 0, false, 0, 22 + 9}),
    [](const ::testing::TestParamInfo<MemCase>& info) { return std::string(info.param.pszName); });

TEST(OmpMemory, GridsPerMethod)
{
    {
        OmpTestGrid g(20, 10, 8, 101, 3);
        CCalc3D_OMP& e = g.E();
        ASSERT_EQ(0, e.AllocateMemory(false, true));
        EXPECT_TRUE(e.m_pVp && e.m_pRho && e.m_pUx && e.m_pUy && e.m_pUz && e.m_pTxx && e.m_pPlane);
        EXPECT_FALSE(e.m_pVs || e.m_pQ || e.m_pTyy || e.m_pTzz || e.m_pTxy || e.m_pC11 || e.m_pViscoG);
        EXPECT_EQ(8u * 10 * 3, e.m_nPmlCellsX);
        EXPECT_EQ(8u * 20 * 3, e.m_nPmlCellsY);
        EXPECT_EQ(10u * 20 * 3, e.m_nPmlCellsZ);
        for (int n = 0; n < CCalc3D_OMP::PSI_NAMED; n++)
            EXPECT_EQ(n < CCalc3D_OMP::PSI_ACOUSTIC, *e.PsiArray(n, nullptr) != nullptr) << n;
        EXPECT_TRUE(e.m_pPmlBXMLo && e.m_pPmlAZMHi);
        EXPECT_EQ(nullptr, e.m_pPsiAni[0]);
        // Zero-filled.
        for (size_t i = 0; i < g.Cells(); i++)
            ASSERT_EQ(0.0f, e.m_pTxx[i]);
    }
    {
        OmpTestGrid g(20, 10, 8, 104, 3);
        g.app->m_strAnisFile[4] = "azimuth.sgy";
        CCalc3D_OMP& e = g.E();
        ASSERT_EQ(0, e.AllocateMemory(false, true));
        EXPECT_TRUE(e.m_pVs && e.m_pTyy && e.m_pTyz && e.m_pC11 && e.m_pC66 && e.m_pC14 && e.m_pC56);
        EXPECT_TRUE(e.m_pAnisAlpha != nullptr);   // the azimuth key feeds the tilt grid
        EXPECT_FALSE(e.m_pAnisEps || e.m_pAnisPhi);
        for (int n = 0; n < CCalc3D_OMP::PSI_NAMED; n++)
            EXPECT_NE(nullptr, *e.PsiArray(n, nullptr)) << n;
        for (float* p : e.m_pPsiAni)
            EXPECT_NE(nullptr, p);
        e.FreeMemory(false, true, false, false, false);
        EXPECT_EQ(nullptr, e.m_pUx);
        EXPECT_EQ(nullptr, e.m_pPsiAni[53]);
        EXPECT_EQ(nullptr, e.m_pPmlBXMLo);
        EXPECT_NE(nullptr, e.m_pVp);   // model untouched
        EXPECT_EQ(0, e.FreeMemory(true, true, true, true, true));
        EXPECT_EQ(0, e.FreeMemory(true, true, true, true, true));   // harmless twice
        EXPECT_EQ(nullptr, e.m_pVp);
        EXPECT_EQ(nullptr, e.m_pPlane);
    }
}

TEST(OmpMemory, LimitAndExhaustion)
{
    {
        OmpTestGrid g(64, 64, 64, 101);
        g.app->m_nMemoryLimit = 1;   // 6 grids of 1 MB each are needed
        EXPECT_EQ(2, g.E().AllocateMemory(false, true));
        g.app->m_nMemoryLimit = 6;
        EXPECT_EQ(0, g.E().AllocateMemory(false, true));
    }
    {
        // A size whose byte count does not even fit in 64 bits.
        OmpTestGrid g(2000000, 2000000, 2000000, 101);
        EXPECT_EQ(1, g.E().AllocateMemory(false, true));
        EXPECT_EQ(nullptr, g.E().m_pRho);
    }
    {
        // A trace length whose product with the receivers wraps around.
        OmpTestGrid g(8, 8, 8, 101);
        g.E().m_vRcvCells = {1, 2, 3};
        g.E().m_nSeisLen = SIZE_MAX / 2;
        EXPECT_EQ(1, g.E().AllocateMemorySeismogram());
        EXPECT_EQ(nullptr, g.E().m_pSeis[0]);
        g.E().m_nSeisLen = (size_t)1 << 50;   // no wrap, just far too much
        EXPECT_EQ(1, g.E().AllocateMemorySeismogram());
    }
}

// The memory report, line by line in its order, with the numbers worked
// out here from the grid sizes; then the stop over the configured limit.
TEST(OmpMemory, ReportTextsAndLimitMessage)
{
    OmpTestGrid g(128, 96, 64, 101, 21);
    CCalc3D_OMP& e = g.E();
    e.m_vRcvCells.assign(3, 0);
    e.m_nSeisLen = 1000;
    e.m_nTimeField = 2;
    e.m_nTimeNx = 50;
    e.m_nTimeNy = 40;
    e.m_nTimeNz = 30;

    ::testing::internal::CaptureStdout();
    const int nResult = e.AllocateMemory(false, false);
    const std::string out = ::testing::internal::GetCapturedStdout();
    ASSERT_EQ(0, nResult) << out;

    const double G = 128.0 * 96 * 64 * 4 / kMB;                  // 3 MB a grid
    const double dSeis = 3.0 * 1000 * 16 / kMB;
    const double dTime = 2.0 * 50 * 40 * 30 * 4 / kMB;
    const double dPlane = 64.0 * 128 * 4 / kMB;
    const double dPml = (64.0 * 96 * 21 + 64.0 * 128 * 21 + 96.0 * 128 * 21) * 12 * 4 / kMB;
    const double dTotal = 6 * G + dSeis + dTime + dPml;
    char line[256];
    std::vector<std::string> expected;
    snprintf(line, sizeof(line), "Model grids (x,y,z)=(128x96x64) 2x%1.2f MB = %1.0f MB.\n", G, 2 * G);
    expected.push_back(line);
    snprintf(line, sizeof(line), "Particle components (x,y,z)=(128x96x64) 4x%1.2f MB = %1.0f MB.\n", G, 4 * G);
    expected.push_back(line);
    snprintf(line, sizeof(line), "Seismogram (n,t)=(3x1000) 4x%1.2f MB = %1.0f MB.\n", dSeis / 4, dSeis);
    expected.push_back(line);
    snprintf(line, sizeof(line), "Time Field Grids %1.0f MB.\n", dTime);
    expected.push_back(line);
    snprintf(line, sizeof(line), "Additioal Grids %1.0f MB.\n", dPlane);
    expected.push_back(line);
    snprintf(line, sizeof(line), "PML Grids = %1.0f MB\n", dPml);
    expected.push_back(line);
    snprintf(line, sizeof(line), "Total Required = %1.0f MB, Available = %1.0f MB (Configured)\n", dTotal,
             64 * 1024.0);
    expected.push_back(line);
    ASSERT_NE(std::string::npos, out.find(" Memory")) << out;
    size_t pos = out.find(" Memory");
    for (const std::string& s : expected)
    {
        const size_t at = out.find(s, pos);
        ASSERT_NE(std::string::npos, at) << "missing or out of order: " << s << "in:\n" << out;
        pos = at + s.size();
    }
    EXPECT_EQ(std::string::npos, out.find("Visco-elastic")) << out;
    EXPECT_NE(std::string::npos, out.find("-----\n", pos)) << "closing separator\n" << out;

    // Big seismogram mode reports one sample per receiver.
    g.app->m_bBigSeismogram = true;
    ::testing::internal::CaptureStdout();
    e.AllocateMemory(true, false);
    const std::string outBig = ::testing::internal::GetCapturedStdout();
    snprintf(line, sizeof(line), "Seismogram (n)=(3) 4x%1.2f MB = %1.0f MB.\n", 3 * 4 / kMB, 3 * 16 / kMB);
    EXPECT_NE(std::string::npos, outBig.find(line)) << outBig;
    g.app->m_bBigSeismogram = false;

    // Over the stop limit: the grids are taken first, then the stop.
    g.app->m_nMemoryLimit = 20;
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(2, e.AllocateMemory(false, true));
    const std::string outLimit = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(std::string::npos, outLimit.find("Error! Required memory exceeds 20 MB. Compuataion stops.\n"))
        << outLimit;
    EXPECT_NE(nullptr, e.m_pTxx);
}

TEST(OmpMemory, LoadModelPutsFieldAtRest)
{
    OmpTestGrid g(12, 11, 10, 101, 3);
    CCalc3D_OMP& e = g.E();
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    e.m_vRcvCells = {5, 6};
    e.m_nSeisLen = 4;
    ASSERT_EQ(0, e.AllocateMemorySeismogram());
    std::mt19937 rng(3);
    OmpTestGrid::FillRandom(e.m_pUx, g.Cells(), rng, 1, 2);
    OmpTestGrid::FillRandom(e.m_pTxx, g.Cells(), rng, 1, 2);
    OmpTestGrid::FillRandom(e.m_pVp, g.Cells(), rng, 1, 2);
    OmpTestGrid::FillRandom(e.m_pPsiUzZHi, e.m_nPmlCellsZ, rng, 1, 2);
    OmpTestGrid::FillRandom(e.m_pSeis[3], 8, rng, 1, 2);
    EXPECT_EQ(0, e.LoadModel());
    for (size_t i = 0; i < g.Cells(); i++)
    {
        ASSERT_EQ(0.0f, e.m_pUx[i]);
        ASSERT_EQ(0.0f, e.m_pTxx[i]);
        ASSERT_NE(0.0f, e.m_pVp[i]);   // the model stays
    }
    for (size_t i = 0; i < e.m_nPmlCellsZ; i++)
        ASSERT_EQ(0.0f, e.m_pPsiUzZHi[i]);
    for (int i = 0; i < 8; i++)
        EXPECT_EQ(0.0f, e.m_pSeis[3][i]);
}

TEST(OmpMemory, CalcPlaneCodes)
{
    OmpTestGrid g(6, 5, 7, 102);
    CCalc3D_OMP& e = g.E();
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    float* expected[10] = {nullptr, e.m_pUx, e.m_pUy, e.m_pUz, e.m_pTzz, e.m_pTxx,
                           e.m_pTyy, e.m_pTxy, e.m_pTxz, e.m_pTyz};
    for (int c = 1; c <= 9; c++)
    {
        float* p = nullptr;
        EXPECT_EQ(0, e.GetCalcPlane(c, 3, 3, &p, false));
        EXPECT_EQ(expected[c] + 6 * 5 * 3, p) << c;
    }
    for (int c : {0, 10, -1})
    {
        float* p = e.m_pUx;
        EXPECT_EQ(-1, e.GetCalcPlane(c, 3, 3, &p, false));
        EXPECT_EQ(nullptr, p);
    }
    float* p = e.m_pUx;
    EXPECT_EQ(-1, e.GetCalcPlane(1, 7, 7, &p, false));   // past the last plane
    EXPECT_EQ(nullptr, p);
    EXPECT_EQ(0, e.SetCalcPlane(1, 3, 3, e.m_pUx));
    EXPECT_EQ(0, e.FreeCalcPlane(&p));
}

// ---------------------------------------------------------------- source

struct SigCase
{
    int nMethod;
    int nType;
    bool bFree;
    const char* pszGrids;   // grids that change, in the order of pExpected: any of X Y Z P Q R (xx yy zz) a b c (xy xz yz)
    float expected[6];
};

void PrintTo(const SigCase& c, std::ostream* os)
{
    *os << c.nMethod << "/type " << c.nType << (c.bFree ? "/free" : "/clear");
}

class SourceSigns : public ::testing::TestWithParam<SigCase>
{
};

float* GridOf(CCalc3D_OMP& e, char c)
{
    switch (c)
    {
    case 'X': return e.m_pUx;
    case 'Y': return e.m_pUy;
    case 'Z': return e.m_pUz;
    case 'P': return e.m_pTxx;
    case 'Q': return e.m_pTyy;
    case 'R': return e.m_pTzz;
    case 'a': return e.m_pTxy;
    case 'b': return e.m_pTxz;
    case 'c': return e.m_pTyz;
    default: return nullptr;
    }
}

// Every grid starts at 2 in the source cell, the signal sample is 0.25 and
// the weights k11..k23 are 1..6.
TEST_P(SourceSigns, OneStep)
{
    const SigCase& c = GetParam();
    OmpTestGrid g(8, 8, 8, c.nMethod);
    CCalc3D_OMP& e = g.E();
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    const size_t i = g.Index(4, 4, 4);
    const char* all = c.nMethod == 101 ? "XYZP" : "XYZPQRabc";
    for (const char* p = all; *p; p++)
        GridOf(e, *p)[i] = 2.0f;
    for (size_t k = 0; k < g.Cells(); k++)
        e.m_pRho[k] = 1.0f;
    for (int k = 0; k < 6; k++)
        e.m_fK[k] = (float)(k + 1);
    e.m_vSrcTensors = {CShotTauK(-1, -2, -3, -4, -5, -6)};
    e.m_nSourceType = c.nType;
    e.m_vSources = {C3DShotPoint(i, c.bFree ? 1 : 0)};
    e.m_Signal.m_pData = new float[3]{0.0f, 0.25f, 0.0f};
    e.m_Signal.m_nLen = 3;
    ASSERT_EQ(0, e.ApplySignal(1));

    for (const char* p = all; *p; p++)
    {
        const char* pos = strchr(c.pszGrids, *p);
        const float want = pos ? c.expected[pos - c.pszGrids] : 2.0f;
        EXPECT_EQ(want, GridOf(e, *p)[i]) << "grid " << *p;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Types, SourceSigns,
    ::testing::Values(
        // Method 101: the flag turns the sign of pressure and horizontal forces.
        SigCase{101, 0, true, "P", {1.75f}}, SigCase{101, 0, false, "P", {2.25f}},
        SigCase{101, 1, true, "X", {2.25f}}, SigCase{101, 1, false, "X", {1.75f}},
        SigCase{101, 2, true, "Y", {2.25f}}, SigCase{101, 2, false, "Y", {1.75f}},
        SigCase{101, 3, true, "Z", {1.75f}}, SigCase{101, 3, false, "Z", {1.75f}},
        SigCase{101, 7, true, "P", {1.75f}}, SigCase{101, 7, false, "P", {0.25f}},
        SigCase{101, 4, true, "P", {1.75f}}, SigCase{101, 9, false, "P", {2.25f}},
        // Methods 102 to 104.
        SigCase{102, 0, false, "PQR", {2.25f, 2.25f, 2.25f}},
        SigCase{102, 1, true, "X", {2.25f}}, SigCase{102, 1, false, "X", {2.25f}},
        SigCase{102, 2, false, "Y", {2.25f}}, SigCase{102, 3, false, "Z", {1.75f}},
        SigCase{103, 4, false, "P", {2.25f}}, SigCase{103, 5, false, "Q", {2.25f}},
        SigCase{104, 6, false, "R", {1.75f}},
        SigCase{102, 8, false, "abc", {2.0f + 0.25f * 4, 2.0f + 0.25f * 5, 2.0f + 0.25f * 6}},
        SigCase{102, 9, false, "PQRabc", {2.25f, 2.5f, 2.75f, 3.0f, 3.25f, 3.5f}},
        SigCase{102, 10, false, "PQRabc", {1.75f, 1.5f, 1.25f, 1.0f, 0.75f, 0.5f}},
        SigCase{102, 7, false, "PQR", {2.25f, 2.25f, 2.25f}}));

// Elastic explosive source: the sign follows the cell above, empty or not.
TEST(OmpSource, ElasticOmniBelowEmptyCellSubtracts)
{
    OmpTestGrid g(8, 8, 8, 102);
    CCalc3D_OMP& e = g.E();
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    e.m_nSourceType = 0;
    e.m_Signal.m_pData = new float[1]{0.5f};
    e.m_Signal.m_nLen = 1;
    for (size_t k = 0; k < g.Cells(); k++)
        e.m_pRho[k] = 1.0f;
    e.m_pRho[g.Index(3, 3, 2)] = 0.0f;                                 // empty above (3,3,3)
    e.m_pRho[g.Index(5, 5, 2)] = std::numeric_limits<float>::quiet_NaN(); // NaN is not empty
    e.m_vSources = {C3DShotPoint(g.Index(3, 3, 3), 0), C3DShotPoint(g.Index(3, 3, 4), 0),
                    C3DShotPoint(g.Index(5, 5, 3), 0)};
    ASSERT_EQ(0, e.ApplySignal(0));
    EXPECT_EQ(-0.5f, e.m_pTxx[g.Index(3, 3, 3)]);
    EXPECT_EQ(-0.5f, e.m_pTyy[g.Index(3, 3, 3)]);
    EXPECT_EQ(-0.5f, e.m_pTzz[g.Index(3, 3, 3)]);
    EXPECT_EQ(0.5f, e.m_pTzz[g.Index(3, 3, 4)]);
    EXPECT_EQ(0.5f, e.m_pTxx[g.Index(5, 5, 3)]);
}

TEST(OmpSource, BadStepOrCellIsRefused)
{
    OmpTestGrid g(8, 8, 8, 101);
    CCalc3D_OMP& e = g.E();
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    e.m_Signal.m_pData = new float[2]{1.0f, 1.0f};
    e.m_Signal.m_nLen = 2;
    e.m_vSources = {C3DShotPoint(g.Cells(), 0)};
    EXPECT_EQ(-200, e.ApplySignal(0));
    e.m_vSources = {C3DShotPoint(10, 0)};
    EXPECT_EQ(-200, e.ApplySignal(2));
    EXPECT_EQ(-200, e.ApplySignal(-1));
    EXPECT_EQ(0, e.ApplySignal(1));
    // Type 10 without a tensor for the point.
    OmpTestGrid g2(8, 8, 8, 102);
    ASSERT_EQ(0, g2.E().AllocateMemory(false, true));
    g2.E().m_nSourceType = 10;
    g2.E().m_Signal.m_pData = new float[1]{1.0f};
    g2.E().m_Signal.m_nLen = 1;
    g2.E().m_vSources = {C3DShotPoint(100, 0)};
    EXPECT_EQ(-200, g2.E().ApplySignal(0));
}

// ---------------------------------------------------------------- seismogram

// A fresh working directory for the big seismogram file, left on exit.
struct TempCwd : testutil::TempDir
{
    TempCwd() : TempDir(true, "ondex_seis") { EXPECT_TRUE(ok()); }
};

// Receiver r at step t sees Ux = r + 10 t, Uy = -that, Uz = 2*that,
// Txx = 100 + that, Tyy = Tzz = 1 where they exist.
void SetField(OmpTestGrid& g, const std::vector<size_t>& cells, int t)
{
    CCalc3D_OMP& e = g.E();
    for (size_t r = 0; r < cells.size(); r++)
    {
        const float v = (float)(r + 10 * t);
        e.m_pUx[cells[r]] = v;
        e.m_pUy[cells[r]] = -v;
        e.m_pUz[cells[r]] = 2 * v;
        e.m_pTxx[cells[r]] = 100 + v;
        if (e.m_pTyy)
            e.m_pTyy[cells[r]] = 1.0f;
        if (e.m_pTzz)
            e.m_pTzz[cells[r]] = 1.0f;
    }
}

TEST(OmpSeismogram, NormalModeLayoutAndScale)
{
    for (int nMethod : {101, 102})
    {
        SCOPED_TRACE(nMethod);
        OmpTestGrid g(8, 8, 8, nMethod);
        CCalc3D_OMP& e = g.E();
        ASSERT_EQ(0, e.AllocateMemory(false, true));
        const std::vector<size_t> cells = {g.Index(3, 3, 3), g.Index(4, 2, 5), g.Index(2, 5, 4)};
        e.m_vRcvCells = cells;
        e.m_nSeisLen = 4;
        e.m_nSeisPos = 0;
        ASSERT_EQ(0, e.AllocateMemorySeismogram());
        for (int t = 0; t < 6; t++)   // two calls more than the trace holds
        {
            SetField(g, cells, t);
            ASSERT_EQ(0, e.RecordSeismogram());
        }
        EXPECT_EQ(4u, e.m_nSeisPos);
        for (int t = 0; t < 4; t++)
            for (int r = 0; r < 3; r++)
            {
                const float v = (float)(r + 10 * t);
                const size_t k = r + 3 * t;
                EXPECT_EQ(v * KOEF_VELOCITY, e.GrabShotgather('X')[k]);
                EXPECT_EQ(-v * KOEF_VELOCITY, e.GrabShotgather('Y')[k]);
                EXPECT_EQ(2 * v * KOEF_VELOCITY, e.GrabShotgather('Z')[k]);
                EXPECT_EQ(2 * v * KOEF_VELOCITY, e.GrabShotgather('?')[k]);   // any other means Z
                const float c = nMethod == 101 ? 100 + v : (100 + v + 1.0f + 1.0f) / 3.0f;
                EXPECT_EQ(c, e.GrabShotgather('C')[k]);
            }
    }
}

TEST(OmpSeismogram, BigModeWritesAndReadsBack)
{
    TempCwd cwd;
    OmpTestGrid g(8, 8, 8, 101);
    CCalc3D_OMP& e = g.E();
    g.app->m_bBigSeismogram = true;
    g.app->m_nNode = 0;
    g.app->m_nActiveShot = 17;
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    const std::vector<size_t> cells = {g.Index(3, 3, 3), g.Index(4, 2, 5)};
    e.m_vRcvCells = cells;
    e.m_nSeisLen = 5;
    ASSERT_EQ(0, e.AllocateMemorySeismogram());
    ASSERT_EQ(0, access("BigSeis-0(17).bin", F_OK));
    for (int t = 0; t < 5; t++)
    {
        SetField(g, cells, t);
        ASSERT_EQ(0, e.RecordSeismogram());
        EXPECT_EQ((float)(10 * t) * KOEF_VELOCITY, e.m_pSeis[0][0]);   // one sample of all receivers
    }
    const float* pC = e.GrabShotgather('C');   // closes the file for writing
    struct stat st;
    ASSERT_EQ(0, stat("BigSeis-0(17).bin", &st));
    ASSERT_NE(nullptr, pC);
    for (int t = 0; t < 5; t++)
        for (int r = 0; r < 2; r++)
            EXPECT_EQ(100.0f + r + 10 * t, pC[r + 2 * t]);
    EXPECT_EQ(16 + 5 * 4 * 2 * 4, (int)st.st_size);
    const float* pY = e.GrabShotgather('Y');
    ASSERT_NE(nullptr, pY);
    EXPECT_EQ(-(1.0f + 10 * 3) * KOEF_VELOCITY, pY[1 + 2 * 3]);
}

TEST(OmpSeismogram, BigModeRefusesForeignOrShortFile)
{
    TempCwd cwd;
    OmpTestGrid g(8, 8, 8, 101);
    CCalc3D_OMP& e = g.E();
    g.app->m_bBigSeismogram = true;
    g.app->m_nActiveShot = 3;
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    e.m_vRcvCells = {10, 20, 30};
    e.m_nSeisLen = 4;
    ASSERT_EQ(0, e.AllocateMemorySeismogram());
    for (int t = 0; t < 3; t++)   // one sample short
        ASSERT_EQ(0, e.RecordSeismogram());
    EXPECT_EQ(nullptr, e.GrabShotgather('X'));

    // Another shot's file under this name.
    g.app->m_nActiveShot = 4;
    FILE* f = fopen("BigSeis-0(4).bin", "wb");
    ASSERT_NE(nullptr, f);
    const int32_t hdr[2] = {821222, 5};
    const int64_t n = 3;
    fwrite(hdr, 4, 2, f);
    fwrite(&n, 8, 1, f);
    fclose(f);
    EXPECT_EQ(nullptr, e.GrabShotgather('X'));
    // No file at all.
    g.app->m_nActiveShot = 9;
    EXPECT_EQ(nullptr, e.GrabShotgather('X'));
}

TEST(OmpSeismogram, UnwritableBigFileFallsBackToNormalMode)
{
    TempCwd cwd;
    OmpTestGrid g(8, 8, 8, 101);
    CCalc3D_OMP& e = g.E();
    g.app->m_bBigSeismogram = true;
    g.app->m_nActiveShot = 2;
    ASSERT_EQ(0, mkdir("BigSeis-0(2).bin", 0755));   // a directory cannot be opened for writing
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    e.m_vRcvCells = {10, 20};
    e.m_nSeisLen = 6;
    ASSERT_EQ(0, e.AllocateMemorySeismogram());
    EXPECT_FALSE(g.app->m_bBigSeismogram);
    for (int t = 0; t < 6; t++)
    {
        e.m_pUz[20] = (float)t;
        ASSERT_EQ(0, e.RecordSeismogram());
    }
    EXPECT_EQ(5.0f * KOEF_VELOCITY, e.GrabShotgather('Z')[1 + 2 * 5]);   // full record kept
}

TEST(OmpSeismogram, NoReceiversNoBuffers)
{
    OmpTestGrid g(8, 8, 8, 101);
    CCalc3D_OMP& e = g.E();
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    e.m_nSeisLen = 10;
    ASSERT_EQ(0, e.AllocateMemorySeismogram());
    for (float* p : e.m_pSeis)
        EXPECT_EQ(nullptr, p);
    EXPECT_EQ(0, e.RecordSeismogram());
}

// ---------------------------------------------------------------- snapshots

TEST(OmpSnapshot, ThreeDResampling)
{
    OmpTestGrid g(6, 5, 4, 101);
    CCalc3D_OMP& e = g.E();
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    for (int z = 0; z < 4; z++)
        for (int y = 0; y < 5; y++)
            for (int x = 0; x < 6; x++)
            {
                e.m_pUx[g.Index(x, y, z)] = (float)(x + 10 * y + 100 * z);
                e.m_pTxx[g.Index(x, y, z)] = (float)(x + 10 * y + 100 * z);
            }
    // Two columns onto four samples repeat them; three planes onto six too.
    CCubeN cube(2, 1, 1, 4, 1, 2);   // z 2..4 reaches one plane past the grid
    C3DSizeN size(4, 1, 6);
    float* p = e.Grab3DSnapshot(cube, size, 'X');
    ASSERT_NE(nullptr, p);
    for (int k = 0; k < 6; k++)
        for (int i = 0; i < 4; i++)
        {
            const int x = 1 + (int)(i * 2.0 / 4 + 0.5);
            const int z = 2 + (int)(k * 3.0 / 6 + 0.5);
            const float want = z >= 4 ? 0.0f : (x + 10 + 100 * z) * KOEF_VELOCITY;
            EXPECT_EQ(want, p[k * 4 + i]) << i << "," << k;
        }
    delete[] p;
    // Pressure unscaled under 'C' and '0'; a missing grid gives null.
    float* pc = e.Grab3DSnapshot(cube, size, 'C');
    ASSERT_NE(nullptr, pc);
    EXPECT_EQ(211.0f, pc[0]);
    delete[] pc;
    EXPECT_EQ(nullptr, e.Grab3DSnapshot(cube, size, '1'));
}

TEST(OmpSnapshot, TwoDSlices)
{
    OmpTestGrid g(6, 5, 4, 101);
    CCalc3D_OMP& e = g.E();
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    for (int z = 0; z < 4; z++)
        for (int y = 0; y < 5; y++)
            for (int x = 0; x < 6; x++)
                e.m_pTxx[g.Index(x, y, z)] = (float)(x + 10 * y + 100 * z);
    e.m_cubeGrid = CCubeR(1000, 2000, 0, 1050, 2040, 30);
    e.m_ptShot = C3DPointR(1020, 2010, 0);   // cell x 2, y 1
    e.m_dSnapYOffset = 10;                    // one cell further
    float* p = e.Grab2DSnapshot('Y', 'C');    // x = 3, all y and z
    ASSERT_EQ(e.m_pPlane, p);
    EXPECT_EQ(3.0f + 10 * 4 + 100 * 2, p[2 * 5 + 4]);
    p = e.Grab2DSnapshot('X', 'C');           // y = 2, all x and z
    EXPECT_EQ(5.0f + 10 * 2 + 100 * 3, p[3 * 6 + 5]);
    // Outside the grid nothing is written.
    e.m_dSnapYOffset = 1000;
    p[0] = -7.0f;
    EXPECT_EQ(e.m_pPlane, e.Grab2DSnapshot('X', 'C'));
    EXPECT_EQ(-7.0f, p[0]);
}

// ---------------------------------------------------------------- time field

TEST(OmpTimeField, MaximaAndTheirTimes)
{
    OmpTestGrid g(12, 12, 12, 101, 0, 3);
    CCalc3D_OMP& e = g.E();
    e.m_nTimeField = 3;
    e.m_nTimeNx = 3;
    e.m_nTimeNy = 2;
    e.m_nTimeNz = 2;
    e.m_dTimeDx = 20;   // every second cell in x
    e.m_dTimeDy = 10;
    e.m_dTimeDz = 10;
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    // Output (2, 1, 1) looks at cell (3 + 4, 3 + 1, 3 + 1).
    const size_t v = g.Index(7, 4, 4);
    const size_t out = (1 * 2 + 1) * 3 + 2;
    e.m_pUx[v] = 1.0f;
    e.m_pUy[v] = 2.0f;
    e.m_pUz[v] = 2.0f;
    e.m_pUx[v + 1] = 4.0f;                  // divergence 3 - 2 - 2 = -1 -> 1
    e.m_tCur = 0.5;
    ASSERT_EQ(0, e.PropagateTimeField());
    EXPECT_EQ(9.0f, e.GrabTimeField(2)[out]);
    EXPECT_EQ(0.5f, e.GrabTimeField(0)[out]);
    EXPECT_EQ(1.0f, e.GrabTimeField(3)[out]);
    EXPECT_EQ(0.5f, e.GrabTimeField(1)[out]);
    // Larger later values renew the record, smaller ones leave it alone.
    e.m_pUx[v] = -3.0f;                     // energy 17, divergence |7 - 2 - 2| = 3
    e.m_tCur = 0.75;
    ASSERT_EQ(0, e.PropagateTimeField());
    EXPECT_EQ(17.0f, e.GrabTimeField(2)[out]);
    EXPECT_EQ(0.75f, e.GrabTimeField(0)[out]);
    EXPECT_EQ(3.0f, e.GrabTimeField(3)[out]);
    EXPECT_EQ(0.75f, e.GrabTimeField(1)[out]);
    e.m_pUx[v] = 0.0f;
    e.m_tCur = 1.0;
    ASSERT_EQ(0, e.PropagateTimeField());
    EXPECT_EQ(17.0f, e.GrabTimeField(2)[out]);
    EXPECT_EQ(0.75f, e.GrabTimeField(0)[out]);
    EXPECT_EQ(3.0f, e.GrabTimeField(3)[out]);
    EXPECT_EQ(0.75f, e.GrabTimeField(1)[out]);
    // Untouched samples keep value and time 0.
    EXPECT_EQ(0.0f, e.GrabTimeField(2)[0]);
    EXPECT_EQ(0.0f, e.GrabTimeField(0)[0]);
    EXPECT_EQ(nullptr, e.GrabTimeField(4));
    e.m_nTimeField = 0;
    EXPECT_EQ(1, e.PropagateTimeField());
}

} // namespace
