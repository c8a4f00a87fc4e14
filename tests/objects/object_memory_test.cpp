#include <nxbriochem/objects/object_memory.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/error.h>
#include <nxbriochem/objects/obj_man.h>
#include <nxbriochem/objects/object_memory_state.h>
#include <nxbriochem/objects/print.h>

#include "tests/support/printed.h"

namespace {

using object_memory::Table;

using test_support::expect_exit;
using test_support::printed;

int make_object() {
  uint32_t handle = 0;
  nxi_make_object(60, &handle);
  return static_cast<int>(handle);
}

const Table& table_of(int handle) { return *object_memory::memtab[nxi_get_memory_table(handle)]; }

// ---- Random use of one table, compared with a model of its blocks ----

struct Block {
  unsigned char* bytes;
  std::string name;
  std::vector<unsigned char> contents;
  std::size_t allocated;
  bool attached = false;
};

// The first block of a name, as a scan finds it, and the listing of them all.
unsigned char* first_of_name(const std::vector<Block>& blocks, const std::string& name) {
  const auto found = std::find_if(blocks.begin(), blocks.end(), [&](const Block& block) { return block.name == name; });
  return found == blocks.end() ? nullptr : found->bytes;
}

std::string listing(const std::vector<Block>& blocks) {
  std::string text;
  for (const Block& block : blocks) {
    text += "array " + block.name + " has memory " + std::to_string(block.allocated) + "\n";
  }
  return text;
}

class TableUse : public testing::TestWithParam<int> {};

TEST_P(TableUse, KeepsContentsPadsTotalsAndOrder) {
  std::mt19937 random(static_cast<unsigned>(GetParam()));
  const auto fill = [&random](Block& block) {
    std::generate(block.contents.begin(), block.contents.end(), [&] { return static_cast<unsigned char>(random()); });
    std::copy(block.contents.begin(), block.contents.end(), block.bytes);
  };
  const int handle = make_object();
  std::vector<Block> blocks;
  for (int step = 0; step < 4000; ++step) {
    if (step % 37 == 0) {
      nxi_set_memory_padding(handle, static_cast<int>(random() % 4));
    }
    const auto count = static_cast<int>(random() % 60);
    const int size = 1 << (random() % 5);
    const auto bytes = static_cast<std::size_t>(count * size);
    const std::string name = std::string("b").append(std::to_string(random() % 40));  // many blocks of a name
    const bool grows = step / 1000 % 2 == 0;
    const auto choice = random() % 20;
    if (blocks.empty() || choice < (grows ? 8 : 3)) {
      Block block{nullptr, name, std::vector<unsigned char>(bytes), bytes};
      block.bytes = static_cast<unsigned char*>(nx_object_calloc_new(handle, count, size, name.c_str()));
      ASSERT_TRUE(std::equal(block.contents.begin(), block.contents.end(), block.bytes));  // zeros
      blocks.push_back(block);
      fill(blocks.back());
    } else if (choice < 12) {
      Block& block = blocks[random() % blocks.size()];
      auto* moved =
          static_cast<unsigned char*>(nx_object_realloc(handle, count, size, block.name.c_str(), block.bytes));
      const std::size_t kept = std::min(bytes, block.contents.size());
      ASSERT_TRUE(std::equal(moved, moved + kept, block.contents.begin()));
      block.bytes = moved;
      block.contents.resize(bytes);
      block.allocated = std::max(block.allocated, bytes);
      fill(block);
    } else if (choice == 12) {
      Block& block = blocks[random() % blocks.size()];
      block.name = name;
      ASSERT_EQ(nxi_set_pnt_name(handle, block.bytes, name.c_str()), 1);
    } else if (choice == 13) {
      Block& block = blocks[random() % blocks.size()];
      block.attached = !block.attached;
      ASSERT_EQ((block.attached ? nxi_attach_associated_pointer : nxi_unattach_associated_pointer)(handle, block.bytes),
                1);
    } else {
      const auto at = random() % 3 == 0 ? blocks.size() - 1 : random() % blocks.size();
      // Freeing a block of no bytes prints a remark.
      printed([&] { ASSERT_EQ(nxi_free(handle, blocks[at].bytes), nullptr); });
      blocks.erase(blocks.begin() + static_cast<std::ptrdiff_t>(at));
    }
    if (step == 2500) {
      printed([&] { nxi_purge_memory_table(handle); });
      std::erase_if(blocks, [](const Block& block) { return !block.attached; });
    }
    ASSERT_EQ(nxi_get_pointer_by_name(name.c_str(), handle), first_of_name(blocks, name)) << "step " << step;
    ASSERT_EQ(nxi_boundscheck_all_s(handle), 0) << "step " << step;
    if (step % 100 == 0) {
      ASSERT_EQ(printed([&] { nxi_filter_print_mem_alloc(handle, nullptr); }), listing(blocks)) << "step " << step;
    }
  }
  EXPECT_EQ(printed([&] { nxi_filter_print_mem_alloc(handle, nullptr); }), listing(blocks));
  EXPECT_EQ(table_of(handle).count, static_cast<int>(blocks.size()));
  std::size_t total = 0;
  for (const Block& block : blocks) {
    EXPECT_EQ(nxi_mem_used_by(handle, block.bytes), static_cast<int>(block.contents.size()));
    EXPECT_TRUE(std::equal(block.contents.begin(), block.contents.end(), block.bytes));
    total += block.allocated;
  }
  EXPECT_EQ(nxi_mem_total(handle), static_cast<int>(total));
}

// Entries are named and numbered in their order after others before them were removed. Of two entries with the same
// pointer the second is named.
TEST(ObjectMemory, OrderAndNumbersOutliveReleasesInALargeTable) {
  const int handle = make_object();
  nxi_set_memory_padding(handle, 2);
  std::vector<char*> blocks;
  for (int i = 0; i < 500; ++i) {
    blocks.push_back(static_cast<char*>(nx_object_calloc_new(handle, 1, 8, std::to_string(i).c_str())));
  }
  for (std::size_t i = 0; i < 300; i += 2) {
    nxi_free(handle, blocks[i]);
  }
  blocks[401][8] ^= 1;
  const std::string damaged = printed([&] { EXPECT_EQ(nxi_boundscheck_all_s(handle), 1); });
  EXPECT_EQ(damaged.substr(0, damaged.find(',')), "high bounds violation of entry 251");
  blocks[401][8] ^= 1;
  nxi_monitor_delete();
  nxi_set_memprn(handle, 1);
  std::string expected =
      "deleting memory table 350 belonging to object: " + std::to_string(handle) + " of type UNKNOWN\n";
  int total = 350 * 8;
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    if (i >= 300 || i % 2 == 1) {
      const std::string name = std::to_string(i);
      total -= 8;
      expected += "freeing memory for " + name + "\nfreeing pnt " +
                  std::to_string(reinterpret_cast<intptr_t>(blocks[i])) + "\nfree_Z: " + name +
                  " nxi_freed 8 bytes, total memory allocated=  " + std::to_string(total) + "\n";
    }
  }
  expected += "350 memory table entries deleted from table 2 of 2\nmemory table 2 deleted\n";
  EXPECT_EQ(printed([&] { nxi_delete_memory_table(handle); }), expected);
}

