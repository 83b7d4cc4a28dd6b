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
} // namespace fd
