#include "WktCommon/WideString.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

#include "WktCommon/Allocation.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Text.h"

namespace {

using wkt::test::AllocationCounter;
using wkt::test::AllocationFailure;
using wkt::test::Narrow;

std::string Shown(const WideString& text) {
  return Narrow(text.c_str());
}

TEST(WideString, AnEmptyOneIsEmptyWithTagZeroAndCostsNoMemory) {
  const AllocationCounter counter;
  const WideString empty;
  const WideString fromNull(static_cast<const WCHAR*>(nullptr));
  const WideString fromEmpty(u"");
  const WideString borrowedEmpty(u"", WideString::Source::Borrow);
  EXPECT_EQ(counter.Count(), 0u);
  EXPECT_EQ(Shown(empty), "");
  EXPECT_EQ(empty.Length(), 0);
  EXPECT_EQ(empty.GetTag(), 0u);
  EXPECT_TRUE(empty.IsEmpty());
  // One text for all of them.
  EXPECT_EQ(empty.c_str(), fromNull.c_str());
  EXPECT_EQ(empty.c_str(), fromEmpty.c_str());
  EXPECT_EQ(empty.c_str(), borrowedEmpty.c_str());
}

TEST(WideString, BodyAndTextAreOneAllocation) {
  const AllocationCounter counter;
  const WideString text(u"Survey of the northern slope");
  EXPECT_EQ(counter.Count(), 1u);
  EXPECT_EQ(Shown(text), "Survey of the northern slope");
  EXPECT_EQ(text.Length(), 28);
}

// Four bytes a character, its terminator included: eleven more fit behind ten.
TEST(WideString, ATextHasRoomForAsMuchAgain) {
  WideString text(u"0123456789");
  const WCHAR* const place = text.c_str();
  const AllocationCounter counter;
  text.Append(u"0123456789a");
  EXPECT_EQ(counter.Count(), 0u);
  EXPECT_EQ(text.c_str(), place);
  text.Append(u"b");
  EXPECT_EQ(counter.Count(), 1u);
  EXPECT_EQ(Shown(text), "01234567890123456789ab");
}

TEST(WideString, ACopiedTextIsIndependentOfTheOriginal) {
  WCHAR source[] = u"abc";
  const WideString text(source);
  source[0] = u'x';
  EXPECT_EQ(Shown(text), "abc");
}

TEST(WideString, ABorrowedTextIsNotCopiedAndNeverWritten) {
  WCHAR source[] = u"abc";
  WideString text(source, WideString::Source::Borrow);
  EXPECT_EQ(text.c_str(), source);
  EXPECT_EQ(text.Length(), 3);
  WideString copy(text);
  EXPECT_EQ(copy.c_str(), source);
  text.Append(u"def");
  EXPECT_EQ(Shown(text), "abcdef");
  EXPECT_EQ(Narrow(source), "abc");
  EXPECT_EQ(Shown(copy), "abc");
  EXPECT_EQ(copy.ReplaceAll(u"b", u"-"), 1);
  EXPECT_EQ(Narrow(source), "abc");
  EXPECT_EQ(Shown(copy), "a-c");
}

TEST(WideString, CopiesShareOneTextUntilOneIsChanged) {
  WideString first(u"shared");
  first.SetTag(7);
  const AllocationCounter counter;
  WideString second(first);
  WideString third;
  third = first;
  EXPECT_EQ(counter.Count(), 0u);
  EXPECT_EQ(first.c_str(), second.c_str());
  EXPECT_EQ(first.c_str(), third.c_str());
  EXPECT_EQ(second.GetTag(), 7u);
  EXPECT_EQ(third.GetTag(), 7u);
  second.Append(u"!");
  EXPECT_EQ(Shown(first), "shared");
  EXPECT_EQ(Shown(second), "shared!");
  EXPECT_EQ(third.c_str(), first.c_str());
}

TEST(WideString, TheLastHandleKeepsTheTextAlive) {
  WideString kept;
  {
    const WideString gone(u"still here");
    kept = gone;
  }
  EXPECT_EQ(Shown(kept), "still here");
}

TEST(WideString, AssigningItselfOrAPartOfItselfIsSafe) {
  WideString text(u"abcdef");
  const WideString& same = text;
  text = same;
  EXPECT_EQ(Shown(text), "abcdef");
  text = text.c_str() + 2;
  EXPECT_EQ(Shown(text), "cdef");
  text.Append(text);
  EXPECT_EQ(Shown(text), "cdefcdef");
  text.Append(text.c_str() + 6);
  EXPECT_EQ(Shown(text), "cdefcdefef");
}

TEST(WideString, AssigningAnEqualTextAllocatesNothingAndKeepsTheTag) {
  WideString text(u"same");
  text.SetTag(5);
  const WCHAR* const before = text.c_str();
  const AllocationCounter counter;
  text = u"same";
  EXPECT_FALSE(text.Differs(u"same"));
  EXPECT_TRUE(text.Differs(u"sam"));
  EXPECT_TRUE(text.Differs(u"Same"));
  EXPECT_EQ(counter.Count(), 0u);
  EXPECT_EQ(text.c_str(), before);
  EXPECT_EQ(text.GetTag(), 5u);
  text = u"other";
  EXPECT_EQ(text.GetTag(), 5u);
}

TEST(WideString, ComparesWholeTextsExactly) {
  const WideString text(u"Job");
  EXPECT_TRUE(text.Equals(u"Job"));
  EXPECT_TRUE(text.Equals(WideString(u"Job")));
  const WideString borrowed(u"Job", WideString::Source::Borrow);
  EXPECT_TRUE(text.Equals(borrowed));
  EXPECT_TRUE(borrowed.Equals(text));
  for (const WCHAR* const other : {u"job", u"Job ", u"Jo", u"", u" Job", u"JoB", u"Jobs"}) {
    EXPECT_FALSE(text.Equals(other)) << Narrow(other);
    EXPECT_FALSE(text.Equals(WideString(other))) << Narrow(other);
    EXPECT_FALSE(text.Equals(WideString(other, WideString::Source::Borrow))) << Narrow(other);
  }
  EXPECT_FALSE(text.Equals(static_cast<const WCHAR*>(nullptr)));
  EXPECT_TRUE(WideString().Equals(static_cast<const WCHAR*>(nullptr)));
  EXPECT_TRUE(text.Equals(WideString(text))) << "one text with two handles";
}

TEST(WideString, NoTextAndTheEmptyTextAreTheSame) {
  EXPECT_TRUE(wkt::TextsEqual(nullptr, nullptr));
  EXPECT_TRUE(wkt::TextsEqual(nullptr, u""));
  EXPECT_TRUE(wkt::TextsEqual(u"", nullptr));
  EXPECT_FALSE(wkt::TextsEqual(nullptr, u"a"));
  EXPECT_FALSE(wkt::TextsEqual(u"a", nullptr));
}

TEST(WideString, WithoutMemoryABorrowedTextIsEmpty) {
  wkt::ClearAllocationFailure();
  const AllocationFailure failure(1);
  const WideString text(u"borrowed", WideString::Source::Borrow);
  EXPECT_TRUE(failure.Happened());
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_TRUE(wkt::AllocationFailed());
  wkt::ClearAllocationFailure();
}

TEST(WideString, TwoBorrowedTextsCompareLikeAnyOthers) {
  const WideString left(u"Job", WideString::Source::Borrow);
  const WCHAR right[] = u"Job";
  EXPECT_TRUE(left.Equals(WideString(right, WideString::Source::Borrow)));
  EXPECT_TRUE(left.Equals(WideString(u"Job")));
  EXPECT_FALSE(left.Equals(WideString(u"job", WideString::Source::Borrow)));
}

TEST(WideString, IsMadeFromSignedDecimals) {
  EXPECT_EQ(Shown(WideString(-1)), "-1");
  EXPECT_EQ(Shown(WideString(0)), "0");
  EXPECT_EQ(Shown(WideString(2147483647)), "2147483647");
  EXPECT_EQ(Shown(WideString(std::numeric_limits<int>::min())), "-2147483648");
}

TEST(WideString, ReadsTheLeadingDecimal) {
  struct Case {
    const WCHAR* text;
    int32_t value;
  };
  constexpr Case kCases[] = {
      {u"12abc", 12}, {u"abc", 0}, {u"", 0},    {u"-7", -7},
      {u"  42", 42},  {u"1-2", 1}, {u"+5", 5},  {u"-2147483648", std::numeric_limits<int>::min()},
      {u"- 5", 0},    {u"4 2", 4}, {u"0x1", 0}, {u"4294967295", -1},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(WideString(c.text).ToInteger(), c.value) << Narrow(c.text);
  }
}

TEST(WideString, WritesFractionsWithTwoDigits) {
  struct Case {
    float value;
    const char* text;
  };
  constexpr Case kCases[] = {
      {0.0f, "0.00"},      {1.0f, "1.00"},
      {-2.5f, "-2.50"},    {12.34f, "12.34"},
      {0.1f, "0.10"},      {1e6f, "1000000.00"},
      {99.999f, "100.00"}, {3.40282346e38f, "340282346638528859811704183484516925440.00"},
  };
  for (const Case& c : kCases) {
    WideString text(u"before");
    text.AssignNumber(c.value);
    EXPECT_EQ(Shown(text), c.text);
  }
}

TEST(WideString, ReadsFractions) {
  EXPECT_FLOAT_EQ(WideString(u"12.34").ToNumber(), 12.34f);
  EXPECT_FLOAT_EQ(WideString(u"-0.5x").ToNumber(), -0.5f);
  EXPECT_FLOAT_EQ(WideString(u"abc").ToNumber(), 0.0f);
  EXPECT_FLOAT_EQ(WideString(u"").ToNumber(), 0.0f);
  EXPECT_FLOAT_EQ(WideString(u"1e400").ToNumber(), std::numeric_limits<float>::max());
  EXPECT_FLOAT_EQ(WideString(u"-1e39").ToNumber(), -std::numeric_limits<float>::max());
}

TEST(WideString, ConcatenatesIntoANewText) {
  const WideString a(u"ab");
  const WideString b(u"cd");
  EXPECT_EQ(Shown(WideString::Concatenate(a, b)), "abcd");
  EXPECT_EQ(Shown(WideString::Concatenate(a, WideString())), "ab");
  EXPECT_EQ(Shown(WideString::Concatenate(WideString(), b)), "cd");
  EXPECT_EQ(Shown(a), "ab");
  EXPECT_EQ(Shown(b), "cd");
}

TEST(WideString, ANewTextHasNoTagOfThoseItIsMadeOf) {
  WideString text(u"ab");
  text.SetTag(7);
  EXPECT_EQ(WideString::Concatenate(text, text).GetTag(), 0u);
  EXPECT_EQ(text.Left(1).GetTag(), 0u);
  EXPECT_EQ(text.Left(2).GetTag(), 0u);
  EXPECT_EQ(text.GetTag(), 7u);
}

TEST(WideString, AppendReturnsTheTextItself) {
  WideString text(u"a");
  EXPECT_EQ(&text.Append(WideString(u"b")), &text);
  EXPECT_EQ(Shown(text.Append(u"c").Append(u"d")), "abcd");
}

TEST(WideString, LeftGivesTheFirstCharactersOrAll) {
  const std::u16string long300(300, u'x');
  EXPECT_EQ(WideString(long300.c_str()).Left(259).Length(), 259);
  EXPECT_EQ(Shown(WideString(u"0123456789").Left(259)), "0123456789");
  EXPECT_EQ(Shown(WideString(u"0123456789").Left(10)), "0123456789");
  EXPECT_EQ(Shown(WideString(u"0123456789").Left(9)), "012345678");
  EXPECT_EQ(Shown(WideString(u"0123456789").Left(0)), "");
  EXPECT_EQ(Shown(WideString(u"0123456789").Left(-1)), "");
}

TEST(WideString, ReplaceAllCountsFromLeftToRightWithoutOverlap) {
  struct Case {
    const WCHAR* text;
    const WCHAR* oldText;
    const WCHAR* newText;
    const char* result;
    int32_t count;
  };
  constexpr Case kCases[] = {
      {u"a\nb\n", u"\n", u"  ", "a  b  ", 2},
      {u"", u"\n", u"  ", "", 0},
      {u"abc", u"", u"x", "abc", 0},
      {u"aaa", u"aa", u"b", "ba", 1},
      {u"aaaa", u"aa", u"aaa", "aaaaaa", 2},
      {u"abab", u"ab", u"", "", 2},
      {u"abc", u"x", u"y", "abc", 0},
      {u"a.b.c", u".", u".", "a.b.c", 2},
      {u"x", u"xx", u"y", "x", 0},
  };
  for (const Case& c : kCases) {
    WideString text(c.text);
    const WideString shared(text);
    EXPECT_EQ(text.ReplaceAll(c.oldText, c.newText), c.count) << Narrow(c.text);
    EXPECT_EQ(Shown(text), c.result);
    EXPECT_EQ(text.Length(), static_cast<int32_t>(std::strlen(c.result)));
    EXPECT_EQ(Shown(shared), Narrow(c.text));
  }
  WideString text(u"abc");
  EXPECT_EQ(text.ReplaceAll(nullptr, u"x"), 0);
  EXPECT_EQ(text.ReplaceAll(u"b", nullptr), 1);
  EXPECT_EQ(Shown(text), "ac");
}

TEST(WideString, FindsTheFirstOfACharacter) {
  const WideString text(u"ab cd ef");
  EXPECT_EQ(text.FindCharacter(u' '), 2);
  EXPECT_EQ(text.FindCharacter(u'a'), 0);
  EXPECT_EQ(text.FindCharacter(u'f'), 7);
  EXPECT_EQ(text.FindCharacter(u'x'), -1);
  EXPECT_EQ(text.FindCharacter(0), -1);
  EXPECT_EQ(WideString().FindCharacter(u'a'), -1);
}

TEST(WideString, EmptyReleasesTheText) {
  WideString text(u"abc");
  text.SetTag(3);
  const WideString shared(text);
  text.Empty();
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_EQ(text.c_str(), WideString().c_str());
  EXPECT_EQ(text.GetTag(), 3u);
  EXPECT_EQ(Shown(shared), "abc");
}

TEST(WideString, AnAdoptedBufferBecomesTheTextWithoutACopy) {
  WCHAR* const buffer = WideString::AllocateText(256);
  ASSERT_NE(buffer, nullptr);
  std::memcpy(buffer, u"12:30", 6 * sizeof(WCHAR));
  WideString text = WideString::Adopt(buffer);
  EXPECT_EQ(text.c_str(), buffer);
  EXPECT_EQ(Shown(text), "12:30");
  text.Append(u":45");
  EXPECT_EQ(Shown(text), "12:30:45");
  EXPECT_TRUE(WideString::Adopt(nullptr).IsEmpty());
  EXPECT_TRUE(WideString::Adopt(WideString::AllocateText(4)).IsEmpty());
}

TEST(WideString, FromUnitsStopsAtATerminator) {
  const WCHAR field[5] = {u'a', u'b', u'c', u'd', u'e'};
  EXPECT_EQ(Shown(WideString::FromUnits(field, 5)), "abcde");
  EXPECT_EQ(Shown(WideString::FromUnits(field, 2)), "ab");
  EXPECT_EQ(Shown(WideString::FromUnits(u"ab\0cd", 5)), "ab");
  EXPECT_EQ(WideString::FromUnits(u"ab\0cd", 5).Length(), 2);
  EXPECT_EQ(Shown(WideString::FromUnits(nullptr, 5)), "");
}

TEST(WideString, AppendingCharacterByCharacterAllocatesRarely) {
  WideString text;
  const AllocationCounter counter;
  for (int i = 0; i < 10000; ++i)
    text.AppendUnits(u"x", 1);
  EXPECT_EQ(text.Length(), 10000);
  EXPECT_LE(counter.Count(), 20u);
}

TEST(WideString, WithoutMemoryTheTextIsEmptyAndTheMarkStaysRaised) {
  wkt::ClearAllocationFailure();
  WideString text(u"present");
  {
    const AllocationFailure failure(1, AllocationFailure::Extent::AllLater);
    const WideString made(u"made");
    EXPECT_TRUE(made.IsEmpty());
    text = u"a longer text than before";
    EXPECT_TRUE(failure.Happened());
  }
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_TRUE(wkt::AllocationFailed());
  text = u"again";
  EXPECT_EQ(Shown(text), "again");
  EXPECT_TRUE(wkt::AllocationFailed());
  wkt::ClearAllocationFailure();
  EXPECT_FALSE(wkt::AllocationFailed());
}

TEST(WideString, EveryChangeSurvivesAFailedAllocation) {
  for (size_t nth = 1; nth <= 8; ++nth) {
    wkt::ClearAllocationFailure();
    WideString text(u"a b c");
    const WideString shared(text);
    WCHAR* const buffer = WideString::AllocateText(8);
    std::memcpy(buffer, u"heap", 5 * sizeof(WCHAR));
    {
      const AllocationFailure failure(nth);
      text.Append(u" and more than fits into the present buffer");
      text.ReplaceAll(u" ", u"__");
      text = text.Left(3);
      text.AssignNumber(1.5f);
      text = WideString::Concatenate(text, WideString(12));
      text = WideString::Adopt(buffer);
      EXPECT_EQ(wkt::AllocationFailed(), failure.Happened()) << nth;
    }
    EXPECT_EQ(text.Length(), static_cast<int32_t>(Shown(text).size()));
    EXPECT_EQ(Shown(shared), "a b c");
  }
  wkt::ClearAllocationFailure();
}

}  // namespace
