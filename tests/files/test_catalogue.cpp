// The ".cr2" side catalogue: written, trusted, rejected for each reason and
// refreshed; rotation and the catalogue orderings.
#include <gtest/gtest.h>

#include <algorithm>

#include "files/SdsPC.h"
#include "sdspc_testutil.h"

using namespace sdspc_test;

namespace {

const size_t kCatalogue = 220;  // offset of the entries
const int kTraces = 4;
const size_t kAfterEntries = kCatalogue + 44 * kTraces;
const size_t kFullSize = kAfterEntries + 4 + 8 + 8 + 1 + 4 + 48;

// A data file and a ".cr2" written for it, with a marker in entry 0 that a
// scan could never produce.
struct CatFixture {
    TempDir d;
    std::string name;
    CatFixture(const char* file = "cat.sgy")
    {
        name = d / file;
        RawSgy s = LineSgy(kTraces, 60, 3, true, [](int k, int i) { return (double)(k + i); }, 0, 10);
        EXPECT_TRUE(WriteBytes(name, BuildSgy(s)));
    }
    void WriteCatalogue()
    {
        CSdsPC f;
        ASSERT_TRUE(f.OnOpen(name.c_str()));
        EXPECT_EQ(f.m_bCatalogue, 0);
        f.m_pSR[0].fRecX = 777.0f;
        ASSERT_TRUE(f.SetInfoHeaderFromFile(name.c_str(), 1));
        EXPECT_EQ(f.m_bCatalogue, 1);
    }
    // True when the open took the catalogue from the ".cr2" file.
    bool OpensFromCatalogue()
    {
        CSdsPC f;
        EXPECT_TRUE(f.OnOpen(name.c_str()));
        EXPECT_EQ(f.m_nTraceCount, kTraces);
        return f.m_pSR && f.m_pSR[0].fRecX == 777.0f;
    }
    std::string Cr2() const { return name + ".cr2"; }
};

}  // namespace

TEST(SdsPCCatalogue, WrittenAndTrusted)
{
    CatFixture c;
    c.WriteCatalogue();
    auto b = ReadBytes(c.Cr2());
    ASSERT_EQ(b.size(), kFullSize);
    int32_t version, count, len;
    int64_t size;
    memcpy(&version, &b[0], 4);
    memcpy(&size, &b[4], 8);
    memcpy(&count, &b[20], 4);
    memcpy(&len, &b[24], 4);
    EXPECT_EQ(version, 2);
    EXPECT_EQ(size, (int64_t)ReadBytes(c.name).size());
    EXPECT_EQ(count, kTraces);
    EXPECT_EQ(len, 60);
    SDS_TRACEINFO e1;
    memcpy(&e1, &b[kCatalogue + 44], 44);
    EXPECT_FLOAT_EQ(e1.fRecX, 10.0f);
    int64_t pos = e1.nFilePos;  // packed field: copied, not bound to a reference
    EXPECT_EQ(pos, 3600 + 240 + 120);

    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(c.name.c_str()));
    EXPECT_EQ(f.m_bCatalogue, 1);
    EXPECT_FLOAT_EQ(f.m_pSR[0].fRecX, 777.0f);
    EXPECT_EQ(f.m_nTraceLen, 60);
    EXPECT_DOUBLE_EQ(f.m_traseParam[1], 118.0);
    EXPECT_EQ(f.m_bSwap, 1);
    std::vector<float> buf(60);
    ASSERT_TRUE(f.GetTrace(2, buf.data(), 60));
    EXPECT_FLOAT_EQ(buf[10], 12.0f);
    // With a catalogue on disk, asking not to write answers false.
    EXPECT_FALSE(f.SetInfoHeaderFromFile(c.name.c_str(), 0));
}

