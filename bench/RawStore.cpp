#include "bench/RawStore.h"

#include <ctime>

#include "bench/Report.h"

namespace wkt::bench {
namespace {

constexpr int64_t kSyncMilliseconds = 100;

constexpr const char* kSchema =
    "PRAGMA page_size=4096; PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"
    "PRAGMA cache_size=-65536; PRAGMA wal_autocheckpoint=4000;"
    "CREATE TABLE catalogue(oid INTEGER PRIMARY KEY, nrec INTEGER, nbytes INTEGER, mtime INTEGER);"
    "INSERT INTO catalogue VALUES(2, 0, 0, 0);"
    "CREATE TABLE record(oid INTEGER PRIMARY KEY, img BLOB NOT NULL) STRICT;"
    "CREATE TABLE sort(key BLOB NOT NULL, oid INTEGER NOT NULL, PRIMARY KEY(key, oid)) STRICT,"
    " WITHOUT ROWID;";

int64_t Milliseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

std::string_view BlobOf(sqlite3_stmt* statement, int column) {
  const void* const blob = sqlite3_column_blob(statement, column);
  return {static_cast<const char*>(blob),
          static_cast<size_t>(sqlite3_column_bytes(statement, column))};
}

}  // namespace

RawStore::RawStore(const std::string& path, const ImageKind& kind) : kind_(kind) {
  if (sqlite3_open_v2(path.c_str(), &database,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr) ||
      sqlite3_exec(database, kSchema, nullptr, nullptr, nullptr))
    Fail(sqlite3_errmsg(database));
  begin = Prepare("BEGIN IMMEDIATE");
  commit = Prepare("COMMIT");
  list = Prepare(
      "SELECT r.oid, r.img FROM sort s JOIN record r ON r.oid = s.oid ORDER BY s.key, s.oid");
  scan = Prepare("SELECT img FROM record ORDER BY oid");
  get = Prepare("SELECT img FROM record WHERE oid = ?");
  update = Prepare("UPDATE record SET img = ?2 WHERE oid = ?1");
  insert = Prepare("INSERT INTO record VALUES(?1, ?2)");
  insertSort = Prepare("INSERT INTO sort VALUES(?2, ?1)");
  remove = Prepare("DELETE FROM record WHERE oid = ?");
  removeSort = Prepare("DELETE FROM sort WHERE key = ?2 AND oid = ?1");
  catalogue = Prepare("UPDATE catalogue SET nrec = nrec + ?1, mtime = mtime + 1 WHERE oid = 2");
}

RawStore::~RawStore() {
  for (sqlite3_stmt* const statement : statements)
    sqlite3_finalize(statement);
  sqlite3_close(database);
}

sqlite3_stmt* RawStore::Prepare(const char* text) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v3(database, text, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr))
    Fail(sqlite3_errmsg(database));
  statements.push_back(statement);
  return statement;
}

void RawStore::SetFull(bool isFull) {
  isFull_ = isFull;
  const char* const setting = isFull ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=NORMAL";
  if (sqlite3_exec(database, setting, nullptr, nullptr, nullptr))
    Fail(sqlite3_errmsg(database));
}

void RawStore::Run(sqlite3_stmt* statement) {
  sqlite3_step(statement);
  if (sqlite3_reset(statement) != SQLITE_OK)
    Fail(sqlite3_errmsg(database));
}

void RawStore::Write(sqlite3_stmt* statement, uint32_t oid, const std::string& bytes) {
  sqlite3_bind_int64(statement, 1, oid);
  sqlite3_bind_blob(statement, 2, bytes.data(), static_cast<int>(bytes.size()), SQLITE_STATIC);
  Run(statement);
}

void RawStore::Commit(int records) {
  sqlite3_bind_int(catalogue, 1, records);
  Run(catalogue);
  Run(commit);
  if (!isFull_)
    SyncSometimes();
}

void RawStore::SyncSometimes() {
  const int64_t now = Milliseconds();
  if (now - lastSync < kSyncMilliseconds)
    return;
  lastSync = now;
  sqlite3_file* log = nullptr;
  if (sqlite3_file_control(database, "main", SQLITE_FCNTL_JOURNAL_POINTER, &log) == SQLITE_OK &&
      log && log->pMethods)
    log->pMethods->xSync(log, SQLITE_SYNC_NORMAL);
}

void RawStore::Fill(const std::vector<std::string>& images) {
  Run(begin);
  for (const std::string& image : images) {
    Write(insert, ++lastOid, image);
    Write(insertSort, lastOid, SortKey(image, kind_));
  }
  Commit(static_cast<int>(images.size()));
}

void RawStore::List(std::vector<uint32_t>& oids) {
  oids.clear();
  std::vector<uint32_t> changed;
  while (sqlite3_step(list) == SQLITE_ROW) {
    image_ = BlobOf(list, 1);
    const auto oid = static_cast<uint32_t>(sqlite3_column_int64(list, 0));
    (kind_.isChanged(image_) ? changed : oids).push_back(oid);
  }
  sqlite3_reset(list);
  oids.insert(oids.end(), changed.rbegin(), changed.rend());
}

size_t RawStore::Scan() {
  size_t changed = 0;
  while (sqlite3_step(scan) == SQLITE_ROW) {
    const std::string_view image = BlobOf(scan, 0);
    changed += static_cast<size_t>(*FlagIn(image, kind_.flags, kind_.synchronizedAt) == '0');
  }
  sqlite3_reset(scan);
  return changed;
}

void RawStore::Get(uint32_t oid) {
  sqlite3_bind_int64(get, 1, oid);
  if (sqlite3_step(get) != SQLITE_ROW)
    Fail("no such record in the raw store");
  image_ = BlobOf(get, 0);
  sqlite3_reset(get);
}

void RawStore::Confirm(uint32_t oid) {
  Get(oid);
  const char* const flag = FlagIn(image_, kind_.flags, kind_.synchronizedAt);
  image_[static_cast<size_t>(flag - image_.data())] = '1';
  Run(begin);
  Write(update, oid, image_);
  Commit(0);
}

uint32_t RawStore::Insert(const std::string& image) {
  Run(begin);
  Write(insert, ++lastOid, image);
  Write(insertSort, lastOid, SortKey(image, kind_));
  Commit(1);
  return lastOid;
}

void RawStore::Update(uint32_t oid, const std::string& image) {
  const std::string key = SortKey(image, kind_);
  Run(begin);
  Get(oid);
  const std::string before = SortKey(image_, kind_);
  Write(update, oid, image);
  if (key != before) {
    Write(removeSort, oid, before);
    Write(insertSort, oid, key);
  }
  Commit(0);
}

void RawStore::Delete(uint32_t oid) {
  Get(oid);
  const std::string key = SortKey(image_, kind_);
  Run(begin);
  sqlite3_bind_int64(remove, 1, oid);
  Run(remove);
  Write(removeSort, oid, key);
  Commit(-1);
}

}  // namespace wkt::bench
