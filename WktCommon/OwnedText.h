#pragma once

#include <cstddef>

#include "platform/Types.h"

namespace wkt {

// A text of variable length inside a packet: one pointer to a heap copy of its own. The empty text
// needs no memory, and without memory a text becomes empty.
class OwnedText {
 public:
  OwnedText() = default;
  ~OwnedText() { delete[] text; }
  OwnedText(const OwnedText&) = delete;
  OwnedText& operator=(const OwnedText&) = delete;

  [[nodiscard]] const WCHAR* Get() const { return text ? text : u""; }
  [[nodiscard]] size_t UnitCount() const;
  // Null counts as empty.
  void Set(const WCHAR* from);
  // Copies units that may lie at an odd address and have no terminator behind them.
  void SetFromBytes(const BYTE* from, size_t unitCount);

 private:
  WCHAR* text = nullptr;  // its block ends in zeros up to a whole word
};
static_assert(sizeof(OwnedText) == sizeof(WCHAR*));

}  // namespace wkt
