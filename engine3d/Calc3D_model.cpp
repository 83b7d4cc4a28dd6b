// Model components: one property file cut out for the shot's grid, the
// strips filled by repeating the edge, missing S velocity and density
// derived from the P velocity; the smoothing pass over finished grids.

#include "engine3d/Calc3D.h"
#include "engine3d/ModelSmooth.h"

#include <cmath>
#include <cstring>
#include <new>
#include <sys/time.h>

#include "base/Output.h"
#include "files/SdsPC.h"
#include "run/OndexApp.h"

// Correction table: S velocity and density for a P velocity.
static const int nCorSize = 15;
static const double pCorPVel[nCorSize] = {300, 1500, 2000, 2500, 3000, 4000, 5000, 6000,
                                          6500, 7000, 7500, 8000, 8500, 9000, 10000};
static const double pCorSVel[nCorSize] = {0, 900, 1150, 1450, 1730, 2310, 2900, 3510,
                                          3750, 4050, 4350, 4650, 4800, 5000, 6000};
static const double pCorDens[nCorSize] = {1000, 1970, 2010, 2200, 2200, 2350, 2500, 2650,
                                          2810, 2970, 3130, 3300, 3400, 3500, 3800};

static double CorrectionLookup(const double* pD, double v)
{
    int i = nCorSize - 1;
    for (int k = 0; k <= nCorSize - 2; k++)
    {
        if (v <= pCorPVel[k])
        {
            i = k;
            break;
        }
    }
    if (i == 0)
        return pD[0];
    if (i == nCorSize - 1)
        return pD[nCorSize - 1] / pCorPVel[nCorSize - 1] * v;   // proportional above the table
    if (v == pCorPVel[i])
        return pD[i];
    const double r = (v - pCorPVel[i - 1]) / (pCorPVel[i] - pCorPVel[i - 1]);
    return pD[i] * r + (1.0 - r) * pD[i - 1];
}

double CCalc3D::GetDensityByPVel(double dVp)
{
    return CorrectionLookup(pCorDens, dVp);
}

double CCalc3D::GetSVelByPVel(double dVp)
{
    return CorrectionLookup(pCorSVel, dVp);
}

struct ModelComponentInfo
{
    int nComponent;
    const char* pszLabel;
    double dThreshold;
};

static const ModelComponentInfo g_components[] = {
    {0, "P-Wave Velocity", 100.0},
    {1, "S-Wave Velocity", 100.0},
    {2, "Density", 100.0},
    {10, "Anisotropy(Epsilon)", -1.0},
    {11, "Anisotropy(Delta)", -1.0},
    {12, "Anisotropy(Gamma)", -1.0},
    {13, "Anisotropy Tilt(Alpha)", -1.0},
    {14, "Anisotropy Azimuth(Phi)", -1.0},
    {100, "Attenuation(Q)", 3.0},
};

static double NowSeconds()
{
    timeval tv;
    gettimeofday(&tv, nullptr);
    return tv.tv_sec + tv.tv_usec * 1e-6;
}

// Debug: a grid as a SEG-Y cube over the given extent, for looking at it.
// The file is made empty and each column added to its trace.
void SaveDebugGrid(const char* pszFile, const float* pGrid, int nx, int ny, int nz, const CCubeR& cube)
{
    if (!pGrid || nx < 1 || ny < 1 || nz < 1)
        return;
    const double t0 = NowSeconds();
    CSdsPC file;
    // The third axis of a model cube is depth.
    if (!file.Create3D_file(pszFile, C3DSizeN(nx, ny, nz), cube, 0.0f, DU_M, 0, nullptr)
        || !file.OnOpen(pszFile, 1, 0, 0, 0))
    {
        u_Print("Save3D_data returns false\n");
        return;
    }
    float* pTrace = new (std::nothrow) float[nz];
    if (!pTrace)
    {
        u_Print("Save3D_data returns false\n");
        return;
    }
    const size_t nxy = (size_t)nx * ny;
    for (int iy = 0; iy < ny; iy++)
    {
        for (int ix = 0; ix < nx; ix++)
        {
            const int nTrace = iy * nx + ix;
            if (!file.GetTrace(nTrace, pTrace, nz))
            {
                u_Print("!GetTrace(nx=%d, ny=%d)\n", ix, iy);
                continue;
            }
            const float* pCol = pGrid + (size_t)iy * nx + ix;
            for (int iz = 0; iz < nz; iz++)
                pTrace[iz] += pCol[(size_t)iz * nxy];
            if (!file.SetTrace(nTrace, pTrace, nz))
                u_Print("!SetTrace(nx=%d, ny=%d)\n", ix, iy);
        }
    }
    delete[] pTrace;
    u_Print("Save3D_data(%s) elapsed time %6.0f seconds.\n\n", pszFile, NowSeconds() - t0);
}

