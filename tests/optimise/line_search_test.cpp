#include <nxbriochem/optimise/line_search.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <nxbriochem/optimise/opt.h>
#include <nxbriochem/optimise/opt_internal.h>

#include "tests/support/printed.h"

namespace {

using test_support::printed;
using Function = std::function<double(double)>;
using Search = decltype(&nxi_au_section);

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// f(x) = phi(u . x), searched from 0 along a d with u . d = 1.
Function phi;
Function slope;
int calls;
double u[] = {1, 2, -1};

double along(const double* x) { return u[0] * x[0] + u[1] * x[1] + u[2] * x[2]; }

double value_of(double* x, int /*n*/) {
  ++calls;
  return phi(along(x));
}

double gradient_of(double* x, double* gradient, int n) {
  const double s = slope(along(x));
  std::transform(u, u + n, gradient, [s](double component) { return s * component; });
  return value_of(x, n);
}

struct Outcome {
  int count;
  double value;
  double step;
  std::vector<double> g;
  std::vector<double> x;
};

class LineSearch : public testing::Test {
 protected:
  Outcome run(Search search, double first) {
    std::vector<double> x(3);
    std::vector<double> d = {2, 0.5, 2};
    std::vector<double> g0 = {slope(0) * u[0], slope(0) * u[1], slope(0) * u[2]};
    Outcome outcome{0, phi(0), first, std::vector<double>(3), {}};
    calls = 0;
    outcome.count = search(3, x.data(), d.data(), g0.data(), outcome.g.data(), &outcome.value, &outcome.step, opt_ - 1);
    EXPECT_EQ(x, std::vector<double>(3));
    EXPECT_EQ(opt::running, -1);
    int calls_of_last_run = -1;
    nx_get_opt_total_function_calls(opt_, &calls_of_last_run);
    EXPECT_EQ(calls_of_last_run, 0);  // a search is no run
    if (outcome.count == 0) {
      EXPECT_TRUE(outcome.value == phi(0) && std::equal_to<>()(outcome.step, first));
      return outcome;
    }
    EXPECT_EQ(outcome.count, calls);
    outcome.x = {2 * outcome.step, 0.5 * outcome.step, 2 * outcome.step};
    const double s = slope(along(outcome.x.data()));
    EXPECT_EQ(outcome.g, (std::vector<double>{s * u[0], s * u[1], s * u[2]}));
    EXPECT_EQ(outcome.value, phi(along(outcome.x.data())));
    EXPECT_LT(outcome.value, phi(0));
    return outcome;
  }

