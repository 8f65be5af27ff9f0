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

TEST_F(DatabaseSeek, OpeningStandsOnTheFirstRecord) {
  Make({30, 10, 20});
  EXPECT_EQ(NextNumber(), "0001:I4 10");
}

TEST_F(DatabaseSeek, WithoutAutoIncrementThePositionStays) {
  Make({30, 10}, 0);
  EXPECT_EQ(NextNumber(), "0001:I4 10");
  EXPECT_EQ(NextNumber(), "0001:I4 10");
}

TEST_F(DatabaseSeek, PlacesFromTheBeginningTheEndAndHere) {
  Make({30, 10, 20});
  DWORD index = 0;
  EXPECT_EQ(CeSeekDatabaseEx(handle, CEDB_SEEK_BEGINNING, 1, 0, &index), records[2]);
  EXPECT_EQ(index, 1u);
  EXPECT_EQ(CeSeekDatabase(handle, CEDB_SEEK_CURRENT, 1, &index), records[0]);
  EXPECT_EQ(index, 2u);
  EXPECT_EQ(CeSeekDatabase(handle, CEDB_SEEK_CURRENT, static_cast<DWORD>(-2), &index), records[1]);
  EXPECT_EQ(index, 0u);
  EXPECT_EQ(CeSeekDatabase(handle, CEDB_SEEK_END, 0, &index), records[0]);
  EXPECT_EQ(index, 2u);
  EXPECT_EQ(CeSeekDatabase(handle, CEDB_SEEK_END, 2, nullptr), records[1]);
}

TEST_F(DatabaseSeek, WhatIsNotThereLeavesTheIndexAloneAndThePositionAtTheEnd) {
  Make({30, 10});
  DWORD index = 0xDEADBEEF;
  for (const auto& [type, value] : {std::pair<DWORD, DWORD>{CEDB_SEEK_CEOID, 12345},
                                    {CEDB_SEEK_BEGINNING, 2},
                                    {CEDB_SEEK_END, 2},
                                    {CEDB_SEEK_CURRENT, 0},
                                    {CEDB_SEEK_CURRENT, 1}}) {
    EXPECT_EQ(CeSeekDatabase(handle, type, value, &index), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SEEK});
    EXPECT_EQ(NextNumber(), "error 259");
  }
  EXPECT_EQ(index, 0xDEADBEEFu);
}

TEST_F(DatabaseSeek, AnEmptyDatabaseHasNoBeginning) {
  Make({});
  EXPECT_EQ(CeSeekDatabaseEx(handle, CEDB_SEEK_BEGINNING, 0, 0, nullptr), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SEEK});
  EXPECT_EQ(NextNumber(), "error 259");
}

