// The elastic, orthorhombic and 21-constant sweeps against a triple loop
// over the per-cell kernels, bit for bit: PML and sponge, free surface,
// relaxation mechanisms in some cells and not in others. As with the
// acoustic sweeps, the file is also built into the program whose sweeps are
// compiled for the build machine's own instruction set.

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "RandomFill.h"
#include "cpu/AniSweep.h"
#include "cpu/ElaSweep.h"

namespace
{

// A whole elastic state in vectors; a copy is a deep copy.
struct ElaState
{
    fd::SlabGeom g;
    int nz, L;
    std::vector<float> fld[9], b, c, m, viscoM, viscoG;
    std::vector<float> a[3][2][2], p[3][2][2];   // profiles [axis][stencil][side]
    std::vector<float> psi[2][3][3][2];          // [stress step][axis][derivative][side]
    std::vector<float> k[21], psiAvg[3][9][2];   // anisotropic constants, memory of the averages
    float taper[38];

    ela::ElaStep Step(bool bTau)
    {
        ela::ElaStep s = {};
        s.f = {fld[0].data(), fld[1].data(), fld[2].data(), fld[3].data(), fld[4].data(), fld[5].data(),
               fld[6].data(), fld[7].data(), fld[8].data(), b.data(),      c.data(),      m.data(),
               (int64_t)g.nx, (int64_t)g.nx * g.ny};
        s.g = g;
        s.bPML = g.W > 0;
        for (int ax = 0; ax < 3; ax++)
            for (int sd = 0; sd < 2; sd++)
            {
                for (int st = 0; st < 2; st++)
                {
                    s.prof.a[ax][st][sd] = a[ax][st][sd].data();
                    s.prof.b[ax][st][sd] = p[ax][st][sd].data();
                }
                for (int j = 0; j < 3; j++)
                    s.psi[ax][j][sd] = psi[bTau ? 1 : 0][ax][j][sd].data();
            }
        s.taper = taper;
        s.nTaper = 6;
        s.fS = 1.0f;
        s.visco = {L > 0 ? viscoM.data() : nullptr, L > 0 ? viscoG.data() : nullptr, L, 0.001f};
        return s;
    }

