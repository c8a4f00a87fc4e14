#include <gtest/gtest.h>
#include <nxbriochem/geometry/instruction_set_internal.h>
#include <nxbriochem/geometry/mol_func1.h>
#include <nxbriochem/geometry/superposition_internal.h>
#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/object_memory.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/support/flat_molecule.h"
#include "tests/support/frames.h"
#include "tests/support/use_up_memory.h"

namespace {

using instruction_set::InstructionSet;
using Points = std::vector<float>;
using Random = std::mt19937;
using namespace test_support;

constexpr double kTolerance = 2e-6;

int count(const Points& points) { return static_cast<int>(points.size() / 3); }

float rms_of(const Points& a, const Points& b) {
  float rms = -1;
  EXPECT_EQ(nx_rms_between_points(a.data(), b.data(), count(a), &rms), 1);
  return rms;
}

double normal(Random& random) { return std::normal_distribution<double>()(random); }

Eigen::Matrix3d random_rotation(Random& random) {
  return Eigen::Quaterniond{normal(random), normal(random), normal(random), normal(random)}.normalized().matrix();
}

// Turns the points, then shifts them; in double, rounded at the end.
Points moved(const Points& points, const Eigen::Matrix3d& r, double shift) {
  Points out(points.size());
  Eigen::Matrix3Xf::Map(out.data(), 3, count(points)) =
      (r.lazyProduct(Eigen::Matrix3Xf::Map(points.data(), 3, count(points)).cast<double>()).array() + shift)
          .cast<float>();
  return out;
}

double pick(Random& random, std::initializer_list<double> values) { return values.begin()[random() % values.size()]; }

// A pair of sets of any shape: round, flat, straight or a point, nearly or exactly so, near or far from the origin. The
// second is unrelated to the first, or a turned copy of it, mirrored or not, with noise from none to much.
std::pair<Points, Points> random_pair(Random& random) {
  const auto n = static_cast<std::size_t>(1 + random() % (random() % 8 == 0 ? 40 : 9));
  const double size = pick(random, {1e-3, 1, 3, 8});
  const double thickness[3] = {size, size * pick(random, {0, 1e-7, 1e-4, 1, 1}), size * pick(random, {0, 1e-5, 1, 1})};
  Points shape;
  for (std::size_t i = 0; i < 3 * n; ++i) {
    shape.push_back(static_cast<float>(thickness[i % 3] * normal(random)));
  }
  const bool along_axes = random() % 4 == 0;
  const Eigen::Matrix3d none = Eigen::Matrix3d::Identity();
  Points first = moved(shape, along_axes ? none : random_rotation(random), pick(random, {0, 10, 1e3, 1e5}));
  Points second = first;
  if (random() % 4 == 0) {
    for (float& x : second) {
      x = static_cast<float>(size * normal(random));
    }
  }
  if (random() % 4 == 0) {
    for (std::size_t at = 0; at < second.size(); at += 3) {
      second[at] = -second[at];
    }
  }
  second = moved(second, random() % 4 == 0 ? none : random_rotation(random), pick(random, {0, -50, 1e4}));
  const double noise = pick(random, {0, 0, 1e-6, 1e-3, 0.1, 1}) * size;
  for (float& x : second) {
    x = static_cast<float>(static_cast<double>(x) + noise * normal(random));
  }
  return {first, second};
}

std::array<float, 12> motion_of(int first, int second) {
  std::array<float, 12> motion{};
  EXPECT_EQ(nx_get_superimpose_matrix_using_hydrogens(first, second, motion.data()), 1);
  return motion;
}

// t = c1 - R c2 with the written R, to the last digit and a rounding of the centres.
void expect_translation_of_written_rotation(const std::array<float, 12>& m, const Points& first, const Points& second,
                                            double rounding) {
  const auto transposed = Eigen::Matrix3f::Map(m.data()).cast<long double>();
  const test_support::ExactVector c2 = test_support::centre_of(test_support::exact(second));
  const test_support::ExactVector t = test_support::centre_of(test_support::exact(first)) - transposed.transpose() * c2;
  for (int k = 0; k < 3; ++k) {
    const auto expected = static_cast<double>(t[k]);
    EXPECT_NEAR(m[static_cast<std::size_t>(9 + k)], expected, 6e-8 * std::fabs(expected) + rounding);
  }
}

// The bits of a struct of 16 doubles.
template <class Sums>
std::array<uint64_t, 16> bits(const Sums& sums) {
  return std::bit_cast<std::array<uint64_t, 16>>(sums);
}

int molecule_of(const Points& points, const std::vector<std::string>& names = {}) {
  std::vector<test_support::FlatAtom> atoms;
  for (std::size_t i = 0; i < points.size() / 3; ++i) {
    atoms.push_back({names.empty() ? "" : names[i], "", points[3 * i], points[3 * i + 1], points[3 * i + 2], 0});
  }
  return test_support::make_molecule(atoms);
}

Points chain(int n, unsigned seed) {
  Random random(seed);
  Points points;
  for (int i = 0; i < 3 * n; ++i) {
    points.push_back(static_cast<float>(5 * normal(random)));
  }
  return points;
}

}  // namespace

