#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>

#include "WktDevCommon/SyncJobDatabase.h"
#include "WktDevCommon/SyncWktTypeDatabase.h"
#include "tests/WktDevCommon/DatabaseTest.h"
#include "tests/WktDevCommon/Meanwhile.h"
#include "tests/support/RawDatabase.h"
#include "tests/support/Text.h"

namespace {

using wkt::control::CursorModel;
using wkt::test::meanwhile;
using wkt::test::readsUntilThen;
using wkt::test::writesUntilThen;
using Words = wkt::test::NeighbourWords;
using wkt::test::RawDatabase;
using wkt::test::RawJob;
using wkt::test::RawRecord;
using wkt::test::RawType;
using Oids = std::vector<CEOID>;

enum class Listeners { None, One };
struct Way {
  const char* name;
  bool isTypes;
  Listeners listeners;
  CursorModel cursor;
};

void PrintTo(const Way& way, std::ostream* out) {
  *out << way.name;
}

Lines inconsistencies;
void CEAPI Listen(DWORD level, const WCHAR* format, va_list) {
  if (level == 16)
    inconsistencies.push_back(wkt::test::Narrow(format));
}

// Other programs add and delete records while a list is made, here after its first record. With and
// without listeners, whose lists are made in different ways; under both readings of the cursor.
class EnumerationRace : public wkt::test::DeskDeviceTest, public testing::WithParamInterface<Way> {
 protected:
  EnumerationRace() {
    inconsistencies.clear();
    device.SetCursorModel(GetParam().cursor);
    wkt::logState = {};
    wkt::logState.write = GetParam().listeners == Listeners::One ? Listen : nullptr;
  }
  ~EnumerationRace() override {
    wkt::logState.write = nullptr;
    LocalFree(info.poid);
  }

  [[nodiscard]] static const char16_t* Name() {
    return GetParam().isTypes ? u"WktDevTypes" : u"WktDevJobs";
  }
  // 'c' changed, 's' synchronized, 'e' synchronized and edited meanwhile.
  [[nodiscard]] static std::u16string Flags(char state) {
    const size_t first = GetParam().isTypes ? 0 : 4;
    std::u16string flags = GetParam().isTypes ? u"0001000000000000000" : u"0010000000000000000";
    if (state != 'c')
      flags[first] = u'1';
    if (state == 'e')
      flags[first + 2] = u'1';
    return flags;
  }
  static Oids Add(const std::string& states) {
    RawDatabase database(Name());
    Oids made;
    for (const char state : states) {
      RawRecord record = GetParam().isTypes ? RawType(u"T", 1).Set(0x4029001F, Flags(state))
                                            : RawJob(u"J").Set(0x400B001F, Flags(state));
      made.push_back(database.Add(record));
    }
    return made;
  }
  static std::u16string StoredFlags(CEOID oid) {
    const auto record = RawDatabase(Name()).Read(oid);
    if (!record)
      return u"gone";
    return record->Text(GetParam().isTypes ? 0x4029001F : 0x400B001F);
  }

  void AddMeanwhile(const std::string& states) {
    Words words = Neighbour("add");
    for (const char state : states)
      words.push_back(wkt::test::Narrow(Flags(state)));
    meanwhile.push_back(words);
  }
  void DeleteMeanwhile(const Oids& oids) {
    Words words = Neighbour("delete");
    for (const CEOID oid : oids)
      words.push_back(std::to_string(oid));
    meanwhile.push_back(words);
  }

  // They act after the first record was read.
  void List() {
    readsUntilThen = 2;
    MakeList();
  }
  void MakeList() {
    EXPECT_EQ(GetParam().isTypes ? ListIn<CSyncWktTypeDatabase>() : ListIn<CSyncJobDatabase>(),
              S_OK);
    EXPECT_TRUE(meanwhile.empty()) << "the list was made without anybody in between";
  }
  // What stands in the first places.
  [[nodiscard]] Oids First(size_t count) const { return {info.poid, info.poid + count}; }
  void ExpectCounts(UINT unchanged, UINT changed) const {
    EXPECT_EQ(info.cUnChg, unchanged);
    EXPECT_EQ(info.cChg, changed);
  }
  void ExpectLine(const std::string& line) const {
    EXPECT_EQ(inconsistencies, GetParam().listeners == Listeners::One ? Lines{line} : Lines{});
  }

  FINDOBJINFO info = {};

