// CCalc3D_OMP: the isotropic elastic and viscoelastic scheme, a leapfrog of
// the three particle velocities and the six stresses, with a PML or a
// sponge at the faces and the free surface known by its empty cells.
//
// Each row (fixed z and y) is cut into runs on which the absorbing slabs a
// cell belongs to are the same: the interior and the x slab runs at both
// ends. A run is a straight loop compiled for its case, so the interior has
// no tests per cell and vectorises. The surface test is a select inside
// the loop: both forms are computed and one is kept, which costs a read of
// the buoyancy above but no branch. Rare cases (a cell in both slabs of one
// axis, cells with relaxation mechanisms) take the per-cell function that
// makes every test itself; all paths share the arithmetic of ElaScheme.h,
// so the cuts change no bit.

#include "cpu/Calc3D_OMP.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/Output.h"
#include "cpu/ElaScheme.h"

namespace
{
using ela::ElaFields;
using ela::ElaGrid;
using ela::SlabSide;

// One row as the run loops see it. Slab index of column x: zOff + x, yOff
// + x, and xOff + x on the low x side or xOff - x on the high one.
struct ElaRow
{
    const ElaGrid* g;
    int y, z;
    int64_t base;   // index of column 0
    const SlabSide* zs;
    const SlabSide* ys;
    const SlabSide* xs;
    int64_t zOff, yOff, xOff;
    int mRow;       // face distance of the row without x (sponge)
};

// M packs the case: bit 0 z slab, bit 1 y slab, bits 2-3 x slab (0 none,
// 1 low, 2 high, 3 both: per-cell path), bit 4 surface test, bit 5 Q.
template <int M>
void VelRunPml(const ElaRow& r, int xa, int xb)
{
    constexpr bool bZ = (M & 1) != 0, bY = (M & 2) != 0, bSurf = (M & 16) != 0;
    constexpr int X = (M >> 2) & 3;
    if (X == 3)
    {
        for (int x = xa; x <= xb; x++)
            ela::ElaCellU(*r.g, x, r.y, r.z);
        return;
    }
    const ElaFields f = r.g->f;
    const int64_t base = r.base, zOff = r.zOff, yOff = r.yOff, xOff = r.xOff;
    const SlabSide zs = bZ ? *r.zs : SlabSide(), ys = bY ? *r.ys : SlabSide(), xs = X ? *r.xs : SlabSide();
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        ela::VelDerivs d;
        ela::ElaVelDerivs(f, i, d);
        if (bZ)
            ela::SlabVel(zs, zOff + x, 2, d);
        if (bY)
            ela::SlabVel(ys, yOff + x, 1, d);
        if (X == 1)
            ela::SlabVel(xs, xOff + x, 0, d);
        if (X == 2)
            ela::SlabVel(xs, xOff - x, 0, d);
        ela::ElaUpdateU<false>(f, i, d, bSurf ? ela::FullBelow(f, i, false) : true, 1.0f);
    }
}

template <int M>
void TauRunPml(const ElaRow& r, int xa, int xb)
{
    constexpr bool bZ = (M & 1) != 0, bY = (M & 2) != 0, bSurf = (M & 16) != 0, bQ = (M & 32) != 0;
    constexpr int X = (M >> 2) & 3;
    if (X == 3)
    {
        for (int x = xa; x <= xb; x++)
            ela::ElaCellTau(*r.g, x, r.y, r.z);
        return;
    }
    const ElaFields f = r.g->f;
    const float fS = r.g->fS;
    const float* pQ = r.g->q;
    const int64_t base = r.base, zOff = r.zOff, yOff = r.yOff, xOff = r.xOff;
    const SlabSide zs = bZ ? *r.zs : SlabSide(), ys = bY ? *r.ys : SlabSide(), xs = X ? *r.xs : SlabSide();
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        ela::StrainDerivs d;
        ela::ElaStrainDerivs(f, i, d);
        if (bZ)
            ela::SlabStrain(zs, zOff + x, 2, d);
        if (bY)
            ela::SlabStrain(ys, yOff + x, 1, d);
        if (X == 1)
            ela::SlabStrain(xs, xOff + x, 0, d);
        if (X == 2)
            ela::SlabStrain(xs, xOff - x, 0, d);
        ela::ElaUpdateTau<false, bQ>(f, i, d, fS, bSurf ? ela::FullBelow(f, i, false) : true, 1.0f, pQ);
    }
}

