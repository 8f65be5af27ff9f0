#include "WktCommon/WktTypeLean.h"

#include <gtest/gtest.h>

#include <string>

#include "WktCommon/WktTypeKinds.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/RecordPeek.h"
#include "tests/support/Samples.h"
#include "tests/support/Text.h"

namespace wkt::test {
namespace {

class WktTypeLean : public DeskDeviceTest {};

TEST_F(WktTypeLean, FreshRecordHasItsDefaults) {
  const CWktTypeLean type(FALSE);
  EXPECT_EQ(type.GetTypeOfType(), 0);
  EXPECT_EQ(Narrow(type.GetId().c_str()), "");
  EXPECT_EQ(type.GetVersionNumber(), 32u);
  EXPECT_EQ(Ticks(type.GetModificationTime()), kStartTicks);
  EXPECT_EQ(Ticks(type.GetCreationTime()), kStartTicks);
  EXPECT_EQ(type.GetUseCount(), 0);
  EXPECT_EQ(Narrow(type.GetName1().c_str()), "");
  EXPECT_EQ(Narrow(type.GetName2().c_str()), "");
  EXPECT_EQ(Narrow(type.GetComment(FALSE, FALSE).c_str()), "");
  EXPECT_EQ(Narrow(type.GetFlags()), "0001000000000000000");
  EXPECT_TRUE(type.IsFlagSet(3));
  EXPECT_FALSE(type.IsFlagSet(2));
  EXPECT_EQ(Narrow(type.GetUnused1().c_str()), "");
  EXPECT_EQ(Narrow(type.GetUnused2().c_str()), "");
  EXPECT_EQ(type.GetUnused3(), 0);
  EXPECT_EQ(type.GetUnused4(), 0);
  EXPECT_EQ(Ticks(type.GetUnused5()), 0u);
  EXPECT_FALSE(type.IsChanged());
  EXPECT_FALSE(RecordPeek::GetMark(type));
}

TEST_F(WktTypeLean, NewRecordDrawsAnIdentifierAndIsNotChanged) {
  const CWktTypeLean type(TRUE);
  EXPECT_EQ(Narrow(type.GetId().c_str()).substr(0, 3), "CE-");
  EXPECT_FALSE(type.IsChanged());
}

TEST_F(WktTypeLean, PlainRecordHasNeitherParentNorName) {
  CWktTypeLean type(FALSE);
  type.SetName1(u"Name");
  type.SetParentId(u"CE-1-2-3-4");
  EXPECT_EQ(Narrow(type.GetParentId().c_str()), "");
  EXPECT_EQ(Narrow(type.GetUnused1().c_str()), "");
  EXPECT_EQ(Narrow(type.GetDisplayName().c_str()), "");
  EXPECT_EQ(Narrow(type.GetRootName({&type}).c_str()), "");
}

TEST_F(WktTypeLean, FlagIndexesOutsideTheRowAreIgnored) {
  CWktTypeLean type(FALSE);
  for (const int index : {-2147483647 - 1, -1, 19, 20, 2147483647}) {
    EXPECT_FALSE(type.IsFlagSet(index));
    type.SetFlag(index, TRUE);
  }
  for (const int index : {-1, 2, 3}) {
    EXPECT_FALSE(type.IsFlag01Set(index));
    type.SetFlag01(index, TRUE);
    type.SetFlag01(index, FALSE);
  }
  EXPECT_EQ(Narrow(type.GetFlags()), "0001000000000000000");
  EXPECT_FALSE(type.IsChanged());
}

TEST_F(WktTypeLean, EachFlagIsItsOwnPosition) {
  for (int index = 0; index < 19; ++index) {
    CWktTypeLean type(FALSE);
    const bool wasSet = type.IsFlagSet(index);
    type.SetFlag(index, !wasSet);
    EXPECT_EQ(type.IsFlagSet(index), !wasSet);
    std::string expected = "0001000000000000000";
    expected[static_cast<size_t>(index)] = wasSet ? '0' : '1';
    EXPECT_EQ(Narrow(type.GetFlags()), expected);
  }
}

TEST_F(WktTypeLean, AnyCharacterButZeroIsOn) {
  CWktTypeLean type(FALSE);
  type.SetFlags(u"x 20000000000000000");
  EXPECT_TRUE(type.IsFlag01Set(0));
  EXPECT_TRUE(type.IsFlag01Set(1));
  EXPECT_TRUE(type.IsFlag2Set());
  EXPECT_FALSE(type.IsFlagSet(3));
  type.SetChanged(FALSE);
  type.SetFlag01(0, TRUE);
  EXPECT_FALSE(type.IsChanged()) << "on already";
  EXPECT_EQ(Narrow(type.GetFlags()), "x 20000000000000000");
}

TEST_F(WktTypeLean, ComparesBothHalvesOfTimes) {
  constexpr uint64_t kTime = 0x01DCAA9C'85E88320;
  for (const auto set : {&CWktTypeLean::SetCreationTime, &CWktTypeLean::SetUnused5}) {
    for (const uint64_t other : {kTime + 1, kTime + (uint64_t{1} << 32)}) {
      CWktTypeLean type(FALSE);
      (type.*set)(TicksToTime(kTime));
      type.SetChanged(FALSE);
      (type.*set)(TicksToTime(other));
      EXPECT_TRUE(type.IsChanged()) << other;
    }
  }
}

TEST_F(WktTypeLean, Flag2OpensOnlyAgainstItsGate) {
  CWktTypeLean type(FALSE);
  type.SetFlag2(TRUE);
  EXPECT_FALSE(type.IsFlag2Set()) << "position 3 is on, so nothing can be switched on";
  EXPECT_FALSE(type.IsChanged());
  type.SetFlag(3, FALSE);
  type.SetFlag2(TRUE);
  EXPECT_TRUE(type.IsFlag2Set());
  type.SetFlag2(FALSE);
  EXPECT_TRUE(type.IsFlag2Set()) << "position 3 is off, so nothing can be switched off";
  type.SetFlag(3, TRUE);
  type.SetChanged(FALSE);
  device.StepClockMilliseconds(3000);
  type.SetFlag2(FALSE);
  EXPECT_FALSE(type.IsFlag2Set());
  EXPECT_TRUE(type.IsChanged());
  EXPECT_EQ(Ticks(type.GetModificationTime()), kStartTicks + 30'000'000);
}

TEST_F(WktTypeLean, FlagTextThatIsNullIsIgnored) {
  CWktTypeLean type(FALSE);
  type.SetFlags(nullptr);
  EXPECT_EQ(Narrow(type.GetFlags()), "0001000000000000000");
  EXPECT_FALSE(type.IsChanged());
}

TEST_F(WktTypeLean, FlagTextIsCutAtItsWidth) {
  CWktTypeLean type(FALSE);
  type.SetFlags(u"11111111111111111112222222222222222222222222222");
  EXPECT_EQ(Narrow(type.GetFlags()), "1111111111111111111");
  EXPECT_EQ(type.GetUseCount(), 0);
  EXPECT_EQ(Narrow(type.GetUnused1().c_str()), "");
}

TEST_F(WktTypeLean, ShortFlagTextOverwritesWhatItCovers) {
  CWktTypeLean type(FALSE);
  type.SetFlags(u"1111111111111111111");
  type.SetFlags(u"000");
  EXPECT_EQ(Narrow(type.GetFlags()), "000");
  EXPECT_FALSE(type.IsFlagSet(3)) << "the text ends here";
  EXPECT_TRUE(type.IsFlagSet(4)) << "not covered";
  type.SetFlag(5, FALSE);
  EXPECT_EQ(Narrow(type.GetFlags()), "0000101111111111111");
}

TEST_F(WktTypeLean, CommentIsCutAfter259Characters) {
  CWktTypeLean type(FALSE);
  for (const auto& [length, expected] :
       {std::pair<size_t, int>{258, 258}, {259, 259}, {260, 259}, {30'000, 259}}) {
    type.SetComment(std::u16string(length, u'x').c_str());
    EXPECT_EQ(type.GetComment(TRUE, FALSE).Length(), expected);
    EXPECT_EQ(type.GetComment(FALSE, FALSE).Length(), static_cast<int>(length));
  }
}

TEST_F(WktTypeLean, FlattenedCommentHasTwoBlanksForALineBreak) {
  CWktTypeLean type(FALSE);
  type.SetComment(u"a\nb\n");
  EXPECT_EQ(Narrow(type.GetComment(FALSE, TRUE).c_str()), "a  b  ");
  EXPECT_EQ(Narrow(type.GetComment(FALSE, FALSE).c_str()), "a\nb\n");
}

TEST_F(WktTypeLean, CommentIsFlattenedBeforeItIsCut) {
  CWktTypeLean type(FALSE);
  type.SetComment((std::u16string(258, u'x') + u"\n").c_str());
  EXPECT_EQ(type.GetComment(TRUE, TRUE).c_str(), std::u16string(258, u'x') + u" ");
}

TEST_F(WktTypeLean, FindByIdComparesWholeIdentifiersExactly) {
  EXPECT_EQ(CWktTypeLean::FindById({}, u"a"), -1);
  CWktTypeLean first(FALSE);
  CWktTypeLean second(FALSE);
  CWktTypeLean third(FALSE);
  first.SetId(u"CE-1");
  second.SetId(u"CE-12");
  third.SetId(u"CE-12");
  const TypeList types = {&first, &second, &third};
  EXPECT_EQ(CWktTypeLean::FindById(types, u"CE-1"), 0);
  EXPECT_EQ(CWktTypeLean::FindById(types, u"CE-12"), 1) << "the first of two";
  for (const char16_t* nearMiss : {u"ce-1", u"CE-1 ", u" CE-1", u"CE-", u"CE-123", u""})
    EXPECT_EQ(CWktTypeLean::FindById(types, nearMiss), -1) << Narrow(nearMiss);
}

class Assignment : public WktTypeLean {
 protected:
  Assignment() { device.StepClockMilliseconds(9000); }
  static constexpr uint64_t kNow = kStartTicks + 90'000'000;
};

TEST_F(Assignment, CopiesEveryField) {
  const TypePtr from = MakeSampleType(4, 1);
  RecordPeek::SetMark(*from, true);
  from->SetComment((u"first\n" + std::u16string(300, u'x')).c_str());
  CWktTypeLean to(FALSE);
  to.Assign(*from);
  to.SetModificationTime(from->GetModificationTime(), FALSE);
  ExpectEqualTypes(to, *from);
  EXPECT_TRUE(RecordPeek::GetMark(to));
  EXPECT_EQ(Ticks(RecordPeek::SavedTime(to)), 0u) << "kept while it runs only";
}

TEST_F(Assignment, OfAnEqualRecordKeepsItsTimeAndLeavesItUnchanged) {
  const TypePtr from = MakeSampleType(4, 1);
  const TypePtr to = MakeSampleType(4, 1);
  to->SetModificationTime(TicksToTime(77), FALSE);
  to->Assign(*from);
  EXPECT_FALSE(to->IsChanged());
  EXPECT_EQ(Ticks(to->GetModificationTime()), Ticks(from->GetModificationTime()));
}

TEST_F(Assignment, OfAnotherRecordIsAChangeOfNow) {
  const TypePtr from = MakeSampleType(4, 1);
  const TypePtr to = MakeSampleType(4, 2);
  to->Assign(*from);
  EXPECT_TRUE(to->IsChanged());
  EXPECT_EQ(Ticks(to->GetModificationTime()), kNow);
}

TEST_F(Assignment, OfAnotherRecordWithTheSameTimeKeepsThatTime) {
  const TypePtr from = MakeSampleType(4, 1);
  const TypePtr to = MakeSampleType(4, 2);
  to->SetModificationTime(from->GetModificationTime(), FALSE);
  to->Assign(*from);
  EXPECT_TRUE(to->IsChanged());
  EXPECT_EQ(Ticks(to->GetModificationTime()), Ticks(from->GetModificationTime()));
}

TEST_F(Assignment, OfARecordToItselfDoesNothing) {
  const TypePtr type = MakeSampleType(4, 1);
  type->Assign(*type);
  EXPECT_FALSE(type->IsChanged());
  ExpectSampleType(*type, 4, 1);
}

}  // namespace
}  // namespace wkt::test
