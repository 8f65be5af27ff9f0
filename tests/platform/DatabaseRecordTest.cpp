// Writing and reading records: types, partial changes, buffers, limits.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/DatabaseHelp.h"
#include "tests/support/DeskDevice.h"

namespace {

using namespace wkt::test;

constexpr CEPROPID kNumber = PropertyId(1, CEVT_I4);
constexpr CEPROPID kText = PropertyId(2, CEVT_LPWSTR);

class DatabaseRecord : public DeskDeviceTest {
 protected:
  DatabaseRecord() : handle(OpenDatabase(CreateDatabase(u"Records"), 0)) {}
  std::string Stored(CEOID oid) {
    EXPECT_EQ(CeSeekDatabase(handle, CEDB_SEEK_CEOID, oid, nullptr), oid);
    const auto read = ReadNext(handle);
    return read ? read->record : "error " + std::to_string(GetLastError());
  }
  DWORD WriteError(CEOID oid, const std::vector<CEPROPVAL>& values) {
    SetLastError(0xDEADBEEF);
    EXPECT_EQ(Write(handle, oid, values), 0u);
    return GetLastError();
  }
  HANDLE handle;
};

TEST_F(DatabaseRecord, EveryTypeComesBackInTheOrderOfTheIdentifiers) {
  const std::string bytes("\0\1\xff", 3);
  const CEOID oid =
      Write(handle, 0,
            {BlobValue(9, bytes), TextValue(8, u"a\u00E4\uFFFD"), TimeValue(7, 0x0123456789ABCDEF),
             BoolValue(6, true), DoubleValue(5, -1.5), UnsignedLongValue(4, 0xFFFFFFFF),
             LongValue(3, -2147483647 - 1), UnsignedShortValue(2, 0xFFFF), ShortValue(1, -32768)});
  EXPECT_EQ(Stored(oid),
            "0001:I2 -32768; 0002:UI2 65535; 0003:I4 -2147483648; 0004:UI4 4294967295; 0005:R8 "
            "-1.5; 0006:BOOL 1; "
            "0007:FILETIME 81985529216486895; 0008:LPWSTR a\\u00e4\\ufffd; 0009:BLOB 0001ff");
}

TEST_F(DatabaseRecord, EmptyTextsAndBlobsAreValues) {
  const CEOID oid = Write(handle, 0, {TextValue(1, u""), BlobValue(2, "")});
  EXPECT_EQ(Stored(oid), "0001:LPWSTR ; 0002:BLOB ");
}

TEST_F(DatabaseRecord, AnyTrueValueOfABoolIsOne) {
  CEPROPVAL value = BoolValue(1, true);
  value.val.boolVal = 77;
  EXPECT_EQ(Stored(Write(handle, 0, {value})), "0001:BOOL 1");
}

TEST_F(DatabaseRecord, OnlyGivenPropertiesChange) {
  const CEOID oid = Write(handle, 0, {LongValue(1, 1), TextValue(2, u"two"), LongValue(3, 3)});
  EXPECT_EQ(Write(handle, oid,
                  {TextValue(2, u"another"), NoValue(PropertyId(3, CEVT_I4)), LongValue(4, 4)}),
            oid);
  EXPECT_EQ(Stored(oid), "0001:I4 1; 0002:LPWSTR another; 0004:I4 4");
  EXPECT_EQ(Write(handle, oid, {NoValue(PropertyId(77, CEVT_I4)), LongValue(1, 5)}), oid);
  EXPECT_EQ(Stored(oid), "0001:I4 5; 0002:LPWSTR another; 0004:I4 4");
}

TEST_F(DatabaseRecord, TheSameNumberWithAnotherTypeIsAnotherProperty) {
  const CEOID oid = Write(handle, 0, {LongValue(1, 1), TextValue(1, u"one")});
  EXPECT_EQ(Stored(oid), "0001:I4 1; 0001:LPWSTR one");
}

TEST_F(DatabaseRecord, WritesThatMustFailChangeNothing) {
  const CEOID oid = Write(handle, 0, {LongValue(1, 1)});
  EXPECT_EQ(WriteError(oid, {LongValue(1, 2), TextValue(2, nullptr)}),
            DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(WriteError(oid, {}), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(WriteError(12345, {LongValue(1, 2)}), DWORD{ERROR_INVALID_PARAMETER});
  CEPROPVAL unknown{};
  unknown.propid = PropertyId(1, 7);
  EXPECT_EQ(WriteError(oid, {LongValue(1, 2), unknown}), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(WriteError(0, {NoValue(kNumber)}), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(CeWriteRecordProps(nullptr, oid, 1, nullptr), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(Stored(oid), "0001:I4 1");
}

TEST_F(DatabaseRecord, LimitsOfPropertiesAndRecords) {
  // 65471 bytes a property: 32734 characters and the terminator.
  std::u16string text(32734, u'x');
  const CEOID oid = Write(handle, 0, {TextValue(2, text.c_str())});
  EXPECT_NE(oid, 0u);
  EXPECT_EQ(Stored(oid), "0002:LPWSTR " + std::string(32734, 'x'));
  text += u'x';
  EXPECT_EQ(WriteError(0, {TextValue(2, text.c_str())}), DWORD{ERROR_INVALID_PARAMETER});
  const std::string blob(65471, 'b');
  EXPECT_NE(Write(handle, 0, {BlobValue(1, blob)}), 0u);
  EXPECT_EQ(WriteError(0, {BlobValue(1, blob + "b")}), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(WriteError(0, {BlobValue(1, blob), BlobValue(2, blob), BlobValue(3, blob)}),
            DWORD{ERROR_INVALID_PARAMETER})
      << "above 128 KB";
}

TEST_F(DatabaseRecord, DeletingTakesTheRecordOnce) {
  const CEOID oid = Write(handle, 0, {LongValue(1, 1)});
  EXPECT_NE(CeDeleteRecord(handle, oid), FALSE);
  EXPECT_EQ(CeDeleteRecord(handle, oid), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(CeDeleteRecord(nullptr, oid), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(DatabaseRecord, SuccessLeavesTheLastErrorAlone) {
  SetLastError(0xDEADBEEF);
  const CEOID oid = Write(handle, 0, {LongValue(1, 1)});
  Stored(oid);
  CeDeleteRecord(handle, oid);
  EXPECT_EQ(GetLastError(), 0xDEADBEEFu);
}

TEST_F(DatabaseRecord, ACallersBufferIsFilledAndNothingBehindIt) {
  const CEOID oid = Write(handle, 0, {LongValue(1, 1), TextValue(2, u"two")});
  alignas(8) BYTE space[512];
  BYTE* buffer = space;
  WORD count = 0;
  CeSeekDatabase(handle, CEDB_SEEK_CEOID, oid, nullptr);
  DWORD needed = 1;
  EXPECT_EQ(CeReadRecordPropsEx(handle, 0, &count, nullptr, &buffer, &needed, nullptr), 0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  EXPECT_GE(needed, 2 * sizeof(CEPROPVAL) + 8);
  ASSERT_LT(needed, sizeof space);
  memset(space, 0x5A, sizeof space);
  DWORD byteCount = needed - 1;
  EXPECT_EQ(CeReadRecordPropsEx(handle, 0, &count, nullptr, &buffer, &byteCount, nullptr), 0u);
  EXPECT_EQ(space[0], 0x5A) << "untouched";
  EXPECT_EQ(byteCount, needed);
  EXPECT_EQ(CeReadRecordPropsEx(handle, 0, &count, nullptr, &buffer, &byteCount, nullptr), oid)
      << "a failed read does not move the position";
  EXPECT_EQ(buffer, space);
  EXPECT_EQ(byteCount, needed);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(Describe(reinterpret_cast<CEPROPVAL*>(space), count), "0001:I4 1; 0002:LPWSTR two");
  for (size_t index = needed; index < sizeof space; ++index)
    ASSERT_EQ(space[index], 0x5A) << index;
}

TEST_F(DatabaseRecord, ABufferOfTheHeapIsReplacedWhenItIsTooSmall) {
  const std::u16string text(1000, u'x');
  const CEOID oid = Write(handle, 0, {TextValue(2, text.c_str())});
  CeSeekDatabase(handle, CEDB_SEEK_CEOID, oid, nullptr);
  auto* buffer = static_cast<BYTE*>(LocalAlloc(LMEM_FIXED, 16));
  DWORD byteCount = 16;
  WORD count = 0;
  EXPECT_EQ(
      CeReadRecordPropsEx(handle, CEDB_ALLOWREALLOC, &count, nullptr, &buffer, &byteCount, nullptr),
      oid);
  EXPECT_GT(byteCount, 2000u);
  BYTE* const large = buffer;
  EXPECT_EQ(
      CeReadRecordPropsEx(handle, CEDB_ALLOWREALLOC, &count, nullptr, &buffer, &byteCount, nullptr),
      oid);
  EXPECT_EQ(buffer, large) << "large enough: kept";
  LocalFree(buffer);
}

TEST_F(DatabaseRecord, WantedPropertiesComeInTheirOrderMissingOnesMarked) {
  const CEOID oid = Write(handle, 0, {LongValue(1, 1), TextValue(2, u"two"), LongValue(3, 3)});
  CeSeekDatabase(handle, CEDB_SEEK_CEOID, oid, nullptr);
  CEPROPID wanted[] = {PropertyId(3, CEVT_I4), PropertyId(9, CEVT_I4), kText};
  WORD count = 3;
  BYTE* buffer = nullptr;
  DWORD byteCount = 0;
  EXPECT_EQ(
      CeReadRecordPropsEx(handle, CEDB_ALLOWREALLOC, &count, wanted, &buffer, &byteCount, nullptr),
      oid);
  EXPECT_EQ(Describe(reinterpret_cast<CEPROPVAL*>(buffer), count),
            "0003:I4 3; 0009:missing; 0002:LPWSTR two");
  LocalFree(buffer);
  buffer = nullptr;
  count = 2;
  EXPECT_EQ(CeReadRecordPropsEx(handle, CEDB_ALLOWREALLOC, &count, &wanted[1], &buffer, &byteCount,
                                nullptr),
            oid);
  count = 1;
  LocalFree(buffer);
  buffer = nullptr;
  EXPECT_EQ(CeReadRecordPropsEx(handle, CEDB_ALLOWREALLOC, &count, &wanted[1], &buffer, &byteCount,
                                nullptr),
            0u);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_DATA});
  EXPECT_EQ(buffer, nullptr);
}

TEST_F(DatabaseRecord, ReadsRefuseWhatIsWrong) {
  const CEOID oid = Write(handle, 0, {LongValue(1, 1)});
  CeSeekDatabase(handle, CEDB_SEEK_CEOID, oid, nullptr);
  BYTE* buffer = nullptr;
  DWORD byteCount = 0;
  WORD count = 0;
  CEPROPID wanted = kNumber;
  const auto error = [&](HANDLE database, DWORD flags, WORD* properties, CEPROPID* ids,
                         BYTE** block, DWORD* bytes, HANDLE heap) {
    EXPECT_EQ(CeReadRecordPropsEx(database, flags, properties, ids, block, bytes, heap), 0u);
    return GetLastError();
  };
  const DWORD invalid = ERROR_INVALID_PARAMETER;
  EXPECT_EQ(error(nullptr, CEDB_ALLOWREALLOC, &count, nullptr, &buffer, &byteCount, nullptr),
            invalid);
  EXPECT_EQ(error(handle, 0x80, &count, nullptr, &buffer, &byteCount, nullptr), invalid);
  EXPECT_EQ(error(handle, CEDB_ALLOWREALLOC, nullptr, nullptr, &buffer, &byteCount, nullptr),
            invalid);
  EXPECT_EQ(error(handle, CEDB_ALLOWREALLOC, &count, nullptr, nullptr, &byteCount, nullptr),
            invalid);
  EXPECT_EQ(error(handle, CEDB_ALLOWREALLOC, &count, nullptr, &buffer, nullptr, nullptr), invalid);
  EXPECT_EQ(error(handle, CEDB_ALLOWREALLOC, &count, &wanted, &buffer, &byteCount, nullptr),
            invalid)
      << "none wanted";
  EXPECT_EQ(error(handle, CEDB_ALLOWREALLOC, &count, nullptr, &buffer, &byteCount, handle), invalid)
      << "a heap";
  EXPECT_EQ(Stored(oid), "0001:I4 1");
}

TEST_F(DatabaseRecord, ADatabaseMustHaveWhatItsOrderDemands) {
  const auto order = SortOrder({{kNumber, CEDB_SORT_NONNULL}}, CEDB_SORT_UNIQUE);
  handle = OpenDatabase(CreateDatabase(u"Strict", 1, {order}), 0);
  EXPECT_EQ(WriteError(0, {TextValue(2, u"x")}), DWORD{ERROR_DBPROP_NOT_FOUND});
  const CEOID oid = Write(handle, 0, {LongValue(1, 1)});
  EXPECT_EQ(WriteError(0, {LongValue(1, 1)}), DWORD{ERROR_REPEATED_KEY});
  const CEOID other = Write(handle, 0, {LongValue(1, 2)});
  EXPECT_EQ(WriteError(other, {LongValue(1, 1)}), DWORD{ERROR_REPEATED_KEY});
  EXPECT_EQ(WriteError(other, {NoValue(kNumber), TextValue(2, u"x")}),
            DWORD{ERROR_DBPROP_NOT_FOUND});
  EXPECT_EQ(Write(handle, oid, {LongValue(1, 1), TextValue(2, u"itself")}), oid);
  EXPECT_EQ(Stored(other), "0001:I4 2");
}

}  // namespace
