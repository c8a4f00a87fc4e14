// The line search of the quasi-Newton methods. It accepts a step by the strong Wolfe conditions. Where the first step
// fails them, it tries a few steps to the minimum of the cubic through the values and slopes at both ends of an
// interval (Fletcher, Practical Methods of Optimization, 2.6; Nocedal and Wright, Numerical Optimization, 3.5).
//
// The interval: a is the left end and has a negative slope. While the slope at b is also negative, the search goes on
// beyond b. A point beyond b becomes b, and b becomes a. A point between them becomes a where it is lower than a and
// still descends, else b. When the cubic gives no point in the right place, the interval is halved or the step doubled.
#include <nxbriochem/optimise/line_search_internal.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <nxbriochem/optimise/opt_internal.h>
#include <nxbriochem/optimise/vectors_internal.h>

namespace opt {

namespace {

constexpr int kBuiltInTries = 2;
constexpr int kMostTries = 1000;  // beyond the built-in ones, however many the caller allows
constexpr double kThird = 0.3333333333333333;
constexpr double kShrink = 0.1;  // part of the interval to try when the value at its right end is not finite

// f(a + s) = f(a) + ga s + B s^2 + A s^3
struct Cubic {
  double A;
  double B;
  double D;  // a quarter of the discriminant of the slope
};

class CubicSearch {
 public:
  explicit CubicSearch(Line& line)
      : line_(line),
        start_(line.lowest),
        alpha_(Opt[line.slot].alpha),
        beta_(Opt[line.slot].beta),
        trace_(traces(line.slot)) {}

  bool run(double step);

 private:
  bool accept_first(const Trial& trial) const;
  bool accept(const Trial& trial) const;
  bool next_step(double& step);
  double interpolate(const Cubic& cubic, double h) const;
  double extrapolate(const Cubic& cubic, double h);
  double minimum_of(const Cubic& cubic, double h) const;
  void evaluate(double step);
  void narrow(const Trial& trial);
  bool end_without(const Trial& trial) const;

  double bound(const Trial& trial) const { return start_.value + alpha_ * trial.step * start_.slope; }
  double ratio(const Trial& trial) const { return std::abs(trial.slope / start_.slope); }
  // The value must also be below that at the start: with a negative alpha the bound lies above it.
  bool lowers(const Trial& trial) const { return trial.value < bound(trial) && trial.value < start_.value; }
  bool flattens(const Trial& trial) const { return ratio(trial) < beta_; }

