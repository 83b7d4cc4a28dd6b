// The job object, the run driver and the few machine queries the driver needs.
#pragma once

#include <mpi.h>
#include <vector>

#include "base/CString.h"
#include "survey/Survey3D.h"

class CCalc3D;
class CCalc1D;

// One job per process: the global m_job. Engines keep a pointer back to it
// and read its settings directly, so the fields are public.
class COndexApp
{
public:
    COndexApp();
    ~COndexApp();
    COndexApp(const COndexApp&) = delete;
    COndexApp& operator=(const COndexApp&) = delete;

    // Job file (TaskFile / ReadTask.cpp). The argument is not used: the job
    // is always "runtask.ini" in the working directory.
    int ReadTask(const char* pszFile);
    // The engine of the job's method, made anew (Engines.cpp).
    void MakeEngine();
    // Survey loading and shot range check.
    int LoadSurveyGeometry();
    // GPU discovery: 0 to go on (with or without GPU), 1 to stop.
    int InitGPU();
    // Master and worker sides of the shot queue.
    int MPI_RunMaster();
    int MPI_RunSlave();
    // Joins the per-shot files pszPerShot ("%d" for the shot) into pszMerged.
    int MergeResults(const char* pszMerged, const char* pszPerShot, int nFirst, int nLast, bool bDelete);
    // "BigSeis-%d(%d).bin" with m_nNode and m_nActiveShot, no directory.
    CString GetBigSeisFileName();
    // The whole vertical incidence method.
    int Run1DShot();
    void PrintModelingMethod();
    // trunc((m_t1 - m_t0) / m_dt + 0.5) + 1
    int GetSeismogramTraceLen();

public:
    int m_Type;                 // 100 1D, 101 acoustic, 102 elastic, 103 orthorhombic, 104 general anisotropic
    CSurvey3D m_Survey;
    CCalc3D* m_pCalc3D;         // owned
    CCalc1D* m_pCalc1D;         // owned
    int m_nFirstPoint;
    int m_nStartPoint;
    int m_nLastPoint;
    bool m_bUseShotId;
    bool m_bShotsByCoordinates;
    CString m_strOutputDir;     // with a trailing slash when not empty
    CString m_strModelPW;
    CString m_strModelSW;
    CString m_strModelD;
    CString m_strModelQ;
    CString m_strGeometry;
    CString m_strAnisFile[5];   // epsilon, delta, gamma, phi, azimuth
    float m_fAnisConst[5];
    bool m_bModelUseElevation;
    double m_t0, m_dt, m_t1;
    int m_nSmoothModel;
    int m_nThreads;
    int m_nCPUCount;
    double m_fMemAvailable;     // MB
    double m_fMemNeeded;        // MB
    bool m_bUseCUDA;
    int m_nGPUCount;
    int m_nGPUDevice;
    int m_nActiveShot;
    int m_nNode, m_nNodes;
    int m_nGroupSize;
    int m_nGroupRank;
    bool m_bBigSeismogram;
    bool m_bRecovery;
    bool m_bDebug;
    bool m_bParanoid;
    bool m_bMerge;
    bool m_bMergeTask;
    int m_nMemoryLimit;         // MB
    int m_nHostMemoryGB;
    int m_nGpuMemoryGB;
};

extern COndexApp m_job;

// Rank, size (base/Output.h: g_nNode, g_nSize) and communicator of the
// active processes.
extern MPI_Comm MPI_COMM_MT;
extern MPI_Group MPI_GROUP_WORLD;
extern MPI_Group MPI_GROUP_MT;
// Body of the abort broadcast, tag 41: always 1.
extern int g_die;

// The whole job on this process; its result code.
int ondex_run(int nFirst, int nLast);
// Node description into the log (Debug runs).
void PrintSystemDetails();

namespace os
{
    // Version text of the program, e.g. "version 9.0.9"; returns 1.
    int GetAppVersionString(CString& strVersion);
    // Same, from an explicit "major, minor, release, build" text.
    int FormatVersionString(const char* pszRaw, CString& strVersion);
    // 1: 64-bit build.
    int isApp64();
    // sysconf(_SC_NPROCESSORS_ONLN)
    int GetCPUCount();
    // Duration as text ("00:59", "1:2:5", "1 days, 0:0:0"); sprintf's length.
    int SecToString(double dSeconds, char* pszOut);

    // CUDA devices seen by the driver, filled once by GetCUDADeviceCount.
    extern std::vector<CString> m_arCUDA_Name;
    extern std::vector<double> m_arCUDA_Memory;   // MB
    int GetCUDADeviceCount();
}
