#pragma once
// Per-cell arithmetic of the staggered-grid schemes, written once for the CPU
// loops and the device kernels. Everything is single precision and in a fixed
// order of operations, and the build forbids multiply-add contraction
// (-ffp-contract=off, nvcc --fmad=false), so that any loop arrangement that
// calls these functions cell by cell gives the same bits, on any processor.
//
// This header holds the operators, the PML recursion and the sponge; the
// slab geometry is in PmlScheme.h, each physics adds its own *Scheme.h.
//
// Grids are flat float arrays, x fastest: index x + nx*y + nx*ny*z.

#include <cstdint>
#include <cstring>

#ifdef __CUDACC__
#define ONDEX_HD __host__ __device__ __forceinline__
#ifdef __CUDA_ARCH__
// Small fixed loops over arrays of a cell's values, in device code:
// unrolled, so that the arrays stay in registers instead of local memory.
// No change of arithmetic.
#define ONDEX_UNROLL _Pragma("unroll")
#endif
#elif defined(__GNUC__)
// Forced: the vectorised row loops need these bodies in place.
#define ONDEX_HD inline __attribute__((always_inline))
#else
#define ONDEX_HD inline
#endif
#ifndef ONDEX_UNROLL
#define ONDEX_UNROLL
#endif

namespace fd
{

// Coefficients of the fourth-order staggered first difference; 1/dx is
// carried by the coefficient grids, not applied here.
constexpr float kBeta1 = 1.125f;
constexpr float kBeta2 = -0.041666668f;   // the float nearest -1/24

// An inclusive box of cells: first plane, row, column, then last ones.
struct Box
{
    int z0, y0, x0, z1, y1, x1;
};

// A grid with its strides: element (x, y, z) is p[x + sy*y + sz*z].
struct GridView
{
    float* p;
    int64_t sy;   // nx
    int64_t sz;   // nx * ny
};

ONDEX_HD GridView MakeView(float* p, int nx, int ny)
{
    GridView g;
    g.p = p;
    g.sy = (int64_t)nx;
    g.sz = (int64_t)nx * (int64_t)ny;
    return g;
}

// Forward difference, the result sits half a cell above index i:
// b1*(f[i+1] - f[i]) + b2*(f[i+2] - f[i-1]) along stride s.
ONDEX_HD float DPlus(const float* f, int64_t i, int64_t s)
{
    return kBeta1 * (f[i + s] - f[i]) + kBeta2 * (f[i + 2 * s] - f[i - s]);
}

// Backward difference, the result sits half a cell below index i:
// b1*(f[i] - f[i-1]) + b2*(f[i+1] - f[i-2]) along stride s.
ONDEX_HD float DMinus(const float* f, int64_t i, int64_t s)
{
    return kBeta1 * (f[i] - f[i - s]) + kBeta2 * (f[i + s] - f[i - 2 * s]);
}

// Convolutional PML in recursive form on a derivative d: the memory
// variable psi decays by a and picks up b*d; the derivative gains psi.
ONDEX_HD float Cpml(float d, float& psi, float a, float b)
{
    psi = a * psi + b * d;
    return d + psi;
}

// Distance of a cell to the nearest outer face of the whole model; zg is the
// plane's depth in the whole model, nzAll the planes of the whole model.
ONDEX_HD int FaceDistance(int x, int y, int zg, int nx, int ny, int nzAll)
{
    int m = x;
    if (y < m) m = y;
    if (nx - 1 - x < m) m = nx - 1 - x;
    if (ny - 1 - y < m) m = ny - 1 - y;
    if (zg < m) m = zg;
    if (nzAll - 1 - zg < m) m = nzAll - 1 - zg;
    return m;
}

// Whether a cell at face distance m lies in the absorbing strip.
ONDEX_HD bool InSponge(int m, int nTaper)
{
    return m < nTaper;
}

// Sponge factor at face distance m: cells of the strip are damped by the
// taper table (0 at the face itself), the rest is left alone.
ONDEX_HD float SpongeFactor(const float* taper, int nTaper, int m)
{
    return m < nTaper ? taper[m] : 1.0f;
}

// SpongeFactor without the branch around the load, for the row loops of the
// sponge strip, which then vectorise: such a loop has nTaper >= 1, and the
// index is clamped into the table only where the factor is 1 anyway. Same
// value as SpongeFactor.
ONDEX_HD float SpongeFactorRun(const float* taper, int nTaper, int m)
{
    const float t = taper[m < nTaper - 1 ? m : nTaper - 1];
    return m < nTaper ? t : 1.0f;
}

// a where c holds, else b, chosen on the bits. A plain select of a value
// that is only loaded for one side can become a branch around the load,
// which keeps a row loop from vectorising; this form cannot.
ONDEX_HD float PickBits(bool c, float a, float b)
{
    uint32_t ua, ub;
    memcpy(&ua, &a, sizeof(ua));
    memcpy(&ub, &b, sizeof(ub));
    const uint32_t m = 0u - (uint32_t)c;
    const uint32_t u = (ua & m) | (ub & ~m);
    float v;
    memcpy(&v, &u, sizeof(v));
    return v;
}

// NaN by its bits (exponent all ones, mantissa not zero), immune to
// fast-math assumptions; memcpy is the defined way to read the bits.
ONDEX_HD bool IsNaNBits(float v)
{
    uint32_t u;
    memcpy(&u, &v, sizeof(u));
    return (u & 0x7f800000u) == 0x7f800000u && (u & 0x007fffffu) != 0;
}

} // namespace fd
