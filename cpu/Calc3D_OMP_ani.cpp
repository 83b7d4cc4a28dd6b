// CCalc3D_OMP: the stress step of the general anisotropic scheme (21
// stiffness constants). Not built yet.

#include "base/Pending.h"
#include "cpu/Calc3D_OMP.h"

ONDEX_PENDING("The general anisotropic scheme (PropagateAniWaveTau)");

int CCalc3D_OMP::PropagateAniWaveTau(int, int, int, int, int, int)
{
    return u_NotBuilt("The general anisotropic scheme (PropagateAniWaveTau)");
}
