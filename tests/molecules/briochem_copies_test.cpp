#include <gtest/gtest.h>

#include <array>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/memmgr.h>
#include <nxbriochem/molecules/memmgr_state.h>

#include "tests/support/warned.h"

namespace {

using NxChem::NxAtomBase;
using NxChem::NxMCMolBase;
using NxChem::NxMolBase;
using NxChem::NxResidue;
using test_support::warned;

constexpr const char* kOwnData = "a caller's own data";

using Bond = std::array<int, 3>;

// All properties of an atom except its coordinates.
std::string facts_of(const NxAtomBase& atom) {
  const NxResidue& residue = NxChem::NxAtomGetResidue(atom);
  std::ostringstream facts;
  facts << atom.GetName() << '|' << atom.GetAtomicNum() << '|' << atom.GetRadius() << '|' << atom.GetPartialCharge()
        << '|' << atom.GetFormalCharge() << '|' << atom.GetIntType() << '|' << NxChem::NxHasResidue(atom) << '|'
        << residue.GetName() << '|' << residue.GetResidueNumber() << '|' << residue.GetSequenceNumber() << '|'
        << residue.GetChainID() << residue.GetInsertCode() << residue.GetAlternateLocation() << '|'
        << residue.GetOccupancy() << '|' << residue.GetBFactor() << '|' << residue.IsHetAtom();
  return facts.str();
}

// The contents of a molecule, by the indices of its parts.
struct Snapshot {
  std::map<int, std::string> atoms;  // properties, and the coordinates in each conformer
  std::map<int, Bond> bonds;
  int atom_bound = 0;
  int bond_bound = 0;
  std::vector<int> mask;
  std::string others;  // data of the molecule that a part also has

  bool operator==(const Snapshot&) const = default;
};

void add_places(const NxMolBase& mol, Snapshot& snapshot) {
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    std::array<float, 3> xyz{};
    mol.GetCoords(atom, xyz.data());
    snapshot.atoms[static_cast<int>(atom.GetIdx())] += testing::PrintToString(xyz);
  }
}

int own_data(const NxSystem::NxBase& object) {
  const int* data = object.GetData<int>(NxSystem::NxGetTag(kOwnData));
  return data != nullptr ? *data : -1;
}

Snapshot snapshot_of(int mol) {
  const NxMolBase& object = *NxBrioChem::NxDerefMolHandle(mol);
  Snapshot snapshot;
  snapshot.atom_bound = static_cast<int>(object.GetMaxAtomIdx());
  snapshot.bond_bound = static_cast<int>(object.GetMaxBondIdx());
  for (const NxAtomBase& atom : object.GetAtoms()) {
    snapshot.atoms[static_cast<int>(atom.GetIdx())] = facts_of(atom);
  }
  for (const NxChem::NxBondBase& bond : object.GetBonds()) {
    snapshot.bonds[static_cast<int>(bond.GetIdx())] = {bond.GetBgnIdx(), bond.GetEndIdx(), bond.GetOrder()};
  }
  std::ostringstream others;
  if (!NxBrioChem::NxIsMultiConf(mol)) {
    add_places(object, snapshot);
  } else {
    int active = -1;
    nx_get_molecule_conformer(&active, mol);
    others << "active " << active;
    for (const auto& conf : NxBrioChem::NxDerefMCMolHandle(mol)->GetConfs()) {
      nx_set_molecule_conformer(static_cast<int>(conf.GetIdx()), mol);
      add_places(object, snapshot);
      others << " conformer " << conf.GetIdx() << ": " << own_data(conf);
    }
    nx_set_molecule_conformer(active, mol);
  }
  char file_name[64] = "none";
  nx_get_molecule_file_name(file_name, mol);
  float transform[7] = {};
  nx_get_molecule_transform(transform, mol);
  others << '|' << object.GetTitle() << '|' << file_name << '|' << own_data(object);
  for (const float value : transform) {
    others << '|' << value;
  }
  snapshot.others = others.str();
  if (const int* mask = nxi_molecule_atom_mask(mol)) {
    snapshot.mask.assign(mask, mask + snapshot.atom_bound);
  }
  return snapshot;
}

