// The mutex that the one service manager of a device holds while it synchronises. The application
// takes it for the time of one write, so that no synchronisation begins in the middle of it; where
// it cannot, one is running and the record is marked as changed meanwhile. The end of its owner
// frees the mutex, so a killed process stands in nobody's way.
#pragma once

#include <cstdint>

#include "platform/Types.h"

namespace wkt {

class ManagerMutex {
 public:
  enum class Outcome : uint8_t { Held, Busy, Unavailable };

  ManagerMutex() = default;
  ~ManagerMutex() { Release(); }
  ManagerMutex(const ManagerMutex&) = delete;
  ManagerMutex& operator=(const ManagerMutex&) = delete;

  // Waits that long for another owner's end. Owned by the calling thread.
  [[nodiscard]] Outcome Take(DWORD milliseconds);
  void Release();

 private:
  HANDLE mutex_ = nullptr;  // held while it is not null
};

// Longer than an application's write takes.
constexpr DWORD kManagerWaitMilliseconds = 2000;

}  // namespace wkt
