// Fitting L standard linear solids to a constant Q, and the velocity
// correction from apparent to intrinsic velocities.
//
// A mechanism with relaxation time tau and weight p has the modulus
// M/M_R = 1 + p*i*w*tau/(1 + i*w*tau); its quality peaks at the centre
// frequency 1/sqrt(tau_eps*tau_sigma) with the value Q0 of its parameter A.

#include "rock/ViscoCalc.h"

#include <cmath>
#include <complex>
#include <vector>

namespace
{

// Centre frequencies of the mechanisms in units of the dominant one: log
// spaced from an eighth to eight times, a fixed pair for two mechanisms.
double CentreFactor(int L, int l)
{
    if (L < 2)
        return 1.0;
    if (L == 2)
        return l == 0 ? 2.0 / 7.0 : 3.5;
    return pow(8.0, 2.0 * l / (L - 1) - 1.0);
}

// tau_sigma * w of a mechanism whose peak quality is Q0.
double PeakA(double Q0)
{
    return sqrt(1.0 / (Q0 * Q0) + 1.0) - 1.0 / Q0;
}

} // namespace

CViscoCalc::CViscoCalc()
    : m_fVp(0.0), m_fVs(0.0), m_fVpCor(0.0), m_fVsCor(0.0), m_fQp(0.0), m_fQs(0.0), m_fQ0pKeep(0.0),
      m_fQ0sKeep(0.0), m_fQ0p(0.0), m_fQ0s(0.0)
{
}

bool CViscoCalc::InitViscoParams(double f0, int L, float Qp, float Qs, float* p, float* s, float* tau,
                                 bool bApparent, float& vp, float& vs)
{
    for (int l = 0; l < L; l++)
    {
        p[l] = 0.0f;
        s[l] = 0.0f;
        tau[l] = 1.0f;
    }
    if (!(Qp > 3.0f) && !(Qs > 3.0f))
        return false;
    // Without a frequency there is nothing to fit to: the neutral set.
    if (L < 1 || !(f0 > 0.0))
        return false;
    if (Qp < 3.0f)
        Qp = 1000.0f;
    if (Qs < 3.0f)
        Qs = 1000.0f;
    if (bApparent)
        GetCorrectedVelocity(f0, L, Qp, Qs, vp, vs, vp, vs);

    const double w0 = f0 * 6.2831853;
    if (L == 1)
    {
        const double t = (sqrt(1.0 / ((double)Qp * Qp) + 1.0) - 1.0 / Qp) / w0;
        tau[0] = (float)t;
        p[0] = (float)(1.0 / (w0 * w0 * t) / t) - 1.0f;
        s[0] = (float)(((w0 * t * Qs + 1.0) / (w0 * Qs - w0 * w0 * t)) / t) - 1.0f;
        return true;
    }

    if ((double)Qp == m_fQp)
        m_fQ0p = m_fQ0pKeep;
    else
    {
        m_fQ0p = GetMinQ0(f0, Qp, L, false);
        m_fQp = Qp;
        m_fQ0pKeep = m_fQ0p;
    }
    if ((double)Qs == m_fQs)
        m_fQ0s = m_fQ0sKeep;
    else
    {
        m_fQ0s = GetMinQ0(f0, Qs, L, true);
        m_fQs = Qs;
        m_fQ0sKeep = m_fQ0s;
    }
    // No candidate fitted (a Q far outside what the driver passes): keep
    // the neutral set rather than weights from an undefined A.
    if (!(m_fQ0p > 0.0) || !(m_fQ0s > 0.0))
        return false;

    for (int l = 0; l < L; l++)
    {
        // The middle one of three mechanisms is damped a little less; the
        // fit does not know about it.
        const double f = (L == 3 && l == 1) ? 1.176 : 1.0;
        const double q0p = m_fQ0p * f, q0s = m_fQ0s * f;
        const double A = PeakA(q0p);
        const double wl = w0 * CentreFactor(L, l);
        const double t = A / wl;
        p[l] = (float)((1.0 / (A * wl)) / t - 1.0);
        s[l] = (float)(((q0s * A + 1.0) / (wl * (q0s - A))) / t - 1.0);
        tau[l] = (float)t;
    }
    return true;
}

