// Shot preparation: survey points onto the grid of the shot, the skip and
// failure codes, repeated cells and the source box.

#include "common/TestUtil.h"
#include <gtest/gtest.h>

#include <functional>
#include <cstdio>
#include <string>
#include <vector>

#include "FakeEngine.h"
#include "files/SdsPC.h"
#include "files/files_test_util.h"

namespace
{

using sdspc_test::TempDir;

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
        FILE* fp = fopen(name.c_str(), "w");
        if (fp)
        {
            fputs(pszSurvey, fp);
            fclose(fp);
        }
        CSurvey3D::MIN_DIST = 0.001;
        survey.m_bUseShotId = bById;
        loaded = survey.LoadSurvey(name.c_str(), bFaultSlip) == 0;
    }
    ~PrepareFixture() { eng->m_pVp = nullptr; }

    static size_t Cell(int ix, int iy, int iz) { return ((size_t)iz * 153 + iy) * 153 + ix; }

    bool loaded = false;
    std::vector<float> vp;

    // Rock (2000 m/s) from plane 30 (z = 40 m) down, air above; the listed
    // (ix, iy) columns are air all the way down.
    void LoadModel(const std::vector<std::pair<int, int>>& airColumns)
    {
        const int nx = eng->m_nx, ny = eng->m_ny, nz = eng->m_nz;
        vp.assign((size_t)nx * ny * nz, 0.0f);
        for (int z = 30; z < nz; z++)
            for (int y = 0; y < ny; y++)
                for (int x = 0; x < nx; x++)
                    vp[((size_t)z * ny + y) * nx + x] = 2000.0f;
        for (auto c : airColumns)
            for (int z = 0; z < nz; z++)
                vp[((size_t)z * ny + c.second) * nx + c.first] = 0.0f;
        eng->m_pVp = vp.data();
    }
};

TEST(PrepareSource, PointsBecomeCells)
{
    PrepareFixture f(g_szSurveyByPosition);
    ASSERT_TRUE(f.loaded);
    CFakeEngine& e = *f.eng;
    ASSERT_EQ(e.PrepareSource(1, f.survey, false), 0);
    EXPECT_EQ(e.m_nShot, 1);
    EXPECT_EQ(e.m_nx, 153);
    EXPECT_EQ(e.m_ny, 153);
    EXPECT_EQ(e.m_nz, 103);
    EXPECT_EQ(e.m_nSeisLen, (size_t)501);
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
    struct
    {
        const char* pszName;
        const char* pszSurvey;
        int nShot;
        std::function<void(PrepareFixture&)> setup;
        int nExpected;
        std::vector<std::string> vWords;
    } cases[] = {
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
    struct
    {
        const char* pszName;
        std::vector<std::pair<int, int>> vAir;
        std::function<void(PrepareFixture&)> spoil;
        int nExpected;
        const char* pszWords;
    } cases[] = {
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
        f.LoadModel(c.vAir);
        c.spoil(f);
        ::testing::internal::CaptureStdout();
        const int r = f.eng->ValidateSurveyGeometryShared();
        const std::string out = ::testing::internal::GetCapturedStdout();
        EXPECT_EQ(r, c.nExpected) << c.pszName;
        EXPECT_NE(out.find(c.pszWords), std::string::npos) << c.pszName << "\n" << out;
    }
}

} // namespace
