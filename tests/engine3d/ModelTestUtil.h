#pragma once
// Helpers of the model, assembly, gather and physics tests: model cubes
// written as SEG-Y through the cube writer, gathers read back trace by trace,
// a homogeneous acoustic job run by the program.

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "base/Types.h"
#include "common/TestUtil.h"
#include "files/SdsPC.h"

namespace model_test
{

// A cube of nx * ny * nz nodes from (x0, y0, z0) with step d (dz down when
// given); the value of a node comes from f(x, y, z) in metres.
inline bool WriteCube(const std::string& file, int nx, int ny, int nz, double d, double x0, double y0, double z0,
                      const std::function<float(double, double, double)>& f, double dz = 0.0)
{
    if (dz <= 0.0)
        dz = d;
    for (const char* ext : {".cr2", ".inf", ".cr0"})
        std::remove((file + ext).c_str());
    CSdsPC w;
    const CCubeR cube(x0, y0, z0, x0 + d * (nx - 1), y0 + d * (ny - 1), z0 + dz * (nz - 1));
    if (!w.Create3D_file(file.c_str(), C3DSizeN(nx, ny, nz), cube, 0.f, DU_M, 0, nullptr))
        return false;
    CSdsPC c;
    if (!c.OnOpen(file.c_str(), 1))
        return false;
    std::vector<float> tr(nz);
    for (int t = 0; t < c.m_nTraceCount; t++)
    {
        C3DPointR src, rec;
        if (!c.GetCoord(t, src, rec))
            return false;
        for (int k = 0; k < nz; k++)
            tr[k] = f(rec.x, rec.y, z0 + k * dz);
        if (!c.SetTrace(t, tr.data(), nz))
            return false;
    }
    return true;
}

inline bool WriteText(const std::string& file, const std::string& text) { return testutil::WriteFile(file, text); }

// All traces of a file; empty when it cannot be opened.
inline std::vector<std::vector<float>> ReadGather(const std::string& file)
{
    std::vector<std::vector<float>> v;
    CSdsPC g;
    if (!g.OnOpen(file.c_str(), 0))
        return v;
    for (int t = 0; t < g.m_nTraceCount; t++)
    {
        std::vector<float> tr(g.m_nTraceLen);
        if (!g.GetTrace(t, tr.data(), g.m_nTraceLen))
            return {};
        v.push_back(tr);
    }
    return v;
}

// A model of n^3 nodes from 0 every 10 m, vp 2000 m/s, density rho, run
// in dir by the program (3D Acoustic, Ricker of frequency f) with the given
// survey rows and further sections. The exit status; out gets the
// program's output and its log.
inline int RunAcoustic(const std::string& dir, int n, float rho, const std::string& survey, double t1, double dt,
                       double f, const std::string& extra, std::string& out)
{
    auto vp = [](double, double, double) { return 2000.0f; };
    auto d = [rho](double, double, double) { return rho; };
    char job[2048];
    snprintf(job, sizeof(job),
             "[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = 3D Acoustic\n"
             "Model Name = vp.sgy\nFileModelD = rho.sgy\nSmooth Model = 0\n"
             "[Survey]\nGeometry = survey.txt\nt0 = 0\nt1 = %g\ndt = %g\n"
             "[Mesh]\ndx = 10\ndt = %g\n[Source]\nType = 0\nFrequency = %g\nSignal = 1\n%s",
             t1, dt, dt, f, extra.c_str());
    if (!WriteCube(dir + "/vp.sgy", n, n, n, 10, 0, 0, 0, vp) || !WriteCube(dir + "/rho.sgy", n, n, n, 10, 0, 0, 0, d)
        || !WriteText(dir + "/survey.txt", survey) || !WriteText(dir + "/runtask.ini", job))
        return -1;
    const int st = testutil::Run("cd '" + dir + "' && '" + ONDEX_BINARY_DIR + "/ondex'", out);
    out += testutil::ReadFile(dir + "/Ondex-0.log");
    return st;
}

} // namespace model_test
