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
// AcoSweepU then AcoSweepTau, to the same bits, in one pass over memory.
// su and st differ only in their PML memory arrays.
bool AcoSweepStep(const AcoStep& su, const AcoStep& st, const Box& b);
} // namespace fd
