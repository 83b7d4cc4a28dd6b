#pragma once
// Small reading helpers shared by the SdsPC scan, open and catalogue files.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

namespace sdsio
{

// Size of a file in bytes, 0 when unknown. Links are followed: a link to a
// data file must expect the traces of the data, not of the link itself.
inline int64_t FileSizeOf(const char* name)
{
    struct stat st;
    if (stat(name, &st) != 0) return 0;
    if (!S_ISREG(st.st_mode)) return 0;
    return (int64_t)st.st_size;
}

inline bool ReadExact(FILE* fp, void* buf, size_t n)
{
    return fread(buf, 1, n, fp) == n;
}

inline float F32At(const void* h, int off)
{
    float v;
    memcpy(&v, (const char*)h + off, 4);
    return v;
}

inline bool IsFiniteD(double v)
{
    return std::isfinite(v);
}

}  // namespace sdsio
