// Blocks: allocation, release and pads.
//
// A block with pads is low pad, caller's bytes and high pad in one heap block. A pad is not filled: its bytes, whatever
// the heap left there, are copied to the table's pack store and compared later. The store only grows; an entry's seeds
// are the positions of its copies.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/error.h>
#include <nxbriochem/objects/object_memory.h>
#include <nxbriochem/objects/object_memory_store_internal.h>
#include <nxbriochem/objects/object_memory_tables_internal.h>

namespace object_memory {
namespace {

constexpr int32_t kPackUnit = 100;
constexpr int kDrawsPerPackUnit = 25;

int32_t allocation_serial = 0;
int32_t free_serial = 0;

const char* const kVerbs[] = {"", "malloc", "calloc", "realloc"};

std::size_t at_least_one(int64_t bytes) { return static_cast<std::size_t>(std::max<int64_t>(bytes, 1)); }

void* plain_allocation(Mode mode, int element_size, void* old, int count) {
  ++allocation_serial;
  if (ObjMemWarn != 0) {
    std::printf("WARNING: SerNum: %d, C Object Manager to %s %d elements, %d bytes each\n", allocation_serial,
                kVerbs[mode], count, element_size);
  }
  const std::size_t bytes = at_least_one(static_cast<int64_t>(count) * element_size);
  switch (mode) {
    case kMalloc:
      return std::malloc(bytes);
    case kCalloc:
      return std::calloc(bytes, 1);
    default:
      return std::realloc(old, bytes);
  }
}

[[noreturn]] void block_exhausted(const char* format, int32_t number, const char* name) {
  char text[128];
  std::snprintf(text, sizeof text, format, number, name);
  exit_out_of_memory(text);
}

// A request for a block, with what the report of exhausted memory needs.
struct Request {
  Mode mode;
  int32_t element_size;
  int32_t count;
  const char* name;
  int64_t bytes;
  int32_t low_pad;
  int32_t high_pad;

  int64_t total() const { return bytes + low_pad + high_pad; }

