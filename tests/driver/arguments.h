// Arguments of random calls, hostile ones among them, and what the calls have made so far.
//
// Letters of the argument kinds:
//   m  molecule                        q  the same, where one without atoms may end the process
//   x  molecule that will be deleted   l  list            f  function list     o  optimiser     S  optimiser's slot
//   r  pseudo-random sequence          g  registry object or memory table      h  any handle
//   n  count or dimension: small, 0 or negative           u  small count, not negative
//   b  as n, at times so huge that memory has no room for it
//   i  index, bit, level or flag: any int
//   v  number, at times NaN, infinite or huge             c  character
//   s  text     w  format or level word     p  path       F  a stream that the registry holds, or another
//   T  stream to read from                  W  stream to write to
//   k  block of the memory table of the handle drawn before         t  tracked block
//   *  array of kRoom elements, rows or callback; all but blocks and streams may be null
//
// Preconditions that calls have by contract are kept: no count exceeds the arrays, which do not overlap, and a block is
// only freed by the allocator that it came from. A handle that names no molecule ends the process, so such a call is
// made in a child; so is one that memory may have no room for.
#ifndef NXBRIOCHEM_TESTS_DRIVER_ARGUMENTS_H
#define NXBRIOCHEM_TESTS_DRIVER_ARGUMENTS_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/driver/callbacks.h"

namespace driver {

// Elements of each array handed to a call, whatever their type.
inline constexpr std::size_t kRoom = std::size_t{1} << 16;
// The largest count, and so the rows of a matrix.
inline constexpr int kMostCount = 64;

class Arguments {
 public:
  Arguments(unsigned seed, std::string directory);
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;
  ~Arguments();

  // Before each call: whether it is made in a child.
  void begin(bool in_child) { in_child_ = in_child; }

  template <typename T>
  T draw(char kind) {
    if constexpr (std::is_pointer_v<T>) {
      return draw_pointer<T>(kind);
    } else if constexpr (std::is_floating_point_v<T>) {
      return static_cast<T>(number());
    } else if constexpr (std::is_integral_v<T>) {
      return static_cast<T>(integer(kind));
    } else {
      return T{};
    }
  }

  // Makes the call, in a child if it must be. A child that is ended by a signal ends the driver.
  void run(const std::function<void()>& call);

  // Remembers a handle (m, l, f, o, r or g), and deletes the oldest of its kind when there are many.
  void keep(char kind, int handle);
  // Remembers a block of the table of the last handle drawn.
  void keep_block(void* block);
  void keep_stream(std::FILE* stream) { streams_.push_back(stream); }
  void keep_tracked(void* block) { tracked_.push_back(block); }
  // A tracked block, no longer remembered; null when there is none.
  void* take_tracked();
  // All of them are gone.
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

  template <typename T>
  T draw_pointer(char kind) {
    using Element = std::remove_cv_t<std::remove_pointer_t<T>>;
    if constexpr (std::is_function_v<Element>) {
      return one_in(8) ? nullptr : Callback<T>::of(below(2));
    } else if constexpr (std::is_same_v<Element, std::FILE>) {
      return stream(kind);
    } else if constexpr (std::is_same_v<T, const char*>) {
      return kind == '*' ? static_cast<T>(array(sizeof(char), 't')) : text(kind);
    } else if constexpr (std::is_void_v<Element>) {
      return kind == 'k' ? block() : kind == 't' ? tracked() : array(sizeof(double), 'd');
    } else if constexpr (std::is_same_v<Element, float*> || std::is_same_v<Element, double*>) {
      return static_cast<T>(rows(sizeof(std::remove_pointer_t<Element>)));
    } else if constexpr (std::is_arithmetic_v<Element>) {
      constexpr char kType = std::is_same_v<Element, char>     ? 't'
                             : std::is_same_v<Element, float>  ? 'f'
                             : std::is_same_v<Element, double> ? 'd'
                                                               : 'i';
      return static_cast<T>(array(sizeof(Element), kType));
    } else {
      return nullptr;  // records that only functions take which are not there
    }
  }

  // Filled with numbers ('f', 'd'), ints ('i') or text ('t'); null at times.
  void* array(std::size_t element_size, char type);
  void* rows(std::size_t element_size);
  void* block();
  void* tracked();
  std::FILE* stream(char kind);
  int molecule(char kind);
  // One of the pool, or a value that was never in it.
  int one_of(const std::vector<int>& pool);

  std::mt19937 random_;
  std::string directory_;
  std::vector<std::string> paths_;
  bool in_child_ = false;
  int last_handle_ = 0;
  std::vector<std::unique_ptr<double[]>> arrays_;
  std::size_t next_array_ = 0;
  std::vector<std::vector<void*>> rows_;
  std::FILE* scratch_;
  std::vector<int> molecules_;
  std::vector<int> lists_;
  std::vector<int> function_lists_;
  std::vector<int> optimisers_;
  std::vector<int> sequences_;
  std::vector<int> objects_;
  std::vector<Block> blocks_;
  std::vector<std::FILE*> streams_;
  std::vector<void*> tracked_;
};

}  // namespace driver

#endif
