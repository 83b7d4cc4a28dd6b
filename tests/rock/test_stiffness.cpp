// Stiffness from Thomsen parameters: the vertical-axis closed forms, and the
// rotation against an independent Bond transformation of the Voigt matrix
// and against the moduli along the turned symmetry axis.

#include <gtest/gtest.h>

#include <cmath>

#include "rock/Stiffness.h"

namespace
{

struct Rock
{
    float rho, vp, vs, eps, delta, gamma;
};

// Stable materials: shale-like, weak, negative epsilon and gamma.
const Rock kRocks[] = {{2400, 3000, 1500, 0.0f, 0.0f, 0.0f},
                       {2200, 3500, 1800, 0.2f, 0.1f, 0.15f},
                       {2000, 2800, 1200, 0.3f, -0.1f, 0.05f},
                       {2500, 4000, 2000, -0.05f, 0.05f, -0.02f}};

typedef double Mat6[6][6];

// The full symmetric matrix, in Pa, from the 21 outputs.
void Full(const float a[21], Mat6& C)
{
    int m = 0;
    for (int i = 0; i < 6; i++)
        for (int j = i; j < 6; j++)
            C[i][j] = C[j][i] = a[m++];
}

void Form(const Rock& r, float alpha, float phi, Mat6& C)
{
    float a[21];
    FormA(0, 0, r.rho, r.vp, r.vs, r.eps, r.delta, r.gamma, alpha, phi, 0, a, nullptr, nullptr, nullptr, nullptr);
    Full(a, C);
}

double MaxAbs(const Mat6& C)
{
    double m = 0.0;
    for (int i = 0; i < 6; i++)
        for (int j = 0; j < 6; j++)
            m = std::max(m, std::fabs(C[i][j]));
    return m;
}

// Rotation by the tilt about y, then the azimuth about z, in double.
void Rotation(double alphaDeg, double phiDeg, double R[3][3])
{
    const double a = alphaDeg * M_PI / 180.0, b = phiDeg * M_PI / 180.0;
    const double Ry[3][3] = {{cos(a), 0, sin(a)}, {0, 1, 0}, {-sin(a), 0, cos(a)}};
    const double Rz[3][3] = {{cos(b), -sin(b), 0}, {sin(b), cos(b), 0}, {0, 0, 1}};
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++)
        {
            R[i][j] = 0.0;
            for (int k = 0; k < 3; k++)
                R[i][j] += Rz[i][k] * Ry[k][j];
        }
}

// Bond's 6 x 6 stress transformation for Voigt order xx yy zz yz xz xy:
// C' = M C M^T.
void Bond(const double a[3][3], Mat6& M)
{
    const int pr[6][2] = {{0, 0}, {1, 1}, {2, 2}, {1, 2}, {0, 2}, {0, 1}};
    for (int I = 0; I < 6; I++)
    {
        const int i = pr[I][0], j = pr[I][1];
        for (int J = 0; J < 6; J++)
        {
            const int k = pr[J][0], l = pr[J][1];
            M[I][J] = J < 3 ? a[i][k] * a[j][k] : a[i][k] * a[j][l] + a[i][l] * a[j][k];
        }
    }
}

// Modulus n_i n_j n_k n_l C_ijkl of a plane P wave along n.
double AxialModulus(const Mat6& C, const double n[3])
{
    const int v[3][3] = {{0, 5, 4}, {5, 1, 3}, {4, 3, 2}};
    double m = 0.0;
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++)
            for (int k = 0; k < 3; k++)
                for (int l = 0; l < 3; l++)
                    m += n[i] * n[j] * n[k] * n[l] * C[v[i][j]][v[k][l]];
    return m;
}

bool PositiveDefinite(Mat6 C)
{
    for (int j = 0; j < 6; j++)
    {
        for (int k = 0; k < j; k++)
            C[j][j] -= C[j][k] * C[j][k];
        if (!(C[j][j] > 0.0))
            return false;
        C[j][j] = sqrt(C[j][j]);
        for (int i = j + 1; i < 6; i++)
        {
            for (int k = 0; k < j; k++)
                C[i][j] -= C[i][k] * C[j][k];
            C[i][j] /= C[j][j];
        }
    }
    return true;
}

