// A survey given as a SEG-Y file: shots from the source positions of the
// traces, ids from the energy source point number, and one shot's receivers
// with the line numbers and ids of its traces. The files are written here
// byte by byte, big-endian, as any SEG-Y writer would.
#include <string>
#include <vector>

#include "SurveyTestUtil.h"

namespace
{
// Source and receiver; elevation is minus the depth.
struct SgyTrace { int sx, sy, sElev, rx, ry, rElev, nSourcePoint, nRecord, nChannel, nInline, nCrossline; };

class SegySurvey : public SurveyTest
{
protected:
    // IEEE float samples, 1 ms sampling, no scalers.
    std::string WriteSgy(const std::string& name, const std::vector<SgyTrace>& traces)
    {
        sdspc_test::RawSgy s;
        s.format = 5, s.ns = 8, s.interval = 1000;
        for (const SgyTrace& t : traces)
        {
            sdspc_test::RawTrace r;
            r.samples.assign(8, 0.0f);
            r.srcX = t.sx, r.srcY = t.sy, r.srcElev = t.sElev, r.recX = t.rx, r.recY = t.ry, r.recElev = t.rElev;
            r.sourcePoint = t.nSourcePoint, r.record = t.nRecord, r.channel = t.nChannel;
            r.inl = t.nInline, r.xl = t.nCrossline;
            s.traces.push_back(r);
        }
        const std::vector<unsigned char> bytes = sdspc_test::BuildSgy(s);
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
    // Depth is minus the elevation.
    EXPECT_EQ(s.m_vShotPoints, (std::vector<C3DPointR>{{100, 200, 10}, {300, 200, 10}, {500, 200, 0}}));
    EXPECT_EQ(s.m_vShotIds, (std::vector<int>{301, 302, 303}));
    EXPECT_EQ(s.GetMinShot(), 301);
    EXPECT_EQ(s.GetMaxShot(), 303);

    // A shot takes line numbers and ids from its traces.
    ASSERT_EQ(ActivateQuiet(s, 302, &out), 0) << out;
    EXPECT_EQ(s.m_nActiveShotIndex, 1);
    EXPECT_EQ(s.m_vReceivers, (std::vector<C3DPointR>{{110, 200, 0}, {130, 250, 0}}));
    EXPECT_EQ(s.GetRcvInline(0), 12);
    EXPECT_EQ(s.GetRcvCrossline(0), 21);
    EXPECT_EQ(s.GetRcvCrossline(1), 23);
    EXPECT_EQ(s.GetRcvTraceId(0), 1);
    EXPECT_EQ(s.GetRcvTraceId(1), 2);
    EXPECT_EQ(s.GetRcvFileId(0), 2);
    EXPECT_EQ(s.GetRcvFileId(1), 2);
    ASSERT_EQ(s.m_vExcitePoints.size(), 1u);
    EXPECT_DOUBLE_EQ(s.m_vExcitePoints[0].z, 10);
    const CCubeR zone = s.GetObsZone();
    EXPECT_TRUE(zone.x0 == 110 && zone.x1 == 300 && zone.y1 == 250 && zone.z0 == 0);

    // The whole survey: each receiver position once, without line numbers.
    ASSERT_EQ(ActivateQuiet(s, -1), 0);
    ASSERT_EQ(s.m_vReceivers.size(), 3u);   // (110,200,0), (120,200,2), (130,250,0)
    EXPECT_DOUBLE_EQ(s.m_vReceivers[1].z, 2);
    EXPECT_EQ(s.GetRcvInline(0), 0);
    EXPECT_EQ(s.GetRcvCrossline(2), 0);
}

}  // namespace