INSTANTIATE_TEST_SUITE_P(Seeds, TableUse, testing::Range(1, 5));

// ---- Allocation ----

TEST(ObjectMemory, ShrinkingKeepsTheBlockAndGrowingMovesIt) {
  const int handle = make_object();
  nxi_set_memory_padding(handle, 1);
  auto* block = static_cast<char*>(nx_object_malloc_new(handle, 100, 4, "block"));
  EXPECT_EQ(nx_object_realloc(handle, 50, 4, "block", block), block);
  EXPECT_EQ(nxi_mem_alloc_to(handle, block) + nxi_mem_used_by(handle, block), 400 + 200);
  EXPECT_EQ(table_of(handle).total, 400);
  nx_object_malloc(handle, 1000, 4, "renamed", block);
  EXPECT_STREQ(table_of(handle).entries[0].name, "renamed");
  EXPECT_EQ(table_of(handle).count, 1);
  EXPECT_EQ(table_of(handle).total, 4000);
  nxi_cAlloc_new(handle, 10, 4, "twice", nullptr);  // allocated twice without an old one
  EXPECT_EQ(table_of(handle).count, 1 + 2);
  nxi_cAlloc_new(handle, 10, 4, "once", block);
  EXPECT_EQ(table_of(handle).count, 1 + 3);
}

TEST(ObjectMemory, NegativeHandlesUseThePlainHeap) {
  nx_set_object_memory_warning_on();
  void* block = nullptr;
  EXPECT_EQ(printed([&] {
              block = nx_object_malloc(-3, 5, 8, "x", nullptr);
              block = nx_object_realloc(-3, 9, 8, "x", block);
              nxi_free(-3, block);
              block = nx_object_calloc(-3, 2, 4, "x", nullptr);
            }),
            "WARNING: SerNum: 1, C Object Manager to malloc 5 elements, 8 bytes each\n"
            "WARNING: SerNum: 2, C Object Manager to realloc 9 elements, 8 bytes each\n"
            "WARNING: SerNum: 1, C Object Manager nxi_free\n"
            "WARNING: SerNum: 3, C Object Manager to calloc 2 elements, 4 bytes each\n");
  nx_set_object_memory_warning_off();
  EXPECT_EQ(printed([&] { nxi_free(-3, block); }), "");
}

