// What the processes that use one device share in memory: the file "shared" of the device folder,
// mapped.
//
// Fixed-width members at fixed offsets, so that 32-bit and 64-bit programs may use one device at
// the same time. The file holds nothing that cannot be made anew from the settings: it may be
// deleted while no process uses the device, and starts empty after a reboot of the machine.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace wkt::host {

constexpr uint32_t kSharedMagic = 0x53544B57;  // "WKTS"
constexpr uint32_t kSharedVersion = 1;

// Settings of a device that may change while processes use it.
enum class ClockMode : uint32_t { Running = 0, Frozen = 1, Offset = 2 };
enum class TickMode : uint32_t { Running = 0, Fixed = 1 };
enum class Durability : uint32_t { Full = 0, Relaxed = 1, Off = 2 };
// Where the seek position of a database handle stands after an update through it: where it was, or
// on the record written, as the later of the published descriptions says.
enum class CursorModel : uint32_t { WriteKeepsPosition = 0, WriteMovesPosition = 1 };

constexpr size_t kSharedMutexCount = 128;
constexpr size_t kMutexNameUnits = 260;  // MAX_PATH with the terminator
constexpr size_t kMutexUsers = 24;
constexpr size_t kSharedWindowCount = 32;
constexpr size_t kWindowTextUnits = 64;
constexpr size_t kWindowQueueLength = 128;

// A thread or process that may have died: Linux id in the low 22 bits, start time above
// (Liveness.h).
using AliveWord = uint32_t;

// A mutex, in shared memory when named, in the process's own memory when not.
struct MutexCell {
  std::atomic<uint32_t> owner;  // AliveWord of the owning thread, 0 when free; also the futex
  std::atomic<uint32_t> waiters;
  uint32_t recursion;  // touched by the owner only
};

// A named mutex lives while a process holds a handle to it. Guarded by LockRegion::Mutexes, the
// cell apart.
struct SharedMutex {
  struct User {
    AliveWord process;
    uint32_t handleCount;
  };
  MutexCell cell;
  uint32_t inUse;
  uint32_t serial;  // raised when the slot is given to another name
  User users[kMutexUsers];
  char16_t name[kMutexNameUnits];
};

// Handles that a process has open on a database. A place is given away under LockRegion::Store; its
// process changes the count alone.
struct SharedOpening {
  alignas(8) uint64_t number;      // of the database, the volume included
  std::atomic<AliveWord> process;  // 0: free
  std::atomic<uint32_t> handles;
};
constexpr size_t kSharedOpeningCount = 240;

struct SharedMessage {
  alignas(8) uint64_t wParam;
  int64_t lParam;
  uint32_t message;
  uint32_t spare;
};

// A top-level window and its queue of posted messages. Guarded by LockRegion::Windows, `posted`
// apart.
struct SharedWindow {
  AliveWord process;             // 0 when the slot is free
  uint32_t serial;               // raised with every use of the slot; part of the window handle
  uint32_t zOrder;               // the highest is on top
  std::atomic<uint32_t> posted;  // raised by every post; the futex a receiver waits on
  uint32_t first;
  uint32_t count;
  char16_t className[kWindowTextUnits];
  char16_t title[kWindowTextUnits];
  SharedMessage queue[kWindowQueueLength];
};

struct SharedPage {
  // First page: written seldom, read by nearly every call.
  uint32_t magic;
  uint32_t version;
  uint32_t byteCount;
  uint32_t spare;
  uint64_t bootHash;  // of the machine's boot id: process ids of another boot mean nothing

  // Even: unchanged while equal. Odd: a change is under way or its writer died in it, look at the
  // file.
  std::atomic<uint32_t> registryGeneration;
  // Raised by every committed change of the object store or a volume.
  std::atomic<uint32_t> storeGeneration;

  // Settings. settingsSequence is odd while they are being written; read them through Device.h.
  std::atomic<uint32_t> settingsSequence;
  std::atomic<uint32_t> clockMode;
  std::atomic<uint32_t>
      clockLow;  // Frozen: UTC file time. Offset: signed ticks added to the machine's clock
  std::atomic<uint32_t> clockHigh;
  std::atomic<uint32_t> tickMode;
  std::atomic<uint32_t> tickValue;  // Fixed: what GetTickCount answers, milliseconds
  std::atomic<uint32_t> durability;
  std::atomic<uint32_t> cursorModel;

  uint32_t nextZOrder;
  uint8_t reserved[4096 - 68 - kSharedOpeningCount * sizeof(SharedOpening)];
  SharedOpening openings[kSharedOpeningCount];

  SharedMutex mutexes[kSharedMutexCount];
  SharedWindow windows[kSharedWindowCount];
};

static_assert(sizeof(std::atomic<uint32_t>) == 4);
static_assert(offsetof(SharedPage, registryGeneration) == 24);
static_assert(sizeof(SharedOpening) == 16);
static_assert(offsetof(SharedPage, openings) % 8 == 0);
static_assert(offsetof(SharedPage, mutexes) == 4096);
static_assert(sizeof(SharedMutex) == 732);
static_assert(sizeof(SharedWindow) == 24 + 256 + 24 * kWindowQueueLength);

}  // namespace wkt::host
