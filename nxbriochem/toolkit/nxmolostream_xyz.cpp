// XYZ files: the atom count, the title, and an element symbol with three coordinates per line.
#include <nxbriochem/toolkit/nxelements.h>
#include <nxbriochem/toolkit/nxmolostream_formats_internal.h>

namespace NxChem {

bool NxWriteXyz(const NxMolBase& mol, unsigned /*flavor*/, NxTextBuffer& text) {
  if (!NxRequireNumbers(mol, NxNeeds::Coordinates)) {
    return false;
  }
  const float* const coords = mol.CoordData();
  text.AppendInt(static_cast<int>(mol.NumAtoms())).Append('\n').Append(NxOneLine(mol.GetTitle())).Append('\n');
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    text.AppendLeft(atom.GetAtomicNum() == 0 ? "X" : NxGetAtomicSymbol(atom.GetAtomicNum()), 2);
    for (std::size_t k = 0; k < 3; ++k) {
      text.Append(' ').AppendFixed(coords[3 * static_cast<std::size_t>(atom.GetIdx()) + k], 13, 6);
    }
    text.Append('\n');
  }
  return true;
}

}  // namespace NxChem
