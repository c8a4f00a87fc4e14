// Storage for a module's variable that lives as long as the process. Not exported.
#ifndef NXBRIOCHEM_UTIL_NEVER_DESTROYED_INTERNAL_H
#define NXBRIOCHEM_UTIL_NEVER_DESTROYED_INTERNAL_H

namespace util {

// Holds a default-constructed T whose destructor never runs. A static destructor or an atexit function of the program
// may use the library, and runs after the library's own destructors would have. With constinit, static constructors of
// the program may use the library as well.
template <class T>
class NeverDestroyed {
 public:
  constexpr NeverDestroyed() : value_() {}
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;
  constexpr ~NeverDestroyed() {}  // NOLINT(modernize-use-equals-default): that would destroy the value

  constexpr T& operator*() { return value_; }

 private:
  union {
    T value_;
  };
};

}  // namespace util

#endif
