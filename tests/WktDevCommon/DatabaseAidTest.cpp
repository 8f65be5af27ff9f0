#include "WktDevCommon/DatabaseAid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>

#include "WktDevCommon/JobDatabase.h"
#include "WktDevCommon/WktTypeDatabase.h"
#include "platform/Files.h"
#include "tests/WktDevCommon/DatabaseTest.h"
#include "tests/support/Bytes.h"
#include "tests/support/Layout.h"
#include "tests/support/RawDatabase.h"
#include "tests/support/RecordedCalls.h"
#include "tests/support/Text.h"

namespace {

using wkt::test::BytesOf;
using wkt::test::ExpectLog;
using wkt::test::FailingCall;
using wkt::test::RecordedCalls;

constexpr CEGUID kObjectStore = {};

class DatabaseAid : public DatabaseTest {
 protected:
  CEDBASEINFOEX Describe(CEOID oid) {
    CEOIDINFOEX info = {};
    info.wVersion = 1;
    CEGUID guid = kObjectStore;
    EXPECT_TRUE(CeOidGetInfoEx2(&guid, oid, &info));
    return info.infDatabase;
  }
  // One order, by these properties.
  void ExpectSortOrder(CEOID oid, const std::vector<CEPROPID>& properties) {
    const CEDBASEINFOEX info = Describe(oid);
    ASSERT_EQ(info.wNumSortOrder, 1);
    const SORTORDERSPECEX& order = info.rgSortSpecs[0];
    EXPECT_EQ(order.wVersion, 1);
    EXPECT_EQ(order.wKeyFlags, 0);
    ASSERT_EQ(order.wNumProps, properties.size());
    for (size_t index = 0; index < properties.size(); ++index) {
      EXPECT_EQ(order.rgPropID[index], properties[index]) << index;
      EXPECT_EQ(order.rgdwFlags[index], 0x400u) << index;
    }
  }

