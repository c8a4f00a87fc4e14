// Writes and reads back every format, to a path and to memory, plain and gzipped.
#include <gtest/gtest.h>

#include <nxbriochem/nxbriochem.h>
#include <nxbriofiles/nxbriofiles.h>

#include <cmath>
#include <string>
#include <vector>

#include "tests/support/run.h"

namespace {

using namespace test_support;

std::vector<float> floats(int (*get)(float*, int), std::size_t n, int mol) {
  std::vector<float> values(n);
  EXPECT_EQ(get(values.data(), mol), 1);
  return values;
}

// Acetate beside a zinc ion, in two chains.
int make_sample() {
  const int mol = nx_make_molecule();
  const float xyz[] = {0.0F, 0.0F, 0.0F, 1.5F, 0.0F, 0.0F, 2.1F, 1.1F, 0.0F, 2.1F, -1.1F, 0.0F, -4.0F, 2.5F, 1.25F};
  const int numbers[] = {6, 6, 8, 8, 30};
  const int formal[] = {0, 0, 0, -1, 2};
  const int residues[] = {1, 1, 1, 1, 7};
  const float charges[] = {-0.25F, 0.75F, -0.75F, -0.75F, 2.0F};
  const float radii[] = {1.75F, 1.75F, 1.5F, 1.5F, 1.25F};
  const int bonds[] = {0, 1, 1, 1, 2, 2, 1, 3, 1};
  nx_set_molecule_name("sample", mol);
  nx_set_molecule_atom_number(5, mol);
  nx_set_molecule_coordinates(xyz, mol);
  nx_set_molecule_atom_names("CH3\0C\0O\0OXT\0ZN", mol);
  nx_set_molecule_residue_names("ACT\0ACT\0ACT\0ACT\0ZN", mol);
  nx_set_molecule_chain_names("AAAAB", mol);
  nx_set_molecule_residue_number(residues, mol);
  nx_set_molecule_charges(charges, mol);
  nx_set_molecule_radii(radii, mol);
  EXPECT_EQ(nxf_set_atomic_numbers(numbers, mol), 1);
  EXPECT_EQ(nxf_set_formal_charges(formal, mol), 1);
  nx_set_molecule_bond_number(3, mol);
  nx_set_molecule_bonds(bonds, mol);
  return mol;
}

struct Format {
  const char* word;
  const char* ending;
  bool charges;
  bool radii;
  bool formal;
  bool names;
  bool bonds;
};
std::ostream& operator<<(std::ostream& stream, const Format& format) { return stream << format.word; }

class RoundTrip : public testing::TestWithParam<Format> {};

INSTANTIATE_TEST_SUITE_P(Formats, RoundTrip,
                         testing::Values(Format{"pdb", ".pdb", false, false, true, true, true},
                                         Format{"delphi_pdb", ".ent", true, true, true, true, true},
                                         Format{"pqr", ".pqr", true, true, false, true, false},
                                         Format{"mmcif", ".cif", false, false, true, true, false},
                                         Format{"sdf", ".sdf", false, false, true, false, true},
                                         Format{"mol2", ".mol2", true, false, false, true, true},
                                         Format{"xyz", ".xyz", false, false, false, false, false}),
                         [](const auto& format) { return format.param.word; });

TEST_P(RoundTrip, KeepsWhatTheFormatHolds) {
  const Format& format = GetParam();
  const ScratchDirectory scratch;
  const int sample = make_sample();
  for (const std::string gz : {"", ".gz"}) {
    const std::string path = scratch.path(std::string("written") + format.ending + gz);
    ASSERT_EQ(nxf_write_molecule(path.c_str(), format.word, sample), 1) << nxf_last_error();
    EXPECT_EQ(read_file(path).starts_with("\x1f\x8b"), !gz.empty());
    std::size_t size = 0;
    const char* const text = nxf_molecule_text(&size, (format.word + gz).c_str(), sample);
    ASSERT_NE(text, nullptr) << nxf_last_error();
    EXPECT_EQ(std::string(text, size), read_file(path));

    const int mol = nxf_read_molecule(path.c_str(), nullptr);
    ASSERT_NE(mol, 0) << nxf_last_error();
    ASSERT_EQ(nx_get_molecule_atom_number(mol), 5);
    int numbers[5] = {};
    int formal[5] = {};
    nxf_get_atomic_numbers(numbers, mol);
    nxf_get_formal_charges(formal, mol);
    EXPECT_EQ(std::vector<int>(numbers, numbers + 5), (std::vector<int>{6, 6, 8, 8, 30}));
    if (format.formal) {
      EXPECT_EQ(std::vector<int>(formal, formal + 5), (std::vector<int>{0, 0, 0, -1, 2}));
    }
    const std::vector<float> xyz = floats(nx_get_molecule_coordinates, 15, mol);
    const std::vector<float> expected = floats(nx_get_molecule_coordinates, 15, sample);
    for (std::size_t i = 0; i < 15; ++i) {
      EXPECT_NEAR(xyz[i], expected[i], 1e-3F) << i;
    }
    EXPECT_STREQ(nxf_charge_source(mol), format.charges ? "file" : format.names || format.formal ? "formal" : "none");
    if (format.charges) {
      EXPECT_EQ(floats(nx_get_molecule_charges, 5, mol), floats(nx_get_molecule_charges, 5, sample));
    }
    EXPECT_STREQ(nxf_radius_source(mol), format.radii ? "file" : "Bondi");
    if (format.radii) {
      EXPECT_EQ(floats(nx_get_molecule_radii, 5, mol), floats(nx_get_molecule_radii, 5, sample));
    }
    if (format.names) {
      EXPECT_EQ(nx_get_index_for_atom("OXT", mol), 3);
      char name[8] = "";
      nx_get_molecule_residue_names_element(name, 4, sizeof name, mol);
      EXPECT_STREQ(name, "ZN");
      int number = 0;
      nx_get_molecule_residue_number_element(&number, 4, mol);
      EXPECT_EQ(number, 7);
    }
    EXPECT_EQ(nx_get_molecule_bond_number(mol), format.bonds ? 3 : 0);
    nx_delete_molecule(mol);
  }
  nx_delete_molecule(sample);
  EXPECT_EQ(nx_number_of_errors(), 0);
}

}  // namespace
