#include "tests/support/DatabaseHelp.h"

#include <cstdio>
#include <cstring>

namespace wkt::test {

namespace {

CEPROPVAL ValueOf(WORD number, WORD type) {
  CEPROPVAL value{};
  value.propid = PropertyId(number, type);
  return value;
}

std::string Hex(const BYTE* bytes, size_t count) {
  std::string text;
  for (size_t index = 0; index < count; ++index) {
    char digits[3];
    snprintf(digits, sizeof digits, "%02x", bytes[index]);
    text += digits;
  }
  return text;
}

}  // namespace

CEPROPVAL ShortValue(WORD number, SHORT value) {
  CEPROPVAL made = ValueOf(number, CEVT_I2);
  made.val.iVal = value;
  return made;
}

CEPROPVAL UnsignedShortValue(WORD number, USHORT value) {
  CEPROPVAL made = ValueOf(number, CEVT_UI2);
  made.val.uiVal = value;
  return made;
}

CEPROPVAL LongValue(WORD number, LONG value) {
  CEPROPVAL made = ValueOf(number, CEVT_I4);
  made.val.lVal = value;
  return made;
}

CEPROPVAL UnsignedLongValue(WORD number, ULONG value) {
  CEPROPVAL made = ValueOf(number, CEVT_UI4);
  made.val.ulVal = value;
  return made;
}

CEPROPVAL BoolValue(WORD number, bool value) {
  CEPROPVAL made = ValueOf(number, CEVT_BOOL);
  made.val.boolVal = value ? TRUE : FALSE;
  return made;
}

CEPROPVAL DoubleValue(WORD number, double value) {
  CEPROPVAL made = ValueOf(number, CEVT_R8);
  made.val.dblVal = value;
  return made;
}

CEPROPVAL TimeValue(WORD number, uint64_t ticks) {
  CEPROPVAL made = ValueOf(number, CEVT_FILETIME);
  made.val.filetime = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  return made;
}

CEPROPVAL TextValue(WORD number, const char16_t* text) {
  CEPROPVAL made = ValueOf(number, CEVT_LPWSTR);
  made.val.lpwstr = const_cast<char16_t*>(text);
  return made;
}

CEPROPVAL BlobValue(WORD number, const std::string& bytes) {
  CEPROPVAL made = ValueOf(number, CEVT_BLOB);
  made.val.blob.dwCount = static_cast<DWORD>(bytes.size());
  made.val.blob.lpb = reinterpret_cast<BYTE*>(const_cast<char*>(bytes.data()));
  return made;
}

CEPROPVAL NoValue(CEPROPID property) {
  CEPROPVAL made{};
  made.propid = property;
  made.wFlags = CEDB_PROPDELETE;
  return made;
}

std::string Describe(const CEPROPVAL& value) {
  if ((value.wFlags & CEDB_PROPNOTFOUND) != 0)
    return "missing";
  switch (value.propid & 0xFFFF) {
    case CEVT_I2:
      return "I2 " + std::to_string(value.val.iVal);
    case CEVT_UI2:
      return "UI2 " + std::to_string(value.val.uiVal);
    case CEVT_I4:
      return "I4 " + std::to_string(value.val.lVal);
    case CEVT_UI4:
      return "UI4 " + std::to_string(value.val.ulVal);
    case CEVT_BOOL:
      return "BOOL " + std::to_string(value.val.boolVal);
    case CEVT_R8: {
      char text[64];
      snprintf(text, sizeof text, "R8 %.17g", value.val.dblVal);
      return text;
    }
    case CEVT_FILETIME:
      return "FILETIME " + std::to_string(uint64_t{value.val.filetime.dwHighDateTime} << 32 |
                                          value.val.filetime.dwLowDateTime);
    case CEVT_LPWSTR: {
      std::string text = "LPWSTR ";
      for (const WCHAR* unit = value.val.lpwstr; *unit != 0; ++unit) {
        if (*unit < 0x80) {
          text += static_cast<char>(*unit);
        } else {
          char escaped[8];
          snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(*unit));
          text += escaped;
        }
      }
      return text;
    }
    case CEVT_BLOB:
      return "BLOB " + Hex(value.val.blob.lpb, value.val.blob.dwCount);
    default:
      return "?";
  }
}

