// The single process shot loop of the program, run on a small homogeneous
// model: skipped shots, a recovery start, and the merge over the job's range.

#include <chrono>
#include <string>
#include <vector>

#include "../engine3d/ModelTestUtil.h"
#include "RunTestUtil.h"

namespace
{
// 9 nodes a side, 10 m apart, from 0; shot 2 lies far outside the model.
const char kSurvey[] =
    "40 40 40 50 40 40\n"
    "5000 40 40 5010 40 40\n"
    "30 30 30 40 30 30\n";

// Samples of a gather trace: t0 = 0, t1 = 0.02, dt = 0.002.
const int kSamples = 11;
const size_t kTraceBytes = 240 + 4 * kSamples;

class ShotRoad : public RunTempDir
{
protected:
    void SetUp() override
    {
        RunTempDir::SetUp();
        if (!Exists(kProgram))
            GTEST_SKIP() << "the program is not built: " << kProgram;
        auto vp = [](double, double, double) { return 2000.0f; };
        ASSERT_TRUE(model_test::WriteCube("vp.sgy", 9, 9, 9, 10.0, 0, 0, 0, vp));
        WriteFile("survey.txt", kSurvey);
    }
    void WriteJob(const std::string& modelingExtra, const std::string& surveyDt = "0.002",
                  const char* pszFile = "runtask.ini")
    {
        WriteFile(pszFile,
                  "[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = 3D Acoustic\n"
                  "Model Name = vp.sgy\nSmooth Model = 0\n" + modelingExtra +
                  "[Survey]\nGeometry = survey.txt\nt0 = 0\nt1 = 0.02\ndt = " + surveyDt + "\n"
                  "[Mesh]\ndx = 10\ndt = 0.001\n[Source]\nFrequency = 20\n");
    }
    int Run(const std::string& args) { return testutil::Run(kProgram + " " + args, m_out); }
    std::string m_out;
};

TEST_F(ShotRoad, ShotOutsideTheZoneIsSkippedAndTheRunSucceeds)
{
    WriteJob("");
    ASSERT_EQ(Run("x 1 3"), 0) << m_out << Log();
    EXPECT_TRUE(LogHas("Shot Point #2 skipped.\n"));
    EXPECT_TRUE(LogHas("Simulation finished successfully.\n"));
    // Shots 1 and 3 are merged, one trace each; the merge passes over shot 2.
    EXPECT_TRUE(LogHas("Unable to open file 'vp+Gath3DAPUc-2.sgy'. Skipped.\n")) << Log();
    const std::string merged = ReadFile("vp+Gath3DAPUc.sgy");
    EXPECT_EQ(merged.size(), 3600 + 2 * kTraceBytes);
    // After a merge of a modelling run the per-shot files are gone.
    EXPECT_FALSE(Exists("vp+Gath3DAPUc-1.sgy"));
    EXPECT_FALSE(Exists("vp+Gath3DAPUc-3.sgy"));
}

TEST_F(ShotRoad, RecoveryStartsLaterButTheMergeCoversTheWholeRange)
{
    WriteJob("Recovery = 1\n");
    WriteFile("Recovery.dat", "3\n");
    ASSERT_EQ(Run("x 1 3"), 0) << m_out << Log();
    EXPECT_TRUE(LogHas("RECOVER: Continue from shot #3\n"));
    EXPECT_FALSE(LogHas("Warning!")) << Log();
    // Shot 2 was never looked at, so it was not found outside the zone.
    EXPECT_FALSE(LogHas("Shot Point #2 skipped.\n"));
    EXPECT_TRUE(LogHas("Unable to open file 'vp+Gath3DAPUc-1.sgy'. Skipped.\n")) << Log();
    EXPECT_TRUE(LogHas("Unable to open file 'vp+Gath3DAPUc-2.sgy'. Skipped.\n"));
    const std::string merged = ReadFile("vp+Gath3DAPUc.sgy");
    EXPECT_EQ(merged.size(), 3600 + kTraceBytes);
}

TEST_F(ShotRoad, MergeOffKeepsThePerShotFiles)
{
    WriteJob("Merge = 0\n");
    ASSERT_EQ(Run("x 3 3"), 0) << m_out << Log();
    EXPECT_FALSE(LogHas("Merging component"));
    EXPECT_TRUE(Exists("vp+Gath3DAPUc-3.sgy"));
    EXPECT_FALSE(Exists("vp+Gath3DAPUc-1.sgy"));
    EXPECT_EQ(ReadFile("vp+Gath3DAPUc-3.sgy").size(), 3600 + kTraceBytes);
}
// Master and one or two workers: the master hands out the shots one by one, the
// shot outside the zone still counts as done, and node 0 merges at the end.
TEST_F(ShotRoad, MasterAndWorkersShareTheShots)
{
    if (system("command -v mpiexec > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "no mpiexec";
    WriteJob("[MPI]\nSkip Device Count Detection = 1\n");
    for (int nProc : {2, 3})
    {
        SCOPED_TRACE(nProc);
        for (int k = 0; k < nProc; ++k)
            remove(("Ondex-" + std::to_string(k) + ".log").c_str());   // logs are appended to
        testutil::MpiexecLock lock;
        ASSERT_EQ(testutil::Run("mpiexec -n " + std::to_string(nProc) + " " + kProgram + " x 1 3", m_out), 0) << m_out;
        EXPECT_NE(m_out.find("The program has finised with result 0.\n"), std::string::npos) << m_out;
        const std::string log0 = ReadFile("Ondex-0.log");
        EXPECT_NE(log0.find("Running as a Master Node! Assign jobs from 1 to 3\n"), std::string::npos) << log0;
        EXPECT_NE(log0.find("- 3 of 3. "), std::string::npos) << log0;
        std::vector<std::string> vLogs;
        for (int k = 1; k < nProc; ++k)
        {
            vLogs.push_back(testutil::ReadFile("Ondex-" + std::to_string(k) + ".log"));
            EXPECT_NE(vLogs.back().find("I'm a Worker Node.\n"), std::string::npos);
        }
        // Every shot went to exactly one worker, once.
        for (int n = 1; n <= 3; ++n)
        {
            const std::string s = "Received to calculate shot #" + std::to_string(n) + "!\n";
            int nTimes = 0;
            for (const std::string& log : vLogs)
                for (size_t p = log.find(s); p != std::string::npos; p = log.find(s, p + 1))
                    ++nTimes;
            EXPECT_EQ(nTimes, 1) << s;
        }
        EXPECT_EQ(ReadFile("vp+Gath3DAPUc.sgy").size(), 3600 + 2 * kTraceBytes);
    }
}
// A worker whose shot fails (its gather cannot be written) reports it; the
// master lets the other worker finish its shot, stops it, and the run ends
// with -2 and no merge.
TEST_F(ShotRoad, WorkerFailureStopsTheRunWithMinusTwo)
{
    if (system("command -v mpiexec > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "no mpiexec";
    WriteJob("[MPI]\nSkip Device Count Detection = 1\n");
    ASSERT_EQ(mkdir("vp+Gath3DAPUx-3.sgy", 0755), 0);
    testutil::MpiexecLock lock;
    EXPECT_NE(testutil::Run("mpiexec -n 3 " + kProgram + " x 1 3", m_out), 0);
    EXPECT_NE(m_out.find("The program has finised with result -2.\n"), std::string::npos) << m_out;
    const std::string log0 = ReadFile("Ondex-0.log");
    EXPECT_NE(log0.find("Error occurred on node "), std::string::npos) << log0;
    EXPECT_EQ(log0.find("Merging component"), std::string::npos);
    EXPECT_FALSE(Exists("vp+Gath3DAPUc.sgy"));
    // The worker that did not fail ended normally, with its closing lines.
    const std::string log1 = ReadFile("Ondex-1.log"), log2 = ReadFile("Ondex-2.log");
    EXPECT_EQ((log1.find("Elapsed Time: ") != std::string::npos) + (log2.find("Elapsed Time: ") != std::string::npos),
              1) << log1 << log2;
}
// Fewer shots than workers: the surplus worker is told at once and ends
// normally, the other computes the one shot.
TEST_F(ShotRoad, SurplusWorkerHasNothingToDo)
{
    if (system("command -v mpiexec > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "no mpiexec";
    WriteJob("[MPI]\nSkip Device Count Detection = 1\n");
    testutil::MpiexecLock lock;
    ASSERT_EQ(testutil::Run("mpiexec -n 3 " + kProgram + " x 3 3", m_out), 0) << m_out;
    const std::string log0 = ReadFile("Ondex-0.log");
    EXPECT_NE(log0.find("Worker 2 - nothing to do!\n"), std::string::npos) << log0;
    EXPECT_EQ(log0.find("Worker 1 - nothing to do!"), std::string::npos);
    const std::string log1 = ReadFile("Ondex-1.log"), log2 = ReadFile("Ondex-2.log");
    EXPECT_NE(log1.find("Received to calculate shot #3!\n"), std::string::npos) << log1;
    EXPECT_EQ(log2.find("Received to calculate"), std::string::npos) << log2;
    EXPECT_NE(log2.find("Elapsed Time: "), std::string::npos) << log2;
    EXPECT_EQ(ReadFile("vp+Gath3DAPUc.sgy").size(), 3600 + kTraceBytes);
}
// Settings followed to the letter that would surprise their author: the
// run goes on as told, with one warning.
TEST_F(ShotRoad, SurprisingSettingsWarn)
{
    const struct { const char* extra; const char* surveyDt; const char* args; const char* warning; } cases[] = {
        // No last shot anywhere: Recovery.dat cannot move the start.
        {"Recovery = 1\n", "0.002", "", "Warning! Recovery.dat is not used"},
        {"", "0.0005", "x 3 3", "Warning! The survey sample interval 0.0005 s is finer than the mesh time step 0.001 s"},
    };
    WriteFile("Recovery.dat", "3\n");
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.warning);
        ClearLog();
        WriteJob(c.extra, c.surveyDt);
        EXPECT_EQ(Run(c.args), 0) << m_out << Log();
        EXPECT_EQ(LogCount(c.warning), 1) << Log();
    }
}

// A node that fails before the hand-out (here: no survey file in its working
// directory) ends the whole job at once, master or worker: a non-zero status
// well within mpiexec's time limit, the node's reason in its own log, and
// node 0 naming it.
TEST_F(ShotRoad, NodeFailingBeforeTheHandOutEndsTheJob)
{
    if (system("command -v mpiexec > /dev/null 2>&1 && command -v timeout > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "no mpiexec or timeout";
    const std::string good = m_tmp->path(), bad = good + "/bad";
    ASSERT_EQ(mkdir(bad.c_str(), 0755), 0);
    WriteJob("[MPI]\nSkip Device Count Detection = 1\n");
    WriteJob("[MPI]\nSkip Device Count Detection = 1\n", "0.002", "bad/runtask.ini");
    auto vp = [](double, double, double) { return 2000.0f; };
    ASSERT_TRUE(model_test::WriteCube(bad + "/vp.sgy", 9, 9, 9, 10.0, 0, 0, 0, vp));
    const struct { int nProc, nBad; } cases[] = {{2, 1}, {2, 0}, {3, 2}};
    for (const auto& c : cases)
    {
        SCOPED_TRACE(std::to_string(c.nBad) + " of " + std::to_string(c.nProc));
        auto logName = [&](int r) { return (r == c.nBad ? bad : good) + "/Ondex-" + std::to_string(r) + ".log"; };
        std::string cmd = "timeout 60 mpiexec";
        for (int r = 0; r < c.nProc; ++r)
        {
            remove(logName(r).c_str());
            cmd += std::string(r ? " :" : "") + " -n 1 -wdir " + (r == c.nBad ? bad : good) + " " + kProgram + " x 1 3";
        }
        testutil::MpiexecLock lock;   // before the clock: waiting for another job is not this run's time
        const auto t0 = std::chrono::steady_clock::now();
        const int st = testutil::Run(cmd, m_out);
        EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count(), 20.0);
        ASSERT_GT(st, 0) << m_out;
        EXPECT_NE(st, 124) << "timed out: " << m_out;
        EXPECT_NE(ReadFile(logName(c.nBad).c_str()).find("Error! Unable to read the survey acquisition geometry"),
                  std::string::npos);
        const std::string log0 = ReadFile(logName(0).c_str());
        EXPECT_NE(log0.find("Error! Node " + std::to_string(c.nBad) + " failed before the shots were handed out."),
                  std::string::npos) << log0;
        for (int r = 1; r < c.nProc; ++r)   // no shot was started anywhere
            EXPECT_EQ(ReadFile(logName(r).c_str()).find("Received to calculate"), std::string::npos);
    }
}
} // namespace
