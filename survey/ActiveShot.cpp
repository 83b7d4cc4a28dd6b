// CSurvey3D::SetActiveShot: one shot's excitement points, tensors, receivers
// and observation zone, read again from the survey file.
#include "survey/Survey3D.h"

#include <cmath>
#include <cstdio>
#include <set>

#include "base/Output.h"

namespace
{
const int SURVEY_ROW_BUFFER = 300;   // same row limit as the loader

bool IsNear(const C3DPointR& a, double x, double y, double z)
{
    return std::fabs(a.x - x) < CSurvey3D::MIN_DIST && std::fabs(a.y - y) < CSurvey3D::MIN_DIST &&
           std::fabs(a.z - z) < CSurvey3D::MIN_DIST;
}

// The list of known ids goes out once per process.
bool s_bShotListPrinted = false;

// The ids as "a, b, c". The console buffer holds 4096 bytes, so a very long
// list is cut and ends in "...".
CString FormatIdList(const std::vector<int>& ids)
{
    CString str;
    for (size_t i = 0; i < ids.size(); i++)
    {
        if (str.GetLength() > 3800)
        {
            str += ", ...";
            break;
        }
        if (i)
            str += ", ";
        str.AppendFormat("%d", ids[i]);
    }
    return str;
}
}  // namespace

void CSurvey3D::AddReceiver(const C3DPointR& rcv, int inl, int xl, int trace, int file, bool bAllIds)
{
    m_vReceivers.push_back(rcv);
    m_vInline.push_back(inl);
    m_vCrossline.push_back(xl);
    Expand(rcv);
    if (bAllIds || trace >= 0)
        m_vTraceId.push_back(trace);
    if (bAllIds || file >= 0)
        m_vFileId.push_back(file);
}

int CSurvey3D::SetActiveShot(int nShot)
{
    const int nShots = (int)m_vShotPoints.size();

    // 1. The number.
    if (nShot < 0)
    {
        m_nActiveShotId = -1;
        m_nActiveShotIndex = 0;
    }
    else
    {
        bool bOrdinal = true;
        if (m_bUseShotId)
        {
            if (m_vShotIds.size() != m_vShotPoints.size())
            {
                u_Warning("Warning! ShotId information is not present in the survey file. "
                          "Use ordinal shot numbers from 1 to %d.\n",
                          nShots);
            }
            else
            {
                bOrdinal = false;
                int nIndex = -1;
                for (size_t i = 0; i < m_vShotIds.size(); i++)
                {
                    if (m_vShotIds[i] == nShot)
                    {
                        nIndex = (int)i;
                        break;
                    }
                }
                if (nIndex < 0)
                {
                    u_Warning("Warning! Incorrect shot point #%d specified. No such shot point in file '%.3800s'.\n",
                              nShot, (const char*)m_strFileName);
                    if (!s_bShotListPrinted)
                    {
                        s_bShotListPrinted = true;
                        CString strList = FormatIdList(m_vShotIds);
                        u_Print("List of registeres shot points: %s\n", (const char*)strList);
                    }
                    u_Print("Shot point skipped.\n");
                    return -35;
                }
                m_nActiveShotId = nShot;
                m_nActiveShotIndex = nIndex;
            }
        }
        if (bOrdinal)
        {
            if (nShot < 1 || nShot > nShots)
            {
                u_Error("Error! Incorrect shot point #%d specified. Shot points in range 1..%d.\n", nShot, nShots);
                u_Print("The computation is stopped.\n");
                return 1;
            }
            m_nActiveShotId = nShot;
            m_nActiveShotIndex = nShot - 1;
        }
    }

    // 2. The shot point.
    C3DPointR P(0.0, 0.0, 0.0);
    if (nShot >= 0)
        P = m_vShotPoints[m_nActiveShotIndex];

    // 3. Empty lists, and the zone: the flat box at the shot on the surface.
    m_vReceivers.clear();
    m_vInline.clear();
    m_vCrossline.clear();
    m_vTraceId.clear();
    m_vFileId.clear();
    m_vExcitePoints.clear();
    m_vTauK.clear();
    x0 = y0 = z0 = x1 = y1 = z1 = NOT_SET_VALUE;
    if (m_nActiveShotId >= 0)
    {
        x0 = x1 = P.x;
        y0 = y1 = P.y;
        z0 = z1 = 0.0;
    }

    // 4. The rows.
    CShotTauK T;
    int nResult = m_bSgySurvey ? CollectSgyRows(nShot, P) : CollectTextRows(nShot, P, T);
    if (nResult)
        return nResult;

    // 5. Excitement points.
    if (m_vExcitePoints.empty())
    {
        m_vExcitePoints.push_back(P);
        if (m_bFaultSlip && T.IsSet())
            m_vTauK.push_back(T);
    }
    else
    {
        for (size_t i = 0; i < m_vExcitePoints.size(); i++)
            Expand(m_vExcitePoints[i]);
    }

    // 6. One tensor per excitement point.
    if (m_bFaultSlip && m_vTauK.size() != m_vExcitePoints.size())
    {
        u_Error("Error! Moment tensor specified for %d of %d excitement points of shot point #%d (%g,%g,%g) in file "
                "'%.3800s'.\n",
                (int)m_vTauK.size(), (int)m_vExcitePoints.size(), nShot, P.x, P.y, P.z,
                (const char*)m_strFileName);
        u_Print("The computation is stopped.\n");
        return 1;
    }

    // 7. Receivers.
    if (m_vReceivers.empty())
    {
        u_Error("Error! No receivers corresponds to source point #%d (%g,%g,%g).\n", nShot, P.x, P.y, P.z);
        u_Print("The computation is stopped.\n");
        return 1;
    }

    // 8. Ids count only when every receiver has one.
    if (m_vTraceId.size() != m_vReceivers.size())
        m_vTraceId.clear();
    if (m_vFileId.size() != m_vReceivers.size())
        m_vFileId.clear();
    return 0;
}

