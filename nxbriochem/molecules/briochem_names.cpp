// The arrays of names: atom names and residue names, packed as NUL-terminated strings in atom order, and chain names,
// one character per atom.
#include <algorithm>
#include <cstring>
#include <limits>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_internal.h>
#include <nxbriochem/toolkit/nxelements.h>

namespace briochem {
namespace {

using NxChem::NxAtomBase;
using NxChem::NxMolBase;
using NxChem::NxResidue;

constexpr std::size_t kPackedAtomName = 4;

std::string_view residue_name_of(const NxAtomStore& store, unsigned idx) {
  return store.Residue(store.ResidueIds()[idx]).GetName();
}

char chain_of(const NxAtomStore& store, unsigned idx) { return store.Residue(store.ResidueIds()[idx]).GetChainID(); }

int bound_of(int mol) { return static_cast<int>(model(mol).GetMaxAtomIdx()); }

// Gives each atom the next NUL-terminated string by set(index, string).
template <class Set>
int set_names(const char* names, const NxMolBase& molecule, Set set) {
  if (names == nullptr) {
    return is_empty(molecule);
  }
  return guarded([&] {
    visit_atoms(molecule, [&](unsigned idx) {
      const std::string_view name(names);
      set(idx, name);
      names += name.size() + 1;
    });
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

// Where each atom's part starts when every atom takes `size(store, index)` bytes.
template <class Size>
int get_starts(int* index, int mol, Size size) {
  const NxMolBase& molecule = model(mol);
  if (index == nullptr) {
    return 0;
  }
  std::size_t start = 0;
  visit_atoms(molecule, [&](unsigned idx) {
    index[idx] = static_cast<int>(start);
    start += size(store_of(molecule), idx);
  });
  return 1;
}

// Whether any atom's residue record meets the condition. Neighbouring atoms share a record, which is tested once.
template <class Predicate>
int any_residue(int mol, Predicate predicate) {
  const NxAtomStore& store = store_of(model(mol));
  unsigned last = 0;
  return static_cast<int>(std::any_of(store.ResidueIds(), store.ResidueIds() + store.Size(),
                                      [&](unsigned id) { return id != last && predicate(store.Residue(last = id)); }));
}

void copy_string(char* out, std::string_view text) {
  text.copy(out, text.size());
  out[text.size()] = '\0';
}

}  // namespace

std::string_view name_of(const NxAtomStore& store, unsigned idx) {
  const unsigned name = store.NameIds()[idx];
  return name != 0 ? std::string_view(store.Name(name)) : NxChem::NxGetAtomicSymbol(store.AtomicNums()[idx]);
}

std::size_t NamePacking::packed_size(const NxAtomStore& store, unsigned idx) const {
  return std::min(text(store, idx).size(), longest) + 1;
}

std::size_t NamePacking::total_size(const NxMolBase& mol) const {
  std::size_t total = 1;
  visit_atoms(mol, [&](unsigned idx) { total += packed_size(store_of(mol), idx); });
  return total;
}

bool NamePacking::pack(const NxMolBase& mol, char* out, std::size_t size) const {
  std::size_t total = 0;
  bool fits = true;
  visit_atoms(mol, [&](unsigned idx) {
    const std::string_view part = text(store_of(mol), idx).substr(0, longest);
    total += part.size() + 1;
    fits = fits && total <= size;
    if (fits) {
      copy_string(out, part);
      out += part.size() + 1;
    }
  });
  return fits;
}

const NamePacking atom_name_packing{name_of, kPackedAtomName};
const NamePacking residue_name_packing{residue_name_of, std::numeric_limits<std::size_t>::max()};

}  // namespace briochem

using namespace briochem;

int nx_set_molecule_atom_names(const char* names, int mol) {
  NxMolBase& molecule = model(mol);
  return set_names(names, molecule,
                   [&](unsigned idx, std::string_view name) { store_of(molecule).SetName(idx, name); });
}

int nx_get_molecule_atom_names(char* names, int length, int mol) {
  return get_names(atom_name_packing, names, length, mol);
}

int nx_is_molecule_atom_names_set(int mol) { return static_cast<int>(store_of(model(mol)).NumNamed() != 0); }

int nx_get_molecule_atom_names_size(int mol) { return bound_of(mol); }

int nx_get_molecule_atom_names_length(int mol) { return static_cast<int>(atom_name_packing.total_size(model(mol))); }

int nx_get_molecule_atom_names_element(char* out, int atom, int length, int mol) {
  const NxMolBase& molecule = model(mol);
  if (molecule.GetAtom(atom) == nullptr || out == nullptr || length < 0) {
    return 0;
  }
  const std::string_view name = name_of(store_of(molecule), static_cast<unsigned>(atom));
  const auto room = static_cast<std::size_t>(length);
  if (room >= name.size()) {
    copy_string(out, name);  // Kept: programs rely on the NUL, one byte beyond `length` when the name is as long
  } else {
    name.copy(out, room);
  }
  return 1;
}

int nx_get_molecule_atom_names_element_length(int atom, int mol) {
  const NxMolBase& molecule = model(mol);
  if (molecule.GetAtom(atom) == nullptr) {
    return 0;
  }
  return static_cast<int>(atom_name_packing.packed_size(store_of(molecule), static_cast<unsigned>(atom)));
}

int nx_get_molecule_atom_names_index(int* index, int mol) {
  return get_starts(index, mol,
                    [](const NxAtomStore& store, unsigned idx) { return atom_name_packing.packed_size(store, idx); });
}

int nxi_unset_molecule_atom_names(int mol) {
  NxMolBase& molecule = model(mol);
  visit_atoms(molecule, [&](unsigned idx) { store_of(molecule).DropName(idx); });
  return 1;
}

int nx_set_molecule_residue_names(const char* names, int mol) {
  NxMolBase& molecule = model(mol);
  NxAtomStore::ResidueChanges changes(store_of(molecule));
  return set_names(names, molecule, [&](unsigned idx, std::string_view name) {
    changes.Apply(
        idx, [name](const NxResidue& residue) { return residue.GetName() == name; },
        [name](NxResidue& residue) { residue.SetName(name); });
  });
}

int nx_get_molecule_residue_names(char* names, int length, int mol) {
  return get_names(residue_name_packing, names, length, mol);
}

int nx_is_molecule_residue_names_set(int mol) {
  return any_residue(mol, [](const NxResidue& residue) { return !residue.GetName().empty(); });
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
  copy_string(
      out,
      std::string_view(NxChem::NxAtomGetResidue(*found).GetName()).substr(0, static_cast<std::size_t>(length) - 1));
  return 1;
}

int nx_get_molecule_residue_names_element_length(int atom, int mol) {
  const NxAtomBase* found = model(mol).GetAtom(atom);
  if (found == nullptr || !NxChem::NxHasResidue(*found)) {
    return 0;
  }
  return static_cast<int>(NxChem::NxAtomGetResidue(*found).GetName().size()) + 1;
}

int nx_get_molecule_residue_names_index(int* index, int mol) {
  return get_starts(
      index, mol, [](const NxAtomStore& store, unsigned idx) { return residue_name_packing.packed_size(store, idx); });
}

int nx_set_molecule_chain_names(const char* chains, int mol) {
  NxMolBase& molecule = model(mol);
  if (chains == nullptr) {
    return is_empty(molecule);
  }
  return guarded([&] {
    NxAtomStore::ResidueChanges changes(store_of(molecule));
    for (const NxAtomBase& atom : molecule.GetAtoms()) {
      const char chain = *chains++;
      if (chain == '\0') {
        return 0;
      }
      changes.Apply(
          atom.GetIdx(), [chain](const NxResidue& residue) { return residue.GetChainID() == chain; },
          [chain](NxResidue& residue) { residue.SetChainID(chain); });
    }
    return 1;
  });
}

int nx_get_molecule_chain_names(char* chains, int length, int mol) {
  const NxMolBase& molecule = model(mol);
  if (chains == nullptr || length < 1) {
    return 0;
  }
  const auto room = static_cast<std::size_t>(length) - 1;
  std::size_t written = 0;
  visit_atoms(molecule, [&](unsigned idx) {
    if (written < room) {
      chains[written++] = chain_of(store_of(molecule), idx);
    }
  });
  chains[written] = '\0';
  return static_cast<int>(written == molecule.NumAtoms());
}

int nx_is_molecule_chain_names_set(int mol) {
  return any_residue(mol, [](const NxResidue& residue) { return residue.GetChainID() != ' '; });
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
  return get_starts(index, mol, [](const NxAtomStore&, unsigned) { return std::size_t{1}; });
}
