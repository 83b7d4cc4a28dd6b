// VMG snapshot files: creating, appending rows, refusing to append, and
// merging per-shot parts into one file.
#include <cstring>
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

    // A plane of nx*ny*nz floats whose value tells its place and the plane.
    static std::vector<float> Plane(int nx, int ny, int nz, float base)
    {
        std::vector<float> v((size_t)nx * ny * nz);
        for (size_t i = 0; i < v.size(); i++)
            v[i] = base + (float)i;
        return v;
    }
    bool Add(const std::string& name, int nx, int ny, int nz, double t0, double t1, float* p0, float* p1,
             float* p2, const char* letters, double srcX = 5.0)
    {
        C3DSizeN size(nx, ny, nz);
        CCubeR cube(0, 100, t0, 20, 200, t1);
        CPointR src(srcX, 0);
        char szLetters[8] = {};
        strncpy(szLetters, letters, 7);
        return obj.OnAddToVMG_SNAP(name.c_str(), size, cube, szLetters, src, p0, p1, p2, nullptr);
    }
};

TEST_F(Vmg, SnapshotFrameHeaderAndInterleaving)
{
    ASSERT_TRUE(dir.ok());
    auto a = Plane(3, 2, 1, 0.0f), c = Plane(3, 2, 1, 1000.0f);
    const std::string name = P("s.vmg");
    ASSERT_TRUE(Add(name, 3, 2, 1, 0.01, 0.01, a.data(), nullptr, c.data(), "XZ"));
    auto b = ReadBytes(name);
    ASSERT_EQ(b.size(), 296u + 3 * 2 * 2 * 4);
    EXPECT_EQ(std::string((char*)&b[0], 19), "Binary. FD-Grid ___");
    EXPECT_EQ(lef32(b, 132), 0.0f);
    EXPECT_EQ(lef32(b, 136), 20.0f);
    EXPECT_EQ(lef32(b, 140), 10.0f);
    EXPECT_EQ(lef32(b, 144), 5.0f);
    EXPECT_EQ(lef32(b, 148), 100.0f);
    EXPECT_EQ(lef32(b, 152), 200.0f);
    EXPECT_EQ(lef32(b, 156), 100.0f);
    EXPECT_EQ(lef32(b, 160), 0.01f);
    EXPECT_EQ(lef32(b, 164), 0.01f);
    EXPECT_EQ(lef32(b, 168), 0.01f);
    EXPECT_EQ(lef32(b, 172), 0.0f);  // one row: stop - start
    EXPECT_EQ(le32(b, 196), 3);
    EXPECT_EQ(le32(b, 200), 2);
    EXPECT_EQ(le32(b, 204), 1);
    EXPECT_EQ(le32(b, 208), 1);
    EXPECT_EQ(le32(b, 232), 1);
    EXPECT_EQ(le32(b, 236), 1);
    EXPECT_EQ(le32(b, 240), 0);
    EXPECT_EQ(le32(b, 244), 2);
    EXPECT_EQ(le32(b, 248), 3);
    EXPECT_EQ(std::string((char*)&b[252], 2), "XZ");
    EXPECT_EQ(std::string((char*)&b[260], 4), "XZTY");
    EXPECT_EQ(std::string((char*)&b[268]), "Snap");
    for (int i = 0; i < 6; i++) {
        EXPECT_EQ(lef32(b, 296 + 4 * (2 * i)), a[i]);
        EXPECT_EQ(lef32(b, 296 + 4 * (2 * i + 1)), c[i]);
    }
}

TEST_F(Vmg, SnapshotFileGrowsByRows)
{
    ASSERT_TRUE(dir.ok());
    const std::string name = P("s.vmg");
    std::vector<float> rows[3];
    for (int r = 0; r < 3; r++) {
        rows[r] = Plane(4, 2, 1, 100.0f * r);
        ASSERT_TRUE(Add(name, 4, 2, 1, 0.01 * (r + 1), 0.01 * (r + 1), rows[r].data(), nullptr, nullptr, "P"));
        auto b = ReadBytes(name);
        ASSERT_EQ(b.size(), 296u + (size_t)(r + 1) * 8 * 4);
        EXPECT_EQ(le32(b, 204), r + 1);
        EXPECT_EQ(lef32(b, 164), 0.01f);
        EXPECT_EQ(lef32(b, 168), (float)(0.01 * (r + 1)));
        if (r > 0) {
            EXPECT_EQ(lef32(b, 172), ((float)(0.01 * (r + 1)) - 0.01f) / (float)r);
        }
    }
    auto b = ReadBytes(name);
    for (int r = 0; r < 3; r++)
        for (int i = 0; i < 8; i++)
            EXPECT_EQ(lef32(b, 296 + 4 * (r * 8 + i)), rows[r][i]);
}

