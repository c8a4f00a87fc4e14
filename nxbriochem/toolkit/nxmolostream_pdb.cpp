// PDB files: the columns of the wwPDB format 3.3. nxmolostream.h says what happens where they are too narrow.
#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <utility>

#include <nxbriochem/toolkit/nxelements.h>
#include <nxbriochem/toolkit/nxmolostream.h>
#include <nxbriochem/toolkit/nxmolostream_formats_internal.h>

namespace NxChem {
namespace {

constexpr std::size_t kLineLength = 80;
constexpr int kTitleColumns = 70;
constexpr int kBondsPerLine = 4;

// An atom record without contents, HETATM or ATOM, with its line end.
constexpr char kBlankLine[] =
    "HETATM                                                                          \n"
    "ATOM                                                                            \n";
static_assert(sizeof kBlankLine == 2 * (kLineLength + 1) + 1);

// Where fields start in a line; the format counts columns from 1.
constexpr std::size_t Column(std::size_t number) { return number - 1; }

// Element symbols as columns 77-78 show them: upper case, right-aligned; blank for dummy atoms, so that readers take
// the element from the name.
struct Symbols {
  static constexpr unsigned kCount = 119;
  std::array<std::array<char, 2>, kCount> text;

  Symbols() {
    for (unsigned i = 0; i < kCount; ++i) {
      const std::string_view symbol = i == 0 ? "" : NxGetAtomicSymbol(i);
      text[i] = {' ', ' '};
      for (std::size_t k = 0; k < std::min<std::size_t>(symbol.size(), 2); ++k) {
        text[i][2 - symbol.size() + k] = static_cast<char>(std::toupper(static_cast<unsigned char>(symbol[k])));
      }
    }
  }
};

char Printable(char c) { return NxIsControl(c) ? ' ' : c; }

// Four columns from field on: the text, not empty, cut to them or followed by blanks. Names' lengths vary from atom to
// atom, so this takes no branches on them.
void PutText4(char* field, std::string_view text) {
  std::array<char, 4> columns;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const char c = text[std::min(i, text.size() - 1)];
    columns[i] = i < text.size() ? Printable(c) : ' ';
  }
  std::memcpy(field, columns.data(), columns.size());
}

// Columns 13-16; column 17 is overwritten. A name of up to three characters starts in column 13 when the atom's element
// has a two-letter symbol and the name starts with it, else in column 14. Longer names are cut to four. Without an
// element, a name of four characters stays as it is: its blanks tell readers the element.
void PutAtomName(char* field, const NxAtomBase& atom, const std::array<char, 2>& symbol) {
  if (symbol[1] == ' ' && atom.GetName().size() == 4 && atom.GetName() != "    ") {
    PutText4(field, atom.GetName());
    return;
  }
  const std::string_view name = NxAtomLabel(atom);
  const bool two_letters = symbol[0] != ' ' && name.size() >= 2 &&
                           std::toupper(static_cast<unsigned char>(name[0])) == symbol[0] &&
                           std::toupper(static_cast<unsigned char>(name[1])) == symbol[1];
  PutText4(field + (two_letters || name.size() >= 4 ? 0 : 1), name);
}

// Columns 18-20 and, for a fourth character, 21; columns 22 and 23 are overwritten.
void PutResidueName(char* field, std::string_view name) {
  PutText4(field + (name.size() < 3 ? 3 - name.size() : 0), name);
}

class PdbWriter {
 public:
  PdbWriter(const NxMolBase& mol, bool delphi, NxTextBuffer& text) : mol_(mol), delphi_(delphi), text_(text) {}

  bool Write() {
    text_.Reserve(mol_.NumAtoms() * (kLineLength + 1) + 1024);
    WriteTitle();
    if (!WriteAtoms()) {
      return false;
    }
    WriteBonds();
    return true;
  }

 private:
  void WriteTitle();
  bool WriteAtoms();
  bool WriteAtom(const NxAtomBase& atom, const NxResidue& residue, int serial, const float* xyz);
  bool PutNumbers(char* line, const NxAtomBase& atom, const NxResidue& residue, int serial, const float* xyz);
  bool PutProperties(char* field, const NxAtomBase& atom, const NxResidue& residue, int serial);
  void WriteBonds();

  const NxMolBase& mol_;
  const bool delphi_;
  NxTextBuffer& text_;
  const Symbols& symbols_ = AllSymbols();
  std::array<char, 13> last_properties_{};    // columns 55-67 of the atom before
  std::array<std::uint32_t, 2> last_bits_{};  // of the two numbers that stand there

