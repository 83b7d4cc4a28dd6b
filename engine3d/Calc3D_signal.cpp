// CCalc3D::GenerateSignal: the source signal of a shot, one sample per
// simulation step, scaled so that ApplySignal adds it without further factors.

#include "engine3d/Calc3D.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "base/Output.h"
#include "files/SdsPC.h"
#include "run/OndexApp.h"

// The Ricker wavelet, spanning -2/f..+2/f with its peak at time 0.
static int MakeRicker(CSignal3D& sig, double dt, double& tStart, float fScale)
{
    const double f = sig.m_dFreq;
    if (!(f > 0.0) || !std::isfinite(f))
    {
        u_Error("Error! Incorrect signal frequency %g Hz specified!\n", f);
        return -105;
    }
    tStart = -2.0 / f;
    const double dLen = (0.0 - tStart) * 2.0 / dt + 1.0;
    if (!(dLen >= 1.0) || dLen > (double)INT_MAX)
    {
        u_Error("Error! Unexpected signal length %g..%g.\n", tStart, -tStart);
        return -105;
    }
    sig.m_nLen = (int)dLen;
    sig.m_pData = new float[sig.m_nLen];

    // t is accumulated, as the time loop accumulates its own clock.
    double t = tStart;
    for (int i = 0; i < sig.m_nLen; i++)
    {
        const double a = f * M_PI * t;
        const double b = -(a * a);
        const float w = (float)((1.0 + b + b) * exp(b));
        sig.m_pData[i] = w * fScale;
        t += dt;
    }
    if (sig.m_t0 != 0.0)
        tStart -= sig.m_t0;
    return 0;
}

