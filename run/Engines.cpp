// The one place that knows which engine a job gets.

#include "cpu/Calc3D_OMP.h"
#include "engine1d/Calc1D.h"
#include "run/OndexApp.h"

// This build has only the CPU engine for the 3D methods (InitGPU leaves
// m_bUseCUDA clear when there is no GPU engine), so the OpenMP engine is
// made in every 3D case.
void COndexApp::MakeEngine()
{
    if (m_Type == 100)
    {
        delete m_pCalc1D;
        m_pCalc1D = new CCalc1D(*this);
        return;
    }
    delete m_pCalc3D;
    m_pCalc3D = new CCalc3D_OMP(*this);
    m_pCalc3D->m_nHalo = (m_Type == 104) ? 3 : 2;
}
