// CCalc3D_OMP: where the wave field meets the outside: the source signal
// goes in, receivers, snapshots and time fields come out.

#include "cpu/Calc3D_OMP.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include "base/Output.h"
#include "engine3d/common.h"
#include "run/OndexApp.h"

namespace
{
const int32_t kBigSeisMagic = 821222;
const float kThird = 0.33333334f;
} // namespace

int CCalc3D_OMP::ApplySignal(int nStep)
{
    if (!m_Signal.m_pData || nStep < 0 || nStep >= m_Signal.m_nLen)
    {
        u_Error("Error! No source signal sample for step %d.\n", nStep);
        return -200;
    }
    const float s = m_Signal.m_pData[nStep];
    const size_t cells = Cells();
    const size_t nxy = (size_t)std::max(0, m_nx) * (size_t)std::max(0, m_ny);
    const bool bAcoustic = m_pApp->m_Type <= 101;

    if (!m_pUx || !m_pUy || !m_pUz || !m_pTxx ||
        (!bAcoustic && (!m_pTyy || !m_pTzz || !m_pTxy || !m_pTxz || !m_pTyz || !m_pRho)))
    {
        u_Error("Error! The wave field grids of the source are missing.\n");
        return -200;
    }

    for (size_t k = 0; k < m_vSources.size(); k++)
    {
        const C3DShotPoint& pt = m_vSources[k];
        if (pt.nIndex >= cells)
        {
            u_Error("Error! Source cell %llu lies outside the grid.\n", (unsigned long long)pt.nIndex);
            return -200;
        }
        const size_t i = (size_t)pt.nIndex;
        const bool bFree = (pt.nFlag & 1) != 0;

        if (bAcoustic)
        {
            switch (m_nSourceType)
            {
            case 1: m_pUx[i] += bFree ? s : -s; break;
            case 2: m_pUy[i] += bFree ? s : -s; break;
            case 3: m_pUz[i] -= s; break;
            case 7:
                // Hard source: the pressure is imposed, unless the surface
                // above is free.
                if (bFree)
                    m_pTxx[i] -= s;
                else
                    m_pTxx[i] = s;
                break;
            default:
                if (bFree)
                    m_pTxx[i] -= s;
                else
                    m_pTxx[i] += s;
                break;
            }
            continue;
        }

        switch (m_nSourceType)
        {
        case 0:
        {
            // Below an empty cell the source sits at the free surface. A
            // source in the top plane has no cell above; it counts as rock.
            const bool bEmptyAbove = i >= nxy && m_pRho[i - nxy] == 0.0f;
            const float v = bEmptyAbove ? -s : s;
            m_pTxx[i] += v;
            m_pTyy[i] += v;
            m_pTzz[i] += v;
            break;
        }
        case 1: m_pUx[i] += s; break;
        case 2: m_pUy[i] += s; break;
        case 3: m_pUz[i] -= s; break;
        case 4: m_pTxx[i] += s; break;
        case 5: m_pTyy[i] += s; break;
        case 6: m_pTzz[i] -= s; break;
        case 8:
            m_pTxy[i] += s * m_fK[3];
            m_pTxz[i] += s * m_fK[4];
            m_pTyz[i] += s * m_fK[5];
            break;
        case 9:
        case 10:
        {
            float K[6];
            if (m_nSourceType == 9)
                memcpy(K, m_fK, sizeof(K));
            else
            {
                if (k >= m_vSrcTensors.size())
                {
                    u_Error("Error! Source point %d has no fault slip tensor.\n", (int)k);
                    return -200;
                }
                const CShotTauK& t = m_vSrcTensors[k];
                K[0] = t.K11;
                K[1] = t.K22;
                K[2] = t.K33;
                K[3] = t.K12;
                K[4] = t.K13;
                K[5] = t.K23;
            }
            m_pTxx[i] += s * K[0];
            m_pTyy[i] += s * K[1];
            m_pTzz[i] += s * K[2];
            m_pTxy[i] += s * K[3];
            m_pTxz[i] += s * K[4];
            m_pTyz[i] += s * K[5];
            break;
        }
        default:
            m_pTxx[i] += s;
            m_pTyy[i] += s;
            m_pTzz[i] += s;
            break;
        }
    }
    return 0;
}

