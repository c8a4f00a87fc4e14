// Counting the bits of 1 MiB of words, compared with a loop of the compiler's population count: plain -O2, and with the
// processor's instruction where there is one. The counter "ratio" is our time over the loop's: below 1 ours is faster.
// And the counts word by word against the same loops.
#include <benchmark/benchmark.h>
#include <nxbriochem/molecules/bits.h>

#include <cstdint>
#include <random>
#include <vector>

#include "bench/paired.h"

namespace {

#if defined(__clang__)
#define YARDSTICK __attribute__((noinline))
#else
#define YARDSTICK __attribute__((noinline, optimize("O2")))
#endif

constexpr int kWords = 1 << 18;
// Passes over the words in an iteration, so that it takes some hundred microseconds.
constexpr int kPasses = 16;

using Sum = unsigned (*)(const uint32_t* words, int n);
using Counts = void (*)(const uint32_t* words, uint32_t* counts, int n);

YARDSTICK unsigned sum_at_o2(const uint32_t* words, int n) {
  unsigned sum = 0;
  for (int i = 0; i < n; ++i) {
    sum += static_cast<unsigned>(__builtin_popcount(words[i]));
  }
  return sum;
}

YARDSTICK void counts_at_o2(const uint32_t* words, uint32_t* counts, int n) {
  for (int i = 0; i < n; ++i) {
    counts[i] = static_cast<uint32_t>(__builtin_popcount(words[i]));
  }
}

#if defined(__x86_64__)
YARDSTICK __attribute__((target("popcnt"))) unsigned sum_by_instruction(const uint32_t* words, int n) {
  unsigned sum = 0;
  for (int i = 0; i < n; ++i) {
    sum += static_cast<unsigned>(__builtin_popcount(words[i]));
  }
  return sum;
}

YARDSTICK __attribute__((target("popcnt"))) void counts_by_instruction(const uint32_t* words, uint32_t* counts, int n) {
  for (int i = 0; i < n; ++i) {
    counts[i] = static_cast<uint32_t>(__builtin_popcount(words[i]));
  }
}

bool has_instruction() { return __builtin_cpu_supports("popcnt") != 0; }
#else
constexpr Sum sum_by_instruction = sum_at_o2;
constexpr Counts counts_by_instruction = counts_at_o2;

bool has_instruction() { return true; }
#endif

std::vector<uint32_t> random_words() {
  std::mt19937 random(5);
  std::vector<uint32_t> words(kWords);
  for (uint32_t& word : words) {
    word = static_cast<uint32_t>(random());
  }
  nx_make_short_nob_table();
  return words;
}

void bits_on(benchmark::State& state, Sum yardstick, bool needs_instruction) {
  if (needs_instruction && !has_instruction()) {
    state.SkipWithError("not on this processor");
    return;
  }
  const std::vector<uint32_t> words = random_words();
  if (nx_bits_on(words.data(), kWords) != yardstick(words.data(), kWords)) {
    state.SkipWithError("the sums differ");
    return;
  }
  const auto passes = [&words](Sum sum) {
    for (int pass = 0; pass < kPasses; ++pass) {
      benchmark::DoNotOptimize(sum(words.data(), kWords));
    }
  };
  bench::paired(
      state, double{kWords} * kPasses, [&] { passes(nx_bits_on); }, [&] { passes(yardstick); });
}

BENCHMARK_CAPTURE(bits_on, popcount_at_O2, sum_at_o2, false)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(bits_on, instruction, sum_by_instruction, true)->UseManualTime()->Unit(benchmark::kMicrosecond);

void count_bits(benchmark::State& state, Counts yardstick, bool needs_instruction) {
  if (needs_instruction && !has_instruction()) {
    state.SkipWithError("not on this processor");
    return;
  }
  const std::vector<uint32_t> words = random_words();
  std::vector<uint32_t> counts(kWords);
  const auto passes = [&](Counts count) {
    for (int pass = 0; pass < kPasses; ++pass) {
      count(words.data(), counts.data(), kWords);
      benchmark::ClobberMemory();
    }
  };
  bench::paired(
      state, double{kWords} * kPasses, [&] { passes(nx_count_bits); }, [&] { passes(yardstick); });
}

BENCHMARK_CAPTURE(count_bits, popcount_at_O2, counts_at_o2, false)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(count_bits, instruction, counts_by_instruction, true)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
