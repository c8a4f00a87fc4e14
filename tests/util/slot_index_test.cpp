#include <nxbriochem/util/slot_index.h>

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

namespace {

// Few keys in many slots, so that keys repeat, runs collide and wrap round the end of the cells.
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

}  // namespace
