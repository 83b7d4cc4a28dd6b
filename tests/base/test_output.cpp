#include "base/Output.h"
#include "base_test_util.h"

#include <regex>
#include <string>
#include <sys/stat.h>

namespace
{

const std::string RULE = std::string(71, '-') + "\n";
const std::string ESC = "\x1b";

// Every test works in its own scratch directory, as node 0 of 1, with a
// console that is not a terminal unless the test says otherwise.
class OutputTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_node = g_nNode;
        m_size = g_nSize;
        m_term = g_IsTerminal;
        g_nNode = 0;
        g_nSize = 1;
        g_IsTerminal = 0;
        u_Error_Reset();
    }
    void TearDown() override
    {
        g_nNode = m_node;
        g_nSize = m_size;
        g_IsTerminal = m_term;
    }
    std::string log(int node = 0) { return basetest::read_file("Ondex-" + std::to_string(node) + ".log"); }

    basetest::ScratchDir m_dir;
    int m_node = 0, m_size = 1, m_term = -1;
};

// u_FaceTitle ignores the title it saw last, and the tests may run in any
// order or repeatedly: show another title first so that t always counts.
void new_title(const char* t)
{
    static const char other[] = "other";
    basetest::StdoutCapture cap;
    u_FaceTitle(other);
    u_FaceTitle(t);
}

} // namespace

TEST_F(OutputTest, PrintGoesToConsoleAndLog)
{
    basetest::StdoutCapture cap;
    EXPECT_EQ(u_Print("value %d\n", 42), 9);
    u_Print("second\n");
    EXPECT_EQ(cap.Stop(), "value 42\nsecond\n");
    EXPECT_EQ(log(), "value 42\nsecond\n");
    EXPECT_STREQ(g_szLogFileName, "Ondex-0.log");
}

TEST_F(OutputTest, LogIsAppendedNeverCut)
{
    FILE* f = fopen("Ondex-0.log", "w");
    ASSERT_NE(f, nullptr);
    fputs("old run\n", f);
    fclose(f);
    basetest::StdoutCapture cap;
    u_Print("new run\n");
    cap.Stop();
    EXPECT_EQ(log(), "old run\nnew run\n");
}

TEST_F(OutputTest, PrefixIsRemoved)
{
    basetest::StdoutCapture cap;
    u_Print("$%%<>%%$text %s\n", "here");
    u_Print("x$%%<>%%$\n");   // only at the beginning
    EXPECT_EQ(cap.Stop(), "text here\nx$%<>%$\n");
    EXPECT_EQ(log(), "text here\nx$%<>%$\n");
}

TEST_F(OutputTest, UnwritableLogDoesNotDisturb)
{
    ASSERT_EQ(mkdir("Ondex-0.log", 0777), 0);   // a directory cannot be appended to
    basetest::StdoutCapture cap;
    EXPECT_EQ(u_Print("still here\n"), 11);
    EXPECT_EQ(cap.Stop(), "still here\n");
}

TEST_F(OutputTest, LongMessageIsCutNotOverrun)
{
    std::string big(10000, 'm');
    basetest::StdoutCapture cap;
    u_Print("%s", big.c_str());
    std::string out = cap.Stop();
    EXPECT_EQ(out, std::string(4095, 'm'));
    EXPECT_EQ(log(), std::string(4095, 'm'));
}

TEST_F(OutputTest, LineAndLinePrintGeometry)
{
    const std::string t68(68, 'A'), t69(69, 'B');
    basetest::StdoutCapture cap;
    EXPECT_EQ(u_Line(), 72);
    std::string out = cap.Stop();
    EXPECT_EQ(out, RULE);

    struct Case
    {
        std::string text, expected;
    } cases[] = {
        {t68, "\n-" + t68 + "--\n"},
        {t69, t69},
        {"ab", "\n" + std::string(34, '-') + "ab" + std::string(35, '-') + "\n"},
        {"", "\n" + RULE},
        {std::string(67, 'C'), "\n--" + std::string(67, 'C') + "--\n"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.text.size());
        remove("Ondex-0.log");
        basetest::StdoutCapture cap2;
        u_LinePrint("%s", c.text.c_str());
        EXPECT_EQ(cap2.Stop(), c.expected);
        EXPECT_EQ(log(), c.expected);
    }
}

TEST_F(OutputTest, CenterPrintGeometry)
{
    struct Case
    {
        std::string text, expected;
    } cases[] = {
        {"abc\n", std::string(33, ' ') + "abc\n"},   // the newline counts
        {"abc", std::string(34, ' ') + "abc"},
        {std::string(68, 'x'), " " + std::string(68, 'x')},
        {std::string(69, 'y'), std::string(69, 'y')},
        {std::string(100, 'z'), std::string(100, 'z')},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.text.size());
        basetest::StdoutCapture cap;
        u_CenterPrint("%s", c.text.c_str());
        EXPECT_EQ(cap.Stop(), c.expected);
    }
}

