// The few questions the run driver asks of the machine.
#include "run/OndexApp.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <unistd.h>

namespace
{
// The program's version: major, minor, release, build.
const char* const kAppVersion = "9, 0, 9, 0";
}

namespace os
{

std::vector<CString> m_arCUDA_Name;
std::vector<double> m_arCUDA_Memory;

int FormatVersionString(const char* pszRaw, CString& strVersion)
{
    int v[4] = {0, 0, 0, 0};
    const char* p = pszRaw ? pszRaw : "";
    for (int i = 0; i < 4 && p; ++i)
    {
        v[i] = atoi(p);
        p = strchr(p, ',');
        if (p)
            ++p;
    }
    if (v[0] < 1)
        return 1;   // no usable version: the caller's text stays as it was
    const int d = v[3];
    if (d == 0)
        strVersion.Format("version %d.%d.%d", v[0], v[1], v[2]);
    else if (d >= 1 && d <= 25)
        strVersion.Format("version %d.%d.%d%c", v[0], v[1], v[2], 'a' + d - 1);
    else if (d >= 26)
        strVersion.Format("version %d.%d.%d (rev. %d)", v[0], v[1], v[2], d);
    else
        // A negative build number is no release letter; show the plain form.
        strVersion.Format("version %d.%d.%d", v[0], v[1], v[2]);
    return 1;
}

int GetAppVersionString(CString& strVersion)
{
    return FormatVersionString(kAppVersion, strVersion);
}

int isApp64()
{
    return sizeof(void*) == 8 ? 1 : 0;
}

int GetCPUCount()
{
    return (int)sysconf(_SC_NPROCESSORS_ONLN);
}

int SecToString(double dSeconds, char* pszOut)
{
    const long w = (long)dSeconds;
    const long sec = w % 60;
    const long min = (w / 60) % 60;
    const long hrs = (w / 3600) % 24;
    const long days = w / 86400;
    if (days >= 1)
        return sprintf(pszOut, "%d days, %d:%d:%d", (int)days, (int)hrs, (int)min, (int)sec);
    if (hrs >= 1)
        return sprintf(pszOut, "%d:%d:%d", (int)hrs, (int)min, (int)sec);
    return sprintf(pszOut, "%02d:%02d", (int)min, (int)sec);
}

// Driver API probe, taken by name so that the program needs no CUDA library
// to load. Done once per process; the result is cached.
namespace
{
typedef int (*PFN_cuInit)(unsigned int);
typedef int (*PFN_cuDeviceGetCount)(int*);
typedef int (*PFN_cuDeviceGetName)(char*, int, int);
typedef int (*PFN_cuDeviceTotalMem)(size_t*, int);
void* s_hCuda = nullptr;
bool s_bProbed = false;
bool s_bResolved = false;
int s_nCount = 0;
}

int GetCUDADeviceCount()
{
    if (s_bProbed)
        return s_nCount;
    s_bProbed = true;
    s_nCount = 0;
    // The unversioned name is a development link; drivers install the .1.
    s_hCuda = dlopen("libcuda.so", RTLD_LAZY);
    if (!s_hCuda)
        s_hCuda = dlopen("libcuda.so.1", RTLD_LAZY);
    if (!s_hCuda)
        return 0;
    dlerror();
    PFN_cuInit pInit = (PFN_cuInit)dlsym(s_hCuda, "cuInit");
    PFN_cuDeviceTotalMem pMem = (PFN_cuDeviceTotalMem)dlsym(s_hCuda, "cuDeviceTotalMem_v2");
    if (!pMem)
        pMem = (PFN_cuDeviceTotalMem)dlsym(s_hCuda, "cuDeviceTotalMem");
    PFN_cuDeviceGetCount pCount = (PFN_cuDeviceGetCount)dlsym(s_hCuda, "cuDeviceGetCount");
    PFN_cuDeviceGetName pName = (PFN_cuDeviceGetName)dlsym(s_hCuda, "cuDeviceGetName");
    int nCount = 0;
    bool bOk = pInit && pMem && pCount && pName;
    if (bOk)
    {
        s_bResolved = true;
        bOk = pInit(0) == 0 && pCount(&nCount) == 0;
    }
    std::vector<CString> names;
    std::vector<double> mems;
    for (int i = 0; bOk && i < nCount; ++i)
    {
        size_t nBytes = 0;
        char szName[255] = {0};
        if (pMem(&nBytes, i) != 0 || pName(szName, sizeof(szName) - 1, i) != 0)
        {
            bOk = false;
            break;
        }
        CString s;
        s = szName;
        names.push_back(s);
        mems.push_back((double)nBytes * 9.5367431640625e-7);
    }
    dlclose(s_hCuda);
    s_hCuda = nullptr;
    if (!bOk)
        return 0;
    m_arCUDA_Name = names;
    m_arCUDA_Memory = mems;
    s_nCount = nCount;
    return s_nCount;
}

} // namespace os
