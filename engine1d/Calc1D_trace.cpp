// CCalc1D: one trace. The column under the receiver, its PML, and the
// staggered sixth-order scheme in depth over all time steps, recording
// pressure and vertical particle velocity at the receiver's cell.

#include "engine1d/Calc1D.h"

#include <cmath>
#include <cstring>
#include <new>

#include "base/Output.h"
#include "cpu/FDScheme.h"
#include "run/OndexApp.h"

CCalc1D_Worker::CCalc1D_Worker()
    : m_nTrace(0), m_pK(nullptr), m_pB(nullptr), m_pQ(nullptr), m_pU(nullptr), m_pP(nullptr),
      m_pPmlB1(nullptr), m_pPmlA1(nullptr), m_pPmlB2(nullptr), m_pPmlA2(nullptr), m_pMemP(nullptr),
      m_pMemU(nullptr), m_pOutU(nullptr), m_pOutP(nullptr)
{
}

// m_pK starts the column block, m_pOutU the sample block.
CCalc1D_Worker::~CCalc1D_Worker()
{
    delete[] m_pK;
    delete[] m_pOutU;
}

int CCalc1D_Worker::Init(int nZ, int nSamples)
{
    delete[] m_pK;
    delete[] m_pOutU;
    m_pK = m_pOutU = nullptr;
    const size_t z = nZ > 0 ? (size_t)nZ : 0;
    const size_t s = nSamples > 0 ? (size_t)nSamples : 0;
    float* pCols = new (std::nothrow) float[11 * z + 1]();
    float* pOut = new (std::nothrow) float[2 * s + 1]();
    if (!pCols || !pOut)
    {
        delete[] pCols;
        delete[] pOut;
        u_Error("Error! Unable allocate memory for calculation traces.\n");
        return -1;
    }
    float** const apCols[11] = {&m_pK, &m_pB, &m_pQ, &m_pU, &m_pP, &m_pPmlB1,
                                &m_pPmlA1, &m_pPmlB2, &m_pPmlA2, &m_pMemP, &m_pMemU};
    for (size_t k = 0; k < 11; k++)
        *apCols[k] = pCols + k * z;
    m_pOutU = pOut;
    m_pOutP = pOut + s;
    return 0;
}

int CCalc1D::InitPMLProfile(float* pK, float* pB, float* pB1, float* pA1, float* pB2, float* pA2)
{
    const size_t nZ = m_nCalcZ > 0 ? (size_t)m_nCalcZ : 0;
    for (float* p : {pB1, pA1, pB2, pA2})
        memset(p, 0, nZ * sizeof(float));
    const int N = m_nPML;
    if (N < 1)
        return 0;
    const double r = (1.0 / m_dz) * m_dt;
    const double c2 = r * 15000.0;
    const double c1 = r / 15000.0;
    const double L = log(0.0002);
    const double W = m_dz * N;
    const double f = m_Signal.m_dFreq;
    for (int e = 0; e < N; e++)
    {
        const int aj[2] = {e + 3, m_nCalcZ - 4 - e};
        for (int j : aj)
        {
            if (j < 0 || j >= m_nCalcZ)
                continue;
            // The local P velocity, back from K and B.
            double v = pK[j];
            if (pK[j] > 0.0f && pB[j] > 0.0f)
                v = sqrt(pK[j] / ((c2 / pB[j]) * c1));
            const double d0 = v * -1.5 * L / W;
            const double s1 = (1.0 + N - e) / N;
            const double s2 = (0.5 + N - e) / N;
            const double as[2] = {s1, s2};
            float aA[2], aB[2];
            for (int k = 0; k < 2; k++)
            {
                const double s = as[k];
                const double d = d0 * s * s;
                const double alpha = (1.1 - s) * M_PI * f;
                const float A = (float)exp(-(d + alpha) * m_dt);
                const float Am1 = A - 1.0f;
                aA[k] = A;
                aB[k] = (float)(d * (double)Am1 / (d + alpha));
            }
            pA1[j] = aA[0];
            pB1[j] = aB[0];
            pA2[j] = aA[1];
            pB2[j] = aB[1];
        }
    }
    return 0;
}

