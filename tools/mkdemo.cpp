// Writes the demo job: a small layered earth model as SEG-Y cubes (P and S
// velocity, density), a survey of a few shots into a receiver line, and the
// job file runtask.ini. Usage: ondex_mkdemo <directory>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "base/Output.h"
#include "base/Types.h"
#include "files/SdsPC.h"

namespace {

const int NX = 81, NY = 81, NZ = 51;  // model nodes
const double DX = 10.0;                // metres between nodes

struct Layer { double zTop, vp, vs, rho; };
// A slow weathered layer, a sediment pack with a gentle dip, and a fast base.
const Layer kLayers[] = {
    {0.0, 1800.0, 900.0, 2000.0},
    {120.0, 2400.0, 1300.0, 2200.0},
    {300.0, 3200.0, 1800.0, 2400.0},
};

double Property(double x, double z, int which)
{
    const Layer* pick = &kLayers[0];
    for (const Layer& l : kLayers) {
        double top = l.zTop + (l.zTop > 200.0 ? 0.08 * (x - 400.0) : 0.0);  // dipping base
        if (z >= top) pick = &l;
    }
    return which == 0 ? pick->vp : which == 1 ? pick->vs : pick->rho;
}

bool WriteCube(const std::string& file, int which)
{
    C3DSizeN size;
    size.nx = NX; size.ny = NY; size.nz = NZ; size.nxy = NX * NY;
    CCubeR cube;
    cube.x0 = 0; cube.x1 = DX * (NX - 1);
    cube.y0 = 0; cube.y1 = DX * (NY - 1);
    cube.z0 = 0; cube.z1 = DX * (NZ - 1);
    for (const char* ext : {".cr2", ".inf", ".cr0"}) std::remove((file + ext).c_str());
    CSdsPC w;
    if (!w.Create3D_file(file.c_str(), size, cube, 0.f, DU_M, 0, nullptr)) return false;
    CSdsPC f;
    if (!f.OnOpen(file.c_str(), 1)) return false;
    std::vector<float> tr(NZ);
    for (int t = 0; t < f.m_nTraceCount; t++) {
        C3DPointR src, rec;
        f.GetCoord(t, src, rec);
        for (int k = 0; k < NZ; k++) tr[k] = (float)Property(rec.x, k * DX, which);
        if (!f.SetTrace(t, tr.data(), NZ)) return false;
    }
    return true;
}

bool WriteSurvey(const std::string& file)
{
    FILE* fp = std::fopen(file.c_str(), "w");
    if (!fp) return false;
    std::fprintf(fp, "; source x y z   receiver x y z   inline crossline\n");
    const double shotX[] = {200.0, 400.0, 600.0};
    for (double sx : shotX)
        for (int r = 0; r <= 60; r++)
            std::fprintf(fp, "%.1f 400.0 10.0 %.1f 400.0 0.0 1 %d\n", sx, 100.0 + 10.0 * r, r + 1);
    std::fclose(fp);
    return true;
}

bool WriteJob(const std::string& file)
{
    FILE* fp = std::fopen(file.c_str(), "w");
    if (!fp) return false;
    std::fputs(
        "# Ondex demo job: three shots over a small layered model.\n"
        "[TASK]\n"
        "taskType = modeling\n"
        "[modeling]\n"
        "Run Computation = 3D Acoustic\n"
        "OutputDir = results\n"
        "Model Name = vp.sgy\n"
        "FileModelD = rho.sgy\n"
        "[Survey]\n"
        "Geometry = survey.txt\n"
        "t0 = 0\n"
        "t1 = 0.6\n"
        "dt = 0.002\n"
        "[Mesh]\n"
        "dx = 10\n"
        "dt = 0.001\n"
        "[Source]\n"
        "Type = 0\n"
        "Frequency = 15\n"
        "Signal = 1\n"
        "; A film of X-Z planes through every shot, one row each 50 ms.\n"
        "[Snapshot]\n"
        "Every = 1\n"
        "t0 = 0.05\n"
        "dt = 0.05\n"
        "Y Offset = 0\n"
        "; Pressure cubes of the middle shot.\n"
        "[3DSnapshot]\n"
        "dx = 10\n"
        "dy = 10\n"
        "dz = 10\n"
        "Components = C\n"
        "Shots = 2\n"
        "Times = 0.15 0.3\n",
        fp);
    std::fclose(fp);
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s <directory>\n", argv[0]);
        return 2;
    }
    std::string dir = argv[1];
    if (make_dir(dir.c_str()) != 0) {
        std::fprintf(stderr, "cannot make %s\n", dir.c_str());
        return 1;
    }
    // The file writers report through the log of node 0; keep that log in the
    // demo folder.
    if (chdir(dir.c_str()) != 0) return 1;
    bool ok = WriteCube("vp.sgy", 0) && WriteCube("vs.sgy", 1) && WriteCube("rho.sgy", 2) &&
              WriteSurvey("survey.txt") && WriteJob("runtask.ini");
    std::printf(ok ? "demo job written to %s\n" : "could not write the demo job in %s\n", dir.c_str());
    return ok ? 0 : 1;
}
