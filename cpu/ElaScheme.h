#pragma once
// Per-cell arithmetic of the isotropic elastic and viscoelastic scheme,
// written once for the CPU row loops, the plain reference and the device
// kernels. The velocity half step is kept apart from the stress half step:
// the anisotropic methods reuse it unchanged.
//
// Every function fixes its order of operations, so any loop arrangement
// that calls them cell by cell gives the same bits.

#include <cstdint>

#include "cpu/PmlScheme.h"

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
    f.uz[i] = uz + b * fd::PickBits(bFull, sz, tz);
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
    float txz = fd::PickBits(bFull, txz1, txz0);
    float tyz = fd::PickBits(bFull, tyz1, tyz0);
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

// Whether a cell attenuates, from the relaxation time of its first
// mechanism: 1.0 or more marks a cell without attenuation.
ONDEX_HD bool Attenuates(float tau0)
{
    return tau0 < 1.0f;
}

// Whether the cell takes the viscoelastic form: records present and the
// cell attenuates.
ONDEX_HD bool IsViscoCell(const ViscoView& v, int64_t i)
{
    return v.L > 0 && v.viscoM && v.viscoG && Attenuates(v.viscoM[i * 3 * v.L + 2]);
}

// A cell's mechanism records where they lie in memory, cell-major: the
// constants (p, s, tau) of mechanism l at m[3l + k], the memory variables at
// g[6l + k].
struct CellRecords
{
    const float* m;
    float* g;
    ONDEX_HD float M(int l, int k) const { return m[3 * l + k]; }
    ONDEX_HD float& G(int l, int k) const { return g[6 * l + k]; }
    ONDEX_HD static CellRecords Of(const ViscoView& v, int64_t i)
    {
        return {v.viscoM + i * 3 * v.L, v.viscoG + i * 6 * v.L};
    }
};

