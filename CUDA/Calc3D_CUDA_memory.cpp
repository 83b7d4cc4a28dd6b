// CCalc3D_CUDA: the memory report of a shot, host and device grids, the
// upload of the model, and the planes of the depth exchange.

#include "CUDA/Calc3D_CUDA.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <unistd.h>

#include "CUDA/ondex_cuda.h"
#include "engine3d/Calc3D_stiffness.h"
#include "base/Output.h"
#include "run/OndexApp.h"

namespace
{
const double kMB = 1048576.0;

size_t NonNeg(int n)
{
    return n > 0 ? (size_t)n : 0;
}

void FreeGrid(float*& p)
{
    delete[] p;
    p = nullptr;
}

float* NewGrid(size_t n)
{
    float* p = new float[n ? n : 1];
    memset(p, 0, (n ? n : 1) * sizeof(float));
    return p;
}
} // namespace

SCudaMemory CudaMemoryEstimate(int nMethod, bool bQFile, int L, int nx, int ny, int nz, size_t nRec, size_t nSteps,
                               int W, int nTimeType, int tx, int ty, int tz)
{
    SCudaMemory m;
    const double cx = (double)NonNeg(nx), cy = (double)NonNeg(ny), cz = (double)NonNeg(nz);
    m.L = std::max(0, L);
    m.G = cx * cy * cz * 4.0 / kMB;
    m.nM = bQFile ? 3 : 2;
    if (nMethod >= 102)
        m.nM += 1;
    if (nMethod >= 103)
        m.nM += 7;
    if (nMethod == 104)
        m.nM += 12;
    if (m.L > 0)
        m.nM -= 1;
    m.nP = nMethod >= 102 ? 9 : 4;
    m.dSeis = (double)nRec * (double)nSteps * 4.0 / kMB;
    m.dPlane = cz * std::max(cx, cy) * 4.0 / kMB;
    const double S = W > 0 ? (double)W * (cy * cz + cx * cz + cx * cy) : 0.0;
    const int u = nMethod == 104 ? 38 : (nMethod >= 102 ? 20 : 12);
    m.dPmlHost = 8.0 * S * 4.0 / kMB;
    m.dPmlDevice = u * S * 4.0 / kMB;
    const int c = (nTimeType & 1) + ((nTimeType >> 1) & 1);
    m.dTimeHost = c > 0 ? (double)NonNeg(tx) * (double)NonNeg(ty) * (double)NonNeg(tz) * 4.0 / kMB : 0.0;
    m.dTimeDevice = 2.0 * c * m.dTimeHost;
    m.dHost = m.nM * m.G + 3 * m.L * m.G + 2 * m.dSeis + m.dPlane + m.dPmlHost + m.dTimeHost;
    m.dDevice = m.nM * m.G + m.nP * m.G + 9 * m.L * m.G + 4 * m.dSeis + m.dPmlDevice + m.dTimeDevice;
    return m;
}