int CCalc3D_OMP::RecordSeismogram()
{
    const size_t nRec = m_vRcvCells.size();
    if (m_nSeisPos >= m_nSeisLen || nRec == 0)
        return 0;
    if (!m_pUx || !m_pUy || !m_pUz || !m_pTxx)
    {
        u_Error("Error! The wave field grids of the receivers are missing.\n");
        return -200;
    }
    const size_t cells = Cells();
    for (size_t i = 0; i < nRec; i++)
        if (m_vRcvCells[i] >= cells)
        {
            u_Error("Error! Receiver cell %llu lies outside the grid.\n", (unsigned long long)m_vRcvCells[i]);
            return -200;
        }

    const bool bBig = m_pApp->m_bBigSeismogram;
    const size_t nBase = bBig ? 0 : nRec * m_nSeisPos;
    const bool bMean = m_pTyy && m_pTzz;
    for (size_t i = 0; i < nRec; i++)
    {
        const size_t c = m_vRcvCells[i];
        const size_t e = nBase + i;
        if (m_pSeis[0])
            m_pSeis[0][e] = m_pUx[c] * KOEF_VELOCITY;
        if (m_pSeis[1])
            m_pSeis[1][e] = m_pUy[c] * KOEF_VELOCITY;
        if (m_pSeis[2])
            m_pSeis[2][e] = m_pUz[c] * KOEF_VELOCITY;
        if (m_pSeis[3])
            m_pSeis[3][e] = bMean ? (m_pTxx[c] + m_pTyy[c] + m_pTzz[c]) / 3.0f : m_pTxx[c];
    }

    if (bBig)
    {
        size_t nWritten = 0;
        if (m_pBigSeis)
            for (int n = 0; n < 4; n++)
                if (m_pSeis[n])
                    nWritten += fwrite(m_pSeis[n], sizeof(float), nRec, m_pBigSeis);
        if (nWritten < 4 * nRec)
        {
            u_Error("Error! Unable to write to the seismic file %s.\n", (const char*)m_pApp->GetBigSeisFileName());
            return 1;
        }
    }
    m_nSeisPos++;
    return 0;
}

float* CCalc3D_OMP::GrabShotgather(char cComponent)
{
    int nComp = 2;
    switch (cComponent)
    {
    case 'X': nComp = 0; break;
    case 'Y': nComp = 1; break;
    case 'C': nComp = 3; break;
    default: nComp = 2; break;
    }
    if (!m_pApp->m_bBigSeismogram)
        return m_pSeis[nComp];

    // The writing is over: the file is read back one time sample at a time.
    if (m_pBigSeis)
    {
        fclose(m_pBigSeis);
        m_pBigSeis = nullptr;
    }
    const CString strName = m_pApp->GetBigSeisFileName();
    FILE* pFile = fopen((const char*)strName, "rb");
    if (!pFile)
    {
        u_Error("Error! Unable to open file '%s' for reading.\n", (const char*)strName);
        return nullptr;
    }
    const size_t nRec = m_vRcvCells.size();
    const size_t nSteps = m_nSeisLen;
    if (!m_pBigShot)
    {
        try
        {
            m_pBigShot = NewGrid(nRec * nSteps);
        }
        catch (const std::bad_alloc&)
        {
            fclose(pFile);
            u_Error("Error! Not enough memory for seismogram. Please, try to increase spatial steps.\n");
            return nullptr;
        }
    }

    int32_t nMagic = 0, nShot = 0;
    int64_t nCount = 0;
    if (fread(&nMagic, 4, 1, pFile) != 1 || fread(&nShot, 4, 1, pFile) != 1 || fread(&nCount, 8, 1, pFile) != 1)
    {
        fclose(pFile);
        u_Error("Error! Unable to read file '%s'.\n", (const char*)strName);
        return nullptr;
    }
    if (nMagic != kBigSeisMagic || nShot != m_pApp->m_nActiveShot || nCount != (int64_t)nRec)
    {
        fclose(pFile);
        u_Error("Error! Unexpected format of file '%s' : %d!=%d or %d!=%d or %d!=%d.\n", (const char*)strName,
                (int)nMagic, (int)kBigSeisMagic, (int)nShot, m_pApp->m_nActiveShot, (int)nCount, (int)nRec);
        return nullptr;
    }
    std::vector<float> vRecord(4 * nRec);
    for (size_t t = 0; t < nSteps; t++)
    {
        if (fread(vRecord.data(), sizeof(float), 4 * nRec, pFile) != 4 * nRec)
        {
            fclose(pFile);
            u_Error("Error! Unexpected end of file '%s'\n", (const char*)strName);
            return nullptr;
        }
        memcpy(m_pBigShot + nRec * t, vRecord.data() + nRec * nComp, nRec * sizeof(float));
    }
    fclose(pFile);
    return m_pBigShot;
}

