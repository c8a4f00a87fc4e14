// PQR files: one atom per line, fields separated by blanks whatever their width, with charge and radius.
#include <algorithm>
#include <vector>

#include <nxbriochem/toolkit/nxelements.h>
#include <nxbriochem/toolkit/nxmolostream_formats_internal.h>

namespace NxChem {
namespace {

constexpr char kNoChain = '_';

// One line. Fields are in the columns of a PDB file, counted from 1; where a field would touch the one before, it
// follows after a blank.
class Record {
 public:
  explicit Record(NxTextBuffer& text) : text_(text), start_(text.Size()) {}

  Record& Put(std::size_t column, std::string_view field) {
    const std::size_t length = text_.Size() - start_;
    const std::size_t blanks = length == 0 ? 0 : std::max(column - 1, length + 1) - length;
    if (blanks != 0) {
      std::memset(text_.Extend(blanks), ' ', blanks);
    }
    text_.Append(field);
    return *this;
  }
  // Right-aligned to a column.
  Record& PutLast(std::size_t column, std::string_view field) {
    return Put(column - std::min(field.size(), column - 1) + 1, field);
  }
  Record& PutFixed(std::size_t last_column, float value, int decimals) {
    char room[kNxFixedRoom];
    return PutLast(last_column, {room, static_cast<std::size_t>(NxFormatFixed(room, value, decimals) - room)});
  }

 private:
  NxTextBuffer& text_;
  std::size_t start_;
};

// A name starts in column 14, but in column 13 when it is long or starts with its element's two-letter symbol, from
// which readers of PDB columns tell the element.
std::size_t NameColumn(const NxAtomBase& atom, std::string_view name) {
  const std::string_view symbol = NxGetAtomicSymbol(atom.GetAtomicNum());
  const bool two_letters = symbol.size() == 2 && name.size() >= 2 && atom.GetAtomicNum() != 0 &&
                           NxGetAtomicNum(name.substr(0, 2)) == atom.GetAtomicNum();
  return name.size() >= 4 || two_letters ? 13 : 14;
}

bool IsSet(char c) { return c != ' ' && !NxIsControl(c); }

void WriteAtom(const NxAtomBase& atom, int serial, const float* xyz, NxTextBuffer& text) {
  const NxResidue& residue = NxWrittenResidue(atom);
  const std::string name = NxOneWord(NxAtomLabel(atom), "X");
  const std::string residue_name = NxOneWord(NxResidueLabel(residue), kNxUnknownLigand);
  const char chain = IsSet(residue.GetChainID()) ? residue.GetChainID() : kNoChain;
  Record record(text);
  record.Put(1, residue.IsHetAtom() ? "HETATM" : "ATOM").PutLast(11, std::to_string(serial));
  record.Put(NameColumn(atom, name), name);
  record.Put(residue_name.size() < 3 ? 21 - residue_name.size() : 18, residue_name);
  record.Put(22, {&chain, 1}).PutLast(26, std::to_string(residue.GetResidueNumber()));
  if (IsSet(residue.GetInsertCode())) {
    text.Append(residue.GetInsertCode());
  }
  record.PutFixed(38, xyz[0], 3).PutFixed(46, xyz[1], 3).PutFixed(54, xyz[2], 3);
  record.PutFixed(62, atom.GetPartialCharge(), 4).PutFixed(69, atom.GetRadius(), 4);
  text.Append('\n');
}

// Where the chain of an atom record stands; null for any other line.
char* ChainOf(char* line, const char* end) {
  const std::string_view text(line, static_cast<std::size_t>(end - line));
  if (!text.starts_with("ATOM") && !text.starts_with("HETATM")) {
    return nullptr;
  }
  std::size_t at = 0;
  for (int field = 0; field < 4; ++field) {
    at = text.find_first_not_of(' ', text.find(' ', at));
  }
  return line + at;
}

// Calls what(chain) for the chain of every atom record until it returns false.
template <class What>
bool AllChains(NxTextBuffer& text, What what) {
  char* const end = text.Data() + text.Size();
  for (char* line = text.Data(); line != end;) {
    char* const line_end = std::find(line, end, '\n');
    if (char* const chain = ChainOf(line, line_end); chain != nullptr && !what(*chain)) {
      return false;
    }
    line = line_end + (line_end != end ? 1 : 0);
  }
  return true;
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

// Readers tell from the first record whether there are chains in the whole file, its models included.
void NxFinishPqr(NxTextBuffer& text) {
  if (AllChains(text, [](const char& chain) { return chain == kNoChain; })) {
    AllChains(text, [](char& chain) {
      chain = ' ';
      return true;
    });
  }
}

}  // namespace NxChem
