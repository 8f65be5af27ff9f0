#pragma once

#include <cstdint>

namespace wkt {

// How a change moves a record's modification time. While a record is filled from a database or a
// packet nobody can see the stamps of the single fields, and the stored time comes last: reading
// the clock twenty times for it would be the dearest part of the fill.
enum class StampMode : uint8_t {
  AtOnce,           // each change reads the clock
  Deferred,         // a fill is running, nothing has changed yet
  DeferredPending,  // a fill is running and has changed something
};

// Around the setters of one fill. A change stamps the record at the end, with one reading of the
// clock, unless a stored time was set meanwhile. A record with observers stamps at once as ever,
// since they see each change.
template <class Record>
class FillScope {
 public:
  explicit FillScope(Record& filled) : record(filled) { record.BeginFill(); }
  ~FillScope() { record.EndFill(); }
  FillScope(const FillScope&) = delete;
  FillScope& operator=(const FillScope&) = delete;

 private:
  Record& record;
};

}  // namespace wkt
