#include "base/Output.h"
#include "base/SigTest.h"
#include "common/TestUtil.h"

#include <csignal>
#include <string>

namespace
{

const int SIGNALS[] = {SIGHUP, SIGINT, SIGQUIT, SIGILL, SIGTRAP, SIGABRT, SIGBUS,
                       SIGFPE, SIGSEGV, SIGTERM, SIGSYS, SIGUSR1};

// A global put back at the end of a test.
struct Keep
{
    int& r;
    const int v = r;
    ~Keep() { r = v; }
};

// sig_ftest changes dispositions: keep the process's own and put them back.
class SigTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        for (int s : SIGNALS)
            sigaction(s, nullptr, &m_saved[s]);
        nError = 0, g_nNode = 0, g_nSize = 1;
    }
    void TearDown() override
    {
        for (int s : SIGNALS)
            sigaction(s, &m_saved[s], nullptr);
    }
    static bool ignored(int s)
    {
        struct sigaction sa;
        sigaction(s, nullptr, &sa);
        return !(sa.sa_flags & SA_SIGINFO) && sa.sa_handler == SIG_IGN;
    }
    static bool handled(int s)
    {
        struct sigaction sa;
        sigaction(s, nullptr, &sa);
        return (sa.sa_flags & SA_SIGINFO) || (sa.sa_handler != SIG_IGN && sa.sa_handler != SIG_DFL);
    }
    std::string log() { return testutil::ReadFile("Ondex-0.log"); }

    testutil::TempDir m_dir{true, "ondex_base"};
    struct sigaction m_saved[65];
    Keep m_error{nError}, m_node{g_nNode}, m_size{g_nSize};
};

} // namespace

TEST_F(SigTest, FirstConditionStays)
{
    testutil::StdoutCapture cap;
    sig_ftest(8, 3);
    EXPECT_EQ(nError, 2);
    sig_ftest(15, 0);
    EXPECT_EQ(nError, 2);
    std::string out = cap.Stop();
    const std::string expected = "Signal 8(3)!\nFloating point error: floating point division by zero."
                                 "Signal 15(0)!\nError: Software termination signal from kill.";
    EXPECT_EQ(out, expected);
    EXPECT_EQ(log(), expected);
    // The signal that came is ignored; floating point errors stay handled.
    EXPECT_TRUE(ignored(SIGTERM));
    EXPECT_TRUE(handled(SIGFPE));
}

TEST_F(SigTest, TextsOfTheSignals)
{
    struct Case { int sig, code; const char* text; } cases[] = {
        {2, 0, "Error: Interrupt!"},
        {8, 1, "Floating point error: integer division by zero."},
        {8, 3, "Floating point error: floating point division by zero."},
        {8, 0, "Floating point error."},
        {8, 9, "Floating point error."},
        {11, 0, "Error: Segment violation."},
        {15, 0, "Error: Software termination signal from kill."},
        {3, 0, ""},    // not in the table: only the first line
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::to_string(c.sig) + "(" + std::to_string(c.code) + ")");
        testutil::StdoutCapture cap;
        sig_ftest(c.sig, c.code);
        EXPECT_EQ(cap.Stop(), "Signal " + std::to_string(c.sig) + "(" + std::to_string(c.code) + ")!\n" + c.text);
    }
}

// The installed handler logs the signal in words and then lets the process
// die by it; a signal ignored before (as under nohup) stays ignored.
TEST_F(SigTest, InstalledHandlerLogsAndEnds)
{
    GTEST_FLAG_SET(death_test_style, "fast");   // the child must share this directory
    struct Case { int sig; bool bIgnoredBefore; const char* text; } cases[] = {
        {SIGTERM, false, "Signal 15(0)!\nError: Software termination signal from kill.\n"},
        {SIGSEGV, false, "Signal 11(0)!\nError: Segment violation.\n"},
        {SIGHUP, true, ""},
        {SIGTERM, true, ""},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::to_string(c.sig) + (c.bIgnoredBefore ? " ignored before" : ""));
        remove("Ondex-0.log");
        auto child = [&c]()
        {
            if (c.bIgnoredBefore)
                signal(c.sig, SIG_IGN);
            sig_install();
            raise(c.sig);
            _exit(0);
        };
        if (c.bIgnoredBefore)
            EXPECT_EXIT(child(), ::testing::ExitedWithCode(0), "");
        else
            EXPECT_EXIT(child(), ::testing::KilledBySignal(c.sig), "");
        EXPECT_EQ(log(), c.text);
    }
}
