// All shifts are by less than a word's width, since other shifts are undefined behaviour; this matters for a field at
// the end of a word.
#include <nxbriochem/molecules/bits.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

uint16_t nx_short_nob[65536];

namespace {

constexpr unsigned kWordBits = 32;
constexpr int kIntBits = 32;

// From this many words on, checking whether the table is unchanged pays off.
constexpr int kManyWords = 8192;

uint32_t table_count(uint32_t word) {
  return static_cast<uint32_t>(nx_short_nob[word & 65535U]) + nx_short_nob[word >> 16];
}

// Sums of neighbouring bits, then of pairs and fours; the product adds up the bytes in its highest one.
template <class Word>
constexpr Word added_up(Word word) {
  constexpr Word all = ~Word{0};
  word -= (word >> 1) & (all / 3);
  word = (word & (all / 15 * 3)) + ((word >> 2) & (all / 15 * 3));
  word = (word + (word >> 4)) & (all / 255 * 15);
  return (word * (all / 255)) >> (8 * sizeof(Word) - 8);
}
static_assert(added_up(0xFFFFFFFFU) == 32 && added_up(0x80000001U) == 2 && added_up(~uint64_t{0}) == 64);

constexpr std::array<uint16_t, 256> kByteCounts = [] {
  std::array<uint16_t, 256> counts{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    counts[byte] = static_cast<uint16_t>(added_up(byte));
  }
  return counts;
}();

// Whether every entry is what nx_make_short_nob_table writes. Programs may have written others since.
bool is_table_exact() {
  unsigned differences = 0;
  for (unsigned high = 0; high < 256; ++high) {
    const uint16_t* row = nx_short_nob + std::size_t{256} * high;
    for (unsigned low = 0; low < 256; ++low) {
      differences |= row[low] ^ static_cast<unsigned>(kByteCounts[high] + kByteCounts[low]);
    }
  }
  return differences == 0;
}

// Two words are counted at a time: `count` counts the bits of 64.
template <class Count>
__attribute__((always_inline)) inline uint64_t sum_of_counts(const uint32_t* words, std::size_t n, Count count) {
  uint64_t sum = 0;
  std::size_t i = 0;
  for (; i + 2 <= n; i += 2) {
    uint64_t pair = 0;
    std::memcpy(&pair, words + i, sizeof pair);
    sum += count(pair);
  }
  return i == n ? sum : sum + count(words[i]);
}

#if defined(__x86_64__)

__attribute__((target("popcnt"))) uint64_t sum_by_instruction(const uint32_t* words, std::size_t n) {
  // This is inlined and compiled for the instruction set of its caller.
  const auto count = [](uint64_t pair) __attribute__((always_inline)) {
    return static_cast<uint64_t>(__builtin_popcountll(pair));
  };
  return sum_of_counts(words, n, count);
}

uint64_t sum_bits(const uint32_t* words, std::size_t n) {
  static const bool has_instruction = __builtin_cpu_supports("popcnt") != 0;
  return has_instruction ? sum_by_instruction(words, n) : sum_of_counts(words, n, added_up<uint64_t>);
}

#else

uint64_t sum_bits(const uint32_t* words, std::size_t n) { return sum_of_counts(words, n, added_up<uint64_t>); }

#endif

bool is_bit_of_int(int bit) { return bit >= 0 && bit < kIntBits; }

void set_word_bit(int* value, int bit, bool flip) {
  if (value != nullptr && is_bit_of_int(bit)) {
    const unsigned mask = 1U << bit;
    const auto word = static_cast<unsigned>(*value);
    *value = static_cast<int>(flip ? word ^ mask : word | mask);
  }
}

}  // namespace

void nx_make_short_nob_table(void) {
  for (unsigned value = 0; value < 65536; ++value) {
    nx_short_nob[value] = static_cast<uint16_t>(kByteCounts[value / 256] + kByteCounts[value % 256]);
  }
}

unsigned nx_bits_on(const uint32_t* words, int n) {
  if (words == nullptr || n < 1) {
    return 0;
  }
  if (n >= kManyWords && is_table_exact()) {
    return static_cast<unsigned>(sum_bits(words, static_cast<std::size_t>(n)));
  }
  unsigned sum = 0;
  for (int i = 0; i < n; ++i) {
    sum += table_count(words[i]);
  }
  return sum;
}

void nx_count_bits(const uint32_t* words, uint32_t* counts, int n) {
  if (words == nullptr || counts == nullptr) {
    return;
  }
  if (n >= kManyWords && is_table_exact()) {
    for (int i = 0; i < n; ++i) {
      counts[i] = added_up(words[i]);
    }
    return;
  }
  for (int i = 0; i < n; ++i) {
    counts[i] = table_count(words[i]);
  }
}

int nx_put_bits_in_bitstring(uint32_t value, uint32_t* bits, unsigned position, unsigned width) {
  if (bits == nullptr || width > kWordBits) {
    return 0;
  }
  // Kept: programs rely on a width of 0 writing the whole value.
  const unsigned unused = (kWordBits - width) % kWordBits;
  const uint32_t kept = value << unused >> unused;
  const unsigned shift = position % kWordBits;
  uint32_t* word = bits + position / kWordBits;
  *word |= kept << shift;
  if (width + shift > kWordBits) {
    word[1] = kept >> (kWordBits - shift);  // Kept: programs rely on assignment, not OR
  }
  return 1;
}

int nx_extract_int_from_bitstring(uint32_t* out, const uint32_t* bits, unsigned position, unsigned width) {
  if (out == nullptr || bits == nullptr || width > kWordBits) {
    return 0;
  }
  const unsigned shift = position % kWordBits;
  const uint32_t* word = bits + position / kWordBits;
  if (width + shift <= kWordBits) {
    *out = *word << ((kWordBits - width - shift) % kWordBits) >> ((kWordBits - width) % kWordBits);
  } else {
    const uint32_t rest = word[1] & ((1U << (width + shift - kWordBits)) - 1);
    *out = (*word >> shift) | (rest << (kWordBits - shift));
  }
  return 1;
}

int nxi_isbitset(int value, int bit) { return is_bit_of_int(bit) ? (value >> bit) & 1 : 0; }

void nxi_setbit(int* value, int bit) {
  if (bit >= 1) {
    set_word_bit(value, bit - 1, false);
  }
}

void nxi_togglebit(int* value, int bit) { set_word_bit(value, bit, true); }

int nxi_numberofbits(int value, int n) {
  int count = 0;
  for (int bit = 0; bit < std::min(n, kIntBits); ++bit) {
    count += nxi_isbitset(value, bit);
  }
  return count;
}

int nxi_differentbits(int a, int b, int n) { return nxi_numberofbits(a ^ b, n); }

void nxi_printbits(int value, int n) {
  for (int bit = 0; bit < n; ++bit) {
    std::putchar(nxi_isbitset(value, bit) != 0 ? '1' : '0');
  }
  std::putchar('\n');
}
