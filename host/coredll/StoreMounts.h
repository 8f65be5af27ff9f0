// The volumes that this process uses: the object store and those it mounted.
#pragma once

#include <sys/stat.h>

#include <atomic>
#include <memory>
#include <vector>

#include "host/coredll/StoreVolume.h"
#include "host/coredll/ThreadGuard.h"

namespace wkt::host {

class Device;
struct DevicePath;

// Held by every call on databases for its whole length. Mounts, volumes, databases and cursors
// belong to it.
class StoreLock {
 public:
  StoreLock() {
    if (!isNeeded_)
      return;
    const pthread_t self = pthread_self();
    if (owner_.load(std::memory_order_relaxed) != self) {
      pthread_mutex_lock(&mutex_);
      owner_.store(self, std::memory_order_relaxed);
    }
    ++depth_;
  }
  ~StoreLock() {
    if (!isNeeded_ || --depth_ != 0)
      return;
    owner_.store(0, std::memory_order_relaxed);
    pthread_mutex_unlock(&mutex_);
  }
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;

 private:
  const bool isNeeded_ = HasSeveralThreads();
  // A thread may hold several; a mutex that counts them itself takes twice as long. Never
  // destroyed: libraries may call while the process ends.
  static pthread_mutex_t mutex_;
  static std::atomic<pthread_t> owner_;  // 0: nobody; written by who holds the mutex
  static unsigned depth_;
};

class StoreMounts {
 public:
  static StoreMounts& Get();

  // A volume by its GUID; the system GUID names the object store, opened (and made) when first
  // needed. ERROR_INVALID_PARAMETER for NULL and unknown ones, ERROR_NOT_READY without a device.
  DWORD Find(const CEGUID* guid, std::shared_ptr<StoreVolume>& volume);
  // Shows it to `visit`, or for NULL and the invalid GUID all volumes, the object store first. The
  // first error ends that and is the result.
  template <typename Visit>
  DWORD Each(const CEGUID* guid, const Visit& visit) {
    if (guid != nullptr && !CHECK_INVALIDGUID(guid)) {
      std::shared_ptr<StoreVolume> volume;
      const DWORD error = Find(guid, volume);
      return error == ERROR_SUCCESS ? visit(volume) : error;
    }
    DWORD error = FollowDevice();
    if (error == ERROR_SUCCESS)
      error = visit(objectStore_);
    for (size_t index = 0; error == ERROR_SUCCESS && index < mounted_.size(); ++index)
      error = visit(mounted_[index].volume);
    return error;
  }

  DWORD Mount(const std::u16string& path, DWORD mode, CEGUID& guid);
  DWORD Unmount(const CEGUID& guid);
  // The file mounted after the one with `guid` (invalid GUID: the first one).
  DWORD Next(CEGUID& guid, std::u16string& path);
  // Whether this process has the file mounted, or unmounted it while databases of it were open.
  bool HasMounted(const struct stat& file);

 private:
  struct Mounted {
    std::shared_ptr<StoreVolume> volume;
    std::u16string path;  // as given
    uint32_t count;
  };
  DWORD FollowDevice();
  void Drop();
  static void FlushAtExit();
  Mounted* FindMounted(const CEGUID& guid);
  Mounted* FindMountedFile(const std::string& path);
  DWORD OpenVolume(const std::string& path, DWORD mode, std::shared_ptr<StoreVolume>& volume);
  DWORD TakeRange(CEOID& first, CEOID& last);

  uint32_t deviceSerial_ = 0;
  std::shared_ptr<StoreVolume> objectStore_;
  std::vector<Mounted> mounted_;
  std::vector<std::weak_ptr<StoreVolume>> opened_;  // those of mounted_, and what is left of others
};

// Whether the path is that of a volume that some process of the device has mounted, or of one of
// the files that SQLite keeps beside it. Such a file is never
// opened another way, deleted or moved: in a process that has it mounted, closing any descriptor of
// it would drop the locks that SQLite holds for the whole process.
bool IsMountedVolume(const DevicePath& path);

}  // namespace wkt::host
