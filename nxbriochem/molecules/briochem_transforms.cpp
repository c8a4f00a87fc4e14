// Rigid-body transforms: a quaternion and a translation, kept as the molecule's generic data.
//
// The rotation of the unit quaternion (a, b, c, d) is the transpose of the one that is commonly written for it
// (briochem.h gives its rows). From a rotation to its quaternion: S. W. Shepperd, "Quaternion from rotation matrix",
// J. Guidance and Control 1 (1978) 223, transposed likewise. It starts from the component of the largest square, at
// least 1/4, so that nothing is lost by cancellation at any angle, half-turns included.
#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/briochem_internal.h>
#include <nxbriochem/util/vector3_internal.h>

namespace briochem {
namespace {

using NxChem::NxConfBase;
using NxChem::NxMolBase;

constexpr std::size_t kQuaternion = 4;
constexpr std::size_t kTransform = 7;

using Quaternion = std::array<double, kQuaternion>;
using vector3::Matrix;
using vector3::Vector;

int transform_tag() {
  static const int tag = tag_of("NxBrioMolTransform");
  return tag;
}

// The seven floats, or null when no transform is set.
const float* find_transform(const NxMolBase& molecule) {
  std::size_t length = 0;
  const float* transform = molecule.GetData<float>(transform_tag(), &length);
  return length == kTransform ? transform : nullptr;
}

// Scales to unit length. False for a quaternion of length 0, with a warning, and for one that is not finite. Squares of
// floats neither vanish nor overflow in double precision.
bool normalise(Quaternion& q) {
  const double s = q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3];
  if (s == 0) {
    NxSystem::NxThrow.Warning("quaternion of length zero set for molecule!");
    return false;
  }
  if (!std::isfinite(s)) {
    return false;
  }
  const double scale = 1 / std::sqrt(s);
  for (double& component : q) {
    component *= scale;
  }
  return true;
}

Matrix matrix_of(const Quaternion& q) {
  const auto [a, b, c, d] = q;
  return {a * a + b * b - c * c - d * d, 2 * (b * c + a * d),           2 * (b * d - a * c),
          2 * (b * c - a * d),           a * a - b * b + c * c - d * d, 2 * (c * d + a * b),
          2 * (b * d + a * c),           2 * (c * d - a * b),           a * a - b * b - c * c + d * d};
}

// The quaternion of a rotation matrix, not yet of unit length.
Quaternion quaternion_of(const Matrix& m) {
  // Four times the products of each two components of the quaternion.
  const double aa = 1 + m[0] + m[4] + m[8];
  const double bb = 1 + m[0] - m[4] - m[8];
  const double cc = 1 - m[0] + m[4] - m[8];
  const double dd = 1 - m[0] - m[4] + m[8];
  const double ab = m[5] - m[7];
  const double ac = m[6] - m[2];
  const double ad = m[1] - m[3];
  const double bc = m[1] + m[3];
  const double bd = m[2] + m[6];
  const double cd = m[5] + m[7];
  // Each row is the quaternion times four times one of its components. The row of the largest component is the most
  // accurate.
  const std::array<double, kQuaternion> squares = {aa, bb, cc, dd};
  const std::array<Quaternion, kQuaternion> rows = {
      {{aa, ab, ac, ad}, {ab, bb, bc, bd}, {ac, bc, cc, cd}, {ad, bd, cd, dd}}};
  const auto largest = std::max_element(squares.begin(), squares.end()) - squares.begin();
  Quaternion q = rows[static_cast<std::size_t>(largest)];
  if (q[0] < 0) {
    for (double& component : q) {
      component = -component;
    }
  }
  return q;
}

// How points are moved: first by `before`, then turned, then by `after`.
struct Motion {
  Vector before;
  Matrix turn;
  Vector after;

