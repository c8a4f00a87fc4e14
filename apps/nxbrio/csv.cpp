#include "csv.h"

#include <charconv>
#include <iterator>

namespace nxbrio {

void Csv::add(const std::string& cell) {
  text_.append(row_begun_ ? "," : "").append(cell);
  row_begun_ = true;
}

Csv& Csv::operator<<(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) {
    add(text);
    return *this;
  }
  std::string quoted = "\"";
  for (const char c : text) {
    quoted.append(c == '"' ? 2 : 1, c);
  }
  add(quoted + '"');
  return *this;
}

Csv& Csv::operator<<(double number) {
  char text[32];
  add({text, std::to_chars(std::begin(text), std::end(text), number).ptr});
  return *this;
}

Csv& Csv::operator<<(int number) {
  add(std::to_string(number));
  return *this;
}

void Csv::end_row() {
  text_ += '\n';
  row_begun_ = false;
}

}  // namespace nxbrio