  // Kept: programs rely on the texts. A regrowth and a new block by malloc show the element count; a new block by
  // calloc or realloc shows the byte count after two blanks.
  [[noreturn]] void exhausted(bool is_new) const {
    if (is_new && mode != kMalloc) {
      block_exhausted("out of memory mallocing  %d for %s!\n", static_cast<int32_t>(bytes), name);
    }
    block_exhausted("out of memory mallocing %d for %s!\n", count, name);
  }
};

Request make_request(const Table& table, Mode mode, int element_size, int count, const char* name) {
  Request request{mode, element_size, count, name, static_cast<int64_t>(count) * element_size, 0, 0};
  if (table.padding == 1 || table.padding == 3) {
    request.low_pad = element_size;
  }
  if (table.padding == 1 || table.padding == 2) {
    request.high_pad = element_size;
  }
  return request;
}

[[noreturn]] void pads_exhausted(const Table& table) {
  block_exhausted("out of memory mallocing %d for %s!\n", table.pack_used, "pads");
}

// The counted capacity grows by units of 100 bytes. The room doubles.
void grow_pack_store(Table& table, int64_t end) {
  while (int64_t{table.pack_capacity} * kPackUnit < end) {
    ++table.pack_capacity;
    for (int i = 0; i < kDrawsPerPackUnit; ++i) {
      draw();  // discarded: the draws keep table handles in step with the growth of stores
    }
  }
  const int64_t needed = end - table.pack_base;
  if (needed > table.pack_room) {
    const int64_t room = std::max(2 * table.pack_room, (needed + kPackUnit - 1) / kPackUnit * kPackUnit);
    void* grown = std::realloc(table.pack, static_cast<std::size_t>(room));
    if (grown == nullptr) {
      pads_exhausted(table);
    }
    table.pack = static_cast<unsigned char*>(grown);
    table.pack_room = room;
  }
}

// For the first pad of a table that was read or copied: the store continues after the part that the fields give as
// used, or starts anew where the fields contradict themselves or leave no room.
void start_pack_store(Table& table, int32_t size) {
  const bool sound = table.pack_used >= 0 && table.pack_used <= int64_t{table.pack_capacity} * kPackUnit &&
                     table.pack_used <= INT32_MAX - size;
  if (!sound) {
    table.pack_used = 0;
    table.pack_capacity = 0;
  }
  table.pack_base = table.pack_used;
}

// Copies a pad's bytes into the store and returns where they are.
int32_t save_pad(Table& table, const unsigned char* pad, int32_t size) {
  if (size == 0) {
    return table.pack_used;
  }
  if (table.pack == nullptr) {
    start_pack_store(table, size);
  }
  const int32_t seed = table.pack_used;
  const int64_t end = static_cast<int64_t>(seed) + size;
  if (end > INT32_MAX) {
    pads_exhausted(table);
  }
  grow_pack_store(table, end);
  std::memcpy(table.pack + (seed - table.pack_base), pad, static_cast<std::size_t>(size));
  table.pack_used = static_cast<int32_t>(end);
  return seed;
}

void save_pads(Table& table, Entry& entry) {
  const auto* bytes = static_cast<const unsigned char*>(entry.pointer);
  entry.low_seed = save_pad(table, bytes - entry.low_pad, entry.low_pad);
  entry.high_seed = save_pad(table, bytes + entry.used, entry.high_pad);
}

void set_block(Table& table, Entry& entry, void* block, const Request& request) {
  adjust_total(table, request.bytes - entry.allocated);
  entry.block = block;
  set_pointer(table, entry, static_cast<unsigned char*>(block) + request.low_pad);
  entry.allocated = static_cast<int32_t>(request.bytes);
  entry.used = entry.allocated;
  entry.element_size = request.element_size;
  entry.low_pad = request.low_pad;
  entry.high_pad = request.high_pad;
  entry.pads_stand = true;
  set_name(table, entry, request.name);
  save_pads(table, entry);
}

Entry& new_block(Table& table, const Request& request, void* old, int handle) {
  void* block = request.mode == kCalloc ? std::calloc(at_least_one(request.total()), 1)
                                        : std::malloc(at_least_one(request.total()));
  if (block == nullptr) {
    request.exhausted(true);
  }
  close_gaps(table);
  Entry& entry = append_entry(table, handle);
  entry.initial_pointer = old;
  set_block(table, entry, block, request);
  return entry;
}

// Moves the caller's bytes when the low pad before them changed size.
void* reallocate_block(const Entry& entry, const Request& request) {
  if (entry.block == nullptr) {
    return std::malloc(at_least_one(request.total()));  // a block of no bytes that was made elsewhere
  }
  const auto* bytes = static_cast<const unsigned char*>(entry.block);
  const auto old_low = static_cast<std::size_t>(static_cast<const unsigned char*>(entry.pointer) - bytes);
  const auto new_low = static_cast<std::size_t>(request.low_pad);
  const auto kept = static_cast<std::size_t>(entry.allocated);
  const std::size_t size = std::max(at_least_one(request.total()), old_low + kept);
  auto* block = static_cast<unsigned char*>(std::realloc(entry.block, size));
  if (block != nullptr && old_low != new_low) {
    std::memmove(block + new_low, block + old_low, kept);
  }
  return block;
}

void warn_of_duplicate(Table& table, const Entry& entry) {
  if (find_pointer(table, entry.pointer).second == nullptr) {
    return;
  }
  std::printf("WARNING! system has duplicated an active table pointer! %s \n", entry.name);
  std::printf("The table is now corrupted!! %d\n", table.handle);
  each_entry(table, [](const Entry& other, int32_t number) {
    std::printf("%d %p %p\n", number, other.pointer, other.initial_pointer);
  });
  std::printf("%s \n", entry.name);
}

void grow_block(Table& table, Entry& entry, const Request& request) {
  void* block = nullptr;
  if (request.mode == kRealloc) {
    block = reallocate_block(entry, request);
  } else {
    std::free(entry.block);
    block = request.mode == kCalloc ? std::calloc(at_least_one(request.total()), 1)
                                    : std::malloc(at_least_one(request.total()));
  }
  if (block == nullptr) {
    request.exhausted(false);
  }
  set_block(table, entry, block, request);
  warn_of_duplicate(table, entry);
}

void keep_block(Table& table, Entry& entry, const Request& request) {
  if (request.mode == kCalloc) {
    std::memset(entry.pointer, 0, static_cast<std::size_t>(request.bytes));
  }
  entry.used = static_cast<int32_t>(request.bytes);
  if (entry.high_pad > 0 && entry.pads_stand) {
    entry.high_seed = save_pad(table, static_cast<const unsigned char*>(entry.pointer) + entry.used, entry.high_pad);
  }
}

// Decides about an old pointer that the table does not know. True: go on as for a new block.
bool accept_unknown(const Table& table, const char* name) {
  if (table.strictness <= 0) {
    return true;
  }
  std::printf("SEVERE WARNING: NO match to pointer table for %s!!\n", name);
  if (table.strictness == 1) {
    std::printf("Assigning memory anyway.\n");
    return true;
  }
  if (table.strictness == 2) {
    std::printf("Returning with pointer UNASSIGNED.\n");
    return false;
  }
  std::printf("Exiting program.\n");
  std::exit(objects::kUnknownPointer);
}

void report_allocation(const Table& table, const Entry& entry) {
  if (table.print_flag != 0) {
    std::printf("malloc_Z: %s has %d used, %d allocated, total memory allocated= %d\n", entry.name, entry.used,
                entry.allocated, table.total);
  }
}

}  // namespace

Entry* find_entry(Table& table, const void* pointer) {
  const Found found = find_pointer(table, pointer);
  if (found.second != nullptr) {
    std::printf("WARNING: Possible corruption of memory table.\n");
    std::printf("The pointer checked has the same pointer value as: %s\n", found.second->name);
    std::printf("FIX this bug!!!\n");
    std::exit(objects::kDuplicatePointer);
  }
  return found.first;
}

Entry* find_entry_or_say(int handle, const void* pointer, const char* message) {
  Table* table = find_table(handle);
  Entry* entry = table == nullptr ? nullptr : find_entry(*table, pointer);
  if (table != nullptr && entry == nullptr) {
    std::fputs(message, stdout);
  }
  return entry;
}

void adjust_total(Table& table, int64_t difference) {
  table.total = static_cast<int32_t>(static_cast<uint32_t>(table.total) + static_cast<uint32_t>(difference));
}

void check_before_release(Table& table) {
  if (table.auto_check == 2 || table.auto_check == 3) {
    check_bounds_silently(table);
  }
}

void release(Table& table, Entry& entry) {
  const int32_t allocated = entry.allocated;
  if (allocated < 1) {
    std::printf("NOTE: nxi_free found pointer %s already had zero associated memory\n", entry.name);
  }
  std::free(entry.block);  // null for a block of no bytes from a table that was read or copied
  adjust_total(table, -static_cast<int64_t>(allocated));
  if (table.print_flag != 0) {
    std::printf("free_Z: %s nxi_freed %d bytes, total memory allocated=  %d\n", entry.name, allocated, table.total);
  }
  remove_entry(table, entry);
}

void* malloc_Z(int handle, Mode mode, int element_size, void* old, int count, const char* name) {
  if (count < 0 || element_size < 0) {
    return nullptr;
  }
  if (handle < 0) {
    return plain_allocation(mode, element_size, old, count);
  }
  const char* label = name == nullptr ? "" : name;
  if (std::strlen(label) > kNameSize) {
    nxi_warning("pointer name %s is longer than %d characters\n", label, kNameSize);
  }
  Table* table = find_table(handle);
  if (table == nullptr) {
    return nullptr;
  }
  const Request request = make_request(*table, mode, element_size, count, label);
  if (table->auto_check == 1 || table->auto_check == 3) {
    check_bounds_silently(*table);
  }
  Entry* entry = old == nullptr ? nullptr : find_entry(*table, old);
  if (old != nullptr && entry == nullptr && !accept_unknown(*table, label)) {
    return old;
  }
  if (request.total() > INT32_MAX) {
    request.exhausted(entry == nullptr);
  }
  if (entry == nullptr) {
    entry = &new_block(*table, request, old, handle);
  } else if (request.bytes > entry->allocated) {
    grow_block(*table, *entry, request);
  } else {
    keep_block(*table, *entry, request);
  }
  report_allocation(*table, *entry);
  return entry->pointer;
}

}  // namespace object_memory

