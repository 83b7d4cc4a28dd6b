#include "bench_grid.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>

#include <omp.h>

namespace bench {

bool ParseShapes(int argc, char** argv, int nMin, std::vector<Shape>& out)
{
    for (int i = 1; i < argc; i++)
    {
        if (argv[i][0] == '-')
            continue;
        Shape g;
        const int k = std::sscanf(argv[i], "%dx%dx%d", &g.nx, &g.ny, &g.nz);
        if (k == 1)
            g.ny = g.nz = g.nx;
        if ((k != 1 && k != 3) || std::min(g.nx, std::min(g.ny, g.nz)) < nMin)
            return false;
        out.push_back(g);
    }
    return true;
}

std::unique_ptr<CCalc3D_OMP> MakeGridEngine(COndexApp& app, const Shape& g, int nHalo, int nPML, int nTaper,
                                            int nViscoL)
{
    // The Q grid is filled here; the name only makes the engine allocate it.
    if (nViscoL > 0)
        app.m_strModelQ = "bench-Q";
    std::unique_ptr<CCalc3D_OMP> e(new CCalc3D_OMP(app));
    e->m_nx = g.nx;
    e->m_ny = g.ny;
    e->m_nz = g.nz;
    e->m_nZ0 = 0;
    e->m_nZ1 = g.nz - 1;
    e->m_nZAll = g.nz;
    e->m_nHalo = nHalo;
    e->m_nPML = nPML;
    e->m_nTaper = nTaper;
    e->m_bPML = nPML > 0;
    e->m_dx = 10.0;
    e->m_dt = 0.001;
    e->m_nViscoL = nViscoL;
    e->m_Signal.m_dFreq = 20.0;
    if (const char* pszRows = std::getenv("ONDEX_PAIR_ROWS"))
        e->m_nPairTileRows = std::atoi(pszRows);   // to try other tile heights of the two-step pass
    if (e->AllocateMemory(false, true) != 0)
        return nullptr;
    const size_t cells = (size_t)g.nx * g.ny * g.nz;
    std::fill(e->m_pVp, e->m_pVp + cells, 2000.0f);
    if (e->m_pVs)
        std::fill(e->m_pVs, e->m_pVs + cells, 1000.0f);
    std::fill(e->m_pRho, e->m_pRho + cells, 2000.0f);
    if (nViscoL > 0)
    {
        std::fill(e->m_pQ, e->m_pQ + cells, 50.0f);
        if (e->PrepareViscoElasticModel() != 0)
            return nullptr;
    }
    if (e->m_bPML && e->InitPMLProfile() != 0)
        return nullptr;
    e->FillTaper();
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> d(-1e-3f, 1e-3f);
    for (size_t i = 0; i < cells; i++)
        e->m_pTxx[i] = d(rng);
    return e;
}

double SlabSideCells(const CCalc3D_OMP& e)
{
    return 2.0 * (double)(e.m_nPmlCellsX + e.m_nPmlCellsY + e.m_nPmlCellsZ);
}

bool HasInner(const CCalc3D_OMP& e)
{
    return e.m_bPML && std::min(e.m_nx, std::min(e.m_ny, e.m_nz)) > 2 * (e.m_nHalo + e.m_nPML);
}

double InnerCells(const CCalc3D_OMP& e)
{
    const int m = e.m_nHalo + (HasInner(e) ? e.m_nPML : 0);
    return (double)(e.m_nx - 2 * m) * (e.m_ny - 2 * m) * (e.m_nz - 2 * m);
}

void PrintHead()
{
    std::printf("%-14s %-10s %-7s %6s %9s %7s %7s %9s %6s %7s\n", "grid", "box", "threads", "steps", "Mcells/s",
                "B/cell", "triad", "limit", "ratio", "of base");
}

void PrintRow(const std::string& what, const std::string& box, int nThreads, const StepRate& r, double bytes,
              double base)
{
    const double limit = r.dTriadGBs * 1e3 / bytes, limitBase = r.dTriadGBs * 1e3 / base;
    std::printf("%-14s %-10s %-7d %6d %9.1f %7.1f %7.1f %9.1f %6.2f %7.2f\n", what.c_str(), box.c_str(), nThreads,
                r.nSteps, r.dMcells, bytes, r.dTriadGBs, limit, r.dMcells / limit, r.dMcells / limitBase);
    std::fflush(stdout);
}

StepRate TimeStreams(const std::vector<StreamSweep>& sweeps, double cells, int nThreads)
{
    int nGrids = 0;
    for (const StreamSweep& s : sweeps)
        nGrids = std::max(nGrids, s.nRead + s.nUpdate);
    const size_t n = (size_t)cells;
    std::vector<std::unique_ptr<float[]>> grids(nGrids);
    std::vector<float*> g(nGrids);
    // Each grid starts 1088 bytes further into its page than the one before:
    // grids this large are mapped page by page, so without the shift the
    // same cell of every grid falls into the same cache set, and a mix of
    // more streams than the cache has ways (the 38 of the viscoelastic
    // stress step) ran at a tenth of its rate on one thread.
    for (int k = 0; k < nGrids; k++)
    {
        const size_t shift = (size_t)k * 272 % 1024;
        grids[k].reset(new float[n + shift]);
        g[k] = grids[k].get() + shift;
    }
    // Blocks of a plane's size, first touched by the threads that sweep them.
    constexpr size_t kBlock = 1u << 16;
    const size_t nBlocks = (n + kBlock - 1) / kBlock;
    omp_set_num_threads(nThreads);
#pragma omp parallel for schedule(static)
    for (size_t b = 0; b < nBlocks; b++)
        for (int k = 0; k < nGrids; k++)
            std::fill(g[k] + b * kBlock, g[k] + std::min(n, (b + 1) * kBlock), 1.0f);
    auto Step = [&]() {
        for (const StreamSweep& s : sweeps)
        {
#pragma omp parallel for schedule(static)
            for (size_t b = 0; b < nBlocks; b++)
                s.run(g.data(), b * kBlock, std::min(n, (b + 1) * kBlock));
        }
    };
    return TimeStepRate(Step, cells, nThreads);
}

double StreamBytes(const std::vector<StreamSweep>& sweeps)
{
    double b = 0;
    for (const StreamSweep& s : sweeps)
        b += 4.0 * (s.nRead + 2 * s.nUpdate);
    return b;
}

std::vector<int> ThreadCounts()
{
    const int nAll = omp_get_max_threads();
    return nAll > 1 ? std::vector<int>{1, nAll} : std::vector<int>{1};
}

}  // namespace bench
