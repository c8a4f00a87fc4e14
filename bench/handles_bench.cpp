// Handles, at growing numbers of live ones. Making one is compared with an insertion into a hash map, translating one
// with a mask and two loads, making and deleting one with the hash map, and acquiring and releasing a molecule's handle
// by object with counts in a hash map. Then translation with 16,000 live objects after many were deleted: of handles
// that are alone in their slot, and of all handles, a fifth of which share slots. Last, deleting the oldest of many
// lists is compared with moving the other lists' bytes.
#include <benchmark/benchmark.h>
#include <nxbriochem/molecules/memmgr.h>
#include <nxbriochem/objects/list_obj.h>
#include <nxbriochem/objects/obj_man.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "bench/paired.h"

namespace {

constexpr std::size_t kChurned = 16000;
constexpr std::size_t kLeastSlots = 65536;
constexpr int kType = 90;

// All live handles. Their number only grows during the run, so benchmarks are in the order of their sizes.
std::vector<int> live;

int make_handle() {
  [[maybe_unused]] static const int registered = nxi_register_object(kType, "bench", 8, 1000);
  uint32_t handle = 0;
  nxi_make_object(kType, &handle);
  return static_cast<int>(handle);
}

void make_live(std::size_t n) {
  while (live.size() < n) {
    live.push_back(make_handle());
  }
}

// Deletes and makes a quarter, three times over: the handles of a program that has been running for a while.
void churn() {
  std::mt19937 random(3);
  for (int round = 0; round < 3; ++round) {
    for (std::size_t k = 0; k < kChurned / 4; ++k) {
      std::swap(live[random() % live.size()], live.back());
      nxi_delete_object(live.back());
      live.pop_back();
    }
    make_live(kChurned);
  }
}

// Makes handles until n are live. False, with an error, when there are already more.
bool have_live(benchmark::State& state, std::size_t n) {
  make_live(n);
  if (live.size() > n) {
    state.SkipWithError("more handles are live already: run sizes in their order");
    return false;
  }
  return true;
}

// The yardstick of translation: index and records of a table in which every handle is alone in its slot.
struct Record {
  int32_t handle;
  int32_t index;
  int32_t rest[3];
};
std::vector<int32_t> slot_to_record;
std::vector<Record> records;

uint32_t slot_of(int handle) {
  return static_cast<uint32_t>(handle) & static_cast<uint32_t>(slot_to_record.size() - 1);
}

__attribute__((noinline)) uint32_t mask_and_two_loads(int handle) {
  return static_cast<uint32_t>(records[static_cast<std::size_t>(slot_to_record[slot_of(handle)])].index);
}

template <class Translate>
void translate_all(const std::vector<int>& handles, std::size_t times, Translate translate) {
  uint32_t sum = 0;
  for (std::size_t k = 0; k < times; ++k) {
    for (const int handle : handles) {
      sum += translate(handle);
    }
  }
  benchmark::DoNotOptimize(sum);
}

void translate_live(benchmark::State& state, bool alone_only) {
  const std::size_t n = live.size();
  // As many slots as the registry has.
  slot_to_record.assign(std::max(kLeastSlots, std::bit_ceil(4 * n)), 0);
  records.assign(n, {});
  std::vector<int> occupants(slot_to_record.size());
  for (const int handle : live) {
    ++occupants[slot_of(handle)];
  }
  std::vector<int> handles;
  std::size_t shared = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const uint32_t slot = slot_of(live[i]);
    slot_to_record[slot] = static_cast<int32_t>(i);
    records[i] = {live[i], static_cast<int32_t>(i), {}};
    shared += static_cast<std::size_t>(occupants[slot] > 1);
    if (!alone_only || occupants[slot] == 1) {
      handles.push_back(live[i]);
    }
  }
  std::mt19937 random(5);
  std::shuffle(handles.begin(), handles.end(), random);
  const std::size_t times = 1 + 30000 / n;
  bench::paired(
      state, static_cast<double>(times * handles.size()), [&] { translate_all(handles, times, nxi_translate_handle); },
      [&] { translate_all(handles, times, mask_and_two_loads); });
  state.counters["shared"] = static_cast<double>(shared) / static_cast<double>(n);
}

void translate(benchmark::State& state) {
  if (have_live(state, static_cast<std::size_t>(state.range(0)))) {
    translate_live(state, false);
  }
}

void translate_churned(benchmark::State& state, bool alone_only) {
  if (have_live(state, kChurned)) {
    [[maybe_unused]] static const bool churned = (churn(), true);
    translate_live(state, alone_only);
  }
}

constexpr std::size_t kParts = 9;

// Makes handles from n / 10 (or the present number) up to n, a ninth of them in each iteration.
void make(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  make_live(n / 10);
  if (live.size() >= n) {
    state.SkipWithError("as many handles are live already: run sizes in their order");
    return;
  }
  const std::size_t part = (n - live.size()) / kParts;
  std::unordered_map<uint32_t, Record> map;
  std::mt19937 random(6);
  const auto emplace = [&](std::size_t count) {
    for (std::size_t k = 0; k < count; ++k) {
      map.emplace(random(), Record{});
    }
  };
  emplace(live.size());
  bench::paired(
      state, static_cast<double>(part), [&] { make_live(live.size() + part); }, [&] { emplace(part); });
}

