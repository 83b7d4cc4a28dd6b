// Setting up a shot on a recording engine: the source signal (the Ricker
// wavelet against its formula, signals read from SEG-Y files), the grid of
// a shot (cell counts, snapping, Margin, cell lookup), job validation,
// survey points onto the grid with the skip and failure codes, and the names
// of result files with the recovery test built on them.

#include <gtest/gtest.h>

#include <cmath>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "FakeEngine.h"
#include "OmpTestGrid.h"
#include "common/TestUtil.h"
#include "files/SdsPC.h"
#include "files/files_test_util.h"

namespace
{

using sdspc_test::TempDir;

struct SignalFixture : FakeJob
{
    SignalFixture(double dFreq, double dt, double dx)
    {
        eng->m_Signal.m_dFreq = dFreq, eng->m_dt = dt, eng->m_dx = dx;
    }
};

TEST(Signal, RickerLengthPeakAndScale)
{
    struct { double f, dt, dx; int nLen; double scale; } cases[] = {   // scale 1e9 dt / dx^3
        {20, 0.001, 10, 201, 1000.0},
        {25, 0.0005, 10, 321, 500.0},
        {10, 0.002, 5, 201, 16000.0},
        {30, 0.0004, 2.5, 334, 25600.0},   // 4/30/0.0004 + 1 = 334.3
    };
    for (const auto& c : cases)
    {
        SignalFixture s(c.f, c.dt, c.dx);
        ASSERT_EQ(s.eng->GenerateSignal(), 0);
        const CSignal3D& sig = s.eng->m_Signal;
        ASSERT_EQ(sig.m_nLen, c.nLen) << c.f;
        ASSERT_NE(sig.m_pData, nullptr);
        EXPECT_DOUBLE_EQ(s.eng->m_tStart, -2.0 / c.f);

        int iPeak = 0;
        for (int i = 0; i < sig.m_nLen; i++)
        {
            const double t = -2.0 / c.f + i * c.dt;
            EXPECT_NEAR(sig.m_pData[i], Ricker(t, c.f) * c.scale, 2e-6 * c.scale) << c.f << " sample " << i;
            if (sig.m_pData[i] > sig.m_pData[iPeak])
                iPeak = i;
        }
        // The peak lies at time 0; where a sample falls on it, it equals the source scale.
        const double tPeak = s.eng->m_tStart + iPeak * c.dt;
        EXPECT_NEAR(tPeak, 0.0, c.dt / 2) << c.f;
        if (std::fabs(tPeak) < 1e-9)
        {
            EXPECT_EQ(iPeak, (c.nLen - 1) / 2) << c.f;
            EXPECT_NEAR(sig.m_pData[iPeak], c.scale, 1e-5 * c.scale) << c.f;
        }
    }
}

// A SEG-Y file of IEEE floats whose traces are the given sample lists, at
// an interval of nIntervalUs microseconds. The file object takes a time axis
// that ends below 50 (or, once catalogued, below 100) for seconds, so every
// file here lasts at least 100 ms.
void WriteSignalFile(const std::string& name, const std::vector<std::vector<float>>& traces, int nIntervalUs)
{
    sdspc_test::RawSgy s;
    s.format = 5;
    s.bigEndian = true;
    s.interval = nIntervalUs;
    s.ns = (int)traces[0].size();
    for (size_t k = 0; k < traces.size(); k++)
    {
        sdspc_test::RawTrace t;
        t.samples = traces[k];
        t.srcX = t.recX = 100 + 10 * (int)k;
        t.channel = (int)k + 1;
        s.traces.push_back(t);
    }
    ASSERT_TRUE(sdspc_test::WriteBytes(name, sdspc_test::BuildSgy(s)));
}

// Linear interpolation of f at the fractional sample position tau, 0 at or
// beyond the last sample.
double Interp(const std::vector<float>& f, double tau)
{
    if (tau <= 0)
        return f[0];
    if (tau >= (double)f.size() - 1)
        return 0.0;
    const int k = (int)tau;
    const double r = tau - k;
    return f[k] * (1.0 - r) + f[k + 1] * r;
}

TEST(SignalFile, CoarserFileIsInterpolated)
{
    TempDir d;
    const std::string name = d / "wavelet.sgy";
    // 26 samples of 4 ms (0..100 ms): a wavelet, then a constant tail.
    std::vector<float> f = {0, 1, 3, -2, 5, 8, -9, 4, 2, 1, 0.5f};
    f.resize(26, 0.25f);
    WriteSignalFile(name, {f}, 4000);   // the engine steps 1 ms

    SignalFixture s(0.0, 0.001, 10);    // no frequency: estimated
    s.eng->m_Signal.m_strFile = name.c_str();
    ASSERT_EQ(s.eng->GenerateSignal(), 0);
    const CSignal3D& sig = s.eng->m_Signal;

    // 110 samples are made; from tau = 25 (the last file sample) on they are
    // 0 and are cut with the tail: 100 remain.
    ASSERT_EQ(sig.m_nLen, 100);
    const double S = 1000.0;
    for (int i = 0; i < sig.m_nLen; i++)
        EXPECT_NEAR(sig.m_pData[i], Interp(f, i / 4.0) / 9.0 * S, 1e-3) << i;
    // The largest magnitude, -9 at file sample 6, lies at time 0.
    EXPECT_NEAR(s.eng->m_tStart, -0.024, 1e-12);
    EXPECT_NEAR(sig.m_pData[24], -S, 1e-3);
    // Maximum 8 at step 20, minimum -9 at step 24: a third of a period is 5 steps.
    EXPECT_NEAR(sig.m_dFreq, 1.0 / (5 * 0.001 * 3.0), 1e-9);
}

// Refusals: bad steps or frequency, a missing file, a file longer than a
// second (300 samples of 4 ms).
TEST(SignalFile, Refusals)
{
    TempDir d;
    std::vector<float> f(300, 0.0f);
    f[10] = 1.0f;
    WriteSignalFile(d / "long.sgy", {f}, 4000);
    const struct { double f, dt, dx; const char* pszFile; int nCode; std::string strWords; } cases[] = {
        {20, 0.0, 10, "", -101, ""}, {20, 0.001, 0.0, "", -100, ""}, {0.0, 0.001, 10, "", -105, ""},
        {20, 0.001, 10, "missing.sgy", -3,
         "Error! Unable to open file " + (d / "missing.sgy") + " containing signal shape.\n"},
        {20, 0.001, 10, "long.sgy", -105, "Error! Unexpected signal length 0..1.196.\n"}};
    for (const auto& c : cases)
    {
        SignalFixture s(c.f, c.dt, c.dx);
        if (*c.pszFile)
            s.eng->m_Signal.m_strFile = (d / c.pszFile).c_str();
        ::testing::internal::CaptureStdout();
        EXPECT_EQ(c.nCode, s.eng->GenerateSignal()) << c.pszFile;
        const std::string out = ::testing::internal::GetCapturedStdout();
        EXPECT_NE(std::string::npos, out.find(c.strWords)) << out;
        EXPECT_EQ(nullptr, s.eng->m_Signal.m_pData) << c.nCode;
    }
}

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

// Rock (2000 m/s) from plane 30 down, air above; the listed (x, y) columns
// are air all the way down. It becomes the engine's P velocity grid.
void RockFrom30(CFakeEngine& e, std::vector<float>& vp, const std::vector<std::pair<int, int>>& air)
{
    const size_t nxy = (size_t)e.m_nx * e.m_ny;
    vp.assign(nxy * e.m_nz, 0.0f);
    std::fill(vp.begin() + 30 * nxy, vp.end(), 2000.0f);
    for (auto c : air)
        for (int z = 0; z < e.m_nz; z++)
            vp[z * nxy + (size_t)c.second * e.m_nx + c.first] = 0.0f;
    e.m_pVp = vp.data();
}

// Column x = 30 has no rock at all.
struct TracePointFixture : GridFixture
{
    std::vector<float> vp;
    TracePointFixture()
    {
        CFakeEngine& e = *eng;
        e.m_nx = e.m_ny = 60, e.m_nz = 70;
        e.m_cubeGrid = CCubeR(-260, -260, -260, 330, 330, 430);
        std::vector<std::pair<int, int>> air;
        for (int y = 0; y < 60; y++)
            air.push_back({30, y});
        RockFrom30(e, vp, air);
    }
    ~TracePointFixture() { eng->m_pVp = nullptr; }
};

TEST(ShotGrid, ValidateTracePointBoundsAndTheWalkToRock)
{
    TracePointFixture f;
    CFakeEngine& e = *f.eng;
    // User area: x, y 0..70, z 0..170; rock from z = (30 - 26) * 10 = 40.
    struct { double x, y, z; int nExpected; double zAfter; } cases[] = {
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
        EXPECT_TRUE(c.nExpected == -1 || pt.z == c.zAfter) << c.x << "," << c.y << "," << c.z << ": " << pt.z;
    }
}

struct CommonFixture : FakeJob
{
    CommonFixture(int nMethod, int nSourceType) : FakeJob(nMethod)
    {
        eng->m_nSourceType = nSourceType, eng->m_nSurfType = 1;
    }
};

TEST(ValidateCommon, RefusalsAndSettingsInTheirWords)
{
    struct { int nMethod, nType; int nExpected; const char* pszWords; } cases[] = {
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
        CommonFixture f(c.nMethod, c.nType);
        ::testing::internal::CaptureStdout();
        const int r = f.eng->ValidateCommon();
        const std::string out = ::testing::internal::GetCapturedStdout();
        EXPECT_EQ(r, c.nExpected) << c.nMethod << "/" << c.nType;
        EXPECT_NE(out.find(c.pszWords), std::string::npos) << c.nMethod << "/" << c.nType << "\n" << out;
    }

    // Double couple axis and the time field kinds.
    CommonFixture g(102, 8);
    g.eng->m_fK[4] = 1.0f, g.eng->m_nTimeField = 3, g.eng->m_dTimeDx = 20, g.eng->m_dTimeDy = 30, g.eng->m_dTimeDz = 40;
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(g.eng->ValidateCommon(), 0);
    const std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("Double Couple Axis:          X-Z\n"), std::string::npos) << out;
    EXPECT_NE(std::string::npos, out.find("Generate Time Field:         Yes (20,30,40): max energy, max divergence\n"))
        << out;
}

