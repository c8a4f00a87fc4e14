// Lists of molecules as files, read back by other software: gemmi and RDKit.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <gemmi/pdb.hpp>
#include <iomanip>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/memmgr.h>
#include <nxbriochem/objects/list_obj.h>
#include <nxbriochem/toolkit/nxelements.h>

#include "tests/support/run.h"
#include "tests/support/warned.h"
#include "tests/toolkit/functional_groups.h"

namespace {

using namespace NxChem;
using test_support::read_file;
using test_support::ScratchDirectory;
using test_support::warned;

constexpr const char* kFormats[] = {"pdb", "delphi_pdb", "mol2", "sdf", "xyz", "pqr"};

NxMolBase& model(int mol) { return *NxBrioChem::NxDerefMolHandle(mol); }

int list_of(const std::vector<int>& members) {
  const int list = nx_make_list();
  for (const int member : members) {
    nx_add_to_list(member, list);
  }
  return list;
}

// ---- Molecules with all that files show of them ----

constexpr std::array<unsigned, 11> kElements = {1, 6, 7, 8, 9, 15, 16, 17, 26, 30, 35};

// An atom of a residue that goes on for some atoms; chains and numbers tell residues apart.
void add_random_atom(NxMolBase& mol, int i, std::mt19937& random) {
  std::uniform_real_distribution<float> place(-99.0F, 999.0F);
  std::uniform_real_distribution<float> charge(-1.0F, 1.0F);
  NxAtomBase& atom = *mol.NewAtom(kElements.at(random() % kElements.size()));
  atom.SetName(std::string(NxGetAtomicSymbol(atom.GetAtomicNum())) + std::to_string(i % 100));
  atom.SetPartialCharge(charge(random));
  atom.SetRadius(1.0F + charge(random) / 2);
  atom.SetFormalCharge(random() % 4 == 0 ? static_cast<int>(random() % 5) - 2 : 0);
  NxResidue residue;
  residue.SetName(i / 7 % 2 == 0 ? "ALA" : "LIG");
  residue.SetResidueNumber(1 + i / 7);
  residue.SetChainID(static_cast<char>('A' + i / 14));
  residue.SetHetAtom(i / 7 % 2 == 1);
  NxAtomSetResidue(atom, residue);
  const float xyz[3] = {place(random), place(random), place(random)};
  mol.SetCoords(atom, xyz);
}

// A tree of bonds with a ring or two, a bond without ends, and an atom deleted. Every ring has a triple bond: none is
// aromatic, whose bonds mol2 files show as such and not by their order.
int random_molecule(std::mt19937& random) {
  const int mol = nx_make_molecule();
  NxMolBase& molecule = model(mol);
  nx_set_molecule_name(("molecule " + std::to_string(random() % 1000)).c_str(), mol);
  const int n = 2 + static_cast<int>(random() % 40);
  for (int i = 0; i < n; ++i) {
    add_random_atom(molecule, i, random);
    const bool closes_ring = random() % 6 == 0;
    std::set<int> others;
    for (int tries = closes_ring ? 2 : 1; i > 0 && tries > 0; --tries) {
      others.insert(static_cast<int>(random() % static_cast<unsigned>(i)));
    }
    for (const int other : others) {
      const int order = closes_ring ? 3 : 1 + static_cast<int>(random() % 3);
      molecule.NewBond(molecule.GetAtom(other), molecule.GetAtom(i), order);
    }
  }
  molecule.NewBond(nullptr, nullptr, 0);
  if (n > 10) {
    molecule.DeleteAtom(molecule.GetAtom(5));
  }
  return mol;
}

std::vector<int> random_molecules(int n, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<int> molecules;
  for (int i = 0; i < n; ++i) {
    molecules.push_back(random_molecule(random));
  }
  return molecules;
}

// ---- What other software reads ----

// What tests/support/read_structures.py is to list. The numbers in a file are the floats rounded to its decimals, so
// the listings are equal to the character.
std::string listing(const std::string& format, const std::vector<int>& molecules) {
  std::ostringstream out;
  out << std::fixed;
  for (const int handle : molecules) {
    const NxMolBase& mol = model(handle);
    out << "molecule " << mol.GetTitle() << "\n";
    std::map<const NxAtomBase*, int> places;
    for (const NxAtomBase& atom : mol.GetAtoms()) {
      places.emplace(&atom, static_cast<int>(places.size()));
      float xyz[3];
      mol.GetCoords(atom, xyz);
      out << "atom " << NxGetAtomicSymbol(atom.GetAtomicNum()) << std::setprecision(format == "xyz" ? 6 : 4);
      out << " " << xyz[0] << " " << xyz[1] << " " << xyz[2];
      if (format == "mol2") {
        out << " " << atom.GetName() << " " << atom.GetPartialCharge();
      } else if (format == "sdf") {
        out << " " << atom.GetFormalCharge();
      }
      out << "\n";
    }
    for (const NxBondBase& bond : mol.GetBonds()) {
      if (bond.GetBgn() != nullptr && bond.GetEnd() != nullptr && format != "xyz") {
        out << "bond " << places[bond.GetBgn()] << " " << places[bond.GetEnd()] << " " << bond.GetOrder() << "\n";
      }
    }
  }
  return out.str();
}

void expect_same_by_rdkit(const std::string& format, const std::vector<int>& molecules, const std::string& path) {
  const auto read = test_support::run({"/usr/bin/python3", NXBRIO_READ_STRUCTURES, format, path});
  EXPECT_EQ(read.status, 0) << read.err;
  EXPECT_EQ(read.out, listing(format, molecules)) << format;
}

// The models of a PDB file, and the atoms of each in the order of the molecule's; with DelPhi's columns, these show
// radius and charge.
void expect_same_by_gemmi(bool is_delphi, const std::vector<int>& molecules, const std::string& path) {
  const gemmi::Structure read = gemmi::read_pdb_file(path);
  ASSERT_EQ(read.models.size(), molecules.size());
  for (std::size_t i = 0; i < molecules.size(); ++i) {
    EXPECT_EQ(read.models[i].name, std::to_string(i + 1));
    std::map<int, gemmi::const_CRA> by_serial;
    for (const gemmi::const_CRA place : read.models[i].all()) {
      by_serial[place.atom->serial] = place;
    }
    const NxMolBase& mol = model(molecules[i]);
    ASSERT_EQ(by_serial.size(), mol.NumAtoms());
    int serial = 0;
    for (const NxAtomBase& atom : mol.GetAtoms()) {
      const gemmi::const_CRA& place = by_serial[++serial];
      const NxResidue& residue = NxAtomGetResidue(atom);
      float xyz[3];
      mol.GetCoords(atom, xyz);
      EXPECT_NEAR(place.atom->pos.x, static_cast<double>(xyz[0]), 5.1e-4);
      EXPECT_NEAR(place.atom->occ, is_delphi ? atom.GetRadius() : residue.GetOccupancy(), 5.1e-3F);
      EXPECT_NEAR(place.atom->b_iso, is_delphi ? atom.GetPartialCharge() : residue.GetBFactor(), 1.1e-2F);
      EXPECT_EQ(place.atom->name, atom.GetName());
      EXPECT_EQ(place.atom->charge, atom.GetFormalCharge());
      EXPECT_EQ(place.atom->element.atomic_number(), static_cast<int>(atom.GetAtomicNum()));
      EXPECT_EQ(place.chain->name, std::string(1, residue.GetChainID()));
      EXPECT_EQ(place.residue->name, residue.GetName());
      EXPECT_EQ(*place.residue->seqid.num, residue.GetResidueNumber());
      EXPECT_EQ(place.residue->het_flag, residue.IsHetAtom() ? 'H' : 'A');
    }
  }
}

TEST(BriochemFiles, ListsReadBackInEveryFormat) {
  const ScratchDirectory directory;
  const std::string path = directory.path("list");
  for (const unsigned seed : {1U, 2U, 3U}) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::vector<int> molecules = random_molecules(40, seed);
    const int list = list_of(molecules);
    const auto write = [&](const char* format) {
      EXPECT_EQ(warned(1, [&] { return nx_write_list_of_molecules(path.c_str(), format, list); }), "") << format;
    };
    for (const char* format : {"mol2", "sdf", "xyz"}) {
      write(format);
      expect_same_by_rdkit(format, molecules, path);
    }
    for (const char* format : {"pdb", "delphi_pdb"}) {
      write(format);
      ASSERT_NO_FATAL_FAILURE(expect_same_by_gemmi(std::string(format) == "delphi_pdb", molecules, path));
    }
  }
}

