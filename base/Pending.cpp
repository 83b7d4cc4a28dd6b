#include "base/Pending.h"

#include <algorithm>

#include "base/Output.h"

namespace
{
// Filled during static initialisation, read after main has started.
std::vector<std::string>& Registry()
{
    static std::vector<std::string> v;
    return v;
}
} // namespace

CPendingName::CPendingName(const char* pszWhat)
{
    Registry().push_back(pszWhat);
}

int u_NotBuilt(const char* pszWhat)
{
    u_Error("Error! %s is not available yet in this build.\n", pszWhat);
    return kNotBuilt;
}

std::vector<std::string> PendingOperations()
{
    std::vector<std::string> v = Registry();
    std::sort(v.begin(), v.end());
    return v;
}
