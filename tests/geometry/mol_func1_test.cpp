#include <nxbriochem/geometry/mol_func1.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <nxbriochem/objects/list_obj.h>

#include "tests/support/run.h"
#include "tests/support/warned.h"

namespace {

using test_support::ScratchDirectory;
using test_support::warned;

constexpr char kReport[] = "Fatal: nxi_file_input_list(int,char*,File_list*) not implemented\n";

using Add = int (*)(const char* filename, const char* kind, int list);
constexpr Add kAdd[] = {nx_add_molecules_to_list_from_list_file, nx_add_delphi_molecules_to_list_from_list_file,
                        nx_add_mol2_molecules_to_list_from_list_file};

TEST(MolFunc1DeathTest, ListFilesEndInTheirReader) {
  const ScratchDirectory directory;
  const std::string file = directory.write("list.file", "a.pdb\n");
  const int list = nx_make_list();
  for (const char* kind : {"alist", "nlist"}) {
    for (const Add add : kAdd) {
      EXPECT_EXIT(add(file.c_str(), kind, list), testing::ExitedWithCode(1), testing::Eq(kReport));
    }
    for (const char* format : {"pdb", "delphi_pdb", "mol2", "mol2_charged", "mol2_charge"}) {
      int made = 0;
      EXPECT_EXIT(nx_get_list_of_molecules_from_list_file(file.c_str(), format, kind, &made),
                  testing::ExitedWithCode(1), testing::Eq(kReport))
          << format;
    }
  }
}

TEST(MolFunc1, AddingChecksInOrderAndChangesNothing) {
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

TEST(MolFunc1, GettingChecksInOrderAndMakesNoList) {
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

}  // namespace
