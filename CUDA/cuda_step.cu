// ondex_cuda: the velocity and stress steps. One thread per cell in blocks
// of 8x8x8, plain global reads; each kernel runs the very per-cell functions
// of the CPU engine (cpu/AcoScheme.h, cpu/ElaScheme.h, cpu/OrtScheme.h,
// cpu/AniScheme.h), so that with
// contraction off on both sides the two engines agree to the bit.
//
// The variants of a family differ only in the record they are handed (PML
// or sponge, surface test, ramp, mechanisms); the kernels keep their own
// names so that a profile shows which one ran.

#include "CUDA/ModuleState.h"
#include "cpu/AcoScheme.h"
#include "cpu/AniScheme.h"
#include "cpu/ElaScheme.h"
#include "cpu/OrtScheme.h"

namespace
{
// The cell of this thread in the launch box; false past its end.
__device__ __forceinline__ bool ThreadCell(const fd::Box& b, int& x, int& y, int& z)
{
    x = b.x0 + 8 * (int)blockIdx.x + (int)threadIdx.x;
    y = b.y0 + 8 * (int)blockIdx.y + (int)threadIdx.y;
    z = b.z0 + 8 * (int)blockIdx.z + (int)threadIdx.z;
    return x <= b.x1 && y <= b.y1 && z <= b.z1;
}

// Damping by the Q grid after a stress step (the CPU engine damps only the
// elastic stresses; here every stress kernel without mechanisms does).
__device__ __forceinline__ void DampPressure(const TMesh3D& g, int64_t i)
{
    if (g.pQ)
        g.pTxx[i] = g.pTxx[i] * g.pQ[i];
}

// The same for the six stresses of the anisotropic methods, after the
// sponge as in the elastic law (the CPU engine does not damp these). The
// record's q is null when mechanisms run.
__device__ __forceinline__ void DampStresses(const ela::ElaStep& e, int x, int y, int z)
{
    if (!e.q)
        return;
    const int64_t i = ela::ElaIndex(e.f, x, y, z);
    const float q = e.q[i];
    e.f.txx[i] = e.f.txx[i] * q;
    e.f.tyy[i] = e.f.tyy[i] * q;
    e.f.tzz[i] = e.f.tzz[i] * q;
    e.f.txy[i] = e.f.txy[i] * q;
    e.f.txz[i] = e.f.txz[i] * q;
    e.f.tyz[i] = e.f.tyz[i] * q;
}
} // namespace

__global__ void CUDA_ACO3D_Kernel_U(fd::AcoStep s, fd::Box b)
{
    int x, y, z;
    if (ThreadCell(b, x, y, z))
        fd::AcoCellU(s, x, y, z);
}

__global__ void CUDA_ACO3D_Kernel_U_PML(fd::AcoStep s, fd::Box b)
{
    int x, y, z;
    if (ThreadCell(b, x, y, z))
        fd::AcoCellU(s, x, y, z);
}

__global__ void CUDA_ACO3D_Kernel_Tau(TMesh3D g, fd::AcoStep s, fd::Box b)
{
    int x, y, z;
    if (!ThreadCell(b, x, y, z))
        return;
    fd::AcoCellTau(s, x, y, z);
    DampPressure(g, fd::CellIndex(s.g, x, y, z));
}

__global__ void CUDA_ACO3D_Kernel_Tau_PML(TMesh3D g, fd::AcoStep s, fd::Box b)
{
    int x, y, z;
    if (!ThreadCell(b, x, y, z))
        return;
    fd::AcoCellTau(s, x, y, z);
    DampPressure(g, fd::CellIndex(s.g, x, y, z));
}

// Velocity step of methods 102 to 104; _SW: the surface test is on.
#define ONDEX_ELA_U_KERNEL(name)                                                                                     \
    __global__ void name(ela::ElaStep s, fd::Box b)                                                                  \
    {                                                                                                                \
        int x, y, z;                                                                                                 \
        if (ThreadCell(b, x, y, z))                                                                                  \
            ela::ElaCellU(s, x, y, z);                                                                               \
    }
ONDEX_ELA_U_KERNEL(CUDA_ELA3D_Kernel_U)
ONDEX_ELA_U_KERNEL(CUDA_ELA3D_Kernel_U_SW)
ONDEX_ELA_U_KERNEL(CUDA_ELA3D_Kernel_U_PML)
ONDEX_ELA_U_KERNEL(CUDA_ELA3D_Kernel_U_SW_PML)

