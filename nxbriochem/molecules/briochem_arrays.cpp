// The arrays of one value per atom, each a description of where the value lives, and the functions that all of them
// have. Coordinates, three values per atom at a flat index, come last.
#include <cstring>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_model.h>

namespace briochem {
namespace {

using NxChem::NxAtomBase;
using NxChem::NxMolBase;

constexpr const char* kPerAtom = "atom_number";
constexpr const char* kPerCoordinate = "atom_number*3";

// Neither below nor above zero is zero; so is what cannot be compared.
template <class T>
bool is_non_zero(T value) {
  return value < T{} || value > T{};
}

struct Radius {
  using Value = float;
  static Value get(const NxAtomBase& atom) { return atom.GetRadius(); }
  static void set(NxAtomBase& atom, Value value) { atom.SetRadius(value); }
  static bool is_set(const NxAtomBase& atom) { return is_non_zero(get(atom)); }
};

struct Charge {
  using Value = float;
  static Value get(const NxAtomBase& atom) { return atom.GetPartialCharge(); }
  static void set(NxAtomBase& atom, Value value) { atom.SetPartialCharge(value); }
  static bool is_set(const NxAtomBase& atom) { return is_non_zero(get(atom)); }
};

struct AtomType {
  using Value = int;
  static Value get(const NxAtomBase& atom) { return atom.GetIntType(); }
  static void set(NxAtomBase& atom, Value value) { atom.SetIntType(value); }
  static bool is_set(const NxAtomBase& atom) { return is_non_zero(get(atom)); }
};

struct Element {
  using Value = char;
  static Value get(const NxAtomBase& atom) {
    return static_cast<char>(nx_convert_element_number_to_one_letter_symbol(static_cast<int>(atom.GetAtomicNum())));
  }
  static void set(NxAtomBase& atom, Value value) {
    atom.SetAtomicNum(static_cast<unsigned>(nx_convert_one_letter_symbol_to_element_number(value)));
  }
  static bool is_set(const NxAtomBase& atom) { return atom.GetAtomicNum() != 0; }
};

struct ResidueNumber {
  using Value = int;
  static Value get(const NxAtomBase& atom) { return NxChem::NxAtomGetResidue(atom).GetResidueNumber(); }
  static void set(NxAtomBase& atom, Value value) {
    change_residue(atom, [value](NxChem::NxResidue& residue) { residue.SetResidueNumber(value); });
  }
  static bool is_set(const NxAtomBase& atom) { return is_non_zero(get(atom)); }
};

struct SequenceNumber {
  using Value = int;
  static Value get(const NxAtomBase& atom) { return NxChem::NxAtomGetResidue(atom).GetSequenceNumber(); }
  static void set(NxAtomBase& atom, Value value) {
    change_residue(atom, [value](NxChem::NxResidue& residue) { residue.SetSequenceNumber(value); });
  }
  static bool is_set(const NxAtomBase& atom) { return is_non_zero(get(atom)); }
};

template <class Property>
int set_all(const typename Property::Value* values, int mol) {
  const NxMolBase& molecule = model(mol);
  if (values == nullptr) {
    return is_empty(molecule);
  }
  return guarded([&] {
    for (NxAtomBase& atom : molecule.GetAtoms()) {
      Property::set(atom, values[atom.GetIdx()]);
    }
    return 1;
  });
}

template <class Property>
int get_all(typename Property::Value* values, int mol) {
  const NxMolBase& molecule = model(mol);
  if (values == nullptr) {
    return is_empty(molecule);
  }
  for (const NxAtomBase& atom : molecule.GetAtoms()) {
    values[atom.GetIdx()] = Property::get(atom);
  }
  return 1;
}

template <class Property>
int is_set(int mol) {
  for (const NxAtomBase& atom : model(mol).GetAtoms()) {
    if (Property::is_set(atom)) {
      return 1;
    }
  }
  return 0;
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
  const NxAtomBase* atom = model(mol).GetAtom(index);
  if (atom == nullptr || out == nullptr) {
    return 0;
  }
  *out = Property::get(*atom);
  return 1;
}

template <class Property>
int set_one(typename Property::Value value, int index, int mol) {
  NxAtomBase* atom = model(mol).GetAtom(index);
  if (atom == nullptr) {
    return 0;
  }
  return guarded([&] {
    Property::set(*atom, value);
    return 1;
  });
}

// Finds the place of a flat coordinate index. False when the index is out of range or its atom is not there. The index
// just past the last one is in range, kept so, and has no atom.
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
  for (const NxAtomBase& atom : molecule.GetAtoms()) {
    float xyz[3];
    molecule.GetCoords(atom, xyz);
    if (is_non_zero(xyz[0]) || is_non_zero(xyz[1]) || is_non_zero(xyz[2])) {
      return 1;
    }
  }
  return 0;
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
