#include <gtest/gtest.h>

#include <array>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/memmgr.h>
#include <nxbriochem/molecules/memmgr_state.h>

namespace {

using NxChem::NxAtomBase;
using NxChem::NxMCMolBase;
using NxChem::NxMolBase;
using NxChem::NxResidue;

template <class Call>
std::string warned(Call call) {
  testing::internal::CaptureStderr();
  call();
  return testing::internal::GetCapturedStderr();
}

constexpr const char* kOwnData = "a caller's own data";

// All that there is to say of an atom but where it is: flat getters, and the toolkit for what they do not show.
using AtomFacts = std::tuple<std::string, char, float, float, int, int, int, std::string, std::string, unsigned, int,
                             bool, char, char, float, float, bool>;
using Triple = std::array<float, 3>;
using Bond = std::array<int, 3>;

AtomFacts facts_of(int atom, int mol) {
  char name[64] = "";
  char residue[64] = "";
  char chain[2] = "";
  char element = 0;
  float radius = 0;
  float charge = 0;
  int type = 0;
  int residue_number = 0;
  int sequence_number = 0;
  nx_get_molecule_atom_names_element(name, atom, 63, mol);
  nx_get_molecule_residue_names_element(residue, atom, 63, mol);
  nx_get_molecule_chain_names_element(chain, atom, 2, mol);
  nx_get_molecule_element_element(&element, atom, mol);
  nx_get_molecule_radii_element(&radius, atom, mol);
  nx_get_molecule_charges_element(&charge, atom, mol);
  nx_get_molecule_atom_type_element(&type, atom, mol);
  nx_get_molecule_residue_number_element(&residue_number, atom, mol);
  nx_get_molecule_sequence_number_element(&sequence_number, atom, mol);
  const NxAtomBase& object = *NxBrioChem::NxDerefMolHandle(mol)->GetAtom(atom);
  const NxResidue& record = NxChem::NxAtomGetResidue(object);
  return {name,
          element,
          radius,
          charge,
          type,
          residue_number,
          sequence_number,
          residue,
          chain,
          object.GetAtomicNum(),
          object.GetFormalCharge(),
          NxChem::NxHasResidue(object),
          record.GetInsertCode(),
          record.GetAlternateLocation(),
          record.GetOccupancy(),
          record.GetBFactor(),
          record.IsHetAtom()};
}

// A molecule as its getters tell it, each part by index.
struct Snapshot {
  std::map<int, AtomFacts> atoms;
  std::map<int, Bond> bonds;
  std::map<int, std::map<int, Triple>> conformers;  // -1 for the coordinates of a molecule that has none
  std::map<int, int> conformer_data;
  int active = -1;
  int atom_bound = 0;
  int bond_bound = 0;
  std::string name;
  std::string file_name;
  std::vector<float> transform;
  std::vector<int> mask;
  int own_data = 0;

  bool operator==(const Snapshot&) const = default;
};

void add_coordinates(int conformer, int mol, Snapshot& snapshot) {
  std::vector<float> xyz(static_cast<std::size_t>(nx_get_molecule_coordinates_length(mol)));
  nx_get_molecule_coordinates(xyz.data(), mol);
  auto& places = snapshot.conformers[conformer];
  for (const auto& [atom, facts] : snapshot.atoms) {
    const auto at = static_cast<std::size_t>(3 * atom);
    places[atom] = {xyz[at], xyz[at + 1], xyz[at + 2]};
  }
}

Snapshot snapshot_of(int mol) {
  const NxMolBase& object = *NxBrioChem::NxDerefMolHandle(mol);
  Snapshot snapshot;
  snapshot.atom_bound = nx_get_molecule_radii_length(mol);
  snapshot.bond_bound = nx_get_molecule_bonds_length(mol) / 3;
  float ignored = 0;
  for (int atom = 0; atom < snapshot.atom_bound; ++atom) {
    if (nx_get_molecule_radii_element(&ignored, atom, mol) == 1) {
      snapshot.atoms[atom] = facts_of(atom, mol);
    }
  }
  for (int i = 0; i < snapshot.bond_bound; ++i) {
    Bond bond{};
    if (nx_get_molecule_bonds_element(bond.data(), i, mol) == 1) {
      snapshot.bonds[i] = bond;
    }
  }
  if (!NxBrioChem::NxIsMultiConf(mol)) {
    add_coordinates(-1, mol, snapshot);
  } else {
    nx_get_molecule_conformer(&snapshot.active, mol);
    for (const auto& conf : NxBrioChem::NxDerefMCMolHandle(mol)->GetConfs()) {
      const auto idx = static_cast<int>(conf.GetIdx());
      nx_set_molecule_conformer(idx, mol);
      add_coordinates(idx, mol, snapshot);
      const int* data = conf.GetData<int>(NxSystem::NxGetTag(kOwnData));
      snapshot.conformer_data[idx] = data != nullptr ? *data : -1;
    }
    nx_set_molecule_conformer(snapshot.active, mol);
  }
  snapshot.name = object.GetTitle();
  char file_name[64] = "";
  nx_get_molecule_file_name(file_name, mol);
  snapshot.file_name = file_name;
  if (nx_is_molecule_transform_set(mol) == 1) {
    snapshot.transform.resize(7);
    nx_get_molecule_transform(snapshot.transform.data(), mol);
  }
  if (const int* mask = nxi_molecule_atom_mask(mol)) {
    snapshot.mask.assign(mask, mask + snapshot.atom_bound);
  }
  const int* own = object.GetData<int>(NxSystem::NxGetTag(kOwnData));
  snapshot.own_data = own != nullptr ? *own : -1;
  return snapshot;
}

// What is left of a molecule when only the atoms of the mask are.
Snapshot part_of(const Snapshot& whole) {
  Snapshot part;
  std::map<int, int> place;
  for (const auto& [atom, facts] : whole.atoms) {
    const int entry = whole.mask.empty() ? 1 : whole.mask[static_cast<std::size_t>(atom)];
    if (entry != 0) {
      place[atom] = part.atom_bound;
      part.atoms[part.atom_bound++] = facts;
      if (!whole.mask.empty()) {
        part.mask.push_back(entry);
      }
    }
  }
  for (const auto& [i, bond] : whole.bonds) {
    if (place.contains(bond[0]) && place.contains(bond[1])) {
      part.bonds[part.bond_bound++] = {place[bond[0]], place[bond[1]], bond[2]};
    }
  }
  for (const auto& [conformer, places] : whole.conformers) {
    part.conformers[conformer];
    for (const auto& [from, to] : place) {
      part.conformers[conformer][to] = places.at(from);
    }
  }
  part.conformer_data = whole.conformer_data;
  part.active = whole.active;
  part.name = whole.name;
  part.file_name = whole.file_name;
  part.transform = whole.transform;
  part.own_data = whole.own_data;
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

// A molecule of its own, or a toolkit's plain one; both are deleted through their handles.
int make_source(bool multi_conformer) {
  return multi_conformer ? nx_make_molecule() : NxBrioChem::NxAcquireHandle(*new NxMolBase);
}

TEST(Copies, EqualTheirSourceAndAreTheirOwn) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const int mol = make_source(seed % 4 != 0);
    Builder(seed).fill(mol);
    const Snapshot source = snapshot_of(mol);
    const int copy = nx_copy_molecule(mol);
    ASSERT_LT(copy, 0);
    ASSERT_NE(copy, mol);
    ASSERT_EQ(NxBrioChem::NxIsMultiConf(copy), NxBrioChem::NxIsMultiConf(mol));
    ASSERT_TRUE(snapshot_of(copy) == source);
    nx_clear_molecule(copy);
    ASSERT_TRUE(snapshot_of(mol) == source);
    nx_delete_molecule(copy);
    nx_delete_molecule(mol);
  }
}

