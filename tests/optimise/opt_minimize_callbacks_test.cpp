// Runs whose callbacks give wrong values, follow the run, or change optimisers meanwhile.
#include "tests/optimise/minimised.h"

#include <gtest/gtest.h>
#include <nxbriochem/optimise/opt.h>
#include <nxbriochem/optimise/opt_internal.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using namespace minimised;

// With an energy convergence of 0, no method accepts a value that is not finite or reports convergence after wrong
// values or gradients.
TEST(MinimiseCallbacks, EndsWhereCallbacksMislead) {
  const std::vector<std::pair<const char*, Function>> misleading = {
      {"NaN", [](const double*, double* g, int) { return g[0] = g[1] = kNaN; }},
      {"infinite", [](const double* x, double* g, int) { return rosenbrock(x, g, 2) * kInfinity; }},
      {"infinite below",
       [](const double* x, double* g, int) { return x[0] == -1.2 ? rosenbrock(x, g, 2) : -kInfinity; }},
      {"uphill",
       [](const double* x, double* g, int) {
         const double value = rosenbrock(x, g, 2);
         g[0] = -g[0];
         g[1] = -g[1];
         return value;
       }},
      {"turned",
       [](const double* x, double* g, int) {
         const double value = rosenbrock(x, g, 2);
         std::swap(g[0], g[1]);
         return value;
       }},
      {"NaN gradient beyond",
       [](const double* x, double* g, int) {
         const double value = rosenbrock(x, g, 2);
         g[0] = x[0] > 0 ? kNaN : g[0];
         return value;
       }},
      {"cliff", [](const double* x, double* g, int) { return rosenbrock(x, g, 2) + (x[0] > -1 ? 1e3 : 0); }},
  };
  for (const auto& [name, function] : misleading) {
    for (const int code : kCodes) {
      for (const int tries : {0, 30}) {
        SCOPED_TRACE(std::string(name) + " " + std::to_string(code));
        const int opt = optimiser(2, code, function);
        nx_set_opt_max_line_try(opt, tries);
        nx_set_opt_energy_convergence(opt, 0);
        EXPECT_EQ(minimise(opt, {-1.2, 1}).result, 0);
        EXPECT_LE(calls, 60000);
        nx_delete_opt(opt);
      }
    }
  }
}

// With an energy convergence of 0, no method reports convergence at a jump of the gradient.
TEST(MinimiseCallbacks, KinksAreNoMinima) {
  const Function kink = [](const double* x, double* g, int) {
    const double side = x[1] > x[0] * x[0] ? 8 : -8;
    g[0] = -2 * side * x[0] - 2 * (1 - x[0]);
    g[1] = side;
    return side * (x[1] - x[0] * x[0]) + (1 - x[0]) * (1 - x[0]);
  };
  std::mt19937 random(5);
  std::normal_distribution<double> normal;
  for (const int code : kCodes) {
    const int opt = optimiser(2, code, kink);
    nx_set_opt_energy_convergence(opt, 0);
    for (int i = 0; i < 400; ++i) {
      f = kink;
      const Outcome outcome = minimise(opt, {3 * normal(random), 3 * normal(random)});
      EXPECT_TRUE(outcome.result == 0 || outcome.value < 1e-6);
      f = [edge = normal(random)](const double* x, double* g, int n) {
        const double value = Quadratic(n)(x, g, n);
        if (x[0] < edge) {
          g[0] = 1e12;
          g[1] = -1e12;
        }
        return value;
      };
      const Outcome misled = minimise(opt, {4 * normal(random), 4 * normal(random)});
      EXPECT_TRUE(misled.result == 0 || misled.value < 1 + 1e-6);
    }
  }
}

// A callback that writes no gradient: the run must not use what an earlier run has left in the workspace.
TEST(MinimiseCallbacks, TakesNoOldGradientWhereACallbackWritesNone) {
  for (const int code : kCodes) {
    const int used = optimiser(2, code, rosenbrock);
    minimise(used, {-1.2, 1});
    const auto run = [](int opt) {
      f = [](const double* x, double* g, int n) { return calls == 1 ? rosenbrock(x, g, n) : -calls; };
      calls = 0;
      std::vector<double> x = {-1.2, 1};
      double value = 0;
      const int result = nx_minimize(x.data(), &value, opt);
      return std::tuple(result, value, x);
    };
    const auto after_a_run = run(used);
    EXPECT_EQ(after_a_run, run(optimiser(2, code, rosenbrock))) << code;
  }
}

// A variable with derivative 0, however large, must affect neither the first step nor what counts as rounding.
TEST(MinimiseCallbacks, LeavesOutVariablesThatPlayNoPart) {
  for (const int code : {0, 2}) {
    for (const double cliff : {0.0, 1e3}) {
      const int opt = optimiser(3, code, [=](const double* x, double* g, int n) {
        g[2] = 0;
        return rosenbrock(x, g, n) + (x[0] > -1 ? cliff : 0);
      });
      nx_set_opt_energy_convergence(opt, 0);
      const Outcome outcome = minimise(opt, {-1.2, 1, 1e30});
      EXPECT_TRUE(cliff > 0 ? outcome.result == 0 : outcome.value < 1e-20) << code << " " << cliff;
    }
  }
}

