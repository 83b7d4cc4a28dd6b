// GPU selection. This build has no GPU engine, so a request for one falls
// back to the CPU engine with a warning instead of stopping the job.
#include "base/Output.h"
#include "run/OndexApp.h"

int COndexApp::InitGPU()
{
    m_nGPUCount = 0;
    u_Warning("Warning! This build has no GPU CUDA engine; 'Use CUDA' is ignored and the CPU engine is used.\n");
    m_bUseCUDA = false;
    return 0;
}
