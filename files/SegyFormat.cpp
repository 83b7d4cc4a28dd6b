// SEG-Y format: code tables, byte order, IBM floats, and the members of
// CSdsPC that build and check SEG-Y headers (the ".inf" map: SegyInfMap.cpp).
#include "files/SegyFormat.h"

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "base/Output.h"
#include "files/SdsPC.h"

const unsigned char a2e[256] = {
    0x00, 0x01, 0x02, 0x03, 0x37, 0x2D, 0x2E, 0x2F, 0x16, 0x05, 0x25, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F,
    0x10, 0x11, 0x12, 0x13, 0x3C, 0x3D, 0x32, 0x26, 0x18, 0x19, 0x3F, 0x27, 0x1C, 0x1D, 0x1E, 0x1F,
    0x40, 0x4F, 0x7F, 0x7B, 0x5B, 0x6C, 0x50, 0x7D, 0x4D, 0x5D, 0x5C, 0x4E, 0x6B, 0x60, 0x4B, 0x61,
    0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0x7A, 0x5E, 0x4C, 0x7E, 0x6E, 0x6F,
    0x7C, 0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6,
    0xD7, 0xD8, 0xD9, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8, 0xE9, 0x4A, 0xE0, 0x5A, 0x5F, 0x6D,
    0x79, 0x81, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x91, 0x92, 0x93, 0x94, 0x95, 0x96,
    0x97, 0x98, 0x99, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xC0, 0x6A, 0xD0, 0xA1, 0x07,
    0x20, 0x21, 0x22, 0x23, 0x24, 0x15, 0x06, 0x17, 0x28, 0x29, 0x2A, 0x2B, 0x2C, 0x09, 0x0A, 0x1B,
    0x30, 0x31, 0x1A, 0x33, 0x34, 0x35, 0x36, 0x08, 0x38, 0x39, 0x3A, 0x3B, 0x04, 0x14, 0x3E, 0xE1,
    0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x51, 0x52, 0x53, 0x54, 0x55, 0x56, 0x57,
    0x58, 0x59, 0x62, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x70, 0x71, 0x72, 0x73, 0x74, 0x75,
    0x76, 0x77, 0x78, 0x80, 0x8A, 0x8B, 0x8C, 0x8D, 0x8E, 0x8F, 0x90, 0x9A, 0x9B, 0x9C, 0x9D, 0x9E,
    0x9F, 0xA0, 0xAA, 0xAB, 0xAC, 0xAD, 0xAE, 0xAF, 0xB0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xB7,
    0xB8, 0xB9, 0xBA, 0xBB, 0xBC, 0xBD, 0xBE, 0xBF, 0xCA, 0xCB, 0xCC, 0xCD, 0xCE, 0xCF, 0xDA, 0xDB,
    0xDC, 0xDD, 0xDE, 0xDF, 0xEA, 0xEB, 0xEC, 0xED, 0xEE, 0xEF, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF,
};

const unsigned char e2a[256] = {
    0x00, 0x01, 0x02, 0x03, 0x9C, 0x09, 0x86, 0x7F, 0x97, 0x8D, 0x8E, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F,
    0x10, 0x11, 0x12, 0x13, 0x9D, 0x85, 0x08, 0x87, 0x18, 0x19, 0x92, 0x8F, 0x1C, 0x1D, 0x1E, 0x1F,
    0x80, 0x81, 0x82, 0x83, 0x84, 0x0A, 0x17, 0x1B, 0x88, 0x89, 0x8A, 0x8B, 0x8C, 0x05, 0x06, 0x07,
    0x90, 0x91, 0x16, 0x93, 0x94, 0x95, 0x96, 0x04, 0x98, 0x99, 0x9A, 0x9B, 0x14, 0x15, 0x9E, 0x1A,
    0x20, 0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0x5B, 0x2E, 0x3C, 0x28, 0x2B, 0x21,
    0x26, 0xA9, 0xAA, 0xAB, 0xAC, 0xAD, 0xAE, 0xAF, 0xB0, 0xB1, 0x5D, 0x24, 0x2A, 0x29, 0x3B, 0x5E,
    0x2D, 0x2F, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xB7, 0xB8, 0xB9, 0x7C, 0x2C, 0x25, 0x5F, 0x3E, 0x3F,
    0xBA, 0xBB, 0xBC, 0xBD, 0xBE, 0xBF, 0xC0, 0xC1, 0xC2, 0x60, 0x3A, 0x23, 0x40, 0x27, 0x3D, 0x22,
    0xC3, 0x61, 0x62, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9,
    0xCA, 0x6A, 0x6B, 0x6C, 0x6D, 0x6E, 0x6F, 0x70, 0x71, 0x72, 0xCB, 0xCC, 0xCD, 0xCE, 0xCF, 0xD0,
    0xD1, 0x7E, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7,
    0xD8, 0xD9, 0xDA, 0xDB, 0xDC, 0xDD, 0xDE, 0xDF, 0xE0, 0xE1, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7,
    0x7B, 0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0xE8, 0xE9, 0xEA, 0xEB, 0xEC, 0xED,
    0x7D, 0x4A, 0x4B, 0x4C, 0x4D, 0x4E, 0x4F, 0x50, 0x51, 0x52, 0xEE, 0xEF, 0xF0, 0xF1, 0xF2, 0xF3,
    0x5C, 0x9F, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5A, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9,
    0x30, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF,
};