TEST(BriochemFiles, ListsAreWalkedInOrderIntoNestedOnesAndKeepTheirCursor) {
  const ScratchDirectory directory;
  const std::string path = directory.path("list.sdf");
  const std::vector<int> m = random_molecules(4, 5);
  NxSystem::NxBrioGrid grid;
  const int deleted = list_of({m[0]});
  const int inner = list_of({m[2], list_of({m[1]}), NxBrioChem::NxAcquireGridHandle(grid)});
  const int list = list_of({m[0], inner, deleted, list_of({}), m[0], m[3]});
  nx_delete_list(deleted);
  nx_go_to_list_object(m[3], list);
  nx_go_to_list_end(inner);

  ASSERT_EQ(nx_write_list_of_molecules(path.c_str(), "sdf", list), 1);
  expect_same_by_rdkit("sdf", {m[0], m[2], m[1], m[0], m[3]}, path);
  int current = 0;
  EXPECT_EQ(nx_get_list_current_object(&current, list), 1);
  EXPECT_EQ(current, m[3]);
  EXPECT_EQ(nx_increment_list(inner), 0);
}

TEST(BriochemFiles, ListsOfOneAndOfNone) {
  const ScratchDirectory directory;
  const std::string path = directory.path("list");
  const std::vector<int> one = random_molecules(1, 6);
  for (const std::string format : kFormats) {
    ASSERT_EQ(nx_write_molecule(path.c_str(), format.c_str(), one[0]), 1);
    const std::string single = read_file(path);
    ASSERT_EQ(nx_write_list_of_molecules(path.c_str(), format.c_str(), list_of(one)), 1);
    EXPECT_EQ(read_file(path), single);
    ASSERT_EQ(nx_write_list_of_molecules(path.c_str(), format.c_str(), nx_make_list()), 1);
    EXPECT_EQ(read_file(path), format.ends_with("pdb") || format == "pqr" ? "END\n" : "");
  }
}

