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
//
// Usage: bench_aniso [n ...]   (default 150). Each figure is the best of
// three batches.
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
#include "engine3d/Calc3D_stiffness.h"
#include "run/OndexApp.h"

namespace
{

// A homogeneous tilted medium (vp 2000, vs 1000 m/s, eps 0.2, delta 0.1,
// gamma 0.1, tilt 30, azimuth 20) with a small random wave field, prepared
// as a shot would be: profiles from the velocities, then the stiffness.
std::unique_ptr<CCalc3D_OMP> MakeEngine(COndexApp& app, int n)
{
    const int nMethod = app.m_Type;
    std::unique_ptr<CCalc3D_OMP> e(new CCalc3D_OMP(app));
    e->m_nx = e->m_ny = e->m_nz = n;
    e->m_nZ0 = 0;
    e->m_nZ1 = n - 1;
    e->m_nZAll = n;
    e->m_nHalo = nMethod == 104 ? 3 : 2;
    e->m_nPML = nMethod == 104 ? 19 : 21;
    e->m_nTaper = nMethod == 104 ? 23 : 26;
    e->m_bPML = true;
    e->m_dx = 10.0;
    e->m_dt = 0.001;
    const float k[5] = {0.2f, 0.1f, 0.1f, 20.0f, 30.0f};   // eps, delta, gamma, phi, tilt
    for (int i = 0; i < 5; i++)
        app.m_fAnisConst[i] = k[i];
    if (e->AllocateMemory(false, true) != 0)
        return nullptr;
    const size_t cells = (size_t)n * n * n;
    std::fill(e->m_pVp, e->m_pVp + cells, 2000.0f);
    std::fill(e->m_pVs, e->m_pVs + cells, 1000.0f);
    std::fill(e->m_pRho, e->m_pRho + cells, 2000.0f);
    if (e->InitPMLProfile() != 0)
        return nullptr;
    const double r = e->m_dt / e->m_dx;
    if (FillStiffness(*e, (float)(r / 15000.0), (float)(r * 15000.0)) != 0)
        return nullptr;
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> d(-1e-3f, 1e-3f);
    for (size_t i = 0; i < cells; i++)
        e->m_pTxx[i] = d(rng);
    e->m_bSuppressSV = true;
    e->m_fSWave = 1.0f;
    return e;
}

} // namespace

int main(int argc, char** argv)
{
    MPI_Init(&argc, &argv);
    g_nSize = 2;   // keep the engine's log lines off the console
    g_nNode = 1;
    std::vector<int> sizes;
    for (int i = 1; i < argc; i++)
    {
        const int n = std::atoi(argv[i]);
        if (n < 24)
        {
            std::printf("usage: %s [n ...]   (cubic grid sizes, default 150)\n", argv[0]);
            MPI_Finalize();
            return 2;
        }
        sizes.push_back(n);
    }
    if (sizes.empty())
        sizes = {150};

    const int nAll = omp_get_max_threads();
    const double bw1 = bench::MeasureTriadGBs(1);
    const double bwAll = bench::MeasureTriadGBs(nAll);
    std::printf("triad bandwidth: %.2f GB/s (1 thread), %.2f GB/s (%d threads)\n", bw1, bwAll, nAll);
    std::printf("%-7s %-6s %-8s %6s %10s %8s %10s %7s\n", "method", "n", "threads", "steps", "Mcells/s", "B/cell",
                "limit", "ratio");
    for (int nMethod : {103, 104})
        for (int n : sizes)
        {
            COndexApp app;
            app.m_Type = nMethod;
            app.m_nHostMemoryGB = 1024;
            std::unique_ptr<CCalc3D_OMP> e = MakeEngine(app, n);
            if (!e)
            {
                std::printf("%d %d: could not set up the grid\n", nMethod, n);
                continue;
            }
            const int h = e->m_nHalo;
            const double cells = (double)(n - 2 * h) * (n - 2 * h) * (n - 2 * h);
            auto Step = [&]() {
                e->PropagateElaWaveU(h, h, h, n - h - 1, n - h - 1, n - h - 1);
                if (nMethod == 103)
                    e->PropagateOrtWaveTau(h, h, h, n - h - 1, n - h - 1, n - h - 1);
                else
                    e->PropagateAniWaveTau(h, h, h, n - h - 1, n - h - 1, n - h - 1);
            };
            const double bytesPerCell = nMethod == 103 ? 148.0 : 196.0;
            std::vector<int> threads = {1};
            if (nAll > 1)
                threads.push_back(nAll);
            for (int nThreads : threads)
            {
                const bench::StepRate r = bench::TimeStepRate(Step, cells, nThreads);
                const double limit = (nThreads == 1 ? bw1 : bwAll) * 1e9 / bytesPerCell / 1e6;
                std::printf("%-7d %-6d %-8d %6d %10.1f %8.0f %10.1f %7.2f\n", nMethod, n, nThreads, r.nSteps,
                            r.dMcells, bytesPerCell, limit, r.dMcells / limit);
            }
        }
    MPI_Finalize();
    return 0;
}
