#include <nxbriochem/util/slot_index_internal.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <random>
#include <set>
#include <vector>

namespace {

// Few keys in many slots, so that keys repeat, and runs of cells collide and wrap around the end.
TEST(SlotIndex, AgreesWithSetsOfSlotsUnderRandomInsertionAndRemoval) {
  for (const int keys : {3, 50, 5000}) {
    std::mt19937 random(static_cast<unsigned>(keys));
    util::SlotIndex<int32_t> index;
    std::map<int32_t, std::set<int32_t>> model;
    std::size_t size = 0;
    for (int step = 0; step < 40000; ++step) {
      const auto key = static_cast<int32_t>(random() % static_cast<unsigned>(keys)) * 64 - 70;
      const auto slot = static_cast<int32_t>(random() % 200);
      std::set<int32_t>& slots = model[key];
      if (random() % 2 == 0) {
        if (slots.insert(slot).second) {
          index.insert(key, slot);
          ++size;
        }
      } else {
        size -= slots.erase(slot);
        index.erase(key, slot);
      }
      ASSERT_EQ(index.find_highest(key), slots.empty() ? -1 : *slots.rbegin()) << "step " << step;
      ASSERT_EQ(index.size(), size);
    }
    for (const auto& [key, slots] : model) {
      EXPECT_EQ(index.find_highest(key), slots.empty() ? -1 : *slots.rbegin());
    }
  }
}

// A table of few or many keys, from which rows are taken anywhere.
TEST(SlotIndex, FollowsATableThatClosesGaps) {
  for (const unsigned keys : {5U, 100000U}) {
    std::mt19937 random(keys);
    util::SlotIndex<int32_t> index;
    std::vector<int32_t> table;
    for (int step = 0; step < 1000; ++step) {
      if (table.size() < 200) {
        table.push_back(static_cast<int32_t>(random() % keys));
        index.insert(table.back(), static_cast<int32_t>(table.size()) - 1);
        continue;
      }
      const std::size_t gap = std::array{table.size() - 1, table.size() - 3, random() % table.size()}[random() % 3];
      const int32_t key = table[gap];
      table.erase(table.begin() + static_cast<std::ptrdiff_t>(gap));
      index.close_gap(key, static_cast<int32_t>(gap), static_cast<int32_t>(table.size()),
                      [&](int32_t slot) { return table[static_cast<std::size_t>(slot)]; });
      ASSERT_EQ(index.size(), table.size());
      for (const int32_t one : table) {
        const auto last = std::find(table.rbegin(), table.rend(), one);
        ASSERT_EQ(index.find_highest(one), table.rend() - last - 1) << "step " << step;
      }
    }
  }
}

}  // namespace
