// Molecules of the library, built and read through its flat functions alone.
#ifndef NXBRIOCHEM_APPS_NXBRIO_MOLECULE_H
#define NXBRIOCHEM_APPS_NXBRIO_MOLECULE_H

#include <array>
#include <string>
#include <vector>

#include "structure.h"

namespace nxbrio {

// Owns a molecule handle.
class Molecule {
 public:
  // Makes a molecule of the structure. Charges that the file does not give become the formal charges of charged protein
  // side chains (nx_charge_protein), radii that it does not give become Bondi's (nx_assign_bondi_radii); both are
  // written back into the structure's atoms. Throws Failure when the library refuses something.
  explicit Molecule(Structure& structure);
  Molecule(const Molecule&) = delete;
  Molecule& operator=(const Molecule&) = delete;
  ~Molecule();

  int handle() const { return handle_; }

 private:
  int handle_;
};

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

Summary summarise(const Structure& structure, const Molecule& molecule);

// Target and ligand as one structure, named after both. Ligand chains whose letter the target has too take free ones,
// which the result's notes say.
Structure make_complex(const Structure& target, const Structure& ligand);

// The energy of two molecules in a uniform dielectric, in the library's unit.
float binding_energy(const Molecule& target, const Molecule& ligand, float dielectric);

// Pairs of charged atoms at the very same place, which the energy leaves out.
long long coincident_pairs(const Structure& target, const Structure& ligand);

}  // namespace nxbrio

#endif
