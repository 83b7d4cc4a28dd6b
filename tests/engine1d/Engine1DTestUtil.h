// Helpers of the 1D engine tests: a job prepared in-process on model cubes
// written to a temporary directory, single traces computed on a worker, and
// a small FFT for the frequency-domain reference computations.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/TestUtil.h"
#include "engine1d/Calc1D.h"
#include "engine3d/ModelTestUtil.h"
#include "run/OndexApp.h"

namespace e1d
{

// Velocity and density of a model node at (x, y, z).
using ModelFn = std::function<float(double, double, double)>;

struct Job1D
{
    double dz = 2.0;        // column step and model step, m
    double modelDz = 0.0;   // model step if another, m
    double dt = 0.0002;     // scheme step = record step, s
    double t0 = NAN;        // first recorded time, s; NaN: -2/f, the whole wavelet
    double t1 = 0.6;        // last recorded time, s
    double freq = 15.0;     // Ricker frequency, Hz
    int nx = 2, ny = 2;     // model nodes in X and Y
    double dxy = 100.0;     // model node step in X and Y, m
    double depth = 600.0;   // model depth, m
    int nSurf = 0;          // 0 invisible, 1 free
    bool bPML = true;
    int nThreads = 1;
    ModelFn vp = [](double, double, double) { return 2000.0f; };
    ModelFn rho = [](double, double, double) { return 2000.0f; };
    std::vector<C3DPointR> receivers = {C3DPointR(0, 0, 100)};
};

// One prepared job in its own working directory (the log lands there too).
class Prepared1D
{
public:
    explicit Prepared1D(const Job1D& job) : m_dir(true, "ondex_1d"), m_calc(m_app), m_job(job) {}

    // Writes model and survey and runs the steps of the driver up to the
    // trace loop; the result of the first step that fails.
    int Prepare()
    {
        int r = WriteJobFiles();
        r = r ? r : m_calc.GenerateSignal();
        r = r ? r : m_app.m_Survey.LoadSurvey("survey.txt", false);
        r = r ? r : m_calc.PrepareSurvey(m_app.m_Survey, false);
        r = r ? r : m_calc.AllocateMemory(false, false);
        return r ? r : m_calc.InitModel();
    }

    // The model and survey files, and the settings of job and engine.
    int WriteJobFiles()
    {
        const Job1D& j = m_job;
        const double mdz = j.modelDz > 0.0 ? j.modelDz : j.dz;
        const int nz = (int)std::lround(j.depth / mdz) + 1;
        if (!model_test::WriteCube("vp.sgy", j.nx, j.ny, nz, j.dxy, 0, 0, 0, j.vp, mdz) ||
            !model_test::WriteCube("rho.sgy", j.nx, j.ny, nz, j.dxy, 0, 0, 0, j.rho, mdz))
            return 1000;
        std::string s;
        for (const C3DPointR& r : j.receivers)
        {
            char line[256];
            snprintf(line, sizeof(line), "%g %g %g %g %g %g 1 1\n", r.x, r.y, r.z, r.x, r.y, r.z);
            s += line;
        }
        if (!model_test::WriteText("survey.txt", s))
            return 1001;
        m_app.m_Type = 100, m_app.m_strModelPW = "vp.sgy", m_app.m_strModelD = "rho.sgy";
        m_app.m_t0 = std::isnan(j.t0) ? -2.0 / j.freq : j.t0, m_app.m_t1 = j.t1, m_app.m_dt = j.dt;
        m_app.m_nSmoothModel = 0, m_app.m_nThreads = j.nThreads;
        m_calc.m_dz = j.dz, m_calc.m_dt = j.dt, m_calc.m_bPML = j.bPML, m_calc.m_nTaper = j.bPML ? 26 : 38;
        m_calc.m_nSurfType = j.nSurf, m_calc.m_nSourceType = 0;
        m_calc.m_Signal.m_dFreq = j.freq, m_calc.m_Signal.m_nSignal = 1;   // additive source
        return 0;
    }

