#include <gtest/gtest.h>
#include <nxbriochem/toolkit/nxelements.h>
#include <nxbriochem/toolkit/nxsybyl.h>

#include <string>
#include <vector>

namespace {

struct Wire {
  int bgn;
  int end;
  int order;
};

struct Case {
  const char* name;
  std::vector<std::string> atoms;  // symbol with charge: "N+", "O-"
  std::vector<Wire> bonds;
  std::string atom_types;
  std::string bond_types;
};

// Kekule structures, and the types that the Sybyl force field's definitions give them.
const std::vector<Case> kCases = {
    {"naphthalene, one ring with two double bonds of its own",
     {"C", "C", "C", "C", "C", "C", "C", "C", "C", "C"},
     {{0, 1, 2},
      {1, 2, 1},
      {2, 3, 2},
      {3, 4, 1},
      {4, 9, 2},
      {9, 0, 1},
      {4, 5, 1},
      {5, 6, 2},
      {6, 7, 1},
      {7, 8, 2},
      {8, 9, 1}},
     "C.ar C.ar C.ar C.ar C.ar C.ar C.ar C.ar C.ar C.ar",
     "ar ar ar ar ar ar ar ar ar ar ar"},
    {"pyridine with an aldehyde",
     {"N", "C", "C", "C", "C", "C", "C", "O"},
     {{0, 1, 2}, {1, 2, 1}, {2, 3, 2}, {3, 4, 1}, {4, 5, 2}, {5, 0, 1}, {3, 6, 1}, {6, 7, 2}},
     "N.ar C.ar C.ar C.ar C.ar C.ar C.2 O.2",
     "ar ar ar ar ar ar 1 2"},
    {"benzoquinone",
     {"C", "C", "C", "C", "C", "C", "O", "O"},
     {{0, 1, 2}, {1, 2, 1}, {2, 3, 1}, {3, 4, 2}, {4, 5, 1}, {5, 0, 1}, {2, 6, 2}, {5, 7, 2}},
     "C.2 C.2 C.2 C.2 C.2 C.2 O.2 O.2",
     "2 1 1 2 1 1 2 2"},
    {"indole, the shared bond double",
     {"N", "C", "C", "C", "C", "C", "C", "C", "C"},
     {{0, 1, 1}, {1, 2, 2}, {2, 3, 1}, {3, 4, 2}, {4, 0, 1}, {3, 5, 1}, {5, 6, 2}, {6, 7, 1}, {7, 8, 2}, {8, 4, 1}},
     "N.pl3 C.2 C.2 C.ar C.ar C.ar C.ar C.ar C.ar",
     "1 2 1 ar 1 ar ar ar ar ar"},
    {"isoindole's quinoid six-membered ring",
     {"C", "C", "C", "C", "C", "C", "C", "N", "C"},
     {{0, 1, 2}, {1, 2, 1}, {2, 3, 2}, {3, 4, 1}, {4, 5, 1}, {5, 0, 1}, {4, 6, 2}, {6, 7, 1}, {7, 8, 1}, {8, 5, 2}},
     "C.2 C.2 C.2 C.2 C.2 C.2 C.2 N.pl3 C.2",
     "2 1 2 1 1 1 2 1 1 2"},
    {"acetamide", {"C", "C", "O", "N"}, {{0, 1, 1}, {1, 2, 2}, {1, 3, 1}}, "C.3 C.2 O.2 N.am", "1 2 am"},
    {"acetate", {"C", "C", "O", "O-"}, {{0, 1, 1}, {1, 2, 2}, {1, 3, 1}}, "C.3 C.2 O.co2 O.co2", "1 2 1"},
    {"acetic acid",
     {"C", "C", "O", "O", "H"},
     {{0, 1, 1}, {1, 2, 2}, {1, 3, 1}, {3, 4, 1}},
     "C.3 C.2 O.2 O.3 H",
     "1 2 1 1"},
    {"guanidinium", {"C", "N+", "N", "N"}, {{0, 1, 2}, {0, 2, 1}, {0, 3, 1}}, "C.cat N.2 N.pl3 N.pl3", "2 1 1"},
    {"acetonitrile", {"C", "C", "N"}, {{0, 1, 1}, {1, 2, 3}}, "C.3 C.1 N.1", "1 3"},
    {"allene", {"C", "C", "C"}, {{0, 1, 2}, {1, 2, 2}}, "C.2 C.1 C.2", "2 2"},
    {"methylammonium",
     {"C", "N+", "H", "H", "H"},
     {{0, 1, 1}, {1, 2, 1}, {1, 3, 1}, {1, 4, 1}},
     "C.3 N.4 H H H",
     "1 1 1 1"},
    {"nitromethane", {"C", "N+", "O", "O-"}, {{0, 1, 1}, {1, 2, 2}, {1, 3, 1}}, "C.3 N.pl3 O.2 O.3", "1 2 1"},
    {"sulfonamide",
     {"C", "S", "O", "O", "N"},
     {{0, 1, 1}, {1, 2, 2}, {1, 3, 2}, {1, 4, 1}},
     "C.3 S.o2 O.2 O.2 N.3",
     "1 2 2 1"},
    {"sulfoxide", {"C", "S", "O", "C"}, {{0, 1, 1}, {1, 2, 2}, {1, 3, 1}}, "C.3 S.o O.2 C.3", "1 2 1"},
    {"thioacetone", {"C", "S", "C"}, {{0, 1, 2}, {0, 2, 1}}, "C.2 S.2 C.3", "2 1"},
    {"methyl phosphate",
     {"C", "O", "P", "O", "O-", "O-"},
     {{0, 1, 1}, {1, 2, 1}, {2, 3, 2}, {2, 4, 1}, {2, 5, 1}},
     "C.3 O.3 P.3 O.co2 O.co2 O.co2",
     "1 1 2 1 1"},
    {"ions and orders without type", {"Zn", "Cl", "Du", "C"}, {{0, 1, 0}, {0, 3, 4}}, "Zn Cl Du C.3", "un un"},
};

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : " ") + word;
  }
  return text;
}

TEST(NxSybyl, TypesOfCommonGroups) {
  for (const Case& molecule : kCases) {
    NxChem::NxMol mol;
    for (const std::string& text : molecule.atoms) {
      const char charge = text.back();
      const bool charged = charge == '+' || charge == '-';
      const std::string symbol = charged ? text.substr(0, text.size() - 1) : text;
      mol.NewAtom(NxChem::NxGetAtomicNum(symbol))->SetFormalCharge(!charged ? 0 : charge == '+' ? 1 : -1);
    }
    for (const Wire& wire : molecule.bonds) {
      mol.NewBond(mol.GetAtom(wire.bgn), mol.GetAtom(wire.end), wire.order);
    }
    const NxChem::NxSybylTypes types(mol);
    std::vector<std::string> atom_types;
    for (const auto& atom : mol.GetAtoms()) {
      atom_types.push_back(types.AtomType(atom));
    }
    std::vector<std::string> bond_types;
    for (const auto& bond : mol.GetBonds()) {
      bond_types.emplace_back(types.BondType(bond));
    }
    EXPECT_EQ(Joined(atom_types), molecule.atom_types) << molecule.name;
    EXPECT_EQ(Joined(bond_types), molecule.bond_types) << molecule.name;
  }
}

}  // namespace
