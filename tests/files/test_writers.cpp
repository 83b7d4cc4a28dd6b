// Whole-file writers: OnSave in the three formats and OnSaveModel. Files are
// checked as raw bytes, not through the reader.
#include <cmath>
#include <cstring>
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
    ASSERT_TRUE(dir.ok());
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
    EXPECT_EQ(be32(b, 3200), 1);
    EXPECT_EQ(be32(b, 3204), 1);
    EXPECT_EQ(be32(b, 3208), 1);
    EXPECT_EQ(be16(b, 3212), 3);
    EXPECT_EQ(be16(b, 3214), 0);
    EXPECT_EQ(be16(b, 3216), 2000);
    EXPECT_EQ(be16(b, 3218), 2000);
    EXPECT_EQ(be16(b, 3220), 5);
    EXPECT_EQ(be16(b, 3222), 5);
    EXPECT_EQ(be16(b, 3224), 1);
    EXPECT_EQ(be16(b, 3226), 32);
    EXPECT_EQ(be16(b, 3254), 1);
    EXPECT_EQ(beu32(b, 3592), 0x3F800000u);  // value scale 1.0
    EXPECT_EQ(be16(b, 3596), 1);
    EXPECT_EQ(be16(b, 3598), 0);
    for (size_t i = 3228; i < 3254; i++)
        ASSERT_EQ(b[i], 0) << i;
    for (size_t i = 3256; i < 3590; i++)
        ASSERT_EQ(b[i], 0) << i;

    for (int k = 0; k < 3; k++) {
        const size_t t = 3600 + (size_t)k * 260;
        EXPECT_EQ(be32(b, t + 0), k + 1);
        EXPECT_EQ(be32(b, t + 4), k + 1);
        EXPECT_EQ(be32(b, t + 8), 0);
        EXPECT_EQ(be32(b, t + 12), k + 1);
        EXPECT_EQ(be16(b, t + 28), 1);
        EXPECT_EQ(be32(b, t + 36), 0);  // source on the receiver
        EXPECT_EQ(be32(b, t + 72), 100 + 50 * k);
        EXPECT_EQ(be32(b, t + 80), 100 + 50 * k);
        EXPECT_EQ(be32(b, t + 76), 0);
        EXPECT_EQ(be16(b, t + 114), 5);
        EXPECT_EQ(be16(b, t + 116), 2000);
        EXPECT_EQ(be32(b, t + 188), k + 1);
        EXPECT_EQ(be32(b, t + 192), k + 1);
        for (int j = 0; j < 5; j++) {
            uint32_t w = ibm[j];
            if (k == 1 && w)
                w ^= 0x80000000u;
            EXPECT_EQ(beu32(b, t + 240 + 4 * j), w) << k << " " << j;
        }
    }
}

TEST_F(Writers, SegySignedOffsetAndGeometryFromInfo)
{
    ASSERT_TRUE(dir.ok());
    CSdsPC::COOR_SCALER = -100;
    SDS_TRACEINFO info[2] = {Info(500.0f, 10.0f, 3.0f, 380.5f, 10.0f, 0.0f, 4),
                             Info(500.0f, 10.0f, 3.0f, 620.25f, 10.0f, 0.0f, 4)};
    std::vector<float> data(2 * 3, 0.5f);
    data[0] = 0.0000009f;  // below 1e-6: written as four zero bytes
    const std::string name = P("o.sgy");
    // The rectangle's trace axis has no effect with pInfo.
    ASSERT_TRUE(obj.OnSave(name.c_str(), data.data(), CRectR(-7, 0, 7, 4), CSizeN(2, 3), 0, 0, false, info,
                           DU_MSEC));
    auto b = ReadBytes(name);
    ASSERT_EQ(b.size(), 3600u + 2 * (240 + 12));
    EXPECT_EQ(be32(b, 3600 + 36), -120);  // floor(380.5 - 500)
    EXPECT_EQ(be32(b, 3600 + 252 + 36), 120);
    EXPECT_EQ(be32(b, 3600 + 8), 4);
    EXPECT_EQ(be32(b, 3600 + 72), 50000);
    EXPECT_EQ(be32(b, 3600 + 80), 38050);
    EXPECT_EQ(be32(b, 3600 + 252 + 80), 62025);
    EXPECT_EQ(be16(b, 3600 + 70), -100);
    EXPECT_EQ(be32(b, 3600 + 44), -3);  // elevation is -Z, elevation scaler 1
    EXPECT_EQ(beu32(b, 3600 + 240), 0u);
    EXPECT_EQ(beu32(b, 3600 + 244), 0x40800000u);

    CSdsPC::USE_NEGATIVE_SRC_RCV_DIST = false;
    ASSERT_TRUE(obj.OnSave(name.c_str(), data.data(), CRectR(-7, 0, 7, 4), CSizeN(2, 3), 0, 0, false, info,
                           DU_MSEC));
    b = ReadBytes(name);
    EXPECT_EQ(be32(b, 3600 + 36), 120);  // the unsigned distance
}

