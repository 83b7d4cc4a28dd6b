// CSdsPC::OnOpen: the format from the name, the ".cr2" catalogue, the scan of
// each format, the axes, lifting, rotation and the component rules.
#include "files/SdsPC.h"

#include <cmath>
#include <cstring>
#include <ctime>
#include <new>
#include <sys/stat.h>

#include "base/Output.h"

namespace {

const int CR2_VERSION = 2;

// Size of a file in bytes, 0 when unknown. Links are followed: a link to a
// data file must expect the traces of the data, not of the link itself.
int64_t FileSizeOf(const char* name)
{
    struct stat st;
    if (stat(name, &st) != 0) return 0;
    if (!S_ISREG(st.st_mode)) return 0;
    return (int64_t)st.st_size;
}

bool ReadExact(FILE* fp, void* buf, size_t n)
{
    return fread(buf, 1, n, fp) == n;
}

inline float F32At(const void* h, int off)
{
    float v;
    memcpy(&v, (const char*)h + off, 4);
    return v;
}

inline bool IsFiniteD(double v)
{
    return std::isfinite(v);
}

}  // namespace

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

// ----------------------------------------------------------- helpers of open

void CSdsPC::WorkOutTraseXY()
{
    if (!m_pSR || m_nTraceCount < 1) return;
    double step = 0.0;
    // With one entry there is no pair: the step comes from the rule below.
    for (int i = 0; i + 1 < m_nTraceCount && step == 0.0; i++) {
        double ds = fabs((double)m_pSR[i + 1].fSrcX - m_pSR[i].fSrcX);
        double dr = fabs((double)m_pSR[i + 1].fRecX - m_pSR[i].fRecX);
        step = ds > dr ? ds : dr;
    }
    double mn = m_pSR[0].fSrcX, mx = m_pSR[0].fSrcX;
    for (int i = 0; i < m_nTraceCount; i++) {
        double a = m_pSR[i].fSrcX, b = m_pSR[i].fRecX;
        if (a < mn) mn = a;
        if (a > mx) mx = a;
        if (b < mn) mn = b;
        if (b > mx) mx = b;
    }
    if (step == 0.0) step = (mx - mn) / m_nTraceCount;
    if (step == 0.0) step = 1.0;
    m_traseXY[0] = mn;
    m_traseXY[1] = mx;
    m_traseXY[2] = step;
}

// Lengths from the file's unit to the system's unit (or back).
void CSdsPC::ConvertFoot(double k)
{
    if (m_DataUnit == DU_M)
        for (int i = 0; i < 3; i++) m_traseParam[i] *= k;
    for (int i = 0; i < 3; i++) m_traseXY[i] *= k;
    if (m_pSR) {
        for (int i = 0; i < m_nTraceCount; i++) {
            SDS_TRACEINFO& e = m_pSR[i];
            e.fSrcX = (float)(e.fSrcX * k);
            e.fRecX = (float)(e.fRecX * k);
            e.fSrcY = (float)(e.fSrcY * k);
            e.fRecY = (float)(e.fRecY * k);
            e.fSrcZ = (float)(e.fSrcZ * k);
            e.fRecZ = (float)(e.fRecZ * k);
        }
    }
}

static void Lift(CSdsPC& s, int nLift)
{
    if (nLift == 0) return;
    double* tp = s.m_traseParam;
    if (nLift == 1 || nLift == -1) {
        if (!s.m_pSR || s.m_nTraceCount < 1) return;
        double z = s.m_pSR[0].fRecZ;
        if (z == 0.0) return;
        double d = z - tp[0];
        tp[0] += d;
        tp[1] += d;
        u_Print("OnOpen: Lifting model to %g, now [%g .. %g]\n", z, tp[0], tp[1]);
    } else {
        double d = nLift - tp[0];
        tp[0] += d;
        tp[1] += d;
        u_Print("OnOpen: Lifting model to %d, now [%g .. %g]\n", nLift, tp[0], tp[1]);
    }
}

