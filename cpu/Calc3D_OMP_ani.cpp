// CCalc3D_OMP: the stress step of the general anisotropic scheme (21
// stiffness constants). The velocity step is the elastic one. The engine's
// grids are checked and handed to the sweeps of AniSweep.cpp.

#include "cpu/Calc3D_OMP.h"

#include "base/Output.h"
#include "cpu/AniSweep.h"

int ani::AniStepOf(CCalc3D_OMP& e, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1, fd::Box& b, AniStep& s)
{
    s = {};
    const int nResult = OrtStepOf(e, iz0, iy0, ix0, iz1, iy1, ix1, b, s.o);
    if (nResult != 0)
        return nResult;
    if (!e.m_pC14 || !e.m_pC15 || !e.m_pC16 || !e.m_pC24 || !e.m_pC25 || !e.m_pC26 || !e.m_pC34 || !e.m_pC35 ||
        !e.m_pC36 || !e.m_pC45 || !e.m_pC46 || !e.m_pC56)
    {
        u_Error("Error! The anisotropic scheme has no wave field or stiffness grids.\n");
        return -200;
    }
    s.c = {e.m_pC14, e.m_pC15, e.m_pC16, e.m_pC24, e.m_pC25, e.m_pC26,
           e.m_pC34, e.m_pC35, e.m_pC36, e.m_pC45, e.m_pC46, e.m_pC56};
    if (!s.o.e.bPML)
        return 0;
    // The 54 memory arrays of the averages: per axis Z, Y, X eighteen, in
    // three groups (the D+ derivative, then the two D- ones) of three low
    // and the same three high.
    bool bAll = true;
    for (int axis = 0; axis < 3; axis++)
        for (int j = 0; j < 9; j++)
            for (int side = 0; side < 2; side++)
            {
                float* p = e.m_pPsiAni[(2 - axis) * 18 + (j / 3) * 6 + side * 3 + j % 3];
                s.psiAvg[axis][j][side] = p;
                bAll = bAll && p != nullptr;
            }
    return bAll ? 0 : e.PmlArraysMissing();
}

int CCalc3D_OMP::PropagateAniWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    fd::Box b;
    ani::AniStep s;
    const int nResult = ani::AniStepOf(*this, iz0, iy0, ix0, iz1, iy1, ix1, b, s);
    if (nResult != 0)
        return nResult;
    return ani::AniSweepTau(s, b) ? 0 : -150;
}
