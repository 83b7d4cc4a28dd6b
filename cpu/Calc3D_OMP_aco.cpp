// CCalc3D_OMP: the acoustic scheme, a leapfrog of particle velocity and
// pressure on the staggered grid, with a PML or a sponge at the faces. The
// engine's grids are checked and handed to the sweeps of AcoSweep.cpp.

#include "cpu/Calc3D_OMP.h"

#include "base/Output.h"
#include "cpu/AcoSweep.h"

namespace
{
// The box of a half step is clamped: the stencil reaches two cells out and
// the halo is never computed, so no read leaves the arrays.
int AcoSetup(CCalc3D_OMP& e, bool bTau, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1, fd::Box& b,
             fd::AcoStep& s)
{
    if (!e.m_pUx || !e.m_pUy || !e.m_pUz || !e.m_pTxx || !e.m_pVp || !e.m_pRho)
    {
        u_Error("Error! The acoustic scheme has no wave field or model grids.\n");
        return -200;
    }
    b = e.ClampedBox(iz0, iy0, ix0, iz1, iy1, ix1);
    s.f = {e.m_pUx, e.m_pUy, e.m_pUz, e.m_pTxx, e.m_pRho, e.m_pVp, (int64_t)e.m_nx, (int64_t)e.m_nx * e.m_ny};
    s.g = e.SlabGeometry();
    s.bPML = e.m_bPML;
    s.taper = e.m_fTaper;
    s.nTaper = e.SpongeWidth();
    if (!s.bPML)
        return 0;
    // The velocity step corrects D- of P in the arrays named after the
    // normal stresses; the pressure step D+ of the velocities in theirs.
    float* psi[2][3][2] = {{{e.m_pPsiTxxXLo, e.m_pPsiTxxXHi}, {e.m_pPsiTyyYLo, e.m_pPsiTyyYHi},
                            {e.m_pPsiTzzZLo, e.m_pPsiTzzZHi}},
                           {{e.m_pPsiUxXLo, e.m_pPsiUxXHi}, {e.m_pPsiUyYLo, e.m_pPsiUyYHi},
                            {e.m_pPsiUzZLo, e.m_pPsiUzZHi}}};
    bool bAll = e.GetPmlProfiles(s.prof);
    for (int axis = 0; axis < 3; axis++)
        for (int side = 0; side < 2; side++)
        {
            s.psi[axis][side] = psi[bTau ? 1 : 0][axis][side];
            bAll = bAll && s.psi[axis][side] != nullptr;
        }
    return bAll ? 0 : e.PmlArraysMissing();
}

} // namespace

int CCalc3D_OMP::PropagateAcoWaveU(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    fd::Box b;
    fd::AcoStep s;
    const int nResult = AcoSetup(*this, false, iz0, iy0, ix0, iz1, iy1, ix1, b, s);
    if (nResult != 0)
        return nResult;
    fd::AcoSweepU(s, b);
    return 0;
}

int CCalc3D_OMP::PropagateAcoWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    fd::Box b;
    fd::AcoStep s;
    const int nResult = AcoSetup(*this, true, iz0, iy0, ix0, iz1, iy1, ix1, b, s);
    if (nResult != 0)
        return nResult;
    return fd::AcoSweepTau(s, b) ? 0 : -150;
}

// Two steps in one pass (PropagatePair).
int CCalc3D_OMP::PropagateAcoPair(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    fd::Box b;
    fd::AcoStep su, st;
    int nResult = AcoSetup(*this, false, iz0, iy0, ix0, iz1, iy1, ix1, b, su);
    if (nResult == 0)
        nResult = AcoSetup(*this, true, iz0, iy0, ix0, iz1, iy1, ix1, b, st);
    if (nResult != 0)
        return nResult;
    return fd::AcoSweepTwoSteps(su, st, b, m_nPairTileRows) ? 0 : -150;
}
