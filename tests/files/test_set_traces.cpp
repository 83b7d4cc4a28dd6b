// Writing a block of traces gives the very bytes of writing them one by one,
// for a fresh cube file (the packed road) and for a block that runs to the
// file's last trace.

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "common/TestUtil.h"
#include "files/SdsPC.h"

TEST(SetTraces, SameBytesAsOneByOne)
{
    testutil::TempDir dir;
    const int nx = 7, ny = 5, nz = 13;
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> d(-1e3f, 1e3f);
    std::vector<float> data((size_t)nx * ny * nz);
    for (float& v : data)
        v = d(rng);
    const std::string a = dir / "a.sgy", b = dir / "b.sgy";
    for (const std::string& name : {a, b})
    {
        CSdsPC w;
        ASSERT_TRUE(w.Create3D_file(name.c_str(), C3DSizeN(nx, ny, nz), CCubeR(0, 0, 0, 60, 40, 120), 0.f, DU_M, 0,
                                    nullptr));
    }
    CSdsPC fa, fb;
    ASSERT_TRUE(fa.OnOpen(a.c_str(), 1, 1));
    ASSERT_TRUE(fb.OnOpen(b.c_str(), 1, 1));
    ASSERT_EQ(nx * ny, fa.m_nTraceCount);
    std::vector<float> tr(nz);
    for (int t = 0; t < nx * ny; t++)
    {
        std::copy(data.begin() + (size_t)t * nz, data.begin() + (size_t)(t + 1) * nz, tr.begin());
        ASSERT_TRUE(fa.SetTrace(t, tr.data(), nz));
    }
    ASSERT_TRUE(fb.SetTraces(0, 3, data.data(), nz));
    ASSERT_TRUE(fb.SetTraces(3, nx * ny - 3, data.data() + 3 * nz, nz));
    EXPECT_FALSE(fb.SetTraces(nx * ny - 1, 2, data.data(), nz));   // past the last trace
    fa.Reset();
    fb.Reset();
    EXPECT_EQ(testutil::ReadFile(a), testutil::ReadFile(b));
}
