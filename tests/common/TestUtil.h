// Small file helpers shared by the test programs.
#pragma once

#include <sys/stat.h>

#include <cstdio>
#include <string>

namespace testutil
{

// The whole file; empty when it cannot be read.
inline std::string ReadFile(const std::string& name)
{
    std::string s;
    FILE* f = fopen(name.c_str(), "rb");
    if (!f)
        return s;
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof(buf), f)) > 0)
        s.append(buf, n);
    fclose(f);
    return s;
}

inline bool FileExists(const std::string& name)
{
    struct stat st;
    return stat(name.c_str(), &st) == 0;
}

}  // namespace testutil