TEST(ObjectMemory, NamesAreCutAt40CharactersWithAWarning) {
  const int handle = make_object();
  const std::string name(45, 'n');
  nx_object_malloc_new(handle, 1, 1, name.c_str());
  EXPECT_EQ(table_of(handle).entries[0].name, std::string(40, 'n'));
  EXPECT_EQ(std::string(nx_warning_with_tag("pointer", 0)), "pointer name " + name + " is longer than 40 characters\n");
  EXPECT_NE(nxi_get_pointer_by_name(name.c_str(), handle), nullptr);
}

TEST(ObjectMemory, BadSizesAndHandlesGiveNull) {
  const int handle = make_object();
  EXPECT_EQ(nx_object_malloc_new(handle, -1, 4, "x"), nullptr);
  EXPECT_EQ(nx_object_malloc_new(handle, 4, -1, "x"), nullptr);
  EXPECT_EQ(table_of(handle).count, 0);
  const std::string report = printed([] { EXPECT_EQ(nx_object_malloc_new(12345, 1, 1, "x"), nullptr); });
  EXPECT_EQ(report.substr(0, 49), "no pointer found for memory table handle 12345\nme");
  EXPECT_EQ(printed([] { EXPECT_EQ(nxi_boundscheck_all(12345) + nxi_set_memstrict(12345, 1), 0); }), report + report);
  EXPECT_EQ(printed([] { nxi_delete_memory_table(12345); }), report);
}

TEST(ObjectMemory, PrintFlagReportsEveryStep) {
  const int handle = make_object();
  nxi_set_memprn(handle, 1);
  EXPECT_EQ(printed([&] {
              void* block = nx_object_malloc_new(handle, 10, 4, "b");
              block = nx_object_malloc(handle, 5, 4, "b", block);
              nxi_free(handle, block);
            }),
            "malloc_Z: b has 40 used, 40 allocated, total memory allocated= 40\n"
            "malloc_Z: b has 20 used, 40 allocated, total memory allocated= 40\n"
            "free_Z: b nxi_freed 40 bytes, total memory allocated=  0\n");
}

TEST(ObjectMemory, UnknownPointersAreJudgedByStrictness) {
  const int handle = make_object();
  int foreign = 0;
  EXPECT_EQ(printed([&] { nx_object_malloc(handle, 1, 4, "quiet", &foreign); }), "");
  nxi_set_memstrict(handle, 1);
  EXPECT_EQ(printed([&] { nx_object_malloc(handle, 1, 4, "loud", &foreign); }),
            "SEVERE WARNING: NO match to pointer table for loud!!\nAssigning memory anyway.\n");
  nxi_set_memstrict(handle, 2);
  EXPECT_EQ(printed([&] { EXPECT_EQ(nx_object_malloc(handle, 1, 4, "none", &foreign), &foreign); }),
            "SEVERE WARNING: NO match to pointer table for none!!\nReturning with pointer UNASSIGNED.\n");
  EXPECT_EQ(table_of(handle).count, 2);
  EXPECT_EQ(table_of(handle).entries[0].initial_pointer, &foreign);
  char text[160];
  std::snprintf(text, sizeof text,
                "WARNING: No match to pointer table!! table= %d, pointer= %p\n"
                "Too dangerous to free this rogue pointer!\n",
                table_of(handle).handle, static_cast<void*>(&foreign));
  EXPECT_EQ(printed([&] { EXPECT_EQ(nxi_free(handle, &foreign), &foreign); }), text);
  EXPECT_EQ(nxi_free(handle, nullptr), nullptr);
  nxi_set_memstrict(handle, 3);
  expect_exit(objects::kUnknownPointer, "^SEVERE WARNING: NO match to pointer table for fatal!!\nExiting program.\n$",
              [&] { nx_object_malloc(handle, 1, 4, "fatal", &foreign); });
}

TEST(ObjectMemory, BlockThatGrowsOntoAnActivePointerIsReported) {
  const int handle = make_object();
  char* const block = static_cast<char*>(nx_object_malloc_new(handle, 2, 4, "grows"));
  nxi_attach_pointer_to_object(handle, 0, 4, "there", block + 4);
  nxi_set_memory_padding(handle, 3);
  void* grown = nullptr;
  const std::string said = printed([&] { grown = nx_object_malloc(handle, 4, 4, "grows", block); });
  if (grown != block + 4) {
    GTEST_SKIP() << "this heap hands no address out again at once";
  }
  char text[200];
  std::snprintf(text, sizeof text,
                "WARNING! system has duplicated an active table pointer! grows \nThe table is now corrupted!! %d\n"
                "0 %p (nil)\n1 %p (nil)\ngrows \n",
                table_of(handle).handle, grown, grown);
  EXPECT_EQ(said, text);
}

