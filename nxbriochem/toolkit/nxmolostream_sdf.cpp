// SD files: one connection table per record, V2000 up to 999 atoms and bonds, V3000 beyond (CTfile formats, BIOVIA).
#include <algorithm>
#include <utility>

#include <nxbriochem/toolkit/nxelements.h>
#include <nxbriochem/toolkit/nxmolostream_formats_internal.h>

namespace NxChem {
namespace {

constexpr std::size_t kV2000Limit = 999;
constexpr int kChargesPerLine = 8;
constexpr int kMaxCharge = 15;  // the format's bound on formal charges, both ways

// "*" is the format's unspecified atom.
const char* Symbol(const NxAtomBase& atom) {
  return atom.GetAtomicNum() == 0 ? "*" : NxGetAtomicSymbol(atom.GetAtomicNum());
}

// The format's types 1 to 3 are orders, 4 is aromatic and 8 any. A bond of unset order is written as single, as every
// connectivity without orders is; a quadruple one as any.
int BondType(int order) { return order <= 0 ? 1 : order <= 3 ? order : 8; }

class SdfWriter {
 public:
  SdfWriter(const NxMolBase& mol, NxTextBuffer& text)
      : mol_(mol), text_(text), bonds_(NxWrittenBonds(mol)), coords_(mol.CoordData()) {}

  bool Write() {
    if (!CollectCharges()) {
      return false;
    }
    WriteHeader();
    const bool small = mol_.NumAtoms() <= kV2000Limit && bonds_.size() <= kV2000Limit;
    if (!small) {
      WriteV3000();
    } else if (!WriteV2000()) {
      return false;
    }
    text_.Append("M  END\n$$$$\n");
    return true;
  }

 private:
  bool CollectCharges();
  void WriteHeader();
  bool WriteV2000();
  void WriteCharges();
  void WriteV3000();

  const NxMolBase& mol_;
  NxTextBuffer& text_;
  const std::vector<NxWrittenBond> bonds_;
  const float* const coords_;
  std::vector<std::pair<int, int>> charges_;  // serial and formal charge of the charged atoms
};

bool SdfWriter::CollectCharges() {
  int serial = 0;
  for (const NxAtomBase& atom : mol_.GetAtoms()) {
    ++serial;
    const int charge = atom.GetFormalCharge();
    if (charge < -kMaxCharge || charge > kMaxCharge) {
      return NxRefuse(mol_, atom, serial, "formal charge " + std::to_string(charge));
    }
    if (charge != 0) {
      charges_.emplace_back(serial, charge);
    }
  }
  return true;
}

// Title, cut to 80 characters; program and dimension, without a date so that equal molecules give equal files; comment.
// A title that looks like the end of a record is moved right by a blank.
void SdfWriter::WriteHeader() {
  std::string title = NxOneLine(mol_.GetTitle()).substr(0, 80);
  if (title.starts_with("$$$$")) {
    title.insert(0, 1, ' ');
  }
  text_.Append(title).Append("\n  NXBRIOCH          3D\n\n");
}

bool SdfWriter::WriteV2000() {
  text_.AppendInt(static_cast<int>(mol_.NumAtoms()), 3).AppendInt(static_cast<int>(bonds_.size()), 3);
  text_.Append("  0  0  0  0  0  0  0  0999 V2000\n");
  int serial = 0;
  for (const NxAtomBase& atom : mol_.GetAtoms()) {
    ++serial;
    for (std::size_t k = 0; k < 3; ++k) {
      const float x = coords_[3 * static_cast<std::size_t>(atom.GetIdx()) + k];
      if (!NxFitFixed(text_.Extend(10), x, 10, 4)) {
        return NxRefuse(mol_, atom, serial, "coordinate " + std::to_string(x));
      }
    }
    text_.Append(' ').AppendLeft(Symbol(atom), 3).Append(" 0  0  0  0  0  0  0  0  0  0  0  0\n");
  }
  for (const NxWrittenBond& bond : bonds_) {
    text_.AppendInt(bond.bgn, 3).AppendInt(bond.end, 3).AppendInt(BondType(bond.order), 3).Append("  0  0  0  0\n");
  }
  WriteCharges();
  return true;
}

void SdfWriter::WriteCharges() {
  for (std::size_t at = 0; at < charges_.size(); at += kChargesPerLine) {
    const auto n = std::min<std::size_t>(kChargesPerLine, charges_.size() - at);
    text_.Append("M  CHG").AppendInt(static_cast<int>(n), 3);
    for (std::size_t i = at; i < at + n; ++i) {
      text_.Append(' ').AppendInt(charges_[i].first, 3).Append(' ').AppendInt(charges_[i].second, 3);
    }
    text_.Append('\n');
  }
}

void SdfWriter::WriteV3000() {
  text_.Append("  0  0  0     0  0            999 V3000\nM  V30 BEGIN CTAB\nM  V30 COUNTS ");
  text_.AppendInt(static_cast<int>(mol_.NumAtoms())).Append(' ').AppendInt(static_cast<int>(bonds_.size()));
  text_.Append(" 0 0 0\nM  V30 BEGIN ATOM\n");
  int serial = 0;
  for (const NxAtomBase& atom : mol_.GetAtoms()) {
    text_.Append("M  V30 ").AppendInt(++serial).Append(' ').Append(Symbol(atom));
    for (std::size_t k = 0; k < 3; ++k) {
      text_.Append(' ').AppendFixed(coords_[3 * static_cast<std::size_t>(atom.GetIdx()) + k], 0, 4);
    }
    text_.Append(" 0");
    if (atom.GetFormalCharge() != 0) {
      text_.Append(" CHG=").AppendInt(atom.GetFormalCharge());
    }
    text_.Append('\n');
  }
  text_.Append("M  V30 END ATOM\n");
  if (!bonds_.empty()) {
    text_.Append("M  V30 BEGIN BOND\n");
    int index = 0;
    for (const NxWrittenBond& bond : bonds_) {
      text_.Append("M  V30 ").AppendInt(++index).Append(' ').AppendInt(BondType(bond.order));
      text_.Append(' ').AppendInt(bond.bgn).Append(' ').AppendInt(bond.end).Append('\n');
    }
    text_.Append("M  V30 END BOND\n");
  }
  text_.Append("M  V30 END CTAB\n");
}

}  // namespace

bool NxWriteSdf(const NxMolBase& mol, unsigned /*flavor*/, NxTextBuffer& text) {
  return NxRequireNumbers(mol, NxNeeds::Coordinates) && SdfWriter(mol, text).Write();
}

}  // namespace NxChem