TEST_F(Writers, SegyWithoutDataAlongYAndRotated)
{
    ASSERT_TRUE(dir.ok());
    const std::string name = P("z.sgy");
    ASSERT_TRUE(obj.OnSave(name.c_str(), nullptr, CRectR(100, 0, 100, 10), CSizeN(1, 6), 0, 0, true, nullptr,
                           DU_M));
    auto b = ReadBytes(name);
    ASSERT_EQ(b.size(), 3600u + 240 + 24);
    EXPECT_EQ(be32(b, 3600 + 72), 0);
    EXPECT_EQ(be32(b, 3600 + 76), 100);  // a single trace stands at x0, along Y
    EXPECT_EQ(be16(b, 3216), 2000);      // 2 m in millimetres
    EXPECT_EQ(be16(b, 3596), 2);
    for (size_t i = 3600 + 240; i < b.size(); i++)
        ASSERT_EQ(b[i], 0);

    CSdsPC::bRotate = true;
    CSdsPC::rX00 = 1000;
    CSdsPC::rY00 = 2000;
    CSdsPC::rXx0 = 1000;
    CSdsPC::rYx0 = 2010;  // X axis along +Y: c = 0, s = 1
    ASSERT_TRUE(obj.OnSave(name.c_str(), nullptr, CRectR(100, 0, 200, 10), CSizeN(2, 6), 0, 0, false, nullptr,
                           DU_MSEC));
    b = ReadBytes(name);
    EXPECT_EQ(be32(b, 3600 + 72), 1000);
    EXPECT_EQ(be32(b, 3600 + 76), 2100);
    EXPECT_EQ(be32(b, 3600 + 264 + 72), 1000);
    EXPECT_EQ(be32(b, 3600 + 264 + 76), 2200);

    CSdsPC::rYx0 = 2000.0001;  // too short an axis: no rotation
    ASSERT_TRUE(obj.OnSave(name.c_str(), nullptr, CRectR(100, 0, 200, 10), CSizeN(2, 6), 0, 0, false, nullptr,
                           DU_MSEC));
    b = ReadBytes(name);
    EXPECT_EQ(be32(b, 3600 + 72), 100);
}

TEST_F(Writers, SdsTracesAsRawFloats)
{
    ASSERT_TRUE(dir.ok());
    auto data = Gather(2, 4, [](int k, int j) { return 10.0f * k + j + 0.25f; });
    const std::string name = P("s.rec");
    ASSERT_TRUE(obj.OnSave(name.c_str(), data.data(), CRectR(0, 0, 25, 6), CSizeN(2, 4), 0, 0, false, nullptr,
                           DU_MSEC));
    auto b = ReadBytes(name);
    ASSERT_EQ(b.size(), 2u * (80 + 16));
    for (int k = 0; k < 2; k++) {
        const size_t t = (size_t)k * 96;
        EXPECT_EQ(le32(b, t + 0), k + 1);
        EXPECT_EQ(le32(b, t + 20), 25 * k);
        EXPECT_EQ(std::string((char*)&b[t + 36], 4), "R4  ");
        EXPECT_EQ(le32(b, t + 40), 0);
        EXPECT_EQ(le32(b, t + 44), 8);
        EXPECT_EQ(le32(b, t + 56), 2);
        for (int j = 0; j < 4; j++)
            EXPECT_EQ(lef32(b, t + 80 + 4 * j), 10.0f * k + j + 0.25f);
    }
}

