// What a structure file says, whatever its format: atoms, bonds where the file gives them, and what a reader had to
// decide. Read by read_structure; made into a molecule of the library by molecule.h.
#ifndef NXBRIOCHEM_APPS_NXBRIO_STRUCTURE_H
#define NXBRIOCHEM_APPS_NXBRIO_STRUCTURE_H

#include <array>
#include <map>
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
  // The residue's place in its chain, from 1, counted over the file.
  int sequence_number = 0;
  // Atomic number, 0 when not known.
  int element = 0;
  // Whether the file's record is HETATM.
  bool het = false;
  // As a PDB or mmCIF file gives them: elementary charges, 0 to 1, square angstrom.
  signed char formal_charge = 0;
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
  // The file's name without directory and endings.
  std::string name;
  // What a message calls it: the path, with the model's number where the file has several.
  std::string label;
  // "PQR", "PDB" or "mmCIF".
  std::string format;
  // Its number in the file; 1 where the file does not say.
  int model = 1;
  std::vector<Atom> atoms;
  std::vector<Bond> bonds;
  // Whether the atoms' charges and radii are the file's own.
  bool charges_given = false;
  bool radii_given = false;
  // Filled by number_residues.
  int residues = 0;
  std::vector<char> chains;
  // What the user should know about the reading, a sentence each.
  std::vector<std::string> notes;
};

// Gives chains of any name the one character that a molecule has room for: the name itself when it is one character, a
// blank for an empty one, and otherwise the first of A-Z, a-z, 0-9 that no chain has yet.
class ChainLetters {
 public:
  char letter(std::string_view chain_name);
  // A note for each chain that could not keep its name, in order of their letters.
  std::vector<std::string> notes() const;

 private:
  std::map<std::string, char, std::less<>> letters_;
};
// The first of A-Z, a-z, 0-9 that is not among the letters; a blank when all are.
char free_chain_letter(std::string_view used);

// Which models of a file are read.
enum class Models { First, All };

// Reads a PQR, PDB or mmCIF file, plain or gzipped: by its ending (.pqr; .pdb, .ent; .cif, .mmcif; each with or without
// .gz) and, failing that, by its content. Models without atoms are left out; there is at least one that has some.
// Throws Failure.
std::vector<Structure> read_models(const std::string& path);
// The first of them, with a note when there are more.
Structure read_structure(const std::string& path);

// Counts residues and chains and sets the sequence numbers. A residue begins where residue name, number or insertion
// code differ from those of the chain's atom before.
void number_residues(Structure& structure);

// The readers of each format, from the whole text of the file. Throw Failure; a text without atoms gives no model, or
// models without atoms.
std::vector<Structure> read_pqr(const std::string& path, std::string_view text, Models which);
std::vector<Structure> read_pdb(const std::string& path, std::string_view text, Models which);
std::vector<Structure> read_mmcif(const std::string& path, std::string_view text, Models which);

}  // namespace nxbrio

#endif
