#include "base/CString.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

// Invariants of the class are programming faults: stop with the expression's
// text. Kept active in optimised builds too, since the checks are cheap.
#define CSTRING_ASSERT(cond, text)                                                        \
    do                                                                                    \
    {                                                                                     \
        if (!(cond))                                                                      \
        {                                                                                 \
            fprintf(stderr, "CString.cpp:%d: %s: Assertion `%s' failed.\n", __LINE__,     \
                    __func__, text);                                                      \
            abort();                                                                      \
        }                                                                                 \
    } while (0)

static const unsigned long INLINE_CAPACITY = 255;

static void AllocationError()
{
    fprintf(stderr, "CString: Allocation Error!\n");
    throw std::bad_alloc();
}

// printf into a new malloc block: first size the format's length plus 100,
// then 2 * size + 1 until the text fits. nLen receives the length.
static char* FormatToTemp(const char* fmt, va_list args, unsigned long& nLen)
{
    if (!fmt)
        fmt = "";
    size_t size = strlen(fmt) + 100;
    for (;;)
    {
        char* p = (char*)malloc(size);
        if (!p)
            AllocationError();
        va_list ap;
        va_copy(ap, args);
        int r = vsnprintf(p, size, fmt, ap);
        va_end(ap);
        if (r >= 0 && (size_t)r < size)
        {
            nLen = (unsigned long)r;
            return p;
        }
        free(p);
        // A format that can never be printed (vsnprintf keeps failing) would
        // otherwise grow without end: give an empty text past 256 MB.
        if (r < 0 && size > (size_t(1) << 28))
        {
            p = (char*)malloc(1);
            if (!p)
                AllocationError();
            p[0] = 0;
            nLen = 0;
            return p;
        }
        size = 2 * size + 1;
    }
}

CString::CString() : m_nStrSize(0), m_nAllocSize(INLINE_CAPACITY), m_lpszBuf(m_szBuf)
{
    m_szBuf[0] = 0;
}

CString::CString(const CString& str) : CString()
{
    CSTRING_ASSERT(str.m_lpszBuf != NULL, "str.m_lpszBuf!=(__null)");
    Assign(str.m_lpszBuf, str.m_nStrSize);
}

CString::CString(const char* psz) : CString()
{
    if (psz)
        Assign(psz, strlen(psz));
}

CString::CString(int, const char* fmt, ...) : CString()
{
    va_list args;
    va_start(args, fmt);
    FormatV(fmt, args);
    va_end(args);
}

CString::~CString()
{
    if (m_lpszBuf != m_szBuf)
        free(m_lpszBuf);
}

void CString::Empty()
{
    CSTRING_ASSERT(m_lpszBuf != NULL, "m_lpszBuf!=(__null)");
    if (m_lpszBuf != m_szBuf)
        free(m_lpszBuf);
    m_lpszBuf = m_szBuf;
    m_nAllocSize = INLINE_CAPACITY;
    m_nStrSize = 0;
    m_szBuf[0] = 0;
}

void CString::Grow(unsigned long n)
{
    CSTRING_ASSERT(m_lpszBuf != NULL, "m_lpszBuf!=(__null)");
    if (n <= m_nAllocSize)
        return;
    unsigned long nNew = n > INLINE_CAPACITY ? 2 * n + 1 : n;
    if (m_lpszBuf == m_szBuf)
    {
        char* p = (char*)malloc(nNew + 1);
        if (!p)
            AllocationError();
        memcpy(p, m_szBuf, m_nStrSize + 1);
        m_lpszBuf = p;
    }
    else
    {
        char* p = (char*)realloc(m_lpszBuf, nNew + 1);
        if (!p)
            AllocationError();
        m_lpszBuf = p;
    }
    m_nAllocSize = nNew;
}

void CString::Reserve(unsigned long n)
{
    CSTRING_ASSERT(m_lpszBuf != NULL, "m_lpszBuf!=(__null)");
    if (n > m_nAllocSize)
        Grow(n);
    if (n == 0)
    {
        m_nStrSize = 0;
        m_lpszBuf[0] = 0;
    }
    else if (n <= m_nStrSize)
    {
        m_nStrSize = n - 1;
        m_lpszBuf[m_nStrSize] = 0;
    }
}

char* CString::GetBuffer(unsigned long n)
{
    // ReleaseBuffer wants the length below the capacity, so keep one spare.
    if (n + 1 > m_nAllocSize)
        Grow(n + 1);
    return m_lpszBuf;
}

