#include "WktDevCommon/JobDatabase.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "tests/WktDevCommon/DatabaseTest.h"
#include "tests/support/RawDatabase.h"
#include "tests/support/RecordedCalls.h"

namespace {

using wkt::test::ExpectLog;
using wkt::test::FailingCall;
using wkt::test::RawDatabase;
using wkt::test::RawJob;
using wkt::test::RawRecord;
using wkt::test::RecordedCalls;

FILETIME Time(uint64_t ticks) {
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}
uint64_t Ticks(FILETIME time) {
  return (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}
std::u16string Text(const WideString& text) {
  return text.c_str();
}

class JobDatabase : public DatabaseTest {
 protected:
  JobDatabase() : database(u"WktDevJobs") { EXPECT_TRUE(database.Open(TRUE)); }

  std::unique_ptr<CJobLean> Find(CEOID oid) {
    CJobLean* found = nullptr;
    EXPECT_EQ(database.FindJob(oid, &found, TRUE), oid);
    return std::unique_ptr<CJobLean>(found);
  }
  RawRecord Stored(CEOID oid) { return RawDatabase(u"WktDevJobs").Read(oid).value_or(RawRecord()); }

  // How the log tells that "J1" was given the title "Other", with these last lines.
  static Lines Modification(const Lines& end) {
    Lines whole = {
        ">CJobDatabase::ModifyJob",          "512 Job id = 'J1'; Title = 'Other'",
        ">CJobDatabase::AllocPropertyArray", "<CJobDatabase::AllocPropertyArray",
        ">CJobDatabase::FillPropValArray",   "256 Title = Other",
        "256 Local day = 3/2/26 00:00",      "<CJobDatabase::FillPropValArray",
    };
    whole.insert(whole.end(), end.begin(), end.end());
    whole.emplace_back("<CJobDatabase::ModifyJob");
    return whole;
  }

  CJobDatabase database;
};

TEST_F(JobDatabase, WritesEveryFieldIntoItsProperty) {
  CJobLean job(FALSE);
  job.SetJobId(u"J1");
  job.SetVersionNumber(7);
  job.SetTitle(u"Title");
  job.SetComment(u"Line 1\nLine 2");
  job.SetStartTime(Time(10));
  job.SetEndTime(Time(20));
  job.SetPersonIds(u"P1; P2");
  job.SetFlags(u"1011110000000000009");
  job.SetUnused2(-77);
  job.SetUnused3(u"spare text");
  job.SetLocalDayAsFileTime(Time(30));
  job.SetWorkTypeId(u"W");
  job.SetProjectId(u"P");
  job.SetTeamworkId(u"T");
  job.SetModificationTime(Time(40), FALSE);
  const CEOID oid = database.AddJob(&job, TRUE);
  RawRecord expected;
  expected.Set(0x4000001F, u"J1").Set(0x40010003, 7).Set(0x40020040, uint64_t{40});
  expected.Set(0x4003001F, u"Title").Set(0x4004001F, u"Line 1\nLine 2");
  expected.Set(0x40050003, -2).Set(0x40060003, -2).Set(0x40070003, -2);
  expected.Set(0x40080040, uint64_t{10}).Set(0x40090040, uint64_t{20});
  expected.Set(0x400A001F, u"P1; P2").Set(0x400B001F, u"1011110000000000009");
  expected.Set(0x400C000B, 1).Set(0x400D000B, 0).Set(0x400E000B, 0).Set(0x400F000B, 1);
  expected.Set(0x40100003, -77).Set(0x4011001F, u"spare text").Set(0x40120040, uint64_t{30});
  expected.Set(0x4013001F, u"W").Set(0x4014001F, u"P").Set(0x4015001F, u"T");
  EXPECT_EQ(Stored(oid).Describe(), expected.Describe());
}

TEST_F(JobDatabase, ReadsBackWhatItWroteWithItsModificationTime) {
  CJobLean job(TRUE);
  job.SetTitle(u"Title");
  job.SetPersonIds(u"a; b; c");
  job.SetFlags(u"1101101000000000001");
  job.SetLocalDayAsFileTime(Time(864000000000));
  job.SetModificationTime(Time(12345), FALSE);
  const CEOID oid = database.AddJob(&job, TRUE);
  device.StepClockMilliseconds(60'000);
  const std::unique_ptr<CJobLean> found = Find(oid);
  EXPECT_EQ(Text(found->GetJobId()), Text(job.GetJobId()));
  EXPECT_EQ(Text(found->GetTitle()), u"Title");
  EXPECT_EQ(Text(found->GetPersonIds()), u"a; b; c");
  EXPECT_EQ(std::u16string(found->GetFlags()), u"1101101000000000001");
  EXPECT_TRUE(found->GetUserFlag(0));
  EXPECT_TRUE(found->GetUserFlag(1));
  EXPECT_TRUE(found->GetFlag3());
  EXPECT_TRUE(found->GetPartnerFlag(0));
  EXPECT_FALSE(found->GetPartnerFlag(1));
  EXPECT_TRUE(found->GetFlag6());
  EXPECT_EQ(Ticks(found->GetLocalDayAsFileTime()), 864000000000u);
  EXPECT_EQ(Ticks(found->GetModificationTime()), 12345u);
}

TEST_F(JobDatabase, AStoredModificationTimeOfZeroReadsAsTheTimeOfReading) {
  RawDatabase raw(u"WktDevJobs");
  const CEOID oid = raw.Add(RawJob(u"J1").Set(0x40020040, uint64_t{0}));
  device.StepClockMilliseconds(60'000);
  EXPECT_EQ(Ticks(Find(oid)->GetModificationTime()), wkt::test::kStartTicks + 600'000'000u);
}

TEST_F(JobDatabase, TheOwnPropertiesOfThreeFlagsWinOverTheFlagText) {
  RawDatabase raw(u"WktDevJobs");
  const CEOID oid = raw.Add(RawJob(u"J1")
                                .Set(0x400B001F, u"1111111111111111111")
                                .Set(0x400C000B, 0)
                                .Set(0x400D000B, 1)
                                .Set(0x400E000B, 1)
                                .Set(0x400F000B, 0));
  EXPECT_EQ(std::u16string(Find(oid)->GetFlags()), u"0110111111111111111");
}

TEST_F(JobDatabase, KeepsJobsByDayThenStart) {
  RawDatabase raw(u"WktDevJobs");
  const auto add = [&](uint64_t day, uint64_t start) {
    return raw.Add(RawJob(u"J").Set(0x40120040, day).Set(0x40080040, start));
  };
  const CEOID later = add(200, 1);
  const CEOID afternoon = add(100, 9);
  const CEOID morning = add(100, 8);
  EXPECT_EQ(raw.List(), (std::vector<CEOID>{morning, afternoon, later}));
}

TEST_F(JobDatabase, FindsNothingForIdentifierZeroWithoutACall) {
  CJobLean* found = reinterpret_cast<CJobLean*>(&database);
  RecordedCalls calls;
  EXPECT_EQ(database.FindJob(0, &found, FALSE), 0u);
  EXPECT_EQ(calls.Take(), Lines{});
  EXPECT_EQ(found, reinterpret_cast<CJobLean*>(&database));
}

TEST_F(JobDatabase, ReadsWithTheseCallsAndFreesTheBuffer) {
  const CEOID oid = RawDatabase(u"WktDevJobs").Add(RawJob(u"J1"));
  const std::string number = std::to_string(oid);
  RecordedCalls calls;
  const std::unique_ptr<CJobLean> found = Find(oid);
  EXPECT_EQ(calls.Take(), (Lines{
                              "WaitForSingleObject(ptr, 10000)",
                              "CeSeekDatabase(ptr, 1, " + number + ", ptr)",
                              "CeReadRecordPropsEx(ptr, 1, ptr, null, ptr, ptr, null)",
                              "LocalFree(ptr)",
                              "ReleaseMutex(ptr)",
                          }));
}

TEST_F(JobDatabase, LogsARead) {
  const CEOID oid = RawDatabase(u"WktDevJobs").Add(RawJob(u"J1"));
  log.Take();
  const std::unique_ptr<CJobLean> found = Find(oid);
  ExpectLog(log, {
                     ">CJobDatabase::FindJob",
                     ">CJobDatabase::CreateRecord",
                     ">CJobLean::CJobLean",
                     "4 Make new = 1",
                     "512 this = A1",
                     ">CWktUtilLean::CreateGUID",
                     ">CWktUtilLean::CreateOwnGUID",
                     "<CWktUtilLean::CreateOwnGUID",
                     "8 Guid = G1",
                     "<CWktUtilLean::CreateGUID",
                     "512 Job id = 'G1'",
                     "<CJobLean::CJobLean",
                     "<CJobDatabase::CreateRecord",
                     ">CJobDatabase::FillJobBase",
                     "256 Title = 'Title'",
                     "256 Local day = 3/2/26 00:00",
                     "<CJobDatabase::FillJobBase",
                     "<CJobDatabase::FindJob",
                 });
}

// The day is told as it is read, and once more by the record that it changes.
TEST_F(JobDatabase, LogsADayThatIsNotTodayTwice) {
  const uint64_t yesterday = (155287ull * 24) * 3600 * 10'000'000;
  const CEOID oid = RawDatabase(u"WktDevJobs").Add(RawJob(u"J1").Set(0x40120040, yesterday));
  log.Take();
  const std::unique_ptr<CJobLean> found = Find(oid);
  const Lines lines = log.Take();
  const auto from = std::find(lines.begin(), lines.end(), ">CJobDatabase::FillJobBase");
  EXPECT_EQ(Lines(from, lines.end()),
            (Lines{">CJobDatabase::FillJobBase", "256 Title = 'Title'",
                   "256 Local day = 3/1/26 00:00", "256 Local day = 3/1/26 00:00",
                   "<CJobDatabase::FillJobBase", "<CJobDatabase::FindJob"}));
}

TEST_F(JobDatabase, LogsNothingOfARecordThatIsNotThere) {
  const CEOID oid = RawDatabase(u"WktDevJobs").Add(RawJob(u"J1"));
  const Lines whole = {">CJobDatabase::FindJob", "<CJobDatabase::FindJob"};
  CJobLean* found = nullptr;
  log.Take();
  for (const CEOID missing : {CEOID{0}, oid + 1000, database.GetOid()}) {
    EXPECT_EQ(database.FindJob(missing, &found, TRUE), 0u) << missing;
    ExpectLog(log, whole);
  }
  for (const char* call : {"CeSeekDatabase", "CeReadRecordPropsEx"}) {
    const FailingCall failure(call, 1, ERROR_KEY_DELETED);
    EXPECT_EQ(database.FindJob(oid, &found, TRUE), 0u) << call;
    EXPECT_TRUE(failure.Happened()) << call;
    ExpectLog(log, whole);
  }
  EXPECT_EQ(found, nullptr);
}

TEST_F(JobDatabase, LogsAnAddition) {
  CJobLean job(FALSE);
  job.SetJobId(u"J1");
  job.SetTitle(u"New job");
  log.Take();
  const CEOID oid = database.AddJob(&job, TRUE);
  ExpectLog(log, {
                     ">CJobDatabase::AddJob",
                     "512 Job id = 'J1'; Title = 'New job'",
                     ">CJobDatabase::FillPropValArray",
                     "256 Title = New job",
                     "256 Local day = 3/2/26 00:00",
                     "<CJobDatabase::FillPropValArray",
                     "8 Result (CEOID) = " + std::to_string(oid),
                     "<CJobDatabase::AddJob",
                 });
}

TEST_F(JobDatabase, LogsAModification) {
  const CEOID oid = RawDatabase(u"WktDevJobs").Add(RawJob(u"J1"));
  const std::unique_ptr<CJobLean> job = Find(oid);
  job->SetTitle(u"Other");
  device.StepClockMilliseconds(1'000);
  job->SetComment(u"stamped 09:00:01 in Vienna");
  log.Take();
  RecordedCalls calls;
  EXPECT_EQ(database.ModifyJob(oid, job.get(), TRUE), TRUE);
  EXPECT_EQ(calls.Take(), (Lines{"WaitForSingleObject(ptr, 10000)",
                                 "CeWriteRecordProps(ptr, " + std::to_string(oid) + ", 22, ptr)",
                                 "ReleaseMutex(ptr)"}));
  ExpectLog(log, Modification({
                     "512 Modification time = 3/2/26 09:00:01",
                     "8 Result (bool) = 1",
                 }));
  EXPECT_EQ(Stored(oid).Text(0x4003001F), u"Other");
}

// The clock stands in winter: an instant in summer is shown where the user is and by the bias of
// its date, a local day as it stands.
TEST_F(JobDatabase, LogsTimesOfTheOtherHalfOfTheYear) {
  const uint64_t midnight = 155423ull * 24 * 3600 * 10'000'000;  // 15 July 2026
  const uint64_t night = midnight + (23 * 60 + 30) * 60ull * 10'000'000;
  struct Case {
    const char* zone;
    const char* modified;  // 15 July 2026 23:30 in UTC
  };
  for (const Case& c : {Case{"Europe/Vienna", "512 Modification time = 7/16/26 01:30:00"},
                        Case{"America/New_York", "512 Modification time = 7/15/26 19:30:00"}}) {
    device.SetZone(c.zone, 2026);
    const CEOID oid = RawDatabase(u"WktDevJobs").Add(RawJob(u"J1").Set(0x40120040, midnight));
    const std::unique_ptr<CJobLean> job = Find(oid);
    job->SetModificationTime(Time(night), FALSE);
    log.Take();
    EXPECT_EQ(database.ModifyJob(oid, job.get(), TRUE), TRUE);
    const std::unique_ptr<CJobLean> again = Find(oid);
    const Lines lines = log.Take();
    EXPECT_EQ(LinesWith(lines, "Modification time = "), Lines{c.modified});
    EXPECT_EQ(LinesWith(lines, "Local day = "), Lines(3, "256 Local day = 7/15/26 00:00"));
  }
}

TEST_F(JobDatabase, RefusesToModifyNothing) {
  CJobLean job(FALSE);
  job.SetJobId(u"J1");
  log.Take();
  RecordedCalls calls;
  EXPECT_EQ(database.ModifyJob(0, &job, FALSE), FALSE);
  EXPECT_EQ(database.ModifyJob(5, nullptr, FALSE), FALSE);
  EXPECT_EQ(calls.Take(), Lines{});
  ExpectLog(log, {">CJobDatabase::ModifyJob", "512 Job id = 'J1'; Title = ''",
                  "8 Result (bool) = 0", "<CJobDatabase::ModifyJob", ">CJobDatabase::ModifyJob",
                  "512 Job id = 'NULL'; Title = 'NULL'", "8 Result (bool) = 0",
                  "<CJobDatabase::ModifyJob"});
}

TEST_F(JobDatabase, AddsNothingForANullRecord) {
  log.Take();
  RecordedCalls calls;
  EXPECT_EQ(database.AddJob(nullptr, TRUE), 0u);
  EXPECT_EQ(calls.Take(), (Lines{"WaitForSingleObject(ptr, 10000)", "ReleaseMutex(ptr)"}));
  ExpectLog(log, {">CJobDatabase::AddJob", "512 Job id = 'NULL'; Title = 'NULL'",
                  "8 Result (CEOID) = 0", "<CJobDatabase::AddJob"});
  EXPECT_EQ(RawDatabase(u"WktDevJobs").Count(), 0u);
}

TEST_F(JobDatabase, LogsARefusedAdditionWithThePlatformsCode) {
  CJobLean job(FALSE);
  job.SetTitle(u"New job");
  const FailingCall failure("CeWriteRecordProps", 1, ERROR_DISK_FULL);
  log.Take();
  EXPECT_EQ(database.AddJob(&job, TRUE), 0u);
  EXPECT_EQ(database.GetLastErrorCode(), 112u);
  ExpectLog(log, {">CJobDatabase::AddJob", "512 Job id = ''; Title = 'New job'",
                  ">CJobDatabase::FillPropValArray", "256 Title = New job",
                  "256 Local day = 3/2/26 00:00", "<CJobDatabase::FillPropValArray",
                  "16 Write failed; Error = 112", "8 Result (CEOID) = 0", "<CJobDatabase::AddJob"});
}

TEST_F(JobDatabase, LogsARefusedModificationAndLeavesTheRecord) {
  const CEOID oid = RawDatabase(u"WktDevJobs").Add(RawJob(u"J1"));
  const std::unique_ptr<CJobLean> job = Find(oid);
  job->SetTitle(u"Other");
  const FailingCall failure("CeWriteRecordProps", 1, ERROR_DISK_FULL);
  log.Take();
  EXPECT_EQ(database.ModifyJob(oid, job.get(), TRUE), FALSE);
  EXPECT_EQ(database.GetLastErrorCode(), 112u);
  ExpectLog(log, Modification({
                     "512 Modification time = 3/2/26 09:00:00",
                     "16 Write failed; Error = 112",
                     "8 Result (bool) = 0",
                 }));
  EXPECT_EQ(Stored(oid).Text(0x4003001F), u"Title");
  EXPECT_EQ(Text(job->GetTitle()), u"Other");
}

TEST_F(JobDatabase, DeletesWithoutALine) {
  const CEOID oid = RawDatabase(u"WktDevJobs").Add(RawJob(u"J1"));
  log.Take();
  EXPECT_EQ(database.DeleteJob(0, TRUE), FALSE);
  EXPECT_EQ(database.DeleteJob(oid, TRUE), TRUE);
  EXPECT_EQ(database.DeleteJob(oid, TRUE), FALSE);
  ExpectLog(log, {});
  EXPECT_EQ(RawDatabase(u"WktDevJobs").Count(), 0u);
}

TEST_F(JobDatabase, TakesTheMutexOnlyWhenAsked) {
  const CEOID oid = RawDatabase(u"WktDevJobs").Add(RawJob(u"J1"));
  const std::string number = std::to_string(oid);
  RecordedCalls calls;
  CJobLean* found = nullptr;
  EXPECT_EQ(database.FindJob(oid, &found, FALSE), oid);
  const std::unique_ptr<CJobLean> job(found);
  EXPECT_EQ(database.ModifyJob(oid, found, FALSE), TRUE);
  EXPECT_NE(database.AddJob(found, FALSE), 0u);
  EXPECT_EQ(database.DeleteJob(oid, FALSE), TRUE);
  EXPECT_EQ(calls.Take(),
            (Lines{"CeSeekDatabase(ptr, 1, " + number + ", ptr)",
                   "CeReadRecordPropsEx(ptr, 1, ptr, null, ptr, ptr, null)", "LocalFree(ptr)",
                   "CeWriteRecordProps(ptr, " + number + ", 22, ptr)",
                   "CeWriteRecordProps(ptr, 0, 22, ptr)", "CeDeleteRecord(ptr, " + number + ")"}));
}

TEST_F(JobDatabase, DoesNothingWhenClosed) {
  const CEOID oid = RawDatabase(u"WktDevJobs").Add(RawJob(u"J1"));
  database.CloseDatabase();
  CJobLean job(TRUE);
  CJobLean* found = nullptr;
  EXPECT_EQ(database.FindJob(oid, &found, TRUE), 0u);
  EXPECT_EQ(database.AddJob(&job, TRUE), 0u);
  EXPECT_EQ(database.ModifyJob(oid, &job, TRUE), FALSE);
  EXPECT_EQ(database.DeleteJob(oid, TRUE), FALSE);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(RawDatabase(u"WktDevJobs").Count(), 1u);
}

TEST_F(JobDatabase, AllocatesAnArrayOfAllIdentifiers) {
  log.Take();
  WORD count = 0;
  const std::unique_ptr<CEPROPVAL[]> values = CJobDatabase::AllocPropertyArray(&count);
  ASSERT_EQ(count, 22);
  EXPECT_EQ(values[0].propid, 0x4000001Fu);
  EXPECT_EQ(values[2].propid, 0x40020040u);
  EXPECT_EQ(values[14].propid, 0x400E000Bu);
  EXPECT_EQ(values[21].propid, 0x4015001Fu);
  for (int i = 0; i < 22; ++i)
    EXPECT_EQ(values[i].wFlags, 0);
  EXPECT_NE(CJobDatabase::AllocPropertyArray(nullptr), nullptr);
  ExpectLog(log, {">CJobDatabase::AllocPropertyArray", "<CJobDatabase::AllocPropertyArray",
                  ">CJobDatabase::AllocPropertyArray", "<CJobDatabase::AllocPropertyArray"});
}

TEST_F(JobDatabase, CreatesRecordsWithAndWithoutIdentifier) {
  const std::unique_ptr<CJobLean> empty(database.CreateRecord(FALSE));
  const std::unique_ptr<CJobLean> fresh(database.CreateRecord(TRUE));
  EXPECT_EQ(Text(empty->GetJobId()), u"");
  EXPECT_EQ(Text(fresh->GetJobId()).substr(0, 3), u"CE-");
}

}  // namespace
