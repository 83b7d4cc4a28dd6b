// Elastic time step of the CPU engine (velocity sweep + stress sweep, PML
// on, W = 21) on cubic grids, with one thread and with all threads, against
// the memory bandwidth limit of the machine.
//
// Minimum memory traffic of one cell update (both sweeps), assuming every
// neighbour read of a stencil is served from cache:
//   velocity sweep: read 6 stresses, B, Ux, Uy, Uz; write Ux, Uy, Uz -> 13 floats
//   stress sweep: read Ux, Uy, Uz, C, M, 6 stresses; write 6 stresses -> 17 floats
// that is 120 bytes per cell; the limit counts only these (the PML slabs
// and, with SuppressSV off, the buoyancy of the plane above come on top).
//
// Each size is timed over the whole grid ("all") and over the box inside
// the PML slabs only ("inner": the scheme without its boundary).
//
// Usage: bench_elastic [-free] [n ...]   (default 160 250; -free: SuppressSV
// off, so the surface test runs). Each figure is the best of three batches.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <mpi.h>
#include <omp.h>

#include "base/Output.h"
#include "bench_common.h"
#include "cpu/Calc3D_OMP.h"
#include "run/OndexApp.h"


namespace
{

// A homogeneous medium (vp 2000, vs 1000 m/s) with a small random wave field, prepared as
// a shot would be: profiles from the velocities, then the coefficients.
std::unique_ptr<CCalc3D_OMP> MakeEngine(COndexApp& app, int n)
{
    std::unique_ptr<CCalc3D_OMP> e(new CCalc3D_OMP(app));
    e->m_nx = e->m_ny = e->m_nz = n;
    e->m_nZ0 = 0;
    e->m_nZ1 = n - 1;
    e->m_nZAll = n;
    e->m_nHalo = 2;
    e->m_nPML = 21;
    e->m_nTaper = 26;
    e->m_bPML = true;
    e->m_dx = 10.0;
    e->m_dt = 0.001;
    if (e->AllocateMemory(false, true) != 0)
        return nullptr;
    const size_t cells = (size_t)n * n * n;
    const double vp = 2000.0, rho = 2000.0, K = 15000.0, r = e->m_dt / e->m_dx;
    std::fill(e->m_pVp, e->m_pVp + cells, (float)vp);
    if (e->InitPMLProfile() != 0)
        return nullptr;
    const double vs = 1000.0;
    std::fill(e->m_pVp, e->m_pVp + cells, (float)(rho * vp * vp * r / K));
    std::fill(e->m_pVs, e->m_pVs + cells, (float)(rho * vs * vs * r / K));
    std::fill(e->m_pRho, e->m_pRho + cells, (float)(r * K / rho));
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> d(-1e-3f, 1e-3f);
    for (size_t i = 0; i < cells; i++)
        e->m_pTxx[i] = d(rng);
    return e;
}

// bInner: only the box inside the PML slabs, the scheme's own rate without
// the boundary.
bench::StepRate TimeSteps(CCalc3D_OMP& e, int nThreads, bool bInner)
{
    const int n = e.m_nx, m = e.m_nHalo + (bInner ? e.m_nPML : 0);
    const double cells = (double)(n - 2 * m) * (n - 2 * m) * (n - 2 * m);
    auto Step = [&]() {
        e.PropagateElaWaveU(m, m, m, n - m - 1, n - m - 1, n - m - 1);
        e.PropagateElaWaveTau(m, m, m, n - m - 1, n - m - 1, n - m - 1);
    };
    return bench::TimeStepRate(Step, cells, nThreads);
}

} // namespace

int main(int argc, char** argv)
{
    MPI_Init(&argc, &argv);
    g_nSize = 2;   // keep the engine's log lines off the console
    g_nNode = 1;
    std::vector<int> sizes;
    bool bFree = false;
    for (int i = 1; i < argc; i++)
    {
        if (std::string(argv[i]) == "-free")
        {
            bFree = true;
            continue;
        }
        int n = std::atoi(argv[i]);
        if (n < 16)
        {
            std::printf("usage: %s [n ...]   [-free] [n ...]   (cubic grid sizes, default 160 250)\n", argv[0]);
            MPI_Finalize();
            return 2;
        }
        sizes.push_back(n);
    }
    if (sizes.empty())
        sizes = {160, 250};

    const int nAll = omp_get_max_threads();
    const double bw1 = bench::MeasureTriadGBs(1);
    const double bwAll = bench::MeasureTriadGBs(nAll);
    std::printf("SuppressSV %s\n", bFree ? "off (surface test on)" : "on");
    std::printf("triad bandwidth: %.2f GB/s (1 thread), %.2f GB/s (%d threads)\n", bw1, bwAll, nAll);
    std::printf("%-6s %-6s %-8s %6s %10s %10s %12s %10s %7s\n", "n", "box", "threads", "steps", "Mcells/s", "B/cell",
                "GB/s needed", "limit", "ratio");

    for (int n : sizes)
    {
        COndexApp app;
        app.m_Type = 102;
        app.m_nHostMemoryGB = 1024;
        std::unique_ptr<CCalc3D_OMP> e = MakeEngine(app, n);
        if (!e)
        {
            std::printf("%d: could not set up the grid\n", n);
            continue;
        }
        e->m_bSuppressSV = !bFree;
        e->m_fSWave = 1.0f;
        const double bytesPerCell = 120.0;
        std::vector<int> threads = {1};
        if (nAll > 1)
            threads.push_back(nAll);
        for (int nInner = 0; nInner < 2; nInner++)
        for (int nThreads : threads)
        {
            const bench::StepRate r = TimeSteps(*e, nThreads, nInner == 1);
            const double bw = nThreads == 1 ? bw1 : bwAll;
            const double limit = bw * 1e9 / bytesPerCell / 1e6;
            std::printf("%-6d %-6s %-8d %6d %10.1f %10.1f %12.2f %10.1f %7.2f\n", n, nInner ? "inner" : "all",
                        nThreads, r.nSteps, r.dMcells,
                        bytesPerCell, r.dMcells * bytesPerCell / 1e3, limit, r.dMcells / limit);
        }
    }
    MPI_Finalize();
    return 0;
}
