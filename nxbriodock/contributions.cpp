// The contributions of atoms and residues to an energy.
#include <nxbriodock/contributions.h>

#include <algorithm>

#include "energy_object.h"
#include "reports.h"

namespace nxbriodock {
namespace {

void require_side(int side, const Energy& energy) {
  if (side != NXD_TARGET && side != NXD_LIGAND) {
    throw Refused("side %d is neither the target nor the ligand", side);
  }
  if (side == NXD_TARGET ? !energy.has_target() : !energy.has_ligand()) {
    throw Refused("the energy has no %s", side == NXD_TARGET ? "target" : "ligand");
  }
}

// Sums of a side's atoms, in the energy's workspace.
const std::vector<AtomSums>& atom_sums(const double* pose, int side, Energy& energy) {
  energy.require_both();
  require_side(side, energy);
  const Placement placement = energy.placement_of_pose(pose);
  const int threads = threads_of(energy.threads);
  if (side == NXD_LIGAND) {
    energy.evaluate(energy.terms, placement, Derivatives::First, threads, energy.workspace);
  } else {
    energy.evaluate_target_atoms(placement, threads, energy.workspace);
  }
  return energy.workspace.sums;
}

}  // namespace
}  // namespace nxbriodock

using namespace nxbriodock;

int nxd_get_atom_energies(const double* pose, int side, double* coulomb, double* twelve_six, int energy) {
  return guarded("nxd_get_atom_energies", 0, [&] {
    const auto object = energy_of(energy);
    const std::vector<AtomSums>& sums = atom_sums(pose, side, *object);
    for (std::size_t i = 0; i < sums.size(); ++i) {
      if (coulomb != nullptr) {
        coulomb[i] = sums[i].coulomb;
      }
      if (twelve_six != nullptr) {
        twelve_six[i] = sums[i].twelve_six;
      }
    }
    return 1;
  });
}

int nxd_get_residue_energies(const double* pose, int side, double* coulomb, double* twelve_six, int energy) {
  return guarded("nxd_get_residue_energies", 0, [&] {
    const auto object = energy_of(energy);
    const std::vector<AtomSums>& sums = atom_sums(pose, side, *object);
    const Atoms& atoms = object->side(side == NXD_LIGAND);
    const int residues = atoms.residue_number();
    const auto add_up = [&](double* out, double AtomSums::*term) {
      if (out == nullptr) {
        return;
      }
      std::fill_n(out, residues, 0.0);
      for (std::size_t i = 0; i < sums.size(); ++i) {
        out[atoms.residues[i]] += sums[i].*term;
      }
    };
    add_up(coulomb, &AtomSums::coulomb);
    add_up(twelve_six, &AtomSums::twelve_six);
    return 1;
  });
}

int nxd_get_residue_number(int side, int energy) {
  return guarded("nxd_get_residue_number", 0, [&] {
    const auto object = energy_of(energy);
    require_side(side, *object);
    return object->side(side == NXD_LIGAND).residue_number();
  });
}

int nxd_get_residues(int side, int* residues, int energy) {
  return guarded("nxd_get_residues", 0, [&] {
    const auto object = energy_of(energy);
    require_side(side, *object);
    const std::vector<int>& of_atoms = object->side(side == NXD_LIGAND).residues;
    std::copy(of_atoms.begin(), of_atoms.end(), needed(residues, "residues"));
    return 1;
  });
}

int nxd_set_residues(int side, const int* residues, int n, int energy) {
  return guarded("nxd_set_residues", 0, [&] {
    const auto object = energy_of(energy);
    require_side(side, *object);
    needed(residues, "residues");
    if (n < 0 || static_cast<std::size_t>(n) != object->side(side == NXD_LIGAND).size()) {
      throw Refused("%d residues were given for %zu atoms", n, object->side(side == NXD_LIGAND).size());
    }
    if (std::any_of(residues, residues + n, [n](int residue) { return residue < 0 || residue >= n; })) {
      throw Refused("a residue is not from 0 to %d", n - 1);
    }
    const std::vector<int> numbers(residues, residues + n);
    if (side == NXD_LIGAND) {
      object->ligand.residues = numbers;
    } else {
      Atoms atoms = *object->target.atoms;
      atoms.residues = numbers;
      object->set_target(std::move(atoms));
    }
    return 1;
  });
}