TEST_F(Writers, SdsAxisThatIsNotWholeStaysInsideTheBuffer)
{
    ASSERT_TRUE(dir.ok());
    auto data = Gather(2, 4, [](int, int j) { return 1.0f + j; });
    // A step of 1.4 is stored as 1: the header promises 5 samples; the fifth is 0.
    const std::string a = P("a.rec");
    ASSERT_TRUE(obj.OnSave(a.c_str(), data.data(), CRectR(0, 0, 1, 4.2), CSizeN(2, 4), 0, 0, false, nullptr,
                           DU_MSEC));
    auto b = ReadBytes(a);
    ASSERT_EQ(b.size(), 2u * (80 + 20));
    EXPECT_EQ(lef32(b, 80 + 12), 4.0f);
    EXPECT_EQ(lef32(b, 80 + 16), 0.0f);
    // A step of 1.6 is stored as 2, the stop as 2 + 5: 3 samples are written.
    const std::string c = P("c.rec");
    ASSERT_TRUE(obj.OnSave(c.c_str(), data.data(), CRectR(0, 0, 1, 4.8), CSizeN(2, 4), 0, 0, false, nullptr,
                           DU_MSEC));
    b = ReadBytes(c);
    ASSERT_EQ(b.size(), 2u * (80 + 12));
    EXPECT_EQ(lef32(b, 80 + 8), 3.0f);
}

TEST_F(Writers, RefusalsAndTheirOrder)
{
    ASSERT_TRUE(dir.ok());
    std::vector<float> data(10, 1.0f);
    struct {
        const char* name;
        int nx, ny;
        const char* message;
    } const cases[] = {
        {"x.txt", 2, 5, "has incorrect extension"},
        {"x.txt", 0, 1, "has incorrect extension"},  // extension before size
        {"y.sgy", 0, 5, "Buffer size error\n"},
        {"y.sgy", 2, 1, "Buffer size error\n"},
        {"y.rec", 2, 1, "Buffer size error\n"},
    };
    for (auto& c : cases) {
        testing::internal::CaptureStdout();
        EXPECT_FALSE(obj.OnSave(P(c.name).c_str(), data.data(), CRectR(0, 0, 1, 1), CSizeN(c.nx, c.ny), 0, 0,
                                false, nullptr, DU_MSEC))
            << c.name;
        const std::string out = testing::internal::GetCapturedStdout();
        EXPECT_NE(out.find(c.message), std::string::npos) << c.name << ": " << out;
        EXPECT_FALSE(FileExists(P(c.name))) << c.name;
    }
    testing::internal::CaptureStdout();
    EXPECT_FALSE(obj.OnSave(P("nodir/z.sgy").c_str(), data.data(), CRectR(0, 0, 1, 1), CSizeN(2, 5), 0, 0,
                            false, nullptr, DU_MSEC));
    EXPECT_NE(testing::internal::GetCapturedStdout().find("is not opened."), std::string::npos);
    // SEG-Y cannot count more than 32767 samples.
    testing::internal::CaptureStdout();
    EXPECT_FALSE(obj.OnSave(P("big.sgy").c_str(), nullptr, CRectR(0, 0, 1, 1), CSizeN(1, 40000), 0, 0, false,
                            nullptr, DU_MSEC));
    EXPECT_NE(testing::internal::GetCapturedStdout().find("Error!"), std::string::npos);
    // VMG needs samples.
    EXPECT_FALSE(obj.OnSave(P("v.vmg").c_str(), nullptr, CRectR(0, 0, 1, 1), CSizeN(2, 5), 0, 0, false,
                            nullptr, DU_MSEC));
    EXPECT_FALSE(FileExists(P("v.vmg")));
}

