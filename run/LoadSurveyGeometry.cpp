// COndexApp::LoadSurveyGeometry: the run driver's survey step, with the check
// of the shot range against the survey.
#include "run/OndexApp.h"

#include "base/Output.h"
#include "engine3d/Calc3D.h"

int COndexApp::LoadSurveyGeometry()
{
    // The grid step and the source type live in the engine, which the job
    // file reader creates before this step for every 3D method.
    if (!m_pCalc3D)
    {
        u_Error("Error! Computation object not being created.\n");
        return 1;
    }

    CSurvey3D::MIN_DIST = m_pCalc3D->m_dx >= 1.0 ? 1.0 : 0.001;
    m_Survey.m_bUseShotId = m_bUseShotId;
    m_Survey.m_bShotsByCoordinates = m_bShotsByCoordinates;

    int nResult = m_Survey.LoadSurvey(m_strGeometry, m_pCalc3D->m_nSourceType == 10);
    if (nResult)
        return nResult;

    if (m_Survey.CheckShotRange(m_nFirstPoint, m_nLastPoint, m_nStartPoint))
        return 1;

    if (m_pCalc3D->ValidateCommon())
        return 1;
    return 0;
}
