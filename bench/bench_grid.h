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

// Cells of the box inside the PML slabs (of the whole grid inside its halo
// where there is none): the box of the "inner" rows.
double InnerCells(const CCalc3D_OMP& e);

// Prints the table head; every row then gives the rate against the limit
// at 'bytes' per cell and against the limit at the scheme's bare 'base'
// bytes (the same when the box has no slab).
void PrintHead();
void PrintRow(const std::string& what, const std::string& box, int nThreads, const StepRate& r, double bytes,
              double base);

// The memory traffic of a scheme's sweeps without their stencils and
// arithmetic: per sweep, nRead grids read and nUpdate grids read and
// written, cell by cell over grids of 'cells' cells, which is the byte count
// the benchmarks state (4 * (nRead + 2 * nUpdate) per sweep). Its rate is
// what the memory gives that mix of streams, the most a sweep could reach
// if its arithmetic and its neighbour reads from cache cost nothing.
struct StreamSweep
{
    int nRead, nUpdate;
    void (*run)(float* const* g, size_t i0, size_t i1);
};

// One sweep's loop: every grid streams at once, as in a real sweep.
template <int R, int W>
void StreamLoop(float* const* g, size_t i0, size_t i1)
{
    const float* in[R];
    float* out[W];
    for (int r = 0; r < R; r++)
        in[r] = g[r];
    for (int w = 0; w < W; w++)
        out[w] = g[R + w];
#pragma omp simd
    for (size_t i = i0; i < i1; i++)
    {
        float s = in[0][i];
#pragma GCC unroll 64
        for (int r = 1; r < R; r++)
            s += in[r][i];
#pragma GCC unroll 64
        for (int w = 0; w < W; w++)
            out[w][i] += 1e-6f * s;
    }
}

template <int R, int W>
StreamSweep Streams()
{
    return {R, W, &StreamLoop<R, W>};
}

StepRate TimeStreams(const std::vector<StreamSweep>& sweeps, double cells, int nThreads);
double StreamBytes(const std::vector<StreamSweep>& sweeps);

// The threads to time with: 1 and, on a machine with more, all.
std::vector<int> ThreadCounts();

}  // namespace bench
