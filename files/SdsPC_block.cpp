// CSdsPC: writing many consecutive traces at once. A cube of 250^3 samples is
// 62,500 traces; one seek, header read and write per trace cost seconds, a
// read and a write per block of traces a fraction of that, with the same
// bytes in the file.

#include <algorithm>
#include <cstring>
#include <vector>

#include "base/Output.h"
#include "files/SdsPC.h"
#include "files/SegyFormat.h"

bool CSdsPC::SetTraces(int nFirst, int nCount, const float* pData, int nLen)
{
    if (nFirst < 0 || nCount < 0 || nLen < 1 || !pData || nFirst + (int64_t)nCount > m_nTraceCount)
        return false;
    // The trace-by-trace road for everything but plain SEG-Y floats.
    auto OneByOne = [&](int t0, int t1) {
        std::vector<float> tr((size_t)nLen);
        for (int t = t0; t < t1; t++)
        {
            memcpy(tr.data(), pData + (size_t)(t - nFirst) * nLen, (size_t)nLen * sizeof(float));
            if (!SetTrace(t, tr.data(), nLen))
                return false;
        }
        return true;
    };
    const bool bFast = m_Type == SGY && m_fp && m_pSR && nLen == m_nTraceLen &&
                       (m_DataType == SGYDT_IBM_FLOAT || m_DataType == SGYDT_PC_FLOAT) &&
                       (m_rValueScale == 0.0 || m_rValueScale == 1.0);
    if (!bFast)
        return OneByOne(nFirst, nFirst + nCount);

    const int64_t stride = 240 + (int64_t)nLen * 4;
    const int kBlock = 512;
    std::vector<unsigned char> buf;
    for (int t0 = nFirst; t0 < nFirst + nCount; t0 += kBlock)
    {
        const int t1 = std::min(nFirst + nCount, t0 + kBlock);
        const int64_t pos0 = m_pSR[t0].nFilePos;
        bool bPacked = true;
        for (int t = t0; t < t1 && bPacked; t++)
            bPacked = m_pSR[t].nFilePos == pos0 + (t - t0) * stride;
        buf.resize((size_t)((t1 - t0) * stride));
        if (!bPacked || fseeko(m_fp, (off_t)pos0, SEEK_SET) != 0 || fread(buf.data(), 1, buf.size(), m_fp) != buf.size())
        {
            if (!OneByOne(t0, t1))
                return false;
            continue;
        }
        // Each header must promise exactly this trace's samples, as SetTrace
        // would find; anything else goes the careful way.
        bool bAll = true;
        for (int t = t0; t < t1 && bAll; t++)
        {
            SGY_TRACEHEADER th;
            memcpy(&th, &buf[(size_t)((t - t0) * stride)], sizeof(th));
            const int size = ProverkaHederaSEGY(&th, m_bSwap) != 0 ? SizeOfPointSDS(&th, nullptr) : 0;
            bAll = size == 4 && GetTraceLenSDS(&th) / size == nLen;
        }
        if (!bAll)
        {
            if (!OneByOne(t0, t1))
                return false;
            continue;
        }
        for (int t = t0; t < t1; t++)
        {
            unsigned char* out = &buf[(size_t)((t - t0) * stride + 240)];
            const float* in = pData + (size_t)(t - nFirst) * nLen;
            if (m_DataType == SGYDT_IBM_FLOAT)
                for (int i = 0; i < nLen; i++)
                    EncodeIBMFloat(in[i], out + 4 * (size_t)i);
            else
                memcpy(out, in, (size_t)nLen * 4);
        }
        if (fseeko(m_fp, (off_t)pos0, SEEK_SET) != 0 || fwrite(buf.data(), 1, buf.size(), m_fp) != buf.size())
        {
            u_Print("SetTraces SGY file writing error: !fwrite\n");
            return false;
        }
    }
    return true;
}
