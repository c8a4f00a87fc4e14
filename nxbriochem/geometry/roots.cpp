// Linear, quadratic and cubic equations: closed forms with constants of ten or sixteen decimals. Kept: programs rely on
// the exact numbers, branches that look wrong included (Vieta's cosine formula). For the quartic they rely on the
// branches, the constants and the slots. Its roots come from Euler's resolvent cubic, whose roots are the squared sums
// of pairs of them. They are then polished to what the coefficients determine: the polynomial is scaled, Newton's
// method applied, and a root far from the others is found separately.
#include <nxbriochem/geometry/roots.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <limits>

double Roots[4];

namespace {

// A leading coefficient below this in magnitude counts as missing.
constexpr double kMissing = 1e-6;
constexpr double kThird = 0.3333333333333333;
constexpr double kTwoThirds = 0.6666666666666666;
constexpr double kMinusNinth = -0.1111111111111111;
constexpr double kThirdTurn = 2.0943951024;
constexpr double kTwoThirdsTurn = 4.1887902048;
constexpr double kSqrt3 = 1.7320508075;
constexpr double kPi = 3.1415926536;
// The error of a root of the resolvent, relative to the other roots: a root that should be 0 may come out as low as
// minus this. The constants above have ten decimals only.
constexpr double kResolventError = 3e-11;
// The relative error of a coefficient.
constexpr double kRounding = 2.0 * std::numeric_limits<double>::epsilon();
constexpr int kPolishSteps = 8;
// A root this many times as large as the others is found separately.
constexpr double kFar = 64.0;

bool is_missing(double a) { return std::fabs(a) < kMissing; }

bool all_finite(std::initializer_list<double> coefficients) {
  return std::all_of(coefficients.begin(), coefficients.end(), [](double c) { return std::isfinite(c); });
}

// The solvers for finite coefficients. They clear no slots and use no shared state.
int linear(double a, double b, double* roots) {
  if (is_missing(a)) {
    return 0;
  }
  const double root = -b / a;
  if (!std::isfinite(root)) {
    return 0;
  }
  roots[0] = root;
  return 1;
}

int quadratic(double a, double b, double c, double* roots) {
  if (is_missing(a)) {
    return linear(b, c, roots);
  }
  const double discriminant = b * b - (2.0 * c) * (2.0 * a);
  if (!std::isfinite(discriminant) || discriminant < 0.0) {
    return 0;
  }
  if (discriminant == 0.0) {
    roots[0] = -b / (2.0 * a);
    return 1;
  }
  const double root = std::sqrt(discriminant);
  const double q = b < 0.0 ? -0.5 * (b - root) : -0.5 * (b + root);
  roots[0] = q / a;
  roots[1] = c / q;
  return 2;
}

// The roots of y^3 + 3 p y + 2 q where q^2 + p^3 <= 0, so that all are real.
void cosine_roots(double p, double q, double* roots) {
  const double h = std::sqrt(-(p * p * p));
  // h is 0 for a triple root only, and k then too. Rounding may take the quotient past 1.
  const double t = (h > 0.0 ? std::acos(std::clamp(-q / h, -1.0, 1.0)) : 0.0) * kThird;
  const double k = 2.0 * std::cbrt(h);
  roots[0] = k * std::cos(t);
  roots[1] = k * std::cos(t + kThirdTurn);
  roots[2] = k * std::cos(t + kTwoThirdsTurn);
}

// The cubic solver. Its two callers differ only in whether D = 0 counts as three roots.
int cubic(double a, double b, double c, double d, bool zero_is_three, double* roots) {
  const double s = b / (3.0 * a);
  const double p = (c - b * s) / (3.0 * a);
  const double q = ((2.0 * a * s * s - c) * s + d) / (2.0 * a);
  const double discriminant = q * q + p * p * p;
  if (!std::isfinite(discriminant)) {
    return 0;
  }
  if (discriminant > 0.0) {
    // Kept: programs rely on q without the square root of D, and on 2 for three slots.
    const double u = q > 0.0 ? -std::cbrt(q) : std::cbrt(-q);
    roots[0] = 2.0 * u - s;
    roots[1] = -(u + s);
    roots[2] = -(u + s);
    return 2;
  }
  if (discriminant == 0.0 && !zero_is_three) {
    std::fill_n(roots, 3, -s);
    return 1;
  }
  cosine_roots(p, q, roots);
  for (int i = 0; i < 3; ++i) {
    roots[i] -= s;
  }
  return 3;
}

// A polynomial in y = x / 2^exponent, divided by its leading coefficient; the others, highest first, are at most 2 in
// magnitude, and one of them is near 1 (unless all are 0). Scaling by a power of two changes no bits unless something
// underflows.
template <std::size_t degree>
struct Monic {
  int exponent = 0;
  std::array<double, degree> c = {};

