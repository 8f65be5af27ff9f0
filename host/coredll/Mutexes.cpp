// Mutex handles: unnamed ones in the process, named ones in slots of the device's shared page.
#include <algorithm>
#include <optional>

#include "host/coredll/CallHook.h"
#include "host/coredll/Device.h"
#include "host/coredll/Handles.h"
#include "host/coredll/HostErrors.h"
#include "host/coredll/Liveness.h"
#include "host/coredll/MutexCell.h"
#include "host/coredll/Text.h"
#include "platform/Kernel.h"

namespace wkt::host {

namespace {

struct OpenMutex : HandleObject {
  static constexpr HandleKind kKind = HandleKind::Mutex;
  virtual MutexCell& Cell() = 0;
};

struct LocalMutex : OpenMutex {
  MutexCell cell{};
  MutexCell& Cell() override { return cell; }
};

bool HasUsers(SharedMutex& mutex) {
  bool used = false;
  for (SharedMutex::User& user : mutex.users) {
    if (user.process == 0)
      continue;
    if (user.process == ThisProcess() || IsAlive(user.process)) {
      used = true;
    } else {
      user = {};
    }
  }
  return used;
}

// Counts a handle of this process. False when more processes use the mutex than there is room for.
bool AddUser(SharedMutex& mutex) {
  SharedMutex::User* free = nullptr;
  for (SharedMutex::User& user : mutex.users) {
    if (user.process == ThisProcess()) {
      ++user.handleCount;
      return true;
    }
    if (user.process == 0 && free == nullptr)
      free = &user;
  }
  if (free == nullptr)
    return false;
  *free = {ThisProcess(), 1};
  return true;
}

struct NamedMutex : OpenMutex {
  NamedMutex(Device& owner, SharedMutex& slot) : device(owner), mutex(slot) {}
  ~NamedMutex() override {
    const DeviceLock lock(device, LockRegion::Mutexes);
    for (SharedMutex::User& user : mutex.users) {
      if (user.process == ThisProcess() && --user.handleCount == 0)
        user = {};
    }
    if (!HasUsers(mutex))
      mutex.inUse = 0;
  }
  MutexCell& Cell() override { return mutex.cell; }

  Device& device;
  SharedMutex& mutex;
};

SharedMutex* FindMutex(SharedPage& page, std::u16string_view name) {
  for (SharedMutex& mutex : page.mutexes) {
    if (mutex.inUse != 0 && name == mutex.name)
      return &mutex;
  }
  return nullptr;
}

// A slot that nobody uses, those of dead processes included.
SharedMutex* FreeSlot(SharedPage& page) {
  const auto isFree = [](SharedMutex& mutex) { return mutex.inUse == 0; };
  auto* found = std::find_if(std::begin(page.mutexes), std::end(page.mutexes), isFree);
  if (found == std::end(page.mutexes)) {
    const auto isUnused = [](SharedMutex& mutex) { return !HasUsers(mutex); };
    found = std::find_if(std::begin(page.mutexes), std::end(page.mutexes), isUnused);
  }
  return found != std::end(page.mutexes) ? found : nullptr;
}

void MakeNew(SharedMutex& mutex, std::u16string_view name, bool owned) {
  std::fill(std::begin(mutex.users), std::end(mutex.users), SharedMutex::User{});
  std::fill(std::begin(mutex.name), std::end(mutex.name), u'\0');
  std::copy(name.begin(), name.end(), mutex.name);
  Initialise(mutex.cell, owned);
  ++mutex.serial;
  mutex.inUse = 1;
}

HANDLE GiveHandle(std::shared_ptr<OpenMutex> mutex, LONG lastError) {
  void* handle = OpenHandle(HandleKind::Mutex, std::move(mutex));
  SetError(static_cast<uint32_t>(handle != nullptr ? lastError : LONG{ERROR_NOT_ENOUGH_MEMORY}));
  return handle;
}

HANDLE CreateNamed(std::u16string_view name, bool owned) {
  Device* device = Device::Current();
  if (device == nullptr) {
    SetError(ERROR_NOT_READY);
    return nullptr;
  }
  std::shared_ptr<NamedMutex> open;
  LONG lastError = ERROR_SUCCESS;
  {
    const DeviceLock lock(*device, LockRegion::Mutexes);
    SharedMutex* mutex = FindMutex(device->Page(), name);
    if (mutex != nullptr && HasUsers(*mutex)) {
      lastError = ERROR_ALREADY_EXISTS;
    } else {
      if (mutex == nullptr)
        mutex = FreeSlot(device->Page());
      if (mutex != nullptr)
        MakeNew(*mutex, name, owned);
    }
    if (mutex != nullptr && AddUser(*mutex))
      open = std::make_shared<NamedMutex>(*device, *mutex);
  }
  if (open == nullptr) {
    SetError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  return GiveHandle(std::move(open), lastError);
}

HANDLE Create(bool owned, LPCWSTR name) {
  if (name == nullptr) {
    auto mutex = std::make_shared<LocalMutex>();
    Initialise(mutex->cell, owned);
    return GiveHandle(std::move(mutex), ERROR_SUCCESS);
  }
  const std::optional<std::u16string_view> bounded = BoundedText(name, kMutexNameUnits);
  if (!bounded || bounded->find(u'\\') != std::u16string_view::npos) {
    SetError(static_cast<uint32_t>(bounded ? ERROR_INVALID_NAME : ERROR_FILENAME_EXCED_RANGE));
    return nullptr;
  }
  return CreateNamed(*bounded, owned);
}

DWORD Wait(HANDLE object, DWORD milliseconds) {
  if (const auto mutex = FindHandle<OpenMutex>(object))
    return Acquire(mutex->Cell(), milliseconds);
  SetError(ERROR_INVALID_HANDLE);
  return WAIT_FAILED;
}

BOOL ReleaseHandle(HANDLE object) {
  const auto mutex = FindHandle<OpenMutex>(object);
  if (mutex != nullptr && Release(mutex->Cell()))
    return TRUE;
  SetError(mutex != nullptr ? ERROR_NOT_OWNER : ERROR_INVALID_HANDLE);
  return FALSE;
}

}  // namespace

}  // namespace wkt::host

using namespace wkt::host;

HANDLE CEAPI CreateMutexW(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCWSTR name) {
  return HookedCall(
      "CreateMutexW", HANDLE{nullptr}, [&] { return Create(initialOwner != FALSE, name); },
      security, initialOwner, name);
}

DWORD CEAPI WaitForSingleObject(HANDLE object, DWORD milliseconds) {
  return HookedCall(
      "WaitForSingleObject", WAIT_FAILED, [&] { return Wait(object, milliseconds); }, object,
      milliseconds);
}

BOOL CEAPI ReleaseMutex(HANDLE mutex) {
  return HookedCall(
      "ReleaseMutex", FALSE, [&] { return ReleaseHandle(mutex); }, mutex);
}
