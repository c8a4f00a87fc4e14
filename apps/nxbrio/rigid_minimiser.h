// Moves a rigid ligand downhill through the library's optimiser and function lists.
#ifndef NXBRIOCHEM_APPS_NXBRIO_RIGID_MINIMISER_H
#define NXBRIOCHEM_APPS_NXBRIO_RIGID_MINIMISER_H

#include <functional>

#include "rigid_energy.h"

namespace nxbrio {

// Called after each iteration with the lowest pose so far and its energy, kcal/mol.
using OnIterate = std::function<void(const Pose& pose, double energy)>;

// A way down: where it has come to, the lowest pose that was met, and what it has cost.
struct Descent {
  Pose pose;
  int iterations = 0;
  int evaluations = 0;
};

// Kcal/mol/angstrom: the length of the gradient below which a pose may be a minimum. Against the stiffness of a
// contact, some 10 kcal/mol/angstrom^2, it is a ten-thousandth of an angstrom, a tenth of the last place of structure
// files.
inline constexpr double kGradientTolerance = 1e-3;
// A run of three iterations that gains less, kcal/mol, makes no progress.
inline constexpr double kSettled = 1e-9;
// Angstrom: a ligand that goes away is let go when the nearest atoms are farther apart.
inline constexpr double kLetGo = 1000.0;

// Which terms are minimised.
enum class Terms {
  All,
  // The 12-6 term alone, and soft: below kSoftWall of the distance of their minimum, atoms hardly mind.
  SoftTwelveSix
};
inline constexpr double kSoftWall = 0.6;

// Goes on from a pose, for at most so many iterations in all. Where the gradient is below its tolerance but the energy
// curves down, as midway between two wells or at the far end of one, a step along the curve is an iteration too. Throws
// Failure when the library refuses something.
void descend(RigidEnergy& energy, Terms terms, int most_iterations, const OnIterate& on_iterate, Descent& descent);

struct PoseEnergy {
  // Kcal/mol.
  double coulomb = 0.0;
  double twelve_six = 0.0;
  // The length of the gradient in the six variables, kcal/mol/angstrom.
  double gradient = 0.0;

  double total() const { return coulomb + twelve_six; }
};
// Both terms, with the walls that count.
PoseEnergy energy_at(RigidEnergy& energy, const Pose& pose);
// Whether the gradient is below its tolerance and no second derivative below zero, in any direction, beyond rounding.
bool at_minimum(RigidEnergy& energy, const Pose& pose);

}  // namespace nxbrio

#endif
