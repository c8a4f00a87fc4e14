// Molecules: making them up to a million; atoms, bonds and conformers that come and go one by one, in fresh molecules
// and in molecules with a past; whole arrays against memcpy; the bytes that an atom and a bond take.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <nxbriochem/nxbriochem.h>
#include <nxbriochem/toolkit/nxchem.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "bench/paired.h"

namespace {

constexpr std::size_t kParts = 9;

// All molecules made by `make`. Their number only grows during the run.
std::vector<int> live;

// Makes molecules from n / 10 (or the present number) up to n, a ninth of them in each iteration.
void make(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  while (live.size() < n / 10) {
    live.push_back(nx_make_molecule());
  }
  if (live.size() >= n) {
    state.SkipWithError("as many molecules are live already: run sizes in their order");
    return;
  }
  const std::size_t part = (n - live.size()) / kParts;
  bench::paired(
      state, static_cast<double>(part),
      [&] {
        for (std::size_t k = 0; k < part; ++k) {
          live.push_back(nx_make_molecule());
        }
      },
      [&] {
        std::vector<std::unique_ptr<NxChem::NxMol>> made;
        for (std::size_t k = 0; k < part; ++k) {
          made.push_back(std::make_unique<NxChem::NxMol>());
        }
        benchmark::DoNotOptimize(made.data());
      });
  if (n == 1000000) {
    for (const int mol : live) {
      nx_delete_molecule(mol);
    }
    live.clear();
  }
}

// The yardstick for making and deleting: a record of about the size of an atom or a bond.
using Record = std::array<char, 64>;

void grow_and_shrink(std::deque<Record>& records, int n) {
  for (int k = 0; k < n; ++k) {
    records.emplace_back();
  }
  for (int k = 0; k < n; ++k) {
    records.pop_front();
  }
}

// n atoms made one by one, then deleted one by one.
void atoms_one_by_one(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  std::deque<Record> records;
  bench::paired(
      state, 2.0 * n,
      [&] {
        const int mol = nx_make_molecule();
        for (int k = 1; k <= n; ++k) {
          nx_set_molecule_atom_number(k, mol);
        }
        for (int k = n; k > 0; --k) {
          nx_set_molecule_atom_number(k - 1, mol);
        }
        nx_delete_molecule(mol);
      },
      [&] { grow_and_shrink(records, n); });
}

// n bonds of a chain made and wired one by one, then deleted one by one.
void bonds_one_by_one(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  std::deque<Record> records;
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(n + 1, mol);
  bench::paired(
      state, 2.0 * n,
      [&] {
        const int first = nx_get_molecule_bonds_length(mol) / 3;
        for (int k = 0; k < n; ++k) {
          nx_set_molecule_bond_number(k + 1, mol);
          const int bond[] = {k, k + 1, 1};
          nx_set_molecule_bonds_element(bond, first + k, mol);
        }
        for (int k = n; k > 0; --k) {
          nx_set_molecule_bond_number(k - 1, mol);
        }
      },
      [&] { grow_and_shrink(records, n); });
  nx_delete_molecule(mol);
}

// Makes and deletes 20 bonds and two conformers in a molecule in which that was done n times before. Two bonds made
// halfway through that past stay.
void made_and_dropped_again(benchmark::State& state) {
  constexpr int kRounds = 200;
  const auto past = static_cast<int>(state.range(0));
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(20, mol);
  const auto round = [mol](int stay) {
    nx_set_molecule_bond_number(stay + 20, mol);
    nx_set_molecule_bond_number(stay, mol);
    nx_set_molecule_conformer_number(3, mol);
    nx_set_molecule_conformer_number(1, mol);
  };
  for (int k = 0; k < past; ++k) {
    round(k < past / 2 ? 0 : 2);
  }
  std::deque<Record> records;
  bench::paired(
      state, kRounds,
      [&] {
        for (int k = 0; k < kRounds; ++k) {
          round(2);
        }
      },
      [&] {
        for (int k = 0; k < kRounds; ++k) {
          grow_and_shrink(records, 22);
        }
      });
  nx_delete_molecule(mol);
}

// A molecule of n atoms, and arrays for it.
struct Arrays {
  int mol = nx_make_molecule();
  std::vector<float> floats;
  std::vector<int> ints;
  std::string letters;
  std::string names;
  std::string chains;

