#include "host/coredll/StoreMounts.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "host/coredll/Device.h"
#include "host/coredll/HostErrors.h"
#include "host/coredll/Paths.h"
#include "host/coredll/ShareLocks.h"
#include "host/coredll/StoreCatalogue.h"
#include "platform/Files.h"

namespace wkt::host {

namespace {

// Object identifiers: the object store gives out 0x01000001 to 0x3FFFFFFF, every volume one of the
// ranges 0x40xxxxxx to 0x7Exxxxxx, so that no identifier means two objects.
constexpr CEOID kFirstOid = 0x01000001;
constexpr CEOID kLastOid = 0x3FFFFFFF;
constexpr uint32_t kFirstRange = 0x40;
constexpr uint32_t kLastRange = 0x7E;
constexpr int kRangeShift = 24;

bool IsSameFile(const std::string& left, const std::string& right) {
  struct stat first {};
  struct stat second {};
  return left == right || (stat(left.c_str(), &first) == 0 && stat(right.c_str(), &second) == 0 &&
                           first.st_dev == second.st_dev && first.st_ino == second.st_ino);
}

bool IsSameGuid(const CEGUID& left, const CEGUID& right) {
  return std::memcmp(&left, &right, sizeof left) == 0;
}

// What keeps a file that this process has not mounted from being mounted.
DWORD CheckUsers(const std::string& path, bool empties) {
  // Closed before SQLite opens the file.
  const OwnedFile file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat status {};
  if (!file.IsOpen() || fstat(file.Get(), &status) != 0)
    return ERROR_SUCCESS;  // missing, or told better by SQLite
  Device* device = Device::Current();
  if (empties && device != nullptr && device->IsMarkedByOthers(MarkKind::Volume, status.st_ino))
    return ERROR_ACCESS_DENIED;
  return IsInUse(file.Get()) ? ERROR_SHARING_VIOLATION : ERROR_SUCCESS;
}

DWORD DeleteAllDatabases(StoreVolume& volume) {
  volume.Refresh();
  if (const DWORD error = volume.Catalogue().Load(); error != ERROR_SUCCESS)
    return error;
  while (!volume.Catalogue().Databases().empty()) {
    const CEOID oid = volume.Catalogue().Databases().begin()->first;
    if (const DWORD error = volume.Catalogue().Delete(oid); error != ERROR_SUCCESS)
      return error;
    volume.Refresh();
    if (const DWORD error = volume.Catalogue().Load(); error != ERROR_SUCCESS)
      return error;
  }
  return ERROR_SUCCESS;
}

}  // namespace

pthread_mutex_t StoreLock::mutex_ = PTHREAD_MUTEX_INITIALIZER;
std::atomic<pthread_t> StoreLock::owner_{0};
unsigned StoreLock::depth_ = 0;

StoreMounts& StoreMounts::Get() {
  // Never destroyed: libraries may still call while the process ends.
  static StoreMounts* mounts = [] {
    Device::OnLeave([](Device&) {
      const StoreLock lock;
      Get().Drop();
    });
    std::atexit(FlushAtExit);
    return new StoreMounts;
  }();
  return *mounts;
}

// A clean end: what relaxed durability left unsynced is synced, the logs are carried into their
// files.
void StoreMounts::FlushAtExit() {
  const StoreLock lock;
  Get().Drop();
}

void StoreMounts::Drop() {
  for (const Mounted& entry : mounted_)
    entry.volume->FlushIfUnsynced();
  mounted_.clear();
  if (objectStore_ != nullptr)
    objectStore_->FlushIfUnsynced();
  objectStore_.reset();
  deviceSerial_ = 0;
}

DWORD StoreMounts::FollowDevice() {
  const Device* device = Device::Current();
  if (device == nullptr)
    return ERROR_NOT_READY;
  if (objectStore_ != nullptr && deviceSerial_ == device->Serial()) [[likely]]
    return ERROR_SUCCESS;
  Drop();
  StoreVolume::Request request;
  request.path = device->StorePath();
  request.mode = VolumeMode::OpenOrCreate;
  request.isObjectStore = true;
  request.firstOid = kFirstOid;
  request.lastOid = kLastOid;
  DWORD error = ERROR_SUCCESS;
  objectStore_ = StoreVolume::Open(request, error);
  deviceSerial_ = device->Serial();
  return error;
}

DWORD StoreMounts::Find(const CEGUID* guid, std::shared_ptr<StoreVolume>& volume) {
  if (const DWORD error = FollowDevice(); error != ERROR_SUCCESS)
    return error;
  if (guid == nullptr)
    return ERROR_INVALID_PARAMETER;
  if (CHECK_SYSTEMGUID(guid)) {
    volume = objectStore_;
    return ERROR_SUCCESS;
  }
  const Mounted* found = FindMounted(*guid);
  if (found == nullptr)
    return ERROR_INVALID_PARAMETER;
  volume = found->volume;
  return ERROR_SUCCESS;
}

StoreMounts::Mounted* StoreMounts::FindMounted(const CEGUID& guid) {
  for (Mounted& entry : mounted_) {
    if (IsSameGuid(entry.volume->Guid(), guid))
      return &entry;
  }
  return nullptr;
}

StoreMounts::Mounted* StoreMounts::FindMountedFile(const std::string& path) {
  for (Mounted& entry : mounted_) {
    if (IsSameFile(entry.volume->Path(), path))
      return &entry;
  }
  return nullptr;
}

DWORD StoreMounts::Mount(const std::u16string& path, DWORD mode, CEGUID& guid) {
  if (const DWORD error = FollowDevice(); error != ERROR_SUCCESS)
    return error;
  std::string machinePath;
  if (const LONG problem = MachinePathOf(path.c_str(), machinePath); problem != ERROR_SUCCESS)
    return static_cast<DWORD>(problem);
  if (Mounted* known = FindMountedFile(machinePath); known != nullptr) {
    if (mode != OPEN_EXISTING && mode != OPEN_ALWAYS)
      return ERROR_ACCESS_DENIED;
    ++known->count;
    guid = known->volume->Guid();
    return ERROR_SUCCESS;
  }
  std::shared_ptr<StoreVolume> volume;
  if (const DWORD error = OpenVolume(machinePath, mode, volume); error != ERROR_SUCCESS)
    return error;
  for (const Mounted& entry : mounted_) {
    // A copy of a mounted file, or a volume of another device with the same range.
    if (IsSameGuid(entry.volume->Guid(), volume->Guid()) ||
        entry.volume->LastOid() == volume->LastOid()) {
      ReportOnce("'" + machinePath + "' has the same identifiers as '" + entry.volume->Path() +
                 "', which is mounted");
      return ERROR_ALREADY_EXISTS;
    }
  }
  guid = volume->Guid();
  std::erase_if(opened_, [](const auto& each) { return each.expired(); });
  opened_.push_back(volume);
  mounted_.push_back({std::move(volume), path, 1});
  return ERROR_SUCCESS;
}

DWORD StoreMounts::OpenVolume(const std::string& path, DWORD mode,
                              std::shared_ptr<StoreVolume>& volume) {
  const bool empties = mode == CREATE_ALWAYS || mode == TRUNCATE_EXISTING;
  if (const DWORD error = CheckUsers(path, empties); error != ERROR_SUCCESS)
    return error;
  StoreVolume::Request request;
  request.path = path;
  request.mode = mode == CREATE_NEW                                   ? VolumeMode::CreateNew
                 : mode == OPEN_EXISTING || mode == TRUNCATE_EXISTING ? VolumeMode::OpenExisting
                                                                      : VolumeMode::OpenOrCreate;
  request.takeRange = [](CEOID& first, CEOID& last) { return Get().TakeRange(first, last); };
  DWORD error = ERROR_SUCCESS;
  volume = StoreVolume::Open(request, error);
  if (error == ERROR_SUCCESS && empties)
    error = DeleteAllDatabases(*volume);
  return error;
}

DWORD StoreMounts::TakeRange(CEOID& first, CEOID& last) {
  StoreStatement take;
  if (const DWORD error = objectStore_->Begin(); error != ERROR_SUCCESS)
    return error;
  uint32_t range = 0;
  const int prepared = take.Prepare(objectStore_->Connection(),
                                    "INSERT INTO range(base) SELECT coalesce(max(base) + 1, ?1) "
                                    "FROM range HAVING coalesce(max(base), 0) < ?2 "
                                    "RETURNING base");
  if (prepared == SQLITE_OK) {
    StoreRun run(take);
    if (run.Number(kFirstRange).Number(kLastRange).Step() == SQLITE_ROW)
      range = static_cast<uint32_t>(run.NumberAt(0));
    run.Step();
  }
  if (range == 0) {
    // This device made volumes for all ranges: they begin anew, with one that is not mounted now.
    objectStore_->Rollback();
    constexpr uint32_t kRanges = kLastRange - kFirstRange + 1;
    const auto second = static_cast<uint32_t>(NowTicks() / 10'000'000 % kRanges);
    const auto isMounted = [this](uint32_t wanted) {
      return std::any_of(mounted_.begin(), mounted_.end(), [wanted](const Mounted& entry) {
        return entry.volume->LastOid() >> kRangeShift == wanted;
      });
    };
    for (uint32_t step = 0; step < kRanges; ++step) {
      range = kFirstRange + (second + step) % kRanges;
      if (!isMounted(range))
        break;
    }
  } else if (const DWORD error = objectStore_->Commit(); error != ERROR_SUCCESS) {
    return error;
  }
  first = (range << kRangeShift) + 1;
  last = (range << kRangeShift) + 0xFFFFFF;
  return ERROR_SUCCESS;
}

DWORD StoreMounts::Unmount(const CEGUID& guid) {
  if (const DWORD error = FollowDevice(); error != ERROR_SUCCESS)
    return error;
  Mounted* found = FindMounted(guid);
  if (found == nullptr)
    return ERROR_INVALID_PARAMETER;
  found->volume->FlushIfUnsynced();
  if (--found->count == 0)
    mounted_.erase(mounted_.begin() + (found - mounted_.data()));
  return ERROR_SUCCESS;
}

DWORD StoreMounts::Next(CEGUID& guid, std::u16string& path) {
  if (const DWORD error = FollowDevice(); error != ERROR_SUCCESS)
    return error;
  const Mounted* found = CHECK_INVALIDGUID(&guid) ? nullptr : FindMounted(guid);
  if (found == nullptr && !CHECK_INVALIDGUID(&guid))
    return ERROR_INVALID_PARAMETER;
  const size_t next = found == nullptr ? 0 : static_cast<size_t>(found - mounted_.data()) + 1;
  if (next == mounted_.size())
    return ERROR_NO_MORE_ITEMS;
  guid = mounted_[next].volume->Guid();
  path = mounted_[next].path;
  return ERROR_SUCCESS;
}

bool StoreMounts::HasMounted(const struct stat& file) {
  return std::any_of(opened_.begin(), opened_.end(), [&file](const auto& each) {
    const auto volume = each.lock();
    return volume != nullptr && volume->IsFile(file);
  });
}

bool IsMountedVolume(const DevicePath& path) {
  struct stat file = path.info;
  for (const std::string_view end : {"-wal", "-shm"}) {
    if (path.name.ends_with(end)) {
      const std::string volume = path.name.substr(0, path.name.size() - end.size());
      if (fstatat(path.folder.Get(), volume.c_str(), &file, AT_SYMLINK_NOFOLLOW) != 0)
        return false;
    }
  }
  if (path.device != nullptr && path.device->IsMarkedByOthers(MarkKind::Volume, file.st_ino))
    return true;
  const StoreLock lock;
  return StoreMounts::Get().HasMounted(file);
}

}  // namespace wkt::host
