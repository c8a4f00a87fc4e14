// Functions to minimise, and the checks that every run must pass.
#ifndef NXBRIOCHEM_TESTS_OPTIMISE_MINIMISED_H
#define NXBRIOCHEM_TESTS_OPTIMISE_MINIMISED_H

#include <gtest/gtest.h>
#include <nxbriochem/optimise/opt.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace minimised {

using Function = std::function<double(const double*, double*, int)>;

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();
inline constexpr int kCodes[] = {0, 1, 2};  // of nx_set_opt_method: vector-only, steepest descent, dense

// The function that the optimisers of these tests minimise. gradient_of counts its calls and keeps the lowest value
// seen where everything was finite and the gradient not zero.
inline Function f;
inline int calls;
inline double lowest;

inline double gradient_of(double* x, double* gradient, int n) {
  ++calls;
  const double value = f(x, gradient, n);
  if (std::isfinite(value) && std::all_of(gradient, gradient + n, [](double g) { return std::isfinite(g); }) &&
      std::any_of(gradient, gradient + n, [](double g) { return g != 0; })) {
    lowest = std::min(lowest, value);
  }
  return value;
}

inline double value_of(double* x, int n) {
  std::vector<double> gradient(static_cast<std::size_t>(n));
  return gradient_of(x, gradient.data(), n);
}

inline int optimiser(int n, int code, Function function) {
  f = std::move(function);
  const int opt = nx_init_opt(n, value_of);
  nx_set_opt_gradient(gradient_of, opt);
  nx_set_opt_method(opt, code);
  return opt;
}

struct Outcome {
  int result;
  double value;
  std::vector<double> x;
};

// Runs and checks what every run must fulfil: the value is that of x; no lower value was seen, except at points with a
// zero gradient; the counts are right.
inline Outcome minimise(int opt, std::vector<double> x) {
  calls = 0;
  lowest = kInfinity;
  Outcome outcome{0, 0, std::move(x)};
  outcome.result = nx_minimize(outcome.x.data(), &outcome.value, opt);
  const auto n = static_cast<int>(outcome.x.size());
  int counted = 0;
  nx_get_opt_total_function_calls(opt, &counted);
  EXPECT_EQ(counted, calls);
  std::vector<double> gradient(outcome.x.size());
  const double again = f(outcome.x.data(), gradient.data(), n);
  EXPECT_TRUE(outcome.value == again || (std::isnan(outcome.value) && std::isnan(again)));
  if (std::isfinite(lowest)) {
    EXPECT_LE(outcome.value, lowest);
  }
  float saved = 0;
  nx_get_opt_saveval(opt, &saved);
  EXPECT_TRUE(saved == static_cast<float>(outcome.value) || std::isnan(saved));
  return outcome;
}

// A sum of squares of well-conditioned linear forms, with its minimum 1 at the point of all ones.
struct Quadratic {
  explicit Quadratic(int size, unsigned seed = 1)
      : n(size), a(static_cast<std::size_t>(size) * static_cast<std::size_t>(size)) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> uniform(-1, 1);
    std::generate(a.begin(), a.end(), [&] { return uniform(random); });
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < i; ++j) {
        at(i, j) = at(j, i) = (at(i, j) + at(j, i)) / 2;
      }
      at(i, i) = n + 1.0;
    }
  }
  double& at(int i, int j) {
    return a[static_cast<std::size_t>(i) * static_cast<std::size_t>(n) + static_cast<std::size_t>(j)];
  }
  double operator()(const double* x, double* g, int) {
    double value = 1;
    for (int i = 0; i < n; ++i) {
      g[i] = 0;
      for (int j = 0; j < n; ++j) {
        g[i] += at(i, j) * (x[j] - 1);
      }
      value += 0.5 * g[i] * (x[i] - 1);
    }
    return value;
  }
  int n;
  std::vector<double> a;
};

inline double rosenbrock(const double* x, double* g, int) {
  const double a = x[1] - x[0] * x[0];
  const double b = 1 - x[0];
  g[0] = -400 * a * x[0] - 2 * b;
  g[1] = 200 * a;
  return 100 * a * a + b * b;
}

}  // namespace minimised

#endif
