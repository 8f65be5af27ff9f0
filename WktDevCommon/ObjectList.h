#pragma once

#include "platform/SyncTypes.h"

namespace wkt {

// The identifiers handed to the service manager: records it has already from the front, changed
// ones from the back of one array. The array is the service manager's until it asks to free it.
class ObjectList {
 public:
  explicit ObjectList(LONG capacity) : total(capacity), back(capacity - 1) {}

  // False without memory, and for a capacity that no memory holds.
  [[nodiscard]] bool Allocate(FINDOBJINFO& info);
  // Both are false when no place is left.
  [[nodiscard]] bool AddUnchanged(CEOID oid);
  // Kept: counted before the place is looked for, so an overflow counts one that is not in the
  // list.
  [[nodiscard]] bool AddChanged(CEOID oid);
  // Makes the changed identifiers follow the unchanged ones at once, which they do not when records
  // vanished since they were counted.
  void CloseGap();

  [[nodiscard]] LONG GetUnchanged() const { return unchanged; }
  [[nodiscard]] LONG GetChanged() const { return changed; }

 private:
  [[nodiscard]] bool IsFull() const { return unchanged > back; }

  UINT* identifiers = nullptr;
  LONG total;
  LONG unchanged = 0;
  LONG changed = 0;
  LONG back;  // the next place for a changed identifier
};

}  // namespace wkt
