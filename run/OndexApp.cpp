// The job object and the run driver: reads the job, runs the shots (alone,
// or as master or worker), merges the per-shot files and prints the end.
#include "run/OndexApp.h"

#include <cstdio>
#include <cstdlib>
#include <sys/time.h>

#include "base/Output.h"
#include "cpu/Calc3D_OMP.h"
#include "engine1d/Calc1D.h"
#include "engine3d/Calc3D.h"
#include "run/Scheduler.h"
#include "run/ShotRoad.h"

COndexApp m_job;
MPI_Comm MPI_COMM_MT = MPI_COMM_WORLD;
MPI_Group MPI_GROUP_WORLD = MPI_GROUP_NULL;
MPI_Group MPI_GROUP_MT = MPI_GROUP_NULL;
int g_die = 1;

COndexApp::COndexApp()
    : m_Type(101),
      m_pCalc3D(nullptr),
      m_pCalc1D(nullptr),
      m_nFirstPoint(0),
      m_nStartPoint(0),
      m_nLastPoint(0),
      m_bUseShotId(false),
      m_bShotsByCoordinates(false),
      m_bModelUseElevation(false),
      m_t0(0.0),
      m_dt(0.0),
      m_t1(0.0),
      m_nSmoothModel(2),
      m_nThreads(0),
      m_nCPUCount(os::GetCPUCount()),
      m_fMemAvailable(0.0),
      m_fMemNeeded(0.0),
      m_bUseCUDA(false),
      m_nGPUCount(0),
      m_nGPUDevice(0),
      m_nActiveShot(0),
      m_nNode(0),
      m_nNodes(0),
      m_nGroupSize(0),
      m_nGroupRank(0),
      m_bBigSeismogram(false),
      m_bRecovery(false),
      m_bDebug(false),
      m_bParanoid(false),
      m_bMerge(true),
      m_bMergeTask(false),
      m_nMemoryLimit(0),
      m_nHostMemoryGB(0),
      m_nGpuMemoryGB(0)
{
    for (int i = 0; i < 5; ++i)
        m_fAnisConst[i] = 0.0f;
}

COndexApp::~COndexApp()
{
    delete m_pCalc1D;
    m_pCalc1D = nullptr;
    delete m_pCalc3D;
    m_pCalc3D = nullptr;
}

CString COndexApp::GetBigSeisFileName()
{
    return CString(0, "BigSeis-%d(%d).bin", m_nNode, m_nActiveShot);
}

int COndexApp::GetSeismogramTraceLen()
{
    return (int)((m_t1 - m_t0) / m_dt + 0.5) + 1;
}

void COndexApp::PrintModelingMethod()
{
    const int L = m_pCalc3D ? m_pCalc3D->m_nViscoL : 0;
    const bool bVisco = L >= 1;
    const char* psz = nullptr;
    switch (m_Type)
    {
    case 100: psz = "1D VERTICAL INCIDENCE MODELING STARTED\n"; break;
    case 101: psz = "3D ACOUSTIC MODELING STARTED\n"; break;
    case 102:
        psz = bVisco ? "3D VISCOELASTIC MODELING STARTED\n" : "3D ELASTIC MODELING STARTED\n";
        break;
    case 103:
        psz = bVisco ? "3D VISCOELASTIC ORTHOROMBIC ANISOTROPIC MODELING STARTED\n"
                     : "3D ELASTIC ORTHOROMBIC ANISOTROPIC MODELING STARTED\n";
        break;
    case 104:
        psz = bVisco ? "3D VISCOELASTIC ANISOTROPIC MODELING STARTED\n"
                     : "3D ELASTIC ANISOTROPIC MODELING STARTED\n";
        break;
    default: break;
    }
    u_Line();
    if (psz)
        u_CenterPrint("%s", psz);
    u_Line();
}

static double wall_seconds()
{
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    return (double)tv.tv_sec + (double)tv.tv_usec / 1e6;
}

// The closing lines of a run: success (result 0 only) and elapsed time.
static void print_closing(int nResult, double tStart)
{
    const double dElapsed = wall_seconds() - tStart;
    char szTime[128];
    os::SecToString(dElapsed, szTime);
    if (nResult == 0)
        u_Success("Simulation finished successfully.\n");
    u_Print("Elapsed Time: %s (%g seconds).\n", szTime, dElapsed);
}

