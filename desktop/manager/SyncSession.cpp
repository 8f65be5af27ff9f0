#include "desktop/manager/SyncSession.h"

#include <algorithm>
#include <cstring>

#include "desktop/manager/Names.h"
#include "desktop/manager/RegistryText.h"
#include "platform/Kernel.h"

namespace wkt {

namespace {

// A folder that changes under every enumeration is reported as it was seen last.
constexpr int kEnumerationTries = 3;
// An object of more packets than this is a provider that never ends.
constexpr size_t kMaxPackets = 4096;
constexpr DWORD kRecommendedPacketBytes = 8192;
// What a provider may assume of a buffer that it fills for SyncData.
constexpr size_t kSyncDataBytes = 520;
constexpr UINT kSyncDataVolumeName = 1;
// Held by the service manager while it runs; the application looks at it when it edits.
constexpr WCHAR kManagerMutex[] = u"WktServiceManager";
// Longer than the application's look takes.
constexpr DWORD kManagerWaitMilliseconds = 2000;
constexpr HRESULT kFileNotFound = static_cast<HRESULT>(0x80070002);

uint64_t Ticks(const FILETIME& time) {
  return static_cast<uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

// Cleared structures with the folder's name, cut to what fits.
template <typename Structure>
Structure Cleared(const std::u16string& folder) {
  Structure structure;
  std::memset(static_cast<void*>(&structure), 0, sizeof structure);
  const size_t unitCount = std::min<size_t>(folder.size(), MAX_OBJTYPE_NAME - 1);
  std::memcpy(structure.szObjType, folder.data(), unitCount * sizeof(WCHAR));
  return structure;
}

REPLSETUP SetupFor(const std::u16string& folder, BOOL read, CEOID oid, DWORD flags) {
  auto setup = Cleared<REPLSETUP>(folder);
  setup.cbStruct = sizeof(REPLSETUP);
  setup.fRead = read;
  setup.dwFlags = flags;
  setup.oid = oid;
  return setup;
}

template <size_t N>
std::u16string BoundedText(const WCHAR (&text)[N]) {
  return std::u16string(text, std::find(text, text + N, u'\0'));
}

bool Failed(HRESULT result) {
  return result < 0;
}

}  // namespace

SyncSession::SyncSession(Trace* trace) : trace_(trace) {}

SyncSession::~SyncSession() {
  EndSync();
  ReleaseAll();
}

void SyncSession::TraceCall(const char* call, const std::u16string& folder, Trace::Line details) {
  if (!trace_ || !trace_->IsOpen()) {
    return;
  }
  Trace::Line line;
  line["call"] = call;
  if (!folder.empty()) {
    line["folder"] = ToUtf8(folder);
  }
  line.update(details);
  trace_->Write(line);
}

const SyncSession::Folder* SyncSession::Find(const std::u16string& name) const {
  for (const Folder& folder : folders_) {
    if (folder.name == name) {
      return &folder;
    }
  }
  return nullptr;
}

std::string SyncSession::Open(UINT partnerBit) {
  partnerBit_ = partnerBit;
  if (std::string problem = BecomeManager(); !problem.empty()) {
    return problem;
  }
  const auto registered = ReadRegisteredFolders();
  if (registered.empty()) {
    return "no synchronisation provider is registered on this device; install the libraries";
  }
  for (const RegisteredFolder& entry : registered) {
    size_t library = 0;
    while (library < libraries_.size() && libraries_[library].Path() != entry.store) {
      ++library;
    }
    if (library == libraries_.size()) {
      ProviderLibrary loaded;
      if (std::string problem = loaded.Load(entry.store); !problem.empty()) {
        return problem;
      }
      libraries_.push_back(std::move(loaded));
    }
    Folder folder{entry.name, library, nullptr};
    std::u16string name = entry.name;
    const BOOL usable =
        libraries_[library].Exports().initObjType(name.data(), &folder.handler, partnerBit);
    TraceCall("InitObjType", entry.name, {{"uPartnerBit", partnerBit}, {"result", usable}});
    if (!usable || !folder.handler) {
      return "the provider refuses the folder " + ToUtf8(entry.name);
    }
    folders_.push_back(std::move(folder));
  }
  return "";
}

void SyncSession::Report(UINT code) {
  for (const ProviderLibrary& library : libraries_) {
    if (library.Exports().reportStatus) {
      const BOOL result = library.Exports().reportStatus(nullptr, code, 0);
      TraceCall("ReportStatus", u"",
                {{"uCode", StatusName(code)}, {"uParam", 0}, {"result", result}});
    }
  }
}

void SyncSession::BeginSync() {
  running_ = true;
  Report(RSC_BEGIN_SYNC);
}

void SyncSession::EndSync() {
  if (!running_) {
    return;
  }
  running_ = false;
  Report(RSC_END_SYNC);
}

bool SyncSession::IsRunning() {
  const HANDLE manager = CreateMutexW(nullptr, FALSE, kManagerMutex);
  if (!manager) {
    return false;
  }
  const DWORD wait = WaitForSingleObject(manager, 0);
  if (wait == WAIT_OBJECT_0 || wait == WAIT_ABANDONED) {
    ReleaseMutex(manager);
  }
  CloseHandle(manager);
  return wait == WAIT_TIMEOUT;
}

// Its owner's end frees the mutex, so a killed manager stands in nobody's way.
std::string SyncSession::BecomeManager() {
  manager_ = CreateMutexW(nullptr, FALSE, kManagerMutex);
  const DWORD wait =
      manager_ ? WaitForSingleObject(manager_, kManagerWaitMilliseconds) : WAIT_FAILED;
  if (wait == WAIT_OBJECT_0 || wait == WAIT_ABANDONED) {
    return "";
  }
  if (manager_) {
    CloseHandle(manager_);
    manager_ = nullptr;
  }
  return wait == WAIT_TIMEOUT
             ? "another synchronisation of this device is running; wait for its end"
             : "the device has no mutex for its service manager";
}

void SyncSession::ReleaseAll() {
  for (Folder& folder : folders_) {
    const ULONG left = folder.handler->Release();
    TraceCall("IReplObjHandler::Release", folder.name, {{"result", left}});
  }
  folders_.clear();
  for (const ProviderLibrary& library : libraries_) {
    IReplObjHandler* none = nullptr;
    const BOOL result = library.Exports().initObjType(nullptr, &none, partnerBit_);
    TraceCall("InitObjType", u"", {{"uPartnerBit", partnerBit_}, {"result", result}});
  }
  libraries_.clear();
  if (manager_) {
    ReleaseMutex(manager_);
    CloseHandle(manager_);
    manager_ = nullptr;
  }
}

FolderInfo SyncSession::Info(const std::u16string& name) {
  FolderInfo info;
  const Folder* folder = Find(name);
  if (!folder) {
    return info;
  }
  auto block = Cleared<OBJTYPEINFO>(name);
  block.cbStruct = sizeof block;
  info.known = ExportsOf(*folder).getObjTypeInfo(&block) != FALSE;
  if (info.known) {
    info.name = BoundedText(block.szName);
    info.objectCount = block.cObjects;
    info.byteCount = block.cbAllObj;
    info.lastModified = Ticks(block.ftLastModified);
  }
  TraceCall("GetObjTypeInfo", name,
            {{"szName", ToUtf8(info.name)},
             {"cObjects", info.objectCount},
             {"cbAllObj", info.byteCount},
             {"ftLastModified", info.lastModified},
             {"result", info.known}});
  return info;
}

void SyncSession::CollectList(const FINDOBJINFO& list, uint32_t limit, Enumeration* enumeration) {
  const uint64_t total = static_cast<uint64_t>(list.cUnChg) + list.cChg;
  if (total == 0) {
    return;
  }
  // The array is as long as the folder had records when the provider looked. Counts beyond that are
  // a provider that was overtaken by changes: its array must not be read at all.
  if (!list.poid || total > limit) {
    enumeration->problem = "the provider counts " + std::to_string(total) + " objects and lists " +
                           std::to_string(list.poid ? limit : 0);
    return;
  }
  for (uint32_t i = 0; i < total; ++i) {
    if (list.poid[i] != 0) {
      (i < list.cUnChg ? enumeration->unchanged : enumeration->changed).push_back(list.poid[i]);
    }
  }
}

Enumeration SyncSession::EnumerateOnce(const Folder& folder) {
  Enumeration enumeration;
  const ProviderExports& exports = ExportsOf(folder);
  if (!exports.findObjects) {
    enumeration.problem = "the provider cannot list its objects (no FindObjects)";
    return enumeration;
  }
  const FolderInfo before = Info(folder.name);
  auto list = Cleared<FINDOBJINFO>(folder.name);
  for (int volume = 0; volume < MAX_ACTIVE_VOL; ++volume) {
    list.uFlags = 0;
    list.poid = nullptr;
    list.cUnChg = 0;
    list.cChg = 0;
    const HRESULT result = exports.findObjects(&list);
    if (volume == 0) {
      enumeration.info = Info(folder.name);
    }
    if (Failed(result)) {
      enumeration.problem = "the provider cannot list its objects: " + ResultName(result);
    } else {
      CollectList(list, std::min(before.objectCount, enumeration.info.objectCount), &enumeration);
    }
    TraceCall("FindObjects", folder.name,
              {{"uFlags", FindFlagNames(list.uFlags)},
               {"cUnChg", list.cUnChg},
               {"cChg", list.cChg},
               {"unchanged", enumeration.unchanged},
               {"changed", enumeration.changed},
               {"result", ResultName(result)}});
    const bool more = !Failed(result) && (list.uFlags & FO_MORE_VOLUME) != 0;
    list.uFlags = FO_DONE_ONE_VOL;
    const HRESULT done = exports.findObjects(&list);
    TraceCall("FindObjects", folder.name,
              {{"uFlags", FindFlagNames(FO_DONE_ONE_VOL)}, {"result", ResultName(done)}});
    if (!more) {
      break;
    }
  }
  const size_t listed = enumeration.unchanged.size() + enumeration.changed.size();
  if (enumeration.problem.empty() && !enumeration.info.known) {
    enumeration.problem = "the provider cannot say how many objects there are";
  }
  if (enumeration.problem.empty() && listed < enumeration.info.objectCount) {
    enumeration.problem = "the provider lists " + std::to_string(listed) + " of " +
                          std::to_string(enumeration.info.objectCount) + " objects";
  }
  if (enumeration.problem.empty() && before.objectCount != enumeration.info.objectCount) {
    enumeration.problem = "the folder changed while it was listed";
  }
  return enumeration;
}

Enumeration SyncSession::Enumerate(const std::u16string& name) {
  Enumeration enumeration;
  const Folder* folder = Find(name);
  if (!folder) {
    enumeration.problem = "no provider is registered for this folder";
    return enumeration;
  }
  for (int attempt = 0; attempt < kEnumerationTries; ++attempt) {
    enumeration = EnumerateOnce(*folder);
    if (enumeration.problem.empty()) {
      break;
    }
  }
  return enumeration;
}

ReadResult SyncSession::Read(const std::u16string& name, CEOID oid) {
  ReadResult read;
  const Folder* folder = Find(name);
  if (!folder) {
    read.result = E_UNEXPECTED;
    return read;
  }
  REPLSETUP setup = SetupFor(name, TRUE, oid, 0);
  const HRESULT ready = folder->handler->Setup(&setup);
  TraceCall("IReplObjHandler::Setup", name,
            {{"fRead", true}, {"oid", oid}, {"result", ResultName(ready)}});
  if (Failed(ready)) {
    read.result = ready;
    return read;
  }
  do {
    BYTE* packet = nullptr;
    DWORD byteCount = 0;
    read.result = folder->handler->GetPacket(&packet, &byteCount, kRecommendedPacketBytes);
    if (!Failed(read.result) && packet) {
      read.packets.emplace_back(packet, packet + byteCount);
    }
    TraceCall(
        "IReplObjHandler::GetPacket", name,
        {{"packet", !Failed(read.result) && packet ? ToHex(read.packets.back()) : std::string()},
         {"result", ResultName(read.result)}});
  } while (read.result == S_OK && read.packets.size() < kMaxPackets);
  if (Failed(read.result) || read.result == S_OK) {
    read.packets.clear();
    read.result = Failed(read.result) ? read.result : E_UNEXPECTED;
  }
  setup.hr = read.result;
  const HRESULT reset = folder->handler->Reset(&setup);
  TraceCall("IReplObjHandler::Reset", name, {{"result", ResultName(reset)}});
  return read;
}

bool SyncSession::Confirm(const std::u16string& name, CEOID oid) {
  const Folder* folder = Find(name);
  if (!folder) {
    return false;
  }
  auto notice = Cleared<OBJNOTIFY>(name);
  notice.cbStruct = sizeof notice;
  notice.uFlags = ONF_CLEAR_CHANGE;
  notice.uPartnerBit = partnerBit_;
  notice.oidObject = oid;
  notice.poid = &notice.oidObject;
  const BOOL again = ExportsOf(*folder).objectNotify(&notice);
  TraceCall("ObjectNotify", name,
            {{"uFlags", NotifyFlagNames(ONF_CLEAR_CHANGE)}, {"oidObject", oid}, {"result", again}});
  return again != FALSE;
}

NoticeResult SyncSession::NotifyChanged(const std::u16string& folder, CEOID oid) {
  return Notify(folder, oid, ONF_RECORD | ONF_CHANGED);
}

NoticeResult SyncSession::NotifyDeleted(const std::u16string& folder, CEOID oid) {
  return Notify(folder, oid, ONF_RECORD | ONF_DELETED);
}

NoticeResult SyncSession::Notify(const std::u16string& name, CEOID oid, UINT flags) {
  NoticeResult answer;
  const Folder* folder = Find(name);
  if (!folder) {
    return answer;
  }
  auto notice = Cleared<OBJNOTIFY>(name);
  notice.cbStruct = sizeof notice;
  notice.uFlags = flags;
  notice.uPartnerBit = partnerBit_;
  notice.oidObject = oid;
  if (!(flags & ONF_DELETED)) {
    // The system fills in what it knows of the object; only records of the object store are listed.
    CEGUID objectStore;
    CREATE_SYSTEMGUID(&objectStore);
    CEOIDINFOEX info = {};
    info.wVersion = CEOIDINFOEX_VERSION;
    if (CeOidGetInfoEx2(&objectStore, oid, &info) && info.wObjType == OBJTYPE_RECORD) {
      notice.oidInfo.wObjType = info.wObjType;
      notice.oidInfo.infRecord = info.infRecord;
    }
  }
  answer.interesting = ExportsOf(*folder).objectNotify(&notice) != FALSE;
  if (answer.interesting && notice.poid == &notice.oidObject) {
    // One object in, at most one out: a provider that counts more has nothing behind it.
    if ((flags & ONF_CHANGED) && notice.cOidChg == 1) {
      answer.changed.push_back(notice.oidObject);
    }
    if ((flags & ONF_DELETED) && notice.cOidDel == 1) {
      answer.deleted.push_back(notice.oidObject);
    }
  }
  TraceCall("ObjectNotify", name,
            {{"uFlags", NotifyFlagNames(flags)},
             {"oidObject", oid},
             {"cOidChg", notice.cOidChg},
             {"cOidDel", notice.cOidDel},
             {"result", answer.interesting}});
  return answer;
}

WriteResult SyncSession::Write(const std::u16string& name, CEOID oid,
                               std::span<const uint8_t> packet) {
  WriteResult write;
  const Folder* folder = Find(name);
  if (!folder) {
    write.result = E_UNEXPECTED;
    return write;
  }
  const DWORD flags = oid == 0 ? RSF_NEW_OBJECT : 0;
  REPLSETUP setup = SetupFor(name, FALSE, oid, flags);
  const HRESULT ready = folder->handler->Setup(&setup);
  TraceCall("IReplObjHandler::Setup", name,
            {{"fRead", false},
             {"dwFlags", SetupFlagNames(flags)},
             {"oid", oid},
             {"result", ResultName(ready)}});
  write.result = ready;
  if (!Failed(ready)) {
    std::vector<BYTE> bytes(packet.begin(), packet.end());
    write.result = folder->handler->SetPacket(bytes.data(), static_cast<DWORD>(bytes.size()));
    TraceCall("IReplObjHandler::SetPacket", name,
              {{"packet", ToHex(packet)},
               {"oidNew", setup.oidNew},
               {"result", ResultName(write.result)}});
    setup.hr = write.result;
    const HRESULT reset = folder->handler->Reset(&setup);
    TraceCall("IReplObjHandler::Reset", name, {{"result", ResultName(reset)}});
  }
  const bool moved = oid == 0 || (setup.dwFlags & RSF_UPDATED_HANDLE) != 0;
  write.oid = moved ? setup.oidNew : oid;
  if (!Failed(write.result) && write.oid == 0) {
    write.result = E_FAIL;  // success without an object: the provider could not add it
  }
  return write;
}

HRESULT SyncSession::Delete(const std::u16string& name, CEOID oid) {
  const Folder* folder = Find(name);
  if (!folder) {
    return E_UNEXPECTED;
  }
  REPLSETUP setup = SetupFor(name, FALSE, oid, 0);
  HRESULT result = folder->handler->DeleteObj(&setup);
  TraceCall("IReplObjHandler::DeleteObj", name, {{"oid", oid}, {"result", ResultName(result)}});
  return result == kFileNotFound ? S_FALSE : result;  // gone already is as good
}

std::u16string SyncSession::QueryVolume(const std::u16string& name) {
  const Folder* folder = Find(name);
  if (!folder || !ExportsOf(*folder).syncData) {
    return u"";
  }
  auto request = Cleared<SDREQUEST>(name);
  request.uCode = kSyncDataVolumeName;
  HRESULT result = ExportsOf(*folder).syncData(&request);
  std::vector<BYTE> buffer(std::max<size_t>(kSyncDataBytes, request.cbData) + sizeof(WCHAR));
  std::u16string volume;
  if (!Failed(result)) {
    request.lpbData = buffer.data();
    result = ExportsOf(*folder).syncData(&request);
    for (size_t i = 0; !Failed(result) && i + 1 < buffer.size(); i += 2) {
      const auto unit = static_cast<char16_t>(buffer[i] | buffer[i + 1] << 8);
      if (unit == 0) {
        break;
      }
      volume += unit;
    }
  }
  TraceCall("SyncData", name,
            {{"fSet", false},
             {"uCode", kSyncDataVolumeName},
             {"cbData", request.cbData},
             {"data", ToUtf8(volume)},
             {"result", ResultName(result)}});
  return volume;
}

}  // namespace wkt
