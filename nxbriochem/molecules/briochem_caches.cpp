// Arrays that the molecule owns, rebuilt at every call and kept as its generic data.
#include <vector>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_model.h>

namespace briochem {
namespace {

using NxChem::NxAtomBase;
using NxChem::NxMolBase;

template <class T, class Value>
T* cache_values(NxMolBase& molecule, int tag, Value value) {
  return guarded([&] {
    std::vector<T> values;
    values.reserve(molecule.NumAtoms());
    for (const NxAtomBase& atom : molecule.GetAtoms()) {
      values.push_back(value(atom));
    }
    return molecule.SetData(tag, values.data(), values.size());
  });
}

char* cache_names(NxMolBase& molecule, int tag, const NamePacking& packing) {
  return guarded([&] {
    std::vector<char> names(packing.total_size(molecule));
    packing.pack(molecule, names.data(), names.size());
    return molecule.SetData(tag, names.data(), names.size());
  });
}

}  // namespace
}  // namespace briochem

using namespace briochem;

float* nxi_molecule_coordinates(int mol) {
  static const int tag = tag_of("NxBrioCoords");
  NxMolBase& molecule = model(mol);  // its coordinates are those of its active conformer
  return guarded([&] {
    const unsigned bound = molecule.GetMaxAtomIdx();
    std::vector<float> coordinates(std::size_t{3} * bound, 0.0F);
    std::size_t written = coordinates.size();
    if (molecule.NumAtoms() == bound) {
      molecule.GetCoords(coordinates.data());
    } else {
      written = 0;
      for (const NxAtomBase& atom : molecule.GetAtoms()) {
        molecule.GetCoords(atom, &coordinates[written]);
        written += 3;
      }
    }
    return molecule.SetData(tag, coordinates.data(), written);
  });
}

float* nxi_molecule_radii(int mol) {
  static const int tag = tag_of("NxBrioRadii");
  return cache_values<float>(model(mol), tag, [](const NxAtomBase& atom) { return atom.GetRadius(); });
}

float* nxi_molecule_charges(int mol) {
  static const int tag = tag_of("NxBrioCharges");
  return cache_values<float>(model(mol), tag, [](const NxAtomBase& atom) { return atom.GetPartialCharge(); });
}

int* nxi_molecule_atom_type(int mol) {
  static const int tag = tag_of("NxBrioAtomType");
  return cache_values<int>(model(mol), tag, [](const NxAtomBase& atom) { return atom.GetIntType(); });
}

char* nxi_molecule_atom_names(int mol) {
  static const int tag = tag_of("NxBrioAtomNames");
  return cache_names(model(mol), tag, atom_name_packing);
}

char* nxi_molecule_residue_names(int mol) {
  static const int tag = tag_of("NxBrioResidueNames");
  return cache_names(model(mol), tag, residue_name_packing);
}
