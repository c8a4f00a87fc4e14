// Least RMS deviations against gemmi's quaternion superposition: bare points, with each instruction set, and molecules
// through their handles. "deformed" pairs are 1 angstrom off a rigid motion; "rigid" ones are not, so that the
// residuals take a second pass. Counters as paired.h says, and "off_um", how far both results are apart in 1e-6
// angstrom.
#include <benchmark/benchmark.h>
#include <nxbriochem/geometry/instruction_set_internal.h>
#include <nxbriochem/geometry/superposition_internal.h>
#include <nxbriochem/nxbriochem.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <gemmi/qcp.hpp>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "bench/paired.h"

namespace {

using instruction_set::InstructionSet;

// A chain of points with steps of 1.5 angstrom, and where a motion and a deformation take them.
struct Pair {
  std::vector<float> first;
  std::vector<float> second;
  std::vector<gemmi::Position> first_positions;
  std::vector<gemmi::Position> second_positions;

  Pair(int n, double deformation) {
    std::mt19937 random(20);
    std::normal_distribution<double> normal;
    const double cosine = std::cos(0.9);
    const double sine = std::sin(0.9);
    gemmi::Position at(20, -30, 40);
    for (int i = 0; i < n; ++i) {
      const gemmi::Vec3 step(normal(random), normal(random), normal(random));
      at += gemmi::Position(step * (1.5 / step.length()));
      add(at, first, first_positions);
      const gemmi::Position turned(cosine * at.x - sine * at.z, at.y + 7, sine * at.x + cosine * at.z - 3);
      const gemmi::Position off(normal(random), normal(random), normal(random));
      add(turned + off * (deformation / std::sqrt(3.0)), second, second_positions);
    }
  }
  int count() const { return static_cast<int>(first_positions.size()); }

 private:
  static void add(const gemmi::Position& at, std::vector<float>& floats, std::vector<gemmi::Position>& positions) {
    for (const double x : {at.x, at.y, at.z}) {
      floats.push_back(static_cast<float>(x));
    }
    const float* last = &floats[floats.size() - 3];
    positions.emplace_back(static_cast<double>(last[0]), static_cast<double>(last[1]), static_cast<double>(last[2]));
  }
};

template <class Rms>
void compare(benchmark::State& state, const Pair& pair, Rms rms) {
  const int repeats = std::max(1, 40000 / pair.count());
  float ours = 0;
  double theirs = 0;
  bench::paired(
      state, repeats,
      [&] {
        for (int k = 0; k < repeats; ++k) {
          ours = rms();
          benchmark::DoNotOptimize(std::as_const(ours));
        }
      },
      [&] {
        for (int k = 0; k < repeats; ++k) {
          theirs = gemmi::superpose_positions(pair.first_positions.data(), pair.second_positions.data(),
                                              pair.first_positions.size(), nullptr)
                       .rmsd;
          benchmark::DoNotOptimize(std::as_const(theirs));
        }
      });
  state.counters["off_um"] = 1e6 * std::fabs(static_cast<double>(ours) - theirs);
}

void points_by(benchmark::State& state, int n, double deformation, InstructionSet set) {
  const Pair pair(n, deformation);
  compare(state, pair, [&] {
    double sum = 0;
    superposition::sum_of_squares({pair.first.data(), pair.second.data(), n}, set, sum);
    return static_cast<float>(std::sqrt(sum / n));
  });
}

void points(benchmark::State& state, int n, double deformation) {
  const Pair pair(n, deformation);
  compare(state, pair, [&] {
    float rms = 0;
    nx_rms_between_points(pair.first.data(), pair.second.data(), n, &rms);
    return rms;
  });
}

int molecule_of(const std::vector<float>& xyz) {
  const int mol = nx_make_molecule();
  const auto n = static_cast<int>(xyz.size() / 3);
  nx_set_molecule_atom_number(n, mol);
  nx_set_molecule_coordinates(xyz.data(), mol);
  std::string names;
  for (int i = 0; i < n; ++i) {
    names += std::string(i % 2 == 0 ? "CA" : "N") + '\0';
  }
  nx_set_molecule_atom_names(names.data(), mol);
  return mol;
}

void molecules(benchmark::State& state, int n, double deformation) {
  const Pair pair(n, deformation);
  const int first = molecule_of(pair.first);
  const int second = molecule_of(pair.second);
  compare(state, pair, [&] {
    float rms = 0;
    nx_get_rms(first, second, &rms);
    return rms;
  });
  nx_delete_molecule(second);
  nx_delete_molecule(first);
}

void add(const std::string& name, const std::function<void(benchmark::State&)>& run) {
  benchmark::RegisterBenchmark(name.c_str(), run)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

bool register_all() {
  for (const auto& [kind, deformation] : {std::pair{"deformed", 1.0}, std::pair{"rigid", 0.0}}) {
    for (const int n : {20, 100, 1000, 5000}) {
      const std::string suffix = std::string("/") + kind + "/" + std::to_string(n);
      const double by = deformation;
      for (const InstructionSet set : instruction_set::supported()) {
        add("sum_of_squares/" + std::string(instruction_set::name_of(set)) + suffix,
            [=](benchmark::State& state) { points_by(state, n, by, set); });
      }
      add("nx_rms_between_points" + suffix, [=](benchmark::State& state) { points(state, n, by); });
      add("nx_get_rms" + suffix, [=](benchmark::State& state) { molecules(state, n, by); });
    }
  }
  for (const int n : {10000, 100000}) {
    const std::string suffix = "/deformed/" + std::to_string(n);
    add("nx_rms_between_points" + suffix, [=](benchmark::State& state) { points(state, n, 1.0); });
    add("nx_get_rms" + suffix, [=](benchmark::State& state) { molecules(state, n, 1.0); });
  }
  return true;
}

const bool registered = register_all();

}  // namespace
