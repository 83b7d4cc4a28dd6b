// Stiffness from Thomsen parameters: the vertical-axis closed forms, and the
// tilted matrix against an independent Bond transformation and against the
// P moduli along and across the turned symmetry axis.

#include <gtest/gtest.h>

#include <cmath>

#include "rock/Stiffness.h"

namespace
{

struct Rock { float rho, vp, vs, eps, delta, gamma; };
// Stable materials: isotropic, shale-like, weak, negative epsilon and gamma.
const Rock kRocks[] = {{2400, 3000, 1500, 0, 0, 0}, {2200, 3500, 1800, 0.2f, 0.1f, 0.15f},
                       {2000, 2800, 1200, 0.3f, -0.1f, 0.05f}, {2500, 4000, 2000, -0.05f, 0.05f, -0.02f}};
typedef double Mat6[6][6];

// The full symmetric matrix in Pa from the 21 outputs.
void Form(const Rock& r, float alpha, float phi, Mat6& C)
{
    float a[21];
    FormA(0, 0, r.rho, r.vp, r.vs, r.eps, r.delta, r.gamma, alpha, phi, 0, a, nullptr, nullptr, nullptr, nullptr);
    for (int i = 0, m = 0; i < 6; i++)
        for (int j = i; j < 6; j++)
            C[i][j] = C[j][i] = a[m++];
}

// Thomsen's definitions read backwards; float inputs through a few float
// operations: 1e-6 of C33 bounds the rounding.
TEST(Stiffness, VerticalAxisClosedForms)
{
    for (const Rock& r : kRocks)
    {
        SCOPED_TRACE(r.eps);
        Mat6 C;
        Form(r, 0, 0, C);
        const double C33 = (double)r.rho * r.vp * r.vp, C44 = (double)r.rho * r.vs * r.vs, tol = 1e-6 * C33;
        const double expected[][3] = {{2, 2, C33}, {3, 3, C44}, {4, 4, C44}, {0, 0, C33 * (1 + 2.0 * r.eps)},
                                      {1, 1, C33 * (1 + 2.0 * r.eps)}, {5, 5, C44 * (1 + 2.0 * r.gamma)},
                                      {0, 1, C[0][0] - 2 * C[5][5]}, {1, 2, C[0][2]}};
        for (const auto& e : expected)
            EXPECT_NEAR(e[2], C[(int)e[0]][(int)e[1]], tol) << e[0] << e[1];
        EXPECT_TRUE(C[0][3] == 0 && C[0][4] == 0 && C[0][5] == 0 && C[1][4] == 0 && C[2][5] == 0 && C[3][4] == 0);
        const double s = C[0][2] + C44;
        EXPECT_NEAR(s * s, (C33 - C44) * (C33 * (1 + 2.0 * r.delta) - C44), 2e-6 * C33 * C33);
        // Positive definite: the blocks of a vertical-axis matrix. The tilted
        // ones below are M C M^T with M invertible, so they are too.
        EXPECT_TRUE(C[2][2] > 0 && C[3][3] > 0 && C[5][5] > 0 && C[0][0] > fabs(C[0][1]) &&
                    (C[0][0] + C[0][1]) * C[2][2] > 2 * C[0][2] * C[0][2]);
    }
    // Radicand below zero: the root is imaginary, its real part dropped.
    Mat6 C;
    Form({2400, 3000, 1500, 0.1f, -0.6f, 0}, 0, 0, C);
    EXPECT_NEAR(-2400.0 * 1500 * 1500, C[0][2], 1e-6 * C[2][2]);
    // No density: all zero. A caller passing its array last gets it there.
    float a[21], b[21];
    FormA(0, 0, 0.0f, 3000, 1500, 0.1f, 0.1f, 0.1f, 30, 40, 0, a, nullptr, nullptr, nullptr, nullptr);
    FormA(0, 0, 2400, 3000, 1500, 0.1f, 0.1f, 0.1f, 30, 40, 0, nullptr, nullptr, nullptr, nullptr, b);
    Form({2400, 3000, 1500, 0.1f, 0.1f, 0.1f}, 30, 40, C);
    for (int i = 0, m = 0; i < 6; i++)
        for (int j = i; j < 6; j++, m++)
            EXPECT_TRUE(a[m] == 0.0f && b[m] == (float)C[i][j]) << m;
}

// The tilted matrix against Bond's transformation C' = M C M^T in double,
// with M from R = Rz(phi) Ry(alpha); 90 degrees of tilt swap x and z. The
// rotation sums 81 float products of elements up to max|C|: 1e-5 of
// C11 + C33 bounds the rounding.
TEST(Stiffness, RotationAgainstBondTransformation)
{
    const float angles[][2] = {{0, 90}, {20, 0}, {35, 60}, {90, 0}, {90, 90}, {60, -45}, {120, 200}, {180, 0}};
    const int pr[6][2] = {{0, 0}, {1, 1}, {2, 2}, {1, 2}, {0, 2}, {0, 1}};
    for (const Rock& r : kRocks)
        for (const auto& an : angles)
        {
            SCOPED_TRACE(::testing::Message() << "eps " << r.eps << " alpha " << an[0] << " phi " << an[1]);
            Mat6 V, C, M;
            Form(r, 0, 0, V);
            Form(r, an[0], an[1], C);
            const double a = an[0] * M_PI / 180.0, b = an[1] * M_PI / 180.0, tol = 1e-5 * (V[0][0] + V[2][2]);
            const double Ry[3][3] = {{cos(a), 0, sin(a)}, {0, 1, 0}, {-sin(a), 0, cos(a)}};
            const double Rz[3][3] = {{cos(b), -sin(b), 0}, {sin(b), cos(b), 0}, {0, 0, 1}};
            double R[3][3] = {};
            for (int i = 0; i < 3; i++)
                for (int j = 0; j < 3; j++)
                    for (int k = 0; k < 3; k++)
                        R[i][j] += Rz[i][k] * Ry[k][j];
            for (int I = 0; I < 6; I++)
                for (int J = 0; J < 6; J++)
                {
                    const int i = pr[I][0], j = pr[I][1], k = pr[J][0], l = pr[J][1];
                    M[I][J] = J < 3 ? R[i][k] * R[j][k] : R[i][k] * R[j][l] + R[i][l] * R[j][k];
                }
            for (int i = 0; i < 6; i++)
                for (int j = 0; j < 6; j++)
                {
                    double e = 0.0;
                    for (int k = 0; k < 6; k++)
                        for (int l = 0; l < 6; l++)
                            e += M[i][k] * V[k][l] * M[j][l];
                    EXPECT_NEAR(e, C[i][j], tol) << i << j;
                }
            if (an[0] == 90 && an[1] == 0)   // the axis along x
            {
                EXPECT_NEAR(V[2][2], C[0][0], tol);
                EXPECT_NEAR(V[0][0], C[2][2], tol);
            }
        }
}

} // namespace
