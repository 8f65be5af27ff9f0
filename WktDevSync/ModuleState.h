#pragma once

#include "platform/Database.h"

// The state of the loaded library: plain data, one instance per library, owned by the entry points.
// The service manager calls them from one thread at a time, so nothing here is locked.

// Length of the platform's file names, terminator included.
constexpr int kVolumeNameUnits = 260;

// 1 or 2. Everywhere in a record the partner's index is this less one.
extern DWORD partnerNumber;
// All zero: the databases live in the object store.
extern CEGUID volumeGuid;
// As the registry names it; empty = none.
extern WCHAR volumeName[kVolumeNameUnits];

// Raised when synchronisation wrote or deleted such a record, cleared when the application was
// told.
extern BYTE favoritesChanged;
extern BYTE dailyJobsChanged;
extern BYTE typesChanged;

namespace wkt {

[[nodiscard]] inline DWORD PartnerIndex() {
  return partnerNumber - 1;
}
[[nodiscard]] inline bool IsObjectStore(const CEGUID& guid) {
  return (guid.Data1 | guid.Data2 | guid.Data3 | guid.Data4) == 0;
}

}  // namespace wkt
