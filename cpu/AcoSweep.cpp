// The acoustic half steps over a box, on the CPU.
//
// The per-cell maths lives in AcoScheme.h. Here each row (fixed z and y) is
// cut into runs of one region kind: which of the z and y slabs the row
// crosses (data of the row, at most one side per axis), and whether the run
// lies in the low x slab, the high x slab or neither. A run is a straight
// loop over the same functions a per-cell kernel calls, in the same order,
// so the interior needs no tests per cell and vectorises, and every cell
// gets the bits of AcoCellU / AcoCellTau. Rows where both sides of an axis
// reach the same cell (grids thinner than two slabs) take the per-cell path.
//
// This file knows nothing of the engine object, so that it can be built a
// second time for another instruction set and compared bit for bit.

#include "cpu/AcoSweep.h"
#include "cpu/SweepPair.h"
#include "cpu/SweepRuns.h"

#include <algorithm>

namespace
{
using fd::R_Z;
using fd::R_Y;
using fd::X_NONE;
using fd::X_LO;
using fd::X_HI;

// The side of one axis that a row meets: memory, profile pair, and the slab
// index off + x (off - x for the high x side).
struct RowSide
{
    float* psi;
    const float* a;
    const float* b;
    int64_t off;
};

struct AcoRow
{
    fd::AcoFields f;
    int64_t base;   // index of column 0 of the row
    RowSide z, y, x;
};

RowSide Side(const fd::AcoStep& s, int axis, int stencil, int side, const fd::SlabRow& r)
{
    return {s.psi[axis][side], s.prof.a[axis][stencil][side], s.prof.b[axis][stencil][side], r.off};
}

// Velocity (bTau false) or pressure (bTau true) on columns xa..xb of a row
// with PML: ZY says which row slabs apply, XK which x slab.
template <bool bTau, int ZY, int XK>
ONDEX_ROW_CLONES void AcoRunPml(const AcoRow& r, int xa, int xb)
{
    const fd::AcoFields f = r.f;
    const int64_t base = r.base;
    const RowSide sz = r.z, sy = r.y, sx = r.x;
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        float dx, dy, dz;
        if (bTau)
            fd::AcoDivU(f, i, dx, dy, dz);
        else
            fd::AcoGradP(f, i, dx, dy, dz);
        if (ZY & R_Z)
            dz = fd::Cpml(dz, sz.psi[sz.off + x], sz.a[sz.off + x], sz.b[sz.off + x]);
        if (ZY & R_Y)
            dy = fd::Cpml(dy, sy.psi[sy.off + x], sy.a[sy.off + x], sy.b[sy.off + x]);
        if (XK != X_NONE)
        {
            const int64_t k = XK == X_LO ? sx.off + x : sx.off - x;
            dx = fd::Cpml(dx, sx.psi[k], sx.a[k], sx.b[k]);
        }
        if (bTau)
            fd::AcoUpdateP(f, i, dx, dy, dz);
        else
            fd::AcoUpdateU(f, i, dx, dy, dz);
    }
}

// Without PML: the factor of each cell from its face distance, 1 outside
// the strip (which leaves the bits of the plain update).
template <bool bTau>
ONDEX_ROW_CLONES void AcoRunSponge(const fd::AcoFields& f, int64_t base, const float* taper, int nTaper, int mRow,
                                   int nx, int xa, int xb)
{
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        const float t = fd::SpongeFactorRun(taper, nTaper, std::min(mRow, std::min(x, nx - 1 - x)));
        float dx, dy, dz;
        if (bTau)
        {
            fd::AcoDivU(f, i, dx, dy, dz);
            fd::AcoUpdatePSponge(f, i, dx, dy, dz, t);
        }
        else
        {
            fd::AcoGradP(f, i, dx, dy, dz);
            fd::AcoUpdateUSponge(f, i, dx, dy, dz, t);
        }
    }
}

template <bool bTau>
ONDEX_ROW_CLONES void AcoRunPlain(const fd::AcoFields& f, int64_t base, int xa, int xb)
{
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        float dx, dy, dz;
        if (bTau)
        {
            fd::AcoDivU(f, i, dx, dy, dz);
            fd::AcoUpdateP(f, i, dx, dy, dz);
        }
        else
        {
            fd::AcoGradP(f, i, dx, dy, dz);
            fd::AcoUpdateU(f, i, dx, dy, dz);
        }
    }
}

using RunFn = void (*)(const AcoRow&, int, int);

template <bool bTau, int ZY>
constexpr RunFn kByX[3] = {&AcoRunPml<bTau, ZY, X_NONE>, &AcoRunPml<bTau, ZY, X_LO>, &AcoRunPml<bTau, ZY, X_HI>};

// [bTau][ZY][XK]: 24 loops in all.
const RunFn* const kRuns[2][4] = {{kByX<false, 0>, kByX<false, 1>, kByX<false, 2>, kByX<false, 3>},
                                  {kByX<true, 0>, kByX<true, 1>, kByX<true, 2>, kByX<true, 3>}};

