// The acoustic scheme of the CPU engine against a plain cell-by-cell
// implementation written here from the scheme's equations, with PML and
// with the sponge, on full and narrowed boxes, thin grids and a node of a
// depth group; plus rest, energy and instability behaviour.

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

const float kB1 = 1.125f;
const float kB2 = -0.041666668f;

// The whole acoustic state in plain vectors, and the scheme written the
// obvious way: every cell tests every slab.
struct RefAco
{
    int nx, ny, nz, nZ0, nZAll, h, W, N;
    bool bPML;
    float taper[38];
    std::vector<float> ux, uy, uz, p, B, C;
    std::vector<float> psi[12];   // UxX, TxxX, UyY, TyyY, UzZ, TzzZ; Lo then Hi each
    const CCalc3D_OMP* e;         // profiles are read from the engine, never written

    explicit RefAco(CCalc3D_OMP& eng) : e(&eng)
    {
        nx = eng.m_nx;
        ny = eng.m_ny;
        nz = eng.m_nz;
        nZ0 = eng.m_nZ0;
        nZAll = eng.m_nZAll;
        h = eng.m_nHalo;
        W = eng.m_nPML;
        N = eng.m_nTaper;
        bPML = eng.m_bPML;
        memcpy(taper, eng.m_fTaper, sizeof(taper));
        const size_t n = (size_t)nx * ny * nz;
        ux.assign(eng.m_pUx, eng.m_pUx + n);
        uy.assign(eng.m_pUy, eng.m_pUy + n);
        uz.assign(eng.m_pUz, eng.m_pUz + n);
        p.assign(eng.m_pTxx, eng.m_pTxx + n);
        B.assign(eng.m_pRho, eng.m_pRho + n);
        C.assign(eng.m_pVp, eng.m_pVp + n);
        if (bPML)
            for (int k = 0; k < 12; k++)
            {
                int nAxis = 0;
                float* src = *eng.PsiArray(k, &nAxis);
                const size_t m = nAxis == 0 ? eng.m_nPmlCellsX : nAxis == 1 ? eng.m_nPmlCellsY : eng.m_nPmlCellsZ;
                psi[k].assign(src, src + m);
            }
    }

    static float Dm(const std::vector<float>& f, long i, long s)
    {
        return kB1 * (f[i] - f[i - s]) + kB2 * (f[i + s] - f[i - 2 * s]);
    }
    static float Dp(const std::vector<float>& f, long i, long s)
    {
        return kB1 * (f[i + s] - f[i]) + kB2 * (f[i + 2 * s] - f[i - s]);
    }
    static void Pml(float& d, float& ps, float a, float b)
    {
        ps = a * ps + b * d;
        d = d + ps;
    }

