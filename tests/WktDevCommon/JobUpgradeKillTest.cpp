#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdarg>

#include "host/control/Desk.h"
#include "tests/WktDevCommon/UpgradeTest.h"

// Many records, and an upgrade that is killed on its way through them.
namespace {

using wkt::test::OldRawJob;
using wkt::test::RawDatabase;
using wkt::test::RawRecord;

constexpr const char16_t* kDatabases[] = {u"WktDevFavJobs", u"WktDevJobs"};
// Formatted lines before the first record is read, and for each record. The favourites come first.
constexpr int kLinesBefore = 16;
constexpr int kLinesPerRecord = 7;

int linesUntilDeath = 0;
void CEAPI DieAtALine(DWORD, const WCHAR*, va_list) {
  if (--linesUntilDeath == 0)
    raise(SIGKILL);
}

class JobUpgradeKill : public wkt::test::JobUpgrade {
 protected:
  void MakeRecords(int count) {
    for (const char16_t* const name : kDatabases) {
      RawDatabase database(name);
      for (int i = 0; i < count; ++i)
        database.Add(OldRawJob(u"J", i, -1, -2));
      oids.push_back(database.List());
    }
  }
  // The upgrade in a process of its own, which dies at that line.
  void KillAtLine(int line) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      std::string error;
      linesUntilDeath = line;
      wkt::logState = {};
      wkt::logState.write = DieAtALine;
      if (wkt::control::UseDevice(device.Folder(), error))
        CJobDatabase::UpgradeJobDatabases();
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << line;
  }
  static int Converted(const char16_t* name) {
    RawDatabase database(name);
    int count = 0;
    for (const CEOID oid : database.List())
      count += database.Read(oid).value_or(RawRecord()).Has(0x4013001F) ? 1 : 0;
    return count;
  }
  // No record lost or doubled, each with the texts of its own numbers.
  void ExpectAllConverted() {
    EXPECT_EQ(Version(), 74);
    for (size_t i = 0; i < 2; ++i) {
      RawDatabase database(kDatabases[i]);
      EXPECT_EQ(database.List(), oids[i]);
      for (const CEOID oid : oids[i]) {
        const RawRecord record = database.Read(oid).value_or(RawRecord());
        ASSERT_EQ(Texts(record), "'" + std::to_string(record.Number(0x40050003)) + "' '' ''");
      }
    }
  }

  std::vector<std::vector<CEOID>> oids;
};

TEST_F(JobUpgradeKill, ConvertsFiveThousandRecordsInEachDatabase) {
  MakeRecords(5000);
  wkt::logState = {};  // ten thousand records make a long log
  CJobDatabase::UpgradeJobDatabases();
  ExpectAllConverted();
}

// At each line of some record, at the last of the favourites and at the first of the daily jobs.
TEST_F(JobUpgradeKill, FinishesAfterBeingKilledHalfWay) {
  constexpr int kRecords = 100;
  constexpr int kDailyFrom = kLinesBefore + kRecords * kLinesPerRecord;
  MakeRecords(kRecords);
  wkt::control::LeaveDevice();
  for (const int line : {1, 40, 41, 42, 43, 44, 45, 46, 47, 300, kDailyFrom, kDailyFrom + 1,
                         kDailyFrom + 6, kDailyFrom + 7, kDailyFrom + 50 * kLinesPerRecord - 1})
    KillAtLine(line);
  device.Reopen();
  EXPECT_EQ(Version(), -100);
  EXPECT_EQ(Converted(u"WktDevFavJobs"), kRecords);
  EXPECT_EQ(Converted(u"WktDevJobs"), 49) << "the fiftieth is not written yet";
  CJobDatabase::UpgradeJobDatabases();
  ExpectAllConverted();
}

TEST_F(JobUpgradeKill, FinishesFiveThousandRecordsAfterKillsInBothDatabases) {
  constexpr int kRecords = 5000;
  constexpr int kDailyFrom = kLinesBefore + kRecords * kLinesPerRecord;
  MakeRecords(kRecords);
  wkt::control::LeaveDevice();
  KillAtLine(kLinesBefore + 2500 * kLinesPerRecord + 1);
  device.Reopen();
  EXPECT_EQ(Converted(u"WktDevFavJobs"), 2500);
  EXPECT_EQ(Converted(u"WktDevJobs"), 0);
  wkt::control::LeaveDevice();
  KillAtLine(kDailyFrom + 2500 * kLinesPerRecord + 1);
  device.Reopen();
  EXPECT_EQ(Converted(u"WktDevFavJobs"), kRecords);
  EXPECT_EQ(Converted(u"WktDevJobs"), 2500);
  wkt::logState = {};
  CJobDatabase::UpgradeJobDatabases();
  ExpectAllConverted();
}

}  // namespace
