#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/molecules/memmgr.h>

#include "tests/support/frames.h"
#include "tests/support/warned.h"

namespace {

using namespace test_support;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr const char* kZeroWarning = "Warning: quaternion of length zero set for molecule!\n";

using Transform = std::array<float, 7>;
using Rotation = Eigen::Matrix<float, 3, 3, Eigen::RowMajor>;

// The rotation p -> q* p q for the normalised quaternion q. The columns of the matrix are the images of the axes.
ExactMatrix<3> turn_of(const float* q) {
  return Eigen::Quaternion<long double>(q[0], q[1], q[2], q[3]).normalized().conjugate().matrix();
}

Transform transform_of(int mol) {
  Transform t{};
  EXPECT_EQ(nx_get_molecule_transform(t.data(), mol), 1);
  return t;
}

// A molecule of random atoms. The first atom and conformer 1 were deleted, so that conformers 0, 2 and 3 remain.
class Molecule {
 public:
  explicit Molecule(unsigned seed) : random(seed), mol(nx_make_molecule()) {
    nx_set_molecule_atom_number(12, mol);
    nx_set_molecule_conformer_number(4, mol);
    for (auto& conf : toolkit().GetConfs()) {
      std::vector<float> xyz(36);
      for (float& x : xyz) {
        x = any(50);
      }
      conf.SetCoords(xyz.data());
    }
    toolkit().DeleteConf(toolkit().GetConf(1));
    toolkit().DeleteAtom(toolkit().GetAtom(5));
    nx_set_molecule_conformer(3, mol);
  }
  ~Molecule() { nx_delete_molecule(mol); }
  Molecule(const Molecule&) = delete;
  Molecule& operator=(const Molecule&) = delete;

  NxChem::NxMCMolBase& toolkit() const { return *NxBrioChem::NxDerefMCMolHandle(mol); }
  float any(float range) { return std::uniform_real_distribution<float>(-range, range)(random); }
  Transform any_transform() {
    Transform t{};
    const float scale = std::ldexp(1.0F, static_cast<int>(random() % 200) - 100);
    for (std::size_t i = 0; i < 7; ++i) {
      t[i] = i < 4 ? scale * any(1) : any(100);
    }
    return t;
  }
  // The coordinates of all conformers, one after the other.
  std::vector<float> all() const {
    std::vector<float> result;
    for (const auto& conf : toolkit().GetConfs()) {
      std::vector<float> xyz(3 * toolkit().GetMaxAtomIdx());
      conf.GetCoords(xyz.data());
      result.insert(result.end(), xyz.begin(), xyz.end());
    }
    return result;
  }

  std::mt19937 random;
  const int mol;
};

TEST(Transforms, MoveEveryConformerAsTheQuaternionProductDoesAndBack) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Molecule molecule(seed);
    const int mol = molecule.mol;
    const Transform t = molecule.any_transform();
    ASSERT_EQ(nx_set_molecule_transform(t.data(), mol), 1);
    const std::vector<float> before = molecule.all();
    ASSERT_EQ(nx_transform_molecule(mol), 1);
    const std::vector<float> after = molecule.all();
    ASSERT_EQ(before.size(), 3U * 36);
    for (std::size_t at = 0; at < before.size(); at += 3) {
      const bool deleted = at % 36 == 15;  // reads as zero before and after
      const ExactVector p = turn_of(t.data()) * ExactVector(before[at], before[at + 1], before[at + 2]);
      for (std::size_t i = 0; i < 3; ++i) {
        const auto expected = static_cast<double>(deleted ? 0 : p[static_cast<int>(i)] + t[4 + i]);
        // One rounding to float of a result that is exact to some 1e-14.
        ASSERT_NEAR(static_cast<double>(after[at + i]), expected, 6.1e-8 * std::abs(expected) + 1e-12);
      }
    }
    ASSERT_EQ(nx_untransform_molecule(mol), 1);
    const std::vector<float> back = molecule.all();
    for (std::size_t i = 0; i < before.size(); ++i) {
      ASSERT_NEAR(back[i], before[i], 4e-5F);  // two roundings of values up to 200
    }
    ASSERT_EQ(transform_of(mol), t);
    Rotation m;
    float translation[3];
    ASSERT_EQ(nx_get_molecule_transform_matrix(m.data(), translation, mol), 1);
    ASSERT_TRUE(((m.cast<long double>() - turn_of(t.data())).array().abs() < 1e-7L).all());
    ASSERT_TRUE(std::equal(translation, translation + 3, t.begin() + 4));
  }
}

