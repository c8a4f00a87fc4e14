#include "text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace nxbrio {
namespace {

// Plain comparisons: the searches for any of several characters, and the functions of <cctype>, call the C library for
// each character, and files are read by the million characters.
bool is_end_of_line(char c) { return c == '\n' || c == '\r'; }
bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

// A leading plus is a number's own; the standard's parser does not take it.
std::string_view without_plus(std::string_view text) {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') {
    text.remove_prefix(1);
  }
  return text;
}

}  // namespace

bool Lines::next() {
  if (rest_.empty()) {
    return false;
  }
  const auto end = static_cast<std::size_t>(std::find_if(rest_.begin(), rest_.end(), is_end_of_line) - rest_.begin());
  const bool pair = end + 1 < rest_.size() && rest_[end] == '\r' && rest_[end + 1] == '\n';
  line_ = rest_.substr(0, end);
  rest_.remove_prefix(std::min(end + (pair ? 2 : 1), rest_.size()));
  ++number_;
  return true;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && is_blank(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && is_blank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

std::string_view columns(std::string_view line, std::size_t begin, std::size_t end) {
  return begin < line.size() ? trimmed(line.substr(begin, end - begin)) : std::string_view();
}

std::vector<std::string_view> fields(std::string_view line, std::size_t most) {
  std::vector<std::string_view> found;
  // An atom has no more.
  found.reserve(std::min<std::size_t>(most, 16));
  for (const char* at = line.data(); found.size() < most;) {
    const char* const end = line.data() + line.size();
    const char* const begin = std::find_if_not(at, end, is_blank);
    if (begin == end) {
      break;
    }
    at = std::find_if(begin, end, is_blank);
    found.emplace_back(begin, static_cast<std::size_t>(at - begin));
  }
  return found;
}

bool starts_with(std::string_view text, std::string_view start) { return text.substr(0, start.size()) == start; }

bool starts_with_ignoring_case(std::string_view text, std::string_view upper_case_start) {
  return text.size() >= upper_case_start.size() &&
         std::equal(upper_case_start.begin(), upper_case_start.end(), text.begin(),
                    [](char want, char have) { return want == upper(have); });
}

std::string lower_case(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), lower);
  return out;
}

std::string upper_case(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), upper);
  return out;
}

std::optional<float> parse_real(std::string_view text, std::string& fault) {
  text = without_plus(text);
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc::invalid_argument || end != text.data() + text.size()) {
    fault = kNotANumber;
    return std::nullopt;
  }
  if (error == std::errc() && !std::isfinite(value)) {
    fault = "is not finite";
    return std::nullopt;
  }
  const auto single = static_cast<float>(value);
  if (error == std::errc::result_out_of_range || !std::isfinite(single)) {
    fault = "is out of range";
    return std::nullopt;
  }
  return single;
}

std::optional<int> parse_integer(std::string_view text) {
  text = without_plus(text);
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return value;
}

std::string in_quotes(std::string_view text) {
  constexpr std::size_t kMost = 32;
  std::string out = "'";
  for (const char c : text.substr(0, kMost)) {
    out += c >= ' ' && c <= '~' ? c : '?';
  }
  return out + (text.size() > kMost ? "...'" : "'");
}

std::string on_one_line(std::string_view text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\n' || c == '\t' || c == '\r') {
      out += c == '\n' ? "\\n" : c == '\t' ? "\\t" : "\\r";
    } else if (byte < ' ' || byte == 127) {
      out += {'\\', 'x', kDigits[byte / 16], kDigits[byte % 16]};
    } else {
      out += c;
    }
  }
  return out;
}

std::string formatted(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  // clang's analyser overlooks va_start when it reads a file again, for a second target.
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  std::string out(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  std::vsnprintf(out.data(), out.size() + 1, format, again);
  va_end(again);
  return out;
}

}  // namespace nxbrio
