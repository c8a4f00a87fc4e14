#include "bench/large_problems.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace bench {
namespace {

double rosenbrock_gradient(double* x, double* gradient, int n, int) {
  double value = 0;
  for (int j = 0; j + 1 < n; j += 2) {
    const double across = x[j + 1] - x[j] * x[j];
    const double along = 1 - x[j];
    value += 100 * across * across + along * along;
    if (gradient != nullptr) {
      gradient[j] = -400 * across * x[j] - 2 * along;
      gradient[j + 1] = 200 * across;
    }
  }
  return value;
}

double quadratic_gradient(double* x, double* gradient, int n, int) {
  const double ratio = std::pow(1e4, 1.0 / std::max(1, n - 1));
  double curvature = 1;
  double value = 0;
  for (int j = 0; j < n; ++j) {
    const double d = x[j] - 1;
    value += curvature * d * d / 2;
    if (gradient != nullptr) {
      gradient[j] = curvature * d;
    }
    curvature *= ratio;
  }
  return value;
}

double chain_gradient(double* x, double* gradient, int n, int) {
  double value = 0;
  double before = 0;
  for (int j = 0; j < n; ++j) {
    const double s = x[j] - before;
    const double s2 = 1 / (s * s);
    const double s6 = s2 * s2 * s2;
    value += (s6 - 2) * s6;
    if (gradient != nullptr) {
      const double slope = 12 * s6 * (1 - s6) / s;
      gradient[j] = slope;
      if (j > 0) {
        gradient[j - 1] -= slope;
      }
    }
    before = x[j];
  }
  return value;
}

template <double (*gradient)(double*, double*, int, int)>
Problem problem_of(const char* name, int n) {
  Problem problem;
  problem.name.append(name).append(" ").append(std::to_string(n));
  problem.gradient = gradient;
  problem.value = value_by<gradient>;
  return problem;
}

}  // namespace

Problem extended_rosenbrock(int n) {
  auto problem = problem_of<rosenbrock_gradient>("extended Rosenbrock", n);
  for (int j = 0; j < n; ++j) {
    problem.start.push_back(j % 2 == 0 ? -1.2 : 1);
  }
  problem.minimiser.assign(problem.start.size(), 1);
  return problem;
}

Problem convex_quadratic(int n) {
  auto problem = problem_of<quadratic_gradient>("quadratic of condition 1e4", n);
  problem.start.assign(static_cast<std::size_t>(n), 0);
  problem.minimiser.assign(problem.start.size(), 1);
  return problem;
}

Problem chain_12_6(int n) {
  auto problem = problem_of<chain_gradient>("12-6 chain", n);
  problem.minimum = -n;
  uint32_t sequence = 1;  // linear congruential: the same on every machine
  for (int j = 1; j <= n; ++j) {
    sequence = 1664525 * sequence + 1013904223;
    problem.start.push_back(j + 0.2 * (static_cast<double>(sequence) / 4294967296.0 - 0.5));
    problem.minimiser.push_back(j);
  }
  return problem;
}

}  // namespace bench
