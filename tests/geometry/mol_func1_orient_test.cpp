#include <gtest/gtest.h>
#include <nxbriochem/geometry/mol_func1.h>
#include <nxbriochem/molecules/briochem.h>
#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/error.h>
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/object_memory.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/support/flat_molecule.h"
#include "tests/support/frames.h"
#include "tests/support/printed.h"
#include "tests/support/use_up_memory.h"

namespace {

using namespace test_support;
using Random = std::mt19937;

constexpr char kAllHydrogen[] = "all atoms hydrogen in orient_by_m_i!\n";
constexpr char kAllHydrogenOrZero[] = "all atoms hydrogen and/or zero radii in orient_by_m_i!\n";

struct Atom {
  std::string name;
  std::array<float, 3> at;
  float radius;
};
using Atoms = std::vector<Atom>;

int molecule_of(const Atoms& atoms) {
  std::vector<FlatAtom> flat;
  std::vector<float> radii;
  for (const Atom& atom : atoms) {
    flat.push_back({atom.name, "", atom.at[0], atom.at[1], atom.at[2], 0});
    radii.push_back(atom.radius);
  }
  const int mol = make_molecule(flat);
  nx_set_molecule_radii(radii.data(), mol);
  return mol;
}

// Which atoms take part by the documented rules, and how many warnings of each kind are expected.
struct Expected {
  std::vector<bool> in;
  int warnings_of_hydrogen = 0;
  int warnings_of_radii = 0;
  bool weighted = false;

  Expected(const Atoms& atoms, bool without_hydrogens, bool weight, bool use_radii) {
    const bool named = std::any_of(atoms.begin(), atoms.end(), [](const Atom& a) { return !a.name.empty(); });
    const bool has_radii =
        use_radii && std::any_of(atoms.begin(), atoms.end(), [](const Atom& a) { return a.radius != 0; });
    for (const Atom& atom : atoms) {
      in.push_back(!(without_hydrogens && named && !atom.name.empty() && (atom.name[0] == 'H' || atom.name[0] == 'h')));
    }
    warnings_of_hydrogen = fall_back();
    for (std::size_t i = 0; has_radii && i < atoms.size(); ++i) {
      in[i] = in[i] && atoms[i].radius != 0;
    }
    warnings_of_radii = has_radii ? fall_back() : 0;
    weighted = weight && has_radii;
  }

 private:
  int fall_back() {
    if (std::find(in.begin(), in.end(), true) != in.end()) {
      return 0;
    }
    in.assign(in.size(), true);
    return 1;
  }
};

// The centre and the second moments of the atoms that take part, in long double.
struct ExactFrame {
  ExactPoints points;
  Weights weights;
  ExactVector centre;
  ExactMatrix<3> second_moments;
  long double count = 0;

  ExactFrame(const Atoms& atoms, const Expected& expected) {
    std::vector<float> xyz;
    std::vector<long double> w;
    for (std::size_t i = 0; i < atoms.size(); ++i) {
      const long double r = expected.weighted ? atoms[i].radius : 1;
      w.push_back(expected.in[i] ? r * r * r : 0);
      count += expected.in[i] ? 1 : 0;
      xyz.insert(xyz.end(), atoms[i].at.begin(), atoms[i].at.end());
    }
    weights = Weights::Map(w.data(), static_cast<Eigen::Index>(w.size()));
    points = exact(xyz);
    centre = centre_of(points, weights);
    points.colwise() -= centre;
    second_moments = test_support::second_moments_of(points, weights);
  }

