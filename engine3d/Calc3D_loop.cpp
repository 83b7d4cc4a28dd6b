// CCalc3D::CalculateShared: the time loop of a shot computed by one process.

#include "engine3d/Calc3D.h"

#include <climits>

#include <mpi.h>

#include "base/Output.h"
#include "files/SdsPC.h"
#include "run/OndexApp.h"
#include "run/MpiTags.h"

// Non-blocking look for the boss's terminate message (tag 41). The message
// is left pending: its owner receives it.
static bool TerminateRequested()
{
    int nInit = 0;
    MPI_Initialized(&nInit);
    if (!nInit)
        return false;
    int nFlag = 0;
    MPI_Status status;
    MPI_Iprobe(0, tag::kTerminate, MPI_COMM_WORLD, &nFlag, &status);
    return nFlag != 0;
}

int CCalc3D::CalculateShared()
{
    // Guards the step count against a time step that would never end the loop.
    int nSteps = 0;
    if (StepCount(nSteps) != 0)
        return -101;
    double tRecord = m_pApp->m_t0;
    Init3DSnapshots();

    const int h = m_nHalo;
    for (int nStep = 0; nStep < nSteps; nStep++)
    {
        // 1. Terminate probe.
        if (TerminateRequested())
        {
            u_Error("Error! Received an urgent terminate request by the boss (Node #0).\n");
            return -1000;
        }

        // 2. Computation box: the outer h cells are never computed.
        // 3. Source box.
        const int iz0 = h, iz1 = m_nz - h - 1;
        int iy0, iy1, ix0, ix1;
        SourceBox(nStep, iy0, iy1, ix0, ix1);

        // 4. Source.
        if (nStep < m_Signal.m_nLen)
        {
            int r = ApplySignal(nStep);
            if (r != 0)
            {
                u_Error("Error! Unable to apply signal in %d simulation step.\n", nStep);
                return r;
            }
        }

        // 5. Scheme, with the S-wave ramp for the elastic methods. A step
        // after which nothing is injected, recorded or saved goes together
        // with the next one, in one pass over memory.
        const int nType = m_pApp->m_Type;
        const bool bPair = PairAhead(nStep, nSteps, tRecord);
        if (nType >= 102 && nType <= 104)
        {
            double tNext = m_tCur;
            tNext += m_dt;   // the time the next step starts at, formed as the loop forms it
            m_fSWave = RampAt(m_tCur);
            m_fSWaveNext = RampAt(tNext);
        }
        int r = bPair ? PropagatePair(nType, iz0, iy0, ix0, iz1, iy1, ix1)
                      : PropagateStep(nType, iz0, iy0, ix0, iz1, iy1, ix1);
        // The first step of a pair ends with nothing due (PairAhead), so its
        // end of step is the plain one; a failure of the pair ends the shot there.
        if (bPair)
        {
            r = EndOfStep(nStep, nSteps, r, tRecord);
            if (r != 0)
                return r;
            nStep++;
        }
        r = EndOfStep(nStep, nSteps, r, tRecord);
        if (r != 0)
            return r;
    }
    return 0;
}

// Steps 6 to 12 of the loop: time, failure, time field, seismogram,
// snapshots, progress.
int CCalc3D::EndOfStep(int nStep, int nSteps, int r, double& tRecord)
{
    r = AfterScheme(nStep, r, tRecord, true);
    if (r != 0)
        return r;

    // 10. 2D snapshot of every Every-th shot.
    if (Snapshot2DDue(m_tCur))
    {
        double rStep = CSdsPC::COOR_SCALER < 0 ? 1.0 : 10.0;
        CString strSnap = GetFileName(1, ' ', false, false, 0.0);
        r = AppendVmg2DSnapshot(strSnap, 'X', "ZXYC", rStep, false);
        m_tSnapNext += m_dSnapDt;
        if (r != 0)
            return r;
    }

    // 11. 3D snapshots decide by themselves whether this step is due.
    r = Save3DSnapshots();
    if (r != 0)
        return r;

    // 12. Progress.
    ReportProgress(nStep, nSteps);
    return 0;
}

// The shot's and the job's percentage after step nStep, of both time loops.
void CCalc3D::ReportProgress(int nStep, int nSteps)
{
    float s = (float)(nStep + 1);
    float p = s / (float)nSteps;
    int nPercent = (int)(100.0f * p);
    int n = m_pApp->m_nLastPoint - m_pApp->m_nFirstPoint + 1;
    if (n < 1)
        n = 1;   // an unset shot range must not divide by zero
    int nOverall = (int)(((float)(m_nShot - m_pApp->m_nFirstPoint) / (float)n + p / (float)n) * 100.0f);
    u_Percent(nPercent, nOverall, m_nShot, m_pApp->m_nLastPoint);
}

