// Atom masks: an array of one int per atom slot, kept as the molecule's generic data and changed in place.
#include <algorithm>
#include <vector>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_internal.h>

namespace briochem {
namespace {

using NxChem::NxMolBase;

// The entries of a molecule without a mask. Kept: programs rely on these two different values, which show when they
// combine the result with a mask of their own.
constexpr int kEveryByteOne = 0x01010101;
constexpr int kOne = 1;

// The mask, of as many entries as the index bound, or null when none is set. When the bound has grown since the mask
// was set, entries of 0 are added for the new atoms.
int* find_mask(NxMolBase& molecule) {
  std::size_t length = 0;
  const int* mask = molecule.GetData<int>(mask_tag(), &length);
  const std::size_t bound = molecule.GetMaxAtomIdx();
  if (mask == nullptr || length == bound) {
    return const_cast<int*>(mask);  // allowed: the array belongs to the molecule, which is not const
  }
  std::vector<int> entries(mask, mask + std::min(length, bound));
  entries.resize(bound);
  return molecule.SetData(mask_tag(), entries.data(), bound);
}

// The mask, to be changed. When none is set, a mask with this entry for every atom is made first.
int* find_or_make_mask(NxMolBase& molecule, int entry) {
  if (int* mask = find_mask(molecule)) {
    return mask;
  }
  const std::vector<int> entries(molecule.GetMaxAtomIdx(), entry);
  return molecule.SetData(mask_tag(), entries.data(), entries.size());
}

// Replaces every entry by combined(entry, entry of the given mask).
template <class Combined>
int combine(const int* mask, int mol, Combined combined) {
  NxMolBase& molecule = model(mol);
  const unsigned bound = molecule.GetMaxAtomIdx();
  if (bound == 0) {
    return 1;
  }
  if (mask == nullptr) {
    return 0;
  }
  return guarded([&] {
    int* own = find_or_make_mask(molecule, kEveryByteOne);
    std::transform(own, own + bound, mask, own, combined);
    return 1;
  });
}

}  // namespace

int mask_tag() {
  static const int tag = tag_of("NxBrioAtomMask");
  return tag;
}

}  // namespace briochem

using namespace briochem;

int nx_set_molecule_atom_mask(const int* mask, int mol) {
  NxMolBase& molecule = model(mol);
  const unsigned bound = molecule.GetMaxAtomIdx();
  if (mask == nullptr) {
    return static_cast<int>(bound == 0);
  }
  return guarded([&] {
    molecule.SetData(mask_tag(), mask, bound);
    return 1;
  });
}

int nx_get_molecule_atom_mask(int* mask, int mol) {
  NxMolBase& molecule = model(mol);
  return guarded([&] {
    const int* own = find_mask(molecule);
    if (own == nullptr || mask == nullptr) {
      return 0;
    }
    std::copy_n(own, molecule.GetMaxAtomIdx(), mask);
    return 1;
  });
}

int nx_is_molecule_atom_mask_set(int mol) { return static_cast<int>(model(mol).HasData(mask_tag())); }

int nx_get_molecule_atom_mask_element(int* value, int atom, int mol) {
  NxMolBase& molecule = model(mol);
  if (molecule.GetMaxAtomIdx() == 0) {
    return 1;
  }
  return guarded([&] {
    const int* own = find_mask(molecule);
    if (own == nullptr || value == nullptr || molecule.GetAtom(atom) == nullptr) {
      return 0;
    }
    *value = own[atom];
    return 1;
  });
}

int nx_set_molecule_atom_mask_element(int value, int atom, int mol) {
  NxMolBase& molecule = model(mol);
  if (molecule.GetMaxAtomIdx() == 0) {
    return 1;
  }
  if (molecule.GetAtom(atom) == nullptr) {
    return 0;
  }
  return guarded([&] {
    find_or_make_mask(molecule, kOne)[atom] = value;
    return 1;
  });
}

int nx_not_molecule_atom_mask(const int* mask, int mol) {
  return combine(mask, mol, [](int own, int given) { return given != 0 ? 0 : own; });
}

int nx_or_molecule_atom_mask(const int* mask, int mol) {
  return combine(mask, mol, [](int own, int given) { return own | given; });
}

int nx_and_molecule_atom_mask(const int* mask, int mol) {
  return combine(mask, mol, [](int own, int given) { return own & given; });
}

int nx_mask_molecule_hydrogens(int mol) {
  NxMolBase& molecule = model(mol);
  if (molecule.GetMaxAtomIdx() == 0) {
    return 1;
  }
  return guarded([&] {
    int* own = find_or_make_mask(molecule, kEveryByteOne);
    visit_atoms(molecule, [own, numbers = store_of(molecule).AtomicNums()](unsigned idx) {
      own[idx] = numbers[idx] <= 1 ? 0 : own[idx];
    });
    return 1;
  });
}

int nx_atoms_masked(int mol) {
  NxMolBase& molecule = model(mol);
  return guarded([&] {
    const int* own = find_mask(molecule);
    if (own == nullptr) {
      return static_cast<int>(molecule.NumAtoms());
    }
    const auto bound = static_cast<std::ptrdiff_t>(molecule.GetMaxAtomIdx());
    return static_cast<int>(bound - std::count(own, own + bound, 0));
  });
}

int* nxi_molecule_atom_mask(int mol) {
  NxMolBase& molecule = model(mol);
  return guarded([&] { return find_mask(molecule); });
}
