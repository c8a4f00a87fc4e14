// The lines of a text as a reader with a buffer of a given size gets them, split without reading character by
// character.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_SPLIT_LINES_H
#define NXBRIOCHEM_TESTS_SUPPORT_SPLIT_LINES_H

#include <algorithm>
#include <string>
#include <vector>

namespace test_support {

// Line ends are LF, CR and CR LF. A line of more than size - 1 characters (size is at least 2) comes in pieces.
inline std::vector<std::string> split_lines(const std::string& text, std::size_t size) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find_first_of("\r\n", at), text.size());
    std::size_t from = at;
    for (; end - from > size - 1; from += size - 1) {
      lines.push_back(text.substr(from, size - 1));
    }
    lines.push_back(text.substr(from, end - from));
    at = end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1);
  }
  return lines;
}

}  // namespace test_support

#endif
