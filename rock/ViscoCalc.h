#pragma once
// Relaxation mechanisms of a constant-Q medium: L standard linear solids per
// cell, fitted to a quality factor at the dominant frequency of the signal,
// and the intrinsic velocities that give apparent ones at that frequency.

// A cache of the last fit, so that runs of equal Q cost one fit. No heap
// memory, no virtual operations; one object per thread.
class CViscoCalc
{
public:
    CViscoCalc();

    // p, s, tau of length L: P weight, S weight, relaxation time (s). True
    // when they hold a mechanism set, false when Q is too small and they hold
    // the neutral set (0, 0, 1). With bApparent vp and vs are corrected in place.
    bool InitViscoParams(double f0, int L, float Qp, float Qs, float* p, float* s, float* tau, bool bApparent,
                         float& vp, float& vs);
    // The single-mechanism Q0 whose L-mechanism body fits Q best over the
    // band around the centre frequency; 0 when no candidate fits.
    double GetMinQ0(double f0, double Q, int L, bool bS);
    // Intrinsic velocities from velocities apparent at f0. Always 0.
    int GetCorrectedVelocity(double f0, int L, float Qp, float Qs, float vp, float vs, float& vpOut, float& vsOut);

public:
    double m_fVp, m_fVs;            // velocities of the last correction
    double m_fVpCor, m_fVsCor;      // their corrected values
    double m_fQp, m_fQs;            // the Q values the kept fits belong to
    double m_fQ0pKeep, m_fQ0sKeep;  // fitted Q0 for m_fQp, m_fQs
    double m_fQ0p, m_fQ0s;          // the fitted Q0 in force for the current call
};
