// The stiffness fill of the anisotropic methods: the axis snapping of the
// orthorhombic method, the per-thread memory of the last material, and the
// refusal of parameters that give no stable medium; and where the averaged
// derivatives of the 21-constant step sit.

#include <gtest/gtest.h>

#include <limits>

#include "AniBox.h"
#include "cpu/AniScheme.h"
#include "rock/Stiffness.h"

namespace
{

struct FillCase
{
    const char* pszName;
    int nMethod;
    float eps, delta, gamma, alpha, phi;
    int nWant;            // FillStiffness result
    float alphaSame;      // method 103: the grids equal those of this tilt (NaN: no check)
};

// A 12^3 model filled with one material; the stiffness grids into g.
int Fill(OmpTestGrid& g, const FillCase& c, float alpha, float vs = 1200.0f)
{
    CCalc3D_OMP& e = g.E();
    const float k[5] = {c.eps, c.delta, c.gamma, c.phi, alpha};
    for (int i = 0; i < 5; i++)
        g.app->m_fAnisConst[i] = k[i];
    if (e.AllocateMemory(false, true) != 0)
        return 1;
    for (size_t n = 0; n < g.Cells(); n++)
    {
        e.m_pVp[n] = 2400.0f + (n % 2) * 0.5f;   // below the memory's threshold of 1 m/s
        e.m_pVs[n] = vs;
        e.m_pRho[n] = n < 144 ? 0.0f : 2200.0f;   // the first plane is air
    }
    return FillStiffness(e, 1e-4f, 3.0f);
}

TEST(AniStiffness, SnappingCachingAndRefusals)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const FillCase cases[] = {
        {"103 tilt 44 is no tilt", 103, 0.2f, 0.1f, 0.15f, 44.0f, 0.0f, 0, 0.0f},
        {"103 tilt 46 is 90", 103, 0.2f, 0.1f, 0.15f, 46.0f, 0.0f, 0, 90.0f},
        {"103 tilt -30 wraps to 150, no tilt", 103, 0.2f, 0.1f, 0.15f, -30.0f, 0.0f, 0, 0.0f},
        {"104 tilted", 104, 0.4f, -0.1f, 0.1f, 45.0f, 30.0f, 0, nan},
        {"negative epsilon", 104, -0.6f, 0.0f, 0.0f, 0.0f, 0.0f, -108, nan},
        {"negative gamma", 103, 0.0f, 0.0f, -0.6f, 0.0f, 0.0f, -108, nan},
        {"delta far above epsilon", 104, 0.0f, 2.0f, 0.0f, 20.0f, 0.0f, -108, nan},
        {"tilt not a number", 104, 0.1f, 0.1f, 0.1f, nan, 0.0f, -108, nan},
        {"tilt beyond a turn", 104, 0.1f, 0.1f, 0.1f, 400.0f, 0.0f, -108, nan},
    };
    for (const FillCase& c : cases)
    {
        SCOPED_TRACE(c.pszName);
        OmpTestGrid g(12, 12, 12, c.nMethod, 0, 4, c.nMethod == 104 ? 3 : 2);
        ASSERT_EQ(c.nWant, Fill(g, c, c.alpha));
        CCalc3D_OMP& e = g.E();
        if (c.nWant != 0)
            continue;
        EXPECT_EQ(nullptr, e.m_pVp);
        EXPECT_EQ(nullptr, e.m_pVs);
        // Air is empty; rock holds FormA's stiffness of the first rock cell
        // (the half metre per second of its neighbours stays below the
        // memory's threshold) times c1.
        float A[21];
        FormA(0, 0, 2200.0f, 2400.0f, 1200.0f, c.eps, c.delta, c.gamma, c.nMethod == 103 ? c.alphaSame : c.alpha,
              c.phi, 0, A, nullptr, nullptr, nullptr, nullptr);
        float* const pC[21] = {e.m_pC11, e.m_pC12, e.m_pC13, e.m_pC14, e.m_pC15, e.m_pC16, e.m_pC22,
                               e.m_pC23, e.m_pC24, e.m_pC25, e.m_pC26, e.m_pC33, e.m_pC34, e.m_pC35,
                               e.m_pC36, e.m_pC44, e.m_pC45, e.m_pC46, e.m_pC55, e.m_pC56, e.m_pC66};
        int nWrong = 0;
        for (int k = 0; k < 21; k++)
        {
            if (!pC[k])
                continue;
            for (size_t n = 0; n < g.Cells(); n++)
                nWrong += pC[k][n] == (n < 144 ? 0.0f : A[k] * 1e-4f) ? 0 : 1;
        }
        EXPECT_EQ(0, nWrong);
        EXPECT_EQ(0.0f, e.m_pRho[0]);
        EXPECT_EQ(3.0f / 2200.0f, e.m_pRho[200]);
        if (c.nMethod == 104)
        {
            EXPECT_NE(0.0f, e.m_pC15[200]) << "a tilt of 45 couples normal and shear";
        }
    }
}

