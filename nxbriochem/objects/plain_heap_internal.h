// Allocator of the indexes of this directory: plain heap memory, not tracked. Exhausted memory is not thrown; it ends
// the process through out_of_memory. Not exported.
#ifndef NXBRIOCHEM_OBJECTS_PLAIN_HEAP_INTERNAL_H
#define NXBRIOCHEM_OBJECTS_PLAIN_HEAP_INTERNAL_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <nxbriochem/objects/memory.h>

namespace objects {

template <class T>
struct PlainHeap {
  using value_type = T;

  PlainHeap() = default;
  template <class U>
  PlainHeap(const PlainHeap<U>&) {}  // NOLINT(google-explicit-constructor): allocators convert

  T* allocate(std::size_t n) {
    void* block = std::malloc(n * sizeof(T));
    if (block == nullptr) {
      out_of_memory(static_cast<int64_t>(n * sizeof(T)));
    }
    return static_cast<T*>(block);
  }
  void deallocate(T* block, std::size_t) { std::free(block); }

  bool operator==(const PlainHeap&) const { return true; }
};

}  // namespace objects

#endif
