// Energies of a rigid ligand. Values are compared with sums in long double, derivatives with differences, vector
// versions and thread counts with one another.
#include <nxbriochem/nxbriochem.h>
#include <nxbriodock/energy_object.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <thread>

#include "tests/dock/random_sides.h"

namespace {

using namespace dock_tests;
using nxbriodock::Derivatives;

constexpr double kDielectric = 3.0;
constexpr double kStrength = 0.7;
constexpr double kTemperature = 310.0;

// The settings of an energy object, chosen by the number of a round.
struct Setting {
  int coulomb = 0;
  bool arithmetic = false;
  double coulomb_weight = 1.0;
  double twelve_six_weight = 1.0;
  double coulomb_wall = 0.1;
  double twelve_six_wall = 0.1;

  void apply(int energy) const {
    EXPECT_EQ(coulomb == 0   ? nxd_set_uniform_dielectric(kDielectric, energy)
              : coulomb == 1 ? nxd_set_distance_dielectric(kDielectric, energy)
                             : nxd_set_screened_dielectric(kDielectric, kStrength, kTemperature, energy),
              1);
    EXPECT_EQ(nxd_set_distance_rule(arithmetic ? 1 : 0, energy), 1);
    EXPECT_EQ(nxd_set_weights(coulomb_weight, twelve_six_weight, energy), 1);
    EXPECT_EQ(nxd_set_walls(coulomb_wall, twelve_six_wall, energy), 1);
  }
};

Setting setting_of(int round) {
  const double weights[] = {1.0, 0.4, 0.0};
  return {round % 3,
          round % 2 == 1,
          weights[round / 2 % 3],
          weights[round / 5 % 3],
          round % 4 == 0 ? 1.5 : 0.1,
          round % 4 < 2 ? 0.1 : 0.9};
}

struct Terms {
  long double coulomb = 0, twelve_six = 0;
  long double coulomb_size = 0, twelve_six_size = 0;
};

// A term with its wall: beyond the wall it is the parabola in s that has the term's value and slope there.
long double with_wall(long double s, long double wall, const std::function<long double(long double)>& term,
                      const std::function<long double(long double)>& slope) {
  return s < wall ? term(wall) + slope(wall) * (s - wall) : term(s);
}

// The energies by the formulas in energy.h.
Terms sum_of(const Side& target, const Side& ligand, const std::vector<double>& at, const Setting& setting) {
  double length = 0;
  nxd_get_debye_length(kDielectric, kStrength, kTemperature, &length);
  const long double kappa = 1.0L / length;
  Terms terms;
  for (std::size_t i = 0; i < ligand.charges.size(); ++i) {
    for (std::size_t j = 0; j < target.charges.size(); ++j) {
      long double s = 0;
      for (std::size_t k = 0; k < 3; ++k) {
        const long double d = static_cast<long double>(at[3 * i + k]) - target.coordinates[3 * j + k];
        s += d * d;
      }
      const long double q = 332.063713L / kDielectric * setting.coulomb_weight * ligand.charges[i] * target.charges[j];
      const auto coulomb = [&](long double t) {
        return setting.coulomb == 1 ? q / t : q / sqrtl(t) * (setting.coulomb == 2 ? expl(-kappa * sqrtl(t)) : 1);
      };
      const auto coulomb_slope = [&](long double t) {
        return -coulomb(t) / (2 * t) * (setting.coulomb == 1 ? 2 : setting.coulomb == 2 ? 1 + kappa * sqrtl(t) : 1);
      };
      const long double one =
          with_wall(s, static_cast<long double>(setting.coulomb_wall) * setting.coulomb_wall, coulomb, coulomb_slope);
      const long double a = ligand.distances[i];
      const long double b = target.distances[j];
      const long double x2 = setting.arithmetic ? (a + b) * (a + b) / 4 : a * b;
      const long double depth =
          setting.twelve_six_weight * sqrtl(static_cast<long double>(ligand.depths[i]) * target.depths[j]);
      const auto twelve_six = [&](long double t) { return depth * (powl(x2 / t, 6) - 2 * powl(x2 / t, 3)); };
      const auto slope = [&](long double t) { return -6 * depth * (powl(x2 / t, 6) - powl(x2 / t, 3)) / t; };
      const long double wall = std::max<long double>(1e-6L, x2 * setting.twelve_six_wall * setting.twelve_six_wall);
      const long double two = with_wall(s, wall, twelve_six, slope);
      terms.coulomb += one;
      terms.twelve_six += two;
      terms.coulomb_size += fabsl(one);
      terms.twelve_six_size += fabsl(two);
    }
  }
  return terms;
}

TEST(DockEnergy, IsTheSumOverPairs) {
  Random random(3);
  for (int round = 0; round < 60; ++round) {
    SCOPED_TRACE(round);
    const Side target = random.side(1 + random.below(700), 7.0);
    const Side ligand = random.side(1 + random.below(20), 3.0);
    const int energy = energy_of(target, ligand);
    const Setting setting = setting_of(round);
    setting.apply(energy);
    std::array<double, 6> x = random.variables(2.0, 9.0);
    std::array<double, 7> pose{};
    std::vector<double> at(ligand.coordinates.size());
    ASSERT_EQ(nxd_get_pose_at(x.data(), pose.data(), energy), 1);
    ASSERT_EQ(nxd_get_ligand_coordinates(pose.data(), at.data(), energy), 1);
    const Terms sum = sum_of(target, ligand, at, setting);
    double coulomb = 0;
    double twelve_six = 0;
    ASSERT_EQ(nxd_get_energy_at_pose(pose.data(), &coulomb, &twelve_six, nullptr, energy), 1);
    EXPECT_LE(fabsl(coulomb - sum.coulomb), 1e-12L * sum.coulomb_size);
    EXPECT_LE(fabsl(twelve_six - sum.twelve_six), 1e-12L * sum.twelve_six_size);
    EXPECT_NEAR(nxd_energy(x.data(), 6, energy), coulomb + twelve_six,
                1e-12 * static_cast<double>(sum.coulomb_size + sum.twelve_six_size));

    // The contributions of atoms and of residues, of either side, must add up to the same sums.
    for (const int side : {int{NXD_TARGET}, int{NXD_LIGAND}}) {
      const int n = side == NXD_TARGET ? target.size() : ligand.size();
      const auto atoms = static_cast<std::size_t>(n);
      std::vector<int> residues(atoms);
      for (int& residue : residues) {
        residue = random.below(n);
      }
      ASSERT_EQ(nxd_set_residues(side, residues.data(), n, energy), 1);
      std::vector<double> c(atoms), v(atoms), by_residue_c(atoms), by_residue_v(atoms);
      ASSERT_EQ(nxd_get_atom_energies(pose.data(), side, c.data(), v.data(), energy), 1);
      ASSERT_EQ(nxd_get_residue_energies(pose.data(), side, by_residue_c.data(), by_residue_v.data(), energy), 1);
      double sums[4] = {};
      for (std::size_t i = 0; i < atoms; ++i) {
        sums[0] += c[i];
        sums[1] += v[i];
        by_residue_c[static_cast<std::size_t>(residues[i])] -= c[i];
        by_residue_v[static_cast<std::size_t>(residues[i])] -= v[i];
      }
      EXPECT_NEAR(sums[0], coulomb, 1e-12 * static_cast<double>(sum.coulomb_size));
      EXPECT_NEAR(sums[1], twelve_six, 1e-12 * static_cast<double>(sum.twelve_six_size));
      for (std::size_t i = 0; i < atoms; ++i) {
        EXPECT_NEAR(by_residue_c[i], 0.0, 1e-12 * static_cast<double>(sum.coulomb_size));
        EXPECT_NEAR(by_residue_v[i], 0.0, 1e-12 * static_cast<double>(sum.twelve_six_size));
      }
    }
    nxd_delete_energy(energy);
  }
}

// The derivative by one variable from differences of values (error of order h^6).
double difference(const std::function<double(std::array<double, 6>&)>& value, std::array<double, 6> x, std::size_t i) {
  constexpr double h = 1e-3;
  const double at = x[i];
  const auto pair = [&](double step) {
    x[i] = at + step;
    const double above = value(x);
    x[i] = at - step;
    return above - value(x);
  };
  return (45 * pair(h) - 9 * pair(2 * h) + pair(3 * h)) / (60 * h);
}

// Small and large turns, also beyond a full turn, about random base poses.
TEST(DockEnergy, DerivativesAreThoseOfTheValue) {
  Random random(5);
  for (int round = 0; round < 200; ++round) {
    SCOPED_TRACE(round);
    const Side ligand = random.side(1 + round % 6, 2.0);
    Side target = random.side(13, 4.0);
    for (std::size_t j = 0; j < target.charges.size(); ++j) {
      // The atoms are moved away from the walls, where second derivatives jump and differences are inaccurate.
      target.coordinates[3 * j] += target.coordinates[3 * j] < 0 ? -10.0 : 10.0;
    }
    const int energy = energy_of(target, ligand);
    setting_of(round).apply(energy);
    std::array<double, 6> base = random.variables(1.0, 9.0);
    std::array<double, 7> pose{};
    ASSERT_EQ(nxd_get_pose_at(base.data(), pose.data(), energy), 1);
    ASSERT_EQ(nxd_set_base_pose(pose.data(), energy), 1);
    nxd_set_leash(0.02, round % 2 == 0 ? 3.0 : 0.0, energy);
    const std::array<double, 6> x = random.variables(1.0, std::pow(10.0, random.real(5) - 4));
    std::array<double, 6> at = x;
    std::array<double, 6> gradient{9, 9, 9, 9, 9, 9};
    const double value = nxd_energy_gradient(at.data(), gradient.data(), 6, energy);
    std::array<double, 6> added = gradient;
    EXPECT_EQ(nxd_add_energy_gradient(at.data(), added.data(), 6, energy), value);
    const double largest = std::abs(*std::ranges::max_element(gradient, {}, [](double g) { return std::abs(g); }));
    for (std::size_t i = 0; i < 6; ++i) {
      EXPECT_DOUBLE_EQ(added[i], 2.0 * gradient[i]);
      const double slope = difference([&](auto& y) { return nxd_energy(y.data(), 6, energy); }, x, i);
      EXPECT_NEAR(gradient[i], slope, 1e-7 * std::max(largest, 1e-3)) << i;
    }
    // Second derivatives, at the base pose.
    nxd_set_leash(0.0, 0.0, energy);
    const auto object = nxbriodock::energy_of(energy);
    const auto evaluated = [&](const std::array<double, 6>& y, Derivatives derivatives) {
      return object->evaluate(object->terms, object->placement_at(y.data()), derivatives, 1, object->workspace);
    };
    const nxbriodock::Matrix6 hessian = evaluated({}, Derivatives::Second).hessian;
    for (int i = 0; i < 6; ++i) {
      for (int j = 0; j < 6; ++j) {
        const auto component = [&](std::array<double, 6>& y) {
          std::array<double, 6> g{};
          nxd_energy_gradient(y.data(), g.data(), 6, energy);
          return g[static_cast<std::size_t>(j)];
        };
        EXPECT_NEAR(hessian(i, j), difference(component, {}, static_cast<std::size_t>(i)),
                    1e-7 * std::max(hessian.cwiseAbs().maxCoeff(), 1e-3))
            << i << j;
      }
    }
    nxd_delete_energy(energy);
  }
}

// Atoms at the same place, where both terms would be infinite without walls, and almost there.
TEST(DockEnergy, IsFiniteAndFallsOutwards) {
  const Side one{{1, 2, 3}, {0.5}, {3.5}, {0.06}};
  const int energy = energy_of(one, one);
  double before = INFINITY;
  for (const double d : {0.0, 1e-9, 0.01, 0.05, 0.2, 0.34, 0.36, 1.0, 3.5}) {
    std::array<double, 6> x{d, 0, 0, 0, 0, 0};
    std::array<double, 6> gradient{};
    const double value = nxd_energy_gradient(x.data(), gradient.data(), 6, energy);
    EXPECT_TRUE(std::isfinite(value) && std::isfinite(gradient[0]));
    EXPECT_LE(value, before) << d;
    before = value;
  }
  EXPECT_NEAR(before, -0.06 + 332.063713 * 0.25 / 3.5, 1e-12);
  // No charge, no radius, no distance: the result must still be a number.
  const int nothing = energy_of({{0, 0, 0}, {0}, {0}, {0}}, {{0, 0, 0}, {0}, {0}, {0}});
  std::array<double, 6> x{};
  EXPECT_EQ(nxd_energy(x.data(), 6, nothing), 0.0);
}

// Every vector width and every number of threads must give the same bits.
TEST(DockEnergy, HasTheSameBitsHoweverItIsSummed) {
  Random random(11);
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE(round);
    const bool large = round % 8 == 0;
    const int energy =
        energy_of(random.side(large ? 1501 : 1 + random.below(40), 12.0), random.side(large ? 333 : 9, 6.0));
    setting_of(round).apply(energy);
    const auto object = nxbriodock::energy_of(energy);
    const std::array<double, 6> x = random.variables(4.0, 9.0);
    const auto sums = [&](Derivatives derivatives, int threads) {
      object->evaluate(object->terms, object->placement_at(x.data()), derivatives, threads, object->workspace);
      return object->workspace.sums;
    };
    for (const Derivatives derivatives : {Derivatives::First, Derivatives::Second}) {
      const std::size_t used =
          derivatives == Derivatives::Second ? sizeof(nxbriodock::AtomSums) : offsetof(nxbriodock::AtomSums, hessian);
      const auto expect_same = [&](const std::vector<nxbriodock::AtomSums>& a,
                                   const std::vector<nxbriodock::AtomSums>& b) {
        for (std::size_t i = 0; i < a.size(); ++i) {
          EXPECT_EQ(std::memcmp(&a[i], &b[i], used), 0) << i;
        }
      };
      const std::vector<nxbriodock::AtomSums> best = sums(derivatives, 1);
      expect_same(sums(derivatives, 2), best);
      expect_same(sums(derivatives, 7), best);
      const auto& all = nxbriodock::versions();
      for (int v = 0; v < all.count; ++v) {
        SCOPED_TRACE(all.version[v].name);
        std::vector<nxbriodock::AtomSums> own(best.size());
        all.version[v].sum(object->target.packed->arrays(), object->workspace.atoms.data(),
                           static_cast<int>(own.size()), object->terms.model(), derivatives, own.data());
        expect_same(own, best);
      }
    }
    nxd_delete_energy(energy);
  }
}