// A fluid (no shear) is a stable medium when epsilon is not below delta.
TEST(AniStiffness, FluidCellsAreAccepted)
{
    const FillCase water = {"water", 104, 0.0f, 0.0f, 0.0f, 30.0f, 10.0f, 0, 0.0f};
    OmpTestGrid g(12, 12, 12, 104, 0, 4, 3);
    EXPECT_EQ(0, Fill(g, water, water.alpha, 0.0f));
    const FillCase bad = {"fluid with delta above epsilon", 104, 0.0f, 0.2f, 0.0f, 0.0f, 0.0f, -108, 0.0f};
    OmpTestGrid h(12, 12, 12, 104, 0, 4, 3);
    EXPECT_EQ(-108, Fill(h, bad, bad.alpha, 0.0f));
}

// The 27 averages on quadratic velocity fields, where the mean of the four
// derivatives is the derivative at the centre of the four points: each
// average must sit at its stress node, the four with one-sided y offsets
// one cell off in y.
TEST(AniScheme, AveragedDerivativesSitAtTheirNodes)
{
    const int n = 16;
    std::vector<float> u[3];
    // Ux lives at (x - 1/2, y, z), Uy at (x, y - 1/2, z), Uz at (x, y, z - 1/2).
    auto U = [](int c, double x, double y, double z) {
        return c == 0 ? 0.3 * x * y + 0.5 * z * z + 0.2 * x * z
                      : c == 1 ? 0.4 * y * z + 0.7 * x * x + 0.1 * x * y : 0.6 * x * z + 0.2 * y * y + 0.4 * x * y;
    };
    // dU_c/d(axis) at a point.
    auto dU = [](int c, int axis, double x, double y, double z) {
        const double g[3][3] = {{0.3 * y + 0.2 * z, 0.3 * x, z + 0.2 * x},
                                {1.4 * x + 0.1 * y, 0.4 * z + 0.1 * x, 0.4 * y},
                                {0.6 * z + 0.4 * y, 0.4 * y + 0.4 * x, 0.6 * x}};
        return g[c][axis];
    };
    for (int c = 0; c < 3; c++)
        for (int z = 0; z < n; z++)
            for (int y = 0; y < n; y++)
                for (int x = 0; x < n; x++)
                    u[c].push_back((float)U(c, x - (c == 0 ? 0.5 : 0.0), y - (c == 1 ? 0.5 : 0.0),
                                          z - (c == 2 ? 0.5 : 0.0)));
    ela::ElaFields f = {u[0].data(), u[1].data(), u[2].data(), nullptr, nullptr, nullptr, nullptr, nullptr,
                        nullptr, nullptr, nullptr, nullptr, n, n * n};
    const int cx = 7, cy = 8, cz = 6;
    ani::AvgDerivs a;
    ani::AniAvgDerivs(f, (int64_t)(cz * n + cy) * n + cx, a);
    // Node positions (x, y, z) of n, xy, xz, yz.
    const double node[4][3] = {{0, 0, 0}, {-0.5, -0.5, 0}, {-0.5, 0, -0.5}, {0, -0.5, -0.5}};
    // [axis x, y, z][entry]: field, node, y shift of the one-sided averages.
    struct E { int c, nd, dy; };
    const E table[3][9] = {
        {{0, 1, 0}, {0, 2, 0}, {0, 3, 0}, {1, 0, 0}, {1, 3, 0}, {1, 2, -1}, {2, 3, 1}, {2, 0, 0}, {2, 1, 1}},
        {{1, 1, 0}, {1, 2, 0}, {1, 3, 0}, {0, 0, 0}, {0, 3, 0}, {0, 2, -1}, {2, 2, -1}, {2, 1, 0}, {2, 0, 0}},
        {{2, 1, 0}, {2, 2, 0}, {2, 3, 0}, {0, 3, 1}, {0, 0, 0}, {0, 1, 1}, {1, 2, -1}, {1, 1, 0}, {1, 0, 0}}};
    for (int axis = 0; axis < 3; axis++)
        for (int j = 0; j < 9; j++)
        {
            const E& t = table[axis][j];
            const double* p = node[t.nd];
            const double want = dU(t.c, axis, cx + p[0], cy + p[1] + t.dy, cz + p[2]);
            EXPECT_NEAR(want, a.v[axis][j], 2e-4) << "axis " << axis << " entry " << j;
        }
}

} // namespace
