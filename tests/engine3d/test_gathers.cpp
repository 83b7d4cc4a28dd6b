// Shot gathers and time fields as files: headers read back by raw bytes
// (big-endian, offsets of the SEG-Y layout) and, where segyio is at hand,
// through that independent reader; the order of SaveResults and its codes.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <sys/wait.h>
#include <vector>

#include "FakeEngine.h"
#include "files/SdsPC.h"
#include "files/sdspc_testutil.h"

namespace
{

using sdspc_test::FileExists;
using sdspc_test::ReadBytes;
using sdspc_test::TempDir;

int32_t Be32(const std::vector<unsigned char>& b, size_t off)
{
    return (int32_t)((uint32_t)b[off] << 24 | (uint32_t)b[off + 1] << 16 | (uint32_t)b[off + 2] << 8 | b[off + 3]);
}

int16_t Be16(const std::vector<unsigned char>& b, size_t off)
{
    return (int16_t)(b[off] << 8 | b[off + 1]);
}

// IBM single precision, decoded from its definition.
double Ibm(const std::vector<unsigned char>& b, size_t off)
{
    const uint32_t u = (uint32_t)Be32(b, off);
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
    std::vector<float> m_vTime[2];
    std::string m_strGrabbed;
    float* GrabShotgather(char c) override
    {
        m_strGrabbed += c;
        const int k = c == 'X' ? 0 : c == 'Y' ? 1 : c == 'Z' ? 2 : c == 'C' ? 3 : 2;
        return m_vSeis[k].empty() ? nullptr : m_vSeis[k].data();
    }
    float* GrabTimeField(int n) override
    {
        return n >= 0 && n < 2 && !m_vTime[n].empty() ? m_vTime[n].data() : nullptr;
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
        app.m_Type = 101;
        app.m_t0 = 0.1;
        app.m_dt = 0.002;
        app.m_strModelPW = "salt.sgy";
        app.m_strOutputDir = dir.path().c_str();
        app.m_strOutputDir += "/";
        eng.m_nSourceType = 3;
        eng.m_nShot = 7;
        eng.m_ptShot = C3DPointR(250.4, 300.6, 12.5);
        eng.m_nSeisLen = nLen;
        eng.m_nTraces = nRcv;
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
    EXPECT_EQ(1, Be16(b, 3224));         // IBM floats
    EXPECT_EQ(5, Be16(b, 3220));         // samples
    EXPECT_EQ(2000, Be16(b, 3216));      // 2 ms in microseconds
    for (int k = 0; k < 3; k++)
    {
        SCOPED_TRACE(k);
        const size_t h = TraceOffset(k, 5);
        EXPECT_EQ(k + 1, Be32(b, h + 0));
        EXPECT_EQ(k + 1, Be32(b, h + 4));
        EXPECT_EQ(7, Be32(b, h + 8));        // no file id: the shot
        EXPECT_EQ(k + 1, Be32(b, h + 12));   // no trace id: k
        EXPECT_EQ(7, Be32(b, h + 16));
        EXPECT_EQ(k + 1, Be32(b, h + 20));
        EXPECT_EQ(k + 1, Be32(b, h + 24));
        EXPECT_EQ(1, Be16(b, h + 28));
        EXPECT_EQ(1, Be16(b, h + 34));
        const double rx = 100.0 + 50.0 * k;
        EXPECT_EQ((int)floor((float)rx - 250.4f), Be32(b, h + 36));   // signed X offset
        EXPECT_EQ(-5, Be32(b, h + 40));      // nearest of -4.6
        EXPECT_EQ(-12, Be32(b, h + 44));     // nearest of -12.5 is floor(-12.5 + 0.5)
        EXPECT_EQ(250, Be32(b, h + 72));
        EXPECT_EQ(301, Be32(b, h + 76));
        EXPECT_EQ((int)rx, Be32(b, h + 80));
        EXPECT_EQ(320, Be32(b, h + 84));
        EXPECT_EQ(1, Be16(b, h + 88));
        EXPECT_EQ(5, Be16(b, h + 114));
        EXPECT_EQ(2000, Be16(b, h + 116));
        EXPECT_EQ((int)rx, Be32(b, h + 180));
        EXPECT_EQ(320, Be32(b, h + 184));
        EXPECT_EQ(k + 1, Be32(b, h + 188));
        EXPECT_EQ(k + 1, Be32(b, h + 192));
        for (int j = 0; j < 5; j++)
            EXPECT_NEAR(f.eng.m_vSeis[3][j * 3 + k], Ibm(b, h + 240 + 4 * j), 1e-3) << "sample " << j;
    }
    EXPECT_EQ("C", f.eng.m_strGrabbed);
}

// Survey numbers: inline and crossline at 188/192, ids at 12 and 8 where
// they are >= 0, the shot id of the survey at 16.
TEST(Gathers, SurveyNumbersRewriteTheHeaders)
{
    GatherFixture f(3, 4);
    f.eng.m_vRcvInline = {11, 12, 13};
    f.eng.m_vRcvCrossline = {21, 22, 23};
    f.eng.m_vRcvTraceId = {5, -1, 9};
    f.eng.m_vRcvFileId = {-1, 40, 41};
    f.app.m_Survey.m_vShotPoints = {C3DPointR(0, 0, 0), C3DPointR(1, 1, 1)};
    f.app.m_Survey.m_vShotIds = {900, 901};
    f.app.m_Survey.m_nActiveShotIndex = 1;
    f.app.m_Survey.m_nActiveShotId = 77;
    const std::string name = f.dir / "ids.sgy";
    ASSERT_EQ(0, f.eng.SaveShotgather(name.c_str(), 'Z'));
    const std::vector<unsigned char> b = ReadBytes(name);
    ASSERT_EQ(3600 + 3 * (240 + 16), b.size());
    const int trace[3] = {5, 2, 9}, file[3] = {7, 40, 41};
    for (int k = 0; k < 3; k++)
    {
        SCOPED_TRACE(k);
        const size_t h = TraceOffset(k, 4);
        EXPECT_EQ(file[k], Be32(b, h + 8));
        EXPECT_EQ(trace[k], Be32(b, h + 12));
        EXPECT_EQ(901, Be32(b, h + 16));
        EXPECT_EQ(11 + k, Be32(b, h + 188));
        EXPECT_EQ(21 + k, Be32(b, h + 192));
        EXPECT_EQ(k + 1, Be32(b, h + 0));
        for (int j = 0; j < 4; j++)
            EXPECT_NEAR(f.eng.m_vSeis[2][j * 3 + k], Ibm(b, h + 240 + 4 * j), 1e-3);
    }
}

// Survey ids that do not match the shot list: the active shot id instead.
// Line numbers with one of the pair at 0 everywhere do not count.
TEST(Gathers, SourcePointFallsBackToActiveShotId)
{
    GatherFixture f(2, 3);
    f.eng.m_vRcvInline = {3, 4};
    f.eng.m_vRcvCrossline = {0, 0};
    f.eng.m_vRcvTraceId = {1, 2};
    f.app.m_Survey.m_vShotPoints = {C3DPointR(0, 0, 0)};
    f.app.m_Survey.m_vShotIds.clear();
    f.app.m_Survey.m_nActiveShotIndex = 0;
    f.app.m_Survey.m_nActiveShotId = 77;
    const std::string name = f.dir / "sp.sgy";
    ASSERT_EQ(0, f.eng.SaveShotgather(name.c_str(), 'X'));
    const std::vector<unsigned char> b = ReadBytes(name);
    for (int k = 0; k < 2; k++)
    {
        const size_t h = TraceOffset(k, 3);
        EXPECT_EQ(77, Be32(b, h + 16));
        EXPECT_EQ(k + 1, Be32(b, h + 12));
        EXPECT_EQ(k + 1, Be32(b, h + 188));   // the line numbers did not count
        EXPECT_EQ(k + 1, Be32(b, h + 192));
    }
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

TEST(Gathers, SaveResultsWritesFourComponentsInOrder)
{
    GatherFixture f(2, 3);
    ASSERT_EQ(0, f.eng.SaveResults());
    EXPECT_EQ("ZXYC", f.eng.m_strGrabbed);
    for (const char* c : {"x", "y", "z", "c"})
    {
        const std::string name = f.dir / (std::string("salt+Gath3DAPZ") + c + "-7.sgy");
        EXPECT_TRUE(FileExists(name)) << name;
    }
}

TEST(Gathers, SaveResultsStopsAfterAFailedZ)
{
    GatherFixture f(2, 3);
    f.eng.m_vSeis[2].clear();
    EXPECT_EQ(-1, f.eng.SaveResults());
    EXPECT_EQ("Z", f.eng.m_strGrabbed);
    EXPECT_FALSE(FileExists(f.dir / "salt+Gath3DAPZx-7.sgy"));

    // A later failure does not stop the others; the codes are joined.
    GatherFixture g(2, 3);
    g.eng.m_vSeis[0].clear();
    EXPECT_EQ(-1, g.eng.SaveResults());
    EXPECT_EQ("ZXYC", g.eng.m_strGrabbed);
    EXPECT_TRUE(FileExists(g.dir / "salt+Gath3DAPZc-7.sgy"));
}

// Time fields: one trace per (x, y) node of the field, along depth, with the
// node positions and the shot in the headers.
TEST(Gathers, TimeFieldsFollowTheGathers)
{
    GatherFixture f(2, 3);
    CCalc3D& e = f.eng;
    e.m_nx = e.m_ny = e.m_nz = 20;
    e.m_nTaper = 4;
    e.m_nHalo = 2;
    e.m_dx = 10.0;
    e.m_cubeGrid = CCubeR(-40, -40, -40, 150, 150, 150);   // user area from (0, 0, 0)
    e.m_nTimeField = 3;
    e.m_bTimeMerge = true;
    e.m_nTimeNx = 3;
    e.m_nTimeNy = 2;
    e.m_nTimeNz = 4;
    e.m_dTimeDx = e.m_dTimeDy = e.m_dTimeDz = 20.0;
    for (int k = 0; k < 2; k++)
    {
        f.eng.m_vTime[k].resize(3 * 2 * 4);
        for (size_t i = 0; i < f.eng.m_vTime[k].size(); i++)
            f.eng.m_vTime[k][i] = 0.5f * (float)i + k;
    }
    ASSERT_EQ(0, f.eng.SaveResults());
    const std::string name = f.dir / "salt+Time3DAPZ(MaxDiv)-7.sgy";
    ASSERT_TRUE(FileExists(f.dir / "salt+Time3DAPZ(MaxEnergy)-7.sgy"));
    ASSERT_TRUE(FileExists(name));
    const std::vector<unsigned char> b = ReadBytes(name);
    ASSERT_EQ(3600 + 6 * (240 + 16), b.size());
    for (int k = 0; k < 6; k++)
    {
        SCOPED_TRACE(k);
        const size_t h = TraceOffset(k, 4);
        EXPECT_EQ(k + 1, Be32(b, h + 0));
        EXPECT_EQ(7, Be32(b, h + 8));
        EXPECT_EQ(20 * (k % 3), Be32(b, h + 80));
        EXPECT_EQ(20 * (k / 3), Be32(b, h + 84));
        EXPECT_EQ(0, Be32(b, h + 40));   // top of the field
        for (int j = 0; j < 4; j++)
            EXPECT_NEAR(f.eng.m_vTime[1][k + j * 6], Ibm(b, h + 240 + 4 * j), 1e-5);
    }
    // A field that the engine does not have: no file, and no failure.
    GatherFixture g(2, 3);
    g.eng.m_nTimeNx = 2;
    g.eng.m_nTimeNy = 2;
    g.eng.m_nTimeNz = 3;
    EXPECT_EQ(0, g.eng.SaveTimeField((g.dir / "t.sgy").c_str(), 0));
    EXPECT_FALSE(FileExists(g.dir / "t.sgy"));
    g.eng.m_nTimeNx = 0;
    EXPECT_EQ(-1, g.eng.SaveTimeField((g.dir / "t.sgy").c_str(), 0));
}

// The same gather read by segyio, an independent SEG-Y reader.
TEST(Gathers, ReadBySegyio)
{
    if (system("/usr/bin/python3 -c 'import segyio' > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "segyio is not available to /usr/bin/python3; the independent read is not checked";
    GatherFixture f(4, 6);
    f.eng.m_vRcvInline = {1, 1, 2, 2};
    f.eng.m_vRcvCrossline = {5, 6, 5, 6};
    const std::string name = f.dir / "seg.sgy";
    ASSERT_EQ(0, f.eng.SaveShotgather(name.c_str(), 'C'));
    const std::string script = f.dir / "read.py";
    FILE* fp = fopen(script.c_str(), "w");
    ASSERT_NE(nullptr, fp);
    fputs("import sys, segyio\n"
          "with segyio.open(sys.argv[1], ignore_geometry=True) as s:\n"
          "    print(len(s.trace), len(s.samples), s.samples[0], s.samples[1])\n"
          "    for i in range(len(s.trace)):\n"
          "        h = s.header[i]\n"
          "        print(h[segyio.TraceField.GroupX], h[segyio.TraceField.SourceX], h[segyio.TraceField.offset],\n"
          "              h[segyio.TraceField.INLINE_3D], h[segyio.TraceField.CROSSLINE_3D],\n"
          "              ' '.join('%.6g' % v for v in s.trace[i]))\n",
          fp);
    fclose(fp);
    const std::string out = f.dir / "out.txt";
    ASSERT_EQ(0, system(("/usr/bin/python3 '" + script + "' '" + name + "' > '" + out + "' 2>&1").c_str()));
    FILE* in = fopen(out.c_str(), "r");
    ASSERT_NE(nullptr, in);
    int nTr = 0, nS = 0;
    double s0 = 0, s1 = 0;
    ASSERT_EQ(4, fscanf(in, "%d %d %lf %lf", &nTr, &nS, &s0, &s1));
    EXPECT_EQ(4, nTr);
    EXPECT_EQ(6, nS);
    // segyio's axis starts at the recording delay; only its step is ours.
    EXPECT_NEAR(2.0, s1 - s0, 1e-9);
    for (int k = 0; k < 4; k++)
    {
        int gx = 0, sx = 0, off = 0, il = 0, xl = 0;
        ASSERT_EQ(5, fscanf(in, "%d %d %d %d %d", &gx, &sx, &off, &il, &xl));
        EXPECT_EQ(100 + 50 * k, gx);
        EXPECT_EQ(250, sx);
        EXPECT_EQ((int)floor((float)(100 + 50 * k) - 250.4f), off);
        EXPECT_EQ(f.eng.m_vRcvInline[k], il);
        EXPECT_EQ(f.eng.m_vRcvCrossline[k], xl);
        for (int j = 0; j < 6; j++)
        {
            double v = 0;
            ASSERT_EQ(1, fscanf(in, "%lf", &v));
            EXPECT_NEAR(f.eng.m_vSeis[3][j * 4 + k], v, 1e-3);
        }
    }
    fclose(in);
}

} // namespace
