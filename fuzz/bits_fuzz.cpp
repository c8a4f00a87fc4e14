// Bit fields in a heap block of exactly the words needed, so that a sanitizer sees every access beyond them. The
// input's first byte gives the number of words, every six bytes after it a field: position, width and value. Unit tests
// check the values.
#include <nxbriochem/molecules/bits.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>

#include "fuzz/check.h"

using fuzz::check;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  nx_make_short_nob_table();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  constexpr unsigned kWord = 32;
  if (size < 1) {
    return 0;
  }
  const unsigned n = 1 + data[0] % 8U;
  // No larger than stated, so that the address sanitizer detects an access behind the last word.
  const auto words = std::make_unique<uint32_t[]>(n);
  for (std::size_t at = 1; at + 6 <= size; at += 6) {
    const unsigned position = data[at] % (n * kWord);
    const unsigned asked = data[at + 1] % 36U;
    const bool fits = asked <= kWord;
    const unsigned width = fits ? std::min(asked, n * kWord - position) : asked;  // within the words
    uint32_t value = 0;
    std::memcpy(&value, data + at + 2, sizeof value);
    uint32_t out = 7;
    check((nx_put_bits_in_bitstring(value, words.get(), position, width) == 1) == fits, "a field is put if it fits");
    check((nx_extract_int_from_bitstring(&out, words.get(), position, width) == 1) == fits, "and can be read");
    const auto put = static_cast<uint32_t>(value & ((uint64_t{1} << width % (kWord + 1)) - 1));
    check(fits ? (out & put) == put : out == 7, "its bits are on; nothing is stored of a wide one");
  }
  const auto counts = std::make_unique<uint32_t[]>(n);
  nx_count_bits(words.get(), counts.get(), static_cast<int>(n));
  unsigned on = 0;
  for (unsigned i = 0; i < n; ++i) {
    check(counts[i] == static_cast<uint32_t>(std::popcount(words[i])), "the bits of each word are counted");
    on += counts[i];
  }
  check(nx_bits_on(words.get(), static_cast<int>(n)) == on, "all bits are counted");
  return 0;
}
