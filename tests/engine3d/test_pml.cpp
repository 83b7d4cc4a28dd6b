// PML profiles: the coefficients of every slab cell against the formula of
// the convolutional layer, at both ends of each slab, in air, and on the
// last node of a depth group.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "FakeEngine.h"

namespace
{

// The layer's coefficients written out from their definition: damping
// d = d0 s^2 with d0 = -1.5 v ln(R) / (dx W), R = 0.0002, frequency shift
// alpha = (1.1 - s) pi f, A = exp(-(d + alpha) dt), B = d (A - 1) / (d + alpha).
struct Expected
{
    float A, B;
};

Expected Formula(double v, double s, int W, double dx, double dt, double f)
{
    const double d = -1.5 * v * std::log(0.0002) / (dx * W) * s * s;
    const double alpha = (1.1 - s) * M_PI * f;
    const float A = (float)std::exp(-(d + alpha) * dt);
    const double B = d * ((double)A - 1.0) / (d + alpha);
    return {A, (float)B};
}

// A grid of nx x ny x nz cells with Vp = 1000 + 10 x + 100 y + 1000 z, so
// that every cell's velocity is known, and the 24 slab arrays filled with
// NaN to show what was not written.
struct PmlFixture
{
    std::unique_ptr<COndexApp> app;
    std::unique_ptr<CFakeEngine> eng;
    std::vector<float> vp;
    std::vector<std::vector<float>> arrays;
    int W, h = 2;

    PmlFixture(int nx, int ny, int nz, int nW = 3) : W(nW)
    {
        app.reset(new COndexApp());
        eng.reset(new CFakeEngine(*app));
        CFakeEngine& e = *eng;
        e.m_nx = nx;
        e.m_ny = ny;
        e.m_nz = nz;
        e.m_nZ0 = 0;
        e.m_nZ1 = nz - 1;
        e.m_nZAll = nz;
        e.m_nPML = W;
        e.m_nHalo = h;
        e.m_dx = 10.0;
        e.m_dt = 0.001;
        e.m_Signal.m_dFreq = 20.0;
        vp.resize((size_t)nx * ny * nz);
        for (int z = 0; z < nz; z++)
            for (int y = 0; y < ny; y++)
                for (int x = 0; x < nx; x++)
                    vp[((size_t)z * ny + y) * nx + x] = Velocity(x, y, z);
        e.m_pVp = vp.data();
        e.m_nPmlCellsX = (size_t)nz * ny * W;
        e.m_nPmlCellsY = (size_t)nz * nx * W;
        e.m_nPmlCellsZ = (size_t)ny * nx * W;
        auto slots = Slots();
        arrays.resize(24);
        for (int i = 0; i < 24; i++)
        {
            const size_t n = i < 8 ? e.m_nPmlCellsX : (i < 16 ? e.m_nPmlCellsY : e.m_nPmlCellsZ);
            arrays[i].assign(n, std::numeric_limits<float>::quiet_NaN());
            *slots[i] = arrays[i].data();
        }
    }
    ~PmlFixture()
    {
        eng->m_pVp = nullptr;
        for (float** p : Slots())
            *p = nullptr;
    }
    std::array<float**, 24> Slots()
    {
        CFakeEngine& e = *eng;
        return {&e.m_pPmlBXMLo, &e.m_pPmlBXPHi, &e.m_pPmlAXMLo, &e.m_pPmlAXPHi, &e.m_pPmlBXPLo, &e.m_pPmlBXMHi,
                &e.m_pPmlAXPLo, &e.m_pPmlAXMHi, &e.m_pPmlBYMLo, &e.m_pPmlBYPHi, &e.m_pPmlAYMLo, &e.m_pPmlAYPHi,
                &e.m_pPmlBYPLo, &e.m_pPmlBYMHi, &e.m_pPmlAYPLo, &e.m_pPmlAYMHi, &e.m_pPmlBZMLo, &e.m_pPmlBZPHi,
                &e.m_pPmlAZMLo, &e.m_pPmlAZPHi, &e.m_pPmlBZPLo, &e.m_pPmlBZMHi, &e.m_pPmlAZPLo, &e.m_pPmlAZMHi};
    }
    float Velocity(int x, int y, int z) const { return 1000.0f + 10.0f * x + 100.0f * y + 1000.0f * z; }

