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

int CCalc3D::AppendVmg2DSnapshot(const char*, char, const char*, double, bool)
{
    return NotAvailable("AppendVmg2DSnapshot");
}

// The selection of the shot is final; the sampling of the cube (planes of
// the user area) waits for GetSampleUserArea.
int CCalc3D::Init3DSnapshots()
{
    m_b3DSnapshots = false;
    if (m_vSnapShots.empty() || m_vSnapTimes.empty() || m_szSnapComponents[0] == 0)
        return 0;
    bool bSelected = false;
    for (int n : m_vSnapShots)
    {
        if (n == m_nShot || n == 0)
        {
            bSelected = true;
            break;
        }
    }
    if (!bSelected)
        return 0;
    m_b3DSnapshots = true;
    m_t3DSnapLast = 0.0;
    if (m_dSnapDx < m_dx)
        m_dSnapDx = m_dx;
    if (m_dSnapDy < m_dx)
        m_dSnapDy = m_dx;
    if (m_dSnapDz < m_dx)
        m_dSnapDz = m_dx;
    return 0;
}

// Fails at the first snapshot that falls due, since it cannot be written.
int CCalc3D::Save3DSnapshots()
{
    if (!m_b3DSnapshots)
        return 0;
    for (double t : m_vSnapTimes)
    {
        if (m_t3DSnapLast < t && t <= m_tCur)
        {
            m_t3DSnapLast = m_tCur;
            return NotAvailable("Writing 3D snapshots (Save3DSnapshots)");
        }
    }
    return 0;
}
