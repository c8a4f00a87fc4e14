#include "rigid_minimiser.h"

#include <nxbriochem/nxbriochem.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <optional>

#include "failure.h"
#include "molecule.h"

namespace nxbrio {
namespace {

constexpr int kDense = 2;  // as nx_set_opt_method takes it
// The leash of a run: an angstrom, or half the way to the target from farther off than this.
constexpr double kLeash = 1.0;
constexpr double kInTouch = 5.0;
// The first step moves the ligand by about so much of the leash: less than the width of any well.
constexpr double kFirstMove = 0.05;
// More tries of a line search: walls are steep.
constexpr int kLineTries = 10;
// A run that has not ended by then is started anew, rid of what it holds to be the curvature.
constexpr int kMostInARun = 30;
// A run that three iterations do not change by more is over: beyond the end of its leash this part of what the first
// slope promises along it, since it is taken up from there anyway; else kSettled.
constexpr double kSettledHeld = 5e-2;
// Angstrom: the step of second differences, and the step away from a place without force that is no minimum.
constexpr double kDifference = 1e-4;
constexpr double kStepOff = 0.05;
// Second derivatives count as below zero from here on, kcal/mol/angstrom^2 and as a part of the largest: less are the
// errors of the differences. Two carbons curve down so little 15 angstrom apart.
constexpr double kLeastCurvature = 1e-5;
constexpr double kLeastCurvatureOfLargest = 1e-6;
// A run from such a place goes on until the gradient is this part of the first.
constexpr double kTolerancePart = 1e-2;

using Variables = std::array<double, RigidEnergy::kVariables>;

double square_of(const Variables& v) { return std::inner_product(v.begin(), v.end(), v.begin(), 0.0); }
double length_of(const Variables& v) { return std::sqrt(square_of(v)); }

// What keeps a run from leaping into another valley: nothing within its length of where the run began, and a growing
// slope beyond, smooth where it sets in, which outdoes the first slope about a tenth of the length on.
struct Leash {
  double length;
  double strength;

  Leash(double reach, double steepness) : length(reach), strength(steepness / (reach * reach * reach)) {}

  // Adds its derivatives unless the gradient is null.
  double value(const Variables& x, double* gradient) const {
    const double excess = std::max(square_of(x) - length * length, 0.0);
    for (std::size_t i = 0; gradient != nullptr && i < x.size(); ++i) {
      gradient[i] += 4.0 * strength * excess * x[i];
    }
    return strength * excess * excess;
  }
};

// One run of the optimiser, as its terms see it.
struct Run {
  const RigidEnergy& energy;
  const OnIterate& on_iterate;
  Leash leash;
  // The energy, without the leash, of the lowest iterate, or of the start at first; `best` are its variables.
  double lowest;
  // What it may settle at beyond the end of the leash.
  double settled_held;
  int opt;
  Variables best{};
  // How many iterates have been told of, and the variables that the terms last saw, with their energy.
  int told = 0;
  Variables last{};
  double value = 0.0;

  void take(const Variables& x, double energy_at_x) {
    if (energy_at_x < lowest) {
      lowest = energy_at_x;
      best = x;
    }
  }
  bool is_held(const Variables& x) const { return length_of(x) >= leash.length; }
  // Tells of the iterate at these variables, the optimiser having got there. The leash may make it lie above others.
  void tell(const Variables& x, double energy_at_x, int iterations) {
    take(x, energy_at_x);
    told = iterations;
    nx_set_opt_energy_convergence(opt, is_held(x) ? settled_held : kSettled);
    on_iterate(energy.pose_at(best.data()), lowest);
  }
};

// Terms know what they work on by an integer: its place in this table.
std::vector<Run*> runs;

double coulomb_gradient(double* x, double* gradient, int /*n*/, int handle) {
  Run& run = *runs[static_cast<std::size_t>(handle)];
  const double value = run.energy.coulomb(x, gradient);
  run.value += value;
  return value;
}

double twelve_six_gradient(double* x, double* gradient, int /*n*/, int handle) {
  Run& run = *runs[static_cast<std::size_t>(handle)];
  const double value = run.energy.twelve_six(x, gradient);
  run.value += value;
  return value;
}

// The leash as a term, the first of the list, which looks on as well: when the iterations have gone up, the variables
// seen last are the iterate.
double leash_gradient(double* x, double* gradient, int n, int handle) {
  Run& run = *runs[static_cast<std::size_t>(handle)];
  int iterations = 0;
  nx_get_opt_total_iterations(run.opt, &iterations);
  if (iterations > run.told) {
    run.tell(run.last, run.value, iterations);
  }
  std::copy_n(x, n, run.last.begin());
  run.value = 0.0;
  return run.leash.value(run.last, gradient);
}

class Enlisted {
 public:
  explicit Enlisted(Run& run) { runs.push_back(&run); }
  Enlisted(const Enlisted&) = delete;
  Enlisted& operator=(const Enlisted&) = delete;
  ~Enlisted() { runs.pop_back(); }
  static int handle() { return static_cast<int>(runs.size()) - 1; }
};

class FunctionList {
 public:
  FunctionList() : handle_(nx_make_function_list()) {}
  FunctionList(const FunctionList&) = delete;
  FunctionList& operator=(const FunctionList&) = delete;
  ~FunctionList() { nx_delete_function_list(handle_); }

