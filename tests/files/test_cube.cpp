// Cubes: bilinear placement weights of Get3D_buf, hole filling, validity
// limit, and Create3D_file layouts read back through the file object.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "files/SdsPC.h"
#include "sdspc_testutil.h"

using namespace sdspc_test;

namespace {

struct Placed {
    int recX, recY;  // stored integers (metres)
    float base;      // sample i holds base + i
};

// Traces with samples base + i on a 10 ms axis 0 .. 100 (11 samples).
std::string CubeSource(const TempDir& d, const char* file, const std::vector<Placed>& traces)
{
    RawSgy s;
    s.format = 5;
    s.ns = 11;
    s.interval = 10000;
    for (auto& p : traces) {
        RawTrace t;
        t.srcX = t.recX = p.recX;
        t.srcY = t.recY = p.recY;
        for (int i = 0; i < 11; i++) t.samples.push_back(p.base + i);
        s.traces.push_back(t);
    }
    std::string name = d / file;
    WriteBytes(name, BuildSgy(s));
    return name;
}

// Grid 0..40 by 0..30 (steps 10), z 0..100 (step 10).
const C3DSizeN kSize(5, 4, 11);
const CCubeR kCube(0, 0, 0, 40, 30, 100);

inline float At(const std::vector<float>& c, const C3DSizeN& s, int ix, int iy, int iz)
{
    return c[(size_t)iz * s.nx * s.ny + (size_t)iy * s.nx + ix];
}

}  // namespace

TEST(SdsPCCube, OnNodeAndMidwayWeights)
{
    TempDir d;
    // A on node (0,0); B midway between (0,0), (1,0), (0,1), (1,1).
    auto name = CubeSource(d, "w.sgy", {{0, 0, 10.0f}, {5, 5, 20.0f}});
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str()));
    std::vector<float> c(kSize.nx * kSize.ny * kSize.nz);
    ASSERT_TRUE(f.Get3D_buf(kSize, kCube, c.data(), nullptr, 0, 0.0f));
    for (int iz = 0; iz < 11; iz++) {
        // (10 * 1 + 20 * 0.25) / 1.25 at the shared node.
        EXPECT_NEAR(At(c, kSize, 0, 0, iz), (1.0 * (10 + iz) + 0.25 * (20 + iz)) / 1.25, 1e-4) << iz;
        EXPECT_NEAR(At(c, kSize, 1, 1, iz), 20 + iz, 1e-4);
        EXPECT_NEAR(At(c, kSize, 1, 0, iz), 20 + iz, 1e-4);
        EXPECT_NEAR(At(c, kSize, 0, 1, iz), 20 + iz, 1e-4);
    }
}

TEST(SdsPCCube, EdgeWeights)
{
    TempDir d;
    // C half a step below the low X edge on row 2: weight 1.5 at (0,2) only.
    // D on node (0,2). E a whole step outside: counts for nothing.
    // F at the top X end on row 0: only nodes at ix = 4.
    auto name = CubeSource(d, "e.sgy", {{-5, 20, 30.0f}, {0, 20, 40.0f}, {-10, 20, 1000.0f}, {40, 5, 50.0f}});
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str()));
    std::vector<float> c(kSize.nx * kSize.ny * kSize.nz);
    ASSERT_TRUE(f.Get3D_buf(kSize, kCube, c.data(), nullptr, 0, 0.0f));
    EXPECT_NEAR(At(c, kSize, 0, 2, 0), (1.5 * 30 + 1.0 * 40) / 2.5, 1e-4);
    EXPECT_NEAR(At(c, kSize, 4, 0, 3), 53.0, 1e-4);
    EXPECT_NEAR(At(c, kSize, 4, 1, 3), 53.0, 1e-4);
    // (1,2) is not reached by C (its weight there is negative): a hole whose
    // only source along the grid lines is (0,2), so it takes that value.
    EXPECT_NEAR(At(c, kSize, 1, 2, 0), At(c, kSize, 0, 2, 0), 1e-4);
}

