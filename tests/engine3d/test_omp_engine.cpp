// The CPU engine's acoustic scheme and its edges to the outside: energy
// never grows, the instability check, the box kept out of the halo and
// missing grids (the sweeps themselves are compared bit for bit with the
// per-cell kernels in tests/cpu/test_scheme_bits.cpp); source injection
// signs per source type and method, bad source steps and cells, and
// seismogram recording in both modes.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "OmpTestGrid.h"
#include "common/TestUtil.h"
#include "engine3d/common.h"

namespace
{

// Random fields, coefficients, memory variables, profiles and taper.
void Randomise(OmpTestGrid& g, unsigned seed)
{
    std::mt19937 rng(seed);
    CCalc3D_OMP& e = g.E();
    const size_t n = g.Cells();
    for (float* p : {e.m_pUx, e.m_pUy, e.m_pUz, e.m_pTxx})
        OmpTestGrid::FillRandom(p, n, rng, -1.0f, 1.0f);
    OmpTestGrid::FillRandom(e.m_pRho, n, rng, 0.0f, 0.3f);
    OmpTestGrid::FillRandom(e.m_pVp, n, rng, 0.0f, 0.3f);
    g.RandomPmlAndTaper(rng, 12);
}

// Energy of the leapfrog: pressure squared over modulus at step n plus the
// product of the velocities of n - 1/2 and n + 1/2 over buoyancy. For
// the staggered scheme in a closed box this is exactly the quantity kept
// constant (the physical energy up to a constant factor); absorbing
// boundaries may only take from it. Call right after the velocity step,
// with the velocities from before it.
double Energy(OmpTestGrid& g, const std::vector<float>& uOld)
{
    CCalc3D_OMP& e = g.E();
    const size_t n = g.Cells();
    double s = 0.0;
    for (size_t i = 0; i < n; i++)
    {
        if (e.m_pRho[i] > 0)
            s += ((double)uOld[i] * e.m_pUx[i] + (double)uOld[n + i] * e.m_pUy[i] +
                  (double)uOld[2 * n + i] * e.m_pUz[i]) / e.m_pRho[i];
        if (e.m_pVp[i] > 0)
            s += (double)e.m_pTxx[i] * e.m_pTxx[i] / e.m_pVp[i];
    }
    return s;
}

// A smooth pressure pulse in a homogeneous medium (2000 m/s, 2000 kg/m3,
// dx 10 m, dt 1 ms: Courant number 0.2) must not gain energy, and with
// the absorbing boundary it must lose most of it once the wave has left.
void RunPulse(bool bPML, double& dMaxRatio, double& dEndRatio)
{
    const int n = 36;
    OmpTestGrid g(n, n, n, 101, bPML ? 8 : 0, 12);
    CCalc3D_OMP& e = g.E();
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    const size_t cells = g.Cells();
    for (size_t i = 0; i < cells; i++)
        e.m_pVp[i] = e.m_pRho[i] = 2000.0f;
    ASSERT_TRUE(!bPML || e.InitPMLProfile() == 0);
    g.ToCoefficients(e.m_dt);
    g.FillTaper(e.m_dt);
    for (int z = 0; z < n; z++)
        for (int y = 0; y < n; y++)
            for (int x = 0; x < n; x++)
            {
                const double d2 = (x - 18.0) * (x - 18.0) + (y - 17.5) * (y - 17.5) + (z - 18.0) * (z - 18.0);
                e.m_pTxx[g.Index(x, y, z)] = (float)(1000.0 * std::exp(-d2 / 8.0));
            }
    std::vector<float> uOld(3 * cells);
    double e0 = 0.0, eMax = 0.0, eLast = 0.0;
    for (int step = 0; step < 400; step++)
    {
        memcpy(uOld.data(), e.m_pUx, cells * sizeof(float));
        memcpy(uOld.data() + cells, e.m_pUy, cells * sizeof(float));
        memcpy(uOld.data() + 2 * cells, e.m_pUz, cells * sizeof(float));
        ASSERT_EQ(0, e.PropagateAcoWaveU(2, 2, 2, n - 3, n - 3, n - 3));
        eLast = Energy(g, uOld);
        if (step == 0)
            e0 = eLast;
        eMax = std::max(eMax, eLast);
        ASSERT_EQ(0, e.PropagateAcoWaveTau(2, 2, 2, n - 3, n - 3, n - 3));
    }
    ASSERT_GT(e0, 0.0);
    dMaxRatio = eMax / e0;
    dEndRatio = eLast / e0;
}

TEST(AcoCpu, EnergyDoesNotGrowAndLeavesThroughTheBoundary)
{
    for (bool bPML : {false, true})
    {
        double dMax = 0, dEnd = 0;
        RunPulse(bPML, dMax, dEnd);
        EXPECT_LT(dMax, 1.0001) << (bPML ? "PML" : "sponge");
        EXPECT_LT(dEnd, 0.05) << (bPML ? "PML" : "sponge");
    }
}

// The instability check looks at the middle column of every row only.
TEST(AcoCpu, NaNInCheckedColumnGivesMinus150)
{
    for (int W : {0, 4})
    {
        SCOPED_TRACE(W);
        OmpTestGrid g(20, 18, 16, 101, W, 6);
        CCalc3D_OMP& e = g.E();
        ASSERT_EQ(0, e.AllocateMemory(false, true));
        Randomise(g, 99);
        const int x0 = 3, x1 = 14, xm = x0 + (x1 - x0) / 2;
        const float fNaN = std::numeric_limits<float>::quiet_NaN();

        e.m_pTxx[g.Index(xm + 3, 9, 7)] = fNaN;   // not looked at, and not yet spread
        EXPECT_EQ(0, e.PropagateAcoWaveTau(2, 2, x0, 13, 15, x1));
        e.m_pTxx[g.Index(xm, 9, 7)] = fNaN;
        EXPECT_EQ(-150, e.PropagateAcoWaveTau(2, 2, x0, 13, 15, x1));
        // The velocity step never reports.
        EXPECT_EQ(0, e.PropagateAcoWaveU(2, 2, x0, 13, 15, x1));
    }
}

// A box that reaches into the halo is kept out of it: the result is that
// of the largest box clear of the halo, and nothing outside it changes.
TEST(AcoCpu, BoxIsKeptOutOfTheHalo)
{
    for (int W : {0, 4})
    {
        SCOPED_TRACE(W);
        OmpTestGrid g1(16, 15, 14, 101, W, 6), g2(16, 15, 14, 101, W, 6);
        ASSERT_EQ(0, g1.E().AllocateMemory(false, true));
        ASSERT_EQ(0, g2.E().AllocateMemory(false, true));
        Randomise(g1, 5);
        Randomise(g2, 5);
        EXPECT_EQ(0, g1.E().PropagateAcoWaveU(-5, 0, 1, 100, 15, 99));
        EXPECT_EQ(0, g1.E().PropagateAcoWaveTau(-5, 0, 1, 100, 15, 99));
        EXPECT_EQ(0, g2.E().PropagateAcoWaveU(2, 2, 2, 11, 12, 13));
        EXPECT_EQ(0, g2.E().PropagateAcoWaveTau(2, 2, 2, 11, 12, 13));
        const size_t n = g1.Cells() * sizeof(float);
        EXPECT_EQ(0, memcmp(g1.E().m_pUx, g2.E().m_pUx, n));
        EXPECT_EQ(0, memcmp(g1.E().m_pTxx, g2.E().m_pTxx, n));
    }
}

TEST(AcoCpu, MissingGridsAreReported)
{
    OmpTestGrid g(16, 15, 14, 101, 0, 6);
    CCalc3D_OMP& e = g.E();
    EXPECT_EQ(-200, e.PropagateAcoWaveU(2, 2, 2, 11, 12, 13));   // nothing allocated
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    e.m_bPML = true;   // PML asked for after a sponge allocation: no slab arrays
    EXPECT_EQ(-200, e.PropagateAcoWaveTau(2, 2, 2, 11, 12, 13));
}

struct SigCase
{
    int nMethod, nType;
    bool bFree;
    const char* pszGrids;   // grids that change, in the order of expected: X Y Z, P Q R (xx yy zz), a b c (xy xz yz)
    float expected[6];
};

float* GridOf(CCalc3D_OMP& e, char c)
{
    float* const g[] = {e.m_pUx, e.m_pUy, e.m_pUz, e.m_pTxx, e.m_pTyy, e.m_pTzz, e.m_pTxy, e.m_pTxz, e.m_pTyz};
    return g[strchr("XYZPQRabc", c) - "XYZPQRabc"];
}

// Every grid starts at 2 in the source cell, the signal sample is 0.25 and
// the weights k11..k23 are 1..6.
TEST(OmpSource, SignsPerTypeAndMethod)
{
    const SigCase cases[] = {
        // Method 101: the flag turns the sign of pressure and horizontal forces.
        {101, 0, true, "P", {1.75f}}, {101, 0, false, "P", {2.25f}},
        {101, 1, true, "X", {2.25f}}, {101, 1, false, "X", {1.75f}},
        {101, 2, true, "Y", {2.25f}}, {101, 2, false, "Y", {1.75f}},
        {101, 3, true, "Z", {1.75f}}, {101, 3, false, "Z", {1.75f}},
        {101, 7, true, "P", {1.75f}}, {101, 7, false, "P", {0.25f}},
        {101, 4, true, "P", {1.75f}}, {101, 9, false, "P", {2.25f}},
        // Methods 102 to 104.
        {102, 0, false, "PQR", {2.25f, 2.25f, 2.25f}},
        {102, 1, true, "X", {2.25f}}, {102, 1, false, "X", {2.25f}},
        {102, 2, false, "Y", {2.25f}}, {102, 3, false, "Z", {1.75f}},
        {103, 4, false, "P", {2.25f}}, {103, 5, false, "Q", {2.25f}},
        {104, 6, false, "R", {1.75f}},
        {102, 8, false, "abc", {2.0f + 0.25f * 4, 2.0f + 0.25f * 5, 2.0f + 0.25f * 6}},
        {102, 9, false, "PQRabc", {2.25f, 2.5f, 2.75f, 3.0f, 3.25f, 3.5f}},
        {102, 10, false, "PQRabc", {1.75f, 1.5f, 1.25f, 1.0f, 0.75f, 0.5f}},
        {102, 7, false, "PQR", {2.25f, 2.25f, 2.25f}}};
    for (const SigCase& c : cases)
    {
        SCOPED_TRACE(::testing::Message() << c.nMethod << "/type " << c.nType << (c.bFree ? "/free" : "/clear"));
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
}

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
    const size_t a = g.Index(3, 3, 3);
    EXPECT_EQ((std::vector<float>{-0.5f, -0.5f, -0.5f, 0.5f, 0.5f}),
              (std::vector<float>{e.m_pTxx[a], e.m_pTyy[a], e.m_pTzz[a], e.m_pTzz[g.Index(3, 3, 4)],
                                  e.m_pTxx[g.Index(5, 5, 3)]}));
}

TEST(OmpSource, BadStepOrCellIsRefused)
{
    OmpTestGrid g(8, 8, 8, 102);
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
    e.m_nSourceType = 10;   // fault slip without a tensor for the point
    EXPECT_EQ(-200, e.ApplySignal(1));
}

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

// An 8^3 acoustic grid of node 0 recording shot nShot into the big
// seismogram file, in a working directory of its own.
struct BigSeisGrid
{
    testutil::TempDir cwd{true, "ondex_seis"};
    OmpTestGrid g{8, 8, 8, 101};
    explicit BigSeisGrid(int nShot)
    {
        g.app->m_bBigSeismogram = true;
        g.app->m_nNode = 0;
        g.app->m_nActiveShot = nShot;
    }
};

TEST(OmpSeismogram, BigModeWritesAndReadsBack)
{
    BigSeisGrid b(17);
    OmpTestGrid& g = b.g;
    CCalc3D_OMP& e = g.E();
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
    BigSeisGrid b(3);
    OmpTestGrid& g = b.g;
    CCalc3D_OMP& e = g.E();
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
