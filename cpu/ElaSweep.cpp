// The elastic half steps over a box, on the CPU.
//
// The per-cell maths lives in ElaScheme.h. Each row (fixed z and y) is cut
// into runs of one region kind, as the acoustic sweeps do: which z and y
// slab sides the row crosses (data of the row), whether the run lies in the
// low x slab, the high x slab or neither (a template parameter), and
// whether the row has cells directly below an empty cell. That last test is
// made once per row on the buoyancy of the row above; only rows that have
// such cells take the loop with a select per cell. Every run is a straight
// loop over the functions a per-cell kernel calls, in the same order, so
// each cell gets the bits of ElaCellU / ElaCellTau. Rows where both sides of
// one axis reach the same cell, and stress rows with more relaxation
// mechanisms than the row loops have tables for, take the per-cell path.
//
// This file knows nothing of the engine object, so that it can be built a
// second time for another instruction set and compared bit for bit.

#include "cpu/ElaSweep.h"
#include "cpu/StrainRows.h"
#include "cpu/SweepRuns.h"

#include <algorithm>
#include <array>
#include <utility>

namespace
{
using ela::ElaFields;

using fd::R_Z;
using fd::R_Y;
using fd::X_NONE;
using fd::X_LO;
using fd::X_HI;

// The side of one axis that a row meets: per derivative of the axis group
// its memory array and profile pair, and the slab index off + x (off - x
// for the high x side).
struct RowSide
{
    float* psi[3];
    const float* a[3];
    const float* b[3];
    int64_t off;
};

struct ElaRow
{
    ElaFields f;
    int64_t base;   // index of column 0 of the row
    RowSide z, y, x;
    float fS;
    const float* q;
    float* buf;   // rows with mechanisms: the row buffer (StrainRows.h), nb floats a row
    int64_t nb;
};

RowSide Side(const ela::ElaStep& s, bool bTau, int axis, int side, int64_t off)
{
    RowSide r;
    for (int j = 0; j < 3; j++)
    {
        const int stencil = ela::DerivStencil(bTau, axis, j);
        r.psi[j] = s.psi[axis][j][side];
        r.a[j] = s.prof.a[axis][stencil][side];
        r.b[j] = s.prof.b[axis][stencil][side];
    }
    r.off = off;
    return r;
}

// The PML recursion of the three derivatives of one axis group at slab
// index k.
ONDEX_HD void SidePml(const RowSide& r, int64_t k, float& d0, float& d1, float& d2)
{
    d0 = fd::Cpml(d0, r.psi[0][k], r.a[0][k], r.b[0][k]);
    d1 = fd::Cpml(d1, r.psi[1][k], r.a[1][k], r.b[1][k]);
    d2 = fd::Cpml(d2, r.psi[2][k], r.a[2][k], r.b[2][k]);
}

// The surface test of a cell as a value: B of the cell above greater than
// 0 (a NaN is not).
ONDEX_HD bool Full(const float* b, int64_t i, int64_t sz)
{
    return b[i - sz] > 0.0f;
}

// Velocity step on columns xa..xb: ZY the row's slabs, XK the x slab,
// bSurf the per-cell surface select (off: every cell takes the full form).
template <int ZY, int XK, bool bSurf>
ONDEX_ROW_CLONES void VelRun(const ElaRow& r, int xa, int xb)
{
    const ElaFields f = r.f;
    const int64_t base = r.base, sz = f.sz;
    const RowSide rz = r.z, ry = r.y, rx = r.x;
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        ela::VelDerivs d;
        ela::ElaVelDerivs(f, i, d);
        if (ZY & R_Z)
            SidePml(rz, rz.off + x, d.zTxz, d.zTyz, d.zTzz);
        if (ZY & R_Y)
            SidePml(ry, ry.off + x, d.yTxy, d.yTyy, d.yTyz);
        if (XK != X_NONE)
            SidePml(rx, XK == X_LO ? rx.off + x : rx.off - x, d.xTxx, d.xTxy, d.xTxz);
        ela::ElaUpdateU<false>(f, i, d, bSurf ? Full(f.b, i, sz) : true, 1.0f);
    }
}

