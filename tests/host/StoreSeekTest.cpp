// Seeks below the platform's calls: by value, whose pointers fit the call only where they have 32
// bits, and while another connection commits.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <functional>
#include <thread>

#include "host/coredll/StoreCatalogue.h"
#include "host/coredll/StoreCursor.h"
#include "host/coredll/StoreMounts.h"
#include "tests/support/DatabaseHelp.h"
#include "tests/support/DeskDevice.h"

namespace wkt::test {

namespace {

constexpr CEPROPID kFirst = PropertyId(1, CEVT_I4);
constexpr CEPROPID kSecond = PropertyId(2, CEVT_I4);
constexpr CEPROPID kText = PropertyId(3, CEVT_LPWSTR);

class StoreSeek : public DeskDeviceTest {
 protected:
  // Records in the order of the arguments, and a cursor of the first order.
  void Make(const std::vector<SORTORDERSPECEX>& orders,
            const std::vector<std::vector<CEPROPVAL>>& values, bool increments = false) {
    oid = CreateDatabase(u"Values", 1, orders);
    handle = OpenDatabase(oid);
    ASSERT_NE(handle, INVALID_HANDLE_VALUE);
    for (const auto& each : values)
      records.push_back(Write(handle, 0, each));
    const host::StoreLock lock;
    CEGUID store{};
    ASSERT_EQ(host::StoreMounts::Get().Find(&store, volume), DWORD{ERROR_SUCCESS});
    volume->Refresh();
    ASSERT_EQ(volume->Catalogue().Load(), DWORD{ERROR_SUCCESS});
    cursor =
        std::make_unique<host::StoreCursor>(volume, volume->Catalogue().Find(oid), 0, increments);
  }
  void TearDown() override {
    const host::StoreLock lock;
    cursor.reset();
    volume.reset();
  }
  // The number of the record found, from 0, and its place: "2 at 1"; or the error.
  std::string Seek(DWORD type, const std::vector<CEPROPVAL>& values) {
    const host::StoreLock lock;
    CEOID found = 0;
    uint32_t place = 99;
    const DWORD error = cursor->SeekValue(type, values, found, &place);
    return Outcome(error, found, place);
  }
  std::string Outcome(DWORD error, CEOID found, uint32_t place) {
    if (error != ERROR_SUCCESS)
      return "error " + std::to_string(error);
    const auto record = std::find(records.begin(), records.end(), found) - records.begin();
    return std::to_string(record) + " at " + std::to_string(place);
  }
  // The record at the position.
  std::string Here() {
    const host::StoreLock lock;
    CEOID found = 0;
    std::string_view image;
    const DWORD error = cursor->Current(found, image);
    return Outcome(error, found, 0).substr(0, 9);
  }

  CEOID oid = 0;
  HANDLE handle = INVALID_HANDLE_VALUE;
  std::vector<CEOID> records;
  std::shared_ptr<host::StoreVolume> volume;
  std::unique_ptr<host::StoreCursor> cursor;
};

TEST_F(StoreSeek, ValuesSmallerEqualAndGreater) {
  Make({SortOrder({{kFirst, 0}})}, {{LongValue(1, 30)}, {LongValue(1, -10)}, {LongValue(1, 20)}});
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {LongValue(1, 20)}), "2 at 1");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {LongValue(1, 21)}), "error 25");
  EXPECT_EQ(Here(), "error 259") << "a seek that finds nothing ends at the end";
  EXPECT_EQ(Seek(CEDB_SEEK_VALUESMALLER, {LongValue(1, 21)}), "2 at 1");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUESMALLER, {LongValue(1, 20)}), "1 at 0");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUESMALLER, {LongValue(1, -10)}), "error 25");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEGREATER, {LongValue(1, -10)}), "2 at 1");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEGREATER, {LongValue(1, -1)}), "2 at 1");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEGREATER, {LongValue(1, 30)}), "error 25");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {LongValue(2, 20)}), "error 87") << "not of the order";
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {LongValue(1, 20), LongValue(2, 0)}), "error 87");
}

TEST_F(StoreSeek, NextEqualIsTheNextRecordAndEqualToTheValue) {
  Make({SortOrder({{kFirst, 0}})},
       {{LongValue(1, 5)}, {LongValue(1, 5)}, {LongValue(1, 5)}, {LongValue(1, 6)}});
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {LongValue(1, 5)}), "0 at 0");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUENEXTEQUAL, {LongValue(1, 5)}), "1 at 1");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUENEXTEQUAL, {LongValue(1, 6)}), "error 25") << "one on is a 5";
  EXPECT_EQ(Seek(CEDB_SEEK_VALUENEXTEQUAL, {LongValue(1, 5)}), "error 25")
      << "nothing after the end";
}

