// The random-call driver's entries: one per exported function, with how its arguments are drawn.
#ifndef NXBRIOCHEM_TESTS_DRIVER_CALLS_H
#define NXBRIOCHEM_TESTS_DRIVER_CALLS_H

#include <vector>

#include "tests/driver/arguments.h"

namespace driver {

struct Entry {
  const char* name;
  // A letter per argument with the size of an array (arguments.h), then perhaps ':' and a letter for where the handle
  // goes that is returned.
  const char* kinds;
  void (*call)(Arguments& arguments, const char* kinds);
  // Whether the call may end the process by contract, or free blocks under the driver's feet, and so runs in a child.
  bool in_child = false;
  // Whether it must leave the number of tracked blocks as it is.
  bool keeps_nothing = false;
};

// Those of calls.def, and those whose call is written out.
std::vector<Entry> table_calls();
std::vector<Entry> special_calls();
// Calls made so often that what holds their results must grow, beyond the first time.
std::vector<Entry> growing_calls();

// Draws the arguments, runs the call, in a child if it must be, and keeps its handle.
template <auto Function, typename Result, typename... Values, std::size_t... I>
void call_with(Result (*)(Values...), Arguments& arguments, const char* text, std::index_sequence<I...>) {
  const std::vector<Kind> kinds = kinds_of(text);
  std::tuple<Values...> drawn{};
  constexpr std::size_t next = sizeof...(Values);
  (arguments.draw(std::get<I>(drawn), kinds[I], I, false), ...);
  (arguments.draw(std::get<next - 1 - I>(drawn), kinds[next - 1 - I], next - 1 - I, true), ...);
  arguments.run([&] {
    if constexpr (std::is_same_v<Result, int>) {
      const int result = std::apply(Function, drawn);
      if (kinds.size() > next) {
        arguments.keep(kinds[next + 1].letter, result);
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

// Entries of the table: a plain one, one that must free what it allocates, and one that may end the process.
template <auto Function>
Entry plain(const char* name, const char* kinds) {
  return {name, kinds, call<Function>};
}
template <auto Function>
Entry pure(const char* name, const char* kinds) {
  return {name, kinds, call<Function>, false, true};
}
template <auto Function>
Entry ends(const char* name, const char* kinds) {
  return {name, kinds, call<Function>, true};
}

}  // namespace driver

#endif
