// Trace access: decoding of every sample format, padding, resampling against
// analytic values, writing in place, trace headers and geometry queries.
#include <gtest/gtest.h>

#include <cmath>

#include "files/SdsPC.h"
#include "sdspc_testutil.h"

using namespace sdspc_test;

namespace {

// One SEG-Y trace of raw 32-bit words (big-endian) with the given format code.
std::vector<unsigned char> RawWordsSgy(int format, const std::vector<uint32_t>& words, int nTraces = 2)
{
    RawSgy s;
    s.format = 2;  // build as int32, then patch the code and words
    s.ns = (int)words.size();
    for (int k = 0; k < nTraces; k++) {
        RawTrace t;
        t.samples.assign(words.size(), 0.0f);
        s.traces.push_back(t);
    }
    auto b = BuildSgy(s);
    Put16(b, 3224, format, true);
    for (int k = 0; k < nTraces; k++)
        for (size_t i = 0; i < words.size(); i++)
            Put32(b, 3600 + k * (240 + 4 * words.size()) + 240 + 4 * i, (int64_t)words[i], true);
    return b;
}

uint32_t Bits(float v)
{
    uint32_t u;
    memcpy(&u, &v, 4);
    return u;
}

}  // namespace

TEST(SdsPCAccess, IbmDecoding)
{
    TempDir d;
    struct {
        uint32_t word;
        float value;
    } cases[] = {
        {0x41100000, 1.0f},    {0xC1100000, -1.0f},  {0x40800000, 0.5f},   {0x42640000, 100.0f},
        {0xC276A000, -118.625f}, {0x7F000000, 0.0f}, {0x00000000, 0.0f},   {0x80000000, 0.0f},
        {0x3F100000, 1.0f / 256.0f}, {0x46FFFFFF, 16777215.0f},
    };
    std::vector<uint32_t> words;
    for (auto& c : cases) words.push_back(c.word);
    CSdsPC f;
    ASSERT_TRUE(WriteAndOpen(f, d / "ibm.sgy", RawWordsSgy(1, words)));
    std::vector<float> buf(words.size());
    ASSERT_TRUE(f.GetTrace(1, buf.data(), (int)buf.size()));
    for (size_t i = 0; i < words.size(); i++) EXPECT_EQ(buf[i], cases[i].value) << std::hex << cases[i].word;
}

TEST(SdsPCAccess, IeeeAndKrutojFormats)
{
    TempDir d;
    std::vector<uint32_t> w = {Bits(1.0f), Bits(2.0f), Bits(0.5f), Bits(-0.25f), 0x7FC00000u, 0x7F800000u};
    CSdsPC f;
    ASSERT_TRUE(WriteAndOpen(f, d / "ieee.sgy", RawWordsSgy(5, w)));
    std::vector<float> buf(6);
    ASSERT_TRUE(f.GetTrace(0, buf.data(), 6));
    const float expect[] = {1.0f, 2.0f, 0.5f, -0.25f, 0.0f, 0.0f};  // NaN and infinity read as 0
    for (int i = 0; i < 6; i++) EXPECT_EQ(buf[i], expect[i]) << i;

    CSdsPC g;
    ASSERT_TRUE(WriteAndOpen(g, d / "k4.sgy", RawWordsSgy(4, {1, 2, 3, 4})));
    std::vector<float> z(4, 9.0f);
    ASSERT_TRUE(g.GetTrace(1, z.data(), 4));
    for (float v : z) EXPECT_EQ(v, 0.0f);
}

TEST(SdsPCAccess, HostFloatNanBecomesZero)
{
    TempDir d;
    RawSgy s = LineSgy(2, 4, 6, false, [](int, int i) { return i == 2 ? NAN : (double)i; });
    CSdsPC f;
    ASSERT_TRUE(WriteAndOpen(f, d / "pc.sgy", BuildSgy(s)));
    std::vector<float> buf(4);
    ASSERT_TRUE(f.GetTrace(0, buf.data(), 4));
    EXPECT_EQ(buf[1], 1.0f);
    EXPECT_EQ(buf[2], 0.0f);
    EXPECT_EQ(buf[3], 3.0f);
}

