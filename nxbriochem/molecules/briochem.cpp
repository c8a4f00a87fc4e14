// Whole molecules: making and deleting them, their names, how many atoms and bonds they have, ring and rotor flags.
#include <nxbriochem/molecules/briochem.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <nxbriochem/molecules/briochem_internal.h>
#include <nxbriochem/molecules/memmgr_internal.h>

namespace briochem {

bool there_is_room(std::size_t n, std::size_t size) {
  constexpr std::size_t kBesides = 64;
  if (n > PTRDIFF_MAX / (size + kBesides)) {
    return false;
  }
  void* volatile room =
      std::malloc(n * (size + kBesides) + 1);  // volatile: an allocation that is not used may be optimised away
  std::free(room);
  return room != nullptr;
}

namespace {

using NxChem::NxAtomBase;
using NxChem::NxBondBase;
using NxChem::NxMolBase;

int file_name_tag() {
  static const int tag = tag_of("NxBrioFileName");
  return tag;
}

int copy_text(char* out, const char* text) {
  if (out == nullptr || text == nullptr) {
    return 0;
  }
  std::memcpy(out, text, std::strlen(text) + 1);
  return 1;
}

// How a count of atoms or bonds is set: missing ones are made, surplus ones deleted. kBytes is the size of one.
struct Atoms {
  using Item = NxAtomBase;
  static constexpr std::size_t kBytes = 48;
  static unsigned count(const NxMolBase& mol) { return mol.NumAtoms(); }
  static auto walk(const NxMolBase& mol) { return mol.GetAtoms(); }
  static void make(NxMolBase& mol, unsigned n) { NxChem::NxMolInternals::AddAtoms(mol, n); }
  static void remove(NxMolBase& mol, Item* atom) { mol.DeleteAtom(atom); }
};

struct Bonds {
  using Item = NxBondBase;
  static constexpr std::size_t kBytes = 20;
  static unsigned count(const NxMolBase& mol) { return mol.NumBonds(); }
  static auto walk(const NxMolBase& mol) { return mol.GetBonds(); }
  static void make(NxMolBase& mol, unsigned n) {
    mol.Reserve(0, mol.GetMaxBondIdx() + n);
    for (; n > 0; --n) {
      mol.NewBond(nullptr, nullptr, 0);
    }
  }
  static void remove(NxMolBase& mol, Item* bond) { mol.DeleteBond(bond); }
};

template <class Items>
int set_count(int n, int mol) {
  NxMolBase& molecule = model(mol);
  if (n < 0) {
    return 0;
  }
  const auto wanted = static_cast<unsigned>(n);
  const unsigned have = Items::count(molecule);
  if (wanted == have) {
    return 1;
  }
  if (wanted > have) {
    if (!there_is_room(wanted - have, Items::kBytes)) {
      return 0;
    }
    Items::make(molecule, wanted - have);
  } else {
    // Kept: programs rely on deletion from the front; the last ones remain.
    auto item = Items::walk(molecule);
    for (unsigned surplus = have - wanted; surplus > 0; --surplus, ++item) {
      Items::remove(molecule, &*item);
    }
  }
  molecule.Sweep();
  return 1;
}

const NxAtomBase* atom_or_warn(int atom, int mol) {
  const NxAtomBase* found = model(mol).GetAtom(atom);
  if (found == nullptr) {
    NxSystem::NxThrow.Warning("Attempt to reference non-existent atom");
  }
  return found;
}

const NxBondBase* bond_or_warn(int bond, int mol) {
  const NxBondBase* found = model(mol).GetBond(bond);
  if (found == nullptr) {
    NxSystem::NxThrow.Warning("Attempt to reference non-existent bond");
  }
  return found;
}

}  // namespace
}  // namespace briochem

using namespace briochem;

int nx_make_molecule(void) {
  // A new molecule has its one conformer, which is active. Its owner is the handle's user until nx_delete_molecule.
  return guarded([] { return NxBrioChem::NxAcquireHandle(*new NxChem::NxMol); });
}

int nx_delete_molecule(int mol) {
  delete NxBrioChem::NxDerefMolHandle(mol);
  memmgr::release_destroyed(mol);
  return 1;
}

int nx_clear_molecule(int mol) {
  NxMolBase& molecule = model(mol);
  return guarded([&] {
    molecule.Clear();
    return 1;
  });
}

int nx_set_molecule_name(const char* name, int mol) {
  NxMolBase& molecule = model(mol);
  if (name == nullptr) {
    return 0;
  }
  return guarded([&] {
    molecule.SetTitle(name);
    return 1;
  });
}

int nx_get_molecule_name(char* name, int mol) { return copy_text(name, model(mol).GetTitle().c_str()); }

int nx_get_molecule_name_length(int mol) { return static_cast<int>(std::strlen(model(mol).GetTitle().c_str())) + 1; }

int nx_is_molecule_name_set(int mol) { return static_cast<int>(!model(mol).GetTitle().empty()); }

int nx_set_molecule_file_name(const char* name, int mol) {
  NxMolBase& molecule = model(mol);
  if (name == nullptr) {
    return 0;
  }
  return guarded([&] {
    molecule.SetData(file_name_tag(), std::string_view(name));
    return 1;
  });
}

int nx_get_molecule_file_name(char* name, int mol) {
  const NxMolBase& molecule = model(mol);
  return molecule.HasData(file_name_tag()) ? copy_text(name, molecule.GetStringData(file_name_tag())) : 0;
}

int nx_get_molecule_file_name_length(int mol) {
  const NxMolBase& molecule = model(mol);
  const char* name = molecule.HasData(file_name_tag()) ? molecule.GetStringData(file_name_tag()) : nullptr;
  return name == nullptr ? 0 : static_cast<int>(std::strlen(name)) + 1;
}

int nx_is_molecule_file_name_set(int mol) { return static_cast<int>(model(mol).HasData(file_name_tag())); }

int nx_set_molecule_atom_number(int n, int mol) {
  return guarded([&] { return set_count<Atoms>(n, mol); });
}

int nx_get_molecule_atom_number(int mol) { return static_cast<int>(model(mol).NumAtoms()); }

int nx_is_molecule_atom_number_set(int mol) { return static_cast<int>(model(mol).NumAtoms() > 0); }

int nx_set_molecule_bond_number(int n, int mol) {
  return guarded([&] { return set_count<Bonds>(n, mol); });
}

int nx_get_molecule_bond_number(int mol) { return static_cast<int>(model(mol).NumBonds()); }

int nx_is_molecule_bond_number_set(int mol) { return static_cast<int>(model(mol).NumBonds() > 0); }

int nx_get_index_for_atom(const char* name, int mol) {
  const NxMolBase& molecule = model(mol);
  if (name == nullptr) {
    return -1;
  }
  for (const NxAtomBase& atom : molecule.GetAtoms()) {
    if (name_of(store_of(molecule), atom.GetIdx()) == name) {
      return static_cast<int>(atom.GetIdx());
    }
  }
  return -1;
}

int nx_is_atom_in_ring(int atom, int mol) {
  const NxAtomBase* found = atom_or_warn(atom, mol);
  return guarded([&] { return static_cast<int>(found != nullptr && found->IsInRing()); });
}

int nx_is_bond_in_ring(int bond, int mol) {
  const NxBondBase* found = bond_or_warn(bond, mol);
  return guarded([&] { return static_cast<int>(found != nullptr && found->IsInRing()); });
}

int nx_is_bond_a_rotor(int bond, int mol) {
  const NxBondBase* found = bond_or_warn(bond, mol);
  return guarded([&] { return static_cast<int>(found != nullptr && found->IsRotor()); });
}