  int opt_ = [] {
    const int opt = nx_init_opt(3, value_of);
    nx_set_opt_gradient(gradient_of, opt);
    return opt;
  }();
};

TEST_F(LineSearch, FindsKnownMinima) {
  struct Case {
    const char* name;
    Function phi;
    Function slope;
    double minimum;
  };
  const Case cases[] = {
      {"parabola", [](double t) { return (t - 3) * (t - 3); }, [](double t) { return 2 * (t - 3); }, 3},
      {"quartic", [](double t) { return std::pow(t - 1, 4) + std::pow(t - 1, 2) / 10; },
       [](double t) { return 4 * std::pow(t - 1, 3) + (t - 1) / 5; }, 1},
      {"cosh", [](double t) { return std::cosh(t - 2); }, [](double t) { return std::sinh(t - 2); }, 2},
      {"barrier", [](double t) { return -std::log(1 - t) - 3 * t; }, [](double t) { return 1 / (1 - t) - 3; }, 2.0 / 3},
      {"12-6", [](double t) { return std::pow(0.9 + t, -12) - 2 * std::pow(0.9 + t, -6); },
       [](double t) { return 12 * std::pow(0.9 + t, -7) - 12 * std::pow(0.9 + t, -13); }, 0.1},
      {"wide", [](double t) { return std::pow(t * 1e-8 - 1, 2); }, [](double t) { return 2e-8 * (t * 1e-8 - 1); }, 1e8},
      {"narrow", [](double t) { return std::pow(t * 1e8 - 1, 2); }, [](double t) { return 2e8 * (t * 1e8 - 1); }, 1e-8},
  };
  for (const Case& test : cases) {
    phi = test.phi;
    slope = test.slope;
    for (const double part : {1e-6, 1e-2, 0.3, 0.9, 1.0, 1.4, 2.5, 1e2, 1e6}) {
      SCOPED_TRACE(testing::Message() << test.name << " from " << part);
      const double first = part * test.minimum;
      const Outcome golden = run(nxi_au_section, first);
      EXPECT_NEAR(golden.step, test.minimum, 3e-6 * test.minimum);
      EXPECT_LE(golden.count, 100);
      const Outcome halved = run(nxi_bi_section, first);
      EXPECT_LE(std::fabs(slope(halved.step)), 1.0001e-6 * std::fabs(slope(0)));
      EXPECT_GT(halved.count, 0);
      EXPECT_LE(halved.count, 70);

      const auto low_enough = [](double t) { return phi(t) < phi(0) + 1e-4 * t * slope(0) * (1 + 1e-9); };
      const Outcome backtracked = run(nxi_armijo_section, first);
      EXPECT_TRUE(low_enough(backtracked.step));
      EXPECT_TRUE(backtracked.step == first || !low_enough(2 * backtracked.step));
      EXPECT_EQ(backtracked.count, 2 + std::log2(first / backtracked.step));

      const Outcome by_cubics = run(LineMinimize, first);
      EXPECT_LE(by_cubics.count, 3);
      if (by_cubics.count > 0) {
        EXPECT_LE(phi(by_cubics.step), phi(0) + 0.0999 * by_cubics.step * slope(0));
        EXPECT_LE(std::fabs(slope(by_cubics.step)), 0.9 * std::fabs(slope(0)));
      }

      // nx_LineMinimize2 needs few more trials for a step accurate to three digits than for a barely acceptable one.
      for (const double beta : {0.9, 1e-3}) {
        nx_set_opt_beta(opt_, static_cast<float>(beta));
        const Outcome interpolated = run(nx_LineMinimize2, first);
        EXPECT_TRUE(interpolated.count > 0 || part < 0.05 * (1 - beta) || part > 1.5 + 1.2 * beta) << beta;
        EXPECT_LE(interpolated.count, 5);
        if (interpolated.count > 0) {
          EXPECT_LE(phi(interpolated.step), phi(0) + 0.0999 * interpolated.step * slope(0));
          EXPECT_LE(std::fabs(slope(interpolated.step)), 1.0001 * beta * std::fabs(slope(0)));
        }
      }
    }
  }
}

// Functions without a minimum along the line: every search must end.
TEST_F(LineSearch, EndsWhereThereIsNoMinimum) {
  for (const Search search : {LineMinimize, nxi_au_section, nxi_bi_section, nxi_armijo_section, nx_LineMinimize2}) {
    slope = [](double) { return -1; };
    for (const Function& f : {Function([](double t) { return t; }), Function([](double) { return 1; }),
                              Function([](double t) { return t == 0 ? 0 : kNaN; })}) {
      phi = f;
      EXPECT_EQ(run(search, 1).count, 0);
      EXPECT_LE(calls, 500);
    }
    phi = [](double t) { return -t; };
    run(search, 1e-3);  // no lower bound: the result must be lower and finite
    EXPECT_LE(calls, 501);
    slope = [](double t) { return t == 0 ? -1 : kNaN; };
    EXPECT_EQ(run(search, 1).count, 0);
    slope = [](double) { return 1; };
    EXPECT_EQ(run(search, 1).count + calls, 0);

    slope = [](double t) { return 2 * (t - 1); };
    phi = [this](double t) {
      EXPECT_EQ(opt::running < 0 ? 0 : nx_clear_opt(opt_) + nx_delete_opt(opt_) + nx_set_opt_size(2, opt_), 0);
      for (int i = 0; opt::running >= 0 && calls == 1 && i < 100; ++i) {
        nx_init_opt(3, value_of);  // the table moves
      }
      return (t - 1) * (t - 1);
    };
    EXPECT_GT(run(search, 0.7).count, 0);
  }
}

TEST_F(LineSearch, TriesNoStepBelowTheSmallest) {
  phi = [](double t) { return std::fabs(t - 0.01); };
  slope = [](double t) { return t < 0.01 ? -1 : 1; };
  EXPECT_GT(run(nxi_armijo_section, 1).count, 0);
  nx_set_opt_zero(opt_, 0.1F);
  EXPECT_EQ(run(nxi_armijo_section, 1).count, 0);
}

TEST_F(LineSearch, RefusesBadArguments) {
  phi = [](double t) { return t; };
  slope = [](double) { return 1; };
  double vectors[4][3] = {{}, {2, 0.5, 2}, {-2, -4, 2}, {}};
  double value = 1;
  double step = 1;
  for (const Search search : {LineMinimize, nxi_au_section, nxi_bi_section, nxi_armijo_section, nx_LineMinimize2}) {
    // Passes null for argument number `missing` of the six pointers; 6 for none.
    const auto call = [&](int n, int missing, int slot) {
      const auto given = [missing](int which, double* array) { return which == missing ? nullptr : array; };
      return search(n, given(0, vectors[0]), given(1, vectors[1]), given(2, vectors[2]), given(3, vectors[3]),
                    given(4, &value), given(5, &step), slot);
    };
    for (int missing = 0; missing < 6; ++missing) {
      EXPECT_EQ(call(3, missing, opt_ - 1), 0);
    }
    for (const int bad : {INT_MIN, -1, 1, INT_MAX}) {
      EXPECT_EQ(call(bad, 6, opt_ - 1) + call(3, 6, bad), 0);
    }
    for (const double first : {0.0, -1.0, kNaN, HUGE_VAL}) {
      step = first == 0 && search == LineMinimize ? -1 : first;
      EXPECT_EQ(call(3, 6, opt_ - 1), 0);
    }
    step = 1;
    value = kNaN;
    EXPECT_EQ(call(3, 6, opt_ - 1), 0);
    value = 1;
    const opt::Running mark(opt_ - 1);
    EXPECT_EQ(call(3, 6, opt_ - 1), 0);
  }
  EXPECT_EQ(value + step, 2);
}

TEST_F(LineSearch, LineMinimize2Tells) {
  const std::string zero = "stepped to zero gradients! reduce by 0.5\n";
  const auto run_from = [this](double first) { return printed([=, this] { run(nx_LineMinimize2, first); }); };
  phi = [](double t) { return t < 0.05 ? -t : -0.05; };
  slope = [](double t) { return t < 0.05 ? -1 : 0; };
  EXPECT_EQ(run_from(1), "");
  nx_set_opt_debug(opt_, 2);
  EXPECT_EQ(run_from(1e9),
            "\nIn LineMinimize2\n" + zero + zero + zero + zero + "failed to find step without zero gradients\n");
  EXPECT_EQ(run_from(1).substr(0, 18 + 2 * zero.size()), "\nIn LineMinimize2\n" + zero + zero);
  slope = [](double) { return -1; };
  phi = [](double t) { return t; };
  EXPECT_EQ(run_from(1), "\nIn LineMinimize2\nran out of interpolation points in LineMinimizer2\n");
  EXPECT_EQ(calls, 5);
}

// Compared with the polynomial itself, evaluated by Horner's rule in long double.
TEST(Lagrange, ReproducesPolynomials) {
  std::mt19937 random(47);
  std::uniform_real_distribution<double> uniform(-1, 1);
  const auto horner = [](const std::vector<long double>& c, double at, long double& derivative) {
    long double p = 0;
    derivative = 0;
    for (std::size_t k = c.size(); k-- > 0;) {
      derivative = derivative * at + p;
      p = p * at + c[k];
    }
    return p;
  };
  for (int count = 1; count <= 8; ++count) {
    for (int repeat = 0; repeat < 200; ++repeat) {
      std::vector<long double> c(2 * static_cast<std::size_t>(count));
      std::generate(c.begin(), c.end(), [&] { return uniform(random); });
      c[0] += repeat % 2 == 0 ? 0 : 1e6L;
      std::vector<double> t;
      std::vector<double> y;
      std::vector<double> dy;
      long double derivative = 0;
      for (int k = 0; k < count; ++k) {
        t.push_back(std::cos((2 * k + 1) * std::acos(-1.0) / (2 * count)));
        y.push_back(static_cast<double>(horner(c, t.back(), derivative)));
        dy.push_back(static_cast<double>(derivative));
      }
      const double at = repeat < count ? t[static_cast<std::size_t>(repeat)] : uniform(random);
      double value = 0;
      double slope_at = 0;
      ASSERT_EQ(nx_lagrange_interpolate_with_gradients(t.data(), y.data(), dy.data(), count, at, &value, &slope_at), 1);
      const long double expected = horner(c, at, derivative);
      // The input values are rounded. That allows errors of a few units in the last place of the largest, times the
      // slope of the basis.
      const double unit = std::numeric_limits<double>::epsilon() * (std::fabs(static_cast<double>(c[0])) + count);
      EXPECT_NEAR(value, static_cast<double>(expected), 8 * unit);
      EXPECT_NEAR(slope_at, static_cast<double>(derivative), 8 * count * count * unit);
    }
  }
  const double t[] = {1, 2, 1};
  double value = 7;
  EXPECT_EQ(nx_lagrange_interpolate_with_gradients(t, t, t, 3, 1.5, &value, nullptr), 0);  // points coincide
  EXPECT_EQ(nx_lagrange_interpolate_with_gradients(t, t, t, 0, 1, &value, nullptr), 0);
  EXPECT_EQ(nx_lagrange_interpolate_with_gradients(t, nullptr, t, 2, 1, &value, nullptr), 0);
  EXPECT_EQ(nx_lagrange_interpolate_with_gradients(t, t, t, 2, kNaN, &value, nullptr), 0);
  EXPECT_EQ(value, 7);
  const double apart[] = {0.1, 0.7, 1.3};
  const double same[] = {1e6 + 0.1, 1e6 + 0.1, 1e6 + 0.1};
  const double none[] = {0, 0, 0};
  double slope_at = 7;
  EXPECT_EQ(nx_lagrange_interpolate_with_gradients(apart, same, none, 3, 0.9, nullptr, &slope_at), 1);
  EXPECT_EQ(slope_at, 0);  // a common offset costs no digits
}

}  // namespace
