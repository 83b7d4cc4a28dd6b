// The ".cr2" side catalogue: written, trusted, rejected for each reason and
// refreshed; rotation and the catalogue orderings.
#include <gtest/gtest.h>

#include "files/SdsPC.h"
#include "files_test_util.h"

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
    const std::string name = d / "cat.sgy";
    CatFixture()
    {
        EXPECT_TRUE(WriteBytes(name, BuildSgy(LineSgy(kTraces, 60, 3, true, [](int k, int i) { return k + i; }))));
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
    // The layout of the file is held by the rejections below, which edit it.
    ASSERT_EQ(ReadBytes(c.Cr2()).size(), kFullSize);
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

TEST(SdsPCCatalogue, RejectionReasons)
{
    struct Edit { const char* label; void (*apply)(Bytes&); } edits[] = {
        {"other version", [](Bytes& b) { Put32(b, 0, 1, false); }},
        {"version 3", [](Bytes& b) { Put32(b, 0, 3, false); }},
        {"cut in the entries", [](Bytes& b) { b.resize(kCatalogue + 44 * 2 + 5); }},
        {"cut in the header", [](Bytes& b) { b.resize(60); }},
        {"cut before the unit", [](Bytes& b) { b.resize(kAfterEntries + 2); }},
        {"cut in the value scale", [](Bytes& b) { b.resize(kAfterEntries + 4 + 3); }},
        {"trace count 2", [](Bytes& b) { Put32(b, 20, 2, false); }},
        {"trace count beyond the file", [](Bytes& b) { Put32(b, 20, 1000000, false); }},
        {"trace length 2", [](Bytes& b) { Put32(b, 24, 2, false); }},
        {"step 0", [](Bytes& b) { memset(&b[44], 0, 8); }},
        {"start after stop", [](Bytes& b) { const double v = 1e9; memcpy(&b[28], &v, 8); }},
        {"data type 9", [](Bytes& b) { Put32(b, 84, 9, false); }},
        {"stale size", [](Bytes& b) { Put32(b, 4, le32(b, 4) + 240, false); }},  // 64-bit, low word first
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

TEST(SdsPCCatalogue, Orderings)
{
    auto mk = [](float sx, float rx, float sy, float ry) { return Info(sx, sy, 0, rx, ry, 0); };
    std::vector<SDS_TRACEINFO> v = {mk(3, 1, 0, 0), mk(1, 9, 5, 0), mk(1, 2, 7, 0), mk(12, 0, 1, 8)};
    struct { int (*cmp)(const void*, const void*); std::vector<float> srcXOrder; } direct[] = {
        {CSdsPC::_compareS, {1, 1, 3, 12}},  // then receiver X 2 before 9
        {CSdsPC::_compareR, {12, 3, 1, 1}},
        {CSdsPC::_compareSY, {3, 12, 1, 1}},
        {CSdsPC::_compareM, {1, 3, 1, 12}},  // sums 3, 4, 10, 12
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
    // Keys (bin sx, bin sy, bin rx, bin ry): (0,0,0,0), (0,1,1,0), (0,1,0,0),
    // (1,0,0,1): source X is the first key, source Y the second.
    EXPECT_FLOAT_EQ(p[0]->fSrcX, 3);
    EXPECT_FLOAT_EQ(p[1]->fSrcY, 7);
    EXPECT_FLOAT_EQ(p[2]->fSrcY, 5);
    EXPECT_FLOAT_EQ(p[3]->fSrcX, 12);
}