int CCalc1D::CalculateTrace(int nTrace, CCalc1D_Worker& w)
{
    if (nTrace < 0 || !m_pReceivers || (size_t)nTrace >= m_pReceivers->size())
        return -1;
    w.m_nTrace = nTrace;
    const C3DPointR& rcv = (*m_pReceivers)[nTrace];
    const COndexApp& job = *m_pApp;
    const int nZ = m_nCalcZ;
    const size_t nLen = m_nSeisLen;
    float* const P = w.m_pP;
    float* const U = w.m_pU;
    float* const K = w.m_pK;
    float* const B = w.m_pB;
    float* const pMemP = w.m_pMemP;
    float* const pMemU = w.m_pMemU;
    const float* const pA1 = w.m_pPmlA1;
    const float* const pB1 = w.m_pPmlB1;
    const float* const pA2 = w.m_pPmlA2;
    const float* const pB2 = w.m_pPmlB2;
    for (float* p : {P, U, pMemU, pMemP})
        memset(p, 0, (size_t)nZ * sizeof(float));
    memset(w.m_pOutP, 0, nLen * sizeof(float));
    memset(w.m_pOutU, 0, nLen * sizeof(float));

    int nFirst = m_nTaper, n = 0;
    const CPointR pt(rcv.x, rcv.y);
    int r = Get1DModel(0, pt, K, nFirst);
    if (r != 0)
        return r;
    r = Get1DModel(2, pt, B, n);
    if (r != 0)
        return r;
    if (m_bPML)
        InitPMLProfile(K, B, w.m_pPmlB1, w.m_pPmlA1, w.m_pPmlB2, w.m_pPmlA2);
    else
        for (float* p : {w.m_pPmlB1, w.m_pPmlA1, w.m_pPmlB2, w.m_pPmlA2})
            memset(p, 0, (size_t)nZ * sizeof(float));
    const float* Q = nullptr;
    if (m_pQ)
    {
        Get1DModel(100, pt, w.m_pQ, n);
        Q = w.m_pQ;
    }

    // Source and receiver share one cell; a point in air goes down to rock.
    const double dCell = (rcv.z - m_cubeSim.z0) / m_dz + 0.1;
    int c = (dCell > -1e8 && dCell < 1e8) ? (int)dCell + m_nTaper : m_nTaper;
    if (c < nFirst)
        c = nFirst;
    if (c < m_nTaper || c > nZ - m_nTaper)
        c = m_nTaper;
    while (c < nZ - m_nTaper && K[c] == 0.0f)
        c++;
    // A column of air has no medium to carry the wave, and the source would
    // only pile up in its own cell: the trace stays silent.
    if (K[c] == 0.0f)
        return 0;

    // Cells within 'nEdge' of an end carry the PML memory terms (and, with
    // PML off, the taper); the cells between need neither and run in a
    // plain loop the compiler can vectorise. Every cell is computed the
    // same way in either loop, so the split changes no bit of the result.
    const int nEdge = m_nPML + 3;
    const bool bTaper = !m_bPML;
    const int nOuter = bTaper && m_nTaper > nEdge ? m_nTaper : nEdge;
    const int iLo = 3, iHi = nZ - 4;
    const int iMidLo = nOuter > iLo ? nOuter : iLo;
    const int iMidHi = nZ - 1 - nOuter < iHi ? nZ - 1 - nOuter : iHi;

    auto edgeP = [&](int i) -> bool {
        const int m = nZ - 1 - i;
        float d = (U[i + 1] - U[i]) * 1.171875f + (U[i + 2] - U[i - 1]) * -0.065104164f
                  + (U[i + 3] - U[i - 2]) * 0.0046875f;
        if (i < nEdge)
        {
            const float mem = pA2[i] * pMemP[i] + pB2[i] * d;
            pMemP[i] = mem;
            d += mem;
        }
        if (m < nEdge)
        {
            const float mem = pA1[i] * pMemP[i] + pB1[i] * d;
            pMemP[i] = mem;
            d += mem;
        }
        float v = d * K[i] + P[i];
        if (bTaper)
        {
            const int e = i < m ? i : m;
            if (e < m_nTaper)
            {
                v *= m_fTaper[e];
                U[i] *= m_fTaper[e];
            }
        }
        P[i] = v;
        if (Q && Q[i] < 1.0f)
        {
            v *= Q[i];
            P[i] = v;
        }
        return fd::IsNaNBits(v);
    };
    auto edgeU = [&](int i) {
        const int m = nZ - 1 - i;
        float d = (P[i] - P[i - 1]) * 1.171875f + (P[i + 1] - P[i - 2]) * -0.065104164f
                  + (P[i + 2] - P[i - 3]) * 0.0046875f;
        if (i < nEdge)
        {
            const float mem = pA1[i] * pMemU[i] + pB1[i] * d;
            pMemU[i] = mem;
            d += mem;
        }
        if (m < nEdge)
        {
            const float mem = pA2[i] * pMemU[i] + pB2[i] * d;
            pMemU[i] = mem;
            d += mem;
        }
        U[i] = d * B[i] + U[i];
    };

    const long long nSteps = (long long)((m_tEnd - m_tStart) / m_dt) + 1;
    const float* const pSig = m_Signal.m_pData;
    const int nSigLen = m_Signal.m_nLen;
    const bool bAddSource = m_nSurfType != 0 || m_Signal.m_nSignal != 0;
    double t = m_tStart;
    double tRec = job.m_t0;
    size_t nRec = 0;
    for (long long k = 0; k < nSteps; k++)
    {
        if (k < nSigLen)
        {
            const float s = pSig[k];
            if (m_nSourceType == 3)
                U[c] -= s;
            else if (bAddSource)
                P[c] += s;
            else
                P[c] = s;   // a hard source
        }

        // Pressure. A NaN anywhere ends the trace; where it is found first
        // makes no difference, since nothing of this step is recorded.
        bool bNaN = false;
        for (int i = iLo; i < iMidLo && i <= iHi; i++)
            bNaN |= edgeP(i);
        unsigned nBad = 0;
        if (Q)
        {
            for (int i = iMidLo; i <= iMidHi; i++)
            {
                const float d = (U[i + 1] - U[i]) * 1.171875f + (U[i + 2] - U[i - 1]) * -0.065104164f
                                + (U[i + 3] - U[i - 2]) * 0.0046875f;
                float v = d * K[i] + P[i];
                v = Q[i] < 1.0f ? v * Q[i] : v;
                P[i] = v;
                nBad |= fd::IsNaNBits(v) ? 1u : 0u;
            }
        }
        else
        {
            for (int i = iMidLo; i <= iMidHi; i++)
            {
                const float d = (U[i + 1] - U[i]) * 1.171875f + (U[i + 2] - U[i - 1]) * -0.065104164f
                                + (U[i + 3] - U[i - 2]) * 0.0046875f;
                const float v = d * K[i] + P[i];
                P[i] = v;
                nBad |= fd::IsNaNBits(v) ? 1u : 0u;
            }
        }
        for (int i = (iMidHi + 1 > iMidLo ? iMidHi + 1 : iMidLo); i <= iHi; i++)
            bNaN |= edgeP(i);
        if (bNaN || nBad)
            return -150;

        // Particle velocity.
        for (int i = iLo; i < iMidLo && i <= iHi; i++)
            edgeU(i);
        for (int i = iMidLo; i <= iMidHi; i++)
        {
            const float d = (P[i] - P[i - 1]) * 1.171875f + (P[i + 1] - P[i - 2]) * -0.065104164f
                            + (P[i + 2] - P[i - 3]) * 0.0046875f;
            U[i] = d * B[i] + U[i];
        }
        for (int i = (iMidHi + 1 > iMidLo ? iMidHi + 1 : iMidLo); i <= iHi; i++)
            edgeU(i);

        if (t >= tRec && nRec < nLen)
        {
            tRec += job.m_dt;
            w.m_pOutP[nRec] = P[c];
            w.m_pOutU[nRec] = U[c];
            nRec++;
        }
        t += m_dt;
    }
    return 0;
}
