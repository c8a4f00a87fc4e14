// Bit fields against single bits. The input's first byte gives the number of words, every six bytes after it a field:
// position, width and value.
#include <nxbriochem/molecules/bits.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/check.h"

namespace {

using fuzz::check;

constexpr unsigned kWord = 32;

// The rules of nx_put_bits_in_bitstring, bit by bit: OR into the first word, the rest in place of the next.
void put(std::vector<bool>& bits, uint32_t value, unsigned position, unsigned width) {
  const unsigned first_end = (position / kWord + 1) * kWord;
  const unsigned given = width == 0 ? kWord : width;
  if (width != 0 && position + width > first_end) {
    std::fill_n(bits.begin() + first_end, kWord, false);
  }
  for (unsigned i = 0; i < given; ++i) {
    const bool bit = (value >> i & 1U) != 0;
    if (position + i < first_end) {
      bits[position + i] = bits[position + i] || bit;
    } else if (width != 0) {
      bits[position + i] = bit;
    }
  }
}

uint32_t get(const std::vector<bool>& bits, unsigned position, unsigned width) {
  uint32_t value = 0;
  for (unsigned i = 0; i < width; ++i) {
    value |= static_cast<uint32_t>(bits[position + i]) << i;
  }
  return value;
}

void check_words(const uint32_t* words, const std::vector<bool>& bits) {
  for (std::size_t i = 0; i < bits.size(); ++i) {
    check(((words[i / kWord] >> (i % kWord) & 1U) != 0) == bits[i], "a word has the bits that were put");
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  nx_make_short_nob_table();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size < 1) {
    return 0;
  }
  const unsigned n = 1 + data[0] % 8U;
  // Exactly as large as is said, so that the address sanitizer sees a word behind the last.
  const auto words = std::make_unique<uint32_t[]>(n);
  std::vector<bool> bits(std::size_t{n} * kWord);
  for (std::size_t at = 1; at + 6 <= size; at += 6) {
    const unsigned position = data[at] % (n * kWord);
    unsigned width = data[at + 1] % 36U;
    uint32_t value = 0;
    std::memcpy(&value, data + at + 2, sizeof value);
    if (width > kWord) {
      uint32_t out = 7;
      check(nx_put_bits_in_bitstring(value, words.get(), position, width) == 0, "a wide field is refused");
      check(nx_extract_int_from_bitstring(&out, words.get(), position, width) == 0 && out == 7, "nothing is stored");
      continue;
    }
    width = std::min(width, n * kWord - position);  // within the words
    check(nx_put_bits_in_bitstring(value, words.get(), position, width) == 1, "a field is put");
    put(bits, value, position, width);
    check_words(words.get(), bits);
    uint32_t out = 0;
    if (width != 0) {
      check(nx_extract_int_from_bitstring(&out, words.get(), position, width) == 1, "a field is read");
      check(out == get(bits, position, width), "a field is what its bits are");
    }
  }
  unsigned on = 0;
  for (const bool bit : bits) {
    on += static_cast<unsigned>(bit);
  }
  check(nx_bits_on(words.get(), static_cast<int>(n)) == on, "the bits are counted");
  const auto counts = std::make_unique<uint32_t[]>(n);
  nx_count_bits(words.get(), counts.get(), static_cast<int>(n));
  for (unsigned i = 0; i < n; ++i) {
    check(counts[i] == static_cast<uint32_t>(std::popcount(words[i])), "the bits of each word are counted");
  }
  return 0;
}
