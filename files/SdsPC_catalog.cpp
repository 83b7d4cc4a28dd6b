// CSdsPC ".cr2" catalogue: the scanned trace table kept beside the data file,
// so that a later open need not scan again.
#include "files/SdsPC.h"

#include <cmath>
#include <cstring>
#include <ctime>
#include <new>

#include "base/Output.h"
#include "files/SdsPC_io.h"

using namespace sdsio;

namespace {

const int CR2_VERSION = 2;

}  // namespace

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
