// The tables themselves: making, finding and deleting them.
//
// A table is found by its handle, as if the tables were scanned; an index stands in for the scan and is made anew after
// a table took another handle.
#include <nxbriochem/objects/object_memory.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <nxbriochem/objects/handle_sequence.h>
#include <nxbriochem/objects/memory_owners.h>
#include <nxbriochem/objects/obj_man.h>
#include <nxbriochem/objects/obj_man_tables.h>
#include <nxbriochem/objects/object_memory_tables.h>
#include <nxbriochem/objects/plain_heap.h>
#include <nxbriochem/util/never_destroyed.h>
#include <nxbriochem/util/slot_index.h>

namespace object_memory {

Table* memtab = nullptr;
int32_t MemTabNum = 0;
int32_t MemTabAll = 0;
int32_t ObjMemWarn = 0;
int32_t NX_MONITOR_DELETE = 0;
const int32_t MEMTAB_REV = 0;
const int32_t MEMENT_REV = 0;
int random_sequence_handle = 0;
uint32_t random_sequence_handle_set = 0;
int32_t handle_overflow = 0;

namespace {

constexpr int32_t kFirstTableHandle = 1000000000;
constexpr int kMostClashes = 1001;

// Tables that memtab really has room for. The count that grows by ten is kept for those who look at it; the room
// doubles.
int32_t tables_room = 0;

constinit util::NeverDestroyed<util::SlotIndex<int32_t, objects::PlainHeap>> table_index_storage;
constinit auto& table_index = *table_index_storage;
bool index_is_current = false;

void forget_sequence();
objects::HandleSequence sequence{random_sequence_handle, random_sequence_handle_set, handle_overflow, forget_sequence};
void forget_sequence() { sequence.forget_record(); }

void make_room_for_table() {
  if (MemTabNum < MemTabAll) {
    return;
  }
  MemTabAll += kTablesIncrement;
  if (MemTabAll <= tables_room) {
    return;
  }
  tables_room = std::max(MemTabAll, 2 * tables_room);
  void* grown = std::realloc(memtab, sizeof(Table) * static_cast<std::size_t>(tables_room));
  if (grown == nullptr) {
    exit_out_of_memory("out of memory mallocing the memory table!\n");
  }
  memtab = static_cast<Table*>(grown);
}

int32_t index_of(int32_t handle) {
  if (!index_is_current) {
    table_index.reset(static_cast<std::size_t>(MemTabNum));
    for (int32_t i = 0; i < MemTabNum; ++i) {
      table_index.insert(memtab[i].handle, i);
    }
    index_is_current = true;
  }
  return table_index.find_highest(handle);
}

int32_t draw_table_handle() {
  const auto taken = [](int32_t value) { return index_of(value + kFirstTableHandle) >= 0; };
  const uint32_t value =
      sequence.draw_unique(taken, kMostClashes, "1001 attempts to find unique handle failed", kNoUniqueHandleStatus);
  return static_cast<int32_t>(value) + kFirstTableHandle;
}

void report_missing_table(int handle) {
  std::printf("no pointer found for memory table handle %d\n", handle);
  for (int32_t i = 0; i < MemTabNum; ++i) {
    std::printf("memory table %d has handle %d\n", i, memtab[i].handle);
  }
  print_handle_list();
}

// Frees a table's first entry over and over with all that goes with a single release.
void free_entries_one_by_one(int table_handle) {
  for (Table* table = find_table(table_handle); table->count > 0;) {
    const Entry& entry = table->entries[0];
    if (NX_MONITOR_DELETE != 0) {
      std::printf("freeing memory for %s\n", entry.name);
      std::printf("freeing pnt %ld\n", static_cast<long>(reinterpret_cast<intptr_t>(entry.pointer)));
    }
    if (entry.pointer == nullptr) {
      remove_entry(*table, 0);  // an entry that a saved table left unread
    } else {
      nxi_free(table_handle, entry.pointer);
    }
  }
}

void delete_table(int32_t index) {
  Table& table = memtab[index];
  const int32_t entries = table.count;
  if (NX_MONITOR_DELETE != 0) {
    std::printf("deleting memory table %d belonging to object: %d of type %s\n", entries, table.owner,
                nxi_object_type_name(table.owner));
  }
  const bool registry = obj_man::is_registry_table(table.handle);
  free_entries_one_by_one(table.handle);
  free_contents(table);
  if (NX_MONITOR_DELETE != 0) {
    std::printf("%d memory table entries deleted from table %d of %d\n", entries, index + 1, MemTabNum);
    std::printf("memory table %d deleted\n", index + 1);
  }
  const int32_t handle = table.handle;
  std::move(memtab + index + 1, memtab + MemTabNum, memtab + index);
  MemTabNum -= 1;
  if (index_is_current) {
    table_index.close_gap(handle, index, MemTabNum, [](int32_t i) { return memtab[i].handle; });
  }
  if (registry) {
    obj_man::registry_table_deleted();
  }
}

}  // namespace

uint32_t draw() { return sequence.draw(); }

void tables_changed() { index_is_current = false; }

Table* find_table(int handle) {
  const int index = nxi_get_memory_table(handle);
  return index < 0 ? nullptr : &memtab[index];
}

void exit_out_of_memory(const char* text) { memory::end_exhausted(kOutOfMemoryStatus, text, "*******\n"); }

}  // namespace object_memory

using namespace object_memory;

int nxi_add_memory_table(int owner) {
  make_room_for_table();
  const int32_t handle = draw_table_handle();
  const int32_t index = MemTabNum;
  MemTabNum += 1;
  memtab[index] = Table{};
  memtab[index].handle = handle;
  memtab[index].owner = owner;
  if (index_is_current) {
    table_index.insert(handle, index);
  }
  return handle;
}

int nxi_get_memory_table(int handle) {
  int32_t index = index_of(handle);
  if (index < 0) {
    index = index_of(nxi_get_memory_handle(handle));
  }
  if (index < 0) {
    report_missing_table(handle);
  }
  return index;
}

void nxi_delete_memory_table(int owner) {
  const int index = nxi_get_memory_table(owner);
  if (index >= 0) {
    delete_table(index);
  }
}

void nxi_delete_all_memory_tables(void) {
  // The registry's table comes last: the others' reports name their owners' types.
  while (MemTabNum > 0) {
    delete_table(MemTabNum - 1);
  }
  std::puts("all memory tables removed");
}

void nxi_purge_memory_table(int handle) {
  Table* table = find_table(handle);
  if (table == nullptr) {
    return;
  }
  const int32_t table_handle = table->handle;
  for (int32_t i = 0; i < table->count;) {
    const Entry& entry = table->entries[i];
    if (entry.state != kOwned) {
      ++i;
    } else if (entry.pointer == nullptr) {
      remove_entry(*table, i);
    } else {
      nxi_free(table_handle, entry.pointer);
    }
  }
  std::printf("memory table purged, %d entries remain\n", table->count);
  if (obj_man::is_registry_table(table_handle)) {
    obj_man::registry_blocks_freed();
  }
}

void nx_set_object_memory_warning_on(void) { ObjMemWarn = 1; }
void nx_set_object_memory_warning_off(void) { ObjMemWarn = 0; }
void nxi_monitor_delete(void) { NX_MONITOR_DELETE = 1; }

uint32_t nxi_total_object_memory_allocated(void) {
  uint32_t total = 0;
  for (int32_t i = 0; i < MemTabNum; ++i) {
    total += static_cast<uint32_t>(memtab[i].total);
  }
  return total;
}
