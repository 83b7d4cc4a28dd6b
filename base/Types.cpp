#include "base/Types.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

// ------------------------------------------------------------------ points

bool C3DPointR::operator<(const C3DPointR& pt) const
{
    if (x != pt.x)
        return x < pt.x;
    if (y != pt.y)
        return y < pt.y;
    return z < pt.z;
}

bool C3DPointN::operator<(const C3DPointN& p) const
{
    if (x != p.x)
        return x < p.x;
    if (y != p.y)
        return y < p.y;
    return z < p.z;
}

bool operator<(const _C3DPoint& a, const _C3DPoint& b)
{
    if (a.x != b.x)
        return a.x < b.x;
    if (a.y != b.y)
        return a.y < b.y;
    return a.z < b.z;
}

// ------------------------------------------------------------------ CRectR

void CRectR::Expand(const CPointR& pt)
{
    if (IsEmpty())
    {
        x0 = x1 = pt.x;
        y0 = y1 = pt.y;
        return;
    }
    if (pt.x < x0) x0 = pt.x;
    if (pt.x > x1) x1 = pt.x;
    if (pt.y < y0) y0 = pt.y;
    if (pt.y > y1) y1 = pt.y;
}

bool CRectR::IsPointInside(const CPointR& pt) const
{
    if (IsEmpty())
        return false;
    return pt.x >= x0 && pt.x <= x1 && pt.y >= y0 && pt.y <= y1;
}

// ------------------------------------------------------------------ CCubeR

bool CCubeR::IsEmpty() const
{
    return x0 == NOT_SET_VALUE || y0 == NOT_SET_VALUE || z0 == NOT_SET_VALUE ||
           x1 == NOT_SET_VALUE || y1 == NOT_SET_VALUE || z1 == NOT_SET_VALUE;
}

void CCubeR::SetEmpty()
{
    x0 = y0 = z0 = x1 = y1 = z1 = NOT_SET_VALUE;
}

void CCubeR::FillUnset(const CCubeR& c)
{
    double* const mine[6] = {&x0, &y0, &z0, &x1, &y1, &z1};
    const double theirs[6] = {c.x0, c.y0, c.z0, c.x1, c.y1, c.z1};
    for (int i = 0; i < 6; i++)
        if (*mine[i] == NOT_SET_VALUE)
            *mine[i] = theirs[i];
}

void CCubeR::Expand(const C3DPointR& pt)
{
    if (IsEmpty())
    {
        x0 = x1 = pt.x;
        y0 = y1 = pt.y;
        z0 = z1 = pt.z;
        return;
    }
    if (pt.x < x0) x0 = pt.x;
    if (pt.x > x1) x1 = pt.x;
    if (pt.y < y0) y0 = pt.y;
    if (pt.y > y1) y1 = pt.y;
    if (pt.z < z0) z0 = pt.z;
    if (pt.z > z1) z1 = pt.z;
}

// A cube that is not set overlaps nothing: its sentinel values must not take
// part in the arithmetic.
bool CCubeR::Intersect(const CCubeR& c)
{
    if (IsEmpty() || c.IsEmpty())
    {
        SetEmpty();
        return false;
    }
    double ax0 = x0 > c.x0 ? x0 : c.x0, ax1 = x1 < c.x1 ? x1 : c.x1;
    double ay0 = y0 > c.y0 ? y0 : c.y0, ay1 = y1 < c.y1 ? y1 : c.y1;
    double az0 = z0 > c.z0 ? z0 : c.z0, az1 = z1 < c.z1 ? z1 : c.z1;
    if (ax0 <= ax1 && ay0 <= ay1 && az0 <= az1)
    {
        x0 = ax0; x1 = ax1;
        y0 = ay0; y1 = ay1;
        z0 = az0; z1 = az1;
        return true;
    }
    SetEmpty();
    return false;
}

bool CCubeR::IsPointInside(const C3DPointR& pt) const
{
    if (IsEmpty())
        return false;
    return pt.x >= x0 && pt.x <= x1 && pt.y >= y0 && pt.y <= y1 && pt.z >= z0 && pt.z <= z1;
}

