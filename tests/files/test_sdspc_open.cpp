// Opening files: format from the name, byte order, the scan of each format,
// axes, dead and cut-short traces, lifting and side-file values.
#include <gtest/gtest.h>

#include "files/SdsPC.h"
#include "sdspc_testutil.h"

using namespace sdspc_test;

TEST(SdsPCOpen, TypeFromFileName)
{
    struct {
        const char* name;
        bool ok;
        TYPEFILE type;
    } cases[] = {
        {"a.rec", true, SDS},   {"a.SEC", true, SDS},  {"dir/b.sgy", true, SGY}, {"b.SgY", true, SGY},
        {"b.segy", true, SGY},  {"b.SEGY", true, SGY}, {"c.vmg", true, VMG},     {"c.VMG", true, VMG},
        {"x.kti", false, VMG},  {".sgy", false, VMG},  {"abc", false, VMG},      {"a.sgy.txt", false, VMG},
    };
    for (auto& c : cases) {
        TYPEFILE t = SDS;
        EXPECT_EQ(CSdsPC::GetTypeFromFileName(c.name, t), c.ok) << c.name;
        EXPECT_EQ(t, c.type) << c.name;
    }
}

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
    struct {
        bool be;
        int format;
    } cases[] = {{true, 2}, {true, 3}, {false, 2}, {false, 3}, {false, 6}};
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

TEST(SdsPCOpen, ElevationsAndScalers)
{
    TempDir d;
    RawSgy s = LineSgy(3, 10, 3, true, [](int, int) { return 1.0; });
    s.traces[0].elevScaler = -10;
    s.traces[0].recElev = 255;  // 25.5 m above datum: Z = -25.5
    s.traces[0].srcElev = -100;
    s.traces[1].coorScaler = 10;  // a positive scaler multiplies
    s.traces[1].recX = 30;
    s.traces[1].srcY = 45;
    CSdsPC f;
    ASSERT_TRUE(WriteAndOpen(f, d / "elev.sgy", BuildSgy(s)));
    EXPECT_FLOAT_EQ(f.m_pSR[0].fRecZ, -25.5f);
    EXPECT_FLOAT_EQ(f.m_pSR[0].fSrcZ, 10.0f);
    EXPECT_FLOAT_EQ(f.m_pSR[1].fRecX, 300.0f);
    EXPECT_FLOAT_EQ(f.m_pSR[1].fSrcY, 450.0f);

    CSdsPC::ELEV_TO_Z = true;
    CSdsPC g;
    bool ok = g.OnOpen((d / "elev.sgy").c_str());
    CSdsPC::ELEV_TO_Z = false;
    ASSERT_TRUE(ok);
    EXPECT_FLOAT_EQ(g.m_pSR[0].fRecZ, 25.5f);
}

