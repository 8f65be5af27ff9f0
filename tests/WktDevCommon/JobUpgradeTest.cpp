#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdarg>

#include "WktDevCommon/JobDatabase.h"
#include "host/control/Desk.h"
#include "platform/Registry.h"
#include "tests/WktDevCommon/DatabaseTest.h"
#include "tests/support/RawDatabase.h"
#include "tests/support/RecordedCalls.h"

namespace {

using wkt::test::FailingCall;
using wkt::test::OldRawJob;
using wkt::test::RawDatabase;
using wkt::test::RawJob;
using wkt::test::RawRecord;
using wkt::test::RecordedCalls;

constexpr char16_t kKey[] = u"SOFTWARE\\Worktally";
constexpr CEPROPID kTexts[] = {0x4013001F, 0x4014001F, 0x4015001F};

class JobUpgrade : public DatabaseTest {
 protected:
  JobUpgrade() { device.DeleteValue(kKey, u"DatabaseVersion"); }

  // The stored version, or the type of a value that is no number, negative; -100 when missing.
  static int32_t Version() {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, KEY_READ, &key) != ERROR_SUCCESS)
      return -100;
    DWORD type = 0;
    int32_t value = 0;
    DWORD size = sizeof(value);
    const LONG code = RegQueryValueExW(key, u"DatabaseVersion", nullptr, &type,
                                       reinterpret_cast<BYTE*>(&value), &size);
    RegCloseKey(key);
    if (code != ERROR_SUCCESS)
      return -100;
    return type == REG_DWORD ? value : -static_cast<int32_t>(type);
  }

  static std::string Texts(const char16_t* database, CEOID oid) {
    const RawRecord record = RawDatabase(database).Read(oid).value_or(RawRecord());
    std::u16string all;
    for (const CEPROPID text : kTexts)
      all += (record.Has(text) ? u"'" + record.Text(text) + u"'" : u"none") + u" ";
    return {all.begin(), all.end() - 1};
  }

  // Both databases in the older layout, one job in each.
  void MakeOldDatabases() {
    favorite = RawDatabase(u"WktDevFavJobs").Add(OldRawJob(u"F", 12, -1, -2));
    daily = RawDatabase(u"WktDevJobs").Add(OldRawJob(u"D", -2147483647 - 1, 0, 2147483647));
  }
  void ExpectUpgraded() {
    EXPECT_EQ(Texts(u"WktDevFavJobs", favorite), "'12' '' ''");
    EXPECT_EQ(Texts(u"WktDevJobs", daily), "'-2147483648' '0' '2147483647'");
    EXPECT_EQ(Version(), 74);
  }
  void ExpectUntouched() {
    EXPECT_EQ(Texts(u"WktDevFavJobs", favorite), "none none none");
    EXPECT_EQ(Texts(u"WktDevJobs", daily), "none none none");
  }

  CEOID favorite = 0;
  CEOID daily = 0;
};

TEST_F(JobUpgrade, ConvertsBothDatabasesAndWritesTheVersion) {
  MakeOldDatabases();
  CJobDatabase::UpgradeJobDatabases();
  ExpectUpgraded();
}

TEST_F(JobUpgrade, LeavesTheOtherNineteenPropertiesAsTheyWere) {
  MakeOldDatabases();
  CJobDatabase::UpgradeJobDatabases();
  RawRecord after = *RawDatabase(u"WktDevJobs").Read(daily);
  for (const CEPROPID text : kTexts)
    after.Remove(text);
  EXPECT_EQ(after.Describe(), OldRawJob(u"D", -2147483647 - 1, 0, 2147483647).Describe());
}

TEST_F(JobUpgrade, TakesAVersionStoredAsTextForZero) {
  MakeOldDatabases();
  device.SetText(kKey, u"DatabaseVersion", u"74");
  CJobDatabase::UpgradeJobDatabases();
  ExpectUpgraded();
}

TEST_F(JobUpgrade, ConvertsAtAStoredVersionOfZero) {
  MakeOldDatabases();
  device.SetNumber(kKey, u"DatabaseVersion", 0);
  CJobDatabase::UpgradeJobDatabases();
  ExpectUpgraded();
}

TEST_F(JobUpgrade, SkipsEverythingAtAnyPositiveVersion) {
  MakeOldDatabases();
  for (const uint32_t version : {1u, 73u, 74u, 75u}) {
    device.SetNumber(kKey, u"DatabaseVersion", version);
    CJobDatabase::UpgradeJobDatabases();
    EXPECT_EQ(Version(), static_cast<int32_t>(version));
  }
  ExpectUntouched();
}

