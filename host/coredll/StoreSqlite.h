// SQLite as the object store uses it: cached statements and error codes of the platform.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string_view>
#include <utility>

#include "platform/Database.h"

namespace wkt::host {

// The platform's code for a failed SQLite call; the connection may be nullptr.
DWORD ErrorOfSqlite(sqlite3* connection, int code);

// A prepared statement that is kept for the life of its owner and prepared at its first use.
class StoreStatement {
 public:
  StoreStatement() = default;
  ~StoreStatement() { sqlite3_finalize(statement_); }
  StoreStatement(const StoreStatement&) = delete;
  StoreStatement& operator=(const StoreStatement&) = delete;

  // `text` is looked at by the first call only. SQLite's code.
  int Prepare(sqlite3* connection, std::string_view text);
  [[nodiscard]] bool IsPrepared() const { return statement_ != nullptr; }
  [[nodiscard]] sqlite3_stmt* Get() const { return statement_; }

 private:
  sqlite3_stmt* statement_ = nullptr;
};

// One run of a statement: bound, stepped, and reset at the end so that it holds no lock.
class StoreRun {
 public:
  explicit StoreRun(const StoreStatement& statement) : statement_(statement.Get()) {}
  ~StoreRun() { sqlite3_reset(statement_); }
  StoreRun(const StoreRun&) = delete;
  StoreRun& operator=(const StoreRun&) = delete;

  // Parameters in their order. Bytes and texts must outlive the run.
  StoreRun& Number(int64_t value) {
    sqlite3_bind_int64(statement_, ++bound_, value);
    return *this;
  }
  StoreRun& Bytes(std::string_view value) {
    // A null pointer would bind NULL instead of an empty block.
    sqlite3_bind_blob(statement_, ++bound_, value.empty() ? "" : value.data(),
                      static_cast<int>(value.size()), SQLITE_STATIC);
    return *this;
  }
  StoreRun& Text(std::string_view value) {
    sqlite3_bind_text(statement_, ++bound_, value.data(), static_cast<int>(value.size()),
                      SQLITE_STATIC);
    return *this;
  }

  int Step() { return sqlite3_step(statement_); }
  // For statements without rows: ERROR_SUCCESS or the platform's code.
  DWORD Finish();

  [[nodiscard]] int64_t NumberAt(int column) const {
    return sqlite3_column_int64(statement_, column);
  }
  [[nodiscard]] std::string_view BytesAt(int column) const {
    const void* bytes = sqlite3_column_blob(statement_, column);
    return {static_cast<const char*>(bytes),
            static_cast<size_t>(sqlite3_column_bytes(statement_, column))};
  }

 private:
  sqlite3_stmt* statement_;
  int bound_ = 0;
};

// Images of a database's records, copied from where SQLite keeps them: no statement is run for
// each, and neighbours are found without a search. Holds a read transaction from the first one on.
class StoreImages {
 public:
  // `table` must outlive it.
  StoreImages(sqlite3* connection, const char* table) : connection_(connection), table_(table) {}
  ~StoreImages() { sqlite3_blob_close(image_); }
  StoreImages(const StoreImages&) = delete;
  StoreImages& operator=(const StoreImages&) = delete;

  // SQLite's codes; SQLITE_ERROR when there is no such record: it is then to be given up.
  int MoveTo(CEOID record);
  int GiveUp() {
    sqlite3_blob_close(std::exchange(image_, nullptr));
    return SQLITE_OK;
  }
  int Read(void* bytes, size_t byteCount, size_t offset) const {
    return sqlite3_blob_read(image_, bytes, static_cast<int>(byteCount), static_cast<int>(offset));
  }
  [[nodiscard]] size_t ByteCount() const { return static_cast<size_t>(sqlite3_blob_bytes(image_)); }

 private:
  sqlite3* connection_;
  const char* table_;
  sqlite3_blob* image_ = nullptr;
};

}  // namespace wkt::host
