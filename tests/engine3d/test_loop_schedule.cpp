// What the loop decides by time: the source box, the seismogram samples, the
// S-wave ramp. Expected values are computed here from the definitions.

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <memory>

#include "FakeEngine.h"

namespace
{

struct Loop
{
    std::unique_ptr<COndexApp> app;
    std::unique_ptr<CFakeEngine> eng;

    Loop(int nType, double tStart, int nSteps, double dt, int nx, int ny)
    {
        app.reset(new COndexApp());
        app->m_Type = nType;
        app->m_t0 = 0.0;
        app->m_dt = dt;
        app->m_nFirstPoint = 1;
        app->m_nLastPoint = 1;
        eng.reset(new CFakeEngine(*app));
        eng->m_nShot = 1;
        eng->m_nx = nx;
        eng->m_ny = ny;
        eng->m_nz = 8;
        eng->m_nHalo = 2;
        eng->m_dt = dt;
        eng->m_tStart = tStart;
        // Half a step short of the next one, so that rounding cannot change the count.
        eng->m_tEnd = tStart + (nSteps - 0.5) * dt;
        eng->m_tCur = tStart;
        eng->m_bSuppressSV = false;
    }
};

// Half-width of the source box at a step, from its definition: one cell per
// step, standing at 60 while the time is negative, growing again from 60 at
// time 0. nNegative is the number of steps that start before time 0.
int BoxGrowth(int nStep, int nNegative)
{
    if (nStep < nNegative)
        return std::min(nStep, 60);
    int nHeld = std::max(0, (nNegative - 1) - 60);
    return nStep - nHeld;
}

} // namespace

// dt = 1/16 s and tStart = -5 s make the step times exact: steps 0..79 start
// before time 0, so the box stands from step 61 to 79 and grows again at 80.
TEST(SourceBox, GrowsHoldsBeforeTimeZeroAndIsReleased)
{
    const int nx = 200, ny = 200, h = 2;
    const int nSteps = 140, nNegative = 80;
    Loop f(101, -5.0, nSteps, 0.0625, nx, ny);
    f.eng->m_nBoxX0 = 100;
    f.eng->m_nBoxX1 = 101;
    f.eng->m_nBoxY0 = 90;
    f.eng->m_nBoxY1 = 95;
    ASSERT_EQ(0, f.eng->CalculateShared());
    auto u = f.eng->Calls("AcoU");
    ASSERT_EQ((size_t)nSteps, u.size());

    bool bReleased = false;
    int nReleaseStep = -1;
    for (int i = 0; i < nSteps; i++)
    {
        SCOPED_TRACE(i);
        int d = BoxGrowth(i, nNegative);
        int xl = 100 - d, xh = 101 + d, yl = 90 - d, yh = 95 + d;
        if (!bReleased && xl < h && yl < h && xh > nx - h - 1 && yh > ny - h - 1)
        {
            bReleased = true;
            nReleaseStep = i;
        }
        int ex0 = h, ex1 = nx - h - 1, ey0 = h, ey1 = ny - h - 1;
        if (!bReleased)
        {
            ex0 = std::max(xl, h);
            ex1 = std::min(xh, nx - h - 1);
            ey0 = std::max(yl, h);
            ey1 = std::min(yh, ny - h - 1);
        }
        EXPECT_EQ(ex0, u[i].ix0);
        EXPECT_EQ(ex1, u[i].ix1);
        EXPECT_EQ(ey0, u[i].iy0);
        EXPECT_EQ(ey1, u[i].iy1);
        // z is never cut.
        EXPECT_EQ(h, u[i].iz0);
        EXPECT_EQ(8 - h - 1, u[i].iz1);
        // Both operations of a step see the same box.
        auto tau = f.eng->Calls("AcoTau");
        EXPECT_EQ(u[i].ix0, tau[i].ix0);
        EXPECT_EQ(u[i].iy1, tau[i].iy1);
    }
    // Growth resumes at 61 at the first step at time 0, release later.
    EXPECT_EQ(100 - 60, u[79].ix0);
    EXPECT_EQ(100 - 61, u[80].ix0);
    EXPECT_EQ(100 - 60, u[61].ix0);
    ASSERT_GT(nReleaseStep, 80);
    EXPECT_EQ(0, f.eng->m_nBoxX0);
    EXPECT_EQ(0, f.eng->m_nBoxX1);
    EXPECT_EQ(0, f.eng->m_nBoxY0);
    EXPECT_EQ(0, f.eng->m_nBoxY1);
    EXPECT_EQ(0, f.eng->m_nBoxHold);
}

