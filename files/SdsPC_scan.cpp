// CSdsPC scans: the trace table of a SEG-Y, SDS or VMG file, read once at open.
#include "files/SdsPC.h"

#include <cmath>
#include <cstring>
#include <new>

#include "base/Output.h"
#include "files/SdsPC_io.h"

using namespace sdsio;

// ---------------------------------------------------------------- SEG-Y scan

bool CSdsPC::ScanSGY(CString& msg)
{
    SGY_FILEHEADER fh;
    if (!ReadExact(m_fp, &fh, sizeof(fh))) {
        msg += "fread(sgy_file) error!\n";
        return false;
    }
    int swap = 0;
    int fmt = ProverkaHederaSEGY(&fh, swap);
    m_bSwap = swap;
    m_DataType = (SGYDATATYPE)fmt;
    if (fmt == 0) {
        msg += "File Header error!\n";
        return false;
    }

    m_nTraceCount = (int)GetField16(&fh, 3212) & 0xFFFF;  // uint16; replaced by the scan's count
    m_nTraceLen = GetField16(&fh, 3220);
    double step = ((int)GetField16(&fh, 3216) & 0xFFFF) * 0.001;
    double start = 0.0;
    m_bFoot = (GetField16(&fh, 3254) == 2) ? 1 : 0;

    unsigned char text[3201];
    memcpy(text, fh.text, 3200);
    EbcdicToAscii(text, 3200);
    text[3200] = 0;
    // The text may hold NUL bytes: search the whole buffer, not a C string.
    static const char kVendor[] = "Velmoran Technologies Inc.";
    bool bVendor = false;
    const size_t nv = sizeof(kVendor) - 1;
    for (size_t i = 0; i + nv <= 3200 && !bVendor; i++)
        if (memcmp(text + i, kVendor, nv) == 0) bVendor = true;
    if (bVendor) {
        start = ZERO_TOP ? 0.0 : (double)GetField16(&fh, 3598);
        float vs = F32At(&fh, 3592);
        if (vs != 0.0f && std::isfinite(vs)) m_rValueScale = vs;
        int unit = GetField16(&fh, 3596);
        if (unit == 1 || unit == 2) m_DataUnit = (DATAUNIT)unit;
        int comp = GetField16(&fh, 3590);
        if (comp >= 1 && comp <= 14) {
            m_cComponent = SDS_COMPONENT_LETTERS[comp - 1];
            m_arComponents[0] = m_cComponent;
        }
    }
    double stop = (m_nTraceLen - 1) * step + start;
    double kmTrs = m_spy_info[SPY_KMTRS].rValue;
    if (kmTrs > 0 && IsFiniteD(kmTrs)) {
        start *= kmTrs;
        stop *= kmTrs;
        step *= kmTrs;
    }
    m_traseParam[0] = start;
    m_traseParam[1] = stop;
    m_traseParam[2] = step;

    SGY_TRACEHEADER th;
    if (!ReadExact(m_fp, &th, sizeof(th))) {
        msg += "fread(sgy) error at trace #1!\n";
        return false;
    }
    if (ProverkaHederaSEGY(&th, m_bSwap) == 0) {
        msg += "Trace Header of thace #1 is wrong!";
        return false;
    }
    int bytes0 = GetTraceLenSDS(&th);
    if (bytes0 <= 0) {
        msg += "Number of Samples in trace is 0 (115-116 bytes segy trace header)\n";
        return false;
    }
    int64_t n64 = (m_nFileSize - 3600) / (240 + (int64_t)bytes0);
    if (n64 < 1) {
        msg.AppendFormat("Only #%d traces were read!\n", (int)(n64 < 0 ? 0 : n64));
        return false;
    }
    if (n64 > 0x7FFFFFFF) n64 = 0x7FFFFFFF;
    int n = (int)n64;
    if (fseeko(m_fp, 3600, SEEK_SET) != 0) {
        msg += "FSETPOS error\n";
        return false;
    }
    m_pSR = new (std::nothrow) SDS_TRACEINFO[n];
    if (!m_pSR) {
        msg.AppendFormat("Memory allocation error (new SDS_TRACEINFO[%d])\n", n);
        return false;
    }
    memset((void*)m_pSR, 0, sizeof(SDS_TRACEINFO) * (size_t)n);

    m_nTraceCount = -n;
    int count = 0;
    int nFileTrace = 0;
    PARTITITION_INFO part;
    while (count < n) {
        nFileTrace++;
        off_t pos = ftello(m_fp);
        if (pos < 0) {
            msg.AppendFormat("Trace #%d of %d is not read!(FGETPOS error 1)\n", nFileTrace, n);
            break;
        }
        if (!ReadExact(m_fp, &th, sizeof(th))) {
            msg.AppendFormat("Trace #%d of %d is not read!(fread error)\n", nFileTrace, n);
            break;
        }
        if (ProverkaHederaSEGY(&th, m_bSwap) == 0) {
            msg.AppendFormat("Trace Header of trace #%d of %d is wrong!\n", nFileTrace, n);
            break;
        }
        int bytes = GetTraceLenSDS(&th);
        if (bytes < 2) {
            msg.AppendFormat("Trace Header of trace #%d of %d is wrong!\n", nFileTrace, n);
            break;
        }
        // Each trace walks by its own length; every step moves at least 242
        // bytes forward, so the walk always ends at the end of the file.
        if (fseeko(m_fp, pos + 240 + (off_t)bytes, SEEK_SET) != 0) {
            msg.AppendFormat("Trace #%d of %d is not read!(FSETPOS error 2)\n", nFileTrace, n);
            m_nTraceCount = count;
            return false;
        }
        // A trace cut short by the end of the file is not catalogued.
        if (m_nFileSize > 0 && (int64_t)pos + 240 + bytes > m_nFileSize) {
            msg.AppendFormat("Trace #%d of %d is not read!(fread error)\n", nFileTrace, n);
            break;
        }
        if (GetField16(&th, 28) == 2) continue;  // dead trace
        SDS_TRACEINFO& e = m_pSR[count];
        SetTraceInfo(e, (const unsigned char*)&th, &part);
        if (!ELEV_TO_Z) {
            e.fSrcZ = -e.fSrcZ;
            e.fRecZ = -e.fRecZ;
        }
        e.nRecord = GetField32(&th, 8);
        e.nChannel = GetField32(&th, 12);
        e.nFilePos = (int64_t)pos;
        m_nTraceBytes = bytes;
        count++;
    }
    m_nTraceCount = count;
    if (count <= 0) {
        msg.AppendFormat("Only %d traces have been loaded!\n", count);
        return false;
    }
    if (count == n) msg.AppendFormat("All %d traces have been loaded\n", count);
    else msg.AppendFormat("Only %d traces have been loaded!\n", count);
    Rotate();
    return true;
}

