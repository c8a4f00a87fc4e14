// The tracked allocator's index from a block's address to the slots that hold it. Not exported.
//
// Open addressing with linear probing; removal shifts later cells back, so there are no tombstones. A cell holds 32
// hash bits of the address and the slot, not the address itself. Only the caller's table can tell whether a slot holds
// the address, so a look-up takes a predicate.
#ifndef NXBRIOCHEM_OBJECTS_BLOCK_INDEX_INTERNAL_H
#define NXBRIOCHEM_OBJECTS_BLOCK_INDEX_INTERNAL_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <nxbriochem/objects/memory.h>

namespace memory {

class BlockIndex {
 public:
  static constexpr int32_t kNone = -1;

  // Enters a pair that is not in the index yet.
  void insert(const void* block, int32_t slot) {
    if ((used_ + 1) * (count_ < kLargeCount ? 4 : 2) > count_) {
      resize(count_ == 0 ? kFirstCount : 2 * count_);
    }
    place(cell(tag(block), slot));
  }

  // Removes a pair that is in the index.
  void erase(const void* block, int32_t slot) {
    const uint64_t pair = cell(tag(block), slot);
    std::size_t hole = home(pair);
    while (cells_[hole] != pair) {
      hole = (hole + 1) & mask_;
    }
    for (std::size_t at = (hole + 1) & mask_; cells_[at] != 0; at = (at + 1) & mask_) {
      if (((at - home(cells_[at])) & mask_) >= ((at - hole) & mask_)) {
        cells_[hole] = cells_[at];
        hole = at;
      }
    }
    cells_[hole] = 0;
    --used_;
    if (count_ > kFirstCount && used_ * 32 < count_) {
      resize(count_ / 4);  // so that the index is small again after a peak
    }
  }

  // The highest slot entered for the block for which `holds(slot)` is true, or kNone.
  template <class Holds>
  int32_t find_highest(const void* block, Holds holds) const {
    if (used_ == 0) {
      return kNone;
    }
    const uint32_t wanted = tag(block);
    int32_t found = kNone;
    for (std::size_t at = home(cell(wanted, 0)); cells_[at] != 0; at = (at + 1) & mask_) {
      if (static_cast<uint32_t>(cells_[at] >> 32) == wanted) {
        const auto slot = static_cast<int32_t>(static_cast<uint32_t>(cells_[at]) - 1);
        if (slot > found && holds(slot)) {
          found = slot;
        }
      }
    }
    return found;
  }

  void clear() {
    std::free(cells_);
    *this = {};
  }

 private:
  static constexpr std::size_t kFirstCount = 1024;
  // From this count up, each access is a cache miss anyway, and half of the cells are used. Below, only a quarter is
  // used: a pair is then mostly in its home cell, so that branches are predicted.
  static constexpr std::size_t kLargeCount = std::size_t{1} << 16;

  // Fibonacci hashing; the high bits of the tag choose the cell.
  static uint32_t tag(const void* block) {
    return static_cast<uint32_t>(((reinterpret_cast<uintptr_t>(block) >> 4) * 0x9E3779B97F4A7C15U) >> 32);
  }
  static uint64_t cell(uint32_t tag, int32_t slot) {
    return (static_cast<uint64_t>(tag) << 32) | (static_cast<uint32_t>(slot) + 1);
  }
  std::size_t home(uint64_t cell) const { return static_cast<std::size_t>(cell >> shift_); }

  void place(uint64_t pair) {
    std::size_t at = home(pair);
    while (cells_[at] != 0) {
      at = (at + 1) & mask_;
    }
    cells_[at] = pair;
    ++used_;
  }

  // Shrinking is optional: when there is no memory for it, the cells stay as they are.
  void resize(std::size_t count) {
    auto* fresh = static_cast<uint64_t*>(std::calloc(count, sizeof(uint64_t)));
    if (fresh == nullptr) {
      if (count < count_) {
        return;
      }
      out_of_memory(static_cast<int64_t>(count * sizeof(uint64_t)));
    }
    uint64_t* const old = cells_;
    const std::size_t old_count = count_;
    cells_ = fresh;
    count_ = count;
    used_ = 0;
    mask_ = count - 1;
    shift_ = 64 - static_cast<unsigned>(__builtin_ctzll(count));
    for (std::size_t at = 0; at < old_count; ++at) {
      if (old[at] != 0) {
        place(old[at]);
      }
    }
    std::free(old);
  }

  uint64_t* cells_ = nullptr;  // 0: an empty cell
  std::size_t count_ = 0;
  std::size_t used_ = 0;
  std::size_t mask_ = 0;
  unsigned shift_ = 0;
};

}  // namespace memory

#endif
