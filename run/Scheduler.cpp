// Master and worker sides of the shot queue of a cluster run. Node 0 does no
// modelling: it sizes the groups from a memory probe and hands out shot
// numbers one at a time as groups become free, so a slow shot does not hold
// up the others. Only small integers travel; data never pass the master.
#include <ctime>
#include <vector>

#include "base/Output.h"
#include "engine3d/Calc3D.h"
#include "run/OndexApp.h"
#include "run/Scheduler.h"
#include "run/ShotRoad.h"
#include "run/MpiTags.h"

namespace
{

// Where this process stands in a cluster run; an exception reaching main
// needs it to tell the others the right thing.
enum EPhase
{
    kPreparing,      // reading the job and the survey
    kStarted,        // all nodes ready; nothing handed out that needs an answer
    kMasterQueue,    // master: workers have their group slot and wait for shots
    kWorkerQueue,    // worker: in the shot loop, the master waits for its report
    kFinished        // the queue is over for this process
};
EPhase g_phase = kPreparing;
bool g_bInGroup = false;   // worker: member of a group of several nodes

void send_int(int nValue, int nDest, int nTag)
{
    MPI_Send(&nValue, 1, MPI_INT, nDest, nTag, MPI_COMM_MT);
}

// A few milliseconds cost nothing against a shot and keep the core free.
void nap()
{
    struct timespec ts = {0, 2000000};
    nanosleep(&ts, nullptr);
}

int recv_int(int nSource, int nTag, MPI_Status* pStatus = nullptr)
{
    int nValue = 0;
    MPI_RecvPolite(&nValue, 1, nSource, nTag, MPI_COMM_MT, pStatus);
    return nValue;
}

// {-1, -1}: stop at once, before touching the engine.
void stop_workers(int nWorkers)
{
    for (int r = 1; r <= nWorkers; ++r)
    {
        int msg[2] = {-1, -1};
        MPI_Send(msg, 2, MPI_INT, r, tag::kGroup, MPI_COMM_MT);
    }
    g_phase = kFinished;
}

// A memory figure in MB as the partition report shows it.
void print_memory(const char* pszLong, const char* pszShort, double x)
{
    if (x < 100.0)
        u_Print("%s", pszShort);
    else
        u_Print(pszLong, (int)(x / 10 + 1) * 10);
}
} // namespace

void MPI_RecvPolite(int* pValue, int nCount, int nSource, int nTag, MPI_Comm comm, MPI_Status* pStatus)
{
    MPI_Status st;
    for (;;)
    {
        int nFlag = 0;
        MPI_Iprobe(nSource, nTag, comm, &nFlag, &st);
        if (nFlag)
            break;
        nap();
    }
    // The message probed, not any later one from another source.
    MPI_Recv(pValue, nCount, MPI_INT, st.MPI_SOURCE, nTag, comm, pStatus ? pStatus : MPI_STATUS_IGNORE);
}

void MPI_BarrierPolite(MPI_Comm comm)
{
    MPI_Request req;
    MPI_Ibarrier(comm, &req);
    for (int nDone = 0;;)
    {
        MPI_Test(&req, &nDone, MPI_STATUS_IGNORE);
        if (nDone)
            return;
        nap();
    }
}

int MPI_AgreeToStart(int nStatus)
{
    if (g_nSize <= 1 || g_phase != kPreparing)
        return nStatus != 0 ? -1 : 0;
    g_phase = kStarted;
    if (g_nNode != 0)
    {
        send_int(nStatus, 0, tag::kReady);
        // -1: go on; otherwise the first node that failed.
        const int nFailed = recv_int(0, tag::kStart);
        if (nFailed < 0)
            return nStatus != 0 ? -1 : 0;
        g_phase = kFinished;
        if (nStatus == 0)
            u_Print("Node %d failed before the shots were handed out. This node stops.\n", nFailed);
        return -1;
    }
    std::vector<int> vFailed;
    if (nStatus != 0)
        vFailed.push_back(0);
    for (int r = 1; r < g_nSize; ++r)
        if (recv_int(r, tag::kReady) != 0)
            vFailed.push_back(r);
    const int nFirst = vFailed.empty() ? -1 : vFailed[0];
    for (int r = 1; r < g_nSize; ++r)
        send_int(nFirst, r, tag::kStart);
    if (vFailed.empty())
        return 0;
    g_phase = kFinished;
    for (int n : vFailed)
        u_Error("Error! Node %d failed before the shots were handed out. Simulation stopped.\n", n);
    return -1;
}

