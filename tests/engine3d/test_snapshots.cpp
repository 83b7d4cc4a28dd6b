// 2D snapshot films and 3D snapshot cubes: rows, times and samples of a film
// against fields given by formulas, a cube written and read back (here and
// by segyio), the selection of shots and times, and whole runs of the
// program: the wavefront of a homogeneous shot at radius c*t in film and
// cube, and bad settings that must cost no gather.

#include "common/TestUtil.h"
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <vector>

#include "ModelTestUtil.h"
#include "OmpTestGrid.h"
#include "files/SdsPC.h"
#include "files/VmgFormat.h"
#include "engine3d/common.h"

namespace
{

using testutil::FileExists;
using testutil::ReadFile;
using testutil::TempDir;

const float K = KOEF_VELOCITY;

// A film file: its first frame header and all its samples.
struct Film
{
    VMG_FILEHEADER h;
    std::vector<float> v;
    // Sample of component c at column i, row j of film row (time) k.
    float At(int k, int j, int i, int c) const
    {
        return v[(((size_t)k * h.n2 + j) * h.n1 + i) * h.nComponents + c];
    }
};

bool ReadFilm(const std::string& name, Film& f)
{
    const std::string s = ReadFile(name);
    if (s.size() < sizeof(VMG_FILEHEADER))
        return false;
    memcpy(&f.h, s.data(), sizeof(f.h));
    const int64_t n = VmgFrameFloats(f.h);
    if (n < 0 || s.size() != sizeof(f.h) + 4 * (size_t)n)
        return false;
    f.v.resize((size_t)n);
    memcpy(f.v.data(), s.data() + sizeof(f.h), 4 * (size_t)n);
    return true;
}

// An engine of 30 x 9 x 20 cells from (1000, 2000, 0), strips of 6 cells,
// the shot in column 10, row 4. Pressure linear in the cell indices, so
// that bilinear resampling must give it back exactly; velocities constant.
struct FilmEngine
{
    OmpTestGrid g{30, 9, 20, 101};
    CCalc3D_OMP& e = g.E();
    static float P(double x, double y, double z) { return (float)(3 * x + 1000 * y + 0.5 * z); }
    FilmEngine()
    {
        e.m_nTaper = 6;
        EXPECT_EQ(0, e.AllocateMemory(false, true));
        e.m_cubeGrid = CCubeR(1000, 2000, 0, 1290, 2080, 190);
        e.m_ptShot = C3DPointR(1100, 2040, 50);
        for (int z = 0; z < 20; z++)
            for (int y = 0; y < 9; y++)
                for (int x = 0; x < 30; x++)
                {
                    const size_t v = g.Index(x, y, z);
                    e.m_pTxx[v] = P(x, y, z);
                    e.m_pUx[v] = 1;
                    e.m_pUy[v] = 2;
                    e.m_pUz[v] = 3;
                }
    }
};

// Rows and times as the time loop asks for them, the plane at the shot's row
// plus Y Offset, the four components in the order of the letters, and every
// sample the field at the position the header gives it.
TEST(Snapshot2D, FilmRowsTimesAndSamples)
{
    struct Case
    {
        double dOffset, rStep;
        int nRow;   // -1: off the grid, no film
    };
    const Case cases[] = {{0, 10, 4}, {20, 25, 6}, {-40, 10, 1}, {-45, 10, 0}, {44, 10, 8}, {46, 10, -1},
                          {-60, 10, -1}};
    for (const Case& c : cases)
    {
        TempDir dir;
        FilmEngine fe;
        CCalc3D_OMP& e = fe.e;
        e.m_dSnapYOffset = c.dOffset;
        e.m_tSnap0 = 0.1;
        e.m_dSnapDt = 0.05;
        const std::string name = dir / "s.vmg";
        e.m_tSnapNext = e.m_tSnap0;
        for (int k = 0; k < 3; k++, e.m_tSnapNext += e.m_dSnapDt)
            ASSERT_EQ(0, e.AppendVmg2DSnapshot(name.c_str(), 'X', "ZXYC", c.rStep, false)) << c.dOffset;
        if (c.nRow < 0)
        {
            EXPECT_FALSE(FileExists(name)) << c.dOffset;
            continue;
        }
        Film f;
        ASSERT_TRUE(ReadFilm(name, f)) << c.dOffset;
        // User area x 1060..1230, z 60..130.
        const int cx = (int)(170 / c.rStep + 1.5), cy = (int)(70 / c.rStep + 1.5);
        EXPECT_EQ(cx, f.h.n1);
        EXPECT_EQ(cy, f.h.n2);
        EXPECT_EQ(3, f.h.n3);
        EXPECT_EQ(4, f.h.nComponents);
        EXPECT_EQ(0, strncmp(f.h.szComponents, "ZXYC", 4));
        EXPECT_FLOAT_EQ(1060, f.h.rX0);
        EXPECT_FLOAT_EQ(1230, f.h.rX1);
        EXPECT_FLOAT_EQ(60, f.h.rZ0);
        EXPECT_FLOAT_EQ(130, f.h.rZ1);
        EXPECT_FLOAT_EQ(1100, f.h.rSrcX);
        EXPECT_FLOAT_EQ(0.1f, f.h.rT0);
        EXPECT_FLOAT_EQ(0.2f, f.h.rT1);
        EXPECT_NEAR(0.05, f.h.rDT, 1e-6);
        for (int k = 0; k < 3; k++)
            for (int j = 0; j < cy; j++)
                for (int i = 0; i < cx; i++)
                {
                    const double gx = (f.h.rX0 + i * f.h.rDX - 1000) / 10, gz = (f.h.rZ0 + j * f.h.rDZ) / 10;
                    ASSERT_NEAR(FilmEngine::P(gx, c.nRow, gz), f.At(k, j, i, 3), 2e-3)
                        << "offset " << c.dOffset << " at " << i << "," << j;
                    ASSERT_EQ(3 * K, f.At(k, j, i, 0));
                    ASSERT_EQ(1 * K, f.At(k, j, i, 1));
                    ASSERT_EQ(2 * K, f.At(k, j, i, 2));
                }
    }
}

// A cube written through the cube writer reads back, through our reader, as
// the cube the engine handed over (to the precision of the IBM floats of the
// file); segyio reads the same samples, at the positions of the user area.
TEST(Snapshot3D, CubeReadsBackAsGrabbed)
{
    TempDir dir;
    OmpTestGrid g(20, 16, 18, 101);
    CCalc3D_OMP& e = g.E();
    e.m_nTaper = 4;
    ASSERT_EQ(0, e.AllocateMemory(false, true));
    std::mt19937 rng(7);
    OmpTestGrid::FillRandom(e.m_pTxx, g.Cells(), rng, -1e3f, 1e3f);
    e.m_cubeGrid = CCubeR(500, 700, 0, 690, 850, 170);
    e.m_ptShot = C3DPointR(600, 760, 30);
    e.m_nShot = 1;
    e.m_tEnd = 0.2;
    e.m_vSnapShots = {0};
    e.m_vSnapTimes = {0.1};
    strcpy(e.m_szSnapComponents, "C");
    e.m_dSnapDx = 10;
    e.m_dSnapDy = 20;
    e.m_dSnapDz = 15;
    ASSERT_EQ(0, e.Init3DSnapshots());
    ASSERT_TRUE(e.m_b3DSnapshots);
    const int nx = 12, ny = 4, nz = 6;   // 12 x 8 x 10 cells of user area
    EXPECT_EQ(nz, e.m_n3DSnapNz);
    const std::string name = dir / "cube.sgy";
    ASSERT_EQ(0, e.Save3DSnapshot(name.c_str(), 'C', 10, 20, 15, false));

    CCubeN area = e.GetSampleUserArea();
    C3DSizeN size(nx, ny, nz);
    std::unique_ptr<float[]> pWant(e.Grab3DSnapshot(area, size, 'C'));
    ASSERT_TRUE(pWant);
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str(), 0));
    ASSERT_EQ(nx * ny, f.m_nTraceCount);
    ASSERT_EQ(nz, f.m_nTraceLen);
    EXPECT_NEAR(40, f.m_traseParam[0], 1e-6);
    EXPECT_NEAR(15, f.m_traseParam[2], 1e-6);
    std::vector<float> vOurs((size_t)nx * ny * nz);
    for (int iy = 0; iy < ny; iy++)
        for (int ix = 0; ix < nx; ix++)
        {
            const int t = iy * nx + ix;
            float* tr = vOurs.data() + (size_t)t * nz;
            ASSERT_TRUE(f.GetTrace(t, tr, nz));
            for (int iz = 0; iz < nz; iz++)
            {
                const float w = pWant[((size_t)iz * ny + iy) * nx + ix];
                ASSERT_NEAR(w, tr[iz], fabs(w) * 1e-6) << ix << "," << iy << "," << iz;
            }
        }

    if (system("/usr/bin/python3 -c 'import segyio' >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "segyio is not available to /usr/bin/python3; the cube is not checked there";
    const std::string script =
        "import segyio, numpy as np, sys\n"
        "f = segyio.open(sys.argv[1], ignore_geometry=True)\n"
        "print(f.tracecount, len(f.samples))\n"
        "T = segyio.TraceField\n"
        "for h in f.header:\n"
        "    s = h[T.SourceGroupScalar]\n"
        "    k = 1.0 / -s if s < 0 else (s if s > 0 else 1)\n"
        "    print(h[T.GroupX] * k, h[T.GroupY] * k, h[T.SourceX] * k)\n"
        "np.asarray(f.trace.raw[:], dtype='<f4').tofile(sys.argv[2])\n";
    ASSERT_TRUE(testutil::WriteFile(dir / "check.py", script));
    FILE* p = popen(("/usr/bin/python3 " + dir / "check.py" + " " + name + " " + dir / "raw.bin").c_str(), "r");
    ASSERT_NE(nullptr, p);
    int nTr = 0, nSm = 0;
    ASSERT_EQ(2, fscanf(p, "%d %d", &nTr, &nSm));
    EXPECT_EQ(nx * ny, nTr);
    EXPECT_EQ(nz, nSm);
    for (int t = 0; t < nTr; t++)
    {
        double gx, gy, sx;
        ASSERT_EQ(3, fscanf(p, "%lf %lf %lf", &gx, &gy, &sx));
        EXPECT_NEAR(540 + 10 * (t % nx), gx, 1e-3);
        EXPECT_NEAR(740 + 20 * (t / nx), gy, 1e-3);
        EXPECT_NEAR(600, sx, 1e-3);
    }
    EXPECT_EQ(0, pclose(p));
    const std::string raw = ReadFile(dir / "raw.bin");
    ASSERT_EQ((size_t)nx * ny * nz * 4, raw.size());
    const float* pRaw = (const float*)raw.data();
    for (size_t k = 0; k < vOurs.size(); k++)
        ASSERT_EQ(vOurs[k], pRaw[k]) << k;
}

// Which shots and times give cubes: a 0 in the list selects every shot, a
// time of 0 never falls due, two times in one step give the first only, and
// an unknown letter writes nothing under its name.
TEST(Snapshot3D, ShotsTimesAndComponents)
{
    struct Case
    {
        std::vector<int> vShots;
        int nShot;
        bool bWrites;
    };
    const Case cases[] = {{{3, 0, 7}, 5, true}, {{3, 7}, 7, true}, {{3, 7}, 5, false}, {{0}, 2, true}};
    for (const Case& c : cases)
    {
        TempDir dir;
        OmpTestGrid g(14, 14, 14, 101);
        CCalc3D_OMP& e = g.E();
        e.m_nTaper = 3;
        ASSERT_EQ(0, e.AllocateMemory(false, true));
        e.m_cubeGrid = CCubeR(0, 0, 0, 130, 130, 130);
        g.app->m_strOutputDir = (dir.path() + "/").c_str();
        g.app->m_strModelPW = "m.sgy";
        e.m_nShot = c.nShot;
        e.m_tEnd = 0.2;
        e.m_vSnapShots = c.vShots;
        e.m_vSnapTimes = {0.0, 0.101, 0.105, 0.3};
        strcpy(e.m_szSnapComponents, "CQX");
        ASSERT_EQ(0, e.Init3DSnapshots());
        for (e.m_tCur = 0.0; e.m_tCur < 0.2; e.m_tCur += 0.01)
            ASSERT_EQ(0, e.Save3DSnapshots());
        const std::string base = dir.path() + "/m+3DSnap3DAPU";
        EXPECT_EQ(c.bWrites, FileExists(base + "c(t=0.101)-" + std::to_string(c.nShot) + ".sgy"));
        EXPECT_EQ(c.bWrites, FileExists(base + "x(t=0.101)-" + std::to_string(c.nShot) + ".sgy"));
        EXPECT_FALSE(FileExists(base + "Q(t=0.101)-" + std::to_string(c.nShot) + ".sgy"));
        EXPECT_FALSE(FileExists(base + "c(t=0.105)-" + std::to_string(c.nShot) + ".sgy"));
        EXPECT_FALSE(FileExists(base + "c(t=0)-" + std::to_string(c.nShot) + ".sgy"));
    }
}

// ---------------------------------------------------------------- whole runs

const std::string kProgram = std::string(ONDEX_BINARY_DIR) + "/ondex";
const double kC = 2000, kDx = 10, kDt = 0.002;

struct JobRun
{
    int nStatus = -1;
    std::string strLog;
};

// A homogeneous model of n^3 nodes from 0 with step 10 m, c = 2000 m/s,
// shots at the given x in the middle of y and z, receivers on a line.
JobRun RunJob(const std::string& dir, int n, double t1, const std::vector<double>& vShotX, const std::string& extra,
              double dFreq = 25)
{
    JobRun r;
    const double mid = kDx * (n - 1) / 2;
    auto vp = [](double, double, double) { return (float)kC; };
    auto rho = [](double, double, double) { return 2000.0f; };
    std::string survey;
    char line[256];
    for (size_t s = 0; s < vShotX.size(); s++)
        for (int k = 0; k < 3; k++)
        {
            snprintf(line, sizeof(line), "%g %g %g %g %g 0 1 %d %d\n", vShotX[s], mid, mid, mid + 40 * (k - 1), mid,
                     k + 1, (int)s + 1);
            survey += line;
        }
    char job[2048];
    snprintf(job, sizeof(job),
             "[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = 3D Acoustic\n"
             "Model Name = vp.sgy\nFileModelD = rho.sgy\nSmooth Model = 0\n"
             "[Survey]\nGeometry = survey.txt\nt0 = 0\nt1 = %g\ndt = %g\n"
             "[Mesh]\ndx = %g\ndt = %g\n[Source]\nType = 0\nFrequency = %g\nSignal = 1\n%s",
             t1, kDt, kDx, kDt, dFreq, extra.c_str());
    if (!model_test::WriteCube(dir + "/vp.sgy", n, n, n, kDx, 0, 0, 0, vp)
        || !model_test::WriteCube(dir + "/rho.sgy", n, n, n, kDx, 0, 0, 0, rho)
        || !model_test::WriteText(dir + "/survey.txt", survey) || !model_test::WriteText(dir + "/runtask.ini", job))
        return r;
    std::string out;
    r.nStatus = testutil::Run("cd '" + dir + "' && '" + kProgram + "'", out);
    r.strLog = ReadFile(dir + "/Ondex-0.log");
    return r;
}

// The wave field a snapshot due at t shows: that of the end of the first
// step whose loop time, accumulated from -2/f, has reached t; the pressure
// there stands half a step later (as the gather tests find).
double SnapshotTime(double t, double dFreq)
{
    double tCur = -2 / dFreq;
    while (tCur < t)
        tCur += kDt;
    return tCur + kDt / 2;
}

// The radius, along one ray from the source, of the zero of the pressure
// between its two main lobes: the pressure of a point source of rate
// Ricker(t) follows Ricker'(t - r/c) / r, which is zero at r = c*t. The
// lobes lie 38 m either side at 12.5 Hz, the next zeros 62 m; the search
// runs 50 m either side.
template <class F>
double ZeroRadius(F value, double ct)
{
    double rMax = 0, rMin = 0, vMax = -1e30, vMin = 1e30;
    for (double r = ct - 50; r <= ct + 50; r += 1)
    {
        const double v = value(r);
        if (v > vMax)
            vMax = v, rMax = r;
        if (v < vMin)
            vMin = v, rMin = r;
    }
    const double ra = std::min(rMax, rMin), rb = std::max(rMax, rMin);
    double prev = value(ra);
    for (double r = ra + 0.25; r <= rb; r += 0.25)
    {
        const double v = value(r);
        if ((prev < 0) != (v < 0))
            return r - 0.25 + 0.25 * prev / (prev - v);
        prev = v;
    }
    return -1;
}

class SnapshotRun : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!FileExists(kProgram))
            GTEST_SKIP() << "the program is not built: " << kProgram;
    }
};

