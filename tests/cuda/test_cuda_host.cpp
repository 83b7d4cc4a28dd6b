// The GPU engine's host side, checked without a device: the error texts,
// the choice of the device with made-up machines, and the refusals of a
// shot that does not fit.

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "CUDA/Calc3D_CUDA.h"
#include "CUDA/GpuProbe.h"
#include "CUDA/ondex_cuda.h"
#include "common/TestUtil.h"
#include "cpu/Calc3D_OMP.h"
#include "run/OndexApp.h"

namespace
{
TEST(CudaErrors, ExplainFormsAndPlaces)
{
    EXPECT_STREQ("Error 0: cudaSuccess:\nSuccess!\n", CUDA_Error_Explain(0, nullptr));
    EXPECT_STREQ("Error 2: cudaErrorMemoryAllocation:\nThe API call failed because it was unable to allocate enough "
                 "memory to\nperform the requested operation\n",
                 CUDA_Error_Explain(2, nullptr));
    EXPECT_STREQ("", CUDA_Error_Explain(0, "LoadModel"));
    EXPECT_STREQ("Error 23 (in LoadModel): Unknown CUDA error (23)!\n", CUDA_Error_Explain(23, nullptr));
    EXPECT_STREQ("Error -150: Unknown CUDA error (-150)!\n", CUDA_Error_Explain(-150, nullptr));
    // Every row of the table is a name, a colon and a line break, found
    // again by its name.
    for (int n = 0; n <= 49; n++)
    {
        const std::string s = CUDA_Error_Explain(n, nullptr);
        if (n == 23)
            continue;
        const size_t c = s.find(":\n");
        ASSERT_NE(std::string::npos, c) << n;
        const size_t b = s.find(": ") + 2;
        EXPECT_EQ(n, CUDA_ErrorCodeByName(s.substr(b, c - b).c_str())) << s;
    }
    EXPECT_EQ(-1, CUDA_ErrorCodeByName("cudaErrorIllegalAddress"));
}

// Made-up machines for the choice of the device.
struct Fake
{
    static int nCount, nSetResult, nTest;
    static double dCap, dDriver;
    static bool bThrow;
    static int Count() { return bThrow ? throw std::runtime_error("driver") : nCount; }
    static int Set(int) { return nSetResult; }
    static double Cap(int) { return dCap; }
    static double Driver(int) { return dDriver; }
    static const char* Name(int) { return "Fake GPU"; }
    static int Test() { return nTest; }
};
int Fake::nCount, Fake::nSetResult, Fake::nTest;
double Fake::dCap, Fake::dDriver;
bool Fake::bThrow;

TEST(CudaInitGPU, DeviceChoiceAndRefusals)
{
    struct Row { const char* pszName; int nCount, nDevice, nNode, nNodes, nSetResult; double dCap, dDriver; int nTest;
        bool bThrow; int nResult; bool bUseCUDA; int nDeviceAfter; const char* pszText; } rows[] = {
        {"no device", 0, 0, 0, 1, 0, 9.0, 13.0, 0, false, 0, false, 0, "Warning! "},
        {"out of range", 2, 2, 0, 1, 0, 9.0, 13.0, 0, false, 1, false, 2,
         "CUDA: Requested device #2 is out of range. CUDA devices available in range 0..1.\n"},
        {"rank 1 of 4", 2, 0, 1, 4, 0, 9.0, 13.0, 0, false, 0, true, 0, "CUDA: Found 2 GPU cards! Using module"},
        {"rank 2 of 4", 2, 0, 2, 4, 0, 9.0, 13.0, 0, false, 0, true, 1, "CUDA: Using GPU Device #1: Fake GPU\n"},
        {"rank 3 of 4", 2, 0, 3, 4, 0, 9.0, 13.0, 0, false, 0, true, 0, "CUDA: Test calculation on GPU - OK\n"},
        {"asked device stays", 2, 1, 2, 4, 0, 9.0, 13.0, 0, false, 0, true, 1, "CUDA: Compute capability 9.0 - OK\n"},
        {"one card", 1, 0, 0, 1, 0, 9.0, 13.0, 0, false, 0, true, 0, "CUDA: Found 1 GPU card! Using module"},
        {"set fails", 1, 0, 0, 1, 10, 9.0, 13.0, 0, false, 1, false, 0,
         "CUDA: FAILED to acquire GPU CUDA device #0 (error 10)!\nDETAILS: Error 10: cudaErrorInvalidDevice:"},
        {"capability", 1, 0, 0, 1, 0, 1.3, 13.0, 0, false, 1, true, 0,
         "CUDA: GPU compute capability 1.3 is not supported! Minimum 2.0 required.\n"},
        {"old driver warns", 1, 0, 0, 1, 0, 9.0, 3.2, 0, false, 0, true, 0,
         "CUDA: Driver version 3.2 is too old! Minimum 4.0 is required. Continue at your own risk.\n"},
        {"driver 4.0", 1, 0, 0, 1, 0, 9.0, 4.0, 0, false, 0, true, 0, "CUDA: Runtime version 4.0 - OK\n"},
        {"test fails", 1, 0, 0, 1, 0, 9.0, 13.0, 1, false, 1, false, 0,
         "CUDA: Failed to run a test calculation! Possible causes:\n"},
        {"exception", 1, 0, 0, 1, 0, 9.0, 13.0, 0, true, 0, false, 0,
         "CUDA: Error initializing CUDA environment! Continue using CPU...\n"},
    };
    const SGpuProbe probe = {Fake::Count, Fake::Count, Fake::Set, Fake::Cap,
                             Fake::Driver, Fake::Driver, Fake::Name, Fake::Test};
    testutil::TempDir dir(true);
    for (const Row& r : rows)
    {
        SCOPED_TRACE(r.pszName);
        Fake::nCount = r.nCount, Fake::nSetResult = r.nSetResult, Fake::nTest = r.nTest;
        Fake::dCap = r.dCap, Fake::dDriver = r.dDriver, Fake::bThrow = r.bThrow;
        std::unique_ptr<COndexApp> app(new COndexApp());
        app->m_bUseCUDA = true;
        app->m_nGPUDevice = r.nDevice;
        app->m_nNode = r.nNode;
        app->m_nNodes = r.nNodes;
        testutil::StdoutCapture cap;
        const int nResult = InitGPUWith(*app, probe);
        const std::string out = cap.Stop();
        EXPECT_EQ(r.nResult, nResult);
        EXPECT_EQ(r.bUseCUDA, app->m_bUseCUDA);
        EXPECT_EQ(r.nDeviceAfter, app->m_nGPUDevice);
        EXPECT_NE(std::string::npos, out.find(r.pszText)) << out;
    }
}

// The engine follows the choice; on a machine without a device the real
// probe leaves the CPU engine.
TEST(CudaInitGPU, EngineChoice)
{
    testutil::TempDir dir(true);
    std::unique_ptr<COndexApp> app(new COndexApp());
    app->m_Type = 102;
    app->m_bUseCUDA = true;
    app->MakeEngine();
    EXPECT_NE(nullptr, dynamic_cast<CCalc3D_CUDA*>(app->m_pCalc3D));
    if (CUDA_GetDeviceCount() > 0)
        GTEST_SKIP() << "this machine has a device";
    testutil::StdoutCapture cap;
    EXPECT_EQ(0, app->InitGPU());
    EXPECT_NE(std::string::npos, cap.Stop().find("Warning! "));
    EXPECT_FALSE(app->m_bUseCUDA);
    app->MakeEngine();
    EXPECT_NE(nullptr, dynamic_cast<CCalc3D_OMP*>(app->m_pCalc3D));
}

// A shot that does not fit stops before any device memory is asked for;
// one that fits but finds no device reports the device's refusal.
TEST(CudaMemory, Refusals)
{
    struct Row { const char* pszName; int nx, ny, nz; int nHostGB, nGpuGB; bool bNeedsNoDevice;
        const char* pszText; } rows[] = {
        {"host", 1000, 1000, 300, 1, 0, false,
         "Error! Not enough memory on the computer. Requested 2289.96 MB, but only 1024 MB is available.\n"},
        {"device", 1000, 1000, 100, 64, 1, false,
         "Error! Not enough memory on the GPU card. Requested 2288.82 MB, but only 1024 MB is available.\n"},
        {"no device", 16, 16, 16, 64, 1, true, "Error! CUDA: Unable to allocate memory on GPU device!\nDETAILS: Error "},
    };
    testutil::TempDir dir(true);
    for (const Row& r : rows)
    {
        SCOPED_TRACE(r.pszName);
        if (r.bNeedsNoDevice && CUDA_GetDeviceCount() > 0)
            continue;
        std::unique_ptr<COndexApp> app(new COndexApp());
        app->m_Type = 101;
        app->m_nHostMemoryGB = r.nHostGB;
        app->m_nGpuMemoryGB = r.nGpuGB;
        CCalc3D_CUDA e(*app);
        e.m_nx = r.nx, e.m_ny = r.ny, e.m_nz = e.m_nZAll = r.nz;
        e.m_nTaper = 6;
        e.m_bPML = false;
        testutil::StdoutCapture cap;
        EXPECT_NE(0, e.AllocateMemory(false, true));
        const std::string out = cap.Stop();
        EXPECT_NE(std::string::npos, out.find(r.pszText)) << out;
    }
}
} // namespace
