#include <gtest/gtest.h>

#include "tests/WktDevCommon/UpgradeTest.h"
#include "tests/support/LogPieces.h"

// What the start-up upgrade writes into the log, whole.
namespace {

using wkt::test::OldRawJob;
using wkt::test::RawDatabase;

class JobUpgradeLog : public wkt::test::JobUpgrade {};

// One job in each database; the day of the second is not today, so its record tells of it too.
TEST_F(JobUpgradeLog, TellsOfBothDatabasesAndEachRecord) {
  const uint64_t threeDaysAgo = 155285ull * 24 * 3600 * 10'000'000;
  RawDatabase(u"WktDevFavJobs").Add(OldRawJob(u"F", 12, -1, -2));
  RawDatabase(u"WktDevJobs").Add(OldRawJob(u"D", 1, 2, 3).Set(0x40120040, threeDaysAgo));
  log.Take();
  CJobDatabase::UpgradeJobDatabases();
  const Lines inBetween = {
      ">CDatabaseAid::FindDatabase",
      "4 pDBName = 'WktDevFavJobs'",
      "256 Record count = 1",
      "8 Result (CEOID) = O1",
      "<CDatabaseAid::FindDatabase",
      ">CDatabaseAid::FindDatabase",
      "4 pDBName = 'WktDevJobs'",
      "256 Record count = 1",
      "8 Result (CEOID) = O2",
      "<CDatabaseAid::FindDatabase",
      ">CDatabaseAid::Open",
      ">CDatabaseAid::OpenDatabase",
      ">CDatabaseAid::CloseDatabase",
      "<CDatabaseAid::CloseDatabase",
      ">CDatabaseAid::FindDatabase",
      "4 pDBName = 'WktDevFavJobs'",
      "256 Record count = 1",
      "8 Result (CEOID) = O1",
      "<CDatabaseAid::FindDatabase",
      "256 Opened handle = H1",
      "<CDatabaseAid::OpenDatabase",
      "8 Result (BOOL) = 1",
      "<CDatabaseAid::Open",
      ">CDatabaseAid::Open",
      ">CDatabaseAid::OpenDatabase",
      ">CDatabaseAid::CloseDatabase",
      "<CDatabaseAid::CloseDatabase",
      ">CDatabaseAid::FindDatabase",
      "4 pDBName = 'WktDevJobs'",
      "256 Record count = 1",
      "8 Result (CEOID) = O2",
      "<CDatabaseAid::FindDatabase",
      "256 Opened handle = H2",
      "<CDatabaseAid::OpenDatabase",
      "8 Result (BOOL) = 1",
      "<CDatabaseAid::Open",
      ">CJobDatabase::CreateRecord",
      ">CJobLean::CJobLean",
      "4 Make new = 1",
      "512 this = A",
      ">CWktUtilLean::CreateGUID",
      ">CWktUtilLean::CreateOwnGUID",
      "<CWktUtilLean::CreateOwnGUID",
      "8 Guid = CE-1-1-1-1",
      "<CWktUtilLean::CreateGUID",
      "512 Job id = 'CE-1-1-1-1'",
      "<CJobLean::CJobLean",
      "<CJobDatabase::CreateRecord",
      "256 Title = 'Title'",
      "256 Local day = 3/2/26 00:00",
      ">CJobDatabase::FillPropValArray",
      "<CJobDatabase::FillPropValArray",
      ">CJobLean::~CJobLean",
      "512 this = A",
      "<CJobLean::~CJobLean",
      ">CJobDatabase::CreateRecord",
      ">CJobLean::CJobLean",
      "4 Make new = 1",
      "512 this = A",
      ">CWktUtilLean::CreateGUID",
      ">CWktUtilLean::CreateOwnGUID",
      "<CWktUtilLean::CreateOwnGUID",
      "8 Guid = CE-2-2-2-2",
      "<CWktUtilLean::CreateGUID",
      "512 Job id = 'CE-2-2-2-2'",
      "<CJobLean::CJobLean",
      "<CJobDatabase::CreateRecord",
      "256 Title = 'Title'",
      "256 Local day = 2/27/26 00:00",
      "256 Local day = 2/27/26 00:00",
      ">CJobDatabase::FillPropValArray",
      "<CJobDatabase::FillPropValArray",
      ">CJobLean::~CJobLean",
      "512 this = A",
      "<CJobLean::~CJobLean",
      ">CDatabaseAid::CloseDatabase",
      "256 Closing handle = H1",
      "<CDatabaseAid::CloseDatabase",
      ">CDatabaseAid::CloseDatabase",
      "256 Closing handle = H2",
      "<CDatabaseAid::CloseDatabase",
  };
  wkt::test::ExpectLog(
      wkt::test::WithoutAddresses(log.Take()),
      wkt::test::Joined({wkt::test::kUpgradeBegins, inBetween, wkt::test::kUpgradeEnds}));
}

}  // namespace
