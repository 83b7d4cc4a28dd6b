// Model assembly of one shot: the model files into the grids, survey against
// model, surfaces, attenuation, PML, sponge, and finally velocities and
// density turned in place into the coefficients the schemes multiply by.

#include "engine3d/Calc3D.h"

#include <cmath>

#include "base/Output.h"
#include "engine3d/Calc3D_stiffness.h"
#include "engine3d/common.h"
#include "run/OndexApp.h"

bool FluidBesideRock(const float* pVp, const float* pVs, int nx, int ny, int nz)
{
    const int64_t sy = nx, sz = (int64_t)nx * ny;
    bool bFound = false;
#pragma omp parallel for schedule(static) reduction(|| : bFound)
    for (int z = 0; z < nz; z++)
        for (int y = 0; y < ny; y++)
            for (int x = 0; x < nx; x++)
            {
                const int64_t i = z * sz + y * sy + x;
                if (!(pVp[i] > 0.0f) || pVs[i] > 0.0f)
                    continue;
                bFound = bFound || (x > 0 && pVs[i - 1] > 0.0f) || (x + 1 < nx && pVs[i + 1] > 0.0f) ||
                         (y > 0 && pVs[i - sy] > 0.0f) || (y + 1 < ny && pVs[i + sy] > 0.0f) ||
                         (z > 0 && pVs[i - sz] > 0.0f) || (z + 1 < nz && pVs[i + sz] > 0.0f);
            }
    return bFound;
}

