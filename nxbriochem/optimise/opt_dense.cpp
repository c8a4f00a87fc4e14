// Method 3, for problems of few variables: the BFGS method (Nocedal and Wright, Numerical Optimization, 6.1) on H, an
// approximation to the inverse of the second derivatives.
//
// With w = H y, the BFGS update of H for a step s and the change y of the gradient is H + p s^T + s p^T, where p = ((1
// + y.w / s.y) s / 2 - w) / s.y. It is not carried out at once: p and s are kept, and added to H in the pass that
// multiplies it by the next gradient, so that an iteration reads and writes the matrix once. The product w costs
// nothing extra: w = H g - H g0, and d is -H g0.
//
// Before the first update, H is the unit matrix times s.y / y.y (6.20), which matches the curvature along the step; or
// the inverse of the matrix that the hessian callback gives at the start. An update is skipped when s.y is not above
// the record's small threshold times |s| |y|: without positive curvature H would not stay positive definite.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include <nxbriochem/optimise/inverse_matrix_internal.h>
#include <nxbriochem/optimise/line_method_internal.h>
#include <nxbriochem/optimise/opt_internal.h>
#include <nxbriochem/optimise/opt_methods_internal.h>
#include <nxbriochem/optimise/vectors_internal.h>

namespace opt {
namespace dense {

double fp = 0;           // the value at x
double alpha = 0;        // the step of the last line search
double old_val = 0;      // the value an iteration ago
double old_old_val = 0;  // and two iterations ago
int32_t iter = 0;        // iterations begun
int32_t HReset = 0;      // 1: the matrix was reset, and no lower point has been found since

}  // namespace dense

namespace {

using namespace dense;
using vectors::product_of;

class Dense final : public LineMethod {
 public:
  Dense(int32_t slot, double* x) : LineMethod(slot, x, fp, alpha) {}

  int minimise();
  // Leaves the matrix for a restart.
  void keep();

 private:
  void take_step() override;
  void update() override;

  void set_start_direction();
  bool invert_hessian();
  void multiply_gradient(bool skip, double scale);
  double growth(double sy) const;
  void add_update(double sy, double growth);
  void reset();
  bool iterate(int& result);
  bool at_rest() const;
  bool flat() const;
  void trace_rest(bool after_reset) const;
  void trace_iteration() const;

