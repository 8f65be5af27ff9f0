#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "WktCommon/JobPacket.h"
#include "WktCommon/WktTypePacket.h"

// Packets of tests/data/packets: their fields as text and their bytes as hexadecimal, written by
// scripts/make_golden_packets.py.
namespace wkt::test {

struct GoldenPacket {
  std::string name;
  std::string kind;  // "act", "fac", "ACT", "FAC" or "type"
  std::map<std::string, std::string> numbers;
  std::map<std::string, std::u16string> texts;
  std::vector<uint8_t> bytes;
  bool hasJunk = false;  // behind the terminators of fixed fields

  [[nodiscard]] bool IsJob() const { return kind != "type"; }
  [[nodiscard]] bool IsOlderLayout() const { return kind == "ACT" || kind == "FAC"; }
  [[nodiscard]] const std::u16string& Text(const std::string& field) const;
  [[nodiscard]] int32_t Number(const std::string& field) const;
  [[nodiscard]] FILETIME Time(const std::string& field) const;
};

// In the order of their names. An unreadable file is a failure of the test.
[[nodiscard]] std::vector<GoldenPacket> LoadGoldenPackets();

void ExpectFields(const CJobPacket& packet, const GoldenPacket& golden);
void ExpectFields(const CWktTypePacket& packet, const GoldenPacket& golden);
// A packet with the same fields, made through the setters.
[[nodiscard]] std::unique_ptr<CJobPacket> MakeJobPacket(const GoldenPacket& golden);
[[nodiscard]] std::unique_ptr<CWktTypePacket> MakeTypePacket(const GoldenPacket& golden);

// The bytes of a packet, freed.
template <class Packet>
[[nodiscard]] std::vector<uint8_t> Encode(const Packet& packet) {
  DWORD byteCount = 0xDEADBEEF;
  const std::unique_ptr<BYTE[]> bytes(packet.ToBytes(&byteCount));
  return bytes ? std::vector<uint8_t>(bytes.get(), bytes.get() + byteCount)
               : std::vector<uint8_t>();
}

}  // namespace wkt::test
