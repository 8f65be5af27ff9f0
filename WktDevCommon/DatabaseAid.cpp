#include "WktDevCommon/DatabaseAid.h"

#include <algorithm>
#include <new>

#include "WktCommon/Allocation.h"
#include "WktCommon/Log.h"
#include "WktCommon/WideString.h"
#include "platform/Kernel.h"

namespace {

// Marks the application's databases among all others on the device.
constexpr DWORD kDatabaseType = 0x0004715E;

bool IsOpenHandle(HANDLE handle) {
  return handle && handle != INVALID_HANDLE_VALUE;
}

// Room for the text and its terminator; null without a text or memory.
std::unique_ptr<WCHAR[]> AllocateName(const WCHAR* text) {
  if (!text)
    return nullptr;
  return std::unique_ptr<WCHAR[]>(new (std::nothrow) WCHAR[wkt::TextLength(text) + 1]);
}

void FillName(WCHAR* name, const WCHAR* text) {
  if (name)
    std::copy_n(text, wkt::TextLength(text) + 1, name);
}

}  // namespace

CDatabaseAid::CDatabaseAid()
    : sortOrderCount(0), sortOrders{}, handle(nullptr), lastError(0), oid(0), volumeGuid{} {
  const wkt::LogScope log("CDatabaseAid::CDatabaseAid");
}

CDatabaseAid::~CDatabaseAid() {
  const wkt::LogScope log("CDatabaseAid::~CDatabaseAid");
  CloseDatabase();
}

BOOL CDatabaseAid::IsOpen() const {
  return IsOpenHandle(handle) ? TRUE : FALSE;
}

BOOL CDatabaseAid::OpenDatabase(const WCHAR* databaseName, BOOL bCreate) {
  const wkt::LogScope log("CDatabaseAid::OpenDatabase");
  CloseDatabase();

  // The kept name itself needs no copy, which might find no memory.
  if (databaseName != name.get()) {
    name = AllocateName(databaseName);
    FillName(name.get(), databaseName);
  }

  oid = FindDatabase(databaseName);
  if (oid == 0) {
    if (bCreate) {
      oid = CreateDatabase(databaseName);
      log.Write(wkt::kLogProgress, u"Created new database; CEOID = %ld", oid);
    }
    if (oid == 0)
      return IsOpen();
  }

  handle = CeOpenDatabaseEx2(&volumeGuid, &oid, nullptr, nullptr, CEDB_AUTOINCREMENT, nullptr);
  if (handle == INVALID_HANDLE_VALUE)
    lastError = GetLastError();
  log.Write(wkt::kLogProgress, u"Opened handle = %lu", wkt::LogValue(handle));
  return IsOpen();
}

BOOL CDatabaseAid::Open(BOOL bCreate) {
  const wkt::LogScope log("CDatabaseAid::Open");
  if (IsOpen())
    return log.ResultBOOL(TRUE);
  return log.ResultBOOL(OpenDatabase(name.get(), bCreate));
}

CEOID CDatabaseAid::FindDatabase(const WCHAR* pDBName, CEOIDINFOEX* pInfo) {
  const wkt::LogScope log("CDatabaseAid::FindDatabase");
  log.Write(wkt::kLogInput, u"pDBName = '%s'", wkt::TextOrNull(pDBName));

  CEOIDINFOEX ownInfo;
  CEOIDINFOEX& info = pInfo ? *pInfo : ownInfo;
  info = {};
  info.wVersion = CEOIDINFOEX_VERSION;

  CEOID found = 0;
  const HANDLE enumeration = CeFindFirstDatabaseEx(nullptr, kDatabaseType);
  if (enumeration != INVALID_HANDLE_VALUE) {
    while ((found = CeFindNextDatabase(enumeration)) != 0) {
      // Databases of mounted volumes are enumerated too and cannot be described from here.
      if (!CeOidGetInfoEx2(&volumeGuid, found, &info))
        continue;
      if (info.wObjType != OBJTYPE_DATABASE)
        continue;
      if (!pDBName || !wkt::TextsEqual(info.infDatabase.szDbaseName, pDBName))
        continue;
      log.Write(wkt::kLogProgress, u"Record count = %d", info.infDatabase.dwNumRecords);
      break;
    }
    CloseHandle(enumeration);
  }
  return log.ResultCeoid(found);
}

