// CSdsPC trace access: reads of every sample format, resampled reads, writes
// in place, SEG-Y trace headers and geometry queries.
#include "files/SdsPC.h"

#include <climits>
#include <cmath>
#include <cstring>
#include <new>
#include <vector>

#include <fcntl.h>

#include "base/Output.h"

namespace {

inline int16_t ClampI16(double v)
{
    if (!(v == v)) return 0;
    if (v > 32767.0) return 32767;
    if (v < -32768.0) return -32768;
    return (int16_t)v;
}

inline bool PointSet(const CPointR& pt)
{
    return pt.x != NOT_SET_VALUE && pt.y != NOT_SET_VALUE;
}

}  // namespace

// ---------------------------------------------------------- read-ahead block

namespace {
// A block of this size is read when the walk goes forward; a jump elsewhere
// reads a small one, so that a catalogue in random order costs little more
// than plain reads.
const size_t kReadBlockBig = (size_t)4 << 20;
const size_t kReadBlockSmall = (size_t)8 << 10;
}  // namespace

void CSdsPC::SetReadBlock(bool bOn)
{
    m_bReadBlock = bOn;
    m_nReadBlockPos = 0;
    m_nReadBlockLen = 0;
    if (!bOn) std::vector<unsigned char>().swap(m_vReadBlock);
}