  explicit Monic(const std::array<double, degree + 1>& coefficients) {
    const int leading = std::ilogb(coefficients[0]);
    bool any = false;
    for (int i = 1; i <= static_cast<int>(degree); ++i) {
      const double coefficient = coefficients[static_cast<std::size_t>(i)];
      if (coefficient != 0.0) {
        const int needed = static_cast<int>(std::ceil(static_cast<double>(std::ilogb(coefficient) - leading) / i));
        exponent = any ? std::max(exponent, needed) : needed;
        any = true;
      }
    }
    const double divisor = std::ldexp(coefficients[0], -leading);
    for (int i = 1; i <= static_cast<int>(degree); ++i) {
      const auto at = static_cast<std::size_t>(i);
      c[at - 1] = std::ldexp(coefficients[at], -leading - i * exponent) / divisor;
    }
  }
};

// w^3 + 3 p w + 2 q
struct DepressedCubic {
  double p, q, discriminant;

  // `error` bounds the error of the discriminant. For equal roots it is 0 in exact arithmetic but rarely after
  // rounding.
  DepressedCubic(double p_in, double q_in, double error) : p(p_in), q(q_in), discriminant(q * q + p * p * p) {
    if (std::fabs(discriminant) <= error) {
      discriminant = 0.0;
    }
  }

  // For a positive discriminant the real root is the sum of two cube roots. This is the one without cancellation; the
  // other is -p divided by it.
  double cube_root() const { return std::cbrt(-q - std::copysign(std::sqrt(discriminant), q)); }

  // For a discriminant of at most 0.
  void real_roots(double* roots) const {
    if (discriminant < 0.0) {
      cosine_roots(p, q, roots);
      return;
    }
    const double u = std::cbrt(-q);
    roots[0] = 2.0 * u;
    roots[1] = -u;
    roots[2] = -u;
  }
};

// The real roots of x^3 + b x^2 + c x + d in ascending order: three, or one.
int real_cubic_roots(double b, double c, double d, double* roots) {
  const Monic<3> scaled({1.0, b, c, d});
  const auto [b1, c1, d1] = scaled.c;
  const double third = b1 / 3.0;
  const double square = third * third;
  const double p = c1 / 3.0 - square;
  const double q = 0.5 * ((2.0 * square - c1) * third + d1);
  const double p_error = kRounding * (std::fabs(c1) + square);
  const double q_error = kRounding * ((2.0 * square + std::fabs(c1)) * std::fabs(third) + std::fabs(d1));
  const DepressedCubic cubic(p, q, 2.0 * std::fabs(q) * q_error + 3.0 * p * p * p_error);
  int count = 3;
  if (cubic.discriminant > 0.0) {
    const double u = cubic.cube_root();
    roots[0] = u - cubic.p / u;
    count = 1;
  } else {
    cubic.real_roots(roots);
    std::sort(roots, roots + 3);
  }
  std::transform(roots, roots + count, roots, [&](double root) { return std::ldexp(root - third, scaled.exponent); });
  return count;
}

// x^4 + b x^3 + c x^2 + d x + e, and y^4 + p y^2 + q y + r at x = y + shift.
struct Quartic {
  double b, c, d, e;
  double shift, p, q, r;

  explicit Quartic(const std::array<double, 4>& monic)
      : b(monic[0]), c(monic[1]), d(monic[2]), e(monic[3]), shift(-0.25 * b) {
    const double square = shift * shift;
    p = c - 6.0 * square;
    q = d + 2.0 * c * shift - 8.0 * square * shift;
    r = e + shift * (d + shift * (c - 3.0 * square));
  }

  // Bounds of the errors of p, q and r.
  struct Errors {
    double p, q, r;
  };
  Errors errors() const {
    const double t = std::fabs(shift);
    return {kRounding * (std::fabs(c) + 6.0 * t * t),
            kRounding * (std::fabs(d) + t * (2.0 * std::fabs(c) + 8.0 * t * t)),
            kRounding * (std::fabs(e) + t * (std::fabs(d) + t * (std::fabs(c) + 3.0 * t * t)))};
  }

