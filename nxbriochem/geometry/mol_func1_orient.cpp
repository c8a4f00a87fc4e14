// Principal axes of molecules and of bare points. The centre is computed in double, the second moments in float. Kept:
// programs rely on float sums, in moments and frames that they stored. The decompositions are those of matrix.h.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <optional>

#include <nxbriochem/geometry/matrix.h>
#include <nxbriochem/geometry/mol_func1.h>
#include <nxbriochem/geometry/mol_func1_atoms_internal.h>
#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/error.h>
#include <nxbriochem/util/vector3_internal.h>

namespace mol_func1 {
namespace {

template <std::size_t Dimensions>
using Point = std::array<double, Dimensions>;
template <std::size_t Dimensions>
using SquareMatrix = std::array<float, Dimensions * Dimensions>;

// What a selector asks for.
enum class Action { orient, moments, matrix };
struct Selection {
  Action action;
  bool without_hydrogens;
  bool weighted;
};

// Every flag means something. Kept: programs rely on 10 leaving hydrogens out, as 9 does.
Selection decode(int flag) {
  if (flag <= 1) {
    return {Action::orient, flag != 0, false};
  }
  if (flag <= 3) {
    return {Action::moments, flag != 2, false};
  }
  if (flag <= 5) {
    return {Action::matrix, flag != 4, false};
  }
  if (flag <= 7) {
    return {Action::orient, flag != 6, true};
  }
  return {Action::moments, flag != 8, true};
}

// Points in a flat array, the marks that say which take part, and their weights. Null marks: all take part. Null
// weights: all are 1.
template <std::size_t Dimensions>
struct WeightedPoints {
  const float* points;
  std::ptrdiff_t count;
  const int* marks;
  const float* radii;

  bool takes_part(std::ptrdiff_t i) const { return marks == nullptr || marks[i] == kTakesPart; }
  double weight(std::ptrdiff_t i) const {
    const double r = radii == nullptr ? 1.0 : static_cast<double>(radii[i]);
    return r * r * r;
  }
  const float* at(std::ptrdiff_t i) const { return points + static_cast<std::ptrdiff_t>(Dimensions) * i; }
};

template <std::size_t Dimensions>
Point<Dimensions> centre_of(const WeightedPoints<Dimensions>& set) {
  Point<Dimensions> sum{};
  double weights = 0.0;
  for (std::ptrdiff_t i = 0; i < set.count; ++i) {
    if (set.takes_part(i)) {
      const double weight = set.weight(i);
      weights += weight;
      for (std::size_t k = 0; k < Dimensions; ++k) {
        sum[k] += weight * static_cast<double>(set.at(i)[k]);
      }
    }
  }
  const double share = 1.0 / weights;
  for (double& component : sum) {
    component *= share;
  }
  return sum;
}

template <std::size_t Dimensions>
SquareMatrix<Dimensions> sum_second_moments(const WeightedPoints<Dimensions>& set, const Point<Dimensions>& centre) {
  SquareMatrix<Dimensions> s{};
  for (std::ptrdiff_t i = 0; i < set.count; ++i) {
    if (!set.takes_part(i)) {
      continue;
    }
    const double weight = set.weight(i);
    Point<Dimensions> d{};
    for (std::size_t k = 0; k < Dimensions; ++k) {
      d[k] = static_cast<double>(set.at(i)[k]) - centre[k];
    }
    for (std::size_t j = 0; j < Dimensions; ++j) {
      for (std::size_t k = j; k < Dimensions; ++k) {
        float& element = s[Dimensions * j + k];
        element = static_cast<float>(static_cast<double>(element) + weight * d[j] * d[k]);
        s[Dimensions * k + j] = element;
      }
    }
  }
  return s;
}

// The centre and second moments of points. Not usable when any of them is not finite.
template <std::size_t Dimensions>
struct Inertia {
  Point<Dimensions> centre;
  SquareMatrix<Dimensions> second_moments;

