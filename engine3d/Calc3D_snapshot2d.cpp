// CCalc3D::AppendVmg2DSnapshot: one X-Z plane of the wave field through the
// shot, resampled onto a square grid over the user area and appended to the
// shot's VMG film as one more row.

#include "engine3d/Calc3D.h"

#include <cstring>
#include <mpi.h>
#include <new>
#include <vector>

#include "base/Output.h"
#include "files/SdsPC.h"
#include "run/MpiTags.h"
#include "run/OndexApp.h"

// The film holds four planes per row; further letters are grabbed (the
// device may check them) but not stored.
static const int kMaxLetters = 8;
static const int kStoredLetters = 4;

static int JoinGroupSnapshot(CCalc3D& calc, const char* pszFile, const char* pszComponents, double rStep,
                             float* pAll, int cx, int cy, int nLetters);

int CCalc3D::AppendVmg2DSnapshot(const char* pszFile, char /*cPlane*/, const char* pszComponents, double rStep,
                                 bool /*bCreate*/)
{
    if (!pszFile || !pszComponents || !(rStep > 0.0) || !(m_dx > 0.0))
        return -1;

    // The plane stands at the shot's row plus the offset, as the grab takes
    // it. Off the grid the grab would hand back whatever its buffer held, so
    // the shot keeps no film: said once, at its first due time, and the shot
    // goes on for its gathers.
    const int nRow = (int)((m_ptShot.y - m_cubeGrid.y0) / m_dx + 0.5) + (int)(m_dSnapYOffset / m_dx + 0.5);
    // The row is the same on all nodes of a group, so they all leave here alike.
    if (nRow < 0 || nRow >= m_ny)
    {
        if (m_tSnapNext == m_tSnap0)
            u_Warning("Warning! The 2D snapshot plane (Y Offset %g m) lies outside the grid of shot %d: "
                      "no 2D snapshots are written.\n",
                      m_dSnapYOffset, m_nShot);
        return 0;
    }

    // 1. Output size over the user area.
    const CCubeR area = GetRealUserArea();
    const double x0 = area.x0, x1 = area.x1, z0 = area.z0, z1 = area.z1;
    const int cx = (int)((x1 - x0) / rStep + 1.5);
    const int cy = (int)((z1 - z0) / rStep + 1.5);
    const int nLetters = (int)strnlen(pszComponents, kMaxLetters);
    const size_t nPlane = cx > 0 && cy > 0 ? (size_t)cx * (size_t)cy : 0;

    // 2. All planes in one block.
    float* pAll = nullptr;
    if (nPlane * (size_t)nLetters > 0)
    {
        pAll = new (std::nothrow) float[nPlane * (size_t)nLetters];
        if (!pAll)
        {
            u_Error("Error! Memory Allocation Error in CCalc2D::AppendVmg2DSnapshot\n");
            return -1;
        }
    }

    // 3. Grab and resample each component. A size of 1 samples the area's
    // first line instead of dividing by zero.
    const double gx0 = m_cubeGrid.x0, gx1 = m_cubeGrid.x1, gz0 = m_cubeGrid.z0, gz1 = m_cubeGrid.z1;
    const double fx = gx1 > gx0 ? (m_nx - 1) / (gx1 - gx0) : 0.0;
    const double fz = gz1 > gz0 ? (m_nz - 1) / (gz1 - gz0) : 0.0;
    const double sx = cx > 1 ? (x1 - x0) / (cx - 1) : 0.0;
    const double sz = cy > 1 ? (z1 - z0) / (cy - 1) : 0.0;
    const CSizeN grid(m_nx, m_nz);
    for (int l = 0; l < nLetters && pAll; l++)
    {
        const float* p = Grab2DSnapshot('X', pszComponents[l]);
        if (!p)
        {
            u_Error("Error! Unable to acquire 2D snapshot from compute device.\n");
            delete[] pAll;
            return -1;
        }
        float* pOut = pAll + (size_t)l * nPlane;
        for (int j = 0; j < cy; j++)
        {
            const double b = (j * sz + (z0 - gz0)) * fz;
            for (int i = 0; i < cx; i++)
            {
                const double a = (i * sx + (x0 - gx0)) * fx;
                pOut[(size_t)j * cx + i] = (float)biline(grid, p, a, b);
            }
        }
    }

    // 5, 6. A depth group joins its rows at the leader.
    if (m_pApp->m_nGroupSize > 1)
        return JoinGroupSnapshot(*this, pszFile, pszComponents, rStep, pAll, cx, cy, nLetters);

    // 4. One node: the row goes to the film.
    char szLetters[kStoredLetters + 1] = {0, 0, 0, 0, 0};
    float* pp[kStoredLetters] = {nullptr, nullptr, nullptr, nullptr};
    for (int l = 0; l < nLetters && l < kStoredLetters && pAll; l++)
    {
        szLetters[l] = pszComponents[l];
        pp[l] = pAll + (size_t)l * nPlane;
    }
    C3DSizeN size(cx, cy, 1);
    CCubeR cube(x0, z0, m_tSnapNext, x1, z1, m_tSnapNext);
    CPointR ptSource(m_ptShot.x, m_ptShot.z);
    CSdsPC vmg;
    const bool bOk = vmg.OnAddToVMG_SNAP(pszFile, size, cube, szLetters, ptSource, pp[0], pp[1], pp[2], pp[3]);
    delete[] pAll;
    if (!bOk)
    {
        // The shot stops on this result; the line says why.
        u_Error("Error! Unable to write the 2D snapshot (t=%g) to file '%s'.\n", m_tSnapNext, pszFile);
        return 1;
    }
    return 0;
}