// Without PML: a run wholly inside the sponge strip or wholly outside.
// M: bit 0 sponge, bit 1 surface test, bit 2 Q.
template <int M>
void VelRunSponge(const ElaRow& r, int xa, int xb)
{
    constexpr bool bSponge = (M & 1) != 0, bSurf = (M & 2) != 0;
    const ElaFields f = r.g->f;
    const int64_t base = r.base;
    const float* taper = r.g->taper;
    const int nTaper = r.g->nTaper, mRow = r.mRow, nx = r.g->nx;
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        ela::VelDerivs d;
        ela::ElaVelDerivs(f, i, d);
        const float t = bSponge ? fd::SpongeFactor(taper, nTaper, std::min(mRow, std::min(x, nx - 1 - x))) : 1.0f;
        ela::ElaUpdateU<bSponge>(f, i, d, bSurf ? ela::FullBelow(f, i, false) : true, t);
    }
}

template <int M>
void TauRunSponge(const ElaRow& r, int xa, int xb)
{
    constexpr bool bSponge = (M & 1) != 0, bSurf = (M & 2) != 0, bQ = (M & 4) != 0;
    const ElaFields f = r.g->f;
    const float fS = r.g->fS;
    const float* pQ = r.g->q;
    const int64_t base = r.base;
    const float* taper = r.g->taper;
    const int nTaper = r.g->nTaper, mRow = r.mRow, nx = r.g->nx;
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        ela::StrainDerivs d;
        ela::ElaStrainDerivs(f, i, d);
        const float s = bSponge ? fd::SpongeFactor(taper, nTaper, std::min(mRow, std::min(x, nx - 1 - x))) : 1.0f;
        ela::ElaUpdateTau<bSponge, bQ>(f, i, d, fS, bSurf ? ela::FullBelow(f, i, false) : true, s, pQ);
    }
}

using RunFn = void (*)(const ElaRow&, int, int);

template <template <int> class F, int... Ms>
constexpr std::array<RunFn, sizeof...(Ms)> MakeTable(std::integer_sequence<int, Ms...>)
{
    return {{&F<Ms>::Run...}};
}

template <int M> struct VelPml { static void Run(const ElaRow& r, int a, int b) { VelRunPml<M>(r, a, b); } };
template <int M> struct TauPml { static void Run(const ElaRow& r, int a, int b) { TauRunPml<M>(r, a, b); } };
template <int M> struct VelSponge { static void Run(const ElaRow& r, int a, int b) { VelRunSponge<M>(r, a, b); } };
template <int M> struct TauSponge { static void Run(const ElaRow& r, int a, int b) { TauRunSponge<M>(r, a, b); } };

const std::array<RunFn, 32> kVelPml = MakeTable<VelPml>(std::make_integer_sequence<int, 32>());
const std::array<RunFn, 64> kTauPml = MakeTable<TauPml>(std::make_integer_sequence<int, 64>());
const std::array<RunFn, 4> kVelSponge = MakeTable<VelSponge>(std::make_integer_sequence<int, 4>());
const std::array<RunFn, 8> kTauSponge = MakeTable<TauSponge>(std::make_integer_sequence<int, 8>());

// Cuts xa..xb at the break columns b1, b2 (a run begins at each) and hands
// every non-empty run to fn.
template <class Fn>
void ForRuns(int xa, int xb, int b1, int b2, Fn fn)
{
    const int lo = std::min(b1, b2), hi = std::max(b1, b2);
    const int e1 = std::min(xb, lo - 1);
    if (xa <= e1)
        fn(xa, e1);
    const int s2 = std::max(xa, lo), e2 = std::min(xb, hi - 1);
    if (s2 <= e2)
        fn(s2, e2);
    const int s3 = std::max(xa, hi);
    if (s3 <= xb)
        fn(s3, xb);
}

struct Box
{
    int z0, y0, x0, z1, y1, x1;
};