const char g_szComponentLetters[] = "PQRZXCSTVDELFN";

const char* const g_szSpyKeys[15] = {
    "ShotX=", "ShotY=", "RecvX=", "RecvY=", "ShotZ=", "RecvZ=", "Part0=",
    "kmTrs=", "kmCrd=", "CoorScaler=", "ElevScaler=", "zUnit=", "nType=", "nComp=", "kmVal="};

int ComponentCode(char c)
{
    if (c == 0)
        return 0;
    const char* p = strchr(g_szComponentLetters, c);
    return p ? (int)(p - g_szComponentLetters) + 1 : 0;
}

int SgySampleSize(int format)
{
    switch (format) {
    case SGYDT_IBM_FLOAT:
    case SGYDT_INT32:
    case SGYDT_INT_KRUTOJ:
    case SGYDT_IEEE_FLOAT:
    case SGYDT_PC_FLOAT:
        return 4;
    case SGYDT_INT16:
        return 2;
    default:
        return 0;
    }
}

void AsciiToEbcdic(unsigned char* buf, size_t n)
{
    for (size_t i = 0; i < n; i++)
        buf[i] = a2e[buf[i]];
}

void EbcdicToAscii(unsigned char* buf, size_t n)
{
    for (size_t i = 0; i < n; i++)
        buf[i] = e2a[buf[i]];
}

// ------------------------------------------------------------- byte order

static bool HostIsLittleEndian()
{
    const uint16_t one = 1;
    unsigned char b;
    memcpy(&b, &one, 1);
    return b == 1;
}

void SwapBytes16(void* p)
{
    unsigned char* b = (unsigned char*)p;
    unsigned char t = b[0];
    b[0] = b[1];
    b[1] = t;
}

void SwapBytes32(void* p)
{
    unsigned char* b = (unsigned char*)p;
    unsigned char t = b[0];
    b[0] = b[3];
    b[3] = t;
    t = b[1];
    b[1] = b[2];
    b[2] = t;
}

int16_t GetField16(const void* header, int offset)
{
    int16_t v;
    memcpy(&v, (const unsigned char*)header + offset, 2);
    return v;
}

int32_t GetField32(const void* header, int offset)
{
    int32_t v;
    memcpy(&v, (const unsigned char*)header + offset, 4);
    return v;
}

void SetField16(void* header, int offset, int16_t v)
{
    memcpy((unsigned char*)header + offset, &v, 2);
}

void SetField32(void* header, int offset, int32_t v)
{
    memcpy((unsigned char*)header + offset, &v, 4);
}

void PutBE16(void* p, int16_t v)
{
    uint16_t u = (uint16_t)v;
    unsigned char* b = (unsigned char*)p;
    b[0] = (unsigned char)(u >> 8);
    b[1] = (unsigned char)(u & 0xFF);
}

void PutBE32(void* p, int32_t v)
{
    uint32_t u = (uint32_t)v;
    unsigned char* b = (unsigned char*)p;
    b[0] = (unsigned char)(u >> 24);
    b[1] = (unsigned char)((u >> 16) & 0xFF);
    b[2] = (unsigned char)((u >> 8) & 0xFF);
    b[3] = (unsigned char)(u & 0xFF);
}

