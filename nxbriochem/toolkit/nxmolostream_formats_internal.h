// The writers behind the output stream, one per file type, and the functions that they share. Private to the toolkit.
// C++ only.
#ifndef NXBRIOCHEM_TOOLKIT_NXMOLOSTREAM_FORMATS_INTERNAL_H
#define NXBRIOCHEM_TOOLKIT_NXMOLOSTREAM_FORMATS_INTERNAL_H

#include <string>
#include <string_view>
#include <vector>

#include <nxbriochem/toolkit/nxchem.h>
#include <nxbriochem/toolkit/nxformat_internal.h>

namespace NxChem {

// Each appends the molecule, active conformer, to the text. False, with a warning, when the format cannot hold it; the
// text then ends in a part of the molecule, for the caller to cut off. Formats without flavours ignore `flavor`.
bool NxWritePdb(const NxMolBase& mol, unsigned flavor, NxTextBuffer& text);
bool NxWriteMol2(const NxMolBase& mol, unsigned flavor, NxTextBuffer& text);
bool NxWriteSdf(const NxMolBase& mol, unsigned flavor, NxTextBuffer& text);
bool NxWriteXyz(const NxMolBase& mol, unsigned flavor, NxTextBuffer& text);
bool NxWritePqr(const NxMolBase& mol, unsigned flavor, NxTextBuffer& text);
// Takes the chain fields out of the text of a PQR file, all of its molecules, when no atom has a chain.
void NxFinishPqr(NxTextBuffer& text);

// Warns that a molecule cannot be written, because of one of its atoms (serial counts from 1) or as a whole. Always
// false.
bool NxRefuse(const NxMolBase& mol, const NxAtomBase& atom, int serial, const std::string& reason);
bool NxRefuse(const NxMolBase& mol, const std::string& reason);

// What a writer requires of an atom's numbers besides finite coordinates.
enum class NxNeeds { Coordinates, Charges, ChargesAndRadii };

// False, with a warning, when a number that the file would show is not finite or when a molecule with atoms has no
// conformer and so no coordinates. A writer that asks this first may rely on CoordData().
bool NxRequireNumbers(const NxMolBase& mol, NxNeeds needs);

// The residue name of atoms that have none.
inline constexpr std::string_view kNxUnknownLigand = "UNL";

// The atom's name without surrounding blanks; the element symbol, or "X" for a dummy atom, where it has none.
std::string_view NxDefaultAtomLabel(const NxAtomBase& atom);
inline std::string_view NxAtomLabel(const NxAtomBase& atom) {
  const std::string_view name = NxTrimmed(atom.GetName());
  return name.empty() ? NxDefaultAtomLabel(atom) : name;
}

// The atom's residue record; for an atom without one that of an unknown ligand: "UNL" 1, HETATM, no chain.
const NxResidue& NxWrittenResidue(const NxAtomBase& atom);
// Its name without surrounding blanks, "UNL" where it has none.
inline std::string_view NxResidueLabel(const NxResidue& residue) {
  const std::string_view name = NxTrimmed(residue.GetName());
  return name.empty() ? kNxUnknownLigand : name;
}

// A bond by the serials of its ends, which count the atoms of the file from 1.
struct NxWrittenBond {
  int bgn;
  int end;
  int order;
};

// Serial by atom index, 0 for deleted atoms.
std::vector<int> NxAtomSerials(const NxMolBase& mol);
// Whether the bond joins two atoms; placeholders do not, and files leave them out.
bool NxIsWritten(const NxBondBase& bond);
// The bonds that files show, in index order.
std::vector<NxWrittenBond> NxWrittenBonds(const NxMolBase& mol);

}  // namespace NxChem

#endif
