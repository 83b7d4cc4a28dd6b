// CCalc3D_OMP: grids of a shot, the memory report, the wave field at rest,
// and the planes handed to the depth exchange.

#include "cpu/Calc3D_OMP.h"
#include "engine3d/Calc3D_stiffness.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <unistd.h>

#include "base/Output.h"
#include "run/OndexApp.h"

namespace
{
const double kMB = 1048576.0;
const int32_t kBigSeisMagic = 821222;

void FreeGrid(float*& p)
{
    delete[] p;
    p = nullptr;
}

size_t NonNeg(int n)
{
    return n > 0 ? (size_t)n : 0;
}
} // namespace

// Zeroes n floats with the threads and the static split of the sweeps, so
// that each page is first touched by the thread that will compute on it.
static void ZeroParallel(float* p, size_t n)
{
    const int64_t nBlocks = (int64_t)((n + 4095) / 4096);
#pragma omp parallel for schedule(static)
    for (int64_t b = 0; b < nBlocks; b++)
    {
        const size_t i0 = (size_t)b * 4096;
        memset(p + i0, 0, std::min<size_t>(4096, n - i0) * sizeof(float));
    }
}

float* CCalc3D_OMP::NewGrid(size_t n)
{
    // A zero-length grid still gets a valid pointer, so that "exists" stays
    // a null test.
    float* p = new float[n ? n : 1];
    p[0] = 0.0f;
    ZeroParallel(p, n);
    return p;
}

size_t CCalc3D_OMP::Cells() const
{
    return NonNeg(m_nx) * NonNeg(m_ny) * NonNeg(m_nz);
}

float** CCalc3D_OMP::PsiArray(int n, int* pAxis)
{
    struct Entry
    {
        float* CCalc3D_OMP::*pm;
        int nAxis;
    };
    static const Entry kTable[PSI_NAMED] = {
        {&CCalc3D_OMP::m_pPsiUxXLo, 0},  {&CCalc3D_OMP::m_pPsiUxXHi, 0},
        {&CCalc3D_OMP::m_pPsiTxxXLo, 0}, {&CCalc3D_OMP::m_pPsiTxxXHi, 0},
        {&CCalc3D_OMP::m_pPsiUyYLo, 1},  {&CCalc3D_OMP::m_pPsiUyYHi, 1},
        {&CCalc3D_OMP::m_pPsiTyyYLo, 1}, {&CCalc3D_OMP::m_pPsiTyyYHi, 1},
        {&CCalc3D_OMP::m_pPsiUzZLo, 2},  {&CCalc3D_OMP::m_pPsiUzZHi, 2},
        {&CCalc3D_OMP::m_pPsiTzzZLo, 2}, {&CCalc3D_OMP::m_pPsiTzzZHi, 2},
        {&CCalc3D_OMP::m_pPsiTxyXLo, 0}, {&CCalc3D_OMP::m_pPsiTxyXHi, 0},
        {&CCalc3D_OMP::m_pPsiTxyYLo, 1}, {&CCalc3D_OMP::m_pPsiTxyYHi, 1},
        {&CCalc3D_OMP::m_pPsiTxzXLo, 0}, {&CCalc3D_OMP::m_pPsiTxzXHi, 0},
        {&CCalc3D_OMP::m_pPsiTxzZLo, 2}, {&CCalc3D_OMP::m_pPsiTxzZHi, 2},
        {&CCalc3D_OMP::m_pPsiTyzYLo, 1}, {&CCalc3D_OMP::m_pPsiTyzYHi, 1},
        {&CCalc3D_OMP::m_pPsiTyzZLo, 2}, {&CCalc3D_OMP::m_pPsiTyzZHi, 2},
        {&CCalc3D_OMP::m_pPsiUxYLo, 1},  {&CCalc3D_OMP::m_pPsiUxYHi, 1},
        {&CCalc3D_OMP::m_pPsiUxZLo, 2},  {&CCalc3D_OMP::m_pPsiUxZHi, 2},
        {&CCalc3D_OMP::m_pPsiUyXLo, 0},  {&CCalc3D_OMP::m_pPsiUyXHi, 0},
        {&CCalc3D_OMP::m_pPsiUyZLo, 2},  {&CCalc3D_OMP::m_pPsiUyZHi, 2},
        {&CCalc3D_OMP::m_pPsiUzXLo, 0},  {&CCalc3D_OMP::m_pPsiUzXHi, 0},
        {&CCalc3D_OMP::m_pPsiUzYLo, 1},  {&CCalc3D_OMP::m_pPsiUzYHi, 1},
    };
    if (n < 0 || n >= PSI_NAMED)
        return nullptr;
    if (pAxis)
        *pAxis = kTable[n].nAxis;
    return &(this->*kTable[n].pm);
}