// Components of any size or zero: angles from almost 0 to about a half turn, around any axis.
TEST(Transforms, SettingAMatrixAndGettingItGivesItBack) {
  std::mt19937 random(11);
  std::normal_distribution<float> normal;
  const int mol = nx_make_molecule();
  const float moved[] = {1, 2, 3};
  for (int round = 0; round < 5000; ++round) {
    float quaternion[4];
    for (float& component : quaternion) {
      component = random() % 4 == 0 ? 0 : std::ldexp(normal(random), -static_cast<int>(random() % 40));
    }
    quaternion[random() % 4] = 1;
    const Rotation in = turn_of(quaternion).cast<float>();
    ASSERT_EQ(nx_set_molecule_transform_matrix(in.data(), moved, mol), 1);
    Rotation out;
    float translation[3];
    ASSERT_EQ(nx_get_molecule_transform_matrix(out.data(), translation, mol), 1);
    ASSERT_TRUE(((out - in).array().abs() < 4e-7F).all()) << "round " << round;
    ASSERT_EQ(translation[2], 3.0F);
    const Transform t = transform_of(mol);
    ASSERT_FALSE(std::signbit(t[0]));
    ASSERT_NEAR(std::hypot(std::hypot(t[0], t[1]), std::hypot(t[2], t[3])), 1.0, 2e-7);
  }
}

TEST(Transforms, MissingPartsOfAMatrixAreTheIdentity) {
  const int mol = nx_make_molecule();
  const float moved[] = {1, 2, 3};
  const float half_turn[] = {-1, 0, 0, 0, 1, 0, 0, 0, -1};
  EXPECT_EQ(nx_set_molecule_transform_matrix(nullptr, moved, mol), 1);
  EXPECT_EQ(transform_of(mol), (Transform{1, 0, 0, 0, 1, 2, 3}));
  EXPECT_EQ(nx_set_molecule_transform_matrix(half_turn, nullptr, mol), 1);
  EXPECT_EQ(transform_of(mol), (Transform{0, 0, 1, 0, 0, 0, 0}));
  for (const float bad : {kInfinity, -kInfinity, kNaN}) {
    const float rotation[] = {1, 0, 0, 0, 1, 0, bad, 0, 1};
    EXPECT_EQ(nx_set_molecule_transform_matrix(rotation, moved, mol), 0);
  }
  const float nothing[9] = {};
  EXPECT_EQ(transform_of(mol), (Transform{0, 0, 1, 0, 0, 0, 0}));
  EXPECT_EQ(nx_set_molecule_transform_matrix(nothing, nullptr, mol), 1);  // no rotation, but no fault either
  EXPECT_EQ(nx_set_molecule_transform_matrix(nullptr, nullptr, mol), 1);
  EXPECT_EQ(transform_of(mol), (Transform{1, 0, 0, 0, 0, 0, 0}));
}

TEST(Transforms, NormaliseAnyLengthThatIsNotZero) {
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(1, mol);
  const std::vector<float> place = {1.5F, -2, 3};
  nx_set_molecule_coordinates(place.data(), mol);
  const float tiny = std::numeric_limits<float>::denorm_min();
  const float huge = std::numeric_limits<float>::max();
  for (const float length : {2.0F, -1.0F, tiny, huge}) {
    // A third of a turn takes x to z. The transposed rotation would take it to y.
    nx_set_molecule_transform((Transform{length, length, length, length, 1, 0, 0}).data(), mol);
    EXPECT_EQ(nx_transform_molecule(mol), 1);
    EXPECT_EQ(coordinates_of(mol), (std::vector<float>{-1, 3, 1.5F}));
    EXPECT_EQ(nx_untransform_molecule(mol), 1);
    EXPECT_EQ(coordinates_of(mol), place);
  }
}

