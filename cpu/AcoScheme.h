#pragma once
// The acoustic scheme per cell: a leapfrog of particle velocity (times K)
// and pressure. AcoCellU and AcoCellTau are the whole update of one cell
// with every boundary test inside; a device kernel runs them per thread and
// the test reference in a triple loop. The CPU row loops call the pieces
// (AcoGradP, Cpml, AcoUpdateU, ...) in the same order without the tests.

#include "cpu/PmlScheme.h"

namespace fd
{

// Velocities, pressure, buoyancy B and modulus C, all on one index layout.
struct AcoFields
{
    float* ux;
    float* uy;
    float* uz;
    float* p;
    const float* b;   // (dt/dx) * K / rho
    const float* c;   // rho * vp^2 * (dt/dx) / K
    int64_t sy;
    int64_t sz;
};

// Pressure gradient at the velocity nodes of index i.
ONDEX_HD void AcoGradP(const AcoFields& f, int64_t i, float& dx, float& dy, float& dz)
{
    dx = DMinus(f.p, i, 1);
    dy = DMinus(f.p, i, f.sy);
    dz = DMinus(f.p, i, f.sz);
}

// Velocity divergence at the pressure node of index i.
ONDEX_HD void AcoDivU(const AcoFields& f, int64_t i, float& dx, float& dy, float& dz)
{
    dx = DPlus(f.ux, i, 1);
    dy = DPlus(f.uy, i, f.sy);
    dz = DPlus(f.uz, i, f.sz);
}

ONDEX_HD void AcoUpdateU(const AcoFields& f, int64_t i, float dx, float dy, float dz)
{
    const float b = f.b[i];
    f.ux[i] += b * dx;
    f.uy[i] += b * dy;
    f.uz[i] += b * dz;
}

// Inside the sponge the old velocities are damped first. A factor of 1
// leaves the bits of AcoUpdateU.
ONDEX_HD void AcoUpdateUSponge(const AcoFields& f, int64_t i, float dx, float dy, float dz, float t)
{
    const float b = f.b[i];
    f.ux[i] = f.ux[i] * t + b * dx;
    f.uy[i] = f.uy[i] * t + b * dy;
    f.uz[i] = f.uz[i] * t + b * dz;
}

ONDEX_HD void AcoUpdateP(const AcoFields& f, int64_t i, float dx, float dy, float dz)
{
    f.p[i] += f.c[i] * (dx + dy + dz);
}

// Inside the sponge the new pressure is damped after the update.
ONDEX_HD void AcoUpdatePSponge(const AcoFields& f, int64_t i, float dx, float dy, float dz, float t)
{
    f.p[i] = (f.p[i] + f.c[i] * (dx + dy + dz)) * t;
}

// Everything one acoustic half step needs. psi[axis][side] are the memory
// arrays of the derivative of that axis in this half step: those named after
// the normal stresses for the velocity step (D- of P), those named after the
// velocities for the pressure step (D+).
struct AcoStep
{
    AcoFields f;
    SlabGeom g;
    bool bPML;
    PmlProfiles prof;
    float* psi[3][2];
    const float* taper;
    int nTaper;
};

ONDEX_HD int64_t CellIndex(const SlabGeom& g, int x, int y, int z)
{
    return ((int64_t)z * g.ny + y) * g.nx + x;
}

ONDEX_HD void AcoCellU(const AcoStep& s, int x, int y, int z)
{
    const int64_t i = CellIndex(s.g, x, y, z);
    float dx, dy, dz;
    AcoGradP(s.f, i, dx, dy, dz);
    if (s.bPML)
    {
        const CellSlabs c = SlabsOfCell(s.g, x, y, z);
        dz = PmlAxis(dz, s.psi[kAxisZ], s.prof, kAxisZ, kMinus, c.k[kAxisZ]);
        dy = PmlAxis(dy, s.psi[kAxisY], s.prof, kAxisY, kMinus, c.k[kAxisY]);
        dx = PmlAxis(dx, s.psi[kAxisX], s.prof, kAxisX, kMinus, c.k[kAxisX]);
        AcoUpdateU(s.f, i, dx, dy, dz);
    }
    else
        AcoUpdateUSponge(s.f, i, dx, dy, dz, SpongeOfCell(s.g, s.taper, s.nTaper, x, y, z));
}

ONDEX_HD void AcoCellTau(const AcoStep& s, int x, int y, int z)
{
    const int64_t i = CellIndex(s.g, x, y, z);
    float dx, dy, dz;
    AcoDivU(s.f, i, dx, dy, dz);
    if (s.bPML)
    {
        const CellSlabs c = SlabsOfCell(s.g, x, y, z);
        dz = PmlAxis(dz, s.psi[kAxisZ], s.prof, kAxisZ, kPlus, c.k[kAxisZ]);
        dy = PmlAxis(dy, s.psi[kAxisY], s.prof, kAxisY, kPlus, c.k[kAxisY]);
        dx = PmlAxis(dx, s.psi[kAxisX], s.prof, kAxisX, kPlus, c.k[kAxisX]);
        AcoUpdateP(s.f, i, dx, dy, dz);
    }
    else
        AcoUpdatePSponge(s.f, i, dx, dy, dz, SpongeOfCell(s.g, s.taper, s.nTaper, x, y, z));
}

} // namespace fd