  // Descending.
  std::array<double, 3> moments() const {
    const ExactVector squares = exact_eigenvalues(second_moments) / count;
    std::array<double, 3> out{};
    std::transform(squares.begin(), squares.end(), out.rbegin(),
                   [](long double x) { return static_cast<double>(std::sqrt(std::fabs(x))); });
    return out;
  }
};

Atoms random_atoms(Random& random) {
  std::normal_distribution<float> normal;
  const float offset = random() % 4 == 0 ? 1e5F : 10.0F;
  const float tilt = random() % 2 == 0 ? 0.5F : 0.0F;
  const float size[3] = {8, random() % 5 == 0 ? 0.0F : 4.0F, random() % 4 == 0 ? 0.0F : 2.0F};
  const std::vector<std::string> names = random() % 6 == 0
                                             ? std::vector<std::string>{"H1", "hb"}
                                             : std::vector<std::string>{"C", "HA", "N", "hx", "1H", "O", "CH"};
  const bool named = random() % 6 != 0;
  const auto kind_of_radii = random() % 4;
  Atoms atoms(1 + random() % 12);
  for (Atom& atom : atoms) {
    atom.name = named ? names[random() % names.size()] : "";
    for (std::size_t k = 0; k < 3; ++k) {
      atom.at[(k + 2) % 3] = size[k] * normal(random) + offset;
    }
    atom.at[0] += tilt * (atom.at[2] - offset);
    const bool hydrogen = named && (atom.name[0] & 223) == 'H';
    atom.radius = kind_of_radii == 0                        ? 0.0F
                  : kind_of_radii == 1                      ? (hydrogen ? 1.0F : 0.0F)
                  : kind_of_radii == 2 && random() % 3 == 0 ? 0.0F
                                                            : 1.0F + static_cast<float>(random() % 8) / 8;
  }
  return atoms;
}

// Checks an oriented molecule: centre at the origin, axes in descending order of extent.
void expect_oriented(const Atoms& atoms, const Expected& expected, const std::array<double, 3>& moments, double loose) {
  const ExactFrame frame(atoms, expected);
  const ExactMatrix<3> s = frame.second_moments / frame.count;
  for (int k = 0; k < 3; ++k) {
    EXPECT_NEAR(static_cast<double>(frame.centre[k]), 0, loose);
    EXPECT_NEAR(static_cast<double>(std::sqrt(s(k, k))), moments[static_cast<std::size_t>(k)], 2e-3 + loose);
    // make_rmat takes the diagonal elements for the eigenvalues when they differ by up to 1e-6.
    EXPECT_NEAR(static_cast<double>(s(k, (k + 1) % 3)), 0, 1e-3 * (1 + moments[0]) + 10 * loose);
  }
}

Atoms with_coordinates(Atoms atoms, const std::vector<float>& xyz) {
  for (std::size_t i = 0; i < atoms.size(); ++i) {
    std::copy_n(xyz.begin() + static_cast<std::ptrdiff_t>(3 * i), 3, atoms[i].at.begin());
  }
  return atoms;
}

// Volumes and handedness are unchanged, to the rounding of coordinates of this size.
void expect_rigid(const std::vector<float>& before, const std::vector<float>& after, double loose) {
  for (std::size_t at = 0; at + 12 <= before.size(); at += 3) {
    const auto volume = [at](const std::vector<float>& xyz) {
      std::array<float, 9> edges{};
      for (std::size_t k = 0; k < 9; ++k) {
        edges[k] = xyz[at + 3 + k] - xyz[at + k % 3];
      }
      return determinant(edges.data());
    };
    EXPECT_NEAR(volume(after), volume(before), 1e-2 + 1e3 * loose);
  }
}

// The stored translation is -R c with the stored rotation R, to the last digit. A translation computed from another
// rounding of R would fail.
void expect_translation_of_kept_rotation(int mol, const ExactVector& centre) {
  Eigen::Matrix3f transposed;
  Eigen::Vector3f t;
  nx_get_molecule_transform_matrix(transposed.data(), t.data(), mol);
  const Eigen::Vector3d turned = (transposed.transpose().cast<long double>() * centre).cast<double>();
  for (int k = 0; k < 3; ++k) {
    EXPECT_NEAR(t[k], -turned[k], 6e-8 * std::fabs(turned[k]) + 1e-9);
  }
}

struct Books {
  int blocks = nx_total_number_of_active_pointers();
  uint32_t bytes = nxi_total_object_memory_allocated();
  bool operator==(const Books&) const = default;
};

int said(const char* text) { return nx_number_of_warnings() == 0 ? 0 : nx_number_of_warnings_with_tag(text); }

}  // namespace