// One half step over the box of one row.
template <bool bTau>
void AcoRow1(const fd::AcoStep& s, int y, int z, int x0, int x1)
{
    const fd::SlabGeom& g = s.g;
    const int stencil = bTau ? fd::kPlus : fd::kMinus;
    const int64_t base = fd::CellIndex(g, 0, y, z);
    if (!s.bPML)
    {
        const int mRow = fd::RowFaceDistance(g, y, z);
        if (fd::InSponge(mRow, s.nTaper))
            AcoRunSponge<bTau>(s.f, base, s.taper, s.nTaper, mRow, g.nx, x0, x1);
        else
            fd::ForRuns(x0, x1, s.nTaper, g.nx - s.nTaper, [&](int xa, int xb) {
                if (fd::InSponge(std::min(xa, g.nx - 1 - xa), s.nTaper))
                    AcoRunSponge<bTau>(s.f, base, s.taper, s.nTaper, mRow, g.nx, xa, xb);
                else
                    AcoRunPlain<bTau>(s.f, base, xa, xb);
            });
        return;
    }
    const fd::SlabRow zlo = fd::RowSlab(g, fd::kAxisZ, fd::kLo, y, z), zhi = fd::RowSlab(g, fd::kAxisZ, fd::kHi, y, z);
    const fd::SlabRow ylo = fd::RowSlab(g, fd::kAxisY, fd::kLo, y, z), yhi = fd::RowSlab(g, fd::kAxisY, fd::kHi, y, z);
    const int xLoEnd = g.W + g.h, xHiStart = g.nx - g.W - g.h;   // x slabs: [h, xLoEnd), [xHiStart, nx - h)
    if ((zlo.in && zhi.in) || (ylo.in && yhi.in) || xLoEnd > xHiStart)
    {
        for (int x = x0; x <= x1; x++)
            if (bTau)
                fd::AcoCellTau(s, x, y, z);
            else
                fd::AcoCellU(s, x, y, z);
        return;
    }
    AcoRow r;
    r.f = s.f;
    r.base = base;
    int zy = 0;
    if (zlo.in || zhi.in)
    {
        r.z = zlo.in ? Side(s, fd::kAxisZ, stencil, fd::kLo, zlo) : Side(s, fd::kAxisZ, stencil, fd::kHi, zhi);
        zy |= R_Z;
    }
    if (ylo.in || yhi.in)
    {
        r.y = ylo.in ? Side(s, fd::kAxisY, stencil, fd::kLo, ylo) : Side(s, fd::kAxisY, stencil, fd::kHi, yhi);
        zy |= R_Y;
    }
    const fd::SlabRow xlo = fd::RowSlab(g, fd::kAxisX, fd::kLo, y, z), xhi = fd::RowSlab(g, fd::kAxisX, fd::kHi, y, z);
    const RunFn* runs = kRuns[bTau ? 1 : 0][zy];
    fd::ForRuns(x0, x1, xLoEnd, xHiStart, [&](int xa, int xb) {
        int xk = X_NONE;
        if (fd::InSlabX(g, fd::kLo, xa))
        {
            xk = X_LO;
            r.x = Side(s, fd::kAxisX, stencil, fd::kLo, xlo);
        }
        else if (fd::InSlabX(g, fd::kHi, xa))
        {
            xk = X_HI;
            r.x = Side(s, fd::kAxisX, stencil, fd::kHi, xhi);
        }
        runs[xk](r, xa, xb);
    });
}

// One half step over the box; bTau selects the pressure step. Returns false
// when a NaN was seen in the checked column (pressure step only). The rows
// of all planes are shared among the threads, so that a thin band of planes
// still keeps every thread busy.
template <bool bTau>
bool AcoSweep(const fd::AcoStep& s, const fd::Box& b)
{
    const int xm = b.x0 + (b.x1 - b.x0) / 2;
    const bool bCheck = bTau && xm >= 0 && xm < s.g.nx;
    const int nRowsY = std::max(0, b.y1 - b.y0 + 1);
    const int64_t nRows = (int64_t)std::max(0, b.z1 - b.z0 + 1) * nRowsY;

    // Only ever cleared, by whichever thread sees a NaN.
    unsigned char bOk = 1;
#pragma omp parallel for schedule(static)
    for (int64_t n = 0; n < nRows; n++)
    {
        const int z = b.z0 + (int)(n / nRowsY), y = b.y0 + (int)(n % nRowsY);
        AcoRow1<bTau>(s, y, z, b.x0, b.x1);
        if (bCheck && fd::IsNaNBits(s.f.p[fd::CellIndex(s.g, xm, y, z)]))
        {
#pragma omp atomic write
            bOk = 0;
        }
    }
    return bOk != 0;
}
// The velocity reads P two cells below and one above (D-), the pressure
// the velocities one below and two above (D+), along z and y alike.
constexpr fd::Reach kReachU[2] = {{2, 1}, {2, 1}}, kReachP[2] = {{1, 2}, {1, 2}};
constexpr fd::PairPlan kPlan = fd::MakePairPlan(kReachU, kReachP);
} // namespace

bool fd::AcoSweepTwoSteps(const AcoStep& su, const AcoStep& st, const Box& b, int nTileRows)
{
    const int xm = b.x0 + (b.x1 - b.x0) / 2;
    const bool bCheck = xm >= 0 && xm < st.g.nx;
    return SweepTwoSteps(b, nTileRows > 0 ? nTileRows : kPairTileRows, kPlan, [&]() {
        return [&](int s, int z, int ya, int yb) {
            bool bOk = true;
            for (int y = ya; y < yb; y++)
                if (s % 2 == 0)
                    AcoRow1<false>(su, y, z, b.x0, b.x1);
                else
                {
                    AcoRow1<true>(st, y, z, b.x0, b.x1);
                    bOk = bOk && !(bCheck && IsNaNBits(st.f.p[CellIndex(st.g, xm, y, z)]));
                }
            return bOk;
        };
    });
}

bool fd::AcoSweepU(const AcoStep& s, const Box& b)
{
    return AcoSweep<false>(s, b);
}

bool fd::AcoSweepTau(const AcoStep& s, const Box& b)
{
    return AcoSweep<true>(s, b);
}