TEST(SdsPCCube, HoleFactorsAlongALine)
{
    TempDir d;
    auto name = CubeSource(d, "l.sgy", {{0, 0, 4.0f}, {40, 0, 8.0f}});
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str()));
    C3DSizeN size(5, 1, 11);
    CCubeR cube(0, 0, 0, 40, 0, 100);  // one line: dy takes dx
    std::vector<float> c(5 * 11);
    ASSERT_TRUE(f.Get3D_buf(size, cube, c.data(), nullptr, 0, 0.0f));
    // Sources at distance 1 and 3: factors 3/4 and 1/4.
    EXPECT_NEAR(At(c, size, 1, 0, 0), 0.75 * 4 + 0.25 * 8, 1e-5);
    EXPECT_NEAR(At(c, size, 2, 0, 0), 6.0, 1e-5);
    EXPECT_NEAR(At(c, size, 3, 0, 0), 0.25 * 4 + 0.75 * 8, 1e-5);
    EXPECT_NEAR(At(c, size, 3, 0, 10), 0.25 * 14 + 0.75 * 18, 1e-5);
}

// Traces on every second node of a linear field: the trace lines fill in the
// first pass, the nodes between lines in the second, and a linear field is
// reproduced exactly.
TEST(SdsPCCube, HolesFillInPasses)
{
    TempDir d;
    std::vector<Placed> p;
    for (int iy = 0; iy < 5; iy += 2)
        for (int ix = 0; ix < 5; ix += 2) p.push_back({ix * 10, iy * 10, (float)(100 * ix + 10 * iy)});
    auto name = CubeSource(d, "h.sgy", p);
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str()));
    C3DSizeN size(5, 5, 11);
    CCubeR cube(0, 0, 0, 40, 40, 100);
    std::vector<float> c(5 * 5 * 11);
    ASSERT_TRUE(f.Get3D_buf(size, cube, c.data(), nullptr, 0, 0.0f));
    for (int iz = 0; iz < 11; iz += 5)
        for (int iy = 0; iy < 5; iy++)
            for (int ix = 0; ix < 5; ix++)
                EXPECT_NEAR(At(c, size, ix, iy, iz), 100 * ix + 10 * iy + iz, 1e-3) << ix << "," << iy;
}

TEST(SdsPCCube, SingleTraceFillsEverything)
{
    TempDir d;
    auto name = CubeSource(d, "s.sgy", {{10, 20, 7.0f}});
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str()));
    std::vector<float> c(kSize.nx * kSize.ny * kSize.nz);
    ASSERT_TRUE(f.Get3D_buf(kSize, kCube, c.data(), nullptr, 0, 0.0f));
    for (int iy = 0; iy < 4; iy++)
        for (int ix = 0; ix < 5; ix++) EXPECT_NEAR(At(c, kSize, ix, iy, 2), 9.0, 1e-5);
}

TEST(SdsPCCube, ValidityLimitMakesZeros)
{
    TempDir d;
    RawSgy s;
    s.format = 5;
    s.ns = 11;
    s.interval = 10000;
    RawTrace t;
    t.samples = {5, 5, 5, 0.5f, 5, 5, 5, 5, 5, 5, 5};
    t.recX = t.srcX = 0;
    s.traces.push_back(t);
    t.recX = t.srcX = 10;
    t.samples[3] = 5;
    s.traces.push_back(t);
    CSdsPC f;
    ASSERT_TRUE(WriteAndOpen(f, d / "v.sgy", BuildSgy(s)));
    std::vector<float> c(kSize.nx * kSize.ny * kSize.nz);
    ASSERT_TRUE(f.Get3D_buf(kSize, kCube, c.data(), nullptr, 0, 1.0f));
    EXPECT_EQ(At(c, kSize, 0, 0, 3), 0.0f);   // invalid sample
    EXPECT_EQ(At(c, kSize, 0, 3, 3), 0.0f);   // filled from it
    EXPECT_EQ(At(c, kSize, 1, 0, 3), 5.0f);   // the valid neighbour
    EXPECT_EQ(At(c, kSize, 0, 0, 4), 5.0f);
    // Without the limit the sample counts as it is.
    ASSERT_TRUE(f.Get3D_buf(kSize, kCube, c.data(), nullptr, 0, 0.0f));
    EXPECT_FLOAT_EQ(At(c, kSize, 0, 0, 3), 0.5f);
}

