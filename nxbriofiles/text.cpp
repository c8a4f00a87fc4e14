#include "text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace nxbrio {
namespace {

constexpr std::string_view kBlanks = " \t\r\n\v\f";

char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }
char upper(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }

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
  const std::size_t end = std::min(rest_.find_first_of("\r\n"), rest_.size());
  const bool pair = end + 1 < rest_.size() && rest_[end] == '\r' && rest_[end + 1] == '\n';
  line_ = rest_.substr(0, end);
  rest_.remove_prefix(std::min(end + (pair ? 2 : 1), rest_.size()));
  ++number_;
  return true;
}

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) {
    return {};
  }
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::string_view columns(std::string_view line, std::size_t begin, std::size_t end) {
  return begin < line.size() ? trimmed(line.substr(begin, end - begin)) : std::string_view();
}

std::vector<std::string_view> fields(std::string_view line, std::size_t most) {
  std::vector<std::string_view> found;
  for (std::size_t at = line.find_first_not_of(kBlanks); at != std::string_view::npos && found.size() < most;) {
    const std::size_t end = std::min(line.find_first_of(kBlanks, at), line.size());
    found.push_back(line.substr(at, end - at));
    at = line.find_first_not_of(kBlanks, end);
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
