/* A first program: two water molecules. Turns the first one into its principal frame and the second one along with it,
   calculates the Coulombic energy between them before and after, and writes the first one as a PDB file. */
#include <nxbriochem/nxbriochem.h>
#include <stdio.h>

/* Names are packed: one after the other, each ended by a NUL. Coordinates are x, y, z of each atom in angstrom, charges
   are elementary ones. */
static int make_water(const float* coordinates) {
  const float charges[] = {-0.834F, 0.417F, 0.417F};
  int water = nx_make_molecule();
  nx_set_molecule_atom_number(3, water);
  nx_set_molecule_atom_names("O\0H1\0H2", water);
  nx_set_molecule_element("OHH", water);
  nx_set_molecule_coordinates(coordinates, water);
  nx_set_molecule_charges(charges, water);
  nx_assign_bondi_radii(water);
  return water;
}

static float energy(int first, int second) {
  float value = 0.0F;
  nx_calculate_coulombic_binding(first, second, &value, 1.0F);
  return value;
}

/* Failures are queued, not thrown. After each step: how many there are so far, and the new ones. */
static void look_back(const char* step) {
  printf("%s: errors %d\n", step, nx_number_of_errors());
  nx_print_new_errors();
}

int main(int argc, char** argv) {
  const char* path = argc > 1 ? argv[1] : "water.pdb";
  const float acceptor[] = {10.0F, 4.0F, 7.0F, 10.757F, 4.586F, 7.0F, 9.243F, 4.586F, 7.0F};
  const float donor[] = {10.0F, 1.2F, 7.4F, 10.0F, 2.14F, 7.22F, 10.0F, 0.84F, 6.52F};
  int first = make_water(acceptor);
  int second = make_water(donor);
  look_back("two molecules");

  printf("energy as given: %8.3f kT\n", (double)energy(first, second));
  look_back("binding");

  /* Orienting moves one molecule. What moved it is its transform, which takes the other one along. */
  float transform[7];
  nx_orient_by_moments_of_inertia_with_hydrogens(first);
  nx_get_molecule_transform(transform, first);
  nx_set_molecule_transform(transform, second);
  nx_transform_molecule(second);
  look_back("orientation");

  printf("energy turned:   %8.3f kT\n", (double)energy(first, second));
  look_back("binding");

  int written = nx_write_molecule(path, "pdb", first);
  look_back("writing");

  nx_delete_molecule(second);
  nx_delete_molecule(first);
  /* What is in tracked memory. Molecules are not: each has to be deleted, and no total tells of one that was not. */
  printf("memory held: %u bytes\n", (unsigned)nx_total_memory_allocated());
  return written == 1 && nx_number_of_errors() == 0 && nx_total_memory_allocated() == 0 ? 0 : 1;
}
