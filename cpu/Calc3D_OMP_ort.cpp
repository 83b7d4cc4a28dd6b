// CCalc3D_OMP: the stress step of the orthorhombic scheme (nine stiffness
// constants). Not built yet.

#include "base/Pending.h"
#include "cpu/Calc3D_OMP.h"

ONDEX_PENDING("The orthorhombic scheme (PropagateOrtWaveTau)");

int CCalc3D_OMP::PropagateOrtWaveTau(int, int, int, int, int, int)
{
    return u_NotBuilt("The orthorhombic scheme (PropagateOrtWaveTau)");
}
