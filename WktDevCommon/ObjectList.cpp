#include "WktDevCommon/ObjectList.h"

#include <algorithm>

#include "platform/Kernel.h"

namespace wkt {

bool ObjectList::Allocate(FINDOBJINFO& info) {
  const UINT byteCount = static_cast<UINT>(total) * static_cast<UINT>(sizeof(UINT));
  identifiers = static_cast<UINT*>(LocalAlloc(LMEM_ZEROINIT, byteCount));
  info.poid = identifiers;
  return identifiers != nullptr;
}

bool ObjectList::AddUnchanged(CEOID oid) {
  if (IsFull())
    return false;
  identifiers[unchanged++] = oid;
  return true;
}

bool ObjectList::AddChanged(CEOID oid) {
  ++changed;
  if (IsFull())
    return false;
  identifiers[back--] = oid;
  return true;
}

void ObjectList::CloseGap() {
  UINT* const gap = identifiers + unchanged;
  UINT* const stored = identifiers + back + 1;
  if (gap >= stored)
    return;
  UINT* const end = std::copy(stored, identifiers + total, gap);
  std::fill(end, identifiers + total, 0);
}

}  // namespace wkt
