// 3D snapshots: whole wave-field cubes at the listed times of the listed
// shots, one SEG-Y cube per component and time, one trace per (X, Y) node
// with depth along the samples, so that it reads back like a model cube.

#include "base/Pending.h"
#include "engine3d/Calc3D.h"

#include <chrono>
#include <cstring>
#include <vector>

#include "base/Output.h"
#include "files/SdsPC.h"
#include "run/OndexApp.h"

ONDEX_PENDING("3D snapshots of a depth group (MergeDistributedCube)");

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

int CCalc3D::Save3DSnapshots()
{
    // 1, 2. The first listed time this step has passed; later ones of the
    // same step are passed over.
    if (!m_b3DSnapshots)
        return 0;
    double tDue = 0.0;
    bool bDue = false;
    for (double t : m_vSnapTimes)
    {
        if (m_t3DSnapLast < t && t <= m_tCur)
        {
            tDue = t;
            bDue = true;
            break;
        }
    }
    if (!bDue)
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

    // 5. Depth groups stack their planes at the leader; not built yet.
    if (m_pApp->m_nGroupSize > 1)
    {
        float* pAll = nullptr;
        int nAll = 0;
        MergeDistributedCube(m_pApp, CCubeN(0, 0, 0, nz - 1, ny - 1, nx - 1), &nAll, pCube, &pAll);
        delete[] pCube;
        delete[] pAll;
        return 0;
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

// Stacking the planes of a depth group at its leader waits for the
// distributed time loop. Every node refuses alike, so no send waits for a
// receive that never comes.
int CCalc3D::MergeDistributedCube(COndexApp*, const CCubeN&, int* pNz, float*, float** ppAll)
{
    if (pNz)
        *pNz = 0;
    if (ppAll)
        *ppAll = nullptr;
    return u_NotBuilt("3D snapshots of a depth group (MergeDistributedCube)");
}
