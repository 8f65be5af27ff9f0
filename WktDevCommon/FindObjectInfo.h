#pragma once

#include "WktCommon/Allocation.h"
#include "WktCommon/FlagText.h"
#include "WktCommon/Log.h"
#include "WktDevCommon/ObjectList.h"
#include "WktDevCommon/RecordKind.h"
#include "WktDevCommon/VolumeIdentity.h"

// The enumeration behind FindObjects, written once over the description of a kind of record.
namespace wkt {

// Whether a record can be listed by its flag text alone: without listeners nobody reads the other
// fields, and building them is most of the work. Not when the record is to be written back, nor
// where the building shows in what is entered and left.
template <class Kind>
bool ListUnread(CEOID oid, const PropertyValues& values, DWORD partner, ObjectList& list,
                bool& isRoom) {
  if (IsHeard())
    return false;
  FlagText flags = {u"0000000000000000000"};
  const CEPROPVAL* const stored = values.Find(Kind::kFlagsId, Kind::kFlagsAt);
  if (stored && Kind::HasClass(values)) {
    static_cast<void>(CopyFlags(flags, stored->val.lpwstr));
  }
  const bool isSynchronized =
      partner < 2 && IsFlagOn(flags, Kind::kSynchronizedPosition + static_cast<int>(partner));
  if (isSynchronized && IsFlagOn(flags, Kind::kChangedDuringSyncPosition))
    return false;
  isRoom = isSynchronized ? list.AddUnchanged(oid) : list.AddChanged(oid);
  return true;
}

// One record of the enumeration. False ends it: there is no place left for its identifier.
template <class Kind>
bool ListRecord(typename Kind::Database& database, CEOID oid, const PropertyValues& values,
                DWORD partner, ObjectList& list, const LogScope& log) {
  bool isRoom = true;
  if (ListUnread<Kind>(oid, values, partner, list, isRoom))
    return isRoom;
  log.Write(kLogProgress, u"OID = %d", oid);
  Kind::LogBeforeCreate(log, values);
  const typename Kind::Owned record(Kind::Create(database, values, FALSE));
  if (record) {
    Kind::Load(record.get(), values);
    Kind::LogRecord(log, *record, Kind::kRecordLine);
  }
  // What has no record here (a type of a kind that this program does not know) is listed as
  // changed: it cannot be sent, but if it were missing from the list, the desktop would take it for
  // deleted.
  if (!record || !Kind::IsSynchronized(*record, partner)) {
    log.Write(kLogProgress, Kind::kNotSynchronizedLine);
    if (list.AddChanged(oid))
      return true;
    log.Write(kLogInconsistency, u"Changed dount mismatch");
    return false;
  }
  log.Write(kLogProgress, Kind::kSynchronizedLine);
  if (!list.AddUnchanged(oid)) {
    log.Write(kLogInconsistency, u"Unchanged count mismatch");
    return false;
  }
  if (Kind::IsChangedDuringSync(*record)) {
    log.Write(kLogProgress, u"Clearing 'changed during sync' flag");
    Kind::ClearChangedDuringSync(*record);
    Kind::Modify(database, oid, record.get());
  }
  return true;
}

template <class Kind>
void ListRecords(typename Kind::Database& database, DWORD partner, ObjectList& list,
                 const LogScope& log) {
  if (!database.SeekFirstRecord())
    return;
  RecordBuffer buffer;
  CEOID last = 0;
  while (const CEOID oid = database.ReadRecord(buffer)) {
    // On some devices writing a record back moves the position back to it; it has been listed.
    if (oid == last)
      continue;
    last = oid;
    ClearAllocationFailure();
    if (!ListRecord<Kind>(database, oid, buffer.Values(), partner, list, log))
      return;
  }
  list.FillGap();
}

template <class Kind>
HRESULT ListChanges(typename Kind::Database& database, FINDOBJINFO& info, DWORD partner,
                    const LogScope& log) {
  if (!database.IsOpen()) {
    log.Write(kLogInconsistency, u"Database not open");
    return E_UNEXPECTED;
  }
  CEOIDINFOEX description;
  if (!database.GetDatabaseInfo(&description)) {
    log.Write(kLogFailure, u"Failed to get database info");
    return E_UNEXPECTED;
  }
  ReportVolume(database, info.lpbVolumeID, info.cbVolumeID);

  const LONG total = static_cast<LONG>(description.infDatabase.dwNumRecords);
  log.Write(kLogProgress, u"Record count = %d", total);
  if (total == 0) {
    log.Write(kLogProgress, u"Database is empty");
    return S_OK;
  }
  ObjectList list(total);
  if (!list.Allocate(info)) {
    log.Write(kLogFailure, u"Out of memory");
    return E_UNEXPECTED;
  }
  ListRecords<Kind>(database, partner, list, log);
  info.cUnChg = static_cast<UINT>(list.GetUnchanged());
  info.cChg = static_cast<UINT>(list.GetChanged());
  log.Write(kLogProgress, u"Changed = %d; Unchanged = %d; Total = %d", info.cChg, info.cUnChg,
            total);
  return S_OK;
}

// `partner` is the partner's index.
template <class Kind>
HRESULT ReadObjectInfo(typename Kind::Database& database, FINDOBJINFO& info, DWORD partner,
                       const LogScope& log) {
  log.Write(kLogInput, u"pFindObjectInfo = %ld; pcNumber = %d", LogValue(&info), partner);
  const bool isDone = (info.uFlags & FO_DONE_ONE_VOL) != 0;
  if (isDone)
    log.Write(kLogProgress, u"Flag = FO_DONE_ONE_VOL");
  if (info.uFlags & FO_MORE_VOLUME)
    log.Write(kLogProgress, u"Flag = FO_MORE_VOLUME");
  if (!isDone)
    return ListChanges<Kind>(database, info, partner, log);
  if (info.poid)
    LocalFree(info.poid);
  info.poid = nullptr;  // a second such call must not free it again
  return S_OK;
}

}  // namespace wkt