TEST(SdsPCOpen, DeadTracesAreLeftOut)
{
    TempDir d;
    RawSgy s = LineSgy(6, 5, 3, true, [](int k, int) { return (double)k; });
    s.traces[1].traceId = 2;
    s.traces[4].traceId = 2;
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

TEST(SdsPCOpen, CutInsideATraceKeepsTheCompleteOnes)
{
    TempDir d;
    RawSgy s = LineSgy(5, 50, 3, true, [](int k, int i) { return (double)(k + i); });
    auto b = BuildSgy(s);
    for (size_t cut : {(size_t)(3600 + 3 * 340 + 100), (size_t)(3600 + 3 * 340 + 250)}) {
        std::vector<unsigned char> c(b.begin(), b.begin() + cut);
        CSdsPC f;
        ASSERT_TRUE(WriteAndOpen(f, d / "cut.sgy", c));
        EXPECT_EQ(f.m_nTraceCount, 3) << cut;
    }
}

TEST(SdsPCOpen, TracesOfDifferentLengthWalkByTheirOwn)
{
    TempDir d;
    RawSgy s = LineSgy(4, 10, 3, true, [](int k, int i) { return (double)(10 * k + i); });
    s.traces[1].samples.resize(25, 9.0f);  // longer trace in the middle
    s.traces[2].samples.resize(4);
    CSdsPC f;
    ASSERT_TRUE(WriteAndOpen(f, d / "var.sgy", BuildSgy(s)));
    ASSERT_EQ(f.m_nTraceCount, 4);
    std::vector<float> buf(10);
    ASSERT_TRUE(f.GetTrace(3, buf.data(), 10));
    EXPECT_FLOAT_EQ(buf[0], 30.0f);
    EXPECT_FLOAT_EQ(buf[9], 39.0f);
    // A short trace pads with its last value.
    ASSERT_TRUE(f.GetTrace(2, buf.data(), 10));
    EXPECT_FLOAT_EQ(buf[3], 23.0f);
    EXPECT_FLOAT_EQ(buf[9], 23.0f);
}

TEST(SdsPCOpen, VendorPrivateBlock)
{
    TempDir d;
    RawSgy s = LineSgy(3, 11, 3, true, [](int, int i) { return (double)i; });
    s.vendor = true;
    s.interval = 10000;  // 10 m depth step, stored in millimetres
    s.privStart = 100;
    s.privUnit = 2;
    s.privComp = 2;  // 'Q'
    s.privScale = 0.5f;
    CSdsPC f;
    ASSERT_TRUE(WriteAndOpen(f, d / "vendor.sgy", BuildSgy(s)));
    EXPECT_EQ(f.m_DataUnit, DU_M);
    EXPECT_EQ(f.m_cComponent, 'Q');
    EXPECT_EQ(f.m_arComponents[0], 'Q');
    EXPECT_DOUBLE_EQ(f.m_rValueScale, 0.5);
    EXPECT_DOUBLE_EQ(f.m_traseParam[0], 100.0);
    EXPECT_DOUBLE_EQ(f.m_traseParam[1], 200.0);
    EXPECT_DOUBLE_EQ(f.m_traseParam[2], 10.0);
    std::vector<float> buf(11);
    ASSERT_TRUE(f.GetTrace(0, buf.data(), 11));
    EXPECT_FLOAT_EQ(buf[4], 2.0f);  // value scale applied

    // Without the vendor text the private block is ignored.
    s.vendor = false;
    auto b = BuildSgy(s);
    Put16(b, 3598, 100, true);
    CSdsPC g;
    ASSERT_TRUE(WriteAndOpen(g, d / "plain.sgy", b));
    EXPECT_DOUBLE_EQ(g.m_traseParam[0], 0.0);
    EXPECT_EQ(g.m_DataUnit, DU_MSEC);
    EXPECT_EQ(g.m_cComponent, 0);
}

TEST(SdsPCOpen, SampleAxisScaling)
{
    TempDir d;
    struct {
        int interval, ns;
        double start, stop, step;
    } cases[] = {
        {2000, 501, 0, 1000, 2},     // 2 ms as it stands
        {1, 1001, 0, 1000, 1},       // stop 1.0 (under 50): seconds become milliseconds
        {60000, 2001, 0, 120, 0.06}, // stop 120000 (over 100000): divided by 1000
    };
    for (auto& c : cases) {
        RawSgy s = LineSgy(2, c.ns, 3, true, [](int, int) { return 0.0; });
        s.interval = c.interval;
        CSdsPC f;
        ASSERT_TRUE(WriteAndOpen(f, d / "axis.sgy", BuildSgy(s)));
        EXPECT_NEAR(f.m_traseParam[0], c.start, 1e-9);
        EXPECT_NEAR(f.m_traseParam[1], c.stop, 1e-9);
        EXPECT_NEAR(f.m_traseParam[2], c.step, 1e-12);
    }
}

TEST(SdsPCOpen, LineAxisFromCatalogue)
{
    TempDir d;
    // All traces at one X first, then a step of 12.5 m: the first pair that differs gives it.
    RawSgy s = LineSgy(4, 5, 3, true, [](int, int) { return 0.0; });
    int xs[] = {100, 100, 100, 125};
    for (int k = 0; k < 4; k++) {
        s.traces[k].coorScaler = -10;
        s.traces[k].srcX = 1000;
        s.traces[k].recX = xs[k] * 10;
    }
    s.traces[3].recX = 1125;  // 112.5
    CSdsPC f;
    ASSERT_TRUE(WriteAndOpen(f, d / "xy.sgy", BuildSgy(s)));
    EXPECT_DOUBLE_EQ(f.m_traseXY[0], 100.0);
    EXPECT_DOUBLE_EQ(f.m_traseXY[1], 112.5);
    EXPECT_DOUBLE_EQ(f.m_traseXY[2], 12.5);

    // One trace: no pair; (max - min) / count, then 1.
    RawSgy one = LineSgy(1, 5, 3, true, [](int, int) { return 0.0; });
    one.traces[0].srcX = 0;
    one.traces[0].recX = 30;
    CSdsPC g;
    ASSERT_TRUE(WriteAndOpen(g, d / "one.sgy", BuildSgy(one)));
    EXPECT_DOUBLE_EQ(g.m_traseXY[2], 30.0);
}

TEST(SdsPCOpen, Lifting)
{
    TempDir d;
    RawSgy s = LineSgy(2, 11, 3, true, [](int, int) { return 0.0; });
    s.interval = 10000;  // 10 per sample: axis 0 .. 100
    s.traces[0].recElev = -40;  // Z = 40
    ASSERT_TRUE(WriteBytes(d / "lift.sgy", BuildSgy(s)));
    {
        CSdsPC f;
        ASSERT_TRUE(f.OnOpen((d / "lift.sgy").c_str(), 0, 1, 0, 1));
        EXPECT_DOUBLE_EQ(f.m_traseParam[0], 40.0);
        EXPECT_DOUBLE_EQ(f.m_traseParam[1], 140.0);
    }
    {
        CSdsPC f;
        ASSERT_TRUE(f.OnOpen((d / "lift.sgy").c_str(), 0, 1, 0, -250));
        EXPECT_DOUBLE_EQ(f.m_traseParam[0], -250.0);
        EXPECT_DOUBLE_EQ(f.m_traseParam[1], -150.0);
    }
    s.traces[0].recElev = 0;
    ASSERT_TRUE(WriteBytes(d / "flat.sgy", BuildSgy(s)));
    CSdsPC g;
    ASSERT_TRUE(g.OnOpen((d / "flat.sgy").c_str(), 0, 1, 0, 1));
    EXPECT_DOUBLE_EQ(g.m_traseParam[0], 0.0);
}

TEST(SdsPCOpen, InfSideFileValues)
{
    TempDir d;
    RawSgy s = LineSgy(3, 11, 3, true, [](int, int) { return 2.0; });
    s.interval = 50;  // a 50 m step stored in metres: 0.05 until kmTrs brings it back
    std::string name = d / "inf.sgy";
    ASSERT_TRUE(WriteBytes(name, BuildSgy(s)));
    FILE* fi = fopen((name + ".inf").c_str(), "w");
    ASSERT_NE(fi, nullptr);
    fprintf(fi, "[Reform]\nkmTrs=1000\nzUnit=2\nnComp=4\nkmVal=3\n");
    fclose(fi);
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(name.c_str()));
    EXPECT_DOUBLE_EQ(f.m_traseParam[1], 500.0);
    EXPECT_DOUBLE_EQ(f.m_traseParam[2], 50.0);
    EXPECT_EQ(f.m_DataUnit, DU_M);
    EXPECT_EQ(f.m_cComponent, 'Z');
    std::vector<float> buf(11);
    ASSERT_TRUE(f.GetTrace(0, buf.data(), 11));
    EXPECT_FLOAT_EQ(buf[5], 6.0f);
}