  explicit Inertia(const WeightedPoints<Dimensions>& set)
      : centre(centre_of(set)), second_moments(sum_second_moments(set, centre)) {}

  bool is_finite() const {
    return std::all_of(second_moments.begin(), second_moments.end(), [](float x) { return std::isfinite(x); });
  }
};

// Reverses the last row where the rows are left-handed, so that nothing is mirrored.
void make_proper(SquareMatrix<3>& r) {
  if (vector3::determinant(r) < 0) {
    std::transform(r.begin() + 6, r.end(), r.begin() + 6, [](float x) { return x == 0 ? 0 : -x; });
  }
}

// Rotations into the principal frame of finite second moments. The rows are the axes.
SquareMatrix<3> rotation_by_rmat(const SquareMatrix<3>& s) {
  SquareMatrix<3> rotation{};
  make_rmat(s.data(), rotation.data(), 0);
  make_proper(rotation);
  return rotation;
}

SquareMatrix<2> rotation_by_rmat(const SquareMatrix<2>& s) {
  SquareMatrix<2> rotation{};
  make_rmat_2d(s.data(), rotation.data());
  return rotation;
}

SquareMatrix<3> rotation_by_rmat2(const SquareMatrix<3>& s) {
  SquareMatrix<3> rotation{};
  std::array<double, 3> roots{};
  nx_make_rmat2(s.data(), rotation.data(), roots.data());
  make_proper(rotation);
  return rotation;
}

// Replaces each point p by R (p - centre).
template <std::size_t Dimensions>
void move_points(float* points, std::ptrdiff_t count, const SquareMatrix<Dimensions>& rotation,
                 const Point<Dimensions>& centre) {
  for (std::ptrdiff_t i = 0; i < count; ++i, points += Dimensions) {
    Point<Dimensions> d{};
    for (std::size_t k = 0; k < Dimensions; ++k) {
      d[k] = static_cast<double>(points[k]) - centre[k];
    }
    for (std::size_t k = 0; k < Dimensions; ++k) {
      double sum = 0.0;
      for (std::size_t j = 0; j < Dimensions; ++j) {
        sum += static_cast<double>(rotation[Dimensions * k + j]) * d[j];
      }
      points[k] = rounded(sum);
    }
  }
}

// A molecule's coordinates and marks in its object memory, both as long as the index bound.
class MoleculeAtoms {
 public:
  explicit MoleculeAtoms(int mol)
      : mol_(mol), length_(index_bound(mol)), coord_(mol, length_, 3, "coord"), marks_(mol, length_, 1, "name_index") {}

  // Reads the coordinates and marks the atoms that take part, by their names; all of them when none would be left.
  // False when memory has no room.
  bool read(bool without_hydrogens) {
    if (!coord_ || !marks_) {
      return false;
    }
    mark_atoms(mol_, without_hydrogens, marks_.data());
    nx_get_molecule_coordinates(coord_.data(), mol_);
    need_some("all atoms hydrogen in orient_by_m_i!\n");
    return true;
  }

  // Reads the radii, where they are set, and leaves out atoms of radius 0 as well. When no atom is left, all take part
  // again. False when memory has no room.
  bool read_radii() {
    if (nx_is_molecule_radii_set(mol_) == 0) {
      return true;
    }
    const WorkArray<float>& radii = radii_.emplace(mol_, length_, 1, "radii");
    if (!radii) {
      return false;
    }
    nx_get_molecule_radii(radii.data(), mol_);
    for (std::ptrdiff_t i = 0; i < length_; ++i) {
      if (marks_[i] == kTakesPart && radii[i] == 0.0F) {
        marks_[i] = kLeftOut;
      }
    }
    need_some("all atoms hydrogen and/or zero radii in orient_by_m_i!\n");
    return true;
  }

