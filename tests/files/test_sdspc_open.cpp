// Opening files: format from the name, byte order, the scan of each format,
// axes, dead and cut-short traces, lifting and side-file values.
#include <gtest/gtest.h>

#include "files/SdsPC.h"
#include "files_test_util.h"

using namespace sdspc_test;

TEST(SdsPCOpen, RefusedExtensionAndMissingFile)
{
    TempDir d;
    CSdsPC f;
    EXPECT_FALSE(f.OnOpen((d / "model.kti").c_str()));
    EXPECT_FALSE(f.OnOpen((d / "missing.sgy").c_str()));
    EXPECT_EQ(f.m_fp, nullptr);
    EXPECT_EQ(f.m_pSR, nullptr);
}

// The same content written big-endian and little-endian gives the same file
// object: order found from the header, samples decoded in each order.
TEST(SdsPCOpen, ByteOrderBothWays)
{
    TempDir d;
    auto val = [](int k, int i) { return (double)(k * 100 + i - 7); };
    struct { bool be; int format; } cases[] = {{true, 2}, {true, 3}, {false, 2}, {false, 3}, {false, 6}};
    for (auto& c : cases) {
        RawSgy s = LineSgy(4, 31, c.format, c.be, val, 1000, 25);
        s.traces[2].coorScaler = -100;
        s.traces[2].srcX = s.traces[2].recX = 105000;  // 1050.00 after the scaler
        std::string name = d / ("order" + std::to_string(c.be) + std::to_string(c.format) + ".sgy");
        ASSERT_TRUE(WriteBytes(name, BuildSgy(s)));
        CSdsPC f;
        ASSERT_TRUE(f.OnOpen(name.c_str())) << name;
        EXPECT_EQ(f.m_bSwap, c.be ? 1 : 0) << "host is little-endian";
        EXPECT_EQ(f.m_nTraceCount, 4);
        EXPECT_EQ(f.m_nTraceLen, 31);
        EXPECT_EQ((int)f.m_DataType, c.format);
        EXPECT_DOUBLE_EQ(f.m_traseParam[0], 0.0);
        EXPECT_DOUBLE_EQ(f.m_traseParam[1], 60.0);
        EXPECT_DOUBLE_EQ(f.m_traseParam[2], 2.0);
        EXPECT_FLOAT_EQ(f.m_pSR[1].fRecX, 1025.0f);
        EXPECT_FLOAT_EQ(f.m_pSR[2].fRecX, 1050.0f);
        EXPECT_EQ(f.m_pSR[3].nChannel, 4);
        EXPECT_EQ(f.m_pSR[3].nRecord, 7);
        std::vector<float> buf(31);
        for (int k = 0; k < 4; k++) {
            ASSERT_TRUE(f.GetTrace(k, buf.data(), 31));
            for (int i = 0; i < 31; i++) ASSERT_FLOAT_EQ(buf[i], (float)val(k, i)) << k << " " << i;
        }
    }
}

TEST(SdsPCOpen, DeadTracesAreLeftOut)
{
    TempDir d;
    RawSgy s = LineSgy(6, 5, 3, true, [](int k, int) { return (double)k; });
    s.traces[1].traceId = 2, s.traces[4].traceId = 2;
    CSdsPC f;
    ASSERT_TRUE(WriteAndOpen(f, d / "dead.sgy", BuildSgy(s)));
    ASSERT_EQ(f.m_nTraceCount, 4);
    const int live[] = {0, 2, 3, 5};
    std::vector<float> buf(5);
    for (int k = 0; k < 4; k++) {
        ASSERT_TRUE(f.GetTrace(k, buf.data(), 5));
        EXPECT_FLOAT_EQ(buf[0], (float)live[k]);
    }
}

TEST(SdsPCOpen, SdsFile)
{
    TempDir d;
    std::vector<RawSdsTrace> tr(5);
    for (int k = 0; k < 5; k++) {
        tr[k].srcX = 10 * k, tr[k].recX = 10 * k + 5, tr[k].srcY = 7, tr[k].recY = 8, tr[k].step = 20;
        for (int i = 0; i < 6; i++) tr[k].samples.push_back((float)(k * 10 + i));
    }
    tr[2].actualFlag = 0;   // dead
    tr[3].actualFlag = -100;  // scaler: coordinates / 100 ... times 1/100
    std::string name = d / "line.rec";
    ASSERT_TRUE(WriteBytes(name, BuildSds(tr)));
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str()));
    EXPECT_EQ(f.m_Type, SDS);
    ASSERT_EQ(f.m_nTraceCount, 4);
    EXPECT_EQ(f.m_nTraceLen, 6);
    EXPECT_EQ((int)f.m_DataType, 6);
    EXPECT_DOUBLE_EQ(f.m_traseParam[0], 0.0);
    EXPECT_DOUBLE_EQ(f.m_traseParam[1], 100.0);
    EXPECT_DOUBLE_EQ(f.m_traseParam[2], 20.0);
    EXPECT_FLOAT_EQ(f.m_pSR[1].fRecX, 15.0f);
    EXPECT_FLOAT_EQ(f.m_pSR[1].fSrcY, 7.0f);
    EXPECT_FLOAT_EQ(f.m_pSR[2].fRecX, 0.35f);  // file trace 3 with scaler -100
    std::vector<float> buf(6);
    ASSERT_TRUE(f.GetTrace(2, buf.data(), 6));
    EXPECT_FLOAT_EQ(buf[5], 35.0f);
}

TEST(SdsPCOpen, VmgFrames)
{
    TempDir d;
    auto val = [](int c, int i) { return c * 10 + i; };
    // Two frames of 3 and 2 columns, time axis 0 .. 0.004 s.
    auto b = BuildVmgFrame(3, 5, 0.0f, 20.0f, 0.0f, 0.004f, "XTZY", 2, 0, val, "PQ");
    auto b2 = BuildVmgFrame(2, 5, 100.0f, 110.0f, 0.0f, 0.004f, "XTZY", 2, 1, val, "PQ");
    b.insert(b.end(), b2.begin(), b2.end());
    CSdsPC f;
    ASSERT_TRUE(WriteAndOpen(f, d / "snap.vmg", b));
    ASSERT_EQ(f.m_nTraceCount, 5);
    EXPECT_EQ(f.m_DataUnit, DU_MSEC);
    EXPECT_EQ(f.m_nMaxPart, 2);
    EXPECT_NEAR(f.m_traseParam[1], 4.0, 1e-4);
    EXPECT_EQ(f.m_cComponent, 'P');
    EXPECT_FLOAT_EQ(f.m_pSR[4].fRecX, 110.0f);
    EXPECT_EQ(f.m_pSR[4].nPart, 1);
    EXPECT_EQ(f.m_pSR[4].nChannel, 1);
    std::vector<float> buf(5);
    ASSERT_TRUE(f.GetTrace(1, buf.data(), 5));
    for (int i = 0; i < 5; i++) EXPECT_FLOAT_EQ(buf[i], (float)val(1, i));
    f.m_cComponent = 'Q';
    ASSERT_TRUE(f.GetTrace(3, buf.data(), 5));
    EXPECT_FLOAT_EQ(buf[2], 1000.0f + val(0, 2));
}
