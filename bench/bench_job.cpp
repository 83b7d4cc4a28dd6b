// The whole program on a small PML-heavy acoustic job: a homogeneous model
// of n^3 nodes, one shot in its middle, PML on all sides. The program runs
// twice, with the full record and with a record of two steps; the
// difference of the two wall times is the time loop of the extra steps, set
// up and saving cancel. Its rate in cell-updates per second (over the whole
// grid of the shot, as the log reports it) is put beside the bandwidth limit
// at 56 bytes per cell-update, and beside the plain sweep rate of
// bench_acoustic, so that set-up and boundary costs are visible.
//
// With a fourth argument "snap" the run is timed a second time with a 2D
// snapshot film row and a 3D pressure cube (grid spacing) every 10 steps,
// and the share of the run spent on them is printed. With "sparse" instead
// the gathers take a sample every fourth step, as jobs whose record is
// coarser than the grid's time step do: once the signal has ended, the time
// loop then runs the quiet steps two at a time. A fifth argument "elastic"
// runs the elastic method instead (vs 1000 m/s, SuppressSV; 120 B/cell).
//
// Usage: bench_job [ondex] [n] [steps] [snap | sparse] [elastic]   (default build/ondex, 61,
// 300): 61 nodes and the 26-cell strips on each side give a 113^3 grid,
// 198 nodes a 250^3 grid.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <mpi.h>
#include <omp.h>
#include <unistd.h>

#include "base/Types.h"
#include "bench_common.h"
#include "files/SdsPC.h"

namespace
{

bool g_bSparse = false;    // a gather sample every fourth step
bool g_bElastic = false;   // the elastic method (vs 1000 m/s, SuppressSV)

bool WriteJob(const std::string& dir, int n, int nSteps, bool bSnap)
{
    const double c = 5.0 * (n - 1);
    FILE* fp = std::fopen((dir + "/survey.txt").c_str(), "w");
    if (!fp)
        return false;
    for (int r = 0; r < 21; r++)
        std::fprintf(fp, "%.1f %.1f %.1f %.1f %.1f 0.0 1 %d\n", c, c, c, 10.0 * (n - 1) * r / 20.0, c, r + 1);
    std::fclose(fp);
    fp = std::fopen((dir + "/runtask.ini").c_str(), "w");
    if (!fp)
        return false;
    std::fprintf(fp,
                 "[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = %s\nOutputDir = results\n"
                 "Model Name = vp.sgy\nFileModelD = rho.sgy\n%sPML = 1\n[Survey]\nGeometry = survey.txt\nt0 = 0\n"
                 "t1 = %.4f\ndt = %s\n[Mesh]\ndx = 10\ndt = 0.001\n[Source]\nType = 0\nFrequency = 15\n"
                 "Signal = 1\n%s",
                 g_bElastic ? "3D Elastic" : "3D Acoustic", g_bElastic ? "FileModelSW = vs.sgy\n" : "",
                 0.001 * (nSteps - 1), g_bSparse ? "0.004" : "0.001", g_bElastic ? "SuppressSV = 1\n" : "");
    if (bSnap)
    {
        std::fprintf(fp, "[Snapshot]\nEvery = 1\nt0 = 0.0095\ndt = 0.01\n[3DSnapshot]\ndx = 10\ndy = 10\ndz = 10\n"
                         "Components = C\nShots = 0\nTimes =");
        for (int k = 10; k < nSteps; k += 10)
            std::fprintf(fp, " %.4f", 0.001 * k - 0.0005);
        std::fprintf(fp, "\n");
    }
    std::fclose(fp);
    return true;
}

// Wall time of one run of the program in dir; the grid from its log.
double RunOnce(const std::string& ondex, const std::string& dir, int& nx, int& ny, int& nz)
{
    std::remove((dir + "/Ondex-0.log").c_str());
    const std::string cmd = "cd " + dir + " && " + ondex + " >/dev/null 2>&1";
    const double t0 = bench::Now();
    const int rc = std::system(cmd.c_str());
    const double t = bench::Now() - t0;
    if (rc != 0)
        return -1;
    FILE* fp = std::fopen((dir + "/Ondex-0.log").c_str(), "r");
    char line[512];
    while (fp && std::fgets(line, sizeof(line), fp))
        if (std::sscanf(line, "Model grids (x,y,z)=(%dx%dx%d)", &nx, &ny, &nz) == 3)
            break;
    if (fp)
        std::fclose(fp);
    return t;
}

} // namespace