// A molecule and its arrays must give the same energy. Elements and residues are taken from the molecule.
TEST(DockEnergy, TakesMoleculesAndArrays) {
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(4, mol);
  const float coordinates[] = {0, 0, 0, 1.5F, 0, 0, 0, 1.5F, 0, 0.25F, 0, 3};
  const float charges[] = {0.5F, -0.25F, 0.125F, -1};
  const int numbers[] = {5, 5, 6, 6};
  nx_set_molecule_coordinates(coordinates, mol);
  nx_set_molecule_charges(charges, mol);
  nx_set_molecule_element("CNOH", mol);
  nx_set_molecule_residue_number(numbers, mol);
  const int by_handle = nxd_make_energy();
  EXPECT_EQ(nxd_set_target(mol, by_handle), 1);
  const int by_arrays = nxd_copy_energy(by_handle);
  EXPECT_EQ(nxd_set_ligand(mol, by_handle), 1);
  const std::vector<double> places(coordinates, coordinates + 12);
  const std::vector<double> q(charges, charges + 4);
  const int elements[] = {6, 7, 8, 1};
  EXPECT_EQ(nxd_set_ligand_arrays(places.data(), q.data(), elements, 4, by_arrays), 1);
  std::array<double, 6> x{7, 6, 5, 1, 2, 3};
  const double value = nxd_energy(x.data(), 6, by_handle);
  EXPECT_TRUE(std::isfinite(value));
  EXPECT_EQ(nxd_energy(x.data(), 6, by_arrays), value);
  EXPECT_EQ(nxd_get_residue_number(NXD_TARGET, by_handle), 2);
  EXPECT_EQ(nxd_get_residue_number(NXD_LIGAND, by_arrays), 1);
  std::array<int, 4> residues{};
  EXPECT_EQ(nxd_get_residues(NXD_TARGET, residues.data(), by_arrays), 1);
  EXPECT_EQ(residues, (std::array<int, 4>{0, 0, 1, 1}));
  nx_delete_molecule(mol);
  EXPECT_EQ(nxd_energy(x.data(), 6, by_handle), value);
  // A change of the target in one object must not affect the other.
  EXPECT_EQ(nxd_set_target_charges(std::vector<double>(4, 0.0).data(), 4, by_arrays), 1);
  EXPECT_EQ(nxd_energy(x.data(), 6, by_handle), value);
  EXPECT_NE(nxd_energy(x.data(), 6, by_arrays), value);
}

