// The shot queue of a cluster run: group size, partition of the workers
// into groups, and the start and exception paths that keep any node from
// waiting forever for a node that has failed.
#pragma once

#include <mpi.h>
#include <vector>

// Nodes per shot: 1, or trunc(M / A) + 1 when the peak need M exceeds the
// memory A available per node (A > 0); a positive job value replaces it.
int ChooseGroupSize(double dNeededMB, double dAvailableMB, int nJobGroupSize);

struct SGroupSlot
{
    int nGroup;   // 1-based group number
    int nSize;    // size of the worker's group
    int nRank;    // rank inside the group
};

// Workers 1..nWorkers into nWorkers / g groups of g; the last group takes
// the workers left over. vSlots[r - 1] is worker r; vLeaders the lowest
// worker of each group, ascending. Needs 1 <= g <= nWorkers.
void PlanGroups(int nWorkers, int g, std::vector<SGroupSlot>& vSlots, std::vector<int>& vLeaders);

// Start of a cluster run, on every active process once its job and survey
// are read (nStatus 0) or have failed (any other value). The master collects
// every worker's status and answers all with go or stop, so that a failure on
// any node before the hand-out ends every node instead of leaving the others
// waiting for it. 0: all ready; -1: some node failed, and the master has
// named each failed node in its log.
int MPI_AgreeToStart(int nStatus);

// For main's catch-all, after an exception on this process: tells the others
// whatever keeps them from waiting for it (a not-ready status, a failure
// report, a stop), or aborts the run where nothing cleaner fits.
void MPI_LeaveAfterException(int nResult);

// A receive that waits by probing and sleeping: MPICH's blocking receive
// polls and would keep a core busy for as long as the wait lasts.
void MPI_RecvPolite(int* pValue, int nCount, int nSource, int nTag, MPI_Comm comm, MPI_Status* pStatus);

// A barrier that sleeps between its polls, for the same reason. Every
// process of comm must use this one: a blocking barrier does not match it.
void MPI_BarrierPolite(MPI_Comm comm);
