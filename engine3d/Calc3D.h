#pragma once
// The 3D modelling engine: everything one shot needs, and the shot's time
// loop. Abstract: the wave field is touched only through the virtual
// operations, which the CPU and GPU engines implement.

#include <cstddef>
#include <vector>

#include "base/CString.h"
#include "base/Types.h"
#include "engine3d/Signal3D.h"
#include "survey/Survey3D.h"

class COndexApp;

// Whether some fluid cell (P velocity, no S velocity) has a face in common
// with a solid cell; grids of nx * ny * nz cells, x fastest.
bool FluidBesideRock(const float* pVp, const float* pVs, int nx, int ny, int nz);

// The start of every result file name: the output directory and the model
// file's name without its folder and extension ("Model" when there is none).
CString ResultFileStem(const COndexApp& app);
// The component's letter in a result file name: x, y, z or c for X, Y, Z or
// C, none for ' ', any other as it is; szComp holds two chars.
void ComponentSuffix(char cComponent, char* szComp);

class CCalc3D
{
public:
    explicit CCalc3D(COndexApp& app);
    CCalc3D(const CCalc3D&) = delete;
    CCalc3D& operator=(const CCalc3D&) = delete;

    // ---- Virtual interface, in slot order -------------------------------
    virtual ~CCalc3D();
    // Depth range of this node; the only operation with a body here.
    virtual int InitDecomposition();
    virtual int AllocateMemory(bool bEstimate, bool bQuiet) = 0;
    virtual int AllocateMemorySeismogram() = 0;
    virtual int FreeMemory(bool bModel, bool bWave, bool bSeis, bool bTime, bool bPlane) = 0;
    virtual int LoadModel() = 0;
    virtual int ApplySignal(int nStep) = 0;
    // Box arguments: first plane, row, column, then last plane, row, column (inclusive).
    virtual int PropagateAcoWaveU(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1) = 0;
    virtual int PropagateAcoWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1) = 0;
    // One whole step of method nType (101-104) over one box: velocity, then
    // pressure or stresses with the ramp m_fSWave. The depth-group loop
    // calls the halves itself.
    int PropagateStep(int nType, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1);
    // Two whole steps over one box with nothing between them (no source, no
    // recording), the second with the ramp m_fSWaveNext, which m_fSWave
    // holds afterwards; an engine may run them in one pass over memory.
    virtual int PropagatePair(int nType, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1);
    virtual int PropagateElaWaveU(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1) = 0;
    virtual int PropagateElaWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1) = 0;
    virtual int PropagateOrtWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1) = 0;
    virtual int PropagateAniWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1) = 0;
    virtual int PropagateTimeField() = 0;
    virtual int RecordSeismogram() = 0;
    virtual float* GrabShotgather(char cComponent) = 0;
    virtual float* Grab2DSnapshot(char cPlane, char cComponent) = 0;
    virtual float* Grab3DSnapshot(CCubeN& area, C3DSizeN& size, char cComponent) = 0;
    virtual float* GrabTimeField(int nType) = 0;
    virtual int GetCalcPlane(int nComponent, int z0, int z1, float** ppPlane, bool bNoCopy) = 0;
    virtual int SetCalcPlane(int nComponent, int z0, int z1, float* pPlane) = 0;
    virtual int FreeCalcPlane(float** ppPlane) = 0;

    // ---- Shot road and time loops ---------------------------------------
    bool IsCalcNeeded(int nShot);
    int Calculate();
    int CalculateShared();
    int StepCount(int& nSteps) const;   // steps of the record, or -101
    void SourceBox(int nStep, int& iy0, int& iy1, int& ix0, int& ix1);
    int EndOfStep(int nStep, int nSteps, int r, double& tRecord);
    int AfterScheme(int nStep, int r, double& tRecord, bool bRecord);
    void ReportProgress(int nStep, int nSteps);
    bool PairAhead(int nStep, int nSteps, double tRecord) const;
    bool Snapshot2DDue(double tCur) const;
    bool Snapshot3DDue(double tCur, double& tDue) const;
    int CalculateDistributed();

    // ---- Job file --------------------------------------------------------
    int ReadTask3D(const char* pszFile, std::vector<CString>& lines);

    // ---- Validation and grids --------------------------------------------
    int ValidateCommon();
    CCubeR GetRealUserArea();
    CCubeN GetSampleUserArea();
    size_t GetPtShift(const C3DPointR& pt);
    int ValidateTracePoint(C3DPointR& pt);
    // The grid of the active shot from the job's steps, the model cube, the
    // survey cube and Margin; called by PrepareSource. 0 or -100, -101, -104, -3, -30.
    int BuildShotGrid();

    // ---- Signal, model, shot ---------------------------------------------
    int GenerateSignal();
    int LoadModelComponent(int nComponent, const char* pszFile, float* pRefVp, float* pDest, float* pScratch);
    int SmoothModel();
    int SmoothModelComponent(float* pGrid, int nPasses);
    // Table values for a P velocity (m/s): density (kg/m3) and S velocity.
    static double GetDensityByPVel(double dVp);
    static double GetSVelByPVel(double dVp);
    // A whole grid as a plain SEG-Y cube for inspection; failures only print.
    void SaveDebugCube(const char* pszFile, const float* pGrid);
    int InitModel();
    // Relaxation mechanisms of every cell from m_pQ; 0 or -1.
    int PrepareViscoElasticModel();
    int PrepareSource(int nShot, CSurvey3D& survey, bool bQuiet);
    int MakeSurface();
    int MakeSurfaceBottomDistributed();
    int InitPMLProfile();
    // The sponge factors m_fTaper of m_nTaper and m_dt (filled by InitModel).
    void FillTaper();
    int ValidateSurveyGeometryShared();
    int ValidateSurveyGeometryDistributed();

    // ---- Results ----------------------------------------------------------
    CString GetFileName(int nType, char cComponent, bool bTemplate, bool bMerged, double rValue);
    int SaveResults();
    int SaveShotgather(const char* pszFile, char cComponent);
    int SaveShotgatherBuf(const char* pszFile, size_t nTraces, size_t nSamples, float* pData,
                          std::vector<C3DPointR>& vRcv, std::vector<int>* pInline, std::vector<int>* pCrossline,
                          std::vector<int>* pTraceId, std::vector<int>* pFileId);
    int SaveTimeField(const char* pszFile, int nKind);
    int AppendVmg2DSnapshot(const char* pszFile, char cPlane, const char* pszComponents, double rStep, bool bCreate);
    int Init3DSnapshots();
    int Save3DSnapshots();
    int Save3DSnapshot(const char* pszFile, char cComponent, double dx, double dy, double dz, bool bWholeGrid);
    static int MergeDistributedCube(COndexApp* pApp, const CCubeN& cube, int* pNz, float* pLocal, float** ppAll);

    // The S-wave ramp of the source for time t and frequency f (0 when
    // SuppressSV is off is not handled here: callers keep 1.0 then).
    static float SWaveRamp(double tCur, double dFreq);
    // The ramp a step starting at time t takes: 1 without SuppressSV.
    float RampAt(double t) const { return m_bSuppressSV ? SWaveRamp(t, m_Signal.m_dFreq) : 1.0f; }

