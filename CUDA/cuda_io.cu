// ondex_cuda: where the wave field meets the outside: source injection,
// receivers, 2D and 3D snapshots, time fields, and the copies to the host.

#include <cstdint>
#include <cstring>

#include "CUDA/ModuleState.h"
#include "cpu/FDScheme.h"

namespace
{
__constant__ float const_K_U = 15000.0f;   // velocity scale of the grids
const float kThird = 0.33333334f;

// A NaN anywhere in n host floats.
bool HasNaN(const float* p, size_t n)
{
    for (size_t i = 0; i < n; i++)
        if (fd::IsNaNBits(p[i]))
            return true;
    return false;
}

// One source point. Methods 102 to 104 take the sign of the Omni source and
// of the x and y forces from bit 0 of the flag, as method 101 does.
__device__ void ApplyPoint(const TMesh3D& g, int nMethod, int nType, C3DShotPoint pt, float v, const float* K)
{
    const uint64_t i = pt.nIndex;
    const bool bFree = (pt.nFlag & 1) != 0;
    if (nMethod <= 101)
    {
        switch (nType)
        {
        case 1: g.pUx[i] += bFree ? v : -v; break;
        case 2: g.pUy[i] += bFree ? v : -v; break;
        case 3: g.pUz[i] -= v; break;
        case 7:
            if (bFree)
                g.pTxx[i] -= v;
            else
                g.pTxx[i] = v;
            break;
        default: g.pTxx[i] += bFree ? -v : v; break;
        }
        return;
    }
    switch (nType)
    {
    case 1: g.pUx[i] += bFree ? v : -v; break;
    case 2: g.pUy[i] += bFree ? v : -v; break;
    case 3: g.pUz[i] -= v; break;
    case 4: g.pTxx[i] += v; break;
    case 5: g.pTyy[i] += v; break;
    case 6: g.pTzz[i] -= v; break;
    case 8:
        g.pTxy[i] += v * K[3];
        g.pTxz[i] += v * K[4];
        g.pTyz[i] += v * K[5];
        break;
    case 9:
    case 10:
        g.pTxx[i] += v * K[0];
        g.pTyy[i] += v * K[1];
        g.pTzz[i] += v * K[2];
        g.pTxy[i] += v * K[3];
        g.pTxz[i] += v * K[4];
        g.pTyz[i] += v * K[5];
        break;
    case 0:
    {
        const float s = bFree ? -v : v;
        g.pTxx[i] += s;
        g.pTyy[i] += s;
        g.pTzz[i] += s;
        break;
    }
    default:
        g.pTxx[i] += v;
        g.pTyy[i] += v;
        g.pTzz[i] += v;
        break;
    }
}
} // namespace

// All source types in one kernel: the type is a launch argument. With a
// list each thread takes one point; type 10 takes its weights from pK.
__global__ void CUDA_3DFD_Kernel_ApplySig(TMesh3D g, int nMethod, int nType, C3DShotPoint paramsrc, float v,
                                          TMesh3DSignal sd, const CShotTauK* pK)
{
    const int k = 64 * (int)blockIdx.x + (int)threadIdx.x;
    C3DShotPoint pt = paramsrc;
    if (g.nSources >= 2)
    {
        if (k >= g.nSources)
            return;
        pt = g.pSources[k];
    }
    else if (k > 0)
        return;
    float K[6] = {sd.K11, sd.K22, sd.K33, sd.K12, sd.K13, sd.K23};
    if (nType == 10)
    {
        if (!pK)
            return;
        const CShotTauK t = pK[k];
        K[0] = t.K11;
        K[1] = t.K22;
        K[2] = t.K33;
        K[3] = t.K12;
        K[4] = t.K13;
        K[5] = t.K23;
    }
    ApplyPoint(g, nMethod, nType, pt, v, K);
}

__global__ void CUDA_3DFD_Kernel_RecordSeis(TMesh3D g, TMesh3DSeis* ss, int nSeisStep)
{
    const int i = 256 * (int)blockIdx.x + (int)threadIdx.x;
    if (i >= ss->nReceivers || nSeisStep >= ss->nSteps)
        return;
    const uint64_t c = ss->pIndex[i];
    const size_t e = (size_t)i + (size_t)ss->nReceivers * (size_t)nSeisStep;
    ss->pX[e] = g.pUx[c] * const_K_U;
    ss->pY[e] = g.pUy[c] * const_K_U;
    ss->pZ[e] = g.pUz[c] * const_K_U;
    ss->pC[e] = (g.pTyy && g.pTzz) ? (g.pTxx[c] + g.pTyy[c] + g.pTzz[c]) / 3.0f : g.pTxx[c];
}