// A member sends its rows; the leader stacks them under its own in rank
// order and writes the row of the film. pAll (cx * cy * nLetters floats,
// may be null) is released here.
static int JoinGroupSnapshot(CCalc3D& calc, const char* pszFile, const char* pszComponents, double rStep, float* pAll, int cx,
                               int cy, int nLetters)
{
    const COndexApp& job = *calc.m_pApp;
    const int nLeader = job.m_nNode - job.m_nGroupRank;
    const size_t nPlane = cx > 0 && cy > 0 ? (size_t)cx * (size_t)cy : 0;
    if (job.m_nGroupRank != 0)
    {
        int nRows = pAll ? cy : 0;
        MPI_Send(&nRows, 1, MPI_INT, nLeader, tag::kSnap2DCount, MPI_COMM_MT);
        if (nRows > 0)
            MPI_Send(pAll, (int)(nPlane * nLetters), MPI_FLOAT, nLeader, tag::kSnap2DRows, MPI_COMM_MT);
        delete[] pAll;
        return 0;
    }

    const CCubeR area = calc.GetRealUserArea();
    const double x0 = area.x0, x1 = area.x1, z0 = area.z0;
    const double zAll = z0 + (calc.m_nZAll - 2 * calc.m_nTaper) * calc.m_dx;
    const int cyAll = (int)((zAll - z0) / rStep + 1.5);
    const size_t nWhole = cx > 0 && cyAll > 0 ? (size_t)cx * (size_t)cyAll : 0;
    std::vector<float> vAll, vRecv;
    try
    {
        vAll.assign(nWhole * nLetters, 0.0f);
    }
    catch (const std::bad_alloc&)
    {
        u_Error("Error! Memory Allocation Error in CCalc2D::AppendVmg2DSnapshot\n");
        delete[] pAll;
        return 0;   // the members' rows stay unread; the run goes on without this row
    }
    // Rows placed so far in each plane; the leader's own first.
    int nPlaced = 0;
    auto place = [&](const float* pRows, int nRows) {
        for (int l = 0; l < nLetters; l++)
            for (int j = 0; j < nRows && nPlaced + j < cyAll; j++)
                for (int i = 0; i < cx; i++)
                    vAll[(size_t)l * nWhole + (size_t)(nPlaced + j) * cx + i] =
                        pRows[(size_t)l * cx * nRows + (size_t)j * cx + i];
        nPlaced += nRows;
    };
    if (pAll)
        place(pAll, cy);
    delete[] pAll;
    for (int k = 1; k < job.m_nGroupSize; k++)
    {
        int m = 0;
        MPI_Recv(&m, 1, MPI_INT, nLeader + k, tag::kSnap2DCount, MPI_COMM_MT, MPI_STATUS_IGNORE);
        if (m <= 0)
            continue;
        const size_t nNeed = (size_t)cx * m * nLetters;
        try
        {
            if (vRecv.size() < nNeed)
                vRecv.resize(nNeed);
        }
        catch (const std::bad_alloc&)
        {
            u_Error("Error! Memory Allocation Error in CCalc2D::AppendVmg2DSnapshot\n");
            return 0;
        }
        MPI_Recv(vRecv.data(), (int)nNeed, MPI_FLOAT, nLeader + k, tag::kSnap2DRows, MPI_COMM_MT, MPI_STATUS_IGNORE);
        place(vRecv.data(), m);
    }

    char szLetters[kStoredLetters + 1] = {0, 0, 0, 0, 0};
    float* pp[kStoredLetters] = {nullptr, nullptr, nullptr, nullptr};
    for (int l = 0; l < nLetters && l < kStoredLetters && nWhole > 0; l++)
    {
        szLetters[l] = pszComponents[l];
        pp[l] = vAll.data() + (size_t)l * nWhole;
    }
    C3DSizeN size(cx, cyAll, 1);
    CCubeR cube(x0, z0, calc.m_tSnapNext, x1, zAll, calc.m_tSnapNext);
    CPointR ptSource(calc.m_ptShot.x, calc.m_ptShot.z);
    CSdsPC vmg;
    if (!vmg.OnAddToVMG_SNAP(pszFile, size, cube, szLetters, ptSource, pp[0], pp[1], pp[2], pp[3]))
    {
        u_Error("Error! Unable to write the 2D snapshot (t=%g) to file '%s'.\n", calc.m_tSnapNext, pszFile);
        return 1;
    }
    return 0;
}
