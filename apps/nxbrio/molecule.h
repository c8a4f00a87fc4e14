// Molecules of the library, built and read through its flat functions; properties of atoms beyond the flat arrays are
// set on the toolkit's objects behind the handle.
#ifndef NXBRIOCHEM_APPS_NXBRIO_MOLECULE_H
#define NXBRIOCHEM_APPS_NXBRIO_MOLECULE_H

#include <array>
#include <string>
#include <vector>

#include "structure.h"

namespace nxbrio {

// Throws Failure, "the library refused ...", unless the status is 1.
void require(int status, const char* what);

// Owns a molecule handle.
class Molecule {
 public:
  // Makes a molecule of the structure. Throws Failure when the library refuses something.
  explicit Molecule(const Structure& structure);
  Molecule(const Molecule&) = delete;
  Molecule& operator=(const Molecule&) = delete;
  ~Molecule();

  int handle() const { return handle_; }

 private:
  int handle_;
};

// Owns a list of molecules, but not its members.
class MoleculeList {
 public:
  MoleculeList();
  MoleculeList(const MoleculeList&) = delete;
  MoleculeList& operator=(const MoleculeList&) = delete;
  ~MoleculeList();

  void add(const Molecule& molecule) const;
  int handle() const { return handle_; }

 private:
  int handle_;
};

// Whether the file gives all bonds and their orders: every atom has a bond, except in residues of one atom, and not all
// bonds are single, as they are in files that only say which atoms are bonded.
bool bonds_are_complete(const Structure& structure);
// Adds bonds by distance to those that the molecule has and sets all orders anew.
void make_bonds_by_distance(const Molecule& molecule);
int bond_number(const Molecule& molecule);

// A quaternion, scalar first, and a translation in angstrom, as nx_set_molecule_transform takes them.
using Transform = std::array<float, 7>;
// Moves the molecule.
void apply_transform(const Transform& transform, const Molecule& molecule);

// Copies the atoms' positions from the molecule after it has moved.
void take_positions(const Molecule& molecule, Structure& structure);

// What there is to say about a molecule: counts from its file, the rest from the library's arrays and functions.
struct Summary {
  std::string file;
  std::string name;
  std::string format;
  // "C", 12 and so on in Hill's order; "?" for atoms of unknown element.
  std::vector<std::pair<std::string, int>> composition;
  int atoms = 0;
  int residues = 0;
  int bonds = 0;
  std::vector<char> chains;
  std::string charge_source;
  std::string radius_source;
  std::vector<std::string> notes;
  // Elementary charges.
  double net_charge = 0.0;
  double positive_charge = 0.0;
  double negative_charge = 0.0;
  // Of nx_calculate_monopole_and_dipole.
  double monopole = 0.0;
  std::array<float, 3> charge_centre{};
  std::array<float, 3> dipole{};
  // Angstrom.
  std::array<float, 3> low{};
  std::array<float, 3> high{};
  float smallest_radius = 0.0F;
  float largest_radius = 0.0F;
};

// Where a structure's charges and radii come from, for the user.
std::string charge_source(const Structure& structure);
std::string radius_source(const Structure& structure);

Summary summarise(const Structure& structure, const Molecule& molecule);
// For two molecules of one file: removes from the second the notes that the first also has.
void drop_repeated_notes(const Summary& first, Summary& second);

// Target and ligand as one structure, named after both. Ligand chains whose letter the target also has get free
// letters; notes in the result say so.
Structure make_complex(const Structure& target, const Structure& ligand);

// The energy of two molecules in a uniform dielectric, in the library's unit.
float binding_energy(const Molecule& target, const Molecule& ligand, float dielectric);

// Pairs of charged atoms at the very same place, which the energy leaves out.
long long coincident_pairs(const Structure& target, const Structure& ligand);

}  // namespace nxbrio

#endif
