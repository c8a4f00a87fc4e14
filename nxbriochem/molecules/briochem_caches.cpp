// Arrays that the molecule owns, rebuilt at every call and kept as its generic data.
#include <array>
#include <vector>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_model.h>

namespace briochem {
namespace {

using NxChem::NxAtomBase;
using NxChem::NxMolBase;

enum Cache { kCoords, kRadii, kCharges, kAtomType, kAtomNames, kResidueNames };

// Looked up once.
const std::array<int, 6>& tags() {
  static const std::array<int, 6> all = {tag_of("NxBrioCoords"),    tag_of("NxBrioRadii"),
                                         tag_of("NxBrioCharges"),   tag_of("NxBrioAtomType"),
                                         tag_of("NxBrioAtomNames"), tag_of("NxBrioResidueNames")};
  return all;
}

template <class T, class Value>
T* cache_values(NxMolBase& molecule, Cache cache, Value value) {
  return guarded([&] {
    std::vector<T> values;
    values.reserve(molecule.NumAtoms());
    for (const NxAtomBase& atom : molecule.GetAtoms()) {
      values.push_back(value(atom));
    }
    return molecule.SetData(tags()[cache], values.data(), values.size());
  });
}

char* cache_names(NxMolBase& molecule, Cache cache, const NamePacking& packing) {
  return guarded([&] {
    std::vector<char> names(packing.total_size(molecule));
    packing.pack(molecule, names.data(), names.size());
    return molecule.SetData(tags()[cache], names.data(), names.size());
  });
}

}  // namespace

void drop_caches(NxMolBase& mol) {
  for (const int tag : tags()) {
    mol.DeleteData(tag);
  }
}

}  // namespace briochem

using namespace briochem;

float* nxi_molecule_coordinates(int mol) {
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
    return molecule.SetData(tags()[kCoords], coordinates.data(), written);
  });
}

float* nxi_molecule_radii(int mol) {
  return cache_values<float>(model(mol), kRadii, [](const NxAtomBase& atom) { return atom.GetRadius(); });
}

float* nxi_molecule_charges(int mol) {
  return cache_values<float>(model(mol), kCharges, [](const NxAtomBase& atom) { return atom.GetPartialCharge(); });
}

int* nxi_molecule_atom_type(int mol) {
  return cache_values<int>(model(mol), kAtomType, [](const NxAtomBase& atom) { return atom.GetIntType(); });
}

char* nxi_molecule_atom_names(int mol) { return cache_names(model(mol), kAtomNames, atom_name_packing); }

char* nxi_molecule_residue_names(int mol) { return cache_names(model(mol), kResidueNames, residue_name_packing); }
