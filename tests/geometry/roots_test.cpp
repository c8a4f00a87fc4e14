#include <nxbriochem/geometry/roots.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <random>
#include <vector>

namespace {

constexpr double kUntouched = -77.5;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::vector<double> first_roots(int count) { return {Roots, Roots + count}; }

void clear(double* roots) { std::fill_n(roots, 4, kUntouched); }

// Coefficients, highest first, of a times the product of (x - root), multiplied out in long double.
std::vector<double> expanded(double a, const std::vector<std::complex<long double>>& roots) {
  std::vector<std::complex<long double>> c = {static_cast<long double>(a)};
  for (const auto& root : roots) {
    c.emplace_back(0);
    for (std::size_t k = c.size() - 1; k > 0; --k) {
      c[k] -= root * c[k - 1];
    }
  }
  std::vector<double> real(c.size());
  std::transform(c.begin(), c.end(), real.begin(), [](const auto& z) { return static_cast<double>(z.real()); });
  return real;
}

void expect_roots(std::vector<double> expected, int count, double tolerance) {
  ASSERT_EQ(count, static_cast<int>(expected.size()));
  std::vector<double> found = first_roots(count);
  std::sort(expected.begin(), expected.end());
  std::sort(found.begin(), found.end());
  for (std::size_t k = 0; k < expected.size(); ++k) {
    EXPECT_NEAR(found[k], expected[k], tolerance);
  }
}

TEST(Roots, OfPolynomialsMadeFromTheirRoots) {
  std::mt19937 random(20);
  std::uniform_real_distribution<double> step(0.3, 2.0);
  std::uniform_real_distribution<double> place(-4.0, 1.0);
  for (int round = 0; round < 20000 && !testing::Test::HasFailure(); ++round) {
    SCOPED_TRACE(round);
    // Four well separated roots, so that the coefficients determine nearly all digits of each.
    std::vector<double> x = {place(random)};
    for (int k = 0; k < 3; ++k) {
      x.push_back(x.back() + step(random));
    }
    std::shuffle(x.begin(), x.end(), random);
    const double a = std::copysign(step(random), place(random) + 1.5);
    const std::complex<long double> pair(x[2], step(random));
    const std::complex<long double> other(x[0], step(random) + 2.5);

    auto c = expanded(a, {x[0], x[1]});
    expect_roots({x[0], x[1]}, nx_SolveQuadratic(c[0], c[1], c[2]), 1e-12);
    c = expanded(a, {x[0], x[1], x[2]});
    // As exact as the ten decimals of the constants allow.
    expect_roots({x[0], x[1], x[2]}, nx_SolveCubic(c[0], c[1], c[2], c[3]), 2e-10);
    double own[3];
    EXPECT_EQ(nx_SolveCubicRoots(c[0], c[1], c[2], c[3], own), 3);
    EXPECT_TRUE(std::equal(own, own + 3, Roots));
    EXPECT_TRUE(own[0] > own[2] && own[2] > own[1]) << "the order of the cosine formula";
    c = expanded(a, {x[0], x[1], x[2], x[3]});
    expect_roots(x, nx_SolveQuartic(c[0], c[1], c[2], c[3], c[4]), 1e-10);
    c = expanded(a, {x[0], x[1], pair, std::conj(pair)});
    expect_roots({x[0], x[1]}, nx_SolveQuartic(c[0], c[1], c[2], c[3], c[4]), 1e-10);
    EXPECT_LT(Roots[0], Roots[1]);
    c = expanded(a, {other, std::conj(other), pair, std::conj(pair)});
    EXPECT_EQ(nx_SolveQuartic(c[0], c[1], c[2], c[3], c[4]), 0);
  }
}

TEST(Roots, QuarticSlotsAndEqualRoots) {
  // The roots y are 1, 2, 4 and -7. q is negative here and positive for the negated roots, which reverses the slots.
  ASSERT_EQ(nx_SolveQuartic(1, 0, -35, 90, -56), 4);
  const std::vector<double> slots = first_roots(4);
  EXPECT_NEAR(slots[0], -7, 1e-12);
  ASSERT_EQ(nx_SolveQuartic(1, 0, -35, -90, -56), 4);
  for (std::size_t k = 0; k < 4; ++k) {
    EXPECT_NEAR(Roots[k], -slots[k], 1e-12);
  }
  expect_roots({-2, -1, 1, 2}, nx_SolveQuartic(3, 0, -15, 0, 12), 1e-12);
  std::mt19937 random(2);
  std::uniform_real_distribution<double> place(0, 1);
  for (int round = 0; round < 500 && !testing::Test::HasFailure(); ++round) {
    const double x = place(random) - 3;
    const double y = place(random) + (round % 2 == 0 ? 1 : -5);
    const double z = round % 3 == 0 ? y : y + 1;
    const auto c = expanded(1, {x, x, y, z});
    expect_roots({x, x, y, z}, nx_SolveQuartic(c[0], c[1], c[2], c[3], c[4]), 1e-5);
  }
  expect_roots({0, 0, 0, 0}, nx_SolveQuartic(2, 0, 0, 0, 0), 0);
  EXPECT_EQ(nx_SolveQuartic(1, 0, 0, 1e-9, 4), 0);
  EXPECT_EQ(nx_SolveQuartic(1, 0, 5, 0, 4), 0);
  expect_roots({3, 2, 1}, nx_SolveQuartic(9e-7, 1, -6, 11, -6), 1e-9);
}

// Roots far apart and of any size: each must be right to the last digits.
TEST(Roots, QuarticOfEveryScale) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> step(0.3, 2.0);
  std::uniform_real_distribution<double> exponent(1, 12);
  for (int round = 0; round < 20000 && !testing::Test::HasFailure(); ++round) {
    SCOPED_TRACE(round);
    const double far = std::copysign(std::pow(10.0, exponent(random)), round % 2 == 0 ? 1.0 : -1.0);
    const double low = -2 * step(random);
    const double high = low + step(random);
    const std::complex<long double> pair(low, step(random));
    const double scale = std::ldexp(1.0, static_cast<int>(random() % 80) - 40);
    const auto expect = [&](const std::vector<std::complex<long double>>& made, const std::vector<double>& slots) {
      const auto c = expanded(step(random), made);
      const double s2 = scale * scale;
      ASSERT_EQ(nx_SolveQuartic(c[0], c[1] * scale, c[2] * s2, c[3] * s2 * scale, c[4] * s2 * s2),
                static_cast<int>(slots.size()));
      for (std::size_t k = 0; k < slots.size(); ++k) {
        EXPECT_NEAR(Roots[k] / (slots[k] * scale), 1, 1e-13);
      }
    };
    const double top = high + 5;
    // The slots are 0, 1, 3, 2, starting with the far root.
    expect({low, high, top, far},
           far > 0 ? std::vector<double>{far, top, low, high} : std::vector<double>{far, low, top, high});
    expect({pair, std::conj(pair), top, far}, {std::min(far, top), std::max(far, top)});
  }
  for (const double e : {1e120, 1e-120}) {
    EXPECT_EQ(nx_SolveQuartic(1, 0, 0, 0, e), 0);
    ASSERT_EQ(nx_SolveQuartic(1, 0, 0, 0, -e), 2);
    EXPECT_NEAR(Roots[1] / std::pow(e, 0.25), 1, 1e-14);
    EXPECT_EQ(Roots[0], -Roots[1]);
  }
  expect_roots({0, std::cbrt(1e160)}, nx_SolveQuartic(1, 0, 0, -1e160, 0), 1e39);
  // (x - 1) (x - 2) ((x - 5)^2 + 1e-12) has two real roots. Without the 1e-12 the last two are equal real roots.
  expect_roots({1, 2}, nx_SolveQuartic(1, -13, 57 + 1e-12, -95 - 3e-12, 50 + 2e-12), 1e-13);
  expect_roots({1, 2, 5, 5}, nx_SolveQuartic(1, -13, 57, -95, 50), 1e-7);
}

