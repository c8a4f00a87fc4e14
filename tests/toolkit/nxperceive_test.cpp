#include <nxbriochem/toolkit/nxperceive.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <numeric>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <nxbriochem/toolkit/nxelements.h>

#include "tests/toolkit/kept_molecules.h"

namespace {

using namespace NxChem;

struct Atom {
  unsigned z;
  std::array<float, 3> xyz;
};

void AddAtoms(NxMolBase& mol, const std::vector<Atom>& atoms) {
  for (const Atom& atom : atoms) {
    mol.SetCoords(*mol.NewAtom(atom.z), atom.xyz.data());
  }
}

void Perceive(NxMolBase& mol) {
  NxDetermineConnectivity(mol);
  NxPerceiveBondOrders(mol);
}

// Begin, end and order of each bond.
std::vector<std::array<int, 3>> Bonds(const NxMolBase& mol) {
  std::vector<std::array<int, 3>> bonds;
  for (const NxBondBase& bond : mol.GetBonds()) {
    bonds.push_back({bond.GetBgnIdx(), bond.GetEndIdx(), bond.GetOrder()});
  }
  return bonds;
}

std::vector<int> Charges(const NxMolBase& mol) {
  std::vector<int> charges;
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    charges.push_back(atom.GetFormalCharge());
  }
  return charges;
}

int Valence(const NxAtomBase& atom) {
  int sum = 0;
  for (const NxBondBase* bond : atom.GetBonds()) {
    sum += bond->GetOrder();
  }
  return sum;
}

// What all correct assignments of double bonds share, whichever Kekule structure they show: element, number of
// neighbours, valence and charge of each atom.
using Signature = std::multiset<std::tuple<unsigned, std::size_t, int, int>>;

Signature SignatureOf(const NxMolBase& mol) {
  Signature signature;
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    signature.emplace(atom.GetAtomicNum(), atom.GetBonds().size(), Valence(atom), atom.GetFormalCharge());
  }
  return signature;
}

struct Group {
  std::string name;
  // The known molecule, with bonds, orders and charges.
  NxMol mol;
};

std::vector<Group> ReadGroups(const std::string& file) {
  std::stringstream text;
  for (const std::string& line : kept_molecules::ReadLines(file)) {
    text << line << "\n";
  }
  std::vector<Group> groups;
  std::string name;
  int n_atoms = 0;
  int n_bonds = 0;
  while (text >> name >> n_atoms >> n_bonds) {
    NxMol& mol = groups.emplace_back(Group{name, {}}).mol;
    for (int i = 0; i < n_atoms; ++i) {
      std::array<std::string, 4> words;
      text >> words[0] >> words[1] >> words[2] >> words[3];
      const std::array<float, 3> xyz = {std::stof(words[1]), std::stof(words[2]), std::stof(words[3])};
      mol.SetCoords(kept_molecules::AddElement(mol, words[0]), xyz.data());
    }
    kept_molecules::AddBonds(mol, text, n_bonds);
  }
  return groups;
}

// The same atoms without bonds and charges.
NxMol Bare(const NxMol& known) {
  NxMol mol(known);
  for (NxBondBase& bond : mol.GetBonds()) {
    mol.DeleteBond(&bond);
  }
  for (NxAtomBase& atom : mol.GetAtoms()) {
    atom.SetFormalCharge(0);
  }
  return mol;
}

// Heavy atoms alone determine every double bond. Charges that only hydrogens would show are not expected.
TEST(NxPerceive, FunctionalGroupsWithoutHydrogens) {
  const std::set<std::string> charged_by_hydrogens = {"imidazolium", "methylammonium", "methanesulfonamide_anion",
                                                      "methanethiolate"};
  for (const Group& group : ReadGroups("functional_groups.txt")) {
    if (group.name == "methylguanidinium") {
      continue;  // Its three C-N bonds are alike, and any of them may be the double one.
    }
    NxMol expected(group.mol);
    for (NxAtomBase& atom : expected.GetAtoms()) {
      if (charged_by_hydrogens.contains(group.name)) {
        atom.SetFormalCharge(0);
      }
      if (atom.GetAtomicNum() == 1) {
        expected.DeleteAtom(&atom);
      }
    }
    NxMol mol = Bare(expected);
    Perceive(mol);
    EXPECT_EQ(SignatureOf(mol), SignatureOf(expected)) << group.name;
  }
}

// Shuffling the atoms and, after the first round, blurring the coordinates must change nothing.
TEST(NxPerceive, FunctionalGroupsShuffledAndBlurred) {
  std::mt19937 random(5);
  std::normal_distribution<float> blur(0.0F, 0.015F);
  const std::vector<Group> groups = ReadGroups("functional_groups.txt");
  ASSERT_EQ(groups.size(), 34U);
  for (const Group& group : groups) {
    for (int round = 0; round <= 10; ++round) {
      std::vector<int> order(group.mol.NumAtoms());
      std::iota(order.begin(), order.end(), 0);
      std::shuffle(order.begin(), order.end(), random);
      NxMol mol;
      for (const int idx : order) {
        const NxAtomBase& atom = *group.mol.GetAtom(idx);
        std::array<float, 3> xyz{};
        group.mol.GetCoords(atom, xyz.data());
        for (float& x : xyz) {
          x += round == 0 ? 0.0F : blur(random);
        }
        AddAtoms(mol, {{atom.GetAtomicNum(), xyz}});
      }
      Perceive(mol);
      EXPECT_EQ(SignatureOf(mol), SignatureOf(group.mol)) << group.name << " round " << round;
    }
  }
}

