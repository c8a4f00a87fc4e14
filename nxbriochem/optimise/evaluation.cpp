// Calls of the optimiser's callbacks. A callback may make optimisers, which moves the table, and may change the record
// of the one that is running. So each access looks the record up again.
#include <nxbriochem/optimise/evaluation_internal.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/memory_owners_internal.h>
#include <nxbriochem/optimise/opt_internal.h>
#include <nxbriochem/optimise/vectors_internal.h>
#include <nxbriochem/util/work_array_internal.h>

namespace opt {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr int kTracing = 2;
constexpr int kFirstTries = 5;

// -1, which is reported as out of memory, for a size beyond int64_t.
int64_t bytes_of(uint64_t doubles) {
  const uint64_t most = static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) / sizeof(double);
  return doubles > most ? -1 : static_cast<int64_t>(doubles * sizeof(double));
}

bool has_function(const Optimiser& opt) { return opt.function != nullptr || opt.function_with_handle != nullptr; }
bool has_gradient(const Optimiser& opt) { return opt.gradient != nullptr || opt.gradient_with_handle != nullptr; }

double call_function(int32_t slot, double* x) {
  Optimiser& opt = Opt[slot];
  ++opt.total_function_calls;
  return opt.function != nullptr ? opt.function(x, opt.size)
                                 : opt.function_with_handle(x, opt.size, opt.function_handle);
}

double call_gradient(int32_t slot, double* x, double* gradient) {
  Optimiser& opt = Opt[slot];
  ++opt.total_function_calls;
  return opt.gradient != nullptr ? opt.gradient(x, gradient, opt.size)
                                 : opt.gradient_with_handle(x, gradient, opt.size, opt.gradient_handle);
}

// Restores a variable at the end of its scope, also when a callback throws.
class Restored {
 public:
  explicit Restored(double& variable) : variable_(variable), value_(variable) {}
  Restored(const Restored&) = delete;
  Restored& operator=(const Restored&) = delete;
  ~Restored() { variable_ = value_; }
  double value() const { return value_; }

 private:
  double& variable_;
  double value_;
};

// Central differences; h = eps^(1/3) max(|x_i|, 1) balances truncation (h^2) and rounding (eps/h).
double difference(int32_t slot, double* x, double* gradient) {
  static const double relative = std::cbrt(std::numeric_limits<double>::epsilon());
  const int32_t n = Opt[slot].size;
  const double value = value_at(slot, x);
  for (int32_t i = 0; i < n; ++i) {
    const Restored here(x[i]);
    const double step = relative * std::max(std::abs(here.value()), 1.0);
    x[i] = here.value() + step;
    const double ahead = x[i];
    const double value_ahead = value_at(slot, x);
    x[i] = here.value() - step;
    const double behind = x[i];
    const double value_behind = value_at(slot, x);
    gradient[i] = (value_ahead - value_behind) / (ahead - behind);
  }
  return value;
}

}  // namespace

double value_at(int32_t slot, double* x) {
  const Optimiser& opt = Opt[slot];
  if (has_function(opt)) {
    return call_function(slot, x);
  }
  if (!has_gradient(opt)) {
    return kNaN;
  }
  const work_array::Work<double> gradient(static_cast<std::size_t>(opt.size));
  return call_gradient(slot, x, gradient.data());
}

double value_and_gradient_at(int32_t slot, double* x, double* gradient) {
  const Optimiser& opt = Opt[slot];
  if (has_gradient(opt)) {
    return call_gradient(slot, x, gradient);
  }
  return has_function(opt) ? difference(slot, x, gradient) : kNaN;
}

double* workspace_of(int32_t slot, uint64_t doubles) {
  Optimiser& opt = Opt[slot];
  if (in_pool(slot, opt.size)) {
    opt.method_workspace = MEM + opt.size;
  } else {
    double* block = opt.workspace_allocated == 0 ? nullptr : opt.method_workspace;
    if (block == nullptr) {
      opt.reserved_word = 0;  // no curvature in a new block
    }
    opt.method_workspace = static_cast<double*>(memory::grow_own(block, bytes_of(std::max<uint64_t>(doubles, 1))));
    opt.workspace_allocated = 1;
  }
  return opt.method_workspace;
}

bool traces(int32_t slot) { return Opt[slot].debug == kTracing; }

const Trial& try_step(Line& line, double step) {
  double* point = Opt[line.slot].method_workspace;
  for (int32_t i = 0; i < line.n; ++i) {
    point[i] = line.x[i] + step * line.d[i];
  }
  ++line.evaluations;
  double value = value_and_gradient_at(line.slot, point, line.g);
  const auto [slope, square] =
      vectors::sums(line.n, vectors::product_of(line.g, line.d), vectors::product_of(line.g, line.g));
  if (!std::isfinite(value) || !std::isfinite(slope) || !std::isfinite(square)) {
    value = std::numeric_limits<double>::infinity();
  }
  line.last = {.step = step, .value = value, .slope = slope, .square = square};
  if (value < line.lowest.value) {
    line.lowest = {.step = step, .value = value, .slope = slope, .square = square};
  }
  return line.last;
}

bool try_first_step(Line& line, double step, Trial& trial) {
  const Trial start = line.lowest;
  try_step(line, step);
  for (int tried = 1; line.last.square == 0 && tried < kFirstTries; ++tried) {
    if (traces(line.slot)) {
      // Kept: programs rely on the text, although the factor is 0.1.
      std::puts("stepped to zero gradients! reduce by 0.5");
    }
    line.lowest = start;
    try_step(line, line.last.step * 0.1);
  }
  if (line.last.square == 0) {
    line.lowest = start;
  }
  if (line.last.square == 0 && traces(line.slot)) {
    std::puts("failed to find step without zero gradients");
  }
  trial = line.last;
  return trial.square != 0;
}

}  // namespace opt