// Stress step of method 102: the Q damping sits in the record (s.q), the
// mechanisms too (s.visco).
#define ONDEX_ELA_TAU_KERNEL(name)                                                                                   \
    __global__ void name(ela::ElaStep s, fd::Box b)                                                                  \
    {                                                                                                                \
        int x, y, z;                                                                                                 \
        if (ThreadCell(b, x, y, z))                                                                                  \
            ela::ElaCellTau(s, x, y, z);                                                                             \
    }
ONDEX_ELA_TAU_KERNEL(CUDA_ELA3D_Kernel_Tau)
ONDEX_ELA_TAU_KERNEL(CUDA_ELA3D_Kernel_Tau_SW)
ONDEX_ELA_TAU_KERNEL(CUDA_ELA3D_Kernel_Tau_PML)
ONDEX_ELA_TAU_KERNEL(CUDA_ELA3D_Kernel_Tau_SW_PML)
ONDEX_ELA_TAU_KERNEL(CUDA_ELA3D_Kernel_Tau_Visco)
ONDEX_ELA_TAU_KERNEL(CUDA_ELA3D_Kernel_Tau_Visco_PML)

// Stress step of method 103; the mechanisms and the ramp sit in s.e.
#define ONDEX_ORT_TAU_KERNEL(name)                                                                                   \
    __global__ void name(ort::OrtStep s, fd::Box b)                                                                  \
    {                                                                                                                \
        int x, y, z;                                                                                                 \
        if (!ThreadCell(b, x, y, z))                                                                                 \
            return;                                                                                                  \
        ort::OrtCellTau(s, x, y, z);                                                                                 \
        DampStresses(s.e, x, y, z);                                                                                  \
    }
ONDEX_ORT_TAU_KERNEL(CUDA_ORT3D_Kernel_Tau)
ONDEX_ORT_TAU_KERNEL(CUDA_ORT3D_Kernel_Tau_SW)
ONDEX_ORT_TAU_KERNEL(CUDA_ORT3D_Kernel_Tau_PML)
ONDEX_ORT_TAU_KERNEL(CUDA_ORT3D_Kernel_Tau_SW_PML)
ONDEX_ORT_TAU_KERNEL(CUDA_ORT3D_Kernel_Tau_Visco)
ONDEX_ORT_TAU_KERNEL(CUDA_ORT3D_Kernel_Tau_Visco_PML)

// Stress step of method 104, any number of mechanisms. The averaged
// derivatives reach three cells back, so the first three planes, rows and
// columns stay out whatever the launch box.
#define ONDEX_ANI_TAU_KERNEL(name)                                                                                   \
    __global__ void name(ani::AniStep s, fd::Box b)                                                                  \
    {                                                                                                                \
        int x, y, z;                                                                                                 \
        if (!ThreadCell(b, x, y, z) || x < 3 || y < 3 || z < 3)                                                      \
            return;                                                                                                  \
        ani::AniCellTau(s, x, y, z);                                                                                 \
        DampStresses(s.o.e, x, y, z);                                                                                \
    }
ONDEX_ANI_TAU_KERNEL(CUDA_ANIS3D_Kernel_Tau)
ONDEX_ANI_TAU_KERNEL(CUDA_ANIS3D_Kernel_Tau_PML)

