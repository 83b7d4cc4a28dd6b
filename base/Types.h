// Value types shared by the whole system: geometry in metres (double) and in
// grid cells (int), the reference-counted file handle and two helpers.
// -9999.25 is the "not set" value of every coordinate, compared with ==.
#ifndef ONDEX_BASE_TYPES_H
#define ONDEX_BASE_TYPES_H

#include <cstdio>
#include <vector>

#define NOT_SET_VALUE (-9999.25)

// ---------------------------------------------------------------- real values

class CPointR
{
public:
    CPointR() : x(NOT_SET_VALUE), y(NOT_SET_VALUE) {}
    CPointR(double _x, double _y) : x(_x), y(_y) {}
    virtual ~CPointR() {}
    bool operator==(const CPointR& pt) const { return x == pt.x && y == pt.y; }
    bool operator!=(const CPointR& pt) const { return !(*this == pt); }
    bool IsEmpty() const { return x == NOT_SET_VALUE || y == NOT_SET_VALUE; }

    double x, y;
};

class C3DPointR
{
public:
    C3DPointR() : x(NOT_SET_VALUE), y(NOT_SET_VALUE), z(NOT_SET_VALUE) {}
    C3DPointR(double _x, double _y, double _z) : x(_x), y(_y), z(_z) {}
    virtual ~C3DPointR() {}
    bool operator==(const C3DPointR& pt) const { return x == pt.x && y == pt.y && z == pt.z; }
    bool operator!=(const C3DPointR& pt) const { return !(*this == pt); }
    bool operator<(const C3DPointR& pt) const;   // lexicographic x, y, z
    bool IsEmpty() const { return x == NOT_SET_VALUE || y == NOT_SET_VALUE || z == NOT_SET_VALUE; }

    double x, y, z;
};

class CRectR
{
public:
    CRectR() : x0(NOT_SET_VALUE), y0(NOT_SET_VALUE), x1(NOT_SET_VALUE), y1(NOT_SET_VALUE) {}
    CRectR(double _x0, double _y0, double _x1, double _y1) : x0(_x0), y0(_y0), x1(_x1), y1(_y1) {}
    virtual ~CRectR() {}
    bool IsEmpty() const
    {
        return x0 == NOT_SET_VALUE || y0 == NOT_SET_VALUE || x1 == NOT_SET_VALUE || y1 == NOT_SET_VALUE;
    }
    // Same rule as CCubeR::Expand, in two dimensions.
    void Expand(const CPointR& pt);
    bool IsPointInside(const CPointR& pt) const;   // inclusive

    double x0, y0, x1, y1;
};

class CCubeR
{
public:
    CCubeR()
        : x0(NOT_SET_VALUE), y0(NOT_SET_VALUE), z0(NOT_SET_VALUE),
          x1(NOT_SET_VALUE), y1(NOT_SET_VALUE), z1(NOT_SET_VALUE) {}
    CCubeR(double _x0, double _y0, double _z0, double _x1, double _y1, double _z1)
        : x0(_x0), y0(_y0), z0(_z0), x1(_x1), y1(_y1), z1(_z1) {}
    virtual ~CCubeR() {}

    bool operator==(const CCubeR& c) const
    {
        return x0 == c.x0 && y0 == c.y0 && z0 == c.z0 && x1 == c.x1 && y1 == c.y1 && z1 == c.z1;
    }
    bool operator!=(const CCubeR& c) const { return !(*this == c); }

    // True when any of the six values is the "not set" value.
    bool IsEmpty() const;
    // An empty cube becomes the single point, else it grows to hold it.
    void Expand(const C3DPointR& pt);
    // Overlap or touch in all three axes: the common part, true. Else all six
    // values become "not set", false.
    bool Intersect(const CCubeR& cube);
    // Inclusive on all six faces.
    bool IsPointInside(const C3DPointR& pt) const;
    void SetEmpty();
    // Each of the six values still "not set" takes the value of c.
    void FillUnset(const CCubeR& c);

    double x0, y0, z0, x1, y1, z1;
};

// -------------------------------------------------------------- integer values

