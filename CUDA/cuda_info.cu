// ondex_cuda: the devices of this node, their versions, and the test
// calculation that proves one before the engine is chosen.

#include <cmath>
#include <cstdio>

#include "CUDA/ModuleState.h"

namespace
{
char _gCUDA_MSG[100];

__global__ void square_array(float* a, int N)
{
    const int i = (int)(blockIdx.x * blockDim.x + threadIdx.x);
    if (i < N)
        a[i] = a[i] * a[i];
}

bool InRange(int nDevice)
{
    const int n = CUDA_GetDeviceCount();
    return n > 0 && nDevice >= 0 && nDevice < n;
}

double DriverNumber()
{
    int v = 0;
    if (cudaDriverGetVersion(&v) != cudaSuccess)
        return 0.0;
    const int nMajor = v / 1000;
    return CUDA_VersionNumber(nMajor, v - nMajor * 1000);
}
} // namespace

bool CUDA_ModuleBuilt()
{
    return true;
}

int CUDA_GetDeviceCount()
{
    int n = 0;
    if (cudaGetDeviceCount(&n) != cudaSuccess)
    {
        cudaGetLastError();   // no driver or no device: not an error to keep
        return 0;
    }
    return n;
}

double CUDA_GetDriverVersion(int nDevice)
{
    return InRange(nDevice) ? DriverNumber() : 0.0;
}

// The driver is asked here as well: both report the same number.
double CUDA_GetRuntimeVersion(int nDevice)
{
    return InRange(nDevice) ? DriverNumber() : 0.0;
}

double CUDA_GetDeviceCapability(int nDevice)
{
    cudaDeviceProp prop;
    if (!InRange(nDevice) || cudaGetDeviceProperties(&prop, nDevice) != cudaSuccess)
        return 0.0;
    return CUDA_VersionNumber(prop.major, prop.minor);
}

const char* CUDA_GetDeviceName(int nDevice)
{
    const int n = CUDA_GetDeviceCount();
    if (n < 1)
    {
        snprintf(_gCUDA_MSG, sizeof(_gCUDA_MSG), "No CUDA devices found!");
        return _gCUDA_MSG;
    }
    if (nDevice < 0 || nDevice >= n)
    {
        snprintf(_gCUDA_MSG, sizeof(_gCUDA_MSG), "Device %d doesn't exists! Devices are in range [%d..%d]!", nDevice,
                 0, n - 1);
        return _gCUDA_MSG;
    }
    static cudaDeviceProp prop;
    if (cudaGetDeviceProperties(&prop, nDevice) != cudaSuccess)
    {
        CheckError();
        snprintf(_gCUDA_MSG, sizeof(_gCUDA_MSG), "No CUDA devices found!");
        return _gCUDA_MSG;
    }
    return prop.name;
}

int CUDA_SetDevice(int nDevice)
{
    cudaSetDevice(nDevice);
    return CheckError();
}

int CUDA_IsCalcTestOK()
{
    const int N = 10;
    float h[N];
    for (int i = 0; i < N; i++)
        h[i] = (float)i;
    float* d = nullptr;
    if (cudaMalloc((void**)&d, sizeof(h)) != cudaSuccess)
    {
        CheckError();
        return 1;
    }
    bool bOk = cudaMemcpy(d, h, sizeof(h), cudaMemcpyHostToDevice) == cudaSuccess;
    square_array<<<3, 4>>>(d, N);
    bOk = bOk && cudaDeviceSynchronize() == cudaSuccess;
    bOk = bOk && cudaMemcpy(h, d, sizeof(h), cudaMemcpyDeviceToHost) == cudaSuccess;
    cudaFree(d);
    CheckError();
    for (int i = 0; bOk && i < N; i++)
        if (std::fabs((float)(i * i) - h[i]) > 0.0001f)
            bOk = false;
    return bOk ? 0 : 1;
}

const char* CUDA_3D_GetVersion()
{
    return "1.8.0 (2017-09-05)";
}

double CUDA_MeasureCopyGBs(size_t nBytes)
{
    void *pA = nullptr, *pB = nullptr;
    if (cudaMalloc(&pA, nBytes) != cudaSuccess || cudaMalloc(&pB, nBytes) != cudaSuccess)
    {
        cudaFree(pA);
        CheckError();
        return 0.0;
    }
    cudaEvent_t t0, t1;
    cudaEventCreate(&t0);
    cudaEventCreate(&t1);
    cudaMemcpy(pB, pA, nBytes, cudaMemcpyDeviceToDevice);   // warm up
    float dBest = 0.0f;
    for (int k = 0; k < 5; k++)
    {
        cudaEventRecord(t0);
        cudaMemcpy(pB, pA, nBytes, cudaMemcpyDeviceToDevice);
        cudaEventRecord(t1);
        cudaEventSynchronize(t1);
        float ms = 0.0f;
        cudaEventElapsedTime(&ms, t0, t1);
        if (ms > 0.0f && (dBest == 0.0f || ms < dBest))
            dBest = ms;
    }
    cudaEventDestroy(t0);
    cudaEventDestroy(t1);
    cudaFree(pA);
    cudaFree(pB);
    CheckError();
    return dBest > 0.0f ? 2.0 * (double)nBytes / (dBest * 1e-3) / 1e9 : 0.0;
}
