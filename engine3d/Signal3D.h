#pragma once
// Source signal of a shot: one float sample per simulation step, already
// scaled for ApplySignal. Built by CCalc3D::GenerateSignal (or the 1D engine's).

#include <vector>

#include "base/CString.h"

class COndexApp;

class CSignal3D
{
public:
    explicit CSignal3D(COndexApp* pApp = nullptr);
    ~CSignal3D();

    // The samples are owned; copying the object would share them.
    CSignal3D(const CSignal3D&) = delete;
    CSignal3D& operator=(const CSignal3D&) = delete;

    // Reads the signal keys of [Source]: File, Frequency, Signal, t0.
    // 0 on success, 1 when neither a file nor a usable frequency is given.
    int LoadParamsFromIniFile(std::vector<CString>& lines);

    // Releases m_pData and sets m_nLen to 0.
    void Free();

public:
    CString m_strFile;      // [Source] File; empty selects the Ricker wavelet
    double m_dFreq;         // [Source] Frequency, Hz
    float* m_pData;         // samples, new[]; sample i belongs to step i
    int m_nLen;             // samples in m_pData
    int m_nSignal;          // [Source] Signal
    double m_t0;            // [Source] t0: time shift, seconds
    COndexApp* m_pApp;      // the job; not owned
};

// Fills sig for the time step dt and the grid step dStep (the amplitude is
// scaled by 1e9 * dt / dStep^3) and sets tStart, the time of step 0. Shared
// by the 3D and the 1D engines; 0 or the failure code, with its message.
int GenerateSignalSamples(CSignal3D& sig, double dStep, double dt, double& tStart);