TEST_F(OutputTest, MultiProcessConsoleShowsNodeZeroWithItsNumber)
{
    g_nSize = 3;
    basetest::StdoutCapture cap;
    u_Print("hello\n");
    u_LinePrint("%s", "ab");
    std::string out = cap.Stop();
    std::string rule = std::string(34, '-') + "ab" + std::string(35, '-') + "\n";
    EXPECT_EQ(out, "{0}: hello\n\n{0}: " + rule);
    // The log has no node prefix.
    EXPECT_EQ(log(0), "hello\n\n" + rule);
}

TEST_F(OutputTest, OtherNodesWriteOnlyTheirOwnLog)
{
    g_nSize = 2;
    g_nNode = 1;
    g_IsTerminal = 1;   // even on a terminal no colour comes from node 1
    basetest::StdoutCapture cap;
    u_Print("from one\n");
    u_Error("bad %d\n", 1);
    std::string out = cap.Stop();
    EXPECT_EQ(out, "");
    EXPECT_EQ(log(1), "from one\nbad 1\n");
    EXPECT_STREQ(g_szLogFileName, "Ondex-1.log");
    EXPECT_FALSE(basetest::file_exists("Ondex-0.log"));
}

TEST_F(OutputTest, ColoursOnlyOnATerminalAndNeverInTheLog)
{
    g_IsTerminal = 1;
    basetest::StdoutCapture cap;
    u_Error("E\n");
    u_Warning("W\n");
    u_Success("S\n");
    u_Print("P\n");
    std::string out = cap.Stop();
    EXPECT_EQ(out, ESC + "[1;31mE\n" + ESC + "[0m" + ESC + "[0;93mW\n" + ESC + "[0m" + ESC +
                       "[4;32mS\n" + ESC + "[0m" + "P\n");
    EXPECT_EQ(log(), "E\nW\nS\nP\n");

    // Redirected console: settled at the first colour, no escape sequence.
    g_IsTerminal = -1;
    basetest::StdoutCapture cap2;
    u_Error("E\n");
    u_Warning("W\n");
    EXPECT_EQ(cap2.Stop(), "E\nW\n");
    EXPECT_EQ(g_IsTerminal, 0);
}

