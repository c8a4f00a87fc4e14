// Each search returns the trial that it accepts: a step along the line, with the value and slope there.
//
// The golden section: J. Kiefer, Proc. Amer. Math. Soc. 4 (1953) 502. The acceptance test of backtracking: L. Armijo,
// Pacific J. Math. 16 (1966) 1. nx_LineMinimize2 keeps a bracket after the rules of Nocedal and Wright, Numerical
// Optimization, algorithm 3.6, and steps to the minimum of Hermite's polynomial through all trials within the bracket,
// where those rules use a cubic through two.
#include <nxbriochem/optimise/line_search.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>

#include <nxbriochem/optimise/evaluation_internal.h>
#include <nxbriochem/optimise/line_search_internal.h>
#include <nxbriochem/optimise/opt_internal.h>
#include <nxbriochem/optimise/opt_methods_internal.h>
#include <nxbriochem/optimise/vectors_internal.h>

namespace {

using opt::Optimiser;
using opt::Trial;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int kMostPoints = 16;

// A trial with a value but no slope.
constexpr Trial with_value(double step, double value) { return {step, value, 0, 0}; }

constexpr Trial kNothingFound = with_value(0, kInfinity);

// Makes the workspace large enough for a trial point, without losing the curvature that a run has left for a restart.
void make_room(int slot, int n) {
  opt::workspace_of(slot, std::max(static_cast<uint64_t>(n), opt::room_of_curvature(slot)));
}

// Marks an optimiser as running for a search. The search is no run: the number of evaluations of the last run stays.
class Searching {
 public:
  explicit Searching(int slot) : running_(slot), slot_(slot), calls_(opt::Opt[slot].total_function_calls) {}
  Searching(const Searching&) = delete;
  Searching& operator=(const Searching&) = delete;
  ~Searching() { opt::Opt[slot_].total_function_calls = calls_; }

 private:
  opt::Running running_;
  int slot_;
  int32_t calls_;
};

// The line of a search, the values at its start, and the optimiser's settings at that time.
class Search {
 public:
  explicit Search(const opt::Line& line) : line_(line), start_(line.lowest), settings_(opt::Opt[line.slot]) {
    make_room(line.slot, line.n);
  }

  const Trial& start() const { return start_; }
  const Optimiser& settings() const { return settings_; }
  int evaluations() const { return line_.evaluations; }
  bool traces() const { return opt::traces(line_.slot); }

  // The value at a step; infinity where it is not finite.
  double value_at(double step) {
    double* point = opt::Opt[line_.slot].method_workspace;
    std::transform(line_.x, line_.x + line_.n, line_.d, point, [step](double x, double d) { return x + step * d; });
    ++line_.evaluations;
    line_.last = with_value(kInfinity, kInfinity);
    const double value = opt::value_at(line_.slot, point);
    return std::isfinite(value) ? value : kInfinity;
  }

  Trial trial_at(double step) { return opt::try_step(line_, step); }

  // The first trial, with the guard of LineMinimize against zero gradients.
  bool first_trial_at(double step, Trial& trial) { return opt::try_first_step(line_, step, trial); }

  // Whether a trial at this step is allowed: the step is finite and not below the smallest, it changes x, and count a
  // is not reached.
  bool may_try(double step) const {
    if (evaluations() >= settings_.count_a || !std::isfinite(step) || step < settings_.zero) {
      return false;
    }
    return !std::equal(line_.x, line_.x + line_.n, line_.d, [step](double x, double d) { return x + step * d == x; });
  }

  // Leaves the point of a trial in the workspace and its gradient in g, evaluating it again if needed. False when
  // nothing was found or the value is not finite this time.
  bool settle_on(const Trial& found) {
    if (found.step == 0 || !(found.value < start_.value)) {
      return false;
    }
    return line_.last.step == found.step || trial_at(found.step).value < kInfinity;
  }

