// Source of handle values for the registry and for the memory tables. Each has its own pseudo-random sequence over the
// same range and notices when it has wrapped. Not exported.
#ifndef NXBRIOCHEM_OBJECTS_HANDLE_SEQUENCE_INTERNAL_H
#define NXBRIOCHEM_OBJECTS_HANDLE_SEQUENCE_INTERNAL_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <nxbriochem/objects/memory_owners_internal.h>
#include <nxbriochem/util/prand.h>
#include <nxbriochem/util/prand_keep_internal.h>

namespace objects {

// The references are to variables of the module that owns the sequence.
struct HandleSequence {
  static constexpr uint32_t kRange = 982569952;

  int& handle;        // of the sequence; 0: not made yet, or its record was freed with all tracked memory
  uint32_t& first;    // its first value, where it began; never handed out; 0: nothing drawn yet
  int32_t& overflow;  // 1 once the sequence has returned to `first`; from then on values are checked for uniqueness
  void (*forget)();   // calls forget_record; registered with the tracked allocator
  uint32_t last = 0;  // the last value drawn; it is the whole state of the sequence

  // A program may take the sequence for one of its own and reseed it or draw from it. So each draw continues from our
  // last value: values that come back too early could be handles of live objects.
  uint32_t draw() {
    if (handle == 0) {
      handle = nx_make_rseq_with_prime_and_seed(kRange, last);
      prand::keep(handle);
      memory::when_all_freed(forget);
    }
    nx_set_seed(handle, last);
    if (first == 0) {
      first = nx_rand(handle);
    }
    last = nx_rand(handle);
    if (last == first) {
      overflow = 1;
    }
    return last;
  }

  // Draws until a value is not taken. Ends the process after too many taken values in a row.
  template <class Taken>
  uint32_t draw_unique(Taken taken, int n, const char* report, int status) {
    uint32_t value = draw();
    for (int clashes = 0; overflow != 0 && taken(static_cast<int32_t>(value)); value = draw()) {
      if (++clashes == n) {
        std::puts(report);
        std::exit(status);
      }
    }
    return value;
  }

  // Called when all tracked memory was freed, including the record of the sequence. The next draw makes a new record
  // that continues from the last value, so that no handle comes back before the sequence has wrapped.
  void forget_record() { handle = 0; }
};

}  // namespace objects

#endif
