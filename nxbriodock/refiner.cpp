// Newton's method within a trust region. The six variables of a step are relative to the pose that it starts from, so
// that the derivatives need no correction and rotations by whole turns are no special case.
#include "refiner.h"

#include <algorithm>
#include <cmath>

#include "trust_region.h"

namespace nxbriodock {
namespace {

// Fractions of the distance of least 12-6 energy, by which a contact is judged: below the first a ligand is inside, as
// near as bonded atoms, or nearer, where hydrogen bonds and metals' ligands keep above it; below the second atoms are
// pressed together, where ions in contact keep above it, zinc and a nitrogen too, in vacuum.
constexpr double kInside = 0.45;
constexpr double kPressed = 0.6;
// Angstrom; where the nearest atoms are farther apart, a flat energy means that the two have lost touch.
constexpr double kOutOfTouch = 8.0;
// Angstrom; a ligand that goes away is let go from here on.
constexpr double kLetGo = 1000.0;
// Steps are bound to the largest step within this distance.
constexpr double kNear = 5.0;
// A run's first step, as a part of the largest.
constexpr double kFirstStep = 0.5;
// Where a ligand that starts inside the target is pushed out from: a tenth of an angstrom off, since at a place of
// symmetry, such as every atom upon another, no force would tell which way to go.
const Vector3 kNudge(0.07, 0.06, 0.04);
// Below this fraction, in the soft term, atoms hardly mind.
constexpr double kSoftWall = 0.6;
// Second derivatives count as below zero from here on, kcal/mol/angstrom^2 and as a part of the largest: two carbons
// curve down so little 15 angstrom apart.
constexpr double kLeastCurvature = 1e-5;
constexpr double kLeastCurvatureOfLargest = 1e-6;
// A run from where the gradient is below the tolerance but the energy curves down goes on until the gradient is this
// part of what it becomes.
constexpr double kTolerancePart = 1e-2;
// The rounding error of the energy, relative to the sizes of its terms.
constexpr double kRounding = 1e-14;
// Angstrom: shorter steps change nothing.
constexpr double kShortest = 1e-10;

enum class Stop { AtMinimum, LetGo, NoProgress, OutOfIterations, Interrupted };

bool is_finite(const Value& value) {
  return std::isfinite(value.total()) && value.gradient.allFinite() && value.hessian.allFinite();
}

class Descent {
 public:
  Descent(const Energy& energy, const Terms& terms, int threads, Workspace& workspace, nxd_refinement& counts)
      : energy_(energy), terms_(terms), threads_(threads), workspace_(workspace), counts_(counts) {}

  Value evaluate(const Placement& placement) {
    ++counts_.evaluations;
    return energy_.evaluate(terms_, placement, Derivatives::Second, threads_, workspace_);
  }

  bool curves_down(const QuadraticModel& model) const {
    return model.least_curvature() < -std::max(kLeastCurvature, kLeastCurvatureOfLargest * model.largest_curvature());
  }
  bool at_minimum(const Value& value) const {
    return value.gradient.norm() < energy_.refinement.tolerance &&
           !curves_down(QuadraticModel(value.gradient, value.hessian));
  }

  // Goes down until counts.iterations are `most`, in all.
  Stop run(int most, bool pushing, const OnIteration& on_iteration, Placement& placement, Value& value) {
    const double largest = energy_.refinement.largest_step;
    const double distance_at_first = energy_.distance_from_box(placement);
    double tolerance = energy_.refinement.tolerance;
    double radius = kFirstStep * largest;
    for (;;) {
      const QuadraticModel model(value.gradient, value.hessian);
      const bool no_force = value.gradient.norm() < tolerance;
      if (no_force && !curves_down(model)) {
        return Stop::AtMinimum;
      }
      const double distance = energy_.distance_from_box(placement);
      if (distance > kLetGo && distance > distance_at_first) {
        return Stop::LetGo;
      }
      if (counts_.iterations >= most) {
        return Stop::OutOfIterations;
      }
      const double reach = std::max(largest, 0.5 * (distance - kNear));
      radius = std::min(radius, reach);
      double gain = 0.0;
      const Vector6 step = model.lowest_within(radius, gain);
      if (!(radius > kShortest) || !step.allFinite()) {
        return Stop::NoProgress;
      }
      Placement next = placement;
      next.rotation = rotation_by(step.tail<3>() / energy_.arm) * placement.rotation;
      next.move += step.head<3>();
      const Value there = evaluate(next);
      ++counts_.iterations;
      const double rounding = kRounding * (std::abs(value.coulomb) + std::abs(value.twelve_six));
      const double fall = value.total() - there.total();
      const bool good = is_finite(there);
      // Where differences of the energy are rounding, the gradient decides.
      const bool blind = gain <= rounding;
      const bool accepted = good && (blind ? there.gradient.norm() < value.gradient.norm() : fall > 1e-4 * gain);
      if (accepted) {
        placement = next;
        value = there;
        if (no_force) {
          tolerance = std::min(tolerance, kTolerancePart * value.gradient.norm());
        }
      } else if (blind) {
        return Stop::NoProgress;
      }
      if (!blind && !(good && fall > 0.25 * gain)) {
        radius = 0.25 * step.norm();
      } else if (!blind && fall > 0.75 * gain && step.norm() > 0.99 * radius) {
        radius = std::min(2.0 * radius, reach);
      }
      if (on_iteration(counts_.iterations, placement, value.total(), pushing)) {
        return Stop::Interrupted;
      }
    }
  }

