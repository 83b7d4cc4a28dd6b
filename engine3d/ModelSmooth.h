#pragma once
// The model smoothing of the 3D and 1D engines.

// nPasses passes of the seven-point mean over a grid of nx*ny*nz cells: a
// rock cell (not 0) whose six neighbours are all rock (above 0) becomes
// their mean with itself; the outer faces stay. pScratch holds one XZ
// plane (nx*nz floats): the results of row y wait there until row y + 1 has
// read them as neighbours. Grids thinner than 3 in any direction are left.
void SmoothSevenPoint(float* pGrid, int nx, int ny, int nz, int nPasses, float* pScratch);