TEST(SdsPCAccess, PaddingAndShortReads)
{
    TempDir d;
    RawSgy s = LineSgy(3, 6, 3, true, [](int, int i) { return (double)(i + 1); });
    s.traces[0].samples = {42.0f};  // one sample in the first trace
    CSdsPC f;
    ASSERT_TRUE(WriteAndOpen(f, d / "pad.sgy", BuildSgy(s)));
    ASSERT_EQ(f.m_nTraceCount, 3);
    std::vector<float> buf(10, -1.0f);
    ASSERT_TRUE(f.GetTrace(1, buf.data(), 10));
    const float longer[] = {1, 2, 3, 4, 5, 6, 6, 6, 6, 6};
    for (int i = 0; i < 10; i++) EXPECT_EQ(buf[i], longer[i]) << i;
    std::vector<float> shortBuf(4);
    ASSERT_TRUE(f.GetTrace(2, shortBuf.data(), 3));
    EXPECT_EQ(shortBuf[2], 3.0f);
    EXPECT_EQ(shortBuf[3], 0.0f);  // nothing written beyond nLen
    ASSERT_TRUE(f.GetTrace(0, buf.data(), 5));
    const float one[] = {42, 0, 0, 0, 0};
    for (int i = 0; i < 5; i++) EXPECT_EQ(buf[i], one[i]) << i;
    EXPECT_FALSE(f.GetTrace(3, buf.data(), 5));
    EXPECT_FALSE(f.GetTrace(-1, buf.data(), 5));
    EXPECT_EQ(buf[0], 0.0f);
}

// A sine sampled every 2 ms, read onto a finer and a coarser axis: linear
// interpolation stays within h^2/8 * max|f''| of the true curve.
TEST(SdsPCAccess, ResampleSineFinerAndCoarser)
{
    TempDir d;
    const double period = 100.0, w = 2 * M_PI / period;
    RawSgy s = LineSgy(2, 251, 5, true, [&](int, int i) { return sin(w * 2.0 * i); });
    CSdsPC f;
    ASSERT_TRUE(WriteAndOpen(f, d / "sine.sgy", BuildSgy(s)));
    ASSERT_DOUBLE_EQ(f.m_traseParam[2], 2.0);
    const double bound = 2.0 * 2.0 / 8.0 * w * w + 1e-6;

    struct {
        double axis[3];
    } axes[] = {{{0, 500, 1}}, {{0.5, 499.5, 0.25}}, {{3, 498, 5}}, {{1, 499, 7}}};
    for (auto& a : axes) {
        int n = (int)((a.axis[1] - a.axis[0]) / a.axis[2] + 1.5);
        std::vector<float> out((size_t)n);
        std::vector<float> tmp(f.m_nTraceLen);
        ASSERT_TRUE(f.GetTrace(1, out.data(), a.axis, tmp.data(), 0.0f));
        for (int i = 0; i < n; i++) {
            double t = a.axis[0] + i * a.axis[2];
            ASSERT_NEAR(out[i], sin(w * t), bound) << "step " << a.axis[2] << " t " << t;
            if (fmod(t, 2.0) == 0.0) {
                ASSERT_NEAR(out[i], sin(w * t), 1e-6) << "on a node, t " << t;
            }
        }
    }
}

