// The depth decomposition of a shot over a group of processes and its time
// loop: each node holds a horizontal slab with full x and y planes, and the
// planes next to a slab border travel to the neighbour while the inside of
// the slab is computed.

#include "engine3d/Calc3D.h"

#include <algorithm>
#include <climits>

#include <mpi.h>

#include "base/Output.h"
#include "engine3d/Calc3D_halo.h"
#include "run/MpiTags.h"
#include "run/OndexApp.h"

// The planes of a group member before halos: the first r members take one
// plane more.
static void GetRange(int n, int p, int nAll, int& z0, int& z1)
{
    const int c = nAll / n, r = nAll % n;
    z0 = p * c + std::min(r, p);
    z1 = p * c + std::min(p + 1, r) + c - 1;
    z0 = std::min(z0, nAll - 1);
    z1 = std::min(z1, nAll - 1);
}

int CCalc3D::InitDecomposition()
{
    m_nZ0 = 0;
    m_nZ1 = m_nz - 1;
    m_nZAll = m_nz;
    const int n = m_pApp->m_nGroupSize;
    if (n < 2)
        return 0;
    const int p = m_pApp->m_nGroupRank;
    const int h = m_nHalo;
    u_LinePrint(" MPI Depth Partitioning (params)");
    // No slab for every node: a clean stop rather than an empty range.
    if (p < 0 || p >= n || m_nZAll < n)
    {
        u_Error("Error! The grid of %d planes cannot be shared by %d nodes.\n", m_nZAll, n);
        return -104;
    }
    const int c = m_nZAll / n;
    if (m_bPML && c < m_nPML)
        u_Warning("Warning! PML grid does not fit node decomposition, to be safe please turn it off by setting PML=0 "
                  "in runtask.ini.\n");
    GetRange(n, p, m_nZAll, m_nZ0, m_nZ1);
    m_nz = m_nZ1 - m_nZ0 + 1;
    u_Print("nza = %d, prcs=%d, nz = %d, z0=%d, z1=%d\n", m_nZAll, n, m_nz, m_nZ0, m_nZ1);
    const bool bFirst = p == 0, bLast = p == n - 1;
    if (!bFirst)
    {
        m_nZ0 -= h;
        m_nz += h;
    }
    if (!bLast)
    {
        m_nZ1 += h;
        m_nz += h;
    }
    u_Print("nza = %d, prcs=%d, nz = %d, z0=%d, z1=%d\n", m_nZAll, n, m_nz, m_nZ0, m_nZ1);
    // A slab this thin has no inside range, and its bands would overlap:
    // the shot stops instead of computing a wrong field.
    if (m_nz < 5 * h)
    {
        u_Error("Error! The depth partition is too narrow (%g m with minimum of %g m), need less nodes with more "
                "memory.\n",
                (m_nz - 2 * h) * m_dx, 3 * h * m_dx);
        return -104;
    }

    const double dTaper = m_nTaper * m_dx;
    const double zWhole0 = m_cubeGrid.z0 + dTaper, zWhole1 = m_cubeGrid.z1 - dTaper;
    m_cubeGrid.z0 += m_nZ0 * m_dx;
    m_cubeGrid.z1 = m_cubeGrid.z0 + (m_nz - 1) * m_dx;

    const CCubeR part = GetRealUserArea();
    u_LinePrint(" MPI Depth Partitioning ");
    u_Print("   First       |    Last       |      Step     |\n%14.0f |%14.0f |%14g |  whole      \n%14.0f |%14.0f "
            "|%14g |  partial    \n",
            zWhole0, zWhole1, m_dx, part.z0, part.z1, m_dx);
    u_Line();

    if (m_nTimeField != 0 && m_dx > 0.0)
    {
        // Counted on the planes the engine samples (whole-grid plane
        // N + trunc(k * dz / dx)), so that the slabs' samples join without
        // a gap or a double.
        const int lo = m_nZ0 + (bFirst ? m_nTaper : h);
        const int hi = m_nZ1 - (bLast ? m_nTaper : h);
        const float rz = (float)(m_dTimeDz / m_dx);   // as the engine takes it
        int nCount = 0;
        for (int k = 0; k < m_nTimeNz; k++)
        {
            const int z = m_nTaper + (int)(k * rz);
            if (z >= lo && z <= hi)
                nCount++;
        }
        m_nTimeNz = nCount;
    }
    return 0;
}

