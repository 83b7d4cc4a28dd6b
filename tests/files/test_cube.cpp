// Cubes: bilinear placement weights of Get3D_buf, hole filling, validity
// limit, and Create3D_file layouts read back through the file object.
#include <gtest/gtest.h>

#include <algorithm>

#include "files/SdsPC.h"
#include "files_test_util.h"

using namespace sdspc_test;

namespace {

struct Placed { int recX, recY; float base; };  // stored integers (metres); sample i holds base + i

// Traces with samples base + i on a 10 ms axis 0 .. 100 (11 samples).
std::string CubeSource(const TempDir& d, const char* file, const std::vector<Placed>& traces)
{
    RawSgy s;
    s.format = 5, s.ns = 11, s.interval = 10000;
    for (auto& p : traces) {
        RawTrace t;
        t.srcX = t.recX = p.recX, t.srcY = t.recY = p.recY;
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

// A cube file of several MB made by Create3D_file: its layout read back, then
// its catalogue first in file order and then reversed (from a ".cr2"), so that reads jump backwards; then a trace is
// rewritten through the same object and a second cube must show the new
// samples, not what an earlier read left in memory.
TEST(SdsPCCube, CatalogueOrderAndRewrittenTracesReadBack)
{
    TempDir d;
    std::string name = d / "big.sgy";
    const C3DSizeN size(70, 60, 120);  // 4200 traces of 720 bytes: about 4 MB
    const CCubeR cube(100, 200, 0, 790, 790, 1190);
    auto value = [](int ix, int iy, int iz) { return (float)(ix + 100 * iy) + 0.25f * (float)iz; };
    {
        CSdsPC w;
        ASSERT_TRUE(w.Create3D_file(name.c_str(), size, cube, 0.0f, DU_M, 0, nullptr));
        EXPECT_EQ(ReadBytes(name).size(), 3600u + 4200u * 720u);
        EXPECT_FALSE(FileExists(name + ".inf"));  // a 10 m step fits the header
        CSdsPC f;
        ASSERT_TRUE(f.OnOpen(name.c_str(), 1, 1));
        ASSERT_EQ(f.m_nTraceCount, size.nx * size.ny);
        EXPECT_EQ(f.m_DataUnit, DU_M);
        EXPECT_DOUBLE_EQ(f.m_traseParam[1], 1190.0);
        EXPECT_DOUBLE_EQ(f.m_traseParam[2], 10.0);
        // Node (2, 1); one line, one shot at its first node.
        EXPECT_EQ(f.GetRec(72), CPointR(120, 210));
        EXPECT_DOUBLE_EQ(f.GetSrc(72).x, 100);
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
    ASSERT_EQ(f.GetRec(0).x, 790.0);  // the last node comes first now
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
