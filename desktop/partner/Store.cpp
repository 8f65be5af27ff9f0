#include "desktop/partner/Store.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "desktop/partner/Failure.h"
#include "desktop/partner/StoreSchema.h"  // made from Store.sql

namespace wkt {

namespace {
constexpr int kStoreFormat = 1;
// Ten seconds in all.
constexpr int kLockTries = 200;
constexpr unsigned kLockPauseMicroseconds = 50'000;
// "WKTP", so that another program's database is not taken for ours.
constexpr int kApplicationId = 0x574B5450;
}  // namespace

// A cached statement in use: binds in order, reads columns, resets itself at its end.
class Statement {
 public:
  Statement(Store& store, const char* sql) : store_(store), statement_(store.Prepared(sql)) {}
  ~Statement() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& Bind(int64_t value) {
    sqlite3_bind_int64(statement_, ++bound_, value);
    return *this;
  }
  Statement& Bind(std::string_view text) {
    sqlite3_bind_text(statement_, ++bound_, text.data() ? text.data() : "",
                      static_cast<int>(text.size()), SQLITE_TRANSIENT);
    return *this;
  }
  Statement& Bind(const Bytes& bytes) {
    sqlite3_bind_blob64(statement_, ++bound_,
                        bytes.empty() ? "" : reinterpret_cast<const char*>(bytes.data()),
                        bytes.size(), SQLITE_STATIC);
    return *this;
  }
  Statement& Bind(std::u16string_view text) {
    sqlite3_bind_blob64(statement_, ++bound_, text.empty() ? u"" : text.data(), text.size() * 2,
                        SQLITE_TRANSIENT);
    return *this;
  }

  [[nodiscard]] bool Step() const {
    const int result = sqlite3_step(statement_);
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
      store_.Fail("reading or writing");
    }
    return result == SQLITE_ROW;
  }
  void Run() { (void)Step(); }

  int64_t Number(int column) const { return sqlite3_column_int64(statement_, column); }
  std::string Text(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return text ? std::string(text, static_cast<size_t>(sqlite3_column_bytes(statement_, column)))
                : "";
  }
  Bytes Blob(int column) const {
    const auto* data = static_cast<const uint8_t*>(sqlite3_column_blob(statement_, column));
    const auto count = static_cast<size_t>(sqlite3_column_bytes(statement_, column));
    return data ? Bytes(data, data + count) : Bytes();
  }
  std::u16string WideBlob(int column) const {
    const void* data = sqlite3_column_blob(statement_, column);
    std::u16string text(static_cast<size_t>(sqlite3_column_bytes(statement_, column)) / 2, u'\0');
    if (data) {
      std::memcpy(text.data(), data, text.size() * 2);
    }
    return text;
  }
  StoredRecord Record() const {
    StoredRecord record;
    record.id = Number(0);
    record.recordId = WideBlob(1);
    record.change = Number(2);
    record.deleted = Number(3) != 0;
    record.packet = Blob(4);
    return record;
  }

 private:
  Store& store_;
  sqlite3_stmt* statement_;
  int bound_ = 0;
};

std::string Store::FilePath(const std::string& folder) {
  return folder + "/partner.wkt";
}

