// Master and worker sides of the shot queue of a cluster run.
#include "base/Output.h"
#include "run/OndexApp.h"

// Not built yet: a cluster run stops with a clear message instead of
// computing nothing. Workers get no message and would wait, so the master
// also tells each of them to stop ({-1, -1}, tag 32) before giving up.
int COndexApp::MPI_RunMaster()
{
    u_Error("Error! The master node (MPI_RunMaster) is not available in this build.\n");
    int stop[2] = {-1, -1};
    for (int r = 1; r < g_nSize; ++r)
        MPI_Send(stop, 2, MPI_INT, r, 32, MPI_COMM_MT);
    return -1;
}

int COndexApp::MPI_RunSlave()
{
    // The master above sends {-1, -1}: take it so the exchange completes.
    int msg[2] = {0, 0};
    MPI_Recv(msg, 2, MPI_INT, 0, 32, MPI_COMM_MT, MPI_STATUS_IGNORE);
    u_Error("Error! The worker node (MPI_RunSlave) is not available in this build.\n");
    return -1;
}
