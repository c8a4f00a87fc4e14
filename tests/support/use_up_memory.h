// Leaves the process without memory, for tests of running out. Not for use under a sanitizer, which needs memory
// itself.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_USE_UP_MEMORY_H
#define NXBRIOCHEM_TESTS_SUPPORT_USE_UP_MEMORY_H

#include <sys/resource.h>

#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__)
#define NXBRIOCHEM_UNDER_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define NXBRIOCHEM_UNDER_SANITIZER
#endif
#endif

namespace test_support {

// To be called in a child process: takes away all further address space and then what the heap has left.
inline void use_up_memory() {
  rlimit limit{};
  limit.rlim_cur = limit.rlim_max = 1;
  setrlimit(RLIMIT_AS, &limit);
  for (std::size_t size = std::size_t{1} << 24; size >= 16; size /= 2) {
    void* volatile block = std::malloc(size);
    while (block != nullptr) {
      block = std::malloc(size);
    }
  }
}

}  // namespace test_support

#endif
