// The GPU engine's time step (velocity and stress kernels, sponge, the whole
// grid) for the acoustic and the elastic method, against the device's copy
// bandwidth. Minimum traffic per cell update, every stencil neighbour served
// from cache: acoustic 56 bytes (velocity step: read P, B, Ux, Uy, Uz, write
// Ux, Uy, Uz; pressure step: read Ux, Uy, Uz, P, C, write P), elastic 120
// bytes (velocity step: read six stresses, B and three velocities, write
// three; stress step: read three velocities, C, M, B and six stresses,
// write six).
//
// Usage: bench_gpu [n ...]   (cubic grid sizes, default 256 400)
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include <mpi.h>

#include "CUDA/Calc3D_CUDA.h"
#include "CUDA/ondex_cuda.h"
#include "base/Output.h"
#include "bench_common.h"
#include "run/OndexApp.h"

namespace
{
// Mcells/s of nSteps steps, best of three batches; 0 when the set-up fails.
double Rate(int nMethod, int n, int nSteps)
{
    COndexApp app;
    app.m_Type = nMethod;
    app.m_nHostMemoryGB = 1024;
    CCalc3D_CUDA e(app);
    e.m_nx = e.m_ny = e.m_nz = n;
    e.m_nZ0 = 0;
    e.m_nZ1 = n - 1;
    e.m_nZAll = n;
    e.m_nHalo = 2;
    e.m_nTaper = 26;
    e.m_bPML = false;
    e.m_dx = 10.0;
    e.m_dt = 0.001;
    e.m_bSuppressSV = true;
    e.m_fSWave = 1.0f;
    for (int i = 0; i < 38; i++)
        e.m_fTaper[i] = 1.0f;
    e.m_vSources.assign(1, C3DShotPoint(((uint64_t)n / 2 * n + n / 2) * n + n / 2, 0));
    if (e.AllocateMemory(false, true) != 0)
        return 0.0;
    const size_t cells = (size_t)n * n * n;
    for (size_t i = 0; i < cells; i++)
    {
        e.m_pVp[i] = 0.3f;
        e.m_pRho[i] = 0.3f;
        if (e.m_pVs)
            e.m_pVs[i] = 0.08f;
    }
    if (e.AllocateMemorySeismogram() != 0 || e.LoadModel() != 0)
        return 0.0;
    const double inner = (double)(n - 4) * (n - 4) * (n - 4);
    double best = 0.0;
    for (int batch = 0; batch < 3; batch++)
    {
        const double t0 = bench::Now();
        for (int s = 0; s < nSteps; s++)
        {
            if (nMethod == 101)
                e.PropagateAcoWaveU(0, 0, 0, n - 1, n - 1, n - 1), e.PropagateAcoWaveTau(0, 0, 0, n - 1, n - 1, n - 1);
            else
                e.PropagateElaWaveU(0, 0, 0, n - 1, n - 1, n - 1), e.PropagateElaWaveTau(0, 0, 0, n - 1, n - 1, n - 1);
        }
        const double r = inner * nSteps / (bench::Now() - t0) / 1e6;
        best = r > best ? r : best;
    }
    return best;
}
} // namespace

int main(int argc, char** argv)
{
    MPI_Init(&argc, &argv);
    g_nSize = 2;   // keep the engine's log lines off the console
    g_nNode = 1;
    if (CUDA_GetDeviceCount() < 1 || CUDA_SetDevice(0) != 0)
    {
        std::printf("bench_gpu: no CUDA device\n");
        MPI_Finalize();
        return 1;
    }
    std::vector<int> sizes;
    for (int i = 1; i < argc; i++)
        sizes.push_back(std::atoi(argv[i]));
    if (sizes.empty())
        sizes = {256, 400};
    const double bw = CUDA_MeasureCopyGBs((size_t)1 << 30);
    std::printf("device: %s, copy bandwidth %.1f GB/s\n", CUDA_GetDeviceName(0), bw);
    std::printf("%-10s %6s %10s %8s %10s %7s\n", "method", "grid", "Mcells/s", "B/cell", "limit", "ratio");
    for (int n : sizes)
    {
        if (n < 16)
            continue;
        const struct
        {
            const char* psz;
            int nMethod;
            double dBytes;
        } rows[] = {{"acoustic", 101, 56.0}, {"elastic", 102, 120.0}};
        for (const auto& r : rows)
        {
            const double m = Rate(r.nMethod, n, 20);
            const double limit = bw * 1e9 / r.dBytes / 1e6;
            std::printf("%-10s %6d %10.1f %8.0f %10.1f %7.2f\n", r.psz, n, m, r.dBytes, limit, limit > 0 ? m / limit : 0);
        }
    }
    MPI_Finalize();
    return 0;
}
