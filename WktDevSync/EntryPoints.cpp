#include <algorithm>
#include <cstring>

#include "WktCommon/Allocation.h"
#include "WktCommon/Log.h"
#include "WktCommon/RegistryKey.h"
#include "WktDevCommon/JobDatabase.h"
#include "WktDevCommon/WktTypeDatabase.h"
#include "WktDevSync/DataHandler.h"
#include "WktDevSync/FolderTable.h"
#include "WktDevSync/Folders.h"
#include "WktDevSync/ModuleState.h"
#include "WktDevSync/Version.h"
#include "platform/Files.h"
#include "platform/Window.h"

namespace {

constexpr WCHAR kModuleName[] = u"WktDevSync";
constexpr WCHAR kModuleFile[] = u"WktDevSync.dll";
constexpr WCHAR kVolumeKey[] = u"Software\\Microsoft\\Stock Portfolio";
constexpr WCHAR kVolumeValue[] = u"DBVol";
constexpr WCHAR kApplicationWindowClass[] = u"WCE_WktDev";
constexpr UINT kObjectTypeInfoBytes = 384;
// Bits of the log line; only the whole code RSC_END_SYNC delivers the notices.
constexpr UINT kBeginSyncBit = 1;
constexpr UINT kEndSyncBit = 2;
constexpr UINT kQueryVolumeName = 1;

void Attach(const wkt::LogScope& log) {
  const WideString installPath = GetInstallPath();
  WideString logFolder(installPath);
  logFolder.Append(u"Logging");
  wkt::CreateFolders(logFolder.c_str());  // without it there is no log file, nothing else
  WideString logFile(logFolder);
  logFile.Append(u"\\WktDevSync.log.txt");
  StartLogging(kModuleName, logFile.c_str());
  WideString file(installPath);
  file.Append(kModuleFile);
  const wkt::FileVersion version = wkt::ReadFileVersion(file.c_str());
  log.Write(wkt::kLogModule, u"%s version %d.%d build %d started.", kModuleFile, version.major,
            version.minor, version.build);
  dailyJobsChanged = 0;
  favoritesChanged = 0;
  typesChanged = 0;
  CJobDatabase::UpgradeJobDatabases();
}

void ReadVolumeName() {
  volumeName[0] = 0;
  HKEY key = nullptr;
  // A missing key or value means: no volume, the object store.
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kVolumeKey, 0, KEY_READ, &key) != ERROR_SUCCESS)
    return;
  DWORD byteCount = sizeof(volumeName);
  const LONG code = RegQueryValueExW(key, kVolumeValue, nullptr, nullptr,
                                     reinterpret_cast<BYTE*>(volumeName), &byteCount);
  RegCloseKey(key);
  if (code != ERROR_SUCCESS)
    byteCount = 0;
  // The text comes as it was stored, perhaps without a terminator or with half a character.
  const size_t unitCount = std::min<size_t>(byteCount / sizeof(WCHAR), kVolumeNameUnits - 1);
  volumeName[unitCount] = 0;
}

void MountVolume() {
  if (volumeName[0] == 0) {
    volumeGuid = CEGUID{};
    return;
  }
  // What a failed mount leaves in the identifier stays there.
  CeMountDBVol(&volumeGuid, volumeName, OPEN_EXISTING);
}

// Fills the structure from an open database. Kept: information that cannot be read is handed out
// as far as it goes.
void DescribeDatabase(const wkt::LogScope& log, CDatabaseAid& database, OBJTYPEINFO& info) {
  CEOIDINFOEX information = {};
  if (!database.GetDatabaseInfo(&information)) {
    log.Write(wkt::kLogFailure, u"Failed to retrieve database info");
  }
  const CEDBASEINFOEX& read = information.infDatabase;
  static_assert(std::size(OBJTYPEINFO{}.szName) > CEDB_MAXDBASENAMELEN);
  std::copy_n(read.szDbaseName, CEDB_MAXDBASENAMELEN, info.szName);
  info.szName[CEDB_MAXDBASENAMELEN] = 0;
  info.cObjects = read.dwNumRecords;
  info.cbAllObj = read.dwSize;
  info.ftLastModified = read.ftLastModified;
  log.Write(wkt::kLogProgress, u"Record count = %d", info.cObjects);
  log.Write(wkt::kLogProgress, u"Database size = %d", info.cbAllObj);
  database.CloseDatabase();
}

template <class Database>
BOOL DescribeFolder(const wkt::LogScope& log, const wkt::Folder& folder, OBJTYPEINFO& info) {
  Database database(folder.databaseName);
  if (!database.Open(TRUE)) {
    log.Write(wkt::kLogFailure, u"Failed to open database '%s'", folder.databaseName);
    return FALSE;
  }
  DescribeDatabase(log, database, info);
  return TRUE;
}

