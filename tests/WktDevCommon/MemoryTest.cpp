#include <gtest/gtest.h>

#include <cstdarg>
#include <memory>

#include "WktCommon/Allocation.h"
#include "WktCommon/Log.h"
#include "WktDevCommon/JobDatabase.h"
#include "WktDevCommon/SyncJobDatabase.h"
#include "WktDevCommon/WktTypeDatabase.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/RawDatabase.h"
#include "tests/support/Samples.h"

namespace {

using wkt::test::AllocationCounter;
using wkt::test::AllocationFailure;
using wkt::test::RawDatabase;
using wkt::test::RawJob;

void CEAPI Ignore(DWORD, const WCHAR*, va_list) {}

class Memory : public wkt::test::DeskDeviceTest {
 protected:
  Memory() : database(u"WktDevJobs") {
    wkt::logState = {};  // texts made for listeners are not counted
    EXPECT_TRUE(database.Open(TRUE));
  }
  ~Memory() override { wkt::ClearAllocationFailure(); }

  CJobDatabase database;
};

// Each text and list is one block at most, spare slots cost none.
TEST_F(Memory, ARecordIsBuiltWithFifteenAllocationsAtMost) {
  const std::unique_ptr<CJobLean> job = wkt::test::MakeSampleJob();
  WORD count = 0;
  const auto values = CJobDatabase::AllocPropertyArray(&count);
  CJobDatabase::FillPropValArray(values.get(), job.get(), -1);
  const AllocationCounter counter;
  const std::unique_ptr<CJobLean> built(database.CreateRecord(FALSE));
  CJobDatabase::FillJobBase(built.get(), {values.get(), count});
  EXPECT_LE(counter.Count(), 15u);
  wkt::test::ExpectSampleJob(*built);
}

// Whatever request finds no memory: the record is found whole or not at all.
TEST_F(Memory, NeverStoresARecordWithHoles) {
  const std::unique_ptr<CJobLean> job = wkt::test::MakeSampleJob();
  const CEOID oid = database.AddJob(job.get(), TRUE);
  const std::string whole = RawDatabase(u"WktDevJobs").Read(oid)->Describe();
  int refused = 0;
  for (size_t nth = 1; nth < 100; ++nth) {
    wkt::ClearAllocationFailure();
    CJobLean* found = nullptr;
    BOOL written = FALSE;
    bool happened = false;
    {
      const AllocationFailure failure(nth, AllocationFailure::Extent::AllLater);
      if (database.FindJob(oid, &found, TRUE) == oid) {
        written = database.ModifyJob(oid, found, TRUE);
      }
      happened = failure.Happened();
    }
    delete found;
    if (!happened)
      break;
    if (!written)
      ++refused;
    EXPECT_EQ(RawDatabase(u"WktDevJobs").Read(oid)->Describe(), whole) << nth;
  }
  EXPECT_GT(refused, 0);
  wkt::ClearAllocationFailure();
}

TEST_F(Memory, RefusesToWriteAfterATextWasLost) {
  CJobLean job(FALSE);
  wkt::NoteAllocationFailure();
  EXPECT_EQ(database.AddJob(&job, TRUE), 0u);
  EXPECT_EQ(database.GetLastErrorCode(), static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
  EXPECT_EQ(RawDatabase(u"WktDevJobs").Count(), 0u);
  wkt::ClearAllocationFailure();
  EXPECT_NE(database.AddJob(&job, TRUE), 0u);
}

// A record that cannot be built is listed as changed: it must not look deleted.
TEST_F(Memory, ListsEveryRecordWithoutMemory) {
  RawDatabase raw(u"WktDevJobs");
  for (int i = 0; i < 5; ++i)
    raw.Add(RawJob(u"J").Set(0x400B001F, u"0010100000000000000"));
  CSyncJobDatabase sync(u"WktDevJobs");
  ASSERT_TRUE(sync.Open(FALSE));
  for (const bool isHeard : {false, true}) {
    FINDOBJINFO info = {};
    wkt::logState.write = isHeard ? Ignore : nullptr;
    {
      const AllocationFailure failure(1, AllocationFailure::Extent::AllLater);
      EXPECT_EQ(sync.ReadFindObjectInfo(&info, 0), S_OK);
    }
    wkt::logState.write = nullptr;
    EXPECT_EQ(info.cChg, isHeard ? 5u : 0u);
    EXPECT_EQ(info.cUnChg, isHeard ? 0u : 5u);
    LocalFree(info.poid);
  }
}

TEST_F(Memory, OpensNothingWithoutMemoryForTheName) {
  const AllocationFailure failure(1, AllocationFailure::Extent::AllLater);
  CJobDatabase nameless(u"WktDevJobs");
  EXPECT_FALSE(nameless.Open(FALSE));
  EXPECT_EQ(nameless.GetName(), nullptr);
}

// Where memory ends, the upgrade of that database ends as at a write that fails: each record is
// converted whole or as it was, and the version is written all the same.
TEST(UpgradeWithoutMemory, ConvertsARecordWholeOrNotAtAll) {
  constexpr CEPROPID kWorkTypeText = 0x4013001F;
  bool happened = true;
  int untouched = 0;
  for (size_t nth = 1; happened; ++nth) {
    wkt::test::DeskDevice fresh;
    fresh.MakeInstallation(0);
    RawDatabase favorites(u"WktDevFavJobs");
    RawDatabase jobs(u"WktDevJobs");
    const std::pair<RawDatabase*, CEOID> made[] = {
        {&favorites, favorites.Add(wkt::test::OldRawJob(u"F", 1, 2, 3))},
        {&jobs, jobs.Add(wkt::test::OldRawJob(u"D", 1, 2, 3))},
        {&jobs, jobs.Add(wkt::test::OldRawJob(u"E", 1, 2, 3))}};
    wkt::ClearAllocationFailure();
    {
      const AllocationFailure failure(nth, AllocationFailure::Extent::AllLater);
      CJobDatabase::UpgradeJobDatabases();
      happened = failure.Happened();
    }
    for (const auto& [database, oid] : made) {
      const wkt::test::RawRecord record = database->Read(oid).value_or(wkt::test::RawRecord());
      if (record.Has(kWorkTypeText)) {
        EXPECT_EQ(record.Text(kWorkTypeText), u"1") << nth;
        EXPECT_EQ(record.Text(0x4014001F), u"2") << nth;
        EXPECT_EQ(record.Text(0x4015001F), u"3") << nth;
      } else {
        EXPECT_TRUE(happened) << nth;
        ++untouched;
      }
    }
  }
  EXPECT_GT(untouched, 0);
  wkt::ClearAllocationFailure();
}

}  // namespace
