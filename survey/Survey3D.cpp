// CSurvey3D: construction, reset, shot numbering and the small accessors.
#include "survey/Survey3D.h"

#include <algorithm>
#include <climits>

#include "base/Output.h"

double CSurvey3D::MIN_DIST = 0.001;

CSurvey3D::CSurvey3D()
    : m_nActiveShotId(-1),
      m_nActiveShotIndex(-1),
      m_bFaultSlip(false),
      m_bSgySurvey(false),
      m_bUseShotId(false),
      m_bShotsByCoordinates(false)
{
}

CSurvey3D::~CSurvey3D()
{
}

void CSurvey3D::Clear()
{
    m_strFileName.Empty();
    m_vShotPoints.clear();
    m_vExcitePoints.clear();
    m_vShotIds.clear();
    m_vTauK.clear();
    m_vReceivers.clear();
    m_vInline.clear();
    m_vCrossline.clear();
    m_vTraceId.clear();
    m_vFileId.clear();
    m_nActiveShotId = -1;
    m_nActiveShotIndex = 0;
    m_bFaultSlip = false;
    m_bSgySurvey = false;
    // The zone belongs to the active shot, which is gone now.
    x0 = y0 = z0 = x1 = y1 = z1 = NOT_SET_VALUE;
}

void CSurvey3D::PrintErrorOnOpenFile(const char* path)
{
    // The precision only guards the 4096-byte message buffer against absurd
    // path lengths; real paths print whole.
    u_Error("Error! Unable to read the survey acquisition geometry file %.3800s.\n"
            "Please make sure the file exists and you have permissions to read it.\n",
            path ? path : "");
    u_Print("The computation is stopped.\n");
}

bool CSurvey3D::ShotsById() const
{
    return m_bUseShotId && !m_bShotsByCoordinates && !m_vShotIds.empty();
}

// Shot number 0 means "not given" to the run driver, so a range never starts
// below 1, even when the file uses an id of 0.
int CSurvey3D::GetMinShot()
{
    if (!ShotsById())
        return 1;
    int nMin = *std::min_element(m_vShotIds.begin(), m_vShotIds.end());
    return std::max(nMin, 1);
}

int CSurvey3D::GetMaxShot()
{
    if (!ShotsById())
        return (int)m_vShotPoints.size();
    int nMax = *std::max_element(m_vShotIds.begin(), m_vShotIds.end());
    return std::max(nMax, 1);
}

C3DPointR CSurvey3D::GetActiveShotPt()
{
    if (m_nActiveShotIndex < 0 || m_nActiveShotIndex >= (int)m_vShotPoints.size())
        return C3DPointR(NOT_SET_VALUE, NOT_SET_VALUE, NOT_SET_VALUE);
    return m_vShotPoints[m_nActiveShotIndex];
}

CCubeR CSurvey3D::GetObsZone()
{
    return CCubeR(x0, y0, z0, x1, y1, z1);
}

int CSurvey3D::GetRcvInline(int i)
{
    if (i < 0 || i >= (int)m_vInline.size())
        return 0;
    return m_vInline[i];
}

int CSurvey3D::GetRcvCrossline(int i)
{
    if (i < 0 || i >= (int)m_vCrossline.size())
        return 0;
    return m_vCrossline[i];
}

int CSurvey3D::GetRcvTraceId(int i)
{
    if (i < 0 || i >= (int)m_vTraceId.size())
        return -1;
    return m_vTraceId[i];
}

int CSurvey3D::GetRcvFileId(int i)
{
    if (i < 0 || i >= (int)m_vFileId.size())
        return -1;
    return m_vFileId[i];
}

int CSurvey3D::CheckShotRange(int& nFirst, int& nLast, int& nStart)
{
    const int nMin = GetMinShot();
    const int nMax = GetMaxShot();
    if (nFirst == 0 || nLast == 0)
    {
        nFirst = nMin;
        nLast = nMax;
    }
    else
    {
        if (nFirst > nMax)
        {
            u_Error("Error! Incorrect range of shot points specified (%d..%d). Maximal shot point number is %d.\n",
                    nFirst, nLast, nMax);
            u_Print("The computation is stopped.\n");
            return 1;
        }
        if (nLast > nMax)
            nLast = nMax;
    }

    // A negative shot number (possible from the command line) would mean
    // "the whole survey" to SetActiveShot: refused like a reversed range.
    if (nFirst > nLast || nFirst < 0 || nLast < 0)
    {
        u_Error("Error! Incorrect range of shot points specified (%d..%d). Real range is (%d..%d)\n", nFirst, nLast,
                nMin, nMax);
        u_Print("The computation is stopped.\n");
        return 1;
    }

    // A start from the command line or from Recovery.dat survives inside the range.
    if (nStart == 0 || nStart < nFirst || nStart > nLast)
        nStart = nFirst;
    return 0;
}
