// Let C be the sum of x y^T over the pairs, relative to their centres. The best rotation R maximises trace(R^T C)
// (W. Kabsch, Acta Cryst. A 32 (1976) 922 and 34 (1978) 827).
//
// Most sets: the best trace is the largest eigenvalue of a symmetric 4 x 4 matrix, and its eigenvector the quaternion
// of the rotation (B. K. P. Horn, J. Opt. Soc. Am. A 4 (1987) 629). Newton's method finds the eigenvalue as the largest
// root of the characteristic quartic (D. L. Theobald, Acta Cryst. A 61 (2005) 478; the coefficients are written with
// the invariants of C^T C here). Where that root is well separated from the others, a column of the adjugate is the
// eigenvector (P. Liu, D. K. Agrafiotis & D. L. Theobald, J. Comput. Chem. 31 (2010) 1561).
//
// Flat and straight sets: the textbook method uses all three singular pairs of C and turns the third round when C has a
// negative determinant. It fails where the determinant is rounding. Here only the first pair (u, v) comes from the
// eigenvectors of C^T C, in double: squaring C does not harm that one, and the best proper rotation always takes v to
// u. What remains is a rotation by one angle in the plane perpendicular to u, with a closed form: with N the 2 x 2
// matrix of C between right-handed frames around u and v, the plane's best contribution to the trace is the length of
// (N00 + N11, N10 - N01). An error e in v costs e^2.
//
// The sum of squares after the fit is the sum before it less twice the trace. Where the difference is close to
// rounding, a second pass over the points computes it from the residuals, without cancellation.
#include <nxbriochem/geometry/superposition_internal.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include <nxbriochem/geometry/symmetric3_internal.h>
#include <nxbriochem/util/vector3_internal.h>