// Viscoelastic stress update: the mechanism loop, then the elastic form
// with the relaxed moduli and the averaged memory terms. No Q damping here.
// NL > 0 fixes the number of mechanisms at compile time, and Rec says where
// the records are, so that a row loop can vectorise the same arithmetic.
template <bool bSponge, int NL = 0, class Rec = CellRecords>
ONDEX_HD void ViscoUpdateTau(const ElaFields& f, int64_t i, const StrainDerivs& d, float fS, bool bFull, float s,
                             const ViscoView& v, const Rec& rec)
{
    const int L = NL > 0 ? NL : v.L;
    float lambda, mu;
    Lame(f, i, fS, lambda, mu);
    const float C = f.c[i];
    float sumP = 1.0f, sumS = 1.0f;
    float Rxx = 0.0f, Ryy = 0.0f, Rzz = 0.0f, Ryz = 0.0f, Rxz = 0.0f, Rxy = 0.0f;
#if defined(__GNUC__) && !defined(__clang__) && !defined(__CUDACC__)
#pragma GCC unroll 16
#endif
    for (int l = 0; l < L; l++)
    {
        const float p = rec.M(l, 0), sw = rec.M(l, 1), tau = rec.M(l, 2);
        const float q = v.dt / tau;
        const float a = (2.0f - q) / (2.0f + q);
        const float b = 2.0f * q / (2.0f + q);
        const float Cl = C * p;
        const float Ml = mu * sw;
        const float Ll = Cl - 2.0f * Ml;
        float r0 = rec.G(l, 0);
        float rn = a * r0 - b * (Cl * d.ex + Ll * (d.ey + d.ez));
        rec.G(l, 0) = rn;
        Rxx += (rn + r0) * 0.5f;
        r0 = rec.G(l, 1);
        rn = a * r0 - b * (Cl * d.ey + Ll * (d.ex + d.ez));
        rec.G(l, 1) = rn;
        Ryy += (rn + r0) * 0.5f;
        r0 = rec.G(l, 2);
        rn = a * r0 - b * (Cl * d.ez + Ll * (d.ex + d.ey));
        rec.G(l, 2) = rn;
        Rzz += (rn + r0) * 0.5f;
        r0 = rec.G(l, 3);
        rn = a * r0 - b * Ml * (d.c1 + d.c2);
        rec.G(l, 3) = rn;
        Ryz += (rn + r0) * 0.5f;
        r0 = rec.G(l, 4);
        rn = a * r0 - b * Ml * (d.b1 + d.b2);
        rec.G(l, 4) = rn;
        Rxz += (rn + r0) * 0.5f;
        r0 = rec.G(l, 5);
        rn = a * r0 - b * Ml * (d.a1 + d.a2);
        rec.G(l, 5) = rn;
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
    const float txz0 = f.txz[i], tyz0 = f.tyz[i];
    float txz = fd::PickBits(bFull, txz0 + (mr * (d.b1 + d.b2) + Rxz), txz0);
    float tyz = fd::PickBits(bFull, tyz0 + (mr * (d.c1 + d.c2) + Ryz), tyz0);
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

// The stencil of derivative j of an axis group (the order of VelDerivs and
// StrainDerivs): in the velocity step the normal stress of the axis is the
// D- one (x: Txx, y: Tyy, z: Tzz), in the stress step the strain (j = 0)
// is D+ and the two shear halves are D-.
ONDEX_HD int DerivStencil(bool bTau, int axis, int j)
{
    if (bTau)
        return j == 0 ? fd::kPlus : fd::kMinus;
    return j == axis ? fd::kMinus : fd::kPlus;
}

// Everything one half step of a cell may need: fields, absorbing boundary,
// surface switch, ramp, damping and mechanisms. Plain pointers and
// integers, so the record can be handed to a device kernel as is.
struct ElaStep
{
    ElaFields f;
    fd::SlabGeom g;
    bool bPML;
    fd::PmlProfiles prof;
    // This half step's memory arrays, [axis][derivative of the axis group]
    // [low, high side].
    float* psi[3][3][2];
    const float* taper;
    int nTaper;
    bool bSuppressSV;
    float fS;          // S-wave ramp; 1 when SuppressSV is off
    const float* q;    // per-step damping, null without (or with mechanisms)
    ViscoView visco;
};

ONDEX_HD int64_t ElaIndex(const ElaFields& f, int x, int y, int z)
{
    return (int64_t)z * f.sz + (int64_t)y * f.sy + x;
}

// The PML of one axis on the three derivatives along it; k holds the
// cell's low and high slab indices of that axis.
ONDEX_HD void AxisPml(const ElaStep& s, bool bTau, int axis, const int64_t k[2], float& d0, float& d1, float& d2)
{
    d0 = fd::PmlAxis(d0, s.psi[axis][0], s.prof, axis, DerivStencil(bTau, axis, 0), k);
    d1 = fd::PmlAxis(d1, s.psi[axis][1], s.prof, axis, DerivStencil(bTau, axis, 1), k);
    d2 = fd::PmlAxis(d2, s.psi[axis][2], s.prof, axis, DerivStencil(bTau, axis, 2), k);
}

// The velocity step of one cell with every test made here: slab
// membership, sponge distance and surface.
ONDEX_HD void ElaCellU(const ElaStep& s, int x, int y, int z)
{
    const int64_t i = ElaIndex(s.f, x, y, z);
    VelDerivs d;
    ElaVelDerivs(s.f, i, d);
    const bool bFull = FullBelow(s.f, i, s.bSuppressSV);
    if (s.bPML)
    {
        const fd::CellSlabs c = fd::SlabsOfCell(s.g, x, y, z);
        AxisPml(s, false, fd::kAxisZ, c.k[fd::kAxisZ], d.zTxz, d.zTyz, d.zTzz);
        AxisPml(s, false, fd::kAxisY, c.k[fd::kAxisY], d.yTxy, d.yTyy, d.yTyz);
        AxisPml(s, false, fd::kAxisX, c.k[fd::kAxisX], d.xTxx, d.xTxy, d.xTxz);
        ElaUpdateU<false>(s.f, i, d, bFull, 1.0f);
        return;
    }
    ElaUpdateU<true>(s.f, i, d, bFull, fd::SpongeOfCell(s.g, s.taper, s.nTaper, x, y, z));
}

// The stress step of one cell, elastic or viscoelastic, with every test.
// A sponge factor of 1 leaves the bits of the form without sponge.
ONDEX_HD void ElaCellTau(const ElaStep& s, int x, int y, int z)
{
    const int64_t i = ElaIndex(s.f, x, y, z);
    StrainDerivs d;
    ElaStrainDerivs(s.f, i, d);
    const bool bFull = FullBelow(s.f, i, s.bSuppressSV);
    float t = 1.0f;
    if (s.bPML)
    {
        const fd::CellSlabs c = fd::SlabsOfCell(s.g, x, y, z);
        AxisPml(s, true, fd::kAxisZ, c.k[fd::kAxisZ], d.ez, d.b1, d.c1);
        AxisPml(s, true, fd::kAxisY, c.k[fd::kAxisY], d.ey, d.a1, d.c2);
        AxisPml(s, true, fd::kAxisX, c.k[fd::kAxisX], d.ex, d.a2, d.b2);
    }
    else
        t = fd::SpongeOfCell(s.g, s.taper, s.nTaper, x, y, z);
    if (IsViscoCell(s.visco, i))
        ViscoUpdateTau<true>(s.f, i, d, s.fS, bFull, t, s.visco, CellRecords::Of(s.visco, i));
    else if (s.q != nullptr && s.visco.L <= 0)
        ElaUpdateTau<true, true>(s.f, i, d, s.fS, bFull, t, s.q);
    else
        ElaUpdateTau<true, false>(s.f, i, d, s.fS, bFull, t, s.q);
}

} // namespace ela