TEST(SdsPCAccess, ResampleOutsideAndExact)
{
    TempDir d;
    RawSgy s = LineSgy(1, 51, 3, true, [](int, int i) { return (double)(10 * i); });  // 0..100 ms
    CSdsPC f;
    ASSERT_TRUE(WriteAndOpen(f, d / "ramp.sgy", BuildSgy(s)));
    // Same step, start shifted by half a step: every output is a midpoint.
    double half[3] = {1, 99, 2};
    std::vector<float> out(50);
    ASSERT_TRUE(f.GetTrace(0, out.data(), half, nullptr, 0.0f));
    for (int i = 0; i < 50; i++) EXPECT_FLOAT_EQ(out[i], 10.0f * i + 5.0f) << i;
    // Beyond both ends: zeros; at the last sample and up to one step behind it: the last value.
    double wide[3] = {-10, 110, 1};
    std::vector<float> w(121);
    ASSERT_TRUE(f.GetTrace(0, w.data(), wide, nullptr, 0.0f));
    EXPECT_EQ(w[0], 0.0f);   // t = -10
    EXPECT_EQ(w[8], 0.0f);   // t = -2: p = -1
    EXPECT_EQ(w[10], 0.0f);  // t = 0
    EXPECT_FLOAT_EQ(w[11], 5.0f);
    EXPECT_FLOAT_EQ(w[110], 500.0f);  // t = 100
    EXPECT_FLOAT_EQ(w[111], 500.0f);  // t = 101, k = nIn - 1
    EXPECT_EQ(w[113], 0.0f);          // t = 103
    // The file's own axis reads without interpolation.
    double own[3] = {f.m_traseParam[0], f.m_traseParam[1], f.m_traseParam[2]};
    std::vector<float> o(51);
    ASSERT_TRUE(f.GetTrace(0, o.data(), own, nullptr, 0.0f));
    EXPECT_EQ(o[50], 500.0f);
    // An empty axis is refused.
    double bad[3] = {10, 0, 1};
    EXPECT_FALSE(f.GetTrace(0, o.data(), bad, nullptr, 0.0f));
}

TEST(SdsPCAccess, ResampleWithValidityLimit)
{
    TempDir d;
    RawSgy s = LineSgy(1, 6, 5, true, [](int, int i) { return i == 2 ? 0.5 : 5.0 + i; });
    s.interval = 20000;  // 20 ms: samples at 0, 20, ... 100
    CSdsPC f;
    ASSERT_TRUE(WriteAndOpen(f, d / "fmin.sgy", BuildSgy(s)));
    double axis[3] = {0, 100, 10};
    std::vector<float> out(11);
    ASSERT_TRUE(f.GetTrace(0, out.data(), axis, nullptr, 1.0f));
    EXPECT_FLOAT_EQ(out[0], 5.0f);  // on a valid sample
    EXPECT_FLOAT_EQ(out[1], 5.5f);  // between two valid ones
    EXPECT_EQ(out[3], 0.0f);        // between valid 6 and invalid 0.5
    EXPECT_EQ(out[5], 0.0f);        // between invalid 0.5 and valid 8
    EXPECT_FLOAT_EQ(out[6], 8.0f);
    EXPECT_FLOAT_EQ(out[7], 8.5f);
}

TEST(SdsPCAccess, SetTraceSegyIbmAndShort)
{
    TempDir d;
    for (int format : {1, 3}) {
        std::string name = d / ("w" + std::to_string(format) + ".sgy");
        ASSERT_TRUE(WriteBytes(name, BuildSgy(LineSgy(3, 5, format, true, [](int, int) { return 0.0; }))));
        CSdsPC f;
        ASSERT_TRUE(f.OnOpen(name.c_str(), 1));
        float v[5] = {1.5f, -2.25f, 9e-7f, 1000.125f, 40000.4f};
        if (format == 3) v[0] = 1.4f;
        ASSERT_TRUE(f.SetTrace(1, v, 5));
        std::vector<float> buf(5);
        ASSERT_TRUE(f.GetTrace(1, buf.data(), 5));
        if (format == 1) {
            EXPECT_EQ(Bits(v[0]), 0x00001841u);  // the caller's buffer now holds IBM words, file order
            const float expect[] = {1.5f, -2.25f, 0.0f, 1000.125f, 40000.4f};
            for (int i = 0; i < 4; i++) EXPECT_EQ(buf[i], expect[i]) << i;
            EXPECT_NEAR(buf[4], expect[4], 0.01);
        } else {
            const float expect[] = {1.0f, -2.0f, 0.0f, 1000.0f, 32767.0f};
            for (int i = 0; i < 5; i++) EXPECT_EQ(buf[i], expect[i]) << i;
        }
        // Neighbours untouched.
        ASSERT_TRUE(f.GetTrace(0, buf.data(), 5));
        ASSERT_TRUE(f.GetTrace(2, buf.data() + 0, 5));
        for (float x : buf) EXPECT_EQ(x, 0.0f);
    }
}

