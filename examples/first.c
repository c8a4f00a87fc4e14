/* A first program: a water molecule and a sodium ion, and the Coulombic energy between them. */
#include <nxbriochem/nxbriochem.h>
#include <stdio.h>

int main(void) {
  /* Names are packed: one after the other, each ended by a NUL. Coordinates are x, y, z of each atom in angstrom. */
  const char names[] = "O\0H1\0H2";
  const float coordinates[] = {0.0F, 0.0F, 0.0F, 0.9572F, 0.0F, 0.0F, -0.2400F, 0.9266F, 0.0F};
  const float charges[] = {-0.834F, 0.417F, 0.417F};
  const float ion_place[] = {-1.4F, -1.8F, 0.0F};
  const float dielectrics[] = {1.0F, 80.0F};

  int water = nx_make_molecule();
  nx_set_molecule_atom_number(3, water);
  nx_set_molecule_atom_names(names, water);
  nx_set_molecule_element("OHH", water);
  nx_set_molecule_coordinates(coordinates, water);
  nx_set_molecule_charges(charges, water);
  nx_assign_bondi_radii(water);

  int ion = nx_make_molecule();
  nx_set_molecule_atom_number(1, ion);
  nx_set_molecule_coordinates(ion_place, ion);
  nx_set_molecule_charges_element(1.0F, 0, ion);

  for (int i = 0; i < 2; ++i) {
    float energy = 0.0F;
    nx_calculate_coulombic_binding(water, ion, &energy, dielectrics[i]);
    printf("dielectric %2.0f: %9.4f kT\n", (double)dielectrics[i], (double)energy);
  }

  nx_delete_molecule(ion);
  nx_delete_molecule(water);

  /* Failures are queued, not thrown; the library knows what memory it holds. */
  nx_print_new_errors();
  printf("errors: %d, memory held: %u bytes\n", nx_number_of_errors(), (unsigned)nx_total_memory_allocated());
  return nx_number_of_errors() == 0 && nx_total_memory_allocated() == 0 ? 0 : 1;
}
