// The job file reader: how lines are kept and how a key is looked up.
#include <cstring>
#include <string>
#include <vector>

#include "RunTestUtil.h"
#include "run/TaskFile.h"

namespace
{
class TaskFile : public RunTempDir
{
protected:
    std::vector<CString> Load(const std::string& text)
    {
        WriteFile("runtask.ini", text);
        std::vector<CString> lines;
        EXPECT_TRUE(read_task_file("runtask.ini", lines));
        return lines;
    }
};

struct LineCase
{
    const char* name;
    std::string text;
    std::vector<std::string> kept;
};

TEST_F(TaskFile, LinesKeptAsTheReaderSeesThem)
{
    const std::string longLine = "K = " + std::string(296, 'x');   // 300 characters
    const LineCase cases[] = {
        {"trailing blanks and CR go", "[S]  \r\nK = 5\t \r\n", {"[S]", "K = 5"}},
        {"cut at first semicolon, blanks before it stay", "K = 3D Acoustic ; comment\n", {"K = 3D Acoustic "}},
        {"semicolon inside a value", "File = a;b.sgy\n", {"File = a"}},
        {"comment-only and empty lines dropped", "; note\n\n   \n#K = 1\nA=1\n", {"A=1"}},
        {"indented hash is kept", "  #K = 1\n", {"  #K = 1"}},
        {"indentation is kept", "   Debug = 1\n", {"   Debug = 1"}},
        {"line of 300 characters is split", longLine + "\n",
         {longLine.substr(0, 255), longLine.substr(255)}},
        {"control characters at the end go", std::string("A = 1\x01\x1f\n"), {"A = 1"}},
        {"no newline at the end of the file", "[S]\nK = 2", {"[S]", "K = 2"}},
    };
    for (const LineCase& c : cases)
    {
        SCOPED_TRACE(c.name);
        std::vector<CString> lines = Load(c.text);
        ASSERT_EQ(lines.size(), c.kept.size());
        for (size_t i = 0; i < lines.size(); ++i)
            EXPECT_EQ(std::string((const char*)lines[i]), c.kept[i]);
    }
}

TEST_F(TaskFile, MissingFileIsReportedAndLeavesLines)
{
    std::vector<CString> lines;
    EXPECT_FALSE(read_task_file("no-such-file.ini", lines));
    EXPECT_TRUE(lines.empty());
    EXPECT_FALSE(read_task_file(nullptr, lines));
}

struct LookupCase
{
    const char* name;
    std::string text;
    const char* section;
    const char* key;
    int result;
    std::string value;     // string value when result is 0
    size_t linesAfter;     // lines left in the vector
};

TEST_F(TaskFile, LookupRules)
{
    const LookupCase cases[] = {
        {"plain", "[S]\nK = 5\n", "[S]", "K", 0, "5", 1},
        {"no blanks around =", "[S]\nK=5\n", "[S]", "K", 0, "5", 1},
        {"leading control characters of the value skipped", "[S]\nK =\t  7\n", "[S]", "K", 0, "7", 1},
        {"comment after value keeps blank", "[S]\nK = 3D Acoustic ; c\n", "[S]", "K", 0, "3D Acoustic ", 1},
        {"empty value", "[S]\nK =\n", "[S]", "K", 0, "", 1},
        {"indented key is not found", "[S]\n  K = 1\n", "[S]", "K", 1, "", 2},
        {"key is a prefix of a longer word", "[S]\nKeyLonger = 3\n", "[S]", "Key", 0, "3", 1},
        {"line without = passed over, next one wins", "[S]\nKey\nKey = 4\n", "[S]", "Key", 0, "4", 2},
        {"key line without = only", "[S]\nK 5\n", "[S]", "K", 1, "", 2},
        {"first of two equal keys wins", "[S]\nK = 1\nK = 2\n", "[S]", "K", 0, "1", 2},
        {"adjacent duplicate sections are one", "[S]\nA = 1\n[S]\nK = 2\n", "[S]", "K", 0, "2", 3},
        {"separated duplicate section unreachable", "[S]\nA = 1\n[T]\nB = 1\n[S]\nK = 2\n", "[S]", "K", 1, "", 6},
        {"key of another section", "[T]\nK = 1\n[S]\nA = 1\n", "[S]", "K", 1, "", 4},
        {"section absent", "[T]\nK = 1\n", "[S]", "K", 2, "", 2},
        {"empty file", "", "[S]", "K", 2, "", 0},
        {"header with comment still a header", "[Source] ; main\nK = 1\n", "[Source]", "K", 0, "1", 1},
        {"section compared over its own length", "[Sources]\nK = 1\n", "[Source", "K", 0, "1", 1},
        {"case matters", "[S]\nk = 1\n", "[S]", "K", 1, "", 2},
        {"section case matters", "[s]\nK = 1\n", "[S]", "K", 2, "", 2},
        {"= far behind the key", "[S]\nK and more words = 9\n", "[S]", "K", 0, "9", 1},
        {"unbracketed line ends nothing", "[S]\nA = 1\nB = 2\nK = 3\n", "[S]", "K", 0, "3", 3},
        {"any [ ends the section", "[S]\n[broken\nK = 3\n", "[S]", "K", 1, "", 3},
    };
    for (const LookupCase& c : cases)
    {
        SCOPED_TRACE(c.name);
        std::vector<CString> lines = Load(c.text);
        char buf[256];
        strcpy(buf, "untouched");
        EXPECT_EQ(get_parameter_string(lines, c.section, c.key, buf, sizeof(buf)), c.result);
        if (c.result == 0)
        {
            EXPECT_EQ(std::string(buf), c.value);
        }
        else
        {
            EXPECT_STREQ(buf, "untouched");
        }
        EXPECT_EQ(lines.size(), c.linesAfter);
    }
}

TEST_F(TaskFile, ReadingConsumesTheLine)
{
    std::vector<CString> lines = Load("[S]\nK = 1\nK = 2\n");
    int v = 0;
    EXPECT_EQ(get_parameter_int(lines, "[S]", "K", &v), 0);
    EXPECT_EQ(v, 1);
    EXPECT_EQ(get_parameter_int(lines, "[S]", "K", &v), 0);
    EXPECT_EQ(v, 2);
    EXPECT_EQ(get_parameter_int(lines, "[S]", "K", &v), 1);
    EXPECT_EQ(v, 2);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_STREQ((const char*)lines[0], "[S]");
}

struct BoolCase
{
    const char* value;
    bool expected;
};

TEST_F(TaskFile, BoolIsAtoiNotZero)
{
    const BoolCase cases[] = {
        {"1", true}, {"0", false}, {"yes", false}, {"true", false}, {"TRUE", false},
        {"2", true}, {"-1", true}, {"1 ; on", true}, {"", false}, {" 1", true},
    };
    for (const BoolCase& c : cases)
    {
        SCOPED_TRACE(c.value);
        std::vector<CString> lines = Load(std::string("[S]\nB = ") + c.value + "\n");
        bool b = !c.expected;
        EXPECT_EQ(get_parameter_bool(lines, "[S]", "B", &b), 0);
        EXPECT_EQ(b, c.expected);
    }
}

TEST_F(TaskFile, NumericConversions)
{
    std::vector<CString> lines = Load("[N]\nI = 42abc\nD = 0.0025\nF = 1e-3\nNeg = -7\nBad = abc\n");
    int i = -1;
    double d = -1.0;
    float f = -1.0f;
    int neg = 0;
    int bad = -1;
    EXPECT_EQ(get_parameter_int(lines, "[N]", "I", &i), 0);
    EXPECT_EQ(i, 42);
    EXPECT_EQ(get_parameter_double(lines, "[N]", "D", &d), 0);
    EXPECT_DOUBLE_EQ(d, 0.0025);
    EXPECT_EQ(get_parameter_float(lines, "[N]", "F", &f), 0);
    EXPECT_FLOAT_EQ(f, 0.001f);
    EXPECT_EQ(get_parameter_int(lines, "[N]", "Neg", &neg), 0);
    EXPECT_EQ(neg, -7);
    EXPECT_EQ(get_parameter_int(lines, "[N]", "Bad", &bad), 0);
    EXPECT_EQ(bad, 0);
    // Absent keys leave the place untouched, whatever the type.
    EXPECT_EQ(get_parameter_double(lines, "[N]", "None", &d), 1);
    EXPECT_DOUBLE_EQ(d, 0.0025);
    EXPECT_EQ(get_parameter_float(lines, "[X]", "None", &f), 2);
    EXPECT_FLOAT_EQ(f, 0.001f);
}

TEST_F(TaskFile, StringIsCutToTheBuffer)
{
    std::vector<CString> lines = Load("[S]\nK = abcdef\nL = xyz\n");
    char buf[4];
    EXPECT_EQ(get_parameter_string(lines, "[S]", "K", buf, sizeof(buf)), 0);
    EXPECT_STREQ(buf, "abc");
    char one[1] = {'q'};
    EXPECT_EQ(get_parameter_string(lines, "[S]", "L", one, 1), 0);
    EXPECT_EQ(one[0], '\0');
}

TEST_F(TaskFile, LongLineValueAndRemainder)
{
    const std::string value(296, 'v');
    std::vector<CString> lines = Load("[S]\nK = " + value + "\n");
    ASSERT_EQ(lines.size(), 3u);
    char buf[512];
    EXPECT_EQ(get_parameter_string(lines, "[S]", "K", buf, sizeof(buf)), 0);
    EXPECT_EQ(std::string(buf), value.substr(0, 251));
    // The rest of the line became a key line of its own.
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(std::string((const char*)lines[1]), value.substr(251));
}

TEST_F(TaskFile, DigitsCutByTheRecordLimit)
{
    // A value whose digits reach past the first record: the rest is another line.
    const std::string digits = std::string(250, '0') + "123456789";
    std::vector<CString> lines = Load("[S]\nK = " + digits + "\n");
    int v = -1;
    EXPECT_EQ(get_parameter_int(lines, "[S]", "K", &v), 0);
    EXPECT_EQ(v, 1);   // "000...0" + "1" fits in the first 255 characters of the record
}

TEST_F(TaskFile, AbsenceMessagesInTheLog)
{
    ClearLog();
    std::vector<CString> lines = Load("[Source]\nType = 1\n");
    int v = 0;
    EXPECT_EQ(get_parameter_int(lines, "[Source]", "Frequency", &v), 1);
    EXPECT_EQ(get_parameter_int(lines, "[Mesh]", "dx", &v), 2);
    EXPECT_EQ(get_parameter_int(lines, "[Source]", "Type", &v), 0);
    const std::string log = Log();
    EXPECT_NE(log.find("Parameter '[Source]\\Frequency' isn't found in the 'runtask.ini' file.\n"), std::string::npos)
        << log;
    EXPECT_NE(log.find("Section '[Mesh]\\dx' isn't found in the 'runtask.ini' file.\n"), std::string::npos) << log;
    EXPECT_EQ(log.find("Type"), std::string::npos) << "a found key prints nothing";
}

TEST_F(TaskFile, NullArgumentsDoNotCrash)
{
    std::vector<CString> lines = Load("[S]\nK = 1\n");
    int v = 5;
    EXPECT_EQ(get_parameter_int(lines, nullptr, "K", &v), 2);
    EXPECT_EQ(get_parameter_int(lines, "[S]", nullptr, &v), 2);
    EXPECT_EQ(v, 5);
    EXPECT_EQ(get_parameter_int(lines, "[S]", "K", nullptr), 0);
    EXPECT_EQ(lines.size(), 1u);
}
} // namespace
