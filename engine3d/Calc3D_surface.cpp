// Top and bottom of the earth model, edited column by column before any
// coefficient is computed: a free surface empties the top strip, an
// invisible one continues the first rock upward; below the last rock the
// model is always continued downward.

#include "engine3d/Calc3D.h"

#include <vector>

#include "base/Output.h"
#include "run/OndexApp.h"

// The property grids of a column that exist, still velocities, density,
// parameters and Q at this stage.
static std::vector<float*> ColumnProperties(CCalc3D& e)
{
    std::vector<float*> v;
    float* const all[] = {e.m_pVp, e.m_pRho, e.m_pVs, e.m_pAnisEps, e.m_pAnisDelta,
                          e.m_pAnisGamma, e.m_pAnisAlpha, e.m_pAnisPhi, e.m_pQ};
    for (float* p : all)
        if (p)
            v.push_back(p);
    return v;
}

int CCalc3D::MakeSurface()
{
    if (!m_pVp || m_nx < 1 || m_ny < 1 || m_nz < 1)
        return 0;
    const std::vector<float*> props = ColumnProperties(*this);
    const size_t nxy = (size_t)m_nx * m_ny;
    const int nx = m_nx, ny = m_ny, nz = m_nz;

    if (m_nSurfType == 1)
    {
        // In a depth group the strip keeps what the model spread into it.
        if (m_pApp->m_nGroupSize > 1)
            return 0;
        const int nTop = m_nTaper < nz ? m_nTaper : nz;
        for (float* p : props)
            for (size_t n = 0; n < (size_t)nTop * nxy; n++)
                p[n] = 0.0f;
        return 0;
    }

    if (m_pApp->m_nGroupSize > 1)
    {
        u_Error("Error! The invisible surface of a depth group is not available yet in this build of the 3D "
                "engine.\n");
        return -200;
    }

    float* const pVp = m_pVp;
    const int nProps = (int)props.size();
    float* const* const pProps = props.data();
#pragma omp parallel for schedule(static)
    for (int iy = 0; iy < ny; iy++)
    {
        float rock[9];
        for (int ix = 0; ix < nx; ix++)
        {
            const size_t nCol = (size_t)iy * nx + ix;
            int zr = -1;
            for (int iz = 0; iz <= nz - 2; iz++)
            {
                if (pVp[nCol + (size_t)iz * nxy] > 0.0f)
                {
                    zr = iz;
                    break;
                }
            }
            if (zr <= 0)
                continue;
            for (int k = 0; k < nProps; k++)
                rock[k] = pProps[k][nCol + (size_t)zr * nxy];
            for (int iz = 0; iz < nz - 1; iz++)
            {
                const size_t n = nCol + (size_t)iz * nxy;
                if (pVp[n] > 0.0f)
                    break;
                for (int k = 0; k < nProps; k++)
                    pProps[k][n] = rock[k];
            }
        }
    }
    return 0;
}

int CCalc3D::MakeSurfaceBottomDistributed()
{
    if (!m_pVp || m_nx < 1 || m_ny < 1 || m_nz < 1)
        return 0;
    if (m_pApp->m_nGroupSize > 1)
    {
        u_Error("Error! The bottom surface of a depth group is not available yet in this build of the 3D "
                "engine.\n");
        return -200;
    }
    u_Print("MPI Node: Applying Bottom Surface\n");
    const std::vector<float*> props = ColumnProperties(*this);
    const size_t nxy = (size_t)m_nx * m_ny;
    const int nx = m_nx, ny = m_ny, nz = m_nz;
    const int h = m_nHalo;
    const int nZ0 = m_nZ0, nZ1 = m_nZ1;
    float* const pVp = m_pVp;
    const int nProps = (int)props.size();
    float* const* const pProps = props.data();
#pragma omp parallel for schedule(static)
    for (int iy = 0; iy < ny; iy++)
    {
        float rock[9];
        for (int ix = 0; ix < nx; ix++)
        {
            const size_t nCol = (size_t)iy * nx + ix;
            int d = -1;
            for (int iz = nz - 1; iz >= h; iz--)
            {
                if (pVp[nCol + (size_t)iz * nxy] > 0.0f)
                {
                    for (int k = 0; k < nProps; k++)
                        rock[k] = pProps[k][nCol + (size_t)iz * nxy];
                    d = iz + nZ0;
                    break;
                }
            }
            if (d < 0 || d > nZ1)
                continue;
            int dl = d - nZ0;
            if (dl <= h + 1)
                dl = 0;
            for (int iz = dl; iz < nz; iz++)
                for (int k = 0; k < nProps; k++)
                    pProps[k][nCol + (size_t)iz * nxy] = rock[k];
        }
    }
    return 0;
}
