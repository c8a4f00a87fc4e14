#include <nxbriochem/objects/list_obj.h>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/error.h>
#include <nxbriochem/objects/list_obj_state.h>
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/obj_man.h>
#include <nxbriochem/objects/object_memory.h>
#include <nxbriochem/objects/print.h>

#include "tests/support/printed.h"

namespace {

using test_support::printed;

constexpr int kList = objects::kListType;
constexpr int kOwnType = 60;

const list_obj::List& record(int list) { return list_obj::list[nxi_translate_handle(list)]; }

int make_list(std::initializer_list<int> members) {
  const int list = nx_make_list();
  for (const int member : members) {
    nx_add_to_list(member, list);
  }
  return list;
}

int make_own_object() {
  uint32_t handle = 0;
  nxi_register_object(kOwnType, "mine", 8, 5);
  nxi_make_object(kOwnType, &handle);
  return static_cast<int>(handle);
}

std::vector<int> members_of(int list) {
  const list_obj::List& found = record(list);
  return {found.members, found.members + found.length};
}

std::vector<int> unrolled(int list) {
  EXPECT_EQ(nx_make_urolled_list(list), 1);
  const int* first = nx_object_integers("ulist", list);
  EXPECT_EQ(first, record(list).unrolled);
  return {first, first + nx_object_integers_size("ulist", list)};
}

// A model of the documented lists: each is a vector, and nested lists are walked by recursion.
struct Model {
  struct List {
    std::vector<int> members;
    int current = 0;

    int length() const { return static_cast<int>(members.size()); }
    bool remove(std::ptrdiff_t position) {
      if (position < 0 || position >= length()) {
        return false;
      }
      members[static_cast<std::size_t>(position)] = members.back();
      members.pop_back();
      return true;
    }
  };
  std::map<int, List> lists;  // deleted ones too
  std::vector<int> alive;

  // The list that a value names, or 0. The registry takes a value for a live handle when that handle is the only one
  // with the same low 16 bits.
  int named(int value) const {
    if (value < 0) {
      return 0;
    }
    const auto agrees = [value](int handle) { return ((handle ^ value) & 0xFFFF) == 0; };
    if (std::ranges::count_if(alive, agrees) == 1) {
      return *std::ranges::find_if(alive, agrees);
    }
    return std::ranges::count(alive, value) != 0 ? value : 0;
  }

  bool contains(int handle, int value, std::set<int>& seen) const {
    const int list = named(value);
    if (list == 0 || !seen.insert(list).second) {
      return false;
    }
    const std::vector<int>& members = lists.at(list).members;
    return std::any_of(members.begin(), members.end(),
                       [&](int member) { return member == handle || contains(handle, member, seen); });
  }
  bool contains(int handle, int list) const {
    std::set<int> seen;
    return contains(handle, list, seen);
  }

  std::vector<int> flat(int value, std::set<int> within = {}) const {
    std::vector<int> all;
    const int list = named(value);
    if (list == 0 || !within.insert(list).second) {
      return all;
    }
    for (const int member : lists.at(list).members) {
      const bool is_list = lists.count(member) != 0 || named(member) != 0;
      const std::vector<int> nested = is_list ? flat(member, within) : std::vector<int>{member};
      all.insert(all.end(), nested.begin(), nested.end());
    }
    return all;
  }

  int nested_in(const List& list) const {
    return static_cast<int>(std::ranges::count_if(list.members, [this](int member) { return named(member) != 0; }));
  }
  int nestings() const {
    int count = 0;
    for (const int handle : alive) {
      count += nested_in(lists.at(handle));
    }
    return count;
  }
};

// Applies the same random operations to the library and the model, and compares results and state.
class Twins {
 public:
  void step() {
    if (model_.alive.empty() || (model_.alive.size() < 25 && below(20) == 0)) {
      model_.alive.push_back(nx_make_list());
      model_.lists[model_.alive.back()] = {};
      return;
    }
    const int handle = model_.alive[below(model_.alive.size())];
    Model::List& list = model_.lists[handle];
    const int member = any();
    switch (below(16)) {
      case 0:
        return remove_list(handle);
      case 1: {
        const auto last = std::find(list.members.rbegin(), list.members.rend(), member);
        ASSERT_EQ(nx_delete_from_list(member, handle), list.remove(list.members.rend() - last - 1));
        return;
      }
      case 2:
        ASSERT_EQ(nx_delete_current_from_list(handle), list.remove(list.current));
        return;
      case 3: {
        const auto first = std::ranges::find(list.members, member) - list.members.begin();
        ASSERT_EQ(nx_go_to_list_object(member, handle), first < list.length());
        list.current = list.members.empty() ? list.current : std::min(static_cast<int>(first), list.length() - 1);
        return;
      }
      case 4:
      case 5:
        return move_cursor(handle, list);
      default:
        add(member, handle);
    }
  }

