// The acoustic scheme through the engine: energy never grows, the
// instability check, the box kept out of the halo and missing grids. The
// sweeps themselves are compared bit for bit with the per-cell kernels in
// tests/cpu/test_scheme_bits.cpp.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "OmpTestGrid.h"

namespace
{

// Random fields, coefficients, memory variables, profiles and taper.
void Randomise(OmpTestGrid& g, unsigned seed)
{
    std::mt19937 rng(seed);
    CCalc3D_OMP& e = g.E();
    const size_t n = g.Cells();
    OmpTestGrid::FillRandom(e.m_pUx, n, rng, -1.0f, 1.0f);
    OmpTestGrid::FillRandom(e.m_pUy, n, rng, -1.0f, 1.0f);
    OmpTestGrid::FillRandom(e.m_pUz, n, rng, -1.0f, 1.0f);
    OmpTestGrid::FillRandom(e.m_pTxx, n, rng, -1.0f, 1.0f);
    OmpTestGrid::FillRandom(e.m_pRho, n, rng, 0.0f, 0.3f);
    OmpTestGrid::FillRandom(e.m_pVp, n, rng, 0.0f, 0.3f);
    if (e.m_bPML)
    {
        // Each group of four profiles is B, B, A, A.
        std::vector<std::pair<float*, int>> prof = g.Profiles();
        for (size_t k = 0; k < prof.size(); k++)
        {
            const bool bA = (k % 4) >= 2;
            OmpTestGrid::FillRandom(prof[k].first, g.SlabCells(prof[k].second), rng, bA ? 0.5f : -0.5f,
                                    bA ? 1.0f : 0.0f);
        }
        for (int k = 0; k < 12; k++)
        {
            int nAxis = 0;
            float* p = *e.PsiArray(k, &nAxis);
            OmpTestGrid::FillRandom(p, g.SlabCells(nAxis), rng, -0.1f, 0.1f);
        }
    }
    std::uniform_real_distribution<float> d(0.1f, 1.0f);
    e.m_fTaper[0] = 0.0f;
    for (int i = 1; i < 38; i++)
        e.m_fTaper[i] = d(rng);
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
    const double vp = 2000.0, rho = 2000.0, K = 15000.0, r = e.m_dt / e.m_dx;
    const size_t cells = g.Cells();
    for (size_t i = 0; i < cells; i++)
    {
        e.m_pVp[i] = (float)vp;
        e.m_pRho[i] = (float)rho;
    }
    if (bPML)
    {
        ASSERT_EQ(0, e.InitPMLProfile());
    }
    for (size_t i = 0; i < cells; i++)
    {
        e.m_pVp[i] = (float)(rho * vp * vp * r / K);
        e.m_pRho[i] = (float)(r * K / rho);
    }
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

} // namespace