int CCalc3D_CUDA::AllocateMemory(bool bEstimate, bool bQuiet)
{
    COndexApp& app = *m_pApp;
    if (!bEstimate)
        FreeMemory(true, true, true, true, true);
    const int nMethod = app.m_Type;
    const bool bQFile = !app.m_strModelQ.IsEmpty();
    const int L = std::max(0, m_nViscoL);
    const size_t nx = NonNeg(m_nx), ny = NonNeg(m_ny), nz = NonNeg(m_nz);
    const size_t W = m_bPML ? NonNeg(m_nPML) : 0;
    m_nPmlCellsX = nz * ny * W;
    m_nPmlCellsY = nz * nx * W;
    m_nPmlCellsZ = ny * nx * W;
    const size_t nRec = m_vRcvCells.size();
    const SCudaMemory m = CudaMemoryEstimate(nMethod, bQFile, L, m_nx, m_ny, m_nz, nRec, m_nSeisLen, (int)W,
                                             m_nTimeField, m_nTimeNx, m_nTimeNy, m_nTimeNz);

    const bool bHostSet = app.m_nHostMemoryGB >= 1;
    const double dHostAvail =
        bHostSet ? app.m_nHostMemoryGB * 1024.0 : (double)sysconf(_SC_PHYS_PAGES) * (double)sysconf(_SC_PAGESIZE) / kMB;
    const bool bGpuSet = app.m_nGpuMemoryGB >= 1;
    double dGpuAvail = 0.0;   // 0: not known
    if (bGpuSet)
        dGpuAvail = app.m_nGpuMemoryGB * 1024.0;
    else if (app.m_nGPUDevice >= 0 && (size_t)app.m_nGPUDevice < os::m_arCUDA_Memory.size())
        dGpuAvail = os::m_arCUDA_Memory[app.m_nGPUDevice];
    const double dAdditional = 2 * m.dSeis + m.dPlane;

    if (!bQuiet)
    {
        u_LinePrint(" Memory on Host ");
        u_Print("Model grids (x,y,z)=(%dx%dx%d) %dx%1.2f MB = %1.0f MB.\n", m_nx, m_ny, m_nz, m.nM, m.G, m.nM * m.G);
        if (L > 0)
            u_Print("Visco-elastic model, L=%d, %dx%1.2f MB = %1.0f MB.\n", L, 3 * L, m.G, 3 * L * m.G);
        if (m.dTimeHost > 0)
            u_Print("Time Field Grids %1.0f MB.\n", m.dTimeHost);
        if (m.dPmlHost > 0)
            u_Print("PML Profile = %1.0f MB\n", m.dPmlHost);
        if (dAdditional > 0)
            u_Print("Additioal Grids %1.0f MB.\n", dAdditional);
        u_Print("Total Required = %1.0f MB, Available = %1.0f MB%s\n", m.dHost, dHostAvail,
                bHostSet ? " (Configured)" : "");
        u_LinePrint(" Memory on GPU ");
        u_Print("Model grids (x,y,z)=(%dx%dx%d) %dx%1.2f MB = %1.0f MB.\n", m_nx, m_ny, m_nz, m.nM, m.G, m.nM * m.G);
        u_Print("Particle components (x,y,z)=(%dx%dx%d) %dx%1.2f MB = %1.0f MB.\n", m_nx, m_ny, m_nz, m.nP, m.G,
                m.nP * m.G);
        if (L > 0)
            u_Print("Visco-elastic components, L=%d, %dx%1.2f MB = %1.0f MB.\n", L, 9 * L, m.G, 9 * L * m.G);
        if (m.dSeis > 0)
            u_Print("Seismogram (n,t)=(%dx%d) %dx%1.2f MB = %1.0f MB.\n", (int)nRec, (int)m_nSeisLen, 4, m.dSeis,
                    4 * m.dSeis);
        if (m.dTimeDevice > 0)
            u_Print("Time Field Grids %1.0f MB.\n", m.dTimeDevice);
        if (m.dPmlDevice > 0)
            u_Print("PML Grids = %1.0f MB\n", m.dPmlDevice);
        // The device holds nothing beyond the terms above (the plane is not
        // counted), so its "Additioal Grids" line never shows.
        if (dGpuAvail > 0)
            u_Print("Total Required = %1.0f MB, Available = %1.0f MB%s\n", m.dDevice, dGpuAvail,
                    bGpuSet ? " (Configured)" : "");
        else
            u_Print("Total Required = %1.0f MB\n", m.dDevice);
        u_Line();
    }

    if (bEstimate)
    {
        app.m_fMemAvailable = dGpuAvail;
        app.m_fMemNeeded = m.dDevice;
        return 0;
    }
    if (m.dHost > dHostAvail)
    {
        u_Error("Error! Not enough memory on the computer. Requested %g MB, but only %g MB is available.\n", m.dHost,
                dHostAvail);
        return 1;
    }
    if (dGpuAvail > 0 && m.dDevice > dGpuAvail)
    {
        u_Error("Error! Not enough memory on the GPU card. Requested %g MB, but only %g MB is available.\n",
                m.dDevice, dGpuAvail);
        return 1;
    }

    const size_t cells = Cells();
    try
    {
        m_pVp = NewGrid(cells);
        m_pRho = NewGrid(cells);
        if (nMethod >= 102)
            m_pVs = NewGrid(cells);
        if (bQFile)
            m_pQ = NewGrid(cells);
        if (L > 0)
            m_pViscoM = NewGrid(3 * cells * (size_t)L);
        // The plane is also the scratch row of the model smoothing.
        m_pPlane = NewGrid(nz * std::max(nx, ny));
        NewAnisotropyGrids(*this, nMethod, cells, &NewGrid);
        if (m_nTimeField & 3)
            m_pTimeHost = NewGrid(NonNeg(m_nTimeNx) * NonNeg(m_nTimeNy) * NonNeg(m_nTimeNz));
        if (m_bPML)
        {
            const size_t slab[3] = {m_nPmlCellsX, m_nPmlCellsY, m_nPmlCellsZ};
            float** ppProfile[24] = {
                &m_pPmlBXMLo, &m_pPmlBXPHi, &m_pPmlAXMLo, &m_pPmlAXPHi, &m_pPmlBXPLo, &m_pPmlBXMHi,
                &m_pPmlAXPLo, &m_pPmlAXMHi, &m_pPmlBYMLo, &m_pPmlBYPHi, &m_pPmlAYMLo, &m_pPmlAYPHi,
                &m_pPmlBYPLo, &m_pPmlBYMHi, &m_pPmlAYPLo, &m_pPmlAYMHi, &m_pPmlBZMLo, &m_pPmlBZPHi,
                &m_pPmlAZMLo, &m_pPmlAZPHi, &m_pPmlBZPLo, &m_pPmlBZMHi, &m_pPmlAZPLo, &m_pPmlAZMHi};
            for (int i = 0; i < 24; i++)
                *ppProfile[i] = NewGrid(slab[i / 8]);
        }
    }
    catch (const std::bad_alloc&)
    {
        u_Error("Error! Not enough memory. Please, try to increase spatial steps.\n");
        return 1;
    }

    // The 2D snapshot plane on the device only for shots that write them.
    const bool bPlane = m_nSnapEvery == 1 || (m_nSnapEvery > 0 && (m_nShot - 1) % m_nSnapEvery == 0);
    const int r = CUDA_3DFD_AllocateMemory(nMethod, m_nTaper, m_nx, m_ny, m_nz, m_nZ0, m_nZAll, L, bPlane,
                                           m_pQ != nullptr && L == 0);
    if (r != 0)
        return Report(r, "Error! CUDA: Unable to allocate memory on GPU device!\n");
    return 0;
}

