// The viscoelastic records of a grid: range of Q, layout, velocities changed
// in place, independence of the thread count, and the model assembly step
// that calls it and drops Q.

#include <gtest/gtest.h>
#include <omp.h>

#include <string>
#include <vector>

#include "engine3d/FakeEngine.h"
#include "engine3d/ModelTestUtil.h"
#include "files/sdspc_testutil.h"
#include "rock/ViscoCalc.h"

namespace
{

// 5 x 4 x 6 cells; Q by x, velocities varying within a block of equal Q.
struct ViscoGrid
{
    COndexApp app;
    CFakeEngine eng{app};
    static const int NX = 5, NY = 4, NZ = 6;
    std::vector<float> vp, vs, q, m;

    ViscoGrid(int L, bool bApparent)
    {
        app.m_Type = 102;
        eng.m_nx = NX;
        eng.m_ny = NY;
        eng.m_nz = NZ;
        eng.m_nViscoL = L;
        eng.m_bApparentVelocity = bApparent;
        eng.m_Signal.m_dFreq = 25.0;
        const float qx[NX] = {2.99f, 3.0f, 60.0f, 10000.0f, 10000.5f};
        for (int z = 0; z < NZ; z++)
            for (int y = 0; y < NY; y++)
                for (int x = 0; x < NX; x++)
                {
                    q.push_back(z < 3 ? qx[x] : 150.0f);
                    vp.push_back(2000.0f + 10.0f * y + z);
                    vs.push_back(900.0f + 5.0f * y);
                }
        m.assign(Cells() * 3 * L, -1.0f);
        eng.m_pQ = q.data();
        eng.m_pVp = vp.data();
        eng.m_pVs = vs.data();
        eng.m_pViscoM = m.data();
    }
    ~ViscoGrid() { eng.m_pQ = eng.m_pVp = eng.m_pVs = eng.m_pViscoM = nullptr; }
    static size_t Cells() { return (size_t)NX * NY * NZ; }
};

TEST(ViscoGrid, RecordsAndVelocitiesPerCell)
{
    const int L = 3;
    for (bool bApparent : {false, true})
    {
        ViscoGrid g(L, bApparent);
        const std::vector<float> vp0 = g.vp, vs0 = g.vs;
        ASSERT_EQ(0, g.eng.PrepareViscoElasticModel());
        for (size_t n = 0; n < g.Cells(); n++)
        {
            SCOPED_TRACE(::testing::Message() << "cell " << n << " Q " << g.q[n] << " apparent " << bApparent);
            const float* rec = &g.m[n * 3 * L];
            // Outside 3..10000, and Q = 3 itself: the no-attenuation record.
            if (g.q[n] <= 3.0f || g.q[n] > 10000.0f)
            {
                for (int l = 0; l < L; l++)
                    EXPECT_TRUE(rec[3 * l] == 0.0f && rec[3 * l + 1] == 0.0f && rec[3 * l + 2] == 1.0f);
                EXPECT_EQ(vp0[n], g.vp[n]);
                EXPECT_EQ(vs0[n], g.vs[n]);
                continue;
            }
            // A fresh fit of this cell alone: a cached neighbour must not
            // lend it its velocities.
            CViscoCalc v;
            float p[L], s[L], tau[L], vp = vp0[n], vs = vs0[n];
            ASSERT_TRUE(v.InitViscoParams(25.0, L, g.q[n], g.q[n], p, s, tau, bApparent, vp, vs));
            for (int l = 0; l < L; l++)
            {
                EXPECT_EQ(p[l], rec[3 * l]);
                EXPECT_EQ(s[l], rec[3 * l + 1]);
                EXPECT_EQ(tau[l], rec[3 * l + 2]);
            }
            EXPECT_EQ(vp, g.vp[n]);
            EXPECT_EQ(vs, g.vs[n]);
            EXPECT_EQ(bApparent, vp != vp0[n]);
        }
    }
}

// Each thread has its own cache: the records do not depend on how the
// planes are shared out.
TEST(ViscoGrid, SameRecordsForAnyThreadCount)
{
    const int nThreads = omp_get_max_threads();
    std::vector<float> m1, vp1;
    for (int t : {1, 3})
    {
        omp_set_num_threads(t);
        ViscoGrid g(2, true);
        ASSERT_EQ(0, g.eng.PrepareViscoElasticModel());
        if (t == 1)
        {
            m1 = g.m;
            vp1 = g.vp;
        }
        else
        {
            EXPECT_EQ(m1, g.m);
            EXPECT_EQ(vp1, g.vp);
        }
    }
    omp_set_num_threads(nThreads);
}

TEST(ViscoGrid, MissingInputs)
{
    {
        ViscoGrid g(0, false);
        EXPECT_EQ(0, g.eng.PrepareViscoElasticModel());   // no mechanisms asked for: nothing to do
    }
    {
        ViscoGrid g(2, false);
        g.eng.m_pViscoM = nullptr;
        EXPECT_EQ(-1, g.eng.PrepareViscoElasticModel());
    }
    {
        ViscoGrid g(2, false);
        const std::vector<float> m0 = g.m;
        g.eng.m_pQ = nullptr;
        EXPECT_EQ(-1, g.eng.PrepareViscoElasticModel());
        EXPECT_EQ(m0, g.m);
    }
}

// Through the model assembly: Q from its file turns into records, the
// corrected velocities into the moduli, and the Q grid is gone, also when
// the records cannot be made.
TEST(ViscoGrid, ModelAssemblyBuildsRecordsAndDropsQ)
{
    sdspc_test::TempDir dir;
    const int NX = 12, NY = 11, NZ = 12, N = 3, L = 2;
    auto cube = [&](const char* name, float value) {
        const std::string path = dir / name;
        EXPECT_TRUE(model_test::WriteCube(path, NX - 2 * N, NY - 2 * N, NZ - 2 * N, 10.0, 0, 0, 0,
                                          [=](double, double, double) { return value; }));
        return CString(path.c_str());
    };
    for (bool bRecords : {true, false})
    {
        COndexApp app;
        CFakeEngine eng{app};
        app.m_Type = 102;
        app.m_nGroupSize = 1;
        app.m_nSmoothModel = 0;
        app.m_strModelPW = cube("vp.sgy", 2500.0f);
        app.m_strModelSW = cube("vs.sgy", 1200.0f);
        app.m_strModelD = cube("rho.sgy", 2200.0f);
        app.m_strModelQ = cube("q.sgy", 80.0f);
        eng.m_nx = NX;
        eng.m_ny = NY;
        eng.m_nz = NZ;
        eng.m_nZ0 = 0;
        eng.m_nZ1 = NZ - 1;
        eng.m_nZAll = NZ;
        eng.m_nTaper = N;
        eng.m_nHalo = 2;
        eng.m_dx = 10.0;
        eng.m_dt = 0.001;
        eng.m_bPML = false;
        eng.m_nSurfType = 0;
        eng.m_nViscoL = L;
        eng.m_bApparentVelocity = true;
        eng.m_Signal.m_dFreq = 25.0;
        eng.m_cubeGrid = CCubeR(-30, -30, -30, -30 + 10.0 * (NX - 1), -30 + 10.0 * (NY - 1), -30 + 10.0 * (NZ - 1));
        const size_t cells = (size_t)NX * NY * NZ;
        std::vector<float> vp(cells), vs(cells), rho(cells), plane((size_t)NZ * NX), m(cells * 3 * L, -1.0f);
        eng.m_pVp = vp.data();
        eng.m_pVs = vs.data();
        eng.m_pRho = rho.data();
        eng.m_pPlane = plane.data();
        eng.m_pQ = new float[cells]();
        eng.m_pViscoM = bRecords ? m.data() : nullptr;
        eng.m_nShot = 1;
        eng.m_ptShot = C3DPointR(30, 20, 30);
        eng.m_vSources = {C3DShotPoint(((size_t)6 * NY + 5) * NX + 6, 0)};
        eng.m_vSrcPoints = {eng.m_ptShot};
        eng.m_vRcvCells = {((size_t)4 * NY + 5) * NX + 6};
        eng.m_vRcvPoints = {C3DPointR(30, 20, 10)};
        eng.m_vRcvInline = {1};
        eng.m_vRcvCrossline = {1};
        eng.m_vRcvTraceId = {-1};
        eng.m_vRcvFileId = {-1};

        const int nResult = eng.InitModel();
        EXPECT_EQ(nullptr, eng.m_pQ);
        eng.m_pVp = eng.m_pVs = eng.m_pRho = eng.m_pPlane = eng.m_pViscoM = nullptr;
        if (!bRecords)
        {
            EXPECT_EQ(-1, nResult);
            continue;
        }
        ASSERT_EQ(0, nResult);
        CViscoCalc v;
        float p[L], s[L], tau[L], vpi = 2500.0f, vsi = 1200.0f;
        ASSERT_TRUE(v.InitViscoParams(25.0, L, 80.0f, 80.0f, p, s, tau, true, vpi, vsi));
        const float c1 = (float)((1.0 / 10.0) * 0.001 / 15000.0);
        for (size_t n : {(size_t)0, cells / 2, cells - 1})
        {
            EXPECT_EQ(p[1], m[n * 3 * L + 3]);
            EXPECT_EQ(tau[0], m[n * 3 * L + 2]);
            EXPECT_EQ(vpi * vpi * 2200.0f * c1, vp[n]);
            EXPECT_EQ(((2200.0f * vsi) * c1) * vsi, vs[n]);
        }
    }
}

} // namespace
