// The elastic scheme of the CPU engine against a plain triple loop that
// calls the per-cell functions, which make every test per cell (slab
// membership, sponge distance, surface, mechanisms). The record the loop
// hands them is built here from the engine's arrays by their names, so the
// wiring of the 36 memory arrays and 24 profiles is checked as well as the
// row cutting, the vectorised runs and the thread split.

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "cpu/ElaScheme.h"
#include "engine3d/OmpTestGrid.h"

namespace
{

// The record of the per-cell functions for one half step, from the arrays'
// names: per axis the derivatives along it with the stencil of each (D-
// takes the M profiles, D+ the P ones).
ela::ElaStep RefStep(CCalc3D_OMP& e, bool bTau)
{
    ela::ElaStep s = {};
    s.f = {e.m_pUx, e.m_pUy, e.m_pUz, e.m_pTxx, e.m_pTyy, e.m_pTzz, e.m_pTxy, e.m_pTxz, e.m_pTyz,
           e.m_pRho, e.m_pVp, e.m_pVs, e.m_nx, (int64_t)e.m_nx * e.m_ny};
    s.g = {e.m_nx, e.m_ny, e.m_bPML ? e.m_nPML : 0, e.m_nHalo, e.m_nZ0, e.m_nZAll};
    s.bPML = e.m_bPML;
    s.taper = e.m_fTaper;
    s.nTaper = e.m_nTaper;
    s.bSuppressSV = e.m_bSuppressSV;
    s.fS = e.m_bSuppressSV ? e.m_fSWave : 1.0f;
    s.q = e.m_nViscoL > 0 ? nullptr : e.m_pQ;
    s.visco = {e.m_pViscoM, e.m_pViscoG, e.m_nViscoL, (float)e.m_dt};
    if (!e.m_bPML)
        return s;
    // [axis] {aMLo, bMLo, aPLo, bPLo, aMHi, bMHi, aPHi, bPHi}
    const float* const prof[3][8] = {
        {e.m_pPmlAXMLo, e.m_pPmlBXMLo, e.m_pPmlAXPLo, e.m_pPmlBXPLo, e.m_pPmlAXMHi, e.m_pPmlBXMHi, e.m_pPmlAXPHi,
         e.m_pPmlBXPHi},
        {e.m_pPmlAYMLo, e.m_pPmlBYMLo, e.m_pPmlAYPLo, e.m_pPmlBYPLo, e.m_pPmlAYMHi, e.m_pPmlBYMHi, e.m_pPmlAYPHi,
         e.m_pPmlBYPHi},
        {e.m_pPmlAZMLo, e.m_pPmlBZMLo, e.m_pPmlAZPLo, e.m_pPmlBZPLo, e.m_pPmlAZMHi, e.m_pPmlBZMHi, e.m_pPmlAZPHi,
         e.m_pPmlBZPHi}};
    for (int axis = 0; axis < 3; axis++)
        for (int side = 0; side < 2; side++)
            for (int st = 0; st < 2; st++)
            {
                const int k = 4 * side + (st == fd::kMinus ? 0 : 2);
                s.prof.a[axis][st][side] = prof[axis][k];
                s.prof.b[axis][st][side] = prof[axis][k + 1];
            }
    // Velocity step: x: D-x Txx, D+x Txy, D+x Txz; y: D+y Txy, D-y Tyy,
    // D+y Tyz; z: D+z Txz, D+z Tyz, D-z Tzz. Stress step: x: ex = D+x Ux,
    // a2 = D-x Uy, b2 = D-x Uz; y: ey, a1 = D-y Ux, c2 = D-y Uz; z: ez,
    // b1 = D-z Ux, c1 = D-z Uy.
    float* const vel[3][3][2] = {
        {{e.m_pPsiTxxXLo, e.m_pPsiTxxXHi}, {e.m_pPsiTxyXLo, e.m_pPsiTxyXHi}, {e.m_pPsiTxzXLo, e.m_pPsiTxzXHi}},
        {{e.m_pPsiTxyYLo, e.m_pPsiTxyYHi}, {e.m_pPsiTyyYLo, e.m_pPsiTyyYHi}, {e.m_pPsiTyzYLo, e.m_pPsiTyzYHi}},
        {{e.m_pPsiTxzZLo, e.m_pPsiTxzZHi}, {e.m_pPsiTyzZLo, e.m_pPsiTyzZHi}, {e.m_pPsiTzzZLo, e.m_pPsiTzzZHi}}};
    float* const tau[3][3][2] = {
        {{e.m_pPsiUxXLo, e.m_pPsiUxXHi}, {e.m_pPsiUyXLo, e.m_pPsiUyXHi}, {e.m_pPsiUzXLo, e.m_pPsiUzXHi}},
        {{e.m_pPsiUyYLo, e.m_pPsiUyYHi}, {e.m_pPsiUxYLo, e.m_pPsiUxYHi}, {e.m_pPsiUzYLo, e.m_pPsiUzYHi}},
        {{e.m_pPsiUzZLo, e.m_pPsiUzZHi}, {e.m_pPsiUxZLo, e.m_pPsiUxZHi}, {e.m_pPsiUyZLo, e.m_pPsiUyZHi}}};
    memcpy(s.psi, bTau ? tau : vel, sizeof(s.psi));
    return s;
}

// W 0: sponge; a depth group node's first plane and the planes below it;
// the box narrowed from the full range; SuppressSV and its ramp; Q; mechanisms.
struct ElaCase { const char* pszName; int nx, ny, nz, W, nZ0, nZAllExtra, dx0, dy0, dx1, dy1; bool bSuppressSV;
    float fS; bool bQ; int L; };

void PrintTo(const ElaCase& c, std::ostream* os) { *os << c.pszName; }

// Every array the scheme reads or writes, as (pointer, element count).
std::vector<std::pair<float*, size_t>> StateArrays(OmpTestGrid& g)
{
    CCalc3D_OMP& e = g.E();
    const size_t n = g.Cells();
    std::vector<std::pair<float*, size_t>> v = {
        {e.m_pUx, n},  {e.m_pUy, n},  {e.m_pUz, n},  {e.m_pTxx, n}, {e.m_pTyy, n}, {e.m_pTzz, n},
        {e.m_pTxy, n}, {e.m_pTxz, n}, {e.m_pTyz, n}, {e.m_pRho, n}, {e.m_pVp, n},  {e.m_pVs, n}};
    if (e.m_pQ)
        v.push_back({e.m_pQ, n});
    if (e.m_pViscoM)
        v.push_back({e.m_pViscoM, 3 * n * e.m_nViscoL});
    if (e.m_pViscoG)
        v.push_back({e.m_pViscoG, 6 * n * e.m_nViscoL});
    if (e.m_bPML)
    {
        for (auto& p : g.Profiles())
            v.push_back({p.first, g.SlabCells(p.second)});
        for (int k = 0; k < CCalc3D_OMP::PSI_NAMED; k++)
        {
            int nAxis = 0;
            float* p = *e.PsiArray(k, &nAxis);
            v.push_back({p, g.SlabCells(nAxis)});
        }
    }
    return v;
}

// Random fields, coefficients (with empty cells, so that the surface test
// goes both ways), memory variables, profiles, taper, damping, mechanisms.
void Randomise(OmpTestGrid& g, unsigned seed)
{
    std::mt19937 rng(seed);
    CCalc3D_OMP& e = g.E();
    const size_t n = g.Cells();
    for (float* p : {e.m_pUx, e.m_pUy, e.m_pUz, e.m_pTxx, e.m_pTyy, e.m_pTzz, e.m_pTxy, e.m_pTxz, e.m_pTyz})
        OmpTestGrid::FillRandom(p, n, rng, -1.0f, 1.0f);
    OmpTestGrid::FillRandom(e.m_pRho, n, rng, 0.0f, 0.3f);
    OmpTestGrid::FillRandom(e.m_pVp, n, rng, 0.0f, 0.3f);
    OmpTestGrid::FillRandom(e.m_pVs, n, rng, 0.0f, 0.1f);
    std::uniform_int_distribution<int> pick(0, 5);
    for (size_t i = 0; i < n; i++)
        if (pick(rng) == 0)
            e.m_pRho[i] = e.m_pVp[i] = e.m_pVs[i] = 0.0f;
    if (e.m_pQ)
        OmpTestGrid::FillRandom(e.m_pQ, n, rng, 0.9f, 1.0f);
    if (e.m_pViscoM)
    {
        const int L = e.m_nViscoL;
        std::uniform_real_distribution<float> w(0.0f, 0.2f), tau(0.002f, 0.05f);
        for (size_t i = 0; i < n * L; i++)
        {
            e.m_pViscoM[3 * i] = w(rng);
            e.m_pViscoM[3 * i + 1] = w(rng);
            e.m_pViscoM[3 * i + 2] = tau(rng);
        }
        // In every third row a sixth of the cells without attenuation (the
        // plain path); the other rows attenuate throughout (the row loops).
        for (size_t i = 0; i < n; i++)
            if ((i / e.m_nx) % 3 == 0 && pick(rng) == 0)
                e.m_pViscoM[3 * L * i + 2] = 1.0f;
        OmpTestGrid::FillRandom(e.m_pViscoG, 6 * n * L, rng, -0.1f, 0.1f);
    }
    g.RandomPmlAndTaper(rng, CCalc3D_OMP::PSI_NAMED);
}

::testing::AssertionResult SameBits(size_t nArray, const float* a, const float* b, size_t n)
{
    if (memcmp(a, b, n * sizeof(float)) == 0)
        return ::testing::AssertionSuccess();
    for (size_t i = 0; i < n; i++)
        if (memcmp(a + i, b + i, sizeof(float)) != 0)
            return ::testing::AssertionFailure()
                   << "array " << nArray << " differs first at element " << i << ": " << a[i] << " vs " << b[i];
    return ::testing::AssertionFailure();
}

class ElaMatchesReference : public ::testing::TestWithParam<ElaCase>
{
};

std::unique_ptr<OmpTestGrid> MakeGrid(const ElaCase& c)
{
    std::unique_ptr<OmpTestGrid> g(new OmpTestGrid(c.nx, c.ny, c.nz, 102, c.W, 6));
    CCalc3D_OMP& e = g->E();
    e.m_nZ0 = c.nZ0;
    e.m_nZ1 = c.nZ0 + c.nz - 1;
    e.m_nZAll = c.nZ0 + c.nz + c.nZAllExtra;
    e.m_bSuppressSV = c.bSuppressSV;
    e.m_fSWave = c.fS;
    e.m_nViscoL = c.L;
    if (c.bQ)
        g->app->m_strModelQ = "q.sgy";
    return g;
}

TEST_P(ElaMatchesReference, ThreeStepsBitForBit)
{
    const ElaCase& c = GetParam();
    std::unique_ptr<OmpTestGrid> fast = MakeGrid(c), ref = MakeGrid(c);
    CCalc3D_OMP& e = fast->E();
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    ASSERT_EQ(0, ref->E().AllocateMemory(false, true));
    Randomise(*fast, 4321u + c.nx);
    std::vector<std::pair<float*, size_t>> a = StateArrays(*fast), b = StateArrays(*ref);
    ASSERT_EQ(a.size(), b.size());
    for (size_t k = 0; k < a.size(); k++)
        memcpy(b[k].first, a[k].first, a[k].second * sizeof(float));
    memcpy(ref->E().m_fTaper, e.m_fTaper, sizeof(e.m_fTaper));
    const ela::ElaStep ru = RefStep(ref->E(), false), rt = RefStep(ref->E(), true);

    const int h = e.m_nHalo;
    const int z0 = h, z1 = c.nz - h - 1;
    const int y0 = h + c.dy0, y1 = c.ny - h - 1 - c.dy1;
    const int x0 = h + c.dx0, x1 = c.nx - h - 1 - c.dx1;
    for (int step = 0; step < 3; step++)
    {
        for (int half = 0; half < 2; half++)
        {
            SCOPED_TRACE(std::string(half ? "stress" : "velocity") + " step " + std::to_string(step));
            ASSERT_EQ(0, half ? e.PropagateElaWaveTau(z0, y0, x0, z1, y1, x1)
                              : e.PropagateElaWaveU(z0, y0, x0, z1, y1, x1));
            for (int z = z0; z <= z1; z++)
                for (int y = y0; y <= y1; y++)
                    for (int x = x0; x <= x1; x++)
                        half ? ela::ElaCellTau(rt, x, y, z) : ela::ElaCellU(ru, x, y, z);
            for (size_t k = 0; k < a.size(); k++)
                EXPECT_TRUE(SameBits(k, a[k].first, b[k].first, a[k].second));
            if (HasFailure())
                return;
        }
    }
}

// Name, grid, W, depth node, box narrowing, SuppressSV and ramp, Q, L.
INSTANTIATE_TEST_SUITE_P(
    Grids, ElaMatchesReference,
    ::testing::Values(ElaCase{"PmlSurface", 24, 22, 26, 4, 0, 0, 0, 0, 0, 0, false, 1.0f, false, 0},
                      ElaCase{"PmlSuppressSV", 24, 22, 26, 4, 0, 0, 0, 0, 0, 0, true, 0.375f, false, 0},
                      ElaCase{"PmlNarrowBoxQ", 24, 22, 26, 4, 0, 0, 3, 1, 6, 4, false, 1.0f, true, 0},
                      ElaCase{"PmlThinOverlap", 11, 12, 10, 4, 0, 0, 0, 0, 0, 0, false, 1.0f, false, 0},
                      ElaCase{"PmlDepthNodeSV", 20, 19, 14, 4, 3, 7, 0, 0, 0, 0, true, 1.0f, false, 0},
                      ElaCase{"PmlVisco", 23, 21, 22, 4, 0, 0, 0, 0, 0, 0, false, 1.0f, false, 2},
                      ElaCase{"PmlViscoSV", 23, 21, 22, 4, 0, 0, 2, 0, 1, 3, true, 0.5f, true, 2},
                      ElaCase{"SpongeSurface", 24, 22, 26, 0, 0, 0, 0, 0, 0, 0, false, 1.0f, false, 0},
                      ElaCase{"SpongeNarrowBoxSV", 24, 22, 26, 0, 0, 0, 5, 2, 1, 7, true, 0.25f, false, 0},
                      ElaCase{"SpongeQ", 24, 22, 26, 0, 0, 0, 0, 0, 0, 0, true, 1.0f, true, 0},
                      ElaCase{"SpongeThinOverlap", 11, 12, 10, 0, 0, 0, 0, 0, 0, 0, false, 1.0f, false, 0},
                      ElaCase{"SpongeDepthNode", 20, 19, 14, 0, 4, 6, 0, 0, 0, 0, false, 1.0f, false, 0},
                      ElaCase{"SpongeVisco", 23, 21, 22, 0, 0, 0, 0, 0, 0, 0, false, 1.0f, true, 2}),
    [](const ::testing::TestParamInfo<ElaCase>& info) { return std::string(info.param.pszName); });


// Grids the scheme cannot run on: a refusal with -200 and nothing written.
// (A model without S velocity or density files never gets here: the loader
// derives both from the P velocity, and clears an S velocity below its
// threshold, negative ones included, to 0; those rules are tested with the
// loader.)
TEST(ElaBadInput, RefusesMissingGridsWithoutWriting)
{
    const struct { const char* pszName; float* CCalc3D_OMP::*p; } bad[] = {
        {"no shear modulus", &CCalc3D_OMP::m_pVs}, {"no buoyancy", &CCalc3D_OMP::m_pRho},
        {"no stress", &CCalc3D_OMP::m_pTxz}, {"no PML profile", &CCalc3D_OMP::m_pPmlAYPHi},
        {"no PML memory", &CCalc3D_OMP::m_pPsiUzXLo}};
    for (const auto& b : bad)
    {
        SCOPED_TRACE(b.pszName);
        OmpTestGrid g(16, 16, 16, 102, 3, 4);
        CCalc3D_OMP& e = g.E();
        ASSERT_EQ(0, e.AllocateMemory(false, true));
        std::mt19937 rng(7);
        OmpTestGrid::FillRandom(e.m_pTxx, g.Cells(), rng, -1.0f, 1.0f);
        OmpTestGrid::FillRandom(e.m_pRho, g.Cells(), rng, 0.1f, 0.3f);
        const std::vector<float> ux0(e.m_pUx, e.m_pUx + g.Cells());
        float* const pKeep = e.*b.p;
        e.*b.p = nullptr;
        // The velocity step reads no shear modulus (the anisotropic methods
        // have none).
        const bool bVel = e.m_pVs != nullptr;
        EXPECT_EQ(bVel ? -200 : 0, e.PropagateElaWaveU(2, 2, 2, 13, 13, 13));
        EXPECT_EQ(-200, e.PropagateElaWaveTau(2, 2, 2, 13, 13, 13));
        EXPECT_TRUE(!bVel || memcmp(ux0.data(), e.m_pUx, ux0.size() * sizeof(float)) == 0);
        e.*b.p = pKeep;   // so that the engine frees what it allocated
    }
}

} // namespace
