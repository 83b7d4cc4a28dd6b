// SEG-Y format level: IBM floats, EBCDIC, byte order checks, scalers,
// sample intervals, header construction and the ".inf" header map.
#include <cfloat>
#include <cmath>
#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include "files/SdsPC.h"
#include "files/SegyFormat.h"
#include "files_test_util.h"

using namespace ftest;

namespace {

float FromBits(uint32_t u)
{
    float f;
    memcpy(&f, &u, 4);
    return f;
}

// ------------------------------------------------------------------ IBM

// Expected words computed independently: exact rational value of the float,
// normalised to 16^E * M / 2^24 with M truncated.
struct IbmCase { uint32_t ieeeBits; uint32_t ibm; };
const IbmCase kIbmCases[] = {
    {0x3F800000u, 0x41100000u},  // 1.0
    {0xC2ED4000u, 0xC276A000u},  // -118.625
    {0x3F000000u, 0x40800000u},  // 0.5
    {0x3E800000u, 0x40400000u},  // 0.25
    {0x3D000000u, 0x3F800000u},  // 0.03125: exponent below 64
    {0x42C80000u, 0x42640000u},  // 100
    {0xBF800000u, 0xC1100000u},  // -1
    {0x40490FDBu, 0x413243F6u},  // pi as float
    {0x3DCCCCCDu, 0x40199999u},  // 0.1: bits fall off and are not rounded
    {0xBDCCCCCDu, 0xC0199999u},  // -0.1
    {0x7149F2CAu, 0x59C9F2CAu},  // 1e30
    {0x7F7FFFFFu, 0x60FFFFFFu},  // FLT_MAX: still inside the IBM range
    {0x3F800001u, 0x41100000u},  // 1 + 2^-23: the last bit is dropped
    {0x358637BEu, 0x3C10C6F7u},  // the float just above 1e-6
    {0x3627C5ACu, 0x3C29F16Bu},  // 2.5e-6
    {0xD4CBBA10u, 0xCB65DD08u},  // -7e12
};

TEST(IbmFloat, EncodesKnownBitPatterns)
{
    for (const IbmCase& c : kIbmCases) {
        const float v = FromBits(c.ieeeBits);
        EXPECT_EQ(IEEEToIBM(v), c.ibm) << "value " << v;
        unsigned char b[4];
        EncodeIBMFloat(v, b);
        EXPECT_EQ(b[0], (unsigned char)(c.ibm >> 24)) << "exponent byte comes first, value " << v;
        EXPECT_EQ(b[3], (unsigned char)(c.ibm & 0xFF)) << v;
    }
}

TEST(IbmFloat, DecodesKnownBitPatterns)
{
    const struct { uint32_t ibm; float value; } cases[] = {
        {0x41100000u, 1.0f},
        {0xC276A000u, -118.625f},
        {0x42640000u, 100.0f},
        {0x3F800000u, 0.03125f},
        {0x60FFFFFFu, FLT_MAX},
        {0x41010000u, 0.0625f},                 // unnormalised mantissa: 1/256 * 16
        {0x7FFFFFFFu, FLT_MAX},                 // 16^63 is far above FLT_MAX: saturated
        {0xFFFFFFFFu, -FLT_MAX},
        {0x61100000u, FLT_MAX},                 // 16^33 * 1/16 = 2^128 does not fit
        {0x60100000u, std::ldexp(1.0f, 124)},   // 2^124 does
        {0x21100000u, std::ldexp(1.0f, -128)},  // a float denormal
        {0x00100000u, 0.0f},                    // 2^-260: below the smallest denormal
        {0x80100000u, 0.0f},
    };
    for (const auto& c : cases)
        EXPECT_EQ(IBMToIEEE(c.ibm), c.value) << std::hex << c.ibm;
    // A zero mantissa is zero whatever the exponent.
    for (uint32_t exp = 0; exp < 256; exp += 17)
        EXPECT_EQ(IBMToIEEE(exp << 24), 0.0f) << exp;
    const unsigned char b[4] = {0xC2, 0x76, 0xA0, 0x00};
    EXPECT_EQ(DecodeIBMFloat(b), -118.625f);
}

// The block decoder takes a shortcut for most exponents; every exponent, both
// signs and mantissas from the smallest to the largest must give the very
// same float as the word-by-word decoder, denormal and saturated ranges included.
TEST(IbmFloat, BlockDecoderAgreesWithSingleDecoder)
{
    const uint32_t mant[] = {0x000000u, 0x000001u, 0x000007u, 0x0FFFFFu, 0x100000u, 0x123457u,
                             0x7FFFFFu, 0x800001u, 0xABCDEFu, 0xFFFFFEu, 0xFFFFFFu};
    Bytes bytes;
    for (uint32_t sign = 0; sign < 2; sign++)
        for (uint32_t e = 0; e < 128; e++)
            for (uint32_t m : mant) {
                bytes.resize(bytes.size() + 4);
                PutN(bytes, bytes.size() - 4, (sign << 31) | (e << 24) | m, 4, true);
            }
    const size_t n = bytes.size() / 4;
    std::vector<float> out(n, -1.0f);
    DecodeIBMFloats(bytes.data(), out.data(), (int)n);
    for (size_t i = 0; i < n; i++) {
        const float one = DecodeIBMFloat(&bytes[4 * i]);
        ASSERT_EQ(memcmp(&out[i], &one, 4), 0) << std::hex << "word " << GetN(bytes, 4 * i, 4, true);
    }
}

// ------------------------------------------------------------------ header checks

class SegyHeader : public ::testing::Test {
protected:
    SettingsGuard guard;
    CSdsPC obj;
};

TEST_F(SegyHeader, BigEndianFileHeaderIsSwappedToHost)
{
    double t[3] = {0.0, 1000.0, 2.0};
    SGY_FILEHEADER h = obj.CreateSGYHeaderFile(10, t, DU_MSEC, 0);
    int swap = -1;
    EXPECT_EQ(obj.ProverkaHederaSEGY(&h, swap), 1);
    EXPECT_EQ(swap, 1);  // the test host is little-endian
    EXPECT_EQ(h.samplesPerTrace, 501);
    EXPECT_EQ(h.sampleInterval, 2000);
    EXPECT_EQ(h.tracesPerEnsemble, 10);
    EXPECT_EQ(h.jobId, 1);
    EXPECT_EQ(h.privUnit, 1);
}

TEST_F(SegyHeader, GarbageFileHeadersAreRefused)
{
    // Samples and format in host order.
    struct { int16_t samples, format; } const bad[] = {{0, 1}, {1, 1}, {-5, 1}, {100, 0}, {100, 8}, {100, 9999},
                                                       {-1, -1}, {32767, 300}};
    for (auto& b : bad) {
        SGY_FILEHEADER h;
        memset(&h, 0, sizeof(h));
        h.samplesPerTrace = b.samples, h.format = b.format;
        int swap = -1;
        EXPECT_EQ(obj.ProverkaHederaSEGY(&h, swap), 0) << b.samples << " " << b.format;
    }
    // Random bytes never crash and answer either 0 or a code in 1..7.
    std::mt19937 rng(7);
    for (int i = 0; i < 2000; i++) {
        SGY_FILEHEADER h;
        unsigned char* p = (unsigned char*)&h;
        for (size_t k = 0; k < sizeof(h); k++)
            p[k] = (unsigned char)rng();
        int swap = -1;
        const int f = obj.ProverkaHederaSEGY(&h, swap);
        ASSERT_TRUE(f == 0 || (f >= 1 && f <= 7 && h.samplesPerTrace >= 2)) << f;
    }
    int swap = 0;
    EXPECT_EQ(obj.ProverkaHederaSEGY((SGY_FILEHEADER*)nullptr, swap), 0);
}

// ------------------------------------------------------------------ built headers

TEST_F(SegyHeader, TraceHeaderFieldsWithScalers)
{
    CSdsPC::COOR_SCALER = -100, CSdsPC::ELEV_SCALER = -10;
    int p[2] = {5, 2};
    double t[3] = {0.0, 1000.0, 2.0};
    SDS_TRACEINFO info = Info(12.34f, 100.5f, 5.5f, 15.34f, 96.5f, 7.25f, 3);
    SGY_TRACEHEADER h = obj.CreateSGYHeaderTrace(p, info, t, DU_MSEC);
    const Bytes b((unsigned char*)&h, (unsigned char*)&h + sizeof(h));
    // Offset 36: sqrt(3^2 + 4^2); 40: -7.25 * 10 = -72.5, floor(-72.5 + 0.5).
    ExpectAt(b, be32, {{0, 5}, {4, 5}, {8, 3}, {12, 2}, {16, 3}, {20, 5}, {24, 5}, {36, 5}, {40, -72}, {44, -55},
                       {72, 1234}, {76, 10050}, {80, 1534}, {84, 9650}, {180, 15}, {184, 97}, {188, 2}, {192, 5}});
    ExpectAt(b, be16, {{28, 1}, {34, 1}, {68, -10}, {70, -100}, {88, 1}, {114, 501}, {116, 2000}});
    for (size_t i = 196; i < 240; i++)
        ASSERT_EQ(b[i], 0) << i;
}

// ------------------------------------------------------------------ ".inf" map

class InfMap : public ::testing::Test {
protected:
    ScratchDir dir;
    CSdsPC obj;
};

TEST_F(InfMap, SetTraceInfoReadsMappedFieldsWithScalers)
{
    obj.m_Type = SGY;
    obj.GetInfoTraceFromFile(nullptr);
    unsigned char th[240] = {};
    for (auto f : {std::make_pair(72, 1234), {76, -500}, {80, 2000}, {84, 10}, {44, -77}, {40, 300}, {16, 42}})
        SetField32(th, f.first, f.second);
    SetField16(th, 70, -100);
    SetField16(th, 68, 10);
    SDS_TRACEINFO info = Info(0, 0, 0, 0, 0, 0);
    obj.SetTraceInfo(info, th, nullptr);
    EXPECT_FLOAT_EQ(info.fSrcX, 12.34f);
    EXPECT_FLOAT_EQ(info.fSrcY, -5.0f);
    EXPECT_FLOAT_EQ(info.fRecX, 20.0f);
    EXPECT_FLOAT_EQ(info.fRecY, 0.1f);
    EXPECT_FLOAT_EQ(info.fSrcZ, -770.0f);
    EXPECT_FLOAT_EQ(info.fRecZ, 3000.0f);
    EXPECT_EQ(info.nPart, 42);

    // Scalers 0, 1 and -1 give factor 1; kmCrd multiplies both factors.
    for (int s : {0, 1, -1}) {
        SetField16(th, 70, (int16_t)s);
        obj.SetTraceInfo(info, th, nullptr);
        EXPECT_FLOAT_EQ(info.fSrcX, 1234.0f) << s;
    }
    ASSERT_TRUE(testutil::WriteFile(dir.path("d.sgy.inf"), "kmCrd=0.5\nShotZ=nouse\n"));
    obj.GetInfoTraceFromFile(dir.path("d.sgy").c_str());
    info.fSrcZ = 99.0f;
    obj.SetTraceInfo(info, th, nullptr);
    EXPECT_FLOAT_EQ(info.fSrcX, 617.0f);
    EXPECT_FLOAT_EQ(info.fRecZ, 1500.0f);
    EXPECT_FLOAT_EQ(info.fSrcZ, 99.0f);  // not in use: left as it was
}

}  // namespace
