// COndexApp::MergeResults: per-shot SEG-Y files joined into one.
#include <string>

#include "RunTestUtil.h"

namespace
{
const double T[3] = {0.0, 20.0, 4.0};   // 6 samples

uint32_t be32(const unsigned char* p)
{
    return ((uint32_t)p[0] << 24) | ((uint32_t)p[1] << 16) | ((uint32_t)p[2] << 8) | p[3];
}

using Merge = RunTempDir;

// Nothing to join, for want of shot files or with the first shot above the
// last: a file header of 0 traces, and no shot file is deleted.
TEST_F(Merge, NothingToJoinWritesOnlyTheHeader)
{
    WriteShotFile("shot-1.sgy", 1, 2, T);
    for (int nFirst : {2, 3})
    {
        ClearLog();
        EXPECT_EQ(m_app->MergeResults("merged.sgy", "shot-%d.sgy", nFirst, nFirst == 2 ? 3 : 1, true), 0);
        EXPECT_EQ(LogHas("Unable to open file 'shot-2.sgy'. Skipped.\n"), nFirst == 2);
        const std::string data = ReadFile("merged.sgy");
        ASSERT_EQ(data.size(), 3600u) << "a file header only";
        EXPECT_EQ(be32((const unsigned char*)data.data() + 3210) & 0xffff, 0u) << "0 traces";
        EXPECT_TRUE(Exists("shot-1.sgy"));
    }
}

TEST_F(Merge, ShotsAreJoinedInOrderAndSkippedShotsPassed)
{
    WriteShotFile("shot-1.sgy", 1, 2, T);
    WriteShotFile("shot-3.sgy", 3, 3, T);
    ClearLog();
    ASSERT_EQ(m_app->MergeResults("merged.sgy", "shot-%d.sgy", 1, 3, false), 0) << Log();
    EXPECT_TRUE(LogHas("Unable to open file 'shot-2.sgy'. Skipped.\n"));
    EXPECT_TRUE(Exists("shot-1.sgy")) << "kept without bDelete";

    const std::string data = ReadFile("merged.sgy");
    const size_t nTrace = 240 + 6 * 4;
    ASSERT_EQ(data.size(), 3600u + 5 * nTrace);
    const unsigned char* d = (const unsigned char*)data.data();
    EXPECT_EQ((d[3212] << 8) | d[3213], 5);
    struct Expect { int shot, trace, seq, within; };
    const Expect ex[] = {{1, 0, 1, 1}, {1, 1, 2, 2}, {3, 0, 3, 1}, {3, 1, 4, 2}, {3, 2, 5, 3}};
    for (int t = 0; t < 5; ++t)
    {
        SCOPED_TRACE(t);
        const unsigned char* th = d + 3600 + t * nTrace;
        EXPECT_EQ(be32(th + 0), (uint32_t)ex[t].seq) << "running number goes on across shots";
        EXPECT_EQ(be32(th + 12), (uint32_t)ex[t].within) << "number inside the shot file";
        // Copied unchanged from the shot file: inline, crossline, source point.
        EXPECT_EQ(be32(th + 188), (uint32_t)(ex[t].trace + 1));
        EXPECT_EQ(be32(th + 192), (uint32_t)(ex[t].trace + 1));
        EXPECT_EQ(be32(th + 16), (uint32_t)ex[t].shot);
        for (int k = 0; k < 6; ++k)
            EXPECT_FLOAT_EQ(DecodeIBMFloat(th + 240 + 4 * k), SampleValue(ex[t].shot, ex[t].trace, k));
    }
}

TEST_F(Merge, DeleteRemovesShotFilesAndSideFiles)
{
    WriteShotFile("shot-1.sgy", 1, 1, T);
    WriteShotFile("shot-2.sgy", 2, 1, T);
    WriteFile("shot-2.sgy.cr0", "x");
    ASSERT_EQ(m_app->MergeResults("merged.sgy", "shot-%d.sgy", 1, 2, true), 0);
    for (const char* n : {"shot-1.sgy", "shot-2.sgy", "shot-1.sgy.cr2", "shot-2.sgy.cr2", "shot-2.sgy.cr0"})
        EXPECT_FALSE(Exists(n)) << n;
    EXPECT_TRUE(Exists("merged.sgy"));
}

TEST_F(Merge, OtherAxisIsResampledToTheFirst)
{
    const double T2[3] = {0.0, 20.0, 2.0};   // 11 samples
    WriteShotFile("shot-1.sgy", 1, 1, T);
    WriteShotFile("shot-2.sgy", 2, 1, T2);
    ASSERT_EQ(m_app->MergeResults("merged.sgy", "shot-%d.sgy", 1, 2, false), 0) << Log();
    const std::string data = ReadFile("merged.sgy");
    ASSERT_EQ(data.size(), 3600u + 2 * (240 + 6 * 4)) << "every trace has the first file's length";
    const unsigned char* th = (const unsigned char*)data.data() + 3600 + 240 + 24;
    // Sample k of the merged axis is sample 2k of the finer one.
    for (int k = 0; k < 6; ++k)
        EXPECT_NEAR(DecodeIBMFloat(th + 240 + 4 * k), SampleValue(2, 0, 2 * k), 1e-3);
}

} // namespace
