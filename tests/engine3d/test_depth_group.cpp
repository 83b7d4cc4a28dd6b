// Surfaces in a depth group of two processes. The test program starts
// itself under "mpiexec -n 2" for the member case, which skips when run
// alone. The surfaces of the group must give, on the planes each node
// computes, what one process gives on the whole grid.

#include <gtest/gtest.h>

#include <climits>
#include <mpi.h>
#include <unistd.h>
#include <vector>

#include "FakeEngine.h"
#include "files/files_test_util.h"

namespace
{

int WorldSize()
{
    int n = 0;
    MPI_Comm_size(MPI_COMM_WORLD, &n);
    return n;
}

TEST(DepthGroup, MembersUnderTwoProcesses)
{
    if (WorldSize() != 1)
        GTEST_SKIP() << "this case starts the member cases itself";
    if (system("command -v mpiexec > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "mpiexec is not available: the depth group cases are not run";
    char szSelf[PATH_MAX] = {0};
    ASSERT_GT(readlink("/proc/self/exe", szSelf, sizeof(szSelf) - 1), 0);
    sdspc_test::TempDir dir;
    std::string text;
    testutil::MpiexecLock lock;
    EXPECT_EQ(0, testutil::Run(std::string("cd '") + dir.path() + "' && mpiexec -n 2 '" + szSelf +
                                   "' --gtest_filter='DepthGroupMember.*'",
                               text))
        << text;
    EXPECT_EQ(std::string::npos, text.find("FAILED")) << text;
    EXPECT_EQ(std::string::npos, text.find("SKIPPED ]")) << text;
    EXPECT_NE(std::string::npos, text.find("[  PASSED  ] 1 test")) << text;
}

// Whole grid 4 x 3 x 20, halo 2: node 0 holds planes 0..11 (computes
// 0..9), node 1 planes 8..19 (computes 10..19).
const int NX = 4, NY = 3, NZALL = 20, H = 2;

// Rock of column c from plane a to plane b (inclusive); a < 0: all air.
struct Column { int a, b; };
// The halo rules of the group differ from one process near slab ends, and
// the columns keep away from them: no rock ends at plane 11 (a last rock
// within h + 1 planes of a node's top fills that node's whole slab, plane
// 10 too), and no surface lies in the last three planes of node 1 (a
// surface within h + 1 planes of a node's end fills that node's whole slab).
const Column kColumns[NX * NY] = {
    {6, 19},  {9, 14},  {11, 19}, {-1, -1}, {15, 19}, {4, 9},
    {4, 10},  {3, 12},  {2, 19},  {5, 13},  {7, 8},   {12, 13},
};

float VpAt(int c, int z)
{
    const Column& k = kColumns[c];
    return k.a >= 0 && z >= k.a && z <= k.b ? (float)(1500 + 10 * z + 100 * c) : 0.0f;
}

struct Grids { std::vector<float> vp, rho, q; };

Grids MakeGrids(int z0, int nz)
{
    Grids g;
    const size_t nxy = NX * NY;
    g.vp.resize(nxy * nz);
    g.rho.resize(nxy * nz);
    g.q.resize(nxy * nz);
    for (int iz = 0; iz < nz; iz++)
        for (size_t c = 0; c < nxy; c++)
        {
            const float v = VpAt((int)c, z0 + iz);
            g.vp[iz * nxy + c] = v;
            g.rho[iz * nxy + c] = v > 0 ? 2000.0f + (z0 + iz) + c : 0.0f;
            g.q[iz * nxy + c] = v > 0 ? 50.0f + (z0 + iz) : 0.0f;
        }
    return g;
}

// The surfaces of one process (a slab of nz planes from z0) on the grids.
void MakeSurfaces(CCalc3D& e, Grids& g, int z0, int nz)
{
    e.m_nx = NX, e.m_ny = NY, e.m_nz = nz, e.m_nZ0 = z0, e.m_nZ1 = z0 + nz - 1, e.m_nZAll = NZALL;
    e.m_nHalo = H, e.m_nTaper = 3, e.m_nSurfType = 0;
    e.m_pVp = g.vp.data(), e.m_pRho = g.rho.data(), e.m_pQ = g.q.data();
    EXPECT_EQ(0, e.MakeSurface());
    EXPECT_EQ(0, e.MakeSurfaceBottomDistributed());
    e.m_pVp = e.m_pRho = e.m_pQ = nullptr;
}

TEST(DepthGroupMember, SurfacesMatchOneProcess)
{
    if (WorldSize() != 2)
        GTEST_SKIP() << "a member case of a two-process depth group; run by DepthGroup.MembersUnderTwoProcesses";
    int nRank = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &nRank);
    // The whole grid in one process, as reference.
    COndexApp appOne;
    appOne.m_nGroupSize = 1;
    CFakeEngine one(appOne);
    Grids whole = MakeGrids(0, NZALL);
    MakeSurfaces(one, whole, 0, NZALL);

    // This node's slab.
    COndexApp app;
    app.m_nGroupSize = 2;
    app.m_nGroupRank = nRank;
    app.m_nNode = nRank;
    CFakeEngine eng(app);
    const int z0 = nRank == 0 ? 0 : 10 - H;
    const int nz = 10 + H;
    Grids slab = MakeGrids(z0, nz);
    MakeSurfaces(eng, slab, z0, nz);

    const size_t nxy = NX * NY;
    const int zc0 = nRank == 0 ? 0 : 10, zc1 = nRank == 0 ? 9 : 19;   // computed planes
    for (int z = zc0; z <= zc1; z++)
        for (size_t c = 0; c < nxy; c++)
        {
            const size_t nl = (z - z0) * nxy + c, ng = z * nxy + c;
            ASSERT_EQ(whole.vp[ng], slab.vp[nl]) << "column " << c << " plane " << z << " node " << nRank;
            ASSERT_EQ(whole.rho[ng], slab.rho[nl]) << "column " << c << " plane " << z;
            ASSERT_EQ(whole.q[ng], slab.q[nl]) << "column " << c << " plane " << z;
        }
    // The reference did change something in every column with rock.
    EXPECT_EQ(VpAt(0, 6), whole.vp[0]);
    EXPECT_EQ(VpAt(5, 9), whole.vp[19 * nxy + 5]);
}

} // namespace
