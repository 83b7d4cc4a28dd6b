#include "base/CString.h"
#include "base_test_util.h"

#include <cstring>
#include <string>

namespace
{

bool is_inline(const CString& s)
{
    const char* p = s;
    const char* o = reinterpret_cast<const char*>(&s);
    return p >= o && p < o + sizeof(CString);
}

std::string digits(size_t n)
{
    std::string s;
    for (size_t i = 0; i < n; i++)
        s += char('0' + i % 10);
    return s;
}

} // namespace

TEST(CStringTest, SelfTestPassesSilently)
{
    basetest::StdoutCapture cap;
    bool ok = CString_SelfTest();
    std::string out = cap.Stop();
    EXPECT_TRUE(ok);
    EXPECT_EQ(out, "");
}

TEST(CStringTest, ReserveRules)
{
    CString e;   // a new string is empty and inline
    EXPECT_EQ(e.GetLength(), 0);
    EXPECT_EQ(e.GetAllocSize(), 255u);
    EXPECT_TRUE(is_inline(e));
    EXPECT_STREQ((const char*)e, "");

    std::string t = digits(255);
    CString s(t.c_str());
    EXPECT_EQ(s.GetLength(), 255);
    EXPECT_EQ(s.GetAllocSize(), 255u);
    EXPECT_TRUE(is_inline(s));

    s.Reserve(256);
    EXPECT_EQ(s.GetAllocSize(), 513u);
    EXPECT_FALSE(is_inline(s));
    EXPECT_EQ(std::string((const char*)s), t);

    // Growing a heap string keeps the text.
    s.Reserve(600);
    EXPECT_EQ(s.GetAllocSize(), 1201u);
    EXPECT_EQ(std::string((const char*)s), t);

    // Below the capacity and above the length: nothing changes.
    s.Reserve(400);
    EXPECT_EQ(s.GetAllocSize(), 1201u);
    EXPECT_EQ(s.GetLength(), 255);

    // At or below the length: cut to n - 1 characters.
    s.Reserve(10);
    EXPECT_EQ(std::string((const char*)s), t.substr(0, 9));
    s.Reserve(1);
    EXPECT_TRUE(s.IsEmpty());
    EXPECT_STREQ((const char*)s, "");

    CString h("hello");
    h.Reserve(0);
    EXPECT_TRUE(h.IsEmpty());
    h = "hello";
    h.Reserve(5);
    EXPECT_EQ(h, "hell");

    // Empty returns a heap string to the object.
    s = t.c_str();
    s.Empty();
    EXPECT_EQ(s.GetAllocSize(), 255u);
    EXPECT_TRUE(is_inline(s));
    EXPECT_TRUE(s.IsEmpty());
}

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

TEST(CStringTest, FormatGrowsAndConstructs)
{
    CString s;
    EXPECT_EQ(s.Format("%0300d", 7), 300);
    EXPECT_EQ(s.GetLength(), 300);
    EXPECT_EQ(s.GetAt(299), '7');
    EXPECT_EQ(s.GetAt(0), '0');

    std::string big(5000, 'q');
    s.Format("<%s>", big.c_str());
    EXPECT_EQ(std::string((const char*)s), "<" + big + ">");

    CString c(0, "%d-%s", 42, big.c_str());
    EXPECT_EQ(c.GetLength(), 5003);
    EXPECT_EQ(c.Left(3), "42-");

    s = "a";
    s.AppendFormat("%s", big.c_str());
    EXPECT_EQ(s.GetLength(), 5001);
    EXPECT_EQ(s.GetAt(5001), '\0');
}

TEST(CStringTest, SubstringsTable)
{
    const CString s("string2");
    struct Case
    {
        const char* what;
        CString got;
        const char* expected;
    } cases[] = {
        {"Mid(0,3)", s.Mid(0, 3), "str"},
        {"Mid(5,10) clamps", s.Mid(5, 10), "g2"},
        {"Mid(6,1)", s.Mid(6, 1), "2"},
        {"Mid(7,1) at end", s.Mid(7, 1), ""},
        {"Mid(8,1) behind end", s.Mid(8, 1), ""},
        {"Mid(2,0)", s.Mid(2, 0), ""},
        {"Mid(3,-1)", s.Mid(3, -1), ""},
        {"Mid(-1,2) from 0", s.Mid(-1, 2), "st"},
        {"Mid(3)", s.Mid(3), "ing2"},
        {"Mid(7)", s.Mid(7), ""},
        {"Left(0)", s.Left(0), ""},
        {"Left(3)", s.Left(3), "str"},
        {"Left(7)", s.Left(7), "string2"},
        {"Left(100)", s.Left(100), "string2"},
        {"Left(-2)", s.Left(-2), ""},
        {"Right(0)", s.Right(0), ""},
        {"Right(2)", s.Right(2), "g2"},
        {"Right(7)", s.Right(7), "string2"},
        {"Right(50)", s.Right(50), "string2"},
        {"Right(-1)", s.Right(-1), ""},
    };
    for (const Case& c : cases)
        EXPECT_STREQ((const char*)c.got, c.expected) << c.what;
}

