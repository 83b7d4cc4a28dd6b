// CCalc1D::Get1DModel: one vertical line of a model grid resampled onto the
// cells of the computation column. X and Y are blended separately and the two
// results averaged; a neighbour without rock takes no part, so air never
// leaks into the rock's values.

#include "engine1d/Calc1D.h"

#include <cmath>
#include <cstring>

int CCalc1D::Get1DModel(int nComponent, CPointR pt, float* pOut, int& nFirst)
{
    const float* pGrid = nComponent == 2 ? m_pRho : (nComponent == 100 ? m_pQ : m_pVp);
    if (m_nCalcZ > 0)
        memset(pOut, 0, (size_t)m_nCalcZ * sizeof(float));
    nFirst = m_nTaper;
    if (!pGrid || m_nx < 1 || m_ny < 1)
        return 0;

    double fx = (pt.x - m_cubeSim.x0) / m_dModelDx;
    double fy = (pt.y - m_cubeSim.y0) / m_dModelDy;
    if (!(fx >= 0.0))
        fx = 0.0;   // also a NaN position: the edge column
    if (fx >= m_nx)
        fx = m_nx - 1;
    if (!(fy >= 0.0))
        fy = 0.0;
    if (fy >= m_ny)
        fy = m_ny - 1;
    int i = (int)(fx + 0.01);
    int j = (int)(fy + 0.01);
    // fx just below m_nx rounds up to it: still the last column.
    if (i > m_nx - 1)
        i = m_nx - 1;
    if (j > m_ny - 1)
        j = m_ny - 1;
    const float rx = (float)fabs(fx - i);
    const float ry = (float)fabs(fy - j);

    const size_t nxy = (size_t)m_nx * m_ny;
    const int nz = m_nz;
    auto m = [&](int ii, int jj, int kk) { return pGrid[(size_t)kk * nxy + (size_t)jj * m_nx + ii]; };

    if (nz < 1)
        return 0;
    float w = 0.0f;
    bool bRock = false;
    for (int k = 0; k < nz && !bRock; k++)
    {
        // NaN is not zero: it counts as rock.
        if (m(i, j, k) != 0.0f)
        {
            w = m(i, j, k);
            bRock = true;
        }
    }
    if (!bRock)
        return 0;
    if (m_nCalcZ < 1)
        return -1;

    const bool bInvisible = m_nSurfType == 0;
    const float ratio = (float)(m_dz / m_dModelDz);
    const bool bX = rx > 0.02f && i < m_nx - 1;
    const bool bY = ry > 0.02f && j < m_ny - 1;
    bool bSeen = false;
    for (int c = 0; c < m_nCalcZ; c++)
    {
        const float fz = (float)(c - m_nTaper) * ratio;
        const int kz = (int)(0.01f + fz);
        const float rz = (float)fabs(fz - (float)kz);
        if (fz < 0.0f)
        {
            pOut[c] = bInvisible ? w : 0.0f;
            continue;
        }
        // kz can reach nz when fz lies within 0.01 below it: that is below
        // the model too, not a sample.
        if (fz >= (float)nz || kz >= nz)
        {
            pOut[c] = w;
            continue;
        }
        float s = m(i, j, kz);
        if (s == 0.0f)
        {
            pOut[c] = (bInvisible && !bSeen) ? w : 0.0f;
            continue;
        }
        if (!bSeen)
        {
            nFirst = c;
            bSeen = true;
        }
        const bool bVert = rz > 0.02f && kz < nz - 1;
        if (bVert && m(i, j, kz + 1) != 0.0f)
            s = (1.0f - rz) * s + rz * m(i, j, kz + 1);

        float a = s;
        if (bX && m(i + 1, j, kz) != 0.0f)
        {
            if (!bVert)
                a = (1.0f - rx) * s + rx * m(i + 1, j, kz);
            else if (m(i, j, kz + 1) != 0.0f && m(i + 1, j, kz + 1) != 0.0f)
                a = ((1.0f - rz) * s + rz * m(i, j, kz + 1)) * (1.0f - rx)
                    + ((1.0f - rz) * m(i + 1, j, kz) + rz * m(i + 1, j, kz + 1)) * rx;
        }
        float b = s;
        if (bY && m(i, j + 1, kz) != 0.0f)
        {
            if (!bVert)
                b = (1.0f - ry) * s + ry * m(i, j + 1, kz);
            else if (m(i, j, kz + 1) != 0.0f && m(i, j + 1, kz + 1) != 0.0f)
                b = ((1.0f - rz) * s + rz * m(i, j, kz + 1)) * (1.0f - ry)
                    + ((1.0f - rz) * m(i, j + 1, kz) + rz * m(i, j + 1, kz + 1)) * ry;
        }
        w = (a + b) * 0.5f;
        pOut[c] = w;
    }
    return bSeen ? 0 : -1;
}
