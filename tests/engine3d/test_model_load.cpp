// Model components: a SEG-Y cube written here is cut out for a small grid,
// the strips repeat the edge, thresholds clean the values, S velocity and
// density are derived from the table, the shear limit holds; smoothing
// against a plain two-buffer reference.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "FakeEngine.h"
#include "ModelTestUtil.h"
#include "files/files_test_util.h"

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
    Run(-1, "x.sgy", nullptr, -106);
    Run(0, "", nullptr, -107);
    // A file that is no seismic file; a grid holding nothing besides its strips.
    ASSERT_TRUE(model_test::WriteText(f.dir / "text.sgy", "not a SEG-Y file at all\n"));
    Run(0, f.dir / "text.sgy", nullptr, -3);
    const std::string vp = f.Cube("vp.sgy", Smooth);
    f.eng.m_nx = 2 * f.N;
    Run(0, vp, nullptr, -3);
    f.eng.m_nx = f.NX;

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

} // namespace