const unsigned char* CSdsPC::FetchBlock(int64_t pos, size_t n, bool& bSeekFailed)
{
    bSeekFailed = false;
    if (pos < 0) {
        bSeekFailed = true;
        return nullptr;
    }
    // Beyond the end of the file nothing can be read: no block is allocated for it.
    if (m_nFileSize > 0 && pos + (int64_t)n > m_nFileSize) return nullptr;
    const int64_t end = m_nReadBlockPos + (int64_t)m_nReadBlockLen;
    if (m_nReadBlockLen > 0 && pos >= m_nReadBlockPos && pos + (int64_t)n <= end)
        return m_vReadBlock.data() + (pos - m_nReadBlockPos);
    bool forward = m_nReadBlockLen == 0 || (pos >= m_nReadBlockPos && pos <= end + (int64_t)kReadBlockSmall);
    size_t want = forward ? kReadBlockBig : kReadBlockSmall;
    if (want < n) want = n;
    m_nReadBlockLen = 0;
    if (m_vReadBlock.size() < want) {
        try {
            m_vReadBlock.resize(want);
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }
    if (fseeko(m_fp, (off_t)pos, SEEK_SET) != 0) {
        bSeekFailed = true;
        return nullptr;
    }
    m_nReadBlockPos = pos;
    m_nReadBlockLen = fread(m_vReadBlock.data(), 1, want, m_fp);
    // Going forward, ask the kernel for the next block now, so that the disk
    // reads it while this one is being decoded.
    if (forward && m_nReadBlockLen == want)
        posix_fadvise(fileno(m_fp), (off_t)(pos + (int64_t)want), (off_t)want, POSIX_FADV_WILLNEED);
    if (m_nReadBlockLen < n) return nullptr;
    return m_vReadBlock.data();
}

// ---------------------------------------------------------------- raw reads

bool CSdsPC::ReadTraceSGY(int nTrace, float* pBuf, int nLen, int& m)
{
    m = 0;
    const int64_t pos = m_pSR[nTrace].nFilePos;
    const unsigned char* block = nullptr;  // header and samples, when the read-ahead block is on
    bool bSeekFailed = false;
    SGY_TRACEHEADER th;
    if (m_bReadBlock) {
        block = FetchBlock(pos, sizeof(th), bSeekFailed);
        if (!block) {
            u_Print(bSeekFailed ? "GetTrace SGY file reading error: !FSETPOS\n"
                                : "GetTrace SGY file reading error: !fread\n");
            return false;
        }
        memcpy(&th, block, sizeof(th));
    } else {
        if (fseeko(m_fp, (off_t)pos, SEEK_SET) != 0) {
            u_Print("GetTrace SGY file reading error: !FSETPOS\n");
            return false;
        }
        if (fread(&th, 1, sizeof(th), m_fp) != sizeof(th)) {
            u_Print("GetTrace SGY file reading error: !fread\n");
            return false;
        }
    }
    if (ProverkaHederaSEGY(&th, m_bSwap) == 0 || SizeOfPointSDS(&th, nullptr) == 0) {
        u_Print("GetTrace SGY file reading error: wrong trace header\n");
        return false;
    }
    int size = SizeOfPointSDS(&th, nullptr);
    int bytes = GetTraceLenSDS(&th);
    if (bytes < size) {
        u_Print("GetTrace SGY file reading error: wrong trace header\n");
        return false;
    }
    unsigned char* own = nullptr;
    const unsigned char* raw = nullptr;
    if (block) {
        block = FetchBlock(pos, sizeof(th) + (size_t)bytes, bSeekFailed);
        if (!block) {
            u_Print(bSeekFailed ? "GetTrace SGY file reading error: !FSETPOS\n"
                                : "GetTrace SGY file reading error: !fread\n");
            return false;
        }
        raw = block + sizeof(th);
    } else {
        own = new (std::nothrow) unsigned char[(size_t)bytes];
        if (!own) {
            u_Print("GetTrace SGY: memory allocation error! (new buf==NULL)\n");
            return false;
        }
        if (fread(own, 1, (size_t)bytes, m_fp) != (size_t)bytes) {
            delete[] own;
            u_Print("GetTrace SGY file reading error: !fread\n");
            return false;
        }
        raw = own;
    }
    // Every format, host floats included, decodes at most nLen samples: a
    // caller asking for fewer than the trace holds gets exactly nLen floats.
    int n = bytes / size;
    if (n > nLen) n = nLen;
    if (m_DataType == SGYDT_IBM_FLOAT) {
        DecodeIBMFloats(raw, pBuf, n);
        delete[] own;
        m = n;
        return true;
    }
    for (int i = 0; i < n; i++) {
        const unsigned char* b = raw + (size_t)i * size;
        float v = 0.0f;
        switch (m_DataType) {
        case SGYDT_IBM_FLOAT:
            v = DecodeIBMFloat(b);
            break;
        case SGYDT_INT32: {
            int32_t x;
            memcpy(&x, b, 4);
            if (m_bSwap) SwapBytes32(&x);
            v = (float)x;
            break;
        }
        case SGYDT_INT16: {
            int16_t x;
            memcpy(&x, b, 2);
            if (m_bSwap) SwapBytes16(&x);
            v = (float)x;
            break;
        }
        case SGYDT_IEEE_FLOAT:
            v = DecodeBEFloat(b);
            break;
        case SGYDT_PC_FLOAT:
            memcpy(&v, b, 4);
            break;
        default:  // format 4 reads as zeros
            v = 0.0f;
            break;
        }
        pBuf[i] = v;
    }
    delete[] own;
    m = n;
    return true;
}

bool CSdsPC::ReadTraceSDS(int nTrace, float* pBuf, int nLen, int& m)
{
    m = 0;
    const int64_t pos = m_pSR[nTrace].nFilePos;
    const unsigned char* block = nullptr;  // header and samples, when the read-ahead block is on
    bool bSeekFailed = false;
    SDS_TRACEHEADER h;
    if (m_bReadBlock) {
        block = FetchBlock(pos, sizeof(h), bSeekFailed);
        if (block) memcpy(&h, block, sizeof(h));
        if (!block || h.ActualFlag == 0) {
            u_Print(bSeekFailed ? "GetTrace SDS file reading error: !FSETPOS\n"
                                : "GetTrace SDS file reading error: !fread\n");
            return false;
        }
    } else {
        if (fseeko(m_fp, (off_t)pos, SEEK_SET) != 0) {
            u_Print("GetTrace SDS file reading error: !FSETPOS\n");
            return false;
        }
        if (fread(&h, 1, sizeof(h), m_fp) != sizeof(h) || h.ActualFlag == 0) {
            u_Print("GetTrace SDS file reading error: !fread\n");
            return false;
        }
    }
    int size = SizeOfPointSDS(&h);
    if (size < 1) {
        u_Print("GetTrace SDS file reading error: wrong SizeOfPointSDS\n");
        return false;
    }
    int bytes = GetTraceLenSDS(&h);
    int nTr = (int)(bytes / (double)size + 0.5);
    if (nTr < 1) return true;
    // The whole trace is read: the "T1" coding keeps its high byte at the end.
    size_t nb = (size_t)nTr * (size_t)size;
    unsigned char* own = nullptr;
    const unsigned char* raw = nullptr;
    if (block) {
        block = FetchBlock(pos, sizeof(h) + nb, bSeekFailed);
        if (!block) {
            u_Print(bSeekFailed ? "GetTrace SDS file reading error: !FSETPOS\n"
                                : "GetTrace SDS file reading error: !fread\n");
            return false;
        }
        raw = block + sizeof(h);
    } else {
        // A header from a foreign catalogue may promise gigabytes: what the
        // file cannot hold is a short read, found before any allocation.
        if (m_nFileSize > 0 && pos + (int64_t)sizeof(h) + (int64_t)nb > m_nFileSize) {
            u_Print("GetTrace SDS file reading error: !fread\n");
            return false;
        }
        own = new (std::nothrow) unsigned char[nb];
        if (!own) {
            u_Print("GetTrace SDS: memory allocation error! (new buf==NULL)\n");
            return false;
        }
        if (fread(own, 1, nb, m_fp) != nb) {
            delete[] own;
            u_Print("GetTrace SDS file reading error: !fread\n");
            return false;
        }
        raw = own;
    }
    int n = nTr < nLen ? nTr : nLen;
    if (h.szFormat[0] == 'R' && h.szFormat[1] == '4') {
        memcpy(pBuf, raw, (size_t)n * 4);
    } else if (h.szFormat[0] == 'I' && h.szFormat[1] == '2') {
        for (int i = 0; i < n; i++) {
            int16_t x;
            memcpy(&x, raw + 2 * (size_t)i, 2);
            pBuf[i] = x;
        }
    } else if (h.szFormat[0] == 'I' && h.szFormat[1] == '4') {
        for (int i = 0; i < n; i++) {
            int32_t x;
            memcpy(&x, raw + 4 * (size_t)i, 4);
            pBuf[i] = (float)x;
        }
    } else if (h.szFormat[0] == 'T' && h.szFormat[1] == '1') {
        int16_t first = (int16_t)(raw[0] | (nTr > 1 ? raw[nTr - 1] << 8 : 0));
        std::vector<float> v((size_t)nTr);
        v[0] = first;
        for (int i = 1; i < nTr - 1; i++) v[i] = v[i - 1] + (float)(signed char)raw[i];
        if (nTr > 1) v[nTr - 1] = v[nTr - 2];
        memcpy(pBuf, v.data(), (size_t)n * 4);
    } else {
        n = 0;
    }
    delete[] own;
    m = n;
    return true;
}

bool CSdsPC::ReadTraceVMG(int nTrace, float* pBuf, int nLen, int& m)
{
    m = 0;
    const SDS_TRACEINFO& e = m_pSR[nTrace];
    VMG_FILEHEADER h;
    if (fseeko(m_fp, (off_t)e.nFilePos, SEEK_SET) != 0 || fread(&h, 1, sizeof(h), m_fp) != sizeof(h)) {
        u_Print("GetTrace VMG file reading error: !fread\n");
        return false;
    }
    int nComp = h.nComponents < 1 ? 1 : h.nComponents;
    int nLetters = nComp < 8 ? nComp : 8;
    int comp = 0;
    for (int i = 0; i < nLetters; i++)
        if (h.szComponents[i] == m_cComponent) comp = i;
    double k = 1.0;
    if (m_DataUnit == DU_MSEC) k = 1000.0;
    else if (m_DataUnit == DU_M && bFOOT) k = 3.2808399;
    double t = h.rZ0 * k, dt = h.rDZ * k;
    int nX = h.n1, nT = h.n2, nRows = h.n3 < 1 ? 1 : h.n3;
    if (m_nFrame > nRows - 1) m_nFrame = nRows - 1;
    if (m_nFrame < 0) m_nFrame = 0;
    int64_t rowBase = nRows > 1 ? (int64_t)nX * m_nFrame * nT : 0;
    m_rFrameParam[0] = h.rT0;
    m_rFrameParam[1] = h.rT1;
    m_rFrameParam[2] = nRows > 1 ? (h.rT1 - h.rT0) / (nRows - 1) : h.rDT;
    int n = nT < nLen ? nT : nLen;
    int nl = GetTraceLenSDS(&h);
    if (nl >= 0 && n > nl) n = nl;
    if (e.nChannel < 0 || e.nChannel >= nX) return true;  // a column beyond the frame ends the read
    double lo = m_traseParam[0], hi = m_traseParam[1] + m_traseParam[2];
    int64_t base = e.nFilePos + 296 + (int64_t)comp * 4;
    for (int i = 0; i < n; i++, t += dt) {
        if (t >= lo && t < hi) {
            int64_t pos = base + ((int64_t)e.nChannel + rowBase + (int64_t)nX * i) * 4 * nComp;
            float v;
            if (fseeko(m_fp, (off_t)pos, SEEK_SET) != 0 || fread(&v, 1, 4, m_fp) != 4) {
                m = nLen;  // the rest stays 0, no padding
                return true;
            }
            pBuf[i] = v;
        }
    }
    m = n;
    return true;
}

// ------------------------------------------------------------------ GetTrace

bool CSdsPC::GetTrace(int nTrace, float* pBuf, int nLen)
{
    if (pBuf && nLen > 0) memset(pBuf, 0, sizeof(float) * (size_t)nLen);
    if (!m_pSR || nTrace < 0 || nTrace >= m_nTraceCount || !m_fp || !pBuf || nLen < 0) {
        u_Print("GetTrace error: isError (%s), %d\n", m_szFileName, nTrace);
        return false;
    }
    int m = 0;
    bool ok;
    if (m_Type == SGY) ok = ReadTraceSGY(nTrace, pBuf, nLen, m);
    else if (m_Type == SDS) ok = ReadTraceSDS(nTrace, pBuf, nLen, m);
    else ok = ReadTraceVMG(nTrace, pBuf, nLen, m);
    if (!ok) return false;
    for (int i = m; i < nLen; i++) pBuf[i] = i < 2 ? 0.0f : pBuf[i - 1];
    if (m_rValueScale != 0.0 && m_rValueScale != 1.0)
        for (int i = 0; i < nLen; i++) pBuf[i] = (float)(pBuf[i] * m_rValueScale);
    for (int i = 0; i < nLen; i++)
        if (std::isnan(pBuf[i])) pBuf[i] = 0.0f;
    return true;
}

bool CSdsPC::GetTrace(int nTrace, float* pBuf, double* pParam, float* pTmp, float fMin)
{
    if (!pBuf || !pParam) {
        u_Print("GetTrace error: isError (%s), %d\n", m_szFileName, nTrace);
        return false;
    }
    double start = pParam[0], stop = pParam[1], step = pParam[2];
    // A step of 0 asks for one sample at the start (a cube one node deep).
    double dOut = step == 0.0 ? 1.0 : (stop - start) / step + 1.5;
    int nOut = (std::isfinite(dOut) && dOut >= 1.0 && dOut < (double)INT_MAX) ? (int)dOut : 0;
    if (nOut < 1) {
        u_Print("----- GetTrace failed: tracelenR=%d <= 0.\n\n", nOut);
        return false;
    }
    memset(pBuf, 0, sizeof(float) * (size_t)nOut);

    double start_f = m_traseParam[0], stop_f = m_traseParam[1], step_f = m_traseParam[2];
    int nIn = 0;
    if (stop_f > start_f && step_f > 0) {
        double d = (stop_f - start_f) / step_f + 1.5;
        nIn = d < (double)INT_MAX ? (int)d : 0;
    }
    if (start == start_f && stop == stop_f && step == step_f) return GetTrace(nTrace, pBuf, nIn);

    if (nIn < 1) {
        u_Print("----- GetTrace failed: tracelen=%d <= 0.\n\n", nIn);
        return false;
    }
    // pTmp holds the file's trace length; a longer axis needs its own buffer.
    float* tmp = (pTmp && nIn <= m_nTraceLen) ? pTmp : nullptr;
    float* own = nullptr;
    if (!tmp) {
        own = new (std::nothrow) float[(size_t)nIn];
        if (!own) {
            u_Print("----- Memory allocation error in GetTrace: new float[%d].\n\n", nIn);
            return false;
        }
        tmp = own;
    }
    if (!GetTrace(nTrace, tmp, nIn)) {
        delete[] own;
        return false;
    }
    int nLoop = step == 0.0 ? 1 : (int)((stop - start) / step + 1.1);
    if (nLoop > nOut) nLoop = nOut;  // never beyond the caller's buffer
    double t = start;
    for (int i = 0; i < nLoop; i++, t += step) {
        double p = (t - start_f) / step_f;
        if (!(p > -1.0 && p < (double)nIn)) continue;  // also keeps the cast below defined
        int k = (int)p;
        if (k < 0 || k >= nIn) continue;
        if (p == k || fabs(p - k) < 0.01 || k == nIn - 1) {
            pBuf[i] = tmp[k];
        } else if (fMin > 0 && (tmp[k] < fMin || tmp[k + 1] < fMin)) {
            pBuf[i] = 0.0f;
        } else {
            pBuf[i] = (float)((double)tmp[k + 1] * (p - k) + (double)tmp[k] * (k + 1 - p));
        }
    }
    delete[] own;
    return true;
}

// ------------------------------------------------------------------ SetTrace

bool CSdsPC::SetTrace(int nTrace, float* pBuf, int nLen)
{
    if (!m_pSR || nTrace < 0 || nTrace >= m_nTraceCount || (m_fp == nullptr && m_nfp == -1) || !m_fp) {
        u_Print("m_pSR==NULL || nNumTr<0 || nNumTr>=m_nTraceCount || (m_fp==NULL&&m_nfp==-1)\n");
        return false;
    }
    if (m_Type == VMG) {
        u_Print("Saving to this format is not supported\n");
        return false;
    }
    int n = m_nTraceLen < nLen ? m_nTraceLen : nLen;
    if (n < 1 || !pBuf) return false;
    int64_t pos = m_pSR[nTrace].nFilePos;
    int64_t dataPos = pos + (m_Type == SDS ? 80 : 240);

    // Never write past this trace's own samples into the next trace.
    if (fseeko(m_fp, (off_t)pos, SEEK_SET) == 0) {
        int bytes = -1, size = 0;
        if (m_Type == SDS) {
            SDS_TRACEHEADER h;
            if (fread(&h, 1, sizeof(h), m_fp) == sizeof(h)) {
                bytes = GetTraceLenSDS(&h);
                size = SizeOfPointSDS(&h);
            }
        } else {
            SGY_TRACEHEADER th;
            if (fread(&th, 1, sizeof(th), m_fp) == sizeof(th) && ProverkaHederaSEGY(&th, m_bSwap) != 0) {
                bytes = GetTraceLenSDS(&th);
                size = SizeOfPointSDS(&th, nullptr);
            }
        }
        if (size > 0 && bytes >= 0 && bytes / size < n) n = bytes / size;
    }

    if (m_rValueScale != 0.0 && m_rValueScale != 1.0)
        for (int i = 0; i < n; i++) pBuf[i] = (float)(pBuf[i] / m_rValueScale);

    std::vector<unsigned char> out;
    if (m_Type == SDS) {
        if (m_DataType == SGYDT_PC_FLOAT) {
            out.resize((size_t)n * 4);
            memcpy(out.data(), pBuf, out.size());
        } else if (m_DataType == SGYDT_INT16) {
            out.resize((size_t)n * 2);
            for (int i = 0; i < n; i++) {
                int16_t x = ClampI16(floor(pBuf[i] + 0.5));
                memcpy(&out[2 * (size_t)i], &x, 2);
            }
        } else if (m_DataType == SGYDT_DELTA_BYTE) {
            // First value in two bytes (low at 0, high at n-1), then signed byte differences.
            out.assign((size_t)n, 0);
            int16_t first = ClampI16(floor(pBuf[0] + 0.5));
            int16_t acc = first;
            for (int i = 1; i <= n - 2; i++) {
                double dd = floor(pBuf[i] - acc + 0.5);
                int d = (dd == dd && fabs(dd) < 1e9) ? (int)dd : 0;
                out[i] = (unsigned char)(d & 0xFF);
                acc = (int16_t)(acc + (signed char)out[i]);
            }
            out[(size_t)n - 1] = (unsigned char)(((uint16_t)first >> 8) & 0xFF);
            out[0] = (unsigned char)((uint16_t)first & 0xFF);  // a lone sample keeps its low byte
        } else {
            u_Print("SetTrace SDS: the data type saving is not supported. (Only FLOAT, SHORT and BYTE values are "
                    "supported.)\n");
            return false;
        }
        if (fseeko(m_fp, (off_t)dataPos, SEEK_SET) != 0) {
            u_Print("SetTrace SDS file writing error: !fseek (%lld from %lld, #id=%d)\n", (long long)dataPos,
                    (long long)m_nFileSize, nTrace);
            return false;
        }
        if (fwrite(out.data(), 1, out.size(), m_fp) != out.size()) {
            u_Print("SetTrace SDS file writing error: !fwrite\n");
            return false;
        }
    } else {
        if (m_DataType == SGYDT_PC_FLOAT) {
            out.resize((size_t)n * 4);
            memcpy(out.data(), pBuf, out.size());
        } else if (m_DataType == SGYDT_IBM_FLOAT) {
            // Encoded in place: the caller's buffer holds the IBM words afterwards.
            for (int i = 0; i < n; i++) {
                unsigned char b[4];
                EncodeIBMFloat(pBuf[i], b);
                memcpy(&pBuf[i], b, 4);
            }
            out.resize((size_t)n * 4);
            memcpy(out.data(), pBuf, out.size());
        } else if (m_DataType == SGYDT_INT16) {
            out.resize((size_t)n * 2);
            for (int i = 0; i < n; i++) PutBE16(&out[2 * (size_t)i], ClampI16(floor(pBuf[i] + 0.5)));
        } else {
            u_Print("SetTrace SGY: the data type saving is not supported. (Only FLOAT and SHORT values are "
                    "supported.)\n");
            return false;
        }
        if (fseeko(m_fp, (off_t)dataPos, SEEK_SET) != 0) {
            u_Print("SetTrace SGY file writing error: !fseek (%lld from %lld)\n", (long long)dataPos,
                    (long long)m_nFileSize);
            return false;
        }
        if (fwrite(out.data(), 1, out.size(), m_fp) != out.size()) {
            u_Print("SetTrace SGY file writing error: !fwrite\n");
            return false;
        }
    }
    return true;
}

// ------------------------------------------------------------ trace headers

bool CSdsPC::GetTraceHeader(int nTrace, SGY_TRACEHEADER& header, int bConvert)
{
    if (m_Type != SGY || !m_fp || !m_pSR || nTrace < 0 || nTrace >= m_nTraceCount) return false;
    if (fseeko(m_fp, (off_t)m_pSR[nTrace].nFilePos, SEEK_SET) != 0) return false;
    if (fread(&header, 1, sizeof(header), m_fp) != sizeof(header)) return false;
    if (bConvert) {
        ProverkaHederaSEGY(&header, m_bSwap);
        if (SizeOfPointSDS(&header, nullptr) < 1) return false;
    }
    return true;
}

bool CSdsPC::SetTraceHeader(int nTrace, SGY_TRACEHEADER& header, int reserved)
{
    (void)reserved;
    if (m_Type != SGY || !m_fp || !m_pSR || nTrace < 0 || nTrace >= m_nTraceCount) return false;
    ProverkaHederaSEGY(&header, m_bSwap);  // host order to file order: the swap is its own inverse
    if (fseeko(m_fp, (off_t)m_pSR[nTrace].nFilePos, SEEK_SET) != 0) return false;
    return fwrite(&header, 1, sizeof(header), m_fp) == sizeof(header);
}

// ------------------------------------------------------------------ geometry

bool CSdsPC::GetCoord(int nTrace, C3DPointR& src, C3DPointR& rec)
{
    if (!m_pSR || nTrace < 0 || nTrace >= m_nTraceCount) return false;
    const SDS_TRACEINFO& e = m_pSR[nTrace];
    src = C3DPointR(e.fSrcX, e.fSrcY, e.fSrcZ);
    rec = C3DPointR(e.fRecX, e.fRecY, e.fRecZ);
    return true;
}

CPointR CSdsPC::GetSrc(int nTrace)
{
    if (!m_pSR || nTrace < 0 || nTrace >= m_nTraceCount) return CPointR(0, 0);
    return CPointR(m_pSR[nTrace].fSrcX, m_pSR[nTrace].fSrcY);
}

CPointR CSdsPC::GetRec(int nTrace)
{
    if (!m_pSR || nTrace < 0 || nTrace >= m_nTraceCount) return CPointR(0, 0);
    return CPointR(m_pSR[nTrace].fRecX, m_pSR[nTrace].fRecY);
}

static void Widen(double& lo, double& hi, double v)
{
    if (lo == NOT_SET_VALUE || v < lo) lo = v;
    if (hi == NOT_SET_VALUE || v > hi) hi = v;
}

CRectR CSdsPC::GetXYRect(int bRecOnly, CPointR pt)
{
    CRectR r(NOT_SET_VALUE, NOT_SET_VALUE, NOT_SET_VALUE, NOT_SET_VALUE);
    bool bPt = PointSet(pt);
    if (m_pSR) {
        for (int i = 0; i < m_nTraceCount; i++) {
            const SDS_TRACEINFO& e = m_pSR[i];
            if (bPt && (fabs(pt.x - e.fSrcX) >= 1 || fabs(pt.y - e.fSrcY) > 1)) continue;
            Widen(r.x0, r.x1, e.fRecX);
            Widen(r.y0, r.y1, e.fRecY);
            if (!bRecOnly) {
                Widen(r.x0, r.x1, e.fSrcX);
                Widen(r.y0, r.y1, e.fSrcY);
            }
        }
    }
    if (bPt && r.IsEmpty()) return GetXYRect(bRecOnly, CPointR(NOT_SET_VALUE, NOT_SET_VALUE));
    return r;
}

CSizeN CSdsPC::GetXYSize(CPointR pt)
{
    bool bPt = PointSet(pt);
    CRectR r = GetXYRect(1, pt);
    double stepX = 0, stepY = 0;
    int count = 0;
    const SDS_TRACEINFO* prev = nullptr;
    for (int i = 0; m_pSR && i < m_nTraceCount - 1; i++) {
        const SDS_TRACEINFO& e = m_pSR[i];
        if (bPt && (fabs(pt.x - e.fSrcX) >= 1 || fabs(pt.y - e.fSrcY) > 1)) continue;
        count++;
        if (prev) {
            double dx = fabs((double)e.fRecX - prev->fRecX);
            double dy = fabs((double)e.fRecY - prev->fRecY);
            if (dx > 1 && (dx < stepX || stepX == 0)) stepX = dx;
            if (dy > 1 && (dy < stepY || stepY == 0)) stepY = dy;
        }
        prev = &e;
    }
    if (count < 4 && bPt) return GetXYSize(CPointR(NOT_SET_VALUE, NOT_SET_VALUE));
    // Counts are held to a sane range so that wild coordinates cannot
    // overflow the int conversions or the product.
    auto Count = [](double width, double step) {
        if (step == 0) return 1;
        double c = width / step + 1.1;
        if (!(c >= 1.0)) return 1;
        return c > 1e6 ? 1000000 : (int)c;
    };
    int cx = Count(r.x1 - r.x0, stepX);
    int cy = Count(r.y1 - r.y0, stepY);
    int64_t total64 = (int64_t)cx * cy;
    int total = total64 > 0x7FFFFFFF ? 0x7FFFFFFF : (int)total64;
    CSizeN s;
    s.nx = cx;
    s.ny = cy;
    if (total < count / 2) {
        if (cx < 2) {
            int nx = (int)((double)count / cy + 0.9);
            s.nx = nx < 1 ? 1 : nx;
        } else {
            int ny = (int)((double)count / cx + 0.9);
            s.ny = ny < 1 ? 1 : ny;
        }
    }
    s.nxy = total;
    return s;
}
