#include "coulomb.h"

#include <nxbriodock/nxbriodock.h>

#include <cmath>
#include <utility>

#include "failure.h"
#include "nxbriofiles/text.h"
#include "report.h"
#include "table.h"

namespace nxbrio {
namespace {

constexpr double kAsItStands[NXD_POSE] = {1, 0, 0, 0, 0, 0, 0};

// The atoms of one side for nxd_set_target_arrays. Elements are left out, since the 12-6 term is off.
struct Arrays {
  std::vector<double> coordinates;
  std::vector<double> charges;
  // Each atom's residue, and the residues' names.
  std::vector<int> residues;
  std::vector<std::string> names;
  int atoms = 0;
};

std::string residue_label(const Atom& atom) {
  std::string label = atom.residue + " " + std::to_string(atom.residue_number);
  label += atom.insertion_code == ' ' || atom.insertion_code == '\0' ? "" : std::string(1, atom.insertion_code);
  return atom.chain == ' ' ? label : label + " " + atom.chain;
}

Arrays arrays_of(const Structure& structure) {
  Arrays arrays;
  std::string last;
  for (const Atom& atom : structure.atoms) {
    arrays.coordinates.insert(arrays.coordinates.end(), atom.position.begin(), atom.position.end());
    arrays.charges.push_back(static_cast<double>(atom.charge));
    std::string label = residue_label(atom);
    if (arrays.names.empty() || label != last) {
      arrays.names.push_back(label);
      last = std::move(label);
    }
    arrays.residues.push_back(static_cast<int>(arrays.names.size()) - 1);
    ++arrays.atoms;
  }
  return arrays;
}

[[noreturn]] void refuse_energy(float dielectric) {
  throw Failure(formatted("the energy at dielectric %g is too large to be told", static_cast<double>(dielectric)));
}

}  // namespace

EnergyObject::EnergyObject() : EnergyObject(nxd_make_energy()) {}

EnergyObject::EnergyObject(int handle) : handle_(handle) {
  if (handle_ == 0) {
    throw Failure("the library has no energy object left");
  }
}

EnergyObject::~EnergyObject() { nxd_delete_energy(handle_); }

CoulombEnergies::CoulombEnergies(const Structure& target, const Molecule& molecule, std::vector<float> dielectrics,
                                 const Medium& medium)
    : target_(molecule), dielectrics_(std::move(dielectrics)), medium_(medium) {
  Arrays arrays = arrays_of(target);
  const int energy = object_.handle();
  require(nxd_set_target_arrays(arrays.coordinates.data(), arrays.charges.data(), nullptr, arrays.atoms, energy),
          "the target");
  require(nxd_set_residues(NXD_TARGET, arrays.residues.data(), arrays.atoms, energy), "the target's residues");
  require(nxd_set_weights(1.0, 0.0, energy), "the weights");
  require(nxd_set_threads(0, energy), "the number of threads");
  target_residues_ = std::move(arrays.names);
}

void CoulombEnergies::set_ligand(const Structure& ligand) {
  const Arrays arrays = arrays_of(ligand);
  require(
      nxd_set_ligand_arrays(arrays.coordinates.data(), arrays.charges.data(), nullptr, arrays.atoms, object_.handle()),
      "the ligand");
}

std::vector<Energy> CoulombEnergies::of(const Structure& ligand, const Molecule& molecule) {
  std::vector<Energy> energies;
  if (!medium_.is_uniform()) {
    set_ligand(ligand);
  }
  for (const float dielectric : dielectrics_) {
    Energy energy{dielectric, 0.0, 0.0};
    if (medium_.is_uniform()) {
      energy.units = decimal(binding_energy(target_, molecule, dielectric));
      energy.kcal = decimal(static_cast<float>(energy.units * kcal_per_unit()));
    } else {
      set_medium(medium_, decimal(dielectric), object_.handle());
      require(nxd_get_energy_at_pose(kAsItStands, &energy.kcal, nullptr, nullptr, object_.handle()), "a pose");
      energy.units = energy.kcal / kcal_per_unit();
    }
    if (!std::isfinite(energy.kcal)) {
      refuse_energy(dielectric);
    }
    energies.push_back(energy);
  }
  return energies;
}

std::vector<ResidueEnergy> CoulombEnergies::by_residue(const Structure& ligand) {
  const Arrays arrays = arrays_of(ligand);
  const int energy = object_.handle();
  set_ligand(ligand);
  require(nxd_set_residues(NXD_LIGAND, arrays.residues.data(), arrays.atoms, energy), "the ligand's residues");
  std::vector<ResidueEnergy> rows;
  for (const int side : {NXD_TARGET, NXD_LIGAND}) {
    const std::vector<std::string>& names = side == NXD_TARGET ? target_residues_ : arrays.names;
    const std::size_t first = rows.size();
    for (const std::string& name : names) {
      rows.push_back({side, name, {}});
    }
    std::vector<double> kcal(names.size());
    for (const float dielectric : dielectrics_) {
      set_medium(medium_, decimal(dielectric), energy);
      require(nxd_get_residue_energies(kAsItStands, side, kcal.data(), nullptr, energy), "a pose");
      for (std::size_t k = 0; k < kcal.size(); ++k) {
        rows[first + k].kcal.push_back(kcal[k]);
      }
    }
  }
  return rows;
}

}  // namespace nxbrio
