// The library's minimisers and their peers behind one interface, for comparison.
//
// The peers, where they are installed: GSL's vector_bfgs2 and conjugate_pr with a first step of 0.01, each with the
// line-search tolerance of the example in GSL's manual (1e-4) and the one that its text recommends (0.1), and NLopt's
// LD_LBFGS as it comes.
#ifndef NXBRIOCHEM_BENCH_MINIMISERS_H
#define NXBRIOCHEM_BENCH_MINIMISERS_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/problem.h"

namespace bench {

// A method made ready for a problem, with all the memory that it needs.
class Minimiser {
 public:
  Minimiser() = default;
  Minimiser(const Minimiser&) = delete;
  Minimiser& operator=(const Minimiser&) = delete;
  virtual ~Minimiser() = default;
  // Minimises from x (n) until it has converged, cannot continue or is out of iterations. Leaves the point found in x.
  virtual void minimise(double* x) = 0;
};

struct Contender {
  std::string name;
  std::function<std::unique_ptr<Minimiser>(const Problem&)> prepare;
};

// The library's settings that comparisons vary.
struct Settings {
  int code;        // as nx_set_opt_method takes it: 0 vector-only, 1 steepest descent, 2 dense
  int iterations;  // 0: what the method brings along
  int line_tries;  // 0: the default
};

Contender ours(std::string name, Settings settings);

// A peer by name, "bfgs2 1e-4", "bfgs2 0.1", "pr 1e-4", "pr 0.1" or "nlopt lbfgs", with so many iterations at most
// (NLopt: evaluations). `prepare` is empty where the peer is not installed.
Contender peer(const std::string& name, int iterations);

}  // namespace bench

#endif
