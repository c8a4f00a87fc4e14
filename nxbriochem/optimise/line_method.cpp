#include <nxbriochem/optimise/line_method.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include <nxbriochem/optimise/line_minimize.h>
#include <nxbriochem/optimise/opt_state.h>
#include <nxbriochem/optimise/vectors.h>

namespace opt {
namespace {

constexpr double kFirstMove = 0.5;
constexpr double kLeastMove = 1e-8;  // against the largest variable, so that values differ along small gradients
constexpr double kShorten = 0.01;
constexpr double kRounding = 8 * std::numeric_limits<double>::epsilon();
constexpr double kRoundingOfX = 64 * std::numeric_limits<double>::epsilon();
constexpr double kProbe = 1e-8;  // the move of the largest variable in play

double largest(const double* a, int32_t n) {
  double found = 0;
  for (int32_t i = 0; i < n; ++i) {
    found = std::max(found, std::abs(a[i]));
  }
  return found;
}

// Of the variables that play a part, which are those with a derivative that is not 0.
double largest_in_play(const double* x, const double* gradient, int32_t n) {
  double found = 0;
  for (int32_t i = 0; i < n; ++i) {
    if (gradient[i] != 0) {
      found = std::max(found, std::abs(x[i]));
    }
  }
  return found;
}

}  // namespace

LineMethod::LineMethod(int32_t slot, double* x, double& value, double& step)
    : slot_(slot),
      n_(Opt[slot].size),
      x_(x),
      trial_(Opt[slot].method_workspace),
      d_(array(1)),
      g0_(array(2)),
      g_(array(3)),
      value_(value),
      step_(step) {}

// The lowest point that the search has seen is taken, if it is below x: also when the search failed, and when it ended
// at a higher one, having left an exact minimum for its zero gradient. When it was not the last one tried, it is
// evaluated again, so that it is in `trial` and its gradient in g.
LineMethod::Found LineMethod::search() {
  const double before = value_;
  const double step_before = step_;
  const bool met = LineMinimize(n_, x_, d_, g0_, g_, &value_, &step_, slot_) > 0;
  const Trial lowest = last_line.lowest;
  if (lowest.step == 0) {
    return Found::nothing;
  }
  if (lowest.value < last_line.last.value && !(try_step(last_line, lowest.step).value < before)) {
    value_ = before;  // a callback that does not give the same value twice
    step_ = step_before;
    return Found::nothing;
  }
  value_ = last_line.last.value;
  step_ = last_line.last.step;
  return met ? Found::step : Found::lower;
}

void LineMethod::shorten() {
  if (last_line.last.step > 0) {
    step_ = kShorten * last_line.last.step;
  }
}

// The second search starts from the lower point that the first one saw, along a direction that knows of it; or, when
// there was none, from x with a step much smaller than any that was tried.
LineMethod::Moved LineMethod::move() {
  const Found first = search();
  if (first == Found::step) {
    take_step();
    return Moved::step;
  }
  if (tracing()) {
    std::puts("RESET STEP LENGTH!");
  }
  if (first == Found::lower) {
    take_step();
    update();
  } else {
    shorten();
  }
  if (search() != Found::nothing) {
    take_step();
    return Moved::step;
  }
  shorten();
  return first == Found::lower ? Moved::lower : Moved::nothing;
}

// The room is cleared for a callback that leaves it alone, as that of a deleted function list does: a flat start.
bool LineMethod::evaluate_start() {
  std::fill(g0_, g0_ + n_, 0.0);
  value_ = value_and_gradient_at(slot_, x_, g0_);
  square_ = vectors::square(g0_, n_);
  return std::isfinite(value_) && std::isfinite(square_);
}

bool LineMethod::start_is_flat() const { return vectors::all_zero(g0_, n_); }

double LineMethod::given_step(double otherwise) const {
  const double given = Opt[slot_].initial_step;
  return given > 0 && std::isfinite(given) ? given : otherwise;
}

double LineMethod::first_step() const {
  const double steepest = largest(g0_, n_);
  const double usual = std::min(1.0, kFirstMove / steepest);
  const double least = kLeastMove * largest_in_play(x_, g0_, n_) / steepest;
  return given_step(std::isfinite(least) ? std::max(usual, least) : usual);
}

bool LineMethod::at_working_precision() const {
  const double decrease = -0.5 * slope();  // of a quadratic function, by a step of 1
  return decrease <= kRounding * std::abs(value_) || largest(d_, n_) <= kRounding * largest_in_play(x_, g0_, n_);
}

// The step to the minimum along d is that of a quadratic function through the two gradients. At a kink it is of the
// order of the probe, far above rounding; with a gradient that is wrong or jumps it may be anything.
bool LineMethod::confirmed_by_probe() {
  const double in_play = largest_in_play(x_, g0_, n_);
  const double size = in_play > 0 ? in_play : 1;
  const double length = largest(d_, n_);
  const double slope_here = slope();
  const double step = kProbe * size / length;
  const Trial trial = try_step(last_line, step);
  const double to_minimum = -slope_here * step / (trial.slope - slope_here);
  const double decrease = -0.5 * slope_here * to_minimum;
  const bool lost = decrease <= kRounding * std::abs(value_) || to_minimum * length <= kRoundingOfX * size;
  const bool confirmed = std::isfinite(trial.value) && std::isfinite(to_minimum) && to_minimum > 0 && lost;
  if (trial.value < value_) {  // the best point seen is what a run ends with
    value_ = trial.value;
    step_ = trial.step;
    take_step();
  }
  return confirmed;
}

double LineMethod::slope() const { return vectors::dot(g0_, d_, n_); }

double LineMethod::grms() const { return std::sqrt(square_ / n_); }

bool LineMethod::tracing() const { return traces(slot_); }

void LineMethod::set_steepest(double scale) {
  for (int32_t i = 0; i < n_; ++i) {
    d_[i] = -scale * g0_[i];
  }
}

}  // namespace opt
