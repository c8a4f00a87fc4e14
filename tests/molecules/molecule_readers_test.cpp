#include <nxbriochem/molecules/molecule_readers.h>

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <nxbriochem/geometry/mol_func1.h>
#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/objects/list_obj.h>

#include "tests/support/run.h"
#include "tests/support/warned.h"

namespace {

using namespace test_support;

// The call ends the process with status 1 and this report alone.
void expect_fatal(const std::function<void()>& call, const std::string& text) {
  EXPECT_EXIT(call(), testing::ExitedWithCode(1), testing::Eq("Fatal: " + text + "\n")) << text;
}

const std::string kMol2 = "nxi_read_mol2() not implemented";
const std::string kListFile = "nxi_file_input_list(int,char*,File_list*) not implemented";
const std::string kPdbConnect = "nxi_read_pdb_connect() not implemented";
const std::string kPdb = "nxi_read_pdb(int,char*,int,PdbStruct**,int*,float**,float**) not implemented";
const std::string kBinary = "nxi_read_binary_pdb(int,char*,File_list*,PdbStruct**,int**) not implemented";
const std::string kDelphiBinary =
    "nxi_read_binary_pdb_r_q(int,char*,File_list*,PdbStruct*,int**,float**,float**) not implemented";
const std::string kWriteBinary = "nxi_write_binary_pdb(char*,File_list,PdbStruct*,int*) not implemented";
const std::string kWriteDelphiBinary =
    "nxi_write_binary_pdb_q_r(char*,File_list,PdbStruct*,int*,float*,float*) not implemented";

// A reading function, and the fatal report for each of its format words.
struct EntryPoint {
  const char* name;
  int (*call)(const char* filename, const char* format, int* out);
  std::map<std::string, std::string> words;
};

const std::vector<EntryPoint>& entry_points() {
  static const std::vector<EntryPoint> all = {
      {"nx_get_molecule_object_from_file",
       nx_get_molecule_object_from_file,
       {{"delphi", kPdbConnect}, {"delphi_pdb", kPdbConnect}, {"mol2", kMol2}, {"mol2_charged", kMol2}}},
      {"nx_get_list_of_molecules_from_file",
       nx_get_list_of_molecules_from_file,
       {{"delphi_pdb", kPdb}, {"mol2", kMol2}, {"mol2_charged", kMol2}}},
      {"nx_get_list_of_molecules_from_binary_file",
       nx_get_list_of_molecules_from_binary_file,
       {{"binary_pdb", kBinary}, {"delphi_binary_pdb", kDelphiBinary}}},
  };
  return all;
}

constexpr const char* kWords[] = {
    "delphi", "delphi_pdb", "mol2", "mol2_charged", "mol2_charge", "pdb", "binary_pdb", "sdf", "delphi_binary_pdb",
    "MOL2",   "alist",      ""};

TEST(MoleculeReadersDeathTest, ChecksComeInOrderAndEachWordEndsInItsReader) {
  const ScratchDirectory directory;
  const std::string file = directory.write("some.file", "");
  const std::string missing = directory.path("missing");
  for (const EntryPoint& entry : entry_points()) {
    SCOPED_TRACE(entry.name);
    int out = 77;
    const auto warning = [&](const char* filename, const char* format, int* to) {
      return warned(0, [&] { return entry.call(filename, format, to); });
    };
    EXPECT_EQ(warning(nullptr, nullptr, &out), "Warning: Unrecognized blank filename\n");
    EXPECT_EQ(warning(missing.c_str(), nullptr, &out), "Warning: Unrecognized blank file format\n");
    for (const std::string word : kWords) {
      const auto reader = entry.words.find(word);
      if (reader == entry.words.end()) {
        EXPECT_EQ(warning(missing.c_str(), word.c_str(), &out), "Warning: Unrecognized file format '" + word + "'\n");
        continue;
      }
      EXPECT_EQ(warning(missing.c_str(), word.c_str(), &out),
                "Warning: Unable to open " + missing + " for reading: No such file or directory\n");
      EXPECT_EQ(warning(directory.path("").c_str(), word.c_str(), &out),
                "Warning: Unable to open " + directory.path("") + " for reading: Is a directory\n");
      EXPECT_EQ(warning(file.c_str(), word.c_str(), nullptr), "");
      expect_fatal([&] { entry.call(file.c_str(), word.c_str(), &out); }, reader->second);
    }
    EXPECT_EQ(out, 77);
  }
}

// ---- List files ----

using Add = int (*)(const char* filename, const char* kind, int list);
constexpr Add kAdd[] = {nx_add_molecules_to_list_from_list_file, nx_add_delphi_molecules_to_list_from_list_file,
                        nx_add_mol2_molecules_to_list_from_list_file};

TEST(MoleculeReadersDeathTest, ListFilesEndInTheirReader) {
  const ScratchDirectory directory;
  const std::string file = directory.write("list.file", "a.pdb\n");
  const int list = nx_make_list();
  for (const char* kind : {"alist", "nlist"}) {
    for (const Add add : kAdd) {
      expect_fatal([&] { add(file.c_str(), kind, list); }, kListFile);
    }
    for (const char* format : {"pdb", "delphi_pdb", "mol2", "mol2_charged", "mol2_charge"}) {
      int made = 0;
      expect_fatal([&] { nx_get_list_of_molecules_from_list_file(file.c_str(), format, kind, &made); }, kListFile);
    }
  }
}

TEST(ListFiles, AddingChecksInOrderAndChangesNothing) {
  const ScratchDirectory directory;
  const std::string file = directory.write("list.file", "");
  const std::string missing = directory.path("missing");
  const int list = nx_make_list();
  for (const Add add : kAdd) {
    const auto warning = [&](const char* filename, const char* kind, int to) {
      return warned(0, [&] { return add(filename, kind, to); });
    };
    EXPECT_EQ(warning(nullptr, nullptr, list), "Warning: Unrecognized blank filename\n");
    EXPECT_EQ(warning(missing.c_str(), nullptr, list), "Warning: Unrecognized blank list file kind\n");
    for (const std::string kind : {"list", "ALIST", "alist ", "", "pdb"}) {
      EXPECT_EQ(warning(missing.c_str(), kind.c_str(), list), "Warning: Unrecognized list file kind '" + kind + "'\n");
    }
    EXPECT_EQ(warning(missing.c_str(), "nlist", 0),
              "Warning: Unable to open " + missing + " for reading: No such file or directory\n");
    EXPECT_EQ(warning(file.c_str(), "alist", 0), "Warning: Unrecognized list 0\n");
    EXPECT_EQ(nx_get_list_length(list), 0);
  }
}

TEST(ListFiles, GettingChecksInOrderAndMakesNoList) {
  const ScratchDirectory directory;
  const std::string file = directory.write("list.file", "");
  int made = 77;
  const auto warning = [&](const char* filename, const char* format, const char* kind) {
    return warned(0, [&] { return nx_get_list_of_molecules_from_list_file(filename, format, kind, &made); });
  };
  EXPECT_EQ(warning(nullptr, nullptr, nullptr), "Warning: Unrecognized blank filename\n");
  EXPECT_EQ(warning("/no", nullptr, nullptr), "Warning: Unrecognized blank file format\n");
  for (const std::string format : {"delphi", "sdf", "binary_pdb", "alist", ""}) {
    EXPECT_EQ(warning("/no", format.c_str(), nullptr), "Warning: Unrecognized file format '" + format + "'\n");
  }
  EXPECT_EQ(warning("/no", "mol2", nullptr), "Warning: Unrecognized blank list file kind\n");
  EXPECT_EQ(warning("/no", "mol2", "what"), "Warning: Unrecognized list file kind 'what'\n");
  EXPECT_EQ(warning("/no", "mol2", "alist"), "Warning: Unable to open /no for reading: No such file or directory\n");
  EXPECT_EQ(nx_get_list_of_molecules_from_list_file(file.c_str(), "mol2", "alist", nullptr), 0);
  EXPECT_EQ(made, 77);
}

// ---- Binary files ----

int molecule(float radius, float charge) {
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(2, mol);
  nx_set_molecule_radii_element(radius, 1, mol);
  nx_set_molecule_charges_element(charge, 1, mol);
  return mol;
}

TEST(MoleculeReadersDeathTest, BinaryWritingChecksInOrderAndLeavesNoFile) {
  const ScratchDirectory directory;
  const std::string path = directory.path("list.bin");
  const int list = nx_make_list();
  const auto write = [&](const char* format) {
    return nx_write_list_of_molecules_to_binary_file(path.c_str(), format, list);
  };
  const auto warning = [&](const char* filename, const char* format, int handle) {
    return warned(0, [&] { return nx_write_list_of_molecules_to_binary_file(filename, format, handle); });
  };
  EXPECT_EQ(warning(nullptr, nullptr, 0), "Warning: Unrecognized blank filename\n");
  EXPECT_EQ(warning(path.c_str(), nullptr, 0), "Warning: Unrecognized blank file format\n");
  EXPECT_EQ(warning("/nonexistent/x", "pdb", 0), "Warning: Unrecognized file format 'pdb'\n");
  EXPECT_EQ(warning("/nonexistent/x", "binary_pdb", 0),
            "Warning: Unable to open /nonexistent/x for writing: No such file or directory\n");
  EXPECT_EQ(warning(path.c_str(), "binary_pdb", 0), "Warning: Unrecognized list 0\n");

  const int inner = nx_make_list();
  nx_add_to_list(inner, list);
  const int mol = molecule(1.5F, 0.5F);
  nx_set_molecule_file_name("a file name", mol);
  nx_add_to_list(mol, inner);
  expect_fatal([&] { write("delphi_binary_pdb"); }, kWriteDelphiBinary);
  const int without_charges = molecule(1.5F, 0);
  nx_add_to_list(without_charges, inner);
  EXPECT_EQ(warning(path.c_str(), "delphi_binary_pdb", list), "Warning: molecule charges not all set!\n");
  nx_add_to_list(molecule(0, 0), list);
  nx_delete_from_list(without_charges, inner);
  EXPECT_EQ(warning(path.c_str(), "delphi_binary_pdb", list), "Warning: molecule radii not all set!\n");
  expect_fatal([&] { write("binary_pdb"); }, kWriteBinary);
  EXPECT_EQ(directory.names(), std::vector<std::string>());
}

// ---- The low-level functions ----

TEST(MoleculeReadersDeathTest, LowLevelFunctionsSayThatTheyAreNotThere) {
  const std::vector<std::pair<std::function<void()>, std::string>> stubs = {
      {[] { nxi_write_molecule(nullptr, 0); }, "Function nxi_write_molecule(FILE*,int) not implemented"},
      {[] { nxi_read_molecule(nullptr); }, "Function nxi_read_molecule(FILE*) not implemented"},
      {[] { nx_read_molecule_object(nullptr, nullptr); }, "nx_read_molecule_object(char*,int*) not implemented"},
      {[] { nx_read_mol2s(); }, "nx_read_mol2s() not implemented"},
      {[] { nxi_read_PdbStruct(); }, "nx_read_PdbStruct() not implemented"},
      {[] { nxi_read_mol2(); }, kMol2},
      {[] { nxi_read_pdb_connect(); }, kPdbConnect},
      {[] { nxi_file_input_list(0, nullptr, nullptr); }, kListFile},
      {[] { nxi_read_delphi_crg_or_rad_record(0, nullptr, nullptr, nullptr, 0); },
       "nxi_read_delphi_crg_or_rad_record(int, char*, CRecord**,int*,int) not implemented."},
      {[] { nxi_read_pdb(0, nullptr, 0, nullptr, nullptr, nullptr, nullptr); }, kPdb},
      {[] { nxi_read_pdbs(0, {}, nullptr, nullptr, nullptr, 0, nullptr, nullptr); },
       "nxi_read_pdbs(int,File_list,PdbStruct**,int*,int*,int,float**,float**) not implemented"},
      {[] { nxi_read_binary_pdb(0, nullptr, nullptr, nullptr, nullptr); }, kBinary},
      {[] { nxi_read_binary_pdb_r_q(0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr); }, kDelphiBinary},
      {[] { nxi_write_binary_pdb(nullptr, {}, nullptr, nullptr); }, kWriteBinary},
      {[] { nxi_write_binary_pdb_q_r(nullptr, {}, nullptr, nullptr, nullptr, nullptr); }, kWriteDelphiBinary},
  };
  for (const auto& [call, text] : stubs) {
    expect_fatal(call, text);
  }
  // One of them reports an error and returns.
  EXPECT_EQ(warned(1, [] { return nx_write_molecule_object("x", -1); }),
            "Error: nx_write_molecule_object(char*,int) not implemented\n");
}

}  // namespace