  void apply(float* xyz) const {
    const double x = xyz[0] + before[0];
    const double y = xyz[1] + before[1];
    const double z = xyz[2] + before[2];
    for (std::size_t i = 0; i < 3; ++i) {
      xyz[i] = static_cast<float>(turn[3 * i] * x + turn[3 * i + 1] * y + turn[3 * i + 2] * z + after[i]);
    }
  }
};

// Moves a molecule's or a conformer's atoms. `xyz` is a work array for all coordinates.
template <class Owner>
void move(Owner& owner, const Motion& motion, std::vector<float>& xyz) {
  owner.GetCoords(xyz.data());
  for (std::size_t at = 0; at < xyz.size(); at += 3) {
    motion.apply(&xyz[at]);
  }
  owner.SetCoords(xyz.data());  // which leaves the places of deleted atoms alone
}

void move_all(int mol, const Motion& motion) {
  NxMolBase& molecule = model(mol);
  std::vector<float> xyz(std::size_t{3} * molecule.GetMaxAtomIdx());
  if (!NxBrioChem::NxIsMultiConf(mol)) {
    move(molecule, motion, xyz);
    return;
  }
  for (NxConfBase& conf : NxBrioChem::NxDerefMCMolHandle(mol)->GetConfs()) {
    move(conf, motion, xyz);
  }
}

// The unit quaternion of a transform. False when it cannot be normalised.
bool unit_quaternion(const float* transform, Quaternion& q) {
  std::copy_n(transform, kQuaternion, q.begin());
  return normalise(q);
}

// The transform in use: its unit quaternion and its translation. False when none is set or it cannot be used.
bool use_transform(int mol, Quaternion& q, Vector& translation) {
  const float* transform = find_transform(model(mol));
  if (transform == nullptr || !unit_quaternion(transform, q)) {
    return false;
  }
  std::copy_n(transform + kQuaternion, 3, translation.begin());
  return std::all_of(translation.begin(), translation.end(), [](double t) { return std::isfinite(t); });
}

}  // namespace
}  // namespace briochem

using namespace briochem;

int nx_set_molecule_transform(const float* transform, int mol) {
  NxMolBase& molecule = model(mol);
  if (transform == nullptr) {
    return 0;
  }
  return guarded([&] {
    molecule.SetData(transform_tag(), transform, kTransform);
    return 1;
  });
}

int nx_get_molecule_transform(float* transform, int mol) {
  const float* own = find_transform(model(mol));
  if (own == nullptr || transform == nullptr) {
    return 0;
  }
  std::copy_n(own, kTransform, transform);
  return 1;
}

int nx_is_molecule_transform_set(int mol) { return static_cast<int>(model(mol).HasData(transform_tag())); }

int nx_get_molecule_transform_matrix(float* rotation, float* translation, int mol) {
  const NxMolBase& molecule = model(mol);
  if (rotation == nullptr && translation == nullptr) {
    return 0;
  }
  const float* transform = find_transform(molecule);
  if (transform == nullptr) {
    return 0;
  }
  if (rotation != nullptr) {
    Quaternion q{};
    if (!unit_quaternion(transform, q)) {
      return 0;
    }
    const Matrix m = matrix_of(q);
    std::transform(m.begin(), m.end(), rotation, [](double element) { return static_cast<float>(element); });
  }
  if (translation != nullptr) {
    std::copy_n(transform + kQuaternion, 3, translation);
  }
  return 1;
}

int nx_set_molecule_transform_matrix(const float* rotation, const float* translation, int mol) {
  model(mol);
  Quaternion q = {1, 0, 0, 0};
  if (rotation != nullptr) {
    Matrix m{};
    std::copy_n(rotation, m.size(), m.begin());
    q = quaternion_of(m);
    if (!normalise(q)) {
      return 0;
    }
  }
  std::array<float, kTransform> transform{};
  std::transform(q.begin(), q.end(), transform.begin(), [](double component) { return static_cast<float>(component); });
  if (translation != nullptr) {
    std::copy_n(translation, 3, transform.begin() + kQuaternion);
  }
  return nx_set_molecule_transform(transform.data(), mol);
}

int nx_transform_molecule(int mol) {
  Quaternion q{};
  Vector t{};
  if (!use_transform(mol, q, t)) {
    return 0;
  }
  return guarded([&] {
    move_all(mol, {{0, 0, 0}, matrix_of(q), t});
    return 1;
  });
}

int nx_untransform_molecule(int mol) {
  Quaternion q{};
  Vector t{};
  if (!use_transform(mol, q, t)) {
    return 0;
  }
  q[0] = -q[0];  // the inverse rotation
  return guarded([&] {
    move_all(mol, {{-t[0], -t[1], -t[2]}, matrix_of(q), {0, 0, 0}});
    return 1;
  });
}
