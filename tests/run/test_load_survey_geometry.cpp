// COndexApp::LoadSurveyGeometry end to end: a job file and a survey text file
// in a fresh directory, read by ReadTask, then the survey step of the driver.
#include <memory>
#include <string>

#include "RunTestUtil.h"
#include "base/Output.h"
#include "engine3d/Calc3D.h"
#include "files/SdsPC.h"
#include "run/OndexApp.h"
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
        m_dMinDist = CSurvey3D::MIN_DIST;
        m_nCoorScaler = CSdsPC::COOR_SCALER;
        m_nElevScaler = CSdsPC::ELEV_SCALER;
        m_app.reset(new COndexApp());
        WriteFile("survey.txt", kSurvey);
    }
    void TearDown() override
    {
        m_app.reset();
        CSurvey3D::MIN_DIST = m_dMinDist;
        CSdsPC::COOR_SCALER = m_nCoorScaler;
        CSdsPC::ELEV_SCALER = m_nElevScaler;
        RunTempDir::TearDown();
    }
    // Reads the job; the shot fields given are set first, as the command
    // line would (0 leaves them to the job file).
    void Read(const char* dx, const std::string& modelingExtra = "", int nFirst = 0, int nLast = 0)
    {
        m_app->m_nFirstPoint = nFirst;
        m_app->m_nStartPoint = nFirst;
        m_app->m_nLastPoint = nLast;
        WriteFile("runtask.ini", Job(dx, modelingExtra));
        ASSERT_EQ(m_app->ReadTask("runtask.ini"), 0);
        ASSERT_NE(m_app->m_pCalc3D, nullptr);
        ClearLog();
    }

    std::unique_ptr<COndexApp> m_app;
    double m_dMinDist = 0.001;
    int m_nCoorScaler = 1;
    int m_nElevScaler = 1;
};

struct MinDistCase
{
    const char* dx;
    double minDist;
    int shots;
};

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

struct RangeCase
{
    const char* name;
    std::string modeling;   // shot keys of the job file
    int cmdFirst, cmdLast;  // as from the command line
    int result;
    int first, last, start; // after the step (result 0 only)
    const char* message;    // expected in the log, or null
};

TEST_F(LoadSurveyGeometry, ShotRange)
{
    const RangeCase cases[] = {
        // The range rules themselves are the survey's (tests/survey); here
        // the job's keys and the command line reach them.
        {"one of the two at 0: both from the survey", "First Point = 2\n", 0, 0, 0, 1, 3, 1, nullptr},
        {"last beyond", "First Point = 2\nLast Point = 40\n", 0, 0, 0, 2, 3, 2, nullptr},
        {"command line", "First Point = 1\nLast Point = 1\n", 3, 3, 0, 3, 3, 3, nullptr},
        // A last shot beyond the survey from the command line is brought down too.
        {"command line last beyond", "", 3, 40, 0, 3, 3, 3, nullptr},
    };
    for (const RangeCase& c : cases)
    {
        SCOPED_TRACE(c.name);
        m_app.reset(new COndexApp());
        Read("0.5", c.modeling, c.cmdFirst, c.cmdLast);
        const int r = m_app->LoadSurveyGeometry();
        EXPECT_EQ(r, c.result);
        if (c.result == 0)
        {
            EXPECT_EQ(m_app->m_nFirstPoint, c.first);
            EXPECT_EQ(m_app->m_nLastPoint, c.last);
            EXPECT_EQ(m_app->m_nStartPoint, c.start);
        }
        if (c.message)
        {
            EXPECT_TRUE(LogHas(c.message)) << Log();
            EXPECT_TRUE(LogHas("The computation is stopped.\n"));
        }
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