class CSizeN
{
public:
    CSizeN() : nx(0), ny(0), nxy(0) {}
    CSizeN(int _nx, int _ny) : nx(_nx), ny(_ny), nxy(_nx * _ny) {}
    void Set(int _nx, int _ny) { nx = _nx; ny = _ny; nxy = _nx * _ny; }
    bool operator==(const CSizeN& s) const { return nx == s.nx && ny == s.ny; }
    bool operator!=(const CSizeN& s) const { return !(*this == s); }

    int nx, ny;
    int nxy;   // nx * ny
};

class C3DSizeN
{
public:
    C3DSizeN() : nx(0), ny(0), nz(0), nxy(0) {}
    C3DSizeN(int _nx, int _ny, int _nz) : nx(_nx), ny(_ny), nz(_nz), nxy(_nx * _ny) {}
    void Set(int _nx, int _ny, int _nz) { nx = _nx; ny = _ny; nz = _nz; nxy = _nx * _ny; }
    // Samples of the whole cube, in 64 bits: cubes may exceed 2^31 cells.
    long long Total() const { return (long long)nx * ny * nz; }
    bool operator==(const C3DSizeN& s) const { return nx == s.nx && ny == s.ny && nz == s.nz; }
    bool operator!=(const C3DSizeN& s) const { return !(*this == s); }

    int nx, ny, nz;
    int nxy;   // plane size nx * ny
};

class C3DPointN
{
public:
    C3DPointN() : x(0), y(0), z(0) {}
    C3DPointN(int _x, int _y, int _z) : x(_x), y(_y), z(_z) {}
    bool operator==(const C3DPointN& p) const { return x == p.x && y == p.y && z == p.z; }
    bool operator!=(const C3DPointN& p) const { return !(*this == p); }
    bool operator<(const C3DPointN& p) const;   // lexicographic x, y, z, for std::set

    int x, y, z;
};

class CRectN
{
public:
    CRectN() : x0(0), y0(0), x1(0), y1(0) {}
    CRectN(int _x0, int _y0, int _x1, int _y1) : x0(_x0), y0(_y0), x1(_x1), y1(_y1) {}
    virtual ~CRectN() {}

    int x0, y0, x1, y1;
};

// Cell index ranges, inclusive; note the z, y, x order of the fields.
class CCubeN
{
public:
    CCubeN() : z0(0), y0(0), x0(0), z1(0), y1(0), x1(0) {}
    CCubeN(int _z0, int _y0, int _x0, int _z1, int _y1, int _x1)
        : z0(_z0), y0(_y0), x0(_x0), z1(_z1), y1(_y1), x1(_x1) {}
    virtual ~CCubeN() {}
    bool operator==(const CCubeN& c) const
    {
        return z0 == c.z0 && y0 == c.y0 && x0 == c.x0 && z1 == c.z1 && y1 == c.y1 && x1 == c.x1;
    }
    bool operator!=(const CCubeN& c) const { return !(*this == c); }

    int z0, y0, x0, z1, y1, x1;
};

// Plain point, key of ordered sets.
struct _C3DPoint
{
    double x, y, z;
};
bool operator<(const _C3DPoint& a, const _C3DPoint& b);   // lexicographic x, y, z

// ------------------------------------------------------------ geo-referenced

// Ten values by index 0 to 9, each with a present flag. An index outside 0..9
// makes an operation answer false and change nothing.
class CGeoPointInfo
{
public:
    enum { VALUE_COUNT = 10 };
    CGeoPointInfo();
    virtual ~CGeoPointInfo();
    virtual void Clear();
    // With bPresent false the value stored is 0.
    virtual bool SetValue(int nIndex, double dValue, bool bPresent);
    virtual bool SetValuePresent(int nIndex, bool bPresent);
    // False for a value not present.
    virtual bool GetValue(int nIndex, double& dValue) const;

protected:
    double m_dValue[VALUE_COUNT];
    bool m_bPresent[VALUE_COUNT];
};

class CGeoPoint
{
public:
    CGeoPoint() {}
    virtual ~CGeoPoint();
};

class CBasePoint : public CGeoPoint, public CGeoPointInfo
{
public:
    CBasePoint() {}
    ~CBasePoint() override;
};

class CGeoPointInfoAproximator
{
public:
    CGeoPointInfoAproximator() {}
    virtual ~CGeoPointInfoAproximator();

