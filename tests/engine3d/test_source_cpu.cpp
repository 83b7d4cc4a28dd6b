// The CPU engine's edges to the outside: source injection signs per source
// type and method, bad source steps and cells, and seismogram recording in
// both modes.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "OmpTestGrid.h"
#include "common/TestUtil.h"
#include "engine3d/common.h"

namespace
{

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

} // namespace
