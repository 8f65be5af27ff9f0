#include "WktCommon/OwnedText.h"

#include <cstring>

namespace wkt {

void OwnedText::SetFromBytes(const BYTE* from, size_t unitCount) {
  // The new copy first: the text may be this one, or a part of it.
  WCHAR* copy = nullptr;
  if (unitCount) {
    const size_t byteCount = unitCount * sizeof(WCHAR);
    void* const block = AllocateBlock(sizeof(Block) + byteCount + sizeof(WCHAR));
    if (block) {
      copy = reinterpret_cast<WCHAR*>(new (block) Block{unitCount} + 1);
      std::memcpy(copy, from, byteCount);
      copy[unitCount] = 0;
    }
  }
  Release();
  text = copy;
}

}  // namespace wkt
