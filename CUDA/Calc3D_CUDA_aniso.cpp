// CCalc3D_CUDA: the stress steps of the orthorhombic and general
// anisotropic methods. The module picks the kernel by the method; these
// pass the surface switch and the S-wave ramp as the elastic step does.

#include "CUDA/Calc3D_CUDA.h"

int CCalc3D_CUDA::PropagateOrtWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    return Step(false, iz0, iy0, ix0, iz1, iy1, ix1, m_fSWave,
                "Error! CUDA: Unable to run simulation step (Tau).\n");
}

int CCalc3D_CUDA::PropagateAniWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    return Step(false, iz0, iy0, ix0, iz1, iy1, ix1, m_fSWave,
                "Error! CUDA: Unable to run simulation step (Tau).\n");
}