// Rows "sx sy sz rx ry rz inline crossline id k11 k22 k33 k12 k13 k23 trace file".
const char* const g_szSurveyByPosition =
    "# shot 1: two receivers inside, one outside, one sharing a cell\n"
    "500 500 0   100 500 0   1 11 -1  0 0 0 0 0 0  7 70\n"
    "500 500 0  2000 500 0   2 12 -1  0 0 0 0 0 0  8 80\n"
    "500 500 0   900 900 10  3 13 -1  0 0 0 0 0 0  9 90\n"
    "500 500 0   902 901 12  4 14 -1  0 0 0 0 0 0  10 100\n"
    "# shot 2: the source lies outside the model\n"
    "5000 500 0  100 100 0   1 1\n"
    "# shot 3: every receiver lies outside\n"
    "500 100 0  3000 3000 0  1 1\n"
    "500 100 0  -900 100 0   1 2\n"
    "# shot 4: on the high x edge plus half a step: still inside\n"
    "1005 500 0  100 100 0   1 1\n"
    "# shot 5: one and a half steps beyond: outside\n"
    "1015 500 0  100 100 0   1 1\n"
    "# shot 6: at the low x edge of the model\n"
    "0 500 0     100 500 0   1 1\n";

// Shot 10 has three points of excitement, two of them in one cell; shot 30
// one. Tensors (K11 = 1, 2, 3) for the fault slip runs.
const char* const g_szSurveyById =
    "500 500 0  100 500 0  1 1 10  1 0 0 0 0 0\n"
    "501 500 0  100 500 0  1 1 10  2 0 0 0 0 0\n"
    "600 500 0  100 500 0  1 1 10  3 0 0 0 0 0\n"
    "500 500 0  200 500 0  1 1 30  4 0 0 0 0 0\n";

