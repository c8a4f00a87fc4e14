#include <nxbriochem/toolkit/nxsybyl_internal.h>

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "tests/toolkit/kept_molecules.h"

namespace {

TEST(NxSybyl, TypesOfCommonGroups) {
  const std::vector<std::string> lines = kept_molecules::ReadLines("sybyl_types.txt");
  ASSERT_EQ(lines.size(), 5U * 18U);
  for (auto line = lines.begin(); line != lines.end(); line += 5) {
    NxChem::NxMol mol;
    std::istringstream symbols(line[1]);
    for (std::string symbol; symbols >> symbol;) {
      kept_molecules::AddElement(mol, symbol);
    }
    std::istringstream bonds(line[2]);
    kept_molecules::AddBonds(mol, bonds, std::numeric_limits<int>::max());
    const NxChem::NxSybylTypes types(mol);
    std::string atom_types;
    for (const auto& atom : mol.GetAtoms()) {
      atom_types.append(atom_types.empty() ? "" : " ").append(types.AtomType(atom));
    }
    std::string bond_types;
    for (const auto& bond : mol.GetBonds()) {
      bond_types.append(bond_types.empty() ? "" : " ").append(types.BondType(bond));
    }
    EXPECT_EQ(atom_types, line[3]) << line[0];
    EXPECT_EQ(bond_types, line[4]) << line[0];
  }
}

}  // namespace
