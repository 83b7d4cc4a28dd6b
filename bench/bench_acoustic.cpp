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
// The last column puts the rate against the 56-byte limit alone, the target
// for the sweeps whatever the boundary costs. Each grid is run with the two
// half steps as separate sweeps ("split", what the engine runs) and fused
// into one pass over the planes ("fused", CCalc3D_OMP::m_bFuseAco), which
// reads each plane about once but has measured slower, and with the split
// sweeps over the box inside the PML slabs only ("inner": the scheme
// without its boundary, 56 bytes per cell).
//
// Usage: bench_acoustic [n | nxXnyXnz ...]   (default 250 333x250x200). Each
// figure is the best of three timed batches.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <vector>

#include <mpi.h>
#include <omp.h>

#include "base/Output.h"
#include "bench_common.h"
#include "cpu/Calc3D_OMP.h"
#include "run/OndexApp.h"


namespace
{

// A homogeneous 2000 m/s medium with a small random wave field, prepared as
// a shot would be: profiles from the velocities, then the coefficients.
struct Shape
{
    int nx, ny, nz;
};

std::unique_ptr<CCalc3D_OMP> MakeEngine(COndexApp& app, const Shape& g)
{
    std::unique_ptr<CCalc3D_OMP> e(new CCalc3D_OMP(app));
    e->m_nx = g.nx;
    e->m_ny = g.ny;
    e->m_nz = g.nz;
    e->m_nZ0 = 0;
    e->m_nZ1 = g.nz - 1;
    e->m_nZAll = g.nz;
    e->m_nHalo = 2;
    e->m_nPML = 21;
    e->m_nTaper = 26;
    e->m_bPML = true;
    e->m_dx = 10.0;
    e->m_dt = 0.001;
    if (e->AllocateMemory(false, true) != 0)
        return nullptr;
    const size_t cells = (size_t)g.nx * g.ny * g.nz;
    const double vp = 2000.0, rho = 2000.0, K = 15000.0, r = e->m_dt / e->m_dx;
    std::fill(e->m_pVp, e->m_pVp + cells, (float)vp);
    if (e->InitPMLProfile() != 0)
        return nullptr;
    std::fill(e->m_pVp, e->m_pVp + cells, (float)(rho * vp * vp * r / K));
    std::fill(e->m_pRho, e->m_pRho + cells, (float)(r * K / rho));
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> d(-1e-3f, 1e-3f);
    for (size_t i = 0; i < cells; i++)
        e->m_pTxx[i] = d(rng);
    return e;
}

// nMode 0: the two sweeps over the grid; 1: fused; 2: the two sweeps over
// the box inside the PML slabs only, the scheme's own rate without the
// boundary.
bench::StepRate TimeSteps(CCalc3D_OMP& e, int nThreads, int nMode)
{
    const int nx = e.m_nx, ny = e.m_ny, nz = e.m_nz, h = e.m_nHalo, m = h + (nMode == 2 ? e.m_nPML : 0);
    const double cells = (double)(nx - 2 * m) * (ny - 2 * m) * (nz - 2 * m);
    auto Step = [&]() {
        e.m_bFuseAco = nMode == 1;
        if (nMode == 1)
            e.PropagateAcoWave(m, m, m, nz - m - 1, ny - m - 1, nx - m - 1);
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
    std::vector<Shape> sizes;
    for (int i = 1; i < argc; i++)
    {
        Shape g;
        const int k = std::sscanf(argv[i], "%dx%dx%d", &g.nx, &g.ny, &g.nz);
        if (k == 1)
            g.ny = g.nz = g.nx;
        if ((k != 1 && k != 3) || std::min(g.nx, std::min(g.ny, g.nz)) < 16)
        {
            std::printf("usage: %s [n | nxXnyXnz ...]   (grid sizes, default 250 333x250x200)\n", argv[0]);
            MPI_Finalize();
            return 2;
        }
        sizes.push_back(g);
    }
    if (sizes.empty())
        sizes = {{250, 250, 250}, {333, 250, 200}};

    const int nAll = omp_get_max_threads();
    const double bw1 = bench::MeasureTriadGBs(1);
    const double bwAll = bench::MeasureTriadGBs(nAll);
    std::printf("triad bandwidth: %.2f GB/s (1 thread), %.2f GB/s (%d threads)\n", bw1, bwAll, nAll);
    std::printf("%-12s %-6s %-8s %6s %10s %10s %12s %10s %7s %10s %7s\n", "grid", "sweeps", "threads", "steps", "Mcells/s",
                "B/cell", "GB/s needed", "limit", "ratio", "limit@56B", "ratio");

    for (const Shape& n : sizes)
    {
        COndexApp app;
        app.m_Type = 101;
        app.m_nHostMemoryGB = 1024;
        std::unique_ptr<CCalc3D_OMP> e = MakeEngine(app, n);
        if (!e)
        {
            std::printf("%dx%dx%d: could not set up the grid\n", n.nx, n.ny, n.nz);
            continue;
        }
        const int h = e->m_nHalo;
        const double cells = (double)(n.nx - 2 * h) * (n.ny - 2 * h) * (n.nz - 2 * h);
        // 56 bytes per cell, plus 16 bytes per slab cell, side and sweep.
        const double pmlCells = 2.0 * (double)(e->m_nPmlCellsX + e->m_nPmlCellsY + e->m_nPmlCellsZ);
        const double bytesPerCell = (56.0 * cells + 2 * 16.0 * pmlCells) / cells;
        std::vector<int> threads = {1};
        if (nAll > 1)
            threads.push_back(nAll);
        for (int nMode = 0; nMode < 3; nMode++)
        for (int nThreads : threads)
        {
            const bench::StepRate r = TimeSteps(*e, nThreads, nMode);
            const double bw = nThreads == 1 ? bw1 : bwAll;
            const double bytes = nMode == 2 ? 56.0 : bytesPerCell;
            const double limit = bw * 1e9 / bytes / 1e6, limit56 = bw * 1e9 / 56.0 / 1e6;
            char szGrid[40];
            std::snprintf(szGrid, sizeof(szGrid), "%dx%dx%d", n.nx, n.ny, n.nz);
            std::printf("%-12s %-6s %-8d %6d %10.1f %10.1f %12.2f %10.1f %7.2f %10.1f %7.2f\n", szGrid,
                        nMode == 0 ? "split" : nMode == 1 ? "fused" : "inner", nThreads,
                        r.nSteps, r.dMcells, bytes, r.dMcells * bytes / 1e3, limit, r.dMcells / limit,
                        limit56, r.dMcells / limit56);
        }
    }
    MPI_Finalize();
    return 0;
}
