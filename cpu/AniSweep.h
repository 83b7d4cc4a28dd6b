#pragma once
// The stress steps of the two anisotropic methods on the CPU engine over an
// inclusive box of cells (already clamped clear of the halo). Each returns
// false when the NaN check saw a NaN in Txx at the middle column of a row.

#include "cpu/AniScheme.h"

class CCalc3D_OMP;

namespace ani
{
bool OrtSweepTau(const ort::OrtStep& s, const fd::Box& b);
bool AniSweepTau(const AniStep& s, const fd::Box& b);
// Two steps of ela::ElaSweepU then the stress sweep, to the same bits, in
// one pass over memory (SweepPair.h); as ela::ElaSweepTwoSteps.
bool OrtSweepTwoSteps(const ela::ElaStep& u, const ort::OrtStep& t1, const ort::OrtStep& t2, const fd::Box& b,
                      int nTileRows);
bool AniSweepTwoSteps(const ela::ElaStep& u, const AniStep& t1, const AniStep& t2, const fd::Box& b,
                      int nTileRows);

// The records of a stress step from the engine's grids and the clamped box;
// 0, or -200 with one line when a grid the step needs is missing. Defined
// with the engine's operations.
int OrtStepOf(CCalc3D_OMP& e, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1, fd::Box& b, ort::OrtStep& s);
int AniStepOf(CCalc3D_OMP& e, int iz0, int iy0, int ix0, int iz1, int iy1, int ix1, fd::Box& b, AniStep& s);
} // namespace ani
