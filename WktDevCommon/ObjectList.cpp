#include "WktDevCommon/ObjectList.h"

#include <algorithm>

#include "platform/Kernel.h"

namespace wkt {

namespace {

// More would not fit the 32 bits in which the platform takes a size; no device holds as many, but a
// damaged database may say so.
constexpr LONG kMaxIdentifiers = 0x7FFFFFFF / static_cast<LONG>(sizeof(UINT));

}  // namespace

bool ObjectList::Allocate(FINDOBJINFO& info) {
  if (total < 0 || total > kMaxIdentifiers) {
    info.poid = nullptr;
    return false;
  }
  const UINT byteCount = static_cast<UINT>(total) * static_cast<UINT>(sizeof(UINT));
  identifiers = static_cast<UINT*>(LocalAlloc(LMEM_ZEROINIT, byteCount));
  info.poid = identifiers;
  return identifiers != nullptr;
}

bool ObjectList::AddUnchanged(CEOID oid) {
  if (!IsPlace(unchanged))
    return false;
  identifiers[unchanged++] = oid;
  return true;
}

bool ObjectList::AddChanged(CEOID oid) {
  ++changed;
  if (!IsPlace(back))
    return false;
  identifiers[back--] = oid;
  return true;
}

void ObjectList::FillGap() {
  UINT* const gap = identifiers + unchanged;
  UINT* const stored = identifiers + back + 1;
  if (gap >= stored)
    return;
  // A reader looks at as many places behind the unchanged identifiers as there are changed ones.
  UINT* const unseen = std::max(stored, gap + changed);
  std::copy(unseen, identifiers + total, gap);
}

}  // namespace wkt
