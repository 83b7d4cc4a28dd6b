// Stiffness from Thomsen parameters: the vertical-axis matrix, then the
// fourth-order tensor turned to the cell's axis.

#include "rock/Stiffness.h"

#include <cmath>

int imas(int i, int j)
{
    static const int imag[3][3] = {{0, 5, 4}, {5, 1, 3}, {4, 3, 2}};
    return imag[i][j];
}

void FormUprVti(float /*a*/, float /*b*/, float rho, float vp, float vs, float eps, float delta, float gamma,
                matr6& A)
{
    const float P = rho * (vp / 1000.0f) * (vp / 1000.0f);
    const float S = rho * (vs / 1000.0f) * (vs / 1000.0f);
    const float C11 = (1.0f + 2.0f * eps) * P;
    const float C66 = (1.0f + 2.0f * gamma) * S;
    // Principal root of a possibly negative radicand: a strongly negative
    // delta gives an imaginary root, whose real part (about 0) is what
    // FormA keeps, so C13 = -S there.
    const double T = (double)(P - S) * (P - S) + 2.0 * delta * P * (P - S);
    const double r = sqrt(fabs(T)), th = 0.5 * atan2(0.0, T);
    const std::complex<float> C13((float)(r * cos(th)) - S, (float)(r * sin(th)));

    for (int i = 0; i < 6; i++)
        for (int j = 0; j < 6; j++)
            A(i, j) = 0.0f;
    A(0, 0) = A(1, 1) = C11;
    A(2, 2) = P;
    A(3, 3) = A(4, 4) = S;
    A(5, 5) = C66;
    A(0, 1) = A(1, 0) = C11 - 2.0f * C66;
    A(0, 2) = A(2, 0) = A(1, 2) = A(2, 1) = C13;
}

void POVTENZ(double alpha, double phi, std::complex<float> (&T)[3][3][3][3])
{
    const double ca = cos(alpha), sa = sin(alpha), cb = cos(phi), sb = sin(phi);
    const float R[3][3] = {{(float)(cb * ca), (float)-sb, (float)(cb * sa)},
                           {(float)(sb * ca), (float)cb, (float)(sb * sa)},
                           {(float)-sa, 0.0f, (float)ca}};
    tenz4 U;
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++)
            for (int k = 0; k < 3; k++)
                for (int l = 0; l < 3; l++)
                {
                    std::complex<float> sum(0.0f, 0.0f);
                    for (int p = 0; p < 3; p++)
                        for (int q = 0; q < 3; q++)
                            for (int r = 0; r < 3; r++)
                                for (int s = 0; s < 3; s++)
                                    sum += R[i][p] * R[j][q] * R[k][r] * R[l][s] * T[p][q][r][s];
                    U[i][j][k][l] = sum;
                }
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++)
            for (int k = 0; k < 3; k++)
                for (int l = 0; l < 3; l++)
                    T[i][j][k][l] = U[i][j][k][l];
}

void FormA(float /*a*/, float /*b*/, float rho, float vp, float vs, float eps, float delta, float gamma, float alpha,
           float phi, int /*n*/, float* pA, float* /*p1*/, float* /*p2*/, float* /*p3*/, float* p4)
{
    // The 21 outputs go to pA; a caller that passes its array last, with pA
    // null, gets them there instead of nowhere.
    float* const pOut = pA ? pA : p4;
    if (!pOut)
        return;
    if (!(rho > 0.0f))
    {
        for (int i = 0; i < 21; i++)
            pOut[i] = 0.0f;
        return;
    }
    matr6 A;
    const double rad = acos(-1.0) / 180.0;
    FormUprVti(0.0f, 0.0f, rho * 0.001f, vp, vs, eps, delta, gamma, A);
    if (alpha != 0.0f || phi != 0.0f)
    {
        tenz4 T;
        for (int i = 0; i < 3; i++)
            for (int j = 0; j < 3; j++)
                for (int k = 0; k < 3; k++)
                    for (int l = 0; l < 3; l++)
                        T[i][j][k][l] = A(imas(i, j), imas(k, l));
        POVTENZ(alpha * rad, phi * rad, T);
        for (int i = 0; i < 3; i++)
            for (int j = 0; j < 3; j++)
                for (int k = 0; k < 3; k++)
                    for (int l = 0; l < 3; l++)
                        A(imas(i, j), imas(k, l)) = T[i][j][k][l];
    }
    int m = 0;
    for (int i = 0; i < 6; i++)
        for (int j = i; j < 6; j++)
            pOut[m++] = (float)(A(i, j).real() * 1e9);
}

void SymmetricEigen(double* a, int n, double* w, double* V)
{
    auto A = [&](int i, int j) -> double& { return a[i * n + j]; };
    if (V)
        for (int i = 0; i < n * n; i++)
            V[i] = i % (n + 1) == 0 ? 1.0 : 0.0;
    for (int sweep = 0; sweep < 50; sweep++)
    {
        double off = 0.0;
        for (int p = 0; p < n; p++)
            for (int q = p + 1; q < n; q++)
                off += A(p, q) * A(p, q);
        if (off < 1e-30)
            break;
        for (int p = 0; p < n; p++)
            for (int q = p + 1; q < n; q++)
            {
                if (A(p, q) == 0.0)
                    continue;
                const double th = 0.5 * std::atan2(2.0 * A(p, q), A(q, q) - A(p, p));
                const double c = std::cos(th), s = std::sin(th);
                for (int k = 0; k < n; k++)
                {
                    const double kp = A(k, p), kq = A(k, q);
                    A(k, p) = c * kp - s * kq;
                    A(k, q) = s * kp + c * kq;
                }
                for (int k = 0; k < n; k++)
                {
                    const double pk = A(p, k), qk = A(q, k);
                    A(p, k) = c * pk - s * qk;
                    A(q, k) = s * pk + c * qk;
                    if (V)
                    {
                        const double vp = V[k * n + p], vq = V[k * n + q];
                        V[k * n + p] = c * vp - s * vq;
                        V[k * n + q] = s * vp + c * vq;
                    }
                }
            }
    }
    for (int i = 0; i < n; i++)
        w[i] = A(i, i);
}
