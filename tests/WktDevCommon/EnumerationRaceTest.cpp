#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <functional>

#include "WktDevCommon/SyncJobDatabase.h"
#include "WktDevCommon/SyncWktTypeDatabase.h"
#include "tests/WktDevCommon/DatabaseTest.h"
#include "tests/support/RawDatabase.h"

// Others add and delete records while a list is made: here after its first record.
namespace {

using wkt::test::RawDatabase;
using wkt::test::RawJob;
using wkt::test::RawRecord;
using wkt::test::RawType;
using Oids = std::vector<CEOID>;

constexpr char16_t kSynchronized[] = u"0010100000000000000";
constexpr char16_t kChanged[] = u"0010000000000000000";

// Runs once, at the first line that names a record of the list.
std::function<void()> meanwhile;
Lines seen;
void CEAPI Listen(DWORD level, const WCHAR* format, va_list) {
  const std::u16string text = format;
  if (level == wkt::kLogInconsistency)
    seen.emplace_back(text.begin(), text.end());
  if (text != u"OID = %d" || !meanwhile)
    return;
  const std::function<void()> now = std::move(meanwhile);
  meanwhile = nullptr;
  now();
}

class EnumerationRace : public wkt::test::DeskDeviceTest {
 protected:
  EnumerationRace() {
    seen.clear();
    wkt::logState.write = Listen;
  }
  ~EnumerationRace() override {
    wkt::logState.write = nullptr;
    meanwhile = nullptr;
    LocalFree(info.poid);
  }

  CEOID Add(const char16_t* flags) {
    return RawDatabase(u"WktDevJobs")
        .Add(RawJob(u"J").Set(0x400B001F, flags).Set(0x40080040, ++start));
  }
  Oids AddAll(const std::vector<const char16_t*>& flags) {
    Oids made;
    for (const char16_t* text : flags)
      made.push_back(Add(text));
    return made;
  }
  void List() {
    CSyncJobDatabase database(u"WktDevJobs");
    ASSERT_TRUE(database.Open(FALSE));
    EXPECT_EQ(database.ReadFindObjectInfo(&info, 0), S_OK);
    EXPECT_FALSE(meanwhile) << "the list was made without anybody in between";
  }
  // What stands in the first places.
  [[nodiscard]] Oids First(size_t count) const { return {info.poid, info.poid + count}; }

  uint64_t start = 1000;
  FINDOBJINFO info = {};
};

TEST_F(EnumerationRace, StopsAtTheFirstSynchronizedRecordTooMany) {
  const Oids oids = AddAll({kSynchronized, kSynchronized});
  meanwhile = [&] { AddAll({kSynchronized, kSynchronized}); };
  List();
  EXPECT_EQ(seen, Lines{"Unchanged count mismatch"});
  EXPECT_EQ(info.cUnChg, 2u);
  EXPECT_EQ(info.cChg, 0u);
  EXPECT_EQ(First(2), oids);
}

TEST_F(EnumerationRace, CountsTheFirstChangedRecordTooManyWithoutStoringIt) {
  const Oids oids = AddAll({kChanged, kChanged});
  meanwhile = [&] { AddAll({kChanged, kChanged}); };
  List();
  EXPECT_EQ(seen, Lines{"Changed dount mismatch"});
  EXPECT_EQ(info.cUnChg, 0u);
  EXPECT_EQ(info.cChg, 3u);
  EXPECT_EQ(First(2), (Oids{oids[1], oids[0]}));
}

// Neither count alone has reached the number of records, but all places are taken.
TEST_F(EnumerationRace, NeverWritesOverAnIdentifierThatIsListed) {
  const Oids oids = AddAll({kSynchronized, kChanged});
  meanwhile = [&] { Add(kSynchronized); };
  List();
  EXPECT_EQ(seen, Lines{"Unchanged count mismatch"});
  EXPECT_EQ(info.cUnChg, 1u);
  EXPECT_EQ(info.cChg, 1u);
  EXPECT_EQ(First(2), oids);
}

TEST_F(EnumerationRace, ClosesTheGapThatDeletedRecordsLeave) {
  const Oids oids = AddAll({kChanged, kChanged, kSynchronized, kChanged, kSynchronized});
  meanwhile = [&] {
    RawDatabase raw(u"WktDevJobs");
    raw.Delete(oids[1]);
    raw.Delete(oids[2]);
  };
  List();
  EXPECT_EQ(seen, Lines{});
  EXPECT_EQ(info.cUnChg, 1u);
  EXPECT_EQ(info.cChg, 2u);
  EXPECT_EQ(First(5), (Oids{oids[4], oids[3], oids[0], 0, 0}));
}

TEST_F(EnumerationRace, ListsTypesLikeJobs) {
  RawDatabase raw(u"WktDevTypes");
  uint64_t creation = 0;
  const auto add = [&](const char16_t* flags) {
    return raw.Add(RawType(u"T", 1).Set(0x4029001F, flags).Set(0x40240040, ++creation));
  };
  const Oids oids = {add(u"1001000000000000000"), add(u"0001000000000000000")};
  meanwhile = [&] { add(u"0001000000000000000"); };
  CSyncWktTypeDatabase database(u"WktDevTypes");
  ASSERT_TRUE(database.Open(FALSE));
  EXPECT_EQ(database.ReadFindObjectInfo(&info, 0), S_OK);
  EXPECT_EQ(seen, Lines{"Changed dount mismatch"});
  EXPECT_EQ(info.cUnChg, 1u);
  EXPECT_EQ(info.cChg, 2u);
  EXPECT_EQ(First(2), oids);
}

// A hundred thousand records, a third of them synchronized.
TEST_F(EnumerationRace, ListsAHundredThousandRecords) {
  wkt::logState.write = nullptr;
  constexpr uint32_t kRecords = 100'000;
  RawDatabase raw(u"WktDevJobs");
  RawRecord job = RawJob(u"J").Set(0x4004001F, u"");
  CEOID first = 0;
  for (uint32_t i = 0; i < kRecords; ++i) {
    job.Set(0x400B001F, i % 3 == 0 ? kSynchronized : kChanged).Set(0x40080040, uint64_t{i});
    const CEOID made = raw.Add(job);
    if (i == 0)
      first = made;
  }
  CSyncJobDatabase database(u"WktDevJobs");
  ASSERT_TRUE(database.Open(FALSE));
  EXPECT_EQ(database.ReadFindObjectInfo(&info, 0), S_OK);
  EXPECT_EQ(info.cUnChg, (kRecords + 2) / 3);
  EXPECT_EQ(info.cChg, kRecords - (kRecords + 2) / 3);
  EXPECT_EQ(info.poid[0], first);
  Oids all(info.poid, info.poid + kRecords);
  std::sort(all.begin(), all.end());
  EXPECT_EQ(std::adjacent_find(all.begin(), all.end()), all.end());
}

}  // namespace
