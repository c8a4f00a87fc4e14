// Sybyl atom and bond types, perceived from elements, bond orders, formal charges and rings. Private to the toolkit.
// C++ only.
#ifndef NXBRIOCHEM_TOOLKIT_NXSYBYL_INTERNAL_H
#define NXBRIOCHEM_TOOLKIT_NXSYBYL_INTERNAL_H

#include <string>
#include <vector>

#include <nxbriochem/toolkit/nxchem.h>

namespace NxChem {

// The types of one molecule, valid until it changes.
//
// Aromatic ("ar") are six-membered rings of carbon and nitrogen in which every atom has one double bond, in the ring or
// in a six-membered ring fused to it. Five-membered rings keep single and double bonds, as the Sybyl convention has it.
class NxSybylTypes {
 public:
  explicit NxSybylTypes(const NxMolBase& mol);

  // Such as "C.ar"; the element symbol for elements without subtypes, "Du" for a dummy atom. An atom without bonds has
  // the type of a saturated one.
  std::string AtomType(const NxAtomBase& atom) const;
  // "1", "2", "3", "ar", "am" (amide), or "un" for an order that is not set or has no type.
  const char* BondType(const NxBondBase& bond) const;

 private:
  bool IsAromatic(const NxAtomBase& atom) const { return aromatic_[atom.GetIdx()]; }
  bool IsAmide(const NxBondBase& bond) const;
  std::string CarbonType(const NxAtomBase& atom) const;
  std::string NitrogenType(const NxAtomBase& atom) const;
  std::string OxygenType(const NxAtomBase& atom) const;
  void FindAromaticRings(const NxMolBase& mol);

  std::vector<bool> aromatic_;        // by atom index
  std::vector<bool> aromatic_bonds_;  // by bond index
};

}  // namespace NxChem

#endif