    // Slab corrections of the three derivatives of a cell; M selects the D-
    // profiles (velocity step), else the D+ ones.
    void Slabs(bool M, int x, int y, int z, float& dx, float& dy, float& dz)
    {
        const int zg = z + nZ0;
        const long nxy = (long)nx * ny;
        std::vector<float>* px = M ? &psi[2] : &psi[0];
        std::vector<float>* py = M ? &psi[6] : &psi[4];
        std::vector<float>* pz = M ? &psi[10] : &psi[8];
        if (zg < W + h)
        {
            const long k = (long)(zg - h) * nxy + (long)y * nx + x;
            Pml(dz, pz[0][k], (M ? e->m_pPmlAZMLo : e->m_pPmlAZPLo)[k], (M ? e->m_pPmlBZMLo : e->m_pPmlBZPLo)[k]);
        }
        if (nZAll - zg <= W + h)
        {
            const long k = (long)(nZAll - zg - h - 1) * nxy + (long)y * nx + x;
            Pml(dz, pz[1][k], (M ? e->m_pPmlAZMHi : e->m_pPmlAZPHi)[k], (M ? e->m_pPmlBZMHi : e->m_pPmlBZPHi)[k]);
        }
        if (y < W + h)
        {
            const long k = ((long)z * W + (y - h)) * nx + x;
            Pml(dy, py[0][k], (M ? e->m_pPmlAYMLo : e->m_pPmlAYPLo)[k], (M ? e->m_pPmlBYMLo : e->m_pPmlBYPLo)[k]);
        }
        if (ny - y <= W + h)
        {
            const long k = ((long)z * W + (ny - y - h - 1)) * nx + x;
            Pml(dy, py[1][k], (M ? e->m_pPmlAYMHi : e->m_pPmlAYPHi)[k], (M ? e->m_pPmlBYMHi : e->m_pPmlBYPHi)[k]);
        }
        if (x < W + h)
        {
            const long k = ((long)z * ny + y) * W + (x - h);
            Pml(dx, px[0][k], (M ? e->m_pPmlAXMLo : e->m_pPmlAXPLo)[k], (M ? e->m_pPmlBXMLo : e->m_pPmlBXPLo)[k]);
        }
        if (nx - x <= W + h)
        {
            const long k = ((long)z * ny + y) * W + (nx - x - h - 1);
            Pml(dx, px[1][k], (M ? e->m_pPmlAXMHi : e->m_pPmlAXPHi)[k], (M ? e->m_pPmlBXMHi : e->m_pPmlBXPHi)[k]);
        }
    }

    int Distance(int x, int y, int z) const
    {
        const int zg = z + nZ0;
        return std::min({x, y, nx - 1 - x, ny - 1 - y, zg, nZAll - 1 - zg});
    }

    void StepU(int z0, int y0, int x0, int z1, int y1, int x1)
    {
        const long nxy = (long)nx * ny;
        for (int z = z0; z <= z1; z++)
            for (int y = y0; y <= y1; y++)
                for (int x = x0; x <= x1; x++)
                {
                    const long i = z * nxy + (long)y * nx + x;
                    float dx = Dm(p, i, 1), dy = Dm(p, i, nx), dz = Dm(p, i, nxy);
                    if (bPML)
                        Slabs(true, x, y, z, dx, dy, dz);
                    else
                    {
                        const int m = Distance(x, y, z);
                        if (m < N)
                        {
                            ux[i] *= taper[m];
                            uy[i] *= taper[m];
                            uz[i] *= taper[m];
                        }
                    }
                    ux[i] += B[i] * dx;
                    uy[i] += B[i] * dy;
                    uz[i] += B[i] * dz;
                }
    }

    void StepTau(int z0, int y0, int x0, int z1, int y1, int x1)
    {
        const long nxy = (long)nx * ny;
        for (int z = z0; z <= z1; z++)
            for (int y = y0; y <= y1; y++)
                for (int x = x0; x <= x1; x++)
                {
                    const long i = z * nxy + (long)y * nx + x;
                    float dx = Dp(ux, i, 1), dy = Dp(uy, i, nx), dz = Dp(uz, i, nxy);
                    if (bPML)
                        Slabs(false, x, y, z, dx, dy, dz);
                    p[i] += C[i] * (dx + dy + dz);
                    if (!bPML)
                    {
                        const int m = Distance(x, y, z);
                        if (m < N)
                            p[i] *= taper[m];
                    }
                }
    }
};

// Bitwise equality of a grid of the engine and of the reference.
::testing::AssertionResult SameBits(const char* pszName, const float* pEng, const std::vector<float>& ref)
{
    if (memcmp(pEng, ref.data(), ref.size() * sizeof(float)) == 0)
        return ::testing::AssertionSuccess();
    for (size_t i = 0; i < ref.size(); i++)
        if (memcmp(pEng + i, &ref[i], sizeof(float)) != 0)
            return ::testing::AssertionFailure()
                   << pszName << " differs first at element " << i << ": " << pEng[i] << " vs " << ref[i];
    return ::testing::AssertionFailure();
}

