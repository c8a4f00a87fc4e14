// A list's record is in the registry's array and is looked up on every call. The record is checked before it is used: a
// program may have made an object of type 2 itself, or freed a list's blocks.
//
// The operations that descend share one walk. It keeps its position in each list on the heap, so the depth of nesting
// is limited by memory alone.
#include <nxbriochem/objects/list_obj.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <span>
#include <vector>

#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/error.h>
#include <nxbriochem/objects/list_obj_state.h>
#include <nxbriochem/objects/obj_man.h>
#include <nxbriochem/objects/obj_man_tables_internal.h>
#include <nxbriochem/objects/object_memory.h>
#include <nxbriochem/objects/plain_heap_internal.h>
#include <nxbriochem/objects/print.h>
#include <nxbriochem/util/never_destroyed_internal.h>
#include <nxbriochem/util/slot_index_internal.h>

namespace list_obj {

List* list = nullptr;
int32_t obj_register = 0;

}  // namespace list_obj

namespace {

using list_obj::List;

using objects::kListType;
using objects::kNoType;

constexpr unsigned kObjectsIncrement = 10;
constexpr int32_t kMembersIncrement = 100;
constexpr int kHandleSize = sizeof(int32_t);
constexpr int32_t kMostHandles = INT32_MAX / kHandleSize;  // a block of an object's memory holds so many
constexpr const char* kMembersBlock = "list";
constexpr const char* kUnrolledBlock = "ulist";

template <class Key>
using Index = util::SlotIndex<Key, objects::PlainHeap>;

// Handles that were lists when they became members, for as long as they are members. They are kept here because the
// registry cannot tell the handle of a deleted list from any other unknown value.
constinit util::NeverDestroyed<Index<int32_t>> nested_handles_storage;
constinit Index<int32_t>& nested_handles = *nested_handles_storage;
std::size_t most_nested_handles = 1024;

// The list of a handle, or null. A list whose member block was freed by the program is empty from then on.
List* find_list(int handle) {
  if (nxi_return_type_of_handle(handle) != kListType || list_obj::obj_register == 0) {
    return nullptr;
  }
  list_obj::list = static_cast<List*>(obj_man::objects_of_type(kListType));
  const uint32_t index = nxi_translate_handle(handle);
  List& found = list_obj::list[index];
  if (nxi_translate_handle(found.handle) != index) {
    return nullptr;  // not made by nx_make_list
  }
  if (found.members != nullptr && nxi_mem_alloc_to(found.handle, found.members) / kHandleSize < found.capacity) {
    found.members = nullptr;
    found.length = 0;
    found.capacity = 0;
    found.current = 0;
  }
  return &found;
}

List* find_filled_list(int handle) {
  List* found = find_list(handle);
  return found == nullptr || found->length == 0 ? nullptr : found;
}

int32_t length_of(int handle) {
  const List* found = find_list(handle);
  return found == nullptr ? 0 : found->length;
}

std::span<const int32_t> members_of(const List& list) { return {list.members, static_cast<std::size_t>(list.length)}; }

// The first position of a member, or the length.
int32_t position_of(int member, const List& list) {
  const std::span<const int32_t> members = members_of(list);
  return static_cast<int32_t>(std::ranges::find(members, member) - members.begin());
}

// Whether a member is a list or was one when it was added.
bool is_list(int member) {
  const int type = nxi_return_type_of_handle(member);
  return type == kListType || (type == kNoType && nested_handles.find_highest(member) >= 0);
}

// Forgets the handles that no list holds any more.
void prune_nested_handles() {
  Index<int32_t> held;
  std::size_t looked_at = 0;
  const uint32_t count = nxi_get_number_of_objects_of_type(kListType);
  for (uint32_t i = 0; i < count; ++i) {
    const List* holder = find_list(list_obj::list[i].handle);
    if (holder == nullptr) {
      continue;
    }
    for (const int32_t member : members_of(*holder)) {
      if (nested_handles.find_highest(member) >= 0 && held.find_highest(member) < 0) {
        held.insert(member, 0);
      }
    }
    looked_at += static_cast<std::size_t>(holder->length);
  }
  nested_handles = held;
  // The next pruning comes after as many additions as this one took steps, so that an addition costs O(1) on average.
  most_nested_handles = std::max(most_nested_handles, 2 * held.size() + looked_at);
}

void remember_nested(int member) {
  if (nested_handles.find_highest(member) < 0) {
    if (nested_handles.size() >= most_nested_handles) {
      prune_nested_handles();
    }
    nested_handles.insert(member, 0);
  }
}

// Which lists a walk skips: those that it is inside of, or all that it has visited.
enum class PassOver { open, seen };

// Calls visit(member, whether it is a list) for the members at any depth, in order, depth first, until a call returns
// true. Returns whether one did.
template <class Visit>
bool walk(const List& top, PassOver pass_over, Visit visit) {
  struct Level {
    const List* list;
    int32_t next;
  };
  std::vector<Level, objects::PlainHeap<Level>> levels{{&top, 0}};
  Index<const List*> passed_over;
  passed_over.insert(&top, 0);
  while (!levels.empty()) {
    Level& level = levels.back();
    if (level.next == level.list->length) {
      if (pass_over == PassOver::open) {
        passed_over.erase(level.list, 0);
      }
      levels.pop_back();
      continue;
    }
    const int member = level.list->members[level.next++];
    const bool member_is_list = is_list(member);
    if (visit(member, member_is_list)) {
      return true;
    }
    const List* nested = member_is_list ? find_list(member) : nullptr;
    if (nested != nullptr && passed_over.find_highest(nested) < 0) {
      passed_over.insert(nested, 0);
      levels.push_back({nested, 0});
    }
  }
  return false;
}

bool make_room_for_member(List& list) {
  if (list.length < list.capacity) {
    return true;
  }
  if (list.capacity > kMostHandles - kMembersIncrement) {
    return false;
  }
  const int32_t capacity = list.capacity + kMembersIncrement;
  void* block = list.members == nullptr
                    ? nx_object_malloc(list.handle, capacity, kHandleSize, kMembersBlock, nullptr)
                    : nx_object_realloc(list.handle, capacity, kHandleSize, kMembersBlock, list.members);
  if (block == nullptr) {
    return false;  // the list's memory table is gone
  }
  list.members = static_cast<int32_t*>(block);
  list.capacity = capacity;
  return true;
}

// The last member takes the removed one's place. Kept: programs rely on the cursor staying at its position. A program
// that removes members while it steps through the list meets the moved member next.
void remove_at(List& list, int32_t position) {
  list.members[position] = list.members[list.length - 1];
  list.length -= 1;
}

// For a member that is a list: whether it contains `list`. Prints the result.
bool would_recurse(int member, int list) {
  const int contained = nx_is_handle_in_list_recurse(list, member);
  nx_printf(list, "checked for recursion! %d\n", contained);
  if (contained != 0) {
    nx_printf(list, "attempt to add list %d to %d where %d contains %d!!\n", member, list, member, list);
  }
  return contained != 0;
}

}  // namespace

