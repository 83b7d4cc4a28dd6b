// Throughput of the vertical incidence engine: a survey of 10,000 traces
// over a 2000-sample column, the whole trace loop with its file output, on 1
// and on 2 threads. Prints traces per second and the ratio of the two.
//
//   bench_1d [steps]   (default 400 time steps per trace)

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

#include "bench_common.h"
#include "engine1d/Calc1D.h"
#include "files/SdsPC.h"
#include "run/OndexApp.h"

namespace
{

const int kTraces = 10000;
const int kNz = 2000;
const double kDz = 2.0;
const double kDt = 0.0004;
const double kFreq = 15.0;

bool WriteCube(const char* pszFile, float fTop, float fBottom)
{
    CSdsPC w;
    const CCubeR cube(0, 0, 0, 1000, 1000, kDz * (kNz - 1));
    if (!w.Create3D_file(pszFile, C3DSizeN(2, 2, kNz), cube, 0.f, DU_M, 0, nullptr))
        return false;
    CSdsPC c;
    if (!c.OnOpen(pszFile, 1))
        return false;
    std::vector<float> tr(kNz);
    for (int t = 0; t < c.m_nTraceCount; t++)
    {
        // A layer boundary that moves across the model, so columns differ.
        for (int k = 0; k < kNz; k++)
            tr[k] = k < 600 + 200 * t ? fTop : fBottom;
        if (!c.SetTrace(t, tr.data(), kNz))
            return false;
    }
    return true;
}

// Seconds of one whole trace loop on nThreads; negative on failure.
double RunOnce(int nThreads, int nSteps)
{
    COndexApp app;
    CCalc1D calc(app);
    app.m_Type = 100;
    app.m_strModelPW = "vp.sgy";
    app.m_strModelD = "rho.sgy";
    app.m_t0 = 0.0;
    app.m_dt = 0.002;
    app.m_t1 = nSteps * kDt - 2.0 / kFreq;
    app.m_nSmoothModel = 0;
    app.m_nThreads = nThreads;
    calc.m_dz = kDz;
    calc.m_dt = kDt;
    calc.m_Signal.m_dFreq = kFreq;
    calc.m_Signal.m_nSignal = 1;
    if (calc.GenerateSignal() != 0 || app.m_Survey.LoadSurvey("survey.txt", false) != 0
        || calc.PrepareSurvey(app.m_Survey, false) != 0 || calc.AllocateMemory(false, false) != 0
        || calc.InitModel() != 0)
        return -1;
    const double t0 = bench::Now();
    if (calc.Calculate() != 0)
        return -1;
    return bench::Now() - t0;
}

} // namespace

int main(int argc, char** argv)
{
    const int nSteps = argc > 1 ? atoi(argv[1]) : 400;
    char szDir[] = "/tmp/bench_1d_XXXXXX";
    if (!mkdtemp(szDir) || chdir(szDir) != 0)
        return 1;
    if (!WriteCube("vp.sgy", 2000.0f, 3000.0f) || !WriteCube("rho.sgy", 2000.0f, 2400.0f))
        return 1;
    FILE* fp = fopen("survey.txt", "w");
    if (!fp)
        return 1;
    for (int i = 0; i < kTraces; i++)
    {
        const double x = (i % 100) * 10.0, y = (i / 100) * 10.0;
        fprintf(fp, "%g %g 10 %g %g 10 1 1\n", x, y, x, y);
    }
    fclose(fp);

    const double t1 = RunOnce(1, nSteps);
    const double t2 = RunOnce(2, nSteps);
    if (t1 <= 0 || t2 <= 0)
    {
        fprintf(stderr, "bench_1d: the job failed (see %s/Ondex-0.log)\n", szDir);
        return 1;
    }
    const double cells = (double)kTraces * nSteps * (kNz + 2 * 26);
    printf("\nbench_1d: %d traces, %d-sample column (%d cells), %d steps\n", kTraces, kNz, kNz + 2 * 26, nSteps);
    printf("  1 thread : %8.1f traces/s  (%.2f s, %.2f Gcell-steps/s)\n", kTraces / t1, t1, cells / t1 * 1e-9);
    printf("  2 threads: %8.1f traces/s  (%.2f s, %.2f Gcell-steps/s)\n", kTraces / t2, t2, cells / t2 * 1e-9);
    printf("  ratio    : %.2fx\n", t1 / t2);
    (void)!system((std::string("rm -rf ") + szDir).c_str());
    return 0;
}
