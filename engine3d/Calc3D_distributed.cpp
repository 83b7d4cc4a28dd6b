// The depth decomposition of a shot over a group of processes and its time
// loop. A single process owns the whole depth; groups are not built yet.

#include "base/Pending.h"
#include "engine3d/Calc3D.h"
#include "run/OndexApp.h"

ONDEX_PENDING("Depth decomposition (InitDecomposition)");
ONDEX_PENDING("The distributed time loop (CalculateDistributed)");
ONDEX_PENDING("Survey points of a depth group (ValidateSurveyGeometryDistributed)");

int CCalc3D::InitDecomposition()
{
    if (m_pApp->m_nGroupSize < 2)
    {
        m_nZ0 = 0;
        m_nZ1 = m_nz - 1;
        m_nZAll = m_nz;
        return 0;
    }
    return u_NotBuilt("Depth decomposition (InitDecomposition)");
}

int CCalc3D::CalculateDistributed()
{
    return u_NotBuilt("The distributed time loop (CalculateDistributed)");
}

int CCalc3D::ValidateSurveyGeometryDistributed()
{
    return u_NotBuilt("Survey points of a depth group (ValidateSurveyGeometryDistributed)");
}