TEST_F(SnapshotRun, WavefrontAtRadiusCtInFilmAndCube)
{
    TempDir dir;
    const int n = 41;
    const double mid = 200, f0 = 12.5;
    JobRun run = RunJob(dir.path(), n, 0.065, {mid},
                        "[Snapshot]\nEvery = 1\nt0 = 0.035\ndt = 0.025\n"
                        "[3DSnapshot]\ndx = 10\ndy = 10\ndz = 10\nComponents = C\nShots = 1\nTimes = 0.05\n",
                        f0);
    ASSERT_EQ(0, run.nStatus) << run.strLog;

    // Film: two rows, at 35 and 60 ms; pressure is the fourth component.
    Film f;
    std::string film = dir / "vp+Snap3DAPU.vmg";
    if (!FileExists(film))
        film = dir / "vp+Snap3DAPU-1.vmg";
    ASSERT_TRUE(ReadFilm(film, f)) << run.strLog;
    ASSERT_EQ(2, f.h.n3);
    EXPECT_FLOAT_EQ(0.035f, f.h.rT0);
    EXPECT_FLOAT_EQ(0.06f, f.h.rT1);
    for (int k = 0; k < 2; k++)
    {
        const double ct = kC * SnapshotTime(0.035 + 0.025 * k, f0);
        for (int a = 0; a < 24; a++)
        {
            const double th = a * M_PI / 12;
            auto value = [&](double r) {
                const double u = (mid + r * cos(th) - f.h.rX0) / f.h.rDX, w = (mid + r * sin(th) - f.h.rZ0) / f.h.rDZ;
                const int i = (int)u, j = (int)w;
                const double fu = u - i, fw = w - j;
                return (1 - fw) * ((1 - fu) * f.At(k, j, i, 3) + fu * f.At(k, j, i + 1, 3))
                       + fw * ((1 - fu) * f.At(k, j + 1, i, 3) + fu * f.At(k, j + 1, i + 1, 3));
            };
            EXPECT_NEAR(ct, ZeroRadius(value, ct), kDx) << "film row " << k << " angle " << a * 15;
        }
    }

    // Cube at 50 ms, read through our reader: 41^3 samples on the nodes.
    CSdsPC cube;
    ASSERT_TRUE(cube.OnOpen((dir / "vp+3DSnap3DAPUc(t=0.05)-1.sgy").c_str(), 0)) << run.strLog;
    const double ct = kC * SnapshotTime(0.05, f0);
    ASSERT_EQ(n * n, cube.m_nTraceCount);
    ASSERT_EQ(n, cube.m_nTraceLen);
    std::vector<float> c((size_t)n * n * n);
    for (int t = 0; t < n * n; t++)
        ASSERT_TRUE(cube.GetTrace(t, c.data() + (size_t)t * n, n));   // trace t = iy * n + ix, depth fastest
    auto at = [&](int ix, int iy, int iz) { return (double)c[((size_t)iy * n + ix) * n + iz]; };
    for (int dz = -1; dz <= 1; dz++)
        for (int dy = -1; dy <= 1; dy++)
            for (int dx = -1; dx <= 1; dx++)
            {
                const double len = sqrt(dx * dx + dy * dy + dz * dz);
                if (len == 0)
                    continue;
                auto value = [&](double r) {
                    const double p[3] = {(mid + r * dx / len) / kDx, (mid + r * dy / len) / kDx,
                                         (mid + r * dz / len) / kDx};
                    const int i[3] = {(int)p[0], (int)p[1], (int)p[2]};
                    double s = 0;
                    for (int m = 0; m < 8; m++)
                    {
                        double w = 1;
                        for (int a = 0; a < 3; a++)
                            w *= (m >> a & 1) ? p[a] - i[a] : 1 - (p[a] - i[a]);
                        s += w * at(i[0] + (m & 1), i[1] + (m >> 1 & 1), i[2] + (m >> 2 & 1));
                    }
                    return s;
                };
                EXPECT_NEAR(ct, ZeroRadius(value, ct), kDx) << "ray " << dx << "," << dy << "," << dz;
            }
}

