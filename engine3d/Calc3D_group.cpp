// Survey points of a depth group: every shot point and receiver goes down
// the group until the node whose slab holds it, and sources near a slab
// border are copied to the neighbour, so that its halo is excited too.

#include "engine3d/Calc3D.h"

#include <mpi.h>
#include <vector>

#include "base/Output.h"
#include "run/MpiTags.h"
#include "run/OndexApp.h"

namespace
{
const int kShotDoubles = 3;
const int kRcvDoubles = 7;

void SendSources(const std::vector<C3DShotPoint>& v, int nPeer, int nCountTag, int nTag)
{
    int n = (int)v.size();
    MPI_Send(&n, 1, MPI_INT, nPeer, nCountTag, MPI_COMM_MT);
    if (n > 0)
        MPI_Send(v.data(), 16 * n, MPI_BYTE, nPeer, nTag, MPI_COMM_MT);
}

// Negative counts cannot come from a member; they are read as none.
std::vector<C3DShotPoint> ReceiveSources(int nPeer, int nCountTag, int nTag, const char* pszWords)
{
    int n = 0;
    MPI_Recv(&n, 1, MPI_INT, nPeer, nCountTag, MPI_COMM_MT, MPI_STATUS_IGNORE);
    std::vector<C3DShotPoint> v;
    if (n > 0)
    {
        u_Print(pszWords, n, nPeer);
        v.resize(n);
        MPI_Recv(v.data(), 16 * n, MPI_BYTE, nPeer, nTag, MPI_COMM_MT, MPI_STATUS_IGNORE);
    }
    return v;
}
// The user ranges of neighbouring slabs are a step apart; a point in that
// gap belongs, as in one process, to its nearest plane, and is validated on
// it. A walk down through air keeps the point's own offset from the plane.
int ValidateGroupPoint(CCalc3D& calc, C3DPointR& pt, bool bFirst, bool bLast)
{
    const CCubeR r = calc.GetRealUserArea();
    const double dHalf = 0.5 * calc.m_dx;
    C3DPointR q = pt;
    if (!bFirst && q.z < r.z0 && q.z >= r.z0 - dHalf)
        q.z = r.z0;
    else if (!bLast && q.z > r.z1 && q.z < r.z1 + dHalf)
        q.z = r.z1;
    const double z = q.z;
    const int nResult = calc.ValidateTracePoint(q);
    if (q.z != z)
    {
        if (z == pt.z)
            pt = q;
        else
            for (double w = z; w < q.z; w += calc.m_dx)
                pt.z += calc.m_dx;
    }
    return nResult;
}
} // namespace

