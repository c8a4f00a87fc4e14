#include "molecule.h"

#include <nxbriochem/molecules/memmgr.h>
#include <nxbriochem/nxbriochem.h>

#include <algorithm>
#include <map>

#include "charges.h"
#include "element.h"
#include "failure.h"
#include "formats.h"
#include "text.h"

namespace nxbrio::files {
namespace {

using NxChem::NxAtomBase;
using NxChem::NxMolBase;
using NxChem::NxResidue;

// Which atoms will have a radius that is not their element's, since Bondi radii go by names.
void note_radii_by_name(Structure& structure) {
  std::map<std::string, int> counts;
  for (const Atom& atom : structure.atoms) {
    if (atom.element != 0 && atom.element != element_of_bondi_radius(atom.name, atom.residue)) {
      ++counts[element_symbol(atom.element)];
    }
  }
  std::string found;
  for (const auto& [symbol, count] : counts) {
    found += formatted("%s%d %s", found.empty() ? "" : ", ", count, symbol.c_str());
  }
  if (!found.empty()) {
    structure.notes.push_back(found +
                              " without their element's Bondi radius, which goes by the first letters of atom names");
  }
}

void complete(Structure& structure) {
  number_residues(structure);
  if (structure.guessed_elements > 0) {
    structure.notes.push_back(
        structure.guessed_elements == 1
            ? "the element of 1 atom is guessed from its name"
            : formatted("the elements of %d atoms are guessed from their names", structure.guessed_elements));
  }
  if (structure.charges != Charges::File) {
    assign_formal_charges(structure);
  }
  structure.notes_on_file = structure.notes.size();
  add_notes_on_atoms(structure);
}

void add_atoms(const Structure& structure, NxMolBase& mol) {
  std::vector<float> coordinates;
  coordinates.reserve(3 * structure.atoms.size());
  for (const Atom& from : structure.atoms) {
    NxAtomBase& atom = *mol.NewAtom(static_cast<unsigned>(from.element));
    atom.SetName(from.name);
    atom.SetFormalCharge(from.formal_charge);
    atom.SetPartialCharge(from.charge);
    atom.SetRadius(from.radius);
    NxResidue residue;
    residue.SetName(from.residue);
    residue.SetResidueNumber(from.residue_number);
    residue.SetSequenceNumber(from.sequence_number);
    residue.SetChainID(from.chain);
    residue.SetInsertCode(from.insertion_code);
    residue.SetHetAtom(from.het);
    residue.SetOccupancy(from.occupancy);
    residue.SetBFactor(from.b_factor);
    NxChem::NxAtomSetResidue(atom, residue);
    coordinates.insert(coordinates.end(), from.position.begin(), from.position.end());
  }
  mol.SetCoords(coordinates.data());
  for (const Bond& bond : structure.bonds) {
    mol.NewBond(mol.GetAtom(bond.begin), mol.GetAtom(bond.end), bond.order);
  }
}

void keep_chains(const Structure& structure, NxMolBase& mol) {
  std::string letters;
  std::vector<std::string> names;
  std::map<ChainKey, int> places;
  for (const Chain& chain : structure.chains) {
    letters += chain.letter;
    if (chain.letter == ' ') {
      places.emplace(ChainKey{' ', chain.name}, static_cast<int>(names.size()));
    }
    names.push_back(chain.name);
  }
  mol.SetData(NxSystem::NxGetTag(kChainsTag), std::string_view(letters));
  set_texts(mol, kChainNamesTag, names);
  if (chains_without_letter(structure) > 0) {
    std::vector<int> place_of_atom;
    for (const Atom& atom : structure.atoms) {
      place_of_atom.push_back(atom.chain == ' ' ? places.at(chain_of(atom)) : -1);
    }
    mol.SetData(NxSystem::NxGetTag(kChainPlacesTag), place_of_atom.data(), place_of_atom.size());
  }
}

void keep_remarks(const Structure& structure, NxMolBase& mol) {
  std::string remarks;
  for (const Atom& atom : structure.atoms) {
    remarks += static_cast<char>(atom.remarks);
  }
  if (remarks.find_first_not_of('\0') != std::string::npos) {
    mol.SetData(NxSystem::NxGetTag(kRemarksTag), remarks.data(), remarks.size());
  }
}

void keep_words(const Structure& structure, NxMolBase& mol) {
  mol.SetData(NxSystem::NxGetTag(kFormatTag), std::string_view(structure.format));
  mol.SetData(NxSystem::NxGetTag(kModelTag), structure.model);
  mol.SetData(NxSystem::NxGetTag(kTitleTag), std::string_view(structure.title));
  constexpr const char* kSources[] = {"none", "formal", "file"};
  mol.SetData(NxSystem::NxGetTag(kChargesTag), std::string_view(kSources[static_cast<int>(structure.charges)]));
  mol.SetData(NxSystem::NxGetTag(kRadiiTag), std::string_view(structure.radii_given ? "file" : "Bondi"));
  keep_chains(structure, mol);
  set_texts(mol, kNotesTag, structure.notes);
  mol.SetData(NxSystem::NxGetTag(kNotesOnFileTag), static_cast<int>(structure.notes_on_file));
  keep_remarks(structure, mol);
  std::vector<std::string> fields;
  for (const auto& [name, text] : structure.fields) {
    fields.push_back(name);
    fields.push_back(text);
  }
  set_texts(mol, kFieldsTag, fields);
}

// The names of chains that are not their letters.
class ChainNames {
 public:
  explicit ChainNames(const NxMolBase& mol)
      : names_(texts_of(mol, kChainNamesTag)),
        places_(mol.GetData<int>(NxSystem::NxGetTag(kChainPlacesTag), &places_size_)) {
    const char* const letters = mol.GetStringData(NxSystem::NxGetTag(kChainsTag));
    for (std::size_t i = 0; letters != nullptr && letters[i] != '\0' && i < names_.size(); ++i) {
      if (letters[i] != ' ' && names_[i] != std::string(1, letters[i])) {
        by_letter_.emplace(letters[i], i);
      }
    }
  }

