#include "WktCommon/Hundredths.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>
#include <string>

namespace {

std::string Hundredths(float value) {
  WCHAR text[wkt::kHundredthsUnits];
  std::fill(std::begin(text), std::end(text), u'?');
  wkt::FormatHundredths(value, text);
  std::string narrow;
  for (const WCHAR* unit = text; *unit != 0; ++unit)
    narrow.push_back(static_cast<char>(*unit));
  return narrow;
}

TEST(Hundredths, AreWrittenWithTwoDecimals) {
  const struct {
    float value;
    const char* text;
  } cases[] = {{0.0f, "0.00"},
               {-0.0f, "-0.00"},
               {1.0f, "1.00"},
               {-2.5f, "-2.50"},
               {0.004f, "0.00"},
               {0.006f, "0.01"},
               {0.994f, "0.99"},
               {99.999f, "100.00"},
               {12.34f, "12.34"},
               {21474836.0f, "21474836.00"},
               {1e-45f, "0.00"},
               {-1e-45f, "-0.00"},
               {16777216.0f, "16777216.00"},
               {8388607.5f, "8388607.50"}};
  for (const auto& c : cases)
    EXPECT_EQ(Hundredths(c.value), c.text);
}

TEST(Hundredths, TheLargestValueFillsTheRoomThatIsPromised) {
  const std::string text = Hundredths(-std::numeric_limits<float>::max());
  EXPECT_EQ(text, "-340282346638528859811704183484516925440.00");
  EXPECT_EQ(text.size() + 1, wkt::kHundredthsUnits);
}

TEST(Hundredths, HalvesGoAwayFromZero) {
  EXPECT_EQ(Hundredths(0.125f), "0.13");
  EXPECT_EQ(Hundredths(-0.375f), "-0.38");
  EXPECT_EQ(Hundredths(2.625f), "2.63");
}

TEST(Hundredths, WhatIsNoNumberIsSaidSo) {
  EXPECT_EQ(Hundredths(std::numeric_limits<float>::infinity()), "1.#INF");
  EXPECT_EQ(Hundredths(-std::numeric_limits<float>::infinity()), "-1.#INF");
  EXPECT_EQ(Hundredths(std::numeric_limits<float>::quiet_NaN()), "1.#NAN");
}

// The C library rounds exact halves to even; everywhere else the two agree.
TEST(Hundredths, AgreeWithTheCLibraryOverTheWholeRange) {
  // An odd step that visits all exponents and both signs.
  for (uint64_t bits = 0; bits < (uint64_t{1} << 32); bits += 104'729) {
    const float value = std::bit_cast<float>(static_cast<uint32_t>(bits));
    const double eightfold = std::fabs(static_cast<double>(value)) * 8;
    const bool isHalf = eightfold == std::floor(eightfold) && std::fmod(eightfold, 2) == 1;
    if (!std::isfinite(value) || isHalf)
      continue;
    char expected[64];
    std::snprintf(expected, sizeof(expected), "%.2f", static_cast<double>(value));
    ASSERT_EQ(Hundredths(value), expected) << bits;
  }
}

}  // namespace
