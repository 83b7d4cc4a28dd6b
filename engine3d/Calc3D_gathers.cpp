// Results of a shot: one SEG-Y shot gather per component, brought together
// from the nodes of a depth group by the group leader, and the time fields.

#include "engine3d/Calc3D.h"

#include <climits>
#include <cmath>
#include <cstring>
#include <mpi.h>
#include <memory>
#include <new>
#include <vector>

#include "base/Output.h"
#include "files/SdsPC.h"
#include "run/OndexApp.h"
#include "run/MpiTags.h"

int CCalc3D::SaveResults()
{
    int nResult = SaveShotgather(GetFileName(0, 'Z', false, false, 0.0), 'Z');
    if (nResult != 0)
        return nResult;
    static const char szRest[3] = {'X', 'Y', 'C'};
    for (char c : szRest)
        nResult |= SaveShotgather(GetFileName(0, c, false, false, 0.0), c);
    if (nResult != 0)
        return nResult;
    if (m_nTimeField == 0)
        return 0;
    for (int k = 0; k < 2; k++)
        if (m_nTimeField & (1 << k))
            SaveTimeField(GetFileName(2, ' ', false, false, k), k);
    return 0;
}

int CCalc3D::SaveShotgather(const char* pszFile, char cComponent)
{
    COndexApp& job = *m_pApp;
    const size_t n = m_vRcvCells.size();
    const size_t nLen = m_nSeisLen;

    // One node, or nothing to merge.
    if (job.m_nGroupSize < 2 || (size_t)m_nTraces * nLen == 0)
    {
        float* p = GrabShotgather(cComponent);
        if (!p)
        {
            u_Error("Error! Unable to acquire a seismogram from compute device!\n");
            return -1;
        }
        return SaveShotgatherBuf(pszFile, n, nLen, p, m_vRcvPoints, &m_vRcvInline, &m_vRcvCrossline,
                                 &m_vRcvTraceId, &m_vRcvFileId);
    }

    const int nLeader = job.m_nNode - job.m_nGroupRank;
    if (job.m_nGroupRank != 0)
    {
        u_Print("MPI Node: Merging the distributed Shotgather (%c-Component)\n", cComponent);
        int nCount = (int)n;
        float* p = nullptr;
        if (n > 0)
        {
            p = GrabShotgather(cComponent);
            if (!p)
                nCount = -1;
        }
        // The lists go out as they are; a short list would send garbage, and
        // a share beyond an int count cannot travel: such a node reports
        // itself as failed.
        if (nCount > 0 && (m_vRcvPoints.size() < n || m_vRcvInline.size() < n || m_vRcvCrossline.size() < n
                           || m_vRcvTraceId.size() < n || m_vRcvFileId.size() < n
                           || n > (size_t)INT_MAX || nLen > (size_t)INT_MAX / n))
            nCount = -1;
        MPI_Send(&nCount, 1, MPI_INT, nLeader, tag::kGatherCount, MPI_COMM_MT);
        if (nCount == 0)
            return 0;
        if (nCount < 0)
        {
            u_Error("Error! MPI Node: Merge gather: unexpected trace count (%d)!\n", nCount);
            return -1000;
        }
        // Points travel as three doubles each, 32 bytes a point with padding.
        std::vector<double> vPts((size_t)nCount * 4, 0.0);
        for (int i = 0; i < nCount; i++)
        {
            vPts[(size_t)i * 4 + 0] = m_vRcvPoints[i].x;
            vPts[(size_t)i * 4 + 1] = m_vRcvPoints[i].y;
            vPts[(size_t)i * 4 + 2] = m_vRcvPoints[i].z;
        }
        MPI_Send(vPts.data(), 32 * nCount, MPI_BYTE, nLeader, tag::kGatherPoints, MPI_COMM_MT);
        MPI_Send(m_vRcvInline.data(), nCount, MPI_INT, nLeader, tag::kGatherInline, MPI_COMM_MT);
        MPI_Send(m_vRcvCrossline.data(), nCount, MPI_INT, nLeader, tag::kGatherCrossline, MPI_COMM_MT);
        MPI_Send(m_vRcvTraceId.data(), nCount, MPI_INT, nLeader, tag::kGatherTraceId, MPI_COMM_MT);
        MPI_Send(m_vRcvFileId.data(), nCount, MPI_INT, nLeader, tag::kGatherFileId, MPI_COMM_MT);
        MPI_Send(p, (int)(nCount * nLen), MPI_FLOAT, nLeader, tag::kGatherTraces, MPI_COMM_MT);
        return 0;
    }

    // Group leader.
    u_Print("MPI Group Leader: Merging the distributed Shotgather (%c-Component)\n", cComponent);
    const int nMembers = job.m_nGroupSize - 1;
    std::vector<int> vCounts(nMembers, 0);
    int nMax = 0;
    for (int k = 0; k < nMembers; k++)
    {
        MPI_Recv(&vCounts[k], 1, MPI_INT, nLeader + 1 + k, tag::kGatherCount, MPI_COMM_MT, MPI_STATUS_IGNORE);
        if (vCounts[k] > nMax)
            nMax = vCounts[k];
    }
    const size_t nTraces = m_nTraces > 0 ? (size_t)m_nTraces : 0;
    // A node's share travels in one message, whose count is an int.
    const bool bSizes = m_nTraces > 0 && nLen <= (size_t)INT_MAX / nTraces && (size_t)nMax * nLen <= (size_t)INT_MAX;
    float* pFull = bSizes ? new (std::nothrow) float[nTraces * nLen]() : nullptr;
    float* pRecv = bSizes ? new (std::nothrow) float[(size_t)nMax * nLen + 1]() : nullptr;
    if (!pFull || !pRecv)
    {
        u_Error("Error! Memory allocation error saving seismogram (additional %g MB requested).\n",
                ((double)nTraces * nLen + (double)nMax * nLen) * 4.0 / 1048576.0);
        delete[] pFull;
        delete[] pRecv;
        // The job ends on this code; the members' messages are left unread.
        return -1;
    }
    std::vector<C3DPointR> vPoints(nTraces);
    std::vector<int> vInline(nTraces, 0), vCross(nTraces, 0), vTraceId(nTraces, -1), vFileId(nTraces, -1);

    int nResult = 0;
    size_t nOwn = n < nTraces ? n : nTraces;
    if (n > 0)
    {
        float* p = GrabShotgather(cComponent);
        if (!p)
        {
            u_Error("Error! Unable to acquire a seismogram from compute device!\n");
            nResult = -1;
            nOwn = 0;
        }
        else
        {
            for (size_t i = 0; i < nOwn; i++)
            {
                if (i < m_vRcvPoints.size()) vPoints[i] = m_vRcvPoints[i];
                if (i < m_vRcvInline.size()) vInline[i] = m_vRcvInline[i];
                if (i < m_vRcvCrossline.size()) vCross[i] = m_vRcvCrossline[i];
                if (i < m_vRcvTraceId.size()) vTraceId[i] = m_vRcvTraceId[i];
                if (i < m_vRcvFileId.size()) vFileId[i] = m_vRcvFileId[i];
            }
            for (size_t j = 0; j < nLen; j++)
                for (size_t i = 0; i < nOwn; i++)
                    pFull[j * nTraces + i] = p[j * n + i];
        }
    }

    bool bFailed = false;
    long long pos = (long long)n;
    for (int k = 0; k < nMembers; k++)
    {
        const int m = vCounts[k];
        const int nSrc = nLeader + 1 + k;
        if (m < 0)
        {
            bFailed = true;
            pos += m;
            continue;
        }
        if (m == 0)
            continue;
        if (pos + m > (long long)nTraces)
            u_Warning("Warning! Received an unexpected trace #%d (maximum #%d expected).\n", (int)(pos + m - 1),
                      (int)nTraces - 1);
        std::vector<double> vPts((size_t)m * 4);
        std::vector<int> vI(m), vC(m), vT(m), vF(m);
        MPI_Recv(vPts.data(), 32 * m, MPI_BYTE, nSrc, tag::kGatherPoints, MPI_COMM_MT, MPI_STATUS_IGNORE);
        MPI_Recv(vI.data(), m, MPI_INT, nSrc, tag::kGatherInline, MPI_COMM_MT, MPI_STATUS_IGNORE);
        MPI_Recv(vC.data(), m, MPI_INT, nSrc, tag::kGatherCrossline, MPI_COMM_MT, MPI_STATUS_IGNORE);
        MPI_Recv(vT.data(), m, MPI_INT, nSrc, tag::kGatherTraceId, MPI_COMM_MT, MPI_STATUS_IGNORE);
        MPI_Recv(vF.data(), m, MPI_INT, nSrc, tag::kGatherFileId, MPI_COMM_MT, MPI_STATUS_IGNORE);
        // nMax bounds every announced count, so the receive buffer fits.
        MPI_Recv(pRecv, (int)(m * nLen), MPI_FLOAT, nSrc, tag::kGatherTraces, MPI_COMM_MT, MPI_STATUS_IGNORE);
        for (int i = 0; i < m; i++)
        {
            const long long t = pos + i;
            if (t < 0 || t >= (long long)nTraces)
                continue;   // beyond the announced receivers: dropped
            vPoints[t] = C3DPointR(vPts[(size_t)i * 4], vPts[(size_t)i * 4 + 1], vPts[(size_t)i * 4 + 2]);
            vInline[t] = vI[i];
            vCross[t] = vC[i];
            vTraceId[t] = vT[i];
            vFileId[t] = vF[i];
            for (size_t j = 0; j < nLen; j++)
                pFull[j * nTraces + t] = pRecv[j * m + i];
        }
        pos += m;
    }
    if (nResult == 0)
    {
        if (bFailed)
            nResult = -1000;
        else
            nResult = SaveShotgatherBuf(pszFile, nTraces, nLen, pFull, vPoints, &vInline, &vCross, &vTraceId,
                                        &vFileId);
    }
    delete[] pFull;
    delete[] pRecv;
    return nResult;
}