int16_t GetBE16(const void* p)
{
    const unsigned char* b = (const unsigned char*)p;
    return (int16_t)(uint16_t)((b[0] << 8) | b[1]);
}

int32_t GetBE32(const void* p)
{
    const unsigned char* b = (const unsigned char*)p;
    return (int32_t)(((uint32_t)b[0] << 24) | ((uint32_t)b[1] << 16) | ((uint32_t)b[2] << 8) | b[3]);
}

// The only fields that are ever swapped, in the file header and in a trace
// header; the swap is its own inverse.
static const int s_fh16[] = {3212, 3214, 3216, 3218, 3220, 3222, 3224, 3226, 3254, 3590, 3596, 3598};
static const int s_fh32[] = {3200, 3204, 3208, 3592};
static const int s_th32[] = {0, 4, 8, 12, 16, 20, 24, 36, 40, 44, 48, 52, 56, 60, 64, 72, 76, 80, 84,
                             180, 184, 188, 192};
static const int s_th16[] = {28, 32, 34, 68, 70, 88, 102, 114, 116};

static void SwapFileHeaderFields(SGY_FILEHEADER* h)
{
    unsigned char* b = (unsigned char*)h;
    for (int off : s_fh16)
        SwapBytes16(b + off);
    for (int off : s_fh32)
        SwapBytes32(b + off);
}

static void SwapTraceHeaderFields(SGY_TRACEHEADER* h)
{
    unsigned char* b = (unsigned char*)h;
    for (int off : s_th32)
        SwapBytes32(b + off);
    for (int off : s_th16)
        SwapBytes16(b + off);
}

// ------------------------------------------------------------- IBM floats

uint32_t IEEEToIBM(float v)
{
    uint32_t bits;
    memcpy(&bits, &v, 4);
    const uint32_t sign = bits & 0x80000000u;
    if (std::isnan(v))
        return 0;  // a NaN has no IBM form; zero is what readers make of it anyway
    if (std::isinf(v))
        return (sign ? 0x80000000u : 0u) | 0x7FFFFFFFu;
    if (std::fabs((double)v) < 0.000001)
        return 0;
    // |v| = 0.f * 2^e with 0.f in [0.5, 1). Denormals are below the cut above.
    const int e = (int)((bits >> 23) & 0xFF) - 126;
    // ceil(e / 4) and e modulo 4 with the sign of e, for either sign of e.
    const int q = (e >= 0) ? (e + 3) / 4 : -((-e) / 4);
    const int r = e % 4;
    const int shift = (r > 0) ? 4 - r : -r;
    uint32_t exponent = (uint32_t)(q + 64);
    if (exponent > 127)  // cannot happen for finite floats, kept as a guard
        exponent = 127;
    const uint32_t m = ((bits & 0x007FFFFFu) | 0x00800000u) >> shift;
    return sign | (exponent << 24) | (m & 0x00FFFFFFu);
}

void EncodeIBMFloat(float v, unsigned char* out4)
{
    const uint32_t w = IEEEToIBM(v);
    out4[0] = (unsigned char)(w >> 24);
    out4[1] = (unsigned char)((w >> 16) & 0xFF);
    out4[2] = (unsigned char)((w >> 8) & 0xFF);
    out4[3] = (unsigned char)(w & 0xFF);
}

float IBMToIEEE(uint32_t word)
{
    const uint32_t m = word & 0x00FFFFFFu;
    if (m == 0)
        return 0.0f;
    const int exponent = (int)((word >> 24) & 0x7F) - 64;
    // value = M * 16^(exp - 70): exact in long double, one rounding to float.
    long double x = ldexpl((long double)m, 4 * (exponent - 6));
    if (x > (long double)FLT_MAX)
        x = (long double)FLT_MAX;  // saturate instead of producing an infinity
    const float f = (float)x;
    return (word & 0x80000000u) ? -f : f;
}

float DecodeIBMFloat(const unsigned char* in4)
{
    return IBMToIEEE(((uint32_t)in4[0] << 24) | ((uint32_t)in4[1] << 16) | ((uint32_t)in4[2] << 8) | in4[3]);
}

