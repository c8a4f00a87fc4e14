// Opening a structure file, finding out its format, and what is alike in all formats.
#include "structure.h"

#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>

#include "element.h"
#include "failure.h"
#include "text.h"

namespace nxbrio {
namespace {

constexpr std::size_t kMostBytes = std::size_t{1} << 30;
constexpr std::string_view kChainLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

// The whole file, unpacked if it is gzipped.
std::string load(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    throw Failure(path, std::strerror(errno));
  }
  if (S_ISDIR(status.st_mode)) {
    throw Failure(path, "is a directory");
  }
  errno = 0;
  const std::unique_ptr<gzFile_s, int (*)(gzFile)> file(gzopen(path.c_str(), "rb"), gzclose);
  if (!file) {
    throw Failure(path, errno != 0 ? std::strerror(errno) : "cannot be opened");
  }
  std::string text;
  std::vector<char> chunk(std::size_t{1} << 20);
  int got = 0;
  while ((got = gzread(file.get(), chunk.data(), static_cast<unsigned>(chunk.size()))) > 0) {
    if (std::memchr(chunk.data(), 0, static_cast<std::size_t>(got)) != nullptr) {
      throw Failure(path, "binary data, not a structure file");
    }
    text.append(chunk.data(), static_cast<std::size_t>(got));
    if (text.size() > kMostBytes) {
      throw Failure(path, "larger than 1 GiB");
    }
  }
  // A gzipped file that was cut short ends like any other but for the error that is left behind.
  int error = Z_OK;
  std::string_view message = gzerror(file.get(), &error);
  if (starts_with(message, path + ": ")) {
    message.remove_prefix(path.size() + 2);
  }
  if (error == Z_ERRNO) {
    throw Failure(path, std::strerror(errno));
  }
  if (error != Z_OK) {
    throw Failure(path, error == Z_BUF_ERROR ? "gzipped file is cut short"
                                             : std::string("gzipped file is damaged: ").append(message));
  }
  return text;
}

using Reader = std::vector<Structure> (*)(const std::string&, std::string_view, Models);

Reader reader_by_ending(std::string_view ending) {
  if (ending == "pqr") {
    return read_pqr;
  }
  if (ending == "pdb" || ending == "ent") {
    return read_pdb;
  }
  return ending == "cif" || ending == "mmcif" ? read_mmcif : nullptr;
}

// PDB has occupancy and temperature factor, two decimals each, where PQR has charge and radius.
bool has_pdb_columns(std::string_view line) {
  const auto number = [&](std::size_t begin) {
    std::string fault;
    return line[begin + 3] == '.' && parse_real(columns(line, begin, begin + 6), fault).has_value();
  };
  return line.size() >= 66 && number(54) && number(60) && (line.size() == 66 || line[66] == ' ');
}

Reader reader_by_content(std::string_view text) {
  for (Lines lines(text); lines.next();) {
    const std::string_view line = lines.line();
    if (starts_with(line, "data_")) {
      return read_mmcif;
    }
    for (const std::string_view record : {"HEADER", "TITLE ", "COMPND", "SEQRES", "CRYST1"}) {
      if (starts_with(line, record)) {
        return read_pdb;
      }
    }
    if (starts_with(line, "ATOM") || starts_with(line, "HETATM")) {
      return has_pdb_columns(line) ? read_pdb : read_pqr;
    }
  }
  return nullptr;
}

// Takes the part after the last point off a file's name, and gives it in lower case.
std::string take_ending(std::string& name) {
  const std::size_t point = name.rfind('.');
  if (point == std::string::npos || point == 0) {
    return {};
  }
  std::string ending = lower_case(std::string_view(name).substr(point + 1));
  name.resize(point);
  return ending;
}

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

std::vector<Structure> read(const std::string& path, Models which) {
  const std::string text = load(path);
  std::string name = path.substr(path.rfind('/') + 1);
  std::string ending = take_ending(name);
  if (ending == "gz") {
    ending = take_ending(name);
  }
  Reader reader = reader_by_ending(ending);
  if (reader == nullptr) {
    reader = reader_by_content(text);
  }
  if (reader == nullptr) {
    throw Failure(path, text.empty() ? "no atoms" : "not a PQR, PDB or mmCIF file");
  }
  std::vector<Structure> models = reader(path, text, which);
  models.erase(std::remove_if(models.begin(), models.end(), [](const Structure& model) { return model.atoms.empty(); }),
               models.end());
  if (models.empty()) {
    throw Failure(path, "no atoms");
  }
  for (Structure& model : models) {
    model.name = name;
    model.label = models.size() > 1 ? path + " model " + std::to_string(model.model) : path;
    number_residues(model);
    if (!model.radii_given) {
      note_radii_by_name(model);
    }
  }
  return models;
}

}  // namespace

char free_chain_letter(std::string_view used) {
  const std::size_t at = kChainLetters.find_first_not_of(used);
  return at == std::string_view::npos ? ' ' : kChainLetters[at];
}

char ChainLetters::letter(std::string_view chain_name) {
  if (const auto known = letters_.find(chain_name); known != letters_.end()) {
    return known->second;
  }
  std::string used;
  for (const auto& [name, letter] : letters_) {
    used += letter;
  }
  char letter = ' ';
  if (chain_name.size() == 1 && used.find(chain_name[0]) == std::string::npos) {
    letter = chain_name[0];
  } else if (!chain_name.empty()) {
    letter = free_chain_letter(used);
  }
  letters_.emplace(chain_name, letter);
  return letter;
}

std::vector<std::string> ChainLetters::notes() const {
  std::vector<std::string> notes;
  for (const auto& [name, letter] : letters_) {
    if (!name.empty() && (name.size() > 1 || name[0] != letter)) {
      notes.push_back("chain " + in_quotes(name) + " is called '" + letter + "' here");
    }
  }
  return notes;
}

std::vector<Structure> read_models(const std::string& path) { return read(path, Models::All); }
Structure read_structure(const std::string& path) { return std::move(read(path, Models::First).front()); }

void number_residues(Structure& structure) {
  struct Chain {
    const Atom* last = nullptr;
    int residues = 0;
  };
  std::map<char, Chain> chains;
  structure.residues = 0;
  structure.chains.clear();
  for (Atom& atom : structure.atoms) {
    Chain& chain = chains[atom.chain];
    if (chain.last == nullptr) {
      structure.chains.push_back(atom.chain);
    }
    if (chain.last == nullptr || chain.last->residue_number != atom.residue_number ||
        chain.last->insertion_code != atom.insertion_code || chain.last->residue != atom.residue) {
      ++chain.residues;
      ++structure.residues;
    }
    atom.sequence_number = chain.residues;
    chain.last = &atom;
  }
}

}  // namespace nxbrio