  void compare() const {
    for (const auto& [value, made] : model_.lists) {
      const int handle = model_.named(value);
      const Model::List list = handle == 0 ? Model::List() : model_.lists.at(handle);
      const std::vector<int> flat = model_.flat(value);
      const int wanted = kPlain[flat.size() % std::size(kPlain)];
      ASSERT_EQ(nx_get_list_length(value), list.length());
      ASSERT_EQ(nx_get_list_length_recurse(value), static_cast<int>(flat.size()));
      ASSERT_EQ(nx_is_handle_in_list(wanted, value), std::ranges::count(list.members, wanted) != 0);
      ASSERT_EQ(nx_is_handle_in_list_recurse(wanted, value), model_.contains(wanted, value));
      ASSERT_EQ(nx_get_list_length_of_type(value, kList), model_.nested_in(list));
      ASSERT_EQ(nx_get_list_length_of_type(value, 4), std::ranges::count(list.members, kGrid));
      int current = 0;
      ASSERT_EQ(nx_get_list_current_object(&current, value), list.current < list.length());
      ASSERT_EQ(current, list.current < list.length() ? list.members[static_cast<std::size_t>(list.current)] : 0);
      ASSERT_EQ(nx_make_urolled_list(value), list.length() > 0);
      if (list.length() > 0) {
        ASSERT_EQ(unrolled(handle), flat);
        ASSERT_EQ(members_of(handle), list.members);
        ASSERT_EQ(record(handle).current, list.current);
      }
    }
  }

  std::size_t lists_made() const { return model_.lists.size(); }

 private:
  // Handles of molecules and a grid, and values that are no handles.
  static constexpr int kGrid = -1000000001;
  static constexpr int kPlain[] = {-1, -2, -999999999, kGrid, 0, 7 + 65536, 7 + 3 * 65536};

  std::size_t below(std::size_t n) { return random_() % n; }

  // Any value: no list, a live list, or a deleted one.
  int any() {
    switch (below(8)) {
      case 0:
        return model_.alive[below(model_.alive.size())];
      case 1:
        return std::next(model_.lists.begin(), static_cast<std::ptrdiff_t>(below(model_.lists.size())))->first;
      default:
        return kPlain[below(std::size(kPlain))];
    }
  }

  void remove_list(int handle) {
    if (model_.alive.size() < 15) {
      return;
    }
    int copy = handle;
    ASSERT_EQ(below(2) == 0 ? nx_delete(&copy) : nx_delete_list(handle), 1);
    model_.lists[handle] = {};
    std::erase(model_.alive, handle);
  }

  void move_cursor(int handle, Model::List& list) {
    struct Move {
      int (*call)(int);
      bool possible;
      int to;
    };
    const int last = list.length() - 1;
    const Move moves[] = {{nx_increment_list, list.current < last, list.current + 1},
                          {nx_decrement_list, last >= 0 && list.current > 0, list.current - 1},
                          {nx_go_to_list_start, last >= 0, 0},
                          {nx_go_to_list_end, last >= 0, last}};
    const Move& move = moves[below(std::size(moves))];
    ASSERT_EQ(move.call(handle), move.possible);
    list.current = move.possible ? move.to : list.current;
  }

  // Handles of deleted lists stay in the lists that hold them, but are not added to others. The depth of nesting is
  // bounded, since each level may double the length of an unrolled list.
  void add(int member, int handle) {
    const bool nests = model_.named(member) != 0;
    if (nests ? model_.nestings() > 25 : model_.lists.count(member) != 0) {
      return;
    }
    const bool refused = nests && model_.contains(handle, member);
    std::string expected = nests ? "checked for recursion! " + std::to_string(static_cast<int>(refused)) + "\n" : "";
    if (refused) {
      const std::string m = std::to_string(member);
      const std::string l = std::to_string(handle);
      expected += "attempt to add list " + m + " to " + l + " where " + m + " contains " + l + "!!\n";
    }
    ASSERT_EQ(printed([&] { ASSERT_EQ(nx_add_to_list(member, handle), !refused); }), expected);
    if (!refused) {
      model_.lists[handle].members.push_back(member);
    }
  }

