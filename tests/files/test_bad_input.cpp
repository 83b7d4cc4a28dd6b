// Broken files made here: every one must give false (or a sane object whose
// traces all read), never a crash, a hang or a read outside a buffer.
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "files/SdsPC.h"
#include "files_test_util.h"

using namespace sdspc_test;

namespace {

// A cut-short file may still open with the traces before the cut.
struct BadCase { std::string label, ext; Bytes bytes; bool mayOpen; };

// Open, and when it opens read every trace plain and resampled, and build a cube.
void Exercise(const TempDir& d, const BadCase& c)
{
    std::string name = d / ("bad_" + c.label + c.ext);
    ASSERT_TRUE(WriteBytes(name, c.bytes));
    CSdsPC f;
    const bool ok = f.OnOpen(name.c_str());
    EXPECT_TRUE(c.mayOpen || !ok) << c.label;
    if (!ok) {
        EXPECT_TRUE(f.m_fp == nullptr && f.m_pSR == nullptr && f.m_nTraceCount == 0) << c.label;
        return;
    }
    ASSERT_GT(f.m_nTraceCount, 0) << c.label;
    int len = f.m_nTraceLen > 0 && f.m_nTraceLen < 100000 ? f.m_nTraceLen : 16;
    std::vector<float> buf((size_t)len + 8), out(11);
    double axis[3] = {0.0, 10.0, 1.0};
    for (int k = 0; k < f.m_nTraceCount; k++) {
        f.GetTrace(k, buf.data(), len);
        f.GetTrace(k, out.data(), axis, nullptr, 0.0f);
    }
    std::vector<float> cube(4 * 4 * 3);
    f.Get3D_buf(C3DSizeN(4, 4, 3), CCubeR(f.m_traseXY[0], 0, 0, f.m_traseXY[1] + 1, 10, 10), cube.data(), nullptr,
                0, 0.0f);
}

Bytes Cut(const Bytes& b, size_t n) { return Bytes(b.begin(), b.begin() + std::min(n, b.size())); }

}  // namespace

TEST(SdsPCBadInput, SegyCorpus)
{
    TempDir d;
    RawSgy good = LineSgy(3, 50, 1, true, [](int k, int i) { return k + 0.5 * i; });
    auto g = BuildSgy(good);
    std::vector<BadCase> cases;
    cases.push_back({"empty", ".sgy", {}, false});
    cases.push_back({"tiny", ".sgy", Bytes(100, 0x40), false});
    for (size_t n : {3300, 3600, 3600 + 120, 3600 + 240 + 100, 3600 + 440 + 240 + 10})  // the last opens
        cases.push_back({"cut" + std::to_string(n), ".sgy", Cut(g, n), n > 4000});

    auto variant = [&](const std::string& label, std::function<void(RawSgy&)> edit, bool mayOpen) {
        RawSgy s = good;
        edit(s);
        cases.push_back({label, ".sgy", BuildSgy(s), mayOpen});
    };
    auto allNs = [](RawSgy& s, int ns) {
        s.ns = ns;
        for (auto& t : s.traces) t.ns = ns;
    };
    for (int ns : {0, 1, -5, 32767})  // the last far beyond the file
        variant("ns" + std::to_string(ns), [&](RawSgy& s) { allNs(s, ns); }, false);
    // Only the second trace claims a huge length: the first opens.
    variant("hugens2", [](RawSgy& s) { s.traces[1].ns = 32000; }, true);
    // Negative count in a trace header falls back to the file's.
    variant("negns_trace", [](RawSgy& s) { s.traces[2].ns = -7; }, true);
    for (int fmt : {0, 7, 8, 4})
        variant("format" + std::to_string(fmt), [fmt](RawSgy& s) { s.format = fmt; }, fmt == 4);
    std::mt19937 rng(12345);
    auto garbage = [&](Bytes b, size_t from, size_t to) {  // random bytes over [from, to)
        for (size_t i = from; i < to; i++) b[i] = (unsigned char)rng();
        return b;
    };
    for (int r = 0; r < 20; r++) {
        const std::string n = std::to_string(r);
        const size_t size = 3600 + 240 * 4 + 400 * (r % 5);
        cases.push_back({"random" + n, ".sgy", garbage(Bytes(size), 0, size), true});
        // A valid file header followed by garbage trace headers, and garbage
        // in the binary file header before good traces.
        Bytes h = Cut(g, 3600);
        h.resize(3600 + 3000);
        cases.push_back({"garbage_traces" + n, ".sgy", garbage(h, 3600, h.size()), true});
        cases.push_back({"garbage_fileheader" + n, ".sgy", garbage(g, 3200, 3600), true});
    }
    for (auto& c : cases) Exercise(d, c);
}