TEST(ObjectMemoryDeathTest, FatalConditionsHaveTheirStatuses) {
  const int handle = make_object();
  void* block = nx_object_malloc_new(handle, 1, 4, "one");
  nxi_attach_pointer_to_object(handle, 1, 4, "two", block);
  for (int i = 0; i < 100; ++i) {
    nx_object_malloc_new(handle, 1, 4, "other");
    if (i == 50) {
      nxi_attach_pointer_to_object(handle, 1, 4, "three", block);
    }
  }
  expect_exit(objects::kDuplicatePointer,
              "^WARNING: Possible corruption of memory table.\nThe pointer checked has the same pointer value as: two\n"
              "FIX this bug!!!\n$",
              [&] { nxi_free(handle, block); });
  const std::string text = "^out of memory mallocing ";
  expect_exit(objects::kObjectMemoryExhausted, text + "1073741824 for m!\n\n\\*",
              [&] { nx_object_malloc_new(handle, 1 << 30, 4, "m"); });
  expect_exit(objects::kObjectMemoryExhausted, text + " 0 for c!\n",
              [&] { nx_object_calloc_new(handle, 1 << 30, 4, "c"); });
  expect_exit(objects::kObjectMemoryExhausted, text + " -2 for r!\n",
              [&] { nx_object_realloc(handle, INT32_MAX, 2, "r", nullptr); });
}

// ---- Bounds ----

TEST(ObjectMemory, DamagedPadsAreNamed) {
  const int handle = make_object();
  nxi_set_memory_padding(handle, 1);
  std::vector<char*> blocks;
  for (const char* name : {"low", "high", "both", "none"}) {
    blocks.push_back(static_cast<char*>(nx_object_calloc_new(handle, 10, 4, name)));
  }
  blocks[0][-1] ^= 1;
  blocks[1][40] ^= 1;
  blocks[2][-4] ^= 1;
  blocks[2][43] ^= 1;
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(nxi_boundscheck_pnt(handle, blocks[i]), static_cast<int>(i + 1) % 4);
  }
  EXPECT_EQ(printed([&] { EXPECT_EQ(nxi_boundscheck_pnt(handle, &blocks), -1); }),
            "no such pointer found in the memory table!\n");
  const std::string violations =
      "low bounds violation of entry 0, value=0, name= low\n"
      "high bounds violation of entry 1,value=12, name= high\n"
      "high and low bounds violation of entry 2, values 20 16, name= both\n"
      "Summary: 3 bounds violations found\n";
  EXPECT_EQ(printed([&] { EXPECT_EQ(nxi_boundscheck_all(handle), 3); }), "Checking memory bounds\n" + violations);
  EXPECT_EQ(printed([&] { nxi_boundscheck_all_s(handle); }), violations);
  nxi_set_auto_bndcheck(handle, 3);
  EXPECT_EQ(printed([&] { nxi_free(handle, nx_object_malloc_new(handle, 1, 1, "x")); }), violations + violations);
  nxi_set_auto_bndcheck(handle, 0);
  for (char* block : blocks) {
    nxi_free(handle, block);
  }
  EXPECT_EQ(printed([&] { nxi_boundscheck_all(handle); }),
            "Checking memory bounds\nSummary: memory bounds are undisturbed\n");
}

TEST(ObjectMemory, LevelsAreConfirmedThroughThePrintingFunction) {
  const int handle = make_object();
  EXPECT_EQ(printed([&] { nxi_set_memory_padding(handle, 1); }), "");
  nx_set_print_status("standard", handle);
  const auto confirmations = [handle](int (*set)(int, int), std::initializer_list<int> levels) {
    return printed(
        [&] { std::for_each(levels.begin(), levels.end(), [&](int level) { EXPECT_EQ(set(handle, level), 1); }); });
  };
  EXPECT_EQ(confirmations(nxi_set_memory_padding, {1, 2, 3, 0, 9, -1}),
            "memory now to be padded, high and low\nmemory now to be padded, high \nmemory now to be padded, low\n"
            "memory padding turned off\n");
  EXPECT_EQ(table_of(handle).padding, -1);
  EXPECT_EQ(confirmations(nxi_set_auto_bndcheck, {0, 1, 2, 3, 4}),
            "BoundCheck Frequency set to Zero=  only check upon explicit demand\n"
            "BoundCheck Frequency set to One= check upon memory allocation\n"
            "BoundCheck Frequency set to Two= check upon memory deallocation\n"
            "BoundCheck Frequency set to Three= check upon memory allocation or deallocation\n"
            "no Bound Checking Level 3, hence unchanged.\n");
  EXPECT_EQ(confirmations(nxi_set_memstrict, {0, 1, 2, 3, 7}),
            "Memory Strictness set to Zero= garbage pointers treated as NULL\n"
            "Memory Strictness set to One= warn then garbage pointers treated as NULL\n"
            "Memory Strictness set to Two= garbage pointers prevent memory assignment\n"
            "Memory Strictness set to Three= garbage pointers terminate program\n"
            "no Memory Strictness Level 3, hence unchanged.\n");
}