namespace {
// 16^(e - 70) for the IBM exponents e whose every value M * 16^(e - 70),
// 1 <= M < 2^24, is a normal float: the product of the exact float M and this
// power of two is then exact, so it equals the one rounding of IBMToIEEE and
// does not depend on the flush-to-zero mode. Other exponents take IBMToIEEE.
constexpr int kIbmFastLo = 39, kIbmFastHi = 96;
struct IbmPowers {
    float p[128];
    IbmPowers()
    {
        for (int e = 0; e < 128; e++)
            p[e] = (e >= kIbmFastLo && e <= kIbmFastHi) ? std::ldexp(1.0f, 4 * (e - 70)) : 0.0f;
    }
};
}  // namespace

void DecodeIBMFloats(const unsigned char* in, float* out, int n)
{
    static const IbmPowers g_ibmPowers;  // local: ready whenever the first call comes
    for (int i = 0; i < n; i++, in += 4) {
        const uint32_t w = ((uint32_t)in[0] << 24) | ((uint32_t)in[1] << 16) | ((uint32_t)in[2] << 8) | in[3];
        const uint32_t m = w & 0x00FFFFFFu;
        const int e = (int)((w >> 24) & 0x7F);
        if (m == 0) {
            out[i] = 0.0f;
        } else if (e >= kIbmFastLo && e <= kIbmFastHi) {
            const float f = (float)m * g_ibmPowers.p[e];
            out[i] = (w & 0x80000000u) ? -f : f;
        } else {
            out[i] = IBMToIEEE(w);
        }
    }
}

float DecodeBEFloat(const unsigned char* in4)
{
    const uint32_t w = ((uint32_t)in4[0] << 24) | ((uint32_t)in4[1] << 16) | ((uint32_t)in4[2] << 8) | in4[3];
    float f;
    memcpy(&f, &w, 4);
    if (!std::isfinite(f))
        return 0.0f;
    return f;
}

// ------------------------------------------------------------- scalers

float ScaleCoordinate(float v, int scaler)
{
    if (scaler > 1)
        return v / (float)scaler;
    if (scaler < -1)
        return v * (float)(-scaler);
    return v;
}

int32_t NearestInt32(double x)
{
    if (std::isnan(x))
        return 0;
    const double r = std::floor(x + 0.5);
    if (r >= 2147483647.0)
        return INT32_MAX;
    if (r <= -2147483648.0)
        return INT32_MIN;
    return (int32_t)r;
}

int32_t TruncInt32(double x)
{
    if (std::isnan(x))
        return 0;
    if (x >= 2147483647.0)
        return INT32_MAX;
    if (x <= -2147483648.0)
        return INT32_MIN;
    return (int32_t)x;
}

static int16_t ClampInt16(long long v)
{
    if (v > 32767)
        return 32767;
    if (v < -32768)
        return -32768;
    return (int16_t)v;
}

double ScalerFactor(int scaler)
{
    if (scaler > 1)
        return (double)scaler;
    if (scaler < -1)
        return 1.0 / -(double)scaler;  // in double: -INT_MIN does not fit an int
    return 1.0;
}

int SgySampleInterval(double step, bool bSeconds, double* pFactor)
{
    double f = bSeconds ? 0.001 : 1.0;
    double s0 = step / f * 1000.0;
    if (s0 > 32000.0) {
        f = 1.0;
        s0 = step * 1000.0;
        if (s0 > 32000.0) {
            f = 1000.0;
            s0 = step;
        }
    }
    if (pFactor)
        *pFactor = f;
    // The field is 16 bits unsigned; anything outside cannot be stored.
    if (!(s0 + 0.5 >= 0.0))
        return 0;
    if (s0 + 0.5 >= 65535.0)
        return 65535;
    return (int)(s0 + 0.5);
}

// Samples of a trace over start, stop, step: (int)((stop - start)/step + 1.5),
// kept inside the int16 field. A step that is zero or not a number gives one
// sample: there is no axis to divide.
static int16_t SgySampleCount(const double* t)
{
    const double q = (t[1] - t[0]) / t[2] + 1.5;
    if (!(t[2] != 0.0) || std::isnan(q))
        return 1;
    if (q < 0.0)
        return 0;
    return ClampInt16((long long)std::min(q, 40000.0));
}

