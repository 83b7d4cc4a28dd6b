// The one place that knows which engine a job gets.

#include "CUDA/Calc3D_CUDA.h"
#include "cpu/Calc3D_OMP.h"
#include "engine1d/Calc1D.h"
#include "run/OndexApp.h"

// The 3D methods run on the GPU engine when InitGPU kept m_bUseCUDA (a
// device was found and passed its test), else on the OpenMP engine.
void COndexApp::MakeEngine()
{
    if (m_Type == 100)
    {
        delete m_pCalc1D;
        m_pCalc1D = new CCalc1D(*this);
        return;
    }
    delete m_pCalc3D;
    if (m_bUseCUDA)
        m_pCalc3D = new CCalc3D_CUDA(*this);
    else
        m_pCalc3D = new CCalc3D_OMP(*this);
    m_pCalc3D->m_nHalo = (m_Type == 104) ? 3 : 2;
}
