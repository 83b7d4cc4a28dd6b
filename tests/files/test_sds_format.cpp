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

}  // namespace
