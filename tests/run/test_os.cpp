// Machine helpers, small job functions and the layout scan of the job file.
#include <cstring>
#include <memory>
#include <string>

#include "RunTestUtil.h"
#include "base/Output.h"
#include "cpu/Calc3D_OMP.h"
#include "run/Layout.h"
#include "run/OndexApp.h"

namespace
{
struct DurationCase
{
    double seconds;
    const char* text;
};

TEST(Os, SecToString)
{
    const DurationCase cases[] = {
        {0.0, "00:00"},
        {59.9, "00:59"},
        {61.0, "01:01"},
        {3599.0, "59:59"},
        {3600.0, "1:0:0"},
        {3725.0, "1:2:5"},
        {86399.0, "23:59:59"},
        {86400.0, "1 days, 0:0:0"},
        {90061.5, "1 days, 1:1:1"},
        {3.0 * 86400 + 7200, "3 days, 2:0:0"},
    };
    for (const DurationCase& c : cases)
    {
        SCOPED_TRACE(c.seconds);
        char buf[64];
        const int n = os::SecToString(c.seconds, buf);
        EXPECT_STREQ(buf, c.text);
        EXPECT_EQ(n, (int)strlen(c.text));
    }
}

struct VersionCase
{
    const char* raw;
    const char* text;
};

TEST(Os, VersionText)
{
    CString s;
    EXPECT_EQ(os::GetAppVersionString(s), 1);
    EXPECT_STREQ((const char*)s, "version 9.0.9");

    const VersionCase cases[] = {
        {"9, 0, 9, 0", "version 9.0.9"},
        {"1, 2, 3, 1", "version 1.2.3a"},
        {"1, 2, 3, 2", "version 1.2.3b"},
        {"1, 2, 3, 25", "version 1.2.3y"},
        {"1, 2, 3, 26", "version 1.2.3 (rev. 26)"},
        {"1,2,3,412", "version 1.2.3 (rev. 412)"},
        {"2", "version 2.0.0"},
        {"4, 1", "version 4.1.0"},
        {"0, 1, 2, 3", "unchanged"},
        {"", "unchanged"},
    };
    for (const VersionCase& c : cases)
    {
        SCOPED_TRACE(c.raw);
        CString v;
        v = "unchanged";
        EXPECT_EQ(os::FormatVersionString(c.raw, v), 1);
        EXPECT_STREQ((const char*)v, c.text);
    }
}

TEST(JobObject, BigSeismogramName)
{
    std::unique_ptr<COndexApp> app(new COndexApp());
    app->m_nNode = 2;
    app->m_nActiveShot = 17;
    EXPECT_STREQ((const char*)app->GetBigSeisFileName(), "BigSeis-2(17).bin");
}

struct TraceLenCase
{
    double t0, t1, dt;
    int len;
};

TEST(JobObject, SeismogramTraceLength)
{
    const TraceLenCase cases[] = {
        {0.0, 1.0, 0.002, 501},
        {0.1, 0.5, 0.004, 101},
        {0.0, 0.0, 0.001, 1},
        {0.0, 0.0103, 0.002, 6},   // 5.15 rounds to 5, plus the first sample
        {0.0, 0.0109, 0.002, 6},   // 5.45 rounds to 5
        {0.0, 0.0111, 0.002, 7},   // 5.55 rounds to 6
    };
    for (const TraceLenCase& c : cases)
    {
        std::unique_ptr<COndexApp> app(new COndexApp());
        app->m_t0 = c.t0;
        app->m_t1 = c.t1;
        app->m_dt = c.dt;
        EXPECT_EQ(app->GetSeismogramTraceLen(), c.len) << c.t0 << " " << c.t1 << " " << c.dt;
    }
}

class JobOutput : public RunTempDir
{
};

struct MethodTitleCase
{
    int type;
    int L;
    const char* text;
};

TEST_F(JobOutput, ModelingMethodTitle)
{
    const MethodTitleCase cases[] = {
        {100, 0, "1D VERTICAL INCIDENCE MODELING STARTED\n"},
        {101, 0, "3D ACOUSTIC MODELING STARTED\n"},
        {101, 3, "3D ACOUSTIC MODELING STARTED\n"},
        {102, 0, "3D ELASTIC MODELING STARTED\n"},
        {102, 1, "3D VISCOELASTIC MODELING STARTED\n"},
        {103, 0, "3D ELASTIC ORTHOROMBIC ANISOTROPIC MODELING STARTED\n"},
        {103, 2, "3D VISCOELASTIC ORTHOROMBIC ANISOTROPIC MODELING STARTED\n"},
        {104, 0, "3D ELASTIC ANISOTROPIC MODELING STARTED\n"},
        {104, 10, "3D VISCOELASTIC ANISOTROPIC MODELING STARTED\n"},
    };
    for (const MethodTitleCase& c : cases)
    {
        SCOPED_TRACE(c.text);
        std::unique_ptr<COndexApp> app(new COndexApp());
        app->m_Type = c.type;
        if (c.type != 100)
        {
            app->m_pCalc3D = new CCalc3D_OMP(*app);
            app->m_pCalc3D->m_nViscoL = c.L;
        }
        ClearLog();
        app->PrintModelingMethod();
        const std::string log = Log();
        const std::string rule = std::string(71, '-') + "\n";
        // Centred between two rules.
        const size_t pos = log.find(c.text);
        ASSERT_NE(pos, std::string::npos) << log;
        EXPECT_EQ(log.substr(0, rule.size()), rule);
        EXPECT_EQ(log.substr(log.size() - rule.size()), rule);
        const size_t L = strlen(c.text);
        EXPECT_EQ(log.substr(rule.size(), pos - rule.size()), std::string((71 - L) / 2, ' '));
    }
}

TEST_F(JobOutput, Run1DShotWithoutEngine)
{
    std::unique_ptr<COndexApp> app(new COndexApp());
    app->m_Type = 100;
    ClearLog();
    EXPECT_EQ(app->Run1DShot(), 1);
    EXPECT_NE(Log().find("Error! Computation object not being created.\n"), std::string::npos);
}

class LayoutScan : public RunTempDir
{
protected:
    SLayoutScan Scan(const std::string& text, int nProcessors)
    {
        WriteFile("runtask.ini", text);
        SLayoutScan s;
        ScanLayoutKeys("runtask.ini", nProcessors, s);
        return s;
    }
};

struct ScanCase
{
    const char* name;
    const char* text;
    int N;
    int T;
    bool skip;
    int P;
};

TEST_F(LayoutScan, Keys)
{
    const ScanCase cases[] = {
        {"no keys", "[TASK]\ntaskType = modeling\n", 16, 16, false, 1},
        {"threads below N", "[optimization]\nthreads per process = 4\n", 16, 4, false, 4},
        {"threads equal to N ignored", "[optimization]\nthreads per process = 16\n", 16, 16, false, 1},
        {"threads above N ignored", "[optimization]\nthreads per process = 40\n", 16, 16, false, 1},
        {"threads not positive ignored", "[optimization]\nthreads per process = 0\n", 16, 16, false, 1},
        {"outside the three sections", "[modeling]\nthreads per process = 4\n", 16, 16, false, 1},
        {"flag is never cleared", "[MPI]\nGroup Size = 2\n[modeling]\nthreads per process = 5\n", 16, 5, false, 3},
        {"blank-free", "[GPU]\nthreads per process=2\n", 16, 2, false, 8},
        {"no = is no value", "[optimization]\nthreads per process 4\n", 16, 16, false, 1},
        {"skip set", "[MPI]\nSkip Device Count Detection = 1\n", 16, 16, true, 1},
        {"skip cleared again", "[MPI]\nSkip Device Count Detection = 1\nSkip Device Count Detection = 0\n", 16, 16,
         false, 1},
        {"skip in [GPU]", "[GPU]\nSkip Device Count Detection = 7\n", 16, 16, true, 1},
        {"indented key", "[optimization]\n  threads per process = 4\n", 16, 16, false, 1},
        {"second smaller value lowers T again", "[optimization]\nthreads per process = 8\nthreads per process = 2\n",
         16, 2, false, 8},
        {"larger second value keeps T", "[optimization]\nthreads per process = 2\nthreads per process = 8\n", 16, 2,
         false, 8},
        {"P is N / T rounded down", "[optimization]\nthreads per process = 5\n", 12, 5, false, 2},
    };
    for (const ScanCase& c : cases)
    {
        SCOPED_TRACE(c.name);
        SLayoutScan s = Scan(c.text, c.N);
        EXPECT_EQ(s.nThreadsNode, c.N);
        EXPECT_EQ(s.nThreadsProc, c.T);
        EXPECT_EQ(s.nGPUs, 0);
        EXPECT_EQ(s.bSkip, c.skip);
        EXPECT_EQ(ProcessesPerNode(s), c.P);
    }
}

TEST_F(LayoutScan, MissingFileKeepsInitialValues)
{
    SLayoutScan s;
    ScanLayoutKeys("runtask.ini", 8, s);
    EXPECT_EQ(s.nThreadsNode, 8);
    EXPECT_EQ(s.nThreadsProc, 8);
    EXPECT_EQ(s.nGPUs, 0);
    EXPECT_FALSE(s.bSkip);
}

TEST_F(LayoutScan, SimpleCase)
{
    SLayoutScan s = {16, 4, 0, false};
    EXPECT_TRUE(IsSimpleLayout(s, 1));
    EXPECT_FALSE(IsSimpleLayout(s, 4));
    s.bSkip = true;
    EXPECT_TRUE(IsSimpleLayout(s, 4));
    SLayoutScan one = {1, 1, 0, false};
    EXPECT_TRUE(IsSimpleLayout(one, 8));
    SLayoutScan gpu = {16, 4, 2, false};
    EXPECT_EQ(ProcessesPerNode(gpu), 2);
}

TEST(Layout, SingleProcessIsTheSimpleCase)
{
    int nRank = -1;
    int nSize = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &nRank);
    MPI_Comm_size(MPI_COMM_WORLD, &nSize);
    if (nSize != 1)
        GTEST_SKIP() << "needs a single process";
    int nExit = 99;
    g_nNode = 5;
    g_nSize = 7;
    EXPECT_TRUE(ArrangeProcesses(nRank, nSize, nExit));
    EXPECT_EQ(nExit, 0);
    EXPECT_EQ(g_nNode, 0);
    EXPECT_EQ(g_nSize, 1);
    EXPECT_EQ(MPI_COMM_MT, MPI_COMM_WORLD);
    ReleasePassiveProcesses();   // nothing to release in the simple case
}
} // namespace

