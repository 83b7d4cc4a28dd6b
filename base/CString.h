// CString: the system's owning string with a 255-character buffer inside the
// object, growing on the heap, and printf-style formatting.
#ifndef ONDEX_BASE_CSTRING_H
#define ONDEX_BASE_CSTRING_H

#include <cstdarg>
#include <cstddef>
#include <type_traits>

class CString
{
public:
    CString();
    CString(const CString& str);
    CString(const char* psz);   // a null pointer gives the empty string
    // Built like Format; the int only selects this constructor.
    CString(int, const char* fmt, ...) __attribute__((format(printf, 3, 4)));
    ~CString();

    CString& operator=(const CString& str);
    CString& operator=(const char* psz);   // a null pointer empties the string

    CString operator+(const CString& str) const;
    CString operator+(const char* psz) const;
    friend CString operator+(const char* psz, const CString& str);

    CString& operator+=(const CString& str);
    CString& operator+=(const char* psz);
    CString& operator+=(char c);

    bool operator==(const char* psz) const;
    bool operator==(const CString& str) const;
    bool operator!=(const char* psz) const { return !(*this == psz); }
    bool operator!=(const CString& str) const { return !(*this == str); }
    friend bool operator==(const char* psz, const CString& str) { return str == psz; }
    friend bool operator!=(const char* psz, const CString& str) { return !(str == psz); }

    operator const char*() const { return m_lpszBuf; }
    const char* c_str() const { return m_lpszBuf; }

    int GetLength() const { return (int)m_nStrSize; }
    bool IsEmpty() const { return m_nStrSize == 0; }
    unsigned long GetAllocSize() const { return m_nAllocSize; }
    void Empty();

    // i must not exceed the length (the terminating NUL may be read).
    char GetAt(unsigned long i) const;
    // One template so that any integer index is an exact match and no
    // ambiguity with the built-in subscript through operator const char* arises.
    template <class I, class = typename std::enable_if<std::is_integral<I>::value>::type>
    char operator[](I i) const { return GetAt((unsigned long)i); }
    // i must be below the length; a NUL shortens the string to i.
    void SetAt(unsigned long i, char c);

    CString Left(int n) const;
    CString Right(int n) const;
    CString Mid(int nFirst, int nCount) const;
    CString Mid(int nFirst) const;

    int Find(char c) const;
    int Find(const char* psz) const;
    int ReverseFind(char c) const;

    int Format(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
    int FormatV(const char* fmt, va_list args);
    int AppendFormat(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
    int AppendFormatV(const char* fmt, va_list args);

    // Above the capacity: grow (2n + 1 above 255). 0: length 0. At or below
    // the length: cut to n - 1 characters.
    void Reserve(unsigned long n);
    // Room for at least n characters, the text kept; for writing directly
    // into the buffer, followed by ReleaseBuffer.
    char* GetBuffer(unsigned long n);
    // Sets the length after the buffer was written directly; n < capacity.
    // Without n the length runs up to the first NUL.
    void ReleaseBuffer(unsigned long n = ~0UL);

private:
    void Grow(unsigned long n);   // capacity for n characters, text kept
    void Assign(const char* p, unsigned long n);
    void Append(const char* p, unsigned long n);

    unsigned long m_nStrSize;    // length without the NUL
    unsigned long m_nAllocSize;  // capacity: 255 inline, above 255 on the heap
    char* m_lpszBuf;             // never null
    char m_szBuf[256];
};

// Checks the semantics the rest of the system relies on; prints each failed
// check and answers false when any failed.
bool CString_SelfTest();

#endif
