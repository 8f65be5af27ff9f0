#include "bench/StoreBenchSides.h"

#include <cstdlib>
#include <cstring>

#include "host/control/Desk.h"
#include "host/coredll/LocalMemory.h"
#include "host/coredll/StoreBlock.h"

namespace wkt::bench {

namespace {

constexpr CEPROPID kLocalDay = 0x40120040;
constexpr CEPROPID kStart = 0x40080040;

[[noreturn]] void Stop(const char* what) {
  fprintf(stderr, "%s failed: %u\n", what, GetLastError());
  exit(1);
}

}  // namespace

StoreSide::StoreSide(const std::string& folder) {
  std::string error;
  control::DeviceOptions options;
  options.settings.durability = control::Durability::Relaxed;
  if (!control::CreateDevice(folder, options, error)) {
    fprintf(stderr, "%s\n", error.c_str());
    exit(1);
  }
  file_ = folder + "/store.vol";
  CEDBASEINFOEX info{};
  info.wVersion = CEDBASEINFOEX_VERSION;
  info.dwFlags = CEDB_VALIDNAME | CEDB_VALIDTYPE | CEDB_VALIDSORTSPEC;
  std::u16string(u"WktDevJobs").copy(info.szDbaseName, CEDB_MAXDBASENAMELEN);
  info.dwDbaseType = 0x4715E;
  info.wNumSortOrder = 1;
  info.rgSortSpecs[0] = {SORTORDERSPECEX_VERSION,
                         2,
                         0,
                         0,
                         {kLocalDay, kStart, 0},
                         {CEDB_SORT_NONNULL, CEDB_SORT_NONNULL, 0}};
  CEGUID volume{};
  database_ = CeCreateDatabaseEx2(&volume, &info);
  handle_ = CeOpenDatabaseEx2(&volume, &database_, nullptr, nullptr, CEDB_AUTOINCREMENT, nullptr);
  if (database_ == 0 || handle_ == INVALID_HANDLE_VALUE)
    Stop("opening");
}

StoreSide::~StoreSide() {
  CloseHandle(handle_);
  control::LeaveDevice();
}

void StoreSide::SetDurability(bool isFull) {
  std::string error;
  if (!control::SetDurability(isFull ? control::Durability::Full : control::Durability::Relaxed,
                              error))
    Stop("setting the durability");
}

void StoreSide::Fill(uint32_t count) {
  std::string error;
  if (!control::SetDurability(control::Durability::Off, error))
    Stop("setting the durability");
  for (uint32_t number = 0; number < count; ++number) {
    SampleRecord record(number);
    oids_.push_back(Insert(record));
  }
  SetDurability(false);
}

size_t StoreSide::ReadAll() {
  size_t found = 0;
  if (CeSeekDatabaseEx(handle_, CEDB_SEEK_BEGINNING, 0, 0, nullptr) == 0)
    Stop("seeking");
  for (;; ++found) {
    BYTE* buffer = nullptr;
    DWORD byteCount = 0;
    WORD count = 0;
    if (CeReadRecordPropsEx(handle_, CEDB_ALLOWREALLOC, &count, nullptr, &buffer, &byteCount,
                            nullptr) == 0)
      return found;
    LocalFree(buffer);
  }
}

void StoreSide::SeekAndRead(CEOID oid, bool wantsIndex) {
  DWORD index = 0;
  BYTE* buffer = nullptr;
  DWORD byteCount = 0;
  WORD count = 0;
  if (CeSeekDatabase(handle_, CEDB_SEEK_CEOID, oid, wantsIndex ? &index : nullptr) == 0 ||
      CeReadRecordPropsEx(handle_, CEDB_ALLOWREALLOC, &count, nullptr, &buffer, &byteCount,
                          nullptr) == 0)
    Stop("reading");
  LocalFree(buffer);
}

void StoreSide::Update(CEOID oid, SampleRecord& record, uint32_t variant) {
  // The whole record is written, as the provider does; its flag text differs.
  char16_t flags[] = u"0001000000000000000";
  flags[4] = static_cast<char16_t>(u'0' + variant % 2);
  flags[7] = static_cast<char16_t>(u'0' + variant / 2 % 10);
  record.Values()[11].val.lpwstr = flags;
  if (CeWriteRecordProps(handle_, oid, record.Count(), record.Values()) == 0)
    Stop("updating");
}

CEOID StoreSide::Insert(SampleRecord& record) {
  const CEOID oid = CeWriteRecordProps(handle_, 0, record.Count(), record.Values());
  if (oid == 0)
    Stop("inserting");
  return oid;
}

void StoreSide::Delete(CEOID oid) {
  if (CeDeleteRecord(handle_, oid) == FALSE)
    Stop("deleting");
}

void StoreSide::FindOpenClose() {
  CEGUID volume{};
  CEOIDINFOEX info{};
  CEOID oid = 0;
  const HANDLE enumeration = CeFindFirstDatabaseEx(nullptr, 0x4715E);
  while ((oid = CeFindNextDatabase(enumeration)) != 0) {
    info.wVersion = CEOIDINFOEX_VERSION;
    if (CeOidGetInfoEx2(&volume, oid, &info) != FALSE &&
        std::u16string_view(info.infDatabase.szDbaseName) == u"WktDevJobs")
      break;
  }
  CloseHandle(enumeration);
  const HANDLE handle =
      CeOpenDatabaseEx2(&volume, &oid, nullptr, nullptr, CEDB_AUTOINCREMENT, nullptr);
  if (handle == INVALID_HANDLE_VALUE)
    Stop("opening");
  CloseHandle(handle);
}

RawSide::RawSide(const std::string& file, const StoreSide& store) {
  if (sqlite3_open_v2(file.c_str(), &connection_,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                      nullptr) != SQLITE_OK)
    Stop("opening SQLite");
  char copy[1024];
  sqlite3_snprintf(
      sizeof copy, copy,
      "PRAGMA page_size=4096; PRAGMA auto_vacuum=INCREMENTAL; PRAGMA journal_mode=WAL;"
      "PRAGMA synchronous=NORMAL; PRAGMA cache_size=-65536; PRAGMA wal_autocheckpoint=4000;"
      "CREATE TABLE catalogue(oid INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, nrec INTEGER,"
      " nbytes INTEGER, mtime INTEGER);"
      "CREATE TABLE record(oid INTEGER PRIMARY KEY, img BLOB NOT NULL);"
      "CREATE TABLE sort(ord INTEGER NOT NULL, key BLOB NOT NULL, oid INTEGER NOT NULL,"
      " PRIMARY KEY(ord, key)) WITHOUT ROWID;"
      "ATTACH '%q' AS store; INSERT INTO record SELECT oid, img FROM store.record_%u ORDER BY oid;"
      "INSERT INTO sort SELECT ord, key, oid FROM store.sort_%u ORDER BY ord, key;"
      "INSERT INTO catalogue SELECT oid, name, nrec, nbytes, mtime FROM store.catalogue; DETACH "
      "store;",
      store.File().c_str(), store.Database(), store.Database());
  if (sqlite3_exec(connection_, copy, nullptr, nullptr, nullptr) != SQLITE_OK) {
    fprintf(stderr, "%s\n", sqlite3_errmsg(connection_));
    exit(1);
  }
  begin_ = Prepare("BEGIN IMMEDIATE");
  commit_ = Prepare("COMMIT");
  scan_ = Prepare(
      "SELECT s.oid, r.img FROM sort s CROSS JOIN record r ON r.oid = s.oid WHERE s.ord = 0 ORDER "
      "BY s.key");
  read_ = Prepare("SELECT img FROM record WHERE oid = ?1");
  update_ = Prepare("UPDATE record SET img = ?2 WHERE oid = ?1");
  insert_ = Prepare("INSERT INTO record(oid, img) VALUES(?1, ?2)");
  insertKey_ = Prepare("INSERT INTO sort(ord, key, oid) VALUES(0, ?1, ?2)");
  touch_ = Prepare("UPDATE catalogue SET mtime = ?1 WHERE oid = (SELECT min(oid) FROM catalogue)");
  count_ = Prepare(
      "UPDATE catalogue SET nrec = nrec + ?1, nbytes = nbytes + ?2, mtime = ?3 WHERE oid = (SELECT "
      "min(oid) FROM catalogue)");
  catalogue_ =
      Prepare("SELECT oid, name, nrec, nbytes, mtime FROM catalogue WHERE name = 'WktDevJobs'");
  nextOid_ = store.Oids().back() + 1'000'000;
}

RawSide::~RawSide() {
  for (sqlite3_stmt* statement : statements_)
    sqlite3_finalize(statement);
  sqlite3_close(connection_);
}

sqlite3_stmt* RawSide::Prepare(const char* text) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v3(connection_, text, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
      SQLITE_OK)
    Stop(text);
  statements_.push_back(statement);
  return statement;
}

