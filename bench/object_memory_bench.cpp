// The cost of an object's memory table as it grows: replacing any one of n blocks, making and deleting an object with n
// blocks, and reading one of n named values. Then opening and closing a file after n were opened.
#include <benchmark/benchmark.h>
#include <nxbriochem/objects/files.h>
#include <nxbriochem/objects/obj_man.h>
#include <nxbriochem/objects/object_memory.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "bench/paired.h"

namespace {

constexpr int kType = 91;
constexpr int kBytes = 64;

int make_object() {
  [[maybe_unused]] static const int registered = nxi_register_object(kType, "bench", 8, 1000);
  uint32_t handle = 0;
  nxi_make_object(kType, &handle);
  return static_cast<int>(handle);
}

void* make_block(int object) { return nx_object_malloc_new(object, kBytes, 1, "block"); }

// One of n blocks, any, is freed and another made. The object has had twice as many, which were freed in any order.
void replace_block(benchmark::State& state) {
  constexpr std::size_t kReplaced = 2000;
  const auto n = static_cast<std::size_t>(state.range(0));
  const int object = make_object();
  std::vector<void*> ours;
  std::vector<void*> theirs;
  std::unordered_map<void*, int> map;
  std::mt19937 random(1);
  for (std::size_t i = 0; i < 2 * n; ++i) {
    ours.push_back(make_block(object));
  }
  std::shuffle(ours.begin(), ours.end(), random);
  while (ours.size() > n) {
    nxi_free(object, ours.back());
    ours.pop_back();
  }
  for (std::size_t i = 0; i < n; ++i) {
    theirs.push_back(std::malloc(kBytes));
    map[theirs.back()] = kBytes;
  }
  std::vector<std::size_t> order(kReplaced);
  std::generate(order.begin(), order.end(), [&] { return random() % n; });
  bench::paired(
      state, kReplaced,
      [&] {
        for (const std::size_t at : order) {
          nxi_free(object, ours[at]);
          ours[at] = make_block(object);
        }
      },
      [&] {
        for (const std::size_t at : order) {
          map.erase(theirs[at]);
          std::free(theirs[at]);
          theirs[at] = std::malloc(kBytes);
          map[theirs[at]] = kBytes;
        }
      });
  nxi_delete_object(object);
  std::for_each(theirs.begin(), theirs.end(), std::free);
}

void make_and_delete_object(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const std::size_t times = 1 + 20000 / n;
  std::vector<void*> blocks(n);
  bench::paired(
      state, static_cast<double>(n * times),
      [&] {
        for (std::size_t k = 0; k < times; ++k) {
          const int object = make_object();
          for (std::size_t i = 0; i < n; ++i) {
            make_block(object);
          }
          nxi_delete_object(object);
        }
      },
      [&] {
        for (std::size_t k = 0; k < times; ++k) {
          std::unordered_map<void*, int> map;
          for (void*& block : blocks) {
            block = std::malloc(kBytes);
            map[block] = kBytes;
          }
          for (void* block : blocks) {
            map.erase(block);
            std::free(block);
          }
        }
      });
}

void named_value(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const int object = make_object();
  std::vector<std::string> names;
  std::unordered_map<std::string, float> map;
  for (std::size_t i = 0; i < n; ++i) {
    names.push_back("value " + std::to_string(i));
    nx_attach_float_to_object(names.back().c_str(), object);
    nx_set_object_float(names.back().c_str(), object, static_cast<float>(i));
    map[names.back()] = static_cast<float>(i);
  }
  std::mt19937 random(2);
  std::shuffle(names.begin(), names.end(), random);
  const std::size_t times = 1 + 20000 / n;
  const auto sum = [&](auto value_of) {
    float total = 0;
    for (std::size_t k = 0; k < times; ++k) {
      for (const std::string& name : names) {
        total += value_of(name);
      }
    }
    benchmark::DoNotOptimize(total);
  };
  bench::paired(
      state, static_cast<double>(n * times),
      [&] { sum([object](const std::string& name) { return nx_object_float(name.c_str(), object); }); },
      [&] { sum([&map](const std::string& name) { return map.find(name)->second; }); });
  nxi_delete_object(object);
}

void open_and_close(benchmark::State& state) {
  constexpr int kOpened = 200;
  static int64_t ever = 0;
  for (; ever < state.range(0); ++ever) {
    nxi_fclose(nxi_fopen("/dev/null", "r"));
  }
  bench::paired(
      state, kOpened,
      [&] {
        for (int k = 0; k < kOpened; ++k) {
          nxi_fclose(nxi_fopen("/dev/null", "r"));
        }
      },
      [&] {
        for (int k = 0; k < kOpened; ++k) {
          std::fclose(std::fopen("/dev/null", "r"));
        }
      });
}

BENCHMARK(replace_block)->RangeMultiplier(10)->Range(100, 1000000)->UseManualTime();
BENCHMARK(make_and_delete_object)->RangeMultiplier(10)->Range(100, 1000000)->UseManualTime();
BENCHMARK(named_value)->RangeMultiplier(10)->Range(100, 100000)->UseManualTime();
BENCHMARK(open_and_close)->RangeMultiplier(10)->Range(100, 100000)->UseManualTime()->Iterations(20);

}  // namespace
