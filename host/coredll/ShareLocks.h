// Share modes of open files, between handles, threads and processes.
//
// Each open file holds read locks on bytes far behind any content: one each for "reads", "writes",
// "lets nobody read" and "lets nobody write". The locks belong to the open file and end with it,
// also when its process is killed. Tests and locks of one opening happen under LockRegion::Files.
#pragma once

#include "platform/Types.h"

namespace wkt::host {

// False when another open file forbids this access or has one that `shareMode` forbids.
bool TakeShareLocks(int file, DWORD access, DWORD shareMode);
// Whether any file handle is open on the same file.
bool IsInUse(int file);

}  // namespace wkt::host
