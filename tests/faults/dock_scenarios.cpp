// The calls of libnxbriodock: each fails, with a message and nothing changed. The queue has room for the messages.
#include <nxbriochem/nxbriochem.h>
#include <nxbriodock/nxbriodock.h>

#include <algorithm>

#include "tests/faults/scenarios.h"

namespace faults {
namespace {

int energy;
int mol;
nxd_refinement result;
double variables[NXD_VARIABLES] = {1, 1, 1};
double out[64];
int indices[8];

constexpr double kTarget[] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
constexpr double kLigand[] = {5, 0, 0, 6, 0, 0};
constexpr double kCharges[] = {0.5, -0.5, 0.25};
constexpr int kElements[] = {6, 7, 8};
constexpr int kResidues[] = {0, 0, 1};
double poses[2 * NXD_POSE];

void room_for_messages() { nxi_err("a message\n"); }

void an_energy() {
  room_for_messages();
  energy = nxd_make_energy();
  nxd_set_target_arrays(kTarget, kCharges, kElements, 3, energy);
  nxd_set_ligand_arrays(kLigand, kCharges, kElements, 2, energy);
  mol = nx_make_molecule();
  nx_set_molecule_atom_number(2, mol);
  nx_set_molecule_element("CO", mol);
  poses[0] = poses[NXD_POSE] = 1.0;
}

// An energy object that has not computed anything yet.
int fresh() { return nxd_copy_energy(energy); }
void a_copy() {
  an_energy();
  energy = fresh();
}

bool refined(bool one) {
  double now[2 * NXD_POSE];
  std::copy_n(poses, 2 * NXD_POSE, now);
  return one ? nxd_refine_pose(now, &result, energy) == 1 : nxd_refine_poses(now, &result, 1, energy) == 1;
}

}  // namespace

std::vector<Scenario> dock_scenarios() {
  return {
      CALL(nxd_make_energy, kFails, room_for_messages, ()),
      CALL(nxd_copy_energy, kFails, an_energy, (energy)),
      CALL(nxd_set_target, kFails, an_energy, (mol, energy)),
      CALL(nxd_set_ligand, kFails, an_energy, (mol, energy)),
      CALL(nxd_set_target_arrays, kFails, an_energy, (kTarget, kCharges, kElements, 3, energy)),
      CALL(nxd_set_ligand_arrays, kFails, an_energy, (kLigand, kCharges, kElements, 2, energy)),
      CALL(nxd_set_target_parameters, kFails, an_energy, (kLigand, kLigand, 3, energy)),
      CALL(nxd_set_target_charges, kFails, an_energy, (kCharges, 3, energy)),
      CALL(nxd_set_residues, kFails, an_energy, (NXD_TARGET, kResidues, 3, energy)),
      CALL(nxd_set_distance_rule, kFails, an_energy, (1, energy)),
      // Calls that return NaN.
      CALL(nxd_energy, kWithout, a_copy, (variables, NXD_VARIABLES, energy)),
      CALL(nxd_energy_gradient, kWithout, a_copy, (variables, out, NXD_VARIABLES, energy)),
      CALL(nxd_add_energy_gradient, kWithout, a_copy, (variables, out, NXD_VARIABLES, energy)),
      CALL(nxd_get_energy_at_pose, kFails, a_copy, (poses, out, out + 1, out + 2, energy)),
      CALL(nxd_get_atom_energies, kFails, a_copy, (poses, NXD_TARGET, out, out + 8, energy)),
      CALL(nxd_get_residue_energies, kFails, a_copy, (poses, NXD_TARGET, out, out + 8, energy)),
      // Calls that return -1.
      CALL(nxd_cluster_poses, kWithout, an_energy, (poses, nullptr, 2, 1.0, indices, indices + 4, energy)),
      CALL_AS("nxd_refine_pose", kFails, an_energy, refined(true)),
      CALL_AS("nxd_refine_poses", kFails, an_energy, refined(false)),
  };
}

}  // namespace faults
