// Trace access: decoding of every sample format, padding, resampling against
// analytic values, writing in place, trace headers and geometry queries.
#include <gtest/gtest.h>

#include <cmath>

#include "files/SdsPC.h"
#include "files_test_util.h"

using namespace sdspc_test;

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

    struct { double axis[3]; } axes[] = {{{0, 500, 1}}, {{0.5, 499.5, 0.25}}, {{3, 498, 5}}, {{1, 499, 7}}};
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
            uint32_t w;
            memcpy(&w, &v[0], 4);
            EXPECT_EQ(w, 0x00001841u);  // the caller's buffer now holds IBM words, file order
            const float expect[] = {1.5f, -2.25f, 0.0f, 1000.125f, 40000.4f};
            for (int i = 0; i < 4; i++) EXPECT_EQ(buf[i], expect[i]) << i;
            EXPECT_NEAR(buf[4], expect[4], 0.01);
        } else {
            const float expect[] = {1.0f, -2.0f, 0.0f, 1000.0f, 32767.0f};
            for (int i = 0; i < 5; i++) EXPECT_EQ(buf[i], expect[i]) << i;
        }
        for (int k : {0, 2}) {  // neighbours untouched
            ASSERT_TRUE(f.GetTrace(k, buf.data(), 5));
            for (float x : buf) EXPECT_EQ(x, 0.0f) << k;
        }
    }
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
            h.inlineNumber = 1234, h.crosslineNumber = -5;
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
    ASSERT_TRUE(f.OnOpen(name.c_str(), 1));
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
}