float* CCalc3D_OMP::Grab2DSnapshot(char cPlane, char cComponent)
{
    const float* pGrid = nullptr;
    float fScale = KOEF_VELOCITY;
    bool bMean = false;
    switch (cComponent)
    {
    case 'X': pGrid = m_pUx; break;
    case 'Y': pGrid = m_pUy; break;
    case 'C':
        pGrid = m_pTxx;
        fScale = 1.0f;
        bMean = m_pTyy != nullptr && m_pTzz != nullptr;
        break;
    default: pGrid = m_pUz; break;
    }
    if (!pGrid || !m_pPlane)
        return nullptr;

    const int nx = m_nx, ny = m_ny, nz = m_nz;
    const size_t nxy = (size_t)nx * (size_t)ny;
    const int nOffset = (int)(m_dSnapYOffset / m_dx + 0.5);
    auto Value = [&](size_t v) -> float {
        if (bMean)
            return (m_pTxx[v] + m_pTyy[v] + m_pTzz[v]) * kThird;
        return fScale == 1.0f ? pGrid[v] : pGrid[v] * fScale;
    };

    // A slice outside the grid writes nothing: the buffer keeps what it had.
    if (cPlane == 'Y')
    {
        const int xs = (int)((m_ptShot.x - m_cubeGrid.x0) / m_dx + 0.5) + nOffset;
        if (xs < 0 || xs >= nx)
            return m_pPlane;
        for (int z = 0; z < nz; z++)
            for (int y = 0; y < ny; y++)
                m_pPlane[(size_t)z * ny + y] = Value(z * nxy + (size_t)y * nx + xs);
    }
    else
    {
        const int ys = (int)((m_ptShot.y - m_cubeGrid.y0) / m_dx + 0.5) + nOffset;
        if (ys < 0 || ys >= ny)
            return m_pPlane;
        for (int z = 0; z < nz; z++)
            for (int x = 0; x < nx; x++)
                m_pPlane[(size_t)z * nx + x] = Value(z * nxy + (size_t)ys * nx + x);
    }
    return m_pPlane;
}

float* CCalc3D_OMP::Grab3DSnapshot(CCubeN& area, C3DSizeN& size, char cComponent)
{
    const float* pGrid = nullptr;
    float fScale = 1.0f;
    bool bMean = false;
    switch (cComponent)
    {
    case '0': pGrid = m_pTxx; break;
    case '1': pGrid = m_pTyy; break;
    case '2': pGrid = m_pTzz; break;
    case '3': pGrid = m_pTxy; break;
    case '4': pGrid = m_pTxz; break;
    case '5': pGrid = m_pTyz; break;
    case 'C':
        pGrid = m_pTxx;
        bMean = m_pTyy != nullptr && m_pTzz != nullptr;
        break;
    case 'X': pGrid = m_pUx; fScale = KOEF_VELOCITY; break;
    case 'Y': pGrid = m_pUy; fScale = KOEF_VELOCITY; break;
    default: pGrid = m_pUz; fScale = KOEF_VELOCITY; break;
    }
    if (!pGrid || size.nx <= 0 || size.ny <= 0 || size.nz <= 0)
        return nullptr;

    const int sx = size.nx, sy = size.ny, sz = size.nz;
    float* pOut = nullptr;
    try
    {
        pOut = new float[(size_t)sx * sy * sz];
    }
    catch (const std::bad_alloc&)
    {
        u_Error("Error! Not enough memory for a 3D snapshot.\n");
        return nullptr;
    }
    const long long cells = (long long)Cells();
    const long long nx = m_nx, nxy = (long long)m_nx * m_ny;
    const double wx = (double)(area.x1 - area.x0 + 1);
    const double wy = (double)(area.y1 - area.y0 + 1);
    const double wz = (double)(area.z1 - area.z0 + 1);

#pragma omp parallel for schedule(static)
    for (int k = 0; k < sz; k++)
    {
        const long long z = area.z0 + (long long)(k * wz / sz + 0.5);
        for (int j = 0; j < sy; j++)
        {
            const long long y = area.y0 + (long long)(j * wy / sy + 0.5);
            float* pRow = pOut + ((size_t)k * sy + j) * sx;
            for (int i = 0; i < sx; i++)
            {
                const long long x = area.x0 + (long long)(i * wx / sx + 0.5);
                const long long v = z * nxy + y * nx + x;
                if (v < 0 || v >= cells)
                    pRow[i] = 0.0f;
                else if (bMean)
                    pRow[i] = (m_pTxx[v] + m_pTyy[v] + m_pTzz[v]) * kThird;
                else
                    pRow[i] = pGrid[v] * fScale;
            }
        }
    }
    return pOut;
}

