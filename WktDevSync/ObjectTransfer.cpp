#include "WktDevSync/DataHandler.h"

#include "WktCommon/Allocation.h"
#include "WktCommon/Log.h"
#include "WktDevCommon/VolumeIdentity.h"
#include "WktDevSync/FolderTable.h"
#include "WktDevSync/ModuleState.h"
#include "WktDevSync/SyncKind.h"

namespace {

// ERROR_FILE_NOT_FOUND as a result: the record to delete is not there.
constexpr HRESULT kRecordNotFound = static_cast<HRESULT>(0x80070002);

// The packet's bytes for the desktop. They leave the program here: the service manager does not
// free them and no Reset or later packet makes them invalid, so they stay for the library's life,
// a new block each time. Null without memory.
[[gnu::noinline]] BYTE* ReleaseToServiceManager(const CJobPacket& packet, DWORD* byteCount) {
  return packet.ToBytes(byteCount);
}
[[gnu::noinline]] BYTE* ReleaseToServiceManager(const CWktTypePacket& packet, DWORD* byteCount) {
  return packet.ToBytes(byteCount);
}

// Logs the folder of a set-up and finds it; null, after a warning, when it is none of ours.
const wkt::Folder* ChooseFolder(const REPLSETUP* setup, const wkt::LogScope& log) {
  const wkt::Folder* folder = nullptr;
  if (setup) {
    const wkt::FolderName name(setup->szObjType);
    log.Write(wkt::kLogProgress, u"Folder type = '%s'", name.c_str());
    folder = wkt::FindFolder(name.c_str());
  } else {
    log.Write(wkt::kLogProgress, u"Folder type = '%s'", u"NULL");
  }
  if (!folder)
    log.Write(wkt::kLogWarning, u"Unsupported folder type");
  return folder;
}

template <class Kind>
bool OpenFolder(typename Kind::SyncDatabase& database, const wkt::Folder& folder,
                const WCHAR* failureLine, const wkt::LogScope& log) {
  if (database.Open(TRUE))
    return true;
  log.Write(wkt::kLogFailure, failureLine, folder.databaseName);
  return false;
}

// What the handler holds: the last job packet, and the last packet of this kind of record.
template <class Kind>
struct HeldPackets {
  CJobPacket*& jobPacket;
  typename Kind::Packet*& own;
};

template <class Kind>
HRESULT ReadObject(const wkt::Folder& folder, CEOID oid, HeldPackets<Kind> held, LPBYTE* bytes,
                   DWORD* byteCount, const wkt::LogScope& log) {
  typename Kind::SyncDatabase database(folder.databaseName);
  if (!OpenFolder<Kind>(database, folder, u"Failed to open database '%s'", log)) {
    return RERR_BAD_OBJECT;
  }
  typename Kind::Record* found = nullptr;
  if (Kind::Find(database, oid, &found) == 0) {
    log.Write(wkt::kLogWarning, Kind::kNotInDatabase, oid);
    return RERR_BAD_OBJECT;
  }
  const typename Kind::Owned record(found);
  Kind::LogRecord(log, *record, Kind::kRecordLine);
  // Kept: a packet of either kind takes the place of the job packet held. A type packet held is
  // replaced by the next one and not destroyed.
  delete held.jobPacket;
  held.jobPacket = nullptr;
  typename Kind::Packet* const packet = Kind::NewPacket(folder.packetKind);
  if (!packet)
    return RERR_BAD_OBJECT;
  held.own = packet;
  Kind::FillPacket(*packet, *record);
  DWORD made = 0;
  BYTE* const serialised = ReleaseToServiceManager(*packet, &made);
  if (!serialised || wkt::AllocationFailed()) {
    // Texts that found no memory are empty now: better no packet than one with holes.
    delete[] serialised;
    return RERR_BAD_OBJECT;
  }
  *bytes = serialised;
  *byteCount = made;
  return RWRN_LAST_PACKET;
}

template <class Kind>
HRESULT StoreRecord(typename Kind::SyncDatabase& database, REPLSETUP& setup,
                    typename Kind::Record& record, const wkt::LogScope& log) {
  if (setup.dwFlags & RSF_NEW_OBJECT) {
    // Kept: "job" for types too.
    log.Write(wkt::kLogProgress, u"Adding new job to database");
    setup.oidNew = Kind::Add(database, &record);
    return S_OK;  // Kept: whatever the add returned; `oidNew` is 0 after a failure.
  }
  log.Write(wkt::kLogProgress, Kind::kModifying);
  return Kind::Modify(database, setup.oid, &record) ? S_OK : E_UNEXPECTED;
}

template <class Kind>
HRESULT WriteObject(const wkt::Folder& folder, REPLSETUP& setup, const BYTE* bytes, DWORD byteCount,
                    const wkt::LogScope& log) {
  // The packet trusts its bytes, so nothing reaches it that would lead it out of them.
  if (!Kind::CheckPacket(bytes, byteCount)) {
    log.Write(wkt::kLogFailure, Kind::kInvalidPacket);
    return E_UNEXPECTED;
  }
  const typename Kind::Packet packet(bytes, byteCount);
  if (!packet.IsValid()) {
    log.Write(wkt::kLogFailure, Kind::kInvalidPacket);
    return E_UNEXPECTED;
  }
  // Kept: raised before the database is opened, so the application is told of a write that fails.
  *folder.changed = 1;
  typename Kind::SyncDatabase database(folder.databaseName);
  if (!OpenFolder<Kind>(database, folder, Kind::kOpenToWriteFailed, log))
    return E_UNEXPECTED;
  const typename Kind::Owned record(Kind::NewRecord(packet));
  if (!record)
    return E_UNEXPECTED;
  Kind::FillRecord(*record, packet);
  Kind::LogRecord(log, *record, Kind::kReceivedLine);
  Kind::SetSynchronized(*record, wkt::PartnerIndex());
  log.Write(wkt::kLogProgress, u"Marking as synchronized for partner PC # %d", partnerNumber);
  wkt::ReportVolume(database, setup.lpbVolumeID, setup.cbVolumeID);
  return StoreRecord<Kind>(database, setup, *record, log);
}

template <class Kind>
HRESULT DeleteObject(const wkt::Folder& folder, CEOID oid, const wkt::LogScope& log) {
  typename Kind::SyncDatabase database(folder.databaseName);
  if (!OpenFolder<Kind>(database, folder, u"Failed to open database '%s'", log)) {
    return RERR_BAD_OBJECT;
  }
  typename Kind::Record* found = nullptr;
  if (Kind::Find(database, oid, &found) == 0) {
    log.Write(wkt::kLogFailure, Kind::kNotFoundToDelete);
    return kRecordNotFound;
  }
  const typename Kind::Owned record(found);
  Kind::LogRecord(log, *record, Kind::kDeleting);
  if (!Kind::Delete(database, oid)) {
    log.Write(wkt::kLogFailure, Kind::kDeleteFailed);
    return E_UNEXPECTED;
  }
  *folder.changed = 1;
  return S_OK;
}

}  // namespace