TEST(SdsPCBadInput, SdsCorpus)
{
    TempDir d;
    std::vector<RawSdsTrace> tr(3);
    for (auto& t : tr) t.samples.assign(10, 1.5f);
    auto g = BuildSds(tr);
    std::vector<BadCase> cases;
    cases.push_back({"empty", ".rec", {}, false});
    for (size_t n : {40, 80, 120 + 80 + 10})  // the last opens
        cases.push_back({"cut" + std::to_string(n), ".rec", Cut(g, n), n > 120});
    auto variant = [&](const char* label, void (*edit)(RawSdsTrace&), bool mayOpen) {
        std::vector<RawSdsTrace> t2 = tr;
        edit(t2[0]);
        cases.push_back({label, ".sec", BuildSds(t2), mayOpen});
    };
    variant("startisstop", [](RawSdsTrace& t) { t.stop = t.start; }, false);
    variant("stepzero", [](RawSdsTrace& t) { t.step = 0; t.stop = 20; }, false);
    variant("stepnegative", [](RawSdsTrace& t) { t.step = -2; t.stop = 20; }, false);
    variant("r2", [](RawSdsTrace& t) { t.fmt = "R2  "; }, false);
    variant("unknownfmt", [](RawSdsTrace& t) { t.fmt = "XX  "; }, false);
    variant("hugestop", [](RawSdsTrace& t) { t.stop = 2000000000; t.start = -2000000000; t.step = 1; }, false);
    variant("minstep", [](RawSdsTrace& t) { t.stop = 2147483647; t.start = -2147483647 - 1; t.step = -1; }, false);
    std::vector<RawSdsTrace> t1(1), dead = tr;
    t1[0].fmt = "T1  ";
    t1[0].samples.assign(1, 3.0f);
    for (auto& t : dead) t.actualFlag = 0;
    cases.push_back({"t1single", ".rec", BuildSds(t1), false});
    cases.push_back({"alldead", ".rec", BuildSds(dead), false});
    std::mt19937 rng(777);
    for (int r = 0; r < 30; r++) {
        Bytes b = g;
        for (int k = 0; k < 8; k++) b[rng() % 80] = (unsigned char)rng();
        cases.push_back({"mutated" + std::to_string(r), ".rec", b, true});
    }
    for (auto& c : cases) Exercise(d, c);
}

TEST(SdsPCBadInput, VmgCorpus)
{
    TempDir d;
    auto val = [](int c, int i) { return c + i; };
    auto g = BuildVmgFrame(4, 6, 0.0f, 30.0f, 0.0f, 0.5f, "XTZY", 1, 0, val);
    std::vector<BadCase> cases;
    cases.push_back({"empty", ".vmg", {}, false});
    for (size_t n : {200, 296, 296 + 40}) cases.push_back({"cut" + std::to_string(n), ".vmg", Cut(g, n), false});
    auto edit32 = [&](const char* label, size_t off, int v, bool mayOpen) {
        auto b = g;
        Put32(b, off, v, false);
        cases.push_back({label, ".vmg", b, mayOpen});
    };
    edit32("n1huge", 196, 2000000000, false);
    edit32("n1neg", 196, -4, false);
    edit32("n2zero", 200, 0, false);
    edit32("n2huge", 200, 1 << 30, false);
    edit32("n3neg", 204, -1, false);
    edit32("compsneg", 244, -3, true);
    edit32("compshuge", 244, 1 << 29, false);
    edit32("framesmany", 236, 2000000000, true);  // announced frames that are not there
    auto two = g;
    const auto second = BuildVmgFrame(4, 6, 0.0f, 30.0f, 0.0f, 0.5f, "XTZY", 2, 1, val);
    Put32(two, 236, 2, false);
    two.insert(two.end(), second.begin(), second.begin() + 300);  // second frame cut
    cases.push_back({"secondcut", ".vmg", two, true});
    std::mt19937 rng(4242);
    for (int r = 0; r < 30; r++) {
        auto b = g;
        for (int k = 0; k < 6; k++) b[132 + rng() % 164] = (unsigned char)rng();
        cases.push_back({"mutated" + std::to_string(r), ".vmg", b, true});
    }
    for (auto& c : cases) Exercise(d, c);
}

// A ".cr2" next to a file must never be trusted beyond what it can hold.
TEST(SdsPCBadInput, GarbageCatalogue)
{
    TempDir d;
    std::string name = d / "cat.sgy";
    ASSERT_TRUE(WriteBytes(name, BuildSgy(LineSgy(4, 60, 3, true, [](int, int i) { return (double)i; }))));
    std::mt19937 rng(99);
    for (int r = 0; r < 40; r++) {
        Bytes cr2(220 + 44 * 4 + 50);
        for (auto& x : cr2) x = (unsigned char)rng();
        Put32(cr2, 0, 2, false);  // right version
        if (r % 2) {
            int64_t zero = 0;
            memcpy(&cr2[4], &zero, 8);  // size unknown: not stale
        }
        if (r % 3 == 0) Put32(cr2, 20, 0x7FFFFFF0, false);  // absurd trace count
        ASSERT_TRUE(WriteBytes(name + ".cr2", cr2));
        CSdsPC f;
        if (!f.OnOpen(name.c_str())) continue;
        ASSERT_GT(f.m_nTraceCount, 0);
        ASSERT_LE(f.m_nTraceCount, 100);  // no catalogue larger than its file
        std::vector<float> buf(64);
        for (int k = 0; k < f.m_nTraceCount; k++) f.GetTrace(k, buf.data(), 64);
    }
}
