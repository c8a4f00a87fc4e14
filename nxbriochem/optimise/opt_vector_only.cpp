// Method 2, for problems of many variables: a limited memory of three steps (Nocedal, Mathematics of Computation 35
// (1980) 773; Nocedal and Wright, Numerical Optimization, 7.2), in six arrays of n doubles.
//
// Four arrays are the line search's: trial point, direction, gradient at x, gradient at the trial point. The newest
// step and change of the gradient overwrite the direction and the old gradient, which are no longer needed. The two
// other arrays hold the two steps before, as floats, so that two pairs fit. Rounding them does no harm: older pairs
// only shape the direction, and any pair with s.y > 0 keeps the matrix positive definite. A common power of two, which
// does not affect the result, scales a pair into the range of floats.
//
// The initial matrix of the recursion is a multiple of the unit matrix, between the two step lengths of Barzilai and
// Borwein (IMA Journal of Numerical Analysis 8 (1988) 141), y.s / y.y and s.s / s.y, a quarter of the way by ratio. The
// first alone, which is customary, makes steps too short where the curvatures differ much. Half of the way makes most
// steps take two evaluations.
//
// The number of three steps was found by trial over the problems of bench/minimise_bench.cpp. Two steps, kept in
// double, need 25 % more evaluations in the median. One step, which gives conjugate directions with exact line
// searches, needs 50 % more.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include <nxbriochem/optimise/line_method_internal.h>
#include <nxbriochem/optimise/opt_internal.h>
#include <nxbriochem/optimise/opt_methods_internal.h>
#include <nxbriochem/optimise/vectors_internal.h>

namespace opt {
namespace vector_only {

double fp = 0;     // the value at x
double alpha = 0;  // the step of the last line search

}  // namespace vector_only

namespace {

using namespace vector_only;
using vectors::product_of;

// A float kept in an array of doubles. The attribute tells the compiler that the types share memory.
struct __attribute__((may_alias)) Kept {
  float value;
  operator double() const { return value; }  // NOLINT(google-explicit-constructor): as a float is one
};

// A step s and the change y of the gradient by it.
template <class Real>
struct Pair {
  Real* s;
  Real* y;
  double rho;  // 1 / s.y; 0 for a pair that is not used, whose elements must be finite nevertheless
};

// 1 / s.y; 0 unless s.y is positive and neither it nor its inverse overflows.
double rho_of(double sy) { return sy > 0 && std::isfinite(sy) && std::isfinite(1 / sy) ? 1 / sy : 0; }

class VectorOnly final : public LineMethod {
 public:
  VectorOnly(int32_t slot, double* x) : LineMethod(slot, x, fp, alpha) {
    auto* kept = reinterpret_cast<Kept*>(array(4));
    newer_ = {.s = kept, .y = kept + n_, .rho = 0};
    older_ = {.s = newer_.y + n_, .y = newer_.y + 2 * static_cast<int64_t>(n_), .rho = 0};
  }

  int minimise();
  int32_t iterations() const { return iter_; }
  // Leaves the older steps for a restart, the newer one first.
  void keep();

 private:
  void take_step() override;
  void update() override;

  void set_start_direction();
  double multiply_gradient(const Pair<double>& newest);
  void store(const Pair<double>& newest, double ss, double yy);
  void measure(Pair<Kept>& pair) const;
  void forget(Pair<Kept>& pair) const;
  void reset();
  bool iterate(int& result);
  bool at_rest() const;
  void trace_iteration() const;

