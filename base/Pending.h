#pragma once
// Operations this build does not have yet. Each is a stub in the file that
// will hold it and answers through u_NotBuilt: one "Error!" line naming the
// operation and the code kNotBuilt, so that a job never runs on without it.
// Every stub also registers its name at start-up (ONDEX_PENDING), so that one
// test can list exactly what is still missing.

#include <string>
#include <vector>

const int kNotBuilt = -200;

int u_NotBuilt(const char* pszWhat);

struct CPendingName
{
    explicit CPendingName(const char* pszWhat);
};

#define ONDEX_PENDING_CAT2(a, b) a##b
#define ONDEX_PENDING_CAT(a, b) ONDEX_PENDING_CAT2(a, b)
#define ONDEX_PENDING(what) static const CPendingName ONDEX_PENDING_CAT(s_pending_, __LINE__)(what)

// The registered names, sorted.
std::vector<std::string> PendingOperations();
