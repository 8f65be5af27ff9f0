// The partner's own store: what the desktop knows about records, devices and their last common
// states. One SQLite file in the partner's folder; every transaction is durable when it returns.
// One process at a time writes; others may read. Failures throw wkt::Failure.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace wkt {

using Bytes = std::vector<uint8_t>;

// A record of the desktop. `id` is the store's own number and never used again.
struct StoredRecord {
  int64_t id = 0;
  std::u16string recordId;
  int64_t change = 0;
  bool deleted = false;
  Bytes packet;
};

struct StoredDevice {
  int64_t id = 0;
  std::string deviceId;
  int partner = 0;
  std::string place;
  std::string token;
  std::string pending;
  uint64_t lastRun = 0;
  std::string report;
};

// One object of a device. `recordChange` and `deleted` tell the record's present state without its
// packet.
struct Link {
  uint32_t oid = 0;  // 0: about to be sent
  int64_t record = 0;
  int64_t change = 0;
  int64_t recordChange = 0;
  bool deleted = false;
};

class Statement;

class Store {
 public:
  // Writers exclude each other for as long as the store is open, so that a run finds at its end
  // what it planned with; readers exclude nobody.
  enum class Mode { OpenOrCreate, OpenExisting, Read };

  Store(const std::string& folder, Mode mode);
  ~Store();
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  static std::string FilePath(const std::string& folder);
  // True when the folder holds a partner's store.
  static bool IsPartner(const std::string& folder);

  std::string Setting(std::string_view name, std::string_view otherwise = {});
  void SetSetting(std::string_view name, std::string_view value);

  // A new identifier for a record, different from all that any desktop or device makes:
  // PC, the time in two halves, a counter and a word of this store, in hexadecimal.
  std::u16string NewIdentifier(uint64_t now);

  // Records. Deleted ones are left out of List and Count.
  std::vector<StoredRecord> List(int folder);
  int64_t Count(int folder);
  std::optional<StoredRecord> Find(int64_t id);
  std::vector<StoredRecord> FindByRecordId(int folder, std::u16string_view recordId);
  int64_t Insert(int folder, std::u16string_view recordId, const Bytes& packet);
  void Update(int64_t id, std::u16string_view recordId, const Bytes& packet);
  // The record goes at once when no device has it, else when the last link to it is dropped.
  void Delete(int64_t id);

  // Devices and links.
  std::vector<StoredDevice> Devices();
  std::optional<StoredDevice> FindDevice(std::string_view deviceId, int partner);
  int64_t AddDevice(std::string_view deviceId, int partner);
  void UpdateDevice(const StoredDevice& device);
  void RemoveDevice(int64_t device);
  std::vector<Link> Links(int64_t device, int folder);
  // Records of the folder, not deleted, that this device has no link to and that are not about to
  // be sent.
  std::vector<int64_t> Unlinked(int64_t device, int folder);
  // Says that device and desktop now both hold the record as it is stored.
  void SetLink(int64_t device, int folder, uint32_t oid, int64_t record);
  // Says that the record, new for this device, is about to be sent as it is stored: a run that is
  // killed may have done it or not, and nobody knows the object. SetLink ends this state.
  void SetSending(int64_t device, int folder, int64_t record);
  // Records in that state, as links without an object.
  std::vector<Link> Sending(int64_t device, int folder);
  void DropLink(int64_t device, int64_t record);
  void DropLinks(int64_t device);
  // The last common packet of a record and a device, or the one that was about to be sent; empty
  // when they have no link.
  Bytes Base(int64_t device, int64_t record);

  // Empty when the file is sound, else what SQLite says.
  std::string IntegrityProblem();

  class Transaction {
   public:
    explicit Transaction(Store& store);
    ~Transaction();  // rolls back unless committed
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void Commit();

   private:
    Store& store_;
    bool open_ = true;
  };

 private:
  friend class Statement;
  void Execute(const char* sql);
  void LockForWriting(const std::string& folder);
  void CheckOwnFile();
  void CreateSchema();
  int64_t NextChange();
  void PurgeIfUnused(int64_t record);
  std::vector<Link> ReadLinks(const char* sql, int64_t device, int folder);
  [[noreturn]] void Fail(const char* doing);
  sqlite3_stmt* Prepared(const char* sql);

  // Owned; each goes even when the constructor fails half way.
  struct LockFile {
    int file = -1;
    ~LockFile();
  };
  struct Closer {
    void operator()(sqlite3* database) const;
  };
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const;
  };
  LockFile lock_;
  std::unique_ptr<sqlite3, Closer> owned_;
  sqlite3* database_ = nullptr;  // owned_
  std::string path_;
  // By address of the text; gone before the database, which waits for them.
  std::vector<std::pair<const char*, std::unique_ptr<sqlite3_stmt, Finalizer>>> statements_;
};

}  // namespace wkt
