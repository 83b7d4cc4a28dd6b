// The difference operators of the schemes: fourth-order staggered first
// derivatives, checked on polynomials (exact up to cubics) and on a smooth
// function (error falls by 2^4 when the step halves); the PML recursion
// over many steps and the profiles of every slab cell against the formula
// of the convolutional layer (both ends of each slab, in air); the face
// distance of the sponge.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "FakeEngine.h"
#include "OmpTestGrid.h"
#include "cpu/FDScheme.h"

namespace
{

// Samples f(x0 + k*step) for k = 0..n-1, float.
template <class F>
std::vector<float> Sample(F f, double x0, double step, int n)
{
    std::vector<float> v(n);
    for (int k = 0; k < n; k++)
        v[k] = (float)f(x0 + k * step);
    return v;
}

struct Poly
{
    const char* pszName;
    double c0, c1, c2, c3;
    double operator()(double x) const { return c0 + x * (c1 + x * (c2 + x * c3)); }
    double Derivative(double x) const { return c1 + x * (2 * c2 + x * 3 * c3); }
};

// With unit step, D+ at i is the derivative at i + 1/2 and D- at i the
// derivative at i - 1/2; for polynomials of degree 3 the only error left is
// the rounding of beta2 and of the samples.
TEST(FdOperators, ExactUpToCubics)
{
    for (const Poly& p : {Poly{"constant", 3.5, 0, 0, 0}, Poly{"linear", 1, -2.25, 0, 0},
                          Poly{"quadratic", 0.5, 1, 0.75, 0}, Poly{"cubic", -1, 0.5, -0.25, 0.125},
                          Poly{"pure cubic", 0, 0, 0, 1}})
    {
        const std::vector<float> f = Sample(p, -8.0, 1.0, 17);   // x = -8 .. 8
        for (int i = 2; i < 15; i++)
        {
            const double x = -8.0 + i;
            const double tol = 2e-6 * (1.0 + std::fabs(p.c3) * 600 + std::fabs(p.c2) * 80 + std::fabs(p.c1) * 10);
            EXPECT_NEAR(p.Derivative(x + 0.5), fd::DPlus(f.data(), i, 1), tol) << p.pszName << " at x=" << x;
            EXPECT_NEAR(p.Derivative(x - 0.5), fd::DMinus(f.data(), i, 1), tol) << p.pszName << " at x=" << x;
        }
    }
}

// Error of a smooth function falls by 16 when the step halves.
TEST(FdOperators, FourthOrderConvergence)
{
    auto g = [](double x) { return std::sin(x); };
    auto MaxErr = [&](double h, bool bPlus) {
        const int n = (int)std::lround(2.0 / h) + 6;
        const double x0 = 0.3 - 3 * h;
        const std::vector<float> f = Sample(g, x0, h, n);
        double e = 0.0;
        for (int i = 3; i < n - 3; i++)
        {
            const double x = x0 + i * h + (bPlus ? 0.5 * h : -0.5 * h);
            const double d = (bPlus ? fd::DPlus(f.data(), i, 1) : fd::DMinus(f.data(), i, 1)) / h;
            e = std::max(e, std::fabs(d - std::cos(x)));
        }
        return e;
    };
    for (bool bPlus : {true, false})
    {
        const double e1 = MaxErr(0.4, bPlus), e2 = MaxErr(0.2, bPlus);
        const double ratio = e1 / e2;
        EXPECT_GT(ratio, 13.0) << (bPlus ? "D+" : "D-") << " errors " << e1 << " " << e2;
        EXPECT_LT(ratio, 19.0) << (bPlus ? "D+" : "D-") << " errors " << e1 << " " << e2;
    }
}

// The recursion psi <- a psi + b d is the discrete convolution of the
// derivative history with b a^k; under a constant derivative it tends to
// b d / (1 - a).
TEST(FdOperators, CpmlRecursionConvolves)
{
    const float a = 0.8f, b = -0.3f;
    float psi = 0.0f;
    std::vector<float> d = {1.0f, -2.0f, 0.5f, 3.0f, 0.0f, -1.0f};
    for (size_t n = 0; n < d.size(); n++)
    {
        const float out = fd::Cpml(d[n], psi, a, b);
        double conv = 0.0;
        for (size_t k = 0; k <= n; k++)
            conv += b * std::pow((double)a, (double)(n - k)) * d[k];
        EXPECT_NEAR(conv, psi, 1e-5);
        EXPECT_NEAR(d[n] + conv, out, 1e-5);
    }
    psi = 0.0f;
    for (int n = 0; n < 200; n++)
        fd::Cpml(2.0f, psi, a, b);
    EXPECT_NEAR(b * 2.0 / (1.0 - a), psi, 1e-4);
}

struct DistCase { int x, y, zg, nx, ny, nzAll, expected; };

TEST(FdOperators, FaceDistanceIsNearestFace)
{
    const DistCase cases[] = {
        {0, 5, 5, 10, 10, 10, 0}, {9, 5, 5, 10, 10, 10, 0}, {5, 1, 5, 10, 10, 10, 1},
        {5, 5, 7, 10, 10, 10, 2}, {4, 4, 4, 10, 10, 10, 4}, {5, 5, 5, 10, 10, 100, 4},
        {50, 50, 97, 100, 100, 100, 2},
    };
    for (const DistCase& c : cases)
        EXPECT_EQ(c.expected, fd::FaceDistance(c.x, c.y, c.zg, c.nx, c.ny, c.nzAll))
            << c.x << "," << c.y << "," << c.zg;
}

TEST(FdOperators, NaNByBits)
{
    for (float v : {std::nanf(""), -std::nanf("")})
        EXPECT_TRUE(fd::IsNaNBits(v)) << v;
    for (float v : {INFINITY, -INFINITY, 0.0f, 3.4e38f})
        EXPECT_FALSE(fd::IsNaNBits(v)) << v;
}

// The layer's coefficients written out from their definition: damping
// d = d0 s^2 with d0 = -1.5 v ln(R) / (dx W), R = 0.0002, frequency shift
// alpha = (1.1 - s) pi f, A = exp(-(d + alpha) dt), B = d (A - 1) / (d + alpha).
struct Expected { float A, B; };

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
struct PmlFixture : FakeJob
{
    std::vector<float> vp;
    std::vector<std::vector<float>> arrays;
    int W = 3, h = 2;   // FakeJob's halo

    PmlFixture(int nx, int ny, int nz)
    {
        CFakeEngine& e = *eng;
        e.m_nx = nx, e.m_ny = ny, e.m_nz = e.m_nZAll = nz, e.m_nZ0 = 0, e.m_nZ1 = nz - 1;
        e.m_nPML = W;
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
        auto slots = PmlSlots(e);
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
        for (float** p : PmlSlots(*eng))
            *p = nullptr;
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
