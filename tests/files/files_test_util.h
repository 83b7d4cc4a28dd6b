// Helpers of the file object tests: a scratch directory, the class settings
// saved and restored, raw byte readers, and raw builders of SEG-Y, SDS and VMG
// files written byte by byte, independent of the writers under test.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/TestUtil.h"
#include "files/SdsPC.h"

namespace sdspc_test {

using testutil::FileExists;
using testutil::ReadBytes;
using testutil::TempDir;
using testutil::WriteBytes;
using Bytes = std::vector<unsigned char>;

// Writes the bytes, then opens them as the object's file.
template <class Obj>
bool WriteAndOpen(Obj& f, const std::string& path, const Bytes& b)
{
    return WriteBytes(path, b) && f.OnOpen(path.c_str());
}

// ---- byte stores and reads ---------------------------------------------------

inline void PutN(Bytes& b, size_t off, uint32_t u, int n, bool be)
{
    for (int i = 0; i < n; i++) b[off + (be ? n - 1 - i : i)] = (unsigned char)(u >> (8 * i));
}
inline void Put16(Bytes& b, size_t off, int v, bool be) { PutN(b, off, (uint16_t)v, 2, be); }
inline void Put32(Bytes& b, size_t off, int64_t v, bool be) { PutN(b, off, (uint32_t)v, 4, be); }
inline void PutF32(Bytes& b, size_t off, float v, bool be)
{
    uint32_t u;
    memcpy(&u, &v, 4);
    PutN(b, off, u, 4, be);
}

inline uint32_t GetN(const Bytes& b, size_t off, int n, bool be)
{
    uint32_t u = 0;
    for (int i = 0; i < n; i++) u |= (uint32_t)b[off + (be ? n - 1 - i : i)] << (8 * i);
    return u;
}
inline int32_t be32(const Bytes& b, size_t off) { return (int32_t)GetN(b, off, 4, true); }
inline uint32_t beu32(const Bytes& b, size_t off) { return GetN(b, off, 4, true); }
inline int be16(const Bytes& b, size_t off) { return (int16_t)GetN(b, off, 2, true); }
inline int32_t le32(const Bytes& b, size_t off) { return (int32_t)GetN(b, off, 4, false); }
inline float lef32(const Bytes& b, size_t off)
{
    const uint32_t u = GetN(b, off, 4, false);
    float f;
    memcpy(&f, &u, 4);
    return f;
}

// Each {offset, value} of the bytes from base on, read by the given reader.
template <class Read>
void ExpectAt(const Bytes& b, Read read, std::initializer_list<std::pair<size_t, double>> fields, size_t base = 0)
{
    for (const auto& f : fields) EXPECT_EQ((double)read(b, base + f.first), f.second) << "offset " << f.first;
}

// IBM single precision, worked out from the definition: sign, 7-bit excess-64
// power of 16, 24-bit fraction.
inline uint32_t ToIBM(double v)
{
    if (v == 0) return 0;
    double a = fabs(v);
    int e = 64;
    for (; a >= 1.0; e++) a /= 16.0;
    for (; a < 1.0 / 16.0; e--) a *= 16.0;
    return (v < 0 ? 0x80000000u : 0) | ((uint32_t)e << 24) | (uint32_t)(a * 16777216.0);
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

inline void EncodeSample(Bytes& b, size_t off, float v, int format, bool be)
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

inline Bytes BuildSgy(const RawSgy& s)
{
    Bytes b(3600, 0);
    memset(b.data(), 0x40, 3200);
    const bool be = s.bigEndian;
    const int nTr = s.nTracesField ? s.nTracesField : (int)s.traces.size();
    for (auto f : {std::make_pair(3212, nTr), {3216, s.interval}, {3218, s.interval}, {3220, s.ns},
                   {3222, s.ns}, {3224, s.format}, {3254, 1}})
        Put16(b, f.first, f.second, be);
    Put32(b, 3200, 1, be);
    const int sb = s.format == 3 ? 2 : 4;
    for (size_t k = 0; k < s.traces.size(); k++) {
        const RawTrace& t = s.traces[k];
        const size_t base = b.size();
        b.resize(base + 240 + t.samples.size() * sb, 0);
        for (auto f : {std::make_pair(0, (int)k + 1), {8, t.record}, {12, t.channel}, {16, t.sourcePoint},
                       {40, t.recElev}, {44, t.srcElev}, {72, t.srcX}, {76, t.srcY}, {80, t.recX}, {84, t.recY},
                       {188, t.inl}, {192, t.xl}})
            Put32(b, base + f.first, f.second, be);
        for (auto f : {std::make_pair(28, t.traceId), {68, 1}, {70, t.coorScaler},
                       {114, t.ns >= 0 ? t.ns : (int)t.samples.size()}, {116, s.interval}})
            Put16(b, base + f.first, f.second, be);
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
    s.bigEndian = be, s.format = format, s.ns = ns;
    for (int k = 0; k < nTraces; k++) {
        RawTrace t;
        t.srcX = t.recX = x0 + k * dx, t.record = 7, t.channel = k + 1;
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
};

inline Bytes BuildSds(const std::vector<RawSdsTrace>& traces)
{
    Bytes b;
    for (const RawSdsTrace& t : traces) {
        const size_t base = b.size();
        const int size = (t.fmt[0] == 'I' && t.fmt[1] == '2') ? 2 : ((t.fmt[0] == 'T') ? 1 : 4);
        b.resize(base + 80 + t.samples.size() * size, 0);
        const int stop = t.stop != -1 ? t.stop : t.start + (int)t.samples.size() * t.step;
        for (auto f : {std::make_pair(0, 1), {12, t.actualFlag}, {20, t.srcX}, {28, t.recX}, {40, t.start},
                       {44, stop}, {48, t.start}, {52, stop}, {56, t.step}, {60, 100}, {72, t.srcY}, {76, t.recY}})
            Put32(b, base + f.first, f.second, false);
        memcpy(&b[base + 36], t.fmt, 4);
        memcpy(&b[base + 64], "SP01    ", 8);
        for (size_t i = 0; i < t.samples.size(); i++) {
            const size_t off = base + 80 + i * size;
            if (size == 2) Put16(b, off, (int)lround(t.samples[i]), false);
            else if (size == 4) memcpy(&b[off], &t.samples[i], 4);
        }
    }
    return b;
}

// ---- VMG ---------------------------------------------------------------------

// One frame: n1 columns of n2 samples, one component; value(col, i).
template <class F>
Bytes BuildVmgFrame(int n1, int n2, float x0, float x1, float z0, float z1, const char* axes, int nFrames,
                    int index, F value, const char* letters = "P")
{
    const int nc = (int)strlen(letters);
    Bytes b(296 + (size_t)n1 * n2 * nc * 4, 0);
    memcpy(&b[0], "Binary. FD-Grid ___", 19);
    const float fx[] = {x0, x1, n1 > 1 ? (x1 - x0) / (n1 - 1) : 1.0f, 5.0f,
                        z0, z1, n2 > 1 ? (z1 - z0) / (n2 - 1) : 1.0f, 6.0f};
    for (int i = 0; i < 8; i++) PutF32(b, 132 + 4 * i, fx[i], false);
    for (auto f : {std::make_pair(196, n1), {200, n2}, {204, 1}, {208, 1}, {232, 1}, {236, nFrames},
                   {240, index}, {244, nc}, {248, 2}})
        Put32(b, f.first, f.second, false);
    memcpy(&b[252], letters, nc);
    memcpy(&b[260], axes, 4);
    memcpy(&b[268], "Gath", 4);
    for (int i = 0; i < n2; i++)
        for (int c = 0; c < n1; c++)
            for (int k = 0; k < nc; k++) {
                const float v = (float)value(c, i) + 1000.0f * k;
                memcpy(&b[296 + (((size_t)i * n1 + c) * nc + k) * 4], &v, 4);
            }
    return b;
}

// A fresh directory that becomes the working directory (the log file
// "Ondex-0.log" then lands there too) and is removed with its files.
class ScratchDir : public testutil::TempDir {
public:
    ScratchDir() : TempDir(true, "ondex_files") { EXPECT_TRUE(ok()); }
};

// A static setting put back at the end of a test.
template <class T>
struct Keep {
    T& ref;
    const T saved;
    explicit Keep(T& r) : ref(r), saved(r) {}
    ~Keep() { ref = saved; }
};

// The class settings of CSdsPC that tests or files change, restored.
struct SettingsGuard {
    Keep<int> k1{CSdsPC::COOR_SCALER}, k2{CSdsPC::ELEV_SCALER}, k3{CSdsPC::INLINE_START},
        k4{CSdsPC::INLINE_STEP}, k5{CSdsPC::CROSSLINE_START}, k6{CSdsPC::CROSSLINE_STEP}, k7{CSdsPC::bFOOT};
    Keep<float> k8{CSdsPC::VALUE_SCALE_SAVE};
    Keep<int16_t> k9{CSdsPC::COMPONENT_SAVE};
    Keep<bool> k10{CSdsPC::PROMAX}, k11{CSdsPC::LINES_ALONG_Y}, k12{CSdsPC::USE_NEGATIVE_SRC_RCV_DIST},
        k13{CSdsPC::bRotate};
    Keep<double> k14{CSdsPC::rX00}, k15{CSdsPC::rY00}, k16{CSdsPC::rXx0}, k17{CSdsPC::rYx0};
};

inline SDS_TRACEINFO Info(float sx, float sy, float sz, float rx, float ry, float rz, int part = 0)
{
    SDS_TRACEINFO i;
    memset(&i, 0, sizeof(i));
    i.fSrcX = sx, i.fSrcY = sy, i.fSrcZ = sz, i.fRecX = rx, i.fRecY = ry, i.fRecZ = rz, i.nPart = part;
    return i;
}

}  // namespace sdspc_test

namespace ftest = sdspc_test;
