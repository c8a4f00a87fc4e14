// What the methods and the line search print at debug level 2.
#include <gtest/gtest.h>
#include <nxbriochem/optimise/opt.h>
#include <nxbriochem/optimise/opt_internal.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/matches.h"
#include "tests/support/printed.h"

namespace {

using test_support::matches;
using test_support::printed;
using Along = std::function<double(double t, double& slope)>;

template <class... Values>
std::string formatted(const char* format, Values... values) {
  return printed([&] { std::printf(format, values...); });
}

// Functions of one variable.
Along f;
std::vector<double> tried;

double gradient_of(double* x, double* gradient, int) {
  tried.push_back(x[0]);
  return f(x[0], gradient[0]);
}

double value_of(double* x, int) {
  double slope = 0;
  return gradient_of(x, &slope, 1);
}

double value_at(double t) {
  double slope = 0;
  return f(t, slope);
}

int tracing_optimiser(int code, Along function) {
  f = std::move(function);
  tried.clear();
  const int opt = nx_init_opt(1, value_of);
  nx_set_opt_gradient(gradient_of, opt);
  nx_set_opt_method(opt, code);
  nx_set_opt_debug(opt, 2);
  return opt;
}

struct Searched {
  int count;
  double value;
  double step;
  std::string text;
};

// LineMinimize from 0 along +1.
Searched search(Along function, double step, int tries = 0, int alternative = 0) {
  const int opt = tracing_optimiser(2, std::move(function));
  nx_set_opt_max_line_try(opt, tries);
  nx_set_opt_alt_step(opt, alternative);
  double x = 0;
  double d = 1;
  double g0 = 0;
  double g = 0;
  Searched found{0, f(0, g0), step, {}};
  found.text = printed([&] { found.count = LineMinimize(1, &x, &d, &g0, &g, &found.value, &found.step, opt - 1); });
  EXPECT_EQ(x, 0);
  EXPECT_EQ(found.text.substr(0, 14), "\nIn LineMin_E\n");
  EXPECT_EQ(found.count == 0, found.step == step && found.value == value_at(0));
  if (found.count != 0) {
    double slope = 0;
    EXPECT_EQ(found.value, f(found.step, slope));
    EXPECT_EQ(g, slope);
    EXPECT_EQ(opt::Opt[opt - 1].method_workspace[0], found.step);
    EXPECT_EQ(found.count, static_cast<int>(tried.size()));
    EXPECT_LT(found.value, value_at(0) + 0.1 * found.step * g0);
    EXPECT_LT(std::abs(slope / g0), 0.9);
  }
  nx_delete_opt(opt);
  return found;
}

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

double parabola(double t, double& slope) {
  slope = 2 * (t - 1);
  return (t - 1) * (t - 1);
}

TEST(LineTrace, FirstStepIsAccepted) {
  const Searched found = search(parabola, 0.5);
  EXPECT_EQ(found.count, 1);
  EXPECT_EQ(found.text, "\nIn LineMin_E\n\n" +
                            formatted("initial f1 and f2= %e %e, line %e %e, grads %e %e %e %e\n", 1.0, 0.25, 0.0, 0.5,
                                      -2.0, -1.0, 1.0, std::sqrt(2.0)) +
                            "return on initial step, 0.250000 0.900000, 0.500000 0.900000\n");
}

// On a cubic function the cubic fit finds the minimum exactly.
TEST(LineTrace, Interpolates) {
  const Searched found = search(
      [](double t, double& slope) {
        slope = 3 * t * t - 3;
        return t * t * t - 3 * t;
      },
      4);
  EXPECT_EQ(found.text, "\nIn LineMin_E\n\n" +
                            formatted("initial f1 and f2= %e %e, line %e %e, grads %e %e %e %e\n", 0.0, 52.0, 0.0, 4.0,
                                      -3.0, 45.0, 45.0 * 45, std::sqrt(3.0)) +
                            "initial step fails on value 52.000000>-1.200000\ntry: 0\n" +
                            formatted("g1,g2  is %e, %e\n", -3.0, 45.0) + "positive gradient: interpolating\n" +
                            formatted("suggested l is %e, between %e and %e, t is %e\n", 1.0, 0.0, 4.0, 9.0) +
                            "new f is -2.000000\nnew gradient i.p. is 0.000000\nla is 1.000000\n"
                            "stepped into a zero gradient area\n");
  EXPECT_EQ(found.step, 1);
  EXPECT_EQ(found.value, -2);
}

TEST(LineTrace, Extrapolates) {
  // A cubic function with its minimum at 1, and a first step far too short.
  const Along cubic = [](double t, double& slope) {
    slope = 3 * t * t + 3 * t - 6;
    return t * t * t + 1.5 * t * t - 6 * t;
  };
  Searched found = search(cubic, 0.03125);
  EXPECT_TRUE(has(found.text, "initial step fails on gradient 0.983887>0.900000\n"));
  EXPECT_TRUE(has(found.text, "try: 0\n"));
  EXPECT_TRUE(has(found.text, "negative gradient: extrapolating "));
  EXPECT_NEAR(found.step, 1, 0.3);
  // A straight line: the distance doubles each time, measured from the left end.
  found = search([](double t, double& slope) { return slope = -1, -t; }, 1, 1);
  EXPECT_EQ(found.count, 0);
  EXPECT_TRUE(has(found.text, "negative gradient: extrapolating by doubling\nsuggested l is 2.000000e+00, from"));
  EXPECT_TRUE(has(found.text, "suggested l is 5.000000e+00, from 1.000000e+00 and 2.000000e+00"));
  EXPECT_TRUE(has(found.text, "because grad ratio = 1.000000> 0.900000\nmust try again\ntry: 1\n"));
  EXPECT_TRUE(has(found.text, "exhausted tries\n"));
  EXPECT_EQ(tried.size(), 4U);
}

// Doubling always goes beyond the right end, wherever the last extrapolation went.
TEST(LineTrace, DoublesOutwards) {
  const std::string doubling = "by doubling\nsuggested l is ([^ \n]+), from [^ \n]+ and ([^ \n]+),";
  int doubled = 0;
  for (double w = 1; w < 40; w += 0.1) {
    const auto ripples = [w](double t, double& slope) {
      slope = -1 + 0.3 * std::cos(w * t);
      return -t + 0.3 / w * std::sin(w * t);
    };
    const std::string text = search(ripples, 0.1, 12).text;
    for (const test_support::Groups& match : test_support::all_matches(text, doubling)) {
      EXPECT_GT(std::stod(match[1]), std::stod(match[2]));
      ++doubled;
    }
  }
  EXPECT_GT(doubled, 100);
}

// A hump between the ends: the minimum of the cubic lies before it, and the alternative is mirrored at the far end.
TEST(LineTrace, TriesTheAlternative) {
  const Along wave = [](double t, double& slope) {
    slope = -std::cos(t);
    return -std::sin(t);
  };
  const double step = 1.8 * M_PI;
  const Searched plain = search(wave, step);
  const Searched alternative = search(wave, step, 0, 1);
  EXPECT_FALSE(has(plain.text, "alternative"));
  EXPECT_TRUE(
      matches(alternative.text,
              "negative gradient: extrapolating with an alternative: step=\\S+\nsuggested l is \\S+, from \\S+ and "
              "\\S+, \\S+\nalternative f is \\S+ compared to \\S+, \\S+ \\S+ \\S+\nnew f is"));
  EXPECT_LE(alternative.value, plain.value);
  // Concave between the ends: the minimum of the cubic lies before the start.
  const Along ridge = [](double t, double& slope) {
    slope = t < 2 ? -std::sinh(t + 0.5) : 0.1 * (t - 5);
    return t < 2 ? -std::cosh(t + 0.5) : 0.05 * (t - 5) * (t - 5) - 20;
  };
  const Searched mirrored = search(ridge, 0.5, 0, 1);
  EXPECT_TRUE(has(mirrored.text, "negative gradient: extrapolating with an alternative: step="));
  EXPECT_GT(mirrored.step, 2);
  EXPECT_TRUE(has(search(ridge, 0.5).text, "negative gradient: extrapolating by doubling\n"));
}

TEST(LineTrace, StepsBackFromZeroGradients) {
  const std::string reduced = "stepped to zero gradients! reduce by 0.5\n";
  const auto flat_from = [](double edge) {
    return [edge](double t, double& slope) {
      slope = t < edge ? -1 : 0;
      return t < edge ? -t : -edge;
    };
  };
  Searched found = search(flat_from(1e-9), 1);
  EXPECT_EQ(found.text, "\nIn LineMin_E\n\n" + reduced + reduced + reduced + reduced +
                            "failed to find step without zero gradients\n");
  ASSERT_EQ(tried.size(), 5U);
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_NEAR(tried[i], std::pow(0.1, static_cast<double>(i)), 1e-15);
  }
  // A point that the zero-gradient guard rejects is not taken by a run, although it is the lowest.
  for (const int code : {0, 2}) {
    const int opt = tracing_optimiser(code, flat_from(1e-14));
    nx_set_opt_stepsize(opt, 1);
    double x = 0;
    double value = 5;
    int result = 1;
    printed([&] { result = nx_minimize(&x, &value, opt); });
    EXPECT_EQ(x, 0);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(result, 0);
  }
  found = search(parabola, 1);  // the first step hits the minimum; after the guard's step back the search returns to it
  EXPECT_TRUE(has(found.text, reduced));
  EXPECT_NEAR(found.step, 1, 1e-12);
}

