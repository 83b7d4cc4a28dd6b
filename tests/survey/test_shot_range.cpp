// The job's shot range checked against the survey: defaults, quiet clamping
// of the last shot, and the two refusals with their messages.
#include <string>

#include "SurveyTestUtil.h"

namespace
{
// bById: a survey numbered by ids 10, 20, 30 instead of ordinals 1..5.
struct RangeCase { const char* name; bool bById; int nFirst, nLast, nStart, nResult, nFirstOut, nLastOut, nStartOut;
                   const char* message; };

const RangeCase kRanges[] = {
    {"nothing given takes the whole survey", false, 0, 0, 0, 0, 1, 5, 1, nullptr},
    {"a zero last replaces both", false, 3, 0, 0, 0, 1, 5, 1, nullptr},
    {"a zero first replaces both", false, 0, 3, 4, 0, 1, 5, 4, nullptr},
    {"a range inside is kept", false, 2, 4, 3, 0, 2, 4, 3, nullptr},
    {"a last beyond the survey is brought down", false, 2, 9, 0, 0, 2, 5, 2, nullptr},
    {"a start below the range becomes the first", false, 3, 4, 1, 0, 3, 4, 3, nullptr},
    {"a first beyond the survey is refused", false, 6, 9, 0, 1, 6, 9, 0,
     "Error! Incorrect range of shot points specified (6..9). Maximal shot point number is 5.\n"},
    {"a reversed range is refused", false, 4, 3, 0, 1, 4, 3, 0,
     "Error! Incorrect range of shot points specified (4..3). Real range is (1..5)\n"},
    {"a negative first is refused", false, -2, 3, 0, 1, -2, 3, 0,
     "Error! Incorrect range of shot points specified (-2..3). Real range is (1..5)\n"},
    {"ids: nothing given takes the smallest and largest id", true, 0, 0, 0, 0, 10, 30, 10, nullptr},
    {"ids: last brought down to the largest id", true, 15, 99, 20, 0, 15, 30, 20, nullptr},
    {"ids: first beyond the largest id", true, 31, 40, 0, 1, 31, 40, 0,
     "Error! Incorrect range of shot points specified (31..40). Maximal shot point number is 30.\n"},
    {"ids: a last clamped below the first", true, 30, 20, 0, 1, 30, 20, 0,
     "Error! Incorrect range of shot points specified (30..20). Real range is (10..30)\n"},
};

using ShotRange = SurveyTest;

TEST_F(ShotRange, AgainstTheSurvey)
{
    const std::string byId = WriteFile("ids.txt", "0 0 0 1 0 0 0 0 20\n5 0 0 1 0 0 0 0 10\n9 0 0 1 0 0 0 0 30\n");
    const std::string byPos = WriteFile("pos.txt", "0 0 0 1 0 0\n1 0 0 1 0 0\n2 0 0 1 0 0\n3 0 0 1 0 0\n4 0 0 1 0 0\n");
    for (const RangeCase& c : kRanges)
    {
        SCOPED_TRACE(c.name);
        CSurvey3D s;
        s.m_bUseShotId = c.bById;
        ASSERT_EQ(LoadQuiet(s, c.bById ? byId : byPos, false), 0);
        int nFirst = c.nFirst, nLast = c.nLast, nStart = c.nStart;
        ::testing::internal::CaptureStdout();
        EXPECT_EQ(s.CheckShotRange(nFirst, nLast, nStart), c.nResult);
        const std::string out = ::testing::internal::GetCapturedStdout();
        if (c.message)
        {
            EXPECT_TRUE(Contains(out, c.message)) << out;
            EXPECT_TRUE(Contains(out, "The computation is stopped.\n"));
            continue;
        }
        EXPECT_TRUE(out.empty()) << out;
        EXPECT_EQ(nFirst, c.nFirstOut);
        EXPECT_EQ(nLast, c.nLastOut);
        EXPECT_EQ(nStart, c.nStartOut);
    }
}

}  // namespace
