#include <string>
#include <vector>

#include <nxbriochem/nxbriochem.h>

#include "tests/faults/scenarios.h"
#include "tests/support/flat_molecule.h"

namespace faults {

std::string written_path;

namespace {

using test_support::FlatAtom;

int mol;
int other;
int list;

// Propionamide's heavy atoms and a hydrogen, with a three-ring behind: chains, rings, two residues.
std::vector<FlatAtom> atoms() {
  return {{"CA", "ALA", 0, 0, 0, 0.1F},       {"CB", "ALA", 1.53F, 0, 0, -0.1F},  {"C", "ALA", 2.1F, 1.4F, 0, 0.5F},
          {"O", "ALA", 1.4F, 2.4F, 0, -0.5F}, {"N", "NME", 3.4F, 1.5F, 0, -0.3F}, {"HN", "NME", 3.9F, 0.7F, 0, 0.3F},
          {"C1", "CPR", 4.1F, 2.8F, 0, 0},    {"C2", "CPR", 4.9F, 3.2F, 1.2F, 0}, {"C3", "CPR", 5.4F, 3.3F, -0.2F, 0}};
}

void set_elements(int molecule) {
  nx_set_molecule_element("CCCONHCCC", molecule);
  const float radii[] = {1.7F, 1.7F, 1.7F, 1.5F, 1.6F, 1.1F, 1.7F, 1.7F, 1.7F};
  nx_set_molecule_radii(radii, molecule);
}

void make_molecules() {
  mol = test_support::make_molecule(atoms());
  set_elements(mol);
  nx_make_bonds_by_distance(mol);
  other = nx_copy_molecule(mol);
  list = nx_make_list();
  nx_add_to_list(mol, list);
  nx_add_to_list(other, list);
}

// The molecule without tags: those of masks, transforms and file names are given out at their first use, which is then
// the call under test.
void make_bare_molecule() {
  mol = test_support::make_molecule(atoms());
  set_elements(mol);
}

void make_and_delete() {
  int molecules[110];
  for (int& each : molecules) {
    each = nx_make_molecule();
  }
  for (const int each : molecules) {
    nx_delete_molecule(each);
  }
}

void build() {
  const int built = nx_make_molecule();
  nx_set_molecule_atom_number(9, built);
  nx_set_molecule_atom_names("CA\0CB\0C\0O\0N\0HN\0C1\0C2\0C3\0", built);
  nx_set_molecule_residue_names("ALA\0ALA\0ALA\0ALA\0NME\0NME\0CPR\0CPR\0CPR\0", built);
  nx_set_molecule_name("a name that is too long to be kept within the text itself", built);
  nx_set_molecule_file_name("a/file/name/that/is/too/long/to/be/kept/within/the/text/itself", built);
  nx_get_molecule_file_name_length(built);
  nx_is_molecule_file_name_set(built);
  char text[100];
  nx_get_molecule_file_name(text, built);
  nx_set_molecule_bond_number(2, built);
  const int bonds[] = {0, 1, 1, 1, 2, 1};
  nx_set_molecule_bonds(bonds, built);
  nx_set_molecule_bonds_element(bonds + 3, 0, built);
  nx_set_molecule_chain_names("AAAABBBCC", built);
  nx_set_molecule_conformer_number(4, built);
  nx_set_molecule_conformer_number(1, built);
  nx_set_molecule_atom_number(3, built);
  nx_clear_molecule(built);
  nx_delete_molecule(built);
}

void residue_numbers() {
  const int numbered = nx_make_molecule();
  nx_set_molecule_atom_number(3, numbered);
  const int numbers[] = {1, 2, 3, 4, 5, 6};  // the index bound grows to 6
  nx_set_molecule_residue_number_element(7, 0, numbered);
  nx_set_molecule_residue_number(numbers, numbered);
  nx_set_molecule_atom_number(0, numbered);
  nx_set_molecule_atom_number(3, numbered);
  nx_set_molecule_sequence_number_element(7, 1, numbered);
  nx_set_molecule_sequence_number(numbers, numbered);
  nx_set_molecule_residue_names("AAA\0BBB\0CCCCCCCCCCCCCCCCCCCCCCCCCCCC\0", numbered);
  nx_set_molecule_atom_names("A\0B\0CCCCCCCCCCCCCCCCCCCCCCCCCCCC\0", numbered);
  nx_delete_molecule(numbered);
}

void masks() {
  int mask[] = {1, 0, 1, 1, 1, 1, 1, 0, 1};
  int entry = 0;
  nx_is_molecule_atom_mask_set(mol);
  nx_get_molecule_atom_mask(mask, mol);
  nx_get_molecule_atom_mask_element(&entry, 0, mol);
  nx_atoms_masked(mol);
  nxi_molecule_atom_mask(mol);
  nx_set_molecule_atom_mask_element(1, 0, mol);
  nx_set_molecule_atom_mask(mask, mol);
  nx_or_molecule_atom_mask(mask, mol);
  nx_and_molecule_atom_mask(mask, mol);
  nx_mask_molecule_hydrogens(mol);
  nx_delete_molecule(nx_make_molecule_from_mask(mol));
  nx_not_molecule_atom_mask(mask, mol);
  const int all[] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
  nx_set_molecule_atom_mask(all, mol);
}

void transforms() {
  const float turn[] = {1, 1, 0, 0, 1, 2, 3};
  float rotation[9];
  float translation[3];
  float read[7];
  nx_is_molecule_transform_set(mol);
  nx_get_molecule_transform(read, mol);
  nx_set_molecule_transform(turn, mol);
  nx_get_molecule_transform_matrix(rotation, translation, mol);
  nx_set_molecule_transform_matrix(rotation, translation, mol);
  nx_transform_molecule(mol);
  nx_untransform_molecule(mol);
}

void copies_of_arrays() {
  nxi_molecule_coordinates(mol);
  nxi_molecule_radii(mol);
  nxi_molecule_charges(mol);
  nxi_molecule_atom_type(mol);
  nxi_molecule_atom_names(mol);
  nxi_molecule_residue_names(mol);
}

void perception() {
  nx_make_bonds_by_distance(mol);
  nx_is_atom_in_ring(7, mol);
  nx_is_bond_in_ring(7, mol);
  nx_is_bond_a_rotor(1, mol);
  nx_delete_molecule(nx_copy_molecule(mol));
}

void elements_and_charges() {
  nx_assign_radii_by_element(mol);
  nx_charge_protein(mol);
}

void frames() {
  float moments[3];
  float rotation[9];
  nx_moments_of_inertia(mol, moments);
  nx_moments_of_inertia_mass_weighted(mol, moments);
  nx_moments_of_inertia_with_hydrogens(mol, moments);
  nx_moments_of_inertia_with_hydrogens_mass_weighted(mol, moments);
  nx_inertial_matrix(mol, rotation);
  nx_inertial_matrix_with_hydrogens(mol, rotation);
  nx_perceive_top_symmetry(mol, 0.1F);
  nx_perceive_top_symmetry_mass_weighted(mol, 0.1F);
  nx_orient_by_moments_of_inertia(mol);
  nx_orient_by_moments_of_inertia_mass_weighted(mol);
  nx_orient_by_moments_of_inertia_with_hydrogens(mol);
  nx_orient_by_moments_of_inertia_with_hydrogens_mass_weighted(mol);
  nx_orient_m_i_base(mol, 0, moments);
  nx_orient_m_i_base2(mol, 0);
}

void superposition() {
  float rms = 0;
  float matrix[16];
  nx_get_rms(mol, other, &rms);
  nx_get_rms_using_hydrogens(mol, other, &rms);
  nx_superimpose_second_onto_first(mol, other, &rms);
  nx_superimpose_second_onto_first_with_hydrogens(mol, other, &rms);
  nx_get_superimpose_matrix(mol, other, matrix);
  nx_get_superimpose_matrix_using_hydrogens(mol, other, matrix);
  nx_rms_base(mol, other, 0, matrix);
}

void binding() {
  float energy = 0;
  nx_calculate_coulombic_binding(mol, other, &energy, 4);
}

template <int format>
void write() {
  const char* const words[] = {"pdb", "delphi_pdb", "pqr", "xyz", "sdf", "mol2"};
  nx_write_molecule(written_path.c_str(), words[format], mol);
  nx_write_list_of_molecules(written_path.c_str(), words[format], list);
}

void write_records() {
  const float points[] = {1, 2, 3, 4, 5, 6};
  nx_write_points_as_pdb(written_path.c_str(), points, 2);
  PdbStruct records[2] = {};
  records[1].coordinates[0] = 2;
  const int bond[] = {0, 1, 1};
  nxi_write_pdb(written_path.c_str(), 0, records, 2, bond, 1, nullptr, nullptr);
}

void list_files() {
  int made = 0;
  nx_get_list_of_molecules_from_list_file("/nowhere/list", "pdb", "alist", &made);
  nx_add_molecules_to_list_from_list_file("/nowhere/list", "alist", list);
  nx_add_molecules_to_list_from_list_file("/nowhere/list", "alist", 123456);
  nx_add_delphi_molecules_to_list_from_list_file("/nowhere/list", "alist", list);
  nx_add_mol2_molecules_to_list_from_list_file("/nowhere/list", "alist", list);
  nx_get_list_of_molecules_from_file("/nowhere/file", "mol2", &made);
  nx_get_list_of_molecules_from_binary_file("/nowhere/file", "binary_pdb", &made);
  nx_write_list_of_molecules_to_binary_file("/nowhere/file", "binary_pdb", list);
}

}  // namespace

std::vector<Scenario> molecule_scenarios() {
  return {
      {"make_and_delete", kMolecule, nullptr, make_and_delete},
      {"build", kMolecule | kReturned, nullptr, build},
      {"residue_numbers", kMolecule | kReturned, nullptr, residue_numbers},
      {"masks", kMolecule, make_bare_molecule, masks},
      {"transforms", kMolecule, make_bare_molecule, transforms},
      {"copies_of_arrays", kMolecule, make_bare_molecule, copies_of_arrays},
      {"perception", kMolecule, make_bare_molecule, perception},
      {"elements_and_charges", kReturned, make_bare_molecule, elements_and_charges},
      {"frames", kReturned | kMolecule, make_molecules, frames},
      {"superposition", kReturned, make_molecules, superposition},
      {"binding", kBlock, make_molecules, binding},
      {"write_pdb", kBlock | kMolecule, make_molecules, write<0>},
      {"write_delphi_pdb", kBlock | kMolecule, make_molecules, write<1>},
      {"write_pqr", kBlock | kMolecule, make_molecules, write<2>},
      {"write_xyz", kBlock | kMolecule, make_molecules, write<3>},
      {"write_sdf", kBlock | kMolecule, make_molecules, write<4>},
      {"write_mol2", kBlock | kMolecule, make_molecules, write<5>},
      {"write_records", kMolecule | kReturned, nullptr, write_records},
      {"list_files", kMolecule, make_molecules, list_files},
  };
}

}  // namespace faults
