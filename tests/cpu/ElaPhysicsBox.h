#pragma once
// A CPU engine with the elastic scheme on a small model whose velocities
// and density are set cell by cell, turned into coefficients the way the
// model assembly does, with PML profiles from the engine's own routine.

#include <cmath>
#include <functional>
#include <memory>

#include "cpu/FDScheme.h"
#include "engine3d/OmpTestGrid.h"

// Attenuation of a box: L mechanisms fitted to the Q of each cell by the
// engine's own preparation, velocities taken as apparent ones on request.
struct ViscoSetup
{
    int L;
    bool bApparent;
    std::function<float(int, int, int)> q;
};

struct ElaPhysicsBox
{
    std::unique_ptr<OmpTestGrid> g;
    double dx, dt;

    // vel(x, y, z, vp, vs, rho) fills one cell; W > 0: PML, else sponge.
    // n cells along x, and along y and z unless given.
    ElaPhysicsBox(int n, int W, double dDx, double dDt, double dFreq,
                  const std::function<void(int, int, int, double&, double&, double&)>& vel, int nz = 0, int ny = 0,
                  const ViscoSetup* pVisco = nullptr)
        : dx(dDx), dt(dDt)
    {
        g.reset(new OmpTestGrid(n, ny > 0 ? ny : n, nz > 0 ? nz : n, 102, W, 12));
        CCalc3D_OMP& e = g->E();
        e.m_dx = dx;
        e.m_dt = dt;
        e.m_Signal.m_dFreq = dFreq;
        e.m_bSuppressSV = false;
        e.m_fSWave = 1.0f;
        if (pVisco)
        {
            e.m_nViscoL = pVisco->L;
            e.m_bApparentVelocity = pVisco->bApparent;
            g->app->m_strModelQ = "q";   // only so that the Q grid is allocated
        }
        ok = e.AllocateMemory(false, true) == 0;
        if (!ok)
            return;
        for (int z = 0; z < e.m_nz; z++)
            for (int y = 0; y < e.m_ny; y++)
                for (int x = 0; x < e.m_nx; x++)
                {
                    double vp, vs, rho;
                    vel(x, y, z, vp, vs, rho);
                    const size_t i = g->Index(x, y, z);
                    e.m_pVp[i] = (float)vp;
                    e.m_pVs[i] = (float)vs;
                    e.m_pRho[i] = (float)rho;
                    if (pVisco)
                        e.m_pQ[i] = pVisco->q(x, y, z);
                }
        if (pVisco && e.PrepareViscoElasticModel() != 0)
            ok = false;
        if (W > 0 && e.InitPMLProfile() != 0)
            ok = false;
        g->FillTaper(dt);
        // Coefficients as the model assembly forms them.
        const double r = (1.0 / dx) * dt;
        const float c1 = (float)(r / 15000.0), c2 = (float)(r * 15000.0);
        for (size_t i = 0; i < g->Cells(); i++)
        {
            const float vp = e.m_pVp[i], vs = e.m_pVs[i], rho = e.m_pRho[i];
            e.m_pVs[i] = vs > 0.0f ? ((rho * vs) * c1) * vs : 0.0f;
            e.m_pVp[i] = vp > 0.0f && rho > 0.0f ? vp * vp * rho * c1 : 0.0f;
            e.m_pRho[i] = vp > 0.0f && rho > 0.0f ? c2 / rho : 0.0f;
        }
    }

    bool ok = false;
    CCalc3D_OMP& E() { return g->E(); }
    size_t Index(int x, int y, int z) const { return g->Index(x, y, z); }

    // One time step over the whole computed range.
    void Step()
    {
        CCalc3D_OMP& e = E();
        const int h = e.m_nHalo;
        e.PropagateElaWaveU(h, h, h, e.m_nz - h - 1, e.m_ny - h - 1, e.m_nx - h - 1);
        e.PropagateElaWaveTau(h, h, h, e.m_nz - h - 1, e.m_ny - h - 1, e.m_nx - h - 1);
    }

    // S and P energy measures of the velocity field over the cells at least
    // nSkip from every face: mu*|rotation|^2 and (lambda+2mu)*div^2, with
    // the scheme's own staggered differences.
    void WaveEnergies(int nSkip, double mu, double l2m, double& dS, double& dP)
    {
        CCalc3D_OMP& e = E();
        const int64_t sy = e.m_nx, sz = (int64_t)e.m_nx * e.m_ny;
        dS = dP = 0.0;
        for (int z = nSkip; z < e.m_nz - nSkip; z++)
            for (int y = nSkip; y < e.m_ny - nSkip; y++)
                for (int x = nSkip; x < e.m_nx - nSkip; x++)
                {
                    const int64_t i = (int64_t)Index(x, y, z);
                    const double div = (double)fd::DPlus(e.m_pUx, i, 1) + fd::DPlus(e.m_pUy, i, sy) +
                                       fd::DPlus(e.m_pUz, i, sz);
                    const double wz = (double)fd::DMinus(e.m_pUx, i, sy) - fd::DMinus(e.m_pUy, i, 1);
                    const double wy = (double)fd::DMinus(e.m_pUx, i, sz) - fd::DMinus(e.m_pUz, i, 1);
                    const double wx = (double)fd::DMinus(e.m_pUy, i, sz) - fd::DMinus(e.m_pUz, i, sy);
                    dP += l2m * div * div;
                    dS += mu * (wx * wx + wy * wy + wz * wz);
                }
    }
};

// Ricker wavelet of peak frequency f and its time derivative.
inline double Ricker(double t, double f)
{
    const double a = M_PI * f * t;
    return (1.0 - 2.0 * a * a) * std::exp(-a * a);
}

inline double RickerDot(double t, double f)
{
    const double a = M_PI * f * t;
    return M_PI * f * 2.0 * a * (2.0 * a * a - 3.0) * std::exp(-a * a);
}