TEST(Transforms, ThatCannotBeUsedMoveNothing) {
  Molecule molecule(3);
  const int mol = molecule.mol;
  const std::vector<float> before = molecule.all();
  float m[9] = {-99};
  float moved[3] = {-99};
  Transform t{};
  const auto moves = {nx_transform_molecule, nx_untransform_molecule};
  EXPECT_EQ(nx_set_molecule_transform(nullptr, mol), 0);
  EXPECT_EQ(nx_is_molecule_transform_set(mol), 0);
  EXPECT_EQ(nx_get_molecule_transform(t.data(), mol), 0);
  EXPECT_EQ(nx_get_molecule_transform_matrix(m, moved, mol), 0);
  for (const auto move : moves) {
    EXPECT_EQ(warned(0, [&] { return move(mol); }), "");
  }

  nx_set_molecule_transform((Transform{0, -0.0F, 0, 0, 1, 2, 3}).data(), mol);
  EXPECT_EQ(nx_is_molecule_transform_set(mol), 1);
  EXPECT_EQ(nx_get_molecule_transform(nullptr, mol), 0);
  EXPECT_EQ(nx_get_molecule_transform_matrix(nullptr, nullptr, mol), 0);
  for (const auto move : moves) {
    EXPECT_EQ(warned(0, [&] { return move(mol); }), kZeroWarning);
  }
  EXPECT_EQ(warned(0, [&] { return nx_get_molecule_transform_matrix(m, moved, mol); }), kZeroWarning);
  EXPECT_EQ(m[0], -99.0F);
  EXPECT_EQ(moved[0], -99.0F);
  EXPECT_EQ(nx_get_molecule_transform_matrix(nullptr, moved, mol), 1);  // needs no quaternion
  EXPECT_EQ(moved[2], 3.0F);

  for (const float bad : {kInfinity, -kInfinity, kNaN}) {
    for (std::size_t i = 0; i < 7; ++i) {
      Transform broken = {1, 0, 0, 0, 1, 2, 3};
      broken[i] = bad;
      nx_set_molecule_transform(broken.data(), mol);
      EXPECT_TRUE(nx_transform_molecule(mol) == 0 && nx_untransform_molecule(mol) == 0);
      EXPECT_EQ(nx_get_molecule_transform_matrix(m, nullptr, mol), i < 4 ? 0 : 1);
    }
  }

  const int tag = NxSystem::NxGetTag("NxBrioMolTransform");
  molecule.toolkit().SetData(tag, 5.0F);  // one value is no transform
  EXPECT_EQ(nx_get_molecule_transform(t.data(), mol), 0);
  EXPECT_EQ(nx_transform_molecule(mol), 0);
  EXPECT_EQ(molecule.all(), before);
}

TEST(Transforms, OfAHandleWithoutConformersMoveWhatItShows) {
  NxChem::NxMol object;
  object.NewAtom(6);
  object.NewConf();
  const int mol = NxBrioChem::NxAcquireHandle(static_cast<const NxChem::NxMolBase&>(object));
  nx_set_molecule_transform((Transform{1, 0, 0, 0, 0, 0, 2}).data(), mol);
  EXPECT_EQ(nx_transform_molecule(mol), 1);
  EXPECT_EQ(coordinates_of(mol), (std::vector<float>{0, 0, 2}));
  float other[3];
  object.GetConf(1)->GetCoords(other);
  EXPECT_EQ(other[2], 0.0F);

  NxChem::NxMCMolBase none;
  none.NewAtom(6);
  const int bare = NxBrioChem::NxAcquireHandle(none);
  nx_set_molecule_transform_matrix(nullptr, nullptr, bare);
  EXPECT_EQ(nx_transform_molecule(bare), 1);  // no conformer, nothing to move
  EXPECT_EQ(nx_transform_molecule(nx_make_molecule()), 0);
}

}  // namespace