  // Whether one root, close to -b, is about kFar times as large as the three others. Shifting by a quarter of it would
  // destroy their digits.
  bool has_far_root() const {
    const double near = std::fabs(b) / kFar;
    return b != 0.0 && std::fabs(c) <= near * std::fabs(b) && std::fabs(d) <= near * near * std::fabs(b) &&
           std::fabs(e) <= near * near * near * std::fabs(b);
  }

  double value(double x) const { return (((x + b) * x + c) * x + d) * x + e; }
  double slope(double x) const { return ((4.0 * x + 3.0 * b) * x + 2.0 * c) * x + d; }

  // Newton's steps, as long as they lower the value. They are needed because square roots of resolvent roots near 0
  // keep only half of their digits.
  double polished(double x) const {
    double at = std::fabs(value(x));
    for (int step = 0; step < kPolishSteps; ++step) {
      const double next = x - value(x) / slope(x);
      const double at_next = std::fabs(value(next));
      if (!(at_next < at)) {
        break;
      }
      x = next;
      at = at_next;
    }
    return x;
  }
};

// The resolvent z^3 + 2 p z^2 + (p^2 - 4 r) z - q^2 at z = w + offset.
struct Resolvent {
  double offset;
  DepressedCubic cubic;

  explicit Resolvent(const Quartic& quartic) : offset(-kTwoThirds * quartic.p), cubic(cubic_of(quartic)) {}

 private:
  static DepressedCubic cubic_of(const Quartic& quartic) {
    const double p = quartic.p;
    const double r = quartic.r;
    const double half_square = 0.5 * quartic.q * quartic.q;
    const double cubic_p = kMinusNinth * (p * p + 12.0 * r);
    const double cubic_q = -(p * (p * p - 36.0 * r) / 27.0 + half_square);
    // The derivatives of the discriminant by p, q and r, and the rounding of its own two terms.
    const double by_p = -2.0 * cubic_q * (3.0 * p * p - 36.0 * r) / 27.0 - 3.0 * cubic_p * cubic_p * 2.0 * p / 9.0;
    const double by_q = -2.0 * cubic_q * quartic.q;
    const double by_r = 2.0 * cubic_q * 36.0 * p / 27.0 - 3.0 * cubic_p * cubic_p * 12.0 / 9.0;
    const double terms =
        2.0 * std::fabs(cubic_q) * (std::fabs(p) * (p * p + 36.0 * std::fabs(r)) / 27.0 + half_square) +
        3.0 * cubic_p * cubic_p * (p * p + 12.0 * std::fabs(r)) / 9.0;
    const Quartic::Errors error = quartic.errors();
    return {cubic_p, cubic_q,
            std::fabs(by_p) * error.p + std::fabs(by_q) * error.q + std::fabs(by_r) * error.r + kRounding * terms};
  }
};

// One root of the resolvent is real and two are a complex pair, whose square roots add up to a real number.
int two_roots(const Quartic& quartic, const Resolvent& resolvent, double* roots) {
  const double u = resolvent.cubic.cube_root();
  const double v = -resolvent.cubic.p / u;
  const double re = -0.5 * (u + v) + resolvent.offset;
  const double im = 0.5 * kSqrt3 * std::fabs(u - v);
  double angle = re != 0.0 ? std::atan(im / re) : 0.5 * kPi;
  if (re < 0.0) {
    angle += kPi;
  }
  const double pair = 2.0 * std::sqrt(std::sqrt(re * re + im * im)) * std::cos(0.5 * angle);
  // The product of the three square roots is -q.
  const double single = std::copysign(std::sqrt(std::max(u + v + resolvent.offset, 0.0)), -quartic.q);
  roots[0] = quartic.polished(0.5 * (single - pair) + quartic.shift);
  roots[1] = quartic.polished(0.5 * (single + pair) + quartic.shift);
  return 2;
}

// All roots of the resolvent are real: four real roots, or none where one is negative.
int four_roots(const Quartic& quartic, const Resolvent& resolvent, double* roots) {
  double z[3];
  resolvent.cubic.real_roots(z);
  const double size = std::fabs(resolvent.offset) + std::max({std::fabs(z[0]), std::fabs(z[1]), std::fabs(z[2])});
  for (double& root : z) {
    root += resolvent.offset;
    if (root < -kResolventError * size) {
      return 0;
    }
  }
  // The product of the square roots must be q, so all three get its sign.
  const double s1 = std::copysign(std::sqrt(std::max(z[0], 0.0)), quartic.q);
  const double s2 = std::copysign(std::sqrt(std::max(z[1], 0.0)), quartic.q);
  const double s3 = std::copysign(std::sqrt(std::max(z[2], 0.0)), quartic.q);
  roots[1] = quartic.polished(-0.5 * (s1 - s2 - s3) + quartic.shift);
  roots[0] = quartic.polished(-0.5 * (s1 + s2 + s3) + quartic.shift);
  roots[2] = quartic.polished(-0.5 * (s2 - s1 - s3) + quartic.shift);
  roots[3] = quartic.polished(-0.5 * (s3 - s1 - s2) + quartic.shift);
  return 4;
}

// The far root and the roots of the cubic that remains, in the slots that four_roots uses: the far root in slot 0, then
// the others, starting with the nearest to it, in slots 1, 3 and 2.
int far_and_near_roots(const Quartic& quartic, double* roots) {
  const double far = quartic.polished(-quartic.b);
  // The cubic's coefficients are computed from the last one up, which keeps the digits of the small roots.
  const double d = -quartic.e / far;
  const double c = (d - quartic.d) / far;
  const double b = (c - quartic.c) / far;
  double near[3];
  const int count = real_cubic_roots(b, c, d, near);
  for (int i = 0; i < count; ++i) {
    near[i] = quartic.polished(near[i]);
  }
  if (count == 1) {
    roots[0] = std::min(far, near[0]);
    roots[1] = std::max(far, near[0]);
    return 2;
  }
  roots[0] = far;
  roots[1] = far < 0.0 ? near[0] : near[2];
  roots[3] = near[1];
  roots[2] = far < 0.0 ? near[2] : near[0];
  return 4;
}

int quartic_roots(const Quartic& quartic, double* roots) {
  if (quartic.has_far_root()) {
    return far_and_near_roots(quartic, roots);
  }
  const Resolvent resolvent(quartic);
  return resolvent.cubic.discriminant > 0.0 ? two_roots(quartic, resolvent, roots)
                                            : four_roots(quartic, resolvent, roots);
}

}  // namespace