int CCalc3D::ValidateSurveyGeometryDistributed()
{
    const COndexApp& job = *m_pApp;
    const int nRank = job.m_nGroupRank;
    const int nNode = job.m_nNode;
    const bool bFirst = nRank == 0, bLast = nRank == job.m_nGroupSize - 1;
    const int nLeader = nNode - nRank;
    const int h = m_nHalo;
    const size_t nxy = (size_t)m_nx * m_ny;

    // 1. The points: the leader has them from the shot, the others from
    //    the node above.
    std::vector<double> vShots, vRcv;
    if (bFirst)
    {
        for (const C3DPointR& p : m_vSrcPoints)
            vShots.insert(vShots.end(), {p.x, p.y, p.z});
        for (size_t i = 0; i < m_vRcvPoints.size(); i++)
        {
            const C3DPointR& p = m_vRcvPoints[i];
            const auto id = [](const std::vector<int>& v, size_t k) { return k < v.size() ? (double)v[k] : -1.0; };
            vRcv.insert(vRcv.end(), {p.x, p.y, p.z, id(m_vRcvInline, i), id(m_vRcvCrossline, i),
                                     id(m_vRcvTraceId, i), id(m_vRcvFileId, i)});
        }
    }
    else
    {
        int nCounts[2] = {0, 0};
        MPI_Recv(nCounts, 2, MPI_INT, nNode - 1, tag::kPointsCount, MPI_COMM_MT, MPI_STATUS_IGNORE);
        vShots.resize((size_t)(nCounts[0] > 0 ? nCounts[0] : 0) * kShotDoubles);
        vRcv.resize((size_t)(nCounts[1] > 0 ? nCounts[1] : 0) * kRcvDoubles);
        if (!vShots.empty())
            MPI_Recv(vShots.data(), (int)vShots.size(), MPI_DOUBLE, nNode - 1, tag::kPointsShots, MPI_COMM_MT,
                     MPI_STATUS_IGNORE);
        if (!vRcv.empty())
            MPI_Recv(vRcv.data(), (int)vRcv.size(), MPI_DOUBLE, nNode - 1, tag::kPointsRcv, MPI_COMM_MT,
                     MPI_STATUS_IGNORE);
    }

    // 2.
    m_vSrcPoints.clear();
    m_vRcvPoints.clear();
    m_vSources.clear();
    m_vRcvCells.clear();
    m_vRcvInline.clear();
    m_vRcvCrossline.clear();
    m_vRcvTraceId.clear();
    m_vRcvFileId.clear();

    // 3. Shot points. The flag word is the one of a single process, so that
    //    a source excites the same way in a group.
    const int nFlag = m_nSurfType == 1 ? 1 : 0;
    std::vector<double> vShotsOn, vRcvOn;
    for (size_t i = 0; i + kShotDoubles <= vShots.size(); i += kShotDoubles)
    {
        C3DPointR pt(vShots[i], vShots[i + 1], vShots[i + 2]);
        const double x = pt.x, y = pt.y;
        const int r = ValidateGroupPoint(*this, pt, bFirst, bLast);
        if (r == -2)
        {
            vShotsOn.insert(vShotsOn.end(), {pt.x, pt.y, pt.z});
            continue;
        }
        if (r != 0)
            continue;
        const size_t nCell = GetPtShift(pt);
        if (nCell == 0)
        {
            u_Warning("Warning! A shot point is unexpectedly is out of simulation zone (%g, %g, %g).\n", pt.x, pt.y,
                      pt.z);
            continue;
        }
        u_Print("Shot %d: (nz=%ld, ny=%ld, nx=%ld)\n", m_nShot, (long)(nCell / nxy), (long)(nCell % nxy / m_nx),
                (long)(nCell % m_nx));
        m_vSources.push_back(C3DShotPoint(nCell, nFlag));
        m_vSrcPoints.push_back(pt);
        if (x == m_ptShot.x && y == m_ptShot.y)
            m_ptShot.z = pt.z;
    }

    // 4. Receivers with their ids.
    for (size_t i = 0; i + kRcvDoubles <= vRcv.size(); i += kRcvDoubles)
    {
        C3DPointR pt(vRcv[i], vRcv[i + 1], vRcv[i + 2]);
        const int r = ValidateGroupPoint(*this, pt, bFirst, bLast);
        if (r == -2)
        {
            vRcvOn.insert(vRcvOn.end(), {pt.x, pt.y, pt.z});
            vRcvOn.insert(vRcvOn.end(), vRcv.begin() + i + 3, vRcv.begin() + i + kRcvDoubles);
            continue;
        }
        if (r != 0)
            continue;
        const size_t nCell = GetPtShift(pt);
        if (nCell == 0)
        {
            u_Warning("Warning! A trace point is unexpectedly is out of simulation zone (%g, %g, %g).\n", pt.x, pt.y,
                      pt.z);
            continue;
        }
        m_vRcvCells.push_back(nCell);
        m_vRcvPoints.push_back(pt);
        m_vRcvInline.push_back((int)vRcv[i + 3]);
        m_vRcvCrossline.push_back((int)vRcv[i + 4]);
        m_vRcvTraceId.push_back((int)vRcv[i + 5]);
        m_vRcvFileId.push_back((int)vRcv[i + 6]);
    }

    // 5. What is left goes down; on the last node it is lost.
    if (!bLast)
    {
        int nCounts[2] = {(int)(vShotsOn.size() / kShotDoubles), (int)(vRcvOn.size() / kRcvDoubles)};
        MPI_Send(nCounts, 2, MPI_INT, nNode + 1, tag::kPointsCount, MPI_COMM_MT);
        if (nCounts[0] > 0)
            MPI_Send(vShotsOn.data(), (int)vShotsOn.size(), MPI_DOUBLE, nNode + 1, tag::kPointsShots, MPI_COMM_MT);
        if (nCounts[1] > 0)
            MPI_Send(vRcvOn.data(), (int)vRcvOn.size(), MPI_DOUBLE, nNode + 1, tag::kPointsRcv, MPI_COMM_MT);
    }

    // 6. Border sources: downward first, then upward, so that no two
    //    neighbours wait on each other.
    const size_t nOffset = (size_t)m_nZ0 * nxy;
    std::vector<C3DShotPoint> vFromAbove, vFromBelow;
    if (!bFirst)
        vFromAbove = ReceiveSources(nNode - 1, tag::kBorderCountDown, tag::kBorderDown,
                                    "Receiving %d border sources from upper group worked node %d...\n");
    auto collect = [&](bool bBottom) {
        std::vector<C3DShotPoint> v;
        for (const C3DShotPoint& s : m_vSources)
        {
            const bool bIn = bBottom ? s.nIndex >= (size_t)(m_nz - 2 * h) * nxy : s.nIndex < (size_t)(2 * h) * nxy;
            if (!bIn)
                continue;
            C3DShotPoint w = s;
            w.nIndex += nOffset;
            if (job.m_bDebug)
                u_Print("Border src %ld ; %ld (abs = z=%d, y=%d, x=%d)\n", (long)s.nIndex, (long)w.nIndex,
                        (int)(w.nIndex / nxy), (int)(w.nIndex % nxy / m_nx), (int)(w.nIndex % m_nx));
            v.push_back(w);
        }
        return v;
    };
    if (!bLast)
    {
        const std::vector<C3DShotPoint> v = collect(true);
        if (!v.empty())
            u_Print("Sending %d border sources to lower group worked node %d...\n", (int)v.size(), nNode + 1);
        SendSources(v, nNode + 1, tag::kBorderCountDown, tag::kBorderDown);
        vFromBelow = ReceiveSources(nNode + 1, tag::kBorderCountUp, tag::kBorderUp,
                                    "Receiving %d border sources from lower group worked node %d...\n");
    }
    if (!bFirst)
    {
        const std::vector<C3DShotPoint> v = collect(false);
        if (!v.empty())
            u_Print("Sending %d border sources to upper group worked node %d...\n", (int)v.size(), nNode - 1);
        SendSources(v, nNode - 1, tag::kBorderCountUp, tag::kBorderUp);
    }
    // A copy that would land outside this slab is not kept.
    for (const std::vector<C3DShotPoint>* pv : {&vFromAbove, &vFromBelow})
        for (C3DShotPoint s : *pv)
            if (s.nIndex >= nOffset && s.nIndex - nOffset < nxy * (size_t)m_nz)
            {
                s.nIndex -= nOffset;
                m_vSources.push_back(s);
            }

    // 7. Totals at the leader; 0 back means failure.
    int nOwn[2] = {(int)m_vSources.size(), (int)m_vRcvCells.size()};
    int nTotal = 0;
    if (bFirst)
    {
        int nSrc = nOwn[0], nRcv = nOwn[1];
        for (int k = 1; k < job.m_nGroupSize; k++)
        {
            int n[2] = {0, 0};
            MPI_Recv(n, 2, MPI_INT, nLeader + k, tag::kPointsTotals, MPI_COMM_MT, MPI_STATUS_IGNORE);
            nSrc += n[0];
            nRcv += n[1];
        }
        nTotal = nSrc > 0 && nRcv > 0 ? nRcv : 0;
        for (int k = 1; k < job.m_nGroupSize; k++)
            MPI_Send(&nTotal, 1, MPI_INT, nLeader + k, tag::kPointsAnswer, MPI_COMM_MT);
        // 8.
        if (nSrc == 0)
            u_Error("Error! Survey Geometry failure. Not shot points inside the simulation zone.\n");
        else if (nRcv == 0)
            u_Error("Error! Survey Geometry failure. Not receivers inside the simulation zone.\n");
    }
    else
    {
        MPI_Send(nOwn, 2, MPI_INT, nLeader, tag::kPointsTotals, MPI_COMM_MT);
        MPI_Recv(&nTotal, 1, MPI_INT, nLeader, tag::kPointsAnswer, MPI_COMM_MT, MPI_STATUS_IGNORE);
        if (nTotal == 0)
            u_Error("Error! Survey Geometry failure received from my group leader (node #%d).\n", nLeader);
    }
    if (nTotal == 0)
        return -30;

    // 9.
    m_nTraces = nTotal;
    u_Print("MPI Node: %d sources, %d receivers (%d traces across all worker nodes)\n", (int)m_vSources.size(),
            (int)m_vRcvCells.size(), nTotal);
    return 0;
}
