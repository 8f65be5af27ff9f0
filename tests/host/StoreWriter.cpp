#include "tests/host/StoreWriter.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "tests/support/DatabaseHelp.h"

namespace wkt::test {

StoreWriter::Kind StoreWriter::KindOf(uint32_t step) {
  return step % 4 == 2                    ? Kind::Update
         : step % 4 == 3 && step % 8 == 3 ? Kind::Delete
                                          : Kind::Insert;
}

std::string StoreWriter::TextOf(int writer, uint32_t step) {
  // Of different lengths, so that records move; the number at both ends shows a whole one.
  const std::string number = std::to_string(writer) + "-" + std::to_string(step);
  return number + std::string(step * 37 % 1500, 'x') + number;
}

bool StoreWriter::Step() {
  const uint32_t step = steps_;
  const std::string text = TextOf(writer_, step);
  const std::u16string wide(text.begin(), text.end());
  const Kind kind = KindOf(step);
  bool done = false;
  if (kind == Kind::Delete) {
    done = CeDeleteRecord(database_, records_.front()) != FALSE;
  } else {
    const CEOID oid = kind == Kind::Update ? records_.front() : 0;
    const CEOID written =
        Write(database_, oid, {LongValue(1, writer_), TextValue(2, wide.c_str())});
    done = written != 0;
    if (done && kind == Kind::Insert)
      records_.push_back(written);
  }
  if (!done)
    return false;
  if (kind == Kind::Delete)
    records_.pop_front();
  ++steps_;
  return true;
}

std::set<std::string> StoreWriter::Expected(int writer, uint32_t steps) {
  std::deque<std::string> texts;
  for (uint32_t step = 0; step < steps; ++step) {
    if (KindOf(step) == Kind::Insert) {
      texts.push_back(TextOf(writer, step));
    } else if (KindOf(step) == Kind::Update) {
      texts.front() = TextOf(writer, step);
    } else {
      texts.pop_front();
    }
  }
  return {texts.begin(), texts.end()};
}

std::set<std::string> StoreWriter::Found(HANDLE database, int writer) {
  std::set<std::string> texts;
  const std::string mine = "0001:I4 " + std::to_string(writer) + "; 0002:LPWSTR ";
  CeSeekDatabase(database, CEDB_SEEK_BEGINNING, 0, nullptr);
  while (const auto read = ReadNext(database)) {
    if (read->record.starts_with(mine))
      texts.insert(read->record.substr(mine.size()));
  }
  return texts;
}

CEOID CreateWriterDatabase(const char16_t* name) {
  return CreateDatabase(name, 1, {SortOrder({{PropertyId(2, CEVT_LPWSTR), 0}})});
}

std::string IntegrityOf(const std::string& file) {
  sqlite3* connection = nullptr;
  sqlite3_stmt* check = nullptr;
  std::string answer = "cannot be opened";
  if (sqlite3_open_v2(file.c_str(), &connection, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK &&
      sqlite3_prepare_v2(connection, "PRAGMA integrity_check", -1, &check, nullptr) == SQLITE_OK &&
      sqlite3_step(check) == SQLITE_ROW)
    answer = reinterpret_cast<const char*>(sqlite3_column_text(check, 0));
  sqlite3_finalize(check);
  sqlite3_close(connection);
  return answer;
}

}  // namespace wkt::test
