#include <nxbriochem/objects/memory.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/error.h>
#include <nxbriochem/objects/memory_state.h>

#include "tests/support/printed.h"

namespace {

using test_support::expect_exit;
using test_support::printed;

// A model of the allocator's records as documented: every look-up is a scan.
class Model {
 public:
  std::vector<void*> list;
  std::vector<int64_t> size;
  std::vector<int64_t> freed;
  int pnt_num = 0;

  int find(void* block) const {
    for (int slot = pnt_num - 1; slot >= 0; --slot) {
      if (list[static_cast<std::size_t>(slot)] == block) {
        return slot;
      }
    }
    return -1;
  }

  void write(int slot, void* block, int64_t bytes) {
    if (static_cast<std::size_t>(slot) >= list.size()) {
      list.resize(static_cast<std::size_t>(slot) + 1, nullptr);
      size.resize(list.size(), 0);
    }
    list[static_cast<std::size_t>(slot)] = block;
    size[static_cast<std::size_t>(slot)] = bytes;
  }

  // A block that is not known does not raise the count of slots.
  void record(void* block, int64_t bytes, bool known = true) {
    pnt_num += static_cast<int>(known);
    int slot = pnt_num - 1;
    if (!freed.empty()) {
      --pnt_num;
      slot = static_cast<int>(freed.back());
      freed.pop_back();
    }
    write(slot, block, bytes);
  }

  void release(int slot) {
    write(slot, nullptr, 0);
    freed.push_back(slot);
  }

