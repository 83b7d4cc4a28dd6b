// What the step benchmarks of the CPU engine share: grid sizes from the
// command line, an engine over a homogeneous medium prepared as a shot
// would be, and one table row per timing with the triad bandwidth measured
// beside that very timing.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bench_common.h"
#include "cpu/Calc3D_OMP.h"
#include "run/OndexApp.h"

namespace bench {

struct Shape
{
    int nx, ny, nz;
};

// Grid sizes "n" or "nxXnyXnz" from argv[1..], skipping "-flags"; false on
// a size below nMin (the caller prints its usage).
bool ParseShapes(int argc, char** argv, int nMin, std::vector<Shape>& out);

// An engine of the method app.m_Type with PML on all sides (nPML 0: the
// sponge of nTaper cells instead): geometry,
// memory, P and S velocities 2000 and 1000 m/s and density 2000 kg/m^3 in
// the model grids, the PML profiles from them, and a small random Txx (the
// pressure of the acoustic method). With nViscoL > 0, that many relaxation
// mechanisms in every cell, fitted to Q 50 at 20 Hz. The caller turns the
// velocities into its method's coefficients. Null if the grid does not fit.
std::unique_ptr<CCalc3D_OMP> MakeGridEngine(COndexApp& app, const Shape& g, int nHalo, int nPML, int nTaper,
                                            int nViscoL = 0);

// Slab cells counted once per side they lie in (a corner cell of two slabs
// twice): the cells whose derivatives carry memory arrays.
double SlabSideCells(const CCalc3D_OMP& e);

// Whether the grid has PML slabs with cells inside them (the "inner" box).
bool HasInner(const CCalc3D_OMP& e);

// Prints the table head; every row then gives the rate against the limit
// at 'bytes' per cell and against the limit at the scheme's bare 'base'
// bytes (the same when the box has no slab).
void PrintHead();
void PrintRow(const std::string& what, const std::string& box, int nThreads, const StepRate& r, double bytes,
              double base);

// The threads to time with: 1 and, on a machine with more, all.
std::vector<int> ThreadCounts();

}  // namespace bench