TEST(NxPerceive, SmallMoleculesAndIons) {
  const std::vector<Group> known = ReadGroups("small_molecules.txt");
  ASSERT_EQ(known.size(), 13U);
  for (const Group& group : known) {
    NxMol mol = Bare(group.mol);
    Perceive(mol);
    EXPECT_EQ(Bonds(mol), Bonds(group.mol)) << group.name;
    EXPECT_EQ(Charges(mol), Charges(group.mol)) << group.name;
  }
}

TEST(NxConnectivity, PicksNeighboursSensibly) {
  const std::vector<Group> known = ReadGroups("neighbours.txt");
  ASSERT_EQ(known.size(), 11U);
  for (const Group& group : known) {
    NxMol mol = Bare(group.mol);
    NxDetermineConnectivity(mol);
    EXPECT_EQ(Bonds(mol), Bonds(group.mol)) << group.name;
    NxPerceiveBondOrders(mol);
  }
}

TEST(NxConnectivity, KeepsExistingBondsAndAlternateLocationsApart) {
  NxMol mol;
  AddAtoms(mol, {{6, {0, 0, 0}}, {8, {1.4F, 0, 0}}, {8, {1.3F, 0.5F, 0}}, {1, {-1.0F, 0, 0}}, {6, {0, 9, 0}}});
  for (const auto& [idx, location] : {std::pair(1, 'A'), std::pair(2, 'B')}) {
    NxResidue residue;
    residue.SetAlternateLocation(location);
    NxAtomSetResidue(*mol.GetAtom(idx), residue);
  }
  mol.NewBond(nullptr, nullptr, 0);
  mol.NewBond(mol.GetAtom(1), mol.GetAtom(0), 2);
  mol.NewBond(mol.GetAtom(3), mol.GetAtom(4), 1);
  NxDetermineConnectivity(mol);
  // The hydrogen already has its bond; the carbon gets its second oxygen; the given bond is not added twice.
  ASSERT_EQ(mol.NumBonds(), 4U);
  EXPECT_EQ(mol.GetBond(1)->GetOrder(), 2);
  EXPECT_EQ(mol.GetBond(3)->GetBgnIdx(), 0);
  EXPECT_EQ(mol.GetBond(3)->GetEndIdx(), 2);
}

// Compared with a loop over all pairs, on random positions. Triangles are left out, since they have a rule of their
// own.
TEST(NxConnectivity, GridMissesNothing) {
  std::mt19937 random(77);
  std::uniform_real_distribution<float> place(-25.0F, 25.0F);
  for (int round = 0; round < 40; ++round) {
    NxMol mol;
    std::vector<Atom> atoms;
    for (int i = 0; i < 400; ++i) {
      atoms.push_back({random() % 2 == 0 ? 14U : 53U, {place(random), place(random), place(random)}});
    }
    AddAtoms(mol, atoms);
    NxDetermineConnectivity(mol);
    std::set<std::pair<int, int>> near;
    for (int i = 0; i < 400; ++i) {
      for (int j = i + 1; j < 400; ++j) {
        const Atom& a = atoms[static_cast<std::size_t>(i)];
        const Atom& b = atoms[static_cast<std::size_t>(j)];
        const float distance = std::hypot(a.xyz[0] - b.xyz[0], a.xyz[1] - b.xyz[1], a.xyz[2] - b.xyz[2]);
        if (distance >= 0.4F && distance <= NxGetCovalentRadius(a.z) + NxGetCovalentRadius(b.z) + 0.45F) {
          near.emplace(i, j);
        }
      }
    }
    std::set<std::pair<int, int>> found;
    for (const auto& [bgn, end, order] : Bonds(mol)) {
      found.emplace(bgn, end);
    }
    ASSERT_TRUE(std::includes(near.begin(), near.end(), found.begin(), found.end())) << "round " << round;
    for (const auto& [i, j] : near) {
      bool in_triangle = false;
      for (int k = 0; k < 400; ++k) {
        in_triangle = in_triangle || (near.contains(std::minmax(i, k)) && near.contains(std::minmax(j, k)));
      }
      ASSERT_TRUE(in_triangle || found.contains({i, j})) << "round " << round << " " << i << " " << j;
    }
  }
}

// A residue of a PQR file, with its total charge and its atoms. Fields are separated by white space: record, serial,
// name, residue, [chain,] number, x, y, z, charge, radius.
struct PqrResidue {
  std::string name;
  double charge = 0.0;
  std::vector<const NxAtomBase*> atoms;
};

