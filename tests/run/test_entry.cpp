// The program as a whole: exit status, closing lines, command line shots,
// a merge task, and several processes under mpiexec.
#include <cstring>
#include <string>

#include "RunTestUtil.h"
#include "engine3d/Calc3D.h"

namespace
{
const char kMergeJob[] =
    "[TASK]\ntaskType = merge\n[modeling]\nRun Computation = 3D Acoustic\nOutputDir = res\n"
    "Model Name = vp.sgy\n[Survey]\nt0 = 0\nt1 = 0.02\ndt = 0.004\n[Mesh]\ndx = 10\ndt = 0.001\n"
    "[Source]\nFrequency = 20\n";

class Entry : public RunTempDir
{
protected:
    void SetUp() override
    {
        RunTempDir::SetUp();
        if (!Exists(kProgram))
            GTEST_SKIP() << "the program is not built: " << kProgram;
    }
    int Run(const std::string& cmd) { return testutil::Run(cmd, m_out); }
    // Per-shot gathers of component Z for the given shots, named as the
    // engine names them for this job.
    void WriteShotFiles(int nFirst, int nLast, int nTraces)
    {
        COndexApp app;
        ASSERT_EQ(app.ReadTask("runtask.ini"), 0);
        ASSERT_NE(app.m_pCalc3D, nullptr);
        const CString strTemplate = app.m_pCalc3D->GetFileName(0, 'Z', true, false, 0.0);
        m_merged = (const char*)app.m_pCalc3D->GetFileName(0, 'Z', false, true, 0.0);
        const double T[3] = {0.0, 20.0, 4.0};
        for (int n = nFirst; n <= nLast; ++n)
        {
            const CString strName(0, strTemplate, n);
            WriteShotFile((const char*)strName, n, nTraces, T);
            m_shotFiles.push_back((const char*)strName);
        }
    }
    std::string m_out;
    std::string m_merged;
    std::vector<std::string> m_shotFiles;
};

// A job missing or rejected: -1, and no closing lines.
TEST_F(Entry, MissingOrRejectedJob)
{
    EXPECT_EQ(Run(kProgram), 255);
    EXPECT_NE(m_out.find("The program has finised with result -1.\n"), std::string::npos) << m_out;
    EXPECT_TRUE(LogHas("The job specification file 'runtask.ini' is not read!\n\n"));
    EXPECT_TRUE(LogHas("3D 64-bit Computation Engine version 9.0.9 running on 64-bit Linux/MPI\n"));
    WriteFile("runtask.ini", "[TASK]\ntaskType = simulate\n");
    EXPECT_EQ(Run(kProgram), 255);
    EXPECT_FALSE(LogHas("Elapsed Time: ") || LogHas("Simulation finished successfully."));
}

TEST_F(Entry, MergeTaskJoinsTheShotFiles)
{
    WriteFile("runtask.ini", kMergeJob);
    WriteShotFiles(1, 2, 3);
    // Shots 1..2 from the command line (argv[2], argv[3]); argv[1] is not looked at.
    EXPECT_EQ(Run(kProgram + " ignored 1 2"), 0) << m_out;
    EXPECT_NE(m_out.find("The program has finised with result 0.\n"), std::string::npos) << m_out;
    EXPECT_TRUE(LogHas("Merging component 'X'...\n"));
    EXPECT_TRUE(LogHas("Merging component 'C'...\n"));
    EXPECT_TRUE(LogHas("Simulation finished successfully.\n"));
    EXPECT_TRUE(LogHas("Elapsed Time: "));
    // A merge task keeps the per-shot files.
    for (const std::string& s : m_shotFiles)
        EXPECT_TRUE(Exists(s)) << s;
    const std::string data = ReadFile(m_merged.c_str());
    ASSERT_EQ(data.size(), 3600u + 6 * (240 + 24)) << m_merged;
    const unsigned char* h = (const unsigned char*)data.data();
    EXPECT_EQ((h[3212] << 8) | h[3213], 6);
}

// A merge task without a usable shot range still succeeds, with a warning.
TEST_F(Entry, MergeTaskWithoutAShotRangeWarns)
{
    WriteFile("runtask.ini", kMergeJob);
    const struct { const char* args; const char* warning; int count; } cases[] = {
        {"", "Warning! No first or last shot is given in the job or on the command line: only shot 0 is merged.\n", 1},
        {" x 3 1", "Warning! The first shot 3 lies above the last shot 1: no shot is merged.\n", 1},
        {" x 1 1", "Warning!", 0},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.args);
        ClearLog();
        EXPECT_EQ(Run(kProgram + c.args), 0) << m_out;
        EXPECT_EQ(LogCount(c.warning), c.count) << Log();
    }
}

TEST_F(Entry, SurplusProcessIsPassiveAndReleased)
{
    if (system("command -v mpiexec > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "no mpiexec";
    if (os::GetCPUCount() < 2)
        GTEST_SKIP() << "one processor always takes the simple layout";
    // No thread key: one process per machine besides the master, so of
    // three processes on this machine world rank 2 is set aside.
    WriteFile("runtask.ini", kMergeJob);
    WriteShotFiles(1, 1, 1);
    testutil::MpiexecLock lock;
    EXPECT_EQ(Run("mpiexec -n 3 " + kProgram + " x 1 1"), 0) << m_out;
    EXPECT_NE(m_out.find("1 processes per node\n"), std::string::npos) << m_out;
    EXPECT_NE(m_out.find("--Node: rank 1, "), std::string::npos) << m_out;
    EXPECT_NE(m_out.find(", Active\n"), std::string::npos);
    EXPECT_NE(m_out.find(", Passive\n"), std::string::npos) << m_out;
    EXPECT_NE(m_out.find("Active process #1 has new rank #1!\n"), std::string::npos) << m_out;
    EXPECT_EQ(m_out.find("Active process #2"), std::string::npos);
    EXPECT_TRUE(Exists("Ondex-1.log"));
    EXPECT_FALSE(Exists("Ondex-2.log")) << "a passive process does no work";
    EXPECT_NE(m_out.find("The program has finised with result 0.\n"), std::string::npos);
}
// A merge that cannot write its output: the component loop stops at the
// first failure, no success line, the elapsed time all the same; a time field
// merge that succeeds afterwards does not turn the run into a success.
TEST_F(Entry, MergeFailureStopsTheComponentsAndPrintsNoSuccess)
{
    WriteFile("runtask.ini", std::string(kMergeJob) + "[Time]\nType = 1\nMerge = 1\n");
    WriteShotFiles(1, 1, 1);
    // A directory where the merged file of component X would go.
    COndexApp app;
    ASSERT_EQ(app.ReadTask("runtask.ini"), 0);
    const CString strMergedX = app.m_pCalc3D->GetFileName(0, 'X', false, true, 0.0);
    ASSERT_EQ(mkdir(strMergedX, 0755), 0);
    remove("Ondex-0.log");

    EXPECT_EQ(Run(kProgram + " x 1 1"), 255) << m_out;   // -1 of MergeResults
    EXPECT_NE(m_out.find("The program has finised with result -1.\n"), std::string::npos) << m_out;
    EXPECT_TRUE(LogHas("Merging component 'X'...\n"));
    EXPECT_TRUE(LogHas("The results has not been merged!\n"));
    EXPECT_FALSE(LogHas("Merging component 'Y'...\n"));
    EXPECT_TRUE(LogHas("Merging Time Field...max energy\n"));
    EXPECT_FALSE(LogHas("Simulation finished successfully."));
    EXPECT_TRUE(LogHas("Elapsed Time: "));
}

} // namespace
