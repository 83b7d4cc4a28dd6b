// VMG frames: a file is one or more frames, each a 296-byte header followed
// by its float samples, all in host order.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

struct VMG_FILEHEADER {
    char szFormat[20];    // 0: "Binary. FD-Grid ___"
    char szTitle[80];     // 20: "Model"
    char szCreator[16];   // 100: "VelmoranPro"
    char szName[16];      // 116: first 16 characters of the file name
    float rX0, rX1, rDX, rSrcX;    // 132..144: axis 1 start, stop, step, source
    float rZ0, rZ1, rDZ, rSrcZ;    // 148..160: axis 2 start, stop, step, source
    float rT0, rT1, rDT;           // 164..172: axis 3 start, stop, step
    unsigned char reserved176[20]; // 176..195
    int32_t n1;           // 196: samples along axis 1
    int32_t n2;           // 200: samples along axis 2
    int32_t n3;           // 204: samples along axis 3
    int32_t n4;           // 208
    unsigned char reserved212[20]; // 212..231
    int32_t nReserved232; // 232: 1
    int32_t nFrames;      // 236: frames in the file
    int32_t nFrame;       // 240: index of this frame, from 0
    int32_t nComponents;  // 244: 1..4
    int32_t nAxes;        // 248: axes in use
    char szComponents[8]; // 252
    char szAxes[4];       // 260: "XZTY" or "XTZY", not terminated
    int32_t nReserved264; // 264
    char szKind[28];      // 268: "Snap", "Gath", "Modl", terminated
};

#pragma pack(pop)

static_assert(sizeof(VMG_FILEHEADER) == 296, "VMG frame header is 296 bytes");
static_assert(offsetof(VMG_FILEHEADER, rX0) == 132, "axis 1 at 132");
static_assert(offsetof(VMG_FILEHEADER, rT0) == 164, "axis 3 at 164");
static_assert(offsetof(VMG_FILEHEADER, n1) == 196, "n1 at 196");
static_assert(offsetof(VMG_FILEHEADER, nReserved232) == 232, "reserved at 232");
static_assert(offsetof(VMG_FILEHEADER, szComponents) == 252, "letters at 252");
static_assert(offsetof(VMG_FILEHEADER, szKind) == 268, "kind at 268");

// Number of floats in a frame's sample block, or -1 when the header's
// counts are not positive or the block would exceed 2^40 floats (a
// corrupted header).
int64_t VmgFrameFloats(const VMG_FILEHEADER& h);
