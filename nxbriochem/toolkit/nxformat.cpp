#include <nxbriochem/toolkit/nxformat_internal.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

namespace NxChem {
namespace {

constexpr std::array<double, kNxMaxDecimals + 1> kPowersOfTen = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};

// Writes base-36 digits from the right to the left.
void PutBase36(char* field, int value, int width, const char* digits) {
  for (int i = width - 1; i >= 0; --i) {
    field[i] = digits[value % 36];
    value /= 36;
  }
}

void PutRight(char* field, std::string_view text, std::size_t width) {
  std::memset(field, ' ', width - text.size());
  std::memcpy(field + (width - text.size()), text.data(), text.size());
}

}  // namespace

char* NxFormatFixed(char room[kNxFixedRoom], float value, int decimals) {
  constexpr double kIntegers = 0x1p52;  // doubles from here on have no fraction, so adding it rounds
  const double scaled = std::fabs(static_cast<double>(value)) * kPowersOfTen[static_cast<std::size_t>(decimals)];
  if (!(scaled < kIntegers / 2)) {
    return std::to_chars(room, room + kNxFixedRoom, value, std::chars_format::fixed, decimals).ptr;
  }
  auto units = std::bit_cast<std::uint64_t>(scaled + kIntegers) & ((std::uint64_t{1} << 52U) - 1);

  char digits[20] = {};  // from the last digit to the first
  int n = 0;
  while (n <= decimals || units != 0) {
    digits[n++] = static_cast<char>('0' + units % 10);
    units /= 10;
  }
  char* at = room;
  if (std::signbit(value)) {
    *at++ = '-';
  }
  while (n > decimals) {
    *at++ = digits[--n];
  }
  if (decimals > 0) {
    *at++ = '.';
  }
  while (n > 0) {
    *at++ = digits[--n];
  }
  return at;
}

bool NxPutFixedAny(char* field, float value, int width, int decimals) {
  char room[kNxFixedRoom];
  const auto length = static_cast<std::size_t>(NxFormatFixed(room, value, decimals) - room);
  if (!std::isfinite(value) || length > static_cast<std::size_t>(width)) {
    return false;
  }
  PutRight(field, {room, length}, static_cast<std::size_t>(width));
  return true;
}

bool NxFitFixed(char* field, float value, int width, int decimals) {
  for (; decimals >= 0; --decimals) {
    if (NxPutFixedAny(field, value, width, decimals)) {
      return true;
    }
  }
  return false;
}

bool NxPutLetters36(char* field, int value, int width) {
  const int tail = width == 4 ? 36 * 36 * 36 : 36 * 36 * 36 * 36;
  const int letters_first = 10 * tail;  // "A000"
  const int count = 26 * tail;          // to "ZZZZ"
  const int digits_end = width == 4 ? 10000 : 100000;
  if (value < digits_end) {
    return false;
  }
  value -= digits_end;
  const bool capitals = value < count;
  value -= capitals ? 0 : count;
  if (value >= count) {
    return false;
  }
  PutBase36(field, value + letters_first, width,
            capitals ? "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ" : "0123456789abcdefghijklmnopqrstuvwxyz");
  return true;
}

std::string_view NxTrimmedBlanks(std::string_view text) {
  const auto first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string NxOneLine(std::string_view text) {
  std::string line(text);
  std::replace_if(line.begin(), line.end(), NxIsControl, ' ');
  return std::string(NxTrimmed(line));
}

std::string NxOneWord(std::string_view text, std::string_view fallback) {
  std::string word = NxOneLine(text);
  std::replace(word.begin(), word.end(), ' ', '_');
  return word.empty() ? std::string(fallback) : word;
}

void NxTextBuffer::Grow(std::size_t more) {
  const std::size_t capacity = std::max({size_ + more, 2 * capacity_, std::size_t{4096}});
  auto grown = std::make_unique_for_overwrite<char[]>(capacity);
  if (size_ > 0) {
    std::memcpy(grown.get(), text_.get(), size_);
  }
  text_ = std::move(grown);
  capacity_ = capacity;
}

void NxTextBuffer::Insert(std::size_t at, std::string_view text) {
  Reserve(text.size());
  char* const place = text_.get() + at;
  std::memmove(place + text.size(), place, size_ - at);
  std::memcpy(place, text.data(), text.size());
  size_ += text.size();
}

NxTextBuffer& NxTextBuffer::AppendLeft(std::string_view text, std::size_t width) {
  Append(text);
  if (text.size() < width) {
    std::memset(Extend(width - text.size()), ' ', width - text.size());
  }
  return *this;
}

NxTextBuffer& NxTextBuffer::AppendInt(int value, int width) {
  char room[16];
  return AppendRight({room, static_cast<std::size_t>(std::to_chars(room, room + sizeof room, value).ptr - room)},
                     width);
}

NxTextBuffer& NxTextBuffer::AppendFixed(float value, int width, int decimals) {
  char room[kNxFixedRoom];
  return AppendRight({room, static_cast<std::size_t>(NxFormatFixed(room, value, decimals) - room)}, width);
}

NxTextBuffer& NxTextBuffer::AppendRight(std::string_view text, int width) {
  const std::size_t columns = std::max(text.size(), static_cast<std::size_t>(width));
  PutRight(Extend(columns), text, columns);
  return *this;
}

}  // namespace NxChem
