// The store's records.
#include <fmt/format.h>
#include <sys/random.h>

#include "desktop/partner/Failure.h"
#include "desktop/partner/StoreStatement.h"

namespace wkt {

std::vector<StoredRecord> Store::List(int folder) {
  Statement read(*this,
                 "SELECT id, recordId, change, deleted, packet FROM records WHERE folder = ? AND "
                 "deleted = 0 ORDER BY id");
  read.Bind(folder);
  std::vector<StoredRecord> records;
  while (read.Step()) {
    records.push_back(read.Record());
  }
  return records;
}

int64_t Store::Count(int folder) {
  Statement read(*this, "SELECT count(*) FROM records WHERE folder = ? AND deleted = 0");
  return read.Bind(folder).Step() ? read.Number(0) : 0;
}

std::optional<StoredRecord> Store::Find(int64_t id) {
  Statement read(*this, "SELECT id, recordId, change, deleted, packet FROM records WHERE id = ?");
  if (!read.Bind(id).Step()) {
    return std::nullopt;
  }
  return read.Record();
}

std::vector<StoredRecord> Store::FindByRecordId(int folder, std::u16string_view recordId) {
  Statement read(*this,
                 "SELECT id, recordId, change, deleted, packet FROM records WHERE folder = ? AND "
                 "recordId = ? ORDER BY id");
  read.Bind(folder).Bind(recordId);
  std::vector<StoredRecord> records;
  while (read.Step()) {
    records.push_back(read.Record());
  }
  return records;
}

int64_t Store::NextChange() {
  Statement next(*this, "UPDATE counter SET value = value + 1 RETURNING value");
  return next.Step() ? next.Number(0) : 0;
}

std::u16string Store::NewIdentifier(uint64_t now) {
  std::string word = Setting("storeWord");
  if (word.empty()) {
    uint32_t random = 0;
    if (getrandom(&random, sizeof random, 0) != sizeof random) {
      throw Failure("the system has no random numbers");
    }
    word = fmt::format("{:x}", random);
    SetSetting("storeWord", word);
  }
  const std::string id = fmt::format("PC-{:x}-{:x}-{:x}-{}", static_cast<uint32_t>(now >> 32),
                                     static_cast<uint32_t>(now), NextChange(), word);
  return std::u16string(id.begin(), id.end());
}

int64_t Store::Insert(int folder, std::u16string_view recordId, const Bytes& packet) {
  const int64_t change = NextChange();
  Statement write(*this,
                  "INSERT INTO records (folder, recordId, change, packet) VALUES (?, ?, ?, ?)");
  write.Bind(folder).Bind(recordId).Bind(change).Bind(packet).Run();
  return sqlite3_last_insert_rowid(database_);
}

void Store::Update(int64_t id, std::u16string_view recordId, const Bytes& packet) {
  const int64_t change = NextChange();
  Statement write(
      *this, "UPDATE records SET recordId = ?, change = ?, deleted = 0, packet = ? WHERE id = ?");
  write.Bind(recordId).Bind(change).Bind(packet).Bind(id).Run();
}

void Store::Delete(int64_t id) {
  const int64_t change = NextChange();
  {
    Statement write(*this, "UPDATE records SET deleted = 1, change = ? WHERE id = ?");
    write.Bind(change).Bind(id).Run();
  }
  PurgeIfUnused(id);
}

void Store::PurgeIfUnused(int64_t record) {
  Statement write(*this,
                  "DELETE FROM records WHERE id = ?1 AND deleted = 1 AND NOT EXISTS (SELECT 1 FROM "
                  "links WHERE record = ?1)");
  write.Bind(record).Run();
}

}  // namespace wkt
