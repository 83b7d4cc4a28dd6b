#pragma once
// The CPU engine: every grid in host memory, advanced by OpenMP loops.

#include "engine3d/Calc3D.h"

class CCalc3D_OMP : public CCalc3D
{
public:
    explicit CCalc3D_OMP(COndexApp& app);
    ~CCalc3D_OMP() override;

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
    // Wave field grids; m_pTxx is the pressure of the acoustic scheme.
    float* m_pUx;
    float* m_pUy;
    float* m_pUz;
    float* m_pTxx;
    float* m_pTyy;
    float* m_pTzz;
    float* m_pTxy;
    float* m_pTxz;
    float* m_pTyz;
    float* m_pViscoG;       // memory variables per cell and mechanism
    float* m_pTimeMax[2];   // time field maxima
    float* m_pTimeArr[2];   // time field arrival times
    float* m_pSeis[4];      // seismogram buffers X, Y, Z, C
};
