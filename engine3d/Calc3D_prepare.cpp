// CCalc3D: preparation of one shot (survey points onto the grid of the shot)
// and the single-node validation of those points against the loaded model.

#include "engine3d/Calc3D.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <vector>

#include "base/Output.h"
#include "files/SdsPC.h"
#include "run/OndexApp.h"

// Cell of a point along the three axes, nearest cell from the grid's low
// corner. False for a point whose cell cannot be an index at all.
static bool PointCell(const CCalc3D& calc, const C3DPointR& pt, long long& ix, long long& iy, long long& iz)
{
    const double v[3] = {(pt.x - calc.m_cubeGrid.x0) / calc.m_dx + 0.5, (pt.y - calc.m_cubeGrid.y0) / calc.m_dx + 0.5,
                         (pt.z - calc.m_cubeGrid.z0) / calc.m_dx + 0.5};
    for (double d : v)
        if (!std::isfinite(d) || d <= -1e9 || d >= 1e9)
            return false;
    ix = (long long)v[0];
    iy = (long long)v[1];
    iz = (long long)v[2];
    return true;
}

// Inside means N..n-N on every axis: one cell beyond the user area still counts.
static bool CellInside(const CCalc3D& calc, long long ix, long long iy, long long iz)
{
    const int N = calc.m_nTaper;
    return ix >= N && ix <= calc.m_nx - N && iy >= N && iy <= calc.m_ny - N && iz >= N && iz <= calc.m_nz - N;
}

// Cells beyond the grid's end (the high bound above) are not addressable:
// such a point is treated as outside.
static bool CellAddressable(const CCalc3D& calc, long long ix, long long iy, long long iz)
{
    return ix < calc.m_nx && iy < calc.m_ny && iz < calc.m_nz;
}