TEST(SdsPCAccess, SetTraceLimitsAndFailures)
{
    TempDir d;
    std::string name = d / "lim.sgy";
    ASSERT_TRUE(WriteBytes(name, BuildSgy(LineSgy(2, 4, 3, true, [](int, int) { return 7.0; }))));
    auto before = ReadBytes(name);
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str(), 1));
    float v[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    ASSERT_TRUE(f.SetTrace(0, v, 8));  // only 4 samples are written
    auto after = ReadBytes(name);
    ASSERT_EQ(after.size(), before.size());
    EXPECT_TRUE(std::equal(after.begin() + 3600 + 248, after.end(), before.begin() + 3600 + 248));
    EXPECT_FALSE(f.SetTrace(2, v, 4));
    // Value scale: divided on writing, multiplied on reading.
    f.m_rValueScale = 4.0;
    float s[4] = {8, 12, 16, 20};
    ASSERT_TRUE(f.SetTrace(1, s, 4));
    EXPECT_EQ(s[0], 2.0f);
    std::vector<float> buf(4);
    ASSERT_TRUE(f.GetTrace(1, buf.data(), 4));
    EXPECT_EQ(buf[3], 20.0f);
}

TEST(SdsPCAccess, SetTraceSdsFormats)
{
    TempDir d;
    struct {
        const char* fmt;
        std::vector<float> in, out;
    } cases[] = {
        {"R4  ", {1.25f, -3.5f, 7.0f, 1e6f, 0.0f}, {1.25f, -3.5f, 7.0f, 1e6f, 0.0f}},
        {"I2  ", {1.4f, 1.6f, -1.5f, 100.0f, -7.0f}, {1.0f, 2.0f, -1.0f, 100.0f, -7.0f}},
        // Delta bytes: the last sample repeats the one before it.
        {"T1  ", {300.0f, 310.0f, 305.0f, 290.0f, 999.0f}, {300.0f, 310.0f, 305.0f, 290.0f, 290.0f}},
    };
    for (auto& c : cases) {
        std::vector<RawSdsTrace> tr(3);
        for (auto& t : tr) {
            t.fmt = c.fmt;
            t.samples.assign(5, 0.0f);
            t.step = 20;
        }
        std::string name = d / (std::string("sds_") + c.fmt[0] + ".rec");
        ASSERT_TRUE(WriteBytes(name, BuildSds(tr)));
        CSdsPC f;
        ASSERT_TRUE(f.OnOpen(name.c_str(), 1)) << c.fmt;
        std::vector<float> v = c.in;
        ASSERT_TRUE(f.SetTrace(1, v.data(), 5)) << c.fmt;
        std::vector<float> buf(5);
        ASSERT_TRUE(f.GetTrace(1, buf.data(), 5));
        for (int i = 0; i < 5; i++) EXPECT_EQ(buf[i], c.out[i]) << c.fmt << " " << i;
        if (c.fmt[0] == 'T') {
            auto b = ReadBytes(name);
            size_t base = 85 + 80;  // trace 1 data: 80 + 5 bytes a trace
            EXPECT_EQ(b[base + 0], 0x2C);  // 300 = 0x012C: low byte first
            EXPECT_EQ(b[base + 4], 0x01);  // high byte last
        }
    }
}

TEST(SdsPCAccess, SetTraceVmgRefused)
{
    TempDir d;
    std::string name = d / "v.vmg";
    ASSERT_TRUE(WriteBytes(name, BuildVmgFrame(3, 4, 0, 2, 0, 0.3f, "XTZY", 1, 0, [](int, int) { return 1; })));
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str(), 1));
    float v[4] = {1, 2, 3, 4};
    EXPECT_FALSE(f.SetTrace(0, v, 4));
}