TEST(Roots, CubicWithOneRealRootKeepsItsFormula) {
  // x^3 + 3 x - 4: p = 1, q = -2, D = 5. The square root of D is left out.
  for (const double turn : {1.0, -1.0}) {
    clear(Roots);
    double own[4];
    clear(own);
    EXPECT_EQ(nx_SolveCubic(1, 0, 3, -4 * turn), 2);
    EXPECT_EQ(nx_SolveCubicRoots(1, 0, 3, -4 * turn, own), 2);
    const double u = turn * std::cbrt(2.0);
    EXPECT_DOUBLE_EQ(own[0], 2 * u);
    EXPECT_DOUBLE_EQ(own[1], -u);
    EXPECT_EQ(own[2], own[1]);
    EXPECT_EQ(own[3], kUntouched);
    EXPECT_TRUE(std::equal(own, own + 4, Roots));
  }
  // x^3 - 3 x + 2 has D of exactly 0: one solver gives the roots, the other the inflexion point. A triple root has D =
  // 0, too.
  double own[3];
  expect_roots({-2, 1, 1}, nx_SolveCubic(1, 0, -3, 2), 1e-9);
  EXPECT_EQ(nx_SolveCubicRoots(1, 3, 0, -4, own), 1);
  EXPECT_EQ(std::vector<double>(own, own + 3), (std::vector<double>{-1, -1, -1}));
  expect_roots({-1, -1, -1}, nx_SolveCubic(2, 6, 6, 2), 0);
}