bool Store::IsPartner(const std::string& folder) {
  struct stat info {};
  return stat(FilePath(folder).c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

Store::Store(const std::string& folder, Mode mode) : path_(FilePath(folder)) {
  if (mode != Mode::OpenOrCreate && !IsPartner(folder)) {
    throw Failure(folder + " is not a partner's folder: it holds no partner.wkt");
  }
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) {
    throw Failure("cannot make the folder " + folder + ": " + error.message());
  }
  if (mode != Mode::Read) {
    LockForWriting(folder);
  }
  const int flags = SQLITE_OPEN_READWRITE | (mode == Mode::OpenOrCreate ? SQLITE_OPEN_CREATE : 0);
  const int opened = sqlite3_open_v2(path_.c_str(), &database_, flags, nullptr);
  owned_.reset(database_);
  if (opened != SQLITE_OK) {
    Fail("opening");
  }
  sqlite3_busy_timeout(database_, 10'000);
  CheckOwnFile();
  // Confirming a transfer to a device promises that the desktop keeps it: commits are synced.
  Execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON;");
  if (mode != Mode::Read) {
    CreateSchema();
  }
}

void Store::LockForWriting(const std::string& folder) {
  lock_.file = open((folder + "/partner.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (lock_.file < 0) {
    throw Failure("cannot write in " + folder + ": " + std::strerror(errno));
  }
  for (int waited = 0; flock(lock_.file, LOCK_EX | LOCK_NB) != 0; ++waited) {
    if (waited >= kLockTries) {
      close(lock_.file);
      lock_.file = -1;
      throw Failure("another command is changing " + folder + "; wait for its end");
    }
    usleep(kLockPauseMicroseconds);
  }
}

Store::LockFile::~LockFile() {
  if (file >= 0) {
    close(file);
  }
}

void Store::Closer::operator()(sqlite3* database) const {
  sqlite3_close_v2(database);
}

Store::~Store() = default;

void Store::Finalizer::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

void Store::Fail(const char* doing) {
  const std::string why = database_ ? sqlite3_errmsg(database_) : "out of memory";
  throw Failure(std::string(doing) + " " + path_ + ": " + why);
}

void Store::Execute(const char* sql) {
  if (sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    Fail("reading or writing");
  }
}

sqlite3_stmt* Store::Prepared(const char* sql) {
  for (auto& [known, statement] : statements_) {
    if (known == sql) {
      return statement.get();
    }
  }
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v3(database_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
      SQLITE_OK) {
    Fail("reading or writing");
  }
  statements_.emplace_back(sql, statement);
  return statement;
}

// Before anything is written: what is not ours stays as it is.
void Store::CheckOwnFile() {
  const Statement read(
      *this,
      "SELECT (SELECT application_id FROM pragma_application_id),"
      " (SELECT user_version FROM pragma_user_version), (SELECT count(*) FROM sqlite_schema)");
  if (!read.Step()) {
    return;
  }
  const int64_t application = read.Number(0);
  if (application != kApplicationId && (application != 0 || read.Number(2) != 0)) {
    throw Failure(path_ + " is a database of another program; nothing was changed");
  }
  if (application == kApplicationId && read.Number(1) > kStoreFormat) {
    throw Failure(path_ + " was written by a newer version (format " +
                  std::to_string(read.Number(1)) + ", this one knows " +
                  std::to_string(kStoreFormat) + "); nothing was changed");
  }
}

void Store::CreateSchema() {
  Transaction transaction(*this);
  int64_t application = 0;
  {
    const Statement read(*this, "SELECT application_id FROM pragma_application_id");
    application = read.Step() ? read.Number(0) : 0;
  }
  if (application == 0) {
    Execute(kStoreSchema);
    Execute(("PRAGMA application_id = " + std::to_string(kApplicationId) +
             "; PRAGMA user_version = " + std::to_string(kStoreFormat))
                .c_str());
  }
  transaction.Commit();
}

Store::Transaction::Transaction(Store& store) : store_(store) {
  store.Execute("BEGIN IMMEDIATE");
}

Store::Transaction::~Transaction() {
  if (open_) {
    sqlite3_exec(store_.database_, "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

void Store::Transaction::Commit() {
  store_.Execute("COMMIT");
  open_ = false;
}

std::string Store::Setting(std::string_view name, std::string_view otherwise) {
  Statement read(*this, "SELECT value FROM settings WHERE name = ?");
  return read.Bind(name).Step() ? read.Text(0) : std::string(otherwise);
}

void Store::SetSetting(std::string_view name, std::string_view value) {
  Statement write(
      *this,
      "INSERT INTO settings VALUES (?, ?) ON CONFLICT (name) DO UPDATE SET value = excluded.value");
  write.Bind(name).Bind(value).Run();
}

std::vector<StoredRecord> Store::List(int folder) {
  Statement read(*this,
                 "SELECT id, recordId, change, deleted, packet FROM records WHERE folder = ? AND "
                 "deleted = 0 ORDER BY id");
  read.Bind(folder);
  std::vector<StoredRecord> records;
  while (read.Step()) {
    records.push_back(read.Record());
  }
  return records;
}

int64_t Store::Count(int folder) {
  Statement read(*this, "SELECT count(*) FROM records WHERE folder = ? AND deleted = 0");
  return read.Bind(folder).Step() ? read.Number(0) : 0;
}

std::optional<StoredRecord> Store::Find(int64_t id) {
  Statement read(*this, "SELECT id, recordId, change, deleted, packet FROM records WHERE id = ?");
  if (!read.Bind(id).Step()) {
    return std::nullopt;
  }
  return read.Record();
}

std::vector<StoredRecord> Store::FindByRecordId(int folder, std::u16string_view recordId) {
  Statement read(*this,
                 "SELECT id, recordId, change, deleted, packet FROM records WHERE folder = ? AND "
                 "recordId = ? AND deleted = 0 ORDER BY id");
  read.Bind(folder).Bind(recordId);
  std::vector<StoredRecord> records;
  while (read.Step()) {
    records.push_back(read.Record());
  }
  return records;
}

int64_t Store::NextChange() {
  Statement next(*this, "UPDATE counter SET value = value + 1 RETURNING value");
  return next.Step() ? next.Number(0) : 0;
}

std::u16string Store::NewIdentifier(uint64_t now) {
  std::string word = Setting("storeWord");
  if (word.empty()) {
    uint32_t random = 0;
    if (getrandom(&random, sizeof random, 0) != sizeof random) {
      throw Failure("the system has no random numbers");
    }
    word = fmt::format("{:x}", random);
    SetSetting("storeWord", word);
  }
  const std::string id = fmt::format("PC-{:x}-{:x}-{:x}-{}", static_cast<uint32_t>(now >> 32),
                                     static_cast<uint32_t>(now), NextChange(), word);
  return std::u16string(id.begin(), id.end());
}

int64_t Store::Insert(int folder, std::u16string_view recordId, const Bytes& packet) {
  const int64_t change = NextChange();
  Statement write(*this,
                  "INSERT INTO records (folder, recordId, change, packet) VALUES (?, ?, ?, ?)");
  write.Bind(folder).Bind(recordId).Bind(change).Bind(packet).Run();
  return sqlite3_last_insert_rowid(database_);
}

void Store::Update(int64_t id, std::u16string_view recordId, const Bytes& packet) {
  const int64_t change = NextChange();
  Statement write(
      *this, "UPDATE records SET recordId = ?, change = ?, deleted = 0, packet = ? WHERE id = ?");
  write.Bind(recordId).Bind(change).Bind(packet).Bind(id).Run();
}

void Store::Delete(int64_t id) {
  const int64_t change = NextChange();
  {
    Statement write(*this, "UPDATE records SET deleted = 1, change = ? WHERE id = ?");
    write.Bind(change).Bind(id).Run();
  }
  PurgeIfUnused(id);
}

void Store::PurgeIfUnused(int64_t record) {
  Statement write(*this,
                  "DELETE FROM records WHERE id = ?1 AND deleted = 1 AND NOT EXISTS (SELECT 1 FROM "
                  "links WHERE record = ?1)");
  write.Bind(record).Run();
}

std::vector<StoredDevice> Store::Devices() {
  Statement read(*this,
                 "SELECT id, deviceId, partner, place, token, pending, lastRun, report FROM "
                 "devices ORDER BY id");
  std::vector<StoredDevice> devices;
  while (read.Step()) {
    devices.push_back({read.Number(0), read.Text(1), static_cast<int>(read.Number(2)), read.Text(3),
                       read.Text(4), read.Text(5), static_cast<uint64_t>(read.Number(6)),
                       read.Text(7)});
  }
  return devices;
}

std::optional<StoredDevice> Store::FindDevice(std::string_view deviceId, int partner) {
  for (StoredDevice& device : Devices()) {
    if (device.deviceId == deviceId && device.partner == partner) {
      return device;
    }
  }
  return std::nullopt;
}

int64_t Store::AddDevice(std::string_view deviceId, int partner) {
  Statement write(*this, "INSERT INTO devices (deviceId, partner) VALUES (?, ?)");
  write.Bind(deviceId).Bind(partner).Run();
  return sqlite3_last_insert_rowid(database_);
}

void Store::UpdateDevice(const StoredDevice& device) {
  Statement write(
      *this,
      "UPDATE devices SET place = ?, token = ?, pending = ?, lastRun = ?, report = ? WHERE id = ?");
  write.Bind(device.place)
      .Bind(device.token)
      .Bind(device.pending)
      .Bind(static_cast<int64_t>(device.lastRun))
      .Bind(device.report)
      .Bind(device.id)
      .Run();
}

std::vector<Link> Store::Links(int64_t device, int folder) {
  Statement read(*this,
                 "SELECT links.oid, links.record, links.change, records.change, records.deleted"
                 " FROM links JOIN records ON records.id = links.record"
                 " WHERE links.device = ? AND links.folder = ? ORDER BY links.oid");
  read.Bind(device).Bind(folder);
  std::vector<Link> links;
  while (read.Step()) {
    links.push_back({static_cast<uint32_t>(read.Number(0)), read.Number(1), read.Number(2),
                     read.Number(3), read.Number(4) != 0});
  }
  return links;
}

std::vector<int64_t> Store::Unlinked(int64_t device, int folder) {
  Statement read(
      *this,
      "SELECT id FROM records WHERE folder = ?2 AND deleted = 0"
      " AND id NOT IN (SELECT record FROM links WHERE device = ?1 AND folder = ?2) ORDER BY id");
  read.Bind(device).Bind(folder);
  std::vector<int64_t> ids;
  while (read.Step()) {
    ids.push_back(read.Number(0));
  }
  return ids;
}

void Store::SetLink(int64_t device, int folder, uint32_t oid, int64_t record) {
  {
    // A record has one object on a device: when it got another one, the old link is history.
    Statement drop(*this, "DELETE FROM links WHERE device = ? AND record = ? AND oid <> ?");
    drop.Bind(device).Bind(record).Bind(oid).Run();
  }
  Statement write(*this,
                  "INSERT INTO links (device, folder, oid, record, change, base)"
                  " VALUES (?1, ?2, ?3, ?4, (SELECT change FROM records WHERE id = ?4), NULL)"
                  " ON CONFLICT (device, folder, oid) DO UPDATE SET"
                  " record = excluded.record, change = excluded.change, base = NULL");
  write.Bind(device).Bind(folder).Bind(oid).Bind(record).Run();
}

void Store::DropLink(int64_t device, int folder, uint32_t oid) {
  int64_t record = 0;
  {
    Statement drop(
        *this, "DELETE FROM links WHERE device = ? AND folder = ? AND oid = ? RETURNING record");
    record = drop.Bind(device).Bind(folder).Bind(oid).Step() ? drop.Number(0) : 0;
  }
  PurgeIfUnused(record);
}

void Store::DropLinks(int64_t device) {
  {
    Statement drop(*this, "DELETE FROM links WHERE device = ?");
    drop.Bind(device).Run();
  }
  Execute("DELETE FROM records WHERE deleted = 1 AND id NOT IN (SELECT record FROM links)");
}

Bytes Store::Base(int64_t device, int folder, uint32_t oid) {
  Statement read(*this,
                 "SELECT coalesce(links.base, records.packet) FROM links JOIN records ON "
                 "records.id = links.record"
                 " WHERE links.device = ? AND links.folder = ? AND links.oid = ?");
  return read.Bind(device).Bind(folder).Bind(oid).Step() ? read.Blob(0) : Bytes();
}

std::string Store::IntegrityProblem() {
  Statement read(*this, "PRAGMA integrity_check(1)");
  const std::string answer = read.Step() ? read.Text(0) : "no answer";
  return answer == "ok" ? "" : answer;
}

}  // namespace wkt