int CSurvey3D::CollectTextRows(int nShot, const C3DPointR& P, CShotTauK& T)
{
    FILE* fp = fopen(m_strFileName, "r");
    if (!fp)
    {
        PrintErrorOnOpenFile(m_strFileName);
        return 1;
    }

    const bool bIdsUsable = m_vShotIds.size() == m_vShotPoints.size();
    std::set<C3DPointR> setSeen;   // receivers taken in this pass

    char szLine[SURVEY_ROW_BUFFER];
    double sx, sy, sz, rx, ry, rz;
    int inl, xl, id, trace, file;
    float k11, k22, k33, k12, k13, k23;
    while (fgets(szLine, SURVEY_ROW_BUFFER, fp))
    {
        if (InterpretSurveyFileLine(szLine, sx, sy, sz, rx, ry, rz, inl, xl, id, k11, k22, k33, k12, k13, k23,
                                    trace, file))
            continue;
        const C3DPointR rcv(rx, ry, rz);
        const bool bRowTensor = k11 != (float)NOT_SET_VALUE;

        if (nShot < 0)
        {
            if (setSeen.insert(rcv).second)
                AddReceiver(rcv, inl, xl, trace, file, false);
        }
        else if (!m_bUseShotId || id < 0 || !bIdsUsable)
        {
            // The row belongs by position; every row counts, repeats too.
            if (IsNear(P, sx, sy, sz))
            {
                if (m_bFaultSlip && bRowTensor && !T.IsSet())
                    T = CShotTauK(k11, k22, k33, k12, k13, k23);
                AddReceiver(rcv, inl, xl, trace, file, false);
            }
        }
        else if (id == m_nActiveShotId)
        {
            // The row belongs by id: its source may be a further excitement
            // point of an extended source.
            bool bKnown = false;
            for (size_t i = 0; i < m_vExcitePoints.size() && !bKnown; i++)
                bKnown = IsNear(m_vExcitePoints[i], sx, sy, sz);
            if (!bKnown)
            {
                m_vExcitePoints.push_back(C3DPointR(sx, sy, sz));
                if (m_bFaultSlip && bRowTensor)
                    m_vTauK.push_back(CShotTauK(k11, k22, k33, k12, k13, k23));
            }
            if (setSeen.insert(rcv).second)
                AddReceiver(rcv, inl, xl, trace, file, false);
        }
    }
    fclose(fp);
    return 0;
}
