// CCalc1D operations whose bodies are not written yet. Each one says so with
// an "Error!" line and a failure code, so that a job never runs on without
// them; the 1D trace engine replaces these bodies.

#include "engine1d/Calc1D.h"

#include "base/Output.h"

static int NotAvailable(const char* pszWhat)
{
    u_Error("Error! %s is not available yet in this build of the 1D engine.\n", pszWhat);
    return -200;
}

int CCalc1D::GenerateSignal() { return NotAvailable("GenerateSignal"); }
int CCalc1D::PrepareSurvey(CSurvey3D&, bool) { return NotAvailable("PrepareSurvey"); }
int CCalc1D::ValidateCommon() { return NotAvailable("ValidateCommon"); }
int CCalc1D::InitModel() { return NotAvailable("InitModel"); }
int CCalc1D::LoadModelComponent(int, const char*, float*, float*) { return NotAvailable("LoadModelComponent"); }
int CCalc1D::SmoothModel() { return NotAvailable("SmoothModel"); }
int CCalc1D::SmoothModelComponent(float*, int, float*) { return NotAvailable("SmoothModelComponent"); }
int CCalc1D::Get1DModel(int, CPointR, float*, int& nFirst)
{
    nFirst = m_nTaper;
    return NotAvailable("Get1DModel");
}
int CCalc1D::AllocateMemory(bool, bool) { NotAvailable("AllocateMemory"); return 1; }
int CCalc1D::Calculate() { return NotAvailable("Calculate"); }
int CCalc1D::CalculateTrace(int, CCalc1D_Worker&) { return NotAvailable("CalculateTrace"); }
int CCalc1D::InitPMLProfile(float*, float*, float*, float*, float*, float*) { return NotAvailable("InitPMLProfile"); }
int CCalc1D::WriteTrace(FILE*, const char*, CSdsPC&, int, C3DPointR, double*, float*) { return NotAvailable("WriteTrace"); }
CString CCalc1D::GetFileName(int, char, bool, bool, double)
{
    NotAvailable("GetFileName");
    return CString();
}
