// Since the matrix is symmetric, its product with a vector is computed as a weighted sum of its rows. That needs no
// sums across a vector register: every element of the result adds up in the order of the rows, at any vector width.
#include <nxbriochem/optimise/inverse_matrix_internal.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

#include <nxbriochem/optimise/vectors_internal.h>

namespace inverse_matrix {
namespace {

double* row_of(double* h, int32_t i, int32_t n) { return h + static_cast<std::ptrdiff_t>(i) * n; }
const double* row_of(const double* h, int32_t i, int32_t n) { return h + static_cast<std::ptrdiff_t>(i) * n; }

// The lower triangle of h becomes Cholesky's factor L.
bool factorise(double* h, int32_t n) {
  for (int32_t i = 0; i < n; ++i) {
    double* row = row_of(h, i, n);
    for (int32_t j = 0; j < i; ++j) {
      const double* above = row_of(h, j, n);
      row[j] = (row[j] - vectors::dot(row, above, j)) / above[j];
    }
    const double pivot = row[i] - vectors::square(row, i);
    if (!(pivot > 0) || !std::isfinite(pivot)) {
      return false;
    }
    row[i] = std::sqrt(pivot);
  }
  return true;
}

// L becomes its inverse, row by row: row i of it is -(row i of L without the diagonal) times the rows above, over the
// diagonal.
void invert_factor(double* h, int32_t n) {
  for (int32_t i = 0; i < n; ++i) {
    double* row = row_of(h, i, n);
    const double diagonal = row[i];
    for (int32_t k = 0; k < i; ++k) {
      const double factor = row[k];
      row[k] = 0;
      vectors::add_scaled(row, -factor, row_of(h, k, n), k + 1);
    }
    for (int32_t j = 0; j < i; ++j) {
      row[j] /= diagonal;
    }
    row[i] = 1 / diagonal;
  }
}

}  // namespace

void set_unit(double* h, int32_t n, double scale) {
  std::fill(h, row_of(h, n, n), 0.0);
  for (int32_t i = 0; i < n; ++i) {
    row_of(h, i, n)[i] = scale;
  }
}

bool invert(double* h, int32_t n) {
  if (!factorise(h, n)) {
    return false;
  }
  invert_factor(h, n);
  // Row i of L^-T L^-1 needs only the rows from i on, so it can overwrite row i.
  for (int32_t i = 0; i < n; ++i) {
    double* row = row_of(h, i, n);
    const double diagonal = row[i];
    for (int32_t j = 0; j <= i; ++j) {
      row[j] *= diagonal;
    }
    for (int32_t k = i + 1; k < n; ++k) {
      vectors::add_scaled(row, row_of(h, k, n)[i], row_of(h, k, n), i + 1);
    }
  }
  for (int32_t i = 0; i < n; ++i) {
    for (int32_t j = 0; j < i; ++j) {
      row_of(h, j, n)[i] = row_of(h, i, n)[j];
    }
  }
  return true;
}

void multiply(const double* h, const double* v, double* out, int32_t n) {
  std::fill(out, out + n, 0.0);
  for (int32_t i = 0; i < n; ++i) {
    vectors::add_scaled(out, v[i], row_of(h, i, n), n);
  }
}

namespace {

// An element of factor h + p s^T + s p^T.
inline double updated(double element, double factor, double pi, double sj, double si, double pj) {
  return factor * element + (pi * sj + si * pj);
}

}  // namespace

// Two rows at a time, which halves the reading of p, s and the sums.
void add_and_multiply(double* h, double factor, const double* p, const double* s, const double* v, double* out,
                      int32_t n) {
  std::fill(out, out + n, 0.0);
  double* __restrict sum = out;
  int32_t i = 0;
  for (; i + 1 < n; i += 2) {
    double* __restrict row = row_of(h, i, n);
    double* __restrict next = row_of(h, i + 1, n);
    const double p0 = p[i];
    const double s0 = s[i];
    const double v0 = v[i];
    const double p1 = p[i + 1];
    const double s1 = s[i + 1];
    const double v1 = v[i + 1];
    for (int32_t j = 0; j < n; ++j) {
      const double first = updated(row[j], factor, p0, s[j], s0, p[j]);
      const double second = updated(next[j], factor, p1, s[j], s1, p[j]);
      row[j] = first;
      next[j] = second;
      sum[j] = (sum[j] + v0 * first) + v1 * second;
    }
  }
  if (i < n) {
    double* __restrict row = row_of(h, i, n);
    for (int32_t j = 0; j < n; ++j) {
      row[j] = updated(row[j], factor, p[i], s[j], s[i], p[j]);
      sum[j] += v[i] * row[j];
    }
  }
}

}  // namespace inverse_matrix
