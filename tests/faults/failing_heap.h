// A heap of which a chosen allocation fails. The executable is linked with -Wl,--wrap, so that calls of malloc, calloc,
// realloc and free in the library, and operator new, come here. Calls inside the C library do not.
#ifndef NXBRIOCHEM_TESTS_FAULTS_FAILING_HEAP_H
#define NXBRIOCHEM_TESTS_FAULTS_FAILING_HEAP_H

#include <cstddef>

namespace faults {

// What the heap does while `counting`, and what happened. Plain data, so that a child process can share it.
struct Heap {
  bool counting;
  bool and_all_later;
  long fail_at;  // the allocation that fails, from 1; 0 for none
  long count;
  bool failed;
  std::size_t failed_size;  // of the first failed allocation, bytes
};

// Sets the state that the heap uses from now on; null for a heap that never fails.
void set_heap(Heap* heap);

// The number of live blocks, whether or not the heap fails.
long live_blocks();

// In its scope allocations are not counted and do not fail, for what the test itself allocates during a call.
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
