// Copies of molecules, whole and in part.
#include <memory>
#include <utility>
#include <vector>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_internal.h>

namespace briochem {
namespace {

using NxChem::NxAtomBase;
using NxChem::NxMol;
using NxChem::NxMolBase;

// Gives a new molecule a handle, whose user owns it from then on. Kept: programs rely on the molecule not being freed
// when no handle is left, as in nx_make_molecule; the result is 0 then.
template <class Molecule>
int hand_over(std::unique_ptr<Molecule> molecule) {
  return NxBrioChem::NxAcquireHandle(*molecule.release());
}

// The mask's entries of the atoms that it selects.
std::vector<int> selected_entries(const NxMolBase& molecule, const int* mask) {
  std::vector<int> entries;
  for (const NxAtomBase& atom : molecule.GetAtoms()) {
    if (mask[atom.GetIdx()] != 0) {
      entries.push_back(mask[atom.GetIdx()]);
    }
  }
  return entries;
}

// Finishes a part of a molecule: sets the mask entries of its atoms and removes data that belong to the whole molecule.
// Returns its handle.
template <class Molecule>
int finish_part(std::unique_ptr<Molecule> part, const NxMolBase& whole, const int* mask) {
  drop_internal_arrays(*part);
  if (mask != nullptr) {
    const std::vector<int> entries = selected_entries(whole, mask);
    part->SetData(mask_tag(), entries.data(), entries.size());
  }
  return hand_over(std::move(part));
}

}  // namespace
}  // namespace briochem

using namespace briochem;

// The kind of the copy is that with which the source's handle was acquired.

int nx_copy_molecule(int mol) {
  const NxMolBase& molecule = model(mol);
  return guarded([&] {
    if (NxBrioChem::NxIsMultiConf(mol)) {
      return hand_over(std::make_unique<NxMol>(*NxBrioChem::NxDerefMCMolHandle(mol)));
    }
    return hand_over(std::make_unique<NxMolBase>(molecule));
  });
}

int nx_make_molecule_from_mask(int mol) {
  const NxMolBase& molecule = model(mol);
  return guarded([&] {
    const int* mask = nxi_molecule_atom_mask(mol);
    if (NxBrioChem::NxIsMultiConf(mol)) {
      return finish_part(std::make_unique<NxMol>(*NxBrioChem::NxDerefMCMolHandle(mol), mask), molecule, mask);
    }
    return finish_part(std::make_unique<NxMolBase>(molecule, mask), molecule, mask);
  });
}
