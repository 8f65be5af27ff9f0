#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "host/control/Calls.h"
#include "platform/Database.h"
#include "tests/support/LogPieces.h"
#include "tests/support/Provider.h"
#include "tests/support/RawDatabase.h"
#include "tests/support/Samples.h"
#include "tests/support/Text.h"

namespace {

using wkt::control::FailCall;
using wkt::test::ExpectLog;
using wkt::test::Joined;
using wkt::test::LogCapture;
using wkt::test::LogLines;
using wkt::test::Narrow;
using wkt::test::Provider;

const LogLines kDailyJobsBegin = {
    ">GetObjTypeInfo",
    "256 Folder type = 'WktActivities'",
    ">CDatabaseAid::CDatabaseAid",
    "<CDatabaseAid::CDatabaseAid",
    ">CJobDatabase::CJobDatabase",
    "<CJobDatabase::CJobDatabase",
    ">CDatabaseAid::Open",
    ">CDatabaseAid::OpenDatabase",
    ">CDatabaseAid::CloseDatabase",
    "<CDatabaseAid::CloseDatabase",
    ">CDatabaseAid::FindDatabase",
    "4 pDBName = 'WktDevJobs'",
};
const LogLines kFound = {
    "256 Record count = 0",
    "8 Result (CEOID) = O1",
    "<CDatabaseAid::FindDatabase",
};
const LogLines kCreated = {
    "8 Result (CEOID) = 0",          "<CDatabaseAid::FindDatabase",
    ">CDatabaseAid::CreateDatabase", "8 Result (CEOID) = O1",
    "<CDatabaseAid::CreateDatabase", "256 Created new database; CEOID = O1",
};
const LogLines kOpened = {
    "256 Opened handle = H1", "<CDatabaseAid::OpenDatabase",    "8 Result (BOOL) = 1",
    "<CDatabaseAid::Open",    ">CDatabaseAid::GetDatabaseInfo", ">CDatabaseAid::FindDatabase",
};
const LogLines kDailyJobsEnd = {
    ">CJobDatabase::~CJobDatabase", "<CJobDatabase::~CJobDatabase", ">CDatabaseAid::~CDatabaseAid",
    ">CDatabaseAid::CloseDatabase", "<CDatabaseAid::CloseDatabase", "<CDatabaseAid::~CDatabaseAid",
};
const LogLines kClosed = {
    "256 Record count = 0",    "256 Database size = 0",        ">CDatabaseAid::CloseDatabase",
    "256 Closing handle = H1", "<CDatabaseAid::CloseDatabase",
};
const LogLines kInformationRead = {
    "4 pDBName = 'WktDevJobs'",    "256 Record count = 0", "8 Result (CEOID) = O1",
    "<CDatabaseAid::FindDatabase", "8 Result (BOOL) = 1",  "<CDatabaseAid::GetDatabaseInfo",
};
const LogLines kDone = {"8 Result (bool) = 1", "<GetObjTypeInfo"};
const LogLines kRefused = {"8 Result (bool) = 0", "<GetObjTypeInfo"};

class GetObjTypeInfoTest : public wkt::test::DeskDeviceTest {
 protected:
  GetObjTypeInfoTest() : capture(Installed(device)), provider(device) { capture.Take(); }

  static wkt::test::DeskDevice& Installed(wkt::test::DeskDevice& device) {
    device.MakeInstallation();
    return device;
  }
  BOOL Ask(const std::u16string& folder, UINT byteCount = 384) {
    std::memset(&info, 0xA5, sizeof(info));
    info.cbStruct = byteCount;
    std::memcpy(info.szObjType, folder.c_str(), (folder.size() + 1) * sizeof(WCHAR));
    return provider.getObjTypeInfo(&info);
  }

