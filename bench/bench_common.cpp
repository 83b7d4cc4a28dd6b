#include "bench_common.h"

#include <fcntl.h>
#include <omp.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "files/SdsPC.h"

namespace bench {

double Now()
{
    timeval tv;
    gettimeofday(&tv, nullptr);
    return tv.tv_sec + tv.tv_usec * 1e-6;
}

double MeasureTriadGBs(int nThreads, size_t n)
{
    std::vector<double> a(n), b(n), c(n);
    double* pa = a.data();
    const double* pb = b.data();
    const double* pc = c.data();
#pragma omp parallel for num_threads(nThreads) schedule(static)
    for (size_t i = 0; i < n; i++) {
        a[i] = 0.0;
        b[i] = 1.0 + i * 1e-9;
        c[i] = 2.0;
    }
    double best = 1e30;
    for (int rep = 0; rep < 5; rep++) {
        double t0 = Now();
#pragma omp parallel for num_threads(nThreads) schedule(static)
        for (size_t i = 0; i < n; i++)
            pa[i] = pb[i] + 3.0 * pc[i];
        best = std::min(best, Now() - t0);
    }
    if (a[n / 2] < 0) std::printf("!");  // keep the loop alive
    return 4.0 * n * sizeof(double) / best / 1e9;
}

void DropFromCache(const std::string& path)
{
    int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) return;
    fdatasync(fd);
    posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    close(fd);
}

int64_t FileSize(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? (int64_t)st.st_size : -1;
}

double MeasureDiskReadMBs(const std::string& dir, size_t nBytes)
{
    std::string path = dir + "/bench-disk-probe.bin";
    std::vector<char> block(4u << 20, 'x');
    FILE* fp = std::fopen(path.c_str(), "wb");
    if (!fp) return -1;
    for (size_t done = 0; done < nBytes; done += block.size())
        std::fwrite(block.data(), 1, block.size(), fp);
    std::fclose(fp);
    DropFromCache(path);
    int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) return -1;
    double t0 = Now();
    size_t total = 0;
    ssize_t got;
    while ((got = read(fd, block.data(), block.size())) > 0)
        total += got;
    double t = Now() - t0;
    close(fd);
    unlink(path.c_str());
    return total / t / 1e6;
}


StepRate TimeStepRate(const std::function<void()>& step, double cells, int nThreads)
{
    omp_set_num_threads(nThreads);
    step();
    const int nSteps = std::max(2, (int)(1.5e8 / cells / (nThreads > 1 ? 1 : 2)));
    double tBest = 1e300;
    double triad[3];
    for (int rep = 0; rep < 3; rep++)
    {
        const double t0 = Now();
        for (int s = 0; s < nSteps; s++)
            step();
        tBest = std::min(tBest, Now() - t0);
        triad[rep] = MeasureTriadGBs(nThreads, 8u << 20);
    }
    std::sort(triad, triad + 3);
    return {cells * nSteps / tBest / 1e6, nSteps, triad[1]};
}

bool WriteCube(const std::string& file, int n, float value)
{
    const double e = 10.0 * (n - 1);
    CSdsPC w;
    if (!w.Create3D_file(file.c_str(), C3DSizeN(n, n, n), CCubeR(0, 0, 0, e, e, e), 0.f, DU_M, 0, nullptr))
        return false;
    CSdsPC f;
    if (!f.OnOpen(file.c_str(), 1))
        return false;
    std::vector<float> tr(n);
    for (int t = 0; t < f.m_nTraceCount; t++)
    {
        // The writer scales the buffer in place: fill it for every trace.
        std::fill(tr.begin(), tr.end(), value);
        if (!f.SetTrace(t, tr.data(), n))
            return false;
    }
    return true;
}

}  // namespace bench
