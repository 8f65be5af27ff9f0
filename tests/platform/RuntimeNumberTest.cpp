#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "platform/Runtime.h"

namespace {

// Room for 32 binary digits, the terminator and one unit that nobody may touch.
struct Buffer {
  Buffer() { std::fill_n(text, 34, u'#'); }
  WCHAR text[34];
};

std::u16string IntegerText(INT value, INT radix) {
  Buffer buffer;
  EXPECT_EQ(_itow(value, buffer.text, radix), buffer.text);
  EXPECT_EQ(buffer.text[33], u'#');
  Buffer other;
  EXPECT_EQ(_ltow(value, other.text, radix), other.text);
  EXPECT_EQ(std::u16string(other.text), buffer.text);
  return buffer.text;
}

TEST(RuntimeNumber, DecimalTexts) {
  EXPECT_EQ(IntegerText(0, 10), u"0");
  EXPECT_EQ(IntegerText(7, 10), u"7");
  EXPECT_EQ(IntegerText(-7, 10), u"-7");
  EXPECT_EQ(IntegerText(2147483647, 10), u"2147483647");
  EXPECT_EQ(IntegerText(std::numeric_limits<INT>::min(), 10), u"-2147483648");
}

TEST(RuntimeNumber, OtherRadixesAreUnsignedAndLowerCase) {
  EXPECT_EQ(IntegerText(0, 16), u"0");
  EXPECT_EQ(IntegerText(0x1CB8A2F, 16), u"1cb8a2f");
  EXPECT_EQ(IntegerText(-1, 16), u"ffffffff");
  EXPECT_EQ(IntegerText(-1, 2), u"11111111111111111111111111111111");
  EXPECT_EQ(IntegerText(-8, 8), u"37777777770");
  EXPECT_EQ(IntegerText(35, 36), u"z");
}

TEST(RuntimeNumber, NothingBehindTheTerminatorIsWritten) {
  Buffer buffer;
  _itow(-12, buffer.text, 10);
  EXPECT_EQ(std::u16string(buffer.text, 5), std::u16string(u"-12\0#", 5));
}

TEST(RuntimeNumber, UnknownRadixMakesAnEmptyText) {
  EXPECT_EQ(IntegerText(5, 1), u"");
  EXPECT_EQ(IntegerText(5, 37), u"");
}

TEST(RuntimeNumber, ReadsLeadingDigits) {
  EXPECT_EQ(_wtol(u"42"), 42);
  EXPECT_EQ(_wtol(u"-42abc"), -42);
  EXPECT_EQ(_wtol(u"+7"), 7);
  EXPECT_EQ(_wtol(u" \t\n\v\f\r12"), 12);
  EXPECT_EQ(_wtol(u"12 34"), 12);
  EXPECT_EQ(_wtol(u"0x10"), 0);
  EXPECT_EQ(_wtol(u""), 0);
  EXPECT_EQ(_wtol(u"abc"), 0);
  EXPECT_EQ(_wtol(u"+-3"), 0);
  EXPECT_EQ(_wtol(u"- 3"), 0);
  EXPECT_EQ(_wtol(u"\u00A05"), 0);
  EXPECT_EQ(_wtol(u"\u0665"), 0);
}

TEST(RuntimeNumber, ReadingWrapsModulo32Bits) {
  EXPECT_EQ(_wtol(u"2147483647"), 2147483647);
  EXPECT_EQ(_wtol(u"2147483648"), std::numeric_limits<LONG>::min());
  EXPECT_EQ(_wtol(u"4294967295"), -1);
  EXPECT_EQ(_wtol(u"4294967296"), 0);
  EXPECT_EQ(_wtol(u"4294967301"), 5);
  EXPECT_EQ(_wtol(u"-4294967295"), 1);
  EXPECT_EQ(_wtol(u"99999999999999999999"), 1661992959);
}

struct DoubleCase {
  const WCHAR* text;
  double value;
  size_t used;
};

TEST(RuntimeNumber, ReadsDoubles) {
  const DoubleCase cases[] = {
      {u"0", 0, 1},
      {u"1.5", 1.5, 3},
      {u"-1.5x", -1.5, 4},
      {u"+2", 2, 2},
      {u" \t\r\n7.25 ", 7.25, 8},
      {u".5", 0.5, 2},
      {u"5.", 5, 2},
      {u"1.2.3", 1.2, 3},
      {u"1e3", 1000, 3},
      {u"1E+3", 1000, 4},
      {u"1e-2", 0.01, 4},
      {u"1d2", 100, 3},
      {u"1D2", 100, 3},
      {u"1e", 1, 1},
      {u"1e+", 1, 1},
      {u"1ex", 1, 1},
      {u"1,5", 1, 1},
      {u"0x1F", 0, 1},
      {u"0.1", 0.1, 3},
      {u"123456789012345678901234567890", 123456789012345678901234567890.0, 30},
      {u"9007199254740993", 9007199254740992.0, 16},
      {u"2.2250738585072011e-308", 2.2250738585072011e-308, 23},
      {u"4.9e-324", std::numeric_limits<double>::denorm_min(), 8},
      {u"1e-400", 0, 6},
  };
  for (const DoubleCase& one : cases) {
    WCHAR* end = nullptr;
    EXPECT_EQ(wcstod(one.text, &end), one.value) << one.used;
    EXPECT_EQ(end, one.text + one.used) << one.value;
  }
}

TEST(RuntimeNumber, WhatIsNoNumberUsesNothing) {
  for (const WCHAR* text : {u"", u"abc", u".", u"-", u"+.", u"  ", u"e5", u"inf", u"INFINITY",
                            u"nan", u"-nan", u"--1"}) {
    WCHAR* end = nullptr;
    EXPECT_EQ(wcstod(text, &end), 0.0);
    EXPECT_EQ(end, text);
  }
}

TEST(RuntimeNumber, TooLargeIsInfinite) {
  EXPECT_EQ(wcstod(u"1e309", nullptr), std::numeric_limits<double>::infinity());
  EXPECT_EQ(wcstod(u"-1e309", nullptr), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(wcstod(u"1e99999999999999999999", nullptr), std::numeric_limits<double>::infinity());
  EXPECT_EQ(wcstod(u"1e-99999999999999999999", nullptr), 0.0);
  EXPECT_TRUE(std::signbit(wcstod(u"-0", nullptr)));
}

TEST(RuntimeNumber, TheEndIsOptional) {
  EXPECT_EQ(wcstod(u"2.5", nullptr), 2.5);
}

}  // namespace
