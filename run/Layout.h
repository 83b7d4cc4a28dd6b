// Process layout: which processes of MPI_COMM_WORLD are active and form
// MPI_COMM_MT, and which are set aside as passive.
#pragma once

// What the job file says about the layout, read before the job reader runs.
struct SLayoutScan
{
    int nThreadsNode;   // N: processors online on this machine
    int nThreadsProc;   // T: threads per process
    int nGPUs;          // G: GPUs per machine
    bool bSkip;         // S: Skip Device Count Detection
};

// Scans the three layout keys of pszFile into scan, starting from N =
// nProcessors. A file that cannot be opened leaves the initial values.
void ScanLayoutKeys(const char* pszFile, int nProcessors, SLayoutScan& scan);

// True when every process is active: one processor, one process, or S set.
bool IsSimpleLayout(const SLayoutScan& scan, int nWorldSize);

// Processes per machine from the scan: N / T, at least 1; G when G > 0.
int ProcessesPerNode(const SLayoutScan& scan);

// Arranges the processes of MPI_COMM_WORLD. On return g_nNode, g_nSize and
// MPI_COMM_MT are set on an active process and the result is true. A passive
// process has waited for the end of the job, finalized MPI, and gets false
// with its exit status in nExit.
bool ArrangeProcesses(int nWorldRank, int nWorldSize, int& nExit);

// World rank 0, after a run that did not fail as a group: tells every
// passive rank that the job is over (tag 40) and drops the node table.
void ReleasePassiveProcesses();