// Every selector against the rules, on molecules with and without names, radii, hydrogens and extent.
TEST(OrientBase, FollowsItsSelectorOnRandomMolecules) {
  struct Row {
    int flag;
    char action;
    bool without_hydrogens;
    bool weighted;
  };
  constexpr Row kRows[] = {{0, 'o', false, false},      {1, 'o', true, false},  {2, 'm', false, false},
                           {3, 'm', true, false},       {4, 'r', false, false}, {5, 'r', true, false},
                           {6, 'o', false, true},       {7, 'o', true, true},   {8, 'm', false, true},
                           {9, 'm', true, true},        {10, 'm', true, true},  {INT_MAX, 'm', true, true},
                           {INT_MIN, 'o', true, false}, {0, '2', false, false}, {-5, '2', true, false}};
  nxi_warn("the queue has its room from here on");
  Random random(31);
  for (int round = 0; round < 6000; ++round) {
    const Atoms atoms = random_atoms(random);
    const int mol = molecule_of(atoms);
    const std::vector<float> before = coordinates_of(mol);
    const Row row = kRows[random() % std::size(kRows)];
    const bool is_older = row.action == '2';  // nx_orient_m_i_base2, which knows no radii
    const Expected expected(atoms, row.without_hydrogens, row.weighted, !is_older);
    const ExactFrame frame(atoms, expected);
    const double loose = std::fabs(static_cast<double>(before[0])) > 1e4 ? 0.02 : 2e-5;
    const int hydrogen_warnings = said(kAllHydrogen);
    const int radius_warnings = said(kAllHydrogenOrZero);
    const Books books;
    std::array<float, 9> out;
    out.fill(7);
    if (is_older) {
      ASSERT_EQ(nx_orient_m_i_base2(mol, row.flag), 1);
    } else {
      ASSERT_EQ(nx_orient_m_i_base(mol, row.flag, out.data()), row.action == 'r' ? 2 : 1);
    }
    EXPECT_EQ(books, Books());
    EXPECT_EQ(said(kAllHydrogen), hydrogen_warnings + expected.warnings_of_hydrogen);
    EXPECT_EQ(said(kAllHydrogenOrZero), radius_warnings + expected.warnings_of_radii);
    const std::array<double, 3> moments = frame.moments();
    const std::vector<float> after = coordinates_of(mol);
    EXPECT_FALSE(has_negative_zero(after));
    EXPECT_EQ(nx_is_molecule_transform_set(mol), row.action == 'o' ? 1 : 0);
    if (row.action == 'o' || is_older) {
      expect_rigid(before, after, loose);
      expect_oriented(with_coordinates(atoms, after), expected, moments, loose);
    } else {
      EXPECT_EQ(after, before);
      EXPECT_EQ(out[3] == 7, row.action == 'm');
    }
    if (row.action == 'o') {
      expect_translation_of_kept_rotation(mol, frame.centre);
      EXPECT_EQ(nx_untransform_molecule(mol), 1);
      const std::vector<float> back = coordinates_of(mol);
      EXPECT_EQ(nx_transform_molecule(mol), 1);
      const std::vector<float> again = coordinates_of(mol);
      for (std::size_t i = 0; i < before.size(); ++i) {
        EXPECT_NEAR(back[i], before[i], loose);
        EXPECT_NEAR(again[i], after[i], loose);
      }
    }
    for (std::size_t k = 0; k < 3 && row.action == 'm'; ++k) {
      EXPECT_NEAR(out[k], moments[k], 5e-4 * (1 + moments[0]));
      EXPECT_LE(out[k], out[k == 0 ? 0 : k - 1]);
    }
    if (row.action == 'r') {
      EXPECT_NEAR(determinant(out.data()), 1, 1e-5);
      nx_orient_m_i_base(mol, row.flag - 4, nullptr);
      std::array<float, 9> kept{};
      nx_get_molecule_transform_matrix(kept.data(), nullptr, mol);
      for (std::size_t k = 0; k < 9; ++k) {
        EXPECT_NEAR(kept[k], out[k], 1e-6);
      }
    }
    nx_delete_molecule(mol);
    ASSERT_FALSE(HasFailure()) << "round " << round << ", flag " << row.flag << ", " << atoms.size() << " atoms";
  }
}

