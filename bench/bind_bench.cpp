// The pair sum behind nxi_c_bind against the plain loop, per instruction set, on real complexes ("same_bits" is 1 when
// both gave the same result); and how nx_calculate_coulombic_binding grows with the atoms of both molecules.
#include <benchmark/benchmark.h>
#include <nxbriochem/geometry/coulomb_kernels_internal.h>
#include <nxbriochem/nxbriochem.h>

#include <tests/support/pqr_atoms.h>
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "bench/paired.h"

namespace {

using coulomb::Kernel;
using coulomb::PairSum;
using coulomb::Sites;
using test_support::Charges;

#if defined(__clang__)
#define YARDSTICK __attribute__((noinline))
#else
#define YARDSTICK __attribute__((noinline, optimize("O2")))
#endif

// The yardstick: the sum as a straightforward loop, at -O2.
YARDSTICK PairSum plain_loop(const Sites& target, const Sites& ligand) {
  PairSum sum;
  for (int i = 0; i < target.count; ++i) {
    if (target.charges[i] == 0.0F) {
      continue;
    }
    const float* a = target.records + 9L * i;
    float inner = 0.0F;
    for (int j = 0; j < ligand.count; ++j) {
      if (ligand.charges[j] == 0.0F) {
        continue;
      }
      const float* b = ligand.records + 9L * j;
      const float dx = a[0] - b[0];
      const float dy = a[1] - b[1];
      const float dz = a[2] - b[2];
      const float r2 = dx * dx + dy * dy + dz * dz;
      if (r2 == 0.0F) {
        ++sum.coincident;
        continue;
      }
      inner = static_cast<float>(static_cast<double>(inner) +
                                 static_cast<double>(ligand.charges[j]) / std::sqrt(static_cast<double>(r2)));
    }
    sum.total += inner * target.charges[i];
  }
  return sum;
}

Sites sites(const Charges& charges) { return {charges.records.data(), charges.q.data(), charges.count()}; }

void compare(benchmark::State& state, const Charges& target, const Charges& ligand, Kernel kernel) {
  const double pairs = static_cast<double>(target.count()) * ligand.count();
  // Small complexes are summed several times, so that an iteration takes a millisecond or more.
  const int repeats = std::max(1, static_cast<int>(1e6 / std::max(pairs, 1.0)));
  PairSum expected;
  PairSum sum;
  bench::paired(
      state, repeats,
      [&] {
        for (int k = 0; k < repeats; ++k) {
          benchmark::DoNotOptimize(sum = coulomb::sum_pairs(sites(target), sites(ligand), kernel));
        }
      },
      [&] {
        for (int k = 0; k < repeats; ++k) {
          benchmark::DoNotOptimize(expected = plain_loop(sites(target), sites(ligand)));
        }
      });
  state.counters["same_bits"] = std::bit_cast<uint32_t>(sum.total) == std::bit_cast<uint32_t>(expected.total) &&
                                        sum.coincident == expected.coincident
                                    ? 1
                                    : 0;
  state.counters["pairs/s"] = benchmark::Counter(pairs * repeats, benchmark::Counter::kIsIterationInvariantRate);
}

struct Complex {
  const char* name;
  const char* target;
  const char* ligand;
};
constexpr Complex kComplexes[] = {
    {"actin_dimer", "actin-dimer/mol1.pqr", "actin-dimer/mol2.pqr"},
    {"barnase_barstar", "pbsam-barn_bars/barnase.pqr", "pbsam-barn_bars/barstar.pqr"},
    {"anhydrase_acetazolamide", "hca-bind/hca.pqr", "hca-bind/acet.pqr"},
    {"acetazolamide_anhydrase", "hca-bind/acet.pqr", "hca-bind/hca.pqr"},
};

bool register_all() {
  for (const Complex& complex : kComplexes) {
    const std::string directory = "/usr/share/apbs/examples/";
    const Charges target = test_support::read_pqr(directory + complex.target);
    const Charges ligand = test_support::read_pqr(directory + complex.ligand);
    for (const Kernel kernel : coulomb::supported_kernels()) {
      const std::string name = std::string("bind/") + complex.name + "/" + coulomb::name_of(kernel);
      benchmark::RegisterBenchmark(name.c_str(),
                                   [=](benchmark::State& state) {
                                     if (target.count() == 0 || ligand.count() == 0) {
                                       state.SkipWithError("no structures: install apbs-data");
                                     } else {
                                       compare(state, target, ligand, kernel);
                                     }
                                   })
          ->UseManualTime()
          ->Unit(benchmark::kMillisecond);
    }
  }
  return true;
}

const bool registered = register_all();

// n atoms spread evenly, some 10 cubic angstrom each, in a box that begins at x.
Charges scattered(int n, float x) {
  std::mt19937 random(8);
  std::uniform_real_distribution<float> place(0, std::cbrt(10 * static_cast<float>(n)));
  std::uniform_real_distribution<float> charge(-0.8F, 0.8F);
  Charges atoms;
  for (int i = 0; i < n; ++i) {
    const float y = place(random);
    const float z = place(random);
    atoms.add(x + place(random), y, z, charge(random));
  }
  return atoms;
}

int molecule_of(const Charges& atoms) {
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(atoms.count(), mol);
  std::vector<float> xyz;
  for (int i = 0; i < atoms.count(); ++i) {
    const float* record = sites(atoms).record(i);
    xyz.insert(xyz.end(), record, record + 3);
  }
  nx_set_molecule_coordinates(xyz.data(), mol);
  nx_set_molecule_charges(atoms.q.data(), mol);
  return mol;
}

// Two molecules, of n and m atoms.
void bind(benchmark::State& state, int n, int m) {
  const Charges target = scattered(n, -200);
  const Charges ligand = scattered(m, 0);
  const int mol1 = molecule_of(target);
  const int mol2 = molecule_of(ligand);
  const int repeats = std::max(1, static_cast<int>(1e6 / n / m));
  float energy = 0;
  PairSum expected;
  bench::paired(
      state, repeats,
      [&] {
        for (int k = 0; k < repeats; ++k) {
          nx_calculate_coulombic_binding(mol1, mol2, &energy, 4);
        }
      },
      [&] {
        for (int k = 0; k < repeats; ++k) {
          benchmark::DoNotOptimize(expected = plain_loop(sites(target), sites(ligand)));
        }
      });
  if (std::fabs(energy - expected.total * DFactor2 / 4) > 1e-5F * std::fabs(energy)) {
    state.SkipWithError("the energies differ");
  }
  nx_delete_molecule(mol2);
  nx_delete_molecule(mol1);
}

void binding(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  bind(state, n, n);
}

// A ligand of 18 atoms, a typical size in screening.
void binding_18(benchmark::State& state) { bind(state, static_cast<int>(state.range(0)), 18); }
BENCHMARK(binding_18)->Arg(1000)->Arg(10000)->Arg(100000)->Arg(1000000)->UseManualTime()->Unit(benchmark::kMillisecond);

// The plain loop takes seconds for 3e4 atoms, and eleven times as long for 1e5.
BENCHMARK(binding)->Arg(100)->Arg(300)->Arg(1000)->Arg(3000)->Arg(10000)->Arg(30000)->UseManualTime()->Unit(
    benchmark::kMillisecond);

}  // namespace