TEST(CStringTest, FindTable)
{
    const CString s("abcabc");
    struct Case
    {
        const char* what;
        int got;
        int expected;
    } cases[] = {
        {"Find('a')", s.Find('a'), 0},
        {"Find('c')", s.Find('c'), 2},
        {"Find('z')", s.Find('z'), -1},
        {"Find('\\0')", s.Find('\0'), -1},
        {"ReverseFind('a')", s.ReverseFind('a'), 3},
        {"ReverseFind('c')", s.ReverseFind('c'), 5},
        {"ReverseFind('z')", s.ReverseFind('z'), -1},
        {"Find(\"bc\")", s.Find("bc"), 1},
        {"Find(\"abcabc\")", s.Find("abcabc"), 0},
        {"Find(\"abcabcd\")", s.Find("abcabcd"), -1},
        {"Find(\"cab\")", s.Find("cab"), 2},
        {"Find(\"\")", s.Find(""), 0},
        {"Find(null)", s.Find((const char*)nullptr), -1},
        {"empty Find('a')", CString().Find('a'), -1},
        {"empty ReverseFind('a')", CString().ReverseFind('a'), -1},
        {"empty Find(\"a\")", CString().Find("a"), -1},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.got, c.expected) << c.what;
}

TEST(CStringTest, AssignAppendCompare)
{
    CString a("text");
    a = (const char*)nullptr;
    EXPECT_TRUE(a.IsEmpty());

    a = "abc";
    a += (const char*)nullptr;
    a += "";
    a += CString();
    EXPECT_EQ(a, "abc");
    a += 'd';
    EXPECT_EQ(a, "abcd");

    // Length decides first: a prefix is not equal.
    EXPECT_TRUE(a != "abc");
    EXPECT_TRUE(a != "abcde");
    EXPECT_TRUE(a == CString("abcd"));
    EXPECT_TRUE("abcd" == a);

    // Equal texts with different capacities compare equal.
    CString big(digits(400).c_str());
    big.Reserve(5);
    EXPECT_EQ(big, "0123");
    EXPECT_GT(big.GetAllocSize(), 255u);
    EXPECT_TRUE(big == CString("0123"));

    // A copy of a heap string is independent.
    CString h(digits(300).c_str());
    CString k(h);
    k.SetAt(0, 'X');
    EXPECT_EQ(h.GetAt(0), '0');
    EXPECT_EQ(k.GetAt(0), 'X');

    CString sum = CString("ab") + "cd";
    EXPECT_EQ(sum, "abcd");
    EXPECT_EQ("x" + sum, "xabcd");
}

TEST(CStringTest, SetAtAndBuffer)
{
    CString s("hello");
    s.SetAt(1, 'a');
    EXPECT_EQ(s, "hallo");
    s.SetAt(2, '\0');
    EXPECT_EQ(s.GetLength(), 2);
    EXPECT_EQ(s, "ha");
    EXPECT_EQ(s.GetAt(2), '\0');
    EXPECT_EQ(s[1], 'a');
    EXPECT_EQ(s[size_t(0)], 'h');

    char* p = s.GetBuffer(300);
    memset(p, 'z', 300);
    s.ReleaseBuffer(300);
    EXPECT_EQ(s.GetLength(), 300);
    EXPECT_LT(300u, s.GetAllocSize());

    p = s.GetBuffer(10);
    strcpy(p, "short");
    s.ReleaseBuffer();
    EXPECT_EQ(s, "short");
}

TEST(CStringDeathTest, BrokenInvariantsStopWithTheirText)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    CString s("abc");
    EXPECT_DEATH(s.SetAt(3, 'x'), "nIndex<m_nStrSize");
    EXPECT_DEATH((void)s.GetAt(4), "ind<=m_nStrSize");
    EXPECT_DEATH(s.ReleaseBuffer(255), "nNewStrSize<m_nAllocSize");
}
