// The GPU engine against the CPU engine on the same small shot: both run
// the same per-cell functions, so gathers and whole-grid cubes must agree
// to the bit. Skipped without a device.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>

#include "CUDA/Calc3D_CUDA.h"
#include "CUDA/ondex_cuda.h"
#include "common/TestUtil.h"
#include "cpu/Calc3D_OMP.h"
#include "engine3d/OmpTestGrid.h"
#include "run/OndexApp.h"

namespace
{
// W: PML width, 0 the sponge; L mechanisms; nSurface planes of empty cells on top (free surface).
struct Case { const char* pszName; int nMethod, W; bool bSuppressSV, bQ; int L, nSurface, nSourceType; };

const int kN = 28, kSteps = 24;

// The shot's settings, the same for both engines.
void Configure(CCalc3D& e, const Case& c)
{
    e.m_nx = kN, e.m_ny = kN - 2, e.m_nz = e.m_nZAll = kN + 2, e.m_nZ0 = 0, e.m_nZ1 = e.m_nz - 1, e.m_nHalo = 2;
    e.m_bPML = c.W > 0, e.m_nPML = c.W > 0 ? c.W : 21, e.m_nTaper = 6, e.m_dx = 10.0, e.m_dt = 0.001;
    e.m_bSuppressSV = c.bSuppressSV, e.m_nViscoL = c.L, e.m_nSourceType = c.nSourceType, e.m_nShot = 1;
    for (int i = 0; i < 6; i++)
        e.m_fK[i] = 0.5f + 0.1f * i;
    const int nxy = e.m_nx * e.m_ny;
    e.m_vSources.assign(1, C3DShotPoint((uint64_t)14 * nxy + 13 * e.m_nx + 12, 0));
    e.m_vRcvCells.clear();
    for (int k = 0; k < 9; k++)
        e.m_vRcvCells.push_back((size_t)(3 + k) * nxy + (size_t)(4 + 2 * k) * e.m_nx + 3 + k * 2);
    e.m_nSeisLen = kSteps;
    e.m_nSeisPos = 0;
    e.m_Signal.Free();
    e.m_Signal.m_pData = new float[kSteps];
    e.m_Signal.m_nLen = kSteps;
    for (int i = 0; i < kSteps; i++)
        e.m_Signal.m_pData[i] = (float)std::sin(0.4 * i) * 1e3f;
    for (int i = 0; i < 38; i++)
        e.m_fTaper[i] = i < e.m_nTaper ? 0.9f + 0.015f * i : 1.0f;
}

// The model and the profiles, from one seed, into the host grids.
void FillModel(CCalc3D& e, const Case& c)
{
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    const size_t cells = (size_t)e.m_nx * e.m_ny * e.m_nz, nxy = (size_t)e.m_nx * e.m_ny;
    for (size_t i = 0; i < cells; i++)
    {
        const bool bEmpty = i < nxy * (size_t)c.nSurface;
        e.m_pRho[i] = bEmpty ? 0.0f : 0.25f + 0.1f * u(rng);
        e.m_pVp[i] = 0.25f + 0.1f * u(rng);
        if (e.m_pVs)
            e.m_pVs[i] = 0.05f + 0.05f * u(rng);
        if (e.m_pQ)
            e.m_pQ[i] = 0.995f + 0.005f * u(rng);
    }
    for (size_t i = 0; e.m_pViscoM && i < cells * c.L; i++)
    {
        e.m_pViscoM[3 * i] = 0.01f + 0.04f * u(rng);
        e.m_pViscoM[3 * i + 1] = 0.01f + 0.04f * u(rng);
        e.m_pViscoM[3 * i + 2] = 0.002f + 0.008f * u(rng);
    }
    // Stiffness: strong diagonal, weaker normal coupling, small tilt terms.
    float* const pC[21] = {e.m_pC11, e.m_pC22, e.m_pC33, e.m_pC12, e.m_pC13, e.m_pC23, e.m_pC44,
                           e.m_pC55, e.m_pC66, e.m_pC14, e.m_pC15, e.m_pC16, e.m_pC24, e.m_pC25,
                           e.m_pC26, e.m_pC34, e.m_pC35, e.m_pC36, e.m_pC45, e.m_pC46, e.m_pC56};
    const float scale[4] = {0.25f, 0.1f, 0.05f, 0.004f};
    for (int k = 0; k < 21; k++)
        for (size_t i = 0; pC[k] && i < cells; i++)
            pC[k][i] = scale[k < 9 ? k / 3 : 3] * (1.0f + 0.4f * u(rng));
    const std::array<float**, 24> prof = PmlSlots(e);
    const size_t slab[3] = {e.m_nPmlCellsX, e.m_nPmlCellsY, e.m_nPmlCellsZ};
    for (int k = 0; c.W > 0 && k < 24; k++)
        for (size_t i = 0; i < slab[k / 8]; i++)
            (*prof[k])[i] = (k % 4) < 2 ? -0.1f * u(rng) : 0.8f + 0.2f * u(rng);   // B, then A
}

// One whole shot on an engine; the four gathers and two cubes come back.
std::vector<std::vector<float>> RunShot(CCalc3D& e, const Case& c)
{
    std::vector<std::vector<float>> out;
    Configure(e, c);
    if (e.AllocateMemory(false, true) != 0)
        return out;
    FillModel(e, c);
    if (e.AllocateMemorySeismogram() != 0 || e.LoadModel() != 0)
        return out;
    const bool bAco = c.nMethod == 101;
    // The general scheme reaches three cells out, where the engines clamp
    // differently (halo against a constant): both step the common box.
    const int m = c.nMethod == 104 ? 3 : 0, z1 = e.m_nz - 1 - m, y1 = e.m_ny - 1 - m, x1 = e.m_nx - 1 - m;
    for (int n = 0; n < kSteps; n++)
    {
        e.m_fSWave = c.bSuppressSV ? 0.1f + 0.03f * n : 1.0f;
        EXPECT_EQ(0, e.ApplySignal(n));
        int r = bAco ? e.PropagateAcoWaveU(m, m, m, z1, y1, x1) : e.PropagateElaWaveU(m, m, m, z1, y1, x1);
        if (bAco)
            r |= e.PropagateAcoWaveTau(m, m, m, z1, y1, x1);
        else if (c.nMethod == 102)
            r |= e.PropagateElaWaveTau(m, m, m, z1, y1, x1);
        else if (c.nMethod == 103)
            r |= e.PropagateOrtWaveTau(m, m, m, z1, y1, x1);
        else
            r |= e.PropagateAniWaveTau(m, m, m, z1, y1, x1);
        EXPECT_EQ(0, r);
        EXPECT_EQ(0, e.RecordSeismogram());
    }
    const size_t n = e.m_vRcvCells.size() * kSteps;
    for (char comp : {'X', 'Y', 'Z', 'C'})
    {
        const float* p = e.GrabShotgather(comp);
        out.push_back(p ? std::vector<float>(p, p + n) : std::vector<float>());
    }
    CCubeN area(0, 0, 0, e.m_nz - 1, e.m_ny - 1, e.m_nx - 1);
    C3DSizeN size(e.m_nx, e.m_ny, e.m_nz);
    // 'C' is left out: the device sums the three stresses in the other order.
    for (char comp : {'X', '0'})
    {
        float* p = e.Grab3DSnapshot(area, size, comp);
        out.push_back(p ? std::vector<float>(p, p + (size_t)size.Total()) : std::vector<float>());
        delete[] p;
    }
    return out;
}

TEST(CudaDevice, GathersBitIdenticalToCpu)
{
    if (!CUDA_ModuleBuilt() || CUDA_GetDeviceCount() < 1)
        GTEST_SKIP() << "no CUDA device";
    ASSERT_EQ(0, CUDA_SetDevice(0));
    const Case cases[] = {
        {"acoustic sponge", 101, 0, true, false, 0, 0, 0},
        {"acoustic PML", 101, 5, true, false, 0, 0, 0},
        {"acoustic force", 101, 5, true, false, 0, 0, 3},
        {"elastic sponge free surface", 102, 0, false, false, 0, 4, 0},
        {"elastic PML suppress ramp", 102, 5, true, false, 0, 0, 0},
        {"elastic PML free surface Q", 102, 5, false, true, 0, 4, 9},
        {"elastic invisible surface Q", 102, 0, true, true, 0, 0, 8},
        {"visco sponge", 102, 0, false, true, 2, 0, 0},
        {"visco PML free surface", 102, 5, false, false, 1, 4, 6},
        // The anisotropic methods without Q: only the device damps them.
        {"orthorhombic sponge free surface", 103, 0, false, false, 0, 4, 0},
        {"orthorhombic PML suppress ramp", 103, 5, true, false, 0, 0, 8},
        {"orthorhombic visco PML", 103, 5, false, false, 2, 0, 0},
        {"general sponge suppress ramp", 104, 0, true, false, 0, 0, 0},
        {"general PML free surface", 104, 5, false, false, 0, 4, 9},
        {"general visco PML", 104, 5, true, false, 1, 0, 0},
    };
    testutil::TempDir dir(true);
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.pszName);
        std::unique_ptr<COndexApp> app(new COndexApp());
        app->m_Type = c.nMethod;
        app->m_nHostMemoryGB = 64;
        app->m_nGpuMemoryGB = 64;
        if (c.bQ)
            app->m_strModelQ = "q.sgy";
        std::vector<std::vector<float>> cpu, gpu;
        {
            CCalc3D_OMP e(*app);
            cpu = RunShot(e, c);
        }
        {
            CCalc3D_CUDA e(*app);
            gpu = RunShot(e, c);
        }
        ASSERT_EQ(6u, cpu.size());
        ASSERT_EQ(6u, gpu.size());
        bool bMoved = false;
        for (size_t k = 0; k < cpu.size(); k++)
        {
            ASSERT_EQ(cpu[k].size(), gpu[k].size()) << k;
            ASSERT_FALSE(cpu[k].empty()) << k;
            EXPECT_EQ(0, memcmp(cpu[k].data(), gpu[k].data(), cpu[k].size() * sizeof(float))) << "output " << k;
            for (float v : cpu[k])
                bMoved = bMoved || v != 0.0f;
        }
        EXPECT_TRUE(bMoved);   // the wave reached the receivers
    }
}
} // namespace