  void add(nx_extended_gradient_term_double term, int handle) const {
    require(nx_add_extended_gradient_function_to_list_double(term, handle, 0, handle_), "a term");
  }
  int handle() const { return handle_; }

 private:
  int handle_;
};

class Optimiser {
 public:
  explicit Optimiser(int variables) : handle_(nx_init_opt(variables, nullptr)) {
    if (handle_ == 0) {
      throw Failure("the library has no optimiser left");
    }
  }
  Optimiser(const Optimiser&) = delete;
  Optimiser& operator=(const Optimiser&) = delete;
  ~Optimiser() { nx_delete_opt(handle_); }
  int handle() const { return handle_; }

 private:
  int handle_;
};

void set_up(int opt, int list, int most_iterations, double tolerance, double first_step) {
  require(nx_set_opt_gradient_list(list, opt), "the terms");
  require(nx_set_opt_method(opt, kDense), "the method");
  require(nx_set_opt_maximum_iterations(opt, most_iterations), "the number of iterations");
  require(nx_set_opt_gradient_convergence(opt, tolerance * tolerance), "a threshold");
  require(nx_set_opt_energy_convergence(opt, kSettled), "a threshold");
  require(nx_set_opt_stepsize(opt, static_cast<float>(first_step)), "the first step");
  require(nx_set_opt_max_line_try(opt, kLineTries), "the tries of a line search");
  require(nx_set_opt_itersave(opt, 1), "to be followed");
}

double evaluate(const RigidEnergy& energy, Terms terms, const Variables& x, Variables& gradient) {
  gradient.fill(0.0);
  const double coulomb = terms == Terms::All ? energy.coulomb(x.data(), gradient.data()) : 0.0;
  return coulomb + energy.twelve_six(x.data(), gradient.data());
}

// How a run is to go.
struct Plan {
  Terms terms;
  int most_iterations;
  // Of the gradient's length.
  double tolerance;
  // Of the nearest atoms, at the start.
  double distance;
};

// What a run has gained, kcal/mol, and the length of the gradient at the lowest pose, both without the leash; and
// whether it was the leash that held it.
struct Outcome {
  double gain;
  double gradient;
  bool held;
};

// One run, from the descent's pose on, which becomes the lowest that the run has met.
Outcome run_once(RigidEnergy& energy, const Plan& plan, const OnIterate& on_iterate, Descent& descent) {
  energy.set_base(descent.pose);
  Variables x{};
  Variables gradient{};
  const double start = evaluate(energy, plan.terms, x, gradient);
  const double steepness = length_of(gradient);
  if (steepness < plan.tolerance) {
    return {0.0, steepness, false};
  }
  const double reach = std::max(kLeash, 0.5 * (plan.distance - kInTouch));
  const FunctionList list;
  const Optimiser optimiser(RigidEnergy::kVariables);
  Run run{energy, on_iterate, Leash(reach, steepness), start, kSettledHeld * steepness * reach, optimiser.handle()};
  const Enlisted enlisted(run);
  list.add(leash_gradient, Enlisted::handle());
  if (plan.terms == Terms::All) {
    list.add(coulomb_gradient, Enlisted::handle());
  }
  list.add(twelve_six_gradient, Enlisted::handle());
  set_up(optimiser.handle(), list.handle(), plan.most_iterations, plan.tolerance, kFirstMove * reach / steepness);
  double value = start;
  // What the run says of itself is not asked: what counts is where it ends.
  nx_minimize_d(x.data(), &value, optimiser.handle());
  int iterations = 0;
  int evaluations = 0;
  nx_get_opt_total_iterations(optimiser.handle(), &iterations);
  nx_get_opt_total_function_calls(optimiser.handle(), &evaluations);
  descent.iterations += iterations;
  descent.evaluations += evaluations;
  const double end = evaluate(energy, plan.terms, x, gradient);
  run.take(x, end);
  if (iterations > run.told) {
    run.tell(x, end, iterations);
  }
  evaluate(energy, plan.terms, run.best, gradient);
  descent.pose = energy.pose_at(run.best.data());
  return {start - run.lowest, length_of(gradient), run.is_held(run.best)};
}

// The direction, of length 1, in which the energy curves down most at the base pose; none at a minimum.
std::optional<Variables> downward_curve(const RigidEnergy& energy, Terms terms) {
  constexpr std::size_t n = RigidEnergy::kVariables;
  std::array<Variables, n> second{};
  for (std::size_t i = 0; i < n; ++i) {
    Variables x{};
    Variables above{};
    Variables below{};
    x[i] = kDifference;
    evaluate(energy, terms, x, above);
    x[i] = -kDifference;
    evaluate(energy, terms, x, below);
    for (std::size_t j = 0; j < n; ++j) {
      // Half into either triangle: the differences are symmetric but for their errors.
      const double half = (above[j] - below[j]) / (4.0 * kDifference);
      second[i][j] += half;
      second[j][i] += half;
    }
  }
  std::array<Variables, n> vectors{};
  std::array<double*, n> rows{};
  std::array<double*, n> vector_rows{};
  Variables values{};
  for (std::size_t i = 0; i < n; ++i) {
    rows[i] = second[i].data();
    vector_rows[i] = vectors[i].data();
  }
  eigen_solve_double_precision(rows.data(), static_cast<int>(n), values.data(), vector_rows.data());
  if (!(values[n - 1] < -std::max(kLeastCurvature, kLeastCurvatureOfLargest * values[0]))) {
    return std::nullopt;
  }
  Variables direction{};
  for (std::size_t i = 0; i < n; ++i) {
    direction[i] = vectors[i][n - 1];
  }
  return direction;
}

// Steps off a place without force that is no minimum, to the lower side; the length of the gradient there. Nothing at
// a minimum.
std::optional<double> step_off(RigidEnergy& energy, Terms terms, const OnIterate& on_iterate, Descent& descent) {
  energy.set_base(descent.pose);
  const std::optional<Variables> curve = downward_curve(energy, terms);
  descent.evaluations += 2 * RigidEnergy::kVariables;
  if (!curve) {
    return std::nullopt;
  }
  Variables gradient{};
  std::optional<double> steepness;
  double lowest = evaluate(energy, terms, {}, gradient);
  for (const double step : {kStepOff, -kStepOff}) {
    Variables x = *curve;
    std::for_each(x.begin(), x.end(), [step](double& component) { component *= step; });
    const double there = evaluate(energy, terms, x, gradient);
    ++descent.evaluations;
    if (there < lowest - kSettled) {
      lowest = there;
      steepness = length_of(gradient);
      descent.pose = energy.pose_at(x.data());
    }
  }
  if (steepness) {
    ++descent.iterations;
    on_iterate(descent.pose, lowest);
  }
  return steepness;
}

}  // namespace

void descend(RigidEnergy& energy, Terms terms, int most_iterations, const OnIterate& on_iterate, Descent& descent) {
  energy.set_wall(terms == Terms::All ? RigidEnergy::kWall : kSoftWall);
  Plan plan{terms, 0, kGradientTolerance, energy.closest_contact(descent.pose).distance};
  // A run that stops short of a minimum, at the end of its leash or for another reason, is taken up where it ended,
  // with the pose reached as the new base, for as long as that gains something.
  for (bool going = true; going && descent.iterations < most_iterations;) {
    plan.most_iterations = std::min(most_iterations - descent.iterations, kMostInARun);
    const Outcome outcome = run_once(energy, plan, on_iterate, descent);
    going = outcome.gradient >= plan.tolerance && (outcome.held || outcome.gain > kSettled);
    if (!going && outcome.gradient < kGradientTolerance && descent.iterations < most_iterations) {
      if (const std::optional<double> steepness = step_off(energy, terms, on_iterate, descent)) {
        going = true;
        plan.tolerance = std::min(kGradientTolerance, kTolerancePart * *steepness);
      }
    }
    const double before = plan.distance;
    plan.distance = energy.closest_contact(descent.pose).distance;
    going = going && !(plan.distance > kLetGo && plan.distance > before);
  }
  energy.set_wall(RigidEnergy::kWall);
}

PoseEnergy energy_at(RigidEnergy& energy, const Pose& pose) {
  energy.set_base(pose);
  const Variables x{};
  Variables gradient{};
  PoseEnergy at;
  at.coulomb = energy.coulomb(x.data(), gradient.data());
  at.twelve_six = energy.twelve_six(x.data(), gradient.data());
  at.gradient = length_of(gradient);
  return at;
}

bool at_minimum(RigidEnergy& energy, const Pose& pose) {
  return energy_at(energy, pose).gradient < kGradientTolerance && !downward_curve(energy, Terms::All);
}

}  // namespace nxbrio