BOOL CDatabaseAid::GetDatabaseInfo(CEOIDINFOEX* pInfo) {
  const wkt::LogScope log("CDatabaseAid::GetDatabaseInfo");
  if (!name || !pInfo)
    return log.ResultBOOL(FALSE);
  *pInfo = {};
  pInfo->wVersion = CEOIDINFOEX_VERSION;
  return log.ResultBOOL(FindDatabase(name.get(), pInfo) != 0 ? TRUE : FALSE);
}

CEOID CDatabaseAid::CreateDatabase(const WCHAR* databaseName) {
  const wkt::LogScope log("CDatabaseAid::CreateDatabase");
  if (!databaseName || !*databaseName)
    return log.ResultCeoid(0);  // no platform is asked for a database without a name
  CEDBASEINFOEX info = {};
  info.wVersion = CEDBASEINFOEX_VERSION;
  info.dwFlags = CEDB_VALIDNAME | CEDB_VALIDTYPE;
  if (sortOrderCount > 0) {
    info.dwFlags |= CEDB_VALIDSORTSPEC;
    info.wNumSortOrder = static_cast<WORD>(sortOrderCount);
    std::copy(std::begin(sortOrders), std::end(sortOrders), info.rgSortSpecs);
  }
  const size_t unitCount =
      std::min<size_t>(wkt::TextLength(databaseName), CEDB_MAXDBASENAMELEN - 1);
  std::copy_n(databaseName, unitCount, info.szDbaseName);
  info.dwDbaseType = kDatabaseType;

  const CEOID created = CeCreateDatabaseEx2(&volumeGuid, &info);
  if (created == 0)
    lastError = GetLastError();
  return log.ResultCeoid(created);
}

void CDatabaseAid::CloseDatabase() {
  const wkt::LogScope log("CDatabaseAid::CloseDatabase");
  if (!IsOpenHandle(handle))
    return;
  log.Write(wkt::kLogProgress, u"Closing handle = %lu", wkt::LogValue(handle));
  CloseHandle(handle);
  handle = nullptr;
}

CEOID CDatabaseAid::SeekRecord(CEOID record) {
  DWORD index = 0;
  return CeSeekDatabase(handle, CEDB_SEEK_CEOID, record, &index);
}

bool CDatabaseAid::SeekFirstRecord() {
  return CeSeekDatabaseEx(handle, CEDB_SEEK_BEGINNING, 0, 0, nullptr) != 0;
}

CEOID CDatabaseAid::ReadRecord(wkt::RecordBuffer& buffer) {
  return buffer.ReadFrom(handle);
}

CEOID CDatabaseAid::WriteRecord(CEOID record, WORD count, CEPROPVAL* values) {
  CEOID written = 0;
  if (wkt::AllocationFailed()) {
    // A text that found no memory is empty now: better no record than one with holes.
    lastError = ERROR_NOT_ENOUGH_MEMORY;
  } else {
    written = CeWriteRecordProps(handle, record, count, values);
    if (written == 0)
      lastError = GetLastError();
  }
  return written;
}

BOOL CDatabaseAid::DeleteRecord(CEOID record) {
  if (!IsOpen() || record == 0)
    return FALSE;
  return CeDeleteRecord(handle, record) ? TRUE : FALSE;
}

HANDLE CDatabaseAid::KeepNameAndCreateMutex(const WCHAR* databaseName) {
  name = AllocateName(databaseName);
  // Between allocating and filling, so there is no name to give it: every object has a mutex of its
  // own, and neither other objects nor the application are kept out by it.
  const HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
  FillName(name.get(), databaseName);
  return mutex;
}
