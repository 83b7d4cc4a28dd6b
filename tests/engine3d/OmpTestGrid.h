#pragma once
// A CPU engine on a small grid of a single process, its grids allocated by
// the engine itself, for the scheme, source and recording tests.

#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "cpu/Calc3D_OMP.h"
#include "run/OndexApp.h"

// The 24 PML profile arrays of an engine: per axis B and A of the D- low
// and D+ high sides, then of the D+ low and D- high sides; slot k lies on
// axis k / 8.
inline std::array<float**, 24> PmlSlots(CCalc3D& e)
{
    return {&e.m_pPmlBXMLo, &e.m_pPmlBXPHi, &e.m_pPmlAXMLo, &e.m_pPmlAXPHi, &e.m_pPmlBXPLo, &e.m_pPmlBXMHi,
            &e.m_pPmlAXPLo, &e.m_pPmlAXMHi, &e.m_pPmlBYMLo, &e.m_pPmlBYPHi, &e.m_pPmlAYMLo, &e.m_pPmlAYPHi,
            &e.m_pPmlBYPLo, &e.m_pPmlBYMHi, &e.m_pPmlAYPLo, &e.m_pPmlAYMHi, &e.m_pPmlBZMLo, &e.m_pPmlBZPHi,
            &e.m_pPmlAZMLo, &e.m_pPmlAZPHi, &e.m_pPmlBZPLo, &e.m_pPmlBZMHi, &e.m_pPmlAZPLo, &e.m_pPmlAZMHi};
}

struct OmpTestGrid
{
    std::unique_ptr<COndexApp> app;
    std::unique_ptr<CCalc3D_OMP> eng;

    // nMethod 101..104; W > 0 turns PML on with that slab width, else the
    // sponge of width nTaper.
    OmpTestGrid(int nx, int ny, int nz, int nMethod = 101, int W = 0, int nTaper = 6, int h = 2)
    {
        app.reset(new COndexApp());
        app->m_Type = nMethod;
        app->m_nHostMemoryGB = 64;   // no dependence on the machine
        eng.reset(new CCalc3D_OMP(*app));
        CCalc3D_OMP& e = *eng;
        e.m_nx = nx, e.m_ny = ny, e.m_nz = e.m_nZAll = nz, e.m_nZ0 = 0, e.m_nZ1 = nz - 1, e.m_nHalo = h;
        e.m_bPML = W > 0, e.m_nPML = W > 0 ? W : 21, e.m_nTaper = nTaper, e.m_dx = 10.0, e.m_dt = 0.001;
    }

    CCalc3D_OMP& E() { return *eng; }
    size_t Cells() const { return (size_t)eng->m_nx * eng->m_ny * eng->m_nz; }
    size_t Index(int x, int y, int z) const { return ((size_t)z * eng->m_ny + y) * eng->m_nx + x; }

    // Sponge factors as the model preparation makes them: 0 at the face,
    // exp(-0.18 (N - i)^2 dt) inside.
    void FillTaper(double dt)
    {
        CCalc3D_OMP& e = *eng;
        for (int i = 0; i < 38; i++)
            e.m_fTaper[i] = 0.0f;
        for (int i = 1; i < e.m_nTaper && i < 38; i++)
            e.m_fTaper[i] = (float)std::exp(-0.18 * (e.m_nTaper - i) * (e.m_nTaper - i) * dt);
    }

    static void FillRandom(float* p, size_t n, std::mt19937& rng, float lo, float hi)
    {
        std::uniform_real_distribution<float> d(lo, hi);
        for (size_t i = 0; i < n; i++)
            p[i] = d(rng);
    }

    // The 24 PML profile arrays, each with its axis.
    std::vector<std::pair<float*, int>> Profiles()
    {
        std::vector<std::pair<float*, int>> v;
        const std::array<float**, 24> s = PmlSlots(*eng);
        for (int k = 0; k < 24; k++)
            v.push_back({*s[k], k / 8});
        return v;
    }

    size_t SlabCells(int nAxis) const
    {
        const CCalc3D_OMP& e = *eng;
        return nAxis == 0 ? e.m_nPmlCellsX : nAxis == 1 ? e.m_nPmlCellsY : e.m_nPmlCellsZ;
    }

    // Random PML profiles (each group of four is B, B, A, A), nPsi memory
    // arrays, and sponge factors.
    void RandomPmlAndTaper(std::mt19937& rng, int nPsi)
    {
        CCalc3D_OMP& e = *eng;
        const std::vector<std::pair<float*, int>> prof = e.m_bPML ? Profiles() : std::vector<std::pair<float*, int>>();
        for (size_t k = 0; k < prof.size(); k++)
        {
            const bool bA = k % 4 >= 2;
            FillRandom(prof[k].first, SlabCells(prof[k].second), rng, bA ? 0.5f : -0.5f, bA ? 1.0f : 0.0f);
        }
        for (int k = 0; e.m_bPML && k < nPsi; k++)
        {
            int nAxis = 0;
            float* p = *e.PsiArray(k, &nAxis);
            FillRandom(p, SlabCells(nAxis), rng, -0.1f, 0.1f);
        }
        FillRandom(e.m_fTaper + 1, 37, rng, 0.1f, 1.0f);
        e.m_fTaper[0] = 0.0f;
    }

    // Velocities and density (m/s, kg/m3) turned into the coefficients as
    // the model assembly forms them.
    void ToCoefficients(double dt)
    {
        CCalc3D_OMP& e = *eng;
        const double r = (1.0 / e.m_dx) * dt;
        const float c1 = (float)(r / 15000.0), c2 = (float)(r * 15000.0);
        for (size_t i = 0; i < Cells(); i++)
        {
            const float vp = e.m_pVp[i], vs = e.m_pVs ? e.m_pVs[i] : 0.0f, rho = e.m_pRho[i];
            if (e.m_pVs)
                e.m_pVs[i] = vs > 0.0f ? ((rho * vs) * c1) * vs : 0.0f;
            e.m_pVp[i] = vp > 0.0f && rho > 0.0f ? vp * vp * rho * c1 : 0.0f;
            e.m_pRho[i] = vp > 0.0f && rho > 0.0f ? c2 / rho : 0.0f;
        }
    }
};

// Ricker wavelet of peak frequency f, and its time derivative.
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