// Used as the callback of an optimiser, and as two terms of a function list.
TEST(DockEnergy, PlugsIntoOptimisersAndLists) {
  Random random(2);
  const int energy = energy_of({{0, 0, 0}, {0}, {3.5}, {0.2}}, {{5, 1, 0}, {0}, {3.5}, {0.2}});
  const auto minimum = [&](int opt, double scale) {
    nx_set_opt_method(opt, 2);
    nx_set_opt_gradient_convergence(opt, 1e-16);
    std::array<double, 6> x{};
    double value = 0;
    EXPECT_EQ(nx_minimize(x.data(), &value, opt), 1);
    EXPECT_NEAR(value, -0.2 * scale, 1e-12);
    EXPECT_NEAR(std::hypot(5 + x[0], 1 + x[1], x[2]), 3.5, 1e-6);
  };
  const int opt = nx_init_opt(NXD_VARIABLES, nullptr);
  nx_set_opt_gradient_with_handle(nxd_energy_gradient, energy, opt);
  minimum(opt, 1.0);
  const int list = nx_make_function_list();
  for (int term = 0; term < 2; ++term) {
    nx_add_extended_gradient_function_to_list_double(nxd_add_energy_gradient, energy, 0, list);
    nx_add_extended_energy_function_to_list_double(nxd_energy, energy, 0, list);
  }
  nx_set_opt_gradient_list(list, opt);
  minimum(opt, 2.0);
  std::array<double, 6> x{};
  EXPECT_EQ(nx_function_list_double(x.data(), 6, list), 2.0 * nxd_energy(x.data(), 6, energy));
}