// ---------------------------------------------------------- geo-referenced

CGeoPointInfo::CGeoPointInfo()
{
    CGeoPointInfo::Clear();
}

CGeoPointInfo::~CGeoPointInfo() {}

void CGeoPointInfo::Clear()
{
    for (int i = 0; i < VALUE_COUNT; i++)
    {
        m_dValue[i] = 0;
        m_bPresent[i] = false;
    }
}

bool CGeoPointInfo::SetValue(int nIndex, double dValue, bool bPresent)
{
    if (nIndex < 0 || nIndex >= VALUE_COUNT)
        return false;
    m_dValue[nIndex] = bPresent ? dValue : 0;
    m_bPresent[nIndex] = bPresent;
    return true;
}

bool CGeoPointInfo::SetValuePresent(int nIndex, bool bPresent)
{
    if (nIndex < 0 || nIndex >= VALUE_COUNT)
        return false;
    m_bPresent[nIndex] = bPresent;
    return true;
}

bool CGeoPointInfo::GetValue(int nIndex, double& dValue) const
{
    if (nIndex < 0 || nIndex >= VALUE_COUNT || !m_bPresent[nIndex])
        return false;
    dValue = m_dValue[nIndex];
    return true;
}

CGeoPoint::~CGeoPoint() {}
CBasePoint::~CBasePoint() {}
CGeoPointInfoAproximator::~CGeoPointInfoAproximator() {}

// ------------------------------------------------------------- shared_ptr1

void file_deleter(_IO_FILE* p)
{
    if (p)
        fclose(p);
}

namespace details
{
template class shared_ptr1_deleter_internal<_IO_FILE, smart_file_deleter<_IO_FILE>>;
template class shared_ptr1_deleter_internal<_IO_FILE, void (*)(_IO_FILE*)>;
} // namespace details

// ------------------------------------------------------------------ helpers

int make_dir(const char* path)
{
    if (!path || !*path)
    {
        errno = ENOENT;
        return -1;
    }
    size_t len = strlen(path);
    if (len >= 4096)
    {
        errno = ENAMETOOLONG;
        return -1;
    }
    int result = 0;
    std::string part;
    for (size_t i = 1; i <= len; i++)
    {
        if (i < len && path[i] != '/')
            continue;
        part.assign(path, i);
        // Skip "/", "a//" and a trailing "/": nothing new to make there.
        if (part.back() == '/')
            continue;
        if (access(part.c_str(), F_OK) != 0)
        {
            result = mkdir(part.c_str(), 0777);
            if (result != 0)
            {
                if (access(part.c_str(), F_OK) != 0)
                    return result;
                // Another process made it meanwhile: that is success too.
                result = 0;
            }
        }
    }
    return result;
}

static inline double blend(double a, double b, double u, double v)
{
    const double NODATA = 1e-5;
    if (a > NODATA && b > NODATA)
        return u * b + v * a;
    return u > v ? b : a;
}

double biline(const CSizeN& size, const float* data, double x, double y)
{
    const int nx = size.nx, ny = size.ny;
    if (!data || nx < 1 || ny < 1)
        return NOT_SET_VALUE;
    // Written as negated ranges so that a NaN position counts as outside.
    if (!(x >= 0 && x <= nx - 1 && y >= 0 && y <= ny - 1))
        return NOT_SET_VALUE;

    int i = (int)x;
    if (i > nx - 2)
        i = nx - 2;
    if (i < 0)
        i = 0;
    int j = (int)y;
    if (j > ny - 2)
        j = ny - 2;
    if (j < 0)
        j = 0;

    auto row = [&](int jj) -> double {
        const float* r = data + (size_t)jj * nx;
        if (nx == 1)
            return r[0];
        return blend(r[i], r[i + 1], x - i, i + 1 - x);
    };

    if (ny == 1)
        return row(0);
    return blend(row(j), row(j + 1), y - j, j + 1 - y);
}