TEST(SourceBox, StartingAtTimeZeroGrowsFromStepZeroWithoutHold)
{
    Loop f(102, 0.0, 90, 0.0625, 300, 300);
    f.eng->m_nBoxX0 = f.eng->m_nBoxX1 = 150;
    f.eng->m_nBoxY0 = f.eng->m_nBoxY1 = 150;
    ASSERT_EQ(0, f.eng->CalculateShared());
    auto u = f.eng->Calls("ElaU");
    for (int i = 0; i < 90; i++)
    {
        EXPECT_EQ(150 - i, u[i].ix0) << i;
        EXPECT_EQ(150 + i, u[i].iy1) << i;
    }
    EXPECT_EQ(0, f.eng->m_nBoxHold);
}

// A source near the low x edge: x is clipped at the halo at once, but the
// box is released only when all four sides have passed the edges.
TEST(SourceBox, StuckOnOneSideKeepsCuttingTheOthers)
{
    const int n = 60, h = 2;
    Loop f(101, 0.0, 60, 0.0625, n, n);
    f.eng->m_nBoxX0 = f.eng->m_nBoxX1 = 3;
    f.eng->m_nBoxY0 = f.eng->m_nBoxY1 = 30;
    ASSERT_EQ(0, f.eng->CalculateShared());
    auto u = f.eng->Calls("AcoU");
    for (int i = 0; i < 60; i++)
    {
        SCOPED_TRACE(i);
        int xl = 3 - i, xh = 3 + i, yl = 30 - i, yh = 30 + i;
        bool bFree = xl < h && yl < h && xh > n - h - 1 && yh > n - h - 1;
        if (bFree)
        {
            EXPECT_EQ(h, u[i].ix0);
            EXPECT_EQ(n - h - 1, u[i].ix1);
            EXPECT_EQ(h, u[i].iy0);
            EXPECT_EQ(n - h - 1, u[i].iy1);
            continue;
        }
        EXPECT_EQ(std::max(xl, h), u[i].ix0);
        EXPECT_EQ(std::min(xh, n - h - 1), u[i].ix1);
        EXPECT_EQ(std::max(yl, h), u[i].iy0);
        EXPECT_EQ(std::min(yh, n - h - 1), u[i].iy1);
    }
    // At step 5 x is held at the halo while y is still cut to 25..35.
    EXPECT_EQ(h, u[5].ix0);
    EXPECT_EQ(25, u[5].iy0);
    EXPECT_EQ(35, u[5].iy1);
}

TEST(SourceBox, NoBoxMeansTheFullRange)
{
    Loop f(101, 0.0, 3, 0.0625, 40, 50);
    f.eng->m_nBoxX0 = 10;
    f.eng->m_nBoxY0 = 10;
    f.eng->m_nBoxX1 = 0;   // not positive: no box
    f.eng->m_nBoxY1 = 12;
    ASSERT_EQ(0, f.eng->CalculateShared());
    for (const FakeCall& c : f.eng->Calls("AcoU"))
    {
        EXPECT_EQ(2, c.ix0);
        EXPECT_EQ(37, c.ix1);
        EXPECT_EQ(2, c.iy0);
        EXPECT_EQ(47, c.iy1);
    }
}

