/* Two files to refined poses. Run as: docking OUT.sdf [TARGET LIGAND] */
#include <nxbriochem/nxbriochem.h>
#include <nxbriodock/nxbriodock.h>
#include <nxbriofiles/nxbriofiles.h>
#include <stdio.h>
#include <stdlib.h>

enum { POSES = 100, SHOWN = 3 };

static void need(int good, const char* what) {
  if (!good) {
    printf("%s failed\n", what);
    nx_print_new_errors();
    exit(1);
  }
}

/* From -size to size; the same numbers in each run. */
static double random_number(double size) {
  static unsigned state = 1;
  state = state * 1664525U + 1013904223U;
  return size * (state / 2147483648.0 - 1.0);
}

static double poses[NXD_POSE * POSES];
static nxd_refinement results[POSES];

int main(int argc, char** argv) {
  const char* out = argc > 1 ? argv[1] : "docked.sdf";
  const char* target_file = argc > 3 ? argv[2] : "/usr/share/apbs/examples/hca-bind/hca.pqr";
  const char* ligand_file = argc > 3 ? argv[3] : "/usr/share/apbs/examples/hca-bind/acet.pqr";
  int target = nxf_read_molecule(target_file, NULL);
  need(target, "reading the target");
  int ligand = nxf_read_molecule(ligand_file, NULL);
  need(ligand, "reading the ligand");

  int energy = nxd_make_energy();
  need(nxd_set_target(target, energy), "the target");
  need(nxd_set_ligand(ligand, energy), "the ligand");
  need(nxd_set_distance_dielectric(4.0, energy), "the dielectric");
  need(nxd_set_threads(0, energy), "as many threads as processors");

  /* Starts: the ligand as it stands, moved and turned by some angstrom. */
  for (int i = 0; i < POSES; ++i) {
    double x[NXD_VARIABLES] = {0};
    for (int k = 0; i > 0 && k < NXD_VARIABLES; ++k) {
      x[k] = random_number(3.0);
    }
    need(nxd_get_pose_at(x, poses + NXD_POSE * i, energy), "a pose");
  }
  need(nxd_refine_poses(poses, results, POSES, energy) == POSES, "refinement");

  /* The lowest of each cluster. */
  static double energies[POSES];
  static int clusters[POSES];
  static int leaders[POSES];
  for (int i = 0; i < POSES; ++i) {
    energies[i] = results[i].coulomb + results[i].twelve_six;
  }
  int found = nxd_cluster_poses(poses, energies, POSES, 1.0, clusters, leaders, energy);
  need(found >= SHOWN, "clusters");
  int docked = nx_make_list();
  int copies[SHOWN];
  for (int i = 0; i < SHOWN; ++i) {
    const double* pose = poses + NXD_POSE * leaders[i];
    const nxd_refinement* result = &results[leaders[i]];
    const double as_set[NXD_POSE] = {1};
    double rms = 0;
    need(nxd_get_pose_rms(as_set, pose, &rms, energy), "a distance");
    printf("%d. %9.3f kcal/mol, %5.2f A from the start, %s\n", i + 1, energies[leaders[i]], rms,
           nxd_get_ending_name(result->ended));

    copies[i] = nx_copy_molecule(ligand);
    need(nxd_set_molecule_pose(pose, copies[i]) && nx_transform_molecule(copies[i]), "moving the ligand");
    need(nx_make_bonds_by_distance(copies[i]) && nx_add_to_list(copies[i], docked), "a docked ligand");
  }
  need(nxf_write_list_of_molecules(out, "sdf", docked), "writing");

  /* The residues of the target that hold the best pose most. */
  static double coulomb[100000];
  static double twelve_six[100000];
  static int residues[100000];
  const double* best = poses + NXD_POSE * leaders[0];
  int n = nxd_get_residue_number(NXD_TARGET, energy);
  need(n > 0 && nxd_get_target_atom_number(energy) < 100000, "the residues");
  need(nxd_get_residues(NXD_TARGET, residues, energy), "the residues");
  need(nxd_get_residue_energies(best, NXD_TARGET, coulomb, twelve_six, energy), "their energies");
  for (int shown = 0; shown < SHOWN; ++shown) {
    int lowest = 0;
    for (int r = 1; r < n; ++r) {
      lowest = coulomb[r] + twelve_six[r] < coulomb[lowest] + twelve_six[lowest] ? r : lowest;
    }
    int atom = 0;
    while (residues[atom] != lowest) {
      ++atom;
    }
    char name[8] = "";
    int number = 0;
    nx_get_molecule_residue_names_element(name, atom, sizeof name, target);
    nx_get_molecule_residue_number_element(&number, atom, target);
    printf("%s %d: Coulomb %.2f, 12-6 %.2f kcal/mol\n", name, number, coulomb[lowest], twelve_six[lowest]);
    coulomb[lowest] = twelve_six[lowest] = 0;
  }

  /* Any minimiser may have the energy, as a callback; here on a leash, for it knows no largest step. */
  double x[NXD_VARIABLES] = {0};
  double value = 0;
  int opt = nx_init_opt(NXD_VARIABLES, NULL);
  need(nxd_set_leash(1.0, 100.0, energy), "the leash");
  need(nx_set_opt_gradient_with_handle(nxd_energy_gradient, energy, opt), "the callback");
  need(nx_set_opt_gradient_convergence(opt, 1e-6), "a threshold");
  int converged = nx_minimize(x, &value, opt);
  printf("nx_minimize: %s, %.3f kcal/mol\n", converged ? "converged" : "not converged", value);

  for (int i = 0; i < SHOWN; ++i) {
    nx_delete_molecule(copies[i]);
  }
  nx_delete_list(docked);
  nx_delete_molecule(ligand);
  nx_delete_molecule(target);
  nx_delete_opt(opt);
  nxd_delete_energy(energy);
  return 0;
}