TEST(LineTrace, Fails) {
  Searched found = search([](double t, double& slope) { return slope = 1, t; }, 1);
  EXPECT_EQ(found.text, "\nIn LineMin_E\n\nwrong direction!!\n");
  EXPECT_EQ(tried.size(), 0U);
  found = search([](double t, double& slope) { return slope = -1, t; }, 1);
  EXPECT_TRUE(has(found.text, "because function f= "));
  EXPECT_EQ(found.count, 0);
  EXPECT_EQ(tried.size(), 3U);
  found = search(parabola, 0);
  EXPECT_TRUE(has(found.text, "zero stepsize in LineMinimize\n"));
  for (const int tries : {-5, -1, 0, 3, 50}) {  // values are not finite: the number of passes bounds the search
    found = search([](double t, double& slope) { return slope = -1, t == 0 ? 0 : std::nan(""); }, 1, tries);
    EXPECT_EQ(found.count, 0);
    EXPECT_EQ(static_cast<int>(tried.size()), 3 + std::max(tries, -2));
    EXPECT_TRUE(has(found.text, "exhausted tries\nfailed to improve by line search\n"));
  }
  found = search([](double t, double& slope) { return t < 0.05 ? parabola(t, slope) : slope = std::nan(""); }, 1);
  EXPECT_EQ(found.count, 0);  // the step 0.01 is lower, but too short
  EXPECT_TRUE(has(found.text, "exhausted tries\n"));
  found = search([](double t, double& slope) { return slope = 2 * t, t * t; }, 1);  // the slope at the start is 0
  EXPECT_FALSE(has(found.text, "wrong direction!!"));
  EXPECT_TRUE(has(found.text, "initial step fails on value 1.000000>0.000000\n"));
  EXPECT_EQ(found.count, 0);
}

