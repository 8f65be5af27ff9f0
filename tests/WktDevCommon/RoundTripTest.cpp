#include <gtest/gtest.h>

#include <rapidcheck.h>
#include <rapidcheck/gtest.h>
#include <memory>

#include "WktCommon/WktTypeKinds.h"
#include "WktDevCommon/JobDatabase.h"
#include "WktDevCommon/WktTypeDatabase.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/RandomItem.h"
#include "tests/support/RawDatabase.h"
#include "tests/support/Samples.h"

// Records with fields at their extremes, through the databases and back.
namespace {

using wkt::test::TicksToTime;

constexpr int kMin = -2147483647 - 1;
constexpr int kMax = 2147483647;
constexpr uint64_t kTimes[] = {
    1,           (uint64_t{1} << 31) - 1, uint64_t{1} << 31, uint64_t{1} << 32, uint64_t{1} << 63,
    ~uint64_t{0}};

const std::u16string kTexts[] = {u"",
                                 u"x",
                                 std::u16string(259, u'a'),
                                 std::u16string(260, u'b'),
                                 std::u16string(30'000, u'c'),
                                 u"\xD83D\xDE00 pair and \xD83D alone",
                                 u"line 1\nline 2\r\n\n",
                                 u"  blanks at the ends  ",
                                 std::u16string(39, u'i')};

class RoundTrip : public wkt::test::DeskDeviceTest {
 protected:
  RoundTrip() : jobs(u"WktDevJobs"), types(u"WktDevTypes") {
    EXPECT_TRUE(jobs.Open(TRUE));
    EXPECT_TRUE(types.Open(TRUE));
  }

  // Added, read, modified with what was read, read again.
  void ExpectBack(CJobLean& job) {
    const CEOID oid = jobs.AddJob(&job, TRUE);
    ASSERT_NE(oid, 0u);
    for (int i = 0; i < 2; ++i) {
      CJobLean* found = nullptr;
      ASSERT_EQ(jobs.FindJob(oid, &found, TRUE), oid);
      const std::unique_ptr<CJobLean> owned(found);
      wkt::test::ExpectEqualJobs(*found, job);
      EXPECT_TRUE(jobs.ModifyJob(oid, found, TRUE));
    }
    EXPECT_TRUE(jobs.DeleteJob(oid, TRUE));
  }
  void ExpectBack(CWktTypeLean& type) {
    const CEOID oid = types.AddWktType(&type, TRUE);
    ASSERT_NE(oid, 0u);
    for (int i = 0; i < 2; ++i) {
      CWktTypeLean* found = nullptr;
      ASSERT_EQ(types.FindWktType(oid, &found, TRUE), oid);
      const wkt::TypePtr owned(found);
      wkt::test::ExpectEqualTypes(*found, type);
      EXPECT_TRUE(types.ModifyWktType(oid, found, TRUE));
    }
  }

  CJobDatabase jobs;
  CWktTypeDatabase types;
};

TEST_F(RoundTrip, BringsBackEachTextOfAJob) {
  using Setter = void (CJobLean::*)(const WCHAR*);
  for (const Setter set :
       {&CJobLean::SetJobId, &CJobLean::SetTitle, &CJobLean::SetComment, &CJobLean::SetWorkTypeId,
        &CJobLean::SetProjectId, &CJobLean::SetTeamworkId, &CJobLean::SetPersonIds,
        &CJobLean::SetUnused3}) {
    for (const std::u16string& text : kTexts) {
      const std::unique_ptr<CJobLean> job = wkt::test::MakeSampleJob();
      ((*job).*set)(text.c_str());
      job->SetModificationTime(TicksToTime(77), FALSE);
      ExpectBack(*job);
    }
  }
}

TEST_F(RoundTrip, BringsBackEachTextOfAType) {
  using Setter = void (CWktTypeLean::*)(const WCHAR*);
  for (const Setter set :
       {&CWktTypeLean::SetId, &CWktTypeLean::SetName1, &CWktTypeLean::SetName2,
        &CWktTypeLean::SetComment, &CWktTypeLean::SetUnused1, &CWktTypeLean::SetUnused2}) {
    for (const std::u16string& text : kTexts) {
      const wkt::TypePtr type = wkt::test::MakeSampleType(5);
      ((*type).*set)(text.c_str());
      type->SetModificationTime(TicksToTime(77), FALSE);
      ExpectBack(*type);
    }
  }
}

TEST_F(RoundTrip, BringsBackTimesAtTheirLimits) {
  for (const uint64_t ticks : kTimes) {
    const std::unique_ptr<CJobLean> job = wkt::test::MakeSampleJob();
    job->SetStartTime(TicksToTime(ticks));
    job->SetEndTime(TicksToTime(ticks));
    job->SetLocalDayAsFileTime(TicksToTime(ticks));
    job->SetModificationTime(TicksToTime(ticks), FALSE);
    ExpectBack(*job);
    const wkt::TypePtr type = wkt::test::MakeSampleType(2);
    type->SetCreationTime(TicksToTime(ticks));
    type->SetUnused5(TicksToTime(ticks));
    type->SetModificationTime(TicksToTime(ticks), FALSE);
    ExpectBack(*type);
  }
  const std::unique_ptr<CJobLean> job = wkt::test::MakeSampleJob();
  job->SetStartTime(TicksToTime(0));
  job->SetEndTime(TicksToTime(0));
  job->SetLocalDayAsFileTime(TicksToTime(0));
  job->SetModificationTime(TicksToTime(1), FALSE);
  ExpectBack(*job);
  const wkt::TypePtr type = wkt::test::MakeSampleType(2);
  type->SetCreationTime(TicksToTime(0));
  type->SetUnused5(TicksToTime(0));
  type->SetModificationTime(TicksToTime(1), FALSE);
  ExpectBack(*type);
}

TEST_F(RoundTrip, AModificationTimeOfZeroIsNotRestored) {
  const wkt::TypePtr type = wkt::test::MakeSampleType(2);
  type->SetModificationTime(TicksToTime(0), FALSE);
  const CEOID oid = types.AddWktType(type.get(), TRUE);
  device.StepClockMilliseconds(60'000);
  CWktTypeLean* found = nullptr;
  ASSERT_EQ(types.FindWktType(oid, &found, TRUE), oid);
  const wkt::TypePtr owned(found);
  EXPECT_EQ(wkt::test::Ticks(found->GetModificationTime()), wkt::test::kStartTicks + 600'000'000u);
}

TEST_F(RoundTrip, BringsBackNumbersAtTheirLimits) {
  for (const int number : {kMin, -2, -1, 0, kMax}) {
    const std::unique_ptr<CJobLean> job = wkt::test::MakeSampleJob();
    job->SetVersionNumber(number);
    job->SetUnused2(number);
    job->SetModificationTime(TicksToTime(77), FALSE);
    ExpectBack(*job);
    const wkt::TypePtr type = wkt::test::MakeSampleType(1);
    type->SetVersionNumber(static_cast<DWORD>(number));
    type->SetUseCount(number);
    type->SetUnused3(number);
    type->SetUnused4(number);
    type->SetModificationTime(TicksToTime(77), FALSE);
    ExpectBack(*type);
  }
}

// Items are written into the record's text, stored with it, and read back out of it.
RC_GTEST_FIXTURE_PROP(RoundTrip, BringsBackTheItemsOfARecord, ()) {
  const int count = *rc::gen::inRange(0, 6);
  wkt::test::OwnedItems items;
  CWktTypeKind5 record(FALSE);
  for (int i = 0; i < count; ++i)
    items.push_back(wkt::test::MakeRandomItem());
  record.SetItemList(&items);
  const CEOID oid = types.AddWktType(&record, TRUE);
  RC_ASSERT(oid != 0u);
  CWktTypeLean* found = nullptr;
  RC_ASSERT(types.FindWktType(oid, &found, TRUE) == oid);
  const wkt::TypePtr owned(found);
  auto* const back = static_cast<CWktTypeKind5*>(found);
  wkt::test::OwnedItems read;
  const std::u16string text = back->GetUnused1().c_str();
  back->SetItemList(&read);
  back->SetUnused1(text.c_str());
  RC_ASSERT(read.size() == items.size());
  for (size_t i = 0; i < items.size(); ++i) {
    wkt::test::ExpectEqualTypes(*read[i], *items[i]);
    RC_ASSERT(read[i]->GetOwner() == back);
  }
  RC_ASSERT(!HasFailure());
  // And the same text again.
  RC_ASSERT(back->GetUnused1().Equals(text.c_str()));
  record.SetItemList(nullptr);
  back->SetItemList(nullptr);
}

}  // namespace