int CCalc3D::InitModel()
{
    COndexApp& job = *m_pApp;
    const int nType = job.m_Type;
    if (!m_pVp || !m_pRho || (nType >= 102 && !m_pVs))
    {
        u_Error("Error! Memory allocation error. Model cubes were not initialized.\n");
        return -2;
    }
    // 2. Loads; m_pRho is scratch until its own turn.
    int nResult = LoadModelComponent(0, job.m_strModelPW, nullptr, m_pVp, m_pRho);
    if (nResult != 0)
        return nResult;
    if (nType >= 102)
    {
        nResult = LoadModelComponent(1, job.m_strModelSW, m_pVp, m_pVs, m_pRho);
        if (nResult != 0)
            return nResult;
    }
    if (nType >= 103)
    {
        // Key order of m_strAnisFile: epsilon, delta, gamma, phi, azimuth.
        // Component 13 takes the azimuth key's file, 14 the phi key's.
        struct { int nComp; const CString* pFile; float* pGrid; } anis[5] = {
            {10, &job.m_strAnisFile[0], m_pAnisEps},   {11, &job.m_strAnisFile[1], m_pAnisDelta},
            {12, &job.m_strAnisFile[2], m_pAnisGamma}, {13, &job.m_strAnisFile[4], m_pAnisAlpha},
            {14, &job.m_strAnisFile[3], m_pAnisPhi}};
        for (auto& a : anis)
        {
            if (a.pFile->IsEmpty() || !a.pGrid)
                continue;
            nResult = LoadModelComponent(a.nComp, *a.pFile, nullptr, a.pGrid, m_pRho);
            if (nResult != 0)
                return nResult;
        }
    }
    if (!job.m_strModelQ.IsEmpty() && m_pQ)
    {
        nResult = LoadModelComponent(100, job.m_strModelQ, nullptr, m_pQ, m_pRho);
        if (nResult != 0)
            return nResult;
    }
    nResult = LoadModelComponent(2, job.m_strModelD, m_pVp, m_pRho, nullptr);
    if (nResult != 0)
        return nResult;

    // 3. Survey against model, while the grids still hold velocities.
    nResult = job.m_nGroupSize < 2 ? ValidateSurveyGeometryShared() : ValidateSurveyGeometryDistributed();
    if (nResult != 0)
        return nResult;

    // 4. Surfaces, before both conversions.
    nResult = MakeSurface();
    if (nResult != 0)
        return nResult;
    nResult = MakeSurfaceBottomDistributed();
    if (nResult != 0)
        return nResult;

    // Waves along a fluid-rock interface grow where the interface runs
    // through a PML slab: from about step 1000 with 21-cell slabs, a
    // thousandfold per 200 steps. Not a fault of these loops: a 2D solution
    // of the same equations written apart (tools/pml_interface_2d.py) grows
    // too, even with an eight times larger frequency shift. The sponge
    // stays stable.
    if (nType >= 102 && m_bPML && FluidBesideRock(m_pVp, m_pVs, m_nx, m_ny, m_nz))
        u_Warning("Warning! The model has fluid cells (zero S velocity) beside rock: with the PML, waves along the "
                  "fluid-rock interface can grow without bound inside the absorbing layer within a few thousand "
                  "steps; set PML=0 for the sponge boundary.\n");

    const size_t nxy = (size_t)m_nx * m_ny;
    const int nz = m_nz;

    // 5. Attenuation: relaxation mechanisms, which need Q no longer after,
    // or Q becomes the per-step damping factor.
    if (m_nViscoL > 0)
    {
        nResult = PrepareViscoElasticModel();
        delete[] m_pQ;
        m_pQ = nullptr;
        if (nResult != 0)
            return nResult;
    }
    else if (m_pQ)
    {
        const double e = 2.0 * m_dt * m_Signal.m_dFreq;
        float* const pQ = m_pQ;
#pragma omp parallel for schedule(static)
        for (int iz = 0; iz < nz; iz++)
        {
            for (size_t n = (size_t)iz * nxy; n < (size_t)(iz + 1) * nxy; n++)
            {
                const double q = pQ[n];
                if (q < 3.0 || q > 10000.0)
                    pQ[n] = 1.0f;
                else if (q <= M_PI)
                    // The base 1 - pi/q would be negative: such a Q gets the
                    // limit of the formula at pi, the strongest damping.
                    pQ[n] = e > 0.0 ? 0.0f : 1.0f;
                else
                    pQ[n] = (float)pow(1.0 - M_PI / q, e);
            }
        }
    }

    // 6. PML profiles read the velocities.
    if (m_bPML)
    {
        nResult = InitPMLProfile();
        if (nResult != 0)
            return nResult;
    }

    // 7. Sponge factors, used by the schemes when the PML is off.
    FillTaper();

    // 8. Step ratio and the two scalings.
    const double r = (1.0 / m_dx) * m_dt;
    const float c1 = (float)(r / KOEF_VELOCITY);
    const float c2 = (float)(r * KOEF_VELOCITY);

    // 9. Coefficients, in place; the anisotropic methods turn velocities
    // and Thomsen parameters into stiffness grids.
    if (nType >= 103)
    {
        nResult = FillStiffness(*this, c1, c2);
        if (nResult != 0)
            return nResult;
    }
    float* const pVp = nType >= 103 ? nullptr : m_pVp;
    float* const pRho = m_pRho;
    float* const pVs = m_pVs;
#pragma omp parallel for schedule(static)
    for (int iz = 0; iz < (pVp ? nz : 0); iz++)
    {
        for (size_t n = (size_t)iz * nxy; n < (size_t)(iz + 1) * nxy; n++)
        {
            const float vp = pVp[n];
            const float rho = pRho[n];
            if (pVs)
            {
                const float vs = pVs[n];
                if (vs > 0.0f)
                    pVs[n] = ((rho * vs) * c1) * vs;
            }
            if (vp > 0.0f && rho > 0.0f)
            {
                pVp[n] = vp * vp * rho * c1;
                pRho[n] = c2 / rho;
            }
            else
            {
                pVp[n] = 0.0f;
                pRho[n] = 0.0f;
            }
        }
    }

    // 10. Smoothing of the coefficients; its result does not stop the shot.
    SmoothModel();

    // 11. Debug cubes of the coefficients.
    if (job.m_bDebug)
    {
        struct { const char* pszName; float* p; } cubes[4] = {{"P-Wave Velocity", m_pVp},
                                                               {"Density", m_pRho},
                                                               {"S-Wave Velocity", m_pVs},
                                                               {"Quality", m_pQ}};
        for (auto& c : cubes)
        {
            if (!c.p)
                continue;
            CString strName;
            strName.Format("%sDebugModel(%s)(%d)-calc.sgy", (const char*)job.m_strOutputDir, c.pszName, job.m_nNode);
            SaveDebugCube(strName, c.p);
        }
    }
    return 0;
}

void CCalc3D::FillTaper()
{
    const int nTaperMax = (int)(sizeof(m_fTaper) / sizeof(m_fTaper[0]));
    const double dtf = (float)m_dt;
    for (int i = 0; i < nTaperMax; i++)
        m_fTaper[i] = 0.0f;
    for (int i = 1; i < m_nTaper && i < nTaperMax; i++)
    {
        const double d = m_nTaper - i;
        m_fTaper[i] = (float)exp(-0.18 * d * d * dtf);
    }
}