void CString::ReleaseBuffer(unsigned long n)
{
    CSTRING_ASSERT(m_lpszBuf != NULL, "m_lpszBuf!=(__null)");
    if (n == ~0UL)
    {
        m_lpszBuf[m_nAllocSize] = 0;   // the block always has capacity + 1 bytes
        n = strlen(m_lpszBuf);
        if (n >= m_nAllocSize)
            n = m_nAllocSize - 1;
    }
    unsigned long nNewStrSize = n;
    CSTRING_ASSERT(nNewStrSize < m_nAllocSize, "nNewStrSize<m_nAllocSize");
    m_nStrSize = nNewStrSize;
    m_lpszBuf[m_nStrSize] = 0;
}

// p may point into this string's own text: then n <= m_nStrSize and no
// growth happens, so memmove is enough.
void CString::Assign(const char* p, unsigned long n)
{
    Grow(n);
    if (n)
        memmove(m_lpszBuf, p, n);
    m_nStrSize = n;
    m_lpszBuf[n] = 0;
}

void CString::Append(const char* p, unsigned long n)
{
    if (!p || !n)
        return;
    // Appending a piece of itself: the block may move on growth.
    bool bSelf = p >= m_lpszBuf && p <= m_lpszBuf + m_nStrSize;
    size_t off = bSelf ? (size_t)(p - m_lpszBuf) : 0;
    Grow(m_nStrSize + n);
    if (bSelf)
        p = m_lpszBuf + off;
    memmove(m_lpszBuf + m_nStrSize, p, n);
    m_nStrSize += n;
    m_lpszBuf[m_nStrSize] = 0;
}

CString& CString::operator=(const CString& str)
{
    CSTRING_ASSERT(str.m_lpszBuf != NULL, "str.m_lpszBuf!=(__null)");
    if (this != &str)
        Assign(str.m_lpszBuf, str.m_nStrSize);
    return *this;
}

CString& CString::operator=(const char* psz)
{
    if (!psz)
        Empty();
    else
        Assign(psz, strlen(psz));
    return *this;
}

CString CString::operator+(const CString& string) const
{
    CSTRING_ASSERT(string.m_lpszBuf != NULL, "string.m_lpszBuf!=(__null)");
    CString r;
    r.Grow(m_nStrSize + string.m_nStrSize);
    r.Assign(m_lpszBuf, m_nStrSize);
    r.Append(string.m_lpszBuf, string.m_nStrSize);
    return r;
}

CString CString::operator+(const char* psz) const
{
    CString r(*this);
    r += psz;
    return r;
}

CString operator+(const char* psz, const CString& str)
{
    CString r(psz);
    r += str;
    return r;
}

CString& CString::operator+=(const CString& str)
{
    CSTRING_ASSERT(str.m_lpszBuf != NULL, "str.m_lpszBuf!=(__null)");
    Append(str.m_lpszBuf, str.m_nStrSize);
    return *this;
}

CString& CString::operator+=(const char* psz)
{
    if (psz)
        Append(psz, strlen(psz));
    return *this;
}

CString& CString::operator+=(char c)
{
    if (c)
        Append(&c, 1);
    return *this;
}

bool CString::operator==(const char* psz) const
{
    if (!psz)
        psz = "";
    size_t n = strlen(psz);
    return n == m_nStrSize && memcmp(m_lpszBuf, psz, n) == 0;
}

bool CString::operator==(const CString& str) const
{
    return str.m_nStrSize == m_nStrSize && memcmp(m_lpszBuf, str.m_lpszBuf, m_nStrSize) == 0;
}

char CString::GetAt(unsigned long ind) const
{
    CSTRING_ASSERT(ind <= m_nStrSize, "ind<=m_nStrSize");
    return m_lpszBuf[ind];
}

void CString::SetAt(unsigned long nIndex, char c)
{
    CSTRING_ASSERT(nIndex < m_nStrSize, "nIndex<m_nStrSize");
    m_lpszBuf[nIndex] = c;
    if (c == 0)
        m_nStrSize = nIndex;
}

CString CString::Left(int n) const
{
    CString r;
    if (n <= 0)
        return r;
    unsigned long k = (unsigned long)n < m_nStrSize ? (unsigned long)n : m_nStrSize;
    r.Assign(m_lpszBuf, k);
    return r;
}

CString CString::Right(int n) const
{
    CString r;
    if (n <= 0)
        return r;
    unsigned long k = (unsigned long)n < m_nStrSize ? (unsigned long)n : m_nStrSize;
    r.Assign(m_lpszBuf + (m_nStrSize - k), k);
    return r;
}

