// Looking volumes over: a good one has no findings, each kind of damage is named.
#include "host/control/CheckStore.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>

#include "host/control/Check.h"
#include "platform/Database.h"
#include "platform/Kernel.h"
#include "tests/support/DeskDevice.h"

namespace {

using wkt::control::CheckVolume;

constexpr CEPROPID kNumber = 0x00010000 | CEVT_I4;
constexpr CEPROPID kText = 0x00020000 | CEVT_LPWSTR;

class CheckStore : public wkt::test::DeskDeviceTest {
 protected:
  // A database of two orders with a few records, then left, so that the file may be spoilt.
  void SetUp() override {
    CEDBASEINFOEX info = {};
    info.wVersion = 1;
    info.dwFlags = CEDB_VALIDNAME | CEDB_VALIDTYPE | CEDB_VALIDSORTSPEC;
    std::copy_n(u"Things", 7, info.szDbaseName);
    info.dwDbaseType = 7;
    info.wNumSortOrder = 2;
    for (int i = 0; i < 2; ++i) {
      info.rgSortSpecs[i].wVersion = 1;
      info.rgSortSpecs[i].wNumProps = 1;
      info.rgSortSpecs[i].rgPropID[0] = i == 0 ? kNumber : kText;
    }
    CEGUID store = {};
    CEOID oid = CeCreateDatabaseEx2(&store, &info);
    ASSERT_NE(oid, 0u);
    HANDLE database = CeOpenDatabaseEx2(&store, &oid, nullptr, nullptr, 0, nullptr);
    ASSERT_NE(database, INVALID_HANDLE_VALUE);
    for (int i = 0; i < 20; ++i) {
      char16_t text[] = u"text x";
      text[5] = static_cast<char16_t>(u'a' + i);
      CEPROPVAL values[2] = {};
      values[0].propid = kNumber;
      values[0].val.lVal = i;
      values[1].propid = kText;
      values[1].val.lpwstr = text;
      // Every other record lacks the text: it stands last in the second order.
      record = CeWriteRecordProps(database, 0, i % 2 == 0 ? 2 : 1, values);
      ASSERT_NE(record, 0u);
    }
    CloseHandle(database);
    number = std::to_string(oid);
    EXPECT_TRUE(CheckVolume(path).empty());
    EXPECT_TRUE(wkt::control::CheckFolder(device.Folder()).empty());
    wkt::control::LeaveDevice();
  }

  void Execute(const std::string& statement) const {
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &connection), SQLITE_OK);
    char* error = nullptr;
    EXPECT_EQ(sqlite3_exec(connection, statement.c_str(), nullptr, nullptr, &error), SQLITE_OK)
        << error;
    sqlite3_close(connection);
  }
  void ExpectFindings(const std::vector<std::string>& expected) const {
    std::vector<std::string> full = expected;
    for (std::string& each : full)
      each.insert(0, path + ": ");
    EXPECT_EQ(CheckVolume(path), full);
    EXPECT_EQ(wkt::control::CheckFolder(device.Folder()), full);
  }

  std::string path = device.Folder() + "/store.vol";
  std::string number;
  CEOID record = 0;
};

TEST_F(CheckStore, CountsAreCompared) {
  Execute("UPDATE catalogue SET nrec = 19, nbytes = nbytes + 1");
  const auto findings = CheckVolume(path);
  ASSERT_EQ(findings.size(), 2u);
  EXPECT_EQ(findings[0], path + ": database 'Things' counts 19 records and has 20");
  EXPECT_NE(findings[1].find("bytes and has"), std::string::npos);
}

TEST_F(CheckStore, SpoiltRecordsAreNamed) {
  Execute("UPDATE record_" + number +
          " SET img = zeroblob(length(img)) WHERE oid = " + std::to_string(record));
  ExpectFindings({"database 'Things' record " + std::to_string(record) + " is no whole record"});
}

