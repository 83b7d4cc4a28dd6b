// Model loading and assembly: a SEG-Y cube written here is cut out for a
// small grid (the strips repeat the edge), the load messages, smoothing
// against a plain two-buffer reference, the coefficient grids against their
// formulas, the attenuation factor, the sponge table, the refusals, and the
// surfaces on hand-made columns.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "FakeEngine.h"
#include "ModelTestUtil.h"
#include "files/files_test_util.h"

namespace
{

using sdspc_test::TempDir;

// Grid 12 x 11 x 12, strip 3, halo 2, 10 m cells: the user area is 6 x 5 x 6
// nodes from (0, 0, 0) to (50, 40, 50) (the depth reaches 50 m on purpose:
// the file object reads a shorter sample axis as seconds); the engine's
// grids are the fixture's vectors.
struct AssemblyFixture
{
    TempDir dir;
    COndexApp app;
    CFakeEngine eng{app};
    static const int NX = 12, NY = 11, NZ = 12, N = 3;
    std::vector<float> vp, vs, rho, q, plane;

    explicit AssemblyFixture(int nMethod)
    {
        app.m_Type = nMethod, app.m_nGroupSize = 1, app.m_nSmoothModel = 0;
        eng.m_nx = NX, eng.m_ny = NY, eng.m_nz = eng.m_nZAll = NZ, eng.m_nZ0 = 0, eng.m_nZ1 = NZ - 1;
        eng.m_nTaper = N, eng.m_nHalo = 2, eng.m_dx = 10.0, eng.m_dt = 0.001, eng.m_bPML = false, eng.m_nSurfType = 0;
        eng.m_cubeGrid = CCubeR(-30, -30, -30, -30 + 10.0 * (NX - 1), -30 + 10.0 * (NY - 1), -30 + 10.0 * (NZ - 1));
        vp.assign(Cells(), 0.0f);
        rho.assign(Cells(), 0.0f);
        plane.assign((size_t)NZ * NX, 0.0f);
        eng.m_pVp = vp.data();
        eng.m_pRho = rho.data();
        eng.m_pPlane = plane.data();
        if (nMethod >= 102)
        {
            vs.assign(Cells(), 0.0f);
            eng.m_pVs = vs.data();
        }
        // A source and a receiver in rock of every model below, so that
        // the survey check inside InitModel passes.
        eng.m_nShot = 1;
        eng.m_ptShot = C3DPointR(60, 50, 40);
        eng.m_vSources = {C3DShotPoint(Index(9, 8, 7), 0)};
        eng.m_vSrcPoints = {eng.m_ptShot};
        eng.m_vRcvCells = {Index(9, 8, 4)};
        eng.m_vRcvPoints = {C3DPointR(60, 50, 10)};
        eng.m_vRcvInline = eng.m_vRcvCrossline = {1};
        eng.m_vRcvTraceId = eng.m_vRcvFileId = {-1};
    }
    ~AssemblyFixture()
    {
        eng.m_pVp = eng.m_pRho = eng.m_pVs = eng.m_pQ = eng.m_pPlane = nullptr;
    }
    void WithQ()
    {
        q.assign(Cells(), 0.0f);
        eng.m_pQ = q.data();
    }
    static size_t Cells() { return (size_t)NX * NY * NZ; }
    static size_t Index(int x, int y, int z) { return ((size_t)z * NY + y) * NX + x; }
    // Coordinate of the model node that grid index i of an axis of n cells repeats.
    static double At(int i, int n = NX) { return 10.0 * std::min(std::max(i - N, 0), n - 2 * N - 1); }
    CString Cube(const char* name, const std::function<float(double, double, double)>& f)
    {
        const std::string path = dir / name;
        EXPECT_TRUE(model_test::WriteCube(path, NX - 2 * N, NY - 2 * N, NZ - 2 * N, 10.0, 0, 0, 0, f));
        return CString(path.c_str());
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
    AssemblyFixture f(101);
    std::vector<float> dest(f.Cells(), -1.0f), scratch(f.Cells(), 123.0f);
    ASSERT_EQ(0, f.eng.LoadModelComponent(0, f.Cube("vp.sgy", Smooth), nullptr, dest.data(), scratch.data()));
    for (int z = 0; z < f.NZ; z++)
        for (int y = 0; y < f.NY; y++)
            for (int x = 0; x < f.NX; x++)
                ASSERT_NEAR(Smooth(f.At(x), f.At(y, f.NY), f.At(z, f.NZ)), dest[f.Index(x, y, z)], 0.01)
                    << x << "," << y << "," << z;
}

// The lines a load prints: the block size, each failure's words with the
// component's label, and the shear warning once per file.
TEST(ModelLoad, MessagesNameTheComponent)
{
    AssemblyFixture f(101);
    std::vector<float> dest(f.Cells()), scratch(f.Cells());
    auto Run = [&](int nComp, const std::string& file, float* pRef, int nExpected) {
        ::testing::internal::CaptureStdout();
        const int n = f.eng.LoadModelComponent(nComp, file.c_str(), pRef, dest.data(), scratch.data());
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
    EXPECT_NE(std::string::npos,
              Run(0, away, nullptr, -3).find("Error! Unable to load P-Wave Velocity model buffer!\n"));
    Run(-1, "x.sgy", nullptr, -106);
    Run(0, "", nullptr, -107);
    // A file that is no seismic file; a grid holding nothing besides its strips.
    ASSERT_TRUE(model_test::WriteText(f.dir / "text.sgy", "not a SEG-Y file at all\n"));
    Run(0, f.dir / "text.sgy", nullptr, -3);
    const std::string vp = (const char*)f.Cube("vp.sgy", Smooth);
    f.eng.m_nx = 2 * f.N;
    Run(0, vp, nullptr, -3);
    f.eng.m_nx = f.NX;

    // Many cells over the limit, one warning; the block size line first.
    const std::string vs = (const char*)f.Cube("vs.sgy", [](double, double, double) { return 1900.0f; });
    std::fill(f.vp.begin(), f.vp.end(), 2000.0f);
    const std::string out = Run(1, vs, f.vp.data(), 0);
    EXPECT_NE(std::string::npos, out.find("nx=12, ny=11, nz=12, snx=6, sny=5, snz=6, vol=180\n")) << out;
    EXPECT_EQ(1, Count(out, "Warning! Too high shear velocity found in '" + vs + "' - Fixed.\n")) << out;
    // Below the limit: no warning.
    const std::string vsLow = (const char*)f.Cube("vslow.sgy", [](double, double, double) { return 1000.0f; });
    EXPECT_EQ(0, Count(Run(1, vsLow, f.vp.data(), 0), "Too high shear velocity"));
}

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

// Air columns (model x below 15 m) and rock of two velocities.
float VpOf(double x, double, double) { return x < 15.0 ? 30.0f : x < 35.0 ? 1800.0f : 2600.0f; }
float RhoOf(double x, double, double) { return x < 35.0 ? 2100.0f : 2400.0f; }

TEST(Assembly, AcousticCoefficients)
{
    AssemblyFixture f(101);
    f.app.m_strModelPW = f.Cube("vp.sgy", VpOf);
    f.app.m_strModelD = f.Cube("rho.sgy", RhoOf);
    ASSERT_EQ(0, f.eng.InitModel());
    for (int z = 0; z < f.NZ; z += 3)
        for (int y = 0; y < f.NY; y += 2)
            for (int x = 0; x < f.NX; x++)
            {
                const double mx = f.At(x);
                const float v = VpOf(mx, 0, 0), r = RhoOf(mx, 0, 0);
                const size_t n = f.Index(x, y, z);
                if (v < 100.0f)
                {
                    EXPECT_EQ(0.0f, f.vp[n]) << x;
                    EXPECT_EQ(0.0f, f.rho[n]) << x;
                    continue;
                }
                // rho * vp^2 * (dt/dx) / K and (dt/dx) * K / rho.
                EXPECT_NEAR(r * v * v * 1e-4 / 15000.0, f.vp[n], 1e-5 * f.vp[n]) << x;
                EXPECT_NEAR(1e-4 * 15000.0 / r, f.rho[n], 1e-6) << x;
            }
    // The sponge table: 0 at the face, rising inward.
    EXPECT_EQ(0.0f, f.eng.m_fTaper[0]);
    for (int i = 1; i < f.N; i++)
        EXPECT_EQ((float)exp(-0.18 * (f.N - i) * (f.N - i) * (double)0.001f), f.eng.m_fTaper[i]) << i;
    for (int i = f.N; i < 38; i++)
        EXPECT_EQ(0.0f, f.eng.m_fTaper[i]);
}

// Q becomes the per-step factor (1 - pi/Q)^(2 dt f); out of range: 1.
TEST(Assembly, AttenuationFactor)
{
    AssemblyFixture f(101);
    f.WithQ();
    f.eng.m_Signal.m_dFreq = 25.0;
    const float qs[6] = {2.0f, 3.1f, 50.0f, 400.0f, 10000.0f, 10001.0f};
    f.app.m_strModelPW = f.Cube("vp.sgy", [](double, double, double) { return 2000.0f; });
    f.app.m_strModelQ = f.Cube("q.sgy", [&](double x, double, double) { return qs[(int)(x / 10.0 + 0.5)]; });
    ASSERT_EQ(0, f.eng.InitModel());
    const double e = 2.0 * 0.001 * 25.0;
    const float expected[6] = {1.0f, 0.0f, (float)pow(1.0 - M_PI / 50.0, e), (float)pow(1.0 - M_PI / 400.0, e),
                               (float)pow(1.0 - M_PI / 10000.0, e), 1.0f};
    for (int k = 0; k < 6; k++)
        EXPECT_EQ(expected[k], f.q[f.Index(f.N + k, 4, 7)]) << "Q=" << qs[k];
    EXPECT_LT(f.q[f.Index(f.N + 4, 4, 7)], 1.0f);   // Q = 10000 still damps
    EXPECT_GT(f.q[f.Index(f.N + 4, 4, 7)], 0.9999f);
}

TEST(Assembly, Refusals)
{
    auto Vp = [](AssemblyFixture& f) { f.app.m_strModelPW = f.Cube("vp.sgy", VpOf); };
    const struct
    {
        int nMethod, nExpected;
        std::function<void(AssemblyFixture&)> setup;
    } cases[] = {
        {102, -2, [](AssemblyFixture& f) { f.eng.m_pVs = nullptr; }},
        {101, -2, [](AssemblyFixture& f) { f.eng.m_pRho = nullptr; }},
        {103, -2, Vp},   // no stiffness grids allocated
        {104, -2, Vp},
        {102, -1, [&](AssemblyFixture& f) { f.eng.m_nViscoL = 2; Vp(f); }},   // no grid for the mechanisms
        {101, -3, [](AssemblyFixture& f) { f.app.m_strModelPW = (f.dir / "none.sgy").c_str(); }},
        {101, -107, [](AssemblyFixture&) {}},   // no P velocity file
    };
    for (const auto& c : cases)
    {
        AssemblyFixture f(c.nMethod);
        c.setup(f);
        EXPECT_EQ(c.nExpected, f.eng.InitModel()) << c.nMethod;
    }
}

TEST(Assembly, FreeSurfaceEmptiesTheTopStrip)
{
    AssemblyFixture f(101);
    f.eng.m_nSurfType = 1;
    std::fill(f.vp.begin(), f.vp.end(), 2000.0f);
    std::fill(f.rho.begin(), f.rho.end(), 2200.0f);
    f.vp[f.Index(3, 3, 5)] = 0.0f;   // air of the model itself stays
    ASSERT_EQ(0, f.eng.MakeSurface());
    for (int z = 0; z < f.NZ; z++)
    {
        const float e = z < f.N ? 0.0f : 2000.0f;
        EXPECT_EQ(e, f.vp[f.Index(0, 0, z)]) << z;
        EXPECT_EQ(e, f.vp[f.Index(9, 7, z)]) << z;
        EXPECT_EQ(z < f.N ? 0.0f : 2200.0f, f.rho[f.Index(9, 7, z)]) << z;
    }
    EXPECT_EQ(0.0f, f.vp[f.Index(3, 3, 5)]);
    EXPECT_EQ(2000.0f, f.vp[f.Index(3, 3, 6)]);
}

// The fluid-rock test behind the PML warning: a face in any direction
// counts, air (no P velocity) beside rock and fluid beside fluid do not.
TEST(Assembly, FluidBesideRockIsFound)
{
    const int n = 4;
    const struct { const char* name; int nAxis; float vpTop, vsTop; bool bFound; } rows[] = {
        {"water over rock", 2, 1500, 0, true}, {"water beside rock in x", 0, 1500, 0, true},
        {"water beside rock in y", 1, 1500, 0, true}, {"air over rock", 2, 0, 0, false},
        {"soft rock over rock", 2, 1500, 100, false}};
    for (const auto& r : rows)
    {
        std::vector<float> vp(n * n * n, 3000.0f), vs(n * n * n, 1500.0f);
        for (int i = 0; i < n * n * n; i++)
            if ((r.nAxis == 0 ? i % n : r.nAxis == 1 ? i / n % n : i / (n * n)) < 2)
                vp[i] = r.vpTop, vs[i] = r.vsTop;
        EXPECT_EQ(r.bFound, FluidBesideRock(vp.data(), vs.data(), n, n, n)) << r.name;
        std::fill(vs.begin(), vs.end(), 0.0f);   // all fluid (or air): no rock to touch
        EXPECT_FALSE(FluidBesideRock(vp.data(), vs.data(), n, n, n)) << r.name;
    }
}

} // namespace