// Method 1 on (t / 2)^2, where a step of 2 hits the minimum.
TEST(MethodTrace, SteepestDescent) {
  const auto run = [](double start, float step, int limit) {
    const int opt = tracing_optimiser(1, [](double t, double& slope) { return slope = t / 2, t * t / 4; });
    nx_set_opt_stepsize(opt, step);
    nx_set_opt_maximum_iterations(opt, limit);
    double value = 0;
    return printed([&] { nx_minimize(&start, &value, opt); });
  };
  EXPECT_EQ(run(4, 0, 2),
            "START VOL IS 4.000000\n\n\niteration 1: 4.000000\nfirst val is 1.000000\nINCREASE STEP to 1.200000\n\n"
            "iteration 2: 1.000000\nfirst val is 0.160000\nINCREASE STEP to 1.440000\n\n");
  // The step is halved once and accepted: one evaluation of the value, then one of the gradient.
  EXPECT_EQ(run(1, 4, 9),
            "START VOL IS 0.250000\n\n\niteration 1: 0.250000\nfirst val is 0.250000\n"
            "step is 2.000000, val is 0.000000, step lim is 0.000000\niteration 2: 0.000000\nfirst val is 0.000000\n"
            "CONVERGED GRADIENT= 0.000000, total function calls= 5\n");
  EXPECT_EQ(tried, (std::vector<double>{1, -1, 0, 0, 0}));
}

