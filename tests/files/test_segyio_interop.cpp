// SEG-Y exchange with an independent implementation (segyio): files we write
// must read correctly there, and files it writes must open here.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "files/SdsPC.h"
#include "files_test_util.h"

using namespace ftest;

namespace {

const char* kPython = "/usr/bin/python3";

bool HaveSegyio()
{
    static const bool have = system((std::string(kPython) + " -c 'import segyio' >/dev/null 2>&1").c_str()) == 0;
    return have;
}

std::string Script() { return std::string(ONDEX_SOURCE_DIR) + "/tests/files/segyio_interop.py"; }

class SegyioInterop : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!HaveSegyio()) GTEST_SKIP() << "segyio cannot be imported by " << kPython << ": no exchange is checked";
        }
    SettingsGuard guard;
    ScratchDir dir;
};

// Writes a gather with OnSave and has segyio check it: positions, line
// numbers il(k) and xl(k), and the first sample of each trace.
template <class Lines>
void WriteAndCheck(ScratchDir& dir, const std::vector<SDS_TRACEINFO>& info, const std::vector<float>& data, int ny,
                   const char* file, Lines il, Lines xl)
{
    CSdsPC obj;
    const int nx = (int)info.size();
    const std::string name = dir.path(file), coords = name + ".txt";
    ASSERT_TRUE(obj.OnSave(name.c_str(), const_cast<float*>(data.data()), CRectR(0, 0, 1, 2.0 * (ny - 1)),
                           CSizeN(nx, ny), 0, 0, false, const_cast<SDS_TRACEINFO*>(info.data()), DU_MSEC));
    FILE* f = fopen(coords.c_str(), "w");
    ASSERT_NE(f, nullptr);
    for (int k = 0; k < nx; k++)
        fprintf(f, "%.4f %.4f %.4f %.4f %d %d %.9g\n", info[k].fSrcX, info[k].fSrcY, info[k].fRecX, info[k].fRecY,
                il(k), xl(k), data[k]);
    fclose(f);
    std::string out;
    EXPECT_EQ(testutil::Run(std::string(kPython) + " " + Script() + " check " + name + " " + std::to_string(nx) + " " +
                                std::to_string(ny) + " 2000 1 " + coords, out), 0) << out;
}

TEST_F(SegyioInterop, OurGatherReadsInSegyio)
{
    CSdsPC::COOR_SCALER = -100;
    const int nx = 5, ny = 50;
    std::vector<SDS_TRACEINFO> info;
    std::vector<float> data((size_t)nx * ny);
    for (int k = 0; k < nx; k++) {
        info.push_back(Info(1000.25f + 10 * k, 2000.5f, 0, 1500.75f + 12.34f * k, -50.25f, 0, 3));
        for (int j = 0; j < ny; j++)
            data[(size_t)k + (size_t)j * nx] = (float)(std::sin(0.2 * j + k) * (k + 1) * 100.0);
    }
    auto seq = [](int k) { return k + 1; };
    WriteAndCheck(dir, info, data, ny, "ours.sgy", +seq, +seq);
}

TEST_F(SegyioInterop, PromaxLineNumbersReadInSegyio)
{
    CSdsPC::PROMAX = true;
    CSdsPC::INLINE_START = 100, CSdsPC::INLINE_STEP = 2, CSdsPC::CROSSLINE_START = 1000, CSdsPC::CROSSLINE_STEP = 5;
    std::vector<SDS_TRACEINFO> info;
    for (int k = 0; k < 4; k++)
        info.push_back(Info(0, 0, 0, 25.0f * k, 0, 0, 3));
    auto il = [](int) { return 3 * 2 + 100; };
    auto xl = [](int k) { return k * 5 + 1000; };
    WriteAndCheck(dir, info, std::vector<float>(4 * 60, -3.75f), 60, "promax.sgy", +il, +xl);
}

// Samples the script writes: sin(0.3 t + i) * 1000 (i + 1), as float.
float ScriptSample(int i, int t) { return (float)(std::sin(t * 0.3 + i) * 1000.0 * (i + 1)); }

TEST_F(SegyioInterop, SegyioFilesOpenHere)
{
    std::string out;
    ASSERT_EQ(testutil::Run(std::string(kPython) + " " + Script() + " write " + dir.path(""), out), 0) << out;

    // swap: on this little-endian host; tol: per sample, relative or absolute as below.
    struct { const char* name; int format, swap; double tol; } const files[] = {
        {"be_ibm.sgy", 1, 1, 2e-6},    // IBM keeps 21..24 mantissa bits
        {"be_ieee.sgy", 5, 1, 2e-7},   // exact but for the sine of another library
        {"le_int.sgy", 2, 0, 0.5},     // rounded to integers by the writer
    };
    for (auto& fi : files) {
        SCOPED_TRACE(fi.name);
        CSdsPC f;
        ASSERT_TRUE(f.OnOpen(dir.path(fi.name).c_str()));
        EXPECT_EQ(f.m_Type, SGY);
        EXPECT_EQ((int)f.m_DataType, fi.format);
        EXPECT_EQ(f.m_bSwap, fi.swap);
        ASSERT_EQ(f.m_nTraceCount, 4);
        EXPECT_EQ(f.m_nTraceLen, 60);
        EXPECT_DOUBLE_EQ(f.m_traseParam[0], 0.0);
        EXPECT_DOUBLE_EQ(f.m_traseParam[1], 118.0);
        EXPECT_DOUBLE_EQ(f.m_traseParam[2], 2.0);
        for (int i = 0; i < 4; i++) {
            const SDS_TRACEINFO& e = f.m_pSR[i];
            EXPECT_FLOAT_EQ(e.fSrcX, 1000.0f + 25.0f * i) << i;
            EXPECT_FLOAT_EQ(e.fSrcY, 2000.5f) << i;
            EXPECT_FLOAT_EQ(e.fRecX, 1500.0f + 12.34f * i) << i;
            EXPECT_FLOAT_EQ(e.fRecY, -50.25f) << i;
            EXPECT_FLOAT_EQ(e.fRecZ, -25.5f) << i;  // elevation up, Z down
            EXPECT_FLOAT_EQ(e.fSrcZ, 10.0f) << i;
            EXPECT_EQ(e.nPart, 3) << i;
            EXPECT_EQ(e.nRecord, 7) << i;
            EXPECT_EQ(e.nChannel, i + 1) << i;
            std::vector<float> buf(60, -1.0f);
            ASSERT_TRUE(f.GetTrace(i, buf.data(), 60));
            for (int t = 0; t < 60; t++) {
                const float want = ScriptSample(i, t);
                const double tol = fi.format == 2 ? fi.tol : std::fabs(want) * fi.tol + 1e-30;
                ASSERT_NEAR(buf[t], want, tol) << "trace " << i << " sample " << t;
            }
        }
    }
}

}  // namespace
