#pragma once
// The CPU engine: every grid in host memory, advanced by OpenMP loops.

#include <cstdio>

#include "cpu/PmlScheme.h"
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
    int PropagatePair(int nType, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1) override;
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
    // Rows per tile of the two-step passes (PropagatePair); 0: each
    // scheme's own.
    int m_nPairTileRows;
    // The two-step passes of the acoustic scheme and of the three methods
    // that share the elastic velocity step.
    int PropagateAcoPair(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1);
    int PropagateElaPair(int nType, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1);

    // PML memory variables, one per differentiated field, axis and side, of
    // the slab size of that axis. The acoustic scheme keeps its pressure
    // derivatives in the Txx/Tyy/Tzz arrays.
    float* m_pPsiUxXLo;
    float* m_pPsiUxXHi;
    float* m_pPsiTxxXLo;
    float* m_pPsiTxxXHi;
    float* m_pPsiUyYLo;
    float* m_pPsiUyYHi;
    float* m_pPsiTyyYLo;
    float* m_pPsiTyyYHi;
    float* m_pPsiUzZLo;
    float* m_pPsiUzZHi;
    float* m_pPsiTzzZLo;
    float* m_pPsiTzzZHi;
    // Elastic methods: the remaining derivatives.
    float* m_pPsiTxyXLo;
    float* m_pPsiTxyXHi;
    float* m_pPsiTxyYLo;
    float* m_pPsiTxyYHi;
    float* m_pPsiTxzXLo;
    float* m_pPsiTxzXHi;
    float* m_pPsiTxzZLo;
    float* m_pPsiTxzZHi;
    float* m_pPsiTyzYLo;
    float* m_pPsiTyzYHi;
    float* m_pPsiTyzZLo;
    float* m_pPsiTyzZHi;
    float* m_pPsiUxYLo;
    float* m_pPsiUxYHi;
    float* m_pPsiUxZLo;
    float* m_pPsiUxZHi;
    float* m_pPsiUyXLo;
    float* m_pPsiUyXHi;
    float* m_pPsiUyZLo;
    float* m_pPsiUyZHi;
    float* m_pPsiUzXLo;
    float* m_pPsiUzXHi;
    float* m_pPsiUzYLo;
    float* m_pPsiUzYHi;
    // General anisotropic method: shifted strain terms, 18 per axis in the
    // order Z, Y, X; each of the slab size of its axis.
    float* m_pPsiAni[54];

    FILE* m_pBigSeis;       // big seismogram mode: the open temporary file
    float* m_pBigShot;      // big seismogram mode: one component read back

    // The 36 named memory arrays in allocation order, with the axis of each
    // (0 x, 1 y, 2 z); the first 12 are those of every method.
    float** PsiArray(int n, int* pAxis);
    static const int PSI_NAMED = 36;
    static const int PSI_ACOUSTIC = 12;

    // The grid as the slab and sponge arithmetic of every scheme sees it.
    fd::SlabGeom SlabGeometry() const;
    // The 24 profiles by axis, stencil and side; false (with the table still
    // filled) when one is missing or the slab sizes do not fit the grid.
    bool GetPmlProfiles(fd::PmlProfiles& prof) const;
    // The box of a half step clamped clear of the halo (the stencil reaches
    // two cells out, so no read leaves the arrays).
    fd::Box ClampedBox(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1) const;
    // Usable entries of the sponge table.
    int SpongeWidth() const;
    // The refusal of a scheme whose PML arrays are missing or do not fit: -200.
    int PmlArraysMissing() const;

private:
    // Grid sizes of this shot, in cells.
    size_t Cells() const;
    // Allocation of one zero-filled grid; throws std::bad_alloc.
    static float* NewGrid(size_t n);
};
