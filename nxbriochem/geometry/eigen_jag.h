// Eigenvalues and eigenvectors of symmetric matrices by cyclic Jacobi rotations with thresholds (Jacobi 1846;
// Rutishauser, Numer. Math. 9 (1966) 1), in float and in double.
//
// Matrices are arrays of n row pointers to n elements. Eigenvector k is column k of v. Null arrays and a negative n
// change nothing; an n of 0 sets *nrot to 0 and changes nothing else. No two arrays may share elements. Work arrays are
// tracked blocks, freed on return. Kept: programs rely on a run that does not converge leaving its two work arrays
// allocated.
#ifndef NXBRIOCHEM_GEOMETRY_EIGEN_JAG_H
#define NXBRIOCHEM_GEOMETRY_EIGEN_JAG_H

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// Eigenvalues into d[n], eigenvectors into the columns of v, in no order; *nrot rotations were made (nrot may be null).
// Destroys a above its diagonal. After 50 sweeps without convergence it prints a message on standard output and leaves
// d and v as they are.
NX_API void vf_jacobi(float** a, int n, float* d, float** v, int* nrot);
// As vf_jacobi, in double.
NX_API void vf_jacobi_double_precision(double** a, int n, double* d, double** v, int* nrot);

// Sorts eigenvalues in descending order, and the columns of v with them; of equal ones the later comes first.
NX_API void eigsrt(float* d, float** v, int n);
// As eigsrt, in double.
NX_API void eigsrt_double_precision(double* d, double** v, int n);

// As vf_jacobi, and restores a. Not sorted.
NX_API void eigen_solve(float** a, int n, float* d, float** v);
// As eigen_solve, in double, and sorted.
NX_API void eigen_solve_double_precision(double** a, int n, double* d, double** v);
// As vf_jacobi, for a 3 x 3 matrix, which is restored. Eigenvalues are sorted, and the third column is reversed if
// needed so that det(v) = 1.
NX_API void eigen_solve_3_by_3(float** a, float* d, float** v);

NX_END_DECLS

#endif
