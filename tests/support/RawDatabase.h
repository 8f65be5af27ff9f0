#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/Database.h"

// A property database as the application and other programs see it: records as bare properties,
// through platform functions only.
namespace wkt::test {

struct RawValue {
  std::variant<int32_t, uint64_t, std::u16string> held;  // I4 and BOOL, FILETIME, LPWSTR
  bool operator==(const RawValue&) const = default;
};

class RawRecord {
 public:
  // The value's type must be that of the identifier's low word.
  RawRecord& Set(CEPROPID identifier, int32_t number);
  RawRecord& Set(CEPROPID identifier, uint64_t time);
  RawRecord& Set(CEPROPID identifier, std::u16string text);
  RawRecord& Remove(CEPROPID identifier);
  [[nodiscard]] bool Has(CEPROPID identifier) const { return values.contains(identifier); }
  // Fail the running test when the record lacks it.
  [[nodiscard]] int32_t Number(CEPROPID identifier) const;
  [[nodiscard]] uint64_t Time(CEPROPID identifier) const;
  [[nodiscard]] std::u16string Text(CEPROPID identifier) const;
  [[nodiscard]] const std::map<CEPROPID, RawValue>& Values() const { return values; }
  bool operator==(const RawRecord&) const = default;
  // "4000001F='J1' 40010003=23 40020040=134173440000000000 ..."
  [[nodiscard]] std::string Describe() const;

 private:
  std::map<CEPROPID, RawValue> values;
};

class RawDatabase {
 public:
  // Opens the database of the object store, making it first without sort order if it is missing.
  explicit RawDatabase(const char16_t* name);
  ~RawDatabase();
  RawDatabase(const RawDatabase&) = delete;
  RawDatabase& operator=(const RawDatabase&) = delete;

  [[nodiscard]] CEOID GetOid() const { return oid; }
  // 0 makes a record. A failure fails the running test.
  CEOID Write(CEOID record, const RawRecord& values);
  CEOID Add(const RawRecord& values) { return Write(0, values); }
  // Nothing when there is no such record.
  [[nodiscard]] std::optional<RawRecord> Read(CEOID record);
  bool Delete(CEOID record);
  // In the order of the database.
  [[nodiscard]] std::vector<CEOID> List();
  [[nodiscard]] uint32_t Count();

 private:
  CEOID oid = 0;
  HANDLE handle = nullptr;
};

// Does the object store have it? Does not make it.
[[nodiscard]] bool HasDatabase(const char16_t* name);

// All properties of a job as the application writes them: title "Title", started 2026-03-02 09:00
// UTC, flags "0010000000000000000".
[[nodiscard]] RawRecord RawJob(const std::u16string& id);
// The 19 properties of the older layout, with these three numbers.
[[nodiscard]] RawRecord OldRawJob(const std::u16string& id, int32_t workType, int32_t project,
                                  int32_t teamwork);
// A type: name "Name", flags "0001000000000000000".
[[nodiscard]] RawRecord RawType(const std::u16string& id, int32_t kind);

}  // namespace wkt::test