// ---- Named values, attached and protected blocks ----

TEST(ObjectMemory, NamedValuesAreKeptWithTheObject) {
  const int handle = make_object();
  EXPECT_EQ(nx_attach_float_to_object("eps", handle), 1);
  EXPECT_EQ(nx_attach_integers_to_object("counts", 3, handle), 1);
  EXPECT_EQ(nx_set_object_float("eps", handle, 80.5F), 1);
  EXPECT_EQ(nx_object_float("eps", handle), 80.5F);
  const int counts[] = {4, 5, 6};
  EXPECT_EQ(nx_set_object_integers(counts, "counts", handle), 1);
  EXPECT_EQ(nx_object_integers("counts", handle)[2], 6);
  EXPECT_EQ(nx_object_integers_size("counts", handle), 3);
  EXPECT_EQ(nx_set_object_integer(9, "counts", handle), 1);
  EXPECT_EQ(nx_object_integer("counts", handle), 9);
  nx_object_malloc_new(handle, 3, 1, "short");
  EXPECT_EQ(nx_set_object_integer(9, "absent", handle) + nx_set_object_integer(9, "short", handle), 0);
  EXPECT_EQ(nx_set_object_float("absent", handle, 1.0F) + nx_object_floats_size(nullptr, handle), 0);
  EXPECT_EQ(nx_object_floats("absent", handle), nullptr);
}

TEST(ObjectMemory, PurgingSparesProtectedAndAttachedBlocks) {
  const int handle = make_object();
  void* owned = nx_object_malloc_new(handle, 8, 1, "owned");
  void* kept = nx_object_malloc_new(handle, 8, 1, "kept");
  nxi_protect_memory(handle, kept);
  nxi_attach_pointer_to_object(handle, 8, 1, "made elsewhere", std::malloc(8));
  EXPECT_EQ(nxi_mem_total(handle), 24);
  EXPECT_EQ(printed([&] { nxi_purge_memory_table(handle); }), "memory table purged, 2 entries remain\n");
  EXPECT_EQ(printed([&] { nxi_unprotect_memory(handle, kept); }),
            "pointer to memory called kept marked as unprotected\n");
  EXPECT_EQ(nxi_protect_memory(handle, owned) + nxi_attach_associated_pointer(handle, owned), 0);
  EXPECT_EQ(nxi_unattach_associated_pointer(handle, owned), 0);
  char text[200];
  std::snprintf(text, sizeof text, "no such pointer as %p found in the pointer table of handle %d!\n", owned, handle);
  EXPECT_STREQ(nx_error_with_tag("", 0), text);
  std::snprintf(text, sizeof text, "no such pointer as %p found in the pointer table!\n", owned);
  EXPECT_STREQ(nx_error_with_tag("", 1), text);
  EXPECT_EQ(nxi_get_attached_pointer(handle, "kept"), kept);
  EXPECT_EQ(nx_number_of_warnings_with_tag("pointer \"kept\" is not of the correct type!\n"), 1);
  EXPECT_EQ(nxi_attach_associated_pointer(handle, kept), 1);
  EXPECT_EQ(nxi_get_attached_pointer(handle, "absent"), nullptr);
  std::snprintf(text, sizeof text, "pointer \"absent\" not found in table associated with object handle %d\n", handle);
  EXPECT_STREQ(nx_warning_with_tag("", 1), text);
  EXPECT_EQ(printed([&] { EXPECT_EQ(nxi_set_pnt_name(handle, owned, "x"), 0); }),
            "no such pointer found in memory table! therefore can't reassign pointer name\n");
  static char no_bytes = 0;
  nxi_attach_pointer_to_object(handle, 0, 4, "nothing", &no_bytes);
  EXPECT_EQ(printed([&] { nxi_free(handle, &no_bytes); }),
            "NOTE: nxi_free found pointer nothing already had zero associated memory\n");
  nxi_attach_pointer_to_object(handle, 0, 4, "nothing", &no_bytes);
  EXPECT_NE(nx_object_realloc(handle, 5, 4, "something", &no_bytes), nullptr);
  for (int i = 0; i < 250; ++i) {
    nxi_attach_pointer_to_object(handle, 1, 1, "many", std::malloc(1));
  }
  EXPECT_EQ(table_of(handle).capacity, 300);
}

