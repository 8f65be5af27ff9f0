#include <gtest/gtest.h>

#include <vector>

#include "WktCommon/JobLean.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/RecordPeek.h"
#include "tests/support/Samples.h"

namespace wkt::test {
namespace {

enum class Stamps { Yes, No };

// One setter, once with a value that differs from a sample's and once with the sample's own.
struct Setter {
  const char* name;
  Stamps stamps;
  void (*change)(CJobLean& job);
  void (*keep)(CJobLean& job);
};

// A getter and its setter, with the value of another sample.
template <auto get, auto set>
constexpr Setter TextSetter(const char* name) {
  return {name, Stamps::Yes,
          [](CJobLean& job) { (job.*set)((MakeSampleJob(2).get()->*get)().c_str()); },
          [](CJobLean& job) { (job.*set)((job.*get)().c_str()); }};
}
template <auto get, auto set>
constexpr Setter ValueSetter(const char* name) {
  return {name, Stamps::Yes, [](CJobLean& job) { (job.*set)((MakeSampleJob(2).get()->*get)()); },
          [](CJobLean& job) { (job.*set)((job.*get)()); }};
}
template <auto get, auto set>
constexpr Setter FlagSetter(const char* name, Stamps stamps) {
  return {name, stamps, [](CJobLean& job) { (job.*set)(!(job.*get)()); },
          [](CJobLean& job) { (job.*set)((job.*get)()); }};
}
template <auto get, auto set, int index>
constexpr Setter IndexedFlagSetter(const char* name, Stamps stamps) {
  return {name, stamps, [](CJobLean& job) { (job.*set)(index, !(job.*get)(index)); },
          [](CJobLean& job) { (job.*set)(index, (job.*get)(index)); }};
}

const Setter kSetters[] = {
    TextSetter<&CJobLean::GetJobId, &CJobLean::SetJobId>("JobId"),
    {"VersionNumber", Stamps::Yes, [](CJobLean& job) { job.SetVersionNumber(24); },
     [](CJobLean& job) { job.SetVersionNumber(23); }},
    TextSetter<&CJobLean::GetTitle, &CJobLean::SetTitle>("Title"),
    TextSetter<&CJobLean::GetComment, &CJobLean::SetComment>("Comment"),
    TextSetter<&CJobLean::GetWorkTypeId, &CJobLean::SetWorkTypeId>("WorkTypeId"),
    TextSetter<&CJobLean::GetProjectId, &CJobLean::SetProjectId>("ProjectId"),
    TextSetter<&CJobLean::GetTeamworkId, &CJobLean::SetTeamworkId>("TeamworkId"),
    ValueSetter<&CJobLean::GetStartTime, &CJobLean::SetStartTime>("StartTime"),
    ValueSetter<&CJobLean::GetEndTime, &CJobLean::SetEndTime>("EndTime"),
    TextSetter<&CJobLean::GetPersonIds, &CJobLean::SetPersonIds>("PersonIds"),
    ValueSetter<&CJobLean::GetFlags, &CJobLean::SetFlags>("Flags"),
    IndexedFlagSetter<&CJobLean::GetUserFlag, &CJobLean::SetUserFlag, 0>("UserFlag0", Stamps::Yes),
    IndexedFlagSetter<&CJobLean::GetUserFlag, &CJobLean::SetUserFlag, 1>("UserFlag1", Stamps::Yes),
    FlagSetter<&CJobLean::GetFlag3, &CJobLean::SetFlag3>("Flag3", Stamps::Yes),
    IndexedFlagSetter<&CJobLean::GetPartnerFlag, &CJobLean::SetPartnerFlag, 0>("PartnerFlag0",
                                                                               Stamps::No),
    IndexedFlagSetter<&CJobLean::GetPartnerFlag, &CJobLean::SetPartnerFlag, 1>("PartnerFlag1",
                                                                               Stamps::No),
    FlagSetter<&CJobLean::GetFlag6, &CJobLean::SetFlag6>("Flag6", Stamps::No),
    ValueSetter<&CJobLean::GetUnused2, &CJobLean::SetUnused2>("Unused2"),
    TextSetter<&CJobLean::GetUnused3, &CJobLean::SetUnused3>("Unused3"),
    ValueSetter<&CJobLean::GetLocalDayAsFileTime, &CJobLean::SetLocalDayAsFileTime>("LocalDay"),
};

class CountingObserver : public JobObserver {
 public:
  void OnJobChanged(CJobLean& job) override {
    ++count;
    seenTime = Ticks(job.GetModificationTime());
  }
  int count = 0;
  uint64_t seenTime = 0;
};

class JobChangeRule : public DeskDeviceTest {
 protected:
  JobChangeRule() { job->SetObserver(&observer); }
  std::unique_ptr<CJobLean> job = MakeSampleJob();
  const uint64_t before = Ticks(job->GetModificationTime());
  CountingObserver observer;
};

TEST_F(JobChangeRule, EffectiveChangeMarksStampsAndTells) {
  for (const Setter& setter : kSetters) {
    job->SetModificationTime(TicksToTime(before), FALSE);
    job->SetModified(FALSE);
    observer.count = 0;
    setter.change(*job);
    const bool stamps = setter.stamps == Stamps::Yes;
    EXPECT_EQ(RecordPeek::IsModified(*job), stamps) << setter.name;
    EXPECT_EQ(Ticks(job->GetModificationTime()), stamps ? kStartTicks : before) << setter.name;
    EXPECT_EQ(observer.count, stamps ? 1 : 0) << setter.name;
    if (stamps) {
      EXPECT_EQ(observer.seenTime, kStartTicks) << setter.name << ": told after the stamp";
    }
  }
}

TEST_F(JobChangeRule, EqualValueDoesNothing) {
  for (const Setter& setter : kSetters) {
    setter.keep(*job);
    EXPECT_FALSE(RecordPeek::IsModified(*job)) << setter.name;
    EXPECT_EQ(Ticks(job->GetModificationTime()), before) << setter.name;
    EXPECT_EQ(observer.count, 0) << setter.name;
  }
  ExpectSampleJob(*job);
}

TEST_F(JobChangeRule, SecondChangeInTheSameSecondTellsAgain) {
  job->SetTitle(u"a");
  job->SetTitle(u"b");
  EXPECT_EQ(observer.count, 2);
}

TEST_F(JobChangeRule, SetModificationTimeTellsOfADifferentTimeOrWhenForced) {
  job->SetModificationTime(TicksToTime(before), FALSE);
  EXPECT_EQ(observer.count, 0);
  job->SetModificationTime(TicksToTime(before), TRUE);
  EXPECT_EQ(observer.count, 1);
  job->SetModificationTime(TicksToTime(before + 1), FALSE);
  EXPECT_EQ(observer.count, 2);
  EXPECT_EQ(Ticks(job->GetModificationTime()), before + 1);
  EXPECT_FALSE(RecordPeek::IsModified(*job));
}

TEST_F(JobChangeRule, TimesThatDifferInTheirHighHalvesOnlyDiffer) {
  constexpr uint64_t kHighHalf = uint64_t{1} << 32;
  job->SetModificationTime(TicksToTime(before + kHighHalf), FALSE);
  EXPECT_EQ(observer.count, 1);
  job->SetStartTime(TicksToTime(Ticks(job->GetStartTime()) + kHighHalf));
  EXPECT_EQ(observer.count, 2);
  EXPECT_TRUE(RecordPeek::IsModified(*job));
}

TEST_F(JobChangeRule, SetModifiedTellsThoughNoFieldChanged) {
  job->SetModified(TRUE);
  EXPECT_EQ(observer.count, 1);
  job->SetModified(FALSE);
  EXPECT_EQ(observer.count, 1);
}

// A fill puts the reading of the clock off. Nobody may notice.
class JobFill : public JobChangeRule {};

TEST_F(JobFill, StoredTimeAppliedLastRemains) {
  job->SetObserver(nullptr);
  {
    const FillScope<CJobLean> filling(*job);
    job->SetTitle(u"a");
    job->SetModificationTime(TicksToTime(5), FALSE);
  }
  EXPECT_EQ(Ticks(job->GetModificationTime()), 5u);
  EXPECT_TRUE(RecordPeek::IsModified(*job));
}

TEST_F(JobFill, StoredTimeEqualToTheOldOneRemainsToo) {
  job->SetObserver(nullptr);
  {
    const FillScope<CJobLean> filling(*job);
    job->SetTitle(u"a");
    job->SetModificationTime(TicksToTime(before), FALSE);
  }
  EXPECT_EQ(Ticks(job->GetModificationTime()), before);
}

TEST_F(JobFill, WithoutAStoredTimeTheRecordIsStampedAtTheEnd) {
  job->SetObserver(nullptr);
  {
    const FillScope<CJobLean> filling(*job);
    job->SetTitle(u"a");
    device.StepClockMilliseconds(2000);
    job->SetComment(u"b");
  }
  EXPECT_EQ(Ticks(job->GetModificationTime()), kStartTicks + 20'000'000);
  device.StepClockMilliseconds(2000);
  EXPECT_EQ(Ticks(job->GetModificationTime()), kStartTicks + 20'000'000) << "read once";
}

TEST_F(JobFill, ChangingNothingStampsNothing) {
  job->SetObserver(nullptr);
  {
    const FillScope<CJobLean> filling(*job);
    job->SetTitle(job->GetTitle().c_str());
  }
  EXPECT_EQ(Ticks(job->GetModificationTime()), before);
}

TEST_F(JobFill, ReadingTheTimeInBetweenGivesTheStamp) {
  job->SetObserver(nullptr);
  const FillScope<CJobLean> filling(*job);
  job->SetTitle(u"a");
  EXPECT_EQ(Ticks(job->GetModificationTime()), kStartTicks);
}

TEST_F(JobFill, ChangeAfterTheFillStampsAtOnce) {
  job->SetObserver(nullptr);
  { const FillScope<CJobLean> filling(*job); }
  job->SetTitle(u"a");
  device.StepClockMilliseconds(2000);
  EXPECT_EQ(Ticks(job->GetModificationTime()), kStartTicks);
}

TEST_F(JobFill, StoredTimeOfARecordWithoutAnythingElseIsItsTime) {
  CJobLean fresh(FALSE);
  {
    const FillScope<CJobLean> filling(fresh);
    fresh.SetModificationTime(TicksToTime(5), FALSE);
  }
  EXPECT_EQ(Ticks(fresh.GetModificationTime()), 5u);
  EXPECT_FALSE(RecordPeek::IsModified(fresh));
}

// A fresh record's times are made when somebody asks. An observer is told of changes only, so they
// have to be there when a stored time is held against them.
TEST_F(JobFill, ObserverOfAFreshRecordIsToldOfATimeThatDiffersOnly) {
  CJobLean fresh(FALSE);
  fresh.SetObserver(&observer);
  const FillScope<CJobLean> filling(fresh);
  fresh.SetModificationTime(TicksToTime(kStartTicks), FALSE);
  fresh.SetStartTime(TicksToTime(kStartTicks));
  EXPECT_EQ(observer.count, 0);
  fresh.SetStartTime(TicksToTime(kStartTicks + 1));
  EXPECT_EQ(observer.count, 1);
}

TEST_F(JobFill, ObserverSeesEachChange) {
  const FillScope<CJobLean> filling(*job);
  job->SetTitle(u"a");
  EXPECT_EQ(observer.count, 1);
  EXPECT_EQ(observer.seenTime, kStartTicks);
  job->SetComment(u"b");
  EXPECT_EQ(observer.count, 2);
}

}  // namespace
}  // namespace wkt::test