TEST(Copies, OfAMaskAreWhatIsLeftByHand) {
  for (unsigned seed = 1; seed <= 600; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const int mol = make_source(seed % 4 != 0);
    Builder(seed).fill(mol);
    const Snapshot source = snapshot_of(mol);
    const int part = nx_make_molecule_from_mask(mol);
    ASSERT_LT(part, 0);
    const Snapshot expected = part_of(source);
    const Snapshot made = snapshot_of(part);
    ASSERT_EQ(made.atoms, expected.atoms);
    ASSERT_EQ(made.bonds, expected.bonds);
    ASSERT_EQ(made.conformers, expected.conformers);
    ASSERT_EQ(made.mask, expected.mask);
    ASSERT_TRUE(made == expected);
    ASSERT_EQ(nx_is_molecule_atom_mask_set(part), nx_is_molecule_atom_mask_set(mol));
    ASSERT_TRUE(snapshot_of(mol) == source);
    nx_delete_molecule(mol);
    ASSERT_TRUE(snapshot_of(part) == expected);
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
  EXPECT_EQ(nx_is_atom_in_ring(2, mol), 1);
  nxi_molecule_radii(mol);
  nxi_molecule_coordinates(mol);
  nxi_molecule_atom_names(mol);
  const int mask[] = {0, 1, 1, 1, 1};
  nx_set_molecule_atom_mask(mask, mol);
  const int part = nx_make_molecule_from_mask(mol);
  EXPECT_EQ(nx_get_molecule_bond_number(part), 3);
  EXPECT_EQ(nx_is_atom_in_ring(1, part), 0);
  EXPECT_EQ(nx_is_bond_a_rotor(1, part), 1);
  for (const char* tag : {"NxBrioRadii", "NxBrioCoords", "NxBrioAtomNames"}) {
    EXPECT_TRUE(NxBrioChem::NxDerefMolHandle(mol)->HasData(NxSystem::NxGetTag(tag))) << tag;
    EXPECT_FALSE(NxBrioChem::NxDerefMolHandle(part)->HasData(NxSystem::NxGetTag(tag))) << tag;
  }
  const int alone[] = {1, 0, 0, 0, 0};
  nx_set_molecule_atom_mask(alone, mol);
  EXPECT_EQ(nx_is_atom_in_ring(0, mol), 1);
  EXPECT_EQ(nx_is_atom_in_ring(0, nx_make_molecule_from_mask(mol)), 0);
  const int nothing[] = {0, 0, 0, 0, 0};
  nx_set_molecule_atom_mask(nothing, mol);
  const int empty = nx_make_molecule_from_mask(mol);
  EXPECT_EQ(nx_get_molecule_atom_number(empty), 0);
  EXPECT_EQ(nx_get_molecule_conformer_number(empty), 1);
}

TEST(Copies, FailWhenHandlesAreUsedUp) {
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(2, mol);
  memmgr::vFreeHandle.push_back(-1000000000);
  const std::string no_handle =
      "Warning: Unable to get another molecule handle\nWarning: Unable to allocate NxBrio handle\n";
  EXPECT_EQ(warned([&] { EXPECT_EQ(nx_copy_molecule(mol), 0); }), no_handle);
  EXPECT_EQ(warned([&] { EXPECT_EQ(nx_make_molecule_from_mask(mol), 0); }), no_handle);
}

}  // namespace
