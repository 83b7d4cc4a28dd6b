// CCalc3D: the job-wide validation with its settings report, and the grid of
// one shot with the small translations between coordinates and cells.

#include "engine3d/Calc3D.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "base/Output.h"
#include "files/SdsPC.h"
#include "run/OndexApp.h"

// Text of a source type in the settings report and the shot header.
static const char* SourceTypeText(int nType)
{
    switch (nType)
    {
    case 0: return "Omnidirectional";
    case 1: return "Horizontal (X)";
    case 2: return "Horizontal (Y)";
    case 3: return "Vertical (Z)";
    case 4: return "Horizontal (X) Dipole";
    case 5: return "Horizontal (Y) Dipole";
    case 6: return "Vertical (Z) Dipole";
    case 8: return "Double Couple";
    case 9: return "Arbitrary Directed";
    case 10: return "Fault slip";
    default: return "Unknown";   // 7, the hard acoustic source, has no text of its own
    }
}

int CCalc3D::ValidateCommon()
{
    const int nMethod = m_pApp->m_Type;

    // An omnidirectional source under an invisible surface radiates no S wave
    // to suppress.
    if (nMethod >= 102 && m_nSurfType == 0 && m_nSourceType == 0)
        m_bSuppressSV = false;

    u_LinePrint(" Modeling Settings ");
    u_Print("Signal Frequency:            %.0f\n", m_Signal.m_dFreq);
    u_Print("Surface Type:                %s\n",
            m_nSurfType == 0 ? "Invisible" : (m_nSurfType == 1 ? "Free" : "Unknown"));
    u_Print("Source Direction:            %s\n", SourceTypeText(m_nSourceType));
    if (m_nSourceType == 8)
    {
        const char* pszAxis = "X-Y";
        if (m_fK[4] != 0.0f)
            pszAxis = "X-Z";
        if (m_fK[5] != 0.0f)
            pszAxis = "Y-Z";
        u_Print("Double Couple Axis:          %s\n", pszAxis);
    }
    else if (m_nSourceType == 9)
    {
        u_Print("Shot Point Direction Matrix: { k11=%g, k22=%g, k33=%g, k12=%g, k13=%g, k23=%g }\n",
                m_fK[0], m_fK[1], m_fK[2], m_fK[3], m_fK[4], m_fK[5]);
    }

    if (nMethod == 101)
    {
        switch (m_nSourceType)
        {
        case 0: case 1: case 2: case 3: case 7:
            break;
        case 8:
            u_Error("Error! Acoustic simulation dies not support double couple shot points.\n");
            return -108;
        case 9:
            u_Error("Error! Acoustic simulation dies not support arbitrary directed shot points.\n");
            return -108;
        case 10:
            u_Error("Error! Acoustic simulation dies not support fault slip shot points.\n");
            return -108;
        default:
            u_Error("Error! Acoustic simulation dies not support specified source direction(%d).\n", m_nSourceType);
            return -108;
        }
    }
    else if (nMethod >= 102)
    {
        u_Print("Suppress Source S-Wave:      %s\n", m_bSuppressSV ? "On" : "Off");
    }

    if (m_nTimeField == 0)
        u_Print("Generate Time Field:         %s\n", "No");
    else
    {
        CString str;
        str.Format("Yes (%g,%g,%g): ", m_dTimeDx, m_dTimeDy, m_dTimeDz);
        bool bFirst = true;
        if (m_nTimeField & 1)
        {
            str += "max energy";
            bFirst = false;
        }
        if (m_nTimeField & 2)
        {
            if (!bFirst)
                str += ", ";
            str += "max divergence";
        }
        u_Print("Generate Time Field:         %s\n", str.c_str());
    }

    // A grid finer than a metre writes coordinates in hundredths; a
    // seismogram sampled finer than a millisecond likewise its elevations.
    CSdsPC::COOR_SCALER = m_dx >= 1.0 ? 1 : -100;
    CSdsPC::ELEV_SCALER = m_pApp->m_dt >= 0.0010000000474974513 ? 1 : -100;
    if (CSdsPC::COOR_SCALER != 1)
        u_Print("Output SEG-Y Coord. Scaler:  %d\n", CSdsPC::COOR_SCALER);
    if (CSdsPC::ELEV_SCALER != 1)
        u_Print("Output SEG-Y Elev. Scaler:   %d\n", CSdsPC::ELEV_SCALER);

    // A plain Ricker from an omnidirectional source under an invisible
    // surface becomes the hard acoustic source.
    if (nMethod == 101 && m_nSurfType == 0 && m_Signal.m_strFile.IsEmpty() && m_Signal.m_nSignal == 0 &&
        m_nSourceType == 0)
        m_nSourceType = 7;

    if (m_nViscoL > 0)
    {
        u_Print("Viscoelastic NRM(L):         %d\n", m_nViscoL);
        u_Print("Viscoelastic velocities:     %s\n", m_bApparentVelocity ? "apparent" : "intrinsic");
    }
    if (!m_pApp->m_strOutputDir.IsEmpty())
        u_Print("Output directory:            %s\n", m_pApp->m_strOutputDir.c_str());
    u_Line();
    return 0;
}