TEST(SdsPCAccess, TraceHeaderRoundTrip)
{
    TempDir d;
    for (bool be : {true, false}) {
        std::string name = d / (be ? "hbe.sgy" : "hle.sgy");
        ASSERT_TRUE(WriteBytes(name, BuildSgy(LineSgy(3, 5, 3, be, [](int, int) { return 0.0; }, 0, 50))));
        {
            CSdsPC f;
            ASSERT_TRUE(f.OnOpen(name.c_str(), 1));
            SGY_TRACEHEADER h;
            ASSERT_TRUE(f.GetTraceHeader(2, h, 1));
            EXPECT_EQ(h.traceSeqLine, 3);
            EXPECT_EQ(h.recX, 100);
            EXPECT_EQ(h.numSamples, 5);
            h.inlineNumber = 1234;
            h.crosslineNumber = -5;
            ASSERT_TRUE(f.SetTraceHeader(2, h, 0));
        }
        auto b = ReadBytes(name);
        size_t off = 3600 + 2 * 250 + 188;
        int32_t raw;
        memcpy(&raw, &b[off], 4);
        EXPECT_EQ(raw, be ? (int32_t)__builtin_bswap32(1234) : 1234);
        CSdsPC g;
        ASSERT_TRUE(g.OnOpen(name.c_str()));
        SGY_TRACEHEADER h;
        ASSERT_TRUE(g.GetTraceHeader(2, h, 1));
        EXPECT_EQ(h.inlineNumber, 1234);
        EXPECT_EQ(h.crosslineNumber, -5);
        EXPECT_EQ(h.numSamples, 5);
        EXPECT_FALSE(g.GetTraceHeader(3, h, 1));
    }
}

namespace {

// Shots at (0, 0) and (1000, 0); receivers of the first shot on a 3 x 2 grid
// sorted by rows, of the second on a line.
std::string GeometryFile(const TempDir& d)
{
    RawSgy s;
    s.format = 3;
    s.ns = 4;
    int rx[] = {100, 150, 200, 100, 150, 200};
    int ry[] = {10, 10, 10, 40, 40, 40};
    for (int k = 0; k < 6; k++) {
        RawTrace t;
        t.samples.assign(4, 0.0f);
        t.recX = rx[k];
        t.recY = ry[k];
        s.traces.push_back(t);
    }
    for (int k = 0; k < 4; k++) {
        RawTrace t;
        t.samples.assign(4, 0.0f);
        t.srcX = 1000;
        t.recX = 900 + 25 * k;
        t.recY = -20;
        s.traces.push_back(t);
    }
    std::string name = d / "geom.sgy";
    WriteBytes(name, BuildSgy(s));
    return name;
}

}  // namespace

TEST(SdsPCAccess, CoordinatesAndRectangles)
{
    TempDir d;
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(GeometryFile(d).c_str()));
    C3DPointR src, rec;
    ASSERT_TRUE(f.GetCoord(7, src, rec));
    EXPECT_DOUBLE_EQ(src.x, 1000.0);
    EXPECT_DOUBLE_EQ(rec.x, 925.0);
    EXPECT_DOUBLE_EQ(rec.y, -20.0);
    EXPECT_FALSE(f.GetCoord(10, src, rec));
    EXPECT_DOUBLE_EQ(f.GetRec(4).x, 150.0);
    EXPECT_DOUBLE_EQ(f.GetSrc(99).x, 0.0);

    CRectR all = f.GetXYRect(0, CPointR());
    EXPECT_DOUBLE_EQ(all.x0, 0.0);
    EXPECT_DOUBLE_EQ(all.x1, 1000.0);
    EXPECT_DOUBLE_EQ(all.y0, -20.0);
    EXPECT_DOUBLE_EQ(all.y1, 40.0);
    CRectR recs = f.GetXYRect(1, CPointR());
    EXPECT_DOUBLE_EQ(recs.x0, 100.0);
    EXPECT_DOUBLE_EQ(recs.x1, 975.0);
    CRectR shot1 = f.GetXYRect(1, CPointR(0.5, 0.0));
    EXPECT_DOUBLE_EQ(shot1.x0, 100.0);
    EXPECT_DOUBLE_EQ(shot1.x1, 200.0);
    EXPECT_DOUBLE_EQ(shot1.y0, 10.0);
    EXPECT_DOUBLE_EQ(shot1.y1, 40.0);
    CRectR missing = f.GetXYRect(1, CPointR(5000, 5000));
    EXPECT_DOUBLE_EQ(missing.x0, recs.x0);
    EXPECT_DOUBLE_EQ(missing.x1, recs.x1);
}

