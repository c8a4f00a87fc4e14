// Method 1: steepest descent. The step grows by a fifth when it lowers the value and is halved when it does not.
//
// A halved step is accepted when the value stays the same, and values that no longer change count as convergence. That
// happens at a minimum, where the change of the value is below its rounding. It also happens at a barrier or with a
// wrong gradient, once the step has been halved often enough: the method looks at values alone and cannot tell the
// difference.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <utility>

#include <nxbriochem/optimise/evaluation_internal.h>
#include <nxbriochem/optimise/opt_internal.h>
#include <nxbriochem/optimise/opt_methods_internal.h>
#include <nxbriochem/optimise/vectors_internal.h>

namespace opt {
namespace {

constexpr double kGrow = 1.2;
constexpr double kHalve = 0.5;
constexpr double kLostStep = 1e-6;  // relative to the largest step that has lowered the value
// The longest step: the record keeps it as a float.
constexpr double kLongest = std::numeric_limits<float>::max();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

class Descent {
 public:
  Descent(int32_t slot, double* x)
      : slot_(slot),
        n_(Opt[slot].size),
        x_(x),
        trial_(Opt[slot].method_workspace),
        g_(trial_ + n_),
        trial_g_(g_ + n_) {}

  int minimise();
  double value() const { return value_; }
  double step() const { return step_; }
  int32_t iterations() const { return iterations_; }
  // Whether a restart may start with this step.
  bool leaves_step() const { return longest_ > 0 && step_ > kLostStep * longest_; }

 private:
  bool iterate(int& result);
  bool halve(int& result);
  void form_trial();
  void accept(double value);
  bool trial_is_finite() const { return std::isfinite(vectors::square(trial_g_, n_)); }

  int32_t slot_;
  int32_t n_;
  double* x_;
  double* trial_;
  double* g_;            // the gradient at x
  double* trial_g_;      // and at the trial point
  double value_ = kNaN;  // not evaluated yet
  double step_ = 1;
  int32_t iterations_ = 0;
  double longest_ = 0;  // the longest step that has lowered the value
};

void Descent::form_trial() {
  for (int32_t i = 0; i < n_; ++i) {
    trial_[i] = x_[i] - step_ * g_[i];
  }
}

// Moves x to the trial point, whose gradient is in trial_g_.
void Descent::accept(double value) {
  std::copy(trial_, trial_ + n_, x_);
  if (value < value_) {
    longest_ = std::max(longest_, step_);
  }
  std::swap(g_, trial_g_);
  value_ = value;
}

// One iteration. True when the run ends; `result` is then its result.
bool Descent::iterate(int& result) {
  form_trial();
  const double value = value_and_gradient_at(slot_, trial_, trial_g_);
  const bool trace = traces(slot_);
  if (trace) {
    std::printf("first val is %f\n", value);
  }
  if (value < value_ && std::isfinite(value) && trial_is_finite()) {
    accept(value);
    save_iteration(slot_, iterations_, value_, step_);
    step_ = std::min(kGrow * step_, kLongest);
    if (trace) {
      std::printf("INCREASE STEP to %f\n\n", step_);
    }
    return false;
  }
  const double square = vectors::square(g_, n_);
  if (square < Opt[slot_].gradient_convergence) {
    if (trace) {
      std::printf("CONVERGED GRADIENT= %f, total function calls= %d\n", square, Opt[slot_].total_function_calls);
    }
    result = trace ? kSteepestDescent : 1;  // the method's number, which is 1 as well
    return true;
  }
  return halve(result);
}

// Halves the step until the value at the trial point is not above that at x. That ends at the latest where rounding
// makes the trial point equal to x.
//
// Trials are evaluated by value alone, so that g_ stays the gradient at x. The gradient at the accepted point is
// evaluated before the search goes on, because the gradient of another point would soon give no descent.
bool Descent::halve(int& result) {
  result = 0;
  for (;;) {
    step_ *= kHalve;
    if (!(step_ >= Opt[slot_].zero) || step_ == 0) {
      return true;
    }
    form_trial();
    const double value = value_at(slot_, trial_);
    if (traces(slot_)) {
      std::printf("step is %f, val is %f, step lim is %f\n", step_, value, Opt[slot_].zero);
    }
    if (!std::isfinite(value) || value > value_) {
      continue;
    }
    const double again = value_and_gradient_at(slot_, trial_, trial_g_);
    if (std::isfinite(again) && trial_is_finite()) {
      accept(value);
      save_iteration(slot_, iterations_, value_, step_);
      return false;
    }
  }
}

int Descent::minimise() {
  if (Opt[slot_].function == nullptr && Opt[slot_].function_with_handle == nullptr) {
    return 0;
  }
  // A callback may leave its gradient alone, as that of a deleted function list does.
  std::fill(g_, g_ + n_, 0.0);
  std::fill(trial_g_, trial_g_ + n_, 0.0);
  value_ = value_and_gradient_at(slot_, x_, g_);
  if (traces(slot_)) {
    std::printf("START VOL IS %f\n\n\n", value_);
  }
  if (!std::isfinite(value_) || !std::isfinite(vectors::square(g_, n_))) {
    return 0;
  }
  const double given = Opt[slot_].initial_step;
  const double last = Opt[slot_].final_step;  // may be that of a run of another method
  if (given > 0 && std::isfinite(given)) {
    step_ = given;
  } else if (takes_up_curvature(slot_, kSteepestDescent) && last > 0 && std::isfinite(last)) {
    step_ = last;
  }
  drop_curvature(slot_);
  double before = value_;
  double before_that = value_;
  while (iterations_ < Opt[slot_].maximum_iterations) {
    ++iterations_;
    if (traces(slot_)) {
      std::printf("iteration %d: %f\n", iterations_, value_);
    }
    if (iterations_ > 2 && converged_over_last_three(slot_, value_, before, before_that)) {
      return 1;
    }
    before_that = before;
    before = value_;
    int result = 0;
    if (iterate(result)) {
      return result;
    }
  }
  return 0;
}

}  // namespace

int run_steepest_descent(int32_t slot, double* x, double* value) {
  Descent run(slot, x);
  const int result = run.minimise();
  *value = run.value();
  save_run(slot, run.iterations(), run.value(), run.step());
  if (run.leaves_step()) {
    keep_curvature(slot, kSteepestDescent);
  }
  return result;
}

}  // namespace opt