void CSdsPC::Rotate()
{
    if (!bRotate && nGridStep < 2) return;
    u_Print("Rotate started: bRotate=%d, nGridStep=%d.", (int)bRotate, nGridStep);
    if (bRotate) {
        if (!m_pSR) {
            u_Print("Rotate: coordinates were not rotated because of m_pSR=NULL.");
            return;
        }
        double dx = rXx0 - rX00, dy = rYx0 - rY00;
        double L = sqrt(dx * dx + dy * dy);
        if (L < 0.001) {
            u_Print("Rotate: distance between points (X00,Y00) and (Xx0,Yx0) is too small.");
            return;
        }
        double c = dx / L, s = dy / L;
        for (int i = 0; i < m_nTraceCount; i++) {
            SDS_TRACEINFO& e = m_pSR[i];
            double x = e.fSrcX - rX00, y = e.fSrcY - rY00;
            e.fSrcX = (float)(c * x + s * y);
            e.fSrcY = (float)(c * y - s * x);
            x = e.fRecX - rX00;
            y = e.fRecY - rY00;
            e.fRecX = (float)(c * x + s * y);
            e.fRecY = (float)(c * y - s * x);
        }
        u_Print("Rotate: coordinates have been converted.");
    }
    if (nGridStep >= 2 && m_pSR) {
        double g = nGridStep;
        for (int i = 0; i < m_nTraceCount; i++) {
            SDS_TRACEINFO& e = m_pSR[i];
            e.fSrcX = (float)(floor(e.fSrcX / g + 0.5) * g);
            e.fRecX = (float)(floor(e.fRecX / g + 0.5) * g);
            e.fSrcY = (float)(floor(e.fSrcY / g + 0.5) * g);
            e.fRecY = (float)(floor(e.fRecY / g + 0.5) * g);
        }
        u_Print("Rotate: coordinates have been fitted to the regular grid nodes (with step=%d).", nGridStep);
    }
}

// ------------------------------------------------------------------- OnOpen

