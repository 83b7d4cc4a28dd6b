// The per-cell relaxation mechanisms of the viscoelastic scheme, from the Q
// grid and the dominant frequency, and the apparent-to-intrinsic velocity
// correction of the velocity grids.

#include "engine3d/Calc3D.h"

#include <cmath>
#include <vector>

#include "base/Output.h"
#include "rock/ViscoCalc.h"

int CCalc3D::PrepareViscoElasticModel()
{
    const int L = m_nViscoL;
    if (L < 1)
        return 0;
    if (!m_pViscoM)
    {
        u_Error("Error! Internal error creating visco-elastic mesh.\n");
        return -1;
    }
    if (!m_pQ)
    {
        u_Error("Error! Insufficient data to generate visco-elastic mesh.\n");
        return -1;
    }
    u_Print("Preparing viscoelastic mesh...\n");

    const size_t nxy = (size_t)m_nx * m_ny;
    const int nz = m_nz;
    const double f0 = m_Signal.m_dFreq;
    const bool bApparent = m_bApparentVelocity;
    const float* const pQ = m_pQ;
    float* const pVp = m_pVp;
    float* const pVs = m_pVs;
    float* const pM = m_pViscoM;

#pragma omp parallel
    {
        // Private fit cache and last Q: a homogeneous run of cells costs one fit.
        CViscoCalc visco;
        float fLastQ = -9999.25f;
        bool bSet = false;   // the arrays hold a mechanism set, not the neutral one
        std::vector<float> p(L), s(L), tau(L);
#pragma omp for schedule(static)
        for (int iz = 0; iz < nz; iz++)
        {
            for (size_t n = (size_t)iz * nxy; n < (size_t)(iz + 1) * nxy; n++)
            {
                float* const pRec = pM + n * 3 * (size_t)L;
                const float Q = pQ[n];
                if (!(Q >= 3.0f && Q <= 10000.0f))
                {
                    for (int l = 0; l < L; l++)
                    {
                        pRec[3 * l] = 0.0f;
                        pRec[3 * l + 1] = 0.0f;
                        pRec[3 * l + 2] = 1.0f;
                    }
                    continue;
                }
                float vp = pVp ? pVp[n] : 0.0f;
                float vs = pVs ? pVs[n] : 0.0f;
                if (fabsf(Q - fLastQ) > 0.01f)
                {
                    bSet = visco.InitViscoParams(f0, L, Q, Q, p.data(), s.data(), tau.data(), bApparent, vp, vs);
                    fLastQ = Q;
                }
                else if (bApparent && bSet)
                {
                    // Same mechanisms, but each cell has its own velocities.
                    visco.GetCorrectedVelocity(f0, L, Q, Q, vp, vs, vp, vs);
                }
                if (bApparent && bSet)
                {
                    if (pVp)
                        pVp[n] = vp;
                    if (pVs)
                        pVs[n] = vs;
                }
                for (int l = 0; l < L; l++)
                {
                    pRec[3 * l] = p[l];
                    pRec[3 * l + 1] = s[l];
                    pRec[3 * l + 2] = tau[l];
                }
            }
        }
    }
    return 0;
}
