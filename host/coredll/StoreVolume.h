// A volume: one SQLite file in WAL mode and this process's only connection to it.
//
// What is cached from a volume (the catalogue, records read ahead, ranks) is good as long as nobody
// commits. That is seen without any call of the system: the header of the WAL index, which SQLite
// keeps in memory shared by all processes, changes with every commit. Unchanged header = nothing
// was committed.
//
// Threads: all calls under StoreLock (StoreMounts.h). Not to be carried over a fork.
#pragma once

#include <sys/stat.h>

#include <array>
#include <bit>
#include <memory>
#include <string>
#include <vector>

#include "host/coredll/Device.h"
#include "host/coredll/OpenMark.h"
#include "host/coredll/StoreSqlite.h"
#include "platform/Database.h"

namespace wkt::host {

class StoreCatalogue;

// One of the two equal copies at the start of the WAL index: 12 words in the machine's byte order.
struct WalHeader {
  std::array<uint32_t, 12> words{};
  bool operator==(const WalHeader&) const = default;
  [[nodiscard]] uint32_t Commits() const { return words[2]; }
  [[nodiscard]] uint32_t FrameCount() const { return words[4]; }
};

enum class VolumeMode {
  OpenExisting,
  OpenOrCreate,
  CreateNew,
};

class StoreVolume {
 public:
  struct Request {
    std::string path;  // of the machine
    VolumeMode mode = VolumeMode::OpenExisting;
    bool isObjectStore = false;
    // Object identifiers that a new volume gives out; asked for when a volume is set up and no
    // sooner, since a file may be there and empty: its maker was killed, or is at it.
    CEOID firstOid = 0;
    CEOID lastOid = 0;
    DWORD (*takeRange)(CEOID& first, CEOID& last) = nullptr;  // null: the two above count
  };

  // nullptr with the platform's code; what is wrong with the file is said on stderr.
  static std::shared_ptr<StoreVolume> Open(const Request& request, DWORD& error);
  ~StoreVolume();
  StoreVolume(const StoreVolume&) = delete;
  StoreVolume& operator=(const StoreVolume&) = delete;

  // The system GUID for the object store.
  [[nodiscard]] const CEGUID& Guid() const { return guid_; }
  // As stored in the file, also for the object store.
  [[nodiscard]] const CEGUID& FileGuid() const { return fileGuid_; }
  [[nodiscard]] CEOID LastOid() const { return lastOid_; }
  [[nodiscard]] const std::string& Path() const { return path_; }
  // What the file is, whatever its name; taken when it was opened.
  [[nodiscard]] bool IsFile(const struct stat& file) const;
  [[nodiscard]] sqlite3* Connection() const { return connection_; }
  [[nodiscard]] StoreCatalogue& Catalogue() const { return *catalogue_; }

  // Rises when something cached may be out of date. What was read is good while the number is the
  // same.
  [[nodiscard]] uint32_t Generation() const { return generation_; }
  // Looks at the change counter and raises the generation when another process committed.
  void Refresh() {
    if (!writing_ && !IsUnchanged()) [[unlikely]]
      TakeHeader();
  }
  // For what takes several statements: runs `read`, which must not move anything, and when somebody
  // committed meanwhile runs it again within one read transaction.
  template <typename Read>
  DWORD ReadWhole(const Read& read) {
    Refresh();
    const DWORD error = read();
    if (writing_ || reading_ || IsUnchanged())
      return error;
    if (const DWORD begun = BeginReading(); begun != ERROR_SUCCESS)
      return begun;
    Refresh();
    const DWORD again = read();
    EndReading();
    return again;
  }

  // One write transaction: Begin, changes, then Commit, or Rollback when a change failed. Commit
  // answers ERROR_SUCCESS when everything is kept as the durability asks, else nothing is changed.
  DWORD Begin();
  DWORD Commit();
  void Rollback();
  [[nodiscard]] bool IsWriting() const { return writing_; }

  // Whatever is cached is to be read anew.
  void Forget();

  // The platform's code of the connection's last failure.
  [[nodiscard]] DWORD LastFailure() const;
  // Brings to the medium what `Relaxed` may have left in the system's cache.
  DWORD Flush();
  void FlushIfUnsynced() {
    if (unsynced_)
      static_cast<void>(Flush());
  }
  // A range of `count` identifiers that nobody gets again, within a write transaction; 0 when used
  // up.
  CEOID ReserveOids(CEOID count);

  // Tells the device's other processes that a database is open here, or asks them.
  void MarkOpen(OpenMark& mark, CEOID database) const;
  [[nodiscard]] bool IsOpenElsewhere(CEOID database) const;

 private:
  StoreVolume();
  DWORD OpenFile(const Request& request);
  DWORD Prepare(const Request& request);
  DWORD MakeSchema(const Request& request);
  DWORD Upgrade();
  DWORD UpgradeInTransaction();
  DWORD ReadIdentity(bool isObjectStore);
  void ReportFile(const char* what) const;
  DWORD Execute(const char* text);
  int64_t PragmaNumber(const char* text, bool& ok);
  bool MapWalHeader();
  bool ReadWalHeader(WalHeader& header) const;
  // A commit shows when the first copy of the header does; the second is compared only to know a
  // new one.
  [[nodiscard]] bool IsUnchanged() const {
    if (!isKnown_)
      return false;
    // Two words at a time; SQLite maps the index at the start of a page.
    const auto* now = reinterpret_cast<const volatile uint64_t*>(walIndex_);
    const auto known = std::bit_cast<std::array<uint64_t, 6>>(known_.words);
    return ((now[0] ^ known[0]) | (now[1] ^ known[1]) | (now[2] ^ known[2]) | (now[3] ^ known[3]) |
            (now[4] ^ known[4]) | (now[5] ^ known[5])) == 0;
  }
  void TakeHeader();
  DWORD BeginReading();
  void EndReading();
  void FollowDurability();
  void AfterCommit();

  std::string path_;
  dev_t fileDevice_ = 0;
  ino_t fileNumber_ = 0;
  DeviceMark mark_;
  sqlite3* connection_ = nullptr;
  CEGUID guid_{};
  CEGUID fileGuid_{};
  CEOID lastOid_ = 0;
  const volatile uint32_t* walIndex_ = nullptr;
  WalHeader known_;
  bool isKnown_ = false;  // known_ holds a header
  uint32_t generation_ = 1;
  bool writing_ = false;
  bool reading_ = false;
  WalHeader before_;
  int framesAfterCommit_ = -1;
  int changesBefore_ = 0;
  uint32_t durability_ = 0xFFFFFFFF;
  bool unsynced_ = false;
  int64_t lastSyncMilliseconds_ = 0;
  StoreStatement begin_, beginRead_, commit_, rollback_, reserve_;
  std::unique_ptr<StoreCatalogue> catalogue_;
};

}  // namespace wkt::host