// The nine strain derivatives of cell i (column x) with the PML updates of
// the row's slabs: z, then y, then x, as the per-cell kernel orders them.
// A macro, not a function: GCC 12 does not vectorise the slab runs when this
// is a (forced inline) function of its own.
#define ONDEX_ROW_STRAINS(ZY, XK, f, rz, ry, rx, i, x, d)                                \
    ela::ElaStrainDerivs(f, i, d);                                                        \
    if ((ZY) & R_Z)                                                                       \
        SidePml(rz, (rz).off + (x), (d).ez, (d).b1, (d).c1);                              \
    if ((ZY) & R_Y)                                                                       \
        SidePml(ry, (ry).off + (x), (d).ey, (d).a1, (d).c2);                              \
    if ((XK) != X_NONE)                                                                   \
        SidePml(rx, (XK) == X_LO ? (rx).off + (x) : (rx).off - (x), (d).ex, (d).a2, (d).b2)

template <int ZY, int XK, bool bSurf, bool bQ>
ONDEX_ROW_CLONES void TauRun(const ElaRow& r, int xa, int xb)
{
    const ElaFields f = r.f;
    const int64_t base = r.base, sz = f.sz;
    const RowSide rz = r.z, ry = r.y, rx = r.x;
    const float fS = r.fS;
    const float* const q = r.q;
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        ela::StrainDerivs d;
        ONDEX_ROW_STRAINS(ZY, XK, f, rz, ry, rx, i, x, d);
        ela::ElaUpdateTau<false, bQ>(f, i, d, fS, bSurf ? Full(f.b, i, sz) : true, 1.0f, q);
    }
}

// Rows with relaxation mechanisms go in two passes (StrainRows.h): the
// region kinds into the row buffer, then the mechanism loop, one per number
// of mechanisms, for every region kind.
namespace rows = ela::strainrows;

template <int ZY, int XK>
ONDEX_ROW_CLONES void StrainRun(const ElaRow& r, int xa, int xb)
{
    const ElaFields f = r.f;
    const int64_t base = r.base, nb = r.nb;
    const RowSide rz = r.z, ry = r.y, rx = r.x;
    float* const buf = r.buf;
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        ela::StrainDerivs d;
        ONDEX_ROW_STRAINS(ZY, XK, f, rz, ry, rx, base + x, x, d);
        rows::Store(buf, nb, x, d, 1.0f);
    }
}
#undef ONDEX_ROW_STRAINS

// Sponge runs: the factor of each cell from its face distance, mRow being
// the distance of the row without x.
template <bool bSurf>
ONDEX_ROW_CLONES void VelRunSponge(const ElaRow& r, const float* taper, int nTaper, int mRow, int nx, int xa, int xb)
{
    const ElaFields f = r.f;
    const int64_t base = r.base, sz = f.sz;
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        const float t = fd::SpongeFactorRun(taper, nTaper, std::min(mRow, std::min(x, nx - 1 - x)));
        ela::VelDerivs d;
        ela::ElaVelDerivs(f, i, d);
        ela::ElaUpdateU<true>(f, i, d, bSurf ? Full(f.b, i, sz) : true, t);
    }
}

template <bool bSurf, bool bQ>
ONDEX_ROW_CLONES void TauRunSponge(const ElaRow& r, const float* taper, int nTaper, int mRow, int nx, int xa, int xb)
{
    const ElaFields f = r.f;
    const int64_t base = r.base, sz = f.sz;
    const float fS = r.fS;
    const float* const q = r.q;
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        const float t = fd::SpongeFactorRun(taper, nTaper, std::min(mRow, std::min(x, nx - 1 - x)));
        ela::StrainDerivs d;
        ela::ElaStrainDerivs(f, i, d);
        ela::ElaUpdateTau<true, bQ>(f, i, d, fS, bSurf ? Full(f.b, i, sz) : true, t, q);
    }
}