bool CSdsPC::OnOpen(const char* name, int bWrite, int bDepth, int reserved, int nLift)
{
    (void)reserved;
    Reset();
    if (!name) name = "";
    CString strName = name;
    if (!bWrite) {
        for (size_t k = 0; k + 1 < arPathSubst.size(); k++) {
            const CString& from = arPathSubst[k];
            if (from.IsEmpty()) continue;
            size_t nf = (size_t)from.GetLength();
            if (strncmp(name, from, nf) != 0) continue;
            size_t nNew = (size_t)arPathSubst[k + 1].GetLength() + strlen(name) - nf;
            if (nNew > 4096) continue;
            strName = arPathSubst[k + 1] + (name + nf);
            break;
        }
    }
    if ((size_t)strName.GetLength() >= sizeof(m_szFileName)) {
        u_Print("File '%s' is not opened!\n", (const char*)strName);
        return false;
    }
    strcpy(m_szFileName, strName);
    name = m_szFileName;

    TYPEFILE type;
    if (!GetTypeFromFileName(name, type)) {
        CString s = CString("File name '") + name +
                    "' has incorrect extension. It have to be from the set '.sgy', '.kti', '.rec', '.vmg'!\n";
        u_Print("%s", (const char*)s);
        m_szFileName[0] = 0;
        return false;
    }
    m_Type = type;
    m_nFileSize = FileSizeOf(name);
    m_fp = fopen(name, bWrite ? "rb+" : "rb");
    if (!m_fp) {
        CString s = CString("File '") + name + "' is not opened!\n";
        u_Print("%s", (const char*)s);
        m_szFileName[0] = 0;
        return false;
    }
    m_bWrite = bWrite ? 1 : 0;

    CString msg;
    bool bOk = true;
    if (GetInfoHeaderFromFile(name, 0)) {
        // Catalogue from ".cr2".
        double* tp = m_traseParam;
        if (m_Type == SGY && m_DataUnit == DU_SEC && bDepth) {
            for (int i = 0; i < 3; i++) tp[i] /= 0.001;
            m_DataUnit = DU_M;
        } else if (m_DataUnit == DU_SEC || (m_Type == SGY && !bDepth)) {
            if (tp[1] < 100) {
                for (int i = 0; i < 3; i++) tp[i] *= 1000.0;
                m_DataUnit = DU_MSEC;
            }
        }
        Lift(*this, nLift);
        if (m_Type == VMG && m_arComponents[0] == 0) {
            VMG_FILEHEADER h;
            if (fseeko(m_fp, 0, SEEK_SET) == 0 && ReadExact(m_fp, &h, sizeof(h))) {
                memcpy(m_arComponents, h.szComponents, 8);
                int nComp = h.nComponents < 0 ? 0 : h.nComponents;
                for (int i = nComp; i < 8; i++) m_arComponents[i] = 0;
                SetInfoHeaderFromFile(name, m_bCatalogue);
            }
        }
    } else {
        m_DataUnit = bDepth ? DU_M : DU_MSEC;
        GetInfoTraceFromFile(name);
        if (m_Type == SGY) bOk = ScanSGY(msg);
        else if (m_Type == SDS) bOk = ScanSDS(msg);
        else bOk = ScanVMG(msg);

        if (bOk) {
            double* tp = m_traseParam;
            // VMG axes are settled by their own scan (seconds to milliseconds
            // there); scaling them again would turn a short time axis into
            // microseconds.
            if (m_Type != VMG) {
                WorkOutTraseXY();
                // Neither header says whether a sample axis is time or depth,
                // nor its unit. An axis ending below 50 is taken as seconds and
                // brought to milliseconds; this holds for SEG-Y and SDS alike,
                // so a depth axis of less than 50 m comes out 1000 times too
                // long, which is the format's convention and kept as such. An
                // axis ending above 100000 is taken as microseconds (or mm).
                if (tp[1] < 50)
                    for (int i = 0; i < 3; i++) tp[i] *= 1000.0;
                if (tp[1] > 100000)
                    for (int i = 0; i < 3; i++) tp[i] /= 1000.0;
            }
            Lift(*this, nLift);
            if (m_Type != VMG) {
                int k = (int)m_spy_info[SPY_NCOMP].rValue;
                if (m_spy_info[SPY_NCOMP].rValue >= 1 && k >= 1 && k <= 14) {
                    m_arComponents[0] = SDS_COMPONENT_LETTERS[k - 1];
                    m_cComponent = m_arComponents[0];
                }
                double u = m_spy_info[SPY_ZUNIT].rValue;
                if (u == 1.0 || u == 2.0) m_DataUnit = (DATAUNIT)(int)u;
                double kv = m_spy_info[SPY_KMVAL].rValue;
                if (kv > 0 && kv != 1.0 && IsFiniteD(kv)) m_rValueScale = kv;
            }
            // With a single sample the step is kept: (stop - start) / 0 has no value.
            if (m_nTraceLen > 1) tp[2] = (tp[1] - tp[0]) / (m_nTraceLen - 1);

            // Content code: informative only.
            double code = m_spy_info[SPY_NTYPE].rValue;
            if (strstr(name, "+Time")) code = 5;
            if (strstr(name, "-PQR")) code = 1;
            if (strstr(name, "+Snap")) code = 3;
            if (strstr(name, "+Gath")) code = 2;
            if (strstr(name, "+Wave")) code = 7;
            if (m_Type == VMG) {
                VMG_FILEHEADER h;
                if (fseeko(m_fp, 0, SEEK_SET) == 0 && ReadExact(m_fp, &h, sizeof(h))) {
                    char ax[5] = {0, 0, 0, 0, 0};
                    int na = h.nAxes < 0 ? 0 : (h.nAxes > 4 ? 4 : h.nAxes);
                    memcpy(ax, h.szAxes, (size_t)na);
                    if (!strcmp(ax, "XT")) code = 2;
                    else if (!strcmp(ax, "ZT")) code = 6;
                    else if (!strcmp(ax, "XZT")) code = 3;
                    else if (!strcmp(ax, "XZ") && code != 5) code = 1;
                }
            } else if (m_pSR) {
                double zmin = m_pSR[0].fRecZ, zmax = zmin;
                for (int i = 1; i < m_nTraceCount; i++) {
                    if (m_pSR[i].fRecZ < zmin) zmin = m_pSR[i].fRecZ;
                    if (m_pSR[i].fRecZ > zmax) zmax = m_pSR[i].fRecZ;
                }
                if (zmax - zmin > m_traseXY[1] - m_traseXY[0]) code = 6;
            }
            m_spy_info[SPY_NTYPE].rValue = code;

            if ((m_bFoot != 0) != (bFOOT != 0)) ConvertFoot(m_bFoot ? 0.3048 : 3.28084);
        }
    }

    if (!bOk) {
        u_Print("--%s", (const char*)msg);
        // Keep the name for the message only; the object is closed.
        Reset();
        return false;
    }

    // Settle the component letter.
    if (m_cComponent == ' ') {
        m_cComponent = m_arComponents[0];
    } else {
        bool bFound = false;
        for (int i = 0; i < 8; i++)
            if (m_arComponents[i] == m_cComponent) bFound = true;
        char c0 = m_arComponents[0];
        if (!bFound && c0 != 0 && c0 != '?' && c0 != ' ') m_cComponent = c0;
    }
    return true;
}

