#include "desktop/partner/FolderCopy.h"

#include <sqlite3.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

#include "desktop/partner/Failure.h"

namespace wkt {

namespace {

namespace fs = std::filesystem;

constexpr char kDatabaseMagic[] = "SQLite format 3";  // with its terminator, the first 16 bytes
constexpr int kBusyMilliseconds = 10'000;

struct DatabaseCloser {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
};
using Database = std::unique_ptr<sqlite3, DatabaseCloser>;

Database OpenDatabase(const std::string& path, int flags) {
  sqlite3* opened = nullptr;
  const int result = sqlite3_open_v2(path.c_str(), &opened, flags, nullptr);
  Database database(opened);
  if (result != SQLITE_OK) {
    throw Failure("cannot open " + path + ": " +
                  (opened ? sqlite3_errmsg(opened) : "out of memory"));
  }
  sqlite3_busy_timeout(opened, kBusyMilliseconds);
  return database;
}

bool EndsWith(const std::string& text, const char* ending) {
  const size_t length = std::strlen(ending);
  return text.size() >= length && text.compare(text.size() - length, length, ending) == 0;
}

}  // namespace

bool IsDatabaseFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  char start[sizeof kDatabaseMagic] = {};
  file.read(start, sizeof start);
  return file.gcount() == sizeof start && std::memcmp(start, kDatabaseMagic, sizeof start) == 0;
}

bool IsSideFile(const std::string& name) {
  return EndsWith(name, "-wal") || EndsWith(name, "-shm") || EndsWith(name, "-journal") ||
         name == "partner.lock" || name == "shared";
}

void CopyDatabase(const std::string& from, const std::string& to) {
  const Database source = OpenDatabase(from, SQLITE_OPEN_READWRITE);
  // What a killed process left in the log stays there: nothing about the source changes.
  std::error_code ignored;
  const bool hasLog = fs::exists(from + "-wal", ignored);
  sqlite3_db_config(source.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, hasLog ? 1 : 0, nullptr);
  const Database target = OpenDatabase(to, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  sqlite3_backup* backup = sqlite3_backup_init(target.get(), "main", source.get(), "main");
  int result = backup ? SQLITE_OK : SQLITE_ERROR;
  while (backup && (result = sqlite3_backup_step(backup, -1),
                    result == SQLITE_BUSY || result == SQLITE_LOCKED)) {
    sqlite3_sleep(10);
  }
  if (backup) {
    sqlite3_backup_finish(backup);
  }
  if (result != SQLITE_DONE) {
    throw Failure("cannot copy " + from + ": " + sqlite3_errstr(result));
  }
}

void CopyFolder(const std::string& from, const std::string& to) {
  std::error_code error;
  fs::create_directories(to, error);
  for (const fs::directory_entry& entry : fs::directory_iterator(from, error)) {
    const std::string target = to + "/" + entry.path().filename().string();
    if (entry.is_symlink()) {
      continue;  // nothing of ours
    }
    if (entry.is_directory()) {
      CopyFolder(entry.path().string(), target);
    } else if (entry.is_regular_file() && !IsSideFile(entry.path().filename().string())) {
      if (IsDatabaseFile(entry.path().string())) {
        CopyDatabase(entry.path().string(), target);
      } else {
        fs::copy_file(entry.path(), target, error);
      }
    }
    if (error) {
      throw Failure("cannot copy " + entry.path().string() + ": " + error.message());
    }
  }
  if (error) {
    throw Failure("cannot copy " + from + ": " + error.message());
  }
}

}  // namespace wkt
