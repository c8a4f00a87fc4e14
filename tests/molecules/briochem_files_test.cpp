// Molecules and lists written as files. They are compared with the output of the toolkit's stream, which has its own
// tests against other software.
#include <gtest/gtest.h>

#include <cmath>
#include <gemmi/pdb.hpp>
#include <string>
#include <vector>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/memmgr.h>
#include <nxbriochem/objects/list_obj.h>
#include <nxbriochem/objects/obj_man.h>
#include <nxbriochem/toolkit/nxmolostream.h>

#include "tests/support/run.h"
#include "tests/support/warned.h"
#include "tests/toolkit/written_files.h"

namespace {

using namespace NxChem;
using namespace test_support;
using written_files::AddAtom;

NxMolBase& model(int mol) { return *NxBrioChem::NxDerefMolHandle(mol); }

int list_of(const std::vector<int>& members) {
  const int list = nx_make_list();
  for (const int member : members) {
    nx_add_to_list(member, list);
  }
  return list;
}

// A chain of n atoms with all properties that the formats contain.
int chain_of(int n) {
  const int mol = nx_make_molecule();
  nx_set_molecule_name(("chain of " + std::to_string(n)).c_str(), mol);
  for (int i = 0; i < n; ++i) {
    const auto at = static_cast<float>(i);
    NxAtomBase& atom = AddAtom(model(mol), 6, "C" + std::to_string(i), at, static_cast<float>(n), -at);
    atom.SetPartialCharge(0.25F - at);
    atom.SetRadius(1.5F + at);
    model(mol).NewBond(model(mol).GetAtom(i - 1), &atom, 1 + i % 2);
  }
  return mol;
}

constexpr struct {
  const char* word;
  NxFileType type;
  unsigned flavor;
  const char* empty;  // the file written for an empty list
} kFormats[] = {{"pdb", NxFileType::Pdb, 0, "END\n"}, {"delphi_pdb", NxFileType::Pdb, kNxPdbFlavorDelPhi, "END\n"},
                {"mol2", NxFileType::Mol2, 0, ""},    {"sdf", NxFileType::Sdf, 0, ""},
                {"xyz", NxFileType::Xyz, 0, ""},      {"pqr", NxFileType::Pqr, 0, "END\n"}};

TEST(BriochemFiles, ListsAreWalkedInOrderIntoNestedOnesAndKeepTheirCursor) {
  const ScratchDirectory directory;
  const std::string path = directory.path("list");
  const std::vector<int> m = {chain_of(1), chain_of(2), chain_of(3), chain_of(4)};
  NxSystem::NxBrioGrid grid;
  const int deleted = list_of({m[0]});
  uint32_t own = 0;
  nxi_make_object(3, &own);  // the molecules' type, but in the registry
  const int inner = list_of({m[2], list_of({m[1]}), static_cast<int>(own), NxBrioChem::NxAcquireGridHandle(grid)});
  const int list = list_of({m[0], inner, deleted, list_of({}), m[0], m[3]});
  nx_delete_list(deleted);
  nx_go_to_list_object(m[3], list);
  nx_go_to_list_end(inner);
  for (const auto& [word, type, flavor, empty] : kFormats) {
    SCOPED_TRACE(word);
    const auto expect_file_of = [&, kind = type, columns = flavor](std::vector<int> molecules) {
      std::vector<const NxMolBase*> models;
      for (const int mol : molecules) {
        models.push_back(&model(mol));
      }
      EXPECT_EQ(read_file(path), written_files::Written(kind, models, columns));
    };
    EXPECT_EQ(warned(1, [&, format = word] { return nx_write_list_of_molecules(path.c_str(), format, list); }), "");
    expect_file_of({m[0], m[2], m[1], m[0], m[3]});
    EXPECT_EQ(nx_write_molecule(path.c_str(), word, m[2]), 1);
    expect_file_of({m[2]});
    EXPECT_EQ(nx_write_list_of_molecules(path.c_str(), word, list_of({m[3]})), 1);
    expect_file_of({m[3]});
    EXPECT_EQ(nx_write_list_of_molecules(path.c_str(), word, nx_make_list()), 1);
    EXPECT_EQ(read_file(path), empty);
  }
  int current = 0;
  EXPECT_EQ(nx_get_list_current_object(&current, list), 1);
  EXPECT_EQ(current, m[3]);
  EXPECT_EQ(nx_increment_list(inner), 0);
}

// Writing a molecule and writing a list make the same checks in the same order. A failure leaves no file.
TEST(BriochemFiles, WritingChecksInOrderAndLeavesNoFile) {
  const ScratchDirectory directory;
  const std::string path = directory.path("list.pdb");
  const std::vector<int> molecules = {chain_of(1), chain_of(2)};
  const int list = list_of(molecules);
  const auto warning = [](auto write, const char* filename, const char* format, int handle) {
    return warned(0, [&] { return write(filename, format, handle); });
  };
  for (const auto write : {nx_write_molecule, nx_write_list_of_molecules}) {
    EXPECT_EQ(warning(write, nullptr, nullptr, 0), "Warning: Unrecognized blank filename\n");
    EXPECT_EQ(warning(write, path.c_str(), nullptr, 0), "Warning: Unrecognized blank file format\n");
    EXPECT_EQ(warning(write, "/nonexistent/x", "what", 0),
              "Warning: Unable to open /nonexistent/x for writing: No such file or directory\n");
    for (const std::string word : {"what", "PDB", "", "binary_pdb", "delphi"}) {
      EXPECT_EQ(warning(write, path.c_str(), word.c_str(), 0), "Warning: Unrecognized file format '" + word + "'\n");
    }
  }
  for (const int no_list : {0, molecules[0], list + 1}) {
    EXPECT_EQ(warning(nx_write_list_of_molecules, path.c_str(), "pdb", no_list),
              "Warning: Unrecognized list " + std::to_string(no_list) + "\n");
  }
  const float nowhere[3] = {0, 0, NAN};
  model(molecules[1]).SetCoords(*model(molecules[1]).GetAtom(0), nowhere);
  EXPECT_NE(warning(nx_write_list_of_molecules, path.c_str(), "pdb", list).find("Unable to write molecule"),
            std::string::npos);
  nx_delete_molecule(molecules[1]);
  EXPECT_EXIT(nx_write_list_of_molecules(path.c_str(), "pdb", list), testing::ExitedWithCode(1), "Assertion failed");
  EXPECT_EXIT(nx_write_molecule(path.c_str(), "pdb", -77), testing::ExitedWithCode(1), "Assertion failed");
  EXPECT_EQ(directory.names(), std::vector<std::string>());
}

TEST(BriochemFiles, PointsAreDummyAtomsOfOneResidue) {
  const ScratchDirectory directory;
  const std::string path = directory.path("points.pdb");
  const float points[] = {1.5F, -2.25F, 0, -999.0F, 9998.5F, 3.125F, 0, 0, 0};
  ASSERT_EQ(nx_write_points_as_pdb(path.c_str(), points, 3), 1);
  const gemmi::Structure read = gemmi::read_pdb_file(path);
  ASSERT_EQ(read.models.size(), 1U);
  int n_read = 0;
  for (const gemmi::const_CRA place : read.models[0].all()) {
    const float* xyz = points + static_cast<std::ptrdiff_t>(3 * n_read);
    EXPECT_EQ(place.residue->name, "PTS");
    EXPECT_EQ(*place.residue->seqid.num, 1);
    EXPECT_EQ(place.residue->het_flag, 'H');
    EXPECT_EQ(place.atom->serial, ++n_read);
    EXPECT_EQ(place.atom->name, "DU");
    EXPECT_EQ(place.atom->element.atomic_number(), 0);
    EXPECT_EQ(place.atom->pos.dist(gemmi::Position(xyz[0], xyz[1], xyz[2])), 0.0);
  }
  EXPECT_EQ(n_read, 3);
}

TEST(BriochemFiles, PointsThatCannotBeWrittenLeaveNoFile) {
  const ScratchDirectory directory;
  const std::string path = directory.path("points.pdb");
  const float points[3] = {0, INFINITY, 0};
  const auto warning = [](const char* filename, const float* xyz, int n) {
    return warned(0, [&] { return nx_write_points_as_pdb(filename, xyz, n); });
  };
  EXPECT_EQ(warning(path.c_str(), nullptr, 1), "");
  EXPECT_EQ(warning(path.c_str(), points, -1), "");
  EXPECT_EQ(warning(nullptr, points, 1), "Warning: Unrecognized blank filename\n");
  EXPECT_NE(warning("/nonexistent/x", points, 1), "");
  EXPECT_NE(warning(path.c_str(), points, 1), "");
  EXPECT_EQ(directory.names(), std::vector<std::string>());
  EXPECT_EQ(nx_write_points_as_pdb(path.c_str(), nullptr, 0), 1);
  EXPECT_EQ(read_file(path), "END\n");
}

}  // namespace
