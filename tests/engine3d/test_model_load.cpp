// Model components: a SEG-Y cube written here is cut out for a small grid,
// the strips repeat the edge, thresholds clean the values, S velocity and
// density are derived from the table, the shear limit holds; smoothing
// against a plain two-buffer reference.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "FakeEngine.h"
#include "ModelTestUtil.h"
#include "files/sdspc_testutil.h"

namespace
{

using sdspc_test::FileExists;
using sdspc_test::TempDir;

// Grid 12 x 11 x 12 with strip N = 3, halo 2, 10 m cells: the user area is
// 6 x 5 x 6 nodes from (0, 0, 0) to (50, 40, 50). The depth reaches 50 m
// on purpose: the file object reads a shorter sample axis as seconds.
struct LoadFixture
{
    TempDir dir;
    COndexApp app;
    CFakeEngine eng{app};
    static const int NX = 12, NY = 11, NZ = 12, N = 3;
    static const int SNX = NX - 2 * N, SNY = NY - 2 * N, SNZ = NZ - 2 * N;
    std::vector<float> vp, dest, scratch;

    LoadFixture()
    {
        app.m_Type = 101;
        app.m_nGroupSize = 1;
        eng.m_nx = NX;
        eng.m_ny = NY;
        eng.m_nz = NZ;
        eng.m_nTaper = N;
        eng.m_nHalo = 2;
        eng.m_dx = 10.0;
        eng.m_cubeGrid = CCubeR(-30, -30, -30, -30 + 10.0 * (NX - 1), -30 + 10.0 * (NY - 1), -30 + 10.0 * (NZ - 1));
        vp.assign(Cells(), 0.0f);
        dest.assign(Cells(), -1.0f);
        scratch.assign(Cells(), 123.0f);
    }
    static size_t Cells() { return (size_t)NX * NY * NZ; }
    static size_t Index(int x, int y, int z) { return ((size_t)z * NY + y) * NX + x; }
    static int Clamp(int v, int n) { return v < 0 ? 0 : v > n - 1 ? n - 1 : v; }
    // Position of the block sample that grid cell (x, y, z) repeats.
    static void Source(int x, int y, int z, double& px, double& py, double& pz)
    {
        px = 10.0 * Clamp(x - N, SNX);
        py = 10.0 * Clamp(y - N, SNY);
        pz = 10.0 * Clamp(z - N, SNZ);
    }
    std::string Cube(const char* name, const std::function<float(double, double, double)>& f)
    {
        const std::string path = dir / name;
        EXPECT_TRUE(model_test::WriteCube(path, SNX, SNY, SNZ, 10.0, 0, 0, 0, f));
        return path;
    }
};

float Smooth(double x, double y, double z)
{
    return (float)(2000.0 + 3.0 * x + 7.0 * y + 11.0 * z);
}

// Every cell, strips and halo included, holds the block sample nearest to
// it after clamping on all six sides.
TEST(ModelLoad, FileIsSpreadIntoTheStrips)
{
    LoadFixture f;
    const std::string file = f.Cube("vp.sgy", Smooth);
    ASSERT_EQ(0, f.eng.LoadModelComponent(0, file.c_str(), nullptr, f.dest.data(), f.scratch.data()));
    for (int z = 0; z < f.NZ; z++)
        for (int y = 0; y < f.NY; y++)
            for (int x = 0; x < f.NX; x++)
            {
                double px, py, pz;
                f.Source(x, y, z, px, py, pz);
                ASSERT_NEAR(Smooth(px, py, pz), f.dest[f.Index(x, y, z)], 0.01) << x << "," << y << "," << z;
            }
}

// On a node of a depth group the slab ends in halo on its inner sides: the
// block reaches h planes from there, and only the outer side repeats the
// edge into the strip.
TEST(ModelLoad, SlabOfADepthGroup)
{
    for (int nRank : {0, 1})
    {
        SCOPED_TRACE(nRank);
        LoadFixture f;
        const int N = f.N, h = 2, nz = f.NZ;
        f.app.m_nGroupSize = 2;
        f.app.m_nGroupRank = nRank;
        f.app.m_nNode = nRank;
        // Node 0: strip on top, halo below; its block starts at z = 0.
        // Node 1: halo on top, strip below; its block starts at z = 20.
        const double zTop = nRank == 0 ? 0.0 : 20.0;
        const double gz0 = zTop - 10.0 * (nRank == 0 ? N : h);
        f.eng.m_cubeGrid.z0 = gz0;
        f.eng.m_cubeGrid.z1 = gz0 + 10.0 * (nz - 1);
        const int snz = nz - 2 * N + (N - h);
        // The file covers the whole depth range of both nodes.
        const std::string path = f.dir / "vp.sgy";
        ASSERT_TRUE(model_test::WriteCube(path, f.SNX, f.SNY, 12, 10.0, 0, 0, 0, Smooth));
        ASSERT_EQ(0, f.eng.LoadModelComponent(0, path.c_str(), nullptr, f.dest.data(), f.scratch.data()));
        const int nShift = nRank == 0 ? N : h;
        for (int z = 0; z < nz; z++)
        {
            const int sz = std::min(std::max(z - nShift, 0), snz - 1);
            EXPECT_NEAR(Smooth(20.0, 10.0, zTop + 10.0 * sz), f.dest[f.Index(N + 2, N + 1, z)], 0.01) << z;
        }
    }
}

struct ThresholdCase
{
    int nComponent;
    float fLow, fHigh;      // values in the file
    float fLowExpected;     // what the low value becomes
};

// Positive thresholds clear values below them; -1 keeps everything.
TEST(ModelLoad, ThresholdsPerComponent)
{
    const ThresholdCase cases[] = {
        {0, 50.0f, 2500.0f, 0.0f},     // air in a P velocity file
        {2, 99.0f, 2100.0f, 0.0f},     // density below 100
        {100, 2.0f, 80.0f, 0.0f},      // Q of 2
        {100, 3.5f, 80.0f, 3.5f},      // Q above 3 stays
        {10, -0.2f, 0.1f, -0.2f},      // epsilon keeps negatives
        {13, 0.0f, 30.0f, 0.0f},       // tilt keeps zeros
    };
    for (const ThresholdCase& c : cases)
    {
        SCOPED_TRACE(c.nComponent);
        LoadFixture f;
        // Low values for x below 25 m, high ones beyond.
        const std::string file =
            f.Cube("c.sgy", [&](double x, double, double) { return x < 25.0 ? c.fLow : c.fHigh; });
        std::fill(f.vp.begin(), f.vp.end(), 3000.0f);
        float* pRef = c.nComponent == 2 ? f.vp.data() : nullptr;
        ASSERT_EQ(0, f.eng.LoadModelComponent(c.nComponent, file.c_str(), pRef, f.dest.data(),
                                             c.nComponent == 2 ? nullptr : f.scratch.data()));
        for (int x = 0; x < f.NX; x++)
        {
            const double px = 10.0 * f.Clamp(x - f.N, f.SNX);
            const float expected = px < 25.0 ? c.fLowExpected : c.fHigh;
            EXPECT_NEAR(expected, f.dest[f.Index(x, 5, 5)], 1e-4) << "x=" << x;
        }
    }
}

// The table of the derived properties, at the cases the rule singles out.
TEST(ModelLoad, CorrectionTable)
{
    struct
    {
        double vp, density, vs;
    } cases[] = {
        {0.0, 1000.0, 0.0},        // up to 300 m/s: first row
        {300.0, 1000.0, 0.0},
        {1500.0, 1970.0, 900.0},   // a table point exactly
        {1750.0, 1990.0, 1025.0},  // halfway between 1500 and 2000
        {2750.0, 2200.0, 1590.0},
        {8750.0, 3450.0, 4900.0},
        {9000.0, 3500.0, 5000.0},
        {9500.0, 3610.0, 5700.0},  // beyond the last but one point: proportional
        {10000.0, 3800.0, 6000.0},
        {12000.0, 4560.0, 7200.0}, // proportional above the table
    };
    for (const auto& c : cases)
    {
        EXPECT_NEAR(c.density, CCalc3D::GetDensityByPVel(c.vp), 1e-9) << c.vp;
        EXPECT_NEAR(c.vs, CCalc3D::GetSVelByPVel(c.vp), 1e-9) << c.vp;
    }
}

// No file: S velocity and density come from the P velocity of each cell;
// an empty cell stays empty.
TEST(ModelLoad, DerivedFromPVelocity)
{
    for (int nComp : {1, 2})
    {
        SCOPED_TRACE(nComp);
        LoadFixture f;
        const float values[] = {0.0f, -5.0f, 250.0f, 1500.0f, 1750.0f, 12000.0f};
        for (size_t n = 0; n < f.Cells(); n++)
            f.vp[n] = values[n % 6];
        ASSERT_EQ(0, f.eng.LoadModelComponent(nComp, "", f.vp.data(), f.dest.data(),
                                             nComp == 2 ? nullptr : f.scratch.data()));
        for (size_t n = 0; n < f.Cells(); n++)
        {
            const float v = f.vp[n];
            float expected = 0.0f;
            if (v > 0.0f)
                expected = (float)(nComp == 1 ? CCalc3D::GetSVelByPVel(v) : CCalc3D::GetDensityByPVel(v));
            ASSERT_EQ(expected, f.dest[n]) << n;
        }
        EXPECT_EQ(0.0f, f.dest[0]);
        EXPECT_EQ(nComp == 1 ? 7200.0f : 4560.0f, f.dest[5]);
    }
}

// A shear velocity above P / sqrt(2) is cut to that limit; the P velocity
// grid gives the limit cell by cell, also in the strips.
TEST(ModelLoad, ShearVelocityLimitedByP)
{
    LoadFixture f;
    const std::string file = f.Cube("vs.sgy", [](double x, double, double) { return x < 25.0 ? 1900.0f : 1000.0f; });
    std::fill(f.vp.begin(), f.vp.end(), 2000.0f);
    ASSERT_EQ(0, f.eng.LoadModelComponent(1, file.c_str(), f.vp.data(), f.dest.data(), f.scratch.data()));
    for (int x = 0; x < f.NX; x++)
    {
        const double px = 10.0 * f.Clamp(x - f.N, f.SNX);
        const float expected = px < 25.0 ? 2000.0f * 0.70710677f : 1000.0f;
        EXPECT_EQ(expected, f.dest[f.Index(x, 4, 7)]) << x;
    }
}

TEST(ModelLoad, Failures)
{
    LoadFixture f;
    EXPECT_EQ(-106, f.eng.LoadModelComponent(3, "x.sgy", nullptr, f.dest.data(), f.scratch.data()));
    EXPECT_EQ(-106, f.eng.LoadModelComponent(-1, "x.sgy", nullptr, f.dest.data(), f.scratch.data()));
    EXPECT_EQ(-107, f.eng.LoadModelComponent(0, "", nullptr, f.dest.data(), f.scratch.data()));
    EXPECT_EQ(-107, f.eng.LoadModelComponent(100, nullptr, nullptr, f.dest.data(), f.scratch.data()));
    EXPECT_EQ(-3, f.eng.LoadModelComponent(0, (f.dir / "missing.sgy").c_str(), nullptr, f.dest.data(),
                                          f.scratch.data()));
    // A file that is no seismic file.
    ASSERT_TRUE(model_test::WriteText(f.dir / "text.sgy", "not a SEG-Y file at all\n"));
    EXPECT_EQ(-3, f.eng.LoadModelComponent(0, (f.dir / "text.sgy").c_str(), nullptr, f.dest.data(),
                                          f.scratch.data()));
    // A model that lies wholly beside the grid: nothing to read.
    const std::string away = f.dir / "away.sgy";
    ASSERT_TRUE(model_test::WriteCube(away, 6, 5, 6, 10.0, 5000, 5000, 0, Smooth));
    EXPECT_EQ(-3, f.eng.LoadModelComponent(0, away.c_str(), nullptr, f.dest.data(), f.scratch.data()));
    // A grid too small to hold anything besides its strips.
    const std::string file = f.Cube("vp.sgy", Smooth);
    f.eng.m_nx = 2 * f.N;
    EXPECT_EQ(-3, f.eng.LoadModelComponent(0, file.c_str(), nullptr, f.dest.data(), f.scratch.data()));
}

// The lines a load prints: the block size, each failure's words with the
// component's label, and the shear warning once per file.
TEST(ModelLoad, MessagesNameTheComponent)
{
    LoadFixture f;
    auto Run = [&](int nComp, const std::string& file, float* pRef, int nExpected) {
        ::testing::internal::CaptureStdout();
        const int n = f.eng.LoadModelComponent(nComp, file.c_str(), pRef, f.dest.data(), f.scratch.data());
        const std::string out = ::testing::internal::GetCapturedStdout();
        EXPECT_EQ(nExpected, n) << out;
        return out;
    };
    auto Count = [](const std::string& s, const std::string& what) {
        int n = 0;
        for (size_t p = s.find(what); p != std::string::npos; p = s.find(what, p + 1))
            n++;
        return n;
    };
    EXPECT_NE(std::string::npos,
              Run(3, "x.sgy", nullptr, -106).find("Error! LoadModelComponent() Unknown component (3) specified.\n"));
    EXPECT_NE(std::string::npos, Run(2, "", nullptr, -107).find("Error! Density model file is not specified.\n"));
    EXPECT_NE(std::string::npos,
              Run(100, "", nullptr, -107).find("Error! Attenuation(Q) model file is not specified.\n"));
    const std::string missing = f.dir / "missing.sgy";
    EXPECT_NE(std::string::npos, Run(13, missing, nullptr, -3)
                                     .find("Error! Unable to open Anisotropy Tilt(Alpha) model file '" + missing +
                                           "'.\n"));
    const std::string away = f.dir / "away.sgy";
    ASSERT_TRUE(model_test::WriteCube(away, 6, 5, 6, 10.0, 5000, 5000, 0, Smooth));
    EXPECT_NE(std::string::npos, Run(0, away, nullptr, -3).find("Error! Unable to load P-Wave Velocity model buffer!\n"));

    // Many cells over the limit, one warning; the block size line first.
    const std::string vs = f.Cube("vs.sgy", [](double, double, double) { return 1900.0f; });
    std::fill(f.vp.begin(), f.vp.end(), 2000.0f);
    const std::string out = Run(1, vs, f.vp.data(), 0);
    EXPECT_NE(std::string::npos, out.find("nx=12, ny=11, nz=12, snx=6, sny=5, snz=6, vol=180\n")) << out;
    EXPECT_EQ(1, Count(out, "Warning! Too high shear velocity found in '" + vs + "' - Fixed.\n")) << out;
    // Below the limit: no warning.
    const std::string vsLow = f.Cube("vslow.sgy", [](double, double, double) { return 1000.0f; });
    EXPECT_EQ(0, Count(Run(1, vsLow, f.vp.data(), 0), "Too high shear velocity"));
}

// With Debug on, the loaded grid is written as a cube beside the results.
TEST(ModelLoad, DebugCubeHoldsTheGrid)
{
    LoadFixture f;
    f.app.m_bDebug = true;
    f.app.m_strOutputDir = f.dir.path().c_str();
    f.app.m_strOutputDir += "/";
    f.app.m_nNode = 0;
    f.eng.m_nShot = 4;
    const std::string file = f.Cube("vp.sgy", Smooth);
    ASSERT_EQ(0, f.eng.LoadModelComponent(0, file.c_str(), nullptr, f.dest.data(), f.scratch.data()));
    const std::string debug = f.dir / "DebugModel-4(P-Wave Velocity)(0)-orig.sgy";
    ASSERT_TRUE(FileExists(debug));
    const auto traces = model_test::ReadGather(debug);
    ASSERT_EQ((size_t)f.NX * f.NY, traces.size());
    for (int y = 0; y < f.NY; y++)
        for (int x = 0; x < f.NX; x++)
        {
            ASSERT_EQ((size_t)f.NZ, traces[y * f.NX + x].size());
            for (int z = 0; z < f.NZ; z++)
                ASSERT_NEAR(f.dest[f.Index(x, y, z)], traces[y * f.NX + x][z], 0.01);
        }
}

// ---- smoothing ---------------------------------------------------------------

// The plain form of one pass: a full copy, seven-point mean where the cell
// and all six neighbours are positive, the outer layer untouched.
void ReferencePass(std::vector<float>& g, int nx, int ny, int nz)
{
    const std::vector<float> old = g;
    const size_t nxy = (size_t)nx * ny;
    for (int z = 1; z < nz - 1; z++)
        for (int y = 1; y < ny - 1; y++)
            for (int x = 1; x < nx - 1; x++)
            {
                const size_t n = z * nxy + (size_t)y * nx + x;
                const float c = old[n];
                if (c == 0.0f)
                    continue;
                const float nb[6] = {old[n + nxy], old[n - nxy], old[n + nx], old[n - nx], old[n + 1], old[n - 1]};
                float s = c;
                bool all = true;
                for (float v : nb)
                {
                    if (v > 0.0f)
                        s += v;
                    else
                        all = false;
                }
                if (all)
                    g[n] = s / 7.0f;
            }
}

TEST(ModelLoad, SmoothingMatchesTwoBufferReference)
{
    const int nx = 9, ny = 7, nz = 6;
    for (int nPasses : {1, 3})
    {
        SCOPED_TRACE(nPasses);
        COndexApp app;
        CFakeEngine eng(app);
        eng.m_nx = nx;
        eng.m_ny = ny;
        eng.m_nz = nz;
        std::vector<float> plane((size_t)nz * nx, 0.0f);
        eng.m_pPlane = plane.data();
        std::mt19937 rng(5);
        std::uniform_real_distribution<float> d(1000.0f, 3000.0f);
        std::vector<float> g((size_t)nx * ny * nz);
        for (float& v : g)
            v = d(rng);
        // An air pocket and a negative value: their neighbours keep their
        // contrast.
        g[(3 * ny + 3) * nx + 4] = 0.0f;
        g[(2 * ny + 4) * nx + 2] = -1.0f;
        std::vector<float> ref = g;
        for (int p = 0; p < nPasses; p++)
            ReferencePass(ref, nx, ny, nz);
        ASSERT_EQ(0, eng.SmoothModelComponent(g.data(), nPasses));
        for (size_t n = 0; n < g.size(); n++)
            ASSERT_EQ(ref[n], g[n]) << n;
        EXPECT_EQ(0.0f, g[(3 * ny + 3) * nx + 4]);
        eng.m_pPlane = nullptr;
    }
}

TEST(ModelLoad, SmoothingSwitchesAndLimits)
{
    COndexApp app;
    CFakeEngine eng(app);
    eng.m_nx = eng.m_ny = eng.m_nz = 4;
    std::vector<float> g(64), plane(16, 0.0f);
    // Not linear: a linear field is its own seven-point mean.
    for (size_t i = 0; i < g.size(); i++)
        g[i] = 100.0f + (float)(i * i % 37);
    const std::vector<float> orig = g;
    eng.m_pVp = g.data();
    // No scratch plane: refused, grid untouched.
    EXPECT_EQ(-4, eng.SmoothModelComponent(g.data(), 1));
    EXPECT_EQ(orig, g);
    eng.m_pPlane = plane.data();
    // Smooth Model 0 or negative: nothing.
    for (int n : {0, -2})
    {
        app.m_nSmoothModel = n;
        EXPECT_EQ(0, eng.SmoothModel());
        EXPECT_EQ(orig, g);
    }
    // A grid two rows wide has no inner row.
    eng.m_ny = 2;
    EXPECT_EQ(0, eng.SmoothModelComponent(g.data(), 2));
    EXPECT_EQ(orig, g);
    // Turned on, the inner cells change.
    eng.m_ny = 4;
    app.m_nSmoothModel = 1;
    EXPECT_EQ(0, eng.SmoothModel());
    EXPECT_NE(orig, g);
    eng.m_pVp = nullptr;
    eng.m_pPlane = nullptr;
}

} // namespace