public:
    int m_nTraces;                      // receivers of this shot over all nodes
    CCubeR m_cubeModel;                 // model cube
    CCubeR m_cubeSim;                   // simulation cube of the shot
    CCubeR m_cubeSurvey;                // bounding box of receivers and source
    double m_dMargin;                   // Margin; 0 computes the whole model
    size_t m_nSeisLen;                  // samples of a seismogram trace
    int m_nViscoL;                      // relaxation mechanisms; 0 none
    bool m_bApparentVelocity;           // UseApparentVelocity
    CSignal3D m_Signal;                 // source signal
    int m_nSourceType;                  // [Source] Type
    float m_fK[6];                      // k11, k22, k33, k12, k13, k23
    bool m_bSuppressSV;                 // SuppressSV
    int m_nSurfType;                    // 0 invisible, 1 free
    double m_tStart;                    // time of step 0
    double m_tCur;                      // current loop time
    double m_tEnd;                      // last modelled time
    size_t m_nSeisPos;                  // next seismogram sample
    double m_dx;                        // grid step, all axes
    double m_dt;                        // time step
    int m_nTimeField;                   // bit 0 max energy, bit 1 max divergence
    double m_dTimeDx, m_dTimeDy, m_dTimeDz;
    int m_nTimeNx, m_nTimeNy, m_nTimeNz;
    bool m_bTimeMerge;                  // [Time] Merge
    int m_nZ0, m_nZ1;                   // planes of this node in the whole grid
    int m_nZAll;                        // planes of the whole grid
    int m_nx, m_ny, m_nz;               // cells of this process's grid
    int m_nTaper;                       // absorbing strip width
    int m_nPML;                         // PML slab width
    int m_nHalo;                        // stencil half-width, never computed
    int m_nSnapEvery;                   // [Snapshot] Every
    double m_tSnap0;                    // [Snapshot] t0
    double m_dSnapDt;                   // [Snapshot] dt
    double m_tSnapNext;                 // time of the next 2D snapshot
    double m_dSnapYOffset;              // [Snapshot] Y Offset
    std::vector<int> m_vSnapShots;      // [3DSnapshot] Shots
    std::vector<double> m_vSnapTimes;   // [3DSnapshot] Times
    char m_szSnapComponents[20];        // [3DSnapshot] Components
    double m_dSnapDx, m_dSnapDy, m_dSnapDz;
    int m_nShot;                        // active shot
    C3DPointR m_ptShot;                 // shot point
    std::vector<C3DPointR> m_vRcvPoints;
    std::vector<C3DPointR> m_vSrcPoints;
    std::vector<int> m_vRcvInline;
    std::vector<int> m_vRcvCrossline;
    std::vector<int> m_vRcvTraceId;
    std::vector<int> m_vRcvFileId;
    std::vector<C3DShotPoint> m_vSources;
    std::vector<size_t> m_vRcvCells;
    std::vector<CShotTauK> m_vSrcTensors;
    CCubeR m_cubeGrid;                  // first and last cell of the grid
    float* m_pVp;
    float* m_pVs;
    float* m_pRho;
    float* m_pQ;
    float* m_pAnisEps;
    float* m_pAnisDelta;
    float* m_pAnisGamma;
    float* m_pAnisAlpha;
    float* m_pAnisPhi;
    float* m_pC11;
    float* m_pC12;
    float* m_pC13;
    float* m_pC22;
    float* m_pC23;
    float* m_pC33;
    float* m_pC44;
    float* m_pC55;
    float* m_pC66;
    float* m_pC14;
    float* m_pC15;
    float* m_pC16;
    float* m_pC24;
    float* m_pC25;
    float* m_pC26;
    float* m_pC34;
    float* m_pC35;
    float* m_pC36;
    float* m_pC45;
    float* m_pC46;
    float* m_pC56;
    float* m_pViscoM;                   // relaxation parameters
    float m_fSWave;                     // S-wave ramp of the current step
    float m_fSWaveNext;                 // and of the second step of a pair
    bool m_bPML;                        // PML
    size_t m_nPmlCellsX, m_nPmlCellsY, m_nPmlCellsZ;
    // PML profiles: per axis B/A for D- low, D+ high, then D+ low, D- high.
    float* m_pPmlBXMLo;
    float* m_pPmlBXPHi;
    float* m_pPmlAXMLo;
    float* m_pPmlAXPHi;
    float* m_pPmlBXPLo;
    float* m_pPmlBXMHi;
    float* m_pPmlAXPLo;
    float* m_pPmlAXMHi;
    float* m_pPmlBYMLo;
    float* m_pPmlBYPHi;
    float* m_pPmlAYMLo;
    float* m_pPmlAYPHi;
    float* m_pPmlBYPLo;
    float* m_pPmlBYMHi;
    float* m_pPmlAYPLo;
    float* m_pPmlAYMHi;
    float* m_pPmlBZMLo;
    float* m_pPmlBZPHi;
    float* m_pPmlAZMLo;
    float* m_pPmlAZPHi;
    float* m_pPmlBZPLo;
    float* m_pPmlBZMHi;
    float* m_pPmlAZPLo;
    float* m_pPmlAZMHi;
    float* m_pPlane;                    // one vertical plane, also smoothing scratch
    float m_fTaper[38];                 // sponge factors of the absorbing strip
    COndexApp* m_pApp;                  // the job; not owned
    bool m_b3DSnapshots;                // this shot writes 3D snapshots
    double m_t3DSnapLast;               // loop time of the latest 3D snapshot
    int m_n3DSnapNz;                    // z samples of a 3D snapshot on this node
    int m_nBoxY0, m_nBoxX0, m_nBoxY1, m_nBoxX1; // source box; Y1/X1 <= 0: none
    int m_nBoxHold;                     // steps the box stood still before time 0
};

// Debug: a grid of nx*ny*nz cells (x fastest) as a SEG-Y cube over 'cube'.
void SaveDebugGrid(const char* pszFile, const float* pGrid, int nx, int ny, int nz, const CCubeR& cube);