// A vertical slice through column (or row) s; n is nX or nY.
__global__ void CUDA_3DFD_Kernel_MakeSnap(TMesh3D g, const float* u1, const float* u2, const float* u3, int s,
                                          float k, int nz, bool bFixedX)
{
    const int i = 16 * (int)blockIdx.x + (int)threadIdx.x;
    const int z = 16 * (int)blockIdx.y + (int)threadIdx.y;
    const int n = bFixedX ? g.nY : g.nX;
    if (s < 0 || s >= (bFixedX ? g.nX : g.nY) || i >= n || z >= nz)
        return;
    const size_t v = ((size_t)z * g.nY + (bFixedX ? i : s)) * (size_t)g.nX + (bFixedX ? s : i);
    g.pPlane[(size_t)z * n + i] = u2 ? k * (u3[v] + u2[v] + u1[v]) * kThird : k * u1[v];
}

__global__ void CUDA_3DFD_Kernel_Make3DSnap(float* p3DSnap, const float* u1, const float* u2, const float* u3,
                                            float k, int nz, int ny, int nx, int z0, int y0, int x0, int z1, int y1,
                                            int x1, int sz, int sy, int sx)
{
    const int i = 8 * (int)blockIdx.x + (int)threadIdx.x;
    const int j = 8 * (int)blockIdx.y + (int)threadIdx.y;
    const int l = 8 * (int)blockIdx.z + (int)threadIdx.z;
    if (i >= sx || j >= sy || l >= sz)
        return;
    const int x = x0 + (int)((float)i * (float)(x1 - x0 + 1) / (float)sx + 0.5f);
    const int y = y0 + (int)((float)j * (float)(y1 - y0 + 1) / (float)sy + 0.5f);
    const int z = z0 + (int)((float)l * (float)(z1 - z0 + 1) / (float)sz + 0.5f);
    const long long v = ((long long)z * ny + y) * (long long)nx + x;
    float out = 0.0f;
    if (v >= 0 && v < (long long)nx * ny * nz)
        out = u2 ? k * (u3[v] + u2[v] + u1[v]) * kThird : k * u1[v];
    p3DSnap[((size_t)l * sy + j) * sx + i] = out;
}

__global__ void CUDA_3DFD_Kernel_TimeField_MaxEnergy(TMesh3DTime a, float* pTime, float* pEnergy, int nAddZ0)
{
    const int i = 8 * (int)blockIdx.x + (int)threadIdx.x;
    const int j = 8 * (int)blockIdx.y + (int)threadIdx.y;
    const int l = 8 * (int)blockIdx.z + (int)threadIdx.z;
    if (i >= a.nTX || j >= a.nTY || l >= a.nTZ)
        return;
    const int x = a.nTaper + (int)(i * (a.fTdx / a.fdx));
    const int y = a.nTaper + (int)(j * (a.fTdy / a.fdx));
    const int z = nAddZ0 + (int)(l * (a.fTdz / a.fdx));
    if (x + 1 >= a.nX || y + 1 >= a.nY || z + 1 >= a.nZ)
        return;
    const size_t v = ((size_t)z * a.nY + y) * (size_t)a.nX + x;
    const size_t out = ((size_t)l * a.nTY + j) * (size_t)a.nTX + i;
    const float e = a.pUx[v] * a.pUx[v] + a.pUy[v] * a.pUy[v] + a.pUz[v] * a.pUz[v];
    if (e > pEnergy[out])
    {
        pEnergy[out] = e;
        pTime[out] = a.fTime;
    }
}

__global__ void CUDA_3DFD_Kernel_TimeField_MaxDivergence(TMesh3DTime a, float* pTime, float* pDiv, int nAddZ0)
{
    const int i = 8 * (int)blockIdx.x + (int)threadIdx.x;
    const int j = 8 * (int)blockIdx.y + (int)threadIdx.y;
    const int l = 8 * (int)blockIdx.z + (int)threadIdx.z;
    if (i >= a.nTX || j >= a.nTY || l >= a.nTZ)
        return;
    const int x = a.nTaper + (int)(i * (a.fTdx / a.fdx));
    const int y = a.nTaper + (int)(j * (a.fTdy / a.fdx));
    const int z = nAddZ0 + (int)(l * (a.fTdz / a.fdx));
    if (x + 1 >= a.nX || y + 1 >= a.nY || z + 1 >= a.nZ)
        return;
    const size_t nxy = (size_t)a.nX * a.nY;
    const size_t v = (size_t)z * nxy + (size_t)y * a.nX + x;
    const size_t out = ((size_t)l * a.nTY + j) * (size_t)a.nTX + i;
    const float d = fabsf((a.pUx[v + 1] - a.pUx[v]) + (a.pUy[v + a.nX] - a.pUy[v]) + (a.pUz[v + nxy] - a.pUz[v]));
    if (d > pDiv[out])
    {
        pDiv[out] = d;
        pTime[out] = a.fTime;
    }
}

