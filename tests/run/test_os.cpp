// Machine helpers, small job functions and the layout scan of the job file.
#include <string>

#include "RunTestUtil.h"
#include "run/Layout.h"

namespace
{
struct TraceLenCase { double t0, t1, dt; int len; };

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
        app->m_t0 = c.t0, app->m_t1 = c.t1, app->m_dt = c.dt;
        EXPECT_EQ(app->GetSeismogramTraceLen(), c.len) << c.t0 << " " << c.t1 << " " << c.dt;
    }
}

using JobOutput = RunTempDir;

TEST_F(JobOutput, Run1DShotWithoutEngine)
{
    m_app->m_Type = 100;
    ClearLog();
    EXPECT_EQ(m_app->Run1DShot(), 1);
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

struct ScanCase { const char* name; const char* text; int N; int T; bool skip; int P; };

TEST_F(LayoutScan, Keys)
{
    const ScanCase cases[] = {
        {"no keys", "[TASK]\ntaskType = modeling\n", 16, 16, false, 1},
        {"threads below N", "[optimization]\nthreads per process = 4\n", 16, 4, false, 4},
        {"threads above N ignored", "[optimization]\nthreads per process = 40\n", 16, 16, false, 1},
        {"outside the three sections", "[modeling]\nthreads per process = 4\n", 16, 16, false, 1},
        {"flag is never cleared", "[MPI]\nGroup Size = 2\n[modeling]\nthreads per process = 5\n", 16, 5, false, 3},
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

} // namespace
