// The stiffness fill of the anisotropic methods: per cell the Thomsen
// parameters and the axis angles become a Voigt stiffness (FormA), scaled
// into the grids the stress steps multiply by. FormA with a rotation is
// dear, so each thread keeps the last material and calls it again only when
// a parameter moved.

#include "engine3d/Calc3D_stiffness.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "base/Output.h"
#include "engine3d/Calc3D.h"
#include "rock/Stiffness.h"
#include "run/OndexApp.h"

namespace
{

// An angle of method 103 snapped to a grid axis: wrapped into 0..180, then
// 0 below 45 and from 135 on, 90 between, so the medium stays orthorhombic
// in the grid axes.
float SnapAngle(float a)
{
    while (a < 0.0f)
        a += 180.0f;
    while (a >= 180.0f)
        a -= 180.0f;
    return (a < 45.0f || a >= 135.0f) ? 0.0f : 90.0f;
}

// The parameters of one cell, in FormA's order after vp, vs, rho.
struct Material
{
    float vp, vs, rho, eps, delta, gamma, alpha, phi;
};

bool Moved(const Material& a, const Material& b)
{
    return std::fabs(a.vp - b.vp) > 1.0f || std::fabs(a.vs - b.vs) > 1.0f || std::fabs(a.rho - b.rho) > 1.0f ||
           std::fabs(a.eps - b.eps) > 0.0001f || std::fabs(a.delta - b.delta) > 0.0001f ||
           std::fabs(a.gamma - b.gamma) > 0.0001f || std::fabs(a.alpha - b.alpha) > 0.001f ||
           std::fabs(a.phi - b.phi) > 0.001f;
}

// Angles larger than a full turn are taken for a unit mistake (radians
// tables, a grid of other values) rather than turned silently.
bool AngleOk(float a, bool bSnap)
{
    return std::isfinite(a) && (bSnap || std::fabs(a) <= 360.0f);
}

} // namespace

bool StiffnessIsStable(const float* pA)
{
    // Symmetric matrix in GPa, eigenvalues by cyclic Jacobi rotations.
    double m[6][6];
    int n = 0;
    for (int i = 0; i < 6; i++)
        for (int j = i; j < 6; j++)
        {
            m[i][j] = m[j][i] = (double)pA[n++] * 1e-9;
            if (!std::isfinite(m[i][j]))
                return false;
        }
    if (!(m[2][2] > 0.0))
        return false;
    double w[6];
    SymmetricEigen(&m[0][0], 6, w, nullptr);
    double dMax = 0.0, dMin = 0.0;
    for (int i = 0; i < 6; i++)
    {
        dMax = std::max(dMax, std::fabs(w[i]));
        dMin = std::min(dMin, w[i]);
    }
    // Single-precision input: a zero eigenvalue (fluid) comes out as a few
    // ulps of the largest one, of either sign.
    return dMin >= -1e-5 * dMax;
}

