// SEG-Y format level: IBM floats, EBCDIC, byte order checks, scalers,
// sample intervals, header construction and the ".inf" header map.
#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
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
struct IbmCase {
    uint32_t ieeeBits;
    uint32_t ibm;
};
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
    const struct {
        uint32_t ibm;
        float value;
    } cases[] = {
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

TEST(IbmFloat, ZeroTinyAndNonFiniteInputs)
{
    for (float v : {0.0f, -0.0f, 1e-7f, -1e-7f, FLT_MIN, -FLT_MIN, std::numeric_limits<float>::denorm_min(),
                    1e-6f /* 9.99999997e-7, just below 1e-6 */, std::numeric_limits<float>::quiet_NaN()})
        EXPECT_EQ(IEEEToIBM(v), 0u) << v;
    EXPECT_NE(IEEEToIBM(std::nextafter(1e-6f, 1.0f)), 0u);
    EXPECT_EQ(IEEEToIBM(std::numeric_limits<float>::infinity()), 0x7FFFFFFFu);
    EXPECT_EQ(IEEEToIBM(-std::numeric_limits<float>::infinity()), 0xFFFFFFFFu);
}

TEST(IbmFloat, RoundTripLosesAtMostThreeBits)
{
    std::mt19937 rng(12345);
    std::uniform_real_distribution<float> mant(0.5f, 1.0f);
    std::uniform_int_distribution<int> ex(-18, 120);  // above the 1e-6 cut
    for (int i = 0; i < 20000; i++) {
        float v = std::ldexp(mant(rng), ex(rng));
        if (i & 1)
            v = -v;
        const float back = IBMToIEEE(IEEEToIBM(v));
        // Truncation towards zero: same sign, not larger, relative loss < 2^-20.
        EXPECT_LE(std::fabs(back), std::fabs(v));
        EXPECT_EQ(std::signbit(back), std::signbit(v));
        ASSERT_LT(std::fabs(v - back), std::fabs(v) * 0x1p-20f) << v;
        // A second pass is exact: the value now fits the IBM mantissa.
        ASSERT_EQ(IBMToIEEE(IEEEToIBM(back)), back) << v;
    }
}

TEST(IbmFloat, RoundTripIsExactWhenNoBitFallsOff)
{
    // Exponents that are multiples of four need no shift.
    for (float v : {0.75f, -0.5f, 0.99999994f, 12.0f, 3000.0f, 1.0f / 4096})
        EXPECT_EQ(IBMToIEEE(IEEEToIBM(v)), v) << v;
    // IBM words with the low three mantissa bits clear survive both ways.
    for (uint32_t w : {0x41100000u, 0xC276A000u, 0x42640000u, 0x45123458u})
        EXPECT_EQ(IEEEToIBM(IBMToIEEE(w)), w) << std::hex << w;
}

// The block decoder takes a shortcut for most exponents; every exponent, both
// signs and mantissas from the smallest to the largest must give the very
// same float as the word-by-word decoder, denormal and saturated ranges included.
TEST(IbmFloat, BlockDecoderAgreesWithSingleDecoder)
{
    const uint32_t mant[] = {0x000000u, 0x000001u, 0x000007u, 0x0FFFFFu, 0x100000u, 0x123457u,
                             0x7FFFFFu, 0x800001u, 0xABCDEFu, 0xFFFFFEu, 0xFFFFFFu};
    std::vector<unsigned char> bytes;
    std::vector<uint32_t> words;
    for (uint32_t sign = 0; sign < 2; sign++)
        for (uint32_t e = 0; e < 128; e++)
            for (uint32_t m : mant) {
                const uint32_t w = (sign << 31) | (e << 24) | m;
                words.push_back(w);
                bytes.push_back((unsigned char)(w >> 24));
                bytes.push_back((unsigned char)(w >> 16));
                bytes.push_back((unsigned char)(w >> 8));
                bytes.push_back((unsigned char)w);
            }
    std::vector<float> out(words.size(), -1.0f);
    DecodeIBMFloats(bytes.data(), out.data(), (int)words.size());
    for (size_t i = 0; i < words.size(); i++) {
        const float one = DecodeIBMFloat(&bytes[4 * i]);
        uint32_t a, b;
        memcpy(&a, &out[i], 4);
        memcpy(&b, &one, 4);
        ASSERT_EQ(a, b) << std::hex << "word " << words[i];
    }
    // Spot values: 1.0 (exponent 65, mantissa 0x100000) and -118.625.
    EXPECT_EQ(out[(size_t)(65 * 11 + 4)], 1.0f);
    const unsigned char w[4] = {0xC2, 0x76, 0xA0, 0x00};
    float v = 0.0f;
    DecodeIBMFloats(w, &v, 1);
    EXPECT_EQ(v, -118.625f);
}

TEST(BigEndianFloat, NonFiniteValuesReadAsZero)
{
    const struct {
        unsigned char b[4];
        float value;
    } cases[] = {{{0x3F, 0x80, 0, 0}, 1.0f}, {{0x3F, 0x00, 0, 0}, 0.5f}, {{0x40, 0x00, 0, 0}, 2.0f},
                 {{0x7F, 0xC0, 0, 0}, 0.0f} /* NaN */,  {{0xFF, 0x80, 0, 0}, 0.0f} /* -infinity */};
    for (const auto& c : cases)
        EXPECT_EQ(DecodeBEFloat(c.b), c.value) << (int)c.b[0];
}

// ------------------------------------------------------------------ EBCDIC

TEST(Ebcdic, TableIsAPermutationAndE2aItsInverse)
{
    bool seen[256] = {};
    for (int i = 0; i < 256; i++) {
        EXPECT_FALSE(seen[a2e[i]]) << "a2e maps twice onto " << (int)a2e[i];
        seen[a2e[i]] = true;
        EXPECT_EQ(e2a[a2e[i]], i);
        EXPECT_EQ(a2e[e2a[i]], i);
    }
}

TEST(Ebcdic, KnownCharacters)
{
    struct {
        char c;
        unsigned char e;
    } const cases[] = {{'A', 0xC1}, {'I', 0xC9}, {'J', 0xD1}, {'S', 0xE2}, {'Z', 0xE9}, {'a', 0x81},
                       {'z', 0xA9}, {'0', 0xF0}, {'9', 0xF9}, {' ', 0x40}, {'.', 0x4B}, {'_', 0x6D},
                       {'!', 0x4F}, {'[', 0x4A}, {']', 0x5A}, {'^', 0x5F}, {'|', 0x6A}, {':', 0x7A}};
    for (auto& c : cases)
        EXPECT_EQ(a2e[(unsigned char)c.c], c.e) << c.c;
}

TEST(Ebcdic, BufferRoundTrip)
{
    unsigned char buf[256], orig[256];
    for (int i = 0; i < 256; i++)
        buf[i] = orig[i] = (unsigned char)(255 - i);
    AsciiToEbcdic(buf, sizeof(buf));
    EXPECT_NE(memcmp(buf, orig, sizeof(buf)), 0);
    EbcdicToAscii(buf, sizeof(buf));
    EXPECT_EQ(memcmp(buf, orig, sizeof(buf)), 0);
}

// ------------------------------------------------------------------ scalers

TEST(Scaler, StoredFormFollowsTheSignRule)
{
    struct {
        float v;
        int s;
        int32_t stored;
    } const cases[] = {
        {12.34f, -100, 1234}, {12.34f, 1, 12},     {12.34f, 0, 12},    {12.34f, -1, 12},
        {12345.0f, 10, 1235}, {-12.34f, -100, -1234}, {12.5f, 1, 13}, {-12.5f, 1, -12},
        {5.5f, -10, 55},      {1.0e12f, -100, INT32_MAX},
    };
    for (auto& c : cases)
        EXPECT_EQ(NearestInt32(ScaleCoordinate(c.v, c.s)), c.stored) << c.v << " with " << c.s;
    EXPECT_EQ(NearestInt32(std::numeric_limits<double>::quiet_NaN()), 0);
}

TEST(Scaler, ReadFactorIsTheInverse)
{
    EXPECT_DOUBLE_EQ(ScalerFactor(-100), 0.01);
    EXPECT_DOUBLE_EQ(ScalerFactor(100), 100.0);
    EXPECT_DOUBLE_EQ(ScalerFactor(0), 1.0);
    EXPECT_DOUBLE_EQ(ScalerFactor(1), 1.0);
    EXPECT_DOUBLE_EQ(ScalerFactor(-1), 1.0);
    EXPECT_NEAR(1234 * ScalerFactor(-100), 12.34, 1e-12);
}

TEST(SampleInterval, StepsOfTimeAndDepth)
{
    struct {
        double step;
        bool sec;
        int S;
        double f;
    } const cases[] = {
        {0.002, true, 2000, 0.001},  // seconds stored as microseconds
        {2.0, false, 2000, 1.0},     // milliseconds
        {10.0, false, 10000, 1.0},   // metres as millimetres
        {32.0, false, 32000, 1.0},
        {50.0, false, 50, 1000.0},   // above 32 m: metres
        {40.0, false, 40, 1000.0},
        {0.05, true, 50, 1.0},       // 50 ms in seconds: too many microseconds, so ms
        {0.0, false, 0, 1.0},
        {-5.0, false, 0, 1.0},       // no negative interval
        {1e9, false, 65535, 1000.0},  // beyond the 16-bit field
    };
    for (auto& c : cases) {
        double f = -1;
        EXPECT_EQ(SgySampleInterval(c.step, c.sec, &f), c.S) << c.step;
        EXPECT_DOUBLE_EQ(f, c.f) << c.step;
    }
    EXPECT_EQ(SgySampleInterval(std::numeric_limits<double>::quiet_NaN(), false), 0);
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

TEST_F(SegyHeader, LittleEndianFileHeaderIsTakenAsItStands)
{
    SGY_FILEHEADER h;
    memset(&h, 0, sizeof(h));
    h.samplesPerTrace = 100;
    h.format = 5;
    h.sampleInterval = 0;       // read as 1
    h.measurementSystem = 7;    // read as 1
    int swap = -1;
    EXPECT_EQ(obj.ProverkaHederaSEGY(&h, swap), 5);
    EXPECT_EQ(swap, 0);
    EXPECT_EQ(h.sampleInterval, 1);
    EXPECT_EQ(h.measurementSystem, 1);
    h.measurementSystem = 2;
    EXPECT_EQ(obj.ProverkaHederaSEGY(&h, swap), 5);
    EXPECT_EQ(h.measurementSystem, 2);
}

TEST_F(SegyHeader, GarbageFileHeadersAreRefused)
{
    struct {
        int16_t samples;  // host order
        int16_t format;
    } const bad[] = {{0, 1}, {1, 1}, {-5, 1}, {100, 0}, {100, 8}, {100, 9999}, {-1, -1}, {32767, 300}};
    for (auto& b : bad) {
        SGY_FILEHEADER h;
        memset(&h, 0, sizeof(h));
        h.samplesPerTrace = b.samples;
        h.format = b.format;
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
        ASSERT_TRUE(f == 0 || (f >= 1 && f <= 7));
        if (f) {
            ASSERT_GE(h.samplesPerTrace, 2);
        }
    }
    int swap = 0;
    EXPECT_EQ(obj.ProverkaHederaSEGY((SGY_FILEHEADER*)nullptr, swap), 0);
}

TEST_F(SegyHeader, TraceHeaderSwapIsItsOwnInverse)
{
    int p[2] = {3, 4};
    double t[3] = {0.0, 100.0, 1.0};
    SDS_TRACEINFO info = Info(10, 20, 0, 30, 40, 0, 7);
    SGY_TRACEHEADER be = obj.CreateSGYHeaderTrace(p, info, t, DU_MSEC);
    SGY_TRACEHEADER h = be;
    obj.m_DataType = SGYDT_IBM_FLOAT;
    EXPECT_EQ(obj.ProverkaHederaSEGY(&h, 1), SGYDT_IBM_FLOAT);
    EXPECT_EQ(h.traceSeqLine, 3);
    EXPECT_EQ(h.traceInRecord, 4);
    EXPECT_EQ(h.fieldRecord, 7);
    EXPECT_EQ(h.numSamples, 101);
    obj.ProverkaHederaSEGY(&h, 1);
    EXPECT_EQ(memcmp(&h, &be, sizeof(h)), 0);
    EXPECT_EQ(obj.ProverkaHederaSEGY((SGY_TRACEHEADER*)nullptr, 1), SGYDT_NONE);
}

TEST_F(SegyHeader, SampleSizesAndTraceLengths)
{
    const struct {
        int type;
        int size;
    } cases[] = {{0, 0}, {1, 4}, {2, 4}, {3, 2}, {4, 4}, {5, 4}, {6, 4}, {7, 0}, {8, 0}, {-1, 0}};
    SGY_TRACEHEADER h;
    memset(&h, 0, sizeof(h));
    for (auto& c : cases) {
        SGYDATATYPE t = (SGYDATATYPE)c.type;
        EXPECT_EQ(obj.SizeOfPointSDS(&h, &t), c.size) << c.type;
    }
    obj.m_DataType = SGYDT_INT16;
    EXPECT_EQ(obj.SizeOfPointSDS(&h, nullptr), 2);
    h.numSamples = 100;
    EXPECT_EQ(obj.GetTraceLenSDS(&h), 200);
    // No count in the trace: the file's trace length.
    h.numSamples = 0;
    obj.m_nTraceLen = 50;
    EXPECT_EQ(obj.GetTraceLenSDS(&h), 100);
    h.numSamples = -3;
    EXPECT_EQ(obj.GetTraceLenSDS(&h), 100);
    obj.m_nTraceLen = -7;
    EXPECT_EQ(obj.GetTraceLenSDS(&h), 0);
    EXPECT_EQ(obj.GetTraceLenSDS((SGY_TRACEHEADER*)nullptr), 0);
}

// ------------------------------------------------------------------ built headers

TEST_F(SegyHeader, FileHeaderTextAndPrivateBlock)
{
    CSdsPC::COMPONENT_SAVE = 4;
    CSdsPC::VALUE_SCALE_SAVE = 2.5f;
    double t[3] = {100.0, 300.0, 10.0};
    SGY_FILEHEADER h = obj.CreateSGYHeaderFile(70000, t, DU_M, 1);
    const std::vector<unsigned char> b((unsigned char*)&h, (unsigned char*)&h + sizeof(h));
    EXPECT_EQ(be16(b, 3212) & 0xFFFF, 64000);  // at most 64000, unsigned
    EXPECT_EQ(be16(b, 3216), 10000);  // 10 m in millimetres
    EXPECT_EQ(be16(b, 3220), 21);
    EXPECT_EQ(be16(b, 3224), 3);      // format argument 1: code 3
    EXPECT_EQ(be16(b, 3590), 4);
    EXPECT_EQ(beu32(b, 3592), 0x40200000u);  // 2.5f, big-endian
    EXPECT_EQ(be16(b, 3596), 2);
    EXPECT_EQ(be16(b, 3598), 100);

    // The text, back in ASCII.
    std::string text(3200, ' ');
    for (int i = 0; i < 3200; i++)
        text[i] = (char)e2a[b[i]];
    EXPECT_EQ(text.substr(0, 80), std::string("C 1 __ Velmoran Technologies Inc. __") + std::string(44, ' '));
    EXPECT_EQ(text.substr(80, 30), "C 2 __ SEGY in Depth Format __");
    EXPECT_EQ(text.substr(160, 80),
              "C 3 " + std::string(15, ' ') + "__ Start Depth:" + "    100.00" + "m" + std::string(35, ' '));
    EXPECT_EQ(text.substr(400, 80),
              "C 6 __ Format:" + std::string(20, ' ') + "32 bit IBM short" + std::string(30, ' '));
    EXPECT_EQ(text.substr(3120, 4), "C40 ");
    EXPECT_EQ(text.size(), 3200u);
}

TEST_F(SegyHeader, FootAndSecondsInTheFileHeader)
{
    CSdsPC::bFOOT = 1;
    double t[3] = {0.0, 1.0, 0.002};
    SGY_FILEHEADER h = obj.CreateSGYHeaderFile(5, t, DU_SEC, 0);
    const std::vector<unsigned char> b((unsigned char*)&h, (unsigned char*)&h + sizeof(h));
    EXPECT_EQ(be16(b, 3254), 2);
    EXPECT_EQ(be16(b, 3216), 2000);
    EXPECT_EQ(be16(b, 3224), 1);
    EXPECT_EQ(be16(b, 3596), 0);
    std::string line5(80, ' ');
    for (int i = 0; i < 80; i++)
        line5[i] = (char)e2a[b[320 + i]];
    EXPECT_EQ(line5.substr(0, 44), "C 5 " + std::string(13, ' ') + "__ Sampling Step:" + "      0.00");
    EXPECT_EQ(line5.substr(44, 3), "sec");

    double td[3] = {0.0, 100.0, 5.0};
    SGY_FILEHEADER hd = obj.CreateSGYHeaderFile(5, td, DU_M, 0);
    std::string line3(80, ' ');
    for (int i = 0; i < 80; i++)
        line3[i] = (char)e2a[((unsigned char*)&hd)[160 + i]];
    EXPECT_EQ(line3.substr(44, 4), "foot");
}

TEST_F(SegyHeader, TraceHeaderFieldsWithScalers)
{
    CSdsPC::COOR_SCALER = -100;
    CSdsPC::ELEV_SCALER = -10;
    int p[2] = {5, 2};
    double t[3] = {0.0, 1000.0, 2.0};
    SDS_TRACEINFO info = Info(12.34f, 100.5f, 5.5f, 15.34f, 96.5f, 7.25f, 3);
    SGY_TRACEHEADER h = obj.CreateSGYHeaderTrace(p, info, t, DU_MSEC);
    const std::vector<unsigned char> b((unsigned char*)&h, (unsigned char*)&h + sizeof(h));
    EXPECT_EQ(be32(b, 0), 5);
    EXPECT_EQ(be32(b, 4), 5);
    EXPECT_EQ(be32(b, 8), 3);
    EXPECT_EQ(be32(b, 12), 2);
    EXPECT_EQ(be32(b, 16), 3);
    EXPECT_EQ(be32(b, 20), 5);
    EXPECT_EQ(be32(b, 24), 5);
    EXPECT_EQ(be16(b, 28), 1);
    EXPECT_EQ(be16(b, 34), 1);
    EXPECT_EQ(be32(b, 36), 5);  // sqrt(3^2 + 4^2)
    EXPECT_EQ(be32(b, 40), -72);  // -7.25 * 10 = -72.5; floor(-72.5 + 0.5)
    EXPECT_EQ(be32(b, 44), -55);
    EXPECT_EQ(be16(b, 68), -10);
    EXPECT_EQ(be16(b, 70), -100);
    EXPECT_EQ(be32(b, 72), 1234);
    EXPECT_EQ(be32(b, 76), 10050);
    EXPECT_EQ(be32(b, 80), 1534);
    EXPECT_EQ(be32(b, 84), 9650);
    EXPECT_EQ(be16(b, 88), 1);
    EXPECT_EQ(be16(b, 114), 501);
    EXPECT_EQ(be16(b, 116), 2000);
    EXPECT_EQ(be32(b, 180), 15);
    EXPECT_EQ(be32(b, 184), 97);
    EXPECT_EQ(be32(b, 188), 2);
    EXPECT_EQ(be32(b, 192), 5);
    for (size_t i = 196; i < 240; i++)
        ASSERT_EQ(b[i], 0) << i;
}

TEST_F(SegyHeader, PromaxLineNumbering)
{
    CSdsPC::PROMAX = true;
    CSdsPC::INLINE_START = 100;
    CSdsPC::INLINE_STEP = 2;
    CSdsPC::CROSSLINE_START = 1000;
    CSdsPC::CROSSLINE_STEP = 5;
    int p[2] = {9, 4};
    double t[3] = {0.0, 10.0, 1.0};
    SDS_TRACEINFO info = Info(0, 0, 0, 0, 0, 0, 3);
    SGY_TRACEHEADER h = obj.CreateSGYHeaderTrace(p, info, t, DU_MSEC);
    std::vector<unsigned char> b((unsigned char*)&h, (unsigned char*)&h + sizeof(h));
    EXPECT_EQ(be32(b, 188), 3 * 2 + 100);
    EXPECT_EQ(be32(b, 192), (4 - 1) * 5 + 1000);
    CSdsPC::LINES_ALONG_Y = true;
    h = obj.CreateSGYHeaderTrace(p, info, t, DU_MSEC);
    b.assign((unsigned char*)&h, (unsigned char*)&h + sizeof(h));
    EXPECT_EQ(be32(b, 188), (4 - 1) * 2 + 100);
    EXPECT_EQ(be32(b, 192), 3 * 5 + 1000);
}

// ------------------------------------------------------------------ ".inf" map

class InfMap : public ::testing::Test {
protected:
    ScratchDir dir;
    CSdsPC obj;
    void WriteInf(const std::string& data, const char* file = "d.sgy")
    {
        ASSERT_TRUE(WriteBytes(dir.path(std::string(file) + ".inf"), data.data(), data.size()));
    }
};

TEST_F(InfMap, DefaultsBySegyAndSds)
{
    ASSERT_TRUE(dir.ok());
    obj.m_Type = SGY;
    EXPECT_TRUE(obj.GetInfoTraceFromFile(dir.path("none.sgy").c_str()));
    const int sgyPos[7] = {73, 77, 81, 85, 45, 41, 17};
    for (int i = 0; i < 7; i++) {
        EXPECT_EQ((int)obj.m_spy_info[i].nFieldType, 1) << i;
        EXPECT_EQ((double)obj.m_spy_info[i].rValue, sgyPos[i]) << i;
    }
    EXPECT_EQ((int)obj.m_spy_info[SPY_COORSCALER].nFieldType, 0);
    EXPECT_EQ((double)obj.m_spy_info[SPY_COORSCALER].rValue, 71);
    EXPECT_EQ((int)obj.m_spy_info[SPY_ELEVSCALER].nFieldType, 0);
    EXPECT_EQ((double)obj.m_spy_info[SPY_ELEVSCALER].rValue, 69);
    EXPECT_EQ((double)obj.m_spy_info[SPY_KMTRS].rValue, 1.0);
    EXPECT_EQ((double)obj.m_spy_info[SPY_ZUNIT].rValue, -1.0);

    obj.m_Type = SDS;
    EXPECT_TRUE(obj.GetInfoTraceFromFile(dir.path("none.rec").c_str()));
    const int sdsPos[4] = {21, 73, 29, 77};
    for (int i = 0; i < 4; i++)
        EXPECT_EQ((double)obj.m_spy_info[i].rValue, sdsPos[i]) << i;
    EXPECT_EQ((int)obj.m_spy_info[SPY_SHOTZ].nFieldType, -1);
    EXPECT_EQ((int)obj.m_spy_info[SPY_RECVZ].nFieldType, -1);
    EXPECT_EQ((int)obj.m_spy_info[SPY_COORSCALER].nFieldType, 1);
    EXPECT_EQ((double)obj.m_spy_info[SPY_COORSCALER].rValue, 13);
    EXPECT_EQ((int)obj.m_spy_info[SPY_ELEVSCALER].nFieldType, -1);
}

TEST_F(InfMap, SideFileLines)
{
    ASSERT_TRUE(dir.ok());
    WriteInf("[Reform]\n"
             "ShotX=long,181\n"
             "ShotY=INT32,185\r\n"
             "RecvX=short,21 ; a comment\n"
             "RecvY=73\n"             // no type word: ignored
             "ShotZ=nouse\n"
             "RecvZ=float,41\n"       // unknown type word: ignored
             ";ShotX=long,5\n"        // commented out
             "Part1=long,9\n"
             "kmTrs=1000\n"
             "kmCrd=-3\n"             // not positive: ignored
             "CoorScaler=69\n"
             "nComp=4\n"
             "zUnit=2\n"
             "Bogus=1\n"
             "short\n");
    obj.m_Type = SGY;
    EXPECT_TRUE(obj.GetInfoTraceFromFile(dir.path("d.sgy").c_str()));
    const SPY_FIELD* s = obj.m_spy_info;
    EXPECT_EQ((int)s[SPY_SHOTX].nFieldType, 1);
    EXPECT_EQ((double)s[SPY_SHOTX].rValue, 181);
    EXPECT_EQ((double)s[SPY_SHOTY].rValue, 185);
    EXPECT_EQ((int)s[SPY_RECVX].nFieldType, 0);
    EXPECT_EQ((double)s[SPY_RECVX].rValue, 21);
    EXPECT_EQ((double)s[SPY_RECVY].rValue, 85);  // default kept
    EXPECT_EQ((int)s[SPY_SHOTZ].nFieldType, -1);
    EXPECT_EQ((double)s[SPY_SHOTZ].rValue, -1.0);
    EXPECT_EQ((double)s[SPY_RECVZ].rValue, 41);
    EXPECT_EQ((int)s[SPY_RECVZ].nFieldType, 1);
    EXPECT_EQ((double)s[SPY_PART].rValue, 9);
    EXPECT_EQ((int)s[SPY_PART].nPartFlag, 1);
    EXPECT_EQ((double)s[SPY_KMTRS].rValue, 1000);
    EXPECT_EQ((int)s[SPY_KMTRS].nFieldType, 0);
    EXPECT_EQ((double)s[SPY_KMCRD].rValue, 1.0);
    EXPECT_EQ((double)s[SPY_COORSCALER].rValue, 69);
    EXPECT_EQ((int)s[SPY_COORSCALER].nFieldType, 0);
    EXPECT_EQ((double)s[SPY_NCOMP].rValue, 4);
    EXPECT_EQ((double)s[SPY_ZUNIT].rValue, 2);
}

TEST_F(InfMap, LongAndBinaryLinesDoNotDerail)
{
    ASSERT_TRUE(dir.ok());
    std::string data = "ShotX=long," + std::string(300, '7') + "\n";  // longer than 99 characters
    data += std::string("\0\0\xff\x01garbage\n", 13);
    data += std::string(5000, 'x');  // no newline at the end
    WriteInf(data);
    obj.m_Type = SGY;
    EXPECT_TRUE(obj.GetInfoTraceFromFile(dir.path("d.sgy").c_str()));
    // The first 99 characters hold a valid, huge position; a field there is
    // outside every header and so never read (see SetTraceInfo below).
    EXPECT_GT((double)obj.m_spy_info[SPY_SHOTX].rValue, 1e50);
    unsigned char th[240] = {};
    SDS_TRACEINFO info = Info(1, 2, 3, 4, 5, 6);
    obj.SetTraceInfo(info, th, nullptr);
    EXPECT_EQ(info.fSrcX, 1.0f);
}

TEST_F(InfMap, SetTraceInfoReadsMappedFieldsWithScalers)
{
    ASSERT_TRUE(dir.ok());
    obj.m_Type = SGY;
    obj.GetInfoTraceFromFile(nullptr);
    unsigned char th[240] = {};
    SetField32(th, 72, 1234);
    SetField32(th, 76, -500);
    SetField32(th, 80, 2000);
    SetField32(th, 84, 10);
    SetField32(th, 44, -77);
    SetField32(th, 40, 300);
    SetField32(th, 16, 42);
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
    WriteInf("kmCrd=0.5\nShotZ=nouse\n");
    obj.GetInfoTraceFromFile(dir.path("d.sgy").c_str());
    info.fSrcZ = 99.0f;
    obj.SetTraceInfo(info, th, nullptr);
    EXPECT_FLOAT_EQ(info.fSrcX, 617.0f);
    EXPECT_FLOAT_EQ(info.fRecZ, 1500.0f);
    EXPECT_FLOAT_EQ(info.fSrcZ, 99.0f);  // not in use: left as it was
}

TEST_F(InfMap, SetTraceInfoNeverReadsPastTheHeader)
{
    ASSERT_TRUE(dir.ok());
    // Positions at and beyond the end of an 80-byte SDS header.
    WriteInf("ShotX=long,78\nShotY=short,80\nRecvX=long,77\nPart0=long,5000\n", "d.rec");
    obj.m_Type = SDS;
    obj.GetInfoTraceFromFile(dir.path("d.rec").c_str());
    unsigned char th[80];
    memset(th, 0, sizeof(th));
    SetField32(th, 76, 321);
    SetField32(th, 12, 1);
    SDS_TRACEINFO info = Info(-1, -2, -3, -4, -5, -6, -7);
    obj.SetTraceInfo(info, th, nullptr);
    EXPECT_EQ(info.fSrcX, -1.0f);   // 78..81 is past the end
    EXPECT_EQ(info.fSrcY, -2.0f);   // 80..81 is past the end
    EXPECT_EQ(info.fRecX, 321.0f);  // 77..80 is the last field
    EXPECT_EQ(info.nPart, -7);
}

}  // namespace
