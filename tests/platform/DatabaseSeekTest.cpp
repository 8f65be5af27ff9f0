// Positions, orders and cursors of database handles.
#include <gtest/gtest.h>

#include "tests/support/DatabaseHelp.h"
#include "tests/support/DeskDevice.h"

namespace {

using namespace wkt::test;

constexpr CEPROPID kNumber = PropertyId(1, CEVT_I4);

class DatabaseSeek : public DeskDeviceTest {
 protected:
  // Records with these numbers, ordered by them; identifiers in the order of the arguments.
  void Make(const std::vector<LONG>& numbers, DWORD openFlags = CEDB_AUTOINCREMENT) {
    oid = CreateDatabase(u"Numbers", 1, {SortOrder({{kNumber, CEDB_SORT_NONNULL}})});
    ASSERT_NE(oid, 0u) << GetLastError();
    handle = OpenDatabase(oid, openFlags);
    ASSERT_NE(handle, INVALID_HANDLE_VALUE) << GetLastError();
    for (const LONG number : numbers)
      records.push_back(Write(handle, 0, {LongValue(1, number)}));
  }
  std::string NextNumber() {
    const auto read = ReadNext(handle);
    return read ? read->record : "error " + std::to_string(GetLastError());
  }

  CEOID oid = 0;
  HANDLE handle = INVALID_HANDLE_VALUE;
  std::vector<CEOID> records;
};

TEST_F(DatabaseSeek, RecordsAreReadInTheirOrder) {
  Make({30, 10, 20});
  EXPECT_EQ(ReadOrder(handle), (std::vector{records[1], records[2], records[0]}));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
}

TEST_F(DatabaseSeek, ByIdentifierTellsThePlaceAndReadsThatRecord) {
  Make({30, 10, 20});
  DWORD index = 0xDEADBEEF;
  EXPECT_EQ(CeSeekDatabase(handle, CEDB_SEEK_CEOID, records[0], &index), records[0]);
  EXPECT_EQ(index, 2u);
  EXPECT_EQ(NextNumber(), "0001:I4 30");
  EXPECT_EQ(NextNumber(), "error 259");
}

}  // namespace
