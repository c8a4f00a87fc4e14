// A heap of which a chosen allocation fails. The executable is linked so that the library's malloc, calloc and realloc
// come here (-Wl,--wrap), free too, and operator new with them; those of the C library itself do not.
#ifndef NXBRIOCHEM_TESTS_FAULTS_FAILING_HEAP_H
#define NXBRIOCHEM_TESTS_FAULTS_FAILING_HEAP_H

#include <cstddef>

namespace faults {

// What the heap does while `counting`, and what it saw. Plain data, so that a child process can share it.
struct Heap {
  bool counting;
  bool and_all_later;
  long fail_at;  // the allocation that fails, from 1; 0 for none
  long count;
  bool failed;
  std::size_t failed_size;  // of the first that failed, bytes
};

// The heap's state from now on; null for a heap that never fails.
void set_heap(Heap* heap);

// Blocks that were given out and are not freed yet, failing heap or not.
long live_blocks();

// While it lives, allocations are not counted and do not fail: for what a test needs for itself in the middle of a
// call.
class Aside {
 public:
  Aside();
  Aside(const Aside&) = delete;
  Aside& operator=(const Aside&) = delete;
  ~Aside();

 private:
  bool was_counting_;
};

}  // namespace faults

#endif
