#include <nxbriochem/molecules/pdb_struct.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <nxbriochem/molecules/atom_names_internal.h>
#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/memmgr.h>
#include <nxbriochem/molecules/memmgr_state.h>
#include <nxbriochem/molecules/pdb_struct_internal.h>
#include <nxbriochem/objects/list_obj.h>
#include <nxbriochem/toolkit/nxelements.h>

#include "tests/support/run.h"
#include "tests/support/warned.h"

namespace {

using namespace briochem;
using namespace test_support;

// The handle that the next molecule gets. It changes when a call before left a handle behind.
int next_handle() {
  const int mol = nx_make_molecule();
  nx_delete_molecule(mol);
  return mol;
}

// Copies the text. A field that the text fills has no NUL.
template <std::size_t kSize>
void put(char (&field)[kSize], const std::string& text) {
  std::memset(field, 0, kSize);
  text.copy(field, kSize);
}

// A random record with nothing left out, its element given or not.
PdbStruct random_record(int i, std::mt19937& random) {
  std::uniform_real_distribution<float> place(-999.0F, 9999.0F);
  std::uniform_real_distribution<float> unit(0.0F, 1.0F);
  const unsigned element = 6 + static_cast<unsigned>(random() % 4);
  PdbStruct record{};
  for (float& x : record.coordinates) {
    x = place(random);
  }
  record.radius = 1 + unit(random);
  record.charge = unit(random) - 0.5F;
  record.occupancy = unit(random);
  record.temperature_factor = 100 * unit(random);
  record.residue_number = 1 + i / 5;
  put(record.atom_name, NxChem::NxGetAtomicSymbol(element) + std::to_string(i % 100));
  put(record.residue_name, i / 5 % 2 == 0 ? "GLY" : "LIG");
  put(record.element, random() % 2 == 0 ? NxChem::NxGetAtomicSymbol(element) : "");
  record.chain = static_cast<char>('A' + i / 100);
  record.insertion_code = i / 5 % 3 == 0 ? 'X' : ' ';
  record.alternate_location = random() % 5 == 0 ? 'B' : '\0';
  record.het_atom = static_cast<char>(i / 5 % 2);
  return record;
}

std::vector<PdbStruct> random_records(int n, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<PdbStruct> records;
  for (int i = 0; i < n; ++i) {
    records.push_back(random_record(i, random));
  }
  return records;
}

// Writes records without bonds.
int write(const std::string& path, int type, const std::vector<PdbStruct>& records, const float* radii = nullptr,
          const float* charges = nullptr) {
  return nxi_write_pdb(path.c_str(), type, records.data(), static_cast<int>(records.size()), nullptr, 0, radii,
                       charges);
}

// The n-th line of a file of atoms.
std::string atom_line(const std::string& path, int n) {
  std::istringstream lines(read_file(path));
  std::string line;
  for (int i = 0; i <= n; ++i) {
    std::getline(lines, line);
  }
  return line;
}

TEST(PdbStruct, TypeOneShowsRadiiAndChargesAndOthersDoNot) {
  const ScratchDirectory directory;
  const std::string path = directory.path("records.pdb");
  std::vector<PdbStruct> records(2);
  records[0].radius = 1.5F;
  records[0].charge = -0.25F;
  records[0].occupancy = 0.5F;
  records[1].temperature_factor = 12.5F;
  const float radii[] = {2.25F, 3.5F};
  const float charges[] = {1.125F, -1.5F};
  const auto shown = [&](int type, const float* r, const float* q) {
    EXPECT_EQ(write(path, type, records, r, q), 1);
    return atom_line(path, 0).substr(54, 13) + "|" + atom_line(path, 1).substr(54, 13);
  };
  EXPECT_EQ(shown(1, nullptr, nullptr), "  1.50 -0.250|  0.00  0.000");
  EXPECT_EQ(shown(1, radii, nullptr), "  2.25 -0.250|  3.50  0.000");
  EXPECT_EQ(shown(1, radii, charges), "  2.25  1.125|  3.50 -1.500");
  const std::string plain = "  0.50  0.00 |  0.00 12.50 ";
  EXPECT_EQ(shown(0, radii, charges), plain);
  EXPECT_EQ(shown(-1, radii, charges), plain);
  EXPECT_EQ(warned(plain, [&] { return shown(2, radii, charges); }),
            "Warning: writing of types other than 0 or 1 not supported\n");
}

TEST(PdbStruct, BondsAreWrittenByTheirOrder) {
  const ScratchDirectory directory;
  const std::string path = directory.path("records.pdb");
  const std::vector<PdbStruct> records = random_records(3, 2);
  const auto bonds_of = [&](const int* bonds, int nbonds) {
    EXPECT_EQ(nxi_write_pdb(path.c_str(), 0, records.data(), 3, bonds, nbonds, nullptr, nullptr), 1);
    const std::string text = read_file(path);
    return text.substr(std::min(text.find("CONECT"), text.size()));
  };
  const int bonds[] = {0, 1, 1, 2, 1, 2};
  EXPECT_EQ(bonds_of(bonds, 2), "CONECT    1    2\nCONECT    2    1    3    3\nCONECT    3    2    2\nEND\n");
  for (const auto& [begin, end] : {std::pair(0, 3), {-1, 2}, {3, 0}, {1, -7}}) {
    const int broken[] = {0, 1, 1, begin, end, 1};
    EXPECT_EQ(
        warned(std::string("CONECT    1    2\nCONECT    2    1\nEND\n"), [&] { return bonds_of(broken, 2); }),
        "Warning: Invalid bond specified: bgn = " + std::to_string(begin) + ", end = " + std::to_string(end) + "\n");
  }
  ASSERT_EQ(write(path, 0, {}), 1);
  EXPECT_EQ(read_file(path), "END\n");
}

TEST(PdbStruct, WhatFailsLeavesNeitherFileNorHandle) {
  const ScratchDirectory directory;
  const std::string path = directory.path("records.pdb");
  std::vector<PdbStruct> records = random_records(3, 3);
  const int handle = next_handle();
  const auto warning = [&](const char* filename, int type, const PdbStruct* atoms, int n, int nbonds) {
    return warned(0, [&] { return nxi_write_pdb(filename, type, atoms, n, nullptr, nbonds, nullptr, nullptr); });
  };
  const PdbStruct* atoms = records.data();
  EXPECT_EQ(warning(nullptr, 0, atoms, 3, 0), "Warning: Unrecognized blank filename\n");
  EXPECT_EQ(warning("/nonexistent/x", 3, atoms, 3, 0),
            "Warning: writing of types other than 0 or 1 not supported\n"
            "Warning: Unable to open /nonexistent/x for writing: No such file or directory\n"
            "Warning: Unable to open output file: /nonexistent/x\n");
  EXPECT_EQ(warning("/dev/full", 0, atoms, 3, 0), "Warning: Unable to write /dev/full: No space left on device\n");
  EXPECT_EQ(warning(path.c_str(), 0, nullptr, 3, 0), "");
  EXPECT_EQ(warning(path.c_str(), 0, atoms, -1, 0), "");
  EXPECT_EQ(warning(path.c_str(), 0, atoms, 3, 1), "");
  EXPECT_EQ(warning(path.c_str(), 0, atoms, 3, -1), "");
  records[1].coordinates[2] = NAN;
  EXPECT_NE(warning(path.c_str(), 0, atoms, 3, 0).find("Unable to write molecule"), std::string::npos);
  EXPECT_EQ(next_handle(), handle);
  memmgr::vFreeHandle.assign(1, -1000000000);
  EXPECT_NE(warned(0, [&] { return write(path, 0, {}); }).find("Unable to allocate NxBrio handle"), std::string::npos);
  EXPECT_EQ(directory.names(), std::vector<std::string>());
}

// Full fields at the very end of a block, so that the sanitizer detects a read beyond them.
TEST(PdbStruct, FieldsWithoutNulAreNotReadBeyond) {
  const ScratchDirectory directory;
  std::vector<PdbStruct> records(1);
  put(records[0].atom_name, "NNNNNNNN");
  put(records[0].residue_name, "RRRRRRRR");
  put(records[0].element, "CCCC");
  records[0].chain = 'A';
  EXPECT_EQ(write(directory.path("records.pdb"), 0, records), 1);
  EXPECT_EQ(atom_line(directory.path("records.pdb"), 0).substr(0, 22), "ATOM      1 NNNN RRRRA");
}

TEST(PdbStruct, ElementsAreToldFromNamesByCustom) {
  const std::array<const char*, 3> cases[] = {
      // name, residue, symbol
      {" CA ", "ALA", "C"},  {"CA  ", "CA", "Ca"},    {"CA  ", "ALA", "Ca"},  {"CA", "ALA", "C"},
      {"CA", "CA", "Ca"},    {" CA", "ALA", "C"},     {"HG11", "VAL", "H"},   {"1HB ", "ALA", "H"},
      {"1HB", "ALA", "H"},   {"HG  ", "HG", "Hg"},    {"HG", "SER", "H"},     {"FE", "HEM", "Fe"},
      {"FE  ", "HEM", "Fe"}, {"FE1", "SF4", "Fe"},    {"ZN", "ZN", "Zn"},     {"ZN", "LIG", "Zn"},
      {"MG", "MG", "Mg"},    {"Cl2", "LIG", "Cl"},    {"SE", "MSE", "Se"},    {" SD ", "MET", "S"},
      {"SD", "MET", "S"},    {"NA", "NA", "Na"},      {"NA", "HEM", "N"},     {"OXT", "GLY", "O"},
      {"HO5'", "DA", "H"},   {" C1'    ", "DA", "C"}, {"NA      ", "", "Na"}, {"C", "C", "C"},
      {"K", "K", "K"},       {"D", "DOD", "H"},       {"CL-", "CL-", "Cl"},   {"X1", "LIG", "Du"},
      {"", "", "Du"},        {"  12", "", "Du"},      {"QB", "ALA", "Du"},
  };
  for (const auto& [name, residue, symbol] : cases) {
    EXPECT_STREQ(NxChem::NxGetAtomicSymbol(element_of_name(name, residue)), symbol) << name << " in " << residue;
  }
}

// ---- From records to molecules and back ----

TEST(PdbRecords, RecordsOfBareAndOfLongNamedAtoms) {
  NxChem::NxMol mol;
  mol.NewAtom(17);
  NxChem::NxAtomBase& named = *mol.NewAtom(6);
  named.SetName("a name of many letters");
  NxChem::NxResidue residue;
  residue.SetName("a residue");
  NxAtomSetResidue(named, residue);
  const PdbStruct bare = record_of(mol, *mol.GetAtom(0));
  EXPECT_STREQ(bare.atom_name, "Cl");
  EXPECT_STREQ(bare.element, "Cl");
  EXPECT_STREQ(bare.residue_name, "UNL");
  EXPECT_EQ(bare.residue_number, 1);
  EXPECT_EQ(bare.het_atom, 1);
  const PdbStruct cut = record_of(mol, named);
  EXPECT_STREQ(cut.atom_name, "a name ");
  EXPECT_STREQ(cut.residue_name, "a resid");
}

TEST(PdbRecords, ExtractedMoleculesAreAppendedInOrderAndWrittenAsTheirRecords) {
  const ScratchDirectory directory;
  std::vector<PdbStruct> records = random_records(200, 5);
  std::vector<float> radii(200);
  std::vector<float> charges(200);
  std::iota(radii.begin(), radii.end(), 1.0F);
  std::iota(charges.begin(), charges.end(), -100.0F);
  const int list = nx_make_list();
  nx_add_to_list(list, list);
  PdbArray array{records.data(), {30, 1, 169}, radii.data(), charges.data()};
  ASSERT_EQ(extract_molecules_from_pdb_array(array, list), 1);
  ASSERT_EQ(nx_get_list_length(list), 4);
  std::size_t at = 0;
  for (const int n : array.natoms) {
    nx_increment_list(list);
    int mol = 0;
    ASSERT_EQ(nx_get_list_current_object(&mol, list), 1);
    ASSERT_EQ(nx_get_molecule_atom_number(mol), n);
    EXPECT_TRUE(NxBrioChem::NxIsMultiConf(mol));
    for (int i = 0; i < n; ++i, ++at) {
      PdbStruct expected = records[at];
      expected.radius = radii[at];
      expected.charge = charges[at];
      put(expected.element, std::string(1, expected.atom_name[0]));
      expected.alternate_location = expected.alternate_location == 'B' ? 'B' : ' ';
      const NxChem::NxMolBase& molecule = *NxBrioChem::NxDerefMolHandle(mol);
      const PdbStruct back = record_of(molecule, *molecule.GetAtom(i));
      // memcmp is valid: the record has no padding, and its texts are filled up with NULs.
      EXPECT_EQ(std::memcmp(&back, &expected, sizeof back), 0) << "atom " << i << " of " << n;
    }
    // The same records make the same file.
    const auto* first = &records[at - static_cast<std::size_t>(n)];
    ASSERT_EQ(nx_write_molecule(directory.path("molecule").c_str(), "pdb", mol), 1);
    ASSERT_EQ(write(directory.path("records"), 0, {first, first + n}), 1);
    EXPECT_EQ(read_file(directory.path("records")), read_file(directory.path("molecule")));
  }
}

TEST(PdbRecords, EmptyArraysAndFullTablesChangeNothing) {
  std::vector<PdbStruct> records = random_records(4, 6);
  const int list = nx_make_list();
  const int handle = next_handle();
  const std::string no_atoms = "Warning: no atoms sent to extract_molecules_from_pdb_array\n";
  const auto warning = [&](const PdbArray& array, int to) {
    return warned(0, [&] { return extract_molecules_from_pdb_array(array, to); });
  };
  EXPECT_EQ(warning({}, list), no_atoms);
  EXPECT_EQ(warning({records.data(), {}, nullptr, nullptr}, list), no_atoms);
  EXPECT_EQ(warning({records.data(), {2, 0, 2}, nullptr, nullptr}, list), no_atoms);
  EXPECT_EQ(warning({records.data(), {2, -1}, nullptr, nullptr}, list), no_atoms);
  EXPECT_EQ(warning({records.data(), {4}, nullptr, nullptr}, 0), "Warning: Unrecognized list 0\n");
  EXPECT_EQ(next_handle(), handle);
  memmgr::vFreeHandle.assign({-1000000000, handle});
  EXPECT_NE(warning({records.data(), {2, 2}, nullptr, nullptr}, list), "");
  EXPECT_EQ(memmgr::vFreeHandle.back(), handle);
  EXPECT_EQ(nx_get_list_length(list), 0);
}

}  // namespace