int CUDA_3DFD_ApplySignal(long nStep)
{
    if (!a3cfg.pSignal || nStep < 0)
        return kCudaNoComponent;
    const float v = a3cfg.pSignal[nStep];
    int nType = a3cfg.nSourceType;
    if (a3cfg.nMethod > 101 && nType == 7)
        nType = 0;   // the hard source exists only for the acoustic method
    const unsigned int nBlocks = a.nSources < 2 ? 1 : (unsigned int)(a.nSources / 64 + 1);
    const unsigned int nThreads = a.nSources < 2 ? 1 : 64;
    CUDA_3DFD_Kernel_ApplySig<<<nBlocks, nThreads>>>(a, a3cfg.nMethod, nType, a3cfg.paramsrc, v, sig_h,
                                                     pFaultSlipTauK_d);
    cudaDeviceSynchronize();
    return CheckError();
}

int CUDA_3DFD_RecordSeismogram(long nSample)
{
    if (!seis_d || seis_h.nReceivers <= 0 || nSample >= seis_h.nSteps)
        return 0;
    CUDA_3DFD_Kernel_RecordSeis<<<Blocks(seis_h.nReceivers, 256), 256>>>(a, seis_d, (int)nSample);
    cudaDeviceSynchronize();
    return CheckError();
}

int CUDA_3DFD_GrabShotgather(float* pHost, char cComp)
{
    const float* p = cComp == 'C' ? seis_h.pC : cComp == 'X' ? seis_h.pX : cComp == 'Y' ? seis_h.pY : seis_h.pZ;
    if (!p)
        return kCudaNoComponent;
    const size_t n = (size_t)seis_h.nSteps * (size_t)seis_h.nReceivers;
    if (n == 0 || !pHost)
        return kCudaNoSeismogram;
    cudaMemcpy(pHost, p, n * sizeof(float), cudaMemcpyDeviceToHost);
    const int r = CheckError();
    if (r != 0)
        return r;
    return HasNaN(pHost, n) ? kCudaUnstable : 0;
}

int CUDA_3DFD_Grab2DSnapshot(float* pHost, char cPlane, char cComp, int nOffset)
{
    const float *u1 = a.pUz, *u2 = nullptr, *u3 = nullptr;
    float k = 15000.0f;
    if (cComp == 'X')
        u1 = a.pUx;
    else if (cComp == 'Y')
        u1 = a.pUy;
    else if (cComp == 'C')
    {
        u1 = a.pTxx;
        u2 = a.pTyy;
        u3 = a.pTzz;
        k = 1.0f;
        if (!u2 || !u3)
            u2 = u3 = nullptr;
    }
    if (!u1)
        return kCudaNoGrid;
    if (!a.pPlane)
        return kCudaNoPlane;
    const bool bFixedX = cPlane == 'Y';
    const uint64_t r = a3cfg.paramsrc.nIndex % ((uint64_t)a.nX * (uint64_t)a.nY);
    const int s = (int)(bFixedX ? r % (uint64_t)a.nX : r / (uint64_t)a.nX) + nOffset;
    const int n = bFixedX ? a.nY : a.nX;
    const int nz = a3cfg.nZ;
    const dim3 block(16, 16, 1);
    const dim3 grid(Blocks(n, 16), Blocks(nz, 16), 1);
    CUDA_3DFD_Kernel_MakeSnap<<<grid, block>>>(a, u1, u2, u3, s, k, nz, bFixedX);
    cudaDeviceSynchronize();
    int res = CheckError();
    if (res != 0)
        return res;
    cudaMemcpy(pHost, a.pPlane, (size_t)n * (size_t)nz * sizeof(float), cudaMemcpyDeviceToHost);
    if ((res = CheckError()) != 0)
        return res;
    return HasNaN(pHost, (size_t)n * (size_t)nz) ? kCudaUnstable : 0;
}

