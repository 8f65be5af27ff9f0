// Mounting, flushing and listing volumes.
#include "host/coredll/CallHook.h"
#include "host/coredll/Device.h"
#include "host/coredll/HostErrors.h"
#include "host/coredll/StoreMounts.h"
#include "host/coredll/Text.h"
#include "platform/Database.h"
#include "platform/Files.h"

namespace wkt::host {

namespace {

BOOL Report(DWORD error) {
  if (error != ERROR_SUCCESS)
    SetError(error);
  return error == ERROR_SUCCESS ? TRUE : FALSE;
}

BOOL MountVolume(CEGUID* guid, const WCHAR* path, DWORD mode) {
  if (guid == nullptr || path == nullptr || mode < CREATE_NEW || mode > TRUNCATE_EXISTING)
    return Report(ERROR_INVALID_PARAMETER);
  const auto bounded = BoundedText(path, MAX_PATH);
  if (!bounded || bounded->empty())
    return Report(ERROR_INVALID_PARAMETER);
  Device* device = Device::Current();
  if (device == nullptr)
    return Report(ERROR_NOT_READY);
  // Nobody opens, deletes or moves the file meanwhile. Before the other lock, as there.
  const DeviceLock files(*device, LockRegion::Files);
  const StoreLock lock;
  return Report(StoreMounts::Get().Mount(std::u16string(*bounded), mode, *guid));
}

BOOL UnmountVolume(const CEGUID* guid) {
  const StoreLock lock;
  return Report(guid == nullptr ? DWORD{ERROR_INVALID_PARAMETER}
                                : StoreMounts::Get().Unmount(*guid));
}

BOOL FlushVolume(const CEGUID* guid) {
  const StoreLock lock;
  return Report(StoreMounts::Get().Each(
      guid, [](const std::shared_ptr<StoreVolume>& volume) { return volume->Flush(); }));
}

BOOL NextVolume(CEGUID* guid, WCHAR* path, DWORD unitCount) {
  const StoreLock lock;
  if (guid == nullptr)
    return Report(ERROR_INVALID_PARAMETER);
  CEGUID next = *guid;
  std::u16string text;
  if (const DWORD error = StoreMounts::Get().Next(next, text); error != ERROR_SUCCESS)
    return Report(error);
  if (path != nullptr) {
    if (unitCount <= text.size())
      return Report(ERROR_INSUFFICIENT_BUFFER);
    text.copy(path, text.size());
    path[text.size()] = u'\0';
  }
  *guid = next;
  return TRUE;
}

}  // namespace

}  // namespace wkt::host

using namespace wkt::host;

BOOL CEAPI CeMountDBVol(PCEGUID volume, LPWSTR path, DWORD mode) {
  return HookedCall(
      "CeMountDBVol", FALSE, [&] { return MountVolume(volume, path, mode); }, volume, path, mode);
}

BOOL CEAPI CeUnmountDBVol(PCEGUID volume) {
  return HookedCall(
      "CeUnmountDBVol", FALSE, [&] { return UnmountVolume(volume); }, volume);
}

BOOL CEAPI CeFlushDBVol(PCEGUID volume) {
  return HookedCall(
      "CeFlushDBVol", FALSE, [&] { return FlushVolume(volume); }, volume);
}

BOOL CEAPI CeEnumDBVolumes(PCEGUID volume, LPWSTR path, DWORD unitCount) {
  return HookedCall(
      "CeEnumDBVolumes", FALSE, [&] { return NextVolume(volume, path, unitCount); }, volume, path,
      unitCount);
}