const std::string kSearch = "(\nIn LineMin_E\n\n.*)";

// nx_get_opt_stepsize gives the last step in the trace, also after a failed search.
TEST(MethodTrace, ToldStepIsTheLastSearchs) {
  for (const int code : {0, 2}) {
    for (const int limit : {1, 2, 3, 5, 50}) {
      const int opt =
          tracing_optimiser(code, [](double t, double& slope) { return slope = std::sinh(t), std::cosh(t); });
      nx_set_opt_maximum_iterations(opt, limit);
      double x = 3;
      double value = 0;
      const std::string text = printed([&] { nx_minimize(&x, &value, opt); });
      const std::string before = code == 0 ? ", step: " : "  alpha: ";
      const std::size_t at = text.rfind(before);
      ASSERT_NE(at, std::string::npos);
      float told = 0;
      nx_get_opt_stepsize(opt, &told);
      EXPECT_EQ(text.substr(at, text.find(code == 0 ? ", grad" : " mod", at) - at),
                before + formatted(code == 0 ? "%f" : "%8.4f", static_cast<double>(told)))
          << code << " " << limit;
    }
  }
}

TEST(MethodTrace, VectorOnly) {
  const auto run = [](double energy, int limit) {
    const int opt = tracing_optimiser(0, [](double t, double& slope) { return slope = std::sinh(t), std::cosh(t); });
    nx_set_opt_energy_convergence(opt, energy);
    nx_set_opt_maximum_iterations(opt, limit);
    double x = 3;
    double value = 0;
    return printed([&] { nx_minimize(&x, &value, opt); });
  };
  const std::string number = "-?[0-9]+\\.[0-9]{6}";
  const std::string iteration = "iter: [0-9]+  value: " + number + ", step: " + number + ", grad= " + number +
                                ", calls [0-9]+\nCOMP TO ZERO \\(0\\.000000\\): " + number + " " + number + " " +
                                number + "\n[0-9]+ ALPHA is " + number + ", grad: " + number + " " + number + "\n";
  const std::string head =
      formatted("initial value is %f\n", std::cosh(3.0)) + formatted("initial step size is %f\n", 0.5 / std::sinh(3.0));
  std::string text = run(1e-3, 50);
  EXPECT_EQ(text.substr(0, head.size()), head);
  EXPECT_TRUE(matches(text.substr(head.size()), "^(" + kSearch + "(RESET STEP LENGTH!\n" + kSearch + ")?" + iteration +
                                                    ")+converged over last three iterations, total function calls= " +
                                                    std::to_string(tried.size()) + "\n$"));
  text = run(1e-50, 2);
  EXPECT_TRUE(matches(text, iteration + "maximum iterations reached= 2\n$"));
  const int flat = tracing_optimiser(0, [](double, double& slope) { return slope = 0, 2.5; });
  double x = 1;
  double value = 0;
  EXPECT_EQ(printed([&] { nx_minimize(&x, &value, flat); }),
            "initial value is 2.500000\ninitial step size is 0.000000\n");
}

