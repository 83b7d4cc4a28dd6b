#pragma once
// Stiffness of a transversely isotropic cell from velocities, density,
// Thomsen parameters and the two angles of its symmetry axis.

#include <complex>

// 6 x 6 Voigt matrix, row by row, then its two dimensions (both 6). Complex
// so that a complex modulus can pass through; the values used are real.
// Voigt index: 0 xx, 1 yy, 2 zz, 3 yz, 4 xz, 5 xy.
struct matr6
{
    std::complex<float> v[6][6];
    int nRows = 6;
    int nCols = 6;

    std::complex<float>& operator()(int i, int j) { return v[i][j]; }
    const std::complex<float>& operator()(int i, int j) const { return v[i][j]; }
};

typedef std::complex<float> tenz4[3][3][3][3];

// Voigt index of the tensor index pair (i, j), each 0..2.
int imas(int i, int j);

// The 21 elements of the upper triangle by rows (C11 C12 .. C16, C22 .. C26,
// .., C66), in Pa, for density in kg/m3, velocities in m/s, angles in
// degrees: alpha the tilt of the axis from the vertical, phi its azimuth
// from x toward y. a, b, n, p1 .. p3 carry no meaning.
void FormA(float a, float b, float rho, float vp, float vs, float eps, float delta, float gamma, float alpha,
           float phi, int n, float* pA, float* p1, float* p2, float* p3, float* p4);

// Vertical-axis medium, density in g/cm3 and velocities in m/s: moduli in GPa.
void FormUprVti(float a, float b, float rho, float vp, float vs, float eps, float delta, float gamma, matr6& A);

// Rotates the tensor by R = Rz(phi) * Ry(alpha), angles in radians.
void POVTENZ(double alpha, double phi, std::complex<float> (&T)[3][3][3][3]);

// Eigenvalues w of a symmetric n x n matrix a (row-major, n <= 6,
// overwritten) by cyclic Jacobi rotations, and, when V is not null, the unit
// eigenvectors as the columns of V (row-major n x n).
void SymmetricEigen(double* a, int n, double* w, double* V);