int CCalc3D::PrepareSource(int nShot, CSurvey3D& survey, bool bQuiet)
{
    const int nMin = survey.GetMinShot();
    const int nMax = survey.GetMaxShot();
    if (nShot < nMin || nShot > nMax)
    {
        u_Error("Error! Unable to initialize Shot #%d. Shots are in range %d..%d.\n", nShot, nMin, nMax);
        return -102;
    }
    const int nActive = survey.SetActiveShot(nShot);
    if (nActive == -35)
        return -35;
    if (nActive != 0)
        return -33;

    m_nShot = nShot;
    m_ptShot = survey.GetActiveShotPt();
    const std::vector<C3DPointR> vReceivers = survey.m_vReceivers;
    m_cubeSurvey = survey.GetObsZone();

    int nResult = BuildShotGrid();
    if (nResult != 0)
        return nResult;

    m_vSources.clear();
    m_vRcvCells.clear();
    m_vSrcPoints.clear();
    m_vRcvPoints.clear();
    m_vRcvInline.clear();
    m_vRcvCrossline.clear();
    m_vRcvTraceId.clear();
    m_vRcvFileId.clear();
    m_nBoxHold = m_nBoxY0 = m_nBoxX0 = m_nBoxY1 = m_nBoxX1 = 0;

    const CCubeR zone = GetRealUserArea();
    m_vSrcPoints = survey.m_vExcitePoints;

    const bool bFaultSlip = m_nSourceType == 10;
    std::vector<CShotTauK> vTensors;
    if (bFaultSlip)
    {
        m_vSrcTensors.clear();
        vTensors = survey.m_vTauK;
        if (vTensors.size() != m_vSrcPoints.size())
        {
            u_Error("Error! Shot #%d (%g,%g,%g) Moment tensor is specified for not all excitement points (%d of %d)\n",
                    nShot, m_ptShot.x, m_ptShot.y, m_ptShot.z, (int)vTensors.size(), (int)m_vSrcPoints.size());
            return -34;
        }
    }

    // Points of excitement: the first point of a cell is kept, later ones in
    // the same cell are passed over, together with their tensors.
    const int nFlag = m_nSurfType == 1 ? 1 : 0;
    std::set<size_t> setCells;
    std::vector<C3DPointR> vKept;
    bool bStray = false;
    C3DPointR ptStray;
    for (size_t i = 0; i < m_vSrcPoints.size(); i++)
    {
        const C3DPointR& pt = m_vSrcPoints[i];
        long long ix = 0, iy = 0, iz = 0;
        if (!PointCell(*this, pt, ix, iy, iz) || !CellInside(*this, ix, iy, iz) || !CellAddressable(*this, ix, iy, iz))
        {
            bStray = true;
            ptStray = pt;
            break;
        }
        const size_t nCell = (size_t)((iz * m_ny + iy) * m_nx + ix);
        if (!setCells.insert(nCell).second)
            continue;
        m_vSources.push_back(C3DShotPoint(nCell, nFlag));
        vKept.push_back(pt);
        if (bFaultSlip)
            m_vSrcTensors.push_back(vTensors[i]);
        if (i == 0)
        {
            m_nBoxHold = 0;
            m_nBoxY0 = (int)iy - 1;
            m_nBoxX0 = (int)ix - 1;
            m_nBoxY1 = (int)iy + 1;
            m_nBoxX1 = (int)ix + 1;
        }
        else
        {
            m_nBoxX0 = std::min(m_nBoxX0, (int)ix - 1);
            m_nBoxX1 = std::max(m_nBoxX1, (int)ix + 1);
            m_nBoxY0 = std::min(m_nBoxY0, (int)iy - 1);
            m_nBoxY1 = std::max(m_nBoxY1, (int)iy + 1);
        }
    }
    m_vSrcPoints = vKept;

    if (!bQuiet)
    {
        u_LinePrint(" Shot #%d of %d ", nShot, nMax);
        if (CSdsPC::COOR_SCALER < 0)
            u_Print("Shot Position    (X,Y,Z): (%.2f, %.2f, %.2f), %d receivers.\n", m_ptShot.x, m_ptShot.y, m_ptShot.z,
                    (int)vReceivers.size());
        else
            u_Print("Shot Position    (X,Y,Z): (%.0f, %.0f, %.0f), %d receivers.\n", m_ptShot.x, m_ptShot.y, m_ptShot.z,
                    (int)vReceivers.size());
        if (m_vSources.size() >= 2)
            u_Print("Points of excitement    : %d\n", (int)m_vSources.size());
        if (m_dMargin > 0.0)
            u_Print("Margin                  : %g m\n", m_dMargin);
        u_Print("Model Cube       (X,Y,Z): {%.0f..%.0f, %.0f..%.0f, %.0f..%.0f}\n", m_cubeModel.x0, m_cubeModel.x1,
                m_cubeModel.y0, m_cubeModel.y1, m_cubeModel.z0, m_cubeModel.z1);
        if (m_dMargin > 0.0)
        {
            u_Print("Survey Cube      (X,Y,Z): {%.0f..%.0f, %.0f..%.0f, %.0f..%.0f}\n", m_cubeSurvey.x0,
                    m_cubeSurvey.x1, m_cubeSurvey.y0, m_cubeSurvey.y1, m_cubeSurvey.z0, m_cubeSurvey.z1);
            u_Print("Simulation Cube  (X,Y,Z): {%.0f..%.0f, %.0f..%.0f, %.0f..%.0f}\n", m_cubeSim.x0, m_cubeSim.x1,
                    m_cubeSim.y0, m_cubeSim.y1, m_cubeSim.z0, m_cubeSim.z1);
        }
        u_LinePrint(" Computation Grid Parameters ");
        u_Print("   First       |    Last       |      Step     |\n"
                "%14.0f |%14.0f |%14g |  x-dimension\n"
                "%14.0f |%14.0f |%14g |  y-dimension\n"
                "%14.0f |%14.0f |%14g |  z-dimension\n"
                "%14g |%14g |%14g |  time (%d steps)\n",
                m_cubeSim.x0, m_cubeSim.x1, m_dx, m_cubeSim.y0, m_cubeSim.y1, m_dx, m_cubeSim.z0, m_cubeSim.z1, m_dx,
                m_tStart, m_tEnd, m_dt, (int)((m_tEnd - m_tStart) / m_dt) + 1);
        u_LinePrint(" Shotgather Parameters ");
        u_Print("   First       |    Last       |      Step     |\n"
                "%14g |%14g |%14g |  time\n",
                m_pApp->m_t0, m_pApp->m_t1, m_pApp->m_dt);
        u_Line();
    }

    if (bStray)
    {
        u_Warning("Warning! Shot #%d (%g,%g,%g) is outside computation zone [%g..%g,%g..%g,%g..%g].\n", nShot,
                  ptStray.x, ptStray.y, ptStray.z, zone.x0, zone.x1, zone.y0, zone.y1, zone.z0, zone.z1);
        u_Print("Shot Point #%d skipped.\n", nShot);
        return -31;
    }

    // Receivers: those outside are dropped silently; two may share a cell.
    CCubeR rcvZone;
    for (size_t i = 0; i < vReceivers.size(); i++)
    {
        const C3DPointR& pt = vReceivers[i];
        rcvZone.Expand(pt);
        long long ix = 0, iy = 0, iz = 0;
        if (!PointCell(*this, pt, ix, iy, iz) || !CellInside(*this, ix, iy, iz) || !CellAddressable(*this, ix, iy, iz))
            continue;
        m_vRcvCells.push_back((size_t)((iz * m_ny + iy) * m_nx + ix));
        m_vRcvPoints.push_back(pt);
        m_vRcvInline.push_back(survey.GetRcvInline((int)i));
        m_vRcvCrossline.push_back(survey.GetRcvCrossline((int)i));
        m_vRcvTraceId.push_back(survey.GetRcvTraceId((int)i));
        m_vRcvFileId.push_back(survey.GetRcvFileId((int)i));
    }
    if (m_vRcvCells.empty())
    {
        u_Error("Error! Shot #%d (%.0f,%.0f,%.0f) no receivers in the computation zone "
                "[%.0f..%.0f,%.0f..%.0f,%.0f..%.0f]. Receivers zone: [%.0f..%.0f,%.0f..%.0f,%.0f..%.0f].\n",
                nShot, m_ptShot.x, m_ptShot.y, m_ptShot.z, zone.x0, zone.x1, zone.y0, zone.y1, zone.z0, zone.z1,
                rcvZone.x0, rcvZone.x1, rcvZone.y0, rcvZone.y1, rcvZone.z0, rcvZone.z1);
        return -32;
    }
    return 0;
}

