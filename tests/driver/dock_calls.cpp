// The calls of libnxbriodock. Molecules and runs are small, so that the driver can make many.
#include <nxbriochem/nxbriochem.h>
#include <nxbriodock/nxbriodock.h>

#include <array>

#include "tests/driver/calls.h"

namespace driver {
namespace {

int stop_at_random(int iteration, const double*, double, int, void*) { return iteration % 7 == 6 ? 1 : 0; }
int go_on(int, int, void*) { return 0; }

const int kFlags[] = {0, 1};

void call_set_iteration_callback(Arguments& arguments, const char*) {
  const int energy = arguments.integer('e');
  nxd_set_iteration_callback(arguments.one_in(2) ? nullptr : stop_at_random, nullptr, energy);
}
void call_set_poses_callback(Arguments& arguments, const char*) {
  const int energy = arguments.integer('e');
  nxd_set_poses_callback(arguments.one_in(2) ? nullptr : go_on, nullptr, energy);
}
void call_set_interrupt_flag(Arguments& arguments, const char*) {
  const int energy = arguments.integer('e');
  nxd_set_interrupt_flag(arguments.one_in(2) ? nullptr : &kFlags[arguments.below(2)], energy);
}

// Refines poses for a few iterations; sometimes the poses are invalid.
void call_refine(Arguments& arguments, const char*) {
  constexpr int kMost = 3;
  const int energy = arguments.integer('e');
  std::array<double, NXD_POSE * kMost> poses{};
  for (double& number : poses) {
    number = arguments.number();
  }
  std::array<nxd_refinement, kMost> results{};
  nxd_set_refine_iterations(arguments.below(6), energy);
  nxd_refine_poses(arguments.one_in(40) ? nullptr : poses.data(), arguments.one_in(4) ? nullptr : results.data(),
                   arguments.below(kMost + 2) - 1, energy);
}
void call_refine_one(Arguments& arguments, const char*) {
  const int energy = arguments.integer('e');
  std::array<double, NXD_POSE> pose{1, 0, 0, 0, arguments.number(), arguments.number(), arguments.number()};
  nxd_refinement result{};
  nxd_set_refine_iterations(arguments.below(6), energy);
  nxd_refine_pose(arguments.one_in(40) ? nullptr : pose.data(), arguments.one_in(4) ? nullptr : &result, energy);
}

// The parameters of random elements are rarely all known, so that elements are often left out.
template <auto Set>
void call_set_arrays(Arguments& arguments, const char* kinds) {
  if (arguments.one_in(2)) {
    plain(Set, "", kinds).call(arguments, kinds);
    return;
  }
  const int energy = arguments.integer('e');
  const int n = arguments.below(kMostCount + 1);
  std::array<double, std::size_t{4} * kMostCount> numbers{};
  for (double& number : numbers) {
    number = arguments.below(2000) / 100.0 - 10.0;
  }
  Set(numbers.data(), numbers.data() + 3 * kMostCount, nullptr, n, energy);
}

#define PLAIN(function, kinds) plain(&function, #function, kinds),

}  // namespace

std::vector<Entry> dock_calls() {
  return {// energy.h
          PLAIN(nxd_make_energy, ":e") PLAIN(nxd_copy_energy, "e:e") PLAIN(nxd_delete_energy, "e")
              PLAIN(nxd_set_target, "me") PLAIN(nxd_set_ligand, "me"){"nxd_set_target_arrays", "*[3d]*[d]*[d]ne",
                                                                      call_set_arrays<nxd_set_target_arrays>},
          {"nxd_set_ligand_arrays", "*[3d]*[d]*[d]ne", call_set_arrays<nxd_set_ligand_arrays>},
          PLAIN(nxd_set_target_parameters, "*[c]*[c]ne") PLAIN(nxd_set_ligand_parameters, "*[c]*[c]ne")
              PLAIN(nxd_set_target_charges, "*[b]ne") PLAIN(nxd_set_ligand_charges, "*[b]ne")
                  PLAIN(nxd_get_target_atom_number, "e") PLAIN(nxd_get_ligand_atom_number, "e")
                      PLAIN(nxd_set_uniform_dielectric, "ve") PLAIN(nxd_set_distance_dielectric, "ve")
                          PLAIN(nxd_set_screened_dielectric, "vvve") PLAIN(nxd_get_debye_length, "vvv*[1]") PLAIN(
                              nxd_set_weights, "vve") PLAIN(nxd_set_distance_rule, "ie") PLAIN(nxd_set_walls, "vve")
                              PLAIN(nxd_set_leash, "vve") PLAIN(nxd_set_threads, "ie") PLAIN(nxd_energy, "*[b]ne")
                                  PLAIN(nxd_energy_gradient, "*[c]*[c]ne") PLAIN(nxd_add_energy_gradient, "*[c]*[c]ne")
                                      PLAIN(nxd_get_energy_at_pose, "*[7]*[1]*[1]*[6]e")
                                          PLAIN(nxd_get_closest_contact, "*[7]*[1]*[1]*[1]*[1]e")
          // pose.h
          PLAIN(nxd_set_base_pose, "*[7]e") PLAIN(nxd_get_base_pose, "*[7]e") PLAIN(nxd_get_pose_at, "*[6]*[7]e")
              PLAIN(nxd_get_pose_matrix, "*[7]*[9]*[3]") PLAIN(nxd_make_pose, "*[9]*[3]*[7]")
                  PLAIN(nxd_set_molecule_pose, "*[7]m") PLAIN(nxd_get_molecule_pose, "*[7]m")
                      PLAIN(nxd_get_ligand_coordinates, "*[7]*e") PLAIN(nxd_get_pose_rms, "*[7]*[7]*[1]e")
                          PLAIN(nxd_cluster_poses, "*[7c]*[c]nv*[c]*[c]e")
          // contributions.h
          PLAIN(nxd_get_atom_energies, "*[7]i**e") PLAIN(nxd_get_residue_energies, "*[7]i**e")
              PLAIN(nxd_get_residue_number, "ie") PLAIN(nxd_get_residues, "i*e") PLAIN(nxd_set_residues, "i*[c]ne")
          // refine.h
          {"nxd_refine_pose", "", call_refine_one},
          {"nxd_refine_poses", "", call_refine},
          PLAIN(nxd_get_ending_name, "i") PLAIN(nxd_set_refine_iterations, "ie") PLAIN(nxd_set_refine_tolerance, "ve")
              PLAIN(nxd_set_refine_step, "ve")
                  PLAIN(nxd_set_refine_push, "ie"){"nxd_set_iteration_callback", "", call_set_iteration_callback},
          {"nxd_set_poses_callback", "", call_set_poses_callback},
          {"nxd_set_interrupt_flag", "", call_set_interrupt_flag},
          // uff.h
          PLAIN(nxd_get_uff_parameters, "i*[1]*[1]")};
}

}  // namespace driver