void MPI_LeaveAfterException(int nResult)
{
    if (g_nSize <= 1)
        return;
    switch (g_phase)
    {
    case kPreparing:
        MPI_AgreeToStart(nResult);
        return;
    case kStarted:
        if (g_nNode == 0)
        {
            stop_workers(g_nSize - 1);   // they wait for their group slot
            return;
        }
        break;
    case kWorkerQueue:
        // The master waits for this node's report: the failure of a shot.
        send_int(g_bInGroup ? -1000 : -1, 0, tag::kReport);
        g_phase = kFinished;
        return;
    case kMasterQueue: break;
    case kFinished: return;
    }
    // No message fits what the others wait for now: end the run.
    u_Error("Error! Node %d cannot go on after an exception. The run is aborted.\n", g_nNode);
    MPI_Abort(MPI_COMM_WORLD, nResult);
}

int ChooseGroupSize(double dNeededMB, double dAvailableMB, int nJobGroupSize)
{
    int g = 1;
    if (dNeededMB > dAvailableMB && dAvailableMB > 0)
        g = (int)(dNeededMB / dAvailableMB) + 1;
    if (nJobGroupSize > 0)
        g = nJobGroupSize;
    return g;
}

void PlanGroups(int nWorkers, int g, std::vector<SGroupSlot>& vSlots, std::vector<int>& vLeaders)
{
    vSlots.clear();
    vLeaders.clear();
    if (g < 1 || g > nWorkers)
        return;
    const int G = nWorkers / g;
    int nCount = 0;
    int nLeader = 0;
    for (int r = 1; r <= nWorkers; ++r)
    {
        if (nCount < G && (r - 1) % g == 0)
        {
            vLeaders.push_back(r);
            ++nCount;
            nLeader = r;
        }
        SGroupSlot s;
        s.nGroup = nCount;
        s.nSize = (nCount == G) ? g + nWorkers % g : g;
        s.nRank = r - nLeader;
        vSlots.push_back(s);
    }
}

int COndexApp::MPI_RunMaster()
{
    const int W = g_nSize - 1;
    const int R = m_nLastPoint - m_nStartPoint + 1;
    CCalc3D* pCalc = m_pCalc3D;
    if (!pCalc)
    {
        u_Error("Error! Computation object not being created.\n");
        stop_workers(W);
        return -1;
    }

    // Neighbouring shots have like grids: every tenth shot is enough.
    u_Print("Probing for maximum needed memory for the simulation...\n");
    double M = 0.0;
    for (int nShot = m_nStartPoint; nShot <= m_nLastPoint; nShot += 10)
    {
        int r = pCalc->GenerateSignal();
        if (r == 0)
            r = pCalc->PrepareSource(nShot, m_Survey, true);
        if (r == -31 || r == -35)
            continue;
        if (r == 0)
            r = pCalc->AllocateMemory(true, true);
        if (r == -31 || r == -35)
            continue;
        if (r != 0)
        {
            stop_workers(W);
            return -1;
        }
        if (m_fMemNeeded > M)
            M = m_fMemNeeded;
    }

    double A = m_fMemAvailable * 0.9;
    if (m_nMemoryLimit > 0)
    {
        u_Warning("Memory limit is set. Assuming %d MB available per node instead of actual %g MB\n",
                  m_nMemoryLimit, A);
        A = m_nMemoryLimit;
    }
    const int g = ChooseGroupSize(M, A, m_nGroupSize);
    m_nGroupSize = g;
    int G = g > 0 ? W / g : 0;

    // From the first group slot sent on, a stop message no longer fits.
    g_phase = kMasterQueue;
    std::vector<int> vLeaders;
    if (g <= 1)
    {
        for (int r = 1; r <= W; ++r)
        {
            vLeaders.push_back(r);
            int msg[2] = {1, 0};
            MPI_Send(msg, 2, MPI_INT, r, tag::kGroup, MPI_COMM_MT);
        }
    }
    else
    {
        u_LinePrint(" MPI Distributed Computing ");
        if (A > 0)
        {
            print_memory("Maximum Total Memory Needed   = %d MB\n", "Maximum Total Memory Needed   < 100 MB\n", M);
            print_memory("Memory Available on each Node = %d MB\n", "Memory Available on each Node < 100 MB\n", A);
            print_memory("Maximum Memory Per Node       = %d MB\n", "Maximum Memory Per Node       < 100 MB\n",
                         M / g);
        }
        u_Print("MPI Total Number of Nodes     = %d\n", W);
        u_Print("MPI Nodes Per Group           = %d\n", g);
        if (g > W)
        {
            u_Error("Error! Total cluster memory on %d nodes is not enough to run the computations.\nPlease, either "
                    "increase the number of worker nodes or use bigger spacial steps.\n",
                    W);
            stop_workers(W);
            return -1;
        }
        u_Print("MPI Total Number of Groups    = %d\n", G);
        u_Line();
        u_LinePrint(" MPI Partitioning ");
        u_Print("  Rank    |  Group # | Group Size | Group Rank\n");
        // The last group takes all workers that do not make a full group.
        std::vector<SGroupSlot> vSlots;
        PlanGroups(W, g, vSlots, vLeaders);
        for (int r = 1; r <= W; ++r)
        {
            const SGroupSlot& s = vSlots[r - 1];
            u_Print("%9d |%9d |%11d |%11d\n", r, s.nGroup, s.nSize, s.nRank);
            int msg[2] = {s.nSize, s.nRank};
            MPI_Send(msg, 2, MPI_INT, r, tag::kGroup, MPI_COMM_MT);
        }
        u_Line();
    }

    if (g <= 1)
        u_Print("Running as a Master Node! Assign jobs from %d to %d\n", m_nStartPoint, m_nLastPoint);
    else
        u_Print("Running as a Supervisor Node! Assign jobs from %d to %d\n", m_nStartPoint, m_nLastPoint);
    PrintModelingMethod();

    // Surplus groups end at once.
    while (G > R && G > 0)
    {
        if (g <= 1)
            u_Print("Worker %d - nothing to do!\n", G);
        else
            u_Print("Group %d - nothing to do!\n", G);
        send_int(-1, vLeaders[G - 1], tag::kShot);
        --G;
    }

    int nNext = m_nStartPoint;
    int nRemaining = R > 0 ? R : 0;
    int nAtWork = 0;
    while (nRemaining > 0 && nAtWork < G)
    {
        send_int(nNext++, vLeaders[nAtWork], tag::kShot);
        ++nAtWork;
        --nRemaining;
    }

    int nDone = 0;
    while (nAtWork > 0)
    {
        MPI_Status st;
        int nReport = recv_int(MPI_ANY_SOURCE, tag::kReport, &st);
        const int nSource = st.MPI_SOURCE;
        if (nReport < 0)
        {
            g_phase = kFinished;
            u_Error("Error occurred on node %d! Simulation failed!\n", nSource);
            if (nReport == -1000)
                return -1000;
            // A single worker failed; it has ended. No more shots go out:
            // the others finish their shot and are told to stop.
            --nAtWork;
            for (; nAtWork > 0; --nAtWork)
            {
                nReport = recv_int(MPI_ANY_SOURCE, tag::kReport, &st);
                if (nReport < 0)
                    u_Error("Also an error occurred on process %d! Simulation failed!\n", st.MPI_SOURCE);
                else
                    send_int(-1, st.MPI_SOURCE, tag::kShot);
            }
            return -2;
        }
        ++nDone;
        if (m_bDebug)
            u_Print("%d of %d jobs!\n", nDone, R);
        u_Percent_master(R, nDone, nReport, nSource);
        if (nRemaining > 0)
        {
            send_int(nNext++, nSource, tag::kShot);
            --nRemaining;
        }
        else
        {
            send_int(-1, nSource, tag::kShot);
            --nAtWork;
        }
    }
    g_phase = kFinished;
    return 0;
}

