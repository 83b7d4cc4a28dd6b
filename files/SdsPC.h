// CSdsPC: one seismic data file (SDS, SEG-Y or VMG), its trace catalogue,
// trace access, whole-file writers and the step between traces and cubes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "base/CString.h"
#include "base/Types.h"
#include "files/SegyFormat.h"  // SGY_FILEHEADER, SGY_TRACEHEADER, SGYDATATYPE, IBM / EBCDIC helpers
#include "files/SdsFormat.h"   // SDS_TRACEHEADER, SDS_TRACEHEADER_VSP
#include "files/VmgFormat.h"   // VMG_FILEHEADER

// Format of a data file, decided by its extension.
enum TYPEFILE { SDS = 0, SGY = 1, VMG = 2 };

// Unit of the sample axis.
enum DATAUNIT { DU_SEC = 0, DU_MSEC = 1, DU_M = 2, DU_SAME = 3 };

// Words that go with DATAUNIT 0..3.
extern const char* const g_szDataUnitWord[4];

// Component letters: code k is position k from 1, 0 for none.
#define SDS_COMPONENT_LETTERS "PQRZXCSTVDELFN"

#pragma pack(push, 4)
// One catalogue entry. Stored as it is in the ".cr2" side file, hence packed.
struct SDS_TRACEINFO {
    float fSrcX;       // source X
    float fRecX;       // receiver X
    float fSrcY;       // source Y
    float fRecY;       // receiver Y
    float fSrcZ;       // source Z (down)
    float fRecZ;       // receiver Z (down)
    int32_t nPart;     // part number; VMG: frame index
    int64_t nFilePos;  // position of the trace header; VMG: of the frame header
    int32_t nRecord;   // SEG-Y field record number; VMG: frame index
    int32_t nChannel;  // SEG-Y trace in record; VMG: column in the frame
};
#pragma pack(pop)
static_assert(sizeof(SDS_TRACEINFO) == 44, "SDS_TRACEINFO is 44 bytes on disk");
static_assert(offsetof(SDS_TRACEINFO, fSrcX) == 0, "layout");
static_assert(offsetof(SDS_TRACEINFO, fRecX) == 4, "layout");
static_assert(offsetof(SDS_TRACEINFO, fSrcY) == 8, "layout");
static_assert(offsetof(SDS_TRACEINFO, fRecY) == 12, "layout");
static_assert(offsetof(SDS_TRACEINFO, fSrcZ) == 16, "layout");
static_assert(offsetof(SDS_TRACEINFO, fRecZ) == 20, "layout");
static_assert(offsetof(SDS_TRACEINFO, nPart) == 24, "layout");
static_assert(offsetof(SDS_TRACEINFO, nFilePos) == 28, "layout");
static_assert(offsetof(SDS_TRACEINFO, nRecord) == 36, "layout");
static_assert(offsetof(SDS_TRACEINFO, nChannel) == 40, "layout");

#ifndef SPY_FIELD_DEFINED
#define SPY_FIELD_DEFINED
#pragma pack(push, 1)
// One entry of the header map (see GetInfoTraceFromFile); stored in ".cr2".
struct SPY_FIELD {
    int16_t nFieldType;  // 0 = 16-bit field, 1 = 32-bit field, -1 = not used
    double rValue;       // 1-based byte position in a trace header, or a value
    int16_t nPartFlag;
};
#pragma pack(pop)
static_assert(sizeof(SPY_FIELD) == 12, "SPY_FIELD is 12 bytes on disk");
#endif

// Argument types that callers pass and no operation reads.
struct PARTITITION_INFO {
    int nPart = -1;
    int nReserved[7] = {0, 0, 0, 0, 0, 0, 0};
};
struct SDS_TRACEINFO_ALL {
    SDS_TRACEINFO* pInfo = nullptr;
    int nCount = 0;
};

#define SPY_FIELD_COUNT 15
// Indices into m_spy_info.
enum {
    SPY_SHOTX = 0, SPY_SHOTY = 1, SPY_RECVX = 2, SPY_RECVY = 3, SPY_SHOTZ = 4, SPY_RECVZ = 5,
    SPY_PART = 6, SPY_KMTRS = 7, SPY_KMCRD = 8, SPY_COORSCALER = 9, SPY_ELEVSCALER = 10,
    SPY_ZUNIT = 11, SPY_NTYPE = 12, SPY_NCOMP = 13, SPY_KMVAL = 14
};