// With so many atoms, sums in double would give other moments than the float sums that programs rely on.
TEST(Moments, ComeFromSumsInSinglePrecision) {
  Random random(35);
  std::normal_distribution<float> normal;
  Atoms atoms(50000);
  for (Atom& atom : atoms) {
    atom = {"C", {20 * normal(random) + 5, 12 * normal(random), 9 * normal(random)}, random() % 2 == 0 ? 1.0F : 1.5F};
  }
  const int mol = molecule_of(atoms);
  for (const bool weighted : {false, true}) {
    ExactFrame frame(atoms, Expected(atoms, false, weighted, true));
    const double of_wide_sums = frame.moments()[0];
    Eigen::Matrix3f sums = Eigen::Matrix3f::Zero();
    for (int i = 0; i < frame.points.cols(); ++i) {
      const ExactVector d = frame.points.col(i);
      sums = (sums.cast<long double>() + frame.weights[i] * d * d.transpose()).cast<float>();
    }
    frame.second_moments = sums.cast<long double>();
    const std::array<double, 3> expected = frame.moments();
    std::array<float, 3> out{};
    EXPECT_EQ(nx_orient_m_i_base(mol, weighted ? 8 : 2, out.data()), 1);
    for (std::size_t k = 0; k < 3; ++k) {
      EXPECT_NEAR(out[k] / expected[k], 1, 2e-7);
    }
    EXPECT_GT(std::fabs(out[0] / of_wide_sums - 1), 2e-6);
  }
}

TEST(OrientWrappers, PassTheirSelectors) {
  const Atoms atoms = {{"C", {1, 2, 3}, 1.7F},   {"HA", {4, -1, 0}, 1.2F}, {"N", {0, 5, 1}, 1.5F},
                       {"HB", {2, 2, -6}, 1.1F}, {"O", {-3, 0, 2}, 1.4F},  {"S", {1, -4, 4}, 0}};
  using Call = int (*)(int, float*);
  const std::pair<Call, int> calls[] = {
      {[](int mol, float*) { return nx_orient_by_moments_of_inertia_with_hydrogens(mol); }, 0},
      {[](int mol, float*) { return nx_orient_by_moments_of_inertia(mol); }, 1},
      {nx_moments_of_inertia_with_hydrogens, 2},
      {nx_moments_of_inertia, 3},
      {nx_inertial_matrix_with_hydrogens, 4},
      {nx_inertial_matrix, 5},
      {[](int mol, float*) { return nx_orient_by_moments_of_inertia_with_hydrogens_mass_weighted(mol); }, 6},
      {[](int mol, float*) { return nx_orient_by_moments_of_inertia_mass_weighted(mol); }, 7},
      {nx_moments_of_inertia_mass_weighted, 9},
      {nx_moments_of_inertia_with_hydrogens_mass_weighted, 10}};
  for (const auto& [call, flag] : calls) {
    const int by_name = molecule_of(atoms);
    const int by_flag = molecule_of(atoms);
    std::array<float, 9> out{};
    std::array<float, 9> expected{};
    EXPECT_EQ(call(by_name, out.data()), nx_orient_m_i_base(by_flag, flag, expected.data()));
    EXPECT_EQ(out, expected) << flag;
    EXPECT_EQ(coordinates_of(by_name), coordinates_of(by_flag)) << flag;
  }
  // The moments functions always return 1.
  const int mol = molecule_of(atoms);
  EXPECT_EQ(nx_orient_m_i_base(mol, 3, nullptr), 0);
  EXPECT_EQ(nx_moments_of_inertia(mol, nullptr), 1);
  EXPECT_EQ(nx_inertial_matrix(mol, nullptr), 0);
}

