// Full disks, damaged and foreign files.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>
#include <sstream>

#include "tests/host/StoreWriter.h"
#include "tests/support/DatabaseHelp.h"
#include "tests/support/DeskDevice.h"

namespace {

using namespace wkt::test;

std::string Content(const std::string& file) {
  const std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(StoreDamage, AFullDiskFailsTheCallAndKeepsTheStoreWhole) {
  DeskDevice device;
  const CEOID database = CreateWriterDatabase(u"Full");
  const HANDLE handle = OpenDatabase(database);
  StoreWriter script(handle, 1);
  for (int count = 0; count < 50; ++count)
    ASSERT_TRUE(script.Step());
  struct rlimit before {};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  signal(SIGXFSZ, SIG_IGN);
  struct stat log {};
  ASSERT_EQ(stat((device.Folder() + "/store.vol-wal").c_str(), &log), 0);
  struct rlimit limit = before;
  limit.rlim_cur = static_cast<rlim_t>(log.st_size) + 100'000;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  int more = 0;
  while (more < 1000 && script.Step())
    ++more;
  const DWORD error = GetLastError();
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  EXPECT_LT(more, 1000);
  EXPECT_EQ(error, DWORD{ERROR_DISK_FULL});
  EXPECT_EQ(StoreWriter::Found(handle, 1), StoreWriter::Expected(1, script.Steps()));
  // With room again the same call succeeds.
  EXPECT_TRUE(script.Step());
  EXPECT_EQ(StoreWriter::Found(handle, 1), StoreWriter::Expected(1, script.Steps()));
  wkt::control::LeaveDevice();
  EXPECT_EQ(IntegrityOf(device.Folder() + "/store.vol"), "ok");
}

class StoreFile : public DeskDeviceTest {
 protected:
  // The store becomes this; what calls then say on stderr.
  std::string UseAsStore(const std::string& content) {
    wkt::control::LeaveDevice();
    for (const char* end : {"", "-wal", "-shm"})
      remove((File() + end).c_str());
    std::ofstream(File(), std::ios::binary) << content;
    device.Reopen();
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(CeFindFirstDatabaseEx(nullptr, 0), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(CreateDatabase(u"New"), 0u);
    return ::testing::internal::GetCapturedStderr();
  }
  std::string File() const { return device.Folder() + "/store.vol"; }
};

TEST_F(StoreFile, AForeignFileIsRefusedByNameAndLeftAlone) {
  const std::string content = "This is a letter and no database at all.\n" + std::string(5000, 'x');
  const std::string said = UseAsStore(content);
  EXPECT_NE(said.find("'" + File() + "' is damaged or no database volume"), std::string::npos)
      << said;
  EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1);
  EXPECT_EQ(Content(File()), content);
}

TEST_F(StoreFile, AForeignDatabaseIsRefusedAndLeftAlone) {
  const std::string other = device.Folder() + "/other.db";
  sqlite3* connection = nullptr;
  ASSERT_EQ(sqlite3_open(other.c_str(), &connection), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(connection, "CREATE TABLE songs(title TEXT)", nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(connection);
  const std::string content = Content(other);
  const std::string said = UseAsStore(content);
  EXPECT_NE(said.find("is no database volume"), std::string::npos) << said;
  EXPECT_EQ(Content(File()), content);
}

TEST_F(StoreFile, ANewerFormatIsRefusedAndLeftAlone) {
  ASSERT_NE(CreateDatabase(u"Old"), 0u);
  wkt::control::LeaveDevice();
  sqlite3* connection = nullptr;
  ASSERT_EQ(sqlite3_open(File().c_str(), &connection), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(connection, "PRAGMA user_version=3", nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(connection);
  const std::string content = Content(File());
  const std::string said = UseAsStore(content);
  EXPECT_NE(said.find("is of a newer format"), std::string::npos) << said;
  EXPECT_EQ(Content(File()), content);
}

TEST_F(StoreFile, ADamagedRecordFailsItsReadAndNoOther) {
  const CEOID oid = CreateDatabase(u"Records");
  HANDLE handle = OpenDatabase(oid);
  const CEOID first = Write(handle, 0, {LongValue(1, 1), TextValue(2, u"one")});
  const CEOID second = Write(handle, 0, {LongValue(1, 2), TextValue(2, u"two")});
  wkt::control::LeaveDevice();
  sqlite3* connection = nullptr;
  ASSERT_EQ(sqlite3_open(File().c_str(), &connection), SQLITE_OK);
  // Every property claims to lie far outside, then the whole image is cut off.
  for (const char* image :
       {"x'0100000002000000030001000100000000001f00ffffff7f'", "x'01000000ff000000'", "x''"}) {
    const std::string damage = "UPDATE record_" + std::to_string(oid) + " SET img = " + image +
                               " WHERE oid = " + std::to_string(first);
    ASSERT_EQ(sqlite3_exec(connection, damage.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(connection);
    device.Reopen();
    handle = OpenDatabase(oid);
    EXPECT_FALSE(ReadNext(handle));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_READ_FAULT});
    EXPECT_EQ(CeSeekDatabase(handle, CEDB_SEEK_CEOID, second, nullptr), second);
    EXPECT_EQ(ReadNext(handle)->record, "0001:I4 2; 0002:LPWSTR two");
    EXPECT_EQ(Write(handle, first, {LongValue(1, 3)}), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_READ_FAULT});
    wkt::control::LeaveDevice();
  }
  sqlite3_close(connection);
}

TEST_F(StoreFile, AKeyWithoutItsRecordEndsTheReadingThere) {
  const SORTORDERSPECEX order = SortOrder({{PropertyId(1, CEVT_I4), 0}});
  const CEOID oid = CreateDatabase(u"Sorted", 1, {order});
  HANDLE handle = OpenDatabase(oid, CEDB_AUTOINCREMENT, &order);
  // Against the order of their identifiers, and of different numbers of properties.
  std::vector<CEOID> records;
  for (LONG number = 5; number >= 1; --number) {
    std::vector<CEPROPVAL> values = {LongValue(1, number), TextValue(2, u"text")};
    values.resize(number % 2 == 0 ? 1 : 2);
    records.insert(records.begin(), Write(handle, 0, values));
  }
  const auto readAll = [&] {
    std::string all;
    while (const auto read = ReadNext(handle))
      all += read->record + " / ";
    return all + std::to_string(GetLastError());
  };
  EXPECT_EQ(readAll(),
            "0001:I4 1; 0002:LPWSTR text / 0001:I4 2 / 0001:I4 3; 0002:LPWSTR text / 0001:I4 4 / "
            "0001:I4 5; 0002:LPWSTR text / 259");
  wkt::control::LeaveDevice();
  sqlite3* connection = nullptr;
  ASSERT_EQ(sqlite3_open(File().c_str(), &connection), SQLITE_OK);
  const std::string damage =
      "DELETE FROM record_" + std::to_string(oid) + " WHERE oid = " + std::to_string(records[2]);
  ASSERT_EQ(sqlite3_exec(connection, damage.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(connection);
  device.Reopen();
  handle = OpenDatabase(oid, CEDB_AUTOINCREMENT, &order);
  EXPECT_EQ(readAll(),
            "0001:I4 1; 0002:LPWSTR text / 0001:I4 2 / " + std::to_string(DWORD{ERROR_READ_FAULT}));
  EXPECT_EQ(CeSeekDatabase(handle, CEDB_SEEK_CEOID, records[3], nullptr), records[3]);
  EXPECT_EQ(readAll(), "0001:I4 4 / 0001:I4 5; 0002:LPWSTR text / 259");
}

TEST_F(StoreFile, AKeyOutOfItsPlaceFailsItsWriteAndNoOther) {
  const SORTORDERSPECEX order = SortOrder({{PropertyId(1, CEVT_I4), 0}});
  const CEOID oid = CreateDatabase(u"Sorted", 1, {order});
  HANDLE handle = OpenDatabase(oid, CEDB_AUTOINCREMENT, &order);
  std::vector<CEOID> records;
  for (LONG number = 1; number <= 5; ++number)
    records.push_back(Write(handle, 0, {LongValue(1, number)}));
  wkt::control::LeaveDevice();
  sqlite3* connection = nullptr;
  ASSERT_EQ(sqlite3_open(File().c_str(), &connection), SQLITE_OK);
  // The last record stands in front of all others.
  const std::string damage = "UPDATE sort_" + std::to_string(oid) +
                             " SET key = x'00' WHERE oid = " + std::to_string(records[4]);
  ASSERT_EQ(sqlite3_exec(connection, damage.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
      << sqlite3_errmsg(connection);
  sqlite3_close(connection);
  device.Reopen();
  handle = OpenDatabase(oid, CEDB_AUTOINCREMENT, &order);
  EXPECT_EQ(CeSeekDatabase(handle, CEDB_SEEK_BEGINNING, 1, nullptr), records[0]);
  EXPECT_EQ(Write(handle, records[4], {LongValue(1, 6)}), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_GEN_FAILURE});
  EXPECT_EQ(Write(handle, records[0], {LongValue(1, 7)}), records[0]);
}

}  // namespace