double CViscoCalc::GetMinQ0(double /*f0*/, double Q, int L, bool bS)
{
    // The fit is scale free: frequencies in units of the centre frequency,
    // so f0 plays no part.
    if (!(Q > 0.0) || L < 1)
        return 0.0;
    const int nL = L;
    std::vector<double> nu(nL);
    for (int l = 0; l < nL; l++)
        nu[l] = CentreFactor(nL, l);

    double dBest = 0.0, dBestErr = 0.0;
    bool bFound = false;
    for (int i = 0; i < 100; i++)
    {
        const double Qc = 0.5 * Q + i * (1.5 * Q / 100.0);
        const double A = (sqrt(Qc * Qc + 1.0) - 1.0) / Qc;
        const double te = bS ? (A * Qc + 1.0) / (Qc - A) : 1.0 / A;
        double dErr = 0.0;
        for (int k = -1; k <= 99; k++)
        {
            const double v = 0.25 + k * 0.0175;
            std::complex<double> Z(0.0, 0.0);
            for (int l = 0; l < nL; l++)
                Z += std::complex<double>(1.0, -v * te / nu[l]) / std::complex<double>(1.0, -v * A / nu[l]);
            const double q = -(Z.real() - (nL - 1)) / Z.imag();
            dErr += (q - Q) * (q - Q);
        }
        if (dErr < 1e11 && (!bFound || dErr < dBestErr))
        {
            bFound = true;
            dBestErr = dErr;
            dBest = Qc;
        }
    }
    return bFound ? dBest : 0.0;
}

int CViscoCalc::GetCorrectedVelocity(double f0, int L, float Qp, float Qs, float vp, float vs, float& vpOut,
                                     float& vsOut)
{
    vpOut = vp;
    vsOut = vs;
    if (fabs(vp - m_fVp) < 0.001 && fabs(vs - m_fVs) < 0.001 && fabs(Qp - m_fQp) < 0.001 &&
        fabs(Qs - m_fQs) < 0.001)
    {
        vpOut = (float)m_fVpCor;
        vsOut = (float)m_fVsCor;
        return 0;
    }
    m_fVp = vp;
    m_fVs = vs;
    if ((double)Qp != m_fQp)
    {
        m_fQ0p = L == 1 ? Qp : (Qp > 3.0f ? GetMinQ0(f0, Qp, L, false) : 0.0);
        m_fQp = Qp;
        m_fQ0pKeep = m_fQ0p;
    }
    else
        m_fQ0p = m_fQ0pKeep;
    if ((double)Qs != m_fQs)
    {
        m_fQ0s = L == 1 ? Qs : (Qs > 3.0f ? GetMinQ0(f0, Qs, L, true) : 0.0);
        m_fQs = Qs;
        m_fQ0sKeep = m_fQ0s;
    }
    else
        m_fQ0s = m_fQ0sKeep;

    // A Q that found no fit, or no frequency, leaves the velocity as it is
    // instead of dividing by a modulus made of NaNs.
    if (L >= 1 && f0 > 0.0 && m_fQ0p > 0.0)
    {
        const double w0 = 2.0 * acos(-1.0) * f0;
        const double A = PeakA(m_fQ0p);
        const double Q0s = m_fQ0s;
        std::complex<double> MP(1.0 - L, 0.0), MS(1.0 - L, 0.0);
        for (int l = 0; l < L; l++)
        {
            // Log spaced over L intervals, not L - 1, unlike the fit.
            const double wl = exp(((double)(L - 1 - l) / L) * log(w0 / 8.0) + ((double)l / L) * log(8.0 * w0));
            const double ts = A / wl;
            const double teP = 1.0 / (wl * wl * ts);
            const double teS = (ts * Q0s * wl + 1.0) / (wl * Q0s - wl * wl * ts);
            const std::complex<double> den(1.0, w0 * ts);
            MP += std::complex<double>(1.0, w0 * teP) / den;
            MS += std::complex<double>(1.0, w0 * teS) / den;
        }
        if (Qp > 0.0f)
            vpOut = vp / (float)std::sqrt(MP).real();
        if (Qs > 0.0f && Q0s > 0.0)
            vsOut = vs / (float)std::sqrt(MS).real();
    }
    const float vsMax = (float)(vpOut / sqrt(2.0));
    if (vsOut > vsMax)
        vsOut = vsMax;
    m_fVpCor = vpOut;
    m_fVsCor = vsOut;
    return 0;
}