// Writing one molecule and writing a list check alike, in this order, and leave no file.
TEST(BriochemFiles, WritingChecksInOrderAndLeavesNoFile) {
  const ScratchDirectory directory;
  const std::string path = directory.path("list.pdb");
  const std::vector<int> molecules = random_molecules(2, 7);
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

// ---- Points ----

TEST(BriochemFiles, PointsAreDummyAtomsOfOneResidue) {
  const ScratchDirectory directory;
  const std::string path = directory.path("points.pdb");
  std::mt19937 random(8);
  std::uniform_real_distribution<float> coordinate(-999.0F, 9999.0F);
  std::vector<float> points(3 * 1000);
  std::generate(points.begin(), points.end(), [&] { return coordinate(random); });
  ASSERT_EQ(nx_write_points_as_pdb(path.c_str(), points.data(), 1000), 1);
  const gemmi::Structure read = gemmi::read_pdb_file(path);
  ASSERT_EQ(read.models.size(), 1U);
  std::size_t n_read = 0;
  for (const gemmi::const_CRA place : read.models[0].all()) {
    const float* xyz = &points.at(3 * n_read);
    EXPECT_EQ(place.residue->name, "PTS");
    EXPECT_EQ(*place.residue->seqid.num, 1);
    EXPECT_EQ(place.residue->het_flag, 'H');
    EXPECT_EQ(place.atom->serial, static_cast<int>(++n_read));
    EXPECT_EQ(place.atom->name, "DU");
    EXPECT_EQ(place.atom->element.atomic_number(), 0);
    EXPECT_LT(place.atom->pos.dist(gemmi::Position(xyz[0], xyz[1], xyz[2])), 0.001);
  }
  EXPECT_EQ(n_read, 1000U);
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

// ---- Bonds from coordinates ----

// The groups' bonds and charges come from their formulas. Where double bonds may lie in more than one way, counts and
// sums are the same.
TEST(BriochemFiles, BondsByDistanceAreThoseOfTheFormula) {
  std::istringstream text(kFunctionalGroups);
  int n_groups = 0;
  std::string name;
  for (int n_atoms = 0, n_bonds = 0; text >> name >> n_atoms >> n_bonds; ++n_groups) {
    const int mol = nx_make_molecule();
    int charge = 0;
    for (int i = 0; i < n_atoms; ++i) {
      std::string symbol;
      float xyz[3];
      text >> symbol >> xyz[0] >> xyz[1] >> xyz[2];
      charge += symbol.back() == '+' ? 1 : symbol.back() == '-' ? -1 : 0;
      symbol.resize(std::min(symbol.find_first_of("+-"), symbol.size()));
      model(mol).SetCoords(*model(mol).NewAtom(NxGetAtomicNum(symbol)), xyz);
    }
    std::map<std::pair<int, int>, int> orders;
    int sum = 0;
    for (int begin = 0, end = 0, order = 0, i = 0; i < n_bonds && text >> begin >> end >> order; ++i) {
      orders[std::minmax(begin, end)] = order;
      sum += order;
    }
    for (const int round : {1, 2}) {
      EXPECT_EQ(nx_make_bonds_by_distance(mol), 1);
      EXPECT_EQ(nx_get_molecule_bond_number(mol), n_bonds) << name << ", round " << round;
    }
    for (const NxBondBase& bond : model(mol).GetBonds()) {
      EXPECT_TRUE(orders.contains(std::minmax(bond.GetBgnIdx(), bond.GetEndIdx()))) << name;
      sum -= bond.GetOrder();
    }
    for (const NxAtomBase& atom : model(mol).GetAtoms()) {
      charge -= atom.GetFormalCharge();
    }
    EXPECT_EQ(sum, 0) << name;
    EXPECT_EQ(charge, 0) << name;
  }
  EXPECT_EQ(n_groups, 46);
}

}  // namespace
