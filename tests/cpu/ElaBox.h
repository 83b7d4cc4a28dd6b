#pragma once
// A CPU engine of method 102, 103 or 104 on a small model, prepared as a
// shot is: velocities and density set cell by cell, mechanisms fitted to
// each cell's Q and PML profiles by the engine's own routines, then the
// coefficients as the model assembly forms them (the stiffness fill for the
// anisotropic methods). Sources and receivers are cells.

#include <cmath>
#include <functional>
#include <memory>
#include <vector>

#include "cpu/FDScheme.h"
#include "engine3d/Calc3D_stiffness.h"
#include "engine3d/OmpTestGrid.h"

struct AniModel { double vp, vs, rho, eps, delta, gamma, alpha, phi; };

// vel(x, y, z, vp, vs, rho) fills one cell.
using CellModel = std::function<void(int, int, int, double&, double&, double&)>;

// Attenuation: L mechanisms fitted to the Q of each cell, velocities taken
// as apparent ones on request; L = 0: none.
struct ViscoSetup
{
    int L = 0;
    bool bApparent = false;
    std::function<float(int, int, int)> q;
};

struct ElaBox
{
    std::unique_ptr<OmpTestGrid> g;
    int nMethod;
    double dx, dt;
    bool ok = false;

    // W > 0: PML, else the sponge of nTaper cells; h the halo, 0 for the
    // method's own; pAni the anisotropy constants of methods 103 and 104.
    ElaBox(int nx, int ny, int nz, int method, int W, int nTaper, double dDx, double dDt, double dFreq,
           const CellModel& vel, const AniModel* pAni = nullptr, const ViscoSetup& visco = ViscoSetup(), int h = 0)
        : nMethod(method), dx(dDx), dt(dDt)
    {
        g.reset(new OmpTestGrid(nx, ny, nz, method, W, nTaper, h > 0 ? h : method == 104 ? 3 : 2));
        CCalc3D_OMP& e = g->E();
        e.m_dx = dx, e.m_dt = dt, e.m_Signal.m_dFreq = dFreq, e.m_bSuppressSV = false, e.m_fSWave = 1.0f;
        e.m_nViscoL = visco.L, e.m_bApparentVelocity = visco.bApparent;
        if (visco.L > 0)
            g->app->m_strModelQ = "q";   // only so that the Q grid is allocated
        const AniModel m = pAni ? *pAni : AniModel();
        const float k[5] = {(float)m.eps, (float)m.delta, (float)m.gamma, (float)m.phi, (float)m.alpha};
        for (int i = 0; pAni && i < 5; i++)
            g->app->m_fAnisConst[i] = k[i];
        if (e.AllocateMemory(false, true) != 0)
            return;
        for (int z = 0; z < nz; z++)
            for (int y = 0; y < ny; y++)
                for (int x = 0; x < nx; x++)
                {
                    double vp, vs, rho;
                    vel(x, y, z, vp, vs, rho);
                    const size_t i = g->Index(x, y, z);
                    e.m_pVp[i] = (float)vp;
                    e.m_pVs[i] = (float)vs;
                    e.m_pRho[i] = (float)rho;
                    if (visco.L > 0)
                        e.m_pQ[i] = visco.q(x, y, z);
                }
        if ((visco.L > 0 && e.PrepareViscoElasticModel() != 0) || (W > 0 && e.InitPMLProfile() != 0))
            return;
        g->FillTaper(dt);
        const double r = (1.0 / dx) * dt;
        if (method >= 103)
            ok = FillStiffness(e, (float)(r / 15000.0), (float)(r * 15000.0)) == 0;
        else
            g->ToCoefficients(dt), ok = true;
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

// A homogeneous box of nine (or 21) constants with nAir planes of air below
// the halo and L mechanisms fitted to a Q of 30; 10 m cells.
struct AniBox : ElaBox
{
    AniBox(int nx, int ny, int nz, int method, int W, int nTaper, double dt, const AniModel& m, int nAir = 0,
           int L = 0, int h = 0)
        : ElaBox(nx, ny, nz, method, W, nTaper, 10.0, dt, 10.0,
                 [m, top = nAir + (h > 0 ? h : method == 104 ? 3 : 2)](int, int, int z, double& vp, double& vs,
                                                                       double& rho) {
                     vp = z < top ? 0.0 : m.vp, vs = z < top ? 0.0 : m.vs, rho = z < top ? 0.0 : m.rho;
                 },
                 &m, ViscoSetup{L, false, [](int, int, int) { return 30.0f; }}, h)
    {
    }
};