TEST(RmsBetweenPoints, IsTheLeastOverProperRotationsForEveryShape) {
#if defined(NXBRIOCHEM_UNDER_SANITIZER)
  constexpr int kRounds = 10000;
#else
  constexpr int kRounds = 100000;
#endif
  Random random(41);
  double worst = 0;
  for (int round = 0; round < kRounds; ++round) {
    const auto [first, second] = random_pair(random);
    const double expected = exact_rms(first, second);
    const double off = std::fabs(static_cast<double>(rms_of(first, second)) - expected);
    worst = std::max(worst, off);
    ASSERT_LE(off, kTolerance) << "round " << round << ", " << count(first) << " points, RMS " << expected;
  }
  RecordProperty("worst", std::to_string(worst));
  std::printf("worst difference from long double: %.3g angstrom\n", worst);
}

// Noise near the size at which the deviation is computed from the residuals instead of the sums. Few of the sets above
// have it.
TEST(RmsBetweenPoints, OfManyPointsIsExactHoweverSmall) {
  Random random(46);
  for (int round = 0; round < 300; ++round) {
    const int n = std::array{20, 200, 5000}[random() % 3];
    Points first = chain(n, static_cast<unsigned>(random()));
    const auto size = static_cast<float>(pick(random, {1, 1, 10}));
    const bool at_corners = random() % 2 == 0;  // of a box: equal terms, which round alike
    for (float& x : first) {
      x = size * (at_corners ? std::copysign(5.1F, x) : x);
    }
    Points second = moved(first, random_rotation(random), 30);
    const double noise = std::pow(10.0, std::uniform_real_distribution<double>(-6, -1)(random));
    for (float& x : second) {
      x = static_cast<float>(double{x} + noise * normal(random));
    }
    const double expected = exact_rms(first, second);
    ASSERT_NEAR(rms_of(first, second), expected, 6e-7 + 1e-7 * expected) << n << " points, noise " << noise;
  }
}

TEST(RmsBetweenPoints, VersionsGiveTheSameBits) {
  Random random(42);
  for (int round = 0; round < 3000; ++round) {
    auto [first, second] = random_pair(random);
    if (round % 50 == 0) {
      first[random() % first.size()] = 3e38F;
    }
    const superposition::PointPairs pairs{first.data(), second.data(), count(first)};
    superposition::Fit plain{};
    ASSERT_TRUE(superposition::fit(pairs, InstructionSet::plain, plain));
    const superposition::PairSums sums = superposition::sum_pairs(pairs, InstructionSet::plain);
    for (const InstructionSet set : instruction_set::supported()) {
      const superposition::PairSums others = superposition::sum_pairs(pairs, set);
      EXPECT_EQ(bits(others), bits(sums));
      superposition::Fit fit{};
      ASSERT_TRUE(superposition::fit(pairs, set, fit));
      EXPECT_EQ(bits(fit), bits(plain));
      const superposition::Vector shift = plain.translation();
      const auto residuals = [&](InstructionSet by) {
        return std::bit_cast<uint64_t>(superposition::sum_squared_residuals(pairs, plain.rotation, shift, by));
      };
      ASSERT_EQ(residuals(set), residuals(InstructionSet::plain)) << count(first) << " points";
    }
  }
}

TEST(MinimumPairRms, IsTheSmallestOfAllPairs) {
  Points first;
  Points second;
  double expected = 1e9;
  for (unsigned k = 0; k < 9; ++k) {
    const Points a = chain(6, 10 + k / 3);
    const Points b = chain(6, 20 + k % 3);
    expected = std::min(expected, exact_rms(a, b));
    first.insert(first.end(), a.begin(), a.end());
    second.insert(second.end(), b.begin(), b.end());
  }
  float rms = 0;
  EXPECT_EQ(nx_minimum_pair_rms(first.data(), 9, second.data(), 9, 6, &rms), 1);
  EXPECT_NEAR(rms, expected, kTolerance);
  first[0] = std::numeric_limits<float>::infinity();  // its pairs do not count
  EXPECT_EQ(nx_minimum_pair_rms(first.data(), 9, second.data(), 9, 6, &rms), 1);
  EXPECT_NEAR(rms, expected, kTolerance);
  EXPECT_TRUE(std::isnan(rms_of(first, second)));

  rms = 7;
  EXPECT_EQ(nx_minimum_pair_rms(first.data(), 0, second.data(), 1, 6, &rms), 0);
  EXPECT_EQ(nx_minimum_pair_rms(first.data(), 1, second.data(), -1, 6, &rms), 0);
  EXPECT_EQ(nx_rms_between_points(nullptr, second.data(), 6, &rms), 0);
  EXPECT_EQ(nx_rms_between_points(first.data(), nullptr, 6, &rms), 0);
  EXPECT_EQ(nx_rms_between_points(first.data(), second.data(), 0, &rms), 0);
  EXPECT_EQ(nx_rms_between_points(first.data(), second.data(), 6, nullptr), 0);
  EXPECT_EQ(rms, 7);
}

