#pragma once
// Values shared by the engines and the device code.

// Velocity grids hold particle velocity times this factor; the coefficient
// grids carry its inverse, and every velocity output multiplies by it again.
#define KOEF_VELOCITY 15000.0f
