// Top and bottom of the earth model, edited column by column before any
// coefficient is computed: a free surface empties the top strip, an
// invisible one continues the first rock upward; below the last rock the
// model is always continued downward.

#include "engine3d/Calc3D.h"

#include <mpi.h>
#include <vector>

#include "base/Output.h"
#include "run/OndexApp.h"
#include "run/MpiTags.h"

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

// Per-column results passed through a depth group: the surface cell's
// whole-grid plane (-1 while unknown) and its properties, one plane of
// nx*ny values per grid that exists.
namespace
{
struct ColumnPlanes
{
    std::vector<int> vDepth;
    std::vector<std::vector<float>> vProps;   // in the order of the grids below
    std::vector<float*> vGrids;               // the engine's grids
    std::vector<int> vTagFirst, vTagReturn;

    explicit ColumnPlanes(CCalc3D& e)
    {
        const size_t nxy = (size_t)e.m_nx * e.m_ny;
        vDepth.assign(nxy, -1);
        // Message order: the depth plane, then these grids.
        struct { float* p; int t1, t2; } all[] = {
            {e.m_pVp, tag::kSurfVp, tag::kSurfVpBack},
            {e.m_pRho, tag::kSurfRho, tag::kSurfRhoBack},
            {e.m_pVs, tag::kSurfVs, tag::kSurfVsBack},
            {e.m_pAnisEps, tag::kSurfEps, tag::kSurfEpsBack},
            {e.m_pAnisDelta, tag::kSurfDelta, tag::kSurfDeltaBack},
            {e.m_pAnisGamma, tag::kSurfGamma, tag::kSurfGammaBack},
            {e.m_pAnisAlpha, tag::kSurfAlpha, tag::kSurfAlphaBack},
            {e.m_pAnisPhi, tag::kSurfPhi, tag::kSurfPhiBack},
            {e.m_pQ, tag::kSurfQ, tag::kSurfQBack}};
        for (auto& a : all)
        {
            if (!a.p)
                continue;
            vGrids.push_back(a.p);
            vProps.emplace_back(nxy, 0.0f);
            vTagFirst.push_back(a.t1);
            vTagReturn.push_back(a.t2);
        }
    }
    void Send(int nTo, bool bReturn)
    {
        MPI_Send(vDepth.data(), (int)vDepth.size(), MPI_INT, nTo, bReturn ? tag::kSurfDepthBack : tag::kSurfDepth, MPI_COMM_MT);
        for (size_t k = 0; k < vProps.size(); k++)
            MPI_Send(vProps[k].data(), (int)vProps[k].size(), MPI_FLOAT, nTo,
                     bReturn ? vTagReturn[k] : vTagFirst[k], MPI_COMM_MT);
    }
    void Recv(int nFrom, bool bReturn)
    {
        MPI_Recv(vDepth.data(), (int)vDepth.size(), MPI_INT, nFrom, bReturn ? tag::kSurfDepthBack : tag::kSurfDepth, MPI_COMM_MT,
                 MPI_STATUS_IGNORE);
        for (size_t k = 0; k < vProps.size(); k++)
            MPI_Recv(vProps[k].data(), (int)vProps[k].size(), MPI_FLOAT, nFrom,
                     bReturn ? vTagReturn[k] : vTagFirst[k], MPI_COMM_MT, MPI_STATUS_IGNORE);
    }
    void Take(size_t nCol, size_t nCell, int nDepth)
    {
        for (size_t k = 0; k < vGrids.size(); k++)
            vProps[k][nCol] = vGrids[k][nCell];
        vDepth[nCol] = nDepth;
    }
    void Put(size_t nCol, size_t nCell)
    {
        for (size_t k = 0; k < vGrids.size(); k++)
            vGrids[k][nCell] = vProps[k][nCol];
    }
};
} // namespace

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
        // Top to bottom: the first node that meets rock in a column fixes
        // its surface; back up: every node fills its part of the column.
        ColumnPlanes planes(*this);
        u_Print("MPI Node: Applying Invisible Surface\n");
        const int nRank = m_pApp->m_nGroupRank;
        const bool bFirst = nRank == 0;
        const bool bLast = nRank == m_pApp->m_nGroupSize - 1;
        const int nNode = m_pApp->m_nNode;
        if (!bFirst)
            planes.Recv(nNode - 1, false);
        const int h = m_nHalo, nZ0 = m_nZ0;
        float* const pVp = m_pVp;