  // Weighted only where radii were read.
  WeightedPoints<3> points(bool weighted) const {
    return {coord_.data(), length_, marks_.data(), weighted && radii_ ? radii_->data() : nullptr};
  }
  int count() const { return count_taking_part(marks_.data(), length_); }

  void move(const SquareMatrix<3>& rotation, const Point<3>& centre) const {
    move_points(coord_.data(), length_, rotation, centre);
    nx_set_molecule_coordinates(coord_.data(), mol_);  // which leaves the places of deleted atoms alone
  }

 private:
  void need_some(const char* warning) {
    if (count() == 0) {
      nxi_warn(warning);
      std::replace(marks_.data(), marks_.data() + length_, static_cast<int>(kLeftOut), static_cast<int>(kTakesPart));
    }
  }

  int mol_;
  int length_;
  WorkArray<float> coord_;
  WorkArray<int> marks_;
  std::optional<WorkArray<float>> radii_;
};

void exit_without_atoms(int mol) {
  if (nx_get_molecule_atom_number(mol) == 0) {
    std::puts("no atoms");
    std::exit(objects::kNoAtoms);
  }
}

// The result where there is no frame: for moments, values that are not numbers; for the others, failure.
int without_frame(Action action, float* out) {
  if (action != Action::moments) {
    return 0;
  }
  std::fill_n(out, 3, std::numeric_limits<float>::quiet_NaN());
  return 1;
}

// The root mean square extents, from finite second moments.
void write_moments(const Inertia<3>& inertia, int count, float* out) {
  SquareMatrix<3> s = inertia.second_moments;
  get_roots_3_3(s.data(), out);
  // Kept: programs rely on division by the number of atoms, weighted or not.
  std::transform(out, out + 3, out, [count](float root) {
    const double square = std::fabs(static_cast<double>(root)) / count;
    return static_cast<float>(square > 0 ? std::sqrt(square) : square);
  });
  std::sort(out, out + 3, std::greater<>());
}

// Keeps the motion p -> R (p - centre) as the molecule's transform. The transform is stored as a quaternion in single
// precision. R becomes the rotation of that quaternion, so that the translation fits it even far from the origin. False
// when the transform could not be stored.
bool keep_transform(SquareMatrix<3>& rotation, const Point<3>& centre, int mol) {
  std::array<float, 7> transform{};
  if (nx_set_molecule_transform_matrix(rotation.data(), nullptr, mol) == 0 ||
      nx_get_molecule_transform_matrix(rotation.data(), nullptr, mol) == 0 ||
      nx_get_molecule_transform(transform.data(), mol) == 0) {
    return false;
  }
  for (std::size_t k = 0; k < 3; ++k) {
    double turned = 0.0;
    for (std::size_t j = 0; j < 3; ++j) {
      turned += static_cast<double>(rotation[3 * k + j]) * centre[j];
    }
    transform[4 + k] = rounded(-turned);
  }
  return nx_set_molecule_transform(transform.data(), mol) == 1;
}

// Moves all points into the principal frame of the first n.
template <std::size_t Dimensions>
int orient_coordinates(float* coordinates, int n, int m) {
  if (coordinates == nullptr || n < 1) {
    return 0;
  }
  const Inertia<Dimensions> inertia(WeightedPoints<Dimensions>{coordinates, n, nullptr, nullptr});
  if (!inertia.is_finite()) {
    return 0;
  }
  const std::ptrdiff_t count = std::ptrdiff_t{n} + std::max(m, 0);
  move_points(coordinates, count, rotation_by_rmat(inertia.second_moments), inertia.centre);
  return 1;
}

int top_symmetry(const std::array<float, 3>& m, float tolerance) {
  if (m[0] == 0.0F || m[1] == 0.0F) {
    return 0;
  }
  if (tolerance > (m[0] - m[1]) / m[0]) {
    return tolerance > (m[0] - m[2]) / m[0] ? 3 : 1;
  }
  return tolerance > (m[1] - m[2]) / m[1] ? 2 : 0;
}

// The moments functions give 1 always.
int moments_of(int mol, int flag, float* moments) {
  nx_orient_m_i_base(mol, flag, moments);
  return 1;
}

}  // namespace
}  // namespace mol_func1

