// What the methods share: the size of their workspace, the test over the last values, and what a run leaves behind.
#include <nxbriochem/optimise/opt_methods_internal.h>

#include <cmath>

#include <nxbriochem/optimise/opt_internal.h>

namespace opt {
namespace {

// What the reserved word holds for a method and a size. It is never 0. The method is passed in because a callback may
// change that of the record.
uint64_t curvature_of(int32_t method, int32_t size) {
  return static_cast<uint64_t>(method) << 32 | static_cast<uint32_t>(size);
}

}  // namespace

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

void keep_curvature(int32_t slot, int32_t method) { Opt[slot].reserved_word = curvature_of(method, Opt[slot].size); }

void drop_curvature(int32_t slot) { Opt[slot].reserved_word = 0; }

bool takes_up_curvature(int32_t slot, int32_t method) {
  return Opt[slot].restart != 0 && Opt[slot].reserved_word == curvature_of(method, Opt[slot].size);
}

uint64_t room_of_curvature(int32_t slot) {
  const uint64_t kept = Opt[slot].reserved_word;
  return kept == 0 ? 0 : room_of(static_cast<int32_t>(kept >> 32), static_cast<int32_t>(kept & 0xffffffff));
}

}  // namespace opt
