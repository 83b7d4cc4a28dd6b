// Anisotropic time steps of the CPU engine (the elastic velocity sweep + the
// orthorhombic or the 21-constant stress sweep, PML on) on cubic grids, with
// one thread and with all threads, against the memory bandwidth limit.
//
// Minimum memory traffic of one cell update (both sweeps), every neighbour
// read of a stencil served from cache:
//   velocity sweep: read 6 stresses, B, Ux, Uy, Uz; write Ux, Uy, Uz -> 13 floats
//   orthorhombic stress sweep: read Ux, Uy, Uz, 9 constants, 6 stresses;
//     write 6 stresses -> 24 floats; 148 bytes per cell with the velocity sweep
//   21-constant stress sweep: 12 constants more -> 36 floats; 196 bytes.
// A PML slab cell adds per side: in the velocity sweep three memory arrays
// read and written and the profile pairs of two stencils (40 bytes), in the
// stress sweep the same (40 bytes) and for the 21-constant step nine more
// memory arrays of the averaged derivatives (72 bytes). The "all" rows count
// them; the last column ("of base") puts the rate against 148 or 196 bytes.
//
// Each size is timed over the whole grid ("all") and over the box inside
// the PML slabs only ("inner"), each also with two whole steps in one pass
// over memory ("pair", "inner pair"), as in bench_elastic.
//
// With -visco every cell has L = 3 relaxation mechanisms (Q 50): the stress
// sweep also reads the 3L mechanism constants and reads and writes the 6L
// memory variables, 180 bytes more (328 and 376 in all).
//
// The "streams" rows move the bare byte count over grids of the inner box's
// size without stencil or arithmetic: what the memory gives this mix of
// streams (bench::TimeStreams).
//
// Usage: bench_aniso [-visco] [n | nxXnyXnz ...]   (default 150). Each
// figure is the best of three batches, read against the triad run beside
// them.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <mpi.h>

#include "base/Output.h"
#include "bench_grid.h"
#include "engine3d/Calc3D_stiffness.h"

namespace
{

// A homogeneous tilted medium (vp 2000, vs 1000 m/s, eps 0.2, delta 0.1,
// gamma 0.1, tilt 30, azimuth 20): the velocities turned into the
// stiffness of the method.
std::unique_ptr<CCalc3D_OMP> MakeEngine(COndexApp& app, const bench::Shape& g, int nViscoL)
{
    const bool b104 = app.m_Type == 104;
    const float k[5] = {0.2f, 0.1f, 0.1f, 20.0f, 30.0f};   // eps, delta, gamma, phi, tilt
    for (int i = 0; i < 5; i++)
        app.m_fAnisConst[i] = k[i];
    std::unique_ptr<CCalc3D_OMP> e = bench::MakeGridEngine(app, g, b104 ? 3 : 2, b104 ? 19 : 21, b104 ? 23 : 26, nViscoL);
    if (!e)
        return nullptr;
    const double r = e->m_dt / e->m_dx;
    if (FillStiffness(*e, (float)(r / 15000.0), (float)(r * 15000.0)) != 0)
        return nullptr;
    e->m_bSuppressSV = true;
    e->m_fSWave = e->m_fSWaveNext = 1.0f;
    return e;
}

// nMode 0: the two sweeps over the grid; 1: two steps in one pass
// (counted at the bytes of the sweeps); 2, 3: the same over the box inside
// the PML slabs only.
bench::StepRate TimeSteps(CCalc3D_OMP& e, int nMethod, int nThreads, int nMode)
{
    const int nx = e.m_nx, ny = e.m_ny, nz = e.m_nz, m = e.m_nHalo + (nMode >= 2 ? e.m_nPML : 0);
    const bool bPair = nMode % 2 == 1;
    const double cells = (bPair ? 2.0 : 1.0) * (nx - 2 * m) * (ny - 2 * m) * (nz - 2 * m);
    auto Step = [&]() {
        if (bPair)
            e.PropagatePair(nMethod, m, m, m, nz - m - 1, ny - m - 1, nx - m - 1);
        else
            e.PropagateStep(nMethod, m, m, m, nz - m - 1, ny - m - 1, nx - m - 1);
    };
    return bench::TimeStepRate(Step, cells, nThreads);
}

} // namespace

int main(int argc, char** argv)
{
    MPI_Init(&argc, &argv);
    g_nSize = 2;   // keep the engine's log lines off the console
    g_nNode = 1;
    bool bVisco = false;
    for (int i = 1; i < argc; i++)
        bVisco = bVisco || std::string(argv[i]) == "-visco";
    std::vector<bench::Shape> sizes;
    if (!bench::ParseShapes(argc, argv, 24, sizes))
    {
        std::printf("usage: %s [-visco] [n | nxXnyXnz ...]   (grid sizes, default 150)\n", argv[0]);
        MPI_Finalize();
        return 2;
    }
    if (sizes.empty())
        sizes = {{150, 150, 150}};
    std::printf("%s\n", bVisco ? "3 relaxation mechanisms (Q 50)" : "no attenuation");
    bench::PrintHead();
    for (int nMethod : {103, 104})
        for (const bench::Shape& n : sizes)
        {
            COndexApp app;
            app.m_Type = nMethod;
            app.m_nHostMemoryGB = 1024;
            std::unique_ptr<CCalc3D_OMP> e = MakeEngine(app, n, bVisco ? 3 : 0);
            char szWhat[48];
            std::snprintf(szWhat, sizeof(szWhat), "%d %dx%dx%d", nMethod, n.nx, n.ny, n.nz);
            if (!e)
            {
                std::printf("%s: could not set up the grid\n", szWhat);
                continue;
            }
            const int h = e->m_nHalo;
            const double cells = (double)(n.nx - 2 * h) * (n.ny - 2 * h) * (n.nz - 2 * h);
            const double base = (nMethod == 103 ? 148.0 : 196.0) + (bVisco ? 180.0 : 0.0);
            const double slab = nMethod == 103 ? 80.0 : 152.0;
            const double bytesPerCell = (base * cells + slab * bench::SlabSideCells(*e)) / cells;
            const char* const names[4] = {"all", "pair", "inner", "inner pair"};
            for (int nMode = 0; nMode < (bench::HasInner(*e) ? 4 : 2); nMode++)
                for (int nThreads : bench::ThreadCounts())
                    bench::PrintRow(szWhat, names[nMode], nThreads, TimeSteps(*e, nMethod, nThreads, nMode),
                                    nMode >= 2 ? base : bytesPerCell, base);
            // As the elastic step, with 9 or 21 stiffness constants read.
            const bench::StreamSweep tau =
                nMethod == 103 ? (bVisco ? bench::Streams<21, 24>() : bench::Streams<12, 6>())
                               : (bVisco ? bench::Streams<33, 24>() : bench::Streams<24, 6>());
            const std::vector<bench::StreamSweep> mix = {bench::Streams<7, 3>(), tau};
            for (int nThreads : bench::ThreadCounts())
                bench::PrintRow(szWhat, "streams", nThreads,
                                bench::TimeStreams(mix, bench::InnerCells(*e), nThreads), bench::StreamBytes(mix),
                                base);
        }
    MPI_Finalize();
    return 0;
}
