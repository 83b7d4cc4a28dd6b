// Whole-file writers: OnSave in the three formats and OnSaveModel. Files are
// checked as raw bytes, not through the reader.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "files/SdsPC.h"
#include "files_test_util.h"

using namespace ftest;

namespace {

class Writers : public ::testing::Test {
protected:
    SettingsGuard guard;
    ScratchDir dir;
    CSdsPC obj;
    std::string P(const char* name) { return dir.path(name); }
};

// Sample-major: sample j of trace k at k + j * nx.
std::vector<float> Gather(int nx, int ny, float (*f)(int, int))
{
    std::vector<float> v((size_t)nx * ny);
    for (int k = 0; k < nx; k++)
        for (int j = 0; j < ny; j++)
            v[(size_t)k + (size_t)j * nx] = f(k, j);
    return v;
}

TEST_F(Writers, SegyFileAndTraceHeadersAtTheirOffsets)
{
    // Values with known IBM words.
    const float vals[5] = {1.0f, -118.625f, 100.0f, 0.5f, 0.0f};
    const uint32_t ibm[5] = {0x41100000u, 0xC276A000u, 0x42640000u, 0x40800000u, 0u};
    std::vector<float> data(3 * 5);
    for (int k = 0; k < 3; k++)
        for (int j = 0; j < 5; j++)
            data[k + j * 3] = (k == 1) ? -vals[j] : vals[j];
    const std::string name = P("g.sgy");
    ASSERT_TRUE(obj.OnSave(name.c_str(), data.data(), CRectR(100, 0, 200, 8), CSizeN(3, 5), 0, 0, false,
                           nullptr, DU_MSEC));
    const auto b = ReadBytes(name);
    ASSERT_EQ(b.size(), 3600u + 3 * (240 + 5 * 4));
    EXPECT_EQ(b[0], 0xC3);  // 'C' in EBCDIC
    EXPECT_EQ(b[1], 0x40);
    EXPECT_EQ(b[2], 0xF1);
    ExpectAt(b, be16, {{3212, 3}, {3216, 2000}, {3220, 5}, {3224, 1}, {3226, 32}, {3254, 1}, {3596, 1}, {3598, 0}});
    EXPECT_EQ(be32(b, 3200), 1);
    EXPECT_EQ(beu32(b, 3592), 0x3F800000u);  // value scale 1.0
    for (int k = 0; k < 3; k++) {
        const size_t t = 3600 + (size_t)k * 260;
        // Offset 36: the source on the receiver.
        ExpectAt(b, be32, {{0, k + 1}, {36, 0}, {72, 100 + 50 * k}, {80, 100 + 50 * k}, {76, 0}}, t);
        EXPECT_EQ(be16(b, t + 114), 5);
        for (int j = 0; j < 5; j++) {
            uint32_t w = ibm[j];
            if (k == 1 && w)
                w ^= 0x80000000u;
            EXPECT_EQ(beu32(b, t + 240 + 4 * j), w) << k << " " << j;
        }
    }
}

TEST_F(Writers, SdsTracesAsRawFloats)
{
    auto data = Gather(2, 4, [](int k, int j) { return 10.0f * k + j + 0.25f; });
    const std::string name = P("s.rec");
    ASSERT_TRUE(obj.OnSave(name.c_str(), data.data(), CRectR(0, 0, 25, 6), CSizeN(2, 4), 0, 0, false, nullptr,
                           DU_MSEC));
    auto b = ReadBytes(name);
    ASSERT_EQ(b.size(), 2u * (80 + 16));
    for (int k = 0; k < 2; k++) {
        const size_t t = (size_t)k * 96;
        ExpectAt(b, le32, {{0, k + 1}, {20, 25 * k}, {40, 0}, {44, 8}, {56, 2}}, t);
        EXPECT_EQ(std::string((char*)&b[t + 36], 4), "R4  ");
        for (int j = 0; j < 4; j++)
            EXPECT_EQ(lef32(b, t + 80 + 4 * j), 10.0f * k + j + 0.25f);
    }
}

TEST_F(Writers, RefusalsAndTheirOrder)
{
    std::vector<float> data(10, 1.0f);
    struct { const char* name; int nx, ny; bool bData; const char* message; } const cases[] = {
        {"x.txt", 2, 5, true, "has incorrect extension"},
        {"x.txt", 0, 1, true, "has incorrect extension"},  // extension before size
        {"y.sgy", 0, 5, true, "Buffer size error\n"},
        {"y.sgy", 2, 1, true, "Buffer size error\n"},
        {"y.rec", 2, 1, true, "Buffer size error\n"},
        {"nodir/z.sgy", 2, 5, true, "is not opened."},
        {"big.sgy", 1, 40000, false, "Error!"},  // SEG-Y cannot count more than 32767 samples
        {"v.vmg", 2, 5, false, ""},              // VMG needs samples
    };
    for (auto& c : cases) {
        testing::internal::CaptureStdout();
        EXPECT_FALSE(obj.OnSave(P(c.name).c_str(), c.bData ? data.data() : nullptr, CRectR(0, 0, 1, 1),
                                CSizeN(c.nx, c.ny), 0, 0, false, nullptr, DU_MSEC)) << c.name;
        const std::string out = testing::internal::GetCapturedStdout();
        EXPECT_NE(out.find(c.message), std::string::npos) << c.name << ": " << out;
        EXPECT_FALSE(FileExists(P(c.name))) << c.name;
    }
}

TEST_F(Writers, VmgGatherFrame)
{
    obj.m_cComponent = 'Z';
    auto data = Gather(3, 3, [](int k, int j) { return (float)(k * 100 + j); });
    SDS_TRACEINFO info[3] = {Info(7, 0, 2, 10, 0, 0), Info(7, 0, 2, 20, 0, 0), Info(7, 0, 2, 30, 0, 0)};
    const std::string name = P("g.vmg");
    ASSERT_TRUE(obj.OnSave(name.c_str(), data.data(), CRectR(10, 0, 30, 1000), CSizeN(3, 3), 0, 0, false, info,
                           DU_SAME));  // m_DataUnit is msec after construction
    auto b = ReadBytes(name);
    ASSERT_EQ(b.size(), 296u + 9 * 4);
    EXPECT_EQ(std::string((char*)&b[0], 19), "Binary. FD-Grid ___");
    // Offset 152: the last time in seconds.
    ExpectAt(b, lef32, {{132, 10}, {136, 30}, {140, 10}, {144, 7}, {148, 0}, {152, 1}, {156, 0.5}, {160, 2}});
    ExpectAt(b, le32, {{196, 3}, {200, 3}, {236, 1}, {240, 0}, {244, 1}, {248, 2}});
    EXPECT_EQ(b[252], 'Z');
    EXPECT_EQ(std::string((char*)&b[260], 4), "XTZY");
    EXPECT_EQ(std::string((char*)&b[268]), "Gath");
    for (int i = 0; i < 9; i++)
        EXPECT_EQ(lef32(b, 296 + 4 * i), data[i]);

    // Depth data: metres stay, and the frame is a model; one trace: step 1.
    ASSERT_TRUE(obj.OnSave(name.c_str(), data.data(), CRectR(10, 0, 10, 1000), CSizeN(1, 9), 0, 0, false,
                           nullptr, DU_M));
    b = ReadBytes(name);
    ExpectAt(b, lef32, {{140, 1}, {152, 1000}, {144, 0}});
    EXPECT_EQ(std::string((char*)&b[260], 4), "XZTY");
    EXPECT_EQ(std::string((char*)&b[268]), "Modl");
}

}  // namespace
