#include "structure.h"

#include <nxbriochem/nxbriochem.h>
#include <nxbriochem/toolkit/nxelements.h>
#include <nxbriofiles/nxbriofiles.h>

#include <cstring>

#include "failure.h"

namespace nxbrio {
namespace {

[[noreturn]] void fail() { throw Failure(nxf_last_error()); }

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
  return text.c_str();
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

// Takes over the molecule.
Structure structure_of(const std::string& path, int mol) {
  Structure structure;
  structure.molecule = std::shared_ptr<const int>(new int(mol), [](const int* handle) {
    nx_delete_molecule(*handle);
    delete handle;
  });
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
  return structure;
}

// A reader that is closed with its owner.
class Reader {
 public:
  explicit Reader(const std::string& path) : reader_(nxf_open_reader(path.c_str(), nullptr)) {
    if (reader_ == 0) {
      fail();
    }
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  ~Reader() { nxf_close_reader(reader_); }

  // 0 at the end.
  int next() const {
    int mol = 0;
    if (nxf_read_record(&mol, reader_) == 1 && mol == 0) {
      fail();
    }
    return mol;
  }

 private:
  int reader_;
};

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

std::vector<Structure> read_models(const std::string& path) {
  const Reader reader(path);
  std::vector<Structure> models;
  while (const int mol = reader.next()) {
    models.push_back(structure_of(path, mol));
  }
  if (models.empty()) {
    throw Failure(path, "no atoms");
  }
  for (Structure& model : models) {
    model.label = models.size() > 1 ? path + " model " + std::to_string(model.model) : path;
  }
  return models;
}

Structure read_structure(const std::string& path) {
  const int mol = nxf_read_molecule(path.c_str(), nullptr);
  if (mol == 0) {
    fail();
  }
  return structure_of(path, mol);
}

}  // namespace nxbrio