int nx_make_list(void) {
  if (list_obj::obj_register == 0) {
    list_obj::obj_register = nxi_register_object(kListType, "list", sizeof(List), kObjectsIncrement);
  }
  if (list_obj::obj_register == 0) {
    return 0;
  }
  uint32_t handle = 0;
  list_obj::list = static_cast<List*>(nxi_make_object(kListType, &handle));
  // The newest object is the last.
  List& made = list_obj::list[nxi_get_number_of_objects_of_type(kListType) - 1];
  made = List{};
  made.handle = static_cast<int32_t>(handle);
  return made.handle;
}

int nx_delete_list(int list) {
  if (nxi_return_type_of_handle(list) == kListType) {
    nxi_delete_object(list);
  } else {
    nxi_warning("can not delete, no such handle as %d\n", list);  // the registry's text for an unknown handle
  }
  return 1;
}

int nx_set_list_name(const char* name, int list) {
  List* found = find_list(list);
  if (found == nullptr || name == nullptr) {
    return 0;
  }
  std::snprintf(found->name, sizeof found->name, "%s", name);
  found->name_set = 1;
  return 1;
}

int nx_is_list_name_set(int list) {
  const List* found = find_list(list);
  return found == nullptr ? 0 : found->name_set;
}

int nx_get_list_name(char* name, int list) {
  const List* found = find_list(list);
  if (found == nullptr) {
    return 0;
  }
  if (name == nullptr) {
    nx_printf(list, "NULL character pointer sent to nx_get_list_name\n");
    return 0;
  }
  std::memcpy(name, found->name, std::strlen(found->name) + 1);
  return 1;
}

int nx_get_list_length(int list) { return length_of(list); }

int nx_list_length(int list) { return length_of(list); }

