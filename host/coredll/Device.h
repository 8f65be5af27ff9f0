// The device that this process uses: a folder, named by WKT_DEVICE or selected through
// host/control.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "host/coredll/Settings.h"
#include "host/coredll/SharedPage.h"

namespace wkt::host {

// What the processes of a device exclude each other from; one lock each, freed when its holder
// dies.
enum class LockRegion : uint32_t {
  Open = 0,
  Mutexes = 1,
  Windows = 2,
  Registry = 3,
  Settings = 4,
  Store = 5,
  Files = 6,
  Count = 7
};

// What processes tell each other by marks, each about many things, told apart by a number.
enum class MarkKind : uint32_t {
  Volume = 1,    // mounted; the file's inode
  Database = 2,  // open; made of the volume's inode and the database's identifier
};

class Device {
 public:
  // The device in use, opened from WKT_DEVICE on the first call. nullptr when there is none or it
  // cannot be used; the reason goes to stderr, once per process (and once per failed Select). The
  // pointer stays good until Select or Deselect.
  static Device* Current();
  // The same without a word when there is none: for calls that work without a device.
  static Device* CurrentIfAny() {
    Device* device = inUse_.load(std::memory_order_acquire);
    return device != nullptr ? device : OpenIfNamed();
  }

  // Use the device in `folder` from now on. On failure no device is selected and `error` names the
  // file. No platform call may be under way on another thread. All open handles are closed.
  [[nodiscard]] static bool Select(const std::string& folder, std::string& error);
  // No device from now on, not even WKT_DEVICE's.
  static void Deselect();
  // Called when the device is left, before its page is unmapped: what is kept per device
  // (connections, caches) goes. Register once, at the first use.
  static void OnLeave(void (*leave)(Device& device));

  // Differs for each device selected in this process; 0 is never used.
  [[nodiscard]] uint32_t Serial() const { return serial_; }
  [[nodiscard]] const std::string& Folder() const { return folder_; }
  [[nodiscard]] std::string StorePath() const { return folder_ + "/store.vol"; }
  [[nodiscard]] std::string RegistryPath() const { return folder_ + "/registry"; }
  // What "\" maps to.
  [[nodiscard]] std::string FilesPath() const { return folder_ + "/files"; }
  // The folder may not be written: the page is private to this process and locks do nothing.
  [[nodiscard]] bool IsReadOnly() const { return readOnly_; }
  [[nodiscard]] SharedPage& Page() const { return *page_; }

  // The settings as they are now, whole.
  [[nodiscard]] Settings CurrentSettings() const;
  // To the file and to the page. False with `error` when the file cannot be written.
  [[nodiscard]] bool ChangeSettings(const Settings& settings, std::string& error);
  [[nodiscard]] Durability CurrentDurability() const {
    return static_cast<Durability>(page_->durability.load(std::memory_order_relaxed));
  }
  [[nodiscard]] CursorModel CurrentCursorModel() const {
    return static_cast<CursorModel>(page_->cursorModel.load(std::memory_order_relaxed));
  }

  // Whether another process has set such a mark and lives.
  [[nodiscard]] bool IsMarkedByOthers(MarkKind kind, uint64_t number);

  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;
  ~Device();

 private:
  friend class DeviceLock;
  friend class DeviceMark;
  Device() = default;
  static Device* OpenIfNamed();
  static void Leave();
  static std::unique_ptr<Device> Open(const std::string& folder, std::string& error);
  bool MapPage(const Settings& settings, std::string& error);
  void StoreSettings(const Settings& settings) const;
  void LockFile(LockRegion region, short type);
  void SetMark(MarkKind kind, uint64_t number, short type);
  void ReopenAfterFork();

  static std::atomic<Device*> inUse_;

  std::string folder_;
  uint32_t serial_ = 0;
  bool readOnly_ = false;
  int sharedFile_ = -1;      // the open file also holds the locks
  int32_t sharedOwner_ = 0;  // process that opened it: a forked child must open its own
  SharedPage* page_ = nullptr;
  std::mutex threadLocks_[static_cast<size_t>(LockRegion::Count)];
};

// Holds a region against other threads and processes for its lifetime.
class DeviceLock {
 public:
  DeviceLock(Device& device, LockRegion region);
  ~DeviceLock();
  DeviceLock(const DeviceLock&) = delete;
  DeviceLock& operator=(const DeviceLock&) = delete;

 private:
  Device& device_;
  LockRegion region_;
};

// A mark of this process for its lifetime, which ends with the process at the latest. Two of one
// process for the same thing are one: the first that goes takes it back.
class DeviceMark {
 public:
  DeviceMark() = default;
  DeviceMark(Device& device, MarkKind kind, uint64_t number);
  DeviceMark(DeviceMark&& other) noexcept
      : device_(std::exchange(other.device_, nullptr)),
        kind_(other.kind_),
        number_(other.number_) {}
  DeviceMark& operator=(DeviceMark&& other) noexcept;
  DeviceMark(const DeviceMark&) = delete;
  DeviceMark& operator=(const DeviceMark&) = delete;
  ~DeviceMark();

 private:
  Device* device_ = nullptr;
  MarkKind kind_ = MarkKind::Volume;
  uint64_t number_ = 0;
};

// The time of the device in use, else of the machine: UTC in 100 ns ticks since 1601.
uint64_t NowTicks();
// Milliseconds since some start, or the fixed value of the device; wraps.
uint32_t TickMilliseconds();

// The message on stderr, with the program's name before it.
void ReportOnce(const std::string& message);

}  // namespace wkt::host
