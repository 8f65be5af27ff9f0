#include "WktCommon/PacketText.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <limits>
#include <string>

#include "platform/Runtime.h"
#include "tests/support/Samples.h"
#include "tests/support/Text.h"

namespace wkt::test {
namespace {

constexpr WCHAR kPoison = 0xDEAD;

// A field between two poisoned units.
template <size_t unitCount>
struct Guarded {
  Guarded() { std::fill(std::begin(field), std::end(field), kPoison); }
  [[nodiscard]] bool IsIntact() const { return before == kPoison && after == kPoison; }
  WCHAR before = kPoison;
  WCHAR field[unitCount];
  WCHAR after = kPoison;
};

TEST(PacketText, NumbersAreSignedDecimals) {
  const std::pair<int32_t, const char*> cases[] = {
      {0, "0"},
      {1, "1"},
      {-1, "-1"},
      {9, "9"},
      {10, "10"},
      {99, "99"},
      {100, "100"},
      {-100, "-100"},
      {101, "101"},
      {1000, "1000"},
      {12345, "12345"},
      {1'000'000'000, "1000000000"},
      {2147483647, "2147483647"},
      {std::numeric_limits<int32_t>::min(), "-2147483648"}};
  for (const auto& [number, text] : cases) {
    Guarded<kNumberUnits> guarded;
    WriteNumber(guarded.field, number);
    EXPECT_EQ(Narrow(guarded.field), text);
    EXPECT_EQ(guarded.field[kNumberUnits - 1], 0) << "zeros to the end";
    EXPECT_TRUE(guarded.IsIntact());
    EXPECT_EQ(ReadNumber(guarded.field), number);
  }
}

TEST(PacketText, NumbersAreWrittenAsThePlatformWritesThem) {
  EXPECT_TRUE(rc::check("same text as _itow", [](int32_t number) {
    WCHAR expected[34];
    _itow(number, expected, 10);
    WCHAR field[kNumberUnits];
    WriteNumber(field, number);
    RC_ASSERT(std::u16string(field) == std::u16string(expected));
    RC_ASSERT(ReadNumber(field) == number);
  }));
}

TEST(PacketText, NumbersAreReadAsThePlatformReadsThem) {
  const char16_t* const texts[] = {u"",
                                   u"-",
                                   u"+",
                                   u" 12",
                                   u"+12",
                                   u"\t-12x",
                                   u"12 ",
                                   u"--1",
                                   u"-0",
                                   u"007",
                                   u"2147483648",
                                   u"4294967295",
                                   u"4294967296",
                                   u"9999999999",
                                   u"-2147483649",
                                   u"12345678901234",
                                   u"1234567890123456789",
                                   u"abc",
                                   u"\u0661",
                                   u"1-"};
  for (const char16_t* text : texts)
    EXPECT_EQ(ReadNumber(text), _wtol(text)) << Narrow(text);
  EXPECT_TRUE(rc::check("same number as _wtol", [] {
    const auto text = *rc::gen::container<std::u16string>(
        rc::gen::elementOf(std::u16string(u"0123456789-+ \tx")));
    RC_ASSERT(ReadNumber(text.c_str()) == _wtol(text.c_str()));
  }));
}

TEST(PacketText, VersionKeepsItsFirstThreeCharacters) {
  const std::pair<int32_t, const char*> cases[] = {
      {23, "23"}, {999, "999"}, {1234, "123"}, {-12, "-12"}, {-1234, "-12"}};
  for (const auto& [number, text] : cases) {
    Guarded<kVersionUnits> guarded;
    WriteNumber(guarded.field, number);
    EXPECT_EQ(Narrow(guarded.field), text);
    EXPECT_TRUE(guarded.IsIntact());
  }
}

TEST(PacketText, TextsAreCutAtTheirWidth) {
  for (const size_t length : {0u, 1u, 38u, 39u, 40u, 41u, 30'000u}) {
    Guarded<kReferenceUnits> guarded;
    WriteText(guarded.field, std::u16string(length, u'x').c_str());
    EXPECT_EQ(std::u16string(guarded.field), std::u16string(std::min<size_t>(length, 39), u'x'));
    EXPECT_EQ(guarded.field[kReferenceUnits - 1], 0);
    EXPECT_TRUE(guarded.IsIntact());
  }
}

TEST(PacketText, ShorterTextLeavesNothingOfALongerOne) {
  WCHAR field[kReferenceUnits];
  WriteText(field, std::u16string(39, u'x').c_str());
  WriteText(field, u"ab");
  EXPECT_EQ(std::u16string(field, kReferenceUnits), u"ab" + std::u16string(38, u'\0'));
  WriteText(field, nullptr);
  EXPECT_EQ(std::u16string(field, kReferenceUnits), std::u16string(40, u'\0'));
}

TEST(PacketText, TimesAreTwoHalves) {
  TimeText field;
  WriteTime(field, {1, 0x80000000});
  EXPECT_EQ(Narrow(field.high), "-2147483648");
  EXPECT_EQ(Narrow(field.low), "1");
  EXPECT_TRUE(rc::check("all bits come back", [](uint64_t ticks) {
    TimeText text;
    WriteTime(text, TicksToTime(ticks));
    RC_ASSERT(Ticks(ReadTime(text)) == ticks);
  }));
}

}  // namespace
}  // namespace wkt::test
