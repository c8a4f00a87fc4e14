// Energy objects as callers see them.
#include <nxbriochem/molecules/memmgr.h>
#include <nxbriodock/energy.h>
#include <nxbriodock/uff.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>

#include "energy_object.h"
#include "reports.h"

namespace nxbriodock {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

void require_positive(double value, const char* what) {
  if (!(value > 0.0) || !std::isfinite(value)) {
    throw Refused("%s is no finite number above 0", what);
  }
}

// Checks that all is finite and finds the elements' parameters.
void add_atom(Atoms& atoms, const Vector3& place, double charge, const int* element) {
  const std::size_t number = atoms.size() + 1;
  if (!place.allFinite() || !std::isfinite(charge)) {
    throw Refused("atom %zu has a coordinate or a charge that is not finite", number);
  }
  double distance = 0.0;
  double depth = 0.0;
  if (element != nullptr && nxd_get_uff_parameters(*element, &distance, &depth) == 0) {
    throw Refused("atom %zu: there are no 12-6 parameters for atomic number %d", number, *element);
  }
  atoms.places.push_back(place);
  atoms.charges.push_back(charge);
  atoms.distances.push_back(distance);
  atoms.depths.push_back(depth);
}

void require_atoms(const Atoms& atoms) {
  if (atoms.size() == 0) {
    throw Refused("there are no atoms");
  }
}

Atoms atoms_of_molecule(int mol) {
  const NxChem::NxMolBase& molecule = *NxBrioChem::NxDerefMolHandle(mol);
  const auto identity = [](const NxChem::NxResidue& r) {
    return std::tuple(r.GetChainID(), r.GetResidueNumber(), r.GetInsertCode(), r.GetSequenceNumber(), r.GetName());
  };
  Atoms atoms;
  const NxChem::NxResidue* last = nullptr;
  int residue = -1;
  for (const NxChem::NxAtomBase& atom : molecule.GetAtoms()) {
    float at[3];
    molecule.GetCoords(atom, at);
    const auto element = static_cast<int>(atom.GetAtomicNum());
    add_atom(atoms, Vector3(static_cast<double>(at[0]), static_cast<double>(at[1]), static_cast<double>(at[2])),
             static_cast<double>(atom.GetPartialCharge()), &element);
    const NxChem::NxResidue& own = NxChem::NxAtomGetResidue(atom);
    residue += last == nullptr || identity(*last) != identity(own) ? 1 : 0;
    last = &own;
    atoms.residues.push_back(residue);
  }
  require_atoms(atoms);
  return atoms;
}

Atoms atoms_of_arrays(const double* coordinates, const double* charges, const int* elements, int n) {
  Atoms atoms;
  needed(coordinates, "coordinates");
  for (int i = 0; i < n; ++i) {
    const double* const at = coordinates + 3 * static_cast<std::ptrdiff_t>(i);
    add_atom(atoms, Vector3(at), charges != nullptr ? charges[i] : 0.0, elements != nullptr ? elements + i : nullptr);
  }
  require_atoms(atoms);
  atoms.residues.assign(atoms.size(), 0);
  return atoms;
}

void require_count(int n, std::size_t atoms) {
  if (atoms == 0) {
    throw Refused("there are no atoms yet");
  }
  if (n < 0 || static_cast<std::size_t>(n) != atoms) {
    throw Refused("%d values were given for %zu atoms", n, atoms);
  }
}

void replace_parameters(const double* distances, const double* depths, int n, Atoms& atoms) {
  require_count(n, atoms.size());
  needed(distances, "distances");
  needed(depths, "well_depths");
  const auto good = [](double value) { return value >= 0.0 && std::isfinite(value); };
  if (!std::all_of(distances, distances + n, good) || !std::all_of(depths, depths + n, good)) {
    throw Refused("a 12-6 parameter is negative or not finite");
  }
  atoms.distances.assign(distances, distances + n);
  atoms.depths.assign(depths, depths + n);
}

void replace_charges(const double* charges, int n, Atoms& atoms) {
  require_count(n, atoms.size());
  needed(charges, "charges");
  if (!std::all_of(charges, charges + n, [](double value) { return std::isfinite(value); })) {
    throw Refused("a charge is not finite");
  }
  atoms.charges.assign(charges, charges + n);
}

// Changes the target's atoms in a copy, since other objects may share them.
template <class Change>
int change_target(Energy& energy, Change change) {
  Atoms atoms = energy.has_target() ? *energy.target.atoms : Atoms();
  change(atoms);
  energy.set_target(std::move(atoms));
  return 1;
}

// Replaces the terms after checking them.
int set_dielectric(Coulomb coulomb, double dielectric, double kappa, int handle) {
  const auto energy = energy_of(handle);
  require_positive(dielectric, "the dielectric");
  energy->terms.coulomb = coulomb;
  energy->terms.dielectric = dielectric;
  energy->terms.kappa = kappa;
  return 1;
}

double debye_length(double dielectric, double ionic_strength, double temperature) {
  constexpr double kElementaryCharge = 1.602176634e-19;
  constexpr double kBoltzmann = 1.380649e-23;
  constexpr double kAvogadro = 6.02214076e23;
  constexpr double kVacuum = 8.8541878128e-12;
  require_positive(dielectric, "the dielectric");
  require_positive(temperature, "the temperature");
  if (!(ionic_strength >= 0.0) || !std::isfinite(ionic_strength)) {
    throw Refused("the ionic strength is negative or not finite");
  }
  const double per_cubic_metre = 1e3 * ionic_strength;
  return 1e10 * std::sqrt(kVacuum * dielectric * kBoltzmann * temperature /
                          (2.0 * kAvogadro * kElementaryCharge * kElementaryCharge * per_cubic_metre));
}

// The callbacks' value at x. Its derivatives are added to the gradient unless that is null.
double value_at(const char* function, const double* x, double* gradient, int n, int handle) {
  return guarded(function, kNaN, [&] {
    const auto energy = energy_of(handle);
    energy->require_both();
    needed(x, "x");
    if (n != NXD_VARIABLES) {
      throw Refused("%d variables were given; a rigid ligand has %d", n, int{NXD_VARIABLES});
    }
    const Value value = energy->evaluate(energy->terms, energy->placement_at(x), Derivatives::First,
                                         threads_of(energy->threads), energy->workspace);
    const Eigen::Map<const Vector6> at(x);
    const double excess = at.squaredNorm() - energy->leash_length * energy->leash_length;
    const bool held = energy->leash_strength > 0.0 && excess > 0.0;
    if (gradient != nullptr) {
      Eigen::Map<Vector6> sum(gradient);
      sum.head<3>() += value.gradient.head<3>();
      sum.tail<3>() += by_rotation_vector(at.tail<3>() / energy->arm, value.gradient.tail<3>());
      if (held) {
        sum += 4.0 * energy->leash_strength * excess * at;
      }
    }
    return value.total() + (held ? energy->leash_strength * excess * excess : 0.0);
  });
}

}  // namespace
}  // namespace nxbriodock

