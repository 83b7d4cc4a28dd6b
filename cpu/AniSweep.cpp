// The anisotropic stress steps over a box, on the CPU.
//
// The per-cell maths lives in OrtScheme.h and AniScheme.h. As in the
// elastic sweeps, each row (fixed z and y) is cut into runs of one region
// kind: which z and y slab sides the row crosses, whether the run lies in
// the low x slab, the high x slab or neither, whether the sponge reaches it,
// and whether the row has cells directly below an empty cell. Every run is
// a straight loop over the functions the per-cell kernel calls, in the same
// order, so each cell gets the bits of OrtCellTau / AniCellTau (a PML or
// sponge factor the cell does not have would change nothing either). Rows
// where both sides of one axis reach the same cell, and rows with more
// relaxation mechanisms than the row loops have tables for, take the
// per-cell path.
//
// The 21-constant runs read their differences from rows computed once per
// row of cells (AniRowDiffs.h), kept in a ring per thread so that the next
// row of cells in y computes only the rows it does not share.
//
// This file knows nothing of the engine object.

#include "cpu/AniSweep.h"
#include "cpu/ElaSweep.h"
#include "cpu/AniRowDiffs.h"
#include "cpu/StrainRows.h"
#include "cpu/SweepRuns.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>
#include <vector>

