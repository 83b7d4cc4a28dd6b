// CCalc3D_OMP: the acoustic scheme, a leapfrog of particle velocity and
// pressure on the staggered grid, with a PML or a sponge at the faces.
//
// Each row (fixed z and y) is cut into runs on which the set of absorbing
// slabs a cell belongs to is constant: the interior run, and the x slab runs
// at both ends. A run is a straight loop compiled for its slab set, so the
// interior needs no tests per cell and vectorises; a cell still sees exactly
// the arithmetic of the per-cell formulation, in the same order.

#include "cpu/Calc3D_OMP.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/Output.h"
#include "cpu/FDScheme.h"

// The row loops are built twice, for AVX2 and for the baseline, and the
// loader picks one by the processor. No FMA: results stay those of the
// separate multiply and add on every machine.
#if defined(__GNUC__) && defined(__x86_64__) && !defined(__clang__)
#define ONDEX_ROW_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define ONDEX_ROW_CLONES
#endif

namespace
{
enum
{
    F_ZLO = 1,
    F_ZHI = 2,
    F_YLO = 4,
    F_YHI = 8,
    F_XLO = 16,
    F_XHI = 32
};

// One PML slab as seen from a row: the slab index of column x is off + x,
// or off - x on the high x side, where the slab counts from the face inward.
struct PmlSide
{
    float* psi;
    const float* a;
    const float* b;
    int64_t off;
};

// The memory-variable update of one slab at slab index k.
static inline float SlabCpml(float d, const PmlSide& s, int64_t k)
{
    return fd::Cpml(d, s.psi[k], s.a[k], s.b[k]);
}

struct AcoRow
{
    fd::AcoFields f;
    int64_t base;     // index of column 0 of the row
    PmlSide zlo, zhi, ylo, yhi, xlo, xhi;
    // Sponge: taper table and the face distance of the row without x.
    const float* taper;
    int nTaper;
    int mRow;
    int nx;
};

// Velocity (bTau false) or pressure (bTau true) on columns xa..xb of a row,
// PML corrections for the slabs in M.
template <bool bTau, int M>
ONDEX_ROW_CLONES void AcoRunPml(const AcoRow& r, int xa, int xb)
{
    const fd::AcoFields f = r.f;
    const int64_t base = r.base;
    const PmlSide zlo = r.zlo, zhi = r.zhi, ylo = r.ylo, yhi = r.yhi, xlo = r.xlo, xhi = r.xhi;
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        float dx, dy, dz;
        if (bTau)
            fd::AcoDivU(f, i, dx, dy, dz);
        else
            fd::AcoGradP(f, i, dx, dy, dz);
        // Slab order: z low, z high, y low, y high, x low, x high.
        if (M & F_ZLO)
            dz = SlabCpml(dz, zlo, zlo.off + x);
        if (M & F_ZHI)
            dz = SlabCpml(dz, zhi, zhi.off + x);
        if (M & F_YLO)
            dy = SlabCpml(dy, ylo, ylo.off + x);
        if (M & F_YHI)
            dy = SlabCpml(dy, yhi, yhi.off + x);
        if (M & F_XLO)
            dx = SlabCpml(dx, xlo, xlo.off + x);
        if (M & F_XHI)
            dx = SlabCpml(dx, xhi, xhi.off - x);
        if (bTau)
            fd::AcoUpdateP(f, i, dx, dy, dz);
        else
            fd::AcoUpdateU(f, i, dx, dy, dz);
    }
}

// Without PML: a run either wholly inside the sponge strip or wholly outside.
template <bool bTau, bool bSponge>
ONDEX_ROW_CLONES void AcoRunSponge(const AcoRow& r, int xa, int xb)
{
    const fd::AcoFields f = r.f;
    const int64_t base = r.base;
    const float* taper = r.taper;
    const int nTaper = r.nTaper, mRow = r.mRow, nx = r.nx;
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        float dx, dy, dz;
        if (bTau)
        {
            fd::AcoDivU(f, i, dx, dy, dz);
            if (bSponge)
                fd::AcoUpdatePSponge(f, i, dx, dy, dz,
                                     fd::SpongeFactor(taper, nTaper, std::min(mRow, std::min(x, nx - 1 - x))));
            else
                fd::AcoUpdateP(f, i, dx, dy, dz);
        }
        else
        {
            fd::AcoGradP(f, i, dx, dy, dz);
            if (bSponge)
                fd::AcoUpdateUSponge(f, i, dx, dy, dz,
                                     fd::SpongeFactor(taper, nTaper, std::min(mRow, std::min(x, nx - 1 - x))));
            else
                fd::AcoUpdateU(f, i, dx, dy, dz);
        }
    }
}

