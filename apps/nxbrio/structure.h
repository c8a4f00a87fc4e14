// The contents of a structure file as read by libnxbriofiles: the molecule, and the properties of atoms that the
// program uses.
#ifndef NXBRIOCHEM_APPS_NXBRIO_STRUCTURE_H
#define NXBRIOCHEM_APPS_NXBRIO_STRUCTURE_H

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nxbrio {

struct Atom {
  std::string name;
  std::string residue;
  char chain = ' ';
  int residue_number = 0;
  char insertion_code = ' ';
  // The residue's place in its chain, from 1, counted over the model.
  int sequence_number = 0;
  // Atomic number, 0 when not known.
  int element = 0;
  // Whether the file's record is HETATM.
  bool het = false;
  int formal_charge = 0;
  float occupancy = 1.0F;
  float b_factor = 0.0F;
  // Angstrom.
  std::array<float, 3> position{};
  // Elementary charges; angstrom.
  float charge = 0.0F;
  float radius = 0.0F;
};

// Atom indices and order.
struct Bond {
  int begin;
  int end;
  int order;
};

// One model of a file.
struct Structure {
  std::string path;
  // The molecule's name.
  std::string name;
  // What a message calls it: the path, with the model's number where the file has several.
  std::string label;
  // "PQR", "PDB", "mmCIF", "SDF", "mol2" or "XYZ".
  std::string format;
  int model = 1;
  // The molecule as it was read; molecules made of this structure are copies of it. None for a structure that was put
  // together by the program.
  std::shared_ptr<const int> molecule;
  std::vector<Atom> atoms;
  std::vector<Bond> bonds;
  // As nxf_charge_source and nxf_radius_source tell.
  std::string charge_source;
  std::string radius_source;
  int residues = 0;
  std::vector<char> chains;
  // What the user should know about the reading, a sentence each.
  std::vector<std::string> notes;
};

// The first of A-Z, a-z, 0-9 that is not among the letters; a blank when all are.
char free_chain_letter(std::string_view used);

// The symbol of an atomic number; "X" for 0.
std::string element_symbol(int atomic_number);

// Which atoms of a file are read, in the language of nxf_select; without a text, all.
struct Selection {
  // What the text is given as, for messages.
  std::string option;
  std::optional<std::string> text;
};

// The models of a structure file, in any format that libnxbriofiles reads, one after the other.
class ModelReader {
 public:
  // Throws Failure when the file cannot be opened or is of no known format.
  ModelReader(std::string path, Selection selection);
  ModelReader(const ModelReader&) = delete;
  ModelReader& operator=(const ModelReader&) = delete;
  ~ModelReader();

  // The next model that has selected atoms; none at the end. Throws Failure for a faulty record, after which the next
  // one can be read, and once at the end of a file without any such model. Throws UsageError for a faulty selection.
  std::optional<Structure> next();

 private:
  std::string path_;
  Selection selection_;
  int reader_;
  std::size_t records_ = 0;
  std::size_t given_ = 0;
};

// Reads all models of a structure file; there is at least one. Throws as ModelReader does.
std::vector<Structure> read_models(const std::string& path, const Selection& selection = {});
// The first of them, with a note when there are more.
Structure read_structure(const std::string& path, const Selection& selection = {});

}  // namespace nxbrio

#endif
