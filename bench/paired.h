// Two ways of doing the same thing, timed one after the other in every iteration of one run, so that what slows the
// machine slows both. What is timed is the thread's time on its processor, in the program and in the system: turns of
// other programs do not count.
#ifndef NXBRIOCHEM_BENCH_PAIRED_H
#define NXBRIOCHEM_BENCH_PAIRED_H

#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <vector>

namespace bench {

inline double seconds_of_this_thread() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

template <class Call>
double seconds_with_clock(Call call) {
  const double start = seconds_of_this_thread();
  call();
  return seconds_of_this_thread() - start;
}

// The time of reading the clock, a fraction of a microsecond, is subtracted.
template <class Call>
double seconds_of(Call call) {
  static const double clock = [] {
    double least = 1;
    for (int k = 0; k < 1000; ++k) {
      least = std::min(least, seconds_with_clock([] {}));
    }
    return least;
  }();
  return seconds_with_clock(call) - clock;
}

inline double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// A median of fewer turns would say little.
constexpr std::size_t kLeastTurns = 5;

// Runs `ours` and `yardstick`, each of which does `operations` operations, in turn: once in each iteration, and at the
// end up to kLeastTurns. Counters: the median nanoseconds per operation of both, and the median of the ratios of their
// times (below 1: ours is faster). Use with UseManualTime().
template <class Ours, class Yardstick>
void paired(benchmark::State& state, double operations, Ours ours, Yardstick yardstick) {
  std::vector<double> ours_ns;
  std::vector<double> yardstick_ns;
  std::vector<double> ratios;
  const auto turn = [&] {
    const double theirs = seconds_of(yardstick);
    const double own = seconds_of(ours);
    ours_ns.push_back(1e9 * own / operations);
    yardstick_ns.push_back(1e9 * theirs / operations);
    ratios.push_back(own / theirs);
    return own;
  };
  for (auto _ : state) {
    state.SetIterationTime(turn());
  }
  while (ratios.size() < kLeastTurns) {
    turn();
  }
  state.counters["ours_ns"] = median(ours_ns);
  state.counters["yardstick_ns"] = median(yardstick_ns);
  state.counters["ratio"] = median(ratios);
}

}  // namespace bench

#endif
