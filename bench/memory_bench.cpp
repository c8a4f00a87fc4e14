// Tracked allocation against malloc and free, at various numbers of live blocks: newest first as single pairs and as
// whole batches, with and without an old gap in the records, in random order, and in rounds after a peak of live
// blocks.
#include <benchmark/benchmark.h>
#include <nxbriochem/objects/memory.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <random>
#include <vector>

#include "bench/paired.h"

namespace {

struct Tracked {
  static void* allocate(std::size_t size) { return nx_malloc(static_cast<int64_t>(size)); }
  static void release(void* block) { nx_free(block); }
};

struct Plain {
  static void* allocate(std::size_t size) { return std::malloc(size); }
  static void release(void* block) { std::free(block); }
};

std::vector<std::size_t> sizes(std::size_t n) {
  std::mt19937 random(1);
  std::vector<std::size_t> result(n);
  for (std::size_t& size : result) {
    size = 16 + random() % 240;
  }
  return result;
}

template <class Heap>
std::vector<void*> hold(std::size_t n) {
  std::vector<void*> blocks;
  for (const std::size_t size : sizes(n)) {
    blocks.push_back(Heap::allocate(size));
  }
  return blocks;
}

template <class Heap>
void release_all(const std::vector<void*>& blocks) {
  for (auto block = blocks.rbegin(); block != blocks.rend(); ++block) {
    Heap::release(*block);
  }
}

constexpr int kPairs = 20000;

template <class Heap>
void pairs() {
  for (int i = 0; i < kPairs; ++i) {
    void* block = Heap::allocate(64);
    benchmark::DoNotOptimize(block);
    Heap::release(block);
  }
}

// A block is made and freed at once, repeatedly, with n live blocks.
void newest_pair(benchmark::State& state, bool hole) {
  const auto n = static_cast<std::size_t>(state.range(0));
  std::vector<void*> tracked = hold<Tracked>(n);
  const std::vector<void*> plain = hold<Plain>(n);
  if (hole) {
    nx_free(tracked[n / 3]);
    tracked.erase(tracked.begin() + static_cast<std::ptrdiff_t>(n / 3));
  }
  bench::paired(state, kPairs, pairs<Tracked>, pairs<Plain>);
  release_all<Tracked>(tracked);
  release_all<Plain>(plain);
}

// Sizes differ from round to round. Identical rounds would be learnt by the branch predictor, which real programs with
// other work between allocations do not benefit from.
template <class Heap>
void batch(const std::vector<std::size_t>& wanted, std::vector<void*>& blocks, int rounds, std::size_t& at) {
  for (int round = 0; round < rounds; ++round) {
    for (void*& block : blocks) {
      block = Heap::allocate(wanted[at++ % wanted.size()]);
    }
    release_all<Heap>(blocks);
  }
}

// n blocks are made and freed, newest first.
void newest_batch(benchmark::State& state, bool hole) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const std::vector<std::size_t> wanted = sizes(1U << 20);
  std::vector<void*> blocks(n);
  std::vector<void*> older = hold<Tracked>(10);
  if (hole) {
    nx_free(older[3]);
    older.erase(older.begin() + 3);
  }
  // Several rounds at a time also for the largest n: the heap is alternately fast and slow from round to round, and
  // neither side must always get the fast rounds.
  const int rounds = static_cast<int>(700000 / n);
  std::size_t own_at = 0;
  std::size_t their_at = 0;
  bench::paired(
      state, static_cast<double>(n) * rounds, [&] { batch<Tracked>(wanted, blocks, rounds, own_at); },
      [&] { batch<Plain>(wanted, blocks, rounds, their_at); });
  release_all<Tracked>(older);
}

constexpr int kReplacements = 100000;

template <class Heap>
void replace(std::vector<void*>& blocks, const std::vector<uint32_t>& order, const std::vector<std::size_t>& wanted) {
  for (const uint32_t at : order) {
    Heap::release(blocks[at]);
    blocks[at] = Heap::allocate(wanted[at]);
  }
}

// One of n live blocks, any, is freed and another made.
void random_order(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const std::vector<std::size_t> wanted = sizes(n);
  std::vector<void*> tracked = hold<Tracked>(n);
  std::vector<void*> plain = hold<Plain>(n);
  std::mt19937 random(2);
  std::vector<uint32_t> order(kReplacements);
  for (uint32_t& at : order) {
    at = static_cast<uint32_t>(random() % n);
  }
  bench::paired(
      state, kReplacements, [&] { replace<Tracked>(tracked, order, wanted); },
      [&] { replace<Plain>(plain, order, wanted); });
  release_all<Tracked>(tracked);
  release_all<Plain>(plain);
}

constexpr int kRoundedBlocks = 100000;

// The blocks' places in the order of their release.
std::vector<std::size_t> release_order(std::size_t n, bool newest_first, std::mt19937& random) {
  std::vector<std::size_t> order(n);
  std::iota(order.rbegin(), order.rend(), 0);
  if (!newest_first) {
    std::shuffle(order.begin(), order.end(), random);
  }
  return order;
}

template <class Heap>
void rounds(const std::vector<std::size_t>& wanted, const std::vector<std::vector<std::size_t>>& orders) {
  std::vector<void*> blocks(orders.front().size());
  std::size_t at = 0;
  for (const std::vector<std::size_t>& order : orders) {
    for (void*& block : blocks) {
      block = Heap::allocate(wanted[at++ % wanted.size()]);
    }
    for (const std::size_t place : order) {
      Heap::release(blocks[place]);
    }
  }
}

// Blocks are made and freed in rounds, after so many were live at once and were freed in random order.
void after_peak(benchmark::State& state, bool newest_first) {
  const auto peak = static_cast<std::size_t>(state.range(0));
  const auto n = static_cast<std::size_t>(state.range(1));
  std::mt19937 random(4);
  const std::vector<void*> tracked = hold<Tracked>(peak);
  const std::vector<void*> plain = hold<Plain>(peak);
  for (const std::size_t at : release_order(peak, false, random)) {
    nx_free(tracked[at]);
    std::free(plain[at]);
  }
  const std::vector<std::size_t> wanted = sizes(1U << 17);
  std::vector<std::vector<std::size_t>> orders;
  for (std::size_t made = 0; made < kRoundedBlocks; made += n) {
    orders.push_back(release_order(n, newest_first, random));
  }
  bench::paired(
      state, static_cast<double>(n * orders.size()), [&] { rounds<Tracked>(wanted, orders); },
      [&] { rounds<Plain>(wanted, orders); });
}

// These run first, in a fresh heap; after_peak measures a heap with a past.
BENCHMARK(random_order)->RangeMultiplier(10)->Range(100, 1000000)->UseManualTime();
BENCHMARK_CAPTURE(newest_pair, no_hole, false)->RangeMultiplier(10)->Range(100, 1000000)->UseManualTime();
BENCHMARK_CAPTURE(newest_pair, old_hole, true)->RangeMultiplier(10)->Range(100, 1000000)->UseManualTime();
BENCHMARK_CAPTURE(newest_batch, no_hole, false)->Arg(1000)->Arg(10000)->Arg(100000)->UseManualTime();
BENCHMARK_CAPTURE(newest_batch, old_hole, true)->Arg(1000)->Arg(10000)->Arg(100000)->UseManualTime();
BENCHMARK_CAPTURE(after_peak, newest, true)->ArgsProduct({{100000, 1000000}, {64, 300, 1000}})->UseManualTime();
BENCHMARK_CAPTURE(after_peak, random, false)->ArgsProduct({{100000, 1000000}, {64, 300, 1000}})->UseManualTime();

}  // namespace
