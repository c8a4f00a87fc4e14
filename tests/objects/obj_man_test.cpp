#include <nxbriochem/objects/obj_man.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <map>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/error.h>
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/obj_man_state.h>
#include <nxbriochem/objects/object_memory.h>
#include <nxbriochem/objects/object_memory_state.h>
#include <nxbriochem/objects/print.h>
#include <nxbriochem/util/prand.h>
#include <nxbriochem/util/prand_state.h>

#include "tests/support/printed.h"

namespace {

using test_support::expect_exit;
using test_support::printed;

constexpr uint32_t kUnknown = 0xFFFFFFFFU;

// Makes an object whose bytes hold `value`.
int make(int type, int64_t value) {
  uint32_t handle = 0;
  auto* objects = static_cast<int64_t*>(nxi_make_object(type, &handle));
  if (objects != nullptr && obj_man::ObjProp[type].size == sizeof value) {
    objects[obj_man::ObjProp[type].count - 1] = value;
  }
  return static_cast<int>(handle);
}

int64_t value_of(int type, int handle) {
  return static_cast<int64_t*>(obj_man::ObjProp[type].objects)[nxi_translate_handle(handle)];
}

// The handle that is missing in the index after it has grown, until the next deletion; 0 for none. The registry finds
// it by scanning.
int absent = 0;

// The documented look-up, applied to the registry's records: shortcut, then scan.
const obj_man::Handle* described_lookup(int handle) {
  const uint32_t slot = static_cast<uint32_t>(handle) & obj_man::HashBlank;
  if (obj_man::HandleHashOcc[slot] == 1 && (absent == 0 || handle != absent)) {
    return &obj_man::Handles[obj_man::HandleHash[slot]];
  }
  for (int i = 0; i < obj_man::HandlesNum; ++i) {
    if (obj_man::Handles[i].handle == handle) {
      return &obj_man::Handles[i];
    }
  }
  return nullptr;
}

void expect_described(int handle) {
  const obj_man::Handle* record = described_lookup(handle);
  ASSERT_EQ(nxi_translate_handle(handle), record == nullptr ? kUnknown : static_cast<uint32_t>(record->index));
  if (handle >= 0) {
    ASSERT_EQ(nxi_return_type_of_handle(handle), record == nullptr ? -1 : record->type);
  }
}

// Checks that the index is what the documented rehash makes of the registry's records.
void expect_rehashed() {
  std::map<uint32_t, std::pair<int, int>> slots;  // position of the last record, number of records
  for (int i = 0; i < obj_man::HandlesNum; ++i) {
    auto& [last, number] = slots[static_cast<uint32_t>(obj_man::Handles[i].handle) & obj_man::HashBlank];
    last = i;
    ++number;
  }
  for (const auto& [slot, expected] : slots) {
    ASSERT_EQ(std::pair(obj_man::HandleHash[slot], obj_man::HandleHashOcc[slot]), expected) << "slot " << slot;
  }
}

TEST(ObjMan, AgreesWithTheDescriptionUnderRandomMakingAndDeletion) {
  std::mt19937 random(1);
  std::map<int, std::pair<int, int64_t>> live;  // handle to type and value
  std::set<int> ever;                           // no handle comes back before the sequence has wrapped
  std::set<int> tables;
  std::vector<int> handles;
  for (const int type : {20, 21, 22}) {
    nxi_register_object(type, "mine", sizeof(int64_t), static_cast<unsigned>(type - 19));
  }
  for (int step = 0; step < 8000; ++step) {
    const bool freed = step % 700 == 699;  // with more than 1,000 objects live
    if (freed) {
      (step % 2 == 0 ? clear_memory_system : nx_free_all_memory)();
    }
    if (step < 2000 || freed || random() % 5 < 3) {
      const int type = 20 + static_cast<int>(random() % 3);
      const auto value = static_cast<int64_t>(random());
      const int handle = make(type, value);
      live.emplace(handle, std::pair(type, value));
      ASSERT_TRUE(ever.insert(handle).second) << "step " << step;
      ASSERT_TRUE(tables.insert(nxi_get_memory_handle(handle)).second) << "step " << step;
      nx_object_malloc_new(handle, 3, 4, "owned");
      handles.push_back(handle);
    } else {
      const auto at = static_cast<std::ptrdiff_t>(random() % handles.size());
      int handle = handles[static_cast<std::size_t>(at)];
      ASSERT_EQ(nx_delete(&handle), 1);
      ASSERT_EQ(handle, 0);
      live.erase(handles[static_cast<std::size_t>(at)]);
      handles.erase(handles.begin() + at);
    }
    if (step % 100 == 0) {
      ASSERT_NO_FATAL_FAILURE(expect_rehashed());
      for (const auto& [handle, object] : live) {
        ASSERT_EQ(value_of(object.first, handle), object.second);
        ASSERT_NO_FATAL_FAILURE(expect_described(handle));
        ASSERT_EQ(nxi_get_memory_handle(handle), described_lookup(handle)->memory_table);
      }
      for (int i = 0; i < 300; ++i) {
        ASSERT_NO_FATAL_FAILURE(expect_described(static_cast<int>(random())));
      }
      ASSERT_EQ(obj_man::HandlesNum, static_cast<int>(handles.size()));
      for (std::size_t i = 0; i < handles.size(); ++i) {
        ASSERT_EQ(obj_man::Handles[i].handle, handles[i]);  // the order of making is kept
      }
    }
  }
}

// How many handles to make and delete first, so that the handle made when the index grows shares its slot in the grown
// index with exactly one other.
int draws_before_a_shared_slot() {
  constexpr std::size_t kOthers = 16384;
  const int sequence = nx_make_rseq_with_prime_and_seed(982569952, 0);
  nx_rand(sequence);
  std::deque<uint32_t> drawn;
  for (int before = 0;; ++before) {
    while (drawn.size() <= kOthers) {
      drawn.push_back(nx_rand(sequence) & 131071U);
    }
    if (std::count(drawn.begin(), drawn.end() - 1, drawn.back()) == 1) {
      return before;
    }
    drawn.pop_front();
  }
}

TEST(ObjMan, IndexGrowsAndMissesTheHandleMadeAtThatMoment) {
  std::vector<int> handles;
  for (int before = draws_before_a_shared_slot(); before > 0; --before) {
    nxi_delete_object(make(30, 0));
  }
  // The mask is 65535: the first count for which it is below four times the count before is the 16385th.
  for (int i = 0; i < 16385; ++i) {
    ASSERT_EQ(obj_man::HashBitNum, 16);
    handles.push_back(make(30, 0));
  }
  ASSERT_EQ(obj_man::HashBitNum, 17);
  int entered = 0;
  absent = handles.back();
  EXPECT_EQ(obj_man::HandleHashOcc[static_cast<uint32_t>(absent) & 131071U], 1);
  ASSERT_NO_FATAL_FAILURE(expect_described(absent + 131072));  // an alias takes the shortcut
  handles.push_back(make(30, 0));
  ASSERT_NO_FATAL_FAILURE(expect_described(absent));
  EXPECT_EQ(nxi_translate_handle(absent), 16384U);
  handles.pop_back();
  for (const int handle : handles) {
    ASSERT_NO_FATAL_FAILURE(expect_described(handle));
  }
  for (uint32_t slot = 0; slot <= obj_man::HashBlank; ++slot) {
    entered += obj_man::HandleHashOcc[slot];
  }
  EXPECT_EQ(entered, 16385);
  nxi_delete_object(handles[5]);
  absent = 0;
  EXPECT_EQ(nxi_translate_handle(handles.back()), 16383U);
  ASSERT_NO_FATAL_FAILURE(expect_rehashed());
  // Deletes the newest, the oldest and others between, with many shared slots.
  std::mt19937 random(2);
  for (int i = 0; i < 100; ++i) {
    const int last = obj_man::HandlesNum - 1;
    const int at = std::array{last, 0, static_cast<int>(random() % 16000)}[static_cast<std::size_t>(i) % 3];
    ASSERT_EQ(nxi_delete_object(obj_man::Handles[at].handle), 1);
    ASSERT_NO_FATAL_FAILURE(expect_rehashed());
    ASSERT_EQ(nxi_translate_handle(handles[16000]),
              static_cast<uint32_t>(
                  std::find_if(obj_man::Handles, obj_man::Handles + last,
                               [&](const obj_man::Handle& record) { return record.handle == handles[16000]; }) -
                  obj_man::Handles));
  }
}

TEST(ObjMan, HandlesComeFromTheSequenceAfterItsFirstValue) {
  const int sequence = nx_make_rseq_with_prime_and_seed(982569952, 0);
  nx_rand(sequence);
  EXPECT_EQ(make(40, 0), static_cast<int>(nx_rand(sequence)));
  EXPECT_EQ(make(40, 0), static_cast<int>(nx_rand(sequence)));
}

TEST(ObjMan, ValueInASlotWithOneHandleTranslatesAsThatHandle) {
  make(40, 0);
  int handle = make(41, 0);
  const int alias = handle + 65536;
  EXPECT_EQ(nxi_translate_handle(alias), 0U);
  EXPECT_EQ(nxi_return_type_of_handle(alias), 41);
  EXPECT_EQ(nxi_get_memory_handle(alias), -1);
  EXPECT_EQ(nx_set_print_status("debug", alias), 0);
  EXPECT_EQ(nxi_delete_object(alias), 0);
  EXPECT_EQ(nxi_get_number_of_objects_of_type(41), 1U);
  EXPECT_EQ(nx_delete(&handle), 1);
}

TEST(ObjMan, Molecules_GridsAndNamesAreToldByCode) {
  for (const int handle : {-1, -999999999}) {
    EXPECT_EQ(nxi_return_type_of_handle(handle), 3);
    EXPECT_STREQ(nxi_object_type_name(handle), "MOLECULE");
  }
  EXPECT_STREQ(nxi_object_type_name(-1000000001), "GRID");
  EXPECT_STREQ(nxi_object_type_name(INT32_MIN), "GRID");
  EXPECT_EQ(nxi_return_type_of_handle(-1000000000), -1);
  EXPECT_EQ(nxi_translate_handle(5), kUnknown);
  const char* const names[] = {"UNKNOWN",    "HANDLE",   "LIST",     nullptr,   nullptr,   "SURFACE", "LOOKUP",
                               "MIRL",       "AREACALC", "OVERLAY",  "UNKNOWN", "UNKNOWN", "UNKNOWN", "UNKNOWN",
                               "ECONSTRUCT", "EMER",     "BINDCALC", "PCCALC",  "ETCALC"};
  for (std::size_t type = 0; type < 256; ++type) {
    const char* name = type < std::size(names) ? names[type] : "UNKNOWN";
    if (name != nullptr) {
      EXPECT_STREQ(nxi_object_type_name(make(static_cast<int>(type), 0)), name) << type;
    }
  }
  EXPECT_STREQ(nxi_object_type_name(987654321), "UNKNOWN");
}

// The numbers are part of the interface; tests of the reports check the names.
TEST(Codes, HaveTheirNumbers) {
  using namespace objects;
  EXPECT_EQ((std::array<int, 4>{kHandleType, kListType, kMoleculeType, kGridType}), (std::array{1, 2, 3, 4}));
  EXPECT_EQ((std::array<int, 2>{kBooksExhausted, kUndefined}), (std::array{0, 0}));
  EXPECT_EQ((std::array<int, 3>{kMemoryExhausted, kEnded, kNoAtoms}), (std::array{1, 1, 1}));
  EXPECT_EQ((std::array<int, 3>{kDuplicatePointer, kUnknownPointer, kObjectMemoryExhausted}), (std::array{3, 4, 7}));
  EXPECT_EQ((std::array<int, 3>{kHashLimit, kNoUniqueHandle, kNoUniqueTableHandle}), (std::array{107, 108, 208}));
}

TEST(ObjMan, RegistrationIsRefusedThroughThePrintingFunction) {
  EXPECT_EQ(printed([] { EXPECT_EQ(nxi_register_object(256, "x", 4, 4), 0); }), "");
  nx_print_everything();
  EXPECT_EQ(printed([] {
              EXPECT_EQ(nxi_register_object(256, "x", 4, 4), 0);
              EXPECT_EQ(nxi_register_object(-1, "x", 4, 4), 0);
              EXPECT_EQ(nxi_register_object(50, "first", 4, 4), 1);
              EXPECT_EQ(nxi_register_object(50, "second", 8, 8), 0);
              EXPECT_EQ(nxi_register_object(51, nullptr, 8, 8), 0);
            }),
            "maximum tag number for objects is 255\ntag number for objects cannot be less than 0\n"
            "object first already registered at 50\n");
  register_handles();
  EXPECT_EQ(nx_number_of_warnings(), 0);
  EXPECT_EQ(obj_man::ObjProp[1].size, 20U);
  EXPECT_STREQ(obj_man::ObjProp[1].name, "handles");
  EXPECT_STREQ(obj_man::ObjProp[2].name, " ");
  nx_print_nothing();
  register_handles();
  EXPECT_EQ(nx_number_of_warnings_with_tag("problem registering handles\n"), 1);
}

TEST(ObjMan, WhatIsGoneIsNotDeletedAgain) {
  nxi_register_object(50, "mine", sizeof(int64_t), 2);
  const int a = make(50, 1);
  int b = make(50, 2);
  make(50, 3);
  EXPECT_EQ(nxi_get_allocated_space_for_objects_of_type(50), 4U);
  const int table = nxi_get_memory_handle(b);
  EXPECT_EQ(nx_delete(&b), 1);
  EXPECT_NE(printed([&] { EXPECT_EQ(nxi_get_memory_table(table), -1); }), "");
  int gone = 4711;
  EXPECT_EQ(nx_delete(&gone) + nx_delete(nullptr) + nxi_delete_object(gone), 0);
  EXPECT_EQ(gone, 4711);
  EXPECT_STREQ(nx_warning_with_tag("can not", 0), "can not delete, no such handle as 4711\n");
  EXPECT_EQ(value_of(50, a), 1);
}

TEST(ObjMan, OddTypesDoNotOverrun) {
  uint32_t handle = 0;
  EXPECT_EQ(nxi_make_object(-1, &handle), nullptr);
  EXPECT_EQ(nxi_make_object(256, &handle), nullptr);
  EXPECT_EQ(nxi_make_object(5, nullptr), nullptr);
  EXPECT_EQ(nxi_get_number_of_objects_of_type(300), 0U);
  nxi_register_object(70, "no increment", sizeof(int64_t), 0);
  make(71, 0);  // registered late, once there is an object of no size
  nxi_register_object(71, "late", sizeof(int64_t), 1);
  const std::vector<int> late = {make(73, 0), make(73, 0), make(73, 0)};
  nxi_register_object(73, "later", 1000, 10);
  EXPECT_EQ(nxi_delete_object(late[0]), 1);  // none of them has bytes to move
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(value_of(70, make(70, i)), i);
    EXPECT_EQ(value_of(71, make(71, i)), i);
  }
}

