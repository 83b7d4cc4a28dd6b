// SDS trace records: a file is traces only, each an 80-byte header in host
// order followed by its samples.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

struct SDS_TRACEHEADER {
    int32_t nId;          // 0: trace identifier
    int32_t nInLine;      // 4: trace number in its line
    int32_t nId2;         // 8: trace identifier, again
    int32_t ActualFlag;   // 12: 0 dead; otherwise live and the coordinate scaler
    int32_t nPart;        // 16: part number position of the default map
    int32_t nSrcX;        // 20
    int32_t nMidX;        // 24
    int32_t nRecX;        // 28
    int32_t nVar32;       // 32: zero, or a variant field
    char szFormat[4];     // 36: "R4  ", "I2  ", "I4  ", "R2  ", "T1  "
    int32_t nStart;       // 40
    int32_t nStop;        // 44: exclusive
    int32_t nStart2;      // 48: start again, or source Z (mark -100)
    int32_t nLast;        // 52: last sample mark, or receiver Z (mark -100)
    int32_t nStep;        // 56
    int32_t nMark;        // 60: 100, or -100 for the Z variant
    char szText[4];       // 64: "SP01"; byte 66 'V' or 'Z' marks a variant
    char szBlank[4];      // 68: blanks, or a variant float
    int32_t nSrcY;        // 72
    int32_t nRecY;        // 76
};

// The same 80 bytes when the byte at 66 is 'V'. (For 'Z' the fields at 20
// and 32 exchange their meaning: receiver X int, receiver Z float.)
struct SDS_TRACEHEADER_VSP {
    int32_t nId;          // 0
    int32_t nInLine;      // 4
    int32_t nId2;         // 8
    int32_t ActualFlag;   // 12
    int32_t nPart;        // 16
    int32_t nRecZ;        // 20 ('Z': receiver X)
    int32_t nRecY;        // 24
    int32_t nReserved28;  // 28
    float fRecX;          // 32 ('Z': receiver Z)
    char szFormat[4];     // 36
    int32_t nStart;       // 40
    int32_t nStop;        // 44
    int32_t nStart2;      // 48
    int32_t nLast;        // 52
    int32_t nStep;        // 56
    int32_t nMark;        // 60
    char szText[4];       // 64
    float fSrcX;          // 68
    float fSrcY;          // 72
    float fSrcZ;          // 76
};

#pragma pack(pop)

static_assert(sizeof(SDS_TRACEHEADER) == 80, "SDS trace header is 80 bytes");
static_assert(sizeof(SDS_TRACEHEADER_VSP) == 80, "SDS VSP header is 80 bytes");
static_assert(offsetof(SDS_TRACEHEADER, szFormat) == 36, "format text at 36");
static_assert(offsetof(SDS_TRACEHEADER, nStep) == 56, "step at 56");
static_assert(offsetof(SDS_TRACEHEADER, nSrcY) == 72, "source Y at 72");
static_assert(offsetof(SDS_TRACEHEADER_VSP, fSrcZ) == 76, "VSP source Z at 76");

// Bytes per sample of an SDS format text, first two characters: "I2" 2,
// "I4" 4, "R2" 0, "R4" 4, "T1" 1, anything else 0. *pType (optional)
// receives the SGYDATATYPE code (3, 2, 0, 6, 7, else 0).
int SdsSizeOfFormat(const char* format, int* pType = nullptr);
