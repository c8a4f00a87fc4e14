// What a record of a structure file says, whatever its format: atoms, bonds where the file gives them, and what a
// reader had to decide. Made from a record by parse_record (records.h), made into a molecule by molecule.h. Valid
// C++17, which gemmi needs.
#ifndef NXBRIOFILES_STRUCTURE_H
#define NXBRIOFILES_STRUCTURE_H

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace nxbrio::files {

// What atoms are counted for in the notes about formal charges; bits.
enum Remark : unsigned char {
  kNeutralPhosphate = 1,
  kNeutralIon = 2,
  kNeutralLigand = 4,
  kNeutralModified = 8,
  kNeutralEnd = 16,
  kIonByName = 32
};

struct Atom {
  std::string name;
  std::string residue;
  char chain = ' ';
  // The chain's name in the file where that is not its letter.
  std::string chain_name;
  int residue_number = 0;
  char insertion_code = ' ';
  // The residue's place in its chain, from 1, counted over the model.
  int sequence_number = 0;
  // Atomic number, 0 when not known.
  int element = 0;
  // Whether the file's record is HETATM.
  bool het = false;
  // As the file gives them: elementary charges, 0 to 1, square angstrom.
  int formal_charge = 0;
  float occupancy = 1.0F;
  float b_factor = 0.0F;
  // Angstrom.
  std::array<float, 3> position{};
  // Elementary charges; angstrom.
  float charge = 0.0F;
  float radius = 0.0F;
  unsigned char remarks = 0;
};

// Chains are told apart by letter and, where there are more of them than letters, by name.
using ChainKey = std::pair<char, std::string_view>;
inline ChainKey chain_of(const Atom& atom) { return {atom.chain, atom.chain_name}; }

struct Chain {
  char letter;
  // In the file.
  std::string name;
};

// Atom indices and order.
struct Bond {
  int begin;
  int end;
  int order;
};

// Where charges come from.
enum class Charges { None, Formal, File };

// One model of a file.
struct Structure {
  // A format word.
  std::string format;
  // The title that the molecule gets.
  std::string title;
  // Its number in the file; the record's where the file does not say.
  int model = 1;
  std::vector<Atom> atoms;
  std::vector<Bond> bonds;
  Charges charges = Charges::None;
  // Whether the radii are the file's own.
  bool radii_given = false;
  // How many elements are guessed from names.
  int guessed_elements = 0;
  // Filled by number_residues: how many residues, and the chains in order.
  int residues = 0;
  std::vector<Chain> chains;
  // Data fields of an SD file, name and text.
  std::vector<std::pair<std::string, std::string>> fields;
  // What the user should know about the reading, a sentence each: those about the file, then those about the atoms.
  std::vector<std::string> notes;
  std::size_t notes_on_file = 0;
};

// Gives chains of any name the one character that a molecule has room for: the name itself when it is one character, a
// blank for an empty one, and otherwise the first of A-Z, a-z, 0-9 and then ASCII's signs that no chain has yet.
class ChainLetters {
 public:
  char letter(std::string_view chain_name);
  // Gives the atom the chain of that name.
  void set(Atom& atom, std::string_view chain_name);

 private:
  std::map<std::string, char, std::less<>> letters_;
  std::string used_;
};

// Counts residues and chains and sets the sequence numbers. A residue begins where residue name, number or insertion
// code differ from those of the chain's atom before.
void number_residues(Structure& structure);

// How many chains have a name and found no letter.
int chains_without_letter(const Structure& structure);

// Adds a note on the chains that could not keep their names, and one on those without letters.
void note_chains(Structure& structure);

}  // namespace nxbrio::files

#endif
