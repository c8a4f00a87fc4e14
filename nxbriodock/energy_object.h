// The object behind an energy handle. Private to the library.
#ifndef NXBRIODOCK_ENERGY_OBJECT_H
#define NXBRIODOCK_ENERGY_OBJECT_H

#include <memory>
#include <vector>

#include "pair_sums.h"
#include "rigid.h"

namespace nxbriodock {

// One side's atoms, as they were set.
struct Atoms {
  std::vector<Vector3> places;
  std::vector<double> charges;
  // x_i, angstrom, and D_i, kcal/mol.
  std::vector<double> distances;
  std::vector<double> depths;
  // From 0 on.
  std::vector<int> residues;

  std::size_t size() const { return places.size(); }
  int residue_number() const;
};

// Atoms in the form that the sums take: arrays, filled up to whole vectors. Distances and depths are prepared for one
// rule.
class Packed {
 public:
  Packed(const Atoms& atoms, bool arithmetic);

  TargetArrays arrays() const;
  double largest_distance() const { return largest_distance_; }

 private:
  std::vector<double> values_;
  int count_;
  double largest_distance_ = 0.0;
};

// The target, shared by copies of an energy. Prepared data are replaced, never changed.
struct Target {
  Target() = default;
  Target(std::shared_ptr<const Atoms> all, bool arithmetic);

  std::shared_ptr<const Atoms> atoms;
  std::shared_ptr<const Packed> packed;
  Vector3 low = Vector3::Zero();
  Vector3 high = Vector3::Zero();
};

// Which terms are summed, and how.
struct Terms {
  Coulomb coulomb = Coulomb::Uniform;
  double dielectric = 1.0;
  double kappa = 0.0;
  double coulomb_weight = 1.0;
  double twelve_six_weight = 1.0;
  bool arithmetic = false;
  double coulomb_wall = 0.1;
  double twelve_six_wall = 0.1;

  Model model() const;
  // The factor by which products of two charges are multiplied.
  double coulomb_factor() const;
};

// How refinement goes (refine.h).
struct RefineSettings {
  int most_iterations = 300;
  double tolerance = 1e-3;
  double largest_step = 0.3;
  bool push_out = true;
  const volatile int* stop = nullptr;
  int (*on_iteration)(int, const double*, double, int, void*) = nullptr;
  void* on_iteration_data = nullptr;
  int (*on_pose)(int, int, void*) = nullptr;
  void* on_pose_data = nullptr;
};

// The energy at a placement, with derivatives by the ligand's translation and by a small rotation about its centre.
// Rotations are scaled by the arm, so that all variables are in angstrom. The second derivatives are along the path of
// the exponential map.
struct Value {
  double coulomb = 0.0;
  double twelve_six = 0.0;
  Vector6 gradient = Vector6::Zero();
  Matrix6 hessian = Matrix6::Zero();

  double total() const { return coulomb + twelve_six; }
};

// Work arrays of the sums, kept between calls.
struct Workspace {
  std::vector<LigandAtom> atoms;
  std::vector<AtomSums> sums;
};

struct Contact {
  int target_atom = -1;
  int ligand_atom = -1;
  double distance = 0.0;
  double fraction = 0.0;
};

class Energy {
 public:
  void set_target(Atoms atoms);
  void set_ligand(Atoms atoms);
  void set_distance_rule(bool arithmetic);

  bool has_target() const { return target.atoms != nullptr; }
  bool has_ligand() const { return ligand.size() > 0; }
  // Fails for an object without target or ligand.
  void require_both() const;

  Placement placement_at(const double* x) const;
  // Fails for null and for values that are no pose.
  Placement placement_of_pose(const double* pose) const;
  // The value of the terms at a placement. `most_threads` 1: on this thread alone.
  Value evaluate(const Terms& which, const Placement& placement, Derivatives derivatives, int most_threads,
                 Workspace& workspace) const;
  // Both terms of each atom of the target with the whole ligand at a placement; of the ligand's, evaluate leaves them
  // in the workspace.
  void evaluate_target_atoms(const Placement& placement, int most_threads, Workspace& workspace) const;
  Contact closest_contact(const Placement& placement) const;
  // The least distance that an atom of the ligand has from the box around the target; 0 inside.
  double distance_from_box(const Placement& placement) const;
  Vector3 place_of(std::size_t atom, const Placement& placement) const {
    return centre + placement.move + placement.rotation * arms[atom];
  }

  const Atoms& side(bool of_ligand) const { return of_ligand ? ligand : *target.atoms; }

  Target target;
  Atoms ligand;
  Vector3 centre = Vector3::Zero();
  // The ligand's atoms from the centre, and the mean of arm times its transpose.
  std::vector<Vector3> arms;
  Matrix3 spread = Matrix3::Zero();
  // The radius of gyration.
  double arm = 1.0;
  Terms terms;
  Placement base;
  double leash_length = 0.0;
  double leash_strength = 0.0;
  int threads = 1;
  RefineSettings refinement;
  Workspace workspace;
};

// The object behind a handle; it stays alive while the caller holds it. Fails for a handle that names none.
std::shared_ptr<Energy> energy_of(int handle);
// Gives an object a handle.
int keep_energy(std::shared_ptr<Energy> energy);
bool delete_energy(int handle);
// The number of threads for a setting (0: as many as processors).
int threads_of(int setting);

}  // namespace nxbriodock

#endif