using namespace nxbriodock;

int nxd_make_energy(void) {
  return guarded("nxd_make_energy", 0, [] { return keep_energy(std::make_shared<Energy>()); });
}

int nxd_copy_energy(int energy) {
  return guarded("nxd_copy_energy", 0, [&] { return keep_energy(std::make_shared<Energy>(*energy_of(energy))); });
}

int nxd_delete_energy(int energy) {
  return guarded("nxd_delete_energy", 0, [&] {
    if (!delete_energy(energy)) {
      throw Refused("%d is the handle of no energy", energy);
    }
    return 1;
  });
}

int nxd_set_target(int mol, int energy) {
  return guarded("nxd_set_target", 0, [&] {
    energy_of(energy)->set_target(atoms_of_molecule(mol));
    return 1;
  });
}

int nxd_set_ligand(int mol, int energy) {
  return guarded("nxd_set_ligand", 0, [&] {
    energy_of(energy)->set_ligand(atoms_of_molecule(mol));
    return 1;
  });
}

int nxd_set_target_arrays(const double* coordinates, const double* charges, const int* elements, int n, int energy) {
  return guarded("nxd_set_target_arrays", 0, [&] {
    energy_of(energy)->set_target(atoms_of_arrays(coordinates, charges, elements, n));
    return 1;
  });
}

int nxd_set_ligand_arrays(const double* coordinates, const double* charges, const int* elements, int n, int energy) {
  return guarded("nxd_set_ligand_arrays", 0, [&] {
    energy_of(energy)->set_ligand(atoms_of_arrays(coordinates, charges, elements, n));
    return 1;
  });
}

int nxd_set_target_parameters(const double* distances, const double* well_depths, int n, int energy) {
  return guarded("nxd_set_target_parameters", 0, [&] {
    return change_target(*energy_of(energy),
                         [&](Atoms& atoms) { replace_parameters(distances, well_depths, n, atoms); });
  });
}

int nxd_set_ligand_parameters(const double* distances, const double* well_depths, int n, int energy) {
  return guarded("nxd_set_ligand_parameters", 0, [&] {
    replace_parameters(distances, well_depths, n, energy_of(energy)->ligand);
    return 1;
  });
}

int nxd_set_target_charges(const double* charges, int n, int energy) {
  return guarded("nxd_set_target_charges", 0, [&] {
    return change_target(*energy_of(energy), [&](Atoms& atoms) { replace_charges(charges, n, atoms); });
  });
}

int nxd_set_ligand_charges(const double* charges, int n, int energy) {
  return guarded("nxd_set_ligand_charges", 0, [&] {
    replace_charges(charges, n, energy_of(energy)->ligand);
    return 1;
  });
}

int nxd_get_target_atom_number(int energy) {
  return guarded("nxd_get_target_atom_number", 0, [&] {
    const auto object = energy_of(energy);
    return object->has_target() ? static_cast<int>(object->target.atoms->size()) : 0;
  });
}

int nxd_get_ligand_atom_number(int energy) {
  return guarded("nxd_get_ligand_atom_number", 0, [&] { return static_cast<int>(energy_of(energy)->ligand.size()); });
}

