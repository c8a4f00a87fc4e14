// Arguments of random calls, including hostile ones, and the objects that the calls have made so far.
//
// Letters of the argument kinds:
//   m  molecule                        q  the same, where one without atoms may end the process
//   x  molecule that will be deleted   l  list            f  function list     o  optimiser     S  optimiser's slot
//   e  energy of a rigid ligand           a  reader of structure files
//   r  pseudo-random sequence          g  registry object or memory table      h  any handle
//   n  count or dimension: small, 0 or negative           u  small count, not negative
//   b  as n, at times so huge that memory has no room for it
//   i  index, bit, level or flag: any int
//   v  number, at times NaN, infinite or huge             c  character
//   s  text     w  format or level word     p  path       F  a stream that the registry holds, or another
//   T  stream to read from                  W  stream to write to
//   k  block of the memory table of the handle drawn before         t  tracked block
//   *  array, rows or callback; all but blocks and streams may be null
//
// An array may be followed by its size in brackets. It is then a heap block of exactly that many elements, so that a
// sanitizer detects an access beyond. "3be+2" means 3 times the second argument (b) times the fifth (e), plus 2.
// Negative arguments count as 0, and "^" in front makes the size at least 1. For rows, the size is the number of rows
// and of their elements. A capital letter is the result of a getter for the molecule (or the object's values) drawn
// before: see kGetters. L[...] is an int near such a size. Arguments with a size are drawn after all others, from right
// to left. Arrays without a size have kRoom elements.
//
// The documented preconditions of calls are kept: no count exceeds the arrays, arrays do not overlap, and a block is
// freed only by the allocator that it came from. A handle that names no molecule ends the process, so such a call is
// made in a child process; so is a call for which memory may have no room.
#ifndef NXBRIOCHEM_TESTS_DRIVER_ARGUMENTS_H
#define NXBRIOCHEM_TESTS_DRIVER_ARGUMENTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/driver/callbacks.h"

namespace driver {

// Elements of an array without a size, whatever their type.
inline constexpr std::size_t kRoom = std::size_t{1} << 16;
// The largest count.
inline constexpr int kMostCount = 64;

struct Kind {
  char letter;
  std::string_view size;  // without its brackets; empty: none
};
std::vector<Kind> kinds_of(std::string_view text);

class Arguments {
 public:
  Arguments(unsigned seed, std::string directory);
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;
  ~Arguments();

  // Called before each call; says whether the call is made in a child process.
  void begin(bool in_child);

  // Draws the argument at a place, if it belongs to the wanted group: those with a size, or those without.
  template <typename T>
  void draw(T& value, const Kind& kind, std::size_t place, bool with_size) {
    if (kind.size.empty() == with_size) {
      return;
    }
    if constexpr (std::is_pointer_v<T>) {
      value = draw_pointer<T>(kind);
    } else if constexpr (std::is_floating_point_v<T>) {
      value = static_cast<T>(number());
    } else if constexpr (std::is_integral_v<T>) {
      value = static_cast<T>(with_size ? static_cast<int>(size_of(kind.size)) + below(3) - 1 : integer(kind.letter));
      values_[place] = static_cast<long>(value);
    }
  }

  // Makes the call, in a child if it must be. A child that is ended by a signal ends the driver.
  void run(const std::function<void()>& call);

  // Remembers a handle (m, l, f, o, r, e, a or g).
  void keep(char kind, int handle);
  // Deletes some objects of each kind of which there are many.
  void thin_out();
  // Remembers a block of the table of the last handle drawn.
  void keep_block(void* block);
  // A block of the table of the handle drawn last, or another.
  void* block();
  void keep_stream(std::FILE* stream) { streams_.push_back(stream); }
  void keep_tracked(void* block) { tracked_.push_back(block); }
  // A tracked block, no longer remembered; null when there is none.
  void* take_tracked();
  // Forgets all tracked blocks.
  void forget_tracked() { tracked_.clear(); }
  void delete_all();

  int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }
  bool one_in(int n) { return below(n) == 0; }
  const char* text(char kind);
  int integer(char kind);
  double number();

 private:
  struct Block {
    int handle;
    void* block;
  };

  struct Pool {
    char kind;
    std::vector<int>& handles;
    void (*destroy)(int handle);
  };

  template <typename T>
  T draw_pointer(const Kind& kind) {
    using Element = std::remove_cv_t<std::remove_pointer_t<T>>;
    if constexpr (std::is_function_v<Element>) {
      return one_in(8) ? nullptr : Callback<T>::of(below(2));
    } else if constexpr (std::is_same_v<Element, std::FILE>) {
      return stream(kind.letter);
    } else if constexpr (std::is_same_v<T, const char*>) {
      return kind.letter == '*' ? static_cast<T>(array(sizeof(char), 't', kind.size)) : text(kind.letter);
    } else if constexpr (std::is_void_v<Element>) {
      return kind.letter == 'k' ? block() : kind.letter == 't' ? tracked() : array(sizeof(double), 'd', kind.size);
    } else if constexpr (std::is_same_v<Element, float*> || std::is_same_v<Element, double*>) {
      return static_cast<T>(rows(sizeof(std::remove_pointer_t<Element>), kind.size));
    } else if constexpr (std::is_arithmetic_v<Element>) {
      constexpr char kType = std::is_same_v<Element, char>     ? 't'
                             : std::is_same_v<Element, float>  ? 'f'
                             : std::is_same_v<Element, double> ? 'd'
                                                               : 'i';
      return static_cast<T>(array(sizeof(Element), kType, kind.size));
    } else if constexpr (std::is_trivial_v<Element>) {
      return static_cast<T>(array(sizeof(Element), '0', kind.size));
    } else {
      return nullptr;  // records for functions that this library does not have
    }
  }

  // Filled with numbers ('f', 'd'), ints ('i'), text ('t') or zeros ('0'); null at times.
  void* array(std::size_t element_size, char type, std::string_view size);
  void fill(void* array, std::size_t element_size, char type, std::size_t count);
  void* rows(std::size_t element_size, std::string_view size);
  void* exact(std::size_t bytes);
  std::size_t size_of(std::string_view text);
  std::size_t getter(char letter);
  std::array<Pool, 8> pools();
  void* tracked();
  std::FILE* stream(char kind);
  int molecule(char kind);
  // A handle from the pool, or a value that was never in it.
  int one_of(const std::vector<int>& pool);

  std::mt19937 random_;
  std::string directory_;
  std::vector<std::string> paths_;
  bool in_child_ = false;
  bool no_molecule_ = false;  // a molecule handle was drawn that may name no molecule
  int last_handle_ = 0;
  int last_molecule_ = 0;
  const char* last_text_ = nullptr;
  std::array<long, 16> values_{};  // of the arguments that are integers
  std::vector<std::unique_ptr<double[]>> arrays_;
  std::size_t next_array_ = 0;
  std::vector<std::unique_ptr<char[]>> exact_arrays_;
  std::FILE* scratch_;
  std::vector<int> molecules_;
  std::vector<int> lists_;
  std::vector<int> function_lists_;
  std::vector<int> optimisers_;
  std::vector<int> sequences_;
  std::vector<int> energies_;
  std::vector<int> readers_;
  std::vector<int> objects_;
  std::vector<Block> blocks_;
  std::vector<std::FILE*> streams_;
  std::vector<void*> tracked_;
};

}  // namespace driver

#endif