namespace superposition {
namespace {

using vector3::cross;
using vector3::dot;
using vector3::minus;
using vector3::plus;
using vector3::times;
using vector3::unit;
using vector3::vector_at;

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr Matrix kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};
// The error of an RMS deviation, in angstrom, above which it is computed from the residuals: a quarter of the
// documented accuracy.
constexpr double kTolerance = 5e-7;
// Traces with a smaller relative difference are equal but for rounding.
constexpr double kRounding = 32 * kEpsilon;
// Limits of Newton's method: the least slope of the quartic at its root, divided by the root's cube, for which the
// result is trusted; the relative change after which (by quadratic convergence) all digits are right; the most steps.
constexpr double kWellApart = 0.05;
constexpr double kConverged = 1e-9;
constexpr int kMaxSteps = 30;
// For squares of C between these, the sixth powers (the squares of the adjugate's elements) stay in the range of a
// double.
constexpr double kSmallest = 1e-90;
constexpr double kLargest = 1e90;

Vector row(const Matrix& m, std::size_t i) { return {m[3 * i], m[3 * i + 1], m[3 * i + 2]}; }

// The part of a unit vector perpendicular to another one, normalised. They must not be parallel.
Vector perpendicular_part(const Vector& a, const Vector& along) { return unit(minus(a, times(dot(a, along), along))); }

// The direction and the length of C v for the unit vector v. The length is 0 only where C is zero.
double image_of(const Matrix& c, const Vector& v, Vector& direction) {
  const Vector image = times(c, v);
  const double length = std::sqrt(dot(image, image));
  direction = length > 0 ? times(1.0 / length, image) : v;
  return length;
}

Matrix gram(const Matrix& c) {
  Matrix product{};
  for (std::size_t j = 0; j < 3; ++j) {
    for (std::size_t k = j; k < 3; ++k) {
      product[3 * j + k] = c[j] * c[k] + c[3 + j] * c[3 + k] + c[6 + j] * c[6 + k];
    }
  }
  return product;
}

struct Turn {
  Matrix rotation;
  double trace;  // of rotation^T C
};

Turn turn_by_frames(const Matrix& c) {
  const symmetric3::PrincipalAxes axes = symmetric3::principal_axes(gram(c));
  const Vector v0 = row(axes.axes, 0);
  Vector u0{};
  const double first = image_of(c, v0, u0);

  // Right-handed frames around both. The frame of u is made from that of v, so that the frames are nearly equal where
  // u0 and v0 are.
  const Vector side[2] = {row(axes.axes, 1), row(axes.axes, 2)};
  const Vector v1 = side[std::fabs(dot(side[0], u0)) < std::fabs(dot(side[1], u0)) ? 0 : 1];
  const Vector v2 = cross(v0, v1);
  const Vector u1 = perpendicular_part(v1, u0);
  const Vector u2 = cross(u0, u1);

  const Vector cv1 = times(c, v1);
  const Vector cv2 = times(c, v2);
  const double straight = dot(u1, cv1) + dot(u2, cv2);
  const double across = dot(u2, cv1) - dot(u1, cv2);
  const double plane = std::sqrt(straight * straight + across * across);
  const double cosine = plane > 0 ? straight / plane : 1.0;
  const double sine = plane > 0 ? across / plane : 0.0;

  Turn turn{{}, first + plane};
  for (std::size_t i = 0; i < 3; ++i) {
    const double of_v1 = cosine * u1[i] + sine * u2[i];
    const double of_v2 = cosine * u2[i] - sine * u1[i];
    for (std::size_t j = 0; j < 3; ++j) {
      turn.rotation[3 * i + j] = u0[i] * v0[j] + of_v1 * v1[j] + of_v2 * v2[j];
    }
  }
  return turn;
}

// The trace alone, at most `bound`; 0 where it cannot be computed accurately enough.
double trace_by_newton(const Matrix& c, double bound) {
  const Matrix g = gram(c);
  const double sum = g[0] + g[4] + g[8];
  if (!(sum > kSmallest && sum < kLargest)) {
    return 0.0;
  }
  const double products = (g[0] * g[4] - g[1] * g[1]) + (g[0] * g[8] - g[2] * g[2]) + (g[4] * g[8] - g[5] * g[5]);
  const double linear = -8.0 * vector3::determinant(c);
  const double constant = sum * sum - 4.0 * products;
  double x = std::min(bound, std::sqrt(3.0 * sum));
  for (int step = 0; step < kMaxSteps; ++step) {
    const double x2 = x * x;
    const double slope = 4.0 * x * (x2 - sum) + linear;
    if (!(slope > kWellApart * x2 * x)) {
      return 0.0;
    }
    const double change = (x2 * (x2 - 2.0 * sum) + linear * x + constant) / slope;
    x -= change;
    if (std::fabs(change) < kConverged * x) {
      return x;
    }
  }
  return 0.0;
}

// The rotation that belongs to the trace of trace_by_newton, which must not be 0. The adjugate of (Horn's matrix less
// the trace times the unit matrix) is a multiple of q q^T, where q = (w, x, y, z) is the quaternion. The longest column
// has the largest diagonal element, at least a quarter of their sum. Every column has the direction of q to some 1e-12.
Matrix turn_by_quaternion(const Matrix& c, double trace) {
  const double a00 = c[0] + c[4] + c[8] - trace;
  const double a11 = c[0] - c[4] - c[8] - trace;
  const double a22 = c[4] - c[0] - c[8] - trace;
  const double a33 = c[8] - c[0] - c[4] - trace;
  const double a01 = c[7] - c[5];
  const double a02 = c[2] - c[6];
  const double a03 = c[3] - c[1];
  const double a12 = c[3] + c[1];
  const double a13 = c[2] + c[6];
  const double a23 = c[7] + c[5];
  // Minors of the first two rows and of the last two, named after their columns.
  const double upper01 = a00 * a11 - a01 * a01;
  const double upper02 = a00 * a12 - a01 * a02;
  const double upper03 = a00 * a13 - a01 * a03;
  const double upper12 = a01 * a12 - a11 * a02;
  const double upper13 = a01 * a13 - a11 * a03;
  const double upper23 = a02 * a13 - a12 * a03;
  const double lower02 = a02 * a23 - a03 * a22;
  const double lower03 = a02 * a33 - a03 * a23;
  const double lower12 = a12 * a23 - a13 * a22;
  const double lower13 = a12 * a33 - a13 * a23;
  const double lower23 = a22 * a33 - a23 * a23;
  const double q01 = a02 * lower13 - a01 * lower23 - a03 * lower12;
  const double q02 = a13 * upper23 - a23 * upper13 + a33 * upper12;
  const double q03 = a22 * upper13 - a12 * upper23 - a23 * upper12;
  const double q12 = a23 * upper03 - a03 * upper23 - a33 * upper02;
  const double q13 = a02 * upper23 - a22 * upper03 + a23 * upper02;
  const double q23 = a12 * upper03 - a02 * upper13 - a23 * upper01;
  const std::array<std::array<double, 4>, 4> columns = {
      {{a11 * lower23 - a12 * lower13 + a13 * lower12, q01, q02, q03},
       {q01, a00 * lower23 - a02 * lower03 + a03 * lower02, q12, q13},
       {q02, q12, a03 * upper13 - a13 * upper03 + a33 * upper01, q23},
       {q03, q13, q23, a02 * upper12 - a12 * upper02 + a22 * upper01}}};
  // Without branches, since they would be mispredicted.
  const auto longer = [&columns](std::size_t i, std::size_t j) {
    return std::fabs(columns[i][i]) < std::fabs(columns[j][j]) ? j : i;
  };
  const auto [w, x, y, z] = columns[longer(longer(0, 1), longer(2, 3))];
  const double s = 2.0 / (w * w + x * x + y * y + z * z);
  return {1.0 - s * (y * y + z * z), s * (x * y - w * z),       s * (x * z + w * y),
          s * (x * y + w * z),       1.0 - s * (x * x + z * z), s * (y * z - w * x),
          s * (x * z - w * y),       s * (y * z + w * x),       1.0 - s * (x * x + y * y)};
}

// Whether the identity is as good as the best rotation. It is considered only where C is exactly symmetric, as for a
// set and its copy. There rounding would otherwise turn the copy, if the points lie on a line or in one place.
bool is_best_unturned(const Matrix& c, double trace) {
  return c[1] == c[3] && c[2] == c[6] && c[5] == c[7] && c[0] + c[4] + c[8] >= trace * (1.0 - kRounding);
}

// Both sets relative to their centres. The centres are relative to the first points.
struct Centred {
  Vector centre1;
  Vector centre2;
  double squares;  // sum of the squares of all distances from the centres
  Matrix c;
  double rounding;  // how far squares - 2 trace may be off

