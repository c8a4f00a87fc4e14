// Compares nxi_ReadLine, which reads character by character, with a split of the whole text.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_SPLIT_LINES_H
#define NXBRIOCHEM_TESTS_SUPPORT_SPLIT_LINES_H

#include <nxbriochem/util/parser.h>

#include <algorithm>
#include <cstdio>
#include <memory>
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

// Whether the text, which is not empty, is read so into a buffer of that size, and nothing is written behind a line.
inline bool reads_as_split(std::string text, std::size_t size) {
  std::FILE* const file = fmemopen(text.data(), text.size(), "r");
  // No larger than `size`, so that the address sanitizer detects a longer line.
  const auto buffer = std::make_unique<char[]>(size);
  const auto read = [&] { return nxi_ReadLine(file, buffer.get(), static_cast<int>(size)); };
  bool same = true;
  for (const std::string& line : split_lines(text, size)) {
    std::fill_n(buffer.get(), size, '#');
    const std::string expected = line + '\0' + std::string(size - line.size() - 1, '#');
    same = same && read() == 1 && std::equal(expected.begin(), expected.end(), buffer.get());
  }
  same = same && read() == 0 && buffer[0] == '\0';
  std::fclose(file);
  return same;
}

}  // namespace test_support

#endif
