#pragma once
// Per-cell arithmetic of the isotropic elastic and viscoelastic scheme,
// written once for the CPU row loops, the plain reference and the device
// kernels. The velocity half step is kept apart from the stress half step:
// the anisotropic methods reuse it unchanged.
//
// Every function fixes its order of operations, so any loop arrangement
// that calls them cell by cell gives the same bits.

#include <cstdint>

#include "cpu/FDScheme.h"

namespace ela
{

// The nine wave fields and the three coefficient grids of one process.
struct ElaFields
{
    float* ux;
    float* uy;
    float* uz;
    float* txx;
    float* tyy;
    float* tzz;
    float* txy;
    float* txz;
    float* tyz;
    const float* b;   // (dt/dx) * K / rho
    const float* c;   // rho * vp^2 * (dt/dx) / K
    const float* m;   // rho * vs^2 * (dt/dx) / K
    int64_t sy;       // nx
    int64_t sz;       // nx * ny
};

// Derivatives of the velocity step, per axis in the order the memory
// arrays of a slab of that axis take them.
struct VelDerivs
{
    float xTxx;   // D-x Txx
    float xTxy;   // D+x Txy
    float xTxz;   // D+x Txz
    float yTxy;   // D+y Txy
    float yTyy;   // D-y Tyy
    float yTyz;   // D+y Tyz
    float zTxz;   // D+z Txz
    float zTyz;   // D+z Tyz
    float zTzz;   // D-z Tzz
};

// Derivatives of the stress step: the strains and the six shear halves,
// grouped by axis in the same way (x: ex, a2, b2; y: ey, a1, c2; z: ez,
// b1, c1).
struct StrainDerivs
{
    float ex;   // D+x Ux
    float a2;   // D-x Uy
    float b2;   // D-x Uz
    float ey;   // D+y Uy
    float a1;   // D-y Ux
    float c2;   // D-y Uz
    float ez;   // D+z Uz
    float b1;   // D-z Ux
    float c1;   // D-z Uy
};

ONDEX_HD void ElaVelDerivs(const ElaFields& f, int64_t i, VelDerivs& d)
{
    d.xTxx = fd::DMinus(f.txx, i, 1);
    d.yTxy = fd::DPlus(f.txy, i, f.sy);
    d.zTxz = fd::DPlus(f.txz, i, f.sz);
    d.xTxy = fd::DPlus(f.txy, i, 1);
    d.yTyy = fd::DMinus(f.tyy, i, f.sy);
    d.zTyz = fd::DPlus(f.tyz, i, f.sz);
    d.xTxz = fd::DPlus(f.txz, i, 1);
    d.yTyz = fd::DPlus(f.tyz, i, f.sy);
    d.zTzz = fd::DMinus(f.tzz, i, f.sz);
}

ONDEX_HD void ElaStrainDerivs(const ElaFields& f, int64_t i, StrainDerivs& d)
{
    d.ex = fd::DPlus(f.ux, i, 1);
    d.ey = fd::DPlus(f.uy, i, f.sy);
    d.ez = fd::DPlus(f.uz, i, f.sz);
    d.a1 = fd::DMinus(f.ux, i, f.sy);
    d.a2 = fd::DMinus(f.uy, i, 1);
    d.b1 = fd::DMinus(f.ux, i, f.sz);
    d.b2 = fd::DMinus(f.uz, i, 1);
    d.c1 = fd::DMinus(f.uy, i, f.sz);
    d.c2 = fd::DMinus(f.uz, i, f.sy);
}

// One side of one axis' PML slab for one half step: the memory array and
// the profile pair of each of the three derivatives along that axis.
struct SlabSide
{
    float* psi[3];
    const float* a[3];
    const float* b[3];
};

// The three memory-variable updates of a slab at slab index k, in the
// order of the derivatives.
ONDEX_HD void SlabUpdate(const SlabSide& s, int64_t k, float& d0, float& d1, float& d2)
{
    d0 = fd::Cpml(d0, s.psi[0][k], s.a[0][k], s.b[0][k]);
    d1 = fd::Cpml(d1, s.psi[1][k], s.a[1][k], s.b[1][k]);
    d2 = fd::Cpml(d2, s.psi[2][k], s.a[2][k], s.b[2][k]);
}

// Per axis, the derivatives of that axis as references, so one slab
// update serves both half steps.
ONDEX_HD void SlabVel(const SlabSide& s, int64_t k, int nAxis, VelDerivs& d)
{
    if (nAxis == 0)
        SlabUpdate(s, k, d.xTxx, d.xTxy, d.xTxz);
    else if (nAxis == 1)
        SlabUpdate(s, k, d.yTxy, d.yTyy, d.yTyz);
    else
        SlabUpdate(s, k, d.zTxz, d.zTyz, d.zTzz);
}

ONDEX_HD void SlabStrain(const SlabSide& s, int64_t k, int nAxis, StrainDerivs& d)
{
    if (nAxis == 0)
        SlabUpdate(s, k, d.ex, d.a2, d.b2);
    else if (nAxis == 1)
        SlabUpdate(s, k, d.ey, d.a1, d.c2);
    else
        SlabUpdate(s, k, d.ez, d.b1, d.c1);
}

// Whether the velocity and shear updates of a cell take their full form:
// always with SuppressSV, else only where the cell above holds matter (B
// greater than 0; a NaN is not). Below an empty cell lies the free surface.
ONDEX_HD bool FullBelow(const ElaFields& f, int64_t i, bool bSuppressSV)
{
    return bSuppressSV || f.b[i - f.sz] > 0.0f;
}

// Velocity update of a cell from its (PML-corrected) derivatives; t is the
// sponge factor applied to the old velocities (pass bSponge false without
// it). Directly below the surface Uz is driven by twice the cell's Tzz.
template <bool bSponge>
ONDEX_HD void ElaUpdateU(const ElaFields& f, int64_t i, const VelDerivs& d, bool bFull, float t)
{
    const float b = f.b[i];
    float ux = f.ux[i], uy = f.uy[i], uz = f.uz[i];
    if (bSponge)
    {
        ux = ux * t;
        uy = uy * t;
        uz = uz * t;
    }
    const float sz = d.xTxz + d.yTyz + d.zTzz;
    const float tz = 2.0f * f.tzz[i];
    f.ux[i] = ux + b * (d.xTxx + d.yTxy + d.zTxz);
    f.uy[i] = uy + b * (d.xTxy + d.yTyy + d.zTyz);
    // b*2*Tzz: the factor 2 is exact, so (b*2)*Tzz and b*(2*Tzz) agree.
    f.uz[i] = uz + b * (bFull ? sz : tz);
}

// The Lame coefficients of a cell; fS is the S-wave ramp, 1 when SuppressSV
// is off.
ONDEX_HD void Lame(const ElaFields& f, int64_t i, float fS, float& lambda, float& mu)
{
    mu = f.m[i] * fS;
    lambda = f.c[i] - 2.0f * mu;
}

// Elastic stress update; bFull false keeps the two vertical shear stresses
// (a cell below the surface). s is the sponge factor, q the Q damping.
template <bool bSponge, bool bQ>
ONDEX_HD void ElaUpdateTau(const ElaFields& f, int64_t i, const StrainDerivs& d, float fS, bool bFull, float s,
                           const float* pQ)
{
    float lambda, mu;
    Lame(f, i, fS, lambda, mu);
    const float l2m = lambda + 2.0f * mu;
    float txx = f.txx[i] + (l2m * d.ex + lambda * (d.ey + d.ez));
    float tyy = f.tyy[i] + (l2m * d.ey + lambda * (d.ex + d.ez));
    float tzz = f.tzz[i] + (l2m * d.ez + lambda * (d.ex + d.ey));
    float txy = f.txy[i] + mu * (d.a1 + d.a2);
    const float txz0 = f.txz[i], tyz0 = f.tyz[i];
    const float txz1 = txz0 + mu * (d.b1 + d.b2);
    const float tyz1 = tyz0 + mu * (d.c1 + d.c2);
    float txz = bFull ? txz1 : txz0;
    float tyz = bFull ? tyz1 : tyz0;
    if (bSponge)
    {
        txx = txx * s;
        tyy = tyy * s;
        tzz = tzz * s;
        txy = txy * s;
        txz = txz * s;
        tyz = tyz * s;
    }
    if (bQ)
    {
        const float q = pQ[i];
        txx = txx * q;
        tyy = tyy * q;
        tzz = tzz * q;
        txy = txy * q;
        txz = txz * q;
        tyz = tyz * q;
    }
    f.txx[i] = txx;
    f.tyy[i] = tyy;
    f.tzz[i] = tzz;
    f.txy[i] = txy;
    f.txz[i] = txz;
    f.tyz[i] = tyz;
}

// Relaxation mechanisms of a cell: L records (P weight, S weight, relaxation
// time) in viscoM and six memory variables each (xx, yy, zz, yz, xz, xy)
// in viscoG, both contiguous per cell.
struct ViscoView
{
    const float* viscoM;
    float* viscoG;
    int L;
    float dt;
};

// Whether the cell takes the viscoelastic form: the first mechanism's
// relaxation time is below 1 (1 marks a cell without attenuation).
ONDEX_HD bool IsViscoCell(const ViscoView& v, int64_t i)
{
    return v.L > 0 && v.viscoM && v.viscoG && v.viscoM[i * 3 * v.L + 2] < 1.0f;
}

// Viscoelastic stress update: the mechanism loop, then the elastic form
// with the relaxed moduli and the averaged memory terms. No Q damping here.
template <bool bSponge>
ONDEX_HD void ViscoUpdateTau(const ElaFields& f, int64_t i, const StrainDerivs& d, float fS, bool bFull, float s,
                             const ViscoView& v)
{
    float lambda, mu;
    Lame(f, i, fS, lambda, mu);
    const float C = f.c[i];
    const float* rec = v.viscoM + i * 3 * v.L;
    float* r = v.viscoG + i * 6 * v.L;
    float sumP = 1.0f, sumS = 1.0f;
    float Rxx = 0.0f, Ryy = 0.0f, Rzz = 0.0f, Ryz = 0.0f, Rxz = 0.0f, Rxy = 0.0f;
    for (int l = 0; l < v.L; l++, rec += 3, r += 6)
    {
        const float p = rec[0], sw = rec[1], tau = rec[2];
        const float q = v.dt / tau;
        const float a = (2.0f - q) / (2.0f + q);
        const float b = 2.0f * q / (2.0f + q);
        const float Cl = C * p;
        const float Ml = mu * sw;
        const float Ll = Cl - 2.0f * Ml;
        float r0 = r[0];
        float rn = a * r0 - b * (Cl * d.ex + Ll * (d.ey + d.ez));
        r[0] = rn;
        Rxx += (rn + r0) * 0.5f;
        r0 = r[1];
        rn = a * r0 - b * (Cl * d.ey + Ll * (d.ex + d.ez));
        r[1] = rn;
        Ryy += (rn + r0) * 0.5f;
        r0 = r[2];
        rn = a * r0 - b * (Cl * d.ez + Ll * (d.ex + d.ey));
        r[2] = rn;
        Rzz += (rn + r0) * 0.5f;
        r0 = r[3];
        rn = a * r0 - b * Ml * (d.c1 + d.c2);
        r[3] = rn;
        Ryz += (rn + r0) * 0.5f;
        r0 = r[4];
        rn = a * r0 - b * Ml * (d.b1 + d.b2);
        r[4] = rn;
        Rxz += (rn + r0) * 0.5f;
        r0 = r[5];
        rn = a * r0 - b * Ml * (d.a1 + d.a2);
        r[5] = rn;
        Rxy += (rn + r0) * 0.5f;
        sumP += p;
        sumS += sw;
    }
    const float lr = lambda * sumP, mr = mu * sumS;
    const float l2m = lr + 2.0f * mr;
    float txx = f.txx[i] + (l2m * d.ex + lr * (d.ey + d.ez) + Rxx);
    float tyy = f.tyy[i] + (l2m * d.ey + lr * (d.ex + d.ez) + Ryy);
    float tzz = f.tzz[i] + (l2m * d.ez + lr * (d.ex + d.ey) + Rzz);
    float txy = f.txy[i] + (mr * (d.a1 + d.a2) + Rxy);
    float txz = f.txz[i], tyz = f.tyz[i];
    if (bFull)
    {
        txz = txz + (mr * (d.b1 + d.b2) + Rxz);
        tyz = tyz + (mr * (d.c1 + d.c2) + Ryz);
    }
    if (bSponge)
    {
        txx = txx * s;
        tyy = tyy * s;
        tzz = tzz * s;
        txy = txy * s;
        txz = txz * s;
        tyz = tyz * s;
    }
    f.txx[i] = txx;
    f.tyy[i] = tyy;
    f.tzz[i] = tzz;
    f.txy[i] = txy;
    f.txz[i] = txz;
    f.tyz[i] = tyz;
}

// Everything a cell of either half step may need: fields, absorbing
// boundary, surface switch, ramp, damping and mechanisms. Plain pointers
// and integers, so the record can be handed to a device kernel as is.
struct ElaGrid
{
    ElaFields f;
    int nx, ny;
    int nZ0, nZAll;   // first plane of this node, planes of the whole model
    int h, W;         // halo and PML slab width
    bool bPML;
    const float* taper;
    int nTaper;
    bool bSuppressSV;
    float fS;          // S-wave ramp; 1 when SuppressSV is off
    const float* q;    // per-step damping, null without (or with mechanisms)
    ViscoView visco;
    // PML sides [axis x, y, z][low, high] of the velocity and stress steps.
    SlabSide u[3][2];
    SlabSide t[3][2];
};

// Slab index of a cell in the slab [axis][side], or -1 when the cell lies
// outside it.
ONDEX_HD int64_t SlabIndex(const ElaGrid& g, int x, int y, int z, int nAxis, int nSide)
{
    const int64_t nx = g.nx, ny = g.ny;
    if (nAxis == 0)
    {
        const int k = nSide == 0 ? x - g.h : g.nx - x - g.h - 1;
        return k >= 0 && k < g.W ? ((int64_t)z * ny + y) * g.W + k : -1;
    }
    if (nAxis == 1)
    {
        const int k = nSide == 0 ? y - g.h : g.ny - y - g.h - 1;
        return k >= 0 && k < g.W ? ((int64_t)z * g.W + k) * nx + x : -1;
    }
    const int zg = z + g.nZ0;
    const int k = nSide == 0 ? zg - g.h : g.nZAll - zg - g.h - 1;
    return k >= 0 && k < g.W ? (int64_t)k * nx * ny + (int64_t)y * nx + x : -1;
}

// The velocity step of one cell with every test made here: slab
// membership in the order z low, z high, y low, y high, x low, x high,
// sponge distance and surface.
ONDEX_HD void ElaCellU(const ElaGrid& g, int x, int y, int z)
{
    const int64_t i = (int64_t)z * g.f.sz + (int64_t)y * g.f.sy + x;
    VelDerivs d;
    ElaVelDerivs(g.f, i, d);
    const bool bFull = FullBelow(g.f, i, g.bSuppressSV);
    if (g.bPML)
    {
        for (int nAxis = 2; nAxis >= 0; nAxis--)
            for (int nSide = 0; nSide < 2; nSide++)
            {
                const int64_t k = SlabIndex(g, x, y, z, nAxis, nSide);
                if (k >= 0)
                    SlabVel(g.u[nAxis][nSide], k, nAxis, d);
            }
        ElaUpdateU<false>(g.f, i, d, bFull, 1.0f);
        return;
    }
    const int m = fd::FaceDistance(x, y, z + g.nZ0, g.nx, g.ny, g.nZAll);
    if (fd::InSponge(m, g.nTaper))
        ElaUpdateU<true>(g.f, i, d, bFull, g.taper[m]);
    else
        ElaUpdateU<false>(g.f, i, d, bFull, 1.0f);
}

// The stress step of one cell, elastic or viscoelastic, with every test.
ONDEX_HD void ElaCellTau(const ElaGrid& g, int x, int y, int z)
{
    const int64_t i = (int64_t)z * g.f.sz + (int64_t)y * g.f.sy + x;
    StrainDerivs d;
    ElaStrainDerivs(g.f, i, d);
    const bool bFull = FullBelow(g.f, i, g.bSuppressSV);
    bool bSponge = false;
    float s = 1.0f;
    if (g.bPML)
    {
        for (int nAxis = 2; nAxis >= 0; nAxis--)
            for (int nSide = 0; nSide < 2; nSide++)
            {
                const int64_t k = SlabIndex(g, x, y, z, nAxis, nSide);
                if (k >= 0)
                    SlabStrain(g.t[nAxis][nSide], k, nAxis, d);
            }
    }
    else
    {
        const int m = fd::FaceDistance(x, y, z + g.nZ0, g.nx, g.ny, g.nZAll);
        bSponge = fd::InSponge(m, g.nTaper);
        if (bSponge)
            s = g.taper[m];
    }
    if (IsViscoCell(g.visco, i))
    {
        if (bSponge)
            ViscoUpdateTau<true>(g.f, i, d, g.fS, bFull, s, g.visco);
        else
            ViscoUpdateTau<false>(g.f, i, d, g.fS, bFull, s, g.visco);
        return;
    }
    const bool bQ = g.q != nullptr && g.visco.L <= 0;
    if (bSponge)
    {
        if (bQ)
            ElaUpdateTau<true, true>(g.f, i, d, g.fS, bFull, s, g.q);
        else
            ElaUpdateTau<true, false>(g.f, i, d, g.fS, bFull, s, g.q);
    }
    else
    {
        if (bQ)
            ElaUpdateTau<false, true>(g.f, i, d, g.fS, bFull, s, g.q);
        else
            ElaUpdateTau<false, false>(g.f, i, d, g.fS, bFull, s, g.q);
    }
}

} // namespace ela