  double* s_ = array(4);   // the last step
  double* y_ = array(5);   // and the change of the gradient by it
  double* hg_ = array(6);  // H times the gradient
  double* p_ = array(7);   // with ps_: the update still to be added to H
  double* ps_ = array(8);
  double* h_ = array(9);
  bool unit_ = true;  // H is scale_ times the unit matrix; h_ holds nothing, or a matrix from before a reset
  double scale_ = 1;
  double square_before_ = 0;  // the gradient measure before the last step
  bool filled_ = false;       // h_ holds a matrix
  bool pending_ = false;      // h_ must still be multiplied by growth_ and updated by p_ and ps_
  double growth_ = 1;
  bool abnormal_ = false;  // an update with zero vectors
  bool precise_ = false;   // x was a minimum to working precision when the matrix was reset
};

void Dense::take_step() {
  for (int32_t i = 0; i < n_; ++i) {
    s_[i] = trial_[i] - x_[i];
    y_[i] = g_[i] - g0_[i];
  }
  std::copy(trial_, trial_ + n_, x_);
  std::copy(g_, g_ + n_, g0_);
  square_before_ = square_;
  square_ = line().last.square;
}

void Dense::update() {
  const auto [ss, yy, sy] = vectors::sums(n_, product_of(s_, s_), product_of(y_, y_), product_of(s_, y_));
  if (ss == 0 && yy == 0 && vectors::all_zero(s_, n_) && vectors::all_zero(y_, n_)) {
    if (Opt[slot_].debug > 0) {
      std::puts("Abnormal Termination! Hessian Update with zero vectors");
    }
    abnormal_ = true;
    return;
  }
  note_curvature(ss, yy, sy);
  const double bound = Opt[slot_].small_threshold * std::sqrt(ss) * std::sqrt(yy);
  const double scale = sy / yy;
  const bool skip = !(sy > 0) || sy < bound || !(scale > 0) || !std::isfinite(scale);
  if (skip && tracing()) {
    std::printf("Skipped Hessian Update, %e < %e\n", sy, bound);
  }
  next_step_ = skip ? step_without_update() : 1;
  const bool first = unit_;
  multiply_gradient(skip, scale);
  if (skip) {
    for (int32_t i = 0; i < n_; ++i) {
      d_[i] = -hg_[i];
    }
  } else {
    add_update(sy, first ? 1 : growth(sy));
  }
  const double product = slope();
  if (!(product < 0)) {
    if (tracing()) {
      std::printf("positive IP! %f \n", product);
    }
    pending_ = false;
    reset();
  }
}

// Computes hg = H g0. d is still -H times the gradient before the step.
void Dense::multiply_gradient(bool skip, double scale) {
  if (!unit_) {
    if (pending_) {
      inverse_matrix::add_and_multiply(h_, growth_, p_, ps_, g0_, hg_, n_);
      pending_ = false;
    } else {
      inverse_matrix::multiply(h_, g0_, hg_, n_);
    }
    return;
  }
  if (!skip) {
    for (int32_t i = 0; i < n_; ++i) {
      d_[i] *= scale / scale_;
    }
    scale_ = scale;
    inverse_matrix::set_unit(h_, n_, scale_);
    filled_ = true;
    pending_ = false;
    unit_ = false;
  }
  for (int32_t i = 0; i < n_; ++i) {
    hg_[i] = scale_ * g0_[i];
  }
}

// The factor by which the matrix is multiplied before an update (self-scaling: Oren and Luenberger, Management Science
// 20 (1974) 845; only upwards: Al-Baali, Comput. Optim. Appl. 9 (1998) 191). With B its inverse, the matrix predicted
// the curvature s.B s / s.s along the step s, where B s is a multiple of the gradient before the step. The true
// curvature was s.y / s.s. Where that is clearly less, the matrix as a whole is too small, as happens far from the
// minimum. The factor is 1 where the step has made the gradient more than twice as long: in a bent valley the curvature
// along the step says nothing about other directions.
double Dense::growth(double sy) const {
  constexpr double kClearly = 0.8;
  const double promised = -line().last.step * (vectors::dot(s_, g0_, n_) - sy);
  const double growth = promised / sy;
  return square_ < 4 * square_before_ && growth * kClearly > 1 && std::isfinite(growth) ? growth : 1;
}

void Dense::add_update(double sy, double growth) {
  growth_ = growth;
  scale_ *= growth;
  const double rho = 1 / sy;
  const double* hg = hg_;
  const double* g = g0_;
  const double* s = s_;
  const double* y = y_;
  double* d = d_;
  double* p = p_;
  const double yhy = vectors::sums(n_, [=](int32_t i) {
    p[i] = growth * (hg[i] + d[i]);  // H y
    return p[i] * y[i];
  })[0];
  const double half = 0.5 * (1 + yhy * rho);
  const auto [pg, sg] = vectors::sums(
      n_,
      [=](int32_t i) {
        p[i] = (half * s[i] - p[i]) * rho;
        return p[i] * g[i];
      },
      product_of(s, g));
  for (int32_t i = 0; i < n_; ++i) {
    d[i] = -(growth * hg[i] + (p[i] * sg + s[i] * pg));
  }
  std::swap(s_, ps_);
  pending_ = true;
}

// Resets H to the unit matrix times the latest scale.
void Dense::reset() {
  unit_ = true;
  set_steepest(scale_);
  next_step_ = 1;
}

// Makes h_ the inverse of the second derivatives. False when there are none or they are not finite and positive
// definite.
bool Dense::invert_hessian() {
  std::fill(h_, h_ + static_cast<int64_t>(n_) * n_, 0.0);
  const Optimiser& record = Opt[slot_];
  if (record.hessian != nullptr) {
    record.hessian(x_, h_, n_);
  } else if (record.hessian_with_handle != nullptr) {
    record.hessian_with_handle(x_, h_, n_, record.hessian_handle);
  } else {
    return false;
  }
  return inverse_matrix::invert(h_, n_);
}

void Dense::set_start_direction() {
  const bool taken_up = takes_up_curvature(slot_, kDense);
  drop_curvature(slot_);
  unit_ = true;
  if (taken_up || invert_hessian()) {
    inverse_matrix::multiply(h_, g0_, hg_, n_);
    for (int32_t i = 0; i < n_; ++i) {
      d_[i] = -hg_[i];
    }
    unit_ = !(slope() < 0);
    filled_ = !unit_;
  }
  if (unit_) {
    reset();
    next_step_ = first_step();
  } else {
    next_step_ = given_step(1);
  }
}

bool Dense::at_rest() const { return iter > 1 && converged_over_last_three(slot_, fp, old_val, old_old_val); }

bool Dense::flat() const {
  const double threshold = Opt[slot_].gradient_convergence;
  const bool flat = square_ < threshold || settled();
  if (tracing()) {
    std::printf("grad converge %f %f\n", square_, threshold);
    std::printf("sum of grads= %f comp to %f\n", square_, 1.0);
    if (flat) {
      std::printf("CONVERGED VIRTUE OF SUM OF GRADIENTS: overlap volume: %f  grms %f \n", fp, grms());
    }
  }
  return flat;
}

void Dense::trace_iteration() const {
  if (tracing()) {
    std::printf("iter: %4d fcalls %4d  fp: %8.4f  alpha: %8.4f mod %12.4f grms: %8.4f\n", iter,
                Opt[slot_].total_function_calls, fp, alpha, square_, grms());
    if (iter > 1) {
      std::printf("COMP f,f1,f2 TO ZERO (%f): %f %f %f\n", Opt[slot_].zero, fp, old_val, old_old_val);
    }
  }
}

void Dense::trace_rest(bool after_reset) const {
  if (!tracing()) {
    return;
  }
  if (after_reset) {
    std::printf("CONVERGED VIRTUE 2nd ATTEMPT TO RESET HESSIAN: overlap volume: %f  grms %f \n", fp, grms());
  } else {
    std::printf("CONVERGED OVER LAST THREE ITERATIONS, total function calls= %d\n", Opt[slot_].total_function_calls);
  }
}

// One iteration. True when the run ends; `result` is then its result. The values are compared whether or not the
// searches succeeded.
bool Dense::iterate(int& result) {
  old_old_val = old_val;
  old_val = fp;
  const Moved moved = move();
  trace_iteration();
  if (abnormal_) {
    return true;
  }
  if (iter == 1 && !accepted()) {
    if (tracing()) {
      std::printf("Failed Initial Line Search: overlap volume: %f  grms %f \n", fp, grms());
    }
    return true;
  }
  const bool again = moved == Moved::nothing && HReset != 0;
  if (at_rest() || (again && precise_ && confirmed_by_probe())) {
    trace_rest(again);
    result = 1;
    return true;
  }
  if (moved == Moved::nothing) {
    if (!again) {
      if (tracing()) {
        std::puts("reset hessian!!!");
      }
      HReset = 1;
      precise_ = at_working_precision();
      reset();
    }
    return again;
  }
  HReset = 0;
  if (moved == Moved::step) {
    save_iteration(slot_, iter, fp, alpha);
  }
  if (flat()) {
    result = 1;
    return true;
  }
  if (moved == Moved::step) {
    update();
  }
  return abnormal_;
}

int Dense::minimise() {
  iter = 0;
  HReset = 0;
  alpha = 0;
  if (!evaluate_start()) {
    return 0;
  }
  if (start_is_flat()) {
    if (Opt[slot_].debug > 0) {
      std::puts("Abnormal Termination! Gradient identically zero.");
    }
    return 0;
  }
  if (square_ < Opt[slot_].gradient_convergence) {
    if (tracing()) {
      std::printf("CONVERGED ALREADY!! VIRTUE OF SUM OF GRADIENTS: overlap volume: %f  grms %f \n", fp, grms());
    }
    return 1;
  }
  old_val = old_old_val = fp;
  set_start_direction();
  if (tracing()) {
    std::printf("initial step size is %f, step %f\n", static_cast<double>(Opt[slot_].initial_step), next_step_);
  }
  int result = 0;
  while (iter < Opt[slot_].maximum_iterations) {
    ++iter;
    if (iterate(result)) {
      break;
    }
  }
  return result;
}

void Dense::keep() {
  if (!filled_) {
    return;
  }
  if (pending_) {
    inverse_matrix::add_and_multiply(h_, growth_, p_, ps_, g0_, hg_, n_);
  }
  keep_curvature(slot_, kDense);
}

}  // namespace

int run_dense(int32_t slot, double* x, double* value) {
  Dense run(slot, x);
  const int result = run.minimise();
  run.keep();
  *value = fp;
  save_run(slot, iter, fp, alpha);
  return result;
}

}  // namespace opt