 private:
  [[nodiscard]] Words Neighbour(const std::string& verb) const {
    return {WKT_NEIGHBOUR, device.Folder(), wkt::test::Narrow(Name()), verb};
  }
  template <class Database>
  HRESULT ListIn() {
    Database database(Name());
    EXPECT_TRUE(database.Open(FALSE));
    return database.ReadFindObjectInfo(&info, 0);
  }
};

TEST_P(EnumerationRace, StopsAtTheFirstSynchronizedRecordTooMany) {
  const Oids oids = Add("ss");
  AddMeanwhile("ss");
  List();
  ExpectLine("Unchanged count mismatch");
  ExpectCounts(2, 0);
  EXPECT_EQ(First(2), oids);
}

TEST_P(EnumerationRace, CountsTheFirstChangedRecordTooManyWithoutStoringIt) {
  const Oids oids = Add("cc");
  AddMeanwhile("cc");
  List();
  ExpectLine("Changed dount mismatch");
  ExpectCounts(0, 3);
  EXPECT_EQ(First(2), (Oids{oids[1], oids[0]}));
}

// Each way through the array is as long as the array; where they meet, the later one goes on.
TEST_P(EnumerationRace, ALaterSynchronizedRecordTakesThePlaceOfAChangedOne) {
  const Oids oids = Add("sc");
  AddMeanwhile("sss");
  List();
  const Oids all = RawDatabase(Name()).List();
  ExpectLine("Unchanged count mismatch");
  ExpectCounts(2, 1);
  EXPECT_EQ(First(2), (Oids{oids[0], all[2]}));
}

TEST_P(EnumerationRace, ALaterChangedRecordTakesThePlaceOfASynchronizedOne) {
  const Oids oids = Add("sc");
  AddMeanwhile("ccc");
  List();
  const Oids all = RawDatabase(Name()).List();
  ExpectLine("Changed dount mismatch");
  ExpectCounts(1, 3);
  EXPECT_EQ(First(2), (Oids{all[2], oids[1]}));
}

// The sum of the counts tells that identifiers are missing, even where no way came to its end.
TEST_P(EnumerationRace, CountsAddUpToMoreThanThePlacesWhenOneWasTaken) {
  Add("ssc");
  AddMeanwhile("s");
  List();
  EXPECT_EQ(inconsistencies, Lines{});
  ExpectCounts(3, 1);
}

// Changed identifiers stay where they were stored, from the end backwards; a reader who goes on
// behind the unchanged ones meets each of them once.
TEST_P(EnumerationRace, RepeatsChangedIdentifiersInTheGapThatDeletedRecordsLeave) {
  const Oids oids = Add("ccscs");
  DeleteMeanwhile({oids[1], oids[2]});
  List();
  EXPECT_EQ(inconsistencies, Lines{});
  ExpectCounts(1, 2);
  EXPECT_EQ(First(5), (Oids{oids[4], oids[3], oids[0], oids[3], oids[0]}));
}

TEST_P(EnumerationRace, RepeatsOnlyWhatAReaderWouldMiss) {
  const Oids oids = Add("cccc");
  DeleteMeanwhile({oids[1]});
  List();
  ExpectCounts(0, 3);
  EXPECT_EQ(First(4), (Oids{oids[0], oids[3], oids[2], oids[0]}));
}

TEST_P(EnumerationRace, ListsWhatIsLeftWhenAllOthersAreDeleted) {
  const Oids oids = Add("scs");
  DeleteMeanwhile({oids[1], oids[2]});
  List();
  ExpectCounts(1, 0);
  EXPECT_EQ(First(3), (Oids{oids[0], 0, 0}));
}

TEST_P(EnumerationRace, ListsWhatWasAddedInThePlaceOfWhatWasDeleted) {
  const Oids oids = Add("scc");
  DeleteMeanwhile({oids[1]});
  AddMeanwhile("s");
  List();
  const Oids all = RawDatabase(Name()).List();
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(inconsistencies, Lines{});
  ExpectCounts(2, 1);
  EXPECT_EQ(First(3), (Oids{oids[0], all[2], oids[2]}));
}

TEST_P(EnumerationRace, WritesBackWhileOthersAddAndDelete) {
  const Oids oids = Add("eece");
  DeleteMeanwhile({oids[1], oids[2]});
  AddMeanwhile("ec");
  List();
  const Oids all = RawDatabase(Name()).List();
  ASSERT_EQ(all.size(), 4u);
  ExpectCounts(3, 1);
  EXPECT_EQ(First(4), (Oids{oids[0], oids[3], all[2], all[3]}));
  for (const CEOID oid : {oids[0], oids[3], all[2]})
    EXPECT_EQ(StoredFlags(oid), Flags('s'));
  EXPECT_EQ(StoredFlags(all[3]), Flags('c'));
}

TEST_P(EnumerationRace, DoesNotBringBackARecordThatIsDeletedBeforeItIsWrittenBack) {
  const Oids oids = Add("es");
  DeleteMeanwhile({oids[0]});
  writesUntilThen = 1;
  MakeList();
  ExpectLine("Write failed; Error = %d");
  EXPECT_EQ(First(2), oids);
  EXPECT_EQ(info.cUnChg, 2u);
  EXPECT_EQ(RawDatabase(Name()).List(), Oids{oids[1]});
}

class RecordRace : public EnumerationRace {
 protected:
  // Whether the record is found when they act between the seek and the read.
  static bool Find(CEOID oid) {
    readsUntilThen = 1;
    if (GetParam().isTypes) {
      CSyncWktTypeDatabase database(Name());
      CWktTypeLean* found = nullptr;
      EXPECT_TRUE(database.Open(FALSE));
      const CEOID answer = database.FindWktType(oid, &found, TRUE);
      const wkt::TypePtr owned(found);
      EXPECT_EQ(answer, found ? oid : 0);
      return found != nullptr;
    }
    CSyncJobDatabase database(Name());
    CJobLean* found = nullptr;
    EXPECT_TRUE(database.Open(FALSE));
    const CEOID answer = database.FindJob(oid, &found, TRUE);
    const std::unique_ptr<CJobLean> owned(found);
    EXPECT_EQ(answer, found ? oid : 0);
    return found != nullptr;
  }
};

// The platform hands out the successor of a record that is gone.
TEST_P(RecordRace, NeverFindsAnotherRecordThanTheOneAskedFor) {
  const Oids oids = Add("sss");
  DeleteMeanwhile({oids[0]});
  EXPECT_FALSE(Find(oids[0]));
  EXPECT_TRUE(meanwhile.empty());
  DeleteMeanwhile({oids[1]});
  EXPECT_TRUE(Find(oids[2]));
  EXPECT_TRUE(meanwhile.empty());
}

constexpr Way kWays[] = {
    {"Jobs", false, Listeners::One, CursorModel::WriteKeepsPosition},
    {"JobsUnheard", false, Listeners::None, CursorModel::WriteKeepsPosition},
    {"JobsOtherCursor", false, Listeners::One, CursorModel::WriteMovesPosition},
    {"JobsUnheardOtherCursor", false, Listeners::None, CursorModel::WriteMovesPosition},
    {"Types", true, Listeners::One, CursorModel::WriteKeepsPosition},
    {"TypesUnheard", true, Listeners::None, CursorModel::WriteKeepsPosition},
    {"TypesOtherCursor", true, Listeners::One, CursorModel::WriteMovesPosition},
    {"TypesUnheardOtherCursor", true, Listeners::None, CursorModel::WriteMovesPosition},
};
std::string NameOf(const testing::TestParamInfo<Way>& way) {
  return way.param.name;
}
INSTANTIATE_TEST_SUITE_P(Ways, EnumerationRace, testing::ValuesIn(kWays), NameOf);
INSTANTIATE_TEST_SUITE_P(Ways, RecordRace, testing::ValuesIn(kWays), NameOf);

// A hundred thousand records, a third of them synchronized.
class LongEnumeration : public wkt::test::DeskDeviceTest {
 protected:
  template <class Database>
  void ExpectList(const WCHAR* name, RawRecord record, CEPROPID flags, const WCHAR* synchronized) {
    constexpr uint32_t kRecords = 100'000;
    RawDatabase raw(name);
    CEOID first = 0;
    for (uint32_t i = 0; i < kRecords; ++i) {
      record.Set(flags, i % 3 == 0 ? synchronized : u"0000000000000000000");
      const CEOID made = raw.Add(record);
      if (i == 0)
        first = made;
    }
    Database database(name);
    ASSERT_TRUE(database.Open(FALSE));
    FINDOBJINFO info = {};
    EXPECT_EQ(database.ReadFindObjectInfo(&info, 0), S_OK);
    EXPECT_EQ(info.cUnChg, (kRecords + 2) / 3);
    EXPECT_EQ(info.cChg, kRecords - (kRecords + 2) / 3);
    EXPECT_EQ(info.poid[0], first);
    Oids all(info.poid, info.poid + kRecords);
    std::sort(all.begin(), all.end());
    EXPECT_EQ(std::adjacent_find(all.begin(), all.end()), all.end());
    LocalFree(info.poid);
  }
};

TEST_F(LongEnumeration, ListsAHundredThousandJobs) {
  ExpectList<CSyncJobDatabase>(u"WktDevJobs", RawJob(u"J").Set(0x4004001F, u""), 0x400B001F,
                               u"0000100000000000000");
}

TEST_F(LongEnumeration, ListsAHundredThousandTypes) {
  ExpectList<CSyncWktTypeDatabase>(u"WktDevTypes", RawType(u"T", 1), 0x4029001F,
                                   u"1000000000000000000");
}

}  // namespace
