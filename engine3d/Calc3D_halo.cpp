// The halo exchange of a depth group. Every message is non-blocking on
// MPI_COMM_MT, one slab of h planes of one component, with the same tag in
// both directions. The slabs are handed out by the engine (the CPU engine
// gives the grid itself), so a receive writes straight into the halo.

#include "engine3d/Calc3D_halo.h"

#include "engine3d/Calc3D.h"
#include "run/MpiTags.h"
#include "run/OndexApp.h"

namespace
{
const int kVelocity[3] = {1, 2, 3};
// Stress components in the order they go out: xx, yy, zz, xy, xz, yz.
const int kStress[6] = {5, 6, 4, 7, 8, 9};
} // namespace

CHaloExchange::CHaloExchange(CCalc3D& calc, int nType, bool bFirst, bool bLast)
    : m_calc(calc), m_nStress(nType >= 102 ? 6 : 1), m_nNode(calc.m_pApp->m_nNode)
{
    m_bHas[kUp] = !bFirst;
    m_bHas[kDown] = !bLast;
    m_nCount = calc.m_nx * calc.m_ny * calc.m_nHalo;
    for (int d = 0; d < 2; d++)
        for (int c = 0; c < 10; c++)
        {
            m_pRecv[d][c] = m_pSend[d][c] = nullptr;
            m_req[d][c][0] = m_req[d][c][1] = MPI_REQUEST_NULL;
        }
}

// A failed shot returns in the middle of an exchange and the run ends; a
// finished one has waited on everything, so only the slabs are released.
CHaloExchange::~CHaloExchange()
{
    for (int d = 0; d < 2; d++)
        for (int c = 0; c < 10; c++)
        {
            if (m_pRecv[d][c])
                m_calc.FreeCalcPlane(&m_pRecv[d][c]);
            if (m_pSend[d][c])
                m_calc.FreeCalcPlane(&m_pSend[d][c]);
        }
}

int CHaloExchange::GetSlabs(int nDir, int c, bool bNoCopyRecv)
{
    const int h = m_calc.m_nHalo, nz = m_calc.m_nz;
    int r;
    if (nDir == kUp)
    {
        r = m_calc.GetCalcPlane(c, 0, h - 1, &m_pRecv[nDir][c], bNoCopyRecv);
        r |= m_calc.GetCalcPlane(c, h, 2 * h - 1, &m_pSend[nDir][c], false);
    }
    else
    {
        r = m_calc.GetCalcPlane(c, nz - 2 * h, nz - h - 1, &m_pSend[nDir][c], false);
        r |= m_calc.GetCalcPlane(c, nz - h, nz - 1, &m_pRecv[nDir][c], bNoCopyRecv);
    }
    return r;
}

int CHaloExchange::Post(int nDir, int c)
{
    if (!m_pRecv[nDir][c] || !m_pSend[nDir][c])
        return -1;   // the engine refused the slab: nothing to send from
    const int nPeer = nDir == kUp ? m_nNode - 1 : m_nNode + 1;
    int r = MPI_Irecv(m_pRecv[nDir][c], m_nCount, MPI_FLOAT, nPeer, tag::kHalo[c], MPI_COMM_MT, &m_req[nDir][c][0]);
    r |= MPI_Isend(m_pSend[nDir][c], m_nCount, MPI_FLOAT, nPeer, tag::kHalo[c], MPI_COMM_MT, &m_req[nDir][c][1]);
    return r;
}

int CHaloExchange::Begin(const int* pComp, int nComp, bool bVelocity)
{
    int r = 0;
    for (int d = kUp; d <= kDown; d++)
    {
        if (!m_bHas[d])
            continue;
        if (bVelocity)
        {
            // The velocity halos are wholly overwritten: their old content
            // need not be read from a device.
            for (int i = 0; i < nComp; i++)
                r |= GetSlabs(d, pComp[i], true);
            for (int i = 0; i < nComp && r == 0; i++)
                r |= Post(d, pComp[i]);
        }
        else
        {
            for (int i = 0; i < nComp && r == 0; i++)
            {
                r |= GetSlabs(d, pComp[i], false);
                if (r == 0)
                    r |= Post(d, pComp[i]);
            }
        }
    }
    return r;
}

int CHaloExchange::End(const int* pComp, int nComp)
{
    const int h = m_calc.m_nHalo, nz = m_calc.m_nz;
    int r = 0;
    for (int d = kUp; d <= kDown; d++)
    {
        if (!m_bHas[d])
            continue;
        for (int i = 0; i < nComp; i++)
        {
            const int c = pComp[i];
            r |= MPI_Wait(&m_req[d][c][0], MPI_STATUS_IGNORE);
            r |= MPI_Wait(&m_req[d][c][1], MPI_STATUS_IGNORE);
            if (!m_pRecv[d][c])
                continue;
            if (d == kUp)
                r |= m_calc.SetCalcPlane(c, 0, h - 1, m_pRecv[d][c]);
            else
                r |= m_calc.SetCalcPlane(c, nz - h, nz - 1, m_pRecv[d][c]);
        }
    }
    return r;
}

int CHaloExchange::BeginVelocity()
{
    return Begin(kVelocity, 3, true);
}

int CHaloExchange::EndVelocity()
{
    return End(kVelocity, 3);
}

int CHaloExchange::BeginStress()
{
    return Begin(kStress, m_nStress, false);
}

int CHaloExchange::EndStress()
{
    return End(kStress, m_nStress);
}