  Pair<Kept> newer_;
  Pair<Kept> older_;
  double scale_ = 1;  // of the unit matrix to which the steps are applied
  int32_t iter_ = 0;
  double before_ = 0;       // the value an iteration ago
  double before_that_ = 0;  // and two iterations ago
  bool steepest_ = false;   // d was reset to -g, and no lower point has been found since
  bool precise_ = false;    // x was a minimum to working precision at that reset
};

void VectorOnly::take_step() {
  for (int32_t i = 0; i < n_; ++i) {
    d_[i] = trial_[i] - x_[i];
    g0_[i] = g_[i] - g0_[i];
    x_[i] = trial_[i];
  }
  square_ = line().last.square;
}

// As in the dense method, a step without positive curvature is left out.
void VectorOnly::update() {
  const auto [ss, yy, sy] = vectors::sums(n_, product_of(d_, d_), product_of(g0_, g0_), product_of(d_, g0_));
  note_curvature(ss, yy, sy);
  const double short_step = sy / yy;
  const double scale = short_step * std::sqrt(std::sqrt(ss / sy / short_step));
  const bool use =
      sy >= Opt[slot_].small_threshold * std::sqrt(ss) * std::sqrt(yy) && scale > 0 && std::isfinite(scale);
  const Pair<double> newest{.s = d_, .y = g0_, .rho = use ? rho_of(sy) : 0};
  if (newest.rho > 0) {
    scale_ = scale;
  }
  const double part = multiply_gradient(newest);
  if (newest.rho > 0) {
    store(newest, ss, yy);
  }
  for (int32_t i = 0; i < n_; ++i) {
    d_[i] = -(trial_[i] + part * d_[i]);
    g0_[i] = g_[i];
  }
  next_step_ = newest.rho > 0 ? 1 : step_without_update();
  if (!(slope() < 0)) {
    reset();
  }
}

// L-BFGS two-loop recursion, fused: each pass applies one term and forms the dot product that the next one needs. The
// trial array, which is free between two searches, receives the matrix times the gradient (in g) without its last term.
// The factor of that term, a multiple of the newest step, is returned.
double VectorOnly::multiply_gradient(const Pair<double>& newest) {
  using vectors::add_scale_dot;
  double* q = trial_;
  std::copy(g_, g_ + n_, q);
  const double a1 = newest.rho * vectors::dot(newest.s, q, n_);
  const double a2 = newer_.rho * add_scale_dot(q, -a1, newest.y, 1, newer_.s, n_);
  const double a3 = older_.rho * add_scale_dot(q, -a2, newer_.y, 1, older_.s, n_);
  const double b3 = older_.rho * add_scale_dot(q, -a3, older_.y, scale_, older_.y, n_);
  const double b2 = newer_.rho * add_scale_dot(q, a3 - b3, older_.s, 1, newer_.y, n_);
  return a1 - newest.rho * add_scale_dot(q, a2 - b2, newer_.s, 1, newest.y, n_);
}

// The newest step takes the place of the oldest.
void VectorOnly::store(const Pair<double>& newest, double ss, double yy) {
  const double factor = std::ldexp(1.0, -(std::ilogb(ss) + std::ilogb(yy)) / 4);
  std::swap(newer_, older_);
  const auto keep_scaled = [factor, n = n_](const double* __restrict from, Kept* __restrict to) {
    for (int32_t i = 0; i < n; ++i) {
      to[i].value = static_cast<float>(factor * from[i]);
    }
  };
  keep_scaled(newest.s, newer_.s);
  keep_scaled(newest.y, newer_.y);
  measure(newer_);
}

// A pair that has left the range of floats is forgotten.
void VectorOnly::measure(Pair<Kept>& pair) const {
  pair.rho = rho_of(vectors::dot(pair.s, pair.y, n_));
  if (pair.rho == 0) {
    forget(pair);
  }
}

void VectorOnly::forget(Pair<Kept>& pair) const {
  std::fill(pair.s, pair.s + n_, Kept{0});
  std::fill(pair.y, pair.y + n_, Kept{0});
  pair.rho = 0;
}

void VectorOnly::reset() {
  forget(newer_);
  forget(older_);
  set_steepest(scale_);
  next_step_ = 1;
}

void VectorOnly::set_start_direction() {
  const bool taken_up = takes_up_curvature(slot_, kVectorOnly);
  drop_curvature(slot_);
  if (taken_up) {
    measure(newer_);
    measure(older_);
  }
  if (newer_.rho > 0) {
    scale_ = vectors::dot(newer_.s, newer_.y, n_) / vectors::square(newer_.y, n_);
    std::copy(g0_, g0_ + n_, g_);
    std::fill(d_, d_ + n_, 0.0);
    multiply_gradient({.s = d_, .y = g0_, .rho = 0});
    for (int32_t i = 0; i < n_; ++i) {
      d_[i] = -trial_[i];
    }
    next_step_ = given_step(1);
  }
  if (newer_.rho == 0 || !(slope() < 0)) {
    scale_ = 1;
    reset();
    next_step_ = first_step();
  }
}

void VectorOnly::trace_iteration() const {
  if (tracing()) {
    std::printf("iter: %d  value: %f, step: %f, grad= %f, calls %d\n", iter_, fp, alpha, square_,
                Opt[slot_].total_function_calls);
    std::printf("COMP TO ZERO (%f): %f %f %f\n", Opt[slot_].zero, fp, before_, before_that_);
    std::printf("%d ALPHA is %f, grad: %f %f\n", iter_, alpha, square_, grms());
  }
}

bool VectorOnly::at_rest() const {
  const bool rest = iter_ > 1 && converged_over_last_three(slot_, fp, before_, before_that_);
  if (rest && tracing()) {
    std::printf("converged over last three iterations, total function calls= %d\n", Opt[slot_].total_function_calls);
  }
  return rest;
}

// One iteration: whether it ends the run, with the result. The values are compared whatever the searches said.
bool VectorOnly::iterate(int& result) {
  before_that_ = before_;
  before_ = fp;
  const Moved moved = move();
  trace_iteration();
  if (at_rest()) {
    result = 1;
    return true;
  }
  const bool first_failed = iter_ == 1 && !accepted();
  const bool nothing = moved == Moved::nothing;
  if (first_failed || (nothing && steepest_)) {
    // x may be a minimum: at the start, or where no lower value is found after a reset. The interface has no text for
    // this end.
    result = nothing && (first_failed || precise_) && confirmed_by_probe() ? 1 : 0;
    return true;
  }
  if (nothing) {
    steepest_ = true;
    precise_ = at_working_precision();
    reset();
    return false;
  }
  steepest_ = false;
  if (moved == Moved::step) {
    save_iteration(slot_, iter_, fp, alpha);
  }
  if (square_ < Opt[slot_].gradient_convergence || settled()) {  // the interface has no text for this end
    result = 1;
    return true;
  }
  if (moved == Moved::step) {
    update();
  }
  return false;
}

int VectorOnly::minimise() {
  alpha = 0;
  const bool finite = evaluate_start();
  const bool searches = finite && !start_is_flat() && !(square_ < Opt[slot_].gradient_convergence);
  next_step_ = given_step(0);
  if (searches) {
    before_ = before_that_ = fp;
    set_start_direction();
  }
  if (tracing()) {
    std::printf("initial value is %f\n", fp);
    std::printf("initial step size is %f\n", next_step_);
  }
  if (!searches) {
    return finite && !start_is_flat() ? 1 : 0;
  }
  while (iter_ < Opt[slot_].maximum_iterations) {
    ++iter_;
    int result = 0;
    if (iterate(result)) {
      return result;
    }
  }
  if (tracing()) {
    std::printf("maximum iterations reached= %d\n", iter_);
  }
  return 0;
}

void VectorOnly::keep() {
  if (newer_.s > older_.s) {
    std::swap_ranges(older_.s, older_.s + 2 * static_cast<int64_t>(n_), newer_.s);
  }
  if (newer_.rho > 0) {
    keep_curvature(slot_, kVectorOnly);
  }
}

}  // namespace

int run_vector_only(int32_t slot, double* x, double* value) {
  VectorOnly run(slot, x);
  const int result = run.minimise();
  run.keep();
  *value = fp;
  save_run(slot, run.iterations(), fp, alpha);
  return result;
}

}  // namespace opt
