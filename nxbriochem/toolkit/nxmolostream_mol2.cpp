// Tripos mol2 files: molecule, atoms, bonds and, where atoms have residues, substructures.
#include <map>
#include <tuple>

#include <nxbriochem/toolkit/nxmolostream_formats_internal.h>
#include <nxbriochem/toolkit/nxsybyl_internal.h>

namespace NxChem {
namespace {

// The format's placeholder for an empty text.
constexpr std::string_view kEmpty = "****";

struct Substructure {
  std::string name;  // residue name and number, "ALA12"
  std::string residue_name;
  char chain;
  bool het;
  int root;  // serial of the alpha carbon, else of the first atom
};

class Mol2Writer {
 public:
  Mol2Writer(const NxMolBase& mol, NxTextBuffer& text) : mol_(mol), text_(text), types_(mol) {}

  void Write() {
    CollectSubstructures();
    WriteMolecule();
    WriteAtoms();
    WriteBonds();
    WriteSubstructures();
  }

 private:
  void CollectSubstructures();
  void WriteMolecule();
  void WriteAtoms();
  void WriteBonds();
  void WriteSubstructures();

  const NxMolBase& mol_;
  NxTextBuffer& text_;
  const NxSybylTypes types_;
  std::vector<Substructure> substructures_;
  std::vector<std::size_t> substructure_of_;  // by serial - 1
  bool has_charges_ = false;
};

// Atoms with equal residue records form one substructure, wherever they stand; substructures are in order of their
// first atoms.
void Mol2Writer::CollectSubstructures() {
  using Key = std::tuple<char, int, char, std::string_view>;
  std::map<Key, std::size_t> known;
  int serial = 0;
  for (const NxAtomBase& atom : mol_.GetAtoms()) {
    ++serial;
    has_charges_ = has_charges_ || atom.GetPartialCharge() != 0.0F;
    const NxResidue& residue = NxWrittenResidue(atom);
    const std::string_view label = NxResidueLabel(residue);
    const auto [at, added] = known.try_emplace(
        Key{residue.GetChainID(), residue.GetResidueNumber(), residue.GetInsertCode(), label}, substructures_.size());
    if (added) {
      const std::string name = NxOneWord(label, kNxUnknownLigand);
      std::string full_name = name + std::to_string(residue.GetResidueNumber());
      if (residue.GetInsertCode() != ' ' && !NxIsControl(residue.GetInsertCode())) {
        full_name += residue.GetInsertCode();
      }
      substructures_.push_back({full_name, name, residue.GetChainID(), residue.IsHetAtom(), serial});
    } else if (!residue.IsHetAtom() && NxAtomLabel(atom) == "CA") {
      substructures_[at->second].root = serial;
    }
    substructure_of_.push_back(at->second);
  }
}

// A title that would start a record or a comment is moved right by a blank.
void Mol2Writer::WriteMolecule() {
  std::string title = NxOneLine(mol_.GetTitle());
  if (title.empty()) {
    title = kEmpty;
  } else if (title.front() == '@' || title.front() == '#') {
    title.insert(0, 1, ' ');
  }
  text_.Append("@<TRIPOS>MOLECULE\n").Append(title).Append('\n');
  text_.AppendInt(static_cast<int>(mol_.NumAtoms()), 5).Append(' ');
  text_.AppendInt(static_cast<int>(NxWrittenBonds(mol_).size()), 5).Append(' ');
  text_.AppendInt(static_cast<int>(substructures_.size()), 5).Append("     0     0\n");
  text_.Append(substructures_.size() > 1 ? "BIOPOLYMER\n" : "SMALL\n");
  text_.Append(has_charges_ ? "USER_CHARGES\n\n" : "NO_CHARGES\n\n");
}

void Mol2Writer::WriteAtoms() {
  text_.Append("@<TRIPOS>ATOM\n");
  const float* const coords = mol_.CoordData();
  int serial = 0;
  for (const NxAtomBase& atom : mol_.GetAtoms()) {
    text_.AppendInt(++serial, 7).Append(' ').AppendLeft(NxOneWord(NxAtomLabel(atom), "X"), 8);
    for (std::size_t k = 0; k < 3; ++k) {
      text_.Append(' ').AppendFixed(coords[3 * static_cast<std::size_t>(atom.GetIdx()) + k], 9, 4);
    }
    const std::size_t substructure = substructure_of_[static_cast<std::size_t>(serial) - 1];
    text_.Append(' ').AppendLeft(types_.AtomType(atom), 5).Append(' ');
    text_.AppendInt(static_cast<int>(substructure) + 1, 5).Append(' ');
    if (has_charges_) {
      text_.AppendLeft(substructures_[substructure].name, 8).Append(' ');
      text_.AppendFixed(atom.GetPartialCharge(), 9, 4);
    } else {
      text_.Append(substructures_[substructure].name);
    }
    text_.Append('\n');
  }
}

void Mol2Writer::WriteBonds() {
  text_.Append("@<TRIPOS>BOND\n");
  const std::vector<int> serials = NxAtomSerials(mol_);
  int serial = 0;
  for (const NxBondBase& bond : mol_.GetBonds()) {
    if (!NxIsWritten(bond)) {
      continue;
    }
    text_.AppendInt(++serial, 6).Append(' ').AppendInt(serials[bond.GetBgn()->GetIdx()], 5).Append(' ');
    text_.AppendInt(serials[bond.GetEnd()->GetIdx()], 5).Append(' ').Append(types_.BondType(bond)).Append('\n');
  }
}

void Mol2Writer::WriteSubstructures() {
  text_.Append("@<TRIPOS>SUBSTRUCTURE\n");
  int serial = 0;
  for (const Substructure& part : substructures_) {
    text_.AppendInt(++serial, 6).Append(' ').AppendLeft(part.name, 8).Append(' ').AppendInt(part.root, 7);
    text_.Append(part.het ? " GROUP   0 " : " RESIDUE 0 ");
    const bool has_chain = part.chain != ' ' && !NxIsControl(part.chain);
    text_.AppendLeft(has_chain ? std::string_view(&part.chain, 1) : kEmpty, 4).Append(' ');
    text_.Append(part.residue_name).Append('\n');
  }
}

}  // namespace

bool NxWriteMol2(const NxMolBase& mol, unsigned /*flavor*/, NxTextBuffer& text) {
  if (!NxRequireNumbers(mol, NxNeeds::Charges)) {
    return false;
  }
  Mol2Writer(mol, text).Write();
  return true;
}

}  // namespace NxChem