TEST(SdsPCCatalogue, SetInfoHeaderWithoutCatalogue)
{
    TempDir d;
    CSdsPC f;
    EXPECT_FALSE(f.SetInfoHeaderFromFile((d / "x.sgy").c_str(), 1));
    EXPECT_FALSE(FileExists(d / "x.sgy.cr2"));
}

TEST(SdsPCCatalogue, RejectionReasons)
{
    struct Edit {
        const char* label;
        void (*apply)(std::vector<unsigned char>&);
    } edits[] = {
        {"other version", [](std::vector<unsigned char>& b) { Put32(b, 0, 1, false); }},
        {"version 3", [](std::vector<unsigned char>& b) { Put32(b, 0, 3, false); }},
        {"cut in the entries", [](std::vector<unsigned char>& b) { b.resize(kCatalogue + 44 * 2 + 5); }},
        {"cut in the header", [](std::vector<unsigned char>& b) { b.resize(60); }},
        {"cut before the unit", [](std::vector<unsigned char>& b) { b.resize(kAfterEntries + 2); }},
        {"cut in the value scale", [](std::vector<unsigned char>& b) { b.resize(kAfterEntries + 4 + 3); }},
        {"trace count 2", [](std::vector<unsigned char>& b) { Put32(b, 20, 2, false); }},
        {"trace count beyond the file", [](std::vector<unsigned char>& b) { Put32(b, 20, 1000000, false); }},
        {"trace length 2", [](std::vector<unsigned char>& b) { Put32(b, 24, 2, false); }},
        {"step 0", [](std::vector<unsigned char>& b) { memset(&b[44], 0, 8); }},
        {"start after stop", [](std::vector<unsigned char>& b) {
             double v = 1e9;
             memcpy(&b[28], &v, 8);
         }},
        {"data type 9", [](std::vector<unsigned char>& b) { Put32(b, 84, 9, false); }},
        {"stale size", [](std::vector<unsigned char>& b) {
             int64_t v;
             memcpy(&v, &b[4], 8);
             v += 240;
             memcpy(&b[4], &v, 8);
         }},
    };
    for (auto& e : edits) {
        CatFixture c;
        c.WriteCatalogue();
        auto b = ReadBytes(c.Cr2());
        e.apply(b);
        ASSERT_TRUE(WriteBytes(c.Cr2(), b));
        EXPECT_FALSE(c.OpensFromCatalogue()) << e.label;
    }
}

TEST(SdsPCCatalogue, DataFileChangedMakesItStale)
{
    CatFixture c;
    c.WriteCatalogue();
    ASSERT_TRUE(c.OpensFromCatalogue());
    auto data = ReadBytes(c.name);
    data.resize(data.size() + 17, 0);
    ASSERT_TRUE(WriteBytes(c.name, data));
    EXPECT_FALSE(c.OpensFromCatalogue());
}

TEST(SdsPCCatalogue, OptionalTailMayBeMissing)
{
    for (size_t keep : {kAfterEntries + 12, kAfterEntries + 12 + 8, kAfterEntries + 12 + 9, kFullSize - 10}) {
        CatFixture c;
        c.WriteCatalogue();
        auto b = ReadBytes(c.Cr2());
        b.resize(keep);
        ASSERT_TRUE(WriteBytes(c.Cr2(), b));
        CSdsPC f;
        ASSERT_TRUE(f.OnOpen(c.name.c_str()));
        EXPECT_FLOAT_EQ(f.m_pSR[0].fRecX, 777.0f) << keep;
        EXPECT_EQ(f.m_bFoot, 0) << keep;  // a file ending before the flag means metres
    }
}

TEST(SdsPCCatalogue, FootFlagConvertsOnLoad)
{
    CatFixture c;
    c.WriteCatalogue();
    CSdsPC::bFOOT = 1;  // the system works in feet; the catalogue holds metres
    CSdsPC f;
    bool ok = f.OnOpen(c.name.c_str());
    CSdsPC::bFOOT = 0;
    ASSERT_TRUE(ok);
    EXPECT_NEAR(f.m_pSR[1].fRecX, 10.0 * 3.2808399, 1e-4);
    EXPECT_NEAR(f.m_traseXY[1], 30.0 * 3.2808399, 1e-9);
}

