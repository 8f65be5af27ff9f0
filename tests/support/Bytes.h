#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

namespace wkt::test {

// All bytes of a structure, those between its members, too.
template <typename Structure>
std::vector<uint8_t> BytesOf(const Structure& structure) {
  std::vector<uint8_t> bytes(sizeof(structure));
  std::memcpy(bytes.data(), &structure, bytes.size());
  return bytes;
}

}  // namespace wkt::test
