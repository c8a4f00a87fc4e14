// A hash index from keys (pointers or handles) to slot numbers of a table. It replaces a scan in tables whose look-up
// is defined as a scan. A key may be in several slots; `find_highest` gives the highest one, which is the answer of a
// scan from the top. Open addressing with linear probing and removal by shifting back, so no tombstones.
//
// Not exported; `Heap` is the standard allocator or one in its place.
#ifndef NXBRIOCHEM_UTIL_SLOT_INDEX_INTERNAL_H
#define NXBRIOCHEM_UTIL_SLOT_INDEX_INTERNAL_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <vector>

namespace util {

template <class Key, template <class> class Heap = std::allocator>
class SlotIndex {
 public:
  static constexpr int32_t kNone = -1;

  // Adds the pair (key, slot), which must not be in the index yet. Slots are 0 or above.
  void insert(Key key, int32_t slot) {
    if ((size_ + 1) * 2 > cells_.size()) {
      rehash(cells_.empty() ? kFirstSize : cells_.size() * 2);
    }
    std::size_t at = home(key);
    while (cells_[at].slot != kNone) {
      repeated_ += static_cast<std::size_t>(cells_[at].key == key);
      at = (at + 1) & mask_;
    }
    cells_[at] = {key, slot};
    ++size_;
  }

  // The highest slot recorded for the key, or kNone.
  int32_t find_highest(Key key) const {
    if (size_ == 0) {
      return kNone;
    }
    int32_t found = kNone;
    for (std::size_t at = home(key); cells_[at].slot != kNone; at = (at + 1) & mask_) {
      if (cells_[at].key == key) {
        if (repeated_ == 0) {
          return cells_[at].slot;
        }
        found = cells_[at].slot > found ? cells_[at].slot : found;
      }
    }
    return found;
  }

  // Calls visit(slot) for each slot recorded for the key, in no order.
  template <class Visit>
  void each(Key key, Visit visit) const {
    if (size_ == 0) {
      return;
    }
    for (std::size_t at = home(key); cells_[at].slot != kNone; at = (at + 1) & mask_) {
      if (cells_[at].key == key) {
        visit(cells_[at].slot);
        if (repeated_ == 0) {
          return;
        }
      }
    }
  }

  // Removes the pair (key, slot); nothing happens when it is not in the index.
  void erase(Key key, int32_t slot) {
    if (size_ == 0) {
      return;
    }
    const Cell* const cell = find_cell(key, slot);
    if (cell->slot != kNone) {
      erase_cell(static_cast<std::size_t>(cell - cells_.data()));
      if (repeated_ != 0) {
        recount(key);
      }
    }
  }

  // Follows a table that closed a gap: (key, gap) is removed, and every slot from gap + 1 to `last` becomes one less.
  // `key_of` gives the key that stands in a slot now. Few slots are looked up one by one; for many, a pass over all
  // cells is faster.
  template <class KeyOf>
  void close_gap(Key key, int32_t gap, int32_t last, KeyOf key_of) {
    erase(key, gap);
    if (static_cast<std::size_t>(last - gap) * kSweptPerLookup < cells_.size()) {
      for (int32_t slot = gap; slot < last; ++slot) {
        find_cell(key_of(slot), slot + 1)->slot = slot;
      }
      return;
    }
    for (Cell& cell : cells_) {
      cell.slot -= static_cast<int32_t>(cell.slot > gap);
    }
  }

  void clear() {
    cells_.clear();
    size_ = 0;
    repeated_ = 0;
    mask_ = 0;
  }

  // Empties the index and makes room for n pairs.
  void reset(std::size_t n) {
    std::size_t cells = kFirstSize;
    while (cells < 2 * n + 2) {
      cells *= 2;
    }
    cells_.assign(cells, Cell{Key{}, kNone});
    set_geometry();
    size_ = 0;
    repeated_ = 0;
  }

  std::size_t size() const { return size_; }

  // Starts loading the key's cell into the cache.
  void prefetch(Key key) const {
    if (!cells_.empty()) {
      __builtin_prefetch(&cells_[home(key)], 1);
    }
  }

 private:
  struct Cell {
    Key key;
    int32_t slot;
  };

  using Cells = std::vector<Cell, Heap<Cell>>;

  static constexpr std::size_t kFirstSize = 64;
  // The number of cells that a pass covers in the time of one look-up.
  static constexpr std::size_t kSweptPerLookup = 16;

  // The cell of the pair, or the empty cell where the search for it ends. The index must not be empty.
  Cell* find_cell(Key key, int32_t slot) {
    std::size_t at = home(key);
    while (cells_[at].slot != kNone && !(cells_[at].key == key && cells_[at].slot == slot)) {
      at = (at + 1) & mask_;
    }
    return &cells_[at];
  }

  // Fibonacci hashing: the high bits of the product depend on all bits of the key.
  std::size_t home(Key key) const {
    uint64_t bits = 0;
    if constexpr (std::is_pointer_v<Key>) {
      bits = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(key)) >> 4;
    } else {
      bits = static_cast<uint64_t>(key);
    }
    return static_cast<std::size_t>((bits * 0x9E3779B97F4A7C15U) >> shift_);
  }

  void set_geometry() {
    mask_ = cells_.size() - 1;
    shift_ = 64 - static_cast<unsigned>(__builtin_ctzll(cells_.size()));
  }

  void rehash(std::size_t cells) {
    Cells old(cells, Cell{Key{}, kNone});
    old.swap(cells_);
    set_geometry();
    size_ = 0;
    repeated_ = 0;
    for (const Cell& cell : old) {
      if (cell.slot != kNone) {
        insert(cell.key, cell.slot);
      }
    }
  }

  // Closes the gap at `hole` by moving back later cells of the run that may be there.
  void erase_cell(std::size_t hole) {
    std::size_t at = hole;
    for (;;) {
      at = (at + 1) & mask_;
      if (cells_[at].slot == kNone) {
        break;
      }
      const std::size_t wanted = home(cells_[at].key);
      if (((at - wanted) & mask_) >= ((at - hole) & mask_)) {
        cells_[hole] = cells_[at];
        hole = at;
      }
    }
    cells_[hole].slot = kNone;
    --size_;
  }

  // `repeated_` counts pairs of cells with equal keys. After one of k + 1 equal ones was removed, k pairs are gone.
  void recount(Key key) {
    for (std::size_t at = home(key); cells_[at].slot != kNone; at = (at + 1) & mask_) {
      repeated_ -= static_cast<std::size_t>(cells_[at].key == key);
    }
  }

  Cells cells_;
  std::size_t size_ = 0;
  std::size_t repeated_ = 0;
  std::size_t mask_ = 0;
  unsigned shift_ = 0;
};

}  // namespace util

#endif
