#pragma once

#include <span>

#include "WktCommon/StampMode.h"
#include "WktCommon/WideString.h"
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

template <class Record, class Packet>
void CopyToPacket(std::span<const CopiedField<Record, Packet>> fields, const Record& record,
                  Packet& packet) {
  for (const auto& field : fields)
    field.toPacket(record, packet);
}

template <class Record, class Packet>
void CopyToRecord(std::span<const CopiedField<Record, Packet>> fields, const Packet& packet,
                  Record& record) {
  const FillScope<Record> filling(record);
  for (const auto& field : fields) {
    if (field.toRecord)
      field.toRecord(packet, record);
  }
  record.SetModificationTime(packet.GetModificationTime(), FALSE);
}

}  // namespace wkt
