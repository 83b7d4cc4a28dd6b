// 3D snapshots: whole wave-field cubes at the listed times of the listed
// shots, one SEG-Y cube per component and time, one trace per (X, Y) node
// with depth along the samples, so that it reads back like a model cube.

#include "engine3d/Calc3D.h"

#include <chrono>
#include <cstring>
#include <mpi.h>
#include <new>
#include <vector>

#include "base/Output.h"
#include "files/SdsPC.h"
#include "run/MpiTags.h"
#include "run/OndexApp.h"

// The letters the grabs of every engine know: the six stresses by number,
// the mean normal stress (pressure), the three velocities. Any other letter
// would come back as Uz under its own name, so it is refused instead.
static bool IsKnownComponent(char c)
{
    return c != 0 && strchr("012345CXYZ", c) != nullptr;
}

int CCalc3D::Init3DSnapshots()
{
    // 1. Anything asked for at all.
    m_b3DSnapshots = false;
    if (m_vSnapShots.empty() || m_vSnapTimes.empty() || m_szSnapComponents[0] == 0)
        return 0;
    // 2. This shot, or every shot by a 0 met before a match.
    bool bSelected = false;
    for (int n : m_vSnapShots)
    {
        if (n == m_nShot || n == 0)
        {
            bSelected = true;
            break;
        }
    }
    if (!bSelected)
        return 0;
    // 3, 4. A cube cannot be finer than the grid.
    m_b3DSnapshots = true;
    m_t3DSnapLast = 0.0;
    if (m_dSnapDx < m_dx)
        m_dSnapDx = m_dx;
    if (m_dSnapDy < m_dx)
        m_dSnapDy = m_dx;
    if (m_dSnapDz < m_dx)
        m_dSnapDz = m_dx;

    // 5, 6. Planes of a cube on this node.
    if (m_pApp->m_nGroupSize < 2)
    {
        const CCubeN s = GetSampleUserArea();
        m_n3DSnapNz = (int)((s.z1 - s.z0 + 1) * (m_dx / m_dSnapDz));
    }
    else
    {
        const CCubeR r = GetRealUserArea();
        int n = 0;
        for (double z = r.z0 - m_nZ0 * m_dx; z <= r.z1; z += m_dSnapDz)
            if (z >= r.z0)
                n++;
        m_n3DSnapNz = n;
    }

    // Settings that would silently give nothing or a wrong cube are said
    // once per shot; the shot goes on for its gathers.
    for (const char* p = m_szSnapComponents; *p; p++)
        if (!IsKnownComponent(*p))
            u_Warning("Warning! Unknown 3D snapshot component '%c' (known: 0-5, C, X, Y, Z) is not written.\n", *p);
    if (m_dt > 0.0)
    {
        const double tLast = m_tStart + ((int)((m_tEnd - m_tStart) / m_dt) + 1) * m_dt;
        for (double t : m_vSnapTimes)
            if (!(t > 0.0) || t > tLast)
                u_Warning("Warning! The 3D snapshot time %g s lies outside the modelled times (0 to %g s) "
                          "and is not written.\n",
                          t, tLast);
    }
    return 0;
}

bool CCalc3D::Snapshot3DDue(double tCur, double& tDue) const
{
    if (!m_b3DSnapshots)
        return false;
    for (double t : m_vSnapTimes)
        if (m_t3DSnapLast < t && t <= tCur)
        {
            tDue = t;
            return true;
        }
    return false;
}

int CCalc3D::Save3DSnapshots()
{
    // 1, 2. The first listed time this step has passed; later ones of the
    // same step are passed over.
    double tDue = 0.0;
    if (!Snapshot3DDue(m_tCur, tDue))
        return 0;
    m_t3DSnapLast = m_tCur;

    // 3. One file per component.
    for (const char* p = m_szSnapComponents; *p; p++)
    {
        if (!IsKnownComponent(*p))
            continue;
        const CString strName = GetFileName(3, *p, false, false, tDue);
        Save3DSnapshot(strName, *p, m_dSnapDx, m_dSnapDy, m_dSnapDz, m_pApp->m_bDebug);
    }
    return 0;
}

