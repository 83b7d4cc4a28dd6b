#pragma once
// What the choice of a device asks of the machine, as a table of functions,
// so that the choice can be exercised with made-up devices.

class COndexApp;

struct SGpuProbe
{
    int (*pDriverCount)();          // os::GetCUDADeviceCount
    int (*pCount)();                // CUDA_GetDeviceCount
    int (*pSetDevice)(int);
    double (*pCapability)(int);
    double (*pDriverVersion)(int);
    double (*pRuntimeVersion)(int);
    const char* (*pName)(int);
    int (*pTest)();                 // 0: the test calculation passed
};

// The probe of this build: the driver and the module ondex_cuda.
const SGpuProbe& GpuProbe();

// COndexApp::InitGPU with the given probe: 0 to go on (m_bUseCUDA then
// holds the choice), 1 to stop the job.
int InitGPUWith(COndexApp& app, const SGpuProbe& probe);
