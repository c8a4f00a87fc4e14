// Scratch memory: tracked blocks that live as long as their scope, and what goes with arrays whose sizes are ints.
// Private to the library; C++ only. Scratch memory in the table of a molecule is WorkArray in
// mol_func1_atoms_internal.h.
#ifndef NXBRIOCHEM_UTIL_WORK_ARRAY_INTERNAL_H
#define NXBRIOCHEM_UTIL_WORK_ARRAY_INTERNAL_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include <nxbriochem/objects/memory.h>

namespace work_array {

// The product of two of these cannot overflow a size_t.
inline std::size_t size_of(int n) { return static_cast<std::size_t>(n); }

template <class Real>
bool all_finite(const Real* values, std::size_t count) {
  return std::all_of(values, values + count, [](Real value) { return std::isfinite(value); });
}

// At least one element; not initialised.
template <class T>
class Work {
 public:
  explicit Work(std::size_t count) : block_(static_cast<T*>(nx_malloc(bytes_of(std::max<std::size_t>(count, 1))))) {}
  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;
  ~Work() { nx_free(block_); }

  T* data() const { return block_; }
  T& operator[](std::size_t i) const { return block_[i]; }

 private:
  // A negative size is one that cannot be had.
  static int64_t bytes_of(std::size_t count) {
    const auto most = static_cast<std::size_t>(std::numeric_limits<int64_t>::max());
    return count > most / sizeof(T) ? -1 : static_cast<int64_t>(count * sizeof(T));
  }

  T* block_;
};

}  // namespace work_array

#endif