void CCalc3D::SaveDebugCube(const char* pszFile, const float* pGrid)
{
    SaveDebugGrid(pszFile, pGrid, m_nx, m_ny, m_nz, m_cubeGrid);
}

int CCalc3D::LoadModelComponent(int nComponent, const char* pszFile, float* pRefVp, float* pDest, float* pScratch)
{
    const ModelComponentInfo* pInfo = nullptr;
    for (const ModelComponentInfo& c : g_components)
        if (c.nComponent == nComponent)
            pInfo = &c;
    if (!pInfo)
    {
        u_Error("Error! LoadModelComponent() Unknown component (%d) specified.\n", nComponent);
        return -106;
    }
    const char* pszLabel = pInfo->pszLabel;
    const double dThreshold = pInfo->dThreshold;
    const bool bNoFile = !pszFile || pszFile[0] == 0;
    if (bNoFile && !pRefVp)
    {
        u_Error("Error! %s model file is not specified.\n", pszLabel);
        return -107;
    }
    if (!pDest || m_nx < 1 || m_ny < 1 || m_nz < 1)
    {
        u_Error("Error! Memory allocation error. Model cubes were not initialized.\n");
        return -2;
    }

    const size_t nCells = (size_t)m_nx * m_ny * m_nz;
    const size_t nxy = (size_t)m_nx * m_ny;
    float* pBuf = pScratch;
    bool bOwnBuf = false;
    if (!pBuf)
    {
        pBuf = new (std::nothrow) float[nCells];
        if (!pBuf)
        {
            u_Error("Error! Not enough memory to load %s model (%g MB).\n", pszLabel, nCells * 4.0 / 1048576.0);
            return -2;
        }
        bOwnBuf = true;
    }
    memset(pBuf, 0, nCells * sizeof(float));

    int nResult = 0;
    bool bFixedVs = false;
    CSdsPC file;
    if (bNoFile)
    {
        // Derived road: only S velocity (1) and density (2) have table rows;
        // other components get nothing to derive from and stay empty.
        const int nz = m_nz;
#pragma omp parallel for schedule(static)
        for (int iz = 0; iz < nz; iz++)
        {
            const size_t n0 = (size_t)iz * nxy;
            for (size_t n = n0; n < n0 + nxy; n++)
            {
                const float vp = pRefVp[n];
                if (!(vp > 0.0f))
                    pDest[n] = 0.0f;
                else if (nComponent == 1)
                    pDest[n] = (float)GetSVelByPVel(vp);
                else if (nComponent == 2)
                    pDest[n] = (float)GetDensityByPVel(vp);
                else
                    pDest[n] = 0.0f;
            }
        }
    }
    else
    {
        const int nLift = m_pApp->m_bModelUseElevation ? 1 : 0;
        if (!file.OnOpen(pszFile, 0, 0, 0, nLift))
        {
            u_Error("Error! Unable to open %s model file '%s'.\n", pszLabel, pszFile);
            if (bOwnBuf)
                delete[] pBuf;
            return -3;
        }
        const int N = m_nTaper;
        const int h = m_nHalo;
        const bool bGroup = m_pApp->m_nGroupSize >= 2;
        const bool bFirst = !bGroup || m_pApp->m_nGroupRank == 0;
        const bool bLast = !bGroup || m_pApp->m_nGroupRank == m_pApp->m_nGroupSize - 1;
        const int snx = m_nx - 2 * N;
        const int sny = m_ny - 2 * N;
        int snz = m_nz - 2 * N;
        if (!bFirst)
            snz += N - h;   // this side ends in halo, not in strip
        if (!bLast)
            snz += N - h;
        u_Print("nx=%d, ny=%d, nz=%d, snx=%d, sny=%d, snz=%d, vol=%lu\n", m_nx, m_ny, m_nz, snx, sny, snz,
                (unsigned long)((long long)snx * sny * snz));
        // A block without samples cannot be spread: refuse it instead of
        // reading outside the buffer.
        if (snx < 1 || sny < 1 || snz < 1
            || !file.Get3D_buf(C3DSizeN(snx, sny, snz), GetRealUserArea(), pBuf, nullptr, 0, (float)dThreshold))
        {
            u_Error("Error! Unable to load %s model buffer!\n", pszLabel);
            nResult = -3;
        }
        else
        {
            const float fThreshold = (float)dThreshold;
            const int nzShift = bFirst ? N : h;
            for (int iz = 0; iz < m_nz; iz++)
            {
                int sz = iz - nzShift;
                sz = sz < 0 ? 0 : (sz > snz - 1 ? snz - 1 : sz);
                for (int iy = 0; iy < m_ny; iy++)
                {
                    int sy = iy - N;
                    sy = sy < 0 ? 0 : (sy > sny - 1 ? sny - 1 : sy);
                    const float* pRow = pBuf + ((size_t)sz * sny + sy) * snx;
                    const size_t nRow = (size_t)iz * nxy + (size_t)iy * m_nx;
                    for (int ix = 0; ix < m_nx; ix++)
                    {
                        int sx = ix - N;
                        sx = sx < 0 ? 0 : (sx > snx - 1 ? snx - 1 : sx);
                        float v = pRow[sx];
                        if (dThreshold > 0.0 && v < fThreshold)
                            v = 0.0f;
                        const size_t n = nRow + ix;
                        if (nComponent == 1 && pRefVp)
                        {
                            const float l = pRefVp[n] * 0.70710677f;
                            if (v > l)
                            {
                                v = l;
                                bFixedVs = true;
                            }
                        }
                        pDest[n] = v;
                    }
                }
            }
        }
    }

    if (nResult == 0 && m_pApp->m_bDebug)
    {
        CString strName;
        strName.Format("%sDebugModel-%d(%s)(%d)-orig.sgy", (const char*)m_pApp->m_strOutputDir, m_nShot, pszLabel,
                       m_pApp->m_nNode);
        SaveDebugCube(strName, pDest);
    }
    if (bFixedVs)
        u_Warning("Warning! Too high shear velocity found in '%s' - Fixed.\n", pszFile);
    if (bOwnBuf)
        delete[] pBuf;
    file.Reset();
    return nResult;
}

