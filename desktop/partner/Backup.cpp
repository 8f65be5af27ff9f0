#include "desktop/partner/Backup.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <unistd.h>
#include <zlib.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>

#include "desktop/partner/Failure.h"
#include "desktop/partner/FolderCopy.h"
#include "desktop/partner/Instant.h"

namespace wkt {

namespace {

namespace fs = std::filesystem;

// "WKTB"
constexpr int kApplicationId = 0x574B5442;
constexpr int kFormat = 1;
constexpr char kSchema[] =
    "CREATE TABLE about (kind TEXT NOT NULL, source TEXT NOT NULL, made TEXT NOT NULL);"
    "CREATE TABLE files (path TEXT PRIMARY KEY, crc INTEGER NOT NULL, content BLOB NOT NULL);";

struct Closer {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Database = std::unique_ptr<sqlite3, Closer>;
using Query = std::unique_ptr<sqlite3_stmt, Closer>;

[[noreturn]] void Fail(const std::string& file, sqlite3* database) {
  throw Failure(file + ": " + (database ? sqlite3_errmsg(database) : "out of memory"));
}

Database Open(const std::string& file, int flags) {
  sqlite3* opened = nullptr;
  const int result = sqlite3_open_v2(file.c_str(), &opened, flags, nullptr);
  Database database(opened);
  if (result != SQLITE_OK) {
    Fail(file, opened);
  }
  return database;
}

Query Prepare(const Database& database, const std::string& file, const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database.get(), sql, -1, &statement, nullptr) != SQLITE_OK) {
    throw Failure(file + " is not a backup of ours, or damaged: " + sqlite3_errmsg(database.get()));
  }
  return Query(statement);
}

void Execute(const Database& database, const std::string& file, const std::string& sql) {
  if (sqlite3_exec(database.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    Fail(file, database.get());
  }
}

int64_t Checksum(const std::string& path, const std::string& content) {
  uLong crc = crc32_z(0, reinterpret_cast<const Bytef*>(path.data()), path.size());
  return static_cast<int64_t>(
      crc32_z(crc, reinterpret_cast<const Bytef*>(content.data()), content.size()));
}

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw Failure("cannot read " + path.string());
  }
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// Removes a folder or file when the work on it is over, or given up.
class Scratch {
 public:
  explicit Scratch(std::string path) : path_(std::move(path)) { Remove(); }
  ~Scratch() { Remove(); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  const std::string& Path() const { return path_; }

 private:
  void Remove() const {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  std::string path_;
};

void AddFiles(const Database& database, const std::string& file, const std::string& folder) {
  const Query add = Prepare(database, file, "INSERT INTO files VALUES (?, ?, ?)");
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    const bool isFolder = entry.is_directory();
    const std::string path = fs::relative(entry.path(), folder).string() + (isFolder ? "/" : "");
    const std::string content = isFolder ? "" : ReadFile(entry.path());
    sqlite3_bind_text(add.get(), 1, path.data(), static_cast<int>(path.size()), SQLITE_TRANSIENT);
    sqlite3_bind_int64(add.get(), 2, Checksum(path, content));
    sqlite3_bind_blob64(add.get(), 3, content.data(), content.size(), SQLITE_TRANSIENT);
    if (sqlite3_step(add.get()) != SQLITE_DONE) {
      Fail(file, database.get());
    }
    sqlite3_reset(add.get());
  }
}

// A path of a file inside the folder, and nothing else.
bool IsPlainPath(const std::string& path) {
  const fs::path parts(path);
  if (path.empty() || parts.is_absolute() || path.find('\0') != std::string::npos) {
    return false;
  }
  for (const fs::path& part : parts) {
    if (part == ".." || part == ".") {
      return false;
    }
  }
  return true;
}

BackupInfo Walk(const std::string& file,
                const std::function<void(const std::string&, const std::string&)>& visit) {
  std::error_code ignored;
  if (!fs::exists(file, ignored)) {
    throw Failure("there is no file " + file, ExitCode::Usage);
  }
  if (!IsDatabaseFile(file)) {
    throw Failure(file + " is not a backup of ours", ExitCode::Usage);
  }
  const Database database = Open(file, SQLITE_OPEN_READONLY);
  BackupInfo info;
  {
    const Query id = Prepare(database, file,
                             "SELECT a.application_id, v.user_version FROM pragma_application_id "
                             "a, pragma_user_version v");
    if (sqlite3_step(id.get()) != SQLITE_ROW || sqlite3_column_int(id.get(), 0) != kApplicationId) {
      throw Failure(file + " is not a backup of ours", ExitCode::Usage);
    }
    if (sqlite3_column_int(id.get(), 1) > kFormat) {
      throw Failure(file + " was written by a newer version", ExitCode::Usage);
    }
    const Query about = Prepare(database, file, "SELECT kind, source, made FROM about");
    if (sqlite3_step(about.get()) != SQLITE_ROW) {
      throw Failure(file + " is damaged: it does not say what it holds");
    }
    const auto text = [&about](int column) {
      const auto* value = reinterpret_cast<const char*>(sqlite3_column_text(about.get(), column));
      return std::string(value ? value : "");
    };
    info = {text(0), text(1), text(2), 0, 0};
  }
  const Query files = Prepare(database, file, "SELECT path, crc, content FROM files ORDER BY path");
  int result = SQLITE_ROW;
  while ((result = sqlite3_step(files.get())) == SQLITE_ROW) {
    const auto blob = [&files](int column) {
      const auto* data = static_cast<const char*>(sqlite3_column_blob(files.get(), column));
      return std::string(data ? data : "",
                         data ? static_cast<size_t>(sqlite3_column_bytes(files.get(), column)) : 0);
    };
    const std::string path = blob(0);
    const std::string content = blob(2);
    if (!IsPlainPath(path) || sqlite3_column_int64(files.get(), 1) != Checksum(path, content)) {
      throw Failure(file + " is damaged: " + path + " is not as it was saved; nothing was changed");
    }
    info.files += path.back() != '/';
    info.bytes += static_cast<int64_t>(content.size());
    visit(path, content);
  }
  if (result != SQLITE_DONE) {
    throw Failure(file + " is damaged: " + sqlite3_errmsg(database.get()) +
                  "; nothing was changed");
  }
  return info;
}

void SyncPath(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file >= 0) {
    fsync(file);
    close(file);
  }
}

}  // namespace

