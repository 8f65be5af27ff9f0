// Places in sort orders and the counts that they come from, part of which wait in the catalogue.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <random>
#include <set>

#include "host/control/CheckStore.h"
#include "tests/support/DatabaseHelp.h"
#include "tests/support/DeskDevice.h"

namespace wkt::test {

namespace {

constexpr CEPROPID kNumber = PropertyId(1, CEVT_I4);
constexpr CEPROPID kOther = PropertyId(2, CEVT_I4);

// As the first format had it.
constexpr const char* kFirstCatalogue =
    "CREATE TABLE first(oid INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, dbtype INTEGER NOT "
    "NULL,"
    " flags INTEGER NOT NULL, sorts BLOB NOT NULL, nrec INTEGER NOT NULL DEFAULT 0, nbytes INTEGER"
    " NOT NULL DEFAULT 0, mtime INTEGER NOT NULL DEFAULT 0, next_oid INTEGER NOT NULL DEFAULT 0,"
    " end_oid INTEGER NOT NULL DEFAULT 0 -- not included\n) STRICT;"
    "INSERT INTO first SELECT oid, name, dbtype, flags, sorts, nrec, nbytes, mtime, next_oid, "
    "end_oid"
    " FROM catalogue; DROP TABLE catalogue; ALTER TABLE first RENAME TO catalogue;";

class StoreCounts : public DeskDeviceTest {
 protected:
  using Place = std::pair<LONG, CEOID>;

