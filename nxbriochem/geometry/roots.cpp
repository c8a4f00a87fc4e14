// The closed forms and their constants of ten or sixteen decimals are the interface: programs rely on the very numbers,
// branches that look wrong included. Cubic: Vieta's cosine formula. Quartic: Euler's resolvent cubic, whose roots are
// the squared sums of pairs of roots.
#include <nxbriochem/geometry/roots.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>

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
// A root of the resolvent of at least 0 comes out no lower than this part of the others below it: the constants above
// end at ten decimals.
constexpr double kResolventError = 3e-11;
// Some roundings of a double.
constexpr double kRounding = 1e-15;
constexpr int kPolishSteps = 3;

bool is_missing(double a) { return std::fabs(a) < kMissing; }

bool all_finite(std::initializer_list<double> coefficients) {
  return std::all_of(coefficients.begin(), coefficients.end(), [](double c) { return std::isfinite(c); });
}

// The cores: finite coefficients, nothing cleared, nothing shared.
int linear(double a, double b, double* roots) {
  if (is_missing(a)) {
    return 0;
  }
  roots[0] = -b / a;
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

// The roots of y^3 + 3 p y + 2 q for q^2 + p^3 of at most 0, all real.
void cosine_roots(double p, double q, double* roots) {
  const double h = std::sqrt(-(p * p * p));
  // h is 0 for a triple root only, and k then too. Rounding may take the quotient past 1.
  const double t = (h > 0.0 ? std::acos(std::clamp(-q / h, -1.0, 1.0)) : 0.0) * kThird;
  const double k = 2.0 * std::cbrt(h);
  roots[0] = k * std::cos(t);
  roots[1] = k * std::cos(t + kThirdTurn);
  roots[2] = k * std::cos(t + kTwoThirdsTurn);
}

// Those roots less s. Whether D = 0 counts as three roots is all that the two cubic solvers differ in.
int cubic(double a, double b, double c, double d, bool zero_is_three, double* roots) {
  const double s = b / (3.0 * a);
  const double p = (c - b * s) / (3.0 * a);
  const double q = ((2.0 * a * s * s - c) * s + d) / (2.0 * a);
  const double discriminant = q * q + p * p * p;
  if (!std::isfinite(discriminant)) {
    return 0;
  }
  if (discriminant > 0.0) {
    // q without the square root of D is meant, and so is the count of 2 for three slots.
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

// x^4 + b x^3 + c x^2 + d x + e, and y^4 + p y^2 + q y + r at x = y + shift.
struct Quartic {
  double b, c, d, e;
  double shift, p, q, r;

  Quartic(double a, double b4, double c4, double d4, double e4)
      : b(b4 / a), c(c4 / a), d(d4 / a), e(e4 / a), shift(-0.25 * b) {
    const double square = shift * shift;
    p = c - 6.0 * square;
    q = d + 2.0 * c * shift - 8.0 * square * shift;
    r = e + shift * (d + shift * (c - 3.0 * square));
  }

  // What p, q and r may be off by.
  struct Errors {
    double p, q, r;
  };
  Errors errors() const {
    const double t = std::fabs(shift);
    return {kRounding * (std::fabs(c) + 6.0 * t * t),
            kRounding * (std::fabs(d) + t * (2.0 * std::fabs(c) + 8.0 * t * t)),
            kRounding * (std::fabs(e) + t * (std::fabs(d) + t * (std::fabs(c) + 3.0 * t * t)))};
  }

  double value(double x) const { return (((x + b) * x + c) * x + d) * x + e; }
  double slope(double x) const { return ((4.0 * x + 3.0 * b) * x + 2.0 * c) * x + d; }

  // Newton's steps, for as long as they bring the value down: the square roots of a resolvent's roots near 0 keep half
  // of their decimals.
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

// The resolvent z^3 + 2 p z^2 + (p^2 - 4 r) z - q^2 at z = w + offset: w^3 + 3 P w - 2 h.
struct Resolvent {
  double offset, p, h, discriminant;

  explicit Resolvent(const Quartic& quartic) {
    const double square = quartic.p * quartic.p;
    offset = -kTwoThirds * quartic.p;
    p = kMinusNinth * (square + 12.0 * quartic.r);
    h = quartic.p * (square - 36.0 * quartic.r) / 27.0 + 0.5 * quartic.q * quartic.q;
    discriminant = h * h + p * p * p;
    // Equal roots of the quartic make it 0, and rounding makes something else of that 0: no more than this.
    const Quartic::Errors error = quartic.errors();
    const double p_error = (2.0 * std::fabs(quartic.p) * error.p + 12.0 * error.r) / 9.0;
    const double h_error = (3.0 * square + 36.0 * std::fabs(quartic.r)) / 27.0 * error.p +
                           36.0 / 27.0 * std::fabs(quartic.p) * error.r + std::fabs(quartic.q) * error.q;
    if (std::fabs(discriminant) <=
        h_error * (2.0 * std::fabs(h) + h_error) + 3.0 * p_error * (p * p + p_error * p_error)) {
      discriminant = 0.0;
    }
  }
};

// One root of the resolvent is real and two are a complex pair, whose square roots add up to a real number.
int two_roots(const Quartic& quartic, const Resolvent& resolvent, double* roots) {
  const double h = resolvent.h;
  // Of the two cube roots the one without cancellation; their product is -p.
  const double u = std::cbrt(h + std::copysign(std::sqrt(resolvent.discriminant), h));
  const double v = -resolvent.p / u;
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
  if (resolvent.discriminant == 0.0) {
    const double u = std::cbrt(resolvent.h);
    z[0] = 2.0 * u;
    z[1] = -u;
    z[2] = -u;
  } else {
    cosine_roots(resolvent.p, -resolvent.h, z);
  }
  const double size = std::fabs(resolvent.offset) + std::max({std::fabs(z[0]), std::fabs(z[1]), std::fabs(z[2])});
  for (double& root : z) {
    root += resolvent.offset;
    if (root < -kResolventError * size) {
      return 0;
    }
  }
  // The square roots are taken such that their product is q: all three with its sign.
  const double s1 = std::copysign(std::sqrt(std::max(z[0], 0.0)), quartic.q);
  const double s2 = std::copysign(std::sqrt(std::max(z[1], 0.0)), quartic.q);
  const double s3 = std::copysign(std::sqrt(std::max(z[2], 0.0)), quartic.q);
  roots[1] = quartic.polished(-0.5 * (s1 - s2 - s3) + quartic.shift);
  roots[0] = quartic.polished(-0.5 * (s1 + s2 + s3) + quartic.shift);
  roots[2] = quartic.polished(-0.5 * (s2 - s1 - s3) + quartic.shift);
  roots[3] = quartic.polished(-0.5 * (s3 - s1 - s2) + quartic.shift);
  return 4;
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
  const Quartic quartic(a, b, c, d, e);
  const Resolvent resolvent(quartic);
  if (!std::isfinite(resolvent.discriminant)) {
    return 0;
  }
  return resolvent.discriminant > 0.0 ? two_roots(quartic, resolvent, Roots) : four_roots(quartic, resolvent, Roots);
}