TEST_F(StoreSeek, NextEqualLooksFromWhereAReadLeftThePosition) {
  Make({SortOrder({{kFirst, 0}})},
       {{LongValue(1, 5)}, {LongValue(1, 5)}, {LongValue(1, 5)}, {LongValue(1, 5)}}, true);
  EXPECT_EQ(Seek(CEDB_SEEK_VALUENEXTEQUAL, {LongValue(1, 5)}), "1 at 1") << "opening: the first";
  EXPECT_EQ(Here(), "1 at 0");
  {
    const host::StoreLock lock;
    cursor->Advance();
  }
  EXPECT_EQ(Seek(CEDB_SEEK_VALUENEXTEQUAL, {LongValue(1, 5)}), "3 at 3") << "one on from record 2";
}

TEST_F(StoreSeek, NextEqualLooksFromTheGapThatADeletedRecordLeft) {
  Make({SortOrder({{kFirst, 0}})}, {{LongValue(1, 5)}, {LongValue(1, 5)}, {LongValue(1, 5)}});
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {LongValue(1, 5)}), "0 at 0");
  ASSERT_NE(CeDeleteRecord(handle, records[0]), FALSE);
  EXPECT_EQ(Here(), "error 101") << "1018, cut";
  EXPECT_EQ(Seek(CEDB_SEEK_VALUENEXTEQUAL, {LongValue(1, 5)}), "1 at 0");
}

TEST_F(StoreSeek, RecordsThatLackThePropertyAreNeverSmallerOrGreater) {
  const std::vector<std::vector<CEPROPVAL>> values = {
      {LongValue(1, 10)}, {LongValue(9, 0)}, {LongValue(1, 20)}, {LongValue(9, 1)}};
  Make({SortOrder({{kFirst, CEDB_SORT_UNKNOWNFIRST}})}, values);
  EXPECT_EQ(Seek(CEDB_SEEK_VALUESMALLER, {LongValue(1, 20)}), "0 at 2");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUESMALLER, {LongValue(1, 10)}), "error 25") << "only unknown ones";
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEGREATER, {LongValue(1, 20)}), "error 25");
}

TEST_F(StoreSeek, RecordsThatLackThePropertyAtTheEndAreNotGreater) {
  Make({SortOrder({{kFirst, 0}})}, {{LongValue(1, 10)}, {LongValue(9, 0)}, {LongValue(1, 20)}});
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEGREATER, {LongValue(1, 10)}), "2 at 1");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEGREATER, {LongValue(1, 20)}), "error 25");
}

TEST_F(StoreSeek, RecordsThatLackOneOfTwoPropertiesArePassedOver) {
  Make({SortOrder({{kFirst, 0}, {kSecond, CEDB_SORT_UNKNOWNFIRST}})},
       {{LongValue(1, 1), LongValue(2, 7)},  // 0
        {LongValue(1, 2)},                   // before all twos
        {LongValue(1, 2)},
        {LongValue(1, 2), LongValue(2, 5)},
        {LongValue(1, 3)}});
  EXPECT_EQ(Seek(CEDB_SEEK_VALUESMALLER, {LongValue(1, 2), LongValue(2, 5)}), "0 at 0");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEGREATER, {LongValue(1, 1), LongValue(2, 7)}), "3 at 3");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEGREATER, {LongValue(1, 2), LongValue(2, 5)}), "error 25");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUESMALLER, {LongValue(1, 3)}), "3 at 3") << "one property is asked";
}

TEST_F(StoreSeek, TextsAndTheirBeginningsAreDifferentValues) {
  Make({SortOrder({{kText, CEDB_SORT_CASEINSENSITIVE}})},
       {{TextValue(3, u"ab")}, {TextValue(3, u"a")}, {TextValue(3, u"B")}});
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {TextValue(3, u"AB")}), "0 at 1");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUESMALLER, {TextValue(3, u"ab")}), "1 at 0");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEGREATER, {TextValue(3, u"a")}), "0 at 1");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {TextValue(3, u"")}), "error 25");
}

// In descending orders what comes earlier is greater; the seeks go by the order.
TEST_F(StoreSeek, SmallerIsEarlierAndGreaterIsLaterInTheOrder) {
  Make({SortOrder({{kFirst, CEDB_SORT_DESCENDING}})}, {{LongValue(1, 1)}, {LongValue(1, 3)}});
  EXPECT_EQ(Seek(CEDB_SEEK_VALUESMALLER, {LongValue(1, 2)}), "1 at 0");
  EXPECT_EQ(Seek(CEDB_SEEK_VALUEGREATER, {LongValue(1, 2)}), "0 at 1");
}

// Runs `act` when the connection begins a statement whose text begins so, once.
class AtStatement {
 public:
  AtStatement(sqlite3* connection, std::string text, std::function<void()> act)
      : connection_(connection), text_(std::move(text)), act_(std::move(act)) {
    sqlite3_trace_v2(connection_, SQLITE_TRACE_STMT, Look, this);
  }
  ~AtStatement() { sqlite3_trace_v2(connection_, 0, nullptr, nullptr); }
  AtStatement(const AtStatement&) = delete;
  AtStatement& operator=(const AtStatement&) = delete;
  [[nodiscard]] bool HasRun() const { return act_ == nullptr; }