// ------------------------------------------------------------- CSdsPC members

// One text line of exactly 80 characters: longer output is cut, shorter is
// padded with blanks.
static void PutTextLine(unsigned char* text, int line, const char* s)
{
    unsigned char* d = text + (line - 1) * 80;
    size_t n = strlen(s);
    if (n > 80)
        n = 80;
    memset(d, ' ', 80);
    memcpy(d, s, n);
}

SGY_FILEHEADER CSdsPC::CreateSGYHeaderFile(int nTraces, double* traseParam, DATAUNIT unit, int format)
{
    SGY_FILEHEADER h;
    memset(&h, 0, sizeof(h));
    const double t[3] = {traseParam[0], traseParam[1], traseParam[2]};

    static const char* const kFormatWord[3] = {"16 bit IBM floating point", "32 bit IBM short", "byte"};
    const char* unitWord = (unit >= 0 && unit <= 3) ? g_szDataUnitWord[unit] : " ";
    if (bFOOT && unit == DU_M)
        unitWord = "foot";
    const bool depth = (unit == DU_M);

    char line[512];
    snprintf(line, sizeof(line), "C 1 %-76s", "__ Velmoran Technologies Inc. __");
    PutTextLine(h.text, 1, line);
    snprintf(line, sizeof(line), "C 2 %-76s", depth ? "__ SEGY in Depth Format __" : "__ SEGY in Time Format __");
    PutTextLine(h.text, 2, line);
    snprintf(line, sizeof(line), "C 3 %30s%10.2f%-36s", depth ? "__ Start Depth:" : "__ Start Time:", t[0], unitWord);
    PutTextLine(h.text, 3, line);
    snprintf(line, sizeof(line), "C 4 %30s%10.2f%-36s", depth ? "__ Stop Depth:" : "__ Stop Time:", t[1], unitWord);
    PutTextLine(h.text, 4, line);
    snprintf(line, sizeof(line), "C 5 %30s%10.2f%-36s", "__ Sampling Step:", t[2], unitWord);
    PutTextLine(h.text, 5, line);
    snprintf(line, sizeof(line), "C 6 %-30s%-46s", "__ Format:", kFormatWord[((format % 3) + 3) % 3]);
    PutTextLine(h.text, 6, line);
    for (int i = 7; i <= 40; i++) {
        snprintf(line, sizeof(line), "C%2d %-76s", i, " ");
        PutTextLine(h.text, i, line);
    }
    AsciiToEbcdic(h.text, sizeof(h.text));

    double f = 1.0;
    const int S = SgySampleInterval(t[2], unit == DU_SEC, &f);
    const int16_t ns = SgySampleCount(t);

    unsigned char* b = (unsigned char*)&h;
    PutBE32(b + 3200, 1);
    PutBE32(b + 3204, 1);
    PutBE32(b + 3208, 1);
    PutBE16(b + 3212, (int16_t)(nTraces < 0 ? 0 : (nTraces > 64000 ? 64000 : nTraces)));
    PutBE16(b + 3214, 0);
    PutBE16(b + 3216, (int16_t)(uint16_t)S);
    PutBE16(b + 3218, (int16_t)(uint16_t)S);
    PutBE16(b + 3220, ns);
    PutBE16(b + 3222, ns);
    PutBE16(b + 3224, (int16_t)(format == 0 ? SGYDT_IBM_FLOAT : SGYDT_INT16));
    PutBE16(b + 3226, 32);
    PutBE16(b + 3254, (int16_t)(bFOOT ? 2 : 1));
    PutBE16(b + 3590, COMPONENT_SAVE);
    uint32_t scaleBits;
    const float scale = VALUE_SCALE_SAVE;
    memcpy(&scaleBits, &scale, 4);
    PutBE32(b + 3592, (int32_t)scaleBits);
    PutBE16(b + 3596, (int16_t)(unit == DU_MSEC ? 1 : (unit == DU_M ? 2 : 0)));
    PutBE16(b + 3598, ClampInt16(TruncInt32(t[0] / f)));
    return h;
}

