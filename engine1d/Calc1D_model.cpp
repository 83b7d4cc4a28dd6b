// CCalc1D: the model grids (P velocity, density, Q) read from their files,
// turned into the coefficients of the scheme, smoothed, and cut into the
// vertical column of one trace.

#include "engine1d/Calc1D.h"

#include <cmath>
#include <cstring>
#include <new>
#include <sys/time.h>

#include "base/Output.h"
#include "engine3d/Calc3D.h"
#include "engine3d/ModelSmooth.h"
#include "files/SdsPC.h"
#include "run/OndexApp.h"

namespace
{
struct Component1D
{
    int nComponent;
    const char* pszLabel;
    double dThreshold;
};

const Component1D g_components1D[] = {
    {0, "P-Wave Velocity", 100.0},
    {2, "Density", 100.0},
    {100, "Attenuation(Q)", -1.0},
};

} // namespace

// The per-step damping of a quality factor; no damping outside 3..10000.
static float QFactor(double q, double dt, double dFreq)
{
    if (q < 3.0 || q > 10000.0 || std::isnan(q))
        return 1.0f;
    return (float)pow(1.0 - M_PI / q, 2.0 * dt * dFreq);
}

int CCalc1D::LoadModelComponent(int nComponent, const char* pszFile, float* pRefVp, float* pDest)
{
    const Component1D* pInfo = nullptr;
    for (const Component1D& c : g_components1D)
        if (c.nComponent == nComponent)
            pInfo = &c;
    if (!pInfo)
    {
        u_Error("Error! LoadModelComponent() Unknown component (%d) specified.\n", nComponent);
        return -106;
    }
    const bool bNoFile = !pszFile || pszFile[0] == 0;
    if (bNoFile && !pRefVp)
    {
        u_Error("Error! %s model file is not specified.\n", pInfo->pszLabel);
        return -107;
    }
    if (!pDest)
        return -2;
    const size_t nxy = (size_t)m_nx * m_ny;
    const int nz = m_nz;
    if (bNoFile)
    {
#pragma omp parallel for schedule(static)
        for (int iz = 0; iz < nz; iz++)
            for (size_t n = (size_t)iz * nxy; n < (size_t)(iz + 1) * nxy; n++)
                pDest[n] = pRefVp[n] > 0.0f ? (float)CCalc3D::GetDensityByPVel(pRefVp[n]) : 0.0f;
    }
    else
    {
        CSdsPC file;
        const int nLift = m_pApp->m_bModelUseElevation ? 1 : 0;
        if (!file.OnOpen(pszFile, 0, 0, 0, nLift))
        {
            u_Error("Error! Unable to open %s model file '%s'.\n", pInfo->pszLabel, pszFile);
            return -3;
        }
        // The grid's nodes are those of the simulation cube, which
        // PrepareSurvey put on the model's own nodes: node (i, j) is at
        // sim X0 + i * dx, sim Y0 + j * dy, as Get1DModel reads it. Over a
        // survey that covers the model this is the model cube itself.
        const CCubeR cube(m_cubeSim.x0, m_cubeSim.y0, m_cubeModel.z0, m_cubeSim.x0 + (m_nx - 1) * m_dModelDx,
                          m_cubeSim.y0 + (m_ny - 1) * m_dModelDy, m_cubeModel.z1);
        if (!file.Get3D_buf(C3DSizeN(m_nx, m_ny, m_nz), cube, pDest, nullptr, 0, (float)pInfo->dThreshold))
        {
            u_Error("Error! Unable to load %s model buffer!\n", pInfo->pszLabel);
            return -3;
        }
        file.Reset();
        const size_t nCells = nxy * nz;
        const float fThreshold = (float)pInfo->dThreshold;
        for (size_t n = 0; n < nCells; n++)
        {
            if (pInfo->dThreshold > 0.0 && pDest[n] < fThreshold)
                pDest[n] = 0.0f;
            if (nComponent == 100)
                pDest[n] = QFactor(pDest[n], m_dt, m_Signal.m_dFreq);
        }
    }
    if (m_pApp->m_bDebug)
    {
        CString strName;
        strName.Format("%sDebugModel-%d(%s)(%d)-orig.sgy", m_pApp->m_strOutputDir.c_str(), 1, pInfo->pszLabel,
                       m_pApp->m_nNode);
        SaveDebugGrid(strName, pDest, m_nx, m_ny, m_nz, m_cubeModel);
    }
    return 0;
}

int CCalc1D::InitModel()
{
    COndexApp& job = *m_pApp;
    const bool bQ = !job.m_strModelQ.IsEmpty();
    if (!m_pVp || !m_pRho || (bQ && !m_pQ))
    {
        u_Error("Error! Memory allocation error. Model cubes were not initialized.\n");
        return -2;
    }
    int r = LoadModelComponent(0, job.m_strModelPW.c_str(), nullptr, m_pVp);
    if (r == 0 && bQ)
        r = LoadModelComponent(100, job.m_strModelQ.c_str(), nullptr, m_pQ);
    if (r == 0)
        r = LoadModelComponent(2, job.m_strModelD.c_str(), m_pVp, m_pRho);
    if (r != 0)
        return r;

    const float fdt = (float)m_dt;
    m_fTaper[0] = 0.0f;
    for (int i = 1; i < m_nTaper; i++)
    {
        const double e = m_nTaper - i;
        m_fTaper[i] = (float)exp(-0.18 * e * e * (double)fdt);
    }

    // K and B as the 3D engine has them: the factor 15000 of the particle
    // velocity sits in the coefficients and cancels between the two updates.
    const double ratio = (1.0 / m_dz) * m_dt;
    const float c1 = (float)(ratio / 15000.0);
    const float c2 = (float)(ratio * 15000.0);
    const size_t nxy = (size_t)m_nx * m_ny;
    const int nz = m_nz;
    float* const pVp = m_pVp;
    float* const pRho = m_pRho;
#pragma omp parallel for schedule(static)
    for (int iz = 0; iz < nz; iz++)
        for (size_t n = (size_t)iz * nxy; n < (size_t)(iz + 1) * nxy; n++)
        {
            const float vp = pVp[n];
            const float rho = pRho[n];
            if (vp > 0.0f && rho > 0.0f)
            {
                pVp[n] = vp * vp * rho * c1;
                pRho[n] = c2 / rho;
            }
            else
            {
                pVp[n] = 0.0f;
                pRho[n] = 0.0f;
            }
        }
    SmoothModel();
    return 0;
}

int CCalc1D::SmoothModel()
{
    const int nPasses = m_pApp->m_nSmoothModel;
    if (nPasses < 1)
        return 0;
    float* pScratch = new (std::nothrow) float[(size_t)m_nx * m_nz];
    if (!pScratch)
    {
        u_Error("Error! Unable to allocate memory for temporary buffer.\n");
        return -4;
    }
    for (float* p : {m_pVp, m_pRho, m_pQ})
        if (p)
            SmoothModelComponent(p, nPasses, pScratch);
    delete[] pScratch;
    return 0;
}

// The seven-point mean of the 3D engine, on the column's small grid.
int CCalc1D::SmoothModelComponent(float* pGrid, int nPasses, float* pScratch)
{
    if (!pScratch)
        return -4;
    SmoothSevenPoint(pGrid, m_nx, m_ny, m_nz, nPasses, pScratch);
    return 0;
}