int CCalc3D_OMP::FreeMemory(bool bModel, bool bWave, bool bSeis, bool bTime, bool bPlane)
{
    if (bModel)
    {
        float** ppModel[] = {&m_pVp, &m_pVs, &m_pRho, &m_pQ,
                             &m_pAnisEps, &m_pAnisDelta, &m_pAnisGamma, &m_pAnisAlpha, &m_pAnisPhi,
                             &m_pC11, &m_pC12, &m_pC13, &m_pC22, &m_pC23, &m_pC33, &m_pC44, &m_pC55, &m_pC66,
                             &m_pC14, &m_pC15, &m_pC16, &m_pC24, &m_pC25, &m_pC26, &m_pC34, &m_pC35, &m_pC36,
                             &m_pC45, &m_pC46, &m_pC56, &m_pViscoM};
        for (float** pp : ppModel)
            FreeGrid(*pp);
    }
    if (bWave)
    {
        float** ppWave[] = {&m_pUx, &m_pUy, &m_pUz, &m_pTxx, &m_pTyy, &m_pTzz, &m_pTxy, &m_pTxz, &m_pTyz,
                            &m_pViscoG,
                            &m_pPmlBXMLo, &m_pPmlBXPHi, &m_pPmlAXMLo, &m_pPmlAXPHi,
                            &m_pPmlBXPLo, &m_pPmlBXMHi, &m_pPmlAXPLo, &m_pPmlAXMHi,
                            &m_pPmlBYMLo, &m_pPmlBYPHi, &m_pPmlAYMLo, &m_pPmlAYPHi,
                            &m_pPmlBYPLo, &m_pPmlBYMHi, &m_pPmlAYPLo, &m_pPmlAYMHi,
                            &m_pPmlBZMLo, &m_pPmlBZPHi, &m_pPmlAZMLo, &m_pPmlAZPHi,
                            &m_pPmlBZPLo, &m_pPmlBZMHi, &m_pPmlAZPLo, &m_pPmlAZMHi};
        for (float** pp : ppWave)
            FreeGrid(*pp);
        for (int n = 0; n < PSI_NAMED; n++)
            FreeGrid(*PsiArray(n, nullptr));
        for (float*& p : m_pPsiAni)
            FreeGrid(p);
    }
    if (bSeis)
    {
        for (float*& p : m_pSeis)
            FreeGrid(p);
        FreeGrid(m_pBigShot);
    }
    if (bTime)
    {
        for (float*& p : m_pTimeMax)
            FreeGrid(p);
        for (float*& p : m_pTimeArr)
            FreeGrid(p);
    }
    if (bPlane)
        FreeGrid(m_pPlane);
    return 0;
}

