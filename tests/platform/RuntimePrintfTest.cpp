#include <gtest/gtest.h>

#include <cstdarg>
#include <limits>
#include <string>

#include "platform/Runtime.h"

namespace {

constexpr size_t kRoom = 400;

std::u16string FormatList(const WCHAR* format, va_list args) {
  WCHAR buffer[kRoom + 1];
  std::fill_n(buffer, kRoom + 1, u'#');
  const INT stored = _vsnwprintf(buffer, kRoom, format, args);
  EXPECT_GE(stored, 0);
  EXPECT_EQ(buffer[stored], u'\0');
  EXPECT_EQ(buffer[stored + 1], u'#');
  return std::u16string(buffer, static_cast<size_t>(stored));
}

std::u16string Format(const WCHAR* format, ...) {
  va_list args;
  va_start(args, format);
  std::u16string text = FormatList(format, args);
  va_end(args);
  return text;
}

TEST(RuntimePrintf, TextsAreWideUnlessSaidOtherwise) {
  EXPECT_EQ(Format(u"%s", u"w\u00E4de"), u"w\u00E4de");
  EXPECT_EQ(Format(u"%ls|%ws", u"a", u"b"), u"a|b");
  EXPECT_EQ(Format(u"%S|%hs|%hS", "a", "b", "c"), u"a|b|c");
  EXPECT_EQ(Format(u"%lS", u"wide"), u"wide");
  EXPECT_EQ(Format(u"%S", "\xE4"), u"\u00E4");
}

TEST(RuntimePrintf, CharactersFollowTheSameRule) {
  EXPECT_EQ(Format(u"%c%lc%wc", u'\u0416', u'b', u'c'), u"\u0416bc");
  EXPECT_EQ(Format(u"%C%hc", 'a', 'b'), u"ab");
  EXPECT_EQ(Format(u"%3c|%-3c|", u'x', u'y'), u"  x|y  |");
  EXPECT_EQ(Format(u"a%cb", 0), std::u16string(u"a\0b", 3));
}

TEST(RuntimePrintf, NoTextPrintsNull) {
  EXPECT_EQ(Format(u"'%s'", static_cast<const WCHAR*>(nullptr)), u"'(null)'");
  EXPECT_EQ(Format(u"'%S'", static_cast<const char*>(nullptr)), u"'(null)'");
  EXPECT_EQ(Format(u"'%.3s'", static_cast<const WCHAR*>(nullptr)), u"'(nu'");
}

TEST(RuntimePrintf, TextWidthAndPrecision) {
  EXPECT_EQ(Format(u"%5s|%-5s|", u"abc", u"abc"), u"  abc|abc  |");
  EXPECT_EQ(Format(u"%2s|%.2s|%.0s|", u"abc", u"abc", u"abc"), u"abc|ab||");
  EXPECT_EQ(Format(u"%*s|%-*s|%*s|", 4, u"a", 4, u"b", -4, u"c"), u"   a|b   |c   |");
  EXPECT_EQ(Format(u"%.*s|%.*s", 1, u"abc", -1, u"abc"), u"a|abc");
  const WCHAR unterminated[] = {u'x', u'y'};
  EXPECT_EQ(Format(u"%.2s", unterminated), u"xy");
}

TEST(RuntimePrintf, IntegersHave32Bits) {
  EXPECT_EQ(Format(u"%d %i %ld %li", -1, 2, LONG{-3}, LONG{4}), u"-1 2 -3 4");
  EXPECT_EQ(Format(u"%u %lu", 4294967295u, DWORD{4294967295u}), u"4294967295 4294967295");
  EXPECT_EQ(Format(u"%x %X %#x %#X", 0xBEEF, 0xBEEF, 255, 255), u"beef BEEF 0xff 0XFF");
  EXPECT_EQ(Format(u"%o %#o", 8, 8), u"10 010");
  EXPECT_EQ(Format(u"%d", std::numeric_limits<INT>::min()), u"-2147483648");
  // What follows a %ld is not eaten by it.
  EXPECT_EQ(Format(u"%ld,%ld,%s", LONG{1}, LONG{2}, u"three"), u"1,2,three");
}

TEST(RuntimePrintf, ShortsAndSixtyFourBits) {
  EXPECT_EQ(Format(u"%hd %hu %hx", 70000, -1, 0x12345), u"4464 65535 2345");
  EXPECT_EQ(Format(u"%I64d %I64u %I64x", int64_t{-5000000000}, uint64_t{18446744073709551615ull},
                   uint64_t{0x123456789ABC}),
            u"-5000000000 18446744073709551615 123456789abc");
  EXPECT_EQ(Format(u"%I32d", 7), u"7");
}

TEST(RuntimePrintf, FlagsWidthAndPrecisionOfIntegers) {
  EXPECT_EQ(Format(u"%5d|%-5d|%05d|", 42, 42, 42), u"   42|42   |00042|");
  EXPECT_EQ(Format(u"%+d|% d|%+d", 42, 42, -42), u"+42| 42|-42");
  EXPECT_EQ(Format(u"%.3d|%6.3d|%06.3d|", 7, 7, 7), u"007|   007|   007|");
  EXPECT_EQ(Format(u"%05d|%-05d|", -42, -42), u"-0042|-42  |");
  EXPECT_EQ(Format(u"%.0d|%.0x|%d", 0, 0, 0), u"||0");
  EXPECT_EQ(Format(u"%#x|%#06x", 0, 0x1F), u"0|0x001f");
  EXPECT_EQ(Format(u"%08lX", DWORD{0x80070002}), u"80070002");
}

TEST(RuntimePrintf, PointersAreEightUpperCaseDigits) {
  EXPECT_EQ(Format(u"%p", reinterpret_cast<void*>(static_cast<uintptr_t>(0xABCDEF))), u"00ABCDEF");
  EXPECT_EQ(Format(u"%p", static_cast<void*>(nullptr)), u"00000000");
}

TEST(RuntimePrintf, FixedPoint) {
  EXPECT_EQ(Format(u"%f %.2f %.0f", 1.5, 1.5, 1.5), u"1.500000 1.50 2");
  EXPECT_EQ(Format(u"%.2f|%.2f|%.2f", 0.0, -0.25, 99.999), u"0.00|-0.25|100.00");
  EXPECT_EQ(Format(u"%8.2f|%-8.2f|%08.2f|%+.1f", 3.14159, 3.14159, -3.14159, 2.0),
            u"    3.14|3.14    |-0003.14|+2.0");
  EXPECT_EQ(Format(u"%.2f", static_cast<double>(0.1f)), u"0.10");
  EXPECT_EQ(Format(u"%.0f %#.0f", 0.4, 3.0), u"0 3.");
  EXPECT_EQ(Format(u"%.3f", 0.0004), u"0.000");
  EXPECT_EQ(Format(u"%.3f", 0.0006), u"0.001");
}

TEST(RuntimePrintf, HalvesRoundAwayFromZero) {
  EXPECT_EQ(Format(u"%.2f %.2f", 0.125, -0.125), u"0.13 -0.13");
  EXPECT_EQ(Format(u"%.0f %.0f %.0f", 0.5, 1.5, 2.5), u"1 2 3");
  // No half: the number is 2.67499999999999982.
  EXPECT_EQ(Format(u"%.2f", 2.675), u"2.67");
}

TEST(RuntimePrintf, SeventeenDigitsAreExact) {
  EXPECT_EQ(Format(u"%.20f", 0.1), u"0.10000000000000001000");
  EXPECT_EQ(Format(u"%.0f", 1e22), u"10000000000000000000000");
}

TEST(RuntimePrintf, ExponentsHaveThreeDigits) {
  EXPECT_EQ(Format(u"%e %.2E", 12345.678, 0.00012), u"1.234568e+004 1.20E-004");
  EXPECT_EQ(Format(u"%.0e %.3e", 9.6, 0.0), u"1e+001 0.000e+000");
  EXPECT_EQ(Format(u"%e", 1e-300), u"1.000000e-300");
}

TEST(RuntimePrintf, GeneralFormTakesTheShorter) {
  EXPECT_EQ(Format(u"%g %g %g", 100000.0, 1000000.0, 0.0001), u"100000 1e+006 0.0001");
  EXPECT_EQ(Format(u"%g %G %.3g", 0.00001, 0.00001, 1234.5), u"1e-005 1E-005 1.23e+003");
  EXPECT_EQ(Format(u"%g %#g %g", 1.5, 1.5, 0.0), u"1.5 1.50000 0");
  EXPECT_EQ(Format(u"%.0g %g", 2.0, 999999.5), u"2 1e+006");
}

TEST(RuntimePrintf, WhatIsNoNumberHasAMark) {
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(Format(u"%f %f", infinity, -infinity), u"1.#INF00 -1.#INF00");
  EXPECT_EQ(Format(u"%08.1f", infinity), u"  1.#INF");
  EXPECT_EQ(Format(u"%g", std::numeric_limits<double>::quiet_NaN()), u"1.#QNAN");
}

TEST(RuntimePrintf, PercentAndUnknownTypes) {
  EXPECT_EQ(Format(u"100%%"), u"100%");
  EXPECT_EQ(Format(u"%y%"), u"y");
  // Nothing in a format makes the function write to memory: the argument stays unread.
  EXPECT_EQ(Format(u"a%nb"), u"anb");
}

TEST(RuntimePrintf, ExactlyFullHasNoTerminator) {
  WCHAR buffer[6];
  std::fill_n(buffer, 6, u'#');
  EXPECT_EQ(_snwprintf(buffer, 5, u"%s", u"12345"), 5);
  EXPECT_EQ(std::u16string(buffer, 6), u"12345#");
  EXPECT_EQ(_snwprintf(buffer, 6, u"%s", u"12345"), 5);
  EXPECT_EQ(std::u16string(buffer, 6), std::u16string(u"12345\0", 6));
}

TEST(RuntimePrintf, TooLongStoresWhatFitsAndIsNegative) {
  WCHAR buffer[6];
  std::fill_n(buffer, 6, u'#');
  EXPECT_LT(_snwprintf(buffer, 5, u"%s", u"123456"), 0);
  EXPECT_EQ(std::u16string(buffer, 6), u"12345#");
  std::fill_n(buffer, 6, u'#');
  EXPECT_LT(_snwprintf(buffer, 3, u"%d", 1234), 0);
  EXPECT_EQ(std::u16string(buffer, 6), u"123###");
  EXPECT_LT(_snwprintf(buffer, 0, u"x"), 0);
  EXPECT_EQ(buffer[0], u'1');
  EXPECT_EQ(_snwprintf(buffer, 0, u""), 0);
  EXPECT_EQ(buffer[0], u'1');
}

INT TwiceFromOneList(WCHAR* buffer, size_t count, const WCHAR* format, ...) {
  va_list args;
  va_start(args, format);
  va_list copy;
  va_copy(copy, args);
  const INT first = _vsnwprintf(buffer, count, format, args);
  const INT second = _vsnwprintf(buffer, count, format, copy);
  va_end(copy);
  va_end(args);
  return first == second ? first : -1000;
}

TEST(RuntimePrintf, ListsMayBeUsedAfterACopy) {
  WCHAR buffer[32];
  EXPECT_EQ(TwiceFromOneList(buffer, 32, u"%d %s %.1f", 5, u"five", 5.0), 10);
  EXPECT_EQ(std::u16string(buffer), u"5 five 5.0");
}

TEST(RuntimePrintf, ManyArgumentsKeepTheirOrder) {
  EXPECT_EQ(Format(u"%d %d %d %d %d %d %d %d %f %f %s", 1, 2, 3, 4, 5, 6, 7, 8, 9.0, 10.0, u"end"),
            u"1 2 3 4 5 6 7 8 9.000000 10.000000 end");
}

}  // namespace