  LogCapture capture;
  Provider provider;
  OBJTYPEINFO info;
};

TEST_F(GetObjTypeInfoTest, AMissingDatabaseIsCreated) {
  EXPECT_EQ(Ask(u"WktActivities"), TRUE);
  ExpectLog(capture, Joined({kDailyJobsBegin, kCreated, kOpened, kInformationRead, kClosed,
                             kDailyJobsEnd, kDone}));
  EXPECT_EQ(Narrow(info.szName), "WktDevJobs");
  EXPECT_EQ(info.cObjects, 0u);
  EXPECT_EQ(info.cbAllObj, 0u);
  EXPECT_EQ(info.uFlags, 0xA5A5A5A5u);
}

TEST_F(GetObjTypeInfoTest, AnExistingDatabaseIsOpened) {
  EXPECT_EQ(Ask(u"WktActivities"), TRUE);
  capture.Take();
  EXPECT_EQ(Ask(u"WktActivities"), TRUE);
  ExpectLog(capture, Joined({kDailyJobsBegin, kFound, kOpened, kInformationRead, kClosed,
                             kDailyJobsEnd, kDone}));
}

TEST_F(GetObjTypeInfoTest, EachFolderHasItsDatabase) {
  EXPECT_EQ(Ask(u"WktFavorites"), TRUE);
  EXPECT_EQ(Narrow(info.szName), "WktDevFavJobs");
  capture.Take();
  EXPECT_EQ(Ask(u"WktTypes"), TRUE);
  EXPECT_EQ(Narrow(info.szName), "WktDevTypes");
  LogLines expected =
      Joined({kDailyJobsBegin, kCreated, kOpened, kInformationRead, kClosed, kDailyJobsEnd, kDone});
  const auto replace = [&expected](const std::string& from, const std::string& to) {
    for (std::string& line : expected) {
      for (size_t at; (at = line.find(from)) != std::string::npos;)
        line.replace(at, from.size(), to);
    }
  };
  replace("'WktActivities'", "'WktTypes'");
  replace("'WktDevJobs'", "'WktDevTypes'");
  replace("CJobDatabase", "CWktTypeDatabase");
  ExpectLog(capture, expected);
}

TEST_F(GetObjTypeInfoTest, CountSizeAndTimeAreTheDatabases) {
  IReplObjHandler* const handler = provider.Init(u"WktActivities", 1);
  CJobPacket packet(1);
  wkt::test::FillFromJob(packet, *wkt::test::MakeSampleJob());
  DWORD byteCount = 0;
  BYTE* const bytes = packet.ToBytes(&byteCount);
  REPLSETUP setup = {};
  setup.dwFlags = RSF_NEW_OBJECT;
  std::memcpy(setup.szObjType, u"WktActivities", 14 * sizeof(WCHAR));
  handler->Setup(&setup);
  EXPECT_EQ(handler->SetPacket(bytes, byteCount), S_OK);
  delete[] bytes;
  handler->Release();
  capture.Take();
  EXPECT_EQ(Ask(u"WktActivities"), TRUE);
  EXPECT_EQ(info.cObjects, 1u);
  EXPECT_GT(info.cbAllObj, 0u);
  EXPECT_EQ(wkt::test::Ticks(info.ftLastModified), wkt::test::kStartTicks);
  const LogLines lines = capture.Take();
  const auto size =
      std::find(lines.begin(), lines.end(), "256 Database size = " + std::to_string(info.cbAllObj));
  ASSERT_NE(size, lines.end());
  EXPECT_EQ(*(size - 1), "256 Record count = 1");
}

// What the platform itself says of a database.
CEDBASEINFOEX InformationOf(CEOID oid) {
  CEOIDINFOEX info = {};
  info.wVersion = CEOIDINFOEX_VERSION;
  CEGUID objectStore = {};
  EXPECT_TRUE(CeOidGetInfoEx2(&objectStore, oid, &info));
  return info.infDatabase;
}

// Empty, after the first record, the second, and without the first again, a minute apart.
TEST_F(GetObjTypeInfoTest, EachFolderFollowsItsDatabase) {
  struct Case {
    const char16_t* folder;
    const char16_t* database;
  };
  for (const Case& c : {Case{u"WktFavorites", u"WktDevFavJobs"},
                        {u"WktActivities", u"WktDevJobs"},
                        {u"WktTypes", u"WktDevTypes"}}) {
    wkt::test::RawDatabase database(c.database);
    const auto makeRecord = [&c](const char16_t* id) {
      return c.folder == std::u16string(u"WktTypes") ? wkt::test::RawType(id, 3)
                                                     : wkt::test::RawJob(id);
    };
    std::vector<UINT> sizes;
    const auto ask = [&](UINT count) {
      ASSERT_EQ(Ask(c.folder), TRUE);
      EXPECT_EQ(Narrow(info.szName), Narrow(c.database));
      EXPECT_EQ(info.cObjects, count);
      EXPECT_EQ(info.cbAllObj, InformationOf(database.GetOid()).dwSize);
      const LogLines lines = capture.Take();
      EXPECT_EQ(
          std::count(lines.begin(), lines.end(), "256 Record count = " + std::to_string(count)), 3)
          << "found, described, reported";
      sizes.push_back(info.cbAllObj);
    };
    ask(0);
    uint64_t changed = wkt::test::kStartTicks + 60ull * 10'000'000;
    device.FreezeClock(changed);
    const CEOID first = database.Add(makeRecord(u"1"));
    ask(1);
    EXPECT_EQ(wkt::test::Ticks(info.ftLastModified), changed);
    device.FreezeClock(changed += 60ull * 10'000'000);
    const CEOID second = database.Add(makeRecord(u"22"));
    ask(2);
    EXPECT_EQ(wkt::test::Ticks(info.ftLastModified), changed);
    device.FreezeClock(changed += 60ull * 10'000'000);
    EXPECT_TRUE(database.Delete(first));
    device.StepClockMilliseconds(60'000);
    ask(1);
    EXPECT_EQ(wkt::test::Ticks(info.ftLastModified), changed);
    EXPECT_TRUE(database.Delete(second));
    ask(0);
    EXPECT_EQ(sizes[0], 0u);
    EXPECT_GT(sizes[1], 0u);
    EXPECT_GT(sizes[2], 2 * sizes[1]) << "the second identifier is longer";
    EXPECT_EQ(sizes[3], sizes[2] - sizes[1]) << "what the first took is free";
    EXPECT_EQ(sizes[4], 0u);
  }
}

TEST_F(GetObjTypeInfoTest, AStructureOfAnotherSizeIsRefused) {
  for (const UINT byteCount : {383u, 385u, 0u, 0xFFFFFFFFu}) {
    EXPECT_EQ(Ask(u"WktActivities", byteCount), FALSE);
    const std::string got = std::to_string(static_cast<int32_t>(byteCount));
    ExpectLog(
        capture,
        Joined({{">GetObjTypeInfo", "16 Wrong structure size. Got " + got + ", expected 384."},
                kRefused}));
    EXPECT_EQ(info.cObjects, 0xA5A5A5A5u);
  }
  EXPECT_EQ(provider.getObjTypeInfo(nullptr), FALSE);
  ExpectLog(capture, Joined({{">GetObjTypeInfo"}, kRefused}));
}

TEST_F(GetObjTypeInfoTest, AnyOtherFolderNameIsUnsupported) {
  for (const std::u16string folder :
       {u"WktActivities ", u"wktactivities", u"WktActivitie", u" WktActivities", u"WKTTYPES", u"",
        u"WktDevJobs", u"WktTypes\n"}) {
    EXPECT_EQ(Ask(folder), FALSE);
    ExpectLog(capture, Joined({{">GetObjTypeInfo", "256 Folder type = '" + Narrow(folder) + "'",
                                "128 Unsupported folder type"},
                               kRefused}));
    EXPECT_EQ(info.cObjects, 0xA5A5A5A5u);
  }
}

TEST_F(GetObjTypeInfoTest, AFolderNameWithoutTerminatorIsReadToTheEndOfItsFieldOnly) {
  const std::u16string folder(99, u'x');
  Ask(folder);
  capture.Take();
  info.szObjType[99] = u'y';
  info.uFlags = 0x00410041;
  EXPECT_EQ(provider.getObjTypeInfo(&info), FALSE);
  EXPECT_EQ(capture.Take()[1], "256 Folder type = '" + std::string(99, 'x') + "y'");
}

TEST_F(GetObjTypeInfoTest, ADatabaseThatDoesNotOpenIsAFailure) {
  Ask(u"WktActivities");
  capture.Take();
  FailCall("CeOpenDatabaseEx2", 1, ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(Ask(u"WktActivities"), FALSE);
  EXPECT_FALSE(wkt::control::ClearFailures());
  ExpectLog(capture, Joined({kDailyJobsBegin,
                             kFound,
                             {"256 Opened handle = 4294967295", "<CDatabaseAid::OpenDatabase",
                              "8 Result (BOOL) = 0", "<CDatabaseAid::Open",
                              "32 Failed to open database 'WktDevJobs'"},
                             kDailyJobsEnd,
                             kRefused}));
  EXPECT_EQ(info.cObjects, 0xA5A5A5A5u);
}

TEST_F(GetObjTypeInfoTest, InformationThatCannotBeReadIsHandedOutAsFarAsItGoes) {
  Ask(u"WktActivities");
  capture.Take();
  FailCall("CeOidGetInfoEx2", 2, ERROR_INVALID_HANDLE);
  EXPECT_EQ(Ask(u"WktActivities"), TRUE);
  EXPECT_FALSE(wkt::control::ClearFailures());
  ExpectLog(capture,
            Joined({kDailyJobsBegin,
                    kFound,
                    kOpened,
                    {"4 pDBName = 'WktDevJobs'", "8 Result (CEOID) = 0",
                     "<CDatabaseAid::FindDatabase", "8 Result (BOOL) = 0",
                     "<CDatabaseAid::GetDatabaseInfo", "32 Failed to retrieve database info"},
                    kClosed,
                    kDailyJobsEnd,
                    kDone}));
  EXPECT_EQ(Narrow(info.szName), "");
  EXPECT_EQ(info.cObjects, 0u);
}

}  // namespace