HRESULT CDataHandler::GetPacket(LPBYTE* lppbData, DWORD* pcbData, DWORD /*cbRecommend*/) {
  const wkt::LogScope log("CDataHandler::GetPacket");
  wkt::ClearAllocationFailure();
  const wkt::Folder* const folder = ChooseFolder(readSetup, log);
  if (!folder || !lppbData || !pcbData)
    return log.Result(E_UNEXPECTED);
  return log.Result(folder->kind == wkt::RecordKind::Job
                        ? ReadObject<wkt::JobSync>(*folder, readSetup->oid, {jobPacket, jobPacket},
                                                   lppbData, pcbData, log)
                        : ReadObject<wkt::TypeSync>(*folder, readSetup->oid,
                                                    {jobPacket, typePacket}, lppbData, pcbData,
                                                    log));
}

HRESULT CDataHandler::SetPacket(LPBYTE lpbData, DWORD cbData) {
  const wkt::LogScope log("CDataHandler::SetPacket");
  log.Write(wkt::kLogInput, u"Bytes = %ld; Bytes count = %d", wkt::LogValue(lpbData), cbData);
  wkt::ClearAllocationFailure();
  const wkt::Folder* const folder = ChooseFolder(writeSetup, log);
  if (!folder)
    return log.Result(E_UNEXPECTED);
  return log.Result(folder->kind == wkt::RecordKind::Job
                        ? WriteObject<wkt::JobSync>(*folder, *writeSetup, lpbData, cbData, log)
                        : WriteObject<wkt::TypeSync>(*folder, *writeSetup, lpbData, cbData, log));
}

HRESULT CDataHandler::DeleteObj(PREPLSETUP pSetup) {
  const wkt::LogScope log("CDataHandler::DeleteObj");
  const wkt::Folder* const folder = ChooseFolder(pSetup, log);
  if (!folder)
    return log.Result(S_OK);  // Kept: unlike reading or writing there.
  return log.Result(folder->kind == wkt::RecordKind::Job
                        ? DeleteObject<wkt::JobSync>(*folder, pSetup->oid, log)
                        : DeleteObject<wkt::TypeSync>(*folder, pSetup->oid, log));
}
