// Texts of the CUDA error codes, in the numbering of the CUDA 4 runtime,
// and the version arithmetic of the device queries. Plain C++: the texts
// are needed by every report, with or without a device.

#include <cstdio>
#include <cstring>

#include "CUDA/ondex_cuda.h"

namespace
{
struct ErrorText
{
    int nCode;
    const char* pszText;   // name, colon, line break, description
};

// The description paragraphs are this program's own short wording, except
// for 0 and 2, whose texts are fixed.
const ErrorText kErrors[] = {
    {0, "cudaSuccess:\nSuccess!\n"},
    {1, "cudaErrorMissingConfiguration:\nThe device function being invoked was not previously configured\n"},
    {2, "cudaErrorMemoryAllocation:\nThe API call failed because it was unable to allocate enough memory to\n"
        "perform the requested operation\n"},
    {3, "cudaErrorInitializationError:\nThe CUDA driver and runtime could not be initialized\n"},
    {4, "cudaErrorLaunchFailure:\nAn exception occurred on the device while executing a kernel\n"},
    {5, "cudaErrorPriorLaunchFailure:\nA previous kernel launch failed\n"},
    {6, "cudaErrorLaunchTimeout:\nThe device kernel took too long to execute\n"},
    {7, "cudaErrorLaunchOutOfResources:\nThe launch did not occur because it did not have appropriate resources\n"},
    {8, "cudaErrorInvalidDeviceFunction:\nThe requested device function does not exist or is not compiled for the\n"
        "proper device architecture\n"},
    {9, "cudaErrorInvalidConfiguration:\nA kernel launch is requesting resources that can never be satisfied by\n"
        "the current device\n"},
    {10, "cudaErrorInvalidDevice:\nThe device ordinal supplied does not correspond to a valid CUDA device\n"},
    {11, "cudaErrorInvalidValue:\nOne or more of the parameters passed to the API call is not within an\n"
         "acceptable range of values\n"},
    {12, "cudaErrorInvalidPitchValue:\nOne or more of the pitch-related parameters is not within the acceptable\n"
         "range for pitch\n"},
    {13, "cudaErrorInvalidSymbol:\nThe symbol name/identifier passed to the API call is not a valid name or\n"
         "identifier\n"},
    {14, "cudaErrorMapBufferObjectFailed:\nThe buffer object could not be mapped\n"},
    {15, "cudaErrorUnmapBufferObjectFailed:\nThe buffer object could not be unmapped\n"},
    {16, "cudaErrorInvalidHostPointer:\nAt least one host pointer passed to the API call is not a valid host\n"
         "pointer\n"},
    {17, "cudaErrorInvalidDevicePointer:\nAt least one device pointer passed to the API call is not a valid\n"
         "device pointer\n"},
    {18, "cudaErrorInvalidTexture:\nThe texture passed to the API call is not a valid texture\n"},
    {19, "cudaErrorInvalidTextureBinding:\nThe texture binding is not valid\n"},
    {20, "cudaErrorInvalidChannelDescriptor:\nThe channel descriptor passed to the API call is not valid\n"},
    {21, "cudaErrorInvalidMemcpyDirection:\nThe direction of the memcpy passed to the API call is not one of the\n"
         "types specified by cudaMemcpyKind\n"},
    {22, "cudaErrorAddressOfConstant:\nThe address of a constant variable was requested\n"},
    {24, "cudaErrorTextureNotBound:\nA texture was not bound for access\n"},
    {25, "cudaErrorSynchronizationError:\nA synchronization operation failed\n"},
    {26, "cudaErrorInvalidFilterSetting:\nA non-float texture was accessed with linear filtering\n"},
    {27, "cudaErrorInvalidNormSetting:\nAn attempt was made to read a non-float texture as a normalized float\n"},
    {28, "cudaErrorMixedDeviceExecution:\nMixing of device and device emulation code was not allowed\n"},
    {29, "cudaErrorCudartUnloading:\nThe API call failed because the CUDA driver is being unloaded\n"},
    {30, "cudaErrorUnknown:\nAn unknown internal error has occurred\n"},
    {31, "cudaErrorNotYetImplemented:\nThe API call is not yet implemented\n"},
    {32, "cudaErrorMemoryValueTooLarge:\nAn emulated device pointer exceeded the 32-bit address range\n"},
    {33, "cudaErrorInvalidResourceHandle:\nA resource handle passed to the API call was not valid\n"},
    {34, "cudaErrorNotReady:\nAsynchronous operations issued previously have not completed yet\n"},
    {35, "cudaErrorInsufficientDriver:\nThe installed NVIDIA CUDA driver is older than the CUDA runtime library\n"},
    {36, "cudaErrorSetOnActiveProcess:\nThe device cannot be set after the runtime has been initialized in this\n"
         "thread\n"},
    {37, "cudaErrorInvalidSurface:\nThe surface passed to the API call is not a valid surface\n"},
    {38, "cudaErrorNoDevice:\nNo CUDA-capable devices were detected by the installed CUDA driver\n"},
    {39, "cudaErrorECCUncorrectable:\nAn uncorrectable ECC error was detected during execution\n"},
    {40, "cudaErrorSharedObjectSymbolNotFound:\nA link to a shared object failed to resolve\n"},
    {41, "cudaErrorSharedObjectInitFailed:\nInitialization of a shared object failed\n"},
    {42, "cudaErrorUnsupportedLimit:\nThe limit passed to the API call is not supported by the active device\n"},
    {43, "cudaErrorDuplicateVariableName:\nMultiple global or constant variables share the same string name\n"},
    {44, "cudaErrorDuplicateTextureName:\nMultiple textures share the same string name\n"},
    {45, "cudaErrorDuplicateSurfaceName:\nMultiple surfaces share the same string name\n"},
    {46, "cudaErrorDevicesUnavailable:\nAll CUDA devices are busy or unavailable at the current time\n"},
    {47, "cudaErrorInvalidKernelImage:\nThe device kernel image is invalid\n"},
    {48, "cudaErrorNoKernelImageForDevice:\nThere is no kernel image available that is suitable for the device\n"},
    {49, "cudaErrorIncompatibleDriverContext:\nThe current context is not compatible with this version of the CUDA\n"
         "Runtime\n"},
};

char _gCUDA_ERROR_PLACE[100];
char _g_szErrMessage[512];
char _g_szErrMessageFull[768];

const char* FindText(int nCode)
{
    for (const ErrorText& e : kErrors)
        if (e.nCode == nCode)
            return e.pszText;
    return nullptr;
}
} // namespace