    // Checks one (B, A) pair of arrays at index i against the formula.
    void Check(const float* pB, const float* pA, size_t i, double v, double s, const char* pszWhat, int k) const
    {
        const Expected x = Formula(v, s, W, eng->m_dx, eng->m_dt, eng->m_Signal.m_dFreq);
        EXPECT_FLOAT_EQ(pA[i], x.A) << pszWhat << " k=" << k << " v=" << v;
        EXPECT_NEAR(pB[i], x.B, 2e-6 * std::fabs(x.B) + 1e-9) << pszWhat << " k=" << k << " v=" << v;
    }
};

double S1(int k, int W) { return ((W + 1) - k) / (double)W; }
double S2(int k, int W) { return ((W + 0.5) - k) / (double)W; }

TEST(PmlProfile, SlabEndsMatchTheFormula)
{
    PmlFixture f(9, 8, 7);
    CFakeEngine& e = *f.eng;
    ASSERT_EQ(e.InitPMLProfile(), 0);
    const int W = f.W, h = f.h, nx = 9, ny = 8, nz = 7;
    for (int k : {0, W - 1})
    {
        for (int z : {0, 3, nz - 1})
            for (int y : {0, 5})
            {
                const size_t i = ((size_t)z * ny + y) * W + k;
                // Low side: the cell h + k; high side: the cell nx - h - k - 1.
                f.Check(e.m_pPmlBXMLo, e.m_pPmlAXMLo, i, f.Velocity(h + k, y, z), S1(k, W), "x low D-", k);
                f.Check(e.m_pPmlBXPLo, e.m_pPmlAXPLo, i, f.Velocity(h + k, y, z), S2(k, W), "x low D+", k);
                f.Check(e.m_pPmlBXPHi, e.m_pPmlAXPHi, i, f.Velocity(nx - h - k - 1, y, z), S1(k, W), "x high D+", k);
                f.Check(e.m_pPmlBXMHi, e.m_pPmlAXMHi, i, f.Velocity(nx - h - k - 1, y, z), S2(k, W), "x high D-", k);
            }
        for (int z : {0, nz - 1})
            for (int x : {0, 4, nx - 1})
            {
                const size_t i = ((size_t)z * W + k) * nx + x;
                f.Check(e.m_pPmlBYMLo, e.m_pPmlAYMLo, i, f.Velocity(x, h + k, z), S1(k, W), "y low D-", k);
                f.Check(e.m_pPmlBYPLo, e.m_pPmlAYPLo, i, f.Velocity(x, h + k, z), S2(k, W), "y low D+", k);
                f.Check(e.m_pPmlBYPHi, e.m_pPmlAYPHi, i, f.Velocity(x, ny - h - k - 1, z), S1(k, W), "y high D+", k);
                f.Check(e.m_pPmlBYMHi, e.m_pPmlAYMHi, i, f.Velocity(x, ny - h - k - 1, z), S2(k, W), "y high D-", k);
            }
        for (int y : {0, ny - 1})
            for (int x : {1, nx - 2})
            {
                const size_t i = ((size_t)k * ny + y) * nx + x;
                f.Check(e.m_pPmlBZMLo, e.m_pPmlAZMLo, i, f.Velocity(x, y, h + k), S1(k, W), "z low D-", k);
                f.Check(e.m_pPmlBZPLo, e.m_pPmlAZPLo, i, f.Velocity(x, y, h + k), S2(k, W), "z low D+", k);
                f.Check(e.m_pPmlBZPHi, e.m_pPmlAZPHi, i, f.Velocity(x, y, nz - h - k - 1), S1(k, W), "z high D+", k);
                f.Check(e.m_pPmlBZMHi, e.m_pPmlAZMHi, i, f.Velocity(x, y, nz - h - k - 1), S2(k, W), "z high D-", k);
            }
    }
    // On a single node every entry of every slab is written.
    for (int a = 0; a < 24; a++)
        for (size_t i = 0; i < f.arrays[a].size(); i++)
            ASSERT_FALSE(std::isnan(f.arrays[a][i])) << "array " << a << " entry " << i;
}

TEST(PmlProfile, AirColumnHasNoDamping)
{
    PmlFixture f(9, 8, 7);
    CFakeEngine& e = *f.eng;
    const int nx = 9, ny = 8, nz = 7, h = f.h, W = f.W;
    // Air in the column x = h (first cell of the x low slab), all y and z.
    for (int z = 0; z < nz; z++)
        for (int y = 0; y < ny; y++)
            f.vp[((size_t)z * ny + y) * nx + h] = 0.0f;
    ASSERT_EQ(e.InitPMLProfile(), 0);
    const double dt = e.m_dt, fr = e.m_Signal.m_dFreq;
    for (int z = 0; z < nz; z++)
        for (int y = 0; y < ny; y++)
        {
            const size_t i = ((size_t)z * ny + y) * W + 0;
            EXPECT_EQ(e.m_pPmlBXMLo[i], 0.0f);
            EXPECT_EQ(e.m_pPmlBXPLo[i], 0.0f);
            EXPECT_FLOAT_EQ(e.m_pPmlAXMLo[i], (float)std::exp(-(1.1 - S1(0, W)) * M_PI * fr * dt));
            EXPECT_FLOAT_EQ(e.m_pPmlAXPLo[i], (float)std::exp(-(1.1 - S2(0, W)) * M_PI * fr * dt));
            // The next cell inward is rock again.
            EXPECT_LT(e.m_pPmlBXMLo[i + 1], 0.0f);
        }
}

TEST(PmlProfile, RefusesArraysThatDoNotFitTheGrid)
{
    PmlFixture f(9, 8, 7);
    f.eng->m_pPmlAZMHi = nullptr;
    EXPECT_EQ(f.eng->InitPMLProfile(), -200);
    PmlFixture g(9, 8, 7);
    g.eng->m_nPmlCellsY -= 1;
    EXPECT_EQ(g.eng->InitPMLProfile(), -200);
    PmlFixture s(4, 8, 7);   // narrower than slab and halo
    EXPECT_EQ(s.eng->InitPMLProfile(), -200);
}

} // namespace
