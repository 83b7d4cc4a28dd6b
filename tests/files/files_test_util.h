// Helpers of the file object tests: a scratch directory, the class settings
// saved and restored, raw byte readers, and raw builders of SEG-Y, SDS and VMG
// files written byte by byte, independent of the writers under test.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/TestUtil.h"
#include "files/SdsPC.h"

namespace sdspc_test {

using testutil::FileExists;
using testutil::ReadBytes;
using testutil::TempDir;
using testutil::WriteBytes;

// Writes the bytes, then opens them as the object's file.
template <class Obj>
bool WriteAndOpen(Obj& f, const std::string& path, const std::vector<unsigned char>& b)
{
    return WriteBytes(path, b) && f.OnOpen(path.c_str());
}

// ---- byte stores -------------------------------------------------------------

inline void Put16(std::vector<unsigned char>& b, size_t off, int v, bool be)
{
    uint16_t u = (uint16_t)v;
    if (be) {
        b[off] = (unsigned char)(u >> 8);
        b[off + 1] = (unsigned char)u;
    } else {
        b[off] = (unsigned char)u;
        b[off + 1] = (unsigned char)(u >> 8);
    }
}

inline void Put32(std::vector<unsigned char>& b, size_t off, int64_t v, bool be)
{
    uint32_t u = (uint32_t)v;
    for (int i = 0; i < 4; i++) {
        unsigned char c = (unsigned char)(u >> (8 * i));
        b[off + (be ? 3 - i : i)] = c;
    }
}

inline void PutF32(std::vector<unsigned char>& b, size_t off, float v, bool be)
{
    uint32_t u;
    memcpy(&u, &v, 4);
    Put32(b, off, (int64_t)u, be);
}

// IBM single precision, worked out from the definition: sign, 7-bit excess-64
// power of 16, 24-bit fraction.
inline uint32_t ToIBM(double v)
{
    if (v == 0) return 0;
    uint32_t sign = v < 0 ? 0x80000000u : 0;
    double a = fabs(v);
    int e = 64;
    while (a >= 1.0) {
        a /= 16.0;
        e++;
    }
    while (a < 1.0 / 16.0) {
        a *= 16.0;
        e--;
    }
    uint32_t m = (uint32_t)(a * 16777216.0);
    return sign | ((uint32_t)e << 24) | m;
}

// ---- SEG-Y -------------------------------------------------------------------

struct RawTrace {
    std::vector<float> samples;
    int srcX = 0, srcY = 0, recX = 0, recY = 0;  // stored integers
    int srcElev = 0, recElev = 0, sourcePoint = 1, inl = 0, xl = 0;
    int coorScaler = 1;
    int traceId = 1;   // 2 = dead
    int ns = -1;       // samples field at 114; -1: the sample count
    int record = 0, channel = 0;
};

struct RawSgy {
    bool bigEndian = true;
    int format = 3;
    int ns = 0;          // file header samples
    int interval = 2000; // file header interval (micro units)
    int nTracesField = 0;
    std::vector<RawTrace> traces;
};

inline void EncodeSample(std::vector<unsigned char>& b, size_t off, float v, int format, bool be)
{
    switch (format) {
    case 1: Put32(b, off, (int64_t)ToIBM(v), true); break;  // IBM is always exponent byte first
    case 2: Put32(b, off, (int64_t)llround(v), be); break;
    case 3: Put16(b, off, (int)lround(v), be); break;
    case 5: PutF32(b, off, v, true); break;  // IEEE, big-endian
    case 6: memcpy(&b[off], &v, 4); break;   // host floats
    default: break;
    }
}

inline std::vector<unsigned char> BuildSgy(const RawSgy& s)
{
    std::vector<unsigned char> b(3600, 0);
    for (int i = 0; i < 3200; i++) b[i] = 0x40;
    const bool be = s.bigEndian;
    Put32(b, 3200, 1, be);
    Put16(b, 3212, s.nTracesField ? s.nTracesField : (int)s.traces.size(), be);
    Put16(b, 3216, s.interval, be);
    Put16(b, 3218, s.interval, be);
    Put16(b, 3220, s.ns, be);
    Put16(b, 3222, s.ns, be);
    Put16(b, 3224, s.format, be);
    Put16(b, 3254, 1, be);
    const int sb = s.format == 3 ? 2 : 4;
    for (size_t k = 0; k < s.traces.size(); k++) {
        const RawTrace& t = s.traces[k];
        size_t base = b.size();
        b.resize(base + 240 + t.samples.size() * sb, 0);
        Put32(b, base + 0, (int64_t)k + 1, be);
        Put32(b, base + 8, t.record, be);
        Put32(b, base + 12, t.channel, be);
        Put32(b, base + 16, t.sourcePoint, be);
        Put16(b, base + 28, t.traceId, be);
        Put32(b, base + 40, t.recElev, be);
        Put32(b, base + 44, t.srcElev, be);
        Put16(b, base + 68, 1, be);
        Put16(b, base + 70, t.coorScaler, be);
        Put32(b, base + 72, t.srcX, be);
        Put32(b, base + 76, t.srcY, be);
        Put32(b, base + 80, t.recX, be);
        Put32(b, base + 84, t.recY, be);
        Put16(b, base + 114, t.ns >= 0 ? t.ns : (int)t.samples.size(), be);
        Put16(b, base + 116, s.interval, be);
        Put32(b, base + 188, t.inl, be);
        Put32(b, base + 192, t.xl, be);
        for (size_t i = 0; i < t.samples.size(); i++)
            EncodeSample(b, base + 240 + i * sb, t.samples[i], s.format, be);
    }
    return b;
}

// A simple line of traces: trace k at X = x0 + k * dx, samples f(k, i).
template <class F>
RawSgy LineSgy(int nTraces, int ns, int format, bool be, F f, int x0 = 0, int dx = 10)
{
    RawSgy s;
    s.bigEndian = be;
    s.format = format;
    s.ns = ns;
    for (int k = 0; k < nTraces; k++) {
        RawTrace t;
        t.srcX = t.recX = x0 + k * dx;
        t.record = 7;
        t.channel = k + 1;
        for (int i = 0; i < ns; i++) t.samples.push_back((float)f(k, i));
        s.traces.push_back(t);
    }
    return s;
}

// ---- SDS ---------------------------------------------------------------------

struct RawSdsTrace {
    std::vector<float> samples;
    int actualFlag = 1;
    int srcX = 0, recX = 0, srcY = 0, recY = 0;
    int start = 0, stop = -1, step = 2;  // stop -1: start + n * step
    const char* fmt = "R4  ";
    int mark = 100;
    int start2 = 0, last = 0;
};

inline std::vector<unsigned char> BuildSds(const std::vector<RawSdsTrace>& traces)
{
    std::vector<unsigned char> b;
    for (const RawSdsTrace& t : traces) {
        size_t base = b.size();
        int size = (t.fmt[0] == 'I' && t.fmt[1] == '2') ? 2 : ((t.fmt[0] == 'T') ? 1 : 4);
        b.resize(base + 80 + t.samples.size() * size, 0);
        int stop = t.stop != -1 ? t.stop : t.start + (int)t.samples.size() * t.step;
        Put32(b, base + 0, 1, false);
        Put32(b, base + 12, t.actualFlag, false);
        Put32(b, base + 20, t.srcX, false);
        Put32(b, base + 28, t.recX, false);
        memcpy(&b[base + 36], t.fmt, 4);
        Put32(b, base + 40, t.start, false);
        Put32(b, base + 44, stop, false);
        Put32(b, base + 48, t.mark == -100 ? t.start2 : t.start, false);
        Put32(b, base + 52, t.mark == -100 ? t.last : stop, false);
        Put32(b, base + 56, t.step, false);
        Put32(b, base + 60, t.mark, false);
        memcpy(&b[base + 64], "SP01    ", 8);
        Put32(b, base + 72, t.srcY, false);
        Put32(b, base + 76, t.recY, false);
        for (size_t i = 0; i < t.samples.size(); i++) {
            size_t off = base + 80 + i * size;
            if (size == 2) Put16(b, off, (int)lround(t.samples[i]), false);
            else if (size == 4) memcpy(&b[off], &t.samples[i], 4);
        }
    }
    return b;
}

// ---- VMG ---------------------------------------------------------------------

// One frame: n1 columns of n2 samples, one component; value(col, i).
template <class F>
std::vector<unsigned char> BuildVmgFrame(int n1, int n2, float x0, float x1, float z0, float z1, const char* axes,
                                          int nFrames, int index, F value, const char* letters = "P")
{
    std::vector<unsigned char> b(296, 0);
    memcpy(&b[0], "Binary. FD-Grid ___", 19);
    PutF32(b, 132, x0, false);
    PutF32(b, 136, x1, false);
    PutF32(b, 140, n1 > 1 ? (x1 - x0) / (n1 - 1) : 1.0f, false);
    PutF32(b, 144, 5.0f, false);
    PutF32(b, 148, z0, false);
    PutF32(b, 152, z1, false);
    PutF32(b, 156, n2 > 1 ? (z1 - z0) / (n2 - 1) : 1.0f, false);
    PutF32(b, 160, 6.0f, false);
    Put32(b, 196, n1, false);
    Put32(b, 200, n2, false);
    Put32(b, 204, 1, false);
    Put32(b, 208, 1, false);
    Put32(b, 232, 1, false);
    Put32(b, 236, nFrames, false);
    Put32(b, 240, index, false);
    Put32(b, 244, (int)strlen(letters), false);
    Put32(b, 248, 2, false);
    memcpy(&b[252], letters, strlen(letters));
    memcpy(&b[260], axes, 4);
    memcpy(&b[268], "Gath", 4);
    int nc = (int)strlen(letters);
    b.resize(296 + (size_t)n1 * n2 * nc * 4, 0);
    for (int i = 0; i < n2; i++)
        for (int c = 0; c < n1; c++)
            for (int k = 0; k < nc; k++) {
                float v = (float)value(c, i) + 1000.0f * k;
                memcpy(&b[296 + (((size_t)i * n1 + c) * nc + k) * 4], &v, 4);
            }
    return b;
}


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

}  // namespace sdspc_test

namespace ftest = sdspc_test;
