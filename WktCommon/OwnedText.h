#pragma once

#include <cstddef>

#include "WktCommon/Allocation.h"
#include "WktCommon/WideString.h"
#include "platform/Types.h"

namespace wkt {

// A text of variable length inside a packet: one pointer to a heap copy of its own. The empty text
// needs no memory, and without memory a text becomes empty.
class OwnedText {
 public:
  OwnedText() = default;
  ~OwnedText() { Release(); }
  OwnedText(const OwnedText&) = delete;
  OwnedText& operator=(const OwnedText&) = delete;

  [[nodiscard]] const WCHAR* Get() const { return text ? text : u""; }
  [[nodiscard]] size_t UnitCount() const { return text ? BlockOf(text)->unitCount : 0; }
  // Null counts as empty.
  void Set(const WCHAR* from) {
    SetFromBytes(reinterpret_cast<const BYTE*>(from), TextLength(from));
  }
  // Copies units that may lie at an odd address and have no terminator behind them.
  void SetFromBytes(const BYTE* from, size_t unitCount);

 private:
  // In front of the text, in the same block: packets ask for its length more often than for it.
  struct Block {
    size_t unitCount;
  };
  [[nodiscard]] static Block* BlockOf(WCHAR* ownText) {
    return reinterpret_cast<Block*>(ownText) - 1;
  }
  void Release() {
    if (text)
      FreeBlock(BlockOf(text));
  }

  WCHAR* text = nullptr;
};
static_assert(sizeof(OwnedText) == sizeof(WCHAR*));

}  // namespace wkt