TEST_F(CheckStore, LostPlacesAreNamed) {
  Execute("DELETE FROM sort_" + number + " WHERE ord = 1 AND oid = " + std::to_string(record));
  ExpectFindings({"database 'Things' record " + std::to_string(record) +
                      " is not in its place in sort order 1",
                  "database 'Things' has 39 places in its sort orders instead of 40",
                  "database 'Things' miscounts its places in sort order 1"});
}

TEST_F(CheckStore, WrongCountsOfPlacesAreNamed) {
  const auto of = [](int order) { return " in sort order " + std::to_string(order); };
  Execute("UPDATE block_" + number + " SET keys = keys + 1 WHERE level = 0 AND ord = 1");
  ExpectFindings({"database 'Things' miscounts its places" + of(1)});
  Execute("UPDATE block_" + number + " SET keys = keys + 1 WHERE level = 1 AND ord = 0");
  ExpectFindings({"database 'Things' miscounts its places" + of(0),
                  "database 'Things' miscounts its places" + of(1)});
  Execute("DELETE FROM block_" + number + " WHERE level = 1 AND ord = 0");
  ExpectFindings({"database 'Things' has no counts of its places" + of(0),
                  "database 'Things' miscounts its places" + of(1)});
  Execute("UPDATE catalogue SET moved = x'00'");
  ExpectFindings({"database 'Things' has changes of counts that cannot be"});
}

TEST_F(CheckStore, MovedPlacesAreNamed) {
  Execute(
      "UPDATE sort_" + number +
      " SET key = CAST(x'00' || key AS BLOB) WHERE ord = 0 AND oid = " + std::to_string(record));
  ExpectFindings({"database 'Things' record " + std::to_string(record) +
                  " is not in its place in sort order 0"});
}

TEST_F(CheckStore, LongListsAreCut) {
  Execute("UPDATE record_" + number + " SET img = x''");
  const auto findings = CheckVolume(path);
  ASSERT_EQ(findings.size(), 12u);
  EXPECT_EQ(findings[10], path + ": database 'Things' 10 further records are damaged");
}

TEST_F(CheckStore, IdentifiersMustHaveBeenGivenOut) {
  Execute("UPDATE volume SET next_oid = 1");
  const auto findings = CheckVolume(path);
  ASSERT_FALSE(findings.empty());
  EXPECT_EQ(findings[0],
            path + ": database 'Things' uses object identifiers that were not given out");
}

TEST_F(CheckStore, OrdersThatCannotBeAreNamed) {
  // 61,444 properties in a key that has room for three.
  Execute("UPDATE catalogue SET sorts = x'010004F0" + std::string(56, '0') + "'");
  ExpectFindings({"database 'Things' has a sort order that cannot be"});
}

TEST_F(CheckStore, MissingTablesAreNamed) {
  Execute("DROP TABLE sort_" + number);
  ExpectFindings({"database 'Things' has no tables"});
}

TEST_F(CheckStore, NewerAndForeignFilesAreNamed) {
  Execute("PRAGMA user_version = 9");
  ExpectFindings({"has format 9, this program knows 2"});
  Execute("PRAGMA application_id = 1");
  ExpectFindings({"is no database volume"});
}

TEST_F(CheckStore, DamagedFilesAreNamed) {
  Execute("PRAGMA wal_checkpoint(TRUNCATE)");
  std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
  for (std::streamoff page = 2; page < 12; ++page) {
    file.seekp(page * 4096);
    file << std::string(512, '\xFF');
  }
  file.close();
  EXPECT_FALSE(CheckVolume(path).empty());
  std::ofstream(path, std::ios::binary) << "SQLite format 3 is how they begin";
  const auto findings = CheckVolume(path);
  ASSERT_EQ(findings.size(), 1u);
  EXPECT_NE(findings[0].find("file is not a database"), std::string::npos);
}

TEST_F(CheckStore, MissingFilesAreNamed) {
  const auto findings = CheckVolume(path + "x");
  ASSERT_EQ(findings.size(), 1u);
  EXPECT_EQ(findings[0], path + "x: cannot be opened: unable to open database file");
}

}  // namespace
