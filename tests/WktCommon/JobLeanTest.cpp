#include "WktCommon/JobLean.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/support/DeskDevice.h"
#include "tests/support/RecordPeek.h"
#include "tests/support/Samples.h"
#include "tests/support/Text.h"

namespace wkt::test {
namespace {

// 2026-03-02T00:00:00 as the day on the clock of the device in Vienna.
constexpr uint64_t kStartDayTicks = 155'288ull * 24 * 3600 * 10'000'000;
constexpr uint64_t kTicksPerMillisecond = 10'000;

class JobLean : public DeskDeviceTest {};

TEST_F(JobLean, FreshRecordHasItsDefaults) {
  const CJobLean job(FALSE);
  EXPECT_EQ(Narrow(job.GetJobId().c_str()), "");
  EXPECT_EQ(job.GetVersionNumber(), 23);
  EXPECT_EQ(Ticks(job.GetModificationTime()), kStartTicks);
  EXPECT_EQ(Narrow(job.GetTitle().c_str()), "");
  EXPECT_EQ(Narrow(job.GetComment().c_str()), "");
  EXPECT_EQ(Narrow(job.GetWorkTypeId().c_str()), "");
  EXPECT_EQ(Narrow(job.GetProjectId().c_str()), "");
  EXPECT_EQ(Narrow(job.GetTeamworkId().c_str()), "");
  EXPECT_EQ(Ticks(job.GetStartTime()), kStartTicks);
  EXPECT_EQ(Ticks(job.GetEndTime()), kStartTicks);
  EXPECT_EQ(Narrow(job.GetPersonIds().c_str()), "");
  EXPECT_EQ(Narrow(job.GetFlags()), "0010000000000000000");
  EXPECT_FALSE(job.GetUserFlag(0) || job.GetUserFlag(1) || job.GetPartnerFlag(0) ||
               job.GetPartnerFlag(1) || job.GetFlag3() || job.GetFlag6());
  EXPECT_EQ(job.GetUnused2(), -1);
  EXPECT_EQ(Narrow(job.GetUnused3().c_str()), "");
  EXPECT_EQ(Ticks(job.GetLocalDayAsFileTime()), kStartDayTicks);
  EXPECT_FALSE(RecordPeek::IsModified(job));
}

TEST_F(JobLean, NewRecordDrawsAnIdentifierAndIsNotModified) {
  const CJobLean first(TRUE);
  const CJobLean second(TRUE);
  EXPECT_EQ(Narrow(first.GetJobId().c_str()).substr(0, 3), "CE-");
  EXPECT_NE(Narrow(first.GetJobId().c_str()), Narrow(second.GetJobId().c_str()));
  EXPECT_FALSE(RecordPeek::IsModified(first));
}

TEST_F(JobLean, DayOfANewRecordIsThatOfTheLocalClock) {
  device.FreezeClock("2026-03-02T23:30:15Z");  // half past midnight in Vienna
  const CJobLean job(FALSE);
  EXPECT_EQ(Ticks(job.GetLocalDayAsFileTime()), kStartDayTicks + 86'400ull * 10'000'000);
}

TEST_F(JobLean, StampsAreWholeSeconds) {
  CJobLean job(FALSE);
  device.StepClockMilliseconds(1999);
  job.SetTitle(u"a");
  EXPECT_EQ(Ticks(job.GetModificationTime()), kStartTicks + 1000 * kTicksPerMillisecond);
}

TEST_F(JobLean, TextsOfNullAreEmpty) {
  CJobLean job(FALSE);
  job.SetTitle(nullptr);
  EXPECT_FALSE(RecordPeek::IsModified(job));
  job.SetTitle(u"a");
  job.SetTitle(nullptr);
  EXPECT_EQ(Narrow(job.GetTitle().c_str()), "");
}

TEST_F(JobLean, ComparesTextsExactly) {
  CJobLean job(FALSE);
  const char16_t* const others[] = {u"A", u"a ", u" a", u"", u"aa"};
  for (const char16_t* other : others) {
    job.SetTitle(u"a");
    job.SetModified(FALSE);
    job.SetTitle(other);
    EXPECT_TRUE(RecordPeek::IsModified(job)) << Narrow(other);
    EXPECT_EQ(Narrow(job.GetTitle().c_str()), Narrow(other));
  }
}

TEST_F(JobLean, PartnerFlagLeavesNoTraceOfAnEdit) {
  CJobLean job(FALSE);
  device.StepClockMilliseconds(5000);
  job.SetPartnerFlag(1, TRUE);
  EXPECT_EQ(Narrow(job.GetFlags()), "0010010000000000000");
  EXPECT_TRUE(job.GetPartnerFlag(1));
  EXPECT_FALSE(job.GetPartnerFlag(0));
  EXPECT_FALSE(RecordPeek::IsModified(job));
  EXPECT_EQ(Ticks(job.GetModificationTime()), kStartTicks);
}

TEST_F(JobLean, UserFlagIsAnEdit) {
  CJobLean job(FALSE);
  device.StepClockMilliseconds(5000);
  job.SetUserFlag(1, TRUE);
  EXPECT_EQ(Narrow(job.GetFlags()), "0110000000000000000");
  EXPECT_TRUE(RecordPeek::IsModified(job));
  EXPECT_EQ(Ticks(job.GetModificationTime()), kStartTicks + 5000 * kTicksPerMillisecond);
}

TEST_F(JobLean, FlagIndexesBeyondTheTwoAreIgnored) {
  CJobLean job(FALSE);
  for (const int index : {-2147483647 - 1, -1, 2, 3, 2147483647}) {
    job.SetUserFlag(index, TRUE);
    job.SetPartnerFlag(index, TRUE);
    EXPECT_FALSE(job.GetUserFlag(index));
    EXPECT_FALSE(job.GetPartnerFlag(index));
  }
  EXPECT_EQ(Narrow(job.GetFlags()), "0010000000000000000");
  EXPECT_FALSE(RecordPeek::IsModified(job));
}

TEST_F(JobLean, FlagTextReplacesAllFlagsAndStamps) {
  CJobLean job(FALSE);
  device.StepClockMilliseconds(5000);
  job.SetFlags(u"0000000000000000000");
  EXPECT_EQ(Narrow(job.GetFlags()), "0000000000000000000");
  EXPECT_TRUE(RecordPeek::IsModified(job));
  EXPECT_EQ(Ticks(job.GetModificationTime()), kStartTicks + 5000 * kTicksPerMillisecond);
}

TEST_F(JobLean, EqualFlagTextAndNullDoNothing) {
  CJobLean job(FALSE);
  job.SetFlags(u"0010000000000000000");
  job.SetFlags(nullptr);
  EXPECT_FALSE(RecordPeek::IsModified(job));
}

TEST_F(JobLean, EachMirrorFollowsItsPosition) {
  const std::vector<std::pair<size_t, std::function<bool(const CJobLean&)>>> mirrors = {
      {0, [](const CJobLean& job) { return job.GetUserFlag(0); }},
      {1, [](const CJobLean& job) { return job.GetUserFlag(1); }},
      {3, [](const CJobLean& job) { return job.GetFlag3(); }},
      {4, [](const CJobLean& job) { return job.GetPartnerFlag(0); }},
      {5, [](const CJobLean& job) { return job.GetPartnerFlag(1); }},
      {6, [](const CJobLean& job) { return job.GetFlag6(); }}};
  for (const auto& [position, isSet] : mirrors) {
    CJobLean job(FALSE);
    std::u16string flags(19, u'0');
    flags[position] = u'x';  // any character but '0' counts as set
    job.SetFlags(flags.c_str());
    for (const auto& [other, isOtherSet] : mirrors)
      EXPECT_EQ(isOtherSet(job), other == position) << position << " " << other;
    EXPECT_EQ(Narrow(job.GetFlags()), Narrow(flags)) << "the character stays as it came";
  }
}

TEST_F(JobLean, TooLongFlagTextIsCutAtItsWidth) {
  CJobLean job(FALSE);
  job.SetFlags(u"1111111111111111111222222222222222222222222222222222222222");
  EXPECT_EQ(Narrow(job.GetFlags()), "1111111111111111111");
  job.SetModified(FALSE);
  job.SetFlags(u"11111111111111111113");
  EXPECT_FALSE(RecordPeek::IsModified(job)) << "nothing that fits has changed";
}

TEST_F(JobLean, ShortFlagTextOverwritesWhatItCovers) {
  CJobLean job(FALSE);
  job.SetFlags(u"1111111111111111111");
  job.SetFlags(u"00");
  EXPECT_EQ(Narrow(job.GetFlags()), "00");
  EXPECT_FALSE(job.GetUserFlag(0));
  EXPECT_TRUE(job.GetFlag3()) << "not covered";
  EXPECT_TRUE(job.GetPartnerFlag(0)) << "not covered";
  job.SetPartnerFlag(1, FALSE);
  EXPECT_EQ(Narrow(job.GetFlags()), "0001101111111111111") << "the row reaches the flag again";
}

TEST_F(JobLean, EmptyFlagTextSwitchesNoFlagOn) {
  CJobLean job(FALSE);
  job.SetFlags(u"");
  EXPECT_FALSE(job.GetUserFlag(0) || job.GetPartnerFlag(0) || job.GetFlag6());
  job.SetFlag6(TRUE);
  EXPECT_EQ(Narrow(job.GetFlags()), "0010001000000000000");
}

TEST_F(JobLean, Unused3IsSplitAtItsFirstBlank) {
  CJobLean job(FALSE);
  job.SetUnused3(u"xyz");
  EXPECT_EQ(RecordPeek::Unused3Head(job), u"");
  EXPECT_EQ(RecordPeek::Unused3Tail(job), u"");
  job.SetUnused3(u"ab cd ef");
  EXPECT_EQ(RecordPeek::Unused3Head(job), u"ab");
  EXPECT_EQ(RecordPeek::Unused3Tail(job), u"cd ef");
  job.SetUnused3(u"xyz");
  EXPECT_EQ(RecordPeek::Unused3Head(job), u"ab") << "kept from the last text with a blank";
  EXPECT_EQ(RecordPeek::Unused3Tail(job), u"cd ef");
  job.SetUnused3(u" ");
  EXPECT_EQ(RecordPeek::Unused3Head(job), u"");
  EXPECT_EQ(RecordPeek::Unused3Tail(job), u"");
}

TEST_F(JobLean, PersonIdsComeBackAsTheyWere) {
  const char16_t* const texts[] = {u"a; b; c", u"a",   u"",   u"; ",   u"a; ", u"; a",    u"a; ; b",
                                   u" a ; b",  u"a;b", u"a;", u"a;;b", u";  ", u"a\nb; c"};
  for (const char16_t* text : texts) {
    CJobLean job(FALSE);
    job.SetPersonIds(text);
    EXPECT_EQ(Narrow(job.GetPersonIds().c_str()), Narrow(text));
  }
}

TEST_F(JobLean, PersonIdsAreOneEntryEach) {
  CJobLean job(FALSE);
  job.SetPersonIds(u"a; b; c");
  EXPECT_EQ(RecordPeek::PersonCount(job), 3);
  job.SetPersonIds(u"a;b");
  EXPECT_EQ(RecordPeek::PersonCount(job), 1);
  job.SetPersonIds(u"");
  EXPECT_EQ(RecordPeek::PersonCount(job), 0);
}

TEST_F(JobLean, PersonIdsInAnotherOrderAreNoChange) {
  CJobLean job(FALSE);
  job.SetPersonIds(u"a; b");
  job.SetModified(FALSE);
  job.SetPersonIds(u"b; a");
  EXPECT_FALSE(RecordPeek::IsModified(job));
  EXPECT_EQ(Narrow(job.GetPersonIds().c_str()), "a; b");
  job.SetPersonIds(u"a; a");
  EXPECT_EQ(Narrow(job.GetPersonIds().c_str()), "a; a") << "b is missing in the new list";
  job.SetModified(FALSE);
  job.SetPersonIds(u"a; b");
  EXPECT_FALSE(RecordPeek::IsModified(job)) << "each of the old entries is in the new list";
}

TEST_F(JobLean, SetModifiedStampsOnlyWhenOn) {
  CJobLean job(FALSE);
  device.StepClockMilliseconds(5000);
  job.SetModified(FALSE);
  EXPECT_EQ(Ticks(job.GetModificationTime()), kStartTicks);
  job.SetModified(TRUE);
  EXPECT_EQ(Ticks(job.GetModificationTime()), kStartTicks + 5000 * kTicksPerMillisecond);
  EXPECT_TRUE(RecordPeek::IsModified(job));
}

TEST_F(JobLean, LocalDayIsStoredAsItCame) {
  CJobLean job(FALSE);
  job.SetLocalDayAsFileTime(TicksToTime(0x0123456789ABCDEF));
  EXPECT_EQ(Ticks(job.GetLocalDayAsFileTime()), 0x0123456789ABCDEFu);
  EXPECT_TRUE(RecordPeek::IsModified(job));
}

TEST_F(JobLean, ComparesBothHalvesOfTimes) {
  constexpr uint64_t kTime = 0x01DCAA9C'85E88320;
  void (CJobLean::*const setters[])(FILETIME) = {&CJobLean::SetStartTime, &CJobLean::SetEndTime,
                                                 &CJobLean::SetLocalDayAsFileTime};
  for (const auto set : setters) {
    for (const uint64_t other : {kTime + 1, kTime + (uint64_t{1} << 32)}) {
      CJobLean job(FALSE);
      (job.*set)(TicksToTime(kTime));
      job.SetModified(FALSE);
      (job.*set)(TicksToTime(other));
      EXPECT_TRUE(RecordPeek::IsModified(job)) << other;
    }
  }
}

TEST_F(JobLean, KeepsTextsOfAnyLength) {
  CJobLean job(FALSE);
  for (const size_t length : {0u, 1u, 39u, 40u, 259u, 260u, 30'000u}) {
    const std::u16string text(length, u'\u00e4');
    job.SetWorkTypeId(text.c_str());
    job.SetComment(text.c_str());
    EXPECT_EQ(job.GetWorkTypeId().c_str(), text);
    EXPECT_EQ(job.GetComment().c_str(), text);
  }
}

}  // namespace
}  // namespace wkt::test
