#include <cstring>
#include <iterator>

#include "WktCommon/Log.h"
#include "WktDevSync/FolderTable.h"
#include "WktDevSync/ModuleState.h"
#include "WktDevSync/SyncKind.h"
#include "platform/SyncProvider.h"

namespace {

// The structure on a device with the two members for volumes; longer ones are welcome.
constexpr UINT kNoticeBytes = 780;

struct FlagLine {
  UINT flag;
  const WCHAR* line;
};
constexpr FlagLine kFlagLines[] = {
    {ONF_FILE, u"Flag = ONF_FILE"},
    {ONF_DIRECTORY, u"Flag = ONF_DIRECTORY"},
    {ONF_DATABASE, u"Flag = ONF_DATABASE"},
    {ONF_RECORD, u"Flag = ONF_RECORD"},
    {ONF_CHANGED, u"Flag = ONF_CHANGED"},
    {ONF_DELETED, u"Flag = ONF_DELETED"},
    {ONF_CLEAR_CHANGE, u"Flag = ONF_CLEAR_CHANGE"},
    {ONF_CALL_BACK, u"Flag = ONF_CALL_BACK"},
    {ONF_CALLING_BACK, u"Flag = ONF_CALLING_BACK"},
};

bool IsOurVolume(const OBJNOTIFY& notice) {
  if (!notice.lpbVolumeID)
    return wkt::IsObjectStore(volumeGuid);
  return notice.cbVolumeID == sizeof(volumeGuid) &&
         std::memcmp(notice.lpbVolumeID, &volumeGuid, sizeof(volumeGuid)) == 0;
}

// Whether a notice about a record means one of this database; says why not.
bool IsOurRecord(const OBJNOTIFY& notice, CEOID database, const wkt::LogScope& log) {
  if (notice.oidInfo.wObjType != OBJTYPE_RECORD) {
    log.Write(wkt::kLogProgress, u"Ignore because of wrong object type");
    return false;
  }
  if (notice.oidInfo.infRecord.oidParent != database) {
    log.Write(wkt::kLogProgress, u"Ignore because of wrong database; Got %ld; Expected %ld",
              notice.oidInfo.infRecord.oidParent, database);
    return false;
  }
  if (!IsOurVolume(notice)) {
    log.Write(wkt::kLogProgress, u"Ignore because of wrong volume");
    return false;
  }
  return true;
}

// A save that fails does not change the answer.
template <class Kind>
void Save(typename Kind::SyncDatabase& database, CEOID oid, typename Kind::Record& record,
          const wkt::LogScope& log) {
  log.Write(wkt::kLogProgress, u"Saving changes");
  if (!Kind::Modify(database, oid, &record))
    log.Write(wkt::kLogFailure, Kind::kModifyFailed);
}

template <class Kind>
void ClearChangedDuringSync(typename Kind::SyncDatabase& database, CEOID oid,
                            typename Kind::Record& record, const wkt::LogScope& log) {
  log.Write(wkt::kLogProgress, u"Clearing 'changed during sync' flag");
  Kind::ClearChangedDuringSync(record);
  Save<Kind>(database, oid, record, log);
}

// The record reached the desktop. TRUE when it was edited meanwhile and has to go again.
template <class Kind>
BOOL ConfirmTransfer(typename Kind::SyncDatabase& database, CEOID oid,
                     typename Kind::Record& record, const wkt::LogScope& log) {
  if (Kind::IsChangedDuringSync(record)) {
    ClearChangedDuringSync<Kind>(database, oid, record, log);
    return TRUE;
  }
  log.Write(wkt::kLogProgress, u"Setting 'is synchronized' flag");
  Kind::SetSynchronized(record, wkt::PartnerIndex());
  Save<Kind>(database, oid, record, log);
  return FALSE;
}

// The record of a notice, read and described in the log; null after a line that says why not.
template <class Kind>
typename Kind::Owned ReadNoticed(typename Kind::SyncDatabase& database, const OBJNOTIFY& notice,
                                 const wkt::LogScope& log) {
  if ((notice.uFlags & ONF_RECORD) && !IsOurRecord(notice, database.GetOid(), log))
    return {};
  typename Kind::Record* found = nullptr;
  if (Kind::Find(database, notice.oidObject, &found) == 0) {
    log.Write(wkt::kLogWarning, Kind::kNotInDatabase, notice.oidObject);
    return {};
  }
  Kind::LogRecord(log, *found, Kind::kRecordLine);
  log.Write(wkt::kLogProgress, u"Is synchronized = %d; Is changed during sync = %d",
            Kind::IsSynchronized(*found, wkt::PartnerIndex()), Kind::IsChangedDuringSync(*found));
  return typename Kind::Owned(found);
}

template <class Kind>
BOOL NotifyFolder(const wkt::Folder& folder, OBJNOTIFY& notice, const wkt::LogScope& log) {
  typename Kind::SyncDatabase database(folder.databaseName);
  if (!database.Open(TRUE)) {
    log.Write(wkt::kLogFailure, u"Failed to open database '%s'", folder.databaseName);
    return FALSE;
  }
  if (notice.uFlags & ONF_DELETED) {
    notice.poid = &notice.oidObject;
    notice.cOidDel = 1;
    log.Write(wkt::kLogProgress, u"Marked for deletion");
    return TRUE;
  }
  const typename Kind::Owned record = ReadNoticed<Kind>(database, notice, log);
  if (!record)
    return FALSE;
  if (notice.uFlags & ONF_CLEAR_CHANGE) {
    return ConfirmTransfer<Kind>(database, notice.oidObject, *record, log);
  }
  notice.poid = &notice.oidObject;
  // Kept: a record that is synchronised already is of interest all the same, with neither count
  // set.
  if (Kind::IsSynchronized(*record, wkt::PartnerIndex()))
    return TRUE;
  notice.cOidChg = 1;
  log.Write(wkt::kLogProgress, u"Marked for change");
  if (Kind::IsChangedDuringSync(*record)) {
    ClearChangedDuringSync<Kind>(database, notice.oidObject, *record, log);
  }
  return TRUE;
}

BOOL Notify(OBJNOTIFY& notice, const wkt::LogScope& log) {
  if (notice.cbStruct < kNoticeBytes) {
    log.Write(wkt::kLogInconsistency, u"Wrong structure size. Got %d, expected %d.",
              notice.cbStruct, kNoticeBytes);
    return FALSE;
  }
  const wkt::FolderName name(notice.szObjType);
  log.Write(wkt::kLogProgress, u"Folder type = '%s'", name.c_str());
  log.Write(wkt::kLogProgress, u"Partner PC # = %d", partnerNumber);
  log.Write(wkt::kLogProgress, u"OID = %d", notice.oidObject);
  for (const FlagLine& flag : kFlagLines) {
    if (notice.uFlags & flag.flag)
      log.Write(wkt::kLogProgress, flag.line);
  }
  const wkt::Folder* const folder = wkt::FindFolder(name.c_str());
  if (!folder) {
    log.Write(wkt::kLogWarning, u"Unsupported folder type");
    return FALSE;
  }
  if ((notice.uFlags & (ONF_RECORD | ONF_CLEAR_CHANGE)) == 0) {
    log.Write(wkt::kLogProgress, u"Ignore because of uninteresting flags");
    return FALSE;
  }
  wkt::ClearAllocationFailure();
  return folder->kind == wkt::RecordKind::Job ? NotifyFolder<wkt::JobSync>(*folder, notice, log)
                                              : NotifyFolder<wkt::TypeSync>(*folder, notice, log);
}

}  // namespace

CE_FUNCTIONS_BEGIN

BOOL CEAPI ObjectNotify(POBJNOTIFY pNotify) {
  const wkt::LogScope log("ObjectNotify");
  return log.ResultBOOL(pNotify ? Notify(*pNotify, log) : FALSE);
}

CE_FUNCTIONS_END