int CCalc3D_OMP::AllocateMemory(bool bEstimate, bool bQuiet)
{
    COndexApp& app = *m_pApp;
    if (!bEstimate)
        FreeMemory(true, true, true, true, true);

    const int nMethod = app.m_Type;
    const size_t nx = NonNeg(m_nx), ny = NonNeg(m_ny), nz = NonNeg(m_nz);
    const size_t cells = nx * ny * nz;
    const int L = std::max(0, m_nViscoL);
    const bool bQFile = !app.m_strModelQ.IsEmpty();
    const size_t W = m_bPML ? NonNeg(m_nPML) : 0;

    m_nPmlCellsX = nz * ny * W;
    m_nPmlCellsY = nz * nx * W;
    m_nPmlCellsZ = ny * nx * W;

    // Count.
    const double G = (double)cells * 4.0 / kMB;
    int nM = bQFile ? 3 : 2;
    if (nMethod >= 102)
        nM += 1;
    if (nMethod >= 103)
        nM += 7;
    if (nMethod == 104)
        nM += 12;
    const int nP = nMethod >= 102 ? 9 : 4;
    const int nV1 = 3 * L, nV2 = 6 * L;
    if (L > 0)
        nM -= 1;

    const size_t nRec = m_vRcvCells.size();
    const size_t nSteps = m_nSeisLen;
    const double dSeis = (app.m_bBigSeismogram ? (double)nRec : (double)nRec * (double)nSteps) * 16.0 / kMB;
    const double dPlane = (double)nz * (double)std::max(nx, ny) * 4.0 / kMB;
    const int u = nMethod >= 102 ? 20 : 12;
    const double dPML = m_bPML ? (double)(m_nPmlCellsX + m_nPmlCellsY + m_nPmlCellsZ) * u * 4.0 / kMB : 0.0;
    const size_t nTimeCells = NonNeg(m_nTimeNx) * NonNeg(m_nTimeNy) * NonNeg(m_nTimeNz);
    double dTime = 0.0;
    for (int bit = 0; bit < 2; bit++)
        if (m_nTimeField & (1 << bit))
            dTime += 2.0 * (double)nTimeCells * 4.0 / kMB;

    // Available and required.
    double dAvailable;
    if (app.m_nHostMemoryGB >= 1)
        dAvailable = app.m_nHostMemoryGB * 1024.0;
    else
        dAvailable = (double)sysconf(_SC_PHYS_PAGES) * (double)sysconf(_SC_PAGESIZE) / kMB;
    const double dRequired = nM * G + nP * G + nV1 * G + nV2 * G + dSeis + dPML + dTime;

    if (!bQuiet)
    {
        u_LinePrint(" Memory");
        u_Print("Model grids (x,y,z)=(%dx%dx%d) %dx%1.2f MB = %1.0f MB.\n", m_nx, m_ny, m_nz, nM, G, nM * G);
        u_Print("Particle components (x,y,z)=(%dx%dx%d) %dx%1.2f MB = %1.0f MB.\n", m_nx, m_ny, m_nz, nP, G,
                nP * G);
        if (L > 0)
            u_Print("Visco-elastic components, L=%d, %dx%1.2f MB = %1.0f MB.\n", L, 9 * L, G, 9 * L * G);
        if (dSeis > 0)
        {
            if (app.m_bBigSeismogram)
                u_Print("Seismogram (n)=(%d) %dx%1.2f MB = %1.0f MB.\n", (int)nRec, 4, dSeis / 4, dSeis);
            else
                u_Print("Seismogram (n,t)=(%dx%d) %dx%1.2f MB = %1.0f MB.\n", (int)nRec, (int)nSteps, 4, dSeis / 4,
                        dSeis);
        }
        if (dTime > 0)
            u_Print("Time Field Grids %1.0f MB.\n", dTime);
        if (dPlane > 0)
            u_Print("Additioal Grids %1.0f MB.\n", dPlane);
        if (dPML > 0)
            u_Print("PML Grids = %1.0f MB\n", dPML);
        if (app.m_nHostMemoryGB >= 1)
            u_Print("Total Required = %1.0f MB, Available = %1.0f MB (Configured)\n", dRequired, dAvailable);
        else
            u_Print("Total Required = %1.0f MB, Available = %1.0f MB\n", dRequired, dAvailable);
        u_Line();
    }

    if (bEstimate)
    {
        app.m_fMemAvailable = dAvailable;
        app.m_fMemNeeded = dRequired;
        return 0;
    }

    if (dRequired > dAvailable)
        u_Warning("Warning! Not enough memory the on computer. Requested %g MB, but only %g MB is available.\n",
                  dRequired, dAvailable);

    // Sizes whose element counts would wrap around are as unattainable as
    // any other out-of-memory case (a grid of 2^40 cells is 4 TB).
    const size_t kMaxCells = (size_t)1 << 40;
    if (cells > kMaxCells || nTimeCells > kMaxCells || (size_t)L > 1024)
    {
        u_Print("Error! Not enough memory. Please, try to increase spatial steps.\n");
        return 1;
    }

    try
    {
        m_pVp = NewGrid(cells);
        m_pRho = NewGrid(cells);
        if (nMethod >= 102)
            m_pVs = NewGrid(cells);
        if (bQFile)
            m_pQ = NewGrid(cells);
        if (L > 0)
        {
            m_pViscoM = NewGrid(3 * cells * (size_t)L);
            m_pViscoG = NewGrid(6 * cells * (size_t)L);
        }
        m_pPlane = NewGrid(nz * std::max(nx, ny));
        m_pUx = NewGrid(cells);
        m_pUy = NewGrid(cells);
        m_pUz = NewGrid(cells);
        m_pTxx = NewGrid(cells);
        if (nMethod >= 102)
        {
            m_pTyy = NewGrid(cells);
            m_pTzz = NewGrid(cells);
            m_pTxy = NewGrid(cells);
            m_pTxz = NewGrid(cells);
            m_pTyz = NewGrid(cells);
        }
        NewAnisotropyGrids(*this, nMethod, cells, &NewGrid);
        for (int bit = 0; bit < 2; bit++)
            if (m_nTimeField & (1 << bit))
            {
                m_pTimeMax[bit] = NewGrid(nTimeCells);
                m_pTimeArr[bit] = NewGrid(nTimeCells);
            }
        if (m_bPML)
        {
            const size_t slab[3] = {m_nPmlCellsX, m_nPmlCellsY, m_nPmlCellsZ};
            float** ppProfile[24] = {
                &m_pPmlBXMLo, &m_pPmlBXPHi, &m_pPmlAXMLo, &m_pPmlAXPHi, &m_pPmlBXPLo, &m_pPmlBXMHi,
                &m_pPmlAXPLo, &m_pPmlAXMHi, &m_pPmlBYMLo, &m_pPmlBYPHi, &m_pPmlAYMLo, &m_pPmlAYPHi,
                &m_pPmlBYPLo, &m_pPmlBYMHi, &m_pPmlAYPLo, &m_pPmlAYMHi, &m_pPmlBZMLo, &m_pPmlBZPHi,
                &m_pPmlAZMLo, &m_pPmlAZPHi, &m_pPmlBZPLo, &m_pPmlBZMHi, &m_pPmlAZPLo, &m_pPmlAZMHi};
            for (int i = 0; i < 24; i++)
                *ppProfile[i] = NewGrid(slab[i / 8]);
            const int nNamed = nMethod >= 102 ? PSI_NAMED : PSI_ACOUSTIC;
            for (int n = 0; n < nNamed; n++)
            {
                int nAxis = 0;
                float** pp = PsiArray(n, &nAxis);
                *pp = NewGrid(slab[nAxis]);
            }
            if (nMethod == 104)
                for (int n = 0; n < 54; n++)
                    m_pPsiAni[n] = NewGrid(slab[2 - n / 18]);   // Z, Y, X
        }
    }
    catch (const std::bad_alloc&)
    {
        u_Print("Error! Not enough memory. Please, try to increase spatial steps.\n");
        return 1;
    }

    if (app.m_nMemoryLimit >= 1 && app.m_nMemoryLimit < (long long)dRequired)
    {
        u_Print("Error! Required memory exceeds %d MB. Compuataion stops.\n", app.m_nMemoryLimit);
        return 2;
    }
    return 0;
}

