// COndexApp::LoadSurveyGeometry end to end: a job file and a survey text file
// in a fresh directory, read by ReadTask, then the survey step of the driver.
#include <string>

#include "RunTestUtil.h"
#include "base/Output.h"
#include "engine3d/Calc3D.h"
#include "survey/Survey3D.h"

namespace
{
// Three source positions: 100 and 100.5 are one point when the distance
// limit is a metre, two when it is a millimetre. Two receivers per shot.
const char kSurvey[] =
    "; sx sy sz rx ry rz\n"
    "100 50 0   300 50 0\n"
    "100 50 0   310 50 0\n"
    "100.5 50 0 300 50 0\n"
    "100.5 50 0 310 50 0\n"
    "200 50 0   300 50 0\n"
    "200 50 0   310 50 0\n";

std::string Job(const char* dx, const std::string& modelingExtra)
{
    return std::string("[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = 3D Acoustic\n") +
           modelingExtra +
           "[Survey]\nGeometry = survey.txt\nt0 = 0\nt1 = 1\ndt = 0.002\n"
           "[Mesh]\ndx = " + dx + "\ndt = 0.001\n"
           "[Source]\nFrequency = 20\n";
}

class LoadSurveyGeometry : public RunTempDir
{
protected:
    void SetUp() override
    {
        RunTempDir::SetUp();
        WriteFile("survey.txt", kSurvey);
    }
    // Reads the job; the shot fields given are set first, as the command
    // line would (0 leaves them to the job file).
    void Read(const char* dx, const std::string& modelingExtra = "", int nFirst = 0, int nLast = 0)
    {
        m_app->m_nFirstPoint = nFirst, m_app->m_nStartPoint = nFirst, m_app->m_nLastPoint = nLast;
        WriteFile("runtask.ini", Job(dx, modelingExtra));
        ASSERT_EQ(m_app->ReadTask("runtask.ini"), 0);
        ASSERT_NE(m_app->m_pCalc3D, nullptr);
        ClearLog();
    }

    sdspc_test::Keep<double> m_minDist{CSurvey3D::MIN_DIST};
    sdspc_test::Keep<int> m_coor{CSdsPC::COOR_SCALER}, m_elev{CSdsPC::ELEV_SCALER};
};

struct MinDistCase { const char* dx; double minDist; int shots; };

TEST_F(LoadSurveyGeometry, DistanceLimitFollowsGridStep)
{
    const MinDistCase cases[] = {
        {"10", 1.0, 2},
        {"1.0", 1.0, 2},   // one metre or more: positions 0.5 apart are one shot
        {"0.999", 0.001, 3},
        {"0.5", 0.001, 3},
    };
    for (const MinDistCase& c : cases)
    {
        SCOPED_TRACE(c.dx);
        m_app.reset(new COndexApp());
        CSurvey3D::MIN_DIST = 123.0;   // a stale value must not survive
        Read(c.dx);
        EXPECT_EQ(m_app->LoadSurveyGeometry(), 0);
        EXPECT_EQ(CSurvey3D::MIN_DIST, c.minDist);
        EXPECT_EQ(m_app->m_Survey.GetMaxShot(), c.shots);
        // No range in the job: the whole survey.
        EXPECT_EQ(m_app->m_nFirstPoint, 1);
        EXPECT_EQ(m_app->m_nLastPoint, c.shots);
        EXPECT_EQ(m_app->m_nStartPoint, 1);
    }
}

// The range rules themselves are the survey's (tests/survey); here the
// job's keys and the command line reach them.
TEST_F(LoadSurveyGeometry, ShotRange)
{
    const struct { const char* name; std::string modeling; int cmdFirst, cmdLast, first, last, start; } cases[] = {
        {"one of the two at 0: both from the survey", "First Point = 2\n", 0, 0, 1, 3, 1},
        {"last beyond", "First Point = 2\nLast Point = 40\n", 0, 0, 2, 3, 2},
        {"command line", "First Point = 1\nLast Point = 1\n", 3, 3, 3, 3, 3},
        {"command line last beyond", "", 3, 40, 3, 3, 3},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.name);
        m_app.reset(new COndexApp());
        Read("0.5", c.modeling, c.cmdFirst, c.cmdLast);
        EXPECT_EQ(m_app->LoadSurveyGeometry(), 0);
        EXPECT_EQ(m_app->m_nFirstPoint, c.first);
        EXPECT_EQ(m_app->m_nLastPoint, c.last);
        EXPECT_EQ(m_app->m_nStartPoint, c.start);
    }
}

TEST_F(LoadSurveyGeometry, SurveyFaultsAreReturned)
{
    Read("10");
    remove("survey.txt");
    EXPECT_NE(m_app->LoadSurveyGeometry(), 0);

    m_app.reset(new COndexApp());
    WriteFile("survey.txt", "; comments only\n# nothing else\n");
    Read("10");
    EXPECT_NE(m_app->LoadSurveyGeometry(), 0);
}

} // namespace