std::string Describe(const CEPROPVAL* values, size_t count) {
  std::string text;
  for (size_t index = 0; index < count; ++index) {
    char number[8];
    snprintf(number, sizeof number, "%04x:", static_cast<unsigned>(values[index].propid >> 16));
    text += (index == 0 ? "" : "; ") + std::string(number) + Describe(values[index]);
  }
  return text;
}

SORTORDERSPECEX SortOrder(const std::vector<std::pair<CEPROPID, DWORD>>& keys, WORD keyFlags) {
  SORTORDERSPECEX order{};
  order.wVersion = SORTORDERSPECEX_VERSION;
  order.wNumProps = static_cast<WORD>(keys.size());
  order.wKeyFlags = keyFlags;
  for (size_t index = 0; index < keys.size() && index < CEDB_MAXSORTPROP; ++index) {
    order.rgPropID[index] = keys[index].first;
    order.rgdwFlags[index] = keys[index].second;
  }
  return order;
}

CEOID CreateDatabase(const char16_t* name, DWORD type, const std::vector<SORTORDERSPECEX>& orders,
                     const CEGUID* volume) {
  CEDBASEINFOEX info{};
  info.wVersion = CEDBASEINFOEX_VERSION;
  info.dwFlags = CEDB_VALIDNAME | CEDB_VALIDTYPE | (orders.empty() ? 0 : CEDB_VALIDSORTSPEC);
  std::u16string(name).copy(info.szDbaseName, CEDB_MAXDBASENAMELEN);
  info.dwDbaseType = type;
  info.wNumSortOrder = static_cast<WORD>(orders.size());
  for (size_t index = 0; index < orders.size() && index < CEDB_MAXSORTORDER; ++index)
    info.rgSortSpecs[index] = orders[index];
  CEGUID guid = volume != nullptr ? *volume : CEGUID{};
  return CeCreateDatabaseEx2(&guid, &info);
}

HANDLE OpenDatabase(CEOID oid, DWORD flags, const SORTORDERSPECEX* order, const CEGUID* volume) {
  CEGUID guid = volume != nullptr ? *volume : CEGUID{};
  SORTORDERSPECEX wanted = order != nullptr ? *order : SORTORDERSPECEX{};
  return CeOpenDatabaseEx2(&guid, &oid, nullptr, order != nullptr ? &wanted : nullptr, flags,
                           nullptr);
}

std::optional<ReadResult> ReadNext(HANDLE database) {
  BYTE* buffer = nullptr;
  DWORD byteCount = 0;
  WORD count = 0;
  const CEOID oid = CeReadRecordPropsEx(database, CEDB_ALLOWREALLOC, &count, nullptr, &buffer,
                                        &byteCount, nullptr);
  std::optional<ReadResult> result;
  if (oid != 0)
    result = ReadResult{oid, Describe(reinterpret_cast<CEPROPVAL*>(buffer), count)};
  const DWORD error = GetLastError();
  LocalFree(buffer);
  SetLastError(error);
  return result;
}

std::vector<CEOID> ReadOrder(HANDLE database) {
  std::vector<CEOID> oids;
  if (CeSeekDatabase(database, CEDB_SEEK_BEGINNING, 0, nullptr) == 0)
    return oids;
  while (const auto read = ReadNext(database))
    oids.push_back(read->oid);
  return oids;
}

CEOID Write(HANDLE database, CEOID oid, std::vector<CEPROPVAL> values) {
  return CeWriteRecordProps(database, oid, static_cast<WORD>(values.size()), values.data());
}

}  // namespace wkt::test