int main(int argc, char** argv)
{
    MPI_Init(&argc, &argv);
    const std::string ondex = argc > 1 ? argv[1] : "build/ondex";
    const int n = argc > 2 ? std::atoi(argv[2]) : 61;
    const int nSteps = argc > 3 ? std::atoi(argv[3]) : 300;
    const bool bSnap = argc > 4 && std::string(argv[4]) == "snap";
    g_bSparse = argc > 4 && std::string(argv[4]) == "sparse";
    g_bElastic = argc > 5 && std::string(argv[5]) == "elastic";
    char szDir[] = "/tmp/ondex-bench-job-XXXXXX";
    if (n < 8 || nSteps < 10 || !mkdtemp(szDir))
    {
        std::printf("usage: %s [ondex] [n >= 8] [steps >= 10]\n", argv[0]);
        MPI_Finalize();
        return 2;
    }
    const std::string dir = szDir;
    const std::string exe = ondex[0] == '/' ? ondex : std::string(getcwd(nullptr, 0)) + "/" + ondex;
    // The writers log to the working directory: keep that in the job folder.
    const std::string cwd = getcwd(nullptr, 0);
    if (chdir(szDir) != 0 || !bench::WriteCube("vp.sgy", n, 2000.0f) || !bench::WriteCube("rho.sgy", n, 2000.0f) ||
        (g_bElastic && !bench::WriteCube("vs.sgy", n, 1000.0f)) || chdir(cwd.c_str()) != 0)
    {
        std::printf("could not write the model in %s\n", dir.c_str());
        MPI_Finalize();
        return 1;
    }
    const int nAll = omp_get_max_threads();
    const double bw = bench::MeasureTriadGBs(nAll);
    std::printf("triad bandwidth: %.2f GB/s (%d threads)\n", bw, nAll);
    int nx = 0, ny = 0, nz = 0;
    double tBest[2] = {1e300, 1e300};
    const int steps[2] = {g_bSparse ? 5 : 2, nSteps};   // a sparse record needs a sample in the short run
    for (int rep = 0; rep < 3; rep++)
        for (int k = 0; k < 2; k++)
        {
            if (!WriteJob(dir, n, steps[k], false))
                return 1;
            const double t = RunOnce(exe, dir, nx, ny, nz);
            if (t < 0)
            {
                std::printf("the run failed: see %s/Ondex-0.log\n", dir.c_str());
                MPI_Finalize();
                return 1;
            }
            tBest[k] = std::min(tBest[k], t);
        }
    const double cells = (double)nx * ny * nz;
    const double loop = tBest[1] - tBest[0];
    const double rate = cells * (nSteps - steps[0]) / loop / 1e6;
    const double limit = bw * 1e9 / (g_bElastic ? 120.0 : 56.0) / 1e6;
    std::printf("grid %dx%dx%d, %d steps: whole run %.2f s, set-up and saving %.2f s, time loop %.2f s\n", nx, ny,
                nz, nSteps, tBest[1], tBest[0], loop);
    std::printf("time loop: %.1f Mcells/s, limit at %d B/cell %.1f Mcells/s, ratio %.2f\n", rate, g_bElastic ? 120 : 56,
                limit, rate / limit);
    if (bSnap)
    {
        double tSnap = 1e300;
        for (int rep = 0; rep < 3; rep++)
        {
            if (!WriteJob(dir, n, nSteps, true))
                return 1;
            const double t = RunOnce(exe, dir, nx, ny, nz);
            if (t < 0)
            {
                std::printf("the run with snapshots failed: see %s/Ondex-0.log\n", dir.c_str());
                MPI_Finalize();
                return 1;
            }
            tSnap = std::min(tSnap, t);
        }
        std::printf("with a film row and a cube every 10 steps: whole run %.2f s, snapshots %.2f s = %.0f%% of the "
                    "run\n",
                    tSnap, tSnap - tBest[1], 100.0 * (tSnap - tBest[1]) / tSnap);
    }
    std::system(("rm -rf " + dir).c_str());
    MPI_Finalize();
    return 0;
}