// What is left of a molecule when only the atoms in the mask are kept.
Snapshot part_of(const Snapshot& whole) {
  Snapshot part;
  std::map<int, int> place;
  for (const auto& [atom, facts] : whole.atoms) {
    const int entry = whole.mask.empty() ? 1 : whole.mask[static_cast<std::size_t>(atom)];
    if (entry != 0) {
      place[atom] = part.atom_bound;
      part.atoms[part.atom_bound++] = facts;
      part.mask.push_back(entry);
    }
  }
  part.mask.resize(whole.mask.empty() ? 0 : part.mask.size());
  for (const auto& [i, bond] : whole.bonds) {
    if (place.contains(bond[0]) && place.contains(bond[1])) {
      part.bonds[part.bond_bound++] = {place[bond[0]], place[bond[1]], bond[2]};
    }
  }
  part.others = whole.others;
  return part;
}

class Builder {
 public:
  explicit Builder(unsigned seed) : random_(seed) {}

  // A molecule with holes in its atoms, bonds and conformers, and with every kind of data or none.
  void fill(int mol) {
    NxMolBase& object = *NxBrioChem::NxDerefMolHandle(mol);
    object.SetTitle(text());
    const int n = below(30);
    for (int atom = 0; atom < n; ++atom) {
      fill(*object.NewAtom(static_cast<unsigned>(below(20))));
    }
    for (int bond = below(40); bond > 0; --bond) {
      object.NewBond(object.GetAtom(below(n + 2)), object.GetAtom(below(n + 2)), below(4));
    }
    set_coordinates(mol);
    if (NxBrioChem::NxIsMultiConf(mol)) {
      fill_conformers(mol);
    }
    for (int i = below(6); i > 0; --i) {
      object.DeleteAtom(object.GetAtom(below(n + 1)));
      object.DeleteBond(object.GetBond(below(40)));
    }
    fill_data(mol);
  }

 private:
  int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }
  bool once_in(int n) { return below(n) == 0; }
  float number() { return static_cast<float>(below(20001) - 10000) / 100.0F; }
  std::string text() { return once_in(4) ? "" : "text " + std::to_string(below(1000)); }

  void fill(NxAtomBase& atom) {
    atom.SetName(text());
    atom.SetRadius(number());
    atom.SetPartialCharge(number());
    atom.SetFormalCharge(below(5) - 2);
    atom.SetIntType(below(100));
    if (once_in(2)) {
      NxResidue residue;
      residue.SetName(text());
      residue.SetResidueNumber(below(1000) - 10);
      residue.SetSequenceNumber(below(1000));
      residue.SetChainID(static_cast<char>('A' + below(26)));
      residue.SetInsertCode(static_cast<char>('A' + below(26)));
      residue.SetAlternateLocation(static_cast<char>('A' + below(26)));
      residue.SetOccupancy(number());
      residue.SetBFactor(number());
      residue.SetHetAtom(once_in(2));
      NxChem::NxAtomSetResidue(atom, residue);
    }
  }
  void set_coordinates(int mol) {
    for (int i = 0; i < nx_get_molecule_coordinates_length(mol); ++i) {
      nx_set_molecule_coordinates_element(number(), i, mol);
    }
  }
  void fill_conformers(int mol) {
    NxMCMolBase& object = *NxBrioChem::NxDerefMCMolHandle(mol);
    nx_set_molecule_conformer_number(1 + below(5), mol);
    for (auto& conf : object.GetConfs()) {
      object.SetActive(&conf);
      set_coordinates(mol);
      if (once_in(2)) {
        conf.SetData(NxSystem::NxGetTag(kOwnData), below(100));
      }
    }
    for (int i = below(4); i > 0 && object.NumConfs() > 1; --i) {
      object.DeleteConf(object.GetConf(below(5)));
    }
    nx_set_molecule_conformer(below(5), mol);
  }
  void fill_data(int mol) {
    if (once_in(2)) {
      nx_set_molecule_file_name(text().c_str(), mol);
    }
    if (once_in(2)) {
      const float transform[] = {number(), number(), number(), number(), number(), number(), number()};
      nx_set_molecule_transform(transform, mol);
    }
    if (!once_in(4)) {
      std::vector<int> mask(static_cast<std::size_t>(nx_get_molecule_radii_length(mol)) + 1);
      for (int& entry : mask) {
        entry = once_in(3) ? 0 : static_cast<int>(random_());
      }
      nx_set_molecule_atom_mask(mask.data(), mol);
    }
    NxMolBase& object = *NxBrioChem::NxDerefMolHandle(mol);
    if (once_in(2)) {
      object.SetData(NxSystem::NxGetTag(kOwnData), below(100));
    }
    if (once_in(3)) {
      object.NewAtom(6);  // after the mask
    }
  }

  std::mt19937 random_;
};

