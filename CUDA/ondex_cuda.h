#pragma once
// The module ondex_cuda as the host C++ side sees it: plain functions, no
// CUDA types, so that the engine and the run driver compile without nvcc.
// All state of the module sits in its static records (one device and one
// engine per process). Results are 0, a CUDA error code or one of the
// module's own negative codes (CUDA_Error_Explain renders those as unknown).

#include <cstddef>
#include <cstdint>

struct C3DShotPoint;
struct CShotTauK;

// The module's own failure codes.
enum
{
    kCudaNoComponent = -1,     // unknown component, or its grid is missing
    kCudaNoSeismogram = -2,    // no receivers or no steps
    kCudaNoHostBuffer = -10,
    kCudaNoGrid = -11,
    kCudaNoPlane = -12,
    kCudaBadSize = -13,
    kCudaUnstable = -150       // a NaN in what was copied to the host
};

// ---- Discovery and self-test ----------------------------------------------
// False in a build without nvcc: every function below then reports no device.
bool CUDA_ModuleBuilt();
int CUDA_GetDeviceCount();
double CUDA_GetDriverVersion(int nDevice);
double CUDA_GetRuntimeVersion(int nDevice);
double CUDA_GetDeviceCapability(int nDevice);
const char* CUDA_GetDeviceName(int nDevice);
int CUDA_SetDevice(int nDevice);
// 0 if the test calculation passed, 1 if it failed.
int CUDA_IsCalcTestOK();
const char* CUDA_3D_GetVersion();
// With szPlace: notes the place for the next call and returns "". Without:
// "Error %d: %s" or "Error %d (in %s): %s"; valid until the next call.
const char* CUDA_Error_Explain(int nCode, const char* szPlace);
// The code of a runtime enumerator name in the table of CUDA_Error_Explain;
// -1 when the table has no such name.
int CUDA_ErrorCodeByName(const char* pszName);
// A version code such as 4020 as the number 4.2 (major, then the rest as
// decimal digits).
double CUDA_VersionNumber(int nMajor, int nRest);

// Device-to-device copy speed of the current device in GB/s (bytes read
// plus bytes written over time); 0 without a device.
double CUDA_MeasureCopyGBs(size_t nBytes);

// ---- Device data -------------------------------------------------------------
int CUDA_3DFD_AllocateMemory(int nMethod, int nTaper, int nX, int nY, int nZ, int nZOffset, int nZAll, int nViscoL,
                             bool bPlane, bool bQ);
int CUDA_3DFD_AllocateMemorySeismogram(int nSources, int nReceivers, int nSteps);
int CUDA_3DFD_LoadData(const float* pC, const float* pM, const float* pB, const float* pQ, const float* pViscoM,
                       int nSourceType, int nSources, const C3DShotPoint* pSources, const uint64_t* pReceivers,
                       const float* pSignal, const float* pTaper, const CShotTauK* pTauK, float fdx, float fdt,
                       float K11, float K22, float K33, float K12, float K13, float K23);
int CUDA_3DFD_LoadOrthorombicModel(const float* const pC[9]);
int CUDA_3DFD_LoadAnisotropicModel(const float* const pC[21]);
// The 24 profiles in the engine's order: per axis x, y, z: B M Lo, B P Hi,
// A M Lo, A P Hi, B P Lo, B M Hi, A P Lo, A M Hi.
int CUDA_3DFD_LoadPML(int nMethod, int nPML, const float* const pProfiles[24]);
int CUDA_3DFD_FreeMemory(bool bModel, bool bWave, bool bSeis, bool bTime, bool bPlane);
int CUDA_3DFD_FreePML();
// Component codes: 1 Ux, 2 Uy, 3 Uz, 4 Tzz, 5 Txx, 6 Tyy, 7 Txy, 8 Txz, 9 Tyz.
int CUDA_3DFD_GetCalcPlane(int nComponent, int z0, int z1, float* pHost);
int CUDA_3DFD_SetCalcPlane(int nComponent, int z0, int z1, const float* pHost);

// ---- Steps, source, outputs -----------------------------------------------
int CUDA_3DFD_ModelStep(bool bU, bool bSuppress, int z0, int y0, int x0, int z1, int y1, int x1, float fS);
int CUDA_3DFD_ApplySignal(long nStep);
int CUDA_3DFD_RecordSeismogram(long nSample);
int CUDA_3DFD_GrabShotgather(float* pHost, char cComp);
int CUDA_3DFD_Grab2DSnapshot(float* pHost, char cPlane, char cComp, int nOffset);
int CUDA_3DFD_Grab3DSnapshot(float* pHost, int z0, int y0, int x0, int z1, int y1, int x1, int sz, int sy, int sx,
                             char cComp);
int CUDA_3DFD_TimeFieldInit(int nType, int nTX, int nTY, int nTZ, float fTdx, float fTdy, float fTdz);
int CUDA_3DFD_TimeFieldPropagate(int nAddZ0, float fTime);
int CUDA_3DFD_TimeFieldGrabCube(float* pHost, int n);
