// Two ways of doing the same thing, timed one after the other in every iteration of one run, so that what slows the
// machine slows both.
#ifndef NXBRIOCHEM_BENCH_PAIRED_H
#define NXBRIOCHEM_BENCH_PAIRED_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

namespace bench {

template <class Call>
double seconds_of(Call call) {
  const auto start = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

inline double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// Runs `ours` and `yardstick`, each of which does `operations` operations. Counters: the median nanoseconds per
// operation of both, and the median of the ratios of their times (below 1: ours is faster). Use with UseManualTime().
template <class Ours, class Yardstick>
void paired(benchmark::State& state, double operations, Ours ours, Yardstick yardstick) {
  std::vector<double> ours_ns;
  std::vector<double> yardstick_ns;
  std::vector<double> ratios;
  for (auto _ : state) {
    const double theirs = seconds_of(yardstick);
    const double own = seconds_of(ours);
    state.SetIterationTime(own);
    ours_ns.push_back(1e9 * own / operations);
    yardstick_ns.push_back(1e9 * theirs / operations);
    ratios.push_back(own / theirs);
  }
  state.counters["ours_ns"] = median(ours_ns);
  state.counters["yardstick_ns"] = median(yardstick_ns);
  state.counters["ratio"] = median(ratios);
}

}  // namespace bench

#endif
