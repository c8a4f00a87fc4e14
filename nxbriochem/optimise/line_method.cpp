#include <nxbriochem/optimise/line_method_internal.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include <nxbriochem/optimise/line_search_internal.h>
#include <nxbriochem/optimise/opt_internal.h>
#include <nxbriochem/optimise/vectors_internal.h>

namespace opt {
namespace {

constexpr double kFirstMove = 0.5;
constexpr double kLeastMove = 1e-8;  // relative to the largest variable, so that values differ along small gradients
constexpr double kShorten = 0.01;
constexpr double kRounding = 8 * std::numeric_limits<double>::epsilon();
constexpr double kRoundingOfX = 64 * std::numeric_limits<double>::epsilon();
constexpr double kProbe = 1e-8;  // the move of confirmed_by_probe, relative to the largest variable

double largest(const double* a, int32_t n) {
  double found = 0;
  for (int32_t i = 0; i < n; ++i) {
    found = std::max(found, std::abs(a[i]));
  }
  return found;
}

// The largest of the variables whose derivative is not 0.
double largest_active(const double* x, const double* gradient, int32_t n) {
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

// Takes the lowest point tried if its value is below that at x, even when the search failed. If it was not the last
// point tried, it is evaluated again, so that trial_ and g_ hold it and its gradient.
LineMethod::Found LineMethod::search() {
  line_ = line_from(slot_, n_, x_, d_, g_, value_, slope());
  step_ = next_step_;
  const Trial before = line_.lowest;
  const bool met = search_by_cubics(line_, next_step_);
  const Trial lowest = line_.lowest;
  if (lowest.step == 0) {
    return Found::nothing;
  }
  if (lowest.value < line_.last.value && !(try_step(line_, lowest.step).value < value_)) {
    return Found::nothing;  // the callback gave another value this time
  }
  value_ = line_.last.value;
  step_ = line_.last.step;
  accepted_ = accepted_ || met || ran_out_descending(before);
  return met ? Found::step : Found::lower;
}

// Whether the search ended, out of tries, at a point that satisfies alpha while the slope still descends steeply: more
// tries would have succeeded. With a beta of 0 no number of tries would.
bool LineMethod::ran_out_descending(const Trial& start) const {
  const Trial& end = line_.last;
  const Optimiser& record = Opt[slot_];
  return record.beta > 0 && end.slope <= record.beta * start.slope &&
         end.value < start.value + record.alpha * end.step * start.slope;
}

void LineMethod::shorten() {
  if (line_.last.step > 0) {
    next_step_ = kShorten * line_.last.step;
  }
}

// The second search starts from the lower point that the first one found, along an updated direction. If the first
// found none, the second starts from x with a step much smaller than any tried.
LineMethod::Moved LineMethod::move() {
  accepted_ = false;
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

// The gradients are cleared first: a callback may leave its gradient alone, as that of a deleted function list does.
bool LineMethod::evaluate_start() {
  std::fill(g0_, g0_ + n_, 0.0);
  std::fill(g_, g_ + n_, 0.0);
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
  const double least = kLeastMove * largest_active(x_, g0_, n_) / steepest;
  return given_step(std::isfinite(least) ? std::max(usual, least) : usual);
}

bool LineMethod::at_working_precision() const {
  const double decrease = -0.5 * slope();  // of a quadratic function, by a step of 1
  return decrease <= kRounding * std::abs(value_) || largest(d_, n_) <= kRounding * largest_active(x_, g0_, n_);
}

// The step to the minimum along d is where the slope, interpolated linearly between the two points, is 0. At a kink
// that step is of the order of the probe, far above rounding; with a wrong or discontinuous gradient it may be
// anything.
bool LineMethod::confirmed_by_probe() {
  const double largest_x = largest_active(x_, g0_, n_);
  const double size = largest_x > 0 ? largest_x : 1;
  const double length = largest(d_, n_);
  const double slope_here = slope();
  const double step = kProbe * size / length;
  const Trial trial = try_step(line_, step);
  const double to_minimum = -slope_here * step / (trial.slope - slope_here);
  const double decrease = -0.5 * slope_here * to_minimum;
  const bool lost = decrease <= kRounding * std::abs(value_) || to_minimum * length <= kRoundingOfX * size;
  const bool confirmed = std::isfinite(trial.value) && std::isfinite(to_minimum) && to_minimum > 0 && lost;
  if (trial.value < value_ && trial.square != 0) {  // a run ends at the best point that it evaluated
    value_ = trial.value;
    step_ = trial.step;
    take_step();
  }
  return confirmed;
}

LineMethod::Block LineMethod::joined(int first) const {
  const Block& a = blocks_[static_cast<std::size_t>(first)];
  const Block& b = blocks_[static_cast<std::size_t>(first) + 1];
  return {.gain = a.gain + b.gain, .steps = a.steps + b.steps, .stiffest = std::max(a.stiffest, b.stiffest)};
}

// At a singular minimum the second derivatives vanish along some direction. The minimisers then converge only linearly,
// and the curvature along the steps falls with the square of the steps. A run is taken to be near such a minimum when
//   - its last ten iterations gained less than a tenth of what the ten before them gained,
//   - their mean curvature is less than half of that of the ten before,
//   - and below 1e-7 of the largest curvature among them.
// It has converged when they gained less than kLost times that curvature times the square of the largest variable:
// below the rounding of the value. The bounds were found by trial over the problems of bench/minimise_bench.cpp, from
// near and far starts. Far from a minimum the first two can hold, but there the largest curvature falls as well.
bool LineMethod::creeps() const {
  constexpr double kSingular = 1e-7;
  constexpr double kLost = 0.03 * std::numeric_limits<double>::epsilon();
  const Block before = joined(0);
  const Block now = joined(2);
  return now.gain < 0.1 * before.gain && now.curvature() < 0.5 * before.curvature() &&
         now.curvature() < kSingular * now.stiffest && now.gain < kLost * now.stiffest * size_ * size_;
}

void LineMethod::note_curvature(double ss, double yy, double sy) {
  if (!(sy > 0)) {
    noted_ = 0;
    return;
  }
  if (noted_ == 0) {
    value_noted_ = value_;
  }
  if (noted_ % kBlockSize == 0) {
    std::rotate(blocks_.begin(), blocks_.begin() + 1, blocks_.end());
    blocks_.back() = {};
  }
  Block& block = blocks_.back();
  block.gain += value_noted_ - value_;
  block.steps += ss;
  block.stiffest = std::max(block.stiffest, yy / sy);
  value_noted_ = value_;
  ++noted_;
  if (noted_ % kBlockSize == 0) {
    size_ = std::max(size_, largest_active(x_, g0_, n_));
    settled_ = noted_ >= kBlocks * kBlockSize && creeps();
  }
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
