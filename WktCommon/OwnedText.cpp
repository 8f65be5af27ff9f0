#include "WktCommon/OwnedText.h"

#include <cstdint>
#include <cstring>

#include "WktCommon/Allocation.h"
#include "WktCommon/PacketField.h"
#include "WktCommon/WideString.h"

namespace wkt {

namespace {

constexpr size_t kUnitsPerWord = sizeof(uint64_t) / sizeof(WCHAR);

}  // namespace

size_t OwnedText::UnitCount() const {
  return text ? *FindTerminator(reinterpret_cast<const BYTE*>(text), SIZE_MAX) : 0;
}

void OwnedText::Set(const WCHAR* from) {
  SetFromBytes(reinterpret_cast<const BYTE*>(from), TextLength(from));
}

void OwnedText::SetFromBytes(const BYTE* from, size_t unitCount) {
  // The new copy first: the text may be this one, or a part of it.
  const size_t words = unitCount / kUnitsPerWord + 1;
  WCHAR* const copy = unitCount ? new (std::nothrow) WCHAR[words * kUnitsPerWord] : nullptr;
  if (copy) {
    // The last word first: its zeros end the text.
    std::memset(copy + (words - 1) * kUnitsPerWord, 0, sizeof(uint64_t));
    std::memcpy(copy, from, unitCount * sizeof(WCHAR));
  } else if (unitCount) {
    NoteAllocationFailure();
  }
  delete[] text;
  text = copy;
}

}  // namespace wkt
