// CCalc1D: the source signal, the survey against the model, the size of the
// computation column and the settings report.

#include "engine1d/Calc1D.h"

#include <algorithm>
#include <cmath>

#include "base/Output.h"
#include "files/SdsPC.h"
#include "run/OndexApp.h"
#include "survey/Survey3D.h"

int CCalc1D::GenerateSignal()
{
    // The column step stands where the 3D engine has its grid step.
    return GenerateSignalSamples(m_Signal, m_dz, m_dt, m_tStart);
}

static void PrintCube(const char* pszHead, const CCubeR& c)
{
    u_Print("%s (X,Y,Z): {%.0f..%.0f, %.0f..%.0f, %.0f..%.0f}\n", pszHead, c.x0, c.x1, c.y0, c.y1, c.z0, c.z1);
}

// One horizontal axis of the simulation cube put onto the model's own nodes
// (m0 + i * d), with at least two of them. The model grid is then read node
// for node, each trace's column is the model's column at its position, and
// a survey that covers only a part of the model (or a single trace) is
// read the same way as one that covers it all.
static void SnapAxisToModel(double& s0, double& s1, double m0, double m1, double d)
{
    const double eps = 1e-6;
    double a = m0 + std::floor((s0 - m0) / d + eps) * d;
    double b = m0 + std::ceil((s1 - m0) / d - eps) * d;
    a = std::max(a, m0);
    b = std::min(b, m1);
    if (b - a < 0.5 * d)
    {
        if (b + d <= m1 + eps * d)
            b += d;
        else
            a -= d;
    }
    s0 = a;
    s1 = b;
}