TEST_F(DatabaseSeek, WrongHandlesTypesAndForeignRecordsFail) {
  Make({30});
  const CEOID foreign = Write(OpenDatabase(CreateDatabase(u"Other")), 0, {LongValue(1, 1)});
  EXPECT_EQ(CeSeekDatabase(handle, CEDB_SEEK_CEOID, foreign, nullptr), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SEEK});
  EXPECT_EQ(CeSeekDatabase(handle, 3, 0, nullptr), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(CeSeekDatabase(nullptr, CEDB_SEEK_CEOID, records[0], nullptr), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  CloseHandle(handle);
  EXPECT_EQ(CeSeekDatabase(handle, CEDB_SEEK_CEOID, records[0], nullptr), 0u) << "closed";
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(DatabaseSeek, ValuesAreSoughtOnlyWherePointersFit) {
  Make({30});
  if (sizeof(void*) == 4)
    GTEST_SKIP() << "pointers fit";
  for (const DWORD type : {CEDB_SEEK_VALUESMALLER, CEDB_SEEK_VALUEFIRSTEQUAL,
                           CEDB_SEEK_VALUEGREATER, CEDB_SEEK_VALUENEXTEQUAL}) {
    EXPECT_EQ(CeSeekDatabase(handle, type, 0x1000, nullptr), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  }
  EXPECT_EQ(NextNumber(), "0001:I4 30") << "the position is where it was";
}

TEST_F(DatabaseSeek, AWriteToTheRecordJustReadDoesNotRepeatIt) {
  Make({10, 20, 30});
  EXPECT_EQ(NextNumber(), "0001:I4 10");
  EXPECT_EQ(Write(handle, records[0], {TextValue(2, u"seen")}), records[0]);
  EXPECT_EQ(NextNumber(), "0001:I4 20");
  EXPECT_EQ(Write(handle, records[1], {LongValue(1, 99)}), records[1]) << "to the end of the order";
  EXPECT_EQ(NextNumber(), "0001:I4 30");
  EXPECT_EQ(NextNumber(), "0001:I4 99") << "met again at its new place";
  EXPECT_EQ(NextNumber(), "error 259");
}

TEST_F(DatabaseSeek, TheOtherReadingPutsThePositionOnTheRecordWritten) {
  Make({10, 20});
  device.SetCursorModel(wkt::control::CursorModel::WriteMovesPosition);
  EXPECT_EQ(NextNumber(), "0001:I4 10");
  EXPECT_EQ(Write(handle, records[0], {TextValue(2, u"seen")}), records[0]);
  EXPECT_EQ(NextNumber(), "0001:I4 10; 0002:LPWSTR seen");
}

TEST_F(DatabaseSeek, DeletingTheCurrentRecordMovesOnOnlyWhenIncrementing) {
  Make({10, 20, 30});
  const HANDLE still = OpenDatabase(oid, 0);
  for (const HANDLE each : {handle, still})
    EXPECT_EQ(CeSeekDatabase(each, CEDB_SEEK_CEOID, records[1], nullptr), records[1]);
  EXPECT_NE(CeDeleteRecord(handle, records[1]), FALSE);
  EXPECT_EQ(NextNumber(), "0001:I4 30");
  EXPECT_FALSE(ReadNext(still));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_KEY_DELETED});
  EXPECT_EQ(CeSeekDatabase(still, CEDB_SEEK_CURRENT, 1, nullptr), records[2])
      << "the one after the gap";
}

TEST_F(DatabaseSeek, EqualOnesStandInTheOrderOfTheIdentifiers) {
  Make({5, 5, 1, 5});
  EXPECT_EQ(ReadOrder(handle), (std::vector{records[2], records[0], records[1], records[3]}));
}

struct TextOrder {
  const char* name;
  DWORD flags;
  std::vector<const char16_t*> texts;  // as they stand in that order
};

class DatabaseTextOrder : public DeskDeviceTest, public ::testing::WithParamInterface<TextOrder> {};

TEST_P(DatabaseTextOrder, TextsStandAsTheFlagsSay) {
  const CEOID oid =
      CreateDatabase(u"Texts", 1, {SortOrder({{PropertyId(2, CEVT_LPWSTR), GetParam().flags}})});
  const HANDLE handle = OpenDatabase(oid);
  // The first must come before the last for another reason than its identifier, so they are written
  // backwards; equal ones then stand backwards, too.
  std::vector<CEOID> written;
  for (auto text = GetParam().texts.rbegin(); text != GetParam().texts.rend(); ++text)
    written.insert(written.begin(), Write(handle, 0, {TextValue(2, *text)}));
  EXPECT_EQ(ReadOrder(handle), written);
}

INSTANTIATE_TEST_SUITE_P(
    Flags, DatabaseTextOrder,
    ::testing::Values(
        TextOrder{
            "Plain", 0, {u"", u"A", u"a", u"a-b", u"Ab", u"ab", u"b", u"z", u"\u00C4", u"\u4E00"}},
        TextOrder{"Descending", CEDB_SORT_DESCENDING, {u"z", u"b", u"ab", u"a", u"A", u""}}),
    [](const auto& order) { return order.param.name; });

TEST_F(DatabaseSeek, FlagsLeaveDifferencesOut) {
  const struct {
    DWORD flag;
    const char16_t* one;
    const char16_t* other;
  } cases[] = {
      {CEDB_SORT_CASEINSENSITIVE, u"Text \u00E4", u"tEXT \u00C4"},
      {CEDB_SORT_IGNORENONSPACE, u"\u00E9te\u0301", u"ete"},
      {CEDB_SORT_IGNORESYMBOLS, u"co-op!", u"coop"},
      {CEDB_SORT_IGNOREKANATYPE, u"\u3042", u"\u30A2"},
      {CEDB_SORT_IGNOREWIDTH, u"\uFF21\uFF11", u"A1"},
  };
  for (const auto& each : cases) {
    const std::u16string name =
        u"F" + std::u16string(1, static_cast<char16_t>(u'A' + (&each - cases)));
    const auto without = SortOrder({{PropertyId(2, CEVT_LPWSTR), 0}}, CEDB_SORT_UNIQUE);
    const auto with = SortOrder({{PropertyId(2, CEVT_LPWSTR), each.flag}}, CEDB_SORT_UNIQUE);
    HANDLE database = OpenDatabase(CreateDatabase(name.c_str(), 1, {without}));
    EXPECT_NE(Write(database, 0, {TextValue(2, each.one)}), 0u);
    EXPECT_NE(Write(database, 0, {TextValue(2, each.other)}), 0u) << "different without the flag";
    database = OpenDatabase(CreateDatabase((name + u"2").c_str(), 1, {with}));
    EXPECT_NE(Write(database, 0, {TextValue(2, each.one)}), 0u);
    EXPECT_EQ(Write(database, 0, {TextValue(2, each.other)}), 0u)
        << "equal with the flag " << each.flag;
    EXPECT_EQ(GetLastError(), DWORD{ERROR_REPEATED_KEY});
  }
}

}  // namespace
