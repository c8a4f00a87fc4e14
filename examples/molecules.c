/* Building a molecule array by array, and what becomes of indices: bonds, masks, conformers, copies. docs/molecules.md
   shows what this prints. */
#include <nxbriochem/nxbriochem.h>
#include <stdio.h>

enum { kAtoms = 9 };

/* Ethanol. Atom number first: it makes the room that the arrays fill. */
static int make_ethanol(void) {
  const float places[3 * kAtoms] = {0.000F,  0.000F,  0.000F, 1.512F,  0.000F,  0.000F,  1.985F,  1.334F, 0.000F,
                                    -0.380F, -1.028F, 0.000F, -0.380F, 0.514F,  0.890F,  -0.380F, 0.514F, -0.890F,
                                    1.892F,  -0.514F, 0.890F, 1.892F,  -0.514F, -0.890F, 2.945F,  1.310F, 0.000F};
  int mol = nx_make_molecule();
  nx_set_molecule_name("ethanol", mol);
  nx_set_molecule_atom_number(kAtoms, mol);
  nx_set_molecule_element("CCOHHHHHH", mol);
  nx_set_molecule_atom_names("C1\0C2\0O\0H11\0H12\0H13\0H21\0H22\0HO", mol);
  nx_set_molecule_coordinates(places, mol);
  nx_assign_bondi_radii(mol);
  nx_make_bonds_by_distance(mol);
  return mol;
}

static void list_atoms(int mol) {
  char name[8];
  float radius = 0.0F;
  /* The index bound, not the atom count: some of these may be gone. */
  for (int i = 0; i < nx_get_molecule_radii_length(mol); ++i) {
    if (nx_get_molecule_radii_element(&radius, i, mol)) {
      nx_get_molecule_atom_names_element(name, i, (int)sizeof name, mol);
      printf(" %d:%s %.2f", i, name, (double)radius);
    }
  }
  printf("\n");
}

static void masks(int mol) {
  nx_mask_molecule_hydrogens(mol);
  int carbon_oxygen = nx_make_molecule_from_mask(mol);
  printf("heavy atoms: %d of %d, bonds %d of %d\n", nx_atoms_masked(mol), nx_get_molecule_atom_number(mol),
         nx_get_molecule_bond_number(carbon_oxygen), nx_get_molecule_bond_number(mol));
  nx_delete_molecule(carbon_oxygen);

  /* "Not" means "and not": where the argument is not 0, the entry becomes 0. */
  const int first[kAtoms] = {1, 0, 0, 0, 0, 0, 0, 0, 0};
  nx_not_molecule_atom_mask(first, mol);
  int entry = 0;
  nx_get_molecule_atom_mask_element(&entry, 1, mol);
  printf("without the first: %d, and an entry is %d\n", nx_atoms_masked(mol), entry);
}

static void conformers(int mol) {
  nx_set_molecule_conformer_number(2, mol);
  nx_set_molecule_conformer(1, mol);
  /* A translation by 5 along x; the quaternion 1 0 0 0 turns nothing. It moves every conformer. */
  const float transform[7] = {1, 0, 0, 0, 5, 0, 0};
  float x[2];
  nx_set_molecule_coordinates_element(9.0F, 0, mol);
  nx_set_molecule_transform(transform, mol);
  nx_transform_molecule(mol);
  for (int i = 0; i < 2; ++i) {
    nx_set_molecule_conformer(i, mol);
    nx_get_molecule_coordinates_element(&x[i], 0, mol);
  }
  printf("x of the first atom in both conformers: %.1f %.1f\n", (double)x[0], (double)x[1]);
}

int main(void) {
  int mol = make_ethanol();
  int bond[3];
  printf("ethanol:");
  list_atoms(mol);
  nx_get_molecule_bonds_element(bond, 0, mol);
  printf("bond 0: atoms %d and %d, order %d; a rotor: %d\n", bond[0], bond[1], bond[2], nx_is_bond_a_rotor(0, mol));

  masks(mol);
  conformers(mol);

  /* Fewer atoms: the first ones go, and those that are left keep their indices. */
  int copy = nx_copy_molecule(mol);
  nx_set_molecule_atom_number(2, copy);
  printf("cut to 2:");
  list_atoms(copy);
  printf("atoms %d, index bound %d\n", nx_get_molecule_atom_number(copy), nx_get_molecule_radii_length(copy));
  nx_set_molecule_atom_number(3, copy);
  printf("one more:");
  list_atoms(copy);

  nx_delete_molecule(copy);
  nx_delete_molecule(mol);
  return nx_number_of_errors();
}
