// Why a PML can grow in a tilted anisotropic medium: a layer that damps
// along an axis is stable only where, for every direction and wave type,
// the slowness vector and the group velocity point to the same side of a
// face normal to that axis (Becache, Fauqueux and Joly, 2003). Where some
// wave carries energy toward the face while its phase moves away, the
// damping feeds it. This checks that condition on the stiffness FormA
// builds, from the Christoffel equation.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "rock/Stiffness.h"

namespace
{

struct Medium { const char* pszName; float eps, delta, gamma, tilt, azimuth; };

// Over phase directions on a sphere and the three wave types: the least
// n_a * V_a / |V| for each axis a (0 where the condition just holds).
void WorstAlignment(const Medium& m, double worst[3])
{
    const float rho = 2000, vp = 2000, vs = 1000;
    float a[21];
    FormA(0, 0, rho, vp, vs, m.eps, m.delta, m.gamma, m.tilt, m.azimuth, 0, a, nullptr, nullptr, nullptr, nullptr);
    double C[6][6];
    for (int i = 0, k = 0; i < 6; i++)
        for (int j = i; j < 6; j++)
            C[i][j] = C[j][i] = a[k++] / rho;
    auto c4 = [&](int i, int j, int k, int l) { return C[imas(i, j)][imas(k, l)]; };
    std::fill(worst, worst + 3, 1.0);
    const int nTheta = 181, nPhi = 360;
    for (int it = 0; it < nTheta; it++)
        for (int ip = 0; ip < nPhi; ip++)
        {
            const double th = M_PI * it / (nTheta - 1), ph = 2 * M_PI * ip / nPhi;
            const double n[3] = {std::sin(th) * std::cos(ph), std::sin(th) * std::sin(ph), std::cos(th)};
            double G[3][3] = {};
            for (int i = 0; i < 3; i++)
                for (int k = 0; k < 3; k++)
                    for (int j = 0; j < 3; j++)
                        for (int l = 0; l < 3; l++)
                            G[i][k] += c4(i, j, k, l) * n[j] * n[l];
            double w[3], g[3][3];
            SymmetricEigen(&G[0][0], 3, w, &g[0][0]);
            for (int mode = 0; mode < 3; mode++)
            {
                if (w[mode] <= 0)
                    continue;
                double V[3] = {}, norm = 0;
                for (int j = 0; j < 3; j++)
                {
                    for (int i = 0; i < 3; i++)
                        for (int k = 0; k < 3; k++)
                            for (int l = 0; l < 3; l++)
                                V[j] += c4(i, j, k, l) * g[i][mode] * g[k][mode] * n[l];
                    V[j] /= std::sqrt(w[mode]);
                    norm += V[j] * V[j];
                }
                for (int ax = 0; ax < 3; ax++)
                    worst[ax] = std::min(worst[ax], n[ax] * V[ax] / std::sqrt(norm));
            }
        }
}

// The condition holds wherever the symmetry axes are the grid's axes, and
// fails on every face the tilt turns the medium against: barely for the
// moderate medium, whose PML run stays stable over 3000 steps, by an order
// more for the strong anelliptic one, whose PML grows (the engine's tests
// run it with the sponge). The failing bound -0.004 sits below rounding of
// the sampled sphere (1e-6) and above the weakest failure found (-0.0044).
TEST(PmlCondition, HoldsForAxesAlongTheGridFailsForTiltedAxes)
{
    struct Row { Medium m; bool holds[3]; };   // x, y, z faces
    const Row rows[] = {{{"isotropic", 0, 0, 0, 45, 30}, {true, true, true}},
                        {{"VTI, eps 0.2 delta 0.1", 0.2f, 0.1f, 0.15f, 0, 0}, {true, true, true}},
                        {{"eps 0.4 delta -0.1, untilted", 0.4f, -0.1f, 0.1f, 0, 0}, {true, true, true}},
                        {{"eps 0.4 delta -0.1, tilt 45", 0.4f, -0.1f, 0.1f, 45, 0}, {false, true, false}},
                        {{"eps 0.4 delta -0.1, tilt 45 azimuth 30", 0.4f, -0.1f, 0.1f, 45, 30}, {false, false, false}},
                        {{"eps 0.2 delta 0.1, tilt 30 azimuth 30", 0.2f, 0.1f, 0.15f, 30, 30}, {false, false, false}},
                        {{"eps = delta = 0.4, tilt 45 azimuth 30", 0.4f, 0.4f, 0.1f, 45, 30}, {false, false, false}}};
    for (const Row& r : rows)
    {
        SCOPED_TRACE(r.m.pszName);
        double w[3];
        WorstAlignment(r.m, w);
        for (int ax = 0; ax < 3; ax++)
            if (r.holds[ax])
                EXPECT_GT(w[ax], -1e-6) << "axis " << ax;
            else
                EXPECT_LT(w[ax], -0.004) << "axis " << ax;
    }
}

} // namespace