  CEOID MakeDatabase(const CEGUID& volume, const WCHAR* name, DWORD type) {
    CEDBASEINFOEX info = {};
    info.wVersion = 1;
    info.dwFlags = CEDB_VALIDNAME | CEDB_VALIDTYPE;
    info.dwDbaseType = type;
    std::u16string(name).copy(info.szDbaseName, 31);
    CEGUID guid = volume;
    return CeCreateDatabaseEx2(&guid, &info);
  }
};

TEST_F(DatabaseAid, IsConstructedClosedAndWithoutName) {
  const CDatabaseAid database;
  EXPECT_FALSE(database.IsOpen());
  EXPECT_EQ(database.GetName(), nullptr);
  EXPECT_EQ(database.GetOid(), 0u);
  EXPECT_EQ(database.GetLastErrorCode(), 0u);
}

TEST_F(DatabaseAid, CreatesAMissingDatabaseOfTheApplicationsType) {
  CDatabaseAid database;
  EXPECT_EQ(database.OpenDatabase(u"WktDevJobs", TRUE), TRUE);
  const CEDBASEINFOEX info = Describe(database.GetOid());
  EXPECT_EQ(std::u16string(info.szDbaseName), u"WktDevJobs");
  EXPECT_EQ(info.dwDbaseType, 0x4715Eu);
  EXPECT_EQ(info.wNumSortOrder, 0);
}

TEST_F(DatabaseAid, GivesANewDatabaseTheSortOrdersOfItsClass) {
  CJobDatabase database(u"WktDevJobs");
  ASSERT_TRUE(database.Open(TRUE));
  ExpectSortOrder(database.GetOid(), {0x40120040, 0x40080040});
}

TEST_F(DatabaseAid, GivesTheTypesASortOrderOfTheirOwn) {
  CWktTypeDatabase database(u"WktDevTypes");
  ASSERT_TRUE(database.Open(TRUE));
  ExpectSortOrder(database.GetOid(), {0x40240040});
}

TEST_F(DatabaseAid, LogsTheCreationOfAMissingDatabase) {
  CDatabaseAid database;
  log.Take();
  ASSERT_TRUE(database.OpenDatabase(u"WktDevJobs", TRUE));
  const std::string oid = std::to_string(database.GetOid());
  ExpectLog(log, {
                     ">CDatabaseAid::OpenDatabase",
                     ">CDatabaseAid::CloseDatabase",
                     "<CDatabaseAid::CloseDatabase",
                     ">CDatabaseAid::FindDatabase",
                     "4 pDBName = 'WktDevJobs'",
                     "8 Result (CEOID) = 0",
                     "<CDatabaseAid::FindDatabase",
                     ">CDatabaseAid::CreateDatabase",
                     "8 Result (CEOID) = " + oid,
                     "<CDatabaseAid::CreateDatabase",
                     "256 Created new database; CEOID = " + oid,
                     "256 Opened handle = H1",
                     "<CDatabaseAid::OpenDatabase",
                 });
}

TEST_F(DatabaseAid, DoesNotCreateUnlessAskedTo) {
  CDatabaseAid database;
  log.Take();
  EXPECT_EQ(database.OpenDatabase(u"WktDevJobs", FALSE), FALSE);
  ExpectLog(log, {
                     ">CDatabaseAid::OpenDatabase",
                     ">CDatabaseAid::CloseDatabase",
                     "<CDatabaseAid::CloseDatabase",
                     ">CDatabaseAid::FindDatabase",
                     "4 pDBName = 'WktDevJobs'",
                     "8 Result (CEOID) = 0",
                     "<CDatabaseAid::FindDatabase",
                     "<CDatabaseAid::OpenDatabase",
                 });
  EXPECT_FALSE(wkt::test::HasDatabase(u"WktDevJobs"));
}

TEST_F(DatabaseAid, OpensAnExistingDatabaseWithTheseCalls) {
  wkt::test::RawDatabase(u"WktDevJobs").Add(wkt::test::RawJob(u"J1"));
  CDatabaseAid database;
  RecordedCalls calls;
  ASSERT_TRUE(database.OpenDatabase(u"WktDevJobs", TRUE));
  database.CloseDatabase();
  const std::string oid = std::to_string(database.GetOid());
  EXPECT_EQ(calls.Take(), (Lines{
                              "CeFindFirstDatabaseEx(null, 291166)",
                              "CeFindNextDatabase(ptr)",
                              "CeOidGetInfoEx2(ptr, " + oid + ", ptr)",
                              "CloseHandle(ptr)",
                              "CeOpenDatabaseEx2(ptr, ptr, null, null, 1, null)",
                              "CloseHandle(ptr)",
                          }));
}

TEST_F(DatabaseAid, KeepsTheNameThroughCloseAndOpen) {
  CJobDatabase database(u"WktDevFavJobs");
  ASSERT_TRUE(database.Open(TRUE));
  const CEOID oid = database.GetOid();
  for (int i = 0; i < 3; ++i) {
    database.CloseDatabase();
    EXPECT_FALSE(database.IsOpen());
    ASSERT_TRUE(database.Open(FALSE));
    EXPECT_EQ(database.GetOid(), oid);
    EXPECT_EQ(std::u16string(database.GetName()), u"WktDevFavJobs");
  }
}

TEST_F(DatabaseAid, OpeningAnotherNameReplacesTheFirst) {
  CJobDatabase database(u"WktDevJobs");
  ASSERT_TRUE(database.Open(TRUE));
  ASSERT_TRUE(database.OpenDatabase(u"Other", TRUE));
  EXPECT_EQ(std::u16string(database.GetName()), u"Other");
  EXPECT_TRUE(wkt::test::HasDatabase(u"Other"));
}

TEST_F(DatabaseAid, OpeningNoNameForgetsTheFirst) {
  CJobDatabase database(u"WktDevJobs");
  ASSERT_TRUE(database.Open(TRUE));
  log.Take();
  EXPECT_EQ(database.OpenDatabase(nullptr, FALSE), FALSE);
  EXPECT_EQ(database.GetName(), nullptr);
  EXPECT_FALSE(database.IsOpen());
  ExpectLog(log, {
                     ">CDatabaseAid::OpenDatabase",
                     ">CDatabaseAid::CloseDatabase",
                     "256 Closing handle = H1",
                     "<CDatabaseAid::CloseDatabase",
                     ">CDatabaseAid::FindDatabase",
                     "4 pDBName = 'NULL'",
                     "8 Result (CEOID) = 0",
                     "<CDatabaseAid::FindDatabase",
                     "<CDatabaseAid::OpenDatabase",
                 });
  EXPECT_EQ(database.Open(FALSE), FALSE);
}

TEST_F(DatabaseAid, LeavesAnOpenDatabaseAlone) {
  CJobDatabase database(u"WktDevJobs");
  ASSERT_TRUE(database.Open(TRUE));
  log.Take();
  RecordedCalls calls;
  EXPECT_EQ(database.Open(TRUE), TRUE);
  EXPECT_EQ(database.Open(FALSE), TRUE);
  EXPECT_EQ(calls.Take(), Lines{});
  ExpectLog(log, {">CDatabaseAid::Open", "8 Result (BOOL) = 1", "<CDatabaseAid::Open",
                  ">CDatabaseAid::Open", "8 Result (BOOL) = 1", "<CDatabaseAid::Open"});
}

TEST_F(DatabaseAid, ClosingTwiceLogsAHandleOnce) {
  CDatabaseAid database;
  ASSERT_TRUE(database.OpenDatabase(u"WktDevJobs", TRUE));
  log.Take();
  database.CloseDatabase();
  database.CloseDatabase();
  ExpectLog(log, {">CDatabaseAid::CloseDatabase", "256 Closing handle = H1",
                  "<CDatabaseAid::CloseDatabase", ">CDatabaseAid::CloseDatabase",
                  "<CDatabaseAid::CloseDatabase"});
  EXPECT_NE(database.GetOid(), 0u);
}

TEST_F(DatabaseAid, FindsNothingWithoutAName) {
  const wkt::test::RawDatabase present(u"WktDevJobs");
  CDatabaseAid database;
  log.Take();
  EXPECT_EQ(database.FindDatabase(nullptr), 0u);
  ExpectLog(log, {">CDatabaseAid::FindDatabase", "4 pDBName = 'NULL'", "8 Result (CEOID) = 0",
                  "<CDatabaseAid::FindDatabase"});
}

TEST_F(DatabaseAid, CreatesNothingWithoutAName) {
  CDatabaseAid database;
  RecordedCalls calls;
  EXPECT_EQ(database.OpenDatabase(nullptr, TRUE), FALSE);
  EXPECT_EQ(database.OpenDatabase(u"", TRUE), FALSE);
  const Lines made = calls.Take();
  EXPECT_EQ(LinesWith(made, "CeFindFirstDatabaseEx").size(), 2u);
  EXPECT_EQ(LinesWith(made, "CeCreateDatabaseEx2"), Lines{});
  EXPECT_EQ(database.GetOid(), 0u);
  EXPECT_EQ(LinesWith(log.Take(), "CEOID = "),
            (Lines{"256 Created new database; CEOID = 0", "256 Created new database; CEOID = 0"}));
}

TEST_F(DatabaseAid, ComparesNamesExactly) {
  const wkt::test::RawDatabase present(u"WktDevJobs");
  CDatabaseAid database;
  EXPECT_EQ(database.FindDatabase(u"WktDevJobs"), present.GetOid());
  for (const WCHAR* name : {u"wktdevjobs", u"WktDevJob", u"WktDevJobs ", u"WktDevJobss", u""})
    EXPECT_EQ(database.FindDatabase(name), 0u) << wkt::test::Narrow(name);
}

TEST_F(DatabaseAid, NeverFindsADatabaseOfAnotherType) {
  ASSERT_NE(MakeDatabase(kObjectStore, u"WktDevJobs", 291167), 0u);
  CDatabaseAid database;
  EXPECT_EQ(database.FindDatabase(u"WktDevJobs"), 0u);
}

TEST_F(DatabaseAid, PassesOverADatabaseOfTheSameNameOnAVolume) {
  WCHAR path[] = u"\\second.vol";
  CEGUID volume = {};
  ASSERT_TRUE(CeMountDBVol(&volume, path, CREATE_NEW));
  ASSERT_NE(MakeDatabase(volume, u"WktDevJobs", 291166), 0u);
  CDatabaseAid database;
  EXPECT_EQ(database.FindDatabase(u"WktDevJobs"), 0u);
  const CEOID own = MakeDatabase(kObjectStore, u"WktDevJobs", 291166);
  EXPECT_EQ(database.FindDatabase(u"WktDevJobs"), own);
}

// One store has a name once, so the database of another type lies on a volume.
TEST_F(DatabaseAid, FindsItsOwnAmongTwoTypesOfOneName) {
  WCHAR path[] = u"\\second.vol";
  CEGUID volume = {};
  ASSERT_TRUE(CeMountDBVol(&volume, path, CREATE_NEW));
  const CEOID own = MakeDatabase(kObjectStore, u"WktDevJobs", 291166);
  ASSERT_NE(MakeDatabase(volume, u"WktDevJobs", 291167), 0u);
  CDatabaseAid database;
  EXPECT_EQ(database.FindDatabase(u"WktDevJobs"), own);
  // The other way round there is none to be found here.
  ASSERT_NE(MakeDatabase(volume, u"WktDevTypes", 291166), 0u);
  ASSERT_NE(MakeDatabase(kObjectStore, u"WktDevTypes", 291167), 0u);
  EXPECT_EQ(database.FindDatabase(u"WktDevTypes"), 0u);
}

TEST_F(DatabaseAid, DescribesTheDatabaseOfItsName) {
  wkt::test::RawDatabase(u"WktDevJobs").Add(wkt::test::RawJob(u"J1"));
  CJobDatabase database(u"WktDevJobs");
  CEOIDINFOEX info;
  std::memset(&info, 0xEE, sizeof(info));
  log.Take();
  EXPECT_EQ(database.GetDatabaseInfo(&info), TRUE);
  EXPECT_EQ(info.wVersion, 1);
  EXPECT_EQ(info.wObjType, OBJTYPE_DATABASE);
  EXPECT_EQ(info.infDatabase.dwNumRecords, 1u);
  EXPECT_GT(info.infDatabase.dwSize, 0u);
  EXPECT_EQ(std::u16string(info.infDatabase.szDbaseName), u"WktDevJobs");
  const std::string oid = std::to_string(wkt::test::RawDatabase(u"WktDevJobs").GetOid());
  ExpectLog(log, {
                     ">CDatabaseAid::GetDatabaseInfo",
                     ">CDatabaseAid::FindDatabase",
                     "4 pDBName = 'WktDevJobs'",
                     "256 Record count = 1",
                     "8 Result (CEOID) = " + oid,
                     "<CDatabaseAid::FindDatabase",
                     "8 Result (BOOL) = 1",
                     "<CDatabaseAid::GetDatabaseInfo",
                 });
}

TEST_F(DatabaseAid, DescribesNothingWithoutNameOrBlock) {
  CEOIDINFOEX info;
  std::memset(&info, 0xEE, sizeof(info));
  const CEOIDINFOEX poison = info;
  CDatabaseAid unnamed;
  EXPECT_EQ(unnamed.GetDatabaseInfo(&info), FALSE);
  EXPECT_EQ(BytesOf(info), BytesOf(poison));
  CJobDatabase named(u"WktDevJobs");
  EXPECT_EQ(named.GetDatabaseInfo(nullptr), FALSE);
  EXPECT_EQ(named.GetDatabaseInfo(&info), FALSE);
}

TEST_F(DatabaseAid, FindingClearsTheBlockFirst) {
  CEOIDINFOEX info;
  std::memset(&info, 0xEE, sizeof(info));
  CEOIDINFOEX cleared = {};
  cleared.wVersion = 1;
  static_assert(sizeof(info) == 544);
  CDatabaseAid database;
  EXPECT_EQ(database.FindDatabase(u"WktDevJobs", &info), 0u);
  EXPECT_EQ(BytesOf(info), BytesOf(cleared));
}

TEST_F(DatabaseAid, FindingAnswersWithOrdersAndLastChange) {
  CJobDatabase jobs(u"WktDevJobs");
  ASSERT_TRUE(jobs.Open(TRUE));
  wkt::test::RawDatabase(u"WktDevJobs").Add(wkt::test::RawJob(u"J1"));
  CEOIDINFOEX info;
  EXPECT_EQ(CDatabaseAid().FindDatabase(u"WktDevJobs", &info), jobs.GetOid());
  EXPECT_EQ(info.infDatabase.wNumSortOrder, 1);
  EXPECT_EQ(info.infDatabase.rgSortSpecs[0].rgPropID[0], 0x40120040u);
  EXPECT_EQ(info.infDatabase.dwNumRecords, 1u);
  EXPECT_NE(info.infDatabase.ftLastModified.dwHighDateTime, 0u);
}

TEST_F(DatabaseAid, FindsNothingWhenTheEnumerationFails) {
  const wkt::test::RawDatabase present(u"WktDevJobs");
  CDatabaseAid database;
  const FailingCall failure("CeFindFirstDatabaseEx", 1, ERROR_OUTOFMEMORY);
  RecordedCalls calls;
  EXPECT_EQ(database.FindDatabase(u"WktDevJobs"), 0u);
  EXPECT_EQ(calls.Take(), Lines{"CeFindFirstDatabaseEx(null, 291166)"});
  EXPECT_TRUE(failure.Happened());
}

TEST_F(DatabaseAid, PassesOverWhatCannotBeDescribed) {
  const wkt::test::RawDatabase present(u"WktDevJobs");
  CDatabaseAid database;
  const FailingCall failure("CeOidGetInfoEx2", 1, ERROR_INVALID_HANDLE);
  EXPECT_EQ(database.FindDatabase(u"WktDevJobs"), 0u);
  EXPECT_TRUE(failure.Happened());
}

TEST_F(DatabaseAid, KeepsThePlatformsCodeOfAFailedCreation) {
  CDatabaseAid database;
  const FailingCall failure("CeCreateDatabaseEx2", 1, ERROR_DISK_FULL);
  log.Take();
  EXPECT_EQ(database.OpenDatabase(u"WktDevJobs", TRUE), FALSE);
  EXPECT_EQ(database.GetLastErrorCode(), 112u);
  ExpectLog(log, {
                     ">CDatabaseAid::OpenDatabase",
                     ">CDatabaseAid::CloseDatabase",
                     "<CDatabaseAid::CloseDatabase",
                     ">CDatabaseAid::FindDatabase",
                     "4 pDBName = 'WktDevJobs'",
                     "8 Result (CEOID) = 0",
                     "<CDatabaseAid::FindDatabase",
                     ">CDatabaseAid::CreateDatabase",
                     "8 Result (CEOID) = 0",
                     "<CDatabaseAid::CreateDatabase",
                     "256 Created new database; CEOID = 0",
                     "<CDatabaseAid::OpenDatabase",
                 });
}

TEST_F(DatabaseAid, KeepsThePlatformsCodeOfAFailedOpen) {
  const wkt::test::RawDatabase present(u"WktDevJobs");
  CJobDatabase database(u"WktDevJobs");
  const FailingCall failure("CeOpenDatabaseEx2", 1, ERROR_NOT_ENOUGH_MEMORY);
  log.Take();
  EXPECT_EQ(database.Open(TRUE), FALSE);
  ExpectLog(log, {
                     ">CDatabaseAid::Open",
                     ">CDatabaseAid::OpenDatabase",
                     ">CDatabaseAid::CloseDatabase",
                     "<CDatabaseAid::CloseDatabase",
                     ">CDatabaseAid::FindDatabase",
                     "4 pDBName = 'WktDevJobs'",
                     "256 Record count = 0",
                     "8 Result (CEOID) = O1",
                     "<CDatabaseAid::FindDatabase",
                     "256 Opened handle = 4294967295",
                     "<CDatabaseAid::OpenDatabase",
                     "8 Result (BOOL) = 0",
                     "<CDatabaseAid::Open",
                 });
  EXPECT_FALSE(database.IsOpen());
  EXPECT_EQ(database.GetLastErrorCode(), 8u);
  RecordedCalls calls;
  EXPECT_EQ(database.DeleteRecord(1), FALSE);
  database.CloseDatabase();
  EXPECT_EQ(calls.Take(), Lines{});
}

TEST_F(DatabaseAid, ItsFieldsStandInOrder) {
  struct Peek : CDatabaseAid {
    [[nodiscard]] std::vector<const void*> Fields() const {
      return {this, &sortOrderCount, &sortOrders[0], &sortOrders[3], &handle, &lastError,
              &oid, &volumeGuid,     &name};
    }
  };
  const Peek database;
  const std::vector<const void*> fields = database.Fields();
  EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end(), std::less_equal<const void*>()));
  // The destructor takes two places of the virtual table.
  EXPECT_EQ(wkt::test::SlotOf(&CJobDatabase::CreateRecord), 2u);
  EXPECT_EQ(wkt::test::SlotOf(&CWktTypeDatabase::CreateRecord), 2u);
}

TEST_F(DatabaseAid, LogsItsDestruction) {
  log.Take();
  {
    CJobDatabase database(u"WktDevJobs");
    ASSERT_TRUE(database.Open(TRUE));
    log.Take();
  }
  ExpectLog(log, {">CJobDatabase::~CJobDatabase", "<CJobDatabase::~CJobDatabase",
                  ">CDatabaseAid::~CDatabaseAid", ">CDatabaseAid::CloseDatabase",
                  "256 Closing handle = H1", "<CDatabaseAid::CloseDatabase",
                  "<CDatabaseAid::~CDatabaseAid"});
}

}  // namespace
