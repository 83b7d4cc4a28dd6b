// SEG-Y records (rev 0 with the rev 1 trace-header extension), the sample
// format codes, IBM float coding, the ASCII/EBCDIC tables and byte swapping.
// Everything here is plain data and free functions; the members of CSdsPC
// that build and check headers live in SegyFormat.cpp.
#pragma once

#include <cstddef>
#include <cstdint>

// Sample format: the code at offset 3224 of the binary file header. The
// SDS format uses the same codes for its format texts.
enum SGYDATATYPE : int {
    SGYDT_NONE = 0,
    SGYDT_IBM_FLOAT = 1,
    SGYDT_INT32 = 2,
    SGYDT_INT16 = 3,
    SGYDT_INT_KRUTOJ = 4,
    SGYDT_IEEE_FLOAT = 5,
    SGYDT_PC_FLOAT = 6,
    SGYDT_DELTA_BYTE = 7
};

// Bytes per sample of a SEG-Y format code; 0 for codes without a usable size
// (0, 7 and anything outside 1..7).
int SgySampleSize(int format);

#pragma pack(push, 1)

// 3600 bytes: EBCDIC text header and the 400-byte binary header. Field
// names follow the SEG-Y standard; the tail of the unassigned area holds the
// private block, which counts only when the text names the vendor.
struct SGY_FILEHEADER {
    unsigned char text[3200];    // 0
    int32_t jobId;               // 3200
    int32_t lineNumber;          // 3204
    int32_t reelNumber;          // 3208
    int16_t tracesPerEnsemble;   // 3212 (read as uint16)
    int16_t auxTraces;           // 3214
    uint16_t sampleInterval;     // 3216
    int16_t fieldSampleInterval; // 3218
    int16_t samplesPerTrace;     // 3220
    int16_t fieldSamplesPerTrace;// 3222
    int16_t format;              // 3224
    int16_t ensembleFold;        // 3226
    int16_t sortingCode;         // 3228
    int16_t verticalSum;         // 3230
    int16_t sweepFreqStart;      // 3232
    int16_t sweepFreqEnd;        // 3234
    int16_t sweepLength;         // 3236
    int16_t sweepType;           // 3238
    int16_t sweepChannel;        // 3240
    int16_t sweepTaperStart;     // 3242
    int16_t sweepTaperEnd;       // 3244
    int16_t taperType;           // 3246
    int16_t correlated;          // 3248
    int16_t gainRecovered;       // 3250
    int16_t ampRecoveryMethod;   // 3252
    int16_t measurementSystem;   // 3254: 1 metres, 2 feet
    int16_t impulsePolarity;     // 3256
    int16_t vibPolarity;         // 3258
    unsigned char unassigned[330]; // 3260 .. 3589
    int16_t privComponent;       // 3590: 1..14 into "PQRZXCSTVDELFN", 0 none
    float privValueScale;        // 3592: IEEE, file byte order
    int16_t privUnit;            // 3596: 1 msec, 2 m, 0 otherwise
    int16_t privStart;           // 3598: first sample position
};

// 240 bytes.
struct SGY_TRACEHEADER {
    int32_t traceSeqLine;        // 0
    int32_t traceSeqFile;        // 4
    int32_t fieldRecord;         // 8
    int32_t traceInRecord;       // 12
    int32_t sourcePoint;         // 16
    int32_t cdp;                 // 20
    int32_t traceInCdp;          // 24
    int16_t traceId;             // 28: 2 = dead
    int16_t verticalStack;       // 30
    int16_t horizontalStack;     // 32
    int16_t dataUse;             // 34
    int32_t offset;              // 36
    int32_t recElevation;        // 40
    int32_t srcElevation;        // 44
    int32_t srcDepth;            // 48
    int32_t recDatum;            // 52
    int32_t srcDatum;            // 56
    int32_t srcWaterDepth;       // 60
    int32_t recWaterDepth;       // 64
    int16_t elevScaler;          // 68
    int16_t coorScaler;          // 70
    int32_t srcX;                // 72
    int32_t srcY;                // 76
    int32_t recX;                // 80
    int32_t recY;                // 84
    int16_t coorUnits;           // 88
    int16_t weatheringVel;       // 90
    int16_t subWeatheringVel;    // 92
    int16_t srcUphole;           // 94
    int16_t recUphole;           // 96
    int16_t srcStatic;           // 98
    int16_t recStatic;           // 100
    int16_t totalStatic;         // 102
    int16_t lagA;                // 104
    int16_t lagB;                // 106
    int16_t delay;               // 108
    int16_t muteStart;           // 110
    int16_t muteEnd;             // 112
    int16_t numSamples;          // 114
    int16_t sampleInterval;      // 116
    unsigned char misc[62];      // 118 .. 179, not used by the system
    int32_t ensembleX;           // 180
    int32_t ensembleY;           // 184
    int32_t inlineNumber;        // 188
    int32_t crosslineNumber;     // 192
    unsigned char tail[44];      // 196 .. 239
};