namespace
{
// The slab geometry of the device: the slab tests count from the constant
// halo 2 for every method.
fd::SlabGeom DeviceSlabs()
{
    fd::SlabGeom g;
    g.nx = a.nX;
    g.ny = a.nY;
    g.W = a.nPML;
    g.h = 2;
    g.nZ0 = a.nZOffset;
    g.nZAll = a.nZAll;
    return g;
}

// Sponge entries: the host table has 38.
int SpongeCount()
{
    return a.nTaper < 0 ? 0 : (a.nTaper > 38 ? 38 : a.nTaper);
}

// The profiles by axis, stencil and side from the engine's order.
void Profiles(fd::PmlProfiles& p)
{
    for (int axis = 0; axis < 3; axis++)
    {
        float* const* q = pmlH.pProfile + 8 * axis;
        p.b[axis][fd::kMinus][fd::kLo] = q[0];
        p.b[axis][fd::kPlus][fd::kHi] = q[1];
        p.a[axis][fd::kMinus][fd::kLo] = q[2];
        p.a[axis][fd::kPlus][fd::kHi] = q[3];
        p.b[axis][fd::kPlus][fd::kLo] = q[4];
        p.b[axis][fd::kMinus][fd::kHi] = q[5];
        p.a[axis][fd::kPlus][fd::kLo] = q[6];
        p.a[axis][fd::kMinus][fd::kHi] = q[7];
    }
}

// Indices into pmlH.pPsi of the engine's named memory arrays.
enum
{
    UxX = 0, TxxX = 2, UyY = 4, TyyY = 6, UzZ = 8, TzzZ = 10, TxyX = 12, TxyY = 14, TxzX = 16, TxzZ = 18,
    TyzY = 20, TyzZ = 22, UxY = 24, UxZ = 26, UyX = 28, UyZ = 30, UzX = 32, UzY = 34
};

fd::AcoStep AcoRecord(bool bU)
{
    fd::AcoStep s = {};
    s.f = {a.pUx, a.pUy, a.pUz, a.pTxx, a.pB, a.pC, (int64_t)a.nX, (int64_t)a.nX * a.nY};
    s.g = DeviceSlabs();
    s.bPML = a.nPML > 0;
    s.taper = a.pTaper;
    s.nTaper = SpongeCount();
    if (!s.bPML)
        return s;
    Profiles(s.prof);
    // Velocity step: D- of P in the arrays of the normal stresses; pressure
    // step: D+ of the velocities in theirs.
    const int base[2][3] = {{TxxX, TyyY, TzzZ}, {UxX, UyY, UzZ}};
    for (int axis = 0; axis < 3; axis++)
        for (int side = 0; side < 2; side++)
            s.psi[axis][side] = pmlH.pPsi[base[bU ? 0 : 1][axis] + side];
    return s;
}

ela::ElaStep ElaRecord(bool bU, bool bSuppress, float fS)
{
    ela::ElaStep s = {};
    s.f = {a.pUx, a.pUy, a.pUz, a.pTxx, a.pTyy, a.pTzz, a.pTxy, a.pTxz, a.pTyz,
           a.pB, a.pC, a.pM, (int64_t)a.nX, (int64_t)a.nX * a.nY};
    s.g = DeviceSlabs();
    s.bPML = a.nPML > 0;
    s.taper = a.pTaper;
    s.nTaper = SpongeCount();
    s.bSuppressSV = bSuppress;
    s.fS = bSuppress ? fS : 1.0f;
    const int L = (pVisM && pVisG) ? a3cfg.nViscoL : 0;
    s.q = L > 0 ? nullptr : a.pQ;
    s.visco = {pVisM, pVisG, L, a3cfg.fdt};
    if (!s.bPML)
        return s;
    Profiles(s.prof);
    const int vel[3][3] = {{TxxX, TxyX, TxzX}, {TxyY, TyyY, TyzY}, {TxzZ, TyzZ, TzzZ}};
    const int tau[3][3] = {{UxX, UyX, UzX}, {UyY, UxY, UzY}, {UzZ, UxZ, UyZ}};
    for (int axis = 0; axis < 3; axis++)
        for (int j = 0; j < 3; j++)
            for (int side = 0; side < 2; side++)
                s.psi[axis][j][side] = pmlH.pPsi[(bU ? vel : tau)[axis][j] + side];
    return s;
}

// The orthorhombic stress record: the elastic one (its c and m grids are
// not read) plus the nine stiffness grids.
ort::OrtStep OrtRecord(bool bSuppress, float fS)
{
    ort::OrtStep s = {};
    s.e = ElaRecord(false, bSuppress, fS);
    s.c = {ort_h.C11, ort_h.C12, ort_h.C13, ort_h.C22, ort_h.C23, ort_h.C33, ort_h.C44, ort_h.C55, ort_h.C66};
    return s;
}

// The general record: the nine grids of the one block, the twelve further
// ones and the 54 memory arrays of the averages (Z, Y, X; per axis three
// groups of three low then the same three high).
ani::AniStep AniRecord(bool bSuppress, float fS)
{
    ani::AniStep s = {};
    s.o.e = ElaRecord(false, bSuppress, fS);
    const TMesh3DAnisotropic& h = anis_h;
    s.o.c = {h.C11, h.C12, h.C13, h.C22, h.C23, h.C33, h.C44, h.C55, h.C66};
    s.c = {h.C14, h.C15, h.C16, h.C24, h.C25, h.C26, h.C34, h.C35, h.C36, h.C45, h.C46, h.C56};
    if (!s.o.e.bPML)
        return s;
    for (int axis = 0; axis < 3; axis++)
        for (int j = 0; j < 9; j++)
            for (int side = 0; side < 2; side++)
                s.psiAvg[axis][j][side] = pmlH.pPsiAni[(2 - axis) * 18 + (j / 3) * 6 + side * 3 + j % 3];
    return s;
}
} // namespace

