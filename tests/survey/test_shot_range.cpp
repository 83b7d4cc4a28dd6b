// The job's shot range checked against the survey: defaults, quiet clamping
// of the last shot, and the two refusals with their messages.
#include <string>

#include "SurveyTestUtil.h"

namespace
{
struct RangeCase
{
    const char* name;
    bool bById;   // survey numbered by ids 10, 20, 30 instead of ordinals 1..5
    int nFirst, nLast, nStart;
    int nResult;
    int nFirstOut, nLastOut, nStartOut;
    const char* message;
};

// Names the case in test listings; the default would dump its bytes.
inline void PrintTo(const RangeCase& c, std::ostream* os) { *os << c.name; }

const RangeCase kRanges[] = {
    {"nothing given takes the whole survey", false, 0, 0, 0, 0, 1, 5, 1, nullptr},
    {"a zero last replaces both", false, 3, 0, 0, 0, 1, 5, 1, nullptr},
    {"a zero first replaces both", false, 0, 3, 4, 0, 1, 5, 4, nullptr},
    {"a range inside is kept", false, 2, 4, 3, 0, 2, 4, 3, nullptr},
    {"a last beyond the survey is brought down", false, 2, 9, 0, 0, 2, 5, 2, nullptr},
    {"a start below the range becomes the first", false, 3, 4, 1, 0, 3, 4, 3, nullptr},
    {"a start above the range becomes the first", false, 2, 4, 5, 0, 2, 4, 2, nullptr},
    {"a single shot", false, 5, 5, 0, 0, 5, 5, 5, nullptr},
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

class ShotRange : public SurveyTest, public ::testing::WithParamInterface<RangeCase>
{
};

TEST_P(ShotRange, AgainstTheSurvey)
{
    const RangeCase& c = GetParam();
    std::string path = c.bById ? WriteFile("ids.txt",
                                           "0 0 0 1 0 0 0 0 20\n"
                                           "5 0 0 1 0 0 0 0 10\n"
                                           "9 0 0 1 0 0 0 0 30\n")
                               : WriteFile("pos.txt",
                                           "0 0 0 1 0 0\n1 0 0 1 0 0\n2 0 0 1 0 0\n"
                                           "3 0 0 1 0 0\n4 0 0 1 0 0\n");
    CSurvey3D s;
    s.m_bUseShotId = c.bById;
    ASSERT_EQ(LoadQuiet(s, path, false), 0);
    int nFirst = c.nFirst, nLast = c.nLast, nStart = c.nStart;
    StartCapture();
    int rc = s.CheckShotRange(nFirst, nLast, nStart);
    std::string out = StopCapture();
    EXPECT_EQ(rc, c.nResult) << out;
    if (c.message)
    {
        EXPECT_TRUE(Contains(out, c.message)) << out;
        EXPECT_TRUE(Contains(out, "The computation is stopped.\n"));
        return;
    }
    EXPECT_TRUE(out.empty()) << out;
    EXPECT_EQ(nFirst, c.nFirstOut);
    EXPECT_EQ(nLast, c.nLastOut);
    EXPECT_EQ(nStart, c.nStartOut);
}

std::string RangeName(const ::testing::TestParamInfo<RangeCase>& info)
{
    std::string name;
    for (const char* p = info.param.name; *p; p++)
        name += isalnum((unsigned char)*p) ? *p : '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(Survey, ShotRange, ::testing::ValuesIn(kRanges), RangeName);
}  // namespace
