// What a call asks SQLite for: writes of a record that was just read look nothing up again.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "host/coredll/StoreMounts.h"
#include "tests/support/DatabaseHelp.h"
#include "tests/support/DeskDevice.h"

namespace wkt::test {

namespace {

class StoreStatements : public DeskDeviceTest {
 protected:
  // Four records in the order of their numbers, the second one read.
  void SetUp() override {
    const SORTORDERSPECEX order = SortOrder({{PropertyId(1, CEVT_I4), CEDB_SORT_NONNULL}});
    oid = CreateDatabase(u"Records", 1, {order});
    handle = OpenDatabase(oid, CEDB_AUTOINCREMENT, &order);
    for (const LONG number : {1, 2, 3, 4})
      records.push_back(Write(handle, 0, {LongValue(1, number), TextValue(2, u"text")}));
    ASSERT_EQ(CeSeekDatabase(handle, CEDB_SEEK_CEOID, records[1], nullptr), records[1]);
    ASSERT_EQ(ReadNext(handle)->oid, records[1]);
    const host::StoreLock lock;
    CEGUID store{};
    ASSERT_EQ(host::StoreMounts::Get().Find(&store, volume), DWORD{ERROR_SUCCESS});
    sqlite3_trace_v2(volume->Connection(), SQLITE_TRACE_STMT, CountQuestion, &questions);
  }
  void TearDown() override {
    const host::StoreLock lock;
    sqlite3_trace_v2(volume->Connection(), 0, nullptr, nullptr);
    volume.reset();
  }
  static int CountQuestion(unsigned, void* questions, void* statement, void*) {
    const std::string_view text(sqlite3_sql(static_cast<sqlite3_stmt*>(statement)));
    *static_cast<int*>(questions) += text.starts_with("SELECT") ? 1 : 0;
    return 0;
  }

  CEOID oid = 0;
  HANDLE handle = INVALID_HANDLE_VALUE;
  std::vector<CEOID> records;
  std::shared_ptr<host::StoreVolume> volume;
  int questions = 0;
};

TEST_F(StoreStatements, DeletingTheRecordReadLooksNothingUp) {
  EXPECT_NE(CeDeleteRecord(handle, records[1]), FALSE);
  EXPECT_EQ(questions, 0);
  EXPECT_EQ(ReadNext(handle)->oid, records[2]);
}

TEST_F(StoreStatements, DeletingTheOneAfterTheRecordReadMovesOn) {
  EXPECT_NE(CeDeleteRecord(handle, records[2]), FALSE);
  EXPECT_EQ(questions, 1) << "the image of a record that was not read";
  EXPECT_EQ(ReadNext(handle)->oid, records[3]);
}

// What is made between a record that was read and deleted and the one after it comes too late.
TEST_F(StoreStatements, WhatIsWrittenBehindADeletedRecordDoesNotComeNext) {
  EXPECT_NE(CeDeleteRecord(handle, records[1]), FALSE);
  EXPECT_NE(Write(handle, 0, {LongValue(1, 2), TextValue(2, u"late")}), 0u);
  EXPECT_EQ(ReadNext(handle)->oid, records[2]);
}

TEST_F(StoreStatements, ChangingTheRecordReadDoesNotReadItAgain) {
  EXPECT_EQ(Write(handle, records[1], {TextValue(2, u"other")}), records[1]);
  EXPECT_EQ(questions, 0);
  EXPECT_EQ(CeSeekDatabase(handle, CEDB_SEEK_CEOID, records[1], nullptr), records[1]);
  EXPECT_EQ(ReadNext(handle)->record, "0001:I4 2; 0002:LPWSTR other");
}

TEST_F(StoreStatements, ARecordThatAnotherProcessDeletedIsNotTakenFromMemory) {
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open((device.Folder() + "/store.vol").c_str(), &other), SQLITE_OK);
  const std::string removal =
      "DELETE FROM record_" + std::to_string(oid) + " WHERE oid = " + std::to_string(records[1]);
  ASSERT_EQ(sqlite3_exec(other, removal.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(other);
  EXPECT_EQ(Write(handle, records[1], {TextValue(2, u"other")}), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(CeDeleteRecord(handle, records[1]), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

}  // namespace

}  // namespace wkt::test
