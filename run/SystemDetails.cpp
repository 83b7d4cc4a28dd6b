// Node inventory for the log of a Debug run: a diagnostic aid for clusters
// whose nodes differ.
#include <cstdio>
#include <sys/sysinfo.h>
#include <unistd.h>

#include "base/Output.h"
#include "run/OndexApp.h"

namespace
{
// Prints a title and up to nMaxLines lines (all when negative) of a stream.
void print_lines(FILE* f, const char* pszTitle, int nMaxLines)
{
    u_Print("%s", pszTitle);
    char line[255];
    for (int n = 0; (nMaxLines < 0 || n < nMaxLines) && fgets(line, sizeof(line), f); ++n)
        u_Print("%s", line);
}

void print_file(const char* pszPath, const char* pszTitle, int nMaxLines)
{
    FILE* f = fopen(pszPath, "rt");
    if (!f)
        return;
    print_lines(f, pszTitle, nMaxLines);
    fclose(f);
}

void print_command(const char* pszProgram, const char* pszCommand, const char* pszTitle)
{
    // A missing program loses only its own section (popen itself would
    // succeed and hand back the shell's complaint).
    if (access(pszProgram, X_OK) != 0)
        return;
    FILE* f = popen(pszCommand, "r");
    if (!f)
        return;
    print_lines(f, pszTitle, -1);
    pclose(f);
}
} // namespace

void PrintSystemDetails()
{
    u_Print("------------------------ Node System Information ----------------------\n");
    const int nCPUs = get_nprocs();
    char szHost[256];
    if (gethostname(szHost, sizeof(szHost)) == 0)
    {
        szHost[sizeof(szHost) - 1] = '\0';
        u_Print("Process %d of %d (Rank=#%d, Hostname \"%s\"), CPUs=%d\n", g_nNode + 1, g_nSize, g_nNode, szHost,
                nCPUs);
    }
    struct sysinfo si;
    if (sysinfo(&si) == 0)
    {
        const double unit = (double)si.mem_unit / 1048576.0;
        const double total = (double)si.totalram * unit;
        const double freeRam = (double)si.freeram * unit;
        const double buffers = (double)si.bufferram * unit;
        const double swapTotal = (double)si.totalswap * unit;
        const double swapFree = (double)si.freeswap * unit;
        u_Print("System Info: \n    Available Memory: %g of %g MB (total=%g, buffers=%g, free=%g)\n"
                "    Swap Used:  %g of %g MB\n",
                freeRam + buffers, total, total, buffers, freeRam, swapTotal - swapFree, swapTotal);
        u_Print("    Uptime = %lds\n    Load: 1 min %g / 5 min %g / 15 min %g\n", (long)si.uptime,
                si.loads[0] / 65535.0, si.loads[1] / 65535.0, si.loads[2] / 65535.0);
    }
    print_file("/proc/meminfo", "\nInfo from /proc/meminfo\n", 5);
    print_file("/proc/loadavg", "\nInfo from /proc/loadavg\n", -1);
    print_command("/bin/df", "/bin/df -H -T", "\nInfo from 'df -H -T':\n");
    print_command("/usr/bin/free", "/usr/bin/free -m", "\nInfo from 'free -m':\n");
    u_Print("-----------------------------------------------------------------------\n");
}