TEST(SdsPCCube, OneNodeDeepAndFailures)
{
    TempDir d;
    auto name = CubeSource(d, "o.sgy", {{0, 0, 1.0f}, {40, 30, 3.0f}});
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str()));
    // nz = 1: the single sample at z0.
    std::vector<float> c(5 * 4);
    ASSERT_TRUE(f.Get3D_buf(C3DSizeN(5, 4, 1), CCubeR(0, 0, 50, 40, 30, 50), c.data(), nullptr, 0, 0.0f));
    EXPECT_FLOAT_EQ(c[0], 6.0f);
    EXPECT_FLOAT_EQ(c[19], 8.0f);
    // No step in X nor Y.
    EXPECT_FALSE(f.Get3D_buf(C3DSizeN(1, 1, 11), kCube, c.data(), nullptr, 0, 0.0f));
    // No trace inside the grid: nothing to fill from.
    std::vector<float> far(kSize.nx * kSize.ny * kSize.nz, 1.0f);
    EXPECT_FALSE(f.Get3D_buf(kSize, CCubeR(1000, 1000, 0, 1040, 1030, 100), far.data(), nullptr, 0, 0.0f));
    for (float v : far) ASSERT_EQ(v, 0.0f);
    // A closed object has no catalogue.
    CSdsPC g;
    EXPECT_FALSE(g.Get3D_buf(kSize, kCube, far.data(), nullptr, 0, 0.0f));
}

TEST(SdsPCCube, CreateSegyCubeFillAndReadBack)
{
    TempDir d;
    std::string name = d / "cube.sgy";
    C3DSizeN size(4, 3, 11);
    CCubeR cube(100, 200, 0, 130, 220, 100);
    CSdsPC w;
    ASSERT_TRUE(w.Create3D_file(name.c_str(), size, cube, 0.0f, DU_M, 0, nullptr));
    EXPECT_EQ(ReadBytes(name).size(), 3600u + 12u * (240u + 44u));
    EXPECT_FALSE(FileExists(name + ".inf"));  // a 10 m step fits the header

    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str(), 1, 1));
    ASSERT_EQ(f.m_nTraceCount, 12);
    EXPECT_EQ(f.m_DataUnit, DU_M);
    EXPECT_DOUBLE_EQ(f.m_traseParam[1], 100.0);
    EXPECT_DOUBLE_EQ(f.m_traseParam[2], 10.0);
    for (int iy = 0; iy < 3; iy++)
        for (int ix = 0; ix < 4; ix++) {
            int k = iy * 4 + ix;
            EXPECT_DOUBLE_EQ(f.GetRec(k).x, 100 + 10 * ix);
            EXPECT_DOUBLE_EQ(f.GetRec(k).y, 200 + 10 * iy);
            EXPECT_DOUBLE_EQ(f.GetSrc(k).x, 100);  // one line, one shot at its first node
            float v[11];
            for (int iz = 0; iz < 11; iz++) v[iz] = (float)(ix + 10 * iy + 100 * iz);
            ASSERT_TRUE(f.SetTrace(k, v, 11));
        }
    std::vector<float> c(4 * 3 * 11);
    ASSERT_TRUE(f.Get3D_buf(size, cube, c.data(), nullptr, 0, 0.0f));
    for (int iz = 0; iz < 11; iz++)
        for (int iy = 0; iy < 3; iy++)
            for (int ix = 0; ix < 4; ix++) ASSERT_FLOAT_EQ(At(c, size, ix, iy, iz), ix + 10 * iy + 100 * iz);
}

