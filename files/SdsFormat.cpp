// SDS format: the members of CSdsPC that build and measure SDS trace headers.
#include "files/SdsFormat.h"

#include <climits>
#include <cmath>
#include <cstring>

#include "files/SdsPC.h"
#include "files/SegyFormat.h"

int SdsSizeOfFormat(const char* format, int* pType)
{
    int type = SGYDT_NONE, size = 0;
    if (format) {
        if (strncmp(format, "I2", 2) == 0) {
            type = SGYDT_INT16;
            size = 2;
        } else if (strncmp(format, "I4", 2) == 0) {
            type = SGYDT_INT32;
            size = 4;
        } else if (strncmp(format, "R2", 2) == 0) {
            type = SGYDT_NONE;  // known, but has no decoder
            size = 0;
        } else if (strncmp(format, "R4", 2) == 0) {
            type = SGYDT_PC_FLOAT;
            size = 4;
        } else if (strncmp(format, "T1", 2) == 0) {
            type = SGYDT_DELTA_BYTE;
            size = 1;
        }
    }
    if (pType)
        *pType = type;
    return size;
}

int CSdsPC::SizeOfFormat(const char* format)
{
    return SdsSizeOfFormat(format);
}

int CSdsPC::SizeOfPointSDS(SDS_TRACEHEADER* header)
{
    if (!header || header->nStart >= header->nStop || header->nStep == 0)
        return 0;
    char text[4];
    memcpy(text, header->szFormat, 4);
    return SdsSizeOfFormat(text);
}

int CSdsPC::GetTraceLenSDS(SDS_TRACEHEADER* header)
{
    if (!header || header->nStart >= header->nStop || header->nStep == 0)
        return 0;
    const long long n = ((long long)header->nStop - (long long)header->nStart) / (long long)header->nStep;
    const long long bytes = n * (long long)SizeOfPointSDS(header);
    // A negative step gives a negative count; a count beyond int is a corrupt
    // header. Both mean "no readable samples".
    if (bytes < 0 || bytes > INT_MAX)
        return 0;
    return (int)bytes;
}

static int32_t AddSat(int32_t a, int32_t b)
{
    const long long s = (long long)a + b;
    return s > INT32_MAX ? INT32_MAX : (s < INT32_MIN ? INT32_MIN : (int32_t)s);
}

SDS_TRACEHEADER CSdsPC::CreateSDSHeaderTrace(int* p, SDS_TRACEINFO info, double* traseParam, DATAUNIT unit,
                                             int format)
{
    double start = traseParam[0], stop = traseParam[1], step = traseParam[2];
    float sx = info.fSrcX, sy = info.fSrcY, rx = info.fRecX, ry = info.fRecY;
    if (bFOOT) {
        sx *= 0.3048f;
        sy *= 0.3048f;
        rx *= 0.3048f;
        ry *= 0.3048f;
        if (unit == DU_M) {
            const double k = (double)0.3048f;
            start *= k;
            stop *= k;
            step *= k;
        }
    }

    SDS_TRACEHEADER h;
    memset(&h, 0, sizeof(h));
    h.nId = p[0];
    h.nInLine = p[1];
    h.nId2 = p[0];
    h.ActualFlag = COOR_SCALER;
    h.nPart = p[0];

    h.nSrcX = NearestInt32(ScaleCoordinate(sx, COOR_SCALER));
    h.nRecX = NearestInt32(ScaleCoordinate(rx, COOR_SCALER));
    h.nSrcY = NearestInt32(ScaleCoordinate(sy, COOR_SCALER));
    h.nRecY = NearestInt32(ScaleCoordinate(ry, COOR_SCALER));
    h.nMidX = (int32_t)(((long long)h.nSrcX + (long long)h.nRecX) / 2);

    memcpy(h.szFormat, format == 0 ? "R4  " : (format == 1 ? "I2  " : "T1  "), 4);

    double k = (step < 1) ? 1000.0 : 1.0;
    if (k * step < 1)
        k = 1000000.0;
    h.nStep = TruncInt32(k * step + 0.5);
    h.nStart = TruncInt32(k * start + 0.5);
    h.nStop = AddSat(h.nStep, TruncInt32(k * stop + 0.5));
    h.nStart2 = h.nStart;
    const int32_t last = AddSat(h.nStart, TruncInt32(0.5 + (stop - start) / step));
    h.nLast = last < h.nStop ? last : h.nStop;
    h.nMark = 100;
    memcpy(h.szText, "SP01", 4);
    memcpy(h.szBlank, "    ", 4);
    return h;
}