// Thomsen's definitions read backwards. Inputs are floats and the matrix is
// made by a handful of float operations: 1e-6 of C33 bounds the rounding.
TEST(Stiffness, VerticalAxisClosedForms)
{
    for (const Rock& r : kRocks)
    {
        SCOPED_TRACE(r.eps);
        Mat6 C;
        Form(r, 0, 0, C);
        const double C33 = (double)r.rho * r.vp * r.vp, C44 = (double)r.rho * r.vs * r.vs;
        const double tol = 1e-6 * C33;
        EXPECT_NEAR(C33, C[2][2], tol);
        EXPECT_NEAR(C44, C[3][3], tol);
        EXPECT_NEAR(C44, C[4][4], tol);
        EXPECT_NEAR(C33 * (1 + 2.0 * r.eps), C[0][0], tol);
        EXPECT_EQ(C[0][0], C[1][1]);
        EXPECT_NEAR(C44 * (1 + 2.0 * r.gamma), C[5][5], tol);
        EXPECT_NEAR(C[0][0] - 2 * C[5][5], C[0][1], tol);
        EXPECT_EQ(C[0][2], C[1][2]);
        const double s = C[0][2] + C44;
        EXPECT_NEAR(s * s, (C33 - C44) * (C33 * (1 + 2.0 * r.delta) - C44), 2e-6 * C33 * C33);
        if (r.eps == 0 && r.delta == 0 && r.gamma == 0)
        {
            EXPECT_NEAR(C33 - 2 * C44, C[0][2], tol);   // isotropic: lambda
        }
        int nZero = 0;
        for (int i = 0; i < 6; i++)
            for (int j = 0; j < 6; j++)
                nZero += C[i][j] == 0.0;
        EXPECT_EQ(36 - 6 - 2 - 4, nZero);   // the diagonal, C12 pair and C13/C23 pairs only
        EXPECT_TRUE(PositiveDefinite(C));
    }
}

// A radicand below zero: the real part of the imaginary root is dropped,
// leaving C13 = -C44. No density: all zero. The array may come last.
TEST(Stiffness, EdgeCases)
{
    const Rock r = {2400, 3000, 1500, 0.1f, -0.6f, 0.0f};
    Mat6 C;
    Form(r, 0, 0, C);
    EXPECT_NEAR(-(double)r.rho * r.vs * r.vs, C[0][2], 1e-6 * C[2][2]);

    float a[21], b[21];
    for (float& x : a)
        x = 7.0f;
    FormA(0, 0, 0.0f, 3000, 1500, 0.1f, 0.1f, 0.1f, 30, 40, 0, a, nullptr, nullptr, nullptr, nullptr);
    for (float x : a)
        EXPECT_EQ(0.0f, x);
    FormA(0, 0, 2400, 3000, 1500, 0.1f, 0.1f, 0.1f, 30, 40, 0, a, nullptr, nullptr, nullptr, nullptr);
    FormA(0, 0, 2400, 3000, 1500, 0.1f, 0.1f, 0.1f, 30, 40, 0, nullptr, nullptr, nullptr, nullptr, b);
    for (int i = 0; i < 21; i++)
        EXPECT_EQ(a[i], b[i]);
}

// Zero angles take no rotation: the vertical matrix bit for bit.
TEST(Stiffness, NoAnglesIsTheVerticalMatrix)
{
    const Rock& r = kRocks[2];
    matr6 V;
    FormUprVti(0, 0, r.rho * 0.001f, r.vp, r.vs, r.eps, r.delta, r.gamma, V);
    Mat6 C;
    Form(r, 0, 0, C);
    for (int i = 0; i < 6; i++)
        for (int j = i; j < 6; j++)
            EXPECT_EQ((float)(V(i, j).real() * 1e9), (float)C[i][j]) << i << j;
}

