// CCalc1D: construction and the engine's keys of the job file.

#include "engine1d/Calc1D.h"

#include "base/Output.h"
#include "run/OndexApp.h"
#include "run/TaskFile.h"

CCalc1D::CCalc1D(COndexApp& app)
    : m_Signal(&app),
      m_nSourceType(0),
      m_nSurfType(0),
      m_tStart(0.0),
      m_tEnd(0.0),
      m_nSeisLen(0),
      m_dz(0.0),
      m_dt(0.0),
      m_dModelDx(0.0), m_dModelDy(0.0), m_dModelDz(0.0),
      m_nx(0), m_ny(0), m_nz(0),
      m_nCalcZ(0),
      m_nTaper(38),
      m_nPML(21),
      m_pVp(nullptr),
      m_pRho(nullptr),
      m_pQ(nullptr),
      m_bPML(true),
      m_pApp(&app),
      m_pReceivers(nullptr)
{
    m_cubeModel = CCubeR();
    m_cubeSim = CCubeR();
    m_cubeSurvey = CCubeR();
    for (float& t : m_fTaper)
        t = 0.0f;
    m_Signal.m_dFreq = 20.0;
}

CCalc1D::~CCalc1D()
{
    FreeMemory();
    m_Signal.Free();
}

int CCalc1D::ReadTask1D(std::vector<CString>& lines)
{
    get_parameter_int(lines, "[modeling]", "SurfType", &m_nSurfType);
    if (m_nSurfType != 0 && m_nSurfType != 1)
    {
        u_Error("Error! Incorrect surface type specified (%d).\n", m_nSurfType);
        return 1;
    }

    get_parameter_bool(lines, "[modeling]", "PML", &m_bPML);
    m_nTaper = m_bPML ? 26 : 38;
    m_nPML = 21;

    if (get_parameter_double(lines, "[Mesh]", "dx", &m_dz) != 0)
        get_parameter_double(lines, "[Mesh]", "dz", &m_dz);
    get_parameter_double(lines, "[Mesh]", "dt", &m_dt);

    // The column knows only an omnidirectional or a vertical source.
    get_parameter_int(lines, "[Source]", "Type", &m_nSourceType);
    if (m_nSourceType != 0 && m_nSourceType != 3)
        m_nSourceType = 0;

    return m_Signal.LoadParamsFromIniFile(lines);
}

// Only the model grids are owned here; the trace workers own their columns.
int CCalc1D::FreeMemory()
{
    delete[] m_pVp;
    m_pVp = nullptr;
    delete[] m_pRho;
    m_pRho = nullptr;
    delete[] m_pQ;
    m_pQ = nullptr;
    return 0;
}
