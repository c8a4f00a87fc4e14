// The arrays of one value per atom. Each is described by a type that says where the value is stored; templates make the
// functions that all arrays have. Coordinates, three values per atom at a flat index, come last.
#include <algorithm>
#include <cstring>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_elements_internal.h>
#include <nxbriochem/molecules/briochem_internal.h>

namespace briochem {
namespace {

using NxChem::NxAtomBase;
using NxChem::NxMolBase;
using NxChem::NxResidue;

constexpr const char* kPerAtom = "atom_number";
constexpr const char* kPerCoordinate = "atom_number*3";

// Zero means neither below nor above zero, so a NaN counts as zero.
template <class T>
bool is_non_zero(T value) {
  return value < T{} || value > T{};
}

// Each property reads and writes the values of the atoms from `begin` to `end`, and tells whether any atom has a
// nonzero value (places of deleted atoms hold zero).

// A property stored in a column in the form that callers use.
template <class T, T* (NxAtomStore::*column)() const>
struct ColumnOf {
  using Value = T;
  static void get(const NxAtomStore& store, unsigned begin, unsigned end, T* out) {
    std::copy_n((store.*column)() + begin, end - begin, out);
  }
  static void set(NxMolBase& mol, unsigned begin, unsigned end, const T* values) {
    std::copy_n(values, end - begin, (store_of(mol).*column)() + begin);
  }
  static bool any(const NxAtomStore& store) {
    const T* values = (store.*column)();
    return std::any_of(values, values + store.Size(), is_non_zero<T>);
  }
};

using Radius = ColumnOf<float, &NxAtomStore::Radii>;
using Charge = ColumnOf<float, &NxAtomStore::PartialCharges>;
using AtomType = ColumnOf<int, &NxAtomStore::IntTypes>;

// Atomic numbers, which callers see as letters.
struct Element {
  using Value = char;
  static void get(const NxAtomStore& store, unsigned begin, unsigned end, char* out) {
    std::transform(store.AtomicNums() + begin, store.AtomicNums() + end, out, letter_of);
  }
  static void set(NxMolBase& mol, unsigned begin, unsigned end, const char* values) {
    NxAtomStore& store = store_of(mol);
    bool changed = false;
    for (unsigned idx = begin; idx < end; ++idx) {
      const unsigned number = number_of(*values++);
      if (number != store.AtomicNums()[idx]) {
        store.SetAtomicNum(idx, number);
        changed = true;
      }
    }
    if (changed) {
      NxChem::NxMolInternals::TopologyChanged(mol);
    }
  }
  static bool any(const NxAtomStore& store) {
    const unsigned* numbers = store.AtomicNums();
    return std::any_of(numbers, numbers + store.Size(), is_non_zero<unsigned>);
  }
};

// A number of the residue records. Neighbours share a record, which is looked up once for all of them.
template <int (NxResidue::*get_number)() const, void (NxResidue::*set_number)(int)>
struct ResidueField {
  using Value = int;
  static void get(const NxAtomStore& store, unsigned begin, unsigned end, int* out) {
    const unsigned* ids = store.ResidueIds();
    unsigned last = ids[begin];
    int value = (store.Residue(last).*get_number)();
    for (unsigned idx = begin; idx < end; ++idx) {
      if (ids[idx] != last) {
        last = ids[idx];
        value = (store.Residue(last).*get_number)();
      }
      *out++ = value;
    }
  }
  static void set(NxMolBase& mol, unsigned begin, unsigned end, const int* values) {
    NxAtomStore::ResidueChanges changes(store_of(mol));
    for (unsigned idx = begin; idx < end; ++idx) {
      const int value = *values++;
      changes.Apply(
          idx, [value](const NxResidue& residue) { return (residue.*get_number)() == value; },
          [value](NxResidue& residue) { (residue.*set_number)(value); });
    }
  }
  static bool any(const NxAtomStore& store) {
    const unsigned* ids = store.ResidueIds();
    return std::any_of(ids, ids + store.Size(),
                       [&store](unsigned id) { return (store.Residue(id).*get_number)() != 0; });
  }
};

using ResidueNumber = ResidueField<&NxResidue::GetResidueNumber, &NxResidue::SetResidueNumber>;
using SequenceNumber = ResidueField<&NxResidue::GetSequenceNumber, &NxResidue::SetSequenceNumber>;

template <class Property>
int set_all(const typename Property::Value* values, int mol) {
  NxMolBase& molecule = model(mol);
  if (values == nullptr) {
    return is_empty(molecule);
  }
  return guarded([&] {
    visit_stretches(molecule,
                    [&](unsigned begin, unsigned end) { Property::set(molecule, begin, end, values + begin); });
    return 1;
  });
}

template <class Property>
int get_all(typename Property::Value* values, int mol) {
  const NxMolBase& molecule = model(mol);
  if (values == nullptr) {
    return is_empty(molecule);
  }
  visit_stretches(molecule,
                  [&](unsigned begin, unsigned end) { Property::get(store_of(molecule), begin, end, values + begin); });
  return 1;
}

template <class Property>
int is_set(int mol) {
  return static_cast<int>(Property::any(store_of(model(mol))));
}

int length(int mol) { return static_cast<int>(model(mol).GetMaxAtomIdx()); }

int copy_length_string(char* out, int set, const char* text) {
  if (out == nullptr || set == 0) {
    return 0;
  }
  std::memcpy(out, text, std::strlen(text) + 1);
  return 1;
}

template <class Property>
int length_string(char* out, int mol) {
  return copy_length_string(out, is_set<Property>(mol), kPerAtom);
}

template <class Property>
int get_one(typename Property::Value* out, int index, int mol) {
  const NxMolBase& molecule = model(mol);
  if (molecule.GetAtom(index) == nullptr || out == nullptr) {
    return 0;
  }
  const auto idx = static_cast<unsigned>(index);
  Property::get(store_of(molecule), idx, idx + 1, out);
  return 1;
}

template <class Property>
int set_one(typename Property::Value value, int index, int mol) {
  NxMolBase& molecule = model(mol);
  if (molecule.GetAtom(index) == nullptr) {
    return 0;
  }
  return guarded([&] {
    const auto idx = static_cast<unsigned>(index);
    Property::set(molecule, idx, idx + 1, &value);
    return 1;
  });
}

// Finds the place of a flat coordinate index. False when the index is out of range or its atom is not there. Kept:
// programs rely on the index just past the last one being in range; it has no atom.
bool locate_coordinate(const NxMolBase& molecule, int i, const NxAtomBase*& atom) {
  const int64_t end = 3 * static_cast<int64_t>(molecule.GetMaxAtomIdx());
  if (i < 0 || i > end) {
    return false;
  }
  atom = molecule.GetAtom(i / 3);
  return atom != nullptr || i == end;
}

}  // namespace
}  // namespace briochem

