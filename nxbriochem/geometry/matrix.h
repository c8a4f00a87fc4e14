// Small dense matrices, rotations, frames of three points, and the principal axes of symmetric 3 x 3 matrices.
//
// Matrices are flat and row-major: element (i, j) of an r x c matrix is at i * c + j. Names that end in _f take floats,
// their twins doubles. Rotations are 9 floats and act on columns: x' = R x. Points are float triples. Results are 1
// unless a comment says otherwise. Negative dimensions count as 0: nothing is done, and the result is 1. Null arrays
// give 0 and change nothing. The array Roots and the polynomial solvers come with this header (roots.h).
#ifndef NXBRIOCHEM_GEOMETRY_MATRIX_H
#define NXBRIOCHEM_GEOMETRY_MATRIX_H

#include <nxbriochem/export.h>
#include <nxbriochem/geometry/roots.h>

NX_BEGIN_DECLS

// ---- Matrices of any size ----

// Copies rows * cols elements from src to dst, which may overlap.
NX_API int nx_copy_matrix(const double* src, int rows, int cols, double* dst);
// As nx_copy_matrix, for floats.
NX_API int nx_copy_matrix_f(const float* src, int rows, int cols, float* dst);
// Makes an n x n matrix the identity.
NX_API int nx_set_to_identity(double* m, int n);
// As nx_set_to_identity, for floats.
NX_API int nx_set_to_identity_f(float* m, int n);
// Transposes an n x n matrix in place.
NX_API int nx_transpose_matrix(double* m, int n);
// As nx_transpose_matrix, for floats.
NX_API int nx_transpose_matrix_f(float* m, int n);
// C (ra x cb) = A (ra x ca) times B (rb x cb); C must be neither A nor B. Kept: programs rely on the product where ca
// is not rb. A line on standard output says so, and B must have ca rows. For ca below 1 C is zero.
NX_API int nx_multiply_matrices(const double* a, int ra, int ca, const double* b, int rb, int cb, double* c);
// As nx_multiply_matrices, for floats and summed in float.
NX_API int nx_multiply_matrices_f(const float* a, int ra, int ca, const float* b, int rb, int cb, float* c);
// out[i] = sum over k below m of M[i * m + k] v[k], for i below n; out must be neither M nor v.
NX_API int nx_multiply_vector_by_matrix_f(const float* matrix, const float* v, int n, int m, float* out);
// Prints a matrix row by row on standard output, "%f " per element. Here the number of columns comes before that of
// rows.
NX_API int nx_print_matrix(const float* m, int cols, int rows);
// Solves A x = b for a symmetric n x n matrix A, in double precision through its eigenvectors: x is the shortest of the
// vectors with the least |A x - b|; x may be b. Components along eigenvectors whose eigenvalue is below 1e-7 in
// magnitude are 0. Returns 0 and leaves x unchanged when elements are not finite or DetermineEigenVectors fails. Uses
// six tracked work arrays, freed on return.
NX_API int nx_solve_bilinear_equation_f(const float* a, const float* b, float* x, int n);

// ---- Rotations and frames ----

// The rotation by an angle (radians) about the axis (x, y, z), which need not be of length 1, into 9 doubles. An axis
// along z must not be passed: it is not checked for, and its matrix is not a number.
NX_API int nx_get_tortion_matrix(double* m, double angle, double x, double y, double z);
// Makes a near-rotation orthonormal, rows in their order (Gram-Schmidt). 0, with the rows changed so far, when a row
// has length 0 or is not a number.
NX_API int nx_reorthogonalize_rotation(float* m);
// The frames of two triplets of points (9 floats each; R may be one of them): R[3 i + j] is axis i of A's times axis j
// of B's. The frame of a triplet is e1 along p2 - p1, e2 in the plane of e1 and p3 less the x coordinate of p1 taken
// from each component, e3 = e1 x e2. Kept: programs rely on that x for all three, in frames that they stored. It is the
// textbook's frame only for a p1 whose three components are equal. Coinciding points give elements that are not
// numbers.
NX_API int nx_rotation_matrix_from_3_atoms(const float* a, const float* b, float* r);
// The coordinates of n points (3n floats) in the frame of a triplet, with its first point as origin. `in` and `out` may
// be one array.
NX_API int nx_get_3_point_coords(const float* p, const float* in, float* out, int n);
// The inverse of nx_get_3_point_coords: points from their coordinates in the frame. `in` and `out` may be one array.
NX_API int nx_regenerate_from_3_point_coords(const float* p, const float* in, float* out, int n);