int CCalc3D_CUDA::AllocateMemorySeismogram()
{
    FreeGrid(m_pSeisHost);
    const size_t nRec = m_vRcvCells.size();
    const size_t n = nRec * m_nSeisLen;
    if (n == 0)
        return 0;
    if (n / nRec != m_nSeisLen || n > ((size_t)1 << 40))
    {
        u_Error("Error! Not enough memory for seismogram. Please, try to increase spatial steps.\n");
        return 1;
    }
    try
    {
        m_pSeisHost = NewGrid(n);
    }
    catch (const std::bad_alloc&)
    {
        u_Error("Error! Not enough memory for seismogram. Please, try to increase spatial steps.\n");
        return 1;
    }
    const int r = CUDA_3DFD_AllocateMemorySeismogram((int)m_vSources.size(), (int)nRec, (int)m_nSeisLen);
    if (r != 0)
        return Report(r, "Error! CUDA: Unable to allocate memory for seismogram on GPU device!\n");
    return 0;
}

int CCalc3D_CUDA::FreeMemory(bool bModel, bool bWave, bool bSeis, bool bTime, bool bPlane)
{
    if (bModel)
    {
        float** ppModel[] = {&m_pVp, &m_pVs, &m_pRho, &m_pQ,
                             &m_pAnisEps, &m_pAnisDelta, &m_pAnisGamma, &m_pAnisAlpha, &m_pAnisPhi,
                             &m_pC11, &m_pC12, &m_pC13, &m_pC22, &m_pC23, &m_pC33, &m_pC44, &m_pC55, &m_pC66,
                             &m_pC14, &m_pC15, &m_pC16, &m_pC24, &m_pC25, &m_pC26, &m_pC34, &m_pC35, &m_pC36,
                             &m_pC45, &m_pC46, &m_pC56, &m_pViscoM,
                             &m_pPmlBXMLo, &m_pPmlBXPHi, &m_pPmlAXMLo, &m_pPmlAXPHi,
                             &m_pPmlBXPLo, &m_pPmlBXMHi, &m_pPmlAXPLo, &m_pPmlAXMHi,
                             &m_pPmlBYMLo, &m_pPmlBYPHi, &m_pPmlAYMLo, &m_pPmlAYPHi,
                             &m_pPmlBYPLo, &m_pPmlBYMHi, &m_pPmlAYPLo, &m_pPmlAYMHi,
                             &m_pPmlBZMLo, &m_pPmlBZPHi, &m_pPmlAZMLo, &m_pPmlAZPHi,
                             &m_pPmlBZPLo, &m_pPmlBZMHi, &m_pPmlAZPLo, &m_pPmlAZMHi};
        for (float** pp : ppModel)
            FreeGrid(*pp);
    }
    if (bSeis)
        FreeGrid(m_pSeisHost);
    if (bTime)
    {
        FreeGrid(m_pTimeHost);
        m_nTimeHostKind = -1;
    }
    if (bPlane)
        FreeGrid(m_pPlane);
    CUDA_3DFD_FreeMemory(bModel, bWave, bSeis, bTime, bPlane);
    return 0;
}