TEST(SdsPCAccess, XYSizeOfAGrid)
{
    TempDir d;
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(GeometryFile(d).c_str()));
    CSizeN s = f.GetXYSize(CPointR(0, 0));
    EXPECT_EQ(s.nx, 3);
    EXPECT_EQ(s.ny, 2);
    EXPECT_EQ(s.nxy, 6);
}

// A sparse SEG-Y file of more than 2 GB: the traces behind the 2 GB mark are
// catalogued, read and written by 64-bit positions.
TEST(SdsPCAccess, FileBeyondTwoGigabytes)
{
    TempDir d;
    std::string name = d / "big.sgy";
    const int ns = 32000;
    const int64_t traceBytes = 240 + 2 * ns;
    const int64_t nTraces = (int64_t)2300000000LL / traceBytes + 1;
    RawSgy s = LineSgy(1, ns, 3, true, [](int, int i) { return (double)(i % 1000); });
    s.nTracesField = 1;
    auto head = BuildSgy(s);  // file header and trace 0
    RawSgy last = LineSgy(1, ns, 3, true, [](int, int i) { return (double)(-(i % 500)); }, 777);
    auto lastBytes = BuildSgy(last);
    FILE* fp = fopen(name.c_str(), "wb");
    ASSERT_NE(fp, nullptr);
    ASSERT_EQ(fwrite(head.data(), 1, head.size(), fp), head.size());
    const int64_t lastPos = 3600 + (nTraces - 1) * traceBytes;
    ASSERT_GT(lastPos, (int64_t)0x80000000LL);
    ASSERT_EQ(fseeko(fp, (off_t)lastPos, SEEK_SET), 0);
    ASSERT_EQ(fwrite(lastBytes.data() + 3600, 1, (size_t)traceBytes, fp), (size_t)traceBytes);
    ASSERT_EQ(fclose(fp), 0);

    CSdsPC f;
    bool ok = f.OnOpen(name.c_str(), 1);
    if (!ok) {
        unlink(name.c_str());
        FAIL() << "open of the large file failed";
    }
    // The sparse middle reads as live traces of zeros; all of them are catalogued.
    ASSERT_EQ(f.m_nTraceCount, (int)nTraces);
    EXPECT_EQ(f.m_nFileSize, lastPos + traceBytes);
    int64_t pos = f.m_pSR[nTraces - 1].nFilePos;
    EXPECT_EQ(pos, lastPos);
    EXPECT_FLOAT_EQ(f.m_pSR[nTraces - 1].fRecX, 777.0f);
    std::vector<float> buf(ns);
    ASSERT_TRUE(f.GetTrace((int)nTraces - 1, buf.data(), ns));
    EXPECT_EQ(buf[499], -499.0f);
    EXPECT_EQ(buf[ns - 1], (float)(-((ns - 1) % 500)));
    for (int i = 0; i < ns; i++) buf[i] = (float)(i % 300);
    ASSERT_TRUE(f.SetTrace((int)nTraces - 1, buf.data(), ns));
    ASSERT_TRUE(f.GetTrace((int)nTraces - 1, buf.data(), ns));
    EXPECT_EQ(buf[299], 299.0f);
    EXPECT_EQ(buf[300], 0.0f);
    ASSERT_TRUE(f.GetTrace(0, buf.data(), ns));
    EXPECT_EQ(buf[999], 999.0f);
    f.Reset();
    unlink(name.c_str());
}
