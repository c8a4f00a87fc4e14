// The pair sum behind nxi_c_bind against the plain loop, per instruction set, on real complexes. Each iteration times
// both, one after the other; the counter "ratio" is the median of how many times as fast the sum is, and "same_bits" is
// 1 when both gave the same result.
#include <benchmark/benchmark.h>
#include <nxbriochem/geometry/c_bind_kernels.h>
#include <nxbriochem/geometry/instruction_set.h>

#include <tests/support/pqr_atoms.h>
#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using c_bind::PairSum;
using c_bind::Sites;
using instruction_set::InstructionSet;
using test_support::Charges;

#if defined(__clang__)
#define YARDSTICK __attribute__((noinline))
#else
#define YARDSTICK __attribute__((noinline, optimize("O2")))
#endif

// The yardstick: the sum as anyone would write it down, at -O2.
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

template <class Call>
double seconds_of(Call call) {
  const auto start = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void compare(benchmark::State& state, const Charges& target, const Charges& ligand, InstructionSet set) {
  const double pairs = static_cast<double>(target.count()) * ligand.count();
  // Small complexes are summed several times over, so that an iteration takes a millisecond or more.
  const int repeats = std::max(1, static_cast<int>(1e6 / std::max(pairs, 1.0)));
  std::vector<double> ratios;
  PairSum expected;
  PairSum sum;
  for (auto _ : state) {
    const double plain = seconds_of([&] {
      for (int k = 0; k < repeats; ++k) {
        benchmark::DoNotOptimize(expected = plain_loop(sites(target), sites(ligand)));
      }
    });
    const double lanes = seconds_of([&] {
      for (int k = 0; k < repeats; ++k) {
        benchmark::DoNotOptimize(sum = c_bind::sum_pairs(sites(target), sites(ligand), set));
      }
    });
    state.SetIterationTime(lanes);
    ratios.push_back(plain / lanes);
  }
  std::nth_element(ratios.begin(), ratios.begin() + static_cast<std::ptrdiff_t>(ratios.size() / 2), ratios.end());
  state.counters["ratio"] = ratios[ratios.size() / 2];
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
    for (const InstructionSet set : instruction_set::supported()) {
      const std::string name = std::string("bind/") + complex.name + "/" + instruction_set::name_of(set);
      benchmark::RegisterBenchmark(name.c_str(),
                                   [=](benchmark::State& state) {
                                     if (target.count() == 0 || ligand.count() == 0) {
                                       state.SkipWithError("no structures: install apbs-data");
                                     } else {
                                       compare(state, target, ligand, set);
                                     }
                                   })
          ->UseManualTime()
          ->Unit(benchmark::kMillisecond);
    }
  }
  return true;
}

const bool registered = register_all();

}  // namespace