// A signal from the middle trace of a seismic file, resampled onto the
// simulation step, its largest sample put at time 0 (or shifted by t0).
static int LoadSignalFile(CSignal3D& sig, double dt, double& tStart, float fScale)
{
    const char* pszName = sig.m_strFile.c_str();
    CSdsPC file;
    if (!file.OnOpen(pszName, 0, 0, 0, 0))
    {
        u_Error("Error! Unable to open file %s containing signal shape.\n", pszName);
        return -3;
    }
    if (!file.m_pSR || file.m_nTraceCount < 1 || file.m_nTraceLen < 1)
    {
        u_Error("Error! Unexpected trace len (%d) in file %s containing signal shape.\n", file.m_nTraceLen, pszName);
        file.Reset();
        return -3;
    }

    // The sample axis is in milliseconds.
    const double t0f = file.m_traseParam[0] * 0.001;
    const double t1f = file.m_traseParam[1] * 0.001;
    const double dtf = file.m_traseParam[2] * 0.001;
    tStart = t0f;
    if (!std::isfinite(t0f) || !std::isfinite(t1f) || t0f > t1f || fabs(t1f - t0f) > 1.0)
    {
        u_Error("Error! Unexpected signal length %g..%g.\n", t0f, t1f);
        file.Reset();
        return -105;
    }
    if (!(dtf > 0.0) || !std::isfinite(dtf))
    {
        // Without a sample step the file's samples have no place in time.
        u_Error("Error! Unexpected sample step %g ms in file %s containing signal shape.\n", file.m_traseParam[2],
                pszName);
        file.Reset();
        return -105;
    }
    const double dLen = (t1f - t0f) / dt;
    if (dLen > (double)(INT_MAX - 10))
    {
        u_Error("Error! Unexpected signal length %g..%g.\n", t0f, t1f);
        file.Reset();
        return -105;
    }

    const int n = file.m_nTraceLen;
    std::vector<float> f((size_t)n, 0.0f);
    const int nTrace = file.m_nTraceCount / 2;
    if (!file.GetTrace(nTrace, f.data(), n))
    {
        u_Error("Error! Unable to read trace %d of file %s containing signal shape.\n", nTrace, pszName);
        file.Reset();
        return -3;
    }

    sig.m_nLen = (int)dLen + 10;
    sig.m_pData = new float[sig.m_nLen]();

    // Linear interpolation; beyond the last file sample the signal is 0 and
    // such samples take no part in the extremes.
    double vMin = f[0], vMax = f[0], A = fabs((double)f[0]);
    int iMin = 0, iMax = 0, iAbs = 0;
    for (int i = 0; i < sig.m_nLen; i++)
    {
        const double tau = i * dt / dtf;
        double v;
        if (tau <= 0.0)
            v = f[0];
        else if (tau >= n - 1)
        {
            sig.m_pData[i] = 0.0f;
            continue;
        }
        else
        {
            const int k = (int)floor(tau);
            const int K = (int)ceil(tau);
            const double r = tau - k;
            v = f[K] * r + f[k] * (1.0 - r);
            if (fabs(v) < 1e-20)
                v = 0.0;
        }
        sig.m_pData[i] = (float)v;
        if (v < vMin)
        {
            vMin = v;
            iMin = i;
        }
        if (v > vMax)
        {
            vMax = v;
            iMax = i;
        }
        if (fabs(v) > A)
        {
            A = fabs(v);
            iAbs = i;
        }
    }

    // A silent trace cannot be normalised: there is nothing to excite with.
    if (!(A > 0.0))
    {
        u_Error("Error! The signal trace %d in file %s contains only zero samples.\n", nTrace, pszName);
        sig.Free();
        file.Reset();
        return -105;
    }

    // No usable frequency in the job: peak and trough make a third of a period.
    if (sig.m_dFreq < 1.0)
        sig.m_dFreq = 1.0 / ((std::abs(iMax - iMin) + 1) * dt * 3.0);

    if (sig.m_t0 > 0.0)
        tStart = t0f - sig.m_t0;
    else
        tStart = -iAbs * dt;
    file.Reset();

    while (sig.m_nLen > 0 && fabs((double)sig.m_pData[sig.m_nLen - 1]) < A * 1e-6)
        sig.m_nLen--;

    const float fA = (float)A;
    for (int i = 0; i < sig.m_nLen; i++)
    {
        sig.m_pData[i] = sig.m_pData[i] / fA;
        sig.m_pData[i] = sig.m_pData[i] * fScale;
    }
    return 0;
}

int GenerateSignalSamples(CSignal3D& sig, double dStep, double dt, double& tStart)
{
    sig.Free();
    if (!(dStep > 0.0))
    {
        u_Error("Error! Incorrect spacial steps dx=dy=dz=%g specified!\n", dStep);
        return -100;
    }
    if (!(dt > 0.0))
    {
        u_Error("Error! Incorrect time tact dt=%g specified!\n", dt);
        return -101;
    }

    // The cell's volume and the step enter the amplitude here, so that the
    // schemes need no further factor.
    const float fScale = (float)(1e9 * dt / (dStep * dStep * dStep));
    const int nResult =
        sig.m_strFile.IsEmpty() ? MakeRicker(sig, dt, tStart, fScale) : LoadSignalFile(sig, dt, tStart, fScale);
    if (nResult != 0)
        return nResult;

    COndexApp* pApp = sig.m_pApp;
    if (pApp && pApp->m_bDebug && pApp->m_nNode == 1)
    {
        CString strName = pApp->m_strOutputDir + "signal3d.txt";
        FILE* fp = fopen(strName.c_str(), "w");
        if (fp)
        {
            double t = tStart;
            for (int i = 0; i < sig.m_nLen; i++)
            {
                fprintf(fp, "%g\t%g\n", t, sig.m_pData[i]);
                t += dt;
            }
            fclose(fp);
        }
        else
            u_Warning("Warning! Unable to write the debug file %s.\n", strName.c_str());
    }
    return 0;
}

int CCalc3D::GenerateSignal()
{
    return GenerateSignalSamples(m_Signal, m_dx, m_dt, m_tStart);
}