// Deletes one handle and makes another: the newest, or the oldest, whose deletion moves up all others.
void make_and_delete(benchmark::State& state, bool oldest) {
  if (!have_live(state, static_cast<std::size_t>(state.range(0)))) {
    return;
  }
  const int64_t remade = oldest ? std::max<int64_t>(10, 100000 / state.range(0)) : 1000;
  std::unordered_map<uint32_t, Record> map;
  std::vector<uint32_t> keys;
  std::mt19937 random(7);
  while (map.size() < live.size()) {
    keys.push_back(map.emplace(random(), Record{}).first->first);
  }
  std::size_t next = oldest ? 0 : live.size() - 1;
  std::size_t next_key = next;
  const auto step = [&](std::size_t& at) { at = oldest ? (at + 1) % live.size() : at; };
  bench::paired(
      state, static_cast<double>(remade),
      [&] {
        for (int64_t k = 0; k < remade; ++k, step(next)) {
          nxi_delete_object(live[next]);
          live[next] = make_handle();
        }
      },
      [&] {
        for (int64_t k = 0; k < remade; ++k, step(next_key)) {
          map.erase(keys[next_key]);
          keys[next_key] = map.emplace(random(), Record{}).first->first;
        }
      });
  std::rotate(live.begin(), live.begin() + static_cast<std::ptrdiff_t>(oldest ? next : 0), live.end());
}

void acquire_and_release(benchmark::State& state) {
  constexpr int kCalls = 10000;
  std::vector<NxChem::NxMolBase> molecules(static_cast<std::size_t>(state.range(0)));
  std::unordered_map<const void*, int> counts;
  for (const NxChem::NxMolBase& mol : molecules) {
    NxBrioChem::NxAcquireHandle(mol);
    counts[&mol] = 1;
  }
  std::mt19937 random(4);
  std::vector<const NxChem::NxMolBase*> asked(kCalls);
  for (const auto*& mol : asked) {
    mol = &molecules[random() % molecules.size()];
  }
  bench::paired(
      state, kCalls,
      [&] {
        for (const auto* mol : asked) {
          NxBrioChem::NxAcquireHandle(*mol);
          NxBrioChem::NxReleaseHandle(*mol);
        }
      },
      [&] {
        for (const auto* mol : asked) {
          ++counts[mol];
          benchmark::ClobberMemory();
          --counts[mol];
        }
      });
  for (const NxChem::NxMolBase& mol : molecules) {
    NxBrioChem::NxReleaseAllHandles(mol);
  }
}

// The oldest of n lists is deleted: the others' bytes move down by one list, which callers can see.
void delete_oldest_list(benchmark::State& state) {
  constexpr std::size_t kListBytes = 120;
  constexpr int kDeleted = 1;  // alternating, so that neither side has just moved its bytes and finds them in the cache
  const auto n = static_cast<std::size_t>(state.range(0));
  std::vector<int> lists;
  while (lists.size() < n) {
    lists.push_back(nx_make_list());
  }
  // As large as the registry's array, and grown in its steps: by ten lists at a time.
  char* bytes = nullptr;
  const std::size_t size = n * kListBytes;
  for (std::size_t have = 0; have < size; have += 10 * kListBytes) {
    bytes = static_cast<char*>(std::realloc(bytes, have + 10 * kListBytes));
    std::memset(bytes + have, 1, 10 * kListBytes);
  }
  std::size_t oldest = 0;
  bench::paired(
      state, kDeleted,
      [&] {
        for (int k = 0; k < kDeleted; ++k) {
          nx_delete_list(lists[oldest++]);
        }
      },
      [&] {
        for (int k = 0; k < kDeleted; ++k) {
          std::memmove(bytes, bytes + kListBytes, size - kListBytes);
          benchmark::ClobberMemory();
        }
      });
  std::free(bytes);
  while (oldest < lists.size()) {
    nx_delete_list(lists.back());
    lists.pop_back();
  }
}

bool register_growth() {
  for (const int64_t n : {1000, 10000, 100000}) {
    benchmark::RegisterBenchmark("delete_oldest_list", delete_oldest_list)->Arg(n)->UseManualTime()->Iterations(100);
  }
  for (const int64_t n : {100, 1000, 10000, 16000, 100000, 1000000}) {
    if (n == int64_t{kChurned}) {
      benchmark::RegisterBenchmark("translate_churned/alone", translate_churned, true)->UseManualTime();
      benchmark::RegisterBenchmark("translate_churned/all", translate_churned, false)->UseManualTime();
      continue;
    }
    if (n > 100) {
      benchmark::RegisterBenchmark("make", make)->Arg(n)->UseManualTime()->Iterations(kParts);
    }
    benchmark::RegisterBenchmark("translate", translate)->Arg(n)->UseManualTime();
    benchmark::RegisterBenchmark("make_and_delete/newest", make_and_delete, false)->Arg(n)->UseManualTime();
    if (n <= 100000) {
      benchmark::RegisterBenchmark("make_and_delete/oldest", make_and_delete, true)->Arg(n)->UseManualTime();
    }
  }
  return true;
}

const bool registered = register_growth();

BENCHMARK(acquire_and_release)->RangeMultiplier(10)->Range(100, 1000000)->UseManualTime();

}  // namespace