  void expect_equal() const {
    ASSERT_EQ(memory::pnt_num, pnt_num);
    ASSERT_EQ(memory::last_freed, static_cast<int>(freed.size()));
    uint32_t total = 0;
    for (int slot = 0; slot < pnt_num; ++slot) {
      ASSERT_EQ(memory::pnt_list[slot], list[static_cast<std::size_t>(slot)]) << slot;
      ASSERT_EQ(memory::pnt_size[slot], static_cast<uint64_t>(size[static_cast<std::size_t>(slot)])) << slot;
      total += static_cast<uint32_t>(size[static_cast<std::size_t>(slot)]);
    }
    ASSERT_EQ(nx_total_memory_allocated(), total);
  }
};

// Random calls, compared with the model: freeing the newest, any and unknown blocks, both kinds of reallocation, and
// blocks freed by the heap's own free(), so that an address can be on record twice.
class MemoryBooks : public testing::TestWithParam<int> {};

TEST_P(MemoryBooks, AgreeWithTheScansUnderRandomCalls) {
  std::mt19937 random(static_cast<unsigned>(GetParam()));
  const auto below = [&random](std::size_t n) { return static_cast<std::size_t>(random() % n); };
  // The queue's own block comes first, with room for all warnings to come.
  while (nx_warning_queue_memory() < 4000000) {
    nxi_warn(std::string(200, 'w').c_str());
  }
  Model model;
  model.record(memory::pnt_list[0], static_cast<int64_t>(memory::pnt_size[0]));
  std::vector<void*> live;  // what the heap holds for this test, on record or not
  const std::size_t lenient_share = GetParam() % 2 == 0 ? 40 : 400;
  const auto drop = [&live](std::size_t at) { live.erase(live.begin() + static_cast<std::ptrdiff_t>(at)); };

  for (int step = 0; step < 20000; ++step) {
    const auto bytes = static_cast<int64_t>(below(200));
    // The number of live blocks grows to more than a thousand, then nearly all are freed in random order.
    const bool grows = step / 3000 % 2 == 0;
    const std::size_t choice = below(100);
    if (live.empty() || choice < (grows ? 60 : 20)) {
      live.push_back(choice % 2 == 0 ? nx_malloc(bytes) : nx_calloc(static_cast<int>(bytes), 1));
      model.record(live.back(), bytes);
    } else if (choice < 75) {
      const std::size_t at = choice % 2 == 0 ? live.size() - 1 : below(live.size());
      void* block = live[at];
      const int slot = model.find(block);
      const int warnings = nx_number_of_warnings();
      nx_free(block);
      if (slot < 0) {
        ASSERT_EQ(nx_number_of_warnings(), warnings + 1);
        std::free(block);
      } else {
        model.release(slot);
      }
      drop(at);
    } else if (choice < 90) {
      const std::size_t at = below(live.size());
      const int slot = model.find(live[at]);
      void* block = nx_realloc(live[at], bytes);
      if (slot < 0) {
        model.record(block, bytes, false);
      } else if (model.size[static_cast<std::size_t>(slot)] < bytes) {
        model.write(slot, block, bytes);
      } else {
        ASSERT_EQ(block, live[at]);
      }
      live[at] = block;
    } else if (below(lenient_share) == 0) {
      void* foreign = std::malloc(16);
      if (model.find(foreign) >= 0) {
        std::free(foreign);  // its address stays on record
        continue;
      }
      void* block = nx_realloc(foreign, bytes + 1);
      model.record(block, bytes + 1, false);
      live.push_back(block);
    } else if (below(10) == 0) {
      const std::size_t at = below(live.size());
      std::free(live[at]);
      drop(at);
    }
    if (step % 50 == 0) {
      ASSERT_NO_FATAL_FAILURE(model.expect_equal()) << "step " << step;
    }
  }
  ASSERT_NO_FATAL_FAILURE(model.expect_equal());
  for (void* block : live) {
    std::free(block);
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, MemoryBooks, testing::Range(1, 9));

TEST(Memory, BlocksKeepTheirContentsAndTheListsDouble) {
  auto* block = static_cast<char*>(nx_malloc(100));
  block[99] = 'x';
  EXPECT_EQ(nx_realloc(block, 50), block);
  EXPECT_EQ(nx_memory_allocated_to_pointer(block), 100U);
  block = static_cast<char*>(nx_realloc(block, 100000));
  EXPECT_EQ(block[99], 'x');
  auto* zeros = static_cast<char*>(nx_calloc(1000, 4));
  EXPECT_EQ(std::string(zeros, 4000), std::string(4000, '\0'));
  nx_free(zeros);
  EXPECT_EQ(nx_total_number_of_active_pointers(), 1);
  while (memory::pnt_num < 1000) {
    nx_realloc(nullptr, 1);
  }
  EXPECT_EQ(memory::pnt_list_size, 1000);
  nx_free(block);
  nx_malloc(1);  // takes the freed slot, but the lists grow before the search for it
  EXPECT_EQ(memory::pnt_num, 1000);
  EXPECT_EQ(memory::pnt_list_size, 2000);
  clear_memory_system();
  EXPECT_EQ(memory::pnt_list_size + memory::pnt_num, 0);
}

TEST(Memory, AddressOnRecordTwiceIsOneBlockToFree) {
  void* const block = nx_malloc(64);
  std::free(block);  // behind the library's back
  if (nx_malloc(64) != block) {
    GTEST_SKIP() << "this heap hands no address out again at once";
  }
  nx_malloc(64);
  EXPECT_EQ(nx_total_number_of_active_pointers(), 3);
  nx_free_all_memory();
  EXPECT_EQ(nx_total_number_of_active_pointers(), 0);
}

TEST(Memory, WarnsOfWhatItNeverHandedOut) {
  nx_free(nullptr);
  EXPECT_EQ(nx_number_of_warnings_with_tag("NULL pointer passed to nx_free\n"), 1);
  void* block = nx_malloc(8);
  nx_free(block);
  nx_free(block);
  char text[100];
  std::snprintf(text, sizeof text, "attempt to free a pointer, %p, not in the nx_memory system\n", block);
  EXPECT_STREQ(nx_warning_with_tag("attempt", 0), text);
  EXPECT_EQ(nx_memory_allocated_to_pointer(block), 0U);
  EXPECT_EQ(nx_memory_allocated_to_pointer(nullptr), 0U);
  EXPECT_EQ(nx_number_of_warnings_with_tag("no memory allocated to pointer sent to nx_memory_allocated_to_pointer\n"),
            2);
}

TEST(Memory, StrictModeIsSwitchedByTheCrossedSetters) {
  void* foreign = std::malloc(8);
  const int shown = static_cast<int>(reinterpret_cast<intptr_t>(foreign));
  nx_set_strict_memory_off();
  EXPECT_EQ(nx_realloc(foreign, 16), nullptr);
  char text[150];
  std::snprintf(text, sizeof text,
                "old pointer %d was not found in the nx_memory system, STRICT_MEMORY is ON therefore return NULL\n",
                shown);
  EXPECT_STREQ(nx_error_with_tag("", 0), text);
  nx_set_strict_memory_on();
  ASSERT_NE(nx_realloc(foreign, 16), nullptr);
  std::snprintf(text, sizeof text, "old pointer %d was not found in the nx_memory system, reallocing anyway\n", shown);
  EXPECT_STREQ(nx_warning_with_tag("old pointer", 0), text);
}

// The newest record, which the lenient path overwrites, is that of the warning queue. The queue must still grow, in
// strict mode too, without endlessly warning about itself.
TEST(Memory, QueueThatDroppedFromTheBooksStillGrows) {
  nx_realloc(std::malloc(8), 16);
  nx_set_strict_memory_off();
  while (nx_warning_queue_memory() < 8000) {
    nxi_warn("fill");
  }
  EXPECT_STREQ(nx_warning_with_tag("fill", 5), "fill");
  EXPECT_EQ(nx_number_of_errors(), 0);
}

TEST(Memory, SizesAreAnnouncedListedAndSummedUpInDecimalMegabytes) {
  EXPECT_EQ(printed(nx_print_pointers_and_memory), "no pointers found in nx_memory system\n");
  nx_flag_memory_allocation_by_size(64);
  const std::string announced = "\nMemory allocated of size 64.\n\n";
  EXPECT_EQ(printed([] { nx_free(nx_malloc(63)), nx_free(nx_malloc(64)), nx_free(nx_calloc(8, 8)); }),
            announced + announced);
  nx_clear_memory_flag();
  EXPECT_EQ(printed([] { nx_free(nx_malloc(64)); }), "");
  const auto address = reinterpret_cast<intptr_t>(nx_malloc(2500000));
  EXPECT_EQ(printed(print_memory_summary),
            "\n*******\n"
            "Total nx_memory currently allocated=        2.500000 Mbytes\n"
            "Total nx_object_memory currently allocated= 0.000000 Mbytes\n"
            "Total memory currently allocated=           2.500000 Mbytes\n"
            "*******pointer/memory list*******\n"
            "pointer " +
                std::to_string(address) +
                " has 2500000 bytes of memory\n"
                "*******object memory********\n"
                "total memory for all tables: 0\n"
                "*******\n");
}

TEST(MemoryDeathTest, RunningOutPrintsAReportAndEndsWithStatus1) {
  // The report need not start the output: a warning of the address sanitizer may precede it.
  const std::string report = "Out of memory trying to allocate ";
  expect_exit(objects::kMemoryExhausted, report + "-5 bytes of memory\n\n\\*{7}\nTotal nx_memory",
              [] { nx_malloc(-5); });
  expect_exit(objects::kMemoryExhausted, report + "9223372036854775807 bytes of memory\n",
              [] { nx_realloc(nx_malloc(1), INT64_MAX); });
  // In 32-bit arithmetic: -65536 * 65536 wraps to 0.
  expect_exit(objects::kMemoryExhausted, report + "0 bytes of memory\n", [] { nx_calloc(-65536, 65536); });
}

}  // namespace
