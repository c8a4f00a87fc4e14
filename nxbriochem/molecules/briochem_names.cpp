// The arrays of names: atom names and residue names, packed as NUL-terminated strings in atom order, and chain names,
// one character per atom.
#include <algorithm>
#include <cstring>
#include <limits>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_model.h>
#include <nxbriochem/toolkit/nxelements.h>

namespace briochem {
namespace {

using NxChem::NxAtomBase;
using NxChem::NxMolBase;

constexpr std::size_t kPackedAtomName = 4;

std::string_view residue_name_of(const NxAtomBase& atom) { return NxChem::NxAtomGetResidue(atom).GetName(); }

int bound_of(int mol) { return static_cast<int>(model(mol).GetMaxAtomIdx()); }

// Gives each atom the next NUL-terminated string.
template <class Set>
int set_names(const char* names, int mol, Set set) {
  const NxMolBase& molecule = model(mol);
  if (names == nullptr) {
    return is_empty(molecule);
  }
  return guarded([&] {
    for (NxAtomBase& atom : molecule.GetAtoms()) {
      const std::string_view name(names);
      set(atom, name);
      names += name.size() + 1;
    }
    return 1;
  });
}

int get_names(const NamePacking& packing, char* names, int length, int mol) {
  const NxMolBase& molecule = model(mol);
  if (names == nullptr || length < 0) {
    return 0;
  }
  return static_cast<int>(packing.pack(molecule, names, static_cast<std::size_t>(length)));
}

// Where each atom's part starts when every atom takes `size(atom)` bytes.
template <class Size>
int get_starts(int* index, int mol, Size size) {
  const NxMolBase& molecule = model(mol);
  if (index == nullptr) {
    return 0;
  }
  std::size_t start = 0;
  for (const NxAtomBase& atom : molecule.GetAtoms()) {
    index[atom.GetIdx()] = static_cast<int>(start);
    start += size(atom);
  }
  return 1;
}

template <class Predicate>
int any_atom(int mol, Predicate predicate) {
  for (const NxAtomBase& atom : model(mol).GetAtoms()) {
    if (predicate(atom)) {
      return 1;
    }
  }
  return 0;
}

void copy_string(char* out, std::string_view text) {
  text.copy(out, text.size());
  out[text.size()] = '\0';
}

}  // namespace

std::string_view name_of(const NxAtomBase& atom) {
  if (!atom.GetName().empty()) {
    return atom.GetName();
  }
  return NxChem::NxGetAtomicSymbol(atom.GetAtomicNum());
}

std::size_t NamePacking::packed_size(const NxAtomBase& atom) const { return std::min(text(atom).size(), longest) + 1; }

std::size_t NamePacking::total_size(const NxMolBase& mol) const {
  std::size_t total = 1;
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    total += packed_size(atom);
  }
  return total;
}

bool NamePacking::pack(const NxMolBase& mol, char* out, std::size_t size) const {
  std::size_t total = 0;
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    const std::size_t start = total;
    total += packed_size(atom);
    if (total > size) {
      return false;
    }
    copy_string(out + start, text(atom).substr(0, longest));
  }
  return true;
}

const NamePacking atom_name_packing{name_of, kPackedAtomName};
const NamePacking residue_name_packing{residue_name_of, std::numeric_limits<std::size_t>::max()};

}  // namespace briochem

using namespace briochem;

int nx_set_molecule_atom_names(const char* names, int mol) {
  return set_names(names, mol, [](NxAtomBase& atom, std::string_view name) { atom.SetName(name); });
}

int nx_get_molecule_atom_names(char* names, int length, int mol) {
  return get_names(atom_name_packing, names, length, mol);
}

int nx_is_molecule_atom_names_set(int mol) {
  return any_atom(mol, [](const NxAtomBase& atom) { return !atom.GetName().empty(); });
}

int nx_get_molecule_atom_names_size(int mol) { return bound_of(mol); }

int nx_get_molecule_atom_names_length(int mol) { return static_cast<int>(atom_name_packing.total_size(model(mol))); }

int nx_get_molecule_atom_names_element(char* out, int atom, int length, int mol) {
  const NxAtomBase* found = model(mol).GetAtom(atom);
  if (found == nullptr || out == nullptr || length < 0) {
    return 0;
  }
  const std::string_view name = name_of(*found);
  const auto room = static_cast<std::size_t>(length);
  if (room >= name.size()) {
    copy_string(out, name);  // one byte beyond `length` when they are equal: kept so
  } else {
    name.copy(out, room);
  }
  return 1;
}

