// Memory that programs free with LocalFree.
//
// A record read is a block of one to four kilobytes, just beyond what the C library keeps at hand
// for a thread. A few such blocks are kept here for the next record.
#pragma once

#include <cstddef>

namespace wkt::host {

// nullptr when there is none. Contents are arbitrary.
void* TakeLocalMemory(size_t byteCount);
void ReturnLocalMemory(void* block);

}  // namespace wkt::host