int nxd_set_uniform_dielectric(double dielectric, int energy) {
  return guarded("nxd_set_uniform_dielectric", 0,
                 [&] { return set_dielectric(Coulomb::Uniform, dielectric, 0.0, energy); });
}

int nxd_set_distance_dielectric(double dielectric, int energy) {
  return guarded("nxd_set_distance_dielectric", 0,
                 [&] { return set_dielectric(Coulomb::DistanceDependent, dielectric, 0.0, energy); });
}

int nxd_set_screened_dielectric(double dielectric, double ionic_strength, double temperature, int energy) {
  return guarded("nxd_set_screened_dielectric", 0, [&] {
    const double kappa = 1.0 / debye_length(dielectric, ionic_strength, temperature);
    return set_dielectric(kappa > 0.0 ? Coulomb::Screened : Coulomb::Uniform, dielectric, kappa, energy);
  });
}

int nxd_get_debye_length(double dielectric, double ionic_strength, double temperature, double* length) {
  return guarded("nxd_get_debye_length", 0, [&] {
    *needed(length, "length") = debye_length(dielectric, ionic_strength, temperature);
    return 1;
  });
}

int nxd_set_weights(double coulomb, double twelve_six, int energy) {
  return guarded("nxd_set_weights", 0, [&] {
    const auto object = energy_of(energy);
    if (!std::isfinite(coulomb) || !std::isfinite(twelve_six)) {
      throw Refused("a weight is not finite");
    }
    object->terms.coulomb_weight = coulomb;
    object->terms.twelve_six_weight = twelve_six;
    return 1;
  });
}

int nxd_set_distance_rule(int arithmetic, int energy) {
  return guarded("nxd_set_distance_rule", 0, [&] {
    energy_of(energy)->set_distance_rule(arithmetic != 0);
    return 1;
  });
}

int nxd_set_walls(double coulomb, double twelve_six, int energy) {
  return guarded("nxd_set_walls", 0, [&] {
    const auto object = energy_of(energy);
    require_positive(coulomb, "Coulomb's wall");
    if (!(twelve_six > 0.0 && twelve_six <= 1.0)) {
      throw Refused("the 12-6 term's wall is not above 0 and at most 1");
    }
    object->terms.coulomb_wall = coulomb;
    object->terms.twelve_six_wall = twelve_six;
    return 1;
  });
}

int nxd_set_leash(double length, double strength, int energy) {
  return guarded("nxd_set_leash", 0, [&] {
    const auto object = energy_of(energy);
    if (!(length >= 0.0 && strength >= 0.0) || !std::isfinite(length) || !std::isfinite(strength)) {
      throw Refused("the leash's length or strength is negative or not finite");
    }
    object->leash_length = length;
    object->leash_strength = strength;
    return 1;
  });
}

int nxd_set_threads(int threads, int energy) {
  return guarded("nxd_set_threads", 0, [&] {
    const auto object = energy_of(energy);
    if (threads < 0) {
      throw Refused("%d threads", threads);
    }
    object->threads = threads;
    return 1;
  });
}

double nxd_energy(double* x, int n, int energy) { return value_at("nxd_energy", x, nullptr, n, energy); }

double nxd_energy_gradient(double* x, double* gradient, int n, int energy) {
  if (gradient != nullptr && n == NXD_VARIABLES) {
    std::fill_n(gradient, n, 0.0);
  }
  return value_at("nxd_energy_gradient", x, gradient, n, energy);
}

double nxd_add_energy_gradient(double* x, double* gradient, int n, int energy) {
  return value_at("nxd_add_energy_gradient", x, gradient, n, energy);
}

int nxd_get_energy_at_pose(const double* pose, double* coulomb, double* twelve_six, double* gradient, int energy) {
  return guarded("nxd_get_energy_at_pose", 0, [&] {
    const auto object = energy_of(energy);
    object->require_both();
    const Placement placement = object->placement_of_pose(pose);
    const Value value =
        object->evaluate(object->terms, placement, Derivatives::First, threads_of(object->threads), object->workspace);
    if (coulomb != nullptr) {
      *coulomb = value.coulomb;
    }
    if (twelve_six != nullptr) {
      *twelve_six = value.twelve_six;
    }
    if (gradient != nullptr) {
      Eigen::Map<Vector6> out(gradient);
      out = value.gradient;
    }
    return 1;
  });
}

int nxd_get_closest_contact(const double* pose, int* target_atom, int* ligand_atom, double* distance, double* fraction,
                            int energy) {
  return guarded("nxd_get_closest_contact", 0, [&] {
    const auto object = energy_of(energy);
    object->require_both();
    const Contact contact = object->closest_contact(object->placement_of_pose(pose));
    const auto give = [](auto* out, auto value) {
      if (out != nullptr) {
        *out = value;
      }
    };
    give(target_atom, contact.target_atom);
    give(ligand_atom, contact.ligand_atom);
    give(distance, contact.distance);
    give(fraction, contact.fraction);
    return 1;
  });
}