namespace
{

using fd::R_Z;
using fd::R_Y;
using fd::X_NONE;
using fd::X_LO;
using fd::X_HI;

// One slab side as a row meets it: the memory arrays of the three plain
// derivatives and of the nine averages of its axis, the profile pairs of
// the two stencils, and the slab index off + x (off - x on the high x side).
struct RowSide
{
    float* psi[3];
    float* psiA[9];
    const float* a[2];   // [stencil]
    const float* b[2];
    int64_t off;
};

struct AniRow
{
    const ani::AniStep* s;
    int64_t base;   // index of column 0 of the row
    RowSide z, y, x;
    int mRow;       // face distance of the row without x (sponge)
    ani::rows::DiffRows d;   // 21-constant step: the row's differences
    float* buf;     // rows with mechanisms: the row buffer, nb floats a row
    int64_t nb;
};

RowSide Side(const ani::AniStep& s, int axis, int side, int64_t off)
{
    const ela::ElaStep& e = s.o.e;
    RowSide r;
    for (int j = 0; j < 3; j++)
        r.psi[j] = e.psi[axis][j][side];
    for (int j = 0; j < 9; j++)
        r.psiA[j] = s.psiAvg[axis][j][side];
    for (int st = 0; st < 2; st++)
    {
        r.a[st] = e.prof.a[axis][st][side];
        r.b[st] = e.prof.b[axis][st][side];
    }
    r.off = off;
    return r;
}

// The PML of one axis at slab index k: the strain (D+) and the two shear
// halves (D-), then the nine averages (three D+, six D-). The averages are
// indexed in a, not through a reference to its row: the vectoriser loses
// track of the latter.
template <bool bAni, int axis>
ONDEX_HD void SidePml(const RowSide& r, int64_t k, float& d0, float& d1, float& d2, ani::AvgDerivs& a)
{
    const float aP = r.a[fd::kPlus][k], bP = r.b[fd::kPlus][k], aM = r.a[fd::kMinus][k], bM = r.b[fd::kMinus][k];
    d0 = fd::Cpml(d0, r.psi[0][k], aP, bP);
    d1 = fd::Cpml(d1, r.psi[1][k], aM, bM);
    d2 = fd::Cpml(d2, r.psi[2][k], aM, bM);
    if (bAni)
#pragma GCC unroll 9
        for (int j = 0; j < 9; j++)
            a.v[axis][j] = fd::Cpml(a.v[axis][j], r.psiA[j][k], j < 3 ? aP : aM, j < 3 ? bP : bM);
}

// The stresses of a cell from the laws' full form (bFull true): below the
// surface (bSurf) the old Txz and Tyz where the cell above is empty, as
// the laws themselves would keep them; then the sponge and the store.
template <bool bSurf>
ONDEX_HD void StoreRun(const ela::ElaFields& f, int64_t i, ort::Tau6 t, float s)
{
    if (bSurf)
    {
        const bool bFull = f.b[i - f.sz] > 0.0f;
        t.xz = fd::PickBits(bFull, t.xz, f.txz[i]);
        t.yz = fd::PickBits(bFull, t.yz, f.tyz[i]);
    }
    ort::StoreTau(f, i, t, s);
}

// Rows with relaxation mechanisms go in two passes (StrainRows.h): the
// region kinds store each column's strains after the PML, for the
// 21-constant step also the 18 averaged strains at the stress nodes (from
// row kNode on, in NodeStrains order), and its sponge factor in the row
// buffer; then one loop per number of mechanisms relaxes the constants and
// updates the stresses from there.
namespace strainrows = ela::strainrows;
constexpr int kNode = strainrows::kRows, kRowsAni = kNode + 18;

template <bool bAni>
ONDEX_HD void StoreStrains(float* q, int64_t nb, int x, const ela::StrainDerivs& d, const ani::AvgDerivs& a, float t)
{
    strainrows::Store(q, nb, x, d, t);
    if (bAni)
    {
        const ani::NodeStrains n = ani::Gather(a);
        const float w[kRowsAni - kNode] = {n.nEyz,  n.nExz,  n.nExy,  n.xyE[0], n.xyE[1], n.xyE[2],
                                           n.xyEyz, n.xyExz, n.xzE[0], n.xzE[1], n.xzE[2], n.xzEyz,
                                           n.xzExy, n.yzE[0], n.yzE[1], n.yzE[2], n.yzExz,  n.yzExy};
#pragma GCC unroll 18
        for (int j = 0; j < kRowsAni - kNode; j++)
            q[(kNode + j) * nb + x] = w[j];
    }
}

ONDEX_HD ani::NodeStrains LoadNode(const float* q, int64_t nb, int x)
{
    const float* p = q + kNode * nb + x;
    ani::NodeStrains n;
    n.nEyz = p[0];
    n.nExz = p[nb];
    n.nExy = p[2 * nb];
    n.xyE[0] = p[3 * nb];
    n.xyE[1] = p[4 * nb];
    n.xyE[2] = p[5 * nb];
    n.xyEyz = p[6 * nb];
    n.xyExz = p[7 * nb];
    n.xzE[0] = p[8 * nb];
    n.xzE[1] = p[9 * nb];
    n.xzE[2] = p[10 * nb];
    n.xzEyz = p[11 * nb];
    n.xzExy = p[12 * nb];
    n.yzE[0] = p[13 * nb];
    n.yzE[1] = p[14 * nb];
    n.yzE[2] = p[15 * nb];
    n.yzExz = p[16 * nb];
    n.yzExy = p[17 * nb];
    return n;
}

// Columns xa..xb of one region kind: ZY the row's slabs, XK the x slab,
// bSurf the per-cell surface select, bSponge the sponge factor per cell;
// bBuf stores the strains for the mechanism loop instead of the stresses.
template <bool bAni, int ZY, int XK, bool bSurf, bool bSponge, bool bBuf = false>
ONDEX_ROW_CLONES void TauRun(const AniRow& r, int xa, int xb)
{
    const ani::AniStep& s = *r.s;
    const ela::ElaFields f = s.o.e.f;
    const ort::OrtCoefs c = s.o.c;
    const ani::AniCoefs c2 = s.c;
    const float fS = s.o.e.fS;
    const float* const taper = s.o.e.taper;
    const int nTaper = s.o.e.nTaper, nx = s.o.e.g.nx, mRow = r.mRow;
    const int64_t base = r.base, nb = r.nb;
    float* const buf = r.buf;
    const RowSide rz = r.z, ry = r.y, rx = r.x;
    const ort::Relax6 R = {0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
    const ani::rows::DiffRows& q = r.d;
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        ela::StrainDerivs d;
        ani::AvgDerivs a;
        if (bAni)
            ani::rows::RowDerivs(q, x, d, a);
        else
            ela::ElaStrainDerivs(f, i, d);
        if (ZY & R_Z)
            SidePml<bAni, fd::kAxisZ>(rz, rz.off + x, d.ez, d.b1, d.c1, a);
        if (ZY & R_Y)
            SidePml<bAni, fd::kAxisY>(ry, ry.off + x, d.ey, d.a1, d.c2, a);
        if (XK != X_NONE)
            SidePml<bAni, fd::kAxisX>(rx, XK == X_LO ? rx.off + x : rx.off - x, d.ex, d.a2, d.b2, a);
        const float t = bSponge ? fd::SpongeFactorRun(taper, nTaper, std::min(mRow, std::min(x, nx - 1 - x))) : 1.0f;
        if (bBuf)
            StoreStrains<bAni>(buf, nb, x, d, a, t);
        else
        {
            const ort::Ort9 k = ort::LoadOrt(c, i, fS);
            if (bAni)
                StoreRun<bSurf>(f, i, ani::AniStress(f, i, d, k, R, c2, ani::Gather(a), fS, true), t);
            else
                StoreRun<bSurf>(f, i, ort::OrtStress(f, i, d, k, R, true), t);
        }
    }
}

// Stresses with NL relaxation mechanisms in every cell of columns xa..xb,
// from the strains and factors in the row buffer; NL 0: cells without
// attenuation, on the unrelaxed constants.
template <bool bAni, int NL, bool bSurf>
ONDEX_ROW_CLONES void ViscoRun(const AniRow& r, int xa, int xb)
{
    const ani::AniStep& s = *r.s;
    const ela::ElaFields f = s.o.e.f;
    const ort::OrtCoefs c = s.o.c;
    const ani::AniCoefs c2 = s.c;
    const float fS = s.o.e.fS;
    const ela::ViscoView v = s.o.e.visco;
    const float* m[3 * NL + 1];
    float* g[6 * NL + 1];
    fd::OpaqueRecordTables<NL>(v.viscoM, v.viscoG, m, g);
    const int64_t base = r.base, nb = r.nb;
    const float* const buf = r.buf;
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        ela::StrainDerivs d;
        strainrows::Load(buf, nb, x, d);
        ort::Ort9 k = ort::LoadOrt(c, i, fS);
        ort::Relax6 R = {0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
        if constexpr (NL > 0)
            ort::OrtRelax<NL>(v, d, k, R, fd::RowRecords<NL>{m, g, i});
        const float t = strainrows::Factor(buf, nb, x);
        if (bAni)
            StoreRun<bSurf>(f, i, ani::AniStress(f, i, d, k, R, c2, LoadNode(buf, nb, x), fS, true), t);
        else
            StoreRun<bSurf>(f, i, ort::OrtStress(f, i, d, k, R, true), t);
    }
}

// The thread's ring of difference rows (21-constant step): kSlots rows of
// nx + 2 floats per group, and the row of cells it was last filled for.
struct Ring
{
    std::vector<float> buf;
    int64_t s = 0;
    int y = -1, z = -1;
};

// One row of differences of a group: the D- of the group's velocity along
// its axis, dy rows off the row of cells at base, for its columns.
ONDEX_ROW_CLONES void FillRow(const float* p, int64_t st, int64_t off, float* q, int xa, int xb)
{
#pragma omp simd
    for (int x = xa; x <= xb; x++)
        q[x] = fd::DMinus(p, off + x, st);
}

// The rows of the row of cells (y, z) at base for the columns x0..x1 (the
// same for every row of a sweep): only the newest row of each group when
// the ring holds the previous row in y, else all; then where each row lies.
void FillRows(const ela::ElaFields& f, int64_t base, int y, int z, int x0, int x1, Ring& ring,
              ani::rows::DiffRows& d)
{
    namespace rows = ani::rows;
    const float* const u[3] = {f.ux, f.uy, f.uz};
    const int64_t s[3] = {1, f.sy, f.sz};
    const bool bNext = ring.z == z && ring.y == y - 1;
    for (int g = 0; g < rows::kNumGroups; g++)
    {
        const rows::RowDef& r = rows::kRows.r[rows::kGroups.first[g]];
        for (int dy = bNext ? rows::kGroups.dyHi[g] : rows::kGroups.dyLo[g]; dy <= rows::kGroups.dyHi[g]; dy++)
        {
            float* const q = ring.buf.data() + (g * rows::kSlots + ((y + dy) & (rows::kSlots - 1))) * ring.s + 1;
            FillRow(u[r.field], s[r.axis], base + r.dz * f.sz + dy * f.sy, q, x0 + rows::kGroups.dxLo[g],
                    x1 + rows::kGroups.dxHi[g]);
        }
    }
    ring.y = y;
    ring.z = z;
    for (int k = 0; k < rows::kNumRows; k++)
    {
        const int slot = (y + rows::kRows.r[k].dy) & (rows::kSlots - 1);
        d.row[k] = ring.buf.data() + (rows::kGroups.g[k] * rows::kSlots + slot) * ring.s + 1;
    }
}

using RunFn = void (*)(const AniRow&, int, int);

// Tables by case number: ZY + 4*XK + 12*bSurf + 24*bSponge (no slab
// occurs with the sponge, so half the table is never used).
template <bool bAni, int M>
void RunCase(const AniRow& r, int a, int b)
{
    TauRun<bAni, M % 4, (M / 4) % 3, (M / 12) % 2 != 0, M / 24 != 0>(r, a, b);
}

template <bool bAni, int... Ms>
constexpr std::array<RunFn, sizeof...(Ms)> Table(std::integer_sequence<int, Ms...>)
{
    return {{&RunCase<bAni, Ms>...}};
}

const std::array<RunFn, 48> kRuns[2] = {Table<false>(std::make_integer_sequence<int, 48>()),
                                        Table<true>(std::make_integer_sequence<int, 48>())};

// The first pass of rows with mechanisms, by ZY + 4*XK + 12*bSponge.
template <bool bAni, int M>
void BufCase(const AniRow& r, int a, int b)
{
    TauRun<bAni, M % 4, (M / 4) % 3, false, M / 12 != 0, true>(r, a, b);
}

template <bool bAni, int... Ms>
constexpr std::array<RunFn, sizeof...(Ms)> BufTable(std::integer_sequence<int, Ms...>)
{
    return {{&BufCase<bAni, Ms>...}};
}

const std::array<RunFn, 24> kBufRuns[2] = {BufTable<false>(std::make_integer_sequence<int, 24>()),
                                           BufTable<true>(std::make_integer_sequence<int, 24>())};

// The second pass, by L + (kMaxRowL + 1) * bSurf (L 0: no attenuation).
template <bool bAni, int... Ls>
constexpr std::array<RunFn, 2 * sizeof...(Ls)> ViscoTable(std::integer_sequence<int, Ls...>)
{
    return {{&ViscoRun<bAni, Ls, false>..., &ViscoRun<bAni, Ls, true>...}};
}

const std::array<RunFn, 2 * (fd::kMaxRowL + 1)> kViscoRuns[2] = {
    ViscoTable<false>(std::make_integer_sequence<int, fd::kMaxRowL + 1>()),
    ViscoTable<true>(std::make_integer_sequence<int, fd::kMaxRowL + 1>())};

template <bool bAni>
void CellRow(const ani::AniStep& s, int y, int z, int x0, int x1)
{
    for (int x = x0; x <= x1; x++)
        if (bAni)
            ani::AniCellTau(s, x, y, z);
        else
            ort::OrtCellTau(s.o, x, y, z);
}

// ring: the thread's rows of differences (21-constant step).
template <bool bAni>
void Row(const ani::AniStep& s, int y, int z, int x0, int x1, Ring& ring)
{
    const ela::ElaStep& e = s.o.e;
    const fd::SlabGeom& g = e.g;
    AniRow r;
    r.s = &s;
    r.base = ela::ElaIndex(e.f, 0, y, z);
    // Mechanisms: the row loops when L is within their tables, else cell
    // by cell.
    const bool bVisco = e.visco.L > 0;
    if (bVisco)
    {
        if (e.visco.L > fd::kMaxRowL)
        {
            CellRow<bAni>(s, y, z, x0, x1);
            return;
        }
        r.nb = g.nx;
        r.buf = strainrows::ThreadBuffer((size_t)(bAni ? kRowsAni : strainrows::kRows) * g.nx);
    }
    // Once the row is known to take the runs.
    auto fill = [&]() {
        if (bAni)
            FillRows(e.f, r.base, y, z, x0, x1, ring, r.d);
    };
    const bool bSurf = !e.bSuppressSV && ela::RowUnderSurface(e.f, r.base, x0, x1);
    const std::array<RunFn, 48>& runs = kRuns[bAni ? 1 : 0];
    const std::array<RunFn, 24>& bufRuns = kBufRuns[bAni ? 1 : 0];
    // The second pass, by runs of cells with and without attenuation, while
    // the next row's records come in.
    auto relax = [&]() {
        if (!bVisco)
            return;
        strainrows::PrefetchRecords(e.visco, r.base + e.f.sy, x0, x1);
        strainrows::ForAttenuationRuns(e.visco, r.base, x0, x1, [&](int xa, int xb, bool bAtt) {
            kViscoRuns[bAni ? 1 : 0][(bAtt ? e.visco.L : 0) + (bSurf ? fd::kMaxRowL + 1 : 0)](r, xa, xb);
        });
    };
    if (!e.bPML)
    {
        r.mRow = fd::RowFaceDistance(g, y, z);
        const int nCase = bSurf ? 12 : 0;
        auto run = [&](int xa, int xb) {
            const bool bIn = fd::InSponge(std::min(r.mRow, std::min(xa, g.nx - 1 - xa)), e.nTaper);
            if (bVisco)
                bufRuns[bIn ? 12 : 0](r, xa, xb);
            else
                runs[nCase + (bIn ? 24 : 0)](r, xa, xb);
        };
        fill();
        if (fd::InSponge(r.mRow, e.nTaper))
            run(x0, x1);
        else
            fd::ForRuns(x0, x1, e.nTaper, g.nx - e.nTaper, run);
        relax();
        return;
    }
    r.mRow = 0;
    const fd::SlabRow zlo = fd::RowSlab(g, fd::kAxisZ, fd::kLo, y, z), zhi = fd::RowSlab(g, fd::kAxisZ, fd::kHi, y, z);
    const fd::SlabRow ylo = fd::RowSlab(g, fd::kAxisY, fd::kLo, y, z), yhi = fd::RowSlab(g, fd::kAxisY, fd::kHi, y, z);
    const int xLoEnd = g.W + g.h, xHiStart = g.nx - g.W - g.h;
    if ((zlo.in && zhi.in) || (ylo.in && yhi.in) || xLoEnd > xHiStart)
    {
        CellRow<bAni>(s, y, z, x0, x1);
        return;
    }
    fill();
    int nCase = bSurf ? 12 : 0;
    if (zlo.in || zhi.in)
    {
        r.z = zlo.in ? Side(s, fd::kAxisZ, fd::kLo, zlo.off) : Side(s, fd::kAxisZ, fd::kHi, zhi.off);
        nCase += R_Z;
    }
    if (ylo.in || yhi.in)
    {
        r.y = ylo.in ? Side(s, fd::kAxisY, fd::kLo, ylo.off) : Side(s, fd::kAxisY, fd::kHi, yhi.off);
        nCase += R_Y;
    }
    fd::ForRuns(x0, x1, xLoEnd, xHiStart, [&](int xa, int xb) {
        int xk = X_NONE;
        if (fd::InSlabX(g, fd::kLo, xa))
        {
            xk = X_LO;
            r.x = Side(s, fd::kAxisX, fd::kLo, fd::RowSlab(g, fd::kAxisX, fd::kLo, y, z).off);
        }
        else if (fd::InSlabX(g, fd::kHi, xa))
        {
            xk = X_HI;
            r.x = Side(s, fd::kAxisX, fd::kHi, fd::RowSlab(g, fd::kAxisX, fd::kHi, y, z).off);
        }
        if (xk != X_NONE)
        {
            const RowSide& x = r.x;
            fd::PrefetchXPiece(g, xk, y, z, xa, xb, x.psi[0], x.psi[1], x.psi[2], x.a[0], x.a[1], x.b[0], x.b[1]);
            if (bAni)
                fd::PrefetchXPiece(g, xk, y, z, xa, xb, x.psiA[0], x.psiA[1], x.psiA[2], x.psiA[3], x.psiA[4],
                                   x.psiA[5], x.psiA[6], x.psiA[7], x.psiA[8]);
        }
        if (bVisco)
            bufRuns[nCase % 4 + 4 * xk](r, xa, xb);
        else
            runs[nCase + 4 * xk](r, xa, xb);
    });
    relax();
}

// The thread's ring of difference rows (21-constant step).
template <bool bAni>
Ring MakeRing(int nx)
{
    Ring ring;
    if (bAni)
    {
        ring.s = nx + 2;
        ring.buf.resize((size_t)ani::rows::kNumGroups * ani::rows::kSlots * ring.s);
    }
    return ring;
}

// The NaN check after each row: Txx in the middle column of the box.
struct NaNCheck
{
    const ela::ElaFields& f;
    int xm;
    bool bOn;
    NaNCheck(const ani::AniStep& s, const fd::Box& b)
        : f(s.o.e.f), xm(b.x0 + (b.x1 - b.x0) / 2), bOn(xm >= 0 && xm < s.o.e.g.nx)
    {
    }
    bool Ok(int y, int z) const { return !(bOn && fd::IsNaNBits(f.txx[ela::ElaIndex(f, xm, y, z)])); }
};

// The rows of all planes shared among the threads.
template <bool bAni>
bool Sweep(const ani::AniStep& s, const fd::Box& b)
{
    const NaNCheck check(s, b);
    const int nRowsY = std::max(0, b.y1 - b.y0 + 1);
    const int64_t nRows = (int64_t)std::max(0, b.z1 - b.z0 + 1) * nRowsY;
    unsigned char bOk = 1;   // only ever cleared
#pragma omp parallel
    {
        Ring ring = MakeRing<bAni>(s.o.e.g.nx);
#pragma omp for schedule(static)
        for (int64_t n = 0; n < nRows; n++)
        {
            const int z = b.z0 + (int)(n / nRowsY), y = b.y0 + (int)(n % nRowsY);
            Row<bAni>(s, y, z, b.x0, b.x1, ring);
            if (!check.Ok(y, z))
            {
#pragma omp atomic write
                bOk = 0;
            }
        }
    }
    return bOk != 0;
}

// Two steps in one pass: the elastic velocity rows, then these stress rows.
template <bool bAni>
bool SweepPair(const ela::ElaStep& u, const ani::AniStep& t1, const ani::AniStep& t2, const fd::Box& b,
               int nTileRows)
{
    constexpr fd::PairPlan kPlan = fd::MakePairPlan(ela::kReachU, bAni ? ani::rows::kReach : ela::kReachTau);
    const NaNCheck check(t1, b);
    return fd::SweepTwoSteps(b, nTileRows > 0 ? nTileRows : ela::kPairTileRows, kPlan, [&]() {
        return [&, ring = MakeRing<bAni>(u.g.nx)](int s, int z, int ya, int yb) mutable {
            bool bOk = true;
            ring.z = -1;   // rows left by another sub-step hold other velocities
            for (int y = ya; y < yb; y++)
                if (s % 2 == 0)
                    ela::ElaRowU(u, y, z, b.x0, b.x1);
                else
                {
                    Row<bAni>(s == 1 ? t1 : t2, y, z, b.x0, b.x1, ring);
                    bOk = bOk && check.Ok(y, z);
                }
            return bOk;
        };
    });
}

} // namespace

bool ani::OrtSweepTau(const ort::OrtStep& s, const fd::Box& b)
{
    AniStep a = {};
    a.o = s;
    return Sweep<false>(a, b);
}

bool ani::AniSweepTau(const AniStep& s, const fd::Box& b)
{
    return Sweep<true>(s, b);
}

bool ani::OrtSweepTwoSteps(const ela::ElaStep& u, const ort::OrtStep& t1, const ort::OrtStep& t2, const fd::Box& b,
                           int nTileRows)
{
    AniStep a1 = {}, a2 = {};
    a1.o = t1;
    a2.o = t2;
    return SweepPair<false>(u, a1, a2, b, nTileRows);
}

bool ani::AniSweepTwoSteps(const ela::ElaStep& u, const AniStep& t1, const AniStep& t2, const fd::Box& b,
                           int nTileRows)
{
    return SweepPair<true>(u, t1, t2, b, nTileRows);
}
