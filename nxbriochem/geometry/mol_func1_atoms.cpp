// Which atoms of a molecule take part. Names are read where the molecule keeps them: copying them into an array first
// would take longer than a superposition.
#include <nxbriochem/geometry/mol_func1_atoms.h>

#include <algorithm>
#include <string_view>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_model.h>

namespace mol_func1 {
namespace {

// Mask 223 takes away the bit that tells a lower-case letter from its upper-case form. The atom is asked first, which
// takes no call.
bool is_hydrogen(const NxChem::NxAtomBase& atom) {
  const std::string_view name = atom.GetName().empty() ? briochem::name_of(atom) : std::string_view(atom.GetName());
  return !name.empty() && (name[0] & 223) == 'H';
}

}  // namespace

int index_bound(int mol) { return nx_get_molecule_radii_length(mol); }

void mark_atoms(int mol, bool without_hydrogens, int* marks) {
  const NxChem::NxMolBase& molecule = briochem::model(mol);
  std::fill_n(marks, molecule.GetMaxAtomIdx(), static_cast<int>(kAbsent));
  const bool by_name = without_hydrogens && nx_is_molecule_atom_names_set(mol) != 0;
  for (const NxChem::NxAtomBase& atom : molecule.GetAtoms()) {
    marks[atom.GetIdx()] = by_name && is_hydrogen(atom) ? kLeftOut : kTakesPart;
  }
}

int count_taking_part(const int* marks, int length) {
  return static_cast<int>(std::count(marks, marks + length, static_cast<int>(kTakesPart)));
}

}  // namespace mol_func1
