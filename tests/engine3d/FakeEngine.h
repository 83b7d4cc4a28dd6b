#pragma once
// A CCalc3D whose wave-field operations only record that they were called,
// with the box and the loop state they saw, so that the time loop can be
// checked without any scheme.

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "engine3d/Calc3D.h"
#include "run/OndexApp.h"

struct FakeCall
{
    std::string strName;
    int nStep;   // the loop step, counted by the fake from the velocity calls
    int nArg;    // ApplySignal's step
};

class CFakeEngine : public CCalc3D
{
public:
    explicit CFakeEngine(COndexApp& app) : CCalc3D(app) {}

    std::vector<FakeCall> m_vCalls;
    int m_nStepSeen = -1;        // advanced by each velocity update: one per step
    int m_nFailStep = -1;        // the step whose stress update fails
    int m_nFailCode = 0;         // its result
    int m_nApplyFail = 0;        // ApplySignal result
    int m_nRecordFail = 0;       // RecordSeismogram result
    int m_nNaNStep = -1;         // the velocity update of this step leaves a NaN
    float m_fField = 0.0f;       // the one cell of the fake's field

    void Log(const char* pszName, int nArg = 0) { m_vCalls.push_back({pszName, m_nStepSeen, nArg}); }
    std::vector<FakeCall> Calls(const char* pszName) const
    {
        std::vector<FakeCall> v;
        for (const FakeCall& c : m_vCalls)
            if (c.strName == pszName)
                v.push_back(c);
        return v;
    }

    int AllocateMemory(bool, bool) override { Log("AllocateMemory"); return 0; }
    int AllocateMemorySeismogram() override { Log("AllocateMemorySeismogram"); return 0; }
    int FreeMemory(bool, bool, bool, bool, bool) override { Log("FreeMemory"); return 0; }
    int LoadModel() override { Log("LoadModel"); return 0; }
    int ApplySignal(int nStep) override { Log("ApplySignal", nStep); return m_nApplyFail; }
    int Velocity(const char* pszName)
    {
        if (++m_nStepSeen == m_nNaNStep)
            m_fField = std::nanf("");
        Log(pszName);
        return 0;
    }
    int Stress(const char* pszName)   // -150 as a scheme reports a blow-up
    {
        Log(pszName);
        return std::isnan(m_fField) ? -150 : m_nStepSeen == m_nFailStep ? m_nFailCode : 0;
    }
    int PropagateAcoWaveU(int, int, int, int, int, int) override { return Velocity("AcoU"); }
    int PropagateAcoWaveTau(int, int, int, int, int, int) override { return Stress("AcoTau"); }
    int PropagateElaWaveU(int, int, int, int, int, int) override { return Velocity("ElaU"); }
    int PropagateElaWaveTau(int, int, int, int, int, int) override { return Stress("ElaTau"); }
    int PropagateOrtWaveTau(int, int, int, int, int, int) override { return Stress("OrtTau"); }
    int PropagateAniWaveTau(int, int, int, int, int, int) override { return Stress("AniTau"); }
    int PropagateTimeField() override { Log("TimeField"); return 0; }
    int RecordSeismogram() override { Log("Record"); return m_nRecordFail; }
    float* GrabShotgather(char) override { return nullptr; }
    float* Grab2DSnapshot(char, char) override { return nullptr; }
    float* Grab3DSnapshot(CCubeN&, C3DSizeN&, char) override { return nullptr; }
    float* GrabTimeField(int) override { return nullptr; }
    int GetCalcPlane(int, int, int, float** pp, bool) override { *pp = nullptr; return -1; }
    int SetCalcPlane(int, int, int, float*) override { return -1; }
    int FreeCalcPlane(float**) override { return 0; }
};

// A job of the given method on a fake engine: a record of 0..1 s at 2 ms,
// 10 m cells at 1 ms, strips of 26 cells and a halo of 2. Tests change what
// they look at.
struct FakeJob
{
    std::unique_ptr<COndexApp> app{new COndexApp()};
    std::unique_ptr<CFakeEngine> eng;

    explicit FakeJob(int nType = 102)
    {
        app->m_Type = nType, app->m_t0 = 0.0, app->m_t1 = 1.0, app->m_dt = 0.002;
        eng.reset(new CFakeEngine(*app));
        eng->m_dx = 10.0, eng->m_dt = 0.001, eng->m_nTaper = 26, eng->m_nHalo = 2;
    }
};
