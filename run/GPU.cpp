// GPU selection. This build has no GPU engine, so a request for one falls
// back to the CPU engine with a warning instead of stopping the job.
#include "base/Pending.h"
#include "base/Output.h"
#include "run/OndexApp.h"

ONDEX_PENDING("The GPU engine (CCalc3D_CUDA)");

int COndexApp::InitGPU()
{
    m_nGPUCount = 0;
    u_Warning("Warning! This build has no GPU CUDA engine; 'Use CUDA' is ignored and the CPU engine is used.\n");
    m_bUseCUDA = false;
    return 0;
}
