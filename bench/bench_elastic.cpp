// Elastic time step of the CPU engine (velocity sweep + stress sweep, PML
// on, W = 21) on cubic grids, with one thread and with all threads, against
// the memory bandwidth limit of the machine.
//
// Minimum memory traffic of one cell update (both sweeps), assuming every
// neighbour read of a stencil is served from cache:
//   velocity sweep: read 6 stresses, B, Ux, Uy, Uz; write Ux, Uy, Uz -> 13 floats
//   stress sweep: read Ux, Uy, Uz, C, M, 6 stresses; write 6 stresses -> 17 floats
// that is 120 bytes per cell (with SuppressSV off the buoyancy of the plane
// above comes on top, from cache). A PML slab cell adds per side and sweep
// the read and write of three memory arrays and the profile pairs of two
// stencils: 40 bytes; the "all" rows count them, the last column ("of
// base") puts the rate against the bare 120 bytes.
//
// Each size is timed over the whole grid ("all") and over the box inside
// the PML slabs only ("inner": the scheme without its boundary), each also
// with two whole steps in one pass over memory ("pair", "inner pair": what
// the time loop runs between steps that inject or record), counted at the
// bytes of the two sweeps, so that a pass that moves fewer shows above them.
//
// The "streams" rows move the bare byte count over grids of the inner box's
// size without stencil or arithmetic: what the memory gives this mix of
// streams (bench::TimeStreams).
//
// With -sponge the faces absorb by the 26-cell sponge strip instead of the
// PML (no memory arrays: the bare count for every cell).
//
// With -visco every cell has L = 3 relaxation mechanisms (Q 50): the stress
// sweep also reads the 3L mechanism constants and reads and writes the 6L
// memory variables of the cell, 12L + 48L = 180 bytes more, 300 in all.
//
// Usage: bench_elastic [-free] [-visco] [-sponge] [n | nxXnyXnz ...]   (default 161
// 250; -free: SuppressSV off, so the surface test runs). Each figure is the
// best of three batches, read against the triad run beside them.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <mpi.h>

#include "base/Output.h"
#include "bench_grid.h"

namespace
{

// The velocities turned into the coefficients of the elastic method.
std::unique_ptr<CCalc3D_OMP> MakeEngine(COndexApp& app, const bench::Shape& g, bool bSponge, int nViscoL)
{
    std::unique_ptr<CCalc3D_OMP> e = bench::MakeGridEngine(app, g, 2, bSponge ? 0 : 21, 26, nViscoL);
    if (!e)
        return nullptr;
    const size_t cells = (size_t)g.nx * g.ny * g.nz;
    const double vp = 2000.0, vs = 1000.0, rho = 2000.0, K = 15000.0, r = e->m_dt / e->m_dx;
    std::fill(e->m_pVp, e->m_pVp + cells, (float)(rho * vp * vp * r / K));
    std::fill(e->m_pVs, e->m_pVs + cells, (float)(rho * vs * vs * r / K));
    std::fill(e->m_pRho, e->m_pRho + cells, (float)(r * K / rho));
    return e;
}

// nMode 0: the two sweeps over the grid; 1: two steps in one pass; 2, 3: the
// same over the box inside the PML slabs only.
bench::StepRate TimeSteps(CCalc3D_OMP& e, int nThreads, int nMode)
{
    const int nx = e.m_nx, ny = e.m_ny, nz = e.m_nz, m = e.m_nHalo + (nMode >= 2 ? e.m_nPML : 0);
    const bool bPair = nMode % 2 == 1;
    const double cells = (bPair ? 2.0 : 1.0) * (nx - 2 * m) * (ny - 2 * m) * (nz - 2 * m);
    auto Step = [&]() {
        if (bPair)
            e.PropagatePair(102, m, m, m, nz - m - 1, ny - m - 1, nx - m - 1);
        else
            e.PropagateStep(102, m, m, m, nz - m - 1, ny - m - 1, nx - m - 1);
    };
    return bench::TimeStepRate(Step, cells, nThreads);
}

} // namespace

int main(int argc, char** argv)
{
    MPI_Init(&argc, &argv);
    g_nSize = 2;   // keep the engine's log lines off the console
    g_nNode = 1;
    bool bFree = false, bVisco = false, bSponge = false;
    for (int i = 1; i < argc; i++)
    {
        bFree = bFree || std::string(argv[i]) == "-free";
        bVisco = bVisco || std::string(argv[i]) == "-visco";
        bSponge = bSponge || std::string(argv[i]) == "-sponge";
    }
    const int nViscoL = bVisco ? 3 : 0;
    const double dBase = bVisco ? 300.0 : 120.0;
    std::vector<bench::Shape> sizes;
    if (!bench::ParseShapes(argc, argv, 16, sizes))
    {
        std::printf("usage: %s [-free] [-visco] [-sponge] [n | nxXnyXnz ...]   (grid sizes, default 161 250)\n", argv[0]);
        MPI_Finalize();
        return 2;
    }
    if (sizes.empty())
        sizes = {{161, 161, 161}, {250, 250, 250}};
    std::printf("SuppressSV %s, %s, %s\n", bFree ? "off (surface test on)" : "on",
                bVisco ? "3 relaxation mechanisms (Q 50)" : "no attenuation", bSponge ? "sponge, 26 cells" : "PML, 21 cells");
    bench::PrintHead();
    for (const bench::Shape& n : sizes)
    {
        COndexApp app;
        app.m_Type = 102;
        app.m_nHostMemoryGB = 1024;
        std::unique_ptr<CCalc3D_OMP> e = MakeEngine(app, n, bSponge, nViscoL);
        char szGrid[40];
        std::snprintf(szGrid, sizeof(szGrid), "%dx%dx%d", n.nx, n.ny, n.nz);
        if (!e)
        {
            std::printf("%s: could not set up the grid\n", szGrid);
            continue;
        }
        e->m_bSuppressSV = !bFree;
        e->m_fSWave = e->m_fSWaveNext = 1.0f;
        const int h = e->m_nHalo;
        const double cells = (double)(n.nx - 2 * h) * (n.ny - 2 * h) * (n.nz - 2 * h);
        const double bytesPerCell = (dBase * cells + 2 * 40.0 * bench::SlabSideCells(*e)) / cells;
        const char* const names[4] = {"all", "pair", "inner", "inner pair"};
        for (int nMode = 0; nMode < (bench::HasInner(*e) ? 4 : 2); nMode++)
            for (int nThreads : bench::ThreadCounts())
                bench::PrintRow(szGrid, names[nMode], nThreads, TimeSteps(*e, nThreads, nMode),
                                nMode >= 2 ? dBase : bytesPerCell, dBase);
        // Velocity sweep: six stresses and B read, three velocities updated;
        // stress sweep: three velocities, C, M and the mechanism constants
        // read, six stresses and the memory variables updated (L = 3).
        const std::vector<bench::StreamSweep> mix = {bench::Streams<7, 3>(),
                                                     nViscoL ? bench::Streams<14, 24>() : bench::Streams<5, 6>()};
        for (int nThreads : bench::ThreadCounts())
            bench::PrintRow(szGrid, "streams", nThreads, bench::TimeStreams(mix, bench::InnerCells(*e), nThreads),
                            bench::StreamBytes(mix), dBase);
    }
    MPI_Finalize();
    return 0;
}
