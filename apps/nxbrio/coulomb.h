// Coulombic energies of a target and its ligands, as the commands print them.
#ifndef NXBRIOCHEM_APPS_NXBRIO_COULOMB_H
#define NXBRIOCHEM_APPS_NXBRIO_COULOMB_H

#include <string>
#include <vector>

#include "medium.h"
#include "molecule.h"

namespace nxbrio {

// Owns an energy object of libnxbriodock.
class EnergyObject {
 public:
  EnergyObject();
  // Takes over an object; throws Failure for 0.
  explicit EnergyObject(int handle);
  EnergyObject(const EnergyObject&) = delete;
  EnergyObject& operator=(const EnergyObject&) = delete;
  ~EnergyObject();

  int handle() const { return handle_; }

 private:
  int handle_;
};

// An energy at a dielectric constant, kcal/mol, and in the library's unit.
struct Energy {
  float dielectric = 1.0F;
  double kcal = 0.0;
  double units = 0.0;
};

// A residue's energy with the whole of the other side, kcal/mol, at each dielectric constant.
struct ResidueEnergy {
  // NXD_TARGET or NXD_LIGAND.
  int side = 0;
  std::string residue;
  std::vector<double> kcal;
};

// The energies of ligands at one target.
class CoulombEnergies {
 public:
  // `threads` as in nxd_set_threads.
  CoulombEnergies(const Structure& target, const Molecule& molecule, std::vector<float> dielectrics,
                  const Medium& medium);

  // In a uniform dielectric by nx_calculate_coulombic_binding, otherwise by nxd_get_energy_at_pose with the 12-6 term
  // off. Throws Failure for one that is not finite.
  std::vector<Energy> of(const Structure& ligand, const Molecule& molecule);
  // By nxd_get_residue_energies: those of the target, then those of the ligand.
  std::vector<ResidueEnergy> by_residue(const Structure& ligand);

 private:
  void set_ligand(const Structure& ligand);

  const Molecule& target_;
  std::vector<float> dielectrics_;
  Medium medium_;
  EnergyObject object_;
  std::vector<std::string> target_residues_;
};

}  // namespace nxbrio

#endif
