// Deleting and purging tables: blocks are released one by one, with the checks and printed lines of a single release.
#include <cstdio>

#include <nxbriochem/objects/obj_man.h>
#include <nxbriochem/objects/obj_man_tables_internal.h>
#include <nxbriochem/objects/object_memory.h>
#include <nxbriochem/objects/object_memory_store_internal.h>
#include <nxbriochem/objects/object_memory_tables_internal.h>

namespace object_memory {
namespace {

void free_entry(Table& table, Entry& entry) {
  if (entry.pointer == nullptr) {
    remove_entry(table, entry);  // a saved table left it unread
    return;
  }
  check_before_release(table);
  release(table, *find_entry(table, entry.pointer));
}

void free_entries(Table& table) {
  each_entry(table, [&table](Entry& entry, int32_t) {
    if (NX_MONITOR_DELETE != 0) {
      std::printf("freeing memory for %s\n", entry.name);
      std::printf("freeing pnt %ld\n", static_cast<long>(reinterpret_cast<intptr_t>(entry.pointer)));
    }
    free_entry(table, entry);
  });
}

void delete_table(int32_t index) {
  Table& table = *memtab[index];
  const int32_t entries = table.count;
  if (NX_MONITOR_DELETE != 0) {
    std::printf("deleting memory table %d belonging to object: %d of type %s\n", entries, table.owner,
                nxi_object_type_name(table.owner));
  }
  const bool registry = obj_man::is_registry_table(table.handle);
  free_entries(table);
  free_contents(table);
  if (NX_MONITOR_DELETE != 0) {
    std::printf("%d memory table entries deleted from table %d of %d\n", entries, index + 1, MemTabNum);
    std::printf("memory table %d deleted\n", index + 1);
  }
  remove_table(index);
  if (registry) {
    obj_man::registry_table_deleted();
  }
}

}  // namespace
}  // namespace object_memory

using namespace object_memory;

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
  each_entry(*table, [table](Entry& entry, int32_t) {
    if (entry.state == kOwned) {
      free_entry(*table, entry);
    }
  });
  close_gaps(*table);
  std::printf("memory table purged, %d entries remain\n", table->count);
  if (obj_man::is_registry_table(table->handle)) {
    obj_man::registry_blocks_freed();
  }
}
