#include "desktop/manager/SyncSession.h"

#include <algorithm>

#include "desktop/manager/Names.h"
#include "desktop/manager/ProviderStructures.h"
#include "desktop/manager/RegistryText.h"
#include "platform/Files.h"

namespace wkt {

namespace {

// What a provider may assume of a buffer that it fills for SyncData.
constexpr size_t kSyncDataBytes = 520;
constexpr UINT kSyncDataVolumeName = 1;
// More than a volume's name can need: a size beyond this is nonsense.
constexpr size_t kSyncDataMaxBytes = 65536;

}  // namespace

SyncSession::SyncSession(Trace* trace) : trace_(trace) {}

// NOLINTNEXTLINE(bugprone-exception-escape): only for want of memory, which ends the program
SyncSession::~SyncSession() {
  EndSync();
  ReleaseAll();
}

void SyncSession::TraceCall(const char* call, const std::u16string& folder,
                            const Trace::Line& details) {
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

std::u16string SyncSession::Volume(const std::u16string& name) const {
  const Folder* folder = Find(name);
  return folder ? folder->volume : u"";
}

std::string SyncSession::Open(UINT partnerBit) {
  partnerBit_ = partnerBit;
  switch (manager_.Take(kManagerWaitMilliseconds)) {
    case ManagerMutex::Outcome::Busy:
      return "another synchronisation of this device is running; wait for its end";
    case ManagerMutex::Outcome::Unavailable:
      return "the device has no mutex for its service manager";
    case ManagerMutex::Outcome::Held:
      break;
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
    Folder folder;
    folder.name = entry.name;
    folder.library = library;
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
  for (Folder& folder : folders_) {
    folder.volume = QueryVolume(folder);
    // Its records are announced with this volume's identifier, which only the mounting tells.
    folder.isMounted = !folder.volume.empty() &&
                       CeMountDBVol(&folder.volumeGuid, folder.volume.data(), OPEN_EXISTING);
  }
}

void SyncSession::EndSync() {
  if (!running_) {
    return;
  }
  running_ = false;
  Report(RSC_END_SYNC);
}

void SyncSession::ReleaseAll() {
  for (Folder& folder : folders_) {
    const ULONG left = folder.handler->Release();
    TraceCall("IReplObjHandler::Release", folder.name, {{"result", left}});
    if (folder.isMounted) {
      CeUnmountDBVol(&folder.volumeGuid);
    }
  }
  folders_.clear();
  for (const ProviderLibrary& library : libraries_) {
    IReplObjHandler* none = nullptr;
    const BOOL result = library.Exports().initObjType(nullptr, &none, partnerBit_);
    TraceCall("InitObjType", u"", {{"uPartnerBit", partnerBit_}, {"result", result}});
  }
  libraries_.clear();
  manager_.Release();
}

// The size that the provider names; the text when there is a buffer for it. Nothing on failure.
std::optional<size_t> SyncSession::FetchVolumeName(const Folder& folder, std::span<BYTE> buffer,
                                                   std::u16string* name) {
  auto request = ClearedFor<SDREQUEST>(folder.name);
  request.uCode = kSyncDataVolumeName;
  request.lpbData = buffer.empty() ? nullptr : buffer.data();
  request.cbData = static_cast<UINT>(buffer.size());
  const HRESULT result = ExportsOf(folder).syncData(&request);
  const size_t byteCount = request.cbData;
  if (!HasFailed(result)) {
    for (size_t i = 0; i + 1 < std::min(byteCount, buffer.size()); i += sizeof(WCHAR)) {
      const auto unit = static_cast<char16_t>(buffer[i] | buffer[i + 1] << 8);
      if (unit == 0) {
        break;
      }
      *name += unit;
    }
  }
  TraceCall("SyncData", folder.name,
            {{"fSet", false},
             {"uCode", kSyncDataVolumeName},
             {"lpbData", buffer.empty() ? "NULL" : ToUtf8(*name)},
             {"cbData", byteCount},
             {"result", ResultName(result)}});
  return HasFailed(result) ? std::nullopt : std::optional(byteCount);
}

// Asked twice: for the size, then for the text.
std::u16string SyncSession::QueryVolume(const Folder& folder) {
  std::u16string name;
  if (!ExportsOf(folder).syncData) {
    return name;
  }
  if (const auto byteCount = FetchVolumeName(folder, {}, &name);
      byteCount && *byteCount <= kSyncDataMaxBytes) {
    std::vector<BYTE> buffer(std::max(kSyncDataBytes, *byteCount));
    (void)FetchVolumeName(folder, buffer, &name);
  }
  return name;
}

}  // namespace wkt