// A VMG catalogue written without component letters is refreshed from the
// frame header on the next open, and written again.
TEST(SdsPCCatalogue, VmgRefresh)
{
    TempDir d;
    std::string name = d / "snap.vmg";
    ASSERT_TRUE(WriteBytes(name, BuildVmgFrame(5, 8, 0.0f, 40.0f, 0.0f, 0.7f, "XTZY", 1, 0,
                                               [](int c, int i) { return c * i; }, "XZ")));
    {
        CSdsPC f;
        ASSERT_TRUE(f.OnOpen(name.c_str()));
        EXPECT_EQ(f.m_arComponents[0], 'X');
        memset(f.m_arComponents, 0, 8);
        ASSERT_TRUE(f.SetInfoHeaderFromFile(name.c_str(), 1));
    }
    const size_t compOff = kCatalogue + 44 * 5 + 4 + 8;
    auto before = ReadBytes(name + ".cr2");
    ASSERT_GT(before.size(), compOff + 2);
    EXPECT_EQ(before[compOff], 0);

    CSdsPC g;
    ASSERT_TRUE(g.OnOpen(name.c_str()));
    EXPECT_EQ(g.m_bCatalogue, 1);
    EXPECT_EQ(g.m_arComponents[0], 'X');
    EXPECT_EQ(g.m_arComponents[1], 'Z');
    EXPECT_EQ(g.m_arComponents[2], 0);
    auto after = ReadBytes(name + ".cr2");
    ASSERT_GT(after.size(), compOff + 2);
    EXPECT_EQ(after[compOff], 'X');
    EXPECT_EQ(after[compOff + 1], 'Z');
}

TEST(SdsPCCatalogue, SetPsrAndTraceParam)
{
    CatFixture c;
    CSdsPC f;
    SDS_TRACEINFO e;
    EXPECT_FALSE(f.Set_pSR(0, &e));
    ASSERT_TRUE(f.OnOpen(c.name.c_str()));
    ASSERT_TRUE(f.Set_pSR(3, &e));
    EXPECT_FLOAT_EQ(e.fRecX, 30.0f);
    EXPECT_TRUE(f.Set_pSR(3, nullptr));
    EXPECT_FALSE(f.Set_pSR(4, &e));
    EXPECT_FALSE(f.Set_pSR(-1, &e));
    double tp[3];
    EXPECT_TRUE(f.GetTraceParam(tp));
    EXPECT_DOUBLE_EQ(tp[2], 2.0);
    EXPECT_EQ(f.GetTraceInfoAll(), f.m_pSR);
}

TEST(SdsPCCatalogue, RotateAndGridSnap)
{
    CatFixture c;
    CSdsPC::bRotate = true;
    CSdsPC::rX00 = 10;
    CSdsPC::rY00 = 0;
    CSdsPC::rXx0 = 10;  // X axis along the old +Y
    CSdsPC::rYx0 = 5;
    CSdsPC f;
    bool ok = f.OnOpen(c.name.c_str());
    CSdsPC::bRotate = false;
    CSdsPC::rX00 = 0;
    CSdsPC::rXx0 = 1;
    CSdsPC::rYx0 = 0;
    ASSERT_TRUE(ok);
    // (30, 0) relative (20, 0): x' = c*20 + s*0 = 0, y' = c*0 - s*20 = -20
    EXPECT_NEAR(f.m_pSR[3].fRecX, 0.0, 1e-5);
    EXPECT_NEAR(f.m_pSR[3].fRecY, -20.0, 1e-5);

    CSdsPC::nGridStep = 25;
    CSdsPC g;
    ok = g.OnOpen(c.name.c_str());
    CSdsPC::nGridStep = 0;
    ASSERT_TRUE(ok);
    const float expect[] = {0, 0, 25, 25};  // 0, 10, 20, 30 snapped to 25 m
    for (int k = 0; k < 4; k++) EXPECT_FLOAT_EQ(g.m_pSR[k].fRecX, expect[k]) << k;
}