// A negative start counts as 0, a negative count as 0.
CString CString::Mid(int nFirst, int nCount) const
{
    CString r;
    if (nFirst < 0)
        nFirst = 0;
    if (nCount <= 0 || (unsigned long)nFirst >= m_nStrSize)
        return r;
    unsigned long nRest = m_nStrSize - (unsigned long)nFirst;
    unsigned long k = (unsigned long)nCount < nRest ? (unsigned long)nCount : nRest;
    r.Assign(m_lpszBuf + nFirst, k);
    return r;
}

CString CString::Mid(int nFirst) const
{
    if (nFirst < 0)
        nFirst = 0;
    if ((unsigned long)nFirst >= m_nStrSize)
        return CString();
    return Mid(nFirst, (int)(m_nStrSize - (unsigned long)nFirst));
}

int CString::Find(char c) const
{
    const void* p = memchr(m_lpszBuf, c, m_nStrSize);
    return p ? (int)((const char*)p - m_lpszBuf) : -1;
}

// A null pattern is found nowhere; an empty one at 0.
int CString::Find(const char* psz) const
{
    if (!psz)
        return -1;
    const char* p = strstr(m_lpszBuf, psz);
    return p ? (int)(p - m_lpszBuf) : -1;
}

int CString::ReverseFind(char c) const
{
    for (unsigned long i = m_nStrSize; i > 0; --i)
        if (m_lpszBuf[i - 1] == c)
            return (int)(i - 1);
    return -1;
}

// Always formats into a temporary block first: an argument may be this very
// string, and the target must not change before the text is complete.
int CString::FormatV(const char* fmt, va_list args)
{
    unsigned long n = 0;
    char* p = FormatToTemp(fmt, args, n);
    Reserve(n);
    Assign(p, n);
    free(p);
    return (int)n;
}

int CString::Format(const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    int n = FormatV(fmt, args);
    va_end(args);
    return n;
}

int CString::AppendFormatV(const char* fmt, va_list args)
{
    unsigned long n = 0;
    char* p = FormatToTemp(fmt, args, n);
    try
    {
        Append(p, n);
    }
    catch (...)
    {
        free(p);
        throw;
    }
    free(p);
    return (int)n;
}

int CString::AppendFormat(const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    int n = AppendFormatV(fmt, args);
    va_end(args);
    return n;
}

// ------------------------------------------------------------------ self-test

#define SELFTEST_CHECK(expr)                                                              \
    do                                                                                    \
    {                                                                                     \
        if (!(expr))                                                                      \
        {                                                                                 \
            printf("CString self-test failed (%s) at %s:%d\n", #expr, "CString.cpp",     \
                   __LINE__);                                                             \
            bOk = false;                                                                  \
        }                                                                                 \
    } while (0)

bool CString_SelfTest()
{
    bool bOk = true;

    CString a, b;
    SELFTEST_CHECK(a == b);
    SELFTEST_CHECK(a == "");
    SELFTEST_CHECK(b == "");

    a += "string";
    b = a + "2";
    SELFTEST_CHECK(a == "string");
    SELFTEST_CHECK(b == "string2");

    const char* psz = a;
    SELFTEST_CHECK(strcmp(psz, "string") == 0);

    SELFTEST_CHECK(b.Find('2') == 6);
    SELFTEST_CHECK(b.Find('3') == -1);

    SELFTEST_CHECK(b.ReverseFind('2') == 6);
    SELFTEST_CHECK(b.ReverseFind('i') == 3);
    SELFTEST_CHECK(b.ReverseFind('Z') == -1);

    SELFTEST_CHECK(b.Find("Z") == -1);
    SELFTEST_CHECK(b.Find("g2") == 5);

    a = "0123456789012345678901234567890123456789012345678901234567890123456789"
        "012345678901234567890123456789";
    a = a + a + a + a + a;
    a.Format("x = %s\n", (const char*)a);
    SELFTEST_CHECK(a.GetLength() == 505);

    b = a.Mid(500, a.GetLength() - 500);
    SELFTEST_CHECK(b.GetLength() == 5);

    SELFTEST_CHECK(CString(0, "MyTest=%d, %.1f", 10, 20.1) == "MyTest=10, 20.1");

    a = "2.15000";
    while (a.GetLength() > 0 && a[a.GetLength() - 1] == '0')
        a.SetAt(a.GetLength() - 1, 0);
    a += "f";
    SELFTEST_CHECK(a == "2.15f");

    a.AppendFormat(", %g", 3.14);
    SELFTEST_CHECK(a == "2.15f, 3.14");

    return bOk;
}