// ------------------------------------------------------------- ".cr2" file

bool CSdsPC::GetInfoHeaderFromFile(const char* name, int reserved)
{
    (void)reserved;
    CString cr2 = CString(name) + ".cr2";
    FILE* fp = fopen(cr2, "rb");
    if (!fp) return false;
    m_bCatalogue = 1;
    int64_t nCr2Size = FileSizeOf(cr2);

    bool bOk = false;
    const char* fn = cr2;
    do {
        int32_t version = 0;
        if (!ReadExact(fp, &version, 4)) {
            u_Print("%s is not used, fread error\n", fn);
            break;
        }
        if (version != CR2_VERSION) {
            u_Print("%s is not used (version control), data=%d version, realSrc=%d version\n", fn, version,
                    CR2_VERSION);
            break;
        }
        int64_t nSize = 0, nTime = 0;
        if (!ReadExact(fp, &nSize, 8) || !ReadExact(fp, &nTime, 8)) {
            u_Print("%s is not used, fread error\n", fn);
            break;
        }
        if (nSize != 0 && m_nFileSize != 0 && nSize != m_nFileSize) break;  // stale: silently rescanned
        int32_t nCount = 0, nLen = 0;
        if (!ReadExact(fp, &nCount, 4) || !ReadExact(fp, &nLen, 4) || !ReadExact(fp, m_traseParam, 24)) {
            u_Print("%s is not used, fread error\n", fn);
            break;
        }
        if (nCount < 3) {
            u_Print("%s is not used, TraceCount=%d\n", fn, nCount);
            break;
        }
        if (nLen < 3) {
            u_Print("%s is not used, TraceLen error\n", fn);
            break;
        }
        // Written so that NaN fails too.
        if (!(m_traseParam[2] > 0) || !(m_traseParam[0] < m_traseParam[1]) || !IsFiniteD(m_traseParam[1])) {
            u_Print("%s is not used, traseParam error\n", fn);
            break;
        }
        if (!ReadExact(fp, m_traseXY, 24)) {
            memset(m_traseXY, 0, sizeof(m_traseXY));
            u_Print("%s is not used, traseXY error\n", fn);
            break;
        }
        int32_t v = 0;
        if (!ReadExact(fp, &v, 4)) {
            u_Print("%s is not used, Swap error\n", fn);
            break;
        }
        m_bSwap = v;
        if (!ReadExact(fp, &v, 4)) {
            u_Print("%s is not used, maxPart error\n", fn);
            break;
        }
        m_nMaxPart = v;
        if (!ReadExact(fp, &v, 4) || v < 0 || v > 7) {
            u_Print("%s is not used, DataType error\n", fn);
            break;
        }
        m_DataType = (SGYDATATYPE)v;
        if (!ReadExact(fp, m_spy_info, 11 * sizeof(SPY_FIELD))) {
            u_Print("%s is not used\n", fn);
            break;
        }
        // The catalogue must fit in the file before anything is allocated.
        int64_t need = 220 + (int64_t)nCount * (int64_t)sizeof(SDS_TRACEINFO);
        if (nCr2Size > 0 && need > nCr2Size) break;
        SDS_TRACEINFO* p = new (std::nothrow) SDS_TRACEINFO[nCount];
        if (!p) break;
        if (!ReadExact(fp, p, sizeof(SDS_TRACEINFO) * (size_t)nCount)) {
            delete[] p;
            break;
        }
        delete[] m_pSR;
        m_pSR = p;
        m_nTraceCount = nCount;
        m_nTraceLen = nLen;
        if (!ReadExact(fp, &v, 4) || v < 0 || v > 3) break;
        m_DataUnit = (DATAUNIT)v;
        double vs = 1.0;
        if (!ReadExact(fp, &vs, 8) || !IsFiniteD(vs)) break;
        m_rValueScale = vs;
        bOk = true;
        // From here on the file may end anywhere.
        char comps[8];
        if (!ReadExact(fp, comps, 8)) break;
        memcpy(m_arComponents, comps, 8);
        char c;
        if (!ReadExact(fp, &c, 1)) break;
        m_cComponent = c;
        if (!ReadExact(fp, &v, 4)) break;
        m_bFoot = v ? 1 : 0;
        SPY_FIELD tail[4];
        if (!ReadExact(fp, tail, sizeof(tail))) break;
        memcpy(&m_spy_info[11], tail, sizeof(tail));
    } while (false);
    fclose(fp);

    if (!bOk) {
        // Leave nothing of the rejected catalogue behind for the scan.
        delete[] m_pSR;
        m_pSR = nullptr;
        m_nTraceCount = 0;
        m_nTraceLen = 0;
        memset(m_traseParam, 0, sizeof(m_traseParam));
        memset(m_traseXY, 0, sizeof(m_traseXY));
        m_bSwap = 0;
        m_nMaxPart = 1;
        m_DataType = SGYDT_NONE;
        m_DataUnit = DU_MSEC;
        m_rValueScale = 1.0;
        memset(m_arComponents, 0, sizeof(m_arComponents));
        m_cComponent = ' ';
        m_bFoot = 0;
        return false;
    }
    if ((m_bFoot != 0) != (bFOOT != 0)) ConvertFoot(m_bFoot ? 0.304799999536704 : 3.2808399);
    return true;
}