int CCalc1D::PrepareSurvey(CSurvey3D& survey, bool)
{
    COndexApp& job = *m_pApp;
    int r = survey.SetActiveShot(-2);
    if (r != 0)
        return r;
    m_pReceivers = &survey.m_vReceivers;
    m_cubeSurvey = survey.GetObsZone();
    const int nTraces = (int)m_pReceivers->size();

    if (nTraces < 1)
    {
        u_Error("Error! Input traces had not specified.\n");
        return -107;
    }
    if (!(m_dz > 0.0))
    {
        u_Error("Error! Incorrect spacial step dz=%g specified!\n", m_dz);
        return -100;
    }
    if (!(m_dt > 0.0))
    {
        u_Error("Error! Incorrect time tact dt=%g specified!\n", m_dt);
        return -101;
    }
    if (!(job.m_t1 > 0.0) || job.m_t0 >= job.m_t1)
    {
        u_Error("Error! Incorrect shotgather record range (t=%g..%g) specified!\n", job.m_t0, job.m_t1);
        return -104;
    }
    m_tEnd = job.m_t1;

    CSdsPC file;
    const int nLift = job.m_bModelUseElevation ? 1 : 0;
    if (!file.OnOpen(job.m_strModelPW.c_str(), 0, 0, 0, nLift))
    {
        u_Error("Error! Unable to open model file '%s'.\n", job.m_strModelPW.c_str());
        return -3;
    }
    const CRectR rectAll = file.GetXYRect(0, CPointR());
    m_cubeModel.FillUnset(
        CCubeR(rectAll.x0, rectAll.y0, file.m_traseParam[0], rectAll.x1, rectAll.y1, file.m_traseParam[1]));

    const CRectR rect = file.GetXYRect(1, CPointR());
    const CSizeN size = file.GetXYSize(CPointR());
    if (size.nx < 2)
        u_Error("Error! Model samples along X dimension is less then 2 (%d).\n", size.nx);
    if (size.ny < 2)
        u_Error("Error! Model samples along Y dimension is less then 2 (%d).\n", size.ny);
    if (size.nx < 2 || size.ny < 2)
        return -109;
    m_dModelDx = (rect.x1 - rect.x0) / (size.nx - 1);
    m_dModelDy = (rect.y1 - rect.y0) / (size.ny - 1);
    m_dModelDz = file.m_traseParam[2];
    m_nz = file.m_pSR ? file.m_nTraceLen : 0;
    file.Reset();
    if (m_nz < 2)
    {
        u_Error("Error! Model samples along Z dimension is less then 2 (%d).\n", m_nz);
        return -109;
    }
    // Steps that place no sample anywhere would divide by zero further on.
    if (!(m_dModelDx > 0.0) || !(m_dModelDy > 0.0) || !(m_dModelDz > 0.0) || !std::isfinite(m_dModelDx)
        || !std::isfinite(m_dModelDy) || !std::isfinite(m_dModelDz))
    {
        u_Error("Error! Incorrect model sample steps (%g, %g, %g).\n", m_dModelDx, m_dModelDy, m_dModelDz);
        return -109;
    }

    // The simulation always spans the model's whole depth.
    m_cubeSurvey.z0 = std::min(m_cubeModel.z0, m_cubeSurvey.z0);
    m_cubeSurvey.z1 = std::max(m_cubeModel.z1, m_cubeSurvey.z1);

    m_cubeSim = m_cubeSurvey;
    if (m_cubeSurvey.IsEmpty() || !m_cubeSim.Intersect(m_cubeModel))
    {
        u_LinePrint(" 1D zero-offset simulation of %d traces ", nTraces);
        PrintCube("Model Cube      ", m_cubeModel);
        PrintCube("Survey Cube     ", m_cubeSurvey);
        u_Error("Error! Empty intersection between the model cube and the acquisition survey.\n");
        return -30;
    }
    SnapAxisToModel(m_cubeSim.x0, m_cubeSim.x1, m_cubeModel.x0, m_cubeModel.x1, m_dModelDx);
    SnapAxisToModel(m_cubeSim.y0, m_cubeSim.y1, m_cubeModel.y0, m_cubeModel.y1, m_dModelDy);

    const double dCells = (m_cubeSim.z1 - m_cubeSim.z0) / m_dz;
    if (!(dCells < 1e8))
    {
        // A column of this length could not be held, and its count not kept.
        u_Error("Error! Incorrect spacial step dz=%g specified!\n", m_dz);
        return -100;
    }
    m_nx = (int)((m_cubeSim.x1 - m_cubeSim.x0) / m_dModelDx + 1.5);
    m_ny = (int)((m_cubeSim.y1 - m_cubeSim.y0) / m_dModelDy + 1.5);
    m_nCalcZ = (int)dCells + 1 + 2 * m_nTaper;
    m_cubeSim.z1 = m_cubeSim.z0 + (m_nCalcZ - 2 * m_nTaper - 1) * m_dz;
    m_nSeisLen = (size_t)std::max(0, job.GetSeismogramTraceLen());

    u_LinePrint(" 1D zero-offset simulation of %d traces ", nTraces);
    PrintCube("Model Cube      ", m_cubeModel);
    PrintCube("Survey Cube     ", m_cubeSurvey);
    PrintCube("Simulation Cube ", m_cubeSim);
    u_LinePrint(" Model Grid Parameters ");
    u_Print("   First       |    Last       |      Step     |\n%14.0f |%14.0f |%14g |  x-dimension\n%14.0f "
            "|%14.0f |%14g |  y-dimension\n%14.0f |%14.0f |%14g |  z-dimension\n",
            m_cubeModel.x0, m_cubeModel.x1, m_dModelDx, m_cubeModel.y0, m_cubeModel.y1, m_dModelDy, m_cubeModel.z0,
            m_cubeModel.z1, m_dModelDz);
    u_LinePrint(" Computation Grid Parameters ");
    u_Print("   First       |    Last       |      Step     |\n%14.0f |%14.0f |%14g |  z-dimension\n%14g |%14g "
            "|%14g |  time (%d steps)\n",
            m_cubeSim.z0, m_cubeSim.z1, m_dz, m_tStart, m_tEnd, m_dt, (int)((m_tEnd - m_tStart) / m_dt) + 1);
    u_LinePrint(" Shotgather Parameters ");
    u_Print("   First       |    Last       |      Step     |\n%14g |%14g |%14g |  time\n", job.m_t0, job.m_t1,
            job.m_dt);
    u_Line();
    ValidateCommon();
    return 0;
}

int CCalc1D::ValidateCommon()
{
    u_LinePrint(" Modeling Settings ");
    u_Print("Signal Frequency:            %.0f\n", m_Signal.m_dFreq);
    const char* pszSurf = m_nSurfType == 0 ? "Invisible" : (m_nSurfType == 1 ? "Free" : "Unknown");
    u_Print("Surface Type:                %s\n", pszSurf);
    const char* pszDir = m_nSourceType == 0 ? "Omnidirectional" : (m_nSourceType == 3 ? "Vertical (Z)" : "Unknown");
    u_Print("Source Direction:            %s\n", pszDir);
    CSdsPC::COOR_SCALER = m_dz >= 1.0 ? 1 : -100;
    CSdsPC::ELEV_SCALER = m_pApp->m_dt >= 0.0010000000474974513 ? 1 : -100;
    if (CSdsPC::COOR_SCALER != 1)
        u_Print("Output SEG-Y Coord. Scaler:  %d\n", CSdsPC::COOR_SCALER);
    if (CSdsPC::ELEV_SCALER != 1)
        u_Print("Output SEG-Y Elev. Scaler:   %d\n", CSdsPC::ELEV_SCALER);
    if (!m_pApp->m_strOutputDir.IsEmpty())
        u_Print("Output directory:            %s\n", m_pApp->m_strOutputDir.c_str());
    u_Line();
    return 0;
}