// The three memory arrays and profile pairs of one slab side; bMinus tells
// for each derivative whether it is a D- (M profiles) or a D+ (P profiles).
SlabSide MakeSide(float* p0, float* p1, float* p2, const bool bMinus[3], const float* aM, const float* bM,
                  const float* aP, const float* bP)
{
    SlabSide s;
    float* psi[3] = {p0, p1, p2};
    for (int k = 0; k < 3; k++)
    {
        s.psi[k] = psi[k];
        s.a[k] = bMinus[k] ? aM : aP;
        s.b[k] = bMinus[k] ? bM : bP;
    }
    return s;
}

// The grid record of both half steps and the clamped box. Returns 0, or
// -200 with a message when the grids do not fit the scheme.
int ElaSetup(CCalc3D_OMP& e, const Box& in, ElaGrid& g, Box& box)
{
    if (!e.m_pUx || !e.m_pUy || !e.m_pUz || !e.m_pTxx || !e.m_pTyy || !e.m_pTzz || !e.m_pTxy || !e.m_pTxz ||
        !e.m_pTyz || !e.m_pVp || !e.m_pVs || !e.m_pRho)
    {
        u_Error("Error! The elastic scheme has no wave field or model grids.\n");
        return -200;
    }
    // The stencil reaches two cells out and the halo is never computed:
    // keep the box inside both, so that no read leaves the arrays.
    g.h = std::max(2, e.m_nHalo);
    box.z0 = std::max(in.z0, g.h);
    box.y0 = std::max(in.y0, g.h);
    box.x0 = std::max(in.x0, g.h);
    box.z1 = std::min(in.z1, e.m_nz - 1 - g.h);
    box.y1 = std::min(in.y1, e.m_ny - 1 - g.h);
    box.x1 = std::min(in.x1, e.m_nx - 1 - g.h);

    g.f = {e.m_pUx, e.m_pUy, e.m_pUz, e.m_pTxx, e.m_pTyy, e.m_pTzz, e.m_pTxy, e.m_pTxz, e.m_pTyz,
           e.m_pRho, e.m_pVp, e.m_pVs, (int64_t)e.m_nx, (int64_t)e.m_nx * e.m_ny};
    g.nx = e.m_nx;
    g.ny = e.m_ny;
    g.nZ0 = e.m_nZ0;
    g.nZAll = e.m_nZAll;
    g.W = e.m_nPML;
    g.bPML = e.m_bPML;
    g.taper = e.m_fTaper;
    g.nTaper = std::max(0, std::min(e.m_nTaper, (int)(sizeof(e.m_fTaper) / sizeof(e.m_fTaper[0]))));
    g.bSuppressSV = e.m_bSuppressSV;
    g.fS = e.m_bSuppressSV ? e.m_fSWave : 1.0f;
    // With mechanisms the Q grid is gone (or, if still there, not a
    // damping factor): it is used only without them.
    const int L = std::max(0, e.m_nViscoL);
    g.q = L > 0 ? nullptr : e.m_pQ;
    g.visco = {e.m_pViscoM, e.m_pViscoG, L, (float)e.m_dt};
    if (L > 0 && !(e.m_pViscoM && e.m_pViscoG))
        g.visco.L = 0;   // the mechanisms exist only with both grids

    for (auto& axis : g.u)
        for (SlabSide& s : axis)
            s = SlabSide();
    for (auto& axis : g.t)
        for (SlabSide& s : axis)
            s = SlabSide();
    if (!e.m_bPML)
        return 0;

    const size_t nx = (size_t)std::max(0, e.m_nx), ny = (size_t)std::max(0, e.m_ny);
    const size_t nz = (size_t)std::max(0, e.m_nz), W = (size_t)std::max(0, g.W);
    bool bAll = g.W > 0 && e.m_nPmlCellsX == nz * ny * W && e.m_nPmlCellsY == nz * nx * W &&
                e.m_nPmlCellsZ == ny * nx * W;
    for (int n = 0; n < CCalc3D_OMP::PSI_NAMED; n++)
        bAll = bAll && *e.PsiArray(n, nullptr) != nullptr;
    const float* prof[3][8] = {
        {e.m_pPmlAXMLo, e.m_pPmlBXMLo, e.m_pPmlAXPLo, e.m_pPmlBXPLo, e.m_pPmlAXMHi, e.m_pPmlBXMHi, e.m_pPmlAXPHi,
         e.m_pPmlBXPHi},
        {e.m_pPmlAYMLo, e.m_pPmlBYMLo, e.m_pPmlAYPLo, e.m_pPmlBYPLo, e.m_pPmlAYMHi, e.m_pPmlBYMHi, e.m_pPmlAYPHi,
         e.m_pPmlBYPHi},
        {e.m_pPmlAZMLo, e.m_pPmlBZMLo, e.m_pPmlAZPLo, e.m_pPmlBZPLo, e.m_pPmlAZMHi, e.m_pPmlBZMHi, e.m_pPmlAZPHi,
         e.m_pPmlBZPHi}};
    for (auto& axis : prof)
        for (const float* p : axis)
            bAll = bAll && p != nullptr;
    if (!bAll)
    {
        u_Error("Error! PML arrays are missing or do not fit the grid (%dx%dx%d, W=%d).\n", e.m_nx, e.m_ny, e.m_nz,
                g.W);
        return -200;
    }
    // Per axis and side: the velocity step's and the stress step's three
    // derivatives along that axis, as the memory arrays name them.
    static const bool kVelMinus[3][3] = {{true, false, false}, {false, true, false}, {false, false, true}};
    static const bool kTauMinus[3] = {false, true, true};
    float* velPsi[3][2][3] = {
        {{e.m_pPsiTxxXLo, e.m_pPsiTxyXLo, e.m_pPsiTxzXLo}, {e.m_pPsiTxxXHi, e.m_pPsiTxyXHi, e.m_pPsiTxzXHi}},
        {{e.m_pPsiTxyYLo, e.m_pPsiTyyYLo, e.m_pPsiTyzYLo}, {e.m_pPsiTxyYHi, e.m_pPsiTyyYHi, e.m_pPsiTyzYHi}},
        {{e.m_pPsiTxzZLo, e.m_pPsiTyzZLo, e.m_pPsiTzzZLo}, {e.m_pPsiTxzZHi, e.m_pPsiTyzZHi, e.m_pPsiTzzZHi}}};
    float* tauPsi[3][2][3] = {
        {{e.m_pPsiUxXLo, e.m_pPsiUyXLo, e.m_pPsiUzXLo}, {e.m_pPsiUxXHi, e.m_pPsiUyXHi, e.m_pPsiUzXHi}},
        {{e.m_pPsiUyYLo, e.m_pPsiUxYLo, e.m_pPsiUzYLo}, {e.m_pPsiUyYHi, e.m_pPsiUxYHi, e.m_pPsiUzYHi}},
        {{e.m_pPsiUzZLo, e.m_pPsiUxZLo, e.m_pPsiUyZLo}, {e.m_pPsiUzZHi, e.m_pPsiUxZHi, e.m_pPsiUyZHi}}};
    for (int a = 0; a < 3; a++)
        for (int s = 0; s < 2; s++)
        {
            const float* const* p = prof[a] + 4 * s;   // aM, bM, aP, bP of the side
            g.u[a][s] = MakeSide(velPsi[a][s][0], velPsi[a][s][1], velPsi[a][s][2], kVelMinus[a], p[0], p[1],
                                 p[2], p[3]);
            g.t[a][s] = MakeSide(tauPsi[a][s][0], tauPsi[a][s][1], tauPsi[a][s][2], kTauMinus, p[0], p[1], p[2],
                                 p[3]);
        }
    return 0;
}