// Seismogram samples lie on the job's own grid t0 + j * dtRec; sample j is
// taken at the end of the first step whose end time has reached it, at most
// one per step. Computed here in closed form for each sample.
TEST(Seismogram, SampleTimesOnACoarserRecordGrid)
{
    struct Case
    {
        double tStart, dt, t0, dtRec;
        int nSteps;
    } cases[] = {
        {-0.0625, 0.001, 0.0, 0.004, 400},     // record grid 4x the step grid
        {0.0004, 0.0015, 0.0, 0.002, 300},     // not a multiple of the step, never a tie
        {-0.03125, 0.0009765625, -0.05, 0.0029296875, 200},   // t0 before tStart: catching up
        {0.0, 0.002, 0.0, 0.002, 100},         // the same grid
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.dtRec);
        Loop f(101, c.tStart, c.nSteps, c.dt, 20, 20);
        f.app->m_t0 = c.t0;
        f.app->m_dt = c.dtRec;
        ASSERT_EQ(0, f.eng->CalculateShared());
        auto rec = f.eng->Calls("Record");

        // Expected step of each sample: end of step i is tStart + (i + 1) * dt.
        std::vector<int> vExpected;
        int nPrev = -1;
        for (int j = 0;; j++)
        {
            double tSample = c.t0 + j * c.dtRec;
            int i = (int)std::ceil((tSample - c.tStart) / c.dt - 1.0 - 1e-9);
            i = std::max(i, nPrev + 1);
            if (i >= c.nSteps)
                break;
            vExpected.push_back(i);
            nPrev = i;
        }
        ASSERT_EQ(vExpected.size(), rec.size());
        for (size_t k = 0; k < rec.size(); k++)
            EXPECT_EQ(vExpected[k], rec[k].nStep) << "sample " << k;
    }
}

// The S-wave ramp of the elastic schemes: 0 until (t - 1/f) / 3 turns
// positive, sin^2 of f * pi/2 * u after, 1 from u = 1/f on.
TEST(SWaveRamp, ValuesFollowTheFormula)
{
    const double f = 25.0, T = 1.0 / f, dt = 0.001, tStart = -0.08;
    const int nSteps = 300;
    Loop l(102, tStart, nSteps, dt, 20, 20);
    l.eng->m_bSuppressSV = true;
    l.eng->m_Signal.m_dFreq = f;
    ASSERT_EQ(0, l.eng->CalculateShared());
    auto u = l.eng->Calls("ElaU");
    ASSERT_EQ((size_t)nSteps, u.size());
    int nBetween = 0;
    for (int i = 0; i < nSteps; i++)
    {
        double t = tStart + i * dt;
        double uu = (t - T) / 3.0;
        double expected;
        if (uu <= 0.0)
            expected = 0.0;
        else if (uu >= T)
            expected = 1.0;
        else
        {
            double s = std::sin(M_PI / 2.0 * f * uu);
            expected = s * s;
            nBetween++;
        }
        EXPECT_NEAR(expected, u[i].fSWave, 2e-6) << "step " << i << " t " << t;
        EXPECT_DOUBLE_EQ(u[i].tCur, l.eng->Calls("ElaTau")[i].tCur);
    }
    EXPECT_GT(nBetween, 50);
    EXPECT_EQ(1.0f, u.back().fSWave);
}

TEST(SWaveRamp, OffOrAcousticLeavesTheFactor)
{
    Loop a(103, 0.0, 5, 0.001, 20, 20);
    a.eng->m_bSuppressSV = false;
    a.eng->m_fSWave = 0.25f;
    ASSERT_EQ(0, a.eng->CalculateShared());
    for (const FakeCall& c : a.eng->Calls("ElaU"))
        EXPECT_EQ(1.0f, c.fSWave);   // reset to 1 for every elastic step

    Loop b(101, 0.0, 5, 0.001, 20, 20);
    b.eng->m_bSuppressSV = true;
    b.eng->m_fSWave = 0.25f;
    ASSERT_EQ(0, b.eng->CalculateShared());
    for (const FakeCall& c : b.eng->Calls("AcoU"))
        EXPECT_EQ(0.25f, c.fSWave);   // the acoustic scheme has no ramp
}

// A record end so far beyond the time step that the step count leaves the
// int range is refused instead of running no step at all.
TEST(StepCount, BeyondTheIntRangeIsRefused)
{
    Loop f(101, 0.0, 1, 0.001, 20, 20);
    f.eng->m_tEnd = 1.0e12;
    EXPECT_EQ(-101, f.eng->CalculateShared());
    EXPECT_TRUE(f.eng->Calls("AcoU").empty());

    // The largest count that fits still runs (stopped here by a failing
    // first step, so as not to run two billion steps).
    Loop g(101, 0.0, 1, 1.0, 20, 20);
    g.eng->m_tEnd = (double)INT_MAX - 1.0;
    g.eng->m_nFailStep = 0;
    g.eng->m_nFailCode = -7;
    EXPECT_EQ(-7, g.eng->CalculateShared());
    EXPECT_EQ(1u, g.eng->Calls("AcoU").size());
}