int COndexApp::MPI_RunSlave()
{
    u_Print("I'm a Worker Node.\n");
    int msg[2] = {0, 0};
    MPI_RecvPolite(msg, 2, 0, tag::kGroup, MPI_COMM_MT, nullptr);
    if (msg[0] < 0 || msg[1] < 0)
    {
        g_phase = kFinished;
        return -1;
    }
    m_nGroupSize = msg[0];
    m_nGroupRank = msg[1];
    const int nSize = m_nGroupSize;
    const int nRank = m_nGroupRank;
    const bool bTalksToMaster = nSize <= 1 || nRank == 0;
    g_bInGroup = nSize > 1;
    g_phase = kWorkerQueue;
    if (nSize > 1)
    {
        if (nRank == 0)
            u_Print("I'm a Group Leader. My group's size is %d (Nodes from #%d to #%d).\n", nSize, g_nNode,
                    g_nNode + nSize - 1);
        else
            u_Print("I'm a Group Slave #%d (of %d). My boss's node is #%d.\n", nRank, nSize - 1, g_nNode - nRank);
    }

    for (;;)
    {
        int nShot = -1;
        if (bTalksToMaster)
        {
            nShot = recv_int(0, tag::kShot);
            // The members hear of the shot before anything else is done.
            for (int n = g_nNode + 1; nSize > 1 && n <= g_nNode + nSize - 1; ++n)
                send_int(nShot, n, tag::kShot);
        }
        else
        {
            nShot = recv_int(g_nNode - nRank, tag::kShot);
        }
        if (nShot < 0)
        {
            g_phase = kFinished;
            return 0;   // no more work
        }
        u_Print("Received to calculate shot #%d!\n", nShot);

        const int r = Run3DShot(*this, nShot);
        if (r == 0)
        {
            if (bTalksToMaster)
                send_int(nShot, 0, tag::kReport);
            continue;
        }
        g_phase = kFinished;
        if (nSize <= 1)
        {
            send_int(-1, 0, tag::kReport);
            return -1;
        }
        // A group cannot go on with a member missing: the whole run stops.
        if (m_bDebug)
            u_Print("DEBUG: Run3DShot returned %d.\n", r);
        send_int(-1000, 0, tag::kReport);
        return -1;
    }
}
