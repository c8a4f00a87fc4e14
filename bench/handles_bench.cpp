// Translating a handle against what the commonest case comes down to, a mask and two loads, with 16,000 live objects:
// for handles that are alone in their slot, and for all live ones, of which a fifth share slots. And what it costs, per
// object, to acquire and release molecule handles by object at various numbers of live ones.
#include <benchmark/benchmark.h>
#include <nxbriochem/molecules/memmgr.h>
#include <nxbriochem/objects/obj_man.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "bench/paired.h"

namespace {

constexpr std::size_t kLive = 16000;
constexpr uint32_t kSlots = 65536;
constexpr int kType = 90;

// 16,000 handles that a program is left with after it made four times as many and deleted the others.
const std::vector<int>& live_handles() {
  static const std::vector<int> handles = [] {
    nxi_register_object(kType, "bench", 8, 1000);
    std::mt19937 random(3);
    std::vector<int> made;
    for (int round = 0; round < 4; ++round) {
      while (made.size() < kLive) {
        uint32_t handle = 0;
        nxi_make_object(kType, &handle);
        made.push_back(static_cast<int>(handle));
      }
      for (std::size_t k = 0; round < 3 && k < kLive / 4; ++k) {
        const auto at = static_cast<std::ptrdiff_t>(random() % made.size());
        nxi_delete_object(made[static_cast<std::size_t>(at)]);
        made.erase(made.begin() + at);
      }
    }
    std::shuffle(made.begin(), made.end(), random);
    return made;
  }();
  return handles;
}

// The yardstick: index and records of a table in which every handle is alone in its slot.
struct Record {
  int32_t handle;
  int32_t index;
  int32_t rest[3];
};
std::vector<int32_t> slot_to_record(kSlots);
std::vector<Record> records(kLive);

__attribute__((noinline)) uint32_t mask_and_two_loads(int handle) {
  return static_cast<uint32_t>(
      records[static_cast<std::size_t>(slot_to_record[static_cast<uint32_t>(handle) & (kSlots - 1)])].index);
}

template <class Translate>
void translate_all(const std::vector<int>& handles, Translate translate) {
  uint32_t sum = 0;
  for (const int handle : handles) {
    sum += translate(handle);
  }
  benchmark::DoNotOptimize(sum);
}

void translate(benchmark::State& state, bool alone_only) {
  std::vector<int> occupants(kSlots);
  for (const int handle : live_handles()) {
    ++occupants[static_cast<uint32_t>(handle) & (kSlots - 1)];
  }
  std::vector<int> handles;
  std::size_t shared = 0;
  for (std::size_t i = 0; i < kLive; ++i) {
    const int handle = live_handles()[i];
    const uint32_t slot = static_cast<uint32_t>(handle) & (kSlots - 1);
    slot_to_record[slot] = static_cast<int32_t>(i);
    records[i] = {handle, static_cast<int32_t>(i), {}};
    shared += static_cast<std::size_t>(occupants[slot] > 1);
    if (!alone_only || occupants[slot] == 1) {
      handles.push_back(handle);
    }
  }
  bench::paired(
      state, static_cast<double>(handles.size()), [&] { translate_all(handles, nxi_translate_handle); },
      [&] { translate_all(handles, mask_and_two_loads); });
  state.counters["shared"] = static_cast<double>(shared) / kLive;
}

BENCHMARK_CAPTURE(translate, alone, true)->UseManualTime();
BENCHMARK_CAPTURE(translate, all, false)->UseManualTime();

void acquire_and_release(benchmark::State& state) {
  std::vector<NxChem::NxMolBase> molecules(static_cast<std::size_t>(state.range(0)));
  for (const NxChem::NxMolBase& mol : molecules) {
    NxBrioChem::NxAcquireHandle(mol);
  }
  std::mt19937 random(4);
  for (auto _ : state) {
    const NxChem::NxMolBase& mol = molecules[random() % molecules.size()];
    NxBrioChem::NxAcquireHandle(mol);
    NxBrioChem::NxReleaseHandle(mol);
  }
  for (const NxChem::NxMolBase& mol : molecules) {
    NxBrioChem::NxReleaseAllHandles(mol);
  }
}

BENCHMARK(acquire_and_release)->RangeMultiplier(10)->Range(100, 100000);

}  // namespace