// One half step over the box; bTau selects the stress step.
template <bool bTau>
void ElaSweep(const ElaGrid& g, const Box& b)
{
    const int nx = g.nx, ny = g.ny, h = g.h, W = g.W, nTaper = g.nTaper;
    const int64_t nxy = (int64_t)nx * ny;
    const bool bSurf = !g.bSuppressSV;
    const bool bQ = bTau && g.q != nullptr;
    const bool bPerCell = bTau && g.visco.L > 0;
    const int nRowsY = b.y1 - b.y0 + 1;
    const int nRows = b.z1 >= b.z0 && nRowsY > 0 ? (b.z1 - b.z0 + 1) * nRowsY : 0;

    // Rows, not planes, are shared out, so that a thin slab still keeps
    // every thread busy.
#pragma omp parallel for schedule(static)
    for (int n = 0; n < nRows; n++)
    {
        const int z = b.z0 + n / nRowsY, y = b.y0 + n % nRowsY;
        const int zg = z + g.nZ0;
        ElaRow r = {};
        r.g = &g;
        r.y = y;
        r.z = z;
        r.base = (int64_t)z * nxy + (int64_t)y * nx;
        if (bPerCell)
        {
            // Cells with mechanisms: the per-cell path throughout.
            for (int x = b.x0; x <= b.x1; x++)
                ela::ElaCellTau(g, x, y, z);
            continue;
        }
        if (g.bPML)
        {
            const SlabSide(*sides)[2] = bTau ? g.t : g.u;
            const int kZLo = zg - h, kZHi = g.nZAll - zg - h - 1, kYLo = y - h, kYHi = ny - y - h - 1;
            const bool inZLo = kZLo >= 0 && kZLo < W, inZHi = kZHi >= 0 && kZHi < W;
            const bool inYLo = kYLo >= 0 && kYLo < W, inYHi = kYHi >= 0 && kYHi < W;
            int mRow = (bSurf ? 16 : 0) | (bQ ? 32 : 0);
            if ((inZLo && inZHi) || (inYLo && inYHi))
                mRow |= 12;   // both sides of one axis: per-cell path
            if (inZLo || inZHi)
            {
                r.zs = &sides[2][inZLo ? 0 : 1];
                r.zOff = (int64_t)(inZLo ? kZLo : kZHi) * nxy + (int64_t)y * nx;
                mRow |= 1;
            }
            if (inYLo || inYHi)
            {
                r.ys = &sides[1][inYLo ? 0 : 1];
                r.yOff = ((int64_t)z * W + (inYLo ? kYLo : kYHi)) * nx;
                mRow |= 2;
            }
            const int64_t xRow = ((int64_t)z * ny + y) * W;
            // x low slab: h <= x < W + h; x high slab: nx - W - h <= x <= nx - h - 1.
            ForRuns(b.x0, b.x1, W + h, nx - W - h, [&](int xa, int xb) {
                const bool bLo = xa - h >= 0 && xa - h < W;
                const bool bHi = nx - xa - h - 1 >= 0 && nx - xa - h - 1 < W;
                int m = mRow;
                if (bLo && !bHi)
                {
                    r.xs = &sides[0][0];
                    r.xOff = xRow - h;
                    m |= 4;
                }
                else if (bHi && !bLo)
                {
                    r.xs = &sides[0][1];
                    r.xOff = xRow + nx - h - 1;
                    m |= 8;
                }
                else if (bLo && bHi)
                    m |= 12;
                if (bTau)
                    kTauPml[m](r, xa, xb);
                else
                    kVelPml[m & 31](r, xa, xb);
            });
        }
        else
        {
            r.mRow = std::max(0, std::min(std::min(y, ny - 1 - y), std::min(zg, g.nZAll - 1 - zg)));
            const int mCase = (bSurf ? 2 : 0) | (bQ ? 4 : 0);
            const std::array<RunFn, 8>& tau = kTauSponge;
            auto run = [&](int m, int xa, int xb) {
                if (bTau)
                    tau[m](r, xa, xb);
                else
                    kVelSponge[m & 3](r, xa, xb);
            };
            if (fd::InSponge(r.mRow, nTaper))
                run(mCase | 1, b.x0, b.x1);
            else
                ForRuns(b.x0, b.x1, nTaper, nx - nTaper, [&](int xa, int xb) {
                    run(mCase | (fd::InSponge(std::min(xa, nx - 1 - xa), nTaper) ? 1 : 0), xa, xb);
                });
        }
    }
}
} // namespace

int CCalc3D_OMP::PropagateElaWaveU(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    ElaGrid g;
    Box b;
    const int nResult = ElaSetup(*this, {iz0, iy0, ix0, iz1, iy1, ix1}, g, b);
    if (nResult != 0)
        return nResult;
    ElaSweep<false>(g, b);
    return 0;
}

int CCalc3D_OMP::PropagateElaWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    ElaGrid g;
    Box b;
    const int nResult = ElaSetup(*this, {iz0, iy0, ix0, iz1, iy1, ix1}, g, b);
    if (nResult != 0)
        return nResult;
    ElaSweep<true>(g, b);
    return 0;
}