int CCalc3D::SmoothModel()
{
    if (m_pApp->m_nSmoothModel < 1)
        return 0;
    float* const apGrids[] = {m_pVp, m_pRho, m_pVs, m_pQ,
                              m_pC11, m_pC12, m_pC13, m_pC22, m_pC23, m_pC33, m_pC44, m_pC55, m_pC66,
                              m_pC14, m_pC15, m_pC16, m_pC24, m_pC25, m_pC26, m_pC34, m_pC35, m_pC36,
                              m_pC45, m_pC46, m_pC56};
    for (float* p : apGrids)
        if (p)
            SmoothModelComponent(p, m_pApp->m_nSmoothModel);
    return 0;
}

// One pass needs a single plane of scratch: the results of row y wait in
// it and go into the grid cell by cell while row y + 1 is computed, each
// right after row y + 1 has read that cell as its neighbour. The planes of
// a row are independent: a cell reads row y of the planes beside it, which
// no thread writes before row y + 1.
void SmoothSevenPoint(float* pGrid, int nx, int ny, int nz, int nPasses, float* pScratch)
{
    if (!pGrid || !pScratch || nx < 3 || ny < 3 || nz < 3)
        return;
    const size_t nxy = (size_t)nx * ny;
    for (int nPass = 0; nPass < nPasses; nPass++)
    {
        for (int iy = 1; iy <= ny - 2; iy++)
        {
#pragma omp parallel for schedule(static)
            for (int iz = 1; iz <= nz - 2; iz++)
            {
                for (int ix = 1; ix <= nx - 2; ix++)
                {
                    const size_t n = (size_t)iz * nxy + (size_t)iy * nx + ix;
                    const float c = pGrid[n];
                    float v = c;
                    if (c != 0.0f)
                    {
                        const float nb[6] = {pGrid[n + nxy], pGrid[n - nxy], pGrid[n + nx],
                                             pGrid[n - nx], pGrid[n + 1], pGrid[n - 1]};
                        float s = c;
                        int nCount = 1;
                        for (float f : nb)
                        {
                            if (f > 0.0f)
                            {
                                s += f;
                                nCount++;
                            }
                        }
                        if (nCount == 7)
                            v = s / 7.0f;
                    }
                    float& w = pScratch[(size_t)iz * nx + ix];
                    if (iy > 1)
                        pGrid[n - nx] = w;   // row y - 1, read by this cell just above
                    w = v;
                }
            }
        }
        // The last row has no follower: written at once.
        const int iy = ny - 2;
        for (int iz = 1; iz <= nz - 2; iz++)
            for (int ix = 1; ix <= nx - 2; ix++)
                pGrid[(size_t)iz * nxy + (size_t)iy * nx + ix] = pScratch[(size_t)iz * nx + ix];
    }
}

int CCalc3D::SmoothModelComponent(float* pGrid, int nPasses)
{
    if (!m_pPlane)
    {
        u_Error("Error! SmoothModelComponent(): the scratch plane is not allocated.\n");
        return -4;
    }
    SmoothSevenPoint(pGrid, m_nx, m_ny, m_nz, nPasses, m_pPlane);
    return 0;
}