TEST(SdsPCCube, CreateSdsCube)
{
    TempDir d;
    std::string name = d / "cube.rec";
    CSdsPC w;
    ASSERT_TRUE(w.Create3D_file(name.c_str(), C3DSizeN(3, 2, 6), CCubeR(0, 0, 0, 20, 10, 100), 0, DU_MSEC, 0,
                                nullptr));
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str(), 1));
    ASSERT_EQ(f.m_nTraceCount, 6);
    EXPECT_EQ(f.m_nTraceLen, 6);
    EXPECT_DOUBLE_EQ(f.GetRec(5).x, 20.0);
    EXPECT_DOUBLE_EQ(f.GetRec(5).y, 10.0);
    EXPECT_DOUBLE_EQ(f.GetSrc(5).x, 0.0);
    float v[6] = {1, 2, 3, 4, 5, 6};
    ASSERT_TRUE(f.SetTrace(4, v, 6));
    float r[6];
    ASSERT_TRUE(f.GetTrace(4, r, 6));
    EXPECT_EQ(r[5], 6.0f);
}

TEST(SdsPCCube, CreateSideFilesAndRefusals)
{
    TempDir d;
    CSdsPC w;
    std::string name = d / "deep.sgy";
    for (const char* ext : {".inf", ".cr2", ".cr0"}) WriteBytes(name + ext, {1, 2, 3});
    // Depth step 10: no side file, and the stale ones are gone.
    ASSERT_TRUE(w.Create3D_file(name.c_str(), C3DSizeN(2, 2, 3), CCubeR(0, 0, 0, 10, 10, 20), 0, DU_M, 0, nullptr));
    for (const char* ext : {".inf", ".cr2", ".cr0"}) EXPECT_FALSE(FileExists(name + ext)) << ext;
    // Depth step 50: kmTrs 1000 in the side file, read back by the open.
    ASSERT_TRUE(w.Create3D_file(name.c_str(), C3DSizeN(2, 2, 3), CCubeR(0, 0, 0, 10, 10, 100), 0, DU_M, 0, nullptr));
    auto inf = ReadBytes(name + ".inf");
    EXPECT_EQ(std::string(inf.begin(), inf.end()), "[Reform]\nkmTrs=1000.000000\n");
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str(), 0, 1));
    EXPECT_DOUBLE_EQ(f.m_traseParam[1], 100.0);
    EXPECT_DOUBLE_EQ(f.m_traseParam[2], 50.0);
    // Time step 0.002 s: no side file.
    std::string t = d / "time.sgy";
    ASSERT_TRUE(w.Create3D_file(t.c_str(), C3DSizeN(2, 2, 3), CCubeR(0, 0, 0, 10, 10, 0.004), 0, DU_SEC, 0, nullptr));
    EXPECT_FALSE(FileExists(t + ".inf"));

    EXPECT_FALSE(w.Create3D_file((d / "c.vmg").c_str(), C3DSizeN(2, 2, 3), kCube, 0, DU_M, 0, nullptr));
    EXPECT_FALSE(w.Create3D_file((d / "c.segy").c_str(), C3DSizeN(2, 2, 3), kCube, 0, DU_M, 0, nullptr));
    EXPECT_FALSE(w.Create3D_file((d / "c.sgy").c_str(), C3DSizeN(1, 1, 3), kCube, 0, DU_M, 0, nullptr));
    EXPECT_FALSE(FileExists(d / "c.sgy"));
    EXPECT_FALSE(w.Create3D_file((d / "nodir/c.sgy").c_str(), C3DSizeN(2, 2, 3), kCube, 0, DU_M, 0, nullptr));
}

TEST(SdsPCCube, CreatePlaneGoesThroughOnSave)
{
    TempDir d;
    CSdsPC w;
    std::string name = d / "plane.sgy";
    ASSERT_TRUE(w.Create3D_file(name.c_str(), C3DSizeN(5, 1, 11), CCubeR(0, 7, 0, 40, 7, 100), 0, DU_M, 0, nullptr));
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str()));
    EXPECT_EQ(f.m_nTraceCount, 5);
    EXPECT_EQ(f.m_nTraceLen, 11);
}

