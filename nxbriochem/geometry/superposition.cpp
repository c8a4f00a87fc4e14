// With C the sum of x y^T over the pairs, less their centres, the rotation R that maximises trace(R^T C) is wanted
// (W. Kabsch, Acta Cryst. A 32 (1976) 922 and 34 (1978) 827). The textbook takes it from all three singular pairs of C
// and turns the third round where C has a negative determinant, which loses its footing on flat and straight sets,
// where the determinant is rounding. Here only the first pair (u, v) is taken from the eigenvectors of C^T C, in
// double: it is the one that squaring C does not harm, and the best proper rotation always takes v to u. What is left
// is a rotation by one angle in the plane across, whose best value has a closed form that knows handedness by itself:
// with N the 2 x 2 matrix of C between right-handed frames around u and v, the most that the plane adds to the trace is
// the length of (N00 + N11, N10 - N01). An error e in v costs e^2.
//
// The sum of squares after the fit is what there was less twice the trace. Where little is left of it, it is rounding,
// and is taken from the residuals, which a second pass over the points computes without cancellation.
//
// Where only that sum is wanted, Newton's method finds the trace as the largest root of the quartic whose roots are the
// traces that the axes of best and worst rotations give (D. L. Theobald, Acta Cryst. A 61 (2005) 478; the coefficients
// are written with the invariants of C^T C here). It is used where that root stands well apart and much is left of the
// sum of squares; flat and straight sets and rigid copies go the way above.
#include <nxbriochem/geometry/superposition.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include <nxbriochem/geometry/symmetric3.h>

namespace superposition {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr Matrix kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};
// Up to this part of the sum of squares before the fit, the one after it is taken from the residuals.
constexpr double kFewDigitsLeft = 1e-6;
// Traces that differ by no more than this part are the same but for rounding.
constexpr double kRounding = 32 * kEpsilon;
// The least slope of the quartic at its root, over the root's cube, with which Newton's method is trusted; the change
// at which it has converged, quadratically, to all digits; and when it gives up.
constexpr double kWellApart = 0.05;
constexpr double kConverged = 1e-9;
constexpr int kMaxSteps = 30;