// ------------------------------------------------------------------ SDS scan

bool CSdsPC::ScanSDS(CString& msg)
{
    SDS_TRACEHEADER h;
    if (!ReadExact(m_fp, &h, sizeof(h))) {
        msg += "!fread(sds) Trace #1\n";
        return false;
    }
    int64_t st0 = h.nStart, sp0 = h.nStop, dd0 = h.nStep;
    m_traseParam[0] = (double)st0;
    m_traseParam[2] = (double)dd0;
    m_traseParam[1] = (double)(sp0 - dd0);
    // 64-bit arithmetic: garbage fields must not overflow; a zero step is
    // refused below by GetTraceLenSDS.
    int64_t len = dd0 != 0 ? (sp0 - st0) / dd0 : 0;
    if (len > 0x7FFFFFFF || len < -0x7FFFFFFF) len = 0;
    m_nTraceLen = (int)len;
    int type = 0;
    SdsSizeOfFormat(h.szFormat, &type);
    m_DataType = (SGYDATATYPE)type;
    int bytes0 = GetTraceLenSDS(&h);
    if (bytes0 < 2) {
        msg += "Trace #1 is not read!\n";
        return false;
    }
    int64_t n64 = m_nFileSize / ((int64_t)bytes0 + 80);
    if (n64 < 1) {
        msg += "Trace #1 is not read!\n";
        return false;
    }
    if (n64 > 0x7FFFFFFF) n64 = 0x7FFFFFFF;
    int n = (int)n64;
    if (fseeko(m_fp, 0, SEEK_SET) != 0) {
        msg += "Error: !FSETPOS (0)\n";
        return false;
    }
    m_nTraceCount = -n;
    m_pSR = new (std::nothrow) SDS_TRACEINFO[n];
    if (!m_pSR) {
        msg.AppendFormat("Memory allocation error (new SDS_TRACEINFO[%d])\n", n);
        return false;
    }
    memset((void*)m_pSR, 0, sizeof(SDS_TRACEINFO) * (size_t)n);

    int count = 0;
    int nFileTrace = 0;
    PARTITITION_INFO part;
    bool bFailed = false;
    while (count < n) {
        nFileTrace++;
        off_t pos = ftello(m_fp);
        if (pos < 0) {
            msg.AppendFormat("Trace #%d of %d is not read!(FGETPOS error 1)\n", nFileTrace, n);
            bFailed = true;
            break;
        }
        if (!ReadExact(m_fp, &h, sizeof(h))) {
            msg.AppendFormat("Trace #%d of %d is not read!(fread error 1)\n", nFileTrace, n);
            break;
        }
        int bytes = GetTraceLenSDS(&h);
        if (bytes < 2) {
            msg.AppendFormat("Trace #%d of %d is not read!(GetTraceLenSDS error 1)\n", nFileTrace, n);
            break;
        }
        off_t pos2 = ftello(m_fp);
        if (pos2 < 0) {
            msg.AppendFormat("Trace #%d of %d is not read!(FGETPOS error 2)\n", nFileTrace, n);
            bFailed = true;
            break;
        }
        if (fseeko(m_fp, pos2 + (off_t)bytes, SEEK_SET) != 0) {
            msg.AppendFormat("Trace #%d of %d is not read!(FSETPOS error 2)\n", nFileTrace, n);
            bFailed = true;
            break;
        }
        // A trace cut short by the end of the file is not catalogued.
        if (m_nFileSize > 0 && (int64_t)pos2 + bytes > m_nFileSize) {
            msg.AppendFormat("Trace #%d of %d is not read!(fread error 1)\n", nFileTrace, n);
            break;
        }
        if (h.ActualFlag == 0) continue;  // dead trace: the entry stays free
        SDS_TRACEINFO& e = m_pSR[count];
        SetTraceInfo(e, (const unsigned char*)&h, &part);
        if (h.nMark == -100) {
            e.fSrcZ = (float)h.nStart2;
            e.fRecZ = (float)h.nLast;
        }
        const unsigned char* raw = (const unsigned char*)&h;
        if (raw[66] == 'V') {
            e.fRecZ = (float)GetField32(raw, 20);
            e.fRecY = (float)GetField32(raw, 24);
            e.fRecX = F32At(raw, 32);
            e.fSrcX = F32At(raw, 68);
            e.fSrcY = F32At(raw, 72);
            e.fSrcZ = F32At(raw, 76);
        } else if (raw[66] == 'Z') {
            e.fRecX = (float)GetField32(raw, 20);
            e.fRecY = (float)GetField32(raw, 24);
            e.fRecZ = F32At(raw, 32);
            e.fSrcX = F32At(raw, 68);
            e.fSrcY = F32At(raw, 72);
            e.fSrcZ = F32At(raw, 76);
        }
        e.nFilePos = (int64_t)pos;
        m_nTraceBytes = bytes;
        count++;
    }
    m_nTraceCount = count;
    if (bFailed || count <= 0) {
        msg += "CSdsPC::OnOpen failed: m_nTraceCount<=0\n";
        return false;
    }
    Rotate();
    return true;
}