 private:
  static int Look(unsigned, void* self, void* statement, void*) {
    auto* at = static_cast<AtStatement*>(self);
    const std::string_view text(sqlite3_sql(static_cast<sqlite3_stmt*>(statement)));
    if (at->act_ != nullptr && text.starts_with(at->text_))
      std::exchange(at->act_, nullptr)();
    return 0;
  }
  sqlite3* connection_;
  std::string text_;
  std::function<void()> act_;
};

// Another connection to the store, as another process has one.
class Other {
 public:
  explicit Other(const DeskDevice& device) : file_(device.Folder() + "/store.vol") {}
  ~Other() { sqlite3_close(connection_); }
  Other(const Other&) = delete;
  Other& operator=(const Other&) = delete;
  void Run(const std::string& text) {
    if (connection_ == nullptr) {
      sqlite3_open_v2(file_.c_str(), &connection_, SQLITE_OPEN_READWRITE, nullptr);
      sqlite3_busy_timeout(connection_, 5000);
    }
    EXPECT_EQ(sqlite3_exec(connection_, text.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(connection_);
  }
  // A record goes from a database with one order and one block of keys.
  void Delete(CEOID database, CEOID record) {
    const std::string number = std::to_string(database);
    const std::string which = " WHERE oid = " + std::to_string(record) + ";";
    Run("BEGIN IMMEDIATE; DELETE FROM record_" + number + which + "DELETE FROM sort_" + number +
        which + "UPDATE block_" + number +
        " SET keys = keys - 1; UPDATE catalogue SET nrec = nrec - 1" + " WHERE oid = " + number +
        "; COMMIT");
  }

 private:
  std::string file_;
  sqlite3* connection_ = nullptr;
};

// The first commit makes the seek read again within a transaction, the second one falls between the
// end of that transaction and whatever comes after it.
class StoreSeekRace : public StoreSeek {
 protected:
  void SetUp() override {
    Make({SortOrder({{kFirst, 0}})},
         {{LongValue(1, 1)}, {LongValue(1, 2)}, {LongValue(1, 3)}, {LongValue(1, 4)}});
    EXPECT_EQ(Here(), "0 at 0");
    // Makes the catalogue be read anew by the next call.
    other.Run("UPDATE catalogue SET mtime = mtime + 1");
  }
  std::string Race(const std::function<DWORD(CEOID&, uint32_t&)>& seek) {
    const host::StoreLock lock;
    CEOID found = 0;
    uint32_t place = 99;
    DWORD error = ERROR_SUCCESS;
    {
      std::unique_ptr<AtStatement> second;
      const AtStatement first(volume->Connection(), "SELECT oid, name", [&] {
        other.Delete(oid, records[1]);
        second = std::make_unique<AtStatement>(volume->Connection(), "COMMIT",
                                               [&] { other.Delete(oid, records[2]); });
      });
      error = seek(found, place);
      EXPECT_TRUE(first.HasRun());
      EXPECT_TRUE(second != nullptr && second->HasRun());
    }
    return Outcome(error, found, place);
  }
  Other other{device};
};

TEST_F(StoreSeekRace, FromTheEndIsCountedAndFoundInOneState) {
  EXPECT_EQ(
      Race([this](CEOID& found, uint32_t& place) { return cursor->SeekFromEnd(0, found, &place); }),
      "3 at 2");
}

TEST_F(StoreSeekRace, FromTheCurrentOneIsCountedAndFoundInOneState) {
  EXPECT_EQ(Race([this](CEOID& found, uint32_t& place) {
              return cursor->SeekFromCurrent(2, found, &place);
            }),
            "3 at 2");
}

TEST_F(StoreSeekRace, ByValueIsFoundAndCountedInOneState) {
  EXPECT_EQ(Race([this](CEOID& found, uint32_t& place) {
              return cursor->SeekValue(CEDB_SEEK_VALUEFIRSTEQUAL, std::vector{LongValue(1, 4)},
                                       found, &place);
            }),
            "3 at 2");
}

TEST_F(StoreSeek, ChangingADatabaseKeepsWhatAnotherProcessChangedJustBefore) {
  oid = CreateDatabase(u"Before", 1);
  CEGUID store{};
  Other other(device);
  other.Run("BEGIN IMMEDIATE; UPDATE catalogue SET name = 'After' WHERE oid = " +
            std::to_string(oid));
  BOOL changed = FALSE;
  std::thread caller([&] {
    CEDBASEINFOEX info{};
    info.wVersion = CEDBASEINFOEX_VERSION;
    info.dwFlags = CEDB_VALIDTYPE;
    info.dwDbaseType = 77;
    changed = CeSetDatabaseInfoEx2(&store, oid, &info);
  });
  // Long enough for the call to be waiting for the lock; if it is not yet, the test passes anyway.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  other.Run("COMMIT");
  caller.join();
  EXPECT_NE(changed, FALSE);
  CEOIDINFOEX info{};
  info.wVersion = CEOIDINFOEX_VERSION;
  ASSERT_NE(CeOidGetInfoEx2(&store, oid, &info), FALSE);
  EXPECT_EQ(std::u16string(info.infDatabase.szDbaseName), u"After");
  EXPECT_EQ(info.infDatabase.dwDbaseType, 77u);
}

}  // namespace

}  // namespace wkt::test
