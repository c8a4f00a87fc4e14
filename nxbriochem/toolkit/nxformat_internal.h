// Text of structure files, built fast: numbers in fixed columns and a growing buffer. Private to the toolkit. C++ only.
//
// A fixed-point number has the bytes that printf("%*.*f") gives for the same float in the C locale, whatever the locale
// is. The product of a float and 10^d is exact in double (24 + 2.33 d bits), so rounding it half to even is what printf
// does; the locale's decimal point never enters.
#ifndef NXBRIOCHEM_TOOLKIT_NXFORMAT_INTERNAL_H
#define NXBRIOCHEM_TOOLKIT_NXFORMAT_INTERNAL_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace NxChem {

// Decimals that fixed-point numbers may have.
inline constexpr int kNxMaxDecimals = 9;
// Room for any float in fixed point: sign, 39 digits, point, decimals.
inline constexpr std::size_t kNxFixedRoom = 64;

// Digits of whole numbers from -999 to 999, right-aligned in 4 columns with the sign (also "  -0"), the negative ones
// from 1000 on; and of a point with three decimals.
struct NxDigitTables {
  std::array<std::array<char, 4>, 2000> whole;
  std::array<std::array<char, 4>, 1000> decimals;
};

constexpr NxDigitTables NxMakeDigitTables() {
  NxDigitTables tables{};
  for (unsigned n = 0; n < 1000; ++n) {
    const char digit[3] = {static_cast<char>('0' + n / 100), static_cast<char>('0' + n / 10 % 10),
                           static_cast<char>('0' + n % 10)};
    tables.decimals[n] = {'.', digit[0], digit[1], digit[2]};
    const unsigned first = n >= 100 ? 0 : n >= 10 ? 1 : 2;
    for (const bool negative : {false, true}) {
      auto& text = tables.whole[n + (negative ? 1000 : 0)];
      text = {' ', ' ', ' ', ' '};
      for (unsigned i = first; i < 3; ++i) {
        text[i + 1] = digit[i];
      }
      if (negative) {
        text[first] = '-';
      }
    }
  }
  return tables;
}

inline constexpr NxDigitTables kNxDigits = NxMakeDigitTables();

// The digits of value with that many decimals (0 to kNxMaxDecimals), not padded; returns their end. Not finite: "inf",
// "-inf", "nan" or "-nan".
char* NxFormatFixed(char room[kNxFixedRoom], float value, int decimals);

// Fills the width columns at field with value, right-aligned. False, and nothing written, when it is wider or not
// finite.
bool NxPutFixedAny(char* field, float value, int width, int decimals);

// As NxPutFixedAny, with fewer decimals, down to none, where the number is too wide.
bool NxFitFixed(char* field, float value, int width, int decimals);

// As NxFitFixed, for the fields that every atom has: three or four columns before the point and two or three decimals.
// Ordinary values take two table look-ups.
template <int kWidth, int kDecimals>
inline bool NxPutFixed(char* field, float value) {
  constexpr int kWholeColumns = kWidth - kDecimals - 1;
  static_assert((kWholeColumns == 3 || kWholeColumns == 4) && (kDecimals == 2 || kDecimals == 3));
  constexpr unsigned kUnit = kDecimals == 3 ? 1000 : 100;
  constexpr double kIntegers = 0x1p52;  // doubles from here on have no fraction, so adding it rounds

  const auto bits = std::bit_cast<std::uint32_t>(value);
  const unsigned negative = bits >> 31U;
  const double scaled = std::bit_cast<float>(bits & 0x7FFFFFFFU) * static_cast<double>(kUnit);
  const double bound = (kWholeColumns == 3 && negative != 0 ? 99.5 : 999.5) * kUnit;
  if (!(scaled < bound)) {
    return NxFitFixed(field, value, kWidth, kDecimals);
  }
  const auto units = static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(scaled + kIntegers));
  const unsigned whole = units / kUnit;
  const unsigned decimals = units % kUnit * (1000 / kUnit);
  std::memcpy(field, kNxDigits.whole[whole + 1000 * negative].data() + (4 - kWholeColumns), kWholeColumns);
  std::memcpy(field + kWholeColumns, kNxDigits.decimals[decimals].data(), kDecimals + 1);
  return true;
}

