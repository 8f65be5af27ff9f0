#pragma once

#include <vector>

#include "fuzz/FuzzInput.h"

namespace wkt::fuzz {

template <class Packet>
std::vector<uint8_t> Encode(const Packet& packet) {
  DWORD byteCount = 0;
  const std::unique_ptr<BYTE[]> bytes(packet.ToBytes(&byteCount));
  return std::vector<uint8_t>(bytes.get(), bytes.get() + byteCount);
}

// Bytes that the check lets through are decoded without leaving them. What decodes encodes to bytes
// that are good again and stay the same.
template <class Packet>
void RunPacket(bool (*check)(const BYTE*, DWORD), const uint8_t* data, size_t byteCount) {
  // A block of exactly that size, at an odd address.
  const std::unique_ptr<BYTE[]> block(new BYTE[byteCount + 1]);
  if (byteCount)
    std::memcpy(block.get() + 1, data, byteCount);
  const BYTE* const bytes = block.get() + 1;
  if (!check(bytes, static_cast<DWORD>(byteCount)))
    return;
  const Packet packet(bytes, static_cast<DWORD>(byteCount));
  if (!packet.IsValid())
    return;
  const std::vector<uint8_t> first = Encode(packet);
  Require(!first.empty(), "a valid packet has bytes");
  const DWORD firstCount = static_cast<DWORD>(first.size());
  // Kept: an older job is encoded in the present widths but with its own type text, which announces
  // others. Such bytes read as something else, if at all.
  const bool isOlder = first[20] == 'A' || first[20] == 'F';
  const bool passes = check(first.data(), firstCount);
  Require(passes || isOlder, "encoded bytes pass the check");
  if (!passes)
    return;
  const Packet again(first.data(), firstCount);
  Require(isOlder || (again.IsValid() && Encode(again) == first),
          "encoding again gives the same bytes");
}

}  // namespace wkt::fuzz
