// The tables of the random-call driver: one entry per exported function, with how its arguments are drawn.
#ifndef NXBRIOCHEM_TESTS_DRIVER_CALLS_H
#define NXBRIOCHEM_TESTS_DRIVER_CALLS_H

#include <vector>

#include "tests/driver/arguments.h"

namespace driver {

struct Entry {
  const char* name;
  // A letter per argument (arguments.h), then perhaps ':' and a letter for where the handle goes that is returned.
  const char* kinds;
  void (*call)(Arguments& arguments, const char* kinds);
  // Whether the call may end the process by contract, or free blocks under the driver's feet, and so runs in a child.
  bool in_child;
  // Whether it must leave the number of tracked blocks as it is.
  bool keeps_nothing;
};

std::vector<Entry> object_calls();
std::vector<Entry> memory_calls();
std::vector<Entry> molecule_calls();
std::vector<Entry> geometry_calls();
std::vector<Entry> optimise_calls();

// Draws the arguments from left to right, runs the call unless it is to be tried in a child, and keeps its handle.
template <auto Function, typename Result, typename... Values, std::size_t... I>
void call_with(Result (*)(Values...), Arguments& arguments, const char* kinds, std::index_sequence<I...>) {
  // Braces: drawn in order.
  std::tuple<Values...> drawn{arguments.draw<Values>(kinds[I])...};
  constexpr std::size_t next = sizeof...(Values);
  arguments.run([&] {
    if constexpr (std::is_same_v<Result, int>) {
      const int result = std::apply(Function, drawn);
      if (kinds[next] == ':') {
        arguments.keep(kinds[next + 1], result);
      }
    } else if constexpr (std::is_same_v<Result, void*>) {
      arguments.keep_block(std::apply(Function, drawn));
    } else {
      std::apply(Function, drawn);
    }
  });
}

template <typename Result, typename... Values>
std::index_sequence_for<Values...> indices(Result (*)(Values...));

template <auto Function>
void call(Arguments& arguments, const char* kinds) {
  call_with<Function>(Function, arguments, kinds, decltype(indices(Function))());
}

}  // namespace driver

// Entries: a plain one; one that must free what it allocates; one that may end the process.
#define ENTRY(function, kinds) \
  { #function, kinds, &driver::call < &function>, false, false }
#define PURE(function, kinds) \
  { #function, kinds, &driver::call < &function>, false, true }
#define ENDS(function, kinds) \
  { #function, kinds, &driver::call < &function>, true, false }
// One whose call is written out.
#define SPECIAL(function, body) \
  { #function, "", &body, false, false }

#endif
