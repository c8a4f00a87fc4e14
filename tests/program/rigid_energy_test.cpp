// The terms that nxbrio refine minimises, by themselves.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "apps/nxbrio/rigid_energy.h"

namespace {

using nxbrio::RigidEnergy;
using nxbrio::Site;

class Random {
 public:
  double real(double size) { return std::uniform_real_distribution<double>(-size, size)(engine_); }
  // Some atoms of the one set stand inside the walls of the other's.
  std::vector<Site> sites(std::size_t n, double size) {
    std::vector<Site> sites;
    while (sites.size() < n) {
      sites.push_back({{real(size), real(size), real(size)}, real(1.0), 3.3 + real(0.6), 0.1 + real(0.05)});
    }
    return sites;
  }

 private:
  std::mt19937 engine_{5};
};

double term(const RigidEnergy& energy, bool coulomb, const double* x, double* gradient) {
  return coulomb ? energy.coulomb(x, gradient) : energy.twelve_six(x, gradient);
}

// The slope along one variable from four values (error of order h^4).
double difference(const RigidEnergy& energy, bool coulomb, std::array<double, 6> x, std::size_t i) {
  constexpr double h = 2e-5;
  const double at = x[i];
  const auto value = [&](double step) {
    x[i] = at + step;
    return term(energy, coulomb, x.data(), nullptr);
  };
  return (8 * (value(h) - value(-h)) - (value(2 * h) - value(-2 * h))) / (12 * h);
}

// Small and large turns, past a whole one too, about base poses of their own; walls near and far.
TEST(RigidEnergy, DerivativesAreThoseOfTheValue) {
  Random random;
  for (int round = 0; round < 400; ++round) {
    SCOPED_TRACE(round);
    RigidEnergy energy(random.sites(13, 4.0), random.sites(1 + static_cast<std::size_t>(round) % 6, 2.0), 332.0);
    const std::array<double, 6> base{random.real(1), random.real(1), random.real(1),
                                     random.real(9), random.real(9), random.real(9)};
    energy.set_base(energy.pose_at(base.data()));
    energy.set_wall(round % 2 == 0 ? 0.6 : 0.9);
    const double turn = std::pow(10.0, random.real(5) - 4);
    const std::array<double, 6> x{random.real(2),    random.real(2),    random.real(2),
                                  random.real(turn), random.real(turn), random.real(turn)};
    for (const bool coulomb : {false, true}) {
      std::array<double, 6> gradient{};
      term(energy, coulomb, x.data(), gradient.data());
      double largest = 1.0;
      for (const double component : gradient) {
        largest = std::max(largest, std::abs(component));
      }
      for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_NEAR(gradient[i], difference(energy, coulomb, x, i), 1e-5 * largest) << coulomb << i;
      }
    }
  }
}

// At one place, where both terms would be infinite, and a hair's breadth from it.
TEST(RigidEnergy, IsFiniteAndFallsOutwards) {
  const std::vector<Site> one{{{1, 2, 3}, 0.5, 3.5, 0.06}};
  const RigidEnergy energy(one, one, 332.0);
  double before = INFINITY;
  for (const double d : {0.0, 1e-9, 0.01, 0.05, 0.2, 0.34, 0.36, 1.0, 3.5}) {
    const std::array<double, 6> x{d, 0, 0, 0, 0, 0};
    std::array<double, 6> gradient{};
    const double value = energy.twelve_six(x.data(), gradient.data()) + energy.coulomb(x.data(), gradient.data());
    EXPECT_TRUE(std::isfinite(value) && std::isfinite(gradient[0]));
    EXPECT_LE(value, before) << d;
    before = value;
  }
  EXPECT_NEAR(before, -0.06 + 332.0 * 0.25 / 3.5, 1e-12);
}

}  // namespace
