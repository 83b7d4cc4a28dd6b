// The source signal: the Ricker wavelet against its formula, and signals
// read from a SEG-Y file at a coarser and a finer step than the simulation.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "FakeEngine.h"
#include "files/files_test_util.h"

namespace
{

using sdspc_test::TempDir;

struct SignalFixture
{
    std::unique_ptr<COndexApp> app;
    std::unique_ptr<CFakeEngine> eng;
    SignalFixture(double dFreq, double dt, double dx)
    {
        app.reset(new COndexApp());
        eng.reset(new CFakeEngine(*app));
        eng->m_Signal.m_dFreq = dFreq;
        eng->m_dt = dt;
        eng->m_dx = dx;
    }
};

// (1 - 2 (pi f t)^2) exp(-(pi f t)^2)
double Ricker(double f, double t)
{
    const double a = M_PI * f * t;
    return (1.0 - 2.0 * a * a) * std::exp(-a * a);
}

TEST(Signal, RickerLengthPeakAndScale)
{
    struct
    {
        double f, dt, dx;
        int nLen;
        double scale;   // 1e9 dt / dx^3
    } cases[] = {
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
            EXPECT_NEAR(sig.m_pData[i], Ricker(c.f, t) * c.scale, 2e-6 * c.scale) << c.f << " sample " << i;
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

TEST(Signal, RefusesBadStepsAndFrequency)
{
    SignalFixture a(20, 0.0, 10);
    EXPECT_EQ(a.eng->GenerateSignal(), -101);
    SignalFixture b(20, 0.001, 0.0);
    EXPECT_EQ(b.eng->GenerateSignal(), -100);
    SignalFixture c(0.0, 0.001, 10);
    EXPECT_EQ(c.eng->GenerateSignal(), -105);
    EXPECT_EQ(c.eng->m_Signal.m_pData, nullptr);
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

TEST(SignalFile, Failures)
{
    TempDir d;
    SignalFixture a(20.0, 0.001, 10);
    a.eng->m_Signal.m_strFile = (d / "missing.sgy").c_str();
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(a.eng->GenerateSignal(), -3);
    std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("Error! Unable to open file " + (d / "missing.sgy") + " containing signal shape.\n"),
              std::string::npos)
        << out;

    // 300 samples of 4 ms: longer than a second.
    const std::string name = d / "long.sgy";
    std::vector<float> f(300, 0.0f);
    f[10] = 1.0f;
    WriteSignalFile(name, {f}, 4000);
    SignalFixture b(20.0, 0.001, 10);
    b.eng->m_Signal.m_strFile = name.c_str();
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(b.eng->GenerateSignal(), -105);
    out = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("Error! Unexpected signal length 0..1.196.\n"), std::string::npos) << out;
    EXPECT_EQ(b.eng->m_Signal.m_pData, nullptr);
}

} // namespace