 private:
  opt::Line line_;
  Trial start_;
  Optimiser settings_;
};

bool can_search(int n, const double* x, const double* d, const double* g0, const double* g, const double* value,
                const double* step, int slot) {
  return x != nullptr && d != nullptr && g0 != nullptr && g != nullptr && value != nullptr && step != nullptr &&
         opt::running < 0 && opt::in_use(slot) && n > 0 && n == opt::Opt[slot].size;
}

// The common body of the sections and nx_LineMinimize2: checks the arguments before and sets the results after. `find`
// returns the accepted trial for a search and a first step.
template <class Find>
int search(int n, double* x, double* d, const double* g0, double* g, double* value, double* step, int slot, Find find) {
  if (!can_search(n, x, d, g0, g, value, step, slot)) {
    return 0;
  }
  const double slope = vectors::dot(g0, d, n);
  if (!std::isfinite(*value) || !std::isfinite(slope) || slope >= 0 || !(*step > 0)) {
    return 0;
  }
  const Searching mark(slot);
  Search line(opt::line_from(slot, n, x, d, g, *value, slope));
  const Trial found = find(line, *step);
  if (!line.settle_on(found)) {
    return 0;
  }
  *value = found.value;
  *step = found.step;
  return line.evaluations();
}

// Bisection on the sign of the slope between `left` and `right`, at most `most` times. The function descends from left
// towards right, and a minimum lies between them. Trials at or above `ceiling` count as beyond it. Returns the first
// trial below the ceiling whose slope is at most `small_slope`, else the last left end.
template <class At>
Trial halve(Trial left, double right, double ceiling, double small_slope, int most, At at) {
  const double forward = right > left.step ? 1 : -1;
  for (int i = 0; i < most; ++i) {
    const double middle = left.step + 0.5 * (right - left.step);
    if (middle == left.step || middle == right) {
      break;
    }
    const Trial trial = at(middle);
    if (!(trial.value < ceiling) || trial.slope * forward >= 0) {
      right = middle;
    } else {
      left = trial;
    }
    if (trial.value < ceiling && std::fabs(trial.slope) <= small_slope) {
      return trial;
    }
  }
  return left;
}

// Golden-section search. Ends when the interval is narrower than tolerance a times its upper end.
Trial golden_section(Search& line, double step) {
  constexpr double kMinor = 0.38196601125010515;  // (3 - sqrt 5) / 2
  double low = 0;
  double best = step;
  double best_value = line.may_try(step) ? line.value_at(step) : kInfinity;
  double high = kInfinity;
  while (!(best_value < line.start().value)) {
    high = best;
    best = kMinor * high;
    if (!line.may_try(best)) {
      return kNothingFound;
    }
    best_value = line.value_at(best);
  }
  while (high == kInfinity) {
    const double beyond = best + (best - low) * (1 - kMinor) / kMinor;
    if (!line.may_try(beyond)) {
      return with_value(best, best_value);
    }
    const double value = line.value_at(beyond);
    if (value < best_value) {
      low = best;
      best = beyond;
      best_value = value;
    } else {
      high = beyond;
    }
  }
  while (high - low > line.settings().tolerance_a * high) {
    const double side = high - best > best - low ? high : low;
    const double next = best + kMinor * (side - best);
    if (next == best || !line.may_try(next)) {
      break;
    }
    const double value = line.value_at(next);
    const bool better = value < best_value;
    (better == (next > best) ? low : high) = better ? best : next;
    if (better) {
      best = next;
      best_value = value;
    }
  }
  return with_value(best, best_value);
}

// Ends when the slope is at most tolerance c times the slope at the start.
Trial bisection(Search& line, double step) {
  const Trial& start = line.start();
  const double small_slope = line.settings().tolerance_c * std::fabs(start.slope);
  Trial left = start;
  for (; line.may_try(step); step *= 2) {
    const Trial trial = line.trial_at(step);
    const bool lower = trial.value < start.value;
    if (lower && std::fabs(trial.slope) <= small_slope) {
      return trial;
    }
    if (!lower || trial.slope >= 0) {
      return halve(left, step, start.value, small_slope, line.settings().count_a - line.evaluations(),
                   [&line](double at) { return line.trial_at(at); });
    }
    left = trial;
  }
  return left;
}

// Armijo's rule: the value must fall by at least tolerance b times the step times the slope.
Trial backtracking(Search& line, double step) {
  const Trial& start = line.start();
  for (; line.may_try(step); step *= 0.5) {
    const double bound = start.value + line.settings().tolerance_b * step * start.slope;
    if (line.value_at(step) < bound) {
      const Trial trial = line.trial_at(step);
      if (trial.value < bound) {
        return trial;
      }
    }
  }
  return kNothingFound;
}

// The trials of nx_LineMinimize2 and the bracket that they make.
class Interpolation {
 public:
  explicit Interpolation(const Trial& start) : low_(start) { add(start); }

  // A trial whose value is below `armijo` and below that of the better end becomes the better end; any other becomes
  // the farther end.
  void take(const Trial& trial, double armijo) {
    const bool known = trial.value < kInfinity;
    if (known) {
      add(trial);
    }
    if (!(trial.value < std::min(armijo, low_.value))) {
      high_ = trial.step;
      high_is_known_ = known;
      return;
    }
    if (trial.slope * (high_ - low_.step) >= 0) {
      high_ = low_.step;
      high_is_known_ = true;
    }
    low_ = trial;
  }

  // The next step to try.
  double next() const {
    const auto polynomial = [this](double step) {
      Trial at = with_value(step, kInfinity);
      nx_lagrange_interpolate_with_gradients(steps_.data(), values_.data(), slopes_.data(), count_, step, &at.value,
                                             &at.slope);
      return at;
    };
    if (!high_is_known_) {
      return low_.step + 0.1 * (high_ - low_.step);
    }
    const bool open = high_ == kInfinity;
    const double end = open ? 4 * low_.step : high_;
    if (open) {
      const Trial at = polynomial(end);
      if (at.value < low_.value && at.slope < 0) {
        return end;  // the polynomial descends up to the end
      }
    }
    const double width = end - low_.step;
    const double step = halve(low_, end, low_.value, 0, 60, polynomial).step;
    const double part = std::clamp((step - low_.step) / width, 0.05, 0.95);
    return low_.step + part * width;
  }

