#pragma once
// The elastic half steps of the CPU engine over an inclusive box of cells
// (already clamped clear of the halo). The record carries the memory arrays
// of the half step it is handed to.

#include "cpu/ElaScheme.h"

namespace ela
{
void ElaSweepU(const ElaStep& s, const fd::Box& b);
void ElaSweepTau(const ElaStep& s, const fd::Box& b);
} // namespace ela
