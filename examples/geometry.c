/* Radii, charges and energies of molecules, and small problems of linear algebra. docs/geometry.md shows what this
   prints. */
#include <nxbriochem/nxbriochem.h>
#include <stdio.h>

static int make_ion(const char* name, const char* residue, float charge, float x) {
  const float place[3] = {x, 0.0F, 0.0F};
  int ion = nx_make_molecule();
  nx_set_molecule_atom_number(1, ion);
  nx_set_molecule_atom_names(name, ion);
  nx_set_molecule_residue_names(residue, ion);
  nx_set_molecule_coordinates(place, ion);
  nx_set_molecule_charges(&charge, ion);
  return ion;
}

static void energies(void) {
  int sodium = make_ion("NA", "NA", 1.0F, 0.0F);
  int chloride = make_ion("CL", "CL", -1.0F, 2.5F);
  float radii[2] = {0.0F, 0.0F};
  float in_vacuum = 0.0F, in_water = 0.0F;
  nx_assign_bondi_radii(sodium);
  nx_assign_bondi_radii(chloride);
  nx_get_molecule_radii(&radii[0], sodium);
  nx_get_molecule_radii(&radii[1], chloride);
  printf("radii: %.2f %.2f A\n", (double)radii[0], (double)radii[1]);
  /* The result is 0 in every case; the energy is what is written. */
  int result = nx_calculate_coulombic_binding(sodium, chloride, &in_vacuum, 1.0F);
  nx_calculate_coulombic_binding(sodium, chloride, &in_water, 78.54F);
  printf("energy: %.3f kT in vacuum, %.3f kT in water, result %d\n", (double)in_vacuum, (double)in_water, result);
  nx_delete_molecule(sodium);
  nx_delete_molecule(chloride);
}

static void multipoles(void) {
  const float places[9] = {0, 0, 0, 0.757F, 0.586F, 0, -0.757F, 0.586F, 0};
  const float charges[3] = {-0.834F, 0.417F, 0.417F};
  float centre[3], dipole[3];
  float monopole = 0.0F;
  int uncharged = 0;
  nx_calculate_monopole_and_dipole(places, charges, 3, centre, &monopole, dipole, &uncharged);
  /* The vector runs from the negative to the positive centre; times the charge that cancels, it is the moment. */
  printf("water: charge %.3f, dipole %.3f e A, %.2f debye\n", (double)monopole, 0.834 * (double)dipole[1],
         4.80320 * 0.834 * (double)dipole[1]);
}

static void axes(void) {
  /* Eigenvectors are the rows of the rotation; eigenvalues descend. */
  const float matrix[9] = {2, 1, 0, 1, 2, 0, 0, 0, 5};
  float rotation[9];
  double values[3];
  int status = nx_make_rmat_alt(matrix, rotation, values);
  printf("eigenvalues %.3f %.3f %.3f, status %d\n", values[0], values[1], values[2], status);
  for (int i = 0; i < 3; ++i) {
    printf("  %7.4f %7.4f %7.4f\n", (double)rotation[3 * i], (double)rotation[3 * i + 1], (double)rotation[3 * i + 2]);
  }

  /* The general solver takes row pointers, and its eigenvectors are columns. */
  double a[3][3] = {{2, 1, 0}, {1, 2, 0}, {0, 0, 5}};
  double v[3][3];
  double* rows[3] = {a[0], a[1], a[2]};
  double* vectors[3] = {v[0], v[1], v[2]};
  eigen_solve_double_precision(rows, 3, values, vectors);
  printf("Jacobi: %.3f %.3f %.3f\n", values[0], values[1], values[2]);
}

static void equations(void) {
  const float matrix[4] = {4, 1, 1, 3};
  const float right[2] = {1, 2};
  float x[2];
  nx_solve_bilinear_equation_f(matrix, right, x, 2);
  printf("x = %.4f %.4f\n", (double)x[0], (double)x[1]);

  int real = nx_SolveQuadratic(1, -3, 2);
  printf("x^2 - 3 x + 2: %d roots, %.1f %.1f\n", real, Roots[0], Roots[1]);
  double own[3];
  real = nx_SolveCubicRoots(1, -6, 11, -6, own);
  printf("x^3 - 6 x^2 + 11 x - 6: %d roots, %.1f %.1f %.1f\n", real, own[0], own[1], own[2]);
  real = nx_SolveCubicRoots(1, 0, 1, -10, own);
  printf("x^3 + x - 10, whose root is 2: result %d, first slot %.4f\n", real, own[0]);
}

int main(void) {
  energies();
  multipoles();
  axes();
  equations();
  return nx_number_of_errors();
}
