#include <nxbriochem/molecules/bits.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <random>
#include <vector>

#include "tests/support/printed.h"

namespace {

// A model of a field over two words: what it reads as, and the words after it was written. Writing ORs it into the
// first word and, if it reaches into the second, replaces that.
struct Pair {
  uint64_t words;

  uint32_t field(unsigned shift, unsigned width) const {
    return static_cast<uint32_t>((words >> shift) & ((uint64_t{1} << width) - 1));
  }
  uint64_t with(uint32_t value, unsigned shift, unsigned width) const {
    const uint64_t put = (value & ((uint64_t{1} << width) - 1)) << shift;
    return (shift + width > 32 ? words & 0xFFFFFFFFU : words) | put;
  }
};

// Fields at the start of a string and two words further on. The string has only the words that the field touches, so
// that the sanitizers detect an access beyond them.
TEST(Bits, FieldsAtEveryPositionAndWidth) {
  std::mt19937 random(2);
  for (unsigned width = 1; width <= 32; ++width) {
    for (unsigned position = 0; position < 96; ++position) {
      SCOPED_TRACE(testing::Message() << position << " " << width);
      std::vector<uint32_t> words((position + width + 31) / 32);
      std::generate(words.begin(), words.end(), [&] { return static_cast<uint32_t>(random()); });
      const std::vector<uint32_t> before = words;
      const std::size_t first = position / 32;
      const auto pair_of = [&] {
        return Pair{words[first] | uint64_t{words.back()} * (first + 1 < words.size()) << 32};
      };
      const Pair pair = pair_of();
      uint32_t field = ~pair.field(position % 32, width);
      ASSERT_EQ(nx_extract_int_from_bitstring(&field, words.data(), position, width), 1);
      ASSERT_EQ(field, pair.field(position % 32, width));
      const auto value = static_cast<uint32_t>(random());
      ASSERT_EQ(nx_put_bits_in_bitstring(value, words.data(), position, width), 1);
      ASSERT_EQ(pair_of().words, pair.with(value, position % 32, width));
      ASSERT_TRUE(std::equal(words.begin(), words.begin() + static_cast<std::ptrdiff_t>(first), before.begin()));
    }
  }
}

TEST(Bits, OddWidthsAreKept) {
  std::vector<uint32_t> words = {0x10U, 0xFFFFFFFFU};
  EXPECT_EQ(nx_put_bits_in_bitstring(0x5U, words.data(), 30, 3), 1);
  EXPECT_EQ(words, (std::vector<uint32_t>{0x40000010U, 1U}));  // the whole next word replaced
  EXPECT_EQ(nx_put_bits_in_bitstring(7, words.data(), 0, 33), 0);
  EXPECT_EQ(nx_put_bits_in_bitstring(7, nullptr, 0, 3), 0);
  EXPECT_EQ(words, (std::vector<uint32_t>{0x40000010U, 1U}));
  uint32_t out = 9;
  EXPECT_EQ(nx_extract_int_from_bitstring(&out, words.data(), 0, UINT_MAX), 0);
  EXPECT_EQ(nx_extract_int_from_bitstring(nullptr, words.data(), 0, 1), 0);
  EXPECT_EQ(nx_extract_int_from_bitstring(&out, nullptr, 0, 1), 0);
  EXPECT_EQ(out, 9U);
  for (unsigned position = 0; position < 32; ++position) {
    uint32_t word = 0;  // one word only: a width of 0 never reaches the next
    EXPECT_EQ(nx_put_bits_in_bitstring(0x80000003U, &word, position, 0), 1);
    EXPECT_EQ(word, static_cast<uint32_t>(0x80000003ULL << position));
    word = 0xABCDEF01U;
    EXPECT_EQ(nx_extract_int_from_bitstring(&out, &word, position, 0), 1);
    EXPECT_EQ(out, static_cast<uint32_t>(uint64_t{0xABCDEF01U} << ((32 - position) % 32)));
  }
}

TEST(Bits, CountsGoByTheTable) {
  std::mt19937 random(4);
  std::vector<uint32_t> words(9001);
  std::generate(words.begin(), words.end(), [&] { return static_cast<uint32_t>(random()); });
  words[0] = 0xFFFFFFFFU;
  std::vector<uint32_t> counts(words.size() + 1, 77);
  const int n = static_cast<int>(words.size());
  EXPECT_EQ(nx_bits_on(words.data(), n), 0U);
  nx_count_bits(words.data(), counts.data(), n);
  EXPECT_EQ(counts[0], 0U);
  nx_make_short_nob_table();
  for (unsigned value = 0; value < 65536; ++value) {
    ASSERT_EQ(nx_short_nob[value], std::popcount(value));
  }
  nx_count_bits(words.data(), counts.data(), n);
  EXPECT_EQ(counts.back(), 77U);
  unsigned sum = 0;
  for (int i = 0; i < n; ++i) {
    ASSERT_EQ(nx_bits_on(words.data(), i), sum);
    const uint32_t count = counts[static_cast<std::size_t>(i)];
    ASSERT_EQ(static_cast<int>(count), std::popcount(words[static_cast<std::size_t>(i)]));
    ASSERT_EQ(nx_bits_on(words.data() + i, 1), count);
    sum += count;
  }
  nx_count_bits(words.data(), words.data(), n);
  counts.pop_back();
  EXPECT_EQ(words, counts);
  // An entry changed by the program counts, for few words and for many.
  const std::vector<uint32_t> ones(9001, 0xFFFFFFFFU);
  nx_short_nob[0xFFFF] = 5;
  for (const int some : {1, n}) {
    EXPECT_EQ(nx_bits_on(ones.data(), some), 10U * static_cast<unsigned>(some));
    nx_count_bits(ones.data(), counts.data(), some);
    EXPECT_EQ(counts[static_cast<std::size_t>(some) - 1], 10U);
  }
  EXPECT_EQ(nx_bits_on(words.data(), -1) + nx_bits_on(nullptr, 5), 0U);
  nx_count_bits(nullptr, counts.data(), 1);
  nx_count_bits(words.data(), nullptr, 1);
}

TEST(Bits, SingleBitsCountFromZeroButForSetting) {
  int value = 0;
  nxi_setbit(&value, 1);
  nxi_togglebit(&value, 1);
  EXPECT_EQ(value, 3);
  nxi_setbit(&value, 32);
  for (const int bit : {0, 33, -1, INT_MIN, INT_MAX}) {
    nxi_setbit(&value, bit);
  }
  for (const int bit : {32, -1, INT_MIN, INT_MAX}) {
    nxi_togglebit(&value, bit);
    EXPECT_EQ(nxi_isbitset(-1, bit), 0);
  }
  EXPECT_EQ(value, INT_MIN + 3);
  nxi_setbit(&value, 32);  // sets, does not flip
  EXPECT_EQ(value, INT_MIN + 3);
  nxi_setbit(nullptr, 1);
  nxi_togglebit(nullptr, 1);
  EXPECT_EQ(nxi_isbitset(value, 31) - nxi_isbitset(value, 2), 1);
  EXPECT_EQ(nxi_numberofbits(value, 1), 1);
  EXPECT_EQ(nxi_numberofbits(value, INT_MAX), 3);
  EXPECT_EQ(nxi_numberofbits(value, 0), 0);
  EXPECT_EQ(nxi_differentbits(0b1100, 0b1010, 2), 1);
  EXPECT_EQ(test_support::printed([] { nxi_printbits(0b1011, 6); }), "110100\n");
  EXPECT_EQ(test_support::printed([] { nxi_printbits(-1, -3); }), "\n");
}

}  // namespace