// ---- Reports and deletion ----

TEST(ObjectMemory, ReportsAndTracesToTheLetter) {
  const int handle = make_object();
  void* first = nx_object_malloc_new(handle, 10, 4, "first");
  nxi_set_pnt_name(handle, first, "1st");
  EXPECT_EQ(printed([&] {
              nxi_print_mem_alloc_to(handle, first);
              nxi_filter_print_mem_alloc(handle, "s");
              nxi_filter_print_mem_alloc(handle, "q");
              nxi_mem_total(handle);
              nxi_print_initial_pnt_status(handle, first);
            }),
            "total memory in 1st is 40, used = 40\narray 1st has memory 40\ntotal memory allocated is: 40 bytes\n"
            "pointer entered the memory management as (nil)\n");
  const auto address = reinterpret_cast<intptr_t>(first);
  char text[400];
  std::snprintf(text, sizeof text,
                "\nORDERED LIST OF ARRAYS WITH MEMORY TABLE %d\n*******************************************\n"
                "%d to %d belong to 1st, entry 0\n",
                table_of(handle).handle, static_cast<int>(address), static_cast<int>(address + 40));
  EXPECT_EQ(printed([&] { nxi_print_mem_alloc_ordered(handle); }), text);
  std::snprintf(text, sizeof text,
                "memory table member array has pnt %p\nentry: 0. array 1st, pnt %d, has memory 40\n"
                "no such pointer found in the pointer table!\n",
                static_cast<void*>(table_of(handle).entries), static_cast<int>(address));
  EXPECT_EQ(printed([&] {
              nxi_print_mem_alloc(handle);
              EXPECT_EQ(nxi_mem_used_by(handle, text), 0);
            }),
            text);
  const object_memory::Entry* own = object_memory::memtab[0]->entries;  // the records, and objects of no size
  std::snprintf(text, sizeof text,
                "entry: 0. array handles, pnt %ld, has memory 20000\nentry: 1. array  , pnt %ld, has memory 0\n"
                "total memory for table 0 belonging to object 0 of type UNKNOWN is 20000\n"
                "entry: 0. array 1st, pnt %ld, has memory 40\n"
                "total memory for table 1 belonging to object %d of type UNKNOWN is 40\n"
                "total memory for all tables: 20040\n",
                static_cast<long>(reinterpret_cast<intptr_t>(own[0].pointer)),
                static_cast<long>(reinterpret_cast<intptr_t>(own[1].pointer)), static_cast<long>(address), handle);
  EXPECT_EQ(printed(nxi_print_all_allocated_memory), text);
  nxi_monitor_delete();
  std::snprintf(text, sizeof text,
                "deleting memory table 1 belonging to object: %d of type UNKNOWN\nfreeing memory for 1st\n"
                "freeing pnt %ld\n1 memory table entries deleted from table 2 of 2\nmemory table 2 deleted\n",
                handle, static_cast<long>(address));
  EXPECT_EQ(printed([&] { nxi_delete_memory_table(handle); }), text);
  EXPECT_EQ(object_memory::MemTabNum, 1);
}

TEST(ObjectMemory, RegistryStartsAnewAfterAllTablesWereDeleted) {
  nxi_register_object(61, "mine", 4, 10);
  uint32_t first = 0;
  nxi_make_object(61, &first);
  EXPECT_EQ(printed(nxi_delete_all_memory_tables), "all memory tables removed\n");
  EXPECT_EQ(nxi_total_object_memory_allocated(), 0U);
  EXPECT_EQ(nxi_translate_handle(static_cast<int>(first)), 0xFFFFFFFFU);
  uint32_t second = 0;
  auto* objects = static_cast<int*>(nxi_make_object(61, &second));
  ASSERT_NE(objects, nullptr);
  objects[nxi_translate_handle(static_cast<int>(second))] = 1;
  EXPECT_NE(first, second);
  EXPECT_EQ(nxi_get_number_of_objects_of_type(61), 1U);
}

// ---- Saving, reading, copying ----

class SavedTable : public testing::Test {
 protected:
  SavedTable() {
    nxi_set_memory_padding(source_, 1);
    nxi_attach_pointer_to_object(source_, 3, 2, "attached", std::calloc(3, 2));
    std::strcpy(static_cast<char*>(nx_object_calloc_new(source_, 10, 4, "text")), "contents");
    nx_object_realloc(source_, 5, 4, "text", nxi_get_pointer_by_name("text", source_));
    nx_object_calloc_new(source_, 300, 1, "zeros");
    saved_ = save(source_);
  }