using namespace briochem;

int nx_set_molecule_radii(const float* radii, int mol) { return set_all<Radius>(radii, mol); }
int nx_get_molecule_radii(float* radii, int mol) { return get_all<Radius>(radii, mol); }
int nx_is_molecule_radii_set(int mol) { return is_set<Radius>(mol); }
int nx_get_molecule_radii_length(int mol) { return length(mol); }
int nx_get_molecule_radii_length_string(char* out, int mol) { return length_string<Radius>(out, mol); }
int nx_get_molecule_radii_element(float* out, int atom, int mol) { return get_one<Radius>(out, atom, mol); }
int nx_set_molecule_radii_element(float value, int atom, int mol) { return set_one<Radius>(value, atom, mol); }
int nx_are_molecule_radii_non_zero(int mol) { return is_set<Radius>(mol); }
int nx_are_molecule_radii_all_zero(int mol) { return static_cast<int>(is_set<Radius>(mol) == 0); }

int nx_set_molecule_charges(const float* charges, int mol) { return set_all<Charge>(charges, mol); }
int nx_get_molecule_charges(float* charges, int mol) { return get_all<Charge>(charges, mol); }
int nx_is_molecule_charges_set(int mol) { return is_set<Charge>(mol); }
int nx_get_molecule_charges_length(int mol) { return length(mol); }
int nx_get_molecule_charges_length_string(char* out, int mol) { return length_string<Charge>(out, mol); }
int nx_get_molecule_charges_element(float* out, int atom, int mol) { return get_one<Charge>(out, atom, mol); }
int nx_set_molecule_charges_element(float value, int atom, int mol) { return set_one<Charge>(value, atom, mol); }
int nx_are_molecule_charges_non_zero(int mol) { return is_set<Charge>(mol); }
int nx_are_molecule_charges_all_zero(int mol) { return static_cast<int>(is_set<Charge>(mol) == 0); }

int nx_set_molecule_atom_type(const int* atom_type, int mol) { return set_all<AtomType>(atom_type, mol); }
int nx_get_molecule_atom_type(int* atom_type, int mol) { return get_all<AtomType>(atom_type, mol); }
int nx_is_molecule_atom_type_set(int mol) { return is_set<AtomType>(mol); }
int nx_get_molecule_atom_type_length(int mol) { return length(mol); }
int nx_get_molecule_atom_type_length_string(char* out, int mol) { return length_string<AtomType>(out, mol); }
int nx_get_molecule_atom_type_element(int* out, int atom, int mol) { return get_one<AtomType>(out, atom, mol); }
int nx_set_molecule_atom_type_element(int value, int atom, int mol) { return set_one<AtomType>(value, atom, mol); }

