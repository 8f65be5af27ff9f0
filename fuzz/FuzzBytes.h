#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace wkt::fuzz {

// An input read as a script from its beginning. Behind the end everything reads as zero.
class Bytes {
 public:
  Bytes(const uint8_t* data, size_t byteCount) : next(data), left(byteCount) {}

  [[nodiscard]] bool IsEmpty() const { return left == 0; }
  uint8_t Byte() {
    if (left == 0)
      return 0;
    --left;
    return *next++;
  }
  uint16_t Word() {
    const uint16_t low = Byte();
    return static_cast<uint16_t>(low | Byte() << 8);
  }
  uint32_t DoubleWord() {
    const uint32_t low = Word();
    return low | uint32_t{Word()} << 16;
  }
  // As many as are left, at most.
  std::vector<uint8_t> Take(size_t byteCount) {
    byteCount = std::min(byteCount, left);
    std::vector<uint8_t> bytes(next, next + byteCount);
    next += byteCount;
    left -= byteCount;
    return bytes;
  }
  // One byte says how many units, the lowest bit of the next whether each is a word or a byte.
  std::u16string Text() {
    const size_t unitCount = Byte();
    const bool isWide = (Byte() & 1) != 0;
    std::u16string text;
    for (size_t unit = 0; unit < unitCount && left != 0; ++unit)
      text += static_cast<char16_t>(isWide ? Word() : Byte());
    return text;
  }

 private:
  const uint8_t* next;
  size_t left;
};

}  // namespace wkt::fuzz
