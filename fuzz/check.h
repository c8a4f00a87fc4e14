// What a fuzz target expects of a result: a failure ends the process, which the fuzzer takes for a crash.
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