int CCalc3D_CUDA::LoadModel()
{
    COndexApp& app = *m_pApp;
    const int nMethod = app.m_Type;
    int r = 0;
    if (nMethod == 103)
    {
        const float* const pC[9] = {m_pC11, m_pC12, m_pC13, m_pC22, m_pC23, m_pC33, m_pC44, m_pC55, m_pC66};
        r = CUDA_3DFD_LoadOrthorombicModel(pC);
    }
    else if (nMethod == 104)
    {
        const float* const pC[21] = {m_pC11, m_pC12, m_pC13, m_pC14, m_pC15, m_pC16, m_pC22,
                                     m_pC23, m_pC24, m_pC25, m_pC26, m_pC33, m_pC34, m_pC35,
                                     m_pC36, m_pC44, m_pC45, m_pC46, m_pC55, m_pC56, m_pC66};
        r = CUDA_3DFD_LoadAnisotropicModel(pC);
    }
    if (r == 0 && m_bPML)
    {
        const float* const pProfiles[24] = {
            m_pPmlBXMLo, m_pPmlBXPHi, m_pPmlAXMLo, m_pPmlAXPHi, m_pPmlBXPLo, m_pPmlBXMHi, m_pPmlAXPLo, m_pPmlAXMHi,
            m_pPmlBYMLo, m_pPmlBYPHi, m_pPmlAYMLo, m_pPmlAYPHi, m_pPmlBYPLo, m_pPmlBYMHi, m_pPmlAYPLo, m_pPmlAYMHi,
            m_pPmlBZMLo, m_pPmlBZPHi, m_pPmlAZMLo, m_pPmlAZPHi, m_pPmlBZPLo, m_pPmlBZMHi, m_pPmlAZPLo, m_pPmlAZMHi};
        r = CUDA_3DFD_LoadPML(nMethod, m_nPML, pProfiles);
    }
    if (r != 0)
        return Report(r, "Error! CUDA: Unable to copy PML profiles from HOST to DEVICE memory!\n");

    // Without a list the source is the shot position, one plane below the halo.
    C3DShotPoint single;
    if (m_vSources.empty())
    {
        const int iy = (int)((m_ptShot.y - m_cubeGrid.y0) / m_dx + 0.5);
        const int ix = (int)((m_ptShot.x - m_cubeGrid.x0) / m_dx + 0.5);
        single = C3DShotPoint(((uint64_t)(m_nHalo + 1) * (uint64_t)m_ny + (uint64_t)iy) * (uint64_t)m_nx + ix, 0);
    }
    const C3DShotPoint* pSources = m_vSources.empty() ? &single : m_vSources.data();
    const int nSources = (int)m_vSources.size();
    std::vector<uint64_t> vRcv(m_vRcvCells.begin(), m_vRcvCells.end());
    const CShotTauK* pTauK =
        (m_vSrcTensors.size() == m_vSources.size() && !m_vSrcTensors.empty()) ? m_vSrcTensors.data() : nullptr;
    const float* pC = nMethod <= 102 ? m_pVp : nullptr;
    const float* pM = nMethod == 102 ? m_pVs : nullptr;
    r = CUDA_3DFD_LoadData(pC, pM, m_pRho, m_pQ, m_pViscoM, m_nSourceType, nSources, pSources,
                           vRcv.empty() ? nullptr : vRcv.data(), m_Signal.m_pData, m_fTaper, pTauK, (float)m_dx,
                           (float)m_dt, m_fK[0], m_fK[1], m_fK[2], m_fK[3], m_fK[4], m_fK[5]);
    if (r != 0)
        return Report(r, "Error! CUDA: Unable to copy model from HOST to DEVICE memory!\n");

    if (m_nTimeField & 3)
    {
        r = CUDA_3DFD_TimeFieldInit(m_nTimeField, m_nTimeNx, m_nTimeNy, m_nTimeNz, (float)m_dTimeDx,
                                    (float)m_dTimeDy, (float)m_dTimeDz);
        if (r != 0)
        {
            char sz[160];
            snprintf(sz, sizeof(sz), "Error! CUDA: Unable to init Time Field Cube (%d, %d, %d)!\n", m_nTimeNx,
                     m_nTimeNy, m_nTimeNz);
            return Report(r, sz);
        }
    }
    return 0;
}

