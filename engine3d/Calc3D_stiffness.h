#pragma once
// The stiffness grids of the anisotropic methods, filled in place of the
// velocities at the end of the model assembly.

#include <cstddef>

class CCalc3D;

// Allocates with newGrid the grids of the anisotropic methods (nMethod 103
// and up), shared by the CPU and the GPU engine: the Thomsen and angle
// grids the job names a file for, and the 9 (method 104: 21) stiffness grids.
void NewAnisotropyGrids(CCalc3D& e, int nMethod, size_t cells, float* (*newGrid)(size_t));

// Every cell's 9 (method 103) or 21 (method 104) stiffness entries times c1
// and its buoyancy c2/rho; then the velocity and anisotropy grids are
// deleted. 0, or -108 with one line naming the first cell whose parameters
// give no stable medium (a stiffness that is not positive semi-definite, a
// non-finite parameter or angle).
int FillStiffness(CCalc3D& e, float c1, float c2);

// Whether the 21 entries (upper triangle by rows) of a 6 x 6 Voigt stiffness
// describe a stable medium: the matrix has no negative eigenvalue beyond
// rounding (a fluid, with zero shear, is accepted), and C33 is positive.
bool StiffnessIsStable(const float* pA);
