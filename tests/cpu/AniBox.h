#pragma once
// A CPU engine of method 102, 103 or 104 on a small homogeneous model (with
// an optional layer of air on top), prepared as a shot is: PML profiles and
// mechanisms from the velocities, then the coefficients (the stiffness fill
// for the anisotropic methods). Sources and receivers are cells.

#include <functional>
#include <memory>
#include <vector>

#include "engine3d/Calc3D_stiffness.h"
#include "engine3d/OmpTestGrid.h"

struct AniModel
{
    double vp, vs, rho, eps, delta, gamma, alpha, phi;
};

struct AniBox
{
    std::unique_ptr<OmpTestGrid> g;
    int nMethod;
    bool ok = false;

    // nAir planes of air below the halo; L mechanisms fitted to a Q of 30;
    // h the halo, 0 for the method's own.
    AniBox(int nx, int ny, int nz, int method, int W, int nTaper, double dt, const AniModel& m, int nAir = 0,
           int L = 0, int h = 0)
        : nMethod(method)
    {
        g.reset(new OmpTestGrid(nx, ny, nz, method, W, nTaper, h > 0 ? h : method == 104 ? 3 : 2));
        CCalc3D_OMP& e = g->E();
        e.m_dt = dt;
        e.m_Signal.m_dFreq = 10.0;
        e.m_bSuppressSV = false;
        e.m_fSWave = 1.0f;
        e.m_nViscoL = L;
        if (L > 0)
            g->app->m_strModelQ = "q";   // only so that the Q grid is allocated
        const float k[5] = {(float)m.eps, (float)m.delta, (float)m.gamma, (float)m.phi, (float)m.alpha};
        for (int i = 0; i < 5; i++)
            g->app->m_fAnisConst[i] = k[i];
        if (e.AllocateMemory(false, true) != 0)
            return;
        for (int z = 0; z < nz; z++)
            for (size_t n = g->Index(0, 0, z); n < g->Index(0, 0, z + 1); n++)
            {
                const bool bAir = z < e.m_nHalo + nAir;
                e.m_pVp[n] = bAir ? 0.0f : (float)m.vp;
                e.m_pVs[n] = bAir ? 0.0f : (float)m.vs;
                e.m_pRho[n] = bAir ? 0.0f : (float)m.rho;
                if (L > 0)
                    e.m_pQ[n] = 30.0f;
            }
        if ((L > 0 && e.PrepareViscoElasticModel() != 0) || (W > 0 && e.InitPMLProfile() != 0))
            return;
        g->FillTaper(dt);
        const double r = (1.0 / e.m_dx) * dt;
        const float c1 = (float)(r / 15000.0), c2 = (float)(r * 15000.0);
        if (method >= 103)
        {
            ok = FillStiffness(e, c1, c2) == 0;
            return;
        }
        for (size_t i = 0; i < g->Cells(); i++)
        {
            const float vp = e.m_pVp[i], vs = e.m_pVs[i], rho = e.m_pRho[i];
            e.m_pVs[i] = vs > 0.0f ? ((rho * vs) * c1) * vs : 0.0f;
            e.m_pVp[i] = vp > 0.0f && rho > 0.0f ? vp * vp * rho * c1 : 0.0f;
            e.m_pRho[i] = vp > 0.0f && rho > 0.0f ? c2 / rho : 0.0f;
        }
        ok = true;
    }

    CCalc3D_OMP& E() { return g->E(); }
    size_t Index(int x, int y, int z) const { return g->Index(x, y, z); }

    // One time step over the whole computed range; the stress step's result.
    int Step()
    {
        CCalc3D_OMP& e = E();
        const int h = e.m_nHalo, z1 = e.m_nz - h - 1, y1 = e.m_ny - h - 1, x1 = e.m_nx - h - 1;
        e.PropagateElaWaveU(h, h, h, z1, y1, x1);
        if (nMethod == 102)
            return e.PropagateElaWaveTau(h, h, h, z1, y1, x1);
        if (nMethod == 103)
            return e.PropagateOrtWaveTau(h, h, h, z1, y1, x1);
        return e.PropagateAniWaveTau(h, h, h, z1, y1, x1);
    }

    // The nine wave fields, in GetCalcPlane's order.
    std::vector<float*> Fields()
    {
        CCalc3D_OMP& e = E();
        return {e.m_pUx, e.m_pUy, e.m_pUz, e.m_pTzz, e.m_pTxx, e.m_pTyy, e.m_pTxy, e.m_pTxz, e.m_pTyz};
    }
};

// Ricker wavelet of peak frequency f.
inline double RickerW(double t, double f)
{
    const double a = M_PI * f * t;
    return (1.0 - 2.0 * a * a) * std::exp(-a * a);
}