int COndexApp::Run1DShot()
{
    if (!m_pCalc1D)
    {
        u_Error("Error! Computation object not being created.\n");
        return 1;
    }
    const double tStart = wall_seconds();
    int r = m_pCalc1D->GenerateSignal();
    if (r != 0)
        return r;
    m_Survey.m_bUseShotId = m_bUseShotId;
    m_Survey.m_bShotsByCoordinates = m_bShotsByCoordinates;
    // Without a survey file the receivers are the traces of the model file.
    const char* pszSurvey = m_strGeometry.IsEmpty() ? (const char*)m_strModelPW : (const char*)m_strGeometry;
    r = m_Survey.LoadSurvey(pszSurvey, false);
    if (r != 0)
        return r;
    r = m_pCalc1D->PrepareSurvey(m_Survey, false);
    if (r != 0)
        return r;
    if (m_pCalc1D->AllocateMemory(false, false) != 0)
        return -1;
    r = m_pCalc1D->InitModel();
    if (r != 0)
        return r;
    PrintModelingMethod();
    r = m_pCalc1D->Calculate();
    if (r != 0)
        return r;
    m_pCalc1D->FreeMemory();
    print_closing(0, tStart);
    return 0;
}

int Run3DShot(COndexApp& app, int nShot)
{
    CCalc3D* pCalc = app.m_pCalc3D;
    if (!pCalc)
    {
        u_Error("Error! Computation object not being created.\n");
        return 1;
    }
    app.m_nActiveShot = nShot;
    if (!pCalc->IsCalcNeeded(nShot))
        return 0;
    int r = pCalc->GenerateSignal();
    if (r != 0)
        return r;
    r = pCalc->PrepareSource(nShot, app.m_Survey, false);
    if (r == -31 || r == -35)
        return 0;   // outside the computation zone, or no active point
    if (r != 0)
        return r;
    r = pCalc->InitDecomposition();
    if (r != 0)
        return r;
    if (pCalc->AllocateMemory(false, false) != 0)
        return -1;
    r = pCalc->InitModel();
    if (r != 0)
        return r;
    if (pCalc->AllocateMemorySeismogram() != 0)
        return -1;
    r = pCalc->Calculate();
    if (r != 0)
        return r;
    r = pCalc->FreeMemory(true, true, false, false, false);
    if (r != 0)
        return r;
    r = pCalc->SaveResults();
    if (r != 0)
        return r;
    if (app.m_bBigSeismogram)
        remove((const char*)app.GetBigSeisFileName());
    return 0;
}

// One process computes all shots of the job in turn.
static int run_shots_alone(COndexApp& app)
{
    for (int nShot = app.m_nStartPoint; nShot <= app.m_nLastPoint; ++nShot)
    {
        const int r = Run3DShot(app, nShot);
        if (r != 0)
            return r;
    }
    return 0;
}

// Node 0 joins the per-shot files of every kind. The first merge that fails
// stands as the result, even when a later kind merges well: an operator must
// not read success from a run whose gathers were not joined.
static int merge_all(COndexApp& app)
{
    CCalc3D* pCalc = app.m_pCalc3D;
    if (!pCalc)
    {
        u_Error("Error! Computation object not being created.\n");
        return 1;
    }
    const bool bDelete = !app.m_bMergeTask;
    const int nFirst = app.m_nFirstPoint;
    const int nLast = app.m_nLastPoint;
    // Neither the job nor the command line named shots: the range left over
    // merges little or nothing, which would otherwise pass as success.
    if (nFirst == 0 && nLast == 0)
        u_Warning("Warning! No first or last shot is given in the job or on the command line: only shot 0 is "
                  "merged.\n");
    else if (nFirst > nLast)
        u_Warning("Warning! The first shot %d lies above the last shot %d: no shot is merged.\n", nFirst, nLast);
    int nResult = 0;
    const char szComp[4] = {'X', 'Y', 'Z', 'C'};
    for (int i = 0; i < 4 && nResult == 0; ++i)
    {
        CString strPerShot = pCalc->GetFileName(0, szComp[i], true, false, 0.0);
        CString strMerged = pCalc->GetFileName(0, szComp[i], false, true, 0.0);
        u_Print("Merging component '%c'...\n", szComp[i]);
        nResult = app.MergeResults(strMerged, strPerShot, nFirst, nLast, bDelete);
    }
    if (pCalc->m_nTimeField != 0 && pCalc->m_bTimeMerge)
    {
        static const char* const kKind[2] = {"max energy", "max divergence"};
        for (int i = 0; i < 2; ++i)
        {
            if (!(pCalc->m_nTimeField & (1 << i)))
                continue;
            CString strPerShot = pCalc->GetFileName(2, ' ', true, false, (double)i);
            CString strMerged = pCalc->GetFileName(2, ' ', false, true, (double)i);
            u_Print("Merging Time Field...%s\n", kKind[i]);
            const int r = app.MergeResults(strMerged, strPerShot, nFirst, nLast, bDelete);
            if (nResult == 0)
                nResult = r;
        }
    }
    if (pCalc->m_nSnapEvery > 0)
    {
        CString strPerShot = pCalc->GetFileName(1, ' ', true, false, 0.0);
        CString strMerged = pCalc->GetFileName(1, ' ', false, true, 0.0);
        u_Print("Merging Snapshots...\n");
        const int r = app.MergeResults(strMerged, strPerShot, nFirst, nLast, bDelete);
        if (nResult == 0)
            nResult = r;
    }
    return nResult;
}