namespace
{
class Inventory : public RunTempDir
{
};

TEST_F(Inventory, SystemDetailsInTheLog)
{
    ClearLog();
    PrintSystemDetails();
    const std::string log = Log();
    EXPECT_EQ(log.rfind("------------------------ Node System Information ----------------------\n", 0), 0u);
    EXPECT_NE(log.find("Process 1 of 1 (Rank=#0, Hostname \""), std::string::npos) << log;
    EXPECT_NE(log.find("System Info: \n    Available Memory: "), std::string::npos);
    EXPECT_NE(log.find("    Uptime = "), std::string::npos);
    EXPECT_NE(log.find("\nInfo from /proc/meminfo\n"), std::string::npos);
    EXPECT_NE(log.find("\nInfo from /proc/loadavg\n"), std::string::npos);
    // Each section is there exactly when its source is.
    EXPECT_EQ(log.find("\nInfo from 'free -m':\n") != std::string::npos, access("/usr/bin/free", X_OK) == 0);
    EXPECT_EQ(log.find("\nInfo from 'df -H -T':\n") != std::string::npos, access("/bin/df", X_OK) == 0);
    const std::string tail = "-----------------------------------------------------------------------\n";
    ASSERT_GE(log.size(), tail.size());
    EXPECT_EQ(log.substr(log.size() - tail.size()), tail);
}
} // namespace
