// Process entry: every process of a run, alone or one of many, starts here.
#include <cstdio>
#include <cstdlib>
#include <unistd.h>
#include <vector>

#if defined(__x86_64__) || defined(__i386__)
#include <xmmintrin.h>
#endif

#include <mpi.h>

#include "base/CString.h"
#include "base/SigTest.h"
#include "run/LauncherWatch.h"
#include "run/Layout.h"
#include "run/OndexApp.h"
#include "run/MpiTags.h"
#include "run/Scheduler.h"

int main(int argc, char** argv)
{
#if defined(__x86_64__) || defined(__i386__)
    // Flush denormal results to zero (FTZ, bit 15) and read denormal inputs
    // as zero (DAZ, bit 6): decaying wave fields would otherwise crawl.
    _mm_setcsr(_mm_getcsr() | 0x8040);
#endif
    if (!CString_SelfTest())
        return 1;

    int nFirst = 0;
    int nLast = 0;
    if (argc > 3)
    {
        nFirst = atoi(argv[2]);
        nLast = atoi(argv[3]);
    }

    MPI_Init(&argc, &argv);
    // A fatal signal is named in this process's log before the process ends.
    sig_install();
    int nWorldRank = 0;
    int nWorldSize = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &nWorldRank);
    MPI_Comm_size(MPI_COMM_WORLD, &nWorldSize);
    if (nWorldSize == 0)
        return -2;
    WatchLauncher(nWorldSize);

    int nExit = 0;
    if (!ArrangeProcesses(nWorldRank, nWorldSize, nExit))
        return nExit;   // a passive process, released or aborted

    int nResult = 0;
    try
    {
        nResult = ondex_run(nFirst, nLast);
    }
    catch (...)
    {
        printf("An exception has been raiesd!\n");
        nResult = 200;
        // The other nodes may be waiting for this one.
        MPI_LeaveAfterException(nResult);
    }

    if (nWorldRank == 0)
    {
        if (nResult == -1000)
        {
            // A group failed: members may be blocked in the group exchange,
            // so the whole run is aborted.
            std::vector<MPI_Request> vReq(nWorldSize > 1 ? nWorldSize - 1 : 0);
            for (int r = 1; r < nWorldSize; ++r)
                MPI_Isend(&g_die, 1, MPI_INT, r, tag::kTerminate, MPI_COMM_WORLD, &vReq[r - 1]);
            printf("The program has finised with result %d.\n", -1000);
            fflush(stdout);
            sleep(10);
            MPI_Abort(MPI_COMM_WORLD, -1000);
            return -1000;
        }
        ReleasePassiveProcesses();
    }

    // Nodes done early wait here while node 0 merges.
    MPI_BarrierPolite(MPI_COMM_WORLD);
    MPI_Finalize();
    if (nWorldRank == 0)
        printf("The program has finised with result %d.\n", nResult);
    return nResult;
}