using RunFn = void (*)(const AcoRow&, int, int);

template <bool bTau, int... Ms>
constexpr std::array<RunFn, sizeof...(Ms)> MakePmlTable(std::integer_sequence<int, Ms...>)
{
    return {{&AcoRunPml<bTau, Ms>...}};
}

const std::array<RunFn, 64> kPmlU = MakePmlTable<false>(std::make_integer_sequence<int, 64>());
const std::array<RunFn, 64> kPmlTau = MakePmlTable<true>(std::make_integer_sequence<int, 64>());

// Cuts xa..xb at the two break columns b1, b2 (a run begins at each) and
// hands every non-empty run to fn.
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
} // namespace

// Everything both acoustic half steps need: the clamped box, the fields and,
// with PML, checked slab arrays. Returns 0, or -200 with a message when the
// grids do not fit the scheme.
struct CCalc3D_OMP_AcoSetup
{
    int z0, y0, x0, z1, y1, x1;
    int h, W, nTaper;
    fd::AcoFields f;
};

static int AcoSetup(CCalc3D_OMP& e, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1, CCalc3D_OMP_AcoSetup& s)
{
    if (!e.m_pUx || !e.m_pUy || !e.m_pUz || !e.m_pTxx || !e.m_pVp || !e.m_pRho)
    {
        u_Error("Error! The acoustic scheme has no wave field or model grids.\n");
        return -200;
    }
    // The stencil reaches two cells out and the halo is never computed:
    // keep the box inside both, so that no read leaves the arrays.
    s.h = std::max(2, e.m_nHalo);
    s.z0 = std::max(iz0, s.h);
    s.y0 = std::max(iy0, s.h);
    s.x0 = std::max(ix0, s.h);
    s.z1 = std::min(iz1, e.m_nz - 1 - s.h);
    s.y1 = std::min(iy1, e.m_ny - 1 - s.h);
    s.x1 = std::min(ix1, e.m_nx - 1 - s.h);
    s.W = e.m_nPML;
    s.nTaper = std::max(0, std::min(e.m_nTaper, (int)(sizeof(e.m_fTaper) / sizeof(e.m_fTaper[0]))));
    s.f.ux = e.m_pUx;
    s.f.uy = e.m_pUy;
    s.f.uz = e.m_pUz;
    s.f.p = e.m_pTxx;
    s.f.b = e.m_pRho;
    s.f.c = e.m_pVp;
    s.f.sy = e.m_nx;
    s.f.sz = (int64_t)e.m_nx * e.m_ny;
    if (e.m_bPML)
    {
        const size_t nx = (size_t)std::max(0, e.m_nx), ny = (size_t)std::max(0, e.m_ny);
        const size_t nz = (size_t)std::max(0, e.m_nz);
        const size_t W = (size_t)std::max(0, s.W);
        const void* arrays[] = {e.m_pPsiUxXLo, e.m_pPsiUxXHi, e.m_pPsiTxxXLo, e.m_pPsiTxxXHi,
                                e.m_pPsiUyYLo, e.m_pPsiUyYHi, e.m_pPsiTyyYLo, e.m_pPsiTyyYHi,
                                e.m_pPsiUzZLo, e.m_pPsiUzZHi, e.m_pPsiTzzZLo, e.m_pPsiTzzZHi,
                                e.m_pPmlBXMLo, e.m_pPmlBXPHi, e.m_pPmlAXMLo, e.m_pPmlAXPHi,
                                e.m_pPmlBXPLo, e.m_pPmlBXMHi, e.m_pPmlAXPLo, e.m_pPmlAXMHi,
                                e.m_pPmlBYMLo, e.m_pPmlBYPHi, e.m_pPmlAYMLo, e.m_pPmlAYPHi,
                                e.m_pPmlBYPLo, e.m_pPmlBYMHi, e.m_pPmlAYPLo, e.m_pPmlAYMHi,
                                e.m_pPmlBZMLo, e.m_pPmlBZPHi, e.m_pPmlAZMLo, e.m_pPmlAZPHi,
                                e.m_pPmlBZPLo, e.m_pPmlBZMHi, e.m_pPmlAZPLo, e.m_pPmlAZMHi};
        bool bAll = s.W > 0;
        for (const void* p : arrays)
            bAll = bAll && p != nullptr;
        if (!bAll || e.m_nPmlCellsX != nz * ny * W || e.m_nPmlCellsY != nz * nx * W ||
            e.m_nPmlCellsZ != ny * nx * W)
        {
            u_Error("Error! PML arrays are missing or do not fit the grid (%dx%dx%d, W=%d).\n", e.m_nx, e.m_ny,
                    e.m_nz, s.W);
            return -200;
        }
    }
    return 0;
}

