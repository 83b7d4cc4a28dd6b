#include "base/Output.h"
#include "common/TestUtil.h"

#include <string>
#include <sys/stat.h>

namespace
{

const std::string ESC = "\x1b";

// A global put back at the end of a test.
struct Keep
{
    int& r;
    const int v = r;
    ~Keep() { r = v; }
};

// Every test works in its own scratch directory, as node 0 of 1, with a
// console that is not a terminal unless the test says otherwise.
class OutputTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        g_nNode = 0, g_nSize = 1, g_IsTerminal = 0;
        u_Error_Reset();
    }
    std::string log(int node = 0) { return testutil::ReadFile("Ondex-" + std::to_string(node) + ".log"); }

    Keep m_node{g_nNode}, m_size{g_nSize}, m_term{g_IsTerminal};
    testutil::TempDir m_dir{true, "ondex_base"};
};

} // namespace

// The log of an earlier run is appended to, never cut.
TEST_F(OutputTest, PrintGoesToConsoleAndLog)
{
    ASSERT_TRUE(testutil::WriteFile("Ondex-0.log", "old run\n"));
    testutil::StdoutCapture cap;
    EXPECT_EQ(u_Print("value %d\n", 42), 9);
    u_Print("second\n");
    EXPECT_EQ(cap.Stop(), "value 42\nsecond\n");
    EXPECT_EQ(log(), "old run\nvalue 42\nsecond\n");
    EXPECT_STREQ(g_szLogFileName, "Ondex-0.log");
}

TEST_F(OutputTest, UnwritableLogDoesNotDisturb)
{
    ASSERT_EQ(mkdir("Ondex-0.log", 0777), 0);   // a directory cannot be appended to
    testutil::StdoutCapture cap;
    EXPECT_EQ(u_Print("still here\n"), 11);
    EXPECT_EQ(cap.Stop(), "still here\n");
}

TEST_F(OutputTest, OtherNodesWriteOnlyTheirOwnLog)
{
    g_nSize = 2;
    g_nNode = 1;
    g_IsTerminal = 1;   // even on a terminal no colour comes from node 1
    testutil::StdoutCapture cap;
    u_Print("from one\n");
    u_Error("bad %d\n", 1);
    std::string out = cap.Stop();
    EXPECT_EQ(out, "");
    EXPECT_EQ(log(1), "from one\nbad 1\n");
    EXPECT_STREQ(g_szLogFileName, "Ondex-1.log");
    EXPECT_FALSE(testutil::FileExists("Ondex-0.log"));
}

TEST_F(OutputTest, PostponedErrors)
{
    testutil::StdoutCapture cap;
    u_Error_Postponed("first %d\n", 1);
    u_Error_Postponed("$%%<>%%$second\n");
    EXPECT_EQ(cap.Stop(), "");
    EXPECT_EQ(g_PostPonedError, "first 1\nsecond\n");

    g_IsTerminal = 1;
    testutil::StdoutCapture cap2;
    EXPECT_GT(u_Error_Now(), 0);
    EXPECT_EQ(u_Error_Now(), 0);   // emptied
    EXPECT_EQ(cap2.Stop(), ESC + "[0;93mfirst 1\nsecond\n" + ESC + "[0m");
    EXPECT_EQ(log(), "first 1\nsecond\n");

    u_Error_Postponed("dropped\n");
    u_Error_Reset();
    EXPECT_TRUE(g_PostPonedError.IsEmpty());
    testutil::StdoutCapture cap3;
    u_Error_Now();
    EXPECT_EQ(cap3.Stop(), "");
}