TEST(Orient, PassesOverDeletedAtomsAndRefusesWhatIsNotFinite) {
  const Atoms atoms = {{"C", {90, 90, 90}, 1}, {"C", {70, 0, 0}, 1}, {"C", {1, 0, 3}, 1},
                       {"N", {1, 0, 7}, 2},    {"O", {1, 0, 9}, 1},  {"H", {1, 0, 19}, 1}};
  const int mol = molecule_of(atoms);
  nx_set_molecule_atom_number(4, mol);
  std::array<float, 9> out{};
  EXPECT_EQ(nx_moments_of_inertia(mol, out.data()), 1);
  EXPECT_NEAR(out[0], std::sqrt((100 + 4 + 64) / 27.0), 1e-5);  // places 3, 7 and 9 about 19/3
  EXPECT_EQ(out[1], 0);
  EXPECT_EQ(nx_orient_by_moments_of_inertia(mol), 1);
  const std::vector<float> xyz = coordinates_of(mol);
  EXPECT_NEAR(std::fabs(xyz[15]), 19 - 19 / 3.0, 1e-5);  // along x now
  EXPECT_EQ(xyz[17], 0);

  const int centred = molecule_of({{"C", {0, -2, 0}, 1}, {"C", {0, 2, 0}, 1}});
  EXPECT_EQ(nx_orient_by_moments_of_inertia(centred), 1);
  std::vector<float> translation(3, 7.0F);
  nx_get_molecule_transform_matrix(nullptr, translation.data(), centred);
  EXPECT_EQ(translation, std::vector<float>(3));
  EXPECT_FALSE(has_negative_zero(translation));

  const int broken = molecule_of(atoms);
  nx_set_molecule_coordinates_element(std::numeric_limits<float>::quiet_NaN(), 4, broken);
  EXPECT_EQ(nx_orient_by_moments_of_inertia(broken), 0);
  EXPECT_EQ(nx_orient_m_i_base2(broken, 0), 0);
  EXPECT_EQ(nx_inertial_matrix(broken, out.data()), 0);
  EXPECT_EQ(out[1], 0);
  EXPECT_EQ(nx_moments_of_inertia(broken, out.data()), 1);
  EXPECT_TRUE(std::isnan(out[0]));
  EXPECT_EQ(nx_is_molecule_transform_set(broken), 0);
}

TEST(OrientDeathTest, EndsWithoutAtoms) {
  expect_exit(objects::kNoAtoms, "^no atoms\n$", [] { nx_moments_of_inertia(nx_make_molecule(), nullptr); });
  expect_exit(objects::kNoAtoms, "^no atoms\n$", [] { nx_orient_m_i_base2(nx_make_molecule(), 0); });
}

#if !defined(NXBRIOCHEM_UNDER_SANITIZER)

TEST(OrientDeathTest, WithoutMemoryNothingChanges) {
  const int mol = molecule_of({{"C", {1, 2, 3}, 1}, {"N", {5, 7, 4}, 2}, {"O", {0, 1, 9}, 1}, {"H", {0, 4, 1}, 1}});
  nx_set_molecule_atom_number(3, mol);  // points that lie side by side would be superposed where they are
  const std::vector<float> before = coordinates_of(mol);
  std::vector<float> after(before.size());
  std::vector<float> out(12, 7.0F);
  const std::vector<float> untouched = out;
  EXPECT_EQ(nx_is_molecule_transform_set(mol), 0);
  const auto keep_all = [&] {
    use_up_memory();
    int results = nx_orient_by_moments_of_inertia(mol) + nx_orient_m_i_base2(mol, 0) +
                  nx_inertial_matrix(mol, out.data()) + nx_perceive_top_symmetry(mol, 1);
    for (int mode = 0; mode < 6; ++mode) {
      results += nx_rms_base(mol, mol, mode, out.data());
    }
    const bool kept = out == untouched;
    nx_get_molecule_coordinates(after.data(), mol);
    const bool done = nx_moments_of_inertia(mol, out.data()) == 1 && nx_orient_m_i_base(mol, 8, out.data() + 3) == 1;
    const bool no_numbers = std::all_of(out.begin(), out.begin() + 6, [](float x) { return std::isnan(x); });
    const bool all = kept && done && no_numbers && after == before && nx_is_molecule_transform_set(mol) == 0;
    std::exit(all ? results : -1);
  };
  EXPECT_EXIT(keep_all(), testing::ExitedWithCode(0), "");
}