// Cells along one axis for the span a..b: n = trunc((b - a) / dx) + 2N + 1.
// The high edge b moves down onto the last whole step. False for a span that
// is reversed, not finite, or too long for an int grid.
static bool AxisCells(double a, double& b, double dx, int nTaper, int& n)
{
    const double dSteps = (b - a) / dx;
    if (!std::isfinite(dSteps) || dSteps < 0.0 || dSteps > (double)(INT_MAX / 4))
        return false;
    const int nSteps = (int)dSteps;
    n = nSteps + 2 * nTaper + 1;
    b = a + nSteps * dx;
    return true;
}

int CCalc3D::BuildShotGrid()
{
    COndexApp& job = *m_pApp;
    if (!(m_dx > 0.0))
    {
        u_Error("Error! Incorrect spacial steps dx=dy=dz=%g specified!\n", m_dx);
        return -100;
    }
    if (!(m_dt > 0.0))
    {
        u_Error("Error! Incorrect time tact dt=%g specified!\n", m_dt);
        return -101;
    }
    if (!(job.m_t1 > 0.0) || !(job.m_t0 < job.m_t1) || !(job.m_dt > 0.0))
    {
        // A seismogram interval that is not positive has no samples either.
        u_Error("Error! Incorrect shotgather record range (t=%g..%g) specified!\n", job.m_t0, job.m_t1);
        return -104;
    }
    m_tEnd = job.m_t1;

    // The model cube: what the job left open comes from the P velocity file,
    // once per job since the filled values stay.
    if (m_cubeModel.IsEmpty())
    {
        CSdsPC file;
        const int nLift = job.m_bModelUseElevation ? 1 : 0;
        if (!file.OnOpen(job.m_strModelPW.c_str(), 0, 0, 0, nLift))
        {
            u_Error("Error! Unable to open model file '%s'.\n", job.m_strModelPW.c_str());
            return -3;
        }
        const CRectR rect = file.GetXYRect(0, CPointR());
        m_cubeModel.FillUnset(CCubeR(rect.x0, rect.y0, file.m_traseParam[0], rect.x1, rect.y1, file.m_traseParam[1]));
        file.Reset();
    }

    // The survey reaches the model's whole depth, so Margin cuts x and y only.
    m_cubeSurvey.z0 = std::min(m_cubeModel.z0, m_cubeSurvey.z0);
    m_cubeSurvey.z1 = std::max(m_cubeModel.z1, m_cubeSurvey.z1);

    CCubeR cube = m_cubeModel;
    bool bEmpty = m_cubeModel.IsEmpty();
    if (!bEmpty && m_dMargin > 0.0)
    {
        cube = m_cubeSurvey;
        cube.x0 -= m_dMargin;
        cube.y0 -= m_dMargin;
        cube.z0 -= m_dMargin;
        cube.x1 += m_dMargin;
        cube.y1 += m_dMargin;
        cube.z1 += m_dMargin;
        bEmpty = m_cubeSurvey.IsEmpty() || !cube.Intersect(m_cubeModel);
    }
    if (bEmpty)
    {
        u_LinePrint(" Shot #%d of %d ", m_nShot, job.m_Survey.GetMaxShot());
        u_Print("Model Cube       (X,Y,Z): {%.0f..%.0f, %.0f..%.0f, %.0f..%.0f}\n", m_cubeModel.x0,
                m_cubeModel.x1, m_cubeModel.y0, m_cubeModel.y1, m_cubeModel.z0, m_cubeModel.z1);
        u_Print("Survey Cube      (X,Y,Z): {%.0f..%.0f, %.0f..%.0f, %.0f..%.0f}\n", m_cubeSurvey.x0,
                m_cubeSurvey.x1, m_cubeSurvey.y0, m_cubeSurvey.y1, m_cubeSurvey.z0, m_cubeSurvey.z1);
        u_Error("Error! Empty intersection between the model cube and the acquisition survey.\n");
        return -30;
    }

    // The simulation cube, its high corner snapped down onto the grid.
    m_cubeSim = cube;
    const int N = m_nTaper;
    int nx = 0, ny = 0, nz = 0;
    if (!AxisCells(m_cubeSim.x0, m_cubeSim.x1, m_dx, N, nx) || !AxisCells(m_cubeSim.y0, m_cubeSim.y1, m_dx, N, ny) ||
        !AxisCells(m_cubeSim.z0, m_cubeSim.z1, m_dx, N, nz))
    {
        // A reversed cube (a file with odd coordinates) or one of absurd size.
        u_Error("Error! Incorrect simulation cube (X,Y,Z): {%g..%g, %g..%g, %g..%g} for dx=%g.\n", cube.x0,
                cube.x1, cube.y0, cube.y1, cube.z0, cube.z1, m_dx);
        return -30;
    }
    m_nx = nx;
    m_ny = ny;
    m_nz = nz;

    // The time field is never sampled finer than the grid.
    if (m_nTimeField != 0)
    {
        m_dTimeDx = std::max(m_dx, m_dTimeDx);
        m_dTimeDy = std::max(m_dx, m_dTimeDy);
        m_dTimeDz = std::max(m_dx, m_dTimeDz);
        m_nTimeNx = (int)((m_cubeSim.x1 - m_cubeSim.x0) / m_dTimeDx) + 1;
        m_nTimeNy = (int)((m_cubeSim.y1 - m_cubeSim.y0) / m_dTimeDy) + 1;
        m_nTimeNz = (int)((m_cubeSim.z1 - m_cubeSim.z0) / m_dTimeDz) + 1;
    }

    m_nSeisLen = (size_t)std::max(0, job.GetSeismogramTraceLen());
    m_nSeisPos = 0;

    m_cubeGrid.x0 = m_cubeSim.x0 - N * m_dx;
    m_cubeGrid.y0 = m_cubeSim.y0 - N * m_dx;
    m_cubeGrid.z0 = m_cubeSim.z0 - N * m_dx;
    m_cubeGrid.x1 = m_cubeSim.x1 + N * m_dx;
    m_cubeGrid.y1 = m_cubeSim.y1 + N * m_dx;
    m_cubeGrid.z1 = m_cubeSim.z1 + N * m_dx;
    return 0;
}