// Steps 6 to 9, of both time loops: time (also after a failed step),
// scheme failure, the time field every fifth step from step 0, at most one
// seismogram sample per step on the job's own grid (where bRecord).
int CCalc3D::AfterScheme(int nStep, int r, double& tRecord, bool bRecord)
{
    m_tCur += m_dt;
    if (r == -150)
    {
        u_Error("!!!WARNING: The calculation scheme is unstable: further calculations are impossible! Please decrease dt.\n");
        return r;
    }
    if (r != 0)
    {
        u_Error("Error! Unable to calculate simulation step %d.\n", nStep);
        return r;
    }
    if (m_nTimeField != 0 && nStep % 5 == 0)
    {
        r = PropagateTimeField();
        if (r != 0)
        {
            u_Error("Error! Unable to propagate time field (%d) in simulation step %d.\n", m_nTimeField, nStep);
            return r;
        }
    }
    if (bRecord && m_tCur >= tRecord)
    {
        r = RecordSeismogram();
        if (r != 0)
        {
            u_Error("Error! Unable to record seismogram on simulation step %d.\n", nStep);
            return r;
        }
        tRecord += m_pApp->m_dt;
    }
    return 0;
}

bool CCalc3D::Snapshot2DDue(double tCur) const
{
    return m_nSnapEvery > 0 && (m_nShot - 1) % m_nSnapEvery == 0 && tCur >= m_tSnapNext;
}

// Whether step nStep (its source already applied) may run together with the
// next: both exist, the next injects nothing, both compute the whole grid
// (the source box has grown out for good), and nothing is due at the end of
// this one: no time field, seismogram sample, film frame or 3D snapshot.
// The times are formed as the loop forms them, so the answer is exact.
bool CCalc3D::PairAhead(int nStep, int nSteps, double tRecord) const
{
    if (nStep + 1 >= nSteps || nStep + 1 < m_Signal.m_nLen)
        return false;
    if (m_nBoxY1 > 0 && m_nBoxX1 > 0)
        return false;
    if (m_nTimeField != 0 && nStep % 5 == 0)
        return false;
    double t = m_tCur;
    t += m_dt;
    double tDue = 0.0;
    return !(t >= tRecord) && !Snapshot2DDue(t) && !Snapshot3DDue(t, tDue);
}

int CCalc3D::StepCount(int& nSteps) const
{
    if (!(m_dt > 0.0))
    {
        u_Error("Error! Incorrect time tact dt=%g specified!\n", m_dt);
        return -101;
    }
    // A step count beyond an int (a record end far beyond the time step)
    // would wrap around and end the shot silently with nothing computed.
    const double dSteps = (m_tEnd - m_tStart) / m_dt;
    if (!(dSteps < (double)INT_MAX))
    {
        u_Error("Error! The time step dt=%g gives too many simulation steps up to t=%g.\n", m_dt, m_tEnd);
        return -101;
    }
    nSteps = (int)dSteps + 1;
    return 0;
}

// The rows and columns computed in a step: the whole plane less the halo,
// or while the wave is young a box around the sources that grows one cell
// per step and stands still at 60 cells during the signal's lead-in before
// time 0. It never cuts the depth.
void CCalc3D::SourceBox(int nStep, int& iy0, int& iy1, int& ix0, int& ix1)
{
    const int h = m_nHalo;
    iy0 = h;
    iy1 = m_ny - h - 1;
    ix0 = h;
    ix1 = m_nx - h - 1;
    const int nEndY = iy1, nEndX = ix1;
    if (m_nBoxY1 <= 0 || m_nBoxX1 <= 0)
        return;
    int d = nStep;
    if (m_tCur < 0.0 && nStep > 60)
    {
        m_nBoxHold = nStep - 60;
        d = 60;
    }
    if (m_tCur >= 0.0 && m_nBoxHold > 0)
        d -= m_nBoxHold;
    const int xl = m_nBoxX0 - d, yl = m_nBoxY0 - d;
    const int xh = m_nBoxX1 + d, yh = m_nBoxY1 + d;
    if (xl < h && yl < h && xh > nEndX && yh > nEndY)
    {
        m_nBoxY0 = m_nBoxX0 = m_nBoxY1 = m_nBoxX1 = 0;
        m_nBoxHold = 0;
        return;
    }
    ix0 = xl > h ? xl : h;
    ix1 = xh < nEndX ? xh : nEndX;
    iy0 = yl > h ? yl : h;
    iy1 = yh < nEndY ? yh : nEndY;
}
