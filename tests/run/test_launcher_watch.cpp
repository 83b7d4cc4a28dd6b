// A run under mpiexec whose launcher dies: every rank must end by itself
// within seconds, instead of computing or waiting on for a job that no one
// can end any more.

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <set>
#include <string>
#include <thread>

#include "../engine3d/ModelTestUtil.h"
#include "RunTestUtil.h"

namespace
{

class LauncherWatch : public RunTempDir
{
protected:
    // The ranks of the job started in this test's directory.
    std::set<int> Ranks(std::set<int>* pParents = nullptr) const
    {
        std::set<int> v;
        for (const testutil::RankProcess& r : testutil::ProgramRanks())
            if (r.cwd == m_tmp->path())
            {
                v.insert(r.pid);
                if (pParents)
                    pParents->insert(r.ppid);
            }
        return v;
    }
};

TEST_F(LauncherWatch, RanksEndWhenTheLauncherIsKilled)
{
    if (system("command -v mpiexec > /dev/null 2>&1") != 0 || !Exists(kProgram))
        GTEST_SKIP() << "no mpiexec or no program";
    auto vp = [](double, double, double) { return 2000.0f; };
    ASSERT_TRUE(model_test::WriteCube("vp.sgy", 9, 9, 9, 10.0, 0, 0, 0, vp));
    WriteFile("survey.txt", "40 40 40 50 40 40\n30 30 30 40 30 30\n");
    // Two shots of 60 s model time: minutes of work, so that the ranks are
    // busy (computing, or waiting on the master) when the launcher goes.
    WriteFile("runtask.ini", "[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = 3D Acoustic\n"
                             "Model Name = vp.sgy\nSmooth Model = 0\n[MPI]\nSkip Device Count Detection = 1\n"
                             "[Survey]\nGeometry = survey.txt\nt0 = 0\nt1 = 60\ndt = 0.002\n"
                             "[Mesh]\ndx = 10\ndt = 0.001\n[Source]\nFrequency = 20\n");
    testutil::MpiexecLock lock;
    ASSERT_EQ(0, system(("mpiexec -n 3 " + kProgram + " x 1 2 > mpiexec.out 2>&1 &").c_str()));
    std::set<int> ranks, parents;
    for (int i = 0; i < 200 && ranks.size() < 3; i++)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        parents.clear();
        ranks = Ranks(&parents);
    }
    ASSERT_EQ(3u, ranks.size()) << ReadFile("mpiexec.out");
    std::this_thread::sleep_for(std::chrono::seconds(2));   // into the shots
    ASSERT_EQ(ranks, Ranks()) << "the job ended before its launcher was killed\n" << ReadFile("mpiexec.out");
    for (int p : parents)   // the launcher's proxy on this machine
        if (p > 1)
            kill(p, SIGKILL);
    // The watch looks once a second.
    const auto t0 = std::chrono::steady_clock::now();
    while (!Ranks().empty() && std::chrono::steady_clock::now() - t0 < std::chrono::seconds(10))
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    EXPECT_TRUE(Ranks().empty()) << "ranks still running " << s << " s after the launcher was killed";
    EXPECT_LT(s, 4.0);
    // The master waits for its workers and writes nothing meanwhile: it is
    // the watch, not a broken pipe, that ends it.
    EXPECT_NE(std::string::npos, Log().find("Error! The launcher of this process has gone: ending it.\n")) << Log();
    for (int r : Ranks())
        kill(r, SIGKILL);
}

} // namespace