TEST(Roots, MissingLeadingCoefficients) {
  double own[4];
  const auto expect_own = [&own](int found, int count, const std::vector<double>& expected) {
    EXPECT_EQ(found, count);
    EXPECT_EQ(std::vector<double>(own, own + 3), expected);
    clear(own);
  };
  clear(own);
  expect_own(nx_SolveLinearRoots(9e-7, 1, own), 0, {kUntouched, kUntouched, kUntouched});
  expect_own(nx_SolveQuadraticRoots(0, 2, -4, own), 1, {2, 0, kUntouched});
  expect_own(nx_SolveQuadraticRoots(1, -2, 1, own), 1, {1, kUntouched, kUntouched});
  expect_own(nx_SolveQuadraticRoots(1, 0, 1, own), 0, {kUntouched, kUntouched, kUntouched});
  expect_own(nx_SolveCubicRoots(-9e-7, 1, -3, 2, own), 2, {2, 1, 0});
  expect_own(nx_SolveCubicRoots(0, 0, 2, -4, own), 1, {2, 0, 0});
  clear(Roots);
  EXPECT_EQ(nx_SolveQuartic(0, 0, 0, 2, -4), 1);
  EXPECT_EQ(first_roots(4), (std::vector<double>{2, kUntouched, kUntouched, kUntouched}));
  // No digits are lost where b is large: x^2 - 1e8 x + 1.
  EXPECT_EQ(nx_SolveQuadratic(1, -1e8, 1), 2);
  EXPECT_DOUBLE_EQ(Roots[1], 1.0000000000000001e-8);
}

TEST(Roots, BadInputChangesNothing) {
  clear(Roots);
  double own[4];
  clear(own);
  for (const double bad : {kNaN, kInfinity, -kInfinity}) {
    EXPECT_EQ(nx_SolveLinear(bad, 1), 0);
    EXPECT_EQ(nx_SolveQuadratic(1, bad, 1), 0);
    EXPECT_EQ(nx_SolveCubic(1, 1, bad, 1), 0);
    EXPECT_EQ(nx_SolveQuartic(1, 1, 1, 1, bad), 0);
    EXPECT_EQ(nx_SolveQuadraticRoots(0, bad, 1, own) + nx_SolveCubicRoots(0, bad, 1, 1, own), 0);
  }
  EXPECT_EQ(nx_SolveQuadratic(1, 1e300, 1) + nx_SolveCubic(1, 1e300, 1, 1), 0);
  // Roots beyond the range of a double.
  EXPECT_EQ(nx_SolveLinear(1e-6, 1e308) + nx_SolveCubic(0, 0, 1e-6, -1e308) + nx_SolveLinearRoots(-1e-6, 1e308, own),
            0);
  EXPECT_EQ(nx_SolveQuartic(1e-6, 1e308, 0, 0, 0) + nx_SolveQuartic(0, 0, 0, 1e-6, 1e308), 0);
  EXPECT_EQ(nx_SolveQuadraticRoots(0, 1, 1, nullptr) + nx_SolveCubicRoots(0, 1, 1, 1, nullptr), 0);
  for (int k = 0; k < 4; ++k) {
    EXPECT_EQ(Roots[k], kUntouched);
    EXPECT_EQ(own[k], kUntouched);
  }
}

}  // namespace