// One half step over the box; bTau selects the pressure step. Returns false
// when a NaN was seen in the checked column (pressure step only).
template <bool bTau>
static bool AcoSweep(CCalc3D_OMP& e, const CCalc3D_OMP_AcoSetup& s)
{
    const int nx = e.m_nx, ny = e.m_ny, h = s.h, W = s.W, nTaper = s.nTaper;
    const int nZAll = e.m_nZAll, nZ0 = e.m_nZ0;
    const bool bPML = e.m_bPML;
    const int64_t nxy = (int64_t)nx * ny;
    const int xm = s.x0 + (s.x1 - s.x0) / 2;
    const bool bCheck = bTau && xm >= 0 && xm < nx;

    // Velocity step: D- of P with the M profiles; pressure step: D+ of the
    // velocities with the P profiles.
    float* psiZLo = bTau ? e.m_pPsiUzZLo : e.m_pPsiTzzZLo;
    float* psiZHi = bTau ? e.m_pPsiUzZHi : e.m_pPsiTzzZHi;
    float* psiYLo = bTau ? e.m_pPsiUyYLo : e.m_pPsiTyyYLo;
    float* psiYHi = bTau ? e.m_pPsiUyYHi : e.m_pPsiTyyYHi;
    float* psiXLo = bTau ? e.m_pPsiUxXLo : e.m_pPsiTxxXLo;
    float* psiXHi = bTau ? e.m_pPsiUxXHi : e.m_pPsiTxxXHi;
    const float* aZLo = bTau ? e.m_pPmlAZPLo : e.m_pPmlAZMLo;
    const float* bZLo = bTau ? e.m_pPmlBZPLo : e.m_pPmlBZMLo;
    const float* aZHi = bTau ? e.m_pPmlAZPHi : e.m_pPmlAZMHi;
    const float* bZHi = bTau ? e.m_pPmlBZPHi : e.m_pPmlBZMHi;
    const float* aYLo = bTau ? e.m_pPmlAYPLo : e.m_pPmlAYMLo;
    const float* bYLo = bTau ? e.m_pPmlBYPLo : e.m_pPmlBYMLo;
    const float* aYHi = bTau ? e.m_pPmlAYPHi : e.m_pPmlAYMHi;
    const float* bYHi = bTau ? e.m_pPmlBYPHi : e.m_pPmlBYMHi;
    const float* aXLo = bTau ? e.m_pPmlAXPLo : e.m_pPmlAXMLo;
    const float* bXLo = bTau ? e.m_pPmlBXPLo : e.m_pPmlBXMLo;
    const float* aXHi = bTau ? e.m_pPmlAXPHi : e.m_pPmlAXMHi;
    const float* bXHi = bTau ? e.m_pPmlBXPHi : e.m_pPmlBXMHi;
    const std::array<RunFn, 64>& table = bTau ? kPmlTau : kPmlU;
    const float* taper = e.m_fTaper;
    const float* pCheck = e.m_pTxx;

    // Only ever cleared, by whichever thread sees a NaN.
    unsigned char bOk = 1;

#pragma omp parallel for schedule(static)
    for (int z = s.z0; z <= s.z1; z++)
    {
        const int zg = z + nZ0;
        const int kZLo = zg - h, kZHi = nZAll - zg - h - 1;
        const bool inZLo = bPML && kZLo >= 0 && kZLo < W;
        const bool inZHi = bPML && kZHi >= 0 && kZHi < W;
        AcoRow r = {};
        r.f = s.f;
        r.taper = taper;
        r.nTaper = nTaper;
        r.nx = nx;
        for (int y = s.y0; y <= s.y1; y++)
        {
            r.base = (int64_t)z * nxy + (int64_t)y * nx;
            if (bPML)
            {
                const int kYLo = y - h, kYHi = ny - y - h - 1;
                const bool inYLo = kYLo >= 0 && kYLo < W;
                const bool inYHi = kYHi >= 0 && kYHi < W;
                int mRow = 0;
                if (inZLo)
                {
                    r.zlo = {psiZLo, aZLo, bZLo, (int64_t)kZLo * nxy + (int64_t)y * nx};
                    mRow |= F_ZLO;
                }
                if (inZHi)
                {
                    r.zhi = {psiZHi, aZHi, bZHi, (int64_t)kZHi * nxy + (int64_t)y * nx};
                    mRow |= F_ZHI;
                }
                if (inYLo)
                {
                    r.ylo = {psiYLo, aYLo, bYLo, ((int64_t)z * W + kYLo) * nx};
                    mRow |= F_YLO;
                }
                if (inYHi)
                {
                    r.yhi = {psiYHi, aYHi, bYHi, ((int64_t)z * W + kYHi) * nx};
                    mRow |= F_YHI;
                }
                r.xlo = {psiXLo, aXLo, bXLo, ((int64_t)z * ny + y) * W - h};
                r.xhi = {psiXHi, aXHi, bXHi, ((int64_t)z * ny + y) * W + nx - h - 1};
                // x low slab: h <= x < W + h; x high slab: nx - W - h <= x <= nx - h - 1.
                ForRuns(s.x0, s.x1, W + h, nx - W - h, [&](int xa, int xb) {
                    int m = mRow;
                    if (xa - h >= 0 && xa - h < W)
                        m |= F_XLO;
                    if (nx - xa - h - 1 >= 0 && nx - xa - h - 1 < W)
                        m |= F_XHI;
                    table[m](r, xa, xb);
                });
            }
            else
            {
                int mRow = std::min(std::min(y, ny - 1 - y), std::min(zg, nZAll - 1 - zg));
                r.mRow = std::max(0, mRow);
                if (fd::InSponge(r.mRow, nTaper))
                    AcoRunSponge<bTau, true>(r, s.x0, s.x1);
                else
                    ForRuns(s.x0, s.x1, nTaper, nx - nTaper, [&](int xa, int xb) {
                        if (fd::InSponge(std::min(xa, nx - 1 - xa), nTaper))
                            AcoRunSponge<bTau, true>(r, xa, xb);
                        else
                            AcoRunSponge<bTau, false>(r, xa, xb);
                    });
            }
            if (bCheck && fd::IsNaNBits(pCheck[r.base + xm]))
            {
#pragma omp atomic write
                bOk = 0;
            }
        }
    }
    return bOk != 0;
}

int CCalc3D_OMP::PropagateAcoWaveU(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    CCalc3D_OMP_AcoSetup s;
    const int nResult = AcoSetup(*this, iz0, iy0, ix0, iz1, iy1, ix1, s);
    if (nResult != 0)
        return nResult;
    AcoSweep<false>(*this, s);
    return 0;
}

int CCalc3D_OMP::PropagateAcoWaveTau(int iz0, int iy0, int ix0, int iz1, int iy1, int ix1)
{
    CCalc3D_OMP_AcoSetup s;
    const int nResult = AcoSetup(*this, iz0, iy0, ix0, iz1, iy1, ix1, s);
    if (nResult != 0)
        return nResult;
    return AcoSweep<true>(*this, s) ? 0 : -150;
}