int CCalc3D_OMP::AllocateMemorySeismogram()
{
    COndexApp& app = *m_pApp;
    const size_t nRec = m_vRcvCells.size();
    size_t n = nRec * m_nSeisLen;

    for (float*& p : m_pSeis)
        FreeGrid(p);
    FreeGrid(m_pBigShot);
    if (n == 0)
        return 0;
    if (n / nRec != m_nSeisLen || n > ((size_t)1 << 40))
    {
        u_Print("Error! Not enough memory for seismogram. Please, try to increase spatial steps.\n");
        return 1;
    }

    if (app.m_bBigSeismogram)
    {
        if (m_pBigSeis)
        {
            fclose(m_pBigSeis);
            m_pBigSeis = nullptr;
        }
        CString strName = app.GetBigSeisFileName();
        m_pBigSeis = fopen((const char*)strName, "wb");
        if (!m_pBigSeis)
        {
            u_Error("Error! Unable to open file %s for writing. Using normal seismogram mode\n", (const char*)strName);
            app.m_bBigSeismogram = false;
        }
        else
        {
            const int32_t nMagic = kBigSeisMagic;
            const int32_t nShot = app.m_nActiveShot;
            const int64_t nCount = (int64_t)nRec;
            if (fwrite(&nMagic, 4, 1, m_pBigSeis) != 1 || fwrite(&nShot, 4, 1, m_pBigSeis) != 1 ||
                fwrite(&nCount, 8, 1, m_pBigSeis) != 1)
            {
                // The header did not go out: the file is of no use.
                fclose(m_pBigSeis);
                m_pBigSeis = nullptr;
                u_Error("Error! Unable to open file %s for writing. Using normal seismogram mode\n",
                        (const char*)strName);
                app.m_bBigSeismogram = false;
            }
            else
                n = nRec;
        }
    }

    u_Print("Allocating memory for seismogram (%g MB)...\n", 16.0 * (double)n / kMB);
    try
    {
        for (float*& p : m_pSeis)
            p = NewGrid(n);
    }
    catch (const std::bad_alloc&)
    {
        for (float*& p : m_pSeis)
            FreeGrid(p);
        u_Print("Error! Not enough memory for seismogram. Please, try to increase spatial steps.\n");
        return 1;
    }
    return 0;
}

