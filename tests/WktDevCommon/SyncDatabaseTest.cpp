#include <gtest/gtest.h>

#include <algorithm>

#include "WktDevCommon/ObjectList.h"
#include "host/control/Desk.h"
#include "tests/WktDevCommon/EnumerationTest.h"
#include "tests/support/RecordedCalls.h"

namespace {

using wkt::test::ExpectLog;
using wkt::test::FailingCall;
using wkt::test::RawDatabase;
using wkt::test::RawJob;
using wkt::test::RawType;
using wkt::test::RecordedCalls;

using SyncDatabase = EnumerationTest;

TEST_F(SyncDatabase, ListsUnchangedFromTheFrontAndChangedFromTheBack) {
  const Oids oids = AddJobs({u"0010000000000000000", kSynchronized, u"0010000000000000000",
                             kSynchronized, u"0010010000000000000"});
  EXPECT_EQ(FindJobs(), S_OK);
  EXPECT_EQ(info.cUnChg, 2u);
  EXPECT_EQ(info.cChg, 3u);
  EXPECT_EQ(Listed(), (Oids{oids[1], oids[3], oids[4], oids[2], oids[0]}));
  EXPECT_EQ(info.lpbVolumeID, nullptr);
  EXPECT_EQ(info.cbVolumeID, 0u);
}

TEST_F(SyncDatabase, LooksAtThePartnerAsked) {
  const Oids oids = AddJobs({u"0010010000000000000", kSynchronized});
  EXPECT_EQ(FindJobs(1), S_OK);
  EXPECT_EQ(Listed(), (Oids{oids[0], oids[1]}));
  EXPECT_EQ(info.cUnChg, 1u);
}

TEST_F(SyncDatabase, ReportsEveryRecordAsChangedToAPartnerBeyondTheSecond) {
  AddJobs({u"0010110000000000000", u"0010110000000000000"});
  for (const DWORD partner : {2u, 7u, 0xFFFFFFFFu}) {
    EXPECT_EQ(FindJobs(partner), S_OK);
    EXPECT_EQ(info.cChg, 2u);
    EXPECT_EQ(info.cUnChg, 0u);
    LocalFree(info.poid);
    info = {};
  }
}

TEST_F(SyncDatabase, FillsTheListFromTheFrontWhenAllAreSynchronized) {
  const Oids oids = AddJobs({kSynchronized, kSynchronized, kSynchronized});
  EXPECT_EQ(FindJobs(), S_OK);
  EXPECT_EQ(info.cChg, 0u);
  EXPECT_EQ(info.cUnChg, 3u);
  EXPECT_EQ(Listed(), oids);
}

TEST_F(SyncDatabase, FillsTheListFromTheEndWhenNoneIsSynchronized) {
  const Oids oids = AddJobs({u"0010000000000000000", u"0010010000000000000"});
  EXPECT_EQ(FindJobs(), S_OK);
  EXPECT_EQ(info.cUnChg, 0u);
  EXPECT_EQ(Listed(), (Oids{oids[1], oids[0]}));
}

TEST_F(SyncDatabase, LeavesTheStructureAloneForAnEmptyDatabase) {
  info.cChg = 77;
  info.cUnChg = 78;
  log.Take();
  EXPECT_EQ(FindJobs(), S_OK);
  EXPECT_EQ(info.poid, nullptr);
  EXPECT_EQ(info.cChg, 77u);
  EXPECT_EQ(info.cUnChg, 78u);
  const Lines lines = log.Take();
  EXPECT_EQ(LinesWith(lines, "Database is empty"), Lines{"256 Database is empty"});
  EXPECT_EQ(LinesWith(lines, "HRESULT"), Lines{"8 Result (HRESULT) = 0"});
}

// Of two records, the second of which is written back.
Lines CallsOfAList(CEOID database, CEOID marked, const std::string& propertyCount) {
  const std::string read = "CeReadRecordPropsEx(ptr, 1, ptr, null, ptr, ptr, null)";
  return {
      "CeFindFirstDatabaseEx(null, 291166)",
      "CeFindNextDatabase(ptr)",
      "CeOidGetInfoEx2(ptr, " + std::to_string(database) + ", ptr)",
      "CloseHandle(ptr)",
      "LocalAlloc(64, 8)",
      "CeSeekDatabaseEx(ptr, 2, 0, 0, null)",
      read,
      "LocalFree(ptr)",
      read,
      "WaitForSingleObject(ptr, 10000)",
      "CeWriteRecordProps(ptr, " + std::to_string(marked) + ", " + propertyCount + ", ptr)",
      "ReleaseMutex(ptr)",
      "LocalFree(ptr)",
      read,
  };
}

TEST_F(SyncDatabase, CallsThePlatformInThisOrder) {
  const Oids oids = AddJobs({u"0010000000000000000", kEditedWhileSynchronized});
  CSyncJobDatabase database(u"WktDevJobs");
  ASSERT_TRUE(database.Open(FALSE));
  RecordedCalls calls;
  EXPECT_EQ(database.ReadFindObjectInfo(&info, 0), S_OK);
  EXPECT_EQ(calls.Take(), CallsOfAList(database.GetOid(), oids[1], "22"));
}

TEST_F(SyncDatabase, CallsThePlatformForTypesInTheSameOrder) {
  AddType(2, u"0001000000000000000", 1);
  const CEOID marked = AddType(5, u"1011000000000000000", 2);
  CSyncWktTypeDatabase database(u"WktDevTypes");
  ASSERT_TRUE(database.Open(FALSE));
  RecordedCalls calls;
  EXPECT_EQ(database.ReadFindObjectInfo(&info, 0), S_OK);
  EXPECT_EQ(calls.Take(), CallsOfAList(database.GetOid(), marked, "15"));
}

TEST_F(SyncDatabase, AJobKeepsItsModificationTimeWhenTheMarkIsCleared) {
  const Oids oids = AddJobs({kEditedWhileSynchronized});
  const uint64_t before = RawDatabase(u"WktDevJobs").Read(oids[0])->Time(0x40020040);
  EXPECT_EQ(FindJobs(), S_OK);
  EXPECT_EQ(info.cUnChg, 1u);
  const auto after = RawDatabase(u"WktDevJobs").Read(oids[0]);
  EXPECT_EQ(after->Text(kJobFlags), kSynchronized);
  EXPECT_EQ(after->Time(0x40020040), before);
}

// The gate of the mark's setter: it works only while position 3 is on.
TEST_F(SyncDatabase, ATypeIsStampedWhenTheMarkIsCleared) {
  const CEOID gateOn = AddType(1, u"1011100000000000000", 1);
  const CEOID gateOff = AddType(1, u"1010100000000000000", 2);
  RecordedCalls calls;
  EXPECT_EQ(FindTypes(), S_OK);
  int writes = 0;
  for (const std::string& call : calls.Take())
    writes += call.starts_with("CeWriteRecordProps");
  EXPECT_EQ(writes, 2);
  EXPECT_EQ(info.cUnChg, 2u);
  RawDatabase raw(u"WktDevTypes");
  EXPECT_EQ(raw.Read(gateOn)->Text(kTypeFlags), u"1001100000000000000");
  EXPECT_EQ(raw.Read(gateOn)->Time(0x40230040), wkt::test::kStartTicks);
  EXPECT_EQ(raw.Read(gateOff)->Text(kTypeFlags), u"1010100000000000000");
  EXPECT_NE(raw.Read(gateOff)->Time(0x40230040), wkt::test::kStartTicks);
}

TEST_F(SyncDatabase, ListsATypeOfAnUnknownKindAsChanged) {
  const CEOID known = AddType(1, u"1001000000000000000", 1);
  const CEOID unknown = AddType(9, u"1001000000000000000", 2);
  log.Take();
  EXPECT_EQ(FindTypes(), S_OK);
  EXPECT_EQ(Listed(), (Oids{known, unknown}));
  EXPECT_EQ(info.cChg, 1u);
  const Lines lines = log.Take();
  const auto from = std::find(lines.begin(), lines.end(), "256 Type of type = 9");
  ASSERT_NE(from, lines.end());
  ExpectLog(Lines(from, from + 4),
            {"256 Type of type = 9", ">CWktTypeDatabase::CreateRecord",
             "<CWktTypeDatabase::CreateRecord", "256 Type is not synchronized"});
}

TEST_F(SyncDatabase, FreesTheListWhenTheManagerIsDone) {
  AddJobs({kSynchronized});
  EXPECT_EQ(FindJobs(), S_OK);
  info.uFlags = FO_DONE_ONE_VOL | FO_MORE_VOLUME;
  CSyncJobDatabase closed(u"WktDevJobs");
  log.Take();
  RecordedCalls calls;
  EXPECT_EQ(closed.ReadFindObjectInfo(&info, 0), S_OK);
  EXPECT_EQ(closed.ReadFindObjectInfo(&info, 0), S_OK);
  EXPECT_EQ(calls.Take(), Lines{"LocalFree(ptr)"});
  EXPECT_EQ(info.poid, nullptr);
  EXPECT_EQ(LinesWith(log.Take(), "Flag"),
            (Lines{"256 Flag = FO_DONE_ONE_VOL", "256 Flag = FO_MORE_VOLUME",
                   "256 Flag = FO_DONE_ONE_VOL", "256 Flag = FO_MORE_VOLUME"}));
}

// Four bytes each: these counts, multiplied in 32 bits, would ask for a few bytes or none.
TEST_F(SyncDatabase, MakesNoListForMoreRecordsThanMemoryHolds) {
  for (const LONG count : {-1, 0x40000001, 0x7FFFFFFF}) {
    UINT before = 0;
    info.poid = &before;
    wkt::ObjectList list(count);
    EXPECT_FALSE(list.Allocate(info)) << count;
    EXPECT_EQ(info.poid, nullptr) << count;
  }
}

TEST_F(SyncDatabase, FailsWhenItIsNotOpen) {
  CSyncJobDatabase closed(u"WktDevJobs");
  log.Take();
  EXPECT_EQ(closed.ReadFindObjectInfo(&info, 0), E_UNEXPECTED);
  ExpectLog(log, {">CSyncJobDatabase::ReadFindObjectInfo", "4 pFindObjectInfo = A1; pcNumber = 0",
                  "16 Database not open", "8 Result (HRESULT) = -2147418113",
                  "<CSyncJobDatabase::ReadFindObjectInfo"});
}

TEST_F(SyncDatabase, FailsWithoutDescriptionOrMemory) {
  AddJobs({kSynchronized});
  CSyncJobDatabase database(u"WktDevJobs");
  ASSERT_TRUE(database.Open(FALSE));
  log.Take();
  {
    const FailingCall failure("CeOidGetInfoEx2", 1, ERROR_INVALID_HANDLE);
    EXPECT_EQ(database.ReadFindObjectInfo(&info, 0), E_UNEXPECTED);
  }
  EXPECT_EQ(LinesWith(log.Take(), "32 "), Lines{"32 Failed to get database info"});
  const FailingCall failure("LocalAlloc", 1, ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(database.ReadFindObjectInfo(&info, 0), E_UNEXPECTED);
  EXPECT_EQ(LinesWith(log.Take(), "32 "), Lines{"32 Out of memory"});
  EXPECT_EQ(info.poid, nullptr);
}

TEST_F(SyncDatabase, ReportsNothingWhenTheSeekFails) {
  AddJobs({kSynchronized, kSynchronized});
  const FailingCall failure("CeSeekDatabaseEx", 1, ERROR_SEEK);
  info.cChg = info.cUnChg = 9;
  log.Take();
  EXPECT_EQ(FindJobs(), S_OK);
  EXPECT_EQ(info.cChg, 0u);
  EXPECT_EQ(info.cUnChg, 0u);
  EXPECT_EQ(LinesWith(log.Take(), "Total"), Lines{"256 Changed = 0; Unchanged = 0; Total = 2"});
}

// Marks are cleared on the way, so these records are written back while they are enumerated.
TEST_F(SyncDatabase, ListsTheSameWhereAWriteMovesThePosition) {
  std::vector<std::u16string> flags(40, kEditedWhileSynchronized);
  for (size_t i = 0; i < flags.size(); i += 3)
    flags[i] = kSynchronized;
  flags[7] = u"0010000000000000000";
  AddJobs(flags);
  EXPECT_EQ(FindJobs(), S_OK);
  const Oids expected = Listed();
  EXPECT_EQ(info.cUnChg, 39u);
  LocalFree(info.poid);
  info = {};
  RawDatabase raw(u"WktDevJobs");
  for (size_t i = 0; i < flags.size(); ++i)
    raw.Write(raw.List()[i], wkt::test::RawRecord().Set(kJobFlags, flags[i]));
  device.SetCursorModel(wkt::control::CursorModel::WriteMovesPosition);
  EXPECT_EQ(FindJobs(), S_OK);
  EXPECT_EQ(Listed(), expected);
  EXPECT_EQ(info.cUnChg, 39u);
  EXPECT_EQ(info.cChg, 1u);
}

// Without listeners the list is made from the flag texts alone.
TEST_F(SyncDatabase, ListsTheSameWithoutListeners) {
  const std::vector<std::u16string> flags = {u"",
                                             u"0000",
                                             u"00001",
                                             u"0000111",
                                             u"0000x0000",
                                             u"1111011111111111111",
                                             u"0010110000000000000999999",
                                             kSynchronized,
                                             kEditedWhileSynchronized,
                                             u"1101000000000000000"};
  for (const int kind : {0, 1, 5, 6}) {
    for (const std::u16string& text : flags)
      AddType(kind, text.c_str(), 5 + static_cast<uint64_t>(kind));
  }
  RawDatabase(u"WktDevTypes").Add(RawType(u"T", 1).Remove(kTypeFlags));
  AddJobs(flags);
  RawDatabase(u"WktDevJobs").Add(RawJob(u"J").Remove(kJobFlags));
  const auto list = [&](bool isTypes, DWORD partner) {
    info = {};
    EXPECT_EQ(isTypes ? FindTypes(partner) : FindJobs(partner), S_OK);
    Oids found = Listed();
    found.push_back(info.cUnChg);
    found.push_back(info.cChg);
    LocalFree(info.poid);
    info.poid = nullptr;
    return found;
  };
  for (const bool isTypes : {false, true}) {
    for (const DWORD partner : {0u, 1u, 2u, 0xFFFFFFFFu}) {
      const Oids heard = list(isTypes, partner);
      const wkt::LogState listener = wkt::logState;
      wkt::logState = {};
      const Oids unheard = list(isTypes, partner);
      wkt::logState = listener;
      EXPECT_EQ(unheard, heard) << isTypes << " " << partner;
    }
  }
}

TEST_F(SyncDatabase, ClearsTheMarkWithoutListenersToo) {
  const Oids oids = AddJobs({kEditedWhileSynchronized});
  const CEOID type = AddType(1, u"1011000000000000000");
  const wkt::LogState listener = wkt::logState;
  wkt::logState = {};
  EXPECT_EQ(FindJobs(), S_OK);
  LocalFree(info.poid);
  EXPECT_EQ(FindTypes(), S_OK);
  wkt::logState = listener;
  EXPECT_EQ(RawDatabase(u"WktDevJobs").Read(oids[0])->Text(kJobFlags), kSynchronized);
  EXPECT_EQ(RawDatabase(u"WktDevTypes").Read(type)->Text(kTypeFlags), u"1001000000000000000");
}

}  // namespace
