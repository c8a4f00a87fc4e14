// A molecule's storage, for the library's modules that work on whole arrays. C++ only; not installed.
#ifndef NXBRIOCHEM_TOOLKIT_NXCHEM_INTERNAL_H
#define NXBRIOCHEM_TOOLKIT_NXCHEM_INTERNAL_H

#include <nxbriochem/toolkit/nxchem.h>

namespace NxChem {

struct NxMolInternals {
  static const NxAtomStore& Store(const NxMolBase& mol) { return mol.store_; }
  static NxAtomStore& Store(NxMolBase& mol) { return mol.store_; }
  static const NxTable<NxAtomBase>& Atoms(const NxMolBase& mol) { return mol.atoms_; }
  static const NxTable<NxBondBase>& Bonds(const NxMolBase& mol) { return mol.bonds_; }
  static const NxTable<NxConfBase>& Confs(const NxMCMolBase& mol) { return mol.confs_; }

  // Makes n dummy atoms.
  static void AddAtoms(NxMolBase& mol, unsigned n) { mol.AddAtoms(n, 0); }
  // To be called when an atomic number was changed in the store.
  static void TopologyChanged(NxMolBase& mol) { mol.TopologyChanged(); }
};

}  // namespace NxChem

#endif
