// Process layout. A launcher may start more processes on a machine than it
// should run at once; the surplus ones are set aside as passive before any
// work, and the active ones form MPI_COMM_MT.
#include "run/Layout.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <unistd.h>
#include <vector>

#include "CUDA/ondex_cuda.h"
#include "base/Output.h"
#include "run/OndexApp.h"
#include "run/MpiTags.h"
#include "run/Scheduler.h"

namespace
{
struct SNodeRecord
{
    char szHost[80];
    int nRank;
    int nProcsPerNode;
    bool bActive;
};

// World rank 0 only; kept until main releases the passive ranks.
std::vector<SNodeRecord> g_vNodes;

bool starts_with(const char* s, const char* prefix)
{
    return strncmp(s, prefix, strlen(prefix)) == 0;
}

// The value behind "=", codes 1 to 32 skipped, at most 127 characters.
int layout_value(const char* pEq)
{
    const char* p = pEq + 1;
    while (*p >= 1 && (unsigned char)*p <= 32)
        ++p;
    char buf[128];
    strncpy(buf, p, 127);
    buf[127] = '\0';
    return atoi(buf);
}

void wait_passive(int& nExit)
{
    for (;;)
    {
        int nFlag = 0;
        MPI_Status st;
        MPI_Iprobe(0, tag::kRelease, MPI_COMM_WORLD, &nFlag, &st);
        if (nFlag)
        {
            int nMsg = 0;
            MPI_Recv(&nMsg, 1, MPI_INT, 0, tag::kRelease, MPI_COMM_WORLD, MPI_STATUS_IGNORE);
            MPI_BarrierPolite(MPI_COMM_WORLD);   // the same kind of barrier as main's
            MPI_Finalize();
            nExit = 0;
            return;
        }
        MPI_Iprobe(0, tag::kTerminate, MPI_COMM_WORLD, &nFlag, &st);
        if (nFlag)
        {
            MPI_Finalize();
            nExit = -1;
            return;
        }
        struct timespec ts = {2, 0};
        nanosleep(&ts, nullptr);
    }
}
} // namespace

void ScanLayoutKeys(const char* pszFile, int nProcessors, SLayoutScan& scan)
{
    scan.nThreadsNode = nProcessors;
    scan.nThreadsProc = nProcessors;
    scan.nGPUs = 0;
    scan.bSkip = false;
    FILE* f = pszFile ? fopen(pszFile, "rt") : nullptr;
    if (!f)
        return;
    char line[256];
    bool bInSection = false;
    while (fgets(line, 253, f))
    {
        if (starts_with(line, "[optimization]") || starts_with(line, "[GPU]") || starts_with(line, "[MPI]"))
            bInSection = true;   // nothing clears it
        if (!bInSection)
            continue;
        const char* pEq = strchr(line, '=');
        if (!pEq)
            continue;
        if (starts_with(line, "threads per process"))
        {
            const int v = layout_value(pEq);
            if (scan.nGPUs == 0 && v > 0 && v < scan.nThreadsProc)
            {
                scan.nThreadsProc = v;
                printf("...%d nodes per process\n", scan.nThreadsProc);
            }
        }
        else if (starts_with(line, "Skip Device Count Detection"))
        {
            scan.bSkip = layout_value(pEq) != 0;
        }
        else if (starts_with(line, "Use CUDA"))
        {
            // Each device of the machine gets a process of its own.
            if (layout_value(pEq) > 0)
            {
                scan.nGPUs = CUDA_GetDeviceCount();
                if (scan.nGPUs > 0)
                {
                    printf("...%d GPUs per node\n", scan.nGPUs);
                    fflush(stdout);
                }
            }
        }
    }
    fclose(f);
}

bool IsSimpleLayout(const SLayoutScan& scan, int nWorldSize)
{
    return scan.nThreadsNode == 1 || nWorldSize == 1 || scan.bSkip;
}

int ProcessesPerNode(const SLayoutScan& scan)
{
    int P = scan.nThreadsProc > 0 ? scan.nThreadsNode / scan.nThreadsProc : 1;
    if (P < 1)
        P = 1;
    if (scan.nGPUs > 0)
        P = scan.nGPUs;
    return P;
}

