#include "host/coredll/MutexCell.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <ctime>

#include <algorithm>
#include <climits>

#include "host/coredll/Liveness.h"

namespace wkt::host {

namespace {

// How long a waiter sleeps before it looks after the owner; a release wakes it at once.
constexpr uint64_t kSliceMilliseconds = 20;

uint64_t Milliseconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1'000'000;
}

void Sleep(MutexCell& cell, AliveWord owner, uint64_t milliseconds) {
  timespec limit = {};
  limit.tv_sec = static_cast<time_t>(milliseconds / 1000);
  limit.tv_nsec = static_cast<long>(milliseconds % 1000 * 1'000'000);
  cell.waiters.fetch_add(1);
  syscall(SYS_futex, reinterpret_cast<uint32_t*>(&cell.owner), FUTEX_WAIT, owner, &limit, nullptr,
          0);
  cell.waiters.fetch_sub(1);
}

// The mutex for the calling thread, from `owner` (0: nobody).
bool TakeFrom(MutexCell& cell, AliveWord owner) {
  if (!cell.owner.compare_exchange_strong(owner, ThisThread()))
    return false;
  cell.recursion = 1;
  return true;
}

}  // namespace

DWORD Acquire(MutexCell& cell, DWORD milliseconds) {
  uint64_t deadline = 0;
  for (;;) {
    const AliveWord owner = cell.owner.load();
    if (owner == ThisThread()) {
      ++cell.recursion;
      return WAIT_OBJECT_0;
    }
    if (owner == 0) {
      if (TakeFrom(cell, 0))
        return WAIT_OBJECT_0;
      continue;
    }
    if (!IsAlive(owner)) {
      if (TakeFrom(cell, owner))
        return WAIT_ABANDONED;
      continue;
    }
    const uint64_t now = Milliseconds();
    if (deadline == 0)
      deadline = milliseconds == INFINITE ? UINT64_MAX : now + milliseconds;
    if (now >= deadline)
      return WAIT_TIMEOUT;
    Sleep(cell, owner, std::min(kSliceMilliseconds, deadline - now));
  }
}

bool Release(MutexCell& cell) {
  if (cell.owner.load() != ThisThread())
    return false;
  if (--cell.recursion > 0)
    return true;
  cell.owner.store(0);
  if (cell.waiters.load() != 0) {
    syscall(SYS_futex, reinterpret_cast<uint32_t*>(&cell.owner), FUTEX_WAKE, 1, nullptr, nullptr,
            0);
  }
  return true;
}

void Initialise(MutexCell& cell, bool owned) {
  cell.recursion = owned ? 1 : 0;
  cell.owner.store(owned ? ThisThread() : 0);
}

}  // namespace wkt::host