SGY_TRACEHEADER CSdsPC::CreateSGYHeaderTrace(int* p, SDS_TRACEINFO info, double* traseParam, DATAUNIT unit)
{
    SGY_TRACEHEADER h;
    memset(&h, 0, sizeof(h));
    const double t[3] = {traseParam[0], traseParam[1], traseParam[2]};

    h.traceSeqLine = p[0];
    h.traceSeqFile = p[0];
    h.fieldRecord = info.nPart;
    h.traceInRecord = p[1];
    h.sourcePoint = info.nPart;
    h.cdp = p[0];
    h.traceInCdp = p[0];
    h.traceId = 1;
    h.horizontalStack = 0;
    h.dataUse = 1;
    const double dx = (double)info.fRecX - (double)info.fSrcX;
    const double dy = (double)info.fRecY - (double)info.fSrcY;
    h.offset = TruncInt32(sqrt(dx * dx + dy * dy) + 0.5);
    h.recElevation = NearestInt32(ScaleCoordinate(-info.fRecZ, ELEV_SCALER));
    h.srcElevation = NearestInt32(ScaleCoordinate(-info.fSrcZ, ELEV_SCALER));
    h.elevScaler = ClampInt16(ELEV_SCALER);
    h.coorScaler = ClampInt16(COOR_SCALER);
    h.srcX = NearestInt32(ScaleCoordinate(info.fSrcX, COOR_SCALER));
    h.srcY = NearestInt32(ScaleCoordinate(info.fSrcY, COOR_SCALER));
    h.recX = NearestInt32(ScaleCoordinate(info.fRecX, COOR_SCALER));
    h.recY = NearestInt32(ScaleCoordinate(info.fRecY, COOR_SCALER));
    h.coorUnits = 1;
    h.totalStatic = 0;
    h.numSamples = SgySampleCount(t);
    h.sampleInterval = (int16_t)(uint16_t)SgySampleInterval(t[2], unit == DU_SEC);
    h.ensembleX = TruncInt32((double)info.fRecX + 0.5);
    h.ensembleY = TruncInt32((double)info.fRecY + 0.5);
    if (PROMAX) {
        if (LINES_ALONG_Y) {
            h.inlineNumber = (p[1] - 1) * INLINE_STEP + INLINE_START;
            h.crosslineNumber = info.nPart * CROSSLINE_STEP + CROSSLINE_START;
        } else {
            h.inlineNumber = info.nPart * INLINE_STEP + INLINE_START;
            h.crosslineNumber = (p[1] - 1) * CROSSLINE_STEP + CROSSLINE_START;
        }
    } else {
        h.inlineNumber = p[1];
        h.crosslineNumber = p[0];
    }
    if (HostIsLittleEndian())
        SwapTraceHeaderFields(&h);
    return h;
}

int CSdsPC::ProverkaHederaSEGY(SGY_FILEHEADER* header, int& swap)
{
    if (!header)
        return 0;
    int n = header->samplesPerTrace;
    int f = header->format;
    if (f >= 1 && f <= 7 && n >= 0) {
        swap = 0;
    } else {
        swap = 1;
        SwapFileHeaderFields(header);
        n = header->samplesPerTrace;
        f = header->format;
    }
    if (n < 2 || f < 1 || f > 7)
        return 0;
    if (header->measurementSystem != 2)
        header->measurementSystem = 1;
    if (header->sampleInterval == 0)
        header->sampleInterval = 1;
    return f;
}

SGYDATATYPE CSdsPC::ProverkaHederaSEGY(SGY_TRACEHEADER* header, int swap)
{
    if (!header)
        return SGYDT_NONE;
    if (swap)
        SwapTraceHeaderFields(header);
    return m_DataType;
}

int CSdsPC::SizeOfPointSDS(SGY_TRACEHEADER* /*header*/, SGYDATATYPE* type)
{
    return SgySampleSize(type ? (int)*type : (int)m_DataType);
}

int CSdsPC::GetTraceLenSDS(SGY_TRACEHEADER* header)
{
    if (!header)
        return 0;
    const long long size = SizeOfPointSDS(header, nullptr);
    const long long n = header->numSamples > 0 ? header->numSamples : (m_nTraceLen > 0 ? m_nTraceLen : 0);
    const long long bytes = size * n;
    return bytes > INT_MAX ? 0 : (int)bytes;
}