// The part of NxPutHybrid36 that takes letters; false for numbers that do not.
bool NxPutLetters36(char* field, int value, int width);

// Fills the 4 or 5 columns at field with value, right-aligned. Positive numbers too wide for the columns go on in
// hybrid-36: with capital letters from "A000" to "ZZZZ", then small ones from "a000" to "zzzz"
// (http://cci.lbl.gov/hybrid_36). False, and nothing written, outside of that.
template <int kWidth>
inline bool NxPutHybrid36(char* field, int value) {
  static_assert(kWidth == 4 || kWidth == 5);
  constexpr int kLimit = kWidth == 4 ? 10000 : 100000;
  if (value <= -1000 || value >= kLimit) {
    return NxPutLetters36(field, value, kWidth);
  }
  if (value < 1000) {
    field[0] = ' ';  // overwritten in 4 columns
    const auto entry = static_cast<std::size_t>(value < 0 ? 1000 - value : value);
    std::memcpy(field + kWidth - 4, kNxDigits.whole[entry].data(), 4);
  } else {
    const auto rest = static_cast<unsigned>(value);
    std::memcpy(field, kNxDigits.whole[rest / 1000].data() + (7 - kWidth), kWidth - 3);
    std::memcpy(field + kWidth - 3, kNxDigits.decimals[rest % 1000].data() + 1, 3);
  }
  return true;
}

// True for line ends, tabs, NUL and the other ASCII control characters.
inline bool NxIsControl(char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }

// The text without leading and trailing blanks.
std::string_view NxTrimmedBlanks(std::string_view text);
// NxTrimmedBlanks, without a call when there are none.
inline std::string_view NxTrimmed(std::string_view text) {
  return !text.empty() && text.front() != ' ' && text.back() != ' ' ? text : NxTrimmedBlanks(text);
}

// The text with control characters (line ends, tabs, NUL) made blanks, trimmed: safe within one line.
std::string NxOneLine(std::string_view text);

// The text as one word: blanks and control characters inside become '_', those around it go. fallback when nothing
// remains.
std::string NxOneWord(std::string_view text, std::string_view fallback);

// Text that grows at its end.
class NxTextBuffer {
 public:
  std::size_t Size() const { return size_; }
  std::string_view View() const { return {text_.get(), size_}; }
  // The characters, valid until the next change.
  char* Data() { return text_.get(); }

  // Makes room for this many more bytes. It affects speed only.
  void Reserve(std::size_t more) {
    if (more > capacity_ - size_) {
      Grow(more);
    }
  }
  // Makes the text n bytes longer and returns where they stand, unset. Valid until the next change.
  char* Extend(std::size_t n) {
    Reserve(n);
    char* const added = text_.get() + size_;
    size_ += n;
    return added;
  }
  // Cuts the text to this size.
  void Truncate(std::size_t size) { size_ = size; }
  // Puts text before position at.
  void Insert(std::size_t at, std::string_view text);

  NxTextBuffer& Append(std::string_view text) {
    if (!text.empty()) {
      std::memcpy(Extend(text.size()), text.data(), text.size());
    }
    return *this;
  }
  NxTextBuffer& Append(char c) {
    *Extend(1) = c;
    return *this;
  }
  // Appends the text left-aligned in `width` columns, or more when it is longer.
  NxTextBuffer& AppendLeft(std::string_view text, std::size_t width);
  // Appends the number right-aligned in `width` columns, or more when it is longer.
  NxTextBuffer& AppendInt(int value, int width = 0);
  NxTextBuffer& AppendFixed(float value, int width, int decimals);

 private:
  void Grow(std::size_t more);
  NxTextBuffer& AppendRight(std::string_view text, int width);

  std::unique_ptr<char[]> text_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace NxChem

#endif
