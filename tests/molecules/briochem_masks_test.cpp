#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/memmgr.h>

#include "tests/support/warned.h"

namespace {

using test_support::warned;
using Mask = std::vector<int>;

constexpr int kDefault = 16843009;

NxChem::NxMolBase& toolkit(int mol) { return *NxBrioChem::NxDerefMolHandle(mol); }

int make_pair() {
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(2, mol);
  return mol;
}

// The mask as the flat getter gives it; entries that it does not write stay at -99.
Mask mask_of(int mol) {
  Mask mask(static_cast<std::size_t>(nx_get_molecule_radii_length(mol)) + 1, -99);
  EXPECT_EQ(nx_get_molecule_atom_mask(mask.data(), mol), 1);
  EXPECT_EQ(mask.back(), -99);
  mask.pop_back();
  return mask;
}

// A model of the documented masks, on a plain array of slots.
struct Model {
  std::vector<int> slots;  // atomic number; -1 for a deleted atom
  std::optional<Mask> mask;

  bool has(int atom) const {
    return atom >= 0 && atom < static_cast<int>(slots.size()) && slots[std::size_t(atom)] >= 0;
  }
  Mask current(int fill) const {
    Mask now = mask.value_or(Mask(slots.size(), fill));
    now.resize(slots.size(), 0);
    return now;
  }
  int selected() const {
    return static_cast<int>(mask ? std::ranges::count_if(*mask, [](int entry) { return entry != 0; })
                                 : std::ranges::count_if(slots, [](int z) { return z >= 0; }));
  }
};

class RandomMasks {
 public:
  explicit RandomMasks(unsigned seed) : random_(seed), mol_(nx_make_molecule()) {}
  ~RandomMasks() { nx_delete_molecule(mol_); }
  RandomMasks(const RandomMasks&) = delete;
  RandomMasks& operator=(const RandomMasks&) = delete;

  void step() {
    const Mask given = any_mask();
    switch (random_() % 10) {
      case 0:
        add_atom();
        break;
      case 1:
        delete_atom();
        break;
      case 2:
        ASSERT_EQ(nx_set_molecule_atom_mask(given.data(), mol_), 1);
        model_.mask = Mask(given.begin(), given.end() - 1);
        break;
      case 3:
        set_element();
        break;
      case 4:
        ASSERT_EQ(nx_not_molecule_atom_mask(given.data(), mol_), 1);
        combine([&](int& own, std::size_t i) { own = given[i] != 0 ? 0 : own; });
        break;
      case 5:
        ASSERT_EQ(nx_or_molecule_atom_mask(given.data(), mol_), 1);
        combine([&](int& own, std::size_t i) { own |= given[i]; });
        break;
      case 6:
        ASSERT_EQ(nx_and_molecule_atom_mask(given.data(), mol_), 1);
        combine([&](int& own, std::size_t i) { own &= given[i]; });
        break;
      case 7:
        ASSERT_EQ(nx_mask_molecule_hydrogens(mol_), 1);
        combine([&](int& own, std::size_t i) { own = model_.slots[i] == 0 || model_.slots[i] == 1 ? 0 : own; });
        break;
      default:
        if (const auto rare = random_() % 8; rare == 0) {
          nx_clear_molecule(mol_);
          model_ = Model();
        } else if (rare == 1) {
          toolkit(mol_).DeleteData(NxSystem::NxGetTag("NxBrioAtomMask"));
          model_.mask.reset();
        }
    }
  }

  void check() {
    ASSERT_EQ(nx_atoms_masked(mol_), model_.selected());
    ASSERT_EQ(nx_is_molecule_atom_mask_set(mol_), model_.mask ? 1 : 0);
    const Mask expected = model_.current(0);
    if (model_.mask) {
      ASSERT_EQ(mask_of(mol_), expected);
      const int* own = nxi_molecule_atom_mask(mol_);
      ASSERT_EQ(Mask(own, own + expected.size()), expected);
    } else {
      int untouched = -99;
      ASSERT_EQ(nx_get_molecule_atom_mask(&untouched, mol_), 0);
      ASSERT_EQ(untouched, -99);
      ASSERT_EQ(nxi_molecule_atom_mask(mol_), nullptr);
    }
    for (int atom = -1; atom <= static_cast<int>(model_.slots.size()); ++atom) {
      int value = -99;
      const bool there = model_.mask && model_.has(atom);
      ASSERT_EQ(nx_get_molecule_atom_mask_element(&value, atom, mol_), there || model_.slots.empty() ? 1 : 0);
      ASSERT_EQ(value, there ? expected[static_cast<std::size_t>(atom)] : -99);
    }
  }