int CCalc3D::SaveShotgatherBuf(const char* pszFile, size_t nTraces, size_t nSamples, float* pData,
                               std::vector<C3DPointR>& vRcv, std::vector<int>* pInline, std::vector<int>* pCrossline,
                               std::vector<int>* pTraceId, std::vector<int>* pFileId)
{
    if (nTraces < 1)
    {
        u_Print("Invalid Trace Count in CCalc2D::SaveSingleShotgatherSGY\n");
        return -1;
    }
    if (vRcv.size() < nTraces || nTraces > 0x7fffffff || nSamples > 0x7fffffff)
    {
        u_Error("Error! Invalid Trace Count in CCalc2D::SaveSingleShotgatherSGY\n");
        return -1;
    }
    // The elastic step does not watch for a blow-up, and IBM floats have no
    // NaN: a gather that grew without bound would go out as zeros and
    // full-scale samples without a word.
    size_t nBad = 0;
    for (size_t i = 0; pData && i < nTraces * nSamples; i++)
        nBad += !std::isfinite(pData[i]);
    if (nBad > 0)
        u_Warning("Warning! %zu samples of %s are not finite (the wave field grew without bound); they are written "
                  "as 0 or full scale.\n", nBad, pszFile);
    const bool bTraceIds = pTraceId && pTraceId->size() == nTraces;
    const bool bFileIds = pFileId && pFileId->size() == nTraces;
    SDS_TRACEINFO* pInfo = new (std::nothrow) SDS_TRACEINFO[nTraces];
    if (!pInfo)
    {
        u_Error("Error! Memory Allocation Error in CCalc2D::SaveSingleShotgatherSGY\n");
        return -1;
    }
    memset(pInfo, 0, nTraces * sizeof(SDS_TRACEINFO));
    for (size_t i = 0; i < nTraces; i++)
    {
        SDS_TRACEINFO& e = pInfo[i];
        e.fSrcX = (float)m_ptShot.x;
        e.fSrcY = (float)m_ptShot.y;
        e.fSrcZ = (float)m_ptShot.z;
        e.fRecX = (float)vRcv[i].x;
        e.fRecY = (float)vRcv[i].y;
        e.fRecZ = (float)vRcv[i].z;
        e.nPart = m_nShot;
        if (bTraceIds && (*pTraceId)[i] >= 0)
            e.nChannel = (*pTraceId)[i];
        if (bFileIds && (*pFileId)[i] >= 0)
            e.nRecord = (*pFileId)[i];
    }

    const double t0 = m_pApp->m_t0;
    const double dt = m_pApp->m_dt;
    const CRectR rect(1.0, t0, (double)nTraces, (double)(nSamples - 1) * dt + t0);
    CSdsPC file;
    const bool bSaved =
        file.OnSave(pszFile, pData, rect, CSizeN((int)nTraces, (int)nSamples), 0, 0, false, pInfo, DU_SEC);
    delete[] pInfo;

    // Line numbers count when both lists are complete and one receiver has
    // both above 0; ids when a list is complete and holds one id >= 0.
    bool bLines = false;
    if (pInline && pCrossline && pInline->size() == nTraces && pCrossline->size() == nTraces)
        for (size_t i = 0; i < nTraces && !bLines; i++)
            bLines = (*pInline)[i] > 0 && (*pCrossline)[i] > 0;
    bool bIds = false;
    for (size_t i = 0; i < nTraces && !bIds; i++)
        bIds = (bTraceIds && (*pTraceId)[i] >= 0) || (bFileIds && (*pFileId)[i] >= 0);

    if (bSaved && (bLines || bIds))
    {
        const CSurvey3D& survey = m_pApp->m_Survey;
        int nSourcePoint = survey.m_nActiveShotId;
        if (survey.m_vShotIds.size() == survey.m_vShotPoints.size() && survey.m_nActiveShotIndex >= 0
            && (size_t)survey.m_nActiveShotIndex < survey.m_vShotIds.size())
            nSourcePoint = survey.m_vShotIds[survey.m_nActiveShotIndex];
        CSdsPC patch;
        if (patch.OnOpen(pszFile, 1, 0, 0, 0))
        {
            const int nCount = patch.m_nTraceCount < (int)nTraces ? patch.m_nTraceCount : (int)nTraces;
            for (int i = 0; i < nCount; i++)
            {
                SGY_TRACEHEADER h;
                if (!patch.GetTraceHeader(i, h, 1))
                    continue;
                if (bLines)
                {
                    h.inlineNumber = (*pInline)[i];
                    h.crosslineNumber = (*pCrossline)[i];
                }
                if (bTraceIds && (*pTraceId)[i] >= 0)
                    h.traceInRecord = (*pTraceId)[i];
                if (bFileIds && (*pFileId)[i] >= 0)
                    h.fieldRecord = (*pFileId)[i];
                h.sourcePoint = nSourcePoint;
                patch.SetTraceHeader(i, h, 0);
            }
        }
    }
    return bSaved ? 0 : 1;
}

