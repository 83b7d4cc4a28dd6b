// The anisotropic stress steps against each other and against the elastic
// one: an isotropic medium given as nine constants is the elastic scheme;
// twelve zero coupling constants make the 21-constant step the nine-constant
// one, bit for bit; and the row sweeps give the bits of a plain loop over
// the per-cell functions.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "AniBox.h"
#include "cpu/AniSweep.h"

namespace
{

struct CrossCase
{
    const char* pszName;
    int W;        // 0: sponge
    int nAir;     // planes of air on top (free surface)
    float fS;     // < 0: SuppressSV off
    int L;        // relaxation mechanisms
};

const AniModel kIso = {2500.0, 1300.0, 2100.0, 0.0, 0.0, 0.0, 0.0, 0.0};
const AniModel kVti = {2500.0, 1300.0, 2100.0, 0.2, 0.1, 0.15, 0.0, 0.0};

void Configure(AniBox& b, const CrossCase& c)
{
    b.E().m_bSuppressSV = c.fS >= 0.0f;
    b.E().m_fSWave = c.fS >= 0.0f ? c.fS : 1.0f;
}

// Steps of an explosion (Ricker, 25 Hz) at one cell; the three velocities of
// a line of receivers after every step are appended to rec.
void Shoot(AniBox& b, int nSteps, std::vector<float>& rec)
{
    CCalc3D_OMP& e = b.E();
    const int cx = e.m_nx / 2, cy = e.m_ny / 2, cz = e.m_nz / 2;
    const size_t s = b.Index(cx, cy, cz);
    for (int n = 0; n < nSteps; n++)
    {
        const float a = (float)RickerW(n * e.m_dt - 0.04, 25.0);
        e.m_pTxx[s] += a;
        e.m_pTyy[s] += a;
        e.m_pTzz[s] += a;
        ASSERT_EQ(0, b.Step());
        for (int k = -6; k <= 6; k += 3)
            for (float* p : {e.m_pUx, e.m_pUy, e.m_pUz})
                rec.push_back(p[b.Index(cx + k, cy + k / 2, cz - k)]);
    }
}

const CrossCase kCases[] = {
    {"pml", 6, 0, -1.0f, 0},   {"sponge", 0, 0, -1.0f, 0}, {"pml_surface", 6, 6, -1.0f, 0},
    {"sponge_ramp", 0, 0, 0.3f, 0}, {"pml_fluid_start", 6, 0, 0.0f, 0}, {"pml_visco", 6, 3, -1.0f, 2},
};

TEST(AniCross, NineIsotropicConstantsAreTheElasticScheme)
{
    for (const CrossCase& c : kCases)
    {
        if (c.L > 0)
            continue;   // the relaxed nine constants are formed differently
        SCOPED_TRACE(c.pszName);
        AniBox ela(30, 30, 30, 102, c.W, 8, 0.001, kIso, c.nAir);
        AniBox ort(30, 30, 30, 103, c.W, 8, 0.001, kIso, c.nAir);
        ASSERT_TRUE(ela.ok && ort.ok);
        Configure(ela, c);
        Configure(ort, c);
        std::vector<float> a, b;
        Shoot(ela, 100, a);
        Shoot(ort, 100, b);
        float dMax = 0.0f, dAmp = 0.0f;
        for (size_t i = 0; i < a.size(); i++)
        {
            dMax = std::max(dMax, std::fabs(a[i] - b[i]));
            dAmp = std::max(dAmp, std::fabs(a[i]));
        }
        ASSERT_GT(dAmp, 0.0f);
        // Measured: up to 3.0e-7 of the peak; the two routes to the moduli
        // (FormA in GPa, the elastic fill in float) differ in the last bits.
        EXPECT_LT(dMax / dAmp, 2e-6f) << dMax << " of " << dAmp;
    }
}

TEST(AniCross, ZeroCouplingConstantsGiveTheOrthorhombicBits)
{
    for (const CrossCase& c : kCases)
    {
        SCOPED_TRACE(c.pszName);
        // Both with a halo of 3, so that the boxes and slabs coincide.
        AniBox ort(30, 31, 29, 103, c.W, 8, 0.001, kVti, c.nAir, c.L, 3);
        AniBox ani(30, 31, 29, 104, c.W, 8, 0.001, kVti, c.nAir, c.L, 3);
        ASSERT_TRUE(ort.ok && ani.ok);
        Configure(ort, c);
        Configure(ani, c);
        std::vector<float> a, b;
        Shoot(ort, 80, a);
        Shoot(ani, 80, b);
        ASSERT_EQ(a.size(), b.size());
        size_t nDiff = 0;
        for (size_t i = 0; i < a.size(); i++)
            nDiff += a[i] == b[i] ? 0 : 1;
        EXPECT_EQ(0u, nDiff);
    }
}

// One stress step of the engine against a triple loop over the per-cell
// function, on random fields and a tilted medium, PML and sponge.
TEST(AniCross, RowSweepsGiveThePerCellBits)
{
    const AniModel tilted = {2500.0, 1300.0, 2100.0, 0.3, -0.05, 0.1, 35.0, 20.0};
    for (int nMethod : {103, 104})
        for (const CrossCase& c : kCases)
        {
            SCOPED_TRACE(std::string(c.pszName) + (nMethod == 103 ? " 103" : " 104"));
            AniBox run(37, 36, 35, nMethod, c.W, 10, 0.001, tilted, c.nAir, c.L);
            AniBox ref(37, 36, 35, nMethod, c.W, 10, 0.001, tilted, c.nAir, c.L);
            ASSERT_TRUE(run.ok && ref.ok);
            Configure(run, c);
            Configure(ref, c);
            std::mt19937 rng(7);
            const std::vector<float*> fr = run.Fields(), ff = ref.Fields();
            for (size_t k = 0; k < fr.size(); k++)
            {
                OmpTestGrid::FillRandom(fr[k], run.g->Cells(), rng, -1.0f, 1.0f);
                memcpy(ff[k], fr[k], run.g->Cells() * sizeof(float));
            }
            CCalc3D_OMP& e = run.E();
            const int h = e.m_nHalo;
            ASSERT_EQ(0, run.Step());
            CCalc3D_OMP& r = ref.E();
            r.PropagateElaWaveU(h, h, h, r.m_nz - h - 1, r.m_ny - h - 1, r.m_nx - h - 1);
            fd::Box b;
            ani::AniStep s;
            ASSERT_EQ(0, nMethod == 103 ? ani::OrtStepOf(r, h, h, h, r.m_nz - h - 1, r.m_ny - h - 1, r.m_nx - h - 1,
                                                         b, s.o)
                                        : ani::AniStepOf(r, h, h, h, r.m_nz - h - 1, r.m_ny - h - 1, r.m_nx - h - 1,
                                                         b, s));
            for (int z = b.z0; z <= b.z1; z++)
                for (int y = b.y0; y <= b.y1; y++)
                    for (int x = b.x0; x <= b.x1; x++)
                        nMethod == 103 ? ort::OrtCellTau(s.o, x, y, z) : ani::AniCellTau(s, x, y, z);
            for (size_t k = 0; k < fr.size(); k++)
                EXPECT_EQ(0, memcmp(fr[k], ff[k], run.g->Cells() * sizeof(float))) << "field " << k;
        }
}

// The stress steps report a NaN in Txx at the middle column of a row of
// their box (-150); one elsewhere goes unnoticed for now.
TEST(AniCross, NaNInTheCheckedColumnStopsTheStep)
{
    for (int nMethod : {103, 104})
        for (int dx : {0, 6})
        {
            AniBox b(24, 24, 24, nMethod, 0, 6, 0.001, kVti);
            ASSERT_TRUE(b.ok);
            CCalc3D_OMP& e = b.E();
            const int h = e.m_nHalo, xm = h + (e.m_nx - 1 - 2 * h) / 2;
            uint32_t bits = 0x7fc00001u;
            memcpy(&e.m_pTxx[b.Index(xm + dx, 12, 9)], &bits, sizeof(bits));
            EXPECT_EQ(dx == 0 ? -150 : 0, b.Step()) << nMethod << " column " << xm + dx;
        }
}

} // namespace
