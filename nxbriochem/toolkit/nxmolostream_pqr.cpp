// PQR files: one atom per line, fields separated by blanks whatever their width, with charge and radius.
#include <nxbriochem/toolkit/nxmolostream_formats.h>

namespace NxChem {
namespace {

void WriteAtom(const NxAtomBase& atom, int serial, const float* xyz, NxTextBuffer& text) {
  const NxResidue& residue = NxWrittenResidue(atom);
  text.Append(residue.IsHetAtom() ? "HETATM" : "ATOM  ").Append(' ').AppendInt(serial, 5).Append(' ');
  text.AppendLeft(NxOneWord(NxAtomLabel(atom), "X"), 4).Append(' ');
  text.AppendLeft(NxOneWord(NxResidueLabel(residue), kNxUnknownLigand), 4).Append(' ');
  if (const char chain = residue.GetChainID(); chain != ' ' && !NxIsControl(chain)) {
    text.Append(chain).Append(' ');
  }
  text.AppendInt(residue.GetResidueNumber(), 4);
  if (const char code = residue.GetInsertCode(); code != ' ' && !NxIsControl(code)) {
    text.Append(code);
  }
  text.Append("   ");
  for (int k = 0; k < 3; ++k) {
    text.Append(' ').AppendFixed(xyz[k], 8, 3);
  }
  text.Append(' ').AppendFixed(atom.GetPartialCharge(), 8, 4);
  text.Append(' ').AppendFixed(atom.GetRadius(), 7, 4).Append('\n');
}

}  // namespace

bool NxWritePqr(const NxMolBase& mol, unsigned /*flavor*/, NxTextBuffer& text) {
  if (!NxRequireNumbers(mol, NxNeeds::ChargesAndRadii)) {
    return false;
  }
  if (const std::string title = NxOneLine(mol.GetTitle()); !title.empty()) {
    text.Append("REMARK ").Append(title).Append('\n');
  }
  int serial = 0;
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    WriteAtom(atom, ++serial, mol.CoordData() + 3 * static_cast<std::size_t>(atom.GetIdx()), text);
  }
  text.Append("TER\n");
  return true;
}

}  // namespace NxChem
