// What is kept with a molecule, and what its atoms have beyond the flat arrays.
#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "molecule.h"
#include "nxbriofiles.h"
#include "reports.h"

namespace nxbrio::files {
namespace {

using NxChem::NxAtomBase;
using NxChem::NxMolBase;

// A text that is kept whole; "" when there is none.
const char* whole_text(const char* tag, int mol) {
  const NxMolBase& molecule = model(mol);
  return reported("memory", "", [&] {
    const char* const text = molecule.GetStringData(NxSystem::NxGetTag(tag));
    return text != nullptr ? text : "";
  });
}

int count_texts(const char* tag, int mol) {
  const NxMolBase& molecule = model(mol);
  return reported("memory", 0, [&] { return number_of_texts(molecule, tag); });
}

const char* kth_text(const char* tag, int k, int mol) {
  const NxMolBase& molecule = model(mol);
  return reported("memory", static_cast<const char*>(nullptr), [&] { return text_of(molecule, tag, k); });
}

// One value per atom at its index.
template <class T, class Get>
int get_values(T* values, int mol, Get get) {
  const NxMolBase& molecule = model(mol);
  if (values == nullptr) {
    return 0;
  }
  for (const NxAtomBase& atom : molecule.GetAtoms()) {
    values[atom.GetIdx()] = get(atom);
  }
  return 1;
}

template <class T, class Set>
int set_values(const T* values, int mol, Set set) {
  const NxMolBase& molecule = model(mol);
  if (values == nullptr) {
    return 0;
  }
  for (NxAtomBase& atom : molecule.GetAtoms()) {
    set(atom, values[atom.GetIdx()]);
  }
  return 1;
}

const NxChem::NxResidue& residue_of(const NxAtomBase& atom) { return NxChem::NxAtomGetResidue(atom); }

int number_of_residues(const NxMolBase& molecule) {
  int residues = 0;
  // By the chain's letter, and by its place where it has none.
  const NxChem::NxResidue* last[256] = {};
  std::map<int, const NxChem::NxResidue*> last_without_letter;
  std::size_t size = 0;
  const int* const places = molecule.GetData<int>(NxSystem::NxGetTag(kChainPlacesTag), &size);
  for (const NxAtomBase& atom : molecule.GetAtoms()) {
    const NxChem::NxResidue& residue = residue_of(atom);
    const bool without_letter = residue.GetChainID() == ' ' && atom.GetIdx() < size;
    const NxChem::NxResidue*& before = without_letter ? last_without_letter[places[atom.GetIdx()]]
                                                      : last[static_cast<unsigned char>(residue.GetChainID())];
    residues += before == nullptr || before->GetResidueNumber() != residue.GetResidueNumber() ||
                        before->GetInsertCode() != residue.GetInsertCode() || before->GetName() != residue.GetName()
                    ? 1
                    : 0;
    before = &residue;
  }
  return residues;
}

// An SD file ends a field at an empty line and a record at "$$$$".
bool fits_sd_file(const char* name, const char* text) {
  if (name == nullptr || text == nullptr || *name == '\0' || std::strpbrk(name, "\r\n>") != nullptr ||
      std::strchr(text, '\r') != nullptr || *text == '\n') {
    return false;
  }
  const std::string lines = std::string("\n") + text;
  return lines.find("\n\n") == std::string::npos && lines.find("\n$$$$") == std::string::npos;
}

}  // namespace
}  // namespace nxbrio::files

using namespace nxbrio;
using namespace nxbrio::files;

const char* nxf_molecule_format(int mol) { return whole_text(kFormatTag, mol); }

int nxf_molecule_model(int mol) {
  const NxMolBase& molecule = model(mol);
  return reported("memory", 0, [&] {
    const int* const number = molecule.GetData<int>(NxSystem::NxGetTag(kModelTag));
    return number != nullptr ? *number : 0;
  });
}

const char* nxf_molecule_title(int mol) { return whole_text(kTitleTag, mol); }
const char* nxf_charge_source(int mol) { return whole_text(kChargesTag, mol); }
const char* nxf_radius_source(int mol) { return whole_text(kRadiiTag, mol); }

int nxf_number_of_notes(int mol) { return count_texts(kNotesTag, mol); }
const char* nxf_note(int k, int mol) { return kth_text(kNotesTag, k, mol); }

