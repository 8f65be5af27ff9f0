// Databases by name, type and identifier.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/Bytes.h"
#include "tests/support/DatabaseHelp.h"
#include "tests/support/DeskDevice.h"

namespace {

using namespace wkt::test;

constexpr CEPROPID kNumber = PropertyId(1, CEVT_I4);
constexpr CEPROPID kText = PropertyId(2, CEVT_LPWSTR);

class DatabaseCatalogue : public DeskDeviceTest {
 protected:
  static std::vector<CEOID> OfType(DWORD type, CEGUID* volume = nullptr) {
    std::vector<CEOID> oids;
    const HANDLE enumeration = CeFindFirstDatabaseEx(volume, type);
    EXPECT_NE(enumeration, INVALID_HANDLE_VALUE);
    while (const CEOID oid = CeFindNextDatabase(enumeration))
      oids.push_back(oid);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
    EXPECT_NE(CloseHandle(enumeration), FALSE);
    return oids;
  }
  static CEDBASEINFOEX Info(const char16_t* name) {
    CEDBASEINFOEX info{};
    info.wVersion = CEDBASEINFOEX_VERSION;
    info.dwFlags = CEDB_VALIDNAME;
    std::u16string(name).copy(info.szDbaseName, CEDB_MAXDBASENAMELEN);
    return info;
  }
  DWORD CreateError(CEDBASEINFOEX info) {
    SetLastError(0xDEADBEEF);
    EXPECT_EQ(CeCreateDatabaseEx2(&store, &info), 0u);
    return GetLastError();
  }
  CEOIDINFOEX Describe(CEOID oid) {
    CEOIDINFOEX info{};
    info.wVersion = CEOIDINFOEX_VERSION;
    EXPECT_NE(CeOidGetInfoEx2(&store, oid, &info), FALSE) << GetLastError();
    return info;
  }
  CEGUID store{};
};

TEST_F(DatabaseCatalogue, EnumerationGivesTheDatabasesOfAType) {
  const CEOID first = CreateDatabase(u"A", 5);
  const CEOID second = CreateDatabase(u"B", 6);
  const CEOID third = CreateDatabase(u"C", 5);
  EXPECT_EQ(OfType(5), (std::vector{first, third}));
  EXPECT_EQ(OfType(0), (std::vector{first, second, third}));
  EXPECT_EQ(OfType(7), std::vector<CEOID>());
  EXPECT_EQ(OfType(6, &store), std::vector{second});
}

TEST_F(DatabaseCatalogue, EnumerationTellsTheVolumeWhenAsked) {
  CreateDatabase(u"A", 5);
  const HANDLE enumeration = CeFindFirstDatabaseEx(nullptr, 5);
  CEGUID volume{1, 2, 3, 4};
  EXPECT_NE(CeFindNextDatabaseEx(enumeration, &volume), 0u);
  EXPECT_TRUE(CHECK_SYSTEMGUID(&volume));
  CloseHandle(enumeration);
}

TEST_F(DatabaseCatalogue, UnknownVolumesAndHandlesAreInvalid) {
  CEGUID unknown{1, 2, 3, 4};
  EXPECT_EQ(CeFindFirstDatabaseEx(&unknown, 0), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(CeFindNextDatabase(nullptr), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  const HANDLE database = OpenDatabase(CreateDatabase(u"A"));
  EXPECT_EQ(CeFindNextDatabase(database), 0u) << "a handle of another kind";
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(DatabaseCatalogue, InformationHoldsWhatTheDatabaseWasMadeWith) {
  const auto order =
      SortOrder({{kNumber, CEDB_SORT_DESCENDING}, {kText, CEDB_SORT_CASEINSENSITIVE}});
  const CEOID oid = CreateDatabase(u"Jobs \u00E4", 0x4715E, {order});
  const CEOIDINFOEX info = Describe(oid);
  EXPECT_EQ(info.wObjType, OBJTYPE_DATABASE);
  EXPECT_EQ(info.infDatabase.wVersion, 1);
  EXPECT_EQ(std::u16string(info.infDatabase.szDbaseName), u"Jobs \u00E4");
  EXPECT_EQ(info.infDatabase.dwDbaseType, 0x4715Eu);
  EXPECT_EQ(info.infDatabase.dwNumRecords, 0u);
  EXPECT_EQ(info.infDatabase.dwSize, 0u);
  ASSERT_EQ(info.infDatabase.wNumSortOrder, 1);
  EXPECT_EQ(memcmp(&info.infDatabase.rgSortSpecs[0], &order, sizeof order), 0);
}

TEST_F(DatabaseCatalogue, CountSizeAndLastChangeFollowEveryWrite) {
  const CEOID oid = CreateDatabase(u"A");
  const HANDLE handle = OpenDatabase(oid);
  const auto changed = [&] {
    const FILETIME time = Describe(oid).infDatabase.ftLastModified;
    return uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
  };
  EXPECT_EQ(changed(), kStartTicks);
  device.StepClockMilliseconds(1000);
  const CEOID record = Write(handle, 0, {TextValue(2, u"text")});
  EXPECT_EQ(changed(), kStartTicks + 10'000'000);
  EXPECT_EQ(Describe(oid).infDatabase.dwNumRecords, 1u);
  const DWORD size = Describe(oid).infDatabase.dwSize;
  device.StepClockMilliseconds(1000);
  EXPECT_EQ(Write(handle, record, {TextValue(2, u"a longer text")}), record);
  EXPECT_GT(Describe(oid).infDatabase.dwSize, size);
  EXPECT_EQ(changed(), kStartTicks + 20'000'000);
  device.StepClockMilliseconds(1000);
  EXPECT_EQ(Write(handle, record, {TextValue(2, u"a longer text")}), record);
  EXPECT_EQ(changed(), kStartTicks + 20'000'000) << "nothing was changed";
  EXPECT_NE(CeDeleteRecord(handle, record), FALSE);
  EXPECT_EQ(Describe(oid).infDatabase.dwNumRecords, 0u);
  EXPECT_EQ(Describe(oid).infDatabase.dwSize, 0u);
  EXPECT_EQ(changed(), kStartTicks + 30'000'000);
}

TEST_F(DatabaseCatalogue, InformationOfARecordNamesItsDatabase) {
  const CEOID oid = CreateDatabase(u"A");
  const CEOID record = Write(OpenDatabase(oid), 0, {LongValue(1, 1)});
  const CEOIDINFOEX info = Describe(record);
  EXPECT_EQ(info.wObjType, OBJTYPE_RECORD);
  EXPECT_EQ(info.infRecord.oidParent, oid);
}

TEST_F(DatabaseCatalogue, InformationOfNothingFailsAndWritesNothing) {
  CEOIDINFOEX info;
  memset(&info, 0x5A, sizeof info);
  info.wVersion = CEOIDINFOEX_VERSION;
  const CEOIDINFOEX before = info;
  EXPECT_EQ(CeOidGetInfoEx2(&store, 12345, &info), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  EXPECT_EQ(BytesOf(info), BytesOf(before));
  info.wVersion = 2;
  EXPECT_EQ(CeOidGetInfoEx2(&store, 12345, &info), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(CeOidGetInfoEx2(&store, 12345, nullptr), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(DatabaseCatalogue, NamesAreUniqueExactAndCutAt31) {
  EXPECT_NE(CreateDatabase(u"Name"), 0u);
  EXPECT_EQ(CreateError(Info(u"Name")), DWORD{ERROR_DUP_NAME});
  EXPECT_NE(CreateDatabase(u"name"), 0u) << "another case is another name";
  const CEOID cut = CreateDatabase(u"0123456789012345678901234567890X");
  EXPECT_EQ(std::u16string(Describe(cut).infDatabase.szDbaseName),
            u"0123456789012345678901234567890");
}

TEST_F(DatabaseCatalogue, CreationRefusesWhatIsWrong) {
  EXPECT_EQ(CreateError(Info(u"")), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(CreateError(Info(u"A\\")), DWORD{ERROR_INVALID_PARAMETER});
  CEDBASEINFOEX info = Info(u"A");
  info.dwFlags = CEDB_VALIDTYPE;
  EXPECT_EQ(CreateError(info), DWORD{ERROR_INVALID_PARAMETER}) << "no name";
  info = Info(u"A");
  info.wVersion = 2;
  EXPECT_EQ(CreateError(info), DWORD{ERROR_INVALID_PARAMETER});
  info = Info(u"A");
  info.dwFlags |= CEDB_VALIDSORTSPEC;
  info.wNumSortOrder = 5;
  EXPECT_EQ(CreateError(info), DWORD{ERROR_INVALID_PARAMETER});
  info.wNumSortOrder = 1;
  info.rgSortSpecs[0] = SortOrder({{PropertyId(1, CEVT_BLOB), 0}});
  EXPECT_EQ(CreateError(info), DWORD{ERROR_INVALID_PARAMETER}) << "blobs have no order";
  info.rgSortSpecs[0] = SortOrder({{kNumber, 0}});
  info.rgSortSpecs[0].wVersion = 0;
  EXPECT_EQ(CreateError(info), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(OfType(0), std::vector<CEOID>()) << "nothing was made";
}

TEST_F(DatabaseCatalogue, OpeningByNameTellsTheIdentifier) {
  const CEOID made = CreateDatabase(u"A");
  CEOID oid = 0;
  char16_t name[] = u"A";
  const HANDLE handle = CeOpenDatabaseEx2(&store, &oid, name, nullptr, 0, nullptr);
  EXPECT_NE(handle, INVALID_HANDLE_VALUE);
  EXPECT_EQ(oid, made);
  oid = 77;
  CEGUID any;
  CREATE_INVALIDGUID(&any);
  EXPECT_NE(CeOpenDatabaseEx2(&any, &oid, name, nullptr, 0, nullptr), INVALID_HANDLE_VALUE);
  EXPECT_EQ(oid, made) << "with the invalid GUID the identifier is not looked at";
}

TEST_F(DatabaseCatalogue, OpeningWhatIsNotThereFails) {
  CreateDatabase(u"A", 1, {SortOrder({{kNumber, 0}})});
  CEOID oid = 0;
  char16_t name[] = u"B";
  EXPECT_EQ(CeOpenDatabaseEx2(&store, &oid, name, nullptr, 0, nullptr), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(oid, 0u);
  oid = 12345;
  EXPECT_EQ(CeOpenDatabaseEx2(&store, &oid, nullptr, nullptr, 0, nullptr), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
  oid = 0;
  EXPECT_EQ(CeOpenDatabaseEx2(&store, &oid, nullptr, nullptr, 0, nullptr), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  name[0] = u'A';
  SORTORDERSPECEX other = SortOrder({{kText, 0}});
  EXPECT_EQ(CeOpenDatabaseEx2(&store, &oid, name, &other, 0, nullptr), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND}) << "no such order";
  EXPECT_EQ(CeOpenDatabaseEx2(&store, &oid, name, nullptr, 0x80, nullptr), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(DatabaseCatalogue, NameTypeAndOrdersChange) {
  const CEOID oid = CreateDatabase(u"A", 1);
  CreateDatabase(u"B", 1);
  HANDLE handle = OpenDatabase(oid);
  const CEOID big = Write(handle, 0, {LongValue(1, 9)});
  const CEOID small = Write(handle, 0, {LongValue(1, 3)});
  CEDBASEINFOEX info = Info(u"B");
  EXPECT_EQ(CeSetDatabaseInfoEx2(&store, oid, &info), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_DUP_NAME});
  info = Info(u"C");
  info.dwFlags |= CEDB_VALIDTYPE;
  info.dwDbaseType = 8;
  EXPECT_NE(CeSetDatabaseInfoEx2(&store, oid, &info), FALSE);
  EXPECT_EQ(OfType(8), std::vector{oid});
  info = {};
  info.wVersion = CEDBASEINFOEX_VERSION;
  info.dwFlags = CEDB_VALIDSORTSPEC;
  info.wNumSortOrder = 1;
  info.rgSortSpecs[0] = SortOrder({{kNumber, 0}});
  EXPECT_EQ(CeSetDatabaseInfoEx2(&store, oid, &info), FALSE) << "open";
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
  CloseHandle(handle);
  EXPECT_NE(CeSetDatabaseInfoEx2(&store, oid, &info), FALSE) << GetLastError();
  handle = OpenDatabase(oid);
  EXPECT_EQ(ReadOrder(handle), (std::vector{small, big}));
  EXPECT_EQ(std::u16string(Describe(oid).infDatabase.szDbaseName), u"C");
  CloseHandle(handle);
  info.rgSortSpecs[0] = SortOrder({{kText, CEDB_SORT_NONNULL}});
  EXPECT_EQ(CeSetDatabaseInfoEx2(&store, oid, &info), FALSE) << "its records lack the text";
  EXPECT_EQ(GetLastError(), DWORD{ERROR_DBPROP_NOT_FOUND});
  handle = OpenDatabase(oid);
  EXPECT_EQ(ReadOrder(handle), (std::vector{small, big})) << "all as before";
  EXPECT_EQ(CeSetDatabaseInfoEx2(&store, 12345, &info), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(DatabaseCatalogue, DeletionTakesTheRecordsAndFreesTheName) {
  const CEOID oid = CreateDatabase(u"A");
  const HANDLE handle = OpenDatabase(oid);
  const CEOID record = Write(handle, 0, {LongValue(1, 9)});
  EXPECT_EQ(CeDeleteDatabaseEx(&store, oid), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION}) << "open";
  CloseHandle(handle);
  EXPECT_NE(CeDeleteDatabaseEx(&store, oid), FALSE);
  EXPECT_EQ(CeDeleteDatabaseEx(&store, oid), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
  CEOIDINFOEX info{};
  info.wVersion = CEOIDINFOEX_VERSION;
  EXPECT_EQ(CeOidGetInfoEx2(&store, record, &info), FALSE);
  const CEOID again = CreateDatabase(u"A");
  EXPECT_GT(again, record) << "identifiers are not used again";
  EXPECT_GT(Write(OpenDatabase(again), 0, {LongValue(1, 9)}), again);
}

}  // namespace