// Values without a lower bound, and absurd settings of the line search: runs end after a bounded number of calls.
TEST(MinimiseCallbacks, StaysWithinBounds) {
  int opt = optimiser(1, 1, [](const double* x, double* g, int) { return g[0] = -0.01, -0.01 * x[0]; });
  nx_set_opt_maximum_iterations(opt, 10000);
  EXPECT_EQ(minimise(opt, {0}).result, 0);
  EXPECT_EQ(calls, 10001);
  for (const int code : {0, 2}) {
    opt = optimiser(1, code, [](const double* x, double* g, int) { return g[0] = -1, x[0]; });
    nx_set_opt_alpha(opt, -10);
    nx_set_opt_beta(opt, 10);
    nx_set_opt_max_line_try(opt, INT_MAX);
    EXPECT_EQ(minimise(opt, {1}).x[0], 1);
    EXPECT_LE(calls, 3000);
  }
}

// Central differences change x for a moment. A callback that throws then must not leave it changed.
TEST(MinimiseCallbacks, PutsVariablesBackWhenACallbackThrows) {
  const int opt = optimiser(1, 2, [](const double* x, double*, int) { return calls > 1 ? throw 1 : x[0]; });
  nx_set_opt_gradient(nullptr, opt);
  calls = 0;
  double x = 3;
  double value = 0;
  EXPECT_THROW(nx_minimize(&x, &value, opt), int);
  EXPECT_EQ(x, 3);
}

// The value is not a number in a part of the plane: the methods must find their way around it.
TEST(MinimiseCallbacks, ShrinksStepsThatLeadNowhere) {
  for (const int code : {0, 2}) {
    const int opt = optimiser(2, code, [](const double* x, double* g, int) {
      return x[0] < -2 || x[1] > 1.5 ? g[0] = g[1] = kNaN : rosenbrock(x, g, 2);
    });
    nx_set_opt_stepsize(opt, 1);
    EXPECT_LE(minimise(opt, {-1.2, 1}).value, 1e-20) << code;
  }
}

// Values and variables of extreme size, whose sums of squares overflow or underflow, must do no harm; for moderate ones
// the minimum is found.
TEST(MinimiseCallbacks, StandsAnySize) {
  for (const double size : {1e-305, 1e-160, 1e-60, 1e-20, 1e20, 1e60, 1e150, 1e300}) {
    for (const double length : {1e-200, 1e-30, 1.0, 1e30, 1e200}) {
      for (const int code : kCodes) {
        SCOPED_TRACE(testing::Message() << size << " " << length << " " << code);
        const int opt = optimiser(2, code, [=](const double* x, double* g, int n) {
          const double unit[] = {x[0] / length, x[1] / length};
          const double value = size * rosenbrock(unit, g, n);
          g[0] *= size / length;
          g[1] *= size / length;
          return value;
        });
        nx_set_opt_maximum_iterations(opt, 200);
        const Outcome outcome = minimise(opt, {-1.2 * length, length});
        if (code == 2 && size >= 1e-20 && size <= 1e60 && length == 1) {
          EXPECT_LE(outcome.value, 1e-6 * size);
        }
        nx_delete_opt(opt);
      }
    }
  }
}

// With itersave, the latest evaluation before the count goes up is the new iterate.
TEST(MinimiseCallbacks, ReportsIterations) {
  for (const int code : kCodes) {
    int opt = 0;
    std::vector<double> values{INFINITY};
    double latest = INFINITY;
    opt = optimiser(2, code, [&](const double* x, double* g, int) {
      int iterations = 0;
      nx_get_opt_total_iterations(opt, &iterations);
      if (iterations >= static_cast<int>(values.size())) {
        float saved = 0;
        nx_get_opt_saveval(opt, &saved);
        EXPECT_EQ(saved, static_cast<float>(latest));
        values.resize(static_cast<std::size_t>(iterations) + 1, latest);
      }
      return latest = rosenbrock(x, g, 2);
    });
    nx_set_opt_itersave(opt, 1);
    double x[] = {-1.2, 1};
    double value = 0;
    nx_minimize(x, &value, opt);
    EXPECT_GT(values.size(), 10U);
    EXPECT_TRUE(std::is_sorted(values.rbegin(), values.rend()));
    float step = 0;
    nx_get_opt_stepsize(opt, &step);
    EXPECT_NE(step, 0);
  }
}

// Callbacks make, clear and delete other optimisers, so that the table moves during the run. The run must give the same
// result as an undisturbed one.
TEST(MinimiseCallbacks, StandsCallbacksThatUseOptimisers) {
  for (const int code : kCodes) {
    const int plain = optimiser(2, code, rosenbrock);
    const Outcome undisturbed = minimise(plain, {-1.2, 1});
    static int opt;
    static std::vector<int> others;
    others.clear();
    opt = optimiser(2, code, [](const double* x, double* g, int n) {
      if (opt::running < 0) {
        return rosenbrock(x, g, n);
      }
      for (int i = 0; i < 30 && others.size() < 3000; ++i) {
        others.push_back(nx_init_opt(3 + i, value_of));
      }
      for (std::size_t i = static_cast<std::size_t>(calls) % 3; i < others.size(); i += 3) {
        i % 2 == 0 ? nx_delete_opt(others[i]) : nx_clear_opt(others[i]);
      }
      double copy[] = {1, 2};
      double value = 0;
      EXPECT_EQ(nx_minimize(copy, &value, opt), 0);
      EXPECT_EQ(nx_minimize_d(copy, &value, others.back()), 0);
      EXPECT_EQ(nx_clear_opt(opt) + nx_delete_opt(opt) + nx_set_opt_size(4, opt), 0);
      return rosenbrock(x, g, n);
    });
    const Outcome disturbed = minimise(opt, {-1.2, 1});
    EXPECT_EQ(disturbed.x, undisturbed.x);
    EXPECT_EQ(nx_delete_opt(opt), 1);
  }
}

}  // namespace
