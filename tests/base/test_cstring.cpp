#include "base/CString.h"
#include "common/TestUtil.h"

#include <string>

namespace
{

std::string digits(size_t n)
{
    std::string s;
    for (size_t i = 0; i < n; i++)
        s += char('0' + i % 10);
    return s;
}

} // namespace

TEST(CStringTest, FormatIntoItself)
{
    // Short: fits the inline buffer, so it is the case where writing straight
    // into the target would overwrite the argument while it is read.
    CString a("abc");
    a.Format("%s-%s", (const char*)a, (const char*)a);
    EXPECT_EQ(a, "abc-abc");

    // Long heap string formatted into itself.
    std::string t = digits(300);
    CString b(t.c_str());
    b.Format("[%s]", (const char*)b);
    EXPECT_EQ(std::string((const char*)b), "[" + t + "]");

    CString c("xy");
    c.AppendFormat("%s%s", (const char*)c, (const char*)c);
    EXPECT_EQ(c, "xyxyxy");

    // Appending itself across the inline/heap boundary.
    std::string u = digits(200);
    CString d(u.c_str());
    d += d;
    EXPECT_EQ(std::string((const char*)d), u + u);
    d += (const char*)d + 390;
    EXPECT_EQ(std::string((const char*)d), u + u + u.substr(190));
}

TEST(CStringTest, SubstringsTable)
{
    const CString s("string2");
    struct Case { const char* what; CString got; const char* expected; } cases[] = {
        {"Mid(0,3)", s.Mid(0, 3), "str"},
        {"Mid(5,10) clamps", s.Mid(5, 10), "g2"},
        {"Mid(8,1) behind end", s.Mid(8, 1), ""},
        {"Mid(3,-1)", s.Mid(3, -1), ""},
        {"Mid(-1,2) from 0", s.Mid(-1, 2), "st"},
        {"Mid(3)", s.Mid(3), "ing2"},
        {"Left(3)", s.Left(3), "str"},
        {"Left(100)", s.Left(100), "string2"},
        {"Left(-2)", s.Left(-2), ""},
        {"Right(2)", s.Right(2), "g2"},
        {"Right(50)", s.Right(50), "string2"},
        {"Right(-1)", s.Right(-1), ""},
    };
    for (const Case& c : cases)
        EXPECT_STREQ((const char*)c.got, c.expected) << c.what;
}

TEST(CStringTest, FindTable)
{
    const CString s("abcabc");
    struct Case { const char* what; int got; int expected; } cases[] = {
        {"Find('a')", s.Find('a'), 0},
        {"Find('z')", s.Find('z'), -1},
        {"Find('\\0')", s.Find('\0'), -1},
        {"ReverseFind('a')", s.ReverseFind('a'), 3},
        {"ReverseFind('z')", s.ReverseFind('z'), -1},
        {"Find(\"bc\")", s.Find("bc"), 1},
        {"Find(\"abcabcd\")", s.Find("abcabcd"), -1},
        {"Find(\"cab\")", s.Find("cab"), 2},
        {"Find(\"\")", s.Find(""), 0},
        {"Find(null)", s.Find((const char*)nullptr), -1},
        {"empty Find('a')", CString().Find('a'), -1},
        {"empty Find(\"a\")", CString().Find("a"), -1},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.got, c.expected) << c.what;
}

TEST(CStringDeathTest, BrokenInvariantsStopWithTheirText)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    CString s("abc");
    EXPECT_DEATH(s.SetAt(3, 'x'), "nIndex<m_nStrSize");
    EXPECT_DEATH((void)s.GetAt(4), "ind<=m_nStrSize");
    EXPECT_DEATH(s.ReleaseBuffer(255), "nNewStrSize<m_nAllocSize");
}