#pragma omp parallel for schedule(static)
        for (int iy = 0; iy < ny; iy++)
            for (int ix = 0; ix < nx; ix++)
            {
                const size_t nCol = (size_t)iy * nx + ix;
                if (planes.vDepth[nCol] >= 0)
                    continue;
                for (int iz = h; iz < nz; iz++)
                {
                    if (pVp[nCol + (size_t)iz * nxy] > 0.0f)
                    {
                        planes.Take(nCol, nCol + (size_t)iz * nxy, iz + nZ0);
                        break;
                    }
                }
            }
        if (!bLast)
        {
            planes.Send(nNode + 1, false);
            planes.Recv(nNode + 1, true);
        }
#pragma omp parallel for schedule(static)
        for (int iy = 0; iy < ny; iy++)
            for (int ix = 0; ix < nx; ix++)
            {
                const size_t nCol = (size_t)iy * nx + ix;
                const int d = planes.vDepth[nCol];
                if (d < 0 || d < nZ0)
                    continue;
                int dl = d - nZ0;
                if (dl >= nz - h - 1)
                    dl = nz - 1;
                // Nothing above the surface cell can be rock: all of it is filled.
                for (int iz = 0; iz <= dl; iz++)
                    planes.Put(nCol, nCol + (size_t)iz * nxy);
            }
        if (!bFirst)
            planes.Send(nNode - 1, true);
        return 0;
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

// The mirror image of the invisible top, for every surface type: bottom to
// top through the group and back; in one process the messages fall away.
int CCalc3D::MakeSurfaceBottomDistributed()
{
    if (!m_pVp || m_nx < 1 || m_ny < 1 || m_nz < 1)
        return 0;
    ColumnPlanes planes(*this);
    u_Print("MPI Node: Applying Bottom Surface\n");
    const bool bGroup = m_pApp->m_nGroupSize > 1;
    const int nRank = bGroup ? m_pApp->m_nGroupRank : 0;
    const bool bFirst = !bGroup || nRank == 0;
    const bool bLast = !bGroup || nRank == m_pApp->m_nGroupSize - 1;
    const int nNode = m_pApp->m_nNode;
    const size_t nxy = (size_t)m_nx * m_ny;
    const int nx = m_nx, ny = m_ny, nz = m_nz;
    const int h = m_nHalo;
    const int nZ0 = m_nZ0, nZ1 = m_nZ1;
    float* const pVp = m_pVp;
    if (!bLast)
        planes.Recv(nNode + 1, false);
#pragma omp parallel for schedule(static)
    for (int iy = 0; iy < ny; iy++)
        for (int ix = 0; ix < nx; ix++)
        {
            const size_t nCol = (size_t)iy * nx + ix;
            if (planes.vDepth[nCol] >= 0)
                continue;
            for (int iz = nz - 1; iz >= h; iz--)
            {
                if (pVp[nCol + (size_t)iz * nxy] > 0.0f)
                {
                    planes.Take(nCol, nCol + (size_t)iz * nxy, iz + nZ0);
                    break;
                }
            }
        }
    if (!bFirst)
    {
        planes.Send(nNode - 1, false);
        planes.Recv(nNode - 1, true);
    }
#pragma omp parallel for schedule(static)
    for (int iy = 0; iy < ny; iy++)
        for (int ix = 0; ix < nx; ix++)
        {
            const size_t nCol = (size_t)iy * nx + ix;
            const int d = planes.vDepth[nCol];
            if (d < 0 || d > nZ1)
                continue;
            int dl = d - nZ0;
            if (dl <= h + 1)
                dl = 0;
            for (int iz = dl; iz < nz; iz++)
                planes.Put(nCol, nCol + (size_t)iz * nxy);
        }
    if (!bLast)
        planes.Send(nNode + 1, true);
    return 0;
}
