// ondex_cuda: the static records, device memory of a shot, the upload of the
// model and the planes of the depth exchange.

#include <cstring>

#include "CUDA/ModuleState.h"

TMesh3D a;
TMesh3DLocal a3cfg;
TMesh3DTime a3Time;
float* a3TimeAr[4];
TMesh3DSeis seis_h;
TMesh3DSeis* seis_d;
TMesh3DSignal sig_h;
TMesh3DOrthorombic ort_h;
TMesh3DOrthorombic* ort_d;
TMesh3DAnisotropic anis_h;
TMesh3DAnisotropic* anis_d;
TPML3D pmlH;
TPML3D* pmlD;
float* pVisM;
float* pVisG;
CShotTauK* pFaultSlipTauK_d;
int g_nLastError;

namespace
{
// Cells of the grid and of one plane.
size_t Cells()
{
    return (size_t)a3cfg.nX * (size_t)a3cfg.nY * (size_t)a3cfg.nZ;
}

size_t PlaneCells()
{
    return (size_t)a3cfg.nX * (size_t)a3cfg.nY;
}

// Axis (0 x, 1 y, 2 z) of each named memory array, in the engine's order.
const int kPsiAxis[36] = {0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 0, 0, 1, 1, 0, 0, 2, 2, 1, 1, 2, 2,
                          1, 1, 2, 2, 0, 0, 2, 2, 0, 0, 1, 1};

int Upload(void* pDev, const void* pHost, size_t nBytes)
{
    cudaMemcpy(pDev, pHost, nBytes, cudaMemcpyHostToDevice);
    return CheckError();
}
} // namespace

int CudaCodeOf(cudaError_t e)
{
    const int n = CUDA_ErrorCodeByName(cudaGetErrorName(e));
    return n >= 0 ? n : (int)e;
}

int CheckError()
{
    const cudaError_t e = cudaGetLastError();
    if (e == cudaSuccess)
        return 0;
    g_nLastError = CudaCodeOf(e);
    return g_nLastError;
}

int DeviceAlloc(float** pp, size_t nFloats)
{
    *pp = nullptr;
    const size_t n = nFloats ? nFloats : 1;
    if (cudaMalloc((void**)pp, n * sizeof(float)) != cudaSuccess)
    {
        *pp = nullptr;
        return CheckError();
    }
    cudaMemset(*pp, 0, n * sizeof(float));
    return CheckError();
}

float* ComponentGrid(int nComponent)
{
    float* const grids[10] = {nullptr, a.pUx, a.pUy, a.pUz, a.pTzz, a.pTxx, a.pTyy, a.pTxy, a.pTxz, a.pTyz};
    return nComponent >= 1 && nComponent <= 9 ? grids[nComponent] : nullptr;
}

