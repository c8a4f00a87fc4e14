// The table behind a molecule's atoms, bonds and conformers: items by index, in chunks. C++17; for the toolkit.
//
// An index is given once, in ascending order, until the table is cleared. An item stays where it is while it lives. A
// chunk is made for its first item and freed when all its items are deleted, so that making and deleting items over and
// over costs no memory to speak of. Neighbouring freed chunks form a run, and each end of a run knows the other: going
// from an item to the next one takes constant time, however many were deleted between them.
#ifndef NXBRIOCHEM_TOOLKIT_NXTABLE_H
#define NXBRIOCHEM_TOOLKIT_NXTABLE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace NxChem {

class NxMolBase;

// What every chunk begins with.
struct NxChunkHead {
  NxMolBase* parent = nullptr;  // the molecule whose items these are
  std::uint64_t live = 0;       // bit k: item `first + k` is there
  unsigned first = 0;           // index of the chunk's first item
};

// The chunk of an item type has `head`, kSize of at most 64, At(k), the item of place k, and Drop(k), which ends it.
template <class T>
struct NxChunk;

// Items of type T by index.
template <class T>
class NxTable {
 public:
  // Where the items are.
  using Chunk = NxChunk<T>;

  // The items that are there.
  unsigned Count() const { return count_; }
  // One more than the highest index ever given.
  unsigned Bound() const { return bound_; }

  // The chunk of an index below the bound; null when it was freed.
  Chunk* ChunkOf(unsigned idx) const { return slots_[idx / Chunk::kSize].chunk.get(); }
  // The item of an index, null when there is none.
  T* Get(unsigned idx) const {
    Chunk* chunk = idx < bound_ ? ChunkOf(idx) : nullptr;
    const unsigned place = idx % Chunk::kSize;
    return chunk != nullptr && (chunk->head.live >> place & 1) != 0 ? chunk->At(place) : nullptr;
  }

  // The index of the first item at or behind `idx`; the bound when there is none.
  unsigned Next(unsigned idx) const {
    while (idx < bound_) {
      const std::size_t at = idx / Chunk::kSize;
      const Slot& slot = slots_[at];
      if (slot.chunk == nullptr) {
        idx = static_cast<unsigned>((std::max(slot.run, at) + 1) * Chunk::kSize);
        continue;
      }
      const std::uint64_t live = slot.chunk->head.live >> idx % Chunk::kSize;
      if (live != 0) {
        return idx + static_cast<unsigned>(__builtin_ctzll(live));
      }
      idx = static_cast<unsigned>((at + 1) * Chunk::kSize);
    }
    return bound_;
  }
  // The index of the last item before `idx`, which is at most the bound; the bound when there is none.
  unsigned Previous(unsigned idx) const {
    while (idx > 0) {
      const std::size_t at = (idx - 1) / Chunk::kSize;
      const Slot& slot = slots_[at];
      if (slot.chunk == nullptr) {
        idx = static_cast<unsigned>(std::min(slot.run, at) * Chunk::kSize);
        continue;
      }
      const std::uint64_t live = slot.chunk->head.live << (63 - (idx - 1) % Chunk::kSize);
      if (live != 0) {
        return idx - 1 - static_cast<unsigned>(__builtin_clzll(live));
      }
      idx = static_cast<unsigned>(at * Chunk::kSize);
    }
    return bound_;
  }
  // Calls visit(begin, end) for every stretch of items without gaps, in index order.
  template <class Visit>
  void Stretches(Visit visit) const {
    if (count_ == bound_) {
      if (bound_ != 0) {
        visit(0U, bound_);
      }
      return;
    }
    for (unsigned begin = Next(0); begin < bound_;) {
      unsigned end = begin + 1;
      while (Get(end) != nullptr) {
        ++end;
      }
      visit(begin, end);
      begin = Next(end);
    }
  }

  // Makes room for n items in all, exactly n when there is none so far; speed only.
  void Reserve(unsigned n) {
    const std::size_t wanted = (std::size_t{n} + Chunk::kSize - 1) / Chunk::kSize;
    if (wanted > slots_.capacity()) {
      slots_.reserve(std::max(wanted, 2 * slots_.capacity()));
    }
  }
  // The chunk of the next item, made if need be. The item itself is not there yet.
  Chunk& Open(NxMolBase* parent) {
    const std::size_t at = bound_ / Chunk::kSize;
    if (at == slots_.size()) {
      slots_.push_back({std::make_unique<Chunk>(), at});
      slots_[at].chunk->head.parent = parent;
      slots_[at].chunk->head.first = bound_;
      if (at > 0 && slots_[at - 1].chunk != nullptr && slots_[at - 1].chunk->head.live == 0) {
        FreeChunk(at - 1);
      }
    }
    return *slots_[at].chunk;
  }
  // Adds the next n items to the chunk that was opened for them, which must have room. The first of them.
  T* Add(unsigned n = 1) {
    Chunk& chunk = *slots_[bound_ / Chunk::kSize].chunk;
    const unsigned place = bound_ % Chunk::kSize;
    chunk.head.live |= (~std::uint64_t{0} >> (64 - n)) << place;
    bound_ += n;
    count_ += n;
    return chunk.At(place);
  }
  // Ends an item that is there.
  void Remove(unsigned idx) {
    const std::size_t at = idx / Chunk::kSize;
    Chunk& chunk = *slots_[at].chunk;
    chunk.Drop(idx % Chunk::kSize);
    chunk.head.live &= ~(std::uint64_t{1} << idx % Chunk::kSize);
    --count_;
    if (chunk.head.live == 0 && at + 1 < slots_.size()) {
      FreeChunk(at);
    }
  }
  // Ends all items; the bound becomes 0.
  void Clear() {
    slots_.clear();
    count_ = 0;
    bound_ = 0;
  }
  // Gives back room that was reserved, where more than half of it is idle.
  void Sweep() {
    if (slots_.capacity() > 2 * slots_.size()) {
      slots_.shrink_to_fit();
    }
  }

  // Becomes a copy with the same indices, of chunks that copy(chunk) makes. The table must be empty.
  template <class Copy>
  void CopyFrom(const NxTable& other, Copy copy) {
    slots_.reserve(other.slots_.size());
    for (const Slot& slot : other.slots_) {
      slots_.push_back({slot.chunk != nullptr ? copy(*slot.chunk) : nullptr, slot.run});
    }
    count_ = other.count_;
    bound_ = other.bound_;
  }

 private:
  struct Slot {
    std::unique_ptr<Chunk> chunk;
    // At either end of a run of freed chunks: the slot of the other end. Inside a run: out of date.
    std::size_t run;
  };

  void FreeChunk(std::size_t at) {
    slots_[at].chunk.reset();
    std::size_t first = at;
    std::size_t last = at;
    if (at > 0 && slots_[at - 1].chunk == nullptr) {
      first = slots_[at - 1].run;
    }
    if (at + 1 < slots_.size() && slots_[at + 1].chunk == nullptr) {
      last = slots_[at + 1].run;
    }
    slots_[first].run = last;
    slots_[last].run = first;
  }

  std::vector<Slot> slots_;
  unsigned count_ = 0;
  unsigned bound_ = 0;
};

}  // namespace NxChem

#endif
