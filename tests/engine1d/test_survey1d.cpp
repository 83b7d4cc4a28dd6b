// The survey side of the 1D engine: every trace on its own model column,
// traces off the model or over air, the batch loop against the thread
// count, and the refusals of bad jobs.

#include "Engine1DTestUtil.h"

#include <set>

namespace
{

using e1d::Job1D;
using e1d::Prepared1D;

// A model whose interface depth changes from node to node (4 x 3 nodes,
// 50 m apart); node (3, 2) is air from top to bottom.
const int kNx = 4, kNy = 3;
const double kStep = 50.0;

double InterfaceDepth(int i, int j) { return 120.0 + 14.0 * i + 30.0 * j; }
bool IsAir(int i, int j) { return i == 3 && j == 2; }

int Node(double v) { return (int)std::lround(v / kStep); }

// Above the interface 2000 for both; below, vp grows along X and rho along Y.
float Lateral(double x, double y, double z, bool bRho)
{
    const int i = Node(x), j = Node(y);
    if (IsAir(i, j))
        return 0.0f;
    return z < InterfaceDepth(i, j) ? 2000.0f : bRho ? 2300.0f + 50.0f * j : 2900.0f + 40.0f * i;
}
float LateralVp(double x, double y, double z) { return Lateral(x, y, z, false); }
float LateralRho(double x, double y, double z) { return Lateral(x, y, z, true); }

Job1D LateralJob()
{
    Job1D job;
    job.nx = kNx, job.ny = kNy, job.dxy = kStep, job.depth = 300, job.t1 = 0.25, job.vp = LateralVp;
    job.rho = LateralRho;
    job.receivers.clear();
    for (int j = 0; j < kNy; j++)
        for (int i = 0; i < kNx; i++)
            job.receivers.push_back(C3DPointR(i * kStep, j * kStep, 40));
    return job;
}

// Each trace of a survey over the whole model equals a run on a model made
// of its own column alone, bit for bit; a trace beyond the model's edge
// equals the edge column's; an air column gives a silent trace and stops
// nothing.
TEST(Survey1D, EachTraceSeesItsOwnColumn)
{
    Job1D job = LateralJob();
    job.receivers.push_back(C3DPointR(-120, 1 * kStep, 40));   // west of column (0, 1)
    job.receivers.push_back(C3DPointR(2 * kStep, 400, 40));    // north of column (2, 2)
    Prepared1D all(job);
    ASSERT_EQ(all.Prepare(), 0);

    std::set<std::vector<float>> distinct;
    for (int j = 0; j < kNy; j++)
        for (int i = 0; i < kNx; i++)
        {
            const std::vector<float> tr = all.Trace(j * kNx + i);
            ASSERT_EQ(tr.size(), all.m_calc.m_nSeisLen);
            if (IsAir(i, j))
            {
                for (float v : tr)
                    ASSERT_EQ(v, 0.0f);
                continue;
            }
            distinct.insert(tr);
            Job1D one;
            one.depth = job.depth, one.t1 = job.t1;
            one.vp = [i, j](double, double, double z) { return LateralVp(i * kStep, j * kStep, z); };
            one.rho = [i, j](double, double, double z) { return LateralRho(i * kStep, j * kStep, z); };
            one.receivers = {C3DPointR(0, 0, 40)};
            EXPECT_EQ(tr, e1d::RunTrace(one)) << "column " << i << ", " << j;
        }
    // The columns differ, so the comparison above could tell them apart.
    EXPECT_EQ(distinct.size(), (size_t)(kNx * kNy - 1));
    EXPECT_EQ(all.Trace(kNx * kNy), all.Trace(1 * kNx + 0));
    EXPECT_EQ(all.Trace(kNx * kNy + 1), all.Trace(2 * kNx + 2));
}

// The two output files of a whole job on a given number of threads.
std::string RunFiles(const Job1D& job)
{
    Prepared1D p(job);
    if (p.Prepare() != 0 || p.m_calc.Calculate() != 0)
        return "";
    return testutil::ReadFile("vp+Gath3DISUz.sgy") + "|" + testutil::ReadFile("vp+Gath3DISUc.sgy");
}

// The batch loop: any thread count (and with it the batch of ten traces a
// thread) writes the same bytes. 47 traces fill no batch evenly; positions
// between nodes make every trace blend its neighbours.
TEST(Survey1D, FilesIndependentOfThreadsAndBatches)
{
    Job1D job = LateralJob();
    job.receivers.clear();
    for (int k = 0; k < 47; k++)
        job.receivers.push_back(C3DPointR(3.7 * k, 2.3 * k, 20 + k));
    job.nThreads = 1;
    const std::string one = RunFiles(job);
    ASSERT_GT(one.size(), 2 * (3600 + 47 * 240u));
    for (int n : {2, 3, 5})
    {
        job.nThreads = n;
        EXPECT_TRUE(RunFiles(job) == one) << n << " threads";
    }
}

// fJob: the files of the job; fState: the settings, after the files.
struct BadCase { const char* pszName; std::function<void(Job1D&)> fJob; std::function<void(Prepared1D&)> fState;
                 int nCode; const char* pszMessage; };

// Refusals of the survey step, each with its code and its message in the
// log. Without receivers the survey itself refuses the job (the engine's
// own test for an empty list stays behind it).
TEST(Survey1D, BadInputIsRefusedWithItsMessage)
{
    auto noJob = [](Job1D&) {};
    auto noState = [](Prepared1D&) {};
    const std::vector<BadCase> cases = {
        {"no receivers", noJob, [](Prepared1D&) { model_test::WriteText("survey.txt", "# no rows\n"); }, 1,
         "Error!"},
        {"dz", noJob, [](Prepared1D& p) { p.m_calc.m_dz = 0; }, -100, "Error! Incorrect spacial step dz=0 specified!"},
        {"dt", noJob, [](Prepared1D& p) { p.m_calc.m_dt = -1; }, -101, "Error! Incorrect time tact dt=-1 specified!"},
        {"t1", noJob, [](Prepared1D& p) { p.m_app.m_t1 = 0; }, -104,
         "Error! Incorrect shotgather record range (t=-0.133333..0) specified!"},
        {"t0 >= t1", noJob, [](Prepared1D& p) { p.m_app.m_t0 = 0.5; p.m_app.m_t1 = 0.4; }, -104,
         "Error! Incorrect shotgather record range (t=0.5..0.4) specified!"},
        {"one node in Y", [](Job1D& j) { j.ny = 1; }, noState, -109,
         "Error! Model samples along Y dimension is less then 2 (1)."},
        {"survey off the model", [](Job1D& j) { j.receivers = {C3DPointR(5000, 5000, 10)}; }, noState, -30,
         "Error! Empty intersection between the model cube and the acquisition survey."},
        {"model missing", noJob, [](Prepared1D& p) { p.m_app.m_strModelPW = "missing.sgy"; }, -3,
         "Error! Unable to open model file 'missing.sgy'."},
    };
    for (const BadCase& c : cases)
    {
        Job1D job;
        job.nx = job.ny = 3;
        job.receivers = {C3DPointR(50, 50, 10)};
        c.fJob(job);
        Prepared1D p(job);
        ASSERT_EQ(p.WriteJobFiles(), 0) << c.pszName;
        c.fState(p);
        int r = p.m_app.m_Survey.LoadSurvey("survey.txt", false);
        if (r == 0)
            r = p.m_calc.PrepareSurvey(p.m_app.m_Survey, false);
        EXPECT_EQ(r, c.nCode) << c.pszName;
        const std::string log = testutil::ReadFile("Ondex-0.log");
        EXPECT_NE(log.find(c.pszMessage), std::string::npos) << c.pszName << "\n" << log;
    }
}

// A column finer than the model (2 m cells, 5 m nodes): between two nodes a
// cell takes the straight-line blend of their values by its distance to
// each. The column holds rho * vp^2 times one scale (the first cell, at a
// node, gives the scale), so with vp linear in depth the expected values
// are the blends of the nodes' squares.
TEST(Survey1D, ColumnBetweenModelNodesIsBlended)
{
    Job1D job;
    job.modelDz = 5.0, job.depth = 200.0;
    auto vp = [](double z) { return 2000.0 + 2.0 * z; };
    job.vp = [&](double, double, double z) { return (float)vp(z); };
    Prepared1D p(job);
    ASSERT_EQ(0, p.Prepare());
    CCalc1D& c = p.m_calc;
    std::vector<float> col(c.m_nCalcZ);
    int nFirst = 0;
    ASSERT_EQ(0, c.Get1DModel(0, CPointR(0, 0), col.data(), nFirst));
    const double scale = col[c.m_nTaper] / (vp(0) * vp(0));
    int nChecked = 0;
    for (int k = c.m_nTaper; k < c.m_nCalcZ; k++)
    {
        const double z = (k - c.m_nTaper) * job.dz, z0 = 5.0 * std::floor(z / 5.0), r = (z - z0) / 5.0;
        if (z > job.depth - 5.0)
            break;
        const double want = scale * ((1 - r) * vp(z0) * vp(z0) + r * vp(z0 + 5) * vp(z0 + 5));
        EXPECT_NEAR(want, col[k], 2e-6 * want) << "depth " << z;   // float rounding
        nChecked++;
    }
    EXPECT_GT(nChecked, 90);
}

} // namespace
