// A test problem of minimisation: what the benchmarks and tests of the minimisers work on.
#ifndef NXBRIOCHEM_BENCH_PROBLEM_H
#define NXBRIOCHEM_BENCH_PROBLEM_H

#include <string>
#include <vector>

namespace bench {

struct Problem {
  std::string name;
  std::vector<double> start;           // as long as there are variables
  double minimum = 0;                  // the published one
  std::vector<double> local_minima;    // values of published local minima, at infinity too
  std::vector<double> minimiser = {};  // where the minimum is, if that is a round number; else empty

  // The value at x, and its n derivatives into gradient unless that is null; `handle` goes with it. Fits
  // nx_opt_gradient_with_handle.
  double (*gradient)(double* x, double* gradient, int n, int handle) = nullptr;
  // The value alone. Fits nx_opt_function_with_handle.
  double (*value)(double* x, int n, int handle) = nullptr;
  int handle = 0;

  int n() const { return static_cast<int>(start.size()); }
};

// The value alone through a function that gives the gradient too.
template <double (*gradient)(double*, double*, int, int)>
double value_by(double* x, int n, int handle) {
  return gradient(x, nullptr, n, handle);
}

}  // namespace bench

#endif