    ani::AniStep AniStep()
    {
        ani::AniStep s;
        s.o.e = Step(true);
        s.o.c = {k[0].data(), k[1].data(), k[2].data(), k[3].data(), k[4].data(),
                 k[5].data(), k[6].data(), k[7].data(), k[8].data()};
        s.c = {k[9].data(),  k[10].data(), k[11].data(), k[12].data(), k[13].data(), k[14].data(),
               k[15].data(), k[16].data(), k[17].data(), k[18].data(), k[19].data(), k[20].data()};
        for (int ax = 0; ax < 3; ax++)
            for (int j = 0; j < 9; j++)
                for (int sd = 0; sd < 2; sd++)
                    s.psiAvg[ax][j][sd] = psiAvg[ax][j][sd].data();
        return s;
    }
};

ElaState Random(int nx, int ny, int nz, int W, int L, unsigned seed, int h = 2)
{
    std::mt19937 rng(seed);
    ElaState s;
    s.g = {nx, ny, W, h, 0, nz};
    s.nz = nz;
    s.L = L;
    const size_t n = (size_t)nx * ny * nz;
    for (std::vector<float>& v : s.fld)
        Fill(v, n, rng, -1.0f, 1.0f);
    Fill(s.b, n, rng, 0.0f, 0.3f);
    Fill(s.c, n, rng, 0.0f, 0.3f);
    Fill(s.m, n, rng, 0.0f, 0.1f);
    // Empty cells in the top planes: a free surface below them.
    for (size_t i = 0; i < (size_t)nx * ny * 5; i++)
        if (rng() % 4 == 0)
            s.b[i] = s.c[i] = s.m[i] = 0.0f;
    const size_t slab[3] = {(size_t)nz * ny * W, (size_t)nz * nx * W, (size_t)ny * nx * W};
    for (int ax = 0; ax < 3; ax++)
        for (int sd = 0; sd < 2; sd++)
        {
            for (int st = 0; st < 2; st++)
            {
                Fill(s.a[ax][st][sd], slab[ax], rng, 0.5f, 1.0f);
                Fill(s.p[ax][st][sd], slab[ax], rng, -0.5f, 0.0f);
            }
            for (int k = 0; k < 2; k++)
                for (int j = 0; j < 3; j++)
                    Fill(s.psi[k][ax][j][sd], slab[ax], rng, -0.1f, 0.1f);
            for (int j = 0; j < 9; j++)
                Fill(s.psiAvg[ax][j][sd], slab[ax], rng, -0.1f, 0.1f);
        }
    for (int j = 0; j < 21; j++)
        Fill(s.k[j], n, rng, j < 9 ? 0.0f : -0.05f, j < 9 ? 0.3f : 0.05f);
    if (L > 0)
    {
        Fill(s.viscoM, 3 * n * L, rng, 0.0f, 0.2f);
        std::uniform_real_distribution<float> tau(0.002f, 0.05f);
        // Every third row with some cells without attenuation (relaxation
        // time 1), every fifth row without any.
        for (size_t i = 0; i < n; i++)
        {
            const size_t row = i / nx;
            const bool bNone = row % 5 == 0 || (row % 3 == 0 && rng() % 4 == 0);
            for (int l = 0; l < L; l++)
                s.viscoM[3 * (i * L + l) + 2] = bNone ? 1.0f : tau(rng);
        }
        Fill(s.viscoG, 6 * n * L, rng, -0.1f, 0.1f);
    }
    RandomTaper(s.taper, rng);
    return s;
}

// Every array a step writes, engine against reference.
void ExpectSameArrays(const ElaState& eng, const ElaState& ref)
{
    std::vector<std::pair<const std::vector<float>*, const std::vector<float>*>> all = {{&eng.viscoG, &ref.viscoG}};
    for (int k = 0; k < 9; k++)
        all.push_back({&eng.fld[k], &ref.fld[k]});
    for (int ax = 0; ax < 3; ax++)
        for (int sd = 0; sd < 2; sd++)
        {
            for (int t = 0; t < 2; t++)
                for (int j = 0; j < 3; j++)
                    all.push_back({&eng.psi[t][ax][j][sd], &ref.psi[t][ax][j][sd]});
            for (int j = 0; j < 9; j++)
                all.push_back({&eng.psiAvg[ax][j][sd], &ref.psiAvg[ax][j][sd]});
        }
    for (size_t k = 0; k < all.size(); k++)
        EXPECT_EQ(0, memcmp(all[k].first->data(), all[k].second->data(), all[k].first->size() * sizeof(float)))
            << "array " << k;
}

struct ElaBitsCase { const char* pszName; int nx, ny, nz, W, L; };

class ElaSweepMatchesCells : public ::testing::TestWithParam<ElaBitsCase>
{
};

TEST_P(ElaSweepMatchesCells, TwoStepsBitForBit)
{
    const ElaBitsCase& c = GetParam();
    ElaState eng = Random(c.nx, c.ny, c.nz, c.W, c.L, 99u + c.nx + c.L);
    ElaState ref = eng;
    const fd::Box b = {2, 2, 2, c.nz - 3, c.ny - 3, c.nx - 3};
    for (int step = 0; step < 2; step++)
        for (bool bTau : {false, true})
        {
            bTau ? ela::ElaSweepTau(eng.Step(true), b) : ela::ElaSweepU(eng.Step(false), b);
            const ela::ElaStep r = ref.Step(bTau);
            for (int z = b.z0; z <= b.z1; z++)
                for (int y = b.y0; y <= b.y1; y++)
                    for (int x = b.x0; x <= b.x1; x++)
                        bTau ? ela::ElaCellTau(r, x, y, z) : ela::ElaCellU(r, x, y, z);
        }
    ExpectSameArrays(eng, ref);
}

INSTANTIATE_TEST_SUITE_P(Grids, ElaSweepMatchesCells,
                         ::testing::Values(ElaBitsCase{"Pml", 29, 26, 24, 5, 0}, ElaBitsCase{"Sponge", 29, 26, 24, 0, 0},
                                           ElaBitsCase{"PmlVisco", 29, 26, 24, 5, 3},
                                           ElaBitsCase{"SpongeVisco", 29, 26, 24, 0, 2}),
                         [](const ::testing::TestParamInfo<ElaBitsCase>& info) {
                             return std::string(info.param.pszName);
                         });

// The stress steps of the orthorhombic (bAni false) and 21-constant
// methods, one step each (halo 3, as the 21-constant step needs).
struct AniBitsCase { const char* pszName; bool bAni; int W, L; };

class AniSweepMatchesCells : public ::testing::TestWithParam<AniBitsCase>
{
};

TEST_P(AniSweepMatchesCells, StressStepBitForBit)
{
    const AniBitsCase& c = GetParam();
    const int nx = 27, ny = 25, nz = 23;
    ElaState eng = Random(nx, ny, nz, c.W, c.L, 7u + c.W + c.L, 3);
    ElaState ref = eng;
    const fd::Box b = {3, 3, 3, nz - 4, ny - 4, nx - 4};
    const ani::AniStep s = eng.AniStep(), r = ref.AniStep();
    ASSERT_TRUE(c.bAni ? ani::AniSweepTau(s, b) : ani::OrtSweepTau(s.o, b));
    for (int z = b.z0; z <= b.z1; z++)
        for (int y = b.y0; y <= b.y1; y++)
            for (int x = b.x0; x <= b.x1; x++)
                c.bAni ? ani::AniCellTau(r, x, y, z) : ort::OrtCellTau(r.o, x, y, z);
    ExpectSameArrays(eng, ref);
}

INSTANTIATE_TEST_SUITE_P(Grids, AniSweepMatchesCells,
                         ::testing::Values(AniBitsCase{"OrtPml", false, 5, 0}, AniBitsCase{"OrtSpongeVisco", false, 0, 2},
                                           AniBitsCase{"AniPml", true, 5, 0}, AniBitsCase{"AniPmlVisco", true, 5, 3},
                                           AniBitsCase{"AniSponge", true, 0, 0}),
                         [](const ::testing::TestParamInfo<AniBitsCase>& info) {
                             return std::string(info.param.pszName);
                         });

// Two steps in one pass against the four half steps cell by cell, for the
// three methods that share the velocity step: tiles of 4 to 6 rows, so
// that several are in flight on the threads, and with SuppressSV a
// different S-wave ramp in each step.
struct PairCase { const char* pszName; int nMethod, W, L; bool bSV; };

class SweepTwoStepsMatchesCells : public ::testing::TestWithParam<PairCase>
{
};

TEST_P(SweepTwoStepsMatchesCells, BitForBit)
{
    const PairCase& c = GetParam();
    const int h = c.nMethod == 104 ? 3 : 2, nx = 27 + c.W % 3, ny = 30, nz = 23;
    ElaState eng = Random(nx, ny, nz, c.W, c.L, 31u + c.nMethod + c.W + c.L, h);
    ElaState ref = eng;
    const fd::Box b = {h, h, h, nz - h - 1, ny - h - 1, nx - h - 1};
    // The stress record of a step with ramp fS.
    auto stress = [&](ElaState& e, float fS) {
        ani::AniStep s = e.AniStep();
        s.o.e.bSuppressSV = c.bSV;
        s.o.e.fS = c.bSV ? fS : 1.0f;
        return s;
    };
    ela::ElaStep u = eng.Step(false);
    u.bSuppressSV = c.bSV;
    const ani::AniStep t1 = stress(eng, 0.3f), t2 = stress(eng, 0.45f);
    const int nTile = 4 + nx % 3;
    if (c.nMethod == 102)
        ela::ElaSweepTwoSteps(u, t1.o.e, t2.o.e, b, nTile);
    else
        EXPECT_TRUE(c.nMethod == 103 ? ani::OrtSweepTwoSteps(u, t1.o, t2.o, b, nTile)
                                     : ani::AniSweepTwoSteps(u, t1, t2, b, nTile));
    ela::ElaStep ru = ref.Step(false);
    ru.bSuppressSV = c.bSV;
    for (float fS : {0.3f, 0.45f})
    {
        const ani::AniStep rt = stress(ref, fS);
        for (int z = b.z0; z <= b.z1; z++)
            for (int y = b.y0; y <= b.y1; y++)
                for (int x = b.x0; x <= b.x1; x++)
                    ela::ElaCellU(ru, x, y, z);
        for (int z = b.z0; z <= b.z1; z++)
            for (int y = b.y0; y <= b.y1; y++)
                for (int x = b.x0; x <= b.x1; x++)
                    c.nMethod == 102   ? ela::ElaCellTau(rt.o.e, x, y, z)
                    : c.nMethod == 103 ? ort::OrtCellTau(rt.o, x, y, z)
                                       : ani::AniCellTau(rt, x, y, z);
    }
    ExpectSameArrays(eng, ref);
}

INSTANTIATE_TEST_SUITE_P(
    Methods, SweepTwoStepsMatchesCells,
    ::testing::Values(PairCase{"ElaPml", 102, 5, 0, false}, PairCase{"ElaSpongeSV", 102, 0, 0, true},
                      PairCase{"ElaPmlViscoSV", 102, 5, 3, true}, PairCase{"OrtPml", 103, 5, 0, false},
                      PairCase{"OrtSpongeVisco", 103, 0, 2, false}, PairCase{"AniPmlSV", 104, 5, 0, true},
                      PairCase{"AniPmlVisco", 104, 5, 3, false}, PairCase{"AniSponge", 104, 0, 0, false}),
    [](const ::testing::TestParamInfo<PairCase>& info) { return std::string(info.param.pszName); });

} // namespace