TEST_F(Writers, VmgGatherFrame)
{
    ASSERT_TRUE(dir.ok());
    obj.m_cComponent = 'Z';
    auto data = Gather(3, 3, [](int k, int j) { return (float)(k * 100 + j); });
    SDS_TRACEINFO info[3] = {Info(7, 0, 2, 10, 0, 0), Info(7, 0, 2, 20, 0, 0), Info(7, 0, 2, 30, 0, 0)};
    const std::string name = P("g.vmg");
    ASSERT_TRUE(obj.OnSave(name.c_str(), data.data(), CRectR(10, 0, 30, 1000), CSizeN(3, 3), 0, 0, false, info,
                           DU_SAME));  // m_DataUnit is msec after construction
    auto b = ReadBytes(name);
    ASSERT_EQ(b.size(), 296u + 9 * 4);
    EXPECT_EQ(std::string((char*)&b[0], 19), "Binary. FD-Grid ___");
    EXPECT_EQ(std::string((char*)&b[20], 5), "Model");
    EXPECT_EQ(std::string((char*)&b[100], 11), "VelmoranPro");
    EXPECT_EQ(std::string((char*)&b[116], 16), name.substr(0, 16));
    EXPECT_EQ(lef32(b, 132), 10.0f);
    EXPECT_EQ(lef32(b, 136), 30.0f);
    EXPECT_EQ(lef32(b, 140), 10.0f);
    EXPECT_EQ(lef32(b, 144), 7.0f);
    EXPECT_EQ(lef32(b, 148), 0.0f);
    EXPECT_EQ(lef32(b, 152), 1.0f);  // seconds
    EXPECT_EQ(lef32(b, 156), 0.5f);
    EXPECT_EQ(lef32(b, 160), 2.0f);
    EXPECT_EQ(le32(b, 196), 3);
    EXPECT_EQ(le32(b, 200), 3);
    EXPECT_EQ(le32(b, 204), 1);
    EXPECT_EQ(le32(b, 208), 1);
    EXPECT_EQ(le32(b, 232), 1);
    EXPECT_EQ(le32(b, 236), 1);
    EXPECT_EQ(le32(b, 240), 0);
    EXPECT_EQ(le32(b, 244), 1);
    EXPECT_EQ(le32(b, 248), 2);
    EXPECT_EQ(b[252], 'Z');
    EXPECT_EQ(std::string((char*)&b[260], 4), "XTZY");
    EXPECT_EQ(std::string((char*)&b[268]), "Gath");
    for (size_t i = 212; i < 232; i++)
        ASSERT_EQ(b[i], 0) << i;
    for (int i = 0; i < 9; i++)
        EXPECT_EQ(lef32(b, 296 + 4 * i), data[i]);

    // Depth data: metres stay, and the frame is a model; one trace: step 1.
    ASSERT_TRUE(obj.OnSave(name.c_str(), data.data(), CRectR(10, 0, 10, 1000), CSizeN(1, 9), 0, 0, false,
                           nullptr, DU_M));
    b = ReadBytes(name);
    EXPECT_EQ(lef32(b, 140), 1.0f);
    EXPECT_EQ(lef32(b, 152), 1000.0f);
    EXPECT_EQ(lef32(b, 144), 0.0f);
    EXPECT_EQ(std::string((char*)&b[260], 4), "XZTY");
    EXPECT_EQ(std::string((char*)&b[268]), "Modl");
}

// ------------------------------------------------------------------ OnSaveModel