int nx_set_molecule_element(const char* element, int mol) { return set_all<Element>(element, mol); }
int nx_get_molecule_element(char* element, int mol) { return get_all<Element>(element, mol); }
int nx_is_molecule_element_set(int mol) { return is_set<Element>(mol); }
int nx_get_molecule_element_length(int mol) { return length(mol); }
int nx_get_molecule_element_length_string(char* out, int mol) { return length_string<Element>(out, mol); }
int nx_get_molecule_element_element(char* out, int atom, int mol) { return get_one<Element>(out, atom, mol); }
int nx_set_molecule_element_element(char value, int atom, int mol) { return set_one<Element>(value, atom, mol); }

int nx_set_molecule_residue_number(const int* residue_number, int mol) {
  return set_all<ResidueNumber>(residue_number, mol);
}
int nx_get_molecule_residue_number(int* residue_number, int mol) { return get_all<ResidueNumber>(residue_number, mol); }
int nx_is_molecule_residue_number_set(int mol) { return is_set<ResidueNumber>(mol); }
int nx_get_molecule_residue_number_length(int mol) { return length(mol); }
int nx_get_molecule_residue_number_length_string(char* out, int mol) { return length_string<ResidueNumber>(out, mol); }
int nx_get_molecule_residue_number_element(int* out, int atom, int mol) {
  return get_one<ResidueNumber>(out, atom, mol);
}
int nx_set_molecule_residue_number_element(int value, int atom, int mol) {
  return set_one<ResidueNumber>(value, atom, mol);
}

int nx_set_molecule_sequence_number(const int* sequence_number, int mol) {
  return set_all<SequenceNumber>(sequence_number, mol);
}
int nx_get_molecule_sequence_number(int* sequence_number, int mol) {
  return get_all<SequenceNumber>(sequence_number, mol);
}
int nx_is_molecule_sequence_number_set(int mol) { return is_set<SequenceNumber>(mol); }
int nx_get_molecule_sequence_number_length(int mol) { return length(mol); }
int nx_get_molecule_sequence_number_length_string(char* out, int mol) {
  return length_string<SequenceNumber>(out, mol);
}
int nx_get_molecule_sequence_number_element(int* out, int atom, int mol) {
  return get_one<SequenceNumber>(out, atom, mol);
}
int nx_set_molecule_sequence_number_element(int value, int atom, int mol) {
  return set_one<SequenceNumber>(value, atom, mol);
}

int nx_set_molecule_coordinates(const float* coordinates, int mol) {
  NxMolBase& molecule = model(mol);
  if (coordinates == nullptr) {
    return is_empty(molecule);
  }
  molecule.SetCoords(coordinates);
  return 1;
}

int nx_get_molecule_coordinates(float* coordinates, int mol) {
  const NxMolBase& molecule = model(mol);
  if (coordinates == nullptr) {
    return is_empty(molecule);
  }
  molecule.GetCoords(coordinates);
  return 1;
}

int nx_is_molecule_coordinates_set(int mol) {
  const NxMolBase& molecule = model(mol);
  const float* xyz = molecule.CoordData();
  bool found = false;
  if (xyz != nullptr) {
    visit_stretches(molecule, [&](unsigned begin, unsigned end) {
      found = found || std::any_of(xyz + std::size_t{3} * begin, xyz + std::size_t{3} * end, is_non_zero<float>);
    });
  }
  return static_cast<int>(found);
}

int nx_get_molecule_coordinates_length(int mol) { return 3 * length(mol); }

int nx_get_molecule_coordinates_length_string(char* out, int mol) {
  return copy_length_string(out, nx_is_molecule_coordinates_set(mol), kPerCoordinate);
}

int nx_get_molecule_coordinates_element(float* out, int i, int mol) {
  const NxMolBase& molecule = model(mol);
  const NxAtomBase* atom = nullptr;
  if (out == nullptr || !locate_coordinate(molecule, i, atom)) {
    return 0;
  }
  float xyz[3] = {0.0F, 0.0F, 0.0F};
  if (atom != nullptr) {
    molecule.GetCoords(*atom, xyz);
  }
  *out = xyz[i % 3];
  return 1;
}

int nx_set_molecule_coordinates_element(float value, int i, int mol) {
  NxMolBase& molecule = model(mol);
  const NxAtomBase* atom = nullptr;
  if (!locate_coordinate(molecule, i, atom)) {
    return 0;
  }
  if (atom != nullptr) {
    float xyz[3];
    molecule.GetCoords(*atom, xyz);
    xyz[i % 3] = value;
    molecule.SetCoords(*atom, xyz);
  }
  return 1;
}
