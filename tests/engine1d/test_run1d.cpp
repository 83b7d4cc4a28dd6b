// A whole "Vertical Incidence" job run by the program itself: the two SEG-Y
// files it leaves, their headers, and their samples against the same traces
// computed in-process.

#include "Engine1DTestUtil.h"

#include <algorithm>

namespace
{

const std::string kProgram = std::string(ONDEX_BINARY_DIR) + "/ondex";

// The time step at which each record sample is taken: the first whose loop
// time, accumulated from tStart, has reached the sample's accumulated time.
std::vector<long> RecordSteps(double tStart, double dt, double t0, double dRec, size_t nLen, long nSteps)
{
    std::vector<long> v;
    double t = tStart, tRec = t0;
    for (long k = 0; k < nSteps && v.size() < nLen; k++)
    {
        if (t >= tRec)
        {
            v.push_back(k);
            tRec += dRec;
        }
        t += dt;
    }
    return v;
}

TEST(Run1D, ProgramWritesBothGathers)
{
    // The in-process twin of the job below: its traces are the reference.
    e1d::Job1D job;
    job.nx = job.ny = 3, job.depth = 300, job.dt = 0.0004, job.t0 = 0.0, job.t1 = 0.3;
    job.vp = [](double x, double, double z) { return z < 150 + 0.2 * x ? 2000.0f : 3000.0f; };
    job.rho = [](double, double, double z) { return z < 150 ? 2000.0f : 2400.0f; };
    job.receivers = {C3DPointR(0, 0, 30), C3DPointR(100, 50, 30), C3DPointR(200, 200, 60), C3DPointR(130, 20, 0)};
    e1d::Prepared1D twin(job);
    ASSERT_EQ(twin.Prepare(), 0);

    // The program's job in the same directory, written after the twin's
    // files; the record is sampled at 2 ms, five scheme steps.
    const double dRecDt = 0.002;
    ASSERT_TRUE(model_test::WriteText("runtask.ini",
                                      "[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = Vertical Incidence\n"
                                      "Model Name = vp.sgy\nFileModelD = rho.sgy\nSmooth Model = 0\nSurfType = 0\n"
                                      "PML = 1\n[Survey]\nGeometry = survey.txt\nt0 = 0\nt1 = 0.3\ndt = 0.002\n"
                                      "[Mesh]\ndx = 2\ndt = 0.0004\n[Source]\nType = 0\nFrequency = 15\nSignal = 1\n"
                                      "[optimization]\nthreads per process = 2\n"));
    std::string out;
    ASSERT_EQ(testutil::Run("'" + kProgram + "'", out), 0) << out;

    const int nSamples = (int)(0.3 / dRecDt + 0.5) + 1;
    const double tStart = twin.m_calc.m_tStart;
    const long nSteps = (long)((job.t1 - tStart) / job.dt) + 1;
    const std::vector<long> vFine = RecordSteps(tStart, job.dt, 0.0, job.dt, twin.m_calc.m_nSeisLen, nSteps);
    const std::vector<long> vCoarse = RecordSteps(tStart, job.dt, 0.0, dRecDt, nSamples, nSteps);
    // The loop ends at t1 by an accumulated clock: the sample at t1 itself
    // may fall one step beyond it and stay 0.
    ASSERT_GE(vCoarse.size() + 1, (size_t)nSamples);
    for (const char* pszFile : {"vp+Gath3DISUz.sgy", "vp+Gath3DISUc.sgy"})
    {
        const bool bPressure = std::string(pszFile).find("ISUc") != std::string::npos;
        CSdsPC f;
        ASSERT_TRUE(f.OnOpen(pszFile, 0)) << pszFile;
        EXPECT_EQ(f.m_Type, SGY);
        EXPECT_EQ(f.m_nTraceCount, (int)job.receivers.size());
        EXPECT_EQ(f.m_nTraceLen, nSamples);
        EXPECT_NEAR(f.m_traseParam[2], 2.0, 1e-9);   // ms
        EXPECT_NEAR(f.m_traseParam[0], 0.0, 1e-9);
        for (int t = 0; t < f.m_nTraceCount; t++)
        {
            C3DPointR src, rec;
            ASSERT_TRUE(f.GetCoord(t, src, rec));
            const C3DPointR& r = job.receivers[t];
            EXPECT_EQ(src.x, r.x);
            EXPECT_EQ(src.y, r.y);
            EXPECT_EQ(rec.x, r.x);
            EXPECT_EQ(rec.y, r.y);

            // Samples: the twin's trace at the same steps, to 1e-6 of the
            // trace's largest sample. The IBM floats keep 2^-21 of each
            // sample at worst; the program runs with denormals flushed to
            // zero and the test process does not, which leaves differences
            // of a few float steps of the largest sample (measured 2e-7).
            std::vector<float> data(nSamples);
            ASSERT_TRUE(f.GetTrace(t, data.data(), nSamples));
            const std::vector<float> fine = twin.Trace(t, bPressure);
            ASSERT_FALSE(fine.empty());
            double dMax = 0;
            for (float v : fine)
                dMax = std::max(dMax, (double)std::fabs(v));
            ASSERT_GT(dMax, 0.0);
            int nCompared = 0;
            for (int k = (int)vCoarse.size(); k < nSamples; k++)
                EXPECT_EQ(data[k], 0.0f);
            for (int k = 0; k < (int)vCoarse.size(); k++)
            {
                // The twin's sample taken at the same step.
                const auto it = std::find(vFine.begin(), vFine.end(), vCoarse[k]);
                if (it == vFine.end())
                    continue;
                const float v = fine[(size_t)(it - vFine.begin())];
                ASSERT_NEAR(data[k], v, 1e-6 * dMax) << pszFile << " trace " << t << " sample " << k;
                nCompared++;
            }
            EXPECT_GT(nCompared, nSamples - 2);
        }
    }
}

} // namespace