// Shot 10 with a tensor on one point of two.
const char* const g_szSurveyTensorsMissing =
    "500 500 0  100 500 0  1 1 10  1 0 0 0 0 0\n"
    "600 500 0  100 500 0  1 1 10\n";

struct PrepareFixture : FakeJob
{
    TempDir dir;
    CSurvey3D survey;

    // Model 0..1000 x 0..1000 x 0..500 m, 10 m cells, strip 26: a grid of
    // 153 x 153 x 103 cells from -260 m.
    PrepareFixture(const char* pszSurvey, bool bById = false, bool bFaultSlip = false)
    {
        eng->m_tStart = -0.1;
        eng->m_cubeModel = CCubeR(0, 0, 0, 1000, 1000, 500);
        if (bFaultSlip)
            eng->m_nSourceType = 10;

        const std::string name = dir / "survey.txt";
        EXPECT_TRUE(testutil::WriteFile(name, pszSurvey));
        CSurvey3D::MIN_DIST = 0.001;
        survey.m_bUseShotId = bById;
        loaded = survey.LoadSurvey(name.c_str(), bFaultSlip) == 0;
    }
    ~PrepareFixture() { eng->m_pVp = nullptr; }

    static size_t Cell(int ix, int iy, int iz) { return ((size_t)iz * 153 + iy) * 153 + ix; }