using namespace object_memory;

void* nxi_free(int handle, void* pointer) {
  if (handle < 0) {
    ++free_serial;
    if (ObjMemWarn != 0) {
      std::printf("WARNING: SerNum: %d, C Object Manager nxi_free\n", free_serial);
    }
    std::free(pointer);
    return nullptr;
  }
  Table* table = find_table(handle);
  if (table == nullptr) {
    return pointer;
  }
  check_before_release(*table);
  if (pointer == nullptr) {
    return nullptr;
  }
  Entry* entry = find_entry(*table, pointer);
  if (entry == nullptr) {
    std::printf("WARNING: No match to pointer table!! table= %d, pointer= %p\n", table->handle, pointer);
    std::printf("Too dangerous to free this rogue pointer!\n");
    return pointer;
  }
  release(*table, *entry);
  close_gaps(*table);
  return nullptr;
}

void* nx_free_object_memory(int handle, void* pointer) { return nxi_free(handle, pointer); }

void* nx_object_malloc(int handle, int count, int element_size, const char* name, void* old) {
  return malloc_Z(handle, kMalloc, element_size, old, count, name);
}

void* nx_object_calloc(int handle, int count, int element_size, const char* name, void* old) {
  return malloc_Z(handle, kCalloc, element_size, old, count, name);
}

