#pragma once
// Per-cell arithmetic of the general anisotropic stress step (all 21
// stiffness constants), for the CPU sweeps and a device kernel alike.
//
// The six stresses of the staggered grid live at four different nodes: the
// normal ones at the cell (n), Txy, Txz and Tyz each at its own edge. A
// constant that couples a stress to a strain of another node needs that
// strain moved to the stress's node, which is done by averaging the
// derivative over four neighbouring indices. Positions (in cells, relative
// to the normal stresses): Ux (-1/2, 0, 0), Uy (0, -1/2, 0), Uz (0, 0, -1/2),
// Txy (-1/2, -1/2, 0), Txz (-1/2, 0, -1/2), Tyz (0, -1/2, -1/2).
//
// Four of the averages take their y offsets one cell from the centred pair
// (Exz at xy and yz, Eyz and Exy at xz): the scheme is defined that way, in
// every engine, and it is kept so that all engines agree. The terms they
// feed carry constants that vanish for a tilt in the x-z plane.
//
// The nine-constant part, the mechanisms and the ramp are those of
// OrtScheme.h; the twelve further constants enter unrelaxed, times fS.

#include "cpu/OrtScheme.h"

namespace ani
{

// The twelve constants beyond the orthorhombic nine.
struct AniCoefs
{
    const float* c14;
    const float* c15;
    const float* c16;
    const float* c24;
    const float* c25;
    const float* c26;
    const float* c34;
    const float* c35;
    const float* c36;
    const float* c45;
    const float* c46;
    const float* c56;
};

// The 27 averaged derivatives, per axis of differentiation in the order of
// the memory arrays: v[axis][3*group + k], where group 0 is the D+
// derivative of the axis and groups 1, 2 the two D- ones:
//
//   z: D+z Uz: xy, xz, yz | D-z Ux: yz, n, xy | D-z Uy: xz, xy, n
//   y: D+y Uy: xy, xz, yz | D-y Ux: n, yz, xz | D-y Uz: xz, xy, n
//   x: D+x Ux: xy, xz, yz | D-x Uy: n, yz, xz | D-x Uz: yz, n, xy
struct AvgDerivs
{
    float v[3][9];
};

// Mean of a derivative over the four index offsets pA[j] + pB[k]
// (j, k in 0, 1), summed in the order (0,0), (0,1), (1,0), (1,1).
ONDEX_HD float AvgMinus(const float* f, int64_t i, int64_t s, int64_t a0, int64_t a1, int64_t b0, int64_t b1)
{
    const float d = fd::DMinus(f, i + a0 + b0, s) + fd::DMinus(f, i + a0 + b1, s) + fd::DMinus(f, i + a1 + b0, s) +
                    fd::DMinus(f, i + a1 + b1, s);
    return 0.25f * d;
}

ONDEX_HD float AvgPlus(const float* f, int64_t i, int64_t s, int64_t a0, int64_t a1, int64_t b0, int64_t b1)
{
    const float d = fd::DPlus(f, i + a0 + b0, s) + fd::DPlus(f, i + a0 + b1, s) + fd::DPlus(f, i + a1 + b0, s) +
                    fd::DPlus(f, i + a1 + b1, s);
    return 0.25f * d;
}

// All 27 averages of a cell from the old velocities. Offsets, as pairs of
// index shifts (dz, dy, dx):
//   n : Eyz dz{0,1} dy{0,1};  Exz dz{0,1} dx{0,1};  Exy dy{0,1} dx{0,1}
//   xy: e   dy{-1,0} dx{-1,0}; Eyz dz{0,1} dx{-1,0}; Exz dz{0,1} dy{0,1}
//   xz: e   dz{-1,0} dx{-1,0}; Eyz dy{-1,0} dx{-1,0}; Exy dz{-1,0} dy{-1,0}
//   yz: e   dz{-1,0} dy{-1,0}; Exz dy{0,1} dx{0,1};  Exy dz{-1,0} dx{0,1}
ONDEX_HD void AniAvgDerivs(const ela::ElaFields& f, int64_t i, AvgDerivs& a)
{
    const int64_t X = 1, Y = f.sy, Z = f.sz;
    const float* ux = f.ux;
    const float* uy = f.uy;
    const float* uz = f.uz;
    // z axis
    a.v[fd::kAxisZ][0] = AvgPlus(uz, i, Z, -Y, 0, -X, 0);    // xy
    a.v[fd::kAxisZ][1] = AvgPlus(uz, i, Z, -Z, 0, -X, 0);    // xz
    a.v[fd::kAxisZ][2] = AvgPlus(uz, i, Z, -Z, 0, -Y, 0);    // yz
    a.v[fd::kAxisZ][3] = AvgMinus(ux, i, Z, 0, Y, 0, X);     // yz Exz
    a.v[fd::kAxisZ][4] = AvgMinus(ux, i, Z, 0, Z, 0, X);     // n Exz
    a.v[fd::kAxisZ][5] = AvgMinus(ux, i, Z, 0, Z, 0, Y);     // xy Exz
    a.v[fd::kAxisZ][6] = AvgMinus(uy, i, Z, -Y, 0, -X, 0);   // xz Eyz
    a.v[fd::kAxisZ][7] = AvgMinus(uy, i, Z, 0, Z, -X, 0);    // xy Eyz
    a.v[fd::kAxisZ][8] = AvgMinus(uy, i, Z, 0, Z, 0, Y);     // n Eyz
    // y axis
    a.v[fd::kAxisY][0] = AvgPlus(uy, i, Y, -Y, 0, -X, 0);    // xy
    a.v[fd::kAxisY][1] = AvgPlus(uy, i, Y, -Z, 0, -X, 0);    // xz
    a.v[fd::kAxisY][2] = AvgPlus(uy, i, Y, -Z, 0, -Y, 0);    // yz
    a.v[fd::kAxisY][3] = AvgMinus(ux, i, Y, 0, Y, 0, X);     // n Exy
    a.v[fd::kAxisY][4] = AvgMinus(ux, i, Y, -Z, 0, 0, X);    // yz Exy
    a.v[fd::kAxisY][5] = AvgMinus(ux, i, Y, -Z, 0, -Y, 0);   // xz Exy
    a.v[fd::kAxisY][6] = AvgMinus(uz, i, Y, -Y, 0, -X, 0);   // xz Eyz
    a.v[fd::kAxisY][7] = AvgMinus(uz, i, Y, 0, Z, -X, 0);    // xy Eyz
    a.v[fd::kAxisY][8] = AvgMinus(uz, i, Y, 0, Z, 0, Y);     // n Eyz
    // x axis
    a.v[fd::kAxisX][0] = AvgPlus(ux, i, X, -Y, 0, -X, 0);    // xy
    a.v[fd::kAxisX][1] = AvgPlus(ux, i, X, -Z, 0, -X, 0);    // xz
    a.v[fd::kAxisX][2] = AvgPlus(ux, i, X, -Z, 0, -Y, 0);    // yz
    a.v[fd::kAxisX][3] = AvgMinus(uy, i, X, 0, Y, 0, X);     // n Exy
    a.v[fd::kAxisX][4] = AvgMinus(uy, i, X, -Z, 0, 0, X);    // yz Exy
    a.v[fd::kAxisX][5] = AvgMinus(uy, i, X, -Z, 0, -Y, 0);   // xz Exy
    a.v[fd::kAxisX][6] = AvgMinus(uz, i, X, 0, Y, 0, X);     // yz Exz
    a.v[fd::kAxisX][7] = AvgMinus(uz, i, X, 0, Z, 0, X);     // n Exz
    a.v[fd::kAxisX][8] = AvgMinus(uz, i, X, 0, Z, 0, Y);     // xy Exz
}

// The shear strains and strains at the four nodes, as the stress laws read
// them: the plain ones at their own node, the sums of two averages elsewhere.
struct NodeStrains
{
    float nEyz, nExz, nExy;        // at the normal stresses
    float xyE[3], xyEyz, xyExz;    // at Txy
    float xzE[3], xzEyz, xzExy;    // at Txz
    float yzE[3], yzExz, yzExy;    // at Tyz
};

ONDEX_HD NodeStrains Gather(const AvgDerivs& a)
{
    // Indexed in a, not through references to its rows: the vectorised CPU
    // row loops lose track of the latter.
    constexpr int z = fd::kAxisZ, y = fd::kAxisY, x = fd::kAxisX;
    NodeStrains s;
    s.nEyz = a.v[z][8] + a.v[y][8];   // D-z Uy + D-y Uz
    s.nExz = a.v[z][4] + a.v[x][7];   // D-z Ux + D-x Uz
    s.nExy = a.v[y][3] + a.v[x][3];   // D-y Ux + D-x Uy
    s.xyE[0] = a.v[x][0];
    s.xyE[1] = a.v[y][0];
    s.xyE[2] = a.v[z][0];
    s.xyEyz = a.v[z][7] + a.v[y][7];
    s.xyExz = a.v[z][5] + a.v[x][8];
    s.xzE[0] = a.v[x][1];
    s.xzE[1] = a.v[y][1];
    s.xzE[2] = a.v[z][1];
    s.xzEyz = a.v[z][6] + a.v[y][6];
    s.xzExy = a.v[y][5] + a.v[x][5];
    s.yzE[0] = a.v[x][2];
    s.yzE[1] = a.v[y][2];
    s.yzE[2] = a.v[z][2];
    s.yzExz = a.v[z][3] + a.v[x][6];
    s.yzExy = a.v[y][4] + a.v[x][4];
    return s;
}

// The stress step of one cell: the elastic record, the nine constants, the
// twelve further ones and the 54 memory arrays of the averages, [axis]
// [3*group + k][low, high].
struct AniStep
{
    ort::OrtStep o;
    AniCoefs c;
    float* psiAvg[3][9][2];
};

// The PML of the nine averages of one axis, each on its own memory array,
// at the cell's own slab index whatever the offsets of the average.
ONDEX_HD void AvgAxisPml(const AniStep& s, int axis, const int64_t k[2], AvgDerivs& a)
{
    ONDEX_UNROLL
    for (int j = 0; j < 9; j++)
        a.v[axis][j] = fd::PmlAxis(a.v[axis][j], s.psiAvg[axis][j], s.o.e.prof, axis, j < 3 ? fd::kPlus : fd::kMinus,
                                   k);
}

// Stress law with the twelve coupling constants on top of the orthorhombic
// law (whose terms come first, in the same order), each coupling term
// scaled by fS.
ONDEX_HD ort::Tau6 AniStress(const ela::ElaFields& f, int64_t i, const ela::StrainDerivs& d, const ort::Ort9& k,
                             const ort::Relax6& R, const AniCoefs& c, const NodeStrains& n, float fS, bool bFull)
{
    const float c14 = c.c14[i], c15 = c.c15[i], c16 = c.c16[i], c24 = c.c24[i], c25 = c.c25[i], c26 = c.c26[i];
    const float c34 = c.c34[i], c35 = c.c35[i], c36 = c.c36[i], c45 = c.c45[i], c46 = c.c46[i], c56 = c.c56[i];
    ort::Tau6 t;
    t.xx = f.txx[i] + (k.c11 * d.ex + k.c12 * d.ey + k.c13 * d.ez + R.xx +
                       fS * (c14 * n.nEyz + c15 * n.nExz + c16 * n.nExy));
    t.yy = f.tyy[i] + (k.c12 * d.ex + k.c22 * d.ey + k.c23 * d.ez + R.yy +
                       fS * (c24 * n.nEyz + c25 * n.nExz + c26 * n.nExy));
    t.zz = f.tzz[i] + (k.c13 * d.ex + k.c23 * d.ey + k.c33 * d.ez + R.zz +
                       fS * (c34 * n.nEyz + c35 * n.nExz + c36 * n.nExy));
    t.xy = f.txy[i] + (k.c66 * (d.a1 + d.a2) + R.xy +
                       fS * (c16 * n.xyE[0] + c26 * n.xyE[1] + c36 * n.xyE[2] + c46 * n.xyEyz + c56 * n.xyExz));
    const float txz0 = f.txz[i], tyz0 = f.tyz[i];
    const float txz1 = txz0 + (k.c55 * (d.b1 + d.b2) + R.xz +
                               fS * (c15 * n.xzE[0] + c25 * n.xzE[1] + c35 * n.xzE[2] + c45 * n.xzEyz + c56 * n.xzExy));
    const float tyz1 = tyz0 + (k.c44 * (d.c1 + d.c2) + R.yz +
                               fS * (c14 * n.yzE[0] + c24 * n.yzE[1] + c34 * n.yzE[2] + c45 * n.yzExz + c46 * n.yzExy));
    t.xz = bFull ? txz1 : txz0;
    t.yz = bFull ? tyz1 : tyz0;
    return t;
}

ONDEX_HD void AniCellTau(const AniStep& s, int x, int y, int z)
{
    const ela::ElaStep& e = s.o.e;
    const int64_t i = ela::ElaIndex(e.f, x, y, z);
    ela::StrainDerivs d;
    ela::ElaStrainDerivs(e.f, i, d);
    AvgDerivs a;
    AniAvgDerivs(e.f, i, a);
    const bool bFull = ela::FullBelow(e.f, i, e.bSuppressSV);
    fd::CellSlabs c;
    const float t = ort::PlainPml(e, x, y, z, d, c);
    if (e.bPML)
        ONDEX_UNROLL
        for (int axis = fd::kAxisZ; axis >= fd::kAxisX; axis--)
            AvgAxisPml(s, axis, c.k[axis], a);
    ort::Ort9 k = ort::LoadOrt(s.o.c, i, e.fS);
    ort::Relax6 R = {0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
    if (ela::IsViscoCell(e.visco, i))
        ort::OrtRelax(e.visco, d, k, R, ela::CellRecords::Of(e.visco, i));
    ort::StoreTau(e.f, i, AniStress(e.f, i, d, k, R, s.c, Gather(a), e.fS, bFull), t);
}

} // namespace ani