// A molecule made by the library, or a plain one of the toolkit. Both are deleted through their handles.
int make_source(bool multi_conformer) {
  return multi_conformer ? nx_make_molecule() : NxBrioChem::NxAcquireHandle(*new NxMolBase);
}

TEST(Copies, AreTheWholeOrWhatTheMaskLeavesAndTheirOwn) {
  for (unsigned seed = 1; seed <= 600; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const int mol = make_source(seed % 4 != 0);
    Builder(seed).fill(mol);
    const Snapshot source = snapshot_of(mol);
    const int copy = nx_copy_molecule(mol);
    const int part = nx_make_molecule_from_mask(mol);
    ASSERT_TRUE(copy < 0 && part < 0 && copy != mol && part != mol && part != copy);
    ASSERT_EQ(NxBrioChem::NxIsMultiConf(copy), NxBrioChem::NxIsMultiConf(mol));
    ASSERT_TRUE(snapshot_of(copy) == source);
    nx_clear_molecule(copy);
    ASSERT_TRUE(snapshot_of(mol) == source);

    const Snapshot expected = part_of(source);
    const Snapshot made = snapshot_of(part);
    ASSERT_EQ(made.atoms, expected.atoms);
    ASSERT_EQ(made.bonds, expected.bonds);
    ASSERT_EQ(made.others, expected.others);
    ASSERT_TRUE(made == expected);
    ASSERT_EQ(nx_is_molecule_atom_mask_set(part), nx_is_molecule_atom_mask_set(mol));
    nx_delete_molecule(mol);
    ASSERT_TRUE(snapshot_of(part) == expected);
    nx_delete_molecule(copy);
    nx_delete_molecule(part);
  }
}

TEST(Copies, OfAMaskSeeTheirOwnRingsAndDropTheWholesArrays) {
  const int mol = nx_make_molecule();  // a ring of three with a tail of two
  nx_set_molecule_atom_number(5, mol);
  nx_set_molecule_element("CCCCC", mol);
  nx_set_molecule_bond_number(5, mol);
  const int bonds[] = {0, 1, 1, 1, 2, 1, 2, 0, 1, 2, 3, 1, 3, 4, 1};
  nx_set_molecule_bonds(bonds, mol);
  const auto part_with = [&](std::array<int, 5> mask) {
    EXPECT_EQ(nx_is_atom_in_ring(2, mol), 1);
    nx_set_molecule_atom_mask(mask.data(), mol);
    return nx_make_molecule_from_mask(mol);
  };
  nxi_molecule_radii(mol);
  nxi_molecule_coordinates(mol);
  nxi_molecule_atom_names(mol);
  const int part = part_with({0, 1, 1, 1, 1});
  EXPECT_EQ(nx_is_atom_in_ring(1, part), 0);
  EXPECT_EQ(nx_is_bond_a_rotor(1, part), 1);
  for (const char* tag : {"NxBrioRadii", "NxBrioCoords", "NxBrioAtomNames"}) {
    EXPECT_TRUE(NxBrioChem::NxDerefMolHandle(mol)->HasData(NxSystem::NxGetTag(tag))) << tag;
    EXPECT_FALSE(NxBrioChem::NxDerefMolHandle(part)->HasData(NxSystem::NxGetTag(tag))) << tag;
  }
  EXPECT_EQ(nx_is_atom_in_ring(0, part_with({1, 0, 0, 0, 0})), 0);
  const int empty = part_with({});
  EXPECT_EQ(nx_get_molecule_atom_number(empty), 0);
  EXPECT_EQ(nx_get_molecule_conformer_number(empty), 1);
}

// In a child process that ends at once, since molecules that got no handle are not freed.
TEST(CopiesDeathTest, FailWhenHandlesAreUsedUp) {
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(2, mol);
  memmgr::vFreeHandle.push_back(-1000000000);
  const std::string no_handle =
      "Warning: Unable to get another molecule handle\nWarning: Unable to allocate NxBrio handle\n";
  for (int (*const copy)(int) : {nx_copy_molecule, nx_make_molecule_from_mask}) {
    EXPECT_EXIT(
        {
          const bool failed = copy(mol) == 0 && memmgr::vFreeHandle.back() == -1000000000;
          _exit(failed ? 0 : 1);
        },
        testing::ExitedWithCode(0), testing::Eq(no_handle));
  }
}

}  // namespace
