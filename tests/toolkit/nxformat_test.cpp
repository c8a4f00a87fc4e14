#include <gtest/gtest.h>
#include <nxbriochem/toolkit/nxformat_internal.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

std::string Printed(float value, int width, int decimals) {
  char text[128];
  std::snprintf(text, sizeof text, "%*.*f", width, decimals, static_cast<double>(value));
  return text;
}

std::string Formatted(float value, int decimals) {
  char room[NxChem::kNxFixedRoom];
  return {room, NxChem::NxFormatFixed(room, value, decimals)};
}

// A number written into columns between marks, which must stay unchanged. Empty when the number is refused.
template <class Put>
std::string Field(std::size_t width, Put put) {
  std::string text(width + 2, '#');
  const bool done = put(text.data() + 1);
  EXPECT_TRUE(text.front() == '#' && text.back() == '#');
  EXPECT_TRUE(done || text == std::string(width + 2, '#')) << "a refused number left marks";
  return done ? text.substr(1, width) : "";
}

// Random bits, coordinates, values near rounding ties, and the ends of the ranges that fit the columns.
std::vector<float> Samples(int n) {
  std::mt19937 random(20240611);
  const float inf = std::numeric_limits<float>::infinity();
  std::vector<float> samples = {0.0F, -0.0F, -4e-4F, 5e-4F, 99.995F, 999.4995F, 999.9995F, 9999.9995F, 1e-40F, 3.4e38F};
  samples.insert(samples.end(), {inf, std::numeric_limits<float>::quiet_NaN(), 2.2517998e12F, 2.2517999e12F});
  for (std::size_t i = samples.size(); i > 0; --i) {
    samples.push_back(-samples[i - 1]);
  }
  std::uniform_real_distribution<float> coordinate(-1200.0F, 12000.0F);
  std::uniform_int_distribution<int> sixteenths(-2000000, 2000000);
  std::uniform_real_distribution<float> exponent(-6.0F, 12.0F);
  for (int i = 0; i < n; ++i) {
    samples.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
    samples.push_back(coordinate(random) / (i % 2 == 0 ? 1.0F : 100.0F));
    samples.push_back(static_cast<float>(sixteenths(random)) / (i % 2 == 0 ? 16.0F : 1024.0F));
    samples.push_back(std::pow(10.0F, exponent(random)) * (i % 2 == 0 ? 1.0F : -1.0F));
  }
  return samples;
}

TEST(NxFormat, FixedPointHasTheBytesOfPrintf) {
  for (const float value : Samples(60000)) {
    for (const int decimals : {0, 2, 3, 4, 6, 9}) {
      ASSERT_EQ(Formatted(value, decimals), Printed(value, 0, decimals)) << std::hexfloat << value;
    }
  }
}

template <int kWidth, int kDecimals>
void ExpectColumns(float value) {
  std::string expected;
  for (int decimals = kDecimals; decimals >= 0 && expected.empty() && std::isfinite(value); --decimals) {
    const std::string text = Printed(value, kWidth, decimals);
    expected = text.size() == kWidth ? text : "";
  }
  ASSERT_EQ(Field(kWidth, [&](char* at) { return NxChem::NxPutFixed<kWidth, kDecimals>(at, value); }), expected)
      << std::hexfloat << value;
}

TEST(NxFormat, ColumnsHoldTheMostDecimalsThatFit) {
  for (const float value : Samples(60000)) {
    ASSERT_NO_FATAL_FAILURE((ExpectColumns<8, 3>(value)));
    ASSERT_NO_FATAL_FAILURE((ExpectColumns<6, 2>(value)));
    ASSERT_NO_FATAL_FAILURE((ExpectColumns<7, 3>(value)));
  }
}

// Both sides of every boundary, from the definition of hybrid-36.
TEST(NxFormat, Hybrid36GoesOnWhereDigitsEnd) {
  const auto serial = [](int value) { return Field(5, [&](char* at) { return NxChem::NxPutHybrid36<5>(at, value); }); };
  const auto residue = [](int value) {
    return Field(4, [&](char* at) { return NxChem::NxPutHybrid36<4>(at, value); });
  };
  const int max = std::numeric_limits<int>::max();
  using Rows = std::vector<std::pair<int, std::string>>;
  const Rows serials = {{1, "    1"},        {99999, "99999"},    {100000, "A0000"},
                        {100035, "A000Z"},   {100036, "A0010"},   {43770015, "ZZZZZ"},
                        {43770016, "a0000"}, {87440031, "zzzzz"}, {87440032, ""}};
  for (const auto& [value, text] : serials) {
    EXPECT_EQ(serial(value), text) << value;
  }
  const Rows residues = {{-999, "-999"},    {-1000, ""},       {9999, "9999"}, {10000, "A000"}, {1223055, "ZZZZ"},
                         {1223056, "a000"}, {2436111, "zzzz"}, {2436112, ""},  {max, ""},       {-max - 1, ""}};
  for (const auto& [value, text] : residues) {
    EXPECT_EQ(residue(value), text) << value;
  }
}

TEST(NxFormat, HostileTextBecomesSafe) {
  EXPECT_EQ(NxChem::NxOneLine(" \n two\r\nlines\t\x7F"), "two  lines");
  EXPECT_EQ(NxChem::NxOneWord(" H 1\t", "X"), "H_1");
  EXPECT_EQ(NxChem::NxOneWord(std::string("\0 \n", 3), "X"), "X");
}

}  // namespace
