// Refinement runs of libnxbriodock, one or many at a time.
#ifndef NXBRIOCHEM_APPS_NXBRIO_REFINE_RUN_H
#define NXBRIOCHEM_APPS_NXBRIO_REFINE_RUN_H

#include <nxbriodock/nxbriodock.h>

#include <deque>
#include <exception>
#include <string>
#include <vector>

#include "coulomb.h"
#include "ligands.h"
#include "medium.h"
#include "molecule.h"
#include "placement.h"
#include "progress.h"

namespace nxbrio {

// Kcal/mol/angstrom: the length of the gradient below which a pose may be a minimum.
inline constexpr double kGradientTolerance = 1e-3;

// Kcal/mol, at the ligand's place, and the length of the gradient in its six variables, kcal/mol/angstrom.
struct PlaceEnergy {
  double coulomb = 0.0;
  double twelve_six = 0.0;
  double gradient = 0.0;

  double total() const { return coulomb + twelve_six; }
};

// The closest pair; distances are relative to that of the pair's least 12-6 energy.
struct Contact {
  int target_atom = 0;
  int ligand_atom = 0;
  // Angstrom.
  double distance = 0.0;
  // Of the distance of least 12-6 energy.
  double fraction = 0.0;
};

// The ligand at one place.
struct RefinedPlace {
  PlaceEnergy energy;
  Contact contact;
  // The two atoms, as a user knows them.
  std::string target_atom;
  std::string ligand_atom;
};

// The result of a run.
struct RefinedLigand {
  explicit RefinedLigand(const Structure& structure) : ligand(structure) {}

  LigandName ligand;
  RefinedPlace before;
  RefinedPlace after;
  // How the run went, and how it ended.
  nxd_refinement run{};
  // How the ligand has moved, and its atoms' root mean square distance from where they were, angstrom.
  Displacement moved;
  double rms = 0.0;
  // How many ligands are in the cluster that it stands for.
  std::size_t cluster_size = 1;
};

// The target and how ligands are refined at it.
class RefineTarget {
 public:
  // Throws Failure for an atom without 12-6 parameters.
  RefineTarget(const Structure& target, const Molecule& molecule, const Medium& medium, float dielectric,
               int iterations);

  const Structure& structure() const { return structure_; }
  int energy() const { return energy_.handle(); }

 private:
  const Structure& structure_;
  EnergyObject energy_;
};

// One ligand's run.
class RefineRun {
 public:
  // `threads` as nxd_set_threads has it. Throws Failure for an atom without 12-6 parameters.
  RefineRun(const RefineTarget& target, Structure ligand, const Molecule& molecule, int threads);

  // Moves the ligand to a minimum of its energy; one that starts inside the target is pushed out first. Several threads
  // may do so at once, each with a run of its own. Throws Failure for an energy that is not finite.
  void run();
  // As run; prints a line for each iteration on a terminal, and keeps the trajectory.
  void run_and_tell();

  const Structure& ligand() const { return ligand_; }
  const RefinedLigand& result() const { return result_; }
  const Pose& pose() const { return pose_; }
  // The trajectory: the start, then poses of falling energy.
  const std::vector<Pose>& way() const { return way_; }

 private:
  RefinedPlace place_at(const Pose& pose) const;

  const Structure& target_;
  Structure ligand_;
  EnergyObject energy_;
  RefinedLigand result_;
  Pose pose_ = kStart;
  std::vector<Pose> way_{kStart};
};

// Runs all of them on up to `threads` threads, each run on one. Runs that Ctrl-C stopped have ended as NXD_INTERRUPTED
// or NXD_NOT_STARTED. Gives an entry for each run: what it threw, or null.
std::vector<std::exception_ptr> run_all(std::deque<RefineRun>& runs, int threads, Progress& progress);

}  // namespace nxbrio

#endif