bool ArrangeProcesses(int nWorldRank, int nWorldSize, int& nExit)
{
    nExit = 0;
    SLayoutScan scan;
    ScanLayoutKeys("runtask.ini", (int)sysconf(_SC_NPROCESSORS_ONLN), scan);

    // The processor count is taken on each machine by itself; on unlike
    // machines they could disagree about the simple case and the exchange
    // below would block. Rank 0 decides for all.
    int nSimple = IsSimpleLayout(scan, nWorldSize) ? 1 : 0;
    if (nWorldSize > 1)
        MPI_Bcast(&nSimple, 1, MPI_INT, 0, MPI_COMM_WORLD);
    if (nSimple)
    {
        MPI_COMM_MT = MPI_COMM_WORLD;
        g_nNode = nWorldRank;
        g_nSize = nWorldSize;
        return true;
    }

    const int P = ProcessesPerNode(scan);
    if (nWorldRank == 0)
    {
        printf("...Assuming %d threads per process, %d threads per node, %d processes per node\n",
               scan.nThreadsProc, scan.nThreadsNode, P);
        fflush(stdout);
    }
    else
    {
        char szHost[80];
        memset(szHost, 0, sizeof(szHost));
        if (gethostname(szHost, 79) != 0)
            szHost[0] = '\0';
        szHost[79] = '\0';
        int nP = P;
        MPI_Send(szHost, 80, MPI_CHAR, 0, tag::kHostName, MPI_COMM_WORLD);
        MPI_Send(&nP, 1, MPI_INT, 0, tag::kProcsPerNode, MPI_COMM_WORLD);
    }

    std::vector<int> vActive(nWorldSize + 1, 0);
    int nActive = 0;
    if (nWorldRank == 0)
    {
        g_vNodes.assign(nWorldSize + 1, SNodeRecord());
        for (SNodeRecord& n : g_vNodes)
        {
            memset(n.szHost, 0, sizeof(n.szHost));
            n.nRank = 0;
            n.nProcsPerNode = 0;
            n.bActive = false;
        }
        g_vNodes[0].bActive = true;
        for (int r = 1; r < nWorldSize; ++r)
        {
            SNodeRecord& n = g_vNodes[r];
            MPI_Recv(n.szHost, 80, MPI_CHAR, r, tag::kHostName, MPI_COMM_WORLD, MPI_STATUS_IGNORE);
            n.szHost[79] = '\0';
            MPI_Recv(&n.nProcsPerNode, 1, MPI_INT, r, tag::kProcsPerNode, MPI_COMM_WORLD, MPI_STATUS_IGNORE);
            n.nRank = r;
            n.bActive = true;
        }
        // No machine runs more than it may: the first P ranks of each host
        // stay active. Rank 0 is not counted, so the master's machine runs
        // P workers beside the master.
        for (int i = 1; i < nWorldSize; ++i)
        {
            if (!g_vNodes[i].bActive)
                continue;
            int c = g_vNodes[i].nProcsPerNode;
            for (int j = 1; j < nWorldSize; ++j)
            {
                if (strcmp(g_vNodes[i].szHost, g_vNodes[j].szHost) != 0)
                    continue;
                --c;
                if (c < 0)
                    g_vNodes[j].bActive = false;
            }
        }
        vActive[nActive++] = 0;
        for (int r = 1; r < nWorldSize; ++r)
        {
            printf(g_vNodes[r].bActive ? "--Node: rank %d, %s, Active\n" : "--Node: rank %d, %s, Passive\n", r,
                   g_vNodes[r].szHost);
            fflush(stdout);
            if (g_vNodes[r].bActive)
                vActive[nActive++] = r;
        }
    }
    MPI_Bcast(&nActive, 1, MPI_INT, 0, MPI_COMM_WORLD);
    if (nActive < 1 || nActive > nWorldSize)
        nActive = 1;   // cannot happen with rank 0's list; keeps the buffer bounds
    MPI_Bcast(vActive.data(), nActive, MPI_INT, 0, MPI_COMM_WORLD);
    MPI_Comm_group(MPI_COMM_WORLD, &MPI_GROUP_WORLD);
    MPI_Group_incl(MPI_GROUP_WORLD, nActive, vActive.data(), &MPI_GROUP_MT);
    MPI_Comm_create(MPI_COMM_WORLD, MPI_GROUP_MT, &MPI_COMM_MT);

    bool bActive = false;
    for (int i = 0; i < nActive; ++i)
        if (vActive[i] == nWorldRank)
            bActive = true;
    if (bActive)
    {
        MPI_Group_rank(MPI_GROUP_MT, &g_nNode);
        MPI_Group_size(MPI_GROUP_MT, &g_nSize);
        printf("Active process #%d has new rank #%d!\n", nWorldRank, g_nNode);
        return true;
    }
    wait_passive(nExit);
    return false;
}

void ReleasePassiveProcesses()
{
    if (g_vNodes.empty())
        return;   // simple case: there is no passive process
    int nMsg = 1;
    for (size_t r = 1; r + 1 < g_vNodes.size(); ++r)
        if (!g_vNodes[r].bActive)
            MPI_Send(&nMsg, 1, MPI_INT, (int)r, tag::kRelease, MPI_COMM_WORLD);
    g_vNodes.clear();
}
