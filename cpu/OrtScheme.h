#pragma once
// Per-cell arithmetic of the orthorhombic stress step (nine stiffness
// constants, symmetry planes on the grid axes), for the CPU sweeps and a
// device kernel alike. The velocity step is the elastic one (ElaScheme.h),
// and so are the derivatives, the PML rule, the surface test and the
// mechanism records; only the constitutive law differs.

#include "cpu/ElaScheme.h"

namespace ort
{

// The nine stiffness grids, each scaled by (dt/dx)/K.
struct OrtCoefs
{
    const float* c11;
    const float* c12;
    const float* c13;
    const float* c22;
    const float* c23;
    const float* c33;
    const float* c44;
    const float* c55;
    const float* c66;
};

// The nine constants of one cell.
struct Ort9
{
    float c11, c12, c13, c22, c23, c33, c44, c55, c66;
};

// The six memory sums of the mechanisms, order xx, yy, zz, yz, xz, xy.
struct Relax6
{
    float xx, yy, zz, yz, xz, xy;
};

// Constants of a cell under the S-wave ramp fS: the shear constants scale
// by fS and the six normal ones blend toward C33, so that at fS = 0 the cell
// is a fluid of modulus C33. With SuppressSV off fS is exactly 1, and the
// blend C*1 + 0*C33 leaves every finite constant's bits as they are: no
// branch, so the row loops stay vectorised.
ONDEX_HD Ort9 LoadOrt(const OrtCoefs& c, int64_t i, float fS)
{
    Ort9 k = {c.c11[i], c.c12[i], c.c13[i], c.c22[i], c.c23[i], c.c33[i], c.c44[i], c.c55[i], c.c66[i]};
    const float t = (1.0f - fS) * k.c33;
    k.c44 = k.c44 * fS;
    k.c55 = k.c55 * fS;
    k.c66 = k.c66 * fS;
    k.c11 = k.c11 * fS + t;
    k.c12 = k.c12 * fS + t;
    k.c13 = k.c13 * fS + t;
    k.c22 = k.c22 * fS + t;
    k.c23 = k.c23 * fS + t;
    k.c33 = k.c33 * fS + t;
    return k;
}

// The mechanism loop of a cell on the nine constants and the nine plain
// derivatives: advances the memory variables, leaves their sums in R and
// replaces the constants by the relaxed ones (shear first, then the
// off-diagonal normal ones from the already relaxed shear constants).
// NL > 0 fixes the number of mechanisms at compile time, and Rec says where
// the records are (as for ela::ViscoUpdateTau).
template <int NL = 0, class Rec = ela::CellRecords>
ONDEX_HD void OrtRelax(const ela::ViscoView& v, const ela::StrainDerivs& d, Ort9& k, Relax6& R, const Rec& rec)
{
    const int L = NL > 0 ? NL : v.L;
    float sumP = 1.0f, sumS = 1.0f;
    R = {0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
    const float sa = d.a1 + d.a2, sb = d.b1 + d.b2, sc = d.c1 + d.c2;
#if defined(__GNUC__) && !defined(__clang__) && !defined(__CUDACC__)
#pragma GCC unroll 16
#endif
    for (int l = 0; l < L; l++)
    {
        const float p = rec.M(l, 0), s = rec.M(l, 1), tau = rec.M(l, 2);
        const float q = v.dt / tau;
        const float a = (2.0f - q) / (2.0f + q);
        const float b = 2.0f * q / (2.0f + q);
        const float m11 = k.c11 * p, m22 = k.c22 * p, m33 = k.c33 * p;
        const float m12 = p * (k.c12 + 2.0f * k.c66) - 2.0f * s * k.c66;
        const float m13 = p * (k.c13 + 2.0f * k.c55) - 2.0f * s * k.c55;
        const float m23 = p * (k.c23 + 2.0f * k.c44) - 2.0f * s * k.c44;
        const float m44 = k.c44 * s, m55 = k.c55 * s, m66 = k.c66 * s;
        float r0 = rec.G(l, 0);
        float rn = a * r0 - b * (m11 * d.ex + m12 * d.ey + m13 * d.ez);
        rec.G(l, 0) = rn;
        R.xx += (rn + r0) * 0.5f;
        r0 = rec.G(l, 1);
        rn = a * r0 - b * (m12 * d.ex + m22 * d.ey + m23 * d.ez);
        rec.G(l, 1) = rn;
        R.yy += (rn + r0) * 0.5f;
        r0 = rec.G(l, 2);
        rn = a * r0 - b * (m13 * d.ex + m23 * d.ey + m33 * d.ez);
        rec.G(l, 2) = rn;
        R.zz += (rn + r0) * 0.5f;
        r0 = rec.G(l, 3);
        rn = a * r0 - b * m44 * sc;
        rec.G(l, 3) = rn;
        R.yz += (rn + r0) * 0.5f;
        r0 = rec.G(l, 4);
        rn = a * r0 - b * m55 * sb;
        rec.G(l, 4) = rn;
        R.xz += (rn + r0) * 0.5f;
        r0 = rec.G(l, 5);
        rn = a * r0 - b * m66 * sa;
        rec.G(l, 5) = rn;
        R.xy += (rn + r0) * 0.5f;
        sumP += p;
        sumS += s;
    }
    k.c11 = k.c11 * sumP;
    k.c22 = k.c22 * sumP;
    k.c33 = k.c33 * sumP;
    k.c44 = k.c44 * sumS;
    k.c55 = k.c55 * sumS;
    k.c66 = k.c66 * sumS;
    k.c12 = (k.c12 + 2.0f * k.c66) * sumP - 2.0f * sumS * k.c66;
    k.c13 = (k.c13 + 2.0f * k.c55) * sumP - 2.0f * sumS * k.c55;
    k.c23 = (k.c23 + 2.0f * k.c44) * sumP - 2.0f * sumS * k.c44;
}

// The six new stresses of a cell before the sponge: the orthorhombic law
// plus the memory sums (all 0 on the elastic path, which leaves the sums'
// values unchanged). bFull false keeps Txz and Tyz (below the surface).
struct Tau6
{
    float xx, yy, zz, xy, xz, yz;
};

ONDEX_HD Tau6 OrtStress(const ela::ElaFields& f, int64_t i, const ela::StrainDerivs& d, const Ort9& k,
                        const Relax6& R, bool bFull)
{
    Tau6 t;
    t.xx = f.txx[i] + (k.c11 * d.ex + k.c12 * d.ey + k.c13 * d.ez + R.xx);
    t.yy = f.tyy[i] + (k.c12 * d.ex + k.c22 * d.ey + k.c23 * d.ez + R.yy);
    t.zz = f.tzz[i] + (k.c13 * d.ex + k.c23 * d.ey + k.c33 * d.ez + R.zz);
    t.xy = f.txy[i] + (k.c66 * (d.a1 + d.a2) + R.xy);
    const float txz0 = f.txz[i], tyz0 = f.tyz[i];
    const float txz1 = txz0 + (k.c55 * (d.b1 + d.b2) + R.xz);
    const float tyz1 = tyz0 + (k.c44 * (d.c1 + d.c2) + R.yz);
    t.xz = bFull ? txz1 : txz0;
    t.yz = bFull ? tyz1 : tyz0;
    return t;
}

// Sponge factor s on the six stresses (1 leaves the bits), then store.
ONDEX_HD void StoreTau(const ela::ElaFields& f, int64_t i, Tau6 t, float s)
{
    f.txx[i] = t.xx * s;
    f.tyy[i] = t.yy * s;
    f.tzz[i] = t.zz * s;
    f.txy[i] = t.xy * s;
    f.txz[i] = t.xz * s;
    f.tyz[i] = t.yz * s;
}

// Everything the orthorhombic stress step of a cell needs: the elastic
// record (fields, slabs, the nine plain memory arrays of the stress step,
// sponge, ramp, mechanisms; its c and m grids are not read) and the nine
// constants.
struct OrtStep
{
    ela::ElaStep e;
    OrtCoefs c;
};

// The PML on the nine plain derivatives (z, y, x slabs in turn), or the
// sponge factor of the cell; returns the factor (1 with PML).
ONDEX_HD float PlainPml(const ela::ElaStep& s, int x, int y, int z, ela::StrainDerivs& d, fd::CellSlabs& c)
{
    if (!s.bPML)
        return fd::SpongeOfCell(s.g, s.taper, s.nTaper, x, y, z);
    c = fd::SlabsOfCell(s.g, x, y, z);
    ela::AxisPml(s, true, fd::kAxisZ, c.k[fd::kAxisZ], d.ez, d.b1, d.c1);
    ela::AxisPml(s, true, fd::kAxisY, c.k[fd::kAxisY], d.ey, d.a1, d.c2);
    ela::AxisPml(s, true, fd::kAxisX, c.k[fd::kAxisX], d.ex, d.a2, d.b2);
    return 1.0f;
}

// The stress step of one cell with every test made here.
ONDEX_HD void OrtCellTau(const OrtStep& s, int x, int y, int z)
{
    const ela::ElaStep& e = s.e;
    const int64_t i = ela::ElaIndex(e.f, x, y, z);
    ela::StrainDerivs d;
    ela::ElaStrainDerivs(e.f, i, d);
    const bool bFull = ela::FullBelow(e.f, i, e.bSuppressSV);
    fd::CellSlabs c;
    const float t = PlainPml(e, x, y, z, d, c);
    Ort9 k = LoadOrt(s.c, i, e.fS);
    Relax6 R = {0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
    if (ela::IsViscoCell(e.visco, i))
        OrtRelax(e.visco, d, k, R, ela::CellRecords::Of(e.visco, i));
    StoreTau(e.f, i, OrtStress(e.f, i, d, k, R, bFull), t);
}

} // namespace ort
