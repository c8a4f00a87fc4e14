#include <string>
#include <utility>
#include <vector>

#include <nxbriochem/nxbriochem.h>

#include "tests/faults/scenarios.h"
#include "tests/support/flat_molecule.h"

namespace faults {

std::string written_path;

namespace {

int mol;
int other;
int list;
int number;
float out[16];
int ints[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
char text[100];

constexpr const char* kLongText = "a text that is too long to be kept within the string itself";
constexpr const char* kLongNames = "A\0B\0C\0D\0E\0F\0G\0H\0CCCCCCCCCCCCCCCCCCCCCCCCCCCCCCCC\0";
constexpr float kTurn[] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
constexpr int kBonds[] = {0, 1, 1, 1, 2, 1};
// Orders that are not those of chemistry are kept elsewhere.
constexpr int kOddBonds[] = {0, 1, 1000, 1, 2, 1000};
constexpr PdbStruct kRecords[2] = {};

// Propionamide's heavy atoms and a hydrogen, with a three-ring behind: chains, rings, two residues. Without tags: those
// of masks, transforms and file names are given out at their first use, which is then the call under test.
void bare() {
  mol = test_support::make_molecule({{"CA", "ALA", 0, 0, 0, 0.1F},
                                     {"CB", "ALA", 1.53F, 0, 0, -0.1F},
                                     {"C", "ALA", 2.1F, 1.4F, 0, 0.5F},
                                     {"O", "ALA", 1.4F, 2.4F, 0, -0.5F},
                                     {"N", "NME", 3.4F, 1.5F, 0, -0.3F},
                                     {"HN", "NME", 3.9F, 0.7F, 0, 0.3F},
                                     {"C1", "CPR", 4.1F, 2.8F, 0, 0},
                                     {"C2", "CPR", 4.9F, 3.2F, 1.2F, 0},
                                     {"C3", "CPR", 5.4F, 3.3F, -0.2F, 0}});
  nx_set_molecule_element("CCCONHCCC", mol);
  const float radii[] = {1.7F, 1.7F, 1.7F, 1.5F, 1.6F, 1.1F, 1.7F, 1.7F, 1.7F};
  nx_set_molecule_radii(radii, mol);
}

void bonded() {
  bare();
  nx_make_bonds_by_distance(mol);
  other = nx_copy_molecule(mol);
  list = nx_make_list();
  nx_add_to_list(mol, list);
  nx_add_to_list(other, list);
}

// Atoms were deleted, so that the points of those that are left are copied before they are superposed.
void thinned() {
  bonded();
  for (const int each : {mol, other}) {
    nx_set_molecule_atom_number(nx_get_molecule_atom_number(each) - 1, each);
  }
}

void turned() {
  bare();
  nx_set_molecule_transform(kTurn, mol);
}

// Rings are perceived anew once a bond was changed.
void unperceived() {
  bonded();
  nx_set_molecule_bonds_element(kBonds, 0, mol);
}

void unnamed() {
  mol = nx_make_molecule();
  nx_set_molecule_atom_number(9, mol);
}

void unwired() {
  unnamed();
  nx_set_molecule_bond_number(2, mol);
}

// A name within a string itself is not allocated; a residue record that changes is copied, its name too.
void long_names() {
  bare();
  std::string names;
  for (int i = 0; i < 9; ++i) {
    names += kLongText + std::string(1, '\0');
  }
  nx_set_molecule_residue_names(names.c_str(), mol);
  nx_set_molecule_atom_names(names.c_str(), mol);
  nx_set_molecule_name(kLongText, mol);
}

}  // namespace

std::vector<Scenario> molecule_scenarios() {
  return {
      // Molecules.
      CALL(nx_make_molecule, kFatal, nullptr, ()),
      CALL(nx_copy_molecule, kFatal, bonded, (mol)),
      CALL(nx_make_molecule_from_mask, kFatal, bonded, (mol)),
      CALL(nx_set_molecule_name, kFatal, bare, (kLongText, mol)),
      CALL(nx_set_molecule_file_name, kFatal, bare, (kLongText, mol)),
      CALL(nx_get_molecule_file_name, kFatal, bare, (text, mol)),
      CALL(nx_get_molecule_file_name_length, kFatal, bare, (mol)),
      CALL(nx_is_molecule_file_name_set, kFatal, bare, (mol)),
      CALL(nx_set_molecule_atom_number, kFatal | kFails, bare, (20, mol)),
      CALL(nx_set_molecule_bond_number, kFatal | kFails, bare, (20, mol)),
      CALL(nx_set_molecule_conformer_number, kFatal | kFails, bare, (4, mol)),
      CALL(nx_set_molecule_atom_names, kFatal, bare, (kLongNames, mol)),
      CALL(nx_set_molecule_residue_names, kFatal, bare, (kLongNames, mol)),
      CALL(nx_set_molecule_chain_names, kFatal, long_names, ("AAAABBBCC", mol)),
      CALL(nx_set_molecule_residue_number, kFatal, long_names, (ints, mol)),
      CALL(nx_set_molecule_residue_number_element, kFatal, long_names, (7, 0, mol)),
      CALL(nx_set_molecule_sequence_number, kFatal, long_names, (ints, mol)),
      CALL(nx_set_molecule_sequence_number_element, kFatal, long_names, (7, 1, mol)),
      CALL(nx_set_molecule_bonds, kFatal, unwired, (kOddBonds, mol)),
      CALL(nx_set_molecule_bonds_element, kFatal, unwired, (kOddBonds, 0, mol)),
      CALL(nx_make_bonds_by_distance, kFatal, bare, (mol)),
      CALL(nx_is_atom_in_ring, kFatal, unperceived, (1, mol)),
      CALL(nx_is_bond_in_ring, kFatal, unperceived, (1, mol)),
      CALL(nx_is_bond_a_rotor, kFatal, unperceived, (1, mol)),
      CALL(nx_is_molecule_atom_mask_set, kFatal, bare, (mol)),
      CALL(nx_atoms_masked, kFatal, bare, (mol)),
      CALL(nxi_molecule_atom_mask, kFatal, bare, (mol)),
      CALL(nx_mask_molecule_hydrogens, kFatal, bare, (mol)),
      CALL(nx_is_molecule_transform_set, kFatal, bare, (mol)),
      CALL(nxi_molecule_coordinates, kFatal, bare, (mol)),
      CALL(nxi_molecule_radii, kFatal, bare, (mol)),
      CALL(nxi_molecule_charges, kFatal, bare, (mol)),
      CALL(nxi_molecule_atom_type, kFatal, bare, (mol)),
      CALL(nxi_molecule_atom_names, kFatal, bare, (mol)),
      CALL(nxi_molecule_residue_names, kFatal, bare, (mol)),
      CALL(nx_assign_radii_by_element, kFails, bare, (mol)),
      CALL(nx_transform_molecule, kFatal, turned, (mol)),
      CALL(nx_untransform_molecule, kFatal, turned, (mol)),
      CALL(nx_get_molecule_atom_mask, kFatal, bare, (ints, mol)),
      CALL(nx_get_molecule_atom_mask_element, kFatal, bare, (&number, 0, mol)),
      CALL(nx_set_molecule_atom_mask, kFatal, bare, (ints, mol)),
      CALL(nx_set_molecule_atom_mask_element, kFatal, bare, (1, 0, mol)),
      CALL(nx_not_molecule_atom_mask, kFatal, bare, (ints, mol)),
      CALL(nx_or_molecule_atom_mask, kFatal, bare, (ints, mol)),
      CALL(nx_and_molecule_atom_mask, kFatal, bare, (ints, mol)),
      CALL(nx_get_molecule_transform, kFatal, bare, (out, mol)),
      CALL(nx_get_molecule_transform_matrix, kFatal, bare, (out, out + 9, mol)),
      CALL(nx_set_molecule_transform, kFatal, bare, (kTurn, mol)),
      CALL(nx_set_molecule_transform_matrix, kFatal, bare, (kTurn, kTurn, mol)),
      CALL_AS("many molecules", kFatal, nullptr, times<110>([] { nx_make_molecule(); })),
      CALL_AS("one conformer again", kFatal | kFails, bare,
              nx_set_molecule_conformer_number(4, mol) != 0 && nx_set_molecule_conformer_number(1, mol) != 0),
      // Frames and superposition.
      CALL(nx_moments_of_inertia, kWithout, bare, (mol, out)),
      CALL(nx_orient_by_moments_of_inertia, kFatal | kFails, bare, (mol)),
      CALL(nx_moments_of_inertia_with_hydrogens, kWithout, bare, (mol, out)),
      CALL(nx_orient_by_moments_of_inertia_with_hydrogens, kFatal | kFails, bare, (mol)),
      CALL(nx_moments_of_inertia_mass_weighted, kWithout, bare, (mol, out)),
      CALL(nx_orient_by_moments_of_inertia_mass_weighted, kFatal | kFails, bare, (mol)),
      CALL(nx_moments_of_inertia_with_hydrogens_mass_weighted, kWithout, bare, (mol, out)),
      CALL(nx_orient_by_moments_of_inertia_with_hydrogens_mass_weighted, kFatal | kFails, bare, (mol)),
      CALL(nx_inertial_matrix, kFails, bare, (mol, out)),
      CALL(nx_inertial_matrix_with_hydrogens, kFails, bare, (mol, out)),
      CALL(nx_perceive_top_symmetry, kFails, bare, (mol, 0.1F)),
      CALL(nx_perceive_top_symmetry_mass_weighted, kFails, bare, (mol, 0.1F)),
      CALL(nx_orient_m_i_base, kFatal | kFails, bare, (mol, 0, out)),
      CALL(nx_orient_m_i_base2, kFails, bare, (mol, 0)),
      CALL(nx_get_rms, kFails, thinned, (mol, other, out)),
      CALL(nx_superimpose_second_onto_first, kFails, thinned, (mol, other, out)),
      CALL(nx_get_rms_using_hydrogens, kFails, thinned, (mol, other, out)),
      CALL(nx_superimpose_second_onto_first_with_hydrogens, kFails, thinned, (mol, other, out)),
      CALL(nx_get_superimpose_matrix, kFails, thinned, (mol, other, out)),
      CALL(nx_get_superimpose_matrix_using_hydrogens, kFails, thinned, (mol, other, out)),
      CALL(nx_rms_base, kFails, thinned, (mol, other, 0, out)),
      CALL(nx_calculate_coulombic_binding, kBlock, bonded, (mol, other, out, 4)),
      // Files of molecules.
      CALL_AS("pdb of a molecule", kFatal, bonded, nx_write_molecule(written_path.c_str(), "pdb", mol)),
      CALL(nx_write_molecule, kFatal, bonded, (written_path.c_str(), "mol2", mol)),
      CALL(nx_write_list_of_molecules, kBlock | kFatal, bonded, (written_path.c_str(), "pdb", list)),
      CALL(nx_write_points_as_pdb, kFatal, nullptr, (written_path.c_str(), kTurn, 2)),
      CALL(nxi_write_pdb, kFatal, nullptr, (written_path.c_str(), 0, kRecords, 2, kBonds, 1, nullptr, nullptr)),
      CALL(nx_write_list_of_molecules_to_binary_file, kFatal, nullptr, ("/nowhere/file", "binary_pdb", 5)),
      CALL_AS("delphi_pdb of a molecule", kFatal, bonded, nx_write_molecule(written_path.c_str(), "delphi_pdb", mol)),
      CALL_AS("delphi_pdb of a list", kBlock | kFatal, bonded,
              nx_write_list_of_molecules(written_path.c_str(), "delphi_pdb", list)),
      CALL_AS("pqr of a molecule", kFatal, bonded, nx_write_molecule(written_path.c_str(), "pqr", mol)),
      CALL_AS("pqr of a list", kBlock | kFatal, bonded, nx_write_list_of_molecules(written_path.c_str(), "pqr", list)),
      CALL_AS("xyz of a molecule", kFatal, bonded, nx_write_molecule(written_path.c_str(), "xyz", mol)),
      CALL_AS("xyz of a list", kBlock | kFatal, bonded, nx_write_list_of_molecules(written_path.c_str(), "xyz", list)),
      CALL_AS("sdf of a molecule", kFatal, bonded, nx_write_molecule(written_path.c_str(), "sdf", mol)),
      CALL_AS("sdf of a list", kBlock | kFatal, bonded, nx_write_list_of_molecules(written_path.c_str(), "sdf", list)),
  };
}

}  // namespace faults