  double left(double trace) const { return squares - 2.0 * trace; }
};

// A bound for `rounding`, with u half of kEpsilon, n pairs, and S the sum of |x|^2 + |y|^2 before centring. Each sum
// over the pairs has at most m = n / 4 + 10 roundings one after the other and is off by m u times the sum of its
// absolute terms. For the sum of squares that is m u S, for the product of two sums over n that is taken off to centre
// it 2 m u S; for twice the trace, a sum over all rotated products, it is sqrt(3) times as much. Together below 9 m u
// S. The trace from a given C is the root of a quartic whose value is off by some 64 u of the root's fourth power,
// which its slope divides. Measured, sums of equal terms are off by 1/70 of the bound, others by less.
double rounding_of(const PairSums& sums, int count) {
  const double in_sums = 9.0 * (0.25 * count + 10.0);
  const double in_trace = 64.0 / kWellApart;
  return (in_sums + in_trace) * 0.5 * kEpsilon * sums.squares;
}

// Whether the root mean square is exact enough although the sum may be off by `rounding`. Two roots differ by less than
// the difference of their squares divided by either root. A sum that may be 0 is never exact enough.
bool is_exact_enough(double sum, double rounding, int count) {
  return sum > rounding && rounding * rounding <= kTolerance * kTolerance * sum * count;
}

// False without pairs and for points that are not finite.
bool centre(const PointPairs& pairs, InstructionSet set, Centred& out) {
  if (pairs.count < 1) {
    return false;
  }
  const PairSums sums = sum_pairs(pairs, set);
  if (!std::isfinite(sums.squares)) {
    return false;
  }
  const double share = 1.0 / pairs.count;
  out.centre1 = times(share, sums.x);
  out.centre2 = times(share, sums.y);
  out.squares = std::max(sums.squares - (dot(sums.x, out.centre1) + dot(sums.y, out.centre2)), 0.0);
  out.c = sums.product;
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      out.c[3 * i + j] -= sums.x[i] * sums.y[j] * share;
    }
  }
  out.rounding = rounding_of(sums, pairs.count);
  return true;
}

// `trace` is that of trace_by_newton.
void fit_centred(const PointPairs& pairs, InstructionSet set, const Centred& centred, double trace, Fit& out) {
  const Turn turn = trace > 0 ? Turn{turn_by_quaternion(centred.c, trace), trace} : turn_by_frames(centred.c);
  out.rotation = is_best_unturned(centred.c, turn.trace) ? kIdentity : turn.rotation;
  out.centre1 = plus(vector_at(pairs.first), centred.centre1);
  out.centre2 = plus(vector_at(pairs.second), centred.centre2);
  out.sum_of_squares = centred.left(turn.trace);
  if (!is_exact_enough(out.sum_of_squares, centred.rounding, pairs.count)) {
    out.sum_of_squares = sum_squared_residuals(pairs, out.rotation, out.translation(), set);
  }
}

}  // namespace

Vector Fit::moved(const float* point) const { return plus(times(rotation, minus(vector_at(point), centre2)), centre1); }

Vector Fit::translation() const { return minus(centre1, times(rotation, centre2)); }

bool fit(const PointPairs& pairs, InstructionSet set, Fit& out) {
  Centred centred;
  if (!centre(pairs, set, centred)) {
    return false;
  }
  fit_centred(pairs, set, centred, trace_by_newton(centred.c, 0.5 * centred.squares), out);
  return true;
}

bool sum_of_squares(const PointPairs& pairs, InstructionSet set, double& out) {
  Centred centred;
  if (!centre(pairs, set, centred)) {
    return false;
  }
  const double trace = trace_by_newton(centred.c, 0.5 * centred.squares);
  out = centred.left(trace);
  if (trace == 0.0 || !is_exact_enough(out, centred.rounding, pairs.count)) {
    Fit whole;
    fit_centred(pairs, set, centred, trace, whole);
    out = whole.sum_of_squares;
  }
  return true;
}

}  // namespace superposition