 private:
  const Energy& energy_;
  const Terms& terms_;
  int threads_;
  Workspace& workspace_;
  nxd_refinement& counts_;
};

// More is asked of the end than of the start: atoms are pressed together there, and nothing that draws makes up for it.
// Ions in contact are pressed together too, but by their charges.
bool overlap(const Value& value, const Contact& contact) {
  return contact.fraction < kInside || (value.twelve_six > 0.0 && (value.total() > 0.0 || contact.fraction < kPressed));
}

int ending(Stop stop, const nxd_refinement& result) {
  switch (stop) {
    case Stop::AtMinimum:
      return result.overlaps != 0 ? NXD_JAMMED : result.distance > kOutOfTouch ? NXD_FLAT : NXD_CONVERGED;
    case Stop::LetGo:
      return NXD_LET_GO;
    case Stop::NoProgress:
      return NXD_NO_PROGRESS;
    case Stop::OutOfIterations:
      return NXD_OUT_OF_ITERATIONS;
    case Stop::Interrupted:
      break;
  }
  return NXD_INTERRUPTED;
}

}  // namespace

nxd_refinement refine(const Energy& energy, Placement& placement, int threads, const OnIteration& on_iteration,
                      Workspace& workspace) {
  nxd_refinement result{};
  const int most = energy.refinement.most_iterations;
  Descent descent(energy, energy.terms, threads, workspace, result);
  const Value start = descent.evaluate(placement);
  Contact contact = energy.closest_contact(placement);
  result.start_coulomb = start.coulomb;
  result.start_twelve_six = start.twelve_six;
  result.started_inside = contact.fraction < kInside ? 1 : 0;
  Placement at = placement;
  Value value = start;
  Stop stop = Stop::OutOfIterations;
  if (!is_finite(start)) {
    result.ended = NXD_NOT_FINITE;
  } else {
    if (result.started_inside != 0 && energy.refinement.push_out && most > 0) {
      Terms soft = energy.terms;
      soft.coulomb_weight = 0.0;
      soft.twelve_six_weight = soft.twelve_six_weight > 0.0 ? soft.twelve_six_weight : 1.0;
      soft.twelve_six_wall = kSoftWall;
      Descent push(energy, soft, threads, workspace, result);
      at.move += kNudge;
      Value pushed = push.evaluate(at);
      stop = push.run((most + 1) / 2, true, on_iteration, at, pushed);
      value = descent.evaluate(at);
    }
    if (stop != Stop::Interrupted) {
      stop = descent.run(most, false, on_iteration, at, value);
    }
    result.start_kept = result.iterations > 0 && !(value.total() < start.total()) ? 1 : 0;
    if (result.start_kept != 0) {
      value = start;
      at = placement;
      stop = descent.at_minimum(start)   ? Stop::AtMinimum
             : stop == Stop::Interrupted ? stop
             : result.iterations >= most ? Stop::OutOfIterations
                                         : Stop::NoProgress;
    }
    placement = at;
    contact = energy.closest_contact(placement);
  }
  result.coulomb = value.coulomb;
  result.twelve_six = value.twelve_six;
  result.gradient = value.gradient.norm();
  result.distance = contact.distance;
  result.fraction = contact.fraction;
  result.overlaps = overlap(value, contact) ? 1 : 0;
  result.ended = result.ended == NXD_NOT_FINITE ? result.ended : ending(stop, result);
  return result;
}

}  // namespace nxbriodock
