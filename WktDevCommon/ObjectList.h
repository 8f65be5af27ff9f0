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
  // Both are false when their own way through the array is at its end. Kept: neither looks at the
  // other, so with more records than were counted a later identifier may take the place of one of
  // the other sort. The counts then add up to more than there are places.
  [[nodiscard]] bool AddUnchanged(CEOID oid);
  // Kept: counted before the place is looked for, so an overflow counts one that is not in the
  // list.
  [[nodiscard]] bool AddChanged(CEOID oid);
  // With fewer records than were counted, places stay free between the two sorts: repeats there the
  // changed identifiers that a reader who goes on behind the unchanged ones would not come to.
  void FillGap();

  [[nodiscard]] LONG GetUnchanged() const { return unchanged; }
  [[nodiscard]] LONG GetChanged() const { return changed; }

 private:
  [[nodiscard]] bool IsPlace(LONG position) const { return position >= 0 && position < total; }

  UINT* identifiers = nullptr;
  LONG total;
  LONG unchanged = 0;
  LONG changed = 0;
  LONG back;  // the next place for a changed identifier
};

}  // namespace wkt
