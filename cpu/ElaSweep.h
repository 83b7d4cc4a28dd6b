#pragma once
// The elastic half steps of the CPU engine over an inclusive box of cells
// (already clamped clear of the halo). The record carries the memory arrays
// of the half step it is handed to.

#include "cpu/ElaScheme.h"
#include "cpu/SweepPair.h"

class CCalc3D_OMP;

namespace ela
{
void ElaSweepU(const ElaStep& s, const fd::Box& b);
void ElaSweepTau(const ElaStep& s, const fd::Box& b);

// The velocity step reads each stress by D- or D+ along each axis: two
// cells below and two above, along z ([0]) and y ([1]); the stress step
// reads the velocities alike.
constexpr fd::Reach kReachU[2] = {{2, 2}, {2, 2}};
constexpr fd::Reach kReachTau[2] = {{2, 2}, {2, 2}};
constexpr int kPairTileRows = 16;   // nine fields and three grids a cell: half the acoustic tile
// Two steps of ElaSweepU then ElaSweepTau, to the same bits, in one pass
// over memory (SweepPair.h), in tiles of nTileRows rows (0: kPairTileRows).
// u is the velocity steps' record, t1 and t2 those of the two stress steps
// (which differ in their S-wave ramp).
void ElaSweepTwoSteps(const ElaStep& u, const ElaStep& t1, const ElaStep& t2, const fd::Box& b, int nTileRows);
// One row of the velocity step, for the anisotropic methods' pairs.
void ElaRowU(const ElaStep& s, int y, int z, int x0, int x1);

// Whether any cell of columns x0..x1 of the row at base lies directly below
// an empty cell: one pass over B of the row above. Only such rows take the
// stress and velocity loops with the per-cell surface select.
inline bool RowUnderSurface(const ElaFields& f, int64_t base, int x0, int x1)
{
    const float* const above = f.b + base - f.sz;
    int nEmpty = 0;
#pragma omp simd reduction(+ : nEmpty)
    for (int x = x0; x <= x1; x++)
        nEmpty += above[x] > 0.0f ? 0 : 1;
    return nEmpty > 0;
}

// The record of a half step from the engine's grids and the clamped box; 0,
// or -200 with one line when the grids do not fit the scheme. Defined with
// the engine's operations.
int ElaStepOf(CCalc3D_OMP& e, bool bTau, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1, fd::Box& b,
              ElaStep& s);
} // namespace ela
