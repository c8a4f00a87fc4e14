// The reader of lines, against a split of the whole input. The input's first byte gives the size of the buffer.
#include <cstdint>
#include <string>

#include "fuzz/check.h"
#include "tests/support/split_lines.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size >= 2) {
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    fuzz::check(test_support::reads_as_split(text, 2 + data[0] % 100U), "lines are the split's");
  }
  return 0;
}
