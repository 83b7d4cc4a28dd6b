// Acoustic time step of the CPU engine (velocity sweep + pressure sweep, PML
// on, W = 21) on cubic grids, with one thread and with all threads, against
// the memory bandwidth limit of the machine.
//
// Minimum memory traffic of one cell update (both sweeps), assuming every
// neighbour read of a stencil is served from cache:
//   velocity sweep: read P, B, Ux, Uy, Uz; write Ux, Uy, Uz  -> 8 floats
//   pressure sweep: read Ux, Uy, Uz, P, C; write P            -> 6 floats
// that is 56 bytes per cell (the written lines were read just before, so no
// extra write-allocate traffic). Each PML slab cell adds, per sweep and per
// side, a read and a write of psi and a read of a and b: 16 bytes. The
// limit below counts both, per step, for the grid at hand.
//
// The last column ("of base") puts the rate against the 56-byte limit alone,
// the target for the sweeps whatever the boundary costs. Each grid is run with the two
// half steps as separate sweeps ("split") and with two whole steps in one
// pass over memory ("pair", CCalc3D_OMP::PropagatePair, what the time
// loop runs between steps that inject or record), which moves about half
// the bytes per cell-update; then both over the box inside the PML slabs
// only ("inner", "inner pair": the scheme without its boundary). The byte
// counts stay those of the split sweeps, so that a pass that moves fewer
// bytes shows as a ratio above what the split sweeps can reach.
//
// The "streams" rows move the same 56 bytes per cell over grids of the inner
// box's size without stencil or arithmetic (bench::TimeStreams): the rate
// the memory gives this mix of streams, beside which the "inner" rows show
// what the stencil and its arithmetic cost on top.
//
// With -sponge the faces absorb by the 26-cell sponge strip instead (no
// memory arrays, so 56 bytes for every cell).
//
// Usage: bench_acoustic [-sponge] [n | nxXnyXnz ...]   (default 250
// 333x250x200). Each figure is the best of three timed batches, read
// against the triad run beside them. ONDEX_PAIR_ROWS sets the tile height
// of the pair rows.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <mpi.h>

#include "base/Output.h"
#include "bench_grid.h"

namespace
{

// The velocities turned into the coefficients of the acoustic method.
std::unique_ptr<CCalc3D_OMP> MakeEngine(COndexApp& app, const bench::Shape& g, bool bSponge)
{
    std::unique_ptr<CCalc3D_OMP> e = bench::MakeGridEngine(app, g, 2, bSponge ? 0 : 21, 26);
    if (!e)
        return nullptr;
    const size_t cells = (size_t)g.nx * g.ny * g.nz;
    const double vp = 2000.0, rho = 2000.0, K = 15000.0, r = e->m_dt / e->m_dx;
    std::fill(e->m_pVp, e->m_pVp + cells, (float)(rho * vp * vp * r / K));
    std::fill(e->m_pRho, e->m_pRho + cells, (float)(r * K / rho));
    return e;
}

// nMode 0: the two sweeps over the grid; 1: two steps in one pass; 2, 3: the
// same over the box inside the PML slabs only, the scheme's own rate without
// the boundary.
bench::StepRate TimeSteps(CCalc3D_OMP& e, int nThreads, int nMode)
{
    const int nx = e.m_nx, ny = e.m_ny, nz = e.m_nz, h = e.m_nHalo, m = h + (nMode >= 2 ? e.m_nPML : 0);
    const bool bPair = nMode == 1 || nMode == 3;
    const double cells = (bPair ? 2.0 : 1.0) * (nx - 2 * m) * (ny - 2 * m) * (nz - 2 * m);
    auto Step = [&]() {
        if (bPair)
            e.PropagatePair(101, m, m, m, nz - m - 1, ny - m - 1, nx - m - 1);
        else
        {
            e.PropagateAcoWaveU(m, m, m, nz - m - 1, ny - m - 1, nx - m - 1);
            e.PropagateAcoWaveTau(m, m, m, nz - m - 1, ny - m - 1, nx - m - 1);
        }
    };
    return bench::TimeStepRate(Step, cells, nThreads);
}

} // namespace

int main(int argc, char** argv)
{
    MPI_Init(&argc, &argv);
    g_nSize = 2;   // keep the engine's log lines off the console
    g_nNode = 1;
    bool bSponge = false;
    for (int i = 1; i < argc; i++)
        bSponge = bSponge || std::string(argv[i]) == "-sponge";
    std::vector<bench::Shape> sizes;
    if (!bench::ParseShapes(argc, argv, 16, sizes))
    {
        std::printf("usage: %s [-sponge] [n | nxXnyXnz ...]   (grid sizes, default 250 333x250x200)\n", argv[0]);
        MPI_Finalize();
        return 2;
    }
    if (sizes.empty())
        sizes = {{250, 250, 250}, {333, 250, 200}};
    std::printf("boundary: %s\n", bSponge ? "sponge, 26 cells" : "PML, 21 cells");
    bench::PrintHead();
    for (const bench::Shape& n : sizes)
    {
        COndexApp app;
        app.m_Type = 101;
        app.m_nHostMemoryGB = 1024;
        std::unique_ptr<CCalc3D_OMP> e = MakeEngine(app, n, bSponge);
        char szGrid[40];
        std::snprintf(szGrid, sizeof(szGrid), "%dx%dx%d", n.nx, n.ny, n.nz);
        if (!e)
        {
            std::printf("%s: could not set up the grid\n", szGrid);
            continue;
        }
        const int h = e->m_nHalo;
        const double cells = (double)(n.nx - 2 * h) * (n.ny - 2 * h) * (n.nz - 2 * h);
        // 56 bytes per cell, plus 16 bytes per slab cell, side and sweep.
        const double bytesPerCell = (56.0 * cells + 2 * 16.0 * bench::SlabSideCells(*e)) / cells;
        const char* const names[4] = {"split", "pair", "inner", "inner pair"};
        for (int nMode = 0; nMode < (bench::HasInner(*e) ? 4 : 2); nMode++)
            for (int nThreads : bench::ThreadCounts())
                bench::PrintRow(szGrid, names[nMode], nThreads, TimeSteps(*e, nThreads, nMode),
                                nMode >= 2 ? 56.0 : bytesPerCell, 56.0);
        // Velocity sweep: P, B read, three velocities updated; pressure
        // sweep: three velocities and C read, P updated.
        const std::vector<bench::StreamSweep> mix = {bench::Streams<2, 3>(), bench::Streams<4, 1>()};
        for (int nThreads : bench::ThreadCounts())
            bench::PrintRow(szGrid, "streams", nThreads, bench::TimeStreams(mix, bench::InnerCells(*e), nThreads),
                            bench::StreamBytes(mix), 56.0);
    }
    MPI_Finalize();
    return 0;
}
