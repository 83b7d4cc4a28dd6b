// The acoustic method as a whole, run by the program itself on a homogeneous
// model: the recorded pressure against the 3D Green's function, the PML
// against a larger grid, the divergence time field, and an unstable step.
//
// A point injection of pressure at the rate q(t) = 1e9 * w(t) (the engine's
// source scale 1e9 * dt / dx^3 per step and cell) solves
//   P_tt - c^2 lap P = q'(t) delta(x),   P = q'(t - r/c) / (4 pi c^2 r),
// whatever the density. w is the Ricker wavelet of the job's frequency.
//
// Timing: step n (loop time t_n at its head) injects signal sample n (the
// wavelet at t_n) at the source, then updates U and P, and the pressure
// recorded after it carries the time t_{n+1}. The source over [t_n, t_{n+1}]
// is thus sampled half a step late: the centred scheme for q(t + dt/2), so
// the recorded trace at time t is the analytic pressure at t + dt/2.
// Without the shift the residual is first order in dt (it halves with dt);
// the best-fitting shift is checked too.

#include "common/TestUtil.h"
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "ModelTestUtil.h"
#include "OmpTestGrid.h"
#include "files/files_test_util.h"

namespace
{

const std::string kProgram = std::string(ONDEX_BINARY_DIR) + "/ondex";
const double kC = 2000.0;     // m/s
const double kRho = 1800.0;   // kg/m3; the pressure does not depend on it
const double kFreq = 10.0;    // Hz: shortest wavelength about 2000 / 25 = 80 m
const double kDx = 10.0;      // m: 8 cells per shortest wavelength
const double kDt = 0.001;     // s, stable limit about 2.5 ms here

struct Receiver { double dx, dy, dz; };   // offset from the source, m

// Axis, diagonal (80, 60, 0) and vertical offsets; two of them at 100 m.
const Receiver kReceivers[] = {{100, 0, 0}, {80, 60, 0}, {0, 150, 0}, {0, 0, -120}, {150, 0, 0}};
const int kNumReceivers = sizeof(kReceivers) / sizeof(kReceivers[0]);

bool Exists(const std::string& name) { return testutil::FileExists(name); }

double Analytic(double t, double r) { return 1e9 * RickerDot(t - r / kC, kFreq) / (4.0 * M_PI * kC * kC * r); }

struct RunResult
{
    int nStatus = -1;
    std::string strOut;
    std::vector<std::vector<float>> vC;   // pressure gather
    std::vector<double> vTimes;           // time of each recorded sample
};

// Times of the recorded samples, as the time loop reaches them: the loop
// time is accumulated from -2/f, and a sample is recorded at the end of the
// first step whose time has reached the sample's time.
std::vector<double> RecordTimes(double dt, double t0, double t1)
{
    std::vector<double> v;
    const double tStart = -2 / kFreq;
    double tCur = tStart, tRec = t0;
    for (long n = 0; n < (long)((t1 - tStart) / dt) + 1; n++)
        if ((tCur += dt) >= tRec)
            v.push_back(tCur), tRec += dt;
    return v;
}

// A homogeneous model of n^3 nodes with the source in its middle.
RunResult RunHomogeneous(const std::string& dir, int n, double dt, double t1, const char* pszExtra = "")
{
    RunResult res;
    const double mid = kDx * (n - 1) / 2;
    std::string strSurvey;
    char line[256];
    for (const Receiver& r : kReceivers)
    {
        snprintf(line, sizeof(line), "%g %g %g %g %g %g 1 1\n", mid, mid, mid, mid + r.dx, mid + r.dy, mid + r.dz);
        strSurvey += line;
    }
    res.nStatus = model_test::RunAcoustic(dir, n, (float)kRho, strSurvey, t1, dt, kFreq, pszExtra, res.strOut);
    for (const char* name : {"/vp+Gath3DAPUc.sgy", "/vp+Gath3DAPUc-1.sgy"})
        if (Exists(dir + name))
        {
            res.vC = model_test::ReadGather(dir + name);
            break;
        }
    res.vTimes = RecordTimes(dt, 0.0, t1);
    return res;
}

struct WaveformError
{
    double dPeakRatio;   // largest |numeric| / largest |analytic|
    double dMaxError;    // largest |numeric - analytic| / largest |analytic|
};

WaveformError Compare(const std::vector<float>& trace, const std::vector<double>& times, double r, double shift)
{
    double aMax = 0, nMax = 0, eMax = 0;
    for (size_t j = 0; j < trace.size() && j < times.size(); j++)
    {
        const double a = Analytic(times[j] + shift, r);
        aMax = std::max(aMax, fabs(a));
        nMax = std::max(nMax, (double)fabs(trace[j]));
        eMax = std::max(eMax, fabs(trace[j] - a));
    }
    return {aMax > 0 ? nMax / aMax : 0.0, aMax > 0 ? eMax / aMax : 1.0};
}

// The shift of the analytic time axis that fits a trace best (smallest
// largest difference), searched in steps of dt/100 from -dt to 2 dt.
double BestShift(const std::vector<float>& trace, const std::vector<double>& times, double r, double dt)
{
    double best = 0, eBest = 1e300;
    for (int k = -100; k <= 200; k++)
    {
        const double e = Compare(trace, times, r, k * dt / 100).dMaxError;
        if (e < eBest)
        {
            eBest = e;
            best = k * dt / 100;
        }
    }
    return best;
}

class PhysicsAcoustic : public testutil::NeedsProgram
{
};

// The main check: waveform and amplitude of the direct wave at five
// receivers, for two time steps; the half-step shift must follow the step.
TEST_F(PhysicsAcoustic, DirectWaveMatchesGreensFunction)
{
    const double t1 = 0.2;
    for (double dt : {kDt, kDt / 2})
    {
        sdspc_test::TempDir dir;
        RunResult run = RunHomogeneous(dir.path(), 41, dt, t1);
        ASSERT_EQ(0, run.nStatus) << run.strOut;
        ASSERT_EQ((size_t)kNumReceivers, run.vC.size()) << run.strOut;
        for (int i = 0; i < kNumReceivers; i++)
        {
            const Receiver& rc = kReceivers[i];
            const double r = sqrt(rc.dx * rc.dx + rc.dy * rc.dy + rc.dz * rc.dz);
            // The loop would reach one more sample time than a trace holds.
            ASSERT_LE(run.vC[i].size(), run.vTimes.size());
            ASSERT_GE(run.vC[i].size(), run.vTimes.size() - 1);
            const WaveformError e = Compare(run.vC[i], run.vTimes, r, dt / 2);
            EXPECT_NEAR(0.5, BestShift(run.vC[i], run.vTimes, r, dt) / dt, 0.1) << "dt=" << dt << " r=" << r;
            EXPECT_NEAR(1.0, e.dPeakRatio, 0.01) << "dt=" << dt << " r=" << r;
            EXPECT_LT(e.dMaxError, 0.01) << "dt=" << dt << " r=" << r;
        }
    }
}

// The PML: the same geometry on a grid whose boundaries are 200 m from the
// source instead of 320 m; the difference of the traces is what the near
// boundaries send back.
TEST_F(PhysicsAcoustic, PmlReflectionBelowOnePercent)
{
    sdspc_test::TempDir dirSmall, dirLarge;
    const double t1 = 0.2;
    RunResult small = RunHomogeneous(dirSmall.path(), 41, kDt, t1);
    RunResult large = RunHomogeneous(dirLarge.path(), 65, kDt, t1);
    ASSERT_EQ(0, small.nStatus) << small.strOut;
    ASSERT_EQ(0, large.nStatus) << large.strOut;
    ASSERT_EQ((size_t)kNumReceivers, small.vC.size());
    ASSERT_EQ((size_t)kNumReceivers, large.vC.size());
    for (int i = 0; i < kNumReceivers; i++)
    {
        ASSERT_EQ(small.vC[i].size(), large.vC[i].size());
        double dMax = 0, dDiff = 0;
        for (size_t j = 0; j < small.vC[i].size(); j++)
        {
            dMax = std::max(dMax, (double)fabs(large.vC[i][j]));
            dDiff = std::max(dDiff, (double)fabs(small.vC[i][j] - large.vC[i][j]));
        }
        ASSERT_GT(dMax, 0.0);
        EXPECT_LT(dDiff / dMax, 0.01) << "receiver " << i;
    }
}

// The time field of the largest divergence: div v is dP/dt / (rho c^2),
// which follows q''(t - r/c) / r, largest at t = r/c. The field is sampled
// every 5 steps, so each node's time lies within 5 ms of r/c.
TEST_F(PhysicsAcoustic, TimeFieldOfDivergenceFollowsTheWavefront)
{
    sdspc_test::TempDir dir;
    RunResult run = RunHomogeneous(dir.path(), 41, kDt, 0.3, "[Time]\nType = 2\ndx = 40\n");
    ASSERT_EQ(0, run.nStatus) << run.strOut;
    std::string name;
    for (const char* n : {"/vp+Time3DAPU(MaxDiv).sgy", "/vp+Time3DAPU(MaxDiv)-1.sgy"})
        if (Exists(dir.path() + n))
            name = dir.path() + n;
    ASSERT_FALSE(name.empty()) << run.strOut;
    EXPECT_FALSE(Exists(dir.path() + "/vp+Time3DAPU(MaxEnergy).sgy"));
    CSdsPC file;
    ASSERT_TRUE(file.OnOpen(name.c_str(), 0));
    ASSERT_EQ(11 * 11, file.m_nTraceCount);   // 0..400 m every 40 m
    ASSERT_EQ(11, file.m_nTraceLen);
    for (int k = 0; k < file.m_nTraceCount; k++)
    {
        std::vector<float> t(11);
        ASSERT_TRUE(file.GetTrace(k, t.data(), 11));
        C3DPointR src, rec;
        ASSERT_TRUE(file.GetCoord(k, src, rec));
        EXPECT_NEAR(40.0 * (k % 11), rec.x, 1e-3);
        EXPECT_NEAR(40.0 * (k / 11), rec.y, 1e-3);
        for (int j = 0; j < 11; j++)
        {
            const double dx = rec.x - 200, dy = rec.y - 200, dz = 40.0 * j - 200;
            const double r = sqrt(dx * dx + dy * dy + dz * dz);
            if (r < 40.0)
                continue;   // the source cell itself
            EXPECT_NEAR(r / kC, t[j], 0.005) << "node " << k << " depth " << 40 * j;
        }
    }
}

// A time step far beyond the stability limit blows up; the run ends with
// the instability message and the code -150.
TEST_F(PhysicsAcoustic, UnstableTimeStepIsReported)
{
    sdspc_test::TempDir dir;
    RunResult run = RunHomogeneous(dir.path(), 41, 0.006, 0.3);
    EXPECT_NE(std::string::npos,
              run.strOut.find("!!!WARNING: The calculation scheme is unstable: further calculations are "
                              "impossible! Please decrease dt."))
        << run.strOut;
    EXPECT_NE(std::string::npos, run.strOut.find("-150")) << run.strOut;
    EXPECT_NE(0, run.nStatus);
}

} // namespace
