#include "host/coredll/StoreSqlite.h"

#include <cerrno>

#include "platform/Errors.h"

namespace wkt::host {

DWORD ErrorOfSqlite(sqlite3* connection, int code) {
  switch (code & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
      return ERROR_SUCCESS;
    case SQLITE_FULL:
      return ERROR_DISK_FULL;
    case SQLITE_NOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return ERROR_SHARING_VIOLATION;
    case SQLITE_TOOBIG:
      return ERROR_INVALID_PARAMETER;
    case SQLITE_IOERR:
      // SQLite itself calls only ENOSPC a full disk; a size limit and a quota refuse writes as
      // well, and by the time of the answer errno need no longer say which. Only EIO is surely a
      // broken medium.
      if (code == SQLITE_IOERR_WRITE || code == SQLITE_IOERR_SHMSIZE) {
        const bool isBroken = connection != nullptr && sqlite3_system_errno(connection) == EIO;
        return isBroken ? ERROR_WRITE_FAULT : ERROR_DISK_FULL;
      }
      return code == SQLITE_IOERR_READ ? ERROR_READ_FAULT : ERROR_WRITE_FAULT;
    default:  // not a store, damaged, not to be opened, read-only
      return ERROR_ACCESS_DENIED;
  }
}

int StoreStatement::Prepare(sqlite3* connection, std::string_view text) {
  if (statement_ != nullptr)
    return SQLITE_OK;
  return sqlite3_prepare_v3(connection, text.data(), static_cast<int>(text.size()),
                            SQLITE_PREPARE_PERSISTENT, &statement_, nullptr);
}

DWORD StoreRun::Finish() {
  const int code = Step();
  if (code == SQLITE_DONE || code == SQLITE_ROW)
    return ERROR_SUCCESS;
  return ErrorOfSqlite(sqlite3_db_handle(statement_),
                       sqlite3_extended_errcode(sqlite3_db_handle(statement_)));
}

int StoreImages::MoveTo(CEOID record) {
  return image_ != nullptr
             ? sqlite3_blob_reopen(image_, record)
             : sqlite3_blob_open(connection_, "main", table_, "img", record, 0, &image_);
}

}  // namespace wkt::host