// Settings that the run follows to the letter but that do not do what their
// author most likely meant: each gets one warning, the run goes on.
static void warn_job_surprises(COndexApp& app)
{
    if (app.m_Type == 100 || app.m_bMergeTask || !app.m_pCalc3D)
        return;
    // Recovery.dat moves the start only inside a known range of shots.
    if (app.m_bRecovery && app.m_nLastPoint <= 0)
    {
        FILE* f = fopen("Recovery.dat", "rt");
        if (f)
        {
            char szLine[49];
            if (fgets(szLine, sizeof(szLine), f) && atoi(szLine) > app.m_nStartPoint)
                u_Warning("Warning! Recovery.dat is not used: no last shot is given in the job or on the command "
                          "line, so the run starts from the first shot.\n");
            fclose(f);
        }
    }
    // A trace takes at most one sample per time step: finer samples would
    // be recorded a time step apart and written closer, compressing the trace.
    const double dSurveyDt = app.m_dt;
    const double dMeshDt = app.m_pCalc3D->m_dt;
    if (dSurveyDt > 0.0 && dMeshDt > 0.0 && dSurveyDt < dMeshDt)
        u_Warning("Warning! The survey sample interval %g s is finer than the mesh time step %g s: the traces "
                  "are compressed in time.\n", dSurveyDt, dMeshDt);
}

int ondex_run(int nFirst, int nLast)
{
    COndexApp& app = m_job;
    u_FaceTitle("3D Modeling");
    CString strVersion;
    os::GetAppVersionString(strVersion);
    u_Print("3D %d-bit Computation Engine %s running on %d-bit Linux%s\n", 64, (const char*)strVersion, 64, "/MPI");

    app.m_nNode = g_nNode;
    app.m_nNodes = g_nSize;
    app.m_nFirstPoint = nFirst;
    app.m_nStartPoint = nFirst;
    app.m_nLastPoint = nLast;

    // A node whose job or survey fails still takes part in the start of a
    // cluster run, so that no other node waits for it.
    int nPrepared = app.ReadTask("runtask.ini") != 0 ? -1 : 0;
    if (nPrepared == 0 && app.m_bDebug)
        PrintSystemDetails();
    if (nPrepared == 0)
        warn_job_surprises(app);

    const double tStart = wall_seconds();
    const bool bShots = nPrepared == 0 && !app.m_bMergeTask && app.m_Type != 100;
    if (bShots && app.LoadSurveyGeometry() != 0)
        nPrepared = -1;
    if (MPI_AgreeToStart(nPrepared) != 0)
        return -1;

    int nResult = 0;
    if (!app.m_bMergeTask)
    {
        if (app.m_Type == 100)
            return app.Run1DShot();
        if (g_nSize > 1)
        {
            const int r = (g_nNode == 0) ? app.MPI_RunMaster() : app.MPI_RunSlave();
            if (r != 0)
                return r;
        }
        else
        {
            const int r = run_shots_alone(app);
            if (r != 0)
                return r;
        }
        if (app.m_pCalc3D)
            app.m_pCalc3D->FreeMemory(true, true, true, true, true);
        nResult = 0;
    }
    if (g_nNode == 0 && (app.m_bMerge || app.m_bMergeTask))
        nResult = merge_all(app);

    print_closing(nResult, tStart);
    return nResult;
}
