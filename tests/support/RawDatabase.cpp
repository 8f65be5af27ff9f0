#include "tests/support/RawDatabase.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "platform/Kernel.h"
#include "tests/support/Text.h"

namespace wkt::test {
namespace {

// The application's number, written out once more on purpose: tests do not take it from the code.
constexpr DWORD kApplicationType = 291166;
// 2026-03-02 09:00:00 UTC, 10:00:00 UTC and 00:00:00 of that day.
constexpr uint64_t kStart = 134169156000000000;
constexpr uint64_t kEnd = kStart + 36000000000;
constexpr uint64_t kDay = kStart - 9 * 36000000000;

FILETIME ToFileTime(uint64_t time) {
  return {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
}

uint64_t FromFileTime(FILETIME time) {
  return (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

CEPROPVAL ToPropVal(CEPROPID identifier, const RawValue& value) {
  CEPROPVAL property = {};
  property.propid = identifier;
  if (const auto* const number = std::get_if<int32_t>(&value.held))
    property.val.lVal = *number;
  if (const auto* const time = std::get_if<uint64_t>(&value.held))
    property.val.filetime = ToFileTime(*time);
  if (const auto* const text = std::get_if<std::u16string>(&value.held))
    property.val.lpwstr = const_cast<WCHAR*>(text->c_str());
  return property;
}

RawRecord ToRecord(const CEPROPVAL* properties, WORD count) {
  RawRecord record;
  for (WORD i = 0; i < count; ++i) {
    const CEPROPVAL& property = properties[i];
    switch (property.propid & 0xFFFF) {
      case CEVT_I4:
      case CEVT_BOOL:
        record.Set(property.propid, property.val.lVal);
        break;
      case CEVT_FILETIME:
        record.Set(property.propid, FromFileTime(property.val.filetime));
        break;
      case CEVT_LPWSTR:
        record.Set(property.propid, std::u16string(property.val.lpwstr));
        break;
      default:
        ADD_FAILURE() << "property of an unexpected type: " << property.propid;
    }
  }
  return record;
}

CEOID FindByName(const char16_t* name) {
  const HANDLE enumeration = CeFindFirstDatabaseEx(nullptr, kApplicationType);
  if (enumeration == INVALID_HANDLE_VALUE)
    return 0;
  CEGUID objectStore = {};
  CEOID found = 0;
  while ((found = CeFindNextDatabase(enumeration)) != 0) {
    CEOIDINFOEX info = {};
    info.wVersion = CEOIDINFOEX_VERSION;
    if (CeOidGetInfoEx2(&objectStore, found, &info) &&
        std::u16string(info.infDatabase.szDbaseName) == name)
      break;
  }
  CloseHandle(enumeration);
  return found;
}

CEOID MakeDatabase(const char16_t* name) {
  CEDBASEINFOEX info = {};
  info.wVersion = CEDBASEINFOEX_VERSION;
  info.dwFlags = CEDB_VALIDNAME | CEDB_VALIDTYPE;
  info.dwDbaseType = kApplicationType;
  std::u16string(name).copy(info.szDbaseName, CEDB_MAXDBASENAMELEN - 1);
  CEGUID objectStore = {};
  return CeCreateDatabaseEx2(&objectStore, &info);
}

}  // namespace

RawRecord& RawRecord::Set(CEPROPID identifier, int32_t number) {
  values[identifier] = {number};
  return *this;
}

RawRecord& RawRecord::Set(CEPROPID identifier, uint64_t time) {
  values[identifier] = {time};
  return *this;
}

RawRecord& RawRecord::Set(CEPROPID identifier, std::u16string text) {
  values[identifier] = {std::move(text)};
  return *this;
}

RawRecord& RawRecord::Remove(CEPROPID identifier) {
  values.erase(identifier);
  return *this;
}

int32_t RawRecord::Number(CEPROPID identifier) const {
  const auto found = values.find(identifier);
  EXPECT_NE(found, values.end()) << std::hex << identifier;
  return found == values.end() ? 0 : std::get<int32_t>(found->second.held);
}

uint64_t RawRecord::Time(CEPROPID identifier) const {
  const auto found = values.find(identifier);
  EXPECT_NE(found, values.end()) << std::hex << identifier;
  return found == values.end() ? 0 : std::get<uint64_t>(found->second.held);
}

std::u16string RawRecord::Text(CEPROPID identifier) const {
  const auto found = values.find(identifier);
  EXPECT_NE(found, values.end()) << std::hex << identifier;
  return found == values.end() ? u"(missing)" : std::get<std::u16string>(found->second.held);
}

std::string RawRecord::Describe() const {
  std::string text;
  for (const auto& [identifier, value] : values) {
    char name[16];
    std::snprintf(name, sizeof(name), "%s%08X=", text.empty() ? "" : " ", identifier);
    text += name;
    if (const auto* const number = std::get_if<int32_t>(&value.held))
      text += std::to_string(*number);
    if (const auto* const time = std::get_if<uint64_t>(&value.held))
      text += std::to_string(*time);
    if (const auto* const held = std::get_if<std::u16string>(&value.held))
      text += "'" + Narrow(*held) + "'";
  }
  return text;
}

RawDatabase::RawDatabase(const char16_t* name) : oid(FindByName(name)) {
  if (oid == 0)
    oid = MakeDatabase(name);
  EXPECT_NE(oid, 0u) << "cannot make " << Narrow(name) << ": " << GetLastError();
  CEGUID objectStore = {};
  handle = CeOpenDatabaseEx2(&objectStore, &oid, nullptr, nullptr, CEDB_AUTOINCREMENT, nullptr);
  EXPECT_NE(handle, INVALID_HANDLE_VALUE) << GetLastError();
}

RawDatabase::~RawDatabase() {
  CloseHandle(handle);
}

CEOID RawDatabase::Write(CEOID record, const RawRecord& values) {
  std::vector<CEPROPVAL> properties;
  for (const auto& [identifier, value] : values.Values())
    properties.push_back(ToPropVal(identifier, value));
  const CEOID written =
      CeWriteRecordProps(handle, record, static_cast<WORD>(properties.size()), properties.data());
  EXPECT_NE(written, 0u) << GetLastError();
  return written;
}

std::optional<RawRecord> RawDatabase::Read(CEOID record) {
  DWORD index = 0;
  if (CeSeekDatabase(handle, CEDB_SEEK_CEOID, record, &index) == 0)
    return std::nullopt;
  WORD count = 0;
  BYTE* buffer = nullptr;
  DWORD byteCount = 0;
  const CEOID read =
      CeReadRecordPropsEx(handle, CEDB_ALLOWREALLOC, &count, nullptr, &buffer, &byteCount, nullptr);
  std::optional<RawRecord> values;
  if (read == record)
    values = ToRecord(reinterpret_cast<const CEPROPVAL*>(buffer), count);
  LocalFree(buffer);
  return values;
}

bool RawDatabase::Delete(CEOID record) {
  return CeDeleteRecord(handle, record) != FALSE;
}

std::vector<CEOID> RawDatabase::List() {
  std::vector<CEOID> found;
  if (CeSeekDatabaseEx(handle, CEDB_SEEK_BEGINNING, 0, 0, nullptr) == 0)
    return found;
  for (;;) {
    WORD count = 0;
    BYTE* buffer = nullptr;
    DWORD byteCount = 0;
    const CEOID record = CeReadRecordPropsEx(handle, CEDB_ALLOWREALLOC, &count, nullptr, &buffer,
                                             &byteCount, nullptr);
    LocalFree(buffer);
    if (record == 0)
      return found;
    found.push_back(record);
  }
}

uint32_t RawDatabase::Count() {
  return static_cast<uint32_t>(List().size());
}

bool HasDatabase(const char16_t* name) {
  return FindByName(name) != 0;
}

RawRecord RawJob(const std::u16string& id) {
  return OldRawJob(id, -2, -2, -2)
      .Set(0x4013001F, u"WT")
      .Set(0x4014001F, u"PR")
      .Set(0x4015001F, u"TW");
}

RawRecord OldRawJob(const std::u16string& id, int32_t workType, int32_t project, int32_t teamwork) {
  RawRecord job;
  job.Set(0x4000001F, id).Set(0x40010003, 23).Set(0x40020040, kEnd);
  job.Set(0x4003001F, u"Title").Set(0x4004001F, u"Comment");
  job.Set(0x40050003, workType).Set(0x40060003, project).Set(0x40070003, teamwork);
  job.Set(0x40080040, kStart).Set(0x40090040, kEnd).Set(0x400A001F, u"P1; P2");
  job.Set(0x400B001F, u"0010000000000000000");
  job.Set(0x400C000B, 0).Set(0x400D000B, 0).Set(0x400E000B, 0).Set(0x400F000B, 0);
  job.Set(0x40100003, -1).Set(0x4011001F, u"").Set(0x40120040, kDay);
  return job;
}

RawRecord RawType(const std::u16string& id, int32_t kind) {
  RawRecord type;
  type.Set(0x40200003, kind).Set(0x4021001F, id).Set(0x40220003, 32);
  type.Set(0x40230040, kEnd).Set(0x40240040, kStart).Set(0x40250003, 0);
  type.Set(0x4026001F, u"Name").Set(0x4027001F, u"").Set(0x4028001F, u"Comment");
  type.Set(0x4029001F, u"0001000000000000000").Set(0x402A001F, u"").Set(0x402B001F, u"");
  type.Set(0x402C0003, 0).Set(0x402D0003, 0).Set(0x402E0040, uint64_t{0});
  return type;
}

}  // namespace wkt::test
