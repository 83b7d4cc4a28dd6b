// Result files. Shot gathers: headers read back by raw
// bytes (big-endian, offsets of the SEG-Y layout) and, where segyio is at
// hand, through that independent reader; the codes of the gather writer.
// 2D snapshot films and 3D snapshot cubes: rows, times and samples of a film
// against fields given by formulas, a cube written and read back (here and
// by segyio), the selection of shots and times, and whole runs of the
// program: the wavefront of a homogeneous shot at radius c*t in film and
// cube, and bad settings that must cost no gather.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <vector>

#include "FakeEngine.h"
#include "ModelTestUtil.h"
#include "OmpTestGrid.h"
#include "common/TestUtil.h"
#include "engine3d/common.h"
#include "files/SdsPC.h"
#include "files/VmgFormat.h"
#include "files/files_test_util.h"

namespace
{

using sdspc_test::FileExists;
using sdspc_test::ReadBytes;
using sdspc_test::TempDir;
using sdspc_test::be16;
using sdspc_test::be32;
using testutil::ReadFile;

// IBM single precision, decoded from its definition.
double Ibm(const std::vector<unsigned char>& b, size_t off)
{
    const uint32_t u = (uint32_t)be32(b, off);
    const double sign = (u >> 31) ? -1.0 : 1.0;
    const int exp = (int)((u >> 24) & 0x7f) - 64;
    const double frac = (u & 0xffffff) / 16777216.0;
    return sign * frac * pow(16.0, exp);
}

// An engine whose recorded seismograms are set by the test.
class CGatherEngine : public CFakeEngine
{
public:
    explicit CGatherEngine(COndexApp& app) : CFakeEngine(app) {}
    std::vector<float> m_vSeis[4];   // X, Y, Z, C
    std::string m_strGrabbed;
    float* GrabShotgather(char c) override
    {
        m_strGrabbed += c;
        const int k = c == 'X' ? 0 : c == 'Y' ? 1 : c == 'Z' ? 2 : c == 'C' ? 3 : 2;
        return m_vSeis[k].empty() ? nullptr : m_vSeis[k].data();
    }
};

struct GatherFixture
{
    TempDir dir;
    COndexApp app;
    CGatherEngine eng{app};

