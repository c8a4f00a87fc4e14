// A check of a result in a fuzz target: a failure ends the process, which the fuzzer counts as a crash.
#ifndef NXBRIOCHEM_FUZZ_CHECK_H
#define NXBRIOCHEM_FUZZ_CHECK_H

#include <cstdio>
#include <cstdlib>

namespace fuzz {

inline void check(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
  }
}

}  // namespace fuzz

#endif
