#include "bench/minimisers.h"

#include <nxbriochem/nxbriochem.h>

#include <algorithm>
#include <cstddef>
#include <utility>

#ifdef NXBRIOCHEM_BENCH_GSL
#include <gsl/gsl_errno.h>
#include <gsl/gsl_multimin.h>
#endif
#ifdef NXBRIOCHEM_BENCH_NLOPT
#include <nlopt.h>
#endif

namespace bench {
namespace {

class Ours : public Minimiser {
 public:
  Ours(const Problem& problem, Settings settings) : opt_(nx_init_opt(problem.n(), nullptr)) {
    nx_set_opt_function_with_handle(problem.value, problem.handle, opt_);
    nx_set_opt_gradient_with_handle(problem.gradient, problem.handle, opt_);
    nx_set_opt_method(opt_, settings.code);
    if (settings.iterations > 0) {
      nx_set_opt_maximum_iterations(opt_, settings.iterations);
    }
    if (settings.line_tries > 0) {
      nx_set_opt_max_line_try(opt_, settings.line_tries);
    }
  }
  ~Ours() override { nx_delete_opt(opt_); }

  void minimise(double* x) override {
    double value = 0;
    nx_minimize(x, &value, opt_);
  }

 private:
  int opt_;
};

#ifdef NXBRIOCHEM_BENCH_GSL
class Gsl : public Minimiser {
 public:
  Gsl(const Problem& problem, const gsl_multimin_fdfminimizer_type* type, double tolerance, int iterations)
      : problem_(problem), tolerance_(tolerance), iterations_(iterations) {
    gsl_set_error_handler_off();
    const auto n = static_cast<std::size_t>(problem.n());
    state_ = gsl_multimin_fdfminimizer_alloc(type, n);
    function_ = {value, gradient, value_and_gradient, n, &problem_};
  }
  ~Gsl() override { gsl_multimin_fdfminimizer_free(state_); }

  void minimise(double* x) override {
    const gsl_vector_view start = gsl_vector_view_array(x, function_.n);
    int status = gsl_multimin_fdfminimizer_set(state_, &function_, &start.vector, 0.01, tolerance_);
    for (int k = 0; status == GSL_SUCCESS && k < iterations_; ++k) {
      status = gsl_multimin_fdfminimizer_iterate(state_);
      if (gsl_multimin_test_gradient(state_->gradient, 1e-25) == GSL_SUCCESS) {
        break;
      }
    }
    std::copy_n(state_->x->data, function_.n, x);
  }

 private:
  static double value(const gsl_vector* x, void* problem) {
    const auto* p = static_cast<const Problem*>(problem);
    return p->value(x->data, static_cast<int>(x->size), p->handle);
  }
  static void gradient(const gsl_vector* x, void* problem, gsl_vector* g) {
    double unused = 0;
    value_and_gradient(x, problem, &unused, g);
  }
  static void value_and_gradient(const gsl_vector* x, void* problem, double* f, gsl_vector* g) {
    const auto* p = static_cast<const Problem*>(problem);
    *f = p->gradient(x->data, g->data, static_cast<int>(x->size), p->handle);
  }

  Problem problem_;
  double tolerance_;
  int iterations_;
  gsl_multimin_fdfminimizer* state_ = nullptr;
  gsl_multimin_function_fdf function_{};
};
#endif

#ifdef NXBRIOCHEM_BENCH_NLOPT
class Nlopt : public Minimiser {
 public:
  Nlopt(const Problem& problem, int evaluations)
      : problem_(problem), opt_(nlopt_create(NLOPT_LD_LBFGS, static_cast<unsigned>(problem.n()))) {
    nlopt_set_min_objective(opt_, value_and_gradient, &problem_);
    nlopt_set_maxeval(opt_, evaluations);
  }
  ~Nlopt() override { nlopt_destroy(opt_); }

  void minimise(double* x) override {
    double value = 0;
    nlopt_optimize(opt_, x, &value);
  }

 private:
  static double value_and_gradient(unsigned n, const double* x, double* g, void* problem) {
    const auto* p = static_cast<const Problem*>(problem);
    return p->gradient(const_cast<double*>(x), g, static_cast<int>(n), p->handle);
  }

  Problem problem_;
  nlopt_opt opt_;
};
#endif

}  // namespace

Contender ours(std::string name, Settings settings) {
  return {std::move(name), [settings](const Problem& problem) { return std::make_unique<Ours>(problem, settings); }};
}

Contender peer(const std::string& name, [[maybe_unused]] int iterations) {
  Contender contender{name, nullptr};
#ifdef NXBRIOCHEM_BENCH_GSL
  const double tolerance = name.ends_with("1e-4") ? 1e-4 : 0.1;
  if (name.starts_with("bfgs2") || name.starts_with("pr")) {
    const auto* type =
        name.starts_with("pr") ? gsl_multimin_fdfminimizer_conjugate_pr : gsl_multimin_fdfminimizer_vector_bfgs2;
    contender.prepare = [=](const Problem& problem) {
      return std::make_unique<Gsl>(problem, type, tolerance, iterations);
    };
  }
#endif
#ifdef NXBRIOCHEM_BENCH_NLOPT
  if (name.starts_with("nlopt")) {
    contender.prepare = [=](const Problem& problem) { return std::make_unique<Nlopt>(problem, iterations); };
  }
#endif
  return contender;
}

}  // namespace bench
