// The viscoelastic scheme end to end: an explosion in a homogeneous full
// space with Q = 50, two receivers on a line through the source. Each trace
// over that of the same run without attenuation (source, grid dispersion and
// spreading cancel; the near field is corrected with the measured
// wavenumber), and the ratio of the two receivers leaves exp(-i (k - k_e)
// dr): attenuation and phase velocity between them. These are compared with
// the body the records describe: per mechanism a P weight p and a time tau,
// M(w) = 1 + sum p i w tau / (1 + i w tau), Q(w) = Re M / Im M.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "ElaBox.h"

namespace
{

typedef std::complex<double> cplx;

// vp 2000 m/s, dx 10 m: 40 Hz (four times f0) still has 5 cells per
// wavelength. The Ricker peak of 15 Hz keeps 2.5 Hz and 40 Hz within two
// orders of the spectral peak. The PML is 10 cells, inside a strip of 12.
const double kVp = 2000, kVs = 1000, kRho = 2000, kDx = 10, kF0 = 10, kFp = 15, kT0 = 0.08;
const int kW = 10, kSrc = 16;
const double kBand[] = {0.25, 0.5, 1.0, 2.0, 4.0};   // in units of f0

struct Geometry { int nx, nyz, r1, r2, nRecord; double dt; };   // box, receivers' x offsets, steps recorded
// Receivers 8 and 36 cells from the source, 7 to 8 from the side slabs
// (whose echoes drop out of the ratio); the record runs 0.35 s past the far
// arrival, for the slow relaxation tail (times up to 0.13 s) that carries the
// low frequencies: a window that cuts it ruins Q at 2.5 Hz.
const Geometry kSpectral = {72, 40, 8, 36, 600, 0.001};
// A smaller box for the amplitude and decay checks, Courant 0.3.
const Geometry kSmall = {48, 36, 6, 18, 230, 0.0015};

struct Shot
{
    std::vector<double> u1, u2;   // Ux at the two receivers, times K
    double dPeak = 0, dLate = 0;  // largest |U| anywhere (every tenth step) and at the end
    std::vector<float> rec;       // the mechanism records of the receiver line
    double vR = kVp;              // relaxed velocity in the grid
    bool bNeutralKept = true;     // the out-of-range Q cells kept their memory at 0
};

// L = 0: no attenuation. Q is 50 everywhere but in two cells off the line,
// Q 2.5 and 20000, outside the fitted range: their memory must stay 0.
Shot Simulate(const Geometry& G, int L, bool bApparent, int nAll = 0)
{
    Shot run;
    const int c = G.nyz / 2;
    const double dt = G.dt;
    nAll = std::max(nAll, G.nRecord);
    const int xq = kSrc + G.r1 + 4, yq[2] = {c - 5, c + 5};
    ViscoSetup vs{L, bApparent, [&](int x, int y, int z) {
                      if (x == xq && y == z && (y == yq[0] || y == yq[1]))
                          return y == yq[0] ? 2.5f : 20000.0f;
                      return 50.0f;
                  }};
    ElaBox box(G.nx, G.nyz, G.nyz, 102, kW, 12, kDx, dt, kF0,
               [](int, int, int, double& p, double& s, double& r) { p = kVp, s = kVs, r = kRho; }, nullptr, vs);
    EXPECT_TRUE(box.ok);
    if (!box.ok)
        return run;
    CCalc3D_OMP& e = box.E();
    const size_t src = box.Index(kSrc, c, c), i1 = box.Index(kSrc + G.r1, c, c), i2 = box.Index(kSrc + G.r2, c, c);
    const double c1 = (float)((1.0 / kDx) * dt / 15000.0);
    run.vR = std::sqrt(e.m_pVp[i1] / (kRho * c1));
    if (L > 0)
        run.rec.assign(e.m_pViscoM + i1 * 3 * L, e.m_pViscoM + (i1 + 1) * 3 * L);
    auto fieldMax = [&]() {
        double m = 0;
        for (size_t i = 0; i < box.g->Cells(); i++)
            m = std::max(m, (double)std::fabs(e.m_pUx[i]) + std::fabs(e.m_pUy[i]) + std::fabs(e.m_pUz[i]));
        return m;
    };
    for (int step = 0; step < nAll; step++)
    {
        // Moment rate at t_n - dt/2 into the normal stresses, as in the
        // elastic explosion test.
        const float s = (float)(-dt * 1e9 * Ricker(step * dt - 0.5 * dt - kT0, kFp) / (kDx * kDx * kDx));
        e.m_pTxx[src] += s;
        e.m_pTyy[src] += s;
        e.m_pTzz[src] += s;
        box.Step();
        if (step < G.nRecord)
        {
            run.u1.push_back(e.m_pUx[i1]);
            run.u2.push_back(e.m_pUx[i2]);
        }
        if (step % 10 == 0)
            run.dPeak = std::max(run.dPeak, fieldMax());
    }
    run.dLate = fieldMax();
    if (L > 0)
        for (int k = 0; k < 2; k++)
        {
            const size_t iq = box.Index(xq, yq[k], yq[k]);
            for (int j = 0; j < 6 * L; j++)
                run.bNeutralKept = run.bNeutralKept && e.m_pViscoG[iq * 6 * L + j] == 0.0f;
            // The cell did see the wave.
            run.bNeutralKept = run.bNeutralKept && e.m_pTxx[iq] != 0.0f;
        }
    return run;
}

// Windowed spectrum at f of a trace whose samples stand for (n + 1/2) dt:
// flat from 70 ms before the predicted arrival (the Ricker pulse has
// decayed to 1e-4 65 ms from its centre) to 250 ms after it, for the
// relaxation tail, cosine tapers of 50 ms.
cplx Spectrum(const std::vector<double>& u, double r, double f)
{
    const double tc = kT0 + r / kVp;
    cplx s = 0;
    for (size_t k = 0; k < u.size(); k++)
    {
        const double t = (k + 0.5) * kSpectral.dt, d = t < tc ? tc - t : std::max(0.0, t - tc - 0.25);
        const double w = d < 0.07 ? 1.0 : d < 0.12 ? std::pow(std::cos(0.5 * M_PI * (d - 0.07) / 0.05), 2) : 0.0;
        s += w * u[k] * std::exp(cplx(0, -2 * M_PI * f * t));
    }
    return s;
}

// Ux of an explosion at distance r: -F e^{-ikr} (1 + ikr) / r^2, k = w/c - i
// alpha. Returns the complex wavenumber of the attenuating run between the
// receivers, the near-field factor taken with the wavenumber found so far.
cplx MeasureK(const Shot& v, const Shot& el, double f)
{
    const double r1 = (kSpectral.r1 - 0.5) * kDx, r2 = (kSpectral.r2 - 0.5) * kDx, w = 2 * M_PI * f, ke = w / kVp;
    const cplx d1 = Spectrum(v.u1, r1, f) / Spectrum(el.u1, r1, f);
    const cplx d2 = Spectrum(v.u2, r2, f) / Spectrum(el.u2, r2, f);
    auto G = [](cplx k, double r) { return 1.0 + cplx(0, 1) * k * r; };
    cplx k = ke;
    for (int it = 0; it < 5; it++)
    {
        const cplx D = (d2 * G(ke, r2) / G(k, r2)) / (d1 * G(ke, r1) / G(k, r1));
        k = ke + cplx(0, 1) * std::log(D) / (r2 - r1);
    }
    return k;
}

// The modulus over the relaxed one of the P records.
cplx Modulus(const std::vector<float>& rec, double w)
{
    cplx m = 1.0;
    for (size_t l = 0; l < rec.size(); l += 3)
    {
        const cplx iwt(0, w * rec[l + 2]);
        m += (double)rec[l] * iwt / (1.0 + iwt);
    }
    return m;
}

const Shot& Elastic()
{
    static const Shot el = Simulate(kSpectral, 0, false);
    return el;
}

// L = 3, Q = 50. The measured quantity is Re k / (2 |Im k|), which for
// Q = 50 differs from Re M / Im M by 1e-4 of Q.
TEST(ViscoPhysics, SpectralRatioQMatchesTheMechanisms)
{
    const Shot& el = Elastic();
    const Shot v = Simulate(kSpectral, 3, false);
    ASSERT_EQ(9u, v.rec.size());
    EXPECT_TRUE(v.bNeutralKept);
    for (double x : kBand)
    {
        const double f = x * kF0;
        const cplx k = MeasureK(v, el, f), M = Modulus(v.rec, 2 * M_PI * f);
        const double Q = k.real() / (-2 * k.imag()), Qfit = M.real() / M.imag();
        // Left after the ratio: the numerical group over phase velocity at
        // 5 cells per wavelength (40 Hz: 5% measured, below 1% elsewhere),
        // and at 2.5 Hz an attenuation of 0.02 read against PML echoes.
        // Hence 8% over the band and 2% at f0 (0.1% measured); a memory
        // variable off by a factor moves Q by far more.
        EXPECT_NEAR(1.0, Q / Qfit, x == 1.0 ? 0.02 : 0.08) << f;
        // The fit itself reaches the nominal Q only near f0 (+7% there);
        // over the band it runs to +16% (4 f0), so the band is held to the
        // mechanisms above, not to 50.
        EXPECT_NEAR(1.0, x == 1.0 ? Q / 50 : 1.0, 0.10);
    }
}

// One and ten mechanisms: below the elastic amplitude at both receivers,
// more so at the far one, and the field dies out after the pulse has left
// through the PML (0.6 s, three times the travel time across the box).
TEST(ViscoPhysics, OneAndTenMechanismsAttenuateWithoutGrowth)
{
    const Shot el = Simulate(kSmall, 0, false, 400);
    auto peak = [](const std::vector<double>& u) {
        double m = 0;
        for (double a : u)
            m = std::max(m, std::fabs(a));
        return m;
    };
    const int nAll = 400;
    for (int L : {1, 10})
    {
        const Shot v = Simulate(kSmall, L, false, nAll);
        const double a1 = peak(v.u1) / peak(el.u1), a2 = peak(v.u2) / peak(el.u2);
        EXPECT_LT(a2, a1) << L;
        EXPECT_LT(a1, 1.0) << L;
        EXPECT_TRUE(std::isfinite(v.dLate)) << L;
        // The elastic box is down to 5e-8 of its peak by then, L = 10 to 3e-6
        // (the slow mechanisms' tail); a growing mode would not be.
        EXPECT_LT(v.dLate, 1e-4 * v.dPeak) << L;
    }
}

// Apparent velocities: the phase velocity at f0 between the receivers
// against the model's 2000 m/s.
TEST(ViscoPhysics, ApparentVelocityIsThePhaseVelocityAtF0)
{
    const Shot& el = Elastic();
    const Shot v = Simulate(kSpectral, 3, true);
    const double w = 2 * M_PI * kF0;
    const double c = w / MeasureK(v, el, kF0).real();
    const double cFit = v.vR / (1.0 / std::sqrt(Modulus(v.rec, w))).real();
    EXPECT_LT(v.vR, kVp);
    // Dispersion of the grid at 20 cells per wavelength: 5e-4.
    EXPECT_NEAR(1.0, c / cFit, 1e-3);
    // The correction takes its mechanisms at other frequencies than the fit
    // and divides by Re sqrt(M) rather than taking the phase velocity: 1.4%
    // is left here. The bound is the 1/Q the rock tests hold it to.
    EXPECT_NEAR(1.0, c / kVp, 1.0 / 50);
}

} // namespace
