#pragma once

#include <cstring>
#include <iterator>
#include <new>
#include <utility>

#include "WktCommon/OwnedText.h"
#include "WktCommon/PacketField.h"
#include "WktCommon/WideString.h"

namespace wkt {

// The members of one packet object by their places in the table. `kFields` is a template argument
// so that the walks unroll: widths and places become constants of the copies.
template <const auto& kFields>
class PacketWalk {
 public:
  static constexpr size_t kRows = std::size(kFields);

  // Bytes of the packet; null and a count of 0 when they do not fit into memory.
  [[nodiscard]] static BYTE* Encode(const void* packet, DWORD* byteCount) {
    size_t variableUnits[kRows];
    const size_t total = Measure(packet, variableUnits);
    BYTE* const bytes = total <= kMaxBytes ? new (std::nothrow) BYTE[total] : nullptr;
    *byteCount = bytes ? static_cast<DWORD>(total) : 0;
    if (bytes)
      WriteRows(packet, variableUnits, bytes, std::make_index_sequence<kRows>());
    return bytes;
  }

  // Decodes the rows from `kFirstRow` on.
  template <size_t kFirstRow>
  static void Decode(void* packet, const BYTE* bytes, size_t referenceUnits) {
    ReadRows<kFirstRow>(packet, bytes, referenceUnits,
                        std::make_index_sequence<kRows - kFirstRow>());
  }

 private:
  static constexpr size_t kMaxBytes = 0x7FFFFFFF;

  // Row by row: the units of a variable text, terminator included.
  static size_t Measure(const void* packet, size_t (&variableUnits)[kRows]) {
    size_t units = FixedBytes(kFields) / sizeof(WCHAR);
    for (size_t row = 0; row < kRows; ++row) {
      if (kFields[row].shape != FieldShape::Variable)
        continue;
      variableUnits[row] = TextAt(packet, kFields[row]).UnitCount() + 1;
      units += variableUnits[row];
    }
    return units * sizeof(WCHAR);
  }
  static const OwnedText& TextAt(const void* packet, const PacketField& field) {
    return *reinterpret_cast<const OwnedText*>(static_cast<const BYTE*>(packet) + field.place);
  }

  template <size_t kRow>
  static BYTE* WriteRow(const void* packet, const size_t (&variableUnits)[kRows], BYTE* to) {
    constexpr PacketField kField = kFields[kRow];
    const void* from = static_cast<const BYTE*>(packet) + kField.place;
    size_t byteCount = kField.unitCount * sizeof(WCHAR);
    if constexpr (kField.shape == FieldShape::Variable) {
      from = TextAt(packet, kField).Get();
      byteCount = variableUnits[kRow] * sizeof(WCHAR);
    }
    std::memcpy(to, from, byteCount);
    return to + byteCount;
  }
  template <size_t... kRow>
  static void WriteRows(const void* packet, const size_t (&variableUnits)[kRows], BYTE* to,
                        std::index_sequence<kRow...>) {
    ((to = WriteRow<kRow>(packet, variableUnits, to)), ...);
  }

  template <size_t kRow>
  static const BYTE* ReadRow(void* packet, const BYTE* from, size_t referenceUnits) {
    constexpr PacketField kField = kFields[kRow];
    BYTE* const to = static_cast<BYTE*>(packet) + kField.place;
    if constexpr (kField.shape == FieldShape::Variable) {
      // Whole words are read: what they hold behind the terminator is the next fixed field.
      static_assert(kFields[kRows - 1].unitCount * sizeof(WCHAR) >= sizeof(uint64_t));
      const size_t units = *FindTerminator(from, kMaxBytes);
      reinterpret_cast<OwnedText*>(to)->SetFromBytes(from, units);
      return from + (units + 1) * sizeof(WCHAR);
    } else if constexpr (kField.shape == FieldShape::Reference) {
      std::memcpy(to, from, referenceUnits * sizeof(WCHAR));
      return from + referenceUnits * sizeof(WCHAR);
    } else {
      constexpr size_t kBytes = kField.unitCount * sizeof(WCHAR);
      std::memcpy(to, from, kBytes);
      return from + kBytes;
    }
  }
  template <size_t kFirstRow, size_t... kRow>
  static void ReadRows(void* packet, const BYTE* from, size_t referenceUnits,
                       std::index_sequence<kRow...>) {
    ((from = ReadRow<kFirstRow + kRow>(packet, from, referenceUnits)), ...);
  }
};

}  // namespace wkt