int CCalc3D::Save3DSnapshot(const char* pszFile, char cComponent, double dx, double dy, double dz, bool bWholeGrid)
{
    const auto tBegin = std::chrono::steady_clock::now();

    // 1. Area: the user area, or in Debug the whole grid with its strips.
    const CCubeR real = GetRealUserArea();
    CCubeN idx = GetSampleUserArea();
    double x0 = real.x0, y0 = real.y0, z0 = real.z0;
    int nz = m_n3DSnapNz;
    if (bWholeGrid)
    {
        x0 = m_cubeGrid.x0;
        y0 = m_cubeGrid.y0;
        z0 = m_cubeGrid.z0;
        idx = CCubeN(0, 0, 0, m_nz - 1, m_ny - 1, m_nx - 1);
        // The planes follow the area too, so that the depth axis written is
        // the one sampled (the user area's count would stretch the grid).
        nz = (int)(m_nz * (m_dx / dz));
    }

    // 2, 3. Size and limits.
    const int nx = (int)((idx.x1 - idx.x0 + 1) * (m_dx / dx));
    const int ny = (int)((idx.y1 - idx.y0 + 1) * (m_dx / dy));
    C3DSizeN size(nx, ny, nz);
    if (nx < 1 || ny < 1 || nz < 1)
    {
        u_Warning("Warning! The 3D snapshot '%s' has no samples (%d x %d x %d) and is not written.\n", pszFile, nx,
                  ny, nz);
        return 0;
    }

    // 4. The cube.
    float* pCube = Grab3DSnapshot(idx, size, cComponent);

    // 5. A depth group stacks its planes at the leader; the members end here.
    if (m_pApp->m_nGroupSize > 1)
    {
        float* pAll = nullptr;
        int nAll = 0;
        MergeDistributedCube(m_pApp, CCubeN(0, 0, 0, nz - 1, ny - 1, nx - 1), &nAll, pCube, &pAll);
        delete[] pCube;
        pCube = pAll;
        if (!pCube || nAll < 1)
        {
            delete[] pCube;
            return 0;
        }
        nz = nAll;
        size = C3DSizeN(nx, ny, nz);
    }
    if (!pCube)
    {
        u_Warning("Warning! Unable to acquire a 3D snapshot (%c) from compute device: '%s' is not written.\n",
                  cComponent, pszFile);
        return 0;
    }
    const CCubeR cube(x0, y0, z0, x0 + (nx - 1) * dx, y0 + (ny - 1) * dy, z0 + (nz - 1) * dz);

    // 6, 7. An empty cube file, then filled trace by trace.
    CSdsPC file;
    C3DPointR ptSrc = m_ptShot;
    if (!file.Create3D_file(pszFile, size, cube, 0.0f, DU_M, 0, &ptSrc) || !file.OnOpen(pszFile, 1, 1, 0, 0))
    {
        u_Warning("Warning! Unable to write the 3D snapshot '%s'.\n", pszFile);
        delete[] pCube;
        return 0;
    }
    // 8. The file was just made with zero samples, so the column added to
    // them is the column itself: the traces are not read back first, which
    // halves the file traffic of a cube.
    // A row of traces at a time, each trace a column of the cube.
    std::vector<float> vRow((size_t)nx * nz);
    const size_t nxy = (size_t)nx * (size_t)ny;
    for (int iy = 0; iy < ny; iy++)
    {
        for (int ix = 0; ix < nx; ix++)
        {
            const float* pCol = pCube + (size_t)iy * nx + ix;
            float* pTrace = vRow.data() + (size_t)ix * nz;
            for (int iz = 0; iz < nz; iz++)
                pTrace[iz] = pCol[iz * nxy];
        }
        if (!file.SetTraces(iy * nx, nx, vRow.data(), nz))
        {
            u_Print("!SetTrace(ny=%d)\n", iy);
            u_Print("Save3D_data returns false\n");
            delete[] pCube;
            return 0;
        }
    }
    delete[] pCube;

    // 9.
    const double dSec = std::chrono::duration<double>(std::chrono::steady_clock::now() - tBegin).count();
    u_Print("Save3D_data(%s) elapsed time %6.0f seconds.\n\n", pszFile, dSec);
    return 0;
}

