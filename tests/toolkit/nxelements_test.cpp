#include <nxbriochem/toolkit/nxelements.h>

#include <gtest/gtest.h>
#include <gemmi/elem.hpp>

#include <cctype>
#include <string>

namespace {

using namespace NxChem;

TEST(NxElements, SymbolsAndRadiiAgreeWithGemmi) {
  for (unsigned z = 1; z <= 118; ++z) {
    const gemmi::Element element(static_cast<int>(z));
    std::string upper = element.name();
    EXPECT_STREQ(NxGetAtomicSymbol(z), upper.c_str());
    EXPECT_EQ(NxGetAtomicNum(upper), z);
    for (char& c : upper) {
      c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    EXPECT_EQ(NxGetAtomicNum(upper), z);
    // Known differences: gemmi has the radius of sp2 carbon where the toolkit has sp3, and it swaps lutetium and
    // hafnium.
    if (z <= 96 && z != 6 && z != 71 && z != 72) {
      EXPECT_FLOAT_EQ(NxGetCovalentRadius(z), element.covalent_r()) << upper;
    }
  }
  EXPECT_EQ(NxGetCovalentRadius(6), 0.76F);
  EXPECT_EQ(NxGetCovalentRadius(71), 1.87F);
  EXPECT_EQ(NxGetCovalentRadius(72), 1.75F);
}

TEST(NxElements, WhatIsNoElementIsADummy) {
  EXPECT_STREQ(NxGetAtomicSymbol(0), "Du");
  EXPECT_STREQ(NxGetAtomicSymbol(119), "Du");
  EXPECT_STREQ(NxGetAtomicSymbol(4294967295U), "Du");
  EXPECT_EQ(NxGetAtomicNum("Du"), 0U);
  EXPECT_EQ(NxGetAtomicNum(""), 0U);
  EXPECT_EQ(NxGetAtomicNum("Xx"), 0U);
  EXPECT_EQ(NxGetAtomicNum("d"), 1U);
  EXPECT_EQ(NxGetAtomicNum("T"), 1U);
  EXPECT_EQ(NxGetCovalentRadius(0), 0.0F);
  EXPECT_EQ(NxGetCovalentRadius(97), 0.0F);
  EXPECT_EQ(NxGetCovalentRadius(4294967295U), 0.0F);
}

}  // namespace