// Every second shot of three keeps a film; the merged file holds their frames.
TEST_F(SnapshotRun, EveryNthShotGetsAFrame)
{
    TempDir dir;
    JobRun run = RunJob(dir.path(), 21, 0.03, {60, 100, 140}, "[Snapshot]\nEvery = 2\nt0 = 0.01\ndt = 0.01\n");
    ASSERT_EQ(0, run.nStatus) << run.strLog;
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen((dir / "vp+Snap3DAPU.vmg").c_str(), 0)) << run.strLog;
    EXPECT_EQ(2, f.m_nMaxPart);
    ASSERT_EQ(2 * 21, f.m_nTraceCount);
    C3DPointR src, rec;
    ASSERT_TRUE(f.GetCoord(0, src, rec));
    EXPECT_NEAR(60, src.x, 1e-3);
    ASSERT_TRUE(f.GetCoord(21, src, rec));
    EXPECT_NEAR(140, src.x, 1e-3);
}

// Settings that cannot give a snapshot are said in the log and cost no
// gather: a plane off the grid, a time beyond the record, an unknown letter,
// a cube whose name is taken by a folder. With no film of any shot the
// merge of films at the end finds nothing and the run ends with its 1.
TEST_F(SnapshotRun, BadSettingsKeepTheGathers)
{
    TempDir dir;
    ASSERT_EQ(0, mkdir((dir / "vp+3DSnap3DAPUx(t=0.02)-1.sgy").c_str(), 0755));
    JobRun run = RunJob(dir.path(), 21, 0.03, {100},
                     "[Snapshot]\nEvery = 1\nt0 = 0.01\ndt = 0.01\nY Offset = 5000\n"
                     "[3DSnapshot]\nComponents = CQX\nShots = 0\nTimes = 0.02 7.5\n");
    EXPECT_EQ(1, run.nStatus) << run.strLog;
    for (const char* w : {"Warning! The 2D snapshot plane (Y Offset 5000 m) lies outside the grid of shot 1",
                          "Warning! The 3D snapshot time 7.5 s lies outside the modelled times",
                          "Warning! Unknown 3D snapshot component 'Q'", "Warning! Unable to write the 3D snapshot"})
        EXPECT_NE(std::string::npos, run.strLog.find(w)) << w << "\n" << run.strLog;
    EXPECT_TRUE(FileExists(dir / "vp+3DSnap3DAPUc(t=0.02)-1.sgy"));
    EXPECT_FALSE(FileExists(dir / "vp+Snap3DAPU-1.vmg"));
    for (const char* g : {"vp+Gath3DAPUc.sgy", "vp+Gath3DAPUx.sgy", "vp+Gath3DAPUy.sgy", "vp+Gath3DAPUz.sgy"})
        EXPECT_EQ(3u, model_test::ReadGather(dir / g).size()) << g;
}

// A film that cannot be written ends the shot with the code 1 and a line
// that names the file.
TEST_F(SnapshotRun, UnwritableFilmStopsTheShot)
{
    TempDir dir;
    // A folder with something in it: the shot's start removes an old film.
    ASSERT_EQ(0, mkdir((dir / "vp+Snap3DAPU-1.vmg").c_str(), 0755));
    ASSERT_TRUE(testutil::WriteFile(dir / "vp+Snap3DAPU-1.vmg/keep", "x"));
    JobRun run = RunJob(dir.path(), 21, 0.03, {100}, "[Snapshot]\nEvery = 1\nt0 = 0.01\ndt = 0.01\n");
    EXPECT_NE(0, run.nStatus);
    EXPECT_NE(std::string::npos, run.strLog.find("Error! Unable to write the 2D snapshot (t=0.01) to file"))
        << run.strLog;
}

} // namespace
