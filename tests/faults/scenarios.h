// The calls made while an allocation fails: a row for each function that allocates, with a state in which it does and
// the ways in which it may end; and helpers that make tables grow.
#ifndef NXBRIOCHEM_TESTS_FAULTS_SCENARIOS_H
#define NXBRIOCHEM_TESTS_FAULTS_SCENARIOS_H

#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

namespace faults {

// How a call ends when an allocation within it failed.
enum End : unsigned {
  kBlock = 1,     // exit status 1: no memory for a block or an index
  kBooks = 2,     // exit status 0: no memory for the bookkeeping of the tracked allocator
  kTable = 4,     // exit status 7: no memory for an object's block or its table
  kFatal = 8,     // exit status 1: fatal report of the molecule layer
  kFails = 16,    // returns its failure value (0, false, null), and leaves nothing behind
  kWithout = 32,  // returns nothing or another value: it works without the memory, and leaves nothing behind
  kThrows = 64,   // C++ only: std::bad_alloc, and leaves nothing behind
  kLeaves = 128,  // fails, and a library beneath loses a block of its own: RDKit's parsers do
};

struct Scenario {
  const char* name;  // of the function, in C++ with its arguments
  unsigned ends;     // the ends that must occur: all of them and no others
  void (*set_up)();  // null: none; the process is fresh before
  bool (*call)();    // whether it returned anything but its failure value; can be repeated after a failure
};

// Where structure files are written to, in a directory of their own.
extern std::string written_path;

// The scenarios of one header.
struct Family {
  std::string name;
  std::vector<Scenario> scenarios;
};
inline std::ostream& operator<<(std::ostream& stream, const Family& family) { return stream << family.name; }
// Of the plain functions, from tests/driver/calls.def.
std::vector<Family> flat_families();
// Of the exported C++.
std::vector<Scenario> toolkit_scenarios();
// Of libnxbriofiles and libnxbriodock.
std::vector<Scenario> files_scenarios();
std::vector<Scenario> dock_scenarios();

// For the sources of scenarios.

template <class Call>
bool gave(Call call) {
  if constexpr (std::is_void_v<decltype(call())>) {
    call();
    return true;
  } else {
    return call() != decltype(call())();
  }
}

#define CALL(function, ends, set_up, arguments)                                               \
  ::faults::Scenario {                                                                        \
#function, ends, set_up, [] { return ::faults::gave([] { return function arguments; }); } \
  }
#define CALL_AS(name, ends, set_up, expression)                                  \
  ::faults::Scenario {                                                           \
    name, ends, set_up, [] { return ::faults::gave([] { return expression; }); } \
  }

// Makes more objects than a table has room for at first.
template <int n, class Make>
bool times(Make make) {
  for (int i = 0; i < n; ++i) {
    make();
  }
  return true;
}

}  // namespace faults

#endif