TEST_F(Writers, ModelTablesFillTheMissingPlanes)
{
    ASSERT_TRUE(dir.ok());
    // v, then the expected Q and R.
    const float cases[][3] = {{1500, 1970, 900},  {1750, 1990, 1025}, {9500, 3650, 5500}, {12000, 3800, 6000},
                              {0, 0, 0},          {-5, 0, 0},         {300, 1000, 0},     {10000, 3800, 6000},
                              {2250, 2105, 1300}, {1501, 1970, 900} /* 900.5 is cut, not rounded */};
    const int n = (int)(sizeof(cases) / sizeof(cases[0]));
    // n traces of 2 samples; sample 1 repeats sample 0.
    std::vector<float> p0(2 * n);
    for (int k = 0; k < n; k++)
        p0[k] = p0[k + n] = cases[k][0];
    char letters[] = "PQR";
    const std::string name = P("m.vmg");
    ASSERT_TRUE(obj.OnSaveModel(name.c_str(), p0.data(), nullptr, nullptr, CRectR(0, 0, 900, 2000), CSizeN(n, 2),
                                nullptr, letters, DU_MSEC, nullptr));
    auto b = ReadBytes(name);
    ASSERT_EQ(b.size(), 296u + 3 * 2 * n * 4);
    EXPECT_EQ(le32(b, 244), 3);
    EXPECT_EQ(std::string((char*)&b[252], 3), "PQR");
    EXPECT_EQ(std::string((char*)&b[260], 4), "XTZY");
    EXPECT_EQ(lef32(b, 148), 0.0f);
    EXPECT_EQ(lef32(b, 152), 2.0f);
    EXPECT_EQ(lef32(b, 156), 2.0f);
    EXPECT_EQ(lef32(b, 140), 100.0f);
    for (int j = 0; j < 2; j++)
        for (int k = 0; k < n; k++)
            for (int c = 0; c < 3; c++)
                EXPECT_EQ(lef32(b, 296 + 4 * (((size_t)j * n + k) * 3 + c)), cases[k][c])
                    << "v=" << cases[k][0] << " component " << c;
}

TEST_F(Writers, ModelComponentCounts)
{
    ASSERT_TRUE(dir.ok());
    std::vector<float> p0(4, 1500.0f), p1(4, 11.0f), p3(4, 33.0f);
    const std::string name = P("m.vmg");
    // Only p0, no letters: one component "P".
    ASSERT_TRUE(obj.OnSaveModel(name.c_str(), p0.data(), nullptr, nullptr, CRectR(0, 0, 1, 1), CSizeN(2, 2),
                                nullptr, nullptr, DU_MSEC, nullptr));
    auto b = ReadBytes(name);
    EXPECT_EQ(le32(b, 244), 1);
    EXPECT_EQ(b[252], 'P');
    EXPECT_EQ(b.size(), 296u + 4 * 4);
    // p0 and p1: "PQ", the second plane as given.
    ASSERT_TRUE(obj.OnSaveModel(name.c_str(), p0.data(), p1.data(), nullptr, CRectR(0, 0, 1, 1), CSizeN(2, 2),
                                nullptr, nullptr, DU_MSEC, nullptr));
    b = ReadBytes(name);
    EXPECT_EQ(le32(b, 244), 2);
    EXPECT_EQ(std::string((char*)&b[252], 2), "PQ");
    EXPECT_EQ(lef32(b, 296 + 4), 11.0f);
    // p3 as well: four components, R from the table.
    ASSERT_TRUE(obj.OnSaveModel(name.c_str(), p0.data(), p1.data(), nullptr, CRectR(0, 0, 1, 1), CSizeN(2, 2),
                                nullptr, nullptr, DU_MSEC, p3.data()));
    b = ReadBytes(name);
    EXPECT_EQ(le32(b, 244), 4);
    EXPECT_EQ(std::string((char*)&b[252], 4), "PQRS");
    EXPECT_EQ(lef32(b, 296 + 8), 900.0f);
    EXPECT_EQ(lef32(b, 296 + 12), 33.0f);

    // Names: ".segy" and no extension are VMG; another three-letter one is refused.
    ASSERT_TRUE(obj.OnSaveModel(P("m.segy").c_str(), p0.data(), nullptr, nullptr, CRectR(0, 0, 1, 1),
                                CSizeN(2, 2), nullptr, nullptr, DU_MSEC, nullptr));
    EXPECT_EQ(std::string((char*)ReadBytes(P("m.segy")).data(), 19), "Binary. FD-Grid ___");
    ASSERT_TRUE(obj.OnSaveModel(P("plain").c_str(), p0.data(), nullptr, nullptr, CRectR(0, 0, 1, 1),
                                CSizeN(2, 2), nullptr, nullptr, DU_MSEC, nullptr));
    EXPECT_TRUE(FileExists(P("plain")));
    EXPECT_FALSE(obj.OnSaveModel(P("m.abc").c_str(), p0.data(), nullptr, nullptr, CRectR(0, 0, 1, 1),
                                 CSizeN(2, 2), nullptr, nullptr, DU_MSEC, nullptr));
    EXPECT_FALSE(obj.OnSaveModel(name.c_str(), nullptr, nullptr, nullptr, CRectR(0, 0, 1, 1), CSizeN(2, 2),
                                 nullptr, nullptr, DU_MSEC, nullptr));
    EXPECT_FALSE(obj.OnSaveModel(name.c_str(), p0.data(), nullptr, nullptr, CRectR(0, 0, 1, 1), CSizeN(4, 1),
                                 nullptr, nullptr, DU_MSEC, nullptr));
}

