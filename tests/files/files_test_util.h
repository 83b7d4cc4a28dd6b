// Helpers shared by the file-format tests: a scratch directory that the test
// works in, saving and restoring the class settings, and raw byte readers
// that do not go through the code under test.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/TestUtil.h"
#include "files/SdsPC.h"

namespace ftest {

// A fresh directory that becomes the working directory (the log file
// "Ondex-0.log" then lands there too) and is removed with its files.
class ScratchDir : public testutil::TempDir {
public:
    ScratchDir() : TempDir(true, "ondex_files") {}
};

// The class settings of CSdsPC, restored at the end of a test.
struct SettingsGuard {
    int coor = CSdsPC::COOR_SCALER, elev = CSdsPC::ELEV_SCALER;
    float vscale = CSdsPC::VALUE_SCALE_SAVE;
    int16_t comp = CSdsPC::COMPONENT_SAVE;
    int is = CSdsPC::INLINE_START, ist = CSdsPC::INLINE_STEP, cs = CSdsPC::CROSSLINE_START,
        cst = CSdsPC::CROSSLINE_STEP;
    bool promax = CSdsPC::PROMAX, along = CSdsPC::LINES_ALONG_Y, neg = CSdsPC::USE_NEGATIVE_SRC_RCV_DIST;
    int foot = CSdsPC::bFOOT;
    bool rot = CSdsPC::bRotate;
    double x00 = CSdsPC::rX00, y00 = CSdsPC::rY00, xx0 = CSdsPC::rXx0, yx0 = CSdsPC::rYx0;
    ~SettingsGuard()
    {
        CSdsPC::COOR_SCALER = coor;
        CSdsPC::ELEV_SCALER = elev;
        CSdsPC::VALUE_SCALE_SAVE = vscale;
        CSdsPC::COMPONENT_SAVE = comp;
        CSdsPC::INLINE_START = is;
        CSdsPC::INLINE_STEP = ist;
        CSdsPC::CROSSLINE_START = cs;
        CSdsPC::CROSSLINE_STEP = cst;
        CSdsPC::PROMAX = promax;
        CSdsPC::LINES_ALONG_Y = along;
        CSdsPC::USE_NEGATIVE_SRC_RCV_DIST = neg;
        CSdsPC::bFOOT = foot;
        CSdsPC::bRotate = rot;
        CSdsPC::rX00 = x00;
        CSdsPC::rY00 = y00;
        CSdsPC::rXx0 = xx0;
        CSdsPC::rYx0 = yx0;
    }
};

using testutil::FileExists;
using testutil::ReadBytes;
using testutil::WriteBytes;

// Big-endian and little-endian reads written out by hand.
inline int32_t be32(const std::vector<unsigned char>& b, size_t off)
{
    return (int32_t)(((uint32_t)b[off] << 24) | ((uint32_t)b[off + 1] << 16) | ((uint32_t)b[off + 2] << 8) |
                     (uint32_t)b[off + 3]);
}
inline uint32_t beu32(const std::vector<unsigned char>& b, size_t off) { return (uint32_t)be32(b, off); }
inline int be16(const std::vector<unsigned char>& b, size_t off)
{
    return (int16_t)(uint16_t)((b[off] << 8) | b[off + 1]);
}
inline int32_t le32(const std::vector<unsigned char>& b, size_t off)
{
    return (int32_t)((uint32_t)b[off] | ((uint32_t)b[off + 1] << 8) | ((uint32_t)b[off + 2] << 16) |
                     ((uint32_t)b[off + 3] << 24));
}
inline float lef32(const std::vector<unsigned char>& b, size_t off)
{
    uint32_t u = (uint32_t)le32(b, off);
    float f;
    memcpy(&f, &u, 4);
    return f;
}

inline SDS_TRACEINFO Info(float sx, float sy, float sz, float rx, float ry, float rz, int part = 0)
{
    SDS_TRACEINFO i;
    memset(&i, 0, sizeof(i));
    i.fSrcX = sx;
    i.fSrcY = sy;
    i.fSrcZ = sz;
    i.fRecX = rx;
    i.fRecY = ry;
    i.fRecZ = rz;
    i.nPart = part;
    return i;
}

}  // namespace ftest
