#pragma once
// The acoustic half steps written the plain way: a triple loop over the
// per-cell kernels, every boundary test made per cell. Built apart from the
// test programs with the project's default flags, so that a sweep compiled
// for another instruction set is compared against the baseline.

#include "cpu/AcoScheme.h"

void AcoRefU(const fd::AcoStep& s, const fd::Box& b);
void AcoRefTau(const fd::AcoStep& s, const fd::Box& b);