ONDEX_ROW_CLONES void StrainRunSponge(const ElaRow& r, const float* taper, int nTaper, int mRow, int nx, int xa, int xb)
{
    const ElaFields f = r.f;
    const int64_t base = r.base, nb = r.nb;
    float* const buf = r.buf;
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        ela::StrainDerivs d;
        ela::ElaStrainDerivs(f, base + x, d);
        rows::Store(buf, nb, x, d, fd::SpongeFactorRun(taper, nTaper, std::min(mRow, std::min(x, nx - 1 - x))));
    }
}

// Stress step with NL relaxation mechanisms in every cell of columns
// xa..xb, from the strains and factors in the row buffer; NL 0: cells
// without attenuation, the plain update (no Q damping, which relaxation
// mechanisms replace).
template <int NL, bool bSurf>
ONDEX_ROW_CLONES void ViscoRun(const ElaRow& r, const ela::ViscoView v, int xa, int xb)
{
    const float* m[3 * NL + 1];
    float* g[6 * NL + 1];
    fd::OpaqueRecordTables<NL>(v.viscoM, v.viscoG, m, g);
    const ElaFields f = r.f;
    const int64_t base = r.base, sz = f.sz, nb = r.nb;
    const float* const buf = r.buf;
    const float fS = r.fS;
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        ela::StrainDerivs d;
        rows::Load(buf, nb, x, d);
        const bool bFull = bSurf ? Full(f.b, i, sz) : true;
        if constexpr (NL > 0)
            ela::ViscoUpdateTau<true, NL>(f, i, d, fS, bFull, rows::Factor(buf, nb, x), v,
                                          fd::RowRecords<NL>{m, g, i});
        else
            ela::ElaUpdateTau<true, false>(f, i, d, fS, bFull, rows::Factor(buf, nb, x), nullptr);
    }
}

using ViscoFn = void (*)(const ElaRow&, const ela::ViscoView, int, int);
template <int... Ls>
constexpr std::array<ViscoFn, 2 * sizeof...(Ls)> ViscoTable(std::integer_sequence<int, Ls...>)
{
    return {{&ViscoRun<Ls, false>..., &ViscoRun<Ls, true>...}};
}
// [L + (kMaxL + 1) * bSurf], L 0 for cells without attenuation
constexpr int kMaxL = fd::kMaxRowL;
const std::array<ViscoFn, 2 * (kMaxL + 1)> kViscoRuns = ViscoTable(std::make_integer_sequence<int, kMaxL + 1>());

using RunFn = void (*)(const ElaRow&, int, int);
using SpongeFn = void (*)(const ElaRow&, const float*, int, int, int, int, int);

// Tables by case number: ZY + 4*XK + 12*bSurf (+ 24*bQ for the stress).
template <int M>
struct Runs
{
    static constexpr int ZY = M % 4, XK = (M / 4) % 3;
    static constexpr bool bSurf = (M / 12) % 2 != 0, bQ = M / 24 != 0;
    static void Vel(const ElaRow& r, int a, int b) { VelRun<ZY, XK, bSurf>(r, a, b); }
    static void Tau(const ElaRow& r, int a, int b) { TauRun<ZY, XK, bSurf, bQ>(r, a, b); }
};

template <int... Ms>
constexpr std::array<RunFn, sizeof...(Ms)> VelTable(std::integer_sequence<int, Ms...>)
{
    return {{&Runs<Ms>::Vel...}};
}

template <int... Ms>
constexpr std::array<RunFn, sizeof...(Ms)> TauTable(std::integer_sequence<int, Ms...>)
{
    return {{&Runs<Ms>::Tau...}};
}

const std::array<RunFn, 24> kVelRuns = VelTable(std::make_integer_sequence<int, 24>());
const std::array<RunFn, 48> kTauRuns = TauTable(std::make_integer_sequence<int, 48>());
// [ZY + 4*XK]
template <int... Ms>
constexpr std::array<RunFn, sizeof...(Ms)> StrainTable(std::integer_sequence<int, Ms...>)
{
    return {{&StrainRun<Ms % 4, Ms / 4>...}};
}
const std::array<RunFn, 12> kStrainRuns = StrainTable(std::make_integer_sequence<int, 12>());
// [bSurf + 2*bQ]
const SpongeFn kVelSponge[2] = {&VelRunSponge<false>, &VelRunSponge<true>};
const SpongeFn kTauSponge[4] = {&TauRunSponge<false, false>, &TauRunSponge<true, false>,
                                &TauRunSponge<false, true>, &TauRunSponge<true, true>};