// Index of the nearest cell along one axis, trunc(v + 0.5); -1 for a value
// that is not a usable index.
static long long NearestCell(double x, double g0, double dx)
{
    const double v = (x - g0) / dx + 0.5;
    if (!std::isfinite(v) || v <= -1.0 || v >= 4e18)
        return -1;
    return (long long)v;
}

size_t CCalc3D::GetPtShift(const C3DPointR& pt)
{
    if (!(m_dx > 0.0) || m_nx <= 0 || m_ny <= 0 || m_nz <= 0)
        return 0;
    const long long ix = NearestCell(pt.x, m_cubeGrid.x0, m_dx);
    const long long iy = NearestCell(pt.y, m_cubeGrid.y0, m_dx);
    const long long iz = NearestCell(pt.z, m_cubeGrid.z0, m_dx);
    if (ix < 0 || iy < 0 || iz < 0)
        return 0;
    const long long nTotal = (long long)m_nx * m_ny * m_nz;
    // Rows and planes are bounded first, so that the products cannot overflow.
    if (ix >= nTotal || iy >= nTotal || iz >= nTotal)
        return 0;
    const long long nIndex = (iz * m_ny + iy) * m_nx + ix;
    if (nIndex > nTotal - 1)
        return 0;
    return (size_t)nIndex;
}

