// Printed reports of tables and their blocks. Addresses are shown as integers, cut to 32 bits where the format says %d.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include <nxbriochem/objects/obj_man.h>
#include <nxbriochem/objects/object_memory.h>
#include <nxbriochem/objects/object_memory_store_internal.h>
#include <nxbriochem/objects/object_memory_tables_internal.h>
#include <nxbriochem/objects/plain_heap_internal.h>

namespace object_memory {
namespace {

long long_address(const void* pointer) { return static_cast<long>(reinterpret_cast<intptr_t>(pointer)); }
int short_address(const void* pointer) { return static_cast<int>(long_address(pointer)); }

}  // namespace
}  // namespace object_memory

using namespace object_memory;

int nxi_mem_total(int handle) {
  const Table* table = find_table(handle);
  if (table == nullptr) {
    return 0;
  }
  std::printf("total memory allocated is: %d bytes\n", table->total);
  return table->total;
}

void nxi_print_mem_alloc(int handle) {
  const Table* table = find_table(handle);
  if (table == nullptr) {
    return;
  }
  std::printf("memory table member array has pnt %p\n", static_cast<void*>(table->entries));
  each_entry(*table, [](const Entry& entry, int32_t number) {
    std::printf("entry: %d. array %s, pnt %d, has memory %d\n", number, entry.name, short_address(entry.pointer),
                entry.allocated);
  });
}

void nxi_print_mem_alloc_ordered(int handle) {
  const Table* table = find_table(handle);
  if (table == nullptr) {
    return;
  }
  struct Numbered {
    const Entry* entry;
    int32_t number;
  };
  std::vector<Numbered, objects::PlainHeap<Numbered>> order;
  order.reserve(static_cast<std::size_t>(table->count));
  each_entry(*table, [&order](const Entry& entry, int32_t number) { order.push_back({&entry, number}); });
  std::sort(order.begin(), order.end(), [](const Numbered& a, const Numbered& b) {
    const long at_a = long_address(a.entry->pointer);
    const long at_b = long_address(b.entry->pointer);
    return at_a != at_b ? at_a < at_b : a.number < b.number;
  });
  std::printf("\nORDERED LIST OF ARRAYS WITH MEMORY TABLE %d\n", table->handle);
  std::printf("*******************************************\n");
  for (const auto& [entry, number] : order) {
    std::printf("%d to %d belong to %s, entry %d\n", short_address(entry->pointer),
                static_cast<int>(long_address(entry->pointer) + entry->allocated), entry->name, number);
  }
}

void nxi_filter_print_mem_alloc(int handle, const char* filter) {
  const Table* table = find_table(handle);
  if (table == nullptr) {
    return;
  }
  each_entry(*table, [filter](const Entry& entry, int32_t) {
    if (filter == nullptr || std::strstr(entry.name, filter) != nullptr) {
      std::printf("array %s has memory %d\n", entry.name, entry.allocated);
    }
  });
}

void nxi_print_mem_alloc_to(int handle, void* pointer) {
  const Entry* entry = find_entry_or_say(handle, pointer, "no such pointer found in the pointer table!\n");
  if (entry != nullptr) {
    std::printf("total memory in %s is %d, used = %d\n", entry->name, entry->allocated, entry->used);
  }
}

void nxi_print_initial_pnt_status(int handle, void* pointer) {
  const Entry* entry = find_entry_or_say(handle, pointer, "no such pointer found in the pointer table!\n");
  if (entry != nullptr) {
    std::printf("pointer entered the memory management as %p\n", entry->initial_pointer);
  }
}

void nxi_print_all_allocated_memory(void) {
  uint32_t total = 0;
  for (int32_t t = 0; t < MemTabNum; ++t) {
    const Table& table = *memtab[t];
    each_entry(table, [](const Entry& entry, int32_t number) {
      std::printf("entry: %d. array %s, pnt %ld, has memory %d\n", number, entry.name, long_address(entry.pointer),
                  entry.allocated);
    });
    std::printf("total memory for table %d belonging to object %d of type %s is %d\n", t, table.owner,
                nxi_object_type_name(table.owner), table.total);
    total += static_cast<uint32_t>(table.total);
  }
  std::printf("total memory for all tables: %d\n", static_cast<int>(total));
}
