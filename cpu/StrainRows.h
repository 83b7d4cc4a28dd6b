#pragma once
// The row buffer of the stress rows with relaxation mechanisms, which go in
// two passes: the first stores each column's nine strains after the PML and
// its sponge factor (1 with PML), the second runs the mechanism loop from
// there. Row k of the buffer holds quantity k of every column, nb floats
// apart; the 21-constant step adds its node strains from row kRows on.

#include <vector>

#include "cpu/ElaScheme.h"
#include "cpu/SweepRuns.h"

namespace ela
{
namespace strainrows
{

constexpr int kT = 9;   // the sponge factor; rows 0..8 the strains in StrainDerivs order
constexpr int kRows = 10;

ONDEX_HD void Store(float* q, int64_t nb, int x, const StrainDerivs& d, float t)
{
    q[x] = d.ex;
    q[nb + x] = d.a2;
    q[2 * nb + x] = d.b2;
    q[3 * nb + x] = d.ey;
    q[4 * nb + x] = d.a1;
    q[5 * nb + x] = d.c2;
    q[6 * nb + x] = d.ez;
    q[7 * nb + x] = d.b1;
    q[8 * nb + x] = d.c1;
    q[kT * nb + x] = t;
}

ONDEX_HD void Load(const float* q, int64_t nb, int x, StrainDerivs& d)
{
    d.ex = q[x];
    d.a2 = q[nb + x];
    d.b2 = q[2 * nb + x];
    d.ey = q[3 * nb + x];
    d.a1 = q[4 * nb + x];
    d.c2 = q[5 * nb + x];
    d.ez = q[6 * nb + x];
    d.b1 = q[7 * nb + x];
    d.c1 = q[8 * nb + x];
}

ONDEX_HD float Factor(const float* q, int64_t nb, int x)
{
    return q[kT * nb + x];
}

// The row buffer of the calling thread, at least n floats.
inline float* ThreadBuffer(size_t n)
{
    static thread_local std::vector<float> buf;
    if (buf.size() < n)
        buf.resize(n);
    return buf.data();
}

// Asks the mechanism records of columns x0..x1 of the row at base into the
// L2 cache. The records (27 floats a cell for three mechanisms) are most of
// the viscoelastic step's bytes, and the hardware prefetcher follows them
// poorly. Fetched one row ahead, the viscoelastic and orthorhombic steps
// ran 8-11% faster, the 21-constant one 2% (whole grid, one and two
// threads); with every record held in cache the elastic one with
// mechanisms runs 1.6x as fast.
inline void PrefetchRecords(const ViscoView& v, int64_t base, int x0, int x1)
{
    if (!v.viscoM || !v.viscoG)
        return;
    const int64_t m = 3 * (int64_t)v.L, g = 6 * (int64_t)v.L;
    fd::PrefetchPiece<true>(v.viscoM, (base + x0) * m, (base + x1 + 1) * m - 1);
    fd::PrefetchPiece<true>(v.viscoG, (base + x0) * g, (base + x1 + 1) * g - 1);
}

// Cuts columns x0..x1 of the row at base into runs of cells with and
// without attenuation and hands each to fn(xa, xb, bAttenuates).
template <class Fn>
void ForAttenuationRuns(const ViscoView& v, int64_t base, int x0, int x1, Fn fn)
{
    if (x0 > x1)
        return;
    // Most rows are one run (attenuation everywhere or nowhere): a counting
    // pass that vectorises finds them without the cell-by-cell walk below
    // (4% of the viscoelastic step on one thread).
    if (v.L > 0 && v.viscoM && v.viscoG)
    {
        const float* const tau0 = v.viscoM + 2;
        const int64_t n = 3 * (int64_t)v.L;
        int nAtt = 0;
#pragma omp simd reduction(+ : nAtt)
        for (int x = x0; x <= x1; x++)
            nAtt += Attenuates(tau0[(base + x) * n]) ? 1 : 0;
        if (nAtt == 0 || nAtt == x1 - x0 + 1)
        {
            fn(x0, x1, nAtt > 0);
            return;
        }
    }
    for (int xa = x0, xb; xa <= x1; xa = xb + 1)
    {
        const bool bAtt = IsViscoCell(v, base + xa);
        for (xb = xa; xb < x1 && IsViscoCell(v, base + xb + 1) == bAtt; xb++)
            ;
        fn(xa, xb, bAtt);
    }
}

} // namespace strainrows
} // namespace ela
