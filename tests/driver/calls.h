// The random-call driver's entries: one per exported function, with how its arguments are drawn.
#ifndef NXBRIOCHEM_TESTS_DRIVER_CALLS_H
#define NXBRIOCHEM_TESTS_DRIVER_CALLS_H

#include <functional>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/driver/arguments.h"

namespace driver {

struct Entry {
  const char* name;
  // A letter per argument, with the sizes of arrays (arguments.h), and optionally ':' and a letter for the kind of
  // handle that the call returns.
  const char* kinds;
  std::function<void(Arguments& arguments, const char* kinds)> call;
  // Whether the call runs in a child process, because by contract it may end the process or free blocks that the driver
  // still uses.
  bool in_child = false;
  // Whether it must leave the number of tracked blocks as it is.
  bool keeps_nothing = false;
};

// The entries of calls.def, and those with a function of their own.
std::vector<Entry> table_calls();
std::vector<Entry> special_calls();
// The entries of libnxbriofiles and libnxbriodock.
std::vector<Entry> files_calls();
std::vector<Entry> dock_calls();
// Entries that repeat a call so often that the table of its results grows more than once.
std::vector<Entry> growing_calls();

// Draws the arguments, runs the call (in a child process if needed) and keeps the handle that it returns. One instance
// serves all functions of a signature.
template <typename Result, typename... Values, std::size_t... I>
void call_with(Result (*function)(Values...), Arguments& arguments, const char* text, std::index_sequence<I...>) {
  const std::vector<Kind> kinds = kinds_of(text);
  std::tuple<Values...> drawn{};
  constexpr std::size_t next = sizeof...(Values);
  (arguments.draw(std::get<I>(drawn), kinds[I], I, false), ...);
  (arguments.draw(std::get<next - 1 - I>(drawn), kinds[next - 1 - I], next - 1 - I, true), ...);
  arguments.run([&] {
    if constexpr (std::is_same_v<Result, int>) {
      const int result = std::apply(function, drawn);
      if (kinds.size() > next) {
        arguments.keep(kinds[next + 1].letter, result);
      }
    } else if constexpr (std::is_same_v<Result, void*>) {
      arguments.keep_block(std::apply(function, drawn));
    } else {
      std::apply(function, drawn);
    }
  });
}

// Entries of the table: a plain one, one that must free what it allocates, and one that may end the process.
template <typename Result, typename... Values>
Entry plain(Result (*function)(Values...), const char* name, const char* kinds) {
  return {name, kinds, [function](Arguments& arguments, const char* text) {
            call_with(function, arguments, text, std::index_sequence_for<Values...>());
          }};
}
template <typename Function>
Entry pure(Function* function, const char* name, const char* kinds) {
  Entry entry = plain(function, name, kinds);
  entry.keeps_nothing = true;
  return entry;
}
template <typename Function>
Entry ends(Function* function, const char* name, const char* kinds) {
  Entry entry = plain(function, name, kinds);
  entry.in_child = true;
  return entry;
}

}  // namespace driver

#endif