TEST_F(Vmg, IncompatibleFileIsReplaced)
{
    ASSERT_TRUE(dir.ok());
    const std::string name = P("s.vmg");
    auto a = Plane(4, 2, 1, 0.0f), w = Plane(5, 2, 1, 0.0f);
    ASSERT_TRUE(Add(name, 4, 2, 1, 0.01, 0.01, a.data(), nullptr, nullptr, "P"));
    ASSERT_TRUE(Add(name, 4, 2, 1, 0.02, 0.02, a.data(), nullptr, nullptr, "P"));
    // Another width: the old file is discarded with the message.
    testing::internal::CaptureStdout();
    ASSERT_TRUE(Add(name, 5, 2, 1, 0.03, 0.03, w.data(), nullptr, nullptr, "P"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "File header is not supported addition new data\n");
    auto b = ReadBytes(name);
    EXPECT_EQ(le32(b, 196), 5);
    EXPECT_EQ(le32(b, 204), 1);
    EXPECT_EQ(b.size(), 296u + 10 * 4);

    // Another number of components.
    testing::internal::CaptureStdout();
    ASSERT_TRUE(Add(name, 5, 2, 1, 0.04, 0.04, w.data(), w.data(), nullptr, "PQ"));
    EXPECT_NE(testing::internal::GetCapturedStdout().find("not supported"), std::string::npos);
    EXPECT_EQ(le32(ReadBytes(name), 204), 1);

    // A merged file (more than one frame) is not added to.
    b = ReadBytes(name);
    b[236] = 2;
    ASSERT_TRUE(WriteBytes(name, b.data(), b.size()));
    testing::internal::CaptureStdout();
    ASSERT_TRUE(Add(name, 5, 2, 1, 0.05, 0.05, w.data(), w.data(), nullptr, "PQ"));
    EXPECT_NE(testing::internal::GetCapturedStdout().find("not supported"), std::string::npos);
    b = ReadBytes(name);
    EXPECT_EQ(le32(b, 236), 1);
    EXPECT_EQ(le32(b, 204), 1);

    // A file too short to hold a header is replaced as well.
    ASSERT_TRUE(WriteBytes(name, "abc", 3));
    testing::internal::CaptureStdout();
    ASSERT_TRUE(Add(name, 5, 2, 1, 0.06, 0.06, w.data(), nullptr, nullptr, "P"));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(ReadBytes(name).size(), 296u + 10 * 4);
}

TEST_F(Vmg, SnapshotRefusals)
{
    ASSERT_TRUE(dir.ok());
    auto a = Plane(4, 4, 4, 0.0f);
    CCubeR cube(0, 0, 0, 1, 1, 1);
    CPointR src(0, 0);
    char letters[8] = "P";
    struct {
        int nx, ny, nz;
        bool any;
        const char* name;
    } const cases[] = {{0, 2, 1, true, "a.vmg"}, {2, 1, 1, true, "a.vmg"}, {2, 2, 0, true, "a.vmg"},
                       {2, 2, 1, false, "a.vmg"}, {2, 2, 1, true, "a.sgy"}, {2, 2, 1, true, "a.txt"}};
    for (auto& c : cases) {
        C3DSizeN size(c.nx, c.ny, c.nz);
        // With no plane among p0..p2 only p3 is given: still refused.
        EXPECT_FALSE(obj.OnAddToVMG_SNAP(P(c.name).c_str(), size, cube, letters, src, c.any ? a.data() : nullptr,
                                         nullptr, nullptr, c.any ? nullptr : a.data()))
            << c.nx << c.ny << c.nz << c.name;
        EXPECT_FALSE(FileExists(P(c.name)));
    }
}

// ------------------------------------------------------------------ merge

TEST_F(Vmg, MergeNameChecks)
{
    ASSERT_TRUE(dir.ok());
    EXPECT_FALSE(obj.OnSaveNVmg2VMG(P("noext").c_str(), 2, 0));
    EXPECT_FALSE(obj.OnSaveNVmg2VMG("a.vm", 2, 0));
    EXPECT_FALSE(obj.OnSaveNVmg2VMG(nullptr, 2, 0));
    testing::internal::CaptureStdout();
    EXPECT_FALSE(obj.OnSaveNVmg2VMG(P("x.sgy").c_str(), 2, 0));
    EXPECT_NE(testing::internal::GetCapturedStdout().find("has incorrect extension. It have to be from the set "
                                                          "'.vmg'!\n"),
              std::string::npos);
    // No part at all: nothing to merge.
    EXPECT_FALSE(obj.OnSaveNVmg2VMG(P("x.VMG").c_str(), 3, 0));
    EXPECT_FALSE(FileExists(P("x.VMG")));
}

TEST_F(Vmg, FrameMergeKeepsFramesAndDeletesParts)
{
    ASSERT_TRUE(dir.ok());
    std::vector<float> p1 = Plane(3, 2, 2, 0.0f), p3 = Plane(3, 2, 2, 500.0f);
    ASSERT_TRUE(Add(P("m-1.vmg"), 3, 2, 2, 0.01, 0.02, p1.data(), nullptr, nullptr, "Z", 100.0));
    ASSERT_TRUE(Add(P("m-3.vmg"), 3, 2, 2, 0.01, 0.02, p3.data(), nullptr, nullptr, "Z", 300.0));
    ASSERT_TRUE(WriteBytes(P("m-1.vmg.inf"), "x", 1));
    const auto part1 = ReadBytes(P("m-1.vmg"));
    const auto part3 = ReadBytes(P("m-3.vmg"));

    ASSERT_TRUE(obj.OnSaveNVmg2VMG(P("m.vmg").c_str(), 3, 0));
    auto b = ReadBytes(P("m.vmg"));
    ASSERT_EQ(b.size(), part1.size() + part3.size());
    // Frame 0 from part 1, frame 1 from part 3 with index 2: numbered by part.
    EXPECT_EQ(le32(b, 236), 2);
    EXPECT_EQ(le32(b, 240), 0);
    EXPECT_EQ(le32(b, part1.size() + 236), 2);
    EXPECT_EQ(le32(b, part1.size() + 240), 2);
    EXPECT_EQ(lef32(b, part1.size() + 144), 300.0f);
    EXPECT_EQ(memcmp(&b[296], &part1[296], part1.size() - 296), 0);
    EXPECT_EQ(memcmp(&b[part1.size() + 296], &part3[296], part3.size() - 296), 0);
    EXPECT_FALSE(FileExists(P("m-1.vmg")));
    EXPECT_FALSE(FileExists(P("m-1.vmg.inf")));
    EXPECT_FALSE(FileExists(P("m-3.vmg")));
    EXPECT_TRUE(FileExists(P("m.vmg.cr2")));

    // The merged file opens with the traces of both frames.
    CSdsPC m;
    ASSERT_TRUE(m.OnOpen(P("m.vmg").c_str()));
    EXPECT_EQ(m.m_nTraceCount, 6);
    EXPECT_EQ(m.m_nMaxPart, 2);
}

TEST_F(Vmg, ColumnMergeBuildsOneFrame)
{
    ASSERT_TRUE(dir.ok());
    // Three parts of one column and 4 samples each.
    std::vector<float> cols[3];
    for (int k = 0; k < 3; k++) {
        cols[k] = Plane(1, 4, 1, 10.0f * (k + 1));
        ASSERT_TRUE(Add(P("c-" + std::to_string(k + 1) + ".vmg"), 1, 4, 1, 0.01, 0.01, cols[k].data(), nullptr,
                        nullptr, "Z", 100.0 * (k + 1)));
    }
    ASSERT_TRUE(obj.OnSaveNVmg2VMG(P("c.vmg").c_str(), 3, 0));
    auto b = ReadBytes(P("c.vmg"));
    ASSERT_GE(b.size(), 296u);
    EXPECT_EQ(le32(b, 196), 3);  // one column a part
    EXPECT_EQ(le32(b, 200), 4);
    EXPECT_EQ(le32(b, 236), 1);
    EXPECT_EQ(b[252], 'Z');
    EXPECT_EQ(std::string((char*)&b[260], 4), "XTZY");
    const int nComp = le32(b, 244);
    ASSERT_GE(nComp, 1);
    ASSERT_EQ(b.size(), 296u + (size_t)3 * 4 * nComp * 4);
    for (int j = 0; j < 4; j++)
        for (int k = 0; k < 3; k++)
            EXPECT_EQ(lef32(b, 296 + 4 * ((size_t)(j * 3 + k) * nComp)), cols[k][j]) << k << " " << j;
    for (int k = 1; k <= 3; k++)
        EXPECT_FALSE(FileExists(P("c-" + std::to_string(k) + ".vmg")));
}

TEST_F(Vmg, MergeLeavesOutUnreadablePartsAndKeepsThem)
{
    ASSERT_TRUE(dir.ok());
    std::vector<float> p1 = Plane(3, 2, 1, 0.0f);
    ASSERT_TRUE(Add(P("u-1.vmg"), 3, 2, 1, 0.01, 0.01, p1.data(), nullptr, nullptr, "P"));
    std::vector<unsigned char> junk(1000);
    for (size_t i = 0; i < junk.size(); i++)
        junk[i] = (unsigned char)(i * 37 + 11);
    ASSERT_TRUE(WriteBytes(P("u-2.vmg"), junk.data(), junk.size()));
    testing::internal::CaptureStdout();
    ASSERT_TRUE(obj.OnSaveNVmg2VMG(P("u.vmg").c_str(), 2, 0));
    testing::internal::GetCapturedStdout();
    auto b = ReadBytes(P("u.vmg"));
    ASSERT_EQ(b.size(), 296u + 6 * 4);
    EXPECT_EQ(le32(b, 236), 1);
    EXPECT_FALSE(FileExists(P("u-1.vmg")));
    // The part that could not be read is not merged, and not destroyed.
    EXPECT_TRUE(FileExists(P("u-2.vmg")));
}

TEST_F(Vmg, MergeOfATruncatedPartFailsAndKeepsTheParts)
{
    ASSERT_TRUE(dir.ok());
    std::vector<float> p = Plane(3, 2, 2, 0.0f);
    ASSERT_TRUE(Add(P("t-1.vmg"), 3, 2, 2, 0.01, 0.02, p.data(), nullptr, nullptr, "P"));
    ASSERT_TRUE(Add(P("t-2.vmg"), 3, 2, 2, 0.01, 0.02, p.data(), nullptr, nullptr, "P"));
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
