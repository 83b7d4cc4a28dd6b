// The CPU sweeps of the acoustic scheme against the plain triple loop over
// the per-cell kernels, bit for bit, with PML and with the sponge, on full
// and narrowed boxes, thin grids and nodes of a depth group. The same file
// is built into a second program whose sweeps are compiled for the build
// machine's own instruction set (AVX-512 where there is one): the bits must
// not change with it.

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "RandomFill.h"
#include "cpu/AcoSweep.h"
#include "ref/AcoRef.h"

namespace
{

// A whole acoustic state in vectors; a copy is a deep copy.
struct AcoState
{
    fd::SlabGeom g;
    int nz;
    std::vector<float> ux, uy, uz, p, B, C;
    std::vector<float> a[3][2][2], b[3][2][2];   // [axis][stencil][side]
    std::vector<float> psi[2][3][2];             // [D+ ?][axis][side]
    float taper[38];

    size_t Slab(int axis) const
    {
        const size_t W = (size_t)g.W;
        return axis == 0 ? (size_t)nz * g.ny * W : axis == 1 ? (size_t)nz * g.nx * W : (size_t)g.ny * g.nx * W;
    }

    fd::AcoStep Step(bool bTau, int nTaper)
    {
        fd::AcoStep s;
        s.f = {ux.data(), uy.data(), uz.data(), p.data(), B.data(), C.data(), (int64_t)g.nx, (int64_t)g.nx * g.ny};
        s.g = g;
        s.bPML = g.W > 0;
        for (int ax = 0; ax < 3; ax++)
            for (int st = 0; st < 2; st++)
                for (int sd = 0; sd < 2; sd++)
                {
                    s.prof.a[ax][st][sd] = a[ax][st][sd].data();
                    s.prof.b[ax][st][sd] = b[ax][st][sd].data();
                    s.psi[ax][sd] = psi[bTau ? 1 : 0][ax][sd].data();
                }
        s.taper = taper;
        s.nTaper = nTaper;
        return s;
    }
};

AcoState Random(int nx, int ny, int nz, int W, int nZ0, int nZAll, unsigned seed)
{
    std::mt19937 rng(seed);
    AcoState s;
    s.g = {nx, ny, W, 2, nZ0, nZAll};
    s.nz = nz;
    const size_t n = (size_t)nx * ny * nz;
    for (std::vector<float>* v : {&s.ux, &s.uy, &s.uz, &s.p})
        Fill(*v, n, rng, -1.0f, 1.0f);
    Fill(s.B, n, rng, 0.0f, 0.3f);
    Fill(s.C, n, rng, 0.0f, 0.3f);
    for (int ax = 0; ax < 3; ax++)
        for (int st = 0; st < 2; st++)
            for (int sd = 0; sd < 2; sd++)
            {
                Fill(s.a[ax][st][sd], s.Slab(ax), rng, 0.5f, 1.0f);
                Fill(s.b[ax][st][sd], s.Slab(ax), rng, -0.5f, 0.0f);
                Fill(s.psi[st][ax][sd], s.Slab(ax), rng, -0.1f, 0.1f);
            }
    RandomTaper(s.taper, rng);
    return s;
}

::testing::AssertionResult SameBits(const char* pszName, const std::vector<float>& a, const std::vector<float>& b)
{
    for (size_t i = 0; i < a.size(); i++)
        if (memcmp(&a[i], &b[i], sizeof(float)) != 0)
            return ::testing::AssertionFailure() << pszName << " differs first at " << i << ": " << a[i] << " vs "
                                                 << b[i];
    return ::testing::AssertionSuccess();
}

void ExpectSame(const AcoState& e, const AcoState& r)
{
    EXPECT_TRUE(SameBits("Ux", e.ux, r.ux));
    EXPECT_TRUE(SameBits("Uy", e.uy, r.uy));
    EXPECT_TRUE(SameBits("Uz", e.uz, r.uz));
    EXPECT_TRUE(SameBits("P", e.p, r.p));
    for (int st = 0; st < 2; st++)
        for (int ax = 0; ax < 3; ax++)
            for (int sd = 0; sd < 2; sd++)
                EXPECT_TRUE(SameBits("psi", e.psi[st][ax][sd], r.psi[st][ax][sd])) << st << ax << sd;
}

// W 0: sponge; a depth group node's first plane and the planes below it;
// the box narrowed from the full range.
struct AcoCase { const char* pszName; int nx, ny, nz, W, nTaper, nZ0, nZAllExtra, dx0, dy0, dx1, dy1; };

class AcoSweepMatchesCells : public ::testing::TestWithParam<AcoCase>
{
};

TEST_P(AcoSweepMatchesCells, FourStepsBitForBit)
{
    const AcoCase& c = GetParam();
    AcoState eng = Random(c.nx, c.ny, c.nz, c.W, c.nZ0, c.nZ0 + c.nz + c.nZAllExtra, 1234u + c.nx + c.W);
    AcoState ref = eng;
    const int h = 2;
    const fd::Box b = {h, h + c.dy0, h + c.dx0, c.nz - h - 1, c.ny - h - 1 - c.dy1, c.nx - h - 1 - c.dx1};
    for (int step = 0; step < 4; step++)
    {
        // Steps 1 and 2 run as one two-step pass, in tiles of 4 to 6 rows so
        // that every grid has several tiles running on the threads at once.
        if (step == 1)
            EXPECT_TRUE(fd::AcoSweepTwoSteps(eng.Step(false, c.nTaper), eng.Step(true, c.nTaper), b, 4 + c.nx % 3));
        else if (step != 2)
        {
            EXPECT_TRUE(fd::AcoSweepU(eng.Step(false, c.nTaper), b));
            EXPECT_TRUE(fd::AcoSweepTau(eng.Step(true, c.nTaper), b));
        }
        AcoRefU(ref.Step(false, c.nTaper), b);
        AcoRefTau(ref.Step(true, c.nTaper), b);
        if (step == 1)
            continue;
        ExpectSame(eng, ref);
        if (HasFailure())
            return;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Grids, AcoSweepMatchesCells,
    ::testing::Values(AcoCase{"PmlFull", 37, 30, 29, 5, 26, 0, 0, 0, 0, 0, 0},
                      AcoCase{"PmlNarrowBox", 37, 30, 29, 5, 26, 0, 0, 3, 1, 6, 4},
                      AcoCase{"PmlBoxInsideSlabs", 37, 30, 29, 5, 26, 0, 0, 1, 1, 30, 24},
                      AcoCase{"PmlThinOverlap", 11, 12, 10, 4, 26, 0, 0, 0, 0, 0, 0},
                      AcoCase{"PmlThinInX", 13, 30, 20, 5, 26, 0, 0, 0, 0, 0, 0},
                      AcoCase{"PmlDepthNode", 24, 23, 14, 4, 26, 3, 7, 0, 0, 0, 0},
                      AcoCase{"PmlDepthLastNode", 24, 23, 14, 4, 26, 9, 0, 0, 0, 0, 0},
                      AcoCase{"SpongeFull", 37, 30, 29, 0, 6, 0, 0, 0, 0, 0, 0},
                      AcoCase{"SpongeNarrowBox", 37, 30, 29, 0, 6, 0, 0, 5, 2, 1, 7},
                      AcoCase{"SpongeThinOverlap", 11, 12, 10, 0, 6, 0, 0, 0, 0, 0, 0},
                      AcoCase{"SpongeDepthNode", 24, 23, 14, 0, 6, 4, 6, 0, 0, 0, 0}),
    [](const ::testing::TestParamInfo<AcoCase>& info) { return std::string(info.param.pszName); });

// The slab geometry against its table, written out literally, on every
// cell of a grid that has cells in one slab, in two, and in both sides.
TEST(SlabGeometry, IndicesFollowTheTable)
{
    const int nx = 13, ny = 11, nz = 9, W = 3, h = 2, nZ0 = 4, nZAll = 17;
    const fd::SlabGeom g = {nx, ny, W, h, nZ0, nZAll};
    for (int z = h; z < nz - h; z++)
        for (int y = h; y < ny - h; y++)
            for (int x = h; x < nx - h; x++)
            {
                const int zg = z + nZ0;
                const int64_t want[3][2] = {
                    {x < W + h ? (int64_t)(z * ny + y) * W + (x - h) : -1,
                     nx - x <= W + h ? (int64_t)(z * ny + y) * W + (nx - x - h - 1) : -1},
                    {y < W + h ? (int64_t)(z * W + (y - h)) * nx + x : -1,
                     ny - y <= W + h ? (int64_t)(z * W + (ny - y - h - 1)) * nx + x : -1},
                    {zg < W + h ? (int64_t)(zg - h) * nx * ny + y * nx + x : -1,
                     nZAll - zg <= W + h ? (int64_t)(nZAll - zg - h - 1) * nx * ny + y * nx + x : -1}};
                const fd::CellSlabs c = fd::SlabsOfCell(g, x, y, z);
                for (int ax = 0; ax < 3; ax++)
                    for (int sd = 0; sd < 2; sd++)
                        ASSERT_EQ(want[ax][sd], c.k[ax][sd]) << "cell " << x << "," << y << "," << z;
            }
}

} // namespace
