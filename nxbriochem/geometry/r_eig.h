// Methods for symmetric matrices other than Jacobi's: eigenpairs one after the other, inversion through the
// eigenvalues, tridiagonal forms, and metric matrices from distances.
//
// Matrices are flat, row-major, n x n. Work arrays are tracked blocks, freed on every path. Null arrays and a negative
// n give 0 and change nothing.
#ifndef NXBRIOCHEM_GEOMETRY_R_EIG_H
#define NXBRIOCHEM_GEOMETRY_R_EIG_H

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// Not 0: DetermineEigenVectors reports on standard error.
extern NX_API int DebugFlag;

// Householder reduction of a symmetric matrix (only its lower triangle is read) to tridiagonal form: diagonal into
// d[n], subdiagonal into e[n] (e[i] is between d[i - 1] and d[i]; e[0] is 0), the orthogonal matrix of the reduction
// over a, so that a^T A a is tridiagonal. Elements near DBL_MAX overflow on the way and give results that are not
// finite; scale such matrices down first, as DetermineEigenVectors does.
NX_API int HouseHolderReduction(double* a, double* d, double* e, int n);

// The mode of DetermineEigenVectors that the library itself uses: eigenvectors in the rows of a.
enum { NX_EIGENVECTORS_IN_ROWS = 2 };

// Eigenpairs of a symmetric matrix by iteration from random starts (rand()), each deflated out once it is found:
// eigenvalues into values[n] in descending order of magnitude, eigenvectors into the rows of a. Residuals and
// deviations from orthonormality are rounding errors of the size of the largest eigenvalue's, also for clustered
// eigenvalues. All modes from 1 on do the same; with n = 0 they give 1, for null arrays too. A mode below 1 gives 0.
// The result is also 0, with both arrays unchanged, when an eigenpair takes more than 100 iterations (4n from n = 26
// on), as happens with elements that are not finite, when more than six restarts are needed, or when a start vector is
// 0. With DebugFlag set, pairs are reported by their places in the result, or after a failure by their order among
// those found.
NX_API int DetermineEigenVectors(double* a, double* values, int n, int mode);

// Householder reduction to tridiagonal form without the orthogonal matrix, columns from the last to the first: a
// becomes tridiagonal; out[i] is the norm of the part of column i above the diagonal at the time when the column is
// reduced (out[0] is 0). Each of these n - 1 norms is printed as soon as it is known, "%f\n" on standard output. For an
// n below 1 it writes 1.0 into the first element of both and gives 1.
NX_API int nx_l_tridiagonalize(double* a, double* out, int n);

// Converts the distances of n points to the scalar products of their positions relative to their centroid. Both may be
// one array.
NX_API int nx_convert_distance_to_metric_matrix(const float* distances, float* metric, int n);

// The inverse of a symmetric matrix through its eigenvalues. `in` and `out` may be one array. Eigenvalues below 1e-7 in
// magnitude are printed on standard output, and when there are any the output is left as it is. Kept: programs rely on
// the result 1 in that case. 0 when the search for eigenvectors fails.
NX_API int nx_invert_matrix_using_eigenvalues(const float* in, float* out, int n);
// As nx_invert_matrix_using_eigenvalues, in double.
NX_API int nx_invert_matrix_using_eigenvalues_double(const double* in, double* out, int n);
// The two functions above by mode: 1 reads and writes floats, 2 doubles; any other mode does nothing and gives 0.
NX_API int nx_invert_matrix_using_eigenvalues_base(const void* in, void* out, int n, int mode);

NX_END_DECLS

#endif