double dot(const Vector& a, const Vector& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

Vector cross(const Vector& a, const Vector& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

Vector scaled(const Vector& a, double by) { return {a[0] * by, a[1] * by, a[2] * by}; }

Vector times(const Matrix& m, const Vector& v) {
  return {m[0] * v[0] + m[1] * v[1] + m[2] * v[2], m[3] * v[0] + m[4] * v[1] + m[5] * v[2],
          m[6] * v[0] + m[7] * v[1] + m[8] * v[2]};
}

Vector first_point(const float* points) {
  return {static_cast<double>(points[0]), static_cast<double>(points[1]), static_cast<double>(points[2])};
}

Vector row(const Matrix& m, std::size_t i) { return {m[3 * i], m[3 * i + 1], m[3 * i + 2]}; }

// What is left of a unit vector when its part along another one is taken off, made a unit vector. They must not be
// parallel.
Vector perpendicular_part(const Vector& a, const Vector& along) {
  const double part = dot(a, along);
  const Vector left = {a[0] - part * along[0], a[1] - part * along[1], a[2] - part * along[2]};
  return scaled(left, 1.0 / std::sqrt(dot(left, left)));
}

// The direction in which C takes the unit vector v, and how far: 0 only where C is zero.
double image_of(const Matrix& c, const Vector& v, Vector& direction) {
  const Vector image = times(c, v);
  const double length = std::sqrt(dot(image, image));
  direction = length > 0 ? scaled(image, 1.0 / length) : v;
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

Turn best_turn(const Matrix& c) {
  const symmetric3::PrincipalAxes axes = symmetric3::principal_axes(gram(c));
  const Vector v0 = row(axes.axes, 0);
  Vector u0{};
  const double first = image_of(c, v0, u0);

  // Right-handed frames around both, u's from v's: where u0 and v0 are nearly one, so are the frames.
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

// The same trace alone, 0 where it cannot be had exactly enough. It is at most `bound`.
double trace_by_newton(const Matrix& c, double bound) {
  const Matrix g = gram(c);
  const double sum = g[0] + g[4] + g[8];
  const double products = (g[0] * g[4] - g[1] * g[1]) + (g[0] * g[8] - g[2] * g[2]) + (g[4] * g[8] - g[5] * g[5]);
  const double linear = -8.0 * dot(row(c, 0), cross(row(c, 1), row(c, 2)));
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

// Whether no rotation at all is as good. That is asked only of a C that is symmetric to the last digit, as that of a
// set and its copy is: where the points are on a line or in one place, rounding would turn them about it.
bool is_best_unturned(const Matrix& c, double trace) {
  return c[1] == c[3] && c[2] == c[6] && c[5] == c[7] && c[0] + c[4] + c[8] >= trace * (1.0 - kRounding);
}

// Both sets less their centres. The centres are relative to the first points.
struct Centred {
  Vector centre1;
  Vector centre2;
  double squares;  // sum of the squares of all distances from the centres
  Matrix c;
};

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
  out.centre1 = scaled(sums.x, share);
  out.centre2 = scaled(sums.y, share);
  out.squares = std::max(sums.squares - (dot(sums.x, out.centre1) + dot(sums.y, out.centre2)), 0.0);
  out.c = sums.product;
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      out.c[3 * i + j] -= sums.x[i] * sums.y[j] * share;
    }
  }
  return true;
}

void fit_centred(const PointPairs& pairs, InstructionSet set, const Centred& centred, Fit& out) {
  const Turn turn = best_turn(centred.c);
  out.rotation = is_best_unturned(centred.c, turn.trace) ? kIdentity : turn.rotation;
  const Vector origin1 = first_point(pairs.first);
  const Vector origin2 = first_point(pairs.second);
  const Vector turned = times(out.rotation, centred.centre2);
  Vector shift{};
  for (std::size_t k = 0; k < 3; ++k) {
    out.centre1[k] = origin1[k] + centred.centre1[k];
    out.centre2[k] = origin2[k] + centred.centre2[k];
    shift[k] = centred.centre1[k] - turned[k];
  }
  out.sum_of_squares = centred.squares - 2.0 * turn.trace;
  if (out.sum_of_squares <= kFewDigitsLeft * centred.squares) {
    out.sum_of_squares = sum_squared_residuals(pairs, out.rotation, shift, set);
  }
}

}  // namespace

Vector Fit::moved(const float* point) const {
  const Vector from = {static_cast<double>(point[0]) - centre2[0], static_cast<double>(point[1]) - centre2[1],
                       static_cast<double>(point[2]) - centre2[2]};
  const Vector turned = times(rotation, from);
  return {turned[0] + centre1[0], turned[1] + centre1[1], turned[2] + centre1[2]};
}

Vector Fit::translation() const {
  const Vector turned = times(rotation, centre2);
  return {centre1[0] - turned[0], centre1[1] - turned[1], centre1[2] - turned[2]};
}

bool fit(const PointPairs& pairs, InstructionSet set, Fit& out) {
  Centred centred;
  if (!centre(pairs, set, centred)) {
    return false;
  }
  fit_centred(pairs, set, centred, out);
  return true;
}

bool sum_of_squares(const PointPairs& pairs, InstructionSet set, double& out) {
  Centred centred;
  if (!centre(pairs, set, centred)) {
    return false;
  }
  const double trace = trace_by_newton(centred.c, 0.5 * centred.squares);
  out = centred.squares - 2.0 * trace;
  if (trace == 0.0 || out <= kFewDigitsLeft * centred.squares) {
    Fit whole;
    fit_centred(pairs, set, centred, whole);
    out = whole.sum_of_squares;
  }
  return true;
}

}  // namespace superposition
