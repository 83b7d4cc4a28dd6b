#pragma once
// Where a cell sits in the absorbing boundary, shared by every scheme, the
// CPU loops, the device kernels and the test reference alike.
//
// A PML slab of width W lies inside the halo h of each of the six faces; the
// z slabs count in whole-model depth, so every node of a depth group holds
// full-size z slab arrays. For a cell inside a slab the slab index is:
//
//   x low   x < W + h            (z*ny + y)*W + (x - h)
//   x high  nx - x <= W + h      (z*ny + y)*W + (nx - x - h - 1)
//   y low   y < W + h            (z*W + (y - h))*nx + x
//   y high  ny - y <= W + h      (z*W + (ny - y - h - 1))*nx + x
//   z low   zg < W + h           (zg - h)*nx*ny + y*nx + x
//   z high  nZAll - zg <= W + h  (nZAll - zg - h - 1)*nx*ny + y*nx + x
//
// with zg = z + nZ0. Along a row (fixed y and z) every index is off + dir*x:
// the row form below is the cell form with the x-independent part taken out,
// so that the CPU row loops and a per-cell kernel read the same elements.

#include "cpu/FDScheme.h"

namespace fd
{

enum
{
    kAxisX = 0,
    kAxisY = 1,
    kAxisZ = 2,
    kMinus = 0,   // the D- stencil
    kPlus = 1,    // the D+ stencil
    kLo = 0,
    kHi = 1
};

// The 24 profile arrays, by axis, stencil and side: decay a and multiplier b.
struct PmlProfiles
{
    const float* a[3][2][2];
    const float* b[3][2][2];
};

// The grid as far as the slabs are concerned.
struct SlabGeom
{
    int nx, ny;
    int W, h;
    int nZ0, nZAll;
};

// One slab seen from a row: whether the row crosses it (for x, whether the
// slab exists; membership of a column is InSlabX) and its index off + dir*x.
struct SlabRow
{
    int64_t off;
    int dir;
    bool in;
};

ONDEX_HD bool InSlabX(const SlabGeom& g, int side, int x)
{
    return side == kLo ? x < g.W + g.h : g.nx - x <= g.W + g.h;
}

ONDEX_HD SlabRow RowSlab(const SlabGeom& g, int axis, int side, int y, int z)
{
    SlabRow r;
    r.dir = 1;
    if (axis == kAxisZ)
    {
        const int zg = z + g.nZ0;
        const int k = side == kLo ? zg - g.h : g.nZAll - zg - g.h - 1;
        r.in = k < g.W;
        r.off = (int64_t)k * g.nx * g.ny + (int64_t)y * g.nx;
    }
    else if (axis == kAxisY)
    {
        const int k = side == kLo ? y - g.h : g.ny - y - g.h - 1;
        r.in = k < g.W;
        r.off = ((int64_t)z * g.W + k) * g.nx;
    }
    else
    {
        r.in = g.W > 0;
        const int64_t row = ((int64_t)z * g.ny + y) * g.W;
        r.off = side == kLo ? row - g.h : row + g.nx - g.h - 1;
        r.dir = side == kLo ? 1 : -1;
    }
    return r;
}

// Slab indices of a cell, [axis][side], -1 where the cell is outside.
struct CellSlabs
{
    int64_t k[3][2];
};

ONDEX_HD CellSlabs SlabsOfCell(const SlabGeom& g, int x, int y, int z)
{
    CellSlabs c;
    for (int axis = 0; axis < 3; axis++)
        for (int side = 0; side < 2; side++)
        {
            const SlabRow r = RowSlab(g, axis, side, y, z);
            const bool in = axis == kAxisX ? InSlabX(g, side, x) : r.in;
            c.k[axis][side] = in ? r.off + r.dir * x : -1;
        }
    return c;
}

// The PML recursion on a derivative along one axis: the low slab first,
// then the high one on the derivative already changed (a thin grid can put
// a cell in both). psi holds the derivative's memory arrays, low and high.
ONDEX_HD float PmlAxis(float d, float* const psi[2], const PmlProfiles& p, int axis, int stencil,
                       const int64_t k[2])
{
    for (int side = 0; side < 2; side++)
        if (k[side] >= 0)
            d = Cpml(d, psi[side][k[side]], p.a[axis][stencil][side][k[side]], p.b[axis][stencil][side][k[side]]);
    return d;
}

// Distance of row (y, z) to the nearest outer face of the whole model in y
// and z (x left out), never below 0: the sponge runs add x per column.
ONDEX_HD int RowFaceDistance(const SlabGeom& g, int y, int z)
{
    const int zg = z + g.nZ0;
    int m = y;
    if (g.ny - 1 - y < m) m = g.ny - 1 - y;
    if (zg < m) m = zg;
    if (g.nZAll - 1 - zg < m) m = g.nZAll - 1 - zg;
    return m > 0 ? m : 0;
}

// Sponge factor of a cell: the taper at the distance to the nearest outer
// face of the whole model, 1 outside the strip.
ONDEX_HD float SpongeOfCell(const SlabGeom& g, const float* taper, int nTaper, int x, int y, int z)
{
    return SpongeFactor(taper, nTaper, FaceDistance(x, y, z + g.nZ0, g.nx, g.ny, g.nZAll));
}

} // namespace fd
