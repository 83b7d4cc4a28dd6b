// VMG snapshot files: creating, appending rows, refusing to append, and
// merging per-shot parts into one file.
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "files/SdsPC.h"
#include "files_test_util.h"

using namespace ftest;

namespace {

class Vmg : public ::testing::Test {
protected:
    SettingsGuard guard;
    ScratchDir dir;
    CSdsPC obj;
    std::string P(const std::string& name) { return dir.path(name); }

    // A plane of 3 x 2 x nz floats whose value tells its place and the plane.
    static std::vector<float> Plane(int nz, float base)
    {
        std::vector<float> v((size_t)6 * nz);
        std::iota(v.begin(), v.end(), base);
        return v;
    }
    // Rows nz of a 3 x 2 grid at 0.01 s apart from 0.01 s.
    bool Add(const std::string& name, int nz, float* p0, float* p2, const char* letters, double srcX = 5.0)
    {
        char szLetters[8] = {};
        strncpy(szLetters, letters, 7);
        C3DSizeN size(3, 2, nz);
        CCubeR cube(0, 100, 0.01, 20, 200, 0.01 * nz);
        CPointR src(srcX, 0);
        return obj.OnAddToVMG_SNAP(name.c_str(), size, cube, szLetters, src, p0, nullptr, p2, nullptr);
    }
};

TEST_F(Vmg, SnapshotFrameHeaderAndInterleaving)
{
    auto a = Plane(1, 0.0f), c = Plane(1, 1000.0f);
    const std::string name = P("s.vmg");
    ASSERT_TRUE(Add(name, 1, a.data(), c.data(), "XZ"));
    auto b = ReadBytes(name);
    ASSERT_EQ(b.size(), 296u + 3 * 2 * 2 * 4);
    EXPECT_EQ(std::string((char*)&b[0], 19), "Binary. FD-Grid ___");
    // Offset 172: stop - start of the one row.
    ExpectAt(b, lef32, {{132, 0}, {136, 20}, {140, 10}, {144, 5}, {148, 100}, {152, 200}, {156, 100},
                        {160, 0.01f}, {164, 0.01f}, {168, 0.01f}, {172, 0}});
    ExpectAt(b, le32, {{196, 3}, {200, 2}, {204, 1}, {208, 1}, {232, 1}, {236, 1}, {240, 0}, {244, 2}, {248, 3}});
    EXPECT_EQ(std::string((char*)&b[252], 2), "XZ");
    EXPECT_EQ(std::string((char*)&b[260], 4), "XZTY");
    EXPECT_EQ(std::string((char*)&b[268]), "Snap");
    for (int i = 0; i < 6; i++) {
        EXPECT_EQ(lef32(b, 296 + 4 * (2 * i)), a[i]);
        EXPECT_EQ(lef32(b, 296 + 4 * (2 * i + 1)), c[i]);
    }
}

// ------------------------------------------------------------------ merge

TEST_F(Vmg, FrameMergeKeepsFramesAndDeletesParts)
{
    std::vector<float> p1 = Plane(2, 0.0f), p3 = Plane(2, 500.0f);
    ASSERT_TRUE(Add(P("m-1.vmg"), 2, p1.data(), nullptr, "Z", 100.0));
    ASSERT_TRUE(Add(P("m-3.vmg"), 2, p3.data(), nullptr, "Z", 300.0));
    ASSERT_TRUE(WriteBytes(P("m-1.vmg.inf"), "x", 1));
    const auto part1 = ReadBytes(P("m-1.vmg"));
    const auto part3 = ReadBytes(P("m-3.vmg"));

    ASSERT_TRUE(obj.OnSaveNVmg2VMG(P("m.vmg").c_str(), 3, 0));
    auto b = ReadBytes(P("m.vmg"));
    ASSERT_EQ(b.size(), part1.size() + part3.size());
    // Frame 0 from part 1, frame 1 from part 3 with index 2: numbered by part.
    ExpectAt(b, le32, {{236, 2}, {240, 0}, {part1.size() + 236, 2}, {part1.size() + 240, 2}});
    EXPECT_EQ(lef32(b, part1.size() + 144), 300.0f);
    EXPECT_EQ(memcmp(&b[296], &part1[296], part1.size() - 296), 0);
    EXPECT_EQ(memcmp(&b[part1.size() + 296], &part3[296], part3.size() - 296), 0);
    EXPECT_FALSE(FileExists(P("m-1.vmg")) || FileExists(P("m-1.vmg.inf")) || FileExists(P("m-3.vmg")));
    EXPECT_TRUE(FileExists(P("m.vmg.cr2")));

    // The merged file opens with the traces of both frames.
    CSdsPC m;
    ASSERT_TRUE(m.OnOpen(P("m.vmg").c_str()));
    EXPECT_EQ(m.m_nTraceCount, 6);
    EXPECT_EQ(m.m_nMaxPart, 2);
}

TEST_F(Vmg, MergeOfATruncatedPartFailsAndKeepsTheParts)
{
    std::vector<float> p = Plane(2, 0.0f);
    ASSERT_TRUE(Add(P("t-1.vmg"), 2, p.data(), nullptr, "P"));
    ASSERT_TRUE(Add(P("t-2.vmg"), 2, p.data(), nullptr, "P"));
    auto b = ReadBytes(P("t-2.vmg"));
    b.resize(b.size() - 8);  // the last two samples are missing
    ASSERT_TRUE(WriteBytes(P("t-2.vmg"), b.data(), b.size()));
    testing::internal::CaptureStdout();
    const bool ok = obj.OnSaveNVmg2VMG(P("t.vmg").c_str(), 2, 0);
    testing::internal::GetCapturedStdout();
    // Whether the reader refuses the cut part or takes it and the copy comes
    // up short, the cut part survives and no incomplete frame is merged.
    EXPECT_TRUE(FileExists(P("t-2.vmg")));
    if (ok) {
        auto m = ReadBytes(P("t.vmg"));
        EXPECT_EQ(m.size(), 296u + 3 * 2 * 2 * 4);
        EXPECT_EQ(le32(m, 236), 1);
    } else {
        EXPECT_TRUE(FileExists(P("t-1.vmg")));
    }
}

}  // namespace
