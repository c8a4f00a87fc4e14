// Poses: the places of atoms, and the distances of poses from one another.
#include <nxbriochem/nxbriochem.h>

#include <algorithm>
#include <numeric>

#include "tests/dock/random_sides.h"

namespace {

using namespace dock_tests;
using Pose = std::array<double, NXD_POSE>;

Pose random_pose(Random& random) {
  Pose pose{};
  for (double& number : pose) {
    number = random.real(3.0);
  }
  return pose;
}

double rms_of(const std::vector<double>& a, const std::vector<double>& b) {
  double square = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    square += (a[i] - b[i]) * (a[i] - b[i]);
  }
  return std::sqrt(square / (static_cast<double>(a.size()) / 3));
}

std::vector<double> places(const Pose& pose, int energy) {
  std::vector<double> coordinates(3 * static_cast<std::size_t>(nxd_get_ligand_atom_number(energy)));
  EXPECT_EQ(nxd_get_ligand_coordinates(pose.data(), coordinates.data(), energy), 1);
  return coordinates;
}

// A pose used as the molecule's transform places atoms alike. It can be read back from the transform and from its
// matrix.
TEST(DockPose, IsTheMoleculesTransform) {
  Random random(6);
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(5, mol);
  for (int round = 0; round < 50; ++round) {
    std::vector<float> coordinates(15);
    for (float& number : coordinates) {
      number = static_cast<float>(random.real(20));
    }
    nx_set_molecule_coordinates(coordinates.data(), mol);
    nx_set_molecule_element("CCCCC", mol);
    const int energy = nxd_make_energy();
    ASSERT_EQ(nxd_set_ligand(mol, energy), 1);
    const Pose pose = random_pose(random);
    ASSERT_EQ(nxd_set_molecule_pose(pose.data(), mol), 1);
    ASSERT_EQ(nx_transform_molecule(mol), 1);
    nx_get_molecule_coordinates(coordinates.data(), mol);
    const std::vector<double> at = places(pose, energy);
    for (std::size_t i = 0; i < at.size(); ++i) {
      EXPECT_NEAR(at[i], static_cast<double>(coordinates[i]), 1e-5);
    }
    // The converted pose must be the same place: through the molecule, the base pose and the matrix.
    Pose back{};
    ASSERT_EQ(nxd_get_molecule_pose(back.data(), mol), 1);
    EXPECT_LT(rms_of(at, places(back, energy)), 1e-5);
    ASSERT_EQ(nxd_set_base_pose(pose.data(), energy), 1);
    ASSERT_EQ(nxd_get_base_pose(back.data(), energy), 1);
    EXPECT_LT(rms_of(at, places(back, energy)), 1e-12);
    EXPECT_NEAR(std::hypot(std::hypot(back[0], back[1]), std::hypot(back[2], back[3])), 1.0, 1e-15);
    double rotation[9];
    double translation[3];
    ASSERT_EQ(nxd_get_pose_matrix(pose.data(), rotation, translation), 1);
    ASSERT_EQ(nxd_make_pose(rotation, translation, back.data()), 1);
    EXPECT_LT(rms_of(at, places(back, energy)), 1e-12);
    std::swap_ranges(rotation, rotation + 3, rotation + 3);
    EXPECT_EQ(nxd_make_pose(rotation, translation, back.data()), 0);
    // The distance of two poses must be that of the atoms' positions.
    const Pose other = random_pose(random);
    double rms = 0;
    ASSERT_EQ(nxd_get_pose_rms(pose.data(), other.data(), &rms, energy), 1);
    EXPECT_NEAR(rms, rms_of(at, places(other, energy)), 1e-12);
    ASSERT_EQ(nxd_get_pose_rms(pose.data(), pose.data(), &rms, energy), 1);
    EXPECT_NEAR(rms, 0.0, 1e-12);
    nxd_delete_energy(energy);
  }
  nx_delete_molecule(mol);
}

// Compared with the documented rule, applied to the atoms' positions.
TEST(DockPose, ClustersBeginAtTheLowest) {
  Random random(9);
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    const Side side = random.side(4, 2.0);
    const int energy = energy_of(side, side);
    const int n = random.below(40);
    const auto count = static_cast<std::size_t>(n);
    const bool with_energies = round % 4 != 0;
    std::vector<double> poses;
    std::vector<double> energies;
    std::vector<std::vector<double>> at;
    for (int i = 0; i < n; ++i) {
      Pose pose{1, random.real(1), random.real(1), random.real(1), random.real(1), random.real(1), random.real(1)};
      poses.insert(poses.end(), pose.begin(), pose.end());
      energies.push_back(random.below(10) == 0 ? std::nan("") : random.below(6));
      at.push_back(places(pose, energy));
    }
    std::vector<std::size_t> order(count);
    std::iota(order.begin(), order.end(), std::size_t{0});
    if (with_energies) {
      std::erase_if(order, [&](std::size_t i) { return std::isnan(energies[i]); });
      std::ranges::stable_sort(order, {}, [&](std::size_t i) { return energies[i]; });
    }
    const double cutoff = 1.0 + random.real(1.0);
    std::vector<int> expected(count, -1);
    std::vector<int> begun_by;
    for (const std::size_t i : order) {
      std::size_t cluster = 0;
      while (cluster < begun_by.size() && rms_of(at[static_cast<std::size_t>(begun_by[cluster])], at[i]) > cutoff) {
        ++cluster;
      }
      if (cluster == begun_by.size()) {
        begun_by.push_back(static_cast<int>(i));
      }
      expected[i] = static_cast<int>(cluster);
    }
    std::vector<int> clusters(count, 77);
    std::vector<int> leaders(count, 77);
    const int found = nxd_cluster_poses(poses.data(), with_energies ? energies.data() : nullptr, n, cutoff,
                                        clusters.data(), leaders.data(), energy);
    ASSERT_EQ(found, static_cast<int>(begun_by.size()));
    EXPECT_EQ(clusters, expected);
    leaders.resize(begun_by.size());
    EXPECT_EQ(leaders, begun_by);
    nxd_delete_energy(energy);
  }
}

}  // namespace
