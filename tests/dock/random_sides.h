// Random atoms, and energy objects over them, for the tests of libnxbriodock.
#ifndef NXBRIOCHEM_TESTS_DOCK_RANDOM_SIDES_H
#define NXBRIOCHEM_TESTS_DOCK_RANDOM_SIDES_H

#include <gtest/gtest.h>
#include <nxbriodock/nxbriodock.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

namespace dock_tests {

// Atoms in the form that nxd_set_target_arrays and nxd_set_target_parameters take.
struct Side {
  std::vector<double> coordinates, charges, distances, depths;

  int size() const { return static_cast<int>(charges.size()); }
};

class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}

  double real(double size) { return std::uniform_real_distribution<double>(-size, size)(engine_); }
  int below(int n) { return static_cast<int>(engine_() % static_cast<unsigned>(n)); }
  // Atoms in a cube, so that some of one side are inside the walls of the other side. Some have the radius 0.
  Side side(int n, double size) {
    Side side;
    for (int i = 0; i < n; ++i) {
      side.coordinates.insert(side.coordinates.end(), {real(size), real(size), real(size)});
      side.charges.push_back(real(1.0));
      side.distances.push_back(below(8) == 0 ? 0.0 : 3.3 + real(0.6));
      side.depths.push_back(0.1 + real(0.05));
    }
    return side;
  }
  std::array<double, 6> variables(double move, double turn) {
    return {real(move), real(move), real(move), real(turn), real(turn), real(turn)};
  }

 private:
  std::mt19937 engine_;
};

inline int energy_of(const Side& target, const Side& ligand) {
  const int energy = nxd_make_energy();
  EXPECT_EQ(nxd_set_target_arrays(target.coordinates.data(), target.charges.data(), nullptr, target.size(), energy), 1);
  EXPECT_EQ(nxd_set_target_parameters(target.distances.data(), target.depths.data(), target.size(), energy), 1);
  EXPECT_EQ(nxd_set_ligand_arrays(ligand.coordinates.data(), ligand.charges.data(), nullptr, ligand.size(), energy), 1);
  EXPECT_EQ(nxd_set_ligand_parameters(ligand.distances.data(), ligand.depths.data(), ligand.size(), energy), 1);
  return energy;
}

}  // namespace dock_tests

#endif
