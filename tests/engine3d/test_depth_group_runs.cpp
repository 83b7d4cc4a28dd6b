// Whole runs of the program: a shot computed by a depth group of 2, 3 or 4
// processes must write the very bytes one process writes (gathers, 3D
// cubes, time fields), and a failing member must stop the whole job.

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "ModelTestUtil.h"
#include "common/TestUtil.h"
#include "engine3d/Calc3D.h"
#include "files/SdsPC.h"
#include "run/OndexApp.h"

namespace
{
const std::string kProgram = std::string(ONDEX_BINARY_DIR) + "/ondex";
const double DX = 15.0;
// Model nodes, 90 x 90 x 900 m: deep enough that every slab of four nodes
// holds planes of the model besides the absorbing strip.
const int NX = 7, NY = 7, NZ = 61;
// Film columns over the 90 m: one process samples at 10 m, a group at 15 m.
const int kFilmColumns1 = 10, kFilmColumnsGroup = 7;

// Method: 101 acoustic, 102 elastic, 103 orthorhombic, 104 tilted 21
// constants; surface 0 invisible, 1 free (over an air layer); mechanisms.
struct SRow { const char* pszName; int nType; bool bPML; int nSurf, nViscoL; std::vector<int> vGroups; };

const SRow kRows[] = {
    {"acoustic PML invisible", 101, true, 0, 0, {2, 3, 4}},
    {"acoustic sponge free", 101, false, 1, 0, {2, 3}},
    {"elastic PML free", 102, true, 1, 0, {2, 3}},
    {"elastic sponge invisible", 102, false, 0, 0, {2}},
    {"viscoelastic PML invisible", 102, true, 0, 2, {3}},
    {"orthorhombic PML free", 103, true, 1, 0, {2}},
    {"tilted 21 constants, viscoelastic, PML invisible", 104, true, 0, 2, {2}},
    {"tilted 21 constants sponge free", 104, false, 1, 0, {3}},
};

// A layered earth; with a free surface its top 30 m are air, so that the
// source and the receivers above walk down to the rock. bFast puts a layer
// no time step of the job can carry at the bottom.
bool WriteModel(const std::string& dir, bool bAir, bool bFast)
{
    auto vp = [&](double, double, double z) -> float {
        if (bAir && z < 30.0)
            return 0.0f;
        if (bFast && z > 800.0)
            return 60000.0f;
        return z < 450.0 ? 1800.0f : (z < 500.0 ? 2500.0f : 3000.0f);
    };
    auto vs = [&](double x, double y, double z) { return vp(x, y, z) / 1.9f; };
    auto rho = [&](double x, double y, double z) { return vp(x, y, z) > 0 ? 1900.0f + z : 0.0f; };
    auto q = [&](double x, double y, double z) { return vp(x, y, z) > 0 ? 40.0f + 0.1f * (float)z : 0.0f; };
    using model_test::WriteCube;
    return WriteCube(dir + "/vp.sgy", NX, NY, NZ, DX, 0, 0, 0, vp) &&
           WriteCube(dir + "/vs.sgy", NX, NY, NZ, DX, 0, 0, 0, vs) &&
           WriteCube(dir + "/rho.sgy", NX, NY, NZ, DX, 0, 0, 0, rho) &&
           WriteCube(dir + "/q.sgy", NX, NY, NZ, DX, 0, 0, 0, q);
}

// The shot (465 m, whole-grid plane 57) sits where the slabs of two and of
// four nodes meet; receivers on
// every plane of a vertical line and on a surface line, so that each slab
// border of every group has receivers on it and next to it. A group writes
// the traces in the order of its nodes, so the survey lists them downward.
std::string Survey()
{
    std::string s;
    char line[160];
    for (int i = 0; i < NX; i++)
    {
        snprintf(line, sizeof(line), "45 45 465 %g 60 0 2 %d\n", i * DX, i + 1);
        s += line;
    }
    for (int k = 0; k < NZ; k++)
    {
        snprintf(line, sizeof(line), "45 45 465 30 45 %g 1 %d\n", k * DX, k + 1);
        s += line;
    }
    return s;
}

std::string Job(const SRow& row, const std::string& strGroup, double t1)
{
    std::string j = "[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = ";
    j += row.nType == 101 ? "3D Acoustic" : (row.nType == 102 ? "3D Elastic" : "3D Elastic Anisotropic");
    if (row.nType >= 103)
        j += "\nFileAnisEpsilon = 0.2\nFileAnisDelta = 0.1\nFileAnisGamma = 0.15";
    if (row.nType == 104)
        j += "\nTTI Anisotropy = 1\nFileAnisPhi = 30\nFileAnisAzimuth = 20";
    j += "\nOutputDir = res/\nModel Name = vp.sgy\nFileModelSW = vs.sgy\nFileModelD = rho.sgy\n";
    if (row.nViscoL > 0)
        j += "FileModelQ = q.sgy\n";
    j += std::string("PML = ") + (row.bPML ? "1" : "0") + "\nSurfType = " + std::to_string(row.nSurf) +
         "\nMargin = 0\nFirst Point = 1\nLast Point = 1\n" + strGroup;
    j += "[Survey]\nGeometry = survey.txt\nt0 = 0\nt1 = " + std::to_string(t1) + "\ndt = 0.002\n";
    j += "[Mesh]\ndx = 15\ndt = 0.001\n[Source]\nType = 0\nFrequency = 25\nSignal = 1\n";
    if (row.nViscoL > 0)
        j += "[ViscoElastic]\nL = " + std::to_string(row.nViscoL) + "\n";
    j += "[Snapshot]\nEvery = 1\nt0 = 0.01\ndt = 0.01\n";
    j += "[3DSnapshot]\nComponents = CZ\nShots = 0\nTimes = 0.02 0.03\n";
    j += "[Time]\nType = 3\n";
    j += "[optimization]\nthreads per process = 1\nSkip Device Count Detection = 1\n";
    return j;
}

// Runs the program on n processes in dir, under a time limit. The exit
// status, or -1 when it was killed or timed out.
int RunProgram(const std::string& dir, int n, std::string& strOut)
{
    testutil::MpiexecLock lock;
    return testutil::Run("cd '" + dir + "' && rm -rf res && mkdir res && timeout 90 mpiexec -n " +
                             std::to_string(n) + " '" + kProgram + "'",
                         strOut);
}

std::vector<std::string> ResultFiles(const std::string& dir)
{
    std::string out, s;
    testutil::Run("ls '" + dir + "/res'", out);
    std::vector<std::string> v;
    for (std::istringstream in(out); std::getline(in, s);)
        v.push_back(s);
    return v;
}

// The memory one process would need for shot 1, as the master probes it.
double MemoryNeeded(const std::string& dir)
{
    char cwd[4096];
    if (!getcwd(cwd, sizeof(cwd)) || chdir(dir.c_str()) != 0)
        return 0.0;
    double d = 0.0;
    {
        COndexApp app;
        if (app.ReadTask("runtask.ini") == 0 && app.LoadSurveyGeometry() == 0 &&
            app.m_pCalc3D->GenerateSignal() == 0 && app.m_pCalc3D->PrepareSource(1, app.m_Survey, true) == 0 &&
            app.m_pCalc3D->AllocateMemory(true, true) == 0)
            d = app.m_fMemNeeded;
    }
    (void)!chdir(cwd);
    return d;
}

bool IsFilm(const std::string& f) { return f.size() > 4 && f.substr(f.size() - 4) == ".vmg"; }

bool HasMpiexec()
{
    return system("command -v mpiexec > /dev/null 2>&1") == 0 && testutil::FileExists(kProgram);
}

TEST(DepthGroupRuns, GroupsWriteWhatOneProcessWrites)
{
    if (!HasMpiexec())
        GTEST_SKIP() << "mpiexec or the program is missing";
    for (const SRow& row : kRows)
    {
        SCOPED_TRACE(row.pszName);
        testutil::TempDir dir;
        ASSERT_TRUE(WriteModel(dir.path(), row.nSurf == 1, false));
        ASSERT_TRUE(model_test::WriteText(dir / "survey.txt", Survey()));
        // Well past the signal (0.16 s), where one process runs quiet steps
        // two at a time and a group one at a time.
        const double t1 = 0.2;
        ASSERT_TRUE(model_test::WriteText(dir / "runtask.ini", Job(row, "", t1)));
        std::string strOut;
        ASSERT_EQ(0, RunProgram(dir.path(), 1, strOut)) << strOut;
        const std::vector<std::string> vFiles = ResultFiles(dir.path());
        ASSERT_EQ(12u, vFiles.size()) << strOut;   // 4 gathers, 4 cubes, 2 time fields, film and its catalogue
        std::vector<std::string> vOne;
        int nFrames = 0;
        for (const std::string& f : vFiles)
        {
            vOne.push_back(testutil::ReadFile(dir / ("res/" + f)));
            CSdsPC film;
            if (IsFilm(f) && film.OnOpen((dir / ("res/" + f)).c_str(), 0))
                nFrames = film.m_nTraceCount;
        }
        EXPECT_GT(nFrames, 0);
        // Not a field of zeros: the vertical line's gather has moved.
        const auto gather = model_test::ReadGather(dir / "res/vp+Gath3D" + (row.nType == 101 ? "A" : (row.nType == 102 ? "E" : "N")) + "PUz.sgy");
        ASSERT_EQ((size_t)(NZ + NX), gather.size());
        float fMax = 0.0f;
        for (const auto& tr : gather)
            for (float v : tr)
                fMax = std::max(fMax, std::fabs(v));
        EXPECT_GT(fMax, 1.0f);

        std::vector<std::string> vGroups;
        for (int g : row.vGroups)
            vGroups.push_back("[MPI]\nGroup Size = " + std::to_string(g) + "\n");
        // The first row also forms its group of two from the memory probe.
        if (&row == &kRows[0])
        {
            const double dNeed = MemoryNeeded(dir.path());
            ASSERT_GT(dNeed, 4.0);
            vGroups.push_back("Memory Limit = " + std::to_string((int)(dNeed * 0.75)) + "\n");
        }
        for (size_t k = 0; k < vGroups.size(); k++)
        {
            const int g = k < row.vGroups.size() ? row.vGroups[k] : 2;
            SCOPED_TRACE(vGroups[k]);
            ASSERT_TRUE(model_test::WriteText(dir / "runtask.ini", Job(row, vGroups[k], t1)));
            ASSERT_EQ(0, RunProgram(dir.path(), g + 1, strOut)) << strOut;
            EXPECT_NE(std::string::npos, strOut.find("MPI Nodes Per Group           = " + std::to_string(g)))
                << strOut;
            for (size_t i = 0; i < vFiles.size(); i++)
            {
                const std::string name = dir / ("res/" + vFiles[i]), s = testutil::ReadFile(name);
                CSdsPC film;   // sampled at 15 m by a group, at 10 m by one process: only its frames compare
                const bool bSame = IsFilm(vFiles[i])
                                       ? film.OnOpen(name.c_str(), 0) &&
                                             nFrames * kFilmColumnsGroup == film.m_nTraceCount * kFilmColumns1
                                       : s == vOne[i] || vFiles[i].find(".vmg") != std::string::npos;
                EXPECT_TRUE(bSame) << vFiles[i] << " differs from one process";   // the film's catalogue aside
            }
        }
    }
}

// A member that meets an unstable layer ends its group and the whole job:
// every rank stops, well within the time limit.
TEST(DepthGroupRuns, FailingMemberStopsTheJob)
{
    if (!HasMpiexec())
        GTEST_SKIP() << "mpiexec or the program is missing";
    testutil::TempDir dir;
    ASSERT_TRUE(WriteModel(dir.path(), false, true));
    ASSERT_TRUE(model_test::WriteText(dir / "survey.txt", Survey()));
    ASSERT_TRUE(model_test::WriteText(dir / "runtask.ini", Job(kRows[0], "[MPI]\nGroup Size = 2\n", 0.3)));
    std::string strOut;
    const int nStatus = RunProgram(dir.path(), 3, strOut);
    EXPECT_NE(0, nStatus) << strOut;
    EXPECT_NE(124, nStatus) << "a rank was left waiting\n" << strOut;
    EXPECT_NE(std::string::npos, strOut.find("Simulation failed!")) << strOut;
    const std::string strLog = testutil::ReadFile(dir / "Ondex-2.log");
    EXPECT_NE(std::string::npos, strLog.find("The calculation scheme is unstable")) << strLog;
}

} // namespace