TEST_F(Writers, ModelInSegyOneFilePerPlane)
{
    ASSERT_TRUE(dir.ok());
    std::vector<float> p0(4, 1.0f), p1(4, 2.0f), p2(4, 4.0f);
    CSdsPC::COMPONENT_SAVE = 0;
    ASSERT_TRUE(obj.OnSaveModel(P("model.sgy").c_str(), p0.data(), nullptr, nullptr, CRectR(0, 0, 1, 1),
                                CSizeN(2, 2), nullptr, nullptr, DU_M, nullptr));
    EXPECT_EQ(CSdsPC::COMPONENT_SAVE, 1);  // stays and marks later files
    EXPECT_EQ(be16(ReadBytes(P("model.sgy")), 3590), 1);
    EXPECT_EQ(be16(ReadBytes(P("model.sgy")), 3596), 1);  // msec, whatever the unit argument

    char letters[] = "PZX";
    ASSERT_TRUE(obj.OnSaveModel(P("model.sgy").c_str(), p0.data(), p1.data(), p2.data(), CRectR(0, 0, 1, 1),
                                CSizeN(2, 2), nullptr, letters, DU_MSEC, nullptr));
    EXPECT_EQ(be16(ReadBytes(P("model_Z.SGY")), 3590), 4);
    EXPECT_EQ(be16(ReadBytes(P("model_X.SGY")), 3590), 5);
    EXPECT_EQ(beu32(ReadBytes(P("model_Z.SGY")), 3600 + 240), 0x41200000u);  // 2.0
    EXPECT_EQ(CSdsPC::COMPONENT_SAVE, 5);

    ASSERT_TRUE(obj.OnSaveModel(P("model.rec").c_str(), p0.data(), p1.data(), nullptr, CRectR(0, 0, 1, 1),
                                CSizeN(2, 2), nullptr, nullptr, DU_MSEC, nullptr));
    EXPECT_TRUE(FileExists(P("model_Q.REC")));

    // A name too long to derive from fails cleanly.
    std::string longName = P("") + std::string(300, 'n') + ".sgy";
    testing::internal::CaptureStdout();
    EXPECT_FALSE(obj.OnSaveModel(longName.c_str(), p0.data(), p1.data(), nullptr, CRectR(0, 0, 1, 1),
                                 CSizeN(2, 2), nullptr, nullptr, DU_MSEC, nullptr));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(CSdsPC::COMPONENT_SAVE, 0);
}

}  // namespace
