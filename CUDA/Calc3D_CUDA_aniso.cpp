// CCalc3D_CUDA: the stress steps of the orthorhombic and general
// anisotropic methods. Their kernels wait for the per-cell functions of the
// CPU schemes, which they must share; not built yet.

#include "CUDA/Calc3D_CUDA.h"
#include "base/Pending.h"

ONDEX_PENDING("The anisotropic GPU kernels (CCalc3D_CUDA)");

int CCalc3D_CUDA::PropagateOrtWaveTau(int, int, int, int, int, int)
{
    return u_NotBuilt("The anisotropic GPU kernels (CCalc3D_CUDA)");
}

int CCalc3D_CUDA::PropagateAniWaveTau(int, int, int, int, int, int)
{
    return u_NotBuilt("The anisotropic GPU kernels (CCalc3D_CUDA)");
}