 private:
  // One entry more than there are slots, so that the array is never empty.
  Mask any_mask() {
    Mask mask(model_.slots.size() + 1);
    for (int& entry : mask) {
      entry = random_() % 2 == 0 ? 0 : static_cast<int>(random_() >> (random_() % 32));
    }
    return mask;
  }
  template <class Change>
  void combine(Change change) {
    if (!model_.slots.empty()) {
      model_.mask = model_.current(kDefault);
      for (std::size_t i = 0; i < model_.slots.size(); ++i) {
        change((*model_.mask)[i], i);
      }
    }
  }
  void add_atom() {
    const auto z = static_cast<unsigned>(random_() % 4);
    toolkit(mol_).NewAtom(z);
    model_.slots.push_back(static_cast<int>(z));
  }
  void delete_atom() {
    const int atom = static_cast<int>(random_() % (model_.slots.size() + 1));
    if (toolkit(mol_).DeleteAtom(toolkit(mol_).GetAtom(atom))) {
      model_.slots[static_cast<std::size_t>(atom)] = -1;
    }
  }
  void set_element() {
    const int atom = static_cast<int>(random_() % (model_.slots.size() + 2)) - 1;
    const int value = static_cast<int>(random_() % 3);
    ASSERT_EQ(nx_set_molecule_atom_mask_element(value, atom, mol_), model_.has(atom) || model_.slots.empty() ? 1 : 0);
    if (model_.has(atom)) {
      model_.mask = model_.current(1);
      (*model_.mask)[static_cast<std::size_t>(atom)] = value;
    }
  }

  std::mt19937 random_;
  int mol_;
  Model model_;
};

TEST(Masks, AgreeWithTheDescriptionUnderRandomCalls) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    RandomMasks masks(seed);
    for (int step = 0; step < 1000 && !HasFatalFailure(); ++step) {
      masks.step();
      masks.check();
    }
  }
}

TEST(Masks, NullsAndStrangeIndicesChangeNothing) {
  const int mol = make_pair();
  const Mask mask = {5, 0};
  EXPECT_EQ(nx_set_molecule_atom_mask(mask.data(), mol), 1);
  const int empty = nx_make_molecule();  // there is nothing to be done
  for (const auto change :
       {nx_set_molecule_atom_mask, nx_not_molecule_atom_mask, nx_or_molecule_atom_mask, nx_and_molecule_atom_mask}) {
    EXPECT_EQ(change(nullptr, mol), 0);
    EXPECT_EQ(change(nullptr, empty), 1);
  }
  EXPECT_EQ(nx_get_molecule_atom_mask(nullptr, mol), 0);
  EXPECT_EQ(nx_get_molecule_atom_mask_element(nullptr, 0, mol), 0);
  int value = -99;
  for (const int atom : {-1, 2, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(nx_set_molecule_atom_mask_element(7, atom, mol), 0);
    EXPECT_EQ(nx_get_molecule_atom_mask_element(&value, atom, mol), 0);
  }
  EXPECT_EQ(value, -99);
  EXPECT_EQ(mask_of(mol), mask);
  EXPECT_EQ(nx_and_molecule_atom_mask(nxi_molecule_atom_mask(mol), mol), 1);  // with itself
  EXPECT_EQ(mask_of(mol), mask);

  EXPECT_EQ(nx_is_molecule_atom_mask_set(empty), 0);
}

// The mask is generic data of the molecule: what a program stores under its tag counts.
TEST(Masks, AreGenericData) {
  const int mol = make_pair();
  const int tag = NxSystem::NxGetTag("NxBrioAtomMask");
  nx_set_molecule_atom_mask_element(4, 1, mol);
  toolkit(mol).SetData(tag, 2.5F);
  const std::string type_warning =
      "Warning: Data under tag " + std::to_string(tag) + " (NxBrioAtomMask) is of type float, asked for as int\n";
  Mask read = {-99, -99};
  EXPECT_EQ(warned(0, [&] { return nx_get_molecule_atom_mask(read.data(), mol); }), type_warning);
  EXPECT_EQ(warned(2, [&] { return nx_atoms_masked(mol); }), type_warning);
  EXPECT_EQ(warned(true, [&] { return nxi_molecule_atom_mask(mol) == nullptr; }), type_warning);
  EXPECT_EQ(nx_is_molecule_atom_mask_set(mol), 1);
  EXPECT_EQ(warned(1, [&] { return nx_set_molecule_atom_mask_element(0, 0, mol); }), type_warning);
  EXPECT_EQ(mask_of(mol), (Mask{0, 1}));

  toolkit(mol).SetData(tag, (Mask{7, 8, 9}).data(), 3);  // longer than there are slots
  EXPECT_EQ(nx_atoms_masked(mol), 2);
  EXPECT_EQ(mask_of(mol), (Mask{7, 8}));
}

}  // namespace