  Model model_;
  std::mt19937 random_{11};
};

TEST(ListObj, AgreesWithTheDescriptionUnderRandomOperations) {
  nx_print_everything();
  Twins twins;
  for (int step = 0; step < 12000; ++step) {
    ASSERT_NO_FATAL_FAILURE(twins.step()) << step;
    if (step % 40 == 0) {
      ASSERT_NO_FATAL_FAILURE(twins.compare()) << step;
    }
  }
  EXPECT_GT(twins.lists_made(), 200U);
  EXPECT_EQ(nx_number_of_errors() + nx_number_of_warnings(), 0);
}

// Members are added under a value that names the list by the registry's shortcut.
TEST(ListObj, NewListIsEmptyAndGrowsByAHundred) {
  const int list = nx_make_list();
  const int alias = list + 65536;
  EXPECT_EQ(nxi_get_allocated_space_for_objects_of_type(kList), 10U);
  for (int member = -1; member >= -101; --member) {
    EXPECT_EQ(record(list).capacity, member == -1 ? 0 : 100);
    EXPECT_EQ(nx_add_to_list(member, alias), 1);
  }
  EXPECT_EQ(record(list).capacity, 200);
  EXPECT_EQ(nx_list_length(list), 101);
  EXPECT_EQ(nxi_get_pointer_by_name("list", list), record(list).members);
  EXPECT_EQ(nxi_mem_used_by(list, record(list).members), 800);
  EXPECT_EQ(nx_make_urolled_list(alias), 1);
  EXPECT_EQ(nx_object_integers_size("ulist", list), 101);
}

TEST(ListObj, NamesAreCutAtSeventyNine) {
  const int list = nx_make_list();
  char name[80] = "?";
  EXPECT_EQ(nx_get_list_name(name, list), 1);
  EXPECT_STREQ(name, "");
  EXPECT_EQ(nx_set_list_name(nullptr, list), 0);
  EXPECT_EQ(nx_is_list_name_set(list), 0);
  EXPECT_EQ(nx_set_list_name(std::string(200, 'n').c_str(), list), 1);
  EXPECT_EQ(nx_is_list_name_set(list), 1);
  EXPECT_EQ(nx_get_list_name(name, list), 1);
  EXPECT_EQ(name, std::string(79, 'n'));
  EXPECT_EQ(printed([&] { EXPECT_EQ(nx_get_list_name(nullptr, list), 0); }), "");
  nx_set_print_status("standard", list);
  EXPECT_EQ(printed([&] { nx_get_list_name(nullptr, list); }), "NULL character pointer sent to nx_get_list_name\n");
}

TEST(ListObj, UnrollingMovesTheCursorBehindTheMembers) {
  const int list = make_list({-3});
  nx_add_to_list(list, list);  // skipped when unrolled
  int array[2] = {};
  int* cursor = array;
  EXPECT_EQ(nxi_unroll_list(&cursor, list), 1);
  EXPECT_EQ(cursor, array + 1);
  EXPECT_EQ(array[0], -3);
  EXPECT_EQ(nxi_unroll_list(nullptr, list) + nx_get_list_current_object(nullptr, list), 0);
}

// The program has a block of the same name behind a pad of three bytes, so it is not aligned.
TEST(ListObj, UnrollsIntoABlockThatIsNotAligned) {
  const int list = make_list({-3, 70000, -5});
  nxi_set_memory_padding(list, 1);
  auto* block = static_cast<char*>(nx_object_malloc_new(list, 7, 3, "ulist"));
  EXPECT_EQ(nx_make_urolled_list(list), 1);
  const int expected[] = {-3, 70000, -5};
  EXPECT_EQ(std::memcmp(block, expected, sizeof expected), 0);
  EXPECT_EQ(nxi_boundscheck_all_s(list), 0);
}

TEST(ListObj, DeepAndWideNestingsAreWalked) {
  constexpr int kDeep = 20000;
  const int top = nx_make_list();
  int list = top;
  for (int depth = 0; depth < kDeep; ++depth) {
    const int nested = nx_make_list();
    ASSERT_EQ(nx_add_to_list(nested, list), 1);
    nx_add_to_list(-1, list);
    list = nested;
  }
  rlimit stack{};
  getrlimit(RLIMIT_STACK, &stack);
  stack.rlim_cur = 256 * 1024;
  setrlimit(RLIMIT_STACK, &stack);
  EXPECT_EQ(nx_get_list_length_recurse(top), kDeep);
  EXPECT_EQ(unrolled(top), std::vector<int>(kDeep, -1));
  EXPECT_EQ(nx_add_to_list(top, list), 0);
  // Each list holds the one before it twice: 2^60 paths, but 60 lists to search.
  int twice = nx_make_list();
  for (int level = 0; level < 60; ++level) {
    twice = make_list({twice, twice});
  }
  EXPECT_EQ(nx_is_handle_in_list_recurse(-1, twice), 0);
}

TEST(ListObj, DeletedListsStayMembersButHoldNothing) {
  const int holder = make_list({-1});
  std::vector<int> nested;
  for (int i = 0; i < 3000; ++i) {
    nested.push_back(make_list({-2}));
    nx_add_to_list(nested.back(), holder);
    if (i % 10 != 0) {
      nx_delete_from_list(nested.back(), holder);
    }
  }
  const int own = make_own_object();
  nx_add_to_list(own, holder);
  nxi_delete_object(own);
  EXPECT_EQ(nx_get_list_length_recurse(holder), 302);
  for (const int list : nested) {
    nx_delete_list(list);
  }
  EXPECT_EQ(unrolled(holder), (std::vector<int>{-1, own}));
  EXPECT_EQ(nx_get_list_length(holder), 302);
}

TEST(ListObj, WhatIsNoListGivesNothing) {
  const int own = make_own_object();
  const int list = make_list({-1});
  int out = 5;
  int* cursor = &out;
  char name[80] = "kept";
  for (const int handle : {own, 0, -1, -1000000001, INT32_MIN, INT32_MAX}) {
    for (auto* call : {nx_is_list_name_set, nx_get_list_length, nx_list_length, nx_get_list_length_recurse,
                       nx_delete_current_from_list, nx_increment_list, nx_decrement_list, nx_go_to_list_start,
                       nx_go_to_list_end, nx_make_urolled_list}) {
      EXPECT_EQ(call(handle), 0);
    }
    for (auto* call : {nx_is_handle_in_list, nx_is_handle_in_list_recurse, nx_add_to_list, nx_delete_from_list,
                       nx_go_to_list_object}) {
      EXPECT_EQ(call(-1, handle), 0);
    }
    EXPECT_EQ(nx_set_list_name("x", handle) + nx_get_list_name(name, handle) + nx_add_to_list(list, handle), 0);
    EXPECT_EQ(nx_get_list_length_of_type(handle, 3) + nx_get_list_current_object(&out, handle), 0);
    EXPECT_EQ(nxi_unroll_list(&cursor, handle), 0);
  }
  EXPECT_EQ(out, 5);
  EXPECT_STREQ(name, "kept");
  EXPECT_EQ(nx_number_of_warnings(), 0);
  EXPECT_EQ(nx_delete_list(own), 1);
  EXPECT_EQ(nx_delete_list(-7), 1);
  EXPECT_EQ(nx_number_of_warnings_with_tag("can not delete, no such handle as "), 2);
  EXPECT_EQ(nxi_return_type_of_handle(own), kOwnType);
}

TEST(ListObj, StaysSoundWhateverBecomesOfItsMemory) {
  const int list = make_list({-1, -2});
  nx_free_all_memory();
  EXPECT_EQ(unrolled(list), (std::vector<int>{-1, -2}));
  nx_free_object_memory(list, nx_object_integers("ulist", list));
  EXPECT_EQ(unrolled(list), (std::vector<int>{-1, -2}));
  nxi_purge_memory_table(list);
  EXPECT_EQ(nx_get_list_length(list), 0);
  EXPECT_EQ(nx_add_to_list(-3, list), 1);
  EXPECT_EQ(members_of(list), std::vector<int>{-3});
  nxi_delete_all_memory_tables();
  EXPECT_EQ(nx_get_list_length(list), 0);
  EXPECT_EQ(nx_add_to_list(-1, list), 0);
  const int after = make_list({-4});
  EXPECT_EQ(members_of(after), std::vector<int>{-4});
}

TEST(ListObj, ObjectsOfTheListsTypeThatAProgramMakesAreNoLists) {
  const int deleted = make_list({-9});
  const int list = make_list({-1});
  nx_delete_list(deleted);
  // The first object has the bytes that the list had before it moved.
  uint32_t handle = 0;
  for (int i = 0; i < 25; ++i) {
    nxi_make_object(kList, &handle);
    EXPECT_EQ(nx_add_to_list(-1, static_cast<int>(handle)), 0);
    EXPECT_EQ(nx_make_urolled_list(static_cast<int>(handle)), 0);
  }
  nx_add_to_list(-2, make_list({list}));
  EXPECT_EQ(members_of(list), std::vector<int>{-1});
  EXPECT_EQ(nx_delete_list(static_cast<int>(handle)), 1);
  EXPECT_EQ(nxi_get_number_of_objects_of_type(kList), 26U);
}

TEST(ListObj, TypeThatAProgramRegisteredLeavesNoneForLists) {
  nxi_register_object(kList, "mine", 4, 1);
  EXPECT_EQ(nx_make_list(), 0);
  uint32_t handle = 0;
  nxi_make_object(kList, &handle);
  EXPECT_EQ(nx_add_to_list(-1, static_cast<int>(handle)), 0);
}

}  // namespace
