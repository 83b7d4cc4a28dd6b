// CCalc1D: the memory estimate, the batch loop over all traces of the
// survey, and the two SEG-Y files (particle velocity and pressure) it writes
// in the survey's order.

#include "engine1d/Calc1D.h"

#include <cmath>
#include <cstring>
#include <new>
#include <omp.h>
#include <unistd.h>
#include <vector>

#include "base/Output.h"
#include "engine3d/Calc3D.h"
#include "files/SdsPC.h"
#include "run/OndexApp.h"

int CCalc1D::AllocateMemory(bool, bool)
{
    FreeMemory();
    const COndexApp& job = *m_pApp;
    const double MB = 1048576.0;
    const size_t nCells = (size_t)(m_nx > 0 ? m_nx : 0) * (size_t)(m_ny > 0 ? m_ny : 0) * (size_t)(m_nz > 0 ? m_nz : 0);
    const bool bQ = !job.m_strModelQ.IsEmpty();
    const int nGrids = bQ ? 3 : 2;
    const double dGrid = nCells * 4.0 / MB;
    const double dModel = nGrids * dGrid;
    const double dColumn = m_nCalcZ * 4.0 / MB;
    const double dCalc = m_nCalcZ * 10.0 * 4.0 / MB;
    const double dSeis = m_nSeisLen * 2.0 * 4.0 / MB;
    const double dRequired = dModel + dCalc + dSeis;
    double dAvailable;
    if (job.m_nHostMemoryGB > 0)
        dAvailable = job.m_nHostMemoryGB * 1024.0;
    else
        dAvailable = (double)sysconf(_SC_PHYS_PAGES) * (double)sysconf(_SC_PAGESIZE) / MB;

    u_LinePrint(" Memory ");
    u_Print("Model grids (x,y,z)=(%dx%dx%d) %dx%1.2f MB = %1.0f MB.\n", m_nx, m_ny, m_nz, nGrids, dGrid, dModel);
    if (dCalc + dSeis < 1.0)
        u_Print("Calculation grids (z)=(%d) < 1 MB\n", m_nCalcZ);
    else
        u_Print("Calculation grids (z)=(%d) %dx%1.2f MB = %1.0f MB.\n", m_nCalcZ, 10, dColumn, dCalc + dSeis);
    u_Print("Total Required = %1.0f MB, Available = %1.0f MB\n", dRequired, dAvailable);
    u_Line();
    u_Print("\n");

    if (dRequired > dAvailable)
    {
        u_Print("Error! Not enough memory the on computer. Requested %g MB, but only %g MB is available.\n", dRequired,
                dAvailable);
        return 1;
    }
    if (nCells > 0)
    {
        m_pVp = new (std::nothrow) float[nCells]();
        m_pRho = new (std::nothrow) float[nCells]();
        if (bQ)
            m_pQ = new (std::nothrow) float[nCells]();
        if (!m_pVp || !m_pRho || (bQ && !m_pQ))
        {
            FreeMemory();
            u_Print("Error! Not enough memory. Please, try to increase spatial steps.\n");
            return 1;
        }
    }
    if (job.m_nMemoryLimit > 0 && job.m_nMemoryLimit < (int)dRequired)
    {
        u_Print("Error! Required memory exceeds %d MB. Compuataion stops.\n", job.m_nMemoryLimit);
        return 2;
    }
    return 0;
}

CString CCalc1D::GetFileName(int, char cComponent, bool, bool, double)
{
    char szComp[2];
    ComponentSuffix(cComponent, szComp);
    CString strResult;
    strResult.Format("%s+%s3D%sS%c%s%s%s", ResultFileStem(*m_pApp).c_str(), "Gath", "I", 'U', szComp, "", ".sgy");
    return strResult;
}

int CCalc1D::WriteTrace(FILE* pFile, const char* pszName, CSdsPC& sds, int nTrace, C3DPointR pt,
                        double* pTraseParam, float* pData)
{
    SDS_TRACEINFO info;
    memset(&info, 0, sizeof(info));
    info.fSrcX = info.fRecX = (float)pt.x;
    info.fSrcY = info.fRecY = (float)pt.y;
    info.fSrcZ = info.fRecZ = (float)pt.z;
    info.nChannel = nTrace;
    int p[2] = {nTrace, nTrace};
    SGY_TRACEHEADER h = sds.CreateSGYHeaderTrace(p, info, pTraseParam, DU_SEC);
    // In place: IBM words, samples below 1e-6 in magnitude as 0.
    for (size_t i = 0; i < m_nSeisLen; i++)
    {
        unsigned char b[4];
        EncodeIBMFloat(pData[i], b);
        memcpy(&pData[i], b, 4);
    }
    if (fwrite(&h, sizeof(h), 1, pFile) != 1 || fwrite(pData, 4, m_nSeisLen, pFile) != m_nSeisLen)
    {
        u_Error("Error! Unable to write to '%s'.\n", pszName);
        return -1;
    }
    return 0;
}

static const char* const kUnstable =
    "!!!WARNING: The calculation scheme is unstable: further calculations are impossible! Please decrease dt.\n";