#pragma pack(pop)

static_assert(sizeof(SGY_FILEHEADER) == 3600, "SEG-Y file header is 3600 bytes");
static_assert(offsetof(SGY_FILEHEADER, format) == 3224, "format code at 3224");
static_assert(offsetof(SGY_FILEHEADER, measurementSystem) == 3254, "measurement system at 3254");
static_assert(offsetof(SGY_FILEHEADER, privComponent) == 3590, "private block at 3590");
static_assert(offsetof(SGY_FILEHEADER, privStart) == 3598, "private start at 3598");
static_assert(sizeof(SGY_TRACEHEADER) == 240, "SEG-Y trace header is 240 bytes");
static_assert(offsetof(SGY_TRACEHEADER, elevScaler) == 68, "elevation scaler at 68");
static_assert(offsetof(SGY_TRACEHEADER, numSamples) == 114, "samples at 114");
static_assert(offsetof(SGY_TRACEHEADER, ensembleX) == 180, "ensemble X at 180");
static_assert(offsetof(SGY_TRACEHEADER, crosslineNumber) == 192, "crossline at 192");

// Keys of the ".inf" side file by m_spy_info index (SPY_FIELD and the index
// names are in files/SdsPC.h); index 6 has two keys ("Part0=", "Part1="),
// listed here as "Part0=".
extern const char* const g_szSpyKeys[15];

// The system's component letters; code k is position k from 1, 0 for none.
extern const char g_szComponentLetters[]; // "PQRZXCSTVDELFN"
// Code of a letter, 0 when it is not one of them.
int ComponentCode(char c);

// ASCII <-> EBCDIC tables (dd variant with '!' = 0x4F, '[' = 0x4A,
// ']' = 0x5A, '^' = 0x5F, '|' = 0x6A); e2a is the exact inverse of a2e.
extern const unsigned char a2e[256];
extern const unsigned char e2a[256];
void AsciiToEbcdic(unsigned char* buf, size_t n);
void EbcdicToAscii(unsigned char* buf, size_t n);

// Byte swapping in place.
void SwapBytes16(void* p);
void SwapBytes32(void* p);

// Host-order access to a field of a raw header at a 0-based offset (no
// alignment needed). Callers check the offset against the header size.
int16_t GetField16(const void* header, int offset);
int32_t GetField32(const void* header, int offset);
void SetField16(void* header, int offset, int16_t v);
void SetField32(void* header, int offset, int32_t v);
// Big-endian stores and loads, independent of the host order.
void PutBE16(void* p, int16_t v);
void PutBE32(void* p, int32_t v);
int16_t GetBE16(const void* p);
int32_t GetBE32(const void* p);

// IBM System/360 single precision. EncodeIBMFloat writes 4 bytes in file
// order (exponent byte first): |v| < 1e-6 gives four zero bytes; fraction
// bits that fall off are dropped, not rounded. NaN is written as 0 and an
// infinity as the largest IBM magnitude of its sign, so that no garbage
// reaches a file.
void EncodeIBMFloat(float v, unsigned char* out4);
uint32_t IEEEToIBM(float v); // the same 4 bytes as a big-endian word
// DecodeIBMFloat reads 4 bytes in file order. A zero mantissa gives 0; a
// magnitude beyond the float range saturates to +-FLT_MAX, tiny ones round
// to the nearest float (which may be 0).
float DecodeIBMFloat(const unsigned char* in4);
float IBMToIEEE(uint32_t word);
// n samples of 4 bytes each in file order, the same values as DecodeIBMFloat
// one by one; the loop for whole traces.
void DecodeIBMFloats(const unsigned char* in, float* out, int n);
// Big-endian IEEE float (format 5); NaN and infinities give 0.
float DecodeBEFloat(const unsigned char* in4);

// Scaled form of a coordinate for a header: v / s for s > 1, v * |s| for
// s < -1, v otherwise, in single precision; then rounded to the nearest
// integer (floor(x + 0.5)), clamped to the int32 range.
float ScaleCoordinate(float v, int scaler);
int32_t NearestInt32(double x);
// (int) conversion as C does it (towards zero), but defined for every input:
// NaN gives 0, values beyond the range saturate.
int32_t TruncInt32(double x);
// The reverse factor of a stored scaler: s for s > 1, 1/|s| for s < -1,
// otherwise 1.
double ScalerFactor(int scaler);

// Sample interval of the file and trace headers from a sample step, with the
// rules for large depth steps. bSeconds is true for DU_SEC. Returns S in
// 0..65535; *pFactor (optional) receives the f the interval ended with.
int SgySampleInterval(double step, bool bSeconds, double* pFactor = nullptr);
