#include "desktop/manager/ManagerMutex.h"

#include "platform/Kernel.h"

namespace wkt {

namespace {
constexpr WCHAR kName[] = u"WktServiceManager";
}  // namespace

ManagerMutex::Outcome ManagerMutex::Take(DWORD milliseconds) {
  const HANDLE mutex = CreateMutexW(nullptr, FALSE, kName);
  if (!mutex) {
    return Outcome::Unavailable;
  }
  const DWORD wait = WaitForSingleObject(mutex, milliseconds);
  if (wait == WAIT_OBJECT_0 || wait == WAIT_ABANDONED) {
    mutex_ = mutex;
    return Outcome::Held;
  }
  CloseHandle(mutex);
  return wait == WAIT_TIMEOUT ? Outcome::Busy : Outcome::Unavailable;
}

void ManagerMutex::Release() {
  if (mutex_) {
    ReleaseMutex(mutex_);
    CloseHandle(mutex_);
    mutex_ = nullptr;
  }
}

}  // namespace wkt