TEST(ObjMan, PrintStatusGovernsThePrintingFunction) {
  const int handle = make(50, 0);
  for (const char* level : {"debugging", "Silent", "", "standar", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(nx_set_print_status(level, handle), 1);
    EXPECT_EQ(nx_get_print_status(handle), 0);
  }
  EXPECT_EQ(nx_set_print_status("debug", handle), 1);
  EXPECT_EQ(nx_get_print_status(handle), 3);
  EXPECT_EQ(nx_get_print_status(99), 0);
  EXPECT_EQ(printed([&] { nx_printf(handle, "debug prints nothing\n"); }), "");
  nx_set_print_status("standard", handle);
  EXPECT_EQ(printed([&] {
              nx_printf(0, "not before\n");
              EXPECT_EQ(nx_printf(handle, "a%d\n", 1), 3);
              nx_printf(0, "again\n");
              nx_printf(77, "unknown\n");
              nx_printf(0, "silent again\n");
              nx_print_everything();
              nx_printf(77, "everything\n");
              nx_print_nothing();
              nx_printf(handle, "nothing\n");
              nx_print_by_handle();
              nx_printf(handle, "by handle\n");
            }),
            "a1\nagain\neverything\nby handle\n");
  obj_man::Handles[0].print_status = 2;
  testing::internal::CaptureStderr();
  EXPECT_EQ(printed([&] { nx_printf(handle, "to stderr\n"); }), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "to stderr\n");
}

TEST(ObjMan, MakingIsMonitoredAndListed) {
  nxi_monitor_make();
  int handle = 0;
  const std::string text = printed([&] { handle = make(8, 0); });
  const std::string shown = std::to_string(handle);
  EXPECT_EQ(text, "make object handle: " + shown + "\nMade object with handle " + shown + " of type AREACALC\n");
  nx_print_everything();
  EXPECT_EQ(printed(print_handle_list), "handle 0 is " + shown + "\n");
}

// A program uses the library's sequences as its own. Handles and tables must still be new ones.
TEST(ObjMan, SequencesOfHandlesAreNotDisturbedByMistake) {
  std::set<int> handles = {make(50, 0)};
  const int own = nx_make_rseq();
  for (const auto& [sequence, start] :
       {std::pair(obj_man::random_sequence_handle, obj_man::random_sequence_handle_set),
        std::pair(object_memory::random_sequence_handle, object_memory::random_sequence_handle_set)}) {
    EXPECT_EQ(nx_delete_rseq(sequence), 0);
    EXPECT_EQ(nx_set_seed(sequence, start), 1);
    for (int i = 0; i < 3; ++i) {
      const int handle = make(50, 0);
      EXPECT_TRUE(handles.insert(handle).second);
      EXPECT_EQ(object_memory::memtab[nxi_get_memory_table(handle)]->owner, handle);
      nx_rand(sequence);
    }
  }
  for (int handle : handles) {
    EXPECT_EQ(nx_delete(&handle), 1);
  }
  EXPECT_EQ(nx_delete_rseq(own), 1);
}

// The sequences of handles and of tables give nothing but 5 from here on, which is also where they began: they wrap.
void wrap_sequences() {
  make(50, 0);
  for (const int sequence : {obj_man::random_sequence_handle, object_memory::random_sequence_handle}) {
    prand::rseq[sequence - 1] = {6, 0, 6, 0, 5};
  }
  obj_man::random_sequence_handle_set = 5;
  object_memory::random_sequence_handle_set = 5;
}

TEST(ObjManDeathTest, WrappedSequencesGiveNoValueTwice) {
  wrap_sequences();
  EXPECT_EQ(make(50, 0), 5);
  EXPECT_EQ(nxi_get_memory_handle(5), 1000000005);
  EXPECT_EQ(obj_man::handle_overflow + object_memory::handle_overflow, 2);
  expect_exit(objects::kNoUniqueHandle, "^1000 attempts to find unique handle failed\n$", [] { make(50, 0); });
  expect_exit(objects::kNoUniqueTableHandle, "^1001 attempts to find unique handle failed\n$",
              [] { nxi_add_memory_table(1); });
  prand::rseq[obj_man::random_sequence_handle - 1].increment = 4;
  obj_man::HashBitNum = 29;
  obj_man::HashBlank = 0;
  expect_exit(objects::kHashLimit, "^Hash Tables cant be resized past 2\\*\\*30!\nSorry\n$", [] { make(50, 0); });
}

TEST(ObjMan, SequenceOfTablesThatWrapsWhilePadsAreSavedIsNoticed) {
  wrap_sequences();
  const int handle = obj_man::Handles[0].handle;
  nxi_set_memory_padding(handle, 1);
  nx_object_malloc_new(handle, 1, 4, "padded");
  EXPECT_EQ(object_memory::handle_overflow, 1);
}

TEST(ObjManDeathTest, SignalHandlerReportsAndExits) {
  const int handle = make(50, 0);
  nxi_set_memory_padding(handle, 2);
  static_cast<char*>(nx_object_calloc_new(handle, 4, 1, "hit"))[4] ^= 1;
  nxi_err("before the signal");
  expect_exit(
      objects::kEnded,
      "^\nSIGNAL HANDLER CALLED\nCHECKING NX_ARRAY BOUNDS\n\\*{32}\nChecking memory bounds\n"
      "high bounds violation of entry 0,value=0, name= hit\nSummary: 1 bounds violations found\n"
      "Memory for this table, ordered by pointer value\n\\*{47}\n\nORDERED LIST OF ARRAYS WITH MEMORY TABLE [0-9]+\n"
      "\\*{43}\n-?[0-9]+ to -?[0-9]+ belong to hit, entry 0\n\\*{32}\n"
      "\nNEW ERROR MESSAGES:\nERROR #0: before the signal\n\nNo warnings messages\nCLOSING ALL OPEN FILES\n"
      "ALL DONE\nExit code 11\n$",
      [] { nxi_error_handler(11); });
}

}  // namespace