    bool loaded = false;
    std::vector<float> vp;
};

TEST(PrepareSource, PointsBecomeCells)
{
    PrepareFixture f(g_szSurveyByPosition);
    ASSERT_TRUE(f.loaded);
    CFakeEngine& e = *f.eng;
    ASSERT_EQ(e.PrepareSource(1, f.survey, false), 0);
    EXPECT_EQ((std::vector<size_t>{1, 153, 153, 103, 501}),
              (std::vector<size_t>{(size_t)e.m_nShot, (size_t)e.m_nx, (size_t)e.m_ny, (size_t)e.m_nz, e.m_nSeisLen}));
    EXPECT_EQ(e.m_ptShot, C3DPointR(500, 500, 0));

    // Source at 500 m: (500 + 260) / 10 = 76 cells in (76.5 rounds down).
    ASSERT_EQ(e.m_vSources.size(), (size_t)1);
    EXPECT_EQ(e.m_vSources[0].nIndex, PrepareFixture::Cell(76, 76, 26));
    EXPECT_EQ(e.m_vSources[0].nFlag, 0);
    ASSERT_EQ(e.m_vSrcPoints.size(), (size_t)1);

    // The receiver at 2000 m is dropped; the two near 900 m share a cell and both stay.
    EXPECT_EQ(e.m_vRcvCells, (std::vector<size_t>{PrepareFixture::Cell(36, 76, 26), PrepareFixture::Cell(116, 116, 27),
                                                 PrepareFixture::Cell(116, 116, 27)}));
    EXPECT_EQ(e.m_vRcvPoints[2], C3DPointR(902, 901, 12));
    EXPECT_EQ(e.m_vRcvInline, (std::vector<int>{1, 3, 4}));
    EXPECT_EQ(e.m_vRcvCrossline, (std::vector<int>{11, 13, 14}));
    EXPECT_EQ(e.m_vRcvTraceId, (std::vector<int>{7, 9, 10}));
    EXPECT_EQ(e.m_vRcvFileId, (std::vector<int>{70, 90, 100}));

    // Source box: one cell around the source.
    EXPECT_EQ((std::vector<int>{e.m_nBoxX0, e.m_nBoxX1, e.m_nBoxY0, e.m_nBoxY1, e.m_nBoxHold}),
              (std::vector<int>{75, 77, 75, 77, 0}));

    // The next shot rebuilds the lists instead of appending to them.
    ASSERT_EQ(e.PrepareSource(6, f.survey, true), 0);
    EXPECT_EQ(e.m_vSources.size(), (size_t)1);
    EXPECT_EQ(e.m_vRcvCells.size(), (size_t)1);
    EXPECT_EQ(e.m_vSources[0].nIndex, PrepareFixture::Cell(26, 76, 26));
}