const char* CUDA_Error_Explain(int nCode, const char* szPlace)
{
    if (szPlace)
    {
        snprintf(_gCUDA_ERROR_PLACE, sizeof(_gCUDA_ERROR_PLACE), "%s", szPlace);
        _g_szErrMessageFull[0] = '\0';
        return _g_szErrMessageFull;
    }
    const char* pszText = FindText(nCode);
    if (pszText)
        snprintf(_g_szErrMessage, sizeof(_g_szErrMessage), "%s", pszText);
    else
        snprintf(_g_szErrMessage, sizeof(_g_szErrMessage), "Unknown CUDA error (%d)!\n", nCode);
    if (_gCUDA_ERROR_PLACE[0])
        snprintf(_g_szErrMessageFull, sizeof(_g_szErrMessageFull), "Error %d (in %s): %s", nCode,
                 _gCUDA_ERROR_PLACE, _g_szErrMessage);
    else
        snprintf(_g_szErrMessageFull, sizeof(_g_szErrMessageFull), "Error %d: %s", nCode, _g_szErrMessage);
    _gCUDA_ERROR_PLACE[0] = '\0';
    return _g_szErrMessageFull;
}

int CUDA_ErrorCodeByName(const char* pszName)
{
    if (!pszName)
        return -1;
    const size_t n = strlen(pszName);
    for (const ErrorText& e : kErrors)
        if (strncmp(e.pszText, pszName, n) == 0 && e.pszText[n] == ':')
            return e.nCode;
    return -1;
}

double CUDA_VersionNumber(int nMajor, int nRest)
{
    double dRest = (double)nRest;
    while (dRest >= 1.0)
        dRest /= 10.0;
    return (double)nMajor + dRest;
}