#endif

TEST(OrientCoordinates, MovesAllIntoTheFrameOfTheFirst) {
  Random random(34);
  std::normal_distribution<float> normal;
  for (int round = 0; round < 1000; ++round) {
    Atoms atoms(4 + random() % 6);
    std::vector<float> points;
    for (Atom& atom : atoms) {
      atom.at = {6 * normal(random) + 30, 2 * normal(random), 3 * normal(random) - 9};
      points.insert(points.end(), atom.at.begin(), atom.at.end());
    }
    const std::vector<float> before = points;
    const int m = static_cast<int>(random() % 3);
    const int n = static_cast<int>(atoms.size()) - m;
    Expected expected(atoms, false, false, false);
    std::fill_n(expected.in.begin() + n, m, false);
    ASSERT_EQ(nx_orient_coordinates_to_inertial_frame(points.data(), n, m), 1);
    expect_rigid(before, points, 2e-5);
    expect_oriented(with_coordinates(atoms, points), expected, ExactFrame(atoms, expected).moments(), 2e-5);
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
  // In the plane: a cross on its side, and a fifth point that only follows.
  float cross[] = {5, 9, 5, 1, 4, 5, 6, 5, 7, 8};
  EXPECT_EQ(nx_orient_2d_coordinates_to_inertial_frame(cross, 4, 1), 1);
  const float sign = cross[0] > 0 ? 1.0F : -1.0F;
  for (std::size_t i = 0; i < 10; ++i) {
    constexpr float kOriented[] = {4, 0, -4, 0, 0, 1, 0, -1, 3, -2};
    EXPECT_FLOAT_EQ(cross[i], sign * kOriented[i]) << i;
  }
  float line[] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(nx_orient_coordinates_to_inertial_frame(line, 0, 2), 0);
  EXPECT_EQ(nx_orient_coordinates_to_inertial_frame(nullptr, 1, 0), 0);
  EXPECT_EQ(nx_orient_2d_coordinates_to_inertial_frame(line, -1, 2), 0);
  EXPECT_EQ(line[0], 1);
  EXPECT_EQ(nx_orient_coordinates_to_inertial_frame(line, 1, -5), 1);
  EXPECT_EQ(line[0], 0);
  EXPECT_EQ(line[3], 4);
}

TEST(TopSymmetry, ComparesMomentsByTheTolerance) {
  const auto symmetry = [](const std::vector<std::array<float, 3>>& points, float tolerance) {
    Atoms atoms;
    for (const auto& at : points) {
      atoms.push_back({"C", at, 2});
    }
    const int mol = molecule_of(atoms);
    EXPECT_EQ(nx_perceive_top_symmetry(mol, tolerance), nx_perceive_top_symmetry_mass_weighted(mol, tolerance));
    return nx_perceive_top_symmetry(mol, tolerance);
  };
  const auto cross = [&](float x, float y, float z, float tolerance) {
    return symmetry({{x, 0, 0}, {-x, 0, 0}, {0, y, 0}, {0, -y, 0}, {0, 0, z}, {0, 0, -z}}, tolerance);
  };
  const std::vector<std::array<float, 3>> tetrahedron = {{1, 1, 1}, {1, -1, -1}, {-1, 1, -1}, {-1, -1, 1}};
  EXPECT_EQ(symmetry(tetrahedron, 1e-30F), 3);
  EXPECT_EQ(symmetry(tetrahedron, 0), 0);
  EXPECT_EQ(cross(3, 3, 1, 0.01F), 1);
  EXPECT_EQ(cross(3, 3, 0, 0.01F), 1);
  EXPECT_EQ(cross(3, 1, 1, 0.01F), 2);
  EXPECT_EQ(cross(4, 3, 2, 0.24F), 0);
  EXPECT_EQ(cross(4, 3, 2, 0.26F), 1);
  EXPECT_EQ(cross(4, 2, 1.5F, 0.26F), 2);
  EXPECT_EQ(cross(4, 3, 2, 0.6F), 3);
  EXPECT_EQ(symmetry({{0, 0, 1}, {0, 0, 2}}, 2), 0);
}