using namespace mol_func1;

int nx_orient_m_i_base(int mol, int flag, float* out) {
  exit_without_atoms(mol);
  const Selection selection = decode(flag);
  if (selection.action != Action::orient && out == nullptr) {
    return 0;
  }
  MoleculeAtoms atoms(mol);
  if (!atoms.read(selection.without_hydrogens) || !atoms.read_radii()) {
    return without_frame(selection.action, out);
  }
  const Inertia<3> inertia(atoms.points(selection.weighted));
  if (!inertia.is_finite()) {
    return without_frame(selection.action, out);
  }
  if (selection.action == Action::moments) {
    write_moments(inertia, atoms.count(), out);
    return 1;
  }
  SquareMatrix<3> rotation = rotation_by_rmat2(inertia.second_moments);
  if (selection.action == Action::matrix) {
    std::copy(rotation.begin(), rotation.end(), out);
    return 2;
  }
  if (!keep_transform(rotation, inertia.centre, mol)) {
    return 0;
  }
  atoms.move(rotation, inertia.centre);
  return 1;
}

int nx_orient_m_i_base2(int mol, int flag) {
  exit_without_atoms(mol);
  MoleculeAtoms atoms(mol);
  if (!atoms.read(flag != 0)) {
    return 0;
  }
  const Inertia<3> inertia(atoms.points(false));
  if (!inertia.is_finite()) {
    return 0;
  }
  atoms.move(rotation_by_rmat(inertia.second_moments), inertia.centre);
  return 1;
}

int nx_orient_by_moments_of_inertia_with_hydrogens(int mol) { return nx_orient_m_i_base(mol, 0, nullptr); }

int nx_orient_by_moments_of_inertia(int mol) { return nx_orient_m_i_base(mol, 1, nullptr); }

int nx_moments_of_inertia_with_hydrogens(int mol, float* moments) { return moments_of(mol, 2, moments); }

int nx_moments_of_inertia(int mol, float* moments) { return moments_of(mol, 3, moments); }

int nx_inertial_matrix_with_hydrogens(int mol, float* rotation) { return nx_orient_m_i_base(mol, 4, rotation); }

int nx_inertial_matrix(int mol, float* rotation) { return nx_orient_m_i_base(mol, 5, rotation); }

int nx_orient_by_moments_of_inertia_with_hydrogens_mass_weighted(int mol) {
  return nx_orient_m_i_base(mol, 6, nullptr);
}

int nx_orient_by_moments_of_inertia_mass_weighted(int mol) { return nx_orient_m_i_base(mol, 7, nullptr); }

int nx_moments_of_inertia_mass_weighted(int mol, float* moments) { return moments_of(mol, 9, moments); }

int nx_moments_of_inertia_with_hydrogens_mass_weighted(int mol, float* moments) { return moments_of(mol, 10, moments); }

int nx_orient_coordinates_to_inertial_frame(float* coordinates, int n, int m) {
  return orient_coordinates<3>(coordinates, n, m);
}

int nx_orient_2d_coordinates_to_inertial_frame(float* coordinates, int n, int m) {
  return orient_coordinates<2>(coordinates, n, m);
}

int nx_perceive_top_symmetry(int mol, float tolerance) {
  std::array<float, 3> moments{};
  nx_moments_of_inertia(mol, moments.data());
  return top_symmetry(moments, tolerance);
}

int nx_perceive_top_symmetry_mass_weighted(int mol, float tolerance) {
  std::array<float, 3> moments{};
  nx_moments_of_inertia_with_hydrogens_mass_weighted(mol, moments.data());
  return top_symmetry(moments, tolerance);
}
