#pragma once
// A CPU engine on a small grid of a single process, its grids allocated by
// the engine itself, for the scheme, source and recording tests.

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "cpu/Calc3D_OMP.h"
#include "run/OndexApp.h"

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
        e.m_nx = nx;
        e.m_ny = ny;
        e.m_nz = nz;
        e.m_nZ0 = 0;
        e.m_nZ1 = nz - 1;
        e.m_nZAll = nz;
        e.m_nHalo = h;
        e.m_bPML = W > 0;
        e.m_nPML = W > 0 ? W : 21;
        e.m_nTaper = nTaper;
        e.m_dx = 10.0;
        e.m_dt = 0.001;
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

    // The 24 PML profile arrays, in the object's order, each with its axis.
    std::vector<std::pair<float*, int>> Profiles()
    {
        CCalc3D_OMP& e = *eng;
        return {{e.m_pPmlBXMLo, 0}, {e.m_pPmlBXPHi, 0}, {e.m_pPmlAXMLo, 0}, {e.m_pPmlAXPHi, 0},
                {e.m_pPmlBXPLo, 0}, {e.m_pPmlBXMHi, 0}, {e.m_pPmlAXPLo, 0}, {e.m_pPmlAXMHi, 0},
                {e.m_pPmlBYMLo, 1}, {e.m_pPmlBYPHi, 1}, {e.m_pPmlAYMLo, 1}, {e.m_pPmlAYPHi, 1},
                {e.m_pPmlBYPLo, 1}, {e.m_pPmlBYMHi, 1}, {e.m_pPmlAYPLo, 1}, {e.m_pPmlAYMHi, 1},
                {e.m_pPmlBZMLo, 2}, {e.m_pPmlBZPHi, 2}, {e.m_pPmlAZMLo, 2}, {e.m_pPmlAZPHi, 2},
                {e.m_pPmlBZPLo, 2}, {e.m_pPmlBZMHi, 2}, {e.m_pPmlAZPLo, 2}, {e.m_pPmlAZMHi, 2}};
    }

    size_t SlabCells(int nAxis) const
    {
        const CCalc3D_OMP& e = *eng;
        return nAxis == 0 ? e.m_nPmlCellsX : nAxis == 1 ? e.m_nPmlCellsY : e.m_nPmlCellsZ;
    }
};