  static std::string save(int handle) {
    std::FILE* file = std::tmpfile();
    EXPECT_EQ(nxi_write_memory_table(file, handle), 1);
    std::string bytes(static_cast<std::size_t>(std::ftell(file)), '\0');
    std::rewind(file);
    EXPECT_EQ(std::fread(bytes.data(), 1, bytes.size(), file), bytes.size());
    std::fclose(file);
    return bytes;
  }

  static int read(const std::string& bytes, int handle) {
    std::FILE* file = bytes.empty() ? std::tmpfile() : fmemopen(const_cast<char*>(bytes.data()), bytes.size(), "rb");
    const int result = nxi_read_memory_table(file, handle);
    std::fclose(file);
    return result;
  }

  static int32_t word(const std::string& bytes, std::size_t index) {
    int32_t value = 0;
    std::memcpy(&value, &bytes[4 * index], sizeof value);
    return value;
  }

  const int source_ = make_object();
  std::string saved_;
};

TEST_F(SavedTable, HasTheLayoutThatIsPromised) {
  // 13 words; then per entry 2 words, name, pointer, 9 words and the block.
  ASSERT_EQ(saved_.size(), 13U * 4 + 3 * (2 * 4 + 40 + 8 + 9 * 4) + 6 + 40 + 300);
  const int32_t expected[] = {0, 3, 100, 346, 0, 0, 0, 0, 1, table_of(source_).handle, source_};
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    EXPECT_EQ(word(saved_, i), expected[i]) << "word " << i;
  }
  EXPECT_EQ(saved_.substr(60, 9), std::string("attached\0", 9));
  const std::string text = saved_.substr(52 + 92 + 6, 92 + 40);
  EXPECT_EQ(word(text, 1), 40);
  EXPECT_EQ(word(text, 14), 20);  // used
  EXPECT_EQ(text.substr(92, 8), "contents");
}

TEST_F(SavedTable, ReadsBackAndWritesTheSameBytes) {
  const int target = make_object();
  nx_object_malloc_new(target, 1000, 1, "gone afterwards");
  ASSERT_EQ(read(saved_, target), 1);
  EXPECT_EQ(table_of(target).handle, target);
  EXPECT_EQ(table_of(target).owner, source_);
  EXPECT_STREQ(static_cast<char*>(nxi_get_pointer_by_name("text", target)), "contents");
  std::string again = save(target);
  ASSERT_EQ(again.size(), saved_.size());
  again.replace(36, 4, saved_.substr(36, 4));  // except the table handle
  EXPECT_EQ(again, saved_);
  // Blocks read from a file have no pads. They pass the checks, shrink, grow and are freed; new blocks have pads again.
  EXPECT_EQ(nxi_boundscheck_all_s(target), 0);
  void* text = nxi_get_pointer_by_name("text", target);
  text = nx_object_realloc(target, 2, 4, "text", text);
  text = nx_object_realloc(target, 100, 4, "text", text);
  EXPECT_STREQ(static_cast<char*>(text), "contents");
  text = nx_object_calloc(target, 200, 4, "text", text);
  static_cast<char*>(text)[800] ^= 1;
  EXPECT_EQ(nxi_boundscheck_pnt(target, text), 2);
  EXPECT_EQ(nxi_free(target, text), nullptr);
}

TEST_F(SavedTable, CopiesAreIndependent) {
  const int target = make_object();
  ASSERT_EQ(nxi_copy_memory_table(source_, target), 1);
  EXPECT_EQ(table_of(target).handle, target);
  auto* copy = static_cast<char*>(nxi_get_pointer_by_name("text", target));
  copy[0] = 'C';
  EXPECT_STREQ(static_cast<char*>(nxi_get_pointer_by_name("text", source_)), "contents");
  EXPECT_EQ(nxi_boundscheck_all_s(source_) + nxi_boundscheck_all_s(target), 0);
  nxi_delete_memory_table(source_);
  EXPECT_STREQ(copy, "Contents");
  EXPECT_NE(printed([&] { EXPECT_EQ(nxi_copy_memory_table(4711, target), 0); }), "");
}

TEST_F(SavedTable, CutShortGivesZeroAndChangesNothing) {
  const int target = make_object();
  nx_object_malloc_new(target, 8, 1, "stays");
  for (std::size_t size = 0; size < saved_.size(); ++size) {
    ASSERT_EQ(read(saved_.substr(0, size), target), 0) << size;
    ASSERT_NE(nxi_get_pointer_by_name("stays", target), nullptr) << size;
  }
  EXPECT_EQ(nxi_read_memory_table(nullptr, target), 0);
  EXPECT_EQ(nxi_write_memory_table(nullptr, target), 0);
  std::string other_revision = saved_;
  other_revision[0] = 1;
  EXPECT_EQ(read(other_revision, target), 1);
  EXPECT_NE(nxi_get_pointer_by_name("stays", target), nullptr);
}

