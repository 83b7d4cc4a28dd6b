#pragma once
// The static records of the module, shared by its .cu files (nvcc only).

#include <cuda_runtime.h>

#include "CUDA/Records.h"
#include "CUDA/ondex_cuda.h"

extern TMesh3D a;
extern TMesh3DLocal a3cfg;
extern TMesh3DTime a3Time;
extern float* a3TimeAr[4];      // max energy, its times, max divergence, its times
extern TMesh3DSeis seis_h;      // host image of seis_d
extern TMesh3DSeis* seis_d;
extern TMesh3DSignal sig_h;
extern TMesh3DOrthorombic ort_h;
extern TMesh3DOrthorombic* ort_d;
extern TMesh3DAnisotropic anis_h;
extern TMesh3DAnisotropic* anis_d;
extern TPML3D pmlH;
extern TPML3D* pmlD;
extern float* pVisM;
extern float* pVisG;
extern CShotTauK* pFaultSlipTauK_d;
extern int g_nLastError;

// cudaGetLastError: a failure is kept in g_nLastError and returned. Codes
// of this runtime are stored under the number their name had in the table
// of CUDA_Error_Explain, so that the explanation fits.
int CheckError();
// The runtime code in the numbering of CUDA_Error_Explain.
int CudaCodeOf(cudaError_t e);

// cudaMalloc and zero n floats (at least one element); 0 or the error.
int DeviceAlloc(float** pp, size_t nFloats);
template <class T>
inline void DeviceFree(T*& p)
{
    if (p)
        cudaFree(p);
    p = nullptr;
}
// The wave-field grid of a component code (1..9); null when missing.
float* ComponentGrid(int nComponent);
// Launch size: n items in blocks of b, rounded up.
inline unsigned int Blocks(long long n, int b)
{
    return (unsigned int)((n + b - 1) / b);
}
