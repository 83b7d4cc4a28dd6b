// GPU selection: whether this process runs its shots on a CUDA device, and
// on which one. No driver or no device leaves a CPU run; a device that is
// asked for and cannot be used stops the job.
#include <exception>

#include "CUDA/GpuProbe.h"
#include "CUDA/ondex_cuda.h"
#include "base/Output.h"
#include "run/OndexApp.h"

const SGpuProbe& GpuProbe()
{
    static const SGpuProbe probe = {os::GetCUDADeviceCount, CUDA_GetDeviceCount, CUDA_SetDevice,
                                    CUDA_GetDeviceCapability, CUDA_GetDriverVersion, CUDA_GetRuntimeVersion,
                                    CUDA_GetDeviceName, CUDA_IsCalcTestOK};
    return probe;
}

namespace
{
void VersionLine(const char* pszWhat, double dVersion)
{
    if (dVersion < 4.0)
        u_Warning("CUDA: %s version %.1f is too old! Minimum 4.0 is required. Continue at your own risk.\n", pszWhat,
                  dVersion);
    else
        u_Print("CUDA: %s version %.1f - OK\n", pszWhat, dVersion);
}
} // namespace

int InitGPUWith(COndexApp& app, const SGpuProbe& probe)
{
    try
    {
        app.m_nGPUCount = 0;
        probe.pDriverCount();
        app.m_nGPUCount = probe.pCount();
        const int n = app.m_nGPUCount;
        if (n < 1)
        {
            // Said aloud, so that a job that asked for the GPU does not run
            // on the CPU unnoticed.
            if (!CUDA_ModuleBuilt())
                u_Warning("Warning! This build has no GPU CUDA engine; 'Use CUDA' is ignored and the CPU engine is "
                          "used.\n");
            else
                u_Warning("Warning! No GPU CUDA device found; 'Use CUDA' is ignored and the CPU engine is used.\n");
            app.m_bUseCUDA = false;
            return 0;
        }
        u_Print("CUDA: Found %d GPU card%s! Using module version %s...\n", n, n >= 2 ? "s" : "", CUDA_3D_GetVersion());
        if (app.m_nGPUDevice >= n)
        {
            u_Line();
            u_Print("CUDA: Requested device #%d is out of range. CUDA devices available in range 0..%d.\n",
                    app.m_nGPUDevice, n - 1);
            u_Line();
            app.m_bUseCUDA = false;
            return 1;
        }
        // Workers share out the cards by rank; rank 0 keeps device 0.
        if (app.m_nGPUDevice == 0 && n >= 2 && app.m_nNodes > 1 && app.m_nNode > 0)
            app.m_nGPUDevice = (app.m_nNode - 1) % n;
        const int r = probe.pSetDevice(app.m_nGPUDevice);
        if (r != 0)
        {
            u_Line();
            u_Print("CUDA: FAILED to acquire GPU CUDA device #%d (error %d)!\n", app.m_nGPUDevice, r);
            u_Print("DETAILS: %s\n", CUDA_Error_Explain(r, nullptr));
            u_Line();
            app.m_bUseCUDA = false;
            return 1;
        }
        u_Print("CUDA: Using GPU Device #%d: %s\n", app.m_nGPUDevice, probe.pName(app.m_nGPUDevice));
        const double dCap = probe.pCapability(app.m_nGPUDevice);
        if (dCap < 2.0)
        {
            u_Error("CUDA: GPU compute capability %g is not supported! Minimum 2.0 required.\n", dCap);
            return 1;
        }
        u_Print("CUDA: Compute capability %.1f - OK\n", dCap);
        VersionLine("Driver", probe.pDriverVersion(app.m_nGPUDevice));
        VersionLine("Runtime", probe.pRuntimeVersion(app.m_nGPUDevice));
        if (probe.pTest() == 0)
        {
            u_Print("CUDA: Test calculation on GPU - OK\n");
            return 0;
        }
        u_Line();
        u_Print("CUDA: Failed to run a test calculation! Possible causes:\n");
        u_Print("      1. NVidia CUDA driver is not installed.\n");
        u_Print("      2. The GPU card is not CUDA 2.0 computation compatible.\n");
        u_Line();
        app.m_bUseCUDA = false;
        return 1;
    }
    catch (const std::exception&)
    {
        u_Print("CUDA: Error initializing CUDA environment! Continue using CPU...\n");
        app.m_bUseCUDA = false;
        return 0;
    }
}

int COndexApp::InitGPU()
{
    return InitGPUWith(*this, GpuProbe());
}