  Line& line_;
  Trial start_;
  double alpha_;
  double beta_;
  bool trace_;
  Trial a_ = {};
  Trial b_ = {};
  double distance_ = 0;     // of the last extrapolation; 0: none yet
  double alternative_ = 0;  // to the current step; 0: none
};

bool CubicSearch::run(double step) {
  if (start_.slope > 0 || std::isnan(start_.slope)) {  // with a slope of 0 the search runs and accepts nothing
    if (trace_) {
      std::puts("wrong direction!!");
    }
    return false;
  }
  if (!try_first_step(line_, step, b_)) {
    return false;
  }
  if (accept_first(b_)) {
    return true;
  }
  a_ = start_;
  const Trial& trial = line_.last;
  const int tries = kBuiltInTries + std::clamp(Opt[line_.slot].max_line_try, -kBuiltInTries, kMostTries);
  for (int i = 0; i < tries; ++i) {
    if (trace_) {
      std::printf("try: %d\n", i);
    }
    if (!next_step(step)) {
      return false;
    }
    evaluate(step);
    if (trial.square == 0) {
      if (trace_) {
        std::puts("stepped into a zero gradient area");
      }
      return trial.value < start_.value || end_without(trial);
    }
    if (accept(trial)) {
      return true;
    }
    narrow(trial);
  }
  if (trace_) {
    std::puts("exhausted tries");
  }
  return end_without(trial);
}

bool CubicSearch::accept_first(const Trial& trial) const {
  if (trace_) {
    const double d2 = vectors::square(line_.d, line_.n);
    std::printf("initial f1 and f2= %e %e, line %e %e, grads %e %e %e %e\n", start_.value, trial.value, 0.0, trial.step,
                start_.slope, trial.slope, trial.square, std::sqrt(-start_.slope / d2));
  }
  const bool accepted = lowers(trial) && flattens(trial);
  if (trace_) {
    if (accepted) {
      std::printf("return on initial step, %f %f, %f %f\n", trial.value, bound(trial), ratio(trial), beta_);
    } else if (!lowers(trial)) {
      std::printf("initial step fails on value %f>%f\n", trial.value, bound(trial));
    } else {
      std::printf("initial step fails on gradient %f>%f\n", ratio(trial), beta_);
    }
  }
  return accepted;
}

bool CubicSearch::accept(const Trial& trial) const {
  const bool accepted = lowers(trial) && flattens(trial);
  if (!accepted && trace_) {
    if (!lowers(trial)) {
      std::printf("because function f= %f> %f\n", trial.value, bound(trial));
    } else {
      std::printf("because grad ratio = %f> %f\n", ratio(trial), beta_);
    }
    std::puts("must try again");
  }
  return accepted;
}

bool CubicSearch::next_step(double& step) {
  const double h = b_.step - a_.step;
  const double h3 = h * h * h;
  alternative_ = 0;
  if (h3 == 0) {
    if (trace_) {
      std::puts("zero stepsize in LineMinimize");
    }
    return false;
  }
  if (std::isinf(b_.value)) {  // no cubic goes through that
    step = a_.step + kShrink * h;
    return true;
  }
  const double df = b_.value - a_.value;
  Cubic cubic{
      .A = ((b_.slope + a_.slope) * h - 2 * df) / h3, .B = (3 * df - (2 * a_.slope + b_.slope) * h) / (h * h), .D = 0};
  cubic.D = cubic.B * cubic.B - 3 * a_.slope * cubic.A;
  if (trace_) {
    std::printf("g1,g2  is %e, %e\n", a_.slope, b_.slope);
  }
  step = b_.slope >= 0 ? interpolate(cubic, h) : extrapolate(cubic, h);
  return true;
}

double CubicSearch::minimum_of(const Cubic& cubic, double h) const {
  if (cubic.A == 0) {
    return a_.step - 0.5 * a_.slope / cubic.B;
  }
  const double s = kThird * (std::sqrt(cubic.D) - cubic.B) / cubic.A;
  if (std::abs(s) > 2 * std::abs(h)) {
    const double q = 0.5 * a_.slope / cubic.B;
    if (std::abs(s) > std::abs(q)) {
      return a_.step - q;
    }
  }
  return a_.step + s;
}

// When b is much higher than a, cancellation in minimum_of spoils the result; the second formula does not cancel.
double CubicSearch::interpolate(const Cubic& cubic, double h) const {
  const auto inside = [this](double step) { return step > a_.step && step < b_.step; };
  double step = minimum_of(cubic, h);
  if (!inside(step)) {
    step = a_.step - a_.slope / (cubic.B + std::sqrt(cubic.D));
  }
  if (!inside(step)) {
    step = a_.step + 0.5 * h;
  }
  if (trace_) {
    std::puts("positive gradient: interpolating");
    std::printf("suggested l is %e, between %e and %e, t is %e\n", step, a_.step, b_.step, cubic.D);
  }
  return step;
}

double CubicSearch::extrapolate(const Cubic& cubic, double h) {
  double step = minimum_of(cubic, h);
  const bool mirrors = Opt[line_.slot].alt_step != 0 && step < b_.step;
  const bool usable = std::isfinite(step) && (step > a_.step || mirrors) && step != b_.step;
  if (usable && cubic.A > 0 && step > b_.step) {
    distance_ = step - a_.step;
    if (trace_) {
      std::printf("negative gradient: extrapolating %f %f\n", step, cubic.A);
    }
  } else if (usable && cubic.A <= 0 && cubic.D > 0) {
    distance_ = step - a_.step;
    if (mirrors) {
      alternative_ = 2 * b_.step - step;
      if (trace_) {
        std::printf("negative gradient: extrapolating with an alternative: step=%f\n", alternative_);
      }
    }
  } else {
    distance_ = 2 * std::max(distance_, h);  // always beyond b, also when the last extrapolation went elsewhere
    step = a_.step + distance_;
    if (trace_) {
      std::puts("negative gradient: extrapolating by doubling");
    }
  }
  if (trace_) {
    std::printf("suggested l is %e, from %e and %e, %e\n", step, a_.step, b_.step, cubic.D);
  }
  return step;
}

// Tries the step and the alternative to it, if there is one, and keeps the better of the two. Only one gradient is
// stored, so if the step itself was better it is evaluated again.
void CubicSearch::evaluate(double step) {
  try_step(line_, step);
  if (alternative_ != 0) {
    const Trial plain = line_.last;
    const Trial& other = try_step(line_, alternative_);
    if (trace_) {
      std::printf("alternative f is %f compared to %f, %f %f %f\n", other.value, plain.value, other.step, plain.step,
                  b_.step);
    }
    if (!(other.value < plain.value)) {
      try_step(line_, step);
    }
  }
  if (trace_) {
    std::printf("new f is %f\nnew gradient i.p. is %f\nla is %f\n", line_.last.value, line_.last.slope,
                line_.last.step);
  }
}

void CubicSearch::narrow(const Trial& trial) {
  if (trial.step > b_.step) {
    a_ = b_;
    b_ = trial;
  } else if (trial.slope < 0 && trial.value < a_.value) {
    a_ = trial;
  } else {
    b_ = trial;
  }
}

// Prints a line when the search has found no lower point than its start. Always false.
bool CubicSearch::end_without(const Trial& trial) const {
  if (trace_ && !(trial.value < start_.value)) {
    if (line_.lowest.step == 0) {
      std::puts("failed to improve by line search");
    } else {
      std::printf("f=%f is no improvement %f %f\n", trial.value, start_.value, trial.step);
    }
  }
  return false;
}

}  // namespace

bool search_by_cubics(Line& line, double step) {
  if (traces(line.slot)) {
    std::puts("\nIn LineMin_E\n");
  }
  return CubicSearch(line).run(step);
}

}  // namespace opt