TEST(SdsPCOpen, SdsFile)
{
    TempDir d;
    std::vector<RawSdsTrace> tr(5);
    for (int k = 0; k < 5; k++) {
        tr[k].srcX = 10 * k;
        tr[k].recX = 10 * k + 5;
        tr[k].srcY = 7;
        tr[k].recY = 8;
        tr[k].step = 20;
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

TEST(SdsPCOpen, SdsVariantZ)
{
    TempDir d;
    std::vector<RawSdsTrace> tr(3);
    for (auto& t : tr) {
        t.samples.assign(4, 1.0f);
        t.mark = -100;
        t.start2 = 12;
        t.last = 1500;
    }
    CSdsPC f;
    ASSERT_TRUE(WriteAndOpen(f, d / "vsp.sec", BuildSds(tr)));
    EXPECT_FLOAT_EQ(f.m_pSR[0].fSrcZ, 12.0f);
    EXPECT_FLOAT_EQ(f.m_pSR[0].fRecZ, 1500.0f);
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

TEST(SdsPCOpen, ReopenOnAnotherFile)
{
    TempDir d;
    ASSERT_TRUE(WriteBytes(d / "a.sgy", BuildSgy(LineSgy(3, 5, 3, true, [](int, int) { return 1.0; }))));
    ASSERT_TRUE(WriteBytes(d / "b.sgy", BuildSgy(LineSgy(7, 9, 3, false, [](int, int) { return 2.0; }))));
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen((d / "a.sgy").c_str()));
    ASSERT_TRUE(f.OnOpen((d / "b.sgy").c_str()));
    EXPECT_EQ(f.m_nTraceCount, 7);
    EXPECT_EQ(f.m_nTraceLen, 9);
    EXPECT_FALSE(f.OnOpen((d / "none.sgy").c_str()));
    EXPECT_EQ(f.m_nTraceCount, 0);
    EXPECT_EQ(f.m_pSR, nullptr);
}

TEST(SdsPCOpen, PathSubstitution)
{
    TempDir d;
    ASSERT_TRUE(WriteBytes(d / "m.sgy", BuildSgy(LineSgy(3, 5, 3, true, [](int, int) { return 1.0; }))));
    CSdsPC::arPathSubst = {CString("/no/such/prefix"), CString(d.path().c_str())};
    CSdsPC f, g;
    bool ok = f.OnOpen("/no/such/prefix/m.sgy");
    bool okWrite = g.OnOpen("/no/such/prefix/m.sgy", 1);  // not applied when writing
    CSdsPC::arPathSubst.clear();
    EXPECT_TRUE(ok);
    EXPECT_EQ(std::string(f.m_szFileName), d / "m.sgy");
    EXPECT_FALSE(okWrite);
}