void RawSide::Run(sqlite3_stmt* statement) {
  if (sqlite3_step(statement) != SQLITE_DONE)
    Stop(sqlite3_errmsg(connection_));
  sqlite3_reset(statement);
}

size_t RawSide::ReadAll(Handling handling) {
  size_t found = 0;
  volatile char seen = 0;
  volatile CEOID oid = 0;
  for (; sqlite3_step(scan_) == SQLITE_ROW; ++found) {
    const auto byteCount = static_cast<size_t>(sqlite3_column_bytes(scan_, 1));
    const auto* image = static_cast<const char*>(sqlite3_column_blob(scan_, 1));
    oid = static_cast<CEOID>(sqlite3_column_int64(scan_, 0));
    seen = image[byteCount / 2];
    if (handling == Handling::MakeBlock)
      host::ReturnLocalMemory(host::MakeBlock({image, byteCount}).bytes);
    if (handling == Handling::Copy) {
      void* block = malloc(byteCount);
      memcpy(block, image, byteCount);
      asm volatile("" : : "r"(block) : "memory");
      free(block);
    }
  }
  sqlite3_reset(scan_);
  static_cast<void>(seen);
  static_cast<void>(oid);
  return found;
}

void RawSide::Read(CEOID oid) {
  sqlite3_bind_int64(read_, 1, oid);
  if (sqlite3_step(read_) != SQLITE_ROW)
    Stop("raw read");
  const auto byteCount = static_cast<size_t>(sqlite3_column_bytes(read_, 0));
  void* block = malloc(byteCount);
  memcpy(block, sqlite3_column_blob(read_, 0), byteCount);
  asm volatile("" : : "r"(block) : "memory");
  free(block);
  sqlite3_reset(read_);
}

