// CCalc3D::InitPMLProfile: the recursive-convolution coefficients of the
// PML slabs, computed per cell from the local P velocity so that every layer
// of a layered model is damped for its own speed.

#include "engine3d/Calc3D.h"

#include <algorithm>
#include <cmath>

#include "base/Output.h"
#include "run/OndexApp.h"

namespace
{
// Coefficients of one slab cell for both stencils: s1 on the integer
// distance, s2 half a cell further in.
struct PmlCoeffs
{
    float fB1, fA1, fB2, fA2;
};

// One (A, B) pair for the normalised distance s.
void PmlPair(double d0, double s, double dAlpha0, double dt, float& fA, float& fB)
{
    const double d = d0 * s * s;
    const double w = (1.1 - s) * dAlpha0 + d;
    fA = (float)exp((0.0 - w) * dt);
    const float fAm1 = fA - 1.0f;
    // w is 0 only for air exactly at s = 1.1, where nothing is damped.
    fB = w != 0.0 ? (float)((d * fAm1) / w) : 0.0f;
}

PmlCoeffs CellCoeffs(double v, int k, int W, double dx, double dt, double dFreq)
{
    const double R = 0.0002;
    const double d0 = (v * -1.5 * log(R)) / (dx * W);
    const double s1 = ((W + 1) - k) / (double)W;
    const double s2 = ((W + 0.5) - k) / (double)W;
    const double dAlpha0 = M_PI * dFreq;
    PmlCoeffs c;
    PmlPair(d0, s1, dAlpha0, dt, c.fA1, c.fB1);
    PmlPair(d0, s2, dAlpha0, dt, c.fA2, c.fB2);
    return c;
}
} // namespace

int CCalc3D::InitPMLProfile()
{
    const int W = m_nPML;
    const int h = m_nHalo;
    const size_t nx = (size_t)std::max(0, m_nx);
    const size_t ny = (size_t)std::max(0, m_ny);
    const size_t nz = (size_t)std::max(0, m_nz);
    const double f = m_Signal.m_dFreq;

    float* const arrays[24] = {m_pPmlBXMLo, m_pPmlBXPHi, m_pPmlAXMLo, m_pPmlAXPHi, m_pPmlBXPLo, m_pPmlBXMHi,
                               m_pPmlAXPLo, m_pPmlAXMHi, m_pPmlBYMLo, m_pPmlBYPHi, m_pPmlAYMLo, m_pPmlAYPHi,
                               m_pPmlBYPLo, m_pPmlBYMHi, m_pPmlAYPLo, m_pPmlAYMHi, m_pPmlBZMLo, m_pPmlBZPHi,
                               m_pPmlAZMLo, m_pPmlAZPHi, m_pPmlBZPLo, m_pPmlBZMHi, m_pPmlAZPLo, m_pPmlAZMHi};
    bool bAll = m_pVp != nullptr;
    for (float* p : arrays)
        bAll = bAll && p != nullptr;
    // The arrays belong to the engine's allocation; they must match this grid.
    if (!bAll || W <= 0 || h < 0 || (int)nx < W + h || (int)ny < W + h || nz == 0 ||
        m_nPmlCellsX != nz * ny * W || m_nPmlCellsY != nz * nx * W || m_nPmlCellsZ != ny * nx * W)
    {
        u_Error("Error! PML profiles cannot be built: slab arrays missing or not of this grid (%dx%dx%d, W=%d).\n",
                m_nx, m_ny, m_nz, W);
        return -200;
    }

    auto Vp = [&](size_t x, size_t y, size_t z) { return (double)m_pVp[(z * ny + y) * nx + x]; };

    // X slabs.
    for (size_t z = 0; z < nz; z++)
        for (size_t y = 0; y < ny; y++)
            for (int k = 0; k < W; k++)
            {
                const size_t i = (z * ny + y) * W + k;
                const PmlCoeffs lo = CellCoeffs(Vp(h + k, y, z), k, W, m_dx, m_dt, f);
                m_pPmlBXMLo[i] = lo.fB1;
                m_pPmlAXMLo[i] = lo.fA1;
                m_pPmlBXPLo[i] = lo.fB2;
                m_pPmlAXPLo[i] = lo.fA2;
                const PmlCoeffs hi = CellCoeffs(Vp(nx - h - k - 1, y, z), k, W, m_dx, m_dt, f);
                m_pPmlBXPHi[i] = hi.fB1;
                m_pPmlAXPHi[i] = hi.fA1;
                m_pPmlBXMHi[i] = hi.fB2;
                m_pPmlAXMHi[i] = hi.fA2;
            }

    // Y slabs.
    for (size_t z = 0; z < nz; z++)
        for (int k = 0; k < W; k++)
            for (size_t x = 0; x < nx; x++)
            {
                const size_t i = (z * W + k) * nx + x;
                const PmlCoeffs lo = CellCoeffs(Vp(x, h + k, z), k, W, m_dx, m_dt, f);
                m_pPmlBYMLo[i] = lo.fB1;
                m_pPmlAYMLo[i] = lo.fA1;
                m_pPmlBYPLo[i] = lo.fB2;
                m_pPmlAYPLo[i] = lo.fA2;
                const PmlCoeffs hi = CellCoeffs(Vp(x, ny - h - k - 1, z), k, W, m_dx, m_dt, f);
                m_pPmlBYPHi[i] = hi.fB1;
                m_pPmlAYPHi[i] = hi.fA1;
                m_pPmlBYMHi[i] = hi.fB2;
                m_pPmlAYMHi[i] = hi.fA2;
            }

    // Z low slab. Entry k serves whole-grid depth h + k, as the schemes read
    // it; on a further node of a depth group that is local plane
    // h + k - m_nZ0, so only the computed planes of this node that lie in
    // the slab are filled, each from its own velocity.
    if (m_nZ0 < W)
    {
        const int kEnd = std::min(W, (int)nz - h + m_nZ0);
        for (int k = std::max(0, m_nZ0); k < kEnd; k++)
        {
            const size_t z = (size_t)(h + k - m_nZ0);
            for (size_t y = 0; y < ny; y++)
                for (size_t x = 0; x < nx; x++)
                {
                    const size_t i = ((size_t)k * ny + y) * nx + x;
                    const PmlCoeffs c = CellCoeffs(Vp(x, y, z), k, W, m_dx, m_dt, f);
                    m_pPmlBZMLo[i] = c.fB1;
                    m_pPmlAZMLo[i] = c.fA1;
                    m_pPmlBZPLo[i] = c.fB2;
                    m_pPmlAZPLo[i] = c.fA2;
                }
        }
    }

    // Z high slab, counted from the bottom of the whole grid.
    const int D = m_nZAll - m_nZ1;
    if (D <= W)
    {
        const int kEnd = std::min(W, m_nZAll - 1 - m_nZ0 - h);
        for (int k = std::max(0, D - 1); k < kEnd; k++)
        {
            const long long zl = (long long)nz + D - h - k - 2;
            if (zl < 0 || zl >= (long long)nz)
                continue;
            const size_t z = (size_t)zl;
            for (size_t y = 0; y < ny; y++)
                for (size_t x = 0; x < nx; x++)
                {
                    const size_t i = ((size_t)k * ny + y) * nx + x;
                    const PmlCoeffs c = CellCoeffs(Vp(x, y, z), k, W, m_dx, m_dt, f);
                    m_pPmlBZPHi[i] = c.fB1;
                    m_pPmlAZPHi[i] = c.fA1;
                    m_pPmlBZMHi[i] = c.fB2;
                    m_pPmlAZMHi[i] = c.fA2;
                }
        }
    }
    return 0;
}
