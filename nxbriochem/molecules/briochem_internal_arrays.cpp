// Arrays that the molecule owns, rebuilt at every call and kept as its generic data.
#include <array>
#include <vector>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_internal.h>

namespace briochem {
namespace {

using NxChem::NxMolBase;

enum Array { kCoords, kRadii, kCharges, kAtomType, kAtomNames, kResidueNames };

// Looked up once.
const std::array<int, 6>& tags() {
  static const std::array<int, 6> all = {tag_of("NxBrioCoords"),    tag_of("NxBrioRadii"),
                                         tag_of("NxBrioCharges"),   tag_of("NxBrioAtomType"),
                                         tag_of("NxBrioAtomNames"), tag_of("NxBrioResidueNames")};
  return all;
}

// Keeps the values of the atoms, `width` for each, packed in atom order.
template <class T>
T* keep_values(NxMolBase& molecule, Array array, const T* values, std::size_t width) {
  return guarded([&] {
    if (molecule.NumAtoms() == molecule.GetMaxAtomIdx()) {
      return molecule.SetData(tags()[array], values, width * molecule.NumAtoms());
    }
    std::vector<T> packed;
    packed.reserve(width * molecule.NumAtoms());
    visit_stretches(molecule, [&](unsigned begin, unsigned end) {
      packed.insert(packed.end(), values + width * begin, values + width * end);
    });
    return molecule.SetData(tags()[array], packed.data(), packed.size());
  });
}

char* keep_names(NxMolBase& molecule, Array array, const NamePacking& packing) {
  return guarded([&] {
    std::vector<char> names(packing.total_size(molecule));
    packing.pack(molecule, names.data(), names.size());
    return molecule.SetData(tags()[array], names.data(), names.size());
  });
}

}  // namespace

void drop_internal_arrays(NxMolBase& mol) {
  for (const int tag : tags()) {
    mol.DeleteData(tag);
  }
}

}  // namespace briochem

using namespace briochem;

float* nxi_molecule_coordinates(int mol) {
  NxMolBase& molecule = model(mol);  // its coordinates are those of its active conformer
  if (const float* stored = molecule.CoordData()) {
    return keep_values(molecule, kCoords, stored, 3);
  }
  return guarded([&] {
    const std::vector<float> zero(std::size_t{3} * molecule.NumAtoms());
    return molecule.SetData(tags()[kCoords], zero.data(), zero.size());
  });
}

float* nxi_molecule_radii(int mol) {
  NxMolBase& molecule = model(mol);
  return keep_values(molecule, kRadii, store_of(molecule).Radii(), 1);
}

float* nxi_molecule_charges(int mol) {
  NxMolBase& molecule = model(mol);
  return keep_values(molecule, kCharges, store_of(molecule).PartialCharges(), 1);
}

int* nxi_molecule_atom_type(int mol) {
  NxMolBase& molecule = model(mol);
  return keep_values(molecule, kAtomType, store_of(molecule).IntTypes(), 1);
}

char* nxi_molecule_atom_names(int mol) { return keep_names(model(mol), kAtomNames, atom_name_packing); }

char* nxi_molecule_residue_names(int mol) { return keep_names(model(mol), kResidueNames, residue_name_packing); }