// Walks a cell down through air (P velocity below 1) until rock or the
// bottom strip. True when rock was found; nMoved counts the planes walked.
static bool WalkToRock(const CCalc3D& calc, size_t nCell, size_t& nNewCell, int& nMoved)
{
    const size_t nPlane = (size_t)calc.m_nx * calc.m_ny;
    size_t iz = nCell / nPlane;
    const size_t nInPlane = nCell % nPlane;
    const long long nBottom = (long long)calc.m_nz - calc.m_nTaper;
    nMoved = 0;
    while ((long long)iz < nBottom)
    {
        if (calc.m_pVp[iz * nPlane + nInPlane] >= 1.0f)
        {
            nNewCell = iz * nPlane + nInPlane;
            return true;
        }
        iz++;
        nMoved++;
    }
    return false;
}

int CCalc3D::ValidateSurveyGeometryShared()
{
    if (m_vSources.size() != m_vSrcPoints.size())
    {
        u_Error("Error! Shot #%d: Unexpected inconsistency (wrong excitement points count => %d!=%d) \n", m_nShot,
                (int)m_vSources.size(), (int)m_vSrcPoints.size());
        return -200;
    }
    const size_t nRcv = m_vRcvCells.size();
    if (m_vRcvPoints.size() != nRcv || m_vRcvInline.size() != nRcv || m_vRcvCrossline.size() != nRcv ||
        m_vRcvTraceId.size() != nRcv || m_vRcvFileId.size() != nRcv)
    {
        u_Error("Error! Shot #%d: Unexpected inconsistency (wrong trace count => %d!=%d!=%d!=%d!=%d!=%d) \n", m_nShot,
                (int)m_vRcvCells.size(), (int)m_vRcvPoints.size(), (int)m_vRcvInline.size(),
                (int)m_vRcvCrossline.size(), (int)m_vRcvTraceId.size(), (int)m_vRcvFileId.size());
        return -200;
    }
    const size_t nTotal = (size_t)m_nx * m_ny * m_nz;
    if (!m_pVp || nTotal == 0)
    {
        u_Error("Error! Shot #%d: Unexpected inconsistency (survey validated without a loaded model) \n", m_nShot);
        return -200;
    }
    for (const C3DShotPoint& s : m_vSources)
        if (s.nIndex >= nTotal)
        {
            u_Error("Error! Shot #%d: Unexpected inconsistency (source cell %llu outside the grid) \n", m_nShot,
                    (unsigned long long)s.nIndex);
            return -200;
        }
    for (size_t c : m_vRcvCells)
        if (c >= nTotal)
        {
            u_Error("Error! Shot #%d: Unexpected inconsistency (receiver cell %llu outside the grid) \n", m_nShot,
                    (unsigned long long)c);
            return -200;
        }

    // Points of excitement. The flag word keeps bit 0 from the surface type
    // whether or not rock lies above the source: a source that needs its
    // sign from the overburden reads the cell above itself in the scheme.
    // Tensors travel with their points, so that a dropped point cannot
    // break the pairing of fault slip sources.
    const bool bTensors = m_vSrcTensors.size() == m_vSources.size();
    const int nFlag = m_nSurfType == 1 ? 1 : 0;
    bool bMoved = false;
    std::vector<C3DShotPoint> vSources;
    std::vector<C3DPointR> vPoints;
    std::vector<CShotTauK> vTensors;
    for (size_t i = 0; i < m_vSources.size(); i++)
    {
        size_t nCell = 0;
        int nMoved = 0;
        const bool bRock = WalkToRock(*this, m_vSources[i].nIndex, nCell, nMoved);
        if (nMoved > 0)
            bMoved = true;
        const C3DPointR ptOld = m_vSrcPoints[i];
        if (!bRock)
        {
            bMoved = true;   // a dropped point changes the lists even when it did not walk
            if (m_vSources.size() == 1)
            {
                u_Error("Error! No suitable depth position for shot #%d (%.0f, %.0f).\n", m_nShot, ptOld.x, ptOld.y);
                return -103;
            }
            continue;
        }
        C3DPointR pt = ptOld;
        for (int k = 0; k < nMoved; k++)   // step by step, as the walk goes
            pt.z += m_dx;
        if (ptOld == m_ptShot)
            m_ptShot.z = pt.z;
        vSources.push_back(C3DShotPoint(nCell, nFlag));
        vPoints.push_back(pt);
        if (bTensors)
            vTensors.push_back(m_vSrcTensors[i]);
    }
    if (bMoved)
    {
        m_vSources = vSources;
        m_vSrcPoints = vPoints;
        if (bTensors)
            m_vSrcTensors = vTensors;
    }
    if (m_vSources.empty())
    {
        u_Error("Error! Error validating survey geometry (shot point %d [%.0f, %0.f, %0.f] is outside model "
                "boundaries).\n",
                m_nShot, m_ptShot.x, m_ptShot.y, m_ptShot.z);
        return -103;
    }

    if (m_vRcvCells.size() != m_vRcvPoints.size())
    {
        u_Error("Error! Error validating survey geometry (wrong trace count, %d!=%d).\n", (int)m_vRcvCells.size(),
                (int)m_vRcvPoints.size());
        return -200;
    }

    // Receivers: the same walk; one that finds no rock is dropped with its ids.
    bMoved = false;
    std::vector<size_t> vCells;
    std::vector<C3DPointR> vRcv;
    std::vector<int> vInline, vCrossline, vTraceId, vFileId;
    for (size_t i = 0; i < m_vRcvCells.size(); i++)
    {
        size_t nCell = 0;
        int nMoved = 0;
        const bool bRock = WalkToRock(*this, m_vRcvCells[i], nCell, nMoved);
        if (nMoved > 0)
            bMoved = true;
        if (!bRock)
        {
            bMoved = true;   // a dropped receiver changes the lists as well
            continue;
        }
        C3DPointR pt = m_vRcvPoints[i];
        for (int k = 0; k < nMoved; k++)
            pt.z += m_dx;
        vCells.push_back(nCell);
        vRcv.push_back(pt);
        vInline.push_back(m_vRcvInline[i]);
        vCrossline.push_back(m_vRcvCrossline[i]);
        vTraceId.push_back(m_vRcvTraceId[i]);
        vFileId.push_back(m_vRcvFileId[i]);
    }
    if (bMoved)
    {
        m_vRcvCells = vCells;
        m_vRcvPoints = vRcv;
        m_vRcvInline = vInline;
        m_vRcvCrossline = vCrossline;
        m_vRcvTraceId = vTraceId;
        m_vRcvFileId = vFileId;
    }
    if (m_vRcvCells.empty())
    {
        u_Error("Error! All traces are outside the model. Shot Point #%d (%g, %g).\n", m_nShot, m_ptShot.x, m_ptShot.y);
        return -30;
    }
    m_nTraces = (int)m_vRcvCells.size();
    return 0;
}