int CUDA_3DFD_ModelStep(bool bU, bool bSuppress, int z0, int y0, int x0, int z1, int y1, int x1, float fS)
{
    a.nZ0 = z0;
    a.nY0 = y0;
    a.nX0 = x0;
    a.nZ1 = z1;
    a.nY1 = y1;
    a.nX1 = x1;
    a.fSWave = fS;
    // The stencil reaches two cells out: the box stays clear of them.
    fd::Box b = {z0 < 2 ? 2 : z0, y0 < 2 ? 2 : y0, x0 < 2 ? 2 : x0, z1 > a3cfg.nZ - 3 ? a3cfg.nZ - 3 : z1,
                 y1 > a.nY - 3 ? a.nY - 3 : y1, x1 > a.nX - 3 ? a.nX - 3 : x1};
    if (b.x1 < b.x0 || b.y1 < b.y0 || b.z1 < b.z0)
        return 0;
    const dim3 block(8, 8, 8);
    const dim3 grid(Blocks(b.x1 - b.x0 + 1, 8), Blocks(b.y1 - b.y0 + 1, 8), Blocks(b.z1 - b.z0 + 1, 8));
    const bool bPML = a.nPML > 0;
    const int nMethod = a3cfg.nMethod;
    if (nMethod == 101)
    {
        const fd::AcoStep s = AcoRecord(bU);
        if (bU)
            (bPML ? CUDA_ACO3D_Kernel_U_PML : CUDA_ACO3D_Kernel_U)<<<grid, block>>>(s, b);
        else
            (bPML ? CUDA_ACO3D_Kernel_Tau_PML : CUDA_ACO3D_Kernel_Tau)<<<grid, block>>>(a, s, b);
    }
    else if (bU)
    {
        const ela::ElaStep s = ElaRecord(true, bSuppress, fS);
        if (bSuppress)
            (bPML ? CUDA_ELA3D_Kernel_U_PML : CUDA_ELA3D_Kernel_U)<<<grid, block>>>(s, b);
        else
            (bPML ? CUDA_ELA3D_Kernel_U_SW_PML : CUDA_ELA3D_Kernel_U_SW)<<<grid, block>>>(s, b);
    }
    else if (nMethod == 102)
    {
        const ela::ElaStep s = ElaRecord(false, bSuppress, fS);
        if (s.visco.L > 0)
            (bPML ? CUDA_ELA3D_Kernel_Tau_Visco_PML : CUDA_ELA3D_Kernel_Tau_Visco)<<<grid, block>>>(s, b);
        else if (bSuppress)
            (bPML ? CUDA_ELA3D_Kernel_Tau_PML : CUDA_ELA3D_Kernel_Tau)<<<grid, block>>>(s, b);
        else
            (bPML ? CUDA_ELA3D_Kernel_Tau_SW_PML : CUDA_ELA3D_Kernel_Tau_SW)<<<grid, block>>>(s, b);
    }
    else if (nMethod == 103)
    {
        const ort::OrtStep s = OrtRecord(bSuppress, fS);
        if (s.e.visco.L > 0)
            (bPML ? CUDA_ORT3D_Kernel_Tau_Visco_PML : CUDA_ORT3D_Kernel_Tau_Visco)<<<grid, block>>>(s, b);
        else if (bSuppress)
            (bPML ? CUDA_ORT3D_Kernel_Tau_PML : CUDA_ORT3D_Kernel_Tau)<<<grid, block>>>(s, b);
        else
            (bPML ? CUDA_ORT3D_Kernel_Tau_SW_PML : CUDA_ORT3D_Kernel_Tau_SW)<<<grid, block>>>(s, b);
    }
    else if (nMethod == 104)
    {
        const ani::AniStep s = AniRecord(bSuppress, fS);
        (bPML ? CUDA_ANIS3D_Kernel_Tau_PML : CUDA_ANIS3D_Kernel_Tau)<<<grid, block>>>(s, b);
    }
    else
        return kCudaNoComponent;
    cudaDeviceSynchronize();
    return CheckError();
}