int CCalc3D_OMP::PropagateTimeField()
{
    if ((m_nTimeField & 3) == 0)
        return 1;
    for (int bit = 0; bit < 2; bit++)
        if ((m_nTimeField & (1 << bit)) && (!m_pTimeMax[bit] || !m_pTimeArr[bit]))
        {
            u_Error("Error! Time field grids are missing.\n");
            return -200;
        }
    if (!m_pUx || !m_pUy || !m_pUz)
    {
        u_Error("Error! The wave field grids of the time field are missing.\n");
        return -200;
    }

    const float t = (float)m_tCur;
    const float rx = (float)(m_dTimeDx / m_dx);
    const float ry = (float)(m_dTimeDy / m_dx);
    const float rz = (float)(m_dTimeDz / m_dx);
    // Samples stand on the whole grid's planes N + trunc(k * rz); a further
    // node of a depth group takes them from its first computed plane on.
    int kFirst = 0;
    if (m_nZ0 > 0 && rz > 0.0f)
        while (m_nTaper + (int)(kFirst * rz) < m_nZ0 + m_nHalo)
            kFirst++;
    const int tx = m_nTimeNx, ty = m_nTimeNy, tz = m_nTimeNz;
    const int nx = m_nx, ny = m_ny, nz = m_nz;
    const long long nxy = (long long)nx * ny;
    const bool bEnergy = (m_nTimeField & 1) != 0, bDiv = (m_nTimeField & 2) != 0;
    const float* ux = m_pUx;
    const float* uy = m_pUy;
    const float* uz = m_pUz;

#pragma omp parallel for schedule(static)
    for (int k = 0; k < tz; k++)
    {
        const int z = m_nTaper + (int)((kFirst + k) * rz) - m_nZ0;
        for (int j = 0; j < ty; j++)
        {
            const int y = m_nTaper + (int)(j * ry);
            for (int i = 0; i < tx; i++)
            {
                const int x = m_nTaper + (int)(i * rx);
                // Samples that leave the grid (or whose differences would)
                // are not looked at.
                if (x < 0 || y < 0 || z < 0 || x + 1 >= nx || y + 1 >= ny || z + 1 >= nz)
                    continue;
                const long long v = z * nxy + (long long)y * nx + x;
                const size_t out = ((size_t)k * ty + j) * tx + i;
                if (bEnergy)
                {
                    const float e = ux[v] * ux[v] + uy[v] * uy[v] + uz[v] * uz[v];
                    if (e > m_pTimeMax[0][out])
                    {
                        m_pTimeMax[0][out] = e;
                        m_pTimeArr[0][out] = t;
                    }
                }
                if (bDiv)
                {
                    const float d = std::fabs((ux[v + 1] - ux[v]) + (uy[v + nx] - uy[v]) + (uz[v + nxy] - uz[v]));
                    if (d > m_pTimeMax[1][out])
                    {
                        m_pTimeMax[1][out] = d;
                        m_pTimeArr[1][out] = t;
                    }
                }
            }
        }
    }
    return 0;
}

float* CCalc3D_OMP::GrabTimeField(int nType)
{
    switch (nType)
    {
    case 0: return m_pTimeArr[0];
    case 1: return m_pTimeArr[1];
    case 2: return m_pTimeMax[0];
    case 3: return m_pTimeMax[1];
    default: return nullptr;
    }
}