bool CSdsPC::SetInfoHeaderFromFile(const char* name, int bWrite)
{
    if (!m_pSR || m_nTraceCount <= 0) {
        u_Print("Coordinates buffer error\n");
        return false;
    }
    if (!bWrite) return m_bCatalogue ? false : true;
    m_bCatalogue = 1;
    CString cr2 = CString(name) + ".cr2";
    FILE* fp = fopen(cr2, "wb");
    if (!fp) {
        u_Print("Open %s error\n", (const char*)cr2);
        return false;
    }
    // Lengths go to the file in the data file's own unit.
    bool bConv = (m_bFoot != 0) != (bFOOT != 0);
    double kTo = m_bFoot ? 3.2808399 : 0.304799999536704;
    double kBack = m_bFoot ? 0.304799999536704 : 3.2808399;
    if (bConv) ConvertFoot(kTo);

    bool ok = true;
    auto W = [&](const void* p, size_t n) {
        if (ok && fwrite(p, 1, n, fp) != n) ok = false;
    };
    int32_t version = CR2_VERSION;
    int64_t nSize = m_nFileSize, nTime = (int64_t)time(nullptr);
    int32_t v;
    W(&version, 4);
    W(&nSize, 8);
    W(&nTime, 8);
    v = m_nTraceCount;
    W(&v, 4);
    v = m_nTraceLen;
    W(&v, 4);
    W(m_traseParam, 24);
    W(m_traseXY, 24);
    v = m_bSwap;
    W(&v, 4);
    v = m_nMaxPart;
    W(&v, 4);
    v = (int32_t)m_DataType;
    W(&v, 4);
    W(m_spy_info, 11 * sizeof(SPY_FIELD));
    W(m_pSR, sizeof(SDS_TRACEINFO) * (size_t)m_nTraceCount);
    v = (int32_t)m_DataUnit;
    W(&v, 4);
    W(&m_rValueScale, 8);
    W(m_arComponents, 8);
    W(&m_cComponent, 1);
    v = m_bFoot;
    W(&v, 4);
    W(&m_spy_info[11], 4 * sizeof(SPY_FIELD));
    if (fclose(fp) != 0) ok = false;

    if (bConv) ConvertFoot(kBack);
    return ok;
}
