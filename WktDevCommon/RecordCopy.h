#pragma once

#include <iterator>
#include <utility>

#include "WktCommon/StampMode.h"
#include "WktCommon/WideString.h"
#include "WktDevCommon/TableRow.h"
#include "platform/Types.h"

// Copying a record into a packet and back, by one table of accessor pairs per kind of record.
namespace wkt {

template <class Record, class Packet>
struct CopiedField {
  void (*toPacket)(const Record& record, Packet& packet);
  void (*toRecord)(const Packet& packet, Record& record);  // null for the modification time
};

inline const WCHAR* AsSetterTakesIt(const WideString& text) {
  return text.c_str();
}
template <class Value>
Value AsSetterTakesIt(Value value) {
  return value;
}

template <class Record, class Packet, auto getField, auto setField, auto getWire, auto setWire>
constexpr CopiedField<Record, Packet> Copied() {
  return {[](const Record& record, Packet& packet) {
            (packet.*setWire)(AsSetterTakesIt((record.*getField)()));
          },
          [](const Packet& packet, Record& record) { (record.*setField)((packet.*getWire)()); }};
}

// Every setter of the record stamps it, so on the way back this one comes after all others.
template <class Record, class Packet>
constexpr CopiedField<Record, Packet> CopiedModificationTime() {
  return {[](const Record& record, Packet& packet) {
            packet.SetModificationTime(record.GetModificationTime());
          },
          nullptr};
}

// The table is known when the program is built: each pair is called directly.
template <const auto& kFields>
class RecordCopy {
 public:
  template <class Record, class Packet>
  static void ToPacket(const Record& record, Packet& packet) {
    CopyRows(record, packet, kRows);
  }
  template <class Packet, class Record>
  static void ToRecord(const Packet& packet, Record& record) {
    const FillScope<Record> filling(record);
    FillRows(packet, record, kRows);
    record.SetModificationTime(packet.GetModificationTime(), FALSE);
  }

 private:
  static constexpr auto kRows = std::make_index_sequence<std::size(kFields)>();

  template <class Record, class Packet, size_t... kRow>
  static void CopyRows(const Record& record, Packet& packet, std::index_sequence<kRow...>) {
    (kFields[kRow].toPacket(record, packet), ...);
  }
  template <size_t kRow, class Packet, class Record>
  static void FillRow(const Packet& packet, Record& record) {
    if (IsThere(kFields[kRow].toRecord))
      kFields[kRow].toRecord(packet, record);
  }
  template <class Packet, class Record, size_t... kRow>
  static void FillRows(const Packet& packet, Record& record, std::index_sequence<kRow...>) {
    (FillRow<kRow>(packet, record), ...);
  }
};

}  // namespace wkt
