#include "WktCommon/OwnedText.h"

#include <cstring>

#include "WktCommon/Allocation.h"
#include "WktCommon/WideString.h"

namespace wkt {

void OwnedText::Set(const WCHAR* from) {
  SetFromBytes(reinterpret_cast<const BYTE*>(from), TextLength(from));
}

void OwnedText::SetFromBytes(const BYTE* from, size_t unitCount) {
  // The new copy first: the text may be this one, or a part of it.
  WCHAR* const copy = unitCount ? new (std::nothrow) WCHAR[unitCount + 1] : nullptr;
  if (copy) {
    std::memcpy(copy, from, unitCount * sizeof(WCHAR));
    copy[unitCount] = 0;
  } else if (unitCount) {
    NoteAllocationFailure();
  }
  delete[] text;
  text = copy;
}

}  // namespace wkt
