// A survey given as a SEG-Y file: shots from the source positions of the
// traces, ids from the energy source point number unless they repeat, and one
// shot's receivers with the line numbers and ids of its traces. The files are
// written here byte by byte, big-endian, as any SEG-Y writer would.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "SurveyTestUtil.h"

namespace
{
struct SgyTrace
{
    int sx, sy, sElev;   // source; elevation is minus the depth
    int rx, ry, rElev;   // receiver
    int nSourcePoint;    // bytes 17-20
    int nRecord;         // bytes 9-12
    int nChannel;        // bytes 13-16
    int nInline;         // bytes 189-192
    int nCrossline;      // bytes 193-196
    short nTraceId = 1;  // 2: dead trace
};

void Put32(std::vector<unsigned char>& b, size_t ofs, int32_t v)
{
    uint32_t u = (uint32_t)v;
    b[ofs] = (unsigned char)(u >> 24);
    b[ofs + 1] = (unsigned char)(u >> 16);
    b[ofs + 2] = (unsigned char)(u >> 8);
    b[ofs + 3] = (unsigned char)u;
}

void Put16(std::vector<unsigned char>& b, size_t ofs, int16_t v)
{
    uint16_t u = (uint16_t)v;
    b[ofs] = (unsigned char)(u >> 8);
    b[ofs + 1] = (unsigned char)u;
}

const int kSamples = 8;

// IEEE float samples (format 5), 1 ms sampling, no scalers.
std::vector<unsigned char> MakeSgy(const std::vector<SgyTrace>& traces)
{
    std::vector<unsigned char> file(3600, 0);
    memset(file.data(), 0x40, 3200);   // EBCDIC blanks
    Put16(file, 3212, (int16_t)traces.size());
    Put16(file, 3216, 1000);
    Put16(file, 3218, 1000);
    Put16(file, 3220, kSamples);
    Put16(file, 3222, kSamples);
    Put16(file, 3224, 5);
    Put16(file, 3254, 1);
    for (const SgyTrace& t : traces)
    {
        std::vector<unsigned char> h(240 + 4 * kSamples, 0);
        Put32(h, 8, t.nRecord);
        Put32(h, 12, t.nChannel);
        Put32(h, 16, t.nSourcePoint);
        Put16(h, 28, t.nTraceId);
        Put32(h, 40, t.rElev);
        Put32(h, 44, t.sElev);
        Put32(h, 72, t.sx);
        Put32(h, 76, t.sy);
        Put32(h, 80, t.rx);
        Put32(h, 84, t.ry);
        Put16(h, 114, kSamples);
        Put16(h, 116, 1000);
        Put32(h, 188, t.nInline);
        Put32(h, 192, t.nCrossline);
        file.insert(file.end(), h.begin(), h.end());
    }
    return file;
}

class SegySurvey : public SurveyTest
{
protected:
    std::string WriteSgy(const std::string& name, const std::vector<SgyTrace>& traces)
    {
        std::vector<unsigned char> bytes = MakeSgy(traces);
        return WriteFile(name, std::string(bytes.begin(), bytes.end()));
    }
};

// Three shots; the source point numbers are distinct.
std::vector<SgyTrace> DistinctIds()
{
    return {
        // sx   sy  sElev  rx  ry rElev  sp   rec ch  inl xl
        {100, 200, -10, 110, 200, 0, 301, 1, 1, 11, 21},
        {100, 200, -10, 120, 200, -2, 301, 1, 2, 11, 22},
        {300, 200, -10, 110, 200, 0, 302, 2, 1, 12, 21},
        {300, 200, -10, 130, 250, 0, 302, 2, 2, 12, 23},
        {500, 200, 0, 120, 200, -2, 303, 3, 1, 13, 22},
    };
}

TEST_F(SegySurvey, ShotsAndIdsFromTheTraces)
{
    std::string path = WriteSgy("survey.sgy", DistinctIds());
    CSurvey3D s;
    s.m_bUseShotId = true;
    std::string out;
    // Fault slip asked for: a SEG-Y survey carries no tensors, so it is off.
    ASSERT_EQ(LoadQuiet(s, path, true, &out), 0) << out;
    EXPECT_TRUE(s.m_bSgySurvey);
    EXPECT_FALSE(s.m_bFaultSlip);
    EXPECT_EQ(std::string((const char*)s.m_strFileName), path);
    ASSERT_EQ(s.m_vShotPoints.size(), 3u);
    EXPECT_DOUBLE_EQ(s.m_vShotPoints[0].x, 100);
    EXPECT_DOUBLE_EQ(s.m_vShotPoints[0].y, 200);
    EXPECT_DOUBLE_EQ(s.m_vShotPoints[0].z, 10);   // depth: minus the elevation
    EXPECT_DOUBLE_EQ(s.m_vShotPoints[1].x, 300);
    EXPECT_DOUBLE_EQ(s.m_vShotPoints[2].x, 500);
    EXPECT_DOUBLE_EQ(s.m_vShotPoints[2].z, 0);
    ASSERT_EQ(s.m_vShotIds.size(), 3u);
    EXPECT_EQ(s.m_vShotIds[0], 301);
    EXPECT_EQ(s.m_vShotIds[1], 302);
    EXPECT_EQ(s.m_vShotIds[2], 303);
    EXPECT_EQ(s.GetMinShot(), 301);
    EXPECT_EQ(s.GetMaxShot(), 303);
}

TEST_F(SegySurvey, ActiveShotTakesLineNumbersAndIdsFromItsTraces)
{
    std::string path = WriteSgy("survey.segy", DistinctIds());
    CSurvey3D s;
    s.m_bUseShotId = true;
    ASSERT_EQ(LoadQuiet(s, path, false), 0);

    std::string out;
    ASSERT_EQ(ActivateQuiet(s, 302, &out), 0) << out;
    EXPECT_EQ(s.m_nActiveShotIndex, 1);
    ASSERT_EQ(s.m_vReceivers.size(), 2u);
    EXPECT_DOUBLE_EQ(s.m_vReceivers[0].x, 110);
    EXPECT_DOUBLE_EQ(s.m_vReceivers[1].x, 130);
    EXPECT_DOUBLE_EQ(s.m_vReceivers[1].y, 250);
    EXPECT_EQ(s.GetRcvInline(0), 12);
    EXPECT_EQ(s.GetRcvCrossline(0), 21);
    EXPECT_EQ(s.GetRcvCrossline(1), 23);
    EXPECT_EQ(s.GetRcvTraceId(0), 1);
    EXPECT_EQ(s.GetRcvTraceId(1), 2);
    EXPECT_EQ(s.GetRcvFileId(0), 2);
    EXPECT_EQ(s.GetRcvFileId(1), 2);
    ASSERT_EQ(s.m_vExcitePoints.size(), 1u);
    EXPECT_DOUBLE_EQ(s.m_vExcitePoints[0].z, 10);
    CCubeR zone = s.GetObsZone();
    EXPECT_DOUBLE_EQ(zone.x0, 110);
    EXPECT_DOUBLE_EQ(zone.x1, 300);
    EXPECT_DOUBLE_EQ(zone.y1, 250);
    EXPECT_DOUBLE_EQ(zone.z0, 0);

    // The whole survey: each receiver position once, without line numbers.
    ASSERT_EQ(ActivateQuiet(s, -1), 0);
    ASSERT_EQ(s.m_vReceivers.size(), 3u);   // (110,200,0), (120,200,2), (130,250,0)
    EXPECT_DOUBLE_EQ(s.m_vReceivers[1].z, 2);
    EXPECT_EQ(s.GetRcvInline(0), 0);
    EXPECT_EQ(s.GetRcvCrossline(2), 0);

    EXPECT_EQ(ActivateQuiet(s, 304, &out), -35);
    EXPECT_TRUE(Contains(out, "Shot point skipped.\n"));
}

TEST_F(SegySurvey, DeadTracesAreNoShots)
{
    std::vector<SgyTrace> traces = {
        {100, 0, 0, 110, 0, 0, 1, 1, 1, 1, 1},
        {900, 0, 0, 110, 0, 0, 2, 1, 2, 1, 2},
        {500, 0, 0, 110, 0, 0, 3, 2, 1, 2, 1},
    };
    traces[1].nTraceId = 2;
    std::string path = WriteSgy("dead.sgy", traces);
    CSurvey3D s;
    ASSERT_EQ(LoadQuiet(s, path, false), 0);
    ASSERT_EQ(s.m_vShotPoints.size(), 2u);
    EXPECT_DOUBLE_EQ(s.m_vShotPoints[1].x, 500);
}

}  // namespace
