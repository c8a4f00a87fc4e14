// The test problems of minimisation that tests and benchmarks use: their gradients, starts and minima.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "bench/large_problems.h"
#include "bench/more_garbow_hillstrom.h"

namespace {

using bench::Problem;

double value_at(const Problem& problem, std::vector<double> x) {
  return problem.value(x.data(), problem.n(), problem.handle);
}

std::vector<double> gradient_at(const Problem& problem, std::vector<double> x) {
  std::vector<double> gradient(x.size(), std::numeric_limits<double>::quiet_NaN());
  problem.gradient(x.data(), gradient.data(), problem.n(), problem.handle);
  return gradient;
}

// The derivative by x[j] from central differences extrapolated to step 0 (Ridders 1982), and its estimated error.
std::pair<double, double> difference(const Problem& problem, std::vector<double> x, std::size_t j) {
  const double at = x[j];
  const double rounding = 1e-16 * std::fabs(value_at(problem, x));
  const auto central = [&](double h) {
    x[j] = at + h;
    const double above = value_at(problem, x);
    x[j] = at - h;
    return (above - value_at(problem, x)) / (2 * h);
  };
  std::pair<double, double> best{0, std::numeric_limits<double>::infinity()};
  std::vector<double> previous;
  double h = 0.05 * std::max(0.1, std::fabs(at));
  for (int row = 0; row < 16; ++row, h /= 1.6) {
    std::vector<double> current{central(h)};
    double factor = 1;
    for (std::size_t k = 0; k < previous.size(); ++k) {
      factor *= 1.6 * 1.6;
      current.push_back((current[k] * factor - previous[k]) / (factor - 1));
      const double error =
          rounding / h + std::max(std::fabs(current[k + 1] - current[k]), std::fabs(current[k + 1] - previous[k]));
      if (error < best.second) {
        best = {current[k + 1], error};
      }
    }
    previous = current;
  }
  return best;
}

void expect_gradient(const Problem& problem, const std::vector<double>& x) {
  const std::vector<double> gradient = gradient_at(problem, x);
  double norm = 0;
  for (const double g : gradient) {
    norm = std::hypot(norm, g);
  }
  for (std::size_t j = 0; j < x.size(); ++j) {
    const auto [derivative, error] = difference(problem, x, j);
    // The estimated error must be small, or the comparison below would test nothing.
    EXPECT_LE(error, 1e-5 * norm + 1e-9) << problem.name << ", variable " << j;
    EXPECT_NEAR(gradient[j], derivative, 10 * error + 1e-9 * norm) << problem.name << ", variable " << j;
  }
}

std::vector<Problem> small_and_large() {
  std::vector<Problem> all = bench::more_garbow_hillstrom();
  for (const auto& make : {bench::extended_rosenbrock, bench::convex_quadratic, bench::chain_12_6}) {
    all.push_back(make(12));
  }
  return all;
}

TEST(Problems, GradientsAreThoseOfTheValues) {
  std::mt19937 random(41);
  std::uniform_real_distribution<double> uniform(-1, 1);
  for (const Problem& problem : small_and_large()) {
    expect_gradient(problem, problem.start);
    for (int trial = 0; trial < 3; ++trial) {
      std::vector<double> x = problem.start;
      for (double& element : x) {
        element += (0.02 + 0.05 * std::fabs(element)) * uniform(random);
      }
      expect_gradient(problem, x);
    }
  }
}

// Published values, to six digits: at the start, where a round number or a report is known, and at the minimum, where
// it is not 0.
TEST(Problems, ValuesAgreeWithPublishedOnes) {
  struct Published {
    double start;  // 0: none
    double minimum;
  };
  const std::map<std::string, Published> published = {
      {"Rosenbrock", {24.2, 0}},
      {"Freudenstein and Roth", {400.5, 0}},
      {"Powell badly scaled", {1.13526, 0}},
      {"Brown badly scaled", {9.99998e11, 0}},
      {"Beale", {14.203125, 0}},
      {"Jennrich and Sampson", {4171.30, 124.362}},
      {"helical valley", {2500, 0}},
      {"Bard", {41.6817, 8.21487e-3}},
      {"Gaussian", {3.88811e-6, 1.12793e-8}},
      {"Meyer", {1.69361e9, 87.9458}},
      {"Gulf research", {12.1107, 0}},
      {"box three-dimensional", {1031.15, 0}},
      {"Powell singular", {215, 0}},
      {"Wood", {19192, 0}},
      {"Kowalik and Osborne", {5.31317e-3, 3.07505e-4}},
      {"Brown and Dennis", {7.92669e6, 85822.2}},
      {"Osborne 1", {0.879026, 5.46489e-5}},
      {"Biggs exp6", {0.779070, 0}},
      {"Osborne 2", {2.09342, 4.01377e-2}},
      {"Watson 6", {30, 2.28767e-3}},
      {"Watson 9", {30, 1.39976e-6}},
      {"Watson 12", {30, 4.72238e-10}},
      {"extended Rosenbrock 10", {121, 0}},
      {"extended Powell singular 12", {645, 0}},
      {"penalty I 4", {885.063, 2.24997e-5}},
      {"penalty I 10", {148032.5, 7.08765e-5}},
      {"penalty II 4", {2.34001, 9.37629e-6}},
      {"penalty II 10", {162.653, 2.93660e-4}},
      {"variably dimensioned 10", {2198551.2, 0}},
      {"trigonometric 10", {7.07576e-3, 0}},
      {"Brown almost-linear 10", {273.248, 0}},
      {"Broyden tridiagonal 10", {21, 0}},
      {"Broyden banded 10", {360, 0}},
      {"linear full rank 10", {50, 10}},
      {"linear rank 1 10", {8658670, 4.63415}},
      {"linear rank 1, zeros 10", {4067996, 6.13514}},
      {"Chebyquad 8", {3.86177e-2, 3.51687e-3}},
      {"Chebyquad 10", {3.37633e-2, 6.50395e-3}},
  };
  std::size_t found = 0;
  for (const Problem& problem : bench::more_garbow_hillstrom()) {
    const auto entry = published.find(problem.name);
    if (entry == published.end()) {
      EXPECT_EQ(problem.minimum, 0) << problem.name;
      continue;
    }
    ++found;
    EXPECT_NEAR(problem.minimum, entry->second.minimum, 5e-6 * entry->second.minimum) << problem.name;
    if (entry->second.start != 0) {
      EXPECT_NEAR(value_at(problem, problem.start) / entry->second.start, 1, 5e-6) << problem.name;
    }
  }
  EXPECT_EQ(found, published.size());
  EXPECT_EQ(bench::more_garbow_hillstrom().size(), 40U);
}

}  // namespace
