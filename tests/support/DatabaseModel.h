// What a property database is, in the simplest form that can be right: records in a map, sorted
// anew for every question, positions moved at once. To hold the real store against.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/Database.h"

namespace wkt::test {

// What a call answers: the identifier or other number, the last error when it failed, and what it
// read.
struct ModelAnswer {
  uint32_t result = 0;
  DWORD error = ERROR_SUCCESS;
  std::string detail;
  bool operator==(const ModelAnswer&) const = default;
};

class DatabaseModel {
 public:
  struct Value {
    WORD type = 0;
    int64_t number = 0;  // integers, BOOL, FILETIME
    double real = 0;
    std::u16string text;
    std::string bytes;
    bool operator==(const Value&) const = default;
  };
  using Record = std::map<CEPROPID, Value>;

  explicit DatabaseModel(std::vector<SORTORDERSPECEX> orders);

  size_t Open(size_t order, bool increments);
  // `fresh` is the identifier that the store gave to a new record.
  ModelAnswer Write(size_t cursor, CEOID oid, const std::vector<CEPROPVAL>& values, CEOID fresh,
                    bool movesPosition);
  ModelAnswer Delete(CEOID oid);
  ModelAnswer Seek(size_t cursor, DWORD seekType, DWORD value);
  ModelAnswer ReadAll(size_t cursor);
  ModelAnswer ReadSome(size_t cursor, const std::vector<CEPROPID>& wanted);
  // All records, counted.
  [[nodiscard]] size_t Count() const { return records_.size(); }
  // Some record's identifier, 0 when there is none.
  [[nodiscard]] CEOID Pick(uint32_t number) const;
  void CloseAll() { cursors_.clear(); }

 private:
  enum class At { Begin, Record, Gap, End };
  struct Cursor {
    size_t order;
    bool increments;
    At at = At::Begin;
    CEOID oid = 0;
    Record gone;  // Gap: the record that was deleted
  };

  // -1, 0, 1 by the order's properties alone.
  static int Compare(const SORTORDERSPECEX& order, const Record& left, const Record& right);
  [[nodiscard]] std::vector<CEOID> Sorted(size_t order) const;
  // ERROR_SUCCESS, or why the record may not be.
  [[nodiscard]] DWORD Check(CEOID oid, const Record& record) const;
  [[nodiscard]] size_t PlaceOf(const Cursor& cursor, const std::vector<CEOID>& sorted) const;
  void MoveOn(Cursor& cursor) const;
  // On a record, or the code that a read fails with.
  DWORD Settle(Cursor& cursor) const;

  std::vector<SORTORDERSPECEX> orders_;
  std::map<CEOID, Record> records_;
  std::vector<Cursor> cursors_;
};

}  // namespace wkt::test
