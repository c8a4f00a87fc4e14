#include "geometry.h"

#include <nxbriochem/nxbriochem.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace nxbrio {
namespace {

// The atoms' names, each ended by a NUL.
std::vector<char> packed_names(int mol) {
  std::vector<char> names(static_cast<std::size_t>(nx_get_molecule_atom_names_length(mol)));
  require(nx_get_molecule_atom_names(names.data(), static_cast<int>(names.size()), mol), "to give names");
  return names;
}

// A temporary copy without atom names, so that the library takes none of its atoms for a hydrogen.
class NamelessCopy {
 public:
  explicit NamelessCopy(const Molecule& molecule) : copy_(nx_copy_molecule(molecule.handle())) {
    require(static_cast<int>(copy_ != 0), "to copy a molecule");
    nxi_unset_molecule_atom_names(copy_);
  }
  NamelessCopy(const NamelessCopy&) = delete;
  NamelessCopy& operator=(const NamelessCopy&) = delete;
  ~NamelessCopy() { nx_delete_molecule(copy_); }

  int handle() const { return copy_; }

 private:
  int copy_;
};

}  // namespace

Moments principal_moments(const Molecule& molecule, FrameChoice choice) {
  // The number for nx_orient_m_i_base, since the weighted function called "with hydrogens" leaves them out.
  constexpr int kWeightedWithHydrogens = 8;
  const int mol = molecule.handle();
  Moments found{};
  if (choice.weighted && choice.hydrogens) {
    require(nx_orient_m_i_base(mol, kWeightedWithHydrogens, found.data()), "to give moments");
    return found;
  }
  int (*const moments)(int, float*) = choice.weighted    ? nx_moments_of_inertia_mass_weighted
                                      : choice.hydrogens ? nx_moments_of_inertia_with_hydrogens
                                                         : nx_moments_of_inertia;
  require(moments(mol, found.data()), "to give moments");
  return found;
}

int top_symmetry(const Molecule& molecule, FrameChoice choice, float tolerance) {
  int (*const perceive)(int, float) =
      choice.weighted ? nx_perceive_top_symmetry_mass_weighted : nx_perceive_top_symmetry;
  if (choice.hydrogens) {
    return perceive(NamelessCopy(molecule).handle(), tolerance);  // there is no such function with hydrogens
  }
  return perceive(molecule.handle(), tolerance);
}

std::string top_name(int symmetry, const Moments& moments) {
  constexpr float kLinear = 1e-3F;
  if (moments[0] == 0.0F) {
    return "point";
  }
  if (moments[1] < kLinear * moments[0]) {
    return "linear";
  }
  constexpr std::array<const char*, 4> kNames = {"asymmetric", "symmetric, oblate", "symmetric, prolate", "spherical"};
  return kNames.at(static_cast<std::size_t>(symmetry));
}

Orientation orient_molecule(const Molecule& molecule, FrameChoice choice) {
  int (*const by_moments)(int) =
      choice.weighted
          ? (choice.hydrogens ? nx_orient_by_moments_of_inertia_with_hydrogens_mass_weighted
                              : nx_orient_by_moments_of_inertia_mass_weighted)
          : (choice.hydrogens ? nx_orient_by_moments_of_inertia_with_hydrogens : nx_orient_by_moments_of_inertia);
  Orientation orientation{choice, principal_moments(molecule, choice), {}};
  Motion& motion = orientation.motion;
  require(by_moments(molecule.handle()), "to orient the molecule");
  require(nx_get_molecule_transform_matrix(motion.rotation.data(), motion.translation.data(), molecule.handle()),
          "to give the transform");
  return orientation;
}

void move_along(const Molecule& leader, const Molecule& follower) {
  Transform transform{};
  require(nx_get_molecule_transform(transform.data(), leader.handle()), "to give the transform");
  apply_transform(transform, follower);
}

float least_rms(const Molecule& first, const Molecule& second, bool hydrogens) {
  float value = 0.0F;
  require((hydrogens ? nx_get_rms_using_hydrogens : nx_get_rms)(first.handle(), second.handle(), &value),
          "to compare two molecules");
  return value;
}

float move_onto(const Molecule& first, const Molecule& second, bool hydrogens, Motion& motion) {
  std::array<float, 12> matrix{};
  float value = 0.0F;
  const int a = first.handle();
  const int b = second.handle();
  require((hydrogens ? nx_get_superimpose_matrix_using_hydrogens : nx_get_superimpose_matrix)(a, b, matrix.data()),
          "to superpose two molecules");
  require(
      (hydrogens ? nx_superimpose_second_onto_first_with_hydrogens : nx_superimpose_second_onto_first)(a, b, &value),
      "to superpose two molecules");
  std::copy_n(matrix.begin(), 9, motion.rotation.begin());
  std::copy_n(matrix.begin() + 9, 3, motion.translation.begin());
  return value;
}

int fitted_atoms(const Molecule& molecule, bool hydrogens) {
  const int atoms = nx_get_molecule_atom_number(molecule.handle());
  const std::vector<char> names = packed_names(molecule.handle());
  int fitted = 0;
  const char* name = names.data();
  for (int i = 0; i < atoms; ++i) {
    fitted += hydrogens || (*name != 'H' && *name != 'h') ? 1 : 0;
    name += std::strlen(name) + 1;
  }
  return fitted;
}

}  // namespace nxbrio