int nxf_number_of_residues(int mol) {
  const NxMolBase& molecule = model(mol);
  return reported("memory", 0, [&] { return number_of_residues(molecule); });
}

int nxf_number_of_chains(int mol) { return static_cast<int>(std::strlen(whole_text(kChainsTag, mol))); }

char nxf_chain_letter(int k, int mol) {
  const char* const letters = whole_text(kChainsTag, mol);
  return k >= 0 && static_cast<std::size_t>(k) < std::strlen(letters) ? letters[k] : '\0';
}

const char* nxf_chain_name(int k, int mol) { return kth_text(kChainNamesTag, k, mol); }

int nxf_number_of_fields(int mol) { return count_texts(kFieldsTag, mol) / 2; }

const char* nxf_field_name(int k, int mol) { return k < 0 || k > 1 << 28 ? nullptr : kth_text(kFieldsTag, 2 * k, mol); }

const char* nxf_field(const char* name, int mol) {
  const int n = nxf_number_of_fields(mol);
  for (int k = 0; name != nullptr && k < n; ++k) {
    if (std::strcmp(nxf_field_name(k, mol), name) == 0) {
      return kth_text(kFieldsTag, 2 * k + 1, mol);
    }
  }
  return nullptr;
}

int nxf_set_field(const char* name, const char* text, int mol) {
  NxMolBase& molecule = model(mol);
  return reported("memory", 0, [&] {
    if (!fits_sd_file(name, text)) {
      return 0;
    }
    std::vector<std::string> texts = texts_of(molecule, kFieldsTag);
    std::size_t at = 0;
    while (at < texts.size() && texts[at] != name) {
      at += 2;
    }
    if (at >= texts.size()) {
      texts.insert(texts.end(), {name, ""});
    }
    texts[at + 1] = text;
    set_texts(molecule, kFieldsTag, texts);
    return 1;
  });
}

int nxf_delete_field(const char* name, int mol) {
  NxMolBase& molecule = model(mol);
  return reported("memory", 0, [&] {
    std::vector<std::string> texts = texts_of(molecule, kFieldsTag);
    for (std::size_t at = 0; name != nullptr && at < texts.size(); at += 2) {
      if (texts[at] == name) {
        texts.erase(texts.begin() + static_cast<std::ptrdiff_t>(at),
                    texts.begin() + static_cast<std::ptrdiff_t>(at) + 2);
        set_texts(molecule, kFieldsTag, texts);
        return 1;
      }
    }
    return 0;
  });
}

int nxf_get_atomic_numbers(int* numbers, int mol) {
  return get_values(numbers, mol, [](const NxAtomBase& atom) { return static_cast<int>(atom.GetAtomicNum()); });
}

int nxf_set_atomic_numbers(const int* numbers, int mol) {
  constexpr int kLast = 118;
  for (const NxAtomBase& atom : model(mol).GetAtoms()) {
    if (numbers == nullptr || numbers[atom.GetIdx()] < 0 || numbers[atom.GetIdx()] > kLast) {
      return 0;
    }
  }
  return set_values(numbers, mol,
                    [](NxAtomBase& atom, int number) { atom.SetAtomicNum(static_cast<unsigned>(number)); });
}

int nxf_get_formal_charges(int* charges, int mol) {
  return get_values(charges, mol, [](const NxAtomBase& atom) { return atom.GetFormalCharge(); });
}

int nxf_set_formal_charges(const int* charges, int mol) {
  return set_values(charges, mol, [](NxAtomBase& atom, int charge) { atom.SetFormalCharge(charge); });
}

int nxf_get_insertion_codes(char* codes, int mol) {
  return get_values(codes, mol, [](const NxAtomBase& atom) { return residue_of(atom).GetInsertCode(); });
}

int nxf_get_hetero_flags(int* flags, int mol) {
  return get_values(flags, mol, [](const NxAtomBase& atom) { return residue_of(atom).IsHetAtom() ? 1 : 0; });
}

int nxf_get_occupancies(float* occupancies, int mol) {
  return get_values(occupancies, mol, [](const NxAtomBase& atom) { return residue_of(atom).GetOccupancy(); });
}

int nxf_get_b_factors(float* factors, int mol) {
  return get_values(factors, mol, [](const NxAtomBase& atom) { return residue_of(atom).GetBFactor(); });
}
