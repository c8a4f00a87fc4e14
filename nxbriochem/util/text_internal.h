// Plain text. Private to the library; C++ only.
#ifndef NXBRIOCHEM_UTIL_TEXT_INTERNAL_H
#define NXBRIOCHEM_UTIL_TEXT_INTERNAL_H

#include <algorithm>
#include <string_view>

namespace text {

// The text without blanks at its ends.
inline std::string_view trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  text.remove_suffix(text.size() - (text.find_last_not_of(' ') + 1));
  return text;
}

}  // namespace text

#endif
