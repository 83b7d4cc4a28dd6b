// One acoustic shot computed by every process of this run together as one
// depth group (no master: each rank is a group member), one thread each.
// The shot runs twice, with the full record and with two steps; the
// difference is the time loop of the extra steps, set-up and saving cancel.
// Run it on 1 and on 2 processes and compare the loop times: the parallel
// efficiency is T1 / (2 * T2).
//
// Usage: mpiexec -n P bench_group [n] [steps]   (default 198 nodes, giving a
// 250^3 grid with the 26-cell strips; 100 steps)

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <mpi.h>
#include <omp.h>
#include <unistd.h>

#include "base/Output.h"
#include "bench_common.h"
#include "engine3d/Calc3D.h"
#include "files/SdsPC.h"
#include "run/OndexApp.h"
#include "run/ShotRoad.h"

namespace
{

bool WriteJob(int n, int nSteps)
{
    const double c = 5.0 * (n - 1);
    FILE* fp = std::fopen("survey.txt", "w");
    if (!fp)
        return false;
    for (int r = 0; r < 21; r++)
        std::fprintf(fp, "%.1f %.1f %.1f %.1f %.1f %.1f 1 %d\n", c, c, c, c, c, 10.0 * (n - 1) * r / 20.0, r + 1);
    std::fclose(fp);
    fp = std::fopen("runtask.ini", "w");
    if (!fp)
        return false;
    std::fprintf(fp,
                 "[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = 3D Acoustic\nOutputDir = results/\n"
                 "Model Name = vp.sgy\nFileModelD = rho.sgy\nPML = 1\nFirst Point = 1\nLast Point = 1\n"
                 "[Survey]\nGeometry = survey.txt\nt0 = 0\nt1 = %.4f\ndt = 0.001\n[Mesh]\ndx = 10\ndt = 0.001\n"
                 "[Source]\nType = 0\nFrequency = 15\nSignal = 1\n"
                 "[optimization]\nthreads per process = 1\n",   // else each rank takes every core
                 0.001 * (nSteps - 1));
    std::fclose(fp);
    return true;
}

// Wall time of one shot on all ranks together, or -1.
double RunShot(int nRank, int nSize, int n, int nSteps)
{
    if (nRank == 0 && !WriteJob(n, nSteps))
        return -1;
    MPI_Barrier(MPI_COMM_WORLD);
    COndexApp app;
    if (app.ReadTask("runtask.ini") != 0 || app.LoadSurveyGeometry() != 0)
        return -1;
    app.m_nGroupSize = nSize;
    app.m_nGroupRank = nRank;
    app.m_nNode = nRank;
    MPI_Barrier(MPI_COMM_WORLD);
    const double t0 = bench::Now();
    const int r = Run3DShot(app, 1);
    MPI_Barrier(MPI_COMM_WORLD);
    const double t = bench::Now() - t0;
    return r == 0 ? t : -1;
}

} // namespace

int main(int argc, char** argv)
{
    MPI_Init(&argc, &argv);
    int nRank = 0, nSize = 1;
    MPI_Comm_rank(MPI_COMM_WORLD, &nRank);
    MPI_Comm_size(MPI_COMM_WORLD, &nSize);
    MPI_COMM_MT = MPI_COMM_WORLD;
    g_nNode = nRank;
    g_nSize = nSize;
    omp_set_num_threads(1);
    const int n = argc > 1 ? std::atoi(argv[1]) : 198;
    const int nSteps = argc > 2 ? std::atoi(argv[2]) : 100;
    const std::string dir = "/tmp/ondex-bench-group-" + std::to_string(n);
    if (nRank == 0)
    {
        // The model is kept between runs: the 1- and 2-process runs share it.
        std::system(("mkdir -p " + dir).c_str());
        if (chdir(dir.c_str()) != 0)
            return 1;
        if (access("vp.sgy", R_OK) != 0 && (!bench::WriteCube("vp.sgy", n, 2000.0f) || !bench::WriteCube("rho.sgy", n, 2000.0f)))
        {
            std::printf("could not write the model in %s\n", dir.c_str());
            MPI_Abort(MPI_COMM_WORLD, 1);
        }
    }
    MPI_Barrier(MPI_COMM_WORLD);
    if (nRank != 0 && chdir(dir.c_str()) != 0)
        MPI_Abort(MPI_COMM_WORLD, 1);

    // The first shot also warms the file cache; the best of two counts.
    double tShort = 1e300, tLong = 1e300;
    for (int rep = 0; rep < 2; rep++)
    {
        const double a = RunShot(nRank, nSize, n, 2), b = RunShot(nRank, nSize, n, nSteps);
        tShort = a < 0 || tShort < 0 ? -1 : std::min(tShort, a);
        tLong = b < 0 || tLong < 0 ? -1 : std::min(tLong, b);
    }
    if (nRank == 0)
    {
        if (tShort < 0 || tLong < 0)
            std::printf("the shot failed: see %s/Ondex-*.log\n", dir.c_str());
        else
            std::printf("processes %d, model %d^3 nodes, %d steps: whole shot %.2f s, time loop %.3f s per step\n",
                        nSize, n, nSteps, tLong, (tLong - tShort) / (nSteps - 2));
    }
    MPI_Finalize();
    return 0;
}
