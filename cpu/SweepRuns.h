#pragma once
// What the CPU sweeps of every scheme share: the instruction-set clones of
// their row loops and the cutting of a row into runs of one region kind.

#include <algorithm>
#include <cstdint>

#include "cpu/FDScheme.h"
#include "cpu/PmlScheme.h"

// The row loops are built for AVX2 and for the baseline, and the loader picks
// one by the processor; the arithmetic is the same on both, as contraction
// into multiply-adds is off for the whole build.
#if defined(__GNUC__) && defined(__x86_64__) && !defined(__clang__)
#define ONDEX_ROW_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define ONDEX_ROW_CLONES
#endif

namespace fd
{
// Region kinds of a run, the indices of the sweeps' case tables: which z and
// y slabs the row crosses (bits), and which x slab the run lies in.
enum RowRegion
{
    R_Z = 1,   // the row crosses a z slab
    R_Y = 2,   // the row crosses a y slab
    X_NONE = 0,
    X_LO = 1,
    X_HI = 2
};

// The mechanism records of a row loop with NL relaxation mechanisms: one
// base pointer per constant and memory variable, each made opaque to the
// compiler, so that it sees strided accesses (which GCC vectorises) instead
// of the cell-major groups of 3L and 6L floats (which GCC 12 does not).
// m and g are local arrays of the row loop's function.
template <int NL>
ONDEX_HD void OpaqueRecordTables(const float* viscoM, float* viscoG, const float** m, float** g)
{
    for (int j = 0; j < 3 * NL; j++)
    {
        m[j] = viscoM + j;
        asm("" : "+r"(m[j]));
    }
    for (int j = 0; j < 6 * NL; j++)
    {
        g[j] = viscoG + j;
        asm("" : "+r"(g[j]));
    }
}

// The accessor of cell i through those tables (ela::CellRecords is the
// plain one of the per-cell kernels).
template <int NL>
struct RowRecords
{
    const float* const* m;   // constant k of mechanism l at m[3l + k][i * 3NL]
    float* const* g;         // memory variable k of mechanism l at g[6l + k][i * 6NL]
    int64_t i;
    ONDEX_HD float M(int l, int k) const { return m[3 * l + k][i * (3 * NL)]; }
    ONDEX_HD float& G(int l, int k) const { return g[6 * l + k][i * (6 * NL)]; }
};

// Numbers of mechanisms with row loops of their own (1 to kMaxRowL); rows
// with more go cell by cell.
constexpr int kMaxRowL = 10;

// The x slab arrays hold W floats a row, the next row's right after them:
// short pieces read between long runs of other streams. The hardware
// prefetcher loses them, and every x slab run waited on memory (they took
// about a third of the elastic step on a 250^3 grid). So the elastic and
// anisotropic sweeps ask for the pieces of the row kXAheadRows on (any of 2
// to 8 measured alike), or of the plane's last row, while they compute this
// one. The acoustic rows, with three such arrays, gained nothing from it.
constexpr int kXAheadRows = 4;

// Every cache line of a[k0..k1], into L1 (bL2 false) or L2. On x86 as an
// instruction the compiler must keep: GCC 12 deletes a loop of
// __builtin_prefetch once it is inlined here (the loop has no other effect).
template <bool bL2 = false>
inline void PrefetchPiece(const float* a, int64_t k0, int64_t k1)
{
    for (int64_t k = k0; k < k1 + 16; k += 16)
    {
#if defined(__x86_64__)
        if constexpr (bL2)
            asm volatile("prefetcht1 %0" : : "m"(a[std::min(k, k1)]));
        else
            asm volatile("prefetcht0 %0" : : "m"(a[std::min(k, k1)]));
#else
        __builtin_prefetch(a + std::min(k, k1), 1, bL2 ? 2 : 3);
#endif
    }
}

// Prefetches columns xa..xb of the x slab of a run of kind xk (X_LO or
// X_HI) in the row kXAheadRows after y, from every array p.
template <class... P>
void PrefetchXPiece(const SlabGeom& g, int xk, int y, int z, int xa, int xb, P... p)
{
    const int side = xk == X_LO ? kLo : kHi;
    const SlabRow r = RowSlab(g, kAxisX, side, std::min(y + kXAheadRows, g.ny - 1), z);
    const int64_t k0 = r.off + (r.dir > 0 ? xa : -xb), k1 = k0 + (xb - xa);
    (PrefetchPiece(p, k0, k1), ...);
}

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
} // namespace fd
