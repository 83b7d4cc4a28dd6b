// The shared-memory time loop driven through a recording fake engine: call
// order, step counts, failures, the terminate request and the seismogram samples.

#include <gtest/gtest.h>
#include <mpi.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>
#include <string>

#include "FakeEngine.h"

namespace
{

struct LoopFixture : FakeJob
{
    // A 20 x 30 x 10 grid; the loop runs from tStart to tEnd with step dt.
    LoopFixture(int nType, double tStart, double tEnd, double dt) : FakeJob(nType)
    {
        app->m_t0 = tStart, app->m_dt = dt, app->m_t1 = tEnd, app->m_nFirstPoint = app->m_nLastPoint = 1;
        eng->m_nShot = 1, eng->m_nx = 20, eng->m_ny = 30, eng->m_nz = 10, eng->m_dt = dt;
        eng->m_tStart = eng->m_tCur = tStart, eng->m_tEnd = tEnd, eng->m_bSuppressSV = false;
    }
};

std::vector<std::string> Names(const CFakeEngine& e)
{
    std::vector<std::string> v;
    for (const FakeCall& c : e.m_vCalls)
        v.push_back(c.strName);
    return v;
}

} // namespace

// The operations of one step come in the fixed order, with each method's pair
// of scheme operations, the signal only while it lasts, the time field on
// every fifth step from step 0.
TEST(TimeLoop, CallOrderPerStepForEachMethod)
{
    struct Case { int nType; const char *pszU, *pszTau; } cases[] = {
        {101, "AcoU", "AcoTau"}, {102, "ElaU", "ElaTau"}, {103, "ElaU", "OrtTau"}, {104, "ElaU", "AniTau"}};
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.nType);
        // dt = 1/8 s is exact, so the 7 steps and the record grid leave no doubt.
        LoopFixture f(c.nType, 0.0, 0.75, 0.125);
        f.eng->m_Signal.m_nLen = 2;
        f.eng->m_nTimeField = 1;
        ASSERT_EQ(0, f.eng->CalculateShared());

        std::vector<std::string> expected;
        for (int nStep = 0; nStep < 7; nStep++)
        {
            if (nStep < 2)
                expected.push_back("ApplySignal");
            expected.push_back(c.pszU);
            expected.push_back(c.pszTau);
            if (nStep % 5 == 0)
                expected.push_back("TimeField");
            expected.push_back("Record");
        }
        EXPECT_EQ(expected, Names(*f.eng));
        // The loop time has moved by exactly seven steps.
        EXPECT_DOUBLE_EQ(0.875, f.eng->m_tCur);
        // ApplySignal receives the step number.
        auto apply = f.eng->Calls("ApplySignal");
        ASSERT_EQ(2u, apply.size());
        EXPECT_EQ(0, apply[0].nArg);
        EXPECT_EQ(1, apply[1].nArg);
    }
}

// Step count: trunc((tEnd - tStart) / dt) + 1, the lead-in before 0
// included; the signal is applied only on steps the run has.
TEST(TimeLoop, StepCountAndSignalSteps)
{
    struct Case { int nType; double tStart, tEnd, dt; int nSignalLen; const char* pszU;
        size_t nSteps, nSignalSteps; } cases[] = {
        {102, 0.3, 0.3, 0.001, 100, "ElaU", 1, 1},       // end equal to start: exactly one step
        {101, 0.0, 0.5, 0.125, 50, "AcoU", 5, 5},        // a signal longer than the run is cut off
        {101, -0.25, 1.0, 0.125, 0, "AcoU", 11, 0},      // (1.25 / 0.125) + 1
        {101, 0.0, 1.0, 0.3, 0, "AcoU", 4, 0},           // trunc(3.33) + 1: the last ends past tEnd
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::to_string(c.tStart) + ".." + std::to_string(c.tEnd) + " by " + std::to_string(c.dt));
        LoopFixture f(c.nType, c.tStart, c.tEnd, c.dt);
        f.eng->m_Signal.m_nLen = c.nSignalLen;
        ASSERT_EQ(0, f.eng->CalculateShared());
        EXPECT_EQ(c.nSteps, f.eng->Calls(c.pszU).size());
        EXPECT_EQ(c.nSteps, f.eng->Calls(c.nType == 101 ? "AcoTau" : "ElaTau").size());
        EXPECT_EQ(c.nSignalSteps, f.eng->Calls("ApplySignal").size());
    }
}

