// Job validation and the grid of a shot: cell counts, snapping, Margin,
// cube completion from the model file, cell lookup and user areas.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FakeEngine.h"
#include "files/SdsPC.h"
#include "files/files_test_util.h"

namespace
{

using sdspc_test::TempDir;

// A model of 0..1000 x 0..1000 x 0..500 m under a small survey; the model
// file is never opened.
struct GridFixture : FakeJob
{
    GridFixture()
    {
        app->m_strModelPW = "/nonexistent/ondex/vp.sgy";   // opening it would fail
        eng->m_cubeModel = CCubeR(0, 0, 0, 1000, 1000, 500);
        eng->m_cubeSurvey = CCubeR(400, 400, 0, 600, 600, 0);
    }
};

// Cells along an axis for the span a..b with step dx and strip N, written
// out by hand from the layout: whole steps inside, the strip on both sides.
struct AxisCase
{
    double a, b, dx;
    int N;
    int nExpected;        // cells
    double bExpected;     // snapped high edge
};

TEST(ShotGrid, CellCountsOnAndOffTheStep)
{
    const AxisCase cases[] = {
        {0, 1000, 10, 26, 100 + 52 + 1, 1000},     // on the step
        {0, 1005, 10, 26, 100 + 52 + 1, 1000},     // half a step over: moved down
        {0, 1009.5, 10, 26, 100 + 52 + 1, 1000},   // almost a whole step over
        {100, 104, 10, 26, 53, 100},               // shorter than one step: one cell thick
        {-500, 250, 2.5, 38, 300 + 76 + 1, 250},   // negative origin, fine step
        {20, 20, 5, 23, 47, 20},                   // a single plane
    };
    for (const AxisCase& c : cases)
    {
        GridFixture f;
        f.eng->m_dx = c.dx;
        f.eng->m_nTaper = c.N;
        // The same span on x, a fixed one on y and z, to see the axes apart.
        f.eng->m_cubeModel = CCubeR(c.a, 0, 0, c.b, 10 * c.dx, 4 * c.dx);
        ASSERT_EQ(f.eng->BuildShotGrid(), 0) << c.a << ".." << c.b;
        EXPECT_EQ(f.eng->m_nx, c.nExpected) << c.a << ".." << c.b;
        EXPECT_EQ(f.eng->m_ny, 10 + 2 * c.N + 1);
        EXPECT_EQ(f.eng->m_nz, 4 + 2 * c.N + 1);
        EXPECT_DOUBLE_EQ(f.eng->m_cubeSim.x0, c.a);
        EXPECT_DOUBLE_EQ(f.eng->m_cubeSim.x1, c.bExpected);
        EXPECT_DOUBLE_EQ(f.eng->m_cubeGrid.x0, c.a - c.N * c.dx);
        EXPECT_DOUBLE_EQ(f.eng->m_cubeGrid.x1, c.bExpected + c.N * c.dx);
    }
}

TEST(ShotGrid, MarginCutsOnlyXAndY)
{
    GridFixture f;
    f.eng->m_cubeModel = CCubeR(0, 0, 0, 2000, 2000, 1000);
    f.eng->m_cubeSurvey = CCubeR(900, 950, 0, 1100, 1050, 10);
    f.eng->m_dMargin = 200;
    ASSERT_EQ(f.eng->BuildShotGrid(), 0);
    // Survey grown by 200 m, the whole model depth kept.
    EXPECT_EQ(f.eng->m_cubeSim, CCubeR(700, 750, 0, 1300, 1250, 1000));
    EXPECT_DOUBLE_EQ(f.eng->m_cubeSurvey.z0, 0);
    EXPECT_DOUBLE_EQ(f.eng->m_cubeSurvey.z1, 1000);
    EXPECT_EQ(f.eng->m_nx, 60 + 53);
    EXPECT_EQ(f.eng->m_ny, 50 + 53);
    EXPECT_EQ(f.eng->m_nz, 100 + 53);

    // At the model's edge the margin is cut by the model.
    f.eng->m_cubeSurvey = CCubeR(0, 1900, 0, 50, 2000, 0);
    ASSERT_EQ(f.eng->BuildShotGrid(), 0);
    EXPECT_EQ(f.eng->m_cubeSim, CCubeR(0, 1700, 0, 250, 2000, 1000));

    // A survey beside the model does not meet it.
    f.eng->m_cubeSurvey = CCubeR(3000, 3000, 0, 3100, 3100, 0);
    EXPECT_EQ(f.eng->BuildShotGrid(), -30);
}

// Rock (Vp 2000) from plane 30 down, air above; column x = 30 has no rock
// at all.
struct TracePointFixture : GridFixture
{
    std::vector<float> vp;
    TracePointFixture()
    {
        CFakeEngine& e = *eng;
        e.m_nx = e.m_ny = 60;
        e.m_nz = 70;
        e.m_cubeGrid = CCubeR(-260, -260, -260, 330, 330, 430);
        vp.assign((size_t)e.m_nx * e.m_ny * e.m_nz, 0.0f);
        for (int z = 30; z < e.m_nz; z++)
            for (int y = 0; y < e.m_ny; y++)
                for (int x = 0; x < e.m_nx; x++)
                    if (x != 30)
                        vp[((size_t)z * e.m_ny + y) * e.m_nx + x] = 2000.0f;
        e.m_pVp = vp.data();
    }
    ~TracePointFixture() { eng->m_pVp = nullptr; }
};

TEST(ShotGrid, ValidateTracePointBoundsAndTheWalkToRock)
{
    TracePointFixture f;
    CFakeEngine& e = *f.eng;
    // User area: x, y 0..70, z 0..170; rock from z = (30 - 26) * 10 = 40.
    struct
    {
        double x, y, z;
        int nExpected;
        double zAfter;
    } cases[] = {
        {-1, 10, 50, -1, 50},      // left of the area
        {70, 10, 50, 0, 50},       // on the high edge
        {80, 10, 50, 0, 50},       // one step beyond: still inside
        {80.5, 10, 50, -1, 50},
        {10, 10, -1, -1, -1},      // above the area
        {10, 10, 171, -2, 171},    // below this node
        {10, 10, 0, 0, 40},        // in the air: down to the rock
        {10, 10, 38, 0, 38},       // rounds to the first rock cell: stays
        {10, 10, 34, 0, 44},       // rounds to the last air cell: one step down
        {80, 10, 0, -2, 40},       // rock found, but beyond the area's x edge
        {40, 10, 0, -2, 180},      // x = 40 is cell 30: no rock in this column
    };
    for (const auto& c : cases)
    {
        C3DPointR pt(c.x, c.y, c.z);
        EXPECT_EQ(e.ValidateTracePoint(pt), c.nExpected) << c.x << "," << c.y << "," << c.z;
        if (c.nExpected != -1)
        {
            EXPECT_DOUBLE_EQ(pt.z, c.zAfter) << c.x << "," << c.y << "," << c.z;
        }
    }
}

struct CommonFixture : FakeJob
{
    CommonFixture(int nMethod, int nSourceType, int nSurfType = 0) : FakeJob(nMethod)
    {
        eng->m_nSourceType = nSourceType;
        eng->m_nSurfType = nSurfType;
    }
};

TEST(ValidateCommon, RefusalsAndSettingsInTheirWords)
{
    struct
    {
        int nMethod, nType;
        int nExpected;
        const char* pszWords;
    } cases[] = {
        {101, 8, -108, "Error! Acoustic simulation dies not support double couple shot points.\n"},
        {101, 9, -108, "Error! Acoustic simulation dies not support arbitrary directed shot points.\n"},
        {101, 10, -108, "Error! Acoustic simulation dies not support fault slip shot points.\n"},
        {101, 5, -108, "Error! Acoustic simulation dies not support specified source direction(5).\n"},
        {101, 11, -108, "Error! Acoustic simulation dies not support specified source direction(11).\n"},
        {101, 3, 0, "Source Direction:            Vertical (Z)\n"},
        {102, 7, 0, "Source Direction:            Unknown\n"},
        {102, 10, 0, "Source Direction:            Fault slip\n"},
        {102, 1, 0, "Suppress Source S-Wave:      On\n"},
    };
    for (const auto& c : cases)
    {
        CommonFixture f(c.nMethod, c.nType, 1);
        ::testing::internal::CaptureStdout();
        const int r = f.eng->ValidateCommon();
        const std::string out = ::testing::internal::GetCapturedStdout();
        EXPECT_EQ(r, c.nExpected) << c.nMethod << "/" << c.nType;
        EXPECT_NE(out.find(c.pszWords), std::string::npos) << c.nMethod << "/" << c.nType << "\n" << out;
    }

    // Double couple axis and the time field kinds.
    CommonFixture g(102, 8, 1);
    g.eng->m_fK[4] = 1.0f;
    g.eng->m_nTimeField = 3;
    g.eng->m_dTimeDx = 20;
    g.eng->m_dTimeDy = 30;
    g.eng->m_dTimeDz = 40;
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(g.eng->ValidateCommon(), 0);
    const std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("Double Couple Axis:          X-Z\n"), std::string::npos) << out;
    EXPECT_NE(out.find("Generate Time Field:         Yes (20,30,40): max energy, max divergence\n"),
              std::string::npos)
        << out;
}

} // namespace
