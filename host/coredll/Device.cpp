#include "host/coredll/Device.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <ctime>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <set>
#include <vector>

#include "host/coredll/Handles.h"

namespace wkt::host {

namespace {

// 100 ns ticks from 1601 to 1970: 369 years, 89 of them leap years.
constexpr uint64_t kTicksToUnixEpoch = (369ull * 365 + 89) * 24 * 3600 * 10'000'000;

struct Selection {
  std::mutex lock;
  std::unique_ptr<Device> owner;
  bool decided = false;               // WKT_DEVICE is not looked at any more
  std::atomic<bool> unusable{false};  // WKT_DEVICE names something, but no device
  uint32_t lastSerial = 0;
  std::vector<void (*)(Device&)> leave;
};

Selection& State() {
  // Never destroyed: libraries may call while the process ends.
  static auto* state = new Selection;
  return *state;
}

uint64_t BootHash() {
  const std::optional<std::string> boot = ReadWholeFile("/proc/sys/kernel/random/boot_id");
  // FNV-1a; 0 would mean a page never set up.
  uint64_t hash = 0xCBF29CE484222325;
  for (const char unit : boot.value_or("unknown"))
    hash = (hash ^ static_cast<unsigned char>(unit)) * 0x100000001B3;
  return hash | 1;
}

std::string AbsolutePath(const std::string& folder) {
  char* resolved = realpath(folder.c_str(), nullptr);
  if (resolved == nullptr)
    return {};
  std::string path(resolved);
  free(resolved);
  return path;
}

}  // namespace

std::atomic<Device*> Device::inUse_{nullptr};

// Under the selection's lock.
void Device::Leave() {
  Selection& state = State();
  if (state.owner == nullptr)
    return;
  DropAllHandles();
  for (const auto leave : state.leave)
    leave(*state.owner);
  inUse_.store(nullptr);
  state.owner.reset();
}

Device* Device::Current() {
  Device* device = CurrentIfAny();
  // Why a device named cannot be used was said already.
  if (device == nullptr && !State().unusable)
    ReportOnce("no device: set WKT_DEVICE to a device folder");
  return device;
}

Device* Device::OpenIfNamed() {
  Selection& state = State();
  const std::lock_guard guard(state.lock);
  if (state.decided)
    return inUse_.load();
  state.decided = true;
  const char* folder = getenv("WKT_DEVICE");
  if (folder == nullptr || *folder == '\0')
    return nullptr;
  std::string error;
  state.owner = Open(folder, error);
  if (state.owner == nullptr) {
    state.unusable = true;
    ReportOnce(error);
    return nullptr;
  }
  state.owner->serial_ = ++state.lastSerial;
  inUse_.store(state.owner.get(), std::memory_order_release);
  return state.owner.get();
}

bool Device::Select(const std::string& folder, std::string& error) {
  Selection& state = State();
  const std::lock_guard guard(state.lock);
  Leave();
  state.decided = true;
  state.owner = Open(folder, error);
  if (state.owner == nullptr)
    return false;
  state.owner->serial_ = ++state.lastSerial;
  inUse_.store(state.owner.get(), std::memory_order_release);
  return true;
}

void Device::Deselect() {
  Selection& state = State();
  const std::lock_guard guard(state.lock);
  Leave();
  state.decided = true;
}

void Device::OnLeave(void (*leave)(Device& device)) {
  Selection& state = State();
  const std::lock_guard guard(state.lock);
  state.leave.push_back(leave);
}

std::unique_ptr<Device> Device::Open(const std::string& folder, std::string& error) {
  std::unique_ptr<Device> device(new Device);
  device->folder_ = AbsolutePath(folder);
  if (device->folder_.empty()) {
    error = folder + ": " + strerror(errno);
    return nullptr;
  }
  const std::optional<Settings> settings = ReadSettings(device->folder_, error);
  if (!settings || !device->MapPage(*settings, error))
    return nullptr;
  return device;
}

bool Device::MapPage(const Settings& settings, std::string& error) {
  const std::string path = folder_ + "/shared";
  sharedFile_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
  sharedOwner_ = static_cast<int32_t>(getpid());
  if (sharedFile_ < 0 && errno != EACCES && errno != EROFS && errno != EPERM) {
    error = path + ": " + strerror(errno);
    return false;
  }
  // Also read-only: a page may be left from before, but this process could not tell others
  // anything.
  readOnly_ = sharedFile_ < 0 || access(folder_.c_str(), W_OK) != 0;
  std::optional<DeviceLock> lock;
  if (!readOnly_) {
    lock.emplace(*this, LockRegion::Open);
    struct stat info = {};
    // Only ever grown: other processes have it mapped.
    if (fstat(sharedFile_, &info) != 0 ||
        (info.st_size < static_cast<off_t>(sizeof(SharedPage)) &&
         posix_fallocate(sharedFile_, 0, sizeof(SharedPage)) != 0)) {
      error = path + ": no room for the page that processes share";
      return false;
    }
  }
  void* mapped =
      mmap(nullptr, sizeof(SharedPage), PROT_READ | PROT_WRITE,
           readOnly_ ? MAP_PRIVATE | MAP_ANONYMOUS : MAP_SHARED, readOnly_ ? -1 : sharedFile_, 0);
  if (mapped == MAP_FAILED) {
    error = path + ": " + strerror(errno);
    return false;
  }
  page_ = static_cast<SharedPage*>(mapped);
  const uint64_t boot = BootHash();
  if (page_->magic != kSharedMagic || page_->version != kSharedVersion ||
      page_->byteCount != sizeof(SharedPage) || page_->bootHash != boot) {
    memset(mapped, 0, sizeof(SharedPage));
    page_->version = kSharedVersion;
    page_->byteCount = sizeof(SharedPage);
    page_->bootHash = boot;
    StoreSettings(settings);
    page_->magic = kSharedMagic;
  } else if (page_->settingsSequence.load() % 2 != 0) {
    // A process died while it changed the settings; the file holds them whole.
    page_->settingsSequence.fetch_sub(1);
    StoreSettings(settings);
  }
  return true;
}

Device::~Device() {
  if (page_ != nullptr)
    munmap(page_, sizeof(SharedPage));
  if (sharedFile_ >= 0)
    close(sharedFile_);
}

Settings Device::CurrentSettings() const {
  for (;;) {
    const uint32_t before = page_->settingsSequence.load(std::memory_order_acquire);
    Settings settings;
    settings.clockMode = static_cast<ClockMode>(page_->clockMode.load(std::memory_order_relaxed));
    settings.clockTicks =
        static_cast<int64_t>((uint64_t{page_->clockHigh.load(std::memory_order_relaxed)} << 32) |
                             page_->clockLow.load(std::memory_order_relaxed));
    settings.tickMode = static_cast<TickMode>(page_->tickMode.load(std::memory_order_relaxed));
    settings.tickValue = page_->tickValue.load(std::memory_order_relaxed);
    settings.durability = CurrentDurability();
    settings.cursorModel = CurrentCursorModel();
    std::atomic_thread_fence(std::memory_order_acquire);
    if (before % 2 == 0 && before == page_->settingsSequence.load(std::memory_order_relaxed))
      return settings;
    // The writer holds the lock for a few instructions only; if it died there, the file still has
    // the settings whole.
    std::string error;
    if (const std::optional<Settings> stored = ReadSettings(folder_, error))
      return *stored;
  }
}

void Device::StoreSettings(const Settings& settings) const {
  page_->settingsSequence.fetch_add(1, std::memory_order_acq_rel);
  std::atomic_thread_fence(std::memory_order_release);
  const auto ticks = static_cast<uint64_t>(settings.clockTicks);
  page_->clockMode.store(static_cast<uint32_t>(settings.clockMode), std::memory_order_relaxed);
  page_->clockLow.store(static_cast<uint32_t>(ticks), std::memory_order_relaxed);
  page_->clockHigh.store(static_cast<uint32_t>(ticks >> 32), std::memory_order_relaxed);
  page_->tickMode.store(static_cast<uint32_t>(settings.tickMode), std::memory_order_relaxed);
  page_->tickValue.store(settings.tickValue, std::memory_order_relaxed);
  page_->durability.store(static_cast<uint32_t>(settings.durability), std::memory_order_relaxed);
  page_->cursorModel.store(static_cast<uint32_t>(settings.cursorModel), std::memory_order_relaxed);
  page_->settingsSequence.fetch_add(1, std::memory_order_release);
}

bool Device::ChangeSettings(const Settings& settings, std::string& error) {
  const DeviceLock lock(*this, LockRegion::Settings);
  if (!WriteSettings(folder_, settings, error))
    return false;
  if (page_->settingsSequence.load() % 2 != 0)
    page_->settingsSequence.fetch_sub(1);
  StoreSettings(settings);
  return true;
}

void Device::ReopenAfterFork() {
  // The child's copy of the open file shares its locks with the parent.
  if (sharedOwner_ == static_cast<int32_t>(getpid()))
    return;
  const int own = open((folder_ + "/shared").c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
  if (own < 0)
    return;
  dup3(own, sharedFile_, O_CLOEXEC);
  close(own);
  sharedOwner_ = static_cast<int32_t>(getpid());
}

void Device::LockFile(LockRegion region, short type) {
  if (readOnly_)
    return;
  ReopenAfterFork();
  struct flock range = {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = static_cast<off_t>(region);
  range.l_len = 1;
  while (fcntl(sharedFile_, F_OFD_SETLKW, &range) != 0 && errno == EINTR) {
  }
}

namespace {

// A byte for each mark, far behind the page and the regions; 61 bits of the number tell them apart.
struct flock RangeOf(MarkKind kind, uint64_t number, short type) {
  constexpr uint32_t kNumberBits = 61;
  struct flock range = {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = static_cast<off_t>(uint64_t{static_cast<uint32_t>(kind)} << kNumberBits |
                                     (number & ((uint64_t{1} << kNumberBits) - 1)));
  range.l_len = 1;
  return range;
}

}  // namespace

void Device::SetMark(MarkKind kind, uint64_t number, short type) {
  if (readOnly_)
    return;
  ReopenAfterFork();
  const struct flock range = RangeOf(kind, number, type);
  fcntl(sharedFile_, F_OFD_SETLK, &range);
}

bool Device::IsMarkedByOthers(MarkKind kind, uint64_t number) {
  if (sharedFile_ < 0)
    return false;
  ReopenAfterFork();
  struct flock range = RangeOf(kind, number, F_WRLCK);
  return fcntl(sharedFile_, F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
}

DeviceMark::DeviceMark(Device& device, MarkKind kind, uint64_t number)
    : device_(&device), kind_(kind), number_(number) {
  device.SetMark(kind, number, F_RDLCK);
}

DeviceMark& DeviceMark::operator=(DeviceMark&& other) noexcept {
  std::swap(device_, other.device_);
  std::swap(kind_, other.kind_);
  std::swap(number_, other.number_);
  return *this;
}

DeviceMark::~DeviceMark() {
  if (device_ != nullptr)
    device_->SetMark(kind_, number_, F_UNLCK);
}

DeviceLock::DeviceLock(Device& device, LockRegion region) : device_(device), region_(region) {
  device_.threadLocks_[static_cast<size_t>(region_)].lock();
  device_.LockFile(region_, F_WRLCK);
}

DeviceLock::~DeviceLock() {
  device_.LockFile(region_, F_UNLCK);
  device_.threadLocks_[static_cast<size_t>(region_)].unlock();
}

uint64_t NowTicks() {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  const uint64_t machine = kTicksToUnixEpoch + static_cast<uint64_t>(now.tv_sec) * 10'000'000 +
                           static_cast<uint64_t>(now.tv_nsec) / 100;
  const Device* device = Device::CurrentIfAny();
  if (device == nullptr || device->Page().clockMode.load(std::memory_order_relaxed) ==
                               static_cast<uint32_t>(ClockMode::Running))
    return machine;
  const Settings settings = device->CurrentSettings();
  switch (settings.clockMode) {
    case ClockMode::Frozen:
      return static_cast<uint64_t>(settings.clockTicks);
    case ClockMode::Offset:
      return machine + static_cast<uint64_t>(settings.clockTicks);
    case ClockMode::Running:
      break;
  }
  return machine;
}

uint32_t TickMilliseconds() {
  const Device* device = Device::CurrentIfAny();
  if (device != nullptr && device->Page().tickMode.load(std::memory_order_relaxed) ==
                               static_cast<uint32_t>(TickMode::Fixed))
    return device->Page().tickValue.load(std::memory_order_relaxed);
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint32_t>(static_cast<uint64_t>(now.tv_sec) * 1000 +
                               static_cast<uint64_t>(now.tv_nsec) / 1'000'000);
}

void ReportOnce(const std::string& message) {
  static std::mutex lock;
  static auto* reported = new std::set<std::string>;
  const std::lock_guard guard(lock);
  if (reported->insert(message).second)
    fprintf(stderr, "worktally device: %s\n", message.c_str());
}

}  // namespace wkt::host
