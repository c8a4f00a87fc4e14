// The driver of the minimisation, and what its methods share.
#include <algorithm>
#include <cmath>

#include <nxbriochem/optimise/evaluation.h>
#include <nxbriochem/optimise/opt.h>
#include <nxbriochem/optimise/opt_methods.h>
#include <nxbriochem/optimise/opt_state.h>

namespace opt {

uint64_t room_of(int32_t method, int32_t n) {
  const auto size = static_cast<uint64_t>(n);
  switch (method) {
    case kSteepestDescent:
      return 5 * size;
    case kVectorOnly:
      return 6 * size;
    default:
      return size * (size + 9);
  }
}

bool converged_over_last_three(int32_t slot, double value, double before, double before_that) {
  const double threshold = Opt[slot].energy_convergence;
  return threshold > std::abs(value - before) && threshold > std::abs(value - before_that) &&
         threshold > std::abs(before_that - before);
}

namespace {

int32_t automatic_method(const Optimiser& opt) {
  constexpr int32_t kMostDense = 40;
  if (opt.hessian != nullptr || opt.hessian_with_handle != nullptr) {
    return kDense;
  }
  if (opt.gradient == nullptr && opt.gradient_with_handle == nullptr) {
    return kSteepestDescent;
  }
  return opt.size > kMostDense ? kVectorOnly : kDense;
}

}  // namespace

void save_run(int32_t slot, int32_t iterations, double value, double step) {
  Opt[slot].total_iterations = iterations;
  Opt[slot].saveval = static_cast<float>(value);
  Opt[slot].final_step = static_cast<float>(step);
}

void save_iteration(int32_t slot, int32_t iterations, double value, double step) {
  if (Opt[slot].itersave != 0) {
    save_run(slot, iterations, value, step);
  }
}

namespace {

// Never 0, for the method is part of it: not the record's, which a callback may change.
uint64_t curvature_of(int32_t method, int32_t size) {
  return static_cast<uint64_t>(method) << 32 | static_cast<uint32_t>(size);
}

}  // namespace

void keep_curvature(int32_t slot, int32_t method) { Opt[slot].reserved_word = curvature_of(method, Opt[slot].size); }

void drop_curvature(int32_t slot) { Opt[slot].reserved_word = 0; }

bool takes_up_curvature(int32_t slot, int32_t method) {
  return Opt[slot].restart != 0 && Opt[slot].reserved_word == curvature_of(method, Opt[slot].size);
}

}  // namespace opt

using namespace opt;

namespace {

// The slot of an optimiser that can run now, or -1.
int32_t slot_to_run(int opt, const void* x, const void* value) {
  const int32_t slot = slot_of(opt);
  const bool can = running < 0 && x != nullptr && value != nullptr && in_use(slot) && Opt[slot].size > 0;
  return can ? slot : -1;
}

// Minimises on the optimiser's work array. The value and x are set when there was a run, whatever came of it.
template <class Real>
int minimize_copy(Real* x, Real* value, int opt) {
  const int32_t slot = slot_to_run(opt, x, value);
  if (slot < 0) {
    return 0;
  }
  const int32_t n = Opt[slot].size;
  double* copy = Opt[slot].work_array;
  std::copy(x, x + n, copy);
  double found = 0;
  const int result = nx_minimize(copy, &found, opt);
  *value = static_cast<Real>(found);
  std::transform(copy, copy + n, x, [](double variable) { return static_cast<Real>(variable); });
  return result;
}

}  // namespace

int nx_minimize(double* x, double* value, int opt) {
  const int32_t slot = slot_to_run(opt, x, value);
  if (slot < 0) {
    return 0;
  }
  const Running guard(slot);
  if (Opt[slot].method == kAutomatic) {
    Opt[slot].method = automatic_method(Opt[slot]);
  }
  const int32_t method = Opt[slot].method;
  workspace_of(slot, room_of(method, Opt[slot].size));
  Opt[slot].total_iterations = 0;
  Opt[slot].total_function_calls = 0;
  switch (method) {
    case kSteepestDescent:
      return run_steepest_descent(slot, x, value);
    case kVectorOnly:
      return run_vector_only(slot, x, value);
    default:
      return run_dense(slot, x, value);
  }
}

int nx_minimize_d(double* x, double* value, int opt) { return minimize_copy(x, value, opt); }

int nx_minimize_f(float* x, float* value, int opt) { return minimize_copy(x, value, opt); }
