#pragma once
// What the CPU sweeps of every scheme share: the instruction-set clones of
// their row loops and the cutting of a row into runs of one region kind.

#include <algorithm>

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