TEST_F(JobUpgrade, ReplacesANegativeVersionWithoutConverting) {
  MakeOldDatabases();
  device.SetNumber(kKey, u"DatabaseVersion", 0xFFFFFFFF);
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
  RawDatabase(u"WktDevFavJobs");
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
    device.SetNumber(kKey, u"DatabaseVersion", 0);
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
      favorites.Add(RawJob(u"G").Set(kTexts[0], u"").Set(kTexts[1], u"").Remove(kTexts[2]));
  RawDatabase jobs(u"WktDevJobs");
  const CEOID old = jobs.Add(OldRawJob(u"O", -2, -2, -2));
  const CEOID mixed = jobs.Add(RawJob(u"M").Set(0x40060003, 7));
  CJobDatabase::UpgradeJobDatabases();
  EXPECT_EQ(Texts(u"WktDevFavJobs", favorite), "'WT' 'PR' 'TW'");
  EXPECT_EQ(Texts(u"WktDevFavJobs", empty), "'' '' none");
  EXPECT_EQ(Texts(u"WktDevJobs", old), "'' '' ''");
  EXPECT_EQ(Texts(u"WktDevJobs", mixed), "'' '7' ''");
}

TEST_F(JobUpgrade, RunsTwiceWithTheSameResult) {
  MakeOldDatabases();
  CJobDatabase::UpgradeJobDatabases();
  const std::string once = RawDatabase(u"WktDevJobs").Read(daily)->Describe();
  device.DeleteValue(kKey, u"DatabaseVersion");
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
  std::vector<CEOID> more;
  for (int i = 0; i < 20; ++i)
    more.push_back(jobs.Add(OldRawJob(u"D", i, -1, -2)));
  CJobDatabase::UpgradeJobDatabases();
  ExpectUpgraded();
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(Texts(u"WktDevJobs", more[static_cast<size_t>(i)]),
              "'" + std::to_string(i) + "' '' ''");
  EXPECT_EQ(jobs.Count(), 21u);
}

TEST_F(JobUpgrade, ConvertsFiveThousandRecords) {
  RawDatabase favorites(u"WktDevFavJobs");
  RawDatabase jobs(u"WktDevJobs");
  std::vector<CEOID> made;
  for (int i = 0; i < 5000; ++i)
    made.push_back(jobs.Add(OldRawJob(u"D", i, i, i)));
  CJobDatabase::UpgradeJobDatabases();
  ASSERT_EQ(jobs.Count(), 5000u);
  for (int i = 0; i < 5000; i += 499) {
    const std::string number = "'" + std::to_string(i) + "'";
    EXPECT_EQ(Texts(u"WktDevJobs", made[static_cast<size_t>(i)]),
              number + " " + number + " " + number);
  }
}

// Dies at a log line, so at a known place of the upgrade.
int linesUntilDeath = 0;
void CEAPI DieAtALine(DWORD, const WCHAR*, va_list) {
  if (--linesUntilDeath == 0)
    raise(SIGKILL);
}

// Killed at different places: the next start finishes, and no record is lost or doubled.
TEST_F(JobUpgrade, FinishesAfterBeingKilledHalfWay) {
  constexpr int kRecords = 100;
  {
    RawDatabase favorites(u"WktDevFavJobs");
    RawDatabase jobs(u"WktDevJobs");
    for (int i = 0; i < kRecords; ++i)
      jobs.Add(OldRawJob(u"D", i, -1, -2));
  }
  wkt::control::LeaveDevice();
  for (const int lines : {1, 40, 41, 42, 43, 44, 45, 46, 47, 300, 500}) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      std::string error;
      linesUntilDeath = lines;
      wkt::logState.write = DieAtALine;
      if (wkt::control::UseDevice(device.Folder(), error))
        CJobDatabase::UpgradeJobDatabases();
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << lines;
  }
  device.Reopen();
  RawDatabase jobs(u"WktDevJobs");
  const std::vector<CEOID> oids = jobs.List();
  ASSERT_EQ(oids.size(), static_cast<size_t>(kRecords));
  EXPECT_EQ(Version(), -100);
  EXPECT_NE(Texts(u"WktDevJobs", oids.front()), "none none none");
  EXPECT_EQ(Texts(u"WktDevJobs", oids.back()), "none none none");
  CJobDatabase::UpgradeJobDatabases();
  EXPECT_EQ(Version(), 74);
  EXPECT_EQ(jobs.List(), oids);
  for (const CEOID oid : oids) {
    const RawRecord record = jobs.Read(oid).value_or(RawRecord());
    EXPECT_EQ(Texts(u"WktDevJobs", oid),
              "'" + std::to_string(record.Number(0x40050003)) + "' '' ''");
  }
}

TEST_F(JobUpgrade, LogsWhatItDoes) {
  RawDatabase(u"WktDevFavJobs").Add(OldRawJob(u"F", 12, -1, -2));
  const RawDatabase jobs(u"WktDevJobs");
  log.Take();
  CJobDatabase::UpgradeJobDatabases();
  const Lines lines = log.Take();
  // The part between the locks of the favourites: one record, then the end.
  const auto from = std::find(lines.rbegin(), lines.rend(), ">CJobDatabase::CreateRecord");
  ASSERT_NE(from, lines.rend());
  const auto until = std::find(from.base(), lines.end(), ">CDatabaseAid::CloseDatabase");
  wkt::test::ExpectLog(Lines(from.base() - 1, until), {
                                                          ">CJobDatabase::CreateRecord",
                                                          ">CJobLean::CJobLean",
                                                          "4 Make new = 1",
                                                          "512 this = A1",
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
                                                          "512 this = A1",
                                                          "<CJobLean::~CJobLean",
                                                      });
}

}  // namespace
