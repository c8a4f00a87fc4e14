// Which atoms of a molecule take part.
#include <nxbriochem/geometry/mol_func1_atoms_internal.h>

#include <algorithm>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_internal.h>

namespace mol_func1 {

int index_bound(int mol) { return nx_get_molecule_radii_length(mol); }

const unsigned char* hydrogens_of(int mol) {
  const NxChem::NxAtomStore& store = briochem::store_of(briochem::model(mol));
  return store.NumNamed() != 0 && store.NumHydrogens() != 0 ? store.Hydrogens() : nullptr;
}

void mark_atoms(int mol, bool without_hydrogens, int* marks) {
  const NxChem::NxMolBase& molecule = briochem::model(mol);
  std::fill_n(marks, molecule.GetMaxAtomIdx(), static_cast<int>(kAbsent));
  const unsigned char* hydrogens = without_hydrogens ? hydrogens_of(mol) : nullptr;
  briochem::visit_atoms(molecule, [marks, hydrogens](unsigned idx) {
    marks[idx] = hydrogens != nullptr && hydrogens[idx] != 0 ? kLeftOut : kTakesPart;
  });
}

int count_taking_part(const int* marks, int length) {
  return static_cast<int>(std::count(marks, marks + length, static_cast<int>(kTakesPart)));
}

}  // namespace mol_func1
