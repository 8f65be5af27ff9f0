// Whether a thread or process that left its mark in shared memory is still there.
//
// The mark is one 32-bit word, so that it can be set by one atomic instruction: the Linux id (at
// most 2^22) and, above it, bits of the start time. An id used again by another thread is then
// mistaken for the old one in one of 512 cases; such a mutex stays owned until that thread ends.
#pragma once

#include <cstdint>

#include "host/coredll/SharedPage.h"

namespace wkt::host {

// Set in an owner word while threads wait; not part of the mark.
constexpr uint32_t kWaitersBit = 0x80000000;

// Never 0.
AliveWord ThisThread();
AliveWord ThisProcess();
// False when it ended, a process that nobody has waited for included.
bool IsAlive(AliveWord word);
// The Linux id in the mark.
constexpr uint32_t IdOf(AliveWord word) {
  return word & 0x3FFFFF;
}

}  // namespace wkt::host
