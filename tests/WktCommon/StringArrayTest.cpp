#include "WktCommon/StringArray.h"

#include <gtest/gtest.h>

#include <string>

#include "WktCommon/Allocation.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Text.h"

namespace {

using wkt::test::AllocationCounter;
using wkt::test::AllocationFailure;
using wkt::test::Narrow;

std::string Shown(const StringArray& array) {
  std::string out = "[";
  for (int32_t i = 0; i < array.GetCount(); ++i) {
    if (i > 0)
      out += "|";
    out += Narrow(array.At(i).c_str());
  }
  return out + "]";
}

StringArray ArrayOf(std::initializer_list<const WCHAR*> texts) {
  StringArray array;
  for (const WCHAR* const text : texts)
    array.Add(text);
  return array;
}

TEST(StringArray, StartsWithTheCapacityAndCountAskedFor) {
  struct Case {
    int32_t capacity, count, expectedCapacity, expectedCount;
  };
  constexpr Case kCases[] = {{100, 0, 100, 0}, {0, 0, 0, 0},  {-5, 0, 0, 0},    {3, 3, 3, 3},
                             {3, 4, 3, 0},     {3, -1, 3, 0}, {100, 2, 100, 2}, {-1, -1, 0, 0}};
  for (const Case& c : kCases) {
    const StringArray array(c.capacity, c.count);
    EXPECT_EQ(array.GetCapacity(), c.expectedCapacity);
    EXPECT_EQ(array.GetCount(), c.expectedCount);
    for (int32_t i = 0; i < c.expectedCount; ++i)
      EXPECT_TRUE(array.At(i).IsEmpty());
  }
}

// Slots for so many strings would not fit into 32 bits of bytes.
TEST(StringArray, MoreSlotsThanMemoryCanHaveAreNone) {
  for (const int32_t capacity : {0x01000001, 0x10000000, 0x7FFFFFFF}) {
    wkt::ClearAllocationFailure();
    StringArray array(capacity, capacity);
    EXPECT_TRUE(wkt::AllocationFailed());
    EXPECT_EQ(array.GetCapacity(), 0);
    EXPECT_EQ(array.GetCount(), 0);
    array.RemoveAt(5);
    array.Add(u"a");
    EXPECT_EQ(Shown(array), "[a]");
  }
  wkt::ClearAllocationFailure();
  EXPECT_EQ(StringArray(0x01000000).GetCapacity(), 0x01000000) << "slots are made when used";
  EXPECT_FALSE(wkt::AllocationFailed());
}

TEST(StringArray, AListWithoutCapacityHasRoomForOneTextThenTwo) {
  StringArray array;
  for (const int32_t capacity : {1, 2, 4, 4, 8}) {
    array.Add(u"a");
    EXPECT_EQ(array.GetCapacity(), capacity);
  }
}

TEST(StringArray, AnyIndexOutsideReadsAsTheSharedEmptyString) {
  const StringArray array = ArrayOf({u"a", u"b"});
  EXPECT_EQ(Narrow(array.At(-1).c_str()), "");
  EXPECT_EQ(Narrow(array.At(2).c_str()), "");
  EXPECT_EQ(&array.At(-1), &array.At(2));
  EXPECT_EQ(&array.At(2147483647), &StringArray().At(0));
  StringArray spare(5);
  spare.Add(u"a");
  EXPECT_EQ(&spare.At(1), &array.At(-1)) << "not the string of its spare slot";
}

TEST(StringArray, CapacityDoublesWhenItIsFull) {
  StringArray array(2);
  array.Add(u"a");
  array.Add(u"b", 22);
  EXPECT_EQ(array.GetCapacity(), 2);
  array.Add(WideString(u"c"), 33);
  EXPECT_EQ(array.GetCapacity(), 4);
  for (int i = 0; i < 97; ++i)
    array.Add(u"x");
  EXPECT_EQ(array.GetCapacity(), 128);
  EXPECT_EQ(array.GetCount(), 100);
  EXPECT_EQ(Narrow(array.At(1).c_str()), "b");
  EXPECT_EQ(array.At(0).GetTag(), 0u);
  EXPECT_EQ(array.At(1).GetTag(), 22u);
  EXPECT_EQ(array.At(2).GetTag(), 33u);
}

TEST(StringArray, AListWithoutCapacityCanGrow) {
  EXPECT_EQ(Shown(ArrayOf({u"a", u"b", u"c"})), "[a|b|c]");
}

TEST(StringArray, TheTagGivenReplacesTheTextsOwn) {
  WideString text(u"a");
  text.SetTag(9);
  StringArray array;
  array.Add(text, 4);
  EXPECT_EQ(array.At(0).GetTag(), 4u);
  EXPECT_EQ(text.GetTag(), 9u);
}

TEST(StringArray, ATextOfTheListCanBeAddedToIt) {
  StringArray array(1);
  array.Add(u"only");
  array.Add(array.At(0));
  EXPECT_EQ(Shown(array), "[only|only]");
}

TEST(StringArray, CopiesAreSharedUntilOneIsChanged) {
  StringArray first = ArrayOf({u"a", u"b"});
  const AllocationCounter counter;
  StringArray second(first);
  StringArray third;
  third = first;
  EXPECT_EQ(counter.Count(), 0u);
  EXPECT_EQ(&second.At(0), &first.At(0));
  second.Add(u"c");
  third.RemoveAt(0);
  EXPECT_EQ(Shown(first), "[a|b]");
  EXPECT_EQ(Shown(second), "[a|b|c]");
  EXPECT_EQ(Shown(third), "[b]");
  second = *&second;
  EXPECT_EQ(Shown(second), "[a|b|c]");
}

TEST(StringArray, TheTagsOfACopyStayWhenItIsChanged) {
  StringArray first;
  first.Add(u"a", 5);
  StringArray second(first);
  second.Add(u"b", 6);
  EXPECT_EQ(second.At(0).GetTag(), 5u);
  EXPECT_EQ(second.At(1).GetTag(), 6u);
  EXPECT_EQ(first.At(0).GetTag(), 5u);
}

TEST(StringArray, RemovingShiftsTheLaterOnesAndLeavesAFreshSpare) {
  StringArray array = ArrayOf({u"a", u"b", u"c"});
  array.RemoveAt(1);
  EXPECT_EQ(Shown(array), "[a|c]");
  array.RemoveAt(2);
  array.RemoveAt(-1);
  EXPECT_EQ(Shown(array), "[a|c]");
  array.RemoveAt(0);
  array.RemoveAt(0);
  EXPECT_EQ(Shown(array), "[]");
  array.Add(u"new", 1);
  EXPECT_EQ(Shown(array), "[new]");
}

TEST(StringArray, ASlotFreedByRemovingCarriesNoOldTag) {
  StringArray array(2, 0);
  array.Add(u"a", 5);
  array.Add(u"b", 6);
  array.RemoveAt(1);
  array.Add(u"c");
  EXPECT_EQ(array.At(1).GetTag(), 0u);
}

TEST(StringArray, RemovingFromAListOfEmptyStringsWorks) {
  StringArray array(5, 5);
  array.RemoveAt(4);
  EXPECT_EQ(Shown(array), "[|||]");
}

TEST(StringArray, EqualAsSetsLooksOneWayOnly) {
  EXPECT_TRUE(ArrayOf({u"a", u"b"}).EqualsAsSets(ArrayOf({u"b", u"a"})));
  EXPECT_TRUE(StringArray().EqualsAsSets(StringArray(100)));
  EXPECT_FALSE(ArrayOf({u"a"}).EqualsAsSets(ArrayOf({u"a", u"a"})));
  EXPECT_FALSE(ArrayOf({u"a"}).EqualsAsSets(ArrayOf({u"A"})));
  EXPECT_FALSE(ArrayOf({u"a", u"b"}).EqualsAsSets(ArrayOf({u"a", u"c"})));
  // Every text of the other occurs; that the reverse does not hold is not asked.
  EXPECT_TRUE(ArrayOf({u"a", u"b"}).EqualsAsSets(ArrayOf({u"a", u"a"})));
  EXPECT_FALSE(ArrayOf({u"a", u"a"}).EqualsAsSets(ArrayOf({u"a", u"b"})));
  const StringArray list = ArrayOf({u"a", u"b"});
  EXPECT_TRUE(list.EqualsAsSets(StringArray(list)));
}

TEST(StringArray, AnEmptyListCostsNothingAndAShortOneThreeBlocks) {
  const AllocationCounter counter;
  const StringArray hundred(100, 0);
  StringArray persons(hundred);
  EXPECT_EQ(counter.Count(), 0u);
  persons.Add(WideString(u"first"));
  EXPECT_EQ(counter.Count(), 3u);  // the list, its first slots, the text
  persons.Add(WideString(u"second"));
  persons.Add(WideString(u"third"));
  EXPECT_EQ(counter.Count(), 5u);
  EXPECT_EQ(persons.GetCapacity(), 100);
}

// 2^24 places; no string object is made before its place is used.
TEST(StringArray, AFullListOfTheLargestCapacityTakesNoMore) {
  wkt::ClearAllocationFailure();
  StringArray array(0x01000000, 0x01000000);
  EXPECT_FALSE(wkt::AllocationFailed());
  array.Add(u"one too many");
  EXPECT_TRUE(wkt::AllocationFailed());
  EXPECT_EQ(array.GetCount(), 0x01000000);
  EXPECT_EQ(array.GetCapacity(), 0x01000000);
  wkt::ClearAllocationFailure();
}

TEST(StringArray, WithoutMemoryAListHasNoCapacity) {
  wkt::ClearAllocationFailure();
  const AllocationFailure failure(1);
  const StringArray array(7, 3);
  EXPECT_TRUE(failure.Happened());
  EXPECT_TRUE(wkt::AllocationFailed());
  EXPECT_EQ(Shown(array), "[]");
  EXPECT_EQ(array.GetCapacity(), 0);
  wkt::ClearAllocationFailure();
}

// A copy needs a list of its own before it can change.
TEST(StringArray, WithoutMemoryNothingIsRemovedFromACopy) {
  const StringArray shared = ArrayOf({u"a", u"b"});
  for (size_t nth = 1; nth <= 2; ++nth) {
    wkt::ClearAllocationFailure();
    StringArray array(shared);
    const AllocationFailure failure(nth);
    array.RemoveAt(0);
    EXPECT_TRUE(failure.Happened()) << nth;
    EXPECT_TRUE(wkt::AllocationFailed()) << nth;
    EXPECT_EQ(Shown(array), "[a|b]") << nth;
  }
  wkt::ClearAllocationFailure();
}

TEST(StringArray, JoiningPutsTheSeparatorBetween) {
  EXPECT_EQ(Narrow(wkt::JoinTexts(ArrayOf({u"a", u"b", u"c"}), u"; ").c_str()), "a; b; c");
  EXPECT_EQ(Narrow(wkt::JoinTexts(ArrayOf({u"a"}), u"; ").c_str()), "a");
  EXPECT_EQ(Narrow(wkt::JoinTexts(ArrayOf({u"", u""}), u"; ").c_str()), "; ");
  EXPECT_EQ(Narrow(wkt::JoinTexts(StringArray(), u"; ").c_str()), "");
}

TEST(StringArray, EveryChangeSurvivesAFailedAllocation) {
  for (size_t nth = 1; nth <= 12; ++nth) {
    wkt::ClearAllocationFailure();
    const StringArray shared = ArrayOf({u"a", u"b"});
    StringArray array(shared);
    bool happened = false;
    {
      const AllocationFailure failure(nth);
      array.Add(u"c");
      array.RemoveAt(0);
      for (int i = 0; i < 5; ++i)
        array.Add(u"d");
      happened = failure.Happened();
    }
    EXPECT_EQ(wkt::AllocationFailed(), happened) << nth;
    EXPECT_EQ(Shown(shared), "[a|b]");
    EXPECT_LE(array.GetCount(), array.GetCapacity());
    for (int32_t i = 0; i < array.GetCount(); ++i)
      EXPECT_LE(array.At(i).Length(), 1);
  }
  wkt::ClearAllocationFailure();
}

}  // namespace
