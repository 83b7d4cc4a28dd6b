#pragma once
// Per-cell arithmetic of the staggered-grid schemes, written once for the CPU
// loops and the device kernels. Everything is single precision and in a fixed
// order of operations, so that any loop arrangement that calls these
// functions cell by cell gives the same bits.
//
// Grids are flat float arrays, x fastest: index x + nx*y + nx*ny*z.

#include <cstdint>

#ifdef __CUDACC__
#define ONDEX_HD __host__ __device__ __forceinline__
#elif defined(__GNUC__)
// Forced: the vectorised row loops need these bodies in place.
#define ONDEX_HD inline __attribute__((always_inline))
#else
#define ONDEX_HD inline
#endif

namespace fd
{

// Coefficients of the fourth-order staggered first difference; 1/dx is
// carried by the coefficient grids, not applied here.
constexpr float kBeta1 = 1.125f;
constexpr float kBeta2 = -0.041666668f;   // the float nearest -1/24

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

// The acoustic fields: velocities (times K), pressure, buoyancy B and
// modulus C, all on the same index layout.
struct AcoFields
{
    float* ux;
    float* uy;
    float* uz;
    float* p;
    const float* b;   // (dt/dx) * K / rho
    const float* c;   // rho * vp^2 * (dt/dx) / K
    int64_t sy;
    int64_t sz;
};

// Pressure gradient at the velocity nodes of index i.
ONDEX_HD void AcoGradP(const AcoFields& f, int64_t i, float& dx, float& dy, float& dz)
{
    dx = DMinus(f.p, i, 1);
    dy = DMinus(f.p, i, f.sy);
    dz = DMinus(f.p, i, f.sz);
}

// Velocity divergence at the pressure node of index i.
ONDEX_HD void AcoDivU(const AcoFields& f, int64_t i, float& dx, float& dy, float& dz)
{
    dx = DPlus(f.ux, i, 1);
    dy = DPlus(f.uy, i, f.sy);
    dz = DPlus(f.uz, i, f.sz);
}

// Velocity update from the (possibly PML-corrected) gradient.
ONDEX_HD void AcoUpdateU(const AcoFields& f, int64_t i, float dx, float dy, float dz)
{
    const float b = f.b[i];
    f.ux[i] += b * dx;
    f.uy[i] += b * dy;
    f.uz[i] += b * dz;
}

// The same inside the sponge: the old velocities are damped first.
ONDEX_HD void AcoUpdateUSponge(const AcoFields& f, int64_t i, float dx, float dy, float dz, float t)
{
    const float b = f.b[i];
    f.ux[i] = f.ux[i] * t + b * dx;
    f.uy[i] = f.uy[i] * t + b * dy;
    f.uz[i] = f.uz[i] * t + b * dz;
}

// Pressure update from the (possibly PML-corrected) divergence.
ONDEX_HD void AcoUpdateP(const AcoFields& f, int64_t i, float dx, float dy, float dz)
{
    f.p[i] += f.c[i] * (dx + dy + dz);
}

// The same inside the sponge: the new pressure is damped after the update.
ONDEX_HD void AcoUpdatePSponge(const AcoFields& f, int64_t i, float dx, float dy, float dz, float t)
{
    f.p[i] = (f.p[i] + f.c[i] * (dx + dy + dz)) * t;
}

// NaN by its bits (exponent all ones, mantissa not zero), immune to
// fast-math assumptions.
ONDEX_HD bool IsNaNBits(float v)
{
    union
    {
        float f;
        uint32_t u;
    } w;
    w.f = v;
    return (w.u & 0x7f800000u) == 0x7f800000u && (w.u & 0x007fffffu) != 0;
}

} // namespace fd