  explicit Arrays(int n) : floats(static_cast<std::size_t>(3 * n)), ints(static_cast<std::size_t>(n)) {
    nx_set_molecule_atom_number(n, mol);
    std::mt19937 random(31);
    for (float& value : floats) {
      value = static_cast<float>(random() % 10000) / 100.0F - 50.0F;
    }
    for (int i = 0; i < n; ++i) {
      ints[static_cast<std::size_t>(i)] = i / 8;  // atoms of a residue
      letters += "CHNOS"[random() % 5];
      names += letters.back();
      names += std::to_string(i % 8) + '\0';
      chains += static_cast<char>('A' + i / 2000 % 26);
    }
  }
  Arrays(const Arrays&) = delete;
  Arrays& operator=(const Arrays&) = delete;
  ~Arrays() { nx_delete_molecule(mol); }

  // The bytes of the arrays that are outside the molecule.
  std::size_t bytes() const {
    return floats.capacity() * sizeof(float) + ints.capacity() * sizeof(int) + letters.capacity() + names.capacity() +
           chains.capacity();
  }

  void set_all() const {
    nx_set_molecule_coordinates(floats.data(), mol);
    nx_set_molecule_radii(floats.data(), mol);
    nx_set_molecule_charges(floats.data(), mol);
    nx_set_molecule_atom_type(ints.data(), mol);
    nx_set_molecule_element(letters.data(), mol);
    nx_set_molecule_atom_names(names.data(), mol);
  }
};

using Call = void (*)(Arrays&);

struct ArrayCall {
  const char* name;
  Call set;
  Call get;
  std::size_t bytes;  // of an atom
};

// The packed size of a two-letter name.
constexpr std::size_t kNameBytes = 3;

// Packed names, one after the other.
void copy_names(const std::string& names, char* to) {
  for (const char* from = names.data(); from != names.data() + names.size();) {
    const std::size_t length = std::strlen(from) + 1;
    std::memcpy(to, from, length);
    from += length;
    to += length;
  }
}

constexpr ArrayCall kArrayCalls[] = {
    {"coordinates", [](Arrays& a) { nx_set_molecule_coordinates(a.floats.data(), a.mol); },
     [](Arrays& a) { nx_get_molecule_coordinates(a.floats.data(), a.mol); }, 12},
    {"charges", [](Arrays& a) { nx_set_molecule_charges(a.floats.data(), a.mol); },
     [](Arrays& a) { nx_get_molecule_charges(a.floats.data(), a.mol); }, 4},
    {"radii", [](Arrays& a) { nx_set_molecule_radii(a.floats.data(), a.mol); },
     [](Arrays& a) { nx_get_molecule_radii(a.floats.data(), a.mol); }, 4},
    {"atom_type", [](Arrays& a) { nx_set_molecule_atom_type(a.ints.data(), a.mol); },
     [](Arrays& a) { nx_get_molecule_atom_type(a.ints.data(), a.mol); }, 4},
    {"element", [](Arrays& a) { nx_set_molecule_element(a.letters.data(), a.mol); },
     [](Arrays& a) { nx_get_molecule_element(a.letters.data(), a.mol); }, 1},
    {"residue_number", [](Arrays& a) { nx_set_molecule_residue_number(a.ints.data(), a.mol); },
     [](Arrays& a) { nx_get_molecule_residue_number(a.ints.data(), a.mol); }, 4},
    {"atom_names", [](Arrays& a) { nx_set_molecule_atom_names(a.names.data(), a.mol); },
     [](Arrays& a) { nx_get_molecule_atom_names(a.names.data(), static_cast<int>(a.names.size()), a.mol); },
     kNameBytes},
};

void array(benchmark::State& state, const ArrayCall& array, bool set) {
  const auto n = static_cast<int>(state.range(0));
  Arrays arrays(n);
  arrays.set_all();
  const int repeats = std::max(1, 300000 / n);
  std::vector<char> from(array.bytes * static_cast<std::size_t>(n), 1);
  std::vector<char> to(from.size());
  const Call call = set ? array.set : array.get;
  const bool are_names = array.bytes == kNameBytes;
  bench::paired(
      state, static_cast<double>(repeats) * n,
      [&] {
        for (int k = 0; k < repeats; ++k) {
          call(arrays);
        }
      },
      [&] {
        for (int k = 0; k < repeats; ++k) {
          if (are_names) {
            copy_names(arrays.names, to.data());
          } else {
            std::memcpy(to.data(), from.data(), from.size());
          }
          benchmark::ClobberMemory();
        }
      });
}

// A molecule of 20 atoms with its arrays made and deleted, against as many blocks filled by memcpy.
void make_and_delete_20(benchmark::State& state) {
  constexpr int kRounds = 1000;
  const Arrays arrays(20);
  bench::paired(
      state, kRounds,
      [&] {
        for (int k = 0; k < kRounds; ++k) {
          const int mol = nx_make_molecule();
          nx_set_molecule_atom_number(20, mol);
          nx_set_molecule_coordinates(arrays.floats.data(), mol);
          nx_set_molecule_radii(arrays.floats.data(), mol);
          nx_set_molecule_charges(arrays.floats.data(), mol);
          nx_set_molecule_atom_type(arrays.ints.data(), mol);
          nx_set_molecule_element(arrays.letters.data(), mol);
          nx_set_molecule_atom_names(arrays.names.data(), mol);
          nx_delete_molecule(mol);
        }
      },
      [&] {
        for (int k = 0; k < kRounds; ++k) {
          std::array<std::unique_ptr<char[]>, 6> blocks;
          for (auto& block : blocks) {
            block.reset(new char[240]);
            std::memcpy(block.get(), arrays.floats.data(), 240);
          }
          benchmark::DoNotOptimize(blocks.data());
        }
      });
}

std::size_t heap_in_use() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

void report_bytes(benchmark::State& state, double ours, double peer) {
  for (auto _ : state) {
    state.SetIterationTime(1e-9);
  }
  state.counters["ours"] = ours;
  state.counters["yardstick"] = peer;
  state.counters["ratio"] = ours / peer;
}

// Bytes of the heap per atom: with all arrays and eight atoms to a residue, or with a residue record for each atom, as
// files with temperature factors give. The peer is a record of the same properties side by side in an array.
void bytes_per_atom(benchmark::State& state, bool own_records) {
  constexpr int kAtoms = 100000;
  const std::size_t before = heap_in_use();
  std::size_t taken = 0;
  {
    const Arrays arrays(kAtoms);
    arrays.set_all();
    std::vector<int> numbers(arrays.ints);
    if (own_records) {
      std::iota(numbers.begin(), numbers.end(), 0);
    }
    nx_set_molecule_residue_number(numbers.data(), arrays.mol);
    nx_set_molecule_chain_names(arrays.chains.data(), arrays.mol);
    numbers = std::vector<int>();
    taken = heap_in_use() - before - arrays.bytes();
  }
  struct Plain {
    float xyz[3];
    float radius;
    float charge;
    int type;
    int residue_number;
    int sequence_number;
    char name[8];
    char residue_name[8];
    char element;
    char chain;
  };
  state.SetLabel(own_records ? "a residue record for each" : "eight to a residue record");
  report_bytes(state, static_cast<double>(taken) / kAtoms, sizeof(Plain));
}

// Bytes of the heap per bond of a chain, beyond those of its atoms.
void bytes_per_bond(benchmark::State& state) {
  constexpr int kBonds = 100000;
  const int mol = nx_make_molecule();
  nx_set_molecule_atom_number(kBonds + 1, mol);
  std::vector<int> bonds;
  for (int k = 0; k < kBonds; ++k) {
    bonds.insert(bonds.end(), {k, k + 1, 1});
  }
  const std::size_t before = heap_in_use();
  nx_set_molecule_bond_number(kBonds, mol);
  nx_set_molecule_bonds(bonds.data(), mol);
  const std::size_t after = heap_in_use();
  nx_delete_molecule(mol);
  report_bytes(state, static_cast<double>(after - before) / kBonds, 3 * sizeof(int));
}

bool register_all() {
  for (const int64_t n : {1000, 10000, 100000, 1000000}) {
    benchmark::RegisterBenchmark("make", make)->Arg(n)->UseManualTime()->Iterations(kParts);
  }
  for (const ArrayCall& call : kArrayCalls) {
    for (const bool set : {true, false}) {
      const std::string name = std::string("array/") + (set ? "set/" : "get/") + call.name;
      for (const int64_t n : {100, 1000, 10000, 100000, 1000000}) {
        benchmark::RegisterBenchmark(name.c_str(), [&call, set](benchmark::State& state) { array(state, call, set); })
            ->Arg(n)
            ->UseManualTime();
      }
    }
  }
  benchmark::RegisterBenchmark("bytes_per_atom/residues", bytes_per_atom, false)->UseManualTime()->Iterations(1);
  benchmark::RegisterBenchmark("bytes_per_atom/records", bytes_per_atom, true)->UseManualTime()->Iterations(1);
  benchmark::RegisterBenchmark("bytes_per_bond", bytes_per_bond)->UseManualTime()->Iterations(1);
  return true;
}

const bool registered = register_all();

BENCHMARK(atoms_one_by_one)->Arg(1000)->Arg(10000)->Arg(80000)->UseManualTime();
BENCHMARK(bonds_one_by_one)->Arg(1000)->Arg(10000)->Arg(80000)->UseManualTime();
BENCHMARK(made_and_dropped_again)->Arg(0)->Arg(1000)->Arg(100000)->UseManualTime();
BENCHMARK(make_and_delete_20)->UseManualTime();

}  // namespace