int FillStiffness(CCalc3D& e, float c1, float c2)
{
    const COndexApp& job = *e.m_pApp;
    const bool bOrt = job.m_Type == 103;
    const bool bAll21 = e.m_pC14 != nullptr;
    float* const pC[21] = {e.m_pC11, e.m_pC12, e.m_pC13, e.m_pC14, e.m_pC15, e.m_pC16, e.m_pC22,
                           e.m_pC23, e.m_pC24, e.m_pC25, e.m_pC26, e.m_pC33, e.m_pC34, e.m_pC35,
                           e.m_pC36, e.m_pC44, e.m_pC45, e.m_pC46, e.m_pC55, e.m_pC56, e.m_pC66};
    for (int k = 0; k < 21; k++)
        if (!pC[k] && (bAll21 || k == 0 || k == 1 || k == 2 || k == 6 || k == 7 || k == 11 || k == 15 || k == 18 ||
                       k == 20))
        {
            u_Error("Error! Memory allocation error. Model cubes were not initialized.\n");
            return -2;
        }
    const float* const pVp = e.m_pVp;
    const float* const pVs = e.m_pVs;
    float* const pRho = e.m_pRho;
    const float* const pEps = e.m_pAnisEps;
    const float* const pDelta = e.m_pAnisDelta;
    const float* const pGamma = e.m_pAnisGamma;
    const float* const pAlpha = e.m_pAnisAlpha;
    const float* const pPhi = e.m_pAnisPhi;
    const int nx = e.m_nx, ny = e.m_ny, nz = e.m_nz;
    const size_t nxy = (size_t)nx * ny;
    // The first refused cell, by grid index, and its parameters.
    long long nBad = LLONG_MAX;
    Material bad = {};
    bool bBadParam = false;

#pragma omp parallel
    {
        Material last = {};
        bool bHave = false, bLastOk = true;
        float A[21] = {};
        long long nMyBad = LLONG_MAX;
        Material myBad = {};
        bool bMyParam = false;
#pragma omp for schedule(static)
        for (int iz = 0; iz < nz; iz++)
        {
            for (size_t n = (size_t)iz * nxy; n < (size_t)(iz + 1) * nxy; n++)
            {
                Material m;
                m.vp = pVp[n];
                m.vs = pVs ? pVs[n] : 0.0f;
                m.rho = pRho[n];
                // Constants in the job's order: epsilon, delta, gamma, phi,
                // azimuth; the azimuth key is the tilt alpha.
                m.eps = pEps ? pEps[n] : job.m_fAnisConst[0];
                m.delta = pDelta ? pDelta[n] : job.m_fAnisConst[1];
                m.gamma = pGamma ? pGamma[n] : job.m_fAnisConst[2];
                m.alpha = pAlpha ? pAlpha[n] : job.m_fAnisConst[4];
                m.phi = pPhi ? pPhi[n] : job.m_fAnisConst[3];
                if (!(m.vp > 0.0f) || !(m.rho > 0.0f))
                {
                    for (int k = 0; k < 21; k++)
                        if (pC[k])
                            pC[k][n] = 0.0f;
                    pRho[n] = 0.0f;
                    continue;
                }
                // A NaN would also slip past the memory's comparison.
                const bool bParams = AngleOk(m.alpha, bOrt) && AngleOk(m.phi, bOrt) && std::isfinite(m.vs) &&
                                     std::isfinite(m.eps) && std::isfinite(m.delta) && std::isfinite(m.gamma);
                if (!bParams)
                {
                    if ((long long)n < nMyBad)
                    {
                        nMyBad = (long long)n;
                        myBad = m;
                        bMyParam = true;
                    }
                    continue;
                }
                if (bOrt)
                {
                    m.alpha = SnapAngle(m.alpha);
                    m.phi = SnapAngle(m.phi);
                }
                if (!bHave || Moved(m, last))
                {
                    FormA(0.0f, 0.0f, m.rho, m.vp, m.vs, m.eps, m.delta, m.gamma, m.alpha, m.phi, 0, nullptr,
                          nullptr, nullptr, nullptr, A);
                    last = m;
                    bHave = true;
                    bLastOk = StiffnessIsStable(A);
                    if (job.m_bDebug)
                    {
                        const double z = e.m_cubeGrid.z0 + iz * e.m_dx;
#pragma omp critical(ondex_stiffness_print)
                        if (bAll21)
                            u_Print("\npA=%p, z=%g, vp=%g, vs=%g, den=%g, eps=%g, del=%g, gam=%g, alp=%g, Phi=%g, "
                                    "\nA[]=(\n%15g, %15g, %15g, %15g, %15g, %15g, \n%15g, %15g, %15g, %15g, %15g, "
                                    "\n%15g, %15g, %15g, %15g, \n%15g, %15g, %15g, \n%15g, %15g, \n%15g) \n",
                                    (void*)A, z, m.vp, m.vs, m.rho, m.eps, m.delta, m.gamma, m.alpha, m.phi,
                                    A[0] / 1e9, A[1] / 1e9, A[2] / 1e9, A[3] / 1e9, A[4] / 1e9, A[5] / 1e9,
                                    A[6] / 1e9, A[7] / 1e9, A[8] / 1e9, A[9] / 1e9, A[10] / 1e9, A[11] / 1e9,
                                    A[12] / 1e9, A[13] / 1e9, A[14] / 1e9, A[15] / 1e9, A[16] / 1e9,
                                    A[17] / 1e9, A[18] / 1e9, A[19] / 1e9, A[20] / 1e9);
                        else
                            u_Print("pA=%p, z=%g, vp=%g, vs=%g, den=%g, eps=%g, del=%g, gam=%g, alp=%g, Phi=%g, "
                                    "A[]=(%g, %g, %g, %g, %g, %g, %g, %g, %g)\n",
                                    (void*)A, z, m.vp, m.vs, m.rho, m.eps, m.delta, m.gamma, m.alpha, m.phi,
                                    A[0] / 1e9, A[1] / 1e9, A[2] / 1e9, A[6] / 1e9, A[7] / 1e9, A[11] / 1e9,
                                    A[15] / 1e9, A[18] / 1e9, A[20] / 1e9);
                    }
                }
                if (!bLastOk && (long long)n < nMyBad)
                {
                    nMyBad = (long long)n;
                    myBad = m;
                    bMyParam = false;
                }
                for (int k = 0; k < 21; k++)
                    if (pC[k])
                        pC[k][n] = A[k] * c1;
                pRho[n] = c2 / m.rho;
            }
        }
#pragma omp critical(ondex_stiffness_bad)
        if (nMyBad < nBad)
        {
            nBad = nMyBad;
            bad = myBad;
            bBadParam = bMyParam;
        }
    }

    delete[] e.m_pVp;
    e.m_pVp = nullptr;
    delete[] e.m_pVs;
    e.m_pVs = nullptr;
    float** const ppAnis[5] = {&e.m_pAnisEps, &e.m_pAnisDelta, &e.m_pAnisGamma, &e.m_pAnisAlpha, &e.m_pAnisPhi};
    for (float** pp : ppAnis)
    {
        delete[] * pp;
        *pp = nullptr;
    }
    if (nBad == LLONG_MAX)
        return 0;
    const int x = (int)(nBad % nx), y = (int)((nBad / nx) % ny), z = (int)(nBad / (long long)nxy);
    u_Error("Error! %s at cell (x,y,z)=(%d,%d,%d): vp=%g, vs=%g, den=%g, eps=%g, del=%g, gam=%g, alp=%g, phi=%g.\n",
            bBadParam ? "Anisotropy parameter out of range" : "Anisotropic stiffness is not a stable medium", x, y,
            z + e.m_nZ0, bad.vp, bad.vs, bad.rho, bad.eps, bad.delta, bad.gamma, bad.alpha, bad.phi);
    return -108;
}