// Every refusal of a shot names its reason in the system's own words.
TEST(PrepareSource, FailuresSayWhy)
{
    const char* const szFar = "5000 5000 0  5100 5000 0  1 1\n";
    struct { const char* pszName; const char* pszSurvey; int nShot; std::function<void(PrepareFixture&)> setup;
        int nExpected; std::vector<std::string> vWords; } cases[] = {
        {"shot number above", g_szSurveyByPosition, 9, [](PrepareFixture&) {}, -102,
         {"Error! Unable to initialize Shot #9. Shots are in range 1..6.\n"}},
        {"shot number below", g_szSurveyByPosition, 0, [](PrepareFixture&) {}, -102,
         {"Error! Unable to initialize Shot #0. Shots are in range 1..6.\n"}},
        {"grid step", g_szSurveyByPosition, 1, [](PrepareFixture& f) { f.eng->m_dx = 0.0; }, -100,
         {"Error! Incorrect spacial steps dx=dy=dz=0 specified!\n"}},
        {"time step", g_szSurveyByPosition, 1, [](PrepareFixture& f) { f.eng->m_dt = -0.001; }, -101,
         {"Error! Incorrect time tact dt=-0.001 specified!\n"}},
        {"record range", g_szSurveyByPosition, 1, [](PrepareFixture& f) { f.app->m_t0 = 1.0; }, -104,
         {"Error! Incorrect shotgather record range (t=1..1) specified!\n"}},
        {"model file", g_szSurveyByPosition, 1,
         [](PrepareFixture& f) {
             f.eng->m_cubeModel.z1 = -9999.25;
             f.app->m_strModelPW = "/nonexistent/ondex/vp.sgy";
         },
         -3, {"Error! Unable to open model file '/nonexistent/ondex/vp.sgy'.\n"}},
        {"empty intersection", szFar, 1, [](PrepareFixture& f) { f.eng->m_dMargin = 100; }, -30,
         {"Survey Cube      (X,Y,Z): {5000..5100, 5000..5000, 0..500}\n",
          "Error! Empty intersection between the model cube and the acquisition survey.\n"}},
        {"source outside", g_szSurveyByPosition, 2, [](PrepareFixture&) {}, -31,
         {"Warning! Shot #2 (5000,500,0) is outside computation zone [0..1000,0..1000,0..500].\n",
          "Shot Point #2 skipped.\n"}},
        {"no receiver inside", g_szSurveyByPosition, 3, [](PrepareFixture&) {}, -32,
         {"Error! Shot #3 (500,100,0) no receivers in the computation zone [0..1000,0..1000,0..500]. "
          "Receivers zone: [-900..3000,100..3000,0..0].\n"}},
    };
    for (const auto& c : cases)
    {
        PrepareFixture f(c.pszSurvey);
        ASSERT_TRUE(f.loaded) << c.pszName;
        c.setup(f);
        ::testing::internal::CaptureStdout();
        const int r = f.eng->PrepareSource(c.nShot, f.survey, true);
        const std::string out = ::testing::internal::GetCapturedStdout();
        EXPECT_EQ(r, c.nExpected) << c.pszName;
        for (const std::string& w : c.vWords)
            EXPECT_NE(out.find(w), std::string::npos) << c.pszName << ": " << w << "\nin\n" << out;
    }
}

TEST(PrepareSource, SurveyFailureIsPassedOnAsMinus33)
{
    PrepareFixture f(g_szSurveyTensorsMissing, true, true);
    ASSERT_TRUE(f.loaded);
    EXPECT_EQ(f.eng->PrepareSource(10, f.survey, false), -33);
}

