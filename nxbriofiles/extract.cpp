// Chosen atoms of a molecule as a molecule of their own.
#include <nxbriochem/nxbriochem.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "failure.h"
#include "molecule.h"
#include "nxbriofiles.h"
#include "reports.h"

namespace nxbrio::files {
namespace {

using NxChem::NxMolBase;

// Adds what structure_of leaves out: bonds, and data kept with the molecule.
void add_kept(const NxMolBase& mol, int handle, Structure& structure) {
  const std::string charges = nxf_charge_source(handle);
  structure.format = nxf_molecule_format(handle);
  structure.title = nxf_molecule_title(handle);
  structure.model = nxf_molecule_model(handle);
  structure.charges = charges == "file" ? Charges::File : charges == "formal" ? Charges::Formal : Charges::None;
  structure.radii_given = std::strcmp(nxf_radius_source(handle), "file") == 0;
  const int* const on_file = mol.GetData<int>(NxSystem::NxGetTag(kNotesOnFileTag));
  structure.notes_on_file = on_file != nullptr ? static_cast<std::size_t>(*on_file) : 0;
  structure.notes = texts_of(mol, kNotesTag);
  structure.notes.resize(std::min(structure.notes.size(), structure.notes_on_file));
  const std::vector<std::string> fields = texts_of(mol, kFieldsTag);
  for (std::size_t k = 0; k + 1 < fields.size(); k += 2) {
    structure.fields.emplace_back(fields[k], fields[k + 1]);
  }
}

// Fewer chains may leave letters for those that had none.
void give_letters(Structure& structure) {
  ChainLetters letters;
  for (const Atom& atom : structure.atoms) {
    if (atom.chain != ' ') {
      letters.letter({&atom.chain, 1});
    }
  }
  for (Atom& atom : structure.atoms) {
    if (atom.chain == ' ' && !atom.chain_name.empty()) {
      letters.set(atom, std::string(atom.chain_name));
    }
  }
}

// The place of each atom index among the chosen atoms; -1 for the others.
std::vector<int> places(const int* mask, const NxMolBase& mol) {
  std::vector<int> places(mol.GetMaxAtomIdx(), -1);
  int chosen = 0;
  for (const NxChem::NxAtomBase& atom : mol.GetAtoms()) {
    places[atom.GetIdx()] = mask[atom.GetIdx()] != 0 ? chosen++ : -1;
  }
  return places;
}

int extract(const int* mask, const NxMolBase& mol, int handle) {
  const std::vector<int> place = places(mask, mol);
  Structure structure = structure_of(mol);
  std::vector<Atom> atoms;
  auto next = structure.atoms.begin();
  for (const NxChem::NxAtomBase& atom : mol.GetAtoms()) {
    if (place[atom.GetIdx()] >= 0) {
      atoms.push_back(std::move(*next));
    }
    ++next;
  }
  if (atoms.empty()) {
    throw Failure("extraction: no atom is chosen");
  }
  structure.atoms = std::move(atoms);
  for (const NxChem::NxBondBase& bond : mol.GetBonds()) {
    if (bond.GetBgn() == nullptr || bond.GetEnd() == nullptr) {
      continue;  // a placeholder
    }
    const int begin = place[static_cast<std::size_t>(bond.GetBgnIdx())];
    const int end = place[static_cast<std::size_t>(bond.GetEndIdx())];
    if (begin >= 0 && end >= 0) {
      structure.bonds.push_back({begin, end, bond.GetOrder()});
    }
  }
  add_kept(mol, handle, structure);
  give_letters(structure);
  number_residues(structure);
  if (!structure.format.empty()) {
    add_notes_on_atoms(structure);
  }
  std::string path(static_cast<std::size_t>(nx_get_molecule_file_name_length(handle)) + 1, '\0');
  nx_get_molecule_file_name(path.data(), handle);
  return build_molecule(structure, mol.GetTitle(), path.c_str());
}

}  // namespace
}  // namespace nxbrio::files

using namespace nxbrio;
using namespace nxbrio::files;

int nxf_extract_atoms(const int* mask, int mol) {
  const NxChem::NxMolBase& molecule = model(mol);
  return reported("extraction", 0, [&] {
    if (mask == nullptr) {
      throw Failure("extraction: no mask is given");
    }
    return extract(mask, molecule, mol);
  });
}
