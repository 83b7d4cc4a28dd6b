#pragma once
// The vertical incidence engine (method 100): every survey trace is an
// independent zero-offset column taken out of the model.

#include <cstddef>
#include <cstdio>
#include <vector>

#include "base/CString.h"
#include "base/Types.h"
#include "engine3d/Signal3D.h"

class COndexApp;
class CSurvey3D;
class CSdsPC;

// Working memory of one trace in flight. The eleven columns are slices of one
// block, the two recorded traces of a second; allocated once per run so that
// the trace loop allocates nothing.
class CCalc1D_Worker
{
public:
    CCalc1D_Worker();
    ~CCalc1D_Worker();
    CCalc1D_Worker(const CCalc1D_Worker&) = delete;
    CCalc1D_Worker& operator=(const CCalc1D_Worker&) = delete;

    // Allocates both blocks, zeroed: 0, or -1 with its message when memory
    // is exhausted (the worker then holds nothing).
    int Init(int nZ, int nSamples);

public:
    int m_nTrace;       // index of the trace being computed
    float* m_pK;        // column of K, m_nCalcZ floats
    float* m_pB;        // column of B
    float* m_pQ;        // column of the damping factor
    float* m_pU;        // vertical particle velocity
    float* m_pP;        // pressure
    float* m_pPmlB1;    // PML multiplier at distance s1
    float* m_pPmlA1;    // PML decay at distance s1
    float* m_pPmlB2;    // PML multiplier at distance s2
    float* m_pPmlA2;    // PML decay at distance s2
    float* m_pMemP;     // PML memory of the pressure update
    float* m_pMemU;     // PML memory of the particle velocity update
    float* m_pOutU;     // recorded samples of U, m_nSeisLen floats
    float* m_pOutP;     // recorded samples of P
};

class CCalc1D
{
public:
    explicit CCalc1D(COndexApp& app);
    virtual ~CCalc1D();
    CCalc1D(const CCalc1D&) = delete;
    CCalc1D& operator=(const CCalc1D&) = delete;

    // Job file: SurfType, PML, [Mesh] dx (or dz), [Mesh] dt, [Source] Type, signal.
    int ReadTask1D(std::vector<CString>& lines);

    int GenerateSignal();
    int PrepareSurvey(CSurvey3D& survey, bool bQuiet);
    int ValidateCommon();
    int InitModel();
    int LoadModelComponent(int nComponent, const char* pszFile, float* pRefVp, float* pDest);
    int SmoothModel();
    int SmoothModelComponent(float* pGrid, int nPasses, float* pScratch);
    int Get1DModel(int nComponent, CPointR pt, float* pOut, int& nFirst);

    int AllocateMemory(bool bEstimate, bool bQuiet);
    int FreeMemory();
    int Calculate();
    int CalculateTrace(int nTrace, CCalc1D_Worker& w);
    int InitPMLProfile(float* pK, float* pB, float* pB1, float* pA1, float* pB2, float* pA2);
    int WriteTrace(FILE* pFile, const char* pszName, CSdsPC& sds, int nTrace, C3DPointR pt,
                   double* pTraseParam, float* pData);
    CString GetFileName(int nType, char cComponent, bool bTemplate, bool bMerged, double rValue);

public:
    CCubeR m_cubeModel;          // extent of the model file
    CCubeR m_cubeSim;            // simulation cube
    CCubeR m_cubeSurvey;         // extent of the receivers, widened in z
    CSignal3D m_Signal;          // source signal
    int m_nSourceType;           // 0 omnidirectional or 3 vertical
    int m_nSurfType;             // 0 invisible, 1 free
    double m_tStart;             // time of step 0
    double m_tEnd;               // last modelled time
    size_t m_nSeisLen;           // samples of an output trace
    double m_dz;                 // step of the computation column
    double m_dt;                 // time step of the scheme
    double m_dModelDx, m_dModelDy, m_dModelDz;
    int m_nx, m_ny, m_nz;        // samples of the model grids
    int m_nCalcZ;                // cells of the computation column
    int m_nTaper;                // cells added at each end of the column
    int m_nPML;                  // PML cells at each end
    float* m_pVp;                // P velocity, then the coefficient K
    float* m_pRho;               // density, then the coefficient B
    float* m_pQ;                 // per-step damping factor, only with a Q file
    bool m_bPML;                 // PML
    float m_fTaper[38];          // damping of the absorbing strip (PML off)
    COndexApp* m_pApp;           // the job; not owned
    std::vector<C3DPointR>* m_pReceivers; // the survey's receivers; not owned
};
