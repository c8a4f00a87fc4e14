// Symmetric systems of equations, solved through the eigenvectors. Kept out of matrix.cpp, because the eigenvectors are
// computed with functions of that file.
#include <algorithm>
#include <cmath>
#include <cstddef>

#include <nxbriochem/geometry/matrix.h>
#include <nxbriochem/geometry/r_eig.h>
#include <nxbriochem/util/work_array_internal.h>

namespace {

using work_array::all_finite;
using work_array::size_of;
using work_array::Work;

// An eigenvalue below this in magnitude counts as singular.
constexpr double kSingular = 1e-7;

}  // namespace

int nx_solve_bilinear_equation_f(const float* a, const float* b, float* x, int n) {
  if (n < 1) {
    return 1;
  }
  if (a == nullptr || b == nullptr || x == nullptr) {
    return 0;
  }
  const std::size_t size = size_of(n);
  if (!all_finite(a, size * size) || !all_finite(b, size)) {
    return 0;
  }
  const Work<double> vectors(size * size);
  const Work<double> columns(size * size);
  const Work<double> values(size);
  const Work<double> right(size);
  const Work<double> seen(size);
  const Work<double> solution(size);
  std::copy_n(a, size * size, vectors.data());
  std::copy_n(b, size, right.data());
  if (DetermineEigenVectors(vectors.data(), values.data(), n, NX_EIGENVECTORS_IN_ROWS) == 0) {
    return 0;
  }
  nx_copy_matrix(vectors.data(), n, n, columns.data());
  nx_transpose_matrix(columns.data(), n);
  // The eigenvectors are the rows: b in their basis, divided by the eigenvalues, and transformed back.
  nx_multiply_matrices(vectors.data(), n, n, right.data(), n, 1, seen.data());
  for (std::size_t k = 0; k < size; ++k) {
    seen[k] = std::fabs(values[k]) < kSingular ? 0.0 : seen[k] / values[k];
  }
  nx_multiply_matrices(columns.data(), n, n, seen.data(), n, 1, solution.data());
  std::transform(solution.data(), solution.data() + size, x, [](double value) { return static_cast<float>(value); });
  return 1;
}