TEST(SdsPCCatalogue, Orderings)
{
    auto mk = [](float sx, float rx, float sy, float ry) {
        SDS_TRACEINFO e;
        memset(&e, 0, sizeof(e));
        e.fSrcX = sx;
        e.fRecX = rx;
        e.fSrcY = sy;
        e.fRecY = ry;
        return e;
    };
    std::vector<SDS_TRACEINFO> v = {mk(3, 1, 0, 0), mk(1, 9, 5, 0), mk(1, 2, 7, 0), mk(2, 0, 1, 8)};
    struct {
        int (*cmp)(const void*, const void*);
        std::vector<float> srcXOrder;
    } direct[] = {
        {CSdsPC::_compareS, {1, 1, 2, 3}},  // then receiver X 2 before 9
        {CSdsPC::_compareR, {2, 3, 1, 1}},
        {CSdsPC::_compareSY, {3, 2, 1, 1}},
        {CSdsPC::_compareM, {2, 1, 3, 1}},  // sums 2, 3, 4, 10
    };
    for (auto& c : direct) {
        auto w = v;
        qsort(w.data(), w.size(), sizeof(SDS_TRACEINFO), c.cmp);
        for (size_t i = 0; i < w.size(); i++) EXPECT_FLOAT_EQ(w[i].fSrcX, c.srcXOrder[i]) << i;
    }
    // Same order through pointers, with binning: 1 and 3 fall in one 10 m bin,
    // so the receiver decides.
    std::vector<SDS_TRACEINFO*> p;
    for (auto& e : v) p.push_back(&e);
    CSdsPC::fBin = 10.0f;
    qsort(p.data(), p.size(), sizeof(SDS_TRACEINFO*), CSdsPC::compareS);
    CSdsPC::fBin = 1.0f;
    // Keys (bin sx, bin sy, bin rx, bin ry): (0,0,0,0), (0,1,1,0), (0,1,0,0), (0,0,0,1).
    EXPECT_FLOAT_EQ(p[0]->fSrcX, 3);
    EXPECT_FLOAT_EQ(p[1]->fSrcX, 2);
    EXPECT_FLOAT_EQ(p[2]->fSrcY, 7);
    EXPECT_FLOAT_EQ(p[3]->fSrcY, 5);
}

// The selected letter from a catalogue stays when the file holds it, and is
// replaced by the first letter of the file when it does not.
TEST(SdsPCCatalogue, ComponentLetterSettles)
{
    TempDir d;
    std::string name = d / "c.vmg";
    ASSERT_TRUE(WriteBytes(name, BuildVmgFrame(4, 5, 0.0f, 30.0f, 0.0f, 0.4f, "XTZY", 1, 0,
                                               [](int c, int i) { return c + i; }, "PQ")));
    {
        CSdsPC f;
        ASSERT_TRUE(f.OnOpen(name.c_str()));
        ASSERT_TRUE(f.SetInfoHeaderFromFile(name.c_str(), 1));
    }
    const size_t cOff = kCatalogue + 44 * 4 + 4 + 8 + 8;
    for (char stored : {'Q', 'Z'}) {
        auto b = ReadBytes(name + ".cr2");
        ASSERT_GT(b.size(), cOff);
        b[cOff] = (unsigned char)stored;
        ASSERT_TRUE(WriteBytes(name + ".cr2", b));
        CSdsPC g;
        ASSERT_TRUE(g.OnOpen(name.c_str()));
        EXPECT_EQ(g.m_bCatalogue, 1);
        EXPECT_EQ(g.m_cComponent, stored == 'Q' ? 'Q' : 'P');
    }
}
