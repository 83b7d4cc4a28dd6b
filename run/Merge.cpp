// Joining the per-shot result files of a run into one file per kind.
#include <cstdio>
#include <cstring>
#include <new>

#include "base/Output.h"
#include "files/SdsPC.h"
#include "files/SegyFormat.h"
#include "run/OndexApp.h"

int COndexApp::MergeResults(const char* pszMerged, const char* pszPerShot, int nFirst, int nLast, bool bDelete)
{
    if (!pszMerged || strlen(pszMerged) < 5)
        return -10;
    TYPEFILE type;
    if (!CSdsPC::GetTypeFromFileName(pszMerged, type))
        return -11;
    if (type == VMG)
    {
        // The VMG writer takes the parts 1..nLast itself and removes them.
        CSdsPC vmg;
        return vmg.OnSaveNVmg2VMG(pszMerged, nLast, 1) ? 0 : 1;
    }
    if (!pszPerShot)
        pszPerShot = "";

    FILE* fOut = fopen(pszMerged, "wb");
    if (!fOut)
    {
        u_Print("Unable to open file '%s' for writing! The results has not been merged!\n", pszMerged);
        return -1;
    }
    // The trace count is known only at the end: a provisional file header
    // now, the final one over it afterwards.
    double T[3] = {0.0, 0.0, 0.0};
    CSdsPC writer;
    {
        SGY_FILEHEADER hdr = writer.CreateSGYHeaderFile(0, T, DU_MSEC, 0);
        if (fwrite(&hdr, sizeof(hdr), 1, fOut) != 1)
        {
            fclose(fOut);
            u_Print("Unable to write to results file '%s'! The results has not been merged!\n", pszMerged);
            return -1;
        }
    }

    int p[2] = {0, 0};
    int nLen = 0;
    DATAUNIT unit = DU_MSEC;
    float* pBuf = nullptr;
    for (int n = nFirst; n <= nLast; ++n)
    {
        CString strName(0, pszPerShot, n);
        CSdsPC sds;
        if (!sds.OnOpen(strName, 0, 0, 0, 0))
        {
            u_Print("Unable to open file '%s'. Skipped.\n", (const char*)strName);
            continue;
        }
        unit = sds.m_DataUnit;
        if (!pBuf)
        {
            nLen = sds.m_nTraceLen;
            if (nLen <= 0)
            {
                u_Print("Unable to read file '%s'. Skipped.\n", (const char*)strName);
                continue;
            }
            pBuf = new (std::nothrow) float[nLen];
            if (!pBuf)
            {
                fclose(fOut);
                u_Print("Unable to create a buffer!\n");
                return -1;
            }
        }
        if (T[2] == 0.0)
            sds.GetTraceParam(T);
        double A[3] = {0.0, 0.0, 0.0};
        sds.GetTraceParam(A);
        const bool bSameAxis = A[0] == T[0] && A[1] == T[1] && A[2] == T[2];
        const bool bSegy = sds.m_Type == SGY;
        for (int i = 0; i < sds.m_nTraceCount; ++i)
        {
            const bool bRead = bSameAxis ? sds.GetTrace(i, pBuf, nLen) : sds.GetTrace(i, pBuf, T, nullptr, 0.0f);
            if (!bRead)
                continue;
            p[0] += 1;
            p[1] = i + 1;
            SDS_TRACEINFO info;
            memset(&info, 0, sizeof(info));
            sds.Set_pSR(i, &info);
            for (int k = 0; k < nLen; ++k)
            {
                const float v = pBuf[k];
                EncodeIBMFloat(v, (unsigned char*)&pBuf[k]);
            }
            SGY_TRACEHEADER th = writer.CreateSGYHeaderTrace(p, info, T, unit);
            if (bSegy)
            {
                // Line numbers and source point number stay those of the shot file.
                SGY_TRACEHEADER src;
                if (sds.GetTraceHeader(i, src, 0))
                {
                    unsigned char* d = (unsigned char*)&th;
                    const unsigned char* s = (const unsigned char*)&src;
                    memcpy(d + 188, s + 188, 4);
                    memcpy(d + 192, s + 192, 4);
                    memcpy(d + 16, s + 16, 4);
                }
            }
            if (fwrite(&th, sizeof(th), 1, fOut) != 1 || fwrite(pBuf, sizeof(float), (size_t)nLen, fOut) != (size_t)nLen)
            {
                delete[] pBuf;
                fclose(fOut);
                u_Print("Unable to write to '%s'.\n", pszMerged);
                return -1;
            }
        }
        sds.Reset();
    }
    delete[] pBuf;

    SGY_FILEHEADER hdr = writer.CreateSGYHeaderFile(p[0], T, unit, 0);
    if (fseeko(fOut, 0, SEEK_SET) != 0 || fwrite(&hdr, sizeof(hdr), 1, fOut) != 1)
    {
        fclose(fOut);
        u_Print("Unable to write to '%s'.\n", pszMerged);
        return -1;
    }
    if (fclose(fOut) != 0)
    {
        u_Print("Unable to write to '%s'.\n", pszMerged);
        return -1;
    }

    if (bDelete)
    {
        for (int n = nFirst; n <= nLast; ++n)
        {
            CString strName(0, pszPerShot, n);
            remove(strName);
            remove(strName + ".cr0");
            remove(strName + ".cr2");
        }
    }
    return 0;
}
