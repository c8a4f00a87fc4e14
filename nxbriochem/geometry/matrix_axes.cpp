// Principal axes of symmetric 3 x 3 matrices. The statuses, the order of the tests, their fixed 1e-6 and the signs (the
// component that belongs to the diagonal element nearest the eigenvalue is positive) are those of the textbook method:
// the characteristic cubic and a 2 x 2 system per eigenvector. The decomposition itself is symmetric3's, because the
// cubic loses half of the digits of close eigenvalues and the 2 x 2 systems fail for equal ones. Three eigenvalues with
// the same nearest diagonal element, such as three equal ones, also get true axes.
#include <nxbriochem/geometry/matrix.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <utility>

#include <nxbriochem/geometry/roots.h>
#include <nxbriochem/geometry/symmetric3_internal.h>
#include <nxbriochem/util/vector3_internal.h>
#include <nxbriochem/util/work_array_internal.h>

namespace {

using symmetric3::PrincipalAxes;
using vector3::Vector;
using work_array::all_finite;

using vector3::Matrix;
using Method = PrincipalAxes (*)(const Matrix& m);

constexpr double kTolerance = 1e-6;
constexpr Matrix kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};
constexpr std::array<std::size_t, 6> kOffDiagonal = {1, 2, 3, 5, 6, 7};
// Statuses.
constexpr int kDiagonal = 4;
constexpr int kOnDiagonal = 2;
constexpr int kRootsOnly = 0;
constexpr int kDone = 1;
constexpr int kRefused = -1;

template <class Real>
Matrix to_matrix(const Real* m) {
  Matrix matrix;
  std::copy_n(m, 9, matrix.begin());
  return matrix;
}

// Stores the elements rounded to float, without negative zeros.
void store(const Matrix& from, float* to) {
  std::transform(from.begin(), from.end(), to, [](double element) { return static_cast<float>(element) + 0.0F; });
}

bool is_diagonal(const Matrix& m) {
  return std::all_of(kOffDiagonal.begin(), kOffDiagonal.end(),
                     [&m](std::size_t k) { return std::fabs(m[k]) < kTolerance; });
}

// Equal elements keep their order.
PrincipalAxes sorted_diagonal(const Matrix& m) {
  std::array<std::size_t, 3> order = {0, 1, 2};
  std::stable_sort(order.begin(), order.end(), [&m](std::size_t i, std::size_t j) { return m[4 * i] > m[4 * j]; });
  PrincipalAxes result = {};
  for (std::size_t row = 0; row < 3; ++row) {
    result.values[row] = m[4 * order[row]];
    result.axes[3 * row + order[row]] = 1.0;
  }
  return result;
}

// The index of the diagonal element closest to a value, the first of equally close ones.
std::size_t pivot_of(const Matrix& m, double value) {
  const double off[3] = {std::fabs(m[0] - value), std::fabs(m[4] - value), std::fabs(m[8] - value)};
  const std::size_t pivot = off[1] < off[0] ? 1 : 0;
  return off[2] < off[pivot] ? 2 : pivot;
}

// Reverses the rows whose pivot component is negative. It multiplies by a sign, since branches would be mispredicted.
void turn_to_pivots(const Matrix& m, PrincipalAxes& result) {
  for (std::size_t row = 0; row < 3; ++row) {
    double* axis = result.axes.data() + 3 * row;
    const double sign = std::copysign(1.0, axis[pivot_of(m, result.values[row])]);
    axis[0] *= sign;
    axis[1] *= sign;
    axis[2] *= sign;
  }
}

// The decomposition, by either method; roots and r as in make_rmat.
int decompose(const Matrix& m, Method method, bool roots_only, double* roots, float* r) {
  const bool diagonal = is_diagonal(m);
  PrincipalAxes result = diagonal ? sorted_diagonal(m) : method(m);
  std::copy(result.values.begin(), result.values.end(), roots);
  if (diagonal) {
    store(result.axes, r);
    return kDiagonal;
  }
  if (std::fabs(roots[0] - m[0]) <= kTolerance && std::fabs(roots[1] - m[4]) <= kTolerance &&
      std::fabs(roots[2] - m[8]) <= kTolerance) {
    store(kIdentity, r);
    return kOnDiagonal;
  }
  if (roots_only) {
    return kRootsOnly;
  }
  turn_to_pivots(m, result);
  store(result.axes, r);
  return kDone;
}

template <class Real>
int decompose_checked(const Real* m, Method method, bool roots_only, double* roots, float* r) {
  if (m == nullptr || roots == nullptr || r == nullptr || !all_finite(m, 9)) {
    return kRefused;
  }
  return decompose(to_matrix(m), method, roots_only, roots, r);
}

// Orthonormal axes near those of the characteristic cubic's roots; the identity where the roots are not distinct.
Matrix axes_from_cubic(const Matrix& m) {
  const double minors = m[0] * m[4] - m[1] * m[1] + m[0] * m[8] - m[2] * m[2] + m[4] * m[8] - m[5] * m[5];
  if (nx_SolveCubic(1.0, -(m[0] + m[4] + m[8]), minors, -vector3::symmetric_determinant(m)) == 0) {
    return kIdentity;
  }
  const auto [smallest, largest] = std::minmax({Roots[0], Roots[1], Roots[2]});
  const Vector first = vector3::unit(vector3::along_null_vector(m, largest));
  const Vector last = vector3::unit(vector3::along_null_vector(m, smallest));
  const Vector across = vector3::minus(last, vector3::times(vector3::dot(first, last), first));
  if (!(vector3::dot(across, across) > 0.25)) {
    return kIdentity;
  }
  const Vector third = vector3::unit(across);
  const Vector second = vector3::cross(third, first);
  return {first[0], first[1], first[2], second[0], second[1], second[2], third[0], third[1], third[2]};
}

