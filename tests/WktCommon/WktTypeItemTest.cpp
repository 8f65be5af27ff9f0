#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <set>
#include <string>
#include <vector>

#include "WktCommon/Allocation.h"
#include "WktCommon/TextScanner.h"
#include "WktCommon/WktTypeKinds.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/RandomItem.h"
#include "tests/support/RecordPeek.h"
#include "tests/support/Samples.h"
#include "tests/support/Text.h"

namespace wkt::test {
namespace {

StringArray Lines(const char16_t* text) {
  StringArray lines;
  Split(text, lines, u"\n");
  return lines;
}

class WktTypeItem : public DeskDeviceTest {};

// High half of the time at which the clock stands.
constexpr uint64_t kStartHigh = kStartTicks >> 32;

TEST_F(WktTypeItem, FreshItemHasItsDefaults) {
  const CWktTypeItem item;
  EXPECT_EQ(item.GetTypeOfType(), 6);
  EXPECT_EQ(Narrow(item.GetId().c_str()), "");
  EXPECT_EQ(Narrow(item.GetName1().c_str()), "0.00");
  EXPECT_EQ(item.GetUnused3(), -1);
  EXPECT_EQ(item.GetUnused4(), -1);
  EXPECT_EQ(Narrow(item.GetUnused2().c_str()), "0\n0\n0\n0");
  EXPECT_EQ(Narrow(item.GetFlags()), "0001000000000000000");
  EXPECT_EQ(Narrow(item.GetDisplayName().c_str()), "");
  EXPECT_EQ(item.GetOwner(), nullptr);
  EXPECT_TRUE(item.IsChanged()) << "its values were set like any others";
}

TEST_F(WktTypeItem, FreshItemWritesItsBlock) {
  CWktTypeItem item;
  item.SetId(u"CE-1-2-3-4");
  item.SetModificationTime(TicksToTime(0x00000001FFFFFFFE), FALSE);
  item.SetCreationTime(TicksToTime(0x8000000000000005));
  item.SetModificationTime(TicksToTime(0x00000001FFFFFFFE), FALSE);
  EXPECT_EQ(Narrow(item.ToItemBlock().c_str()),
            "402\nCE-1-2-3-4\n\n0\n1\n-2\n-2147483648\n5\n-1\n-1\n0\n0\n0\n0\n0\n\n-1\n-1\n"
            "\n\n\n\n");
}

TEST_F(WktTypeItem, CommentIsWrittenWhole) {
  CWktTypeItem item;
  const std::u16string comment(300, u'x');
  item.SetComment(comment.c_str());
  EXPECT_EQ(Lines(item.ToItemBlock().c_str()).At(2).c_str(), comment);
}

TEST_F(WktTypeItem, FractionIsWrittenInHundredths) {
  struct Case {
    const char16_t* name;
    const char* written;
  };
  // Single precision holds 8192.01 as 8192.0098, and truncation goes toward zero.
  const Case cases[] = {{u"12.34", "1234"},
                        {u"0.1", "10"},
                        {u"0.29", "29"},
                        {u"167.77", "16777"},
                        {u"", "0"},
                        {u"abc", "0"},
                        {u"5x", "500"},
                        {u"-1", "-99"},
                        {u"-12.34", "-1233"},
                        {u"8192.01", "819200"},
                        {u"1e30", "2147483647"},
                        {u"-1e30", "-2147483648"}};
  for (const Case& given : cases) {
    CWktTypeItem item;
    item.SetName1(given.name);
    EXPECT_EQ(Narrow(Lines(item.ToItemBlock().c_str()).At(3).c_str()), given.written)
        << Narrow(given.name);
  }
}

TEST_F(WktTypeItem, HundredthsAreReadBackAsAFraction) {
  for (const auto& [line, name] :
       {std::pair{u"1234", "12.34"}, std::pair{u"10", "0.10"}, std::pair{u"-1234", "-12.34"},
        std::pair{u"", "0.00"}, std::pair{u"x", "0.00"}, std::pair{u"7x", "0.07"},
        // Single precision: 16777216 is the last whole number that it holds without a gap.
        std::pair{u"16777217", "167772.16"}, std::pair{u"12345678", "123456.78"},
        std::pair{u"2147483647", "21474836.00"}, std::pair{u"-2147483648", "-21474836.00"}}) {
    StringArray built;
    for (int i = 0; i < 22; ++i)
      built.Add(i == 3 ? line : u"");
    const CWktTypeItem item(built, 0);
    EXPECT_EQ(Narrow(item.GetName1().c_str()), name);
  }
}

TEST_F(WktTypeItem, BlockOfEmptyLinesReadsAsZeros) {
  StringArray lines;
  for (int i = 0; i < 22; ++i)
    lines.Add(u"");
  const CWktTypeItem item(lines, 0);
  EXPECT_EQ(Narrow(item.GetName1().c_str()), "0.00");
  EXPECT_EQ(Ticks(item.GetModificationTime()), 0u);
  EXPECT_EQ(Ticks(item.GetCreationTime()), 0u);
  EXPECT_EQ(item.GetUnused3(), 0);
  EXPECT_EQ(item.GetUnused4(), 0);
  EXPECT_FALSE(item.IsFlagSet(8));
  EXPECT_TRUE(item.IsFlagSet(4)) << "0 means: the first of the pair is on";
  EXPECT_FALSE(item.IsFlagSet(5));
  EXPECT_TRUE(item.IsChanged()) << "its values were set like any others";
}

TEST_F(WktTypeItem, FlagPairsAreWrittenAndReadAsOneNumber) {
  struct Case {
    bool first, second;
    const char* written;
  };
  for (const Case& given : {Case{false, false, "-1"}, Case{false, true, "-1"},
                            Case{true, false, "0"}, Case{true, true, "1"}}) {
    for (const int firstFlag : {4, 6}) {
      CWktTypeItem item;
      item.SetFlag(firstFlag, given.first);
      item.SetFlag(firstFlag + 1, given.second);
      const StringArray lines = Lines(item.ToItemBlock().c_str());
      EXPECT_EQ(Narrow(lines.At(firstFlag == 4 ? 16 : 17).c_str()), given.written);
      const CWktTypeItem read(lines, 0);
      EXPECT_EQ(read.IsFlagSet(firstFlag), given.first);
      EXPECT_EQ(read.IsFlagSet(firstFlag + 1), given.first && given.second);
    }
  }
}

TEST_F(WktTypeItem, AnyOtherNumberSwitchesBothFlagsOn) {
  for (const char16_t* number : {u"1", u"2", u"-2", u"999"}) {
    StringArray lines;
    for (int i = 0; i < 22; ++i)
      lines.Add(i == 16 || i == 10 ? number : u"-1");
    const CWktTypeItem item(lines, 0);
    EXPECT_TRUE(item.IsFlagSet(4) && item.IsFlagSet(5) && item.IsFlagSet(8)) << Narrow(number);
    EXPECT_FALSE(item.IsFlagSet(6) || item.IsFlagSet(7));
  }
}

TEST_F(WktTypeItem, ValuesAreFourNumbersHighHalvesFirst) {
  CWktTypeItem item;
  item.SetValueA(2, 1);
  EXPECT_EQ(Narrow(item.GetUnused2().c_str()), "1\n2\n0\n0");
  item.SetValueB(0x80000000, 0xFFFFFFFF);
  EXPECT_EQ(Narrow(item.GetUnused2().c_str()), "1\n2\n-1\n-2147483648");
  item.SetChanged(FALSE);
  item.SetValueA(2, 1);
  item.SetValueB(0x80000000, 0xFFFFFFFF);
  EXPECT_FALSE(item.IsChanged()) << "the same numbers";
  EXPECT_EQ(item.GetValueA(), 0x0000000100000002u);
  EXPECT_EQ(item.GetValueB(), 0xFFFFFFFF80000000u);
  item.SetValueA(4, 3);
  EXPECT_EQ(Narrow(item.GetUnused2().c_str()), "3\n4\n-1\n-2147483648");
  EXPECT_TRUE(item.IsChanged());
}

TEST_F(WktTypeItem, TextThatIsNotFourNumbersReadsAsZero) {
  CWktTypeItem item;
  for (const char16_t* text : {u"", u"1", u"1\n2\n3", u"1\n2\n3\n4\n5", u"1\n2\n3\n4\n\n"}) {
    item.SetUnused2(text);
    EXPECT_EQ(item.GetValueA(), 0u) << Narrow(text);
    EXPECT_EQ(item.GetValueB(), 0u) << Narrow(text);
  }
  item.SetUnused2(u"a\n7x\n 3\n+4");
  EXPECT_EQ(item.GetValueA(), 7u);
  EXPECT_EQ(item.GetValueB(), 0x0000000300000004u);
}

TEST_F(WktTypeItem, SettingAValueIntoAnotherTextStartsFromZeros) {
  CWktTypeItem item;
  item.SetUnused2(u"anything");
  item.SetValueB(6, 5);
  EXPECT_EQ(Narrow(item.GetUnused2().c_str()), "0\n0\n5\n6");
}

TEST_F(WktTypeItem, CloneBelongsToTheSameRecord) {
  CWktTypeKind5 record(FALSE);
  CWktTypeItem item;
  item.SetOwner(&record);
  item.SetName1(u"1.50");
  const TypePtr copy(item.Clone());
  EXPECT_EQ(static_cast<CWktTypeItem*>(copy.get())->GetOwner(), &record);
  EXPECT_FALSE(copy->IsChanged());
  EXPECT_EQ(Narrow(copy->GetName1().c_str()), "1.50");
  EXPECT_EQ(copy->GetTypeOfType(), 6);
}

TEST_F(WktTypeItem, LineBreakInTheCommentBreaksTheBlock) {
  CWktTypeItem item;
  item.SetId(u"CE-1-2-3-4");
  item.SetName2(u"Name");
  item.SetComment(u"first\nsecond");
  const CWktTypeItem read(Lines(item.ToItemBlock().c_str()), 0);
  EXPECT_EQ(Narrow(read.GetComment(FALSE, FALSE).c_str()), "first");
  EXPECT_EQ(Narrow(read.GetName1().c_str()), "0.00") << "read from the second line of the comment";
  EXPECT_EQ(Ticks(read.GetModificationTime()), kStartHigh)
      << "a line late: 0 from Name1, then the high half";
  EXPECT_EQ(Narrow(read.GetName2().c_str()), "0") << "the last number of the values";
}

class Kind5Record : public DeskDeviceTest {
 protected:
  OwnedItems items;
  CWktTypeKind5 record{FALSE};
  static std::u16string Block(const char16_t* id) {
    CWktTypeItem item;
    item.SetId(id);
    return item.ToItemBlock().c_str();
  }
};

TEST_F(Kind5Record, WithoutAListUnused1IsPlainText) {
  record.SetUnused1(u"plain\ntext");
  EXPECT_EQ(Narrow(record.GetUnused1().c_str()), "plain\ntext");
  EXPECT_EQ(record.GetItemList(), nullptr);
}

TEST_F(Kind5Record, WithAnEmptyListUnused1IsWhatIsStored) {
  record.SetUnused1(u"plain");
  record.SetItemList(&items);
  EXPECT_EQ(Narrow(record.GetUnused1().c_str()), "plain");
}

TEST_F(Kind5Record, ListIsReadFromWholeBlocks) {
  record.SetItemList(&items);
  const std::u16string two = Block(u"one") + Block(u"two");
  record.SetUnused1((two + u"402\ntrailing\n").c_str());
  EXPECT_TRUE(record.IsChanged());
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(Narrow(items[0]->GetId().c_str()), "one");
  EXPECT_EQ(Narrow(items[1]->GetId().c_str()), "two");
  EXPECT_EQ(items[1]->GetOwner(), &record);
  EXPECT_EQ(record.GetUnused1().c_str(), two) << "the trailing lines are gone";
}

TEST_F(Kind5Record, TwentyOneLinesAreNoItem) {
  record.SetItemList(&items);
  record.SetUnused1(std::u16string(21, u'\n').c_str());
  EXPECT_TRUE(items.empty());
  record.SetUnused1(std::u16string(22, u'\n').c_str());
  EXPECT_EQ(items.size(), 1u);
}

TEST_F(Kind5Record, EmptyTextEmptiesTheList) {
  record.SetItemList(&items);
  record.SetUnused1(Block(u"one").c_str());
  record.SetUnused1(u"");
  EXPECT_TRUE(items.empty());
  EXPECT_EQ(Narrow(record.GetUnused1().c_str()), "");
}

TEST_F(Kind5Record, ItemsAreRebuiltEvenFromAnEqualText) {
  record.SetItemList(&items);
  record.SetUnused1(Block(u"one").c_str());
  items[0]->SetId(u"edited");
  record.SetUnused1(Block(u"one").c_str());
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(Narrow(items[0]->GetId().c_str()), "one");
}

TEST_F(Kind5Record, TextMadeFromItemsIsStoredWithoutAMark) {
  record.SetItemList(&items);
  items.push_back(new CWktTypeItem);
  device.StepClockMilliseconds(5000);
  const std::u16string text = record.GetUnused1().c_str();
  EXPECT_FALSE(record.IsChanged());
  EXPECT_EQ(Ticks(record.GetModificationTime()), kStartTicks);
  record.SetItemList(nullptr);
  EXPECT_EQ(record.GetUnused1().c_str(), text);
}

TEST_F(Kind5Record, CloneHasNoListButTheText) {
  record.SetItemList(&items);
  record.SetUnused1(Block(u"one").c_str());
  const TypePtr copy(record.Clone());
  EXPECT_EQ(static_cast<CWktTypeKind5*>(copy.get())->GetItemList(), nullptr);
  EXPECT_EQ(copy->GetUnused1().c_str(), Block(u"one"));
}

// The list ends before the first item that found no memory, so none stands in another's place.
TEST_F(Kind5Record, WithoutMemoryTheListEndsEarly) {
  const std::u16string two = Block(u"one") + Block(u"two");
  record.SetItemList(&items);
  std::set<size_t> counts;
  for (const auto extent :
       {AllocationFailure::Extent::OnlyThis, AllocationFailure::Extent::AllLater}) {
    bool happened = true;
    for (size_t nth = 1; happened; ++nth) {
      ASSERT_LT(nth, 500u);
      ClearAllocationFailure();
      record.SetUnused1(u"");
      {
        const AllocationFailure failure(nth, extent);
        record.SetUnused1(two.c_str());
        happened = failure.Happened();
      }
      counts.insert(items.size());
      EXPECT_EQ(AllocationFailed(), happened) << nth;
      if (!items.empty()) {
        EXPECT_NE(Narrow(items[0]->GetId().c_str()), "two") << nth;
      }
    }
  }
  EXPECT_EQ(counts, (std::set<size_t>{0, 1, 2}));
  EXPECT_EQ(Narrow(items[1]->GetId().c_str()), "two");
  ClearAllocationFailure();
}

TEST_F(Kind5Record, RandomItemsSurviveTheirText) {
  const bool holds = rc::check("items come back", [this] {
    OwnedItems given;
    const int count = *rc::gen::inRange(1, 6);
    for (int i = 0; i < count; ++i)
      given.push_back(MakeRandomItem());
    CWktTypeKind5 source(FALSE);
    source.SetItemList(&given);
    OwnedItems read;
    CWktTypeKind5 target(FALSE);
    target.SetItemList(&read);
    target.SetUnused1(source.GetUnused1().c_str());
    RC_ASSERT(read.size() == given.size());
    for (size_t i = 0; i < given.size(); ++i)
      ExpectEqualTypes(*read[i], *given[i]);
    RC_ASSERT(target.GetUnused1().Equals(source.GetUnused1()));
    RC_ASSERT(!HasFailure());
  });
  EXPECT_TRUE(holds);
}

}  // namespace
}  // namespace wkt::test
