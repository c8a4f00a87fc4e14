#include <nxbriochem/molecules/briochem.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include <nxbriochem/molecules/memmgr.h>

#include "tests/support/warned.h"

namespace {

using namespace std::string_literals;
using test_support::warned;

int make_molecule(int atoms) {
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(atoms, mol);
  return mol;
}

std::string name_of(int atom, int mol) {
  char name[64] = "";
  EXPECT_EQ(nx_get_molecule_atom_names_element(name, atom, 63, mol), 1);
  return name;
}

// What a function writes into the buffer that is its first argument. Checks its result.
template <class Function, class... Arguments>
std::string written(int result, Function function, Arguments... arguments) {
  std::string buffer(24, '#');
  EXPECT_EQ(function(buffer.data(), arguments...), result);
  return buffer.substr(0, buffer.find_last_not_of('#') + 1);
}

template <class T>
std::vector<T> all_of(int (*get)(T*, int), std::size_t n, int mol) {
  std::vector<T> values(n);
  EXPECT_EQ(get(values.data(), mol), 1);
  return values;
}

// A molecule of four atoms named A to D of which the first two were deleted: C and D remain, at 2 and 3.
int make_molecule_with_holes() {
  const int mol = make_molecule(4);
  nx_set_molecule_atom_names("A\0B\0C\0D", mol);
  const float coordinates[] = {1, 1, 1, 2, 2, 2, 3, 4, 5, 6, 7, 8};
  nx_set_molecule_coordinates(coordinates, mol);
  nx_set_molecule_atom_number(2, mol);
  return mol;
}

// ---- The members that every array of one value per atom has ----

template <class T>
struct Family {
  const char* name;
  int (*set)(const T*, int);
  int (*get)(T*, int);
  int (*is_set)(int);
  int (*length)(int);
  int (*length_string)(char*, int);
  int (*get_one)(T*, int, int);
  int (*set_one)(T, int, int);
  std::vector<T> values;  // for three atoms; the first means that nothing is set
};

template <class T>
void check_family(const Family<T>& f) {
  SCOPED_TRACE(f.name);
  const int mol = make_molecule(3);
  EXPECT_EQ(f.is_set(mol), 0);
  EXPECT_EQ(written(0, f.length_string, mol), "");
  EXPECT_EQ(f.length(mol), 3);

  EXPECT_EQ(f.set(f.values.data(), mol), 1);
  EXPECT_EQ(f.is_set(mol), 1);
  EXPECT_EQ(written(1, f.length_string, mol), "atom_number\0"s);
  EXPECT_EQ(f.length_string(nullptr, mol), 0);
  EXPECT_EQ(all_of(f.get, 3, mol), f.values);

  EXPECT_EQ(f.set_one(f.values[2], 0, mol), 1);
  T one{};
  EXPECT_EQ(f.get_one(&one, 0, mol), 1);
  EXPECT_EQ(one, f.values[2]);
  for (const int index : {-1, 3, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(f.get_one(&one, index, mol), 0);
    EXPECT_EQ(f.set_one(f.values[1], index, mol), 0);
  }
  EXPECT_EQ(f.get_one(nullptr, 0, mol), 0);
  EXPECT_EQ(f.set(nullptr, mol), 0);
  EXPECT_EQ(f.get(nullptr, mol), 0);

  nx_set_molecule_atom_number(1, mol);  // the last atom remains, at index 2, and arrays keep their length
  EXPECT_EQ(f.length(mol), 3);
  std::vector<T> read = {f.values[1], f.values[1], f.values[1]};
  EXPECT_EQ(f.get(read.data(), mol), 1);
  EXPECT_EQ(read, (std::vector<T>{f.values[1], f.values[1], f.values[2]}));
  EXPECT_EQ(f.get_one(&one, 0, mol), 0);
  nx_set_molecule_atom_number(0, mol);
  EXPECT_EQ(f.set(f.values.data(), mol), 1);
  EXPECT_EQ(f.set(nullptr, mol), 1);  // there is nothing to be done
  EXPECT_EQ(f.get(nullptr, mol), 1);
  EXPECT_EQ(f.is_set(mol), 0);
  nx_delete_molecule(mol);
}

#define FAMILY(name)                                                                                                   \
#name, nx_set_molecule_##name, nx_get_molecule_##name, nx_is_molecule_##name##_set, nx_get_molecule_##name##_length, \
      nx_get_molecule_##name##_length_string, nx_get_molecule_##name##_element, nx_set_molecule_##name##_element

TEST(Briochem, ArraysOfOneValuePerAtomBehaveAlike) {
  check_family<float>({FAMILY(radii), {0.0F, -0.1F, 1.7F}});
  check_family<float>({FAMILY(charges), {0.0F, 0.5F, -1.0F}});
  check_family<int>({FAMILY(atom_type), {0, -3, 80}});
  check_family<char>({FAMILY(element), {'Z', 'C', 'N'}});
  check_family<int>({FAMILY(residue_number), {0, -5, 10001}});
  check_family<int>({FAMILY(sequence_number), {0, 1, 2}});
}

TEST(Briochem, NonZeroQueriesFollowTheValues) {
  const int mol = make_molecule(2);
  EXPECT_EQ(nx_are_molecule_radii_all_zero(mol), 1);
  EXPECT_EQ(nx_are_molecule_charges_all_zero(mol), 1);
  nx_set_molecule_radii_element(-0.1F, 1, mol);
  EXPECT_EQ(nx_are_molecule_radii_non_zero(mol), 1);
  EXPECT_EQ(nx_are_molecule_radii_all_zero(mol), 0);
  EXPECT_EQ(nx_are_molecule_charges_non_zero(mol), 0);
  nx_set_molecule_charges_element(std::nanf(""), 0, mol);
  EXPECT_EQ(nx_is_molecule_charges_set(mol), 0);  // neither below nor above zero
}

TEST(Briochem, ResidueAndSequenceNumbersAreApartAndMakeAResidue) {
  const int mol = make_molecule(2);
  EXPECT_EQ(nx_get_molecule_residue_names_element_length(0, mol), 0);
  nx_set_molecule_residue_number_element(7, 0, mol);
  nx_set_molecule_sequence_number_element(9, 1, mol);
  for (const int atom : {0, 1}) {
    EXPECT_EQ(written(1, nx_get_molecule_residue_names_element, atom, 8, mol), "UNL\0"s);
  }
  nx_set_molecule_residue_names("ALA\0GLY", mol);
  EXPECT_EQ(all_of(nx_get_molecule_residue_number, 2, mol), (std::vector<int>{7, 0}));
  EXPECT_EQ(all_of(nx_get_molecule_sequence_number, 2, mol), (std::vector<int>{0, 9}));
}

TEST(Briochem, ElementTablesAreNoInverses) {
  const std::string letters = "ZHZTZBCNOFZDMZGPSLZKZZZZZAEZZUZZZZERZZZZZZZZZZZZZZZZZI";
  for (int number = -2; number < 60; ++number) {
    const char expected = number >= 0 && number < 54 ? letters.at(static_cast<std::size_t>(number)) : 'Z';
    EXPECT_EQ(nx_convert_element_number_to_one_letter_symbol(number), expected) << number;
  }
  const int numbers[] = {25, 5, 6, 11, 34, 9, 13, 1, 53, 0, 19, 17, 12, 7, 8, 15, 0, 35, 16, 3, 26};
  for (int c = -300; c < 400; ++c) {
    EXPECT_EQ(nx_convert_one_letter_symbol_to_element_number(c), c >= 'A' && c <= 'U' ? numbers[c - 'A'] : 0);
  }
  static_assert(std::is_same_v<decltype(nx_convert_element_number_to_one_letter_symbol), int(int)>);
  static_assert(std::is_same_v<decltype(nx_convert_one_letter_symbol_to_element_number), int(int)>);
}

// ---- Coordinates ----

TEST(Briochem, CoordinatesAreReadAndWrittenByFlatIndex) {
  const int mol = make_molecule(2);
  EXPECT_EQ(nx_is_molecule_coordinates_set(mol), 0);
  const float coordinates[] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(nx_set_molecule_coordinates(coordinates, mol), 1);
  EXPECT_EQ(nx_is_molecule_coordinates_set(mol), 1);
  EXPECT_EQ(nx_get_molecule_coordinates_length(mol), 6);
  EXPECT_EQ(written(1, nx_get_molecule_coordinates_length_string, mol), "atom_number*3\0"s);
  EXPECT_EQ(nx_set_molecule_coordinates_element(50, 4, mol), 1);
  float value = 0;
  EXPECT_EQ(nx_get_molecule_coordinates_element(&value, 5, mol), 1);
  EXPECT_EQ(value, 6.0F);
  EXPECT_EQ(nx_get_molecule_coordinates_element(&value, 6, mol), 1);  // just past the end: accepted
  EXPECT_EQ(value, 0.0F);
  EXPECT_EQ(nx_set_molecule_coordinates_element(9, 6, mol), 1);
  for (const int i : {-1, 7, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(nx_get_molecule_coordinates_element(&value, i, mol), 0);
    EXPECT_EQ(nx_set_molecule_coordinates_element(9, i, mol), 0);
  }
  EXPECT_EQ(all_of(nx_get_molecule_coordinates, 6, mol), (std::vector<float>{1, 2, 3, 4, 50, 6}));
}

// ---- Counts ----

TEST(Briochem, SurplusAtomsAndBondsGoFromTheFront) {
  const int mol = make_molecule_with_holes();
  EXPECT_EQ(nx_get_molecule_atom_number(mol), 2);
  EXPECT_EQ(name_of(2, mol), "C");
  EXPECT_EQ(name_of(3, mol), "D");
  EXPECT_EQ(nx_get_index_for_atom("D", mol), 3);
  EXPECT_EQ(nx_get_index_for_atom("A", mol), -1);
  EXPECT_EQ(nx_get_molecule_radii_length(mol), 4);
  nx_set_molecule_atom_number(5, mol);
  EXPECT_EQ(nx_get_molecule_radii_length(mol), 7);
  EXPECT_EQ(name_of(6, mol), "Du");

  nx_set_molecule_bond_number(2, mol);
  const int bonds[] = {2, 3, 1, 3, 4, 2};
  nx_set_molecule_bonds(bonds, mol);
  nx_set_molecule_bond_number(1, mol);
  int bond[3];
  EXPECT_EQ(nx_get_molecule_bonds_element(bond, 0, mol), 0);
  EXPECT_EQ(nx_get_molecule_bonds_element(bond, 1, mol), 1);
  EXPECT_EQ(bond[2], 2);
  nx_set_molecule_atom_number(3, mol);  // atoms 2 and 3 go, and the bond 3-4 with them
  EXPECT_EQ(nx_get_molecule_bond_number(mol), 0);
  EXPECT_EQ(nx_set_molecule_atom_number(-1, mol), 0);
  EXPECT_EQ(nx_set_molecule_bond_number(-1, mol), 0);
  EXPECT_EQ(nx_set_molecule_atom_number(INT32_MAX, mol), 0);  // would take half a terabyte
  EXPECT_EQ(nx_get_molecule_atom_number(mol), 3);
}

TEST(Briochem, BondsAreRewiredNeverMade) {
  const int mol = make_molecule(3);
  nx_set_molecule_bond_number(2, mol);
  EXPECT_EQ(nx_is_molecule_bonds_set(mol), 0);
  EXPECT_EQ(all_of(nx_get_molecule_bonds, 6, mol), (std::vector<int>{-1, -1, 0, -1, -1, 0}));
  const int bonds[] = {0, 1, 2, 1, 7, 1};
  EXPECT_EQ(warned(1, [&] { return nx_set_molecule_bonds(bonds, mol); }),
            "Warning: Invalid bond specified: bgn = 1, end = 7\n");
  EXPECT_EQ(all_of(nx_get_molecule_bonds, 6, mol), (std::vector<int>{0, 1, 2, -1, -1, 0}));
  EXPECT_EQ(nx_is_molecule_bonds_set(mol), 1);
  EXPECT_EQ(nx_get_molecule_bonds_length(mol), 6);
  EXPECT_EQ(written(1, nx_get_molecule_bonds_length_string, mol), "bond_number*3\0"s);
  const int other[] = {2, 1, 1};
  EXPECT_EQ(nx_set_molecule_bonds_element(other, 1, mol), 1);
  int read[3];
  EXPECT_EQ(nx_get_molecule_bonds_element(read, 1, mol), 1);
  EXPECT_EQ(std::vector<int>(read, read + 3), (std::vector<int>{2, 1, 1}));
  EXPECT_EQ(nx_set_molecule_bonds_element(other, 2, mol), 0);
  EXPECT_EQ(nx_get_molecule_bonds_element(nullptr, 1, mol), 0);
}

TEST(Briochem, RingAndRotorFlagsAreTheModels) {
  const int mol = make_molecule(6);  // a ring of three with a tail: 3-4-5 and a rotor between 3 and 4
  nx_set_molecule_element("CCCCCC", mol);
  nx_set_molecule_bond_number(6, mol);
  const int bonds[] = {0, 1, 1, 1, 2, 1, 2, 0, 1, 2, 3, 1, 3, 4, 1, 4, 5, 1};
  nx_set_molecule_bonds(bonds, mol);
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(nx_is_atom_in_ring(i, mol), i < 3 ? 1 : 0);
    EXPECT_EQ(nx_is_bond_in_ring(i, mol), i < 3 ? 1 : 0);
    EXPECT_EQ(nx_is_bond_a_rotor(i, mol), i == 3 || i == 4 ? 1 : 0);
  }
  const std::string no_bond = "Warning: Attempt to reference non-existent bond\n";
  EXPECT_EQ(warned(0, [&] { return nx_is_atom_in_ring(6, mol); }), "Warning: Attempt to reference non-existent atom\n");
  EXPECT_EQ(warned(0, [&] { return nx_is_bond_in_ring(-1, mol); }), no_bond);
  EXPECT_EQ(warned(0, [&] { return nx_is_bond_a_rotor(6, mol); }), no_bond);
}

// ---- Names ----

TEST(Briochem, AtomNamesArePackedAtFourCharacters) {
  const int mol = make_molecule(3);
  EXPECT_EQ(nx_is_molecule_atom_names_set(mol), 0);
  nx_set_molecule_element_element('C', 1, mol);
  EXPECT_EQ(nx_set_molecule_atom_names("CA12X\0\0N", mol), 1);
  EXPECT_EQ(name_of(0, mol), "CA12X");
  EXPECT_EQ(name_of(1, mol), "C");
  EXPECT_EQ(nx_get_molecule_atom_names_length(mol), 1 + 5 + 2 + 2);
  EXPECT_EQ(nx_get_molecule_atom_names_size(mol), 3);
  EXPECT_EQ(written(1, nx_get_molecule_atom_names, 10, mol), "CA12\0C\0N\0"s);
  EXPECT_EQ(written(0, nx_get_molecule_atom_names, 8, mol), "CA12\0C\0"s);
  EXPECT_EQ(nx_get_molecule_atom_names_element_length(0, mol), 5);
  EXPECT_EQ(nx_get_molecule_atom_names_element_length(1, mol), 2);
  EXPECT_EQ(nx_get_molecule_atom_names_element_length(9, mol), 0);
  EXPECT_EQ(all_of(nx_get_molecule_atom_names_index, 3, mol), (std::vector<int>{0, 5, 7}));
  EXPECT_EQ(written(1, nx_get_molecule_atom_names_element, 0, 5, mol),
            "CA12X\0"s);  // the length is that of the name: the NUL is written after it
  EXPECT_EQ(written(1, nx_get_molecule_atom_names_element, 0, 3, mol), "CA1");
  EXPECT_EQ(written(0, nx_get_molecule_atom_names_element, 3, 5, mol), "");
  EXPECT_EQ(written(0, nx_get_molecule_atom_names_element, 0, -1, mol), "");
  EXPECT_EQ(nxi_unset_molecule_atom_names(mol), 1);
  EXPECT_EQ(nx_is_molecule_atom_names_set(mol), 0);
  EXPECT_EQ(name_of(0, mol), "Du");
  EXPECT_EQ(nx_set_molecule_atom_names(nullptr, mol), 0);
}

TEST(Briochem, ResidueNamesAreWholeAndChainNamesOneCharacter) {
  const int mol = make_molecule(3);
  EXPECT_EQ(nx_is_molecule_residue_names_set(mol), 0);
  EXPECT_EQ(nx_is_molecule_chain_names_set(mol), 0);
  EXPECT_EQ(nx_set_molecule_residue_names("GLYCINE\0\0A", mol), 1);
  EXPECT_EQ(nx_is_molecule_residue_names_set(mol), 1);
  EXPECT_EQ(nx_get_molecule_residue_names_length(mol), 1 + 8 + 1 + 2);
  EXPECT_EQ(written(1, nx_get_molecule_residue_names, 12, mol), "GLYCINE\0\0A\0"s);
  EXPECT_EQ(written(0, nx_get_molecule_residue_names, 10, mol), "GLYCINE\0\0"s);
  EXPECT_EQ(nx_get_molecule_residue_names_element_length(0, mol), 8);
  EXPECT_EQ(written(1, nx_get_molecule_residue_names_element, 0, 4, mol), "GLY\0"s);
  EXPECT_EQ(written(1, nx_get_molecule_residue_names_element, 0, 8, mol), "GLYCINE\0"s);
  EXPECT_EQ(written(1, nx_get_molecule_residue_names_element, 77, 0, mol), "");
  EXPECT_EQ(written(0, nx_get_molecule_residue_names_element, 5, 4, mol), "");
  EXPECT_EQ(all_of(nx_get_molecule_residue_names_index, 3, mol), (std::vector<int>{0, 8, 9}));

  EXPECT_EQ(nx_set_molecule_chain_names("AB", mol), 0);  // too short: the third atom keeps its chain
  EXPECT_EQ(written(1, nx_get_molecule_chain_names, nx_get_molecule_chain_names_length(mol), mol), "AB \0"s);
  EXPECT_EQ(written(0, nx_get_molecule_chain_names, 3, mol), "AB\0"s);
  EXPECT_EQ(written(1, nx_get_molecule_chain_names_element, 1, 2, mol), "B\0"s);
  EXPECT_EQ(written(0, nx_get_molecule_chain_names_element, 1, 1, mol), "");
  EXPECT_EQ(written(0, nx_get_molecule_chain_names_element, 8, 2, mol), " \0"s);
  EXPECT_EQ(nx_get_molecule_chain_names_element_length(2, mol), 2);
  EXPECT_EQ(nx_get_molecule_chain_names_element_length(3, mol), 0);
}

// ---- The molecule itself ----

TEST(Briochem, NameAndFileNameAreKept) {
  const int mol = make_molecule(3);
  EXPECT_EQ(nx_is_molecule_name_set(mol), 0);
  EXPECT_EQ(nx_is_molecule_file_name_set(mol), 0);
  EXPECT_EQ(written(0, nx_get_molecule_file_name, mol), "");
  EXPECT_EQ(nx_get_molecule_file_name_length(mol), 0);
  nx_set_molecule_name("acetazolamide", mol);
  nx_set_molecule_file_name("", mol);
  EXPECT_EQ(nx_is_molecule_file_name_set(mol), 1);
  nx_set_molecule_file_name("acet.pqr", mol);
  EXPECT_EQ(written(1, nx_get_molecule_name, mol), "acetazolamide\0"s);
  EXPECT_EQ(nx_get_molecule_name_length(mol), 14);
  EXPECT_EQ(written(1, nx_get_molecule_file_name, mol), "acet.pqr\0"s);
  EXPECT_EQ(nx_get_molecule_file_name_length(mol), 9);
  EXPECT_EQ(nx_clear_molecule(mol), 1);
  EXPECT_EQ(nx_get_molecule_atom_number(mol), 0);
  EXPECT_EQ(nx_is_molecule_name_set(mol), 0);
  EXPECT_EQ(nx_is_molecule_file_name_set(mol), 0);
  EXPECT_EQ(nx_get_molecule_conformer_number(mol), 1);  // still with its one conformer
}

TEST(Briochem, NewMoleculeHasOneActiveConformerAndItsLastReleaseFreesItsHandle) {
  const int mol = nx_make_molecule();
  EXPECT_EQ(mol, -1);
  const NxChem::NxMCMolBase* model = NxBrioChem::NxDerefMCMolHandle(mol);
  EXPECT_EQ(model->NumConfs(), 1U);
  EXPECT_EQ(model->GetActive(), model->GetConf(0));
  NxBrioChem::NxAcquireHandle(*NxBrioChem::NxDerefMCMolHandle(mol));
  EXPECT_EQ(nx_delete_molecule(mol), 1);
  EXPECT_EXIT(nx_get_molecule_atom_number(mol), testing::ExitedWithCode(1), "Assertion failed");
  EXPECT_EXIT(nx_delete_molecule(mol), testing::ExitedWithCode(1), "Assertion failed");
  EXPECT_EQ(nx_make_molecule(), -2);  // the other holder still has -1
  EXPECT_TRUE(NxBrioChem::NxReleaseHandle(mol));
  EXPECT_EQ(nx_make_molecule(), -1);
}

TEST(Briochem, CachesArePackedInAtomOrder) {
  const int mol = make_molecule_with_holes();
  nx_set_molecule_radii_element(1.5F, 2, mol);
  nx_set_molecule_radii_element(1.6F, 3, mol);
  nx_set_molecule_charges_element(-1.0F, 3, mol);
  nx_set_molecule_atom_type_element(42, 2, mol);
  nx_set_molecule_residue_names("ALA\0GLY", mol);
  const float* xyz = nxi_molecule_coordinates(mol);
  EXPECT_EQ(std::vector<float>(xyz, xyz + 6), (std::vector<float>{3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(nxi_molecule_radii(mol)[1], 1.6F);
  EXPECT_EQ(nxi_molecule_charges(mol)[1], -1.0F);
  EXPECT_EQ(nxi_molecule_atom_type(mol)[0], 42);
  EXPECT_EQ(std::string(nxi_molecule_atom_names(mol), 5), "C\0D\0\0"s);
  EXPECT_EQ(std::string(nxi_molecule_residue_names(mol), 9), "ALA\0GLY\0\0"s);
  std::size_t length = 0;
  NxBrioChem::NxDerefMolHandle(mol)->GetData<float>(NxSystem::NxGetTag("NxBrioCoords"), &length);
  EXPECT_EQ(length, 6U);
  const int whole = make_molecule(1);
  const float one[] = {7, 8, 9};
  nx_set_molecule_coordinates(one, whole);
  EXPECT_EQ(nxi_molecule_coordinates(whole)[2], 9.0F);
  EXPECT_NE(nxi_molecule_coordinates(nx_make_molecule()), nullptr);
}

}  // namespace
