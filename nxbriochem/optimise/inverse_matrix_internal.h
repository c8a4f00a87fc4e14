// The matrix of the dense method: an approximation to the inverse of the second derivatives, symmetric, n x n, row by
// row. Private to this directory; C++ only.
#ifndef NXBRIOCHEM_OPTIMISE_INVERSE_MATRIX_INTERNAL_H
#define NXBRIOCHEM_OPTIMISE_INVERSE_MATRIX_INTERNAL_H

#include <cstdint>

namespace inverse_matrix {

// h = scale times the unit matrix.
void set_unit(double* h, int32_t n, double scale);

// Replaces a symmetric matrix, of which only the lower triangle is read, by its inverse (Cholesky factorisation).
// false: it is not positive definite, and h has been overwritten.
bool invert(double* h, int32_t n);

// out = h v
void multiply(const double* h, const double* v, double* out, int32_t n);

// h = factor h + p s^T + s p^T, then out = h v, in one pass.
void add_and_multiply(double* h, double factor, const double* p, const double* s, const double* v, double* out,
                      int32_t n);

}  // namespace inverse_matrix

#endif