// Members send their planes to the leader, which stacks them by rank under
// its own. The cube's nx, ny and the member's planes nz come from the box.
int CCalc3D::MergeDistributedCube(COndexApp* pApp, const CCubeN& cube, int* pNz, float* pLocal, float** ppAll)
{
    const int nx = cube.x1 - cube.x0 + 1, ny = cube.y1 - cube.y0 + 1;
    int nz = cube.z1 - cube.z0 + 1;
    if (nx < 1 || ny < 1 || nz < 0)
        nz = 0;   // an empty box sends nothing, but still answers the leader
    const size_t nxy = nx > 0 && ny > 0 ? (size_t)nx * ny : 0;
    *pNz = 0;
    *ppAll = nullptr;
    const int nLeader = pApp->m_nNode - pApp->m_nGroupRank;

    // 1. Member.
    if (pApp->m_nGroupRank != 0)
    {
        int n = pLocal ? nz : 0;
        if (!pLocal)
            u_Warning("Warning! MergeDistributedCube(): Unable to acquire a cube from compute device.\n");
        MPI_Send(&n, 1, MPI_INT, nLeader, tag::kCubeCount, MPI_COMM_MT);
        if (n > 0)
            MPI_Send(pLocal, (int)(nxy * n), MPI_FLOAT, nLeader, tag::kCubePiece, MPI_COMM_MT);
        return 0;
    }

    // 2. Leader: the members' counts.
    const int nMembers = pApp->m_nGroupSize - 1;
    std::vector<int> vCounts(nMembers > 0 ? nMembers : 0, 0);
    long long nSum = 0;
    int nMax = 0;
    for (int k = 0; k < nMembers; k++)
    {
        MPI_Recv(&vCounts[k], 1, MPI_INT, nLeader + 1 + k, tag::kCubeCount, MPI_COMM_MT, MPI_STATUS_IGNORE);
        if (vCounts[k] <= 0)
        {
            vCounts[k] = 0;
            u_Warning("Warning! MergeDistributedCube(): Unable to acquire a cube from compute device (Node #%d).\n",
                      nLeader + 1 + k);
        }
        nSum += vCounts[k];
        if (vCounts[k] > nMax)
            nMax = vCounts[k];
    }
    if (nSum == 0)
        return 0;

    // 3.
    const long long nTotal = nSum + (pLocal ? nz : 0);
    float* pAll = new (std::nothrow) float[(size_t)nTotal * nxy]();
    float* pRecv = new (std::nothrow) float[(size_t)nMax * nxy + 1]();
    if (!pAll || !pRecv)
    {
        u_Error("Error! Memory allocation error merging a cube (additional %g MB requested).\n",
                ((double)nTotal + nMax) * nxy * 4.0 / 1048576.0);
        delete[] pAll;
        delete[] pRecv;
        return -1;
    }

    // 4. Stacked by rank, the leader's planes first.
    long long nPlaced = 0;
    if (pLocal && nz > 0)
    {
        memcpy(pAll, pLocal, (size_t)nz * nxy * sizeof(float));
        nPlaced = nz;
    }
    for (int k = 0; k < nMembers; k++)
    {
        const int m = vCounts[k];
        if (m <= 0)
            continue;
        MPI_Recv(pRecv, (int)(nxy * m), MPI_FLOAT, nLeader + 1 + k, tag::kCubePiece, MPI_COMM_MT, MPI_STATUS_IGNORE);
        const long long nTake = nPlaced + m <= nTotal ? m : nTotal - nPlaced;
        if (nTake > 0)
            memcpy(pAll + (size_t)nPlaced * nxy, pRecv, (size_t)nTake * nxy * sizeof(float));
        nPlaced += nTake;
    }
    delete[] pRecv;

    // 5. Fewer than three planes make no cube file.
    if (nTotal < 3)
    {
        delete[] pAll;
        return 0;
    }
    *pNz = (int)nTotal;
    *ppAll = pAll;
    return 0;
}
