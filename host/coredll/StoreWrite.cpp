// Writing and deleting records: one transaction per call.
#include <cstring>

#include "host/coredll/Device.h"
#include "host/coredll/StoreCatalogue.h"
#include "host/coredll/StoreCursor.h"
#include "host/coredll/StoreDatabase.h"
#include "host/coredll/StoreVolume.h"
#include "platform/Errors.h"

namespace wkt::host {

namespace {

// Identifiers a database sets aside at a time, so that most writes leave the volume's row alone.
constexpr CEOID kOidsSetAside = 64;

}  // namespace

DWORD StoreDatabase::Write(CEOID& oid, std::span<const CEPROPVAL> values) {
  DWORD error = volume_.Begin();
  if (error != ERROR_SUCCESS)
    return error;
  bool changed = false;
  const bool isNew = oid == 0;
  CEOID written = oid;
  error = WriteInTransaction(written, values, changed);
  if (error != ERROR_SUCCESS || !changed) {
    volume_.Rollback();
    return error;
  }
  error = volume_.Commit();
  if (error != ERROR_SUCCESS)
    return error;
  oid = written;
  for (StoreCursor* cursor : cursors_) {
    const KeyChange& change = keys_[cursor->Order()];
    if (isNew || change.before != change.after) {
      cursor->RecordMoved(oid, change.after);
    } else {
      cursor->RecordChanged(oid, newImage_);
    }
  }
  return ERROR_SUCCESS;
}

DWORD StoreDatabase::WriteInTransaction(CEOID& oid, std::span<const CEPROPVAL> values,
                                        bool& changed) {
  if (const DWORD error = volume_.Catalogue().Load(); error != ERROR_SUCCESS)
    return error;
  if (isDeleted_)
    return ERROR_KEY_DELETED;
  keys_.resize(orders_.size());
  for (KeyChange& change : keys_) {
    change.before.clear();
    change.after.clear();
  }
  const bool isNew = oid == 0;
  std::optional<RecordImage> old;
  if (!isNew) {
    if (const DWORD error = ReadOldImage(oid); error != ERROR_SUCCESS)
      return error == ERROR_FILE_NOT_FOUND ? DWORD{ERROR_INVALID_PARAMETER} : error;
    old = RecordImage::Parse(oldImage_);
    if (!old)
      return ERROR_READ_FAULT;
    if (const DWORD error = MakeKeys(*old, oid, &KeyChange::before); error != ERROR_SUCCESS)
      return error;
  }
  if (const DWORD error = ChangeImage(old ? &*old : nullptr, values, newImage_);
      error != ERROR_SUCCESS)
    return error;
  const auto image = RecordImage::Parse(newImage_);
  if (!image || (isNew && image->Count() == 0))
    return ERROR_INVALID_PARAMETER;
  // Writing what is there already is no change: nothing to keep, nothing to bring to the medium.
  if (!isNew && newImage_ == oldImage_)
    return ERROR_SUCCESS;

  CatalogueCounts counts = row_;
  if (isNew) {
    if (const DWORD error = TakeOid(counts, oid); error != ERROR_SUCCESS)
      return error;
    ++counts.recordCount;
  } else {
    counts.byteCount -= oldImage_.size();
  }
  counts.byteCount += newImage_.size();
  counts.modified = NowTicks();
  DWORD error = MakeKeys(*image, oid, &KeyChange::after);
  if (error == ERROR_SUCCESS)
    error = HoldCursors();
  if (error == ERROR_SUCCESS)
    error = StoreImageOf(isNew ? StoreQuery::InsertRecord : StoreQuery::UpdateRecord, oid);
  if (error == ERROR_SUCCESS)
    error = ChangeKeys(oid);
  if (error == ERROR_SUCCESS)
    error = StoreRow(counts);
  changed = true;
  return error;
}

// Most records that are written were just read: they are as the reader had them.
DWORD StoreDatabase::ReadOldImage(CEOID oid) {
  for (const StoreCursor* cursor : cursors_) {
    const std::string_view known = cursor->KnownImage(oid);
    if (known.empty())
      continue;
    oldImage_.assign(known);
    return ERROR_SUCCESS;
  }
  return ReadImage(oid, oldImage_);
}

DWORD StoreDatabase::Delete(CEOID oid) {
  DWORD error = volume_.Begin();
  if (error != ERROR_SUCCESS)
    return error;
  error = DeleteInTransaction(oid);
  if (error != ERROR_SUCCESS) {
    volume_.Rollback();
    return error;
  }
  error = volume_.Commit();
  if (error != ERROR_SUCCESS)
    return error;
  for (StoreCursor* cursor : cursors_)
    cursor->RecordDeleted(oid);
  return ERROR_SUCCESS;
}

DWORD StoreDatabase::DeleteInTransaction(CEOID oid) {
  if (const DWORD error = volume_.Catalogue().Load(); error != ERROR_SUCCESS)
    return error;
  if (isDeleted_)
    return ERROR_KEY_DELETED;
  if (const DWORD error = ReadOldImage(oid); error != ERROR_SUCCESS)
    return error == ERROR_FILE_NOT_FOUND ? DWORD{ERROR_INVALID_PARAMETER} : error;
  keys_.assign(orders_.size(), {});
  const auto old = RecordImage::Parse(oldImage_);
  DWORD error = old ? MakeKeys(*old, oid, &KeyChange::before) : DWORD{ERROR_READ_FAULT};
  if (error == ERROR_SUCCESS)
    error = HoldCursors();
  if (error == ERROR_SUCCESS) {
    StoreStatement& statement = Statement(StoreQuery::DeleteRecord);
    error =
        statement.IsPrepared() ? StoreRun(statement).Number(oid).Finish() : volume_.LastFailure();
  }
  if (error == ERROR_SUCCESS)
    error = ChangeKeys(oid);
  CatalogueCounts counts = row_;
  --counts.recordCount;
  counts.byteCount -= oldImage_.size();
  counts.modified = NowTicks();
  return error == ERROR_SUCCESS ? StoreRow(counts) : error;
}

// Which record comes next for a cursor is looked up late; a change of the order must not change it.
DWORD StoreDatabase::HoldCursors() {
  for (StoreCursor* cursor : cursors_) {
    const KeyChange& change = keys_[cursor->Order()];
    if (change.before == change.after)
      continue;
    if (const DWORD error = cursor->HoldPosition(change.after.empty()); error != ERROR_SUCCESS)
      return error;
  }
  return ERROR_SUCCESS;
}

DWORD StoreDatabase::TakeOid(CatalogueCounts& counts, CEOID& oid) {
  if (counts.nextOid == counts.endOid) {
    const CEOID first = volume_.ReserveOids(kOidsSetAside);
    if (first == 0)
      return ERROR_DISK_FULL;
    counts.nextOid = first;
    counts.endOid = first + kOidsSetAside;
  }
  oid = counts.nextOid++;
  return ERROR_SUCCESS;
}

DWORD StoreDatabase::MakeKeys(const RecordImage& image, CEOID oid, std::string KeyChange::*which) {
  for (size_t order = 0; order < orders_.size(); ++order) {
    std::string& key = keys_[order].*which;
    bool isComplete = false;
    DWORD error = MakeSortKey(orders_[order], image, key, isComplete);
    // Records that lack a property of the order have no value that could be there twice.
    const bool isUnique = (orders_[order].wKeyFlags & CEDB_SORT_UNIQUE) != 0 && isComplete;
    if (error == ERROR_SUCCESS && isUnique && which == &KeyChange::after)
      error = CheckUnique(order, key, oid);
    if (error != ERROR_SUCCESS)
      return error;
    AppendOid(key, oid);
  }
  return ERROR_SUCCESS;
}

DWORD StoreDatabase::CheckUnique(size_t order, const std::string& key, CEOID oid) {
  // At most one record has the value; when it is this one, no other has.
  std::string next;
  const DWORD error = NextKey(order, key, next);
  if (error == ERROR_NO_MORE_ITEMS)
    return ERROR_SUCCESS;
  if (error != ERROR_SUCCESS)
    return error;
  const bool isTaken =
      next.size() == key.size() + kOidBytes && next.starts_with(key) && OidOfKey(next) != oid;
  return isTaken ? DWORD{ERROR_REPEATED_KEY} : DWORD{ERROR_SUCCESS};
}

DWORD StoreDatabase::ChangeKeys(CEOID oid) {
  for (size_t order = 0; order < orders_.size(); ++order) {
    const KeyChange& change = keys_[order];
    if (change.before == change.after)
      continue;
    StoreStatement& remove = Statement(StoreQuery::DeleteKey);
    StoreStatement& insert = Statement(StoreQuery::InsertKey);
    if (!remove.IsPrepared() || !insert.IsPrepared())
      return volume_.LastFailure();
    DWORD error = ERROR_SUCCESS;
    if (!change.before.empty()) {
      error = StoreRun(remove).Number(static_cast<int64_t>(order)).Bytes(change.before).Finish();
      if (error == ERROR_SUCCESS)
        error = ranks_[order]->Removed(change.before);
    }
    if (error == ERROR_SUCCESS && !change.after.empty()) {
      error = StoreRun(insert)
                  .Number(static_cast<int64_t>(order))
                  .Bytes(change.after)
                  .Number(oid)
                  .Finish();
      if (error == ERROR_SUCCESS)
        error = ranks_[order]->Added(change.after);
    }
    if (error != ERROR_SUCCESS)
      return error;
  }
  return ERROR_SUCCESS;
}

DWORD StoreDatabase::StoreImageOf(StoreQuery query, CEOID oid) {
  StoreStatement& statement = Statement(query);
  return statement.IsPrepared() ? StoreRun(statement).Number(oid).Bytes(newImage_).Finish()
                                : volume_.LastFailure();
}

DWORD StoreDatabase::StoreRow(const CatalogueCounts& counts) {
  StoreStatement& statement = Statement(StoreQuery::UpdateCatalogue);
  if (!statement.IsPrepared())
    return volume_.LastFailure();
  StoreRun run(statement);
  run.Number(counts.recordCount).Number(static_cast<int64_t>(counts.byteCount));
  run.Number(static_cast<int64_t>(counts.modified)).Number(counts.nextOid).Number(counts.endOid);
  const DWORD error = run.Bytes(row_.countChanges.Bytes()).Finish();
  // Should the commit fail, everything cached is dropped.
  if (error == ERROR_SUCCESS)
    static_cast<CatalogueCounts&>(row_) = counts;
  return error;
}

}  // namespace wkt::host
