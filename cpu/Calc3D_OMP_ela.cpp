// CCalc3D_OMP: the isotropic elastic and viscoelastic scheme, a leapfrog of
// the three particle velocities and the six stresses, with a PML or a
// sponge at the faces and the free surface known by its empty cells. The
// engine's grids are checked and handed to the sweeps of ElaSweep.cpp.

#include "cpu/Calc3D_OMP.h"

#include <algorithm>

#include "base/Output.h"
#include "cpu/AniSweep.h"
#include "cpu/ElaSweep.h"

// The box is clamped: the stencil reaches two cells out and the halo is
// never computed, so no read leaves the arrays.
int ela::ElaStepOf(CCalc3D_OMP& e, bool bTau, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1, fd::Box& b,
                   ElaStep& s)
{
    // The velocity step reads only B: the anisotropic methods, whose model
    // has no C and M grids, share it.
    if (!e.m_pUx || !e.m_pUy || !e.m_pUz || !e.m_pTxx || !e.m_pTyy || !e.m_pTzz || !e.m_pTxy || !e.m_pTxz ||
        !e.m_pTyz || !e.m_pRho || (bTau && (!e.m_pVp || !e.m_pVs)))
    {
        u_Error("Error! The elastic scheme has no wave field or model grids.\n");
        return -200;
    }
    b = e.ClampedBox(iz0, iy0, ix0, iz1, iy1, ix1);
    s = {};
    s.f = {e.m_pUx, e.m_pUy, e.m_pUz, e.m_pTxx, e.m_pTyy, e.m_pTzz, e.m_pTxy, e.m_pTxz, e.m_pTyz,
           e.m_pRho, e.m_pVp, e.m_pVs, (int64_t)e.m_nx, (int64_t)e.m_nx * e.m_ny};
    s.g = e.SlabGeometry();
    s.bPML = e.m_bPML;
    s.taper = e.m_fTaper;
    s.nTaper = e.SpongeWidth();
    s.bSuppressSV = e.m_bSuppressSV;
    s.fS = e.m_bSuppressSV ? e.m_fSWave : 1.0f;
    // With mechanisms the Q grid is gone (or, if still there, not a
    // damping factor): it is used only without them, and the mechanisms
    // exist only with both of their grids.
    const int L = std::max(0, e.m_nViscoL);
    s.q = L > 0 ? nullptr : e.m_pQ;
    s.visco = {e.m_pViscoM, e.m_pViscoG, (e.m_pViscoM && e.m_pViscoG) ? L : 0, (float)e.m_dt};
    if (!s.bPML)
        return 0;
    // Per axis the memory arrays of the derivatives along it, in the order
    // of the axis groups of VelDerivs and StrainDerivs, low then high.
    float* const vel[3][3][2] = {
        {{e.m_pPsiTxxXLo, e.m_pPsiTxxXHi}, {e.m_pPsiTxyXLo, e.m_pPsiTxyXHi}, {e.m_pPsiTxzXLo, e.m_pPsiTxzXHi}},
        {{e.m_pPsiTxyYLo, e.m_pPsiTxyYHi}, {e.m_pPsiTyyYLo, e.m_pPsiTyyYHi}, {e.m_pPsiTyzYLo, e.m_pPsiTyzYHi}},
        {{e.m_pPsiTxzZLo, e.m_pPsiTxzZHi}, {e.m_pPsiTyzZLo, e.m_pPsiTyzZHi}, {e.m_pPsiTzzZLo, e.m_pPsiTzzZHi}}};
    float* const tau[3][3][2] = {
        {{e.m_pPsiUxXLo, e.m_pPsiUxXHi}, {e.m_pPsiUyXLo, e.m_pPsiUyXHi}, {e.m_pPsiUzXLo, e.m_pPsiUzXHi}},
        {{e.m_pPsiUyYLo, e.m_pPsiUyYHi}, {e.m_pPsiUxYLo, e.m_pPsiUxYHi}, {e.m_pPsiUzYLo, e.m_pPsiUzYHi}},
        {{e.m_pPsiUzZLo, e.m_pPsiUzZHi}, {e.m_pPsiUxZLo, e.m_pPsiUxZHi}, {e.m_pPsiUyZLo, e.m_pPsiUyZHi}}};
    bool bAll = e.GetPmlProfiles(s.prof);
    for (int axis = 0; axis < 3; axis++)
        for (int j = 0; j < 3; j++)
            for (int side = 0; side < 2; side++)
            {
                // Both steps' arrays are checked by either, so that a broken
                // set is refused before the first half step writes.
                s.psi[axis][j][side] = bTau ? tau[axis][j][side] : vel[axis][j][side];
                bAll = bAll && vel[axis][j][side] != nullptr && tau[axis][j][side] != nullptr;
            }
    return bAll ? 0 : e.PmlArraysMissing();
}

int CCalc3D_OMP::PropagateElaWaveU(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    fd::Box b;
    ela::ElaStep s;
    const int nResult = ela::ElaStepOf(*this, false, iz0, iy0, ix0, iz1, iy1, ix1, b, s);
    if (nResult != 0)
        return nResult;
    ela::ElaSweepU(s, b);
    return 0;
}

int CCalc3D_OMP::PropagateElaWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    fd::Box b;
    ela::ElaStep s;
    const int nResult = ela::ElaStepOf(*this, true, iz0, iy0, ix0, iz1, iy1, ix1, b, s);
    if (nResult != 0)
        return nResult;
    ela::ElaSweepTau(s, b);
    return 0;
}

// Two steps in one pass (PropagatePair): the velocity record serves both
// velocity steps, the second stress step takes the next step's ramp.
int CCalc3D_OMP::PropagateElaPair(int nType, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    fd::Box b;
    ela::ElaStep u;
    int r = ela::ElaStepOf(*this, false, iz0, iy0, ix0, iz1, iy1, ix1, b, u);
    const float fNext = m_bSuppressSV ? m_fSWaveNext : 1.0f;
    if (r == 0 && nType == 102)
    {
        ela::ElaStep t1, t2;
        r = ela::ElaStepOf(*this, true, iz0, iy0, ix0, iz1, iy1, ix1, b, t1);
        t2 = t1;
        t2.fS = fNext;
        if (r == 0)
            ela::ElaSweepTwoSteps(u, t1, t2, b, m_nPairTileRows);
    }
    else if (r == 0)
    {
        ani::AniStep t1 = {}, t2;
        r = nType == 103 ? ani::OrtStepOf(*this, iz0, iy0, ix0, iz1, iy1, ix1, b, t1.o)
                         : ani::AniStepOf(*this, iz0, iy0, ix0, iz1, iy1, ix1, b, t1);
        t2 = t1;
        t2.o.e.fS = fNext;
        if (r == 0 && !(nType == 103 ? ani::OrtSweepTwoSteps(u, t1.o, t2.o, b, m_nPairTileRows)
                                     : ani::AniSweepTwoSteps(u, t1, t2, b, m_nPairTileRows)))
            r = -150;
    }
    m_fSWave = m_fSWaveNext;
    return r;
}