int CCalc3D::SaveTimeField(const char* pszFile, int nKind)
{
    const CCubeR area = GetRealUserArea();
    const long long nTr = (long long)m_nTimeNx * m_nTimeNy;
    if (nTr < 1 || m_nTimeNx < 1 || m_nTimeNy < 1)
    {
        u_Print("Invalid Trace Count in CCalc2D::SaveTimeField\n");
        return -1;
    }
    float* p = GrabTimeField(nKind);
    int nz = m_nTimeNz;
    // A depth group: the leader stacks the planes of all nodes and writes.
    std::unique_ptr<float[]> pMerged;
    if (m_pApp->m_nGroupSize > 1)
    {
        if (!p)
            u_Warning("Warning! SaveTimeField(): Unable to acquire time field from compute device.\n");
        float* pAll = nullptr;
        int nAll = 0;
        const int r =
            MergeDistributedCube(m_pApp, CCubeN(0, 0, 0, m_nTimeNz - 1, m_nTimeNy - 1, m_nTimeNx - 1), &nAll, p, &pAll);
        pMerged.reset(pAll);
        if (r != 0)
            return r;
        if (!pAll)
            return 0;
        p = pAll;
        nz = nAll;
    }
    if (!p)
        return 0;
    const size_t n = (size_t)nTr;
    SDS_TRACEINFO* pInfo = new (std::nothrow) SDS_TRACEINFO[n];
    if (!pInfo)
    {
        u_Error("Error! Memory Allocation Error in CCalc2D::SaveTimeField\n");
        return -1;
    }
    memset(pInfo, 0, n * sizeof(SDS_TRACEINFO));
    for (int iy = 0; iy < m_nTimeNy; iy++)
    {
        for (int ix = 0; ix < m_nTimeNx; ix++)
        {
            SDS_TRACEINFO& e = pInfo[(size_t)iy * m_nTimeNx + ix];
            e.fSrcX = (float)m_ptShot.x;
            e.fSrcY = (float)m_ptShot.y;
            e.fSrcZ = (float)m_ptShot.z;
            e.fRecX = (float)(area.x0 + ix * m_dTimeDx);
            e.fRecY = (float)(area.y0 + iy * m_dTimeDy);
            e.fRecZ = (float)area.z0;
            e.nPart = m_nShot;
        }
    }
    const CRectR rect(1.0, area.z0, (double)n, area.z0 + (nz - 1) * m_dTimeDz);
    CSdsPC file;
    const bool bSaved = file.OnSave(pszFile, p, rect, CSizeN((int)n, nz), 0, 0, false, pInfo, DU_SEC);
    delete[] pInfo;
    return bSaved ? 1 : 0;
}
