// Seismic file throughput: opening and cataloguing a SEG-Y file of many short
// traces, and building a model cube in memory from a cube file. Each figure is
// printed beside the disk's cold sequential read speed measured in this run.
//
// Usage: bench_files [work-dir] [traces] [cube-n]
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>
#include <unistd.h>

#include "base/Output.h"
#include "bench_common.h"
#include "files/SdsPC.h"

static void RemoveSideFiles(const std::string& f)
{
    for (const char* ext : {".cr2", ".inf", ".cr0"})
        unlink((f + ext).c_str());
}

int main(int argc, char** argv)
{
    std::string dir = argc > 1 ? argv[1] : ".";
    int nTraces = argc > 2 ? std::atoi(argv[2]) : 1000000;
    int nCube = argc > 3 ? std::atoi(argv[3]) : 400;
    const int nSamples = 50;
    // The file object reports through the log; keep it out of the benchmark's
    // working directory listing by running quiet on a high node number.
    g_nSize = 2;
    g_nNode = 1;

    double disk = bench::MeasureDiskReadMBs(dir);
    std::printf("disk sequential read (cold): %.0f MB/s\n", disk);

    // --- 1. open and catalogue a file of short traces -----------------------
    std::string sgy = dir + "/bench-traces.sgy";
    {
        std::vector<float> data((size_t)nTraces * nSamples);
        for (size_t i = 0; i < data.size(); i++)
            data[i] = std::sin(0.01 * (double)i);
        CRectR rect;
        rect.x0 = 0; rect.x1 = 12.5 * (nTraces - 1);
        rect.y0 = 0; rect.y1 = 4.0 * (nSamples - 1);
        CSizeN size;
        size.nx = nTraces; size.ny = nSamples; size.nxy = nTraces * nSamples;
        CSdsPC w;
        w.m_DataUnit = DU_MSEC;
        RemoveSideFiles(sgy);
        if (!w.OnSave(sgy.c_str(), data.data(), rect, size, 0, 0, false, nullptr, DU_MSEC)) {
            std::printf("could not write %s\n", sgy.c_str());
            return 1;
        }
    }
    double mb = bench::FileSize(sgy) / 1e6;
    RemoveSideFiles(sgy);
    bench::DropFromCache(sgy);
    double t0 = bench::Now();
    {
        CSdsPC f;
        if (!f.OnOpen(sgy.c_str())) { std::printf("open failed\n"); return 1; }
        if (f.m_nTraceCount != nTraces) std::printf("warning: %d traces catalogued\n", f.m_nTraceCount);
    }
    double tScan = bench::Now() - t0;
    bench::DropFromCache(sgy);
    t0 = bench::Now();
    {
        CSdsPC f;
        f.OnOpen(sgy.c_str());
    }
    double tCat = bench::Now() - t0;
    std::printf("open+catalogue %d traces x %d samples (%.0f MB): scan %.2f s = %.0f MB/s (%.0f%% of disk), "
                "with .cr2 catalogue %.3f s\n",
                nTraces, nSamples, mb, tScan, mb / tScan, 100.0 * mb / tScan / disk, tCat);
    RemoveSideFiles(sgy);
    unlink(sgy.c_str());

    // --- 2. Get3D_buf of a model cube ----------------------------------------
    std::string cubeFile = dir + "/bench-cube.sgy";
    C3DSizeN size;
    size.nx = size.ny = size.nz = nCube;
    size.nxy = nCube * nCube;
    CCubeR cube;
    cube.x0 = cube.y0 = cube.z0 = 0;
    cube.x1 = cube.y1 = cube.z1 = 10.0 * (nCube - 1);
    RemoveSideFiles(cubeFile);
    {
        CSdsPC w;
        if (!w.Create3D_file(cubeFile.c_str(), size, cube, 0.f, DU_M, 0, nullptr)) {
            std::printf("could not create %s\n", cubeFile.c_str());
            return 1;
        }
    }
    {
        CSdsPC w;
        if (!w.OnOpen(cubeFile.c_str(), 1)) { std::printf("reopen for writing failed\n"); return 1; }
        std::vector<float> tr(nCube);
        for (int i = 0; i < w.m_nTraceCount; i++) {
            for (int k = 0; k < nCube; k++) tr[k] = 1500.f + k + 0.001f * i;
            w.SetTrace(i, tr.data(), nCube);
        }
    }
    mb = bench::FileSize(cubeFile) / 1e6;
    std::vector<float> out((size_t)nCube * nCube * nCube);
    for (int pass = 0; pass < 2; pass++) {
        CSdsPC f;
        if (!f.OnOpen(cubeFile.c_str())) { std::printf("cube open failed\n"); return 1; }
        if (pass == 0) bench::DropFromCache(cubeFile);
        t0 = bench::Now();
        bool ok = f.Get3D_buf(size, cube, out.data(), nullptr, 0, 0.f);
        double t = bench::Now() - t0;
        std::printf("Get3D_buf %d^3 (%.0f MB file, %s cache): %s %.2f s = %.0f MB/s (%.0f%% of disk)\n", nCube, mb,
                    pass == 0 ? "cold" : "warm", ok ? "ok" : "FAILED", t, mb / t, 100.0 * mb / t / disk);
    }
    RemoveSideFiles(cubeFile);
    unlink(cubeFile.c_str());
    return 0;
}