// A model of the saved layout: the bytes that reading `bytes` and writing the table again must give; null where the
// bytes are not a valid table.
class SavedWords {
 public:
  static std::optional<std::string> written_back(const std::string& bytes) {
    SavedWords in(bytes);
    std::string out = in.take(52);
    const auto count = word(out, 1);
    if (out.size() < 52 || count < 0 || word(out, 2) < 0) {
      return std::nullopt;
    }
    for (int32_t i = 0; i < count; ++i) {
      std::string entry = in.take(4);
      if (entry.size() == 4 && word(entry, 0) != 0) {
        entry = std::string(88, '\0') + out.substr(40, 4);  // left unread: nothing but the table's owner
      } else {
        entry += in.take(88);
        if (entry.size() < 92 || word(entry, 1) < 0 || word(entry, 14) < 0 || word(entry, 15) < 0) {
          return std::nullopt;
        }
        const auto allocated = static_cast<std::size_t>(word(entry, 1));
        entry += in.take(allocated);
        if (entry.size() < 92 + allocated) {
          return std::nullopt;
        }
      }
      out += entry;
    }
    return out;
  }

  static int32_t word(const std::string& bytes, std::size_t index) {
    int32_t value = -1;
    if (bytes.size() >= 4 * index + 4) {
      std::memcpy(&value, &bytes[4 * index], sizeof value);
    }
    return value;
  }

 private:
  explicit SavedWords(const std::string& bytes) : rest_(bytes) {}
  std::string take(std::size_t n) {
    std::string taken = rest_.substr(0, n);
    rest_.erase(0, n);
    return taken;
  }
  std::string rest_;
};

TEST_F(SavedTable, OddWordsAreCarriedAndImpossibleOnesRefused) {
  std::mt19937 random(1);
  const int target = make_object();
  const auto odd = [&random]() -> uint32_t {
    const uint32_t few[] = {0, 1, 2, 3, 4, 7, 99, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU};
    return random() % 3 == 0 ? static_cast<uint32_t>(random()) : few[random() % std::size(few)];
  };
  // Every word but the first, the names and the blocks.
  std::vector<std::size_t> offsets;
  for (std::size_t at = 4; at < 52; at += 4) {
    offsets.push_back(at);
  }
  for (const std::size_t entry : {52U, 52U + 92 + 6, 52U + 92 + 6 + 92 + 40}) {
    for (std::size_t at = entry; at < entry + 92; at += at == entry + 4 ? 44 : 4) {
      offsets.push_back(at);
    }
  }
  int carried = 0;
  for (int round = 0; round < 4000; ++round) {
    std::string bytes = saved_;
    for (auto n = random() % 4; n < 4; ++n) {
      const uint32_t value = odd();
      std::memcpy(&bytes[offsets[random() % offsets.size()]], &value, sizeof value);
    }
    const std::string before = save(target);
    std::optional<std::string> expected = SavedWords::written_back(bytes);
    ASSERT_EQ(read(bytes, target), expected.has_value()) << "round " << round;
    std::string after = save(target);
    if (!expected) {
      ASSERT_EQ(after, before) << "round " << round;
      continue;
    }
    ++carried;
    expected->replace(36, 4, after.substr(36, 4));  // except the table handle
    ASSERT_EQ(after, *expected) << "round " << round;
    // Whatever was read, the table can be used.
    printed([&] {
      nxi_set_memory_padding(target, static_cast<int>(random() % 4));
      nx_set_object_float("text", target, 1.0F);
      const std::vector<float> values(static_cast<std::size_t>(nx_object_floats_size("zeros", target)));
      nx_set_object_floats("zeros", target, values.data());
      auto* block = static_cast<char*>(nx_object_malloc_new(target, 50, 3, "new"));
      ASSERT_EQ(nxi_boundscheck_pnt(target, block), 0);
      nx_object_realloc(target, 300, 2, "text", nxi_get_pointer_by_name("text", target));
      ASSERT_EQ(nxi_boundscheck_all(target), 0);
      nxi_purge_memory_table(target);
    });
  }
  EXPECT_GT(carried, 1000);
}

TEST_F(SavedTable, NamesAreFilledWithZeros) {
  const int source = make_object();
  void* block = nx_object_malloc_new(source, 1, 1, std::string(40, 'x').c_str());
  nxi_set_pnt_name(source, block, "short");
  EXPECT_EQ(save(source).substr(60, 40), "short" + std::string(35, '\0'));
}

}  // namespace