    // n receivers along x from 100 m, source at (250.4, 300.6, 12.5).
    GatherFixture(int nRcv, size_t nLen)
    {
        app.m_Type = 101, app.m_t0 = 0.1, app.m_dt = 0.002;
        app.m_strModelPW = "salt.sgy";
        app.m_strOutputDir = dir.path().c_str();
        app.m_strOutputDir += "/";
        eng.m_nSourceType = 3, eng.m_nShot = 7, eng.m_nSeisLen = nLen, eng.m_nTraces = nRcv;
        eng.m_ptShot = C3DPointR(250.4, 300.6, 12.5);
        for (int i = 0; i < nRcv; i++)
        {
            eng.m_vRcvCells.push_back(1000 + i);
            eng.m_vRcvPoints.push_back(C3DPointR(100.0 + 50.0 * i, 320.2, 4.6));
            eng.m_vRcvInline.push_back(0);
            eng.m_vRcvCrossline.push_back(0);
            eng.m_vRcvTraceId.push_back(-1);
            eng.m_vRcvFileId.push_back(-1);
        }
        // Sample j of receiver i at j * n + i: a value that names both.
        for (int k = 0; k < 4; k++)
        {
            eng.m_vSeis[k].resize(nRcv * nLen);
            for (size_t j = 0; j < nLen; j++)
                for (int i = 0; i < nRcv; i++)
                    eng.m_vSeis[k][j * nRcv + i] = (float)((k + 1) * 1000 + i * 10 + j) * (j % 2 ? -1.0f : 1.0f);
        }
    }
};

const size_t kTr = 3600;          // first trace header
size_t TraceOffset(size_t k, size_t nLen) { return kTr + k * (240 + 4 * nLen); }

TEST(Gathers, HeadersAndSamplesWithoutSurveyNumbers)
{
    GatherFixture f(3, 5);
    const std::string name = f.dir / "g.sgy";
    ASSERT_EQ(0, f.eng.SaveShotgather(name.c_str(), 'C'));
    const std::vector<unsigned char> b = ReadBytes(name);
    ASSERT_EQ(3600 + 3 * (240 + 4 * 5), b.size());
    EXPECT_EQ(1, be16(b, 3224));         // IBM floats
    EXPECT_EQ(5, be16(b, 3220));         // samples
    EXPECT_EQ(2000, be16(b, 3216));      // 2 ms in microseconds
    for (int k = 0; k < 3; k++)
    {
        SCOPED_TRACE(k);
        const size_t h = TraceOffset(k, 5);
        EXPECT_EQ(7, be32(b, h + 8));        // no file id: the shot
        EXPECT_EQ(k + 1, be32(b, h + 12));   // no trace id: k
        // Signed offsets x, y (nearest of -4.6), z (nearest of -12.5 is
        // floor(-12.5 + 0.5)); source x, y; receiver x, y.
        const double rx = 100.0 + 50.0 * k;
        const int want[] = {(int)floor((float)rx - 250.4f), -5, -12, 250, 301, (int)rx, 320},
                  at[] = {36, 40, 44, 72, 76, 80, 84};
        for (int i = 0; i < 7; i++)
            EXPECT_EQ(want[i], be32(b, h + at[i])) << "byte " << at[i];
        for (int j = 0; j < 5; j++)
            EXPECT_NEAR(f.eng.m_vSeis[3][j * 3 + k], Ibm(b, h + 240 + 4 * j), 1e-3) << "sample " << j;
    }
    EXPECT_EQ("C", f.eng.m_strGrabbed);
}

TEST(Gathers, FailureCodes)
{
    GatherFixture f(2, 3);
    // No seismogram from the engine.
    f.eng.m_vSeis[1].clear();
    EXPECT_EQ(-1, f.eng.SaveShotgather((f.dir / "y.sgy").c_str(), 'Y'));
    EXPECT_FALSE(FileExists(f.dir / "y.sgy"));
    // One sample: the writer refuses it.
    GatherFixture g(2, 1);
    EXPECT_EQ(1, g.eng.SaveShotgather((g.dir / "one.sgy").c_str(), 'C'));
    // No receivers.
    GatherFixture h(0, 3);
    EXPECT_EQ(-1, h.eng.SaveShotgather((h.dir / "none.sgy").c_str(), 'C'));
    // A receiver list shorter than the count must not be read beyond.
    std::vector<C3DPointR> vShort(1);
    std::vector<float> data(2 * 3, 1.0f);
    EXPECT_EQ(-1, f.eng.SaveShotgatherBuf((f.dir / "short.sgy").c_str(), 2, 3, data.data(), vShort, nullptr,
                                          nullptr, nullptr, nullptr));
}

// A gather that grew without bound is written, and said to be broken.
TEST(Gathers, NonFiniteSamplesAreReported)
{
    GatherFixture f(2, 3);
    f.eng.m_vSeis[3][4] = std::numeric_limits<float>::quiet_NaN();
    f.eng.m_vSeis[3][5] = -std::numeric_limits<float>::infinity();
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(0, f.eng.SaveShotgather((f.dir / "bad.sgy").c_str(), 'C'));
    const std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(std::string::npos, out.find("2 samples of")) << out;
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(0, f.eng.SaveShotgather((f.dir / "good.sgy").c_str(), 'X'));
    EXPECT_EQ(std::string::npos, ::testing::internal::GetCapturedStdout().find("not finite"));
}

bool HasSegyio() { return system("/usr/bin/python3 -c 'import segyio' > /dev/null 2>&1") == 0; }

// A SEG-Y file as segyio, an independent reader, sees it: the sample step,
// and per trace GroupX, GroupY, SourceX (scaled), offset, inline,
// crossline, then the samples (printed so as to read back to the same
// float bits). False when segyio does not read it.
bool Segyio(const std::string& file, double& dStep, std::vector<std::vector<double>>& v)
{
    const std::string script = file + ".py";
    std::string out;
    if (!testutil::WriteFile(script, "import sys, segyio\n"
                                      "T = segyio.TraceField\n"
                                      "with segyio.open(sys.argv[1], ignore_geometry=True) as f:\n"
                                      "    print(f.samples[1] - f.samples[0])\n"
                                      "    for i, h in enumerate(f.header):\n"
                                      "        s = h[T.SourceGroupScalar]\n"
                                      "        k = 1.0 / -s if s < 0 else (s if s > 0 else 1)\n"
                                      "        print(h[T.GroupX] * k, h[T.GroupY] * k, h[T.SourceX] * k, h[T.offset],\n"
                                      "              h[T.INLINE_3D], h[T.CROSSLINE_3D],\n"
                                      "              *['%.9g' % x for x in f.trace[i]])\n")
        || testutil::Run("/usr/bin/python3 '" + script + "' '" + file + "'", out) != 0)
        return false;
    std::istringstream in(out);
    in >> dStep;
    v.clear();
    for (std::string line; std::getline(in, line);)
    {
        std::istringstream l(line);
        std::vector<double> row;
        for (double x; l >> x;)
            row.push_back(x);
        if (!row.empty())
            v.push_back(row);
    }
    return true;
}

// The same gather read by segyio.
TEST(Gathers, ReadBySegyio)
{
    if (!HasSegyio())
        GTEST_SKIP() << "segyio is not available to /usr/bin/python3; the independent read is not checked";
    GatherFixture f(4, 6);
    f.eng.m_vRcvInline = {1, 1, 2, 2};
    f.eng.m_vRcvCrossline = {5, 6, 5, 6};
    const std::string name = f.dir / "seg.sgy";
    ASSERT_EQ(0, f.eng.SaveShotgather(name.c_str(), 'C'));
    double dStep = 0;
    std::vector<std::vector<double>> v;
    ASSERT_TRUE(Segyio(name, dStep, v));
    ASSERT_EQ(4u, v.size());
    EXPECT_NEAR(2.0, dStep, 1e-9);   // segyio's axis starts at the recording delay; only its step is ours
    for (int k = 0; k < 4; k++)
    {
        ASSERT_EQ(6u + 6u, v[k].size());
        const double want[6] = {100.0 + 50 * k, 320, 250, floor((float)(100 + 50 * k) - 250.4f),
                                (double)f.eng.m_vRcvInline[k], (double)f.eng.m_vRcvCrossline[k]};
        for (int j = 0; j < 6; j++)
            EXPECT_EQ(want[j], v[k][j]) << "trace " << k << " header value " << j;
        for (int j = 0; j < 6; j++)
            EXPECT_NEAR(f.eng.m_vSeis[3][j * 4 + k], v[k][6 + j], 1e-3);
    }
}

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

// Pressure linear in the cell indices, so that bilinear resampling must
// give it back exactly.
float P(double x, double y, double z) { return (float)(3 * x + 1000 * y + 0.5 * z); }

// Rows and times as the time loop asks for them, the plane at the shot's row
// plus Y Offset, the four components in the order of the letters, and every
// sample the field at the position the header gives it. An engine of 30 x 9
// x 20 cells from (1000, 2000, 0), strips of 6 cells, the shot in column 10,
// row 4, velocities constant.
TEST(Snapshot2D, FilmRowsTimesAndSamples)
{
    struct Case { double dOffset, rStep; int nRow; };   // nRow -1: off the grid, no film
    const Case cases[] = {{0, 10, 4}, {20, 25, 6}, {-40, 10, 1}, {-45, 10, 0}, {44, 10, 8}, {46, 10, -1},
                          {-60, 10, -1}};
    for (const Case& c : cases)
    {
        TempDir dir;
        OmpTestGrid g(30, 9, 20, 101);
        CCalc3D_OMP& e = g.E();
        ASSERT_EQ(0, e.AllocateMemory(false, true));
        e.m_cubeGrid = CCubeR(1000, 2000, 0, 1290, 2080, 190);
        e.m_ptShot = C3DPointR(1100, 2040, 50);
        for (int z = 0; z < 20; z++)
            for (int y = 0; y < 9; y++)
                for (int x = 0; x < 30; x++)
                {
                    const size_t v = g.Index(x, y, z);
                    e.m_pTxx[v] = P(x, y, z), e.m_pUx[v] = 1, e.m_pUy[v] = 2, e.m_pUz[v] = 3;
                }
        e.m_dSnapYOffset = c.dOffset;
        e.m_tSnap0 = e.m_tSnapNext = 0.1;
        e.m_dSnapDt = 0.05;
        const std::string name = dir / "s.vmg";
        for (int k = 0; k < 3; k++, e.m_tSnapNext += e.m_dSnapDt)
            ASSERT_EQ(0, e.AppendVmg2DSnapshot(name.c_str(), 'X', "ZXYC", c.rStep, false)) << c.dOffset;
        Film f;
        if (c.nRow < 0)
        {
            EXPECT_FALSE(FileExists(name)) << c.dOffset;
            continue;
        }
        ASSERT_TRUE(ReadFilm(name, f)) << c.dOffset;
        // User area x 1060..1230, z 60..130.
        const int cx = (int)(170 / c.rStep + 1.5), cy = (int)(70 / c.rStep + 1.5);
        EXPECT_EQ((std::vector<int>{cx, cy, 3, 4}), (std::vector<int>{f.h.n1, f.h.n2, f.h.n3, f.h.nComponents}));
        EXPECT_EQ(0, strncmp(f.h.szComponents, "ZXYC", 4));
        const float want[] = {1060, 1230, 60, 130, 1100, 0.1f, 0.2f},
                    got[] = {f.h.rX0, f.h.rX1, f.h.rZ0, f.h.rZ1, f.h.rSrcX, f.h.rT0, f.h.rT1};
        for (int k = 0; k < 7; k++)
            EXPECT_FLOAT_EQ(want[k], got[k]) << "header value " << k;
        EXPECT_NEAR(0.05, f.h.rDT, 1e-6);
        for (int k = 0; k < 3; k++)
            for (int j = 0; j < cy; j++)
                for (int i = 0; i < cx; i++)
                {
                    const double gx = (f.h.rX0 + i * f.h.rDX - 1000) / 10, gz = (f.h.rZ0 + j * f.h.rDZ) / 10;
                    ASSERT_NEAR(P(gx, c.nRow, gz), f.At(k, j, i, 3), 2e-3) << c.dOffset << " at " << i << "," << j;
                    ASSERT_EQ((std::vector<float>{3 * K, K, 2 * K}),
                              (std::vector<float>{f.At(k, j, i, 0), f.At(k, j, i, 1), f.At(k, j, i, 2)}));
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

    if (!HasSegyio())
        GTEST_SKIP() << "segyio is not available to /usr/bin/python3; the cube is not checked there";
    double dStep = 0;
    std::vector<std::vector<double>> v;
    ASSERT_TRUE(Segyio(name, dStep, v));
    ASSERT_EQ((size_t)nx * ny, v.size());
    for (int t = 0; t < nx * ny; t++)
    {
        ASSERT_EQ(6u + nz, v[t].size());
        EXPECT_NEAR(540 + 10 * (t % nx), v[t][0], 1e-3);
        EXPECT_NEAR(740 + 20 * (t / nx), v[t][1], 1e-3);
        EXPECT_NEAR(600, v[t][2], 1e-3);
        for (int iz = 0; iz < nz; iz++)
            ASSERT_EQ(vOurs[(size_t)t * nz + iz], (float)v[t][6 + iz]) << t << "," << iz;
    }
}

// Which shots and times give cubes: a 0 in the list selects every shot, a
// time of 0 never falls due, two times in one step give the first only, and
// an unknown letter writes nothing under its name.
TEST(Snapshot3D, ShotsTimesAndComponents)
{
    struct Case { std::vector<int> vShots; int nShot; bool bWrites; };
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

struct JobRun { int nStatus = -1; std::string strLog; };

// A homogeneous model of n^3 nodes, shots at the given x in the middle of y
// and z, receivers on a line.
JobRun RunJob(const std::string& dir, int n, double t1, const std::vector<double>& vShotX, const std::string& extra,
              double dFreq = 25)
{
    JobRun r;
    const double mid = kDx * (n - 1) / 2;
    std::string survey;
    char line[256];
    for (size_t s = 0; s < vShotX.size(); s++)
        for (int k = 0; k < 3; k++)
        {
            snprintf(line, sizeof(line), "%g %g %g %g %g 0 1 %d %d\n", vShotX[s], mid, mid, mid + 40 * (k - 1), mid,
                     k + 1, (int)s + 1);
            survey += line;
        }
    r.nStatus = model_test::RunAcoustic(dir, n, 2000.0f, survey, t1, kDt, dFreq, extra, r.strLog);
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

class SnapshotRun : public testutil::NeedsProgram
{
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