void RawSide::Update(CEOID oid, bool withCatalogue) {
  Run(begin_);
  sqlite3_bind_int64(read_, 1, oid);
  if (sqlite3_step(read_) != SQLITE_ROW)
    Stop("raw read");
  image_.assign(static_cast<const char*>(sqlite3_column_blob(read_, 0)),
                static_cast<size_t>(sqlite3_column_bytes(read_, 0)));
  sqlite3_reset(read_);
  image_[image_.size() / 2] = static_cast<char>(image_[image_.size() / 2] + 1);
  sqlite3_bind_int64(update_, 1, oid);
  sqlite3_bind_blob(update_, 2, image_.data(), static_cast<int>(image_.size()), SQLITE_STATIC);
  Run(update_);
  if (withCatalogue) {
    sqlite3_bind_int64(touch_, 1, static_cast<sqlite3_int64>(++clock_));
    Run(touch_);
  }
  Run(commit_);
}

CEOID RawSide::Insert() {
  // An image and a key like the others: those of some record, the key's time moved on.
  if (image_.empty())
    Update(nextOid_ - 1'000'000, false);
  const CEOID oid = nextOid_++;
  uint8_t key[20] = {};
  const uint64_t day = kYear2026 + oid / 1440 * kTicksPerMinute;
  for (int index = 0; index < 8; ++index) {
    key[index] = static_cast<uint8_t>(day >> (56 - 8 * index));
    key[8 + index] = static_cast<uint8_t>(uint64_t{oid} >> (56 - 8 * index));
  }
  for (int index = 0; index < 4; ++index)
    key[16 + index] = static_cast<uint8_t>(oid >> (24 - 8 * index));
  Run(begin_);
  sqlite3_bind_int64(insert_, 1, oid);
  sqlite3_bind_blob(insert_, 2, image_.data(), static_cast<int>(image_.size()), SQLITE_STATIC);
  Run(insert_);
  sqlite3_bind_blob(insertKey_, 1, key, sizeof key, SQLITE_STATIC);
  sqlite3_bind_int64(insertKey_, 2, oid);
  Run(insertKey_);
  sqlite3_bind_int64(count_, 1, 1);
  sqlite3_bind_int64(count_, 2, static_cast<sqlite3_int64>(image_.size()));
  sqlite3_bind_int64(count_, 3, static_cast<sqlite3_int64>(++clock_));
  Run(count_);
  Run(commit_);
  return oid;
}

void RawSide::ReadCatalogue() {
  if (sqlite3_step(catalogue_) != SQLITE_ROW)
    Stop("raw catalogue");
  volatile sqlite3_int64 seen = sqlite3_column_int64(catalogue_, 2);
  static_cast<void>(seen);
  sqlite3_reset(catalogue_);
}

}  // namespace wkt::bench
