// What the sources of briochem share: from a handle to the model, and what the model says of an atom. Not exported.
#ifndef NXBRIOCHEM_MOLECULES_BRIOCHEM_MODEL_H
#define NXBRIOCHEM_MOLECULES_BRIOCHEM_MODEL_H

#include <cstddef>
#include <string_view>

#include <nxbriochem/molecules/guarded.h>
#include <nxbriochem/molecules/memmgr.h>
#include <nxbriochem/toolkit/nxchem.h>

namespace briochem {

using NxBrioChem::guarded;

inline NxChem::NxMolBase& model(int mol) { return *NxBrioChem::NxDerefMolHandle(mol); }

inline int tag_of(const char* name) {
  return guarded([name] { return NxSystem::NxGetTag(name); });
}

// What becomes of a whole array that is null: there is nothing to be done for a molecule without atoms.
inline int is_empty(const NxChem::NxMolBase& mol) { return static_cast<int>(mol.NumAtoms() == 0); }

// Whether memory has room for n objects of this size with what goes with each: its place in tables, its coordinates,
// the heap's own bookkeeping. It is asked and given back, so that a number that cannot be had fails before anything is
// changed.
bool there_is_room(std::size_t n, std::size_t size);

// The tag of the atom mask.
int mask_tag();

// Takes away the arrays that the nxi_molecule_* functions keep with the molecule for their callers.
void drop_caches(NxChem::NxMolBase& mol);

// The atom's own name, else its element symbol, "Du" for atomic number 0.
std::string_view name_of(const NxChem::NxAtomBase& atom);

// Writes the atom's residue through `change`. An atom without residue gets one named "UNL" first.
template <class Change>
void change_residue(NxChem::NxAtomBase& atom, Change change) {
  NxChem::NxResidue residue = NxChem::NxAtomGetResidue(atom);
  if (!NxChem::NxHasResidue(atom)) {
    residue.SetName("UNL");
  }
  change(residue);
  NxChem::NxAtomSetResidue(atom, residue);
}

// How an array of names is packed: its bytes and where each atom's part starts come from the text of an atom and from
// how many bytes that takes. Specialised by briochem_names.cpp for atom and residue names.
struct NamePacking {
  std::string_view (*text)(const NxChem::NxAtomBase& atom);
  std::size_t longest;  // characters of a text that are packed

  std::size_t packed_size(const NxChem::NxAtomBase& atom) const;
  std::size_t total_size(const NxChem::NxMolBase& mol) const;
  // Packs every text, each with its NUL; false as soon as they exceed `size` bytes, with those that fit written.
  bool pack(const NxChem::NxMolBase& mol, char* out, std::size_t size) const;
};

extern const NamePacking atom_name_packing;
extern const NamePacking residue_name_packing;

}  // namespace briochem

#endif
