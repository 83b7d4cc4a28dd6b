// The difference operators of the schemes: fourth-order staggered first
// derivatives, checked on polynomials (exact up to cubics) and on a smooth
// function (error falls by 2^4 when the step halves); the PML recursion
// over many steps; the face distance of the sponge.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

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

class FdPolynomial : public ::testing::TestWithParam<Poly>
{
};

// With unit step, D+ at i is the derivative at i + 1/2 and D- at i the
// derivative at i - 1/2; for polynomials of degree 3 the only error left is
// the rounding of beta2 and of the samples.
TEST_P(FdPolynomial, ExactUpToCubics)
{
    const Poly& p = GetParam();
    const std::vector<float> f = Sample(p, -8.0, 1.0, 17);   // x = -8 .. 8
    for (int i = 2; i < 15; i++)
    {
        const double x = -8.0 + i;
        const double dp = p.Derivative(x + 0.5), dm = p.Derivative(x - 0.5);
        const double tol = 2e-6 * (1.0 + std::fabs(p.c3) * 600 + std::fabs(p.c2) * 80 + std::fabs(p.c1) * 10);
        EXPECT_NEAR(dp, fd::DPlus(f.data(), i, 1), tol) << p.pszName << " at x=" << x;
        EXPECT_NEAR(dm, fd::DMinus(f.data(), i, 1), tol) << p.pszName << " at x=" << x;
    }
}

INSTANTIATE_TEST_SUITE_P(Degrees, FdPolynomial,
                         ::testing::Values(Poly{"constant", 3.5, 0, 0, 0}, Poly{"linear", 1, -2.25, 0, 0},
                                           Poly{"quadratic", 0.5, 1, 0.75, 0}, Poly{"cubic", -1, 0.5, -0.25, 0.125},
                                           Poly{"pure cubic", 0, 0, 0, 1}));

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

struct DistCase
{
    int x, y, zg, nx, ny, nzAll, expected;
};

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
    EXPECT_TRUE(fd::IsNaNBits(std::nanf("")));
    EXPECT_TRUE(fd::IsNaNBits(-std::nanf("")));
    EXPECT_FALSE(fd::IsNaNBits(INFINITY));
    EXPECT_FALSE(fd::IsNaNBits(-INFINITY));
    EXPECT_FALSE(fd::IsNaNBits(0.0f));
    EXPECT_FALSE(fd::IsNaNBits(3.4e38f));
}

} // namespace