// The ends of the dense method.
TEST(MethodTrace, Dense) {
  const auto run = [](Along function, double start, int debug, double gradient = 1e-50, double energy = 1e-50) {
    const int opt = tracing_optimiser(2, std::move(function));
    nx_set_opt_gradient_convergence(opt, gradient);
    nx_set_opt_energy_convergence(opt, energy);
    nx_set_opt_debug(opt, debug);
    double value = 0;
    return printed([&] { nx_minimize(&start, &value, opt); });
  };
  const Along flat = [](double, double& slope) { return slope = 0, 2.5; };
  EXPECT_EQ(run(flat, 1, 1), "Abnormal Termination! Gradient identically zero.\n");
  EXPECT_EQ(run(flat, 1, 0), "");
  EXPECT_TRUE(has(run(parabola, 1.5, 2, 4),
                  "CONVERGED ALREADY!! VIRTUE OF SUM OF GRADIENTS: overlap volume: 0.250000  grms 1.000000 \n"));
  const Along uphill = [](double t, double& slope) { return slope = -1, t; };
  EXPECT_TRUE(matches(run(uphill, 1, 2),
                      "initial step size is 0.000000, step 0.500000\n\nIn LineMin_E\n.*RESET STEP LENGTH!\n\nIn "
                      "LineMin_E\n.*Failed Initial Line Search: overlap volume: 1.000000  grms 1.000000 \n$"));
  const Along well = [](double t, double& slope) { return slope = std::sinh(t), std::cosh(t) + 4; };
  std::string text = run(well, 3, 2, 1e-3);
  EXPECT_TRUE(matches(text,
                      "grad converge (0.000[0-9]{3}) 0.001000\nsum of grads= \\1 comp to 1.000000\nCONVERGED VIRTUE "
                      "OF SUM OF GRADIENTS: overlap volume: 5.000[0-9]{3}  grms 0.0[0-9]{5} \n$"));
  EXPECT_TRUE(matches(text,
                      "\niter:    1 fcalls +[0-9]+  fp: +[0-9]+\\.[0-9]{4}  alpha: +[0-9]+\\."
                      "[0-9]{4} mod +[0-9]+\\.[0-9]{4} grms: +[0-9]+\\.[0-9]{4}\ngrad conv"));
  EXPECT_FALSE(matches(text, "iter:    1 [^\n]*\nCOMP"));
  EXPECT_TRUE(matches(text, "iter:    2 [^\n]*\nCOMP f,f1,f2 TO ZERO \\(0.000000\\): [0-9. ]+\n"));
  text = run(well, 3, 2, 1e-50, 1e-2);
  EXPECT_TRUE(has(text, formatted("CONVERGED OVER LAST THREE ITERATIONS, total function calls= %zu\n", tried.size())));
  // A large offset hides the last decreases of the value, while the slope still falls.
  text = run([](double t, double& slope) { return slope = std::sinh(t - 1e-3), std::cosh(t - 1e-3) + 1e6; }, 3, 2);
  EXPECT_TRUE(
      matches(text,

              "\nCOMP [^\n]*\nreset hessian!!!\n.*CONVERGED VIRTUE 2nd ATTEMPT TO RESET HESSIAN: overlap volume: "
              "1000001.000000  grms 0.0[0-9]{5} \n$"));
  // A function that is concave at the start, where updates are skipped.
  text = run([](double t, double& slope) { return slope = -2 * t * std::exp(-t * t), std::exp(-t * t); }, 0.1, 2);
  EXPECT_TRUE(matches(text, "Skipped Hessian Update, -?[0-9.e+-]+ < [0-9.e+-]+\n"));
}

}  // namespace