void* nx_object_realloc(int handle, int count, int element_size, const char* name, void* old) {
  return malloc_Z(handle, kRealloc, element_size, old, count, name);
}

void* nx_object_malloc_new(int handle, int count, int element_size, const char* name) {
  return malloc_Z(handle, kMalloc, element_size, nullptr, count, name);
}

void* nx_object_calloc_new(int handle, int count, int element_size, const char* name) {
  return malloc_Z(handle, kCalloc, element_size, nullptr, count, name);
}

void* nxi_mAlloc(int handle, int count, int element_size, const char* name, void* old) {
  return malloc_Z(handle, kMalloc, element_size, old, count, name);
}

void* nxi_cAlloc(int handle, int count, int element_size, const char* name, void* old) {
  return malloc_Z(handle, kCalloc, element_size, old, count, name);
}

void* nxi_calloc(int handle, int count, int element_size, const char* name, void* old) {
  return malloc_Z(handle, kCalloc, element_size, old, count, name);
}

void* nxi_reAlloc(int handle, int count, int element_size, const char* name, void* old) {
  return malloc_Z(handle, kRealloc, element_size, old, count, name);
}

void* nxi_malloc(int handle, int bytes, const char* name, void* old) {
  return malloc_Z(handle, kMalloc, 1, old, bytes, name);
}

void* nxi_realloc(int handle, void* old, int bytes, const char* name) {
  return malloc_Z(handle, kRealloc, 1, old, bytes, name);
}

void* nxi_mAlloc_new(int handle, int count, int element_size, const char* name) {
  return malloc_Z(handle, kMalloc, element_size, nullptr, count, name);
}

void* nxi_calloc_new(int handle, int count, int element_size, const char* name) {
  return malloc_Z(handle, kCalloc, element_size, nullptr, count, name);
}

void* nxi_malloc_new(int handle, int bytes, const char* name) {
  return malloc_Z(handle, kMalloc, 1, nullptr, bytes, name);
}

void* nxi_cAlloc_new(int handle, int count, int element_size, const char* name, void* old) {
  if (old == nullptr) {
    // Kept: programs rely on two allocations. The first block stays in the table until the object is deleted; without a
    // table to hold it, it is freed.
    void* first = malloc_Z(handle, kCalloc, element_size, nullptr, count, name);
    if (handle < 0) {
      std::free(first);
    }
  }
  return malloc_Z(handle, kCalloc, element_size, nullptr, count, name);
}