    // Pressure (or particle velocity) of trace i; empty on failure.
    std::vector<float> Trace(int i, bool bPressure = true)
    {
        CCalc1D_Worker w;
        if (w.Init(m_calc.m_nCalcZ, (int)m_calc.m_nSeisLen) != 0 || m_calc.CalculateTrace(i, w) != 0)
            return {};
        const float* p = bPressure ? w.m_pOutP : w.m_pOutU;
        return std::vector<float>(p, p + m_calc.m_nSeisLen);
    }

    testutil::TempDir m_dir;
    COndexApp m_app;
    CCalc1D m_calc;
    Job1D m_job;
};

// Pressure trace of receiver 0 of a job; empty (with a test failure) when
// the job cannot be prepared.
inline std::vector<float> RunTrace(const Job1D& job, bool bPressure = true)
{
    Prepared1D p(job);
    const int r = p.Prepare();
    EXPECT_EQ(r, 0);
    if (r != 0)
        return {};
    return p.Trace(0, bPressure);
}

using cplx = std::complex<double>;

// In-place radix-2 FFT; the size must be a power of two. Inverse without 1/N.
inline void FFT(std::vector<cplx>& a, bool bInverse)
{
    const size_t n = a.size();
    for (size_t i = 1, j = 0; i < n; i++)
    {
        size_t bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(a[i], a[j]);
    }
    for (size_t len = 2; len <= n; len <<= 1)
    {
        const double ang = 2 * M_PI / (double)len * (bInverse ? 1 : -1);
        const cplx wl(cos(ang), sin(ang));
        for (size_t i = 0; i < n; i += len)
        {
            cplx w(1);
            for (size_t k = 0; k < len / 2; k++)
            {
                const cplx u = a[i + k], v = a[i + k + len / 2] * w;
                a[i + k] = u + v;
                a[i + k + len / 2] = u - v;
                w *= wl;
            }
        }
    }
}

// The trace filtered by H(omega): zero-padded to a power of two well beyond
// its length so that nothing wraps around into the window.
inline std::vector<double> Filter(const std::vector<float>& x, double dt, const std::function<cplx(double)>& H)
{
    size_t n = 1;
    while (n < 4 * x.size())
        n <<= 1;
    std::vector<cplx> a(n, 0.0);
    for (size_t i = 0; i < x.size(); i++)
        a[i] = x[i];
    FFT(a, false);
    for (size_t k = 0; k < n; k++)
    {
        const double f = (k <= n / 2 ? (double)k : (double)k - (double)n) / (n * dt);
        a[k] *= H(2 * M_PI * f);
    }
    FFT(a, true);
    std::vector<double> y(x.size());
    for (size_t i = 0; i < x.size(); i++)
        y[i] = a[i].real() / (double)n;
    return y;
}

template <class T>
double MaxAbs(const std::vector<T>& v, size_t i0 = 0)
{
    double m = 0;
    for (size_t i = i0; i < v.size(); i++)
        m = std::max(m, (double)std::fabs(v[i]));
    return m;
}

// Largest sample magnitude within a window, with its index refined by a
// parabola through the three samples around it.
inline void Peak(const std::vector<double>& v, size_t i0, size_t i1, double& amp, double& pos)
{
    size_t k = i0;
    for (size_t i = i0; i < i1 && i < v.size(); i++)
        if (std::fabs(v[i]) > std::fabs(v[k]))
            k = i;
    amp = v[k];
    pos = (double)k;
    if (k > 0 && k + 1 < v.size())
    {
        const double a = v[k - 1], b = v[k], c = v[k + 1];
        const double den = a - 2 * b + c;
        if (den != 0)
        {
            const double d = 0.5 * (a - c) / den;
            pos = k + d;
            amp = b - 0.25 * (a - c) * d;
        }
    }
}

} // namespace e1d
