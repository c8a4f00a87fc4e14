// Shared by the sources of briochem: from a handle to the model, and properties of an atom in the model. Not exported.
#ifndef NXBRIOCHEM_MOLECULES_BRIOCHEM_INTERNAL_H
#define NXBRIOCHEM_MOLECULES_BRIOCHEM_INTERNAL_H

#include <cstddef>
#include <string_view>

#include <nxbriochem/molecules/guarded_internal.h>
#include <nxbriochem/molecules/memmgr.h>
#include <nxbriochem/toolkit/nxchem.h>
#include <nxbriochem/toolkit/nxchem_internal.h>

namespace briochem {

using NxBrioChem::guarded;
using NxChem::NxAtomStore;

inline NxChem::NxMolBase& model(int mol) { return *NxBrioChem::NxDerefMolHandle(mol); }

inline const NxAtomStore& store_of(const NxChem::NxMolBase& mol) { return NxChem::NxMolInternals::Store(mol); }
inline NxAtomStore& store_of(NxChem::NxMolBase& mol) { return NxChem::NxMolInternals::Store(mol); }

// Calls visit(begin, end) for every range of atom indices without gaps, in order.
template <class Visit>
void visit_stretches(const NxChem::NxMolBase& mol, Visit visit) {
  NxChem::NxMolInternals::Atoms(mol).Stretches(visit);
}

// Calls visit(index) for every atom, in order.
template <class Visit>
void visit_atoms(const NxChem::NxMolBase& mol, Visit visit) {
  visit_stretches(mol, [&visit](unsigned begin, unsigned end) {
    for (unsigned idx = begin; idx < end; ++idx) {
      visit(idx);
    }
  });
}

inline int tag_of(const char* name) {
  return guarded([name] { return NxSystem::NxGetTag(name); });
}

// The result of a whole-array function for a null array: 1 for a molecule without atoms, which has nothing to copy.
inline int is_empty(const NxChem::NxMolBase& mol) { return static_cast<int>(mol.NumAtoms() == 0); }

// Whether memory has room for n objects of this size with their places in tables, their coordinates and the heap's
// bookkeeping. A block of that size is allocated and freed, so that too large a number fails before anything is
// changed.
bool there_is_room(std::size_t n, std::size_t size);

// The tag of the atom mask.
int mask_tag();

// Deletes the arrays that the nxi_molecule_* functions keep with the molecule for their callers.
void drop_internal_arrays(NxChem::NxMolBase& mol);

// The name of the atom with this index; for an unnamed atom its element symbol ("Du" for atomic number 0).
std::string_view name_of(const NxAtomStore& store, unsigned idx);

// How an array of names is packed. The text of an atom and the number of bytes that it takes determine the bytes of the
// array and where each atom's part starts.
struct NamePacking {
  std::string_view (*text)(const NxAtomStore& store, unsigned idx);
  std::size_t longest;  // characters of a text that are packed

  std::size_t packed_size(const NxAtomStore& store, unsigned idx) const;
  std::size_t total_size(const NxChem::NxMolBase& mol) const;
  // Packs every text, each with its NUL; false as soon as they exceed `size` bytes, with those that fit written.
  bool pack(const NxChem::NxMolBase& mol, char* out, std::size_t size) const;
};

extern const NamePacking atom_name_packing;
extern const NamePacking residue_name_packing;

}  // namespace briochem

#endif