  void Make(size_t orderCount) {
    device.SetDurability(control::Durability::Off);
    orders = {SortOrder({{kNumber, CEDB_SORT_NONNULL}}), SortOrder({{kOther, 0}})};
    orders.resize(orderCount);
    oid = CreateDatabase(u"Counted", 1, orders);
    Open();
  }
  void Open() { handle = OpenDatabase(oid, CEDB_AUTOINCREMENT, &orders[0]); }
  void Leave() {
    CloseHandle(handle);
    control::LeaveDevice();
  }
  void Reopen() {
    Leave();
    device.Reopen();
    Open();
  }
  void Insert(LONG number) {
    const CEOID made =
        Write(handle, 0, {LongValue(1, number), LongValue(2, number % 1009 * 7919 % 1000)});
    ASSERT_NE(made, 0u) << GetLastError();
    places.emplace(number, made);
  }
  Place Pick() {
    auto near = places.lower_bound({static_cast<LONG>(random() % kNumbers), 0});
    return near != places.end() ? *near : *places.begin();
  }
  void Change() {
    const Place old = Pick();
    const auto number = static_cast<LONG>(random() % kNumbers);
    ASSERT_EQ(Write(handle, old.second, {LongValue(1, number)}), old.second);
    places.erase(old);
    places.emplace(number, old.second);
  }
  void Delete(Place place) {
    ASSERT_NE(CeDeleteRecord(handle, place.second), FALSE) << GetLastError();
    places.erase(place);
  }
  // A few places, and all counts of the file.
  void Compare() {
    DWORD index = 0;
    for (int count = 0; count < 5 && !places.empty(); ++count) {
      const Place place = Pick();
      ASSERT_EQ(CeSeekDatabase(handle, CEDB_SEEK_CEOID, place.second, &index), place.second);
      ASSERT_EQ(index, std::distance(places.begin(), places.find(place)));
      ASSERT_EQ(CeSeekDatabase(handle, CEDB_SEEK_BEGINNING, index, &index), place.second);
    }
    ASSERT_EQ(control::CheckVolume(File()), std::vector<std::string>());
  }
  std::string File() const { return device.Folder() + "/store.vol"; }
  void Execute(const std::string& statements) const {
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(File().c_str(), &connection), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(connection, statements.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(connection);
    sqlite3_close(connection);
  }

  static constexpr uint32_t kNumbers = 1'000'000;
  std::vector<SORTORDERSPECEX> orders;
  CEOID oid = 0;
  HANDLE handle = INVALID_HANDLE_VALUE;
  std::set<Place> places;
  std::minstd_rand random{4711};
};

TEST_F(StoreCounts, PlacesAreRightWhateverIsWrittenInWhateverOrder) {
  Make(2);
  for (int step = 0; step < 6000; ++step) {
    // Grows for two thirds of the time, then shrinks to little.
    const uint32_t insertions = step < 4000 ? 70 : 5;
    const auto choice = static_cast<uint32_t>(random() % 100);
    if (choice < insertions || places.empty()) {
      Insert(static_cast<LONG>(random() % kNumbers));
    } else if (choice < insertions + 10) {
      Change();
    } else {
      Delete(Pick());
    }
    if (step % 500 == 499)
      Compare();
    if (step % 1500 == 1499)
      Reopen();
    ASSERT_FALSE(HasFatalFailure()) << step;
  }
  Compare();
}

// More than 256 blocks, so that groups of them are cut and joined, and more changes than can wait.
TEST_F(StoreCounts, PlacesAreRightInGroupsOfBlocks) {
  Make(1);
  for (LONG number = 34'000; number > 0; --number)
    Insert(number * 29);
  Compare();
  for (int count = 0; count < 500; ++count) {
    Delete(Pick());
    Insert(static_cast<LONG>(random() % kNumbers));
  }
  Compare();
  Reopen();
  Compare();
  while (places.size() > 3000 && !HasFatalFailure())
    Delete(*places.begin());
  Compare();
  Reopen();
  Compare();
}

TEST_F(StoreCounts, WritingInOrderSeldomStoresThem) {
  Make(1);
  for (LONG number = 0; number < 250; ++number)
    Insert(number);
  Leave();
  sqlite3* connection = nullptr;
  sqlite3_stmt* statement = nullptr;
  ASSERT_EQ(sqlite3_open(File().c_str(), &connection), SQLITE_OK);
  const std::string query =
      "SELECT total(keys), (SELECT hex(moved) FROM catalogue) FROM block_" + std::to_string(oid);
  ASSERT_EQ(sqlite3_prepare_v2(connection, query.c_str(), -1, &statement, nullptr), SQLITE_OK);
  ASSERT_EQ(sqlite3_step(statement), SQLITE_ROW);
  EXPECT_EQ(sqlite3_column_int(statement, 0), 0);
  // Group 0, order 0, block 0: 250 more.
  EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(statement, 1)),
               "000000000000FA00");
  sqlite3_finalize(statement);
  sqlite3_close(connection);
}

TEST_F(StoreCounts, AVolumeOfTheFirstFormatIsBroughtUp) {
  Make(2);
  for (LONG number = 0; number < 100; ++number)
    Insert(number * 7 % 100);
  Leave();
  const std::string table = "block_" + std::to_string(oid);
  Execute("UPDATE " + table + " SET keys = 100; ALTER TABLE " + table + " RENAME keys TO n;" +
          kFirstCatalogue + "PRAGMA user_version = 1");
  EXPECT_EQ(control::CheckVolume(File()), std::vector<std::string>());
  device.Reopen();
  Open();
  Compare();
  Insert(1000);
  Delete(Pick());
  Compare();
  // A process of that time fails rather than count in the old place only.
  sqlite3* connection = nullptr;
  ASSERT_EQ(sqlite3_open(File().c_str(), &connection), SQLITE_OK);
  EXPECT_NE(sqlite3_exec(connection, ("UPDATE " + table + " SET n = n + 1").c_str(), nullptr,
                         nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(connection);
}

struct Damage {
  const char* moved;
  DWORD error;  // of a seek that tells the place
};
class StoreCountsDamage : public StoreCounts, public ::testing::WithParamInterface<Damage> {};

TEST_P(StoreCountsDamage, IsRefused) {
  Make(1);
  for (LONG number = 0; number < 20; ++number)
    Insert(number);
  const CEOID record = Pick().second;
  Leave();
  Execute(std::string("UPDATE catalogue SET moved = ") + GetParam().moved);
  EXPECT_FALSE(control::CheckVolume(File()).empty());
  device.Reopen();
  DWORD index = 77;
  if (GetParam().error == ERROR_READ_FAULT) {
    // The catalogue itself cannot be read.
    EXPECT_EQ(OpenDatabase(oid), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), GetParam().error);
    return;
  }
  handle = OpenDatabase(oid);
  EXPECT_EQ(CeSeekDatabase(handle, CEDB_SEEK_CEOID, record, &index), 0u);
  EXPECT_EQ(GetLastError(), GetParam().error);
  EXPECT_EQ(index, 77u);
  EXPECT_EQ(Write(handle, 0, {LongValue(1, 5)}), 0u);
  EXPECT_EQ(CeDeleteRecord(handle, record), FALSE);
}

INSTANTIATE_TEST_SUITE_P(
    All, StoreCountsDamage,
    ::testing::Values(Damage{"x'00'", ERROR_READ_FAULT}, Damage{"zeroblob(520)", ERROR_READ_FAULT},
                      Damage{"x'0000000001001400'", ERROR_READ_FAULT},   // no such order
                      Damage{"x'0100000000001400'", ERROR_GEN_FAILURE},  // no such group
                      Damage{"x'0000000000011400'", ERROR_GEN_FAILURE},  // no such block
                      Damage{"x'00000000000000F0'", ERROR_GEN_FAILURE},  // below nothing
                      Damage{"x'0000000000001401'",
                             ERROR_GEN_FAILURE}));  // more than a block holds

}  // namespace

}  // namespace wkt::test
