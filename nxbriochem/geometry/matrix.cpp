// Matrices of any size. The float and the double functions are instances of one template each.
#include <nxbriochem/geometry/matrix.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <utility>

#include <nxbriochem/util/work_array_internal.h>

namespace {

using work_array::size_of;

template <class Real>
int copy(const Real* src, int rows, int cols, Real* dst) {
  if (rows < 0 || cols < 0) {
    return 1;
  }
  if (src == nullptr || dst == nullptr) {
    return 0;
  }
  // The two may overlap.
  std::memmove(dst, src, size_of(rows) * size_of(cols) * sizeof(Real));
  return 1;
}

template <class Real>
int set_to_identity(Real* m, int n) {
  if (n < 0) {
    return 1;
  }
  if (m == nullptr) {
    return 0;
  }
  std::fill_n(m, size_of(n) * size_of(n), Real{0});
  for (std::size_t i = 0; i < size_of(n); ++i) {
    m[i * size_of(n) + i] = Real{1};
  }
  return 1;
}

template <class Real>
int transpose(Real* m, int n) {
  if (n < 0) {
    return 1;
  }
  if (m == nullptr) {
    return 0;
  }
  const std::size_t size = size_of(n);
  for (std::size_t i = 0; i < size; ++i) {
    for (std::size_t j = i + 1; j < size; ++j) {
      std::swap(m[i * size + j], m[j * size + i]);
    }
  }
  return 1;
}

template <class Real>
int multiply(const Real* a, int ra, int ca, const Real* b, int rb, int cb, Real* c) {
  if (ra > 0 && cb > 0 && (a == nullptr || b == nullptr || c == nullptr)) {
    return 0;
  }
  if (ca != rb) {
    // Kept: programs rely on the product, formed with ca.
    std::printf("cant multiple two matrices with dimensions %d (%d*%d) %d\n", ra, ca, rb, cb);
  }
  if (ra < 1 || cb < 1) {
    return 1;
  }
  const std::size_t inner = size_of(std::max(ca, 0));
  const std::size_t cols = size_of(cb);
  std::fill_n(c, size_of(ra) * cols, Real{0});
  // Each element of C adds up its terms in the order of k. Going through B row by row reads memory in order.
  for (std::size_t i = 0; i < size_of(ra); ++i) {
    for (std::size_t k = 0; k < inner; ++k) {
      const Real factor = a[i * inner + k];
      for (std::size_t j = 0; j < cols; ++j) {
        c[i * cols + j] += factor * b[k * cols + j];
      }
    }
  }
  return 1;
}

}  // namespace

int nx_copy_matrix(const double* src, int rows, int cols, double* dst) { return copy(src, rows, cols, dst); }

int nx_copy_matrix_f(const float* src, int rows, int cols, float* dst) { return copy(src, rows, cols, dst); }

int nx_set_to_identity(double* m, int n) { return set_to_identity(m, n); }

int nx_set_to_identity_f(float* m, int n) { return set_to_identity(m, n); }

int nx_transpose_matrix(double* m, int n) { return transpose(m, n); }

int nx_transpose_matrix_f(float* m, int n) { return transpose(m, n); }

int nx_multiply_matrices(const double* a, int ra, int ca, const double* b, int rb, int cb, double* c) {
  return multiply(a, ra, ca, b, rb, cb, c);
}

int nx_multiply_matrices_f(const float* a, int ra, int ca, const float* b, int rb, int cb, float* c) {
  return multiply(a, ra, ca, b, rb, cb, c);
}

int nx_multiply_vector_by_matrix_f(const float* matrix, const float* v, int n, int m, float* out) {
  if (n < 0 || m < 0) {
    return 1;
  }
  if (matrix == nullptr || v == nullptr || out == nullptr) {
    return 0;
  }
  for (std::size_t i = 0; i < size_of(n); ++i) {
    float sum = 0.0F;
    for (std::size_t k = 0; k < size_of(m); ++k) {
      sum += matrix[i * size_of(m) + k] * v[k];
    }
    out[i] = sum;
  }
  return 1;
}

int nx_print_matrix(const float* m, int cols, int rows) {
  if (cols < 0 || rows < 0) {
    return 1;
  }
  if (m == nullptr) {
    return 0;
  }
  for (std::size_t i = 0; i < size_of(rows); ++i) {
    for (std::size_t j = 0; j < size_of(cols); ++j) {
      std::printf("%f ", static_cast<double>(m[i * size_of(cols) + j]));
    }
    std::printf("\n");
  }
  return 1;
}