int CUDA_3DFD_AllocateMemory(int nMethod, int nTaper, int nX, int nY, int nZ, int nZOffset, int nZAll, int nViscoL,
                             bool bPlane, bool bQ)
{
    CUDA_3DFD_FreeMemory(true, true, true, true, true);
    memset(&a, 0, sizeof(a));
    memset(&a3Time, 0, sizeof(a3Time));
    memset(&seis_h, 0, sizeof(seis_h));
    memset(&sig_h, 0, sizeof(sig_h));
    memset(&ort_h, 0, sizeof(ort_h));
    memset(&anis_h, 0, sizeof(anis_h));
    memset(&pmlH, 0, sizeof(pmlH));
    a3cfg = TMesh3DLocal();
    a3cfg.paramsrc = C3DShotPoint(0, 0);
    g_nLastError = 0;

    a3cfg.nMethod = nMethod;
    a3cfg.nTaper = a.nTaper = nTaper;
    a3cfg.nX = a.nX = nX;
    a3cfg.nY = a.nY = nY;
    a3cfg.nZ = nZ;
    a3cfg.nZOffset = a.nZOffset = nZOffset;
    a3cfg.nZAll = a.nZAll = nZAll;
    a3cfg.nViscoL = nViscoL > 0 ? nViscoL : 0;
    const size_t cells = Cells();

    int r = 0;
    float** const ppFirst[] = {&a.pUx, &a.pUy, &a.pUz, &a.pTxx};
    for (float** pp : ppFirst)
        if ((r = DeviceAlloc(pp, cells)) != 0)
            return r;
    if (nMethod < 103 && (r = DeviceAlloc(&a.pC, cells)) != 0)
        return r;
    if ((r = DeviceAlloc(&a.pB, cells)) != 0)
        return r;
    if (bQ && (r = DeviceAlloc(&a.pQ, cells)) != 0)
        return r;
    if (bPlane && (r = DeviceAlloc(&a.pPlane, (size_t)(nX > nY ? nX : nY) * (size_t)nZ)) != 0)
        return r;
    if (nMethod >= 102)
    {
        float** const ppStress[] = {&a.pTyy, &a.pTzz, &a.pTxy, &a.pTxz, &a.pTyz};
        for (float** pp : ppStress)
            if ((r = DeviceAlloc(pp, cells)) != 0)
                return r;
        if (nMethod == 102 && (r = DeviceAlloc(&a.pM, cells)) != 0)
            return r;
    }
    if (nMethod == 103)
    {
        float** const ppC[9] = {&ort_h.C11, &ort_h.C12, &ort_h.C13, &ort_h.C22, &ort_h.C23,
                                &ort_h.C33, &ort_h.C44, &ort_h.C55, &ort_h.C66};
        if (cudaMalloc((void**)&ort_d, sizeof(TMesh3DOrthorombic)) != cudaSuccess)
            return CheckError();
        for (float** pp : ppC)
            if ((r = DeviceAlloc(pp, cells)) != 0)
                return r;
        if ((r = Upload(ort_d, &ort_h, sizeof(ort_h))) != 0)
            return r;
    }
    if (nMethod == 104)
    {
        if (cudaMalloc((void**)&anis_d, sizeof(TMesh3DAnisotropic)) != cudaSuccess)
            return CheckError();
        float* pBlock = nullptr;
        if ((r = DeviceAlloc(&pBlock, 21 * cells)) != 0)
            return r;
        float** pp = (float**)&anis_h;
        for (int k = 0; k < 21; k++)
            pp[k] = pBlock + (size_t)k * cells;
        if ((r = Upload(anis_d, &anis_h, sizeof(anis_h))) != 0)
            return r;
    }
    if (a3cfg.nViscoL >= 1 && nMethod >= 102)
    {
        if ((r = DeviceAlloc(&pVisM, 3 * cells * a3cfg.nViscoL)) != 0)
            return r;
        if ((r = DeviceAlloc(&pVisG, 6 * cells * a3cfg.nViscoL)) != 0)
            return r;
    }
    a3Time.pUx = a.pUx;
    a3Time.pUy = a.pUy;
    a3Time.pUz = a.pUz;
    return 0;
}

int CUDA_3DFD_AllocateMemorySeismogram(int nSources, int nReceivers, int nSteps)
{
    DeviceFree(a.pSources);
    DeviceFree(seis_d);
    DeviceFree(seis_h.pIndex);
    float** const ppComp[4] = {&seis_h.pX, &seis_h.pY, &seis_h.pZ, &seis_h.pC};
    for (float** pp : ppComp)
        DeviceFree(*pp);
    seis_h.nSteps = nSteps > 0 ? nSteps : 0;
    seis_h.nReceivers = nReceivers > 0 ? nReceivers : 0;
    a.nSources = nSources;
    if (nSources >= 2 && cudaMalloc((void**)&a.pSources, sizeof(C3DShotPoint) * (size_t)nSources) != cudaSuccess)
        return CheckError();
    const size_t n = (size_t)seis_h.nSteps * (size_t)seis_h.nReceivers;
    if (seis_h.nReceivers > 0 &&
        cudaMalloc((void**)&seis_h.pIndex, sizeof(uint64_t) * (size_t)seis_h.nReceivers) != cudaSuccess)
        return CheckError();
    int r = 0;
    for (float** pp : ppComp)
        if ((r = DeviceAlloc(pp, n)) != 0)
            return r;
    if (cudaMalloc((void**)&seis_d, sizeof(TMesh3DSeis)) != cudaSuccess)
        return CheckError();
    return Upload(seis_d, &seis_h, sizeof(seis_h));
}