int CCalc3D_CUDA::GetCalcPlane(int nComponent, int z0, int z1, float** ppPlane, bool bNoCopy)
{
    if (!ppPlane || z1 < z0)
        return -1;
    const size_t n = NonNeg(m_nx) * NonNeg(m_ny) * (size_t)(z1 - z0 + 1);
    if (!*ppPlane)
    {
        *ppPlane = new (std::nothrow) float[n ? n : 1];
        if (!*ppPlane)
        {
            u_Error("Error! Memory Allocation Error on host (Temp grid memory).\n");
            return 0;
        }
    }
    if (bNoCopy)
    {
        memset(*ppPlane, 0, n * sizeof(float));
        return 0;
    }
    const int r = CUDA_3DFD_GetCalcPlane(nComponent, z0, z1, *ppPlane);
    if (r != 0)
        Report(r, "Error! CUDA: Unable to copy Time Field from DEVICE to HOST.\n");
    return 0;   // the depth exchange goes on
}

int CCalc3D_CUDA::SetCalcPlane(int nComponent, int z0, int z1, float* pPlane)
{
    const int r = CUDA_3DFD_SetCalcPlane(nComponent, z0, z1, pPlane);
    if (r != 0)
        Report(r, "Error! CUDA: Unable to copy Time Field from DEVICE to HOST.\n");
    return 0;
}

int CCalc3D_CUDA::FreeCalcPlane(float** ppPlane)
{
    if (ppPlane)
    {
        delete[] *ppPlane;
        *ppPlane = nullptr;
    }
    return 0;
}