 private:
  void add(const Trial& trial) {
    const auto at = static_cast<std::size_t>(count_++);
    steps_[at] = trial.step;
    values_[at] = trial.value;
    slopes_[at] = trial.slope;
  }

  std::array<double, kMostPoints> steps_{};
  std::array<double, kMostPoints> values_{};
  std::array<double, kMostPoints> slopes_{};
  int count_ = 0;
  Trial low_;  // the best trial; the function descends from here towards high_
  double high_ = kInfinity;
  bool high_is_known_ = true;  // else the function is not finite there
};

// Count b is the largest number of interpolation points, x included.
Trial interpolation(Search& line, double step) {
  const Trial& start = line.start();
  const Optimiser& settings = line.settings();
  const bool tracing = line.traces();
  if (tracing) {
    std::puts("\nIn LineMinimize2");
  }
  Trial trial{};
  if (!line.first_trial_at(step, trial)) {
    return kNothingFound;
  }
  Interpolation points(start);
  const int most = std::min(settings.count_b, kMostPoints);
  for (int count = 2;; ++count) {
    const double armijo = start.value + settings.alpha * trial.step * start.slope;
    if (trial.value < armijo && std::fabs(trial.slope / start.slope) < settings.beta) {
      return trial;
    }
    points.take(trial, armijo);
    const double next = points.next();
    if (count >= most || !line.may_try(next)) {
      break;
    }
    trial = line.trial_at(next);
  }
  if (tracing) {
    std::puts("ran out of interpolation points in LineMinimizer2");
  }
  return kNothingFound;
}

// Lagrange's basis polynomial that is 1 at points[j] and 0 at the other points.
struct Basis {
  double value = 1;      // at `at`
  double slope = 0;      // there
  double own_slope = 0;  // at points[j]
};

Basis basis_at(const double* points, int count, int j, double at) {
  Basis basis;
  for (int k = 0; k < count; ++k) {
    if (k != j) {
      const double inverse = 1 / (points[j] - points[k]);
      const double factor = (at - points[k]) / (points[j] - points[k]);
      basis.slope = basis.slope * factor + basis.value * inverse;
      basis.value *= factor;
      basis.own_slope += inverse;
    }
  }
  return basis;
}

}  // namespace

int LineMinimize(int n, double* x, double* d, double* g0, double* g, double* value, double* step, int slot) {
  if (!can_search(n, x, d, g0, g, value, step, slot) || !(*step >= 0)) {
    return 0;
  }
  const Searching mark(slot);
  make_room(slot, n);
  opt::Line line = opt::line_from(slot, n, x, d, g, *value, vectors::dot(g0, d, n));
  if (!opt::search_by_cubics(line, *step)) {
    return 0;
  }
  *value = line.last.value;
  *step = line.last.step;
  return line.evaluations;
}

int nxi_au_section(int n, double* x, double* d, double* g0, double* g, double* value, double* step, int slot) {
  return search(n, x, d, g0, g, value, step, slot, golden_section);
}

int nxi_bi_section(int n, double* x, double* d, double* g0, double* g, double* value, double* step, int slot) {
  return search(n, x, d, g0, g, value, step, slot, bisection);
}

int nxi_armijo_section(int n, double* x, double* d, double* g0, double* g, double* value, double* step, int slot) {
  return search(n, x, d, g0, g, value, step, slot, backtracking);
}

int nx_LineMinimize2(int n, double* x, double* d, double* g0, double* g, double* value, double* step, int slot) {
  return search(n, x, d, g0, g, value, step, slot, interpolation);
}

// With Lagrange's basis l_j, the polynomial is the sum of ((1 - 2 l_j'(x_j) (x - x_j)) y_j + (x - x_j) y_j') l_j(x)^2.
// Values are taken relative to that of the nearest point, so that a large common offset costs no digits and the result
// at a given point is exactly its value.
int nx_lagrange_interpolate_with_gradients(const double* points, const double* values, const double* slopes, int count,
                                           double at, double* value, double* slope) {
  if (count < 1 || points == nullptr || values == nullptr || slopes == nullptr) {
    return 0;
  }
  const double* nearest = std::min_element(points, points + count,
                                           [at](double a, double b) { return std::fabs(at - a) < std::fabs(at - b); });
  const double base = values[nearest - points];
  double sum = 0;
  double slope_sum = 0;
  for (int j = 0; j < count; ++j) {
    const Basis basis = basis_at(points, count, j, at);
    const double square = basis.value * basis.value;
    const double square_slope = 2 * basis.value * basis.slope;
    const double line_slope = slopes[j] - 2 * basis.own_slope * (values[j] - base);
    const double line = (values[j] - base) + (at - points[j]) * line_slope;
    sum += line * square;
    slope_sum += line_slope * square + line * square_slope;
  }
  const double result = base + sum;
  if (!std::isfinite(result) || !std::isfinite(slope_sum)) {
    return 0;  // coinciding points among others
  }
  if (value != nullptr) {
    *value = result;
  }
  if (slope != nullptr) {
    *slope = slope_sum;
  }
  return 1;
}
