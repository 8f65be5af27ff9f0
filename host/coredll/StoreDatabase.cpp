#include "host/coredll/StoreDatabase.h"

#include <cstring>

#include "host/coredll/StoreVolume.h"
#include "host/coredll/Text.h"
#include "platform/Errors.h"

namespace wkt::host {

namespace {

// In the order of StoreQuery; %u is the database.
constexpr const char* kQueries[] = {
    "SELECT img FROM record_%u WHERE oid = ?1",
    "SELECT key FROM sort_%u WHERE ord = ?1 AND key >= ?2 ORDER BY key LIMIT ?3",
    "SELECT key FROM sort_%u WHERE ord = ?1 AND key > ?2 ORDER BY key LIMIT 1",
    "SELECT key FROM sort_%u WHERE ord = ?1 AND key < ?2 ORDER BY key DESC LIMIT 1",
    "INSERT INTO record_%u(oid, img) VALUES(?1, ?2)",
    "UPDATE record_%u SET img = ?2 WHERE oid = ?1",
    "DELETE FROM record_%u WHERE oid = ?1",
    "INSERT INTO sort_%u(ord, key, oid) VALUES(?1, ?2, ?3)",
    "DELETE FROM sort_%u WHERE ord = ?1 AND key = ?2",
    "SELECT first, keys FROM block_%u WHERE level = ?2 AND ord = ?1 AND first >= ?3 ORDER BY 1",
    "UPDATE block_%u SET keys = keys + ?4 WHERE level = ?2 AND ord = ?1 AND first = ?3",
    "INSERT INTO block_%u(ord, level, first, keys) VALUES(?1, ?2, ?3, ?4)",
    "DELETE FROM block_%u WHERE level = ?2 AND ord = ?1 AND first = ?3",
    "UPDATE catalogue SET nrec=?1,nbytes=?2,mtime=?3,next_oid=?4,end_oid=?5,moved=?6 WHERE oid=%u",
};
static_assert(std::size(kQueries) == static_cast<size_t>(StoreQuery::Count));

constexpr const char* kCreateTables =
    "CREATE TABLE record_%u(oid INTEGER PRIMARY KEY, img BLOB NOT NULL) STRICT;"
    "CREATE TABLE sort_%u(ord INTEGER NOT NULL, key BLOB NOT NULL, oid INTEGER NOT NULL,"
    " PRIMARY KEY(ord, key)) STRICT, WITHOUT ROWID;"
    "CREATE TABLE block_%u(ord INTEGER NOT NULL, level INTEGER NOT NULL, first BLOB NOT NULL,"
    " keys INTEGER NOT NULL, PRIMARY KEY(level, ord, first)) STRICT, WITHOUT ROWID;";
constexpr const char* kDropTables =
    "DROP TABLE record_%u; DROP TABLE sort_%u; DROP TABLE block_%u;";

// `format` holds at most three %u.
std::string WithOid(const char* format, CEOID oid) {
  char text[512];
  sqlite3_snprintf(sizeof text, text, format, oid, oid, oid);
  return text;
}

// To what is above all keys that begin with it: the last byte that can be raised is. False when
// none can.
bool RaiseLastByte(std::string& key) {
  while (!key.empty() && key.back() == static_cast<char>(0xFF))
    key.pop_back();
  if (key.empty())
    return false;
  key.back() = static_cast<char>(key.back() + 1);
  return true;
}

}  // namespace

StoreDatabase::StoreDatabase(StoreVolume& volume, CEOID oid)
    : volume_(volume), oid_(oid), recordTable_(WithOid("record_%u", oid)) {}

StoreDatabase::~StoreDatabase() = default;

void StoreDatabase::TakeRow(CatalogueRow row) {
  bool sameOrders = !orders_.empty() && row.sorts.size() == row_.sorts.size();
  for (size_t index = 0; sameOrders && index < row.sorts.size(); ++index)
    sameOrders = IsSameSortOrder(row.sorts[index], row_.sorts[index]);
  row_ = std::move(row);
  name_ = FromUtf8(row_.name).value_or(u"");
  if (sameOrders)
    return;
  orders_ = row_.sorts.empty() ? std::vector{OrderByOid()} : row_.sorts;
  ranks_.clear();
  for (uint32_t order = 0; order < orders_.size(); ++order)
    ranks_.push_back(std::make_unique<StoreRanks>(*this, order));
}

void StoreDatabase::AddCursor(StoreCursor& cursor) {
  if (cursors_.empty())
    volume_.MarkOpen(openMark_, oid_);
  cursors_.push_back(&cursor);
}

void StoreDatabase::RemoveCursor(StoreCursor& cursor) {
  std::erase(cursors_, &cursor);
  if (cursors_.empty())
    openMark_.Clear();
}

bool StoreDatabase::IsOpen() const {
  return !cursors_.empty() || volume_.IsOpenElsewhere(oid_);
}

StoreStatement& StoreDatabase::Statement(StoreQuery query) {
  StoreStatement& statement = statements_[static_cast<size_t>(query)];
  if (!statement.IsPrepared()) [[unlikely]]
    statement.Prepare(volume_.Connection(), WithOid(kQueries[static_cast<size_t>(query)], oid_));
  return statement;
}

DWORD StoreDatabase::LastFailure() const {
  return volume_.LastFailure();
}

DWORD StoreDatabase::ReadImage(CEOID oid, std::string& bytes) {
  return UseImage(oid, [&bytes](std::string_view image) {
    bytes.assign(image);
    return DWORD{ERROR_SUCCESS};
  });
}

DWORD StoreDatabase::NextKey(size_t order, std::string_view key, std::string& next) {
  return KeyBeside(StoreQuery::NextKey, order, key, next);
}

DWORD StoreDatabase::PriorKey(size_t order, std::string_view key, std::string& prior) {
  return KeyBeside(StoreQuery::PriorKey, order, key, prior);
}

DWORD StoreDatabase::KeyBeside(StoreQuery query, size_t order, std::string_view key,
                               std::string& found) {
  StoreStatement& statement = Statement(query);
  if (!statement.IsPrepared())
    return volume_.LastFailure();
  StoreRun run(statement);
  const int code = run.Number(static_cast<int64_t>(order)).Bytes(key).Step();
  if (code == SQLITE_DONE)
    return ERROR_NO_MORE_ITEMS;
  if (code != SQLITE_ROW)
    return volume_.LastFailure();
  found.assign(run.BytesAt(0));
  return ERROR_SUCCESS;
}

DWORD StoreDatabase::FindKey(size_t order, DWORD seekType, std::string_view prefix,
                             size_t valueCount, std::string& found) {
  if (seekType == CEDB_SEEK_VALUESMALLER)
    return FindNeighbour(order, prefix, true, valueCount, found);
  if (seekType == CEDB_SEEK_VALUEGREATER)
    return FindNeighbour(order, prefix, false, valueCount, found);
  const DWORD error = NextKey(order, prefix, found);
  return error == ERROR_SUCCESS && !found.starts_with(prefix) ? DWORD{ERROR_NO_MORE_ITEMS} : error;
}

// The nearest key below `from`, or above all that begin with it, of a record that has the order's
// first properties.
DWORD StoreDatabase::FindNeighbour(size_t order, std::string_view from, bool isBackward,
                                   size_t valueCount, std::string& found) {
  for (std::string edge(from);;) {
    // Keys are longer than what they begin with, so none is equal to the edge itself.
    if (!isBackward && !RaiseLastByte(edge))
      return ERROR_NO_MORE_ITEMS;
    DWORD error = isBackward ? PriorKey(order, edge, found) : NextKey(order, edge, found);
    if (error == ERROR_SUCCESS)
      error = LackingPrefix(order, found, valueCount, edge);
    if (error != ERROR_SUCCESS || edge.empty())
      return error;
  }
}

// The beginning that a key shares with all that lack the same of the order's first properties;
// empty when its record has them all.
DWORD StoreDatabase::LackingPrefix(size_t order, std::string_view key, size_t valueCount,
                                   std::string& prefix) {
  prefix.clear();
  std::string bytes;
  if (const DWORD error = ReadImage(OidOfKey(key), bytes); error != ERROR_SUCCESS)
    return error;
  const auto image = RecordImage::Parse(bytes);
  if (!image)
    return ERROR_READ_FAULT;
  SORTORDERSPECEX part = orders_[order];
  for (size_t index = 0; index < valueCount; ++index) {
    if (image->Find(part.rgPropID[index]) < image->Count())
      continue;
    bool isComplete = false;
    part.wNumProps = static_cast<WORD>(index + 1);
    return MakeSortKey(part, *image, prefix, isComplete);
  }
  return ERROR_SUCCESS;
}

DWORD StoreDatabase::Execute(const char* format) {
  return sqlite3_exec(volume_.Connection(), WithOid(format, oid_).c_str(), nullptr, nullptr,
                      nullptr) == SQLITE_OK
             ? DWORD{ERROR_SUCCESS}
             : volume_.LastFailure();
}

DWORD StoreDatabase::CreateTables() {
  if (const DWORD error = Execute(kCreateTables); error != ERROR_SUCCESS)
    return error;
  for (const auto& ranks : ranks_) {
    if (const DWORD error = ranks->Create(); error != ERROR_SUCCESS)
      return error;
  }
  return ERROR_SUCCESS;
}

DWORD StoreDatabase::StoreCounts() {
  for (const auto& ranks : ranks_) {
    if (const DWORD error = ranks->StoreCounts(); error != ERROR_SUCCESS)
      return error;
  }
  CountChanges().Clear();
  return ERROR_SUCCESS;
}

DWORD StoreDatabase::FillOrders() {
  // Of orders that are no more.
  CountChanges().Clear();
  if (const DWORD error = Execute("DELETE FROM sort_%u; DELETE FROM block_%u;");
      error != ERROR_SUCCESS)
    return error;
  for (const auto& ranks : ranks_) {
    if (const DWORD error = ranks->Create(); error != ERROR_SUCCESS)
      return error;
  }
  StoreStatement records;
  if (records.Prepare(volume_.Connection(),
                      WithOid("SELECT oid, img FROM record_%u ORDER BY oid", oid_)) != SQLITE_OK)
    return volume_.LastFailure();
  StoreRun run(records);
  int code = SQLITE_ROW;
  while ((code = run.Step()) == SQLITE_ROW) {
    const auto oid = static_cast<CEOID>(run.NumberAt(0));
    const auto image = RecordImage::Parse(run.BytesAt(1));
    keys_.assign(orders_.size(), {});
    DWORD error = image ? MakeKeys(*image, oid, &KeyChange::after) : DWORD{ERROR_READ_FAULT};
    if (error == ERROR_SUCCESS)
      error = ChangeKeys(oid);
    if (error != ERROR_SUCCESS)
      return error;
  }
  return code == SQLITE_DONE ? StoreRow(row_) : volume_.LastFailure();
}

DWORD StoreDatabase::DropTables() {
  return Execute(kDropTables);
}

}  // namespace wkt::host
