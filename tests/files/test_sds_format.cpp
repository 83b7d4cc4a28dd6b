// SDS trace headers: construction, axis multiplier, sizes of garbage headers.
#include <climits>
#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include "files/SdsPC.h"
#include "files_test_util.h"

using namespace ftest;

namespace {

class SdsHeader : public ::testing::Test {
protected:
    SettingsGuard guard;
    CSdsPC obj;
    SDS_TRACEHEADER Make(double start, double stop, double step, int format = 0, DATAUNIT unit = DU_MSEC,
                         SDS_TRACEINFO info = Info(0, 0, 0, 0, 0, 0))
    {
        int p[2] = {7, 3};
        double t[3] = {start, stop, step};
        return obj.CreateSDSHeaderTrace(p, info, t, unit, format);
    }
};

TEST_F(SdsHeader, AxisFieldsAndMultiplier)
{
    struct {
        double start, stop, step;
        int32_t fStart, fStop, fStep, fLast;
    } const cases[] = {
        {0, 1000, 2, 0, 1002, 2, 500},               // msec: k = 1
        {0, 1.0, 0.002, 0, 1002, 2, 500},            // sec: k = 1000
        {0, 0.1, 0.0005, 0, 100500, 500, 200},       // k = 1000000
        {0, 10, 1, 0, 11, 1, 10},                    // a step of exactly 1: k = 1
        {100, 300, 10, 100, 310, 10, 120},
    };
    for (auto& c : cases) {
        SDS_TRACEHEADER h = Make(c.start, c.stop, c.step);
        EXPECT_EQ(h.nStart, c.fStart) << c.step;
        EXPECT_EQ(h.nStop, c.fStop) << c.step;
        EXPECT_EQ(h.nStep, c.fStep) << c.step;
        EXPECT_EQ(h.nStart2, c.fStart) << c.step;
        EXPECT_EQ(h.nLast, c.fLast) << c.step;
    }
    // 501 samples of 4 bytes for 0..1000 by 2.
    SDS_TRACEHEADER h = Make(0, 1000, 2);
    EXPECT_EQ(obj.GetTraceLenSDS(&h), 501 * 4);
}

TEST_F(SdsHeader, FixedFieldsAndRawBytes)
{
    CSdsPC::COOR_SCALER = -100;
    SDS_TRACEHEADER h = Make(0, 10, 1, 1, DU_MSEC, Info(12.34f, 5.0f, 0, 20.0f, -1.5f, 0));
    std::vector<unsigned char> b((unsigned char*)&h, (unsigned char*)&h + sizeof(h));
    EXPECT_EQ(le32(b, 0), 7);
    EXPECT_EQ(le32(b, 4), 3);
    EXPECT_EQ(le32(b, 8), 7);
    EXPECT_EQ(le32(b, 12), -100);  // ActualFlag carries the scaler
    EXPECT_EQ(le32(b, 16), 7);
    EXPECT_EQ(le32(b, 20), 1234);
    EXPECT_EQ(le32(b, 28), 2000);
    EXPECT_EQ(le32(b, 24), (1234 + 2000) / 2);
    EXPECT_EQ(le32(b, 32), 0);
    EXPECT_EQ(std::string((char*)&b[36], 4), "I2  ");
    EXPECT_EQ(le32(b, 60), 100);
    EXPECT_EQ(std::string((char*)&b[64], 4), "SP01");
    EXPECT_EQ(std::string((char*)&b[68], 4), "    ");
    EXPECT_EQ(le32(b, 72), 500);
    EXPECT_EQ(le32(b, 76), -150);
    EXPECT_EQ(obj.GetTraceLenSDS(&h), 11 * 2);  // 0..10 by 1

    EXPECT_EQ(std::string(Make(0, 10, 1, 0).szFormat, 4), "R4  ");
    EXPECT_EQ(std::string(Make(0, 10, 1, 2).szFormat, 4), "T1  ");
    EXPECT_EQ(std::string(Make(0, 10, 1, -5).szFormat, 4), "T1  ");

    CSdsPC::COOR_SCALER = 1;
    h = Make(0, 10, 1, 0, DU_MSEC, Info(12.34f, 0, 0, 0, 0, 0));
    EXPECT_EQ(h.nSrcX, 12);
}

TEST_F(SdsHeader, FootConvertsPositionsAndDepthAxis)
{
    CSdsPC::bFOOT = 1;
    SDS_TRACEHEADER h = Make(0, 1000, 100, 0, DU_M, Info(1000, 0, 0, 2000, 0, 0));
    EXPECT_EQ(h.nSrcX, 305);  // 304.8
    EXPECT_EQ(h.nRecX, 610);  // 609.6
    EXPECT_EQ(h.nStep, 30);   // 30.48
    EXPECT_EQ(h.nStop, 30 + 305);
    h = Make(0, 1000, 100, 0, DU_MSEC);
    EXPECT_EQ(h.nStep, 100);  // time is no length
}

TEST_F(SdsHeader, FormatTexts)
{
    struct {
        const char* text;
        int size;
        int type;
    } const cases[] = {{"I2  ", 2, 3}, {"I4  ", 4, 2}, {"R2  ", 0, 0}, {"R4  ", 4, 6},
                       {"T1  ", 1, 7}, {"R8  ", 0, 0}, {"i2  ", 0, 0}, {"\0\0\0\0", 0, 0}};
    for (auto& c : cases) {
        int type = -1;
        EXPECT_EQ(SdsSizeOfFormat(c.text, &type), c.size) << c.text;
        EXPECT_EQ(type, c.type) << c.text;
        EXPECT_EQ(CSdsPC::SizeOfFormat(c.text), c.size) << c.text;
    }
    EXPECT_EQ(SdsSizeOfFormat(nullptr), 0);
}

TEST_F(SdsHeader, GarbageHeadersHaveNoLength)
{
    SDS_TRACEHEADER h = Make(0, 1000, 2);
    h.nStart = h.nStop;  // start field equal to stop field
    EXPECT_EQ(obj.SizeOfPointSDS(&h), 0);
    EXPECT_EQ(obj.GetTraceLenSDS(&h), 0);
    h = Make(0, 1000, 2);
    h.nStep = 0;
    EXPECT_EQ(obj.GetTraceLenSDS(&h), 0);
    h.nStep = -2;  // a negative count
    EXPECT_EQ(obj.GetTraceLenSDS(&h), 0);
    h = Make(0, 1000, 2);
    memcpy(h.szFormat, "R2  ", 4);
    EXPECT_EQ(obj.GetTraceLenSDS(&h), 0);
    h = Make(0, 1000, 2);
    h.nStart = INT_MIN;
    h.nStop = INT_MAX;
    h.nStep = 1;  // 2^32 samples: does not fit, no length
    EXPECT_EQ(obj.GetTraceLenSDS(&h), 0);
    h = Make(0, 0, 1, 2);  // "T1" of one sample: 1 byte
    EXPECT_EQ(obj.GetTraceLenSDS(&h), 1);
    EXPECT_EQ(obj.GetTraceLenSDS((SDS_TRACEHEADER*)nullptr), 0);
    EXPECT_EQ(obj.SizeOfPointSDS((SDS_TRACEHEADER*)nullptr), 0);

    std::mt19937 rng(3);
    for (int i = 0; i < 5000; i++) {
        unsigned char raw[80];
        for (unsigned char& c : raw)
            c = (unsigned char)rng();
        if (i & 1)
            memcpy(raw + 36, "R4  ", 4);
        const int n = obj.GetTraceLenSDS((SDS_TRACEHEADER*)raw);
        ASSERT_GE(n, 0);
    }
}

TEST_F(SdsHeader, DegenerateAxisDoesNotTrap)
{
    // A zero or non-finite step is turned into defined integers.
    SDS_TRACEHEADER h = Make(0, 10, 0);
    EXPECT_EQ(h.nStep, 0);
    EXPECT_EQ(obj.GetTraceLenSDS(&h), 0);
    h = Make(0, 1e300, 1);
    EXPECT_EQ(h.nStop, INT_MAX);
    h = Make(std::nan(""), 10, 1);
    EXPECT_EQ(h.nStart, 0);
}

}  // namespace
