#include "host/coredll/StoreVolume.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/coredll/Device.h"
#include "host/coredll/StoreCatalogue.h"
#include "host/coredll/StoreFormat.h"
#include "platform/Errors.h"

namespace wkt::host {

namespace {

constexpr int kBusyMilliseconds = 10'000;

// Databases of all volumes; the golden ratio spreads the files.
uint64_t MarkOf(ino_t file, CEOID database) {
  return (uint64_t{file} * 0x9E3779B97F4A7C15 >> 3) + database;
}

}  // namespace

StoreVolume::StoreVolume() = default;

StoreVolume::~StoreVolume() {
  FlushIfUnsynced();
  catalogue_.reset();
  // The file is closed when the last of the statements, which are members, is gone.
  sqlite3_close_v2(connection_);
}

std::shared_ptr<StoreVolume> StoreVolume::Open(const Request& request, DWORD& error) {
  std::shared_ptr<StoreVolume> volume(new (std::nothrow) StoreVolume);
  if (volume == nullptr) {
    error = ERROR_NOT_ENOUGH_MEMORY;
    return nullptr;
  }
  volume->path_ = request.path;
  error = volume->OpenFile(request);
  if (error == ERROR_SUCCESS)
    error = volume->Prepare(request);
  if (error != ERROR_SUCCESS)
    return nullptr;
  if (Device* device = Device::Current(); device != nullptr && !request.isObjectStore)
    volume->mark_ = DeviceMark(*device, MarkKind::Volume, volume->fileNumber_);
  volume->catalogue_ = std::make_unique<StoreCatalogue>(*volume);
  return volume;
}

DWORD StoreVolume::OpenFile(const Request& request) {
  const bool mayCreate = request.mode != VolumeMode::OpenExisting;
  struct stat status {};
  const bool exists = stat(path_.c_str(), &status) == 0;
  if (!exists && (errno != ENOENT || !mayCreate))
    return errno == ENOENT ? ERROR_FILE_NOT_FOUND : ERROR_ACCESS_DENIED;
  if (exists && request.mode == VolumeMode::CreateNew)
    return ERROR_FILE_EXISTS;
  if (exists && !S_ISREG(status.st_mode)) {
    ReportFile("is not a file");
    return ERROR_ACCESS_DENIED;
  }
  if (!exists) {
    const int file = open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (file < 0) {
      const int cause = errno;
      ReportFile("cannot be created");
      return cause == ENOENT   ? ERROR_PATH_NOT_FOUND
             : cause == ENOSPC ? ERROR_DISK_FULL
                               : ERROR_ACCESS_DENIED;
    }
    close(file);
  }
  if (sqlite3_open_v2(path_.c_str(), &connection_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
                      nullptr) != SQLITE_OK) {
    ReportFile("cannot be opened");
    return LastFailure();
  }
  if (sqlite3_db_readonly(connection_, "main") == 1 || stat(path_.c_str(), &status) != 0) {
    ReportFile("cannot be written");
    return ERROR_ACCESS_DENIED;
  }
  fileDevice_ = status.st_dev;
  fileNumber_ = status.st_ino;
  sqlite3_extended_result_codes(connection_, 1);
  sqlite3_busy_timeout(connection_, kBusyMilliseconds);
  return ERROR_SUCCESS;
}

DWORD StoreVolume::Prepare(const Request& request) {
  bool ok = true;
  const int64_t application = PragmaNumber("PRAGMA application_id", ok);
  const int64_t version = PragmaNumber("PRAGMA user_version", ok);
  const int64_t tables = PragmaNumber("SELECT count(*) FROM sqlite_schema", ok);
  if (!ok) {
    const DWORD error = LastFailure();
    ReportFile(error == ERROR_SHARING_VIOLATION ? "is in use" : "is damaged or no database volume");
    return error;
  }
  const bool isEmpty = application == 0 && version == 0 && tables == 0;
  if (isEmpty && request.mode != VolumeMode::OpenExisting) {
    if (const DWORD error = MakeSchema(request); error != ERROR_SUCCESS) {
      ReportFile("cannot be set up");
      return error;
    }
  } else if (application != kApplicationId) {
    ReportFile("is no database volume");
    return ERROR_ACCESS_DENIED;
  } else if (version < kFirstFormatVersion || version > kFormatVersion) {
    ReportFile("is of a newer format");
    return ERROR_ACCESS_DENIED;
  }
  for (const char* setting : {"PRAGMA cache_size=-65536", "PRAGMA temp_store=MEMORY",
                              "PRAGMA cell_size_check=ON", "PRAGMA trusted_schema=OFF"}) {
    if (const DWORD error = Execute(setting); error != ERROR_SUCCESS)
      return error;
  }
  if (version == kFirstFormatVersion) {
    if (const DWORD error = Upgrade(); error != ERROR_SUCCESS) {
      ReportFile("cannot be brought to the present format");
      return error;
    }
  }
  sqlite3_wal_hook(
      connection_,
      [](void* self, sqlite3*, const char*, int frames) {
        static_cast<StoreVolume*>(self)->framesAfterCommit_ = frames;
        return SQLITE_OK;
      },
      this);
  const DWORD error = ReadIdentity(request.isObjectStore);
  if (error != ERROR_SUCCESS) {
    ReportFile("is damaged or no database volume");
  } else if (!MapWalHeader()) {
    isKnown_ = false;
  }
  return error;
}

DWORD StoreVolume::ReadIdentity(bool isObjectStore) {
  StoreStatement statement;
  if (statement.Prepare(connection_, "SELECT guid, last_oid FROM volume WHERE id = 1") != SQLITE_OK)
    return LastFailure();
  StoreRun run(statement);
  if (run.Step() != SQLITE_ROW || run.BytesAt(0).size() != sizeof fileGuid_)
    return ERROR_ACCESS_DENIED;
  std::memcpy(&fileGuid_, run.BytesAt(0).data(), sizeof fileGuid_);
  lastOid_ = static_cast<CEOID>(run.NumberAt(1));
  // The two that mean something else, should chance or a stranger have made them.
  if (CHECK_SYSTEMGUID(&fileGuid_) || CHECK_INVALIDGUID(&fileGuid_))
    fileGuid_.Data1 = 1;
  guid_ = isObjectStore ? CEGUID{} : fileGuid_;
  return ERROR_SUCCESS;
}

bool StoreVolume::IsFile(const struct stat& file) const {
  return file.st_dev == fileDevice_ && file.st_ino == fileNumber_;
}

void StoreVolume::MarkOpen(OpenMark& mark, CEOID database) const {
  if (Device* device = Device::Current(); device != nullptr)
    mark.Set(*device, MarkOf(fileNumber_, database));
}

bool StoreVolume::IsOpenElsewhere(CEOID database) const {
  Device* device = Device::Current();
  return device != nullptr && OpenMark::IsSetByOthers(*device, MarkOf(fileNumber_, database));
}

void StoreVolume::ReportFile(const char* what) const {
  ReportOnce("'" + path_ + "' " + what);
}

DWORD StoreVolume::Execute(const char* text) {
  return sqlite3_exec(connection_, text, nullptr, nullptr, nullptr) == SQLITE_OK
             ? DWORD{ERROR_SUCCESS}
             : LastFailure();
}

int64_t StoreVolume::PragmaNumber(const char* text, bool& ok) {
  StoreStatement statement;
  if (!ok || statement.Prepare(connection_, text) != SQLITE_OK) {
    ok = false;
    return 0;
  }
  StoreRun run(statement);
  ok = run.Step() == SQLITE_ROW;
  return ok ? run.NumberAt(0) : 0;
}

DWORD StoreVolume::LastFailure() const {
  const int code = sqlite3_extended_errcode(connection_);
  if ((code & 0xFF) == SQLITE_CORRUPT)
    ReportFile("is damaged");
  // What was believed to succeed and did not is an error all the same.
  const DWORD error = ErrorOfSqlite(connection_, code);
  return error != ERROR_SUCCESS ? error : DWORD{ERROR_GEN_FAILURE};
}

CEOID StoreVolume::ReserveOids(CEOID count) {
  if (reserve_.Prepare(connection_,
                       "UPDATE volume SET next_oid = next_oid + ?1 WHERE id = 1 AND next_oid + ?1 "
                       "- 1 <= last_oid "
                       "RETURNING next_oid - ?1") != SQLITE_OK)
    return 0;
  StoreRun run(reserve_);
  if (run.Number(count).Step() != SQLITE_ROW)
    return 0;
  const auto first = static_cast<CEOID>(run.NumberAt(0));
  return run.Step() == SQLITE_DONE ? first : 0;
}

}  // namespace wkt::host
