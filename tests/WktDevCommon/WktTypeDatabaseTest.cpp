#include "WktDevCommon/WktTypeDatabase.h"

#include <gtest/gtest.h>

#include "WktDevCommon/RecordOperations.h"
#include "tests/WktDevCommon/DatabaseTest.h"
#include "tests/support/RawDatabase.h"
#include "tests/support/RecordedCalls.h"
#include "tests/support/Samples.h"

namespace {

using wkt::test::ExpectLog;
using wkt::test::FailingCall;
using wkt::test::RawDatabase;
using wkt::test::RawRecord;
using wkt::test::RawType;
using wkt::test::RecordedCalls;

class WktTypeDatabase : public DatabaseTest {
 protected:
  WktTypeDatabase() : database(u"WktDevTypes") { EXPECT_TRUE(database.Open(TRUE)); }

  wkt::TypePtr Find(CEOID oid) {
    CWktTypeLean* found = nullptr;
    EXPECT_EQ(database.FindWktType(oid, &found, TRUE), oid);
    return wkt::TypePtr(found);
  }
  RawRecord Stored(CEOID oid) {
    return RawDatabase(u"WktDevTypes").Read(oid).value_or(RawRecord());
  }

  CWktTypeDatabase database;
};

TEST_F(WktTypeDatabase, WritesEveryFieldIntoItsProperty) {
  const wkt::TypePtr type(database.CreateRecord(3, FALSE));
  type->SetId(u"T1");
  type->SetVersionNumber(0x80000000);
  type->SetCreationTime({1, 2});
  type->SetUseCount(-2147483647 - 1);
  type->SetName1(u"One");
  type->SetName2(u"Two");
  type->SetComment(std::u16string(300, u'c').c_str());
  type->SetFlags(u"1111111111111111111");
  type->SetUnused1(u"u1");
  type->SetUnused2(u"u2");
  type->SetUnused3(3);
  type->SetUnused4(2147483647);
  type->SetUnused5({0xFFFFFFFF, 0xFFFFFFFF});
  type->SetModificationTime({5, 6}, FALSE);
  const CEOID oid = database.AddWktType(type.get(), TRUE);
  RawRecord expected;
  expected.Set(0x40200003, 3).Set(0x4021001F, u"T1").Set(0x40220003, -2147483647 - 1);
  expected.Set(0x40230040, (uint64_t{6} << 32) + 5).Set(0x40240040, (uint64_t{2} << 32) + 1);
  expected.Set(0x40250003, -2147483647 - 1).Set(0x4026001F, u"One").Set(0x4027001F, u"Two");
  expected.Set(0x4028001F, std::u16string(300, u'c')).Set(0x4029001F, u"1111111111111111111");
  expected.Set(0x402A001F, u"u1").Set(0x402B001F, u"u2").Set(0x402C0003, 3);
  expected.Set(0x402D0003, 2147483647).Set(0x402E0040, ~uint64_t{0});
  EXPECT_EQ(Stored(oid).Describe(), expected.Describe());
}

TEST_F(WktTypeDatabase, ReadsBackEveryKindWithItsModificationTime) {
  for (int kind = 1; kind <= 5; ++kind) {
    const wkt::TypePtr type = wkt::test::MakeSampleType(kind, kind);
    const CEOID oid = database.AddWktType(type.get(), TRUE);
    device.StepClockMilliseconds(60'000);
    wkt::test::ExpectSampleType(*Find(oid), kind, kind);
  }
}

TEST_F(WktTypeDatabase, CreatesTheClassOfAKindAndNoOther) {
  for (const int kind : {-1, 0, 6, 7, 2147483647})
    EXPECT_EQ(database.CreateRecord(kind, TRUE), nullptr) << kind;
  const wkt::TypePtr third(database.CreateRecord(3, TRUE));
  third->SetName1(u"A");
  third->SetName2(u"B");
  EXPECT_EQ(std::u16string(third->GetDisplayName().c_str()), u"A B");
}

TEST_F(WktTypeDatabase, FindsNoRecordOfAnUnknownKind) {
  RawDatabase raw(u"WktDevTypes");
  CWktTypeLean* found = nullptr;
  for (const int kind : {-1, 0, 6, 99}) {
    const CEOID oid = raw.Add(RawType(u"T", kind));
    EXPECT_EQ(database.FindWktType(oid, &found, TRUE), 0u) << kind;
  }
  const CEOID without = raw.Add(RawType(u"T", 1).Remove(0x40200003));
  EXPECT_EQ(database.FindWktType(without, &found, TRUE), 0u);
  EXPECT_EQ(found, nullptr);
}

TEST_F(WktTypeDatabase, KeepsTypesByCreationTime) {
  RawDatabase raw(u"WktDevTypes");
  const CEOID late = raw.Add(RawType(u"T", 1).Set(0x40240040, ~uint64_t{0}));
  const CEOID early = raw.Add(RawType(u"T", 1).Set(0x40240040, uint64_t{1}));
  const CEOID middle = raw.Add(RawType(u"T", 1).Set(0x40240040, uint64_t{1} << 63));
  EXPECT_EQ(raw.List(), (std::vector<CEOID>{early, middle, late}));
}

TEST_F(WktTypeDatabase, LogsAnAdditionAndARead) {
  const wkt::TypePtr type(database.CreateRecord(3, FALSE));
  type->SetId(u"T1");
  type->SetName1(u"A");
  type->SetName2(u"B");
  log.Take();
  const CEOID oid = database.AddWktType(type.get(), TRUE);
  ExpectLog(log, {">CWktTypeDatabase::AddWktType", "512 Wkt type id = 'T1'; Name = 'A B'",
                  "8 Result (CEOID) = O1", "<CWktTypeDatabase::AddWktType"});
  const wkt::TypePtr found = Find(oid);
  ExpectLog(log, {
                     ">CWktTypeDatabase::CreateRecord",
                     ">CWktTypeLean::CWktTypeLean",
                     "4 Make new = 1",
                     "256 this = A1",
                     ">CWktUtilLean::CreateGUID",
                     ">CWktUtilLean::CreateOwnGUID",
                     "<CWktUtilLean::CreateOwnGUID",
                     "8 Guid = CE-1-1-1-1",
                     "<CWktUtilLean::CreateGUID",
                     "512 Type id = 'CE-1-1-1-1'",
                     "<CWktTypeLean::CWktTypeLean",
                     "<CWktTypeDatabase::CreateRecord",
                 });
}

TEST_F(WktTypeDatabase, LogsAModification) {
  const CEOID oid = RawDatabase(u"WktDevTypes").Add(RawType(u"T1", 2));
  const wkt::TypePtr type = Find(oid);
  type->SetName1(u"Other");
  log.Take();
  EXPECT_EQ(database.ModifyWktType(oid, type.get(), TRUE), TRUE);
  ExpectLog(log, {
                     ">CWktTypeDatabase::ModifyWktType",
                     "512 Wkt type id = 'T1'; Name = 'Other'",
                     ">CWktTypeDatabase::AllocPropertyArray",
                     "<CWktTypeDatabase::AllocPropertyArray",
                     "512 Modification time = 3/2/26 09:00:00",
                     "8 Result (bool) = 1",
                     "<CWktTypeDatabase::ModifyWktType",
                 });
  EXPECT_EQ(Stored(oid).Text(0x4026001F), u"Other");
}

TEST_F(WktTypeDatabase, RefusesToModifyNothing) {
  const wkt::TypePtr type(database.CreateRecord(4, FALSE));
  type->SetId(u"T1");
  type->SetName1(u"N");
  log.Take();
  RecordedCalls calls;
  EXPECT_EQ(database.ModifyWktType(0, type.get(), FALSE), FALSE);
  EXPECT_EQ(database.ModifyWktType(5, nullptr, FALSE), FALSE);
  EXPECT_EQ(calls.Take(), Lines{});
  ExpectLog(log, {">CWktTypeDatabase::ModifyWktType", "512 Wkt type id = 'T1'; Name = 'N'",
                  "8 Result (bool) = 0", "<CWktTypeDatabase::ModifyWktType",
                  ">CWktTypeDatabase::ModifyWktType", "512 Wkt type id = 'NULL'; Name = 'NULL'",
                  "8 Result (bool) = 0", "<CWktTypeDatabase::ModifyWktType"});
}

TEST_F(WktTypeDatabase, LogsRefusedWritesWithThePlatformsCode) {
  const CEOID oid = RawDatabase(u"WktDevTypes").Add(RawType(u"T1", 2));
  const wkt::TypePtr type = Find(oid);
  {
    const FailingCall failure("CeWriteRecordProps", 1, ERROR_DISK_FULL);
    log.Take();
    EXPECT_EQ(database.AddWktType(type.get(), TRUE), 0u);
    ExpectLog(log, {">CWktTypeDatabase::AddWktType", "512 Wkt type id = 'T1'; Name = 'Name'",
                    "16 Write failed; Error = 112", "8 Result (CEOID) = 0",
                    "<CWktTypeDatabase::AddWktType"});
  }
  const FailingCall failure("CeWriteRecordProps", 1, ERROR_INVALID_PARAMETER);
  type->SetName1(u"Other");
  EXPECT_EQ(database.ModifyWktType(oid, type.get(), TRUE), FALSE);
  ExpectLog(log, {">CWktTypeDatabase::ModifyWktType", "512 Wkt type id = 'T1'; Name = 'Other'",
                  ">CWktTypeDatabase::AllocPropertyArray", "<CWktTypeDatabase::AllocPropertyArray",
                  "512 Modification time = 3/2/26 09:00:00", "16 Write failed; Error = 87",
                  "8 Result (bool) = 0", "<CWktTypeDatabase::ModifyWktType"});
  EXPECT_EQ(database.GetLastErrorCode(), 87u);
  EXPECT_EQ(Stored(oid).Text(0x4026001F), u"Name");
}

TEST_F(WktTypeDatabase, AddsNothingForANullRecord) {
  log.Take();
  RecordedCalls calls;
  EXPECT_EQ(database.AddWktType(nullptr, TRUE), 0u);
  EXPECT_EQ(calls.Take(), (Lines{"WaitForSingleObject(ptr, 10000)", "ReleaseMutex(ptr)"}));
  ExpectLog(log, {">CWktTypeDatabase::AddWktType", "512 Wkt type id = 'NULL'; Name = 'NULL'",
                  "8 Result (CEOID) = 0", "<CWktTypeDatabase::AddWktType"});
}

TEST_F(WktTypeDatabase, LogsNothingOfARecordThatIsNotThere) {
  const CEOID oid = RawDatabase(u"WktDevTypes").Add(RawType(u"T1", 2));
  CWktTypeLean* found = nullptr;
  log.Take();
  EXPECT_EQ(database.FindWktType(0, &found, TRUE), 0u);
  EXPECT_EQ(database.FindWktType(oid + 1000, &found, TRUE), 0u);
  for (const char* call : {"CeSeekDatabase", "CeReadRecordPropsEx"}) {
    const FailingCall failure(call, 1, ERROR_KEY_DELETED);
    EXPECT_EQ(database.FindWktType(oid, &found, TRUE), 0u) << call;
    EXPECT_TRUE(failure.Happened()) << call;
  }
  ExpectLog(log, {});
  EXPECT_EQ(found, nullptr);
}

TEST_F(WktTypeDatabase, TakesTheMutexOnlyWhenAsked) {
  const wkt::TypePtr type = wkt::test::MakeSampleType(1);
  RecordedCalls calls;
  const CEOID oid = database.AddWktType(type.get(), FALSE);
  CWktTypeLean* found = nullptr;
  EXPECT_EQ(database.FindWktType(oid, &found, FALSE), oid);
  const wkt::TypePtr owned(found);
  EXPECT_TRUE(database.ModifyWktType(oid, found, FALSE));
  EXPECT_TRUE(wkt::DeleteRecord(database, oid, FALSE));
  const std::string number = std::to_string(oid);
  EXPECT_EQ(
      calls.Take(),
      (Lines{"CeWriteRecordProps(ptr, 0, 15, ptr)", "CeSeekDatabase(ptr, 1, " + number + ", ptr)",
             "CeReadRecordPropsEx(ptr, 1, ptr, null, ptr, ptr, null)", "LocalFree(ptr)",
             "CeWriteRecordProps(ptr, " + number + ", 15, ptr)",
             "CeDeleteRecord(ptr, " + number + ")"}));
}

TEST_F(WktTypeDatabase, CallsThePlatformAsTheJobDatabaseDoes) {
  const wkt::TypePtr type = wkt::test::MakeSampleType(1);
  RecordedCalls calls;
  const CEOID oid = database.AddWktType(type.get(), TRUE);
  const wkt::TypePtr found = Find(oid);
  EXPECT_TRUE(database.ModifyWktType(oid, found.get(), TRUE));
  EXPECT_TRUE(wkt::DeleteRecord(database, oid, TRUE));
  const std::string wait = "WaitForSingleObject(ptr, 10000)";
  const std::string number = std::to_string(oid);
  EXPECT_EQ(calls.Take(),
            (Lines{wait, "CeWriteRecordProps(ptr, 0, 15, ptr)", "ReleaseMutex(ptr)", wait,
                   "CeSeekDatabase(ptr, 1, " + number + ", ptr)",
                   "CeReadRecordPropsEx(ptr, 1, ptr, null, ptr, ptr, null)", "LocalFree(ptr)",
                   "ReleaseMutex(ptr)", wait, "CeWriteRecordProps(ptr, " + number + ", 15, ptr)",
                   "ReleaseMutex(ptr)", wait, "CeDeleteRecord(ptr, " + number + ")",
                   "ReleaseMutex(ptr)"}));
}

TEST_F(WktTypeDatabase, DeletesWithoutALine) {
  const CEOID oid = RawDatabase(u"WktDevTypes").Add(RawType(u"T1", 2));
  log.Take();
  EXPECT_FALSE(wkt::DeleteRecord(database, 0, TRUE));
  EXPECT_TRUE(wkt::DeleteRecord(database, oid, TRUE));
  database.CloseDatabase();
  log.Take();
  EXPECT_FALSE(wkt::DeleteRecord(database, oid, TRUE));
  ExpectLog(log, {});
}

}  // namespace