TEST(DockEnergy, ObjectsOfTheirOwnMayBeUsedByThreads) {
  Random random(8);
  const int first = energy_of(random.side(300, 9.0), random.side(20, 4.0));
  std::array<double, 6> x = random.variables(3.0, 3.0);
  const double value = nxd_energy(x.data(), 6, first);
  std::vector<std::thread> threads;
  std::array<int, 4> same{};
  for (int& count : same) {
    threads.emplace_back([&count, first, x, value]() mutable {
      for (int i = 0; i < 200; ++i) {
        const int own = nxd_copy_energy(first);
        count += nxd_energy(x.data(), 6, own) == value ? 1 : 0;
        nxd_delete_energy(own);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(same, (std::array<int, 4>{200, 200, 200, 200}));
}

// Whatever the threads are about, the child can make and delete energies and is told what it does wrong.
TEST(DockEnergy, ForkedChildrenFindTheirObjectsFree) {
  Random random(9);
  const int energy = energy_of(random.side(3, 9.0), random.side(2, 4.0));
  std::atomic<bool> done = false;
  const auto look_up = [&] {
    while (!done) {
      nxd_delete_energy(nxd_copy_energy(energy));
      nxd_delete_energy(0);
    }
  };
  std::vector<std::thread> threads;
  threads.emplace_back(look_up);
  threads.emplace_back(look_up);
  for (int i = 0; i < 100; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(20);
      const bool right = nxd_delete_energy(nxd_copy_energy(energy)) == 1 && nxd_delete_energy(0) == 0;
      _exit(right ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    if (status != 0) {
      break;
    }
  }
  done = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
}

// The Debye length of a tenth molar salt in water at 25 degrees: 9.62 angstrom (78.4; Israelachvili, Intermolecular and
// Surface Forces, 3rd ed., 14.15: 3.04 angstrom over the root of the concentration).
TEST(DockEnergy, ScreensAsInTextbooks) {
  double length = 0;
  EXPECT_EQ(nxd_get_debye_length(78.4, 0.1, 298.15, &length), 1);
  EXPECT_NEAR(length, 9.61, 0.01);
  EXPECT_EQ(nxd_get_debye_length(78.4, 0.0, 298.15, &length), 1);
  EXPECT_EQ(length, INFINITY);
}

// Each refusal is queued, and changes nothing.
TEST(DockEnergy, RefusesBadInput) {
  Random random(4);
  const Side side = random.side(3, 3.0);
  const int energy = energy_of(side, side);
  std::array<double, 6> x{};
  const double value = nxd_energy(x.data(), 6, energy);
  const double* const xyz = side.coordinates.data();
  const double bad[] = {1, 2, NAN, 4, 5, 6, 7, 8, 9};
  const double negative[] = {1, -1, 1};
  const int elements[] = {6, 0, 8};
  const std::array<double, 7> pose{1, 0, 0, 0, 0, 0, 0};
  const std::array<double, 7> no_pose{0, 0, 0, 0, 1, 2, 3};
  double out[3];
  int refused = 0;
  const auto refuse = [&](int status, const char* message) {
    EXPECT_EQ(status, 0) << message;
    ++refused;
    EXPECT_EQ(nx_number_of_errors(), refused) << message;
    EXPECT_NE(std::string(nx_error_with_tag("", refused - 1)).find(message), std::string::npos)
        << nx_error_with_tag("", refused - 1);
  };
  for (const int none : {0, -1, energy + 1, 1 << 30}) {
    refuse(nxd_set_uniform_dielectric(1, none), "nxd_set_uniform_dielectric: ");
    refuse(nxd_delete_energy(none), "is the handle of no energy");
    refuse(nxd_copy_energy(none), "is the handle of no energy");
  }
  refuse(nxd_set_target_arrays(nullptr, nullptr, nullptr, 3, energy), "coordinates: a null pointer");
  refuse(nxd_set_target_arrays(xyz, nullptr, nullptr, 0, energy), "there are no atoms");
  refuse(nxd_set_ligand_arrays(xyz, nullptr, nullptr, -5, energy), "there are no atoms");
  refuse(nxd_set_ligand_arrays(bad, nullptr, nullptr, 3, energy), "atom 1 has a coordinate or a charge that is not");
  refuse(nxd_set_ligand_arrays(xyz, nullptr, elements, 3, energy), "atom 2: there are no 12-6 parameters for atomic");
  refuse(nxd_set_target_parameters(xyz, negative, 3, energy), "negative or not finite");
  refuse(nxd_set_target_parameters(negative + 2, negative + 2, 1, energy), "1 values were given for 3 atoms");
  refuse(nxd_set_ligand_charges(bad, 3, energy), "a charge is not finite");
  refuse(nxd_set_uniform_dielectric(0, energy), "the dielectric is no finite number above 0");
  refuse(nxd_set_screened_dielectric(1, -1, 300, energy), "the ionic strength is negative");
  refuse(nxd_set_weights(1, NAN, energy), "a weight is not finite");
  refuse(nxd_set_walls(1, 1.5, energy), "not above 0 and at most 1");
  refuse(nxd_set_leash(-1, 1, energy), "negative");
  refuse(nxd_set_threads(-1, energy), "-1 threads");
  refuse(nxd_get_energy_at_pose(no_pose.data(), out, out, nullptr, energy), "the pose has no rotation");
  refuse(nxd_get_atom_energies(pose.data(), 2, out, out, energy), "side 2 is neither");
  refuse(nxd_get_atom_energies(nullptr, 0, out, out, energy), "pose: a null pointer");
  refuse(nxd_set_residues(0, elements, 3, energy), "a residue is not from 0 to 2");
  EXPECT_EQ(nxd_get_uff_parameters(104, out, out), 0);
  EXPECT_EQ(nxd_energy(x.data(), 6, energy), value);
  const int empty = nxd_make_energy();
  refuse(std::isnan(nxd_energy(x.data(), 6, empty)) ? 0 : 1, "the energy has no target");
  refuse(std::isnan(nxd_energy(x.data(), 5, energy)) ? 0 : 1, "5 variables were given");
  refuse(std::isnan(nxd_energy(nullptr, 6, energy)) ? 0 : 1, "x: a null pointer");
}

}  // namespace
