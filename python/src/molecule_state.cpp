#include "molecule_state.h"

#include <nxbriofiles/molecule.h>

namespace nxpy {
namespace {

using NxChem::NxAtomBase;
using NxChem::NxMCMolBase;
using NxChem::NxResidue;
namespace files = nxbrio::files;

// What nxbriofiles keeps with a molecule.
constexpr const char* kTexts[] = {files::kFormatTag, files::kChargesTag, files::kRadiiTag, files::kTitleTag,
                                  files::kChainsTag};
constexpr const char* kPackedTexts[] = {files::kNotesTag, files::kChainNamesTag, files::kFieldsTag};

// An atom: everything but the coordinates and bonds.
py::tuple state_of_atom(const NxAtomBase& atom) {
  const NxResidue& residue = NxChem::NxAtomGetResidue(atom);
  return py::make_tuple(
      atom.GetAtomicNum(), py::bytes(atom.GetName()), atom.GetRadius(), atom.GetPartialCharge(), atom.GetFormalCharge(),
      atom.GetIntType(), NxChem::NxHasResidue(atom), py::bytes(residue.GetName()), residue.GetResidueNumber(),
      residue.GetSequenceNumber(),
      py::bytes(std::string{residue.GetChainID(), residue.GetInsertCode(), residue.GetAlternateLocation()}),
      residue.GetOccupancy(), residue.GetBFactor(), residue.IsHetAtom());
}

void set_atom(NxAtomBase& atom, const py::tuple& state) {
  atom.SetAtomicNum(state[0].cast<unsigned>());
  atom.SetName(state[1].cast<std::string>());
  atom.SetRadius(state[2].cast<float>());
  atom.SetPartialCharge(state[3].cast<float>());
  atom.SetFormalCharge(state[4].cast<int>());
  atom.SetIntType(state[5].cast<int>());
  if (!state[6].cast<bool>()) {
    return;
  }
  const auto letters = state[10].cast<std::string>();
  NxResidue residue;
  residue.SetName(state[7].cast<std::string>());
  residue.SetResidueNumber(state[8].cast<int>());
  residue.SetSequenceNumber(state[9].cast<int>());
  residue.SetChainID(letters.at(0));
  residue.SetInsertCode(letters.at(1));
  residue.SetAlternateLocation(letters.at(2));
  residue.SetOccupancy(state[11].cast<float>());
  residue.SetBFactor(state[12].cast<float>());
  residue.SetHetAtom(state[13].cast<bool>());
  NxChem::NxAtomSetResidue(atom, residue);
}

py::dict kept_texts(const NxMCMolBase& mol) {
  py::dict kept;
  for (const char* const tag : kTexts) {
    if (const char* const text = mol.GetStringData(NxSystem::NxGetTag(tag))) {
      kept[tag] = py::bytes(text);
    }
  }
  for (const char* const tag : kPackedTexts) {
    std::size_t size = 0;
    if (const char* const text = mol.GetData<char>(NxSystem::NxGetTag(tag), &size)) {
      kept[tag] = py::bytes(text, size);
    }
  }
  return kept;
}

}  // namespace

py::dict state_of(const Molecule& molecule) {
  const Session session;
  NxMCMolBase& mol = molecule.model();
  py::list atoms;
  for (const NxAtomBase& atom : mol.GetAtoms()) {
    atoms.append(state_of_atom(atom));
  }
  py::list conformers;
  int active = 0;
  for (const NxChem::NxConfBase& conformer : mol.GetConfs()) {
    if (&conformer == mol.GetActive()) {
      active = static_cast<int>(conformers.size());
    }
    std::string xyz(std::size_t{3} * sizeof(float) * mol.GetMaxAtomIdx(), '\0');
    conformer.GetCoords(reinterpret_cast<float*>(xyz.data()));
    conformers.append(py::bytes(xyz));
  }
  py::list bonds;
  for (const NxChem::NxBondBase& bond : mol.GetBonds()) {
    bonds.append(py::make_tuple(bond.GetBgnIdx(), bond.GetEndIdx(), bond.GetOrder()));
  }
  py::dict state;
  state["name"] = py::bytes(mol.GetTitle());
  state["atoms"] = atoms;
  state["conformers"] = conformers;
  state["active"] = active;
  state["bonds"] = bonds;
  state["texts"] = kept_texts(mol);
  if (const int* const model = mol.GetData<int>(NxSystem::NxGetTag(files::kModelTag))) {
    state["model"] = *model;
  }
  int length = nx_get_molecule_file_name_length(molecule.handle());
  if (length > 0) {
    std::string file(static_cast<std::size_t>(length), '\0');
    nx_get_molecule_file_name(file.data(), molecule.handle());
    file.pop_back();
    state["file"] = py::bytes(file);
  }
  return state;
}

Molecule from_state(const py::dict& state) {
  const Session session;
  Molecule molecule(nx_make_molecule());
  NxMCMolBase& mol = molecule.model();
  mol.SetTitle(state["name"].cast<std::string>());
  const py::list atoms = state["atoms"];
  session.require(nx_set_molecule_atom_number(static_cast<int>(atoms.size()), molecule.handle()),
                  "no memory for the atoms");
  auto item = atoms.begin();
  for (NxAtomBase& atom : mol.GetAtoms()) {
    set_atom(atom, py::reinterpret_borrow<py::tuple>(*item));
    ++item;
  }
  const py::list conformers = state["conformers"];
  const auto active = state["active"].cast<int>();
  for (std::size_t k = 0; k < conformers.size(); ++k) {
    NxChem::NxConfBase* const conformer = k == 0 ? mol.GetActive() : mol.NewConf();
    const auto xyz = conformers[k].cast<std::string>();
    if (xyz.size() != std::size_t{3} * sizeof(float) * atoms.size()) {
      throw Failure("a pickled molecule with coordinates of another number of atoms");
    }
    conformer->SetCoords(reinterpret_cast<const float*>(xyz.data()));
    if (static_cast<int>(k) == active) {
      mol.SetActive(conformer);
    }
  }
  for (const py::handle bond : state["bonds"]) {
    const auto row = py::reinterpret_borrow<py::tuple>(bond);
    mol.NewBond(mol.GetAtom(row[0].cast<int>()), mol.GetAtom(row[1].cast<int>()), row[2].cast<int>());
  }
  const py::dict texts = state["texts"];
  for (const char* const tag : kTexts) {
    if (texts.contains(tag)) {
      mol.SetData(NxSystem::NxGetTag(tag), std::string_view(texts[tag].cast<std::string>()));
    }
  }
  for (const char* const tag : kPackedTexts) {
    if (texts.contains(tag)) {
      const auto packed = texts[tag].cast<std::string>();
      mol.SetData(NxSystem::NxGetTag(tag), packed.data(), packed.size());
    }
  }
  if (state.contains("model")) {
    mol.SetData(NxSystem::NxGetTag(files::kModelTag), state["model"].cast<int>());
  }
  if (state.contains("file")) {
    nx_set_molecule_file_name(state["file"].cast<std::string>().c_str(), molecule.handle());
  }
  return molecule;
}

}  // namespace nxpy