BOOL FillObjectTypeInfo(const wkt::LogScope& log, OBJTYPEINFO& info) {
  if (info.cbStruct != kObjectTypeInfoBytes) {
    log.Write(wkt::kLogInconsistency, u"Wrong structure size. Got %d, expected %d.", info.cbStruct,
              kObjectTypeInfoBytes);
    return FALSE;
  }
  const wkt::FolderName name(info.szObjType);
  log.Write(wkt::kLogProgress, u"Folder type = '%s'", name.c_str());
  const wkt::Folder* const folder = wkt::FindFolder(name.c_str());
  if (!folder) {
    log.Write(wkt::kLogWarning, u"Unsupported folder type");
    return FALSE;
  }
  return folder->kind == wkt::RecordKind::Job
             ? DescribeFolder<CJobDatabase>(log, *folder, info)
             : DescribeFolder<CWktTypeDatabase>(log, *folder, info);
}

void NotifyApplication(const wkt::LogScope& log) {
  const HWND window = FindWindowW(kApplicationWindowClass, nullptr);
  if (!window) {
    // The flags stay, so the notices go out with the next synchronisation that finds the window.
    log.Write(wkt::kLogProgress, u"No application window to notify");
    return;
  }
  for (const wkt::Folder& folder : wkt::kFolders) {
    if (!*folder.changed)
      continue;
    log.Write(wkt::kLogProgress, folder.notice);
    // Kept: the flag goes whether or not the message could be posted.
    PostMessageW(window, folder.message, 0, 0);
    *folder.changed = 0;
  }
}

// Kept: nobody asks how large the caller's buffer is; it has to hold the longest name, 520 bytes.
void AnswerVolumeName(SDREQUEST& request) {
  const size_t unitCount = wkt::TextLength(volumeName) + 1;
  request.cbData = static_cast<UINT>(unitCount * sizeof(WCHAR));
  if (request.lpbData)
    std::memcpy(request.lpbData, volumeName, request.cbData);
}

}  // namespace

CE_FUNCTIONS_BEGIN

BOOL CEAPI DllMain(HANDLE /*instance*/, DWORD reason, LPVOID /*reserved*/) {
  if (reason != DLL_PROCESS_ATTACH && reason != DLL_PROCESS_DETACH)
    return TRUE;
  // On attach nobody listens yet when the enter line is due, so that one is lost.
  const wkt::LogScope log("DllMain");
  if (reason == DLL_PROCESS_ATTACH) {
    Attach(log);
  } else {
    // Kept: neither the logging library nor the volume is given back.
    log.Write(wkt::kLogModule, u"Module unloaded");
  }
  return TRUE;
}

BOOL CEAPI InitObjType(LPWSTR lpszObjType, IReplObjHandler** ppObjHandler, UINT uPartnerBit) {
  const wkt::LogScope log("InitObjType");
  log.Write(wkt::kLogInput, u"Folder type = '%s'; Partner PC # = %d", wkt::TextOrNull(lpszObjType),
            uPartnerBit);
  if (!lpszObjType) {
    // Kept: only the object store, which cannot be unmounted, is; a mounted volume stays.
    if (wkt::IsObjectStore(volumeGuid))
      CeUnmountDBVol(&volumeGuid);
    return TRUE;
  }
  ReadVolumeName();
  MountVolume();
  if (ppObjHandler)
    *ppObjHandler = wkt::NewObject<CDataHandler>();
  partnerNumber = uPartnerBit;
  return TRUE;
}

BOOL CEAPI GetObjTypeInfo(POBJTYPEINFO pInfo) {
  const wkt::LogScope log("GetObjTypeInfo");
  return log.ResultBool(pInfo ? FillObjectTypeInfo(log, *pInfo) : FALSE);
}

BOOL CEAPI ReportStatus(LPWSTR /*lpszObjType*/, UINT uCode, UINT /*uParam*/) {
  const wkt::LogScope log("ReportStatus");
  // Kept: the line looks at bits, so code 3 reads as a begin; the codes are no bits.
  if (uCode & kBeginSyncBit) {
    log.Write(wkt::kLogProgress, u"Flag = RSC_BEGIN_SYNC");
  } else if (uCode & kEndSyncBit) {
    log.Write(wkt::kLogProgress, u"Flag = RSC_END_SYNC");
  } else {
    log.Write(wkt::kLogProgress, u"Flag = %d", uCode);
  }
  if (uCode == RSC_END_SYNC)
    NotifyApplication(log);
  return TRUE;
}

HRESULT CEAPI SyncData(PSDREQUEST pRequest) {
  constexpr HRESULT kAnswer = 1;
  const wkt::LogScope log("SyncData");
  if (pRequest && !pRequest->fSet && pRequest->uCode == kQueryVolumeName) {
    AnswerVolumeName(*pRequest);
  }
  return log.Result(kAnswer);
}

CE_FUNCTIONS_END