BackupInfo WriteBackup(const std::string& folder, const std::string& kind, const std::string& file,
                       uint64_t now) {
  if (fs::exists(file)) {
    throw Failure(file + " is there already; name another file", ExitCode::Usage);
  }
  const Scratch copy(file + ".copy");
  const Scratch part(file + ".part");
  CopyFolder(folder, copy.Path());
  {
    const Database database = Open(part.Path(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    Execute(database, part.Path(),
            fmt::format("PRAGMA application_id = {}; PRAGMA user_version = {}; BEGIN; {}",
                        kApplicationId, kFormat, kSchema));
    const Query about = Prepare(database, part.Path(), "INSERT INTO about VALUES (?, ?, ?)");
    const std::string made = ClockText(now) + "Z";
    const std::string source = fs::absolute(folder).string();
    sqlite3_bind_text(about.get(), 1, kind.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(about.get(), 2, source.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(about.get(), 3, made.c_str(), -1, SQLITE_TRANSIENT);
    if (sqlite3_step(about.get()) != SQLITE_DONE) {
      Fail(part.Path(), database.get());
    }
    AddFiles(database, part.Path(), copy.Path());
    Execute(database, part.Path(), "COMMIT");
  }
  BackupInfo info = CheckBackup(part.Path());
  fs::rename(part.Path(), file);
  return info;
}

BackupInfo CheckBackup(const std::string& file) {
  return Walk(file, [](const std::string&, const std::string&) {});
}

void RestoreBackup(const std::string& file, const std::string& folder) {
  CheckBackup(file);
  const Scratch part(folder + ".restore");
  Walk(file, [&part](const std::string& path, const std::string& content) {
    const fs::path target = fs::path(part.Path()) / path;
    fs::create_directories(path.back() == '/' ? target : target.parent_path());
    if (path.back() == '/') {
      return;
    }
    std::ofstream written(target, std::ios::binary);
    written << content;
    written.close();
    if (!written) {
      throw Failure("cannot write " + target.string() + "; nothing was changed");
    }
    SyncPath(target.string());
  });
  // In one step: whoever looks sees the old folder or the new one. What was replaced then goes with
  // the scratch folder.
  const bool exists = fs::exists(folder);
  if (renameat2(AT_FDCWD, part.Path().c_str(), AT_FDCWD, folder.c_str(),
                exists ? RENAME_EXCHANGE : RENAME_NOREPLACE) != 0) {
    throw Failure("cannot put " + folder + " in its place: " + std::strerror(errno) +
                  "; nothing was changed");
  }
  SyncPath(fs::absolute(folder).parent_path().string());
}

}  // namespace wkt