  std::string of(char letter, std::size_t atom) const {
    if (letter != ' ') {
      const auto at = by_letter_.find(letter);
      return at != by_letter_.end() ? names_[at->second] : std::string();
    }
    return atom < places_size_ && places_[atom] >= 0 ? names_.at(static_cast<std::size_t>(places_[atom]))
                                                     : std::string();
  }

 private:
  std::vector<std::string> names_;
  std::map<char, std::size_t> by_letter_;
  std::size_t places_size_ = 0;
  const int* places_;
};

// Entries of small molecules bear their names; of others the title is a sentence, and the file has the name.
bool has_names(const Structure& structure) {
  return structure.format == "sdf" || structure.format == "mol2" || structure.format == "xyz";
}

}  // namespace

void add_notes_on_atoms(Structure& structure) {
  note_chains(structure);
  if (structure.charges != Charges::File) {
    note_formal_charges(structure);
  } else if (std::all_of(structure.atoms.begin(), structure.atoms.end(),
                         [](const Atom& atom) { return atom.charge == 0.0F; })) {
    structure.notes.emplace_back("no charges: those in the file are all 0");
  }
  if (!structure.radii_given) {
    note_radii_by_name(structure);
  }
}

NxMolBase& model(int mol) { return *NxBrioChem::NxDerefMolHandle(mol); }

int make_molecule(Structure structure, const std::string& path) {
  complete(structure);
  const bool titled = has_names(structure) && !structure.title.empty();
  const int handle = build_molecule(structure, titled ? structure.title : file_stem(path), path);
  if (!structure.radii_given && nx_assign_bondi_radii(handle) != 1) {
    nx_delete_molecule(handle);
    throw Failure(path, "the library refused to assign radii");
  }
  return handle;
}

int build_molecule(const Structure& structure, const std::string& name, const std::string& path) {
  const int handle = nx_make_molecule();
  if (handle == 0) {
    throw Failure(path, "there is no molecule handle left");
  }
  try {
    NxMolBase& mol = model(handle);
    mol.SetTitle(name);
    add_atoms(structure, mol);
    nx_set_molecule_file_name(path.c_str(), handle);
    keep_words(structure, mol);
  } catch (...) {
    nx_delete_molecule(handle);
    throw;
  }
  return handle;
}

Structure structure_of(const NxMolBase& mol) {
  Structure structure;
  structure.title = mol.GetTitle();
  const int* const number = mol.GetData<int>(NxSystem::NxGetTag(kModelTag));
  structure.model = number != nullptr ? *number : 1;
  const ChainNames names(mol);
  std::size_t remarked = 0;
  const char* const remarks = mol.GetData<char>(NxSystem::NxGetTag(kRemarksTag), &remarked);
  for (const NxAtomBase& from : mol.GetAtoms()) {
    const NxResidue& residue = NxChem::NxAtomGetResidue(from);
    Atom atom;
    atom.name = trimmed(from.GetName());
    atom.residue = trimmed(residue.GetName());
    atom.chain = residue.GetChainID();
    atom.chain_name = names.of(atom.chain, from.GetIdx());
    atom.remarks = from.GetIdx() < remarked ? static_cast<unsigned char>(remarks[from.GetIdx()]) : 0;
    atom.residue_number = residue.GetResidueNumber();
    atom.insertion_code = residue.GetInsertCode();
    atom.element = from.GetAtomicNum() <= 118 ? static_cast<int>(from.GetAtomicNum()) : 0;
    atom.het = residue.IsHetAtom();
    atom.formal_charge = from.GetFormalCharge();
    atom.occupancy = residue.GetOccupancy();
    atom.b_factor = residue.GetBFactor();
    atom.charge = from.GetPartialCharge();
    atom.radius = from.GetRadius();
    mol.GetCoords(from, atom.position.data());
    structure.atoms.push_back(std::move(atom));
  }
  return structure;
}

std::vector<std::string> texts_of(const NxMolBase& mol, const char* tag) {
  std::vector<std::string> texts;
  std::size_t size = 0;
  const char* const packed = mol.GetData<char>(NxSystem::NxGetTag(tag), &size);
  for (std::size_t at = 0; packed != nullptr && at < size;) {
    texts.emplace_back(packed + at);
    at += texts.back().size() + 1;
  }
  return texts;
}

int number_of_texts(const NxMolBase& mol, const char* tag) {
  std::size_t size = 0;
  const char* const packed = mol.GetData<char>(NxSystem::NxGetTag(tag), &size);
  return packed != nullptr ? static_cast<int>(std::count(packed, packed + size, '\0')) : 0;
}

void set_texts(NxMolBase& mol, const char* tag, const std::vector<std::string>& texts) {
  std::string packed;
  for (const std::string& text : texts) {
    packed.append(text.c_str()) += '\0';
  }
  mol.SetData(NxSystem::NxGetTag(tag), packed.data(), packed.size());
}

const char* text_of(const NxMolBase& mol, const char* tag, int k) {
  std::size_t size = 0;
  const char* const packed = mol.GetData<char>(NxSystem::NxGetTag(tag), &size);
  if (packed == nullptr || k < 0) {
    return nullptr;
  }
  for (std::size_t at = 0; at < size; at += std::string_view(packed + at).size() + 1) {
    if (k-- == 0) {
      return packed + at;
    }
  }
  return nullptr;
}

}  // namespace nxbrio::files
