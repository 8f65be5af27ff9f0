#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <new>
#include <span>
#include <utility>

#include "WktCommon/Allocation.h"
#include "WktCommon/StampMode.h"
#include "WktDevCommon/TableRow.h"
#include "platform/Database.h"

// How a record's fields travel to and from the properties of a database record. One table per
// record class lists them in stored order; filling, loading and allocating walk it.
namespace wkt {

// The properties of one database record as read, found by identifier: a record written by an older
// or newer program may lack some or hold them in another order.
class PropertyValues {
 public:
  PropertyValues(const CEPROPVAL* first, size_t valueCount) : values(first), count(valueCount) {}

  // `expectedAt` is where a record of the present layout has it. Null when the record lacks it.
  [[nodiscard]] const CEPROPVAL* Find(CEPROPID identifier, size_t expectedAt) const {
    if (expectedAt < count && IsPresent(values[expectedAt], identifier)) [[likely]]
      return &values[expectedAt];
    return Search(identifier);
  }

 private:
  [[gnu::noinline]] const CEPROPVAL* Search(CEPROPID identifier) const {
    for (size_t i = 0; i < count; ++i) {
      if (IsPresent(values[i], identifier))
        return &values[i];
    }
    return nullptr;
  }
  [[nodiscard]] static bool IsPresent(const CEPROPVAL& value, CEPROPID identifier) {
    return value.propid == identifier && (value.wFlags & CEDB_PROPNOTFOUND) == 0;
  }

