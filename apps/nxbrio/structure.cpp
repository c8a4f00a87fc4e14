#include "structure.h"

#include <nxbriochem/nxbriochem.h>
#include <nxbriochem/toolkit/nxelements.h>
#include <nxbriofiles/nxbriofiles.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <utility>

#include "failure.h"
#include "nxbriofiles/text.h"
#include "sudden_end.h"

namespace nxbrio {
namespace {

// How libnxbriofiles ends a message then.
constexpr std::string_view kOutOfMemory = "out of memory";

// A library that lacks memory of its own is no fault of a file.
[[noreturn]] void fail() {
  if (std::string_view(nxf_last_error()).ends_with(kOutOfMemory)) {
    tell_memory_ran_out();
  }
  throw Failure(nxf_last_error());
}

template <class T>
std::vector<T> values(int (*get)(T*, int), std::size_t n, int mol) {
  std::vector<T> found(n);
  if (n > 0 && get(found.data(), mol) != 1) {
    throw Failure("the library refused to give an array");
  }
  return found;
}

std::string text_of(int (*get)(char*, int), int length, int mol) {
  std::string text(static_cast<std::size_t>(length) + 1, '\0');
  get(text.data(), mol);
  text.resize(std::strlen(text.c_str()));
  return text;
}

// What files call a format.
std::string format_name(const std::string& word) {
  if (word == "mmcif") {
    return "mmCIF";
  }
  std::string name = word;
  for (char& c : name) {
    c = word != "mol2" && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  return name;
}

// Names of all atoms, each ended by a NUL.
std::vector<std::string> names(int (*get)(char*, int, int), int length, std::size_t n, int mol) {
  std::vector<char> packed(static_cast<std::size_t>(length) + 1);
  get(packed.data(), length, mol);
  std::vector<std::string> found;
  const char* at = packed.data();
  for (std::size_t i = 0; i < n; ++i) {
    found.emplace_back(at);
    at += found.back().size() + 1;
  }
  return found;
}

void read_atoms(Structure& structure, int mol) {
  const auto n = static_cast<std::size_t>(nx_get_molecule_atom_number(mol));
  const auto atom_names = names(nx_get_molecule_atom_names, nx_get_molecule_atom_names_length(mol), n, mol);
  const auto residue_names = names(nx_get_molecule_residue_names, nx_get_molecule_residue_names_length(mol), n, mol);
  const auto residue_numbers = values(nx_get_molecule_residue_number, n, mol);
  const auto sequence_numbers = values(nx_get_molecule_sequence_number, n, mol);
  const auto coordinates = values(nx_get_molecule_coordinates, 3 * n, mol);
  const auto charges = values(nx_get_molecule_charges, n, mol);
  const auto radii = values(nx_get_molecule_radii, n, mol);
  const auto elements = values(nxf_get_atomic_numbers, n, mol);
  const auto formal_charges = values(nxf_get_formal_charges, n, mol);
  const auto insertion_codes = values(nxf_get_insertion_codes, n, mol);
  const auto het = values(nxf_get_hetero_flags, n, mol);
  const auto occupancies = values(nxf_get_occupancies, n, mol);
  const auto b_factors = values(nxf_get_b_factors, n, mol);
  for (std::size_t i = 0; i < n; ++i) {
    Atom atom;
    char chain[4] = " ";
    nx_get_molecule_chain_names_element(chain, static_cast<int>(i), sizeof chain, mol);
    atom.name = atom_names[i];
    atom.residue = residue_names[i];
    atom.chain = chain[0] != '\0' ? chain[0] : ' ';
    atom.residue_number = residue_numbers[i];
    atom.insertion_code = insertion_codes[i];
    atom.sequence_number = sequence_numbers[i];
    atom.element = elements[i];
    atom.het = het[i] != 0;
    atom.formal_charge = formal_charges[i];
    atom.occupancy = occupancies[i];
    atom.b_factor = b_factors[i];
    atom.position = {coordinates[3 * i], coordinates[3 * i + 1], coordinates[3 * i + 2]};
    atom.charge = charges[i];
    atom.radius = radii[i];
    structure.atoms.push_back(std::move(atom));
  }
  const auto bonds = values(nx_get_molecule_bonds, 3 * static_cast<std::size_t>(nx_get_molecule_bond_number(mol)), mol);
  for (std::size_t i = 0; i < bonds.size(); i += 3) {
    structure.bonds.push_back({bonds[i], bonds[i + 1], bonds[i + 2]});
  }
}

// A molecule that is deleted with its last owner.
std::shared_ptr<const int> owned(int mol) {
  return {new int(mol), [](const int* handle) {
            nx_delete_molecule(*handle);
            delete handle;
          }};
}

// One entry per atom. Throws Failure for a text that is no selection.
std::vector<int> selected(const std::string& text, int mol) {
  std::vector<int> mask(static_cast<std::size_t>(nx_get_molecule_atom_number(mol)));
  if (nxf_select(mask.data(), text.c_str(), mol) != 1) {
    fail();
  }
  return mask;
}

// The selected atoms as a molecule of their own; 0 when none is.
int extracted(const Selection& selection, int mol) {
  std::vector<int> mask;
  try {
    mask = selected(*selection.text, mol);
  } catch (const Failure& failure) {
    throw UsageError(selection.option + ": " + failure.what());
  }
  if (std::find(mask.begin(), mask.end(), 1) == mask.end()) {
    return 0;
  }
  const int part = nxf_extract_atoms(mask.data(), mol);
  if (part == 0) {
    fail();
  }
  return part;
}

// Tells of waters, which files often hold and nobody means.
void note_waters(Structure& structure, int mol) {
  const std::vector<int> mask = selected("water", mol);
  std::set<std::pair<char, int>> waters;
  for (std::size_t i = 0; i < mask.size(); ++i) {
    if (mask[i] != 0) {
      waters.emplace(structure.atoms[i].chain, structure.atoms[i].sequence_number);
    }
  }
  if (!waters.empty()) {
    structure.notes.push_back(formatted("%zu water%s among the atoms; the selection 'not water' leaves waters out",
                                        waters.size(), waters.size() == 1 ? " is" : "s are"));
  }
}

Structure structure_of(const std::string& path, std::shared_ptr<const int> molecule) {
  const int mol = *molecule;
  Structure structure;
  structure.molecule = std::move(molecule);
  structure.path = structure.label = path;
  structure.name = text_of(nx_get_molecule_name, nx_get_molecule_name_length(mol), mol);
  structure.format = format_name(nxf_molecule_format(mol));
  structure.model = nxf_molecule_model(mol);
  structure.charge_source = nxf_charge_source(mol);
  structure.radius_source = nxf_radius_source(mol);
  structure.residues = nxf_number_of_residues(mol);
  for (int k = 0; k < nxf_number_of_chains(mol); ++k) {
    structure.chains.push_back(nxf_chain_letter(k, mol));
  }
  for (int k = 0; k < nxf_number_of_notes(mol); ++k) {
    structure.notes.emplace_back(nxf_note(k, mol));
  }
  read_atoms(structure, mol);
  note_waters(structure, mol);
  return structure;
}

}  // namespace

char free_chain_letter(std::string_view used) {
  constexpr std::string_view kChainLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  const std::size_t at = kChainLetters.find_first_not_of(used);
  return at == std::string_view::npos ? ' ' : kChainLetters[at];
}

std::string element_symbol(int atomic_number) {
  const char* const symbol =
      atomic_number > 0 ? NxChem::NxGetAtomicSymbol(static_cast<unsigned>(atomic_number)) : nullptr;
  return symbol != nullptr && *symbol != '\0' ? symbol : "X";
}

ModelReader::ModelReader(std::string path, Selection selection)
    : path_(std::move(path)), selection_(std::move(selection)), reader_(nxf_open_reader(path_.c_str(), nullptr)) {
  if (reader_ == 0) {
    fail();
  }
}

ModelReader::~ModelReader() { nxf_close_reader(reader_); }

std::optional<Structure> ModelReader::next() {
  int mol = 0;
  while (nxf_read_record(&mol, reader_) == 1) {
    ++records_;
    if (mol == 0) {
      ++given_;
      fail();
    }
    std::shared_ptr<const int> molecule = owned(mol);
    if (selection_.text) {
      const int part = extracted(selection_, mol);
      if (part == 0) {
        continue;
      }
      molecule = owned(part);
    }
    ++given_;
    return structure_of(path_, std::move(molecule));
  }
  if (records_ == 0) {
    records_ = given_ = 1;
    throw Failure(path_, "no atoms");
  }
  if (given_ == 0) {
    ++given_;
    throw Failure(path_, selection_.option + ": " + in_quotes(*selection_.text) + " means no atom of it");
  }
  return std::nullopt;
}

std::vector<Structure> read_models(const std::string& path, const Selection& selection) {
  ModelReader reader(path, selection);
  std::vector<Structure> models;
  while (std::optional<Structure> model = reader.next()) {
    models.push_back(std::move(*model));
  }
  for (Structure& model : models) {
    model.label = models.size() > 1 ? path + " model " + std::to_string(model.model) : path;
  }
  return models;
}

Structure read_structure(const std::string& path, const Selection& selection) {
  if (selection.text) {
    return std::move(*ModelReader(path, selection).next());
  }
  const int mol = nxf_read_molecule(path.c_str(), nullptr);
  if (mol == 0) {
    fail();
  }
  return structure_of(path, owned(mol));
}

}  // namespace nxbrio
