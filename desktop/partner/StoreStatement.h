// A statement of the store in use: for the store's own sources.
#pragma once

#include <sqlite3.h>

#include <cstring>

#include "desktop/partner/Store.h"

namespace wkt {

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

}  // namespace wkt
