// The driver: checks, choice of the method, workspace.
#include <algorithm>

#include <nxbriochem/optimise/evaluation_internal.h>
#include <nxbriochem/optimise/opt.h>
#include <nxbriochem/optimise/opt_internal.h>
#include <nxbriochem/optimise/opt_methods_internal.h>

namespace opt {

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

bool has_callback(const Optimiser& opt) {
  return opt.function != nullptr || opt.function_with_handle != nullptr || opt.gradient != nullptr ||
         opt.gradient_with_handle != nullptr || opt.hessian != nullptr || opt.hessian_with_handle != nullptr;
}

}  // namespace

}  // namespace opt

using namespace opt;

namespace {

// The slot of an optimiser that can run now, or -1.
int32_t slot_to_run(int opt, const void* x, const void* value) {
  const int32_t slot = slot_of(opt);
  const bool can = running < 0 && x != nullptr && value != nullptr && in_use(slot) && Opt[slot].size > 0;
  return can ? slot : -1;
}

// Minimises on the optimiser's work array. The value and x are set whenever there was a run, whatever its result.
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
    Opt[slot].reserved = has_callback(Opt[slot]) ? 0 : kChosenBlindly;
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