// The tilted matrix against Bond's transformation in double, and the P
// moduli along the turned axis (C33) and across it (C11). The rotation sums
// 81 float products of elements up to max|C|: 1e-5 of that bounds rounding.
TEST(Stiffness, RotationAgainstBondTransformation)
{
    const float angles[][2] = {{0, 90},  {20, 0},   {35, 60}, {90, 0},    {90, 90},
                               {60, -45}, {120, 200}, {180, 0}, {-30, 330}, {45, 135}};
    for (const Rock& r : kRocks)
    {
        Mat6 V;
        Form(r, 0, 0, V);
        for (const auto& an : angles)
        {
            SCOPED_TRACE(::testing::Message() << "eps " << r.eps << " alpha " << an[0] << " phi " << an[1]);
            Mat6 C, M;
            Form(r, an[0], an[1], C);
            double R[3][3];
            Rotation(an[0], an[1], R);
            Bond(R, M);
            const double tol = 1e-5 * MaxAbs(V);
            for (int i = 0; i < 6; i++)
                for (int j = 0; j < 6; j++)
                {
                    double e = 0.0;
                    for (int k = 0; k < 6; k++)
                        for (int l = 0; l < 6; l++)
                            e += M[i][k] * V[k][l] * M[j][l];
                    EXPECT_NEAR(e, C[i][j], tol) << i << j;
                }
            const double a = an[0] * M_PI / 180.0, b = an[1] * M_PI / 180.0;
            const double axis[3] = {cos(b) * sin(a), sin(b) * sin(a), cos(a)};
            const double across[3] = {-sin(b), cos(b), 0.0};
            EXPECT_NEAR(V[2][2], AxialModulus(C, axis), tol);
            EXPECT_NEAR(V[0][0], AxialModulus(C, across), tol);
            EXPECT_TRUE(PositiveDefinite(C));
        }
    }
}

// A 90 degree tilt lays the axis along x: x and z trade places.
TEST(Stiffness, RightAngleTiltSwapsXAndZ)
{
    const Rock& r = kRocks[1];
    Mat6 V, C;
    Form(r, 0, 0, V);
    Form(r, 90, 0, C);
    const double tol = 1e-5 * V[0][0];
    const int swapped[][4] = {{0, 0, 2, 2}, {2, 2, 0, 0}, {1, 1, 1, 1}, {0, 1, 1, 2}, {0, 2, 0, 2},
                              {1, 2, 0, 1}, {3, 3, 5, 5}, {4, 4, 4, 4}, {5, 5, 3, 3}};
    for (const auto& s : swapped)
        EXPECT_NEAR(V[s[2]][s[3]], C[s[0]][s[1]], tol) << s[0] << s[1];
    EXPECT_NEAR(0.0, C[0][4], tol);
    EXPECT_NEAR(0.0, C[3][5], tol);
}

// The turned tensor keeps the symmetries of a stiffness tensor.
TEST(Stiffness, RotatedTensorKeepsItsSymmetries)
{
    const Rock& r = kRocks[3];
    matr6 V;
    FormUprVti(0, 0, r.rho * 0.001f, r.vp, r.vs, r.eps, r.delta, r.gamma, V);
    std::complex<float> T[3][3][3][3];
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++)
            for (int k = 0; k < 3; k++)
                for (int l = 0; l < 3; l++)
                    T[i][j][k][l] = V(imas(i, j), imas(k, l));
    POVTENZ(0.7, -1.1, T);
    const float tol = 1e-5f * V(0, 0).real();
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++)
            for (int k = 0; k < 3; k++)
                for (int l = 0; l < 3; l++)
                {
                    EXPECT_NEAR(T[i][j][k][l].real(), T[j][i][k][l].real(), tol);
                    EXPECT_NEAR(T[i][j][k][l].real(), T[k][l][i][j].real(), tol);
                    EXPECT_EQ(0.0f, T[i][j][k][l].imag());
                }
}

} // namespace
