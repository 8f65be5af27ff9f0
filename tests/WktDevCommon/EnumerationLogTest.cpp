#include <gtest/gtest.h>

#include <algorithm>

#include "tests/WktDevCommon/EnumerationTest.h"
#include "tests/support/LogPieces.h"

// What enumerations write into the log, whole.
namespace {

using wkt::test::ExpectLog;

using EnumerationLog = EnumerationTest;

TEST_F(EnumerationLog, LogsTheEnumerationOfJobs) {
  AddJobs({u"0010000000000000000", kEditedWhileSynchronized});
  CSyncJobDatabase database(u"WktDevJobs");
  ASSERT_TRUE(database.Open(FALSE));
  log.Take();
  EXPECT_EQ(database.ReadFindObjectInfo(&info, 0), S_OK);
  const Lines loaded = {
      ">CJobDatabase::CreateRecord",
      ">CJobLean::CJobLean",
      "4 Make new = 0",
      "512 this = A",
      "<CJobLean::CJobLean",
      "<CJobDatabase::CreateRecord",
      ">CJobDatabase::FillJobBase",
      "256 Title = 'Title'",
      "256 Local day = 3/2/26 00:00",
      "<CJobDatabase::FillJobBase",
      "256 Job id = 'J'; Title = 'Title'",
  };
  ExpectLog(wkt::test::WithoutAddresses(log.Take()),
            wkt::test::Joined({{
                                   ">CSyncJobDatabase::ReadFindObjectInfo",
                                   "4 pFindObjectInfo = A; pcNumber = 0",
                                   ">CDatabaseAid::GetDatabaseInfo",
                                   ">CDatabaseAid::FindDatabase",
                                   "4 pDBName = 'WktDevJobs'",
                                   "256 Record count = 2",
                                   "8 Result (CEOID) = O1",
                                   "<CDatabaseAid::FindDatabase",
                                   "8 Result (BOOL) = 1",
                                   "<CDatabaseAid::GetDatabaseInfo",
                                   "256 Record count = 2",
                                   "256 OID = O2",
                               },
                               loaded,
                               {
                                   "256 Job is not synchronized",
                                   ">CJobLean::~CJobLean",
                                   "512 this = A",
                                   "<CJobLean::~CJobLean",
                                   "256 OID = O3",
                               },
                               loaded,
                               {
                                   "256 Job is synchronized",
                                   "256 Clearing 'changed during sync' flag",
                                   ">CJobDatabase::ModifyJob",
                                   "512 Job id = 'J'; Title = 'Title'",
                                   ">CJobDatabase::AllocPropertyArray",
                                   "<CJobDatabase::AllocPropertyArray",
                                   ">CJobDatabase::FillPropValArray",
                                   "256 Title = Title",
                                   "256 Local day = 3/2/26 00:00",
                                   "<CJobDatabase::FillPropValArray",
                                   "512 Modification time = 3/2/26 11:00:00",
                                   "8 Result (bool) = 1",
                                   "<CJobDatabase::ModifyJob",
                                   ">CJobLean::~CJobLean",
                                   "512 this = A",
                                   "<CJobLean::~CJobLean",
                                   "256 Changed = 1; Unchanged = 1; Total = 2",
                                   "8 Result (HRESULT) = 0",
                                   "<CSyncJobDatabase::ReadFindObjectInfo",
                               }}));
}

TEST_F(EnumerationLog, LogsTheEnumerationOfTypes) {
  AddType(3, u"1001000000000000000");
  CSyncWktTypeDatabase database(u"WktDevTypes");
  ASSERT_TRUE(database.Open(FALSE));
  log.Take();
  EXPECT_EQ(database.ReadFindObjectInfo(&info, 1), S_OK);
  info.uFlags = FO_MORE_VOLUME;
  const Lines lines = log.Take();
  const auto from = std::find(lines.begin(), lines.end(), "<CDatabaseAid::GetDatabaseInfo");
  ASSERT_NE(from, lines.end());
  ExpectLog(Lines(from, lines.end()), {
                                          "<CDatabaseAid::GetDatabaseInfo",
                                          "256 Record count = 1",
                                          "256 OID = O1",
                                          "256 Type of type = 3",
                                          ">CWktTypeDatabase::CreateRecord",
                                          ">CWktTypeLean::CWktTypeLean",
                                          "4 Make new = 0",
                                          "256 this = A1",
                                          "<CWktTypeLean::CWktTypeLean",
                                          "<CWktTypeDatabase::CreateRecord",
                                          "256 Type id = 'T1'; Name = 'Name'",
                                          "256 Type is not synchronized",
                                          ">CWktTypeLean::~CWktTypeLean",
                                          "512 this = A1",
                                          "<CWktTypeLean::~CWktTypeLean",
                                          "256 Changed = 1; Unchanged = 0; Total = 1",
                                          "8 Result (HRESULT) = 0",
                                          "<CSyncWktTypeDatabase::ReadFindObjectInfo",
                                      });
}

}  // namespace
