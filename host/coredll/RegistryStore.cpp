#include "host/coredll/RegistryStore.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <mutex>

#include "host/coredll/Device.h"
#include "host/coredll/HostErrors.h"

namespace wkt::host {

namespace {

// Tells one content of the registry file from another where the generation cannot.
struct FileMark {
  ino_t number = 0;
  off_t size = 0;
  timespec modified = {};

  bool operator==(const FileMark& other) const {
    return number == other.number && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
  }
};

struct Cache {
  std::mutex lock;
  RegistryKey root;
  bool loaded = false;
  uint32_t device = 0;  // serial of the device it was read from
  uint32_t generation = 0;
  FileMark mark;
};

Cache& TheCache() {
  static auto* cache = new Cache;
  return *cache;
}

FileMark MarkOf(const std::string& path) {
  struct stat info = {};
  if (stat(path.c_str(), &info) != 0)
    return {};
  return {info.st_ino, info.st_size, info.st_mtim};
}

bool IsFresh(const Cache& cache, const Device& device) {
  if (!cache.loaded || cache.device != device.Serial())
    return false;
  const uint32_t generation = device.Page().registryGeneration.load(std::memory_order_acquire);
  // A read-only device has no word from the processes that may change it.
  if (generation % 2 != 0 || device.IsReadOnly())
    return cache.mark == MarkOf(device.RegistryPath());
  return cache.generation == generation;
}

LONG Load(Cache& cache, const Device& device) {
  const std::string path = device.RegistryPath();
  cache.loaded = false;
  // Before the file: a change in between is then seen by the next look.
  cache.generation = device.Page().registryGeneration.load(std::memory_order_acquire);
  cache.mark = MarkOf(path);
  const std::optional<std::string> text = ReadWholeFile(path);
  std::string error;
  std::optional<RegistryKey> root;
  if (!text) {
    error = strerror(errno);
  } else {
    root = ParseRegistry(*text, error);
  }
  if (!root) {
    ReportOnce(path + ": " + error);
    return ERROR_BADDB;
  }
  cache.root = std::move(*root);
  cache.device = device.Serial();
  cache.loaded = true;
  return ERROR_SUCCESS;
}

LONG Refresh(Cache& cache, const Device& device) {
  return IsFresh(cache, device) ? ERROR_SUCCESS : Load(cache, device);
}

LONG Store(Cache& cache, Device& device) {
  std::atomic<uint32_t>& generation = device.Page().registryGeneration;
  if (generation.load() % 2 == 0)
    generation.fetch_add(1);
  const Sync sync = device.CurrentDurability() == Durability::Off ? Sync::No : Sync::Yes;
  LONG result = ERROR_SUCCESS;
  if (!ReplaceFile(device.RegistryPath(), FormatRegistry(cache.root), sync))
    result = ErrorFromErrno(errno);
  cache.mark = MarkOf(device.RegistryPath());
  cache.generation = generation.fetch_add(1) + 1;
  return result;
}

}  // namespace

LONG ReadRegistry(const std::function<LONG(const RegistryKey& root)>& read) {
  const Device* device = Device::Current();
  if (device == nullptr)
    return ERROR_NOT_READY;
  Cache& cache = TheCache();
  const std::lock_guard guard(cache.lock);
  const LONG problem = Refresh(cache, *device);
  return problem != ERROR_SUCCESS ? problem : read(cache.root);
}

LONG ChangeRegistry(const std::function<LONG(RegistryKey& root, bool& changed)>& change) {
  Device* device = Device::Current();
  if (device == nullptr)
    return ERROR_NOT_READY;
  Cache& cache = TheCache();
  const std::lock_guard guard(cache.lock);
  const DeviceLock lock(*device, LockRegion::Registry);
  if (const LONG problem = Refresh(cache, *device); problem != ERROR_SUCCESS)
    return problem;
  bool changed = false;
  LONG result = change(cache.root, changed);
  if (!changed)
    return result;
  if (result == ERROR_SUCCESS)
    result = device->IsReadOnly() ? ERROR_WRITE_PROTECT : Store(cache, *device);
  if (result != ERROR_SUCCESS)
    cache.loaded = false;
  return result;
}

LONG SetRegistryValues(const std::u16string& path, const std::vector<RegistryValue>& values) {
  return ChangeRegistry([&](RegistryKey& root, bool& changed) {
    RegistryKey& key = root.MakePath(path, changed);
    for (const RegistryValue& value : values)
      changed = key.SetValue(value) || changed;
    return LONG{ERROR_SUCCESS};
  });
}

}  // namespace wkt::host
