// The reader of lines, against a split of the whole input. The input's first byte gives the size of the buffer.
#include <nxbriochem/util/parser.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/check.h"
#include "tests/support/split_lines.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  using fuzz::check;
  if (size < 2) {
    return 0;
  }
  const std::size_t room = 2 + data[0] % 100U;
  std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  std::FILE* file = fmemopen(text.data(), text.size(), "r");
  // Exactly as large as is said, so that the address sanitizer sees a longer line.
  const auto buffer = std::make_unique<char[]>(room);
  for (const std::string& line : test_support::split_lines(text, room)) {
    std::memset(buffer.get(), '#', room);
    check(nxi_ReadLine(file, buffer.get(), static_cast<int>(room)) == 1, "there is a line");
    check(std::memcmp(buffer.get(), line.c_str(), line.size() + 1) == 0, "the line is the split's");
  }
  check(nxi_ReadLine(file, buffer.get(), static_cast<int>(room)) == 0, "there are no more lines");
  check(buffer[0] == '\0', "no line has no text");
  std::fclose(file);
  return 0;
}