int nx_get_molecule_atom_names_element_length(int atom, int mol) {
  const NxAtomBase* found = model(mol).GetAtom(atom);
  return found == nullptr ? 0 : static_cast<int>(atom_name_packing.packed_size(*found));
}

int nx_get_molecule_atom_names_index(int* index, int mol) {
  return get_starts(index, mol, [](const NxAtomBase& atom) { return atom_name_packing.packed_size(atom); });
}

int nxi_unset_molecule_atom_names(int mol) {
  for (NxAtomBase& atom : model(mol).GetAtoms()) {
    atom.SetName("");
  }
  return 1;
}

int nx_set_molecule_residue_names(const char* names, int mol) {
  return set_names(names, mol, [](NxAtomBase& atom, std::string_view name) {
    change_residue(atom, [name](NxChem::NxResidue& residue) { residue.SetName(name); });
  });
}

int nx_get_molecule_residue_names(char* names, int length, int mol) {
  return get_names(residue_name_packing, names, length, mol);
}

int nx_is_molecule_residue_names_set(int mol) {
  return any_atom(mol, [](const NxAtomBase& atom) { return !residue_name_of(atom).empty(); });
}

int nx_get_molecule_residue_names_size(int mol) { return bound_of(mol); }

int nx_get_molecule_residue_names_length(int mol) {
  return static_cast<int>(residue_name_packing.total_size(model(mol)));
}

int nx_get_molecule_residue_names_element(char* out, int atom, int length, int mol) {
  const NxAtomBase* found = model(mol).GetAtom(atom);
  if (length == 0) {
    return 1;
  }
  if (found == nullptr || length < 0 || out == nullptr) {
    return 0;
  }
  copy_string(out, residue_name_of(*found).substr(0, static_cast<std::size_t>(length) - 1));
  return 1;
}

int nx_get_molecule_residue_names_element_length(int atom, int mol) {
  const NxAtomBase* found = model(mol).GetAtom(atom);
  if (found == nullptr || !NxChem::NxHasResidue(*found)) {
    return 0;
  }
  return static_cast<int>(residue_name_of(*found).size()) + 1;
}

int nx_get_molecule_residue_names_index(int* index, int mol) {
  return get_starts(index, mol, [](const NxAtomBase& atom) { return residue_name_packing.packed_size(atom); });
}

int nx_set_molecule_chain_names(const char* chains, int mol) {
  const NxMolBase& molecule = model(mol);
  if (chains == nullptr) {
    return is_empty(molecule);
  }
  return guarded([&] {
    for (NxAtomBase& atom : molecule.GetAtoms()) {
      const char chain = *chains++;
      if (chain == '\0') {
        return 0;
      }
      change_residue(atom, [chain](NxChem::NxResidue& residue) { residue.SetChainID(chain); });
    }
    return 1;
  });
}

int nx_get_molecule_chain_names(char* chains, int length, int mol) {
  const NxMolBase& molecule = model(mol);
  if (chains == nullptr || length < 1) {
    return 0;
  }
  int written = 0;
  for (const NxAtomBase& atom : molecule.GetAtoms()) {
    if (written == length - 1) {
      chains[written] = '\0';
      return 0;
    }
    chains[written++] = NxChem::NxAtomGetResidue(atom).GetChainID();
  }
  chains[written] = '\0';
  return 1;
}

int nx_is_molecule_chain_names_set(int mol) {
  return any_atom(mol, [](const NxAtomBase& atom) { return NxChem::NxAtomGetResidue(atom).GetChainID() != ' '; });
}

int nx_get_molecule_chain_names_size(int mol) { return bound_of(mol); }

int nx_get_molecule_chain_names_length(int mol) { return static_cast<int>(model(mol).NumAtoms()) + 1; }

int nx_get_molecule_chain_names_element(char* out, int atom, int length, int mol) {
  const NxAtomBase* found = model(mol).GetAtom(atom);
  if (out == nullptr || length < 2) {
    return 0;
  }
  std::memcpy(out, " ", 2);
  if (found == nullptr) {
    return 0;
  }
  out[0] = NxChem::NxAtomGetResidue(*found).GetChainID();
  return 1;
}

int nx_get_molecule_chain_names_element_length(int atom, int mol) {
  return model(mol).GetAtom(atom) == nullptr ? 0 : 2;
}

int nx_get_molecule_chain_names_index(int* index, int mol) {
  return get_starts(index, mol, [](const NxAtomBase&) { return std::size_t{1}; });
}
