// CCalc3D_OMP: the stress step of the orthorhombic scheme (nine stiffness
// constants on the grid axes). The velocity step is the elastic one. The
// engine's grids are checked and handed to the sweeps of AniSweep.cpp.

#include "cpu/Calc3D_OMP.h"

#include <algorithm>

#include "base/Output.h"
#include "cpu/AniSweep.h"

int ani::OrtStepOf(CCalc3D_OMP& e, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1, fd::Box& b,
                   ort::OrtStep& s)
{
    if (!e.m_pUx || !e.m_pUy || !e.m_pUz || !e.m_pTxx || !e.m_pTyy || !e.m_pTzz || !e.m_pTxy || !e.m_pTxz ||
        !e.m_pTyz || !e.m_pRho || !e.m_pC11 || !e.m_pC12 || !e.m_pC13 || !e.m_pC22 || !e.m_pC23 || !e.m_pC33 ||
        !e.m_pC44 || !e.m_pC55 || !e.m_pC66)
    {
        u_Error("Error! The anisotropic scheme has no wave field or stiffness grids.\n");
        return -200;
    }
    b = e.ClampedBox(iz0, iy0, ix0, iz1, iy1, ix1);
    s = {};
    // The elastic record; its c and m grids are not read by this step.
    s.e.f = {e.m_pUx, e.m_pUy, e.m_pUz, e.m_pTxx, e.m_pTyy, e.m_pTzz, e.m_pTxy, e.m_pTxz, e.m_pTyz,
             e.m_pRho, nullptr, nullptr, (int64_t)e.m_nx, (int64_t)e.m_nx * e.m_ny};
    s.e.g = e.SlabGeometry();
    s.e.bPML = e.m_bPML;
    s.e.taper = e.m_fTaper;
    s.e.nTaper = e.SpongeWidth();
    s.e.bSuppressSV = e.m_bSuppressSV;
    s.e.fS = e.m_bSuppressSV ? e.m_fSWave : 1.0f;
    // No Q damping on the CPU for these methods.
    s.e.q = nullptr;
    const int L = std::max(0, e.m_nViscoL);
    s.e.visco = {e.m_pViscoM, e.m_pViscoG, (e.m_pViscoM && e.m_pViscoG) ? L : 0, (float)e.m_dt};
    s.c = {e.m_pC11, e.m_pC12, e.m_pC13, e.m_pC22, e.m_pC23, e.m_pC33, e.m_pC44, e.m_pC55, e.m_pC66};
    if (!s.e.bPML)
        return 0;
    // The stress step's memory arrays per axis, in the order of the axis
    // groups of StrainDerivs (x: ex, a2, b2; y: ey, a1, c2; z: ez, b1, c1).
    float* const tau[3][3][2] = {
        {{e.m_pPsiUxXLo, e.m_pPsiUxXHi}, {e.m_pPsiUyXLo, e.m_pPsiUyXHi}, {e.m_pPsiUzXLo, e.m_pPsiUzXHi}},
        {{e.m_pPsiUyYLo, e.m_pPsiUyYHi}, {e.m_pPsiUxYLo, e.m_pPsiUxYHi}, {e.m_pPsiUzYLo, e.m_pPsiUzYHi}},
        {{e.m_pPsiUzZLo, e.m_pPsiUzZHi}, {e.m_pPsiUxZLo, e.m_pPsiUxZHi}, {e.m_pPsiUyZLo, e.m_pPsiUyZHi}}};
    bool bAll = e.GetPmlProfiles(s.e.prof);
    for (int axis = 0; axis < 3; axis++)
        for (int j = 0; j < 3; j++)
            for (int side = 0; side < 2; side++)
            {
                s.e.psi[axis][j][side] = tau[axis][j][side];
                bAll = bAll && tau[axis][j][side] != nullptr;
            }
    return bAll ? 0 : e.PmlArraysMissing();
}

int CCalc3D_OMP::PropagateOrtWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    fd::Box b;
    ort::OrtStep s;
    const int nResult = ani::OrtStepOf(*this, iz0, iy0, ix0, iz1, iy1, ix1, b, s);
    if (nResult != 0)
        return nResult;
    return ani::OrtSweepTau(s, b) ? 0 : -150;
}