template <bool bTau>
void CellRow(const ela::ElaStep& s, int y, int z, int x0, int x1)
{
    for (int x = x0; x <= x1; x++)
        if (bTau)
            ela::ElaCellTau(s, x, y, z);
        else
            ela::ElaCellU(s, x, y, z);
}

// The second pass of a stress row with mechanisms, by runs of cells with
// and without attenuation, while the next row's records come in.
void ViscoPass(const ela::ViscoView& v, const ElaRow& r, bool bSurf, int x0, int x1)
{
    rows::PrefetchRecords(v, r.base + r.f.sy, x0, x1);
    rows::ForAttenuationRuns(v, r.base, x0, x1, [&](int xa, int xb, bool bAtt) {
        kViscoRuns[(bAtt ? v.L : 0) + (bSurf ? kMaxL + 1 : 0)](r, v, xa, xb);
    });
}

// One half step over the box of one row. A stress row with mechanisms
// runs its region kinds into the row buffer, then the mechanism loop.
template <bool bTau>
void ElaRow1(const ela::ElaStep& s, int y, int z, int x0, int x1)
{
    const fd::SlabGeom& g = s.g;
    ElaRow r;
    r.f = s.f;
    r.base = ela::ElaIndex(s.f, 0, y, z);
    r.fS = s.fS;
    r.q = s.q;
    const bool bQ = bTau && s.q != nullptr;
    const bool bSurf = !s.bSuppressSV && RowUnderSurface(s.f, r.base, x0, x1);
    const bool bVisco = bTau && s.visco.L > 0;
    if (bVisco)
    {
        if (s.visco.L > kMaxL)
        {
            CellRow<true>(s, y, z, x0, x1);
            return;
        }
        r.nb = g.nx;
        r.buf = rows::ThreadBuffer((size_t)rows::kRows * g.nx);
    }
    if (!s.bPML)
    {
        const int mRow = fd::RowFaceDistance(g, y, z);
        const int nCase = (bSurf ? 1 : 0) + (bQ ? 2 : 0);
        auto run = [&](int xa, int xb) {
            if (bVisco)
                StrainRunSponge(r, s.taper, s.nTaper, mRow, g.nx, xa, xb);
            else if (fd::InSponge(std::min(mRow, std::min(xa, g.nx - 1 - xa)), s.nTaper))
                bTau ? kTauSponge[nCase](r, s.taper, s.nTaper, mRow, g.nx, xa, xb)
                     : kVelSponge[nCase & 1](r, s.taper, s.nTaper, mRow, g.nx, xa, xb);
            else
                bTau ? kTauRuns[12 * nCase](r, xa, xb) : kVelRuns[12 * (nCase & 1)](r, xa, xb);
        };
        if (fd::InSponge(mRow, s.nTaper) || bVisco)
            run(x0, x1);
        else
            fd::ForRuns(x0, x1, s.nTaper, g.nx - s.nTaper, run);
        if (bVisco)
            ViscoPass(s.visco, r, bSurf, x0, x1);
        return;
    }
    const fd::SlabRow zlo = fd::RowSlab(g, fd::kAxisZ, fd::kLo, y, z), zhi = fd::RowSlab(g, fd::kAxisZ, fd::kHi, y, z);
    const fd::SlabRow ylo = fd::RowSlab(g, fd::kAxisY, fd::kLo, y, z), yhi = fd::RowSlab(g, fd::kAxisY, fd::kHi, y, z);
    const int xLoEnd = g.W + g.h, xHiStart = g.nx - g.W - g.h;   // x slabs: [h, xLoEnd), [xHiStart, nx - h)
    if ((zlo.in && zhi.in) || (ylo.in && yhi.in) || xLoEnd > xHiStart)
    {
        CellRow<bTau>(s, y, z, x0, x1);
        return;
    }
    int nCase = (bSurf ? 12 : 0) + (bQ ? 24 : 0);
    if (zlo.in || zhi.in)
    {
        r.z = zlo.in ? Side(s, bTau, fd::kAxisZ, fd::kLo, zlo.off) : Side(s, bTau, fd::kAxisZ, fd::kHi, zhi.off);
        nCase += R_Z;
    }
    if (ylo.in || yhi.in)
    {
        r.y = ylo.in ? Side(s, bTau, fd::kAxisY, fd::kLo, ylo.off) : Side(s, bTau, fd::kAxisY, fd::kHi, yhi.off);
        nCase += R_Y;
    }
    fd::ForRuns(x0, x1, xLoEnd, xHiStart, [&](int xa, int xb) {
        int xk = X_NONE;
        if (fd::InSlabX(g, fd::kLo, xa))
        {
            xk = X_LO;
            r.x = Side(s, bTau, fd::kAxisX, fd::kLo, fd::RowSlab(g, fd::kAxisX, fd::kLo, y, z).off);
        }
        else if (fd::InSlabX(g, fd::kHi, xa))
        {
            xk = X_HI;
            r.x = Side(s, bTau, fd::kAxisX, fd::kHi, fd::RowSlab(g, fd::kAxisX, fd::kHi, y, z).off);
        }
        if (xk != X_NONE)
            fd::PrefetchXPiece(g, xk, y, z, xa, xb, r.x.psi[0], r.x.psi[1], r.x.psi[2], r.x.a[0], r.x.a[1], r.x.a[2],
                               r.x.b[0], r.x.b[1], r.x.b[2]);
        if (bVisco)
            kStrainRuns[nCase % 4 + 4 * xk](r, xa, xb);
        else
            bTau ? kTauRuns[nCase + 4 * xk](r, xa, xb) : kVelRuns[nCase + 4 * xk](r, xa, xb);
    });
    if (bVisco)
        ViscoPass(s.visco, r, bSurf, x0, x1);
}

