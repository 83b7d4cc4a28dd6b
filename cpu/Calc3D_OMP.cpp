// CCalc3D_OMP: the CPU engine. Object life and the slab view of the grids
// here; memory, schemes and source/recording live in the Calc3D_OMP_*.cpp
// files.

#include "cpu/Calc3D_OMP.h"

#include <algorithm>

#include "base/Output.h"

CCalc3D_OMP::CCalc3D_OMP(COndexApp& app)
    : CCalc3D(app),
      m_pUx(nullptr), m_pUy(nullptr), m_pUz(nullptr),
      m_pTxx(nullptr), m_pTyy(nullptr), m_pTzz(nullptr),
      m_pTxy(nullptr), m_pTxz(nullptr), m_pTyz(nullptr),
      m_pViscoG(nullptr),
      m_nPairTileRows(0),
      m_pBigSeis(nullptr), m_pBigShot(nullptr)
{
    for (int i = 0; i < 2; i++)
        m_pTimeMax[i] = m_pTimeArr[i] = nullptr;
    for (int i = 0; i < 4; i++)
        m_pSeis[i] = nullptr;
    for (int n = 0; n < PSI_NAMED; n++)
        *PsiArray(n, nullptr) = nullptr;
    for (float*& p : m_pPsiAni)
        p = nullptr;
}

int CCalc3D_OMP::PropagatePair(int nType, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    if (nType == 101)
        return PropagateAcoPair(iz0, iy0, ix0, iz1, iy1, ix1);
    if (nType >= 102 && nType <= 104)
        return PropagateElaPair(nType, iz0, iy0, ix0, iz1, iy1, ix1);
    return CCalc3D::PropagatePair(nType, iz0, iy0, ix0, iz1, iy1, ix1);
}

CCalc3D_OMP::~CCalc3D_OMP()
{
    FreeMemory(true, true, true, true, true);
    if (m_pBigSeis)
    {
        fclose(m_pBigSeis);
        m_pBigSeis = nullptr;
    }
}

fd::SlabGeom CCalc3D_OMP::SlabGeometry() const
{
    fd::SlabGeom g;
    g.nx = m_nx;
    g.ny = m_ny;
    g.W = m_bPML ? m_nPML : 0;
    g.h = m_nHalo;
    g.nZ0 = m_nZ0;
    g.nZAll = m_nZAll;
    return g;
}

bool CCalc3D_OMP::GetPmlProfiles(fd::PmlProfiles& p) const
{
    // Per axis the object's order: B M Lo, B P Hi, A M Lo, A P Hi, B P Lo,
    // B M Hi, A P Lo, A M Hi.
    const float* const byAxis[3][8] = {
        {m_pPmlBXMLo, m_pPmlBXPHi, m_pPmlAXMLo, m_pPmlAXPHi, m_pPmlBXPLo, m_pPmlBXMHi, m_pPmlAXPLo, m_pPmlAXMHi},
        {m_pPmlBYMLo, m_pPmlBYPHi, m_pPmlAYMLo, m_pPmlAYPHi, m_pPmlBYPLo, m_pPmlBYMHi, m_pPmlAYPLo, m_pPmlAYMHi},
        {m_pPmlBZMLo, m_pPmlBZPHi, m_pPmlAZMLo, m_pPmlAZPHi, m_pPmlBZPLo, m_pPmlBZMHi, m_pPmlAZPLo, m_pPmlAZMHi}};
    bool bAll = m_nPML > 0;
    for (int axis = 0; axis < 3; axis++)
    {
        const float* const* q = byAxis[axis];
        p.b[axis][fd::kMinus][fd::kLo] = q[0];
        p.b[axis][fd::kPlus][fd::kHi] = q[1];
        p.a[axis][fd::kMinus][fd::kLo] = q[2];
        p.a[axis][fd::kPlus][fd::kHi] = q[3];
        p.b[axis][fd::kPlus][fd::kLo] = q[4];
        p.b[axis][fd::kMinus][fd::kHi] = q[5];
        p.a[axis][fd::kPlus][fd::kLo] = q[6];
        p.a[axis][fd::kMinus][fd::kHi] = q[7];
        for (int k = 0; k < 8; k++)
            bAll = bAll && q[k] != nullptr;
    }
    const size_t nx = (size_t)std::max(0, m_nx), ny = (size_t)std::max(0, m_ny), nz = (size_t)std::max(0, m_nz);
    const size_t W = (size_t)std::max(0, m_nPML);
    return bAll && m_nPmlCellsX == nz * ny * W && m_nPmlCellsY == nz * nx * W && m_nPmlCellsZ == ny * nx * W;
}

fd::Box CCalc3D_OMP::ClampedBox(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1) const
{
    const int h = std::max(2, m_nHalo);
    return {std::max(iz0, h),           std::max(iy0, h),           std::max(ix0, h),
            std::min(iz1, m_nz - 1 - h), std::min(iy1, m_ny - 1 - h), std::min(ix1, m_nx - 1 - h)};
}

int CCalc3D_OMP::SpongeWidth() const
{
    return std::max(0, std::min(m_nTaper, (int)(sizeof(m_fTaper) / sizeof(m_fTaper[0]))));
}

int CCalc3D_OMP::PmlArraysMissing() const
{
    u_Error("Error! PML arrays are missing or do not fit the grid (%dx%dx%d, W=%d).\n", m_nx, m_ny, m_nz, m_nPML);
    return -200;
}
