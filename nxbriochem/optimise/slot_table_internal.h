// A growing table of records, with flags that say which slots are in use. It works on the variables of the module that
// owns the table. Optimisers and function lists are kept in such tables. Private to this directory; C++ only.
#ifndef NXBRIOCHEM_OPTIMISE_SLOT_TABLE_INTERNAL_H
#define NXBRIOCHEM_OPTIMISE_SLOT_TABLE_INTERNAL_H

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/memory_owners_internal.h>

namespace slot_table {

inline constexpr int32_t kFirstCapacity = 10;
inline constexpr int32_t kNone = -1;

// Grows a tracked array from `old_count` to `count` elements. Old elements are kept, new ones are cleared. A count
// beyond int32_t is reported as out of memory.
template <class T>
void grow_cleared(T*& array, int64_t old_count, int64_t count) {
  const auto size = static_cast<int64_t>(sizeof(T));
  if (count > INT32_MAX) {
    out_of_memory(count * size);
  }
  array = static_cast<T*>(memory::grow_own(array, count * size));
  std::memset(static_cast<void*>(array + old_count), 0, static_cast<std::size_t>((count - old_count) * size));
}

// Records must be trivial: growth moves them byte by byte, and new ones are cleared.
template <class Record>
struct SlotTable {
  Record*& records;
  int32_t*& occupancy;  // 1 in use, 0 vacant
  int32_t& used;        // slots ever used
  int32_t& capacity;
  int32_t& low_vacant;  // the lowest vacant slot below `used`, or kNone

  // Takes the lowest vacant slot, else the next one that was never used. The record keeps its old contents.
  int32_t take() const {
    int32_t slot = low_vacant;
    if (slot >= 0) {
      occupancy[slot] = 1;
      low_vacant = vacant_from(slot);
      return slot;
    }
    // No scan is needed, since release() keeps low_vacant up to date.
    if (used == 0) {
      resize(0, capacity);
    } else if (used == capacity) {
      resize(capacity, 2 * static_cast<int64_t>(capacity));
    }
    slot = used++;
    occupancy[slot] = 1;
    return slot;
  }

  void release(int32_t slot) const {
    occupancy[slot] = 0;
    low_vacant = low_vacant < 0 ? slot : std::min(low_vacant, slot);
  }

  // Finds low_vacant anew, by scanning all flags.
  void scan() const { low_vacant = vacant_from(0); }

  bool in_use(int32_t slot) const { return slot >= 0 && slot < used && occupancy[slot] != 0; }

  // Makes the table as it was before its first use, after its blocks were freed from outside.
  void forget() const {
    records = nullptr;
    occupancy = nullptr;
    used = 0;
    capacity = kFirstCapacity;
    low_vacant = kNone;
  }

 private:
  int32_t vacant_from(int32_t slot) const {
    int32_t* end = occupancy + used;
    int32_t* vacant = std::find(occupancy + slot, end, 0);
    return vacant == end ? kNone : static_cast<int32_t>(vacant - occupancy);
  }

  void resize(int64_t old_count, int64_t count) const {
    grow_cleared(records, old_count, count);
    grow_cleared(occupancy, old_count, count);
    capacity = static_cast<int32_t>(count);
  }
};

}  // namespace slot_table

#endif