int nx_get_list_length_of_type(int list, int type) {
  const List* found = find_list(list);
  if (found == nullptr) {
    return 0;
  }
  const auto has_type = [type](int32_t member) { return nxi_return_type_of_handle(member) == type; };
  return static_cast<int>(std::ranges::count_if(members_of(*found), has_type));
}

int nx_get_list_length_recurse(int list) {
  const List* found = find_list(list);
  if (found == nullptr) {
    return 0;
  }
  int32_t length = 0;
  walk(*found, PassOver::open, [&length](int, bool member_is_list) {
    length += static_cast<int32_t>(!member_is_list);
    return length == INT32_MAX;
  });
  return length;
}

int nx_is_handle_in_list(int handle, int list) {
  const List* found = find_list(list);
  return static_cast<int>(found != nullptr && position_of(handle, *found) < found->length);
}

int nx_is_handle_in_list_recurse(int handle, int list) {
  const List* found = find_list(list);
  return static_cast<int>(found != nullptr &&
                          walk(*found, PassOver::seen, [handle](int member, bool) { return member == handle; }));
}

int nx_add_to_list(int member, int list) {
  List* found = find_list(list);
  if (found == nullptr) {
    return 0;
  }
  const bool nests = nxi_return_type_of_handle(member) == kListType;
  if ((nests && would_recurse(member, list)) || !make_room_for_member(*found)) {
    return 0;
  }
  found->members[found->length] = member;
  found->length += 1;
  if (nests) {
    remember_nested(member);
  }
  return 1;
}

int nx_delete_from_list(int member, int list) {
  List* found = find_filled_list(list);
  if (found == nullptr) {
    return 0;
  }
  int32_t position = found->length - 1;
  while (position >= 0 && found->members[position] != member) {
    --position;
  }
  if (position < 0) {
    return 0;
  }
  remove_at(*found, position);
  return 1;
}

int nx_delete_current_from_list(int list) {
  List* found = find_list(list);
  if (found == nullptr || found->current >= found->length) {
    return 0;
  }
  remove_at(*found, found->current);
  return 1;
}

int nx_get_list_current_object(int* handle, int list) {
  const List* found = find_list(list);
  if (found == nullptr || handle == nullptr || found->current >= found->length) {
    return 0;
  }
  *handle = found->members[found->current];
  return 1;
}

int nx_increment_list(int list) {
  List* found = find_list(list);
  if (found == nullptr || found->current >= found->length - 1) {
    return 0;
  }
  found->current += 1;
  return 1;
}

int nx_decrement_list(int list) {
  List* found = find_filled_list(list);
  if (found == nullptr || found->current == 0) {
    return 0;
  }
  found->current -= 1;
  return 1;
}

int nx_go_to_list_start(int list) {
  List* found = find_filled_list(list);
  if (found == nullptr) {
    return 0;
  }
  found->current = 0;
  return 1;
}

int nx_go_to_list_end(int list) {
  List* found = find_filled_list(list);
  if (found == nullptr) {
    return 0;
  }
  found->current = found->length - 1;
  return 1;
}

int nx_go_to_list_object(int handle, int list) {
  List* found = find_filled_list(list);
  if (found == nullptr) {
    return 0;
  }
  const int32_t position = position_of(handle, *found);
  found->current = std::min(position, found->length - 1);
  return static_cast<int>(position < found->length);
}

int nx_make_urolled_list(int list) {
  List* found = find_filled_list(list);
  if (found == nullptr) {
    return 0;
  }
  const int length = nx_get_list_length_recurse(list);
  if (length > kMostHandles) {
    return 0;
  }
  // The block is looked up by name, since a program may have freed it.
  void* old = nxi_get_pointer_by_name(kUnrolledBlock, found->handle);
  void* block = nx_object_realloc(found->handle, length, kHandleSize, kUnrolledBlock, old);
  if (block == nullptr) {
    return 0;
  }
  found->unrolled = static_cast<int32_t*>(block);
  nxi_unroll_list(&found->unrolled, list);
  found->unrolled -= length;
  return 1;
}

int nxi_unroll_list(int** cursor, int list) {
  const List* found = find_list(list);
  if (found == nullptr || cursor == nullptr || *cursor == nullptr) {
    return 0;
  }
  int32_t written = 0;
  walk(*found, PassOver::open, [cursor, &written](int member, bool member_is_list) {
    if (!member_is_list) {
      // The array may be a block of the program behind a pad of odd size, so it need not be aligned.
      std::memcpy((*cursor)++, &member, sizeof member);
      ++written;
    }
    return written == INT32_MAX;
  });
  return 1;
}
