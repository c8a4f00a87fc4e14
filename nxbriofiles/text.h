// Reading text: lines, fields, numbers, and quoting what came from a file in a message.
#ifndef NXBRIOFILES_TEXT_H
#define NXBRIOFILES_TEXT_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nxbrio {

// Walks the lines of a text; ends of lines are LF, CR LF or CR.
class Lines {
 public:
  // The first line has the number `first`.
  explicit Lines(std::string_view text, std::size_t first = 1) : rest_(text), number_(first - 1) {}
  // False when there is no further line.
  bool next();
  std::string_view line() const { return line_; }
  std::size_t number() const { return number_; }
  // What stands behind the line.
  std::string_view rest() const { return rest_; }

 private:
  std::string_view rest_;
  std::string_view line_;
  std::size_t number_;
};

std::string_view trimmed(std::string_view text);
// The columns of a line, trimmed; 0-based and half open; empty where the line has ended.
std::string_view columns(std::string_view line, std::size_t begin, std::size_t end);
// The fields of a line, parted by blanks and tabs, `most` of them at most.
std::vector<std::string_view> fields(std::string_view line, std::size_t most);
bool starts_with(std::string_view text, std::string_view start);
bool starts_with_ignoring_case(std::string_view text, std::string_view upper_case_start);
std::string lower_case(std::string_view text);
std::string upper_case(std::string_view text);

// The whole text as a finite number that a float can hold. Otherwise nothing, and `fault` says why: kNotANumber,
// "is not finite" or "is out of range".
inline constexpr const char* kNotANumber = "is not a number";
std::optional<float> parse_real(std::string_view text, std::string& fault);
// The whole text as a number that an int can hold.
std::optional<int> parse_integer(std::string_view text);

// Text from a file as it may stand in a message: in quotes, short, printable.
std::string in_quotes(std::string_view text);

// The text on one line: control characters, which a path may hold, as \n, \t, \r or \x1b. Bytes above 127 are kept.
std::string on_one_line(std::string_view text);

// As printf, into a string.
std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace nxbrio

#endif
