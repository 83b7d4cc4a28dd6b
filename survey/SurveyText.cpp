// Text survey: the row parser and the loader that lists the shots.
#include "survey/Survey3D.h"

#include <cmath>
#include <cstdio>
#include <set>

#include "base/Output.h"
#include "files/SdsPC.h"

namespace
{
// Rows are read with this buffer; a longer row is read in pieces, each piece
// taken as a row of its own.
const int SURVEY_ROW_BUFFER = 300;

bool IsSamePoint(const C3DPointR& a, double x, double y, double z)
{
    return std::fabs(a.x - x) < CSurvey3D::MIN_DIST && std::fabs(a.y - y) < CSurvey3D::MIN_DIST &&
           std::fabs(a.z - z) < CSurvey3D::MIN_DIST;
}
}  // namespace

bool CSurvey3D::InterpretSurveyFileLine(const char* line, double& sx, double& sy, double& sz,
                                        double& rx, double& ry, double& rz, int& inl, int& xl, int& id,
                                        float& k11, float& k22, float& k33, float& k12, float& k13,
                                        float& k23, int& trace, int& file)
{
    // Defaults of the columns a row may leave out.
    inl = 0;
    xl = 0;
    id = -1;
    k11 = (float)NOT_SET_VALUE;
    k22 = k33 = k12 = k13 = k23 = 0.0f;
    trace = -1;
    file = -1;

    if (!line || line[0] == ';' || line[0] == '#')
        return true;

    int n = sscanf(line, "%lf %lf %lf %lf %lf %lf %d %d %d %f %f %f %f %f %f %d %d", &sx, &sy, &sz, &rx, &ry,
                   &rz, &inl, &xl, &id, &k11, &k22, &k33, &k12, &k13, &k23, &trace, &file);
    if (n < 6)
        return true;
    // "nan" and "inf" scan as numbers; such a position is no position, and it
    // would break the ordered receiver sets.
    if (!std::isfinite(sx) || !std::isfinite(sy) || !std::isfinite(sz) || !std::isfinite(rx) ||
        !std::isfinite(ry) || !std::isfinite(rz))
        return true;

    // An all-zero tensor is how a table without tensors is often padded: it
    // counts as no tensor.
    if (k11 == 0.0f && k22 == 0.0f && k33 == 0.0f && k12 == 0.0f && k13 == 0.0f && k23 == 0.0f)
        k11 = (float)NOT_SET_VALUE;
    return false;
}

int CSurvey3D::LoadSurvey(const char* path, bool bFaultSlip)
{
    Clear();
    m_bFaultSlip = bFaultSlip;

    if (!path || !path[0])
    {
        u_Error("Error! Survey acquisition geometry file has not been provided.\n");
        u_Print("Please specify survey acquisition geometry file in '[Survey]/Geometry' section in 'runtask.ini'.\n");
        u_Print("The computation is stopped.\n");
        return 1;
    }

    FILE* fp = fopen(path, "r");
    if (!fp)
    {
        PrintErrorOnOpenFile(path);
        return 1;
    }

    TYPEFILE type;
    if (CSdsPC::GetTypeFromFileName(path, type) && type == SGY)
    {
        fclose(fp);
        return LoadFromSgy(path);
    }

    m_strFileName = path;

    std::vector<C3DPointR> vPoints;
    std::vector<int> vIds;
    std::set<int> setIds;
    // Rows of one shot usually come together: the shot that matched last is
    // tried first, which keeps the position search short on large files. The
    // answer is the same as a plain scan, since only "any match" counts.
    size_t nLastHit = 0;

    char szLine[SURVEY_ROW_BUFFER];
    double sx, sy, sz, rx, ry, rz;
    int inl, xl, id, trace, file;
    float k11, k22, k33, k12, k13, k23;
    while (fgets(szLine, SURVEY_ROW_BUFFER, fp))
    {
        if (InterpretSurveyFileLine(szLine, sx, sy, sz, rx, ry, rz, inl, xl, id, k11, k22, k33, k12, k13, k23,
                                    trace, file))
            continue;

        size_t n = vPoints.size();
        if (!m_bShotsByCoordinates && id >= 0 && vIds.size() == n)
        {
            // Told by its id: the first row of an id places the shot.
            if (setIds.insert(id).second)
            {
                vPoints.push_back(C3DPointR(sx, sy, sz));
                vIds.push_back(id);
            }
            continue;
        }

        // Told by its position.
        bool bFound = false;
        if (nLastHit < n && IsSamePoint(vPoints[nLastHit], sx, sy, sz))
            bFound = true;
        for (size_t i = 0; i < n && !bFound; i++)
        {
            if (IsSamePoint(vPoints[i], sx, sy, sz))
            {
                bFound = true;
                nLastHit = i;
            }
        }
        if (bFound)
            continue;
        vPoints.push_back(C3DPointR(sx, sy, sz));
        nLastHit = n;
        if (id >= 0)
        {
            vIds.push_back(id);
            setIds.insert(id);
        }
    }
    fclose(fp);

    if (!vIds.empty() && vIds.size() != vPoints.size())
    {
        u_Warning("Inconsistent shot point id in survey geometry file '%.3800s'. Shot point IDs will be ignored.\n",
                  path);
        vIds.clear();
    }

    if (vPoints.empty())
    {
        u_Error("Error! No source points in the survey acquisition geometry file %.3800s.\n"
                "Please make sure it is properly formatted file.\n",
                path);
        u_Print("The computation is stopped.\n");
        return 1;
    }

    m_vShotPoints.swap(vPoints);
    m_vShotIds.swap(vIds);
    return 0;
}
