// What is committed to a volume: by this process, its durability included, and by others.
#include <atomic>
#include <ctime>

#include "host/coredll/Device.h"
#include "host/coredll/StoreVolume.h"
#include "platform/Errors.h"

namespace wkt::host {

namespace {

// Pages in the log before they are carried into the file: 16 MB. The log's file keeps its size, so
// that most commits write in place.
constexpr int kCheckpointFrames = 4000;
// Relaxed durability: longest time between a commit and the sync of an earlier one.
constexpr int64_t kRelaxedSyncMilliseconds = 100;
// SQLite maps the WAL index in pieces of this size; the header is at the start of the first one.
constexpr int kWalIndexBytes = 32768;

int64_t MonotonicMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

sqlite3_file* FileOf(sqlite3* connection, int which) {
  sqlite3_file* file = nullptr;
  if (sqlite3_file_control(connection, "main", which, &file) != SQLITE_OK)
    return nullptr;
  return file != nullptr && file->pMethods != nullptr ? file : nullptr;
}

}  // namespace

bool StoreVolume::MapWalHeader() {
  {
    // A damaged header may name another journal. SQLite gives the mapping back with its log only.
    StoreStatement journal;
    if (journal.Prepare(connection_, "PRAGMA journal_mode") != SQLITE_OK)
      return false;
    StoreRun run(journal);
    if (run.Step() != SQLITE_ROW || run.BytesAt(0) != "wal")
      return false;
  }
  // Through SQLite's own mapping: opening and closing the file here would drop SQLite's locks on
  // it.
  sqlite3_file* file = FileOf(connection_, SQLITE_FCNTL_FILE_POINTER);
  void volatile* region = nullptr;
  if (file == nullptr || file->pMethods->iVersion < 2 || file->pMethods->xShmMap == nullptr ||
      file->pMethods->xShmMap(file, 0, kWalIndexBytes, 0, &region) != SQLITE_OK ||
      region == nullptr)
    return false;
  walIndex_ = static_cast<const volatile uint32_t*>(region);
  return true;
}

bool StoreVolume::ReadWalHeader(WalHeader& header) const {
  if (walIndex_ == nullptr)
    return false;
  // A writer fills the second copy first, so two equal ones, read in this order, are one header.
  bool isWhole = true;
  for (size_t index = 0; index < header.words.size(); ++index)
    header.words[index] = walIndex_[index];
  std::atomic_thread_fence(std::memory_order_acquire);
  for (size_t index = 0; index < header.words.size(); ++index)
    isWhole = isWhole && header.words[index] == walIndex_[header.words.size() + index];
  return isWhole;
}

void StoreVolume::TakeHeader() {
  WalHeader now;
  const bool isWhole = ReadWalHeader(now);
  ++generation_;
  known_ = now;
  isKnown_ = isWhole;
}

DWORD StoreVolume::BeginReading() {
  if (beginRead_.Prepare(connection_, "BEGIN") != SQLITE_OK ||
      commit_.Prepare(connection_, "COMMIT") != SQLITE_OK)
    return LastFailure();
  const DWORD error = StoreRun(beginRead_).Finish();
  reading_ = error == ERROR_SUCCESS;
  return error;
}

void StoreVolume::EndReading() {
  reading_ = false;
  // Nothing was changed, so there is nothing that could fail to be kept.
  static_cast<void>(StoreRun(commit_).Finish());
}

void StoreVolume::FollowDurability() {
  const Device* device = Device::Current();
  const auto wanted =
      static_cast<uint32_t>(device != nullptr ? device->CurrentDurability() : Durability::Full);
  if (wanted == durability_)
    return;
  const char* setting =
      wanted == static_cast<uint32_t>(Durability::Relaxed) ? "PRAGMA synchronous=NORMAL"
      : wanted == static_cast<uint32_t>(Durability::Off)   ? "PRAGMA synchronous=OFF"
                                                           : "PRAGMA synchronous=FULL";
  if (Execute(setting) == ERROR_SUCCESS)
    durability_ = wanted;
}

DWORD StoreVolume::Begin() {
  FollowDurability();
  if (begin_.Prepare(connection_, "BEGIN IMMEDIATE") != SQLITE_OK ||
      commit_.Prepare(connection_, "COMMIT") != SQLITE_OK ||
      rollback_.Prepare(connection_, "ROLLBACK") != SQLITE_OK)
    return LastFailure();
  if (const DWORD error = StoreRun(begin_).Finish(); error != ERROR_SUCCESS)
    return error;
  // Nobody else can commit from here on.
  Refresh();
  before_ = known_;
  framesAfterCommit_ = -1;
  changesBefore_ = sqlite3_total_changes(connection_);
  writing_ = true;
  return ERROR_SUCCESS;
}

DWORD StoreVolume::Commit() {
  const DWORD error = StoreRun(commit_).Finish();
  if (error != ERROR_SUCCESS) {
    Rollback();
    return error;
  }
  writing_ = false;
  AfterCommit();
  return ERROR_SUCCESS;
}

void StoreVolume::Rollback() {
  // A failing write may have rolled back by itself.
  if (sqlite3_get_autocommit(connection_) == 0)
    static_cast<void>(StoreRun(rollback_).Finish());
  writing_ = false;
  if (sqlite3_total_changes(connection_) != changesBefore_)
    Forget();
}

void StoreVolume::Forget() {
  ++generation_;
  isKnown_ = false;
}

// Our own commit changed the header too. What is cached was changed along with the tables, so it
// stays good if the header is exactly one commit on, the one whose log length SQLite told us.
void StoreVolume::AfterCommit() {
  WalHeader now;
  const bool isWhole = ReadWalHeader(now);
  const bool isOurs = framesAfterCommit_ < 0
                          ? now == before_
                          : now.Commits() == before_.Commits() + 1 &&
                                now.FrameCount() == static_cast<uint32_t>(framesAfterCommit_);
  if (isWhole && isKnown_ && isOurs) {
    known_ = now;
  } else {
    Forget();
  }
  if (durability_ == static_cast<uint32_t>(Durability::Relaxed)) {
    unsynced_ = true;
    if (MonotonicMilliseconds() - lastSyncMilliseconds_ >= kRelaxedSyncMilliseconds)
      Flush();
  }
  if (framesAfterCommit_ >= kCheckpointFrames)
    sqlite3_wal_checkpoint_v2(connection_, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
}

DWORD StoreVolume::Flush() {
  sqlite3_file* log = FileOf(connection_, SQLITE_FCNTL_JOURNAL_POINTER);
  lastSyncMilliseconds_ = MonotonicMilliseconds();
  if (log != nullptr && log->pMethods->xSync(log, SQLITE_SYNC_NORMAL) != SQLITE_OK)
    return ERROR_WRITE_FAULT;
  unsynced_ = false;
  return ERROR_SUCCESS;
}

}  // namespace wkt::host
