// SEG-Y survey: shots from the trace catalogue, and the rows of one shot.
#include "survey/Survey3D.h"

#include <cstring>
#include <set>

#include "base/Output.h"
#include "files/SdsPC.h"

namespace
{
// A 32-bit field of a host-order trace header, by its 0-based offset.
int HeaderInt32(const SGY_TRACEHEADER& h, size_t offset)
{
    int32_t v = 0;
    memcpy(&v, reinterpret_cast<const unsigned char*>(&h) + offset, sizeof(v));
    return v;
}

const size_t OFS_SOURCE_POINT = 16;   // energy source point number (bytes 17-20)
const size_t OFS_INLINE = 188;        // bytes 189-192
const size_t OFS_CROSSLINE = 192;     // bytes 193-196
}  // namespace

int CSurvey3D::LoadFromSgy(const char* path)
{
    Clear();
    if (!path || !path[0])
    {
        u_Error("Error! Survey acquisition geometry file has not been provided.\n");
        u_Print("Please specify survey acquisition geometry file in '[Survey]/Geometry' section in 'runtask.ini'.\n");
        u_Print("The computation is stopped.\n");
        return 1;
    }

    CSdsPC sds;
    if (!sds.OnOpen(path, 0, 0, 0, 0))
    {
        PrintErrorOnOpenFile(path);
        return 1;
    }
    m_strFileName = path;

    std::vector<C3DPointR> vPoints;
    std::vector<int> vIds;
    std::set<_C3DPoint> setPoints;
    std::set<int> setIds;
    bool bIdsDistinct = true;

    for (int i = 0; i < sds.m_nTraceCount; i++)
    {
        SDS_TRACEINFO info;
        if (!sds.Set_pSR(i, &info))
            break;
        _C3DPoint pt = {info.fSrcX, info.fSrcY, info.fSrcZ};
        if (!setPoints.insert(pt).second)
            continue;
        vPoints.push_back(C3DPointR(pt.x, pt.y, pt.z));
        if (!bIdsDistinct)
            continue;
        SGY_TRACEHEADER h;
        if (!sds.GetTraceHeader(i, h, 1))
        {
            // An unreadable header leaves the ids incomplete; they are then
            // dropped below like duplicates.
            bIdsDistinct = false;
            continue;
        }
        int id = HeaderInt32(h, OFS_SOURCE_POINT);
        if (!setIds.insert(id).second)
        {
            bIdsDistinct = false;
            continue;
        }
        vIds.push_back(id);
    }

    if (!vIds.empty() && vIds.size() != vPoints.size())
    {
        u_Warning("Duplicate shot point number found in survey file %.3800s. Shot point IDs will be ignored.\n", path);
        vIds.clear();
    }

    // OnOpen refuses a file without traces; kept for a catalogue that
    // cannot be read back.
    if (vPoints.empty())
    {
        u_Error("Error! No source points in the survey acquisition geometry file %.3800s.\n"
                "Please make sure it is properly formatted file.\n",
                path);
        u_Print("The computation is stopped.\n");
        m_strFileName.Empty();
        return 1;
    }

    m_vShotPoints.swap(vPoints);
    m_vShotIds.swap(vIds);
    m_bSgySurvey = true;
    return 0;
}

int CSurvey3D::CollectSgyRows(int nShot, const C3DPointR& P)
{
    CSdsPC sds;
    if (!sds.OnOpen(m_strFileName, 0, 0, 0, 0))
    {
        PrintErrorOnOpenFile(m_strFileName);
        return 1;
    }

    std::set<C3DPointR> setSeen;
    for (int i = 0; i < sds.m_nTraceCount; i++)
    {
        SDS_TRACEINFO info;
        C3DPointR src, rcv;
        if (!sds.Set_pSR(i, &info) || !sds.GetCoord(i, src, rcv))
            break;

        if (nShot < 0)
        {
            if (setSeen.insert(rcv).second)
                AddReceiver(rcv, 0, 0, info.nChannel, info.nRecord, false);
            continue;
        }
        if (src != P)
            continue;

        SGY_TRACEHEADER h;
        if (!sds.GetTraceHeader(i, h, 1))
        {
            u_Error("Error! Unable to read trace header #%d of the survey acquisition geometry file %.3800s.\n", i + 1,
                    (const char*)m_strFileName);
            u_Print("The computation is stopped.\n");
            return 1;
        }
        AddReceiver(rcv, HeaderInt32(h, OFS_INLINE), HeaderInt32(h, OFS_CROSSLINE), info.nChannel, info.nRecord,
                    true);
    }
    return 0;
}
