#include "WktCommon/Log.h"
#include "WktDevSync/FolderTable.h"
#include "WktDevSync/ModuleState.h"
#include "WktDevSync/SyncKind.h"
#include "platform/SyncProvider.h"

namespace {

template <class Kind>
HRESULT FindInFolder(const wkt::Folder& folder, FINDOBJINFO& info, const wkt::LogScope& log) {
  typename Kind::SyncDatabase database(folder.databaseName);
  if (!database.Open(TRUE)) {
    log.Write(wkt::kLogFailure, u"Failed to open database '%s'", folder.databaseName);
    return E_UNEXPECTED;
  }
  return database.ReadFindObjectInfo(&info, wkt::PartnerIndex());
}

HRESULT Find(FINDOBJINFO& info, const wkt::LogScope& log) {
  const wkt::FolderName name(info.szObjType);
  log.Write(wkt::kLogProgress, u"Folder type = '%s'", name.c_str());
  const wkt::Folder* const folder = wkt::FindFolder(name.c_str());
  if (!folder) {
    // Kept: a success with nothing filled in, the counts of a folder we do not know are the
    // caller's.
    log.Write(wkt::kLogWarning, u"Unsupported folder type");
    return S_OK;
  }
  // Kept: the call that only frees the list opens the database like any other.
  return folder->kind == wkt::RecordKind::Job ? FindInFolder<wkt::JobSync>(*folder, info, log)
                                              : FindInFolder<wkt::TypeSync>(*folder, info, log);
}

}  // namespace

CE_FUNCTIONS_BEGIN

HRESULT CEAPI FindObjects(PFINDOBJINFO pfi) {
  const wkt::LogScope log("FindObjects");
  return log.Result(pfi ? Find(*pfi, log) : E_UNEXPECTED);
}

CE_FUNCTIONS_END