int CCalc3D::CalculateDistributed()
{
    int nSteps = 0;
    if (StepCount(nSteps) != 0)
        return -101;
    double tRecord = m_pApp->m_t0;
    Init3DSnapshots();

    const int nType = m_pApp->m_Type;
    if (nType < 101 || nType > 104)
    {
        u_Error("Error! Unknown modeling method (%d) in the time loop.\n", nType);
        return -200;
    }
    const int h = m_nHalo;
    const bool bFirst = m_pApp->m_nGroupRank == 0;
    const bool bLast = m_pApp->m_nGroupRank == m_pApp->m_nGroupSize - 1;
    const int zlo = bFirst ? h : 2 * h;
    const int zhi = bLast ? m_nz - h - 1 : m_nz - 2 * h - 1;
    CHaloExchange halo(*this, nType, bFirst, bLast);

    for (int nStep = 0; nStep < nSteps; nStep++)
    {
        // 1. The y, x box as in the one-process loop.
        int iy0, iy1, ix0, ix1;
        SourceBox(nStep, iy0, iy1, ix0, ix1);

        // 2. Source, on the nodes that hold one.
        if (nStep < m_Signal.m_nLen && !m_vSources.empty())
        {
            int r = ApplySignal(nStep);
            if (r != 0)
            {
                u_Error("Error! Unable to apply signal in %d simulation step.\n", nStep);
                return r;
            }
        }

        // 3. Ramp.
        if (nType >= 102)
            m_fSWave = RampAt(m_tCur);

        auto velocity = [&](int z0, int z1) {
            if (z0 > z1)
                return 0;
            return nType == 101 ? PropagateAcoWaveU(z0, iy0, ix0, z1, iy1, ix1)
                                : PropagateElaWaveU(z0, iy0, ix0, z1, iy1, ix1);
        };
        auto stress = [&](int z0, int z1) {
            if (z0 > z1)
                return 0;
            switch (nType)
            {
            case 101: return PropagateAcoWaveTau(z0, iy0, ix0, z1, iy1, ix1);
            case 102: return PropagateElaWaveTau(z0, iy0, ix0, z1, iy1, ix1);
            case 103: return PropagateOrtWaveTau(z0, iy0, ix0, z1, iy1, ix1);
            default: return PropagateAniWaveTau(z0, iy0, ix0, z1, iy1, ix1);
            }
        };

        // 4-7. Velocity: the bands first, their planes on the way while the
        // inside is computed.
        int r = 0;
        if (!bFirst)
            r |= velocity(h, 2 * h - 1);
        if (!bLast)
            r |= velocity(m_nz - 2 * h, m_nz - h - 1);
        r |= halo.BeginVelocity();
        r |= velocity(zlo, zhi);
        r |= halo.EndVelocity();

        // 8-11. Stress alike.
        if (!bFirst)
            r |= stress(h, 2 * h - 1);
        if (!bLast)
            r |= stress(m_nz - 2 * h, m_nz - h - 1);
        r |= halo.BeginStress();
        r |= stress(zlo, zhi);
        r |= halo.EndStress();

        // 12-14. Time, failure, time field, seismogram on the nodes that
        // hold receivers. The instability is known here only; the group
        // ends through the failure report of the shot.
        r = AfterScheme(nStep, r, tRecord, !m_vRcvCells.empty());
        if (r != 0)
            return r;

        // 15. 2D snapshot, joined by the leader.
        if (Snapshot2DDue(m_tCur))
        {
            r = AppendVmg2DSnapshot(GetFileName(1, ' ', false, false, 0.0), 'X', "ZXYC", 15.0, false);
            m_tSnapNext += m_dSnapDt;
            if (r != 0)
            {
                u_Error("Error! Unable to merge 2D a snapshot.\n");
                return r;
            }
        }

        // 16. 3D snapshots.
        r = Save3DSnapshots();
        if (r != 0)
        {
            u_Error("Error! Unable to save 3D a snapshot.\n");
            return r;
        }

        // 17. Progress.
        ReportProgress(nStep, nSteps);
    }

    // A group looks for the boss's terminate message only after the shot:
    // a member cannot leave in the middle of the exchange.
    int nFlag = 0;
    MPI_Status status;
    MPI_Iprobe(0, tag::kTerminate, MPI_COMM_WORLD, &nFlag, &status);
    if (nFlag)
    {
        u_Error("Error! Received an urgent terminate request by the boss (Node #0).\n");
        return -1000;
    }
    return 0;
}