// The first and last node of a depth group keep the full strip on their
// outer side; inner sides have only the exchanged halo.
static void GroupPosition(const COndexApp& job, bool& bFirst, bool& bLast)
{
    bFirst = bLast = true;
    if (job.m_nGroupSize >= 2)
    {
        bFirst = job.m_nGroupRank == 0;
        bLast = job.m_nGroupRank == job.m_nGroupSize - 1;
    }
}

CCubeR CCalc3D::GetRealUserArea()
{
    const double N = m_nTaper * m_dx;
    const double h = m_nHalo * m_dx;
    bool bFirst, bLast;
    GroupPosition(*m_pApp, bFirst, bLast);
    CCubeR r;
    r.x0 = m_cubeGrid.x0 + N;
    r.x1 = m_cubeGrid.x1 - N;
    r.y0 = m_cubeGrid.y0 + N;
    r.y1 = m_cubeGrid.y1 - N;
    r.z0 = m_cubeGrid.z0 + (bFirst ? N : h);
    r.z1 = m_cubeGrid.z1 - (bLast ? N : h);
    return r;
}

CCubeN CCalc3D::GetSampleUserArea()
{
    const int N = m_nTaper;
    const int h = m_nHalo;
    bool bFirst, bLast;
    GroupPosition(*m_pApp, bFirst, bLast);
    CCubeN c;
    c.x0 = N;
    c.x1 = m_nx - N - 1;
    c.y0 = N;
    c.y1 = m_ny - N - 1;
    c.z0 = bFirst ? N : h;
    c.z1 = bLast ? m_nz - N - 1 : m_nz - h - 1;
    return c;
}

int CCalc3D::ValidateTracePoint(C3DPointR& pt)
{
    const CCubeR r = GetRealUserArea();
    // One step of tolerance on the high x and y sides only.
    if (pt.x < r.x0 || pt.x > r.x1 + m_dx || pt.y < r.y0 || pt.y > r.y1 + m_dx || pt.z < r.z0)
        return -1;
    if (pt.z > r.z1)
        return -2;
    if (GetPtShift(pt) == 0)
        return -1;
    if (!m_pVp)
    {
        u_Error("Error! Survey points are validated before the model is loaded.\n");
        return -1;
    }

    // A point given in the air comes down to the surface of the rock. The
    // walk cannot take more steps than the slab has planes; where it would
    // (a step below the resolution of the coordinate, which then never
    // moves), the point has no place.
    const double z0 = pt.z;
    long long nSteps = 0;
    while (pt.z <= r.z1)
    {
        const size_t n = GetPtShift(pt);
        if (n != 0 && m_pVp[n] >= 1.0f)
            break;
        if (++nSteps > (long long)m_nz + 2)
            return -1;
        pt.z += m_dx;
    }
    if (pt.z == z0)
        return 0;
    if (r.IsPointInside(pt))
        return 0;
    return -2;   // the rock lies below this node's slab
}
