#pragma once

#include <algorithm>
#include <cstddef>

#include "platform/Types.h"

// Fixed fields of packets: texts of a fixed number of UTF-16 units, zeros behind the terminator.
namespace wkt {

constexpr size_t kMagicUnits = 10;      // "Worktally" and its terminator
constexpr size_t kJobTypeUnits = 4;     // "act" and its terminator
constexpr size_t kVersionUnits = 4;     // three digits and a terminator
constexpr size_t kNumberUnits = 20;     // any 32-bit number; the flag text has the same width
constexpr size_t kReferenceUnits = 40;  // identifier of a type record
// Partners with the older layout send identifiers in 20 units; we always answer with 40.
constexpr size_t kShortReferenceUnits = 20;

// A file time: high half first, each half a signed decimal.
struct TimeText {
  WCHAR high[kNumberUnits] = {};
  WCHAR low[kNumberUnits] = {};
};

// Cuts a text that does not fit, fills the rest with zeros. Null counts as empty.
void WriteText(WCHAR* field, size_t unitCount, const WCHAR* text);
void WriteNumber(WCHAR* field, size_t unitCount, int32_t number);
// The number at the start of a terminated text as `_wtol` reads it, 0 for none.
[[nodiscard]] int32_t ReadNumber(const WCHAR* field);

template <size_t unitCount>
void WriteText(WCHAR (&field)[unitCount], const WCHAR* text) {
  WriteText(field, unitCount, text);
}
template <size_t unitCount>
void WriteNumber(WCHAR (&field)[unitCount], int32_t number) {
  static_assert(unitCount <= kNumberUnits);
  WriteNumber(field, unitCount, number);
}
// What a log line may show of a field that came without terminator.
template <size_t unitCount>
class TerminatedCopy {
 public:
  explicit TerminatedCopy(const WCHAR (&field)[unitCount]) { std::copy_n(field, unitCount, units); }
  [[nodiscard]] const WCHAR* Text() const { return units; }

 private:
  WCHAR units[unitCount + 1] = {};
};

// Opens every packet, terminator included.
constexpr WCHAR kPacketMagic[kMagicUnits] = u"Worktally";
[[nodiscard]] bool IsPacketMagic(const WCHAR (&magic)[kMagicUnits]);

void WriteTime(TimeText& field, FILETIME time);
[[nodiscard]] FILETIME ReadTime(const TimeText& field);

}  // namespace wkt
