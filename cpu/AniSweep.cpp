// The anisotropic stress steps over a box, on the CPU.
//
// Every cell goes through the per-cell functions of OrtScheme.h and
// AniScheme.h. Cells that need no test (outside every PML slab and sponge
// strip, without relaxation mechanisms) take a straight vectorisable loop
// over the same functions in the same order; a PML or sponge factor of 1
// would leave the same bits, so both roads agree bit for bit. All other
// cells take the full per-cell function.

#include "cpu/AniSweep.h"
#include "cpu/SweepRuns.h"

#include <algorithm>

namespace
{

// Interior run of the orthorhombic step: no slab, no sponge, no mechanisms.
template <bool bSurf>
ONDEX_ROW_CLONES void OrtRun(const ort::OrtStep& s, int64_t base, int xa, int xb)
{
    const ela::ElaFields f = s.e.f;
    const ort::OrtCoefs c = s.c;
    const bool bSV = s.e.bSuppressSV;
    const float fS = s.e.fS;
    const ort::Relax6 R = {0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        ela::StrainDerivs d;
        ela::ElaStrainDerivs(f, i, d);
        const bool bFull = bSurf ? f.b[i - f.sz] > 0.0f : true;
        const ort::Ort9 k = ort::LoadOrt(c, i, bSV, fS);
        ort::StoreTau(f, i, ort::OrtStress(f, i, d, k, R, bFull), 1.0f);
    }
}

template <bool bSurf>
ONDEX_ROW_CLONES void AniRun(const ani::AniStep& s, int64_t base, int xa, int xb)
{
    const ela::ElaFields f = s.o.e.f;
    const ort::OrtCoefs c = s.o.c;
    const ani::AniCoefs c2 = s.c;
    const bool bSV = s.o.e.bSuppressSV;
    const float fS = s.o.e.fS;
    const ort::Relax6 R = {0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
#pragma omp simd
    for (int x = xa; x <= xb; x++)
    {
        const int64_t i = base + x;
        ela::StrainDerivs d;
        ela::ElaStrainDerivs(f, i, d);
        ani::AvgDerivs a;
        ani::AniAvgDerivs(f, i, a);
        const bool bFull = bSurf ? f.b[i - f.sz] > 0.0f : true;
        const ort::Ort9 k = ort::LoadOrt(c, i, bSV, fS);
        ort::StoreTau(f, i, ani::AniStress(f, i, d, k, R, c2, ani::Gather(a), fS, bFull), 1.0f);
    }
}

const ela::ElaStep& Base(const ort::OrtStep& s)
{
    return s.e;
}

const ela::ElaStep& Base(const ani::AniStep& s)
{
    return s.o.e;
}

void Cell(const ort::OrtStep& s, int x, int y, int z)
{
    ort::OrtCellTau(s, x, y, z);
}

void Cell(const ani::AniStep& s, int x, int y, int z)
{
    ani::AniCellTau(s, x, y, z);
}

void Run(const ort::OrtStep& s, bool bSurf, int64_t base, int xa, int xb)
{
    bSurf ? OrtRun<true>(s, base, xa, xb) : OrtRun<false>(s, base, xa, xb);
}

void Run(const ani::AniStep& s, bool bSurf, int64_t base, int xa, int xb)
{
    bSurf ? AniRun<true>(s, base, xa, xb) : AniRun<false>(s, base, xa, xb);
}

// One row: the columns of the plain interior in one run, the rest per cell.
// The interior is where no slab (PML) or strip (sponge) reaches the cell.
template <class Step>
void Row(const Step& s, int y, int z, int x0, int x1)
{
    const ela::ElaStep& e = Base(s);
    const fd::SlabGeom& g = e.g;
    int xa = x1 + 1, xb = x1;   // the interior columns, empty by default
    if (!(e.visco.L > 0 && e.visco.viscoM && e.visco.viscoG))
    {
        const int zg = z + g.nZ0;
        if (e.bPML)
        {
            const int r = g.W + g.h;   // first column, row, plane outside the low slabs
            const bool bRowFree = y >= r && g.ny - y > r && zg >= r && g.nZAll - zg > r;
            if (bRowFree)
            {
                xa = std::max(x0, r);
                xb = std::min(x1, g.nx - r - 1);
            }
        }
        else
        {
            const int mRow = std::min(std::min(y, g.ny - 1 - y), std::min(zg, g.nZAll - 1 - zg));
            if (!fd::InSponge(mRow, e.nTaper))
            {
                xa = std::max(x0, e.nTaper);
                xb = std::min(x1, g.nx - 1 - e.nTaper);
            }
        }
    }
    if (xa > xb)
    {
        xa = x1 + 1;
        xb = x1;
    }
    for (int x = x0; x < xa && x <= x1; x++)
        Cell(s, x, y, z);
    if (xa <= xb)
    {
        const int64_t base = ela::ElaIndex(e.f, 0, y, z);
        bool bSurf = false;
        if (!e.bSuppressSV)
            for (int x = xa; x <= xb && !bSurf; x++)
                bSurf = !(e.f.b[base + x - e.f.sz] > 0.0f);
        Run(s, bSurf, base, xa, xb);
    }
    for (int x = std::max(x0, xb + 1); x <= x1; x++)
        Cell(s, x, y, z);
}

// The rows of all planes shared among the threads; after each row the NaN
// check on Txx in the middle column of the box.
template <class Step>
bool Sweep(const Step& s, const fd::Box& b)
{
    const ela::ElaStep& e = Base(s);
    const int xm = b.x0 + (b.x1 - b.x0) / 2;
    const bool bCheck = xm >= 0 && xm < e.g.nx;
    const int nRowsY = std::max(0, b.y1 - b.y0 + 1);
    const int64_t nRows = (int64_t)std::max(0, b.z1 - b.z0 + 1) * nRowsY;
    unsigned char bOk = 1;   // only ever cleared
#pragma omp parallel for schedule(static)
    for (int64_t n = 0; n < nRows; n++)
    {
        const int z = b.z0 + (int)(n / nRowsY), y = b.y0 + (int)(n % nRowsY);
        Row(s, y, z, b.x0, b.x1);
        if (bCheck && fd::IsNaNBits(e.f.txx[ela::ElaIndex(e.f, xm, y, z)]))
        {
#pragma omp atomic write
            bOk = 0;
        }
    }
    return bOk != 0;
}

} // namespace

bool ani::OrtSweepTau(const ort::OrtStep& s, const fd::Box& b)
{
    return Sweep(s, b);
}

bool ani::AniSweepTau(const AniStep& s, const fd::Box& b)
{
    return Sweep(s, b);
}