TEST(TextColorTest, SequenceTable)
{
    struct Case
    {
        int attr, fore, back;
        const char* expected;   // without the leading ESC
    } cases[] = {
        {0, -1, -1, "[0m"},
        {32, -1, -1, "[1m"},
        {64, -1, -1, "[4m"},
        {96, -1, -1, "[5m"},
        {128, -1, -1, "[7m"},
        {224, -1, -1, "[7m"},
        {1, -1, -1, "[0m"},          // no known bit: attribute 0
        {32, 1, -1, "[1;31m"},       // u_Error
        {0, 19, -1, "[0;93m"},       // u_Warning: yellow, bright
        {64, 2, -1, "[4;32m"},       // u_Success
        {0, 9, -1, "[0;31m"},        // low three bits only
        {0, 17, -1, "[0;91m"},
        {0, -1, 4, "[0;44m"},
        {0, -1, 20, "[0;104m"},
        {32, 3, 4, "[1;33;44m"},
        {32, 19, 20, "[1;93;104m"},
        {0, 0, 0, "[0;30;40m"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(std::string((const char*)textcolor_sequence(c.attr, c.fore, c.back)),
                  ESC + c.expected)
            << c.attr << "," << c.fore << "," << c.back;
}

TEST_F(OutputTest, FaceTitleBanner)
{
    static const char title[] = "Modelling";
    new_title("x");
    remove("Ondex-0.log");
    basetest::StdoutCapture cap;
    EXPECT_GT(u_FaceTitle(title), 0);
    EXPECT_EQ(u_FaceTitle(title), 0);   // same title again: nothing
    EXPECT_EQ(u_FaceTitle(""), 0);
    EXPECT_EQ(u_FaceTitle(nullptr), 0);
    std::string out = cap.Stop();
    std::regex re("\n\n" + RULE + "Modelling started at [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]{2} "
                  "[0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}\n" + RULE);
    EXPECT_TRUE(std::regex_match(out, re)) << out;
    EXPECT_EQ(log(), out);
}

TEST_F(OutputTest, PercentOncePerValueAndAgainAfterTitle)
{
    static const char t1[] = "first", t2[] = "second";
    const std::regex elapsed(".*  0:00:0[0-9] elapsed. \n");
    new_title(t1);
    basetest::StdoutCapture cap;
    EXPECT_GT(u_Percent(5, 40, 3, 10), 0);
    EXPECT_EQ(u_Percent(5, 40, 3, 10), 0);
    std::string once = cap.Stop();
    EXPECT_EQ(once.rfind(".. 5% (Overall: 40%) - 3 of 10. ", 0), 0u) << once;
    EXPECT_TRUE(std::regex_match(once, elapsed)) << once;

    {
        basetest::StdoutCapture cap2;
        EXPECT_GT(u_FaceTitle(t2), 0);
    }
    basetest::StdoutCapture cap3;
    EXPECT_GT(u_Percent(5, 40, 3, 10), 0);
    std::string again = cap3.Stop();
    EXPECT_EQ(again.rfind(".. 5% (Overall: 40%) - 3 of 10. ", 0), 0u) << again;
}

TEST_F(OutputTest, PercentParts)
{
    static const char t[] = "parts";
    new_title(t);
    struct Case
    {
        int p, overall, index, count;
        const char* head;   // the line up to the elapsed part; null: nothing shown
    } cases[] = {
        {0, 50, 1, 2, nullptr},
        {-3, 50, 1, 2, nullptr},
        {7, -1, 0, 0, ".. 7% "},
        {8, 101, 0, 0, ".. 8% "},
        {9, 0, 0, 1, ".. 9% (Overall: 0%) - 0 of 1. "},
        {100, 100, 5, 5, ".. 100% (Overall: 100%) - 5 of 5. "},
        {101, -1, 0, 0, ".. The end. "},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.p);
        basetest::StdoutCapture cap;
        int n = u_Percent(c.p, c.overall, c.index, c.count);
        std::string out = cap.Stop();
        if (!c.head)
        {
            EXPECT_EQ(n, 0);
            EXPECT_EQ(out, "");
            continue;
        }
        EXPECT_EQ(out.rfind(c.head, 0), 0u) << out;
        EXPECT_EQ(out.size(), strlen(c.head) + strlen("  0:00:00 elapsed. \n")) << out;
    }
}

TEST_F(OutputTest, PercentOnOtherNodesOnlyInTens)
{
    static const char t[] = "nodes";
    new_title(t);
    g_nSize = 2;
    g_nNode = 1;
    u_Percent(15);
    u_Percent(20);
    std::string l = log(1);
    EXPECT_EQ(l.find(".. 15%"), std::string::npos);
    EXPECT_NE(l.find(".. 20% "), std::string::npos);
}

TEST_F(OutputTest, PercentMaster)
{
    struct Case
    {
        int total, done, shot, node;
        const char* head;
    } cases[] = {
        {10, 3, 2, 1, ".. 30% (shot #2 on node #1) - 3 of 10. "},
        {10, 3, 2, 0, ".. 30% - 3 of 10. "},
        {10, 3, 0, 4, ".. 30% - 3 of 10. "},
        {3, 2, 0, 0, ".. 66% - 2 of 3. "},
        {10, 11, 0, 0, ".. The end. - 11 of 10. "},
        {10, -1, 0, 0, "- -1 of 10. "},   // also restarts the clock
        {0, 1, 0, 0, "- 1 of 0. "},      // a zero total must not divide
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.head);
        basetest::StdoutCapture cap;
        u_Percent_master(c.total, c.done, c.shot, c.node);
        std::string out = cap.Stop();
        EXPECT_EQ(out.rfind(c.head, 0), 0u) << out;
        EXPECT_EQ(out.size(), strlen(c.head) + strlen("  0:00:00 elapsed. \n")) << out;
    }
}

TEST_F(OutputTest, PostponedErrors)
{
    basetest::StdoutCapture cap;
    u_Error_Postponed("first %d\n", 1);
    u_Error_Postponed("$%%<>%%$second\n");
    EXPECT_EQ(cap.Stop(), "");
    EXPECT_EQ(g_PostPonedError, "first 1\nsecond\n");

    g_IsTerminal = 1;
    basetest::StdoutCapture cap2;
    EXPECT_GT(u_Error_Now(), 0);
    EXPECT_EQ(u_Error_Now(), 0);   // emptied
    EXPECT_EQ(cap2.Stop(), ESC + "[0;93mfirst 1\nsecond\n" + ESC + "[0m");
    EXPECT_EQ(log(), "first 1\nsecond\n");

    u_Error_Postponed("dropped\n");
    u_Error_Reset();
    EXPECT_TRUE(g_PostPonedError.IsEmpty());
    basetest::StdoutCapture cap3;
    u_Error_Now();
    EXPECT_EQ(cap3.Stop(), "");
}