void NewAnisotropyGrids(CCalc3D& e, int nMethod, size_t cells, float* (*newGrid)(size_t))
{
    if (nMethod < 103)
        return;
    // File order of the job: epsilon, delta, gamma, phi, azimuth; the
    // azimuth key feeds the tilt grid alpha.
    float** ppAnis[5] = {&e.m_pAnisEps, &e.m_pAnisDelta, &e.m_pAnisGamma, &e.m_pAnisPhi, &e.m_pAnisAlpha};
    for (int i = 0; i < 5; i++)
        if (!e.m_pApp->m_strAnisFile[i].IsEmpty())
            *ppAnis[i] = newGrid(cells);
    float** ppC9[9] = {&e.m_pC11, &e.m_pC12, &e.m_pC13, &e.m_pC22, &e.m_pC23,
                       &e.m_pC33, &e.m_pC44, &e.m_pC55, &e.m_pC66};
    for (float** pp : ppC9)
        *pp = newGrid(cells);
    if (nMethod != 104)
        return;
    float** ppC12[12] = {&e.m_pC14, &e.m_pC15, &e.m_pC16, &e.m_pC24, &e.m_pC25, &e.m_pC26,
                         &e.m_pC34, &e.m_pC35, &e.m_pC36, &e.m_pC45, &e.m_pC46, &e.m_pC56};
    for (float** pp : ppC12)
        *pp = newGrid(cells);
}