// ---- Principal axes: M = R^T diag(l) R for a symmetric M of 9 elements ----
//
// R's rows are eigenvectors in descending order of eigenvalue, orthonormal to the rounding of its floats for every
// symmetric M, equal eigenvalues and singular matrices included. R need not be a proper rotation. The upper triangle is
// read; the lower one only in the tests for diagonal matrices. A matrix with elements that are not finite is treated
// like a null array. M and R may be one array. The root of the characteristic cubic that is farthest from the others is
// found first, by Newton's method. The two others come from the 2 x 2 problem perpendicular to its eigenvector, which
// keeps the digits of close eigenvalues. Matrices with a diagonal element far below the largest go to Jacobi's method
// (Demmel and Veselic, SIAM J. Matrix Anal. Appl. 13 (1992) 1204).

// The eigenvalues, descending, into 3 floats; into Roots too, unless M is diagonal (all off-diagonal elements below
// 1e-6 in magnitude).
NX_API int get_roots_of_3_by_3_matrix(const float* m, float* values);
// get_roots_of_3_by_3_matrix under an older name.
NX_API int get_roots_of_3_by_3(const float* m, float* values);
// Eigenvalues, descending, into Roots, and R. Result 4: M is diagonal (all off-diagonal elements below 1e-6 in
// magnitude); R is the permutation that sorts the diagonal. 2: the eigenvalues equal the diagonal elements in their
// order to within 1e-6; R is the identity. 0: `flag` is not 0, so only Roots was asked for; R is unchanged. 1
// otherwise: in each row of R the component of the diagonal element nearest to the eigenvalue is positive. Where one
// diagonal element is nearest to all three eigenvalues, R still holds the true axes, not the identity. -1, nothing
// written, for null arrays or elements that are not finite. Kept: programs rely on the two 1e-6 being absolute. Smaller
// off-diagonal elements are ignored; for result 2 that holds for elements up to about the square root of 1e-6 times M's
// norm. Scale matrices of small elements up first.
NX_API int make_rmat(const float* m, float* r, int flag);
// make_rmat under its exported name.
NX_API int nx_make_rmat(const float* m, float* r, int flag);
// As make_rmat, by another method (the roots of nx_SolveCubic, cross products, Jacobi rotations). make_rmat2 compares
// the two.
NX_API int make_rmat1(const float* m, float* r, int flag);
// Runs make_rmat1 and make_rmat and prints both results and the elements side by side. R is make_rmat's. Where
// make_rmat gives -1 it prints nothing and returns 0.
NX_API int make_rmat2(const float* m, float* r, int flag);
// The decomposition with the eigenvalues in the caller's array (3 doubles) instead of Roots; no shared state. Result as
// make_rmat's.
NX_API int nx_make_rmat_alt(const float* m, float* r, double* roots);
// As nx_make_rmat_alt, from 9 doubles.
NX_API int nx_make_rmat_alt_d(const double* m, float* r, double* roots);
// nx_make_rmat_alt under another name.
NX_API int nx_make_rmat2(const float* m, float* r, double* roots);
// Decomposes the transpose of M (so the lower triangle is read) by make_rmat, writes the transpose of R over M and the
// eigenvalues into 3 floats.
NX_API int get_roots_3(float* m, float* values);
// As get_roots_3, for M itself.
NX_API int get_roots_3_3(float* m, float* values);
// As make_rmat, for a symmetric 2 x 2 matrix: M and R have 4 elements. R is always a proper rotation by at most a
// quarter turn to either side. The two eigenvalues go into Roots, descending. Result 1.
NX_API int make_rmat_2d(const float* m, float* r);
// Prints R's elements beside those of R R^T, the diagonal elements of R R^T that differ from 1 by more than 0.001, and
// "tested rmat".
NX_API int test_rmat(const float* r);

NX_END_DECLS

#endif
