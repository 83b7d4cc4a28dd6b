#pragma once
// The GPU engine: the wave field and the finished model live on one CUDA
// device; each operation calls one function of the module ondex_cuda and
// turns a failure into a report. The host keeps the model grids only until
// they are uploaded, plus buffers for what comes back.

#include "engine3d/Calc3D.h"

// The memory a shot needs, in MB, by the terms of the report.
struct SCudaMemory
{
    int nM, nP, L;           // model grids, wave-field grids, mechanisms
    double G;                // one grid
    double dSeis;            // one seismogram component
    double dPlane;           // one vertical plane
    double dPmlHost, dPmlDevice;
    double dTimeHost, dTimeDevice;
    double dHost, dDevice;   // totals
};

// The terms for a method (101..104) and a shot's sizes; W is the PML width
// (0 without PML), nTimeType the time field bits.
SCudaMemory CudaMemoryEstimate(int nMethod, bool bQFile, int L, int nx, int ny, int nz, size_t nRec, size_t nSteps,
                               int W, int nTimeType, int tx, int ty, int tz);

class CCalc3D_CUDA : public CCalc3D
{
public:
    explicit CCalc3D_CUDA(COndexApp& app);
    ~CCalc3D_CUDA() override;

    int AllocateMemory(bool bEstimate, bool bQuiet) override;
    int AllocateMemorySeismogram() override;
    int FreeMemory(bool bModel, bool bWave, bool bSeis, bool bTime, bool bPlane) override;
    int LoadModel() override;
    int ApplySignal(int nStep) override;
    int PropagateAcoWaveU(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1) override;
    int PropagateAcoWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1) override;
    int PropagateElaWaveU(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1) override;
    int PropagateElaWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1) override;
    int PropagateOrtWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1) override;
    int PropagateAniWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1) override;
    int PropagateTimeField() override;
    int RecordSeismogram() override;
    float* GrabShotgather(char cComponent) override;
    float* Grab2DSnapshot(char cPlane, char cComponent) override;
    float* Grab3DSnapshot(CCubeN& area, C3DSizeN& size, char cComponent) override;
    float* GrabTimeField(int nType) override;
    int GetCalcPlane(int nComponent, int z0, int z1, float** ppPlane, bool bNoCopy) override;
    int SetCalcPlane(int nComponent, int z0, int z1, float* pPlane) override;
    int FreeCalcPlane(float** ppPlane) override;

public:
    float* m_pSeisHost;      // one seismogram component, nRec*nSteps
    float* m_pTimeHost;      // one time field cube
    int m_nTimeHostKind;     // kind held in m_pTimeHost; -1 none

private:
    // A failure of the module: separator, the message, the details, separator.
    static int Report(int nCode, const char* pszMessage);
    int Step(bool bU, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1, float fS, const char* pszWhat);
    size_t Cells() const;
};
