// Activating a shot of a text survey: receivers and excitement points by
// position and by id, tensors in fault slip mode, ids per receiver, the
// observation zone, and the refusals.
#include <string>
#include <vector>

#include "SurveyTestUtil.h"

namespace
{
using ActiveShot = SurveyTest;

TEST_F(ActiveShot, ShotByPositionKeepsEveryRowOfItsPosition)
{
    std::string path = WriteFile("pos.txt",
                                 "100 0 5  10 0 1 1 2\n"
                                 "100 0 5  20 4 2 1 3\n"
                                 "200 0 5  10 0 1 2 2\n"
                                 "100 0 5  10 0 1 1 2\n"       // repeated receiver: kept
                                 "100.0004 0 5 30 0 3 1 4\n");  // within MIN_DIST of the shot
    CSurvey3D s;
    ASSERT_EQ(LoadQuiet(s, path, false), 0);
    ASSERT_EQ(ActivateQuiet(s, 1), 0);
    EXPECT_EQ(s.m_nActiveShotId, 1);
    EXPECT_EQ(s.m_nActiveShotIndex, 0);
    EXPECT_EQ(s.GetActiveShotPt(), C3DPointR(100, 0, 5));

    EXPECT_EQ(s.m_vReceivers, (std::vector<C3DPointR>{{10, 0, 1}, {20, 4, 2}, {10, 0, 1}, {30, 0, 3}}));
    const int xl[] = {2, 3, 2, 4};
    for (int i = 0; i < 4; i++)
    {
        EXPECT_EQ(s.GetRcvInline(i), 1);
        EXPECT_EQ(s.GetRcvCrossline(i), xl[i]);
        EXPECT_EQ(s.GetRcvTraceId(i), -1);
        EXPECT_EQ(s.GetRcvFileId(i), -1);
    }
    EXPECT_EQ(s.GetRcvInline(4), 0);
    EXPECT_EQ(s.GetRcvCrossline(-1), 0);
    EXPECT_TRUE(s.m_vTraceId.empty());
    EXPECT_TRUE(s.m_vFileId.empty());

    // One excitement point, the shot itself; the zone starts as the shot on
    // the surface (Z = 0) and grows with the receivers only.
    EXPECT_EQ(s.m_vExcitePoints, std::vector<C3DPointR>(1, C3DPointR(100, 0, 5)));
    EXPECT_TRUE(s.m_vTauK.empty());
    EXPECT_EQ(s.GetObsZone(), CCubeR(10, 0, 0, 100, 4, 3));

    // The next shot replaces everything.
    ASSERT_EQ(ActivateQuiet(s, 2), 0);
    ASSERT_EQ(s.m_vReceivers.size(), 1u);
    EXPECT_EQ(s.GetRcvInline(0), 2);
    EXPECT_EQ(s.GetObsZone(), CCubeR(10, 0, 0, 200, 0, 1));
}

TEST_F(ActiveShot, ExtendedSourceByIdHasAllItsExcitementPoints)
{
    std::string path = WriteFile("ids.txt",
                                 "0 0 10   0 0 0  1 1 7\n"
                                 "50 0 10  0 0 0  1 1 7\n"      // second point; repeated receiver
                                 "0 0 10   5 0 0  1 2 7\n"
                                 "500 0 10 0 0 0  2 1 3\n"
                                 "50 0 10  5 0 0  1 2 7\n"      // repeated receiver
                                 "0.0002 0 10 8 0 0 1 3 7\n");  // near the first point: no new point
    CSurvey3D s;
    s.m_bUseShotId = true;
    ASSERT_EQ(LoadQuiet(s, path, false), 0);
    // One shot per id, where it first appears.
    EXPECT_EQ(s.m_vShotIds, (std::vector<int>{7, 3}));
    EXPECT_EQ(s.m_vShotPoints, (std::vector<C3DPointR>{{0, 0, 10}, {500, 0, 10}}));
    EXPECT_EQ(s.GetMinShot(), 3);
    EXPECT_EQ(s.GetMaxShot(), 7);

    ASSERT_EQ(ActivateQuiet(s, 7), 0);
    EXPECT_EQ(s.m_nActiveShotId, 7);
    EXPECT_EQ(s.m_nActiveShotIndex, 0);
    EXPECT_EQ(s.m_vExcitePoints, (std::vector<C3DPointR>{{0, 0, 10}, {50, 0, 10}}));
    // Each receiver once.
    EXPECT_EQ(s.m_vReceivers, (std::vector<C3DPointR>{{0, 0, 0}, {5, 0, 0}, {8, 0, 0}}));
    EXPECT_EQ(s.GetRcvCrossline(2), 3);
    // The zone holds the excitement points too.
    EXPECT_EQ(s.GetObsZone(), CCubeR(0, 0, 0, 50, 0, 10));

    ASSERT_EQ(ActivateQuiet(s, 3), 0);
    EXPECT_EQ(s.m_nActiveShotIndex, 1);
    EXPECT_EQ(s.m_vExcitePoints, std::vector<C3DPointR>(1, C3DPointR(500, 0, 10)));
    ASSERT_EQ(s.m_vReceivers.size(), 1u);
    EXPECT_EQ(s.GetObsZone(), CCubeR(0, 0, 0, 500, 0, 10));
    // Numbered by ordinals when ids are not asked for.
    s.m_bUseShotId = false;
    EXPECT_EQ(s.GetMinShot(), 1);
    EXPECT_EQ(s.GetMaxShot(), 2);
}

TEST_F(ActiveShot, UnknownIdIsSkippedAndListsTheIdsOnce)
{
    std::string path = WriteFile("ids.txt", "0 0 0 1 0 0 0 0 7\n9 0 0 1 0 0 0 0 3\n");
    CSurvey3D s;
    s.m_bUseShotId = true;
    ASSERT_EQ(LoadQuiet(s, path, false), 0);

    std::string out;
    EXPECT_EQ(ActivateQuiet(s, 5, &out), -35);
    EXPECT_TRUE(Contains(out, "Warning! Incorrect shot point #5 specified. No such shot point in file '" + path +
                                  "'.\n"))
        << out;
    EXPECT_TRUE(Contains(out, "List of registeres shot points: 7, 3\n")) << out;
    EXPECT_TRUE(Contains(out, "Shot point skipped.\n"));

    EXPECT_EQ(ActivateQuiet(s, 1, &out), -35);   // ordinal 1 is no id here
    EXPECT_TRUE(Contains(out, "Warning! Incorrect shot point #1 specified."));
    EXPECT_FALSE(Contains(out, "List of registeres shot points")) << out;
    EXPECT_TRUE(Contains(out, "Shot point skipped.\n"));
}

TEST_F(ActiveShot, WholeSurveyGivesEveryReceiverOnce)
{
    std::string path = WriteFile("all.txt", "0 0 0   1 0 0 7 1\n100 0 0 1 0 0 7 1\n100 0 0 2 0 3 8 2\n");
    CSurvey3D s;
    ASSERT_EQ(LoadQuiet(s, path, false), 0);
    ASSERT_EQ(ActivateQuiet(s, -1), 0);
    EXPECT_EQ(s.m_nActiveShotId, -1);
    EXPECT_EQ(s.m_nActiveShotIndex, 0);
    ASSERT_EQ(s.m_vReceivers.size(), 2u);
    EXPECT_EQ(s.GetRcvInline(0), 7);
    EXPECT_EQ(s.GetRcvInline(1), 8);
    EXPECT_EQ(s.m_vExcitePoints, std::vector<C3DPointR>(1, C3DPointR(0, 0, 0)));
    // No shot, so no flat box at a shot: the zone is the receivers' box.
    EXPECT_EQ(s.GetObsZone(), CCubeR(1, 0, 0, 2, 0, 3));
}

TEST_F(ActiveShot, IdsCountOnlyWhenEveryReceiverHasOne)
{
    std::string path = WriteFile("tid.txt",
                                 "0 0 0 1 0 0 0 0 -1 0 0 0 0 0 0 11 21\n"
                                 "0 0 0 2 0 0 0 0 -1 0 0 0 0 0 0 -1 22\n"
                                 "0 0 0 3 0 0 0 0 -1 0 0 0 0 0 0 13 23\n");
    CSurvey3D s;
    ASSERT_EQ(LoadQuiet(s, path, false), 0);
    ASSERT_EQ(ActivateQuiet(s, 1), 0);
    ASSERT_EQ(s.m_vReceivers.size(), 3u);
    EXPECT_TRUE(s.m_vTraceId.empty());
    EXPECT_EQ(s.GetRcvTraceId(0), -1);
    ASSERT_EQ(s.m_vFileId.size(), 3u);
    for (int i = 0; i < 4; i++)
        EXPECT_EQ(s.GetRcvFileId(i), i < 3 ? 21 + i : -1);
}

// Fault slip: which tensors a shot ends with, or the refusal naming both counts.
// message: expected part of the output, or null.
struct TensorCase { const char* name; const char* body; bool bUseShotId; int nShot, nResult; const char* message;
                    int nTensors; };

const TensorCase kTensorCases[] = {
    {"some points without tensor",
     "0 0 10  0 0 0 0 0 7 1 1 1 0 0 0\n"
     "50 0 10 0 0 0 0 0 7\n"
     "0 0 10  5 0 0 0 0 7 2 2 2 0 0 0\n",   // a tensor on a known point adds nothing
     true, 7, 1, "Error! Moment tensor specified for 1 of 2 excitement points of shot point #7 (0,0,10) in file '",
     1},
    {"zero tensor is no tensor",
     "0 0 10  0 0 0 0 0 7 1 2 3 4 5 6\n"
     "50 0 10 0 0 0 0 0 7 0 0 0 0 0 0\n",
     true, 7, 1, "Moment tensor specified for 1 of 2 excitement points", 1},
    {"a shot by position without tensor", "0 0 10 0 0 0\n0 0 10 1 0 0\n", false, 1, 1,
     "Error! Moment tensor specified for 0 of 1 excitement points of shot point #1 (0,0,10) in file '", 0},
    {"every point with its tensor",
     "0 0 10  0 0 0 0 0 7 1 2 3 4 5 6\n"
     "50 0 10 0 0 0 0 0 7 -1 -2 -3 -4 -5 -6\n",
     true, 7, 0, nullptr, 2},
    {"a shot by position takes the first tensor",
     "0 0 10 0 0 0\n"
     "0 0 10 5 0 0 0 0 -1 9 8 7 6 5 4\n"
     "0 0 10 6 0 0 0 0 -1 1 1 1 1 1 1\n",
     false, 1, 0, nullptr, 1},
};

TEST_F(ActiveShot, FaultSlipTensorPerExcitementPoint)
{
    for (const TensorCase& c : kTensorCases)
    {
        SCOPED_TRACE(c.name);
        std::string path = WriteFile("slip.txt", c.body);
        CSurvey3D s;
        s.m_bUseShotId = c.bUseShotId;
        ASSERT_EQ(LoadQuiet(s, path, true), 0);
        std::string out;
        ASSERT_EQ(ActivateQuiet(s, c.nShot, &out), c.nResult) << out;
        if (c.message)
        {
            EXPECT_TRUE(Contains(out, c.message)) << out;
            EXPECT_TRUE(Contains(out, path + "'.\n")) << out;
            EXPECT_TRUE(Contains(out, "The computation is stopped.\n"));
        }
        EXPECT_EQ((int)s.m_vTauK.size(), c.nTensors);
    }
}

}  // namespace