void ExpectSameState(CCalc3D_OMP& e, RefAco& r, const char* pszWhen)
{
    SCOPED_TRACE(pszWhen);
    EXPECT_TRUE(SameBits("Ux", e.m_pUx, r.ux));
    EXPECT_TRUE(SameBits("Uy", e.m_pUy, r.uy));
    EXPECT_TRUE(SameBits("Uz", e.m_pUz, r.uz));
    EXPECT_TRUE(SameBits("P", e.m_pTxx, r.p));
    if (r.bPML)
        for (int k = 0; k < 12; k++)
        {
            SCOPED_TRACE(k);
            EXPECT_TRUE(SameBits("psi", *e.PsiArray(k, nullptr), r.psi[k]));
        }
}

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

struct AcoCase
{
    const char* pszName;
    int nx, ny, nz;
    int W;                 // 0: sponge
    int nTaper;
    int nZ0, nZAllExtra;   // depth group node: first plane and planes below this node
    int dx0, dy0, dx1, dy1;  // box narrowing from the full range
};

void PrintTo(const AcoCase& c, std::ostream* os)
{
    *os << c.pszName;
}

class AcoMatchesReference : public ::testing::TestWithParam<AcoCase>
{
};

TEST_P(AcoMatchesReference, ThreeStepsBitForBit)
{
    const AcoCase& c = GetParam();
    OmpTestGrid g(c.nx, c.ny, c.nz, 101, c.W, c.nTaper);
    CCalc3D_OMP& e = g.E();
    e.m_nZ0 = c.nZ0;
    e.m_nZ1 = c.nZ0 + c.nz - 1;
    e.m_nZAll = c.nZ0 + c.nz + c.nZAllExtra;
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    Randomise(g, 1234u + c.nx);
    RefAco ref(e);

    const int h = e.m_nHalo;
    const int z0 = h, z1 = c.nz - h - 1;
    const int y0 = h + c.dy0, y1 = c.ny - h - 1 - c.dy1;
    const int x0 = h + c.dx0, x1 = c.nx - h - 1 - c.dx1;
    for (int step = 0; step < 3; step++)
    {
        ASSERT_EQ(0, e.PropagateAcoWaveU(z0, y0, x0, z1, y1, x1));
        ref.StepU(z0, y0, x0, z1, y1, x1);
        ExpectSameState(e, ref, "velocity step");
        ASSERT_EQ(0, e.PropagateAcoWaveTau(z0, y0, x0, z1, y1, x1));
        ref.StepTau(z0, y0, x0, z1, y1, x1);
        ExpectSameState(e, ref, "pressure step");
        if (HasFailure())
            return;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Grids, AcoMatchesReference,
    ::testing::Values(AcoCase{"PmlFull", 24, 22, 26, 4, 26, 0, 0, 0, 0, 0, 0},
                      AcoCase{"PmlNarrowBox", 24, 22, 26, 4, 26, 0, 0, 3, 1, 6, 4},
                      AcoCase{"PmlThinOverlap", 11, 12, 10, 4, 26, 0, 0, 0, 0, 0, 0},
                      AcoCase{"PmlDepthNode", 20, 19, 14, 4, 26, 3, 7, 0, 0, 0, 0},
                      AcoCase{"PmlDepthLastNode", 20, 19, 14, 4, 26, 9, 0, 0, 0, 0, 0},
                      AcoCase{"SpongeFull", 24, 22, 26, 0, 6, 0, 0, 0, 0, 0, 0},
                      AcoCase{"SpongeNarrowBox", 24, 22, 26, 0, 6, 0, 0, 5, 2, 1, 7},
                      AcoCase{"SpongeThinOverlap", 11, 12, 10, 0, 6, 0, 0, 0, 0, 0, 0},
                      AcoCase{"SpongeDepthNode", 20, 19, 14, 0, 6, 4, 6, 0, 0, 0, 0}),
    [](const ::testing::TestParamInfo<AcoCase>& info) { return std::string(info.param.pszName); });

// A wave field at rest stays at rest, and so do the memory variables.
TEST(AcoCpu, RestStaysRest)
{
    for (int W : {0, 4})
    {
        SCOPED_TRACE(W);
        OmpTestGrid g(20, 18, 16, 101, W, 6);
        CCalc3D_OMP& e = g.E();
        ASSERT_EQ(0, e.AllocateMemory(false, true));
        std::mt19937 rng(7);
        OmpTestGrid::FillRandom(e.m_pRho, g.Cells(), rng, 0.0f, 0.3f);
        OmpTestGrid::FillRandom(e.m_pVp, g.Cells(), rng, 0.0f, 0.3f);
        if (W)
            for (auto& pr : g.Profiles())
                OmpTestGrid::FillRandom(pr.first, g.SlabCells(pr.second), rng, 0.1f, 1.0f);
        g.FillTaper(0.001);
        for (int step = 0; step < 5; step++)
        {
            ASSERT_EQ(0, e.PropagateAcoWaveU(2, 2, 2, 13, 15, 17));
            ASSERT_EQ(0, e.PropagateAcoWaveTau(2, 2, 2, 13, 15, 17));
        }
        const float* grids[] = {e.m_pUx, e.m_pUy, e.m_pUz, e.m_pTxx};
        for (const float* p : grids)
            for (size_t i = 0; i < g.Cells(); i++)
                ASSERT_EQ(0.0f, p[i]);
        if (W)
            for (int k = 0; k < 12; k++)
            {
                int nAxis = 0;
                const float* p = *e.PsiArray(k, &nAxis);
                for (size_t i = 0; i < g.SlabCells(nAxis); i++)
                    ASSERT_EQ(0.0f, p[i]) << "psi " << k;
            }
    }
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

TEST(AcoCpu, EnergyDoesNotGrowWithSponge)
{
    double dMax = 0, dEnd = 0;
    RunPulse(false, dMax, dEnd);
    EXPECT_LT(dMax, 1.0001);
    EXPECT_LT(dEnd, 0.05);
}

TEST(AcoCpu, EnergyDoesNotGrowAndLeavesThroughPml)
{
    double dMax = 0, dEnd = 0;
    RunPulse(true, dMax, dEnd);
    EXPECT_LT(dMax, 1.0001);
    EXPECT_LT(dEnd, 0.05);
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

// Even an empty x range checks its rows.
TEST(AcoCpu, NaNCheckedAlsoForEmptyXRange)
{
    OmpTestGrid g(20, 18, 16, 101, 0, 6);
    CCalc3D_OMP& e = g.E();
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    e.m_pTxx[g.Index(8, 5, 5)] = std::numeric_limits<float>::quiet_NaN();
    // x0 = 9, x1 = 7: middle column 9 + (-2)/2 = 8.
    EXPECT_EQ(-150, e.PropagateAcoWaveTau(2, 2, 9, 13, 15, 7));
}

// A box that reaches into the halo is kept out of it: nothing outside the
// arrays is read and the halo stays untouched.
TEST(AcoCpu, BoxIsKeptOutOfTheHalo)
{
    for (int W : {0, 4})
    {
        SCOPED_TRACE(W);
        OmpTestGrid g(16, 15, 14, 101, W, 6);
        CCalc3D_OMP& e = g.E();
        ASSERT_EQ(0, e.AllocateMemory(false, true));
        Randomise(g, 5);
        RefAco ref(e);
        EXPECT_EQ(0, e.PropagateAcoWaveU(-5, 0, 1, 100, 15, 99));
        EXPECT_EQ(0, e.PropagateAcoWaveTau(-5, 0, 1, 100, 15, 99));
        ref.StepU(2, 2, 2, 11, 12, 13);
        ref.StepTau(2, 2, 2, 11, 12, 13);
        ExpectSameState(e, ref, "clamped box");
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