    std::vector<CBasePoint> m_vPoints;
};

// ------------------------------------------------------------- shared_ptr1

namespace details
{
template <class T>
class shared_ptr1_deleter_interface
{
public:
    virtual ~shared_ptr1_deleter_interface() {}
    virtual void destroy(T* p) = 0;
};

template <class T, class D>
class shared_ptr1_deleter_internal : public shared_ptr1_deleter_interface<T>
{
public:
    explicit shared_ptr1_deleter_internal(D d) : m_d(d) {}
    void destroy(T* p) override { m_d(p); }

private:
    D m_d;
};

// Without a deleter the owner deletes the object; a stream, though, comes
// from fopen and must be closed, never deleted.
template <class T>
inline void shared_ptr1_default_destroy(T* p)
{
    delete p;
}
inline void shared_ptr1_default_destroy(_IO_FILE* p)
{
    if (p)
        fclose(p);
}
} // namespace details

// Closes the stream if it is not null.
template <class T>
struct smart_file_deleter
{
    void operator()(T* p) const
    {
        if (p)
            fclose(p);
    }
};

// Closes the stream if it is not null.
void file_deleter(_IO_FILE* p);

// Reference-counted owner of a pointer (here always a FILE*). The count holds
// the number of further owners: 0 for a single owner.
template <class T>
class shared_ptr1
{
public:
    shared_ptr1() : m_p(nullptr), m_pCount(nullptr), m_pDeleter(nullptr) {}
    explicit shared_ptr1(T* p) : m_p(p), m_pCount(new int(0)), m_pDeleter(nullptr) {}
    shared_ptr1(T* p, void (*d)(T*))
        : m_p(p), m_pCount(new int(0)),
          m_pDeleter(new details::shared_ptr1_deleter_internal<T, void (*)(T*)>(d)) {}
    shared_ptr1(T* p, smart_file_deleter<T> d)
        : m_p(p), m_pCount(new int(0)),
          m_pDeleter(new details::shared_ptr1_deleter_internal<T, smart_file_deleter<T>>(d)) {}
    shared_ptr1(const shared_ptr1& o) : m_p(o.m_p), m_pCount(o.m_pCount), m_pDeleter(o.m_pDeleter)
    {
        if (m_pCount)
            ++*m_pCount;
    }
    shared_ptr1& operator=(const shared_ptr1& o)
    {
        if (this != &o && m_pCount != o.m_pCount)
        {
            reset();
            m_p = o.m_p;
            m_pCount = o.m_pCount;
            m_pDeleter = o.m_pDeleter;
            if (m_pCount)
                ++*m_pCount;
        }
        return *this;
    }
    ~shared_ptr1() { reset(); }

    // Clears the fields; the last owner destroys the object.
    void reset()
    {
        T* p = m_p;
        int* pCount = m_pCount;
        details::shared_ptr1_deleter_interface<T>* pDeleter = m_pDeleter;
        m_p = nullptr;
        m_pCount = nullptr;
        m_pDeleter = nullptr;
        if (!pCount)
            return;
        if (*pCount > 0)
        {
            --*pCount;
            return;
        }
        delete pCount;
        if (pDeleter)
        {
            pDeleter->destroy(p);
            delete pDeleter;
        }
        else
            details::shared_ptr1_default_destroy(p);
    }

    T* get() const { return m_p; }
    T* operator->() const { return m_p; }
    T& operator*() const { return *m_p; }
    explicit operator bool() const { return m_p != nullptr; }
    int use_count() const { return m_pCount ? *m_pCount + 1 : 0; }

private:
    T* m_p;
    int* m_pCount;
    details::shared_ptr1_deleter_interface<T>* m_pDeleter;
};

// ------------------------------------------------------------------ helpers

// Makes a directory and its parents. The result is that of the last mkdir
// performed, 0 if none was needed; -1 for a null or too long path.
int make_dir(const char* path);

// Bilinear interpolation in a grid of size.nx by size.ny floats, x fastest, at
// the fractional grid position (x, y). Values of 1e-5 or less are no data and
// never blended. Outside the grid: -9999.25.
double biline(const CSizeN& size, const float* data, double x, double y);

#endif