  const CEPROPVAL* values;
  size_t count;
};

// One row. `store` puts the record's field into a value whose texts point into the record; `load`
// gives a value read to the record, null where the value read is of no use.
template <class Record>
struct PropertyField {
  CEPROPID identifier;
  void (*store)(Record& record, CEPROPVAL& value);
  void (*load)(Record& record, const CEPROPVAL& value);
};

// Points at the record's own text: a getter's copy shares its body with the field it came from.
inline void StoreText(CEPROPVAL& value, const WCHAR* text) {
  value.val.lpwstr = const_cast<WCHAR*>(text);  // the platform reads it only
}

// What a load through a member function needs to know about it.
template <class Getter>
struct GetterRecord;
template <class R, class Result>
struct GetterRecord<Result (R::*)() const> {
  using Record = R;
};
template <class R, class Result>
struct GetterRecord<Result (R::*)()> {
  using Record = R;
};
template <auto get>
using RecordOf = typename GetterRecord<decltype(get)>::Record;

template <auto get, auto set>
constexpr PropertyField<RecordOf<get>> TextProperty(CEPROPID identifier) {
  using Record = RecordOf<get>;
  return {identifier,
          [](Record& record, CEPROPVAL& value) { StoreText(value, (record.*get)().c_str()); },
          [](Record& record, const CEPROPVAL& value) { (record.*set)(value.val.lpwstr); }};
}

template <auto get, auto set>
constexpr PropertyField<RecordOf<get>> NumberProperty(CEPROPID identifier) {
  using Record = RecordOf<get>;
  return {
      identifier,
      [](Record& record, CEPROPVAL& value) { value.val.lVal = static_cast<LONG>((record.*get)()); },
      [](Record& record, const CEPROPVAL& value) { (record.*set)(value.val.lVal); }};
}

template <auto get, auto set>
constexpr PropertyField<RecordOf<get>> TimeProperty(CEPROPID identifier) {
  using Record = RecordOf<get>;
  return {identifier,
          [](Record& record, CEPROPVAL& value) { value.val.filetime = (record.*get)(); },
          [](Record& record, const CEPROPVAL& value) { (record.*set)(value.val.filetime); }};
}

// Stored in its place, but given back to the record after all others.
template <auto get>
constexpr PropertyField<RecordOf<get>> ModificationTimeProperty(CEPROPID identifier) {
  using Record = RecordOf<get>;
  return {identifier,
          [](Record& record, CEPROPVAL& value) { value.val.filetime = (record.*get)(); }, nullptr};
}

template <class Record, LONG number>
constexpr PropertyField<Record> ConstantProperty(CEPROPID identifier) {
  return {identifier, [](Record&, CEPROPVAL& value) { value.val.lVal = number; }, nullptr};
}

template <class Record>
using PropertyRows = std::span<const PropertyField<Record>>;

// Gives zeroed values their identifiers.
template <class Record>
void SetIdentifiers(PropertyRows<Record> rows, CEPROPVAL* values) {
  for (const PropertyField<Record>& row : rows)
    (values++)->propid = row.identifier;
}

// Null without memory.
template <class Record>
std::unique_ptr<CEPROPVAL[]> NewPropertyArray(PropertyRows<Record> rows, WORD* count) {
  std::unique_ptr<CEPROPVAL[]> values(new (std::nothrow) CEPROPVAL[rows.size()]());
  if (values) {
    SetIdentifiers(rows, values.get());
    if (count)
      *count = static_cast<WORD>(rows.size());
  } else {
    NoteAllocationFailure();
  }
  return values;
}

// Each of the first `count` values gets the field that its identifier names; values of unknown
// identifiers stay as they are.
template <class Record>
void StoreFields(PropertyRows<Record> rows, Record& record, CEPROPVAL* values, size_t count) {
  size_t likely = 0;  // values come in table order
  for (size_t i = 0; i < count; ++i) {
    for (size_t tried = 0; tried < rows.size(); ++tried) {
      const size_t at = (likely + tried) % rows.size();
      if (rows[at].identifier != values[i].propid)
        continue;
      rows[at].store(record, values[i]);
      likely = at + 1;
      break;
    }
  }
}

// Every setter stamps the record, so the stored modification time is applied after all of them.
// Kept: a stored time of 0 is no time, the record keeps the time of reading.
template <class Record>
void LoadModificationTime(Record& record, const CEPROPVAL* stored) {
  if (!stored)
    return;
  const FILETIME time = stored->val.filetime;
  if (time.dwLowDateTime != 0 || time.dwHighDateTime != 0)
    record.SetModificationTime(time, FALSE);
}

// Walks the table, not the values: a later field may override part of an earlier one.
template <class Record>
void LoadRecord(PropertyRows<Record> rows, size_t modificationTimeAt, Record& record,
                const PropertyValues& values) {
  const FillScope<Record> filling(record);
  for (size_t i = 0; i < rows.size(); ++i) {
    if (!rows[i].load)
      continue;
    if (const CEPROPVAL* const value = values.Find(rows[i].identifier, i)) {
      rows[i].load(record, *value);
    }
  }
  LoadModificationTime(record,
                       values.Find(rows[modificationTimeAt].identifier, modificationTimeAt));
}

// The same walks over a table that is known when the program is built: each row's accessor is
// called directly, or becomes part of the walk.
template <const auto& kRows>
class PropertyWalk {
 public:
  template <class Record>
  static void Store(Record& record, CEPROPVAL* values, int count) {
    if (count >= 0 && static_cast<size_t>(count) != kCount)
      return StoreFields<Record>(kRows, record, values, static_cast<size_t>(count));
    StoreRows(record, values, std::make_index_sequence<kCount>());
  }
  template <size_t modificationTimeAt, class Record>
  static void Load(Record& record, const PropertyValues& values) {
    const FillScope<Record> filling(record);
    LoadRows(record, values, std::make_index_sequence<kCount>());
    LoadModificationTime(record,
                         values.Find(kRows[modificationTimeAt].identifier, modificationTimeAt));
  }

 private:
  static constexpr size_t kCount = std::size(kRows);

  template <class Record, size_t... kRow>
  static void StoreRows(Record& record, CEPROPVAL* values, std::index_sequence<kRow...>) {
    const bool isInTableOrder = ((values[kRow].propid == kRows[kRow].identifier) && ...);
    if (!isInTableOrder)
      return StoreFields<Record>(kRows, record, values, kCount);
    (kRows[kRow].store(record, values[kRow]), ...);
  }
  template <size_t kRow, class Record>
  static void LoadRow(Record& record, const PropertyValues& values) {
    if (!IsThere(kRows[kRow].load))
      return;
    if (const CEPROPVAL* const value = values.Find(kRows[kRow].identifier, kRow))
      kRows[kRow].load(record, *value);
  }
  template <class Record, size_t... kRow>
  static void LoadRows(Record& record, const PropertyValues& values, std::index_sequence<kRow...>) {
    (LoadRow<kRow>(record, values), ...);
  }
};

}  // namespace wkt
