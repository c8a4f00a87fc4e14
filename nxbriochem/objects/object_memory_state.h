// State of the object memory tables, for their own sources and their tests.
#ifndef NXBRIOCHEM_OBJECTS_OBJECT_MEMORY_STATE_H
#define NXBRIOCHEM_OBJECTS_OBJECT_MEMORY_STATE_H

#include <cstddef>
#include <cstdint>

namespace object_memory {

inline constexpr int32_t kNameSize = 40;

enum State : int32_t { kOwned = 0, kProtected = 1, kAttached = 2 };

struct Index;

// The fields down to `owner` and their order are part of the interface; a saved table holds them.
struct Entry {
  void* pointer;  // the block as the caller sees it, behind the low pad
  int32_t allocated;
  char name[kNameSize + 1];
  void* initial_pointer;
  int32_t used;
  int32_t element_size;
  int32_t high_seed;
  int32_t low_seed;
  int32_t low_pad;
  int32_t high_pad;
  int32_t state;
  int32_t reserved;
  int32_t owner;

  void* block;      // the heap block; null when it must not be freed
  bool gone;        // removed; a gap in the table's array
  bool pads_stand;  // false for entries that were read or copied: they have pad fields, but their blocks have no pads
};
static_assert(offsetof(Entry, pointer) == 0 && offsetof(Entry, allocated) == 8 && offsetof(Entry, name) == 12 &&
              offsetof(Entry, initial_pointer) == 56 && offsetof(Entry, used) == 64 &&
              offsetof(Entry, element_size) == 68 && offsetof(Entry, high_seed) == 72 &&
              offsetof(Entry, low_seed) == 76 && offsetof(Entry, low_pad) == 80 && offsetof(Entry, high_pad) == 84 &&
              offsetof(Entry, state) == 88 && offsetof(Entry, reserved) == 92 && offsetof(Entry, owner) == 96);

// The fields down to `pack_used` and their order are part of the interface.
struct Table {
  Entry* entries;
  int32_t count;
  int32_t capacity;
  int32_t total;
  int32_t print_flag;
  int32_t strictness;
  int32_t auto_check;
  int32_t in_check;
  int32_t padding;
  int32_t handle;
  int32_t owner;
  unsigned char* pack;
  int32_t pack_capacity;  // units of kPackUnit bytes
  int32_t pack_used;

  int32_t slots;      // places of `entries` in use, gaps included
  int32_t room;       // allocated places of `entries`; a table that was read may claim more
  int32_t pack_base;  // pack position of the first byte of `pack`: earlier pads were neither read nor copied
  int64_t pack_room;  // bytes that `pack` really has room for
  Index* index;       // of the entries; null for a table that is scanned
};
static_assert(offsetof(Table, entries) == 0 && offsetof(Table, count) == 8 && offsetof(Table, capacity) == 12 &&
              offsetof(Table, total) == 16 && offsetof(Table, print_flag) == 20 && offsetof(Table, strictness) == 24 &&
              offsetof(Table, auto_check) == 28 && offsetof(Table, in_check) == 32 && offsetof(Table, padding) == 36 &&
              offsetof(Table, handle) == 40 && offsetof(Table, owner) == 44 && offsetof(Table, pack) == 48 &&
              offsetof(Table, pack_capacity) == 56 && offsetof(Table, pack_used) == 60);

extern Table** memtab;  // in order of their making
extern int32_t MemTabNum;
extern int32_t MemTabAll;
extern int32_t ObjMemWarn;
extern int32_t NX_MONITOR_DELETE;
extern const int32_t MEMTAB_REV;
extern const int32_t MEMENT_REV;
extern int random_sequence_handle;
extern uint32_t random_sequence_handle_set;
extern int32_t handle_overflow;

}  // namespace object_memory

#endif