int CUDA_3DFD_Grab3DSnapshot(float* pHost, int z0, int y0, int x0, int z1, int y1, int x1, int sz, int sy, int sx,
                             char cComp)
{
    if (!pHost)
        return kCudaNoHostBuffer;
    const float *u1 = a.pUz, *u2 = nullptr, *u3 = nullptr;
    float k = 1.0f;
    switch (cComp)
    {
    case '0': u1 = a.pTxx; break;
    case '1': u1 = a.pTyy; break;
    case '2': u1 = a.pTzz; break;
    case '3': u1 = a.pTxy; break;
    case '4': u1 = a.pTxz; break;
    case '5': u1 = a.pTyz; break;
    case 'C':
        u1 = a.pTxx;
        if (a.pTyy && a.pTzz)
        {
            u2 = a.pTyy;
            u3 = a.pTzz;
        }
        break;
    case 'X': u1 = a.pUx; k = 15000.0f; break;
    case 'Y': u1 = a.pUy; k = 15000.0f; break;
    default: u1 = a.pUz; k = 15000.0f; break;
    }
    if (!u1)
        return kCudaNoGrid;
    if (sx < 1 || sy < 1 || sz < 1)
        return kCudaBadSize;
    const size_t n = (size_t)sx * (size_t)sy * (size_t)sz;
    float* pDev = nullptr;
    int r = DeviceAlloc(&pDev, n);
    if (r != 0)
        return r;
    const dim3 block(8, 8, 8);
    const dim3 grid(Blocks(sx, 8), Blocks(sy, 8), Blocks(sz, 8));
    CUDA_3DFD_Kernel_Make3DSnap<<<grid, block>>>(pDev, u1, u2, u3, k, a3cfg.nZ, a.nY, a.nX, z0, y0, x0, z1, y1, x1, sz,
                                                 sy, sx);
    cudaDeviceSynchronize();
    if ((r = CheckError()) == 0)
    {
        cudaMemcpy(pHost, pDev, n * sizeof(float), cudaMemcpyDeviceToHost);
        r = CheckError();
    }
    DeviceFree(pDev);
    return r;
}

int CUDA_3DFD_TimeFieldInit(int nType, int nTX, int nTY, int nTZ, float fTdx, float fTdy, float fTdz)
{
    if (nType <= 0)
        return 0;
    for (float*& p : a3TimeAr)
        DeviceFree(p);
    a3Time.nType = nType;
    a3Time.nTaper = a3cfg.nTaper;
    a3Time.nX = a3cfg.nX;
    a3Time.nY = a3cfg.nY;
    a3Time.nZ = a3cfg.nZ;
    a3Time.nTX = nTX;
    a3Time.nTY = nTY;
    a3Time.nTZ = nTZ;
    a3Time.fTdx = fTdx;
    a3Time.fTdy = fTdy;
    a3Time.fTdz = fTdz;
    const size_t n = (size_t)(nTX > 0 ? nTX : 0) * (size_t)(nTY > 0 ? nTY : 0) * (size_t)(nTZ > 0 ? nTZ : 0);
    for (int bit = 0; bit < 2; bit++)
        if (nType & (1 << bit))
            for (int k = 0; k < 2; k++)
            {
                const int r = DeviceAlloc(&a3TimeAr[2 * bit + k], n);
                if (r != 0)
                    return r;
            }
    return 0;
}

int CUDA_3DFD_TimeFieldPropagate(int nAddZ0, float fTime)
{
    if (nAddZ0 <= 0)
        nAddZ0 = a.nTaper;
    a3Time.fTime = fTime;
    const dim3 block(8, 8, 8);
    const dim3 grid(Blocks(a3Time.nTX, 8), Blocks(a3Time.nTY, 8), Blocks(a3Time.nTZ, 8));
    if (grid.x == 0 || grid.y == 0 || grid.z == 0)
        return 0;
    if ((a3Time.nType & 1) && a3TimeAr[0])
        CUDA_3DFD_Kernel_TimeField_MaxEnergy<<<grid, block>>>(a3Time, a3TimeAr[1], a3TimeAr[0], nAddZ0);
    if ((a3Time.nType & 2) && a3TimeAr[2])
        CUDA_3DFD_Kernel_TimeField_MaxDivergence<<<grid, block>>>(a3Time, a3TimeAr[3], a3TimeAr[2], nAddZ0);
    cudaDeviceSynchronize();
    return CheckError();
}

int CUDA_3DFD_TimeFieldGrabCube(float* pHost, int n)
{
    // Kind 0: time of maximum energy, 1: time of maximum divergence; with
    // 2 and 3 the maxima themselves.
    if (n < 0 || n > 3 || !pHost)
        return kCudaNoComponent;
    const float* p = n < 2 ? a3TimeAr[2 * n + 1] : a3TimeAr[2 * (n - 2)];
    if (!p)
        return kCudaNoComponent;
    const size_t cnt = (size_t)a3Time.nTX * (size_t)a3Time.nTY * (size_t)a3Time.nTZ;
    cudaMemcpy(pHost, p, cnt * sizeof(float), cudaMemcpyDeviceToHost);
    return CheckError();
}
