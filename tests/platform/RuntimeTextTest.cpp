#include <gtest/gtest.h>

#include <string>

#include "platform/Runtime.h"

namespace {

TEST(RuntimeText, FindCharacterFindsTheTerminatorToo) {
  const WCHAR* const text = u"abca";
  EXPECT_EQ(wcschr(text, u'a'), text);
  EXPECT_EQ(wcschr(text, u'c'), text + 2);
  EXPECT_EQ(wcschr(text, u'\0'), text + 4);
  EXPECT_EQ(wcschr(text, u'x'), nullptr);
  EXPECT_EQ(wcschr(text, u'A'), nullptr);
  EXPECT_EQ(wcschr(u"", u'a'), nullptr);
}

TEST(RuntimeText, FindCharacterLooksAtWholeUnits) {
  // 0x0161 ends in the byte of 'a'.
  EXPECT_EQ(wcschr(u"\u0161", u'a'), nullptr);
  const WCHAR* const text = u"\uFFFFx";
  EXPECT_EQ(wcschr(text, u'\uFFFF'), text);
}

TEST(RuntimeText, FindAnyNeverFindsTheTerminator) {
  const WCHAR* const text = u"name;value";
  EXPECT_EQ(wcspbrk(text, u",;"), text + 4);
  EXPECT_EQ(wcspbrk(text, u"xyz"), nullptr);
  EXPECT_EQ(wcspbrk(text, u""), nullptr);
  EXPECT_EQ(wcspbrk(u"", u"a"), nullptr);
}

TEST(RuntimeText, FindTextBacktracks) {
  const WCHAR* const text = u"aaab aab";
  EXPECT_EQ(wcsstr(text, u"aab"), text + 1);
  EXPECT_EQ(wcsstr(text, u" aab"), text + 4);
  EXPECT_EQ(wcsstr(text, u"aabb"), nullptr);
  EXPECT_EQ(wcsstr(text, u""), text);
  EXPECT_EQ(wcsstr(u"", u"a"), nullptr);
  EXPECT_EQ(wcsstr(text, u"aaab aab and more"), nullptr);
}

TEST(RuntimeText, SearchesOfChangeableTextAllowChanges) {
  WCHAR text[] = u"a-b";
  *wcschr(text, u'-') = u'+';
  EXPECT_EQ(std::u16string(text), u"a+b");
  *wcspbrk(text, u"+") = u'*';
  *wcsstr(text, u"b") = u'c';
  EXPECT_EQ(std::u16string(text), u"a*c");
}

TEST(RuntimeText, CopyFillsUpToTheCount) {
  WCHAR target[8];
  std::fill_n(target, 8, u'#');
  EXPECT_EQ(wcsncpy(target, u"ab", 6), target);
  EXPECT_EQ(std::u16string(target, 8), std::u16string(u"ab\0\0\0\0##", 8));
}

TEST(RuntimeText, CopyOfALongTextHasNoTerminator) {
  WCHAR target[6];
  std::fill_n(target, 6, u'#');
  wcsncpy(target, u"abcd", 4);
  EXPECT_EQ(std::u16string(target, 6), u"abcd##");
  std::fill_n(target, 6, u'#');
  wcsncpy(target, u"abcdefgh", 4);
  EXPECT_EQ(std::u16string(target, 6), u"abcd##");
  wcsncpy(target, u"x", 0);
  EXPECT_EQ(target[0], u'a');
}

TEST(RuntimeText, ComparesCodeUnits) {
  EXPECT_EQ(lstrcmpW(u"", u""), 0);
  EXPECT_EQ(lstrcmpW(u"WktTypes", u"WktTypes"), 0);
  EXPECT_LT(lstrcmpW(u"WktType", u"WktTypes"), 0);
  EXPECT_GT(lstrcmpW(u"WktTypes ", u"WktTypes"), 0);
  // Capitals come before small letters, accents after both.
  EXPECT_LT(lstrcmpW(u"Z", u"a"), 0);
  EXPECT_LT(lstrcmpW(u"z", u"\u00E4"), 0);
  // Units compare unsigned: the highest one is above all.
  EXPECT_GT(lstrcmpW(u"\uFFFF", u"a"), 0);
}

TEST(RuntimeText, NoTextIsBelowEveryText) {
  EXPECT_EQ(lstrcmpW(nullptr, nullptr), 0);
  EXPECT_LT(lstrcmpW(nullptr, u""), 0);
  EXPECT_GT(lstrcmpW(u"", nullptr), 0);
}

struct ClassCase {
  WCHAR unit;
  int classes;  // all that it is in
};

TEST(RuntimeText, ClassesOfUnits) {
  constexpr int kLetter = 0x100;
  const ClassCase cases[] = {
      {u'\0', _CONTROL},
      {u'\t', _CONTROL | _SPACE | _BLANK},
      {u'\r', _CONTROL | _SPACE},
      {u'\u001B', _CONTROL},
      {u' ', _SPACE | _BLANK},
      {u'!', _PUNCT},
      {u'0', _DIGIT | _HEX},
      {u'9', _DIGIT | _HEX},
      {u'A', kLetter | _UPPER | _HEX},
      {u'F', kLetter | _UPPER | _HEX},
      {u'G', kLetter | _UPPER},
      {u'f', kLetter | _LOWER | _HEX},
      {u'z', kLetter | _LOWER},
      {u'_', _PUNCT},
      {u'\u007F', _CONTROL},
      {u'\u00A0', _SPACE | _BLANK},
      {u'\u00C4', kLetter | _UPPER},
      {u'\u00E4', kLetter | _LOWER},
      {u'\u00D7', _PUNCT},
      {u'\u0100', kLetter | _UPPER},
      {u'\u0101', kLetter | _LOWER},
      {u'\u0416', kLetter | _UPPER},
      {u'\u0436', kLetter | _LOWER},
      {u'\u05D0', kLetter},
      {u'\u0665', _DIGIT},
      {u'\u2028', _SPACE},
      {u'\u4E00', kLetter},
      {WCHAR{0xD800}, 0},
      {u'\uFFFF', 0},
  };
  for (const ClassCase& one : cases)
    EXPECT_EQ(iswctype(one.unit, 0xFFFF), one.classes) << std::hex << static_cast<int>(one.unit);
}

}  // namespace