int CCalc3D_OMP::LoadModel()
{
    if (!m_pUx || !m_pUy || !m_pUz || !m_pTxx)
        return 0;
    const size_t cells = Cells();
    float* ppWave[] = {m_pUx, m_pUy, m_pUz, m_pTxx, m_pTyy, m_pTzz, m_pTxy, m_pTxz, m_pTyz};
    for (float* p : ppWave)
        if (p)
            ZeroParallel(p, cells);
    if (m_pViscoG)
        ZeroParallel(m_pViscoG, 6 * cells * (size_t)std::max(0, m_nViscoL));

    const size_t nRec = m_vRcvCells.size();
    const size_t nSeis = m_pApp->m_bBigSeismogram ? nRec : nRec * m_nSeisLen;
    for (float* p : m_pSeis)
        if (p)
            memset(p, 0, nSeis * sizeof(float));

    if (m_bPML)
    {
        const size_t slab[3] = {m_nPmlCellsX, m_nPmlCellsY, m_nPmlCellsZ};
        for (int n = 0; n < PSI_NAMED; n++)
        {
            int nAxis = 0;
            float* p = *PsiArray(n, &nAxis);
            if (p)
                ZeroParallel(p, slab[nAxis]);
        }
        for (int n = 0; n < 54; n++)
            if (m_pPsiAni[n])
                ZeroParallel(m_pPsiAni[n], slab[2 - n / 18]);
    }
    return 0;
}

int CCalc3D_OMP::GetCalcPlane(int nComponent, int z0, int, float** ppPlane, bool)
{
    float* pGrid = nullptr;
    switch (nComponent)
    {
    case 1: pGrid = m_pUx; break;
    case 2: pGrid = m_pUy; break;
    case 3: pGrid = m_pUz; break;
    case 4: pGrid = m_pTzz; break;
    case 5: pGrid = m_pTxx; break;
    case 6: pGrid = m_pTyy; break;
    case 7: pGrid = m_pTxy; break;
    case 8: pGrid = m_pTxz; break;
    case 9: pGrid = m_pTyz; break;
    default: break;
    }
    // A plane outside the grid would hand out a pointer past the array.
    if (!pGrid || z0 < 0 || z0 >= m_nz)
    {
        if (ppPlane)
            *ppPlane = nullptr;
        return -1;
    }
    if (ppPlane)
        *ppPlane = pGrid + NonNeg(m_nx) * NonNeg(m_ny) * (size_t)z0;
    return 0;
}

int CCalc3D_OMP::SetCalcPlane(int, int, int, float*)
{
    return 0;
}

int CCalc3D_OMP::FreeCalcPlane(float**)
{
    return 0;
}
