// CCalc3D_CUDA: the time-step operations, each one call of the module with
// its failure reported here. Memory, upload and planes are in
// Calc3D_CUDA_memory.cpp.

#include "CUDA/Calc3D_CUDA.h"

#include <algorithm>
#include <cstdio>
#include <new>

#include "CUDA/ondex_cuda.h"
#include "base/Output.h"
#include "run/OndexApp.h"

CCalc3D_CUDA::CCalc3D_CUDA(COndexApp& app)
    : CCalc3D(app), m_pSeisHost(nullptr), m_pTimeHost(nullptr), m_nTimeHostKind(-1)
{
}

CCalc3D_CUDA::~CCalc3D_CUDA()
{
    FreeMemory(true, true, true, true, true);
}

size_t CCalc3D_CUDA::Cells() const
{
    return (size_t)std::max(0, m_nx) * (size_t)std::max(0, m_ny) * (size_t)std::max(0, m_nz);
}

int CCalc3D_CUDA::Report(int nCode, const char* pszMessage)
{
    u_Line();
    u_Error("%s", pszMessage);
    u_Print("DETAILS: %s\n", CUDA_Error_Explain(nCode, nullptr));
    u_Line();
    return nCode;
}

int CCalc3D_CUDA::Step(bool bU, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1, float fS, const char* pszWhat)
{
    const int r = CUDA_3DFD_ModelStep(bU, m_bSuppressSV, iz0, iy0, ix0, iz1, iy1, ix1, fS);
    return r == 0 ? 0 : Report(r, pszWhat);
}

int CCalc3D_CUDA::ApplySignal(int nStep)
{
    if (!m_Signal.m_pData || nStep < 0 || nStep >= m_Signal.m_nLen)
    {
        u_Error("Error! No source signal sample for step %d.\n", nStep);
        return -200;
    }
    const int r = CUDA_3DFD_ApplySignal(nStep);
    if (r == 0)
        return 0;
    char sz[128];
    snprintf(sz, sizeof(sz), "Error! CUDA: Unable to apply signal on step %d.\n", nStep);
    return Report(r, sz);
}

// The acoustic kernels read neither the surface switch nor the ramp.
int CCalc3D_CUDA::PropagateAcoWaveU(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    return Step(true, iz0, iy0, ix0, iz1, iy1, ix1, 1.0f, "Error! CUDA: Unable to run simulation step (U).\n");
}

int CCalc3D_CUDA::PropagateAcoWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    return Step(false, iz0, iy0, ix0, iz1, iy1, ix1, 1.0f, "Error! CUDA: Unable to run simulation step (Tau).\n");
}

int CCalc3D_CUDA::PropagateElaWaveU(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    return Step(true, iz0, iy0, ix0, iz1, iy1, ix1, m_fSWave, "Error! CUDA: Unable to run simulation step (U).\n");
}

int CCalc3D_CUDA::PropagateElaWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    return Step(false, iz0, iy0, ix0, iz1, iy1, ix1, m_fSWave,
                "Error! CUDA: Unable to run simulation step (Tau).\n");
}

int CCalc3D_CUDA::PropagateTimeField()
{
    if ((m_nTimeField & 3) == 0)
        return 1;
    const int nAddZ0 = m_nZ0 > 0 ? m_nHalo : m_nTaper;
    const int r = CUDA_3DFD_TimeFieldPropagate(nAddZ0, (float)m_tCur);
    return r == 0 ? 0 : Report(r, "Error! CUDA: Unable to propagate Time Field.\n");
}

int CCalc3D_CUDA::RecordSeismogram()
{
    if (m_nSeisPos >= m_nSeisLen || m_vRcvCells.empty())
        return 0;
    const int r = CUDA_3DFD_RecordSeismogram((long)m_nSeisPos);
    if (r != 0)
        return Report(r, "Error! CUDA: Unable to record seismogram.\n");
    m_nSeisPos++;
    return 0;
}

namespace
{
// The one instability message of the grabs; the caller returns null.
void ReportUnstable()
{
    u_Error("!!!WARNING: The calculation scheme is unstable: further calculations are impossible! Please "
            "decrease dt.\n");
}
} // namespace

float* CCalc3D_CUDA::GrabShotgather(char cComponent)
{
    if (!m_pSeisHost)
        return nullptr;
    const int r = CUDA_3DFD_GrabShotgather(m_pSeisHost, cComponent);
    if (r == 0)
        return m_pSeisHost;
    if (r == kCudaUnstable)
        ReportUnstable();
    else
    {
        char sz[128];
        snprintf(sz, sizeof(sz), "Error! CUDA: Unable to copy seismogram (%c) from DEVICE to HOST.\n", cComponent);
        Report(r, sz);
    }
    return nullptr;
}

float* CCalc3D_CUDA::Grab2DSnapshot(char cPlane, char cComponent)
{
    if (!m_pPlane)
        return nullptr;
    const int nOffset = (int)(m_dSnapYOffset / m_dx + 0.5);
    const int r = CUDA_3DFD_Grab2DSnapshot(m_pPlane, cPlane, cComponent, nOffset);
    if (r == 0)
        return m_pPlane;
    if (r == kCudaUnstable)
        ReportUnstable();
    else
    {
        char sz[128];
        snprintf(sz, sizeof(sz), "Error! CUDA: Unable to copy 2D snapshot (%c) from DEVICE to HOST.\n", cComponent);
        Report(r, sz);
    }
    return nullptr;
}

float* CCalc3D_CUDA::Grab3DSnapshot(CCubeN& area, C3DSizeN& size, char cComponent)
{
    if (size.nx <= 0 || size.ny <= 0 || size.nz <= 0)
        return nullptr;
    const size_t n = (size_t)size.nx * (size_t)size.ny * (size_t)size.nz;
    float* pOut = new (std::nothrow) float[n];
    if (!pOut)
    {
        u_Error("Error! Unable to allocate temporary host memory for 3D Snapshot (%g MB).\n",
                (double)n * 4.0 / 1048576.0);
        return nullptr;
    }
    const int r = CUDA_3DFD_Grab3DSnapshot(pOut, area.z0, area.y0, area.x0, area.z1, area.y1, area.x1, size.nz,
                                           size.ny, size.nx, cComponent);
    if (r == 0)
        return pOut;
    delete[] pOut;
    char sz[128];
    snprintf(sz, sizeof(sz), "Error! CUDA: Unable to copy 3D snapshot (%c) from DEVICE to HOST.\n", cComponent);
    Report(r, sz);
    return nullptr;
}

float* CCalc3D_CUDA::GrabTimeField(int nType)
{
    if (!m_pTimeHost)
        return nullptr;
    const int r = CUDA_3DFD_TimeFieldGrabCube(m_pTimeHost, nType);
    if (r != 0)
    {
        Report(r, "Error! CUDA: Unable to copy Time Field from DEVICE to HOST.\n");
        return nullptr;
    }
    m_nTimeHostKind = nType;
    return m_pTimeHost;
}