int nx_SolveLinear(double a, double b) { return nx_SolveLinearRoots(a, b, Roots); }

int nx_SolveLinearRoots(double a, double b, double* roots) {
  return roots != nullptr && all_finite({a, b}) ? linear(a, b, roots) : 0;
}

int nx_SolveQuadratic(double a, double b, double c) { return all_finite({a, b, c}) ? quadratic(a, b, c, Roots) : 0; }

int nx_SolveQuadraticRoots(double a, double b, double c, double* roots) {
  if (roots == nullptr || !all_finite({a, b, c})) {
    return 0;
  }
  if (is_missing(a)) {
    roots[1] = 0.0;
  }
  return quadratic(a, b, c, roots);
}

int nx_SolveCubic(double a, double b, double c, double d) {
  if (!all_finite({a, b, c, d})) {
    return 0;
  }
  return is_missing(a) ? quadratic(b, c, d, Roots) : cubic(a, b, c, d, true, Roots);
}

int nx_SolveCubicRoots(double a, double b, double c, double d, double* roots) {
  if (roots == nullptr || !all_finite({a, b, c, d})) {
    return 0;
  }
  if (is_missing(a)) {
    roots[2] = 0.0;
    return nx_SolveQuadraticRoots(b, c, d, roots);
  }
  return cubic(a, b, c, d, false, roots);
}

int nx_SolveQuartic(double a, double b, double c, double d, double e) {
  if (!all_finite({a, b, c, d, e})) {
    return 0;
  }
  if (is_missing(a)) {
    return nx_SolveCubic(b, c, d, e);
  }
  const Monic<4> scaled({a, b, c, d, e});
  double roots[4];
  const int count = quartic_roots(Quartic(scaled.c), roots);
  std::transform(roots, roots + count, roots, [&](double root) { return std::ldexp(root, scaled.exponent); });
  if (!std::all_of(roots, roots + count, [](double root) { return std::isfinite(root); })) {
    return 0;
  }
  std::copy_n(roots, count, Roots);
  return count;
}
