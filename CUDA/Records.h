#pragma once
// The records the module fills on the host and hands to the kernels. Every
// pointer in them is a device pointer unless its comment says otherwise.

#include <cstdint>

#include "survey/Survey3D.h"

// The wave field of one step; passed by value to every wave-field kernel.
struct TMesh3D
{
    int nTaper;
    int nZ0, nY0, nX0;          // first plane, row, column of the step in progress
    int nX1, nY1, nZ1;          // last column, row, plane (this order)
    int nX, nY;
    int nSources;               // 0 or 1: a single point in paramsrc
    int nPML;                   // 0: sponge kernels
    float fSWave;
    int nZOffset, nZAll;
    float* pC;                  // methods 101, 102
    float* pM;                  // method 102
    float* pB;
    float* pQ;                  // null without damping
    float *pUx, *pUy, *pUz;
    float *pTxx, *pTyy, *pTzz, *pTxy, *pTxz, *pTyz;   // the last five null for method 101
    C3DShotPoint* pSources;     // null for fewer than two points
    float* pPlane;              // output of the 2D snapshot kernel
    float* pTaper;              // nTaper sponge factors
};

// Host only.
struct TMesh3DLocal
{
    int nMethod, nTaper, nX, nY, nZ, nZOffset, nZAll;
    float fdx, fdt;
    const float* pSignal;       // host memory
    C3DShotPoint paramsrc;      // the first source point, or the only one
    int nSourceType, nViscoL;
};

struct TMesh3DTime
{
    int nType, nTaper, nX, nY, nZ;
    float fdx, fTime;
    float *pUx, *pUy, *pUz;
    int nTX, nTY, nTZ;
    float fTdx, fTdy, fTdz;
};

struct TMesh3DSeis
{
    int nSteps, nReceivers;
    uint64_t* pIndex;
    float *pX, *pY, *pZ, *pC;   // element i + nReceivers*t
};

struct TMesh3DSignal
{
    float K11, K22, K33, K12, K13, K23;
};

struct TMesh3DOrthorombic
{
    float *C11, *C12, *C13, *C22, *C23, *C33, *C44, *C55, *C66;
};

struct TMesh3DAnisotropic
{
    float *C11, *C12, *C13, *C14, *C15, *C16, *C22, *C23, *C24, *C25, *C26, *C33, *C34, *C35, *C36, *C44, *C45,
        *C46, *C55, *C56, *C66;
};

// The 24 profiles (the engine's order), then the memory arrays: the 12 of
// every method, the 24 more of the elastic methods (the engine's order of
// named arrays) and the 54 of the general anisotropic method (Z, Y, X).
struct TPML3D
{
    float* pProfile[24];
    float* pPsi[36];
    float* pPsiAni[54];
};
static_assert(sizeof(TPML3D) == 114 * sizeof(float*), "TPML3D holds 114 device pointers");
