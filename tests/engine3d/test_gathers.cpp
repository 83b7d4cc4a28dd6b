// Shot gathers and time fields as files: headers read back by raw bytes
// (big-endian, offsets of the SEG-Y layout) and, where segyio is at hand,
// through that independent reader; the order of SaveResults and its codes.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "FakeEngine.h"
#include "files/SdsPC.h"
#include "files/files_test_util.h"

namespace
{

using sdspc_test::FileExists;
using sdspc_test::ReadBytes;
using sdspc_test::TempDir;
using sdspc_test::be16;
using sdspc_test::be32;

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
    EXPECT_EQ(1, be16(b, 3224));         // IBM floats
    EXPECT_EQ(5, be16(b, 3220));         // samples
    EXPECT_EQ(2000, be16(b, 3216));      // 2 ms in microseconds
    for (int k = 0; k < 3; k++)
    {
        SCOPED_TRACE(k);
        const size_t h = TraceOffset(k, 5);
        EXPECT_EQ(7, be32(b, h + 8));        // no file id: the shot
        EXPECT_EQ(k + 1, be32(b, h + 12));   // no trace id: k
        const double rx = 100.0 + 50.0 * k;
        EXPECT_EQ((int)floor((float)rx - 250.4f), be32(b, h + 36));   // signed X offset
        EXPECT_EQ(-5, be32(b, h + 40));      // nearest of -4.6
        EXPECT_EQ(-12, be32(b, h + 44));     // nearest of -12.5 is floor(-12.5 + 0.5)
        EXPECT_EQ(250, be32(b, h + 72));
        EXPECT_EQ(301, be32(b, h + 76));
        EXPECT_EQ((int)rx, be32(b, h + 80));
        EXPECT_EQ(320, be32(b, h + 84));
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
