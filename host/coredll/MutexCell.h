// The mutex itself, the same for named ones in shared memory and unnamed ones in the process's own.
#pragma once

#include "host/coredll/SharedPage.h"
#include "platform/Kernel.h"

namespace wkt::host {

// WAIT_OBJECT_0; WAIT_ABANDONED when the owner's thread ended without releasing it; WAIT_TIMEOUT.
// Uncontended it is one atomic instruction; a waiter sleeps and looks every few milliseconds
// whether the owner still lives.
DWORD Acquire(MutexCell& cell, DWORD milliseconds);
// False when the calling thread is not the owner.
bool Release(MutexCell& cell);
// The calling thread's from the start, or nobody's.
void Initialise(MutexCell& cell, bool owned);

}  // namespace wkt::host