TEST(Superposition, MovesTheSecondOntoTheFirstByAProperRotation) {
  Random random(43);
  for (int round = 0; round < 2000; ++round) {
    const auto [first, second] = random_pair(random);
    const int mol1 = molecule_of(first);
    const int mol2 = molecule_of(second);
    const std::array<float, 12> m = motion_of(mol1, mol2);
    const auto r = Eigen::Matrix3f::Map(m.data());
    EXPECT_TRUE((r * r.transpose()).isIdentity(1e-6F));
    EXPECT_NEAR(test_support::determinant(m.data()), 1, 1e-6);
    EXPECT_FALSE(test_support::has_negative_zero({m.begin(), m.end()}));

    float rms = 0;
    EXPECT_EQ(nx_superimpose_second_onto_first_with_hydrogens(mol1, mol2, &rms), 1);
    const double expected = exact_rms(first, second);
    EXPECT_NEAR(rms, expected, kTolerance);
    const Points after = coordinates_of(mol2);
    const Points turned = moved(second, r.transpose().cast<double>(), 0);
    double farthest = 1;
    double squares = 0;
    for (std::size_t i = 0; i < first.size(); ++i) {
      farthest = std::max({farthest, std::fabs(double{first[i]}), std::fabs(double{second[i]})});
      squares += std::pow(double{after[i]} - double{first[i]}, 2);
    }
    for (std::size_t i = 0; i < first.size(); ++i) {
      EXPECT_NEAR(turned[i] + m[9 + i % 3], after[i], 1e-6 * farthest);
    }
    EXPECT_FALSE(test_support::has_negative_zero(after));
    expect_translation_of_written_rotation(m, first, second, 1e-14 * farthest);
    // The moved atoms were rounded to single precision.
    EXPECT_NEAR(std::sqrt(squares / count(first)), expected, 1.1e-7 * farthest + kTolerance);
    nx_delete_molecule(mol2);
    nx_delete_molecule(mol1);
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
}

// Scales include some at which powers of the coordinates leave the range of a double.
TEST(Superposition, TurnsAlikeAtEveryScale) {
  const auto fit_of = [](Points first, Points second, int exponent) {
    for (Points* points : {&first, &second}) {
      for (float& x : *points) {
        x = std::ldexp(x, exponent);
      }
    }
    superposition::Fit fit{};
    EXPECT_TRUE(superposition::fit({first.data(), second.data(), count(first)}, instruction_set::best(), fit));
    return fit;
  };
  Random random(47);
  for (int round = 0; round < 100; ++round) {
    const Points first = chain(10, static_cast<unsigned>(random()));
    Points second = moved(first, random_rotation(random), 3);
    for (float& x : second) {
      x += static_cast<float>(normal(random));
    }
    const superposition::Fit expected = fit_of(first, second, 0);
    for (const int exponent : {-110, -60, 30, 60, 120}) {
      const superposition::Fit fit = fit_of(first, second, exponent);
      for (std::size_t k = 0; k < 9; ++k) {
        ASSERT_NEAR(fit.rotation[k], expected.rotation[k], 1e-12) << "2^" << exponent;
      }
      ASSERT_NEAR(std::ldexp(fit.sum_of_squares, -2 * exponent) / expected.sum_of_squares, 1, 1e-12);
    }
  }
}

// The motion is exactly the identity: for every shape, at the origin and far off, also for the same handle twice.
TEST(Superposition, OfIdenticalMoleculesIsNoMotion) {
  const std::array<float, 12> none = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
  Random random(44);
  for (int round = 0; round < 2000; ++round) {
    const Points points = random_pair(random).first;
    const int mol = molecule_of(points);
    const int same = molecule_of(points);
    EXPECT_EQ(motion_of(mol, same), none);
    EXPECT_EQ(motion_of(mol, mol), none);
    float rms = 1;
    EXPECT_EQ(nx_superimpose_second_onto_first(mol, same, &rms), 1);
    EXPECT_EQ(rms, 0.0F);
    EXPECT_EQ(coordinates_of(same), points);
    nx_delete_molecule(same);
    nx_delete_molecule(mol);
    ASSERT_FALSE(HasFailure()) << "round " << round << ", " << count(points) << " points";
  }
}

// Every mode against its rules: hydrogens by the first molecule's names alone, atoms matched in order over the places
// that deleted ones leave, all atoms moved, nothing moved without a fit, memory given back.
TEST(RmsBase, FollowsItsModesOnRandomMolecules) {
  Random random(45);
  const std::string names[] = {"HA", "hb", "C", "1H", "N", "CH"};
  int differing = 0;  // from the deviations of bare points, whose sum stays in double
  for (int round = 0; round < 3000; ++round) {
    const auto n = static_cast<int>(1 + random() % 8);
    const auto kinds = random() % 5 == 0 ? 2U : 6U;
    const bool named = random() % 5 != 0;
    const int mode = static_cast<int>(random() % 6);
    const auto make = [&](bool with_names, std::vector<std::string>& kept, Points& points) {
      const auto deleted = static_cast<std::size_t>(random() % 3);
      points = chain(n + static_cast<int>(deleted), static_cast<unsigned>(random()));
      for (std::size_t i = 0; with_names && i < points.size() / 3; ++i) {
        kept.push_back(names[random() % kinds]);
      }
      const int mol = molecule_of(points, kept);
      nx_set_molecule_atom_number(n, mol);  // deletes from the front
      kept.erase(kept.begin(), kept.begin() + static_cast<std::ptrdiff_t>(with_names ? deleted : 0));
      points.erase(points.begin(), points.begin() + static_cast<std::ptrdiff_t>(3 * deleted));
      return mol;
    };
    std::vector<std::string> first_names;
    std::vector<std::string> second_names;
    Points first;
    Points second;
    const int mol1 = make(named, first_names, first);
    const int mol2 = make(true, second_names, second);
    Points in1;
    Points in2;
    for (std::size_t i = 0; i < first.size(); ++i) {
      if (mode % 2 == 1 || !named || (first_names[i / 3][0] & 223) != 'H') {
        in1.push_back(first[i]);
        in2.push_back(second[i]);
      }
    }
    const int blocks = nx_total_number_of_active_pointers();
    const uint32_t bytes = nxi_total_object_memory_allocated();
    const Points before = coordinates_of(mol2);
    std::array<float, 12> out;
    out.fill(7);
    EXPECT_EQ(nx_rms_base(mol1, mol2, mode, out.data()), mode < 2 || !in1.empty() ? 1 : 0);
    EXPECT_EQ(nx_total_number_of_active_pointers(), blocks);
    EXPECT_EQ(nxi_total_object_memory_allocated(), bytes);
    if (mode < 4) {
      EXPECT_TRUE(in1.empty() ? std::isnan(out[0]) : std::fabs(out[0] - exact_rms(in1, in2)) <= kTolerance);
      EXPECT_EQ(out[1], 7);
      double sum = 0;
      if (mode < 2 && superposition::sum_of_squares({in1.data(), in2.data(), count(in1)}, InstructionSet::plain, sum)) {
        EXPECT_EQ(out[0], static_cast<float>(std::sqrt(double{static_cast<float>(sum)} / count(in1))));
        differing += out[0] != rms_of(in1, in2) ? 1 : 0;
      }
    } else {
      EXPECT_EQ(out[11] == 7, in1.empty());
    }
    const Points after = coordinates_of(mol2);
    EXPECT_EQ(after != before, !in1.empty() && (mode == 2 || mode == 3));
    EXPECT_LE(rms_of({after.end() - std::ptrdiff_t{3} * n, after.end()}, second), 5e-6);
    nx_delete_molecule(mol2);
    nx_delete_molecule(mol1);
    ASSERT_FALSE(HasFailure()) << "round " << round << ", mode " << mode << ", " << n << " atoms";
  }
  EXPECT_GT(differing, 0);
}

TEST(RmsBase, ChecksItsArguments) {
  const int mol = molecule_of(chain(3, 1));
  const int other = molecule_of(chain(4, 1));
  const int empty = nx_make_molecule();
  float rms = 7;
  EXPECT_EQ(nx_get_rms(mol, other, &rms), 0);
  EXPECT_EQ(nx_rms_base(mol, mol, -1, &rms), 0);
  EXPECT_EQ(nx_rms_base(mol, mol, 6, &rms), 0);
  EXPECT_EQ(nx_rms_base(mol, mol, 2, nullptr), 0);
  EXPECT_EQ(rms, 7);
  EXPECT_EQ(nx_get_rms_using_hydrogens(empty, empty, &rms), 1);
  EXPECT_TRUE(std::isnan(rms));
  EXPECT_EXIT(nx_get_rms(mol, -77, &rms), testing::ExitedWithCode(1), "");
}