std::vector<PqrResidue> ReadPqr(const std::string& name, NxMolBase& mol) {
  std::ifstream file(std::string(APBS_EXAMPLES) + "/" + name);
  std::vector<PqrResidue> residues;
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with("ATOM") && !line.starts_with("HETATM")) {
      continue;
    }
    std::istringstream fields(line);
    const std::vector<std::string> words{std::istream_iterator<std::string>(fields), {}};
    const std::size_t n = words.size();
    const std::string letters = words[2].substr(words[2].find_first_not_of("0123456789"));
    const bool is_zinc = words[3] == "ZN" || letters.starts_with("ZN");
    AddAtoms(mol, {{is_zinc ? 30 : NxGetAtomicNum(letters.substr(0, 1)),
                    {std::stof(words[n - 5]), std::stof(words[n - 4]), std::stof(words[n - 3])}}});
    const std::string residue = words[3] + " " + words[n - 6];
    if (residues.empty() || residues.back().name != residue) {
      residues.push_back({residue, 0.0, {}});
    }
    residues.back().charge += std::stod(words[n - 2]);
    residues.back().atoms.push_back(mol.GetAtom(static_cast<int>(mol.GetMaxAtomIdx()) - 1));
  }
  return residues;
}

// The formal charge that perception finds for each residue from the geometry alone must be the sum of its force-field
// charges. Tested on two structures with all hydrogens, a minimised one, and one with polar hydrogens and a ligand.
TEST(NxPerceive, ResiduesOfProteinsHaveTheirForceFieldCharges) {
  for (const char* name : {"pbsam-barn_bars/barnase.pqr", "pbsam-barn_bars/barstar.pqr", "FKBP/1d7i-min.pqr",
                           "pka-lig/bx6_7_bin_apbs.pqr"}) {
    NxMol mol;
    const std::vector<PqrResidue> residues = ReadPqr(name, mol);
    ASSERT_GT(residues.size(), 80U) << name;
    Perceive(mol);
    int charged = 0;
    for (const PqrResidue& residue : residues) {
      int net = 0;
      for (const NxAtomBase* atom : residue.atoms) {
        net += atom->GetFormalCharge();
      }
      // In chain B of barnase the terminal oxygen of GLN 2 is 2 angstrom away from its carbon.
      if (&residue != &residues[1] || residue.name != "GLN 2") {
        EXPECT_NEAR(net, residue.charge, 0.01) << name << " " << residue.name;
      }
      charged += net != 0 ? 1 : 0;
    }
    EXPECT_GT(charged, 20) << name;
  }
}

// Sheets of fused rings have more Kekule structures than can be tried.
TEST(NxPerceive, LargeAromaticSystemIsFullyPaired) {
  NxMol mol;
  const float a = 1.42F;
  const float h = a * std::sqrt(3.0F);
  for (int i = 0; i < 24; ++i) {
    for (int j = 0; j < 24; ++j) {
      const float x = 3 * a * static_cast<float>(i);
      const float y = h * static_cast<float>(j);
      AddAtoms(
          mol,
          {{6, {x, y, 0}}, {6, {x + a, y, 0}}, {6, {x + 1.5F * a, y + h / 2, 0}}, {6, {x + 2.5F * a, y + h / 2, 0}}});
    }
  }
  Perceive(mol);
  unsigned inner = 0;
  unsigned paired = 0;
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    if (atom.GetBonds().size() == 3) {
      ++inner;
      paired += Valence(atom) == 4 ? 1U : 0U;
    }
  }
  EXPECT_GT(inner, 2000U);
  EXPECT_EQ(paired, inner);
}

// Perception of nonsense must end soon and without harm.
TEST(NxPerceive, RandomGraphsWithBadGeometry) {
  std::mt19937 random(11);
  const unsigned elements[] = {0, 1, 5, 6, 6, 7, 8, 9, 12, 15, 16, 17, 26, 30, 34, 53, 92, 118};
  for (int round = 0; round < 300; ++round) {
    NxMol mol;
    const auto n = static_cast<int>(1 + random() % 30);
    for (int i = 0; i < n; ++i) {
      std::array<float, 3> xyz{};
      for (float& x : xyz) {
        x = random() % 40 == 0 ? std::numeric_limits<float>::quiet_NaN() : static_cast<float>(random() % 50) / 10.0F;
      }
      mol.SetCoords(*mol.NewAtom(elements[random() % std::size(elements)]), xyz.data());
    }
    for (int i = 0; i < n; ++i) {
      mol.NewBond(mol.GetAtom(static_cast<int>(random() % 32)), mol.GetAtom(static_cast<int>(random() % 32)), 7);
    }
    mol.DeleteAtom(mol.GetAtom(static_cast<int>(random() % 32)));
    Perceive(mol);
    std::set<std::pair<int, int>> seen;
    for (const auto& [bgn, end, order] : Bonds(mol)) {
      const bool is_plain = bgn >= 0 && end >= 0 && bgn != end;
      if (!is_plain || seen.insert(std::minmax(bgn, end)).second) {
        EXPECT_TRUE(is_plain ? order >= 1 && order <= 3 : order == 7) << order;
      }
    }
  }
}

}  // namespace