// Buffered bytes that never reach the disk would leave a short file behind a
// successful run.
static int FlushFiles(FILE* pZ, const CString& strZ, FILE* pC, const CString& strC)
{
    if (fflush(pZ) != 0)
    {
        u_Error("Error! Unable to write to '%s'.\n", strZ.c_str());
        return -1;
    }
    if (fflush(pC) != 0)
    {
        u_Error("Error! Unable to write to '%s'.\n", strC.c_str());
        return -1;
    }
    return 0;
}

int CCalc1D::Calculate()
{
    COndexApp& job = *m_pApp;
    const CString strZ = GetFileName(0, 'Z', false, true, 0.0);
    const CString strC = GetFileName(0, 'C', false, true, 0.0);
    shared_ptr1<FILE> fileZ(fopen(strZ.c_str(), "wb"), file_deleter);
    if (!fileZ.get())
    {
        u_Error("Error! Unable to open file '%s' for writing! Unable to save the result!\n", strZ.c_str());
        return -1;
    }
    shared_ptr1<FILE> fileC(fopen(strC.c_str(), "wb"), file_deleter);
    if (!fileC.get())
    {
        u_Error("Error! Unable to open file '%s' for writing! Unable to save the result!\n", strC.c_str());
        return -1;
    }

    const int n = m_pReceivers ? (int)m_pReceivers->size() : 0;
    double T[3] = {job.m_t0, job.m_t1, job.m_dt};
    CSdsPC sds;
    SGY_FILEHEADER fh = sds.CreateSGYHeaderFile(n, T, DU_SEC, 0);
    if (fwrite(&fh, sizeof(fh), 1, fileZ.get()) != 1)
    {
        u_Error("Error! Unable to write to the output file '%s'!\n", strZ.c_str());
        return -1;
    }
    if (fwrite(&fh, sizeof(fh), 1, fileC.get()) != 1)
    {
        u_Error("Error! Unable to write to the output file '%s'!\n", strC.c_str());
        return -1;
    }
    // The header's sample count is 16 bits wide: a longer trace would make a
    // file that no reader walks correctly.
    if (m_nSeisLen < 2 || m_nSeisLen > 32767)
    {
        u_Error("Error! Unable to open file '%s' for writing! Unable to save the result!\n", strZ.c_str());
        return -1;
    }

    omp_set_num_threads(job.m_nThreads > 1 ? job.m_nThreads : 1);
    int nTeam = 1;
#pragma omp parallel
    {
#pragma omp master
        nTeam = omp_get_num_threads();
    }

    // Ten traces per thread in a batch: each thread keeps its own workers,
    // the main thread writes the batch in the survey's order afterwards.
    const int nPerThread = 10;
    const int nBatch = nTeam > 1 ? nPerThread * nTeam : 0;
    std::vector<CCalc1D_Worker> vWorkers((size_t)nBatch + 1);
    for (CCalc1D_Worker& w : vWorkers)
        if (w.Init(m_nCalcZ, (int)m_nSeisLen) != 0)
        {
            u_Error("Error! Unable to allocate memory for calculations!\n");
            return -1;
        }

    if (nTeam <= 1)
    {
        CCalc1D_Worker& w = vWorkers.back();
        for (int i = 0; i < n; i++)
        {
            int r = CalculateTrace(i, w);
            if (r == -150)
            {
                u_Error("%s", kUnstable);
                return -1;
            }
            const C3DPointR& pt = (*m_pReceivers)[i];
            r |= WriteTrace(fileZ.get(), strZ.c_str(), sds, i, pt, T, w.m_pOutU);
            r |= WriteTrace(fileC.get(), strC.c_str(), sds, i, pt, T, w.m_pOutP);
            const int p = (int)((float)(i + 1) / (float)n * 100);
            u_Percent(p, p, 1, 1);
            if (r != 0)
                return r;
        }
        return FlushFiles(fileZ.get(), strZ, fileC.get(), strC);
    }

    const int nBatches = (n + nBatch - 1) / nBatch;
    for (int b = 0; b < nBatches; b++)
    {
        int code = 0;
        const int nBase = b * nBatch;
#pragma omp parallel num_threads(nTeam)
        {
            const int t = omp_get_thread_num();
            for (int q = 0; q < nPerThread; q++)
            {
                const int i = nBase + t * nPerThread + q;
                if (i >= n)
                    break;
                const int r = CalculateTrace(i, vWorkers[(size_t)t * nPerThread + q]);
#pragma omp atomic
                code |= r;
            }
        }
        for (int q = 0; q < nBatch; q++)
        {
            const int i = nBase + q;
            if (i >= n)
                break;
            CCalc1D_Worker& w = vWorkers[q];
            const C3DPointR& pt = (*m_pReceivers)[i];
            code |= WriteTrace(fileZ.get(), strZ.c_str(), sds, i, pt, T, w.m_pOutU);
            code |= WriteTrace(fileC.get(), strC.c_str(), sds, i, pt, T, w.m_pOutP);
        }
        const int p = (int)((float)(b + 1) / (float)nBatches * 100);
        u_Percent(p, p, 1, 1);
        if (code == -150)
            u_Error("%s", kUnstable);
        if (code != 0)
            return code;
    }
    return FlushFiles(fileZ.get(), strZ, fileC.get(), strC);
}
