#include "desktop/manager/SyncSession.h"

#include <algorithm>

#include "desktop/manager/Names.h"
#include "desktop/manager/ProviderStructures.h"
#include "desktop/manager/RegistryText.h"
#include "platform/Kernel.h"

namespace wkt {

namespace {

// What a provider may assume of a buffer that it fills for SyncData.
constexpr size_t kSyncDataBytes = 520;
constexpr UINT kSyncDataVolumeName = 1;
// Held by the service manager while it runs; the application looks at it when it edits.
constexpr WCHAR kManagerMutex[] = u"WktServiceManager";
// Longer than the application's look takes.
constexpr DWORD kManagerWaitMilliseconds = 2000;

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

std::u16string SyncSession::QueryVolume(const std::u16string& name) {
  const Folder* folder = Find(name);
  if (!folder || !ExportsOf(*folder).syncData) {
    return u"";
  }
  auto request = ClearedFor<SDREQUEST>(name);
  request.uCode = kSyncDataVolumeName;
  HRESULT result = ExportsOf(*folder).syncData(&request);
  std::vector<BYTE> buffer(std::max<size_t>(kSyncDataBytes, request.cbData) + sizeof(WCHAR));
  std::u16string volume;
  if (!HasFailed(result)) {
    request.lpbData = buffer.data();
    result = ExportsOf(*folder).syncData(&request);
    for (size_t i = 0; !HasFailed(result) && i + 1 < buffer.size(); i += 2) {
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
