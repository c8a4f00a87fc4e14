#include <nxbriochem/toolkit/nxchem.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace NxChem;

using Edges = std::vector<std::pair<unsigned, unsigned>>;

void Build(NxMolBase& mol, unsigned n_atoms, const Edges& edges) {
  for (unsigned i = 0; i < n_atoms; ++i) {
    mol.NewAtom(6);
  }
  for (const auto& [a, b] : edges) {
    mol.NewBond(mol.GetAtom(static_cast<int>(a)), mol.GetAtom(static_cast<int>(b)), 1);
  }
}

// Size of the smallest ring through an edge: one more than the shortest way around it.
unsigned SmallestRing(unsigned n_atoms, const Edges& edges, std::size_t through) {
  const auto [from, to] = edges[through];
  if (from == to) {
    return 0;
  }
  std::vector<unsigned> distance(n_atoms, n_atoms);
  distance[from] = 0;
  for (bool changed = true; changed;) {
    changed = false;
    for (const auto& [a, b] : edges) {
      if (std::minmax(a, b) == std::minmax(from, to)) {
        continue;
      }
      for (const auto& [x, y] : {std::pair(a, b), std::pair(b, a)}) {
        if (distance[x] + 1 < distance[y]) {
          distance[y] = distance[x] + 1;
          changed = true;
        }
      }
    }
  }
  return distance[to] < n_atoms ? distance[to] + 1 : 0;
}

TEST(NxRings, RandomGraphsAgainstEveryWayRound) {
  std::mt19937 random(20240607);
  for (int round = 0; round < 1500; ++round) {
    const unsigned n = 3 + static_cast<unsigned>(random() % 14);
    const std::size_t m = random() % (2 * n);
    Edges edges;
    for (std::size_t k = 0; k < m; ++k) {
      // Sometimes this is a bond of an atom with itself, or a second bond between two atoms.
      edges.emplace_back(random() % n, random() % n);
    }
    NxMolBase mol;
    Build(mol, n, edges);
    std::vector<unsigned> of_atom(n, std::numeric_limits<unsigned>::max());
    for (std::size_t k = 0; k < m; ++k) {
      const unsigned expected = SmallestRing(n, edges, k);
      const NxBondBase& bond = *mol.GetBond(static_cast<int>(k));
      ASSERT_EQ(bond.GetSmallestRingSize(), expected) << "round " << round << " bond " << k;
      ASSERT_EQ(bond.IsInRing(), expected != 0);
      if (expected != 0) {
        of_atom[edges[k].first] = std::min(of_atom[edges[k].first], expected);
        of_atom[edges[k].second] = std::min(of_atom[edges[k].second], expected);
      }
    }
    for (unsigned a = 0; a < n; ++a) {
      ASSERT_EQ(mol.GetAtom(static_cast<int>(a))->GetSmallestRingSize(), of_atom[a] > n ? 0 : of_atom[a]);
      ASSERT_EQ(mol.GetAtom(static_cast<int>(a))->IsInRing(), of_atom[a] <= n);
    }
  }
}

// A long chain of fused squares inside one large ring: no search may walk around the whole of it, and nothing may
// recurse.
TEST(NxRings, LargeSystems) {
  const unsigned n = 100000;
  Edges ladder;
  for (unsigned i = 0; i + 2 < n; i += 2) {
    ladder.insert(ladder.end(), {{i, i + 1}, {i, i + 2}, {i + 1, i + 3}});
  }
  NxMolBase fused;
  Build(fused, n, ladder);
  EXPECT_EQ(fused.GetBond(0)->GetSmallestRingSize(), 4U);
  EXPECT_EQ(fused.GetBond(100001)->GetSmallestRingSize(), 4U);

  Edges circle;
  for (unsigned i = 0; i < n; ++i) {
    circle.emplace_back(i, (i + 1) % n);
  }
  NxMolBase macrocycle;
  Build(macrocycle, n, circle);
  EXPECT_EQ(macrocycle.GetAtom(5)->GetSmallestRingSize(), n);
  macrocycle.DeleteBond(macrocycle.GetBond(7));
  EXPECT_FALSE(macrocycle.GetAtom(5)->IsInRing());
}

// N-propylbenzamide without hydrogens: 0-5 ring, 6 carbonyl C, 7 O, 8 N, 9-11 propyl.
TEST(NxRings, Rotors) {
  NxMol mol;
  Build(mol, 12, {{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 0}, {0, 6}, {6, 7}, {6, 8}, {8, 9}, {9, 10}, {10, 11}});
  mol.GetBond(7)->SetOrder(2);
  std::vector<unsigned> rotors;
  for (const NxBondBase& bond : mol.GetBonds()) {
    if (bond.IsRotor()) {
      rotors.push_back(bond.GetIdx());
    }
  }
  EXPECT_EQ(rotors, (std::vector<unsigned>{6, 8, 9, 10}));

  // Flags are updated after every change that they depend on.
  EXPECT_FALSE(mol.GetBond(11)->IsRotor());
  NxAtomBase* hydrogen = mol.NewAtom(1);
  mol.NewBond(mol.GetAtom(11), hydrogen, 1);
  EXPECT_FALSE(mol.GetBond(11)->IsRotor());
  hydrogen->SetAtomicNum(9);
  EXPECT_TRUE(mol.GetBond(11)->IsRotor());
  mol.GetBond(11)->SetOrder(2);
  EXPECT_FALSE(mol.GetBond(11)->IsRotor());
  mol.GetBond(11)->SetOrder(1);
  mol.GetBond(12)->SetEnd(mol.GetAtom(9));
  EXPECT_TRUE(mol.GetBond(11)->IsInRing());
  EXPECT_FALSE(mol.GetBond(11)->IsRotor());
  mol.DeleteAtom(mol.GetAtom(10));
  EXPECT_FALSE(mol.GetAtom(11)->IsInRing());

  // A second bond between the same two atoms does not make a second neighbour.
  NxMol ethane;
  Build(ethane, 2, {{0, 1}, {1, 0}, {0, 0}});
  EXPECT_FALSE(ethane.GetBond(0)->IsRotor());
  EXPECT_FALSE(ethane.GetBond(2)->IsRotor());
  EXPECT_EQ(ethane.GetAtom(0)->GetHeavyDegree(), 1U);
}

}  // namespace
