// A closed form that loses no digits, and Jacobi rotations for the matrices for which it fails.
//
// After subtraction of the diagonal's mean and scaling, the eigenvalues are the roots of x^3 - 3 x - 2 r with |r| <= 1.
// The usual method takes all three from acos(r), which keeps half of the digits where two roots are close. Here only
// the root that is farthest from the others is taken; it is a smooth function of r. Its eigenvector is a cross product
// of rows, without cancellation, and the plane perpendicular to it is a 2 x 2 problem that one rotation solves. Errors
// are some roundings of the scaled matrix, so clustered eigenvalues keep their directions.
//
// Where a diagonal element is far below the largest element, subtracting the mean would destroy the small eigenvalue
// that it determines. Such matrices go to Jacobi's method, which keeps it (Demmel & Veselic, SIAM J. Matrix Anal. Appl.
// 13 (1992) 1204).
#include <nxbriochem/geometry/symmetric3_internal.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include <nxbriochem/util/vector3_internal.h>

namespace symmetric3 {
namespace {

using vector3::cross;
using vector3::dot;
using vector3::times;
using vector3::Vector;

using vector3::Matrix;

constexpr Matrix kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};
// A diagonal element below this part of the largest element has too few digits left in the closed form.
constexpr double kGraded = 1e-6;
// Outside this range the squares and cubes of elements overflow or underflow.
constexpr double kSmallest = 0x1p-200;
constexpr double kLargest = 0x1p200;
// Quadratic convergence needs about 6 sweeps; this bounds them.
constexpr int kMaxSweeps = 40;

// The rotation that makes the off-diagonal element b of [a b; b c] vanish: a becomes a - t b, c becomes c + t b.
struct Rotation {
  double t = 0.0;
  double cosine = 1.0;
  double sine = 0.0;
};

Rotation rotation_of(double a, double b, double c) {
  if (b == 0.0) {
    return {};
  }
  const double theta = (c - a) / (2.0 * b);
  // At most 1 in magnitude, and 0 where theta is infinite.
  const double t = std::copysign(1.0, theta) / (std::fabs(theta) + std::sqrt(theta * theta + 1.0));
  const double cosine = 1.0 / std::sqrt(t * t + 1.0);
  return {t, cosine, t * cosine};
}

PrincipalAxes sorted(PrincipalAxes result) {
  const auto order = [&result](std::size_t i, std::size_t j) {
    if (result.values[i] < result.values[j]) {
      std::swap(result.values[i], result.values[j]);
      std::swap_ranges(result.axes.begin() + static_cast<std::ptrdiff_t>(3 * i),
                       result.axes.begin() + static_cast<std::ptrdiff_t>(3 * i + 3),
                       result.axes.begin() + static_cast<std::ptrdiff_t>(3 * j));
    }
  };
  order(0, 1);
  order(1, 2);
  order(0, 1);
  return result;
}

// The root of x^3 - 3 x - 2 r that is farthest from the others, for r from 0 to 1. It lies between sqrt(3) and 2. A
// polynomial through Chebyshev points gives it to 1e-5, then Newton's steps follow.
double root_apart(double r) {
  double x =
      1.732060864045382 +
      r * (0.33282344357519167 + r * (-0.09184386626152735 + r * (0.03502437715042064 + r * -0.008070797433310501)));
  for (int step = 0; step < 2; ++step) {
    x = (2.0 * x * x * x + 2.0 * r) / (3.0 * x * x - 3.0);
  }
  return x;
}

Vector perpendicular_to(const Vector& v) {
  const bool by_x = std::fabs(v[0]) > std::fabs(v[1]);
  const double larger = by_x ? v[0] : v[1];
  const double length = std::sqrt(larger * larger + v[2] * v[2]);
  const double first = larger / length;
  const double second = v[2] / length;
  return {by_x ? -second : 0.0, by_x ? 0.0 : second, by_x ? first : -first};
}

// The deviator b of m less its mean, over its scale: b has trace 0 and squares that add up to 6.
struct Scaled {
  Matrix b;
  double mean;
  double scale;
};

Scaled scaled_deviator(const Matrix& m) {
  const double mean = (m[0] + m[4] + m[8]) / 3.0;
  Matrix b = {m[0] - mean, m[1], m[2], m[1], m[4] - mean, m[5], m[2], m[5], m[8] - mean};
  // The mean is subtracted again: the first mean has a rounding error of the size of m's, and b may be far smaller than
  // m.
  const double rest = (b[0] + b[4] + b[8]) / 3.0;
  b[0] -= rest;
  b[4] -= rest;
  b[8] -= rest;
  const double squares = b[0] * b[0] + b[4] * b[4] + b[8] * b[8] + 2.0 * (b[1] * b[1] + b[2] * b[2] + b[5] * b[5]);
  return {b, mean + rest, std::sqrt(squares / 6.0)};
}

PrincipalAxes closed_form(const Scaled& scaled) {
  Matrix b = scaled.b;
  const double shrink = 1.0 / scaled.scale;
  for (double& element : b) {
    element *= shrink;
  }
  const double half_determinant = 0.5 * vector3::symmetric_determinant(b);
  // Where the smallest eigenvalue is the one apart, the sign is reversed so that it becomes the largest.
  const double sign = std::copysign(1.0, half_determinant);
  for (double& element : b) {
    element *= sign;
  }
  const double x = root_apart(std::min(std::fabs(half_determinant), 1.0));
  const Vector v = vector3::unit(vector3::along_null_vector(b, x));
  const Vector u = perpendicular_to(v);
  const Vector w = cross(v, u);
  const Vector bu = times(b, u);
  const Vector bw = times(b, w);
  const double uw = dot(u, bw);
  const Rotation rotation = rotation_of(dot(u, bu), uw, dot(w, bw));
  const double of_u = dot(u, bu) - rotation.t * uw;
  const double of_w = dot(w, bw) + rotation.t * uw;

  // The eigenvalue next to the one apart belongs in the middle for either sign. Rows are chosen by index, without
  // branches.
  const std::size_t row_apart = sign > 0.0 ? 0 : 2;
  const std::size_t row_u = of_u >= of_w ? 1 : 2 - row_apart;
  const std::size_t row_w = of_u >= of_w ? 2 - row_apart : 1;
  const double scale = sign * scaled.scale;
  PrincipalAxes result;
  result.values[row_apart] = scaled.mean + scale * x;
  result.values[row_u] = scaled.mean + scale * of_u;
  result.values[row_w] = scaled.mean + scale * of_w;
  for (std::size_t k = 0; k < 3; ++k) {
    result.axes[3 * row_apart + k] = v[k];
    result.axes[3 * row_u + k] = rotation.cosine * u[k] - rotation.sine * w[k];
    result.axes[3 * row_w + k] = rotation.sine * u[k] + rotation.cosine * w[k];
  }
  return result;
}

// One rotation in the plane of axes p and q; r is the third. False when there is nothing left to rotate away.
bool rotate(Matrix& a, Matrix& axes, std::size_t p, std::size_t q, std::size_t r) {
  double& off = a[3 * p + q];
  double& app = a[4 * p];
  double& aqq = a[4 * q];
  const double size = std::fabs(off);
  if (std::fabs(app) + size == std::fabs(app) && std::fabs(aqq) + size == std::fabs(aqq)) {
    off = 0.0;
    return false;
  }
  const Rotation rotation = rotation_of(app, off, aqq);
  app -= rotation.t * off;
  aqq += rotation.t * off;
  off = 0.0;
  double& pr = a[3 * std::min(p, r) + std::max(p, r)];
  double& qr = a[3 * std::min(q, r) + std::max(q, r)];
  const double old_pr = pr;
  pr = rotation.cosine * pr - rotation.sine * qr;
  qr = rotation.sine * old_pr + rotation.cosine * qr;
  for (std::size_t k = 0; k < 3; ++k) {
    const double old = axes[3 * p + k];
    axes[3 * p + k] = rotation.cosine * old - rotation.sine * axes[3 * q + k];
    axes[3 * q + k] = rotation.sine * old + rotation.cosine * axes[3 * q + k];
  }
  return true;
}

// The matrix in the basis of the axes; upper triangle only.
Matrix seen_from(const Matrix& axes, const Matrix& m) {
  const Matrix whole = {m[0], m[1], m[2], m[1], m[4], m[5], m[2], m[5], m[8]};
  Matrix seen = {};
  for (std::size_t j = 0; j < 3; ++j) {
    const Vector column = times(whole, {axes[3 * j], axes[3 * j + 1], axes[3 * j + 2]});
    for (std::size_t i = 0; i <= j; ++i) {
      seen[3 * i + j] = axes[3 * i] * column[0] + axes[3 * i + 1] * column[1] + axes[3 * i + 2] * column[2];
    }
  }
  return seen;
}

PrincipalAxes jacobi_of(Matrix a, const Matrix& guess) {
  PrincipalAxes result = {{}, guess};
  for (int sweep = 0; sweep < kMaxSweeps; ++sweep) {
    const bool rotated01 = rotate(a, result.axes, 0, 1, 2);
    const bool rotated02 = rotate(a, result.axes, 0, 2, 1);
    const bool rotated12 = rotate(a, result.axes, 1, 2, 0);
    if (!rotated01 && !rotated02 && !rotated12) {
      break;
    }
  }
  result.values = {a[0], a[4], a[8]};
  return sorted(result);
}

// Calls decompose(m, its largest element). Where needed, m is scaled by a power of two before and the eigenvalues are
// scaled back after.
template <class Decompose>
PrincipalAxes in_range(const Matrix& m, Decompose decompose) {
  const double largest =
      std::max({std::fabs(m[0]), std::fabs(m[1]), std::fabs(m[2]), std::fabs(m[4]), std::fabs(m[5]), std::fabs(m[8])});
  if (largest > kSmallest && largest < kLargest) {
    return decompose(m, largest);
  }
  if (largest == 0.0) {
    return {{0, 0, 0}, kIdentity};
  }
  const int exponent = std::ilogb(largest);
  Matrix scaled = m;
  for (double& element : scaled) {
    element = std::scalbn(element, -exponent);
  }
  PrincipalAxes result = decompose(scaled, std::scalbn(largest, -exponent));
  for (double& value : result.values) {
    value = std::scalbn(value, exponent);
  }
  return result;
}

}  // namespace

PrincipalAxes principal_axes(const std::array<double, 9>& m) {
  return in_range(m, [](const Matrix& a, double largest) {
    const double least = std::min({std::fabs(a[0]), std::fabs(a[4]), std::fabs(a[8])});
    const Scaled deviator = scaled_deviator(a);
    return least > kGraded * largest && deviator.scale > kSmallest ? closed_form(deviator) : jacobi_of(a, kIdentity);
  });
}

PrincipalAxes jacobi_axes(const std::array<double, 9>& m, const std::array<double, 9>& guess) {
  return in_range(m, [&guess](const Matrix& a, double) { return jacobi_of(seen_from(guess, a), guess); });
}

}  // namespace symmetric3
