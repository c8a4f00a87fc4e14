// Entries by name and by pointer: named values kept with an object, attached and protected blocks.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include <nxbriochem/objects/error.h>
#include <nxbriochem/objects/object_memory.h>
#include <nxbriochem/objects/object_memory_store_internal.h>
#include <nxbriochem/objects/object_memory_tables_internal.h>

namespace object_memory {
namespace {

constexpr int kValueSize = 4;
static_assert(sizeof(float) == kValueSize && sizeof(int) == kValueSize);

// The first entry of a name in the table of a handle, or null.
Entry* find_name(int handle, const char* name) {
  Table* table = find_table(handle);
  return table == nullptr || name == nullptr ? nullptr : find_name(*table, name);
}

int attach_values(const char* name, int count, int handle) {
  return static_cast<int>(nx_object_malloc_new(handle, count, kValueSize, name) != nullptr);
}

// The number of values in use. In a table that was read, `used` may exceed what the block has.
int values_in(const Entry& entry) { return std::min(entry.used, entry.allocated) / kValueSize; }

// The block of a name when it holds `least` values or more.
void* values_of(const char* name, int handle, int least) {
  const Entry* entry = find_name(handle, name);
  return entry == nullptr || values_in(*entry) < least ? nullptr : entry->pointer;
}

int values_size(const char* name, int handle) {
  const Entry* entry = find_name(handle, name);
  return entry == nullptr ? 0 : values_in(*entry);
}

int set_values(const char* name, int handle, const void* values) {
  const Entry* entry = find_name(handle, name);
  if (entry == nullptr || entry->pointer == nullptr || values == nullptr) {
    return 0;
  }
  std::memcpy(entry->pointer, values, static_cast<std::size_t>(values_in(*entry)) * kValueSize);
  return 1;
}

template <class T>
int set_value(const char* name, int handle, T value) {
  void* block = values_of(name, handle, 1);
  if (block == nullptr) {
    return 0;
  }
  std::memcpy(block, &value, sizeof value);
  return 1;
}

template <class T>
T value_of(const char* name, int handle) {
  T value{};
  if (const void* block = values_of(name, handle, 1)) {
    std::memcpy(&value, block, sizeof value);
  }
  return value;
}

int set_state(int handle, const void* pointer, State state) {
  Table* table = find_table(handle);
  Entry* entry = table == nullptr ? nullptr : find_entry(*table, pointer);
  if (entry == nullptr) {
    return 0;
  }
  entry->state = state;
  return 1;
}

}  // namespace
}  // namespace object_memory

using namespace object_memory;

int nx_attach_float_to_object(const char* name, int handle) { return attach_values(name, 1, handle); }
int nx_attach_integer_to_object(const char* name, int handle) { return attach_values(name, 1, handle); }
int nx_attach_floats_to_object(const char* name, int count, int handle) { return attach_values(name, count, handle); }
int nx_attach_integers_to_object(const char* name, int count, int handle) { return attach_values(name, count, handle); }

int nx_set_object_float(const char* name, int handle, float value) { return set_value(name, handle, value); }
int nx_set_object_integer(int value, const char* name, int handle) { return set_value(name, handle, value); }
int nx_set_object_floats(const char* name, int handle, const float* values) { return set_values(name, handle, values); }
int nx_set_object_integers(const int* values, const char* name, int handle) { return set_values(name, handle, values); }

float nx_object_float(const char* name, int handle) { return value_of<float>(name, handle); }
int nx_object_integer(const char* name, int handle) { return value_of<int>(name, handle); }
float* nx_object_floats(const char* name, int handle) { return static_cast<float*>(values_of(name, handle, 0)); }
int* nx_object_integers(const char* name, int handle) { return static_cast<int*>(values_of(name, handle, 0)); }
int nx_object_floats_size(const char* name, int handle) { return values_size(name, handle); }
int nx_object_integers_size(const char* name, int handle) { return values_size(name, handle); }

void* nxi_get_pointer_by_name(const char* name, int handle) {
  const Entry* entry = find_name(handle, name);
  return entry == nullptr ? nullptr : entry->pointer;
}

int nxi_set_pnt_name(int handle, void* pointer, const char* name) {
  Entry* entry = find_entry_or_say(handle, pointer,
                                   "no such pointer found in memory table! therefore can't reassign pointer name\n");
  if (entry == nullptr) {
    return 0;
  }
  set_name(*find_table(handle), *entry, name);
  return 1;
}

int nxi_mem_alloc_to(int handle, void* pointer) {
  const Entry* entry = find_entry_or_say(handle, pointer, "no such pointer found in the pointer table!\n");
  return entry == nullptr ? 0 : entry->allocated;
}

int nxi_mem_used_by(int handle, void* pointer) {
  const Entry* entry = find_entry_or_say(handle, pointer, "no such pointer found in the pointer table!\n");
  return entry == nullptr ? 0 : entry->used;
}

int nxi_protect_memory(int handle, void* pointer) { return set_state(handle, pointer, kProtected); }

int nxi_unprotect_memory(int handle, void* pointer) {
  if (set_state(handle, pointer, kOwned) == 0) {
    return 0;
  }
  std::printf("pointer to memory called %s marked as unprotected\n", find_entry(*find_table(handle), pointer)->name);
  return 1;
}

int nxi_attach_pointer_to_object(int handle, int count, int element_size, const char* name, void* pointer) {
  const int64_t bytes = static_cast<int64_t>(count) * element_size;
  Table* table = find_table(handle);
  if (table == nullptr || pointer == nullptr || count < 0 || element_size < 0 || bytes > INT32_MAX) {
    return 0;
  }
  close_gaps(*table);
  Entry& entry = append_entry(*table, handle);
  set_pointer(*table, entry, pointer);
  entry.block = bytes > 0 ? pointer : nullptr;  // a block without bytes is not freed
  entry.allocated = static_cast<int32_t>(bytes);
  entry.used = entry.allocated;
  entry.element_size = element_size;
  entry.state = kAttached;
  set_name(*table, entry, name);
  adjust_total(*table, bytes);
  return 1;
}

int nxi_attach_associated_pointer(int handle, void* pointer) {
  if (set_state(handle, pointer, kAttached) == 0) {
    nxi_error("no such pointer as %p found in the pointer table of handle %d!\n", pointer, handle);
    return 0;
  }
  return 1;
}

int nxi_unattach_associated_pointer(int handle, void* pointer) {
  if (set_state(handle, pointer, kOwned) == 0) {
    nxi_error("no such pointer as %p found in the pointer table!\n", pointer);
    return 0;
  }
  return 1;
}

void* nxi_get_attached_pointer(int handle, const char* name) {
  const Entry* entry = find_name(handle, name);
  if (entry == nullptr) {
    nxi_warning("pointer \"%s\" not found in table associated with object handle %d\n", name == nullptr ? "" : name,
                handle);
    return nullptr;
  }
  if (entry->state != kAttached) {
    nxi_warning("pointer \"%s\" is not of the correct type!\n", name);
  }
  return entry->pointer;
}