class CSdsPC {
public:
    CSdsPC();
    ~CSdsPC();
    CSdsPC(const CSdsPC&) = delete;             // owns a FILE* and the catalogue
    CSdsPC& operator=(const CSdsPC&) = delete;

    // ---- members, in order -------------------------------------------------
    char m_szFileName[4096];
    int m_bCatalogue;
    SDS_TRACEINFO* m_pSR;
    FILE* m_fp;
    int m_nTraceCount;
    int m_nTraceLen;
    double m_traseParam[3];  // start, stop, step of the sample axis
    double m_traseXY[3];     // minimum, maximum, step along the line
    int m_nfp;
    TYPEFILE m_Type;
    int m_bSwap;
    int m_nMaxPart;
    char m_cComponent;
    char m_arComponents[8];
    SGYDATATYPE m_DataType;
    DATAUNIT m_DataUnit;
    double m_rValueScale;
    int64_t m_nFileSize;
    int m_bWrite;
    int m_nTraceBytes;
    SPY_FIELD m_spy_info[SPY_FIELD_COUNT];
    int m_nFrame;
    double m_rFrameParam[3];
    int m_bFoot;

    // ---- class settings ----------------------------------------------------
    static int COOR_SCALER;
    static int ELEV_SCALER;
    static float VALUE_SCALE_SAVE;
    static int16_t COMPONENT_SAVE;
    static int INLINE_START, INLINE_STEP, CROSSLINE_START, CROSSLINE_STEP;
    static bool PROMAX;
    static bool LINES_ALONG_Y;
    static bool USE_NEGATIVE_SRC_RCV_DIST;
    static int bFOOT;
    static bool ZERO_TOP;
    static bool ELEV_TO_Z;
    static bool bRotate;
    static double rX00, rY00, rXx0, rYx0;
    static int nGridStep;
    static float fxBin, fx0p;
    static float fBin;  // bin width of the catalogue orderings
    static std::vector<CString> arPathSubst;

    // ---- SEG-Y format (SegyFormat.cpp) --------------------------------------
    SGY_FILEHEADER CreateSGYHeaderFile(int nTraces, double* traseParam, DATAUNIT unit, int format);
    SGY_TRACEHEADER CreateSGYHeaderTrace(int* p, SDS_TRACEINFO info, double* traseParam, DATAUNIT unit);
    int ProverkaHederaSEGY(SGY_FILEHEADER* header, int& swap);
    SGYDATATYPE ProverkaHederaSEGY(SGY_TRACEHEADER* header, int swap);
    int SizeOfPointSDS(SGY_TRACEHEADER* header, SGYDATATYPE* type);
    int GetTraceLenSDS(SGY_TRACEHEADER* header);
    bool GetInfoTraceFromFile(const char* file);
    void SetTraceInfo(SDS_TRACEINFO& info, const unsigned char* header, PARTITITION_INFO* part);

    // ---- SDS format (SdsFormat.cpp) -----------------------------------------
    SDS_TRACEHEADER CreateSDSHeaderTrace(int* p, SDS_TRACEINFO info, double* traseParam, DATAUNIT unit, int format);
    static int SizeOfFormat(const char* format);
    int SizeOfPointSDS(SDS_TRACEHEADER* header);
    int GetTraceLenSDS(SDS_TRACEHEADER* header);

    // ---- VMG format (VmgFormat.cpp) -----------------------------------------
    int GetTraceLenSDS(VMG_FILEHEADER* header);
    bool OnAddToVMG_SNAP(const char* szFile, C3DSizeN& size, CCubeR& cube, char* szComponents, CPointR& ptSource,
                         float* p0, float* p1, float* p2, float* p3);
    bool OnSaveNVmg2VMG(const char* szFile, int nFiles, int reserved);

    // ---- file object and catalogue (SdsPC.cpp, SdsPC_open.cpp) ---------------
    void Reset();  // frees the catalogue, closes the file, members to their reset values
    static bool GetTypeFromFileName(const char* name, TYPEFILE& type);
    bool OnOpen(const char* name, int bWrite = 0, int bDepth = 0, int reserved = 0, int nLift = 0);
    bool GetInfoHeaderFromFile(const char* name, int reserved = 0);
    bool SetInfoHeaderFromFile(const char* name, int bWrite);
    void Rotate();
    bool Set_pSR(int nTrace, SDS_TRACEINFO* out);
    SDS_TRACEINFO* GetTraceInfoAll();
    bool GetTraceParam(double* out);

