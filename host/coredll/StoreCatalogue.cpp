#include "host/coredll/StoreCatalogue.h"

#include <algorithm>
#include <cstring>

#include "host/coredll/Device.h"
#include "host/coredll/StoreVolume.h"
#include "platform/Errors.h"

namespace wkt::host {

namespace {

std::string_view SortBytes(const CatalogueRow& row) {
  return {reinterpret_cast<const char*>(row.sorts.data()),
          row.sorts.size() * sizeof(SORTORDERSPECEX)};
}

bool HaveSameOrders(const CatalogueRow& left, const CatalogueRow& right) {
  bool same = left.sorts.size() == right.sorts.size();
  for (size_t index = 0; same && index < left.sorts.size(); ++index)
    same = IsSameSortOrder(left.sorts[index], right.sorts[index]);
  return same;
}

// False when the stored orders are not what this system writes.
bool TakeSorts(std::string_view bytes, std::vector<SORTORDERSPECEX>& sorts) {
  if (bytes.size() % sizeof(SORTORDERSPECEX) != 0 ||
      bytes.size() > CEDB_MAXSORTORDER * sizeof(SORTORDERSPECEX))
    return false;
  sorts.resize(bytes.size() / sizeof(SORTORDERSPECEX));
  if (!bytes.empty())
    std::memcpy(sorts.data(), bytes.data(), bytes.size());
  for (const SORTORDERSPECEX& order : sorts) {
    if (CheckSortOrder(order) != ERROR_SUCCESS)
      return false;
  }
  return true;
}

}  // namespace

DWORD StoreCatalogue::Load() {
  if (generation_ == volume_.Generation()) [[likely]]
    return ERROR_SUCCESS;
  const DWORD error = ReadRows();
  if (error == ERROR_SUCCESS)
    generation_ = volume_.Generation();
  return error;
}

DWORD StoreCatalogue::ReadRows() {
  if (read_.Prepare(volume_.Connection(),
                    "SELECT oid, name, dbtype, flags, sorts, nrec, nbytes, mtime, next_oid, "
                    "end_oid, moved FROM catalogue "
                    "ORDER BY oid") != SQLITE_OK)
    return volume_.LastFailure();
  std::vector<std::pair<CEOID, CatalogueRow>> rows;
  StoreRun run(read_);
  int code = SQLITE_ROW;
  while ((code = run.Step()) == SQLITE_ROW) {
    CatalogueRow row;
    row.name = run.BytesAt(1);
    row.type = static_cast<DWORD>(run.NumberAt(2));
    row.flags = static_cast<DWORD>(run.NumberAt(3));
    if (!TakeSorts(run.BytesAt(4), row.sorts))
      return ERROR_READ_FAULT;
    row.recordCount = static_cast<uint32_t>(run.NumberAt(5));
    row.byteCount = static_cast<uint64_t>(run.NumberAt(6));
    row.modified = static_cast<uint64_t>(run.NumberAt(7));
    row.nextOid = static_cast<CEOID>(run.NumberAt(8));
    row.endOid = static_cast<CEOID>(run.NumberAt(9));
    if (!row.countChanges.TakeBytes(run.BytesAt(10), std::max<size_t>(row.sorts.size(), 1)))
      return ERROR_READ_FAULT;
    rows.emplace_back(static_cast<CEOID>(run.NumberAt(0)), std::move(row));
  }
  if (code != SQLITE_DONE)
    return volume_.LastFailure();
  TakeRows(std::move(rows));
  return ERROR_SUCCESS;
}

void StoreCatalogue::TakeRows(std::vector<std::pair<CEOID, CatalogueRow>>&& rows) {
  std::map<CEOID, std::shared_ptr<StoreDatabase>> found;
  for (auto& [oid, row] : rows) {
    auto known = databases_.extract(oid);
    auto database =
        known.empty() ? std::make_shared<StoreDatabase>(volume_, oid) : std::move(known.mapped());
    database->TakeRow(std::move(row));
    found.emplace_hint(found.end(), oid, std::move(database));
  }
  for (const auto& [oid, database] : databases_)
    database->MarkDeleted();
  databases_ = std::move(found);
}

std::shared_ptr<StoreDatabase> StoreCatalogue::Find(CEOID oid) const {
  const auto found = databases_.find(oid);
  return found != databases_.end() ? found->second : nullptr;
}

std::shared_ptr<StoreDatabase> StoreCatalogue::Find(std::string_view name) const {
  for (const auto& [oid, database] : databases_) {
    if (database->Row().name == name)
      return database;
  }
  return nullptr;
}

DWORD StoreCatalogue::FindRecord(CEOID oid, CEOID& database) const {
  std::string image;
  for (const auto& [candidate, holder] : databases_) {
    const DWORD error = holder->ReadImage(oid, image);
    if (error == ERROR_SUCCESS)
      database = candidate;
    if (error != ERROR_FILE_NOT_FOUND)
      return error;
  }
  return ERROR_FILE_NOT_FOUND;
}

template <typename Work>
DWORD StoreCatalogue::InTransaction(const Work& work) {
  DWORD error = volume_.Begin();
  if (error != ERROR_SUCCESS)
    return error;
  error = Load();
  if (error == ERROR_SUCCESS)
    error = work();
  if (error != ERROR_SUCCESS) {
    volume_.Rollback();
    return error;
  }
  error = volume_.Commit();
  // Rows are few and such changes rare: read them anew rather than keep the memory in step.
  volume_.Forget();
  return error;
}

DWORD StoreCatalogue::Create(CatalogueRow row, CEOID& oid) {
  return InTransaction([&] { return CreateInTransaction(std::move(row), oid); });
}

DWORD StoreCatalogue::CreateInTransaction(CatalogueRow row, CEOID& oid) {
  if (Find(row.name) != nullptr)
    return ERROR_DUP_NAME;
  oid = volume_.ReserveOids(1);
  if (oid == 0)
    return ERROR_DISK_FULL;
  StoreStatement insert;
  if (insert.Prepare(volume_.Connection(),
                     "INSERT INTO catalogue(oid, name, dbtype, flags, sorts, mtime) VALUES(?1, ?2, "
                     "?3, ?4, ?5, ?6)") != SQLITE_OK)
    return volume_.LastFailure();
  StoreRun run(insert);
  run.Number(oid).Text(row.name).Number(row.type).Number(row.flags).Bytes(SortBytes(row));
  run.Number(static_cast<int64_t>(row.modified != 0 ? row.modified : NowTicks()));
  if (const DWORD error = run.Finish(); error != ERROR_SUCCESS)
    return error;
  StoreDatabase database(volume_, oid);
  database.TakeRow(std::move(row));
  return database.CreateTables();
}

DWORD StoreCatalogue::Change(CEOID oid, const RowChange& change) {
  return InTransaction([&] { return ChangeInTransaction(oid, change); });
}

DWORD StoreCatalogue::ChangeInTransaction(CEOID oid, const RowChange& change) {
  const auto database = Find(oid);
  if (database == nullptr)
    return ERROR_FILE_NOT_FOUND;
  CatalogueRow row = database->Row();
  if (const DWORD error = change(row); error != ERROR_SUCCESS)
    return error;
  const auto sameName = Find(row.name);
  if (sameName != nullptr && sameName != database)
    return ERROR_DUP_NAME;
  const bool newOrders = !HaveSameOrders(row, database->Row());
  if (newOrders && database->IsOpen())
    return ERROR_SHARING_VIOLATION;
  StoreStatement update;
  if (update.Prepare(volume_.Connection(),
                     "UPDATE catalogue SET name = ?2, dbtype = ?3, flags = ?4, sorts = ?5, mtime = "
                     "?6 WHERE oid = ?1") != SQLITE_OK)
    return volume_.LastFailure();
  StoreRun run(update);
  run.Number(oid).Text(row.name).Number(row.type).Number(row.flags).Bytes(SortBytes(row));
  run.Number(static_cast<int64_t>(row.modified));
  if (const DWORD error = run.Finish(); error != ERROR_SUCCESS)
    return error;
  if (!newOrders)
    return ERROR_SUCCESS;
  database->TakeRow(std::move(row));
  return database->FillOrders();
}

DWORD StoreCatalogue::Delete(CEOID oid) {
  return InTransaction([&] { return DeleteInTransaction(oid); });
}

DWORD StoreCatalogue::DeleteInTransaction(CEOID oid) {
  const auto database = Find(oid);
  if (database == nullptr)
    return ERROR_FILE_NOT_FOUND;
  if (database->IsOpen())
    return ERROR_SHARING_VIOLATION;
  // Statements on the tables would keep them locked.
  if (const DWORD error = database->DropTables(); error != ERROR_SUCCESS)
    return error;
  StoreStatement remove;
  if (remove.Prepare(volume_.Connection(), "DELETE FROM catalogue WHERE oid = ?1") != SQLITE_OK)
    return volume_.LastFailure();
  return StoreRun(remove).Number(oid).Finish();
}

}  // namespace wkt::host