int CUDA_3DFD_LoadData(const float* pC, const float* pM, const float* pB, const float* pQ, const float* pViscoM,
                       int nSourceType, int nSources, const C3DShotPoint* pSources, const uint64_t* pReceivers,
                       const float* pSignal, const float* pTaper, const CShotTauK* pTauK, float fdx, float fdt,
                       float K11, float K22, float K33, float K12, float K13, float K23)
{
    if (!pSources)
        return kCudaNoComponent;
    sig_h = {K11, K22, K33, K12, K13, K23};
    a3cfg.fdx = a3Time.fdx = fdx;
    a3cfg.fdt = fdt;
    a3cfg.paramsrc = pSources[0];
    a3cfg.nSourceType = nSourceType;
    a3cfg.pSignal = pSignal;
    a.nSources = nSources;
    const size_t cells = Cells();
    int r = 0;
    if (nSources >= 2 && a.pSources && (r = Upload(a.pSources, pSources, sizeof(C3DShotPoint) * nSources)) != 0)
        return r;
    // The host's sponge table has 38 entries; a wider strip uses those.
    const int nTaper = a.nTaper < 0 ? 0 : (a.nTaper > 38 ? 38 : a.nTaper);
    DeviceFree(a.pTaper);
    if ((r = DeviceAlloc(&a.pTaper, (size_t)nTaper)) != 0)
        return r;
    if (nTaper > 0 && pTaper && (r = Upload(a.pTaper, pTaper, sizeof(float) * nTaper)) != 0)
        return r;
    if (a3cfg.nMethod <= 102 && a.pC && pC && (r = Upload(a.pC, pC, sizeof(float) * cells)) != 0)
        return r;
    if (a.pB && pB && (r = Upload(a.pB, pB, sizeof(float) * cells)) != 0)
        return r;
    if (a3cfg.nMethod == 102 && a.pM && pM && (r = Upload(a.pM, pM, sizeof(float) * cells)) != 0)
        return r;
    if (seis_h.nReceivers > 0 && seis_h.pIndex && pReceivers &&
        (r = Upload(seis_h.pIndex, pReceivers, sizeof(uint64_t) * seis_h.nReceivers)) != 0)
        return r;
    if (a.pQ && pQ && (r = Upload(a.pQ, pQ, sizeof(float) * cells)) != 0)
        return r;
    if (nSourceType == 10 && pTauK)
    {
        DeviceFree(pFaultSlipTauK_d);
        if (cudaMalloc((void**)&pFaultSlipTauK_d, sizeof(CShotTauK) * (size_t)(nSources > 0 ? nSources : 1)) !=
            cudaSuccess)
            return CheckError();
        if ((r = Upload(pFaultSlipTauK_d, pTauK, sizeof(CShotTauK) * (size_t)nSources)) != 0)
            return r;
    }
    if (a3cfg.nViscoL > 0)
    {
        if (!pVisG || !pVisM || !pViscoM)
            return 4;
        if ((r = Upload(pVisM, pViscoM, 12 * cells * a3cfg.nViscoL)) != 0)
            return r;
    }
    return 0;
}

namespace
{
int LoadGrids(float* const* ppDev, const float* const* ppHost, int n)
{
    const size_t cells = Cells();
    for (int k = 0; k < n; k++)
    {
        if (!ppDev[k] || !ppHost[k])
            return kCudaNoGrid;
        const int r = Upload(ppDev[k], ppHost[k], sizeof(float) * cells);
        if (r != 0)
            return r;
    }
    return 0;
}
} // namespace

int CUDA_3DFD_LoadOrthorombicModel(const float* const pC[9])
{
    return LoadGrids((float* const*)&ort_h, pC, 9);
}

int CUDA_3DFD_LoadAnisotropicModel(const float* const pC[21])
{
    return LoadGrids((float* const*)&anis_h, pC, 21);
}

