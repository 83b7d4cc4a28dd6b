// Files written by the writers and read back by the file object: axes,
// geometry with scalers, samples, and the private block of the header.
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "files/SdsPC.h"
#include "files_test_util.h"

using namespace ftest;

namespace {

class RoundTrip : public ::testing::Test {
protected:
    SettingsGuard guard;
    ScratchDir dir;
    CSdsPC obj;
    std::string P(const std::string& name) { return dir.path(name); }
};

TEST_F(RoundTrip, SegyGatherWithScaledCoordinates)
{
    ASSERT_TRUE(dir.ok());
    CSdsPC::COOR_SCALER = -100;
    CSdsPC::ELEV_SCALER = -100;
    const int nx = 3, ny = 101;
    std::vector<SDS_TRACEINFO> info;
    for (int k = 0; k < nx; k++)
        info.push_back(Info(12.34f, 56.78f, 1.25f, 100.5f + 10 * k, -3.21f, 7.5f, 2));
    std::vector<float> data((size_t)nx * ny);
    for (size_t i = 0; i < data.size(); i++)
        data[i] = (float)std::cos(0.1 * (double)i) * 250.0f;
    // 0 .. 0.2 s by 0.002 s.
    ASSERT_TRUE(obj.OnSave(P("r.sgy").c_str(), data.data(), CRectR(0, 0, 1, 0.2), CSizeN(nx, ny), 0, 0, false,
                           info.data(), DU_SEC));
    CSdsPC f;
    ASSERT_TRUE(f.OnOpen(P("r.sgy").c_str()));
    ASSERT_EQ(f.m_nTraceCount, nx);
    EXPECT_EQ(f.m_nTraceLen, ny);
    EXPECT_NEAR(f.m_traseParam[0], 0.0, 1e-9);
    EXPECT_NEAR(f.m_traseParam[1], 200.0, 1e-9);  // milliseconds
    EXPECT_NEAR(f.m_traseParam[2], 2.0, 1e-9);
    for (int k = 0; k < nx; k++) {
        EXPECT_FLOAT_EQ(f.m_pSR[k].fSrcX, 12.34f);
        EXPECT_FLOAT_EQ(f.m_pSR[k].fSrcY, 56.78f);
        EXPECT_FLOAT_EQ(f.m_pSR[k].fRecX, 100.5f + 10 * k);
        EXPECT_FLOAT_EQ(f.m_pSR[k].fRecY, -3.21f);
        EXPECT_FLOAT_EQ(f.m_pSR[k].fSrcZ, 1.25f);  // stored as elevation, back as depth
        EXPECT_FLOAT_EQ(f.m_pSR[k].fRecZ, 7.5f);
        EXPECT_EQ(f.m_pSR[k].nPart, 2);
        std::vector<float> buf(ny);
        ASSERT_TRUE(f.GetTrace(k, buf.data(), ny));
        for (int j = 0; j < ny; j++)
            ASSERT_EQ(buf[j], IBMToIEEE(IEEEToIBM(data[(size_t)k + (size_t)j * nx]))) << k << " " << j;
    }
}

}  // namespace
