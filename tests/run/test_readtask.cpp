// COndexApp::ReadTask: the job file into the job object.
#include <cstring>
#include <memory>
#include <string>
#include <sys/stat.h>

#include "RunTestUtil.h"
#include "base/Output.h"
#include "engine3d/Calc3D.h"
#include "run/OndexApp.h"

namespace
{
// The smallest job each method accepts; tests add or replace sections.
std::string Job(const char* method, const std::string& modelingExtra = "", const std::string& more = "")
{
    return std::string("[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = ") + method + "\n" +
           modelingExtra +
           "[Survey]\nt0 = 0\nt1 = 1\ndt = 0.002\n"
           "[Mesh]\ndx = 10\ndt = 0.001\n"
           "[Source]\nFrequency = 20\n" +
           more;
}

class ReadTask : public RunTempDir
{
protected:
    void SetUp() override
    {
        RunTempDir::SetUp();
        m_app.reset(new COndexApp());
    }
    void TearDown() override
    {
        m_app.reset();
        g_nSize = 1;
        g_nNode = 0;
        RunTempDir::TearDown();
    }
    int Read(const std::string& job)
    {
        WriteFile("runtask.ini", job);
        ClearLog();
        return m_app->ReadTask("ignored-name.ini");
    }
    std::unique_ptr<COndexApp> m_app;
};

TEST_F(ReadTask, MissingFile)
{
    ClearLog();
    EXPECT_EQ(m_app->ReadTask("runtask.ini"), -1);
    EXPECT_TRUE(LogHas("The job specification file 'runtask.ini' is not read!\n\n"));
    EXPECT_TRUE(LogHas("The computation is stopped.\n"));
}

TEST_F(ReadTask, NameArgumentIsNotUsed)
{
    WriteFile("other.ini", Job("3D Acoustic"));
    EXPECT_EQ(m_app->ReadTask("other.ini"), -1);
}

struct TaskTypeCase
{
    const char* line;
    int result;
    bool merge;
    const char* shown;   // the value in the message when rejected
};

TEST_F(ReadTask, TaskType)
{
    const TaskTypeCase cases[] = {
        {"taskType = modeling\n", 0, false, nullptr},
        {"taskType = merge\n", 0, true, nullptr},
        {"taskType = modelingX\n", 0, false, nullptr},   // prefix compare over 8 characters
        {"taskType = merger\n", 0, true, nullptr},
        {"taskType = Modeling\n", 1, false, "Modeling"},
        {"taskType = simulate\n", 1, false, "simulate"},
        {"", 1, false, ""},
    };
    for (const TaskTypeCase& c : cases)
    {
        SCOPED_TRACE(c.line);
        m_app.reset(new COndexApp());
        std::string job = Job("3D Acoustic");
        job.replace(job.find("taskType = modeling\n"), 20, c.line);
        EXPECT_EQ(Read(job), c.result);
        if (c.result == 0)
        {
            EXPECT_EQ(m_app->m_bMergeTask, c.merge);
        }
        else
        {
            EXPECT_TRUE(LogHas(std::string("Incorrect 'runtask.ini' file (taskType '") + c.shown +
                               "' is wrong, expected either 'modeling' or 'merge')!\n\n"))
                << Log();
            EXPECT_TRUE(LogHas("The computation is stopped.\n"));
        }
    }
}

struct MethodCase
{
    const char* method;
    const char* extra;
    int result;
    int type;
};

TEST_F(ReadTask, Method)
{
    const MethodCase cases[] = {
        {"3D Acoustic", "", 0, 101},
        {"3D Elastic", "", 0, 102},
        {"3D Elastic Anisotropic", "", 0, 103},
        {"3D Acoustic", "TTI Anisotropy = 1\n", 0, 104},
        {"3D Elastic Anisotropic", "TTI Anisotropy = 1\n", 0, 104},
        {"3D Acoustic", "TTI Anisotropy = yes\n", 0, 101},
        {"3D Acoustic ; a comment", "", 1, 0},      // the blank before ';' stays
        {"3d acoustic", "", 1, 0},
        {"3D Acoustics", "", 1, 0},
    };
    for (const MethodCase& c : cases)
    {
        SCOPED_TRACE(std::string(c.method) + " / " + c.extra);
        m_app.reset(new COndexApp());
        EXPECT_EQ(Read(Job(c.method, c.extra)), c.result) << Log();
        if (c.result == 0)
        {
            EXPECT_EQ(m_app->m_Type, c.type);
            ASSERT_NE(m_app->m_pCalc3D, nullptr);
            EXPECT_EQ(m_app->m_pCalc3D->m_nHalo, c.type == 104 ? 3 : 2);
            EXPECT_EQ(m_app->m_pCalc1D, nullptr);
        }
        else
        {
            EXPECT_EQ(m_app->m_pCalc3D, nullptr);
            EXPECT_TRUE(LogHas("Error! Unknown modeling method ("));
            EXPECT_TRUE(LogHas("The computation is stopped.\n"));
        }
    }
}

TEST_F(ReadTask, UnknownMethodShowsTheValueWithItsBlank)
{
    EXPECT_EQ(Read(Job("3D Acoustic ; comment")), 1);
    EXPECT_TRUE(LogHas("Error! Unknown modeling method (3D Acoustic ) specified in 'runtask.ini'. Should be "
                       "'3D Acoustic' or '3D Elastic' or '3D Elastic Anisotropic'.\n"))
        << Log();
}

TEST_F(ReadTask, MissingRunComputation)
{
    EXPECT_EQ(Read("[TASK]\ntaskType = modeling\n[modeling]\nDebug = 0\n"), 1);
    EXPECT_TRUE(LogHas("Incorrect 'runtask.ini' file ('Run Computation' is wrong)!\n\n"));
    EXPECT_TRUE(LogHas("The computation is stopped.\n"));
}

TEST_F(ReadTask, MergeWithVerticalIncidenceIsRefused)
{
    std::string job = Job("Vertical Incidence");
    job.replace(job.find("modeling\n"), 9, "merge\n");
    EXPECT_EQ(Read(job), 1);
    EXPECT_TRUE(LogHas("Error! "));
    EXPECT_EQ(m_app->m_pCalc1D, nullptr);
}

struct SurveyAxisCase
{
    const char* drop;
};

TEST_F(ReadTask, SeismogramAxisIsRequired)
{
    const SurveyAxisCase cases[] = {{"t0 = 0\n"}, {"t1 = 1\n"}, {"dt = 0.002\n"}};
    for (const SurveyAxisCase& c : cases)
    {
        SCOPED_TRACE(c.drop);
        m_app.reset(new COndexApp());
        std::string job = Job("3D Acoustic");
        job.erase(job.find(c.drop), strlen(c.drop));
        EXPECT_EQ(Read(job), 1);
        EXPECT_EQ(m_app->m_pCalc3D, nullptr) << "the engine is made after the axis";
    }
}

TEST_F(ReadTask, ValuesLandInTheJob)
{
    ASSERT_EQ(Read(Job("3D Elastic",
                       "Debug = 1\nMerge = 0\nModel Name = vp.sgy\nFileModelPW = other.sgy\n"
                       "FileModelD = rho.sgy\nFileModelQ = q.sgy\nFileModelSW = vs.sgy\n"
                       "ModelUseElevation = 2\nSmooth Model = 3\nMemory Limit = 900\nHostMemoryGB = 4\n"
                       "UseShotId = 1\nRecovery = 0\n"
                       "[optimization]\nthreads per process = 1\n"
                       "[MPI]\nBig Seismogram = 1\n")),
              0)
        << Log();
    const COndexApp& a = *m_app;
    EXPECT_TRUE(a.m_bDebug);
    EXPECT_FALSE(a.m_bMerge);
    EXPECT_STREQ((const char*)a.m_strModelPW, "vp.sgy");
    EXPECT_STREQ((const char*)a.m_strModelD, "rho.sgy");
    EXPECT_STREQ((const char*)a.m_strModelQ, "q.sgy");
    EXPECT_STREQ((const char*)a.m_strModelSW, "vs.sgy");
    EXPECT_TRUE(a.m_bModelUseElevation);
    EXPECT_EQ(a.m_nSmoothModel, 3);
    EXPECT_EQ(a.m_nMemoryLimit, 900);
    EXPECT_EQ(a.m_nHostMemoryGB, 4);
    EXPECT_TRUE(a.m_bUseShotId);
    EXPECT_TRUE(a.m_bBigSeismogram);
    EXPECT_EQ(a.m_nThreads, 1);
    EXPECT_DOUBLE_EQ(a.m_t0, 0.0);
    EXPECT_DOUBLE_EQ(a.m_t1, 1.0);
    EXPECT_DOUBLE_EQ(a.m_dt, 0.002);
    EXPECT_TRUE(LogHas("CPU: Threads = 1\n"));
    EXPECT_TRUE(LogHas("  Single process uses a single CPU core.\n"));
    // FileModelPW is not read when Model Name gave the P velocity file.
    EXPECT_TRUE(LogHas("Warning! Redundant variable: [modeling], FileModelPW = other.sgy\n")) << Log();
}

TEST_F(ReadTask, DefaultsWhenKeysAreAbsent)
{
    ASSERT_EQ(Read(Job("3D Acoustic")), 0) << Log();
    const COndexApp& a = *m_app;
    EXPECT_TRUE(a.m_bMerge);
    EXPECT_FALSE(a.m_bDebug);
    EXPECT_FALSE(a.m_bParanoid);
    EXPECT_EQ(a.m_nSmoothModel, 0);   // the constructor's 2 does not survive reading
    EXPECT_EQ(a.m_nThreads, a.m_nCPUCount);
    EXPECT_TRUE(a.m_strOutputDir.IsEmpty());
    EXPECT_EQ(a.m_nGroupSize, 0);
    EXPECT_TRUE(LogHas("Parameter '[modeling]\\Debug' isn't found in the 'runtask.ini' file.\n"));
    EXPECT_TRUE(LogHas("Section '[GPU]\\Use CUDA' isn't found in the 'runtask.ini' file.\n"));
}

TEST_F(ReadTask, ModelNameFallsBackToFileModelPW)
{
    ASSERT_EQ(Read(Job("3D Acoustic", "FileModelPW = vp2.sgy\n")), 0);
    EXPECT_STREQ((const char*)m_app->m_strModelPW, "vp2.sgy");
}

TEST_F(ReadTask, RedundantKeysAreWarningsByDefault)
{
    // FileModelSW is not read by an acoustic run; an indented key is never found.
    ASSERT_EQ(Read(Job("3D Acoustic", "FileModelSW = vs.sgy\n  Debug = 1\n")), 0);
    EXPECT_FALSE(m_app->m_bDebug);
    EXPECT_TRUE(LogHas("Warning! Redundant variable: [modeling], FileModelSW = vs.sgy\n")) << Log();
    EXPECT_TRUE(LogHas("Warning! Redundant variable: [modeling],   Debug = 1\n")) << Log();
    EXPECT_EQ(LogCount("Error! Redundant variable"), 0);
}

TEST_F(ReadTask, ParanoidReportsAllThenFails)
{
    EXPECT_EQ(Read(Job("3D Acoustic", "Paranoid = 1\nFileModelSW = vs.sgy\n",
                       "[GPU]\nUse CUDA = 0\nDevice = 1\n[Source]\nType = 3\n")),
              -1);
    EXPECT_TRUE(m_app->m_bParanoid);
    EXPECT_TRUE(LogHas("Error! Redundant variable: [modeling], FileModelSW = vs.sgy\n")) << Log();
    EXPECT_TRUE(LogHas("Error! Redundant variable: [GPU], Device = 1\n")) << Log();
    // A second [Source] behind another section is unreachable.
    EXPECT_TRUE(LogHas("Error! Redundant variable: [Source], Type = 3\n")) << Log();
    EXPECT_EQ(LogCount("Redundant variable"), 3);
}

TEST_F(ReadTask, ParanoidWithNothingLeftSucceeds)
{
    EXPECT_EQ(Read(Job("3D Acoustic", "Paranoid = 1\n")), 0) << Log();
    EXPECT_EQ(LogCount("Redundant variable"), 0);
}

TEST_F(ReadTask, SkipDeviceCountDetectionIsAlwaysRedundant)
{
    EXPECT_EQ(Read(Job("3D Acoustic", "Paranoid = 1\n", "[MPI]\nSkip Device Count Detection = 1\n")), -1);
    EXPECT_TRUE(LogHas("Error! Redundant variable: [MPI], Skip Device Count Detection = 1\n")) << Log();
}

struct GroupCase
{
    int size;
    const char* line;
    int expected;
};

TEST_F(ReadTask, GroupSizeMustBeBelowTheProcessCount)
{
    const GroupCase cases[] = {
        {1, "Group Size = 2\n", 0}, {4, "Group Size = 2\n", 2}, {4, "Group Size = 3\n", 3},
        {4, "Group Size = 4\n", 0}, {4, "Group Size = 9\n", 0}, {4, "Group Size = 0\n", 0},
        {4, "Group Size = -2\n", 0}, {4, "", 0},
    };
    for (const GroupCase& c : cases)
    {
        SCOPED_TRACE(std::string(c.line) + " with size " + std::to_string(c.size));
        m_app.reset(new COndexApp());
        m_app->m_nGroupSize = 7;   // absent or out of range must reset it
        g_nSize = c.size;
        EXPECT_EQ(Read(Job("3D Acoustic", "", std::string("[MPI]\n") + c.line)), 0) << Log();
        EXPECT_EQ(m_app->m_nGroupSize, c.expected);
        g_nSize = 1;
    }
}

TEST_F(ReadTask, ProcessLineWithSeveralProcesses)
{
    g_nSize = 3;
    ASSERT_EQ(Read(Job("3D Acoustic", "", "[optimization]\nthreads per process = 4\n")), 0);
    EXPECT_TRUE(LogHas("  2 processes, each one use 4 CPU cores.\n")) << Log();
    g_nSize = 1;
    m_app.reset(new COndexApp());
    ASSERT_EQ(Read(Job("3D Acoustic", "", "[optimization]\nthreads per process = 4\n")), 0);
    EXPECT_TRUE(LogHas("  Single process uses 4 CPU cores.\n")) << Log();
}

TEST_F(ReadTask, ThreadsNotPositiveTakeTheCpuCount)
{
    ASSERT_EQ(Read(Job("3D Acoustic", "", "[optimization]\nthreads per process = -3\n")), 0);
    EXPECT_EQ(m_app->m_nThreads, m_app->m_nCPUCount);
}

TEST_F(ReadTask, AnisotropyFileOrNumber)
{
    WriteFile("0.3", "not a model, only a name that exists\n");
    ASSERT_EQ(Read(Job("3D Elastic Anisotropic",
                       "FileAnisEpsilon = 0.2\nFileAnisDelta = 0.3\nFileAnisGamma = g.sgy\n"
                       "FileAnisAzimuth = 45\n")),
              0)
        << Log();
    const COndexApp& a = *m_app;
    EXPECT_TRUE(a.m_strAnisFile[0].IsEmpty());
    EXPECT_FLOAT_EQ(a.m_fAnisConst[0], 0.2f);
    EXPECT_STREQ((const char*)a.m_strAnisFile[1], "0.3");
    EXPECT_FLOAT_EQ(a.m_fAnisConst[1], 0.0f);
    // A name of no existing file is read as a number.
    EXPECT_TRUE(a.m_strAnisFile[2].IsEmpty());
    EXPECT_FLOAT_EQ(a.m_fAnisConst[2], 0.0f);
    EXPECT_TRUE(a.m_strAnisFile[3].IsEmpty());
    EXPECT_FLOAT_EQ(a.m_fAnisConst[3], 0.0f);
    EXPECT_FLOAT_EQ(a.m_fAnisConst[4], 45.0f);
}

TEST_F(ReadTask, AnisotropyKeysUnreadBelowMethod103)
{
    ASSERT_EQ(Read(Job("3D Elastic", "FileAnisEpsilon = 0.2\n")), 0);
    EXPECT_FLOAT_EQ(m_app->m_fAnisConst[0], 0.0f);
    EXPECT_TRUE(LogHas("Warning! Redundant variable: [modeling], FileAnisEpsilon = 0.2\n"));
}

struct OutputDirCase
{
    const char* value;
    const char* expected;
    const char* dirMade;
};

TEST_F(ReadTask, OutputDirGetsASlashAndIsMade)
{
    const OutputDirCase cases[] = {
        {"out", "out/", "out"},
        {"res/a/b/", "res/a/b/", "res/a/b"},
        {"win\\", "win\\", nullptr},
    };
    for (const OutputDirCase& c : cases)
    {
        SCOPED_TRACE(c.value);
        m_app.reset(new COndexApp());
        ASSERT_EQ(Read(Job("3D Acoustic", std::string("OutputDir = ") + c.value + "\n")), 0) << Log();
        EXPECT_STREQ((const char*)m_app->m_strOutputDir, c.expected);
        if (c.dirMade)
        {
            struct stat st;
            ASSERT_EQ(stat(c.dirMade, &st), 0);
            EXPECT_TRUE(S_ISDIR(st.st_mode));
        }
    }
}

TEST_F(ReadTask, OutputDirThatCannotBeMade)
{
    WriteFile("plainfile", "x");
    EXPECT_EQ(Read(Job("3D Acoustic", "OutputDir = plainfile/sub\n")), 1);
    EXPECT_TRUE(LogHas("OutputDir directory 'plainfile/sub/' ")) << Log();
}

struct PointCase
{
    int cmdFirst, cmdLast;
    int first, last;
};

TEST_F(ReadTask, CommandLineShotsOutrankTheJobFile)
{
    const PointCase cases[] = {{0, 0, 2, 9}, {5, 0, 5, 9}, {0, 7, 2, 7}, {4, 6, 4, 6}};
    for (const PointCase& c : cases)
    {
        SCOPED_TRACE(std::to_string(c.cmdFirst) + ".." + std::to_string(c.cmdLast));
        m_app.reset(new COndexApp());
        m_app->m_nFirstPoint = c.cmdFirst;
        m_app->m_nLastPoint = c.cmdLast;
        ASSERT_EQ(Read(Job("3D Acoustic", "First Point = 2\nLast Point = 9\n")), 0);
        EXPECT_EQ(m_app->m_nFirstPoint, c.first);
        EXPECT_EQ(m_app->m_nLastPoint, c.last);
        // The key that was not needed is left over.
        EXPECT_EQ(LogHas("Redundant variable: [modeling], First Point = 2"), c.cmdFirst != 0);
        EXPECT_EQ(LogHas("Redundant variable: [modeling], Last Point = 9"), c.cmdLast != 0);
    }
}

TEST_F(ReadTask, ShotIdAndCoordinatesContradict)
{
    EXPECT_EQ(Read(Job("3D Acoustic", "UseShotId = 1\n", "[Survey]\nShotsDefinedByCoordinates = 1\n")), 0)
        << "a second [Survey] section is not reached";
    m_app.reset(new COndexApp());
    std::string job = Job("3D Acoustic", "UseShotId = 1\n");
    job.insert(job.find("t0 = 0\n"), "ShotsDefinedByCoordinates = 1\n");
    EXPECT_EQ(Read(job), -1);
    EXPECT_TRUE(LogHas("Error! Contradicting settings encountered. 'UseShotId' and 'ShotsDefinedByCoordinates' "
                       "cannot both be 1."))
        << Log();
}

struct RecoveryCase
{
    const char* name;
    bool recovery;
    const char* content;   // null: no file
    int start;             // start before reading (last shot is 10)
    int expected;
    bool message;
};

TEST_F(ReadTask, RecoveryDat)
{
    const RecoveryCase cases[] = {
        {"inside the range", true, "7\n", 3, 7, true},
        {"the last shot", true, "10", 3, 10, true},
        {"at the start", true, "3\n", 3, 3, false},
        {"below the start", true, "2\n", 3, 3, false},
        {"beyond the last", true, "11\n", 3, 3, false},
        {"no file", true, nullptr, 3, 3, false},
        {"recovery off", false, "7\n", 3, 3, false},
        {"garbage", true, "abc\n", 3, 3, false},
        {"start 0 takes any shot up to the last", true, "1\n", 0, 1, true},
    };
    for (const RecoveryCase& c : cases)
    {
        SCOPED_TRACE(c.name);
        m_app.reset(new COndexApp());
        m_app->m_nStartPoint = c.start;
        remove("Recovery.dat");
        if (c.content)
            WriteFile("Recovery.dat", c.content);
        ASSERT_EQ(Read(Job("3D Acoustic", std::string("Last Point = 10\nRecovery = ") + (c.recovery ? "1" : "0") + "\n")),
                  0);
        EXPECT_EQ(m_app->m_bRecovery, c.recovery);
        EXPECT_EQ(m_app->m_nStartPoint, c.expected);
        EXPECT_EQ(LogHas("RECOVER: Continue from shot #"), c.message);
        if (c.message)
        {
            EXPECT_TRUE(LogHas("RECOVER: Continue from shot #" + std::to_string(c.expected) + "\n"));
        }
    }
}

TEST_F(ReadTask, UseCudaFallsBackToTheCpuInThisBuild)
{
    ASSERT_EQ(Read(Job("3D Acoustic", "", "[GPU]\nUse CUDA = 1\nDevice = 0\n")), 0) << Log();
    EXPECT_FALSE(m_app->m_bUseCUDA);
    EXPECT_GT(m_app->m_nThreads, 0);
    EXPECT_TRUE(LogHas("CPU: Threads = "));
    EXPECT_EQ(LogCount("Redundant variable"), 0) << "Device is read when Use CUDA is set";
}

TEST_F(ReadTask, SecondReadReplacesTheEngine)
{
    ASSERT_EQ(Read(Job("3D Acoustic")), 0);
    CCalc3D* pFirst = m_app->m_pCalc3D;
    ASSERT_NE(pFirst, nullptr);
    ASSERT_EQ(Read(Job("3D Elastic Anisotropic", "TTI Anisotropy = 1\n")), 0);
    ASSERT_NE(m_app->m_pCalc3D, nullptr);
    EXPECT_EQ(m_app->m_Type, 104);
    EXPECT_EQ(m_app->m_pCalc3D->m_nHalo, 3);
}
} // namespace
