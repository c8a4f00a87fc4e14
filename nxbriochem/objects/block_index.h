// The tracked allocator's index from a block's address to the slots that may hold it. Not exported.
//
// It holds hints, not facts: a pair is entered when a slot takes an address and never taken out. Whether the slot holds
// the address still is for the caller's table to say, so a look-up asks a predicate. Pairs gone stale are left behind
// when the cells are made anew, which they are once they fill. That keeps releasing a block to one look-up, and a block
// that comes back to the slot and address that it had, the commonest case, finds its pair in place.
#ifndef NXBRIOCHEM_OBJECTS_BLOCK_INDEX_H
#define NXBRIOCHEM_OBJECTS_BLOCK_INDEX_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include <nxbriochem/objects/plain_heap.h>

namespace memory {

class BlockIndex {
 public:
  static constexpr int32_t kNone = -1;

  // The cells have no room for another pair: reset and enter what is live.
  bool full() const { return used_ * 8 >= cells_.size() * 5; }

  // Empties the index and makes room for n pairs and as many again.
  void reset(std::size_t n) {
    std::size_t cells = kFirstSize;
    while (cells < 3 * n) {
      cells *= 2;
    }
    cells_.assign(cells, 0);
    used_ = 0;
    mask_ = cells - 1;
    shift_ = 32 - static_cast<unsigned>(__builtin_ctzll(cells));
  }

  void clear() {
    Cells().swap(cells_);
    used_ = 0;
  }

  // Enters a pair, unless it is there.
  void enter(const void* block, int32_t slot) {
    const uint64_t pair = cell(tag(block), slot);
    std::size_t at = home(tag(block));
    while (cells_[at] != 0 && cells_[at] != pair) {
      at = (at + 1) & mask_;
    }
    used_ += static_cast<std::size_t>(cells_[at] == 0);
    cells_[at] = pair;
  }

  // The highest slot entered for the block of which `holds(slot)` is true, or kNone.
  template <class Holds>
  int32_t find_highest(const void* block, Holds holds) const {
    if (cells_.empty()) {
      return kNone;
    }
    const uint32_t wanted = tag(block);
    int32_t found = kNone;
    for (std::size_t at = home(wanted); cells_[at] != 0; at = (at + 1) & mask_) {
      if (static_cast<uint32_t>(cells_[at] >> 32) == wanted) {
        const auto slot = static_cast<int32_t>(static_cast<uint32_t>(cells_[at]) - 1);
        if (slot > found && holds(slot)) {
          found = slot;
        }
      }
    }
    return found;
  }

 private:
  using Cells = std::vector<uint64_t, objects::PlainHeap<uint64_t>>;

  static constexpr std::size_t kFirstSize = 1024;

  // Fibonacci hashing; the high bits of the tag choose the cell.
  static uint32_t tag(const void* block) {
    return static_cast<uint32_t>(((reinterpret_cast<uintptr_t>(block) >> 4) * 0x9E3779B97F4A7C15U) >> 32);
  }
  static uint64_t cell(uint32_t tag, int32_t slot) {
    return (static_cast<uint64_t>(tag) << 32) | static_cast<uint32_t>(slot + 1);
  }
  std::size_t home(uint32_t tag) const { return tag >> shift_; }

  Cells cells_;  // tag and slot + 1; 0 is an empty cell
  std::size_t used_ = 0;
  std::size_t mask_ = 0;
  unsigned shift_ = 0;
};

}  // namespace memory

#endif