// The rows of all planes are shared among the threads, so that a thin band
// of planes still keeps every thread busy.
template <bool bTau>
void ElaSweep(const ela::ElaStep& s, const fd::Box& b)
{
    const int nRowsY = std::max(0, b.y1 - b.y0 + 1);
    const int64_t nRows = (int64_t)std::max(0, b.z1 - b.z0 + 1) * nRowsY;
#pragma omp parallel for schedule(static)
    for (int64_t n = 0; n < nRows; n++)
        ElaRow1<bTau>(s, b.y0 + (int)(n % nRowsY), b.z0 + (int)(n / nRowsY), b.x0, b.x1);
}
} // namespace

void ela::ElaSweepU(const ElaStep& s, const fd::Box& b)
{
    ElaSweep<false>(s, b);
}

void ela::ElaSweepTau(const ElaStep& s, const fd::Box& b)
{
    ElaSweep<true>(s, b);
}

void ela::ElaRowU(const ElaStep& s, int y, int z, int x0, int x1)
{
    ElaRow1<false>(s, y, z, x0, x1);
}

void ela::ElaSweepTwoSteps(const ElaStep& u, const ElaStep& t1, const ElaStep& t2, const fd::Box& b, int nTileRows)
{
    constexpr fd::PairPlan kPlan = fd::MakePairPlan(kReachU, kReachTau);
    fd::SweepTwoSteps(b, nTileRows > 0 ? nTileRows : kPairTileRows, kPlan, [&]() {
        return [&](int s, int z, int ya, int yb) {
            for (int y = ya; y < yb; y++)
                if (s % 2 == 0)
                    ElaRow1<false>(u, y, z, b.x0, b.x1);
                else
                    ElaRow1<true>(s == 1 ? t1 : t2, y, z, b.x0, b.x1);
            return true;
        };
    });
}