    // Catalogue orderings for qsort. Without underscore: pointers to pointers
    // to an entry; with underscore: pointers to entries.
    static int compareS(const void* a, const void* b);
    static int compareR(const void* a, const void* b);
    static int compareSY(const void* a, const void* b);
    static int compareRY(const void* a, const void* b);
    static int compareM(const void* a, const void* b);
    static int compareMY(const void* a, const void* b);
    static int compareSXY(const void* a, const void* b);
    static int compareM2(const void* a, const void* b);
    static int _compareMY(const void* a, const void* b);
    static int _compareM2(const void* a, const void* b);
    static int _compareS(const void* a, const void* b);
    static int _compareR(const void* a, const void* b);
    static int _compareM(const void* a, const void* b);
    static int _compareSY(const void* a, const void* b);
    static int _compareRY(const void* a, const void* b);
    static int _compareSX(const void* a, const void* b);
    static int _compareRX(const void* a, const void* b);
    static int _compareMX(const void* a, const void* b);
    static int _compareRZ(const void* a, const void* b);

    // ---- trace access (SdsPC_access.cpp) --------------------------------------
    bool GetTrace(int nTrace, float* pBuf, int nLen);
    bool GetTrace(int nTrace, float* pBuf, double* pParam, float* pTmp, float fMin);
    bool SetTrace(int nTrace, float* pBuf, int nLen);
    // Writes nCount consecutive traces of nLen samples, stored trace after
    // trace in pData, with the result of SetTrace on each; traces that lie
    // back to back in a SEG-Y file go in one read and one write per block.
    bool SetTraces(int nFirst, int nCount, const float* pData, int nLen);
    bool GetTraceHeader(int nTrace, SGY_TRACEHEADER& header, int bConvert);
    bool SetTraceHeader(int nTrace, SGY_TRACEHEADER& header, int reserved);
    bool GetCoord(int nTrace, C3DPointR& src, C3DPointR& rec);
    CPointR GetSrc(int nTrace);
    CPointR GetRec(int nTrace);
    CRectR GetXYRect(int bRecOnly, CPointR pt);
    CSizeN GetXYSize(CPointR pt);

    // ---- writers (SdsPC_write.cpp) ---------------------------------------------
    static const float fP[16], fQ[16], fR[16];
    bool OnSave(const char* szFile, float* pData, const CRectR& rect, const CSizeN& size, int reserved1,
                int reserved2, bool bAlongY, SDS_TRACEINFO* pInfo, DATAUNIT unit);
    bool OnSaveModel(const char* szFile, float* p0, float* p1, float* p2, CRectR rect, CSizeN size,
                     SDS_TRACEINFO* pInfo, char* szLetters, DATAUNIT unit, float* p3);

    // ---- cubes (SdsPC_cube.cpp) ------------------------------------------------
    bool Create3D_file(const char* szFile, C3DSizeN size, CCubeR cube, float reserved1, DATAUNIT unit,
                       int reserved2, C3DPointR* pSrc);
    bool Get3D_buf(C3DSizeN size, CCubeR cube, float* pOut, SDS_TRACEINFO_ALL* reserved1, int reserved2,
                   float fMin);

private:
    // Scans of OnOpen; each appends its messages to 'msg' and answers false on failure.
    bool ScanSGY(CString& msg);
    bool ScanSDS(CString& msg);
    bool ScanVMG(CString& msg);
    void WorkOutTraseXY();
    void ConvertFoot(double factor);
    bool ReadTraceSGY(int nTrace, float* pBuf, int nLen, int& nDecoded);
    bool ReadTraceSDS(int nTrace, float* pBuf, int nLen, int& nDecoded);
    bool ReadTraceVMG(int nTrace, float* pBuf, int nLen, int& nDecoded);

    // Read-ahead block, switched on by Get3D_buf while it walks the catalogue:
    // traces that lie one behind the other then come from memory instead of a
    // seek and two reads each. Off, and empty, outside that call.
    std::vector<unsigned char> m_vReadBlock;
    int64_t m_nReadBlockPos = 0;  // file position of m_vReadBlock[0]
    size_t m_nReadBlockLen = 0;   // bytes of it that hold file data
    bool m_bReadBlock = false;
    // Bytes [pos, pos + n) of the file from the block, refilled as needed.
    // Null on failure, with bSeekFailed telling a failed seek from a short read.
    const unsigned char* FetchBlock(int64_t pos, size_t n, bool& bSeekFailed);
    void SetReadBlock(bool bOn);
};
