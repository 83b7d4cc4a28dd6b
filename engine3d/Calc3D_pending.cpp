// CCalc3D operations whose bodies are not written yet. Each one says so with
// an "Error!" line and a failure code, so that a job never runs on without
// them. The files that implement them replace the bodies here one by one.

#include "engine3d/Calc3D.h"

#include "base/Output.h"
#include "run/OndexApp.h"

static int NotAvailable(const char* pszWhat)
{
    u_Error("Error! %s is not available yet in this build of the 3D engine.\n", pszWhat);
    return -200;
}

int CCalc3D::InitDecomposition()
{
    if (m_pApp->m_nGroupSize < 2)
    {
        m_nZ0 = 0;
        m_nZ1 = m_nz - 1;
        m_nZAll = m_nz;
        return 0;
    }
    return NotAvailable("Depth decomposition (InitDecomposition)");
}

int CCalc3D::CalculateDistributed()
{
    return NotAvailable("The distributed time loop (CalculateDistributed)");
}

int CCalc3D::ValidateSurveyGeometryDistributed()
{
    return NotAvailable("ValidateSurveyGeometryDistributed");
}
