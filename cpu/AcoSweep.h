#pragma once
// The acoustic half steps of the CPU engine over an inclusive box of cells
// (already clamped clear of the halo). Each returns false when the pressure
// of a checked cell (the middle column of every row of the box) is a NaN;
// the velocity step never does.

#include "cpu/AcoScheme.h"

namespace fd
{
bool AcoSweepU(const AcoStep& s, const Box& b);
bool AcoSweepTau(const AcoStep& s, const Box& b);
// Two steps of AcoSweepU then AcoSweepTau, to the same bits, in one pass over
// memory, in tiles of nTileRows rows (at least 4; 0 for kPairTileRows). su
// and st differ only in their PML memory arrays.
constexpr int kPairTileRows = 32;   // the height measured fastest on 250^3 grids
bool AcoSweepTwoSteps(const AcoStep& su, const AcoStep& st, const Box& b, int nTileRows = kPairTileRows);
} // namespace fd