// Unequal bilinear weights: a trace at u = 0.2, v = 0.7 among four traces of
// zeros on the corners gives each corner its own share.
TEST(SdsPCCube, AsymmetricBilinearWeights)
{
    TempDir d;
    auto name = CubeSource(d, "a.sgy", {{0, 0, 0.0f}, {10, 0, 0.0f}, {0, 10, 0.0f}, {10, 10, 0.0f}, {2, 7, 100.0f}});
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str()));
    const double u = 0.2, v = 0.7;
    const double w00 = (1 - u) * (1 - v), w10 = u * (1 - v), w01 = (1 - u) * v, w11 = u * v;
    std::vector<float> c(kSize.nx * kSize.ny * kSize.nz);
    ASSERT_TRUE(f.Get3D_buf(kSize, kCube, c.data(), nullptr, 0, 0.0f));
    EXPECT_NEAR(At(c, kSize, 0, 0, 0), 100 * w00 / (1 + w00), 1e-4);
    EXPECT_NEAR(At(c, kSize, 1, 0, 0), 100 * w10 / (1 + w10), 1e-4);
    EXPECT_NEAR(At(c, kSize, 0, 1, 0), 100 * w01 / (1 + w01), 1e-4);
    EXPECT_NEAR(At(c, kSize, 1, 1, 0), 100 * w11 / (1 + w11), 1e-4);
    EXPECT_NEAR(At(c, kSize, 1, 1, 4), (100 + 4) * w11 / (1 + w11) + 4 / (1 + w11), 1e-4);
}

// A cube file of several MB, read with its catalogue first in file order and
// then reversed (from a ".cr2"), so that reads jump backwards; then a trace is
// rewritten through the same object and a second cube must show the new
// samples, not what an earlier read left in memory.
TEST(SdsPCCube, CatalogueOrderAndRewrittenTracesReadBack)
{
    TempDir d;
    std::string name = d / "big.sgy";
    const C3DSizeN size(70, 60, 120);  // 4200 traces of 720 bytes: about 4 MB
    const CCubeR cube(0, 0, 0, 690, 590, 1190);
    auto value = [](int ix, int iy, int iz) { return (float)(ix + 100 * iy) + 0.25f * (float)iz; };
    {
        CSdsPC w;
        ASSERT_TRUE(w.Create3D_file(name.c_str(), size, cube, 0.0f, DU_M, 0, nullptr));
        CSdsPC f;
        ASSERT_TRUE(f.OnOpen(name.c_str(), 1, 1));
        ASSERT_EQ(f.m_nTraceCount, size.nx * size.ny);
        std::vector<float> v(size.nz);
        for (int iy = 0; iy < size.ny; iy++)
            for (int ix = 0; ix < size.nx; ix++) {
                for (int iz = 0; iz < size.nz; iz++) v[iz] = value(ix, iy, iz);
                ASSERT_TRUE(f.SetTrace(iy * size.nx + ix, v.data(), size.nz));
            }
        // Reverse the catalogue and keep it beside the file.
        std::reverse(f.m_pSR, f.m_pSR + f.m_nTraceCount);
        ASSERT_TRUE(f.SetInfoHeaderFromFile(name.c_str(), 1));
    }
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str(), 1, 1));
    ASSERT_EQ(f.m_bCatalogue, 1);
    ASSERT_EQ(f.GetRec(0).x, 690.0);  // the last node comes first now
    std::vector<float> c((size_t)size.nx * size.ny * size.nz);
    ASSERT_TRUE(f.Get3D_buf(size, cube, c.data(), nullptr, 0, 0.0f));
    for (int iz = 0; iz < size.nz; iz += 7)
        for (int iy = 0; iy < size.ny; iy += 3)
            for (int ix = 0; ix < size.nx; ix += 3)
                ASSERT_EQ(At(c, size, ix, iy, iz), value(ix, iy, iz)) << ix << " " << iy << " " << iz;

    // Catalogue entry 0 is node (69, 59) now.
    std::vector<float> v(size.nz, -3.5f);
    ASSERT_TRUE(f.SetTrace(0, v.data(), size.nz));
    ASSERT_TRUE(f.Get3D_buf(size, cube, c.data(), nullptr, 0, 0.0f));
    for (int iz = 0; iz < size.nz; iz++) {
        ASSERT_EQ(At(c, size, 69, 59, iz), -3.5f) << iz;
        ASSERT_EQ(At(c, size, 68, 59, iz), value(68, 59, iz)) << iz;
    }
}
