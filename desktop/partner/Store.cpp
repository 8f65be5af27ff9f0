#include "desktop/partner/Store.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "desktop/partner/Failure.h"
#include "desktop/partner/StoreSchema.h"  // made from Store.sql
#include "desktop/partner/StoreStatement.h"

namespace wkt {

namespace {
constexpr int kStoreFormat = 1;
// Ten seconds in all.
constexpr int kLockTries = 200;
constexpr unsigned kLockPauseMicroseconds = 50'000;
// "WKTP", so that another program's database is not taken for ours.
constexpr int kApplicationId = 0x574B5450;
}  // namespace

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
  const int code = database_ ? sqlite3_errcode(database_) : SQLITE_NOMEM;
  const std::string why = database_ ? sqlite3_errmsg(database_) : "out of memory";
  if (code == SQLITE_NOTADB || code == SQLITE_CORRUPT) {
    throw Failure(path_ + " is damaged (" + why +
                  "); put a backup in its place with 'wkt restore', or name a new folder: a first "
                  "synchronisation fills it from the device");
  }
  if (code == SQLITE_READONLY) {
    throw Failure(path_ +
                  " cannot be written, which reading it needs, too; make its folder "
                  "writable or copy it");
  }
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

std::string Store::IntegrityProblem() {
  Statement read(*this, "PRAGMA integrity_check(1)");
  const std::string answer = read.Step() ? read.Text(0) : "no answer";
  return answer == "ok" ? "" : answer;
}

}  // namespace wkt