// A failing step ends the shot with its code, once the loop time has moved
// past it: a NaN the scheme finds (-150), a failing stress step, signal or
// recording; nothing more of that step happens.
TEST(TimeLoop, FailuresStopTheShotWithTheirCode)
{
    // pszOp: counted, and the last call after a failing stress step.
    struct Case { int nType, nNaN, nFail, nCode, nApply, nRecord; const char* pszOp; size_t nOps, nRecords; } cases[] = {
        {103, 3, -1, 0, 0, 0, "OrtTau", 4, 3},   {104, -1, 3, -150, 0, 0, "AniTau", 4, 3},
        {104, -1, 3, -7, 0, 0, "AniTau", 4, 3},  {104, -1, 3, 3, 0, 0, "AniTau", 4, 3},
        {101, -1, -1, 0, -9, 0, "AcoU", 0, 0},   {101, -1, -1, 0, 0, -4, "AcoU", 1, 1},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.pszOp + std::to_string(c.nCode + c.nApply + c.nRecord));
        LoopFixture f(c.nType, 0.0, 1.0, 0.125);
        f.eng->m_Signal.m_nLen = 3;
        f.eng->m_nTimeField = 1;
        f.eng->m_nNaNStep = c.nNaN;
        f.eng->m_nFailStep = c.nFail;
        f.eng->m_nFailCode = c.nCode;
        f.eng->m_nApplyFail = c.nApply;
        f.eng->m_nRecordFail = c.nRecord;
        EXPECT_EQ(c.nNaN >= 0 ? -150 : c.nCode + c.nApply + c.nRecord, f.eng->CalculateShared());
        EXPECT_EQ(c.nOps, f.eng->Calls(c.pszOp).size());
        EXPECT_EQ(c.nRecords, f.eng->Calls("Record").size());
        if (c.nOps == 4)
        {
            EXPECT_EQ(c.pszOp, f.eng->m_vCalls.back().strName);
            EXPECT_EQ(1u, f.eng->Calls("TimeField").size());   // step 0 only
            EXPECT_DOUBLE_EQ(0.5, f.eng->m_tCur);
        }
    }
}

// A terminate message of the boss (tag 41) ends the shot before anything of
// the step is done, and is left for its owner to receive.
TEST(TimeLoop, TerminateRequestEndsTheShot)
{
    int nRank = -1;
    MPI_Comm_rank(MPI_COMM_WORLD, &nRank);
    if (nRank != 0)
        GTEST_SKIP() << "needs world rank 0";
    int nDie = 1;
    MPI_Request req;
    MPI_Isend(&nDie, 1, MPI_INT, 0, 41, MPI_COMM_WORLD, &req);

    LoopFixture f(101, 0.0, 1.0, 0.125);
    f.eng->m_Signal.m_nLen = 5;
    EXPECT_EQ(-1000, f.eng->CalculateShared());
    EXPECT_TRUE(f.eng->m_vCalls.empty());

    // Still pending: receive it here so that other tests do not see it.
    int nFlag = 0;
    MPI_Status st;
    MPI_Iprobe(0, 41, MPI_COMM_WORLD, &nFlag, &st);
    EXPECT_TRUE(nFlag);
    int nGot = 0;
    MPI_Recv(&nGot, 1, MPI_INT, 0, 41, MPI_COMM_WORLD, &st);
    MPI_Wait(&req, MPI_STATUS_IGNORE);
    EXPECT_EQ(1, nGot);
}

// Seismogram samples lie on the job's own grid t0 + j * dtRec; sample j is
// taken at the end of the first step whose end time has reached it, at most
// one per step. Computed here in closed form for each sample.
TEST(Seismogram, SampleTimesOnACoarserRecordGrid)
{
    struct Case { double tStart, dt, t0, dtRec; int nSteps; } cases[] = {
        {-0.0625, 0.001, 0.0, 0.004, 400},     // record grid 4x the step grid
        {0.0004, 0.0015, 0.0, 0.002, 300},     // not a multiple of the step, never a tie
        {-0.03125, 0.0009765625, -0.05, 0.0029296875, 200},   // t0 before tStart: catching up
        {0.0, 0.002, 0.0, 0.002, 100},         // the same grid
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.dtRec);
        // Half a step short of the last one, so that rounding cannot change the count.
        LoopFixture f(101, c.tStart, c.tStart + (c.nSteps - 0.5) * c.dt, c.dt);
        f.app->m_t0 = c.t0;
        f.app->m_dt = c.dtRec;
        ASSERT_EQ(0, f.eng->CalculateShared());
        // Expected step of each sample: end of step i is tStart + (i + 1) * dt.
        std::vector<int> vExpected, vGot;
        for (int j = 0, i = -1;; j++)
        {
            i = std::max((int)std::ceil((c.t0 + j * c.dtRec - c.tStart) / c.dt - 1.0 - 1e-9), i + 1);
            if (i >= c.nSteps)
                break;
            vExpected.push_back(i);
        }
        for (const FakeCall& r : f.eng->Calls("Record"))
            vGot.push_back(r.nStep);
        EXPECT_EQ(vExpected, vGot);
    }
}

// A record end so far beyond the time step that the step count leaves the
// int range is refused instead of running no step at all.
TEST(StepCount, BeyondTheIntRangeIsRefused)
{
    LoopFixture f(101, 0.0, 0.0005, 0.001);
    f.eng->m_tEnd = 1.0e12;
    EXPECT_EQ(-101, f.eng->CalculateShared());
    EXPECT_TRUE(f.eng->Calls("AcoU").empty());

    // The largest count that fits still runs (stopped here by a failing
    // first step, so as not to run two billion steps).
    LoopFixture g(101, 0.0, 0.5, 1.0);
    g.eng->m_tEnd = (double)INT_MAX - 1.0;
    g.eng->m_nFailStep = 0;
    g.eng->m_nFailCode = -7;
    EXPECT_EQ(-7, g.eng->CalculateShared());
    EXPECT_EQ(1u, g.eng->Calls("AcoU").size());
}
