// Where the registry and the memory tables draw their handles from: each has a pseudo-random sequence of its own over
// the same range, and notices when it has come full circle. Not exported.
#ifndef NXBRIOCHEM_OBJECTS_HANDLE_SEQUENCE_H
#define NXBRIOCHEM_OBJECTS_HANDLE_SEQUENCE_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <nxbriochem/objects/memory_owners.h>
#include <nxbriochem/util/prand.h>
#include <nxbriochem/util/prand_keep.h>

namespace objects {

// The state stands in the modules' own variables.
struct HandleSequence {
  static constexpr uint32_t kRange = 982569952;

  int& handle;        // of the sequence
  uint32_t& first;    // its first value, which marks where it began and is never handed out; 0: not made yet
  int32_t& overflow;  // 1 once it has come back there: from then on values are checked for uniqueness
  void (*forget)();   // calls forget_sequence: all tracked memory was freed, and the sequence's record with it

  uint32_t draw() const {
    if (first == 0) {
      handle = nx_make_rseq_with_prime_and_seed(kRange, 0);
      prand::keep(handle);
      first = nx_rand(handle);
      memory::when_all_freed(forget);
    }
    return nx_rand(handle);
  }

  // A value that is not taken. The n-th value in a row that is ends the process.
  template <class Taken>
  uint32_t draw_unique(Taken taken, int n, const char* report, int status) const {
    uint32_t value = draw();
    for (int clashes = 0; overflow != 0 && taken(static_cast<int32_t>(value));) {
      if (++clashes == n) {
        std::puts(report);
        std::exit(status);
      }
      value = draw();
    }
    if (value == first) {
      overflow = 1;
    }
    return value;
  }

  // The next sequence starts over, so its values may be taken.
  void forget_sequence() const {
    first = 0;
    overflow = 1;
  }
};

}  // namespace objects

#endif