TEST(ValidateSurveyShared, FailuresSayWhy)
{
    struct { const char* pszName; std::vector<std::pair<int, int>> vAir; std::function<void(PrepareFixture&)> spoil;
        int nExpected; const char* pszWords; } cases[] = {
        {"source above no rock", {{76, 76}}, [](PrepareFixture&) {}, -103,
         "Error! No suitable depth position for shot #1 (500, 500).\n"},
        {"no receiver on rock", {{116, 116}, {36, 76}}, [](PrepareFixture&) {}, -30,
         "Error! All traces are outside the model. Shot Point #1 (500, 500).\n"},
        {"excitement lists", {}, [](PrepareFixture& f) { f.eng->m_vSrcPoints.push_back(C3DPointR(1, 1, 1)); }, -200,
         "Error! Shot #1: Unexpected inconsistency (wrong excitement points count => 1!=2) \n"},
        {"receiver lists", {}, [](PrepareFixture& f) { f.eng->m_vRcvFileId.push_back(5); }, -200,
         "Error! Shot #1: Unexpected inconsistency (wrong trace count => 3!=3!=3!=3!=3!=4) \n"},
    };
    for (const auto& c : cases)
    {
        PrepareFixture f(g_szSurveyByPosition);
        ASSERT_EQ(f.eng->PrepareSource(1, f.survey, true), 0);
        RockFrom30(*f.eng, f.vp, c.vAir);   // z = 40 m
        c.spoil(f);
        ::testing::internal::CaptureStdout();
        const int r = f.eng->ValidateSurveyGeometryShared();
        const std::string out = ::testing::internal::GetCapturedStdout();
        EXPECT_EQ(r, c.nExpected) << c.pszName;
        EXPECT_NE(out.find(c.pszWords), std::string::npos) << c.pszName << "\n" << out;
    }
}

struct Named : FakeJob
{
    Named(int nType, const char* pszDir, const char* pszModel, int nSource) : FakeJob(nType)
    {
        app->m_strOutputDir = pszDir;
        app->m_strModelPW = pszModel;
        eng->m_nSourceType = nSource;
        eng->m_nShot = 12;
    }
};

TEST(FileName, Examples)
{
    struct Case { int nMethod; const char* pszDir; const char* pszModel; int nSource; int nType; char cComp;
        bool bTemplate, bMerged, bTimeMerge; double rValue; const char* pszExpected; } cases[] = {
        {102, "/data/out/", "c:\\work\\salt.mod", 3, 0, 'Z', false, false, true, 0.0, "/data/out/salt+Gath3DEPZz-12.sgy"},
        {101, "/data/out/", "c:\\work\\salt.mod", 3, 0, 'C', false, false, true, 0.0, "/data/out/salt+Gath3DAPZc-12.sgy"},
        {102, "/data/out/", "c:\\work\\salt.mod", 3, 0, 'X', false, true, true, 0.0, "/data/out/salt+Gath3DEPZx.sgy"},
        {102, "/data/out/", "c:\\work\\salt.mod", 3, 0, 'X', true, false, true, 0.0, "/data/out/salt+Gath3DEPZx-%d.sgy"},
        {101, "/data/out/", "c:\\work\\salt.mod", 3, 1, ' ', false, false, true, 0.0, "/data/out/salt+Snap3DAPZ-12.vmg"},
        {101, "/data/out/", "c:\\work\\salt.mod", 3, 2, ' ', false, false, false, 0.0,
         "/data/out/salt+Time3DAPZ(MaxEnergy)_1000_2000_10.sgy"},
        {101, "/data/out/", "c:\\work\\salt.mod", 3, 2, ' ', false, false, true, 1.0, "/data/out/salt+Time3DAPZ(MaxDiv)-12.sgy"},
        {101, "/data/out/", "c:\\work\\salt.mod", 3, 2, ' ', false, false, false, 2.0, "/data/out/salt+Time3DAPZ.sgy"},
        {102, "/data/out/", "/models/salt.mod", 3, 3, 'Z', false, false, true, 0.5, "/data/out/salt+3DSnap3DEPZz(t=0.5)-12.sgy"},
        {100, "", "", 0, 0, 'Y', false, false, true, 0.0, "Model+Gath3DIPUy-12.sgy"},
        {103, "", "dir/m", 4, 7, 'Q', false, false, true, 0.0, "m+Unknown3DNPUQ-12.sgy"},
        {104, "./out/", "model", 1, 0, 'X', false, false, true, 0.0, "./out/model+Gath3DNPXx-12.sgy"},
        {101, "../out/", "model", 2, 0, 'X', false, false, true, 0.0, ".+Gath3DAPYx-12.sgy"},
        {101, "../out/", "model.segy", 2, 0, 'X', false, false, true, 0.0, "../out/model+Gath3DAPYx-12.sgy"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.pszExpected);
        Named n(c.nMethod, c.pszDir, c.pszModel, c.nSource);
        n.eng->m_bTimeMerge = c.bTimeMerge;
        n.eng->m_ptShot = C3DPointR(1000.5, 2000.0, 10.0);
        EXPECT_STREQ(c.pszExpected, n.eng->GetFileName(c.nType, c.cComp, c.bTemplate, c.bMerged, c.rValue));
    }
}