  static const Symbols& AllSymbols() {
    static const Symbols symbols;
    return symbols;
  }
};

// The first line takes 70 characters from column 11, each further one a number in columns 9-10, a blank and 69.
void PdbWriter::WriteTitle() {
  std::string title = NxOneLine(mol_.GetTitle());
  for (int line = 1; !title.empty() && line < 100; ++line) {
    char head[] = "TITLE     ";
    if (line > 1) {
      head[Column(9)] = line < 10 ? ' ' : static_cast<char>('0' + line / 10);
      head[Column(10)] = static_cast<char>('0' + line % 10);
      title.insert(0, 1, ' ');
    }
    text_.Append(head).Append(std::string_view(title).substr(0, kTitleColumns)).Append('\n');
    title.erase(0, kTitleColumns);
  }
}

// TER stands after the last ATOM record of each run of one chain, also when HETATM records of the chain follow it.
bool PdbWriter::WriteAtoms() {
  const float* const coords = mol_.CoordData();
  if (coords == nullptr) {
    return mol_.NumAtoms() == 0 || NxRefuse(mol_, "it has no coordinates");
  }
  int serial = 0;
  char chain = ' ';
  std::size_t chain_end = 0;  // after the run's last ATOM record, 0 when it had none
  const auto end_chain = [&] {
    if (chain_end > 0) {
      text_.Insert(chain_end, "TER\n");
      chain_end = 0;
    }
  };
  for (const NxAtomBase& atom : mol_.GetAtoms()) {
    const NxResidue& residue = NxWrittenResidue(atom);
    if (residue.GetChainID() != chain) {
      end_chain();
      chain = residue.GetChainID();
    }
    if (!WriteAtom(atom, residue, ++serial, coords + 3 * static_cast<std::size_t>(atom.GetIdx()))) {
      return false;
    }
    if (!residue.IsHetAtom()) {
      chain_end = text_.Size();
    }
  }
  end_chain();
  return true;
}

bool PdbWriter::WriteAtom(const NxAtomBase& atom, const NxResidue& residue, int serial, const float* xyz) {
  char* const line = text_.Extend(kLineLength + 1);
  std::memcpy(line, kBlankLine + (residue.IsHetAtom() ? 0 : kLineLength + 1), kLineLength + 1);
  const auto& symbol = symbols_.text[atom.GetAtomicNum() < Symbols::kCount ? atom.GetAtomicNum() : 0];

  // Fields are written from left to right, since the names may overwrite the columns after them.
  PutAtomName(line + Column(13), atom, symbol);
  line[Column(17)] = Printable(residue.GetAlternateLocation());
  PutResidueName(line + Column(18), NxResidueLabel(residue));
  line[Column(22)] = Printable(residue.GetChainID());
  line[Column(27)] = Printable(residue.GetInsertCode());
  std::memcpy(line + Column(77), symbol.data(), symbol.size());
  return PutNumbers(line, atom, residue, serial, xyz);
}

bool PdbWriter::PutNumbers(char* line, const NxAtomBase& atom, const NxResidue& residue, int serial, const float* xyz) {
  if (!NxPutHybrid36<5>(line + Column(7), serial)) {
    return NxRefuse(mol_, atom, serial, "there are more atoms than PDB serials");
  }
  if (!NxPutHybrid36<4>(line + Column(23), residue.GetResidueNumber())) {
    return NxRefuse(mol_, atom, serial, "residue number " + std::to_string(residue.GetResidueNumber()));
  }
  const float x = xyz[0];  // read before the first is written: text may alias anything
  const float y = xyz[1];
  const float z = xyz[2];
  if (!NxPutFixed<8, 3>(line + Column(31), x) || !NxPutFixed<8, 3>(line + Column(39), y) ||
      !NxPutFixed<8, 3>(line + Column(47), z)) {
    return NxRefuse(mol_, atom, serial,
                    "coordinates " + std::to_string(x) + ' ' + std::to_string(y) + ' ' + std::to_string(z));
  }
  if (!PutProperties(line + Column(55), atom, residue, serial)) {
    return false;
  }
  if (const int charge = atom.GetFormalCharge(); charge != 0) {
    if (charge < -9 || charge > 9) {
      return NxRefuse(mol_, atom, serial, "formal charge " + std::to_string(charge));
    }
    line[Column(79)] = static_cast<char>('0' + std::abs(charge));
    line[Column(80)] = charge > 0 ? '+' : '-';
  }
  return true;
}

// Columns 55-67. Occupancies and temperature factors are mostly those of the atom before.
bool PdbWriter::PutProperties(char* field, const NxAtomBase& atom, const NxResidue& residue, int serial) {
  const float first = delphi_ ? atom.GetRadius() : residue.GetOccupancy();
  const float second = delphi_ ? atom.GetPartialCharge() : residue.GetBFactor();
  const std::array<std::uint32_t, 2> bits = {std::bit_cast<std::uint32_t>(first), std::bit_cast<std::uint32_t>(second)};
  if (bits != last_bits_ || serial == 1) {
    last_properties_.fill(' ');
    char* const text = last_properties_.data();
    if (!NxPutFixed<6, 2>(text, first)) {
      return NxRefuse(mol_, atom, serial, (delphi_ ? "radius " : "occupancy ") + std::to_string(first));
    }
    if (!(delphi_ ? NxPutFixed<7, 3>(text + 6, second) : NxPutFixed<6, 2>(text + 6, second))) {
      return NxRefuse(mol_, atom, serial, (delphi_ ? "charge " : "temperature factor ") + std::to_string(second));
    }
    last_bits_ = bits;
  }
  std::memcpy(field, last_properties_.data(), last_properties_.size());
  return true;
}

// Every bond stands with both of its atoms, as often as its order says.
void PdbWriter::WriteBonds() {
  std::vector<std::pair<int, int>> links;
  for (const NxWrittenBond& bond : NxWrittenBonds(mol_)) {
    const auto times = static_cast<std::size_t>(std::clamp(bond.order, 1, kBondsPerLine));
    links.insert(links.end(), times, {bond.bgn, bond.end});
    links.insert(links.end(), times, {bond.end, bond.bgn});
  }
  std::sort(links.begin(), links.end());
  constexpr int kWidth = 5;
  for (std::size_t at = 0; at < links.size();) {
    const int serial = links[at].first;
    char line[] = "CONECT                         ";
    std::size_t end = Column(7);
    NxPutHybrid36<kWidth>(line + end, serial);
    for (int n = 0; n < kBondsPerLine && at < links.size() && links[at].first == serial; ++n, ++at) {
      end += kWidth;
      NxPutHybrid36<kWidth>(line + end, links[at].second);
    }
    text_.Append({line, end + kWidth}).Append('\n');
  }
}

}  // namespace

bool NxWritePdb(const NxMolBase& mol, unsigned flavor, NxTextBuffer& text) {
  return PdbWriter(mol, flavor == kNxPdbFlavorDelPhi, text).Write();
}

}  // namespace NxChem