// ------------------------------------------------------------------ VMG scan

bool CSdsPC::ScanVMG(CString& msg)
{
    VMG_FILEHEADER h;
    if (!ReadExact(m_fp, &h, sizeof(h))) {
        msg += "Error (non-stop): !fread(&vmg_file)\n";
        return false;
    }
    m_nTraceLen = h.n2;
    m_traseParam[0] = h.rZ0;
    m_traseParam[1] = h.rZ1;
    m_traseParam[2] = h.rDZ;
    m_traseXY[0] = h.rX0;
    m_traseXY[1] = h.rX1;
    m_traseXY[2] = h.rDX;
    m_DataUnit = (h.szAxes[1] == 'T') ? DU_MSEC : DU_M;
    m_nMaxPart = h.nFrames < 1 ? 1 : h.nFrames;
    m_rFrameParam[0] = h.rT0;
    m_rFrameParam[1] = h.rT1;
    m_rFrameParam[2] = h.n3 >= 2 ? (h.rT1 - h.rT0) / (h.n3 - 1) : h.rDT;
    memcpy(m_arComponents, h.szComponents, 8);
    int nComp = h.nComponents;
    if (nComp < 0) nComp = 0;
    for (int i = nComp; i < 8; i++) m_arComponents[i] = 0;

    // First walk: count columns. A frame is taken only when its header is
    // sane and its whole sample block lies inside the file; this bounds the
    // catalogue by the file's size whatever the headers claim.
    int64_t total = 0;
    int nFrames = 0;
    int64_t pos = 0;
    int nAnnounced = m_nMaxPart;
    for (int f = 0; f < nAnnounced; f++) {
        if (f > 0) {
            if (fseeko(m_fp, (off_t)pos, SEEK_SET) != 0) {
                msg.AppendFormat("Trace #%d of %d is not read!(FSETPOS error)\n", (int)total, (int)total);
                break;
            }
            if (!ReadExact(m_fp, &h, sizeof(h))) {
                msg.AppendFormat("Trace #%d of %d is not read!(fread error)\n", (int)total, (int)total);
                break;
            }
        }
        int64_t nFloats = VmgFrameFloats(h);
        if (nFloats <= 0 || h.n1 < 1 || h.n2 < 1) break;
        int64_t end = pos + 296 + nFloats * 4;
        if (m_nFileSize > 0 && end > m_nFileSize) break;
        if (total + h.n1 > 0x7FFFFFF) break;  // keep the catalogue addressable by int
        if (f > 0) {
            if (h.n2 > m_nTraceLen) {
                m_nTraceLen = h.n2;
                m_traseParam[0] = h.rZ0;
                m_traseParam[1] = h.rZ1;
                m_traseParam[2] = h.rDZ;
            }
            if (h.rX0 < m_traseXY[0]) m_traseXY[0] = h.rX0;
            if (h.rX1 > m_traseXY[1]) m_traseXY[1] = h.rX1;
            if (h.rDX < m_traseXY[2]) m_traseXY[2] = h.rDX;
        }
        total += h.n1;
        nFrames++;
        pos = end;
    }
    if (m_DataUnit == DU_MSEC)
        for (int i = 0; i < 3; i++) m_traseParam[i] *= 1000.0;
    if (total < 1) {
        msg.AppendFormat("Only %d traces were read!\n", (int)total);
        return false;
    }
    if (fseeko(m_fp, 0, SEEK_SET) != 0) {
        msg += "Error: !FSETPOS 2\n";
        return false;
    }
    int n = (int)total;
    m_pSR = new (std::nothrow) SDS_TRACEINFO[n];
    if (!m_pSR) {
        msg.AppendFormat("Memory  allocation error (new SDS_TRACEINFO[%d])\n", n);
        return false;
    }
    memset((void*)m_pSR, 0, sizeof(SDS_TRACEINFO) * (size_t)n);

    int count = 0;
    pos = 0;
    for (int f = 0; f < nFrames; f++) {
        if (fseeko(m_fp, (off_t)pos, SEEK_SET) != 0) {
            msg.AppendFormat("Trace #%d of %d is not read!(FGETPOS error 2)\n", count, n);
            break;
        }
        if (!ReadExact(m_fp, &h, sizeof(h))) {
            msg.AppendFormat("Trace #%d of %d is not read!(FGETPOS error 3)\n", count, n);
            break;
        }
        int64_t nFloats = VmgFrameFloats(h);
        if (nFloats <= 0 || h.n1 < 1) break;
        for (int i = 0; i < h.n1 && count < n; i++) {
            SDS_TRACEINFO& e = m_pSR[count++];
            e.fSrcX = h.rSrcX;
            e.fSrcZ = h.rSrcZ;
            e.fRecX = h.rX0 + i * h.rDX;
            e.fRecY = e.fSrcY = e.fRecZ = 0.0f;
            e.nPart = f;
            e.nRecord = f;
            e.nChannel = i;
            e.nFilePos = pos;
        }
        pos += 296 + nFloats * 4;
    }
    m_nTraceCount = count;
    if (count < 1) {
        msg.AppendFormat("Only %d traces were read\n", count);
        return false;
    }
    Rotate();
    return true;
}