// Recovery: a shot is passed over only when all four gather files exist.
TEST(IsCalcNeeded, Recovery)
{
    testutil::TempDir tmp;
    ASSERT_TRUE(tmp.ok());
    const std::string dir = tmp.path() + "/";

    Named n(102, dir.c_str(), "salt.mod", 3);
    n.eng->m_nShot = 5;
    n.app->m_bRecovery = false;
    EXPECT_TRUE(n.eng->IsCalcNeeded(12));
    EXPECT_EQ(5, n.eng->m_nShot);   // untouched without recovery

    n.app->m_bRecovery = true;
    EXPECT_TRUE(n.eng->IsCalcNeeded(12));
    EXPECT_EQ(12, n.eng->m_nShot);

    const char* comps[4] = {"x", "y", "z", "c"};
    std::string names[4];
    for (int i = 0; i < 4; i++)
        names[i] = dir + "salt+Gath3DEPZ" + comps[i] + "-12.sgy";
    for (int i = 0; i < 3; i++)
        ASSERT_TRUE(testutil::WriteFile(names[i], ""));
    EXPECT_TRUE(n.eng->IsCalcNeeded(12));   // three of four: computed again
    ASSERT_TRUE(testutil::WriteFile(names[3], ""));
    EXPECT_FALSE(n.eng->IsCalcNeeded(12));
    EXPECT_TRUE(n.eng->IsCalcNeeded(13));   // another shot has no files

    // Any one missing is enough, the first one included.
    remove(names[0].c_str());
    EXPECT_TRUE(n.eng->IsCalcNeeded(12));
}

// The template the merge formats with each shot number gives back exactly the
// names the shots were written under.
TEST(ResultNames, TemplateFormatsToTheShotName)
{
    struct Case { const char* pszDir; const char* pszModel; int nType; char cComp; double rValue; } const cases[] = {
        {"/data/out/", "salt.sgy", 0, 'X', 0.0},
        {"/data/100%/", "salt.sgy", 0, 'Z', 0.0},
        {"", "a%%b.sgy", 0, 'C', 0.0},
        {"run%d/", "m%s%n.sgy", 1, ' ', 0.0},
        {"", "50%done.sgy", 2, ' ', 1.0},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::string(c.pszDir) + c.pszModel);
        Named n(101, c.pszDir, c.pszModel, 3);
        CFakeEngine* eng = n.eng.get();
        for (int nShot : {1, 7, 12345})
        {
            eng->m_nShot = nShot;
            const CString strShot = eng->GetFileName(c.nType, c.cComp, false, false, c.rValue);
            const CString strTemplate = eng->GetFileName(c.nType, c.cComp, true, false, c.rValue);
            EXPECT_STREQ((const char*)strShot, (const char*)CString(0, strTemplate, nShot));
        }
    }
}

} // namespace
