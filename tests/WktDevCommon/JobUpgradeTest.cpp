#include <gtest/gtest.h>

#include <algorithm>

#include "host/control/Desk.h"
#include "tests/WktDevCommon/UpgradeTest.h"
#include "tests/support/RecordedCalls.h"

namespace {

using wkt::test::FailingCall;
using wkt::test::JobUpgrade;
using wkt::test::kIdTexts;
using wkt::test::kProgramKey;
using wkt::test::OldRawJob;
using wkt::test::RawDatabase;
using wkt::test::RawJob;
using wkt::test::RawRecord;
using wkt::test::RecordedCalls;

TEST_F(JobUpgrade, ConvertsBothDatabasesAndWritesTheVersion) {
  MakeOldDatabases();
  CJobDatabase::UpgradeJobDatabases();
  ExpectUpgraded();
}

TEST_F(JobUpgrade, LeavesTheOtherNineteenPropertiesAsTheyWere) {
  MakeOldDatabases();
  CJobDatabase::UpgradeJobDatabases();
  RawRecord after = *RawDatabase(u"WktDevJobs").Read(daily);
  for (const CEPROPID text : kIdTexts)
    after.Remove(text);
  EXPECT_EQ(after.Describe(), OldRawJob(u"D", -2147483647 - 1, 0, 2147483647).Describe());
}

TEST_F(JobUpgrade, TakesAVersionStoredAsTextForZero) {
  MakeOldDatabases();
  device.SetText(kProgramKey, u"DatabaseVersion", u"74");
  CJobDatabase::UpgradeJobDatabases();
  ExpectUpgraded();
}

// As many bytes as a number has.
TEST_F(JobUpgrade, TakesAVersionStoredAsOneLetterForZero) {
  MakeOldDatabases();
  device.SetText(kProgramKey, u"DatabaseVersion", u"7");
  CJobDatabase::UpgradeJobDatabases();
  ExpectUpgraded();
}

TEST_F(JobUpgrade, ConvertsAtAStoredVersionOfZero) {
  MakeOldDatabases();
  device.SetNumber(kProgramKey, u"DatabaseVersion", 0);
  CJobDatabase::UpgradeJobDatabases();
  ExpectUpgraded();
}

TEST_F(JobUpgrade, SkipsEverythingAtAnyPositiveVersion) {
  MakeOldDatabases();
  for (const uint32_t version : {1u, 73u, 74u, 75u}) {
    device.SetNumber(kProgramKey, u"DatabaseVersion", version);
    CJobDatabase::UpgradeJobDatabases();
    EXPECT_EQ(Version(), static_cast<int32_t>(version));
  }
  ExpectUntouched();
}

TEST_F(JobUpgrade, ReplacesANegativeVersionWithoutConverting) {
  MakeOldDatabases();
  device.SetNumber(kProgramKey, u"DatabaseVersion", 0xFFFFFFFF);
  CJobDatabase::UpgradeJobDatabases();
  ExpectUntouched();
  EXPECT_EQ(Version(), 74);
}

TEST_F(JobUpgrade, WritesTheVersionWhenADatabaseIsMissing) {
  daily = RawDatabase(u"WktDevJobs").Add(OldRawJob(u"D", 1, 2, 3));
  CJobDatabase::UpgradeJobDatabases();
  EXPECT_EQ(Texts(u"WktDevJobs", daily), "none none none");
  EXPECT_EQ(Version(), 74);
  EXPECT_FALSE(wkt::test::HasDatabase(u"WktDevFavJobs"));
}

TEST_F(JobUpgrade, WritesTheVersionWhenThereAreOnlyFavorites) {
  favorite = RawDatabase(u"WktDevFavJobs").Add(OldRawJob(u"F", 1, 2, 3));
  CJobDatabase::UpgradeJobDatabases();
  EXPECT_EQ(Texts(u"WktDevFavJobs", favorite), "none none none");
  EXPECT_EQ(Version(), 74);
  EXPECT_FALSE(wkt::test::HasDatabase(u"WktDevJobs"));
}

TEST_F(JobUpgrade, WritesTheVersionWhenBothDatabasesAreMissing) {
  CJobDatabase::UpgradeJobDatabases();
  EXPECT_EQ(Version(), 74);
  EXPECT_FALSE(wkt::test::HasDatabase(u"WktDevJobs"));
}

TEST_F(JobUpgrade, DoesNothingWhenTheKeyCannotBeOpened) {
  MakeOldDatabases();
  const FailingCall failure("RegCreateKeyExW", 1, ERROR_DISK_FULL);
  CJobDatabase::UpgradeJobDatabases();
  EXPECT_TRUE(failure.Happened());
  ExpectUntouched();
  EXPECT_EQ(Version(), -100);
}

TEST_F(JobUpgrade, EndsOnEmptyDatabases) {
  const RawDatabase favorites(u"WktDevFavJobs");
  const RawDatabase jobs(u"WktDevJobs");
  CJobDatabase::UpgradeJobDatabases();
  EXPECT_EQ(Version(), 74);
}

TEST_F(JobUpgrade, StopsADatabaseAtAWriteThatFailsAndGoesOnWithTheNext) {
  MakeOldDatabases();
  const FailingCall failure("CeWriteRecordProps", 1, ERROR_DISK_FULL);
  CJobDatabase::UpgradeJobDatabases();
  EXPECT_EQ(Texts(u"WktDevFavJobs", favorite), "none none none");
  EXPECT_EQ(Texts(u"WktDevJobs", daily), "'-2147483648' '0' '2147483647'");
  EXPECT_EQ(Version(), 74);
}

TEST_F(JobUpgrade, LeavesWhatFollowsAWriteThatFails) {
  { const RawDatabase favorites(u"WktDevFavJobs"); }
  RawDatabase jobs(u"WktDevJobs");
  const CEOID first = jobs.Add(OldRawJob(u"A", 1, 1, 1));
  const CEOID second = jobs.Add(OldRawJob(u"B", 2, 2, 2));
  const CEOID third = jobs.Add(OldRawJob(u"C", 3, 3, 3));
  const FailingCall failure("CeWriteRecordProps", 2, ERROR_DISK_FULL);
  CJobDatabase::UpgradeJobDatabases();
  EXPECT_TRUE(failure.Happened());
  EXPECT_EQ(Texts(u"WktDevJobs", first), "'1' '1' '1'");
  EXPECT_EQ(Texts(u"WktDevJobs", second), "none none none");
  EXPECT_EQ(Texts(u"WktDevJobs", third), "none none none");
}

TEST_F(JobUpgrade, TakesTheLockOfADatabaseThatIsNotOpen) {
  MakeOldDatabases();
  const FailingCall failure("CeOpenDatabaseEx2", 1, ERROR_NOT_ENOUGH_MEMORY);
  RecordedCalls calls;
  CJobDatabase::UpgradeJobDatabases();
  EXPECT_TRUE(failure.Happened());
  const Lines made = calls.Take();
  const auto count = [&made](const char* name) {
    return std::count_if(made.begin(), made.end(),
                         [name](const std::string& line) { return line.starts_with(name); });
  };
  EXPECT_EQ(count("WaitForSingleObject"), 2);
  EXPECT_EQ(count("ReleaseMutex"), 2);
  EXPECT_EQ(count("CeSeekDatabaseEx"), 1) << "only of the database that is open";
  EXPECT_EQ(Texts(u"WktDevFavJobs", favorite), "none none none");
  EXPECT_EQ(Texts(u"WktDevJobs", daily), "'-2147483648' '0' '2147483647'");
}

TEST_F(JobUpgrade, GoesOnAfterAFailedSeekOrRead) {
  for (const char* call : {"CeSeekDatabaseEx", "CeReadRecordPropsEx"}) {
    MakeOldDatabases();
    device.SetNumber(kProgramKey, u"DatabaseVersion", 0);
    const FailingCall failure(call, 1, ERROR_INVALID_PARAMETER);
    CJobDatabase::UpgradeJobDatabases();
    EXPECT_TRUE(failure.Happened()) << call;
    EXPECT_EQ(Texts(u"WktDevFavJobs", favorite), "none none none") << call;
    EXPECT_EQ(Texts(u"WktDevJobs", daily), "'-2147483648' '0' '2147483647'") << call;
  }
}

TEST_F(JobUpgrade, LeavesARecordOfThePresentLayoutWhenTheVersionIsLost) {
  RawDatabase favorites(u"WktDevFavJobs");
  favorite = favorites.Add(RawJob(u"F"));
  const CEOID empty =
      favorites.Add(RawJob(u"G").Set(kIdTexts[0], u"").Set(kIdTexts[1], u"").Remove(kIdTexts[2]));
  RawDatabase jobs(u"WktDevJobs");
  const CEOID old = jobs.Add(OldRawJob(u"O", -2, -2, -2));
  const CEOID mixed = jobs.Add(RawJob(u"M").Set(0x40060003, 7));
  CJobDatabase::UpgradeJobDatabases();
  EXPECT_EQ(Texts(u"WktDevFavJobs", favorite), "'WT' 'PR' 'TW'");
  EXPECT_EQ(Texts(u"WktDevFavJobs", empty), "'' '' none");
  EXPECT_EQ(Texts(u"WktDevJobs", old), "'' '' ''");
  EXPECT_EQ(Texts(u"WktDevJobs", mixed), "'' '7' ''");
}

// Of the three numbers some are missing: their texts are empty, and a record with none of them but
// with texts is one of the present layout.
TEST_F(JobUpgrade, ANumberThatIsMissingIsNoIdentifier) {
  RawDatabase favorites(u"WktDevFavJobs");
  favorite = favorites.Add(OldRawJob(u"F", 1, 2, 3).Remove(0x40050003));
  const CEOID none = favorites.Add(
      OldRawJob(u"N", 1, 2, 3).Remove(0x40050003).Remove(0x40060003).Remove(0x40070003));
  RawDatabase jobs(u"WktDevJobs");
  daily = jobs.Add(RawJob(u"D").Remove(0x40050003).Remove(0x40060003).Remove(0x40070003));
  CJobDatabase::UpgradeJobDatabases();
  EXPECT_EQ(Texts(u"WktDevFavJobs", favorite), "'' '2' '3'");
  EXPECT_EQ(Texts(u"WktDevFavJobs", none), "'' '' ''");
  EXPECT_EQ(Texts(u"WktDevJobs", daily), "'WT' 'PR' 'TW'");
  EXPECT_EQ(Version(), 74);
}

TEST_F(JobUpgrade, RunsTwiceWithTheSameResult) {
  MakeOldDatabases();
  CJobDatabase::UpgradeJobDatabases();
  const std::string once = RawDatabase(u"WktDevJobs").Read(daily)->Describe();
  device.DeleteValue(kProgramKey, u"DatabaseVersion");
  CJobDatabase::UpgradeJobDatabases();
  EXPECT_EQ(RawDatabase(u"WktDevJobs").Read(daily)->Describe(), once);
  ExpectUpgraded();
}

TEST_F(JobUpgrade, CallsThePlatformInThisOrder) {
  MakeOldDatabases();
  RecordedCalls calls;
  CJobDatabase::UpgradeJobDatabases();
  const Lines made = calls.Take();
  Lines described;
  for (const std::string& line : made) {
    if (line.starts_with("CeFind") || line.starts_with("CeOidGetInfoEx2"))
      continue;
    described.push_back(line.substr(0, line.find('(')) == "CloseHandle" ? "CloseHandle" : line);
  }
  const std::string read = "CeReadRecordPropsEx(ptr, 1, ptr, null, ptr, ptr, null)";
  const std::string open = "CeOpenDatabaseEx2(ptr, ptr, null, null, 1, null)";
  const std::string seek = "CeSeekDatabaseEx(ptr, 2, 0, 0, null)";
  const auto write = [](CEOID oid) {
    return "CeWriteRecordProps(ptr, " + std::to_string(oid) + ", 3, ptr)";
  };
  EXPECT_EQ(described,
            (Lines{
                "CreateMutexW(null, 0, null)",
                "CreateMutexW(null, 0, null)",
                "RegCreateKeyExW(ptr, 'SOFTWARE\\Worktally', 0, null, 0, 983103, null, null)",
                "RegQueryValueExW(ptr, 'DatabaseVersion', null, 4)",
                "CloseHandle",
                "CloseHandle",  // two enumerations to find them
                "CloseHandle",
                open,
                "CloseHandle",
                open,
                "WaitForSingleObject(ptr, 10000)",
                seek,
                read,
                write(favorite),
                "LocalFree(ptr)",
                read,
                "ReleaseMutex(ptr)",
                "WaitForSingleObject(ptr, 10000)",
                seek,
                read,
                write(daily),
                "LocalFree(ptr)",
                read,
                "ReleaseMutex(ptr)",
                "CloseHandle",
                "CloseHandle",
                "RegSetValueExW(ptr, 'DatabaseVersion', 0, 4, 4)",
                "CloseHandle",
                "CloseHandle",  // the mutexes
                "RegCloseKey(ptr)",
            }));
}

// A device on which a write moves the position back to the record written must not make it endless.
TEST_F(JobUpgrade, EndsWithTheSameResultWhereAWriteMovesThePosition) {
  device.SetCursorModel(wkt::control::CursorModel::WriteMovesPosition);
  MakeOldDatabases();
  RawDatabase jobs(u"WktDevJobs");
  std::vector<CEOID> more(20);
  for (int i = 0; i < 20; ++i)
    more[static_cast<size_t>(i)] = jobs.Add(OldRawJob(u"D", i, -1, -2));
  CJobDatabase::UpgradeJobDatabases();
  ExpectUpgraded();
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(Texts(u"WktDevJobs", more[static_cast<size_t>(i)]),
              "'" + std::to_string(i) + "' '' ''");
  }
  EXPECT_EQ(jobs.Count(), 21u);
}

}  // namespace