int CUDA_3DFD_LoadPML(int nMethod, int nPML, const float* const pProfiles[24])
{
    CUDA_3DFD_FreePML();
    a.nPML = nPML > 0 ? nPML : 0;
    if (a.nPML == 0)
        return 0;
    const size_t W = (size_t)a.nPML;
    const size_t nX = (size_t)a3cfg.nX, nY = (size_t)a3cfg.nY, nZ = (size_t)a3cfg.nZ;
    const size_t slab[3] = {W * nY * nZ, W * nX * nZ, W * nX * nY};
    int r = 0;
    for (int k = 0; k < 24; k++)
    {
        if ((r = DeviceAlloc(&pmlH.pProfile[k], slab[k / 8])) != 0)
            return r;
        if (pProfiles[k] && (r = Upload(pmlH.pProfile[k], pProfiles[k], sizeof(float) * slab[k / 8])) != 0)
            return r;
    }
    const int nNamed = nMethod > 101 ? 36 : 12;
    for (int k = 0; k < nNamed; k++)
        if ((r = DeviceAlloc(&pmlH.pPsi[k], slab[kPsiAxis[k]])) != 0)
            return r;
    if (nMethod == 104)
        for (int k = 0; k < 54; k++)
            if ((r = DeviceAlloc(&pmlH.pPsiAni[k], slab[2 - k / 18])) != 0)
                return r;
    if (cudaMalloc((void**)&pmlD, sizeof(TPML3D)) != cudaSuccess)
        return CheckError();
    return Upload(pmlD, &pmlH, sizeof(pmlH));
}

int CUDA_3DFD_FreePML()
{
    for (float*& p : pmlH.pProfile)
        DeviceFree(p);
    for (float*& p : pmlH.pPsi)
        DeviceFree(p);
    for (float*& p : pmlH.pPsiAni)
        DeviceFree(p);
    DeviceFree(pmlD);
    return 0;
}

int CUDA_3DFD_FreeMemory(bool bModel, bool bWave, bool bSeis, bool bTime, bool bPlane)
{
    if (bModel)
    {
        DeviceFree(a.pC);
        DeviceFree(a.pM);
        DeviceFree(a.pB);
        DeviceFree(a.pQ);
        DeviceFree(a.pTaper);
        float** pp = (float**)&ort_h;
        for (int k = 0; k < 9; k++)
            DeviceFree(pp[k]);
        DeviceFree(ort_d);
        DeviceFree(anis_h.C11);   // the one block of all 21 grids
        memset(&anis_h, 0, sizeof(anis_h));
        DeviceFree(anis_d);
        DeviceFree(pVisM);
        DeviceFree(pFaultSlipTauK_d);
    }
    if (bWave)
    {
        float** const ppWave[9] = {&a.pUx, &a.pUy, &a.pUz, &a.pTxx, &a.pTyy, &a.pTzz, &a.pTxy, &a.pTxz, &a.pTyz};
        for (float** pp : ppWave)
            DeviceFree(*pp);
        a3Time.pUx = a3Time.pUy = a3Time.pUz = nullptr;
        DeviceFree(pVisG);
        CUDA_3DFD_FreePML();
    }
    if (bSeis)
    {
        DeviceFree(seis_d);
        DeviceFree(seis_h.pIndex);
        DeviceFree(a.pSources);
        DeviceFree(seis_h.pX);
        DeviceFree(seis_h.pY);
        DeviceFree(seis_h.pZ);
        DeviceFree(seis_h.pC);
    }
    if (bTime)
        for (float*& p : a3TimeAr)
            DeviceFree(p);
    if (bPlane)
        DeviceFree(a.pPlane);
    return 0;
}

namespace
{
// Planes z0..z1 of a component and their place in the grid; false when the
// component or the range is not there.
bool PlaneRange(int nComponent, int z0, int z1, float** ppGrid, size_t* pOffset, size_t* pCount)
{
    *ppGrid = ComponentGrid(nComponent);
    if (!*ppGrid || z0 < 0 || z1 < z0 || z1 >= a3cfg.nZ)
        return false;
    *pOffset = PlaneCells() * (size_t)z0;
    *pCount = PlaneCells() * (size_t)(z1 - z0 + 1);
    return true;
}
} // namespace

int CUDA_3DFD_GetCalcPlane(int nComponent, int z0, int z1, float* pHost)
{
    float* pGrid = nullptr;
    size_t nOff = 0, n = 0;
    if (!pHost || !PlaneRange(nComponent, z0, z1, &pGrid, &nOff, &n))
        return kCudaNoComponent;
    cudaMemcpy(pHost, pGrid + nOff, n * sizeof(float), cudaMemcpyDeviceToHost);
    return CheckError();
}

int CUDA_3DFD_SetCalcPlane(int nComponent, int z0, int z1, const float* pHost)
{
    float* pGrid = nullptr;
    size_t nOff = 0, n = 0;
    if (!pHost || !PlaneRange(nComponent, z0, z1, &pGrid, &nOff, &n))
        return kCudaNoComponent;
    return Upload(pGrid + nOff, pHost, n * sizeof(float));
}
