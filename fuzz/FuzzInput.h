#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/Types.h"

namespace wkt::fuzz {

// The input as a text: a block of exactly its size with a terminator, so that reading beyond the
// end is noticed.
class InputText {
 public:
  InputText(const uint8_t* data, size_t byteCount)
      : units(new WCHAR[byteCount / sizeof(WCHAR) + 1]) {
    const size_t unitCount = byteCount / sizeof(WCHAR);
    if (unitCount)
      std::memcpy(units.get(), data, unitCount * sizeof(WCHAR));
    units[unitCount] = 0;
  }
  [[nodiscard]] const WCHAR* Get() const { return units.get(); }

 private:
  std::unique_ptr<WCHAR[]> units;
};

// What must hold whatever the input is.
inline void Require(bool holds, const char* promise) {
  if (holds)
    return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

}  // namespace wkt::fuzz