PrincipalAxes by_cubic(const Matrix& m) { return symmetric3::jacobi_axes(m, axes_from_cubic(m)); }

void transpose(float* m) { nx_transpose_matrix_f(m, 3); }

}  // namespace

int make_rmat(const float* m, float* r, int flag) {
  return decompose_checked(m, symmetric3::principal_axes, flag != 0, Roots, r);
}

int nx_make_rmat(const float* m, float* r, int flag) { return make_rmat(m, r, flag); }

int make_rmat1(const float* m, float* r, int flag) { return decompose_checked(m, by_cubic, flag != 0, Roots, r); }

int make_rmat2(const float* m, float* r, int flag) {
  if (m == nullptr || r == nullptr || !all_finite(m, 9)) {
    return 0;
  }
  // Where only the eigenvalues are wanted, neither writes its matrix, and r's old elements are printed for both.
  float older[9];
  nx_copy_matrix_f(r, 3, 3, older);
  const int older_status = make_rmat1(m, older, flag);
  const int status = make_rmat(m, r, flag);
  std::printf("status: %d %d\n", older_status, status);
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      const auto a = static_cast<double>(older[3 * i + j]);
      const auto b = static_cast<double>(r[3 * i + j]);
      std::printf("mat1, mat2 %d %d, %f %f, %f\n", i, j, a, b, std::fabs(a - b));
    }
  }
  return 1;
}

int nx_make_rmat_alt(const float* m, float* r, double* roots) {
  return decompose_checked(m, symmetric3::principal_axes, false, roots, r);
}

int nx_make_rmat_alt_d(const double* m, float* r, double* roots) {
  return decompose_checked(m, symmetric3::principal_axes, false, roots, r);
}

int nx_make_rmat2(const float* m, float* r, double* roots) { return nx_make_rmat_alt(m, r, roots); }

int get_roots_of_3_by_3_matrix(const float* m, float* values) {
  if (m == nullptr || values == nullptr || !all_finite(m, 9)) {
    return 0;
  }
  const Matrix matrix = to_matrix(m);
  const bool diagonal = is_diagonal(matrix);
  const PrincipalAxes result = diagonal ? sorted_diagonal(matrix) : symmetric3::principal_axes(matrix);
  if (!diagonal) {
    std::copy(result.values.begin(), result.values.end(), Roots);
  }
  std::transform(result.values.begin(), result.values.end(), values,
                 [](double root) { return static_cast<float>(root); });
  return 1;
}

int get_roots_of_3_by_3(const float* m, float* values) { return get_roots_of_3_by_3_matrix(m, values); }

int get_roots_3(float* m, float* values) {
  if (m == nullptr || values == nullptr || !all_finite(m, 9)) {
    return 0;
  }
  transpose(m);
  return get_roots_3_3(m, values);
}

int get_roots_3_3(float* m, float* values) {
  float r[9];
  if (values == nullptr || make_rmat(m, r, 0) == kRefused) {
    return 0;
  }
  transpose(r);
  nx_copy_matrix_f(r, 3, 3, m);
  std::transform(Roots, Roots + 3, values, [](double root) { return static_cast<float>(root); });
  return 1;
}

int make_rmat_2d(const float* m, float* r) {
  if (m == nullptr || r == nullptr || !all_finite(m, 4)) {
    return 0;
  }
  const double a = m[0];
  const double b = m[1];
  const double c = m[3];
  // The vector (a - c, 2 b) is at twice the angle of the first axis. The angle is halved without loss of digits near
  // either axis.
  const double difference = a - c;
  const double length = std::sqrt(difference * difference + 4.0 * b * b);
  double cosine = 1.0;
  double sine = 0.0;
  if (length > 0.0) {
    const double larger = std::sqrt(0.5 * (1.0 + std::fabs(difference) / length));
    const double smaller = std::fabs(b) / (length * larger);
    cosine = difference >= 0.0 ? larger : smaller;
    sine = std::copysign(difference >= 0.0 ? smaller : larger, b);
  }
  const double rotation[4] = {cosine, sine, -sine, cosine};
  std::transform(rotation, rotation + 4, r, [](double element) { return static_cast<float>(element); });
  Roots[0] = 0.5 * (a + c + length);
  Roots[1] = 0.5 * (a + c - length);
  return 1;
}

int test_rmat(const float* r) {
  if (r == nullptr) {
    return 0;
  }
  float transposed[9];
  float product[9];
  nx_copy_matrix_f(r, 3, 3, transposed);
  transpose(transposed);
  nx_multiply_matrices_f(r, 3, 3, transposed, 3, 3, product);
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      std::printf("%d %d= %f", i, j, static_cast<double>(r[3 * i + j]));
      std::printf(" %f\n", static_cast<double>(product[3 * i + j]));
    }
  }
  for (int i = 0; i < 3; ++i) {
    const auto diagonal = static_cast<double>(product[4 * i]);
    if (!(std::fabs(diagonal - 1.0) <= 0.001)) {
      std::printf("failed at %d,%d, %f\n", i, i, diagonal);
    }
  }
  std::printf("tested rmat");
  return 1;
}
