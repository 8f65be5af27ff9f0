#include "host/coredll/OpenMark.h"

#include "host/coredll/Liveness.h"

namespace wkt::host {

namespace {

// This process's place for the database, or one that nobody uses; nullptr when there is none.
SharedOpening* TakePlace(Device& device, uint64_t number) {
  const DeviceLock lock(device, LockRegion::Store);
  SharedOpening* free = nullptr;
  for (SharedOpening& place : device.Page().openings) {
    const AliveWord process = place.process.load();
    if (process == ThisProcess() && place.number == number)
      return &place;
    if (free == nullptr && (process == 0 || (process != ThisProcess() && !IsAlive(process))))
      free = &place;
  }
  if (free == nullptr)
    return nullptr;
  free->process.store(0);
  free->number = number;
  free->handles.store(0);
  free->process.store(ThisProcess());
  return free;
}

}  // namespace

void OpenMark::Set(Device& device, uint64_t number) {
  if (place_ == nullptr || deviceSerial_ != device.Serial() || process_ != ThisProcess())
      [[unlikely]] {
    place_ = TakePlace(device, number);
    deviceSerial_ = device.Serial();
    process_ = ThisProcess();
  }
  isCounted_ = place_ != nullptr;
  if (isCounted_) {
    place_->handles.fetch_add(1);
  } else {
    mark_ = DeviceMark(device, MarkKind::Database, number);
  }
}

void OpenMark::Clear() {
  if (isCounted_ && process_ == ThisProcess())
    place_->handles.fetch_sub(1);
  isCounted_ = false;
  mark_ = {};
}

bool OpenMark::IsSetByOthers(Device& device, uint64_t number) {
  for (SharedOpening& place : device.Page().openings) {
    const AliveWord process = place.process.load();
    if (process != 0 && process != ThisProcess() && place.number == number &&
        place.handles.load() > 0 && IsAlive(process))
      return true;
  }
  return device.IsMarkedByOthers(MarkKind::Database, number);
}

}  // namespace wkt::host
