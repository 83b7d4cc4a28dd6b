// ondex_cuda in a build without nvcc: no device, ever. The engine and the
// run driver link against these, and a job that asks for the GPU runs on
// the CPU.

#include "CUDA/ondex_cuda.h"

bool CUDA_ModuleBuilt() { return false; }
int CUDA_GetDeviceCount() { return 0; }
double CUDA_GetDriverVersion(int) { return 0.0; }
double CUDA_GetRuntimeVersion(int) { return 0.0; }
double CUDA_GetDeviceCapability(int) { return 0.0; }
const char* CUDA_GetDeviceName(int) { return "No CUDA devices found!"; }
// cudaErrorNoDevice in the numbering of CUDA_Error_Explain.
int CUDA_SetDevice(int) { return 38; }
int CUDA_IsCalcTestOK() { return 1; }
const char* CUDA_3D_GetVersion() { return "1.8.0 (2017-09-05)"; }
double CUDA_MeasureCopyGBs(size_t) { return 0.0; }

int CUDA_3DFD_AllocateMemory(int, int, int, int, int, int, int, int, bool, bool) { return 38; }
int CUDA_3DFD_AllocateMemorySeismogram(int, int, int) { return 38; }
int CUDA_3DFD_LoadData(const float*, const float*, const float*, const float*, const float*, int, int,
                       const C3DShotPoint*, const uint64_t*, const float*, const float*, const CShotTauK*, float,
                       float, float, float, float, float, float, float)
{
    return 38;
}
int CUDA_3DFD_LoadOrthorombicModel(const float* const*) { return 38; }
int CUDA_3DFD_LoadAnisotropicModel(const float* const*) { return 38; }
int CUDA_3DFD_LoadPML(int, int, const float* const*) { return 38; }
int CUDA_3DFD_FreeMemory(bool, bool, bool, bool, bool) { return 0; }
int CUDA_3DFD_FreePML() { return 0; }
int CUDA_3DFD_GetCalcPlane(int, int, int, float*) { return 38; }
int CUDA_3DFD_SetCalcPlane(int, int, int, const float*) { return 38; }
int CUDA_3DFD_ModelStep(bool, bool, int, int, int, int, int, int, float) { return 38; }
int CUDA_3DFD_ApplySignal(long) { return 38; }
int CUDA_3DFD_RecordSeismogram(long) { return 38; }
int CUDA_3DFD_GrabShotgather(float*, char) { return 38; }
int CUDA_3DFD_Grab2DSnapshot(float*, char, char, int) { return 38; }
int CUDA_3DFD_Grab3DSnapshot(float*, int, int, int, int, int, int, int, int, int, char) { return 38; }
int CUDA_3DFD_TimeFieldInit(int, int, int, int, float, float, float) { return 38; }
int CUDA_3DFD_TimeFieldPropagate(int, float) { return 38; }
int CUDA_3DFD_TimeFieldGrabCube(float*, int) { return 38; }
